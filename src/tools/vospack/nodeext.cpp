#include "tools/vospack/nodeext.h"

#include <vector>

#include "tools/vospack/uagraph.h"
#include "uabase/encoder.h"
#include "util/errors.h"

namespace vos {

void nodeext_parse_selection(nodeext_selection& sel, std::string_view text) {
  while (true) {
    const std::size_t comma = text.find(',');
    const std::string_view token = text.substr(0, comma);
    if (token == "all")
      sel.bits = NODEEXT_SELECT_ALL;
    else if (token == "default")
      sel.bits |= NODEEXT_SELECT_DEFAULT;
    else if (token == "doc")
      sel.bits |= NODEEXT_SELECT_DOC;
    else if (token == "none")
      sel.bits = 0;
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
}

void nodeext_print_selection(const nodeext_selection& sel, std::FILE* out) {
  const auto yes = [&sel](uint32_t bit) { return (sel.bits & bit) != 0 ? "yes" : "no"; };
  std::fprintf(out, "Selected extensions:\n");
  std::fprintf(out, " Default: %s\n", yes(NODEEXT_SELECT_DEFAULT));
  std::fprintf(out, " Doc    : %s\n", yes(NODEEXT_SELECT_DOC));
  std::fprintf(out, " XML    : %s\n", yes(NODEEXT_SELECT_XML));
}

namespace {

int add_raw(const ua_file_writer& w, ua_file_node& node, uint16_t id, std::string_view text) {
  const int uri = w.find_extension_uri(NODEEXT_URI);
  if (uri < 0) return UA_EBADNOTFOUND;
  ua_file_extension ext;
  ext.uri_index = static_cast<uint16_t>(uri);
  ext.id = id;
  ext.data = ua_bytestring(text);
  node.extensions.push_back(std::move(ext));
  node.flags |= UA_FILE_NODE_EXTENSIONS;
  return 0;
}

}  // namespace

int nodeext_add_rtaddress(const ua_file_writer& w, ua_file_node& node, std::string_view text) {
  return add_raw(w, node, NODEEXT_ID_RTADDRESS, text);
}

int nodeext_add_documentation(const ua_file_writer& w, ua_file_node& node, std::string_view text) {
  return add_raw(w, node, NODEEXT_ID_DOCUMENTATION, text);
}

int nodeext_add_xml(const ua_file_writer& w, ua_file_node& node, std::span<const ua_string> texts) {
  for (const ua_string& t : texts) {
    if (int ret = add_raw(w, node, NODEEXT_ID_XML, t.view()); ret != 0) return ret;
  }
  return 0;
}

int nodeext_make_generator_info(const ua_file_writer& w, std::string_view tool,
                                std::string_view version, ua_file_extension& out) {
  const int uri = w.find_extension_uri(NODEEXT_URI);
  if (uri < 0) return UA_EBADNOTFOUND;
  std::vector<uint8_t> buf(tool.size() + version.size() + 8);
  ua_encoder enc{std::span<uint8_t>(buf)};
  int ret = ua_encode_string(enc, ua_string(tool));
  if (ret == 0) ret = ua_encode_string(enc, ua_string(version));
  if (ret != 0) return ret;
  out.uri_index = static_cast<uint16_t>(uri);
  out.id = NODEEXT_ID_GENERATOR;
  out.data = ua_bytestring(std::span<const uint8_t>(buf.data(), enc.size()));
  return 0;
}

void nodeext_add_selected(const ua_file_writer& w, const nodeext_selection& sel,
                          const uagraph_node& node, ua_file_node& record) {
  const uagraph_node_extra& extra = node.extra();
  if ((sel.bits & NODEEXT_SELECT_DOC) != 0 && !extra.Documentation.empty() &&
      nodeext_add_documentation(w, record, extra.Documentation.view()) != 0) {
    ua_file_report("error: failed to add documentation extension\n");
  }
  if ((sel.bits & NODEEXT_SELECT_DEFAULT) != 0 && !extra.RTAddress.empty() &&
      nodeext_add_rtaddress(w, record, extra.RTAddress.view()) != 0) {
    ua_file_report("error: failed to add rtaddress extension\n");
  }
  if ((sel.bits & NODEEXT_SELECT_XML) != 0 && !extra.extensions.empty() &&
      nodeext_add_xml(w, record, extra.extensions) != 0) {
    ua_file_report("error: failed to add generic xml extensions\n");
  }
}

}  // namespace vos
