#include "uabase/text_number.h"

#include <cstdio>
#include <limits>

#include "util/errors.h"

namespace vos {

namespace {

bool is_space(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

int digit_value(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 'a' + 10;
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  return 99;
}

// Reads an optionally signed number whose magnitude may be at most `max_pos` (positive) or
// `max_neg` (negative); `allow_minus` is false for the unsigned parsers.
int parse(std::string_view text, const char** end, int base, bool allow_minus, uint64_t max_pos,
          uint64_t max_neg, bool& negative, uint64_t& magnitude) noexcept {
  if (end != nullptr) *end = text.data();
  if (base < 2 || base > 36) return UA_EBADINVALIDARGUMENT;
  std::size_t i = 0;
  while (i < text.size() && is_space(text[i])) ++i;
  negative = false;
  if (i < text.size() && text[i] == '+') {
    ++i;
  } else if (i < text.size() && text[i] == '-') {
    if (!allow_minus) return UA_EBADINVALIDARGUMENT;
    negative = true;
    ++i;
  }
  const std::size_t first = i;
  const uint64_t limit = negative ? max_neg : max_pos;
  uint64_t acc = 0;
  bool over = false;
  for (; i < text.size(); ++i) {
    const int d = digit_value(text[i]);
    if (d >= base) break;
    if (!over) {
      acc = acc * static_cast<uint64_t>(base) + static_cast<uint64_t>(d);
      over = acc > limit;
    }
  }
  if (i == first) return UA_EBADDECODING;
  if (end != nullptr) *end = text.data() + i;
  if (over) return UA_EBADOUTOFRANGE;
  magnitude = acc;
  return 0;
}

template <class T>
int parse_signed(std::string_view text, const char** end, int base, T& value) noexcept {
  constexpr uint64_t max_pos = static_cast<uint64_t>(std::numeric_limits<T>::max());
  bool negative = false;
  uint64_t magnitude = 0;
  const int rc = parse(text, end, base, true, max_pos, max_pos + 1, negative, magnitude);
  if (rc != 0) return rc;
  const int64_t v = negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
  value = static_cast<T>(v);
  return 0;
}

template <class T>
int parse_unsigned(std::string_view text, const char** end, int base, T& value) noexcept {
  constexpr uint64_t max_pos = std::numeric_limits<T>::max();
  bool negative = false;
  uint64_t magnitude = 0;
  const int rc = parse(text, end, base, false, max_pos, 0, negative, magnitude);
  if (rc != 0) return rc;
  value = static_cast<T>(magnitude);
  return 0;
}

}  // namespace

int ua_strtoint32(std::string_view text, const char** end, int base, int32_t& value) noexcept {
  return parse_signed(text, end, base, value);
}

int ua_strtoint8(std::string_view text, const char** end, int base, int8_t& value) noexcept {
  return parse_signed(text, end, base, value);
}

int ua_strtouint32(std::string_view text, const char** end, int base, uint32_t& value) noexcept {
  return parse_unsigned(text, end, base, value);
}

int ua_strtouint16(std::string_view text, const char** end, int base, uint16_t& value) noexcept {
  return parse_unsigned(text, end, base, value);
}

int ua_strtouint8(std::string_view text, const char** end, int base, uint8_t& value) noexcept {
  return parse_unsigned(text, end, base, value);
}

int ua_vsnprintf(char* buf, std::size_t size, const char* format, std::va_list args) {
  if (format == nullptr) return UA_EBADINVALIDARGUMENT;
  if ((buf == nullptr) != (size == 0)) return UA_EBADINVALIDARGUMENT;
  const int n = std::vsnprintf(buf, size, format, args);
  if (n < 0) return UA_EBAD;
  if (buf != nullptr && static_cast<std::size_t>(n) >= size) return UA_EBADTRUNCATED;
  return n;
}

int ua_snprintf(char* buf, std::size_t size, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int rc = ua_vsnprintf(buf, size, format, args);
  va_end(args);
  return rc;
}

}  // namespace vos
