#include "tools/vospack/convert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "build_info.h"
#include "diag/diag.h"
#include "tools/vospack/filewriter.h"
#include "tools/vospack/nodeext.h"
#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "util/errors.h"
#include "util/string_index.h"

namespace vos {

namespace {

constexpr const char* kToolName = "vospack";

// The distinct strings of the written nodes; index 0 is the empty string ("no string").
// First insertion decides the order.
class string_set {
 public:
  string_set() {
    list_.reserve(1000);
    add("");
  }

  void add(std::string_view s) {
    if (index_.insert(s, static_cast<uint32_t>(list_.size())) == list_.size()) list_.push_back(s);
  }
  // Adds a string made here (kept alive by the set).
  void add_owned(std::string s) {
    if (index_.find(s) != string_index::k_none) return;
    owned_.push_back(std::move(s));
    add(owned_.back());
  }
  // The index, or -1 after reporting a string that was never added.
  int64_t index(std::string_view s) const {
    const uint32_t i = index_.find(s);
    if (i == string_index::k_none) {
      ua_file_report("error: string '%.*s' missing in stringtable\n", static_cast<int>(s.size()),
                     s.data());
      return -1;
    }
    return i;
  }
  const std::vector<std::string_view>& entries() const noexcept { return list_; }

 private:
  std::deque<std::string> owned_;
  std::vector<std::string_view> list_;
  string_index index_;
};

// The graph's definition kinds to the file's kind byte.
constexpr uint8_t kFileKind[8] = {0, 1, 2, 3, 6, 7, 4, 5};

bool is_structure_kind(uint32_t graph_kind) {
  return graph_kind >= 1 && graph_kind <= 5;
}

// A symbolic name as the graph would make it: the stored one, else made from `from`.
std::string symbolic_name(const ua_string& stored, std::string_view from) {
  if (!stored.empty()) return std::string(stored.view());
  ua_string made;
  uagraph_make_symbolic_name(made, from);
  return std::string(made.view());
}

// Seconds since 1970 of a date text; 0 for no text, an unparsable one or one before 1970.
int64_t unix_seconds(const std::optional<std::string>& text) {
  if (!text || text->empty()) return 0;
  ua_datetime dt;
  if (ua_datetime_from_string(dt, *text) != 0) return 0;
  return ua_datetime_to_unix(dt);
}

// Appends a text as printf's "%.*s" prints it: up to a NUL byte.
void append_printed(std::string& out, std::string_view text) {
  out.append(text.substr(0, text.find('\0')));
}

// Writes a log line built in `line` to standard output.
void print_line(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
}

uint32_t sampling_interval(double v) {
  if (std::isnan(v)) return 0;
  if (v >= 4294967295.0) return UINT32_MAX;
  if (v < 0) return static_cast<uint32_t>(static_cast<int64_t>(v));  // -1 stays all ones
  return static_cast<uint32_t>(v);
}

class converter {
 public:
  converter(const uagraph& graph, const nstable& namespaces, const nodeext_selection& sel)
      : graph_(graph), ns_(namespaces), sel_(sel), selected_(65536, false) {
    for (const nstable_index_selection& s : ns_.index_selections())
      if (s.sdk_index < selected_.size()) selected_[s.sdk_index] = true;
  }

  int run(const char* path);

 private:
  bool written(const uagraph_node& n) const { return selected_[n.NodeId.ns()]; }
  int64_t creation_time() const;
  void collect_strings();
  void add_definition_strings(const uagraph_node& node, const UADataType& dt);
  std::vector<const UADataType*> definition_chain(const UADataType& dt) const;
  void count();
  ua_file_namespace namespace_record(const nstable_entry& e) const;
  std::vector<bool> used_namespaces() const;
  int write_nodes();
  int write_node(const uagraph_node& n, const char* label);
  // Also prints the node's log line (with the writing label) at verbosity 1 and more.
  int set_base_attributes(const uagraph_node& n, const char* label);
  int set_datatype(const UADataType& dt);
  int write_references();
  // Appends a NodeId's text to the log line as "%.*s" prints it.
  void append_id(const ua_nodeid& id) {
    const std::size_t at = line_.size();
    ua_nodeid_append_text(line_, id);
    if (id.is_numeric()) return;  // digits only
    const std::size_t nul = std::string_view(line_).find('\0', at);
    if (nul != std::string::npos) line_.resize(nul);
  }
  bool str(std::string_view s, uint32_t& out) const {
    const int64_t i = strings_.index(s);
    out = i < 0 ? 0 : static_cast<uint32_t>(i);
    return i >= 0;
  }

  const uagraph& graph_;
  const nstable& ns_;
  nodeext_selection sel_;
  std::vector<bool> selected_;
  std::vector<const uagraph_node*> nodes_;       // written nodes in graph order
  std::vector<const uagraph_reference*> cross_;  // cross-references in graph order
  std::vector<ua_file_totals> counts_;           // per namespace index
  ua_file_totals totals_{};
  string_set strings_;
  ua_file_writer w_;
  std::string line_;  // the log line being built
  ua_file_node rec_;
  std::string sym_;  // scratch
};

int64_t converter::creation_time() const {
  int64_t newest = 0;
  for (const nstable_entry& e : ns_.entries()) {
    if (e.sdk_index >= selected_.size() || !selected_[e.sdk_index]) continue;
    const int64_t t = e.last_modified.ticks != 0 ? ua_datetime_to_unix(e.last_modified)
                                                 : unix_seconds(e.publication_date);
    if (t > newest) newest = t;
  }
  return newest != 0 ? newest : static_cast<int64_t>(std::time(nullptr));
}

std::vector<const UADataType*> converter::definition_chain(const UADataType& dt) const {
  // Supertypes first, the type itself last.
  std::vector<const UADataType*> chain;
  const uagraph_node* n = &dt;
  while (n != nullptr && chain.size() < 64) {
    const UADataType* d = n->as<UADataType>();
    if (d == nullptr) break;
    chain.insert(chain.begin(), d);
    n = graph_.node_supertype(*n);
  }
  return chain;
}

void converter::add_definition_strings(const uagraph_node& node, const UADataType& dt) {
  const uagraph_definition& def = dt.Definition;
  strings_.add(def.Name.name.view());
  if (def.kind == UAGRAPH_DEFINITION_NONE) return;
  strings_.add_owned(symbolic_name(node.extra().SymbolicName, node.BrowseName.name.view()));
  if (def.kind > UAGRAPH_DEFINITION_OPTIONSET) {
    ua_file_report("unhandled enum value in %s: %i\n", "output_create_stringtable",
                   static_cast<int>(def.kind));
    return;
  }
  for (const UADataType* t : definition_chain(dt)) {
    for (const uagraph_field& f : t->Definition.fields) {
      strings_.add(f.Name.view());
      strings_.add_owned(symbolic_name(f.SymbolicName, f.Name.view()));
      if (is_structure_kind(def.kind)) {
        strings_.add(f.Description.text.view());
      } else {
        strings_.add(f.DisplayName.text.view());
        strings_.add(f.Description.text.view());
      }
    }
  }
}

void converter::collect_strings() {
  for (const uagraph_node* n : nodes_) {
    strings_.add(n->BrowseName.name.view());
    strings_.add(n->DisplayName.locale.view());
    strings_.add(n->DisplayName.text.view());
    const ua_localizedtext& desc = n->extra().Description;
    strings_.add(desc.locale.view());
    strings_.add(desc.text.view());
    const ua_variant* value = nullptr;
    if (const auto* v = n->as<UAVariable>()) value = &v->Value;
    if (const auto* vt = n->as<UAVariableType>()) value = &vt->Value;
    if (value != nullptr) {
      if (const auto* q = value->scalar<ua_qualifiedname>()) strings_.add(q->name.view());
    }
    if (const auto* rt = n->as<UAReferenceType>()) {
      strings_.add(rt->InverseName.locale.view());
      strings_.add(rt->InverseName.text.view());
    }
    if (const auto* dt = n->as<UADataType>()) add_definition_strings(*n, *dt);
  }
}

void converter::count() {
  uint16_t max_ns = 0;
  for (const uagraph_node* n : graph_.nodes()) max_ns = std::max(max_ns, n->NodeId.ns());
  counts_.assign(static_cast<std::size_t>(max_ns) + 1, ua_file_totals{});
  for (const uagraph_node* n : graph_.nodes()) {
    if (written(*n)) {
      nodes_.push_back(n);
      ua_file_totals& c = counts_[n->NodeId.ns()];
      const uint32_t total = ua_file_total_of_class(n->nodeclass());
      if (total < UA_FILE_TOTAL_COUNT) ++c[total];
      ++c[UA_FILE_TOTAL_NUMERIC_ID + static_cast<uint32_t>(n->NodeId.type())];
      c[UA_FILE_TOTAL_REFERENCE] += n->forward_count();
      continue;
    }
    for (const uagraph_reference& r : graph_.forward_references(*n)) {
      const uagraph_node& target = graph_.target_of(r);
      if (!written(target) || n->NodeId.ns() > target.NodeId.ns()) continue;
      cross_.push_back(&r);
      ++counts_[target.NodeId.ns()][UA_FILE_TOTAL_REFERENCE];
    }
  }
  for (const ua_file_totals& c : counts_)
    for (std::size_t i = 0; i < c.size(); ++i) totals_[i] += c[i];
}

std::vector<bool> converter::used_namespaces() const {
  // A selected namespace and, recursively, every namespace it requires.
  const std::span<const nstable_entry> entries = ns_.entries();
  std::vector<bool> used(entries.size(), false);
  std::vector<std::size_t> pending;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].used ||
        (entries[i].sdk_index < selected_.size() && selected_[entries[i].sdk_index]))
      pending.push_back(i);
  }
  while (!pending.empty()) {
    const std::size_t i = pending.back();
    pending.pop_back();
    if (used[i]) continue;
    used[i] = true;
    for (std::size_t r : entries[i].required)
      if (r < entries.size() && !used[r]) pending.push_back(r);
  }
  return used;
}

ua_file_namespace converter::namespace_record(const nstable_entry& e) const {
  ua_file_namespace rec;
  rec.index = static_cast<uint16_t>(e.sdk_index);
  rec.uri = e.uri;
  rec.version = e.version;
  ua_datetime date{UA_DATETIME_UNIX_EPOCH};
  if (e.publication_date && ua_datetime_from_string(date, *e.publication_date) != 0)
    date.ticks = UA_DATETIME_UNIX_EPOCH;
  rec.publication_date = date.ticks;
  if (e.sdk_index < counts_.size()) rec.counts = counts_[e.sdk_index];
  rec.role_permissions = e.default_role_permissions;
  rec.access_restrictions = e.default_access_restrictions;
  return rec;
}

int converter::set_base_attributes(const uagraph_node& n, const char* label) {
  const uagraph_node_extra& extra = n.extra();
  if (diag_verbosity() > 0) {
    // "Writing <label>: id=..., bn=..., dn=..., desc=..."
    line_.assign("Writing ").append(label).append(": id=");
    append_id(n.NodeId);
    line_ += ", bn=";
    append_printed(line_, n.BrowseName.name.view());
    line_ += ", dn=";
    append_printed(line_, n.DisplayName.text.view());
    line_ += ", desc=";
    append_printed(line_, extra.Description.text.view());
    line_ += '\n';
    print_line(line_);
  }
  rec_.nodeid = &n.NodeId;
  rec_.browse_ns = n.BrowseName.ns;
  bool ok = str(n.BrowseName.name.view(), rec_.browse_name);
  ok = ok && str(n.DisplayName.text.view(), rec_.display_name);
  ok = ok && str(extra.Description.text.view(), rec_.description);
  if (!ok) {
    ua_file_report("error: set_base_attributes\n");
    return UA_EBAD;
  }
  if (rec_.display_name != 0) rec_.flags |= UA_FILE_NODE_DISPLAYNAME;
  if (rec_.description != 0) rec_.flags |= UA_FILE_NODE_DESCRIPTION;
  if (n.WriteMask != 0) {
    rec_.flags |= UA_FILE_NODE_WRITEMASK;
    rec_.write_mask = n.WriteMask;
  }
  // A node that has no permissions at all carries an empty list, which differs from none.
  if (!extra.RolePermissions.empty() || n.HasNoPermissions) {
    rec_.perm_flags |= UA_FILE_PERM_ROLEPERMISSIONS;
    rec_.role_permissions = extra.RolePermissions;
  }
  if (n.has_access_restrictions()) {
    rec_.perm_flags |= UA_FILE_PERM_ACCESSRESTRICTIONS;
    rec_.access_restrictions = n.get_access_restrictions();
  }
  return 0;
}

int converter::set_datatype(const UADataType& dt) {
  if (dt.IsAbstract) rec_.flags |= UA_FILE_DATATYPE_ABSTRACT;
  const uagraph_definition& def = dt.Definition;
  if (def.kind == UAGRAPH_DEFINITION_NONE) return 0;
  if (def.kind > UAGRAPH_DEFINITION_OPTIONSET) {
    ua_file_report("error: unsupported datadefinition type: %i \n", static_cast<int>(def.kind));
    return UA_EBAD;
  }
  ua_file_definition& fd = rec_.definition;
  rec_.flags |= UA_FILE_DATATYPE_DEFINITION;
  fd.kind = kFileKind[def.kind];
  if (!str(def.Name.name.view(), fd.name)) return UA_EBAD;
  if (fd.name != 0) fd.kind |= UA_FILE_DEFINITION_NAME;
  const std::vector<const UADataType*> chain = definition_chain(dt);
  const bool structure = is_structure_kind(def.kind);
  const bool verbose = diag_verbosity() > 2;
  std::size_t count = 0;
  for (const UADataType* t : chain) count += t->Definition.fields.size();
  if (structure) {
    fd.default_encoding = &def.DefaultEncodingId;
    fd.base_type = &def.BaseTypeId;
    fd.fields.reserve(count);
  } else {
    fd.enum_fields.reserve(count);
  }
  for (const UADataType* t : chain) {
    for (const uagraph_field& f : t->Definition.fields) {
      if (verbose && !f.SymbolicName.empty())
        std::printf("info: found symname '%.*s'\n", static_cast<int>(f.SymbolicName.size()),
                    f.SymbolicName.data());
      sym_ = symbolic_name(f.SymbolicName, f.Name.view());
      uint32_t name = 0, symbol = 0, text1 = 0, text2 = 0;
      bool ok = str(f.Name.view(), name) && str(sym_, symbol);
      if (structure) {
        ok = ok && str(f.Description.text.view(), text2);
        if (!ok) {
          ua_file_report("error: adding structure fields failed\n");
          return UA_EBAD;
        }
        ua_file_structure_field sf;
        sf.name = name;
        sf.text1 = symbol;
        sf.text2 = text2;
        if (symbol != 0) sf.flags |= UA_FILE_SFIELD_TEXT1;
        if (text2 != 0) sf.flags |= UA_FILE_SFIELD_TEXT2;
        if (f.IsOptional) sf.flags |= UA_FILE_SFIELD_OPTIONAL;
        if (f.MaxStringLength != 0) sf.flags |= UA_FILE_SFIELD_MAXLENGTH;
        if (f.AllowSubTypes) sf.flags |= UA_FILE_SFIELD_SUBTYPES;
        sf.datatype = &f.DataType;
        sf.value_rank = f.ArrayInfo.ValueRank;
        const std::span<const uint32_t> dims = f.ArrayInfo.ArrayDimensions();
        sf.num_dims = static_cast<uint32_t>(dims.size());
        sf.dims = dims.data();
        sf.max_string_length = f.MaxStringLength;
        fd.fields.push_back(sf);
      } else {
        ok = ok && str(f.DisplayName.text.view(), text1) && str(f.Description.text.view(), text2);
        if (!ok) {
          ua_file_report("error: adding enum fields failed\n");
          return UA_EBAD;
        }
        ua_file_enum_field ef;
        ef.name = name;
        ef.symbolic_name = symbol;
        ef.value = f.Value;
        ef.text1 = text1;
        ef.text2 = text2;
        if (symbol != 0) ef.flags |= UA_FILE_EFIELD_SYMBOLICNAME;
        if (text2 != 0) ef.flags |= UA_FILE_EFIELD_TEXT2;
        fd.enum_fields.push_back(ef);
      }
    }
  }
  return 0;
}

int converter::write_node(const uagraph_node& n, const char* label) {
  rec_.reset(n.nodeclass());
  int ret = set_base_attributes(n, label);
  if (ret != 0) return ret;
  if (const auto* o = n.as<UAObject>()) {
    rec_.flags |= UA_FILE_OBJECT_EVENTNOTIFIER;
    rec_.event_notifier = o->EventNotifier;
  } else if (const auto* v = n.as<UAView>()) {
    rec_.flags |= UA_FILE_OBJECT_EVENTNOTIFIER;
    rec_.event_notifier = v->EventNotifier;
  } else if (const auto* ot = n.as<UAObjectType>()) {
    if (ot->IsAbstract) rec_.flags |= UA_FILE_OBJECTTYPE_ABSTRACT;
  } else if (const auto* m = n.as<UAMethod>()) {
    if (m->Executable) rec_.flags |= UA_FILE_METHOD_EXECUTABLE;
    if (!m->MethodDeclarationId.is_null()) {
      rec_.flags |= UA_FILE_METHOD_DECLARATION;
      rec_.method_declaration = &m->MethodDeclarationId;
    }
  } else if (const auto* rt = n.as<UAReferenceType>()) {
    if (rt->IsAbstract) rec_.flags |= UA_FILE_REFTYPE_ABSTRACT;
    if (rt->Symmetric) rec_.flags |= UA_FILE_REFTYPE_SYMMETRIC;
    if (!str(rt->InverseName.text.view(), rec_.inverse_name)) return UA_EBAD;
    if (rec_.inverse_name != 0) rec_.flags |= UA_FILE_REFTYPE_INVERSENAME;
  } else if (const auto* var = n.as<UAVariable>()) {
    rec_.flags |= UA_FILE_NODE_FLAGS2;
    if (var->AccessLevel != 1) {
      rec_.flags2 |= UA_FILE_VAR2_ACCESSLEVEL;
      rec_.access_level = var->AccessLevel;
    }
    rec_.flags |= UA_FILE_VAR_DATATYPE;
    rec_.datatype = &var->DataType;
    if (var->ArrayInfo.ValueRank != -1) {
      rec_.flags |= UA_FILE_VAR_VALUERANK;
      rec_.value_rank = var->ArrayInfo.ValueRank;
    }
    if (!var->ArrayInfo.ArrayDimensions().empty()) {
      rec_.flags2 |= UA_FILE_VAR2_ARRAYDIMENSIONS;
      rec_.array_dimensions = var->ArrayInfo.ArrayDimensions();
    }
    if (!var->Value.is_empty()) {
      rec_.flags |= UA_FILE_VAR_VALUE;
      rec_.value = &var->Value;
    }
    rec_.flags2 |= UA_FILE_VAR2_MINSAMPLING;
    rec_.minimum_sampling_interval = sampling_interval(var->MinimumSamplingInterval);
    if (var->Historizing) rec_.flags2 |= UA_FILE_VAR2_HISTORIZING;
  } else if (const auto* vt = n.as<UAVariableType>()) {
    rec_.flags |= UA_FILE_NODE_FLAGS2 | UA_FILE_VAR_DATATYPE;
    rec_.datatype = &vt->DataType;
    if (vt->ArrayInfo.ValueRank != -1) {
      rec_.flags |= UA_FILE_VAR_VALUERANK;
      rec_.value_rank = vt->ArrayInfo.ValueRank;
    }
    if (!vt->ArrayInfo.ArrayDimensions().empty()) {
      rec_.flags2 |= UA_FILE_VAR2_ARRAYDIMENSIONS;
      rec_.array_dimensions = vt->ArrayInfo.ArrayDimensions();
    }
    if (!vt->Value.is_empty()) {
      rec_.flags |= UA_FILE_VAR_VALUE;
      rec_.value = &vt->Value;
    }
    if (vt->IsAbstract) rec_.flags2 |= UA_FILE_VARTYPE2_ABSTRACT;
  } else if (const auto* dt = n.as<UADataType>()) {
    if ((ret = set_datatype(*dt)) != 0) return ret;
  }
  nodeext_add_selected(w_, sel_, n, rec_);
  return w_.write_node(rec_);
}

int converter::write_nodes() {
  struct section {
    uint32_t nodeclass;
    const char* label;
    int method_pass;  // 1: without declaration id, 2: with one
  };
  static constexpr section kSections[] = {
      {UA_NODECLASS_DATATYPE, "datatype", 0},
      {UA_NODECLASS_REFERENCETYPE, "referencetype", 0},
      {UA_NODECLASS_VARIABLETYPE, "variabletype", 0},
      {UA_NODECLASS_OBJECTTYPE, "objecttype", 0},
      {UA_NODECLASS_VARIABLE, "variable", 0},
      {UA_NODECLASS_OBJECT, "object", 0},
      {UA_NODECLASS_METHOD, "method", 1},
      {UA_NODECLASS_METHOD, "method", 2},
      {UA_NODECLASS_VIEW, "view", 0},
  };
  // The nodes of each section in graph order, sorted out in one pass.
  constexpr std::size_t k_count = std::size(kSections);
  std::array<std::vector<const uagraph_node*>, k_count> sections;
  for (const uagraph_node* n : nodes_) {
    for (std::size_t i = 0; i < k_count; ++i) {
      const section& s = kSections[i];
      if (n->nodeclass() != s.nodeclass) continue;
      if (s.method_pass != 0) {
        const bool has_decl = !n->as<UAMethod>()->MethodDeclarationId.is_null();
        if (has_decl != (s.method_pass == 2)) continue;
      }
      sections[i].push_back(n);
      break;
    }
  }
  for (std::size_t i = 0; i < k_count; ++i) {
    const section& s = kSections[i];
    for (const uagraph_node* n : sections[i]) {
      if (int ret = write_node(*n, s.label); ret != 0) {
        // The record stops in the middle: name the node, so that the model can be fixed.
        diag_error(VOS_HERE, "output_write_nodes", "failed to write node %s: %s\n",
                   ua_nodeid_printable(n->NodeId).c_str(), util_error_lookup(ret));
        return ret;
      }
    }
  }
  return 0;
}

int converter::write_references() {
  const bool verbose = diag_verbosity() > 1;
  const auto write = [&](const char* label, const uagraph_reference& r) {
    const ua_nodeid& s = graph_.source_of(r).NodeId;
    const ua_nodeid& t = graph_.target_of(r).NodeId;
    const ua_nodeid& type = graph_.reftype_of(r).NodeId;
    if (verbose) {
      line_.assign(label);
      append_id(s);
      line_ += " -> ";
      append_id(t);
      line_ += ": ";
      append_id(type);
      line_ += '\n';
      print_line(line_);
    }
    return w_.write_reference(s, t, type);
  };
  for (const uagraph_node* n : nodes_) {
    for (const uagraph_reference& r : graph_.forward_references(*n)) {
      if (int ret = write("Writing reference: ", r); ret != 0) return ret;
    }
  }
  for (const uagraph_reference* r : cross_) {
    if (int ret = write("Writing cross-reference: ", *r); ret != 0) return ret;
  }
  return 0;
}

int converter::run(const char* path) {
  w_.set_creation_time(creation_time());
  int ret = w_.reserve_extension_uris(1);
  if (ret == 0) ret = w_.add_extension_uri(NODEEXT_URI);
  ua_file_extension gen;
  if (ret == 0) ret = nodeext_make_generator_info(w_, kToolName, build_info::version, gen);
  if (ret == 0) ret = w_.add_file_extension(std::move(gen));
  if (ret != 0) return ret;

  count();
  collect_strings();
  const std::vector<std::string_view>& entries = strings_.entries();
  if ((ret = w_.create_string_tables(static_cast<uint32_t>(entries.size()), "")) != 0) return ret;
  for (uint32_t i = 0; i < entries.size(); ++i) w_.set_string(0, i, entries[i]);
  w_.totals() = totals_;

  const std::vector<bool> used = used_namespaces();
  const std::span<const nstable_entry> table = ns_.entries();
  for (std::size_t i = 0; i < table.size(); ++i) {
    const nstable_entry& e = table[i];
    if (e.sdk_index < selected_.size() && selected_[e.sdk_index])
      w_.add_model_namespace(namespace_record(e));
    else if (used[i] && e.sdk_index != 1)
      w_.add_dependency_namespace(namespace_record(e));
  }

  if ((ret = w_.open(path)) != 0) return ret;
  ret = write_nodes();
  if (ret == 0) ret = write_references();
  if (ret != 0) {
    w_.abandon();
    return ret;
  }
  return w_.close();
}

}  // namespace

int convert_write_file(const uagraph& graph, const nstable& namespaces, const char* path,
                       const char* extensions) {
  nodeext_selection sel;
  if (extensions != nullptr) {
    nodeext_parse_selection(sel, extensions);
    nodeext_print_selection(sel, stdout);
  }
  converter c(graph, namespaces, sel);
  const int ret = c.run(path);
  std::fflush(stdout);
  return ret;
}

}  // namespace vos
