// Type tables: per namespace the built-in types (namespace 0 only), the integer types
// (enumerations and option sets) and the structures, with their start-up validation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "uabase/dict.h"
#include "uabase/types.h"

namespace vos {

class ua_encoder;
class ua_decoder;

// Type indexes of the built-in function table: the built-in type codes, then the abstract
// numeric types and Enumeration.
inline constexpr uint32_t UA_TYPE_NULL = 0;
inline constexpr uint32_t UA_TYPE_BOOLEAN = 1;
inline constexpr uint32_t UA_TYPE_INT8 = 2;   // SByte
inline constexpr uint32_t UA_TYPE_UINT8 = 3;  // Byte
inline constexpr uint32_t UA_TYPE_INT16 = 4;
inline constexpr uint32_t UA_TYPE_UINT16 = 5;
inline constexpr uint32_t UA_TYPE_INT32 = 6;
inline constexpr uint32_t UA_TYPE_UINT32 = 7;
inline constexpr uint32_t UA_TYPE_INT64 = 8;
inline constexpr uint32_t UA_TYPE_UINT64 = 9;
inline constexpr uint32_t UA_TYPE_FLOAT = 10;
inline constexpr uint32_t UA_TYPE_DOUBLE = 11;
inline constexpr uint32_t UA_TYPE_STRING = 12;
inline constexpr uint32_t UA_TYPE_DATETIME = 13;
inline constexpr uint32_t UA_TYPE_GUID = 14;
inline constexpr uint32_t UA_TYPE_BYTESTRING = 15;
inline constexpr uint32_t UA_TYPE_XMLELEMENT = 16;
inline constexpr uint32_t UA_TYPE_NODEID = 17;
inline constexpr uint32_t UA_TYPE_EXPANDEDNODEID = 18;
inline constexpr uint32_t UA_TYPE_STATUSCODE = 19;
inline constexpr uint32_t UA_TYPE_QUALIFIEDNAME = 20;
inline constexpr uint32_t UA_TYPE_LOCALIZEDTEXT = 21;
inline constexpr uint32_t UA_TYPE_EXTENSIONOBJECT = 22;
inline constexpr uint32_t UA_TYPE_DATAVALUE = 23;
inline constexpr uint32_t UA_TYPE_VARIANT = 24;
inline constexpr uint32_t UA_TYPE_DIAGNOSTICINFO = 25;
inline constexpr uint32_t UA_TYPE_NUMBER = 26;
inline constexpr uint32_t UA_TYPE_INTEGER = 27;
inline constexpr uint32_t UA_TYPE_UINTEGER = 28;
inline constexpr uint32_t UA_TYPE_ENUMERATION = 29;
// The number of entries of the built-in function table.
inline constexpr uint32_t UA_TYPE_BUILTIN_COUNT = 30;

inline constexpr uint32_t UA_BUILTIN_FLAG_FIXED = 1;

// Built-in type record: value operations.
struct ua_builtin_type {
  uint32_t size;
  uint32_t flags;
  int (*compare)(const void* a, const void* b);
  int (*copy)(void* dst, const void* src);
  void (*clear)(void* value);
  const ua_value_ops* ops;
};

// Built-in encoding record.
struct ua_builtin_encoding {
  uint32_t size;
  uint32_t flags;
  int (*encode)(ua_encoder& enc, const void* value);
  int (*decode)(ua_decoder& dec, void* value);
  void (*clear)(void* value);
  uint32_t type_idx;
};

// A built-in function table with its number of entries.
struct ua_builtin_types {
  uint32_t num_fcts;
  const ua_builtin_type* types;
};
struct ua_builtin_encodings {
  uint32_t num_fcts;
  const ua_builtin_encoding* encodings;
};

// The library's built-in tables.
const ua_builtin_types& ua_builtin_type_table();
const ua_builtin_encodings& ua_builtin_encoding_table();

// Lookup of a structure by its encoding id: (encoding id, row).
struct ua_type_table_idx_table {
  uint32_t encoding_id;
  uint32_t index;
};

// Search modes of a type table.
inline constexpr uint32_t UA_TYPE_TABLE_SORTING_NONE = 0;       // unsorted, linear search
inline constexpr uint32_t UA_TYPE_TABLE_SORTING_BINARY = 1;     // sorted by type and encoding id
inline constexpr uint32_t UA_TYPE_TABLE_SORTING_IDX_TABLE = 2;  // sorted by type id + index table

// The types of one namespace. Type indexes count the built-ins (namespace 0 only), then the
// integer types, then the structures.
struct ua_type_table {
  uint16_t nsidx = 0;        // the namespace index of the types' ids
  uint16_t local_index = 0;  // the table's index (high half of type values)
  std::span<const ua_dict_structure> structures;
  std::span<const ua_dict_inttype> inttypes;
  uint32_t sorting = UA_TYPE_TABLE_SORTING_NONE;
  std::span<const ua_type_table_idx_table> idx_table;
  bool has_idx_table = false;
  const ua_builtin_types* builtins = nullptr;       // namespace 0 only
  const ua_builtin_encodings* encodings = nullptr;  // namespace 0 only

  uint32_t num_builtins() const { return builtins != nullptr ? builtins->num_fcts : 0; }
  uint32_t first_inttype_index() const { return num_builtins(); }
  uint32_t first_structure_index() const {
    return num_builtins() + static_cast<uint32_t>(inttypes.size());
  }
  uint32_t end_index() const {
    return first_structure_index() + static_cast<uint32_t>(structures.size());
  }
  // By type index (low 16 bits of a type value); null when the index is of another kind or
  // out of range.
  const ua_dict_inttype* inttype(uint32_t idx) const;
  const ua_dict_structure* structure(uint32_t idx) const;
  // Structure lookups by numeric id; the row (index into structures) or -1.
  int32_t find_by_type_id(uint32_t type_id) const;
  int32_t find_by_encoding_id(uint32_t encoding_id) const;
};

// The library's namespace-0 table (generated data).
const ua_type_table& ua_type_table_ns0();

// The type tables known to the encoders: namespace 0 first, others registered after it.
class ua_type_registry {
 public:
  ua_type_registry();  // holds the namespace-0 table
  // Adds a table; its local index is set to its position. Returns the index.
  uint16_t add(ua_type_table table);
  const ua_type_table* table(uint16_t local_index) const;
  const ua_type_table* table_for_namespace(uint16_t nsidx) const;
  std::size_t size() const { return tables_.size(); }

 private:
  std::vector<ua_type_table> tables_;
};

// The process-wide registry.
ua_type_registry& ua_type_tables();

// The namespace-0 data arrays, for the size check.
struct ua_type_table_ns0_data {
  std::span<const ua_dict_inttype> inttypes;
  std::span<const ua_dict_structure> structures;
  std::span<const ua_type_table_idx_table> idx_table;
};
// The sizes of the namespace-0 data of the OPC UA version we support (1.05.07): its
// 40 enumerations and 19 integer option sets, its 162 non-abstract structure types.
inline constexpr uint32_t UA_NS0_INTTYPE_COUNT_EXPECTED = 59;
inline constexpr uint32_t UA_NS0_STRUCTURE_COUNT_EXPECTED = 162;
// The generated data.
ua_type_table_ns0_data ua_type_table_ns0_generated();

// Size check of one array: 0, or -24 with "%s: table=%s, actual_size=%u, expected_size=%u\n".
int ua_type_table_data_validate_entry(const char* table, std::size_t actual, std::size_t expected);
// Size check of the three namespace-0 arrays.
int ua_type_table_data_validate(const ua_type_table_ns0_data& data);

// Validation of one table; `ns0` resolves the rows flagged UA_DICT_NS0 (may be the table
// itself). Returns 0, -5 (sort order, search mode), -29 (flags, built-in entries) or -24
// (sizes).
int ua_type_table_validate_table(const ua_type_table& table, const ua_type_table* ns0,
                                 uint32_t max_depth);
int ua_type_table_validate_builtin(const ua_builtin_type* btype, const ua_builtin_encoding* benc,
                                   uint32_t type_idx);
int ua_type_table_validate_inttype(const ua_dict_inttype& inttype, const ua_builtin_types& base);

// Start-up: the built-in tables agree, the namespace-0 data has its expected sizes and every
// registered table validates.
int ua_type_table_init();

// Compare, copy and clear of a structure by its type value (looked up in the process-wide
// registry); -22 for an unknown type.
int ua_type_table_compare_structure(uint32_t type, const void* a, const void* b);
int ua_type_table_copy_structure(uint32_t type, void* dst, const void* src);
void ua_type_table_clear_structure(uint32_t type, void* obj);

// Makes `eo` hold a new value-initialised namespace-0 structure with the given type index
// (UA_TYPE_ARGUMENT, ...), with its type id and binary encoding id; returns it, or null for
// an index that is not a namespace-0 structure.
void* ua_extensionobject_emplace_ns0(ua_extensionobject& eo, uint32_t type_index);
template <class T>
T* ua_extensionobject_emplace_ns0_as(ua_extensionobject& eo, uint32_t type_index) {
  const ua_dict_structure* st = ua_type_table_ns0().structure(type_index);
  if (st == nullptr || st->ops != &ua_value_ops_v<T>) return nullptr;
  return static_cast<T*>(ua_extensionobject_emplace_ns0(eo, type_index));
}

}  // namespace vos
