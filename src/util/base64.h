// Base64 (RFC 4648, standard alphabet, '=' padding) for ByteString values and opaque
// NodeIds.
//
// The decoder skips ASCII white space (blank, tab, line feed, vertical tab, form feed,
// carriage return) anywhere in the text, since model files wrap long values over several
// lines. Apart from that the text must be canonical: a multiple of four characters, '='
// only as the last one or two of them. Unused low bits of the last character are not
// checked. An empty text (or only white space) decodes to no bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vos {

// Length of the encoded text of `size` bytes.
constexpr std::size_t base64_encoded_length(std::size_t size) noexcept {
  return (size + 2) / 3 * 4;
}

// Appends the encoding of `size` bytes to `out`.
void base64_encode_append(std::string& out, const void* data, std::size_t size);

inline std::string base64_encode(const void* data, std::size_t size) {
  std::string out;
  base64_encode_append(out, data, size);
  return out;
}
inline std::string base64_encode(std::string_view bytes) {
  return base64_encode(bytes.data(), bytes.size());
}

// Checks `text` and stores the exact number of bytes it decodes to in `length`.
// Returns 0, or UA_EBADDECODING when the text is not valid base64.
int base64_decoded_length(std::string_view text, std::size_t& length) noexcept;

// Decodes `text` into `out`, storing the number of bytes written in `written`.
// Returns 0, UA_EBADDECODING for invalid text, or UA_EBADBUFTOOSMALL when `out` cannot
// hold the result (nothing is written past its end).
int base64_decode(std::string_view text, std::span<std::uint8_t> out,
                  std::size_t& written) noexcept;

// Decodes `text`, replacing the contents of `out`; `out` is left empty on failure.
int base64_decode(std::string_view text, std::vector<std::uint8_t>& out);
int base64_decode(std::string_view text, std::string& out);

}  // namespace vos
