#include "tools/vosdump/html_dump.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/vosdump/json_dump.h"
#include "tools/vospack/uagraph.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "util/base64.h"
#include "util/json.h"

namespace vos {

namespace {

// The viewer page with its style and script inlined, and the marker that the data replaces
// (generated from src/tools/vosdump/html at build time).
#include "html_template.inc"

constexpr std::string_view kDataMarker = "@VOS_DATA@";
constexpr std::string_view kDetailsMarker = "@VOS_DETAILS@";

// The attributes beyond class, names and data type are in blocks of this many nodes, which
// the page reads when it first shows one of their nodes.
constexpr std::size_t kDetailChunk = 4096;

std::string_view page_template() {
  return {reinterpret_cast<const char*>(kHtmlTemplate), sizeof(kHtmlTemplate)};
}

// Writes text to the page inside a <script type="application/json"> block. The JSON text
// keeps '<', '>' and '&' only inside its strings, where they are written as \u003c, \u003e
// and \u0026, so that no model text can end the block or open markup; U+2028 and U+2029
// become escapes as well. The buffer is written out at element boundaries only, so that no
// UTF-8 sequence is ever split.
class data_sink {
 public:
  explicit data_sink(std::FILE* out) : out_(out) { text_.reserve(kFlushAt + 4096); }
  std::string& text() { return text_; }
  void maybe_flush() {
    if (text_.size() >= kFlushAt) flush();
  }
  void flush() {
    const char* p = text_.data();
    const char* const end = p + text_.size();
    const char* run = p;
    for (; p != end; ++p) {
      const char* escape = nullptr;
      std::size_t skip = 1;
      switch (*p) {
        case '<':
          escape = "\\u003c";
          break;
        case '>':
          escape = "\\u003e";
          break;
        case '&':
          escape = "\\u0026";
          break;
        case '\xe2':
          if (end - p >= 3 && p[1] == '\x80' && (p[2] == '\xa8' || p[2] == '\xa9')) {
            escape = p[2] == '\xa8' ? "\\u2028" : "\\u2029";
            skip = 3;
          }
          break;
        default:
          break;
      }
      if (escape == nullptr) continue;
      std::fwrite(run, 1, static_cast<std::size_t>(p - run), out_);
      std::fputs(escape, out_);
      p += skip - 1;
      run = p + 1;
    }
    std::fwrite(run, 1, static_cast<std::size_t>(end - run), out_);
    text_.clear();
  }

 private:
  static constexpr std::size_t kFlushAt = 1 << 16;
  std::FILE* out_;
  std::string text_;
};

// Every NodeId the page names gets one index into its "ids" list: the file's nodes first, in
// file order, so that node i has id i, then the NodeIds that only references and attributes
// name (nodes of other namespaces, data types, roles).
class id_table {
 public:
  explicit id_table(const ua_file_contents& f) {
    index_.reserve(f.nodes.size() + f.nodes.size() / 4);
    ids_.reserve(f.nodes.size());
    // A NodeId that two records share (a damaged file) keeps a place for each, so that node
    // i still has id i; references name the first.
    for (const ua_file_read_node& n : f.nodes) {
      const auto [it, inserted] = index_.try_emplace(n.nodeid, static_cast<uint32_t>(ids_.size()));
      ids_.push_back(&it->first);
    }
  }
  uint32_t add(const ua_nodeid& id) {
    const auto [it, inserted] = index_.try_emplace(id, static_cast<uint32_t>(ids_.size()));
    if (inserted) ids_.push_back(&it->first);
    return it->second;
  }
  const std::vector<const ua_nodeid*>& ids() const { return ids_; }

 private:
  std::unordered_map<ua_nodeid, uint32_t> index_;
  std::vector<const ua_nodeid*> ids_;
};

void append_base64(std::string& out, std::string_view bytes) {
  out += '"';
  base64_encode_append(out, bytes.data(), bytes.size());
  out += '"';
}

void append_extensions(std::string& out, const std::vector<ua_file_extension>& list) {
  out += '[';
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i != 0) out += ',';
    out += '[' + std::to_string(list[i].uri_index) + ',' + std::to_string(list[i].id) + ',';
    append_base64(out, list[i].data.view());
    out += ']';
  }
  out += ']';
}

void append_role_permissions(std::string& out, id_table& ids,
                             const std::vector<uagraph_rolepermission>& list) {
  out += '[';
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i != 0) out += ',';
    out += '[' + std::to_string(ids.add(list[i].role)) + ',' + std::to_string(list[i].Permissions) +
           ']';
  }
  out += ']';
}

std::string date_text(int64_t ticks) {
  char buf[40];
  return ua_datetime_to_string(ua_datetime{ticks}, buf, sizeof(buf)) > 0 ? buf
                                                                         : std::to_string(ticks);
}

void append_namespace(std::string& out, id_table& ids, const ua_file_namespace& ns, bool model) {
  out += '[' + std::to_string(ns.index) + ',';
  json_append_string(out, ns.uri);
  out += ',';
  if (ns.version) {
    json_append_string(out, *ns.version);
  } else {
    out += "null";
  }
  out += ',';
  json_append_string(out, date_text(ns.publication_date));
  out += model ? ",1,[" : ",0,[";
  for (std::size_t i = 0; i < ns.counts.size(); ++i) {
    if (i != 0) out += ',';
    out += std::to_string(ns.counts[i]);
  }
  out += "]," + std::to_string(ns.access_restrictions) + ',';
  append_role_permissions(out, ids, ns.role_permissions);
  out += ',';
  append_extensions(out, ns.extensions);
  out += ']';
}

// The attributes beyond class, names and data type, as one object with short keys (0 when
// there are none); the record's optional attributes appear only when it carries them.
class extra_writer {
 public:
  explicit extra_writer(std::string& out) : out_(out) {}
  std::string& key(const char* name) {
    out_ += first_ ? "{\"" : ",\"";
    first_ = false;
    out_ += name;
    out_ += "\":";
    return out_;
  }
  void number(const char* name, int64_t value) { key(name) += std::to_string(value); }
  void flag(const char* name, bool on) {
    if (on) key(name) += '1';
  }
  void close() { out_ += first_ ? '0' : '}'; }

 private:
  std::string& out_;
  bool first_ = true;
};

bool has_datatype(const ua_file_read_node& n) {
  return (n.nodeclass == UA_NODECLASS_VARIABLE || n.nodeclass == UA_NODECLASS_VARIABLETYPE) &&
         (n.flags & UA_FILE_VAR_DATATYPE) != 0;
}

// What the tree and the search need: class, browse name, display name, data type.
void append_core(std::string& out, id_table& ids, const ua_file_read_node& n) {
  out += '[' + std::to_string(n.nodeclass) + ',' + std::to_string(n.browse_ns) + ',' +
         std::to_string(n.browse_name) + ',' +
         std::to_string((n.flags & UA_FILE_NODE_DISPLAYNAME) != 0 ? n.display_name : 0);
  if (has_datatype(n)) out += ',' + std::to_string(ids.add(n.datatype));
  out += ']';
}

void append_details(std::string& out, id_table& ids, const ua_file_contents& f,
                    const ua_file_read_node& n) {
  extra_writer x(out);
  if ((n.flags & UA_FILE_NODE_DESCRIPTION) != 0 && n.description != 0) x.number("d", n.description);
  if ((n.flags & UA_FILE_NODE_WRITEMASK) != 0) x.number("wm", n.write_mask);
  if ((n.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0) x.number("ar", n.access_restrictions);
  if ((n.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0)
    append_role_permissions(x.key("rp"), ids, n.role_permissions);
  if ((n.flags & UA_FILE_NODE_EXTENSIONS) != 0) append_extensions(x.key("ext"), n.extensions);
  switch (n.nodeclass) {
    case UA_NODECLASS_OBJECT:
    case UA_NODECLASS_VIEW:
      if ((n.flags & UA_FILE_OBJECT_EVENTNOTIFIER) != 0) x.number("en", n.event_notifier);
      break;
    case UA_NODECLASS_OBJECTTYPE:
      x.flag("abs", (n.flags & UA_FILE_OBJECTTYPE_ABSTRACT) != 0);
      break;
    case UA_NODECLASS_METHOD:
      x.flag("exe", (n.flags & UA_FILE_METHOD_EXECUTABLE) != 0);
      if ((n.flags & UA_FILE_METHOD_DECLARATION) != 0)
        x.number("md", ids.add(n.method_declaration));
      break;
    case UA_NODECLASS_REFERENCETYPE:
      x.flag("abs", (n.flags & UA_FILE_REFTYPE_ABSTRACT) != 0);
      x.flag("sym", (n.flags & UA_FILE_REFTYPE_SYMMETRIC) != 0);
      if ((n.flags & UA_FILE_REFTYPE_INVERSENAME) != 0) x.number("inv", n.inverse_name);
      break;
    case UA_NODECLASS_DATATYPE:
      x.flag("abs", (n.flags & UA_FILE_DATATYPE_ABSTRACT) != 0);
      if ((n.flags & UA_FILE_DATATYPE_DEFINITION) != 0)
        json_append_definition(x.key("def"), f, n.definition);
      break;
    case UA_NODECLASS_VARIABLE:
    case UA_NODECLASS_VARIABLETYPE:
      if ((n.flags & UA_FILE_VAR_VALUE) != 0) json_append_value(x.key("v"), n.value);
      if ((n.flags & UA_FILE_VAR_VALUERANK) != 0) x.number("vr", n.value_rank);
      if ((n.flags2 & UA_FILE_VAR2_ARRAYDIMENSIONS) != 0) {
        std::string& d = x.key("ad");
        d += '[';
        for (std::size_t i = 0; i < n.array_dimensions.size(); ++i) {
          if (i != 0) d += ',';
          d += std::to_string(n.array_dimensions[i]);
        }
        d += ']';
      }
      if (n.nodeclass == UA_NODECLASS_VARIABLE) {
        // The access level a record leaves out is 1 (CurrentRead).
        x.number("al", (n.flags2 & UA_FILE_VAR2_ACCESSLEVEL) != 0 ? n.access_level : 1);
        if ((n.flags2 & UA_FILE_VAR2_MINSAMPLING) != 0)
          x.number("msi", n.minimum_sampling_interval);
        x.flag("hist", (n.flags2 & UA_FILE_VAR2_HISTORIZING) != 0);
      } else {
        x.flag("abs", (n.flags2 & UA_FILE_VARTYPE2_ABSTRACT) != 0);
      }
      break;
    default:
      break;
  }
  x.close();
}

// Every NodeId the details name gets its index before the list of NodeIds is written.
void add_detail_ids(id_table& ids, const ua_file_read_node& n) {
  for (const uagraph_rolepermission& rp : n.role_permissions) ids.add(rp.role);
  if (n.nodeclass == UA_NODECLASS_METHOD && (n.flags & UA_FILE_METHOD_DECLARATION) != 0)
    ids.add(n.method_declaration);
}

// The data document: see README, "vosdump --html", for its members.
void write_data(const char* path, const ua_file_contents& f, id_table& ids, std::FILE* out) {
  for (const ua_file_read_node& n : f.nodes) add_detail_ids(ids, n);
  data_sink sink(out);
  std::string& t = sink.text();
  t += "{\"file\":";
  json_append_string(t, path);
  t += ",\"format\":\"" + std::to_string(f.major) + '.' + std::to_string(f.minor) +
       "\",\"created\":";
  const auto created = static_cast<std::time_t>(f.creation_time);
  char when[64];
  const std::tm* tm = std::gmtime(&created);
  if (tm != nullptr && std::strftime(when, sizeof(when), "%FT%TZ", tm) > 0) {
    json_append_string(t, when);
  } else {
    t += "null";
  }
  t += ",\"checksum\":" + std::to_string(f.checksum) +
       ",\"detail_chunk\":" + std::to_string(kDetailChunk) + ",\"extension_uris\":[";
  for (std::size_t i = 0; i < f.extension_uris.size(); ++i) {
    if (i != 0) t += ',';
    json_append_string(t, f.extension_uris[i]);
  }
  t += "],\"file_extensions\":";
  append_extensions(t, f.file_extensions);
  t += ",\"namespaces\":[";
  bool first = true;
  for (const ua_file_namespace& ns : f.models) {
    if (!first) t += ',';
    first = false;
    append_namespace(t, ids, ns, true);
  }
  for (const ua_file_namespace& ns : f.dependencies) {
    if (!first) t += ',';
    first = false;
    append_namespace(t, ids, ns, false);
  }
  t += "],\n\"strings\":[";
  if (!f.string_tables.empty()) {
    const auto& strings = f.string_tables[0].strings;
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (i != 0) t += ',';
      json_append_string(t, strings[i]);
      sink.maybe_flush();
    }
  }
  t += "],\n\"nodes\":[";
  for (std::size_t i = 0; i < f.nodes.size(); ++i) {
    if (i != 0) t += ",\n";
    append_core(t, ids, f.nodes[i]);
    sink.maybe_flush();
  }
  t += "],\n\"refs\":[";
  for (std::size_t i = 0; i < f.references.size(); ++i) {
    const ua_file_reference& r = f.references[i];
    if (i != 0) t += ',';
    t += std::to_string(ids.add(r.source)) + ',' + std::to_string(ids.add(r.target)) + ',' +
         std::to_string(ids.add(r.type));
    if (i % 16 == 15) {
      t += '\n';
      sink.maybe_flush();
    }
  }
  // Last, as references and attributes add the NodeIds that are not nodes of the file.
  t += "],\n\"ids\":[";
  for (std::size_t i = 0; i < ids.ids().size(); ++i) {
    if (i != 0) t += ',';
    json_append_string(t, ua_nodeid_to_text(*ids.ids()[i]));
    sink.maybe_flush();
  }
  t += "]}";
  sink.flush();
}

// One data block per chunk of nodes, each an array with the details of its nodes.
void write_details(const ua_file_contents& f, id_table& ids, std::FILE* out) {
  data_sink sink(out);
  std::string& t = sink.text();
  for (std::size_t i = 0; i < f.nodes.size(); ++i) {
    if (i % kDetailChunk == 0) {
      if (i != 0) {
        sink.flush();
        std::fputs("]</script>\n", out);
      }
      std::fprintf(out, "<script type=\"application/json\" id=\"vos-detail-%zu\">[",
                   i / kDetailChunk);
    } else {
      t += ",\n";
    }
    append_details(t, ids, f, f.nodes[i]);
    sink.maybe_flush();
  }
  sink.flush();
  if (!f.nodes.empty()) std::fputs("]</script>\n", out);
}

}  // namespace

void dump_html(const char* path, const ua_file_contents& file, std::FILE* out) {
  // The build checks that the template holds each marker once, in this order.
  std::string_view page = page_template();
  const auto write_to = [&page, out](std::string_view marker) {
    const std::size_t at = std::min(page.find(marker), page.size());
    std::fwrite(page.data(), 1, at, out);
    page.remove_prefix(std::min(at + marker.size(), page.size()));
  };
  id_table ids(file);
  write_to(kDataMarker);
  write_data(path, file, ids, out);
  write_to(kDetailsMarker);
  write_details(file, ids, out);
  std::fwrite(page.data(), 1, page.size(), out);
}

}  // namespace vos
