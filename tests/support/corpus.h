// The installed model corpus: every NodeSet file of the model folder (sub-folders such as
// older releases are left out) with the model it declares and the models it needs, and the
// load order that puts every needed model before the models that need it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vos::test {

struct corpus_model {
  std::filesystem::path path;
  // Model URIs this file requires, then the namespaces it lists (a file may use nodes of a
  // namespace without requiring its model).
  std::vector<std::string> needs;
};

// The models of the folder by model URI; files that cannot be parsed or declare no model
// are left out, and listed in `skipped` when it is given.
std::map<std::string, corpus_model> corpus_scan(
    const std::filesystem::path& dir, std::vector<std::filesystem::path>* skipped = nullptr);

// The files of the model `uri` and of every model it needs, transitively, in load order
// (the model itself last). Needed URIs that no file of the corpus declares are skipped.
std::vector<std::string> corpus_closure(const std::map<std::string, corpus_model>& models,
                                        const std::string& uri);

// The installed corpus, scanned once per test program.
struct corpus {
  std::filesystem::path dir;  // empty when the models are not installed
  std::map<std::string, corpus_model> models;
  std::vector<std::filesystem::path> skipped;  // files that declare no model

  // The files of the model `uri` and of what it needs, in load order.
  std::vector<std::string> closure(const std::string& uri) const {
    return corpus_closure(models, uri);
  }
  // A file of the model folder by name.
  std::string file(std::string_view name) const { return (dir / name).string(); }
};
const corpus& installed_corpus();

// Models that refer to nodes that no installed model defines, by file name: their load
// ends with this message of the loader.
const std::map<std::string, std::string>& corpus_load_failures();

// The fixture of the corpus tests: skips when the models are not installed, fails when the
// corpus is not whole (fewer than 30 models, or a file without its model declaration).
class CorpusTest : public ::testing::Test {
 protected:
  void SetUp() override;
  const corpus& corpus_ = installed_corpus();
};

}  // namespace vos::test
