// Export and re-load: every installed model, exported with -x and loaded again after the
// models it needs, exports to the same document.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/corpus.h"
#include "support/testutil.h"

namespace vos {
namespace {

std::string joined(const std::vector<std::string>& args) {
  std::string s;
  for (const std::string& a : args) s += " " + a;
  return s;
}

// Runs `vospack -x -o <out> [args...]`.
test::RunResult export_run(const test::TempDir& dir, const std::string& out,
                           std::vector<std::string> args) {
  args.insert(args.begin(), {"-x", "-o", (dir / out).string()});
  return test::run_program(test::vospack_binary(), "vospack", args, dir.path());
}

class RoundTrip : public test::CorpusTest {
 protected:
  test::TempDir tmp_;
};

// Each model exported on its own (-u selects it) loads after its required models' original
// files and exports to the same bytes.
TEST_F(RoundTrip, EveryModelExportsToAFixedPoint) {
  int compared = 0;
  for (const auto& [uri, model] : corpus_.models) {
    std::vector<std::string> files = corpus_.closure(uri);
    std::vector<std::string> args = {"-u", uri};
    args.insert(args.end(), files.begin(), files.end());
    const test::RunResult first = export_run(tmp_, "first.xml", args);
    // Whether every model loads is the corpus test's matter; here only what loads counts.
    if (first.err.find("error: failed to load") != std::string::npos) continue;
    ASSERT_EQ(first.status, 0) << joined(args) << "\n" << first.err;

    files.back() = (tmp_ / "first.xml").string();
    args = {"-u", uri};
    args.insert(args.end(), files.begin(), files.end());
    const test::RunResult second = export_run(tmp_, "second.xml", args);
    ASSERT_EQ(second.status, 0) << joined(args) << "\n" << second.err;
    const std::string a = test::read_file(tmp_ / "first.xml");
    const std::string b = test::read_file(tmp_ / "second.xml");
    EXPECT_EQ(a.size(), b.size()) << model.path;
    EXPECT_TRUE(a == b) << model.path << ": the export of the export differs";
    ++compared;
  }
  EXPECT_GE(compared, 30);
}

// The whole graph exported without a selection loads on its own: namespace 0 is the first
// model, so it needs nothing else. Its nodes come back the same; the other models'
// versions do not, since a loader reads the first model declaration of a file only.
TEST_F(RoundTrip, WholeGraphLoadsOnItsOwn) {
  const std::string uri = "http://opcfoundation.org/UA/DI/";
  if (corpus_.models.count(uri) == 0) GTEST_SKIP() << "no DI model";
  const test::RunResult first = export_run(tmp_, "all.xml", corpus_.closure(uri));
  ASSERT_EQ(first.status, 0) << first.err;
  EXPECT_NE(first.out.find("Successfully written '" + (tmp_ / "all.xml").string() + "'."),
            std::string::npos);
  const test::RunResult second = export_run(tmp_, "again.xml", {(tmp_ / "all.xml").string()});
  ASSERT_EQ(second.status, 0) << second.err;
  const std::string a = test::read_file(tmp_ / "all.xml");
  const std::string b = test::read_file(tmp_ / "again.xml");
  const auto nodes_a = a.find("</Models>");
  const auto nodes_b = b.find("</Models>");
  ASSERT_NE(nodes_a, std::string::npos);
  ASSERT_NE(nodes_b, std::string::npos);
  EXPECT_GT(a.size() - nodes_a, 3000000u);
  EXPECT_TRUE(a.compare(nodes_a, std::string::npos, b, nodes_b) == 0)
      << "the nodes of the export of the export differ";
}

}  // namespace
}  // namespace vos
