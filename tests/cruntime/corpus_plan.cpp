// Prints, for every model of the installed corpus but namespace 0, what a generator run
// over it needs, one tab-separated line per model: the file name, the model URI, the files
// to load in order (blank-separated, the model last), then every model URI of those files
// except namespace 0's, the model's own last. The compile test of generated trees reads it.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "support/corpus.h"

namespace {

constexpr const char* kNs0Uri = "http://opcfoundation.org/UA/";

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <model folder>\n", argv[0]);
    return 2;
  }
  const auto models = vos::test::corpus_scan(argv[1]);
  std::map<std::string, std::string> uri_of;  // file path -> model URI
  for (const auto& [uri, model] : models) uri_of[model.path.string()] = uri;
  for (const auto& [uri, model] : models) {
    if (uri == kNs0Uri) continue;
    const std::vector<std::string> files = vos::test::corpus_closure(models, uri);
    std::string line = model.path.filename().string() + "\t" + uri + "\t";
    for (std::size_t i = 0; i < files.size(); ++i) line += (i == 0 ? "" : " ") + files[i];
    for (const std::string& f : files) {
      const std::string& u = uri_of[f];
      if (u != kNs0Uri) line += "\t" + u;
    }
    std::printf("%s\n", line.c_str());
  }
  return 0;
}
