#include "util/utf8.h"

#include <cstdint>
#include <cstring>

namespace vos {

std::size_t utf8_sequence_length(std::string_view bytes) noexcept {
  if (bytes.empty()) return 0;
  const auto at = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) return 1;
  // The allowed range of the second byte narrows for the leads that could otherwise start
  // an overlong form, a surrogate or a code point above U+10FFFF.
  std::size_t length;
  unsigned char low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (bytes.size() < length || at(1) < low || at(1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

namespace {

// Loads `n` bytes (1 to 8) as one word.
std::uint64_t load(const char* p, std::size_t n) noexcept {
  std::uint64_t w = 0;
  std::memcpy(&w, p, n);
  return w;
}

bool ascii(std::uint64_t w) noexcept {
  return (w & 0x8080808080808080ull) == 0;
}

// Checks sequence by sequence from the first byte that is not ASCII.
bool valid_from(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size()) {
    if (text.size() - i >= 8 && ascii(load(text.data() + i, 8))) {
      i += 8;
      continue;
    }
    if (static_cast<unsigned char>(text[i]) < 0x80) {
      ++i;
      continue;
    }
    const std::size_t n = utf8_sequence_length(text.substr(i));
    if (n == 0) return false;
    i += n;
  }
  return true;
}

}  // namespace

bool utf8_valid(std::string_view text) noexcept {
  // Most texts are short and plain ASCII: a word at a time, the last one through the loads
  // of four, two and one byte that the rest needs.
  const char* p = text.data();
  std::size_t left = text.size();
  for (; left >= 8; p += 8, left -= 8)
    if (!ascii(load(p, 8))) return valid_from(std::string_view(p, left));
  std::uint64_t tail = 0;
  if (left & 4) tail |= load(p + (left & 3), 4);
  if (left & 2) tail |= load(p + (left & 1), 2);
  if (left & 1) tail |= load(p, 1);
  return ascii(tail) || valid_from(std::string_view(p, left));
}

}  // namespace vos
