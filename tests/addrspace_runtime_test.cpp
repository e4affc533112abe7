// The compiled-in address space of real models, registered with the test runtime
// (tests/cruntime/server) by a program built with the system C compiler, is the address
// space that vospack writes into the binary file for the same inputs and selection: the
// same nodes, attributes, references through both chains, role permissions, values and
// definitions (tests/support/addrspace_runtime.h).
#include "support/addrspace_runtime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/codegen_golden.h"
#include "support/testutil.h"
#include "tools/vospack/filereader.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

constexpr const char* kNs0 = "Opc.Ua.NodeSet2.xml";
constexpr const char* kDi = "Opc.Ua.Di.NodeSet2.xml";
constexpr const char* kDiUri = "http://opcfoundation.org/UA/DI/;di";
// Namespace 0 is generated too (under its runtime prefix), so that every handle resolves.
const std::vector<std::string> kWithNs0 = {"-0", "-i", "0:ua"};

class AddrspaceRuntime : public ::testing::Test {
 protected:
  void SetUp() override {
    models_ = test::nodeset_dir();
    if (models_.empty()) GTEST_SKIP() << "models not installed";
    cc_ = test::system_cc();
    if (cc_.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  }

  // Generates the tree and the binary file for the models (file names, load order) and the
  // selection, builds and runs the runtime program, and compares.
  void prove(const std::vector<std::string>& files, const std::vector<std::string>& selection,
             const std::vector<std::string>& generator_options = {}) {
    const bool descriptions = std::find(generator_options.begin(), generator_options.end(), "-d") !=
                              generator_options.end();
    std::vector<std::string> paths;
    for (const std::string& f : files) paths.push_back((models_ / f).string());

    std::vector<std::string> args = kWithNs0;
    args.insert(args.end(), selection.begin(), selection.end());
    args.insert(args.end(), generator_options.begin(), generator_options.end());
    args.insert(args.end(), {"-o", "tree"});
    args.insert(args.end(), paths.begin(), paths.end());
    const RunResult gen = test::run_vosgen(args, dir_.path());
    ASSERT_EQ(gen.status, 0) << gen.out.substr(gen.out.size() > 2000 ? gen.out.size() - 2000 : 0)
                             << gen.err;

    args = kWithNs0;
    args.insert(args.end(), selection.begin(), selection.end());
    args.insert(args.end(), {"-o", "file.bin"});
    args.insert(args.end(), paths.begin(), paths.end());
    const RunResult conv = test::run_program(test::vospack_binary(), "vospack", args, dir_.path());
    ASSERT_EQ(conv.status, 0) << conv.err;

    test::write_runtime_main(tree(), dir_.path());
    std::vector<std::string> flags = {"-DUA_SUPPORT_HISTORIZING"};
    if (descriptions) flags.push_back("-DUA_SUPPORT_DESCRIPTION");
    const std::string messages = test::build_runtime_program(cc_, tree(), dir_.path(), flags);
    ASSERT_EQ(messages, "");
    const RunResult run = test::run_program(dir_ / "runtime", "runtime", {}, dir_.path());
    // Status 1: the runtime printed error records, which the comparison lists.
    ASSERT_TRUE(run.status == 0 || run.status == 1) << run.status << run.err;

    ua_file_contents file;
    ASSERT_EQ(ua_file_read_path((dir_ / "file.bin").c_str(), file), 0);
    EXPECT_EQ(test::compare_with_file(test::parse_runtime_output(run.out), file, descriptions), "");
  }

  fs::path tree() const { return dir_ / "tree"; }

  test::TempDir dir_;
  fs::path models_;
  fs::path cc_;
};

TEST_F(AddrspaceRuntime, NamespaceZeroAndDi) {
  prove({kNs0, kDi}, {"-u", kDiUri}, {"-m"});
  // The provider compiles for both ways up: from the compiled-in tables and from the file.
  std::vector<std::string> sources;
  for (const std::string& name : test::list_files(tree())) {
    if (name.rfind("provider_", 0) == 0 && fs::path(name).extension() == ".c") {
      sources.push_back((tree() / name).string());
    }
  }
  ASSERT_EQ(sources.size(), 4u);
  for (const std::vector<std::string>& variant :
       {std::vector<std::string>{}, {"-DSTATIC_UA", "-DSTATIC_DI", "-DUASERVER_SUPPORT_EVENTS"}}) {
    std::vector<std::string> args = test::runtime_cflags(tree());
    args.push_back("-fsyntax-only");
    args.insert(args.end(), variant.begin(), variant.end());
    args.insert(args.end(), sources.begin(), sources.end());
    const RunResult r = test::run_program(cc_, "cc", args, dir_.path());
    EXPECT_EQ(r.status, 0) << r.err;
  }
}

TEST_F(AddrspaceRuntime, NamespaceZeroAndDiWithDescriptions) {
  prove({kNs0, kDi}, {"-u", kDiUri}, {"-d"});
}

// Stripping keeps what the kept nodes use, also the data types of a kept structure's fields
// (and theirs in turn): the tree compiles, and no definition of the file points at a
// removed type.
TEST_F(AddrspaceRuntime, StrippedTypes) {
  prove({kNs0, kDi}, {"-s", "-u", kDiUri});
}

TEST_F(AddrspaceRuntime, MachineryWithTheModelsItNeeds) {
  prove({kNs0, kDi, "Opc.Ua.IA.NodeSet2.xml", "Opc.Ua.Machinery.NodeSet2.xml"},
        {"-u", kDiUri, "-u", "http://opcfoundation.org/UA/IA/;ia", "-u",
         "http://opcfoundation.org/UA/Machinery/;machinery"});
}

TEST_F(AddrspaceRuntime, StringNodeIds) {
  prove({kNs0, "Opc.Ua.IRDI.NodeSet2.xml"},
        {"-u", "http://opcfoundation.org/UA/Dictionary/IRDI;irdi"});
}

TEST_F(AddrspaceRuntime, RolePermissions) {
  prove({kNs0, "Opc.Ua.Gds.NodeSet2.xml"}, {"-u", "http://opcfoundation.org/UA/GDS/;gds"});
}

}  // namespace
}  // namespace vos
