// Helpers shared by the test programs: scratch folders, whole-file I/O, stream capture and
// running the real executable.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vos::test {

// A fresh empty folder below the system's temporary folder, removed with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

inline bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string read_file(const std::filesystem::path& path);
void write_file(const std::filesystem::path& path, std::string_view data);

// Captures what the code under test writes to stdout or stderr (file descriptor level, so
// that stdio and direct writes are both caught).
class CaptureFd {
 public:
  explicit CaptureFd(int fd);
  ~CaptureFd();
  CaptureFd(const CaptureFd&) = delete;
  CaptureFd& operator=(const CaptureFd&) = delete;
  // Stops capturing and returns what was written.
  std::string finish();

 private:
  int fd_;
  int saved_ = -1;
  std::FILE* file_ = nullptr;
  bool done_ = false;
  std::string text_;
};

struct RunResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs `program` with argv[0] = `name` (any text: the personality is chosen by it) in the
// folder `cwd`, with standard input closed.
RunResult run_program(const std::filesystem::path& program, std::string_view name,
                      const std::vector<std::string>& args, const std::filesystem::path& cwd);

// The built executable.
std::filesystem::path vospack_binary();

// Where the pinned npm models are installed, or an empty path when they are not.
std::filesystem::path nodeset_dir();

}  // namespace vos::test
