// Edge cases of the C generator run as a whole process: the DATE and REFORMAT switches,
// identifiers that get no macro, the path-name limit, the order of the encoding index
// table, refused option-set bases and optional-field counts, a model without data types,
// and output folders or files that cannot be made.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/addrspace_runtime.h"
#include "support/codegen_golden.h"
#include "support/testutil.h"

namespace vos {
namespace {

namespace fs = std::filesystem;
using test::RunResult;

using test::contains;

bool starts_with(const std::string& text, const std::string& head) {
  return text.compare(0, head.size(), head) == 0;
}


// A structure data type `name` with id ns=1;i=<id> and its "Default Binary" encoding object.
std::string structure(unsigned id, const std::string& name, unsigned encoding,
                      const std::string& fields) {
  std::ostringstream s;
  s << "  <UADataType NodeId=\"ns=1;i=" << id << "\" BrowseName=\"1:" << name << "\"><DisplayName>"
    << name << "</DisplayName>\n"
    << "    <References><Reference ReferenceType=\"HasSubtype\" "
       "IsForward=\"false\">i=22</Reference>"
    << "<Reference ReferenceType=\"HasEncoding\">ns=1;i=" << encoding
    << "</Reference></References>\n"
    << "    <Definition Name=\"1:" << name << "\">" << fields << "</Definition></UADataType>\n"
    << "  <UAObject NodeId=\"ns=1;i=" << encoding
    << "\" BrowseName=\"Default Binary\"><DisplayName>Default Binary</DisplayName></UAObject>\n";
  return s.str();
}

std::string optional_fields(int count) {
  std::string fields;
  for (int i = 0; i < count; ++i) {
    fields += "<Field Name=\"F" + std::to_string(i) + "\" DataType=\"Int32\" IsOptional=\"true\"/>";
  }
  return fields;
}

// "#define %-60s %s\n"
std::string define_line(const std::string& name, const std::string& value) {
  std::string padded = name;
  if (padded.size() < 60) padded.resize(60, ' ');
  return "#define " + padded + " " + value + "\n";
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  char buf[32];
  std::strftime(buf, sizeof buf, "%F", std::localtime(&now));
  return buf;
}

class CodegenEdge : public ::testing::Test {
 protected:
  void SetUp() override {
    ns0_ = (test::codegen_fixture_dir() / "ns0.xml").string();
    golden_ = (test::codegen_fixture_dir() / "golden.xml").string();
  }

  // vosgen <args> <ns0> <models...> in the scratch folder, with DATE and REFORMAT as given.
  RunResult run(std::vector<std::string> args, const std::vector<std::string>& models,
                std::optional<std::string> date = "2000-01-01",
                std::optional<std::string> reformat = std::nullopt) {
    test::ScopedEnv d("DATE", std::move(date));
    test::ScopedEnv r("REFORMAT", std::move(reformat));
    args.push_back(ns0_);
    args.insert(args.end(), models.begin(), models.end());
    return test::run_vosgen(args, dir_.path());
  }
  RunResult run_golden(std::vector<std::string> options) {
    options.insert(options.end(), {"-u", "urn:golden;gd", "-o", "out"});
    return run(options, {golden_});
  }
  std::string write_model(const std::string& name, const std::string& text) {
    test::write_file(dir_ / name, text);
    return (dir_ / name).string();
  }
  std::string out(const std::string& name) { return test::read_file(dir_ / "out" / name); }

  test::TempDir dir_;
  std::string ns0_;
  std::string golden_;
};

TEST_F(CodegenEdge, GeneratorLineTakesAtMost19CharactersOfDate) {
  RunResult r;
  {
    test::ScopedEnv date("DATE", "2000-01-01T12:34:56.789Z");
    r = test::run_vosgen({"-N", "-u", "urn:golden;gd", "-o", "out", ns0_, golden_}, dir_.path());
  }
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> files = test::list_files(dir_ / "out");
  ASSERT_FALSE(files.empty());
  for (const std::string& f : files) {
    const fs::path p(f);
    const bool c_style = p.extension() == ".c" || p.extension() == ".h";
    const std::string header = c_style ? test::c_file_header("2000-01-01T12:34:56")
                                       : test::hash_file_header("2000-01-01T12:34:56");
    EXPECT_TRUE(starts_with(out(f), header)) << f << ":\n" << out(f).substr(0, 800);
  }

  // Without DATE the line carries today's local date as YYYY-MM-DD.
  fs::remove_all(dir_ / "out");
  const std::string before = today();
  r = run({"-N", "-u", "urn:golden;gd", "-o", "out"}, {golden_}, std::nullopt);
  const std::string after = today();
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string text = out("gd/identifier.h");
  EXPECT_TRUE(starts_with(text, test::c_file_header(before)) ||
              starts_with(text, test::c_file_header(after)))
      << text.substr(0, 600);
}

class FakeClangFormat : public CodegenEdge {
 protected:
  void SetUp() override {
    CodegenEdge::SetUp();
    fs::create_directory(dir_ / "bin");
    test::write_file(dir_ / "bin" / "clang-format", "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" +
                                                        (dir_ / "calls.txt").string() + "'\n");
    fs::permissions(dir_ / "bin" / "clang-format", fs::perms::owner_all);
    const char* path = std::getenv("PATH");
    path_.emplace("PATH", (dir_ / "bin").string() + ":" + (path ? path : "/usr/bin:/bin"));
  }
  void TearDown() override { path_.reset(); }

  // The recorded command lines, each with the number of times it was seen. clang-format
  // gets the temporary file (".<name>.XXXXXX<ext>" beside the file): its name is read back
  // as the file's own.
  std::map<std::string, int> calls() {
    static const std::regex temporary(R"(/\.([^/]+)\.[A-Za-z0-9]{6}(\.[ch])$)");
    std::map<std::string, int> seen;
    std::istringstream in(test::read_file(dir_ / "calls.txt"));
    for (std::string line; std::getline(in, line);) {
      ++seen[std::regex_replace(line, temporary, "/$1$2")];
    }
    return seen;
  }

  std::optional<test::ScopedEnv> path_;
};

TEST_F(FakeClangFormat, RunsOnlyForReformatClangAndOnlyOnCFiles) {
  for (const char* value : {"clang-format", "Clang", "clang ", ""}) {
    const RunResult r = run({"-N", "-u", "urn:golden;gd", "-o", "out"}, {golden_}, "2000-01-01",
                            std::string(value));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(fs::exists(dir_ / "calls.txt")) << "REFORMAT=\"" << value << "\"";
    fs::remove_all(dir_ / "out");
  }

  // -N writes a CMake list per namespace, -c the top-level one: neither is reformatted.
  test::write_file(dir_ / "mapping.txt", "7;urn:golden\n");
  for (const std::vector<std::string>& mode :
       {std::vector<std::string>{"-N"}, std::vector<std::string>{"-c", "mapping.txt"}}) {
    fs::remove(dir_ / "calls.txt");
    fs::remove_all(dir_ / "out");
    std::vector<std::string> args = mode;
    args.insert(args.end(), {"-u", "urn:golden;gd", "-o", "out"});
    const RunResult r = run(args, {golden_}, "2000-01-01", "clang");
    ASSERT_EQ(r.status, 0) << r.err;
    std::map<std::string, int> expected;
    for (const std::string& f : test::list_files(dir_ / "out")) {
      const std::string ext = fs::path(f).extension().string();
      if (ext == ".c" || ext == ".h") expected["-i -- out/" + f] = 1;
    }
    ASSERT_GT(expected.size(), 20u);
    EXPECT_EQ(calls(), expected) << mode[0];
  }
}

// An output folder whose name starts with '-' stays a path ("--" ends clang-format's
// options); a clang-format that fails is a warning per file, the run still succeeds.
TEST_F(FakeClangFormat, FailingClangFormatIsAWarningAndDashPathsStayPaths) {
  test::write_file(
      dir_ / "bin" / "clang-format",
      "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" + (dir_ / "calls.txt").string() + "'\nexit 3\n");
  const RunResult r =
      run({"-N", "-u", "urn:golden;gd", "-o", "-out"}, {golden_}, "2000-01-01", "clang");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.err,
                       "warning (output_file_close): clang-format failed for "
                       "'-out/gd/identifier.h' (status 3); the file stays as generated.\n"))
      << r.err;
  const std::map<std::string, int> seen = calls();
  EXPECT_EQ(seen.count("-i -- -out/gd/identifier.h"), 1u) << seen.begin()->first;
  EXPECT_TRUE(starts_with(test::read_file(dir_ / "-out" / "gd" / "identifier.h"),
                          test::c_file_header("2000-01-01")));
}

TEST_F(CodegenEdge, IdentifierHeaderSkipsGuidAndOpaqueIdsAndCutsLongPaths) {
  const RunResult r = run_golden({"-N"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.err, "warning: ignored nodeid with type 2\n")) << r.err;
  EXPECT_TRUE(contains(r.err, "warning: ignored nodeid with type 3\n")) << r.err;
  const std::string ids = out("gd/identifier.h");
  EXPECT_FALSE(contains(ids, "GUIDNODE")) << ids;
  EXPECT_FALSE(contains(ids, "OPAQUENODE")) << ids;
  // The node after them still gets its line.
  EXPECT_TRUE(contains(ids, "#define GD_ID_SYM_NAME  ")) << ids;

  // 25 nested nodes below Objects: the path keeps the 20 lowest names.
  EXPECT_TRUE(contains(ids,
                       "\n#define GD_ID_L01_L02_L03_L04_L05_L06_L07_L08_L09_L10_L11_L12_L13_L14_"
                       "L15_L16_L17_L18_L19_L20 1120\n"))
      << ids;
  EXPECT_TRUE(contains(ids,
                       "\n#define GD_ID_L06_L07_L08_L09_L10_L11_L12_L13_L14_L15_L16_L17_L18_L19_"
                       "L20_L21_L22_L23_L24_V25 1125\n"))
      << ids;

  // Field names that are C keywords get a leading '_', a warning and the type's name.
  const std::string keyword =
      "' is a C keyword. Please fix your source model by defining a SymbolicName which is not a "
      "C keyword.\n";
  EXPECT_TRUE(contains(r.err, "warning: the field name 'default" + keyword)) << r.err;
  EXPECT_TRUE(contains(r.err, "warning: the field name 'int" + keyword)) << r.err;
  EXPECT_TRUE(contains(r.err, "info: the datatype 'Derived' contains the problematic field\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "info: the datatype 'WithOptional' contains the problematic field\n"))
      << r.err;
}

TEST_F(CodegenEdge, SecondNodeWithTheSameMacroNameIsNamedInAWarning) {
  // Two objects without a parent both come out as AXIS: the first keeps the name.
  const std::string m = write_model(
      "twins.xml",
      test::model_requiring_ns0(
          "urn:twins",
          R"(  <UAObject NodeId="ns=1;i=7" BrowseName="1:Axis"><DisplayName>A</DisplayName></UAObject>
  <UAObject NodeId="ns=1;s=Other.Axis" BrowseName="1:Axis"><DisplayName>A</DisplayName></UAObject>
)"));
  const RunResult r = run({"-N", "-u", "urn:twins;tw", "-o", "out"}, {m});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.err,
                       "warning: node ns=2;s=Other.Axis gets no identifier macro: TW_ID_AXIS "
                       "names node ns=2;i=7 already\n"))
      << r.err;
  const std::string ids = out("tw/identifier.h");
  EXPECT_TRUE(contains(ids, define_line("TW_ID_AXIS", "7"))) << ids;
  EXPECT_FALSE(contains(ids, "Other.Axis")) << ids;
}

TEST_F(CodegenEdge, TypeTablesOfStructuresAndOfEnumerationsOnly) {
  // Type ids ascending A < B, encoding ids the other way round.
  const std::string m = write_model(
      "enc.xml",
      test::model_requiring_ns0("urn:enc", structure(10, "Alpha", 20, "<Field Name=\"X\" DataType=\"Int32\"/>") +
                           structure(11, "Beta", 19, "<Field Name=\"Y\" DataType=\"Int32\"/>")));
  const RunResult r = run({"-N", "-u", "urn:enc;en", "-o", "out"}, {m});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string table = out("en/type_table.c");
  const std::size_t alpha = table.find("    UA_DICT_NAME(\"Alpha\")\n");
  const std::size_t beta = table.find("    UA_DICT_NAME(\"Beta\")\n");
  ASSERT_NE(alpha, std::string::npos) << table;
  ASSERT_NE(beta, std::string::npos) << table;
  EXPECT_LT(alpha, beta) << "structure rows follow the type identifiers";
  EXPECT_TRUE(contains(table,
                       "const struct ua_type_table_idx_table g_type_table_en_idx_table[] = {\n"
                       "    { EN_ID_BETA_ENCODING_DEFAULTBINARY, 1 },\n"
                       "    { EN_ID_ALPHA_ENCODING_DEFAULTBINARY, 0 },\n"
                       "};\n"))
      << table;
  // A namespace with structures only has no integer table.
  EXPECT_TRUE(contains(table,
                       "static const struct ua_dict_inttype *g_inttype_table_en = NULL;\n"
                       "static const uint16_t g_inttype_table_en_count = 0;\n"))
      << table;

  // One with enumerations only has no structure table and no index table.
  fs::remove_all(dir_ / "out");
  const std::string e = write_model("enum.xml", test::model_requiring_ns0("urn:enum", R"(
  <UADataType NodeId="ns=1;i=1" BrowseName="1:Mode"><DisplayName>Mode</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=29</Reference></References>
    <Definition Name="1:Mode"><Field Name="Off" Value="0"/></Definition></UADataType>
)"));
  const RunResult re = run({"-N", "-u", "urn:enum;ee", "-o", "out"}, {e});
  ASSERT_EQ(re.status, 0) << re.err;
  const std::string enums = out("ee/type_table.c");
  EXPECT_TRUE(contains(enums,
                       "};\nstatic const uint16_t g_inttype_table_ee_count = "
                       "countof(g_inttype_table_ee);\n\n"
                       "static const struct ua_dict_structure *g_type_table_ee = NULL;\n"
                       "static const uint16_t g_type_table_ee_count = 0;\n"
                       "const struct ua_type_table_idx_table *g_type_table_ee_idx_table = NULL;\n"))
      << enums;
}

// Field rows hold member offsets in 16 bits. A structure that may outgrow them carries a
// declaration that only compiles while it is at most 65,536 bytes: 60 nested structures of
// 800 bytes compile, 100 are refused even without -Werror.
TEST_F(CodegenEdge, StructuresBeyondSixteenBitOffsetsDoNotCompile) {
  const fs::path cc = test::system_cc();
  if (cc.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  const auto fields = [](int count, const std::string& type) {
    std::string f;
    for (int i = 0; i < count; ++i) {
      f += "<Field Name=\"F" + std::to_string(i) + "\" DataType=\"" + type + "\"/>";
    }
    return f;
  };
  const std::string m = write_model(
      "big.xml", test::model_requiring_ns0("urn:big", structure(1, "Inner", 2, fields(100, "i=11")) +
                                      structure(3, "Fits", 4, fields(60, "ns=1;i=1")) +
                                      structure(5, "Huge", 6, fields(100, "ns=1;i=1"))));
  const RunResult r = run({"-N", "-u", "urn:big;bg", "-o", "out"}, {m});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_FALSE(contains(out("bg/inner.c"), "offsets_fit"));
  for (const std::string name : {"fits", "huge"}) {
    const std::string source = out("bg/" + name + ".c");
    EXPECT_TRUE(contains(source, "typedef char g_bg_" + name + "_offsets_fit[sizeof(struct bg_" +
                                     name + ") <= 65536 ? 1 : -1];\n"))
        << source;
    const RunResult c = test::run_program(
        cc, "cc",
        {"-std=c99", "-fsyntax-only", "-I" + (test::cruntime_dir() / "include").string(),
         "-I" + (dir_ / "out").string(), (dir_ / "out" / "bg" / (name + ".c")).string()},
        dir_.path());
    EXPECT_EQ(c.status, name == "fits" ? 0 : 1) << c.err;
    EXPECT_EQ(contains(c.err, "g_bg_huge_offsets_fit"), name == "huge") << c.err;
  }
}

TEST_F(CodegenEdge, OptionSetOverInt32IsRefused) {
  const std::string m = write_model("oset.xml", test::model_requiring_ns0("urn:oset", R"(
  <UADataType NodeId="ns=1;i=1" BrowseName="1:Signed"><DisplayName>Signed</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=6</Reference></References>
    <Definition Name="1:Signed" IsOptionSet="true"><Field Name="A" Value="0"/></Definition></UADataType>
)"));
  const RunResult r = run({"-N", "-u", "urn:oset;os", "-o", "out"}, {m});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "the basetype of the optionset is not supported (id=6).\n")) << r.err;
  EXPECT_TRUE(contains(r.out, "\nerror: failed to generate C code.\n")) << r.out;
  EXPECT_FALSE(contains(r.out, "Successfully")) << r.out;
}

TEST_F(CodegenEdge, ThirtyTwoOptionalFieldsAndNoMore) {
  const std::string ok =
      write_model("ok.xml", test::model_requiring_ns0("urn:opt", structure(1, "Big", 2, optional_fields(32))));
  RunResult r = run({"-N", "-u", "urn:opt;op", "-o", "out"}, {ok});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string header = out("op/big.h");
  EXPECT_TRUE(contains(header, "    OP_BIG_F0 = (1 << 0),\n")) << header;
  EXPECT_TRUE(
      contains(header,
               "    OP_BIG_F31 = INT32_MIN, /* 1u << 31 */\n    OP_BIG_MAX_ENUM_VALUE = INT32_MAX,\n"))
      << header;
  EXPECT_TRUE(contains(header, "extern const struct ua_dict_field g_op_big_fields[33];\n"))
      << header;
  // The mask of the 32nd field is an enumerator, an int, in ISO C.
  for (const fs::path& cc : {test::gcc_path(), test::clang_path()}) {
    if (cc.empty()) continue;
    const RunResult c = test::run_program(
        cc, cc.filename().string(),
        {"-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", "-fsyntax-only",
         "-I" + (test::cruntime_dir() / "include").string(), "-I" + (dir_ / "out").string(),
         (dir_ / "out" / "op" / "big.c").string()},
        dir_.path());
    EXPECT_EQ(c.status, 0) << cc << ": " << c.err;
  }

  fs::remove_all(dir_ / "out");
  const std::string bad =
      write_model("bad.xml", test::model_requiring_ns0("urn:opt", structure(1, "Big", 2, optional_fields(33))));
  r = run({"-N", "-u", "urn:opt;op", "-o", "out"}, {bad});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(
      contains(r.err, "error (output_c_enum_fields_for_stucture_wof): too many optional fields.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.out, "\nerror: failed to generate C code.\n")) << r.out;
}

TEST_F(CodegenEdge, ModelWithoutDataTypesGivesAnInterfaceLibrary) {
  // An abstract structure does not count as a data type of the namespace.
  const std::string m = write_model("plain.xml", test::model_requiring_ns0("urn:plain", R"(
  <UAObject NodeId="ns=1;i=1" BrowseName="1:Thing"><DisplayName>Thing</DisplayName>
    <References><Reference ReferenceType="Organizes" IsForward="false">i=85</Reference></References></UAObject>
  <UADataType NodeId="ns=1;i=2" BrowseName="1:Shape" IsAbstract="true"><DisplayName>Shape</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=22</Reference></References>
    <Definition Name="1:Shape"><Field Name="Sides" DataType="Int32"/></Definition></UADataType>
)"));
  // The mapping names a namespace that no model loaded: ignored, the index stays 2.
  test::write_file(dir_ / "mapping.txt", "5;urn:other\n");
  const RunResult r = run({"-c", "mapping.txt", "-u", "urn:plain;pl", "-o", "out"}, {m});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(test::list_files(dir_ / "out"),
            (std::vector<std::string>{"CMakeLists.txt", "pl/identifier.h"}));

  const std::string ids = test::c_file_header("2000-01-01") +
                          "#ifndef PL_IDENTIFIER_H\n#define PL_IDENTIFIER_H\n?\n"
                          "/* NO_EXTERN_C_NEEDED */\n?\n/* model information */\n?\n"
                          "#define PL_MODEL_NAMESPACE_INDEX 2\n"
                          "#define PL_MODEL_NAMESPACE_URI \"urn:plain\"\n"
                          "#define PL_MODEL_NAMESPACE_VERSION \"1.0.0\"\n"
                          "#define PL_MODEL_NAMESPACE_PUBLICATION_DATE \"2024-01-01T00:00:00Z\"\n"
                          "\n/* datatype identifiers */\n" +
                          define_line("PL_ID_THING", "1") + define_line("PL_ID_SHAPE", "2") +
                          "\n#endif /* end of includeguard: PL_IDENTIFIER_H */\n\n";
  std::string diff = test::compare_lines(ids, out("pl/identifier.h"));
  if (!diff.empty()) ADD_FAILURE() << "pl/identifier.h: " << diff;

  const std::string cmake = test::hash_file_header("2000-01-01") +
                            "project(mymodel C)\n"
                            "cmake_minimum_required(VERSION 3.15)\n"
                            "\n"
                            "@@\n"
                            "set(SOURCES\n"
                            ")\n"
                            "\n"
                            "set(HEADERS\n"
                            "    pl/identifier.h\n"
                            ")\n"
                            "\n"
                            "add_library(${PROJECT_NAME} INTERFACE)\n";
  diff = test::compare_lines(cmake, out("CMakeLists.txt"));
  if (!diff.empty()) ADD_FAILURE() << "CMakeLists.txt: " << diff;
}

// Two namespaces with a data type each; the second one's folder is blocked by a file. The
// first namespace's type files are written before the failure and stay.
TEST_F(CodegenEdge, FolderThatCannotBeMadeEndsTheRunAndKeepsEarlierFiles) {
  const std::string enum_body = R"(
  <UADataType NodeId="ns=1;i=1" BrowseName="1:Mode"><DisplayName>Mode</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=29</Reference></References>
    <Definition Name="1:Mode"><Field Name="Off" Value="0"/><Field Name="On" Value="1"/></Definition></UADataType>
)";
  const std::string a = write_model("a.xml", test::model_requiring_ns0("urn:a", enum_body));
  const std::string b = write_model("b.xml", test::model_requiring_ns0("urn:b", enum_body));
  fs::create_directory(dir_ / "out");
  test::write_file(dir_ / "out" / "bb", "in the way\n");
  const RunResult r = run({"-N", "-u", "urn:a;aa", "-u", "urn:b;bb", "-o", "out"}, {a, b});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "error (output_c_datatype): mkpath 'out/bb' failed'.\n")) << r.err;
  EXPECT_TRUE(contains(r.out, "\nerror: failed to generate C code.\n")) << r.out;
  EXPECT_TRUE(starts_with(out("aa/mode.h"), test::c_file_header("2000-01-01")));
  EXPECT_TRUE(contains(out("aa/mode.h"), "    AA_MODE_ON = 1,\n"));
  EXPECT_TRUE(fs::is_regular_file(dir_ / "out" / "aa" / "mode.c"));
  EXPECT_EQ(test::read_file(dir_ / "out" / "bb"), "in the way\n");
}

TEST_F(CodegenEdge, FileThatCannotBeOpenedIsNamedWithTheSystemError) {
  fs::create_directories(dir_ / "out" / "gd" / "identifier.h");
  const RunResult r = run_golden({"-N"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err,
                       "could not open file 'out/gd/identifier.h' for writing: Is a "
                       "directory (21)\n"))
      << r.err;
  EXPECT_TRUE(contains(r.out, "\nerror: failed to generate C code.\n")) << r.out;
  // The data type files came before and stay.
  EXPECT_TRUE(fs::is_regular_file(dir_ / "out" / "gd" / "base.h"));
}

}  // namespace
}  // namespace vos
