// The value parser: turns the <Value> element of a Variable or VariableType node into a
// ua_variant. Understands scalars and ListOf arrays of the common built-in types and four
// extension objects of namespace 0 (Argument, Range, EUInformation, EnumValueType).
//
// Every reader has the shape (element, child name or empty for the element itself, out
// value) and returns 1 when the element is absent (the value is cleared), 0 on success and
// a negative status on failure. Values that are too large or of an extension type that is
// not understood are dropped: get_variant then gives 0 with an empty variant, so that the
// node is kept without a value.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/vospack/utf8_watch.h"
#include "uabase/types.h"
#include "util/xml.h"

namespace vos {

class nstable;

// The largest ByteString value read from a model file, and the default limit.
inline constexpr unsigned long XMLVALUEPARSER_BYTESTRING_LIMIT_MAX = 4194304;

class xmlvalueparser {
 public:
  // `namespaces` maps the namespace indices of the file being read to the run's indices;
  // without a table the indices are kept as written.
  explicit xmlvalueparser(const nstable* namespaces = nullptr) : namespaces_(namespaces) {}

  void set_namespaces(const nstable* namespaces) { namespaces_ = namespaces; }
  // A limit above the maximum is ignored (the previous one stays).
  void set_bytestring_limit(unsigned long limit) {
    if (limit <= XMLVALUEPARSER_BYTESTRING_LIMIT_MAX) bytestring_limit_ = limit;
  }
  unsigned long bytestring_limit() const { return bytestring_limit_; }
  // Checks the strings of values for UTF-8; the loader resets it for every file and checks
  // its own texts with it too.
  utf8_watch& text_watch() { return text_watch_; }

  int get_variant(const xml_node* element, std::string_view child, ua_variant& out);

  int get_boolean(const xml_node* element, std::string_view child, bool& out);
  int get_string(const xml_node* element, std::string_view child, ua_string& out);
  int get_datetime(const xml_node* element, std::string_view child, ua_datetime& out);
  int get_guid(const xml_node* element, std::string_view child, ua_guid& out);
  int get_bytestring(const xml_node* element, std::string_view child, ua_bytestring& out);
  int get_nodeid(const xml_node* element, std::string_view child, ua_nodeid& out);
  int get_qualifiedname(const xml_node* element, std::string_view child, ua_qualifiedname& out);
  int get_localizedtext(const xml_node* element, std::string_view child, ua_localizedtext& out);
  int get_extensionobject(const xml_node* element, std::string_view child, ua_extensionobject& out);
  int get_int32(const xml_node* element, std::string_view child, int32_t& out);
  int get_int64(const xml_node* element, std::string_view child, int64_t& out);
  int get_double(const xml_node* element, std::string_view child, double& out);

  // Reads one element of a built-in type code (as listed by get_variant) into the value
  // object at `out` (of the type that holds that code).
  int read_element(const xml_node* element, uint8_t code, void* out);

 private:
  // The run's index of a namespace index of the file; false when the file did not declare it.
  bool remap(uint32_t file_index, uint16_t& run_index) const;
  int read_array_dims(const xml_node* element, ua_array<uint32_t>& out);

  const nstable* namespaces_;
  unsigned long bytestring_limit_ = XMLVALUEPARSER_BYTESTRING_LIMIT_MAX;
  utf8_watch text_watch_;
};

}  // namespace vos
