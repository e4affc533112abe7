// A 64-bit finalizer for hash tables: spreads every input bit over the whole word, so that
// keys differing in a few low bits land far apart.
#pragma once

#include <cstdint>

namespace vos {

constexpr uint64_t mix64(uint64_t x) noexcept {
  x ^= x >> 30;
  x *= 0xbf58476d1ce4e5b9ULL;
  x ^= x >> 27;
  x *= 0x94d049bb133111ebULL;
  x ^= x >> 31;
  return x;
}

}  // namespace vos
