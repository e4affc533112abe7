// The compiled-in address space, the role permissions and the provider of a small model of
// our own (tests/fixtures/codegen/addrspace), compared line by line with texts written by
// hand; the kept implementation files and the methods switch of the provider; the runtime's
// view of that model; and the failures of bad input.
//
// How the expected tables follow from the model (namespace urn:addrspace is SDK index 2, so
// its handles are 33554432 + local index; namespace-0 handles are the fixture's positions):
// - strings: "" first, then per node in load order its browse name, display name, string
//   identifier, and a reference type's inverse name right after its own texts;
// - references: first the forward ones of the model's nodes, node by node (0, 1: TankType;
//   2..6: Tank; 7, 8: Level; 9: Mode; 10: Overview; 11: <Slot>; 12: Mapped), then those from
//   namespace 0 into the model in the order of their sources (33, 32, 85, 85, 58, 63, 29);
//   next_fwd links each source's run, next_rev each target's (Mode: 4, 6, 8; LevelType: 7,
//   18; Tank: 10, 15);
// - rev_ref_idx = first inverse << 16 | 5 (2 * 2 + 1), placeholder 0: 0 << 16 | 4;
//   fwd_ref_idx = first forward << 1 | 1;
// - values: Level is a Double array (0x8B, length 3, three little-endian doubles), Mode the
//   Int32 1; Mapped lives at 5:42 (-M); the Mode definition is an EnumDefinition of the
//   fields Off = 0 and On = 1 (no display names or descriptions);
// - permission sets, sorted: {Anonymous 0x1, AuthenticatedUser 0x3} (Tank and Mode) and
//   {AuthenticatedUser 0x7} (Level); roles sorted by NodeId: i=15644 is 0, i=15656 is 1.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/addrspace_runtime.h"
#include "support/codegen_golden.h"
#include "support/testutil.h"
#include "tools/vospack/filereader.h"
#include "util/md5.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

constexpr const char* kDate = "2000-01-01";
constexpr const char* kSuccess = "\nSuccessfully generated C code into 'out'.\n";
constexpr const char* kFailed = "error: failed to generate C code.\n";

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

using test::contains;

fs::path fixture(const std::string& name) {
  return test::codegen_fixture_dir() / "addrspace" / name;
}

// "0x.., 0x.., ..." of the MD5 over the files in order.
std::string digest_of(const std::vector<fs::path>& files) {
  std::string bytes;
  for (const fs::path& f : files) bytes += test::read_file(f);
  const auto d = md5(bytes);
  std::string out;
  char buf[8];
  for (std::size_t i = 0; i < d.size(); ++i) {
    std::snprintf(buf, sizeof buf, "%s0x%02x", i == 0 ? "" : ", ", d[i]);
    out += buf;
  }
  return out;
}

class CodegenAddrspace : public ::testing::Test {
 protected:
  void SetUp() override {
    test::write_file(dir_ / "placeholders.txt",
                     "# the instance declaration of a slot\nns=2;i=800\n");
    test::write_file(dir_ / "mapping.txt", "ns=2;i=900 5:42\n");
  }

  RunResult run(std::vector<std::string> args, const std::string& model = "") {
    test::ScopedEnv date("DATE", kDate);
    test::ScopedEnv reformat("REFORMAT", std::nullopt);
    args.insert(args.end(), {"-o", "out", fixture("ns0.xml").string(),
                             model.empty() ? fixture("model.xml").string() : model});
    return test::run_vosgen(args, dir_.path());
  }

  RunResult run_full(std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {
        "-m", "-0",         "-i", "0:ua", "-u", "urn:addrspace;as", "-P", "placeholders.txt",
        "-M", "mapping.txt"};
    args.insert(args.end(), extra.begin(), extra.end());
    return run(args);
  }

  // out/<name> against expected/<name>, behind the file header, with the input digest.
  void expect_file(const std::string& name) {
    const fs::path expected_path = fixture("expected") / name;
    const fs::path actual_path = dir_ / "out" / name;
    ASSERT_TRUE(fs::exists(actual_path)) << name << " was not written";
    const std::string expected = test::c_file_header(kDate) +
                                 replace_all(test::read_file(expected_path), "@DIGEST@",
                                             digest_of({fixture("ns0.xml"), fixture("model.xml")}));
    const std::string diff = test::compare_lines(expected, test::read_file(actual_path));
    if (!diff.empty()) ADD_FAILURE() << "out/" << name << ": " << diff;
  }

  test::TempDir dir_;
};

TEST_F(CodegenAddrspace, GoldenTree) {
  const RunResult r = run_full();
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  for (const char* name :
       {"as/ns2.h", "as/ns2.c", "ua/ns0.h", "ua/ns0.c", "ua/rolepermissions.c", "provider_as.h",
        "provider_as.c", "provider_as_impl.h", "provider_as_impl.c"}) {
    expect_file(name);
  }
  // Roles are sorted before any file is written; two of the three permission lists are one.
  EXPECT_TRUE(contains(r.out,
                       "Sorting roles...\nNumber of permissions before deduplication: 3\n"
                       "Number of permissions after deduplication: 2\n"))
      << r.out;
  EXPECT_TRUE(contains(r.out,
                       "Assigned 1 datatypedefinition indices.\n"
                       "Generated 1 datatypedefinition entries.\n"))
      << r.out;
  EXPECT_TRUE(contains(r.out, kSuccess)) << r.out;
}

// With -d the description texts join the string table (before the string identifier of
// their node) and the guard asks for UA_SUPPORT_DESCRIPTION.
TEST_F(CodegenAddrspace, DescriptionsJoinTheStringTable) {
  const RunResult r = run({"-d", "-u", "urn:addrspace;as"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  const std::string expected = test::c_file_header(kDate) + R"(@@
#ifdef UA_SUPPORT_DESCRIPTION
# define UA_NODE_DESCRIPTION(id) , .descriptionid = id
# define UA_DESCRIPTION_C(text) text
#else /* UA_SUPPORT_DESCRIPTION */
# error("this file requires UA_SUPPORT_DESCRIPTION to be enabled")
#endif /* UA_SUPPORT_DESCRIPTION */

@@
static const char * const g_stringtabledata[16] = {
@@
    "Level",
    UA_DESCRIPTION_C("Fill level"),
    "Tank.Level",
@@
~{ .id = { .type = 1, .identifier = 12 }, .rev_ref_idx = 196613, .fwd_ref_idx = 15, .displaynameid = 10, .browsenameid = 10, .browsenamens = 2 UA_NODE_DESCRIPTION(11), .dataindex = 0,
~{ .id = { .type = 0, .identifier = 500 }, .rev_ref_idx = 262149, .fwd_ref_idx = 19, .displaynameid = 7, .browsenameid = 7, .browsenamens = 2 UA_NODE_DESCRIPTION(0), .dataindex = 1,
@@
)";
  const std::string diff =
      test::compare_lines(expected, test::read_file(dir_ / "out" / "as" / "ns2.c"));
  EXPECT_EQ(diff, "");
}

TEST_F(CodegenAddrspace, SecondRunKeepsEditedImplementationFiles) {
  ASSERT_EQ(run_full().status, 0);
  const fs::path out = dir_ / "out";
  test::write_file(out / "provider_as_impl.c", "/* mine */\n");
  test::write_file(out / "provider_as_impl.h", "/* mine too */\n");
  test::write_file(out / "provider_as.c", "/* stale */\n");
  test::write_file(out / "provider_as.h", "/* stale */\n");
  ASSERT_EQ(run_full().status, 0);
  EXPECT_EQ(test::read_file(out / "provider_as_impl.c"), "/* mine */\n");
  EXPECT_EQ(test::read_file(out / "provider_as_impl.h"), "/* mine too */\n");
  expect_file("provider_as.c");
  expect_file("provider_as.h");
  // -O writes them again.
  ASSERT_EQ(run_full({"-O"}).status, 0);
  expect_file("provider_as_impl.c");
  expect_file("provider_as_impl.h");
}

// The provider compiles the modeler's methods in when the namespace directory holds their
// header (provider_<prefix>_methods.h).
TEST_F(CodegenAddrspace, MethodsHeaderSwitchesTheMethodBlocks) {
  ASSERT_EQ(run_full().status, 0);
  const std::string without = test::read_file(dir_ / "out" / "provider_as.c");
  EXPECT_FALSE(contains(without, "HAVE_QUILLON_METHODS")) << without;
  test::write_file(dir_ / "out" / "as" / "provider_as_methods.h", "/* methods */\n");
  ASSERT_EQ(run_full().status, 0);
  const std::string expected = test::c_file_header(kDate) + R"(@@
#endif /* UASERVER_SUPPORT_EVENTS */
#if defined(ENABLE_SERVICE_CALL) && defined(HAVE_QUILLON_METHODS)
# include <as/provider_as_methods.h>
#endif
@@
#if defined(ENABLE_SERVICE_CALL) && defined(HAVE_QUILLON_METHODS)
    /* initialize modeler generated methods */
    ret = provider_as_method_init();
@@
)";
  EXPECT_EQ(test::compare_lines(expected, test::read_file(dir_ / "out" / "provider_as.c")), "");
}

// The runtime registers the model's tables (GUID pool, roles and default permissions,
// definitions) and sees the address space of the binary file; with -d also the
// descriptions.
TEST_F(CodegenAddrspace, RuntimeSeesTheBinaryFilesAddressSpace) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  for (const bool descriptions : {false, true}) {
    SCOPED_TRACE(descriptions ? "with -d" : "without -d");
    fs::remove_all(dir_ / "out");
    std::vector<std::string> args = {"-0", "-i", "0:ua", "-u", "urn:addrspace;as"};
    if (descriptions) args.push_back("-d");
    ASSERT_EQ(run(args).status, 0);
    const RunResult conv =
        test::run_program(test::vospack_binary(), "vospack",
                          {"-0", "-i", "0:ua", "-u", "urn:addrspace;as", "-o", "file.bin",
                           fixture("ns0.xml").string(), fixture("model.xml").string()},
                          dir_.path());
    ASSERT_EQ(conv.status, 0) << conv.err;
    test::write_runtime_main(dir_ / "out", dir_.path());
    std::vector<std::string> flags = {"-DUA_SUPPORT_HISTORIZING"};
    if (descriptions) flags.push_back("-DUA_SUPPORT_DESCRIPTION");
    ASSERT_EQ(test::build_runtime_program(cc, dir_ / "out", dir_.path(), flags), "");
    const RunResult prog = test::run_program(dir_ / "runtime", "runtime", {}, dir_.path());
    ASSERT_TRUE(prog.status == 0 || prog.status == 1) << prog.status << prog.err;
    ua_file_contents file;
    ASSERT_EQ(ua_file_read_path((dir_ / "file.bin").c_str(), file), 0);
    const test::runtime_view view = test::parse_runtime_output(prog.out);
    EXPECT_EQ(test::compare_with_file(view, file, descriptions), "");
    EXPECT_EQ(view.definitions.size(), 1u);
  }
}

// The runtime refuses a namespace generated from other input files than namespace 0.
TEST_F(CodegenAddrspace, NamespacesOfOtherInputsRefuseToLoadTogether) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  ASSERT_EQ(run({"-0", "-i", "0:ua", "-u", "urn:addrspace;as"}).status, 0);
  fs::rename(dir_ / "out", dir_ / "first");
  // The same model with one more blank line is another input set.
  test::write_file(dir_ / "model2.xml", test::read_file(fixture("model.xml")) + "\n");
  ASSERT_EQ(
      run({"-0", "-i", "0:ua", "-u", "urn:addrspace;as"}, (dir_ / "model2.xml").string()).status,
      0);
  fs::remove_all(dir_ / "out" / "ua");
  fs::rename(dir_ / "first" / "ua", dir_ / "out" / "ua");
  test::write_runtime_main(dir_ / "out", dir_.path());
  ASSERT_EQ(test::build_runtime_program(cc, dir_ / "out", dir_.path(), {}), "");
  const RunResult prog = test::run_program(dir_ / "runtime", "runtime", {}, dir_.path());
  EXPECT_EQ(prog.status, 2);
  EXPECT_TRUE(
      contains(prog.err, "Namespace 2 was not generated from the same set of XML files as NS0.\n"))
      << prog.err;
  EXPECT_TRUE(contains(prog.err, "as: registration returned -1\n")) << prog.err;
}

// The byte-string pool holds the opaque identifiers, each written with the byte-string
// literal writer; the runtime resolves them through the pool handed to the registration.
TEST_F(CodegenAddrspace, OpaqueNodeIdsReachTheRuntime) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  const std::vector<std::string> select = {"-0", "-i", "0:ua", "-u", "urn:opaque;op"};
  ASSERT_EQ(run(select, fixture("opaque.xml").string()).status, 0);
  const std::string expected = test::c_file_header(kDate) + R"(@@
~"bytestringpool",
@@
    {
    { 4, "\x01\x02\x03\x04"},
    }
};
@@
~{ .id = { .type = 3, .identifier = 0 },
@@
)";
  EXPECT_EQ(test::compare_lines(expected, test::read_file(dir_ / "out" / "op" / "ns2.c")), "");

  std::vector<std::string> args = select;
  args.insert(args.end(),
              {"-o", "file.bin", fixture("ns0.xml").string(), fixture("opaque.xml").string()});
  ASSERT_EQ(test::run_program(test::vospack_binary(), "vospack", args, dir_.path()).status, 0);
  EXPECT_EQ(test::runtime_sees_file(cc, dir_ / "out", dir_.path(), {"-DUA_SUPPORT_HISTORIZING"},
                                    dir_ / "file.bin", false),
            "");
}

// A namespace without any value (no static store elements) still compiles cleanly.
TEST_F(CodegenAddrspace, NamespaceWithoutValuesCompiles) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  std::string model = test::read_file(fixture("opaque.xml"));
  model = model.substr(0, model.find("  <UAObject")) +
          "  <UAObject NodeId=\"ns=1;i=1\" BrowseName=\"1:Alone\"><DisplayName>Alone</DisplayName>"
          "</UAObject>\n</UANodeSet>\n";
  test::write_file(dir_ / "alone.xml", model);
  ASSERT_EQ(run({"-u", "urn:opaque;op"}, (dir_ / "alone.xml").string()).status, 0);
  std::vector<std::string> args = test::runtime_cflags(dir_ / "out");
  args.insert(args.end(), {"-c", "-o", "ns2.o", (dir_ / "out" / "op" / "ns2.c").string()});
  const RunResult r = test::run_program(cc, "cc", args, dir_.path());
  EXPECT_EQ(r.status, 0) << r.err;
}

// Bad input: the generator's message, the driver's failure line, status 1; the files
// written before the failure stay.
TEST_F(CodegenAddrspace, ValueTooLargeForTheStaticStore) {
  // A String of 16 MiB: its encoding (type byte, length, text) is 5 bytes over the limit.
  std::string model = test::read_file(fixture("model.xml"));
  const std::string value =
      "<Value><Int32 xmlns=\"http://opcfoundation.org/UA/2008/02/Types.xsd\">7</Int32></Value>";
  ASSERT_TRUE(contains(model, value));
  model = replace_all(model, value,
                      "<Value><String xmlns=\"http://opcfoundation.org/UA/2008/02/Types.xsd\">" +
                          std::string(16u << 20, 'x') + "</String></Value>");
  model = replace_all(model, "BrowseName=\"1:Mapped\" DataType=\"Int32\"",
                      "BrowseName=\"1:Mapped\" DataType=\"i=12\"");
  test::write_file(dir_ / "big.xml", model);
  const RunResult r =
      run({"-m", "-0", "-i", "0:ua", "-u", "urn:addrspace;as"}, (dir_ / "big.xml").string());
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err,
                       "error: cannot encode variant value, because it exceeds maximum value "
                       "size of 16777216 bytes.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.out, kFailed)) << r.out;
  EXPECT_FALSE(contains(r.out, kSuccess));
  // Namespace 0 and the model's header came first; nothing after the failing source.
  EXPECT_TRUE(fs::exists(dir_ / "out" / "ua" / "ns0.c"));
  EXPECT_TRUE(fs::exists(dir_ / "out" / "as" / "ns2.h"));
  EXPECT_FALSE(fs::exists(dir_ / "out" / "as" / "ns2.c"));
  EXPECT_FALSE(fs::exists(dir_ / "out" / "provider_as.c"));
  EXPECT_FALSE(fs::exists(dir_ / "out" / "CMakeLists.txt"));
}

TEST_F(CodegenAddrspace, RoleThatIsNoRole) {
  // TankType is an object type, not a role.
  std::string model = test::read_file(fixture("model.xml"));
  model = replace_all(model, "<RolePermission Permissions=\"7\">i=15656</RolePermission>",
                      "<RolePermission Permissions=\"7\">ns=1;i=200</RolePermission>");
  test::write_file(dir_ / "norole.xml", model);
  const RunResult r =
      run({"-m", "-0", "-i", "0:ua", "-u", "urn:addrspace;as"}, (dir_ / "norole.xml").string());
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(
      contains(r.err, "error (output_c_permissions): could not resolve role nodeid: ns=2;i=200\n"))
      << r.err;
  EXPECT_TRUE(contains(r.out, kFailed)) << r.out;
  // The role permissions are the first file of a run; the failing file is not left half
  // written, and nothing follows it.
  EXPECT_FALSE(fs::exists(dir_ / "out" / "ua" / "rolepermissions.c"));
  EXPECT_EQ(test::list_files(dir_ / "out"), std::vector<std::string>{});
  EXPECT_FALSE(fs::exists(dir_ / "out" / "as" / "mode.c"));
  EXPECT_FALSE(fs::exists(dir_ / "out" / "ua" / "ns0.c"));
}

}  // namespace
}  // namespace vos
