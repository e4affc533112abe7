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

uagraph_node* codegen_context::default_binary_encoding(const uagraph_node& type) const {
  constexpr uint32_t kHasEncoding = 38;
  for (const uagraph_reference& r : graph_.forward_references(type)) {
    if (!(graph_.reftype_of(r).NodeId == ua_nodeid(0, kHasEncoding))) continue;
    uagraph_node& enc = graph_.target_of(r);
    if (enc.BrowseName.name.view() == "Default Binary") return &enc;
  }
  return nullptr;
}

const std::string* codegen_context::node_macro(const nstable_entry& entry,
                                               const uagraph_node& node) const {
  const identifier_macros& macros = identifier_macros_of(entry);
  const auto it = macros.index.find(&node);
  return it != macros.index.end() ? &macros.ordered[it->second].second : nullptr;
}

const identifier_macros& codegen_context::identifier_macros_of(const nstable_entry& entry) const {
  constexpr const char* kFunction = "output_c_identifier";
  if (const auto it = macros_.find(entry.sdk_index); it != macros_.end()) return it->second;
  identifier_macros& macros = macros_[entry.sdk_index];
  // Macro name -> the node it names.
  std::unordered_map<std::string, const uagraph_node*> defined;
  std::unordered_map<const uagraph_node*, std::string> names;
  // The nodes whose names the type tables use claim them first.
  std::unordered_set<const uagraph_node*> claiming;
  const type_lists& types = types_of(entry.sdk_index);
  for (const auto* list : {&types.enums, &types.optionsets, &types.structures}) {
    for (const UADataType* t : *list) claiming.insert(t);
  }
  for (const UADataType* t : types.structures) {
    if (const uagraph_node* enc = default_binary_encoding(*t); enc != nullptr) {
      claiming.insert(enc);
    }
  }
  const auto named = [&](uagraph_node& node) {
    const ua_nodeid& id = node.NodeId;
    return id.type() == ua_nodeid_type::numeric || id.type() == ua_nodeid_type::string;
  };
  std::string name;
  const int first = node_filter(
      255, static_cast<int>(entry.sdk_index), [&](uagraph_node& node, const node_position&) {
        if (!claiming.contains(&node) || !named(node)) return 1;
        if (macro_name(*this, entry, node, name) != 0) return -1;
        const auto [it, fresh] = defined.emplace(name, &node);
        if (!fresh) {
          error("error (%s): the identifier macro %s would name both node %s and node %s.\n",
                kFunction, name.c_str(), ua_nodeid_printable(it->second->NodeId).c_str(),
                ua_nodeid_printable(node.NodeId).c_str());
          return -1;
        }
        names.emplace(&node, name);
        return 0;
      });
  if (first < 0) {
    macros.failed = true;
    return macros;
  }
  const int ret = node_filter(
      255, static_cast<int>(entry.sdk_index), [&](uagraph_node& node, const node_position&) {
        const ua_nodeid& id = node.NodeId;
        if (!named(node)) {
          warning("warning: ignored nodeid with type %i\n", static_cast<int>(id.type()));
          return 1;
        }
        if (const auto own = names.find(&node); own != names.end()) {
          macros.index.emplace(&node, macros.ordered.size());
          macros.ordered.emplace_back(&node, own->second);
          return 0;
        }
        if (macro_name(*this, entry, node, name) != 0) return -1;
        const auto [it, fresh] = defined.emplace(name, &node);
        if (!fresh) {
          warning("warning: node %s gets no identifier macro: %s names node %s already\n",
                  ua_nodeid_printable(id).c_str(), name.c_str(),
                  ua_nodeid_printable(it->second->NodeId).c_str());
          return 1;
        }
        macros.index.emplace(&node, macros.ordered.size());
        macros.ordered.emplace_back(&node, name);
        return 0;
      });
  macros.failed = ret < 0;
  return macros;
}

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

  const identifier_macros& macros = ctx.identifier_macros_of(entry);
  int ret = macros.failed ? -1 : 0;
  for (const auto& [node, name] : macros.ordered) {
    const ua_nodeid& id = node->NodeId;
    if (id.type() == ua_nodeid_type::string && !cg_fits_c_literal(id.string_id())) {
      // A cut identifier would name another node, or none.
      codegen_context::error(
          "error (%s): the string NodeId of node %s (%s) is longer than a C string literal "
          "can hold (%zu characters escaped).\n",
          kFunction, ua_nodeid_printable(id).c_str(), name.c_str(), CODEGEN_MAX_LITERAL);
      ret = -1;
      break;
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
  }
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
