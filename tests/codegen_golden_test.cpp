// The C generator's output for a small model of every kind of node and data type, compared
// line by line with texts written by hand (tests/fixtures/codegen/expected): with -N (types
// only, one CMake list per namespace), with -c (client side, a namespace-mapping file and
// the top-level CMake list) and for namespace 0 itself with -0.
#include "support/codegen_golden.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

constexpr const char* kDate = "2000-01-01";

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

bool is_c_file(const fs::path& p) {
  return p.extension() == ".c" || p.extension() == ".h";
}

class CodegenGolden : public ::testing::Test {
 protected:
  void SetUp() override {
    ns0_ = (test::codegen_fixture_dir() / "ns0.xml").string();
    golden_ = (test::codegen_fixture_dir() / "golden.xml").string();
  }

  RunResult run(const std::vector<std::string>& args) {
    test::ScopedEnv date("DATE", kDate);
    test::ScopedEnv reformat("REFORMAT", std::nullopt);
    return test::run_vosgen(args, dir_.path());
  }

  // Compares out/<subdir>/<name> with expected/<expected_subdir>/<name>, the expected text
  // behind the file header and with @NSIDX@ replaced.
  void expect_file(const std::string& out_name, const std::string& expected_name,
                   const std::string& nsidx) {
    const fs::path expected_path = test::codegen_fixture_dir() / "expected" / expected_name;
    const fs::path actual_path = dir_ / "out" / out_name;
    ASSERT_TRUE(fs::exists(expected_path)) << expected_path;
    if (!fs::exists(actual_path)) {
      ADD_FAILURE() << out_name << " was not written";
      return;
    }
    const std::string header =
        is_c_file(actual_path) ? test::c_file_header(kDate) : test::hash_file_header(kDate);
    const std::string expected =
        header + replace_all(test::read_file(expected_path), "@NSIDX@", nsidx);
    const std::string diff = test::compare_lines(expected, test::read_file(actual_path));
    if (!diff.empty()) ADD_FAILURE() << "out/" << out_name << ": " << diff;
  }

  // Every file of expected/<expected_subdir> against out/<out_subdir>; `skip` names files
  // that this run must not write.
  void expect_tree(const std::string& out_subdir, const std::string& expected_subdir,
                   const std::string& nsidx, const std::vector<std::string>& skip) {
    for (const std::string& name :
         test::list_files(test::codegen_fixture_dir() / "expected" / expected_subdir)) {
      bool skipped = false;
      for (const std::string& s : skip) skipped = skipped || s == name;
      if (skipped) {
        EXPECT_FALSE(fs::exists(dir_ / "out" / out_subdir / name)) << name;
        continue;
      }
      expect_file(out_subdir + "/" + name, expected_subdir + "/" + name, nsidx);
    }
  }

  test::TempDir dir_;
  std::string ns0_;
  std::string golden_;
};

std::vector<std::string> with_prefix(const std::string& prefix, std::vector<std::string> names) {
  for (std::string& n : names) n = prefix + n;
  return names;
}

TEST_F(CodegenGolden, TypesOnlyTree) {
  const RunResult r = run({"-N", "-u", "urn:golden;gd", "-o", "out", ns0_, golden_});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_NE(r.out.find("\nSuccessfully generated C code into 'out'.\n"), std::string::npos)
      << r.out;
  expect_tree("gd", "gd", "2", {});
  // Exactly the expected files: no static address space, no top-level CMake list, nothing
  // for namespace 0.
  EXPECT_EQ(test::list_files(dir_ / "out"),
            with_prefix("gd/", test::list_files(test::codegen_fixture_dir() / "expected" / "gd")));
}

TEST_F(CodegenGolden, ClientOnlyTreeUsesTheMappedIndex) {
  test::write_file(dir_ / "mapping.txt", "# index;uri\n7;urn:golden\n");
  const RunResult r = run(
      {"-c", "mapping.txt", "-n", "golden_lib", "-u", "urn:golden;gd", "-o", "out", ns0_, golden_});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_NE(r.out.find("\nSuccessfully generated C code into 'out'.\n"), std::string::npos)
      << r.out;
  expect_tree("gd", "gd", "7", {"CMakeLists.txt"});
  expect_file("CMakeLists.txt", "top/CMakeLists.txt", "7");
  std::vector<std::string> files;
  for (const std::string& name :
       test::list_files(test::codegen_fixture_dir() / "expected" / "gd")) {
    if (name != "CMakeLists.txt") files.push_back("gd/" + name);
  }
  files.insert(files.begin(), "CMakeLists.txt");
  EXPECT_EQ(test::list_files(dir_ / "out"), files);
}

// Both namespaces in one client-side tree: the type sources of all namespaces in graph order,
// then the type tables and identifier headers namespace by namespace in table order.
TEST_F(CodegenGolden, ClientOnlyTreeWithNamespaceZeroListsBothNamespaces) {
  test::write_file(dir_ / "mapping.txt", "7;urn:golden\n");
  const RunResult r = run(
      {"-c", "mapping.txt", "-0", "-i", "0", "-u", "urn:golden;gd", "-o", "out", ns0_, golden_});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  const std::vector<std::string> types = {
      "colour", "level",   "mask64", "mask8",        "mask16",          "mask32",
      "base",   "derived", "choice", "withoptional", "derivedoptional", "flags"};
  std::string expected = test::hash_file_header(kDate) + "project(mymodel C)\n@@\nset(SOURCES\n";
  expected += "    ns0/settingdatatype.c\n";
  for (const std::string& t : types) expected += "    gd/" + t + ".c\n";
  expected += "    ns0/type_table.c\n    gd/type_table.c\n)\n\nset(HEADERS\n";
  expected += "    ns0/settingdatatype.h\n";
  for (const std::string& t : types) expected += "    gd/" + t + ".h\n";
  expected +=
      "    ns0/identifier.h\n    ns0/type_identifier.h\n    ns0/type_table.h\n"
      "    gd/identifier.h\n    gd/type_identifier.h\n    gd/type_table.h\n)\n\n"
      "add_library(${PROJECT_NAME} ${SOURCES} ${HEADERS})\n@@\ninstall_pdb_files()\n";
  const std::string diff =
      test::compare_lines(expected, test::read_file(dir_ / "out" / "CMakeLists.txt"));
  if (!diff.empty()) ADD_FAILURE() << "out/CMakeLists.txt: " << diff;
  EXPECT_TRUE(fs::exists(dir_ / "out" / "ns0" / "settingdatatype.h"));
}

// Namespace 0 generated for itself: -i 0 gives it the prefix ns0; its structure's field
// names are snake case (IsDefault gives is_default) and its type identifier names keep UA_.
TEST_F(CodegenGolden, NamespaceZeroWithItsOwnSwitch) {
  const RunResult r = run({"-N", "-0", "-i", "0", "-o", "out", ns0_});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  expect_tree("ns0", "ns0", "0", {});
  EXPECT_EQ(
      test::list_files(dir_ / "out"),
      with_prefix("ns0/", test::list_files(test::codegen_fixture_dir() / "expected" / "ns0")));
}

}  // namespace
}  // namespace vos
