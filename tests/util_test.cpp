#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "util/adler32.h"
#include "util/base64.h"
#include "util/errors.h"
#include "util/json.h"
#include "util/md5.h"
#include "util/string_index.h"
#include "util/utf8.h"

namespace vos {
namespace {

std::string hex(std::string_view text) {
  return md5_hex(md5(text));
}

TEST(Md5, ReferenceVectorsAndBlockEnds) {
  EXPECT_EQ(hex(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hex("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(hex("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(hex("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  std::string digits;
  for (int i = 0; i < 8; ++i) digits += "1234567890";
  EXPECT_EQ(hex(digits), "57edf4a22be3c955ac49da2e2107b67a");
  // The length field just fits (55), just misses (56), or the data fills a block (64).
  EXPECT_EQ(hex(std::string(55, 'a')), "ef1772b6dff9a122358552954ad0df65");
  EXPECT_EQ(hex(std::string(56, 'a')), "3b0c8ac703f828b04c6c197006d17218");
  EXPECT_EQ(hex(std::string(64, 'a')), "014842d480b571495a4a0363793f7367");
}

TEST(Md5, IncrementalMatchesOneShotAndResets) {
  const std::string million(1000000, 'a');
  Md5 ctx;
  std::size_t pos = 0;  // uneven pieces cross block ends at every offset
  for (std::size_t piece = 1; pos < million.size(); piece = piece % 131 + 1) {
    const std::size_t n = std::min(piece, million.size() - pos);
    ctx.update(million.data() + pos, n);
    pos += n;
  }
  EXPECT_EQ(md5_hex(ctx.final()), "7707d6ae4e027c70eea2a935c2296f21");
  ctx.update("abc");
  EXPECT_EQ(md5_hex(ctx.final()), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Adler32, KnownValuesAndDeferredModulo) {
  EXPECT_EQ(adler32(""), 1u);
  EXPECT_EQ(adler32("Wikipedia"), 0x11E60398u);
  // All bytes 255 make the sums grow fastest between two modulo steps.
  EXPECT_EQ(adler32(std::string(1000000, '\xff')), 0x3843e1beu);

  // Split anywhere, against the per-byte definition.
  std::vector<std::uint8_t> bytes(3 * 5552 + 1000);
  std::uint32_t a = 1, b = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 7 + 3);
    a = (a + bytes[i]) % 65521;
    b = (b + a) % 65521;
  }
  for (std::size_t split : {0, 1, 5551, 5552, 5553, 12345}) {
    std::uint32_t sum = adler32_update(ADLER32_INIT, bytes.data(), split);
    EXPECT_EQ(adler32_update(sum, bytes.data() + split, bytes.size() - split), b << 16 | a);
  }
}

TEST(Base64, ReferenceVectorsAndAllBytes) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(base64_encode(plain), encoded);
    std::size_t length = 99;
    EXPECT_EQ(base64_decoded_length(encoded, length), 0);
    EXPECT_EQ(length, std::string_view(plain).size());
    std::string decoded = "stale";
    EXPECT_EQ(base64_decode(encoded, decoded), 0);
    EXPECT_EQ(decoded, plain);
  }
  std::vector<std::uint8_t> bytes, back;
  for (int i = 0; i < 256 + 2; ++i) bytes.push_back(static_cast<std::uint8_t>(i));
  ASSERT_EQ(base64_decode(base64_encode(bytes.data(), bytes.size()), back), 0);
  EXPECT_EQ(back, bytes);
}

TEST(Base64, WhiteSpaceIsSkippedAnywhere) {
  const char* text = "  Zm9v\r\n\tYmFy\n Zm9v Yg=\n=  \n";
  std::size_t length = 0;
  EXPECT_EQ(base64_decoded_length(text, length), 0);
  EXPECT_EQ(length, 10u);
  std::string decoded;
  EXPECT_EQ(base64_decode(text, decoded), 0);
  EXPECT_EQ(decoded, "foobarfoob");
  EXPECT_EQ(base64_decode(" \n\t", decoded), 0);
  EXPECT_EQ(decoded, "");
}

TEST(Base64, InvalidTextIsRejected) {
  // Incomplete groups, misplaced or miscounted padding, characters outside the alphabet.
  for (const char* text :
       {"Zm9", "Zm9vY", "Z===", "====", "Zg=", "Zg===", "Zm8==", "Zg==Zg==", "Zg=a", "Zm9v*mFy",
        "Zm-_", "Zm9v\xc3\xa4", "Zm9vYmFyZm9vYmFyZm9vYmFyZm9v*mFyZm9vYmFy",
        "Zm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFyZm9vYmF"}) {
    std::size_t length = 42;
    EXPECT_EQ(base64_decoded_length(text, length), UA_EBADDECODING) << text;
    EXPECT_EQ(length, 42u) << text;
    std::vector<std::uint8_t> out{1, 2, 3};
    EXPECT_EQ(base64_decode(text, out), UA_EBADDECODING) << text;
    EXPECT_TRUE(out.empty()) << text;
  }
}

TEST(Base64, CallerBufferIsNeverOverrun) {
  std::uint8_t buffer[7] = {};
  std::size_t written = 0;
  EXPECT_EQ(base64_decode("Zm9vYmFy", std::span(buffer, 6), written), 0);
  EXPECT_EQ(written, 6u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 6), "foobar");
  buffer[4] = 0;
  EXPECT_EQ(base64_decode("YWJjZGVm", std::span(buffer, 4), written), UA_EBADBUFTOOSMALL);
  EXPECT_EQ(buffer[4], 0);
  EXPECT_EQ(base64_decode("Zm8=", std::span(buffer, 1), written), UA_EBADBUFTOOSMALL);
  EXPECT_EQ(base64_decode("Zg==", std::span<std::uint8_t>(), written), UA_EBADBUFTOOSMALL);
}

TEST(Json, StringEscapesAndInvalidUtf8) {
  const auto quoted = [](std::string_view bytes) {
    std::string out;
    json_append_string(out, bytes);
    return out;
  };
  EXPECT_EQ(quoted(""), "\"\"");
  EXPECT_EQ(quoted(std::string_view("\"\\/\b\f\n\r\t\x01\x1f\x7f\0", 12)),
            "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001F\x7f\\u0000\"");
  // Well-formed sequences of two, three and four bytes pass; the last valid code point too.
  EXPECT_EQ(quoted("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf"),
            "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf\"");
  // Every byte of a malformed sequence becomes its surrogate escape; what follows is read
  // afresh.
  EXPECT_EQ(quoted("a\xe9z"), "\"a\\uDCE9z\"");
  EXPECT_EQ(quoted("\xc0\xaf"), "\"\\uDCC0\\uDCAF\"");                        // overlong
  EXPECT_EQ(quoted("\xed\xa0\x80"), "\"\\uDCED\\uDCA0\\uDC80\"");             // surrogate
  EXPECT_EQ(quoted("\xf4\x90\x80\x80"), "\"\\uDCF4\\uDC90\\uDC80\\uDC80\"");  // > U+10FFFF
  EXPECT_EQ(quoted("\xe2\x82"), "\"\\uDCE2\\uDC82\"");                        // cut at the end
  EXPECT_EQ(quoted("\xe2\x82\xc3\xa9"), "\"\\uDCE2\\uDC82\xc3\xa9\"");        // cut, then valid
}

TEST(Utf8, WellFormedTextsAndEveryFaultAtEveryPlaceOfTheFastPath) {
  EXPECT_TRUE(utf8_valid(""));
  EXPECT_TRUE(utf8_valid(std::string_view()));
  EXPECT_TRUE(utf8_valid("\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"));
  const char* faults[] = {"\x80",             "\xc0\x80",         "\xc1\xbf",
                          "\xe0\x9f\xbf",     "\xed\xa0\x80",     "\xf0\x8f\xbf\xbf",
                          "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff",
                          "\xe2\x82",         "\xe2\x82z",        "\xc3\xa9\xa9"};
  // A fault before, inside and after a run of sixteen ASCII bytes, and split across the
  // sixteen-byte steps, is found; the same place with a valid sequence is not.
  for (std::size_t at = 0; at <= 40; ++at) {
    const std::string ascii(at, 'a');
    for (const char* f : faults) {
      EXPECT_FALSE(utf8_valid(ascii + f + std::string(20, 'b'))) << at << " " << f;
      EXPECT_FALSE(utf8_valid(ascii + f)) << at << " " << f;
    }
    EXPECT_TRUE(utf8_valid(ascii + "\xe2\x82\xac" + std::string(at, 'c'))) << at;
  }
}

TEST(StringIndex, FirstValueStaysAndTheTableGrows) {
  string_index index;
  EXPECT_EQ(index.find(""), string_index::k_none);
  EXPECT_EQ(index.insert("", 7), 7u);
  EXPECT_EQ(index.insert("", 8), 7u);  // entered already: its value stays
  // Enough keys to grow the table several times; every one is found again.
  std::vector<std::string> keys;
  for (int i = 0; i < 5000; ++i) keys.push_back("key" + std::to_string(i * 7919));
  for (std::size_t i = 0; i < keys.size(); ++i)
    EXPECT_EQ(index.insert(keys[i], static_cast<uint32_t>(i)), i);
  EXPECT_EQ(index.size(), keys.size() + 1);
  for (std::size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(index.find(keys[i]), i) << keys[i];
  EXPECT_EQ(index.find("key1"), string_index::k_none);
  EXPECT_EQ(index.find(""), 7u);
  index.clear();
  EXPECT_EQ(index.size(), 0u);
  EXPECT_EQ(index.find(keys[0]), string_index::k_none);
}

}  // namespace
}  // namespace vos
