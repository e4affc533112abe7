// Values in the binary address-space file: variants (scalars, arrays, matrices) and
// extension objects, written with the file's compact primitives. An extension object's body
// is the OPC UA binary encoding of its structure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "uabase/types.h"

namespace vos {

class ua_file_writer;

// The trace component bit of the file writer.
inline constexpr uint32_t UA_TRACE_COMPONENT_FILEWRITER = 0x20;

// An encoded structure body, with its 4-byte length, must fit into this many bytes.
inline constexpr std::size_t UA_FILE_EXTENSIONOBJECT_MAX_BODY = 1024;

// The leading type byte, then the scalar, array or matrix body. A type byte with the
// dimensions bit but without the array bit is refused with UA_EBADINVALIDARGUMENT.
int ua_file_writer_write_variant(ua_file_writer& w, const ua_variant& v);
// One value of built-in type `type` held as its C++ value type at `value` (null only for
// Null). Types from DataValue on are refused with UA_EBAD.
int ua_file_writer_write_variant_scalar(ua_file_writer& w, uint8_t type, const void* value);
// Element count, then the elements; ExpandedNodeId and types from DataValue on are refused
// with UA_EBAD after the count.
int ua_file_writer_write_variant_array(ua_file_writer& w, uint8_t type, const void* data,
                                       int32_t count);
// Encoding id (looked up from the type id when it is null), then the body as ByteStr.
int ua_file_writer_write_extensionobject(ua_file_writer& w, const ua_extensionobject& eo);

}  // namespace vos
