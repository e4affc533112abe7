// Binary encoding of the built-in types: reference bytes, round trips, buffers and limits.
#include <gtest/gtest.h>

#include <cstring>

#include "uabase/encoder.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"
#include "uabase_testing.h"

namespace vos {
namespace {

using test::Bytes;
using test::TraceCapture;

template <class T, class F>
Bytes encode_one(F fn, const T& v) {
  ua_encoder enc;
  EXPECT_EQ(0, fn(enc, v));
  return enc.bytes();
}

template <class T, class F>
T decode_one(F fn, const Bytes& b, int expected = 0) {
  ua_decoder dec(b);
  T v{};
  EXPECT_EQ(expected, fn(dec, v));
  if (expected == 0) {
    EXPECT_EQ(0u, dec.remaining());
  }
  return v;
}

Bytes variant_bytes(const ua_variant& v) {
  return encode_one(ua_encode_variant, v);
}

ua_variant variant_roundtrip(const ua_variant& v) {
  Bytes b = variant_bytes(v);
  return decode_one<ua_variant>(ua_decode_variant, b);
}

// Reference encodings. Where the comment names IEC 62541-6, the bytes are the examples of its
// built-in type encoding clauses; the others follow the clauses' rules.
TEST(UaEncoder, MatchesReferenceBytes) {
  // IEC 62541-6, Int32: 1 000 000 000 is 00 CA 9A 3B.
  EXPECT_EQ((Bytes{0x00, 0xCA, 0x9A, 0x3B}), encode_one(ua_encode_int32, int32_t{1000000000}));
  // IEC 62541-6, Float: -6.5 is 00 00 D0 C0.
  EXPECT_EQ((Bytes{0x00, 0x00, 0xD0, 0xC0}), encode_one(ua_encode_float, -6.5f));
  // IEC 62541-6, String: "水Boy" is 06 00 00 00 E6 B0 B4 42 6F 79.
  EXPECT_EQ((Bytes{0x06, 0, 0, 0, 0xE6, 0xB0, 0xB4, 0x42, 0x6F, 0x79}),
            encode_one(ua_encode_string, ua_string("\xE6\xB0\xB4"
                                                   "Boy")));
  // IEC 62541-6, Guid: 72962B91-FA75-4AE6-8D28-B404DC7DAF63.
  ua_guid g{0x72962B91, 0xFA75, 0x4AE6, {0x8D, 0x28, 0xB4, 0x04, 0xDC, 0x7D, 0xAF, 0x63}};
  EXPECT_EQ((Bytes{0x91, 0x2B, 0x96, 0x72, 0x75, 0xFA, 0xE6, 0x4A, 0x8D, 0x28, 0xB4, 0x04, 0xDC,
                   0x7D, 0xAF, 0x63}),
            encode_one(ua_encode_guid, g));
  // IEC 62541-6, NodeId: two-byte i=72, four-byte ns=5;i=1025, string ns=1;s=Hot水.
  EXPECT_EQ((Bytes{0x00, 0x48}), encode_one(ua_encode_nodeid, ua_nodeid(0, 72)));
  EXPECT_EQ((Bytes{0x01, 0x05, 0x01, 0x04}), encode_one(ua_encode_nodeid, ua_nodeid(5, 1025)));
  EXPECT_EQ((Bytes{0x03, 0x01, 0x00, 0x06, 0, 0, 0, 0x48, 0x6F, 0x74, 0xE6, 0xB0, 0xB4}),
            encode_one(ua_encode_nodeid, ua_nodeid::make_string(1, "Hot\xE6\xB0\xB4")));
  // Numeric form when namespace or id do not fit the short forms.
  EXPECT_EQ((Bytes{0x02, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00}),
            encode_one(ua_encode_nodeid, ua_nodeid(256, 65536)));
  EXPECT_EQ((Bytes{0x05, 0x02, 0x00, 0x02, 0, 0, 0, 0xAB, 0xCD}),
            encode_one(ua_encode_nodeid, ua_nodeid::make_opaque(2, Bytes{0xAB, 0xCD})));
  // ExpandedNodeId: URI flag 0x80 and server-index flag 0x40 in the NodeId byte.
  ua_expandednodeid x{ua_nodeid(0, 1), ua_string("u"), 3};
  EXPECT_EQ((Bytes{0xC0, 0x01, 0x01, 0, 0, 0, 'u', 0x03, 0, 0, 0}),
            encode_one(ua_encode_expandednodeid, x));
  // Null and empty strings: lengths -1 and 0.
  EXPECT_EQ((Bytes{0xFF, 0xFF, 0xFF, 0xFF}), encode_one(ua_encode_string, ua_string()));
  EXPECT_EQ((Bytes{0, 0, 0, 0}), encode_one(ua_encode_string, ua_string("")));
  // LocalizedText with locale and text: mask 3.
  EXPECT_EQ((Bytes{0x03, 2, 0, 0, 0, 'e', 'n', 2, 0, 0, 0, 'H', 'i'}),
            encode_one(ua_encode_localizedtext, ua_localizedtext{"en", "Hi"}));
  EXPECT_EQ((Bytes{0x02, 1, 0, 0, 0, 'x'}),
            encode_one(ua_encode_localizedtext, ua_localizedtext{{}, "x"}));
  // DateTime 2000-01-01T00:00:00Z = 125911584000000000 ticks.
  EXPECT_EQ((Bytes{0x00, 0x40, 0x6D, 0x25, 0xEB, 0x53, 0xBF, 0x01}),
            encode_one(ua_encode_datetime, ua_datetime{125911584000000000}));
  // Variants: a scalar, an array and a 2x2 matrix of Int32.
  EXPECT_EQ((Bytes{0x06, 0x05, 0, 0, 0}), variant_bytes(ua_variant::scalar_of(int32_t{5})));
  ua_variant arr;
  auto a = arr.set_array<int32_t>(2);
  a[0] = 1;
  a[1] = 2;
  EXPECT_EQ((Bytes{0x86, 2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}), variant_bytes(arr));
  ua_variant m;
  auto e = m.set_array<int32_t>(4);
  for (int i = 0; i < 4; ++i) e[i] = i;
  const int32_t dims[] = {2, 2};
  m.set_dimensions(dims);
  EXPECT_EQ((Bytes{0xC6, 4, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0,  //
                   2,    0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0}),
            variant_bytes(m));
  EXPECT_EQ((Bytes{0x00}), variant_bytes(ua_variant()));
  // DataValue with a value and a source timestamp: mask 0x05.
  ua_datavalue dv;
  dv.mask = UA_DATAVALUE_VALUE | UA_DATAVALUE_SOURCE_TIMESTAMP;
  dv.value.set_scalar(true);
  dv.source_timestamp.ticks = 1;
  EXPECT_EQ((Bytes{0x05, 0x01, 0x01, 1, 0, 0, 0, 0, 0, 0, 0}), encode_one(ua_encode_datavalue, dv));
  // DiagnosticInfo: Locale (0x08) goes before LocalizedText (0x04).
  ua_diagnosticinfo di;
  di.mask = UA_DIAGNOSTICINFO_LOCALIZED_TEXT | UA_DIAGNOSTICINFO_LOCALE;
  di.localized_text = 7;
  di.locale = 9;
  EXPECT_EQ((Bytes{0x0C, 9, 0, 0, 0, 7, 0, 0, 0}), encode_one(ua_encode_diagnosticinfo, di));
}

TEST(UaEncoder, ScalarsRoundTripThroughVariants) {
  ua_diagnosticinfo inner;
  inner.mask = UA_DIAGNOSTICINFO_SYMBOLIC_ID | UA_DIAGNOSTICINFO_ADDITIONAL_INFO;
  inner.symbolic_id = -3;
  inner.additional_info = "more";
  ua_diagnosticinfo di;
  di.mask = 0x7F;
  di.symbolic_id = 1;
  di.namespace_uri = 2;
  di.localized_text = 3;
  di.locale = 4;
  di.additional_info = "info";
  di.inner_status_code.code = 0x80340000;
  di.inner_diagnostic_info.emplace(inner);
  ua_datavalue dv;
  dv.mask = 0x3F;
  dv.value.set_scalar(ua_string("v"));
  dv.status.code = 0x80000000;
  dv.source_timestamp.ticks = 11;
  dv.server_timestamp.ticks = 12;
  dv.source_picoseconds = 13;
  dv.server_picoseconds = 14;

  std::vector<ua_variant> values;
  values.push_back(ua_variant::scalar_of(true));
  values.push_back(ua_variant::scalar_of(int8_t{-5}));
  values.push_back(ua_variant::scalar_of(uint8_t{250}));
  values.push_back(ua_variant::scalar_of(int16_t{-30000}));
  values.push_back(ua_variant::scalar_of(uint16_t{60000}));
  values.push_back(ua_variant::scalar_of(int32_t{-2000000000}));
  values.push_back(ua_variant::scalar_of(uint32_t{4000000000u}));
  values.push_back(ua_variant::scalar_of(int64_t{-9000000000000000000}));
  values.push_back(ua_variant::scalar_of(uint64_t{18000000000000000000u}));
  values.push_back(ua_variant::scalar_of(1.5f));
  values.push_back(ua_variant::scalar_of(-2.25));
  values.push_back(ua_variant::scalar_of(ua_string("text")));
  values.push_back(ua_variant::scalar_of(ua_string()));
  values.push_back(ua_variant::scalar_of(ua_datetime{131000000000000000}));
  values.push_back(ua_variant::scalar_of(ua_guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}));
  values.push_back(ua_variant::scalar_of(ua_bytestring(Bytes{0, 1, 2})));
  ua_variant xml;
  xml.set_scalar(ua_bytestring(std::string_view("<a/>")), UA_VT_XMLELEMENT);
  values.push_back(xml);
  values.push_back(ua_variant::scalar_of(ua_nodeid::make_guid(7, ua_guid{9, 8, 7, {}})));
  values.push_back(ua_variant::scalar_of(ua_nodeid::make_string(3, "a.b")));
  values.push_back(ua_variant::scalar_of(ua_nodeid(0, 4000000000u)));
  values.push_back(
      ua_variant::scalar_of(ua_expandednodeid{ua_nodeid::make_opaque(9, Bytes{1}), {}, 0}));
  values.push_back(ua_variant::scalar_of(ua_statuscode{0x80010000}));
  values.push_back(ua_variant::scalar_of(ua_qualifiedname{4, "Name"}));
  values.push_back(ua_variant::scalar_of(ua_localizedtext{"de", "Wert"}));
  values.push_back(ua_variant::scalar_of(dv));
  values.push_back(ua_variant::scalar_of(di));
  for (const ua_variant& v : values) {
    SCOPED_TRACE(static_cast<int>(v.type()));
    EXPECT_EQ(v, variant_roundtrip(v));
  }
}

TEST(UaEncoder, ArraysAndNestedVariantsRoundTrip) {
  ua_variant strings;
  auto s = strings.set_array<ua_string>(3);
  s[0] = "a";
  s[2] = "ccc";  // s[1] stays null
  ua_variant bools;
  auto b = bools.set_array<bool>(3);
  b[0] = true;
  b[2] = true;
  ua_variant texts;
  texts.set_array<ua_localizedtext>(2)[1] = ua_localizedtext{"en", "x"};
  ua_variant doubles;
  auto d = doubles.set_array<double>(6);
  for (int i = 0; i < 6; ++i) d[i] = i * 0.5;
  const int32_t dims[] = {3, 2};
  doubles.set_dimensions(dims);
  ua_variant empty;
  empty.set_array<uint16_t>(0);
  ua_variant nested;
  auto n = nested.set_array<ua_variant>(4);
  n[0] = strings;
  n[1] = doubles;
  n[3] = ua_variant::scalar_of(ua_nodeid(1, 2));

  for (const ua_variant* v : {&strings, &bools, &texts, &doubles, &empty, &nested}) {
    ua_variant back = variant_roundtrip(*v);
    EXPECT_EQ(*v, back);
  }
  EXPECT_EQ(2u, variant_roundtrip(doubles).dimensions().size());
}

TEST(UaEncoder, DecodingRejectsMalformedInput) {
  // String lengths: -1 is null, -2 is invalid, more than the input is truncated.
  ua_string s = decode_one<ua_string>(ua_decode_string, Bytes{0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_TRUE(s.is_null());
  decode_one<ua_string>(ua_decode_string, Bytes{0xFE, 0xFF, 0xFF, 0xFF}, UA_EBADDECODING);
  decode_one<ua_string>(ua_decode_string, Bytes{0x05, 0, 0, 0, 'a'}, UA_EBADTRUNCATED);
  decode_one<int32_t>(ua_decode_int32, Bytes{1, 2, 3}, UA_EBADTRUNCATED);
  // Variant type codes above 25, dimensions without array, a scalar Variant in a Variant.
  decode_one<ua_variant>(ua_decode_variant, Bytes{0x1A}, UA_EBADDECODING);
  decode_one<ua_variant>(ua_decode_variant, Bytes{0x46, 0, 0, 0, 0}, UA_EBADDECODING);
  decode_one<ua_variant>(ua_decode_variant, Bytes{0x18, 0x00}, UA_EBADDECODING);
  // Matrix dimensions that do not multiply to the length.
  decode_one<ua_variant>(ua_decode_variant, Bytes{0xC3, 2, 0, 0, 0, 1, 2, 1, 0, 0, 0, 3, 0, 0, 0},
                         UA_EBADDECODING);
  // An array length that the input cannot hold is refused before anything is allocated.
  decode_one<ua_variant>(ua_decode_variant, Bytes{0x8B, 0xFF, 0xFF, 0xFF, 0x7F}, UA_EBADTRUNCATED);
  // Unknown NodeId encoding byte.
  decode_one<ua_nodeid>(ua_decode_nodeid, Bytes{0x07, 0}, UA_EBADDECODING);
}

TEST(UaEncoder, ArrayLengthsAndLimits) {
  TraceCapture trace;
  ua_encoder_settings limits;
  limits.max_string_length = 3;
  limits.max_bytestring_length = 2;
  limits.max_array_length = 2;
  auto run = [&](const Bytes& b, auto fn, auto value) {
    ua_decoder dec(b, limits);
    return fn(dec, value);
  };
  ua_string str;
  ua_bytestring bs;
  ua_variant var;
  EXPECT_EQ(0, run(Bytes{3, 0, 0, 0, 'a', 'b', 'c'}, ua_decode_string, std::ref(str)));
  EXPECT_EQ(UA_EBADENCODINGLIMITSEXCEEDED,
            run(Bytes{4, 0, 0, 0, 'a', 'b', 'c', 'd'}, ua_decode_string, std::ref(str)));
  EXPECT_EQ(UA_EBADENCODINGLIMITSEXCEEDED,
            run(Bytes{3, 0, 0, 0, 1, 2, 3}, ua_decode_bytestring, std::ref(bs)));
  EXPECT_EQ(UA_EBADENCODINGLIMITSEXCEEDED,
            run(Bytes{0x83, 3, 0, 0, 0, 1, 2, 3}, ua_decode_variant, std::ref(var)));
  EXPECT_TRUE(var.is_empty());
  // -1 and 0 are empty arrays; -2 is invalid and leaves the length 0.
  for (uint8_t first : {0xFF, 0x00}) {
    Bytes b{first, first, first, first};
    ua_decoder dec(b);
    int32_t len = 99;
    EXPECT_EQ(0, ua_builtin_decode_array_length(dec, len));
    EXPECT_EQ(0, len);
  }
  Bytes minus_two{0xFE, 0xFF, 0xFF, 0xFF};
  ua_decoder dec(minus_two);
  int32_t len = 99;
  EXPECT_EQ(UA_EBADDECODING, ua_builtin_decode_array_length(dec, len));
  EXPECT_EQ(0, len);
  EXPECT_EQ(
      "ua_decode_string: string length exceeds configured limit: 4\n"
      "ua_decode_bytestring: bytestring length exceeds configured limit: 3\n"
      "ua_builtin_decode_array_length: array length exceeds configured limit: 3\n"
      "ua_builtin_decode_array_length: invalid array length: -2\n",
      trace.stderr_text());
}

// A Variant holding an array of one Variant, `levels` deep, around an Int32.
Bytes nested_variant_arrays(int levels) {
  Bytes b;
  for (int i = 0; i < levels; ++i) b.insert(b.end(), {0x98, 1, 0, 0, 0});
  b.insert(b.end(), {0x06, 42, 0, 0, 0});
  return b;
}

ua_variant nested_variant(int levels) {
  ua_variant v = ua_variant::scalar_of(int32_t{42});
  for (int i = 0; i < levels; ++i) {
    ua_variant outer;
    outer.set_array<ua_variant>(1)[0] = std::move(v);
    v = std::move(outer);
  }
  return v;
}

TEST(UaEncoder, CallDepthLimitsNestedVariantArrays) {
  ua_encoder_settings settings;
  settings.max_call_depth = 10;
  const Bytes ten = nested_variant_arrays(10);
  const Bytes eleven = nested_variant_arrays(11);
  {
    ua_decoder dec(ten, settings);
    ua_variant v;
    EXPECT_EQ(0, ua_decode_variant(dec, v));
    EXPECT_EQ(nested_variant(10), v);
    EXPECT_EQ(0u, dec.depth);
    ua_encoder enc(4096, settings);
    EXPECT_EQ(0, ua_encode_variant(enc, v));
    EXPECT_EQ(ten, enc.bytes());
  }
  TraceCapture trace;
  ua_decoder dec(eleven, settings);
  ua_variant v;
  EXPECT_EQ(UA_EBADTOOMANYNESTEDCALLS, ua_decode_variant(dec, v));
  EXPECT_TRUE(v.is_empty());
  ua_encoder enc(4096, settings);
  EXPECT_EQ(UA_EBADTOOMANYNESTEDCALLS, ua_encode_variant(enc, nested_variant(11)));
  EXPECT_EQ(
      "ua_decode_variant_array: configured call depth reached\n"
      "ua_encode_variant_array: configured call depth reached\n",
      trace.stderr_text());
}

TEST(UaEncoder, ChainedBuffersGiveTheSameBytes) {
  ua_variant v;
  auto s = v.set_array<ua_string>(50);
  for (int i = 0; i < 50; ++i) s[i] = std::string(static_cast<std::size_t>(i), 'x');
  Bytes one = variant_bytes(v);
  ua_encoder small(7);
  ASSERT_EQ(0, ua_encode_variant(small, v));
  EXPECT_EQ(one, small.bytes());
  EXPECT_EQ(one.size(), small.size());
  EXPECT_GT(small.num_buffers(), 100u);
  // Reusing the chain after reset gives the same bytes without new buffers.
  const uint32_t buffers = small.num_buffers();
  small.reset();
  ASSERT_EQ(0, ua_encode_variant(small, v));
  EXPECT_EQ(one, small.bytes());
  EXPECT_EQ(buffers, small.num_buffers());
  // The reserved tail is kept free in every buffer.
  ua_encoder tail(16);
  tail.reserved_tail = 6;
  ASSERT_EQ(0, ua_encode_variant(tail, v));
  EXPECT_EQ(one, tail.bytes());
  for (const ua_buffer& b : tail.buffers()) EXPECT_LE(b.used, 10u);
}

TEST(UaEncoder, NewBufferLimits) {
  TraceCapture trace;
  uint8_t fixed[8];
  ua_encoder enc(std::span<uint8_t>(fixed, sizeof fixed));
  EXPECT_EQ(0, ua_encode_int64(enc, 1));
  EXPECT_EQ(UA_EBADNOBUF, ua_encode_byte(enc, 1));  // no allocation callback
  EXPECT_EQ(8u, enc.size());

  ua_encoder capped(4);
  capped.max_buffers = 2;
  EXPECT_EQ(0, ua_encode_uint64(capped, 1));
  EXPECT_EQ(UA_EBADENCODINGTOOLARGE, ua_encode_byte(capped, 1));
  ua_encoder bytes_capped(4);
  bytes_capped.max_bytes = 4;
  EXPECT_EQ(0, ua_encode_uint64(bytes_capped, 1));
  EXPECT_EQ(UA_EBADENCODINGTOOLARGE, ua_encode_byte(bytes_capped, 1));

  ua_encoder_settings no_more;
  no_more.allow_new_buffers = false;
  ua_encoder off(4, no_more);
  EXPECT_EQ(UA_EBADNOBUF, ua_encode_byte(off, 1));
  EXPECT_EQ("ua_encoder_newbuffer: cannot allocate buffer, ctx->buffer_alloc is not set\n",
            trace.stderr_text());
  std::string files = trace.file_text();
  EXPECT_NE(std::string::npos,
            files.find("ua_encoder_newbuffer: maximum number of buffers reached: 2\n"));
  EXPECT_NE(std::string::npos,
            files.find("ua_encoder_newbuffer: exceeded maximum bytes to be written: 4\n"));
}

TEST(UaEncoder, SelfTestDetectsDecimalComma) {
  EXPECT_EQ(0, ua_encoder_selftest([](char* buf, std::size_t size, const char* fmt, double v) {
              return std::snprintf(buf, size, fmt, v);
            }));
  TraceCapture trace;
  auto comma = [](char* buf, std::size_t size, const char*, double) {
    return std::snprintf(buf, size, "%s", "12345,125");
  };
  auto short_text = [](char* buf, std::size_t size, const char*, double) {
    return std::snprintf(buf, size, "%s", "12345,12");
  };
  auto failing = [](char*, std::size_t, const char*, double) { return -1; };
  EXPECT_EQ(UA_EBADMISMATCH, ua_encoder_selftest(comma));
  EXPECT_EQ(UA_EBADMISMATCH, ua_encoder_selftest(short_text));
  EXPECT_EQ(UA_EBADMISMATCH, ua_encoder_selftest(failing));
  // Start-up runs the replaceable formatter after the table checks.
  ua_double_formatter prev = ua_encoder_set_double_formatter(comma);
  EXPECT_EQ(UA_EBADMISMATCH, ua_encoder_init());
  ua_encoder_set_double_formatter(prev);
  EXPECT_EQ(0, ua_encoder_init());
  EXPECT_EQ(
      "ua_encoder_init: snprintf created '12345,125', but expected '12345.125', probably a locale "
      "issue\n"
      "ua_encoder_init: snprintf returned 8, but expected 9\n"
      "ua_encoder_init: snprintf created '12345,12', but expected '12345.125', probably a locale "
      "issue\n"
      "ua_encoder_init: snprintf returned -1, but expected 9\n"
      "ua_encoder_init: snprintf created '12345,125', but expected '12345.125', probably a locale "
      "issue\n",
      trace.stderr_text());
}

TEST(UaEncoder, ExtensionObjectsRoundTripAndKeepUnknownBodies) {
  ua_extensionobject eo;
  auto* arg = ua_extensionobject_emplace_ns0_as<ua_argument>(eo, UA_TYPE_ARGUMENT);
  ASSERT_NE(nullptr, arg);
  arg->name = "Speed";
  arg->data_type = ua_nodeid(0, 11);
  arg->value_rank = 1;
  arg->array_dimensions = {4};
  arg->description = ua_localizedtext{"en", "rpm"};
  // Encoding id i=298 (four-byte form), binary body, Int32 length of the body.
  Bytes b = encode_one(ua_encode_extensionobject, eo);
  ASSERT_GT(b.size(), 9u);
  EXPECT_EQ((Bytes{0x01, 0x00, 0x2A, 0x01, 0x01}), Bytes(b.begin(), b.begin() + 5));
  int32_t len;
  std::memcpy(&len, b.data() + 5, 4);
  EXPECT_EQ(static_cast<int32_t>(b.size() - 9), len);
  ua_extensionobject back = decode_one<ua_extensionobject>(ua_decode_extensionobject, b);
  EXPECT_EQ(eo, back);
  ASSERT_NE(nullptr, back.object_as<ua_argument>(*eo.structure()));
  EXPECT_EQ("Speed", back.object_as<ua_argument>(*eo.structure())->name.view());

  // An encoding id without a known type keeps its body encoded.
  Bytes unknown{0x01, 0x07, 0x10, 0x27, 0x01, 0x02, 0, 0, 0, 0xAA, 0xBB};
  ua_extensionobject raw = decode_one<ua_extensionobject>(ua_decode_extensionobject, unknown);
  EXPECT_EQ(ua_extensionobject_body::binary, raw.body_kind());
  EXPECT_EQ(ua_nodeid(7, 10000), raw.encoding_id());
  EXPECT_EQ(unknown, encode_one(ua_encode_extensionobject, raw));

  // A body length that disagrees with the structure.
  TraceCapture trace;
  Bytes wrong = b;
  wrong[5] = static_cast<uint8_t>(wrong[5] - 1);
  wrong.push_back(0);
  decode_one<ua_extensionobject>(ua_decode_extensionobject, wrong, UA_EBADDECODING);
  Bytes negative = b;
  negative[8] = 0xFF;
  decode_one<ua_extensionobject>(ua_decode_extensionobject, negative, UA_EBADDECODING);
  EXPECT_EQ("ua_decode_encodeableobject: extensionobject length is incorrect, encoded length=" +
                std::to_string(len - 1) + ", actual length=" + std::to_string(len) +
                "\n"
                "ua_decode_encodeableobject: invalid extensionobject length: " +
                std::to_string(static_cast<int32_t>(static_cast<uint32_t>(len) | 0xFF000000u)) +
                "\n",
            trace.stderr_text());
}

TEST(UaEncoder, ExtensionObjectNamespacesAreMapped) {
  TraceCapture trace;
  ua_extensionobject eo;
  eo.encoding_id() = ua_nodeid(3, 5000);
  eo.set_encoded(ua_extensionobject_body::binary, ua_bytestring(Bytes{1}));
  ua_namespace_map map;
  map.add(3, 7);
  ua_encoder enc;
  enc.nsmap = &map;
  ASSERT_EQ(0, ua_encode_extensionobject(enc, eo));
  Bytes b = enc.bytes();
  EXPECT_EQ((Bytes{0x01, 0x07, 0x88, 0x13}), Bytes(b.begin(), b.begin() + 4));
  ua_decoder dec(b);
  dec.nsmap = &map;
  ua_extensionobject back;
  ASSERT_EQ(0, ua_decode_extensionobject(dec, back));
  EXPECT_EQ(eo, back);

  ua_namespace_map other;
  other.add(1, 1);
  ua_encoder enc2;
  enc2.nsmap = &other;
  EXPECT_EQ(UA_EBADNOTFOUND, ua_encode_extensionobject(enc2, eo));
  ua_decoder dec2(b);
  dec2.nsmap = &other;
  EXPECT_EQ(UA_EBADNOTFOUND, ua_decode_extensionobject(dec2, back));
  EXPECT_EQ(
      "ua_encode_extensionobject: could not find remote_ns for local_ns=3\n"
      "lookup_extensionobject_type: could not find local_ns for remote_ns=7, ret=-22\n",
      trace.stderr_text());
  EXPECT_NE(
      std::string::npos,
      trace.file_text().find("lookup_extensionobject_type: mapped remote_ns=7 to local_ns=3"));
}

TEST(UaEncoder, VariantSkipReadsPastScalarsOnly) {
  Bytes b;
  for (const ua_variant& v :
       {ua_variant::scalar_of(int32_t{1}), ua_variant::scalar_of(ua_string("abc")),
        ua_variant::scalar_of(ua_localizedtext{"en", "t"}), ua_variant()}) {
    Bytes one = variant_bytes(v);
    b.insert(b.end(), one.begin(), one.end());
  }
  b.push_back(0x77);
  ua_decoder dec(b);
  for (int i = 0; i < 4; ++i) ASSERT_EQ(0, ua_decode_variant_skip(dec));
  EXPECT_EQ(1u, dec.remaining());

  TraceCapture trace;
  ua_variant arr;
  arr.set_array<int32_t>(1);
  Bytes ab = variant_bytes(arr);
  ua_decoder dec2(ab);
  EXPECT_EQ(UA_EBADNOTSUPPORTED, ua_decode_variant_skip(dec2));
  EXPECT_EQ("ua_decode_variant_skip: array and matrix are not supported\n", trace.stderr_text());
}

}  // namespace
}  // namespace vos
