// The parser: a character state machine driven by a transition table, building the node
// tree of a document whose text it never copies.
//
// The machine is written down below as rows (state, character class, next state, action)
// in the order they are tried; a state's number is the index of its first row. At start-up
// the rows are compiled into one table indexed by state and byte, so each byte costs one
// look-up. Where a state keeps itself on every byte but one or two (text content, quoted
// values, comments, CDATA, names) whole runs are skipped at once, counting lines as they go.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "util/xml.h"

namespace vos {
namespace detail {

namespace {

enum action : std::uint8_t {
  A_NONE,
  A_CLEAR_WS,      // clear the whitespace-only flag of the current node
  A_OPEN_TAG,      // a '<': push the current node, start a tag node below it
  A_MARK_THIS,     // a token starts at this byte
  A_MARK_NEXT,     // a token starts at the next byte
  A_END_TAG,       // "</": the tag node is an end tag
  A_SKIP_PI,       // "<?": skip to "?>" and drop the node
  A_DROP_COMMENT,  // "-->": drop the comment's node
  A_SET_PREFIX,    // ':' in a name
  A_EMPTY,         // '/' before '>'
  A_CLOSE,         // '>' of a tag
  A_SET_NAME,      // end of a name
  A_NEW_ATTR,      // first character of an attribute name
  A_END_ATTR,      // closing quote of an attribute value
  A_END_CDATA,     // "]]>"
  A_ERROR,         // no row matches: not an action of the rows, the table's mark for it
};

// Character classes; values of 0 to 255 stand for that byte.
constexpr int C_ALPHA = -1;
constexpr int C_DIGIT = -2;
constexpr int C_NAMECHAR = -3;
constexpr int C_SPACE = -4;
constexpr int C_ANY = -5;

struct row {
  std::uint8_t state;
  int cls;
  std::uint8_t next;
  action act;
};

// clang-format off
constexpr row k_rows[] = {
  {0, '<', 3, A_OPEN_TAG},        // 0: content
  {0, C_SPACE, 0, A_NONE},
  {0, C_ANY, 0, A_CLEAR_WS},
  {3, C_ALPHA, 17, A_MARK_THIS},  // 3: after '<'
  {3, '_', 17, A_MARK_THIS},
  {3, '/', 30, A_END_TAG},
  {3, '?', 0, A_SKIP_PI},
  {3, '!', 8, A_NONE},
  {8, '-', 10, A_NONE},           // 8: after "<!"
  {8, '[', 63, A_NONE},
  {10, '-', 11, A_MARK_NEXT},     // 10: after "<!-"
  {11, '-', 13, A_NONE},          // 11: comment
  {11, C_ANY, 11, A_NONE},
  {13, '-', 15, A_NONE},          // 13: '-' in a comment
  {13, C_ANY, 11, A_NONE},
  {15, '>', 0, A_DROP_COMMENT},   // 15: "--" in a comment
  {15, C_ANY, 11, A_NONE},
  {17, C_NAMECHAR, 17, A_NONE},   // 17: tag name
  {17, ':', 22, A_SET_PREFIX},
  {17, '/', 29, A_EMPTY},
  {17, '>', 0, A_CLOSE},
  {17, C_SPACE, 24, A_SET_NAME},
  {22, C_ALPHA, 17, A_MARK_THIS}, // 22: after a tag name's prefix
  {22, '_', 17, A_MARK_THIS},
  {24, '/', 29, A_EMPTY},         // 24: inside a tag
  {24, '>', 0, A_CLOSE},
  {24, C_SPACE, 24, A_NONE},
  {24, C_ALPHA, 32, A_NEW_ATTR},
  {24, '_', 32, A_NEW_ATTR},
  {29, '>', 0, A_CLOSE},          // 29: after '/' in a tag
  {30, C_ALPHA, 17, A_MARK_THIS}, // 30: after "</"
  {30, '_', 17, A_MARK_THIS},
  {32, C_NAMECHAR, 35, A_NONE},   // 32: first character of an attribute name read
  {32, '=', 43, A_SET_NAME},
  {32, ':', 39, A_SET_PREFIX},
  {35, C_NAMECHAR, 35, A_NONE},   // 35: attribute name
  {35, C_SPACE, 41, A_SET_NAME},
  {35, '=', 43, A_SET_NAME},
  {35, ':', 39, A_SET_PREFIX},
  {39, C_ALPHA, 32, A_MARK_THIS}, // 39: after an attribute name's prefix
  {39, '_', 32, A_MARK_THIS},
  {41, C_SPACE, 41, A_NONE},      // 41: after an attribute name
  {41, '=', 43, A_NONE},
  {43, '"', 49, A_MARK_NEXT},     // 43: after '='
  {43, '\'', 56, A_MARK_NEXT},
  {43, C_SPACE, 46, A_NONE},
  {46, C_SPACE, 46, A_NONE},      // 46: blanks after '='
  {46, '"', 49, A_MARK_NEXT},
  {46, '\'', 56, A_MARK_NEXT},
  {49, '"', 53, A_END_ATTR},      // 49: after an opening '"'
  {49, C_ANY, 51, A_NONE},
  {51, '"', 53, A_END_ATTR},      // 51: value in '"'
  {51, C_ANY, 51, A_NONE},
  {53, '/', 29, A_EMPTY},         // 53: after a closing '"'
  {53, '>', 0, A_CLOSE},
  {53, C_SPACE, 24, A_NONE},
  {56, '\'', 60, A_END_ATTR},     // 56: after an opening '\''
  {56, C_ANY, 58, A_NONE},
  {58, '\'', 60, A_END_ATTR},     // 58: value in '\''
  {58, C_ANY, 58, A_NONE},
  {60, '/', 29, A_EMPTY},         // 60: after a closing '\''
  {60, '>', 0, A_CLOSE},
  {60, C_SPACE, 24, A_NONE},
  {63, 'C', 64, A_NONE},          // 63 to 68: "<![CDATA["
  {64, 'D', 65, A_NONE},
  {65, 'A', 66, A_NONE},
  {66, 'T', 67, A_NONE},
  {67, 'A', 68, A_NONE},
  {68, '[', 69, A_MARK_NEXT},
  {69, ']', 71, A_NONE},          // 69: CDATA
  {69, C_ANY, 69, A_NONE},
  {71, ']', 73, A_NONE},          // 71: ']' in CDATA
  {71, C_ANY, 69, A_NONE},
  {73, '>', 0, A_END_CDATA},      // 73: "]]" in CDATA
  {73, C_ANY, 69, A_NONE},
  {75, C_ANY, 75, A_NONE},        // end of the table
};
// clang-format on

constexpr std::uint8_t k_states[] = {0,  3,  8,  10, 11, 13, 15, 17, 22, 24, 29,
                                     30, 32, 35, 39, 41, 43, 46, 49, 51, 53, 56,
                                     58, 60, 63, 64, 65, 66, 67, 68, 69, 71, 73};
constexpr int k_state_count = sizeof k_states;
constexpr int k_row_count = sizeof k_rows / sizeof k_rows[0];

constexpr bool rows_are_consistent() {
  // Each state's rows are contiguous and its number is the index of its first row.
  for (int s = 0; s < k_state_count; ++s) {
    const int n = k_states[s];
    if (k_rows[n].state != n || (n > 0 && k_rows[n - 1].state == n)) return false;
  }
  return k_rows[k_row_count - 1].state == 75;
}
static_assert(rows_are_consistent());

constexpr std::uint8_t dense(int state_number) {
  for (int s = 0; s < k_state_count; ++s)
    if (k_states[s] == state_number) return static_cast<std::uint8_t>(s);
  return 0xFF;
}

constexpr bool is_alpha(int c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
constexpr bool is_digit(int c) {
  return c >= '0' && c <= '9';
}
constexpr bool is_space(int c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool is_namechar(int c) {
  return is_alpha(c) || is_digit(c) || c == '_' || c == '-' || c == '.';
}

constexpr bool matches(int cls, int c) {
  switch (cls) {
    case C_ALPHA:
      return is_alpha(c);
    case C_DIGIT:
      return is_digit(c);
    case C_NAMECHAR:
      return is_namechar(c);
    case C_SPACE:
      return is_space(c);
    case C_ANY:
      return true;
    default:
      return cls == c;
  }
}

constexpr std::uint8_t NO_STATE = 0xFF;

struct entry {
  std::uint8_t next;  // dense state, or NO_STATE: no transition
  std::uint8_t act;
};

struct transition_table {
  entry e[k_state_count][256];
};

constexpr transition_table build_table() {
  transition_table t{};
  for (int s = 0; s < k_state_count; ++s) {
    for (int c = 0; c < 256; ++c) {
      t.e[s][c] = entry{NO_STATE, A_ERROR};
      for (int r = k_states[s]; k_rows[r].state == k_states[s]; ++r) {
        if (matches(k_rows[r].cls, c)) {
          t.e[s][c] = entry{dense(k_rows[r].next), k_rows[r].act};
          break;
        }
      }
    }
  }
  return t;
}

constexpr transition_table k_table = build_table();

constexpr std::uint8_t S_CONTENT = dense(0);
constexpr std::uint8_t S_AFTER_LT = dense(3);
constexpr std::uint8_t S_COMMENT = dense(11);
constexpr std::uint8_t S_TAG_NAME = dense(17);
constexpr std::uint8_t S_IN_TAG = dense(24);
constexpr std::uint8_t S_ATTR_FIRST = dense(32);
constexpr std::uint8_t S_ATTR_NAME = dense(35);
constexpr std::uint8_t S_VALUE_DQ = dense(51);
constexpr std::uint8_t S_AFTER_DQ = dense(53);
constexpr std::uint8_t S_VALUE_SQ = dense(58);
constexpr std::uint8_t S_AFTER_SQ = dense(60);
constexpr std::uint8_t S_CDATA = dense(69);

struct byte_classes {
  bool space[256];
  bool namechar[256];
  bool name_start[256];  // what starts a tag or attribute name: a letter or '_'
};
constexpr byte_classes build_classes() {
  byte_classes b{};
  for (int c = 0; c < 256; ++c) {
    b.space[c] = is_space(c);
    b.namechar[c] = is_namechar(c);
    b.name_start[c] = is_alpha(c) || c == '_';
  }
  return b;
}
constexpr byte_classes k_classes = build_classes();

// Equal texts; short ones (tag names) compared without a call.
bool same_text(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  const std::size_t n = a.size();
  if (n >= 8 && n <= 16) {
    // The first and the last eight bytes, which overlap for fewer than sixteen.
    std::uint64_t x[2], y[2];
    std::memcpy(&x[0], a.data(), 8);
    std::memcpy(&x[1], a.data() + n - 8, 8);
    std::memcpy(&y[0], b.data(), 8);
    std::memcpy(&y[1], b.data() + n - 8, 8);
    return ((x[0] ^ y[0]) | (x[1] ^ y[1])) == 0;
  }
  if (n < 8) {
    for (std::size_t i = 0; i < n; ++i)
      if (a[i] != b[i]) return false;
    return true;
  }
  return std::memcmp(a.data(), b.data(), n) == 0;
}

// The end of the input (a NUL byte) is looked for in windows of this many bytes.
constexpr std::uint32_t k_window = 1u << 20;

}  // namespace

class xml_parser {
 public:
  // Points the document at the text and parses it.
  static int parse(xml_doc& doc, const char* text, std::size_t length, const char* name);

 private:
  xml_parser(xml_doc& doc, const char* text, std::uint32_t length)
      : doc_(doc),
        pool_(doc.pool_),
        buf_(reinterpret_cast<const unsigned char*>(text)),
        len_(length) {}

  int run();
  int step(std::uint8_t act);
  int open(xml_node_type type);
  void pop() {
    --depth_;
    cur_ = stack_[depth_];
    last_ = stack_last_[depth_];
  }
  void drop(xml_node* node);
  void set_name() { set_name(mark_, pos_ - 1 - mark_); }
  void set_name(std::uint32_t off, std::uint32_t len);
  detail::xml_long_name& long_name(xml_node* node);
  int set_prefix();
  int close_tag();
  int declare_namespaces(xml_node* element);
  int find_prefix(xml_string prefix) const;
  int skip_pi();
  // Input ends at the first NUL byte. It is looked for a window at a time, so that a large
  // text is not read through before the parse begins: the limit is the first NUL byte at or
  // after `from` inside the window there, or the window's end.
  void set_limit(std::uint32_t from) {
    const std::uint32_t end = len_ - from > k_window ? from + k_window : len_;
    // An empty input may have no buffer at all: no search there.
    const void* nul = end > from ? std::memchr(buf_ + from, 0, end - from) : nullptr;
    lim_ = nul ? static_cast<std::uint32_t>(static_cast<const unsigned char*>(nul) - buf_) : end;
  }
  // At the limit (or past it, over bytes that cannot be NUL): false at the end of the input,
  // else the next window is taken.
  bool extend(std::uint32_t pos) {
    if (lim_ == len_ || buf_[lim_] == 0) return false;
    set_limit(pos > lim_ ? pos : lim_);
    return true;
  }
  int fast_tag_start(std::uint32_t& pos, std::uint8_t& state);
  int fast_attributes(std::uint32_t& pos, std::uint8_t& state);
  std::uint32_t skip_names(std::uint32_t pos) const;
  std::uint32_t skip_to(std::uint32_t pos, unsigned char delimiter);
  std::uint32_t skip_content(std::uint32_t pos);
  void count_lines(const unsigned char* p, const unsigned char* end);
  std::uint32_t column() const { return pos_ - col_base_; }
  void report() const;
  int fail(int result);

  xml_doc& doc_;
  xml_node_pool& pool_;
  const unsigned char* buf_;
  std::uint32_t len_;
  std::uint32_t lim_ = 0;  // see set_limit
  // The position (index of the next byte) lives in a local of run() and is stored here
  // before every action and report.
  std::uint32_t pos_ = 0;
  std::uint32_t mark_ = 0;
  std::uint32_t line_ = 1;
  std::uint32_t line_start_ = 0;
  // The column counts the bytes fed to the machine since the last line feed; bytes that a
  // processing instruction skips are not fed, so they move this base instead.
  std::uint32_t col_base_ = 0;
  xml_node* root_ = nullptr;
  // The node being read and its last child; the nodes below it on the stack and theirs.
  xml_node* cur_ = nullptr;
  std::uint32_t last_ = 0;
  xml_node* stack_[XML_MAX_NESTING] = {};
  std::uint32_t stack_last_[XML_MAX_NESTING] = {};
  std::uint32_t depth_ = 0;
  // The last child of the current node before the node opened last: where a dropped tag,
  // comment or processing instruction is cut off again.
  std::uint32_t before_open_ = 0;
  // The text before this offset has been given back (a mapped text only).
  std::uint32_t released_ = 0;
};

void xml_parser::drop(xml_node* node) {
  // The node is the current node's last child and the last node made.
  if (before_open_)
    pool_.at(before_open_)->next_ = 0;
  else
    cur_->first_ = 0;
  last_ = before_open_;
  if (node->bits_ & xml_node::k_long_name) doc_.long_names_.pop_back();
  pool_.release_last(node);
}

int xml_parser::open(xml_node_type type) {
  if (depth_ == XML_MAX_NESTING) {
    std::fputs("Error: reached maximum xml tag nesting level\n", stderr);
    return -1;
  }
  xml_node* node = pool_.allocate();
  if (!node) {
    std::fputs("Error: xml_node_new failed: out of memory\n", stderr);
    return -1;
  }
  node->bits_ = static_cast<std::uint8_t>(type | xml_node::k_ws_only);
  node->ns_ = -1;
  node->default_ns_ = cur_->default_ns_;
  node->start_ = pos_ - 1;
  node->line_ = line_;
  const std::uint32_t index = xml_node_pool::index_of(node);
  if (last_)
    pool_.at(last_)->next_ = index;
  else
    cur_->first_ = index;
  before_open_ = last_;
  stack_[depth_] = cur_;
  stack_last_[depth_] = index;
  ++depth_;
  cur_ = node;
  last_ = 0;
  return 0;
}

detail::xml_long_name& xml_parser::long_name(xml_node* node) {
  if (!(node->bits_ & xml_node::k_long_name)) {
    doc_.long_names_.push_back(
        detail::xml_long_name{xml_node_pool::index_of(node), node->start_ + node->name_delta_,
                              node->name_len_, node->name_part(), node->prefix_len_});
    node->bits_ |= xml_node::k_long_name;
  }
  return doc_.long_names_.back();
}

void xml_parser::set_name(std::uint32_t off, std::uint32_t len) {
  const std::uint32_t delta = off - cur_->start_;
  if ((cur_->bits_ & xml_node::k_long_name) || delta > 0xFFFF || len > 0xFFFF) {
    detail::xml_long_name& n = long_name(cur_);
    n.name_off = off;
    n.name_len = len;
    return;
  }
  cur_->name_delta_ = static_cast<std::uint16_t>(delta);
  cur_->name_len_ = static_cast<std::uint16_t>(len);
}

int xml_parser::set_prefix() {
  if (cur_->prefix().empty()) {
    // The prefix is where the name part begins: the mark.
    const std::uint32_t len = pos_ - 1 - mark_;
    if ((cur_->bits_ & xml_node::k_long_name) || len > 0xFF)
      long_name(cur_).prefix_len = len;
    else
      cur_->prefix_len_ = static_cast<std::uint8_t>(len);
  } else {
    // Reported, but the parse goes on with the first prefix.
    std::fputs("Error: second namespace separator found.\n", stderr);
    report();
  }
  return 0;
}

int xml_parser::find_prefix(xml_string prefix) const {
  for (std::uint32_t i = 0; i < doc_.namespace_count_; ++i)
    if (xml_string_compare(doc_.namespaces_[i].prefix, prefix) == 0) return static_cast<int>(i);
  return -1;
}

int xml_parser::declare_namespaces(xml_node* element) {
  // Mostly no attribute has a prefix or declares the default namespace: each gets the
  // element's namespace at once. At the first that does, the general way below starts over.
  // (The tag's nodes are all attributes: its children come later.)
  bool plain = true;
  for (std::uint32_t i = element->first_; i != 0;) {
    xml_node* a = pool_.at(i);
    if (a->prefix_len_ != 0 || (a->bits_ & xml_node::k_long_name) || a->name() == "xmlns") {
      plain = false;
      break;
    }
    a->ns_ = element->default_ns_;
    i = a->next_;
  }
  if (plain) return 0;
  for (const xml_node* a = element->first_attribute(); a; a = a->next_attribute()) {
    auto* attr = const_cast<xml_node*>(a);
    if (attr->prefix().empty()) {
      if (attr->name() == "xmlns") {
        const int index = xml_doc_add_namespace(doc_, std::nullopt, attr->value());
        if (index < 0) {
          std::fputs("Error: could not add new namespace, maximum number of namespaces reached.",
                     stderr);
          return -1;
        }
        element->default_ns_ = static_cast<std::int8_t>(index);
      }
      attr->ns_ = element->default_ns_;
    } else if (attr->prefix() == "xmlns") {
      xml_doc_add_namespace(doc_, attr->name(), attr->value());
      attr->ns_ = element->default_ns_;
    }
  }
  for (const xml_node* a = element->first_attribute(); a; a = a->next_attribute()) {
    if (a->prefix().empty() || a->prefix() == "xmlns") continue;
    const int index = find_prefix(a->prefix());
    if (index < 0) {
      const xml_string p = a->prefix();
      std::fprintf(stderr, "Error: using unknown namespace prefix '%.*s'\n",
                   static_cast<int>(p.size()), p.data());
      return -1;
    }
    const_cast<xml_node*>(a)->ns_ = static_cast<std::int8_t>(index);
  }
  return 0;
}

int xml_parser::close_tag() {
  xml_node* node = cur_;
  if (node->name().empty()) set_name();
  if (node->type() != XML_NODE_END_TAG) {
    const int r = declare_namespaces(node);
    if (r != 0) return r;
  }
  const xml_string prefix = node->prefix();
  if (!prefix.empty()) {
    const int index = find_prefix(prefix);
    if (index < 0) {
      std::fprintf(stderr, "Error: using unknown namespace prefix '%.*s'\n",
                   static_cast<int>(prefix.size()), prefix.data());
      return -1;
    }
    node->ns_ = static_cast<std::int8_t>(index);
  } else {
    node->ns_ = node->default_ns_;
  }
  switch (node->type()) {
    case XML_NODE_START_TAG:
      node->set_type(XML_NODE_ELEMENT);
      node->value_off_ = pos_;
      return 0;
    case XML_NODE_EMPTY_TAG:
      node->set_type(XML_NODE_ELEMENT);
      pop();
      return 0;
    case XML_NODE_END_TAG: {
      pop();
      xml_node* open_element = cur_;
      const xml_string got = node->name();
      const xml_string expected = open_element->name();
      if (!same_text(got, expected)) {
        // The end tag's name is printed as the expected one: kept so for compatibility.
        std::fputs("Error:opening and closing tag names do not match.\n", stderr);
        std::fprintf(stderr, "Expected </%.*s>, but got </%.*s>\n", static_cast<int>(got.size()),
                     got.data(), static_cast<int>(expected.size()), expected.data());
        return -1;
      }
      const std::uint32_t lt = node->start_;
      drop(node);
      open_element->value_len_ =
          open_element->whitespace_only() ? 0 : lt - open_element->value_off_;
      if (depth_ == 0) return -1;
      pop();
      return 0;
    }
    default:
      std::fputs("Error: unexpected node type\n", stderr);
      return -1;
  }
}

int xml_parser::skip_pi() {
  // The bytes up to and including "?>" are not fed to the machine: they move neither the
  // line nor the column.
  const std::uint32_t from = pos_;
  bool closed = false;
  std::uint32_t i = pos_;
  while (i + 1 < len_) {
    const void* q = std::memchr(buf_ + i, '?', len_ - 1 - i);
    if (!q) break;
    i = static_cast<std::uint32_t>(static_cast<const unsigned char*>(q) - buf_);
    if (buf_[i + 1] == '>') {
      closed = true;
      break;
    }
    ++i;
  }
  pos_ = closed ? i + 2 : len_;
  col_base_ += pos_ - from;
  doc_.skipped_.emplace_back(from, pos_);
  if (pos_ > lim_) set_limit(pos_);
  xml_node* node = cur_;
  pop();
  drop(node);
  return closed ? 0 : -1;
}

int xml_parser::step(std::uint8_t act) {
  switch (act) {
    case A_CLEAR_WS:
      cur_->bits_ &= static_cast<std::uint8_t>(~xml_node::k_ws_only);
      return 0;
    case A_OPEN_TAG:
      return open(XML_NODE_START_TAG);
    case A_MARK_THIS:
      mark_ = pos_ - 1;
      return 0;
    case A_MARK_NEXT:
      mark_ = pos_;
      return 0;
    case A_END_TAG:
      cur_->set_type(XML_NODE_END_TAG);
      cur_->bits_ |= xml_node::k_after_slash;
      return 0;
    case A_SKIP_PI:
      return skip_pi();
    case A_DROP_COMMENT: {
      xml_node* node = cur_;
      pop();
      drop(node);
      return 0;
    }
    case A_SET_PREFIX:
      return set_prefix();
    case A_EMPTY:
      cur_->set_type(XML_NODE_EMPTY_TAG);
      if (cur_->name().empty()) set_name();
      return 0;
    case A_CLOSE:
      return close_tag();
    case A_SET_NAME:
      set_name();
      return 0;
    case A_NEW_ATTR: {
      const int r = open(XML_NODE_ATTRIBUTE);
      if (r != 0) return r;
      mark_ = pos_ - 1;
      return 0;
    }
    case A_END_ATTR:
      cur_->value_off_ = mark_;
      cur_->value_len_ = pos_ - 1 - mark_;
      pop();
      return 0;
    case A_END_CDATA: {
      xml_node* node = cur_;
      pop();
      node->set_type(XML_NODE_CDATA);
      node->value_off_ = mark_;
      node->value_len_ = pos_ - 3 - mark_;
      return 0;
    }
    default:
      return 0;
  }
}

void xml_parser::count_lines(const unsigned char* p, const unsigned char* end) {
  while (p < end) {
    const void* nl = std::memchr(p, '\n', static_cast<std::size_t>(end - p));
    if (!nl) break;
    p = static_cast<const unsigned char*>(nl) + 1;
    ++line_;
    line_start_ = col_base_ = static_cast<std::uint32_t>(p - buf_);
  }
}

std::uint32_t xml_parser::skip_names(std::uint32_t pos) const {
#if defined(__SSE2__)
  // Sixteen bytes at a time: letters, digits, '_', '-' and '.' (a NUL ends the run too).
  while (pos + 16 <= len_) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf_ + pos));
    const auto below = [](__m128i x, char first, char count) {
      const __m128i d = _mm_sub_epi8(x, _mm_set1_epi8(first));
      return _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(static_cast<char>(count - 1))), d);
    };
    const __m128i letter = below(_mm_or_si128(v, _mm_set1_epi8(0x20)), 'a', 26);
    const __m128i digit = below(v, '0', 10);
    const __m128i mark = _mm_or_si128(
        _mm_cmpeq_epi8(v, _mm_set1_epi8('_')),
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('-')), _mm_cmpeq_epi8(v, _mm_set1_epi8('.'))));
    const auto names = static_cast<std::uint32_t>(
        _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(letter, digit), mark)));
    if (names != 0xFFFF) return pos + static_cast<std::uint32_t>(std::countr_one(names));
    pos += 16;
  }
#endif
  while (pos < lim_ && k_classes.namechar[buf_[pos]]) ++pos;
  return pos;
}

std::uint32_t xml_parser::skip_to(std::uint32_t pos, unsigned char delimiter) {
#if defined(__SSE2__)
  // Sixteen bytes at a time, looking for the delimiter and for line feeds at once.
  const __m128i want = _mm_set1_epi8(static_cast<char>(delimiter));
  const __m128i lf = _mm_set1_epi8('\n');
  while (pos < lim_ && pos + 16 <= len_) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf_ + pos));
    auto found = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, want)));
    auto feeds = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, lf)));
    const std::uint32_t left = lim_ - pos;
    if (left < 16) {
      // Bytes from the end of the input on do not count.
      found &= (1u << left) - 1;
      feeds &= (1u << left) - 1;
    }
    if (found) feeds &= (found & (0u - found)) - 1;  // the feeds before the delimiter
    if (feeds) {
      line_ += static_cast<std::uint32_t>(std::popcount(feeds));
      line_start_ = col_base_ = pos + static_cast<std::uint32_t>(std::bit_width(feeds));
    }
    if (found) return pos + static_cast<std::uint32_t>(std::countr_zero(found));
    if (left <= 16) return lim_;
    pos += 16;
  }
#endif
  const unsigned char* p = buf_ + pos;
  const unsigned char* end = buf_ + lim_;
  const void* q = std::memchr(p, delimiter, static_cast<std::size_t>(end - p));
  const unsigned char* stop = q ? static_cast<const unsigned char*>(q) : end;
  count_lines(p, stop);
  return static_cast<std::uint32_t>(stop - buf_);
}

std::uint32_t xml_parser::skip_content(std::uint32_t pos) {
  const unsigned char* p = buf_ + pos;
  const unsigned char* end = buf_ + lim_;
  // Mostly a line feed and indentation before the next tag: a plain loop wins here, with
  // runs of blanks taken eight at a time.
  const unsigned char* const end8 = buf_ + (len_ >= 8 ? len_ - 8 : 0);
  while (p < end) {
    const unsigned char c = *p;
    if (c == '<') break;
    ++p;
    if (c == '\n') {
      ++line_;
      line_start_ = col_base_ = static_cast<std::uint32_t>(p - buf_);
      if constexpr (std::endian::native == std::endian::little) {
        while (p <= end8) {
          std::uint64_t word;
          std::memcpy(&word, p, 8);
          // The lowest byte that differs from a blank is the first that is not one.
          const std::uint64_t other = word ^ 0x2020202020202020u;
          if (other != 0) {
            p += std::countr_zero(other) / 8;
            break;
          }
          p += 8;
        }
      }
    } else if (!k_classes.space[c]) {
      cur_->bits_ &= static_cast<std::uint8_t>(~xml_node::k_ws_only);
      // Text: find its end at once.
      return skip_to(static_cast<std::uint32_t>(p - buf_), '<');
    }
  }
  return static_cast<std::uint32_t>(p - buf_);
}

// The fast paths below read markup in its usual form with exactly the actions the machine
// would take for it, byte for byte; at anything else they stop, and the machine goes on in
// the state they reached. Each returns 0, or the failure of an action (the machine's
// position and mark are then where the machine would have them).

// After '<': the first character of a start or end tag's name, and the rest of the name.
int xml_parser::fast_tag_start(std::uint32_t& pos, std::uint8_t& state) {
  std::uint32_t at = pos;
  if (at < lim_ && buf_[at] == '/') {
    if (at + 1 >= lim_ || !k_classes.name_start[buf_[at + 1]]) return 0;
    cur_->set_type(XML_NODE_END_TAG);  // the end tag action
    cur_->bits_ |= xml_node::k_after_slash;
    ++at;
  } else if (at >= lim_ || !k_classes.name_start[buf_[at]]) {
    return 0;
  }
  mark_ = at;  // the first character of the name
  pos = skip_names(at + 1);
  state = S_TAG_NAME;
  return 0;
}

// Inside a start tag: blanks and attributes written name="value" or name='value'.
int xml_parser::fast_attributes(std::uint32_t& pos, std::uint8_t& state) {
  const unsigned char* const b = buf_;
  for (;;) {
    while (pos < lim_ && k_classes.space[b[pos]]) {
      if (b[pos] == '\n') {
        ++line_;
        line_start_ = col_base_ = pos + 1;
      }
      ++pos;
    }
    state = S_IN_TAG;
    if (pos >= lim_ || !k_classes.name_start[b[pos]]) return 0;
    // The new attribute at its first character.
    pos_ = pos + 1;
    int r = open(XML_NODE_ATTRIBUTE);
    if (r != 0) return r;
    mark_ = pos;
    const std::uint32_t end = skip_names(pos + 1);
    state = end == pos + 1 ? S_ATTR_FIRST : S_ATTR_NAME;
    if (end + 1 >= lim_ || b[end] != '=' || (b[end + 1] != '"' && b[end + 1] != '\'')) {
      pos = end;
      return 0;
    }
    // '=' ends the name; the quote marks the value.
    pos_ = end + 1;
    set_name();
    const unsigned char quote = b[end + 1];
    mark_ = end + 2;
    const std::uint32_t close = skip_to(end + 2, quote);
    if (close >= lim_) {
      pos = close;
      state = quote == '"' ? S_VALUE_DQ : S_VALUE_SQ;
      return 0;
    }
    // The closing quote ends the value.
    cur_->value_off_ = mark_;
    cur_->value_len_ = close - mark_;
    pop();
    pos = close + 1;
    state = quote == '"' ? S_AFTER_DQ : S_AFTER_SQ;
    if (pos >= lim_ || !k_classes.space[b[pos]]) return 0;
  }
}

void xml_parser::report() const {
  // The current line up to a line end or NUL, at most 49 characters.
  std::uint32_t excerpt = 0;
  while (excerpt < 49 && line_start_ + excerpt < len_) {
    const unsigned char c = buf_[line_start_ + excerpt];
    if (c == 0 || c == '\r' || c == '\n') break;
    ++excerpt;
  }
  std::string text;
  char head[64];
  std::snprintf(head, sizeof head, "Parse error in line %i, col %i:\n", static_cast<int>(line_),
                static_cast<int>(column()));
  text += head;
  if (pos_ >= mark_) {
    // Underline the token from the mark to the current byte.
    text.append(reinterpret_cast<const char*>(buf_ + line_start_), excerpt);
    text += '\n';
    const std::uint32_t token = pos_ - mark_;
    const int pad = static_cast<int>(column() - token);
    text.append(pad < 0 ? 0u - static_cast<unsigned>(pad) : static_cast<unsigned>(pad), ' ');
    if (token > 1) text.append(token - 1, '~');
    text += "^\n";
  }
  std::fwrite(text.data(), 1, text.size(), stderr);
}

int xml_parser::fail(int result) {
  doc_.root_ = nullptr;
  pool_.reset(true);
  return result;
}

int xml_parser::run() {
  root_ = pool_.allocate();
  if (root_) {
    root_->bits_ = static_cast<std::uint8_t>(XML_NODE_ROOT | xml_node::k_ws_only);
    root_->ns_ = -1;
    root_->default_ns_ = -1;
  }
  if (!root_) {
    std::fputs("Error: Could not allocate root node. Check your memory pool configuration.\n",
               stderr);
    return -1;
  }
  cur_ = root_;
  set_limit(0);

  const unsigned char* const buf = buf_;
  std::uint32_t pos = 0;
  std::uint32_t lim = lim_;
  std::uint8_t state = S_CONTENT;
  for (;;) {
    while (pos < lim) {
      const unsigned char c = buf[pos++];
      if (c == '\n') {
        ++line_;
        line_start_ = col_base_ = pos;
      }
      const entry e = k_table.e[state][c];
      if (e.act != A_NONE) {
        pos_ = pos;
        if (e.act == A_ERROR) {
          std::fprintf(stderr, "Error: no transition defined for processing '%c' in state '%i'\n",
                       c, static_cast<int>(k_states[state]));
          report();
          return fail(-1);
        }
        const int r = step(e.act);
        if (r != 0) {
          report();
          return fail(r);
        }
        pos = pos_;  // a processing instruction moves it, and the limit
        lim = lim_;
      }
      state = e.next;
      // Runs of bytes that keep the state and need no action, and the fast paths.
      int r = 0;
      switch (state) {
        case S_CONTENT:
          pos = skip_content(pos);
          if (pos >= released_ + XML_RELEASE_STEP) {
            // The text read so far need not stay resident: the tree's slices read it again.
            xml_doc_release_text(doc_, released_, pos);
            released_ = pos;
          }
          break;
        case S_AFTER_LT:
          r = fast_tag_start(pos, state);
          break;
        case S_IN_TAG:
          r = fast_attributes(pos, state);
          break;
        case S_VALUE_DQ:
          pos = skip_to(pos, '"');
          break;
        case S_VALUE_SQ:
          pos = skip_to(pos, '\'');
          break;
        case S_COMMENT:
          pos = skip_to(pos, '-');
          break;
        case S_CDATA:
          pos = skip_to(pos, ']');
          break;
        case S_TAG_NAME:
        case S_ATTR_NAME:
          pos = skip_names(pos);
          break;
        default:
          break;
      }
      if (r != 0) {
        report();
        return fail(r);
      }
    }
    if (!extend(pos)) break;
    lim = lim_;
  }
  pos_ = pos;

  if (root_->first_ != 0 && pool_.at(root_->first_)->next_ != 0) {
    std::fputs(
        "Error: invalid xml document, because the document contains multiple root "
        "elements.\n",
        stderr);
    report();
    doc_.root_ = root_;
    return -1;
  }
  if (depth_ > 0) {
    std::fputs("Error: invalid xml document, because not all tags have been closed correctly.\n",
               stderr);
    report();
    std::string text = "Stack contents:\n";
    while (depth_ > 0) {
      --depth_;
      const xml_string name = stack_[depth_]->name();
      char head[16];
      std::snprintf(head, sizeof head, "%u: ", depth_);
      text += head;
      text.append(name.data(), name.size());
      text += '\n';
    }
    std::fwrite(text.data(), 1, text.size(), stderr);
    return fail(-1);
  }
  doc_.root_ = root_;
  return 0;
}

int xml_parser::parse(xml_doc& doc, const char* text, std::size_t length, const char* name) {
  if (length > 0xFFFFFFF0u) return -1;
  doc.root_ = nullptr;
  doc.pool_.reset(true);
  doc.namespaces_ = {};
  doc.namespace_count_ = 0;
  doc.skipped_.clear();
  doc.long_names_.clear();
  doc.file_name_ = name;
  doc.data_ = text;
  doc.size_ = static_cast<std::uint32_t>(length);
  doc.seq_base_ = xml_sequence_counter;
  // NodeSet files hold about one node per 30 to 40 bytes of text.
  doc.pool_.reserve(length);
  xml_parser parser(doc, text, static_cast<std::uint32_t>(length));
  const int result = parser.run();
  xml_sequence_counter = doc.seq_base_ + doc.pool_.next_index();
  return result;
}

}  // namespace detail

int xml_doc_parse_buffer(const char* buffer, std::size_t length, xml_doc& doc, const char* name) {
  doc.reset(true);
  if (!buffer && length) return -1;
  return detail::xml_parser::parse(doc, buffer ? buffer : "", length, name ? name : "buffer");
}

namespace {

// Owns an open file descriptor; closes it on every way out.
class fd_owner {
 public:
  explicit fd_owner(int fd) noexcept : fd_(fd) {}
  ~fd_owner() {
    if (fd_ >= 0) ::close(fd_);
  }
  fd_owner(const fd_owner&) = delete;
  fd_owner& operator=(const fd_owner&) = delete;
  int get() const noexcept { return fd_; }

 private:
  int fd_;
};

// Reads up to `n` bytes at `to`: the count read, or -1 with errno set.
ssize_t read_full(int fd, char* to, std::size_t n) {
  std::size_t got = 0;
  while (got < n) {
    const ssize_t r = ::read(fd, to + got, n - got);
    if (r < 0 && errno == EINTR) continue;
    if (r < 0) return -1;
    if (r == 0) break;
    got += static_cast<std::size_t>(r);
  }
  return static_cast<ssize_t>(got);
}

}  // namespace

int xml_doc_load_file(const char* path, xml_doc& doc, int* read_error) {
  constexpr std::size_t k_max = 0xFFFFFFF0u;  // slices hold 32-bit offsets
  doc.reset(true);
  int error = 0;
  // Makes the owned buffer hold at least `want` bytes, keeping the first `keep`.
  const auto reserve = [&doc](std::size_t want, std::size_t keep) {
    if (doc.owned_ && doc.owned_capacity_ >= want) return true;
    std::unique_ptr<char[]> bigger;
    try {
      bigger = std::make_unique_for_overwrite<char[]>(want);
    } catch (const std::bad_alloc&) {
      return false;
    }
    if (keep > 0) std::memcpy(bigger.get(), doc.owned_.get(), keep);
    doc.owned_ = std::move(bigger);
    doc.owned_capacity_ = want;
    return true;
  };
  const int ret = [&]() -> int {
    if (!path) return error = EINVAL, -1;
    const fd_owner fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return error = errno, -1;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0) return error = errno, -1;
    if (S_ISREG(st.st_mode)) {
      const auto size = static_cast<std::uintmax_t>(st.st_size);
      if (size > k_max) return error = EFBIG, -1;
      const auto n = static_cast<std::size_t>(size);
      // Mapped, the text costs no copy and no zeroed memory; where the system refuses (an
      // empty file among others), the file is read into the document's buffer.
      if (n > 0 && doc.mapping_.map(fd.get(), n)) {
        return detail::xml_parser::parse(doc, doc.mapping_.data(), n, path);
      }
      if (!reserve(n > 0 ? n : 1, 0)) return error = ENOMEM, -1;
      const ssize_t got = read_full(fd.get(), doc.owned_.get(), n);
      if (got < 0) return error = errno, -1;
      return detail::xml_parser::parse(doc, doc.owned_.get(), static_cast<std::size_t>(got), path);
    }
    // Anything else (a device, a pipe) is read in growing steps until its end; a folder
    // opens, but reading it fails.
    std::size_t want = 65536;
    std::size_t got = 0;
    while (true) {
      if (!reserve(want, got)) return error = ENOMEM, -1;
      const ssize_t r = read_full(fd.get(), doc.owned_.get() + got, want - got);
      if (r < 0) return error = errno, -1;
      got += static_cast<std::size_t>(r);
      if (got < want) break;
      if (want == k_max) return error = EFBIG, -1;
      want = want > k_max / 2 ? k_max : want * 2;
    }
    return detail::xml_parser::parse(doc, doc.owned_.get(), got, path);
  }();
  if (ret != 0) doc.reset(false);
  if (read_error) *read_error = error;
  return ret;
}

}  // namespace vos
