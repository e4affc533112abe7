// Node storage, navigation, unlinking and the document's namespace table.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/xml.h"

namespace vos {

static_assert(sizeof(xml_node) == 64, "a chunk holds its header and 1023 nodes of 64 bytes");
static_assert(sizeof(detail::xml_chunk_header) <= sizeof(xml_node));

namespace {
char g_location[512];
}  // namespace

namespace detail {

void xml_node_pool::chunk_free::operator()(std::byte* p) const {
  std::free(p);
}

xml_node* xml_node_pool::grow() {
  if (used_ == chunks_.size()) {
    if (chunks_.size() >= (std::size_t{1} << (32 - XML_CHUNK_SHIFT)) - 8) return nullptr;
    // Slabs grow with the tree: 1, 2, 4, then 8 chunks (512 KiB) each.
    const std::size_t count = std::size_t{1} << std::min<std::size_t>(slabs_.size(), 3);
    auto* raw =
        static_cast<std::byte*>(std::aligned_alloc(XML_CHUNK_BYTES, count * XML_CHUNK_BYTES));
    if (!raw) return nullptr;
    std::unique_ptr<std::byte, chunk_free> slab(raw);
    try {
      chunks_.reserve(chunks_.size() + count);
      slabs_.push_back(std::move(slab));
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    for (std::size_t i = 0; i < count; ++i) chunks_.push_back(raw + i * XML_CHUNK_BYTES);
  }
  std::byte* base = chunks_[used_];
  // The header is rewritten when a kept chunk is taken again: the text may have changed.
  ::new (base) xml_chunk_header{owner_, owner_->data_, static_cast<std::uint32_t>(used_)};
  ++used_;
  next_slot_ = 2;
  return reinterpret_cast<xml_node*>(base + sizeof(xml_node));
}

void xml_node_pool::release(xml_node* node) {
  node->type_ = 0xFF;
  node->next_ = free_ ? index_of(free_) : 0;
  free_ = node;
}

void xml_node_pool::reset(bool keep_memory) {
  if (!keep_memory) {
    chunks_.clear();
    chunks_.shrink_to_fit();
    slabs_.clear();
    slabs_.shrink_to_fit();
  }
  used_ = 0;
  free_ = nullptr;
  next_slot_ = XML_SLOT_MASK + 1;
}

std::size_t xml_node_pool::bytes() const {
  return chunks_.size() * XML_CHUNK_BYTES + chunks_.capacity() * sizeof(chunks_[0]) +
         slabs_.capacity() * sizeof(slabs_[0]);
}

}  // namespace detail

const char* xml_node::file_name() const {
  return doc().file_name();
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
  pool_.reset(keep_memory);
  if (!keep_memory) {
    owned_.reset();
    owned_capacity_ = 0;
  }
  data_ = nullptr;
  size_ = 0;
  file_name_ = nullptr;
  namespaces_ = {};
  namespace_count_ = 0;
}

void xml_doc_clear(xml_doc& doc) {
  doc.reset(false);
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

void xml_node_remove(xml_node* parent, xml_node* child) {
  if (!parent || !child) return;
  const detail::xml_node_pool& pool = parent->doc().pool_;
  const std::uint32_t index = detail::xml_node_pool::index_of(child);
  xml_node* prev = pool.at(child->prev_);
  xml_node* next = pool.at(child->next_);
  if (prev)
    prev->next_ = child->next_;
  else if (parent->first_ == index)
    parent->first_ = child->next_;
  if (next)
    next->prev_ = child->prev_;
  else if (parent->last_ == index)
    parent->last_ = child->prev_;
  child->parent_ = child->prev_ = child->next_ = 0;
}

void xml_node_free(xml_node* node) {
  if (!node) return;
  xml_doc& doc = const_cast<xml_doc&>(node->doc());
  detail::xml_node_pool& pool = doc.pool_;
  xml_node* parent = pool.at(node->parent_);
  // Cut the chain [node, last sibling] off the parent.
  if (parent) {
    xml_node* prev = pool.at(node->prev_);
    if (prev) {
      prev->next_ = 0;
      parent->last_ = node->prev_;
    } else {
      parent->first_ = parent->last_ = 0;
    }
  }
  if (node == doc.root_) doc.root_ = nullptr;
  // Release the chain and everything below it without recursion: descend while there are
  // children (detaching them as we go), release leaves, then their siblings, then parents.
  xml_node* n = node;
  while (n) {
    if (xml_node* child = pool.at(n->first_)) {
      n->first_ = 0;
      n = child;
      continue;
    }
    xml_node* next = pool.at(n->next_);
    xml_node* up = pool.at(n->parent_);
    pool.release(n);
    if (next)
      n = next;
    else
      n = (up == parent) ? nullptr : up;
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
