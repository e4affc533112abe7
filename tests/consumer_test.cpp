// The installed CMake package as a server project uses it: tests/consumer is configured
// against a `cmake --install` of this build in a scratch folder and built with Ninja.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/mini_models.h"
#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

using test::contains;

// A model of the plant namespace whose Start method refers to a node that does not exist.
std::string broken_plant_model() {
  std::string model(test::kMiniPlantModel);
  const std::string method = R"(<UAMethod NodeId="ns=1;i=5" BrowseName="1:Start">)";
  const std::size_t at = model.find(method);
  model.insert(at + method.size(),
               R"(<References><Reference ReferenceType="HasComponent">ns=1;i=99</Reference>)"
               R"(</References>)");
  return model;
}

class ConsumerProject : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(VOS_NINJA).empty()) GTEST_FAIL() << "ninja not found: run make deps";
    RunResult r = cmake({"--install", VOS_BUILD_DIR, "--prefix", prefix().string()});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    fs::create_directories(models());
    test::write_file(models() / "ns0.xml", test::kMiniBaseModel);
    test::write_file(models() / "plant.xml", test::kMiniPlantModel);
    test::write_file(models() / "nsmap.txt", "5;urn:vos:test:plant\n");
  }

  fs::path prefix() const { return dir_ / "prefix"; }
  fs::path models() const { return dir_ / "models"; }
  fs::path build() const { return dir_ / "build"; }

  RunResult cmake(const std::vector<std::string>& args) {
    return test::run_program(VOS_CMAKE, "cmake", args, dir_.path());
  }
  RunResult configure(const std::string& request = "1.8", const std::string& folder = "build") {
    return cmake({"-S", std::string(VOS_SOURCE_DIR) + "/tests/consumer", "-B",
                  (dir_ / folder).string(), "-G", "Ninja", "-DCMAKE_MAKE_PROGRAM=" VOS_NINJA,
                  "-DCMAKE_PREFIX_PATH=" + prefix().string(), "-DMODEL_DIR=" + models().string(),
                  "-DVOS_REQUEST=" + request});
  }
  RunResult build_target(const std::string& target = {}) {
    std::vector<std::string> args = {"--build", build().string()};
    if (!target.empty()) args.insert(args.end(), {"--target", target});
    return cmake(args);
  }
  // The commands that Ninja would run for `target`.
  std::string commands(const std::string& target) {
    const RunResult r = test::run_program(
        VOS_NINJA, "ninja", {"-C", build().string(), "-t", "commands", target}, dir_.path());
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
  }
  static void touch(const fs::path& path) {
    fs::last_write_time(path, fs::file_time_type::clock::now());
  }
  // Rewrites a model so that the build sees it as changed: file times come from a coarse
  // clock, and a model written right after a build can carry the very time of its output.
  static void rewrite(const fs::path& path, std::string_view text, const fs::path& output) {
    test::write_file(path, text);
    const auto newer = fs::last_write_time(output) + std::chrono::seconds(1);
    if (fs::last_write_time(path) < newer) fs::last_write_time(path, newer);
  }

  test::TempDir dir_;
};

TEST_F(ConsumerProject, InstallHasTheToolsManualPagesAndPackage) {
  EXPECT_TRUE(fs::is_regular_file(prefix() / "bin/vospack"));
  EXPECT_TRUE(fs::is_regular_file(prefix() / "bin/vosdump"));
  ASSERT_TRUE(fs::is_symlink(prefix() / "bin/vosgen"));
  EXPECT_EQ(fs::read_symlink(prefix() / "bin/vosgen"), "vospack");
  for (const char* page : {"vospack.1", "vosgen.1", "vosdump.1"})
    EXPECT_TRUE(fs::is_regular_file(prefix() / "share/man/man1" / page)) << page;
  for (const char* file : {"vospackConfig.cmake", "vospackConfigVersion.cmake",
                           "vospackFunctions.cmake", "vospackTargets.cmake"})
    EXPECT_TRUE(fs::is_regular_file(prefix() / "lib/cmake/vospack" / file)) << file;

  // `man vosgen` finds the page of both personalities.
  if (std::string(VOS_MAN).empty()) GTEST_FAIL() << "man not found: run make deps";
  for (const auto& [name, page] :
       {std::pair{"vospack", "vospack.1"}, {"vosgen", "vospack.1"}, {"vosdump", "vosdump.1"}}) {
    const RunResult r = test::run_program(
        VOS_MAN, "man", {"-M", (prefix() / "share/man").string(), "-w", name}, dir_.path());
    EXPECT_EQ(r.status, 0) << name << ": " << r.err;
    EXPECT_EQ(r.out, (prefix() / "share/man/man1" / page).string() + "\n") << name;
  }
}

TEST_F(ConsumerProject, VersionRequests) {
  RunResult r = configure("1.8.1", "exact");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  r = configure("1", "major");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  // A newer minor version or another major version is not offered by 1.8.1.
  r = configure("1.9", "newer");
  EXPECT_NE(r.status, 0);
  EXPECT_TRUE(contains(r.err, "1.8.1")) << r.err;
  r = configure("2.0", "major2");
  EXPECT_NE(r.status, 0);
}

TEST_F(ConsumerProject, AddressSpaceBuildsOnceAndAgainWhenAnInputChanges) {
  RunResult r = configure();
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  r = build_target();
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  const fs::path output = build() / "models/plant.bin";
  EXPECT_TRUE(contains(r.out, "Converting OPC UA models into models/plant.bin")) << r.out;
  EXPECT_TRUE(contains(r.out, "Successfully written '" + output.string() + "'.")) << r.out;
  // The extension selection reached the tool: none, then doc.
  EXPECT_TRUE(contains(r.out, " Default: no\n Doc    : yes\n")) << r.out;
  // The tool's trace files stay in its own folder.
  EXPECT_TRUE(fs::exists(build() / "CMakeFiles/plant_model.vospack/log.1.txt"));
  EXPECT_FALSE(fs::exists(build() / "log.1.txt"));

  // The installed reader reads the file.
  const RunResult dump =
      test::run_program(prefix() / "bin/vosdump", "vosdump", {output.string()}, dir_.path());
  EXPECT_EQ(dump.status, 0) << dump.err;
  EXPECT_TRUE(contains(dump.out, "\n  model ns=2 urn:vos:test:plant version=1.0.0")) << dump.out;

  r = build_target();
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(contains(r.out, "ninja: no work to do.")) << r.out;

  // A changed model, or a changed tool, runs the conversion again.
  for (const fs::path& input : {models() / "plant.xml", prefix() / "bin/vospack"}) {
    touch(input);
    r = build_target();
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(contains(r.out, "Successfully written")) << input << ":\n" << r.out;
  }

  // A broken model stops the build with the tool's located error; repaired, it builds.
  rewrite(models() / "plant.xml", broken_plant_model(), output);
  r = build_target();
  EXPECT_NE(r.status, 0);
  const std::string model_path = (models() / "plant.xml").string();
  EXPECT_TRUE(contains(r.out + r.err, "error 4017: Destination node not found."));
  EXPECT_TRUE(contains(r.out + r.err, "xml location info: The XML element at " + model_path +
                                          ":21:64 is causing this problem:\n"))
      << r.out << r.err;
  EXPECT_TRUE(contains(r.out + r.err, "error: failed to load '" + model_path + "'"))
      << r.out << r.err;
  r = build_target();
  EXPECT_NE(r.status, 0) << "a failed conversion must not count as done";
  rewrite(models() / "plant.xml", test::kMiniPlantModel, output);
  r = build_target();
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_TRUE(contains(r.out, "Successfully written")) << r.out;
}

TEST_F(ConsumerProject, GeneratorRulesPassTheirOptionsAndStopOnFailure) {
  RunResult r = configure();
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  const std::string bin = (prefix() / "bin").string();
  const std::string inputs =
      (models() / "ns0.xml").string() + " " + (models() / "plant.xml").string();

  // DATE only where it was asked for; the other switches of the environment are removed.
  const std::string sources = commands("plant_sources");
  EXPECT_TRUE(contains(sources,
                       " -E env --unset=REFORMAT --unset=IGNORE_VERSION_CHECK "
                       "DATE=2000-01-01 " +
                           bin + "/vosgen -N -d -n plantlib -i 2:plant:12 -o " +
                           (build() / "generated").string() + " " + inputs + " && "))
      << sources;
  EXPECT_TRUE(contains(sources, " -E touch " + (build() / "generated/vosgen.stamp").string()))
      << sources;
  const std::string client = commands("plant_client");
  EXPECT_TRUE(contains(client, " -E env --unset=DATE IGNORE_VERSION_CHECK=1 REFORMAT=clang " + bin +
                                   "/vosgen -c " + (models() / "nsmap.txt").string() +
                                   " -m -u \"urn:vos:test:plant;pl\" -q -o " +
                                   (build() / "client").string() + " " + inputs + " && "))
      << client;

  // The rule generates the tree once, stamps it, and runs again only for a changed input.
  r = build_target("plant_sources");
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_TRUE(contains(r.out, "Successfully generated C code into")) << r.out;
  EXPECT_TRUE(fs::exists(build() / "generated/vosgen.stamp"));
  for (const char* file : {"plant/identifier.h", "plant/CMakeLists.txt"})
    EXPECT_TRUE(fs::exists(build() / "generated" / file)) << file;
  EXPECT_FALSE(fs::exists(build() / "generated/CMakeLists.txt")) << "-N writes no top-level list";
  EXPECT_TRUE(contains(test::read_file(build() / "generated/plant/identifier.h"),
                       "/* Generated by vosgen V" VOS_VERSION " on 2000-01-01. */\n"));
  r = build_target("plant_sources");
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(contains(r.out, "ninja: no work to do.")) << r.out;
  for (const fs::path& input : {models() / "plant.xml", prefix() / "bin/vospack"}) {
    touch(input);
    r = build_target("plant_sources");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(contains(r.out, "Successfully generated C code into")) << input << ":\n" << r.out;
  }

  // A broken model stops the build with the located error, and so does the next build: a
  // failed run does not count as done. Repaired, it builds.
  const fs::path stamp = build() / "generated/vosgen.stamp";
  rewrite(models() / "plant.xml", broken_plant_model(), stamp);
  for (int attempt = 0; attempt < 2; ++attempt) {
    r = build_target("plant_sources");
    EXPECT_NE(r.status, 0);
    EXPECT_TRUE(contains(r.out + r.err, "error 4017: Destination node not found."))
        << r.out << r.err;
  }
  rewrite(models() / "plant.xml", test::kMiniPlantModel, stamp);
  r = build_target("plant_sources");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_TRUE(fs::exists(build() / "generated/vosgen.stamp"));
}

}  // namespace
}  // namespace vos
