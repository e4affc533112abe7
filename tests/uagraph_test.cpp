#include "tools/vospack/uagraph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "diag/diag.h"
#include "support/testutil.h"
#include "util/errors.h"

namespace vos {
namespace {

using test::CaptureFd;

std::string numbered(std::string text, uint32_t n) {
  text += std::to_string(n);
  return text;
}

uagraph_node* add(uagraph& g, uint32_t nodeclass, ua_nodeid id, std::string_view name = "") {
  uagraph_node_ptr node = uagraph::node_new(nodeclass);
  uagraph_node* raw = node.get();
  raw->NodeId = std::move(id);
  raw->BrowseName.name = name;
  EXPECT_EQ(g.node_add(std::move(node)), 0);
  return raw;
}

// The namespace-0 reference types the look-ups use, with their subtype hierarchy.
struct ns0_types {
  explicit ns0_types(uagraph& g) {
    const auto reftype = [&g](uint32_t id) {
      return add(g, UA_NODECLASS_REFERENCETYPE, ua_nodeid(0, id));
    };
    references = reftype(31);
    hierarchical = reftype(33);
    nonhierarchical = reftype(32);
    has_child = reftype(34);
    organizes = reftype(35);
    aggregates = reftype(44);
    has_component = reftype(47);
    has_property = reftype(46);
    has_subtype = reftype(45);
    has_typedefinition = reftype(40);
    has_modellingrule = reftype(37);
    const std::pair<uagraph_node*, uagraph_node*> tree[] = {
        {references, hierarchical},
        {references, nonhierarchical},
        {hierarchical, has_child},
        {hierarchical, organizes},
        {has_child, aggregates},
        {has_child, has_subtype},
        {aggregates, has_component},
        {aggregates, has_property},
        {nonhierarchical, has_typedefinition},
        {nonhierarchical, has_modellingrule},
    };
    for (auto [super, sub] : tree) EXPECT_EQ(g.reference_add(*super, *sub, *has_subtype), 0);
  }
  uagraph_node *references, *hierarchical, *nonhierarchical, *has_child, *organizes, *aggregates,
      *has_component, *has_property, *has_subtype, *has_typedefinition, *has_modellingrule;
};

// Every reference is in exactly the forward list of its source and the inverse list of its
// target; counts agree; every present node is found by its id; no triple appears twice.
void check_invariants(const uagraph& g, const std::set<ua_nodeid>& removed) {
  std::map<const uagraph_reference*, int> in_forward, in_inverse;
  std::set<std::tuple<uint32_t, uint32_t, uint32_t>> triples;
  std::size_t nodes = 0, refs = 0;
  for (uagraph_node* n : g.nodes()) {
    ++nodes;
    ASSERT_EQ(g.node_find(n->NodeId), n);
    ASSERT_EQ(g.node_at(n->node_index()), n);
    uint32_t count = 0;
    for (const uagraph_reference& r : g.forward_references(*n)) {
      ASSERT_EQ(&g.source_of(r), n);
      ASSERT_NE(g.node_at(r.target), nullptr);
      ASSERT_EQ(g.reftype_of(r).nodeclass(), UA_NODECLASS_REFERENCETYPE);
      ASSERT_TRUE(triples.emplace(r.source, r.target, r.reftype).second);
      ++in_forward[&r];
      ++count;
      ++refs;
    }
    ASSERT_EQ(count, n->forward_count());
    count = 0;
    for (const uagraph_reference& r : g.inverse_references(*n)) {
      ASSERT_EQ(&g.target_of(r), n);
      ASSERT_NE(g.node_at(r.source), nullptr);
      ++in_inverse[&r];
      ++count;
    }
    ASSERT_EQ(count, n->inverse_count());
  }
  ASSERT_EQ(nodes, g.node_count());
  ASSERT_EQ(refs, g.reference_count());
  ASSERT_EQ(in_forward.size(), in_inverse.size());
  for (auto [r, k] : in_forward) {
    ASSERT_EQ(k, 1);
    ASSERT_EQ(in_inverse[r], 1);
  }
  for (const ua_nodeid& id : removed) ASSERT_EQ(g.node_find(id), nullptr);
}

TEST(Uagraph, RandomAddsAndRemovalsKeepBothListsConsistent) {
  uagraph g;
  ns0_types t(g);
  const std::vector<uagraph_node*> reftypes = {t.organizes, t.has_component, t.has_property,
                                               t.has_typedefinition, t.references};
  std::mt19937 rng(20240102);
  std::vector<uint32_t> live;  // node indices of removable nodes
  std::set<ua_nodeid> removed;
  const uint32_t classes[] = {UA_NODECLASS_OBJECT, UA_NODECLASS_VARIABLE, UA_NODECLASS_METHOD,
                              UA_NODECLASS_DATATYPE, UA_NODECLASS_VIEW};
  uint32_t next_id = 1;
  for (int step = 0; step < 6000; ++step) {
    const unsigned op = rng() % 100;
    if (op < 35 || live.size() < 4) {
      // Ids clash across namespaces and identifier types on purpose.
      const uint32_t n = next_id++;
      ua_nodeid id =
          n % 3 == 0 ? ua_nodeid::make_string(static_cast<uint16_t>(n % 4), numbered("s", n / 7))
          : n % 7 == 0
              ? ua_nodeid::make_opaque(1, std::vector<uint8_t>{uint8_t(n), uint8_t(n >> 8), 9})
              : ua_nodeid(static_cast<uint16_t>(n % 5), n / 5);
      if (g.node_find(id) != nullptr) continue;
      live.push_back(add(g, classes[rng() % 5], std::move(id))->node_index());
    } else if (op < 85) {
      uagraph_node* a = g.node_at(live[rng() % live.size()]);
      uagraph_node* b = g.node_at(live[rng() % live.size()]);
      ASSERT_EQ(g.reference_add(*a, *b, *reftypes[rng() % reftypes.size()]), 0);
    } else if (op < 92) {
      const std::size_t k = rng() % live.size();
      uagraph_node* n = g.node_at(live[k]);
      removed.insert(n->NodeId);
      ASSERT_EQ(g.node_remove(*n), 0);
      live.erase(live.begin() + static_cast<std::ptrdiff_t>(k));
    } else if (op < 97) {
      uagraph_node* n = g.node_at(live[rng() % live.size()]);
      if (n->forward_count() > 0) {
        const uagraph_reference& r = *g.forward_references(*n).begin();
        ASSERT_EQ(g.reference_remove(r), 0);
      }
    } else {
      uagraph_node* n = g.node_at(live[rng() % live.size()]);
      ASSERT_EQ(g.node_remove_subtree(*n), 0);
      std::vector<uint32_t> still;
      for (uint32_t i : live) {
        if (g.node_at(i) != nullptr) still.push_back(i);
      }
      live.swap(still);
    }
    if (step % 500 == 0) check_invariants(g, removed);
  }
  check_invariants(g, removed);
  EXPECT_GT(g.removed_count(), 100u);
  // Every reference type is still there.
  for (uagraph_node* rt : reftypes) EXPECT_EQ(g.node_find(rt->NodeId), rt);
}

TEST(Uagraph, HashIndexSurvivesGrowthAndRemoval) {
  uagraph g;
  std::vector<ua_nodeid> ids;
  for (uint32_t i = 0; i < 30000; ++i) {
    ids.push_back(i % 4 == 3
                      ? ua_nodeid::make_string(static_cast<uint16_t>(i % 3), numbered("n", i))
                      : ua_nodeid(static_cast<uint16_t>(i % 3), i / 3));
  }
  for (const ua_nodeid& id : ids) add(g, UA_NODECLASS_OBJECT, id);
  std::mt19937 rng(5);
  std::shuffle(ids.begin(), ids.end(), rng);
  const std::size_t half = ids.size() / 2;
  for (std::size_t i = 0; i < half; ++i) ASSERT_EQ(g.node_remove(*g.node_find(ids[i])), 0);
  for (std::size_t i = 0; i < ids.size(); ++i) {
    uagraph_node* n = g.node_find(ids[i]);
    ASSERT_EQ(n == nullptr, i < half) << i;
    if (n != nullptr) {
      ASSERT_EQ(n->NodeId, ids[i]);
    }
  }
  for (std::size_t i = 0; i < half; ++i) add(g, UA_NODECLASS_VARIABLE, ids[i]);
  for (const ua_nodeid& id : ids) ASSERT_NE(g.node_find(id), nullptr);
  EXPECT_EQ(g.node_count(), ids.size());
  EXPECT_EQ(g.node_slot_count(), ids.size() + half);
}

TEST(Uagraph, DuplicateReferencesAndIdsAreRefused) {
  uagraph g;
  ns0_types t(g);
  uagraph_node* a = add(g, UA_NODECLASS_OBJECT, ua_nodeid(1, 1));
  uagraph_node* b = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 2));
  ASSERT_EQ(g.reference_add(*a, *b, *t.has_component), 0);
  ASSERT_EQ(g.reference_add(*a, *b, *t.organizes), 0);  // another type is another reference
  CaptureFd out(1);
  EXPECT_EQ(g.reference_add(*a, *b, *t.has_component), 0);
  diag_set_verbosity(1);
  EXPECT_EQ(g.reference_add(*a, *b, *t.has_component), 0);
  diag_set_verbosity(2);
  EXPECT_EQ(out.finish(), "Skipping double reference.\n");
  EXPECT_EQ(a->forward_count(), 2u);
  EXPECT_EQ(b->inverse_count(), 2u);

  // The inverse of an inverse is the same reference.
  ASSERT_EQ(g.reference_add(*b, *a, *t.organizes), 0);
  EXPECT_EQ(g.reference_count(), 3u + 10u);  // 10 HasSubtype references among the types

  EXPECT_EQ(g.reference_add(*a, *b, *b), UA_EBADINVALIDARGUMENT);  // not a ReferenceType
  uagraph_node_ptr twin = uagraph::node_new(UA_NODECLASS_OBJECT);
  twin->NodeId = ua_nodeid(1, 2);
  EXPECT_EQ(g.node_add(std::move(twin)), UA_EBADDUPLICATEENTRY);
  EXPECT_EQ(g.node_find(ua_nodeid(1, 2)), b);
  EXPECT_EQ(uagraph::node_new(3), nullptr);

  const uagraph_reference& r = *g.forward_references(*a).begin();
  ASSERT_EQ(g.reference_remove(r), 0);
  CaptureFd err(2);
  EXPECT_EQ(g.reference_remove(r), UA_EBADNOTFOUND);
  EXPECT_EQ(err.finish(), "uagraph_reference_remove: reference not found in list.\n");
}

TEST(Uagraph, RemovalLeavesNoTraceAndKeepsReferenceTypes) {
  uagraph g;
  ns0_types t(g);
  uagraph_node* a = add(g, UA_NODECLASS_OBJECT, ua_nodeid::make_string(2, "a"));
  uagraph_node* b = add(g, UA_NODECLASS_OBJECT, ua_nodeid(2, 1));
  uagraph_node* c = add(g, UA_NODECLASS_OBJECT, ua_nodeid(2, 2));
  g.reference_add(*a, *b, *t.organizes);
  g.reference_add(*b, *c, *t.organizes);
  g.reference_add(*c, *b, *t.has_typedefinition);
  g.reference_add(*b, *b, *t.organizes);  // to itself
  const uint32_t b_index = b->node_index();

  ASSERT_EQ(g.node_remove(*b), 0);
  EXPECT_EQ(g.node_find(ua_nodeid(2, 1)), nullptr);
  EXPECT_EQ(g.node_at(b_index), nullptr);
  EXPECT_EQ(a->forward_count(), 0u);
  EXPECT_EQ(c->inverse_count(), 0u);
  EXPECT_EQ(c->forward_count(), 0u);
  EXPECT_EQ(g.removed_count(), 1u);
  EXPECT_EQ(g.node_remove(*a), 0);

  // The slot stays empty; a new node takes the next index; walks follow the index order.
  uagraph_node* d = add(g, UA_NODECLASS_OBJECT, ua_nodeid(2, 1));
  EXPECT_EQ(d->node_index(), g.node_slot_count() - 1);
  std::vector<uagraph_node*> order(g.nodes().begin(), g.nodes().end());
  ASSERT_GE(order.size(), 2u);
  EXPECT_EQ(order[order.size() - 2], c);
  EXPECT_EQ(order.back(), d);

  EXPECT_EQ(g.node_remove(*t.organizes), UA_EBADNOTSUPPORTED);
  EXPECT_EQ(g.node_find(ua_nodeid(0, 35)), t.organizes);
}

TEST(Uagraph, SubtreeRemovalFollowsHierarchicalReferencesOnly) {
  uagraph g;
  ns0_types t(g);
  uagraph_node* root = add(g, UA_NODECLASS_OBJECT, ua_nodeid(1, 1));
  uagraph_node* a = add(g, UA_NODECLASS_OBJECT, ua_nodeid(1, 2));
  uagraph_node* b = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 3));
  uagraph_node* c = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 4));
  uagraph_node* type = add(g, UA_NODECLASS_OBJECTTYPE, ua_nodeid(1, 5));
  g.reference_add(*root, *a, *t.organizes);
  g.reference_add(*a, *b, *t.has_component);
  g.reference_add(*b, *c, *t.has_property);
  g.reference_add(*c, *root, *t.organizes);  // a loop back to the top
  g.reference_add(*b, *a, *t.organizes);     // and one to the middle
  g.reference_add(*a, *type, *t.has_typedefinition);
  g.reference_add(*root, *t.organizes, *t.organizes);  // reference types are never removed

  ASSERT_EQ(g.node_remove_subtree(*root), 0);
  EXPECT_EQ(g.node_find(ua_nodeid(1, 1)), root);
  EXPECT_EQ(g.node_find(ua_nodeid(1, 5)), type);
  for (uint32_t id : {2u, 3u, 4u}) EXPECT_EQ(g.node_find(ua_nodeid(1, id)), nullptr);
  EXPECT_EQ(g.removed_count(), 3u);
  EXPECT_EQ(root->inverse_count(), 0u);
  EXPECT_EQ(type->inverse_count(), 0u);

  uagraph bare;
  uagraph_node* lone = add(bare, UA_NODECLASS_OBJECT, ua_nodeid(1, 1));
  CaptureFd err(2);
  EXPECT_EQ(bare.node_remove_subtree(*lone), UA_EBADNOTFOUND);
  EXPECT_NE(err.finish().find("HierarchicalReferences"), std::string::npos);
}

TEST(Uagraph, LookupsAndTypeTests) {
  uagraph g;
  ns0_types t(g);
  const auto subtype = [&](uagraph_node* super, uagraph_node* sub) {
    g.reference_add(*super, *sub, *t.has_subtype);
  };
  uagraph_node* base = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(0, 24));
  uagraph_node* dbl = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(0, 11));
  uagraph_node* duration = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(0, 290));
  uagraph_node* structure = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(0, 22));
  uagraph_node* mine = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(2, 3000));
  uagraph_node* derived = add(g, UA_NODECLASS_DATATYPE, ua_nodeid(2, 3001));
  subtype(base, dbl);
  subtype(dbl, duration);
  subtype(base, structure);
  subtype(structure, mine);
  subtype(mine, derived);
  EXPECT_EQ(g.node_supertype(*duration), dbl);
  EXPECT_TRUE(g.is_subtype_of(*duration, *base));
  EXPECT_TRUE(g.is_subtype_of(*duration, *duration));
  EXPECT_FALSE(g.is_subtype_of(*dbl, *duration));
  EXPECT_TRUE(g.is_simple_type(*duration));
  EXPECT_FALSE(g.is_simple_type(*derived));
  EXPECT_EQ(g.derived_datatype_base(*derived), mine);
  EXPECT_EQ(g.derived_datatype_base(*mine), nullptr);  // Structure is not a derived base
  EXPECT_EQ(g.derived_datatype_base(*duration), dbl);

  // Instances: a RoleType object with a variable, a namespace-metadata object with the
  // default-permission variables.
  uagraph_node* role_type = add(g, UA_NODECLASS_OBJECTTYPE, ua_nodeid(0, 15620));
  uagraph_node* meta_type = add(g, UA_NODECLASS_OBJECTTYPE, ua_nodeid(0, 11616));
  uagraph_node* rule = add(g, UA_NODECLASS_OBJECT, ua_nodeid(0, 78));
  uagraph_node* role = add(g, UA_NODECLASS_OBJECT, ua_nodeid(1, 1));
  uagraph_node* meta = add(g, UA_NODECLASS_OBJECT, ua_nodeid(1, 2));
  uagraph_node* identities = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 3), "Identities");
  uagraph_node* perms = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 4), "DefaultRolePermissions");
  uagraph_node* other = add(g, UA_NODECLASS_VARIABLE, ua_nodeid(1, 5), "NamespaceUri");
  g.reference_add(*role, *role_type, *t.has_typedefinition);
  g.reference_add(*meta, *meta_type, *t.has_typedefinition);
  g.reference_add(*role, *identities, *t.has_property);
  g.reference_add(*meta, *perms, *t.has_component);
  g.reference_add(*meta, *other, *t.has_property);
  g.reference_add(*identities, *rule, *t.has_modellingrule);
  g.reference_add(*t.organizes, *identities, *t.organizes);  // not a HasChild: no parent

  EXPECT_EQ(g.node_parent(*identities), role);
  EXPECT_EQ(g.node_typedefinition(*role), role_type);
  EXPECT_EQ(g.node_typedefinition(*identities), nullptr);
  EXPECT_EQ(g.node_modellingrule(*identities), rule);
  EXPECT_TRUE(g.is_role_variable(*identities));
  EXPECT_FALSE(g.is_role_variable(*perms));
  EXPECT_TRUE(g.is_namespace_metadata_permission_variable(*perms));
  EXPECT_FALSE(g.is_namespace_metadata_permission_variable(*other));
  perms->BrowseName.ns = 1;
  EXPECT_FALSE(g.is_namespace_metadata_permission_variable(*perms));

  EXPECT_EQ(g.node_find_reference(*meta, ua_nodeid(0, 46), true),
            &*std::next(g.forward_references(*meta).begin(), 2));
  EXPECT_EQ(g.node_find_reference(*meta, ua_nodeid(0, 33), true), nullptr);
  const uagraph_reference* hier = g.node_find_reference_subtype(*meta, ua_nodeid(0, 33), true);
  ASSERT_NE(hier, nullptr);
  EXPECT_EQ(&g.target_of(*hier), perms);
  EXPECT_EQ(g.node_find_reference_subtype(*meta, ua_nodeid(0, 9999), true), nullptr);
  const uagraph_reference* back = g.node_find_reference(*perms, ua_nodeid(0, 47), false);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(&g.source_of(*back), meta);

  role->used = 1;
  g.clear_marks();
  EXPECT_EQ(role->used, 0u);
}

TEST(UagraphNode, AccessRestrictionsGivenAsZeroDifferFromAbsent) {
  uagraph_node_ptr a = uagraph::node_new(UA_NODECLASS_OBJECT);
  uagraph_node_ptr b = uagraph::node_new(UA_NODECLASS_OBJECT);
  a->set_access_restrictions(0);
  EXPECT_TRUE(a->has_access_restrictions());
  EXPECT_FALSE(b->has_access_restrictions());
  EXPECT_EQ(a->get_access_restrictions(), b->get_access_restrictions());
  a->set_access_restrictions(0x7fff);
  EXPECT_EQ(a->get_access_restrictions(), 0x7fff);

  uagraph_node_ptr dt = uagraph::node_new(UA_NODECLASS_DATATYPE);
  uagraph_definition& def = dt->as<UADataType>()->Definition;
  def.fields.emplace_back().Name = "2nd Stage";
  EXPECT_EQ(def.field(0)->symbolic_name().view(), "2ndStage");
  EXPECT_EQ(def.field(1), nullptr);
}

std::string symbolic(std::string_view in) {
  ua_string out = "stale";
  uagraph_make_symbolic_name(out, in);
  return out.is_null() ? "<null>" : std::string(out.view());
}

TEST(SymbolicName, TransliteratesAndDrops) {
  EXPECT_EQ(symbolic("Motor Ölstand"), "MotorOlstand");
  EXPECT_EQ(symbolic("Straße"), "Strase");
  EXPECT_EQ(symbolic("2nd Stage"), "2ndStage");
  EXPECT_EQ(symbolic("Temp (°C)"), "TempC");
  EXPECT_EQ(symbolic("!-- ..."), "<null>");
  EXPECT_EQ(symbolic(""), "<null>");
  // The table's own rows.
  EXPECT_EQ(symbolic("ŊŋŉĲĳŒœſıĸ"), "nNNIJijOEoesik");
  EXPECT_EQ(symbolic("ÀÿāŽžöÖ"), "AyaZzoO");
  // No row: dropped byte by byte, like three- and four-byte characters.
  EXPECT_EQ(symbolic("a×b÷cÆæÐðØøÞþ€😀d"), "abcd");
  EXPECT_EQ(symbolic("x\xC3"), "x");  // a lone lead byte at the end
  EXPECT_EQ(symbolic("\xC3x"), "x");

  uagraph_node_ptr n = uagraph::node_new(UA_NODECLASS_VARIABLE);
  n->BrowseName.name = "Füllstand";
  EXPECT_EQ(n->symbolic_name().view(), "Fullstand");
  n->BrowseName.name = "Other";
  EXPECT_EQ(n->symbolic_name().view(), "Fullstand");  // made once, then stored
}

TEST(Wildcard, MatchesAndStopsAtTheNestingLimit) {
  EXPECT_EQ(uagraph_wildcard_match("Sensor*", "SensorA", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match("Sensor*", "Sensor", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match("?", "x", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match("?", "", 0), UA_EBADMISMATCH);
  EXPECT_EQ(uagraph_wildcard_match("?", "xy", 0), UA_EBADMISMATCH);
  EXPECT_EQ(uagraph_wildcard_match("a**b?d", "axxbcd", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match("*Temp", "tempTemp", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match("sensor*", "SensorA", 0), UA_EBADMISMATCH);
  EXPECT_EQ(uagraph_wildcard_match("", "", 0), 0);

  std::string nine, ten;
  for (int i = 0; i < 9; ++i) nine += "*a";
  ten = nine + "*a";
  EXPECT_EQ(uagraph_wildcard_match(nine, "aaaaaaaaa", 0), 0);
  EXPECT_EQ(uagraph_wildcard_match(ten, "aaaaaaaaaa", 0), UA_EBADTOOMANYNESTEDCALLS);
  // Many '*' groups against a long text that does not match end quickly.
  EXPECT_EQ(uagraph_wildcard_match("*a*a*a*a*a*a*a*a*b", std::string(300, 'a'), 0),
            UA_EBADMISMATCH);

  uagraph_node_ptr n = uagraph::node_new(UA_NODECLASS_OBJECT);
  auto& cats = n->extra_mut().categories;
  cats = {"Motor", "SensorA", "aaaaaaaaaa", "Sensor"};
  EXPECT_TRUE(uagraph_node_contains_category(*n, "Sens?r"));
  EXPECT_FALSE(uagraph_node_contains_category(*n, "Valve*"));
  {
    CaptureFd err(2);
    EXPECT_FALSE(uagraph_node_contains_category(*n, ten));
    EXPECT_EQ(err.finish(), "error: Wildcard matching failed with error.\n");
  }
  EXPECT_EQ(uagraph_node_remove_category(*n, "Sensor*"), 0);
  EXPECT_EQ(cats, (std::vector<ua_string>{"Motor", "aaaaaaaaaa"}));
  CaptureFd err(2);
  EXPECT_EQ(uagraph_node_remove_category(*n, ten), UA_EBADTOOMANYNESTEDCALLS);
  EXPECT_EQ(err.finish(), "error: Wildcard matching failed with error.\n");
}

}  // namespace
}  // namespace vos
