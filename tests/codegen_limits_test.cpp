// The limits of the compiled-in address space: the runtime's node entry packs the index of a
// node's first inverse reference (or its placeholder number) into the upper 15 bits of a
// signed 32-bit .rev_ref_idx. A namespace just within the limit is generated, compiled
// against the runtime headers and seen by the test runtime as in the binary file; one just
// beyond it is refused with the namespace, the count and the limit, and the binary file
// (vospack) still takes it. Type identifiers have their own limit.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/addrspace_runtime.h"
#include "support/codegen_golden.h"
#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

// The most inverse-reference indexes (and placeholder numbers) that .rev_ref_idx holds.
constexpr unsigned kRevLimit = 32768;

// urn:limits: `count` objects, and with `hub` an object before them with a HasComponent
// reference to each. The hub's references come first in the pool, so the last object's
// first (only) inverse reference is number count - 1.
std::string limits_model(unsigned count, bool hub) {
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      "<UANodeSet xmlns=\"http://opcfoundation.org/UA/2011/03/UANodeSet.xsd\">\n"
      "  <NamespaceUris><Uri>urn:limits</Uri></NamespaceUris>\n"
      "  <Models><Model ModelUri=\"urn:limits\" Version=\"1.0.0\" "
      "PublicationDate=\"2024-01-01T00:00:00Z\"/></Models>\n";
  xml.reserve(count * 160);
  if (hub) {
    xml += "  <UAObject NodeId=\"ns=1;i=1\" BrowseName=\"1:Hub\"><DisplayName>Hub</DisplayName>"
           "<References>\n";
    for (unsigned i = 0; i < count; ++i) {
      xml += "    <Reference ReferenceType=\"i=47\">ns=1;i=" + std::to_string(i + 2) +
             "</Reference>\n";
    }
    xml += "  </References></UAObject>\n";
  }
  for (unsigned i = 0; i < count; ++i) {
    const std::string n = std::to_string(i + 2);
    xml += "  <UAObject NodeId=\"ns=1;i=" + n + "\" BrowseName=\"1:N" + n + "\"><DisplayName>N" +
           n + "</DisplayName></UAObject>\n";
  }
  return xml + "</UANodeSet>\n";
}

class CodegenLimits : public ::testing::Test {
 protected:
  RunResult generate(const std::string& model, std::vector<std::string> extra = {}) {
    test::write_file(dir_ / "limits.xml", model);
    std::vector<std::string> args = {"-0", "-i", "0:ua", "-u", "urn:limits;lim", "-o", "out"};
    args.insert(args.end(), extra.begin(), extra.end());
    args.insert(args.end(), {test::codegen_ns0_fixture().string(), (dir_ / "limits.xml").string()});
    fs::remove_all(dir_ / "out");
    return test::run_vosgen(args, dir_.path());
  }

  RunResult pack() {
    return test::run_program(test::vospack_binary(), "vospack",
                             {"-0", "-i", "0:ua", "-u", "urn:limits;lim", "-o", "file.bin",
                              test::codegen_ns0_fixture().string(), (dir_ / "limits.xml").string()},
                             dir_.path());
  }

  void expect_refused(const RunResult& r, const std::string& what) {
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("error: namespace 2 (urn:limits) has " + what), std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("reaches only the first 32768; the binary address-space file "
                         "(vospack) has no such limit.\n"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.out.find("error: failed to generate C code.\n"), std::string::npos) << r.out;
  }

  test::TempDir dir_;
};

// The last first-inverse index that fits: the runtime follows every chain of the namespace,
// the last node's included, as the binary file holds them.
TEST_F(CodegenLimits, LastInverseReferenceIndexThatFitsReachesTheRuntime) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  const RunResult r = generate(limits_model(kRevLimit, true));
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string source = test::read_file(dir_ / "out" / "lim" / "ns2.c");
  // 32767 << 16 | (2 * 2 + 1), the largest packed value, printed as a 32-bit int.
  EXPECT_NE(source.find(".rev_ref_idx = 2147418117, "), std::string::npos);
  ASSERT_EQ(pack().status, 0);
  EXPECT_EQ(test::runtime_sees_file(cc, dir_ / "out", dir_.path(), {"-DUA_SUPPORT_HISTORIZING"},
                                    dir_ / "file.bin", false),
            "");
}

// One reference more: .rev_ref_idx of the last node cannot hold it; the binary file can.
TEST_F(CodegenLimits, InverseReferenceIndexBeyondThePackedFieldIsRefused) {
  expect_refused(generate(limits_model(kRevLimit + 1, true)), "32769 references");
  EXPECT_FALSE(fs::exists(dir_ / "out" / "lim" / "ns2.c"));
  EXPECT_EQ(pack().status, 0);
}

// Placeholder numbers share the packed field: 32768 placeholders fit, 32769 do not.
TEST_F(CodegenLimits, PlaceholderNumbersShareTheLimit) {
  for (const unsigned count : {kRevLimit, kRevLimit + 1}) {
    SCOPED_TRACE(count);
    std::string list;
    for (unsigned i = 0; i < count; ++i) list += "ns=2;i=" + std::to_string(i + 2) + "\n";
    test::write_file(dir_ / "placeholders.txt", list);
    const RunResult r = generate(limits_model(count, false), {"-P", "placeholders.txt"});
    if (count == kRevLimit) {
      EXPECT_EQ(r.status, 0) << r.err;
    } else {
      expect_refused(r, "32769 placeholder nodes");
    }
  }
}

// C99 compilers need not take string literals beyond 4,095 bytes: a value of 4,095 bytes
// stays a literal, one of 4,096 bytes and an opaque identifier of 4,096 bytes become arrays,
// and the runtime sees the bytes the binary file holds.
TEST_F(CodegenLimits, ValuesBeyondTheLongestStringLiteralAreArrays) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  // 4,096 bytes: 1,365 times FB EF BE, then 01.
  std::string opaque;
  for (int i = 0; i < 1365; ++i) opaque += "++++";
  opaque += "AQ==";
  // A String Variant is 5 bytes (type, length) and the text.
  const auto variable = [](int id, std::size_t text) {
    std::string t;
    for (std::size_t i = 0; i < text; ++i) t += static_cast<char>('a' + i % 26);
    return "  <UAVariable NodeId=\"ns=1;i=" + std::to_string(id) + "\" BrowseName=\"1:V" +
           std::to_string(id) + "\" DataType=\"i=12\"><DisplayName>V</DisplayName>"
           "<Value><String xmlns=\"http://opcfoundation.org/UA/2008/02/Types.xsd\">" + t +
           "</String></Value></UAVariable>\n";
  };
  std::string model = limits_model(0, false);
  model.insert(model.rfind("</UANodeSet>"),
               "  <UAObject NodeId=\"ns=1;b=" + opaque +
                   "\" BrowseName=\"1:Long\"><DisplayName>Long</DisplayName></UAObject>\n" +
                   variable(1, 4090) + variable(2, 4091));
  const RunResult r = generate(model);
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string source = test::read_file(dir_ / "out" / "lim" / "ns2.c");
  EXPECT_NE(source.find("    { 4095, \"\\x0C\\xFA\\x0F"), std::string::npos);
  EXPECT_NE(source.find("static const unsigned char g_staticstore_1[4096] = {\n"
                        "     0x0C, 0xFB, 0x0F, 0x00, 0x00, 0x61,"),
            std::string::npos);
  EXPECT_NE(source.find("    { 4096, (const char *)g_staticstore_1 },\n"), std::string::npos);
  EXPECT_NE(source.find("    { 4096, (const char *)g_bytestring_0 },\n"), std::string::npos);
  ASSERT_EQ(pack().status, 0);
  EXPECT_EQ(test::runtime_sees_file(cc, dir_ / "out", dir_.path(), {"-DUA_SUPPORT_HISTORIZING"},
                                    dir_ / "file.bin", false),
            "");
}

// A type identifier is the C enumerator (namespace index << 16) + row, an int: a client
// tree that maps a namespace with types to index 32768 is refused, 32767 is taken.
TEST_F(CodegenLimits, TypeIdentifiersMustFitAnInt) {
  const fs::path fixtures = test::codegen_fixture_dir();
  for (const unsigned index : {32767u, 32768u}) {
    SCOPED_TRACE(index);
    test::write_file(dir_ / "mapping.txt", std::to_string(index) + ";urn:golden\n");
    fs::remove_all(dir_ / "out");
    const RunResult r = test::run_vosgen(
        {"-c", "mapping.txt", "-u", "urn:golden;gd", "-o", "out", (fixtures / "ns0.xml").string(),
         (fixtures / "golden.xml").string()},
        dir_.path());
    if (index == 32767) {
      EXPECT_EQ(r.status, 0) << r.err;
    } else {
      EXPECT_EQ(r.status, 1);
      EXPECT_NE(r.err.find("error: namespace 2 (urn:golden) has data types, but its type "
                           "identifiers ((index 32768 << 16) + row) exceed the int of a C "
                           "enumerator; namespace indexes up to 32767 hold them.\n"),
                std::string::npos)
          << r.err;
    }
  }
}

}  // namespace
}  // namespace vos
