// The compiled-in address space seen by a runtime: builds the generated namespace sources of
// a tree with the test runtime (tests/cruntime/server) into a program, runs it, and compares
// what it prints with the address space of a binary file written by vospack for the same
// inputs and selection.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/vospack/filereader.h"

namespace vos::test {

// The C compilers of the machine (empty when missing).
std::filesystem::path system_cc();
std::filesystem::path gcc_path();
std::filesystem::path clang_path();

// tests/cruntime in the source tree.
std::filesystem::path cruntime_dir();

// The usual flags: C99, all warnings as errors, and the runtime's include folders with the
// tree's own folder.
std::vector<std::string> runtime_cflags(const std::filesystem::path& tree);

// A namespace of a generated tree with a compiled-in address space (<prefix>/ns<index>.c).
struct generated_namespace {
  std::string prefix;
  unsigned index = 0;
};
std::vector<generated_namespace> generated_namespaces(const std::filesystem::path& tree);

// Writes `dir`/main.c: registers every namespace of the tree in index order with its value
// store, checks that each gets its own index, prints "counts\t<index>\t<static values>\t
// <dynamic values>" per namespace, then the runtime's dump.
void write_runtime_main(const std::filesystem::path& tree, const std::filesystem::path& dir);

// Compiles main.c of `dir`, the tree's namespace sources and the runtime into `dir`/runtime
// with `cc` and the extra flags. Returns the compiler's messages; empty on success.
std::string build_runtime_program(const std::filesystem::path& cc,
                                  const std::filesystem::path& tree,
                                  const std::filesystem::path& dir,
                                  const std::vector<std::string>& extra_flags);

// The references of each chain in chain order, by "fwd\t<node>" or "inv\t<node>": the
// other end and the reference type of each.
using reference_chains = std::map<std::string, std::vector<std::string>>;

// What the runtime printed, by kind of record.
struct runtime_view {
  std::vector<std::string> records;                  // every record but the four below, sorted
  reference_chains chains;                           // fwd and inv records (also in records)
  std::map<std::string, std::string> values;         // node -> "<store>\t<index>\t<hex>"
  std::map<std::string, std::string> definitions;    // node -> hex
  std::map<unsigned, std::pair<long, long>> counts;  // namespace -> static, dynamic values
  std::vector<std::string> errors;
};
runtime_view parse_runtime_output(const std::string& text);

// Compares the runtime's view with the file: the same records (nodes, attributes, forward
// and inverse references, permissions), every reference chain in the file's order (a
// node's forward references as the file lists them, its inverse ones in the order of the
// file's reference records), the same values (both decoded), definitions (with the
// descriptions of their fields) and value counts. Returns a description of the differences, empty
// when there are none.
std::string compare_with_file(const runtime_view& view, const ua_file_contents& file,
                              bool descriptions);

// Writes main.c into `dir`, builds the runtime program over `tree` with `cc` and the extra
// flags, runs it and compares what it sees with the binary file at `file` (changed first by
// `edit`, when given). Returns the compiler's messages, the runtime's failure or the
// differences; empty when the runtime sees what the file holds.
std::string runtime_sees_file(const std::filesystem::path& cc, const std::filesystem::path& tree,
                              const std::filesystem::path& dir,
                              const std::vector<std::string>& extra_flags,
                              const std::filesystem::path& file, bool descriptions,
                              const std::function<void(ua_file_contents&)>& edit = {});

}  // namespace vos::test
