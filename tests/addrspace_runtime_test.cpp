// The compiled-in address space of real models, registered with the test runtime
// (tests/cruntime/server) by a program built with the system C compiler, is the address
// space that vospack writes into the binary file for the same inputs and selection: the
// same nodes, attributes, references through both chains, role permissions, values and
// definitions (tests/support/addrspace_runtime.h).
#include "support/addrspace_runtime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/codegen_golden.h"
#include "support/corpus.h"
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

class AddrspaceRuntime : public test::CorpusTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(CorpusTest::SetUp());
    if (IsSkipped()) return;
    cc_ = test::system_cc();
    if (cc_.empty()) GTEST_SKIP() << "no C compiler (cc) on this machine";
  }

  std::vector<std::string> models(const std::vector<std::string>& files) const {
    std::vector<std::string> paths;
    for (const std::string& f : files) paths.push_back(corpus_.file(f));
    return paths;
  }

  // Writes the tree and the binary file for the model files (in load order) and the
  // selection; -d among the generator options also selects the descriptions.
  void generate(const std::vector<std::string>& paths, const std::vector<std::string>& selection,
                const std::vector<std::string>& generator_options = {}) {
    descriptions_ = std::find(generator_options.begin(), generator_options.end(), "-d") !=
                    generator_options.end();
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
  }

  // Builds and runs the runtime program on the tree as it is now and compares what it sees
  // with the file (changed first by `edit`, when given): the differences, or the reason
  // there is no comparison.
  std::string compare(const std::function<void(ua_file_contents&)>& edit = {}) {
    std::vector<std::string> flags = {"-DUA_SUPPORT_HISTORIZING"};
    if (descriptions_) flags.push_back("-DUA_SUPPORT_DESCRIPTION");
    return test::runtime_sees_file(cc_, tree(), dir_.path(), flags, dir_ / "file.bin",
                                   descriptions_, edit);
  }

  void prove(const std::vector<std::string>& files, const std::vector<std::string>& selection,
             const std::vector<std::string>& generator_options = {}) {
    ASSERT_NO_FATAL_FAILURE(generate(models(files), selection, generator_options));
    EXPECT_EQ(compare(), "");
  }

  fs::path tree() const { return dir_ / "tree"; }

  test::TempDir dir_;
  fs::path cc_;
  bool descriptions_ = false;
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

// ---- hand edits that the comparison catches -------------------------------------------

// Replaces the bytes `from` by `to` (of the same length) where they stand as one run of
// byte values in C text: escapes ("\x54"), hexadecimal (0x54) or decimal (84) numbers,
// joined only by quotes, commas and blanks.
bool replace_escaped_bytes(std::string& c, std::string_view from, std::string_view to) {
  struct token {
    std::size_t at, len;  // the digits
    int value;
    bool hex;
  };
  std::vector<token> tokens;
  const auto digit = [&c](std::size_t i, bool hex) {
    return i < c.size() && (hex ? std::isxdigit(static_cast<unsigned char>(c[i]))
                                : std::isdigit(static_cast<unsigned char>(c[i]))) != 0;
  };
  for (std::size_t i = 0; i < c.size();) {
    const bool word = i > 0 && (std::isalnum(static_cast<unsigned char>(c[i - 1])) != 0 ||
                                c[i - 1] == '_' || c[i - 1] == '.');
    const bool x = i + 1 < c.size() && (c[i + 1] == 'x' || c[i + 1] == 'X') && digit(i + 2, true);
    const bool hex = x && (c[i] == '\\' || (c[i] == '0' && !word));
    if (hex || (!word && digit(i, false))) {
      const std::size_t start = hex ? i + 2 : i;
      std::size_t end = start;
      while (end < start + (hex ? 2 : 3) && digit(end, hex)) ++end;
      if (!digit(end, hex) && (hex || std::isalpha(static_cast<unsigned char>(c[end])) == 0)) {
        tokens.push_back({start, end - start,
                          std::stoi(c.substr(start, end - start), nullptr, hex ? 16 : 10), hex});
      }
      i = end;
      continue;
    }
    ++i;
  }
  // Two values joined by nothing but quotes, commas and blanks.
  const auto joined = [&c](const token& a, const token& b) {
    const std::size_t gap = c.find_first_not_of("\", \n", a.at + a.len);
    return gap == (b.hex ? b.at - 2 : b.at);
  };
  for (std::size_t k = 0; k + from.size() <= tokens.size(); ++k) {
    std::size_t n = 0;
    while (n < from.size() && tokens[k + n].value == static_cast<unsigned char>(from[n]) &&
           (n == 0 || joined(tokens[k + n - 1], tokens[k + n]))) {
      ++n;
    }
    if (n != from.size()) continue;
    char text[8];
    for (std::size_t j = to.size(); j-- > 0;) {
      const token& t = tokens[k + j];
      std::snprintf(text, sizeof text, t.hex ? "%02X" : "%u", static_cast<unsigned char>(to[j]));
      c.replace(t.at, t.len, text);
    }
    return true;
  }
  return false;
}

// The reference pool entries and the node entries of a namespace source, line by line.
struct namespace_source {
  explicit namespace_source(const fs::path& path) : path_(path) {
    std::stringstream in(test::read_file(path));
    for (std::string line; std::getline(in, line);) {
      if (line.find("{ .src = ") != std::string::npos) refs.push_back(lines.size());
      if (line.find(".fwd_ref_idx = ") != std::string::npos) nodes.push_back(lines.size());
      lines.push_back(line);
    }
  }
  static long field(const std::string& line, const std::string& name) {
    std::smatch m;
    return std::regex_search(line, m, std::regex("\\." + name + " = *(-?[0-9]+)")) ? std::stol(m[1])
                                                                                   : -2;
  }
  void set(std::size_t line, const std::string& name, long value) {
    lines[line] = std::regex_replace(lines[line], std::regex("\\." + name + " = *-?[0-9]+"),
                                     "." + name + " = " + std::to_string(value));
  }
  void save() const {
    std::string text;
    for (const std::string& l : lines) text += l + "\n";
    test::write_file(path_, text);
  }
  // Puts the second forward reference of the first node that has two before the first.
  bool swap_first_forward_pair() {
    for (std::size_t node : nodes) {
      const long fwd = field(lines[node], "fwd_ref_idx");
      if (fwd < 0) continue;
      const std::size_t a = refs[static_cast<std::size_t>(fwd >> 1)];
      const long b = field(lines[a], "next_fwd");
      if (b < 0) continue;
      const std::size_t line_b = refs[static_cast<std::size_t>(b)];
      set(node, "fwd_ref_idx", b << 1 | 1);
      set(a, "next_fwd", field(lines[line_b], "next_fwd"));
      set(line_b, "next_fwd", fwd >> 1);
      return true;
    }
    return false;
  }

  fs::path path_;
  std::vector<std::string> lines;
  std::vector<std::size_t> refs;   // line of each reference pool entry
  std::vector<std::size_t> nodes;  // line of each node pool entry
};

using test::contains;

// Each edit passes the compiler and the runtime's own checks, and only the comparison with
// the file can tell.
TEST_F(AddrspaceRuntime, HandEditsOfTheTreeAreCaught) {
  ASSERT_NO_FATAL_FAILURE(generate(models({kNs0, kDi}), {"-u", kDiUri}, {"-d"}));
  const fs::path di = tree() / "di" / "ns2.c";
  const std::string original = test::read_file(di);
  ASSERT_EQ(compare(), "");

  namespace_source swapped(di);
  ASSERT_TRUE(swapped.swap_first_forward_pair());
  swapped.save();
  EXPECT_TRUE(contains(compare(), "reference chains in another order than the file's"));

  // A field description of DeviceHealthEnumeration.
  std::string text = original;
  ASSERT_TRUE(replace_escaped_bytes(text, "functions normally", "functions formally"));
  test::write_file(di, text);
  EXPECT_TRUE(contains(compare(), "definition of ns=2;i=6244: enumeration field 0 differs"));
  test::write_file(di, original);

  // The file's field read with IsOptional where it says AllowSubTypes (a structure with
  // subtyped values), as a comparison that takes either flag for the other would.
  const auto optional_for_subtypes = [](ua_file_contents& f) {
    for (ua_file_read_node& n : f.nodes) {
      if ((n.definition.kind & 0x0F) != 6) continue;
      for (ua_file_read_structure_field& field : n.definition.fields) {
        if ((field.flags & 0x10) != 0) {
          field.flags = static_cast<uint8_t>((field.flags & ~0x10) | 0x04);
          return;
        }
      }
    }
  };
  EXPECT_TRUE(contains(compare(optional_for_subtypes), "structure field"));
}

// The test model of the address-space tests holds a View.
TEST_F(AddrspaceRuntime, HandEditsOfNodeFlagsAreCaught) {
  const fs::path fixtures = test::codegen_fixture_dir() / "addrspace";
  ASSERT_NO_FATAL_FAILURE(
      generate({(fixtures / "ns0.xml").string(), (fixtures / "model.xml").string()},
               {"-u", "urn:addrspace;as"}));
  namespace_source ns(tree() / "as" / "ns2.c");
  ASSERT_EQ(compare(), "");
  const auto node = [&ns](int nodeclass) {
    for (std::size_t line : ns.nodes) {
      if (namespace_source::field(ns.lines[line], "nodeclass") == nodeclass) return line;
    }
    return std::size_t{0};
  };
  const std::size_t view = node(128);
  const std::size_t variable = node(2);
  ASSERT_TRUE(view != 0 && variable != 0);
  const long flags = namespace_source::field(ns.lines[view], "flags");
  ns.set(view, "flags", flags | 0x08);  // ContainsNoLoops
  ns.save();
  EXPECT_TRUE(contains(compare(), "containsnoloops=1"));
  ns.set(view, "flags", flags);
  ns.set(variable, "flags", 0x01);  // IsAbstract
  ns.save();
  EXPECT_TRUE(contains(compare(), "flags of another node class"));
}

}  // namespace
}  // namespace vos
