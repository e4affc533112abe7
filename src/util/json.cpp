#include "util/json.h"

#include <charconv>
#include <cmath>

namespace vos {

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

void append_u_escape(std::string& out, unsigned code) {
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kHex[(code >> shift) & 0xF];
}

template <class T>
void append_number(std::string& out, T value) {
  if (std::isnan(value)) {
    out += "\"NaN\"";
  } else if (std::isinf(value)) {
    out += value > 0 ? "\"Infinity\"" : "\"-Infinity\"";
  } else {
    char buf[64];
    const auto result = std::to_chars(buf, buf + sizeof(buf), value);
    out.append(buf, result.ptr);
  }
}

}  // namespace

void json_append_string(std::string& out, std::string_view bytes) {
  out += '"';
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x80) {
      const std::size_t n = utf8_sequence_length(bytes.substr(i));
      if (n == 0) {
        append_u_escape(out, 0xDC00 + c);
        ++i;
      } else {
        out.append(bytes.substr(i, n));
        i += n;
      }
      continue;
    }
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        if (c < 0x20) {
          append_u_escape(out, c);
        } else {
          out += static_cast<char>(c);
        }
    }
    ++i;
  }
  out += '"';
}

void json_append_double(std::string& out, double value) {
  append_number(out, value);
}

void json_append_float(std::string& out, float value) {
  append_number(out, value);
}

}  // namespace vos
