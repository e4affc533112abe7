#include "uabase/type_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "uabase/encoder.h"
#include "uabase/encoder_log.h"
#include "uabase/ns0_types_gen.h"

namespace vos {

// ---------------------------------------------------------------------------------------------
// Built-in function tables

namespace {

template <class T>
int compare_values(const void* a, const void* b) {
  const T& x = *static_cast<const T*>(a);
  const T& y = *static_cast<const T*>(b);
  if constexpr (std::is_floating_point_v<T>) {
    if (x < y) return -1;
    if (y < x) return 1;
    if (x == y) return 0;
    // NaNs: order by representation so that the comparison stays total.
    return std::memcmp(&x, &y, sizeof x) < 0 ? -1 : (std::memcmp(&x, &y, sizeof x) > 0 ? 1 : 0);
  } else if constexpr (std::three_way_comparable<T>) {
    auto c = x <=> y;
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
  } else {
    return x == y ? 0 : 1;
  }
}

template <class T>
int copy_value(void* dst, const void* src) {
  *static_cast<T*>(dst) = *static_cast<const T*>(src);
  return 0;
}

template <class T>
void clear_value(void* p) {
  *static_cast<T*>(p) = T{};
}

template <class T>
int encode_value(ua_encoder& enc, const void* p) {
  return ua_encode_builtin(enc, ua_type_code_v<T>, p);
}

template <class T>
int decode_value(ua_decoder& dec, void* p) {
  return ua_decode_builtin(dec, ua_type_code_v<T>, p);
}

int encode_xml(ua_encoder& enc, const void* p) {
  return ua_encode_xmlelement(enc, *static_cast<const ua_bytestring*>(p));
}
int decode_xml(ua_decoder& dec, void* p) {
  return ua_decode_xmlelement(dec, *static_cast<ua_bytestring*>(p));
}

constexpr uint32_t flags_of(uint32_t idx) {
  switch (idx) {
    case UA_TYPE_STRING:
    case UA_TYPE_BYTESTRING:
    case UA_TYPE_XMLELEMENT:
    case UA_TYPE_NODEID:
    case UA_TYPE_EXPANDEDNODEID:
    case UA_TYPE_QUALIFIEDNAME:
    case UA_TYPE_LOCALIZEDTEXT:
    case UA_TYPE_EXTENSIONOBJECT:
    case UA_TYPE_DATAVALUE:
    case UA_TYPE_VARIANT:
    case UA_TYPE_DIAGNOSTICINFO:
    case UA_TYPE_NULL:
    case UA_TYPE_NUMBER:
    case UA_TYPE_INTEGER:
    case UA_TYPE_UINTEGER:
      return 0;
    default:
      return UA_BUILTIN_FLAG_FIXED;
  }
}

template <class T>
constexpr ua_builtin_type btype(uint32_t idx) {
  return {sizeof(T),     flags_of(idx),  compare_values<T>,
          copy_value<T>, clear_value<T>, &ua_value_ops_v<T>};
}

template <class T>
constexpr ua_builtin_encoding benc(uint32_t idx) {
  return {sizeof(T), flags_of(idx), encode_value<T>, decode_value<T>, clear_value<T>, idx};
}

// Slots of types that are never encoded (Null and the abstract numbers) hold variants.
constexpr ua_builtin_encoding benc_placeholder(uint32_t idx) {
  return {sizeof(ua_variant), flags_of(idx),           ua_encode_error,
          ua_decode_error,    clear_value<ua_variant>, 0};
}

const ua_builtin_type g_binary_types_base[UA_TYPE_BUILTIN_COUNT] = {
    btype<ua_variant>(UA_TYPE_NULL),
    btype<bool>(UA_TYPE_BOOLEAN),
    btype<int8_t>(UA_TYPE_INT8),
    btype<uint8_t>(UA_TYPE_UINT8),
    btype<int16_t>(UA_TYPE_INT16),
    btype<uint16_t>(UA_TYPE_UINT16),
    btype<int32_t>(UA_TYPE_INT32),
    btype<uint32_t>(UA_TYPE_UINT32),
    btype<int64_t>(UA_TYPE_INT64),
    btype<uint64_t>(UA_TYPE_UINT64),
    btype<float>(UA_TYPE_FLOAT),
    btype<double>(UA_TYPE_DOUBLE),
    btype<ua_string>(UA_TYPE_STRING),
    btype<ua_datetime>(UA_TYPE_DATETIME),
    btype<ua_guid>(UA_TYPE_GUID),
    btype<ua_bytestring>(UA_TYPE_BYTESTRING),
    btype<ua_bytestring>(UA_TYPE_XMLELEMENT),
    btype<ua_nodeid>(UA_TYPE_NODEID),
    btype<ua_expandednodeid>(UA_TYPE_EXPANDEDNODEID),
    btype<ua_statuscode>(UA_TYPE_STATUSCODE),
    btype<ua_qualifiedname>(UA_TYPE_QUALIFIEDNAME),
    btype<ua_localizedtext>(UA_TYPE_LOCALIZEDTEXT),
    btype<ua_extensionobject>(UA_TYPE_EXTENSIONOBJECT),
    btype<ua_datavalue>(UA_TYPE_DATAVALUE),
    btype<ua_variant>(UA_TYPE_VARIANT),
    btype<ua_diagnosticinfo>(UA_TYPE_DIAGNOSTICINFO),
    btype<ua_variant>(UA_TYPE_NUMBER),
    btype<ua_variant>(UA_TYPE_INTEGER),
    btype<ua_variant>(UA_TYPE_UINTEGER),
    btype<int32_t>(UA_TYPE_ENUMERATION),
};

const ua_builtin_encoding g_binary_types_enc[UA_TYPE_BUILTIN_COUNT] = {
    benc_placeholder(UA_TYPE_NULL),
    benc<bool>(UA_TYPE_BOOLEAN),
    benc<int8_t>(UA_TYPE_INT8),
    benc<uint8_t>(UA_TYPE_UINT8),
    benc<int16_t>(UA_TYPE_INT16),
    benc<uint16_t>(UA_TYPE_UINT16),
    benc<int32_t>(UA_TYPE_INT32),
    benc<uint32_t>(UA_TYPE_UINT32),
    benc<int64_t>(UA_TYPE_INT64),
    benc<uint64_t>(UA_TYPE_UINT64),
    benc<float>(UA_TYPE_FLOAT),
    benc<double>(UA_TYPE_DOUBLE),
    benc<ua_string>(UA_TYPE_STRING),
    benc<ua_datetime>(UA_TYPE_DATETIME),
    benc<ua_guid>(UA_TYPE_GUID),
    benc<ua_bytestring>(UA_TYPE_BYTESTRING),
    {sizeof(ua_bytestring), flags_of(UA_TYPE_XMLELEMENT), encode_xml, decode_xml,
     clear_value<ua_bytestring>, UA_TYPE_XMLELEMENT},
    benc<ua_nodeid>(UA_TYPE_NODEID),
    benc<ua_expandednodeid>(UA_TYPE_EXPANDEDNODEID),
    benc<ua_statuscode>(UA_TYPE_STATUSCODE),
    benc<ua_qualifiedname>(UA_TYPE_QUALIFIEDNAME),
    benc<ua_localizedtext>(UA_TYPE_LOCALIZEDTEXT),
    benc<ua_extensionobject>(UA_TYPE_EXTENSIONOBJECT),
    benc<ua_datavalue>(UA_TYPE_DATAVALUE),
    benc<ua_variant>(UA_TYPE_VARIANT),
    benc<ua_diagnosticinfo>(UA_TYPE_DIAGNOSTICINFO),
    benc_placeholder(UA_TYPE_NUMBER),
    benc_placeholder(UA_TYPE_INTEGER),
    benc_placeholder(UA_TYPE_UINTEGER),
    benc<int32_t>(UA_TYPE_ENUMERATION),
};

const ua_builtin_types g_binary_types = {UA_TYPE_BUILTIN_COUNT, g_binary_types_base};
const ua_builtin_encodings g_binary_encodings = {UA_TYPE_BUILTIN_COUNT, g_binary_types_enc};

}  // namespace

const ua_builtin_types& ua_builtin_type_table() {
  return g_binary_types;
}
const ua_builtin_encodings& ua_builtin_encoding_table() {
  return g_binary_encodings;
}

// ---------------------------------------------------------------------------------------------
// Tables and lookups

const ua_dict_inttype* ua_type_table::inttype(uint32_t idx) const {
  if (idx < first_inttype_index() || idx >= first_structure_index()) return nullptr;
  return &inttypes[idx - first_inttype_index()];
}

const ua_dict_structure* ua_type_table::structure(uint32_t idx) const {
  if (idx < first_structure_index() || idx >= end_index()) return nullptr;
  return &structures[idx - first_structure_index()];
}

int32_t ua_type_table::find_by_type_id(uint32_t type_id) const {
  if (sorting == UA_TYPE_TABLE_SORTING_BINARY || sorting == UA_TYPE_TABLE_SORTING_IDX_TABLE) {
    auto it =
        std::lower_bound(structures.begin(), structures.end(), type_id,
                         [](const ua_dict_structure& s, uint32_t id) { return s.type_id < id; });
    if (it != structures.end() && it->type_id == type_id)
      return static_cast<int32_t>(it - structures.begin());
    return -1;
  }
  for (std::size_t i = 0; i < structures.size(); ++i)
    if (structures[i].type_id == type_id) return static_cast<int32_t>(i);
  return -1;
}

int32_t ua_type_table::find_by_encoding_id(uint32_t encoding_id) const {
  if (sorting == UA_TYPE_TABLE_SORTING_BINARY) {
    auto it = std::lower_bound(
        structures.begin(), structures.end(), encoding_id,
        [](const ua_dict_structure& s, uint32_t id) { return s.encoding_id < id; });
    if (it != structures.end() && it->encoding_id == encoding_id)
      return static_cast<int32_t>(it - structures.begin());
    return -1;
  }
  if (sorting == UA_TYPE_TABLE_SORTING_IDX_TABLE) {
    auto it = std::lower_bound(
        idx_table.begin(), idx_table.end(), encoding_id,
        [](const ua_type_table_idx_table& e, uint32_t id) { return e.encoding_id < id; });
    if (it != idx_table.end() && it->encoding_id == encoding_id && it->index < structures.size())
      return static_cast<int32_t>(it->index);
    return -1;
  }
  for (std::size_t i = 0; i < structures.size(); ++i)
    if (structures[i].encoding_id == encoding_id) return static_cast<int32_t>(i);
  return -1;
}

const ua_type_table& ua_type_table_ns0() {
  static const ua_type_table table = [] {
    ua_type_table_ns0_data data = ua_type_table_ns0_generated();
    ua_type_table t;
    t.nsidx = 0;
    t.local_index = 0;
    t.structures = data.structures;
    t.inttypes = data.inttypes;
    t.sorting = UA_TYPE_TABLE_SORTING_IDX_TABLE;
    t.idx_table = data.idx_table;
    t.has_idx_table = true;
    t.builtins = &g_binary_types;
    t.encodings = &g_binary_encodings;
    return t;
  }();
  return table;
}

ua_type_registry::ua_type_registry() {
  tables_.push_back(ua_type_table_ns0());
}

uint16_t ua_type_registry::add(ua_type_table table) {
  table.local_index = static_cast<uint16_t>(tables_.size());
  tables_.push_back(table);
  return table.local_index;
}

const ua_type_table* ua_type_registry::table(uint16_t local_index) const {
  return local_index < tables_.size() ? &tables_[local_index] : nullptr;
}

const ua_type_table* ua_type_registry::table_for_namespace(uint16_t nsidx) const {
  for (const ua_type_table& t : tables_)
    if (t.nsidx == nsidx) return &t;
  return nullptr;
}

ua_type_registry& ua_type_tables() {
  static ua_type_registry registry;
  return registry;
}

// ---------------------------------------------------------------------------------------------
// Validation

namespace {

// Reports a failed condition with its text.
bool check(bool ok, const char* fn, const char* condition) {
  if (!ok) UA_LOG_ERROR("%s: condition=[%s] failed\n", fn, condition);
  return ok;
}

// "'structure=%s;type_id=%u'" and "'field=%s;local_type=%u;local_idx=%u'" texts.
struct structure_text {
  char buf[160];
  explicit structure_text(const ua_dict_structure& st) {
    std::snprintf(buf, sizeof buf, "'structure=%s;type_id=%u'", st.name, st.type_id);
  }
};

struct field_text {
  char buf[160];
  explicit field_text(const ua_dict_field& f) {
    std::snprintf(buf, sizeof buf, "'field=%.*s;local_type=%u;local_idx=%u'", f.name_len, f.name,
                  f.type, ua_type_value_table(f.type));
  }
};

struct empty_structure {};
constexpr uint32_t kEmptyStructureSize = sizeof(empty_structure);

struct validator {
  const ua_type_table* ns0;
  uint32_t max_depth;

  // Size, alignment and fixedness of a structure, filled by validate_structure.
  struct layout {
    uint32_t size = 0;
    uint32_t align = 1;
    bool fixed = true;
  };

  int validate_structure(const ua_type_table& table, const ua_dict_structure& st, uint32_t depth,
                         layout& out) const;
  int validate_field(const ua_type_table& table, const ua_dict_field& f, uint32_t depth,
                     uint32_t& size, uint32_t& align, bool& fixed) const;
};

int validate_field_ns0(const ua_dict_field& f) {
  static const char* const fn = "ua_type_table_validate_field_ns0";
  const bool flagged = (f.flags & UA_DICT_NS0) != 0;
  if (f.type <= 0xFFFF && !flagged) {
    UA_LOG_ERROR("%s: %s is from NS0, but is not flagged NS0\n", fn, field_text(f).buf);
    return UA_EBADINTERNALERROR;
  }
  if (f.type > 0xFFFF && flagged) {
    UA_LOG_ERROR("%s: %s is not from NS0, but is flagged NS0\n", fn, field_text(f).buf);
    return UA_EBADINTERNALERROR;
  }
  return 0;
}

int validator::validate_field(const ua_type_table& table, const ua_dict_field& f, uint32_t depth,
                              uint32_t& size, uint32_t& align, bool& fixed) const {
  static const char* const fn = "ua_type_table_validate_field";
  int ret = validate_field_ns0(f);
  if (ret != 0) return ret;
  const ua_type_table* src = (f.flags & UA_DICT_NS0) != 0 ? ns0 : &table;
  if (src == nullptr) {
    UA_LOG_ERROR("%s: %s could not find type_table entry\n", fn, field_text(f).buf);
    return UA_EBADNOTFOUND;
  }
  const uint8_t rank = (f.flags & UA_DICT_RANK_MASK) >> 4;
  if (rank != 1 && rank != 2) {
    UA_LOG_ERROR("%s: %s invalid enum ua_dict_rank=%u\n", fn, field_text(f).buf, rank);
    return UA_EBADINTERNALERROR;
  }
  const bool array = rank == 2;
  const uint8_t impl = f.flags & UA_DICT_IMPL_MASK;
  const uint32_t idx = ua_type_value_index(f.type);
  // ua_type_table_validate_field_scalar
  static const char* const fn_scalar = "ua_type_table_validate_field_scalar";
  bool flagged_fixed;
  switch (impl) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_STRUCT:
      flagged_fixed = false;
      break;
    case UA_DICT_IMPL_FUNC_FIXED:
    case UA_DICT_IMPL_ENUM_FIXED:
    case UA_DICT_IMPL_OSET_FIXED:
    case UA_DICT_IMPL_STRUCT_FIXED:
      flagged_fixed = true;
      break;
    default:
      UA_LOG_ERROR("%s: %s invalid enum ua_dict_impl=%u\n", fn_scalar, field_text(f).buf, impl);
      return UA_EBADINTERNALERROR;
  }
  bool in_range;
  uint32_t elem_size = 0;
  uint32_t elem_align = 1;
  bool actually_fixed = false;
  const ua_value_ops* ops = nullptr;
  const ua_dict_structure* nested = nullptr;
  switch (impl) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_FUNC_FIXED:
      in_range = idx < src->num_builtins();
      if (in_range) {
        const ua_builtin_type& b = src->builtins->types[idx];
        elem_size = b.size;
        elem_align = b.ops != nullptr ? b.ops->align : 1;
        actually_fixed = (b.flags & UA_BUILTIN_FLAG_FIXED) != 0;
        ops = b.ops;
      }
      break;
    case UA_DICT_IMPL_ENUM_FIXED:
    case UA_DICT_IMPL_OSET_FIXED: {
      const ua_dict_inttype* it = src->inttype(idx);
      in_range = it != nullptr;
      if (in_range) {
        elem_size = it->size;
        elem_align = it->size;
        actually_fixed = true;
        ops = ua_builtin_ops(it->base_type);
      }
      break;
    }
    default:
      nested = src->structure(idx);
      in_range = nested != nullptr;
      break;
  }
  if (!in_range) {
    UA_LOG_ERROR("%s: %s type_idx=%u is out of range of its table\n", fn, field_text(f).buf, idx);
    return UA_EBADNOTFOUND;
  }
  if (nested != nullptr) {
    layout sub;
    ret = validate_structure(*src, *nested, depth + 1, sub);
    if (ret != 0) {
      UA_LOG_ERROR("%s: error in %s\n", "ua_type_table_validate_structure_rec", field_text(f).buf);
      return ret;
    }
    elem_size = nested->size;
    elem_align = sub.align;
    actually_fixed = sub.fixed;
    ops = nested->ops;
  }
  // Enumerations and option sets have only a fixed kind, which their arrays use as well.
  if (array && (impl == UA_DICT_IMPL_FUNC_FIXED || impl == UA_DICT_IMPL_STRUCT_FIXED)) {
    UA_LOG_ERROR("%s: %s is flagged fixed, but arrays must never be fixed\n", fn_scalar,
                 field_text(f).buf);
    return UA_EBADINTERNALERROR;
  }
  if (!array && flagged_fixed && !actually_fixed) {
    UA_LOG_ERROR("%s: %s is flagged fixed, but not actually fixed\n", fn_scalar, field_text(f).buf);
    return UA_EBADINTERNALERROR;
  }
  if (!array && !flagged_fixed && actually_fixed) {
    if (nested != nullptr)
      UA_LOG_WARNING("%s: %s is not flagged fixed, but seems fixed\n", fn_scalar,
                     field_text(f).buf);
    else
      UA_LOG_WARNING("%s: %s is not flagged fixed, but is fixed\n", fn_scalar, field_text(f).buf);
  }
  if (array) {
    // Arrays are ua_array<T>, the same layout for every T.
    size = static_cast<uint32_t>(sizeof(ua_array<int>));
    align = static_cast<uint32_t>(alignof(ua_array<int>));
    fixed = false;
  } else {
    size = elem_size;
    align = elem_align;
    fixed = actually_fixed;
  }
  (void)ops;
  return 0;
}

int validator::validate_structure(const ua_type_table& table, const ua_dict_structure& st,
                                  uint32_t depth, layout& out) const {
  static const char* const fn = "ua_type_table_validate_structure_rec";
  if (depth > max_depth) {
    UA_LOG_ERROR("%s: %s max_depth=%u reached\n", fn, structure_text(st).buf, max_depth);
    return UA_EBADTOOMANYNESTEDCALLS;
  }
  if (st.num_fields == 0 || st.fields == nullptr) {
    // A structure without members (a base type whose subtypes add them) is an empty C++
    // structure; anything else without rows is a broken table.
    if (st.size == kEmptyStructureSize && st.num_fields == 0) {
      out = layout{kEmptyStructureSize, 1, true};
      return 0;
    }
    UA_LOG_ERROR("%s: %s has zero fields\n", fn, structure_text(st).buf);
    return UA_EBADINTERNALERROR;
  }
  const uint32_t kind = ua_dict_struct_kind(st.fields[0]);
  if (kind > UA_DICT_STRUCT_KIND_UNION) {
    UA_LOG_ERROR("%s: %s invalid enum ua_dict_struct=%u\n", fn, structure_text(st).buf, kind);
    return UA_EBADINTERNALERROR;
  }
  uint32_t offset = 0;
  uint32_t max_align = 1;
  out.fixed = kind == UA_DICT_STRUCT_PLAIN;
  uint16_t first = 0;
  if (kind == UA_DICT_STRUCT_KIND_OPTIONAL) {
    uint32_t optional = 0;
    for (uint16_t i = 1; i < st.num_fields; ++i)
      if ((st.fields[i].flags & UA_DICT_STRUCT_OPTIONAL) != 0) ++optional;
    if (optional == 0) {
      UA_LOG_ERROR("%s: %s has zero optional fields\n", fn, structure_text(st).buf);
      return UA_EBADINTERNALERROR;
    }
    const unsigned low = st.fields[0].flags & 0x3Fu;
    const unsigned expected = UA_DICT_MASK_FLAGS & 0x3Fu;
    if (low != expected) {
      UA_LOG_ERROR("%s: %s mask has flags=%u but expected flags=%u\n",
                   "ua_type_table_validate_field_mask", field_text(st.fields[0]).buf, low,
                   expected);
      return UA_EBADINTERNALERROR;
    }
    // The mask is a fixed 4-byte member.
    if (st.fields[0].offset != 0) {
      UA_LOG_ERROR("%s: %s offset=%u, calculated offset=%u\n", fn, field_text(st.fields[0]).buf,
                   st.fields[0].offset, 0u);
      return UA_EBADMISMATCH;
    }
    offset = 4;
    max_align = 4;
    first = 1;
  }
  for (uint16_t i = first; i < st.num_fields; ++i) {
    const ua_dict_field& f = st.fields[i];
    uint32_t size = 0;
    uint32_t align = 1;
    bool fixed = false;
    int ret = validate_field(table, f, depth, size, align, fixed);
    if (ret != 0) return ret;
    if (align == 0) align = 1;
    offset = (offset + align - 1) / align * align;
    if (f.offset != offset) {
      UA_LOG_ERROR("%s: %s offset=%u, calculated offset=%u\n", fn, field_text(f).buf, f.offset,
                   offset);
      return UA_EBADMISMATCH;
    }
    offset += size;
    max_align = std::max(max_align, align);
    out.fixed = out.fixed && fixed;
  }
  const uint32_t calculated = (offset + max_align - 1) / max_align * max_align;
  if (calculated != st.size) {
    UA_LOG_ERROR("%s: %s size=%u, calculated size=%u\n", fn, structure_text(st).buf, st.size,
                 calculated);
    return UA_EBADMISMATCH;
  }
  out.size = calculated;
  out.align = max_align;
  return 0;
}

}  // namespace

int ua_type_table_data_validate_entry(const char* table, std::size_t actual, std::size_t expected) {
  if (actual != expected) {
    UA_LOG_ERROR("%s: table=%s, actual_size=%u, expected_size=%u\n",
                 "ua_type_table_data_validate_entry", table, static_cast<unsigned>(actual),
                 static_cast<unsigned>(expected));
    return UA_EBADMISMATCH;
  }
  return 0;
}

int ua_type_table_data_validate(const ua_type_table_ns0_data& data) {
  int ret = ua_type_table_data_validate_entry("g_inttype_table_ns0", data.inttypes.size(),
                                              UA_NS0_INTTYPE_COUNT_EXPECTED);
  if (ret == 0)
    ret = ua_type_table_data_validate_entry("g_type_table_ns0", data.structures.size(),
                                            UA_NS0_STRUCTURE_COUNT_EXPECTED);
  if (ret == 0)
    ret = ua_type_table_data_validate_entry("g_type_table_ns0_idx_table", data.idx_table.size(),
                                            UA_NS0_STRUCTURE_COUNT_EXPECTED);
  return ret;
}

int ua_type_table_validate_builtin(const ua_builtin_type* btype, const ua_builtin_encoding* benc,
                                   uint32_t type_idx) {
  static const char* const fn = "ua_type_table_validate_builtin";
  const bool placeholder = benc->encode == ua_encode_error;
  const bool ok =
      check(btype->size > 0, fn, "btype->size > 0") &&
      check(btype->compare != nullptr, fn, "btype->compare != NULL") &&
      check(btype->copy != nullptr, fn, "btype->copy != NULL") &&
      check(btype->clear != nullptr, fn, "btype->clear != NULL") &&
      check(benc->clear != nullptr, fn, "benc->clear != NULL") &&
      check(benc->decode != nullptr, fn, "benc->decode != NULL") &&
      check(benc->encode != nullptr, fn, "benc->encode != NULL") &&
      check(btype->size == benc->size, fn, "btype->size == benc->size") &&
      check(btype->flags == benc->flags, fn, "btype->flags == benc->flags") &&
      (placeholder ? check(benc->type_idx == 0, fn, "benc->type_idx == 0")
                   : check(benc->type_idx == type_idx, fn, "benc->type_idx == type_idx"));
  return ok ? 0 : UA_EBADINTERNALERROR;
}

int ua_type_table_validate_inttype(const ua_dict_inttype& inttype, const ua_builtin_types& base) {
  static const char* const fn = "ua_type_table_validate_inttype";
  if (!check(inttype.base_type < base.num_fcts, fn,
             "inttype->base_type < g_binary_types[0].num_fcts"))
    return UA_EBADINTERNALERROR;
  const ua_builtin_type& btype = base.types[inttype.base_type];
  const bool ok =
      check(inttype.size == btype.size, fn, "inttype->size == btype->size") &&
      check((btype.flags & UA_BUILTIN_FLAG_FIXED) != 0, fn, "btype->flags & UA_BUILTIN_FLAG_FIXED");
  return ok ? 0 : UA_EBADINTERNALERROR;
}

int ua_type_table_validate_table(const ua_type_table& table, const ua_type_table* ns0,
                                 uint32_t max_depth) {
  static const char* const fn = "ua_type_table_validate_table";
  const unsigned ns = table.nsidx;
  const auto& sts = table.structures;
  switch (table.sorting) {
    case UA_TYPE_TABLE_SORTING_NONE:
      break;
    case UA_TYPE_TABLE_SORTING_BINARY:
      for (std::size_t i = 1; i < sts.size(); ++i) {
        if (sts[i].type_id <= sts[i - 1].type_id) {
          UA_LOG_ERROR("%s: type ids for table with nsidx=%u are not sorted ascending\n", fn, ns);
          return UA_EBADINVALIDARGUMENT;
        }
      }
      for (std::size_t i = 1; i < sts.size(); ++i) {
        if (sts[i].encoding_id <= sts[i - 1].encoding_id) {
          UA_LOG_ERROR("%s: encoding ids for table with nsidx=%u are not sorted ascending\n", fn,
                       ns);
          return UA_EBADINVALIDARGUMENT;
        }
      }
      break;
    case UA_TYPE_TABLE_SORTING_IDX_TABLE:
      if (!table.has_idx_table) {
        UA_LOG_ERROR("%s: index table for nsidx=%u is missing\n", fn, ns);
        return UA_EBADINVALIDARGUMENT;
      }
      for (std::size_t i = 1; i < sts.size(); ++i) {
        if (sts[i].type_id <= sts[i - 1].type_id) {
          UA_LOG_ERROR("%s: type ids for table for nsidx=%u are not sorted ascending\n", fn, ns);
          return UA_EBADINVALIDARGUMENT;
        }
      }
      for (std::size_t i = 0; i < table.idx_table.size(); ++i) {
        const bool unsorted =
            i > 0 && table.idx_table[i].encoding_id <= table.idx_table[i - 1].encoding_id;
        if (unsorted || table.idx_table[i].index >= sts.size()) {
          UA_LOG_ERROR("%s: index table for nsidx=%u is not sorted ascending\n", fn, ns);
          return UA_EBADINVALIDARGUMENT;
        }
      }
      break;
    default:
      return UA_EBADINVALIDARGUMENT;
  }
  int ret;
  if (table.builtins != nullptr) {
    if (table.encodings == nullptr || table.encodings->num_fcts != table.builtins->num_fcts)
      return UA_EBADINVALIDARGUMENT;
    for (uint32_t i = 0; i < table.builtins->num_fcts; ++i) {
      ret = ua_type_table_validate_builtin(&table.builtins->types[i],
                                           &table.encodings->encodings[i], i);
      if (ret != 0) {
        UA_LOG_ERROR("%s: ns=%u, function entry[%i] failed to validate\n", fn, ns,
                     static_cast<int>(i));
        return ret;
      }
    }
  }
  const ua_builtin_types& base =
      ns0 != nullptr && ns0->builtins != nullptr ? *ns0->builtins : g_binary_types;
  for (std::size_t i = 0; i < table.inttypes.size(); ++i) {
    ret = ua_type_table_validate_inttype(table.inttypes[i], base);
    if (ret != 0) {
      UA_LOG_ERROR("%s: ns=%u, inttype[%i] failed to validate\n", fn, ns, static_cast<int>(i));
      return ret;
    }
  }
  validator v{ns0, max_depth};
  for (const ua_dict_structure& st : sts) {
    validator::layout l;
    ret = v.validate_structure(table, st, 0, l);
    if (ret != 0) return ret;
  }
  return 0;
}

int ua_type_table_init() {
  static const char* const fn = "ua_type_table_init";
  if (g_binary_encodings.num_fcts != g_binary_types.num_fcts) {
    UA_LOG_ERROR("%s: num_fcts for encoder=%u, but for base=%u\n", fn, g_binary_encodings.num_fcts,
                 g_binary_types.num_fcts);
    return UA_EBADINVALIDARGUMENT;
  }
  int ret = ua_type_table_data_validate(ua_type_table_ns0_generated());
  if (ret != 0) return ret;
  const ua_type_registry& reg = ua_type_tables();
  const uint32_t depth = ua_encoder_global_settings().max_call_depth;
  for (uint16_t i = 0; i < reg.size(); ++i) {
    ret = ua_type_table_validate_table(*reg.table(i), reg.table(0), depth);
    if (ret != 0) return ret;
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Structures by type value

namespace {

const ua_dict_structure* lookup(uint32_t type, const ua_type_table*& table) {
  table = ua_type_tables().table(static_cast<uint16_t>(ua_type_value_table(type)));
  return table != nullptr ? table->structure(ua_type_value_index(type)) : nullptr;
}

}  // namespace

int ua_type_table_compare_structure(uint32_t type, const void* a, const void* b) {
  const ua_type_table* table;
  const ua_dict_structure* st = lookup(type, table);
  return st != nullptr ? ua_dict_compare_structure(*table, *st, a, b) : UA_EBADNOTFOUND;
}

int ua_type_table_copy_structure(uint32_t type, void* dst, const void* src) {
  const ua_type_table* table;
  const ua_dict_structure* st = lookup(type, table);
  return st != nullptr ? ua_dict_copy_structure(*table, *st, dst, src) : UA_EBADNOTFOUND;
}

void ua_type_table_clear_structure(uint32_t type, void* obj) {
  const ua_type_table* table;
  const ua_dict_structure* st = lookup(type, table);
  if (st != nullptr) ua_dict_clear_structure(*table, *st, obj);
}

void* ua_extensionobject_emplace_ns0(ua_extensionobject& eo, uint32_t type_index) {
  const ua_dict_structure* st = ua_type_table_ns0().structure(type_index);
  if (st == nullptr) return nullptr;
  void* obj = eo.emplace_decoded(*st, type_index);
  eo.type_id() = ua_nodeid(0, st->type_id);
  eo.encoding_id() = ua_nodeid(0, st->encoding_id);
  return obj;
}

}  // namespace vos
