// Table-driven structure encoding and the start-up validation of type tables.
#include <gtest/gtest.h>

#include <cstddef>

#include "uabase/dict.h"
#include "uabase/encoder.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"
#include "uabase_testing.h"

namespace vos {
namespace {

using test::Bytes;
using test::TraceCapture;

// A test namespace with its own table (local index 1): one enumeration and four structures.
constexpr uint32_t kTable = 1;
constexpr uint32_t kColor = ua_type_value(kTable, 0);
constexpr uint32_t kPoint = ua_type_value(kTable, 1);

struct point {
  double x{};
  double y{};
  friend bool operator==(const point&, const point&) = default;
};

struct shape {
  int32_t color{};
  ua_array<point> corners{};
  point center{};
  ua_array<ua_string> tags{};
  friend bool operator==(const shape&, const shape&) = default;
};

struct optional_abc {
  uint32_t mask{};
  int32_t a{};
  ua_string b{};
  int32_t c{};
  friend bool operator==(const optional_abc&, const optional_abc&) = default;
};

struct choice {
  uint32_t switch_field{};
  int32_t number{};
  ua_string text{};
  friend bool operator==(const choice&, const choice&) = default;
};

constexpr uint8_t kScalarFixed = UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED;
constexpr uint8_t kScalarVar = UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC;

const ua_dict_field g_point_fields[] = {
    {"X", 1, kScalarFixed, offsetof(point, x), UA_TYPE_DOUBLE},
    {"Y", 1, kScalarFixed, offsetof(point, y), UA_TYPE_DOUBLE},
};
const ua_dict_field g_shape_fields[] = {
    {"Color", 5, UA_DICT_RANK_SCALAR | UA_DICT_IMPL_ENUM_FIXED, offsetof(shape, color), kColor},
    {"Corners", 7, UA_DICT_RANK_ARRAY | UA_DICT_IMPL_STRUCT, offsetof(shape, corners), kPoint},
    {"Center", 6, UA_DICT_RANK_SCALAR | UA_DICT_IMPL_STRUCT_FIXED, offsetof(shape, center), kPoint},
    {"Tags", 4, UA_DICT_RANK_ARRAY_NS0 | UA_DICT_IMPL_FUNC, offsetof(shape, tags), UA_TYPE_STRING},
};
const ua_dict_field g_optional_fields[] = {
    {"Mask", 4, UA_DICT_MASK_FLAGS, offsetof(optional_abc, mask), UA_TYPE_UINT32},
    {"A", 1, kScalarFixed | UA_DICT_STRUCT_OPTIONAL, offsetof(optional_abc, a), UA_TYPE_INT32},
    {"B", 1, kScalarVar, offsetof(optional_abc, b), UA_TYPE_STRING},
    {"C", 1, kScalarFixed | UA_DICT_STRUCT_OPTIONAL, offsetof(optional_abc, c), UA_TYPE_INT32},
};
const ua_dict_field g_choice_fields[] = {
    {"Type", 4, UA_DICT_STRUCT_UNION | kScalarFixed, offsetof(choice, switch_field),
     UA_TYPE_UINT32},
    {"Number", 6, kScalarFixed, offsetof(choice, number), UA_TYPE_INT32},
    {"Text", 4, kScalarVar, offsetof(choice, text), UA_TYPE_STRING},
};

const ua_dict_inttype g_test_inttypes[] = {{"Color", 5000, sizeof(int32_t), UA_VT_INT32}};

const ua_dict_structure g_test_structures[] = {
    {"Point", g_point_fields, 5002, 5001, 2, sizeof(point), &ua_value_ops_v<point>},
    {"Shape", g_shape_fields, 5004, 5003, 4, sizeof(shape), &ua_value_ops_v<shape>},
    {"OptionalAbc", g_optional_fields, 5006, 5005, 4, sizeof(optional_abc),
     &ua_value_ops_v<optional_abc>},
    {"Choice", g_choice_fields, 5008, 5007, 3, sizeof(choice), &ua_value_ops_v<choice>},
};

ua_type_table test_table(std::span<const ua_dict_structure> structures = g_test_structures) {
  ua_type_table t;
  t.nsidx = 3;
  t.local_index = kTable;
  t.structures = structures;
  t.inttypes = g_test_inttypes;
  t.sorting = UA_TYPE_TABLE_SORTING_BINARY;
  return t;
}

template <class T>
Bytes encode_struct(const T& value, std::size_t row, int expected = 0) {
  ua_type_table table = test_table();
  ua_encoder enc;
  EXPECT_EQ(expected, ua_dict_encode_structure(enc, table, g_test_structures[row], &value));
  return enc.bytes();
}

template <class T>
T decode_struct(const Bytes& b, std::size_t row, int expected = 0) {
  ua_type_table table = test_table();
  ua_decoder dec(b);
  T value{};
  EXPECT_EQ(expected, ua_dict_decode_structure(dec, table, g_test_structures[row], &value));
  return value;
}

TEST(UaDict, OptionalFieldsFollowTheMask) {
  optional_abc v;
  v.mask = 2;  // bit 0: A, bit 1: C
  v.a = 1;
  v.b = "b";
  v.c = 3;
  Bytes b = encode_struct(v, 2);
  EXPECT_EQ((Bytes{2, 0, 0, 0, 1, 0, 0, 0, 'b', 3, 0, 0, 0}), b);
  optional_abc back = decode_struct<optional_abc>(b, 2);
  v.a = 0;  // absent: stays at its initial value
  EXPECT_EQ(v, back);
  v.mask = 3;
  v.a = 9;
  EXPECT_EQ(v, decode_struct<optional_abc>(encode_struct(v, 2), 2));
}

TEST(UaDict, UnionEncodesTheSelectedMemberOnly) {
  choice v;
  v.number = 5;
  v.text = "t";
  EXPECT_EQ((Bytes{0, 0, 0, 0}), encode_struct(v, 3));
  v.switch_field = 2;
  Bytes b = encode_struct(v, 3);
  EXPECT_EQ((Bytes{2, 0, 0, 0, 1, 0, 0, 0, 't'}), b);
  choice back = decode_struct<choice>(b, 3);
  EXPECT_EQ(2u, back.switch_field);
  EXPECT_EQ("t", back.text.view());
  EXPECT_EQ(0, back.number);

  TraceCapture trace;
  v.switch_field = 3;
  encode_struct(v, 3, UA_EBADENCODING);
  decode_struct<choice>(Bytes{3, 0, 0, 0}, 3, UA_EBADENCODING);
  EXPECT_EQ(
      "ua_dict_encode_structure: invalid union encoding: 3\n"
      "ua_dict_decode_structure: invalid union encoding: 3\n",
      trace.stderr_text());
}

shape sample_shape() {
  shape s;
  s.color = 2;
  s.corners = {point{1, 2}, point{3, 4}};
  s.center = point{0.5, -0.5};
  s.tags = {ua_string("a"), ua_string()};
  return s;
}

TEST(UaDict, NestedStructuresArraysAndEnumerations) {
  shape s = sample_shape();
  Bytes b = encode_struct(s, 1);
  // Int32 color, Int32 count and 2x16 bytes of corners, 16 bytes center, the tags array.
  ASSERT_EQ(4u + 4 + 32 + 16 + 4 + 5 + 4, b.size());
  EXPECT_EQ((Bytes{2, 0, 0, 0, 2, 0, 0, 0}), Bytes(b.begin(), b.begin() + 8));
  EXPECT_EQ(s, decode_struct<shape>(b, 1));

  // Compare, copy and clear walk the rows.
  ua_type_table table = test_table();
  const ua_dict_structure& st = g_test_structures[1];
  shape copy;
  ASSERT_EQ(0, ua_dict_copy_structure(table, st, &copy, &s));
  EXPECT_EQ(s, copy);
  EXPECT_EQ(0, ua_dict_compare_structure(table, st, &s, &copy));
  copy.corners[1].y = 5;
  EXPECT_LT(ua_dict_compare_structure(table, st, &s, &copy), 0);
  copy.color = 1;
  EXPECT_GT(ua_dict_compare_structure(table, st, &s, &copy), 0);
  ua_dict_clear_structure(table, st, &copy);
  EXPECT_EQ(shape{}, copy);
}

TEST(UaDict, InvalidRowsAreRefused) {
  TraceCapture trace;
  ua_type_table table = test_table();
  point p;
  for (uint8_t rank : {UA_DICT_RANK_MATRIX, UA_DICT_RANK_MATRIX_NS0}) {
    const ua_dict_field matrix{"M", 1, static_cast<uint8_t>(rank | UA_DICT_IMPL_FUNC_FIXED), 0,
                               UA_TYPE_DOUBLE};
    ua_encoder enc;
    EXPECT_EQ(UA_EBADNOTIMPL, ua_dict_encode_field(enc, table, matrix, &p));
    Bytes b(8);
    ua_decoder dec(b);
    EXPECT_EQ(UA_EBADNOTIMPL, ua_dict_decode_field(dec, table, matrix, &p));
  }
  ua_encoder enc;
  const ua_dict_field no_rank{"X", 1, UA_DICT_NS0 | UA_DICT_IMPL_FUNC_FIXED, 0, UA_TYPE_DOUBLE};
  EXPECT_EQ(UA_EBADINTERNALERROR, ua_dict_encode_field(enc, table, no_rank, &p));
  const ua_dict_field bad_impl{"X", 1, UA_DICT_RANK_SCALAR_NS0 | 7, 0, UA_TYPE_DOUBLE};
  EXPECT_EQ(UA_EBADINTERNALERROR, ua_dict_encode_field(enc, table, bad_impl, &p));
  const ua_dict_field unknown{"X", 1, UA_DICT_RANK_SCALAR | UA_DICT_IMPL_STRUCT, 0,
                              ua_type_value(kTable, 40)};
  EXPECT_EQ(UA_EBADNOTFOUND, ua_dict_encode_field(enc, table, unknown, &p));
  EXPECT_EQ(
      "ua_dict_encode_field: matrix is not implemented\n"
      "ua_dict_decode_field: matrix is not implemented\n"
      "ua_dict_encode_field: matrix is not implemented\n"
      "ua_dict_decode_field: matrix is not implemented\n",
      trace.stderr_text());
}

TEST(UaDict, Ns0StructuresEncodeAsExtensionObjectBodies) {
  ua_argument arg;
  arg.name = "A";
  arg.data_type = ua_nodeid(0, 11);
  arg.value_rank = -1;
  const ua_type_table& ns0 = ua_type_table_ns0();
  const ua_dict_structure* st = ns0.structure(UA_TYPE_ARGUMENT);
  ASSERT_NE(nullptr, st);
  EXPECT_EQ(296u, st->type_id);
  EXPECT_EQ(298u, st->encoding_id);
  ua_encoder enc;
  ASSERT_EQ(0, ua_encode_encodeableobject(enc, ns0, *st, &arg));
  // Length 16, then Name, DataType, ValueRank, ArrayDimensions (empty), Description.
  EXPECT_EQ(
      (Bytes{16, 0, 0, 0, 1, 0, 0, 0, 'A', 0x00, 0x0B, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x00}),
      enc.bytes());

  ua_range range{0.0, 100.0};
  const ua_dict_structure* rs = ns0.structure(UA_TYPE_RANGE);
  ASSERT_NE(nullptr, rs);
  EXPECT_EQ(884u, rs->type_id);
  ua_encoder enc2;
  ASSERT_EQ(0, ua_dict_encode_structure(enc2, ns0, *rs, &range));
  EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x59, 0x40}), enc2.bytes());

  // A body that does not fit a fixed 16-byte buffer fails in the encoder.
  ua_eu_information eu;
  eu.namespace_uri = "http://www.opcfoundation.org/UA/units/un/cefact";
  uint8_t fixed[16];
  ua_encoder small(std::span<uint8_t>(fixed, sizeof fixed));
  small.max_buffers = 1;
  EXPECT_EQ(UA_EBADENCODINGTOOLARGE,
            ua_encode_encodeableobject(small, ns0, *ns0.structure(UA_TYPE_EUINFORMATION), &eu));
}

// ---------------------------------------------------------------------------------------------
// Validation

TEST(UaTypeTable, Ns0DataHasTheSupportedVersionsSizes) {
  ua_type_table_ns0_data data = ua_type_table_ns0_generated();
  EXPECT_EQ(59u, data.inttypes.size());
  EXPECT_EQ(162u, data.structures.size());
  EXPECT_EQ(0, ua_type_table_data_validate(data));
  EXPECT_EQ(0, ua_type_table_validate_table(ua_type_table_ns0(), &ua_type_table_ns0(), 10));
  EXPECT_EQ(0, ua_type_table_validate_table(test_table(), &ua_type_table_ns0(), 10));

  TraceCapture trace;
  data.structures = data.structures.subspan(1);
  EXPECT_EQ(UA_EBADMISMATCH, ua_type_table_data_validate(data));
  EXPECT_EQ(
      "ua_type_table_data_validate_entry: table=g_type_table_ns0, actual_size=161, "
      "expected_size=162\n",
      trace.stderr_text());
}

TEST(UaTypeTable, SortOrderIsChecked) {
  TraceCapture trace;
  ua_dict_structure twice[] = {g_test_structures[0], g_test_structures[0]};
  EXPECT_EQ(UA_EBADINVALIDARGUMENT,
            ua_type_table_validate_table(test_table(twice), &ua_type_table_ns0(), 10));
  ua_dict_structure swapped[] = {g_test_structures[0], g_test_structures[1]};
  std::swap(swapped[0].encoding_id, swapped[1].encoding_id);
  EXPECT_EQ(UA_EBADINVALIDARGUMENT,
            ua_type_table_validate_table(test_table(swapped), &ua_type_table_ns0(), 10));
  // Index-table mode: type ids sorted, the index table sorted by encoding id.
  ua_type_table idx = test_table(swapped);
  idx.sorting = UA_TYPE_TABLE_SORTING_IDX_TABLE;
  EXPECT_EQ(UA_EBADINVALIDARGUMENT, ua_type_table_validate_table(idx, nullptr, 10));
  const ua_type_table_idx_table entries[] = {{5002, 1}, {5004, 0}};
  idx.idx_table = entries;
  idx.has_idx_table = true;
  EXPECT_EQ(0, ua_type_table_validate_table(idx, &ua_type_table_ns0(), 10));
  EXPECT_EQ(1, idx.find_by_encoding_id(5002));
  EXPECT_EQ(-1, idx.find_by_encoding_id(5003));
  const ua_type_table_idx_table unsorted[] = {{5004, 0}, {5002, 1}};
  idx.idx_table = unsorted;
  EXPECT_EQ(UA_EBADINVALIDARGUMENT, ua_type_table_validate_table(idx, &ua_type_table_ns0(), 10));
  idx.sorting = 3;
  EXPECT_EQ(UA_EBADINVALIDARGUMENT, ua_type_table_validate_table(idx, &ua_type_table_ns0(), 10));
  EXPECT_EQ(
      "ua_type_table_validate_table: type ids for table with nsidx=3 are not sorted ascending\n"
      "ua_type_table_validate_table: encoding ids for table with nsidx=3 are not sorted "
      "ascending\n"
      "ua_type_table_validate_table: index table for nsidx=3 is missing\n"
      "ua_type_table_validate_table: index table for nsidx=3 is not sorted ascending\n",
      trace.stderr_text());
}

// Validates a table holding only `st` and returns the status.
int validate_one(const ua_dict_structure& st) {
  ua_type_table t = test_table(std::span<const ua_dict_structure>(&st, 1));
  t.sorting = UA_TYPE_TABLE_SORTING_NONE;
  return ua_type_table_validate_table(t, &ua_type_table_ns0(), 10);
}

TEST(UaTypeTable, StructureRowsAreChecked) {
  TraceCapture trace;
  ua_dict_structure st = g_test_structures[0];
  st.size += 8;
  EXPECT_EQ(UA_EBADMISMATCH, validate_one(st));

  ua_dict_field rows[2] = {g_point_fields[0], g_point_fields[1]};
  st = g_test_structures[0];
  st.fields = rows;
  rows[1].flags = UA_DICT_RANK_SCALAR | UA_DICT_IMPL_FUNC_FIXED;  // built-in without NS0 flag
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));
  rows[1] = g_point_fields[1];
  rows[1].flags = UA_DICT_RANK_ARRAY_NS0 | UA_DICT_IMPL_FUNC_FIXED;
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));
  rows[1].flags = UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED;
  rows[1].type = UA_TYPE_STRING;  // a String flagged fixed
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));

  ua_dict_field mask_rows[4] = {g_optional_fields[0], g_optional_fields[1], g_optional_fields[2],
                                g_optional_fields[3]};
  st = g_test_structures[2];
  st.fields = mask_rows;
  mask_rows[0].flags = UA_DICT_STRUCT_OPTIONAL | UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC;
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));
  mask_rows[0] = g_optional_fields[0];
  mask_rows[1].flags &= static_cast<uint8_t>(~UA_DICT_STRUCT_OPTIONAL);
  mask_rows[3].flags &= static_cast<uint8_t>(~UA_DICT_STRUCT_OPTIONAL);
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));
  st = g_test_structures[0];
  st.num_fields = 0;
  EXPECT_EQ(UA_EBADINTERNALERROR, validate_one(st));

  // A fixed member without the fixed flag is only a warning.
  rows[1] = g_point_fields[1];
  rows[1].flags = kScalarVar;
  st = g_test_structures[0];
  st.fields = rows;
  EXPECT_EQ(0, validate_one(st));
  EXPECT_EQ(
      "ua_type_table_validate_structure_rec: 'structure=Point;type_id=5001' size=24, calculated "
      "size=16\n"
      "ua_type_table_validate_field_ns0: 'field=Y;local_type=11;local_idx=0' is from NS0, but is "
      "not flagged NS0\n"
      "ua_type_table_validate_field_scalar: 'field=Y;local_type=11;local_idx=0' is flagged fixed, "
      "but arrays must never be fixed\n"
      "ua_type_table_validate_field_scalar: 'field=Y;local_type=12;local_idx=0' is flagged fixed, "
      "but not actually fixed\n"
      "ua_type_table_validate_field_mask: 'field=Mask;local_type=7;local_idx=0' mask has flags=25 "
      "but expected flags=26\n"
      "ua_type_table_validate_structure_rec: 'structure=OptionalAbc;type_id=5005' has zero "
      "optional fields\n"
      "ua_type_table_validate_structure_rec: 'structure=Point;type_id=5001' has zero fields\n"
      "ua_type_table_validate_field_scalar: 'field=Y;local_type=11;local_idx=0' is not flagged "
      "fixed, but is fixed\n",
      trace.stderr_text());
}

TEST(UaTypeTable, BuiltinEntriesAndIntegerTypesAreChecked) {
  const ua_builtin_types& types = ua_builtin_type_table();
  const ua_builtin_encodings& encs = ua_builtin_encoding_table();
  ASSERT_EQ(30u, types.num_fcts);
  ASSERT_EQ(types.num_fcts, encs.num_fcts);
  for (uint32_t i = 0; i < types.num_fcts; ++i)
    EXPECT_EQ(0, ua_type_table_validate_builtin(&types.types[i], &encs.encodings[i], i)) << i;

  TraceCapture trace;
  ua_builtin_type broken = types.types[UA_TYPE_INT32];
  broken.copy = nullptr;
  EXPECT_EQ(UA_EBADINTERNALERROR,
            ua_type_table_validate_builtin(&broken, &encs.encodings[UA_TYPE_INT32], UA_TYPE_INT32));
  EXPECT_EQ(UA_EBADINTERNALERROR,
            ua_type_table_validate_builtin(&types.types[UA_TYPE_INT32],
                                           &encs.encodings[UA_TYPE_INT32], UA_TYPE_UINT32));
  const ua_dict_inttype wide{"Wide", 1, 8, UA_VT_UINT32};
  EXPECT_EQ(UA_EBADINTERNALERROR, ua_type_table_validate_inttype(wide, types));
  const ua_dict_inttype text{"Text", 1, sizeof(ua_string), UA_VT_STRING};
  EXPECT_EQ(UA_EBADINTERNALERROR, ua_type_table_validate_inttype(text, types));
  const ua_dict_inttype beyond{"Beyond", 1, 4, 40};
  EXPECT_EQ(UA_EBADINTERNALERROR, ua_type_table_validate_inttype(beyond, types));
  EXPECT_EQ(
      "ua_type_table_validate_builtin: condition=[btype->copy != NULL] failed\n"
      "ua_type_table_validate_builtin: condition=[benc->type_idx == type_idx] failed\n"
      "ua_type_table_validate_inttype: condition=[inttype->size == btype->size] failed\n"
      "ua_type_table_validate_inttype: condition=[btype->flags & UA_BUILTIN_FLAG_FIXED] failed\n"
      "ua_type_table_validate_inttype: condition=[inttype->base_type < "
      "g_binary_types[0].num_fcts] failed\n",
      trace.stderr_text());
}

}  // namespace
}  // namespace vos
