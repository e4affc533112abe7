// The dump tool on files that the real converter wrote, whole and damaged, and its JSON
// form read back by Python's json module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/mini_models.h"
#include "support/testutil.h"
#include "tools/vospack/filewriter.h"
#include "tools/vospack/uagraph.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

fs::path vosdump_binary() {
  return fs::path(VOS_BIN_DIR) / "vosdump";
}

// Runs the JSON checker script (tests/vosdump_json_check.py) with `args`.
RunResult json_check(const std::vector<std::string>& args, const fs::path& cwd) {
  std::vector<std::string> all = {std::string(VOS_SOURCE_DIR) + "/tests/vosdump_json_check.py"};
  all.insert(all.end(), args.begin(), args.end());
  return test::run_program(VOS_PYTHON3, "python3", all, cwd);
}

class VosDump : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(vosdump_binary())) GTEST_SKIP() << "vosdump is not built";
    test::write_file(dir_ / "ns0.xml", test::kMiniBaseModel);
    test::write_file(dir_ / "plant.xml", test::kMiniPlantModel);
    const RunResult r =
        test::run_program(test::vospack_binary(), "vospack",
                          {"-i2", "-o", "plant.bin", "ns0.xml", "plant.xml"}, dir_.path());
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    bytes_ = test::read_file(dir_ / "plant.bin");
  }
  RunResult dump(const std::vector<std::string>& args) {
    return test::run_program(vosdump_binary(), "vosdump", args, dir_.path());
  }
  // Writes a damaged copy of the file and dumps it.
  RunResult dump_damaged(const std::string& bytes) {
    test::write_file(dir_ / "bad.bin", bytes);
    return dump({"bad.bin"});
  }

  test::TempDir dir_;
  std::string bytes_;
};

TEST_F(VosDump, SummaryOfAConvertedModel) {
  const RunResult r = dump({"plant.bin"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const auto has = [&r](const std::string& text) { return r.out.find(text) != std::string::npos; };
  EXPECT_EQ(
      r.out.rfind("File: plant.bin\nFormat: 1.9, created 2023-05-01T00:00:00Z, checksum 0x", 0), 0u)
      << r.out;
  EXPECT_TRUE(has("Extension URIs: 1\n  extension://velmora\nFile extensions: 1\n  uri=0 id=3 "))
      << r.out;
  // The model and the base model it requires; the server namespace is never a dependency.
  EXPECT_TRUE(
      has("Namespaces: 1 model, 1 dependency\n  model ns=2 urn:vos:test:plant "
          "version=1.0.0 published=2023-05-01T00:00:00Z"))
      << r.out;
  EXPECT_TRUE(
      has("  dependency ns=0 http://opcfoundation.org/UA/ version=1.05.03 "
          "published=2023-01-01T00:00:00Z"))
      << r.out;
  EXPECT_TRUE(
      has("Totals:\n"
          "  DataType       1\n"
          "  ObjectType     1\n"
          "  Variable       1\n"
          "  Object         1\n"
          "  Method         1\n"
          "  references     6\n"
          "  numeric ids    5\n"
          "String table '': "))
      << r.out;
  EXPECT_TRUE(has("\nReferences: 6\n")) << r.out;

  // -a adds every record: the cross-reference from the base model is among the references.
  const RunResult all = dump({"plant.bin", "-a"});
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(all.out.rfind(r.out, 0), 0u);
  EXPECT_NE(all.out.find("\nStrings:\n  0: \n"), std::string::npos) << all.out;
  EXPECT_NE(all.out.find("bn=2:Motor1 dn=Motor 1"), std::string::npos) << all.out;
  EXPECT_NE(all.out.find("  i=85 -> ns=2;i=2: i=35\n"), std::string::npos) << all.out;
}

TEST_F(VosDump, DamagedFilesFailWithAClearMessage) {
  ASSERT_GT(bytes_.size(), 40u);
  struct damage {
    const char* what;
    std::string bytes;
  };
  std::string flipped = bytes_;
  flipped[bytes_.size() / 2] = static_cast<char>(flipped[bytes_.size() / 2] ^ 0x20);
  const std::vector<damage> cases = {
      {"a changed byte", flipped},
      {"a cut file", bytes_.substr(0, bytes_.size() - 9)},
      {"no checksum", bytes_.substr(0, bytes_.size() - 4)},
      {"an empty file", ""},
      {"another file type", "<?xml version=\"1.0\"?><UANodeSet/>"},
  };
  for (const damage& d : cases) {
    const RunResult r = dump_damaged(d.bytes);
    EXPECT_NE(r.status, 0) << d.what;
    EXPECT_LT(r.status, 128) << d.what << ": ended by a signal";
    EXPECT_EQ(r.out, "") << d.what;
    EXPECT_EQ(r.err.rfind("error: cannot read 'bad.bin': ", 0), 0u) << d.what << ": " << r.err;
    EXPECT_TRUE(!r.err.empty() && r.err.back() == '\n') << d.what;
  }

  const RunResult missing = dump({"nothere.bin"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err.rfind("error: cannot read 'nothere.bin': ", 0), 0u) << missing.err;

  // --json reads the file the same way: the same message, status and empty output.
  for (const damage& d : cases) {
    test::write_file(dir_ / "bad.bin", d.bytes);
    const RunResult r = dump({"--json", "bad.bin"});
    EXPECT_EQ(r.status, 1) << d.what;
    EXPECT_EQ(r.out, "") << d.what;
    EXPECT_EQ(r.err, dump_damaged(d.bytes).err) << d.what;
  }

  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {}, {"plant.bin", "other.bin"}, {"-x", "plant.bin"}, {"--json", "-a", "plant.bin"}}) {
    const RunResult usage = dump(args);
    EXPECT_EQ(usage.status, 1);
    EXPECT_EQ(usage.out, "");
    EXPECT_EQ(usage.err, "usage: vosdump FILE [-a | --json | --html OUT.html]\n");
  }
}

// The page of --html: model texts reach the data blocks only as JSON escapes that cannot end
// a block or open markup; a file that does not load or a page that cannot be written
// leaves no page behind.
TEST_F(VosDump, HtmlPageKeepsModelTextOutOfMarkup) {
  std::string model(test::kMiniPlantModel);
  const std::string name = "<DisplayName>Motor 1</DisplayName>";
  model.replace(
      model.find(name), name.size(),
      "<DisplayName>&lt;/script&gt;&lt;b&gt; &amp; \xe2\x80\xa8 \xe2\x80\xa9</DisplayName>");
  test::write_file(dir_ / "hostile.xml", model);
  ASSERT_EQ(
      test::run_program(test::vospack_binary(), "vospack",
                        {"-q", "-i2", "-o", "hostile.bin", "ns0.xml", "hostile.xml"}, dir_.path())
          .status,
      0);
  const RunResult r = dump({"--html", "page.html", "hostile.bin"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out + r.err, "");
  const std::string page = test::read_file(dir_ / "page.html");
  // The data blocks: the file, then the details of its nodes.
  const std::string open = "<script type=\"application/json\"";
  std::string data;
  int blocks = 0;
  for (std::size_t from = page.find(open); from != std::string::npos;
       from = page.find(open, from + 1), ++blocks) {
    const std::size_t start = page.find('>', from) + 1;
    const std::size_t to = page.find("</script>", start);
    ASSERT_NE(to, std::string::npos);
    data += page.substr(start, to - start);
  }
  EXPECT_EQ(blocks, 2);
  EXPECT_EQ(data.find_first_of("<>&"), std::string::npos) << data;
  EXPECT_EQ(data.find("\xe2\x80\xa8"), std::string::npos);
  EXPECT_EQ(data.find("\xe2\x80\xa9"), std::string::npos);
  EXPECT_NE(data.find(R"("\u003c/script\u003e\u003cb\u003e \u0026 \u2028 \u2029")"),
            std::string::npos)
      << data;
  EXPECT_NE(data.find(R"("nodes":[)"), std::string::npos);
  EXPECT_NE(data.find(R"("v":{"type": "Int32", "value": 42})"), std::string::npos) << data;
  EXPECT_NE(
      page.find("Content-Security-Policy\" content=\"default-src 'none'; script-src 'sha256-"),
      std::string::npos);

  test::write_file(dir_ / "bad.bin", bytes_.substr(0, bytes_.size() - 9));
  const RunResult bad = dump({"--html", "bad.html", "bad.bin"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err.rfind("error: cannot read 'bad.bin': ", 0), 0u) << bad.err;
  EXPECT_FALSE(fs::exists(dir_ / "bad.html"));
  const RunResult unwritable = dump({"--html", "nodir/page.html", "plant.bin"});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_EQ(unwritable.err, "error: cannot write 'nodir/page.html': No such file or directory\n");
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"plant.bin", "--html"},
                                             {"--html", "p.html", "--json", "plant.bin"},
                                             {"-a", "--html", "p.html", "plant.bin"},
                                             {"--html", "", "plant.bin"}}) {
    EXPECT_EQ(dump(args).err, "usage: vosdump FILE [-a | --json | --html OUT.html]\n");
  }
}

// The JSON document holds what the text dump shows: the checker renders the text of
// `vosdump -a` from the parsed document and compares the two byte for byte.
TEST_F(VosDump, JsonMatchesTheRecordDump) {
  RunResult r = json_check({"compare", vosdump_binary().string(), "plant.bin"}, dir_.path());
  EXPECT_EQ(r.status, 0) << r.out << r.err;

  const RunResult json = dump({"--json", "plant.bin"});
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.err, "");
  EXPECT_NE(json.out.find("\"value\": {\"type\": \"Int32\", \"value\": 42}"), std::string::npos)
      << json.out;

  // Every value type and definition of the real namespace-0 and DI models.
  const fs::path models = test::nodeset_dir();
  if (models.empty()) GTEST_SKIP() << "models not installed";
  const RunResult conv = test::run_program(
      test::vospack_binary(), "vospack",
      {"-q", "-i0", "-i2", "-o", "di.bin", (models / "Opc.Ua.NodeSet2.xml").string(),
       (models / "Opc.Ua.Di.NodeSet2.xml").string()},
      dir_.path());
  ASSERT_EQ(conv.status, 0) << conv.err;
  r = json_check({"compare", vosdump_binary().string(), "di.bin"}, dir_.path());
  EXPECT_EQ(r.status, 0) << r.out << r.err;
}

// Strings keep their exact bytes through the JSON text (control characters, invalid UTF-8,
// a NUL), and every value type has its documented form.
TEST(VosDumpJson, StringsAndValuesRoundTrip) {
  test::TempDir dir;
  const std::vector<std::string> strings = {
      "",
      "Speed",
      "tab\tline\nquote\"back\\",
      std::string("\x01\x1f\x7f"),
      "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
      "bad\xe9",
      "\xed\xa0\x80",      // an encoded surrogate
      "\xf4\x90\x80\x80",  // above U+10FFFF
      "\xc0\xaf",          // overlong
      "cut\xe2\x82",
      std::string("nul\0in", 6),
  };
  ua_guid guid{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
  ua_extensionobject eo;
  eo.encoding_id() = ua_nodeid(0, 300);
  eo.set_encoded(ua_extensionobject_body::binary, ua_bytestring(std::string_view("\x01\x02", 2)));
  std::vector<ua_variant> values;
  values.push_back(ua_variant::scalar_of(true));
  values.push_back(ua_variant::scalar_of(int8_t{-5}));
  values.push_back(ua_variant::scalar_of(uint16_t{60000}));
  values.push_back(ua_variant::scalar_of(uint32_t{4000000000u}));
  values.push_back(ua_variant::scalar_of(std::numeric_limits<int64_t>::min()));
  values.push_back(ua_variant::scalar_of(std::numeric_limits<uint64_t>::max()));
  values.push_back(ua_variant::scalar_of(0.1f));
  values.push_back(ua_variant::scalar_of(std::nan("")));
  values.push_back(ua_variant::scalar_of(-HUGE_VAL));
  values.push_back(ua_variant::scalar_of(1e300));
  values.push_back(ua_variant::scalar_of(ua_string(strings[2])));
  values.push_back(ua_variant::scalar_of(ua_datetime{133273728000000000}));
  values.push_back(ua_variant::scalar_of(guid));
  values.push_back(ua_variant::scalar_of(ua_bytestring(std::string_view("\x00\x01\x02\xff", 4))));
  values.push_back(ua_variant::scalar_of(ua_nodeid::make_string(2, "x")));
  values.push_back(ua_variant::scalar_of(ua_statuscode{0x80000000u}));
  values.push_back(ua_variant::scalar_of(ua_qualifiedname{2, ua_string("Name")}));
  values.push_back(ua_variant::scalar_of(ua_localizedtext{ua_string("en"), ua_string("Hi")}));
  values.push_back(ua_variant::scalar_of(eo));
  ua_variant matrix;
  const std::span<int32_t> cells = matrix.set_array<int32_t>(4);
  for (int32_t i = 0; i < 4; ++i) cells[static_cast<std::size_t>(i)] = i + 1;
  const int32_t dims[] = {2, 2};
  matrix.set_dimensions(dims);
  values.push_back(matrix);
  ua_variant texts;
  const std::span<ua_string> items = texts.set_array<ua_string>(2);
  items[0] = ua_string("a");
  items[1] = ua_string("\xff");
  values.push_back(texts);

  ua_file_writer w;
  ASSERT_EQ(w.create_string_tables(static_cast<uint32_t>(strings.size()), ""), 0);
  for (std::size_t i = 0; i < strings.size(); ++i)
    ASSERT_EQ(w.set_string(0, static_cast<uint32_t>(i), strings[i]), 0);
  w.totals()[UA_FILE_TOTAL_VARIABLE] = static_cast<uint32_t>(values.size());
  const fs::path file = dir / "values.bin";
  ASSERT_EQ(w.open(file.c_str()), 0);
  std::vector<ua_nodeid> ids;
  for (std::size_t i = 0; i < values.size(); ++i) ids.emplace_back(1, static_cast<uint32_t>(i));
  for (std::size_t i = 0; i < values.size(); ++i) {
    ua_file_node n;
    n.reset(UA_NODECLASS_VARIABLE);
    n.flags = UA_FILE_NODE_DISPLAYNAME | UA_FILE_VAR_VALUE;
    n.nodeid = &ids[i];
    n.browse_ns = 1;
    n.browse_name = 1;
    n.display_name = static_cast<uint32_t>(i % strings.size());
    n.value = &values[i];
    ASSERT_EQ(w.write_node(n), 0) << i;
  }
  ASSERT_EQ(w.close(), 0);

  RunResult r = json_check({"compare", vosdump_binary().string(), file.string()}, dir.path());
  EXPECT_EQ(r.status, 0) << r.out << r.err;

  const RunResult json =
      test::run_program(vosdump_binary(), "vosdump", {"--json", file.string()}, dir.path());
  ASSERT_EQ(json.status, 0) << json.err;
  test::write_file(dir / "values.json", json.out);
  r = json_check({"show", "values.json"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  std::string expected;
  for (const std::string& s : strings) {
    expected += "string ";
    for (const char c : s) {
      static constexpr char kHex[] = "0123456789abcdef";
      expected += kHex[static_cast<uint8_t>(c) >> 4];
      expected += kHex[static_cast<uint8_t>(c) & 15];
    }
    expected += "\n";
  }
  const char* const kValues[] = {
      R"({"type": "Boolean", "value": true})",
      R"({"type": "SByte", "value": -5})",
      R"({"type": "UInt16", "value": 60000})",
      R"({"type": "UInt32", "value": 4000000000})",
      R"({"type": "Int64", "value": "-9223372036854775808"})",
      R"({"type": "UInt64", "value": "18446744073709551615"})",
      R"({"type": "Float", "value": 0.1})",
      R"({"type": "Double", "value": "NaN"})",
      R"({"type": "Double", "value": "-Infinity"})",
      R"({"type": "Double", "value": 1e+300})",
      R"({"type": "String", "value": "tab\tline\nquote\"back\\"})",
      R"({"type": "DateTime", "value": "2023-05-01T00:00:00Z"})",
      R"({"type": "Guid", "value": "01020304-0506-0708-090a-0b0c0d0e0f10"})",
      R"({"type": "ByteString", "value": "AAEC/w=="})",
      R"({"type": "NodeId", "value": "ns=2;s=x"})",
      R"({"type": "StatusCode", "value": 2147483648})",
      R"({"type": "QualifiedName", "value": {"name": "Name", "ns": 2}})",
      R"({"type": "LocalizedText", "value": {"locale": "en", "text": "Hi"}})",
      R"({"type": "ExtensionObject", "value": {"body": "AQI=", "encoding": "i=300"}})",
      R"({"array": [1, 2, 3, 4], "dimensions": [2, 2], "type": "Int32"})",
      R"({"array": ["a", "\udcff"], "type": "String"})",
  };
  ASSERT_EQ(std::size(kValues), values.size());
  for (std::size_t i = 0; i < values.size(); ++i)
    expected += "value ns=1;i=" + std::to_string(i) + " " + kValues[i] + "\n";
  EXPECT_EQ(r.out, expected);
}

}  // namespace
}  // namespace vos
