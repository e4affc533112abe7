#include "util/md5.h"

#include <bit>
#include <cstring>

namespace vos {

namespace {

constexpr std::uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr int kShift[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

inline std::uint32_t load_le32(const std::uint8_t* p) noexcept {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline void store_le32(std::uint8_t* p, std::uint32_t v) noexcept {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
  p[2] = static_cast<std::uint8_t>(v >> 16);
  p[3] = static_cast<std::uint8_t>(v >> 24);
}

}  // namespace

void Md5::init() noexcept {
  state_[0] = 0x67452301;
  state_[1] = 0xefcdab89;
  state_[2] = 0x98badcfe;
  state_[3] = 0x10325476;
  total_ = 0;
  buffered_ = 0;
}

void Md5::transform(const std::uint8_t* block) noexcept {
  std::uint32_t m[16];
  for (int i = 0; i < 16; ++i) m[i] = load_le32(block + 4 * i);

  std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
  auto step = [&](std::uint32_t f, int i, int g, int s) {
    f += a + kSine[i] + m[g];
    a = d;
    d = c;
    c = b;
    b += std::rotl(f, s);
  };
  for (int i = 0; i < 16; ++i) step((b & c) | (~b & d), i, i, kShift[0][i & 3]);
  for (int i = 16; i < 32; ++i) step((d & b) | (~d & c), i, (5 * i + 1) & 15, kShift[1][i & 3]);
  for (int i = 32; i < 48; ++i) step(b ^ c ^ d, i, (3 * i + 5) & 15, kShift[2][i & 3]);
  for (int i = 48; i < 64; ++i) step(c ^ (b | ~d), i, (7 * i) & 15, kShift[3][i & 3]);

  state_[0] += a;
  state_[1] += b;
  state_[2] += c;
  state_[3] += d;
}

void Md5::update(const void* data, std::size_t size) noexcept {
  // An empty slice may have no address: nothing is copied from it.
  if (size == 0) return;
  const auto* p = static_cast<const std::uint8_t*>(data);
  total_ += size;
  if (buffered_ != 0) {
    std::size_t take = sizeof block_ - buffered_;
    if (take > size) take = size;
    std::memcpy(block_ + buffered_, p, take);
    buffered_ += take;
    p += take;
    size -= take;
    if (buffered_ < sizeof block_) return;
    transform(block_);
    buffered_ = 0;
  }
  for (; size >= sizeof block_; p += sizeof block_, size -= sizeof block_) transform(p);
  if (size != 0) {
    std::memcpy(block_, p, size);
    buffered_ = size;
  }
}

Md5Digest Md5::final() noexcept {
  const std::uint64_t bits = total_ * 8;
  // A 0x80 byte, zeros up to 56 bytes into a block, then the message length in bits.
  std::uint8_t pad[72] = {0x80};
  const std::size_t pad_len = (buffered_ < 56 ? 56 : 120) - buffered_;
  for (int i = 0; i < 8; ++i) pad[pad_len + i] = static_cast<std::uint8_t>(bits >> (8 * i));
  update(pad, pad_len + 8);

  Md5Digest digest;
  for (int i = 0; i < 4; ++i) store_le32(digest.data() + 4 * i, state_[i]);
  init();
  return digest;
}

Md5Digest md5(const void* data, std::size_t size) noexcept {
  Md5 ctx;
  ctx.update(data, size);
  return ctx.final();
}

std::string md5_hex(const Md5Digest& digest) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text(2 * digest.size(), '\0');
  for (std::size_t i = 0; i < digest.size(); ++i) {
    text[2 * i] = kHex[digest[i] >> 4];
    text[2 * i + 1] = kHex[digest[i] & 15];
  }
  return text;
}

}  // namespace vos
