// The Debian package that `cpack -G DEB` makes from this build: its files and its
// dependencies.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

TEST(DebianPackage, HoldsTheToolsPagesAndCMakePackageAndNeedsOnlyTheRuntime) {
  if (std::string(VOS_DPKG_DEB).empty()) GTEST_FAIL() << "dpkg-deb not found: run make deps";
  test::TempDir dir;
  RunResult r =
      test::run_program(VOS_CPACK, "cpack",
                        {"-G", "DEB", "--config", std::string(VOS_BUILD_DIR) + "/CPackConfig.cmake",
                         "-B", dir.path().string()},
                        dir.path());
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  fs::path deb;
  for (const auto& entry : fs::directory_iterator(dir.path())) {
    if (entry.path().extension() == ".deb") deb = entry.path();
  }
  ASSERT_FALSE(deb.empty()) << r.out;
  EXPECT_EQ(deb.filename().string().rfind("vospack_" VOS_VERSION "_", 0), 0u) << deb;

  // Every file and link of the package, and nothing else (folders aside).
  r = test::run_program(VOS_DPKG_DEB, "dpkg-deb", {"-c", deb.string()}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  std::set<std::string> entries;
  std::istringstream listing(r.out);
  for (std::string line; std::getline(listing, line);) {
    if (line.empty() || line[0] == 'd') continue;
    const std::size_t path = line.find("./");
    ASSERT_NE(path, std::string::npos) << line;
    entries.insert(line.substr(path));
  }
  const std::set<std::string> expected = {
      "./usr/bin/vospack",
      "./usr/bin/vosgen -> vospack",
      "./usr/bin/vosdump",
      "./usr/share/man/man1/vospack.1",
      "./usr/share/man/man1/vosgen.1 -> vospack.1",
      "./usr/share/man/man1/vosdump.1",
      "./usr/lib/cmake/vospack/vospackConfig.cmake",
      "./usr/lib/cmake/vospack/vospackConfigVersion.cmake",
      "./usr/lib/cmake/vospack/vospackFunctions.cmake",
      "./usr/lib/cmake/vospack/vospackTargets.cmake",
  };
  for (const std::string& e : expected) EXPECT_EQ(entries.count(e), 1u) << e << "\n" << r.out;
  for (const std::string& e : entries) {
    const bool targets_of_build_type = e.rfind("./usr/lib/cmake/vospack/vospackTargets-", 0) == 0;
    EXPECT_TRUE(expected.count(e) == 1 || targets_of_build_type) << "unexpected " << e;
  }

  r = test::run_program(VOS_DPKG_DEB, "dpkg-deb", {"-f", deb.string(), "Package", "Version"},
                        dir.path());
  EXPECT_EQ(r.out, "Package: vospack\nVersion: " VOS_VERSION "\n");

  // The C and C++ runtime and nothing else (sanitizer builds also need their runtimes).
  r = test::run_program(VOS_DPKG_DEB, "dpkg-deb", {"-f", deb.string(), "Depends"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  std::set<std::string> allowed = {"libc6", "libgcc-s1", "libstdc++6"};
#ifdef VOS_SANITIZED
  allowed.insert({"libasan8", "libubsan1"});
#endif
  std::set<std::string> names;
  std::istringstream depends(r.out);
  for (std::string item; std::getline(depends, item, ',');) {
    const std::size_t start = item.find_first_not_of(' ');
    names.insert(item.substr(start, item.find_first_of(" (\n", start) - start));
  }
  EXPECT_EQ(names.count("libstdc++6"), 1u) << r.out;
  for (const std::string& name : names)
    EXPECT_EQ(allowed.count(name), 1u) << name << " in " << r.out;
}

}  // namespace
}  // namespace vos
