// Value semantics of the built-in value types.
#include <gtest/gtest.h>

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"
#include "uabase/types.h"

namespace vos {
namespace {

TEST(UaTypes, StringsTellNullFromEmpty) {
  ua_string null;
  ua_string empty("");
  EXPECT_TRUE(null.is_null());
  EXPECT_EQ(-1, null.length());
  EXPECT_FALSE(empty.is_null());
  EXPECT_EQ(0, empty.length());
  EXPECT_NE(null, empty);
  EXPECT_LT(null, empty);
  EXPECT_STREQ("", null.c_str());

  ua_string a("abc");
  ua_string copy = a;
  copy.assign("abd");
  EXPECT_EQ("abc", a.view());
  EXPECT_LT(a, copy);
  EXPECT_LT(ua_string("ab"), a);
  ua_string moved = std::move(copy);
  EXPECT_EQ("abd", moved.view());
  EXPECT_TRUE(copy.is_null());  // NOLINT(bugprone-use-after-move): moved-from is null
  ua_string& alias = moved;
  moved = alias;  // self-assignment keeps the value
  EXPECT_EQ("abd", moved.view());
  moved.assign(moved.view().substr(1));  // assigning from its own bytes
  EXPECT_EQ("bd", moved.view());
  EXPECT_EQ('\0', moved.data()[moved.size()]);

  ua_bytestring bytes(std::string_view("\0\1", 2));
  EXPECT_EQ(2u, bytes.size());
  EXPECT_EQ(1, bytes.bytes()[1]);
}

TEST(UaTypes, NodeIdsAreCompactOrderedAndHashable) {
  static_assert(sizeof(ua_nodeid) == 16);
  const ua_guid g{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  const uint8_t raw[] = {0xFF, 0x00};
  // In sort order: namespace, then numeric < string < guid < opaque, then identifier.
  std::vector<ua_nodeid> ids = {
      ua_nodeid(0, 1),
      ua_nodeid(0, 300),
      ua_nodeid::make_string(0, ""),
      ua_nodeid::make_string(0, "a"),
      ua_nodeid::make_string(0, "ab"),
      ua_nodeid::make_string(0, "b"),
      ua_nodeid::make_guid(0, g),
      ua_nodeid::make_opaque(0, raw),
      ua_nodeid(1, 0),
  };
  for (std::size_t i = 1; i < ids.size(); ++i) EXPECT_LT(ids[i - 1], ids[i]) << i;
  std::vector<ua_nodeid> shuffled(ids.rbegin(), ids.rend());
  std::sort(shuffled.begin(), shuffled.end());
  EXPECT_EQ(ids, shuffled);

  std::unordered_set<ua_nodeid> set(ids.begin(), ids.end());
  for (const ua_nodeid& id : ids) {
    ua_nodeid copy = id;
    EXPECT_EQ(id, copy);
    EXPECT_EQ(id.hash(), copy.hash());
    EXPECT_EQ(1u, set.count(copy));
  }
  EXPECT_EQ(0u, set.count(ua_nodeid::make_string(0, "c")));
  EXPECT_EQ(g, ids[6].guid_id());
  EXPECT_EQ("ab", ids[4].string_id());
  EXPECT_EQ(2u, ids[7].opaque_id().size());
  EXPECT_EQ(0u, ids[4].numeric_id());
  EXPECT_TRUE(ua_nodeid().is_null());
  EXPECT_TRUE(ua_nodeid::make_string(0, "").is_null());
  EXPECT_FALSE(ua_nodeid(1, 0).is_null());
  ua_nodeid moved = std::move(ids[4]);
  EXPECT_EQ("ab", moved.string_id());
  EXPECT_TRUE(ids[4].is_null());  // NOLINT(bugprone-use-after-move)
}

TEST(UaTypes, VariantsCopyDeeplyAndCheckTheirType) {
  ua_variant v = ua_variant::scalar_of(ua_localizedtext{"en", "x"});
  ua_variant copy = v;
  copy.scalar<ua_localizedtext>()->text = "y";
  EXPECT_EQ("x", v.scalar<ua_localizedtext>()->text.view());
  EXPECT_NE(v, copy);
  EXPECT_EQ(nullptr, v.scalar<ua_string>());
  EXPECT_TRUE(v.array<ua_localizedtext>().empty());

  ua_variant xml;
  xml.set_scalar(ua_bytestring(std::string_view("<a/>")), UA_VT_XMLELEMENT);
  EXPECT_EQ(UA_VT_XMLELEMENT, xml.type());
  ASSERT_NE(nullptr, xml.scalar<ua_bytestring>());

  ua_variant arr;
  auto items = arr.set_array<ua_nodeid>(2);
  items[1] = ua_nodeid::make_string(2, "n");
  const int32_t dims[] = {1, 2};
  arr.set_dimensions(dims);
  EXPECT_EQ(UA_VT_NODEID | UA_VT_ARRAY | UA_VT_MATRIX, arr.type_byte());
  ua_variant arr_copy = arr;
  EXPECT_EQ(arr, arr_copy);
  arr_copy.array<ua_nodeid>()[1] = ua_nodeid(0, 1);
  EXPECT_EQ("n", arr.array<ua_nodeid>()[1].string_id());
  ua_variant moved = std::move(arr);
  EXPECT_TRUE(arr.is_empty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(2, moved.length());
  EXPECT_EQ(2u, moved.dimensions().size());
  moved.clear();
  EXPECT_TRUE(moved.is_empty());
  EXPECT_EQ(ua_variant(), moved);
}

TEST(UaTypes, ExtensionObjectsCopyTheirBodies) {
  ua_extensionobject eo;
  auto* range = ua_extensionobject_emplace_ns0_as<ua_range>(eo, UA_TYPE_RANGE);
  ASSERT_NE(nullptr, range);
  EXPECT_EQ(nullptr, ua_extensionobject_emplace_ns0_as<ua_argument>(eo, UA_TYPE_RANGE));
  range = eo.object_as<ua_range>(*eo.structure());
  range->high = 10;
  EXPECT_EQ(ua_nodeid(0, 884), eo.type_id());
  EXPECT_EQ(ua_nodeid(0, 886), eo.encoding_id());
  ua_extensionobject copy = eo;
  EXPECT_EQ(eo, copy);
  copy.object_as<ua_range>(*copy.structure())->high = 11;
  EXPECT_NE(eo, copy);
  EXPECT_EQ(10, eo.object_as<ua_range>(*eo.structure())->high);

  ua_extensionobject raw;
  raw.set_encoded(ua_extensionobject_body::binary, ua_bytestring(std::string_view("ab")));
  ua_extensionobject raw_copy = raw;
  EXPECT_EQ(raw, raw_copy);
  EXPECT_EQ("ab", raw_copy.encoded()->view());
  EXPECT_EQ(nullptr, raw_copy.object());
  raw_copy = std::move(eo);
  EXPECT_EQ(ua_extensionobject_body::decoded, raw_copy.body_kind());
  EXPECT_EQ(ua_extensionobject_body::none, eo.body_kind());  // NOLINT(bugprone-use-after-move)
}

}  // namespace
}  // namespace vos
