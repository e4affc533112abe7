// Extension records: information without an OPC UA attribute of its own (the generator that
// wrote the file, a node's runtime address, its documentation, the raw XML of its
// "Extensions" element), tagged with an extension URI and an id.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

#include "tools/vospack/filewriter.h"
#include "uabase/types.h"

namespace vos {

class uagraph_node;

// The one extension URI of the file, at index 0.
inline constexpr std::string_view NODEEXT_URI = "extension://velmora";

// Extension ids.
inline constexpr uint16_t NODEEXT_ID_GENERATOR = 3;
inline constexpr uint16_t NODEEXT_ID_RTADDRESS = 6;
inline constexpr uint16_t NODEEXT_ID_DOCUMENTATION = 7;
inline constexpr uint16_t NODEEXT_ID_XML = 8;

// Selection bits of -e.
inline constexpr uint32_t NODEEXT_SELECT_DEFAULT = 1;  // runtime address
inline constexpr uint32_t NODEEXT_SELECT_DOC = 2;      // documentation
inline constexpr uint32_t NODEEXT_SELECT_XML = 4;      // generic XML
inline constexpr uint32_t NODEEXT_SELECT_ALL = 7;

// Which node extensions are written; only the runtime address unless -e says otherwise.
struct nodeext_selection {
  uint32_t bits = NODEEXT_SELECT_DEFAULT;
};

// Applies the ','-separated tokens "all", "default", "doc" and "none" in order; other tokens
// are ignored.
void nodeext_parse_selection(nodeext_selection& sel, std::string_view text);
// "Selected extensions:" and one yes/no line per extension.
void nodeext_print_selection(const nodeext_selection& sel, std::FILE* out);

// Append one record to the node's extension list and set its extensions flag. Each returns
// 0, or UA_EBADNOTFOUND when the writer has no extension URI "extension://velmora".
int nodeext_add_rtaddress(const ua_file_writer& w, ua_file_node& node, std::string_view text);
int nodeext_add_documentation(const ua_file_writer& w, ua_file_node& node, std::string_view text);
// One record per text, in order.
int nodeext_add_xml(const ua_file_writer& w, ua_file_node& node, std::span<const ua_string> texts);

// The generator-information file extension: the tool name and version as two OPC UA binary
// strings.
int nodeext_make_generator_info(const ua_file_writer& w, std::string_view tool,
                                std::string_view version, ua_file_extension& out);

// Adds the selected extensions of a graph node to its record (documentation, runtime
// address, XML); a failure is reported on stderr and the node is written anyway.
void nodeext_add_selected(const ua_file_writer& w, const nodeext_selection& sel,
                          const uagraph_node& node, ua_file_node& record);

}  // namespace vos
