#include "support/testutil.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace vos::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::random_device rd;
  for (int attempt = 0; attempt < 100; ++attempt) {
    fs::path candidate = fs::temp_directory_path() / ("vostest-" + std::to_string(rd()));
    std::error_code ec;
    if (fs::create_directory(candidate, ec)) {
      path_ = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary folder");
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::string read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void write_file(const fs::path& path, std::string_view data) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(data.data(), static_cast<std::streamsize>(data.size()));
}

CaptureFd::CaptureFd(int fd) : fd_(fd) {
  std::fflush(nullptr);
  file_ = std::tmpfile();
  saved_ = dup(fd_);
  dup2(fileno(file_), fd_);
}

CaptureFd::~CaptureFd() {
  finish();
}

std::string CaptureFd::finish() {
  if (done_) return text_;
  done_ = true;
  std::fflush(nullptr);
  dup2(saved_, fd_);
  close(saved_);
  std::rewind(file_);
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, file_)) > 0) text_.append(buf, n);
  std::fclose(file_);
  return text_;
}

static std::string slurp_fd(int fd) {
  std::string text;
  char buf[65536];
  ssize_t n;
  lseek(fd, 0, SEEK_SET);
  while ((n = read(fd, buf, sizeof buf)) > 0) text.append(buf, static_cast<size_t>(n));
  return text;
}

RunResult run_program(const fs::path& program, std::string_view name,
                      const std::vector<std::string>& args, const fs::path& cwd) {
  RunResult result;
  FILE* out = std::tmpfile();
  FILE* err = std::tmpfile();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fileno(out), 1);
  posix_spawn_file_actions_adddup2(&actions, fileno(err), 2);
  // The child starts in `cwd`: the test process changes its folder around the spawn
  // (`program` must be an absolute path).
  std::string name_text(name);
  std::vector<char*> argv;
  argv.push_back(name_text.data());
  std::vector<std::string> copies(args);
  for (auto& a : copies) argv.push_back(a.data());
  argv.push_back(nullptr);

  fs::path here = fs::current_path();
  fs::current_path(cwd);
  pid_t pid = -1;
  int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  fs::current_path(here);
  posix_spawn_file_actions_destroy(&actions);
  if (rc == 0) {
    int ws = 0;
    waitpid(pid, &ws, 0);
    result.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
  }
  result.out = slurp_fd(fileno(out));
  result.err = slurp_fd(fileno(err));
  std::fclose(out);
  std::fclose(err);
  return result;
}

fs::path vospack_binary() {
  return fs::path(VOS_BIN_DIR) / "vospack";
}

fs::path nodeset_dir() {
  fs::path dir = fs::path(VOS_SOURCE_DIR) / "node_modules" / "node-opcua-nodesets" / "nodesets";
  return fs::exists(dir / "Opc.Ua.NodeSet2.xml") ? dir : fs::path();
}

}  // namespace vos::test
