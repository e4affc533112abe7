// Type dictionary: structured data types described by one row per member, so that one walker
// encodes, decodes, compares, copies and clears every structure, structure with optional
// fields and union.
//
// Layout: a described structure is a standard-layout aggregate of the value types of
// uabase/types.h (scalars as their value type, enumerations as int32_t, option sets as their
// unsigned base integer, arrays as ua_array<T>, nested structures by value). A row carries the
// member's offsetof() within it, which is well-defined exactly because the structure is
// standard-layout (the generated sources static_assert this for every structure). The walker
// reaches a member by adding the offset to the structure's address and works on it through
// the type-erased operations of its type (ua_value_ops), so that construction, copy and
// destruction remain those of the C++ types. A union is laid out like a structure whose
// members all exist side by side; only the member chosen by the switch is encoded.
#pragma once

#include <cstdint>

#include "uabase/types.h"

namespace vos {

class ua_encoder;
class ua_decoder;
struct ua_type_table;

// Flags byte of a field row.
// Bits 0 to 2: implementation kind.
inline constexpr uint8_t UA_DICT_IMPL_MASK = 0x07;
inline constexpr uint8_t UA_DICT_IMPL_FUNC = 1;          // built-in type of variable size
inline constexpr uint8_t UA_DICT_IMPL_FUNC_FIXED = 2;    // built-in type of fixed size
inline constexpr uint8_t UA_DICT_IMPL_ENUM_FIXED = 3;    // enumeration (Int32)
inline constexpr uint8_t UA_DICT_IMPL_OSET_FIXED = 4;    // option set over an unsigned integer
inline constexpr uint8_t UA_DICT_IMPL_STRUCT = 5;        // nested structure of variable size
inline constexpr uint8_t UA_DICT_IMPL_STRUCT_FIXED = 6;  // nested structure of fixed size
// DiagnosticInfo members are built-ins of variable size.
inline constexpr uint8_t UA_DICT_IMPL_DIAGNOSTICINFO = UA_DICT_IMPL_FUNC;
// Bit 3: the type is looked up in the namespace-0 type table.
inline constexpr uint8_t UA_DICT_NS0 = 0x08;
// Bits 4 and 5: rank.
inline constexpr uint8_t UA_DICT_RANK_MASK = 0x30;
inline constexpr uint8_t UA_DICT_RANK_SCALAR = 0x10;
inline constexpr uint8_t UA_DICT_RANK_SCALAR_NS0 = 0x18;
inline constexpr uint8_t UA_DICT_RANK_ARRAY = 0x20;
inline constexpr uint8_t UA_DICT_RANK_ARRAY_NS0 = 0x28;
inline constexpr uint8_t UA_DICT_RANK_MATRIX = 0x30;
inline constexpr uint8_t UA_DICT_RANK_MATRIX_NS0 = 0x38;
// Bit 6: on the first row, the structure has optional fields and the row is the UInt32 mask;
// on any other row, the field is optional.
inline constexpr uint8_t UA_DICT_STRUCT_OPTIONAL = 0x40;
// Bit 7: on the first row, the structure is a union and the row is the UInt32 switch.
inline constexpr uint8_t UA_DICT_STRUCT_UNION = 0x80;

// The flags a mask row must carry.
inline constexpr uint8_t UA_DICT_MASK_FLAGS =
    UA_DICT_STRUCT_OPTIONAL | UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED;

// A row's type value: the type index in the low 16 bits, the index of the type table it
// comes from in the high 16 bits (0 for namespace 0).
inline constexpr uint32_t UA_TYPE_TABLE_LOCAL_TYPE_BITS = 16;
inline constexpr uint32_t ua_type_value(uint32_t table, uint32_t index) {
  return (table << UA_TYPE_TABLE_LOCAL_TYPE_BITS) | index;
}
inline constexpr uint32_t ua_type_value_index(uint32_t type) {
  return type & 0xFFFFu;
}
inline constexpr uint32_t ua_type_value_table(uint32_t type) {
  return type >> UA_TYPE_TABLE_LOCAL_TYPE_BITS;
}

// One member of a structure.
struct ua_dict_field {
  const char* name;
  uint8_t name_len;
  uint8_t flags;
  uint16_t offset;  // offsetof() of the member
  uint32_t type;    // type value: built-in type constant (UA_TYPE_...) or type table index
};

// Structure kinds, from the flags of the first row.
enum ua_dict_struct : uint32_t {
  UA_DICT_STRUCT_PLAIN = 0,
  UA_DICT_STRUCT_KIND_OPTIONAL = 1,
  UA_DICT_STRUCT_KIND_UNION = 2,
};
inline constexpr uint32_t ua_dict_struct_kind(const ua_dict_field& first) {
  return static_cast<uint32_t>(first.flags >> 6);
}

// One structure type.
struct ua_dict_structure {
  const char* name;
  const ua_dict_field* fields;
  uint32_t encoding_id;  // numeric id of the binary encoding
  uint32_t type_id;      // numeric id of the data type
  uint16_t num_fields;
  uint32_t size;            // sizeof() of the structure
  const ua_value_ops* ops;  // the operations of the C++ structure type
};

// One enumeration or option set: stored and encoded as its built-in base type.
struct ua_dict_inttype {
  const char* name;
  uint32_t type_id;
  uint32_t size;
  uint8_t base_type;  // built-in type code (UA_VT_INT32 for enumerations)
};

// Encodes a structure by its rows: plain, with optional fields (mask first) or union
// (switch first). `table` is the structure's own type table; rows flagged UA_DICT_NS0 are
// resolved in the namespace-0 table. Returns 0, -29 invalid flags, -10 matrix, -22 unknown
// type, -8 invalid union switch, or a built-in encoder's result.
int ua_dict_encode_structure(ua_encoder& enc, const ua_type_table& table,
                             const ua_dict_structure& st, const void* obj);
int ua_dict_decode_structure(ua_decoder& dec, const ua_type_table& table,
                             const ua_dict_structure& st, void* obj);
// One member (obj is the structure, the row's offset selects the member).
int ua_dict_encode_field(ua_encoder& enc, const ua_type_table& table, const ua_dict_field& field,
                         const void* obj);
int ua_dict_decode_field(ua_decoder& dec, const ua_type_table& table, const ua_dict_field& field,
                         void* obj);

// Member-wise compare (<0, 0, >0 in row order), copy (dst is a valid structure, its members
// are replaced) and clear (every member back to its initial value) walking the rows.
int ua_dict_compare_structure(const ua_type_table& table, const ua_dict_structure& st,
                              const void* a, const void* b);
int ua_dict_copy_structure(const ua_type_table& table, const ua_dict_structure& st, void* dst,
                           const void* src);
void ua_dict_clear_structure(const ua_type_table& table, const ua_dict_structure& st, void* obj);

}  // namespace vos
