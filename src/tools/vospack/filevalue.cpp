#include "tools/vospack/filevalue.h"

#include <cstring>
#include <span>
#include <vector>

#include "tools/vospack/filewriter.h"
#include "trace/trace.h"
#include "uabase/encoder.h"
#include "uabase/text_nodeid.h"
#include "uabase/type_table.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr const char* kScalarFn = "ua_file_writer_write_variant_scalar";
constexpr const char* kArrayFn = "ua_file_writer_write_variant_array";
constexpr const char* kExtFn = "ua_file_writer_write_extensionobject";

template <class T>
const T& as(const void* p) {
  return *static_cast<const T*>(p);
}

// The binary encoding id of a data type from the type tables; false when it is unknown.
bool lookup_encoding_id(const ua_nodeid& type_id, ua_nodeid& encoding_id) {
  if (type_id.type() != ua_nodeid_type::numeric) return false;
  const ua_type_table* table = ua_type_tables().table_for_namespace(type_id.ns());
  if (table == nullptr) return false;
  const int32_t row = table->find_by_type_id(type_id.numeric_id());
  if (row < 0 || static_cast<std::size_t>(row) >= table->structures.size()) return false;
  encoding_id =
      ua_nodeid(type_id.ns(), table->structures[static_cast<std::size_t>(row)].encoding_id);
  return true;
}

}  // namespace

int ua_file_writer_write_extensionobject(ua_file_writer& w, const ua_extensionobject& eo) {
  ua_nodeid encoding_id;
  if (eo.encoding_id().is_null()) {
    if (!lookup_encoding_id(eo.type_id(), encoding_id)) {
      ua_file_report("extensionobject with typeid %s not found.\n",
                     ua_nodeid_to_text(eo.type_id()).c_str());
      return UA_EBADNOTFOUND;
    }
    trace(TRACE_LEVEL_DEBUG, UA_TRACE_COMPONENT_FILEWRITER,
          "%s: translating typeid %u to encodingid %u\n", kExtFn, eo.type_id().numeric_id(),
          encoding_id.numeric_id());
  } else {
    encoding_id = eo.encoding_id();
    trace(TRACE_LEVEL_DEBUG, UA_TRACE_COMPONENT_FILEWRITER, "%s: using encoding_id %u\n", kExtFn,
          encoding_id.numeric_id());
  }
  int ret = w.write_nodeid(encoding_id);
  if (ret != 0) return ret;
  switch (eo.body_kind()) {
    case ua_extensionobject_body::none:
      return w.write_bytestr(0, nullptr);
    case ua_extensionobject_body::decoded: {
      uint8_t buf[UA_FILE_EXTENSIONOBJECT_MAX_BODY];
      ua_encoder enc{std::span<uint8_t>(buf, sizeof(buf))};
      const ua_dict_structure* st = eo.structure();
      const ua_type_table* table =
          ua_type_tables().table(static_cast<uint16_t>(ua_type_value_table(eo.type_index())));
      ret = st != nullptr && table != nullptr
                ? ua_encode_encodeableobject(enc, *table, *st, eo.object())
                : UA_EBADNOTFOUND;
      if (ret != 0) {
        ua_file_report("error(%s): encoding Encodableobject failed.\n", kExtFn);
        return ret;
      }
      // The encoder writes the body's Int32 length first; the file keeps only the body.
      const std::vector<uint8_t> bytes = enc.bytes();
      if (bytes.size() < 4) return UA_EBADENCODING;
      return w.write_bytestr(static_cast<int32_t>(bytes.size() - 4), bytes.data() + 4);
    }
    case ua_extensionobject_body::binary:
      trace(TRACE_LEVEL_INFO, UA_TRACE_COMPONENT_FILEWRITER, "pre-encoded extensionobject\n");
      return eo.encoded() != nullptr ? w.write_bytestr(*eo.encoded()) : UA_EBAD;
    case ua_extensionobject_body::xml:
      ua_file_report("ExtensionObject with XML body is not supported\n");
      return UA_EBADINVALIDARGUMENT;
    case ua_extensionobject_body::json:
      ua_file_report("ExtensionObject with JSON body is not supported\n");
      return UA_EBADINVALIDARGUMENT;
  }
  return 0;
}

int ua_file_writer_write_variant_scalar(ua_file_writer& w, uint8_t type, const void* value) {
  // Every type but Null needs a value.
  const auto null_value = [](const char* what) {
    ua_file_report("error(%s): variant %s is NULL\n", kScalarFn, what);
    return UA_EBADINVALIDARGUMENT;
  };
  if (type != UA_VT_NULL && type <= UA_VT_EXTENSIONOBJECT && value == nullptr) {
    switch (type) {
      case UA_VT_GUID:
        return null_value("guid");
      case UA_VT_NODEID:
        return null_value("nodeid");
      case UA_VT_EXPANDEDNODEID:
        return null_value("expandednodeid");
      case UA_VT_QUALIFIEDNAME:
        return null_value("qualifiedname");
      case UA_VT_LOCALIZEDTEXT:
        return null_value("localizedtext");
      case UA_VT_EXTENSIONOBJECT:
        return null_value("extensionobject");
      default:
        return UA_EBADINVALIDARGUMENT;
    }
  }
  switch (type) {
    case UA_VT_NULL:
      return 0;
    case UA_VT_BOOLEAN:
      return w.write_bool(as<bool>(value));
    case UA_VT_SBYTE:
      return w.write_byte(static_cast<uint8_t>(as<int8_t>(value)));
    case UA_VT_BYTE:
      return w.write_byte(as<uint8_t>(value));
    case UA_VT_INT16:
      return w.write_var_i16(as<int16_t>(value));
    case UA_VT_UINT16:
      return w.write_var_u16(as<uint16_t>(value));
    case UA_VT_INT32:
      return w.write_var_i32(as<int32_t>(value));
    case UA_VT_UINT32:
      return w.write_var_u32(as<uint32_t>(value));
    case UA_VT_INT64:
      return w.write_var_i64(as<int64_t>(value));
    case UA_VT_UINT64:
      return w.write_var_u64(as<uint64_t>(value));
    case UA_VT_FLOAT: {
      uint32_t bits;
      std::memcpy(&bits, value, sizeof(bits));
      return w.write_raw_u32(bits);
    }
    case UA_VT_DOUBLE: {
      int64_t bits;
      std::memcpy(&bits, value, sizeof(bits));
      return w.write_raw_i64(bits);
    }
    case UA_VT_STRING:
      return w.write_uastring(as<ua_string>(value));
    case UA_VT_DATETIME:
      return w.write_raw_i64(as<ua_datetime>(value).ticks);
    case UA_VT_GUID:
      return w.write_guid(as<ua_guid>(value));
    case UA_VT_BYTESTRING:
    case UA_VT_XMLELEMENT:
      return w.write_bytestr(as<ua_bytestring>(value));
    case UA_VT_NODEID:
      return w.write_nodeid(as<ua_nodeid>(value));
    case UA_VT_EXPANDEDNODEID: {
      const auto& e = as<ua_expandednodeid>(value);
      int ret = w.write_nodeid(e.node_id);
      if (ret == 0) ret = w.write_uastring(e.namespace_uri);
      if (ret == 0) ret = w.write_var_u32(e.server_index);
      return ret;
    }
    case UA_VT_STATUSCODE:
      return w.write_raw_u32(as<ua_statuscode>(value).code);
    case UA_VT_QUALIFIEDNAME: {
      const auto& q = as<ua_qualifiedname>(value);
      const int ret = w.write_var_u16(q.ns);
      return ret == 0 ? w.write_uastring(q.name) : ret;
    }
    case UA_VT_LOCALIZEDTEXT: {
      const auto& t = as<ua_localizedtext>(value);
      const int ret = w.write_uastring(t.locale);
      return ret == 0 ? w.write_uastring(t.text) : ret;
    }
    case UA_VT_EXTENSIONOBJECT:
      return ua_file_writer_write_extensionobject(w, as<ua_extensionobject>(value));
    default:
      ua_file_report("error(%s): Variant type %u is not supported.\n", kScalarFn,
                     static_cast<unsigned>(type));
      return UA_EBAD;
  }
}

int ua_file_writer_write_variant_array(ua_file_writer& w, uint8_t type, const void* data,
                                       int32_t count) {
  const uint32_t n = count < 0 ? 0 : static_cast<uint32_t>(count);
  int ret = w.write_var_u32(n);
  if (ret != 0) return ret;
  if (type == UA_VT_EXPANDEDNODEID || type >= UA_VT_DATAVALUE) {
    ua_file_report("error(%s): Array of Variant type %i is not supported.\n", kArrayFn,
                   static_cast<int>(type));
    return UA_EBAD;
  }
  const std::size_t size = ua_builtin_size(type);
  const auto* p = static_cast<const uint8_t*>(data);
  for (uint32_t i = 0; i < n; ++i) {
    ret = ua_file_writer_write_variant_scalar(w, type, p != nullptr ? p + i * size : nullptr);
    if (ret != 0) return ret;
  }
  return 0;
}

int ua_file_writer_write_variant(ua_file_writer& w, const ua_variant& v) {
  const uint8_t tb = v.type_byte();
  if ((tb & (UA_VT_ARRAY | UA_VT_MATRIX)) == UA_VT_MATRIX) {
    ua_file_report("Invalid variant value.\n");
    return UA_EBADINVALIDARGUMENT;
  }
  const std::span<const int32_t> dims = v.dimensions();
  if ((tb & UA_VT_MATRIX) != 0) {
    for (int32_t d : dims)
      if (d < 0) return UA_EBADINVALIDARGUMENT;
  }
  int ret = w.write_byte(tb);
  if (ret != 0) return ret;
  if (!v.is_array()) return ua_file_writer_write_variant_scalar(w, v.type(), v.scalar_data());
  ret = ua_file_writer_write_variant_array(w, v.type(), v.array_data(), v.length());
  if (ret != 0 || (tb & UA_VT_MATRIX) == 0) return ret;
  ret = w.write_var_u32(static_cast<uint32_t>(dims.size()));
  for (std::size_t i = 0; ret == 0 && i < dims.size(); ++i)
    ret = w.write_var_u32(static_cast<uint32_t>(dims[i]));
  return ret;
}

}  // namespace vos
