#include "tools/vospack/sidefiles.h"

#include <gtest/gtest.h>

#include <string>

#include "support/testutil.h"
#include "tools/vospack/nstable.h"
#include "uabase/text_nodeid.h"
#include "util/errors.h"

namespace vos {
namespace {

using test::CaptureFd;
using test::TempDir;
using test::write_file;

TEST(Placeholders, ReadUntilABadLineAndSorted) {
  TempDir dir;
  write_file(dir / "p.txt",
             "# placeholders\n"
             "ns=2;i=7\n"
             "\n"
             "ns=2;s=Line.Speed\r\n"
             "i=5001\r\n"
             "ns=2;q=1\r\n"
             "ns=2;i=1\n");
  placeholder_table table;
  CaptureFd err(2);
  EXPECT_EQ(table.load((dir / "p.txt").c_str()), UA_EBADDECODING);
  EXPECT_EQ(err.finish(), "placeholder_parse: Invalid nodeid in line 6: ns=2;q=1\n");
  std::string ids;
  for (const ua_nodeid& n : table.nodeids()) ids += ua_nodeid_to_text(n) + " ";
  EXPECT_EQ(ids, "i=5001 ns=2;i=7 ns=2;s=Line.Speed ");
  ua_nodeid speed;
  ASSERT_EQ(ua_nodeid_from_string(speed, "ns=2;s=Line.Speed"), 0);
  EXPECT_TRUE(table.is_placeholder(speed));
  EXPECT_FALSE(table.is_placeholder(ua_nodeid(2, 1)));
  EXPECT_FALSE(table.is_placeholder(ua_nodeid(0, 7)));

  // A second file adds to the first.
  write_file(dir / "q.txt", "ns=1;i=3");
  EXPECT_EQ(table.load((dir / "q.txt").c_str()), 0);
  EXPECT_TRUE(table.is_placeholder(ua_nodeid(1, 3)) && table.is_placeholder(ua_nodeid(2, 7)));
  EXPECT_EQ(table.load((dir / "missing.txt").c_str()), -1);
}

std::string dump(const address_mapping_table& table) {
  std::string out;
  for (const address_mapping_record& r : table.records()) {
    out += ua_nodeid_to_text(r.nodeid) + " " + std::to_string(r.store_index) + ":" +
           std::to_string(r.value_index) + "\n";
  }
  return out;
}

TEST(AddressMapping, RecordsAndAutomaticValueIndices) {
  TempDir dir;
  write_file(dir / "m.txt",
             "# node store:value\n"
             "ns=2;i=5 3:*\n"
             "ns=2;i=6\t 3 : * \r\n"
             "ns=2;i=7 3:10\n"
             "\tns=2;s=Pump 4:*\n"
             "ns=2;i=8 3\n"         // no ':': skipped
             "ns=2;i=10 3::12:x\n"  // empty fields are skipped, the rest ignored
             "ns=2;i=5 9:9\n");     // a second line for the same node
  address_mapping_table table;
  CaptureFd err(2);
  ASSERT_EQ(table.load((dir / "m.txt").c_str()), 0);
  EXPECT_EQ(err.finish(), "");
  EXPECT_EQ(dump(table),
            "ns=2;i=5 3:0\nns=2;i=5 9:9\nns=2;i=6 3:1\nns=2;i=7 3:10\nns=2;i=10 3:12\n"
            "ns=2;s=Pump 4:0\n");
  EXPECT_EQ(table.next_value_index(3), 2u);  // an explicit index does not move the counter
  ASSERT_NE(table.find(ua_nodeid(2, 5)), nullptr);
  EXPECT_EQ(table.find(ua_nodeid(2, 5))->store_index, 3u);  // the first line wins
  EXPECT_EQ(table.find(ua_nodeid(2, 8)), nullptr);

  // Loading again starts from an empty table with fresh counters.
  write_file(dir / "m.txt", "ns=2;i=1 3:*\n");
  ASSERT_EQ(table.load((dir / "m.txt").c_str()), 0);
  EXPECT_EQ(dump(table), "ns=2;i=1 3:0\n");
  EXPECT_NE(table.load((dir / "missing.txt").c_str()), 0);
  EXPECT_TRUE(table.empty());
}

TEST(AddressMapping, BadLinesStopTheReading) {
  struct bad_case {
    const char* line;
    int status;
    const char* message;
    const char* records;  // after the load
  };
  const bad_case cases[] = {
      {"ns=2;x=1 1:2", UA_EBADDECODING, "invalid nodeid in line 3: 'ns=2;x=1'\n", ""},
      {"ns=2;i=1 -1:2", UA_EBADINVALIDARGUMENT, "invalid store index in line 3: '-1'\n", ""},
      {"ns=2;i=1 1: 99999999999 ", UA_EBADOUTOFRANGE,
       "invalid value index in line 3: '99999999999'\n", ""},
      {"ns=2;i=1 1:**", UA_EBADDECODING, "invalid value index in line 3: '**'\n", ""},
      // Automatic numbering beyond store 255 ends the reading, yet the load succeeds and
      // the line's record stays.
      {"ns=2;i=1 300:*", 0,
       "store index is out of range in line 3: '300'\n"
       "auto-increment is only supported for store index 0..255\n",
       "ns=2;i=1 300:0\n"},
  };
  TempDir dir;
  for (const bad_case& c : cases) {
    write_file(dir / "m.txt", std::string("ns=2;i=9 1:*\n#\n") + c.line + "\nns=2;i=3 1:*\n");
    address_mapping_table table;
    CaptureFd err(2);
    EXPECT_EQ(table.load((dir / "m.txt").c_str()), c.status) << c.line;
    EXPECT_EQ(err.finish(), c.message);
    EXPECT_EQ(dump(table), c.records + std::string("ns=2;i=9 1:0\n")) << c.line;
  }
}

TEST(NamespaceMappings, KnownUrisAndTheLastConvertedLineDecides) {
  nstable ns;
  ASSERT_EQ(ns.add_entry("urn:a", 1, 2), 0);
  ASSERT_EQ(ns.add_entry("urn:b", 2, 3), 0);
  TempDir dir;
  const auto load = [&](const char* text) {
    write_file(dir / "c.txt", text);
    return namespace_mapping_load(ns, (dir / "c.txt").c_str());
  };
  // A bad number on an earlier line is forgotten; unknown URIs and single fields are
  // skipped.
  CaptureFd err(2);
  EXPECT_EQ(load("# index;uri\nx;urn:a\n 7 ; urn:b \r\n9;urn:not-loaded\n8\n"), 0);
  EXPECT_EQ(err.finish(), "");
  EXPECT_EQ(ns.find_by_uri("urn:a")->mapped_index, 2u);
  EXPECT_EQ(ns.find_by_uri("urn:b")->mapped_index, 7u);
  EXPECT_EQ(ns.entries()[1].mapped_index, 1u);

  EXPECT_EQ(load(";;6;;urn:a\n-1;urn:b\nzz;urn:unknown\n"), UA_EBADINVALIDARGUMENT);
  EXPECT_EQ(ns.find_by_uri("urn:a")->mapped_index, 6u);
  EXPECT_EQ(ns.find_by_uri("urn:b")->mapped_index, 7u);
  EXPECT_NE(namespace_mapping_load(ns, (dir / "missing.txt").c_str()), 0);
}

}  // namespace
}  // namespace vos
