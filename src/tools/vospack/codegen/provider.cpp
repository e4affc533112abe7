// The provider of a namespace (-m): the glue that brings the namespace up from the
// compiled-in tables (STATIC_<PREFIX>) or from the binary file, and the implementation part
// that is the user's own once written.
#include <string>

#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"

namespace vos {

namespace {

// The path of a provider file in the output directory: "provider_<prefix><suffix>".
std::string provider_path(const codegen_context& ctx, const nstable_entry& entry,
                          const char* suffix) {
  return ctx.settings().output_dir + "/provider_" + entry.prefix_lower() + suffix;
}

// An implementation file is written when it is missing, or always with -O.
bool keep_existing(const codegen_context& ctx, const std::string& path) {
  return !ctx.options().overwrite_impl && file_exists(path);
}

int make_output_dir(const codegen_context& ctx, const char* function) {
  if (mkpath(ctx.settings().output_dir) == 0) return 0;
  codegen_context::error("error (%s): mkpath '%s' failed'.\n", function,
                         ctx.settings().output_dir.c_str());
  return -1;
}

// The methods of a namespace are compiled in when the tree holds their header.
bool has_methods(const codegen_context& ctx, const nstable_entry& entry) {
  return file_exists(ctx.namespace_dir(entry) + "/provider_" + entry.prefix_lower() + "_methods.h");
}

void write_provider_c(const codegen_context& ctx, const nstable_entry& entry, output_file& out) {
  const char* p = entry.prefix_lower().c_str();
  const char* m = entry.prefix_upper().c_str();
  const bool types = ctx.defines_data_types(entry.sdk_index);
  const bool methods = has_methods(ctx, entry);
  out.print(
      "#include \"provider_%s.h\"\n#include \"provider_%s_impl.h\"\n#include \"%s/identifier.h\"\n",
      p, p, p);
  if (types) out.print("#include \"%s/type_table.h\"\n", p);
  out.put(
      "#include <trace/trace.h>\n#include <util/error_lookup.h>\n"
      "#include <uaserver/addressspace/addressspace.h>\n\n"
      "#include <uaserver/valuestore/staticstore.h>\n\n"
      "#ifdef UASERVER_SUPPORT_EVENTS\n# include <uaserver/event/event.h>\n"
      "# include <uaserver/event/eventnotifier.h>\n#endif /* UASERVER_SUPPORT_EVENTS */\n");
  if (methods) {
    out.print(
        "#if defined(ENABLE_SERVICE_CALL) && defined(HAVE_QUILLON_METHODS)\n"
        "# include <%s/provider_%s_methods.h>\n#endif\n\n",
        p, p);
  }
  out.put("\nstatic struct ua_staticstore g_staticstore;\n");
  out.print(
      "#ifdef STATIC_%s\n# include \"%s/ns%u.h\"\n"
      "static struct ua_staticstore g_datatypedefinition_store;\n#endif\n\n",
      m, p, entry.sdk_index);

  out.print(
      "static void provider_%s_cleanup(struct uaprovider *ctx)\n{\n    UA_UNUSED(ctx);\n"
      "    /* call implementation code */\n    provider_%s_impl_cleanup(ctx);\n",
      p, p);
  out.print("#ifdef STATIC_%s\n    ua_staticstore_clear(&g_datatypedefinition_store);\n#endif\n",
            m);
  out.put("    ua_staticstore_clear(&g_staticstore);\n}\n\n");

  out.print(
      "int provider_%s_init(struct uaprovider *ctx)\n{\n    int ret = 0;\n    uint16_t nsidx;\n",
      p);
  out.print(
      "#ifndef STATIC_%s\n    const char *filename = \"%s.bin\";\n"
      "    struct ua_addressspace_config config;\n#endif\n",
      m, p);
  out.print("    ctx->cleanup = provider_%s_cleanup;\n\n", p);
  out.print("#ifdef STATIC_%s\n", m);
  out.print(
      "    TRACE_INFO(TRACE_FAC_PROVIDER, \"Initializing static address space %%s on index "
      "%%u\\n\", "
      "%s_MODEL_NAMESPACE_URI, %s_MODEL_NAMESPACE_INDEX);\n",
      m, m);
  out.print("    ret = %s_register_static_addressspace();\n    if (ret < 0) {\n", p);
  out.print(
      "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"Initializing namespace from %%s failed: %%i "
      "(%%s)\\n\", "
      "%s_MODEL_NAMESPACE_URI, ret, util_error_lookup(ret));\n        return ret;\n    }\n",
      m);
  out.put("    nsidx = (uint16_t) ret;\n\n");
  out.print(
      "    ret = %s_initialize_staticstore(&g_staticstore, %s_MODEL_STATIC_STORE_INDEX);\n"
      "    if (ret != 0) {\n",
      p, m);
  out.put(
      "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"Initializing static store failed: %i (%s)\\n\", "
      "ret, util_error_lookup(ret));\n        goto error;\n    }\n");
  out.put("#else\n    ua_staticstore_init(&g_staticstore, 0);\n");
  out.print(
      "    TRACE_INFO(TRACE_FAC_PROVIDER, \"Creating dynamic addressspace for Namespace %%s.\\n\", "
      "%s_MODEL_NAMESPACE_URI);\n",
      m);
  out.put(
      "    /* reserve memory for additional nodes and references */\n"
      "    ua_memset(&config, 0, sizeof(config));\n"
      "    /* configured NSIDX, this should not be changed if the model contains generated "
      "datatypes. */\n");
  out.print("    config.nsidx = %s_MODEL_NAMESPACE_INDEX;\n", m);
  out.print(
      "    /* let implementation add additional resources */\n"
      "    ret = provider_%s_impl_setup(ctx, &config);\n\n    if (ret != 0) {\n",
      p);
  out.print(
      "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"Calling provider_%s_impl_setup(ctx) failed with "
      "error %%i (%%s).\\n\", ret, util_error_lookup(ret));\n        goto error;\n    }\n",
      p);
  out.print(
      "    TRACE_INFO(TRACE_FAC_PROVIDER, \"Loading NS%%u from binary file '%%s'.\\n\", "
      "%s_MODEL_NAMESPACE_INDEX, filename);\n",
      m);
  out.put(
      "    ret = ua_addressspace_load_file(filename, &g_staticstore, &config);\n    if (ret < 0) "
      "{\n");
  out.print(
      "        TRACE_ERROR(TRACE_FAC_PROVIDER, \"Loading NS%%u from file '%%s' failed: %%i "
      "(%%s)\\n\", "
      "%s_MODEL_NAMESPACE_INDEX, filename, ret, util_error_lookup(ret));\n        goto error;\n    "
      "}\n",
      m);
  out.put("    nsidx = (uint16_t) ret;\n#endif\n");
  out.put("    ret = uaprovider_register_nsindex(ctx, nsidx);\n    if (ret < 0) goto error;\n\n");
  if (types) {
    out.print(
        "    /* register datatypes */\n    ret = %s_register_type_table(nsidx);\n"
        "    if (ret != 0) goto error;\n\n",
        p);
  }
  if (methods) {
    out.print(
        "#if defined(ENABLE_SERVICE_CALL) && defined(HAVE_QUILLON_METHODS)\n"
        "    /* initialize modeler generated methods */\n    ret = provider_%s_method_init();\n"
        "    if (ret != 0) goto error;\n#endif\n\n",
        p);
  }
  out.put(
      "#ifdef UASERVER_SUPPORT_EVENTS\n    ret = uaserver_eventfield_register_all(nsidx);\n"
      "    if (ret != 0) goto error;\n    ret = uaserver_eventnotifier_register_all(nsidx);\n"
      "    if (ret != 0) goto error;\n#endif /* UASERVER_SUPPORT_EVENTS */\n\n");
  out.print("    /* call implementation code */\n    ret = provider_%s_impl_init(ctx);\n\n", p);
  out.put(
      "    return ret;\n\nerror:\n    ua_staticstore_clear(&g_staticstore);\n    return ret;\n}\n");
}

void write_provider_impl_c(const nstable_entry& entry, output_file& out) {
  const char* p = entry.prefix_lower().c_str();
  out.print("#include \"provider_%s_impl.h\"\n#include \"provider_%s.h\"\n#include \"%s/ns%u.h\"\n",
            p, p, p, entry.sdk_index);
  out.put(
      "#include <trace/trace.h>\n#include <uaserver/addressspace/addressspace.h>\n"
      "#include <uaserver/valuestore/memorystore.h>\n\n");
  out.put(
      "/* Values of the process data, kept in a memory store. */\n"
      "static struct ua_memorystore g_processdata_store;\n#define MAX_VALUES 100\n"
      "static struct ua_variant g_values[MAX_VALUES];\n\n");
  out.put("#if 0 /* just some example code that might be useful */\n");
  out.print(
      "/* Registers the variable of a node at the process data store. */\n"
      "static int provider_%s_register_variable(const struct ua_nodeid *id, unsigned int "
      "index)\n{\n"
      "    ua_node_t node = ua_node_find(id);\n\n"
      "    if (node == UA_NODE_INVALID) return UA_EBADNOTFOUND;\n"
      "#ifdef UAPROVIDER_CALC_USE_STATIC_ADDR\n"
      "    return ua_memorystore_register_static_node(&g_processdata_store, node, index);\n"
      "#else\n    return ua_memorystore_register_node(&g_processdata_store, node, "
      "index);\n#endif\n}\n\n",
      p);
  out.print(
      "static int provider_%s_register_variable_numeric(uint16_t nsidx, uint32_t id, unsigned int "
      "index)\n{\n"
      "    struct ua_nodeid nodeid;\n\n    ua_nodeid_set_numeric(&nodeid, nsidx, id);\n"
      "    return provider_%s_register_variable(&nodeid, index);\n}\n\n",
      p, p);
  out.print(
      "static int provider_%s_register_variable_string(uint16_t nsidx, const char *id, unsigned "
      "int index)\n{\n"
      "    struct ua_nodeid nodeid;\n    int ret;\n\n"
      "    ret = ua_nodeid_set_string(&nodeid, nsidx, id);\n    if (ret != 0) return ret;\n"
      "    ret = provider_%s_register_variable(&nodeid, index);\n    ua_nodeid_clear(&nodeid);\n"
      "    return ret;\n}\n#endif\n\n",
      p, p);
  out.print(
      "/* Registers the variables whose values the process data store holds. */\n"
      "static int provider_%s_register_variables(void)\n{\n    int ret = 0;\n\n"
      "#if 0 /* example code */\n"
      "    ret = provider_%s_register_variable_numeric(%s_MODEL_NAMESPACE_INDEX, 1001, 0);\n"
      "    if (ret != 0) return ret;\n#endif\n\n    return ret;\n}\n\n",
      p, p, entry.prefix_upper().c_str());
  out.print(
      "int provider_%s_impl_setup(struct uaprovider *ctx, struct ua_addressspace_config "
      "*config)\n{\n"
      "    UA_UNUSED(ctx);\n    UA_UNUSED(config);\n#if 0\n"
      "    config->max_variables = 50; /* additional variables */\n"
      "    config->max_objects = 50; /* additional objects */\n"
      "    config->max_references = 150; /* additional references */\n"
      "    config->max_strings = 150; /* additional strings */\n#endif\n    return 0;\n}\n\n",
      p);
  out.print(
      "int provider_%s_impl_init(struct uaprovider *ctx)\n{\n    int ret;\n\n    UA_UNUSED(ctx);\n"
      "    ret = ua_memorystore_init(&g_processdata_store, 0, g_values, countof(g_values));\n"
      "    if (ret != 0) return ret;\n    return provider_%s_register_variables();\n}\n\n",
      p, p);
  out.print(
      "void provider_%s_impl_cleanup(struct uaprovider *ctx)\n{\n    UA_UNUSED(ctx);\n"
      "    ua_memorystore_clear(&g_processdata_store);\n}\n",
      p);
}

}  // namespace

int output_c_provider_h(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_provider_h";
  if (make_output_dir(ctx, kFunction) != 0) return -1;
  const char* p = entry.prefix_lower().c_str();
  output_file out;
  if (ctx.open_file(out, provider_path(ctx, entry, ".h"), kFunction) != 0) return -1;
  std::string guard = cg_include_guard(entry.prefix() + "_PROVIDER");
  out.print("#ifndef %s\n#define %s\n\n#include <uaserver/provider/provider.h>\n\n", guard.c_str(),
            guard.c_str());
  out.print("int provider_%s_init(struct uaprovider *ctx);\n\n#endif /* %s */\n\n", p,
            guard.c_str());
  if (const int r = out.close(); r != 0) return r;

  const std::string impl = provider_path(ctx, entry, "_impl.h");
  if (keep_existing(ctx, impl)) return 0;
  if (ctx.open_file(out, impl, kFunction) != 0) return -1;
  guard = cg_include_guard(entry.prefix() + "_PROVIDER_IMPL");
  out.print("#ifndef %s\n#define %s\n\nstruct uaprovider;\nstruct ua_addressspace_config;\n\n",
            guard.c_str(), guard.c_str());
  out.print(
      "int provider_%s_impl_setup(struct uaprovider *ctx, struct ua_addressspace_config *config);\n"
      "int provider_%s_impl_init(struct uaprovider *ctx);\n"
      "void provider_%s_impl_cleanup(struct uaprovider *ctx);\n\n",
      p, p, p);
  out.print("#endif /* %s */\n\n", guard.c_str());
  return out.close();
}

int output_c_provider_c(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_provider_c";
  if (make_output_dir(ctx, kFunction) != 0) return -1;
  output_file out;
  if (ctx.open_file(out, provider_path(ctx, entry, ".c"), kFunction) != 0) return -1;
  write_provider_c(ctx, entry, out);
  if (const int r = out.close(); r != 0) return r;

  const std::string impl = provider_path(ctx, entry, "_impl.c");
  if (keep_existing(ctx, impl)) return 0;
  if (ctx.open_file(out, impl, kFunction) != 0) return -1;
  write_provider_impl_c(entry, out);
  return out.close();
}

}  // namespace vos
