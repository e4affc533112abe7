// The information-model graph: every node of every loaded model, of the eight OPC UA node
// classes, and the references between them.
//
// The driver owns one `uagraph` for the run; the loader fills it, filtering and type
// stripping remove nodes from it, and the writers read it.
//
// Nodes. A node is a `uagraph_node` record followed by the part of its class (`UAObject`,
// `UAVariable`, ...). Made with `uagraph::node_new`, filled, then handed to
// `uagraph::node_add`, which gives it the next node index (the insertion order that every
// walk over the graph follows) and enters its NodeId in the hash index. A removed node
// leaves an empty slot that is never reused, so node indices stay valid for the run. Node
// indices are 32-bit: the graph holds up to 4,294,967,294 nodes and as many references;
// every store grows as needed.
//
// References. A reference runs from its source to its target and has a ReferenceType node
// as its type; it sits in the forward list of its source and in the inverse list of its
// target (an inverse reference of a model file is stored with source and target exchanged).
// Both lists keep the order in which the references were added. References hold node
// indices; `source_of`, `target_of` and `reftype_of` give the nodes.
//
// Node and reference records stay where they are until they are removed. Do not add or
// remove references of a node while walking one of its lists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tools/vospack/uagraph_rolepermission.h"
#include "trace/trace.h"
#include "uabase/types.h"

namespace vos {

// Node classes: the OPC UA NodeClass bits.
inline constexpr uint32_t UA_NODECLASS_OBJECT = 1;
inline constexpr uint32_t UA_NODECLASS_VARIABLE = 2;
inline constexpr uint32_t UA_NODECLASS_METHOD = 4;
inline constexpr uint32_t UA_NODECLASS_OBJECTTYPE = 8;
inline constexpr uint32_t UA_NODECLASS_VARIABLETYPE = 16;
inline constexpr uint32_t UA_NODECLASS_REFERENCETYPE = 32;
inline constexpr uint32_t UA_NODECLASS_DATATYPE = 64;
inline constexpr uint32_t UA_NODECLASS_VIEW = 128;

// Numeric identifiers of the namespace-0 nodes that the look-ups use.
inline constexpr uint32_t UAGRAPH_ID_OPTIONSET = 12755;
inline constexpr uint32_t UAGRAPH_ID_STRUCTURE = 22;
inline constexpr uint32_t UAGRAPH_ID_DIAGNOSTICINFO = 25;
inline constexpr uint32_t UAGRAPH_ID_INTEGER = 27;
inline constexpr uint32_t UAGRAPH_ID_UINTEGER = 28;
inline constexpr uint32_t UAGRAPH_ID_ENUMERATION = 29;
inline constexpr uint32_t UAGRAPH_ID_HIERARCHICALREFERENCES = 33;
inline constexpr uint32_t UAGRAPH_ID_HASCHILD = 34;
inline constexpr uint32_t UAGRAPH_ID_HASMODELLINGRULE = 37;
inline constexpr uint32_t UAGRAPH_ID_HASTYPEDEFINITION = 40;
inline constexpr uint32_t UAGRAPH_ID_HASSUBTYPE = 45;
inline constexpr uint32_t UAGRAPH_ID_NAMESPACEMETADATATYPE = 11616;
inline constexpr uint32_t UAGRAPH_ID_ROLETYPE = 15620;

// No node, no reference.
inline constexpr uint32_t UAGRAPH_NONE = UINT32_MAX;

// Kinds of a data-type definition.
enum uagraph_definition_kind : uint32_t {
  UAGRAPH_DEFINITION_NONE = 0,
  UAGRAPH_DEFINITION_STRUCTURE = 1,
  UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS = 2,
  UAGRAPH_DEFINITION_UNION = 3,
  UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES = 4,
  UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES = 5,
  UAGRAPH_DEFINITION_ENUMERATION = 6,
  UAGRAPH_DEFINITION_OPTIONSET = 7,
};

// Makes a C-identifier-safe name from a browse name or field name: letters of Latin-1 and
// Latin Extended-A lose their diacritics, ASCII letters, digits and '_' stay, everything
// else is dropped. An empty result leaves `out` null. A leading digit is kept.
void uagraph_make_symbolic_name(ua_string& out, std::string_view input);

// Wildcard matching: '*' matches any run of characters (also none), '?' exactly one, every
// other character itself (case-sensitive). Returns 0 on a match, UA_EBADMISMATCH on none,
// UA_EBADTOOMANYNESTEDCALLS when the '*' groups nest the matching 10 levels deep. `flags` is
// reserved (pass 0).
int uagraph_wildcard_match(std::string_view pattern, std::string_view text, int flags);

// Value rank and array dimensions of a Variable, VariableType or definition field.
class uagraph_arrayinfo {
 public:
  int32_t ValueRank = -1;

  std::span<const uint32_t> ArrayDimensions() const noexcept { return {dims_.get(), count_}; }
  void set_ArrayDimensions(std::span<const uint32_t> dims);

 private:
  uint32_t count_ = 0;
  std::unique_ptr<uint32_t[]> dims_;
};

// One field of a data-type definition. A structure field uses Name, the symbolic name,
// DataType, the array information and MaxStringLength; an enumeration or option-set field
// Name and Value.
struct uagraph_field {
  ua_string Name;
  ua_localizedtext DisplayName;
  ua_localizedtext Description;
  int32_t Value = 0;  // the enumeration value or option-set bit
  ua_string SymbolicName;
  ua_nodeid DataType;
  uagraph_arrayinfo ArrayInfo;
  uint32_t MaxStringLength = 0;  // 0: none
  bool IsOptional = false;
  bool AllowSubTypes = false;

  // The symbolic name; made from Name and stored on first read when empty.
  const ua_string& symbolic_name();
};

// The definition of a DataType node.
struct uagraph_definition {
  ua_qualifiedname Name;
  ua_string SymbolicName;
  ua_nodeid DefaultEncodingId;  // null until set
  ua_nodeid BaseTypeId;         // null until set
  std::vector<uagraph_field> fields;
  uint32_t kind = UAGRAPH_DEFINITION_NONE;

  uint32_t field_count() const noexcept { return static_cast<uint32_t>(fields.size()); }
  // The field at `index`, or null past the end.
  uagraph_field* field(std::size_t index) noexcept {
    return index < fields.size() ? &fields[index] : nullptr;
  }
  const uagraph_field* field(std::size_t index) const noexcept {
    return index < fields.size() ? &fields[index] : nullptr;
  }
};

// The attributes that most nodes of a large model do not have, kept out of the node record.
struct uagraph_node_extra {
  ua_nodeid ParentNodeId;  // as given in the file; null if absent
  ua_localizedtext Description;
  ua_string SymbolicName;  // empty unless given (or made, see uagraph_node::symbolic_name)
  ua_string Documentation;
  ua_string RTAddress;
  std::vector<uagraph_rolepermission> RolePermissions;
  std::vector<ua_string> categories;
  std::vector<ua_string> extensions;  // inner texts of the node's "Extensions" elements
};

class uagraph;

// Deletes the extra block of a node (node records and their extra blocks come from the
// graph's record arena).
struct uagraph_extra_deleter {
  void operator()(uagraph_node_extra* extra) const noexcept;
};

// The part that every node has.
class uagraph_node {
 public:
  uagraph_node(const uagraph_node&) = delete;
  uagraph_node& operator=(const uagraph_node&) = delete;

  // Mapped to the run's namespace indices. Must not change once the node is added.
  ua_nodeid NodeId;
  ua_localizedtext DisplayName;
  ua_qualifiedname BrowseName;

  uint32_t nodeclass() const noexcept { return nodeclass_; }
  // The node's slot in the graph; UAGRAPH_NONE until it is added.
  uint32_t node_index() const noexcept { return node_index_; }

  // The rarely given attributes; extra() gives shared empty ones when the node has none.
  const uagraph_node_extra& extra() const noexcept;
  uagraph_node_extra& extra_mut();

  // AccessRestrictions: the value is 15 bits; a node remembers whether it was given at all.
  uint16_t get_access_restrictions() const noexcept { return AccessRestrictions_ & 0x7fff; }
  bool has_access_restrictions() const noexcept { return (AccessRestrictions_ & 0x8000) != 0; }
  void set_access_restrictions(uint16_t value) noexcept {
    AccessRestrictions_ = static_cast<uint16_t>(value | 0x8000);
  }

  std::size_t rolepermission_count() const noexcept { return extra().RolePermissions.size(); }
  // The entry at `index`, or null past the end.
  const uagraph_rolepermission* rolepermission(std::size_t index) const noexcept;

  // The symbolic name; made from the browse name and stored on first read when empty.
  const ua_string& symbolic_name();

  // The number of references in the forward and inverse lists.
  uint32_t forward_count() const noexcept { return fwd_count_; }
  uint32_t inverse_count() const noexcept { return inv_count_; }

  // This node as its class record, or null when it is of another class.
  template <class T>
  T* as() noexcept {
    return nodeclass_ == T::nodeclass_code ? static_cast<T*>(this) : nullptr;
  }
  template <class T>
  const T* as() const noexcept {
    return nodeclass_ == T::nodeclass_code ? static_cast<const T*>(this) : nullptr;
  }

 protected:
  explicit uagraph_node(uint32_t nodeclass) noexcept
      : nodeclass_(static_cast<uint8_t>(nodeclass)) {}
  ~uagraph_node() = default;

 private:
  friend class uagraph;

  std::unique_ptr<uagraph_node_extra, uagraph_extra_deleter> extra_;
  uint32_t node_index_ = UAGRAPH_NONE;
  // Ends of the forward and inverse lists.
  uint32_t fwd_head_ = UAGRAPH_NONE;
  uint32_t fwd_tail_ = UAGRAPH_NONE;
  uint32_t inv_head_ = UAGRAPH_NONE;
  uint32_t inv_tail_ = UAGRAPH_NONE;
  uint32_t fwd_count_ = 0;
  uint32_t inv_count_ = 0;
  uint16_t AccessRestrictions_ = 0;  // bit 15: given
  uint8_t nodeclass_;

 public:
  // Declared here, after the private part, so that the record has no holes.
  bool HasNoPermissions = false;
  uint32_t WriteMask = 0;
  // The used mark: cleared by uagraph::clear_marks, set by the passes that walk the graph.
  uint8_t used = 0;
};

struct UAObject final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_OBJECT;
  UAObject() noexcept : uagraph_node(nodeclass_code) {}
  uint8_t EventNotifier = 0;
};

struct UAObjectType final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_OBJECTTYPE;
  UAObjectType() noexcept : uagraph_node(nodeclass_code) {}
  bool IsAbstract = false;
};

struct UAView final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_VIEW;
  UAView() noexcept : uagraph_node(nodeclass_code) {}
  uint8_t EventNotifier = 0;
  bool ContainsNoLoops = false;
};

struct UAMethod final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_METHOD;
  UAMethod() noexcept : uagraph_node(nodeclass_code) {}
  bool Executable = false;
  ua_nodeid MethodDeclarationId;
};

struct UAReferenceType final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_REFERENCETYPE;
  UAReferenceType() noexcept : uagraph_node(nodeclass_code) {}
  ua_localizedtext InverseName;
  bool IsAbstract = false;
  bool Symmetric = false;
  bool HasInverseName = false;
};

struct UAVariable final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_VARIABLE;
  UAVariable() noexcept : uagraph_node(nodeclass_code) {}
  ua_variant Value;  // empty if the file gives none
  ua_nodeid DataType;
  double MinimumSamplingInterval = 0;
  uagraph_arrayinfo ArrayInfo;
  uint8_t AccessLevel = 1;
  bool Historizing = false;
};

struct UAVariableType final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_VARIABLETYPE;
  UAVariableType() noexcept : uagraph_node(nodeclass_code) {}
  ua_variant Value;
  ua_nodeid DataType;
  uagraph_arrayinfo ArrayInfo;
  bool IsAbstract = false;
};

struct UADataType final : uagraph_node {
  static constexpr uint32_t nodeclass_code = UA_NODECLASS_DATATYPE;
  UADataType() noexcept : uagraph_node(nodeclass_code) {}
  bool IsAbstract = false;
  uagraph_definition Definition;
};

// Deletes a node record of any class.
struct uagraph_node_deleter {
  void operator()(uagraph_node* node) const noexcept;
};
using uagraph_node_ptr = std::unique_ptr<uagraph_node, uagraph_node_deleter>;

// One reference: node indices of its source, target and type.
class uagraph_reference {
 public:
  uint32_t source = UAGRAPH_NONE;
  uint32_t target = UAGRAPH_NONE;
  uint32_t reftype = UAGRAPH_NONE;

 private:
  friend class uagraph;
  friend class uagraph_reference_range;
  // Links in the forward list of the source and in the inverse list of the target.
  uint32_t next_fwd_ = UAGRAPH_NONE;
  uint32_t prev_fwd_ = UAGRAPH_NONE;
  uint32_t next_inv_ = UAGRAPH_NONE;
  uint32_t prev_inv_ = UAGRAPH_NONE;
};

// Reference records, in blocks that never move. A block's records come to life as they are
// handed out, so that the unused end of the last block is never touched.
class uagraph_reference_pool {
 public:
  uagraph_reference& operator[](uint32_t id) noexcept {
    return *std::launder(reinterpret_cast<uagraph_reference*>(blocks_[id >> kBlockBits].get() +
                                                              std::size_t{id & kBlockMask} *
                                                                  sizeof(uagraph_reference)));
  }
  const uagraph_reference& operator[](uint32_t id) const noexcept {
    return *std::launder(reinterpret_cast<const uagraph_reference*>(
        blocks_[id >> kBlockBits].get() +
        std::size_t{id & kBlockMask} * sizeof(uagraph_reference)));
  }
  uint32_t size() const noexcept { return size_; }
  // A new record at the end; its id is the old size.
  uint32_t push();
  std::size_t capacity_bytes() const noexcept {
    return blocks_.size() * (sizeof(uagraph_reference) << kBlockBits);
  }

 private:
  static constexpr uint32_t kBlockBits = 14;
  static constexpr uint32_t kBlockMask = (1u << kBlockBits) - 1;
  static_assert(std::is_trivially_destructible_v<uagraph_reference>);
  static_assert(alignof(uagraph_reference) <= alignof(std::max_align_t));
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  uint32_t size_ = 0;
};

// The references of one list of a node, in the order they were added.
class uagraph_reference_range {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = uagraph_reference;
    using difference_type = std::ptrdiff_t;
    using pointer = const uagraph_reference*;
    using reference = const uagraph_reference&;

    iterator() noexcept = default;
    const uagraph_reference& operator*() const noexcept { return (*refs_)[cur_]; }
    const uagraph_reference* operator->() const noexcept { return &(*refs_)[cur_]; }
    iterator& operator++() noexcept {
      const uagraph_reference& r = (*refs_)[cur_];
      cur_ = forward_ ? r.next_fwd_ : r.next_inv_;
      return *this;
    }
    iterator operator++(int) noexcept {
      iterator old = *this;
      ++*this;
      return old;
    }
    friend bool operator==(const iterator& a, const iterator& b) noexcept {
      return a.cur_ == b.cur_;
    }

   private:
    friend class uagraph_reference_range;
    iterator(const uagraph_reference_pool* refs, uint32_t head, bool forward) noexcept
        : refs_(refs), cur_(head), forward_(forward) {}
    const uagraph_reference_pool* refs_ = nullptr;
    uint32_t cur_ = UAGRAPH_NONE;
    bool forward_ = true;
  };

  iterator begin() const noexcept { return iterator(refs_, head_, forward_); }
  iterator end() const noexcept { return iterator(refs_, UAGRAPH_NONE, forward_); }
  bool empty() const noexcept { return head_ == UAGRAPH_NONE; }

 private:
  friend class uagraph;
  uagraph_reference_range(const uagraph_reference_pool* refs, uint32_t head, bool forward) noexcept
      : refs_(refs), head_(head), forward_(forward) {}
  const uagraph_reference_pool* refs_;
  uint32_t head_;
  bool forward_;
};

// The nodes present in the graph, in node-index order.
class uagraph_node_range {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = uagraph_node*;
    using difference_type = std::ptrdiff_t;
    using pointer = uagraph_node* const*;
    using reference = uagraph_node*;

    iterator() noexcept = default;
    uagraph_node* operator*() const noexcept { return it_->get(); }
    iterator& operator++() noexcept {
      ++it_;
      skip();
      return *this;
    }
    iterator operator++(int) noexcept {
      iterator old = *this;
      ++*this;
      return old;
    }
    friend bool operator==(const iterator& a, const iterator& b) noexcept { return a.it_ == b.it_; }

   private:
    friend class uagraph_node_range;
    using base = std::vector<uagraph_node_ptr>::const_iterator;
    iterator(base it, base end) noexcept : it_(it), end_(end) { skip(); }
    void skip() noexcept {
      while (it_ != end_ && *it_ == nullptr) ++it_;
    }
    base it_{};
    base end_{};
  };

  iterator begin() const noexcept { return iterator(nodes_->begin(), nodes_->end()); }
  iterator end() const noexcept { return iterator(nodes_->end(), nodes_->end()); }

 private:
  friend class uagraph;
  explicit uagraph_node_range(const std::vector<uagraph_node_ptr>* nodes) noexcept
      : nodes_(nodes) {}
  const std::vector<uagraph_node_ptr>* nodes_;
};

// True if any category of the node matches the wildcard pattern. A matcher failure other
// than a mismatch is reported ("Wildcard matching failed with error.") and gives false.
bool uagraph_node_contains_category(const uagraph_node& node, std::string_view pattern);
// Removes every category of the node that matches the pattern. Returns 0, or the matcher's
// failure after reporting it.
int uagraph_node_remove_category(uagraph_node& node, std::string_view pattern);

class uagraph {
 public:
  uagraph();
  ~uagraph();
  uagraph(const uagraph&) = delete;
  uagraph& operator=(const uagraph&) = delete;

  // A new, empty node record of the class; null for an unknown class.
  static uagraph_node_ptr node_new(uint32_t nodeclass);

  // Adds the node: gives it the next node index and enters its NodeId in the hash index.
  // Returns 0; UA_EBADDUPLICATEENTRY when a node with that NodeId is present (the new node
  // is dropped); UA_EBADINVALIDARGUMENT for no node.
  int node_add(uagraph_node_ptr node);

  // The node with this NodeId, or null.
  uagraph_node* node_find(const ua_nodeid& nodeid) const;
  uagraph_node* node_find_ns0(uint32_t numeric_id) const {
    return node_find(ua_nodeid(0, numeric_id));
  }

  // The node at a node index, or null for a removed node or an index past the end.
  uagraph_node* node_at(uint32_t index) const noexcept {
    return index < nodes_.size() ? nodes_[index].get() : nullptr;
  }
  // The next free node index (slots of removed nodes included).
  uint32_t node_slot_count() const noexcept { return static_cast<uint32_t>(nodes_.size()); }
  // The number of nodes present.
  std::size_t node_count() const noexcept { return live_nodes_; }
  std::size_t reference_count() const noexcept { return live_refs_; }
  // Every node present, in node-index order.
  uagraph_node_range nodes() const noexcept { return uagraph_node_range(&nodes_); }

  // Adds a reference from `source` to `target` of type `reftype` (a ReferenceType node); all
  // three must be nodes of this graph. A second reference with the same source, target and
  // type is skipped ("Skipping double reference." at verbosity 2 or more) and counts as
  // success. Returns 0, or UA_EBADINVALIDARGUMENT.
  int reference_add(uagraph_node& source, uagraph_node& target, uagraph_node& reftype);
  // Unlinks the reference from both of its lists and frees it. A reference that is not in
  // the lists (already removed) is reported and gives UA_EBADNOTFOUND.
  int reference_remove(const uagraph_reference& reference);

  uagraph_reference_range forward_references(const uagraph_node& node) const noexcept {
    return uagraph_reference_range(&refs_, node.fwd_head_, true);
  }
  uagraph_reference_range inverse_references(const uagraph_node& node) const noexcept {
    return uagraph_reference_range(&refs_, node.inv_head_, false);
  }
  uagraph_node& source_of(const uagraph_reference& r) const noexcept { return *nodes_[r.source]; }
  uagraph_node& target_of(const uagraph_reference& r) const noexcept { return *nodes_[r.target]; }
  uagraph_node& reftype_of(const uagraph_reference& r) const noexcept { return *nodes_[r.reftype]; }

  // The first reference of the forward (or inverse) list whose type has exactly this NodeId.
  const uagraph_reference* node_find_reference(const uagraph_node& node, const ua_nodeid& reftype,
                                               bool forward) const;
  // The same for a type that is this type or a subtype of it; null if the type is absent.
  const uagraph_reference* node_find_reference_subtype(const uagraph_node& node,
                                                       const ua_nodeid& reftype,
                                                       bool forward) const;
  // The source of the node's first inverse HasSubtype reference, or null.
  uagraph_node* node_supertype(const uagraph_node& node) const;
  // True when `base` is met walking up the supertype chain from `type` (itself included).
  bool is_subtype_of(const uagraph_node& type, const uagraph_node& base) const;
  // The source of the first inverse reference of type HasChild or a subtype of it, or null.
  uagraph_node* node_parent(const uagraph_node& node) const;
  // The target of the node's HasTypeDefinition / HasModellingRule reference, or null.
  uagraph_node* node_typedefinition(const uagraph_node& node) const;
  uagraph_node* node_modellingrule(const uagraph_node& node) const;

  // Removes a node with all its references; counts it as removed. ReferenceType nodes are
  // never removed (UA_EBADNOTSUPPORTED). Returns 0, or UA_EBADINVALIDARGUMENT for a node
  // that is not in this graph.
  int node_remove(uagraph_node& node);
  // Removes, depth first, every node below this one along forward hierarchical references
  // (children before their parents); the node itself is left to the caller. A node met
  // again on the current path (a loop) is not followed. Needs HierarchicalReferences in
  // the graph: without it reports and gives UA_EBADNOTFOUND.
  int node_remove_subtree(uagraph_node& node);
  // Nodes removed since the last reset.
  uint32_t removed_count() const noexcept { return removed_; }
  void reset_removed_count() noexcept { removed_ = 0; }

  // Clears the used mark of every node present.
  void clear_marks() noexcept;

  // Type tests used by the writers.
  // Namespace 0, numeric below 26.
  static bool is_builtin_type(const ua_nodeid& id) noexcept;
  // Namespace 0, numeric 25.
  static bool is_diagnosticinfo(const ua_nodeid& id) noexcept;
  // True when the supertype chain from the node (itself included) meets a namespace-0
  // numeric id of 1 to 11, 13, 14, 19 or 29.
  bool is_simple_type(const uagraph_node& type) const;
  // For a DataType whose supertype is a DataType other than OptionSet, Enumeration,
  // Structure, Integer or UInteger: that supertype; else null.
  uagraph_node* derived_datatype_base(const uagraph_node& type) const;
  // A Variable named DefaultAccessRestrictions, DefaultRolePermissions or
  // DefaultUserRolePermissions (namespace 0) below a NamespaceMetadataType instance.
  bool is_namespace_metadata_permission_variable(const uagraph_node& node) const;
  // A Variable below a RoleType instance.
  bool is_role_variable(const uagraph_node& node) const;

  // Trace printers: write to standard output without prefix when the trace level is at
  // least 1 (trace1) or 2 (trace2).
  void set_trace_level(int level) noexcept { trace_level_ = level; }
  int trace_level() const noexcept { return trace_level_; }
  void trace1(const char* format, ...) const VOS_PRINTF(2, 3);
  void trace2(const char* format, ...) const VOS_PRINTF(2, 3);

  // Bytes held by the graph's own records and indexes (node records, references, node
  // array, hash index, extra blocks); strings, identifiers and values are not counted.
  std::size_t memory_bytes() const noexcept;

 private:
  // A node that has been added (to this graph: checked in debug builds).
  bool owns(const uagraph_node& node) const noexcept;
  uint32_t reftype_index(uint32_t ns0_id) const;
  void unlink_and_free(uint32_t id) noexcept;
  void index_erase(const uagraph_node& node) noexcept;
  void index_grow();

  std::vector<uagraph_node_ptr> nodes_;
  uagraph_reference_pool refs_;
  uint32_t free_refs_ = UAGRAPH_NONE;  // freed records, chained through next_fwd_
  // Open-addressing hash index with linear probing. A slot holds node index + 1 (0: empty)
  // and the NodeId's 32-bit key, so that probing rarely has to look at a node and the table
  // can grow without it.
  std::vector<uint64_t> index_;
  std::size_t live_nodes_ = 0;
  std::size_t live_refs_ = 0;
  uint32_t removed_ = 0;
  int trace_level_ = 0;
  // Node indices of well-known ReferenceTypes once found (they are never removed).
  mutable uint32_t known_reftypes_[5] = {UAGRAPH_NONE, UAGRAPH_NONE, UAGRAPH_NONE, UAGRAPH_NONE,
                                         UAGRAPH_NONE};
};

}  // namespace vos
