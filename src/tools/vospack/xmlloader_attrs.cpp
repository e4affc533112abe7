// The attribute parsers of the NodeSet loader: node ids, names, texts, numbers, array
// information, role permissions and data-type definitions.
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "diag/diag.h"
#include "tools/vospack/xmlloader.h"
#include "uabase/text_nodeid.h"
#include "uabase/text_number.h"
#include "util/errors.h"

namespace vos {

namespace {

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

bool xmlloader::remap(uint32_t file_index, uint16_t& run_index) const {
  if (file_index < xml_to_run_.size() && xml_to_run_[file_index] != UINT32_MAX) {
    run_index = static_cast<uint16_t>(xml_to_run_[file_index]);
    return true;
  }
  const nstable_entry* e = namespaces_.find_by_xml_index(file_index);
  if (e == nullptr || e->sdk_index > UINT16_MAX) return false;
  run_index = static_cast<uint16_t>(e->sdk_index);
  return true;
}

int xmlloader::text_of(const xml_node* node, std::string_view& out) {
  // Text from CDATA sections is taken as it stands; an element's own text is decoded.
  xml_string raw;
  const int kind = xml_node_text(*node, raw, text_buf_, true);
  if (kind < 0) return kind;
  if (kind == XML_TEXT_FINAL || !xml_string_has_entities(raw)) {
    out = raw;
  } else {
    // Decoded at any length: a decoded text is never longer than its references.
    decode_buf_.resize(raw.size() + 1);
    const int ret = xml_string_html_decode(raw, decode_buf_.data(), decode_buf_.size());
    if (ret != 0) return ret;
    out = std::string_view(decode_buf_.data(), std::strlen(decode_buf_.data()));
  }
  return 0;
}

int xmlloader::kept_text_of(const xml_node* node, std::string_view& out) {
  const int ret = text_of(node, out);
  if (ret == 0) values_.text_watch().check(node, out);
  return ret;
}

int xmlloader::parse_nodeid(const xml_node* node, ua_nodeid& out) {
  static constexpr const char* fn = "parse_nodeid";
  if (node == nullptr) return UA_EBAD;
  std::string_view text;
  int ret = text_of(node, text);
  if (ret != 0) {
    diag_error_at(4004, VOS_HERE, fn, node, "xml_string_html_decode failed with error %i\n", ret);
    return ret;
  }
  if (text.empty()) {
    out.clear();
    return 0;
  }
  ua_nodeid id;
  ret = ua_nodeid_from_string(id, text);
  if (ret != 0) {
    diag_error_at(4005, VOS_HERE, fn, node, "Invalid nodeid\n");
    return ret;
  }
  // Numeric, GUID and opaque ids are checked by their own syntax.
  if (id.type() == ua_nodeid_type::string) values_.text_watch().check(node, text);
  uint16_t ns = 0;
  if (!remap(id.ns(), ns)) {
    diag_error_at(4001, VOS_HERE, fn, node, "Error in parsing nodeid: Unknown nsidx=%u\n",
                  static_cast<unsigned>(id.ns()));
    return UA_EBAD;
  }
  id.set_ns(ns);
  out = std::move(id);
  return 0;
}

int xmlloader::resolve_nodeid(const xml_node* element, std::string_view attribute, ua_nodeid& out) {
  return resolve_nodeid(attribute.empty() ? element : element->find_attribute(attribute), out);
}

int xmlloader::resolve_nodeid(const xml_node* node, ua_nodeid& out) {
  if (node == nullptr) return 1;
  const int alias = alias_find(node->value());
  if (alias >= 0) {
    out = aliases_[static_cast<std::size_t>(alias)].second;
    return 0;
  }
  return parse_nodeid(node, out);
}

int xmlloader::parse_qname(const xml_node* node, ua_qualifiedname& out) {
  static constexpr const char* fn = "parse_qname";
  if (node == nullptr) return UA_EBAD;
  std::string_view text;
  if (kept_text_of(node, text) != 0) {
    diag_error_at(4006, VOS_HERE, fn, node, "Invalid qualified name\n");
    return UA_EBAD;
  }
  uint32_t file_ns = 0;
  std::string_view name = text;
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) {
    uint16_t v = 0;
    if (ua_strtouint16(text.substr(0, colon), nullptr, 10, v) != 0) {
      diag_error_at(4006, VOS_HERE, fn, node, "Invalid qualified name\n");
      return UA_EBAD;
    }
    file_ns = v;
    name = text.substr(colon + 1);
  }
  uint16_t ns = 0;
  if (!remap(file_ns, ns)) {
    diag_error_at(4001, VOS_HERE, fn, node, "Error in parsing qualified name: Unknown nsidx=%u\n",
                  file_ns);
    return UA_EBAD;
  }
  out.ns = ns;
  out.name.assign(name);
  return 0;
}

int xmlloader::parse_localizedtext(const xml_node* element, std::string_view name,
                                   ua_localizedtext& out) {
  return parse_localizedtext(element->find_child(name), out);
}

int xmlloader::parse_localizedtext(const xml_node* first, ua_localizedtext& out) {
  if (first == nullptr) return 1;
  const xml_node* chosen = nullptr;
  const xml_node* chosen_locale = nullptr;
  const std::string_view name = first->name();
  for (const xml_node* c = first; c != nullptr; c = c->find_next_sibling(name)) {
    const xml_node* locale = c->find_attribute("Locale");
    if (locale == nullptr || locale->value().empty()) {
      chosen = c;
      chosen_locale = locale;
      break;
    }
    const std::string_view v = locale->value();
    if (default_locale_ == "auto") {
      set_default_locale(v);
      chosen = c;
      chosen_locale = locale;
      break;
    }
    if (v == default_locale_) {
      chosen = c;
      chosen_locale = locale;
      break;
    }
  }
  if (chosen == nullptr) {
    // None in the wanted locale: the first one serves.
    chosen = first;
    chosen_locale = first->find_attribute("Locale");
  }
  std::string_view text;
  if (kept_text_of(chosen, text) != 0) return UA_EBAD;
  out.text.assign(text);
  if (chosen_locale != nullptr) {
    out.locale.assign(chosen_locale->value());
  } else {
    out.locale.clear();
  }
  return 0;
}

int xmlloader::parse_symbolicname(const xml_node* attribute, ua_string& out) {
  static constexpr const char* fn = "parse_symbolicname";
  if (attribute == nullptr) return 0;
  const std::string_view text = attribute->value();
  const char* problem = nullptr;
  if (text.empty()) {
    problem = "Invalid SymbolicName: SymbolicNames must not be empty.\n";
  } else if (!is_letter(text[0])) {
    problem = "Invalid SymbolicName: SymbolicNames must start with a letter.\n";
  } else {
    for (char c : text.substr(1)) {
      if (!is_letter(c) && !is_digit(c) && c != '_') {
        problem =
            "Invalid SymbolicName: SymbolicNames may only use the following character class: "
            "[A-Za-z0-9_].\n";
        break;
      }
    }
  }
  if (problem != nullptr) {
    diag_error_at(4011, VOS_HERE, fn, attribute, "%s", problem);
    return UA_EBAD;
  }
  out.assign(text);
  return 0;
}

bool xmlloader::attr_bool(const xml_node* element, std::string_view name, bool fallback) const {
  return attr_bool(element->find_attribute(name), fallback);
}

bool xmlloader::attr_bool(const xml_node* attribute, bool fallback) {
  return attribute == nullptr ? fallback : xml_string_is_true(attribute->value());
}

int xmlloader::attr_uint8(const xml_node* element, std::string_view name, uint8_t& out,
                          int number) {
  return attr_uint8(element->find_attribute(name), out, number);
}

int xmlloader::attr_uint8(const xml_node* a, uint8_t& out, int number) {
  if (a == nullptr) return 1;
  // At most 255 characters of the text are read.
  char buf[256];
  // An empty value is a null slice: copy() copies nothing from it, where memcpy from a null
  // pointer would be undefined even for no bytes.
  const std::size_t n = a->value().copy(buf, 255);
  buf[n] = '\0';
  uint8_t v = 0;
  const int ret = ua_strtouint8(std::string_view(buf, n), nullptr, 10, v);
  if (ret != 0) {
    diag_error(VOS_HERE, "xml_strtouint8", "%s when parsing value '%s'\n", util_error_lookup(ret),
               buf);
    diag_error_at(number, VOS_HERE, "xml_strtouint8", a, "xml_strtoint8 conversion failed");
    return ret;
  }
  out = v;
  return 0;
}

int xmlloader::attr_uint16(const xml_node* element, std::string_view name, uint16_t& out,
                           int number, const char* message) {
  return attr_uint16(element->find_attribute(name), out, number, message);
}

int xmlloader::attr_uint16(const xml_node* a, uint16_t& out, int number, const char* message) {
  if (a == nullptr) return 1;
  uint16_t v = 0;
  const int ret = ua_strtouint16(a->value(), nullptr, 10, v);
  if (ret != 0) {
    diag_error_at(number, VOS_HERE, "xml_strtouint16", a, "%s", message);
    return ret;
  }
  out = v;
  return 0;
}

int xmlloader::attr_uint32(const xml_node* element, std::string_view name, uint32_t& out,
                           int number, const char* message) {
  return attr_uint32(element->find_attribute(name), out, number, message);
}

int xmlloader::attr_uint32(const xml_node* a, uint32_t& out, int number, const char* message) {
  if (a == nullptr) return 1;
  uint32_t v = 0;
  const int ret = ua_strtouint32(a->value(), nullptr, 10, v);
  if (ret != 0) {
    diag_error_at(number, VOS_HERE, "xml_strtouint32", a, "%s", message);
    return ret;
  }
  out = v;
  return 0;
}

int xmlloader::attr_int32(const xml_node* element, std::string_view name, int32_t& out, int number,
                          const char* message) {
  return attr_int32(element->find_attribute(name), out, number, message);
}

int xmlloader::attr_int32(const xml_node* a, int32_t& out, int number, const char* message) {
  if (a == nullptr) return 1;
  int32_t v = 0;
  const int ret = ua_strtoint32(a->value(), nullptr, 10, v);
  if (ret != 0) {
    diag_error_at(number, VOS_HERE, "util_strtoint32", a, "%s", message);
    return ret;
  }
  out = v;
  return 0;
}

int xmlloader::parse_array_info(const xml_node* element, uagraph_arrayinfo& out, int error_number,
                                const char* operation) {
  return parse_array_info(element->find_attribute("ValueRank"),
                          element->find_attribute("ArrayDimensions"), out, error_number, operation);
}

int xmlloader::parse_array_info(const xml_node* value_rank, const xml_node* dims,
                                uagraph_arrayinfo& out, int error_number, const char* operation) {
  int32_t rank = -1;
  int ret = attr_int32(value_rank, rank, error_number, "util_strtoint32 conversion failed");
  if (ret < 0) return ret;
  out.ValueRank = rank;
  out.set_ArrayDimensions({});
  if (rank < 1) return 0;
  if (dims == nullptr) return 0;
  const std::string_view text = dims->value();
  if (text.size() >= 32) {
    diag_error_at(error_number, VOS_HERE, operation, dims, "ArrayDimensions content is too long.");
    return UA_EBAD;
  }
  uint32_t lengths[32];
  std::size_t count = 0;
  std::size_t pos = 0;
  while (pos <= text.size()) {
    std::size_t comma = text.find(',', pos);
    if (comma == std::string_view::npos) comma = text.size();
    const std::string_view piece = text.substr(pos, comma - pos);
    pos = comma + 1;
    if (piece.empty()) continue;
    ret = ua_strtouint32(piece, nullptr, 10, lengths[count]);
    if (ret != 0) {
      diag_error_at(error_number, VOS_HERE, operation, dims, "xml_strtouint32 failed");
      return ret;
    }
    ++count;
  }
  out.set_ArrayDimensions(std::span<const uint32_t>(lengths, count));
  return 0;
}

int xmlloader::parse_rolepermissions(const xml_node* element,
                                     std::vector<uagraph_rolepermission>& out) {
  static constexpr const char* fn = "parse_rolepermission";
  if (element == nullptr) return 1;
  for (const xml_node& rp : element->children()) {
    if (rp.name() != "RolePermission") continue;
    const xml_node* perm = rp.find_attribute("Permissions");
    if (perm == nullptr) {
      diag_error_at(4025, VOS_HERE, fn, &rp, "Missing Permission attribute\n");
      return UA_EBAD;
    }
    uagraph_rolepermission entry;
    if (ua_strtouint32(perm->value(), nullptr, 10, entry.Permissions) != 0) {
      diag_error_at(4025, VOS_HERE, fn, perm, "Invalid Permission value\n");
      return UA_EBAD;
    }
    const int ret = parse_nodeid(&rp, entry.role);
    if (ret < 0) return ret;
    out.push_back(std::move(entry));
  }
  return 0;
}

int xmlloader::parse_definition_field(const xml_node* field, uagraph_definition& def) {
  static constexpr const char* fn = "parse_definition";
  uagraph_field f;
  if (parse_localizedtext(field, "DisplayName", f.DisplayName) < 0) {
    diag_error_at(4012, VOS_HERE, fn, field, "Parsing DisplayName failed.");
    return UA_EBAD;
  }
  if (parse_localizedtext(field, "Description", f.Description) < 0) {
    diag_error_at(4012, VOS_HERE, fn, field, "Parsing Description element failed.");
    return UA_EBAD;
  }
  const xml_node* name = field->find_attribute("Name");
  if (name == nullptr) {
    diag_error_at(4012, VOS_HERE, fn, field, "'Name' attribute is missing");
    return UA_EBAD;
  }
  std::string_view name_text;
  if (kept_text_of(name, name_text) != 0) name_text = name->value();
  f.Name.assign(name_text);
  if (const xml_node* sym = field->find_attribute("SymbolicName")) {
    parse_symbolicname(sym, f.SymbolicName);  // only reported
  }

  int ret = 0;
  if (field->find_attribute("Value") != nullptr) {
    if (def.kind != UAGRAPH_DEFINITION_OPTIONSET) def.kind = UAGRAPH_DEFINITION_ENUMERATION;
    ret = attr_int32(field, "Value", f.Value, 4012, "util_strtoint32 conversion failed");
    if (ret < 0) return ret;
    def.fields.push_back(std::move(f));
    return 0;
  }

  ret = resolve_nodeid(field, "DataType", f.DataType);
  if (ret == 1) {
    f.DataType = ua_nodeid(0, 24);
  } else if (ret < 0) {
    diag_error_at(4012, VOS_HERE, fn, field, "Error in parsing 'DataType' attribute.");
    return ret;
  }
  ret = parse_array_info(field, f.ArrayInfo, 4012, fn);
  if (ret < 0) {
    diag_error_at(4012, VOS_HERE, fn, field, "parse_array_info failed");
    return ret;
  }
  ret = attr_uint32(field, "MaxStringLength", f.MaxStringLength, 4012,
                    "xml_strtouint32 conversion failed");
  if (ret < 0) return ret;

  const char* problem = nullptr;
  f.IsOptional = attr_bool(field, "IsOptional", false);
  if (f.IsOptional) {
    switch (def.kind) {
      case UAGRAPH_DEFINITION_STRUCTURE:
        def.kind = UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS;
        break;
      case UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS:
        break;
      case UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES:
        problem = "IsOptional and AllowSubTypes is not possible together in the same struct.";
        break;
      default:
        problem = "IsOptional makes no sense for Union and OptionSet";
        break;
    }
  }
  f.AllowSubTypes = attr_bool(field, "AllowSubTypes", false);
  if (problem == nullptr && f.AllowSubTypes) {
    switch (def.kind) {
      case UAGRAPH_DEFINITION_STRUCTURE:
        def.kind = UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES;
        break;
      case UAGRAPH_DEFINITION_UNION:
        def.kind = UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES;
        break;
      case UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES:
      case UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES:
        break;
      case UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS:
        problem = "IsOptional and AllowSubTypes is not possible together in the same struct.";
        break;
      case UAGRAPH_DEFINITION_ENUMERATION:
        problem = "AllowSubTypes not possible with Enums.";
        break;
      default:
        problem = "AllowSubTypes not possible with OptionSets.";
        break;
    }
  }
  if (problem != nullptr) {
    diag_error_at(4012, VOS_HERE, fn, field, "%s", problem);
    return UA_EBAD;
  }
  def.fields.push_back(std::move(f));
  return 0;
}

int xmlloader::parse_definition(const xml_node* element, uagraph_definition& out) {
  if (element == nullptr) return 1;
  out.kind = UAGRAPH_DEFINITION_STRUCTURE;
  if (const xml_node* name = element->find_attribute("Name")) parse_qname(name, out.Name);
  if (const xml_node* sym = element->find_attribute("SymbolicName")) {
    parse_symbolicname(sym, out.SymbolicName);  // only reported
  }
  if (attr_bool(element, "IsUnion", false)) out.kind = UAGRAPH_DEFINITION_UNION;
  if (attr_bool(element, "IsOptionSet", false)) out.kind = UAGRAPH_DEFINITION_OPTIONSET;
  for (const xml_node* field = element->find_child("Field"); field != nullptr;
       field = field->find_next_sibling("Field")) {
    const int ret = parse_definition_field(field, out);
    if (ret < 0) return ret;
  }
  diag_debug_at(VOS_HERE, "parse_definition", element, "%s: %s->Type = %i\n", "parse_definition",
                out.Name.name.c_str(), static_cast<int>(out.kind));
  return 0;
}

}  // namespace vos
