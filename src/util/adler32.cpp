#include "util/adler32.h"

namespace vos {

namespace {

constexpr std::uint32_t kBase = 65521;  // largest prime below 2^16
// Most bytes that can be summed before b overflows 32 bits, starting from sums below kBase
// and with every byte 255; the modulo is taken once per run of this many bytes.
constexpr std::size_t kNmax = 5552;

}  // namespace

std::uint32_t adler32_update(std::uint32_t adler, const void* data, std::size_t size) noexcept {
  const auto* p = static_cast<const std::uint8_t*>(data);
  std::uint32_t a = adler & 0xffff;
  std::uint32_t b = adler >> 16;
  while (size != 0) {
    std::size_t run = size < kNmax ? size : kNmax;
    size -= run;
    for (; run >= 8; run -= 8, p += 8) {
      a += p[0];
      b += a;
      a += p[1];
      b += a;
      a += p[2];
      b += a;
      a += p[3];
      b += a;
      a += p[4];
      b += a;
      a += p[5];
      b += a;
      a += p[6];
      b += a;
      a += p[7];
      b += a;
    }
    for (; run != 0; --run, ++p) {
      a += *p;
      b += a;
    }
    a %= kBase;
    b %= kBase;
  }
  return b << 16 | a;
}

}  // namespace vos
