// Building a graph of a million nodes with three references each and looking every node up
// once, and what the graph costs in memory per node.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "tools/vospack/uagraph.h"

namespace {

using namespace vos;

// Heap bytes in use (arena and mapped blocks).
std::size_t heap_in_use() {
  const struct mallinfo2 mi = mallinfo2();
  return mi.uordblks + mi.hblkhd;
}

// What the model looks like: mostly Variables and Objects below folders, one in ten with a
// string id, every node with a parent reference, a type definition and one more reference:
// half of them to a modelling rule, the others to a node nearby (a sibling or cousin) and one
// in five of those to any node of the model.
struct model_plan {
  explicit model_plan(std::size_t nodes) : count(nodes) {
    static const char* const words[] = {"Speed",  "Motor",    "Temperature", "Pressure", "Line",
                                        "Valve",  "Setpoint", "State",       "Counter",  "Pump",
                                        "Status", "Level",    "Flow",        "Alarm",    "Unit"};
    for (int i = 0; i < 1000; ++i) {
      names.push_back(std::string(words[i % 15]) + std::to_string(i / 15));
    }
    std::mt19937 rng(1);
    for (std::size_t i = 0; i < nodes; ++i) {
      const unsigned r = rng() % 100;
      classes.push_back(r < 60   ? UA_NODECLASS_VARIABLE
                        : r < 95 ? UA_NODECLASS_OBJECT
                                 : UA_NODECLASS_METHOD);
      string_ids.push_back(i % 10 == 3 ? "Plant.Area" + std::to_string(i % 97) + ".Device" +
                                             std::to_string(i) + "." + names[i % 1000]
                                       : std::string());
      // A parent among the last few hundred nodes, the extra target nearby or anywhere before.
      const auto before = [&](std::size_t range) {
        return i == 0 ? 0 : static_cast<uint32_t>(i - 1 - rng() % std::min<std::size_t>(i, range));
      };
      parents.push_back(before(300));
      extras.push_back(rng() % 5 == 0 ? before(i) : before(1000));
    }
    for (std::size_t i = 0; i < nodes; ++i) order.push_back(static_cast<uint32_t>(i));
    std::shuffle(order.begin(), order.end(), rng);
  }

  ua_nodeid id(std::size_t i) const {
    return string_ids[i].empty() ? ua_nodeid(2, static_cast<uint32_t>(i + 5000))
                                 : ua_nodeid::make_string(3, string_ids[i]);
  }

  std::size_t count;
  std::vector<std::string> names;
  std::vector<uint32_t> classes;
  std::vector<std::string> string_ids;
  std::vector<uint32_t> parents;
  std::vector<uint32_t> extras;
  std::vector<uint32_t> order;
};

void BM_BuildAndLookUp(benchmark::State& state) {
  const model_plan plan(static_cast<std::size_t>(state.range(0)));
  std::vector<ua_nodeid> keys;
  keys.reserve(plan.count);
  for (uint32_t i : plan.order) keys.push_back(plan.id(i));

  double per_node_records = 0;
  double per_node_heap = 0;
  std::size_t refs = 0;
  std::vector<uagraph_node*> made(plan.count);
  for (auto _ : state) {
    state.PauseTiming();
    const std::size_t heap_before = heap_in_use();
    state.ResumeTiming();
    {
      uagraph g;
      // A handful of namespace-0 types the instances point at.
      std::vector<uagraph_node*> types;
      for (uint32_t id : {35u, 40u, 37u, 41u, 47u, 46u}) {
        uagraph_node_ptr n = uagraph::node_new(UA_NODECLASS_REFERENCETYPE);
        n->NodeId = ua_nodeid(0, id);
        types.push_back(n.get());
        g.node_add(std::move(n));
      }
      uagraph_node* organizes = types[0];
      uagraph_node* has_typedefinition = types[1];
      uagraph_node* has_modellingrule = types[2];
      uagraph_node* generates_event = types[3];
      uagraph_node* has_component = types[4];
      uagraph_node* has_property = types[5];
      std::vector<uagraph_node*> targets;
      for (uint32_t id : {58u, 63u, 68u, 78u, 80u, 2041u}) {
        uagraph_node_ptr n = uagraph::node_new(id == 63 || id == 68 ? UA_NODECLASS_VARIABLETYPE
                                                                    : UA_NODECLASS_OBJECTTYPE);
        n->NodeId = ua_nodeid(0, id);
        targets.push_back(n.get());
        g.node_add(std::move(n));
      }

      for (std::size_t i = 0; i < plan.count; ++i) {
        uagraph_node_ptr n = uagraph::node_new(plan.classes[i]);
        n->NodeId = plan.id(i);
        const std::string& name = plan.names[i % plan.names.size()];
        n->BrowseName.ns = 2;
        n->BrowseName.name = name;
        n->DisplayName.locale = "en";
        n->DisplayName.text = name;
        if (UAVariable* v = n->as<UAVariable>()) {
          v->DataType = ua_nodeid(0, 11);
          v->Value.set_scalar(1.5);
        }
        made[i] = n.get();
        g.node_add(std::move(n));

        uagraph_node& node = *made[i];
        uagraph_node& parent = *made[plan.parents[i]];
        const bool variable = plan.classes[i] == UA_NODECLASS_VARIABLE;
        if (i > 0) {
          g.reference_add(parent, node,
                          variable ? (i % 2 ? *has_property : *has_component) : *organizes);
        } else {
          g.reference_add(*targets[0], node, *organizes);
        }
        g.reference_add(node, variable ? *targets[1] : *targets[0], *has_typedefinition);
        if (i % 2 == 0) {
          g.reference_add(node, *targets[3], *has_modellingrule);
        } else {
          g.reference_add(node, *made[plan.extras[i]], *generates_event);
        }
      }

      std::size_t found = 0;
      for (const ua_nodeid& key : keys) found += g.node_find(key) != nullptr;

      // Neither the accounting nor tearing the graph down is part of the measurement.
      state.PauseTiming();
      if (found != plan.count) state.SkipWithError("look-up failed");
      per_node_records = static_cast<double>(g.memory_bytes()) / static_cast<double>(plan.count);
      per_node_heap =
          static_cast<double>(heap_in_use() - heap_before) / static_cast<double>(plan.count);
      refs = g.reference_count();
    }
    state.ResumeTiming();
  }
  state.counters["references"] = static_cast<double>(refs);
  state.counters["record_bytes_per_node"] = per_node_records;
  state.counters["heap_bytes_per_node"] = per_node_heap;
}
BENCHMARK(BM_BuildAndLookUp)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
