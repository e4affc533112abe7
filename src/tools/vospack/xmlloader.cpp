// The NodeSet loader: file, namespaces and models, aliases, the node and reference passes
// and the data-type completion.
#include "tools/vospack/xmlloader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "diag/diag.h"
#include "uabase/text_datetime.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr uint32_t k_id_basedatatype = 24;
constexpr uint32_t k_id_hasencoding = 38;

const char* or_null(const std::optional<std::string>& s) {
  return s ? s->c_str() : "(null)";
}

// Dispatch by element name of the document element's children.
enum class child_kind { skip, aliases, node, other };

struct child_row {
  std::string_view name;
  child_kind kind;
  uint32_t nodeclass;
};

constexpr child_row k_children[] = {
    {"Models", child_kind::skip, 0},
    {"Aliases", child_kind::aliases, 0},
    {"NamespaceUris", child_kind::skip, 0},
    {"Extensions", child_kind::skip, 0},
    {"UAObject", child_kind::node, UA_NODECLASS_OBJECT},
    {"UAObjectType", child_kind::node, UA_NODECLASS_OBJECTTYPE},
    {"UAVariable", child_kind::node, UA_NODECLASS_VARIABLE},
    {"UAVariableType", child_kind::node, UA_NODECLASS_VARIABLETYPE},
    {"UADataType", child_kind::node, UA_NODECLASS_DATATYPE},
    {"UAReferenceType", child_kind::node, UA_NODECLASS_REFERENCETYPE},
    {"UAMethod", child_kind::node, UA_NODECLASS_METHOD},
    {"UAView", child_kind::node, UA_NODECLASS_VIEW},
};

const child_row* find_child_row(std::string_view name) {
  for (const child_row& row : k_children) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

// One pass over the document element's children: a child with a dispatch row goes to
// `handle` with its row, any other is reported and skipped. Stops at the first child that
// `handle` fails; returns 0 or UA_EBAD.
template <class Handler>
int for_each_child(xml_doc& doc, const xml_node& root, const char* fn, Handler&& handle) {
  // The text behind is given back as the pass moves on (for a large mapped file).
  const char* const text = doc.text().data();
  std::size_t released = 0;
  for (const xml_node& child : root.children()) {
    const auto at = static_cast<std::size_t>(child.name().data() - text);
    if (at >= released + XML_RELEASE_STEP) {
      xml_doc_release_text(doc, released, at);
      released = at;
    }
    const child_row* row = find_child_row(child.name());
    if (row == nullptr) {
      diag_debug_at(VOS_HERE, fn, &child, "Ignoring tag %.*s\n",
                    static_cast<int>(child.name().size()), child.name().data());
      continue;
    }
    if (handle(child, *row) != 0) return UA_EBAD;
  }
  return 0;
}

std::string_view trim(std::string_view s) {
  const auto space = [](char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
  };
  while (!s.empty() && space(s.front())) s.remove_prefix(1);
  while (!s.empty() && space(s.back())) s.remove_suffix(1);
  return s;
}

// Why a document that parsed has no element: an empty file, a binary file (the parser
// stops at the first NUL byte), or text without markup.
void report_no_element(const xml_doc& doc) {
  static constexpr const char* fn = "xmlloader_load_nodeset";
  const char* name = doc.file_name() != nullptr ? doc.file_name() : "buffer";
  const std::string_view text = doc.text();
  if (text.empty()) {
    diag_error(VOS_HERE, fn, "'%s' is empty\n", name);
    return;
  }
  const std::size_t nul = text.find('\0');
  if (nul == std::string_view::npos) {
    diag_error(VOS_HERE, fn, "'%s' holds no XML element\n", name);
    return;
  }
  // Counted as the parser counts: lines from 1, the column of a line's first byte is 1.
  const std::string_view before = text.substr(0, nul);
  const std::size_t lf = before.rfind('\n');
  const auto line = static_cast<unsigned>(std::count(before.begin(), before.end(), '\n') + 1);
  const auto column = static_cast<unsigned>(lf == std::string_view::npos ? nul + 1 : nul - lf);
  diag_error(VOS_HERE, fn, "'%s' is not an XML text file: a NUL byte at line %u, column %u\n", name,
             line, column);
}

}  // namespace

// The attributes and children of a node element that the node pass reads, found in one pass
// over the element: for each name the first attribute (or child element) of that local name,
// as a look-up by name would find it.
struct xmlloader::node_parts {
  enum attribute : uint8_t {
    NodeId,
    ParentNodeId,
    BrowseName,
    SymbolicName,
    AccessRestrictions,
    WriteMask,
    HasNoPermissions,
    EventNotifier,
    DataType,
    ValueRank,
    ArrayDimensions,
    Historizing,
    AccessLevel,
    MinimumSamplingInterval,
    Executable,
    MethodDeclarationId,
    IsAbstract,
    Symmetric,
    attribute_count
  };
  enum child : uint8_t {
    DisplayName,
    Description,
    Extensions,
    RolePermissions,
    Documentation,
    Category,
    Value,
    InverseName,
    Definition,
    child_count
  };

  explicit node_parts(const xml_node& element) {
    for (const xml_node& n : element.nodes()) {
      if (n.is_attribute()) {
        const int slot = attribute_slot(n.name());
        if (slot >= 0 && attributes[slot] == nullptr) attributes[slot] = &n;
      } else if (n.is_element()) {
        const int slot = child_slot(n.name());
        if (slot >= 0 && children[slot] == nullptr) children[slot] = &n;
      }
    }
  }
  const xml_node* operator[](attribute a) const { return attributes[a]; }
  const xml_node* operator[](child c) const { return children[c]; }

 private:
  static int attribute_slot(std::string_view name) {
    static constexpr std::pair<std::string_view, attribute> k_names[] = {
        {"NodeId", NodeId},
        {"ParentNodeId", ParentNodeId},
        {"BrowseName", BrowseName},
        {"SymbolicName", SymbolicName},
        {"AccessRestrictions", AccessRestrictions},
        {"WriteMask", WriteMask},
        {"HasNoPermissions", HasNoPermissions},
        {"EventNotifier", EventNotifier},
        {"DataType", DataType},
        {"ValueRank", ValueRank},
        {"ArrayDimensions", ArrayDimensions},
        {"Historizing", Historizing},
        {"AccessLevel", AccessLevel},
        {"MinimumSamplingInterval", MinimumSamplingInterval},
        {"Executable", Executable},
        {"MethodDeclarationId", MethodDeclarationId},
        {"IsAbstract", IsAbstract},
        {"Symmetric", Symmetric},
    };
    for (const auto& [text, slot] : k_names)
      if (text == name) return slot;
    return -1;
  }
  static int child_slot(std::string_view name) {
    static constexpr std::pair<std::string_view, child> k_names[] = {
        {"DisplayName", DisplayName},
        {"Description", Description},
        {"Extensions", Extensions},
        {"RolePermissions", RolePermissions},
        {"Documentation", Documentation},
        {"Category", Category},
        {"Value", Value},
        {"InverseName", InverseName},
        {"Definition", Definition},
    };
    for (const auto& [text, slot] : k_names)
      if (text == name) return slot;
    return -1;
  }

  std::array<const xml_node*, attribute_count> attributes{};
  std::array<const xml_node*, child_count> children{};
};

xmlloader::xmlloader(uagraph& graph, nstable& namespaces)
    : graph_(graph), namespaces_(namespaces), values_(&namespaces) {}

void xmlloader::set_default_locale(std::string_view locale) {
  default_locale_.assign(locale.substr(0, XMLLOADER_MAX_LOCALE));
}

int xmlloader::alias_find(std::string_view name) const {
  const uint32_t index = alias_index_.find(name);
  return index == string_index::k_none ? -1 : static_cast<int>(index);
}

void xmlloader::reset_file_state() {
  model_ = xmlloader_model{};
  aliases_.clear();
  alias_index_.clear();
  placeholder_alias_ = -1;
  xml_to_run_.clear();
  loaded_.clear();
  values_.text_watch().reset();
}

int xmlloader::load_nodeset(const char* path, Md5* digest) {
  diag_debug_at(VOS_HERE, "xmlloader_load_nodeset", nullptr, "Parsing XML file '%s'\n", path);
  int read_error = 0;
  int ret = xml_doc_load_file(path, doc_, &read_error);
  // Syntax errors have been reported with their place; a file that could not be read, only
  // here, so that a wrong path is told apart from a broken model.
  if (ret != 0 && read_error != 0) {
    diag_error(VOS_HERE, "xmlloader_load_nodeset", "cannot read '%s': %s\n", path,
               std::strerror(read_error));
  }
  if (ret == 0) ret = load_document(doc_);
  if (ret == 0 && digest != nullptr) {
    const std::string_view text = doc_.text();
    constexpr std::size_t k_step = std::size_t{32} << 20;
    for (std::size_t at = 0; at < text.size(); at += k_step) {
      digest->update(text.substr(at, k_step));
      xml_doc_release_text(doc_, at, at + k_step);
    }
  }
  // The tree's memory stays for the next file; the text goes.
  xml_doc_reset(doc_);
  return ret;
}

int xmlloader::load_nodeset_buffer(std::string_view text, const char* name) {
  diag_debug_at(VOS_HERE, "xmlloader_load_nodeset", nullptr, "Parsing XML file '%s'\n", name);
  int ret = xml_doc_parse_buffer(text.data(), text.size(), doc_, name);
  if (ret == 0) ret = load_document(doc_);
  xml_doc_reset(doc_);
  return ret;
}

int xmlloader::load_document(xml_doc& doc) {
  static constexpr const char* fn = "xmlloader_load_nodeset";
  reset_file_state();
  const char* ignore = std::getenv("IGNORE_VERSION_CHECK");
  ignore_version_check_ = ignore != nullptr && ignore[0] != '\0';

  const xml_node* root = doc.document_element();
  if (root == nullptr) {
    report_no_element(doc);
    return UA_EBAD;
  }
  // Any other document fails without a message of its own: the driver names the file.
  if (root->name() != "UANodeSet") return UA_EBAD;

  ua_datetime last_modified;
  if (const xml_node* lm = root->find_attribute("LastModified")) {
    std::string text(lm->value());
    if (text.size() >= 32) {
      diag_error_at(4024, VOS_HERE, fn, lm, "LastModified Timestamp is too long\n");
      return UA_EBAD;
    }
    if (text.empty() || text.back() != 'Z') text += 'Z';
    if (ua_datetime_from_string(last_modified, text) != 0) return UA_EBAD;
  }

  int result = 0;
  if (load_namespaces(root, last_modified) != 0) {
    result = UA_EBAD;
  } else {
    diag_debug_at(VOS_HERE, fn, nullptr, "3rd pass: loading nodes\n");
    result = for_each_child(doc, *root, fn, [this](const xml_node& child, const child_row& row) {
      if (row.kind == child_kind::aliases) return load_aliases(&child);
      if (row.kind == child_kind::node) return load_node(&child, row.nodeclass);
      return 0;
    });
  }
  if (result == 0) {
    diag_debug_at(VOS_HERE, fn, nullptr, "4th pass: loading references\n");
    // The node pass made the nodes of these elements in this order.
    std::size_t next = 0;
    result = for_each_child(doc, *root, fn, [&](const xml_node& child, const child_row& row) {
      if (row.kind != child_kind::node) return 0;
      return load_node_refs(&child, *graph_.node_at(loaded_[next++]));
    });
  }
  // The aliases are slices of this document: gone with it.
  reset_file_state();
  if (result == 0) complete_datatypes();
  return result;
}

int xmlloader::load_namespaces(const xml_node* root, ua_datetime last_modified) {
  static constexpr const char* fn = "xmlloader_load_namespaces";
  model_ = xmlloader_model{};
  namespaces_.reset_xml_indices();
  xml_to_run_.assign(1, 0);

  if (const xml_node* uris = root->find_child("NamespaceUris")) {
    uint32_t file_index = 0;
    for (const xml_node* u = uris->find_child("Uri"); u != nullptr;
         u = u->find_next_sibling("Uri")) {
      ++file_index;
      std::string_view text;
      if (kept_text_of(u, text) != 0) text = u->value();
      const std::string uri(text);
      if (!model_.ModelUri) {
        model_.ModelUri = uri;
        diag_debug_at(VOS_HERE, fn, u, "Setting first Uri as Model.Uri fallback: %.*s\n",
                      static_cast<int>(uri.size()), uri.data());
      }
      const nstable_entry* known = namespaces_.find_by_uri(uri);
      const uint32_t run_index =
          known != nullptr ? known->sdk_index : static_cast<uint32_t>(namespaces_.count());
      diag_debug_at(VOS_HERE, fn, u, "Adding new Namespace Uri: %i(xml) -> %i(sdk), %.*s\n",
                    static_cast<int>(file_index), static_cast<int>(run_index),
                    static_cast<int>(uri.size()), uri.data());
      if (namespaces_.add_entry(uri, file_index, run_index) != 0) {
        diag_error_at(4003, VOS_HERE, fn, u,
                      "Reached maximum number of supported namespace uris.\n");
        return UA_EBAD;
      }
      nstable_entry* entry = namespaces_.find_by_uri(uri);
      entry->last_modified = last_modified;
      if (xml_to_run_.size() <= file_index) xml_to_run_.resize(file_index + 1, UINT32_MAX);
      xml_to_run_[file_index] = entry->sdk_index;
      model_.uris.push_back(uri);
    }
  } else {
    diag_debug_at(VOS_HERE, fn, root, "<NamespaceUris> not available.\n");
  }
  // Shown with the debug lines.
  if (diag_verbosity() >= 4) namespaces_.print();

  const xml_node* models = root->find_child("Models");
  if (models == nullptr) {
    diag_error_at(4023, VOS_HERE, fn, root,
                  "<Models> element is missing in UA information model '%s'.\nOnly published "
                  "information models are supported to make namespace mapping working "
                  "reliable.\n",
                  or_null(model_.ModelUri));
    return UA_EBAD;
  }
  const xml_node* model = models->find_child("Model");
  if (model == nullptr) {
    if (model_.ModelUri) {
      if (nstable_entry* e = namespaces_.find_by_uri(*model_.ModelUri)) {
        e->version = model_.Version;
        e->publication_date = model_.PublicationDate;
      }
    }
    return 0;
  }

  const auto read_attr = [this](const xml_node* element, std::string_view name) {
    std::optional<std::string> out;
    if (const xml_node* a = element->find_attribute(name)) {
      std::string_view text;
      if (kept_text_of(a, text) != 0) text = a->value();
      out.emplace(text);
    }
    return out;
  };

  if (auto uri = read_attr(model, "ModelUri")) model_.ModelUri = std::move(uri);
  model_.Version = read_attr(model, "Version");
  model_.PublicationDate = read_attr(model, "PublicationDate");
  diag_debug_at(VOS_HERE, fn, model, "Model.Uri=%s\n", or_null(model_.ModelUri));
  diag_debug_at(VOS_HERE, fn, model, "Model.Version=%s\n", or_null(model_.Version));
  diag_debug_at(VOS_HERE, fn, model, "Model.PublicationDate=%s\n", or_null(model_.PublicationDate));

  // A model whose URI the file does not list has no entry: its defaults and dependencies are
  // then not recorded, but its requirements are still checked.
  nstable_entry* self = model_.ModelUri ? namespaces_.find_by_uri(*model_.ModelUri) : nullptr;
  if (self != nullptr) {
    self->last_modified = last_modified;
    if (const xml_node* rp = model->find_child("RolePermissions")) {
      std::vector<uagraph_rolepermission> perms;
      if (parse_rolepermissions(rp, perms) < 0) {
        diag_error_at(4022, VOS_HERE, fn, rp, "Parsing RolePermissions failed.");
        return UA_EBAD;
      }
      self->default_role_permissions = std::move(perms);
    }
    if (const xml_node* ar = model->find_attribute("AccessRestrictions")) {
      uint16_t v = 0;
      if (attr_uint16(model, "AccessRestrictions", v, 4026, "invalid uint16\n") < 0) {
        diag_error_at(4022, VOS_HERE, fn, ar, "Parsing AccessRestrictions failed.");
        return UA_EBAD;
      }
      self->default_access_restrictions = v;
    }
  }

  for (const xml_node* req = model->find_child("RequiredModel"); req != nullptr;
       req = req->find_next_sibling("RequiredModel")) {
    const auto uri = read_attr(req, "ModelUri");
    const auto version = read_attr(req, "Version");
    const auto date = read_attr(req, "PublicationDate");
    diag_debug_at(VOS_HERE, fn, req, "Model.Uri=%s\n", or_null(uri));
    diag_debug_at(VOS_HERE, fn, req, "Model.Version=%s\n", or_null(version));
    diag_debug_at(VOS_HERE, fn, req, "Model.PublicationDate=%s\n", or_null(date));
    if (!uri) {
      diag_error_at(4019, VOS_HERE, fn, req, "URI missing in RequiredModel\n");
      return UA_EBAD;
    }
    const nstable_entry* loaded = namespaces_.find_by_uri(*uri);
    if (loaded == nullptr) {
      diag_error_at(4022, VOS_HERE, fn, req, "Required model %s was not loaded.\n", uri->c_str());
      return UA_EBAD;
    }
    bool acceptable = true;
    if (version && loaded->version != version) {
      diag_warning_at(1006, VOS_HERE, fn, req,
                      "The model %s requires model %s version %s, but you loaded version %s.\n",
                      or_null(model_.ModelUri), uri->c_str(), version->c_str(),
                      or_null(loaded->version));
    }
    if (date) {
      if (!loaded->publication_date) {
        acceptable = false;
      } else {
        ua_datetime have;
        ua_datetime want;
        if (ua_datetime_from_string(have, *loaded->publication_date) != 0) {
          diag_error_at(4020, VOS_HERE, fn, req,
                        "The publication date of namespace %s is invalid: %s\n", uri->c_str(),
                        loaded->publication_date->c_str());
          return UA_EBAD;
        }
        if (ua_datetime_from_string(want, *date) != 0) {
          diag_error_at(4020, VOS_HERE, fn, req,
                        "The publication date of required model %s is invalid: %s\n", uri->c_str(),
                        date->c_str());
          return UA_EBAD;
        }
        if (have > want) {
          diag_warning_at(1007, VOS_HERE, fn, req,
                          "The loaded version of namespace %s is newer than the required one, but "
                          "this is usually OK.\n",
                          uri->c_str());
        } else if (have < want) {
          acceptable = false;
        }
      }
    }
    if (!acceptable && !ignore_version_check_) {
      diag_error_at(4021, VOS_HERE, fn, req,
                    "The required model for namespace %s was found, but has wrong or missing "
                    "version information:\nRequired Version: %s %s\n  Loaded Version: %s %s\n",
                    uri->c_str(), or_null(version), or_null(date), or_null(loaded->version),
                    or_null(loaded->publication_date));
      return UA_EBAD;
    }
    if (self != nullptr) namespaces_.add_required(*self, *loaded);
  }

  if (self != nullptr) {
    self->version = model_.Version;
    self->publication_date = model_.PublicationDate;
  }
  return 0;
}

int xmlloader::load_aliases(const xml_node* aliases) {
  for (const xml_node& alias : aliases->children()) {
    if (aliases_.size() >= XMLLOADER_MAX_ALIASES) return 0;
    const xml_node* name = alias.find_attribute("Alias");
    if (name == nullptr) return -2;  // without a message
    const std::string_view key = name->value();
    ua_nodeid id;
    const int ret = parse_nodeid(&alias, id);
    if (ret < 0) return ret;
    if (key == "Placeholder") placeholder_alias_ = static_cast<int>(aliases_.size());
    alias_index_.insert(key, static_cast<uint32_t>(aliases_.size()));
    aliases_.emplace_back(key, std::move(id));
    if (aliases_.size() >= XMLLOADER_MAX_ALIASES) {
      diag_error_at(4002, VOS_HERE, "load_aliases", &alias,
                    "Could not load alias. Reach MAX_ALIASES=%u limit.\n", XMLLOADER_MAX_ALIASES);
      return UA_EBAD;
    }
  }
  return 0;
}

int xmlloader::load_node_attributes(const xml_node* element, const node_parts& parts,
                                    uagraph_node& node) {
  static constexpr const char* fn = "load_node";
  const xml_node* nodeid = parts[node_parts::NodeId];
  int ret = parse_nodeid(nodeid, node.NodeId);
  if (ret < 0) {
    diag_error_at(4005, VOS_HERE, fn, nodeid, "Parsing NodeId failed.");
    return ret;
  }
  if (const xml_node* parent = parts[node_parts::ParentNodeId]) {
    ua_nodeid id;
    ret = parse_nodeid(parent, id);
    if (ret < 0) {
      diag_error_at(4005, VOS_HERE, fn, parent, "Parsing ParentNodeId failed.");
      return ret;
    }
    node.extra_mut().ParentNodeId = std::move(id);
  }
  const xml_node* browse = parts[node_parts::BrowseName];
  ret = parse_qname(browse, node.BrowseName);
  if (ret < 0) {
    diag_error_at(4006, VOS_HERE, fn, browse, "Parsing BrowseName failed.");
    return ret;
  }
  ret = parse_localizedtext(parts[node_parts::DisplayName], node.DisplayName);
  if (ret < 0) {
    diag_error_at(4029, VOS_HERE, fn, parts[node_parts::DisplayName],
                  "Parsing DisplayName failed.");
    return ret;
  }
  if (const xml_node* description = parts[node_parts::Description]) {
    ua_localizedtext text;
    ret = parse_localizedtext(description, text);
    if (ret < 0) {
      diag_error_at(4029, VOS_HERE, fn, description, "Parsing Description element failed.");
      return ret;
    }
    node.extra_mut().Description = std::move(text);
  }
  if (const xml_node* sym = parts[node_parts::SymbolicName]) {
    ua_string name;
    ret = parse_symbolicname(sym, name);
    if (ret < 0) {
      diag_error_at(4011, VOS_HERE, fn, sym, "Parsing SymbolicName attribute failed.");
      return ret;
    }
    node.extra_mut().SymbolicName = std::move(name);
  }
  uint16_t restrictions = 0;
  ret = attr_uint16(parts[node_parts::AccessRestrictions], restrictions, 4026, "invalid uint16\n");
  if (ret < 0) {
    diag_error_at(4026, VOS_HERE, fn, parts[node_parts::AccessRestrictions],
                  "Parsing AccessRestrictions failed.");
    return ret;
  }
  if (ret == 0) node.set_access_restrictions(restrictions);
  if (const xml_node* ext = parts[node_parts::Extensions]) {
    const xml_node* first = ext->first_child();
    if (first != nullptr && first->name() == "RTAddress") {
      std::string_view text;
      if (kept_text_of(first, text) != 0) {
        diag_error_at(4031, VOS_HERE, fn, ext, "Parsing Extensions failed.");
        return UA_EBAD;
      }
      node.extra_mut().RTAddress.assign(text);
    } else {
      node.extra_mut().extensions.emplace_back(trim(ext->value()));
    }
  }
  if (const xml_node* rp = parts[node_parts::RolePermissions]) {
    ret = parse_rolepermissions(rp, node.extra_mut().RolePermissions);
    if (ret < 0) {
      diag_error_at(4025, VOS_HERE, fn, rp, "Parsing RolePermissions failed.");
      return ret;
    }
  }
  if (const xml_node* doc = parts[node_parts::Documentation]) {
    std::string_view text;
    if (kept_text_of(doc, text) != 0) {
      diag_error_at(4030, VOS_HERE, fn, doc, "Parsing Documentation element failed.");
      return UA_EBAD;
    }
    node.extra_mut().Documentation.assign(text);
  }
  ret = attr_uint32(parts[node_parts::WriteMask], node.WriteMask, 4027,
                    "xml_strtoint32 conversion failed");
  if (ret < 0) {
    diag_error_at(4027, VOS_HERE, fn, parts[node_parts::WriteMask], "Parsing WriteMask failed.");
    return ret;
  }
  node.HasNoPermissions = attr_bool(parts[node_parts::HasNoPermissions], false);
  if (node.HasNoPermissions && node.rolepermission_count() > 0) {
    diag_error_at(4028, VOS_HERE, fn, element,
                  "invalid nodeset: node has RolePermissions, but attribute HasNoPermissions=true");
    return UA_EBAD;
  }
  for (const xml_node* cat = parts[node_parts::Category]; cat != nullptr;
       cat = cat->find_next_sibling("Category")) {
    std::string_view text;
    if (kept_text_of(cat, text) != 0) continue;
    node.extra_mut().categories.emplace_back(text);
  }
  return 0;
}

int xmlloader::load_class_attributes(const xml_node* element, const node_parts& parts,
                                     uagraph_node& node) {
  static constexpr const char* fn = "load_node";
  int ret = 0;
  // DataType, array information and value of a Variable or VariableType.
  const auto variable_common = [&](ua_nodeid& datatype, uagraph_arrayinfo& info) {
    int r = resolve_nodeid(parts[node_parts::DataType], datatype);
    if (r == 1) {
      datatype = ua_nodeid(0, k_id_basedatatype);
    } else if (r < 0) {
      diag_error_at(4005, VOS_HERE, fn, parts[node_parts::DataType],
                    "Parsing DataType nodeid failed.");
      return r;
    }
    r = parse_array_info(parts[node_parts::ValueRank], parts[node_parts::ArrayDimensions], info,
                         4010, "parse_array_info");
    if (r < 0) {
      diag_error_at(4010, VOS_HERE, fn, element, "Parsing array information failed.");
      return r;
    }
    return 0;
  };
  const auto read_value = [&](ua_variant& value) {
    const int r = values_.get_variant(parts[node_parts::Value], {}, value);
    if (r < 0) {
      diag_error_at(4032, VOS_HERE, fn, parts[node_parts::Value], "Parsing Value failed.");
      return r;
    }
    return 0;
  };

  switch (node.nodeclass()) {
    case UA_NODECLASS_OBJECT: {
      auto& obj = *node.as<UAObject>();
      ret = attr_uint8(parts[node_parts::EventNotifier], obj.EventNotifier, 4009);
      if (ret < 0) {
        diag_error_at(4009, VOS_HERE, fn, parts[node_parts::EventNotifier],
                      "Parsing EventNotifier failed.");
        return ret;
      }
      return 0;
    }
    case UA_NODECLASS_VARIABLE: {
      auto& var = *node.as<UAVariable>();
      if ((ret = variable_common(var.DataType, var.ArrayInfo)) < 0) return ret;
      var.Historizing = attr_bool(parts[node_parts::Historizing], false);
      ret = attr_uint8(parts[node_parts::AccessLevel], var.AccessLevel, 4007);
      if (ret < 0) {
        diag_error_at(4007, VOS_HERE, fn, parts[node_parts::AccessLevel],
                      "Parsing AccessLevel failed.");
        return ret;
      }
      if (const xml_node* msi = parts[node_parts::MinimumSamplingInterval]) {
        const std::string text(msi->value());
        errno = 0;
        const double v = std::strtod(text.c_str(), nullptr);
        if ((v == 0 || std::isnan(v)) && errno != 0) {
          diag_error_at(4008, VOS_HERE, "parse_double", msi, "strtod conversion failed");
          diag_error_at(4008, VOS_HERE, fn, msi, "Parsing MinimumSamplingInterval failed.");
          return UA_EBAD;
        }
        var.MinimumSamplingInterval = v;
      }
      return read_value(var.Value);
    }
    case UA_NODECLASS_METHOD: {
      auto& m = *node.as<UAMethod>();
      m.Executable = attr_bool(parts[node_parts::Executable], true);
      if (const xml_node* decl = parts[node_parts::MethodDeclarationId]) {
        parse_nodeid(decl, m.MethodDeclarationId);  // a failure is ignored
      }
      return 0;
    }
    case UA_NODECLASS_OBJECTTYPE:
      node.as<UAObjectType>()->IsAbstract = attr_bool(parts[node_parts::IsAbstract], false);
      return 0;
    case UA_NODECLASS_VARIABLETYPE: {
      auto& vt = *node.as<UAVariableType>();
      if ((ret = variable_common(vt.DataType, vt.ArrayInfo)) < 0) return ret;
      vt.IsAbstract = attr_bool(parts[node_parts::IsAbstract], false);
      return read_value(vt.Value);
    }
    case UA_NODECLASS_REFERENCETYPE: {
      auto& rt = *node.as<UAReferenceType>();
      rt.IsAbstract = attr_bool(parts[node_parts::IsAbstract], false);
      rt.Symmetric = attr_bool(parts[node_parts::Symmetric], false);
      ret = parse_localizedtext(parts[node_parts::InverseName], rt.InverseName);
      if (ret < 0) {
        diag_error_at(4029, VOS_HERE, fn, parts[node_parts::InverseName],
                      "Parsing InverseName failed.");
        return ret;
      }
      rt.HasInverseName = ret == 0;
      return 0;
    }
    case UA_NODECLASS_DATATYPE: {
      auto& dt = *node.as<UADataType>();
      dt.IsAbstract = attr_bool(parts[node_parts::IsAbstract], false);
      ret = parse_definition(parts[node_parts::Definition], dt.Definition);
      if (ret < 0) {
        diag_error_at(4012, VOS_HERE, fn, parts[node_parts::Definition], "Invalid Definition");
        return ret;
      }
      return 0;
    }
    default:
      // Views: EventNotifier and ContainsNoLoops stay 0.
      return 0;
  }
}

int xmlloader::load_node(const xml_node* element, uint32_t nodeclass) {
  const node_parts parts(*element);
  if (parts[node_parts::NodeId] == nullptr || parts[node_parts::BrowseName] == nullptr ||
      parts[node_parts::DisplayName] == nullptr) {
    return UA_EBAD;
  }
  uagraph_node_ptr node = uagraph::node_new(nodeclass);
  if (!node) return UA_EBAD;
  int ret = load_node_attributes(element, parts, *node);
  if (ret < 0) return ret;
  ret = load_class_attributes(element, parts, *node);
  if (ret < 0) return ret;

  uagraph_node* added = node.get();
  ret = graph_.node_add(std::move(node));
  if (ret == UA_EBADDUPLICATEENTRY) {
    // The second node of that id is dropped, and the file refused.
    const xml_node* id = parts[node_parts::NodeId];
    diag_error_at(4005, VOS_HERE, "load_node", id, "A node with the NodeId %.*s exists already.\n",
                  static_cast<int>(id->value().size()), id->value().data());
    return UA_EBAD;
  }
  if (ret != 0) return ret;
  loaded_.push_back(added->node_index());
  if (nodeclass == UA_NODECLASS_DATATYPE) datatypes_.push_back(added->node_index());
  return 0;
}

int xmlloader::load_ref(const xml_node* reference, ua_nodeid& target, ua_nodeid& reftype,
                        bool& is_forward) {
  static constexpr const char* fn = "load_ref";
  reftype.clear();
  int ret = resolve_nodeid(reference, "ReferenceType", reftype);
  if (ret < 0) {
    diag_error_at(4005, VOS_HERE, fn, reference, "parse_reftype failed.");
    return ret;
  }
  is_forward = attr_bool(reference, "IsForward", true);
  target.clear();
  ret = resolve_nodeid(reference, {}, target);
  if (ret < 0) {
    diag_error_at(4005, VOS_HERE, fn, reference, "resolve_nodeid failed.");
    return ret;
  }
  return 0;
}

int xmlloader::load_node_refs(const xml_node* element) {
  static constexpr const char* fn = "load_node_refs";
  const xml_node* attr = element->find_attribute("NodeId");
  if (attr == nullptr) {
    diag_error_at(4005, VOS_HERE, fn, element, "NodeId attribute is missing.");
    return UA_EBAD;
  }
  ua_nodeid id;
  const int ret = parse_nodeid(attr, id);
  if (ret < 0) {
    diag_error_at(4005, VOS_HERE, fn, attr, "parse_nodeid failed.");
    return ret;
  }
  uagraph_node* node = graph_.node_find(id);
  if (node == nullptr) {
    diag_error_at(4017, VOS_HERE, fn, attr, "No node found with this nodeid.");
    return UA_EBAD;
  }
  return load_node_refs(element, *node);
}

int xmlloader::load_node_refs(const xml_node* element, uagraph_node& node) {
  static constexpr const char* fn = "load_node_refs";
  const xml_node* refs = element->find_child("References");
  if (refs == nullptr) return 0;
  ua_nodeid target_id;
  ua_nodeid reftype_id;
  for (const xml_node& ref : refs->children()) {
    bool forward = true;
    int ret = load_ref(&ref, target_id, reftype_id, forward);
    if (ret < 0) {
      diag_error_at(4005, VOS_HERE, fn, &ref, "load_ref failed.");
      return ret;
    }
    if (target_id.is_null()) continue;
    uagraph_node* target = graph_.node_find(target_id);
    if (target == nullptr) {
      diag_error_at(4017, VOS_HERE, fn, &ref, "Destination node not found.");
      return UA_EBAD;
    }
    uagraph_node* reftype = graph_.node_find(reftype_id);
    if (reftype == nullptr) {
      diag_error_at(4017, VOS_HERE, fn, &ref, "No node found with this referencetype.");
      return UA_EBAD;
    }
    ret = forward ? graph_.reference_add(node, *target, *reftype)
                  : graph_.reference_add(*target, node, *reftype);
    if (ret != 0) {
      diag_error_at(4018, VOS_HERE, fn, &ref, "Adding reference failed.");
      return ret;
    }
  }
  return 0;
}

void xmlloader::complete_datatypes() {
  const ua_nodeid hasencoding(0, k_id_hasencoding);
  for (uint32_t index : datatypes_) {
    uagraph_node* node = graph_.node_at(index);
    if (node == nullptr) continue;
    UADataType& dt = *node->as<UADataType>();
    uagraph_definition& def = dt.Definition;
    if (def.kind == UAGRAPH_DEFINITION_NONE) {
      // The step limit guards against a loop in the type hierarchy.
      std::size_t steps = 0;
      for (const uagraph_node* base = graph_.derived_datatype_base(dt);
           base != nullptr && steps < graph_.node_count();
           base = graph_.derived_datatype_base(*base), ++steps) {
        const UADataType* b = base->as<UADataType>();
        if (b != nullptr && b->Definition.kind != UAGRAPH_DEFINITION_NONE) {
          def.kind = b->Definition.kind;
          def.Name = dt.BrowseName;
          break;
        }
      }
    }
    if (def.DefaultEncodingId.is_null()) {
      for (const uagraph_reference& r : graph_.forward_references(dt)) {
        if (!(graph_.reftype_of(r).NodeId == hasencoding)) continue;
        const uagraph_node& enc = graph_.target_of(r);
        if (enc.BrowseName.ns == 0 && enc.BrowseName.name.view() == "Default Binary") {
          def.DefaultEncodingId = enc.NodeId;
          break;
        }
      }
    }
    if (def.BaseTypeId.is_null()) {
      if (const uagraph_node* super = graph_.node_supertype(dt)) def.BaseTypeId = super->NodeId;
    }
  }
}

}  // namespace vos
