// How names of the model become C: identifier macros, include guards, constant and member
// names, C string literals, byte-string and GUID literals.
//
// Identifiers are cut to 255 characters (a buffer of 256 in the C design): models with
// longer names get cut names, as every generated file agrees on the same cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "tools/vospack/codegen/encoders.h"  // cg_is_c_identifier
#include "uabase/types.h"

namespace vos {

class output_file;

// The longest identifier made.
inline constexpr std::size_t CODEGEN_MAX_IDENTIFIER = 255;

// ASCII case conversions of a whole text.
std::string cg_upper(std::string_view text);
std::string cg_lower(std::string_view text);

// Joins the parts and cuts the result to CODEGEN_MAX_IDENTIFIER.
std::string cg_join(std::initializer_list<std::string_view> parts);

// "<NAME>_H" from a name cut to 127 characters, upper-cased as a whole.
std::string cg_include_guard(std::string_view name);

// Prefix, "_" and symbolic name, upper-cased as a whole (di + FetchResultDataType gives
// DI_FETCHRESULTDATATYPE).
std::string cg_upper_constant(std::string_view prefix, std::string_view symbolic_name);

// True for the keywords of C99 and the macros bool, true and false of <stdbool.h>.
bool cg_is_c_keyword(std::string_view name);

// "<name>_<n>": how a name that is taken is made unique (Foo, Foo_2, Foo_3, ...).
std::string cg_numbered(std::string_view name, unsigned n);

// The member name of a structure field: snake case for namespace-0 types (ServerUri gives
// server_uri, NodeID node_id, URI uri), lower case for every other namespace. A result that
// is a C keyword prints the keyword warning and becomes "_" and the lower-cased name.
// Returns true when the keyword rule was applied.
bool cg_field_name(std::string_view name, bool namespace0, std::string& out);

// Escapes text for a C string literal into at most 4095 characters: '"', '\' and '?' get a
// backslash, other printable ASCII stays, every other byte becomes a three-digit octal
// escape.
// Returns 0, or UA_EBADTRUNCATED when the text was cut (`out` holds the cut text).
int cg_escape_c_string(std::string_view text, std::string& out);

// Writes one entry of a byte-string pool: "    { <len>, \"...\"},\n" with the bytes as
// hexadecimal escapes in runs of 16, 8, 4, 2 or 1, a new literal on a new line after every
// run of 16.
void cg_write_bytestring_literal(output_file& out, std::span<const uint8_t> bytes);

// "{ 0x%08x, 0x%04x, 0x%04x, { 0x%02x, ... } }" framed by prefix and suffix.
std::string cg_guid_literal(std::string_view prefix, const ua_guid& guid, std::string_view suffix);

}  // namespace vos
