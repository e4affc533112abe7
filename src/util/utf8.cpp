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

bool utf8_valid(std::string_view text) noexcept {
  constexpr std::uint64_t k_high_bits = 0x8080808080808080ull;
  std::size_t i = 0;
  const std::size_t size = text.size();
  while (i < size) {
    if (size - i >= 16) {
      std::uint64_t a;
      std::uint64_t b;
      std::memcpy(&a, text.data() + i, 8);
      std::memcpy(&b, text.data() + i + 8, 8);
      if (((a | b) & k_high_bits) == 0) {
        i += 16;
        continue;
      }
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

}  // namespace vos
