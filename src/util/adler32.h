// Adler-32 checksum (RFC 1950): the trailer of the binary address-space file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vos {

// The checksum of no bytes; the start value of an incremental computation.
inline constexpr std::uint32_t ADLER32_INIT = 1;

// Continues the checksum `adler` over `size` more bytes and returns the new value.
std::uint32_t adler32_update(std::uint32_t adler, const void* data, std::size_t size) noexcept;
inline std::uint32_t adler32_update(std::uint32_t adler, std::string_view bytes) noexcept {
  return adler32_update(adler, bytes.data(), bytes.size());
}

// Checksum of one byte sequence.
inline std::uint32_t adler32(const void* data, std::size_t size) noexcept {
  return adler32_update(ADLER32_INIT, data, size);
}
inline std::uint32_t adler32(std::string_view bytes) noexcept {
  return adler32_update(ADLER32_INIT, bytes.data(), bytes.size());
}

}  // namespace vos
