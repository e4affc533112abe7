// The binary address-space file ("UAAD", format 1.9) and the writer that produces it.
//
// The file's own structure uses compact primitives (LEB128 varints, zigzag for signed
// numbers, little-endian raw numbers); only extension-object bodies inside values use the
// OPC UA binary encoding. Layout, in order: magic, version, creation time, the counts of
// extension URIs, dependency and model namespaces, thirteen totals, the string-table count,
// the extension URIs, the file extensions, the string tables, the dependency and model
// namespace records, the node sections (DataType, ReferenceType, VariableType, ObjectType,
// Variable, Object, Method, View), the references and cross-references, and an Adler-32
// checksum of everything before it as the last four bytes.
//
// Use: set the creation time, the extension URIs, the file extensions, the string tables,
// the namespace records and the totals; open(); write every node and reference; close().
// Output is buffered in large blocks and the checksum is computed on the way out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vospack/uagraph_rolepermission.h"
#include "trace/trace.h"
#include "uabase/types.h"

namespace vos {

inline constexpr uint8_t UA_FILE_VERSION_MAJOR = 1;
inline constexpr uint8_t UA_FILE_VERSION_MINOR = 9;
inline constexpr std::string_view UA_FILE_MAGIC = "UAAD";

// The thirteen totals, in file order.
enum ua_file_total : uint32_t {
  UA_FILE_TOTAL_DATATYPE = 0,
  UA_FILE_TOTAL_REFERENCETYPE,
  UA_FILE_TOTAL_VARIABLETYPE,
  UA_FILE_TOTAL_OBJECTTYPE,
  UA_FILE_TOTAL_VARIABLE,
  UA_FILE_TOTAL_OBJECT,
  UA_FILE_TOTAL_METHOD,
  UA_FILE_TOTAL_VIEW,
  UA_FILE_TOTAL_REFERENCE,
  UA_FILE_TOTAL_NUMERIC_ID,
  UA_FILE_TOTAL_STRING_ID,
  UA_FILE_TOTAL_GUID_ID,
  UA_FILE_TOTAL_OPAQUE_ID,
  UA_FILE_TOTAL_COUNT
};
using ua_file_totals = std::array<uint32_t, UA_FILE_TOTAL_COUNT>;

// The total that counts nodes of a node class; UA_FILE_TOTAL_COUNT for an unknown class.
uint32_t ua_file_total_of_class(uint32_t nodeclass) noexcept;

// Flags of the base node record.
inline constexpr uint8_t UA_FILE_NODE_DISPLAYNAME = 0x01;
inline constexpr uint8_t UA_FILE_NODE_DESCRIPTION = 0x02;
inline constexpr uint8_t UA_FILE_NODE_WRITEMASK = 0x04;
inline constexpr uint8_t UA_FILE_NODE_EXTENSIONS = 0x08;
// Class bits 4 to 7.
inline constexpr uint8_t UA_FILE_OBJECT_EVENTNOTIFIER = 0x10;  // Object and View
inline constexpr uint8_t UA_FILE_OBJECTTYPE_ABSTRACT = 0x10;
inline constexpr uint8_t UA_FILE_METHOD_EXECUTABLE = 0x10;
inline constexpr uint8_t UA_FILE_METHOD_DECLARATION = 0x20;
inline constexpr uint8_t UA_FILE_REFTYPE_ABSTRACT = 0x10;
inline constexpr uint8_t UA_FILE_REFTYPE_SYMMETRIC = 0x20;
inline constexpr uint8_t UA_FILE_REFTYPE_INVERSENAME = 0x40;
inline constexpr uint8_t UA_FILE_DATATYPE_ABSTRACT = 0x10;
inline constexpr uint8_t UA_FILE_DATATYPE_DEFINITION = 0x20;
inline constexpr uint8_t UA_FILE_VAR_VALUE = 0x10;  // Variable and VariableType
inline constexpr uint8_t UA_FILE_VAR_DATATYPE = 0x20;
inline constexpr uint8_t UA_FILE_VAR_VALUERANK = 0x40;
inline constexpr uint8_t UA_FILE_NODE_FLAGS2 = 0x80;
// Second flags byte of Variable and VariableType.
inline constexpr uint8_t UA_FILE_VAR2_ARRAYDIMENSIONS = 0x01;
inline constexpr uint8_t UA_FILE_VAR2_ACCESSLEVEL = 0x02;   // Variable
inline constexpr uint8_t UA_FILE_VAR2_MINSAMPLING = 0x04;   // Variable
inline constexpr uint8_t UA_FILE_VAR2_HISTORIZING = 0x08;   // Variable
inline constexpr uint8_t UA_FILE_VARTYPE2_ABSTRACT = 0x02;  // VariableType
// Permission flags.
inline constexpr uint8_t UA_FILE_PERM_ACCESSRESTRICTIONS = 0x01;
inline constexpr uint8_t UA_FILE_PERM_ROLEPERMISSIONS = 0x02;

// At most this many array dimensions in a Variable or VariableType record.
inline constexpr uint32_t UA_FILE_MAX_ARRAY_DIMENSIONS = 3;

// Definition kind byte: the kind in the low bits, plus this bit when the name index follows.
inline constexpr uint8_t UA_FILE_DEFINITION_NAME = 16;
inline constexpr uint8_t UA_FILE_DEFINITION_KIND_MASK = 0x0F;
// File definition kinds 1, 2, 3, 6 and 7 are structures, 4 and 5 enumerations.
bool ua_file_definition_is_structure(uint8_t kind) noexcept;
bool ua_file_definition_is_enum(uint8_t kind) noexcept;

// Structure field flags.
inline constexpr uint8_t UA_FILE_SFIELD_TEXT1 = 0x01;  // symbolic name
inline constexpr uint8_t UA_FILE_SFIELD_TEXT2 = 0x02;  // description
inline constexpr uint8_t UA_FILE_SFIELD_OPTIONAL = 0x04;
inline constexpr uint8_t UA_FILE_SFIELD_MAXLENGTH = 0x08;
inline constexpr uint8_t UA_FILE_SFIELD_SUBTYPES = 0x10;
// Enumeration field flags.
inline constexpr uint8_t UA_FILE_EFIELD_SYMBOLICNAME = 0x01;
inline constexpr uint8_t UA_FILE_EFIELD_TEXT2 = 0x02;  // description

// Detail reduction: from level 1 on the symbolic names and string limits of definition
// fields are left out, from level 2 on also their descriptions.
inline constexpr int UA_FILE_DETAIL_NO_SYMBOLS = 1;
inline constexpr int UA_FILE_DETAIL_NO_DESCRIPTIONS = 2;

// Writes a message of the file writers as it stands to standard error, at error verbosity.
void ua_file_report(const char* format, ...) VOS_PRINTF(1, 2);

// One extension record: extension URI index, extension id, payload.
struct ua_file_extension {
  uint16_t uri_index = 0;
  uint16_t id = 0;
  ua_bytestring data;
  friend bool operator==(const ua_file_extension&, const ua_file_extension&) = default;
};

// One namespace record.
struct ua_file_namespace {
  uint16_t index = 0;
  std::string uri;
  std::optional<std::string> version;
  int64_t publication_date = 0;  // OPC UA DateTime ticks
  ua_file_totals counts{};
  std::vector<uagraph_rolepermission> role_permissions;
  uint16_t access_restrictions = 0;
  std::vector<ua_file_extension> extensions;
  friend bool operator==(const ua_file_namespace&, const ua_file_namespace&) = default;
};

// A structure field of a data-type definition. A field with num_dims above 0 must have
// dims.
struct ua_file_structure_field {
  uint8_t flags = 0;
  uint32_t name = 0;
  uint32_t text1 = 0;
  uint32_t text2 = 0;
  const ua_nodeid* datatype = nullptr;
  int32_t value_rank = -1;
  uint32_t num_dims = 0;
  const uint32_t* dims = nullptr;
  uint32_t max_string_length = 0;
};

struct ua_file_enum_field {
  uint8_t flags = 0;
  uint32_t name = 0;
  uint32_t symbolic_name = 0;
  int32_t value = 0;
  uint32_t text1 = 0;  // display name, always written
  uint32_t text2 = 0;
  friend bool operator==(const ua_file_enum_field&, const ua_file_enum_field&) = default;
};

struct ua_file_definition {
  uint8_t kind = 0;   // file kind byte (with UA_FILE_DEFINITION_NAME when `name` follows)
  uint32_t name = 0;  // string index of the definition name
  const ua_nodeid* default_encoding = nullptr;
  const ua_nodeid* base_type = nullptr;
  std::vector<ua_file_structure_field> fields;
  std::vector<ua_file_enum_field> enum_fields;
};

// One node record to write. Pointers and spans borrow from the caller for the duration of
// the write; a null NodeId pointer writes the null NodeId.
struct ua_file_node {
  uint32_t nodeclass = 0;
  uint8_t flags = 0;
  const ua_nodeid* nodeid = nullptr;
  uint16_t browse_ns = 0;
  uint32_t browse_name = 0;
  uint32_t display_name = 0;
  uint32_t description = 0;
  uint32_t write_mask = 0;
  uint8_t perm_flags = 0;
  uint16_t access_restrictions = 0;
  std::span<const uagraph_rolepermission> role_permissions;
  std::vector<ua_file_extension> extensions;
  uint8_t event_notifier = 0;                     // Object, View
  const ua_nodeid* method_declaration = nullptr;  // Method
  uint32_t inverse_name = 0;                      // ReferenceType
  // Variable, VariableType.
  uint8_t flags2 = 0;
  const ua_variant* value = nullptr;
  const ua_nodeid* datatype = nullptr;
  int32_t value_rank = -1;
  std::span<const uint32_t> array_dimensions;
  uint8_t access_level = 1;
  uint32_t minimum_sampling_interval = 0;
  ua_file_definition definition;  // DataType

  // Back to an empty record of the class (keeps the capacity of the lists).
  void reset(uint32_t cls) noexcept;
};

// A string table: a locale name and entries borrowed from the caller (a default-constructed
// view, data() == nullptr, is a missing entry).
struct ua_file_stringtable {
  std::string name;
  std::vector<std::string_view> strings;
};

class ua_file_writer {
 public:
  // Creation time now, nothing else set.
  ua_file_writer();
  // Closes a file still open, without checksum.
  ~ua_file_writer();
  ua_file_writer(const ua_file_writer&) = delete;
  ua_file_writer& operator=(const ua_file_writer&) = delete;

  // Seconds since 1970-01-01 UTC.
  int set_creation_time(int64_t seconds) noexcept;
  int64_t creation_time() const noexcept { return creation_time_; }

  // Extension URIs: room for `capacity` URIs; adding beyond it gives UA_EBADOUTOFRESOURCE.
  int reserve_extension_uris(std::size_t capacity);
  int add_extension_uri(std::string_view uri);
  // The URI's index, or -1.
  int find_extension_uri(std::string_view uri) const noexcept;
  std::span<const std::string> extension_uris() const noexcept { return ext_uris_; }

  int add_file_extension(ua_file_extension extension);

  // One table per ';'-separated locale of `locales` (null means "default", "" gives one
  // table named ""), each with `count` missing entries.
  int create_string_tables(uint32_t count, const char* locales);
  // Borrows `text`; -1 for a table or index out of range.
  int set_string(std::size_t table, uint32_t index, std::string_view text);
  std::span<const ua_file_stringtable> string_tables() const noexcept { return tables_; }

  int add_dependency_namespace(const ua_file_namespace& ns);
  int add_model_namespace(const ua_file_namespace& ns);

  ua_file_totals& totals() noexcept { return totals_; }

  // Creates the file and writes everything up to the node sections. On failure the file is
  // closed and the status returned. A file that cannot be created or written is reported
  // once, with the system's reason: "error: cannot create '%s': %s" or "error: cannot write
  // '%s': %s" on stderr.
  int open(const char* path);
  // The same into memory instead of a file (memory() gives the bytes); for tests and tools.
  int open_memory();
  bool is_open() const noexcept { return file_ != nullptr || memory_mode_; }

  // Records at the current end.
  int write_node(const ua_file_node& node);
  int write_reference(const ua_nodeid& source, const ua_nodeid& target, const ua_nodeid& type);

  // Validates the string tables, appends the checksum and closes. Returns 0 or -1.
  int close();
  // After a failed write: hands what is buffered to the file and closes it without
  // validation or checksum, leaving a truncated file.
  void abandon() noexcept;
  // Frees the tables, namespace records, URIs and extensions; back to the initial state.
  void clear();

  // Everything written so far in memory mode (the checksum is part of it after close()).
  std::span<const uint8_t> memory() const noexcept { return buf_; }

  // Detail-reduction level (see UA_FILE_DETAIL_...), 0 unless raised.
  int detail_level = 0;

  // Primitives.
  int write_bytes(const void* p, std::size_t n);
  int write_byte(uint8_t b) {
    buf_.push_back(b);
    return buf_.size() >= kFlushSize ? flush() : 0;
  }
  int write_bool(bool b) { return write_byte(b ? 1 : 0); }
  int write_raw_u16(uint16_t v);
  int write_raw_u32(uint32_t v);
  int write_raw_i64(int64_t v);
  int write_var_u16(uint16_t v) { return write_var_u64(v); }
  int write_var_u32(uint32_t v) { return write_var_u64(v); }
  int write_var_u64(uint64_t v);
  int write_var_i16(int16_t v);
  int write_var_i32(int32_t v);
  int write_var_i64(int64_t v);
  // CStr: a null view and an empty one both write length 0.
  int write_cstr(std::string_view s);
  // UaString: length, then the bytes when there are any.
  int write_uastring(const ua_string& s);
  // ByteStr: a negative length (null) is refused with -1.
  int write_bytestr(int32_t length, const void* bytes);
  int write_bytestr(const ua_bytestring& b) {
    return write_bytestr(b.length(), b.is_null() ? nullptr : b.data());
  }
  int write_guid(const ua_guid& g);
  int write_nodeid(const ua_nodeid& id);
  int write_extension(const ua_file_extension& ext);
  int write_rolepermissions(std::span<const uagraph_rolepermission> perms);

 private:
  static constexpr std::size_t kFlushSize = 1 << 16;

  int write_header();
  int write_namespace(const ua_file_namespace& ns);
  int write_definition(const ua_file_definition& def);
  int write_tail(const ua_file_node& node);
  int flush();
  // Marks the file as failed and reports why, once; the status of the failed write.
  int write_error(int error);
  int validate() const;
  void close_handle() noexcept;

  std::string path_;
  std::FILE* file_ = nullptr;
  bool memory_mode_ = false;
  bool write_failed_ = false;
  int64_t creation_time_ = 0;
  std::vector<ua_file_namespace> dependencies_;
  std::vector<ua_file_namespace> models_;
  ua_file_totals totals_{};
  std::vector<ua_file_stringtable> tables_;
  std::vector<ua_file_extension> file_extensions_;
  std::vector<std::string> ext_uris_;
  std::size_t ext_uri_capacity_ = 0;
  std::vector<uint8_t> buf_;
  uint32_t adler_ = 1;
};

}  // namespace vos
