// Parse throughput of the namespace-0 model, and what its tree costs in memory.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "util/xml.h"

namespace {

std::string load_model() {
  std::ifstream in(VOS_SOURCE_DIR "/node_modules/node-opcua-nodesets/nodesets/Opc.Ua.NodeSet2.xml",
                   std::ios::binary);
  if (!in) return {};
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

const std::string& model() {
  static const std::string text = load_model();
  return text;
}

// Parsing from memory into a fresh document: the tree only, no file reading, but every
// node lands in memory the process has not touched before.
void BM_ParseNamespace0(benchmark::State& state) {
  const std::string& text = model();
  if (text.empty()) {
    state.SkipWithError("Opc.Ua.NodeSet2.xml not installed");
    return;
  }
  std::size_t tree = 0;
  for (auto _ : state) {
    vos::xml_doc doc;
    const int r = vos::xml_doc_parse_buffer(text.data(), text.size(), doc);
    if (r != 0) {
      state.SkipWithError("parse failed");
      return;
    }
    tree = doc.tree_bytes();
    benchmark::DoNotOptimize(doc.root());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.counters["tree_bytes"] = static_cast<double>(tree);
  state.counters["tree_per_file_byte"] =
      static_cast<double>(tree) / static_cast<double>(text.size());
}
BENCHMARK(BM_ParseNamespace0)->Unit(benchmark::kMillisecond);

// Parsing again into one document, which keeps its node memory: what a loader that holds
// one document for all its files sees from the second file on.
void BM_ReparseNamespace0(benchmark::State& state) {
  const std::string& text = model();
  if (text.empty()) {
    state.SkipWithError("Opc.Ua.NodeSet2.xml not installed");
    return;
  }
  vos::xml_doc doc;
  for (auto _ : state) {
    if (vos::xml_doc_parse_buffer(text.data(), text.size(), doc) != 0) {
      state.SkipWithError("parse failed");
      return;
    }
    benchmark::DoNotOptimize(doc.root());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ReparseNamespace0)->Unit(benchmark::kMillisecond);

// The driver's path: read the file and parse it.
void BM_LoadFileNamespace0(benchmark::State& state) {
  const char* path =
      VOS_SOURCE_DIR "/node_modules/node-opcua-nodesets/nodesets/Opc.Ua.NodeSet2.xml";
  const std::string& text = model();
  if (text.empty()) {
    state.SkipWithError("Opc.Ua.NodeSet2.xml not installed");
    return;
  }
  for (auto _ : state) {
    vos::xml_doc doc;
    if (vos::xml_doc_load_file(path, doc) != 0) {
      state.SkipWithError("load failed");
      return;
    }
    benchmark::DoNotOptimize(doc.root());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_LoadFileNamespace0)->Unit(benchmark::kMillisecond);

// A walk over the whole tree with the navigation helpers, as a loader does.
void BM_WalkNamespace0(benchmark::State& state) {
  const std::string& text = model();
  if (text.empty()) {
    state.SkipWithError("Opc.Ua.NodeSet2.xml not installed");
    return;
  }
  vos::xml_doc doc;
  if (vos::xml_doc_parse_buffer(text.data(), text.size(), doc) != 0) {
    state.SkipWithError("parse failed");
    return;
  }
  for (auto _ : state) {
    std::size_t count = 0;
    for (const vos::xml_node& node : doc.document_element()->children()) {
      if (const vos::xml_node* id = node.find_attribute("NodeId")) count += id->value().size();
      for (const vos::xml_node& child : node.children()) count += child.name().size();
    }
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_WalkNamespace0)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
