#include "tools/vospack/filewriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include "diag/diag.h"
#include "tools/vospack/filevalue.h"
#include "tools/vospack/uagraph.h"
#include "util/adler32.h"
#include "util/errors.h"

namespace vos {

void ua_file_report(const char* format, ...) {
  if (diag_verbosity() < 1) return;
  va_list ap;
  va_start(ap, format);
  std::vfprintf(stderr, format, ap);
  va_end(ap);
}

uint32_t ua_file_total_of_class(uint32_t nodeclass) noexcept {
  switch (nodeclass) {
    case UA_NODECLASS_DATATYPE:
      return UA_FILE_TOTAL_DATATYPE;
    case UA_NODECLASS_REFERENCETYPE:
      return UA_FILE_TOTAL_REFERENCETYPE;
    case UA_NODECLASS_VARIABLETYPE:
      return UA_FILE_TOTAL_VARIABLETYPE;
    case UA_NODECLASS_OBJECTTYPE:
      return UA_FILE_TOTAL_OBJECTTYPE;
    case UA_NODECLASS_VARIABLE:
      return UA_FILE_TOTAL_VARIABLE;
    case UA_NODECLASS_OBJECT:
      return UA_FILE_TOTAL_OBJECT;
    case UA_NODECLASS_METHOD:
      return UA_FILE_TOTAL_METHOD;
    case UA_NODECLASS_VIEW:
      return UA_FILE_TOTAL_VIEW;
    default:
      return UA_FILE_TOTAL_COUNT;
  }
}

bool ua_file_definition_is_structure(uint8_t kind) noexcept {
  const uint8_t k = kind & UA_FILE_DEFINITION_KIND_MASK;
  return k == 1 || k == 2 || k == 3 || k == 6 || k == 7;
}

bool ua_file_definition_is_enum(uint8_t kind) noexcept {
  const uint8_t k = kind & UA_FILE_DEFINITION_KIND_MASK;
  return k == 4 || k == 5;
}

void ua_file_node::reset(uint32_t cls) noexcept {
  nodeclass = cls;
  flags = 0;
  nodeid = nullptr;
  browse_ns = 0;
  browse_name = display_name = description = write_mask = 0;
  perm_flags = 0;
  access_restrictions = 0;
  role_permissions = {};
  extensions.clear();
  event_notifier = 0;
  method_declaration = nullptr;
  inverse_name = 0;
  flags2 = 0;
  value = nullptr;
  datatype = nullptr;
  value_rank = -1;
  array_dimensions = {};
  access_level = 1;
  minimum_sampling_interval = 0;
  definition.kind = 0;
  definition.name = 0;
  definition.default_encoding = nullptr;
  definition.base_type = nullptr;
  definition.fields.clear();
  definition.enum_fields.clear();
}

ua_file_writer::ua_file_writer() {
  creation_time_ = static_cast<int64_t>(std::time(nullptr));
}

ua_file_writer::~ua_file_writer() {
  close_handle();
}

int ua_file_writer::set_creation_time(int64_t seconds) noexcept {
  creation_time_ = seconds;
  return 0;
}

int ua_file_writer::reserve_extension_uris(std::size_t capacity) {
  ext_uri_capacity_ = capacity;
  ext_uris_.reserve(capacity);
  return 0;
}

int ua_file_writer::add_extension_uri(std::string_view uri) {
  if (ext_uris_.size() >= ext_uri_capacity_) return UA_EBADOUTOFRESOURCE;
  ext_uris_.emplace_back(uri);
  return 0;
}

int ua_file_writer::find_extension_uri(std::string_view uri) const noexcept {
  for (std::size_t i = 0; i < ext_uris_.size(); ++i) {
    if (ext_uris_[i] == uri) return static_cast<int>(i);
  }
  return -1;
}

int ua_file_writer::add_file_extension(ua_file_extension extension) {
  file_extensions_.push_back(std::move(extension));
  return 0;
}

int ua_file_writer::create_string_tables(uint32_t count, const char* locales) {
  std::string_view list = locales != nullptr ? std::string_view(locales) : "default";
  std::vector<ua_file_stringtable> tables;
  for (;;) {
    const std::size_t semi = list.find(';');
    ua_file_stringtable t;
    t.name = list.substr(0, semi);
    t.strings.assign(count, std::string_view());
    tables.push_back(std::move(t));
    if (semi == std::string_view::npos) break;
    list.remove_prefix(semi + 1);
  }
  tables_ = std::move(tables);
  return 0;
}

int ua_file_writer::set_string(std::size_t table, uint32_t index, std::string_view text) {
  if (table >= tables_.size() || index >= tables_[table].strings.size()) return UA_EBAD;
  // A borrowed empty text must still count as present.
  tables_[table].strings[index] = text.data() != nullptr ? text : std::string_view("", 0);
  return 0;
}

int ua_file_writer::add_dependency_namespace(const ua_file_namespace& ns) {
  dependencies_.push_back(ns);
  return 0;
}

int ua_file_writer::add_model_namespace(const ua_file_namespace& ns) {
  models_.push_back(ns);
  return 0;
}

// --- output --------------------------------------------------------------------------

int ua_file_writer::flush() {
  if (memory_mode_ || buf_.empty()) return write_failed_ ? UA_EBAD : 0;
  if (write_failed_ || file_ == nullptr) {
    buf_.clear();
    return UA_EBAD;
  }
  adler_ = adler32_update(adler_, buf_.data(), buf_.size());
  errno = 0;
  const std::size_t n = std::fwrite(buf_.data(), 1, buf_.size(), file_);
  const bool ok = n == buf_.size();
  buf_.clear();
  return ok ? 0 : write_error(errno);
}

int ua_file_writer::write_error(int error) {
  if (!write_failed_) {
    write_failed_ = true;
    diag_error(VOS_HERE, "ua_file_writer", "cannot write '%s': %s\n", path_.c_str(),
               std::strerror(error != 0 ? error : EIO));
  }
  return UA_EBAD;
}

int ua_file_writer::write_bytes(const void* p, std::size_t n) {
  if (n == 0) return 0;
  const auto* b = static_cast<const uint8_t*>(p);
  buf_.insert(buf_.end(), b, b + n);
  return buf_.size() >= kFlushSize ? flush() : 0;
}

int ua_file_writer::write_raw_u16(uint16_t v) {
  const uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
  return write_bytes(b, 2);
}

int ua_file_writer::write_raw_u32(uint32_t v) {
  uint8_t b[4];
  for (int i = 0; i < 4; ++i) b[i] = static_cast<uint8_t>(v >> (8 * i));
  return write_bytes(b, 4);
}

int ua_file_writer::write_raw_i64(int64_t v) {
  const auto u = static_cast<uint64_t>(v);
  uint8_t b[8];
  for (int i = 0; i < 8; ++i) b[i] = static_cast<uint8_t>(u >> (8 * i));
  return write_bytes(b, 8);
}

int ua_file_writer::write_var_u64(uint64_t v) {
  uint8_t b[10];
  std::size_t n = 0;
  while (v >= 0x80) {
    b[n++] = static_cast<uint8_t>(v | 0x80);
    v >>= 7;
  }
  b[n++] = static_cast<uint8_t>(v);
  return write_bytes(b, n);
}

int ua_file_writer::write_var_i16(int16_t v) {
  const auto u = static_cast<uint16_t>((static_cast<uint16_t>(v) << 1) ^
                                       static_cast<uint16_t>(v < 0 ? 0xFFFF : 0));
  return write_var_u64(u);
}

int ua_file_writer::write_var_i32(int32_t v) {
  const uint32_t u = (static_cast<uint32_t>(v) << 1) ^ (v < 0 ? 0xFFFFFFFFu : 0u);
  return write_var_u64(u);
}

int ua_file_writer::write_var_i64(int64_t v) {
  const uint64_t u = (static_cast<uint64_t>(v) << 1) ^ (v < 0 ? ~uint64_t{0} : uint64_t{0});
  return write_var_u64(u);
}

int ua_file_writer::write_cstr(std::string_view s) {
  if (int ret = write_var_u32(static_cast<uint32_t>(s.size())); ret != 0) return ret;
  return write_bytes(s.data(), s.size());
}

int ua_file_writer::write_uastring(const ua_string& s) {
  if (int ret = write_var_u32(static_cast<uint32_t>(s.size())); ret != 0) return ret;
  return write_bytes(s.data(), s.size());
}

int ua_file_writer::write_bytestr(int32_t length, const void* bytes) {
  if (length < 0) return UA_EBAD;
  if (int ret = write_var_u32(static_cast<uint32_t>(length)); ret != 0) return ret;
  return write_bytes(bytes, static_cast<std::size_t>(length));
}

int ua_file_writer::write_guid(const ua_guid& g) {
  int ret = write_raw_u32(g.data1);
  if (ret == 0) ret = write_raw_u16(g.data2);
  if (ret == 0) ret = write_raw_u16(g.data3);
  if (ret == 0) ret = write_bytes(g.data4, 8);
  return ret;
}

int ua_file_writer::write_nodeid(const ua_nodeid& id) {
  const auto type = static_cast<uint32_t>(id.type());
  int ret = write_var_u32(static_cast<uint32_t>(id.ns()) * 4 + type);
  if (ret != 0) return ret;
  switch (id.type()) {
    case ua_nodeid_type::numeric:
      return write_var_u32(id.numeric_id());
    case ua_nodeid_type::string: {
      const std::string_view s = id.string_id();
      return write_bytestr(static_cast<int32_t>(s.size()), s.data());
    }
    case ua_nodeid_type::guid:
      return write_guid(id.guid_id());
    case ua_nodeid_type::opaque: {
      const std::span<const uint8_t> o = id.opaque_id();
      return write_bytestr(static_cast<int32_t>(o.size()), o.data());
    }
  }
  return UA_EBAD;
}

int ua_file_writer::write_extension(const ua_file_extension& ext) {
  int ret = write_var_u16(ext.uri_index);
  if (ret == 0) ret = write_var_u16(ext.id);
  if (ret == 0) ret = write_bytestr(ext.data);
  return ret;
}

int ua_file_writer::write_rolepermissions(std::span<const uagraph_rolepermission> perms) {
  int ret = write_var_u32(static_cast<uint32_t>(perms.size()));
  for (std::size_t i = 0; ret == 0 && i < perms.size(); ++i) {
    ret = write_nodeid(perms[i].role);
    if (ret == 0) ret = write_raw_u32(perms[i].Permissions);
  }
  return ret;
}

int ua_file_writer::write_namespace(const ua_file_namespace& ns) {
  int ret = write_var_u16(ns.index);
  if (ret == 0) ret = write_cstr(ns.uri);
  if (ret == 0) ret = write_cstr(ns.version ? std::string_view(*ns.version) : std::string_view());
  if (ret == 0) ret = write_raw_i64(ns.publication_date);
  for (std::size_t i = 0; ret == 0 && i < ns.counts.size(); ++i) ret = write_var_u32(ns.counts[i]);
  if (ret == 0) ret = write_rolepermissions(ns.role_permissions);
  if (ret == 0) ret = write_raw_u16(ns.access_restrictions);
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(ns.extensions.size()));
  for (std::size_t i = 0; ret == 0 && i < ns.extensions.size(); ++i)
    ret = write_extension(ns.extensions[i]);
  return ret;
}

int ua_file_writer::write_header() {
  int ret = write_bytes(UA_FILE_MAGIC.data(), UA_FILE_MAGIC.size());
  if (ret == 0) ret = write_byte(UA_FILE_VERSION_MAJOR);
  if (ret == 0) ret = write_byte(UA_FILE_VERSION_MINOR);
  if (ret == 0) ret = write_raw_i64(creation_time_);
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(ext_uris_.size()));
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(dependencies_.size()));
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(models_.size()));
  for (std::size_t i = 0; ret == 0 && i < totals_.size(); ++i) ret = write_var_u32(totals_[i]);
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(tables_.size()));
  for (std::size_t i = 0; ret == 0 && i < ext_uris_.size(); ++i) ret = write_cstr(ext_uris_[i]);
  if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(file_extensions_.size()));
  for (std::size_t i = 0; ret == 0 && i < file_extensions_.size(); ++i)
    ret = write_extension(file_extensions_[i]);
  for (std::size_t t = 0; ret == 0 && t < tables_.size(); ++t) {
    ret = write_cstr(tables_[t].name);
    if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(tables_[t].strings.size()));
    for (std::size_t i = 0; ret == 0 && i < tables_[t].strings.size(); ++i)
      ret = write_cstr(tables_[t].strings[i]);
  }
  for (std::size_t i = 0; ret == 0 && i < dependencies_.size(); ++i)
    ret = write_namespace(dependencies_[i]);
  for (std::size_t i = 0; ret == 0 && i < models_.size(); ++i) ret = write_namespace(models_[i]);
  return ret;
}

int ua_file_writer::open(const char* path) {
  close_handle();
  if (path == nullptr) return UA_EBAD;
  path_ = path;
  file_ = std::fopen(path, "wb");
  if (file_ == nullptr) {
    diag_error(VOS_HERE, "ua_file_writer_open", "cannot create '%s': %s\n", path,
               std::strerror(errno));
    path_.clear();
    return UA_EBAD;
  }
  // Whole blocks are handed to the C library; its own buffer would only copy them again.
  std::setvbuf(file_, nullptr, _IONBF, 0);
  buf_.clear();
  buf_.reserve(kFlushSize + 4096);
  adler_ = ADLER32_INIT;
  write_failed_ = false;
  int ret = write_header();
  if (ret == 0) ret = flush();
  if (ret != 0) {
    close_handle();
    path_.clear();
  }
  return ret;
}

int ua_file_writer::open_memory() {
  close_handle();
  memory_mode_ = true;
  path_ = "<memory>";
  buf_.clear();
  adler_ = ADLER32_INIT;
  write_failed_ = false;
  return write_header();
}

// --- node records --------------------------------------------------------------------

int ua_file_writer::write_definition(const ua_file_definition& def) {
  int ret = write_byte(def.kind);
  if (ret == 0 && (def.kind & UA_FILE_DEFINITION_NAME) != 0) ret = write_var_u32(def.name);
  if (ret != 0) return ret;
  const uint8_t kind = def.kind & UA_FILE_DEFINITION_KIND_MASK;
  if (kind > 7) return 0;
  if (ua_file_definition_is_structure(kind)) {
    static const ua_nodeid null_id{};
    ret = write_nodeid(def.default_encoding != nullptr ? *def.default_encoding : null_id);
    if (ret == 0) ret = write_nodeid(def.base_type != nullptr ? *def.base_type : null_id);
    if (ret == 0) ret = write_var_u32(static_cast<uint32_t>(def.fields.size()));
    for (std::size_t i = 0; ret == 0 && i < def.fields.size(); ++i) {
      const ua_file_structure_field& f = def.fields[i];
      uint8_t flags = f.flags;
      if (detail_level >= UA_FILE_DETAIL_NO_SYMBOLS)
        flags &= static_cast<uint8_t>(~(UA_FILE_SFIELD_TEXT1 | UA_FILE_SFIELD_MAXLENGTH));
      if (detail_level >= UA_FILE_DETAIL_NO_DESCRIPTIONS)
        flags &= static_cast<uint8_t>(~UA_FILE_SFIELD_TEXT2);
      if (f.num_dims > 0 && f.dims == nullptr) return UA_EBAD;
      ret = write_byte(flags);
      if (ret == 0) ret = write_var_u32(f.name);
      if (ret == 0 && (flags & UA_FILE_SFIELD_TEXT1) != 0) ret = write_var_u32(f.text1);
      if (ret == 0 && (flags & UA_FILE_SFIELD_TEXT2) != 0) ret = write_var_u32(f.text2);
      if (ret == 0) ret = write_nodeid(f.datatype != nullptr ? *f.datatype : null_id);
      if (ret == 0) ret = write_raw_u32(static_cast<uint32_t>(f.value_rank));
      if (ret == 0) ret = write_var_u32(f.num_dims);
      for (uint32_t d = 0; ret == 0 && d < f.num_dims; ++d) ret = write_var_u32(f.dims[d]);
      if (ret == 0 && (flags & UA_FILE_SFIELD_MAXLENGTH) != 0)
        ret = write_var_u32(f.max_string_length);
    }
    return ret;
  }
  ret = write_var_u32(static_cast<uint32_t>(def.enum_fields.size()));
  for (std::size_t i = 0; ret == 0 && i < def.enum_fields.size(); ++i) {
    const ua_file_enum_field& f = def.enum_fields[i];
    uint8_t flags = f.flags;
    if (detail_level >= UA_FILE_DETAIL_NO_SYMBOLS)
      flags &= static_cast<uint8_t>(~UA_FILE_EFIELD_SYMBOLICNAME);
    if (detail_level >= UA_FILE_DETAIL_NO_DESCRIPTIONS)
      flags &= static_cast<uint8_t>(~UA_FILE_EFIELD_TEXT2);
    ret = write_byte(flags);
    if (ret == 0) ret = write_var_u32(f.name);
    if (ret == 0 && (flags & UA_FILE_EFIELD_SYMBOLICNAME) != 0)
      ret = write_var_u32(f.symbolic_name);
    if (ret == 0) ret = write_var_i32(f.value);
    if (ret == 0) ret = write_var_u32(f.text1);
    if (ret == 0 && (flags & UA_FILE_EFIELD_TEXT2) != 0) ret = write_var_u32(f.text2);
  }
  return ret;
}

int ua_file_writer::write_tail(const ua_file_node& n) {
  int ret = 0;
  switch (n.nodeclass) {
    case UA_NODECLASS_OBJECT:
    case UA_NODECLASS_VIEW:
      if ((n.flags & UA_FILE_OBJECT_EVENTNOTIFIER) != 0) ret = write_byte(n.event_notifier);
      return ret;
    case UA_NODECLASS_OBJECTTYPE:
      return 0;
    case UA_NODECLASS_METHOD:
      if ((n.flags & UA_FILE_METHOD_DECLARATION) != 0 && n.method_declaration != nullptr)
        ret = write_nodeid(*n.method_declaration);
      else if ((n.flags & UA_FILE_METHOD_DECLARATION) != 0)
        ret = write_nodeid(ua_nodeid());
      return ret;
    case UA_NODECLASS_REFERENCETYPE:
      if ((n.flags & UA_FILE_REFTYPE_INVERSENAME) != 0) ret = write_var_u32(n.inverse_name);
      return ret;
    case UA_NODECLASS_DATATYPE:
      if ((n.flags & UA_FILE_DATATYPE_DEFINITION) != 0) ret = write_definition(n.definition);
      return ret;
    case UA_NODECLASS_VARIABLE:
    case UA_NODECLASS_VARIABLETYPE: {
      const bool is_var = n.nodeclass == UA_NODECLASS_VARIABLE;
      if ((n.flags & UA_FILE_VAR_VALUE) != 0) {
        static const ua_variant empty{};
        ret = ua_file_writer_write_variant(*this, n.value != nullptr ? *n.value : empty);
      }
      if (ret == 0 && (n.flags & UA_FILE_VAR_DATATYPE) != 0)
        ret = write_nodeid(n.datatype != nullptr ? *n.datatype : ua_nodeid());
      if (ret == 0 && (n.flags & UA_FILE_VAR_VALUERANK) != 0) ret = write_var_i32(n.value_rank);
      if ((n.flags & UA_FILE_NODE_FLAGS2) == 0) return ret;
      if (ret == 0 && (n.flags2 & UA_FILE_VAR2_ARRAYDIMENSIONS) != 0) {
        const std::size_t count =
            std::min<std::size_t>(n.array_dimensions.size(), UA_FILE_MAX_ARRAY_DIMENSIONS);
        ret = write_byte(static_cast<uint8_t>(count));
        for (std::size_t i = 0; ret == 0 && i < count; ++i)
          ret = write_var_u32(n.array_dimensions[i]);
      }
      if (is_var) {
        if (ret == 0 && (n.flags2 & UA_FILE_VAR2_ACCESSLEVEL) != 0)
          ret = write_byte(n.access_level);
        if (ret == 0 && (n.flags2 & UA_FILE_VAR2_MINSAMPLING) != 0)
          ret = write_var_u32(n.minimum_sampling_interval);
      }
      return ret;
    }
    default:
      return UA_EBADINVALIDARGUMENT;
  }
}

int ua_file_writer::write_node(const ua_file_node& n) {
  if (!is_open()) return UA_EBAD;
  int ret = write_byte(n.flags);
  if (ret == 0) ret = write_nodeid(n.nodeid != nullptr ? *n.nodeid : ua_nodeid());
  if (ret == 0) ret = write_var_u16(n.browse_ns);
  if (ret == 0) ret = write_var_u32(n.browse_name);
  if (ret == 0 && (n.flags & UA_FILE_NODE_DISPLAYNAME) != 0) ret = write_var_u32(n.display_name);
  if (ret == 0 && (n.flags & UA_FILE_NODE_DESCRIPTION) != 0) ret = write_var_u32(n.description);
  if (ret == 0 && (n.flags & UA_FILE_NODE_WRITEMASK) != 0) ret = write_raw_u32(n.write_mask);
  if (ret == 0) ret = write_byte(n.perm_flags);
  if (ret == 0 && (n.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0)
    ret = write_raw_u16(n.access_restrictions);
  if (ret == 0 && (n.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0)
    ret = write_rolepermissions(n.role_permissions);
  if (ret == 0 && (n.flags & UA_FILE_NODE_EXTENSIONS) != 0) {
    ret = write_var_u32(static_cast<uint32_t>(n.extensions.size()));
    for (std::size_t i = 0; ret == 0 && i < n.extensions.size(); ++i)
      ret = write_extension(n.extensions[i]);
  }
  // The second flags byte stands right after the base record, before the value.
  const bool has_flags2 =
      n.nodeclass == UA_NODECLASS_VARIABLE || n.nodeclass == UA_NODECLASS_VARIABLETYPE;
  if (ret == 0 && has_flags2 && (n.flags & UA_FILE_NODE_FLAGS2) != 0) ret = write_byte(n.flags2);
  if (ret == 0) ret = write_tail(n);
  return ret;
}

int ua_file_writer::write_reference(const ua_nodeid& source, const ua_nodeid& target,
                                    const ua_nodeid& type) {
  if (!is_open()) return UA_EBAD;
  int ret = write_nodeid(source);
  if (ret == 0) ret = write_nodeid(target);
  if (ret == 0) ret = write_nodeid(type);
  return ret;
}

// --- close ---------------------------------------------------------------------------

int ua_file_writer::validate() const {
  if (path_.empty()) {
    ua_file_report("filename is NULL in filewriter context.\n");
    return UA_EBAD;
  }
  if (tables_.empty()) {
    ua_file_report("There must be at least one string table.\n");
    return UA_EBAD;
  }
  const std::vector<std::string_view>& first = tables_[0].strings;
  // Index 0 stands for "no string" and needs no text.
  for (std::size_t i = 1; i < first.size(); ++i) {
    if (first[i].data() == nullptr) {
      ua_file_report(
          "The first string table must contain a valid string for each table entry.\n"
          "w->stringtables[0].strings[%u] == NULL\n",
          static_cast<unsigned>(i));
      return UA_EBAD;
    }
  }
  return 0;
}

int ua_file_writer::close() {
  int ret = validate();
  if (ret == 0 && !is_open()) ret = UA_EBAD;
  if (ret == 0 && memory_mode_) {
    const uint32_t sum = adler32_update(ADLER32_INIT, buf_.data(), buf_.size());
    ret = write_raw_u32(sum);
  } else if (ret == 0) {
    ret = flush();
    if (ret == 0) {
      // The checksum covers every byte before it, not itself.
      const uint32_t sum = adler_;
      uint8_t b[4];
      for (int i = 0; i < 4; ++i) b[i] = static_cast<uint8_t>(sum >> (8 * i));
      errno = 0;
      if (std::fwrite(b, 1, 4, file_) != 4) ret = write_error(errno);
    }
    errno = 0;
    if (std::fclose(file_) != 0 && ret == 0) ret = write_error(errno);
    file_ = nullptr;
  }
  close_handle();
  memory_mode_ = false;
  path_.clear();
  return ret;
}

void ua_file_writer::abandon() noexcept {
  if (file_ != nullptr && !buf_.empty() && !write_failed_) {
    (void)std::fwrite(buf_.data(), 1, buf_.size(), file_);
  }
  close_handle();
  memory_mode_ = false;
  path_.clear();
}

void ua_file_writer::close_handle() noexcept {
  if (file_ != nullptr) {
    std::fclose(file_);
    file_ = nullptr;
  }
  if (!memory_mode_) buf_.clear();
}

void ua_file_writer::clear() {
  close_handle();
  memory_mode_ = false;
  buf_.clear();
  path_.clear();
  tables_.clear();
  dependencies_.clear();
  models_.clear();
  ext_uris_.clear();
  ext_uri_capacity_ = 0;
  file_extensions_.clear();
  totals_ = {};
  creation_time_ = 0;
  detail_level = 0;
  write_failed_ = false;
  adler_ = ADLER32_INIT;
}

}  // namespace vos
