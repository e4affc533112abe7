// Every installed model loads with the real executable, after the models it needs.
#include "support/corpus.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;

using Corpus = test::CorpusTest;

TEST_F(Corpus, EveryModelLoadsAfterItsDependencies) {
  test::TempDir tmp;
  for (const auto& [uri, model] : corpus_.models) {
    const std::vector<std::string> order = corpus_.closure(uri);

    const test::RunResult r =
        test::run_program(test::vospack_binary(), "vospack", order, tmp.path());
    std::string files;
    for (const std::string& f : order) files += " " + f;
    const auto known = test::corpus_load_failures().find(model.path.filename().string());
    if (known != test::corpus_load_failures().end()) {
      EXPECT_NE(r.err.find(known->second), std::string::npos) << files << "\n" << r.err;
      EXPECT_NE(r.err.find("error: failed to load '" + order.back() + "'"), std::string::npos);
      continue;
    }
    EXPECT_EQ(r.err.find("error: failed to load"), std::string::npos) << files << "\n" << r.err;
    // Only a run that loaded every file goes on to the back end.
    EXPECT_TRUE(r.out.find("Failed to create 'output.bin'.") != std::string::npos ||
                r.out.find("Successfully written 'output.bin'.") != std::string::npos)
        << files << "\n"
        << r.out;
  }
}

}  // namespace
}  // namespace vos
