// Parses arbitrary bytes, then walks whatever tree came out: navigation, entity decoding
// of every attribute value and text, and the printers' location block.
#include <cstddef>
#include <cstdint>

#include "diag/diag.h"
#include "util/xml.h"

namespace {

void walk(const vos::xml_node& node, unsigned& budget) {
  char wide[256];
  char narrow[5];
  for (const vos::xml_node& child : node.nodes()) {
    if (budget == 0) return;
    --budget;
    const vos::xml_string value = child.value();
    vos::xml_string_html_decode(value, wide, sizeof wide);
    vos::xml_string_html_decode(value, narrow, sizeof narrow);
    if (child.is_attribute()) {
      (void)vos::xml_node_find_attribute(&node, child.name());
    } else {
      (void)vos::xml_node_find_child(&node, child.name());
      (void)vos::xml_node_find_next_sibling(&child, child.name());
      (void)child.count_children();
      (void)child.namespace_uri();
      walk(child, budget);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vos::xml_doc doc;
  vos::xml_doc_parse_buffer(reinterpret_cast<const char*>(data), size, doc, "fuzz.xml");
  const vos::xml_node* root = doc.root();
  if (!root) return 0;
  unsigned budget = 10000;
  walk(*root, budget);
  // The location block must stay inside the text, whatever line the element is on.
  for (const vos::xml_node* n = doc.document_element(); n; n = n->first_child()) {
    vos::diag_error_at(4000, VOS_HERE, "fuzz", n, "element\n");
    if (const vos::xml_node* a = n->first_attribute())
      vos::diag_warning_at(1000, VOS_HERE, "fuzz", a, "attribute\n");
  }
  return 0;
}
