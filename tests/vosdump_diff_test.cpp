// vosdump --diff on files that the real converter wrote from the DI model: the model against
// edited copies of its XML text, against itself at another namespace index and against an
// older release; damaged files; and the JSON report read back by Python's json module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/testutil.h"
#include "tools/vospack/filewriter.h"
#include "tools/vospack/uagraph.h"
#include "util/adler32.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

constexpr const char* kDiUri = "http://opcfoundation.org/UA/DI/";

fs::path vosdump_binary() {
  return fs::path(VOS_BIN_DIR) / "vosdump";
}

// Replaces the first `from` at or after `after` (which must be there) in `text`.
void replace_once(std::string& text, const std::string& from, const std::string& to,
                  const std::string& after = "") {
  const std::size_t start = after.empty() ? 0 : text.find(after);
  ASSERT_NE(start, std::string::npos) << after;
  const std::size_t at = text.find(from, start);
  ASSERT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
}

// The files are converted once for all tests: namespace 0 + DI (base.bin); the same with
// another model loaded first, so that DI gets index 3 (remap.bin); DI with four known edits
// (edited.bin); the DI release 1.02 of the corpus, given the model declaration it lacks
// (di102.bin).
class VosDumpDiff : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new test::TempDir();
    const fs::path models = test::nodeset_dir();
    if (models.empty() || !fs::exists(vosdump_binary())) return;
    const std::string ns0 = (models / "Opc.Ua.NodeSet2.xml").string();
    std::string di = test::read_file(models / "Opc.Ua.Di.NodeSet2.xml");
    std::string edited = di;
    // A value, an attribute, a reference (its target) and a new node.
    replace_once(edited, "Types.xsd\">1.05.0</String>", "Types.xsd\">1.05.1</String>",
                 "NodeId=\"ns=1;i=15003\"");
    replace_once(edited, "<DisplayName>DeviceSet</DisplayName>",
                 "<DisplayName>Device Set</DisplayName>");
    replace_once(edited, "<Reference ReferenceType=\"HasTypeDefinition\">i=58</Reference>",
                 "<Reference ReferenceType=\"HasTypeDefinition\">i=61</Reference>",
                 "NodeId=\"ns=1;i=5001\"");
    replace_once(edited, "</UANodeSet>",
                 "<UAObject NodeId=\"ns=1;i=99001\" BrowseName=\"1:Spare\">"
                 "<DisplayName>Spare</DisplayName><References>"
                 "<Reference ReferenceType=\"HasComponent\" IsForward=\"false\">ns=1;i=5001"
                 "</Reference><Reference ReferenceType=\"HasTypeDefinition\">i=58</Reference>"
                 "</References></UAObject></UANodeSet>");
    test::write_file(*dir_ / "edited.xml", edited);
    std::string old_di = test::read_file(models / "1.02" / "Opc.Ua.Di.NodeSet2.xml");
    replace_once(old_di, "</NamespaceUris>",
                 "</NamespaceUris><Models><Model ModelUri=\"http://opcfoundation.org/UA/DI/\" "
                 "Version=\"1.02\" PublicationDate=\"2015-10-20T00:00:00Z\"><RequiredModel "
                 "ModelUri=\"http://opcfoundation.org/UA/\"/></Model></Models>");
    test::write_file(*dir_ / "di102.xml", old_di);

    const std::vector<std::vector<std::string>> runs = {
        {"-i2", "-o", "base.bin", ns0, (models / "Opc.Ua.Di.NodeSet2.xml").string()},
        {"-i3", "-o", "remap.bin", ns0, (models / "Opc.ISA95.NodeSet2.xml").string(),
         (models / "Opc.Ua.Di.NodeSet2.xml").string()},
        {"-i2", "-o", "edited.bin", ns0, "edited.xml"},
        {"-i2", "-o", "di102.bin", ns0, "di102.xml"},
    };
    for (const auto& args : runs) {
      const RunResult r = test::run_program(test::vospack_binary(), "vospack", args, dir_->path());
      ASSERT_EQ(r.status, 0) << args[2] << ": " << r.err;
    }
    ready_ = true;
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }
  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "models or vosdump missing";
  }

  static RunResult diff(std::vector<std::string> args) {
    args.insert(args.begin(), "--diff");
    return test::run_program(vosdump_binary(), "vosdump", args, dir_->path());
  }
  // The JSON report rendered as text by the checker equals the text report.
  static void expect_json_matches(const std::vector<std::string>& args) {
    std::vector<std::string> all = {std::string(VOS_SOURCE_DIR) + "/tests/vosdump_diff_check.py",
                                    "compare", vosdump_binary().string()};
    all.insert(all.end(), args.begin(), args.end());
    const RunResult r = test::run_program(VOS_PYTHON3, "python3", all, dir_->path());
    EXPECT_EQ(r.status, 0) << r.out << r.err;
  }

  static test::TempDir* dir_;
  static bool ready_;
};

test::TempDir* VosDumpDiff::dir_ = nullptr;
bool VosDumpDiff::ready_ = false;

TEST_F(VosDumpDiff, KnownEditsAreReportedExactlyBothWays) {
  const RunResult r = diff({"base.bin", "edited.bin"});
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "--- base.bin\n"
            "+++ edited.bin\n"
            "namespace http://opcfoundation.org/UA/DI/ (ns=2)\n"
            "  ~ ns=2;i=5001 Object \"DeviceSet\"\n"
            "      display_name: \"DeviceSet\" -> \"Device Set\"\n"
            "      - HasTypeDefinition -> i=58\n"
            "      + HasTypeDefinition -> i=61\n"
            "      + HasComponent -> ns=2;i=99001 \"Spare\"\n"
            "  ~ ns=2;i=15003 Variable \"NamespaceVersion\"\n"
            "      value: {\"type\": \"String\", \"value\": \"1.05.0\"} -> "
            "{\"type\": \"String\", \"value\": \"1.05.1\"}\n"
            "  + ns=2;i=99001 Object \"Spare\" /Objects/DeviceSet/Spare\n"
            "      + HasTypeDefinition -> i=58\n"
            "file changes: 0\n"
            "namespaces: 0 added, 0 removed, 0 changed\n"
            "nodes: 1 added, 0 removed, 2 changed\n"
            "references: 3 added, 1 removed\n");

  // Backwards, the new node is removed and every change turns round.
  const RunResult back = diff({"edited.bin", "base.bin"});
  EXPECT_EQ(back.status, 1);
  EXPECT_NE(back.out.find("  - ns=2;i=99001 Object \"Spare\" /Objects/DeviceSet/Spare\n"
                          "      - HasTypeDefinition -> i=58\n"),
            std::string::npos)
      << back.out;
  EXPECT_NE(back.out.find("      - HasTypeDefinition -> i=61\n"
                          "      - HasComponent -> ns=2;i=99001 \"Spare\"\n"
                          "      + HasTypeDefinition -> i=58\n"),
            std::string::npos)
      << back.out;
  EXPECT_NE(back.out.find("nodes: 0 added, 1 removed, 2 changed\n"
                          "references: 1 added, 3 removed\n"),
            std::string::npos);

  // Counts only; limited to a namespace without changes, the files are equal.
  const RunResult counts = diff({"--summary", "base.bin", "edited.bin"});
  EXPECT_EQ(counts.status, 1);
  EXPECT_EQ(counts.out, r.out.substr(r.out.find("file changes:")));
  const RunResult ns0 =
      diff({"--namespace", "http://opcfoundation.org/UA/", "base.bin", "edited.bin"});
  EXPECT_EQ(ns0.status, 0) << ns0.out;
  EXPECT_EQ(ns0.out, "");
  EXPECT_EQ(diff({std::string("--namespace=") + kDiUri, "base.bin", "edited.bin"}).out, r.out);
  for (const auto& args :
       std::vector<std::vector<std::string>>{{"base.bin", "edited.bin"},
                                             {"edited.bin", "base.bin"},
                                             {"--summary", "base.bin", "edited.bin"}})
    expect_json_matches(args);
}

// Matching goes by namespace URI: DI at index 3 instead of 2 is no change, NodeId values
// inside the method arguments included; reports use the new file's indexes.
TEST_F(VosDumpDiff, AnotherNamespaceIndexIsNoChange) {
  for (const auto& pair : std::vector<std::vector<std::string>>{{"base.bin", "remap.bin"},
                                                                {"remap.bin", "base.bin"}}) {
    const RunResult r = diff(pair);
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(r.out, "");
    const RunResult json = diff({"--json", pair[0], pair[1]});
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.out.find("\"equal\": true"), std::string::npos) << json.out;
  }
  const RunResult r = diff({"edited.bin", "remap.bin"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("namespace http://opcfoundation.org/UA/DI/ (ns=3, was ns=2)\n"
                       "  ~ ns=3;i=5001 Object \"DeviceSet\"\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("  - ns=3;i=99001 Object \"Spare\""), std::string::npos) << r.out;
  expect_json_matches({"edited.bin", "remap.bin"});
}

// Two releases of DI: the namespace record, hundreds of nodes and the header differ; the
// JSON report holds what the text holds.
TEST_F(VosDumpDiff, TwoReleasesOfDi) {
  const RunResult r = diff({"di102.bin", "base.bin"});
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_NE(r.out.find("file\n  created: \"2015-10-20T09:36:10Z\" -> \"2025-11-15T00:00:00Z\"\n"
                       "namespace http://opcfoundation.org/UA/DI/ (ns=2)\n"
                       "  version: \"1.02\" -> \"1.05.0\"\n"
                       "  publication_date: \"2015-10-20T00:00:00Z\" -> "
                       "\"2025-11-15T00:00:00Z\"\n"),
            std::string::npos)
      << r.out.substr(0, 600);
  // Paths come from the file that has the node; the old release numbered DI differently.
  EXPECT_NE(r.out.find("  + ns=2;i=1002 ObjectType \"DeviceType\" /Types/ObjectTypes/"
                       "BaseObjectType/TopologyElementType/ComponentType/DeviceType\n"),
            std::string::npos);
  EXPECT_NE(r.out.find("  - ns=2;i=12254 ObjectType \"DeviceType\" "
                       "/Types/ObjectTypes/BaseObjectType/TopologyElementType/DeviceType\n"),
            std::string::npos);
  EXPECT_NE(r.out.find("\nfile changes: 1\nnamespaces: 0 added, 0 removed, 1 changed\n"),
            std::string::npos);
  expect_json_matches({"di102.bin", "base.bin"});
  // Without the header fields the creation date is gone, the namespace record stays.
  const RunResult build = diff({"--ignore-build", "--summary", "di102.bin", "base.bin"});
  EXPECT_EQ(build.status, 1);
  EXPECT_EQ(build.out.rfind("file changes: 0\nnamespaces: 0 added, 0 removed, 1 changed\n", 0), 0u)
      << build.out;
}

// What a rebuild with another tool changes (creation time, generator version) is reported
// unless --ignore-build is given.
TEST_F(VosDumpDiff, BuildInformationIsIgnoredOnRequest) {
  std::string bytes = test::read_file(dir_->path() / "base.bin");
  ASSERT_GT(bytes.size(), 64u);
  bytes[8] = static_cast<char>(bytes[8] + 1);  // the creation time (seconds, bytes 6 to 13)
  replace_once(bytes, "1.8.1", "1.8.2");
  const uint32_t sum = adler32(bytes.data(), bytes.size() - 4);
  for (int i = 0; i < 4; ++i)
    bytes[bytes.size() - 4 + i] = static_cast<char>((sum >> (8 * i)) & 0xFF);
  test::write_file(dir_->path() / "rebuilt.bin", bytes);

  const RunResult r = diff({"base.bin", "rebuilt.bin"});
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(r.out.rfind("--- base.bin\n+++ rebuilt.bin\nfile\n  created: ", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("\n  file_extensions: [{\"uri\": \"extension://velmora\", \"id\": 3, "),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("\nfile changes: 2\nnamespaces: 0 added"), std::string::npos) << r.out;
  const RunResult ignored = diff({"--ignore-build", "base.bin", "rebuilt.bin"});
  EXPECT_EQ(ignored.status, 0) << ignored.out;
  EXPECT_EQ(ignored.out, "");
}

// A file that does not load, or a wrong command line, is trouble: status 2, the reason on
// standard error and nothing on standard output.
TEST_F(VosDumpDiff, TroubleIsStatusTwoWithTheReason) {
  const std::string bytes = test::read_file(dir_->path() / "base.bin");
  std::string flipped = bytes;
  flipped[bytes.size() / 2] = static_cast<char>(flipped[bytes.size() / 2] ^ 0x10);
  const std::vector<std::string> damaged = {bytes.substr(0, bytes.size() - 9), flipped, "",
                                            "<?xml version=\"1.0\"?><UANodeSet/>"};
  for (const std::string& d : damaged) {
    test::write_file(dir_->path() / "bad.bin", d);
    for (const auto& pair :
         std::vector<std::vector<std::string>>{{"bad.bin", "base.bin"}, {"base.bin", "bad.bin"}}) {
      for (const bool json : {false, true}) {
        std::vector<std::string> args = pair;
        if (json) args.insert(args.begin(), "--json");
        const RunResult r = diff(args);
        EXPECT_EQ(r.status, 2) << d.size();
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("error: cannot read 'bad.bin': ", 0), 0u) << r.err;
      }
    }
  }
  const RunResult missing = diff({"base.bin", "nothere.bin"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err.rfind("error: cannot read 'nothere.bin': ", 0), 0u) << missing.err;

  const RunResult unknown = diff({"--namespace", "urn:none", "base.bin", "base.bin"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.err, "error: neither file has the namespace 'urn:none'\n");

  for (const auto& args :
       std::vector<std::vector<std::string>>{{"base.bin"},
                                             {"base.bin", "base.bin", "base.bin"},
                                             {"-x", "base.bin", "base.bin"},
                                             {"base.bin", "base.bin", "--namespace"}}) {
    const RunResult usage = diff(args);
    EXPECT_EQ(usage.status, 2);
    EXPECT_EQ(usage.out, "");
    EXPECT_EQ(usage.err.rfind("usage: vosdump --diff ", 0), 0u) << usage.err;
  }
}

// Writes a file of four variables ns=1;i=1..4 named "V": a NaN, a qualified name of
// namespace 1, display name `label` (its string index depends on `strings`), and a node
// extension with `address`; plus, with `loose_reference`, a reference between two nodes
// that the file does not hold.
void write_values_file(const fs::path& path, const std::vector<std::string>& strings,
                       const std::string& label, const std::string& address, bool loose_reference) {
  ua_file_writer w;
  ASSERT_EQ(w.create_string_tables(static_cast<uint32_t>(strings.size()), ""), 0);
  uint32_t label_index = 0;
  uint32_t name_index = 0;
  for (std::size_t i = 0; i < strings.size(); ++i) {
    ASSERT_EQ(w.set_string(0, static_cast<uint32_t>(i), strings[i]), 0);
    if (strings[i] == label) label_index = static_cast<uint32_t>(i);
    if (strings[i] == "V") name_index = static_cast<uint32_t>(i);
  }
  ASSERT_EQ(w.reserve_extension_uris(1), 0);
  ASSERT_GE(w.add_extension_uri("extension://test"), 0);
  w.totals()[UA_FILE_TOTAL_VARIABLE] = 4;
  w.totals()[UA_FILE_TOTAL_REFERENCE] = loose_reference ? 1 : 0;
  ASSERT_EQ(w.open(path.c_str()), 0);
  const ua_nodeid ids[] = {ua_nodeid(1, 1), ua_nodeid(1, 2), ua_nodeid(1, 3), ua_nodeid(1, 4)};
  const ua_variant values[] = {ua_variant::scalar_of(std::nan("")),
                               ua_variant::scalar_of(ua_qualifiedname{1, ua_string("Q")})};
  for (int i = 0; i < 4; ++i) {
    ua_file_node n;
    n.reset(UA_NODECLASS_VARIABLE);
    n.nodeid = &ids[i];
    n.browse_ns = 1;
    n.browse_name = name_index;
    if (i < 2) {
      n.flags |= UA_FILE_VAR_VALUE;
      n.value = &values[i];
    }
    if (i == 2) {
      n.flags |= UA_FILE_NODE_DISPLAYNAME;
      n.display_name = label_index;
    }
    if (i == 3) {
      n.flags |= UA_FILE_NODE_EXTENSIONS;
      n.extensions.push_back({0, 6, ua_bytestring(std::string_view(address))});
    }
    ASSERT_EQ(w.write_node(n), 0);
  }
  if (loose_reference) {
    ASSERT_EQ(w.write_reference(ua_nodeid(5, 1), ua_nodeid(5, 2), ua_nodeid(0, 47)), 0);
  }
  ASSERT_EQ(w.close(), 0);
}

// Values are compared decoded: a NaN equals a NaN, a name at another string index is the
// same name; what does differ is reported, and a reference between nodes that neither file
// holds is shown under its source.
TEST(VosDumpDiffValues, DecodedValuesAndLooseReferences) {
  if (!fs::exists(vosdump_binary())) GTEST_SKIP() << "vosdump is not built";
  test::TempDir dir;
  write_values_file(dir / "a.bin", {"", "V", "Motor"}, "Motor", "addr1", false);
  write_values_file(dir / "b.bin", {"", "Motor", "x", "V"}, "Motor", "addr2", true);
  const RunResult r =
      test::run_program(vosdump_binary(), "vosdump", {"--diff", "a.bin", "b.bin"}, dir.path());
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(r.out,
            "--- a.bin\n"
            "+++ b.bin\n"
            "namespace ns=1 (ns=1)\n"
            "  ~ ns=1;i=4 Variable \"V\"\n"
            "      extensions: [{\"uri\": \"extension://test\", \"id\": 6, \"data\": \"addr1\"}]"
            " -> [{\"uri\": \"extension://test\", \"id\": 6, \"data\": \"addr2\"}]\n"
            "namespace ns=5 (ns=5)\n"
            "  ~ ns=5;i=1 - \"\"\n"
            "      + HasComponent -> ns=5;i=2\n"
            "file changes: 0\n"
            "namespaces: 0 added, 0 removed, 0 changed\n"
            "nodes: 0 added, 0 removed, 2 changed\n"
            "references: 1 added, 0 removed\n");
}

}  // namespace
}  // namespace vos
