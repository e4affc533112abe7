// The installed model corpus: every NodeSet file of the model folder (sub-folders such as
// older releases are left out) with the model it declares and the models it needs, and the
// load order that puts every needed model before the models that need it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
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

}  // namespace vos::test
