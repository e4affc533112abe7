// A model's texts, option texts and environment texts stay text in the generated tree: the
// encoders keep every byte value (proved by compiling their output with the machine's C
// compilers and reading it back), hostile models give trees that compile and define nothing
// the model planted, files replace what stood at their path, a failed file leaves nothing,
// and random texts from a hostile alphabet reach the test runtime byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "support/addrspace_runtime.h"
#include "support/codegen_golden.h"
#include "support/testutil.h"
#include "tools/vospack/codegen/encoders.h"
#include "tools/vospack/codegen/naming.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

using test::contains;

std::vector<fs::path> compilers() {
  std::vector<fs::path> out;
  for (const fs::path& cc : {test::gcc_path(), test::clang_path()}) {
    if (!cc.empty()) out.push_back(cc);
  }
  return out;
}

// The names the hostile texts plant: a macro, and a variable. Compiled with PLANTED_X
// defined otherwise and planted_y declared a type, a tree that defines either fails.
constexpr const char* kProbeHeader = "typedef struct planted_tag planted_y;\n";

std::vector<std::string> tree_flags(const fs::path& tree, const fs::path& probe) {
  std::vector<std::string> flags = test::runtime_cflags(tree);
  flags.insert(flags.end(), {"-DPLANTED_X=2", "-include", probe.string(),
                             "-DUA_SUPPORT_HISTORIZING", "-DUA_SUPPORT_DESCRIPTION"});
  return flags;
}

// Compiles every source of the tree (rolepermissions.c is part of ns0.c) and every header
// on its own with each compiler. Returns the failures, empty when there are none.
std::string compile_tree(const fs::path& tree, const fs::path& work) {
  fs::create_directories(work);
  const fs::path probe = work / "probe.h";
  test::write_file(probe, kProbeHeader);
  std::string failures;
  for (const std::string& f : test::list_files(tree)) {
    const fs::path path = tree / f;
    fs::path unit = path;
    if (path.extension() == ".h") {
      unit = work / "unit.c";
      test::write_file(unit, "#include \"" + path.string() + "\"\n");
    } else if (path.extension() != ".c" || path.filename() == "rolepermissions.c") {
      continue;
    }
    for (const fs::path& cc : compilers()) {
      std::vector<std::string> args = tree_flags(tree, probe);
      args.insert(args.end(), {"-c", "-o", (work / "unit.o").string(), unit.string()});
      const RunResult r = test::run_program(cc, cc.filename().string(), args, work);
      if (r.status != 0) failures += cc.filename().string() + " " + f + ":\n" + r.err;
    }
  }
  return failures;
}

// Bytes 0 to 255 twice, every trigraph, and the characters that end literals and comments.
std::string every_byte() {
  std::string text;
  for (int round = 0; round < 2; ++round) {
    for (int c = 0; c < 256; ++c) text += static_cast<char>(c);
  }
  return text + "\?\?/\?\?=\?\?'\?\?(\?\?)\?\?!\?\?<\?\?>\?\?-\"\\*/ int planted_y = 1; /*?";
}

// The encoders' output compiled into a program that prints the literals back: every byte
// value survives a string literal, a comment swallows everything, a long escaped literal
// stays within what a C99 compiler must accept.
TEST(CodegenEncoders, EveryByteValueSurvivesLiteralAndComment) {
  std::mt19937 random(17);
  std::string long_text;
  for (int i = 0; i < 1023; ++i) long_text += static_cast<char>(random() & 0xFF);
  const std::vector<std::string> texts = {every_byte(), long_text, std::string(2047, '?'), ""};

  std::string program = "#include <stdio.h>\n";
  std::string expected;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::string escaped;
    ASSERT_EQ(cg_escape_c_string(texts[i], escaped), 0) << i;
    EXPECT_EQ(cg_escaped_length(texts[i]), escaped.size()) << i;
    EXPECT_TRUE(cg_fits_c_literal(texts[i]));
    program += "static const char s" + std::to_string(i) + "[] = \"" + escaped + "\";\n";
    program += "/* " + cg_comment_text(texts[i]) + " */\n";
    expected += texts[i];
  }
  EXPECT_FALSE(cg_fits_c_literal(std::string(2048, '?')));
  program += "static const int planted_y = 2;\nint main(void)\n{\n";
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string n = std::to_string(i);
    program += "    fwrite(s" + n + ", 1, sizeof s" + n + " - 1, stdout);\n";
  }
  program += "    return planted_y - 2;\n}\n";

  test::TempDir dir;
  test::write_file(dir / "bytes.c", program);
  const std::vector<fs::path> ccs = compilers();
  if (ccs.empty()) GTEST_SKIP() << "no C compiler on this machine";
  for (const fs::path& cc : ccs) {
    SCOPED_TRACE(cc.string());
    const RunResult built = test::run_program(
        cc, "cc",
        {"-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", "-o", "bytes", "bytes.c"},
        dir.path());
    ASSERT_EQ(built.status, 0) << built.err;
    const RunResult ran = test::run_program(dir / "bytes", "bytes", {}, dir.path());
    ASSERT_EQ(ran.status, 0);
    EXPECT_TRUE(ran.out == expected) << "the program printed other bytes";
  }
}

// What the comment and CMake encoders leave can end nothing and start nothing.
TEST(CodegenEncoders, CommentAndCMakeTextsHoldNoMarkOrLineBreak) {
  const std::string text = every_byte() + "*" + "/" + "?" + "?" + "/" + "*";
  const std::string comment = cg_comment_text(text);
  for (const char c : comment) EXPECT_TRUE(c >= 0x20 && c < 0x7F) << int(c);
  EXPECT_FALSE(contains(comment, "*/"));
  EXPECT_FALSE(contains(comment, "/*"));
  EXPECT_FALSE(contains(comment, "??"));
  EXPECT_EQ(cg_comment_text("a*/b/*c\?\?=d\n\xc3\xa4"), "a* /b/ *c? ?=d\\x0A\\xC3\\xA4");
  EXPECT_EQ(cg_comment_text("Generated by vosgen V1.8.1 on 2000-01-01."),
            "Generated by vosgen V1.8.1 on 2000-01-01.");

  const std::string cmake = cg_cmake_comment_text(text);
  for (const char c : cmake) EXPECT_TRUE(c >= 0x20 && c < 0x7F) << int(c);
  EXPECT_EQ(cg_cmake_comment_text("2000\nadd_subdirectory(x)"), "2000\\x0Aadd_subdirectory(x)");
  EXPECT_EQ(cg_cmake_name("my lib\n)${X}.1+-_"), "my_lib____X_.1+-_");
  EXPECT_EQ(cg_cmake_name(""), "_");
}

class CodegenSafety : public ::testing::Test {
 protected:
  RunResult vosgen(std::vector<std::string> args, const std::vector<std::string>& models,
                   const std::string& date = "2000-01-01") {
    test::ScopedEnv d("DATE", date);
    test::ScopedEnv r("REFORMAT", std::nullopt);
    args.insert(args.end(), {"-o", "out", test::codegen_ns0_fixture().string()});
    args.insert(args.end(), models.begin(), models.end());
    return test::run_vosgen(args, dir_.path());
  }
  // The entries of the scratch folder other than the output tree and trace files.
  std::vector<std::string> outside_out() {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir_.path())) {
      const std::string name = e.path().filename().string();
      if (name != "out" && name != "cc" && name.rfind("log", 0) != 0) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string out(const std::string& name) { return test::read_file(dir_ / "out" / name); }

  test::TempDir dir_;
};

// The hostile model through every mode: the tree compiles with gcc and clang, defines no
// planted name, and holds the texts escaped; nothing is written outside -o.
TEST_F(CodegenSafety, HostileModelStaysTextInEveryMode) {
  if (compilers().empty()) GTEST_SKIP() << "no C compiler on this machine";
  const std::string model =
      (test::codegen_fixture_dir().parent_path() / "hostile" / "model.xml").string();
  test::write_file(dir_ / "map.txt", "7;urn:other\n");
  const std::vector<std::vector<std::string>> modes = {{"-m", "-d", "-i", "0:ua", "-i", "2:hx"},
                                                       {"-N", "-i", "2:hx"},
                                                       {"-c", "map.txt", "-i", "2:hx"}};
  for (const std::vector<std::string>& mode : modes) {
    SCOPED_TRACE(mode[0]);
    fs::remove_all(dir_ / "out");
    const RunResult r = vosgen(mode, {model});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(outside_out(), std::vector<std::string>{"map.txt"});
    EXPECT_EQ(compile_tree(dir_ / "out", dir_ / "cc"), "");
    const std::string identifier = out("hx/identifier.h");
    EXPECT_TRUE(contains(identifier,
                         "#define HX_MODEL_NAMESPACE_URI \"urn:x\\\"\\012#define PLANTED_X "
                         "1\\012#include \\\"/etc/passwd\\\"\\012*/ int planted_y = 1; /* "
                         "\\?\\?/ \\?\\?= \\\\\"\n"
                         "#define HX_MODEL_NAMESPACE_VERSION \"1\\\"\\012#define PLANTED_X "
                         "1\\012\"\n"))
        << identifier;
    EXPECT_TRUE(contains(identifier, " \"q\\\"\\012#define PLANTED_X 1 \\?\\?/\"\n")) << identifier;
    EXPECT_TRUE(contains(out("hx/type_table.c"),
                         "namespace urn:x\"\\x0A#define PLANTED_X 1\\x0A#include "
                         "\"/etc/passwd\"\\x0A* / int planted_y = 1; / * ? ?/ ? ?= \\.\n"));
    if (mode[0] != "-m") continue;
    // The role list of namespace 0 and the permission sets.
    EXPECT_TRUE(contains(out("ua/ns0.c"),
                         "    \"ns=2;s=role\\\"*/\\?\\?/\\012#define PLANTED_X 1\", /* * / int "
                         "planted_y = 1; / * ? ?/ */\n"));
    EXPECT_TRUE(contains(out("ua/rolepermissions.c"),
                         "/* ns=2;s=role\"* /? ?/\\x0A#define PLANTED_X 1 */\n"));
  }
}

// DATE and the library name come from the user's environment and command line: a DATE
// that would not stay a comment ends the run before any file, a library name becomes one
// CMake argument.
TEST_F(CodegenSafety, DateAndLibraryNameStayText) {
  const std::string model = (test::codegen_fixture_dir() / "addrspace" / "model.xml").string();
  for (const char* date : {"2000\n#define X", "2000 */ int x; /*"}) {
    const RunResult r = vosgen({"-N", "-u", "urn:addrspace;as"}, {model}, date);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "error: DATE \"2000")) << r.err;
    EXPECT_FALSE(fs::exists(dir_ / "out"));
  }
  const RunResult r =
      vosgen({"-n", "lib)\nadd_subdirectory(/etc", "-u", "urn:addrspace;as"}, {model});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(out("CMakeLists.txt"), "\nproject(lib__add_subdirectory__etc C)\n"));
}

// A symbolic link in the tree is replaced by the file, never written through; a file that
// fails (a string NodeId that no literal holds) leaves nothing, not even its temporary file.
TEST_F(CodegenSafety, LinksAreReplacedAndFailedFilesLeaveNothing) {
  const std::string model = (test::codegen_fixture_dir() / "addrspace" / "model.xml").string();
  fs::create_directories(dir_ / "out" / "as");
  test::write_file(dir_ / "victim.txt", "mine\n");
  fs::create_symlink(dir_ / "victim.txt", dir_ / "out" / "as" / "identifier.h");
  ASSERT_EQ(vosgen({"-N", "-u", "urn:addrspace;as"}, {model}).status, 0);
  EXPECT_EQ(test::read_file(dir_ / "victim.txt"), "mine\n");
  EXPECT_FALSE(fs::is_symlink(dir_ / "out" / "as" / "identifier.h"));
  EXPECT_TRUE(contains(out("as/identifier.h"), "AS_MODEL_NAMESPACE_URI"));
  // A second run that writes the same text leaves the file and its time alone.
  const fs::path header = dir_ / "out" / "as" / "identifier.h";
  const auto long_ago = fs::file_time_type::clock::now() - std::chrono::hours(48);
  fs::last_write_time(header, long_ago);
  ASSERT_EQ(vosgen({"-N", "-u", "urn:addrspace;as"}, {model}).status, 0);
  EXPECT_EQ(fs::last_write_time(header), long_ago);

  // 2,048 question marks take 4,096 characters escaped: one more than a literal holds.
  std::string text = test::read_file(model);
  const std::string id = "ns=1;s=Tank.Level";
  for (std::size_t at = text.find(id); at != std::string::npos; at = text.find(id, at + 1)) {
    text.replace(at, id.size(), "ns=1;s=" + std::string(2048, '?'));
  }
  test::write_file(dir_ / "long.xml", text);
  for (const char* mode : {"-N", "-m"}) {
    SCOPED_TRACE(mode);
    fs::remove_all(dir_ / "out");
    const RunResult r = vosgen({mode, "-u", "urn:addrspace;as"}, {(dir_ / "long.xml").string()});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "the string NodeId of node ns=2;s=????")) << r.err;
    EXPECT_TRUE(contains(r.err, "is longer than a C string literal can hold")) << r.err;
    for (const std::string& f : test::list_files(dir_ / "out")) {
      EXPECT_NE(fs::path(f).filename().string()[0], '.') << f;
    }
    EXPECT_FALSE(fs::exists(dir_ / "out" / "as" / "identifier.h"));
    EXPECT_FALSE(fs::exists(dir_ / "out" / "as" / "ns2.c"));
  }
}

// Random texts from a hostile alphabet in the URI, BrowseNames, DisplayNames, Descriptions
// and string NodeIds: the tree compiles with gcc and clang, and the runtime reads back the
// address space that vospack writes for the same model, string for string.
TEST_F(CodegenSafety, RandomHostileTextsReachTheRuntimeExactly) {
  const std::vector<fs::path> ccs = compilers();
  if (ccs.empty()) GTEST_SKIP() << "no C compiler on this machine";
  const std::vector<std::string> alphabet = {
      "\"", "\\", "?", "\?\?/", "\?\?=", "*/", "/*", "\n", "%s", "%n", "'", "<",
      ">",  "&",  " ", "a",     "Z",     "0",  "_",  ";",  "\t", "é",  "€", "\xF0\x9F\x98\x80"};
  const auto xml = [](const std::string& text) {
    std::string out;
    for (const char c : text) {
      switch (c) {
        case '&':
          out += "&amp;";
          break;
        case '<':
          out += "&lt;";
          break;
        case '>':
          out += "&gt;";
          break;
        case '"':
          out += "&quot;";
          break;
        case '\n':
          out += "&#10;";
          break;
        case '\t':
          out += "&#9;";
          break;
        default:
          out += c;
      }
    }
    return out;
  };
  for (const unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto text = [&](const std::string& head) {
      std::string t = head;
      for (unsigned n = 1 + random() % 12; n > 0; --n) t += alphabet[random() % alphabet.size()];
      return xml(t);
    };
    const std::string uri = text("urn:");
    std::string body;
    for (int i = 0; i < 4; ++i) {
      const std::string n = std::to_string(i);
      body += "  <UAVariable NodeId=\"ns=1;s=" + text(n) + "\" BrowseName=\"1:" + text("n" + n) +
              "\" DataType=\"i=6\"><DisplayName>" + text("") + "</DisplayName><Description>" +
              text("") + "</Description>\n    <References><Reference ReferenceType=\"i=35\" " +
              "IsForward=\"false\">i=85</Reference><Reference ReferenceType=\"i=40\">i=63" +
              "</Reference></References></UAVariable>\n";
    }
    test::write_file(dir_ / "random.xml",
                     "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<UANodeSet "
                     "xmlns=\"http://opcfoundation.org/UA/2011/03/UANodeSet.xsd\">\n"
                     "  <NamespaceUris><Uri>" +
                         uri +
                         "</Uri></NamespaceUris>\n"
                         "  <Models><Model ModelUri=\"" +
                         uri + "\" Version=\"" + text("1") +
                         "\" PublicationDate=\"2024-01-01T00:00:00Z\"/></Models>\n" + body +
                         "</UANodeSet>\n");
    const std::vector<std::string> select = {"-0", "-i", "0:ua", "-i", "2:pr"};
    fs::remove_all(dir_ / "out");
    std::vector<std::string> args = select;
    args.push_back("-d");
    const RunResult gen = vosgen(args, {(dir_ / "random.xml").string()});
    ASSERT_EQ(gen.status, 0) << gen.err;
    args = select;
    args.insert(args.end(),
                {"-o", "file.bin", test::codegen_ns0_fixture().string(), (dir_ / "random.xml").string()});
    const RunResult conv = test::run_program(test::vospack_binary(), "vospack", args, dir_.path());
    ASSERT_EQ(conv.status, 0) << conv.err;
    for (const fs::path& cc : ccs) {
      SCOPED_TRACE(cc.string());
      EXPECT_EQ(test::runtime_sees_file(cc, dir_ / "out", dir_.path(),
                                        {"-DUA_SUPPORT_HISTORIZING", "-DUA_SUPPORT_DESCRIPTION"},
                                        dir_ / "file.bin", true),
                "");
    }
    EXPECT_EQ(compile_tree(dir_ / "out", dir_ / "cc"), "");
  }
}

}  // namespace
}  // namespace vos
