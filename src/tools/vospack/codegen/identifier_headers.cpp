// identifier.h and type_identifier.h of a namespace.
#include <array>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/vospack/codegen/encoders.h"
#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

// Browse paths keep at most this many names.
constexpr std::size_t kMaxPathNames = 20;

bool is_ns0(const uagraph_node& node, uint32_t id) {
  return node.NodeId.ns() == 0 && node.NodeId.is_numeric() && node.NodeId.numeric_id() == id;
}

bool is_type_class(const uagraph_node& node) {
  return (node.nodeclass() &
          (UA_NODECLASS_OBJECTTYPE | UA_NODECLASS_VARIABLETYPE | UA_NODECLASS_DATATYPE)) != 0;
}

// The node one step up: its ParentNodeId, else the source of its first inverse
// hierarchical reference.
uagraph_node* parent_of(const uagraph& graph, const uagraph_node& node) {
  const ua_nodeid& parent_id = node.extra().ParentNodeId;
  if (!parent_id.is_null()) {
    if (uagraph_node* parent = graph.node_find(parent_id); parent != nullptr) return parent;
  }
  const uagraph_reference* r = graph.node_find_reference_subtype(
      node, ua_nodeid(0, UAGRAPH_ID_HIERARCHICALREFERENCES), false);
  return r != nullptr ? &graph.source_of(*r) : nullptr;
}

// The data type that an encoding object encodes, or null for any other node.
uagraph_node* encoded_type(const uagraph& graph, const uagraph_node& node) {
  if (node.nodeclass() != UA_NODECLASS_OBJECT) return nullptr;
  constexpr uint32_t kHasEncoding = 38;
  const uagraph_reference* r = graph.node_find_reference(node, ua_nodeid(0, kHasEncoding), false);
  if (r == nullptr) return nullptr;
  uagraph_node& type = graph.source_of(*r);
  return type.nodeclass() == UA_NODECLASS_DATATYPE ? &type : nullptr;
}

// The symbolic names of the node and its ancestors, topmost first, joined with "_".
int browse_path_name(const codegen_context& ctx, uagraph_node& node, std::string& out) {
  constexpr const char* kFunction = "output_c_identifier";
  std::array<uagraph_node*, kMaxPathNames> kept{&node};
  std::size_t count = 1;
  if (!is_ns0(node, 84)) {
    uagraph_node* cur = &node;
    while (count < kMaxPathNames) {
      cur = parent_of(ctx.graph(), *cur);
      if (cur == nullptr) break;
      kept[count++] = cur;
      if (is_type_class(*cur)) break;
      if (is_ns0(*cur, 85) || is_ns0(*cur, 92) || is_ns0(*cur, 93) || is_ns0(*cur, 86) ||
          is_ns0(*cur, 90) || is_ns0(*cur, 84)) {
        break;
      }
    }
    // Root, Objects, Types and DataTypes say nothing about a node below them.
    const uagraph_node& top = *kept[count - 1];
    if (count > 1 && (is_ns0(top, 84) || is_ns0(top, 85) || is_ns0(top, 86) || is_ns0(top, 90))) {
      --count;
    }
  }
  out.clear();
  for (std::size_t i = count; i-- > 0;) {
    const std::string_view name = ctx.symbolic_name(*kept[i], kFunction);
    if (name.empty()) return -1;
    if (!out.empty()) out += '_';
    out += name;
  }
  return 0;
}

int macro_name(const codegen_context& ctx, const nstable_entry& entry, uagraph_node& node,
               std::string& out) {
  constexpr const char* kFunction = "output_c_identifier";
  const std::string& prefix = entry.prefix();
  if (is_type_class(node) || node.nodeclass() == UA_NODECLASS_REFERENCETYPE) {
    const std::string_view name = ctx.symbolic_name(node, kFunction);
    if (name.empty()) return -1;
    out = cg_upper(cg_join({prefix, "_ID_", name}));
    return 0;
  }
  if (uagraph_node* type = encoded_type(ctx.graph(), node); type != nullptr) {
    const std::string_view type_name = ctx.symbolic_name(*type, kFunction);
    const std::string_view name = ctx.symbolic_name(node, kFunction);
    if (type_name.empty() || name.empty()) return -1;
    out = cg_upper(cg_join({prefix, "_ID_", type_name, "_ENCODING_", name}));
    return 0;
  }
  std::string path;
  if (browse_path_name(ctx, node, path) != 0) return -1;
  out = cg_upper(cg_join({prefix, "_ID_", path}));
  return 0;
}

// One type list of type_identifier.h; the first entry of the file carries the initialiser.
int write_type_entries(const codegen_context& ctx, output_file& out, const nstable_entry& entry,
                       const std::vector<UADataType*>& types, const char* comment, bool& first) {
  if (types.empty()) return 0;
  out.print("/* %s */\n", comment);
  for (UADataType* type : types) {
    const std::string_view name = ctx.symbolic_name(*type, "output_c_type_identifier");
    if (name.empty()) return -1;
    const std::string id = ctx.type_identifier(*type, name);
    out.put("    ");
    out.identifier(id);
    if (first) {
      out.print(" = %s_MODEL_LOCAL_INDEX << UA_TYPE_TABLE_LOCAL_TYPE_BITS,\n",
                entry.prefix_upper().c_str());
      first = false;
    } else {
      out.put(",\n");
    }
  }
  return 0;
}

}  // namespace

int output_c_identifier(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_identifier";
  output_file out;
  if (ctx.open_file(out, ctx.namespace_dir(entry) + "/identifier.h", kFunction) != 0) return -1;
  const std::string guard = cg_include_guard(entry.prefix() + "_IDENTIFIER");
  const char* macro = entry.prefix_upper().c_str();
  out.print("#ifndef %s\n#define %s\n\n", guard.c_str(), guard.c_str());
  out.put("/* NO_EXTERN_C_NEEDED */\n\n/* model information */\n");
  const uint32_t index = ctx.model_index(entry);
  out.print("#define %s_MODEL_NAMESPACE_INDEX %u\n", macro, index);
  if (ctx.defines_data_types(entry.sdk_index)) {
    out.print("#define %s_MODEL_LOCAL_INDEX %u\n", macro, index);
  }
  if (write_model_texts(out, entry, kFunction) != 0) return out.finish(-1);
  out.put("\n/* datatype identifiers */\n");

  std::string name;
  // A macro name defined twice would give the first node the second node's identifier (or
  // fail a -Werror build): the first node keeps the name, later ones are named in a warning.
  // The names live in one growing text; the set holds the offset and length of each.
  std::string names;
  struct name_ref {
    std::size_t offset;
    std::size_t size;
    const uagraph_node* node;
  };
  const auto view = [&names](const name_ref& r) {
    return std::string_view(names).substr(r.offset, r.size);
  };
  const auto hash = [&view](const name_ref& r) { return std::hash<std::string_view>{}(view(r)); };
  const auto equal = [&view](const name_ref& a, const name_ref& b) { return view(a) == view(b); };
  std::unordered_set<name_ref, decltype(hash), decltype(equal)> defined(0, hash, equal);
  const int ret = ctx.node_filter(
      255, static_cast<int>(entry.sdk_index), [&](uagraph_node& node, const node_position&) {
        const ua_nodeid& id = node.NodeId;
        if (id.type() != ua_nodeid_type::numeric && id.type() != ua_nodeid_type::string) {
          codegen_context::warning("warning: ignored nodeid with type %i\n",
                                   static_cast<int>(id.type()));
          return 1;
        }
        if (macro_name(ctx, entry, node, name) != 0) return -1;
        const std::size_t offset = names.size();
        names += name;
        const auto [it, fresh] = defined.insert(name_ref{offset, name.size(), &node});
        if (!fresh) {
          names.resize(offset);
          codegen_context::warning(
              "warning: node %s gets no identifier macro: %s names node %s already\n",
              ua_nodeid_printable(id).c_str(), name.c_str(),
              ua_nodeid_printable(it->node->NodeId).c_str());
          return 1;
        }
        if (id.type() == ua_nodeid_type::string && !cg_fits_c_literal(id.string_id())) {
          // A cut identifier would name another node, or none.
          codegen_context::error(
              "error (%s): the string NodeId of node %s (%s) is longer than a C string literal "
              "can hold (%zu characters escaped).\n",
              kFunction, ua_nodeid_printable(id).c_str(), name.c_str(), CODEGEN_MAX_LITERAL);
          return -1;
        }
        out.put("#define ");
        out.identifier(name, 60);
        out.put(' ');
        if (id.is_numeric()) {
          out.print("%u", id.numeric_id());
        } else {
          out.c_string(id.string_id());
        }
        out.put('\n');
        return 0;
      });
  out.print("\n#endif /* end of includeguard: %s */\n\n", guard.c_str());
  return out.finish(ret < 0 ? -1 : 0);
}

int write_model_texts(output_file& out, const nstable_entry& entry, const char* function) {
  const std::string& macro = entry.prefix_upper();
  if (!cg_fits_c_literal(entry.uri)) {
    codegen_context::error(
        "error (%s): the namespace URI of %s is longer than a C string literal can hold (%zu "
        "characters escaped).\n",
        function, entry.prefix().c_str(), CODEGEN_MAX_LITERAL);
    return -1;
  }
  const struct {
    const char* name;
    std::string_view text;
  } texts[] = {{"URI", entry.uri},
               {"VERSION", entry.version ? std::string_view(*entry.version) : ""},
               {"PUBLICATION_DATE",
                entry.publication_date ? std::string_view(*entry.publication_date) : ""}};
  for (const auto& t : texts) {
    out.print("#define %s_MODEL_NAMESPACE_%s ", macro.c_str(), t.name);
    if (out.c_string(t.text) != 0) {
      codegen_context::warning("warning (%s): the %s of namespace %s was truncated.\n", function,
                               t.name, entry.prefix().c_str());
    }
    out.put('\n');
  }
  return 0;
}

int output_c_type_identifier(const codegen_context& ctx, const nstable_entry& entry) {
  constexpr const char* kFunction = "output_c_type_identifier";
  const type_lists& types = ctx.types_of(entry.sdk_index);
  output_file out;
  if (ctx.open_file(out, ctx.namespace_dir(entry) + "/type_identifier.h", kFunction) != 0) {
    return -1;
  }
  const std::string guard = cg_include_guard(entry.prefix() + "_TYPE_IDENTIFIER");
  out.print("#ifndef %s\n#define %s\n\n", guard.c_str(), guard.c_str());
  out.put("#include \"identifier.h\"\n#include <uabase/type_table.h>\n\n");
  out.put("/* NO_EXTERN_C_NEEDED */\n\n");
  out.print(
      "/* List if type identifiers which are the local index into the g_table_table_%s "
      "array. */\n",
      entry.prefix_lower().c_str());
  out.print("enum %s_type_identifier {\n", entry.prefix_lower().c_str());
  bool first = true;
  int ret = write_type_entries(ctx, out, entry, types.enums, "enums", first);
  if (ret == 0) ret = write_type_entries(ctx, out, entry, types.optionsets, "optionsets", first);
  if (ret == 0) ret = write_type_entries(ctx, out, entry, types.structures, "structures", first);
  out.put("};\n\n");
  out.print("#endif /* end of includeguard: %s */\n\n", guard.c_str());
  return out.finish(ret);
}

}  // namespace vos
