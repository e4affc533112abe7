#include "tools/vospack/codegen/name_check.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "tools/vospack/codegen/datatype_sources.h"
#include "tools/vospack/codegen/naming.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

// Folders of the runtime's headers that generated files include from (<uabase/...>): a
// namespace folder of the same name would hide them.
constexpr std::array<std::string_view, 9> kRuntimeFolders = {
    "common", "memory", "platform", "sys", "testing", "trace", "uabase", "uaserver", "util"};

// Text of a prefix fit for a message: bytes outside printable ASCII show as '?'.
std::string printable(std::string_view text) {
  std::string out(text.substr(0, 80));
  for (char& c : out) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u >= 0x7F) c = '?';
  }
  if (text.size() > 80) out += "...";
  return out;
}

// The prefixes the tool makes itself: "ns<index>", or the start of it that a short URI
// leaves (down to nothing).
bool is_made_prefix(const nstable_entry& entry) {
  const std::string made = "ns" + std::to_string(entry.sdk_index);
  return made.starts_with(entry.prefix());
}

bool is_runtime_folder(std::string_view lower) {
  return std::find(kRuntimeFolders.begin(), kRuntimeFolders.end(), lower) !=
         kRuntimeFolders.end();
}

// Why a prefix may not be used by this entry; null when it may.
const char* prefix_problem(const nstable_entry& entry, std::string_view prefix) {
  if (!cg_is_c_identifier(prefix) || prefix.size() > CODEGEN_MAX_PREFIX) {
    return "is not a C identifier of at most 64 characters ([A-Za-z_][A-Za-z0-9_]*)";
  }
  const std::string lower = cg_lower(prefix);
  if (lower == "ua" && entry.sdk_index != 0) return "belongs to namespace 0";
  if (is_runtime_folder(lower)) return "is the name of a folder of the runtime's headers";
  return nullptr;
}

std::string node_text(const uagraph_node& node) {
  return ua_nodeid_printable(node.NodeId).c_str();
}

}  // namespace

int cg_check_prefixes(nstable& namespaces) {
  // Lower-cased prefix -> the entry that holds it.
  std::unordered_map<std::string, const nstable_entry*> taken;
  // The prefixes given by the user (and the fixed ones) first: they must stand as given.
  for (const nstable_entry& entry : namespaces.entries()) {
    if (is_made_prefix(entry)) continue;
    if (const char* problem = prefix_problem(entry, entry.prefix()); problem != nullptr) {
      codegen_context::error("error: the prefix '%s' of namespace %u (%s) %s.\n",
                             printable(entry.prefix()).c_str(), entry.sdk_index,
                             printable(entry.uri).c_str(), problem);
      return -1;
    }
    const auto [it, fresh] = taken.emplace(cg_lower(entry.prefix()), &entry);
    if (!fresh) {
      codegen_context::error(
          "error: namespaces %u (%s) and %u (%s) both have the prefix '%s'; prefixes must "
          "differ in more than case.\n",
          it->second->sdk_index, printable(it->second->uri).c_str(), entry.sdk_index,
          printable(entry.uri).c_str(), entry.prefix().c_str());
      return -1;
    }
  }
  // Then the made ones, in table order: made valid, then unique.
  for (nstable_entry& entry : namespaces.entries()) {
    if (!is_made_prefix(entry)) continue;
    const std::string old = entry.prefix();
    std::string base = prefix_problem(entry, old) == nullptr
                           ? old
                           : "ns" + std::to_string(entry.sdk_index);
    std::string prefix = base;
    for (unsigned n = 2; taken.contains(cg_lower(prefix)) || prefix_problem(entry, prefix); ++n) {
      prefix = cg_numbered(base, n);
    }
    taken.emplace(cg_lower(prefix), &entry);
    if (prefix == old) continue;
    codegen_context::warning(
        "warning: namespace %u (%s) gets the prefix '%s': its default prefix '%s' is not a "
        "valid C identifier or is taken.\n",
        entry.sdk_index, printable(entry.uri).c_str(), prefix.c_str(), printable(old).c_str());
    entry.set_prefix(prefix);
  }
  return 0;
}

namespace {

bool is_aggregate_kind(uint32_t kind) {
  return kind == UAGRAPH_DEFINITION_STRUCTURE ||
         kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS ||
         kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES ||
         kind == UAGRAPH_DEFINITION_UNION || kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES;
}

// A structure step deeper than this is taken as a loop of base types.
constexpr int kMaxLevels = 64;

// The concrete structure or union behind a field of any rank (not an extension object), or
// null; a type without a definition stands for its first supertype that has one.
const UADataType* aggregate_of(const uagraph& graph, const uagraph_field& field) {
  if (field.AllowSubTypes) return nullptr;
  const uagraph_node* node = graph.node_find(field.DataType);
  for (int i = 0; node != nullptr && i < kMaxLevels; ++i) {
    const UADataType* dt = node->as<UADataType>();
    if (dt == nullptr || uagraph::is_builtin_type(dt->NodeId)) return nullptr;
    if (dt->Definition.kind != UAGRAPH_DEFINITION_NONE) {
      return is_aggregate_kind(dt->Definition.kind) && !dt->IsAbstract ? dt : nullptr;
    }
    node = graph.node_supertype(*node);
  }
  return nullptr;
}

// The structure or union that a field holds by value (a scalar one), or null.
const UADataType* held_by_value(const uagraph& graph, const uagraph_field& field) {
  return field.ArrayInfo.ValueRank == -1 ? aggregate_of(graph, field) : nullptr;
}

// The types that a structure's C form holds by value: those of its own and its base
// structures' scalar fields.
std::vector<const UADataType*> contained(const uagraph& graph, const UADataType& type) {
  std::vector<const UADataType*> out;
  const uagraph_node* cur = &type;
  for (int i = 0; cur != nullptr && i < kMaxLevels; ++i) {
    const UADataType* dt = cur->as<UADataType>();
    if (dt == nullptr || !is_aggregate_kind(dt->Definition.kind)) break;
    for (const uagraph_field& f : dt->Definition.fields) {
      if (const UADataType* held = held_by_value(graph, f)) out.push_back(held);
    }
    if (dt->Definition.kind == UAGRAPH_DEFINITION_UNION ||
        dt->Definition.kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES) {
      break;  // a union does not inherit members
    }
    cur = graph.node_supertype(*cur);
  }
  return out;
}

// Depth-first search for `target` among the types that `from` holds by value.
bool contains_by_value(const uagraph& graph, const UADataType& from, const UADataType& target,
                       std::unordered_set<const UADataType*>& seen) {
  for (const UADataType* held : contained(graph, from)) {
    if (held == &target) return true;
    if (seen.insert(held).second && contains_by_value(graph, *held, target, seen)) return true;
  }
  return false;
}

int check_self_containment(const codegen_context& ctx, UADataType& type) {
  if (!is_aggregate_kind(type.Definition.kind)) return 0;
  std::unordered_set<const UADataType*> seen;
  if (!contains_by_value(ctx.graph(), type, type, seen)) return 0;
  const std::string_view name = type.symbolic_name().view();
  codegen_context::error(
      "error: the datatype '%.*s' (%s) contains itself by value, so C cannot give it a size; "
      "make one of the fields on the way an array or let it allow subtypes.\n",
      static_cast<int>(name.size()), name.data(), node_text(type).c_str());
  return -1;
}

// A field whose name leaves nothing for C (all punctuation) cannot be named in the files.
int check_field_names(UADataType& type) {
  for (std::size_t i = 0; i < type.Definition.fields.size(); ++i) {
    if (!type.Definition.fields[i].symbolic_name().empty()) continue;
    const std::string_view name = type.symbolic_name().view();
    codegen_context::error(
        "error (%s): get_field_symbolicname failed for index %u (datatype '%.*s', %s).\n",
        "output_c_datatype", static_cast<unsigned>(i), static_cast<int>(name.size()),
        name.data(), node_text(type).c_str());
    return -1;
  }
  return 0;
}

int check_optionset_bits(const codegen_context& ctx, UADataType& type) {
  if (type.Definition.kind != UAGRAPH_DEFINITION_OPTIONSET) return 0;
  const uagraph_node* base = ctx.optionset_base_of(type).base;
  if (base == nullptr || base->NodeId.ns() != 0 || !base->NodeId.is_numeric()) return 0;
  int width = 0;
  switch (base->NodeId.numeric_id()) {
    case 3:
      width = 8;
      break;
    case 5:
      width = 16;
      break;
    case 7:
      width = 32;
      break;
    case 9:
      width = 64;
      break;
    default:
      return 0;  // byte-string based, or refused by the writers
  }
  for (const uagraph_field& f : cg_value_definition(ctx, type).fields) {
    if (f.Value >= 0 && f.Value < width) continue;
    const std::string_view name = type.symbolic_name().view();
    codegen_context::error(
        "error: bit %d of the optionset '%.*s' (%s) does not fit its %d-bit base type.\n",
        static_cast<int>(f.Value), static_cast<int>(name.size()), name.data(),
        node_text(type).c_str(), width);
    return -1;
  }
  return 0;
}

bool has_optional_fields(const uagraph& graph, const UADataType& type) {
  const uagraph_node* cur = &type;
  for (int i = 0; cur != nullptr && i < kMaxLevels; ++i) {
    const UADataType* dt = cur->as<UADataType>();
    if (dt == nullptr || !is_aggregate_kind(dt->Definition.kind)) break;
    for (const uagraph_field& f : dt->Definition.fields) {
      if (f.IsOptional) return true;
    }
    cur = graph.node_supertype(*cur);
  }
  return false;
}

// The C names a data type's files define besides its members, from its base name
// ("di_foo"): the type's tag, its enumeration tags, typedef, functions, bit macros and
// field table. Tags and ordinary identifiers are taken as one set.
std::vector<std::string> c_names_of(const codegen_context& ctx, const UADataType& type,
                                    const std::string& base_name) {
  const std::string b = cg_lower(base_name);
  std::vector<std::string> names{b, "g_" + b + "_fields"};
  const auto add = [&](std::initializer_list<const char*> suffixes) {
    for (const char* suffix : suffixes) names.push_back(b + suffix);
  };
  switch (type.Definition.kind) {
    case UAGRAPH_DEFINITION_ENUMERATION:
      break;
    case UAGRAPH_DEFINITION_OPTIONSET:
      add({"_t", "_bits", "_init", "_set_bit", "_clr_bit"});
      if (ctx.is_bytestring_optionset(type)) {
        add({"_clear", "_get_bit", "_is_valid", "_invalidate_bit", "_max_value"});
      } else {
        add({"_bit_is_set", "_bit_is_clr"});
      }
      break;
    case UAGRAPH_DEFINITION_UNION:
    case UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES:
      add({"_type", "_init", "_clear", "_compare", "_copy"});
      break;
    default:
      add({"_init", "_clear", "_compare", "_copy"});
      if (has_optional_fields(ctx.graph(), type)) add({"_mask"});
      break;
  }
  return names;
}

// What a name of the generator's own stands for, in a warning.
struct owner {
  const uagraph_node* node = nullptr;  // a data type, or
  std::string what;                    // a file or namespace of the generator
  std::string text() const {
    return node != nullptr ? "datatype " + node_text(*node) : what;
  }
};

}  // namespace

int cg_check_model_names(const codegen_context& ctx) {
  const nstable& namespaces = ctx.namespaces();
  // Include guards and C base names are shared by every namespace of a program.
  std::unordered_map<std::string, owner> guards;
  std::unordered_map<std::string, owner> bases;
  for (const nstable_entry& entry : namespaces.entries()) {
    if (!namespaces.is_selected(entry.sdk_index)) continue;
    const std::string& p = entry.prefix();
    const std::string folder = entry.prefix_lower() + "/";
    for (const auto& [suffix, file] :
         std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"_IDENTIFIER", "identifier.h"},
             {"_TYPE_IDENTIFIER", "type_identifier.h"},
             {"_TYPE_TABLE", "type_table.h"}}) {
      guards.emplace(cg_include_guard(p + std::string(suffix)),
                     owner{nullptr, "the file " + folder + std::string(file)});
    }
    const std::string provider = "the file provider_" + entry.prefix_lower();
    guards.emplace(cg_include_guard(p + "_PROVIDER"), owner{nullptr, provider + ".h"});
    guards.emplace(cg_include_guard(p + "_PROVIDER_IMPL"), owner{nullptr, provider + "_impl.h"});
    guards.emplace(cg_include_guard(p + "_NS" + std::to_string(entry.sdk_index)),
                   owner{nullptr, "the file " + folder + "ns" + std::to_string(entry.sdk_index) +
                                      ".h"});
  }

  for (const nstable_entry& entry : namespaces.entries()) {
    const uint32_t ns = entry.sdk_index;
    if (!namespaces.is_selected(ns) || (ns == 0 && !ctx.options().generate_ns0)) continue;
    std::vector<UADataType*> types;
    for (uagraph_node* node : ctx.graph().nodes()) {
      if (node->NodeId.ns() == ns && ctx.is_generated_type(*node)) {
        types.push_back(node->as<UADataType>());
      }
    }
    std::stable_sort(types.begin(), types.end(),
                     [](const UADataType* a, const UADataType* b) { return a->NodeId < b->NodeId; });
    // Lower-cased file names of the namespace folder.
    std::unordered_map<std::string, owner> files;
    for (const std::string_view f : {"identifier", "type_identifier", "type_table",
                                     "rolepermissions"}) {
      files.emplace(std::string(f), owner{nullptr, "the generated file " + std::string(f)});
    }
    files.emplace("ns" + std::to_string(ns),
                  owner{nullptr, "the generated file ns" + std::to_string(ns)});

    for (UADataType* type : types) {
      const std::string name(ctx.symbolic_name(*type, "output_c_datatype"));
      if (name.empty()) return -1;
      std::string candidate = name;
      const owner* clash = nullptr;
      for (unsigned n = 2;; ++n) {
        const std::string lower = cg_lower(candidate);
        const owner* now = nullptr;
        if (const auto it = files.find(lower); it != files.end()) {
          now = &it->second;
        } else if (const auto g = guards.find(cg_include_guard(entry.prefix() + candidate));
                   g != guards.end()) {
          now = &g->second;
        } else {
          for (const std::string& c : c_names_of(ctx, *type, entry.prefix() + "_" + candidate)) {
            if (const auto b = bases.find(c); b != bases.end()) {
              now = &b->second;
              break;
            }
          }
        }
        if (now == nullptr) break;
        if (clash == nullptr) clash = now;
        candidate = cg_numbered(name, n);
      }
      const owner self{type, {}};
      files.emplace(cg_lower(candidate), self);
      guards.emplace(cg_include_guard(entry.prefix() + candidate), self);
      for (std::string& c : c_names_of(ctx, *type, entry.prefix() + "_" + candidate)) {
        bases.emplace(std::move(c), self);
      }
      if (clash == nullptr) continue;
      codegen_context::warning(
          "warning: datatype %s '%s' is generated as '%s': its name clashes with %s.\n",
          node_text(*type).c_str(), name.c_str(), candidate.c_str(), clash->text().c_str());
      type->extra_mut().SymbolicName.assign(candidate);
    }
    for (UADataType* type : types) {
      if (check_field_names(*type) != 0) return -1;
      if (check_self_containment(ctx, *type) != 0) return -1;
      if (check_optionset_bits(ctx, *type) != 0) return -1;
    }
  }
  // The identifier macros, with the names settled: a clash among the names that the type
  // tables use ends the run here. Then the enumerators, which share the namespace's
  // headers with the macros, the type identifiers and the include guards.
  std::unordered_set<std::string> taken;
  for (const auto& [guard, who] : guards) taken.insert(guard);
  // Names a header of a namespace defines, by the namespace: two namespaces whose prefixes
  // nest (a and a_id) could define one name twice, and only other prefixes help.
  std::unordered_map<std::string, const nstable_entry*> defined_by;
  const auto define = [&](const nstable_entry& entry, const std::string& name) {
    const auto [it, fresh] = defined_by.emplace(name, &entry);
    if (fresh || it->second == &entry) return 0;
    codegen_context::error(
        "error: namespaces %u (prefix %s) and %u (prefix %s) would both define %s; choose "
        "prefixes that do not start like each other.\n",
        it->second->sdk_index, it->second->prefix().c_str(), entry.sdk_index,
        entry.prefix().c_str(), name.c_str());
    return -1;
  };
  std::vector<const nstable_entry*> generated;
  for (const nstable_entry& entry : namespaces.entries()) {
    if (!namespaces.is_selected(entry.sdk_index)) continue;
    if (entry.sdk_index == 0 && !ctx.options().generate_ns0) continue;
    generated.push_back(&entry);
    const identifier_macros& macros = ctx.identifier_macros_of(entry);
    if (macros.failed) return -1;
    for (const auto& [node, name] : macros.ordered) {
      if (define(entry, name) != 0) return -1;
    }
    const std::string& m = entry.prefix_upper();
    for (const char* info : {"_MODEL_NAMESPACE_INDEX", "_MODEL_LOCAL_INDEX",
                             "_MODEL_NAMESPACE_URI", "_MODEL_NAMESPACE_VERSION",
                             "_MODEL_NAMESPACE_PUBLICATION_DATE"}) {
      if (define(entry, m + info) != 0) return -1;
    }
    const type_lists& lists = ctx.types_of(entry.sdk_index);
    for (const auto* list : {&lists.enums, &lists.optionsets, &lists.structures}) {
      for (UADataType* t : *list) {
        if (define(entry, ctx.type_identifier(*t, t->symbolic_name().view())) != 0) return -1;
      }
    }
  }
  for (const auto& [name, entry] : defined_by) taken.insert(name);
  for (const nstable_entry* entry : generated) {
    const type_lists& lists = ctx.types_of(entry->sdk_index);
    std::vector<UADataType*> types;
    for (const auto* list : {&lists.enums, &lists.optionsets, &lists.structures}) {
      types.insert(types.end(), list->begin(), list->end());
    }
    std::stable_sort(types.begin(), types.end(),
                     [](const UADataType* a, const UADataType* b) { return a->NodeId < b->NodeId; });
    std::vector<std::string> names;
    for (UADataType* t : types) {
      if (cg_type_enumerators(ctx, *entry, *t, taken, names) != 0) return -1;
      ctx.set_enumerators(*t, std::move(names));
    }
  }
  return 0;
}

bool cg_include_closes_loop(const uagraph& graph, const UADataType& type,
                            const UADataType& field_type) {
  // Every structure whose header the field type's header reaches, the field type included:
  // does one of them hold `type` by value?
  std::vector<const UADataType*> todo{&field_type};
  std::unordered_set<const UADataType*> reached{&field_type};
  // Types known not to hold `type` by value: one search's dead ends stay dead for the next.
  std::unordered_set<const UADataType*> seen;
  while (!todo.empty()) {
    const UADataType* cur = todo.back();
    todo.pop_back();
    if (!seen.contains(cur)) {
      if (contains_by_value(graph, *cur, type, seen)) return true;
      seen.insert(cur);
    }
    const uagraph_node* level = cur;
    for (int i = 0; level != nullptr && i < kMaxLevels; ++i) {
      const UADataType* dt = level->as<UADataType>();
      if (dt == nullptr || !is_aggregate_kind(dt->Definition.kind)) break;
      for (const uagraph_field& f : dt->Definition.fields) {
        const UADataType* next = aggregate_of(graph, f);
        if (next != nullptr && reached.insert(next).second) todo.push_back(next);
      }
      level = graph.node_supertype(*level);
    }
  }
  return false;
}

int cg_type_enumerators(const codegen_context& ctx, const nstable_entry& entry, UADataType& type,
                        std::unordered_set<std::string>& taken, std::vector<std::string>& out) {
  out.clear();
  const uint32_t kind = type.Definition.kind;
  const std::string_view type_name = type.symbolic_name().view();
  std::vector<std::string_view> names;
  std::vector<uagraph_field*> fields;
  if (kind == UAGRAPH_DEFINITION_ENUMERATION || kind == UAGRAPH_DEFINITION_OPTIONSET) {
    for (uagraph_field& f : cg_value_definition(ctx, type).fields) fields.push_back(&f);
  } else if (kind == UAGRAPH_DEFINITION_UNION ||
             kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES) {
    names.push_back("NONE");
    for (uagraph_field& f : type.Definition.fields) fields.push_back(&f);
  } else {
    // The optional fields of the structure and its base structures, the root's first.
    std::vector<UADataType*> chain;
    for (uagraph_node* cur = &type;
         cur != nullptr && chain.size() < static_cast<std::size_t>(kMaxLevels);
         cur = ctx.graph().node_supertype(*cur)) {
      UADataType* dt = cur->as<UADataType>();
      if (dt == nullptr || !is_aggregate_kind(dt->Definition.kind) ||
          dt->Definition.kind == UAGRAPH_DEFINITION_UNION ||
          dt->Definition.kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES) {
        break;
      }
      chain.push_back(dt);
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
      for (uagraph_field& f : (*it)->Definition.fields) {
        if (f.IsOptional) fields.push_back(&f);
      }
    }
    if (fields.empty()) return 0;
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::string_view name = fields[i]->symbolic_name().view();
    if (name.empty()) {
      codegen_context::error("error (%s): get_field_symbolicname failed for index %u.\n",
                             "output_c_enum_fields", static_cast<unsigned>(i));
      return -1;
    }
    names.push_back(name);
  }
  if (kind != UAGRAPH_DEFINITION_OPTIONSET) names.push_back("MAX_ENUM_VALUE");
  out.resize(names.size());
  // The generator's own NONE and MAX_ENUM_VALUE first, so that a field named so yields.
  const std::size_t fixed_front = kind == UAGRAPH_DEFINITION_UNION ||
                                          kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES
                                      ? 1
                                      : 0;
  const std::size_t fixed_back = kind != UAGRAPH_DEFINITION_OPTIONSET ? 1 : 0;
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < fixed_front; ++i) order.push_back(i);
  if (fixed_back != 0) order.push_back(names.size() - 1);
  for (std::size_t i = fixed_front; i + fixed_back < names.size(); ++i) order.push_back(i);
  for (const std::size_t i : order) {
    const std::string_view name = names[i];
    std::string enumerator = cg_enumerator(entry, type_name, name);
    for (unsigned n = 2; taken.contains(enumerator); ++n) {
      enumerator = cg_enumerator(entry, type_name, cg_numbered(name, n));
    }
    if (enumerator != cg_enumerator(entry, type_name, name)) {
      codegen_context::warning(
          "warning: the enumerator of '%.*s' in datatype %s is named %s: its name is taken.\n",
          static_cast<int>(name.size()), name.data(), node_text(type).c_str(), enumerator.c_str());
    }
    taken.insert(enumerator);
    out[i] = std::move(enumerator);
  }
  return 0;
}

int cg_enumerators_mismatch(const UADataType& type) {
  codegen_context::error("error (%s): the enumerators of datatype %s do not match its fields.\n",
                         "output_c_enum_fields", node_text(type).c_str());
  return -1;
}

const std::vector<std::string>* cg_enumerators(const codegen_context& ctx, UADataType& type) {
  if (const std::vector<std::string>* settled = ctx.enumerators_of(type)) return settled;
  const nstable_entry* entry = ctx.namespace_entry(type.NodeId.ns(), "output_c_enum_fields");
  if (entry == nullptr) return nullptr;
  std::unordered_set<std::string> taken;
  std::vector<std::string> names;
  if (cg_type_enumerators(ctx, *entry, type, taken, names) != 0) return nullptr;
  ctx.set_enumerators(type, std::move(names));
  return ctx.enumerators_of(type);
}

}  // namespace vos
