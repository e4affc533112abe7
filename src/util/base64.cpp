#include "util/base64.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <array>

#include "util/errors.h"

namespace vos {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Decoding classes of every byte: 0..63 a digit, or one of the markers below.
constexpr std::uint8_t kSpace = 64;
constexpr std::uint8_t kPad = 65;
constexpr std::uint8_t kInvalid = 255;

constexpr std::array<std::uint8_t, 256> make_decode_table() {
  std::array<std::uint8_t, 256> table{};
  for (auto& entry : table) entry = kInvalid;
  for (std::uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
  for (unsigned char c : {' ', '\t', '\n', '\v', '\f', '\r'}) table[c] = kSpace;
  table['='] = kPad;
  return table;
}

constexpr std::array<std::uint8_t, 256> kDecode = make_decode_table();

#if defined(__SSE2__)
// True when the sixteen characters at `p` are all digits of the alphabet.
bool all_digits(const unsigned char* p) noexcept {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const auto in = [v](char first, char count) {
    const __m128i d = _mm_sub_epi8(v, _mm_set1_epi8(first));
    return _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(static_cast<char>(count - 1))), d);
  };
  const __m128i digit =
      _mm_or_si128(_mm_or_si128(in('A', 26), in('a', 26)),
                   _mm_or_si128(in('0', 10), _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('+')),
                                                          _mm_cmpeq_epi8(v, _mm_set1_epi8('/')))));
  return _mm_movemask_epi8(digit) == 0xFFFF;
}
#endif

// One pass over `text` that validates it and, when `write` is set, stores the bytes in the
// `capacity` bytes at `out`. Returns 0 or a negative status; on success `length` receives
// the decoded size.
int decode(std::string_view text, bool write, std::uint8_t* out, std::size_t capacity,
           std::size_t& length) noexcept {
  std::uint32_t acc = 0;  // digits of the current group of four
  int digits = 0;         // digits in acc
  int pads = 0;           // '=' seen
  int pads_expected = 0;  // '=' that complete the final group
  std::size_t n = 0;

  auto emit = [&](int count) noexcept {
    if (write) {
      if (capacity - n < static_cast<std::size_t>(count)) return false;
      for (int i = 0; i < count; ++i) out[n + i] = static_cast<std::uint8_t>(acc >> (16 - 8 * i));
    }
    n += static_cast<std::size_t>(count);
    return true;
  };

  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  while (p != end) {
    // Groups of four digits, the bulk of any value, go at once; when only the length is
    // wanted, sixteen characters at a time.
    if (digits == 0 && pads == 0) {
#if defined(__SSE2__)
      if (!write) {
        while (end - p >= 16 && all_digits(p)) {
          n += 12;
          p += 16;
        }
      }
#endif
      while (end - p >= 4) {
        const std::uint32_t a = kDecode[p[0]], b = kDecode[p[1]], c = kDecode[p[2]],
                            d = kDecode[p[3]];
        if ((a | b | c | d) >= 64) break;
        acc = a << 18 | b << 12 | c << 6 | d;
        if (!emit(3)) return UA_EBADBUFTOOSMALL;
        p += 4;
      }
      acc = 0;
      if (p == end) break;
    }
    const std::uint8_t v = kDecode[*p++];
    if (v < 64) {
      if (pads != 0) return UA_EBADDECODING;  // data after the padding
      acc = acc << 6 | v;
      if (++digits == 4) {
        if (!emit(3)) return UA_EBADBUFTOOSMALL;
        acc = 0;
        digits = 0;
      }
    } else if (v == kSpace) {
      continue;
    } else if (v == kPad) {
      if (pads == 0) {
        // Two digits carry one byte and need "==", three carry two and need "=".
        if (digits < 2) return UA_EBADDECODING;
        pads_expected = 4 - digits;
        acc <<= 6 * pads_expected;
        if (!emit(digits - 1)) return UA_EBADBUFTOOSMALL;
        digits = 0;
      }
      if (++pads > pads_expected) return UA_EBADDECODING;
    } else {
      return UA_EBADDECODING;
    }
  }
  if (digits != 0 || pads != pads_expected) return UA_EBADDECODING;
  length = n;
  return 0;
}

}  // namespace

void base64_encode_append(std::string& out, const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  std::size_t pos = out.size();
  out.resize(pos + base64_encoded_length(size));
  char* dst = out.data() + pos;
  for (; size >= 3; size -= 3, p += 3) {
    const std::uint32_t v = static_cast<std::uint32_t>(p[0]) << 16 | p[1] << 8 | p[2];
    *dst++ = kAlphabet[v >> 18];
    *dst++ = kAlphabet[(v >> 12) & 63];
    *dst++ = kAlphabet[(v >> 6) & 63];
    *dst++ = kAlphabet[v & 63];
  }
  if (size != 0) {
    std::uint32_t v = static_cast<std::uint32_t>(p[0]) << 16;
    if (size == 2) v |= static_cast<std::uint32_t>(p[1]) << 8;
    *dst++ = kAlphabet[v >> 18];
    *dst++ = kAlphabet[(v >> 12) & 63];
    *dst++ = size == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    *dst++ = '=';
  }
}

int base64_decoded_length(std::string_view text, std::size_t& length) noexcept {
  return decode(text, false, nullptr, 0, length);
}

int base64_decode(std::string_view text, std::span<std::uint8_t> out,
                  std::size_t& written) noexcept {
  written = 0;
  return decode(text, true, out.data(), out.size(), written);
}

namespace {

template <typename Container>
int decode_into(std::string_view text, Container& out) {
  // Every four characters give at most three bytes: one pass into a block of that bound.
  out.resize((text.size() + 3) / 4 * 3);
  std::size_t written = 0;
  const int status =
      decode(text, true, reinterpret_cast<std::uint8_t*>(out.data()), out.size(), written);
  out.resize(status == 0 ? written : 0);
  return status;
}

}  // namespace

int base64_decode(std::string_view text, std::vector<std::uint8_t>& out) {
  return decode_into(text, out);
}

int base64_decode(std::string_view text, std::string& out) {
  return decode_into(text, out);
}

}  // namespace vos
