#include "tools/vospack/xmlvalueparser.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "diag/diag.h"
#include "tools/vospack/nstable.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "uabase/text_number.h"
#include "uabase/type_table.h"
#include "util/base64.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr int k_value_too_large = UA_EBADENCODINGLIMITSEXCEEDED;  // -30: value dropped
constexpr int k_unsupported_object = UA_EBADNOTSUPPORTED;         // -20: value dropped

// The element itself, or its child of that name.
const xml_node* pick(const xml_node* element, std::string_view child) {
  if (element == nullptr) return nullptr;
  return child.empty() ? element : element->find_child(child);
}

// The text of an element for the readers that take references as written: its own text,
// or that of its CDATA sections (xml_node_text). `storage` must outlive the result.
xml_string text_of(const xml_node& element, std::string& storage) {
  xml_string text;
  xml_node_text(element, text, storage, false);
  return text;
}

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && is_space(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_space(s.back())) s.remove_suffix(1);
  return s;
}

// Whole-number conversion for the kinds without a parser of their own: leading white space,
// one sign, decimal digits; stops at the first other character.
template <class T>
int parse_integer(std::string_view text, T& out) {
  std::size_t i = 0;
  while (i < text.size() && is_space(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    if (negative && !std::numeric_limits<T>::is_signed) return UA_EBADINVALIDARGUMENT;
    ++i;
  }
  const std::size_t first = i;
  // Accumulated as a magnitude; the limit of the negative side is one more.
  using U = unsigned long long;
  const U limit =
      negative ? U(std::numeric_limits<T>::max()) + 1 : U(std::numeric_limits<T>::max());
  U value = 0;
  bool overflow = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const U digit = static_cast<U>(text[i] - '0');
    if (value > (limit - digit) / 10) overflow = true;
    if (!overflow) value = value * 10 + digit;
  }
  if (i == first) return UA_EBADDECODING;
  if (overflow) return UA_EBADOUTOFRANGE;
  if (negative) {
    out = value == limit ? std::numeric_limits<T>::min()
                         : static_cast<T>(-static_cast<long long>(value));
  } else {
    out = static_cast<T>(value);
  }
  return 0;
}

int parse_float(std::string_view text, double& out) {
  std::string copy(text);
  const char* start = copy.c_str();
  char* end = nullptr;
  const double v = std::strtod(start, &end);
  if (end == start) return UA_EBAD;
  out = v;
  return 0;
}

struct reader_row {
  std::string_view name;
  uint8_t code;
};

// Matched as name prefixes in this order, so that longer names come before their prefixes.
constexpr reader_row k_readers[] = {
    {"Boolean", UA_VT_BOOLEAN},
    {"LocalizedText", UA_VT_LOCALIZEDTEXT},
    {"QualifiedName", UA_VT_QUALIFIEDNAME},
    {"NodeId", UA_VT_NODEID},
    {"ExtensionObject", UA_VT_EXTENSIONOBJECT},
    {"String", UA_VT_STRING},
    {"ByteString", UA_VT_BYTESTRING},
    {"Float", UA_VT_FLOAT},
    {"Double", UA_VT_DOUBLE},
    {"Byte", UA_VT_BYTE},
    {"SByte", UA_VT_SBYTE},
    {"UInt16", UA_VT_UINT16},
    {"Int16", UA_VT_INT16},
    {"UInt32", UA_VT_UINT32},
    {"Int32", UA_VT_INT32},
    {"UInt64", UA_VT_UINT64},
    {"Int64", UA_VT_INT64},
    {"DateTime", UA_VT_DATETIME},
    {"Guid", UA_VT_GUID},
};

}  // namespace

bool xmlvalueparser::remap(uint32_t file_index, uint16_t& run_index) const {
  if (namespaces_ == nullptr) {
    if (file_index > UINT16_MAX) return false;
    run_index = static_cast<uint16_t>(file_index);
    return true;
  }
  const nstable_entry* e = namespaces_->find_by_xml_index(file_index);
  if (e == nullptr || e->sdk_index > UINT16_MAX) return false;
  run_index = static_cast<uint16_t>(e->sdk_index);
  return true;
}

int xmlvalueparser::get_boolean(const xml_node* element, std::string_view child, bool& out) {
  out = false;
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  std::string storage;
  out = xml_string_is_true(trim(text_of(*n, storage)));
  return 0;
}

int xmlvalueparser::get_string(const xml_node* element, std::string_view child, ua_string& out) {
  out.clear();
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  // Text from CDATA sections is taken byte for byte; references elsewhere are decoded.
  std::string storage;
  xml_string raw;
  const int kind = xml_node_text(*n, raw, storage, true);
  if (kind == XML_TEXT_FINAL || (kind == XML_TEXT_PLAIN && !xml_string_has_entities(raw))) {
    text_watch_.check(n, raw);
    out.assign(raw);
    return 0;
  }
  // A decoded text is never longer than its entity form.
  std::string buf(raw.size() + 1, '\0');
  if (kind < 0 || xml_string_html_decode(raw, buf.data(), buf.size()) != 0) {
    diag_error(VOS_HERE, "ua_xmlvalueparser_get_string",
               "xml_string_html_decode failed du to unsupported escape sequence.\n");
    return UA_EBAD;
  }
  const std::string_view text(buf.c_str());
  text_watch_.check(n, text);
  out.assign(text);
  return 0;
}

int xmlvalueparser::get_datetime(const xml_node* element, std::string_view child,
                                 ua_datetime& out) {
  out = ua_datetime{};
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  std::string storage;
  const std::string_view text = trim(text_of(*n, storage));
  if (ua_datetime_from_string(out, text) != 0) {
    diag_warning_at(4034, VOS_HERE, "ua_xmlvalueparser_get_datetime", n,
                    "the date '%.*s' is either invalid or outside the range of UaDateTime "
                    "(Windows FileTime)\nMapping to earliest possible datetime "
                    "1601-01-01T00:00:00Z\n",
                    static_cast<int>(text.size()), text.data());
    out = ua_datetime{};
  }
  return 0;
}

int xmlvalueparser::get_guid(const xml_node* element, std::string_view child, ua_guid& out) {
  out = ua_guid{};
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  const xml_node* s = n->find_child("String");
  if (s == nullptr) return UA_EBAD;
  std::string storage;
  const int ret = ua_guid_from_string(out, trim(text_of(*s, storage)));
  if (ret != 0) out = ua_guid{};
  return ret;
}

int xmlvalueparser::get_bytestring(const xml_node* element, std::string_view child,
                                   ua_bytestring& out) {
  out.clear();
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  const xml_node* holder = n->first_child() != nullptr ? n->first_child() : n;
  std::string storage;
  const std::string_view text = text_of(*holder, storage);
  if (trim(text).empty()) return 0;
  std::size_t length = 0;
  int ret = base64_decoded_length(text, length);
  if (ret != 0) {
    diag_warning_at(1001, VOS_HERE, "ua_xmlvalueparser_get_bytestring", holder,
                    "bytestring is not valid base64\n");
    return ret;
  }
  if (length > bytestring_limit_) {
    diag_warning_at(1002, VOS_HERE, "ua_xmlvalueparser_get_bytestring", holder,
                    "bytestring length %i exceeds maximum length (%lu)\n", static_cast<int>(length),
                    bytestring_limit_);
    return k_value_too_large;
  }
  uint8_t* bytes = out.try_allocate(length);
  if (bytes == nullptr) return UA_EBADNOMEM;
  std::size_t written = 0;
  ret = base64_decode(text, std::span<uint8_t>(bytes, length), written);
  if (ret != 0 || written != length) {
    out.clear();
    return UA_EBAD;
  }
  return 0;
}

int xmlvalueparser::get_nodeid(const xml_node* element, std::string_view child, ua_nodeid& out) {
  out.clear();
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  const xml_node* ident = n->find_child("Identifier");
  if (ident == nullptr) return 0;
  std::string storage;
  xml_string raw;
  const int kind = xml_node_text(*ident, raw, storage, true);
  if (kind < 0) return UA_EBADDECODING;
  const std::string_view text = trim(raw);
  if (text.empty()) return 0;
  ua_nodeid id;
  int ret = 0;
  if (kind == XML_TEXT_PLAIN && xml_string_has_entities(text)) {
    std::string buf(text.size() + 1, '\0');
    if (xml_string_html_decode(text, buf.data(), buf.size()) != 0) return UA_EBADDECODING;
    ret = ua_nodeid_from_string(id, std::string_view(buf.c_str()));
  } else {
    ret = ua_nodeid_from_string(id, text);
  }
  if (ret != 0) return ret;
  uint16_t ns = 0;
  if (!remap(id.ns(), ns)) {
    diag_error_at(4000, VOS_HERE, "ua_xmlvalueparser_get_nodeid", ident,
                  "Error in parsing nodeid: Unknown nsidx=%u\n", static_cast<unsigned>(id.ns()));
    return UA_EBAD;
  }
  id.set_ns(ns);
  out = std::move(id);
  return 0;
}

int xmlvalueparser::get_qualifiedname(const xml_node* element, std::string_view child,
                                      ua_qualifiedname& out) {
  out = ua_qualifiedname{};
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  uint32_t file_ns = 0;
  if (const xml_node* nsidx = n->find_child("NamespaceIndex")) {
    uint16_t v = 0;
    std::string storage;
    const int ret = ua_strtouint16(text_of(*nsidx, storage), nullptr, 10, v);
    if (ret != 0) return ret;
    file_ns = v;
  }
  uint16_t ns = 0;
  if (!remap(file_ns, ns)) {
    diag_error_at(4000, VOS_HERE, "ua_xmlvalueparser_get_qualifiedname", n,
                  "Error in parsing qualified name: Unknown nsidx=%u\n", file_ns);
    return UA_EBAD;
  }
  out.ns = ns;
  const int ret = get_string(n, "Name", out.name);
  return ret < 0 ? ret : 0;
}

int xmlvalueparser::get_localizedtext(const xml_node* element, std::string_view child,
                                      ua_localizedtext& out) {
  out = ua_localizedtext{};
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  if (const xml_node* locale = n->find_child("Locale")) {
    std::string storage;
    const std::string_view raw = text_of(*locale, storage);
    const std::string_view trimmed = trim(raw);
    if (trimmed.size() != raw.size()) {
      diag_warning_at(1003, VOS_HERE, "ua_xmlvalueparser_get_localizedtext", locale,
                      "removed invalid leading/trailing whitespaces from <Locale> element. This "
                      "is a workaround for buggy nodeset files. Please fix the nodeset to avoid "
                      "this warning.");
    }
    out.locale.assign(trimmed);
  }
  const int ret = get_string(n, "Text", out.text);
  return ret < 0 ? ret : 0;
}

int xmlvalueparser::get_int32(const xml_node* element, std::string_view child, int32_t& out) {
  out = 0;
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  std::string storage;
  return ua_strtoint32(text_of(*n, storage), nullptr, 10, out);
}

int xmlvalueparser::get_int64(const xml_node* element, std::string_view child, int64_t& out) {
  out = 0;
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  std::string storage;
  return parse_integer(text_of(*n, storage), out);
}

int xmlvalueparser::get_double(const xml_node* element, std::string_view child, double& out) {
  out = 0;
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  std::string storage;
  return parse_float(text_of(*n, storage), out);
}

int xmlvalueparser::read_array_dims(const xml_node* element, ua_array<uint32_t>& out) {
  out.clear();
  if (element == nullptr) return 1;
  const uint32_t count = element->count_children();
  if (count == 0) return 0;
  if (!out.try_resize(count)) return UA_EBADNOMEM;
  std::size_t i = 0;
  for (const xml_node& c : element->children()) {
    std::string storage;
    const int ret = ua_strtouint32(text_of(c, storage), nullptr, 10, out[i++]);
    if (ret != 0) return ret;
  }
  return 0;
}

int xmlvalueparser::get_extensionobject(const xml_node* element, std::string_view child,
                                        ua_extensionobject& out) {
  static constexpr const char* fn = "ua_xmlvalueparser_get_extensionobject";
  out.clear();
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  ua_nodeid type_id;
  int ret = get_nodeid(n, "TypeId", type_id);
  if (ret < 0) return ret;
  const xml_node* body = n->find_child("Body");
  const xml_node* inner = body != nullptr ? body->first_child() : nullptr;
  if (inner == nullptr) return UA_EBAD;

  if (inner->name() == "ByteString") {
    ua_bytestring bytes;
    ret = get_bytestring(inner, {}, bytes);
    out.encoding_id() = std::move(type_id);
    if (ret == k_value_too_large) return 0;
    if (ret < 0) return ret;
    out.set_encoded(ua_extensionobject_body::binary, std::move(bytes));
    return 0;
  }
  if (type_id.ns() != 0 || !type_id.is_numeric()) {
    diag_warning_at(1005, VOS_HERE, fn, n, "only numeric extensionobjects of ns 0 are supported\n");
    return k_unsupported_object;
  }
  const uint32_t id = type_id.numeric_id();
  switch (id) {
    case 297: {
      auto* a = ua_extensionobject_emplace_ns0_as<ua_argument>(out, UA_TYPE_ARGUMENT);
      if (a == nullptr) return UA_EBADNOMEM;
      if ((ret = get_string(inner, "Name", a->name)) < 0 ||
          (ret = get_nodeid(inner, "DataType", a->data_type)) < 0 ||
          (ret = get_int32(inner, "ValueRank", a->value_rank)) < 0 ||
          (ret = read_array_dims(inner->find_child("ArrayDimensions"), a->array_dimensions)) < 0 ||
          (ret = get_localizedtext(inner, "Description", a->description)) < 0) {
        break;
      }
      return 0;
    }
    case 885: {
      auto* r = ua_extensionobject_emplace_ns0_as<ua_range>(out, UA_TYPE_RANGE);
      if (r == nullptr) return UA_EBADNOMEM;
      if ((ret = get_double(inner, "Low", r->low)) < 0 ||
          (ret = get_double(inner, "High", r->high)) < 0) {
        break;
      }
      return 0;
    }
    case 888: {
      auto* eu = ua_extensionobject_emplace_ns0_as<ua_eu_information>(out, UA_TYPE_EUINFORMATION);
      if (eu == nullptr) return UA_EBADNOMEM;
      if ((ret = get_string(inner, "NamespaceUri", eu->namespace_uri)) < 0 ||
          (ret = get_int32(inner, "UnitId", eu->unit_id)) < 0 ||
          (ret = get_localizedtext(inner, "DisplayName", eu->display_name)) < 0 ||
          (ret = get_localizedtext(inner, "Description", eu->description)) < 0) {
        break;
      }
      return 0;
    }
    case 7616: {
      auto* ev = ua_extensionobject_emplace_ns0_as<ua_enum_value_type>(out, UA_TYPE_ENUMVALUETYPE);
      if (ev == nullptr) return UA_EBADNOMEM;
      if ((ret = get_int64(inner, "Value", ev->value)) < 0 ||
          (ret = get_localizedtext(inner, "DisplayName", ev->display_name)) < 0 ||
          (ret = get_localizedtext(inner, "Description", ev->description)) < 0) {
        break;
      }
      return 0;
    }
    default:
      diag_warning_at(1005, VOS_HERE, fn, n, "unsupported extensionobject id=%u\n", id);
      out.clear();
      return k_unsupported_object;
  }
  diag_error_at(4013, VOS_HERE, fn, inner, "failed to load extensionobject id=%i\n",
                static_cast<int>(id));
  out.clear();
  return ret;
}

int xmlvalueparser::read_element(const xml_node* element, uint8_t code, void* out) {
  std::string storage;
  const std::string_view text = text_of(*element, storage);
  switch (code) {
    case UA_VT_BOOLEAN:
      return get_boolean(element, {}, *static_cast<bool*>(out));
    case UA_VT_SBYTE:
      return ua_strtoint8(text, nullptr, 10, *static_cast<int8_t*>(out));
    case UA_VT_BYTE:
      return ua_strtouint8(text, nullptr, 10, *static_cast<uint8_t*>(out));
    case UA_VT_INT16:
      return parse_integer(text, *static_cast<int16_t*>(out));
    case UA_VT_UINT16:
      return ua_strtouint16(text, nullptr, 10, *static_cast<uint16_t*>(out));
    case UA_VT_INT32:
      return ua_strtoint32(text, nullptr, 10, *static_cast<int32_t*>(out));
    case UA_VT_UINT32:
      return ua_strtouint32(text, nullptr, 10, *static_cast<uint32_t*>(out));
    case UA_VT_INT64:
      return parse_integer(text, *static_cast<int64_t*>(out));
    case UA_VT_UINT64:
      return parse_integer(text, *static_cast<uint64_t*>(out));
    case UA_VT_FLOAT: {
      double d = 0;
      const int ret = parse_float(text, d);
      if (ret == 0) *static_cast<float*>(out) = static_cast<float>(d);
      return ret;
    }
    case UA_VT_DOUBLE:
      return parse_float(text, *static_cast<double*>(out));
    case UA_VT_STRING:
      return get_string(element, {}, *static_cast<ua_string*>(out));
    case UA_VT_DATETIME:
      return get_datetime(element, {}, *static_cast<ua_datetime*>(out));
    case UA_VT_GUID:
      return get_guid(element, {}, *static_cast<ua_guid*>(out));
    case UA_VT_BYTESTRING:
      return get_bytestring(element, {}, *static_cast<ua_bytestring*>(out));
    case UA_VT_NODEID:
      return get_nodeid(element, {}, *static_cast<ua_nodeid*>(out));
    case UA_VT_QUALIFIEDNAME:
      return get_qualifiedname(element, {}, *static_cast<ua_qualifiedname*>(out));
    case UA_VT_LOCALIZEDTEXT:
      return get_localizedtext(element, {}, *static_cast<ua_localizedtext*>(out));
    case UA_VT_EXTENSIONOBJECT:
      return get_extensionobject(element, {}, *static_cast<ua_extensionobject*>(out));
    default:
      return UA_EBADNOTSUPPORTED;
  }
}

int xmlvalueparser::get_variant(const xml_node* element, std::string_view child, ua_variant& out) {
  out.clear();
  const xml_node* n = pick(element, child);
  if (n == nullptr) return 1;
  const xml_node* value = n->first_child();
  if (value == nullptr) return 0;

  std::string_view name = value->name();
  const bool is_array = name.starts_with("ListOf");
  if (is_array) name.remove_prefix(6);
  uint8_t code = UA_VT_NULL;
  for (const reader_row& row : k_readers) {
    if (name.starts_with(row.name)) {
      code = row.code;
      break;
    }
  }
  if (code == UA_VT_NULL) {
    const std::string_view full = value->name();
    diag_warning_at(1004, VOS_HERE, "ua_xmlvalueparser_get_variant", value,
                    "unsupported variant %.*s\n", static_cast<int>(full.size()), full.data());
    return 0;
  }

  int ret = 0;
  if (is_array) {
    const uint32_t count = value->count_children();
    void* block = out.try_emplace_array(code, count);
    if (block == nullptr && count > 0) return UA_EBADNOMEM;
    if (count > 0) {
      const std::size_t stride = ua_builtin_size(code);
      auto* p = static_cast<unsigned char*>(block);
      for (const xml_node& item : value->children()) {
        ret = read_element(&item, code, p);
        if (ret < 0) break;
        ret = 0;
        p += stride;
      }
    }
  } else {
    void* slot = out.emplace_scalar(code);
    if (slot == nullptr) return UA_EBADNOMEM;
    ret = read_element(value, code, slot);
    if (ret > 0) ret = 0;
  }
  if (ret != 0) {
    out.clear();
    if (ret == k_value_too_large || ret == k_unsupported_object) return 0;
  }
  return ret;
}

}  // namespace vos
