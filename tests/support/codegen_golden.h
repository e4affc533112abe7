// Helpers for the tests of the C generator: the fixture folder, the file headers every
// generated file starts with, environment switches for one run, and a line-by-line
// comparison of a generated file with its expected text.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/testutil.h"

namespace vos::test {

// tests/fixtures/codegen in the source tree.
std::filesystem::path codegen_fixture_dir();

// The stand-in for namespace 0 that the generator's tests load first (addrspace/ns0.xml).
std::filesystem::path codegen_ns0_fixture();

// A model of namespace `uri` (index 2 in a run after the stand-in) that requires the
// stand-in; `body` holds its nodes. HasSubtype, HasEncoding, Organizes and Int32 are aliases.
std::string model_requiring_ns0(const std::string& uri, const std::string& body);

// The header of a C-style file (licence box, blank line, generator line) and of a
// hash-style file (the CMake lists), both for the given DATE text.
std::string c_file_header(std::string_view date);
std::string hash_file_header(std::string_view date);

// Sets (or, with no value, removes) one environment variable for the life of the object;
// the executables started meanwhile inherit it.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, std::optional<std::string> value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

// Compares `actual` line by line with `expected`. Expected lines are literal, except:
//   "?"      any number of blank lines (also none): where the layout leaves blank lines open;
//   "@@"     any number of lines, up to the first that matches the next expected line;
//   "~text"  one line that contains `text`: where indentation and punctuation are open.
// Returns an empty string on a match, else the first difference with both texts.
std::string compare_lines(std::string_view expected, std::string_view actual);

// vosgen with the given arguments in `cwd`.
RunResult run_vosgen(const std::vector<std::string>& args, const std::filesystem::path& cwd);

// The regular files below `root`, as sorted relative paths with '/' separators.
std::vector<std::string> list_files(const std::filesystem::path& root);

}  // namespace vos::test
