#include "tools/vospack/addrspace_print.h"

#include <vector>

namespace vos {

namespace {

constexpr uint32_t k_id_root = 84;

void print_name(std::FILE* out, int indent, const ua_string& name) {
  std::fprintf(out, "%*s%.*s\n", indent, "", static_cast<int>(name.size()), name.data());
}

void print_definition(std::FILE* out, int indent, UADataType& dt) {
  const uagraph_definition& def = dt.Definition;
  const ua_string& symbol = dt.symbolic_name();
  std::fprintf(out, "%*sSymbol: '%.*s'", indent + 2, "", static_cast<int>(symbol.size()),
               symbol.data());
  std::fprintf(out, ", Name: %u:'%.*s'\n", static_cast<unsigned>(dt.BrowseName.ns),
               static_cast<int>(dt.BrowseName.name.size()), dt.BrowseName.name.data());
  if (def.kind == UAGRAPH_DEFINITION_STRUCTURE) {
    for (const uagraph_field& f : def.fields) {
      std::fprintf(out, "%*s[%.*s]\n", indent + 2, "", static_cast<int>(f.Name.size()),
                   f.Name.data());
    }
  } else if (def.kind == UAGRAPH_DEFINITION_ENUMERATION ||
             def.kind == UAGRAPH_DEFINITION_OPTIONSET) {
    for (const uagraph_field& f : def.fields) {
      std::fprintf(out, "%*s[%.*s] = %i\n", indent + 2, "", static_cast<int>(f.Name.size()),
                   f.Name.data(), static_cast<int>(f.Value));
    }
  }
}

}  // namespace

void addrspace_print(uagraph& graph, std::FILE* out) {
  uagraph_node* root = graph.node_find_ns0(k_id_root);
  if (root == nullptr) return;
  const uagraph_node* hierarchical = graph.node_find_ns0(UAGRAPH_ID_HIERARCHICALREFERENCES);
  graph.clear_marks();

  // Whether a reference type is hierarchical, by node index: 0 unknown, 1 yes, 2 no.
  std::vector<uint8_t> is_hierarchical(graph.node_slot_count(), 0);
  const auto hierarchical_type = [&](const uagraph_node& type) {
    uint8_t& known = is_hierarchical[type.node_index()];
    if (known == 0) {
      known = hierarchical != nullptr && graph.is_subtype_of(type, *hierarchical) ? 1 : 2;
    }
    return known == 1;
  };

  // Depth first without recursion: a frame is a node whose references are being walked.
  struct frame {
    const uagraph_node* node;
    uagraph_reference_range::iterator next;
    uagraph_reference_range::iterator end;
    int indent;
  };
  std::vector<frame> stack;
  const auto visit = [&](uagraph_node& node, int indent) {
    if (node.used != 0) return;
    node.used = 1;
    print_name(out, indent, node.BrowseName.name);
    if (UADataType* dt = node.as<UADataType>()) {
      if (dt->Definition.kind != UAGRAPH_DEFINITION_NONE) print_definition(out, indent, *dt);
    }
    const uagraph_reference_range refs = graph.forward_references(node);
    stack.push_back(frame{&node, refs.begin(), refs.end(), indent});
  };

  visit(*root, 0);
  while (!stack.empty()) {
    frame& top = stack.back();
    if (top.next == top.end) {
      stack.pop_back();
      continue;
    }
    const uagraph_reference& r = *top.next;
    ++top.next;
    if (!hierarchical_type(graph.reftype_of(r))) continue;
    visit(graph.target_of(r), top.indent + 2);  // may grow the stack: `top` is not used after
  }
}

}  // namespace vos
