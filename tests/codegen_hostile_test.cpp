// Hostile names: models and options whose names would break the generated tree (prefixes
// that are no identifiers or clash, data types named like generated files or like each
// other, field and enumerator names that C refuses or that clash, types C cannot hold,
// encoding objects with unusual names). Each run, in every mode, either fails with a clear
// error before writing anything, or writes a tree that compiles with gcc and clang.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
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


// A data type ns=1;i=<id> below `super` with the given definition attributes and fields;
// structures (super i=22) get a "Default Binary" encoding object ns=1;i=<id + 1000>.
std::string datatype(unsigned id, const std::string& browse, const std::string& fields,
                     const std::string& super = "i=22", const std::string& def_attrs = "") {
  std::ostringstream s;
  const bool structure = super == "i=22" || super.rfind("ns=1;", 0) == 0;
  s << "  <UADataType NodeId=\"ns=1;i=" << id << "\" BrowseName=\"1:" << browse
    << "\"><DisplayName>x</DisplayName>\n    <References><Reference ReferenceType=\"HasSubtype\" "
       "IsForward=\"false\">"
    << super << "</Reference>";
  if (structure) s << "<Reference ReferenceType=\"HasEncoding\">ns=1;i=" << id + 1000 << "</Reference>";
  s << "</References>\n    <Definition Name=\"1:" << browse << "\"" << def_attrs << ">" << fields
    << "</Definition></UADataType>\n";
  if (structure) {
    s << "  <UAObject NodeId=\"ns=1;i=" << id + 1000
      << "\" BrowseName=\"Default Binary\"><DisplayName>Default Binary</DisplayName></UAObject>\n";
  }
  return s.str();
}

std::string field(const std::string& name, const std::string& type = "Int32",
                  const std::string& extra = "") {
  return "<Field Name=\"" + name + "\" DataType=\"" + type + "\"" + extra + "/>";
}

class CodegenHostile : public ::testing::Test {
 protected:
  void SetUp() override { ns0_ = (test::codegen_fixture_dir() / "ns0.xml").string(); }

  // vosgen <args> <ns0> <models...> in the scratch folder.
  RunResult run(std::vector<std::string> args, const std::vector<std::string>& models) {
    test::ScopedEnv d("DATE", "2000-01-01");
    args.push_back(ns0_);
    args.insert(args.end(), models.begin(), models.end());
    return test::run_vosgen(args, dir_.path());
  }
  std::string write_model(const std::string& name, const std::string& text) {
    test::write_file(dir_ / name, text);
    return (dir_ / name).string();
  }
  std::string out(const std::string& tree, const std::string& name) {
    return test::read_file(dir_ / tree / name);
  }

  // The three modes: the server tree with the provider, types only, client side.
  std::vector<std::vector<std::string>> modes(const std::vector<std::string>& uris) {
    std::string map;
    for (std::size_t i = 0; i < uris.size(); ++i) map += std::to_string(40 + i) + ";" + uris[i] + "\n";
    test::write_file(dir_ / "ns.map", map);
    return {{"-m"}, {"-N"}, {"-c", (dir_ / "ns.map").string()}};
  }

  // Compiles every .c file of the tree and every header on its own (twice, for its guard)
  // with gcc and clang at -pedantic; returns what the compilers said, empty when all compiled.
  std::string compile(const std::string& tree) {
    const fs::path root = dir_ / tree;
    std::vector<std::string> inputs;
    int n = 0;
    fs::create_directories(dir_ / (tree + ".hdr"));
    for (const auto& e : fs::recursive_directory_iterator(root)) {
      const fs::path& p = e.path();
      if (p.extension() == ".c") inputs.push_back(p.string());
      if (p.extension() == ".h") {
        std::string wrapper = "h";
        wrapper += std::to_string(n++);
        wrapper += ".c";
        const fs::path w = dir_ / (tree + ".hdr") / wrapper;
        // A header of macros alone would leave an empty translation unit, which ISO C forbids.
        test::write_file(w, "#include \"" + p.string() + "\"\n#include \"" + p.string() +
                                "\"\ntypedef int header_probe;\n");
        inputs.push_back(w.string());
      }
    }
    std::string said;
    for (const fs::path& cc : {test::gcc_path(), test::clang_path()}) {
      if (cc.empty()) continue;
      std::vector<std::string> args = test::runtime_cflags(root);
      args.push_back("-fsyntax-only");
      args.insert(args.end(), inputs.begin(), inputs.end());
      const RunResult r = test::run_program(cc, cc.filename().string(), args, dir_.path());
      if (r.status != 0) said += cc.string() + ":\n" + (r.out + r.err).substr(0, 3000);
    }
    return said;
  }

  // Runs every mode into out_<n>; each must succeed and compile. Returns the last run.
  RunResult generate_and_compile(const std::vector<std::string>& selection,
                                 const std::vector<std::string>& uris,
                                 const std::vector<std::string>& models) {
    RunResult r;
    int n = 0;
    for (std::vector<std::string> args : modes(uris)) {
      const std::string tree = "out_" + std::to_string(n++);
      args.insert(args.end(), selection.begin(), selection.end());
      args.insert(args.end(), {"-o", tree});
      r = run(args, models);
      EXPECT_EQ(r.status, 0) << args[0] << "\n" << r.err;
      if (r.status == 0) {
        EXPECT_EQ(compile(tree), "") << args[0];
      }
    }
    return r;
  }

  // Every mode fails with `message` and writes nothing.
  void expect_refused(const std::vector<std::string>& selection,
                      const std::vector<std::string>& uris,
                      const std::vector<std::string>& models, const std::string& message) {
    for (std::vector<std::string> args : modes(uris)) {
      args.insert(args.end(), selection.begin(), selection.end());
      args.insert(args.end(), {"-o", "deep/out"});
      const RunResult r = run(args, models);
      EXPECT_NE(r.status, 0) << args[0];
      EXPECT_TRUE(contains(r.err, message)) << args[0] << "\n" << r.err;
      EXPECT_FALSE(fs::exists(dir_ / "deep")) << args[0];
    }
  }

  test::TempDir dir_;
  std::string ns0_;
};

TEST_F(CodegenHostile, PrefixesGivenByTheUserMustBeUniqueIdentifiers) {
  const std::string m = write_model("m.xml", test::model_requiring_ns0("urn:m", datatype(1, "Foo", field("A"))));
  const std::string other = write_model("o.xml", test::model_requiring_ns0("urn:o", datatype(1, "Bar", field("B"))));
  const std::string bad = "is not a C identifier of at most 64 characters";
  for (const std::string prefix : {"../../x", "a b", ".", "a/b", "9lives", "x\"y"}) {
    std::string option = "2:";
    option += prefix;
    std::string message = "error: the prefix '";
    message += prefix;
    message += "' of namespace 2 (urn:m) ";
    message += bad;
    expect_refused({"-i", option}, {"urn:m"}, {m}, message);
  }
  EXPECT_FALSE(fs::exists(dir_.path().parent_path() / "x"));
  expect_refused({"-i", "2:" + std::string(65, 'p')}, {"urn:m"}, {m}, bad);
  expect_refused({"-i", "2:UA"}, {"urn:m"}, {m}, "of namespace 2 (urn:m) belongs to namespace 0");
  expect_refused({"-i", "2:uabase"}, {"urn:m"}, {m},
                 "is the name of a folder of the runtime's headers");
  expect_refused({"-u", "urn:m;Dup", "-u", "urn:o;dUP"}, {"urn:m", "urn:o"}, {m, other},
                 "error: namespaces 2 (urn:m) and 3 (urn:o) both have the prefix 'dUP'");
  // Nested prefixes: object ID_X of prefix a and object X of prefix a_id give one macro.
  const std::string object = R"(  <UAObject NodeId="ns=1;i=1" BrowseName="1:%"><DisplayName>o</DisplayName></UAObject>
)";
  const auto named = [&object](const std::string& name) {
    std::string body = object;
    body.replace(body.find('%'), 1, name);
    return body;
  };
  const std::string outer = write_model("p.xml", test::model_requiring_ns0("urn:p", named("ID_X")));
  const std::string inner = write_model("q.xml", test::model_requiring_ns0("urn:q", named("X")));
  expect_refused({"-u", "urn:p;a", "-u", "urn:q;a_id"}, {"urn:p", "urn:q"}, {outer, inner},
                 "error: namespaces 2 (prefix a) and 3 (prefix a_id) would both define "
                 "A_ID_ID_X;");
}

TEST_F(CodegenHostile, PrefixesMadeByTheToolAreMadeValidAndUnique) {
  // A one-letter URI leaves an empty default prefix, two three-letter URIs the same "ns",
  // and -i 4:ns2 takes the default of namespace 2.
  const std::string a = write_model("a.xml", test::model_requiring_ns0("u", datatype(1, "Foo", field("A"))));
  const std::string b = write_model("b.xml", test::model_requiring_ns0("abc", datatype(1, "Foo", field("B"))));
  const std::string c = write_model("c.xml", test::model_requiring_ns0("xyz", datatype(1, "Foo", field("C"))));
  const RunResult r = generate_and_compile({"-a"}, {"u", "abc", "xyz"}, {a, b, c});
  EXPECT_TRUE(contains(r.err, "warning: namespace 2 (u) gets the prefix 'ns2': its default "
                              "prefix '' is not a valid C identifier or is taken.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "warning: namespace 4 (xyz) gets the prefix 'ns_2'")) << r.err;
  for (const char* dir : {"ns2", "ns", "ns_2"}) {
    EXPECT_TRUE(fs::exists(dir_ / "out_1" / dir / "foo.h")) << dir;
  }
  const std::string d = write_model("d.xml", test::model_requiring_ns0("urn:d", datatype(1, "Foo", field("D"))));
  const std::string e = write_model("e.xml", test::model_requiring_ns0("urn:e", datatype(1, "Foo", field("E"))));
  const RunResult r2 = generate_and_compile({"-i", "2", "-i", "3:ns2"}, {"urn:d", "urn:e"}, {d, e});
  EXPECT_TRUE(contains(r2.err, "warning: namespace 2 (urn:d) gets the prefix 'ns2_2'")) << r2.err;
  EXPECT_TRUE(contains(out("out_1", "ns2/foo.h"), "struct ns2_foo {\n    /* foo fields */\n    int32_t e;"));
}

TEST_F(CodegenHostile, DataTypesNamedLikeGeneratedFilesOrLikeEachOtherAreRenamed) {
  const std::string m = write_model(
      "m.xml",
      test::model_requiring_ns0("urn:m", datatype(1, "Identifier", field("A")) + datatype(2, "Type_Table", field("A")) +
                         datatype(3, "NS2", field("A")) + datatype(4, "Foo", field("A")) +
                         datatype(5, "foo", field("B")) + datatype(6, "A-B", field("A")) +
                         datatype(7, "AB", field("A")) + datatype(8, "_Type_Identifier", field("A")) +
                         datatype(9, "Holder", field("F", "ns=1;i=5") + field("G", "ns=1;i=7")) +
                         // an option set X declares enum ns2_x_bits, which X_Bits would too
                         datatype(10, "X", R"(<Field Name="A" Value="0"/>)", "i=7",
                                  " IsOptionSet=\"true\"") +
                         datatype(11, "X_Bits", R"(<Field Name="B" Value="0"/>)", "i=29")));
  const RunResult r = generate_and_compile({"-i", "2:ns2"}, {"urn:m"}, {m});
  EXPECT_TRUE(contains(r.err, "warning: datatype ns=2;i=1 'Identifier' is generated as "
                              "'Identifier_2': its name clashes with the generated file "
                              "identifier.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "warning: datatype ns=2;i=5 'foo' is generated as 'foo_2': its "
                              "name clashes with datatype ns=2;i=4.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "'AB' is generated as 'AB_2': its name clashes with datatype "
                              "ns=2;i=6.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "'_Type_Identifier' is generated as '_Type_Identifier_2': its name "
                              "clashes with the file ns2/type_identifier.h.\n"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "'X_Bits' is generated as 'X_Bits_2': its name clashes with "
                              "datatype ns=2;i=10.\n"))
      << r.err;
  for (const char* file : {"identifier_2.h", "type_table_2.h", "ns2_2.h", "foo.h", "foo_2.h",
                           "ab.h", "ab_2.h", "_type_identifier_2.h", "x_bits_2.h"}) {
    EXPECT_TRUE(fs::exists(dir_ / "out_1" / "ns2" / file)) << file;
  }
  // The holder's fields name the renamed types: what the model says stays.
  const std::string holder = out("out_1", "ns2/holder.h");
  EXPECT_TRUE(contains(holder, "struct ns2_foo_2 f;\n    struct ns2_ab_2 g;")) << holder;
  const std::string ids = out("out_1", "ns2/identifier.h");
  EXPECT_TRUE(contains(ids, "#define NS2_ID_FOO_2 ")) << ids;
}

TEST_F(CodegenHostile, FieldAndEnumeratorNamesThatCWouldRefuseOrThatClash) {
  const std::string fields = field("2nd") + field("restrict") + field("inline") + field("true") +
                             field("Foo") + field("foo") + field("Mask") +
                             field("Opt", "Int32", " IsOptional=\"true\"");
  const std::string union_fields = field("None") + field("obj") + field("Obj") +
                                   field("Len", "Int32", " ValueRank=\"1\"") + field("int32_t");
  const std::string enum_fields =
      R"(<Field Name="Red" Value="0"/><Field Name="RED" Value="1"/><Field Name="Max_Enum_Value" Value="2"/>)";
  const std::string bits = R"(<Field Name="A" Value="0"/><Field Name="a" Value="15"/>)";
  const std::string m = write_model(
      "m.xml",
      test::model_requiring_ns0("urn:m", datatype(1, "S", fields) + datatype(2, "U", union_fields, "i=22", " IsUnion=\"true\"") +
                         datatype(3, "E", enum_fields, "i=29") +
                         datatype(4, "Bits", bits, "i=5", " IsOptionSet=\"true\"") +
                         // a structure holding arrays of itself is fine, and so is one
                         // holding a structure that holds an array of it
                         datatype(5, "Tree", field("Kids", "ns=1;i=5", " ValueRank=\"1\"")) +
                         datatype(6, "Outer", field("In", "ns=1;i=7")) +
                         datatype(7, "Inner", field("Outers", "ns=1;i=6", " ValueRank=\"1\"")) +
                         // enumerators named like the type identifier of S and the macro of U
                         datatype(8, "Type", R"(<Field Name="S" Value="0"/>)", "i=29") +
                         datatype(9, "ID", R"(<Field Name="U" Value="0"/>)", "i=29")));
  const RunResult r = generate_and_compile({"-i", "2:h"}, {"urn:m"}, {m});
  const std::string s = out("out_1", "h/s.h");
  for (const char* member : {"int32_t _2nd;", "int32_t _restrict;", "int32_t _inline;",
                             "int32_t _true;", "int32_t foo;", "int32_t foo_2;",
                             "int32_t mask_2;", "uint32_t mask;"}) {
    EXPECT_TRUE(contains(s, member)) << member << "\n" << s;
  }
  EXPECT_TRUE(contains(r.err, "warning: the field 'foo' of datatype 'S' (ns=2;i=1) is named "
                              "'foo_2' in C: 'foo' is taken there.\n"))
      << r.err;
  const std::string u = out("out_1", "h/u.h");
  EXPECT_TRUE(contains(u, "H_U_NONE = 0,\n    H_U_NONE_2,\n    H_U_OBJ,\n    H_U_OBJ_2,")) << u;
  EXPECT_TRUE(contains(u, "void h_u_set_obj_2(struct h_u *obj, int32_t obj_2);")) << u;
  EXPECT_TRUE(contains(u, "int h_u_set_len_2(struct h_u *obj, int32_t *len_2, int32_t len);"))
      << u;
  EXPECT_TRUE(contains(u, "void h_u_set_int32_t_2(struct h_u *obj, int32_t int32_t_2);")) << u;
  const std::string e = out("out_1", "h/e.h");
  EXPECT_TRUE(contains(e, "H_E_RED = 0,\n    H_E_RED_2 = 1,\n    H_E_MAX_ENUM_VALUE_2 = 2,")) << e;
  EXPECT_TRUE(contains(out("out_1", "h/bits.h"), "H_BITS_A = 0,\n    H_BITS_A_2 = 15,"));
  EXPECT_TRUE(contains(out("out_1", "h/type.h"), "    H_TYPE_S_2 = 0,\n"));
  EXPECT_TRUE(contains(out("out_1", "h/id.h"), "    H_ID_U_2 = 0,\n"));
  EXPECT_TRUE(contains(out("out_1", "h/inner.h"), "\nstruct h_outer;\n"));
}

TEST_F(CodegenHostile, TypesThatCCannotHoldAreRefused) {
  // Itself by value, directly and through another structure.
  const std::string self =
      write_model("self.xml", test::model_requiring_ns0("urn:m", datatype(1, "Loop", field("Me", "ns=1;i=1"))));
  expect_refused({"-i", "2:h"}, {"urn:m"}, {self},
                 "error: the datatype 'Loop' (ns=2;i=1) contains itself by value");
  const std::string pair = write_model(
      "pair.xml", test::model_requiring_ns0("urn:m", datatype(1, "A", field("B", "ns=1;i=2")) +
                                     datatype(2, "B", field("A", "ns=1;i=1"))));
  expect_refused({"-i", "2:h"}, {"urn:m"}, {pair}, "(ns=2;i=1) contains itself by value");
  // A field whose name is all punctuation has no name in C.
  const std::string nameless =
      write_model("nameless.xml", test::model_requiring_ns0("urn:m", datatype(1, "Ok", field("A")) +
                                                    datatype(2, "Odd", field("B") + field("%"))));
  expect_refused({"-i", "2:h"}, {"urn:m"}, {nameless},
                 "error (output_c_datatype): get_field_symbolicname failed for index 1 (datatype "
                 "'Odd', ns=2;i=2).\n");
  // Bit 16 of a 16-bit option set.
  const std::string wide = write_model(
      "wide.xml", test::model_requiring_ns0("urn:m", datatype(1, "Wide", R"(<Field Name="A" Value="16"/>)", "i=5",
                                          " IsOptionSet=\"true\"")));
  expect_refused({"-i", "2:h"}, {"urn:m"}, {wide},
                 "error: bit 16 of the optionset 'Wide' (ns=2;i=1) does not fit its 16-bit base "
                 "type.\n");
}

TEST_F(CodegenHostile, TypeTablesNameEncodingsByTheirNodes) {
  // An encoding object with its own symbolic name, and an object before the real encoding
  // whose name claims the encoding's macro.
  const std::string body =
      R"(  <UAObject NodeId="ns=1;i=500" BrowseName="1:Decoy" SymbolicName="Foo_Encoding_DefaultBinary"><DisplayName>d</DisplayName></UAObject>
)" + datatype(1, "Foo", field("A")) +
      R"(  <UADataType NodeId="ns=1;i=2" BrowseName="1:Bar"><DisplayName>x</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=22</Reference><Reference ReferenceType="HasEncoding">ns=1;i=600</Reference></References>
    <Definition Name="1:Bar">)" +
      field("B") + R"(</Definition></UADataType>
  <UAObject NodeId="ns=1;i=600" BrowseName="Default Binary" SymbolicName="Bin"><DisplayName>b</DisplayName></UAObject>
)";
  const std::string m = write_model("m.xml", test::model_requiring_ns0("urn:m", body));
  const RunResult r = generate_and_compile({"-i", "2:en"}, {"urn:m"}, {m});
  EXPECT_TRUE(contains(r.err, "warning: node ns=2;i=500 gets no identifier macro: "
                              "EN_ID_FOO_ENCODING_DEFAULTBINARY names node ns=2;i=1001 already\n"))
      << r.err;
  const std::string ids = out("out_1", "en/identifier.h");
  EXPECT_TRUE(contains(ids, "EN_ID_FOO_ENCODING_DEFAULTBINARY")) << ids;
  EXPECT_TRUE(contains(ids, " 1001\n")) << ids;
  EXPECT_FALSE(contains(ids, " 500\n")) << ids;
  const std::string table = out("out_1", "en/type_table.c");
  EXPECT_TRUE(contains(table, "    { EN_ID_BAR_ENCODING_BIN, 1 },\n")) << table;
  EXPECT_TRUE(contains(table, "    { EN_ID_FOO_ENCODING_DEFAULTBINARY, 0 },\n")) << table;
}

TEST_F(CodegenHostile, RandomModelsFromClashingNamesCompile) {
  // Names chosen to collide: case and punctuation variants, C keywords, the generator's own
  // member, enumerator and file names, digits in front.
  const std::vector<std::string> pool = {
      "Foo",  "foo",   "FOO",  "F-oo", "Mask", "mask", "None",     "Max_Enum_Value", "obj", "len",
      "int",  "inline", "true", "2x",  "x2",   "Identifier", "Type_Table", "ns2", "Type", "ID",
      "A_B",  "A",      "B",    "_B",  "Bits", "Type_Identifier", "int32_t", "restrict"};
  std::mt19937 rng(20240601);
  const auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng); };
  for (int round = 0; round < 4; ++round) {
    std::string body;
    const unsigned types = 8;
    for (unsigned t = 1; t <= types; ++t) {
      const std::string name = pool[pick(pool.size())];
      std::string fields;
      const std::size_t kind = pick(4);
      const std::size_t count = 1 + pick(4);
      for (std::size_t f = 0; f < count; ++f) {
        const std::string fname = pool[pick(pool.size())];
        if (kind == 2 || kind == 3) {
          const int value = kind == 3 ? static_cast<int>(f * 3) : static_cast<int>(f);
          fields += "<Field Name=\"" + fname + "\" Value=\"" + std::to_string(value) + "\"/>";
          continue;
        }
        // Earlier types by value, any type as an array, else Int32. (A field of an
        // enumeration or option-set type is fine too: they are types.)
        std::string type = "Int32";
        std::string extra = kind == 0 && pick(3) == 0 ? " IsOptional=\"true\"" : "";
        const std::size_t other = 1 + pick(types);
        if (other < t && pick(2) == 0) type = "ns=1;i=" + std::to_string(other);
        if (other >= t && pick(3) == 0) {
          type = "ns=1;i=" + std::to_string(other);
          extra += " ValueRank=\"1\"";
        }
        fields += field(fname, type, extra);
      }
      if (kind == 0) body += datatype(t, name, fields);
      if (kind == 1) body += datatype(t, name, fields, "i=22", " IsUnion=\"true\"");
      if (kind == 2) body += datatype(t, name, fields, "i=29");
      if (kind == 3) body += datatype(t, name, fields, "i=7", " IsOptionSet=\"true\"");
    }
    const std::string m = write_model("r.xml", test::model_requiring_ns0("urn:r", body));
    const std::string tree = "rnd" + std::to_string(round);
    const RunResult r = run({"-m", "-i", "2:ns2", "-o", tree}, {m});
    ASSERT_EQ(r.status, 0) << r.err << body;
    EXPECT_EQ(compile(tree), "") << body;
  }
}

}  // namespace
}  // namespace vos
