#include "uabase/dict.h"

#include "uabase/encoder.h"
#include "uabase/encoder_log.h"
#include "uabase/type_table.h"

namespace vos {

namespace {

// A row's type, resolved in its table.
struct field_type {
  uint8_t impl = 0;
  bool array = false;
  const ua_type_table* table = nullptr;       // the table the type comes from
  const ua_builtin_type* btype = nullptr;     // built-in, or the base of an integer type
  const ua_builtin_encoding* benc = nullptr;  // its encoder
  uint8_t code = 0;                           // built-in type code for array fast paths, or 0
  const ua_dict_structure* st = nullptr;      // nested structure
  const ua_value_ops* ops = nullptr;          // the member's element operations
  uint32_t elem_size = 0;
};

int resolve(const ua_type_table& own, const ua_dict_field& f, field_type& out, const char* fn) {
  out.impl = f.flags & UA_DICT_IMPL_MASK;
  if (out.impl == 0 || out.impl == 7) return UA_EBADINTERNALERROR;
  const uint8_t rank = f.flags & UA_DICT_RANK_MASK;
  if (rank == UA_DICT_RANK_MATRIX) {
    UA_LOG_ERROR("%s: matrix is not implemented\n", fn);
    return UA_EBADNOTIMPL;
  }
  if (rank == 0) return UA_EBADINTERNALERROR;
  out.array = rank == UA_DICT_RANK_ARRAY;
  const ua_type_table& ns0 = ua_type_table_ns0();
  out.table = (f.flags & UA_DICT_NS0) != 0 ? &ns0 : &own;
  const uint32_t idx = ua_type_value_index(f.type);
  uint32_t builtin;
  switch (out.impl) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_FUNC_FIXED:
      if (idx >= out.table->num_builtins()) return UA_EBADNOTFOUND;
      builtin = idx;
      break;
    case UA_DICT_IMPL_ENUM_FIXED:
    case UA_DICT_IMPL_OSET_FIXED: {
      const ua_dict_inttype* it = out.table->inttype(idx);
      if (it == nullptr || it->base_type >= ns0.num_builtins()) return UA_EBADNOTFOUND;
      builtin = it->base_type;
      out.table = &ns0;
      break;
    }
    default:  // nested structure
      out.st = out.table->structure(idx);
      if (out.st == nullptr) return UA_EBADNOTFOUND;
      out.ops = out.st->ops;
      out.elem_size = out.st->size;
      return 0;
  }
  out.btype = &out.table->builtins->types[builtin];
  out.benc = &out.table->encodings->encodings[builtin];
  out.ops = out.btype->ops;
  out.elem_size = out.btype->size;
  out.code = builtin <= UA_VT_MAX ? static_cast<uint8_t>(builtin)
                                  : (builtin == UA_TYPE_ENUMERATION ? UA_VT_INT32 : 0);
  if (out.ops == nullptr) return UA_EBADINTERNALERROR;
  return 0;
}

const unsigned char* member(const void* obj, const ua_dict_field& f) {
  return static_cast<const unsigned char*>(obj) + f.offset;
}
unsigned char* member(void* obj, const ua_dict_field& f) {
  return static_cast<unsigned char*>(obj) + f.offset;
}

uint32_t read_u32(const void* obj, const ua_dict_field& f) {
  uint32_t v;
  std::memcpy(&v, member(obj, f), sizeof v);
  return v;
}

int encode_element(ua_encoder& enc, const field_type& t, const void* p) {
  if (t.st != nullptr) return ua_dict_encode_structure(enc, *t.table, *t.st, p);
  return t.benc->encode(enc, p);
}

int decode_element(ua_decoder& dec, const field_type& t, void* p) {
  if (t.st != nullptr) return ua_dict_decode_structure(dec, *t.table, *t.st, p);
  return t.benc->decode(dec, p);
}

void clear_member(const ua_type_table& table, const ua_dict_field& f, void* obj) {
  field_type t;
  if (resolve(table, f, t, "ua_dict_clear_structure") != 0) return;
  unsigned char* p = member(obj, f);
  if (t.array)
    t.ops->array_try_resize(p, 0);
  else if (t.st != nullptr)
    ua_dict_clear_structure(*t.table, *t.st, p);
  else
    t.btype->clear(p);
}

}  // namespace

int ua_dict_encode_field(ua_encoder& enc, const ua_type_table& table, const ua_dict_field& field,
                         const void* obj) {
  field_type t;
  int ret = resolve(table, field, t, "ua_dict_encode_field");
  if (ret != 0) return ret;
  const unsigned char* p = member(obj, field);
  if (!t.array) return encode_element(enc, t, p);
  const std::size_t n = t.ops->array_size(p);
  const auto* data = static_cast<const unsigned char*>(t.ops->array_data(p));
  if (t.code != 0) return ua_encode_array(enc, t.code, data, n);
  ret = ua_encode_int32(enc, static_cast<int32_t>(n));
  for (std::size_t i = 0; ret == 0 && i < n; ++i, data += t.elem_size)
    ret = encode_element(enc, t, data);
  return ret;
}

int ua_dict_decode_field(ua_decoder& dec, const ua_type_table& table, const ua_dict_field& field,
                         void* obj) {
  field_type t;
  int ret = resolve(table, field, t, "ua_dict_decode_field");
  if (ret != 0) return ret;
  unsigned char* p = member(obj, field);
  if (!t.array) return decode_element(dec, t, p);
  int32_t len;
  ret = ua_builtin_decode_array_length(dec, len);
  if (ret != 0) return ret;
  const auto n = static_cast<std::size_t>(len);
  if (n > dec.remaining()) return UA_EBADTRUNCATED;
  if (!t.ops->array_try_resize(p, n)) return UA_EBADNOMEM;
  auto* data = static_cast<unsigned char*>(t.ops->array_data(p));
  for (std::size_t i = 0; ret == 0 && i < n; ++i, data += t.elem_size)
    ret = decode_element(dec, t, data);
  if (ret != 0) t.ops->array_try_resize(p, 0);
  return ret;
}

int ua_dict_encode_structure(ua_encoder& enc, const ua_type_table& table,
                             const ua_dict_structure& st, const void* obj) {
  static const char* const fn = "ua_dict_encode_structure";
  if (st.num_fields == 0) return 0;  // an empty structure
  int ret = detail::enter_level(enc.depth, enc.settings.max_call_depth, fn);
  if (ret != 0) return ret;
  const ua_dict_field* rows = st.fields;
  switch (ua_dict_struct_kind(rows[0])) {
    case UA_DICT_STRUCT_PLAIN:
      for (uint16_t i = 0; ret == 0 && i < st.num_fields; ++i)
        ret = ua_dict_encode_field(enc, table, rows[i], obj);
      break;
    case UA_DICT_STRUCT_KIND_OPTIONAL: {
      const uint32_t mask = read_u32(obj, rows[0]);
      ret = ua_encode_uint32(enc, mask);
      uint32_t bit = 0;
      for (uint16_t i = 1; ret == 0 && i < st.num_fields; ++i) {
        if ((rows[i].flags & UA_DICT_STRUCT_OPTIONAL) != 0) {
          if (bit < 32 && (mask & (UINT32_C(1) << bit)) != 0)
            ret = ua_dict_encode_field(enc, table, rows[i], obj);
          ++bit;
        } else {
          ret = ua_dict_encode_field(enc, table, rows[i], obj);
        }
      }
      break;
    }
    case UA_DICT_STRUCT_KIND_UNION: {
      const uint32_t sw = read_u32(obj, rows[0]);
      if (sw >= st.num_fields) {
        UA_LOG_ERROR("%s: invalid union encoding: %u\n", fn, sw);
        ret = UA_EBADENCODING;
        break;
      }
      ret = ua_encode_uint32(enc, sw);
      if (ret == 0 && sw != 0) ret = ua_dict_encode_field(enc, table, rows[sw], obj);
      break;
    }
    default:
      ret = UA_EBADINTERNALERROR;
      break;
  }
  --enc.depth;
  return ret;
}

int ua_dict_decode_structure(ua_decoder& dec, const ua_type_table& table,
                             const ua_dict_structure& st, void* obj) {
  static const char* const fn = "ua_dict_decode_structure";
  if (st.num_fields == 0) return 0;  // an empty structure
  int ret = detail::enter_level(dec.depth, dec.settings.max_call_depth, fn);
  if (ret != 0) return ret;
  const ua_dict_field* rows = st.fields;
  switch (ua_dict_struct_kind(rows[0])) {
    case UA_DICT_STRUCT_PLAIN:
      for (uint16_t i = 0; ret == 0 && i < st.num_fields; ++i)
        ret = ua_dict_decode_field(dec, table, rows[i], obj);
      break;
    case UA_DICT_STRUCT_KIND_OPTIONAL: {
      uint32_t mask;
      ret = ua_decode_uint32(dec, mask);
      if (ret != 0) break;
      std::memcpy(member(obj, rows[0]), &mask, sizeof mask);
      uint32_t bit = 0;
      for (uint16_t i = 1; ret == 0 && i < st.num_fields; ++i) {
        if ((rows[i].flags & UA_DICT_STRUCT_OPTIONAL) != 0) {
          if (bit < 32 && (mask & (UINT32_C(1) << bit)) != 0)
            ret = ua_dict_decode_field(dec, table, rows[i], obj);
          else
            clear_member(table, rows[i], obj);
          ++bit;
        } else {
          ret = ua_dict_decode_field(dec, table, rows[i], obj);
        }
      }
      break;
    }
    case UA_DICT_STRUCT_KIND_UNION: {
      uint32_t sw;
      ret = ua_decode_uint32(dec, sw);
      if (ret != 0) break;
      if (sw >= st.num_fields) {
        UA_LOG_ERROR("%s: invalid union encoding: %u\n", fn, sw);
        ret = UA_EBADENCODING;
        break;
      }
      std::memcpy(member(obj, rows[0]), &sw, sizeof sw);
      for (uint16_t i = 1; i < st.num_fields; ++i)
        if (i != sw) clear_member(table, rows[i], obj);
      if (sw != 0) ret = ua_dict_decode_field(dec, table, rows[sw], obj);
      break;
    }
    default:
      ret = UA_EBADINTERNALERROR;
      break;
  }
  --dec.depth;
  return ret;
}

int ua_dict_compare_structure(const ua_type_table& table, const ua_dict_structure& st,
                              const void* a, const void* b) {
  for (uint16_t i = 0; i < st.num_fields; ++i) {
    const ua_dict_field& f = st.fields[i];
    field_type t;
    if (resolve(table, f, t, "ua_dict_compare_structure") != 0) return 1;
    const unsigned char* pa = member(a, f);
    const unsigned char* pb = member(b, f);
    std::size_t na = 1;
    std::size_t nb = 1;
    if (t.array) {
      na = t.ops->array_size(pa);
      nb = t.ops->array_size(pb);
      if (na != nb) return na < nb ? -1 : 1;
      pa = static_cast<const unsigned char*>(t.ops->array_data(pa));
      pb = static_cast<const unsigned char*>(t.ops->array_data(pb));
    }
    for (std::size_t k = 0; k < na; ++k, pa += t.elem_size, pb += t.elem_size) {
      int c = t.st != nullptr ? ua_dict_compare_structure(*t.table, *t.st, pa, pb)
                              : t.btype->compare(pa, pb);
      if (c != 0) return c;
    }
  }
  return 0;
}

int ua_dict_copy_structure(const ua_type_table& table, const ua_dict_structure& st, void* dst,
                           const void* src) {
  if (dst == src) return 0;
  for (uint16_t i = 0; i < st.num_fields; ++i) {
    const ua_dict_field& f = st.fields[i];
    field_type t;
    int ret = resolve(table, f, t, "ua_dict_copy_structure");
    if (ret != 0) return ret;
    unsigned char* pd = member(dst, f);
    const unsigned char* ps = member(src, f);
    std::size_t n = 1;
    if (t.array) {
      n = t.ops->array_size(ps);
      if (!t.ops->array_try_resize(pd, n)) return UA_EBADNOMEM;
      pd = static_cast<unsigned char*>(t.ops->array_data(pd));
      ps = static_cast<const unsigned char*>(t.ops->array_data(ps));
    }
    for (std::size_t k = 0; k < n; ++k, pd += t.elem_size, ps += t.elem_size) {
      ret =
          t.st != nullptr ? ua_dict_copy_structure(*t.table, *t.st, pd, ps) : t.btype->copy(pd, ps);
      if (ret != 0) return ret;
    }
  }
  return 0;
}

void ua_dict_clear_structure(const ua_type_table& table, const ua_dict_structure& st, void* obj) {
  for (uint16_t i = 0; i < st.num_fields; ++i) clear_member(table, st.fields[i], obj);
}

}  // namespace vos
