#include "tools/vospack/filter.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/vospack/uagraph.h"

namespace vos {

// ---- category filters ---------------------------------------------------------------------

uint32_t filter_apply(uagraph& graph, std::span<const std::string> patterns) {
  graph.reset_removed_count();
  // By slot, so that nodes removed along the way (children of a removed node) are skipped.
  const uint32_t slots = graph.node_slot_count();
  for (uint32_t i = 0; i < slots; ++i) {
    uagraph_node* node = graph.node_at(i);
    if (node == nullptr || node->extra().categories.empty()) continue;
    for (const std::string& pattern : patterns) {
      if (!uagraph_node_contains_category(*node, pattern)) continue;
      if (uagraph_node_remove_category(*node, pattern) != 0) continue;
      if (!node->extra().categories.empty()) continue;
      graph.node_remove_subtree(*node);
      graph.node_remove(*node);
      break;
    }
  }
  const uint32_t removed = graph.removed_count();
  std::printf("%u nodes have been filtered\n", removed);
  return removed;
}

// ---- stripping ----------------------------------------------------------------------------

namespace {

// Standard nodes that are kept without following anything from them: the type folders,
// EventTypes, and the type-system, dictionary and modelling-rule nodes.
constexpr uint32_t k_kept_standard_nodes[] = {84, 86, 90, 3048, 88, 89,   91, 87,  69,
                                              72, 77, 78, 80,   93, 7617, 92, 8252};
// The walks start from Objects, then from References.
constexpr uint32_t k_walk_roots[] = {85, 31};
constexpr uint32_t k_id_hasdescription = 39;

// Marks what is reachable by two mutually recursive walks:
//
// Instance walk from a node not marked yet: mark it; for each forward hierarchical
// reference, walk from the target; then, for an Object target, type-walk its type
// definition; for a Variable target, its type definition and then its data type.
//
// Type walk from a type not marked yet: for the type and then each supertype in turn, mark
// it and go through all its forward references: an Object target is instance-walked, its
// type definition type-walked and the target of its HasDescription reference marked; a
// Variable target is instance-walked and its type definition and data type type-walked; a
// Method target is instance-walked. Before its references, a data type's definition is
// gone through: the data type of every field is type-walked, so that a kept structure keeps
// the types its fields are made of (and, through their walks, theirs in turn).
//
// Which walk reaches a node first decides what is followed from it, so the order of the
// steps above matters. The walks run on an explicit stack of frames, so that deep models
// cannot exhaust the call stack.
class marker {
 public:
  explicit marker(uagraph& graph)
      : graph_(graph),
        hierarchical_(graph.node_find_ns0(UAGRAPH_ID_HIERARCHICALREFERENCES)),
        is_hierarchical_(graph.node_slot_count(), 0) {}

  void instance_walk(uagraph_node& start) {
    enter_instance(&start);
    run();
  }

 private:
  enum class step : uint8_t {
    next,              // go on with the next reference (type frame: or the supertype)
    after_instance,    // instance frame: the target was walked
    after_typedef,     // instance frame: the target's type definition was walked
    object_walked,     // type frame: an Object target was walked
    object_typedef,    // type frame: its type definition was walked
    variable_walked,   // type frame: a Variable target was walked
    variable_typedef,  // type frame: its type definition was walked
  };

  struct frame {
    frame(bool type, uagraph_node* n) noexcept : type_walk(type), node(n) {}
    bool type_walk;
    step at = step::next;
    uagraph_node* node;  // instance frame: the node; type frame: the current (super)type
    uagraph_node* target = nullptr;
    uagraph_reference_range::iterator it;
    uagraph_reference_range::iterator end;
    std::size_t field = 0;        // type frame: the next definition field of `node`
    std::size_t chain_begin = 0;  // type frame: its supertype chain in chain_
  };

  bool hierarchical(const uagraph_reference& r) {
    uint8_t& known = is_hierarchical_[r.reftype];
    if (known == 0) {
      known = hierarchical_ != nullptr && graph_.is_subtype_of(graph_.reftype_of(r), *hierarchical_)
                  ? 1
                  : 2;
    }
    return known == 1;
  }

  uagraph_node* datatype_of(const uagraph_node& node) const {
    const UAVariable* variable = node.as<UAVariable>();
    return variable != nullptr ? graph_.node_find(variable->DataType) : nullptr;
  }

  void start_references(frame& f) {
    const uagraph_reference_range refs = graph_.forward_references(*f.node);
    f.it = refs.begin();
    f.end = refs.end();
  }

  void enter_instance(uagraph_node* node) {
    if (node == nullptr || node->used != 0) return;
    node->used = 1;
    frame f(false, node);
    start_references(f);
    stack_.push_back(f);
  }

  void enter_type(uagraph_node* type) {
    if (type == nullptr || type->used != 0) return;
    type->used = 1;
    frame f(true, type);
    f.chain_begin = chain_.size();
    chain_.push_back(type->node_index());
    start_references(f);
    stack_.push_back(f);
  }

  void run() {
    while (!stack_.empty()) {
      // The frame is not used after an enter_* call, which may move the stack.
      frame& f = stack_.back();
      switch (f.at) {
        case step::next:
          if (f.type_walk) {
            next_type_reference(f);
          } else {
            next_instance_reference(f);
          }
          break;
        case step::after_instance: {
          uagraph_node* target = f.target;
          f.at = step::after_typedef;
          if (target->as<UAObject>() != nullptr || target->as<UAVariable>() != nullptr) {
            enter_type(graph_.node_typedefinition(*target));
          }
          break;
        }
        case step::after_typedef: {
          uagraph_node* target = f.target;
          f.at = step::next;
          enter_type(datatype_of(*target));
          break;
        }
        case step::object_walked:
          f.at = step::object_typedef;
          enter_type(graph_.node_typedefinition(*f.target));
          break;
        case step::object_typedef: {
          f.at = step::next;
          const uagraph_reference* r =
              graph_.node_find_reference(*f.target, ua_nodeid(0, k_id_hasdescription), true);
          if (r != nullptr) graph_.target_of(*r).used = 1;
          break;
        }
        case step::variable_walked:
          f.at = step::variable_typedef;
          enter_type(graph_.node_typedefinition(*f.target));
          break;
        case step::variable_typedef: {
          uagraph_node* target = f.target;
          f.at = step::next;
          enter_type(datatype_of(*target));
          break;
        }
      }
    }
  }

  void next_instance_reference(frame& f) {
    while (f.it != f.end && !hierarchical(*f.it)) ++f.it;
    if (f.it == f.end) {
      stack_.pop_back();
      return;
    }
    uagraph_node* target = &graph_.target_of(*f.it);
    ++f.it;
    f.target = target;
    f.at = step::after_instance;
    enter_instance(target);
  }

  void next_type_reference(frame& f) {
    if (const UADataType* type = f.node->as<UADataType>();
        type != nullptr && f.field < type->Definition.fields.size()) {
      const ua_nodeid& field_type = type->Definition.fields[f.field++].DataType;
      if (!field_type.is_null()) enter_type(graph_.node_find(field_type));
      return;
    }
    if (f.it == f.end) {
      // Up the supertype chain; a chain that loops back ends where it would repeat.
      uagraph_node* super = graph_.node_supertype(*f.node);
      const auto chain = chain_.begin() + static_cast<std::ptrdiff_t>(f.chain_begin);
      if (super == nullptr || std::find(chain, chain_.end(), super->node_index()) != chain_.end()) {
        chain_.resize(f.chain_begin);
        stack_.pop_back();
        return;
      }
      chain_.push_back(super->node_index());
      super->used = 1;
      f.node = super;
      f.field = 0;
      start_references(f);
      return;
    }
    uagraph_node* target = &graph_.target_of(*f.it);
    ++f.it;
    f.target = target;
    switch (target->nodeclass()) {
      case UA_NODECLASS_OBJECT:
        f.at = step::object_walked;
        enter_instance(target);
        break;
      case UA_NODECLASS_VARIABLE:
        f.at = step::variable_walked;
        enter_instance(target);
        break;
      case UA_NODECLASS_METHOD:
        enter_instance(target);
        break;
      default:
        break;
    }
  }

  uagraph& graph_;
  const uagraph_node* hierarchical_;
  std::vector<uint8_t> is_hierarchical_;  // by reference-type node index: 0 unknown, 1, 2 no
  std::vector<frame> stack_;
  std::vector<uint32_t> chain_;  // supertype chains of the open type frames
};

}  // namespace

void filter_strip_unused_types(uagraph& graph) {
  graph.clear_marks();
  for (uint32_t id : k_kept_standard_nodes) {
    uagraph_node* node = graph.node_find_ns0(id);
    if (node == nullptr) {
      std::fprintf(stderr, "error: node with nodeid ns=0;i=%u not found.\n", id);
      continue;
    }
    node->used = 1;
  }
  marker walker(graph);
  for (uint32_t id : k_walk_roots) {
    uagraph_node* node = graph.node_find_ns0(id);
    if (node == nullptr) {
      std::fprintf(stderr, "error: could not find node with ns=0;i=%u.\n", id);
      continue;
    }
    walker.instance_walk(*node);
  }
  const uint32_t slots = graph.node_slot_count();
  for (uint32_t i = 0; i < slots; ++i) {
    uagraph_node* node = graph.node_at(i);
    if (node != nullptr && node->used == 0) graph.node_remove(*node);
  }
}

}  // namespace vos
