// Every output of the real executable on the installed model corpus stays byte for byte what
// it was when tests/corpus_digests.txt was written: for each model (after the models it
// needs) the binary file of its namespace and the NodeSet export of it with the address-space
// print, and for two groups of models a conversion of every namespace with every extension
// and an export of the whole graph. The list holds the MD5 digests of the written file, of
// stdout and of stderr and the exit status of each run, and the digests of the model files.
//
// The list is ours: when a change of the output is intended, write it again with
// tools/update_corpus_digests.sh (or VOS_UPDATE_DIGESTS=1 and this test) and review its diff.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/corpus.h"
#include "support/testutil.h"
#include "util/md5.h"

namespace vos {
namespace {

namespace fs = std::filesystem;

// Inside the scratch folder the models are reached through this link, so that the file
// names in messages are the same wherever the corpus is installed.
constexpr const char* kModelLink = "models";
// A run may map at most 32 namespaces; the groups stay below.
constexpr std::size_t kGroupUris = 30;

fs::path digest_list() {
  return fs::path(VOS_SOURCE_DIR) / "tests" / "corpus_digests.txt";
}

std::string hex_of(const std::string& bytes) {
  return md5_hex(md5(bytes));
}

// The list: "<key> <value>" lines under a comment header, the key being "<model> <run>".
using digest_map = std::map<std::string, std::string>;

digest_map parse_list(const std::string& text) {
  digest_map m;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    const std::size_t second = line.find(' ', line.find(' ') + 1);
    if (second == std::string::npos) continue;
    m[line.substr(0, second)] = line.substr(second + 1);
  }
  return m;
}

std::string format_list(const digest_map& m) {
  std::string text =
      "# MD5 digests of the converter's outputs on the model corpus (tests/corpus_digest_test).\n"
      "# <model> input <digest of the model file>\n"
      "# <model|group> <run> status=<exit status> file=<written file or -> out=<stdout> "
      "err=<stderr>\n"
      "# Written by tools/update_corpus_digests.sh; review the diff before committing it.\n";
  for (const auto& [key, value] : m) text += key + " " + value + "\n";
  return text;
}

class CorpusDigest : public test::CorpusTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(CorpusTest::SetUp());
    if (!IsSkipped()) fs::create_directory_symlink(corpus_.dir, tmp_ / kModelLink);
  }

  // The model files of `uri` and what it needs, in load order, as named through the link.
  std::vector<std::string> closure(const std::string& uri) const {
    std::vector<std::string> files;
    for (const std::string& f : corpus_.closure(uri))
      files.push_back((fs::path(kModelLink) / fs::path(f).filename()).string());
    return files;
  }

  // Runs vospack with `options` then `files`; enters the outcome under `key`.
  void run(const std::string& key, std::vector<std::string> options,
           const std::vector<std::string>& files, const std::string& output) {
    fs::remove(tmp_ / output);
    const std::vector<std::string> shown = options;
    options.insert(options.end(), files.begin(), files.end());
    const test::RunResult r =
        test::run_program(test::vospack_binary(), "vospack", options, tmp_.path());
    const bool written = fs::exists(tmp_ / output) && output != "/dev/null";
    got_[key] = "status=" + std::to_string(r.status) +
                " file=" + (written ? hex_of(test::read_file(tmp_ / output)) : "-") +
                " out=" + hex_of(r.out) + " err=" + hex_of(r.err);
    std::string command = "vospack";
    for (const std::string& a : options) command += " " + a;
    commands_[key] = command;
    if (written) fs::remove(tmp_ / output);
  }

  const std::map<std::string, test::corpus_model>& models_ = corpus_.models;
  test::TempDir tmp_;
  digest_map got_;
  std::map<std::string, std::string> commands_;
};

TEST_F(CorpusDigest, OutputsMatchTheCommittedDigests) {
  // Per model: the inputs, the conversion of its namespace, its export with the print.
  std::vector<std::string> converted;  // URIs of models whose conversion succeeded
  for (const auto& [uri, model] : models_) {
    const std::string name = model.path.filename().string();
    got_[name + " input"] = hex_of(test::read_file(model.path));
    const std::vector<std::string> files = closure(uri);
    run(name + " convert", {"-u", uri, "-o", "model.bin"}, files, "model.bin");
    run(name + " export", {"-p", "-x", "-u", uri, "-o", "model.xml"}, files, "model.xml");
    if (got_[name + " convert"].starts_with("status=0 ")) converted.push_back(uri);
  }

  // Groups of the models that convert, each with as many models as keep it below the
  // namespace limit: every namespace with every extension, and the whole graph exported.
  std::map<fs::path, std::string> uri_of;
  for (const auto& [uri, model] : models_) uri_of[model.path.filename()] = uri;
  std::vector<std::vector<std::string>> groups;
  std::set<std::string> uris;  // the namespaces of the last group
  for (const std::string& uri : converted) {
    std::set<std::string> own;
    for (const std::string& f : closure(uri)) {
      const std::string& u = uri_of.at(fs::path(f).filename());
      own.insert(u);
      own.insert(models_.at(u).needs.begin(), models_.at(u).needs.end());
    }
    std::set<std::string> more = uris;
    more.insert(own.begin(), own.end());
    if (groups.empty() || more.size() > kGroupUris) {
      groups.emplace_back();
      more = own;
    }
    uris = std::move(more);
    std::vector<std::string>& g = groups.back();
    for (const std::string& f : closure(uri))
      if (std::find(g.begin(), g.end(), f) == g.end()) g.push_back(f);
  }
  EXPECT_GE(groups.size(), 2u);
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const std::string name = "group" + std::to_string(i + 1);
    run(name + " convert-all", {"-a", "-e", "all", "-o", "group.bin"}, groups[i], "group.bin");
    run(name + " export-all", {"-x", "-o", "group.xml"}, groups[i], "group.xml");
  }

  const char* update = std::getenv("VOS_UPDATE_DIGESTS");
  if (update != nullptr && update[0] != '\0') {
    // "1" or "all": every entry; else a ','-separated list of the models (first words of
    // the keys) whose entries are written again, the others kept as they are.
    const std::string which(update);
    const bool every = which == "1" || which == "all";
    digest_map list = every ? digest_map{} : parse_list(test::read_file(digest_list()));
    for (const auto& [key, value] : got_) {
      const std::string model = key.substr(0, key.find(' '));
      if (every || ("," + which + ",").find("," + model + ",") != std::string::npos)
        list[key] = value;
    }
    test::write_file(digest_list(), format_list(list));
    GTEST_SKIP() << "wrote " << digest_list();
  }

  ASSERT_TRUE(fs::exists(digest_list())) << digest_list() << " is missing";
  const digest_map want = parse_list(test::read_file(digest_list()));
  for (const auto& [key, value] : want) {
    const auto it = got_.find(key);
    if (it == got_.end()) {
      ADD_FAILURE() << key << ": in the list, but not run (a model left the corpus?)";
    } else if (key.ends_with(" input")) {
      EXPECT_EQ(it->second, value) << key << ": the model file changed; the list needs writing "
                                   << "again (tools/update_corpus_digests.sh)";
    } else {
      EXPECT_EQ(it->second, value) << key << ": the outputs changed\n  " << commands_[key]
                                   << "\n  (run where models/ links to the model folder)";
    }
  }
  for (const auto& [key, value] : got_)
    EXPECT_TRUE(want.count(key) != 0) << key << ": not in the list (a new model?)";
}

}  // namespace
}  // namespace vos
