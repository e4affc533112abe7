#include "trace/trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "build_info.h"
#include "support/testutil.h"
#include "trace/version.h"
#include "util/errors.h"

namespace vos {
namespace {

namespace fs = std::filesystem;

// The lines of a trace file as "<letter><component> <message>", "?" for a line whose
// prefix is malformed.
std::vector<std::string> lines_of(const fs::path& path) {
  static const std::regex prefix(
      R"(([GDIFNWE ])\|(\d\d)\|[A-Z][a-z]{2} \d\d \d\d:\d\d:\d\d\.\d{6}\| (.*))");
  std::istringstream in(test::read_file(path));
  std::vector<std::string> lines;
  std::smatch m;
  for (std::string line; std::getline(in, line);)
    lines.push_back(std::regex_match(line, m, prefix) ? m[1].str() + m[2].str() + " " + m[3].str()
                                                      : "?" + line);
  return lines;
}

// Each test runs in its own empty current directory and leaves the trace closed.
class TraceFiles : public ::testing::Test {
 protected:
  void SetUp() override { fs::current_path(dir_.path()); }
  void TearDown() override {
    trace_close();
    fs::current_path(home_);
  }
  // Starts the trace and returns what it printed to stdout.
  std::string start(uint32_t levels, uint32_t components, int expected_status = 0) {
    test::CaptureFd out(1);
    EXPECT_EQ(trace_start(levels, components), expected_status);
    return out.finish();
  }

  test::TempDir dir_;
  fs::path home_ = fs::current_path();
};

TEST_F(TraceFiles, DefaultNamingRotationAndDeletion) {
  test::CaptureFd err(2);
  EXPECT_EQ(start(0xFF, TRACE_COMPONENT_ALL),
            "Using file trace backend. All further traces will go into files.\n"
            "Trace levels ERROR, WARNING and NOTICE will additionally be printed to stderr.\n"
            "Opened new trace file './log.1.txt'.\n");
  // The two opening lines count: the 8th own line is the 10th of the file.
  test::CaptureFd out(1);
  for (int i = 1; i <= 7; ++i) trace(TRACE_LEVEL_INFO, 1, "line %d\n", i);
  EXPECT_FALSE(fs::exists("log.2.txt"));
  trace(TRACE_LEVEL_INFO, 1, "line %d\n", 8);
  EXPECT_TRUE(fs::exists("log.2.txt"));
  EXPECT_EQ(out.finish(), "Opened new trace file './log.2.txt'.\n");

  const auto first = lines_of("log.1.txt");
  ASSERT_EQ(first.size(), 10u);
  EXPECT_TRUE(first[0].starts_with("N00 Created trace file on ")) << first[0];
  EXPECT_EQ(first[1] + "\n", "N00 " + build_version_line(build_info::product));
  EXPECT_EQ(first[9], "I00 line 8");
  // NOTICE lines are echoed without prefix, INFO lines are not.
  EXPECT_TRUE(err.finish().starts_with("Created trace file on "));

  // Files 2..5 take 8 lines each; opening file 6 removes file 1.
  test::CaptureFd quiet_out(1), quiet_err(2);
  for (int i = 0; i < 4 * 8 - 1; ++i) trace(TRACE_LEVEL_INFO, 1, "more\n");
  EXPECT_TRUE(fs::exists("log.1.txt"));
  trace(TRACE_LEVEL_INFO, 1, "more\n");
  EXPECT_FALSE(fs::exists("log.1.txt"));
  for (int n = 2; n <= 6; ++n) EXPECT_TRUE(fs::exists("log." + std::to_string(n) + ".txt")) << n;
}

TEST_F(TraceFiles, LevelAndComponentMasksAndStderrEcho) {
  start(TRACE_LEVEL_ERROR | TRACE_LEVEL_WARNING | TRACE_LEVEL_INFO, 0x1 | 0x4);
  test::CaptureFd err(2);
  trace(TRACE_LEVEL_INFO, 0x4, "info kept\n");
  trace(TRACE_LEVEL_INFO, 0x2, "info of another component\n");
  trace(TRACE_LEVEL_DEBUG, 0x1, "debug not in the level mask\n");
  trace(TRACE_LEVEL_WARNING, 1u << 22, "warning of another component\n");
  trace(TRACE_LEVEL_ERROR, 1u << 22, "error %d\n", 7);
  trace(TRACE_LEVEL_WARNING, 0x1, "warn\n");
  trace_close();
  trace(TRACE_LEVEL_ERROR, 0x1, "after close\n");
  EXPECT_EQ(err.finish(), "error 7\nwarn\n");

  // The opening NOTICE lines were masked out.
  EXPECT_EQ(lines_of("log.1.txt"),
            (std::vector<std::string>{"I02 info kept", "E22 error 7", "W00 warn"}));
}

TEST_F(TraceFiles, ConfigurationKeysAndTrueBooleans) {
  test::write_file("trace.conf",
                   "# directory = ignored\n"
                   "directory = out\n"
                   "  basename\t=  run  \n"
                   "extension=.log\r\n"
                   "include_pid = On\n"
                   "append = TRUE\n"
                   "force_flush = 1\n"
                   "max_lines = 100\n"
                   "not a setting\n"
                   "unknown = 5\n");
  fs::create_directory("out");
  const std::string name = "out/run." + std::to_string(getpid()) + ".1.log";
  test::write_file(name, "earlier run\n");

  test::CaptureFd err(2);
  EXPECT_NE(start(0xFF, TRACE_COMPONENT_ALL).find("Opened new trace file '" + name + "'.\n"),
            std::string::npos);
  for (int i = 0; i < 20; ++i) trace(TRACE_LEVEL_INFO, 1, "line %d\n", i);
  // Flushed line by line: readable while the file is still open.
  const auto lines = lines_of(name);
  ASSERT_EQ(lines.size(), 23u);
  EXPECT_EQ(lines[0], "?earlier run");
  EXPECT_EQ(lines[22], "I00 line 19");
  EXPECT_EQ(std::distance(fs::directory_iterator("out"), fs::directory_iterator()), 1);
}

TEST_F(TraceFiles, OtherValuesAreFalseAndLimitsApply) {
  test::write_file("trace.conf",
                   "include_pid = yes\n"
                   "append = yes\n"
                   "max_lines = 3\n"
                   "max_files = 2\n");
  test::write_file("log.1.txt", "earlier run\n");
  test::CaptureFd out(1), err(2);
  start(0xFF, TRACE_COMPONENT_ALL);
  for (int i = 1; i <= 3; ++i) trace(TRACE_LEVEL_INFO, 1, "line %d\n", i);
  trace_close();
  // Every file: two opening lines and one own line; only the newest two are kept.
  EXPECT_FALSE(fs::exists("log.1.txt"));
  EXPECT_FALSE(fs::exists("log.2.txt"));
  EXPECT_EQ(lines_of("log.3.txt").size(), 3u);
  EXPECT_EQ(lines_of("log.4.txt").size(), 2u);
}

TEST_F(TraceFiles, UnopenableFileLeavesTheTraceSilent) {
  test::write_file("trace.conf", "directory = missing\n");
  test::CaptureFd err(2);
  EXPECT_EQ(start(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL, UA_EBAD),
            "Using file trace backend. All further traces will go into files.\n"
            "Trace levels ERROR, WARNING and NOTICE will additionally be printed to stderr.\n");
  trace(TRACE_LEVEL_ERROR, 1, "dropped\n");
  EXPECT_EQ(err.finish(), "Opening trace file 'missing/log.1.txt' failed: error = 2\n");
}

// A trace.conf that came with a model must not make the trace write elsewhere.
TEST_F(TraceFiles, FileNamePartsThatLeaveTheDirectoryAreRefused) {
  fs::create_directory("out");
  for (const char* conf : {"basename = ../escaped\nextension = /x\n",
                           "basename = a\\b\nextension = .txt/..\n",
                           "basename = ..\nextension = ..\n"}) {
    test::write_file("trace.conf", std::string("directory = out\n") + conf);
    test::CaptureFd err(2);
    const std::string opened = start(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL);
    trace_close();
    const std::string warnings = err.finish();
    EXPECT_NE(warnings.find("warning: trace.conf: basename '"), std::string::npos) << conf;
    EXPECT_NE(warnings.find("using 'log'"), std::string::npos) << conf;
    EXPECT_NE(warnings.find("warning: trace.conf: extension '"), std::string::npos) << conf;
    EXPECT_NE(warnings.find("using '.txt'"), std::string::npos) << conf;
    EXPECT_NE(opened.find("Opened new trace file 'out/log.1.txt'.\n"), std::string::npos);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_.path()), fs::directory_iterator()), 2);
  EXPECT_EQ(std::distance(fs::directory_iterator("out"), fs::directory_iterator()), 1);
  // Dots that are not "..", as in a plain extension, stay allowed.
  test::write_file("trace.conf", "basename = run.a\nextension = .x.y\n");
  test::CaptureFd err(2);
  start(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL);
  EXPECT_EQ(err.finish(), "");
  EXPECT_TRUE(fs::exists("run.a.1.x.y"));
}

TEST(VersionLine, ThreeFormsByOrigin) {
  const std::string sha = "0123456789abcdef0123456789abcdef01234567";
  BuildOrigin origin{"1.8.1", "", "426", sha, "https://git.velmora.net/vos/vospack.git"};
  EXPECT_EQ(build_version_line("vospack", origin),
            "vospack 1.8.1 (Build 426) - Velmora Build Git SHA1: " + sha + "\n");
  origin.repository = "https://git.velmora";  // shorter than the prefix
  EXPECT_EQ(build_version_line("vosgen", origin),
            "vosgen 1.8.1 (Build 426) - Customer Build Git SHA1: " + sha + "\n");
  origin.commit = "<unknown>";
  origin.suffix = "-rc1";
  EXPECT_EQ(build_version_line("vosgen", origin), "vosgen 1.8.1-rc1 (Build 426)\n");
}

}  // namespace
}  // namespace vos
