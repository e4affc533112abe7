// Node storage, navigation, positions, unlinking and the document's namespace table.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/xml.h"

namespace vos {

static_assert(sizeof(xml_node) == detail::XML_SLOT_BYTES, "a chunk holds its header and nodes");
static_assert(sizeof(detail::xml_chunk_header) <= sizeof(xml_node));

namespace {

char g_location[512];

// Blocks of this size and more are aligned to it and offered huge pages, as long as the
// tree's blocks stay within the limit.
constexpr std::size_t k_huge_block = std::size_t{2} << 20;
constexpr std::size_t k_huge_limit = std::size_t{1} << 30;
// The first block of a document; later ones grow with the tree.
constexpr std::size_t k_first_block = detail::XML_CHUNK_BYTES;
// Node memory and read buffers up to this size are kept for the next document.
constexpr std::size_t k_kept_bytes = std::size_t{64} << 20;

}  // namespace

namespace detail {

void xml_node_pool::block_free::operator()(std::byte* p) const {
  std::free(p);
}

bool xml_node_pool::add_block(std::size_t bytes) {
  bytes = (bytes + XML_CHUNK_BYTES - 1) & ~(XML_CHUNK_BYTES - 1);
  const std::size_t count = bytes / XML_CHUNK_BYTES;
  if (chunks_.size() + count > (std::size_t{1} << (32 - XML_CHUNK_SHIFT))) return false;
  // Huge pages spare a tree most of its page faults. Past a gigabyte the tree is left to
  // ordinary pages: finding hundreds of free huge pages more can stall the run while the
  // kernel compacts memory, and ordinary pages cost the same zeroing without that risk.
  const bool huge = bytes >= k_huge_block && capacity() + bytes <= k_huge_limit;
  if (huge) bytes = (bytes + k_huge_block - 1) & ~(k_huge_block - 1);
  auto* raw =
      static_cast<std::byte*>(std::aligned_alloc(huge ? k_huge_block : XML_CHUNK_BYTES, bytes));
  if (!raw) return false;
  std::unique_ptr<std::byte, block_free> block(raw);
  // Fewer page faults for a large tree; a system without huge pages just says no.
  if (huge) madvise(raw, bytes, MADV_HUGEPAGE);
  try {
    chunks_.reserve(chunks_.size() + bytes / XML_CHUNK_BYTES);
    blocks_.push_back(std::move(block));
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 0; i < bytes / XML_CHUNK_BYTES; ++i)
    chunks_.push_back(raw + i * XML_CHUNK_BYTES);
  return true;
}

void xml_node_pool::reserve(std::size_t bytes) {
  const std::size_t have = chunks_.size() * XML_CHUNK_BYTES;
  if (bytes > have) add_block(bytes - have);  // a refusal leaves growth to grow()
}

xml_node* xml_node_pool::grow() {
  if (used_ == chunks_.size()) {
    // Blocks grow with the tree: each at least as large as all before it together.
    const std::size_t have = chunks_.size() * XML_CHUNK_BYTES;
    if (!add_block(std::max(have, k_first_block))) return nullptr;
  }
  std::byte* base = chunks_[used_];
  // The header is rewritten when a kept chunk is taken again: the text may have changed.
  ::new (base) xml_chunk_header{owner_, owner_->data_, static_cast<std::uint32_t>(used_)};
  ++used_;
  next_slot_ = 2;
  return reinterpret_cast<xml_node*>(base + XML_SLOT_BYTES);
}

void xml_node_pool::release_last(const xml_node* node) {
  if (index_of(node) + 1 != next_index()) return;
  if (next_slot_ > 1) --next_slot_;
  if (next_slot_ == 1) {
    // The chunk held only this node: it goes back, and the one before counts as full.
    --used_;
    next_slot_ = XML_SLOT_MASK + 1;
  }
}

void xml_node_pool::reset(bool keep_memory) {
  if (!keep_memory) {
    chunks_.clear();
    chunks_.shrink_to_fit();
    blocks_.clear();
    blocks_.shrink_to_fit();
  }
  used_ = 0;
  next_slot_ = XML_SLOT_MASK + 1;
}

std::size_t xml_node_pool::bytes() const {
  return used_ * XML_CHUNK_BYTES + chunks_.capacity() * sizeof(chunks_[0]) +
         blocks_.capacity() * sizeof(blocks_[0]);
}

bool xml_mapping::map(int fd, std::size_t size) {
  reset();
  if (size == 0) return false;
  void* p = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  if (p == MAP_FAILED) return false;
  data_ = static_cast<const char*>(p);
  size_ = size;
  return true;
}

void xml_mapping::reset() {
  if (data_) munmap(const_cast<char*>(data_), size_);
  data_ = nullptr;
  size_ = 0;
}

void xml_mapping::release(std::size_t from, std::size_t to) {
  static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  from = (from + page - 1) / page * page;
  to = std::min(to, size_) / page * page;
  if (data_ && from < to) madvise(const_cast<char*>(data_) + from, to - from, MADV_DONTNEED);
}

}  // namespace detail

namespace {

const detail::xml_long_name& long_name_of(const std::vector<detail::xml_long_name>& names,
                                          std::uint32_t index) {
  return *std::lower_bound(
      names.begin(), names.end(), index,
      [](const detail::xml_long_name& n, std::uint32_t i) { return n.node < i; });
}

}  // namespace

xml_string xml_node::long_prefix() const {
  const auto& n = long_name_of(doc().long_names_, detail::xml_node_pool::index_of(this));
  return slice(n.prefix_off, n.prefix_len);
}

xml_string xml_node::long_local_name() const {
  const auto& n = long_name_of(doc().long_names_, detail::xml_node_pool::index_of(this));
  return slice(n.name_off, n.name_len);
}

const char* xml_node::file_name() const {
  return doc().file_name();
}

std::uint32_t xml_node::sequence() const {
  return doc().seq_base_ + detail::xml_node_pool::index_of(this);
}

const char* xml_node::line_start() const {
  const xml_doc& d = doc();
  if (line_ == 0) return d.data_;
  return d.data_ + d.line_start_of(start_, nullptr);
}

std::uint32_t xml_node::column() const {
  if (line_ == 0) return 0;
  std::uint32_t skipped = 0;
  const std::uint32_t from = doc().line_start_of(start_, &skipped);
  return start_ + 1 - from - skipped;
}

std::uint32_t xml_doc::line_start_of(std::uint32_t offset, std::uint32_t* skipped) const {
  // The last line feed before the offset that was read as text: line feeds inside
  // processing instructions do not count.
  std::uint32_t end = offset;
  std::uint32_t from = 0;
  while (end > 0) {
    const void* lf = memrchr(data_, '\n', end);
    if (!lf) break;
    const auto at = static_cast<std::uint32_t>(static_cast<const char*>(lf) - data_);
    const auto pi = std::find_if(skipped_.begin(), skipped_.end(),
                                 [at](const auto& r) { return at >= r.first && at < r.second; });
    if (pi == skipped_.end()) {
      from = at + 1;
      break;
    }
    end = pi->first;
  }
  if (skipped) {
    *skipped = 0;
    for (const auto& [a, b] : skipped_) {
      if (b <= from || a >= offset) continue;
      *skipped += std::min(b, offset) - std::max(a, from);
    }
  }
  return from;
}

xml_string xml_node::namespace_uri() const {
  const xml_doc& d = doc();
  if (ns_ < 0 || static_cast<std::uint32_t>(ns_) >= d.namespace_count()) return {};
  return d.namespaces()[static_cast<std::size_t>(ns_)].uri;
}

const xml_node* xml_node::find_attribute(xml_string local_name) const {
  for (const xml_node& a : attributes())
    if (a.name() == local_name) return &a;
  return nullptr;
}

const xml_node* xml_node::find_child(xml_string local_name) const {
  for (const xml_node& c : children())
    if (c.name() == local_name) return &c;
  return nullptr;
}

const xml_node* xml_node::find_next_sibling(xml_string local_name) const {
  for (const xml_node* n = next_sibling(); n; n = n->next_sibling())
    if (n->name() == local_name) return n;
  return nullptr;
}

std::uint32_t xml_node::count_children() const {
  std::uint32_t count = 0;
  for (const xml_node& c : children()) {
    (void)c;
    ++count;
  }
  return count;
}

void xml_doc_init(xml_doc& doc) {
  xml_doc_clear(doc);
}

void xml_doc::reset(bool keep_memory) {
  root_ = nullptr;
  // Memory for the next document is worth keeping up to what a large model needs; the tree
  // of a giant one goes back to the system at once.
  const bool keep_nodes = keep_memory && pool_.capacity() <= k_kept_bytes;
  pool_.reset(keep_nodes);
  mapping_.reset();
  if (!keep_memory || owned_capacity_ > k_kept_bytes) {
    owned_.reset();
    owned_capacity_ = 0;
  }
  data_ = nullptr;
  size_ = 0;
  file_name_ = nullptr;
  namespaces_ = {};
  namespace_count_ = 0;
  skipped_.clear();
  long_names_.clear();
  if (!keep_memory) {
    skipped_.shrink_to_fit();
    long_names_.shrink_to_fit();
  }
}

void xml_doc_clear(xml_doc& doc) {
  doc.reset(false);
}

void xml_doc_reset(xml_doc& doc) {
  doc.reset(true);
}

void xml_doc_release_text(xml_doc& doc, std::size_t from, std::size_t to) {
  doc.mapping_.release(from, to);
}

int xml_doc_add_namespace(xml_doc& doc, std::optional<xml_string> prefix, xml_string uri) {
  for (std::uint32_t i = 0; i < doc.namespace_count_; ++i) {
    const xml_namespace& entry = doc.namespaces_[i];
    if (prefix ? xml_string_compare(entry.prefix, *prefix) == 0
               : xml_string_compare(entry.uri, uri) == 0)
      return static_cast<int>(i);
  }
  if (doc.namespace_count_ >= static_cast<std::uint32_t>(XML_MAX_NAMESPACES)) {
    std::fprintf(stderr,
                 "  %s: Cannot add namespace. Maximum number of namespaces already reached: "
                 "XML_MAX_NAMESPACES=%i\n",
                 "xml_doc_add_namespace", XML_MAX_NAMESPACES);
    return -1;
  }
  doc.namespaces_[doc.namespace_count_] = xml_namespace{prefix ? *prefix : xml_string(), uri};
  return static_cast<int>(doc.namespace_count_++);
}

xml_node* xml_node_new(xml_doc& doc, xml_node_type type, int default_ns) {
  xml_node* node = doc.pool_.allocate();
  if (!node) return nullptr;
  node->bits_ = static_cast<std::uint8_t>(type | xml_node::k_ws_only);
  node->ns_ = -1;
  node->default_ns_ = static_cast<std::int8_t>(default_ns);
  const std::uint32_t seq = node->sequence() + 1;
  if (seq > detail::xml_sequence_counter) detail::xml_sequence_counter = seq;
  return node;
}

void xml_node_remove(xml_node* parent, xml_node* child) {
  if (!parent || !child) return;
  const detail::xml_node_pool& pool = parent->doc().pool_;
  const std::uint32_t index = detail::xml_node_pool::index_of(child);
  if (parent->first_ == index) {
    parent->first_ = child->next_;
  } else {
    xml_node* prev = pool.at(parent->first_);
    while (prev && prev->next_ != index) prev = pool.at(prev->next_);
    if (!prev) return;
    prev->next_ = child->next_;
  }
  child->next_ = 0;
}

void xml_node_free(xml_node* node) {
  if (!node) return;
  xml_doc& doc = const_cast<xml_doc&>(node->doc());
  if (node == doc.root_) {
    doc.root_ = nullptr;
    return;
  }
  // Nodes do not know their parent: look for the node that links to this one, and cut
  // the chain [node, last sibling] off there.
  const detail::xml_node_pool& pool = doc.pool_;
  const std::uint32_t index = detail::xml_node_pool::index_of(node);
  std::vector<xml_node*> todo;
  if (doc.root_) todo.push_back(doc.root_);
  while (!todo.empty()) {
    xml_node* n = todo.back();
    todo.pop_back();
    if (n->first_ == index) {
      n->first_ = 0;
      return;
    }
    for (xml_node* c = pool.at(n->first_); c; c = pool.at(c->next_)) {
      if (c->next_ == index) {
        c->next_ = 0;
        return;
      }
      todo.push_back(c);
    }
  }
}

const char* xml_node_location(const xml_node* node) {
  if (!node) return "";
  const char* file = node->file_name();
  std::snprintf(g_location, sizeof g_location, "%s:%u:%u", file ? file : "(null)", node->line(),
                node->column());
  return g_location;
}

}  // namespace vos
