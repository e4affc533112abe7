#include "tools/vosdump/diff.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/vosdump/json_dump.h"
#include "tools/vospack/filereader.h"
#include "tools/vospack/uagraph.h"
#include "uabase/encoder.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "util/base64.h"
#include "util/errors.h"
#include "util/hash.h"
#include "util/json.h"

namespace vos {

const char* const kDiffUsage =
    "usage: vosdump --diff [--json] [--summary] [--ignore-build] [--namespace URI] OLD NEW\n";

namespace {

constexpr uint32_t kNone = UINT32_MAX;
constexpr std::string_view kBaseUri = "http://opcfoundation.org/UA/";

// The command line of a comparison.
struct options {
  const char* old_path = nullptr;
  const char* new_path = nullptr;
  bool json = false;
  bool summary = false;
  bool ignore_build = false;
  const char* only_uri = nullptr;
};

// Reads the command line; false for a wrong one.
bool parse_options(int argc, char** argv, options& o) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--diff") continue;
    if (arg == "--json") {
      o.json = true;
    } else if (arg == "--summary") {
      o.summary = true;
    } else if (arg == "--ignore-build") {
      o.ignore_build = true;
    } else if (arg == "--namespace") {
      if (i + 1 >= argc || o.only_uri != nullptr) return false;
      o.only_uri = argv[++i];
    } else if (arg.starts_with("--namespace=")) {
      if (o.only_uri != nullptr) return false;
      o.only_uri = argv[i] + std::strlen("--namespace=");
    } else if (arg.size() > 1 && arg[0] == '-') {
      return false;
    } else if (o.old_path == nullptr) {
      o.old_path = argv[i];
    } else if (o.new_path == nullptr) {
      o.new_path = argv[i];
    } else {
      return false;
    }
  }
  return o.old_path != nullptr && o.new_path != nullptr && *o.old_path != '\0' &&
         *o.new_path != '\0';
}

// ---- NodeId identifiers without their namespace index ----

bool same_identifier(const ua_nodeid& a, const ua_nodeid& b) noexcept {
  if (a.type() != b.type()) return false;
  switch (a.type()) {
    case ua_nodeid_type::numeric:
      return a.numeric_id() == b.numeric_id();
    case ua_nodeid_type::string:
      return a.string_id() == b.string_id();
    case ua_nodeid_type::guid:
      return a.guid_id() == b.guid_id();
    case ua_nodeid_type::opaque:
      return std::ranges::equal(a.opaque_id(), b.opaque_id());
  }
  return false;
}

// Identifier type (numeric, string, guid, opaque), then the identifier.
std::strong_ordering compare_identifier(const ua_nodeid& a, const ua_nodeid& b) noexcept {
  if (a.type() != b.type()) return a.type() <=> b.type();
  switch (a.type()) {
    case ua_nodeid_type::numeric:
      return a.numeric_id() <=> b.numeric_id();
    case ua_nodeid_type::string:
      return a.string_id().compare(b.string_id()) <=> 0;
    case ua_nodeid_type::guid:
      return a.guid_id() <=> b.guid_id();
    case ua_nodeid_type::opaque: {
      const auto x = a.opaque_id();
      const auto y = b.opaque_id();
      return std::lexicographical_compare_three_way(x.begin(), x.end(), y.begin(), y.end());
    }
  }
  return std::strong_ordering::equal;
}

uint64_t hash_identifier(const ua_nodeid& id, uint32_t ns) noexcept {
  uint64_t h = (static_cast<uint64_t>(ns) << 8) | static_cast<uint64_t>(id.type());
  switch (id.type()) {
    case ua_nodeid_type::numeric:
      h ^= static_cast<uint64_t>(id.numeric_id()) << 32;
      break;
    case ua_nodeid_type::string:
      h ^= std::hash<std::string_view>()(id.string_id());
      break;
    case ua_nodeid_type::guid: {
      const ua_guid g = id.guid_id();
      char bytes[16];
      std::memcpy(bytes, &g.data1, 4);
      std::memcpy(bytes + 4, &g.data2, 2);
      std::memcpy(bytes + 6, &g.data3, 2);
      std::memcpy(bytes + 8, g.data4, 8);
      h ^= std::hash<std::string_view>()(std::string_view(bytes, 16));
      break;
    }
    case ua_nodeid_type::opaque: {
      const auto b = id.opaque_id();
      h ^= std::hash<std::string_view>()(
          std::string_view(reinterpret_cast<const char*>(b.data()), b.size()));
      break;
    }
  }
  return mix64(h);
}

// A NodeId as the comparison knows it: the identifier of a record in one of the files and
// the number of its namespace in the shared namespace list.
struct node_key {
  const ua_nodeid* id;
  uint32_t ns;
};

// Gives every NodeId of both files one number (open addressing over the keys), so that
// nodes, references and look-ups work on small integers.
class node_numbers {
 public:
  void reserve(std::size_t n) {
    keys_.reserve(n);
    std::size_t slots = 16;
    while (slots < n * 2) slots *= 2;
    rehash(slots);
  }
  uint32_t size() const noexcept { return static_cast<uint32_t>(keys_.size()); }
  const node_key& key(uint32_t n) const noexcept { return keys_[n]; }

  // The number of the NodeId, kNone when no file has it.
  uint32_t find(const ua_nodeid& id, uint32_t ns) const noexcept {
    if (slots_.empty()) return kNone;
    const auto h = static_cast<uint32_t>(hash_identifier(id, ns));
    for (std::size_t i = h & mask_;; i = (i + 1) & mask_) {
      const uint64_t slot = slots_[i];
      if (slot == kEmpty) return kNone;
      if (matches(slot, h, id, ns)) return static_cast<uint32_t>(slot);
    }
  }
  // The number of the NodeId, a new one the first time; `id` must outlive the numbering.
  uint32_t add(const ua_nodeid& id, uint32_t ns) {
    if ((keys_.size() + 1) * 2 > slots_.size())
      rehash(std::max<std::size_t>(16, slots_.size() * 2));
    const auto h = static_cast<uint32_t>(hash_identifier(id, ns));
    std::size_t i = h & mask_;
    for (;; i = (i + 1) & mask_) {
      const uint64_t slot = slots_[i];
      if (slot == kEmpty) break;
      if (matches(slot, h, id, ns)) return static_cast<uint32_t>(slot);
    }
    const auto n = static_cast<uint32_t>(keys_.size());
    keys_.push_back({&id, ns});
    slots_[i] = (static_cast<uint64_t>(h) << 32) | n;
    return n;
  }

 private:
  // A slot holds the key's hash in the high half and its number in the low half, so that a
  // probe reads the key only when the hashes agree.
  static constexpr uint64_t kEmpty = UINT64_MAX;

  bool matches(uint64_t slot, uint32_t h, const ua_nodeid& id, uint32_t ns) const noexcept {
    if (static_cast<uint32_t>(slot >> 32) != h) return false;
    const node_key& k = keys_[static_cast<uint32_t>(slot)];
    return k.ns == ns && same_identifier(*k.id, id);
  }
  void rehash(std::size_t slots) {
    if (slots <= slots_.size()) return;
    std::vector<uint64_t> old(slots, kEmpty);
    old.swap(slots_);
    mask_ = slots - 1;
    for (const uint64_t slot : old) {
      if (slot == kEmpty) continue;
      std::size_t i = static_cast<uint32_t>(slot >> 32) & mask_;
      while (slots_[i] != kEmpty) i = (i + 1) & mask_;
      slots_[i] = slot;
    }
  }

  std::vector<node_key> keys_;
  std::vector<uint64_t> slots_;
  std::size_t mask_ = 0;
};

// One reference by node numbers.
struct ref3 {
  uint32_t source;
  uint32_t type;
  uint32_t target;
  friend auto operator<=>(const ref3&, const ref3&) = default;
};

// One file: its contents and its look-ups into the shared numbering.
struct side {
  const char* path = nullptr;
  ua_file_contents file;
  int status = 0;
  bool is_new = false;
  // Namespace index -> entry of the shared list, filled as indexes are met.
  mutable std::vector<uint32_t> ns_of_index = std::vector<uint32_t>(65536, kNone);
  std::vector<uint32_t> record_of;  // node number -> index in file.nodes, kNone
  std::vector<ref3> refs;           // sorted, without duplicates
  std::vector<uint32_t> parent_of;  // node number -> parent (see find_parents), kNone

  bool has(uint32_t n) const noexcept { return n < record_of.size() && record_of[n] != kNone; }
  const ua_file_read_node& node(uint32_t n) const { return file.nodes[record_of[n]]; }
};

// A namespace of either file, matched by URI; an index that no record names (the server's
// namespace 1) is an entry of its own, matched by index.
struct ns_entry {
  std::string uri;
  bool named = true;
  int old_index = -1;
  int new_index = -1;
  const ua_file_namespace* old_rec = nullptr;
  const ua_file_namespace* new_rec = nullptr;
  bool old_model = false;
  bool new_model = false;
  // The index NodeIds of this namespace are shown with: the new file's, else the old one's.
  int shown_index() const noexcept { return new_index >= 0 ? new_index : old_index; }
};

// One attribute, header field or record field that differs, both values in JSON form.
struct attr_change {
  std::string name;
  std::string old_value;  // JSON text; null when the attribute is absent
  std::string new_value;
};

// A reference added or removed, seen from the node it is listed under.
struct ref_change {
  uint32_t type;
  uint32_t other;  // the target, or the source of an inverse reference
  bool inverse;
};

// What is reported for one node.
struct node_change {
  uint32_t node;
  char status;  // '+' added, '-' removed, '~' changed
  std::vector<attr_change> attrs;
  std::vector<ref_change> refs_added;
  std::vector<ref_change> refs_removed;
};

// The numbers of the summary.
struct counts {
  std::size_t file_changes = 0;
  std::size_t ns_added = 0, ns_removed = 0, ns_changed = 0;
  std::size_t nodes_added = 0, nodes_removed = 0, nodes_changed = 0;
  std::size_t refs_added = 0, refs_removed = 0;
  bool any() const noexcept {
    return file_changes + ns_added + ns_removed + ns_changed + nodes_added + nodes_removed +
               nodes_changed + refs_added + refs_removed !=
           0;
  }
};

constexpr const char* kClassNames[] = {"DataType", "ReferenceType", "VariableType", "ObjectType",
                                       "Variable", "Object",        "Method",       "View"};

const char* class_name(uint32_t nodeclass) {
  const uint32_t t = ua_file_total_of_class(nodeclass);
  return t < 8 ? kClassNames[t] : "?";
}

// Names of the standard reference types, for files that do not hold namespace 0.
std::string_view standard_reference_name(uint32_t id) {
  switch (id) {
    case 31:
      return "References";
    case 32:
      return "NonHierarchicalReferences";
    case 33:
      return "HierarchicalReferences";
    case 34:
      return "HasChild";
    case 35:
      return "Organizes";
    case 36:
      return "HasEventSource";
    case 37:
      return "HasModellingRule";
    case 38:
      return "HasEncoding";
    case 39:
      return "HasDescription";
    case 40:
      return "HasTypeDefinition";
    case 41:
      return "GeneratesEvent";
    case 44:
      return "Aggregates";
    case 45:
      return "HasSubtype";
    case 46:
      return "HasProperty";
    case 47:
      return "HasComponent";
    case 48:
      return "HasNotifier";
    case 49:
      return "HasOrderedComponent";
    case 17603:
      return "HasInterface";
    case 17604:
      return "HasAddIn";
    default:
      return {};
  }
}

// Browse paths of the standard nodes that companion models hang their nodes below, for
// files that do not hold namespace 0; null for others.
const char* standard_path(uint32_t id) {
  switch (id) {
    case 84:
      return "";
    case 85:
      return "/Objects";
    case 86:
      return "/Types";
    case 87:
      return "/Views";
    case 88:
      return "/Types/ObjectTypes";
    case 89:
      return "/Types/VariableTypes";
    case 90:
      return "/Types/DataTypes";
    case 91:
      return "/Types/ReferenceTypes";
    case 2253:
      return "/Objects/Server";
    case 58:
      return "/Types/ObjectTypes/BaseObjectType";
    case 61:
      return "/Types/ObjectTypes/BaseObjectType/FolderType";
    case 17602:
      return "/Types/ObjectTypes/BaseObjectType/BaseInterfaceType";
    case 62:
      return "/Types/VariableTypes/BaseVariableType";
    case 63:
      return "/Types/VariableTypes/BaseVariableType/BaseDataVariableType";
    case 68:
      return "/Types/VariableTypes/BaseVariableType/PropertyType";
    case 24:
      return "/Types/DataTypes/BaseDataType";
    case 22:
      return "/Types/DataTypes/BaseDataType/Structure";
    case 29:
      return "/Types/DataTypes/BaseDataType/Enumeration";
    case 31:
      return "/Types/ReferenceTypes/References";
    case 32:
      return "/Types/ReferenceTypes/References/NonHierarchicalReferences";
    case 33:
      return "/Types/ReferenceTypes/References/HierarchicalReferences";
    default:
      return nullptr;
  }
}

bool same_double_bits(const void* a, const void* b, std::size_t size) {
  if (std::memcmp(a, b, size) == 0) return true;
  // Any two NaNs are the same value.
  if (size == 8) {
    double x, y;
    std::memcpy(&x, a, 8);
    std::memcpy(&y, b, 8);
    return std::isnan(x) && std::isnan(y);
  }
  float x, y;
  std::memcpy(&x, a, 4);
  std::memcpy(&y, b, 4);
  return std::isnan(x) && std::isnan(y);
}

// An Argument body (binary encoding i=298) split where its data type lies: the NodeId's
// namespace index is an index of the file, so that it is compared and shown as any NodeId.
struct argument_parts {
  std::string_view name;  // the String member with its length
  ua_nodeid datatype;
  std::string_view rest;
};

bool split_argument(const ua_extensionobject& eo, argument_parts& out) {
  const ua_nodeid& enc = eo.encoding_id();
  const ua_bytestring* body = eo.encoded();
  if (body == nullptr || enc.ns() != 0 || !enc.is_numeric() || enc.numeric_id() != 298)
    return false;
  ua_decoder dec(body->bytes());
  int32_t length = 0;
  if (ua_decode_int32(dec, length) != 0 || dec.skip(length > 0 ? length : 0) != 0) return false;
  const std::size_t name_end = dec.position();
  if (ua_decode_nodeid(dec, out.datatype) != 0) return false;
  const std::string_view all = body->view();
  out.name = all.substr(0, name_end);
  out.rest = all.substr(dec.position());
  return true;
}

// The whole comparison: builds the shared numbering, compares and writes the report.
class differ {
 public:
  differ(const options& opts, side& o, side& n) : opts_(opts), old_(o), new_(n) {}

  int run(std::FILE* out);

 private:
  // ---- namespaces and numbering ----
  uint32_t ns_of(const side& s, uint16_t index) {
    uint32_t& slot = s.ns_of_index[index];
    if (slot != kNone) return slot;
    auto [it, fresh] = unnamed_.try_emplace(index, static_cast<uint32_t>(ns_.size()));
    if (fresh) {
      ns_entry e;
      e.named = false;
      e.uri = "ns=" + std::to_string(index);
      e.old_index = e.new_index = index;
      ns_.push_back(std::move(e));
    }
    slot = it->second;
    return slot;
  }
  void add_records(side& s) {
    const auto add = [&](const ua_file_namespace& rec, bool model) {
      auto [it, fresh] = by_uri_.try_emplace(rec.uri, static_cast<uint32_t>(ns_.size()));
      if (fresh) {
        ns_entry e;
        e.uri = rec.uri;
        ns_.push_back(std::move(e));
      }
      ns_entry& e = ns_[it->second];
      (s.is_new ? e.new_index : e.old_index) = rec.index;
      (s.is_new ? e.new_rec : e.old_rec) = &rec;
      (s.is_new ? e.new_model : e.old_model) = model;
      s.ns_of_index[rec.index] = it->second;
    };
    for (const ua_file_namespace& rec : s.file.dependencies) add(rec, false);
    for (const ua_file_namespace& rec : s.file.models) add(rec, true);
  }
  // The standard namespace: by its URI, or index 0 of a file without its record.
  bool is_base(uint32_t entry) const {
    const ns_entry& e = ns_[entry];
    return e.named ? e.uri == kBaseUri : e.old_index == 0;
  }
  uint32_t number(const side& s, const ua_nodeid& id) { return ids_.add(id, ns_of(s, id.ns())); }
  void number_nodes(side& s) {
    for (uint32_t i = 0; i < s.file.nodes.size(); ++i) {
      const uint32_t n = number(s, s.file.nodes[i].nodeid);
      if (s.record_of.size() <= n) s.record_of.resize(n + 1, kNone);
      if (s.record_of[n] == kNone) s.record_of[n] = i;
    }
  }
  void number_references(side& s) {
    s.refs.reserve(s.file.references.size());
    // The references of one source follow each other and use a few types: both are looked
    // up once for a run.
    const ua_nodeid* last_source = nullptr;
    uint32_t source = kNone;
    struct seen_type {
      const ua_nodeid* id;
      uint32_t number;
    };
    std::vector<seen_type> types;
    for (const ua_file_reference& r : s.file.references) {
      if (last_source == nullptr || !(*last_source == r.source)) {
        source = number(s, r.source);
        last_source = &r.source;
      }
      uint32_t type = kNone;
      for (const seen_type& t : types)
        if (*t.id == r.type) type = t.number;
      if (type == kNone) {
        type = number(s, r.type);
        if (types.size() < 16) types.push_back({&r.type, type});
      }
      s.refs.push_back({source, type, number(s, r.target)});
    }
    find_parents(s);
    std::sort(s.refs.begin(), s.refs.end());
    s.refs.erase(std::unique(s.refs.begin(), s.refs.end()), s.refs.end());
  }
  // The parent of each node for its browse path: the source of the first hierarchical
  // reference to it in file order (s.refs is still in file order). Hierarchical are the
  // standard types and their subtypes in the file.
  void find_parents(side& s) {
    std::unordered_set<uint32_t> hier;
    const uint32_t base = ns_of(s, 0);
    if (is_base(base)) {
      for (const uint32_t id : {33u, 34u, 35u, 36u, 44u, 45u, 46u, 47u, 48u, 49u}) {
        const uint32_t n = ids_.find(ua_nodeid(0, id), base);
        if (n != kNone) hier.insert(n);
      }
    }
    const uint32_t has_subtype = ids_.find(ua_nodeid(0, 45), base);
    std::vector<ref3> subtypes;
    for (const ref3& r : s.refs)
      if (r.type == has_subtype && has_subtype != kNone && s.has(r.target) &&
          s.node(r.target).nodeclass == UA_NODECLASS_REFERENCETYPE)
        subtypes.push_back(r);
    for (bool grew = true; grew;) {
      grew = false;
      for (const ref3& r : subtypes)
        if (hier.contains(r.source) && hier.insert(r.target).second) grew = true;
    }
    s.parent_of.assign(ids_.size(), kNone);
    uint32_t last_type = kNone;
    bool last_hier = false;
    for (const ref3& r : s.refs) {
      if (r.type != last_type) {
        last_type = r.type;
        last_hier = hier.contains(r.type);
      }
      if (last_hier && s.parent_of[r.target] == kNone) s.parent_of[r.target] = r.source;
    }
  }
  bool same_id(const side& a, const ua_nodeid& x, const side& b, const ua_nodeid& y) {
    return ns_of(a, x.ns()) == ns_of(b, y.ns()) && same_identifier(x, y);
  }

  // ---- JSON forms of attribute values ----
  std::string nodeid_text(const side& s, const ua_nodeid& id) {
    const ns_entry& e = ns_[ns_of(s, id.ns())];
    if (e.shown_index() == id.ns()) return ua_nodeid_to_text(id);
    ua_nodeid shown = id;
    shown.set_ns(static_cast<uint16_t>(e.shown_index()));
    return ua_nodeid_to_text(shown);
  }
  std::string number_text(uint32_t n) {
    const node_key& k = ids_.key(n);
    const int shown = ns_[k.ns].shown_index();
    if (shown == k.id->ns()) return ua_nodeid_to_text(*k.id);
    ua_nodeid id = *k.id;
    id.set_ns(static_cast<uint16_t>(shown));
    return ua_nodeid_to_text(id);
  }
  uint16_t shown_ns(const side& s, uint16_t index) {
    return static_cast<uint16_t>(ns_[ns_of(s, index)].shown_index());
  }
  class value_writer;
  value_writer values(const side& s);
  bool same_scalar(const side& a, const void* x, const side& b, const void* y, uint8_t type);
  bool same_variant(const ua_variant& x, const ua_variant& y);
  void append_extensions(std::string& out, const side& s, const std::vector<ua_file_extension>& l);
  bool same_extensions(const std::vector<ua_file_extension>& x,
                       const std::vector<ua_file_extension>& y);
  bool same_permissions(const std::vector<uagraph_rolepermission>& x,
                        const std::vector<uagraph_rolepermission>& y);
  std::string field_text(const side& s, const ua_file_read_definition& d, std::size_t i);

  // ---- comparison ----
  void compare_file(std::vector<attr_change>& out);
  void compare_namespace(const ns_entry& e, std::vector<attr_change>& out);
  void compare_nodes(const ua_file_read_node& o, const ua_file_read_node& n,
                     std::vector<attr_change>& out);
  void compare_definition(const ua_file_read_definition& o, const ua_file_read_definition& n,
                          std::vector<attr_change>& out);
  bool included(uint32_t node) const noexcept {
    return only_ns_ == kNone || ids_.key(node).ns == only_ns_;
  }

  // ---- report ----
  std::string path_of(side& s, uint32_t node);
  std::string type_name(uint32_t type);
  std::string_view browse_name(uint32_t node);
  // The node's record in the new file, else in the old one; null when neither has it (the
  // target of a reference from outside both files).
  const ua_file_read_node* record(uint32_t node) const;
  // What the report shows of namespace entry `ns`, whose node changes start at nodes_[first]:
  // where they end, and whether the namespace was added or removed; nothing when it has no
  // changes and no addition or removal to show.
  struct ns_section {
    std::size_t end;
    bool added;
    bool removed;
  };
  std::optional<ns_section> section_of(uint32_t ns, std::size_t first) const;
  void write_text(std::FILE* out, const counts& c);
  void write_json(std::FILE* out, const counts& c);
  void flush(std::FILE* out) {
    if (!text_.empty()) std::fwrite(text_.data(), 1, text_.size(), out);
    text_.clear();
  }

  const options& opts_;
  side& old_;
  side& new_;
  std::vector<ns_entry> ns_;
  std::unordered_map<std::string, uint32_t> by_uri_;
  std::unordered_map<uint16_t, uint32_t> unnamed_;
  node_numbers ids_;
  uint32_t only_ns_ = kNone;
  std::vector<attr_change> file_changes_;
  std::vector<std::vector<attr_change>> ns_changes_;  // per namespace entry
  std::vector<node_change> nodes_;
  std::vector<uint32_t> ns_order_;  // namespace entries in report order
  std::string text_;
};

// ---- values ----

// One side's values, with namespace indexes in the numbering common to both files.
class differ::value_writer final : public json_value_writer {
 public:
  value_writer(differ& d, const side& s) : d_(d), s_(s) {}

  void nodeid(std::string& out, const ua_nodeid& id) const override {
    json_append_string(out, d_.nodeid_text(s_, id));
  }
  void qualified_name(std::string& out, const ua_qualifiedname& q) const override {
    out += "{\"name\": ";
    json_append_string(out, q.name.view());
    out += ", \"ns\": " + std::to_string(d_.shown_ns(s_, q.ns)) + "}";
  }
  // The body first, then the encoding and, for an argument, its data type.
  void extension_object(std::string& out, const ua_extensionobject& eo) const override {
    out += "{\"body\": \"";
    const ua_bytestring* body = eo.encoded();
    if (body != nullptr) base64_encode_append(out, body->data(), body->size());
    out += "\", \"encoding\": ";
    nodeid(out, eo.encoding_id());
    if (argument_parts arg; split_argument(eo, arg)) {
      out += ", \"argument_datatype\": ";
      nodeid(out, arg.datatype);
    }
    out += '}';
  }

 private:
  differ& d_;
  const side& s_;
};

differ::value_writer differ::values(const side& s) { return {*this, s}; }

bool differ::same_scalar(const side& a, const void* x, const side& b, const void* y, uint8_t type) {
  if (ua_builtin_is_plain(type)) return std::memcmp(x, y, ua_builtin_size(type)) == 0;
  switch (type) {
    case UA_VT_BOOLEAN:
      return *static_cast<const bool*>(x) == *static_cast<const bool*>(y);
    case UA_VT_FLOAT:
      return same_double_bits(x, y, 4);
    case UA_VT_DOUBLE:
      return same_double_bits(x, y, 8);
    case UA_VT_STRING:
      return *static_cast<const ua_string*>(x) == *static_cast<const ua_string*>(y);
    case UA_VT_BYTESTRING:
    case UA_VT_XMLELEMENT:
      return *static_cast<const ua_bytestring*>(x) == *static_cast<const ua_bytestring*>(y);
    case UA_VT_NODEID:
      return same_id(a, *static_cast<const ua_nodeid*>(x), b, *static_cast<const ua_nodeid*>(y));
    case UA_VT_EXPANDEDNODEID: {
      const auto& e = *static_cast<const ua_expandednodeid*>(x);
      const auto& f = *static_cast<const ua_expandednodeid*>(y);
      if (e.namespace_uri != f.namespace_uri || e.server_index != f.server_index) return false;
      // With a namespace URI the index is not a namespace of the file.
      if (!e.namespace_uri.empty()) return e.node_id == f.node_id;
      return same_id(a, e.node_id, b, f.node_id);
    }
    case UA_VT_QUALIFIEDNAME: {
      const auto& q = *static_cast<const ua_qualifiedname*>(x);
      const auto& r = *static_cast<const ua_qualifiedname*>(y);
      return q.name == r.name && ns_of(a, q.ns) == ns_of(b, r.ns);
    }
    case UA_VT_LOCALIZEDTEXT:
      return *static_cast<const ua_localizedtext*>(x) == *static_cast<const ua_localizedtext*>(y);
    case UA_VT_EXTENSIONOBJECT: {
      const auto& e = *static_cast<const ua_extensionobject*>(x);
      const auto& f = *static_cast<const ua_extensionobject*>(y);
      if (!same_id(a, e.encoding_id(), b, f.encoding_id())) return false;
      argument_parts u, v;
      if (split_argument(e, u) && split_argument(f, v))
        return u.name == v.name && u.rest == v.rest && same_id(a, u.datatype, b, v.datatype);
      const ua_bytestring* p = e.encoded();
      const ua_bytestring* q = f.encoded();
      return (p == nullptr ? std::string_view() : p->view()) ==
             (q == nullptr ? std::string_view() : q->view());
    }
    default:
      return true;
  }
}

bool differ::same_variant(const ua_variant& x, const ua_variant& y) {
  if (x.type_byte() != y.type_byte() || x.length() != y.length()) return false;
  if (x.is_empty()) return true;
  if (x.is_scalar()) return same_scalar(old_, x.scalar_data(), new_, y.scalar_data(), x.type());
  if (!std::ranges::equal(x.dimensions(), y.dimensions())) return false;
  const std::size_t size = ua_builtin_size(x.type());
  const auto* a = static_cast<const uint8_t*>(x.array_data());
  const auto* b = static_cast<const uint8_t*>(y.array_data());
  for (int32_t i = 0; i < x.length(); ++i) {
    const std::size_t at = static_cast<std::size_t>(i) * size;
    if (!same_scalar(old_, a + at, new_, b + at, x.type())) return false;
  }
  return true;
}

std::string_view extension_uri(const side& s, uint16_t index) {
  return index < s.file.extension_uris.size() ? std::string_view(s.file.extension_uris[index])
                                              : std::string_view();
}

void differ::append_extensions(std::string& out, const side& s,
                               const std::vector<ua_file_extension>& list) {
  out += '[';
  bool first = true;
  for (const ua_file_extension& e : list) {
    if (!first) out += ", ";
    first = false;
    out += "{\"uri\": ";
    json_append_string(out, extension_uri(s, e.uri_index));
    out += ", \"id\": " + std::to_string(e.id) + ", \"data\": ";
    json_append_string(out, e.data.view());
    out += '}';
  }
  out += ']';
}

bool differ::same_extensions(const std::vector<ua_file_extension>& x,
                             const std::vector<ua_file_extension>& y) {
  if (x.size() != y.size()) return false;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (x[i].id != y[i].id || !(x[i].data == y[i].data) ||
        extension_uri(old_, x[i].uri_index) != extension_uri(new_, y[i].uri_index))
      return false;
  }
  return true;
}

bool differ::same_permissions(const std::vector<uagraph_rolepermission>& x,
                              const std::vector<uagraph_rolepermission>& y) {
  if (x.size() != y.size()) return false;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (x[i].Permissions != y[i].Permissions || !same_id(old_, x[i].role, new_, y[i].role))
      return false;
  return true;
}

// ---- attribute comparison ----

std::string json_string(std::string_view s) {
  std::string out;
  json_append_string(out, s);
  return out;
}

std::string date_json(int64_t ticks) {
  std::string out;
  json_append_datetime(out, ticks);
  return out;
}

void differ::compare_file(std::vector<attr_change>& out) {
  const ua_file_contents& o = old_.file;
  const ua_file_contents& n = new_.file;
  const auto version = [](const ua_file_contents& f) {
    return json_string(std::to_string(f.major) + "." + std::to_string(f.minor));
  };
  if (o.major != n.major || o.minor != n.minor) out.push_back({"format", version(o), version(n)});
  const auto created = [](int64_t seconds) {
    const auto t = static_cast<std::time_t>(seconds);
    char when[64];
    const std::tm* tm = std::gmtime(&t);
    if (tm != nullptr && std::strftime(when, sizeof(when), "%FT%TZ", tm) > 0)
      return json_string(when);
    return std::to_string(seconds);
  };
  if (o.creation_time != n.creation_time)
    out.push_back({"created", created(o.creation_time), created(n.creation_time)});
  if (o.extension_uris != n.extension_uris) {
    const auto list = [](const std::vector<std::string>& uris) {
      std::string t = "[";
      for (std::size_t i = 0; i < uris.size(); ++i) {
        if (i != 0) t += ", ";
        json_append_string(t, uris[i]);
      }
      return t + "]";
    };
    out.push_back({"extension_uris", list(o.extension_uris), list(n.extension_uris)});
  }
  if (!same_extensions(o.file_extensions, n.file_extensions)) {
    attr_change c{"file_extensions", "", ""};
    append_extensions(c.old_value, old_, o.file_extensions);
    append_extensions(c.new_value, new_, n.file_extensions);
    out.push_back(std::move(c));
  }
}

void differ::compare_namespace(const ns_entry& e, std::vector<attr_change>& out) {
  const ua_file_namespace& o = *e.old_rec;
  const ua_file_namespace& n = *e.new_rec;
  if (e.old_model != e.new_model)
    out.push_back({"kind", json_string(e.old_model ? "model" : "dependency"),
                   json_string(e.new_model ? "model" : "dependency")});
  if (o.version != n.version)
    out.push_back({"version", o.version ? json_string(*o.version) : "null",
                   n.version ? json_string(*n.version) : "null"});
  if (o.publication_date != n.publication_date)
    out.push_back(
        {"publication_date", date_json(o.publication_date), date_json(n.publication_date)});
  if (!same_permissions(o.role_permissions, n.role_permissions)) {
    attr_change c{"role_permissions", "", ""};
    values(old_).role_permissions(c.old_value, o.role_permissions);
    values(new_).role_permissions(c.new_value, n.role_permissions);
    out.push_back(std::move(c));
  }
  if (o.access_restrictions != n.access_restrictions)
    out.push_back({"access_restrictions", std::to_string(o.access_restrictions),
                   std::to_string(n.access_restrictions)});
  if (!same_extensions(o.extensions, n.extensions)) {
    attr_change c{"extensions", "", ""};
    append_extensions(c.old_value, old_, o.extensions);
    append_extensions(c.new_value, new_, n.extensions);
    out.push_back(std::move(c));
  }
}

// An attribute that a record may leave out: absent is JSON null.
struct maybe_text {
  bool present;
  std::string_view text;
  bool operator==(const maybe_text&) const = default;
  std::string json() const { return present ? json_string(text) : "null"; }
};

// The same for a number.
template <class T>
struct maybe_number {
  bool present;
  T value;
  bool operator==(const maybe_number&) const = default;
  std::string json() const { return present ? std::to_string(value) : "null"; }
};

std::string bool_json(bool b) {
  return b ? "true" : "false";
}

void differ::compare_nodes(const ua_file_read_node& o, const ua_file_read_node& n,
                           std::vector<attr_change>& out) {
  const ua_file_contents& of = old_.file;
  const ua_file_contents& nf = new_.file;
  const auto text = [](const ua_file_contents& f, const ua_file_read_node& r, uint8_t bit,
                       uint32_t index) {
    return maybe_text{(r.flags & bit) != 0, (r.flags & bit) != 0 ? f.string(index) : ""};
  };
  const auto check = [&out](const char* name, const auto& a, const auto& b) {
    if (!(a == b)) out.push_back({name, a.json(), b.json()});
  };
  const auto flag = [&out](const char* name, bool a, bool b) {
    if (a != b) out.push_back({name, bool_json(a), bool_json(b)});
  };
  const auto nodeid_attr = [&](const char* name, bool has_a, const ua_nodeid& a, bool has_b,
                               const ua_nodeid& b) {
    if (has_a == has_b && (!has_a || same_id(old_, a, new_, b))) return;
    attr_change c{name, has_a ? json_string(nodeid_text(old_, a)) : "null",
                  has_b ? json_string(nodeid_text(new_, b)) : "null"};
    out.push_back(std::move(c));
  };

  if (o.nodeclass != n.nodeclass)
    out.push_back(
        {"class", json_string(class_name(o.nodeclass)), json_string(class_name(n.nodeclass))});
  if (of.string(o.browse_name) != nf.string(n.browse_name) ||
      ns_of(old_, o.browse_ns) != ns_of(new_, n.browse_ns)) {
    const auto bn = [this](const side& s, const ua_file_read_node& r) {
      std::string t = "{\"ns\": " + std::to_string(shown_ns(s, r.browse_ns)) + ", \"name\": ";
      json_append_string(t, s.file.string(r.browse_name));
      return t + "}";
    };
    out.push_back({"browse_name", bn(old_, o), bn(new_, n)});
  }
  check("display_name", text(of, o, UA_FILE_NODE_DISPLAYNAME, o.display_name),
        text(nf, n, UA_FILE_NODE_DISPLAYNAME, n.display_name));
  check("description", text(of, o, UA_FILE_NODE_DESCRIPTION, o.description),
        text(nf, n, UA_FILE_NODE_DESCRIPTION, n.description));
  check("write_mask", maybe_number<uint32_t>{(o.flags & UA_FILE_NODE_WRITEMASK) != 0, o.write_mask},
        maybe_number<uint32_t>{(n.flags & UA_FILE_NODE_WRITEMASK) != 0, n.write_mask});
  check("access_restrictions",
        maybe_number<uint32_t>{(o.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0,
                               o.access_restrictions},
        maybe_number<uint32_t>{(n.perm_flags & UA_FILE_PERM_ACCESSRESTRICTIONS) != 0,
                               n.access_restrictions});
  const bool orp = (o.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0;
  const bool nrp = (n.perm_flags & UA_FILE_PERM_ROLEPERMISSIONS) != 0;
  if (orp != nrp || !same_permissions(o.role_permissions, n.role_permissions)) {
    attr_change c{"role_permissions", "null", "null"};
    if (orp) values(old_).role_permissions(c.old_value = "", o.role_permissions);
    if (nrp) values(new_).role_permissions(c.new_value = "", n.role_permissions);
    out.push_back(std::move(c));
  }
  if (!same_extensions(o.extensions, n.extensions)) {
    attr_change c{"extensions", "", ""};
    append_extensions(c.old_value, old_, o.extensions);
    append_extensions(c.new_value, new_, n.extensions);
    out.push_back(std::move(c));
  }
  if (o.nodeclass != n.nodeclass) return;

  const uint8_t of1 = o.flags;
  const uint8_t nf1 = n.flags;
  switch (o.nodeclass) {
    case UA_NODECLASS_OBJECT:
    case UA_NODECLASS_VIEW:
      check("event_notifier",
            maybe_number<unsigned>{(of1 & UA_FILE_OBJECT_EVENTNOTIFIER) != 0, o.event_notifier},
            maybe_number<unsigned>{(nf1 & UA_FILE_OBJECT_EVENTNOTIFIER) != 0, n.event_notifier});
      break;
    case UA_NODECLASS_OBJECTTYPE:
      flag("is_abstract", (of1 & UA_FILE_OBJECTTYPE_ABSTRACT) != 0,
           (nf1 & UA_FILE_OBJECTTYPE_ABSTRACT) != 0);
      break;
    case UA_NODECLASS_METHOD:
      flag("executable", (of1 & UA_FILE_METHOD_EXECUTABLE) != 0,
           (nf1 & UA_FILE_METHOD_EXECUTABLE) != 0);
      nodeid_attr("method_declaration", (of1 & UA_FILE_METHOD_DECLARATION) != 0,
                  o.method_declaration, (nf1 & UA_FILE_METHOD_DECLARATION) != 0,
                  n.method_declaration);
      break;
    case UA_NODECLASS_REFERENCETYPE:
      flag("is_abstract", (of1 & UA_FILE_REFTYPE_ABSTRACT) != 0,
           (nf1 & UA_FILE_REFTYPE_ABSTRACT) != 0);
      flag("symmetric", (of1 & UA_FILE_REFTYPE_SYMMETRIC) != 0,
           (nf1 & UA_FILE_REFTYPE_SYMMETRIC) != 0);
      check("inverse_name", text(of, o, UA_FILE_REFTYPE_INVERSENAME, o.inverse_name),
            text(nf, n, UA_FILE_REFTYPE_INVERSENAME, n.inverse_name));
      break;
    case UA_NODECLASS_DATATYPE:
      flag("is_abstract", (of1 & UA_FILE_DATATYPE_ABSTRACT) != 0,
           (nf1 & UA_FILE_DATATYPE_ABSTRACT) != 0);
      compare_definition(o.definition, n.definition, out);
      break;
    case UA_NODECLASS_VARIABLE:
    case UA_NODECLASS_VARIABLETYPE: {
      if (!same_variant(o.value, n.value)) {
        attr_change c{"value", "", ""};
        values(old_).value(c.old_value, o.value);
        values(new_).value(c.new_value, n.value);
        out.push_back(std::move(c));
      }
      nodeid_attr("datatype", (of1 & UA_FILE_VAR_DATATYPE) != 0, o.datatype,
                  (nf1 & UA_FILE_VAR_DATATYPE) != 0, n.datatype);
      // Left out, the value rank is -1 (scalar).
      check("value_rank", maybe_number<int32_t>{true, o.value_rank},
            maybe_number<int32_t>{true, n.value_rank});
      if (o.array_dimensions != n.array_dimensions) {
        const auto dims = [](const std::vector<uint32_t>& d) {
          std::string t = "[";
          for (std::size_t i = 0; i < d.size(); ++i)
            t += (i != 0 ? ", " : "") + std::to_string(d[i]);
          return t + "]";
        };
        out.push_back({"array_dimensions", dims(o.array_dimensions), dims(n.array_dimensions)});
      }
      if (o.nodeclass == UA_NODECLASS_VARIABLE) {
        check("access_level", maybe_number<unsigned>{true, o.access_level},
              maybe_number<unsigned>{true, n.access_level});
        check("minimum_sampling_interval",
              maybe_number<uint32_t>{true, o.minimum_sampling_interval},
              maybe_number<uint32_t>{true, n.minimum_sampling_interval});
        flag("historizing", (o.flags2 & UA_FILE_VAR2_HISTORIZING) != 0,
             (n.flags2 & UA_FILE_VAR2_HISTORIZING) != 0);
      } else {
        flag("is_abstract", (o.flags2 & UA_FILE_VARTYPE2_ABSTRACT) != 0,
             (n.flags2 & UA_FILE_VARTYPE2_ABSTRACT) != 0);
      }
      break;
    }
    default:
      break;
  }
}

// One field of a definition as one JSON string: "Name: DataType" and its details.
std::string differ::field_text(const side& s, const ua_file_read_definition& d, std::size_t i) {
  const ua_file_contents& f = s.file;
  std::string t;
  if (i < d.fields.size()) {
    const ua_file_read_structure_field& sf = d.fields[i];
    t = std::string(f.string(sf.name)) + ": " + nodeid_text(s, sf.datatype);
    if (sf.value_rank != -1) t += " rank=" + std::to_string(sf.value_rank);
    if (!sf.dims.empty()) {
      t += " dims=";
      for (std::size_t k = 0; k < sf.dims.size(); ++k)
        t += (k != 0 ? "," : "") + std::to_string(sf.dims[k]);
    }
    if ((sf.flags & UA_FILE_SFIELD_MAXLENGTH) != 0)
      t += " max_length=" + std::to_string(sf.max_string_length);
    if ((sf.flags & UA_FILE_SFIELD_OPTIONAL) != 0) t += " optional";
    if ((sf.flags & UA_FILE_SFIELD_SUBTYPES) != 0) t += " subtypes";
    if ((sf.flags & UA_FILE_SFIELD_TEXT1) != 0) t += " symbol=" + std::string(f.string(sf.text1));
    if ((sf.flags & UA_FILE_SFIELD_TEXT2) != 0)
      t += " description=" + std::string(f.string(sf.text2));
  } else {
    const ua_file_enum_field& ef = d.enum_fields[i];
    t = std::string(f.string(ef.name)) + " = " + std::to_string(ef.value);
    t += " display=" + std::string(f.string(ef.text1));
    if ((ef.flags & UA_FILE_EFIELD_SYMBOLICNAME) != 0)
      t += " symbol=" + std::string(f.string(ef.symbolic_name));
    if ((ef.flags & UA_FILE_EFIELD_TEXT2) != 0)
      t += " description=" + std::string(f.string(ef.text2));
  }
  return json_string(t);
}

void differ::compare_definition(const ua_file_read_definition& o, const ua_file_read_definition& n,
                                std::vector<attr_change>& out) {
  const uint8_t ok = o.kind & UA_FILE_DEFINITION_KIND_MASK;
  const uint8_t nk = n.kind & UA_FILE_DEFINITION_KIND_MASK;
  if (ok != nk) out.push_back({"definition.kind", std::to_string(ok), std::to_string(nk)});
  const maybe_text oname{(o.kind & UA_FILE_DEFINITION_NAME) != 0,
                         (o.kind & UA_FILE_DEFINITION_NAME) != 0 ? old_.file.string(o.name) : ""};
  const maybe_text nname{(n.kind & UA_FILE_DEFINITION_NAME) != 0,
                         (n.kind & UA_FILE_DEFINITION_NAME) != 0 ? new_.file.string(n.name) : ""};
  if (!(oname == nname)) out.push_back({"definition.name", oname.json(), nname.json()});
  if (!same_id(old_, o.default_encoding, new_, n.default_encoding))
    out.push_back({"definition.default_encoding",
                   json_string(nodeid_text(old_, o.default_encoding)),
                   json_string(nodeid_text(new_, n.default_encoding))});
  if (!same_id(old_, o.base_type, new_, n.base_type))
    out.push_back({"definition.base_type", json_string(nodeid_text(old_, o.base_type)),
                   json_string(nodeid_text(new_, n.base_type))});
  // Fields by position; their text holds every detail, so two texts differ when they do.
  const std::size_t on = o.fields.size() + o.enum_fields.size();
  const std::size_t nn = n.fields.size() + n.enum_fields.size();
  for (std::size_t i = 0; i < std::max(on, nn); ++i) {
    std::string a = i < on ? field_text(old_, o, i) : "null";
    std::string b = i < nn ? field_text(new_, n, i) : "null";
    if (a != b)
      out.push_back({"definition.fields[" + std::to_string(i) + "]", std::move(a), std::move(b)});
  }
}

// ---- report helpers ----

const ua_file_read_node* differ::record(uint32_t node) const {
  if (new_.has(node)) return &new_.node(node);
  if (old_.has(node)) return &old_.node(node);
  return nullptr;
}

std::string_view differ::browse_name(uint32_t node) {
  if (new_.has(node)) return new_.file.string(new_.node(node).browse_name);
  if (old_.has(node)) return old_.file.string(old_.node(node).browse_name);
  return {};
}

std::string differ::type_name(uint32_t type) {
  const std::string_view name = browse_name(type);
  if (!name.empty()) return std::string(name);
  const node_key& k = ids_.key(type);
  if (is_base(k.ns) && k.id->is_numeric()) {
    const std::string_view standard = standard_reference_name(k.id->numeric_id());
    if (!standard.empty()) return std::string(standard);
  }
  return number_text(type);
}

// The browse path of a node in one file by the first hierarchical reference to each node:
// "/Objects/Plant/Motor" from Root, also when the chain leaves the file at a standard node;
// from the NodeId of the topmost ancestor ("ns=3;i=7/Motor") when it does not reach Root;
// "" for a node without a parent.
std::string differ::path_of(side& s, uint32_t node) {
  const uint32_t base = ns_of(s, 0);
  const uint32_t root = ids_.find(ua_nodeid(0, 84), base);
  std::vector<uint32_t> chain;
  uint32_t at = node;
  while (at != kNone && at != root && chain.size() < 64 &&
         std::find(chain.begin(), chain.end(), at) == chain.end()) {
    chain.push_back(at);
    if (!s.has(at) || at >= s.parent_of.size()) break;
    at = s.parent_of[at];
  }
  if (chain.size() == 1 && at == kNone) return "";
  std::string path;
  std::size_t from = chain.size();
  if (at != root) {
    // The top of the chain: a standard node by its path, any other by its NodeId.
    const node_key& top = ids_.key(chain.back());
    const char* standard = !s.has(chain.back()) && is_base(top.ns) && top.id->is_numeric()
                               ? standard_path(top.id->numeric_id())
                               : nullptr;
    path = standard != nullptr ? standard : number_text(chain.back());
    from = chain.size() - 1;
  }
  for (std::size_t i = from; i-- > 0;) {
    path += '/';
    path += s.file.string(s.node(chain[i]).browse_name);
  }
  return path;
}

// ---- the run ----

int differ::run(std::FILE* out) {
  add_records(old_);
  add_records(new_);
  if (opts_.only_uri != nullptr) {
    const auto it = by_uri_.find(opts_.only_uri);
    if (it == by_uri_.end()) {
      std::fprintf(stderr, "error: neither file has the namespace '%s'\n", opts_.only_uri);
      return 2;
    }
    only_ns_ = it->second;
  }
  // Mostly the same nodes: room for the larger file, grown when more are met.
  ids_.reserve(std::max(old_.file.nodes.size(), new_.file.nodes.size()) + 1024);
  number_nodes(old_);
  number_nodes(new_);
  number_references(old_);
  number_references(new_);
  old_.record_of.resize(ids_.size(), kNone);
  new_.record_of.resize(ids_.size(), kNone);

  counts c;
  if (!opts_.ignore_build && only_ns_ == kNone) compare_file(file_changes_);
  c.file_changes = file_changes_.size();

  ns_changes_.resize(ns_.size());
  for (uint32_t i = 0; i < ns_.size(); ++i) {
    const ns_entry& e = ns_[i];
    if (!e.named || (only_ns_ != kNone && i != only_ns_)) continue;
    if (e.old_rec != nullptr && e.new_rec != nullptr) {
      compare_namespace(e, ns_changes_[i]);
      if (!ns_changes_[i].empty()) ++c.ns_changed;
    } else if (e.new_rec != nullptr) {
      ++c.ns_added;
    } else if (e.old_rec != nullptr) {
      ++c.ns_removed;
    }
  }

  std::vector<uint32_t> change_of(ids_.size(), kNone);
  const auto change = [&](uint32_t node, char status) -> node_change& {
    if (change_of[node] == kNone) {
      change_of[node] = static_cast<uint32_t>(nodes_.size());
      nodes_.push_back({node, status, {}, {}, {}});
    }
    return nodes_[change_of[node]];
  };
  std::vector<attr_change> attrs;
  for (uint32_t n = 0; n < ids_.size(); ++n) {
    const bool in_old = old_.has(n);
    const bool in_new = new_.has(n);
    if ((!in_old && !in_new) || !included(n)) continue;
    if (in_old && in_new) {
      compare_nodes(old_.node(n), new_.node(n), attrs);
      if (!attrs.empty()) change(n, '~').attrs = std::move(attrs);
      attrs.clear();
    } else {
      change(n, in_new ? '+' : '-');
    }
  }

  // References: a merge of the two sorted lists. Each is shown with its source node, or
  // with its target when only the target is a node of one of the files.
  const auto report = [&](const ref3& r, bool added) {
    const bool at_source =
        old_.has(r.source) || new_.has(r.source) || !(old_.has(r.target) || new_.has(r.target));
    const uint32_t owner = at_source ? r.source : r.target;
    if (!included(owner)) return;
    node_change& nc = change(owner, '~');
    (added ? nc.refs_added : nc.refs_removed)
        .push_back({r.type, at_source ? r.target : r.source, !at_source});
    ++(added ? c.refs_added : c.refs_removed);
  };
  auto a = old_.refs.begin();
  auto b = new_.refs.begin();
  while (a != old_.refs.end() || b != new_.refs.end()) {
    if (b == new_.refs.end() || (a != old_.refs.end() && *a < *b)) {
      report(*a++, false);
    } else if (a == old_.refs.end() || *b < *a) {
      report(*b++, true);
    } else {
      ++a;
      ++b;
    }
  }
  for (const node_change& nc : nodes_) {
    if (nc.status == '+') ++c.nodes_added;
    if (nc.status == '-') ++c.nodes_removed;
    if (nc.status == '~') ++c.nodes_changed;
  }

  // Namespaces in the new file's index order, then those only the old file has; nodes by
  // identifier within their namespace; references by direction, type and the other node.
  std::vector<uint32_t> rank(ns_.size());
  {
    std::vector<uint32_t> order(ns_.size());
    for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
    const auto key = [this](uint32_t i) {
      const ns_entry& e = ns_[i];
      return std::pair<int, int>(e.new_index >= 0 ? 0 : 1, e.shown_index());
    };
    std::sort(order.begin(), order.end(), [&](uint32_t x, uint32_t y) { return key(x) < key(y); });
    for (uint32_t i = 0; i < order.size(); ++i) rank[order[i]] = i;
    ns_order_ = std::move(order);
  }
  const auto node_less = [&](uint32_t x, uint32_t y) {
    const node_key& p = ids_.key(x);
    const node_key& q = ids_.key(y);
    if (p.ns != q.ns) return rank[p.ns] < rank[q.ns];
    return compare_identifier(*p.id, *q.id) < 0;
  };
  std::sort(nodes_.begin(), nodes_.end(),
            [&](const node_change& x, const node_change& y) { return node_less(x.node, y.node); });
  const auto ref_less = [&](const ref_change& x, const ref_change& y) {
    if (x.inverse != y.inverse) return !x.inverse;
    if (x.type != y.type) return node_less(x.type, y.type);
    return node_less(x.other, y.other);
  };
  for (node_change& nc : nodes_) {
    std::sort(nc.refs_added.begin(), nc.refs_added.end(), ref_less);
    std::sort(nc.refs_removed.begin(), nc.refs_removed.end(), ref_less);
  }

  if (opts_.json) {
    write_json(out, c);
  } else {
    write_text(out, c);
  }
  flush(out);
  if (std::fflush(out) != 0 || std::ferror(out) != 0) {
    std::fprintf(stderr, "error: cannot write the comparison of '%s' and '%s'\n", old_.path,
                 new_.path);
    return 2;
  }
  return c.any() ? 1 : 0;
}

std::optional<differ::ns_section> differ::section_of(uint32_t ns, std::size_t first) const {
  const ns_entry& e = ns_[ns];
  std::size_t end = first;
  while (end < nodes_.size() && ids_.key(nodes_[end].node).ns == ns) ++end;
  const bool added = e.named && e.old_rec == nullptr && e.new_rec != nullptr;
  const bool removed = e.named && e.old_rec != nullptr && e.new_rec == nullptr;
  const bool shown = (added || removed) && (only_ns_ == kNone || only_ns_ == ns);
  if (end == first && ns_changes_[ns].empty() && !shown) return std::nullopt;
  return ns_section{end, added, removed};
}

void differ::write_text(std::FILE* out, const counts& c) {
  std::string& t = text_;
  const auto summary = [&] {
    t += "file changes: " + std::to_string(c.file_changes) + "\n";
    t += "namespaces: " + std::to_string(c.ns_added) + " added, " + std::to_string(c.ns_removed) +
         " removed, " + std::to_string(c.ns_changed) + " changed\n";
    t += "nodes: " + std::to_string(c.nodes_added) + " added, " + std::to_string(c.nodes_removed) +
         " removed, " + std::to_string(c.nodes_changed) + " changed\n";
    t += "references: " + std::to_string(c.refs_added) + " added, " +
         std::to_string(c.refs_removed) + " removed\n";
  };
  if (opts_.summary) {
    summary();
    return;
  }
  if (!c.any()) return;
  t += std::string("--- ") + old_.path + "\n+++ " + new_.path + "\n";
  const auto attr_lines = [&t](const std::vector<attr_change>& list, const char* indent) {
    for (const attr_change& a : list)
      t.append(indent)
          .append(a.name)
          .append(": ")
          .append(a.old_value)
          .append(" -> ")
          .append(a.new_value)
          .append("\n");
  };
  if (!file_changes_.empty()) {
    t += "file\n";
    attr_lines(file_changes_, "  ");
  }
  std::size_t next = 0;  // the first node of the namespace
  for (const uint32_t i : ns_order_) {
    const std::optional<ns_section> section = section_of(i, next);
    if (!section) continue;
    const ns_entry& e = ns_[i];
    const auto [end, added, removed] = *section;
    t += "namespace " + e.uri + " (";
    if (added) {
      t += "added, ns=" + std::to_string(e.new_index);
    } else if (removed) {
      t += "removed, was ns=" + std::to_string(e.old_index);
    } else {
      t += "ns=" + std::to_string(e.shown_index());
      if (e.old_index != e.new_index) t += ", was ns=" + std::to_string(e.old_index);
    }
    t += ")\n";
    attr_lines(ns_changes_[i], "  ");
    for (; next < end; ++next) {
      const node_change& nc = nodes_[next];
      side& s = nc.status == '-' ? old_ : new_;
      const ua_file_read_node* r = record(nc.node);
      t += "  ";
      t += nc.status;
      t += ' ' + number_text(nc.node) + ' ' + (r != nullptr ? class_name(r->nodeclass) : "-") + ' ';
      json_append_string(t, browse_name(nc.node));
      if (nc.status != '~') {
        const std::string path = path_of(s, nc.node);
        if (!path.empty()) t += ' ' + path;
      }
      t += '\n';
      attr_lines(nc.attrs, "      ");
      const auto refs = [&](const std::vector<ref_change>& list, char sign) {
        for (const ref_change& rc : list) {
          t += "      ";
          t += sign;
          t += ' ' + type_name(rc.type) + (rc.inverse ? " <- " : " -> ") + number_text(rc.other);
          const std::string_view name = browse_name(rc.other);
          if (!name.empty()) {
            t += ' ';
            json_append_string(t, name);
          }
          t += '\n';
        }
      };
      refs(nc.refs_removed, '-');
      refs(nc.refs_added, '+');
      if (t.size() > 65536) flush(out);
    }
  }
  summary();
}

void differ::write_json(std::FILE* out, const counts& c) {
  std::string& t = text_;
  t += "{\n  \"old\": ";
  json_append_string(t, old_.path);
  t += ",\n  \"new\": ";
  json_append_string(t, new_.path);
  t += std::string(",\n  \"equal\": ") + (c.any() ? "false" : "true");
  t += ",\n  \"summary\": {\"file_changes\": " + std::to_string(c.file_changes) +
       ", \"namespaces_added\": " + std::to_string(c.ns_added) +
       ", \"namespaces_removed\": " + std::to_string(c.ns_removed) +
       ", \"namespaces_changed\": " + std::to_string(c.ns_changed) +
       ", \"nodes_added\": " + std::to_string(c.nodes_added) +
       ", \"nodes_removed\": " + std::to_string(c.nodes_removed) +
       ", \"nodes_changed\": " + std::to_string(c.nodes_changed) +
       ", \"references_added\": " + std::to_string(c.refs_added) +
       ", \"references_removed\": " + std::to_string(c.refs_removed) + "}";
  if (opts_.summary) {
    t += "\n}\n";
    return;
  }
  const auto changes = [&t](const std::vector<attr_change>& list) {
    t += '[';
    for (std::size_t k = 0; k < list.size(); ++k) {
      t += k == 0 ? "{\"attribute\": " : ", {\"attribute\": ";
      json_append_string(t, list[k].name);
      t += ", \"old\": " + list[k].old_value + ", \"new\": " + list[k].new_value + "}";
    }
    t += ']';
  };
  t += ",\n  \"file\": ";
  changes(file_changes_);
  t += ",\n  \"namespaces\": [";
  bool first_ns = true;
  std::size_t next = 0;
  for (const uint32_t i : ns_order_) {
    const std::optional<ns_section> section = section_of(i, next);
    if (!section) continue;
    const ns_entry& e = ns_[i];
    const auto [end, added, removed] = *section;
    t += first_ns ? "\n    {\"uri\": " : ",\n    {\"uri\": ";
    first_ns = false;
    json_append_string(t, e.named ? e.uri : "");
    t += ", \"old_index\": " + (e.old_index >= 0 && (e.old_rec != nullptr || !e.named)
                                    ? std::to_string(e.old_index)
                                    : std::string("null"));
    t += ", \"new_index\": " + (e.new_index >= 0 && (e.new_rec != nullptr || !e.named)
                                    ? std::to_string(e.new_index)
                                    : std::string("null"));
    t += ", \"status\": ";
    json_append_string(t, added                     ? "added"
                          : removed                 ? "removed"
                          : !ns_changes_[i].empty() ? "changed"
                                                    : "unchanged");
    t += ", \"changes\": ";
    changes(ns_changes_[i]);
    t += ", \"nodes\": [";
    for (std::size_t k = next; k < end; ++k) {
      const node_change& nc = nodes_[k];
      side& s = nc.status == '-' ? old_ : new_;
      const ua_file_read_node* r = record(nc.node);
      t += k == next ? "\n      {\"nodeid\": " : ",\n      {\"nodeid\": ";
      json_append_string(t, number_text(nc.node));
      t += ", \"status\": ";
      json_append_string(t, nc.status == '+' ? "added" : nc.status == '-' ? "removed" : "changed");
      t += ", \"class\": ";
      json_append_string(t, r != nullptr ? class_name(r->nodeclass) : "-");
      t += ", \"browse_name\": ";
      json_append_string(t, browse_name(nc.node));
      if (nc.status != '~') {
        const std::string path = path_of(s, nc.node);
        t += ", \"path\": ";
        if (path.empty()) {
          t += "null";
        } else {
          json_append_string(t, path);
        }
      }
      t += ", \"changes\": ";
      changes(nc.attrs);
      const auto refs = [&](const char* key, const std::vector<ref_change>& list) {
        t += ", \"";
        t += key;
        t += "\": [";
        for (std::size_t j = 0; j < list.size(); ++j) {
          const ref_change& rc = list[j];
          t += j == 0 ? "{\"type\": " : ", {\"type\": ";
          json_append_string(t, number_text(rc.type));
          t += ", \"type_name\": ";
          json_append_string(t, type_name(rc.type));
          t += ", \"direction\": ";
          json_append_string(t, rc.inverse ? "inverse" : "forward");
          t += ", \"node\": ";
          json_append_string(t, number_text(rc.other));
          t += ", \"node_name\": ";
          const std::string_view name = browse_name(rc.other);
          if (name.empty()) {
            t += "null";
          } else {
            json_append_string(t, name);
          }
          t += '}';
        }
        t += ']';
      };
      refs("references_added", nc.refs_added);
      refs("references_removed", nc.refs_removed);
      t += '}';
      if (t.size() > 65536) flush(out);
    }
    t += end == next ? "]}" : "\n    ]}";
    next = end;
  }
  t += first_ns ? "]\n}\n" : "\n  ]\n}\n";
}

// Reads both files, on two threads where the system has them.
void load(side& o, side& n) {
  const auto read = [](side* s) { s->status = ua_file_read_path(s->path, s->file); };
  try {
    std::thread other(read, &o);
    read(&n);
    other.join();
    return;
  } catch (const std::system_error&) {
    // No thread: one after the other.
  }
  read(&o);
  read(&n);
}

}  // namespace

int diff_main(int argc, char** argv) {
  options opts;
  if (!parse_options(argc, argv, opts)) {
    std::fputs(kDiffUsage, stderr);
    return 2;
  }
  side o;
  side n;
  o.path = opts.old_path;
  n.path = opts.new_path;
  n.is_new = true;
  load(o, n);
  for (const side* s : {&o, &n}) {
    if (s->status != 0) {
      std::fprintf(stderr, "error: cannot read '%s': %s (%d)\n", s->path,
                   util_error_lookup(s->status), s->status);
      return 2;
    }
  }
  differ d(opts, o, n);
  return d.run(stdout);
}

}  // namespace vos
