// The JSON form of a binary address-space file for scripts: one document with the header,
// the namespace records, the totals, the string tables, every node record with its
// attributes and value, and the references (see README, "vosdump --json").
#pragma once

#include <cstdio>
#include <string>

#include "tools/vospack/filereader.h"

namespace vos {

// Writes the document for the file read from `path` to `out`, ending with a line feed.
void dump_json(const char* path, const ua_file_contents& file, std::FILE* out);

// One value (`null` when empty) and one data-type definition in the form the document uses.
void json_append_value(std::string& out, const ua_variant& value);
void json_append_definition(std::string& out, const ua_file_contents& file,
                            const ua_file_read_definition& definition);

}  // namespace vos
