#include "tools/vospack/nstable.h"

#include <gtest/gtest.h>

#include <string>

#include "support/testutil.h"

namespace vos {
namespace {

using test::CaptureFd;

TEST(Nstable, EntriesPrefixesAndLookups) {
  nstable t;
  ASSERT_EQ(t.count(), 2u);
  EXPECT_EQ(t.entries()[0].prefix(), "ua");
  EXPECT_EQ(t.entries()[1].prefix(), "server");
  EXPECT_EQ(t.entries()[1].uri, NSTABLE_SERVER_URI);

  // Loading a model: the server URI is not used by the file.
  t.reset_xml_indices();
  EXPECT_EQ(t.entries()[0].xml_index, 0u);
  EXPECT_EQ(t.entries()[1].xml_index, NSTABLE_NOT_USED);
  ASSERT_EQ(t.add_entry("http://example.com/DI/", 1, 2), 0);
  ASSERT_EQ(t.add_entry("abc", 2, 13), 0);  // a short URI cuts the generated prefix
  ASSERT_EQ(t.add_entry("http://example.com/Robotics/", 3, 4, "rob"), 0);
  EXPECT_EQ(t.entries()[2].prefix(), "ns2");
  EXPECT_EQ(t.entries()[3].prefix(), "ns");
  EXPECT_EQ(t.entries()[4].prefix(), "rob");
  EXPECT_EQ(t.entries()[4].store_index, 4u);
  EXPECT_EQ(t.add_entry("", 5, 5), -1);

  // A second file naming a known URI only moves its XML index.
  t.reset_xml_indices();
  ASSERT_EQ(t.add_entry("http://example.com/Robotics/", 1, 99, "other"), 0);
  EXPECT_EQ(t.count(), 5u);
  EXPECT_EQ(t.entries()[4].sdk_index, 4u);
  EXPECT_EQ(t.entries()[4].prefix(), "rob");
  EXPECT_EQ(t.find_by_xml_index(1), &t.entries()[4]);
  EXPECT_EQ(t.find_by_xml_index(2), nullptr);
  EXPECT_EQ(t.find_by_sdk_index(13), &t.entries()[3]);
  EXPECT_EQ(t.find_by_uri("http://example.com/DI"), nullptr);  // exact length

  t.entries()[4].set_prefix("RoB_x");
  EXPECT_EQ(t.entries()[4].prefix_lower(), "rob_x");
  EXPECT_EQ(t.entries()[4].prefix_upper(), "ROB_X");
  t.entries()[4].set_prefix("Di");
  EXPECT_EQ(t.entries()[4].prefix_upper(), "DI");

  for (int i = 5; i < 32; ++i) ASSERT_EQ(t.add_entry("urn:" + std::to_string(i), 1, i), 0);
  EXPECT_EQ(t.add_entry("urn:full", 1, 40), -1);
  EXPECT_EQ(t.add_entry("urn:5", 1, 40), -1);
}

TEST(Nstable, IndexSelections) {
  nstable t;
  EXPECT_EQ(t.select_index("2"), 0);
  EXPECT_EQ(t.select_index("3:di:12"), 0);
  EXPECT_EQ(t.select_index("4::7"), 0);  // empty fields are skipped: 7 is the prefix
  EXPECT_EQ(t.select_index(":::"), -1);
  EXPECT_EQ(t.select_index("1234567890"), 0);
  const auto s = t.index_selections();
  ASSERT_EQ(s.size(), 4u);
  EXPECT_EQ(*s[0].prefix, "ns2");
  EXPECT_EQ(s[0].store_index, 22u);
  EXPECT_EQ(*s[1].prefix, "di");
  EXPECT_EQ(s[1].store_index, 12u);
  EXPECT_EQ(*s[2].prefix, "7");
  EXPECT_EQ(s[2].store_index, 24u);
  EXPECT_EQ(*s[3].prefix, "ns1234567");  // at most 9 characters
  for (int i = 4; i < 32; ++i) EXPECT_EQ(t.select_index("5"), 0);
  EXPECT_EQ(t.select_index("6"), -1);
  EXPECT_EQ(t.index_selections().size(), 32u);
  EXPECT_TRUE(t.is_selected(3));
  EXPECT_FALSE(t.is_selected(6));
}

TEST(Nstable, UriSelectionsResolveWithPrefixCarryOver) {
  nstable t;
  t.add_entry("urn:a", 1, 2);
  t.add_entry("urn:b", 2, 3);
  t.add_entry("urn:c", 3, 4);
  t.add_entry("urn:d", 4, 5);
  ASSERT_EQ(t.select_uri("urn:a"), 0);  // no earlier prefix: its own
  ASSERT_EQ(t.select_uri("urn:b;p;5"), 0);
  ASSERT_EQ(t.select_uri("urn:c"), 0);  // carries p;5 over
  ASSERT_EQ(t.select_uri("urn:d;"), 0);
  ASSERT_EQ(t.resolve_uri_selections(), 0);
  EXPECT_TRUE(t.uri_selections().empty());
  const auto s = t.index_selections();
  ASSERT_EQ(s.size(), 4u);
  EXPECT_EQ(*s[0].prefix, "ns2");
  EXPECT_EQ(*s[1].prefix, "p;5");
  EXPECT_EQ(s[1].store_index, 0u);
  EXPECT_EQ(*s[2].prefix, "p;5");
  EXPECT_EQ(s[2].sdk_index, 4u);
  EXPECT_EQ(*s[3].prefix, "");

  CaptureFd out(1);
  ASSERT_EQ(t.check_index_selections(), 0);
  EXPECT_EQ(out.finish(),
            "exporting namespace with nsidx=2, uri=urn:a.\n"
            "exporting namespace with nsidx=3, uri=urn:b.\n"
            "exporting namespace with nsidx=4, uri=urn:c.\n"
            "exporting namespace with nsidx=5, uri=urn:d.\n");
  EXPECT_EQ(t.find_by_sdk_index(4)->prefix(), "p;5");
  EXPECT_EQ(t.find_by_sdk_index(4)->store_index, 0u);

  nstable u;
  u.add_entry("urn:a", 1, 2);
  u.select_uri("urn:a;x");
  u.select_uri("urn:missing;y");
  CaptureFd err(2);
  EXPECT_EQ(u.resolve_uri_selections(), NSTABLE_EXIT_STATUS_1);
  EXPECT_EQ(err.finish(), "error: uri 'urn:missing' does not exist in table.\n");
}

TEST(Nstable, CheckSelectAllAndMarkUsed) {
  nstable t;
  t.add_entry("urn:base", 1, 2);
  t.add_entry("urn:mid", 2, 3);
  t.add_entry("urn:top", 3, 4);
  t.add_entry("urn:other", 4, 5);
  t.add_required(t.entries()[4], t.entries()[3]);
  t.add_required(t.entries()[4], t.entries()[3]);
  t.add_required(t.entries()[3], t.entries()[2]);
  EXPECT_EQ(t.entries()[4].required.size(), 1u);

  t.select_index("4:top:30");
  {
    CaptureFd out(1);
    ASSERT_EQ(t.check_index_selections(), 0);
    EXPECT_EQ(out.finish(), "exporting namespace with nsidx=4, uri=urn:top.\n");
  }
  EXPECT_EQ(t.entries()[4].prefix(), "top");
  EXPECT_EQ(t.entries()[4].store_index, 30u);
  t.mark_used();
  EXPECT_TRUE(t.entries()[2].used && t.entries()[3].used && t.entries()[4].used);
  EXPECT_FALSE(t.entries()[0].used || t.entries()[1].used || t.entries()[5].used);

  t.select_index("9");
  CaptureFd err(2);
  EXPECT_EQ(t.check_index_selections(), -1);
  EXPECT_NE(err.finish().find("error: selected nsidx=9 does not exist.\n"), std::string::npos);

  nstable one;
  one.add_entry("urn:model", 1, 2);
  ASSERT_EQ(one.select_all(), 0);
  ASSERT_EQ(one.uri_selections().size(), 1u);
  EXPECT_EQ(one.uri_selections()[0], "urn:model");
}

TEST(Nstable, PrintsTheGrid) {
  nstable t;
  t.reset_xml_indices();
  t.add_entry("http://example.com/a/very/long/namespace/uri/for/the/test/", 1, 2,
              "a_prefix_that_is_longer_than_forty_characters");
  t.entries()[2].version = "1.04.2";
  t.entries()[2].publication_date = "2024-01-02T00:00:00Z";
  CaptureFd out(1);
  t.print();
  // Long cells keep 18 characters at each end around "....".
  EXPECT_EQ(out.finish(),
            "SDK Index XML Index  Prefix                                   "
            "URI                                      Version Publishing Date     \n"
            "0         0          ua                                       "
            "http://opcfoundation.org/UA/                                         \n"
            "1         (not used) server                                   "
            "urn:velmora:vos:server                                               \n"
            "2         1          a_prefix_that_is_l....n_forty_characters "
            "http://example.com..../uri/for/the/test/ 1.04.2  2024-01-02T00:00:00Z\n");
}

}  // namespace
}  // namespace vos
