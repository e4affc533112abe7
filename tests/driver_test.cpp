// The run sequence with recording stages: which stage runs when, and what ends a run.
#include "tools/vospack/driver.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "diag/diag.h"
#include "support/testutil.h"

namespace {

using vos::test::CaptureFd;
using vos::test::TempDir;

// "text" + std::to_string(n) trips a false -Wrestrict in g++ 12 at -O3; appending does not.
template <class Number>
std::string tagged(std::string text, Number n) {
  text += std::to_string(n);
  return text;
}

class recording_stages final : public vos::model_stages {
 public:
  std::vector<std::string> calls;
  int load_status = 0;      // returned by load_nodeset for a path named "fail.xml"
  int nsmap_status = 0;     // returned by load_namespace_mappings
  int back_end_status = 0;  // returned by every back end

  void set_bytestring_limit(long limit) override { note(tagged("b", limit)); }
  void set_default_locale(const std::string& l) override { note("l" + l); }
  void set_library_name(const std::string& n) override { note("n" + n); }
  void set_provider_skeleton(bool) override { note("m"); }
  int select_index(const char* a) override { return note(std::string("i") + a); }
  int select_uri(const char* a) override { return note(std::string("u") + a); }
  int load_placeholders(const char* p) override { return note(std::string("P") + p); }
  int load_address_mapping(const char* p) override { return note(std::string("M") + p); }
  void set_graph_trace_level(int level) override { note(tagged("trace", level)); }
  int start() override { return note("start"); }
  int load_nodeset(const char* path, vos::Md5*) override {
    note(std::string("load ") + path);
    return std::string(path) == "fail.xml" ? load_status : 0;
  }
  void print_namespace_table() override { note("nstable"); }
  void print_address_space() override { note("print"); }
  int select_all() override { return note("all"); }
  int resolve_uri_selections() override { return note("resolve"); }
  int check_index_selections() override { return note("check"); }
  void strip_unused_types() override { note("strip"); }
  void apply_filters(const std::vector<std::string>& f) override {
    note(tagged("filters ", f.size()));
  }
  int load_namespace_mappings(const char* p) override {
    note(std::string("nsmap ") + p);
    return nsmap_status;
  }
  int export_xml(const char* p) override {
    note(std::string("xml ") + p);
    return back_end_status;
  }
  int write_binary(const char* p, const char* e) override {
    note(std::string("bin ") + p + (e ? std::string(" ") + e : ""));
    return back_end_status;
  }
  int generate(const char* d, const vos::input_digest&, const vos::codegen_options& o) override {
    note(std::string("gen ") + d + (o.client_only ? " client" : "") + (o.types_only ? " N" : ""));
    return back_end_status;
  }
  void release() override { note("release"); }

 private:
  int note(std::string s) {
    calls.push_back(std::move(s));
    return 0;
  }
};

struct RunLog {
  int status;
  std::vector<std::string> calls;
  std::string out, err;
};

RunLog drive(std::vector<std::string> args, recording_stages stages = {}) {
  TempDir dir;  // the trace writes its files into the current folder
  auto here = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  CaptureFd out(1), err(2);
  int status = vos::driver_run(static_cast<int>(args.size()), argv.data(), stages);
  RunLog r{status, stages.calls, out.finish(), err.finish()};
  std::filesystem::current_path(here);
  return r;
}

using Calls = std::vector<std::string>;

TEST(Driver, ConverterRunsTheStagesInOrder) {
  RunLog r = drive({"vospack", "-vv", "-b", "12", "-a", "-s", "-f", "A*", "-f", "B", "-p", "-e",
                    "doc", "-i2", "-o", "x.bin", "ns0.xml", "di.xml"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.calls, (Calls{"b12", "i2", "trace2", "start", "load ns0.xml", "load di.xml",
                            "nstable", "print", "all", "resolve", "check", "strip", "filters 2",
                            "bin x.bin doc", "release"}));
  EXPECT_NE(r.out.find("Successfully written 'x.bin'.\n"), std::string::npos) << r.out;
}

TEST(Driver, GeneratorAndXmlExport) {
  RunLog gen = drive({"vosgen", "-N", "-c", "map.cfg", "-n", "lib", "m.xml"});
  EXPECT_EQ(gen.calls, (Calls{"nlib", "start", "load m.xml", "nstable", "resolve", "check",
                              "nsmap map.cfg", "gen output client N", "release"}));
  EXPECT_NE(gen.out.find("Successfully generated C code into 'output'.\n"), std::string::npos);

  // -x replaces the back end in both personalities, at the default output path.
  RunLog xml = drive({"vospack", "-x"});
  EXPECT_EQ(xml.calls,
            (Calls{"start", "nstable", "resolve", "check", "xml output.bin", "release"}));
}

TEST(Driver, FailuresEndTheRunWithTheirStatus) {
  recording_stages failing_load;
  failing_load.load_status = -7;
  RunLog load = drive({"vospack", "a.xml", "fail.xml", "c.xml"}, failing_load);
  EXPECT_EQ(load.status, -7);
  EXPECT_EQ(load.calls, (Calls{"start", "load a.xml", "load fail.xml", "release"}));
  EXPECT_EQ(load.err, "error: failed to load 'fail.xml'\n");

  recording_stages failing_map;
  failing_map.nsmap_status = -22;
  RunLog nsmap = drive({"vosgen", "-r", "w.sup", "-c", "map.cfg"}, failing_map);
  EXPECT_EQ(nsmap.status, -22);
  EXPECT_EQ(nsmap.err, "error: failed to load ns mappings.\n");
  EXPECT_EQ(nsmap.calls.back(), "release");

  recording_stages failing_back_end;
  failing_back_end.back_end_status = -1;
  RunLog gen = drive({"vosgen"}, failing_back_end);
  EXPECT_EQ(gen.status, 1);
  EXPECT_NE(gen.out.find("error: failed to generate C code.\n"), std::string::npos);
  RunLog bin = drive({"vospack", "-o", "y.bin"}, failing_back_end);
  EXPECT_EQ(bin.status, 1);
  EXPECT_NE(bin.out.find("Failed to create 'y.bin'.\n"), std::string::npos);
}

TEST(Driver, VerbosityWrapsAndLongTextsAreCut) {
  // Three -q below the default wraps the unsigned verbosity: every printer prints.
  drive({"vospack", "-qqq", "-x"});
  EXPECT_EQ(vos::diag_verbosity(), 0xFFFFFFFFu);
  RunLog cluster = drive({"vospack", "-vvq", "-x"});
  EXPECT_EQ(cluster.calls.front(), "trace1");
  EXPECT_EQ(vos::diag_verbosity(), 3u);

  std::string long_path(300, 'p');
  RunLog r = drive({"vospack", "-l", "de-DE-1996-x", "-o", long_path});
  EXPECT_EQ(r.calls.front(), "lde-DE-199");
  EXPECT_NE(r.calls.at(r.calls.size() - 2).find("bin " + std::string(259, 'p')), std::string::npos);
  EXPECT_EQ(r.calls.at(r.calls.size() - 2).size(), 4u + 259u);
  vos::diag_set_verbosity(2);
}

}  // namespace
