// The manual pages: they format without a single groff warning and document every option
// that the personalities accept.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "support/testutil.h"

namespace vos {
namespace {

using test::RunResult;

std::string page(const char* name) {
  return std::string(VOS_SOURCE_DIR) + "/docs/man/" + name;
}

RunResult groff(const std::vector<std::string>& args) {
  test::TempDir dir;
  return test::run_program(VOS_GROFF, "groff", args, dir.path());
}

// The page as plain text.
std::string render(const char* name) {
  const RunResult r = groff({"-man", "-Tascii", "-P-c", "-P-b", "-P-u", page(name)});
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out;
}

// A tagged paragraph for the option: its tag at the start of a line.
bool documents(const std::string& text, const std::string& option) {
  return std::regex_search(
      text,
      std::regex("\n {7}" + std::regex_replace(option, std::regex("[-?]"), "\\$&") + "( |,|\n)"));
}

class ManPage : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(VOS_GROFF).empty()) GTEST_FAIL() << "groff not found: run make deps";
  }
};

TEST_F(ManPage, FormatsWithoutWarnings) {
  for (const char* name : {"vospack.1", "vosdump.1"}) {
    const RunResult r = groff({"-man", "-ww", "-z", page(name)});
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_EQ(r.err, "") << name;
  }
}

TEST_F(ManPage, VospackDocumentsEveryOptionOfBothPersonalities) {
  const std::string text = render("vospack.1");
  // Every option that a usage text lists, and the two that no usage text lists.
  for (const char* name : {"vospack", "vosgen"}) {
    test::TempDir dir;
    const RunResult usage = test::run_program(test::vospack_binary(), name, {"-h"}, dir.path());
    ASSERT_EQ(usage.status, 0);
    const std::regex option_line("(^|\n)(-[A-Za-z0-9])[: ]");
    int found = 0;
    for (auto it = std::sregex_iterator(usage.err.begin(), usage.err.end(), option_line);
         it != std::sregex_iterator(); ++it, ++found) {
      EXPECT_TRUE(documents(text, (*it)[2].str())) << name << " " << (*it)[2].str();
    }
    EXPECT_GE(found, 15) << usage.err;
  }
  for (const char* option : {"-x", "-0"}) EXPECT_TRUE(documents(text, option)) << option;

  for (const char* section : {"\nEXIT STATUS\n", "\nENVIRONMENT\n", "\nFILES\n", "\nEXAMPLES\n"})
    EXPECT_NE(text.find(section), std::string::npos) << section;
  for (const char* entry :
       {"IGNORE_VERSION_CHECK", "DATE", "REFORMAT", "trace.conf", "log.n.txt", "suppression file",
        "placeholder file", "address-mapping file", "namespace-mapping file", "255"})
    EXPECT_TRUE(documents(text, entry)) << entry;
}

TEST_F(ManPage, VosdumpDocumentsItsOptions) {
  const std::string text = render("vosdump.1");
  for (const char* option : {"-a", "--json", "--html", "-h"})
    EXPECT_TRUE(documents(text, option)) << option;
  EXPECT_NE(text.find("\nJSON OUTPUT\n"), std::string::npos);
  EXPECT_NE(text.find("\nHTML VIEW\n"), std::string::npos);
  for (const char* option : {"--diff", "--summary", "--ignore-build", "--namespace"})
    EXPECT_TRUE(documents(text, option)) << option;
  EXPECT_NE(text.find("\nCOMPARING TWO FILES\n"), std::string::npos);
}

}  // namespace
}  // namespace vos
