#include "tools/vospack/uagraph.h"

#include <sys/mman.h>

#include <array>
#include <bit>
#include <cassert>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

#include "diag/diag.h"
#include "util/errors.h"
#include "util/hash.h"

#if defined(__SANITIZE_ADDRESS__)
#define VOS_RECORDS_ON_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VOS_RECORDS_ON_HEAP 1
#endif
#endif
#ifndef VOS_RECORDS_ON_HEAP
#define VOS_RECORDS_ON_HEAP 0
#endif

namespace vos {

namespace {

constexpr std::size_t kInitialIndexSlots = 1024;

uint64_t hash_bytes(uint64_t seed, const void* data, std::size_t size) noexcept {
  const auto* p = static_cast<const unsigned char*>(data);
  uint64_t h = 0xcbf29ce484222325ULL ^ seed;
  for (std::size_t i = 0; i < size; ++i) {
    h ^= p[i];
    h *= 0x100000001b3ULL;
  }
  return h;
}

// The key of a NodeId in the hash index. Numeric ids hash by their number and namespace,
// the others over their bytes. The low three bits of a numeric key are those of the number,
// and the rest is hashed from the number without them: the slots form groups of eight, and
// eight consecutive numbers of a namespace share a group, so that a model's nodes, which
// come mostly in id order, are entered and found with few cache misses.
uint32_t index_key(const ua_nodeid& id) noexcept {
  const uint64_t ns = id.ns();
  switch (id.type()) {
    case ua_nodeid_type::numeric: {
      const uint32_t n = id.numeric_id();
      return static_cast<uint32_t>(mix64(ns << 32 | n >> 3) >> 35) << 3 | (n & 7);
    }
    case ua_nodeid_type::string: {
      const std::string_view s = id.string_id();
      return static_cast<uint32_t>(mix64(hash_bytes(ns << 8 | 1, s.data(), s.size())) >> 32);
    }
    case ua_nodeid_type::guid: {
      const ua_guid g = id.guid_id();
      unsigned char bytes[16];
      std::memcpy(bytes, &g.data1, 4);
      std::memcpy(bytes + 4, &g.data2, 2);
      std::memcpy(bytes + 6, &g.data3, 2);
      std::memcpy(bytes + 8, g.data4, 8);
      return static_cast<uint32_t>(mix64(hash_bytes(ns << 8 | 2, bytes, sizeof bytes)) >> 32);
    }
    case ua_nodeid_type::opaque: {
      const auto b = id.opaque_id();
      return static_cast<uint32_t>(mix64(hash_bytes(ns << 8 | 3, b.data(), b.size())) >> 32);
    }
  }
  return 0;
}

// A slot holds the key in its high half and node index + 1 in its low half (0: empty).
constexpr uint64_t slot_of(uint32_t node_index, uint32_t key) noexcept {
  return static_cast<uint64_t>(key) << 32 | (static_cast<uint64_t>(node_index) + 1);
}
constexpr uint32_t node_of(uint64_t slot) noexcept {
  return static_cast<uint32_t>(slot) - 1;
}
constexpr uint32_t key_of(uint64_t slot) noexcept {
  return static_cast<uint32_t>(slot >> 32);
}

// The home slot of a key in a table of 2^bits slots (at least 8): the group from the top of
// the hashed part, the place in the group from the low three bits.
std::size_t home_of(uint32_t key, int bits) noexcept {
  const std::size_t group =
      bits <= 32 ? (key >> 3) >> (32 - bits) : static_cast<std::size_t>(key >> 3) << (bits - 32);
  return group << 3 | (key & 7);
}

int index_bits(std::size_t slots) noexcept {
  return std::countr_zero(slots);
}

bool is_ns0_numeric(const ua_nodeid& id, uint32_t value) noexcept {
  return id.ns() == 0 && id.is_numeric() && id.numeric_id() == value;
}

// Node records and their extra blocks: records of a handful of sizes, made and dropped one by
// one by the million. They are carved from large blocks (after the first, of 2 MiB with huge
// pages where the system allows) with no bookkeeping per record, and a dropped record goes to a
// free list of its size for the next one. One arena serves every graph of the process; its blocks
// live as long as it. Sanitizer builds use the heap instead, so that every record is watched on its
// own.
class record_arena {
 public:
  void* allocate(std::size_t size) {
    if constexpr (k_on_heap) return ::operator new(size);
    size = round(size);
    if (void*& head = free_[size / k_align]; head != nullptr) {
      void* p = head;
      head = *static_cast<void**>(p);
      return p;
    }
    if (left_ < size) {
      // A small graph stays in the first block, of ordinary pages; a larger one gets huge
      // pages (a refusal only costs page faults), up to a gigabyte, past which finding free
      // huge pages could stall the run while the kernel compacts memory.
      const bool huge = !blocks_.empty() && blocks_.size() * k_block <= k_huge_limit;
      const std::size_t bytes = huge ? k_block : k_first_block;
      auto* block = static_cast<std::byte*>(huge ? std::aligned_alloc(k_block, k_block)
                                                 : std::malloc(k_first_block));
      if (block == nullptr) return ::operator new(size);  // the heap's out-of-memory path
      if (huge) madvise(block, bytes, MADV_HUGEPAGE);
      blocks_.emplace_back(block);
      next_ = block;
      left_ = bytes;
    }
    void* p = next_;
    next_ += size;
    left_ -= size;
    return p;
  }
  void deallocate(void* p, std::size_t size) noexcept {
    if constexpr (k_on_heap) {
      ::operator delete(p);
    } else {
      void*& head = free_[round(size) / k_align];
      *static_cast<void**>(p) = head;
      head = p;
    }
  }

 private:
  static constexpr bool k_on_heap = VOS_RECORDS_ON_HEAP != 0;
  static constexpr std::size_t k_first_block = std::size_t{1} << 20;
  static constexpr std::size_t k_block = std::size_t{2} << 20;
  static constexpr std::size_t k_huge_limit = std::size_t{1} << 30;
  static constexpr std::size_t k_align = alignof(std::max_align_t);
  static constexpr std::size_t k_largest = 256;
  static constexpr std::size_t round(std::size_t size) {
    return (size + k_align - 1) / k_align * k_align;
  }
  struct block_free {
    void operator()(std::byte* p) const noexcept { std::free(p); }
  };

  std::vector<std::unique_ptr<std::byte, block_free>> blocks_;
  std::byte* next_ = nullptr;
  std::size_t left_ = 0;
  std::array<void*, k_largest / k_align + 1> free_{};
};

record_arena& records() {
  static record_arena arena;
  return arena;
}

template <class T>
T* make_record() {
  static_assert(sizeof(T) <= 256 && alignof(T) <= alignof(std::max_align_t));
  return ::new (records().allocate(sizeof(T))) T();
}

template <class T>
void delete_as(T* record) noexcept {
  record->~T();
  records().deallocate(record, sizeof(T));
}

template <class T>
void delete_as(uagraph_node* node) noexcept {
  delete_as(static_cast<T*>(node));
}

}  // namespace

void uagraph_arrayinfo::set_ArrayDimensions(std::span<const uint32_t> dims) {
  if (dims.empty()) {
    dims_.reset();
    count_ = 0;
    return;
  }
  auto copy = std::make_unique<uint32_t[]>(dims.size());
  std::memcpy(copy.get(), dims.data(), dims.size() * sizeof(uint32_t));
  dims_ = std::move(copy);
  count_ = static_cast<uint32_t>(dims.size());
}

const ua_string& uagraph_field::symbolic_name() {
  if (SymbolicName.empty()) uagraph_make_symbolic_name(SymbolicName, Name.view());
  return SymbolicName;
}

const uagraph_node_extra& uagraph_node::extra() const noexcept {
  static const uagraph_node_extra empty;
  return extra_ != nullptr ? *extra_ : empty;
}

uagraph_node_extra& uagraph_node::extra_mut() {
  if (extra_ == nullptr) extra_.reset(make_record<uagraph_node_extra>());
  return *extra_;
}

void uagraph_extra_deleter::operator()(uagraph_node_extra* extra) const noexcept {
  if (extra != nullptr) delete_as(extra);
}

const uagraph_rolepermission* uagraph_node::rolepermission(std::size_t index) const noexcept {
  const auto& list = extra().RolePermissions;
  return index < list.size() ? &list[index] : nullptr;
}

const ua_string& uagraph_node::symbolic_name() {
  if (!extra().SymbolicName.empty()) return extra_->SymbolicName;
  ua_string made;
  uagraph_make_symbolic_name(made, BrowseName.name.view());
  if (made.empty()) return extra().SymbolicName;
  uagraph_node_extra& x = extra_mut();
  x.SymbolicName = std::move(made);
  return x.SymbolicName;
}

void uagraph_node_deleter::operator()(uagraph_node* node) const noexcept {
  if (node == nullptr) return;
  switch (node->nodeclass()) {
    case UA_NODECLASS_OBJECT:
      return delete_as<UAObject>(node);
    case UA_NODECLASS_VARIABLE:
      return delete_as<UAVariable>(node);
    case UA_NODECLASS_METHOD:
      return delete_as<UAMethod>(node);
    case UA_NODECLASS_OBJECTTYPE:
      return delete_as<UAObjectType>(node);
    case UA_NODECLASS_VARIABLETYPE:
      return delete_as<UAVariableType>(node);
    case UA_NODECLASS_REFERENCETYPE:
      return delete_as<UAReferenceType>(node);
    case UA_NODECLASS_DATATYPE:
      return delete_as<UADataType>(node);
    case UA_NODECLASS_VIEW:
      return delete_as<UAView>(node);
    default:
      return;  // node_new makes no other class
  }
}

uagraph::uagraph() : index_(kInitialIndexSlots, 0) {}

uagraph::~uagraph() = default;

uagraph_node_ptr uagraph::node_new(uint32_t nodeclass) {
  switch (nodeclass) {
    case UA_NODECLASS_OBJECT:
      return uagraph_node_ptr(make_record<UAObject>());
    case UA_NODECLASS_VARIABLE:
      return uagraph_node_ptr(make_record<UAVariable>());
    case UA_NODECLASS_METHOD:
      return uagraph_node_ptr(make_record<UAMethod>());
    case UA_NODECLASS_OBJECTTYPE:
      return uagraph_node_ptr(make_record<UAObjectType>());
    case UA_NODECLASS_VARIABLETYPE:
      return uagraph_node_ptr(make_record<UAVariableType>());
    case UA_NODECLASS_REFERENCETYPE:
      return uagraph_node_ptr(make_record<UAReferenceType>());
    case UA_NODECLASS_DATATYPE:
      return uagraph_node_ptr(make_record<UADataType>());
    case UA_NODECLASS_VIEW:
      return uagraph_node_ptr(make_record<UAView>());
    default:
      return nullptr;
  }
}

// ---- hash index -------------------------------------------------------------------------

bool uagraph::owns(const uagraph_node& node) const noexcept {
  if (node.node_index_ >= nodes_.size()) return false;
  assert(nodes_[node.node_index_].get() == &node);
  return true;
}

void uagraph::index_grow() {
  std::vector<uint64_t> slots(index_.size() * 2, 0);
  const std::size_t mask = slots.size() - 1;
  const int bits = index_bits(slots.size());
  for (uint64_t slot : index_) {
    if (slot == 0) continue;
    std::size_t i = home_of(key_of(slot), bits);
    while (slots[i] != 0) i = (i + 1) & mask;
    slots[i] = slot;
  }
  index_.swap(slots);
}

void uagraph::index_erase(const uagraph_node& node) noexcept {
  const std::size_t mask = index_.size() - 1;
  const int bits = index_bits(index_.size());
  std::size_t i = home_of(index_key(node.NodeId), bits);
  while (static_cast<uint32_t>(index_[i]) != node.node_index_ + 1) {
    if (index_[i] == 0) return;
    i = (i + 1) & mask;
  }
  // Backward-shift deletion keeps every probe sequence without gaps.
  std::size_t j = i;
  for (;;) {
    j = (j + 1) & mask;
    if (index_[j] == 0) break;
    const std::size_t home = home_of(key_of(index_[j]), bits);
    const bool stays = i <= j ? (i < home && home <= j) : (i < home || home <= j);
    if (!stays) {
      index_[i] = index_[j];
      i = j;
    }
  }
  index_[i] = 0;
}

int uagraph::node_add(uagraph_node_ptr node) {
  if (node == nullptr) return UA_EBADINVALIDARGUMENT;
  if (nodes_.size() >= UAGRAPH_NONE) return UA_EBADOUTOFRESOURCE;
  if ((live_nodes_ + 1) * 2 > index_.size()) index_grow();
  const uint32_t key = index_key(node->NodeId);
  const std::size_t mask = index_.size() - 1;
  std::size_t i = home_of(key, index_bits(index_.size()));
  for (; index_[i] != 0; i = (i + 1) & mask) {
    if (key_of(index_[i]) == key && nodes_[node_of(index_[i])]->NodeId == node->NodeId) {
      return UA_EBADDUPLICATEENTRY;
    }
  }
  const auto index = static_cast<uint32_t>(nodes_.size());
  node->node_index_ = index;
  nodes_.push_back(std::move(node));
  index_[i] = slot_of(index, key);
  ++live_nodes_;
  return 0;
}

uagraph_node* uagraph::node_find(const ua_nodeid& nodeid) const {
  const uint32_t key = index_key(nodeid);
  const std::size_t mask = index_.size() - 1;
  for (std::size_t i = home_of(key, index_bits(index_.size())); index_[i] != 0;
       i = (i + 1) & mask) {
    if (key_of(index_[i]) != key) continue;
    uagraph_node* node = nodes_[node_of(index_[i])].get();
    if (node->NodeId == nodeid) return node;
  }
  return nullptr;
}

// ---- references -------------------------------------------------------------------------

uint32_t uagraph_reference_pool::push() {
  if ((size_ & kBlockMask) == 0) {
    blocks_.push_back(
        std::make_unique_for_overwrite<std::byte[]>(sizeof(uagraph_reference) << kBlockBits));
  }
  ::new (blocks_.back().get() + std::size_t{size_ & kBlockMask} * sizeof(uagraph_reference))
      uagraph_reference();
  return size_++;
}

int uagraph::reference_add(uagraph_node& source, uagraph_node& target, uagraph_node& reftype) {
  if (!owns(source) || !owns(target) || !owns(reftype) ||
      reftype.nodeclass() != UA_NODECLASS_REFERENCETYPE) {
    return UA_EBADINVALIDARGUMENT;
  }
  const uint32_t s = source.node_index_;
  const uint32_t t = target.node_index_;
  const uint32_t rt = reftype.node_index_;

  // A duplicate is in both lists; walk the shorter one.
  bool duplicate = false;
  if (source.fwd_count_ <= target.inv_count_) {
    for (const uagraph_reference& r : forward_references(source)) {
      if (r.target == t && r.reftype == rt) {
        duplicate = true;
        break;
      }
    }
  } else {
    for (const uagraph_reference& r : inverse_references(target)) {
      if (r.source == s && r.reftype == rt) {
        duplicate = true;
        break;
      }
    }
  }
  if (duplicate) {
    if (diag_verbosity() >= 2) std::printf("Skipping double reference.\n");
    return 0;
  }

  uint32_t id;
  if (free_refs_ != UAGRAPH_NONE) {
    id = free_refs_;
    free_refs_ = refs_[id].next_fwd_;
  } else {
    if (refs_.size() >= UAGRAPH_NONE) return UA_EBADOUTOFRESOURCE;
    id = refs_.push();
  }
  uagraph_reference& r = refs_[id];
  r.next_fwd_ = UAGRAPH_NONE;
  r.next_inv_ = UAGRAPH_NONE;
  r.source = s;
  r.target = t;
  r.reftype = rt;

  r.prev_fwd_ = source.fwd_tail_;
  if (source.fwd_tail_ == UAGRAPH_NONE) {
    source.fwd_head_ = id;
  } else {
    refs_[source.fwd_tail_].next_fwd_ = id;
  }
  source.fwd_tail_ = id;
  ++source.fwd_count_;

  r.prev_inv_ = target.inv_tail_;
  if (target.inv_tail_ == UAGRAPH_NONE) {
    target.inv_head_ = id;
  } else {
    refs_[target.inv_tail_].next_inv_ = id;
  }
  target.inv_tail_ = id;
  ++target.inv_count_;
  ++live_refs_;
  return 0;
}

void uagraph::unlink_and_free(uint32_t id) noexcept {
  uagraph_reference& r = refs_[id];
  uagraph_node& source = *nodes_[r.source];
  uagraph_node& target = *nodes_[r.target];

  if (r.prev_fwd_ == UAGRAPH_NONE) {
    source.fwd_head_ = r.next_fwd_;
  } else {
    refs_[r.prev_fwd_].next_fwd_ = r.next_fwd_;
  }
  if (r.next_fwd_ == UAGRAPH_NONE) {
    source.fwd_tail_ = r.prev_fwd_;
  } else {
    refs_[r.next_fwd_].prev_fwd_ = r.prev_fwd_;
  }
  --source.fwd_count_;

  if (r.prev_inv_ == UAGRAPH_NONE) {
    target.inv_head_ = r.next_inv_;
  } else {
    refs_[r.prev_inv_].next_inv_ = r.next_inv_;
  }
  if (r.next_inv_ == UAGRAPH_NONE) {
    target.inv_tail_ = r.prev_inv_;
  } else {
    refs_[r.next_inv_].prev_inv_ = r.prev_inv_;
  }
  --target.inv_count_;

  r = uagraph_reference();
  r.next_fwd_ = free_refs_;
  free_refs_ = id;
  --live_refs_;
}

int uagraph::reference_remove(const uagraph_reference& reference) {
  // Found by its record in the forward list of its source.
  const uagraph_node* source = node_at(reference.source);
  if (source != nullptr) {
    for (uint32_t id = source->fwd_head_; id != UAGRAPH_NONE; id = refs_[id].next_fwd_) {
      if (&refs_[id] == &reference) {
        unlink_and_free(id);
        return 0;
      }
    }
  }
  std::fprintf(stderr, "%s: reference not found in list.\n", "uagraph_reference_remove");
  return UA_EBADNOTFOUND;
}

uint32_t uagraph::reftype_index(uint32_t ns0_id) const {
  static constexpr uint32_t kIds[5] = {UAGRAPH_ID_HASSUBTYPE, UAGRAPH_ID_HASCHILD,
                                       UAGRAPH_ID_HIERARCHICALREFERENCES,
                                       UAGRAPH_ID_HASTYPEDEFINITION, UAGRAPH_ID_HASMODELLINGRULE};
  for (std::size_t k = 0; k < 5; ++k) {
    if (kIds[k] != ns0_id) continue;
    if (known_reftypes_[k] != UAGRAPH_NONE) return known_reftypes_[k];
    const uagraph_node* node = node_find_ns0(ns0_id);
    if (node == nullptr) return UAGRAPH_NONE;
    // Only a ReferenceType stays for good; anything else is looked up again next time.
    if (node->nodeclass() == UA_NODECLASS_REFERENCETYPE) known_reftypes_[k] = node->node_index_;
    return node->node_index_;
  }
  const uagraph_node* node = node_find_ns0(ns0_id);
  return node != nullptr ? node->node_index_ : UAGRAPH_NONE;
}

const uagraph_reference* uagraph::node_find_reference(const uagraph_node& node,
                                                      const ua_nodeid& reftype,
                                                      bool forward) const {
  const uagraph_node* type = node_find(reftype);
  if (type == nullptr) return nullptr;
  const uint32_t rt = type->node_index_;
  for (const uagraph_reference& r : forward ? forward_references(node) : inverse_references(node)) {
    if (r.reftype == rt) return &r;
  }
  return nullptr;
}

const uagraph_reference* uagraph::node_find_reference_subtype(const uagraph_node& node,
                                                              const ua_nodeid& reftype,
                                                              bool forward) const {
  const uagraph_node* base = node_find(reftype);
  if (base == nullptr) return nullptr;
  for (const uagraph_reference& r : forward ? forward_references(node) : inverse_references(node)) {
    if (is_subtype_of(*nodes_[r.reftype], *base)) return &r;
  }
  return nullptr;
}

uagraph_node* uagraph::node_supertype(const uagraph_node& node) const {
  const uint32_t has_subtype = reftype_index(UAGRAPH_ID_HASSUBTYPE);
  if (has_subtype == UAGRAPH_NONE) return nullptr;
  for (const uagraph_reference& r : inverse_references(node)) {
    if (r.reftype == has_subtype) return nodes_[r.source].get();
  }
  return nullptr;
}

bool uagraph::is_subtype_of(const uagraph_node& type, const uagraph_node& base) const {
  const uagraph_node* cur = &type;
  // A supertype loop in a broken model ends the walk after visiting every node once.
  for (std::size_t steps = 0; cur != nullptr && steps <= live_nodes_; ++steps) {
    if (cur == &base) return true;
    cur = node_supertype(*cur);
  }
  return false;
}

uagraph_node* uagraph::node_parent(const uagraph_node& node) const {
  const uint32_t has_child = reftype_index(UAGRAPH_ID_HASCHILD);
  if (has_child == UAGRAPH_NONE) return nullptr;
  const uagraph_node& base = *nodes_[has_child];
  for (const uagraph_reference& r : inverse_references(node)) {
    if (is_subtype_of(*nodes_[r.reftype], base)) return nodes_[r.source].get();
  }
  return nullptr;
}

uagraph_node* uagraph::node_typedefinition(const uagraph_node& node) const {
  const uint32_t rt = reftype_index(UAGRAPH_ID_HASTYPEDEFINITION);
  if (rt == UAGRAPH_NONE) return nullptr;
  for (const uagraph_reference& r : forward_references(node)) {
    if (r.reftype == rt) return nodes_[r.target].get();
  }
  return nullptr;
}

uagraph_node* uagraph::node_modellingrule(const uagraph_node& node) const {
  const uint32_t rt = reftype_index(UAGRAPH_ID_HASMODELLINGRULE);
  if (rt == UAGRAPH_NONE) return nullptr;
  for (const uagraph_reference& r : forward_references(node)) {
    if (r.reftype == rt) return nodes_[r.target].get();
  }
  return nullptr;
}

// ---- removal ----------------------------------------------------------------------------

int uagraph::node_remove(uagraph_node& node) {
  if (!owns(node)) return UA_EBADINVALIDARGUMENT;
  if (node.nodeclass() == UA_NODECLASS_REFERENCETYPE) return UA_EBADNOTSUPPORTED;
  while (node.fwd_head_ != UAGRAPH_NONE) unlink_and_free(node.fwd_head_);
  while (node.inv_head_ != UAGRAPH_NONE) unlink_and_free(node.inv_head_);
  index_erase(node);
  nodes_[node.node_index_].reset();
  --live_nodes_;
  ++removed_;
  return 0;
}

int uagraph::node_remove_subtree(uagraph_node& node) {
  if (!owns(node)) return UA_EBADINVALIDARGUMENT;
  const uagraph_node* hierarchical = node_find_ns0(UAGRAPH_ID_HIERARCHICALREFERENCES);
  if (hierarchical == nullptr) {
    std::fprintf(stderr, "%s: HierarchicalReferences (ns=0;i=33) not found.\n",
                 "uagraph_node_remove_subtree");
    return UA_EBADNOTFOUND;
  }
  if (node.nodeclass() == UA_NODECLASS_REFERENCETYPE) return 0;

  std::unordered_map<uint32_t, bool> is_hierarchical;  // by reference type
  const auto children = [&](const uagraph_node& parent) {
    std::vector<uint32_t> targets;
    for (const uagraph_reference& r : forward_references(parent)) {
      auto [it, fresh] = is_hierarchical.try_emplace(r.reftype, false);
      if (fresh) it->second = is_subtype_of(*nodes_[r.reftype], *hierarchical);
      if (it->second) targets.push_back(r.target);
    }
    return targets;
  };

  // Depth first without recursion, so that deep hierarchies cannot exhaust the stack.
  struct frame {
    uint32_t node;
    std::vector<uint32_t> targets;
    std::size_t next = 0;
  };
  std::vector<frame> stack;
  std::unordered_set<uint32_t> on_path;
  stack.push_back({node.node_index_, children(node)});
  on_path.insert(node.node_index_);
  while (!stack.empty()) {
    frame& top = stack.back();
    if (top.next < top.targets.size()) {
      const uint32_t t = top.targets[top.next++];
      const uagraph_node* child = nodes_[t].get();
      if (child == nullptr || on_path.count(t) != 0 ||
          child->nodeclass() == UA_NODECLASS_REFERENCETYPE) {
        continue;
      }
      on_path.insert(t);
      stack.push_back({t, children(*child)});
      continue;
    }
    const uint32_t done = top.node;
    stack.pop_back();
    on_path.erase(done);
    if (!stack.empty()) node_remove(*nodes_[done]);
  }
  return 0;
}

void uagraph::clear_marks() noexcept {
  for (uagraph_node* node : nodes()) node->used = 0;
}

// ---- type tests -------------------------------------------------------------------------

bool uagraph::is_builtin_type(const ua_nodeid& id) noexcept {
  return id.ns() == 0 && id.is_numeric() && id.numeric_id() < 26;
}

bool uagraph::is_diagnosticinfo(const ua_nodeid& id) noexcept {
  return is_ns0_numeric(id, UAGRAPH_ID_DIAGNOSTICINFO);
}

bool uagraph::is_simple_type(const uagraph_node& type) const {
  const uagraph_node* cur = &type;
  for (std::size_t steps = 0; cur != nullptr && steps <= live_nodes_; ++steps) {
    const ua_nodeid& id = cur->NodeId;
    if (id.ns() == 0 && id.is_numeric()) {
      const uint32_t n = id.numeric_id();
      if ((n >= 1 && n <= 11) || n == 13 || n == 14 || n == 19 || n == 29) return true;
    }
    cur = node_supertype(*cur);
  }
  return false;
}

uagraph_node* uagraph::derived_datatype_base(const uagraph_node& type) const {
  if (type.nodeclass() != UA_NODECLASS_DATATYPE) return nullptr;
  uagraph_node* super = node_supertype(type);
  if (super == nullptr || super->nodeclass() != UA_NODECLASS_DATATYPE) return nullptr;
  for (uint32_t id : {UAGRAPH_ID_OPTIONSET, UAGRAPH_ID_ENUMERATION, UAGRAPH_ID_STRUCTURE,
                      UAGRAPH_ID_INTEGER, UAGRAPH_ID_UINTEGER}) {
    if (is_ns0_numeric(super->NodeId, id)) return nullptr;
  }
  return super;
}

bool uagraph::is_namespace_metadata_permission_variable(const uagraph_node& node) const {
  if (node.nodeclass() != UA_NODECLASS_VARIABLE || node.BrowseName.ns != 0) return false;
  const std::string_view name = node.BrowseName.name.view();
  if (name != "DefaultAccessRestrictions" && name != "DefaultRolePermissions" &&
      name != "DefaultUserRolePermissions") {
    return false;
  }
  const uagraph_node* parent = node_parent(node);
  const uagraph_node* type = parent != nullptr ? node_typedefinition(*parent) : nullptr;
  return type != nullptr && is_ns0_numeric(type->NodeId, UAGRAPH_ID_NAMESPACEMETADATATYPE);
}

bool uagraph::is_role_variable(const uagraph_node& node) const {
  if (node.nodeclass() != UA_NODECLASS_VARIABLE) return false;
  const uagraph_node* parent = node_parent(node);
  const uagraph_node* type = parent != nullptr ? node_typedefinition(*parent) : nullptr;
  return type != nullptr && is_ns0_numeric(type->NodeId, UAGRAPH_ID_ROLETYPE);
}

// ---- trace and accounting ---------------------------------------------------------------

void uagraph::trace1(const char* format, ...) const {
  if (trace_level_ < 1) return;
  std::va_list args;
  va_start(args, format);
  std::vfprintf(stdout, format, args);
  va_end(args);
}

void uagraph::trace2(const char* format, ...) const {
  if (trace_level_ < 2) return;
  std::va_list args;
  va_start(args, format);
  std::vfprintf(stdout, format, args);
  va_end(args);
}

std::size_t uagraph::memory_bytes() const noexcept {
  std::size_t bytes = nodes_.capacity() * sizeof(uagraph_node_ptr) + refs_.capacity_bytes() +
                      index_.capacity() * sizeof(uint64_t);
  for (const uagraph_node* node : nodes()) {
    switch (node->nodeclass()) {
      case UA_NODECLASS_OBJECT:
        bytes += sizeof(UAObject);
        break;
      case UA_NODECLASS_VARIABLE:
        bytes += sizeof(UAVariable);
        break;
      case UA_NODECLASS_METHOD:
        bytes += sizeof(UAMethod);
        break;
      case UA_NODECLASS_OBJECTTYPE:
        bytes += sizeof(UAObjectType);
        break;
      case UA_NODECLASS_VARIABLETYPE:
        bytes += sizeof(UAVariableType);
        break;
      case UA_NODECLASS_REFERENCETYPE:
        bytes += sizeof(UAReferenceType);
        break;
      case UA_NODECLASS_DATATYPE:
        bytes += sizeof(UADataType);
        break;
      default:
        bytes += sizeof(UAView);
        break;
    }
    if (node->extra_ != nullptr) bytes += sizeof(uagraph_node_extra);
  }
  return bytes;
}

}  // namespace vos
