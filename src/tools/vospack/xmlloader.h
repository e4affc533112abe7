// The NodeSet loader: reads one NodeSet file into the graph, entering its namespaces in the
// namespace table and checking its model declaration against the models already loaded.
//
// A file is read in two passes over the children of <UANodeSet>: the node pass creates the
// nodes (and reads the aliases), the reference pass adds their references. After each file
// the DataType nodes are completed (inherited definition kinds, default encodings, base
// types). Files must come in dependency order: a model must be loaded before any model that
// requires it.
//
// The attribute parsers return 0 on success, 1 when an optional item is absent (callers
// treat it as success) and a negative status after reporting the problem, with its number,
// at the offending attribute or element.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "tools/vospack/xmlvalueparser.h"
#include "uabase/types.h"
#include "util/md5.h"
#include "util/string_index.h"
#include "util/xml.h"

namespace vos {

// A file may hold at most 199 aliases: the 200th is refused.
inline constexpr uint32_t XMLLOADER_MAX_ALIASES = 200;
// The default locale is kept to this many characters.
inline constexpr std::size_t XMLLOADER_MAX_LOCALE = 9;

// The model declaration of the file being read.
struct xmlloader_model {
  std::optional<std::string> ModelUri;
  std::optional<std::string> Version;
  std::optional<std::string> PublicationDate;
  std::vector<std::string> uris;  // the namespace URIs the file lists, in order
};

class xmlloader {
 public:
  xmlloader(uagraph& graph, nstable& namespaces);
  xmlloader(const xmlloader&) = delete;
  xmlloader& operator=(const xmlloader&) = delete;

  // Settings. The default locale for texts without a Locale: "auto" adopts the first locale
  // met. At most 9 characters are kept.
  void set_default_locale(std::string_view locale);
  const std::string& default_locale() const { return default_locale_; }
  // The value parser (its ByteString limit is a setting of the loader).
  xmlvalueparser& values() { return values_; }
  const xmlvalueparser& values() const { return values_; }

  // Loads one file; 0, or a negative status (the nodes loaded so far stay in the graph).
  // After a successful load the file's bytes are fed to `digest` when one is given, from
  // the text already in memory, so that the file is read once.
  int load_nodeset(const char* path, Md5* digest = nullptr);
  // The same for a document in memory, read under the file name `name`; `text` must stay
  // alive during the call.
  int load_nodeset_buffer(std::string_view text, const char* name);

  // The pieces of a load.
  int load_namespaces(const xml_node* root, ua_datetime last_modified);
  int load_aliases(const xml_node* aliases);
  int load_node(const xml_node* element, uint32_t nodeclass);
  int load_node_refs(const xml_node* element);
  int load_ref(const xml_node* reference, ua_nodeid& target, ua_nodeid& reftype, bool& is_forward);

  // The index of the alias of the current file with this name, or -1.
  int alias_find(std::string_view name) const;
  const xmlloader_model& model() const { return model_; }
  // The index of the alias named "Placeholder" of the current file, or -1.
  int placeholder_alias() const { return placeholder_alias_; }

  // Attribute parsers. `node` is an attribute or an element whose text is read.
  int parse_nodeid(const xml_node* node, ua_nodeid& out);
  // The attribute of that name (or the element's own text for an empty name), through the
  // aliases of the current file first.
  int resolve_nodeid(const xml_node* element, std::string_view attribute, ua_nodeid& out);
  // The same for an attribute or element already found; 1 when it is null.
  int resolve_nodeid(const xml_node* node, ua_nodeid& out);
  int parse_qname(const xml_node* node, ua_qualifiedname& out);
  // The localized text from the children of `element` named `name`.
  int parse_localizedtext(const xml_node* element, std::string_view name, ua_localizedtext& out);
  // The same from the first such child and its later siblings of its name; 1 when it is null.
  int parse_localizedtext(const xml_node* first, ua_localizedtext& out);
  int parse_symbolicname(const xml_node* attribute, ua_string& out);
  int parse_array_info(const xml_node* element, uagraph_arrayinfo& out, int error_number,
                       const char* operation);
  // The same from the ValueRank and ArrayDimensions attributes (each may be null).
  int parse_array_info(const xml_node* value_rank, const xml_node* dimensions,
                       uagraph_arrayinfo& out, int error_number, const char* operation);
  int parse_rolepermissions(const xml_node* element, std::vector<uagraph_rolepermission>& out);
  int parse_definition(const xml_node* element, uagraph_definition& out);

 private:
  struct node_parts;
  int load_document(xml_doc& doc);
  int load_node_attributes(const xml_node* element, const node_parts& parts, uagraph_node& node);
  int load_class_attributes(const xml_node* element, const node_parts& parts, uagraph_node& node);
  // The reference pass for a node element whose node is known.
  int load_node_refs(const xml_node* element, uagraph_node& node);
  int parse_definition_field(const xml_node* field, uagraph_definition& def);
  void complete_datatypes();
  void reset_file_state();

  // Texts: decoded when they hold '&', else the slice itself. A decoded text stays valid
  // until the next call.
  int text_of(const xml_node* node, std::string_view& out);
  // The same for a text that the model keeps: checked for UTF-8 as well.
  int kept_text_of(const xml_node* node, std::string_view& out);
  // Number attributes with their defaults, by name or as found (null: absent). Return 0,
  // 1 (absent) or negative after the report.
  int attr_uint8(const xml_node* element, std::string_view name, uint8_t& out, int number);
  int attr_uint8(const xml_node* attribute, uint8_t& out, int number);
  int attr_uint16(const xml_node* attribute, uint16_t& out, int number, const char* message);
  int attr_uint32(const xml_node* attribute, uint32_t& out, int number, const char* message);
  int attr_int32(const xml_node* attribute, int32_t& out, int number, const char* message);
  static bool attr_bool(const xml_node* attribute, bool fallback);
  int attr_uint16(const xml_node* element, std::string_view name, uint16_t& out, int number,
                  const char* message);
  int attr_uint32(const xml_node* element, std::string_view name, uint32_t& out, int number,
                  const char* message);
  int attr_int32(const xml_node* element, std::string_view name, int32_t& out, int number,
                 const char* message);
  bool attr_bool(const xml_node* element, std::string_view name, bool fallback) const;
  bool remap(uint32_t file_index, uint16_t& run_index) const;

  uagraph& graph_;
  nstable& namespaces_;
  xmlvalueparser values_;
  // One document for every file: its node memory is reused.
  xml_doc doc_;
  std::string default_locale_ = "auto";

  // Per file.
  xmlloader_model model_;
  std::vector<std::pair<std::string_view, ua_nodeid>> aliases_;
  string_index alias_index_;
  int placeholder_alias_ = -1;
  std::vector<uint32_t> xml_to_run_;  // file namespace index -> run index (UINT32_MAX: none)
  bool ignore_version_check_ = false;
  std::string decode_buf_;  // the last decoded text
  std::string text_buf_;    // the last text joined from pieces

  // Per file: the nodes of the node pass in document order, for the reference pass.
  std::vector<uint32_t> loaded_;
  // Across files: the DataType nodes, for the completion after each file.
  std::vector<uint32_t> datatypes_;
};

}  // namespace vos
