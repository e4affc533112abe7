#include "tools/vospack/filter.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/testutil.h"
#include "tools/vospack/uagraph.h"
#include "uabase/text_nodeid.h"

namespace vos {
namespace {

using test::CaptureFd;

struct id {
  uint16_t ns;
  uint32_t n;
  operator ua_nodeid() const { return ua_nodeid(ns, n); }  // NOLINT: implicit
};
struct edge {
  id source;
  uint32_t reftype;
  id target;
};

// A graph built by hand: the namespace-0 reference types with their hierarchy, then
// whatever nodes and references a test adds.
struct model {
  model() {
    for (uint32_t n : {31, 32, 33, 34, 35, 37, 38, 39, 40, 44, 45, 46, 47}) {
      add(UA_NODECLASS_REFERENCETYPE, {0, n});
    }
    link({{{0, 31}, 45, {0, 33}},
          {{0, 31}, 45, {0, 32}},
          {{0, 33}, 45, {0, 34}},
          {{0, 33}, 45, {0, 35}},
          {{0, 34}, 45, {0, 44}},
          {{0, 34}, 45, {0, 45}},
          {{0, 44}, 45, {0, 47}},
          {{0, 44}, 45, {0, 46}},
          {{0, 32}, 45, {0, 40}},
          {{0, 32}, 45, {0, 39}},
          {{0, 32}, 45, {0, 37}},
          {{0, 32}, 45, {0, 38}}});
  }
  uagraph_node* add(uint32_t nodeclass, id nodeid, std::vector<std::string> categories = {},
                    id datatype = {0, 0}) {
    uagraph_node_ptr node = uagraph::node_new(nodeclass);
    uagraph_node* raw = node.get();
    raw->NodeId = nodeid;
    for (const std::string& c : categories) raw->extra_mut().categories.emplace_back(c);
    if (UAVariable* v = raw->as<UAVariable>()) v->DataType = datatype;
    EXPECT_EQ(graph.node_add(std::move(node)), 0);
    return raw;
  }
  void link(std::initializer_list<edge> edges) {
    for (const edge& e : edges) {
      uagraph_node* s = graph.node_find(e.source);
      uagraph_node* t = graph.node_find(e.target);
      ASSERT_TRUE(s && t) << e.source.n << " -> " << e.target.n;
      ASSERT_EQ(graph.reference_add(*s, *t, *graph.node_find_ns0(e.reftype)), 0);
    }
  }
  bool has(id nodeid) const { return graph.node_find(nodeid) != nullptr; }
  std::set<std::string> present() const {
    std::set<std::string> out;
    for (uagraph_node* n : graph.nodes()) out.insert(ua_nodeid_to_text(n->NodeId));
    return out;
  }
  // Every reference left joins two present nodes and sits in both of their lists.
  void expect_no_dangling_references() const {
    std::size_t forward = 0;
    for (uagraph_node* n : graph.nodes()) {
      for (const uagraph_reference& r : graph.forward_references(*n)) {
        EXPECT_TRUE(graph.node_at(r.target) != nullptr && graph.node_at(r.source) == n);
        ++forward;
      }
      for (const uagraph_reference& r : graph.inverse_references(*n)) {
        EXPECT_TRUE(graph.node_at(r.source) != nullptr && graph.node_at(r.target) == n);
      }
    }
    EXPECT_EQ(forward, graph.reference_count());
  }
  uagraph graph;
};

// Objects organizes 1 {SensorA}, 2 {SensorA, Pump}, 3 {} and 4 {Other}; 4 has a component 5
// {} with a property 6 {Pump}.
struct categorised : model {
  categorised() {
    add(UA_NODECLASS_OBJECT, {0, 85});
    add(UA_NODECLASS_OBJECT, {2, 1}, {"SensorA"});
    add(UA_NODECLASS_OBJECT, {2, 2}, {"SensorA", "Pump"});
    add(UA_NODECLASS_OBJECT, {2, 3});
    add(UA_NODECLASS_OBJECT, {2, 4}, {"Other"});
    add(UA_NODECLASS_OBJECT, {2, 5});
    add(UA_NODECLASS_VARIABLE, {2, 6}, {"Pump"});
    link({{{0, 85}, 35, {2, 1}},
          {{0, 85}, 35, {2, 2}},
          {{0, 85}, 35, {2, 3}},
          {{0, 85}, 35, {2, 4}},
          {{2, 4}, 47, {2, 5}},
          {{2, 5}, 46, {2, 6}}});
  }
  std::string filter(std::vector<std::string> patterns) {
    CaptureFd out(1);
    filter_apply(graph, patterns);
    return out.finish();
  }
};

TEST(Filter, RemovesNodesWhoseCategoriesAllMatch) {
  categorised a;
  EXPECT_EQ(a.filter({"Sensor*"}), "1 nodes have been filtered\n");
  EXPECT_FALSE(a.has({2, 1}));
  // Node 2 keeps the category that no filter matched.
  ASSERT_TRUE(a.has({2, 2}));
  ASSERT_EQ(a.graph.node_find(ua_nodeid(2, 2))->extra().categories.size(), 1u);
  EXPECT_EQ(a.graph.node_find(ua_nodeid(2, 2))->extra().categories[0].view(), "Pump");
  EXPECT_TRUE(a.has({2, 3}) && a.has({2, 4}) && a.has({2, 6}));

  // Filters apply in turn and strip node 2 bare; a removed node takes its children along,
  // whatever their categories; nodes without categories and reference types stay.
  categorised b;
  b.graph.node_find_ns0(47)->extra_mut().categories.emplace_back("Other");
  std::set<std::string> want = b.present();
  for (const char* gone : {"ns=2;i=1", "ns=2;i=2", "ns=2;i=4", "ns=2;i=5", "ns=2;i=6"}) {
    want.erase(gone);
  }
  EXPECT_EQ(b.filter({"Sens?rA", "Pump", "Oth*"}), "5 nodes have been filtered\n");
  EXPECT_EQ(b.present(), want);
  EXPECT_TRUE(b.graph.node_find_ns0(47)->extra().categories.empty());
  b.expect_no_dangling_references();

  // Nothing matches, or the matcher fails: everything stays, and the count is printed.
  categorised c;
  c.add(UA_NODECLASS_OBJECT, {2, 7}, {std::string(24, 'a')});
  const std::size_t before = c.graph.node_count();
  CaptureFd err(2);
  EXPECT_EQ(c.filter({"Nothing", "*a*a*a*a*a*a*a*a*a*a*a*a*b"}), "0 nodes have been filtered\n");
  EXPECT_NE(err.finish().find("Wildcard matching failed with error."), std::string::npos);
  EXPECT_EQ(c.graph.node_count(), before);
}

// ---- stripping ----------------------------------------------------------------------------

constexpr uint32_t k_standard[] = {84, 86, 90, 3048, 88, 89,   91, 87,  69,
                                   72, 77, 78, 80,   93, 7617, 92, 8252};

// A namespace-0 skeleton and a small model that uses part of it.
struct typed_model : model {
  typed_model() {
    for (uint32_t n : k_standard)
      add(n == 77 ? UA_NODECLASS_OBJECTTYPE : UA_NODECLASS_OBJECT, {0, n});
    add(UA_NODECLASS_OBJECT, {0, 85});
    for (uint32_t n : {58, 61, 76}) add(UA_NODECLASS_OBJECTTYPE, {0, n});
    for (uint32_t n : {62, 63, 68}) add(UA_NODECLASS_VARIABLETYPE, {0, n});
    for (uint32_t n : {24, 12}) add(UA_NODECLASS_DATATYPE, {0, n});
    add(UA_NODECLASS_VARIABLE, {0, 111}, {}, {0, 12});  // a property of ModellingRuleType
    // MachineType (1000) < BaseMachineType (1001); declarations Speed (1002), Start (1003)
    // with InputArguments (1004); data type 3000 with an encoding (3002) whose description
    // (3003) is marked alone, without its property (3004); a rule type 1020 below the
    // pre-kept ModellingRuleType; instances 5000..5002 under Objects; unused: type 1010 with
    // its declaration 1011, data type 3001, object 6000 outside Objects.
    for (uint32_t n : {1000, 1001, 1010, 1020}) add(UA_NODECLASS_OBJECTTYPE, {2, n});
    for (uint32_t n : {3000, 3001}) add(UA_NODECLASS_DATATYPE, {2, n});
    for (uint32_t n : {3002, 5000, 5002, 6000}) add(UA_NODECLASS_OBJECT, {2, n});
    add(UA_NODECLASS_METHOD, {2, 1003});
    add(UA_NODECLASS_VARIABLE, {2, 1002}, {}, {2, 3000});
    add(UA_NODECLASS_VARIABLE, {2, 5001}, {}, {2, 3000});
    add(UA_NODECLASS_VARIABLE, {2, 1004}, {}, {0, 24});
    for (uint32_t n : {1011, 3003, 3004}) add(UA_NODECLASS_VARIABLE, {2, n}, {}, {0, 12});
    add(UA_NODECLASS_REFERENCETYPE, {2, 4000});
    link({{{0, 84}, 35, {0, 85}},     {{0, 84}, 35, {0, 86}},     {{0, 86}, 35, {0, 88}},
          {{0, 88}, 35, {0, 58}},     {{0, 91}, 35, {0, 31}},     {{0, 58}, 45, {0, 61}},
          {{0, 58}, 45, {0, 76}},     {{0, 58}, 45, {0, 77}},     {{0, 77}, 46, {0, 111}},
          {{0, 62}, 45, {0, 63}},     {{0, 62}, 45, {0, 68}},     {{0, 24}, 45, {0, 12}},
          {{0, 85}, 40, {0, 61}},     {{0, 58}, 45, {2, 1001}},   {{2, 1001}, 45, {2, 1000}},
          {{2, 1000}, 47, {2, 1002}}, {{2, 1002}, 40, {0, 63}},   {{2, 1002}, 37, {0, 78}},
          {{2, 1001}, 47, {2, 1003}}, {{2, 1003}, 46, {2, 1004}}, {{2, 1004}, 40, {0, 68}},
          {{0, 24}, 45, {2, 3000}},   {{2, 3000}, 38, {2, 3002}}, {{2, 3002}, 40, {0, 76}},
          {{2, 3002}, 39, {2, 3003}}, {{2, 3003}, 46, {2, 3004}}, {{0, 77}, 45, {2, 1020}},
          {{0, 85}, 35, {2, 5000}},   {{2, 5000}, 40, {2, 1000}}, {{2, 5000}, 47, {2, 5001}},
          {{2, 5001}, 40, {0, 63}},   {{2, 5000}, 47, {2, 5002}}, {{2, 5002}, 40, {2, 1020}},
          {{0, 58}, 45, {2, 1010}},   {{2, 1010}, 47, {2, 1011}}, {{0, 24}, 45, {2, 3001}},
          {{2, 6000}, 40, {2, 1000}}, {{0, 35}, 45, {2, 4000}}});
  }
};

TEST(Strip, KeepsWhatTheWalksReachAndRemovesTheRest) {
  typed_model m;
  std::set<std::string> want = m.present();
  // FolderType is only the type of Objects itself, which no walk reaches as a target.
  for (const char* gone :
       {"i=61", "ns=2;i=1010", "ns=2;i=1011", "ns=2;i=3001", "ns=2;i=6000", "ns=2;i=3004"}) {
    want.erase(gone);
  }
  CaptureFd err(2);
  filter_strip_unused_types(m.graph);
  EXPECT_EQ(err.finish(), "");
  EXPECT_EQ(m.present(), want);
  m.expect_no_dangling_references();
}

// A kept structure keeps the data types of its fields, theirs in turn, and their supertypes;
// a field type of a removed structure goes with it.
TEST(Strip, KeepsTheDataTypesOfKeptDefinitionsFields) {
  typed_model m;
  for (uint32_t n : {3010, 3011, 3012, 3013, 3014}) m.add(UA_NODECLASS_DATATYPE, {2, n});
  m.link({{{0, 24}, 45, {2, 3012}}, {{2, 3012}, 45, {2, 3011}}});
  const auto fields = [&m](uint32_t type, std::initializer_list<uint32_t> field_types) {
    uagraph_definition& def = m.graph.node_find(ua_nodeid(2, type))->as<UADataType>()->Definition;
    def.kind = UAGRAPH_DEFINITION_STRUCTURE;
    for (uint32_t t : field_types) def.fields.emplace_back().DataType = ua_nodeid(2, t);
  };
  fields(3000, {3010});  // 3000 is the data type of a kept variable
  fields(3010, {3011});  // 3011 is a subtype of 3012
  fields(3001, {3013});  // 3001 is not used
  filter_strip_unused_types(m.graph);
  EXPECT_TRUE(m.has({2, 3010}) && m.has({2, 3011}) && m.has({2, 3012}));
  EXPECT_FALSE(m.has({2, 3013}) || m.has({2, 3014}));
}

TEST(Strip, WithoutNamespaceZeroEverythingGoes) {
  uagraph g;
  uagraph_node_ptr n = uagraph::node_new(UA_NODECLASS_OBJECT);
  n->NodeId = ua_nodeid(2, 1);
  ASSERT_EQ(g.node_add(std::move(n)), 0);
  std::string want;
  for (uint32_t n : k_standard) {
    want += "error: node with nodeid ns=0;i=" + std::to_string(n) + " not found.\n";
  }
  want +=
      "error: could not find node with ns=0;i=85.\nerror: could not find node with ns=0;i=31.\n";
  CaptureFd err(2);
  filter_strip_unused_types(g);
  EXPECT_EQ(err.finish(), want);
  EXPECT_EQ(g.node_count(), 0u);
}

TEST(Strip, DeepHierarchiesDoNotExhaustTheStack) {
  typed_model m;
  constexpr uint32_t depth = 200000;
  for (uint32_t i = 0; i < depth; ++i) {
    m.add(UA_NODECLASS_OBJECT, {3, i});
    m.link({{i == 0 ? id{0, 85} : id{3, i - 1}, 35, {3, i}}});
  }
  m.link({{{3, depth - 1}, 40, {2, 1010}}});  // the deepest node uses the unused type
  filter_strip_unused_types(m.graph);
  EXPECT_TRUE(m.has({3, depth - 1}) && m.has({2, 1010}) && m.has({2, 1011}));
  EXPECT_FALSE(m.has({2, 6000}));
}

}  // namespace
}  // namespace vos
