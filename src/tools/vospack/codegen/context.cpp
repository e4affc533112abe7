#include "tools/vospack/codegen/context.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "diag/diag.h"
#include "tools/vospack/codegen/naming.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

struct builtin_row {
  std::string_view name;
  std::string_view c_type;
  std::string_view include;
};

// Indexed by the built-in type number.
constexpr std::array<builtin_row, 26> kBuiltins = {{
    {"", "<invalid typeid>", ""},
    {"Boolean", "bool", "stdbool"},
    {"SByte", "int8_t", "stdint"},
    {"Byte", "uint8_t", "stdint"},
    {"Int16", "int16_t", "stdint"},
    {"UInt16", "uint16_t", "stdint"},
    {"Int32", "int32_t", "stdint"},
    {"UInt32", "uint32_t", "stdint"},
    {"Int64", "int64_t", "stdint"},
    {"UInt64", "uint64_t", "stdint"},
    {"Float", "float", ""},
    {"Double", "double", ""},
    {"String", "struct ua_string", "uabase/string"},
    {"DateTime", "ua_datetime", "uabase/datetime"},
    {"Guid", "struct ua_guid", "uabase/guid"},
    {"ByteString", "struct ua_bytestring", "uabase/bytestring"},
    {"XmlElement", "struct ua_bytestring", "uabase/bytestring"},
    {"NodeId", "struct ua_nodeid", "uabase/nodeid"},
    {"ExpandedNodeId", "struct ua_expandednodeid", "uabase/expandednodeid"},
    {"StatusCode", "ua_statuscode", "uabase/statuscode"},
    {"QualifiedName", "struct ua_qualifiedname", "uabase/qualifiedname"},
    {"LocalizedText", "struct ua_localizedtext", "uabase/localizedtext"},
    {"ExtensionObject", "struct ua_extensionobject", "uabase/extensionobject"},
    {"DataValue", "struct ua_datavalue", "uabase/datavalue"},
    {"Variant", "struct ua_variant", "uabase/variant"},
    {"DiagnosticInfo", "struct ua_diagnosticinfo", "uabase/diagnosticinfo"},
}};

// Built-ins held in a fixed number of bytes.
bool builtin_fixed_size(uint32_t builtin) {
  return (builtin >= 1 && builtin <= 11) || builtin == 13 || builtin == 14 || builtin == 19;
}

std::string builtin_type_id(uint32_t builtin) {
  switch (builtin) {
    case 2:
      return "UA_TYPE_INT8";
    case 3:
      return "UA_TYPE_UINT8";
    case 22:
      return "UA_TYPE_EXTENSIONOBJECT";
    case 24:
      return "UA_TYPE_VARIANT";
    default:
      return "UA_TYPE_" + cg_upper(kBuiltins[builtin].name);
  }
}

// Prints to the stream when the verbosity is at least `level`.
void vprint_at(uint32_t level, std::FILE* stream, const char* format, va_list args) {
  if (diag_verbosity() >= level) std::vfprintf(stream, format, args);
}

}  // namespace

std::string_view cg_builtin_c_type(uint32_t builtin) {
  return builtin < kBuiltins.size() ? kBuiltins[builtin].c_type : "<invalid typeid>";
}

std::string_view cg_builtin_include(uint32_t builtin) {
  return builtin < kBuiltins.size() ? kBuiltins[builtin].include : "";
}

codegen_context::codegen_context(uagraph& graph, const nstable& namespaces,
                                 const codegen_settings& settings, output_style style)
    : graph_(graph), namespaces_(namespaces), settings_(settings), style_(std::move(style)) {}

void codegen_context::error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vprint_at(1, stderr, format, args);
  va_end(args);
}

void codegen_context::warning(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vprint_at(2, stderr, format, args);
  va_end(args);
}

void codegen_context::debug(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vprint_at(4, stdout, format, args);
  va_end(args);
}

const nstable_entry* codegen_context::namespace_entry(uint32_t ns, const char* function) const {
  const nstable_entry* entry = namespaces_.find_by_sdk_index(ns);
  if (entry == nullptr) error("error (%s): could not find nsidx %u.\n", function, ns);
  return entry;
}

std::string codegen_context::namespace_dir(const nstable_entry& entry) const {
  return settings_.output_dir + "/" + entry.prefix_lower();
}

int codegen_context::make_namespace_dir(const nstable_entry& entry, const char* function) const {
  const std::string dir = namespace_dir(entry);
  if (mkpath(dir) != 0) {
    error("error (%s): mkpath '%s' failed'.\n", function, dir.c_str());
    return -1;
  }
  return 0;
}

int codegen_context::open_file(output_file& file, const std::string& path,
                               const char* function) const {
  if (file.open(path, style_) == 0) return 0;
  error("error (%s): could not open file '%s' for writing: %s (%i)\n", function, path.c_str(),
        std::strerror(file.error_number()), file.error_number());
  return -1;
}

int codegen_context::node_filter(uint32_t mask, int ns, const node_visitor& visit) const {
  const auto matches = [&](const uagraph_node& node) {
    return (node.nodeclass() & mask) != 0 && is_exported(node) &&
           (ns < 0 || node.NodeId.ns() == static_cast<uint32_t>(ns));
  };
  uint32_t count = 0;
  for (const uagraph_node* node : graph_.nodes()) {
    if (matches(*node)) ++count;
  }
  int visited = 0;
  uint32_t i = 0;
  for (uagraph_node* node : graph_.nodes()) {
    if (!matches(*node)) continue;
    const node_position pos{i, i + 1, i + 1 == count};
    const int ret = visit(*node, pos);
    if (ret < 0) {
      error("%s: failed with error %i at i=%u\n", "node_filter", ret, i);
      return ret;
    }
    if (ret == 0) ++visited;
    ++i;
  }
  return visited;
}

std::string_view codegen_context::symbolic_name(uagraph_node& node, const char* function) const {
  const std::string_view name = node.symbolic_name().view();
  if (name.empty()) error("error (%s): could not read symbolicname.\n", function);
  return name;
}

bool codegen_context::is_generated_type(const uagraph_node& node) const {
  const UADataType* dt = node.as<UADataType>();
  return dt != nullptr && is_exported(node) && !dt->IsAbstract &&
         dt->Definition.kind != UAGRAPH_DEFINITION_NONE &&
         (settings_.options.generate_ns0 || node.NodeId.ns() != 0);
}

const type_lists& codegen_context::types_of(uint32_t ns) const {
  if (const auto it = types_.find(ns); it != types_.end()) return it->second;
  type_lists& lists = types_[ns];
  for (uagraph_node* node : graph_.nodes()) {
    UADataType* dt = node->as<UADataType>();
    if (dt == nullptr || node->NodeId.ns() != ns || !is_exported(*node) || dt->IsAbstract ||
        dt->Definition.kind == UAGRAPH_DEFINITION_NONE) {
      continue;
    }
    if (dt->Definition.kind == UAGRAPH_DEFINITION_ENUMERATION) {
      lists.enums.push_back(dt);
    } else if (dt->Definition.kind == UAGRAPH_DEFINITION_OPTIONSET) {
      if (optionset_base_of(*dt).base == nullptr) {
        error("error (%s): could not find optionset basetype.\n", "is_optionset");
        lists.structures.push_back(dt);
      } else if (is_bytestring_optionset(*dt)) {
        lists.structures.push_back(dt);
      } else {
        lists.optionsets.push_back(dt);
      }
    } else {
      lists.structures.push_back(dt);
    }
  }
  const auto by_nodeid = [](const UADataType* a, const UADataType* b) {
    return a->NodeId < b->NodeId;
  };
  std::stable_sort(lists.enums.begin(), lists.enums.end(), by_nodeid);
  std::stable_sort(lists.optionsets.begin(), lists.optionsets.end(), by_nodeid);
  std::stable_sort(lists.structures.begin(), lists.structures.end(), by_nodeid);
  return lists;
}

int codegen_context::c_names(UADataType& type, std::string& c_type, std::string& base_name,
                             const char* function) const {
  const nstable_entry* entry = namespace_entry(type.NodeId.ns(), function);
  if (entry == nullptr) return -1;
  const std::string_view name = symbolic_name(type, function);
  if (name.empty()) return -1;
  base_name = cg_lower(cg_join({entry->prefix(), "_", name}));
  switch (type.Definition.kind) {
    case UAGRAPH_DEFINITION_ENUMERATION:
      c_type = "enum " + base_name;
      break;
    case UAGRAPH_DEFINITION_OPTIONSET:
      c_type = base_name + "_t";
      break;
    default:
      c_type = "struct " + base_name;
      break;
  }
  return 0;
}

int codegen_context::include_path(UADataType& type, std::string& out, const char* function) const {
  const nstable_entry* entry = namespace_entry(type.NodeId.ns(), function);
  if (entry == nullptr) return -1;
  const std::string_view name = symbolic_name(type, function);
  if (name.empty()) return -1;
  out = cg_lower(cg_join({entry->prefix(), "/", name}));
  return 0;
}

int codegen_context::c_type(const ua_nodeid& id, c_type_info& info, const char* function) const {
  info = c_type_info{};
  uagraph_node* node = graph_.node_find(id);
  UADataType* dt = node != nullptr ? node->as<UADataType>() : nullptr;
  if (dt == nullptr) {
    const std::string text = ua_nodeid_to_text(id);
    error("error (%s): datatype %.*s does not exist.\n", function, static_cast<int>(text.size()),
          text.data());
    return -1;
  }
  // A type without definition stands for the first built-in type above it.
  while (dt->Definition.kind == UAGRAPH_DEFINITION_NONE && !uagraph::is_builtin_type(dt->NodeId)) {
    uagraph_node* super = graph_.node_supertype(*dt);
    UADataType* next = super != nullptr ? super->as<UADataType>() : nullptr;
    if (next == nullptr) {
      const std::string_view name = dt->BrowseName.name.view();
      error("error (%s): datatype %.*s could not find base datatype.\n", function,
            static_cast<int>(name.size()), name.data());
      return -1;
    }
    dt = next;
  }
  if (dt->Definition.kind == UAGRAPH_DEFINITION_NONE) {
    const uint32_t builtin = dt->NodeId.numeric_id();
    info.builtin = builtin;
    info.c_type = std::string(cg_builtin_c_type(builtin));
    info.base_name = info.c_type.starts_with("struct ") ? info.c_type.substr(7) : info.c_type;
    info.include = std::string(cg_builtin_include(builtin));
    info.type_id = builtin_type_id(builtin);
    info.namespace0 = true;
    info.fixed_size = builtin_fixed_size(builtin);
    return 0;
  }
  info.type = dt;
  info.namespace0 = dt->NodeId.ns() == 0;
  if (c_names(*dt, info.c_type, info.base_name, function) != 0) return -1;
  if (include_path(*dt, info.include, function) != 0) return -1;
  info.type_id = type_identifier(*dt, dt->symbolic_name().view());
  return 0;
}

std::string codegen_context::type_identifier(const uagraph_node& type,
                                             std::string_view symbolic_name) const {
  const nstable_entry* entry = namespaces_.find_by_sdk_index(type.NodeId.ns());
  const std::string_view prefix =
      type.NodeId.ns() == 0 || entry == nullptr ? std::string_view("UA") : entry->prefix();
  return cg_upper(cg_join({prefix, "_TYPE_", symbolic_name}));
}

uint32_t codegen_context::handle_of(const uagraph_node& node) const {
  if (local_index_.empty()) {
    local_index_.assign(graph_.node_slot_count(), 0);
    std::vector<uint32_t> next(65536, 0);
    for (const uagraph_node* n : graph_.nodes()) {
      local_index_[n->node_index()] = next[n->NodeId.ns()]++;
    }
  }
  return (static_cast<uint32_t>(node.NodeId.ns()) << 24) | local_index_[node.node_index()];
}

namespace {

bool permissions_less(const std::vector<uagraph_rolepermission>& a,
                      const std::vector<uagraph_rolepermission>& b) {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](const uagraph_rolepermission& x, const uagraph_rolepermission& y) {
        if (x.role != y.role) return x.role < y.role;
        return x.Permissions < y.Permissions;
      });
}

}  // namespace

std::size_t role_tables::permission_count() const {
  std::size_t n = 0;
  for (const auto& set : sets) n += set.size();
  return n;
}

int role_tables::set_index(const uagraph_node& node) const {
  const std::vector<uagraph_rolepermission>& own = node.extra().RolePermissions;
  if (own.empty()) return -1;
  const auto it = std::lower_bound(sets.begin(), sets.end(), own, permissions_less);
  return it != sets.end() && *it == own ? static_cast<int>(it - sets.begin()) : -1;
}

int role_tables::role_index(const ua_nodeid& role) const {
  const auto it = std::lower_bound(roles.begin(), roles.end(), role);
  return it != roles.end() && *it == role ? static_cast<int>(it - roles.begin()) : -1;
}

void cg_sort_permission_sets(std::vector<std::vector<uagraph_rolepermission>>& sets) {
  std::sort(sets.begin(), sets.end(), permissions_less);
}

optionset_base codegen_context::optionset_base_of(const UADataType& type) const {
  optionset_base result;
  uagraph_node* super = graph_.node_supertype(type);
  while (super != nullptr) {
    const UADataType* dt = super->as<UADataType>();
    if (dt == nullptr || dt->Definition.kind != UAGRAPH_DEFINITION_OPTIONSET) break;
    if (result.subtype_of == nullptr) result.subtype_of = super;
    super = graph_.node_supertype(*super);
  }
  result.base = super;
  return result;
}

bool codegen_context::is_bytestring_optionset(const UADataType& type) const {
  const uagraph_node* base = optionset_base_of(type).base;
  return base != nullptr && base->NodeId == ua_nodeid(0, UAGRAPH_ID_OPTIONSET);
}

}  // namespace vos
