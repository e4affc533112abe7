// The real executable under both names (and wrong ones), run in a scratch folder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/testutil.h"

namespace {

using vos::test::read_file;
using vos::test::run_program;
using vos::test::RunResult;
using vos::test::TempDir;
using vos::test::vospack_binary;
using vos::test::write_file;

RunResult run(const TempDir& dir, const std::string& name, const std::vector<std::string>& args) {
  return run_program(vospack_binary(), name, args, dir.path());
}

const char* const kTraceBanner =
    "Using file trace backend. All further traces will go into files.\n"
    "Trace levels ERROR, WARNING and NOTICE will additionally be printed to stderr.\n"
    "Opened new trace file './log.1.txt'.\n";

const char* const kCommonUsage =
    "-h: print this help\n"
    "-V: print version information\n"
    "-v: more verbose output\n"
    "-q: more silent output\n"
    "-s: strip unused type nodes (experimental)\n"
    "-f <cat>: filter node by category. This option can be specified multiple times.\n"
    "-r <file>: creates a suppression file by recording all warnings.\n"
    "-S <file>: load warnings suppression file.\n"
    "-W <num>: suppress warning number globally.\n";

const std::string kConverterUsage =
    std::string("Usage: vospack [-h] [-o <outputfile>] [<base xml files...>] <xml file...>\n") +
    kCommonUsage +
    "-o: output file name\n"
    "-a: export all namespaces (except ns0)\n"
    "-e <val>: select extensions to export where <val> can be a comma separated list of "
    "'none', 'default', 'doc', or 'all'.\n"
    "none: no node extensions will be exported.\n"
    "default: all known Velmora extensions will be exported (rtaddress, authorization).\n"
    "doc: nodeset <documentation> tags will be exported as documentation extension\n"
    "all: All extensions will be exported. Unknown will be stored as XML extension also in the "
    "binary file\n"
    "so that they can be handled on application level.\n"
    "-i: specifies a SDK nsidx to export\n"
    "-u: specifies a namespace URI to export\n"
    "-b: byte string limit in byte (default = 4 MB = 4096 KB = 4194304 Byte)\n"
    "-p: print addressspace\n"
    "-l: default locale (default=auto)\n"
    "<base xml files>: must be specified in correct order, starting with the base model,\n"
    "followed by models built on top of the previous model.\n"
    "<xml file>: The information model which gets processed.\n"
    "Example: Convert the DI model to binary.\n"
    "vospack -i2 -v -o di.bin Opc.Ua.NodeSet2.xml Opc.Ua.Di.NodeSet2.xml\n";

const std::string kGeneratorUsage =
    std::string("Usage: vosgen [-h] [-o <outputfile>] [<base xml files...>] <xml file...>\n") +
    kCommonUsage +
    "-o: output directory name\n"
    "-a: export all namespaces (except ns0)\n"
    "-c <config>: generate only client side, no server code. You need to specify a config "
    "file with namespace mappings.\n"
    "-d: include description strings in output (default=off)\n"
    "-i: specifies a SDK nsidx and optional prefix to export (idx[:prefix[:alt_stor_idx]])\n"
    "-u: specifies a namespace URI and optional prefix to export (uri[;prefix;[alt_store_idx]])\n"
    "-b: byte string limit in byte (default = 4 MB = 4096 KB = 4194304 Byte)\n"
    "-n: library name to generate\n"
    "-N: no address space, only types (for SDK integration)\n"
    "-m: Generate provider skeleton for generated address space.\n"
    "-M <file>: address mapping file name\n"
    "-O: Overwrite existing implementation files.\n"
    "-p: print addressspace\n"
    "-P <file>: placeholder file name\n"
    "-l: default locale (default=auto)\n"
    "<base xml files>: must be specified in correct order, starting with the base model,\n"
    "followed by models built on top of the previous model.\n"
    "<xml file>: The information model which gets processed.\n"
    "Example: Generating code for DI model into folder 'output'.\n"
    "vosgen -i2:di:12 -v -o output Opc.Ua.NodeSet2.xml Opc.Ua.Di.NodeSet2.xml\n";

TEST(Cli, PersonalityFollowsTheInvocationName) {
  TempDir dir;
  const char* const refused = "error: Invalid executable name. Expected vospack or vosgen.\n";
  for (const char* name : {"VOSPACK.EXE", "vospac", "xvospack", "vosgen2", ""}) {
    RunResult r = run(dir, name, {"-h"});
    EXPECT_EQ(r.status, 1) << name;
    EXPECT_EQ(r.err, refused) << name;
    EXPECT_EQ(r.out, "") << name;
  }
  for (const char* name : {"vospack", "vospack.exe.bak", "C:\\tools\\vospack.exe", "./vospack"}) {
    RunResult r = run(dir, name, {"-h"});
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_EQ(r.err, kConverterUsage) << name;
  }
  RunResult gen = run(dir, "/usr/bin/vosgen", {"-h"});
  EXPECT_EQ(gen.status, 0);
  EXPECT_EQ(gen.err, kGeneratorUsage);
  EXPECT_EQ(gen.out, "");
}

TEST(Cli, VersionTexts) {
  TempDir dir;
  RunResult conv = run(dir, "vospack", {"-V"});
  EXPECT_EQ(conv.status, 0);
  EXPECT_EQ(conv.err, "");
  EXPECT_EQ(conv.out.rfind("vospack 1.8.1 (Build 426)", 0), 0u) << conv.out;
  EXPECT_NE(conv.out.find("\nSupported UA File Format: 1.9\n"), std::string::npos) << conv.out;
  EXPECT_EQ(conv.out.find("LARGE_TABLES"), std::string::npos);

  RunResult gen = run(dir, "vosgen", {"-V"});
  EXPECT_EQ(gen.status, 0);
  EXPECT_EQ(gen.out.rfind("vosgen 1.8.1 (Build 426)", 0), 0u) << gen.out;
  EXPECT_NE(gen.out.find("\nBuilt with UASERVER_SUPPORT_LARGE_TABLES=OFF\n"), std::string::npos);
  EXPECT_EQ(gen.out.find("File Format"), std::string::npos);
  // -h and -V end the program before anything is started: no trace file.
  EXPECT_FALSE(std::filesystem::exists(dir / "log.1.txt"));
}

TEST(Cli, OptionErrorsPrintTheUsageAndFail) {
  TempDir dir;
  RunResult unknown = run(dir, "vospack", {"-z"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "vospack: unknown option -z\n" + kConverterUsage);

  // Letters of the other personality are unknown.
  RunResult gen_only = run(dir, "vospack", {"-M", "map.txt"});
  EXPECT_EQ(gen_only.err, "vospack: unknown option -M\n" + kConverterUsage);
  RunResult conv_only = run(dir, "./vosgen", {"-e", "all"});
  EXPECT_EQ(conv_only.err, "./vosgen: unknown option -e\n" + kGeneratorUsage);

  RunResult missing = run(dir, "vosgen", {"-v", "-o"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "vosgen: -o argument missing\n" + kGeneratorUsage);

  RunResult lone_dash = run(dir, "vospack", {"-"});
  EXPECT_EQ(lone_dash.status, 1);
  EXPECT_EQ(lone_dash.err, kConverterUsage);
  EXPECT_FALSE(std::filesystem::exists(dir / "log.1.txt"));
}

TEST(Cli, ByteStringLimit) {
  TempDir dir;
  RunResult over = run(dir, "vospack", {"-b", "4194305"});
  EXPECT_EQ(over.status, 1);
  EXPECT_EQ(over.err, "error: The bytestring limit must not exceed 4194304 byte.\n");
  EXPECT_EQ(over.out, "");

  // The maximum itself is accepted: the run goes on to the back end.
  RunResult max = run(dir, "vospack", {"-b", "4194304", "-x"});
  EXPECT_EQ(max.out.rfind(kTraceBanner, 0), 0u) << max.out;
}

TEST(Cli, RunWithoutInputsStartsTheTraceAndReachesTheBackEnd) {
  TempDir dir;
  RunResult r = run(dir, "vospack", {"-x"});
  EXPECT_EQ(r.out.rfind(kTraceBanner, 0), 0u) << r.out;
  EXPECT_TRUE(std::filesystem::exists(dir / "log.1.txt"));
  // -x writes to the converter's default output path.
  EXPECT_NE(r.out.find("'output.bin'"), std::string::npos) << r.out;
}

// The two fixed namespace entries are made after the verbosity is set: -vv shows them.
TEST(Cli, FixedNamespaceEntriesPrintTheirDebugLines) {
  TempDir dir;
  write_file(dir / "m.xml",
             "<UANodeSet><NamespaceUris><Uri>urn:a</Uri></NamespaceUris>"
             "<Models><Model ModelUri=\"urn:a\"/></Models></UANodeSet>\n");
  RunResult r = run(dir, "vospack", {"-vv", "-x", "m.xml"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err.rfind("debug: Adding uri 'http://opcfoundation.org/UA/'\n"
                        "debug: Adding uri 'urn:velmora:vos:server'\n",
                        0),
            0u)
      << r.err;
  EXPECT_NE(r.err.find("debug: Adding uri 'urn:a'\n"), std::string::npos) << r.err;
  // One -v is not debug output.
  EXPECT_EQ(run(dir, "vospack", {"-v", "-x", "m.xml"}).err.find("Adding uri"), std::string::npos);
}

TEST(Cli, ModelFilesLoadInOrderAndTheFirstFailureStops) {
  TempDir dir;
  write_file(dir / "good.xml", "<?xml version=\"1.0\"?>\n<UANodeSet><Models/></UANodeSet>\n");
  write_file(dir / "bad.xml", "<UANodeSet>\n  <a></b>\n</UANodeSet>\n");
  RunResult r = run(dir, "vospack", {"good.xml", "bad.xml", "never.xml"});
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("Expected </b>, but got </a>\n"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("error: failed to load 'bad.xml'\n"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("never.xml"), std::string::npos) << r.err;

  // Scanning stops at the first operand: a later -q is a file name.
  RunResult late = run(dir, "vospack", {"-v", "good.xml", "-q"});
  EXPECT_NE(late.err.find("error: failed to load '-q'\n"), std::string::npos) << late.err;
}

// An input that cannot be read, or holds no XML, says why before the specified line.
TEST(Cli, UnreadableInputsSayWhy) {
  TempDir dir;
  std::filesystem::create_directory(dir / "adir");
  write_file(dir / "empty.xml", "");
  // What every PNG image starts with: its signature and the length of its first chunk.
  write_file(dir / "image.png", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
  const std::pair<std::string, std::string> cases[] = {
      {"missing.xml", "error: cannot read 'missing.xml': No such file or directory\n"},
      {"adir", "error: cannot read 'adir': Is a directory\n"},
      {"empty.xml", "error: 'empty.xml' is empty\n"},
      {"/dev/null", "error: '/dev/null' is empty\n"},
      {"image.png", "error: 'image.png' is not an XML text file: a NUL byte at line 3, column 1\n"},
  };
  for (const auto& [path, why] : cases) {
    RunResult r = run(dir, "vospack", {path});
    EXPECT_EQ(r.status, 255) << path;
    EXPECT_EQ(r.err, why + "error: failed to load '" + path + "'\n") << path;
    EXPECT_EQ(r.out.rfind(kTraceBanner, 0), 0u) << path;
  }
}

TEST(Cli, SuppressionFileOptions) {
  TempDir dir;
  RunResult missing = run(dir, "vospack", {"-S", "nope.sup"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "error: failed to load suppression file 'nope.sup'.\n");

  // -r and -S share one path: the recorded warnings go to the file -S named last.
  write_file(dir / "in.sup", "# old\n1004:model.xml:7\n");
  RunResult shared = run(dir, "vospack", {"-r", "out.sup", "-S", "in.sup", "-x"});
  EXPECT_FALSE(std::filesystem::exists(dir / "out.sup"));
  EXPECT_EQ(read_file(dir / "in.sup"),
            "# vospack/vosgen warnings suppression file\n"
            "# <warning>:<file>:<lineno>\n"
            "1004:model.xml:7\n");
}

}  // namespace
