// Encoding throughput on real data: the value of every Variable of namespace 0 that has one
// (scalars, arrays, extension objects), in bytes of OPC UA binary output per second.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "diag/diag.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "tools/vospack/xmlloader.h"
#include "uabase/encoder.h"

namespace {

using namespace vos;

void BM_EncodeNamespace0Values(benchmark::State& state) {
  const std::string path = std::string(VOS_SOURCE_DIR) +
                           "/node_modules/node-opcua-nodesets/nodesets/Opc.Ua.NodeSet2.xml";
  diag_set_verbosity(0);
  if (ua_encoder_init() != 0) {
    state.SkipWithError("encoder start-up failed");
    return;
  }
  nstable ns;
  uagraph graph;
  xmlloader loader(graph, ns);
  if (loader.load_nodeset(path.c_str()) != 0) {
    state.SkipWithError("namespace 0 not installed");
    return;
  }
  std::vector<const ua_variant*> values;
  for (const uagraph_node* node : graph.nodes()) {
    if (const auto* v = node->as<UAVariable>(); v != nullptr && !v->Value.is_empty()) {
      values.push_back(&v->Value);
    }
  }
  ua_encoder enc(1 << 20);
  std::size_t bytes = 0;
  for (auto _ : state) {
    enc.reset();
    for (const ua_variant* v : values) {
      if (ua_encode_variant(enc, *v) != 0) {
        state.SkipWithError("a value did not encode");
        return;
      }
    }
    bytes += enc.size();
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
  state.counters["values"] = static_cast<double>(values.size());
  state.counters["bytes_per_pass"] = static_cast<double>(enc.size());
}
BENCHMARK(BM_EncodeNamespace0Values);

}  // namespace

BENCHMARK_MAIN();
