// The dump tool on files that the real converter wrote, whole and damaged.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/mini_models.h"
#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

fs::path vosdump_binary() {
  return fs::path(VOS_BIN_DIR) / "vosdump";
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

  const RunResult usage = dump({});
  EXPECT_EQ(usage.status, 1);
  EXPECT_EQ(usage.err, "usage: vosdump FILE [-a]\n");
}

}  // namespace
}  // namespace vos
