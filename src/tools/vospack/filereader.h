// Reads a binary address-space file back: checks the Adler-32 trailer and decodes every
// record into owned values. Used by the dump tool and by tests that compare a written file
// with the graph it came from.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/vospack/filewriter.h"
#include "tools/vospack/uagraph_rolepermission.h"
#include "uabase/types.h"

namespace vos {

struct ua_file_read_structure_field {
  uint8_t flags = 0;
  uint32_t name = 0;
  uint32_t text1 = 0;
  uint32_t text2 = 0;
  ua_nodeid datatype;
  int32_t value_rank = -1;
  std::vector<uint32_t> dims;
  uint32_t max_string_length = 0;
};

struct ua_file_read_definition {
  uint8_t kind = 0;  // the kind byte as stored
  uint32_t name = 0;
  ua_nodeid default_encoding;
  ua_nodeid base_type;
  std::vector<ua_file_read_structure_field> fields;
  std::vector<ua_file_enum_field> enum_fields;
};

// One node record as read; the members of other classes keep their initial values.
struct ua_file_read_node {
  uint32_t nodeclass = 0;
  uint8_t flags = 0;
  ua_nodeid nodeid;
  uint16_t browse_ns = 0;
  uint32_t browse_name = 0;
  uint32_t display_name = 0;
  uint32_t description = 0;
  uint32_t write_mask = 0;
  uint8_t perm_flags = 0;
  uint16_t access_restrictions = 0;
  std::vector<uagraph_rolepermission> role_permissions;
  std::vector<ua_file_extension> extensions;
  uint8_t event_notifier = 0;
  ua_nodeid method_declaration;
  uint32_t inverse_name = 0;
  uint8_t flags2 = 0;
  ua_variant value;
  ua_nodeid datatype;
  int32_t value_rank = -1;
  std::vector<uint32_t> array_dimensions;
  uint8_t access_level = 1;
  uint32_t minimum_sampling_interval = 0;
  ua_file_read_definition definition;
};

struct ua_file_reference {
  ua_nodeid source;
  ua_nodeid target;
  ua_nodeid type;
};

struct ua_file_read_stringtable {
  std::string name;
  std::vector<std::string> strings;
};

struct ua_file_contents {
  uint8_t major = 0;
  uint8_t minor = 0;
  int64_t creation_time = 0;
  ua_file_totals totals{};
  std::vector<std::string> extension_uris;
  std::vector<ua_file_extension> file_extensions;
  std::vector<ua_file_read_stringtable> string_tables;
  std::vector<ua_file_namespace> dependencies;
  std::vector<ua_file_namespace> models;
  // In file order: the node sections one after the other.
  std::vector<ua_file_read_node> nodes;
  // References, then cross-references (the file does not tell them apart).
  std::vector<ua_file_reference> references;
  uint32_t checksum = 0;

  // The string of table 0 at `index`, "" when out of range.
  std::string_view string(uint32_t index) const noexcept;
};

// Decodes a whole file image. Returns 0; UA_EBADTRUNCATED for a file that ends early (or is
// shorter than magic and checksum); UA_EBADMISMATCH for a wrong checksum; UA_EBADDECODING for
// a wrong magic or version, an overlong varint, an unknown value type or bytes left over.
int ua_file_read(std::span<const uint8_t> bytes, ua_file_contents& out);
// The same for a file on disk; UA_EBADFILENOTFOUND when it cannot be read.
int ua_file_read_path(const char* path, ua_file_contents& out);

}  // namespace vos
