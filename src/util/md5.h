// MD5 message digest (RFC 1321): identifies the set of input models.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vos {

using Md5Digest = std::array<std::uint8_t, 16>;

// Incremental digest: update() any number of times, then final(). The object starts (and
// after final() starts again) as a fresh digest of no bytes.
class Md5 {
 public:
  Md5() noexcept { init(); }

  void init() noexcept;
  void update(const void* data, std::size_t size) noexcept;
  void update(std::string_view bytes) noexcept { update(bytes.data(), bytes.size()); }
  // Pads, returns the 16-byte digest and resets the object.
  Md5Digest final() noexcept;

 private:
  void transform(const std::uint8_t* block) noexcept;

  std::uint32_t state_[4];
  std::uint64_t total_;   // bytes fed so far
  std::size_t buffered_;  // bytes waiting in block_
  std::uint8_t block_[64];
};

// Digest of one byte sequence.
Md5Digest md5(const void* data, std::size_t size) noexcept;
inline Md5Digest md5(std::string_view bytes) noexcept {
  return md5(bytes.data(), bytes.size());
}

// The digest as 32 lower-case hexadecimal digits.
std::string md5_hex(const Md5Digest& digest);

}  // namespace vos
