#include "tools/vospack/filereader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "diag/diag.h"
#include "support/testutil.h"
#include "tools/vospack/convert.h"
#include "tools/vospack/xmlloader.h"
#include "uabase/encoder.h"
#include "uabase/text_nodeid.h"
#include "util/adler32.h"
#include "util/errors.h"

namespace vos {
namespace {

using bytes = std::vector<uint8_t>;

// Compares a written file with the graph it came from: nodes per class and namespace, the
// string table, and every reference and cross-reference.
void expect_file_matches_graph(const uagraph& graph, const nstable& ns, const ua_file_contents& f) {
  std::map<std::pair<uint16_t, uint32_t>, uint32_t> graph_nodes, file_nodes;
  std::multiset<std::string> graph_refs, file_refs;
  const auto key = [](const ua_nodeid& s, const ua_nodeid& t, const ua_nodeid& type) {
    return ua_nodeid_to_text(s) + " " + ua_nodeid_to_text(t) + " " + ua_nodeid_to_text(type);
  };
  const auto selected = [&ns](const uagraph_node& n) { return ns.is_selected(n.NodeId.ns()); };
  for (const uagraph_node* n : graph.nodes()) {
    if (selected(*n)) ++graph_nodes[{n->NodeId.ns(), n->nodeclass()}];
    for (const uagraph_reference& r : graph.forward_references(*n)) {
      const uagraph_node& t = graph.target_of(r);
      const bool cross = !selected(*n) && selected(t) && n->NodeId.ns() <= t.NodeId.ns();
      if (selected(*n) || cross)
        graph_refs.insert(key(n->NodeId, t.NodeId, graph.reftype_of(r).NodeId));
    }
  }
  for (const ua_file_read_node& n : f.nodes) {
    ++file_nodes[{n.nodeid.ns(), n.nodeclass}];
    const uagraph_node* g = graph.node_find(n.nodeid);
    ASSERT_NE(g, nullptr) << ua_nodeid_to_text(n.nodeid);
    EXPECT_EQ(f.string(n.browse_name), g->BrowseName.name.view());
    EXPECT_EQ(n.browse_ns, g->BrowseName.ns);
    EXPECT_EQ(f.string(n.display_name), g->DisplayName.text.view());
    EXPECT_EQ(f.string(n.description), g->extra().Description.text.view());
  }
  for (const ua_file_reference& r : f.references) file_refs.insert(key(r.source, r.target, r.type));
  EXPECT_EQ(file_nodes, graph_nodes);
  EXPECT_EQ(file_refs, graph_refs);
  ASSERT_EQ(f.string_tables.size(), 1u);
  const std::vector<std::string>& strings = f.string_tables[0].strings;
  EXPECT_EQ(std::set<std::string>(strings.begin(), strings.end()).size(), strings.size());
  ua_file_totals sum{};
  for (const ua_file_namespace& m : f.models)
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += m.counts[i];
  EXPECT_EQ(sum, f.totals);
}

TEST(FileReader, RefusesDamagedFiles) {
  ua_file_writer w;
  w.create_string_tables(1, "");
  ASSERT_EQ(w.open_memory(), 0);
  ASSERT_EQ(w.close(), 0);
  const bytes good(w.memory().begin(), w.memory().end());
  ua_file_contents f;
  ASSERT_EQ(ua_file_read(good, f), 0);

  // Every damage that keeps the checksum right is caught by the decoder.
  const auto resum = [](bytes b) {
    const uint32_t sum = adler32(b.data(), b.size() - 4);
    for (int i = 0; i < 4; ++i)
      b[b.size() - 4 + static_cast<std::size_t>(i)] = static_cast<uint8_t>(sum >> (8 * i));
    return b;
  };
  bytes magic = good;
  magic[0] = 'X';
  EXPECT_EQ(ua_file_read(resum(magic), f), UA_EBADDECODING);
  bytes extra = good;
  extra.insert(extra.end() - 4, 0x00);
  EXPECT_EQ(ua_file_read(resum(extra), f), UA_EBADDECODING);
  bytes shorter = good;
  shorter.erase(shorter.end() - 5);
  EXPECT_EQ(ua_file_read(resum(shorter), f), UA_EBADTRUNCATED);
  bytes varint = good;
  varint[14] = 0xFF;  // 127 extension URIs that are not there
  EXPECT_NE(ua_file_read(resum(varint), f), 0);
  EXPECT_EQ(ua_file_read_path("/nonexistent/x.bin", f), UA_EBADFILENOTFOUND);
}

// Damaged files with a correct checksum must fail cleanly, whatever byte is hit.
TEST(FileReader, SurvivesRandomDamage) {
  ua_file_writer w;
  const std::string strings[] = {"", "Name", "Field"};
  w.create_string_tables(3, "");
  for (uint32_t i = 0; i < 3; ++i) w.set_string(0, i, strings[i]);
  w.totals()[UA_FILE_TOTAL_DATATYPE] = 1;
  w.totals()[UA_FILE_TOTAL_VARIABLE] = 1;
  ASSERT_EQ(w.open_memory(), 0);
  const ua_nodeid id(2, 1), type(0, 12);
  ua_file_node n;
  n.reset(UA_NODECLASS_DATATYPE);
  n.nodeid = &id;
  n.flags = UA_FILE_DATATYPE_DEFINITION;
  n.definition.kind = 4;
  n.definition.enum_fields.push_back({UA_FILE_EFIELD_TEXT2, 2, 0, 7, 1, 2});
  ASSERT_EQ(w.write_node(n), 0);
  ua_variant value;
  std::span<ua_string> texts = value.set_array<ua_string>(3);
  // A null string would read back as an empty one: the file does not tell them apart.
  texts[0] = "";
  texts[1] = "abc";
  texts[2] = "x";
  n.reset(UA_NODECLASS_VARIABLE);
  n.nodeid = &id;
  n.flags = UA_FILE_VAR_VALUE | UA_FILE_VAR_DATATYPE | UA_FILE_NODE_FLAGS2;
  n.flags2 = UA_FILE_VAR2_MINSAMPLING;
  n.value = &value;
  n.datatype = &type;
  ASSERT_EQ(w.write_node(n), 0);
  ASSERT_EQ(w.close(), 0);
  const bytes good(w.memory().begin(), w.memory().end());
  ua_file_contents f;
  ASSERT_EQ(ua_file_read(good, f), 0);
  ASSERT_EQ(f.nodes.size(), 2u);
  EXPECT_EQ(f.nodes[1].value, value);

  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    bytes b = good;
    const int hits = 1 + static_cast<int>(rng() % 3);
    for (int h = 0; h < hits; ++h) b[rng() % (b.size() - 4)] = static_cast<uint8_t>(rng());
    const uint32_t sum = adler32(b.data(), b.size() - 4);
    for (int i = 0; i < 4; ++i)
      b[b.size() - 4 + static_cast<std::size_t>(i)] = static_cast<uint8_t>(sum >> (8 * i));
    (void)ua_file_read(b, f);  // any status, but no crash or overrun
  }
}

TEST(FileReader, RealModelConvertsAndReadsBack) {
  const std::filesystem::path dir = test::nodeset_dir();
  if (dir.empty()) GTEST_SKIP() << "models not installed";
  diag_set_verbosity(0);
  ASSERT_EQ(ua_encoder_init(), 0);
  uagraph graph;
  nstable ns;
  xmlloader loader(graph, ns);
  test::CaptureFd out(1);
  for (const char* file : {"Opc.Ua.NodeSet2.xml", "Opc.Ua.Di.NodeSet2.xml"}) {
    if (loader.load_nodeset((dir / file).string().c_str()) != 0) {
      out.finish();
      GTEST_SKIP() << "the loader cannot read " << file << " yet";
    }
  }
  ASSERT_EQ(ns.select_index("2"), 0);
  test::TempDir tmp;
  const std::string path = (tmp / "di.bin").string();
  const auto start = std::chrono::steady_clock::now();
  const int ret = convert_write_file(graph, ns, path.c_str(), nullptr);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  out.finish();
  ASSERT_EQ(ret, 0);
  std::printf("converting DI took %.1f ms\n",
              std::chrono::duration<double, std::milli>(elapsed).count());
  ua_file_contents f;
  ASSERT_EQ(ua_file_read_path(path.c_str(), f), 0);
  EXPECT_GT(f.nodes.size(), 100u);
  expect_file_matches_graph(graph, ns, f);
}

}  // namespace
}  // namespace vos
