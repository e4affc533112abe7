#include "tools/vospack/xmlexport.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "diag/diag.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "uabase/dict.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "uabase/type_table.h"
#include "uabase/types.h"
#include "util/base64.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr std::string_view kXsiUri = "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::string_view kTypesUri = "http://opcfoundation.org/UA/2008/02/Types.xsd";
constexpr std::string_view kNodeSetUri = "http://opcfoundation.org/UA/2011/03/UANodeSet.xsd";

// Output is handed to the stream in blocks of about this size.
constexpr std::size_t kFlushBytes = std::size_t{1} << 20;

// Namespace-0 ids the writer needs.
constexpr uint32_t kHasEncoding = 38;

// Element names of the built-in types by type code ("" for Null).
// clang-format off
constexpr std::string_view kBuiltinNames[] = {
    "", "Boolean", "SByte", "Byte", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64",
    "Float", "Double", "String", "DateTime", "Guid", "ByteString", "XmlElement", "NodeId",
    "ExpandedNodeId", "StatusCode", "QualifiedName", "LocalizedText", "ExtensionObject",
    "DataValue", "Variant", "DiagnosticInfo"};
// clang-format on
static_assert(std::size(kBuiltinNames) == UA_VT_MAX + 1);

// XML encoding ids of the structures that model files carry most, by data type id; other
// types are looked up in the graph (their "Default XML" encoding node).
struct xml_encoding_entry {
  uint32_t type_id;
  uint32_t xml_encoding_id;
};
constexpr xml_encoding_entry kXmlEncodings[] = {
    {296, 297},    // Argument
    {884, 885},    // Range
    {887, 888},    // EUInformation
    {7594, 7616},  // EnumValueType
};

// The block-buffered document writer: element and attribute primitives, escaping, and the
// nesting depth that drives the indentation.
class xml_out {
 public:
  xml_out(std::FILE* out, bool indent) : out_(out), indent_(indent) {
    buf_.reserve(kFlushBytes + 4096);
  }

  // Hands the buffer to the stream; false when the stream reports an error.
  bool flush() {
    if (!buf_.empty()) {
      errno = 0;
      if (std::fwrite(buf_.data(), 1, buf_.size(), out_) != buf_.size() && !failed_) {
        failed_ = true;
        error_ = errno;
      }
      buf_.clear();
    }
    return !failed_;
  }
  // The system's error number of the failed write.
  int error() const { return error_; }

  void raw(std::string_view s) { buf_.append(s); }
  void ch(char c) { buf_.push_back(c); }

  // Text escaped for element content, or for a double-quoted attribute value.
  void text(std::string_view s, bool attribute = false);

  template <class T>
  void number(T value) {
    char tmp[32];
    const auto r = std::to_chars(tmp, tmp + sizeof tmp, value);
    buf_.append(tmp, r.ptr);
  }
  // "%f", as the C library writes it.
  void floating(double value) {
    char tmp[512];
    const int n = std::snprintf(tmp, sizeof tmp, "%f", value);
    if (n > 0) buf_.append(tmp, static_cast<std::size_t>(n) < sizeof tmp ? n : sizeof tmp - 1);
  }
  void nodeid(const ua_nodeid& id, bool attribute = false);
  // BrowseName form: "<ns>:<name>", the namespace left out for 0 unless the name has a ':'.
  // Only written as an attribute value.
  void qualifiedname(const ua_qualifiedname& qn) {
    if (qn.ns != 0 || qn.name.view().find(':') != std::string_view::npos) {
      number(qn.ns);
      ch(':');
    }
    text(qn.name.view(), true);
  }

  // "<name" (indented); the depth goes up.
  void open(std::string_view name) {
    line_start();
    ch('<');
    raw(name);
    ++depth_;
  }
  // Inside an open start tag.
  void attr(std::string_view name, std::string_view value) {
    attr_begin(name);
    text(value, true);
    ch('"');
  }
  void attr_bool(std::string_view name, bool value) {
    attr_begin(name);
    raw(value ? "true\"" : "false\"");
  }
  template <class T>
  void attr_number(std::string_view name, T value) {
    attr_begin(name);
    number(value);
    ch('"');
  }
  void attr_float(std::string_view name, double value) {
    attr_begin(name);
    floating(value);
    ch('"');
  }
  void attr_nodeid(std::string_view name, const ua_nodeid& id) {
    attr_begin(name);
    nodeid(id, true);
    ch('"');
  }
  void attr_begin(std::string_view name) {
    ch(' ');
    raw(name);
    raw("=\"");
  }
  // ">\n" after the attributes.
  void close_start() { raw(">\n"); }
  // "/>\n": the element opened last has no content.
  void close_empty() {
    raw("/>\n");
    --depth_;
  }
  // "<name>\n": an element with children.
  void begin(std::string_view name) {
    open(name);
    close_start();
  }
  // "</name>\n" at the depth of its start tag.
  void end(std::string_view name) {
    --depth_;
    line_start();
    raw("</");
    raw(name);
    raw(">\n");
    maybe_flush();
  }
  // "<name" of an element written on one line: attributes, '>', content, simple_end.
  void inline_open(std::string_view name) {
    line_start();
    ch('<');
    raw(name);
  }
  // "<name>" ... "</name>\n" on one line; the caller writes the content between.
  void simple_begin(std::string_view name) {
    line_start();
    ch('<');
    raw(name);
    ch('>');
  }
  void simple_end(std::string_view name) {
    raw("</");
    raw(name);
    raw(">\n");
  }
  void simple(std::string_view name, std::string_view content_text) {
    simple_begin(name);
    text(content_text);
    simple_end(name);
  }

 private:
  void line_start() {
    if (indent_) buf_.append(static_cast<std::size_t>(depth_) * 2, ' ');
  }
  void maybe_flush() {
    if (buf_.size() >= kFlushBytes) flush();
  }

  std::FILE* out_;
  std::string buf_;
  int depth_ = 0;
  bool indent_;
  bool failed_ = false;
  int error_ = 0;
};

void xml_out::text(std::string_view s, bool attribute) {
  // A text of blanks only would read back as empty: such blanks are written as references.
  bool blanks_only = !s.empty();
  for (char c : s) {
    if (c != ' ') {
      blanks_only = false;
      break;
    }
  }
  if (blanks_only) {
    for (std::size_t i = 0; i < s.size(); ++i) raw("&#32;");
    return;
  }
  // Only what XML requires is escaped, so that texts keep their length where they can.
  // Attribute values also keep their tabs and line ends through references; in element
  // content those stay literal, except the carriage return, which readers turn into a
  // line feed.
  std::size_t start = 0;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    const char* rep = nullptr;
    switch (c) {
      case '&':
        rep = "&amp;";
        break;
      case '<':
        rep = "&lt;";
        break;
      case '>':
        // Only the end of a CDATA section is not allowed.
        if (i >= 2 && s[i - 1] == ']' && s[i - 2] == ']') rep = "&gt;";
        break;
      case '"':
        if (attribute) rep = "&quot;";
        break;
      case '\t':
        if (attribute) rep = "&#9;";
        break;
      case '\n':
        if (attribute) rep = "&#10;";
        break;
      case '\r':
        rep = "&#13;";
        break;
      default:
        // XML has no way to carry the other control characters.
        if (c < 0x20) rep = "\xEF\xBF\xBD";
        break;
    }
    if (rep != nullptr) {
      buf_.append(s.data() + start, i - start);
      buf_.append(rep);
      start = i + 1;
    }
  }
  buf_.append(s.data() + start, s.size() - start);
}

void xml_out::nodeid(const ua_nodeid& id, bool attribute) {
  if (id.is_numeric()) {
    if (id.ns() != 0) {
      raw("ns=");
      number(id.ns());
      ch(';');
    }
    raw("i=");
    number(id.numeric_id());
    return;
  }
  text(ua_nodeid_to_text(id), attribute);
}

// The writer of one document.
class exporter {
 public:
  exporter(const uagraph& graph, const nstable& namespaces, std::FILE* out, bool indent)
      : graph_(graph),
        namespaces_(namespaces),
        w_(out, indent),
        selected_only_(!namespaces.index_selections().empty()) {}

  // 0, or the first failure (the document then stops there).
  int write();
  bool flush() { return w_.flush(); }
  int error() const { return w_.error(); }

 private:
  void write_namespace_uris();
  void write_models();
  void write_model_attributes(const nstable_entry& e);
  int write_node(const uagraph_node& node);
  void write_common_attributes_tail(const uagraph_node& node);
  void write_localizedtext_element(std::string_view name, const ua_localizedtext& lt);
  void write_array_dimensions_attr(std::span<const uint32_t> dims);
  void write_definition(const uagraph_definition& def);
  void write_references(const uagraph_node& node);
  void write_extensions(const uagraph_node_extra& extra);

  int write_variant(const ua_variant& v);
  int write_builtin(std::string_view element, uint8_t code, const void* value);
  int write_extensionobject(std::string_view element, const ua_extensionobject& eo);
  int write_structure(std::string_view element, const ua_type_table& table,
                      const ua_dict_structure& st, const void* obj, int depth);
  int write_field(const ua_type_table& table, const ua_dict_field& field, const void* obj,
                  int depth);
  bool xml_encoding_of(const ua_nodeid& type_id, ua_nodeid& out) const;

  // Whether the node is part of the document.
  bool written(const uagraph_node& node) const {
    return !selected_only_ || namespaces_.is_selected(node.NodeId.ns());
  }

  const uagraph& graph_;
  const nstable& namespaces_;
  xml_out w_;
  // With namespaces selected for export only their nodes are written.
  bool selected_only_;
};

int exporter::write() {
  w_.raw("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n");
  w_.open("UANodeSet");
  w_.attr("xmlns:xsi", kXsiUri);
  w_.attr("xmlns:uax", kTypesUri);
  w_.attr("xmlns", kNodeSetUri);
  w_.close_start();
  write_namespace_uris();
  write_models();
  for (const uagraph_node* node : graph_.nodes()) {
    if (!written(*node)) continue;
    const int ret = write_node(*node);
    if (ret != 0) return ret;
  }
  w_.end("UANodeSet");
  return 0;
}

void exporter::write_namespace_uris() {
  const auto entries = namespaces_.entries();
  if (entries.size() <= 1) return;
  // Every entry from index 1 on, in table order: a URI's position in the list is then its
  // index in the run, and node ids are written as they are.
  w_.begin("NamespaceUris");
  for (std::size_t i = 1; i < entries.size(); ++i) w_.simple("Uri", entries[i].uri);
  w_.end("NamespaceUris");
}

void exporter::write_model_attributes(const nstable_entry& e) {
  w_.attr("ModelUri", e.uri);
  if (e.version) w_.attr("Version", *e.version);
  if (e.publication_date) w_.attr("PublicationDate", *e.publication_date);
}

void exporter::write_models() {
  const auto entries = namespaces_.entries();
  w_.begin("Models");
  // Namespaces that came with a model declaration, in table order; with a selection only
  // the selected ones.
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const nstable_entry& e = entries[i];
    if (!e.version && !e.publication_date && e.required.empty()) continue;
    if (selected_only_ && !namespaces_.is_selected(e.sdk_index)) continue;
    w_.open("Model");
    write_model_attributes(e);
    if (e.required.empty()) {
      w_.close_empty();
      continue;
    }
    w_.close_start();
    for (std::size_t pos : e.required) {
      if (pos >= entries.size()) continue;
      w_.open("RequiredModel");
      write_model_attributes(entries[pos]);
      w_.close_empty();
    }
    w_.end("Model");
  }
  w_.end("Models");
}

void exporter::write_array_dimensions_attr(std::span<const uint32_t> dims) {
  if (dims.empty()) return;
  w_.attr_begin("ArrayDimensions");
  for (std::size_t i = 0; i < dims.size(); ++i) {
    if (i != 0) w_.ch(',');
    w_.number(dims[i]);
  }
  w_.ch('"');
}

void exporter::write_localizedtext_element(std::string_view name, const ua_localizedtext& lt) {
  if (lt.locale.empty()) {
    w_.simple(name, lt.text.view());
    return;
  }
  w_.inline_open(name);
  w_.attr("Locale", lt.locale.view());
  w_.ch('>');
  w_.text(lt.text.view());
  w_.simple_end(name);
}

void exporter::write_common_attributes_tail(const uagraph_node& node) {
  const uagraph_node_extra& extra = node.extra();
  if (!extra.SymbolicName.empty()) w_.attr("SymbolicName", extra.SymbolicName.view());
  if (node.WriteMask != 0) w_.attr_number("WriteMask", node.WriteMask);
  if (node.has_access_restrictions())
    w_.attr_number("AccessRestrictions", node.get_access_restrictions());
  if (node.HasNoPermissions) w_.attr_bool("HasNoPermissions", true);
}

int exporter::write_node(const uagraph_node& node) {
  const char* element = nullptr;
  switch (node.nodeclass()) {
    case UA_NODECLASS_OBJECT:
      element = "UAObject";
      break;
    case UA_NODECLASS_OBJECTTYPE:
      element = "UAObjectType";
      break;
    case UA_NODECLASS_VARIABLE:
      element = "UAVariable";
      break;
    case UA_NODECLASS_VARIABLETYPE:
      element = "UAVariableType";
      break;
    case UA_NODECLASS_METHOD:
      element = "UAMethod";
      break;
    case UA_NODECLASS_DATATYPE:
      element = "UADataType";
      break;
    case UA_NODECLASS_REFERENCETYPE:
      element = "UAReferenceType";
      break;
    case UA_NODECLASS_VIEW:
      element = "UAView";
      break;
    default:
      diag_error(VOS_HERE, "xmlexport_write_node", "node %s has the unknown node class %u\n",
                 ua_nodeid_printable(node.NodeId).c_str(), node.nodeclass());
      return UA_EBADINVALIDARGUMENT;
  }
  const uagraph_node_extra& extra = node.extra();
  w_.open(element);
  w_.attr_nodeid("NodeId", node.NodeId);
  w_.attr_begin("BrowseName");
  w_.qualifiedname(node.BrowseName);
  w_.ch('"');
  if (!extra.ParentNodeId.is_null()) w_.attr_nodeid("ParentNodeId", extra.ParentNodeId);

  const ua_variant* value = nullptr;
  const UAReferenceType* reftype = nullptr;
  const UADataType* datatype = nullptr;
  if (const auto* o = node.as<UAObject>()) {
    if (o->EventNotifier != 0) w_.attr_number("EventNotifier", o->EventNotifier);
  } else if (const auto* ot = node.as<UAObjectType>()) {
    if (ot->IsAbstract) w_.attr_bool("IsAbstract", true);
  } else if (const auto* v = node.as<UAVariable>()) {
    w_.attr_nodeid("DataType", v->DataType);
    w_.attr_number("ValueRank", v->ArrayInfo.ValueRank);
    w_.attr_number("AccessLevel", v->AccessLevel);
    if (!std::isnan(v->MinimumSamplingInterval))
      w_.attr_float("MinimumSamplingInterval", v->MinimumSamplingInterval);
    if (v->Historizing) w_.attr_bool("Historizing", true);
    write_array_dimensions_attr(v->ArrayInfo.ArrayDimensions());
    value = &v->Value;
  } else if (const auto* vt = node.as<UAVariableType>()) {
    if (vt->IsAbstract) w_.attr_bool("IsAbstract", true);
    w_.attr_nodeid("DataType", vt->DataType);
    if (vt->ArrayInfo.ValueRank != -1) w_.attr_number("ValueRank", vt->ArrayInfo.ValueRank);
    write_array_dimensions_attr(vt->ArrayInfo.ArrayDimensions());
    value = &vt->Value;
  } else if (const auto* m = node.as<UAMethod>()) {
    w_.attr_bool("Executable", m->Executable);
    if (!m->MethodDeclarationId.is_null())
      w_.attr_nodeid("MethodDeclarationId", m->MethodDeclarationId);
  } else if (const auto* rt = node.as<UAReferenceType>()) {
    if (rt->IsAbstract) w_.attr_bool("IsAbstract", true);
    if (rt->Symmetric) w_.attr_bool("Symmetric", true);
    reftype = rt;
  } else if (const auto* dt = node.as<UADataType>()) {
    if (dt->IsAbstract) w_.attr_bool("IsAbstract", true);
    datatype = dt;
  } else if (const auto* view = node.as<UAView>()) {
    if (view->EventNotifier != 0) w_.attr_number("EventNotifier", view->EventNotifier);
    if (view->ContainsNoLoops) w_.attr_bool("ContainsNoLoops", true);
  }
  write_common_attributes_tail(node);
  w_.close_start();

  write_localizedtext_element("DisplayName", node.DisplayName);
  if (!extra.Description.locale.is_null() || !extra.Description.text.is_null())
    write_localizedtext_element("Description", extra.Description);
  for (const ua_string& category : extra.categories) w_.simple("Category", category.view());
  if (!extra.Documentation.is_null()) w_.simple("Documentation", extra.Documentation.view());
  if (reftype != nullptr && reftype->HasInverseName)
    write_localizedtext_element("InverseName", reftype->InverseName);
  if (datatype != nullptr && !datatype->Definition.fields.empty())
    write_definition(datatype->Definition);
  if (value != nullptr && !value->is_empty()) {
    w_.begin("Value");
    const int ret = write_variant(*value);
    if (ret != 0) {
      diag_error(VOS_HERE, "xmlexport_write_node", "the value of node %s cannot be written\n",
                 ua_nodeid_printable(node.NodeId).c_str());
      return ret;
    }
    w_.end("Value");
  }
  write_references(node);
  if (!extra.RolePermissions.empty()) {
    w_.begin("RolePermissions");
    for (const uagraph_rolepermission& rp : extra.RolePermissions) {
      w_.inline_open("RolePermission");
      w_.attr_number("Permissions", rp.Permissions);
      w_.ch('>');
      w_.nodeid(rp.role);
      w_.simple_end("RolePermission");
    }
    w_.end("RolePermissions");
  }
  write_extensions(extra);
  w_.end(element);
  return 0;
}

void exporter::write_definition(const uagraph_definition& def) {
  const bool values =
      def.kind == UAGRAPH_DEFINITION_ENUMERATION || def.kind == UAGRAPH_DEFINITION_OPTIONSET;
  w_.open("Definition");
  w_.attr_begin("Name");
  w_.qualifiedname(def.Name);
  w_.ch('"');
  if (!def.SymbolicName.empty()) w_.attr("SymbolicName", def.SymbolicName.view());
  if (def.kind == UAGRAPH_DEFINITION_UNION ||
      def.kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES)
    w_.attr_bool("IsUnion", true);
  if (def.kind == UAGRAPH_DEFINITION_OPTIONSET) w_.attr_bool("IsOptionSet", true);
  w_.close_start();
  for (const uagraph_field& f : def.fields) {
    w_.open("Field");
    w_.attr("Name", f.Name.view());
    if (!f.SymbolicName.empty()) w_.attr("SymbolicName", f.SymbolicName.view());
    if (values) {
      w_.attr_number("Value", f.Value);
    } else {
      w_.attr_nodeid("DataType", f.DataType);
      if (f.ArrayInfo.ValueRank != -1) w_.attr_number("ValueRank", f.ArrayInfo.ValueRank);
      write_array_dimensions_attr(f.ArrayInfo.ArrayDimensions());
      if (f.MaxStringLength != 0) w_.attr_number("MaxStringLength", f.MaxStringLength);
      if (f.IsOptional) w_.attr_bool("IsOptional", true);
      if (f.AllowSubTypes) w_.attr_bool("AllowSubTypes", true);
    }
    const bool has_display = !f.DisplayName.locale.is_null() || !f.DisplayName.text.is_null();
    const bool has_description = !f.Description.locale.is_null() || !f.Description.text.is_null();
    if (!has_display && !has_description) {
      w_.close_empty();
      continue;
    }
    w_.close_start();
    if (has_display) write_localizedtext_element("DisplayName", f.DisplayName);
    if (has_description) write_localizedtext_element("Description", f.Description);
    w_.end("Field");
  }
  w_.end("Definition");
}

void exporter::write_references(const uagraph_node& node) {
  // Forward references, and the references from nodes that the document leaves out, which
  // only this end can carry.
  bool any = node.forward_count() != 0;
  if (!any && selected_only_) {
    for (const uagraph_reference& r : graph_.inverse_references(node)) {
      if (!written(graph_.source_of(r))) {
        any = true;
        break;
      }
    }
  }
  if (!any) return;
  w_.begin("References");
  for (const uagraph_reference& r : graph_.forward_references(node)) {
    w_.inline_open("Reference");
    w_.attr_nodeid("ReferenceType", graph_.reftype_of(r).NodeId);
    w_.ch('>');
    w_.nodeid(graph_.target_of(r).NodeId);
    w_.simple_end("Reference");
  }
  if (selected_only_) {
    for (const uagraph_reference& r : graph_.inverse_references(node)) {
      const uagraph_node& source = graph_.source_of(r);
      if (written(source)) continue;
      w_.inline_open("Reference");
      w_.attr_nodeid("ReferenceType", graph_.reftype_of(r).NodeId);
      w_.attr_bool("IsForward", false);
      w_.ch('>');
      w_.nodeid(source.NodeId);
      w_.simple_end("Reference");
    }
  }
  w_.end("References");
}

void exporter::write_extensions(const uagraph_node_extra& extra) {
  if (extra.RTAddress.is_null() && extra.extensions.empty()) return;
  w_.simple_begin("Extensions");
  if (!extra.RTAddress.is_null()) {
    w_.raw("<RTAddress>");
    w_.text(extra.RTAddress.view());
    w_.raw("</RTAddress>");
  }
  // The extensions are markup as the model file had it; written back as they stand.
  for (std::size_t i = 0; i < extra.extensions.size(); ++i) {
    if (i != 0) w_.ch('\n');
    w_.raw(extra.extensions[i].view());
  }
  w_.simple_end("Extensions");
}

// ---- Values --------------------------------------------------------------------------

int exporter::write_variant(const ua_variant& v) {
  const uint8_t code = v.type();
  if (code == UA_VT_NULL || code > UA_VT_MAX) {
    diag_error(VOS_HERE, "xmlexport_write_variant", "unsupported value type %u\n", code);
    return UA_EBADNOTSUPPORTED;
  }
  const std::string type_name(kBuiltinNames[code]);
  const std::string element = "uax:" + type_name;
  if (v.is_scalar()) return write_builtin(element, code, v.scalar_data());

  const std::size_t stride = ua_builtin_size(code);
  const auto* data = static_cast<const unsigned char*>(v.array_data());
  const auto count = static_cast<std::size_t>(v.length() > 0 ? v.length() : 0);
  std::string list;
  if (v.is_matrix()) {
    list = "uax:Matrix";
    w_.begin(list);
    w_.begin("uax:Dimensions");
    for (int32_t d : v.dimensions()) {
      w_.simple_begin("uax:Int32");
      w_.number(d);
      w_.simple_end("uax:Int32");
    }
    w_.end("uax:Dimensions");
    w_.begin("uax:Elements");
  } else {
    list = "uax:ListOf" + type_name;
    w_.begin(list);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const int ret = write_builtin(element, code, data + i * stride);
    if (ret != 0) return ret;
  }
  if (v.is_matrix()) w_.end("uax:Elements");
  w_.end(list);
  return 0;
}

int exporter::write_builtin(std::string_view element, uint8_t code, const void* value) {
  switch (code) {
    case UA_VT_BOOLEAN:
      w_.simple_begin(element);
      w_.raw(*static_cast<const bool*>(value) ? "true" : "false");
      break;
    case UA_VT_SBYTE:
      w_.simple_begin(element);
      w_.number(static_cast<int>(*static_cast<const int8_t*>(value)));
      break;
    case UA_VT_BYTE:
      w_.simple_begin(element);
      w_.number(static_cast<unsigned>(*static_cast<const uint8_t*>(value)));
      break;
    case UA_VT_INT16:
      w_.simple_begin(element);
      w_.number(*static_cast<const int16_t*>(value));
      break;
    case UA_VT_UINT16:
      w_.simple_begin(element);
      w_.number(*static_cast<const uint16_t*>(value));
      break;
    case UA_VT_INT32:
      w_.simple_begin(element);
      w_.number(*static_cast<const int32_t*>(value));
      break;
    case UA_VT_UINT32:
      w_.simple_begin(element);
      w_.number(*static_cast<const uint32_t*>(value));
      break;
    case UA_VT_INT64:
      w_.simple_begin(element);
      w_.number(*static_cast<const int64_t*>(value));
      break;
    case UA_VT_UINT64:
      w_.simple_begin(element);
      w_.number(*static_cast<const uint64_t*>(value));
      break;
    case UA_VT_FLOAT:
      w_.simple_begin(element);
      w_.floating(*static_cast<const float*>(value));
      break;
    case UA_VT_DOUBLE:
      w_.simple_begin(element);
      w_.floating(*static_cast<const double*>(value));
      break;
    case UA_VT_STRING:
      w_.simple_begin(element);
      w_.text(static_cast<const ua_string*>(value)->view());
      break;
    case UA_VT_DATETIME: {
      char tmp[64];
      const int n = ua_datetime_to_string(*static_cast<const ua_datetime*>(value), tmp, sizeof tmp);
      if (n < 0) {
        diag_error(VOS_HERE, "xmlexport_write_value", "DateTime value %lld is out of range\n",
                   static_cast<long long>(static_cast<const ua_datetime*>(value)->ticks));
        return n;
      }
      w_.simple_begin(element);
      w_.raw(std::string_view(tmp, static_cast<std::size_t>(n)));
      break;
    }
    case UA_VT_GUID: {
      char tmp[UA_GUID_TEXT_LENGTH + 1];
      ua_guid_to_string(*static_cast<const ua_guid*>(value), tmp, sizeof tmp);
      w_.begin(element);
      w_.simple("uax:String", tmp);
      w_.end(element);
      return 0;
    }
    case UA_VT_BYTESTRING: {
      const auto* bs = static_cast<const ua_bytestring*>(value);
      w_.simple_begin(element);
      std::string b64;
      base64_encode_append(b64, bs->data(), bs->size());
      w_.raw(b64);
      break;
    }
    case UA_VT_NODEID:
      w_.begin(element);
      w_.simple_begin("uax:Identifier");
      w_.nodeid(*static_cast<const ua_nodeid*>(value));
      w_.simple_end("uax:Identifier");
      w_.end(element);
      return 0;
    case UA_VT_EXPANDEDNODEID: {
      const auto* e = static_cast<const ua_expandednodeid*>(value);
      w_.begin(element);
      w_.simple_begin("uax:Identifier");
      if (e->server_index != 0) {
        w_.raw("svr=");
        w_.number(e->server_index);
        w_.ch(';');
      }
      if (!e->namespace_uri.is_null()) {
        w_.raw("nsu=");
        w_.text(e->namespace_uri.view());
        w_.ch(';');
      }
      w_.nodeid(e->node_id);
      w_.simple_end("uax:Identifier");
      w_.end(element);
      return 0;
    }
    case UA_VT_STATUSCODE:
      w_.begin(element);
      w_.simple_begin("uax:Code");
      w_.number(static_cast<const ua_statuscode*>(value)->code);
      w_.simple_end("uax:Code");
      w_.end(element);
      return 0;
    case UA_VT_QUALIFIEDNAME: {
      const auto* qn = static_cast<const ua_qualifiedname*>(value);
      w_.begin(element);
      w_.simple_begin("uax:NamespaceIndex");
      w_.number(qn->ns);
      w_.simple_end("uax:NamespaceIndex");
      w_.simple("uax:Name", qn->name.view());
      w_.end(element);
      return 0;
    }
    case UA_VT_LOCALIZEDTEXT: {
      const auto* lt = static_cast<const ua_localizedtext*>(value);
      w_.begin(element);
      w_.simple("uax:Locale", lt->locale.view());
      w_.simple("uax:Text", lt->text.view());
      w_.end(element);
      return 0;
    }
    case UA_VT_EXTENSIONOBJECT:
      return write_extensionobject(element, *static_cast<const ua_extensionobject*>(value));
    case UA_VT_VARIANT: {
      const auto* inner = static_cast<const ua_variant*>(value);
      w_.begin(element);
      if (!inner->is_empty()) {
        w_.begin("uax:Value");
        const int ret = write_variant(*inner);
        if (ret != 0) return ret;
        w_.end("uax:Value");
      }
      w_.end(element);
      return 0;
    }
    default:
      diag_error(VOS_HERE, "xmlexport_write_value", "unsupported value type %.*s\n",
                 static_cast<int>(kBuiltinNames[code <= UA_VT_MAX ? code : 0].size()),
                 kBuiltinNames[code <= UA_VT_MAX ? code : 0].data());
      return UA_EBADNOTSUPPORTED;
  }
  w_.simple_end(element);
  return 0;
}

bool exporter::xml_encoding_of(const ua_nodeid& type_id, ua_nodeid& out) const {
  if (type_id.ns() == 0 && type_id.is_numeric()) {
    for (const xml_encoding_entry& e : kXmlEncodings) {
      if (e.type_id == type_id.numeric_id()) {
        out = ua_nodeid(0, e.xml_encoding_id);
        return true;
      }
    }
  }
  const uagraph_node* type = graph_.node_find(type_id);
  if (type == nullptr) return false;
  const ua_nodeid has_encoding(0, kHasEncoding);
  for (const uagraph_reference& r : graph_.forward_references(*type)) {
    if (graph_.reftype_of(r).NodeId != has_encoding) continue;
    const uagraph_node& enc = graph_.target_of(r);
    if (enc.BrowseName.ns == 0 && enc.BrowseName.name.view() == "Default XML") {
      out = enc.NodeId;
      return true;
    }
  }
  return false;
}

int exporter::write_extensionobject(std::string_view element, const ua_extensionobject& eo) {
  const std::string name(element);
  switch (eo.body_kind()) {
    case ua_extensionobject_body::decoded: {
      const ua_dict_structure* st = eo.structure();
      ua_nodeid type_id = eo.type_id();
      if (type_id.is_null() && st != nullptr) type_id = ua_nodeid(0, st->type_id);
      ua_nodeid encoding;
      if (st == nullptr || !xml_encoding_of(type_id, encoding)) {
        diag_error(VOS_HERE, "xmlexport_write_extensionobject",
                   "no XML encoding known for data type %s\n",
                   ua_nodeid_printable(type_id).c_str());
        return UA_EBADNOTSUPPORTED;
      }
      const ua_type_table* table =
          ua_type_tables().table(static_cast<uint16_t>(ua_type_value_table(eo.type_index())));
      if (table == nullptr) table = &ua_type_table_ns0();
      w_.begin(name);
      w_.begin("uax:TypeId");
      w_.simple_begin("uax:Identifier");
      w_.nodeid(encoding);
      w_.simple_end("uax:Identifier");
      w_.end("uax:TypeId");
      w_.begin("uax:Body");
      const int ret = write_structure(std::string("uax:") + st->name, *table, *st, eo.object(), 0);
      if (ret != 0) return ret;
      w_.end("uax:Body");
      w_.end(name);
      return 0;
    }
    case ua_extensionobject_body::binary: {
      const ua_nodeid& id = eo.encoding_id().is_null() ? eo.type_id() : eo.encoding_id();
      w_.begin(name);
      w_.begin("uax:TypeId");
      w_.simple_begin("uax:Identifier");
      w_.nodeid(id);
      w_.simple_end("uax:Identifier");
      w_.end("uax:TypeId");
      w_.begin("uax:Body");
      const int ret = write_builtin("uax:ByteString", UA_VT_BYTESTRING, eo.encoded());
      if (ret != 0) return ret;
      w_.end("uax:Body");
      w_.end(name);
      return 0;
    }
    default:
      diag_error(VOS_HERE, "xmlexport_write_extensionobject",
                 "extension object body of kind %u cannot be written\n",
                 static_cast<unsigned>(eo.body_kind()));
      return UA_EBADNOTSUPPORTED;
  }
}

int exporter::write_structure(std::string_view element, const ua_type_table& table,
                              const ua_dict_structure& st, const void* obj, int depth) {
  if (depth > 10) {
    diag_error(VOS_HERE, "xmlexport_write_structure", "structure %s nests too deep\n", st.name);
    return UA_EBADTOOMANYNESTEDCALLS;
  }
  const std::string name(element);
  w_.begin(name);
  for (uint16_t i = 0; i < st.num_fields; ++i) {
    const int ret = write_field(table, st.fields[i], obj, depth);
    if (ret != 0) return ret;
  }
  w_.end(name);
  return 0;
}

int exporter::write_field(const ua_type_table& table, const ua_dict_field& field, const void* obj,
                          int depth) {
  const ua_type_table& t = (field.flags & UA_DICT_NS0) != 0 ? ua_type_table_ns0() : table;
  const uint32_t idx = ua_type_value_index(field.type);
  const uint8_t impl = field.flags & UA_DICT_IMPL_MASK;
  const uint8_t rank = field.flags & UA_DICT_RANK_MASK & ~UA_DICT_NS0;
  const std::string element = "uax:" + std::string(field.name, field.name_len);
  const void* member = static_cast<const unsigned char*>(obj) + field.offset;

  // The element type: a built-in code, or a structure.
  uint8_t code = UA_VT_NULL;
  const ua_dict_structure* sub = nullptr;
  switch (impl) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_FUNC_FIXED:
      code = idx <= UA_VT_MAX ? static_cast<uint8_t>(idx) : UA_VT_NULL;
      break;
    case UA_DICT_IMPL_ENUM_FIXED:
      code = UA_VT_INT32;
      break;
    case UA_DICT_IMPL_OSET_FIXED:
      if (const ua_dict_inttype* it = t.inttype(idx)) code = it->base_type;
      break;
    case UA_DICT_IMPL_STRUCT:
    case UA_DICT_IMPL_STRUCT_FIXED:
      sub = t.structure(idx);
      break;
    default:
      break;
  }
  if (code == UA_VT_NULL && sub == nullptr) {
    diag_error(VOS_HERE, "xmlexport_write_structure", "field %.*s has an unknown type\n",
               static_cast<int>(field.name_len), field.name);
    return UA_EBADNOTFOUND;
  }

  if (rank == UA_DICT_RANK_SCALAR) {
    return sub != nullptr ? write_structure(element, t, *sub, member, depth + 1)
                          : write_builtin(element, code, member);
  }
  if (rank != UA_DICT_RANK_ARRAY) {
    diag_error(VOS_HERE, "xmlexport_write_structure", "field %.*s is a matrix\n",
               static_cast<int>(field.name_len), field.name);
    return UA_EBADNOTSUPPORTED;
  }
  const ua_value_ops* ops = sub != nullptr ? sub->ops : ua_builtin_ops(code);
  if (ops == nullptr) return UA_EBADNOTFOUND;
  const auto* data = static_cast<const unsigned char*>(ops->array_data(member));
  const std::size_t count = ops->array_size(member);
  const std::string item =
      "uax:" + (sub != nullptr ? std::string(sub->name) : std::string(kBuiltinNames[code]));
  if (count == 0) {
    w_.simple(element, {});
    return 0;
  }
  w_.begin(element);
  for (std::size_t i = 0; i < count; ++i) {
    const void* p = data + i * ops->size;
    const int ret = sub != nullptr ? write_structure(item, t, *sub, p, depth + 1)
                                   : write_builtin(item, code, p);
    if (ret != 0) return ret;
  }
  w_.end(element);
  return 0;
}

void report_write_error(const char* name, int error) {
  diag_error(VOS_HERE, "xmlexport_write", "cannot write '%s': %s\n", name,
             std::strerror(error != 0 ? error : EIO));
}

int finish(exporter& ex, int status, const char* name) {
  if (!ex.flush()) {
    report_write_error(name, ex.error());
    if (status == 0) status = UA_EBAD;
  }
  return status;
}

}  // namespace

int xmlexport_write(const uagraph& graph, const nstable& namespaces, const char* path,
                    const xmlexport_options& options) {
  if (path == nullptr) return UA_EBADINVALIDARGUMENT;
  std::FILE* f = std::fopen(path, "w");
  if (f == nullptr) {
    diag_error(VOS_HERE, "xmlexport_write", "cannot create '%s': %s\n", path, std::strerror(errno));
    return UA_EBAD;
  }
  int status = 0;
  {
    exporter ex(graph, namespaces, f, options.indent);
    status = finish(ex, ex.write(), path);
  }
  errno = 0;
  if (std::fclose(f) != 0 && status == 0) {
    report_write_error(path, errno);
    status = UA_EBAD;
  }
  return status;
}

}  // namespace vos
