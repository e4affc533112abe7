#include "tools/vospack/codegen/encoders.h"

namespace vos {

namespace {

constexpr bool is_printable_ascii(unsigned char c) {
  return c >= 0x20 && c < 0x7F;
}

void append_hex_escape(std::string& out, unsigned char c) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const char escape[4] = {'\\', 'x', kHex[c >> 4], kHex[c & 0xF]};
  out.append(escape, sizeof escape);
}

}  // namespace

std::size_t cg_escaped_length(std::string_view text) {
  std::size_t n = 0;
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\' || c == '?') {
      n += 2;
    } else if (is_printable_ascii(c)) {
      n += 1;
    } else {
      n += 4;
    }
  }
  return n;
}

std::string cg_comment_text(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  char last = '\0';
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (!is_printable_ascii(c)) {
      append_hex_escape(out, c);
      last = 'x';
      continue;
    }
    if ((last == '*' && ch == '/') || (last == '/' && ch == '*') || (last == '?' && ch == '?')) {
      out += ' ';
    }
    out += ch;
    last = ch;
  }
  return out;
}

std::string cg_cmake_comment_text(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (is_printable_ascii(c)) {
      out += ch;
    } else {
      append_hex_escape(out, c);
    }
  }
  return out;
}

std::string cg_cmake_name(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '_' || c == '.' || c == '+' || c == '-';
    out += keep ? c : '_';
  }
  if (out.empty()) out.push_back('_');
  return out;
}

bool cg_is_c_identifier(std::string_view text) {
  if (text.empty()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    if (!letter && (i == 0 || c < '0' || c > '9')) return false;
  }
  return true;
}

}  // namespace vos
