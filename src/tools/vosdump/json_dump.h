// The JSON form of a binary address-space file for scripts: one document with the header,
// the namespace records, the totals, the string tables, every node record with its
// attributes and value, and the references (see README, "vosdump --json").
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/vospack/filereader.h"

namespace vos {

// Writes the document for the file read from `path` to `out`, ending with a line feed.
void dump_json(const char* path, const ua_file_contents& file, std::FILE* out);

// Writes values and role permissions in the form the document uses. What names a namespace by
// its index (a NodeId, a qualified name, the encoding of an extension object) goes through the
// virtual members, which write it as the file holds it; `vosdump --diff` overrides them to show
// the numbering common to the two files it compares.
class json_value_writer {
 public:
  json_value_writer() = default;
  json_value_writer(const json_value_writer&) = default;
  json_value_writer& operator=(const json_value_writer&) = default;
  virtual ~json_value_writer() = default;

  // One value, `null` when empty.
  void value(std::string& out, const ua_variant& v) const;
  void role_permissions(std::string& out, const std::vector<uagraph_rolepermission>& list) const;

  virtual void nodeid(std::string& out, const ua_nodeid& id) const;
  virtual void qualified_name(std::string& out, const ua_qualifiedname& name) const;
  virtual void extension_object(std::string& out, const ua_extensionobject& object) const;

 private:
  void scalar(std::string& out, uint8_t type, const void* p) const;
};

// A value's date: ISO 8601 in UTC; one before 1601 has no calendar form and is written as its
// ticks.
void json_append_datetime(std::string& out, int64_t ticks);

// One value (`null` when empty) and one data-type definition in the form the document uses.
void json_append_value(std::string& out, const ua_variant& value);
void json_append_definition(std::string& out, const ua_file_contents& file,
                            const ua_file_read_definition& definition);

}  // namespace vos
