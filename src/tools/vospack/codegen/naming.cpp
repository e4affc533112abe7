#include "tools/vospack/codegen/naming.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

#include "diag/diag.h"
#include "tools/vospack/codegen/output_file.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr char to_upper_ascii(char c) {
  return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c;
}
constexpr char to_lower_ascii(char c) {
  return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}
constexpr bool is_upper_ascii(char c) {
  return c >= 'A' && c <= 'Z';
}

// Sorted, for the binary search: the keywords of C99, and the three names that
// <stdbool.h> defines as macros (a member named "true" would not compile either).
constexpr std::array<std::string_view, 40> kCKeywords = {
    "_Bool",    "_Complex", "_Imaginary", "auto",     "bool",   "break",    "case",
    "char",     "const",    "continue",   "default",  "do",     "double",   "else",
    "enum",     "extern",   "false",      "float",    "for",    "goto",     "if",
    "inline",   "int",      "long",       "register", "restrict", "return", "short",
    "signed",   "sizeof",   "static",     "struct",   "switch", "true",     "typedef",
    "union",    "unsigned", "void",       "volatile", "while"};
static_assert(std::is_sorted(kCKeywords.begin(), kCKeywords.end()));

std::string cut(std::string text, std::size_t max = CODEGEN_MAX_IDENTIFIER) {
  if (text.size() > max) text.resize(max);
  return text;
}

}  // namespace

std::string cg_upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = to_upper_ascii(c);
  return out;
}

std::string cg_lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = to_lower_ascii(c);
  return out;
}

std::string cg_join(std::initializer_list<std::string_view> parts) {
  std::string out;
  for (const std::string_view p : parts) out += p;
  return cut(std::move(out));
}

std::string cg_include_guard(std::string_view name) {
  std::string guard(name.substr(0, 127));
  guard += "_H";
  return cg_upper(guard);
}

std::string cg_upper_constant(std::string_view prefix, std::string_view symbolic_name) {
  return cg_upper(cg_join({prefix, "_", symbolic_name}));
}

bool cg_is_c_keyword(std::string_view name) {
  return std::binary_search(kCKeywords.begin(), kCKeywords.end(), name);
}

std::string cg_numbered(std::string_view name, unsigned n) {
  std::string out(name);
  out += '_';
  out += std::to_string(n);
  return out;
}

bool cg_field_name(std::string_view name, bool namespace0, std::string& out) {
  out.clear();
  if (namespace0) {
    for (std::size_t i = 0; i < name.size(); ++i) {
      const char c = name[i];
      if (is_upper_ascii(c)) {
        if (i != 0 && !is_upper_ascii(name[i - 1])) out += '_';
        out += to_lower_ascii(c);
      } else {
        out += c;
      }
    }
  } else {
    out = cg_lower(name);
  }
  out = cut(std::move(out));
  if (!cg_is_c_keyword(out)) return false;
  if (diag_verbosity() >= 2) {
    std::fprintf(stderr,
                 "warning: the field name '%s' is a C keyword. Please fix your source model by "
                 "defining a SymbolicName which is not a C keyword.\n",
                 out.c_str());
  }
  std::string replacement = "_";
  replacement += cg_lower(name);
  out = cut(std::move(replacement));
  return true;
}

int cg_escape_c_string(std::string_view text, std::string& out) {
  // The room of a 4096-byte buffer: every step needs room for itself and the terminator.
  constexpr std::size_t kRoom = 4096;
  out.clear();
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\' || c == '?') {
      // '?' too: "??/" or "??=" would be a trigraph under -std=c99.
      if (out.size() + 3 > kRoom) return UA_EBADTRUNCATED;
      out += '\\';
      out += ch;
    } else if (c >= 0x20 && c < 0x7F) {
      if (out.size() + 2 > kRoom) return UA_EBADTRUNCATED;
      out += ch;
    } else {
      if (out.size() + 5 > kRoom) return UA_EBADTRUNCATED;
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\%03o", c);
      out += esc;
    }
  }
  return 0;
}

void cg_write_bytestring_literal(output_file& out, std::span<const uint8_t> bytes) {
  out.print("    { %u, \"", static_cast<unsigned>(bytes.size()));
  std::size_t pos = 0;
  std::size_t remaining = bytes.size();
  while (remaining > 0) {
    std::size_t run = 16;
    while (run > remaining) run /= 2;
    // "\x%02X" for each byte, without a formatter call per byte.
    static constexpr char kHex[] = "0123456789ABCDEF";
    char text[16 * 4];
    for (std::size_t i = 0; i < run; ++i) {
      const uint8_t b = bytes[pos + i];
      text[i * 4] = '\\';
      text[i * 4 + 1] = 'x';
      text[i * 4 + 2] = kHex[b >> 4];
      text[i * 4 + 3] = kHex[b & 0xF];
    }
    out.put(std::string_view(text, run * 4));
    pos += run;
    remaining -= run;
    if (run == 16) out.put("\"\n        \"");
  }
  out.put("\"},\n");
}

std::string cg_guid_literal(std::string_view prefix, const ua_guid& g, std::string_view suffix) {
  char buf[128];
  std::snprintf(buf, sizeof buf,
                "{ 0x%08x, 0x%04x, 0x%04x, { 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, "
                "0x%02x, 0x%02x } }",
                g.data1, g.data2, g.data3, g.data4[0], g.data4[1], g.data4[2], g.data4[3],
                g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
  std::string out(prefix);
  out += buf;
  out += suffix;
  return out;
}

}  // namespace vos
