// The converter's own XML reader: a table-driven state machine that builds a tree of nodes
// whose names and values are slices of the document text (nothing is copied).
//
// A document owns its text (a read-only mapping of the file, or a buffer when the file
// cannot be mapped) and all of its nodes. Nodes are 32-byte records in 64 KiB chunks and
// refer to each other by 32-bit indices; a node finds its document through the header at
// the start of its chunk. Chunks are carved from large blocks that the next parse into the
// same document reuses; blocks of 2 MiB and more ask the system for huge pages.
//
// A node stores where it starts and its line; the column and the start of the line are
// worked out from the text when asked (only diagnostics ask). Sequence numbers follow the
// order in which nodes are made: the document's base number plus the node's index.
//
// Limits: at most 20 namespace declarations per document and at most 20 open tags (the
// synthetic root counts as one). Entity references are not decoded while parsing; use
// xml_string_html_decode on a value when its text is needed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vos {

inline constexpr int XML_MAX_NAMESPACES = 20;
inline constexpr int XML_MAX_NESTING = 20;
// Readers of a mapped text give it back in steps of this many bytes as they move on (see
// xml_doc_release_text).
inline constexpr std::size_t XML_RELEASE_STEP = std::size_t{256} << 10;

// A slice of the document text: not NUL-terminated; empty when its length is 0.
using xml_string = std::string_view;

enum xml_node_type : std::uint8_t {
  XML_NODE_ROOT = 0,
  XML_NODE_ELEMENT = 1,
  XML_NODE_ATTRIBUTE = 2,
  XML_NODE_CDATA = 4,
  // The next three exist only while a tag is being read.
  XML_NODE_START_TAG = 5,
  XML_NODE_EMPTY_TAG = 6,
  XML_NODE_END_TAG = 7,
};

// One namespace declaration of a document; the prefix is empty for a default declaration.
struct xml_namespace {
  xml_string prefix;
  xml_string uri;
};

class xml_doc;
struct xml_node;
class xml_node_range;
xml_node* xml_node_new(xml_doc& doc, xml_node_type type, int default_ns);

namespace detail {

inline constexpr std::size_t XML_CHUNK_BYTES = 65536;
inline constexpr std::size_t XML_SLOT_BYTES = 32;
inline constexpr std::uint32_t XML_CHUNK_SHIFT = 11;  // 2048 slots of 32 bytes a chunk
inline constexpr std::uint32_t XML_SLOT_MASK = (1u << XML_CHUNK_SHIFT) - 1;

// Slot 0 of every chunk: how a node finds its document.
struct xml_chunk_header {
  const xml_doc* doc;
  const char* text;
  std::uint32_t index;
};

// Node storage: slots handed out in order, so that a node's index grows with the order in
// which nodes are made; only the last node made can be given back. Addresses stay put
// while the document lives. Parsing again into the same document reuses the chunks.
class xml_node_pool {
 public:
  explicit xml_node_pool(const xml_doc* owner) : owner_(owner) {}
  xml_node_pool(const xml_node_pool&) = delete;
  xml_node_pool& operator=(const xml_node_pool&) = delete;

  // A zeroed node, or nullptr when memory is exhausted.
  xml_node* allocate();
  // Gives back the node made last.
  void release_last(const xml_node* node);
  // Forgets every node; keep_memory holds on to the chunks for the next tree.
  void reset(bool keep_memory);
  // Makes room for about `bytes` of nodes in as few blocks as possible (a hint).
  void reserve(std::size_t bytes);
  // 0 is the null index (slot 0 of chunk 0 holds a header, never a node).
  xml_node* at(std::uint32_t index) const {
    if (index == 0) return nullptr;
    return reinterpret_cast<xml_node*>(chunks_[index >> XML_CHUNK_SHIFT] +
                                       std::size_t{index & XML_SLOT_MASK} * XML_SLOT_BYTES);
  }
  static std::uint32_t index_of(const xml_node* node);
  // The index the next node will get.
  std::uint32_t next_index() const {
    return used_ == 0 ? 1
                      : static_cast<std::uint32_t>(((used_ - 1) << XML_CHUNK_SHIFT) + next_slot_);
  }
  // Bytes of the chunks in use and of the chunk table.
  std::size_t bytes() const;
  // Bytes of all chunks, used or not.
  std::size_t capacity() const { return chunks_.size() * XML_CHUNK_BYTES; }

 private:
  struct block_free {
    void operator()(std::byte* p) const;
  };
  xml_node* grow();
  bool add_block(std::size_t bytes);

  std::vector<std::unique_ptr<std::byte, block_free>> blocks_;
  std::vector<std::byte*> chunks_;
  const xml_doc* owner_;
  std::size_t used_ = 0;                         // chunks in use
  std::uint32_t next_slot_ = XML_SLOT_MASK + 1;  // next unused slot of the last chunk in use
};

// The file text when it is mapped: unmapped with the object.
class xml_mapping {
 public:
  xml_mapping() = default;
  xml_mapping(const xml_mapping&) = delete;
  xml_mapping& operator=(const xml_mapping&) = delete;
  ~xml_mapping() { reset(); }
  // Maps `size` bytes of the open file read-only; false when the system refuses.
  bool map(int fd, std::size_t size);
  void reset();
  const char* data() const { return data_; }
  // Gives the whole pages inside [from, to) back to the system; they are read again from
  // the file when touched.
  void release(std::size_t from, std::size_t to);

 private:
  const char* data_ = nullptr;
  std::size_t size_ = 0;
};

// A name or prefix too long for a node's fields: kept aside, by node index.
struct xml_long_name {
  std::uint32_t node;
  std::uint32_t name_off, name_len;
  std::uint32_t prefix_off, prefix_len;
};

// The process-wide node sequence counter; never goes back.
inline std::uint32_t xml_sequence_counter = 0;

class xml_parser;

}  // namespace detail

// A node of the tree: the synthetic root, an element, an attribute or a CDATA section.
// Attributes are children of their element like elements are, told apart by type; they come
// before the element's other children.
struct xml_node {
 public:
  xml_node_type type() const { return static_cast<xml_node_type>(bits_ & k_type_mask); }
  bool is_element() const { return type() == XML_NODE_ELEMENT; }
  bool is_attribute() const { return type() == XML_NODE_ATTRIBUTE; }

  // Namespace prefix as written (empty if none), local name, and raw value. An attribute's
  // value is the text between its quotes; an element's the raw text between its tags
  // (child markup included), or empty when it held nothing but whitespace and markup; a
  // CDATA node's the text inside the section.
  xml_string prefix() const {
    return (bits_ & k_long_name) ? long_prefix() : slice(name_part(), prefix_len_);
  }
  xml_string name() const {
    return (bits_ & k_long_name) ? long_local_name() : slice(start_ + name_delta_, name_len_);
  }
  xml_string value() const { return slice(value_off_, value_len_); }

  const xml_doc& doc() const { return *header().doc; }
  const char* file_name() const;

  // Index into the document's namespace table (-1 when unresolved), the default namespace
  // in force for the node, and the URI of its namespace (empty when unresolved).
  int namespace_index() const { return ns_; }
  int default_namespace_index() const { return default_ns_; }
  xml_string namespace_uri() const;
  // Cleared when the element's content holds a character other than whitespace or markup.
  bool whitespace_only() const { return (bits_ & k_ws_only) != 0; }

  // Where the node's '<' (or an attribute's first character) stands: line from 1, column
  // from 1, and the first character of that line inside the document text. The root and
  // nodes made by hand have line and column 0 and the text's start as their line start.
  std::uint32_t line() const { return line_; }
  std::uint32_t column() const;
  const char* line_start() const;
  // In the order the nodes were made, from one process-wide counter.
  std::uint32_t sequence() const;

  // Raw links: every kind of child.
  const xml_node* first_node() const { return link(first_); }
  const xml_node* next_node() const { return link(next_); }

  // Attributes, and element children (other node kinds are skipped).
  const xml_node* first_attribute() const { return first_of(first_node(), XML_NODE_ATTRIBUTE); }
  const xml_node* next_attribute() const { return first_of(next_node(), XML_NODE_ATTRIBUTE); }
  const xml_node* first_child() const { return first_of(first_node(), XML_NODE_ELEMENT); }
  const xml_node* next_sibling() const { return first_of(next_node(), XML_NODE_ELEMENT); }
  // Look-ups by local name (prefixes are ignored).
  const xml_node* find_attribute(xml_string local_name) const;
  const xml_node* find_child(xml_string local_name) const;
  const xml_node* find_next_sibling(xml_string local_name) const;
  std::uint32_t count_children() const;

  // Iteration: for (const xml_node& a : element.attributes()) ...
  xml_node_range attributes() const;
  xml_node_range children() const;
  xml_node_range nodes() const;

 private:
  friend class detail::xml_node_pool;
  friend class detail::xml_parser;
  friend class xml_doc;
  xml_node() = default;
  friend xml_node* xml_node_new(xml_doc& doc, xml_node_type type, int default_ns);
  friend void xml_node_remove(xml_node* parent, xml_node* child);
  friend void xml_node_free(xml_node* node);

  static constexpr std::uint8_t k_type_mask = 0x07;
  static constexpr std::uint8_t k_ws_only = 0x08;
  static constexpr std::uint8_t k_long_name = 0x10;  // name and prefix kept aside
  // Read as an end tag: "</" comes first (kept when a '/' before '>' makes it an element).
  static constexpr std::uint8_t k_after_slash = 0x20;

  const detail::xml_chunk_header& header() const {
    return *reinterpret_cast<const detail::xml_chunk_header*>(
        reinterpret_cast<std::uintptr_t>(this) & ~std::uintptr_t{detail::XML_CHUNK_BYTES - 1});
  }
  xml_string slice(std::uint32_t off, std::uint32_t len) const {
    return len ? xml_string(header().text + off, len) : xml_string();
  }
  void set_type(xml_node_type t) { bits_ = static_cast<std::uint8_t>((bits_ & ~k_type_mask) | t); }
  // Where the prefix (or the name, without one) begins: after "<" or "</", or at once.
  std::uint32_t name_part() const {
    return start_ + (type() == XML_NODE_ATTRIBUTE ? 0 : (bits_ & k_after_slash) ? 2 : 1);
  }
  xml_string long_prefix() const;
  xml_string long_local_name() const;
  const xml_node* link(std::uint32_t index) const;
  static const xml_node* first_of(const xml_node* n, xml_node_type type) {
    while (n && n->type() != type) n = n->next_node();
    return n;
  }

  std::uint32_t start_;  // the '<', or an attribute's first character
  std::uint32_t value_off_;
  std::uint32_t value_len_;
  std::uint32_t next_;   // next sibling
  std::uint32_t first_;  // first child
  std::uint32_t line_;
  std::uint16_t name_len_;
  std::uint16_t name_delta_;  // from the start to the local name
  std::uint8_t prefix_len_;   // the prefix starts at name_part()
  std::uint8_t bits_;         // type and the flags below
  std::int8_t ns_;
  std::int8_t default_ns_;
};

// Forward iteration over the children of a node, optionally only those of one type.
class xml_node_range {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = xml_node;
    using difference_type = std::ptrdiff_t;
    using pointer = const xml_node*;
    using reference = const xml_node&;
    iterator() = default;
    iterator(const xml_node* node, int type) : node_(node), type_(type) { skip(); }
    reference operator*() const { return *node_; }
    pointer operator->() const { return node_; }
    iterator& operator++() {
      node_ = node_->next_node();
      skip();
      return *this;
    }
    iterator operator++(int) {
      iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const iterator& other) const { return node_ == other.node_; }

   private:
    void skip() {
      while (node_ && type_ >= 0 && node_->type() != type_) node_ = node_->next_node();
    }
    const xml_node* node_ = nullptr;
    int type_ = -1;
  };
  // type < 0: every child.
  xml_node_range(const xml_node* first, int type) : first_(first), type_(type) {}
  iterator begin() const { return iterator(first_, type_); }
  iterator end() const { return iterator(); }

 private:
  const xml_node* first_;
  int type_;
};

inline xml_node_range xml_node::attributes() const {
  return xml_node_range(first_node(), XML_NODE_ATTRIBUTE);
}
inline xml_node_range xml_node::children() const {
  return xml_node_range(first_node(), XML_NODE_ELEMENT);
}
inline xml_node_range xml_node::nodes() const {
  return xml_node_range(first_node(), -1);
}

// One parsed document. Not copyable or movable: its nodes point back at it.
class xml_doc {
 public:
  xml_doc() : pool_(this) {}
  ~xml_doc() = default;
  xml_doc(const xml_doc&) = delete;
  xml_doc& operator=(const xml_doc&) = delete;

  // The caller's path (not copied), "buffer" for text parsed from memory, or nullptr.
  const char* file_name() const { return file_name_; }
  // The synthetic root; its only element child is the document element. Null after a
  // failed parse.
  const xml_node* root() const { return root_; }
  xml_node* root() { return root_; }
  const xml_node* document_element() const { return root_ ? root_->first_child() : nullptr; }
  std::span<const xml_namespace> namespaces() const {
    return std::span<const xml_namespace>(namespaces_.data(), namespace_count_);
  }
  std::uint32_t namespace_count() const { return namespace_count_; }
  // The whole document text.
  std::string_view text() const { return std::string_view(data_, size_); }
  // Memory held by the tree, the document text excluded.
  std::size_t tree_bytes() const { return pool_.bytes(); }

 private:
  friend class detail::xml_parser;
  friend class detail::xml_node_pool;
  friend struct xml_node;
  friend void xml_doc_clear(xml_doc& doc);
  friend void xml_doc_reset(xml_doc& doc);
  friend void xml_doc_release_text(xml_doc& doc, std::size_t from, std::size_t to);
  friend int xml_doc_load_file(const char* path, xml_doc& doc, int* read_error);
  friend int xml_doc_parse_buffer(const char* buffer, std::size_t length, xml_doc& doc,
                                  const char* name);
  friend int xml_doc_add_namespace(xml_doc& doc, std::optional<xml_string> prefix, xml_string uri);
  friend xml_node* xml_node_new(xml_doc& doc, xml_node_type type, int default_ns);
  friend void xml_node_remove(xml_node* parent, xml_node* child);
  friend void xml_node_free(xml_node* node);

  // Forgets the tree and the text; keep_memory holds on to node chunks and the read buffer
  // so that the next parse into this document can reuse them.
  void reset(bool keep_memory);
  // Where a line starts that holds the byte at `offset`, and the bytes of processing
  // instructions between that line start and `offset` (they do not count as columns).
  std::uint32_t line_start_of(std::uint32_t offset, std::uint32_t* skipped) const;

  const char* file_name_ = nullptr;
  const char* data_ = nullptr;
  std::uint32_t size_ = 0;
  std::uint32_t seq_base_ = 0;  // the sequence number of node index 0
  detail::xml_mapping mapping_;
  std::unique_ptr<char[]> owned_;
  std::size_t owned_capacity_ = 0;
  xml_node* root_ = nullptr;
  std::array<xml_namespace, XML_MAX_NAMESPACES> namespaces_{};
  std::uint32_t namespace_count_ = 0;
  // Processing instructions, as [first skipped byte, first byte after "?>").
  std::vector<std::pair<std::uint32_t, std::uint32_t>> skipped_;
  std::vector<detail::xml_long_name> long_names_;
  detail::xml_node_pool pool_;
};

inline const xml_node* xml_node::link(std::uint32_t index) const {
  return header().doc->pool_.at(index);
}

namespace detail {

inline std::uint32_t xml_node_pool::index_of(const xml_node* node) {
  if (!node) return 0;
  const auto addr = reinterpret_cast<std::uintptr_t>(node);
  const auto slot = static_cast<std::uint32_t>((addr & (XML_CHUNK_BYTES - 1)) / XML_SLOT_BYTES);
  return (node->header().index << XML_CHUNK_SHIFT) | slot;
}

inline xml_node* xml_node_pool::allocate() {
  xml_node* node;
  if (next_slot_ <= XML_SLOT_MASK) {
    node =
        reinterpret_cast<xml_node*>(chunks_[used_ - 1] + std::size_t{next_slot_} * XML_SLOT_BYTES);
    ++next_slot_;
  } else {
    node = grow();
    if (!node) return nullptr;
  }
  return ::new (static_cast<void*>(node)) xml_node();
}

}  // namespace detail

// ---- Documents ----------------------------------------------------------------------

// Empties the document (same as xml_doc_clear).
void xml_doc_init(xml_doc& doc);
// Reads the whole file into the document and parses it: 0, or -1 (syntax errors are
// reported on stderr; a file that cannot be read gives -1 silently, with the system's error
// number in `*read_error` when given, which is 0 otherwise). A regular file is mapped
// read-only (or read, where mapping is refused); devices and pipes are read to their end. On
// failure the document is left empty. `path` must outlive the document: it is its file name.
// Loading again into the same document reuses its memory.
int xml_doc_load_file(const char* path, xml_doc& doc, int* read_error = nullptr);
// Parses text that the caller keeps alive for the document's lifetime: 0 or -1. The file
// name is `name`, or "buffer" when none is given.
int xml_doc_parse_buffer(const char* buffer, std::size_t length, xml_doc& doc,
                         const char* name = nullptr);
// Frees the tree and the text the document owns.
void xml_doc_clear(xml_doc& doc);
// Forgets the tree and the text (a mapped file is unmapped) but keeps the node memory and
// the read buffer for the next document, unless they are larger than a large model needs.
void xml_doc_reset(xml_doc& doc);
// Lets a mapped text give the memory of its pages inside [from, to) back to the system; they
// are read from the file again when touched. Readers of a large document call this as they
// go, so that it is never resident as a whole. Does nothing for text that is not mapped.
void xml_doc_release_text(xml_doc& doc, std::size_t from, std::size_t to);
// Enters a namespace declaration (std::nullopt: default namespace) and returns its index,
// the index of the existing entry for the same prefix (or, for a default declaration, the
// same URI), or -1 when the table is full.
int xml_doc_add_namespace(xml_doc& doc, std::optional<xml_string> prefix, xml_string uri);

// ---- Nodes ----------------------------------------------------------------------------

// An unlinked zeroed node of the document (namespace -1, whitespace-only set, the next
// sequence number), or nullptr when memory is exhausted.
xml_node* xml_node_new(xml_doc& doc, xml_node_type type, int default_ns);
// Unlinks `child` from the children of `parent`.
void xml_node_remove(xml_node* parent, xml_node* child);
// Drops a node, its children and its later siblings, unlinking it from its parent (their
// memory goes with the document).
void xml_node_free(xml_node* node);
// "file:line:column" in one static buffer that the next call overwrites.
const char* xml_node_location(const xml_node* node);

inline const xml_node* xml_node_first_attribute(const xml_node* n) {
  return n ? n->first_attribute() : nullptr;
}
inline const xml_node* xml_node_next_attribute(const xml_node* n) {
  return n ? n->next_attribute() : nullptr;
}
inline const xml_node* xml_node_first_child(const xml_node* n) {
  return n ? n->first_child() : nullptr;
}
inline const xml_node* xml_node_next_sibling(const xml_node* n) {
  return n ? n->next_sibling() : nullptr;
}
inline const xml_node* xml_node_find_attribute(const xml_node* n, xml_string name) {
  return n ? n->find_attribute(name) : nullptr;
}
inline const xml_node* xml_node_find_child(const xml_node* n, xml_string name) {
  return n ? n->find_child(name) : nullptr;
}
inline const xml_node* xml_node_find_next_sibling(const xml_node* n, xml_string name) {
  return n ? n->find_next_sibling(name) : nullptr;
}
inline std::uint32_t xml_node_count_children(const xml_node* n) {
  return n ? n->count_children() : 0;
}
inline xml_string xml_node_name(const xml_node* n) {
  return n ? n->name() : xml_string();
}
inline xml_string xml_node_value(const xml_node* n) {
  return n ? n->value() : xml_string();
}

// ---- Text of an element -----------------------------------------------------------------

// What xml_node_text found.
enum xml_text_kind : int {
  XML_TEXT_PLAIN = 0,  // the element's own text, references as written: decode as usual
  XML_TEXT_FINAL = 1,  // text from CDATA sections, or pieces joined: take it as it is
};

// The text of an element as a value reader takes it. An element without CDATA sections,
// comments or processing instructions in its content gives its value (XML_TEXT_PLAIN). An
// element whose content is CDATA sections with nothing but white space around them gives
// the sections' text, byte for byte (white space outside the sections is not text, as an
// element holding nothing but white space is empty). Otherwise the character data and the
// sections' text are joined in document order, comments and processing instructions left
// out; with `decode`, references in the character data are decoded on the way
// (xml_string_html_decode), never those inside a section. Both give XML_TEXT_FINAL.
// `out` is a slice of the document, or points into `storage` when pieces were joined.
// Returns the kind, or -2 for a reference that cannot be decoded. Attributes and other
// nodes give their value, XML_TEXT_PLAIN.
int xml_node_text(const xml_node& element, xml_string& out, std::string& storage, bool decode);

// ---- Slices ---------------------------------------------------------------------------

inline void xml_string_set(xml_string& s, const char* p, std::uint32_t length) {
  s = (p && length) ? xml_string(p, length) : xml_string();
}
xml_string xml_string_from_cstr(const char* text);
// Shorter sorts first; equal lengths compare bytes (unsigned). -1, 0 or 1.
int xml_string_compare(xml_string a, xml_string b);
int xml_string_compare_cstr(xml_string a, const char* text);
bool xml_string_starts_with(xml_string s, const char* text);
inline bool xml_string_is_empty(xml_string s) {
  return s.empty();
}
// True for exactly "true" or "1".
bool xml_string_is_true(xml_string s);
inline bool xml_string_has_entities(xml_string s) {
  return s.find('&') != xml_string::npos;
}

// Copies the slice into `out` as a NUL-terminated text, decoding the five named entities
// and decimal/hexadecimal character references (written as UTF-8). Returns 0; -2 for a
// null output, size 0 or a bad character reference (&#0; among them: U+0000 is no
// character of a document); -3 when the output was full (what
// fitted is kept, terminated). Any other '&' is copied as it stands.
int xml_string_html_decode(xml_string s, char* out, std::size_t out_size);

}  // namespace vos
