// The state of one generator run and the questions every writer asks of the model: which
// nodes and namespaces are exported, how a data type is named in C, which data types a
// namespace generates and in what order.
//
// The driver's stage builds one `codegen_context` per run from the graph, the namespace
// table and the settings, and hands it to every writer.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/vospack/codegen/output_file.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/sidefiles.h"
#include "tools/vospack/stages.h"
#include "tools/vospack/uagraph.h"

namespace vos {

// The generator's settings of one run.
struct codegen_settings {
  codegen_options options;
  std::string output_dir = "output";
  input_digest digest{};
  std::string library_name = "mymodel";  // -n
  bool provider_skeleton = false;        // -m
  const address_mapping_table* address_mapping = nullptr;
  const placeholder_table* placeholders = nullptr;
};

// The roles of the model and the distinct permission sets of its nodes (generator step 3).
struct role_tables {
  std::vector<ua_nodeid> roles;  // sorted; a role's index is its role id in generated code
  std::vector<std::vector<uagraph_rolepermission>> sets;  // sorted, each once
  // Sum of the sizes of the sets: the file of role permissions is written when above 0.
  std::size_t permission_count() const;
  // The index of a node's permission set, or -1 for a node without role permissions.
  int set_index(const uagraph_node& node) const;
  // The index of a role in the role list, or -1.
  int role_index(const ua_nodeid& role) const;
};

// Where a visited node stands among the matches of a node_filter walk.
struct node_position {
  uint32_t index = 0;  // of this node among the matches
  uint32_t next = 0;   // index + 1
  bool last = false;
};

// How a data type is used in C. For a built-in type (or a type without definition, after
// walking up to the first built-in type) the names come from the built-in type table.
struct c_type_info {
  std::string c_type;                // "struct di_foo", "enum di_colour", "di_mask_t", "int32_t"
  std::string base_name;             // "di_foo", "int32_t" (c_type without "struct ")
  std::string include;               // "di/foo", "uabase/string"; empty for none
  std::string type_id;               // "DI_TYPE_FOO", "UA_TYPE_INT32"
  uint32_t builtin = 0;              // built-in type number, 0 for a type with a definition
  const UADataType* type = nullptr;  // the type with a definition, null for a built-in
  bool namespace0 = false;           // the resolved type lies in namespace 0
  bool fixed_size = false;           // a built-in of fixed size
};

// The resolved base of an option set.
struct optionset_base {
  uagraph_node* base = nullptr;        // the integer or OptionSet base type, null if none
  uagraph_node* subtype_of = nullptr;  // the option-set supertype walked past, if any
};

// The data types one namespace generates, each list ascending by NodeId.
struct type_lists {
  std::vector<UADataType*> enums;
  std::vector<UADataType*> optionsets;  // integer based
  std::vector<UADataType*> structures;  // everything else, byte-string option sets included
  bool empty() const noexcept { return enums.empty() && optionsets.empty() && structures.empty(); }
};

// The identifier macros of one namespace (identifier.h), in graph order. The generated
// data types and their "Default Binary" encoding objects claim their names first, so that
// the names the type tables use always stand for those nodes; any other node whose name is
// taken already gets no macro (with a warning).
struct identifier_macros {
  std::vector<std::pair<uagraph_node*, std::string>> ordered;
  std::unordered_map<const uagraph_node*, std::size_t> index;  // into ordered
  bool failed = false;  // a node without name, or two claiming nodes with one name
};

class codegen_context {
 public:
  codegen_context(uagraph& graph, const nstable& namespaces, const codegen_settings& settings,
                  output_style style);

  uagraph& graph() const noexcept { return graph_; }
  const nstable& namespaces() const noexcept { return namespaces_; }
  const codegen_settings& settings() const noexcept { return settings_; }
  const codegen_options& options() const noexcept { return settings_.options; }
  const output_style& style() const noexcept { return style_; }

  // Messages of the generator: "error ..." lines at verbosity 1, "warning ..." and "info"
  // lines at 2, both on standard error.
  static void error(const char* format, ...) VOS_PRINTF(1, 2);
  static void warning(const char* format, ...) VOS_PRINTF(1, 2);
  // "debug" lines on standard output at verbosity 4.
  static void debug(const char* format, ...) VOS_PRINTF(1, 2);

  // A node is exported when its namespace is selected for export.
  bool is_exported(const uagraph_node& node) const noexcept {
    return namespaces_.is_selected(node.NodeId.ns());
  }
  // The namespace entry of a namespace index; null after "error (%s): could not find nsidx
  // %u." with the caller's name.
  const nstable_entry* namespace_entry(uint32_t ns, const char* function) const;
  // "%s/%s" output directory and lower-case prefix.
  std::string namespace_dir(const nstable_entry& entry) const;
  // Creates the namespace directory; prints the mkpath error with the caller's name.
  int make_namespace_dir(const nstable_entry& entry, const char* function) const;
  // Opens a file; prints the open error with the caller's name.
  int open_file(output_file& file, const std::string& path, const char* function) const;

  // Visits, in graph order, every exported node whose class bit is in `mask` and, unless
  // `ns` is -1, whose namespace is `ns`. A negative result of the visitor stops the walk
  // ("node_filter: failed with error %i at i=%u") and is returned; otherwise the number
  // of nodes for which the visitor returned 0.
  using node_visitor = std::function<int(uagraph_node&, const node_position&)>;
  int node_filter(uint32_t mask, int ns, const node_visitor& visit) const;

  // The node's symbolic name; an empty view after "error (%s): could not read
  // symbolicname." with the caller's name.
  std::string_view symbolic_name(uagraph_node& node, const char* function) const;

  // A data type that gets files of its own: exported, not abstract, with a definition,
  // and (without -0) not in namespace 0.
  bool is_generated_type(const uagraph_node& node) const;
  // The namespace's generated data types (exported, not abstract, with a definition), made
  // on first request.
  const type_lists& types_of(uint32_t ns) const;
  bool defines_data_types(uint32_t ns) const { return !types_of(ns).empty(); }

  // The C names of a data type by its NodeId. Returns 0, or -1 after "datatype %.*s does
  // not exist" / "could not find base datatype" with the caller's name.
  int c_type(const ua_nodeid& type, c_type_info& info, const char* function) const;
  // The C names of a data type with a definition: "struct di_foo" and "di_foo" for
  // structures and unions, "enum di_colour" for enumerations, "di_mask_t" for option sets.
  int c_names(UADataType& type, std::string& c_type, std::string& base_name,
              const char* function) const;
  // The include path "di/foo" of a data type with a definition.
  int include_path(UADataType& type, std::string& out, const char* function) const;

  // The type identifier of a data type: "%s_TYPE_%s" with the prefix of its namespace,
  // "UA_TYPE_%s" for namespace 0, upper-cased.
  std::string type_identifier(const uagraph_node& type, std::string_view symbolic_name) const;

  // The base of an option set, walking past option-set supertypes. `base` is null when a
  // supertype is missing.
  optionset_base optionset_base_of(const UADataType& type) const;
  // An option set whose base is the OptionSet structure (counts as a structure).
  bool is_bytestring_optionset(const UADataType& type) const;

  // The node's handle across namespaces: namespace index << 24 | its position among the
  // graph's nodes of its namespace, in graph order.
  uint32_t handle_of(const uagraph_node& node) const;

  // The namespace's identifier macros, made on first request (with its messages).
  const identifier_macros& identifier_macros_of(const nstable_entry& entry) const;
  // The identifier macro of a node of that namespace; null when it has none.
  const std::string* node_macro(const nstable_entry& entry, const uagraph_node& node) const;
  // The "Default Binary" encoding object of a data type (HasEncoding), or null.
  uagraph_node* default_binary_encoding(const uagraph_node& type) const;

  // The enumerators of a generated data type's C enumeration, settled for the whole
  // namespace before writing (cg_check_model_names); null for a type not settled there.
  const std::vector<std::string>* enumerators_of(const uagraph_node& type) const {
    const auto it = enumerators_.find(&type);
    return it != enumerators_.end() ? &it->second : nullptr;
  }
  void set_enumerators(const uagraph_node& type, std::vector<std::string> names) const {
    enumerators_[&type] = std::move(names);
  }

  role_tables& roles() const noexcept { return roles_; }
  bool has_role_permissions() const noexcept { return roles_.permission_count() != 0; }

  // The namespace's index as written into client and identifier code: the SDK index, or
  // the index that the -c file maps the URI to.
  uint32_t model_index(const nstable_entry& entry) const noexcept { return entry.mapped_index; }

 private:
  uagraph& graph_;
  const nstable& namespaces_;
  const codegen_settings& settings_;
  output_style style_;
  mutable std::map<uint32_t, type_lists> types_;
  mutable std::vector<uint32_t> local_index_;  // by node index, made on first request
  mutable role_tables roles_;
  mutable std::map<uint32_t, identifier_macros> macros_;
  mutable std::unordered_map<const uagraph_node*, std::vector<std::string>> enumerators_;
};

// The built-in types of namespace 0 by number (1 to 25): C type and header, "<invalid
// typeid>" beyond.
std::string_view cg_builtin_c_type(uint32_t builtin);
std::string_view cg_builtin_include(uint32_t builtin);

// Sorts permission sets into the order that role_tables::set_index searches.
void cg_sort_permission_sets(std::vector<std::vector<uagraph_rolepermission>>& sets);

}  // namespace vos
