#include "tools/vosdump/json_dump.h"

#include <array>
#include <cinttypes>
#include <ctime>
#include <string>
#include <string_view>

#include "tools/vospack/uagraph.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "util/base64.h"
#include "util/json.h"

namespace vos {

namespace {

constexpr std::array<const char*, UA_FILE_TOTAL_COUNT> kTotalKeys = {
    "DataType", "ReferenceType", "VariableType", "ObjectType", "Variable", "Object",    "Method",
    "View",     "references",    "numeric_ids",  "string_ids", "guid_ids", "opaque_ids"};

constexpr std::array<const char*, UA_VT_MAX + 1> kTypeNames = {
    "Null",          "Boolean",       "SByte",           "Byte",           "Int16",
    "UInt16",        "Int32",         "UInt32",          "Int64",          "UInt64",
    "Float",         "Double",        "String",          "DateTime",       "Guid",
    "ByteString",    "XmlElement",    "NodeId",          "ExpandedNodeId", "StatusCode",
    "QualifiedName", "LocalizedText", "ExtensionObject", "DataValue",      "Variant",
    "DiagnosticInfo"};

const char* class_key(uint32_t nodeclass) {
  const uint32_t t = ua_file_total_of_class(nodeclass);
  return t < UA_FILE_TOTAL_COUNT ? kTotalKeys[t] : "?";
}

// The members of one JSON object, written in order with ", " between them.
class object_writer {
 public:
  explicit object_writer(std::string& out) : out_(out) { out_ += '{'; }
  ~object_writer() { out_ += '}'; }
  object_writer(const object_writer&) = delete;
  object_writer& operator=(const object_writer&) = delete;

  // Writes the key; the caller appends the value to the returned text.
  std::string& key(std::string_view name) {
    if (!first_) out_ += ", ";
    first_ = false;
    json_append_string(out_, name);
    out_ += ": ";
    return out_;
  }
  void string(std::string_view name, std::string_view value) {
    json_append_string(key(name), value);
  }
  void number(std::string_view name, int64_t value) { key(name) += std::to_string(value); }
  void boolean(std::string_view name, bool value) { key(name) += value ? "true" : "false"; }

 private:
  std::string& out_;
  bool first_ = true;
};

void append_nodeid(std::string& out, const ua_nodeid& id) {
  json_append_string(out, ua_nodeid_to_text(id));
}

void append_base64(std::string& out, std::string_view bytes) {
  out += '"';
  base64_encode_append(out, bytes.data(), bytes.size());
  out += '"';
}

// Values as the file holds them.
const json_value_writer kStored;

template <class T>
void append_number_list(std::string& out, const T& values) {
  out += '[';
  bool first = true;
  for (const auto v : values) {
    if (!first) out += ", ";
    first = false;
    out += std::to_string(v);
  }
  out += ']';
}

void append_extension(std::string& out, const ua_file_extension& e) {
  object_writer o(out);
  o.number("uri", e.uri_index);
  o.number("id", e.id);
  append_base64(o.key("data"), e.data.view());
}

void append_extensions(std::string& out, const std::vector<ua_file_extension>& list) {
  out += '[';
  bool first = true;
  for (const ua_file_extension& e : list) {
    if (!first) out += ", ";
    first = false;
    append_extension(out, e);
  }
  out += ']';
}

void append_counts(std::string& out, const ua_file_totals& counts) {
  object_writer o(out);
  for (std::size_t i = 0; i < counts.size(); ++i) o.number(kTotalKeys[i], counts[i]);
}

void append_namespace(std::string& out, const ua_file_namespace& ns) {
  object_writer o(out);
  o.number("index", ns.index);
  o.string("uri", ns.uri);
  if (ns.version) {
    o.string("version", *ns.version);
  } else {
    o.key("version") += "null";
  }
  json_append_datetime(o.key("publication_date"), ns.publication_date);
  append_counts(o.key("counts"), ns.counts);
  kStored.role_permissions(o.key("role_permissions"), ns.role_permissions);
  o.number("access_restrictions", ns.access_restrictions);
  append_extensions(o.key("extensions"), ns.extensions);
}

void append_definition(std::string& out, const ua_file_contents& f,
                       const ua_file_read_definition& def) {
  object_writer o(out);
  const uint8_t kind = def.kind & UA_FILE_DEFINITION_KIND_MASK;
  o.number("kind", kind);
  if ((def.kind & UA_FILE_DEFINITION_NAME) != 0) o.string("name", f.string(def.name));
  if (ua_file_definition_is_structure(kind)) {
    append_nodeid(o.key("default_encoding"), def.default_encoding);
    append_nodeid(o.key("base_type"), def.base_type);
    std::string& list = o.key("fields");
    list += '[';
    bool first = true;
    for (const ua_file_read_structure_field& sf : def.fields) {
      if (!first) list += ", ";
      first = false;
      object_writer field(list);
      field.string("name", f.string(sf.name));
      field.number("flags", sf.flags);
      if ((sf.flags & UA_FILE_SFIELD_TEXT1) != 0) field.string("symbolic_name", f.string(sf.text1));
      if ((sf.flags & UA_FILE_SFIELD_TEXT2) != 0) field.string("description", f.string(sf.text2));
      append_nodeid(field.key("datatype"), sf.datatype);
      field.number("value_rank", sf.value_rank);
      append_number_list(field.key("array_dimensions"), sf.dims);
      if ((sf.flags & UA_FILE_SFIELD_MAXLENGTH) != 0)
        field.number("max_string_length", sf.max_string_length);
      field.boolean("is_optional", (sf.flags & UA_FILE_SFIELD_OPTIONAL) != 0);
      field.boolean("allow_subtypes", (sf.flags & UA_FILE_SFIELD_SUBTYPES) != 0);
    }
    list += ']';
  } else if (ua_file_definition_is_enum(kind)) {
    std::string& list = o.key("fields");
    list += '[';
    bool first = true;
    for (const ua_file_enum_field& ef : def.enum_fields) {
      if (!first) list += ", ";
      first = false;
      object_writer field(list);
      field.string("name", f.string(ef.name));
      field.number("flags", ef.flags);
      if ((ef.flags & UA_FILE_EFIELD_SYMBOLICNAME) != 0)
        field.string("symbolic_name", f.string(ef.symbolic_name));
      field.number("value", ef.value);
      field.string("display_name", f.string(ef.text1));
      if ((ef.flags & UA_FILE_EFIELD_TEXT2) != 0) field.string("description", f.string(ef.text2));
    }
    list += ']';
  }
}

// Variable and VariableType: the attributes behind the second flags byte.
void append_variable_attributes(object_writer& o, const ua_file_read_node& n) {
  if ((n.flags & UA_FILE_NODE_FLAGS2) != 0) o.number("flags2", n.flags2);
  if ((n.flags & UA_FILE_VAR_VALUE) != 0) kStored.value(o.key("value"), n.value);
  if ((n.flags & UA_FILE_VAR_DATATYPE) != 0) append_nodeid(o.key("datatype"), n.datatype);
  if ((n.flags & UA_FILE_VAR_VALUERANK) != 0) o.number("value_rank", n.value_rank);
  if ((n.flags2 & UA_FILE_VAR2_ARRAYDIMENSIONS) != 0)
    append_number_list(o.key("array_dimensions"), n.array_dimensions);
  if (n.nodeclass == UA_NODECLASS_VARIABLE) {
    if ((n.flags2 & UA_FILE_VAR2_ACCESSLEVEL) != 0) o.number("access_level", n.access_level);
    if ((n.flags2 & UA_FILE_VAR2_MINSAMPLING) != 0)
      o.number("minimum_sampling_interval", n.minimum_sampling_interval);
    o.boolean("historizing", (n.flags2 & UA_FILE_VAR2_HISTORIZING) != 0);
  } else {
    o.boolean("is_abstract", (n.flags2 & UA_FILE_VARTYPE2_ABSTRACT) != 0);
  }
}

void append_node(std::string& out, const ua_file_contents& f, const ua_file_read_node& n) {
  object_writer o(out);
  o.string("class", class_key(n.nodeclass));
  append_nodeid(o.key("nodeid"), n.nodeid);
  {
    object_writer bn(o.key("browse_name"));
    bn.number("ns", n.browse_ns);
    bn.string("name", f.string(n.browse_name));
  }
  o.number("flags", n.flags);
  if ((n.flags & UA_FILE_NODE_DISPLAYNAME) != 0) o.string("display_name", f.string(n.display_name));
  if ((n.flags & UA_FILE_NODE_DESCRIPTION) != 0) o.string("description", f.string(n.description));
  if ((n.flags & UA_FILE_NODE_WRITEMASK) != 0) o.number("write_mask", n.write_mask);
  o.number("perm_flags", n.perm_flags);
  if ((n.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0)
    o.number("access_restrictions", n.access_restrictions);
  if ((n.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0)
    kStored.role_permissions(o.key("role_permissions"), n.role_permissions);
  if ((n.flags & UA_FILE_NODE_EXTENSIONS) != 0)
    append_extensions(o.key("extensions"), n.extensions);
  switch (n.nodeclass) {
    case UA_NODECLASS_OBJECT:
    case UA_NODECLASS_VIEW:
      if ((n.flags & UA_FILE_OBJECT_EVENTNOTIFIER) != 0)
        o.number("event_notifier", n.event_notifier);
      break;
    case UA_NODECLASS_OBJECTTYPE:
      o.boolean("is_abstract", (n.flags & UA_FILE_OBJECTTYPE_ABSTRACT) != 0);
      break;
    case UA_NODECLASS_METHOD:
      o.boolean("executable", (n.flags & UA_FILE_METHOD_EXECUTABLE) != 0);
      if ((n.flags & UA_FILE_METHOD_DECLARATION) != 0)
        append_nodeid(o.key("method_declaration"), n.method_declaration);
      break;
    case UA_NODECLASS_REFERENCETYPE:
      o.boolean("is_abstract", (n.flags & UA_FILE_REFTYPE_ABSTRACT) != 0);
      o.boolean("symmetric", (n.flags & UA_FILE_REFTYPE_SYMMETRIC) != 0);
      if ((n.flags & UA_FILE_REFTYPE_INVERSENAME) != 0)
        o.string("inverse_name", f.string(n.inverse_name));
      break;
    case UA_NODECLASS_DATATYPE:
      o.boolean("is_abstract", (n.flags & UA_FILE_DATATYPE_ABSTRACT) != 0);
      if ((n.flags & UA_FILE_DATATYPE_DEFINITION) != 0)
        append_definition(o.key("definition"), f, n.definition);
      break;
    case UA_NODECLASS_VARIABLE:
    case UA_NODECLASS_VARIABLETYPE:
      append_variable_attributes(o, n);
      break;
    default:
      break;
  }
}

// Writes `text` and empties it, so that the document never sits in memory whole.
void flush_to(std::string& text, std::FILE* out) {
  std::fwrite(text.data(), 1, text.size(), out);
  text.clear();
}

// A member of the top-level object holding an array with one element per line.
template <class List, class Append>
void write_list(std::string& text, std::FILE* out, std::string_view key, const List& list,
                Append append, std::string_view indent = "  ") {
  text.append(indent);
  json_append_string(text, key);
  text += ": [";
  bool first = true;
  for (const auto& item : list) {
    text += first ? "\n" : ",\n";
    first = false;
    text.append(indent).append("  ");
    append(text, item);
    if (text.size() > 65536) flush_to(text, out);
  }
  if (!first) text.append("\n").append(indent);
  text += "]";
}

}  // namespace

void json_value_writer::scalar(std::string& out, uint8_t type, const void* p) const {
  switch (type) {
    case UA_VT_BOOLEAN:
      out += *static_cast<const bool*>(p) ? "true" : "false";
      return;
    case UA_VT_SBYTE:
      out += std::to_string(*static_cast<const int8_t*>(p));
      return;
    case UA_VT_BYTE:
      out += std::to_string(*static_cast<const uint8_t*>(p));
      return;
    case UA_VT_INT16:
      out += std::to_string(*static_cast<const int16_t*>(p));
      return;
    case UA_VT_UINT16:
      out += std::to_string(*static_cast<const uint16_t*>(p));
      return;
    case UA_VT_INT32:
      out += std::to_string(*static_cast<const int32_t*>(p));
      return;
    case UA_VT_UINT32:
      out += std::to_string(*static_cast<const uint32_t*>(p));
      return;
    // 64-bit integers are strings, as many JSON readers hold numbers as doubles.
    case UA_VT_INT64:
      json_append_string(out, std::to_string(*static_cast<const int64_t*>(p)));
      return;
    case UA_VT_UINT64:
      json_append_string(out, std::to_string(*static_cast<const uint64_t*>(p)));
      return;
    case UA_VT_FLOAT:
      json_append_float(out, *static_cast<const float*>(p));
      return;
    case UA_VT_DOUBLE:
      json_append_double(out, *static_cast<const double*>(p));
      return;
    case UA_VT_STRING:
      json_append_string(out, static_cast<const ua_string*>(p)->view());
      return;
    case UA_VT_DATETIME:
      json_append_datetime(out, static_cast<const ua_datetime*>(p)->ticks);
      return;
    case UA_VT_GUID:
      json_append_string(out, ua_guid_to_text(*static_cast<const ua_guid*>(p)));
      return;
    case UA_VT_BYTESTRING:
      append_base64(out, static_cast<const ua_bytestring*>(p)->view());
      return;
    case UA_VT_XMLELEMENT:
      json_append_string(out, static_cast<const ua_bytestring*>(p)->view());
      return;
    case UA_VT_NODEID:
      nodeid(out, *static_cast<const ua_nodeid*>(p));
      return;
    case UA_VT_EXPANDEDNODEID: {
      const auto& e = *static_cast<const ua_expandednodeid*>(p);
      object_writer o(out);
      nodeid(o.key("nodeid"), e.node_id);
      o.string("namespace_uri", e.namespace_uri.view());
      o.number("server_index", e.server_index);
      return;
    }
    case UA_VT_STATUSCODE:
      out += std::to_string(static_cast<const ua_statuscode*>(p)->code);
      return;
    case UA_VT_QUALIFIEDNAME:
      qualified_name(out, *static_cast<const ua_qualifiedname*>(p));
      return;
    case UA_VT_LOCALIZEDTEXT: {
      const auto& t = *static_cast<const ua_localizedtext*>(p);
      object_writer o(out);
      o.string("locale", t.locale.view());
      o.string("text", t.text.view());
      return;
    }
    case UA_VT_EXTENSIONOBJECT:
      extension_object(out, *static_cast<const ua_extensionobject*>(p));
      return;
    default:
      // The reader makes no other types.
      out += "null";
  }
}

void json_value_writer::value(std::string& out, const ua_variant& v) const {
  if (v.is_empty()) {
    out += "null";
    return;
  }
  object_writer o(out);
  const uint8_t type = v.type();
  o.string("type", type <= UA_VT_MAX ? kTypeNames[type] : "?");
  if (v.is_scalar()) {
    scalar(o.key("value"), type, v.scalar_data());
    return;
  }
  std::string& a = o.key("array");
  a += '[';
  const auto* data = static_cast<const uint8_t*>(v.array_data());
  const std::size_t size = ua_builtin_size(type);
  for (int32_t i = 0; i < v.length(); ++i) {
    if (i != 0) a += ", ";
    scalar(a, type, data + static_cast<std::size_t>(i) * size);
  }
  a += ']';
  if (v.is_matrix()) {
    std::string& d = o.key("dimensions");
    d += '[';
    bool first = true;
    for (const int32_t dim : v.dimensions()) {
      if (!first) d += ", ";
      first = false;
      d += std::to_string(dim);
    }
    d += ']';
  }
}

void json_value_writer::role_permissions(std::string& out,
                                         const std::vector<uagraph_rolepermission>& list) const {
  out += '[';
  bool first = true;
  for (const uagraph_rolepermission& rp : list) {
    if (!first) out += ", ";
    first = false;
    object_writer o(out);
    nodeid(o.key("role"), rp.role);
    o.number("permissions", rp.Permissions);
  }
  out += ']';
}

void json_value_writer::nodeid(std::string& out, const ua_nodeid& id) const {
  append_nodeid(out, id);
}

void json_value_writer::qualified_name(std::string& out, const ua_qualifiedname& name) const {
  object_writer o(out);
  o.number("ns", name.ns);
  o.string("name", name.name.view());
}

void json_value_writer::extension_object(std::string& out,
                                         const ua_extensionobject& object) const {
  object_writer o(out);
  nodeid(o.key("encoding"), object.encoding_id());
  const ua_bytestring* body = object.encoded();
  append_base64(o.key("body"), body != nullptr ? body->view() : std::string_view());
}

// ISO 8601 in UTC; a value before 1601 has no calendar form and is written as its ticks.
void json_append_datetime(std::string& out, int64_t ticks) {
  char buf[40];
  if (ua_datetime_to_string(ua_datetime{ticks}, buf, sizeof(buf)) > 0) {
    json_append_string(out, buf);
  } else {
    json_append_string(out, std::to_string(ticks));
  }
}

void json_append_value(std::string& out, const ua_variant& value) {
  kStored.value(out, value);
}

void json_append_definition(std::string& out, const ua_file_contents& file,
                            const ua_file_read_definition& definition) {
  append_definition(out, file, definition);
}

void dump_json(const char* path, const ua_file_contents& f, std::FILE* out) {
  std::string text = "{\n  ";
  json_append_string(text, "file");
  text += ": ";
  json_append_string(text, path);
  text += ",\n  \"format\": {\"major\": " + std::to_string(f.major) +
          ", \"minor\": " + std::to_string(f.minor) + "},\n";
  text += "  \"creation_time\": " + std::to_string(f.creation_time) + ",\n  \"created\": ";
  const auto created = static_cast<std::time_t>(f.creation_time);
  char when[64];
  const std::tm* tm = std::gmtime(&created);
  if (tm != nullptr && std::strftime(when, sizeof(when), "%FT%TZ", tm) > 0) {
    json_append_string(text, when);
  } else {
    text += "null";
  }
  text += ",\n  \"checksum\": " + std::to_string(f.checksum) + ",\n";
  write_list(text, out, "extension_uris", f.extension_uris,
             [](std::string& t, const std::string& uri) { json_append_string(t, uri); });
  text += ",\n";
  write_list(text, out, "file_extensions", f.file_extensions, append_extension);
  text += ",\n";
  write_list(text, out, "models", f.models, append_namespace);
  text += ",\n";
  write_list(text, out, "dependencies", f.dependencies, append_namespace);
  text += ",\n  \"totals\": ";
  append_counts(text, f.totals);
  text += ",\n  \"string_tables\": [";
  for (std::size_t t = 0; t < f.string_tables.size(); ++t) {
    text += t == 0 ? "\n    {\n      \"name\": " : ",\n    {\n      \"name\": ";
    json_append_string(text, f.string_tables[t].name);
    text += ",\n";
    write_list(
        text, out, "strings", f.string_tables[t].strings,
        [](std::string& s, const std::string& entry) { json_append_string(s, entry); }, "      ");
    text += "\n    }";
  }
  text += f.string_tables.empty() ? "],\n" : "\n  ],\n";
  write_list(text, out, "nodes", f.nodes,
             [&f](std::string& t, const ua_file_read_node& n) { append_node(t, f, n); });
  text += ",\n";
  write_list(text, out, "references", f.references, [](std::string& t, const ua_file_reference& r) {
    object_writer o(t);
    append_nodeid(o.key("source"), r.source);
    append_nodeid(o.key("target"), r.target);
    append_nodeid(o.key("type"), r.type);
  });
  text += "\n}\n";
  flush_to(text, out);
}

}  // namespace vos
