// What the real converter prints when it writes its file, fails to write it, or is given an
// extension selection; the file it reports as written reads back.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/mini_models.h"
#include "support/testutil.h"
#include "tools/vospack/filereader.h"
#include "tools/vospack/nodeext.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

bool ends_with(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

class CliOutput : public ::testing::Test {
 protected:
  void SetUp() override {
    test::write_file(dir_ / "ns0.xml", test::kMiniBaseModel);
    test::write_file(dir_ / "plant.xml", test::kMiniPlantModel);
  }
  // vospack [options...] ns0.xml plant.xml
  RunResult run(std::vector<std::string> options) {
    options.insert(options.end(), {"ns0.xml", "plant.xml"});
    return test::run_program(test::vospack_binary(), "vospack", options, dir_.path());
  }
  ua_file_contents read_back(const std::string& name) {
    ua_file_contents f;
    EXPECT_EQ(ua_file_read_path((dir_ / name).string().c_str(), f), 0) << name;
    return f;
  }

  test::TempDir dir_;
};

TEST_F(CliOutput, SuccessLineComesLastAndTheFileReadsBack) {
  const RunResult r = run({"-i2", "-o", "plant.bin"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.err, "");
  // The trace announces itself first; the namespace table is printed before the back end.
  EXPECT_EQ(r.out.rfind("Using file trace backend.", 0), 0u) << r.out;
  const std::size_t table = r.out.find("urn:vos:test:plant");
  ASSERT_NE(table, std::string::npos) << r.out;
  EXPECT_TRUE(ends_with(r.out, "\nSuccessfully written 'plant.bin'.\n")) << r.out;
  EXPECT_EQ(r.out.find("Selected extensions:"), std::string::npos) << "printed without -e";
  const ua_file_contents f = read_back("plant.bin");
  EXPECT_EQ(f.nodes.size(), 5u);
  ASSERT_EQ(f.models.size(), 1u);
  EXPECT_EQ(f.models[0].uri, "urn:vos:test:plant");

  // Without -o the file is "output.bin" in the working folder.
  const RunResult plain = run({"-i2"});
  ASSERT_EQ(plain.status, 0) << plain.err;
  EXPECT_TRUE(ends_with(plain.out, "\nSuccessfully written 'output.bin'.\n")) << plain.out;
  EXPECT_EQ(read_back("output.bin").nodes.size(), 5u);
}

// Every way of not getting the file written ends with the same line and status 1, after
// one line on stderr that says why.
TEST_F(CliOutput, UnwritableOutputEndsWithFailedToCreate) {
  fs::create_directory(dir_ / "folder");
  std::vector<std::pair<std::string, std::string>> targets = {
      // inside a folder that does not exist
      {"missing/plant.bin",
       "error: cannot create 'missing/plant.bin': No such file or directory\n"},
      {"folder", "error: cannot create 'folder': Is a directory\n"},
      // opens, but every write fails
      {"/dev/full", "error: cannot write '/dev/full': No space left on device\n"},
  };
  // Permissions do not stop the superuser.
  if (geteuid() != 0) {
    fs::create_directory(dir_ / "locked");
    fs::permissions(dir_ / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    targets.emplace_back("locked/plant.bin",
                         "error: cannot create 'locked/plant.bin': Permission denied\n");
  }
  for (const auto& [target, why] : targets) {
    for (const bool xml : {false, true}) {
      std::vector<std::string> options = {"-i2", "-o", target};
      if (xml) options.insert(options.begin(), "-x");
      const RunResult r = run(options);
      const std::string what = target + (xml ? " (-x)" : "");
      EXPECT_EQ(r.status, 1) << what << "\n" << r.out << r.err;
      EXPECT_EQ(r.err, why) << what;
      EXPECT_TRUE(ends_with(r.out, "\nFailed to create '" + target + "'.\n")) << what << "\n"
                                                                              << r.out;
      EXPECT_EQ(r.out.find("Successfully"), std::string::npos) << what;
    }
  }
  EXPECT_FALSE(fs::exists(dir_ / "missing"));
  EXPECT_TRUE(fs::is_directory(dir_ / "folder"));
  if (geteuid() != 0) {
    EXPECT_FALSE(fs::exists(dir_ / "locked" / "plant.bin"));
    fs::permissions(dir_ / "locked", fs::perms::owner_all);
  }
}

// A value written as a CDATA section, as models of the public repository write them,
// converts and survives -x: the ByteString with its three bytes, the String byte for byte.
TEST_F(CliOutput, CdataValuesConvertAndRoundTrip) {
  const std::string text = "<a href=\"x\">&amp; 'b' \\ ]] </a>";
  test::write_file(dir_ / "cdata.xml", R"(<?xml version="1.0" encoding="utf-8"?>
<UANodeSet xmlns="http://opcfoundation.org/UA/2011/03/UANodeSet.xsd">
  <NamespaceUris><Uri>urn:vos:test:cdata</Uri></NamespaceUris>
  <Models><Model ModelUri="urn:vos:test:cdata" Version="1.0.0" PublicationDate="2023-05-01T00:00:00Z"/></Models>
<UAVariable NodeId="ns=1;i=1" BrowseName="1:B" DataType="i=15">
  <DisplayName>B</DisplayName>
  <Value><ByteString xmlns="http://opcfoundation.org/UA/2008/02/Types.xsd"><![CDATA[AQID]]></ByteString></Value>
</UAVariable>
<UAVariable NodeId="ns=1;i=2" BrowseName="1:S" DataType="i=12">
  <DisplayName>S</DisplayName>
  <Value><String xmlns="http://opcfoundation.org/UA/2008/02/Types.xsd"><![CDATA[)" +
                                           text + R"(]]></String></Value>
</UAVariable>
</UANodeSet>
)");
  const auto vospack = [&](std::vector<std::string> args) {
    return test::run_program(test::vospack_binary(), "vospack", args, dir_.path());
  };
  const auto check_values = [&](const std::string& file) {
    const ua_file_contents f = read_back(file);
    ASSERT_EQ(f.nodes.size(), 2u) << file;
    const ua_bytestring* bytes = f.nodes[0].value.scalar<ua_bytestring>();
    ASSERT_NE(bytes, nullptr) << file;
    EXPECT_EQ(bytes->view(), std::string_view("\x01\x02\x03", 3)) << file;
    const ua_string* s = f.nodes[1].value.scalar<ua_string>();
    ASSERT_NE(s, nullptr) << file;
    EXPECT_EQ(s->view(), text) << file;
  };

  RunResult r = vospack({"-i2", "-o", "cdata.bin", "ns0.xml", "cdata.xml"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.err, "");
  check_values("cdata.bin");

  r = vospack({"-x", "-i2", "-o", "back.xml", "ns0.xml", "cdata.xml"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_NE(test::read_file(dir_ / "back.xml").find("<uax:ByteString>AQID</uax:ByteString>"),
            std::string::npos);
  r = vospack({"-i2", "-o", "back.bin", "ns0.xml", "back.xml"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  check_values("back.bin");
}

// Which extensions of a node the file holds, by id.
std::vector<uint16_t> extension_ids(const ua_file_contents& f, const ua_nodeid& id) {
  std::vector<uint16_t> ids;
  for (const ua_file_read_node& n : f.nodes)
    if (n.nodeid == id)
      for (const ua_file_extension& e : n.extensions) ids.push_back(e.id);
  return ids;
}

TEST_F(CliOutput, ExtensionSelectionIsPrintedAndApplied) {
  struct selection {
    const char* text;
    const char* printed;  // Default, Doc, XML
    bool documentation;
  };
  const selection cases[] = {
      {"doc", " Default: yes\n Doc    : yes\n XML    : no\n", true},
      {"none,doc", " Default: no\n Doc    : yes\n XML    : no\n", true},
      {"doc,none", " Default: no\n Doc    : no\n XML    : no\n", false},
      {"xml", " Default: yes\n Doc    : no\n XML    : no\n", false},
      {"all", " Default: yes\n Doc    : yes\n XML    : yes\n", true},
  };
  const ua_nodeid motor(2, 2);
  for (const selection& s : cases) {
    const RunResult r = run({"-i2", "-e", s.text, "-o", "ext.bin"});
    ASSERT_EQ(r.status, 0) << s.text << "\n" << r.err;
    // Printed when the back end starts, before its first node line.
    const std::string block =
        "\nexporting namespace with nsidx=2, uri=urn:vos:test:plant.\n"
        "Selected extensions:\n" +
        std::string(s.printed) + "Writing datatype: ";
    EXPECT_NE(r.out.find(block), std::string::npos) << s.text << "\n" << r.out;
    EXPECT_TRUE(ends_with(r.out, "\nSuccessfully written 'ext.bin'.\n")) << r.out;
    const ua_file_contents f = read_back("ext.bin");
    const std::vector<uint16_t> want =
        s.documentation ? std::vector<uint16_t>{NODEEXT_ID_DOCUMENTATION} : std::vector<uint16_t>{};
    EXPECT_EQ(extension_ids(f, motor), want) << s.text;
    ASSERT_EQ(f.file_extensions.size(), 1u);
    EXPECT_EQ(f.file_extensions[0].id, NODEEXT_ID_GENERATOR);
  }
}

}  // namespace
}  // namespace vos
