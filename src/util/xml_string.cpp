// Slice helpers, entity decoding and the text of an element.
#include <cstring>
#include <string>

#include "util/xml.h"

namespace vos {

xml_string xml_string_from_cstr(const char* text) {
  return text ? xml_string(text) : xml_string();
}

int xml_string_compare(xml_string a, xml_string b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  if (a.empty()) return 0;
  const int c = std::memcmp(a.data(), b.data(), a.size());
  return (c > 0) - (c < 0);
}

int xml_string_compare_cstr(xml_string a, const char* text) {
  return xml_string_compare(a, xml_string_from_cstr(text));
}

bool xml_string_starts_with(xml_string s, const char* text) {
  return s.starts_with(xml_string_from_cstr(text));
}

bool xml_string_is_true(xml_string s) {
  return s == "true" || s == "1";
}

namespace {

constexpr unsigned long k_max_code_point = 0x10FFFF;

int digit_value(char c, int base) {
  int v = -1;
  if (c >= '0' && c <= '9')
    v = c - '0';
  else if (c >= 'a' && c <= 'z')
    v = c - 'a' + 10;
  else if (c >= 'A' && c <= 'Z')
    v = c - 'A' + 10;
  return v < base ? v : -1;
}

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

struct number {
  unsigned long value;  // saturates above the largest code point
  std::size_t end;      // index of the first byte not converted
};

// An unsigned long conversion of s[from, s.size()) in the manner of strtoul: leading
// blanks, an optional sign, an optional "0x" for base 16, then digits; with no digits
// nothing is converted. Any value that cannot be a code point (too large, or negative
// and not zero) comes back above the largest code point.
number convert(xml_string s, std::size_t from, int base) {
  std::size_t i = from;
  while (i < s.size() && is_space(s[i])) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  if (base == 16 && i + 2 < s.size() && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X') &&
      digit_value(s[i + 2], 16) >= 0)
    i += 2;
  const std::size_t digits = i;
  unsigned long value = 0;
  for (int d; i < s.size() && (d = digit_value(s[i], base)) >= 0; ++i) {
    value = value * static_cast<unsigned long>(base) + static_cast<unsigned long>(d);
    if (value > k_max_code_point) value = k_max_code_point + 1;
  }
  if (i == digits) return number{0, from};
  if (negative && value != 0) value = k_max_code_point + 1;
  return number{value, i};
}

std::size_t utf8_length(unsigned long cp) {
  return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
}

void utf8_write(unsigned long cp, char* out) {
  auto byte = [](unsigned long v) { return static_cast<char>(static_cast<unsigned char>(v)); };
  if (cp < 0x80) {
    out[0] = byte(cp);
  } else if (cp < 0x800) {
    out[0] = byte(0xC0 | (cp >> 6));
    out[1] = byte(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out[0] = byte(0xE0 | (cp >> 12));
    out[1] = byte(0x80 | ((cp >> 6) & 0x3F));
    out[2] = byte(0x80 | (cp & 0x3F));
  } else {
    out[0] = byte(0xF0 | (cp >> 18));
    out[1] = byte(0x80 | ((cp >> 12) & 0x3F));
    out[2] = byte(0x80 | ((cp >> 6) & 0x3F));
    out[3] = byte(0x80 | (cp & 0x3F));
  }
}

struct named_entity {
  xml_string name;
  char replacement;
};
constexpr named_entity k_entities[] = {
    {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"amp;", '&'}, {"apos;", '\''}};

}  // namespace

int xml_string_html_decode(xml_string s, char* out, std::size_t out_size) {
  if (!out || out_size == 0) return -2;
  std::size_t o = 0;
  std::size_t i = 0;
  while (i < s.size()) {
    if (o >= out_size - 1) {
      out[o] = '\0';
      return -3;
    }
    if (s[i] != '&') {
      out[o++] = s[i++];
      continue;
    }
    if (i + 1 < s.size() && s[i + 1] == '#') {
      std::size_t from = i + 2;
      int base = 10;
      if (from < s.size() && s[from] == 'x') {
        base = 16;
        ++from;
      }
      const number n = convert(s, from, base);
      // U+0000 is no character of a document.
      if (n.end >= s.size() || s[n.end] != ';' || n.value == 0 || n.value > k_max_code_point ||
          utf8_length(n.value) > out_size - 1 - o) {
        out[o] = '\0';
        return -2;
      }
      utf8_write(n.value, out + o);
      o += utf8_length(n.value);
      i = n.end + 1;
      continue;
    }
    const xml_string rest = s.substr(i + 1);
    bool named = false;
    for (const named_entity& e : k_entities) {
      if (rest.starts_with(e.name)) {
        out[o++] = e.replacement;
        i += 1 + e.name.size();
        named = true;
        break;
      }
    }
    if (!named) out[o++] = s[i++];
  }
  out[o] = '\0';
  return 0;
}

namespace {

// Appends a piece of character data, decoded when asked; 0 or -2.
int append_text(std::string& to, xml_string piece, bool decode) {
  if (!decode || !xml_string_has_entities(piece)) {
    to.append(piece);
    return 0;
  }
  // A decoded text is never longer than its references.
  const std::size_t at = to.size();
  to.resize(at + piece.size() + 1);
  if (xml_string_html_decode(piece, to.data() + at, piece.size() + 1) != 0) {
    to.resize(at);
    return -2;
  }
  to.resize(at + std::strlen(to.data() + at));
  return 0;
}

// Where the parser ends a CDATA section (closer ']') or a comment (closer '-') that starts
// at `from`: at two closers directly followed by '>'. A third closer does not end it there:
// the parser then looks for two closers again. npos when the content ends first.
std::size_t markup_end(xml_string s, std::size_t from, char closer) {
  int seen = 0;
  for (std::size_t i = from; i < s.size(); ++i) {
    if (seen == 2) {
      if (s[i] == '>') return i - 2;
      seen = 0;
    } else {
      seen = s[i] == closer ? seen + 1 : 0;
    }
  }
  return xml_string::npos;
}

}  // namespace

int xml_node_text(const xml_node& element, xml_string& out, std::string& storage, bool decode) {
  const xml_string raw = element.value();
  out = raw;
  if (!element.is_element()) return XML_TEXT_PLAIN;
  std::size_t lt = raw.find('<');
  if (raw.empty()) {
    // Nothing but white space and markup: the CDATA sections, if any, are the text.
    const xml_node* first = nullptr;
    std::size_t sections = 0;
    for (const xml_node& n : element.nodes()) {
      if (n.type() != XML_NODE_CDATA) continue;
      if (first == nullptr) first = &n;
      ++sections;
    }
    if (first == nullptr) return XML_TEXT_PLAIN;
    out = first->value();
    if (sections > 1) {
      storage.clear();
      for (const xml_node& n : element.nodes())
        if (n.type() == XML_NODE_CDATA) storage.append(n.value());
      out = storage;
    }
    return XML_TEXT_FINAL;
  }
  if (lt == xml_string::npos) return XML_TEXT_PLAIN;

  // Character data and markup mixed.
  storage.clear();
  std::size_t i = 0;
  while (true) {
    if (append_text(storage, raw.substr(i, lt - i), decode) != 0) return -2;
    if (lt == xml_string::npos) break;
    const xml_string rest = raw.substr(lt);
    if (rest.starts_with("<![CDATA[")) {
      const std::size_t end = markup_end(raw, lt + 9, ']');
      storage.append(raw.substr(lt + 9, end - (lt + 9)));
      i = end == xml_string::npos ? raw.size() : end + 3;
    } else if (rest.starts_with("<!--")) {
      const std::size_t end = markup_end(raw, lt + 4, '-');
      i = end == xml_string::npos ? raw.size() : end + 3;
    } else if (rest.starts_with("<?")) {
      const std::size_t end = raw.find("?>", lt + 2);
      i = end == xml_string::npos ? raw.size() : end + 2;
    } else {
      // A child element's markup stays as written.
      storage.push_back('<');
      i = lt + 1;
    }
    lt = raw.find('<', i);
    if (i >= raw.size()) break;
  }
  out = storage;
  return XML_TEXT_FINAL;
}

}  // namespace vos
