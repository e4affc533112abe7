// type_table.c and type_table.h of a namespace that defines data types.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

// The identifier macro of a data type's "Default Binary" encoding object: the name that
// identifier.h gives that very node. Null after the message when there is none.
const std::string* encoding_macro(const codegen_context& ctx, const nstable_entry& entry,
                                  const uagraph_node& type, const uagraph_node& enc,
                                  const char* function) {
  const std::string* macro =
      enc.NodeId.ns() == type.NodeId.ns() ? ctx.node_macro(entry, enc) : nullptr;
  if (macro == nullptr) {
    codegen_context::error(
        "error (%s): the encoding node %s of datatype %s has no identifier macro in its "
        "namespace.\n",
        function, ua_nodeid_printable(enc.NodeId).c_str(),
        ua_nodeid_printable(type.NodeId).c_str());
  }
  return macro;
}

// "%s_ID_%s" upper-cased: the identifier macro of a type node.
std::string node_macro(const nstable_entry& entry, std::string_view name) {
  return cg_upper(cg_join({entry.prefix(), "_ID_", name}));
}

int write_enum_row(const codegen_context& ctx, output_file& out, const nstable_entry& entry,
                   UADataType& type) {
  const std::string_view name = ctx.symbolic_name(type, "output_c_enum_table_entry");
  if (name.empty()) return -1;
  out.put("{\n    UA_DICT_NAME(");
  out.c_string(name);
  out.print(")\n    %s,\n    sizeof(int32_t),\n    UA_VT_INT32\n},\n",
            node_macro(entry, name).c_str());
  return 0;
}

int write_optionset_row(const codegen_context& ctx, output_file& out, const nstable_entry& entry,
                        UADataType& type) {
  constexpr const char* kFunction = "output_c_optionset_table_entry";
  if (type.Definition.kind != UAGRAPH_DEFINITION_OPTIONSET) {
    codegen_context::error("error (%s): unexpected UAGRAPH_TYPEDEFINITION %i.\n", kFunction,
                           static_cast<int>(type.Definition.kind));
    return -1;
  }
  const std::string_view name = ctx.symbolic_name(type, kFunction);
  if (name.empty()) return -1;
  const uagraph_node* base = ctx.optionset_base_of(type).base;
  const uint32_t id = base != nullptr && base->NodeId.ns() == 0 ? base->NodeId.numeric_id() : 0;
  const char* c_type = nullptr;
  const char* vt = nullptr;
  switch (id) {
    case 3:
      c_type = "uint8_t";
      vt = "UA_VT_BYTE";
      break;
    case 5:
      c_type = "uint16_t";
      vt = "UA_VT_UINT16";
      break;
    case 7:
      c_type = "uint32_t";
      vt = "UA_VT_UINT32";
      break;
    case 9:
      c_type = "uint64_t";
      vt = "UA_VT_UINT64";
      break;
    default:
      codegen_context::error(
          "error (%s): the basetype of the optionset is not supported (id=%u).\n", kFunction, id);
      return -1;
  }
  out.put("{\n    UA_DICT_NAME(");
  out.c_string(name);
  out.print(")\n    %s,\n    sizeof(%s),\n    %s,\n},\n", node_macro(entry, name).c_str(), c_type,
            vt);
  return 0;
}

int write_structure_row(const codegen_context& ctx, output_file& out, const nstable_entry& entry,
                        UADataType& type) {
  constexpr const char* kFunction = "output_c_type_table_entry";
  const std::string_view name = ctx.symbolic_name(type, kFunction);
  if (name.empty()) return -1;
  uagraph_node* enc = ctx.default_binary_encoding(type);
  if (enc == nullptr) {
    codegen_context::error("error (%s): could not find encoding node for datatype %.*s.\n",
                           kFunction, static_cast<int>(name.size()), name.data());
    return -1;
  }
  const std::string* enc_macro = encoding_macro(ctx, entry, type, *enc, kFunction);
  if (enc_macro == nullptr) return -1;
  std::string c_type;
  std::string base;
  if (ctx.c_names(type, c_type, base, "output_c_get_datatypename") != 0) return -1;
  out.put("{\n    UA_DICT_NAME(");
  out.c_string(name);
  out.print(")\n    g_%s_fields,\n    %s,\n    %s,\n", base.c_str(), enc_macro->c_str(),
            node_macro(entry, name).c_str());
  // A structure without fields of its own or inherited has a placeholder row only (the
  // levels of cg_structure_levels); a union always has its switch row.
  const auto structure_kind = [](uint32_t kind) {
    return kind == UAGRAPH_DEFINITION_STRUCTURE ||
           kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS ||
           kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES;
  };
  std::size_t fields = structure_kind(type.Definition.kind) ? type.Definition.fields.size() : 1;
  int levels = 0;
  for (const uagraph_node* n = ctx.graph().node_supertype(type);
       fields == 0 && n != nullptr && levels < 64; n = ctx.graph().node_supertype(*n), ++levels) {
    const UADataType* dt = n->as<UADataType>();
    if (dt == nullptr || !structure_kind(dt->Definition.kind)) break;
    fields += dt->Definition.fields.size();
  }
  if (fields == 0) {
    out.print("    0, /* no fields */\n    sizeof(%s)\n},\n", c_type.c_str());
    return 0;
  }
  out.print("    countof(g_%s_fields),\n    sizeof(%s)\n},\n", base.c_str(), c_type.c_str());
  return 0;
}

// Binary encoding identifier to row of g_type_table, sorted by encoding identifier.
int output_c_typetable_encodingid_lookup_table(const codegen_context& ctx, output_file& out,
                                               const nstable_entry& entry,
                                               const std::vector<UADataType*>& structures) {
  constexpr const char* kFunction = "output_c_typetable_encodingid_lookup_table";
  struct row {
    int32_t encoding_id;
    std::string macro;
    int index;
  };
  std::vector<row> rows;
  for (std::size_t i = 0; i < structures.size(); ++i) {
    UADataType& type = *structures[i];
    const std::string_view name = ctx.symbolic_name(type, kFunction);
    if (name.empty()) return -1;
    const uagraph_node* enc = ctx.default_binary_encoding(type);
    if (enc == nullptr) {
      codegen_context::error("error (%s): could not find encoding node for datatype '%.*s'.\n",
                             kFunction, static_cast<int>(name.size()), name.data());
      return -1;
    }
    if (!enc->NodeId.is_numeric()) {
      const std::string_view enc_name = enc->BrowseName.name.view();
      codegen_context::error(
          "error (%s): only numeric encoding ids are supported (encoding '%.*s' is not "
          "numeric).\n",
          kFunction, static_cast<int>(enc_name.size()), enc_name.data());
      return -1;
    }
    // The encoding object's own macro: DEFAULTBINARY when its symbolic name is the usual one.
    const std::string* macro = encoding_macro(ctx, entry, type, *enc, kFunction);
    if (macro == nullptr) return -1;
    rows.push_back(row{static_cast<int32_t>(enc->NodeId.numeric_id()), *macro,
                       static_cast<int>(i)});
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const row& a, const row& b) { return a.encoding_id < b.encoding_id; });
  out.print("const struct ua_type_table_idx_table g_type_table_%s_idx_table[] = {\n",
            entry.prefix_lower().c_str());
  for (const row& r : rows) out.print("    { %s, %i },\n", r.macro.c_str(), r.index);
  out.put("};\n");
  return 0;
}

int write_type_table_c(const codegen_context& ctx, output_file& out, const nstable_entry& entry,
                       const type_lists& types) {
  const char* p = entry.prefix_lower().c_str();
  out.put(
      "#include \"type_table.h\"\n#include \"type_identifier.h\"\n#include \"identifier.h\"\n\n");
  out.put("#include <uabase/variant.h>\n#include <uabase/type_table.h>\n\n");
  std::string include;
  const int ret =
      ctx.node_filter(UA_NODECLASS_DATATYPE, static_cast<int>(entry.sdk_index),
                      [&](uagraph_node& node, const node_position&) {
                        UADataType& dt = *node.as<UADataType>();
                        if (dt.IsAbstract || dt.Definition.kind == UAGRAPH_DEFINITION_NONE)
                          return 1;
                        if (ctx.include_path(dt, include, "output_c_type_table") != 0) return -1;
                        out.print("#include <%s.h>\n", include.c_str());
                        return 0;
                      });
  if (ret < 0) return -1;
  out.put("\n");

  if (!types.enums.empty() || !types.optionsets.empty()) {
    out.print("static const struct ua_dict_inttype g_inttype_table_%s[] = {\n", p);
    if (!types.enums.empty()) out.put("/* enums */\n");
    for (UADataType* t : types.enums) {
      if (write_enum_row(ctx, out, entry, *t) != 0) return -1;
    }
    if (!types.optionsets.empty()) out.put("/* optionsets */\n");
    for (UADataType* t : types.optionsets) {
      if (write_optionset_row(ctx, out, entry, *t) != 0) return -1;
    }
    out.put("};\n");
    out.print("static const uint16_t g_inttype_table_%s_count = countof(g_inttype_table_%s);\n\n",
              p, p);
  } else {
    out.print("static const struct ua_dict_inttype *g_inttype_table_%s = NULL;\n", p);
    out.print("static const uint16_t g_inttype_table_%s_count = 0;\n\n", p);
  }

  if (!types.structures.empty()) {
    out.print("static const struct ua_dict_structure g_type_table_%s[] = {\n", p);
    for (UADataType* t : types.structures) {
      if (write_structure_row(ctx, out, entry, *t) != 0) return -1;
    }
    out.put("};\n");
    out.print("static const uint16_t g_type_table_%s_count = countof(g_type_table_%s);\n\n", p, p);
    if (output_c_typetable_encodingid_lookup_table(ctx, out, entry, types.structures) != 0) {
      return -1;
    }
  } else {
    out.print("static const struct ua_dict_structure *g_type_table_%s = NULL;\n", p);
    out.print("static const uint16_t g_type_table_%s_count = 0;\n", p);
    out.print("const struct ua_type_table_idx_table *g_type_table_%s_idx_table = NULL;\n", p);
  }

  const char* m = entry.prefix_upper().c_str();
  out.put("\n/** \\internal Register the types for namespace ");
  out.comment_text(entry.uri);
  out.put(".\n");
  out.put(" * @param nsidx The namespace index where this namespace was registered.\n */\n");
  out.print("int %s_register_type_table(uint16_t nsidx)\n{\n", p);
  out.print(
      "    return ua_type_table_register_const_table(\n"
      "        %s_MODEL_NAMESPACE_URI,\n        nsidx,\n        %s_MODEL_LOCAL_INDEX,\n"
      "        g_type_table_%s,\n        g_type_table_%s_count,\n"
      "        g_inttype_table_%s,\n        g_inttype_table_%s_count,\n"
      "        UA_TYPE_TABLE_SORTING_IDX_TABLE,\n        g_type_table_%s_idx_table);\n}\n",
      m, m, p, p, p, p, p);
  return 0;
}

// A type identifier is the int enumerator (local index << 16) + row, the row counting the
// enumerations, option sets and structures of the namespace in turn; the tables' counts are
// 16-bit. A namespace whose types do not fit is refused.
int check_type_limits(const codegen_context& ctx, const nstable_entry& entry,
                      const type_lists& types) {
  constexpr std::size_t kMaxRows = std::size_t{1} << 16;
  const std::size_t rows = types.enums.size() + types.optionsets.size() + types.structures.size();
  if (rows > kMaxRows) {
    codegen_context::error(
        "error: namespace %u (%s) has %zu data types, but a type identifier of the runtime's "
        "type table numbers at most %zu per namespace.\n",
        entry.sdk_index, entry.uri.c_str(), rows, kMaxRows);
    return -1;
  }
  const uint32_t index = ctx.model_index(entry);
  if ((int64_t{index} << 16) + static_cast<int64_t>(rows) - 1 > INT32_MAX) {
    codegen_context::error(
        "error: namespace %u (%s) has data types, but its type identifiers ((index %u << 16) "
        "+ row) exceed the int of a C enumerator; namespace indexes up to 32767 hold them.\n",
        entry.sdk_index, entry.uri.c_str(), index);
    return -1;
  }
  return 0;
}

}  // namespace

int output_c_type_table(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_type_table";
  const type_lists& types = ctx.types_of(entry.sdk_index);
  if (check_type_limits(ctx, entry, types) != 0) return -1;
  const std::string dir = ctx.namespace_dir(entry);
  output_file out;
  if (ctx.open_file(out, dir + "/type_table.c", kFunction) != 0) return -1;
  if (const int r = out.finish(write_type_table_c(ctx, out, entry, types)); r != 0) return r;

  if (ctx.open_file(out, dir + "/type_table.h", kFunction) != 0) return -1;
  const std::string guard = cg_include_guard(entry.prefix() + "_TYPE_TABLE");
  out.print("#ifndef %s\n#define %s\n\n", guard.c_str(), guard.c_str());
  out.put("#include <uabase/dict.h>\n\nUA_BEGIN_EXTERN_C\n\n");
  out.print("int %s_register_type_table(uint16_t nsidx);\n\n", entry.prefix_lower().c_str());
  out.put("UA_END_EXTERN_C\n\n");
  out.print("#endif /* end of includeguard: %s */\n\n", guard.c_str());
  return out.close();
}

}  // namespace vos
