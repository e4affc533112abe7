#include "support/corpus.h"

#include <set>

#include "support/testutil.h"
#include "util/xml.h"

namespace vos::test {

namespace fs = std::filesystem;

std::map<std::string, corpus_model> corpus_scan(const fs::path& dir,
                                                std::vector<fs::path>* skipped) {
  std::map<std::string, corpus_model> models;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!entry.is_regular_file() || entry.path().extension() != ".xml") continue;
    xml_doc doc;
    const std::string p = entry.path().string();
    const xml_node* root =
        xml_doc_load_file(p.c_str(), doc) == 0 ? doc.document_element() : nullptr;
    const xml_node* model = xml_node_find_child(xml_node_find_child(root, "Models"), "Model");
    const xml_node* uri = xml_node_find_attribute(model, "ModelUri");
    if (uri == nullptr) {
      if (skipped != nullptr) skipped->push_back(entry.path());
      continue;
    }
    corpus_model m;
    m.path = entry.path();
    for (const xml_node* r = model->find_child("RequiredModel"); r != nullptr;
         r = r->find_next_sibling("RequiredModel")) {
      if (const xml_node* u = r->find_attribute("ModelUri")) m.needs.emplace_back(u->value());
    }
    if (const xml_node* uris = root->find_child("NamespaceUris")) {
      for (const xml_node& u : uris->children()) m.needs.emplace_back(u.value());
    }
    models.emplace(std::string(uri->value()), std::move(m));
  }
  return models;
}

std::vector<std::string> corpus_closure(const std::map<std::string, corpus_model>& models,
                                        const std::string& uri) {
  std::vector<std::string> order;
  std::set<std::string> seen;
  // Depth first, a model after everything it needs; a URI met again is not followed, which
  // also ends cycles.
  struct frame {
    const corpus_model* model;
    std::size_t next;
  };
  std::vector<frame> stack;
  const auto enter = [&](const std::string& u) {
    if (!seen.insert(u).second) return;
    const auto it = models.find(u);
    if (it != models.end()) stack.push_back({&it->second, 0});
  };
  enter(uri);
  while (!stack.empty()) {
    frame& top = stack.back();
    if (top.next < top.model->needs.size()) {
      const std::string& need = top.model->needs[top.next++];
      enter(need);  // may grow the stack: `top` is not used after this
      continue;
    }
    order.push_back(top.model->path.string());
    stack.pop_back();
  }
  return order;
}

const corpus& installed_corpus() {
  static const corpus c = [] {
    corpus out;
    out.dir = nodeset_dir();
    if (!out.dir.empty()) out.models = corpus_scan(out.dir, &out.skipped);
    return out;
  }();
  return c;
}

const std::map<std::string, std::string>& corpus_load_failures() {
  static const std::map<std::string, std::string> failures = {
      // Dictionary entries of the IRDI namespace that the IRDI model does not contain.
      {"Opc.Ua.MetalForming.NodeSet2.xml", "error 4017: Destination node not found."},
  };
  return failures;
}

void CorpusTest::SetUp() {
  if (corpus_.dir.empty()) GTEST_SKIP() << "models not installed";
  ASSERT_TRUE(corpus_.skipped.empty()) << corpus_.skipped.front() << ": no model declaration";
  ASSERT_GE(corpus_.models.size(), 30u);
}

}  // namespace vos::test
