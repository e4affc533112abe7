// The header and source of one data type: the frame of every kind, structures and unions.
#include "tools/vospack/codegen/datatype_sources.h"

#include <algorithm>
#include <unordered_set>

#include "tools/vospack/codegen/name_check.h"
#include "tools/vospack/codegen/naming.h"
#include "tools/vospack/codegen/writers.h"
#include "uabase/text_nodeid.h"

namespace vos {

namespace {

// A structure hierarchy deeper than this is taken as a loop.
constexpr int kMaxLevels = 64;

bool is_structure_kind(uint32_t kind) {
  return kind == UAGRAPH_DEFINITION_STRUCTURE ||
         kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_OPTIONAL_FIELDS ||
         kind == UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES;
}

bool is_union_kind(uint32_t kind) {
  return kind == UAGRAPH_DEFINITION_UNION || kind == UAGRAPH_DEFINITION_UNION_WITH_SUBTYPED_VALUES;
}

bool has_optional_fields(const std::vector<cg_level>& levels) {
  for (const cg_level& level : levels) {
    for (const cg_field& f : level.fields) {
      if (f.field->IsOptional) return true;
    }
  }
  return false;
}

std::size_t field_count(const std::vector<cg_level>& levels) {
  std::size_t n = 0;
  for (const cg_level& level : levels) n += level.fields.size();
  return n;
}

// Resolves the fields of one definition.
int resolve_fields(const codegen_context& ctx, UADataType& owner, std::vector<cg_field>& out) {
  const std::string_view owner_name = owner.symbolic_name().view();
  const bool ns0 = owner.NodeId.ns() == 0;
  for (uagraph_field& field : owner.Definition.fields) {
    cg_field f;
    f.field = &field;
    const std::string_view name = field.symbolic_name().view();
    if (name.empty()) {
      codegen_context::error("error (%s): get_field_symbolicname failed for index %u.\n",
                             "output_c_structuretype", static_cast<unsigned>(out.size()));
      return -1;
    }
    if (cg_field_name(name, ns0, f.member)) {
      codegen_context::warning("info: the datatype '%.*s' contains the problematic field\n",
                               static_cast<int>(owner_name.size()), owner_name.data());
    }
    if (f.member[0] >= '0' && f.member[0] <= '9') {
      codegen_context::warning(
          "warning: the field name '%s' of datatype '%.*s' starts with a digit; the member is "
          "named '_%s'.\n",
          f.member.c_str(), static_cast<int>(owner_name.size()), owner_name.data(),
          f.member.c_str());
      f.member.insert(0, 1, '_');
    }
    if (ctx.graph().node_find(field.DataType) == nullptr) {
      codegen_context::error("error: unkown structure field datatype for field '%.*s.%s'.\n",
                             static_cast<int>(owner_name.size()), owner_name.data(),
                             f.member.c_str());
      return -1;
    }
    if (ctx.c_type(field.DataType, f.type, "output_c_make_typeid") != 0) return -1;
    // An abstract type holds only its subtypes, so such a field is an extension object.
    f.as_extension_object =
        field.AllowSubTypes || (f.type.type != nullptr && f.type.type->IsAbstract);
    if (f.as_extension_object) {
      if (ctx.c_type(ua_nodeid(0, UAGRAPH_ID_STRUCTURE), f.type, "output_c_make_typeid") != 0) {
        return -1;
      }
    }
    f.c_type = f.type.c_type;
    f.array = field.ArrayInfo.ValueRank != -1;
    out.push_back(std::move(f));
  }
  return 0;
}

// Makes the member names of one C scope unique: a member whose name is taken (by an
// earlier field, inherited ones first, or by a name in `reserved`) is renamed
// "<name>_2" (_3, ...) with a warning naming the data type and both fields.
void make_members_unique(UADataType& owner, std::vector<cg_field*> fields,
                         const std::vector<std::string>& reserved) {
  std::unordered_set<std::string> taken;
  for (const std::string_view r : reserved) taken.emplace(r);
  for (cg_field* f : fields) {
    std::string candidate = f->member;
    for (unsigned n = 2; taken.contains(candidate); ++n) candidate = cg_numbered(f->member, n);
    taken.insert(candidate);
    if (candidate == f->member) continue;
    const std::string_view owner_name = owner.symbolic_name().view();
    codegen_context::warning(
        "warning: the field '%.*s' of datatype '%.*s' (%s) is named '%s' in C: '%s' is taken "
        "there.\n",
        static_cast<int>(f->field->Name.view().size()), f->field->Name.view().data(),
        static_cast<int>(owner_name.size()), owner_name.data(),
        ua_nodeid_printable(owner.NodeId).c_str(), candidate.c_str(), f->member.c_str());
    f->member = std::move(candidate);
  }
}

// The member declarations of one field, indented.
void write_member(output_file& out, const cg_field& f, int indent) {
  if (!f.array) {
    out.print("%*s%s %s;\n", indent, "", f.c_type.c_str(), f.member.c_str());
    return;
  }
  out.print("%*sstruct {\n", indent, "");
  out.print("%*s%s *array;\n", indent + 4, "", f.c_type.c_str());
  out.print("%*sint32_t len;\n", indent + 4, "");
  out.print("%*s} %s;\n", indent, "", f.member.c_str());
}

// An upper bound of the C size of a structure or union, whatever the runtime's value types
// measure: a member of a built-in, option-set or extension-object type counts 128 bytes, an
// array 16 (pointer and length), an enumeration 4, a nested structure its own bound, each
// member 8 more for alignment. A loop or a hierarchy deeper than 64 levels is unbounded.
uint64_t size_bound(const codegen_context& ctx, const UADataType& type, int depth = 0) {
  constexpr uint64_t kUnbounded = UINT64_MAX / 4;
  if (depth > 64) return kUnbounded;
  uint64_t size = 8;  // the mask or the union switch
  int levels = 0;
  for (const uagraph_node* n = &type; n != nullptr; n = ctx.graph().node_supertype(*n)) {
    const UADataType* dt = n->as<UADataType>();
    if (dt == nullptr || dt->Definition.kind == UAGRAPH_DEFINITION_NONE) break;
    if (n != &type && !is_structure_kind(dt->Definition.kind)) break;
    if (++levels > kMaxLevels) return kUnbounded;
    for (const uagraph_field& f : dt->Definition.fields) {
      uint64_t member = 128;
      const uagraph_node* fn = f.AllowSubTypes ? nullptr : ctx.graph().node_find(f.DataType);
      const UADataType* ft = fn != nullptr ? fn->as<UADataType>() : nullptr;
      if (f.ArrayInfo.ValueRank != -1) {
        member = 16;
      } else if (ft != nullptr && ft->Definition.kind == UAGRAPH_DEFINITION_ENUMERATION) {
        member = 4;
      } else if (ft != nullptr && !ft->IsAbstract &&
                 (is_structure_kind(ft->Definition.kind) || is_union_kind(ft->Definition.kind))) {
        member = size_bound(ctx, *ft, depth + 1);
      }
      size = std::min(kUnbounded, size + member + 8);
    }
  }
  return size;
}

// The field rows hold member offsets in 16 bits. A structure that might be larger than
// 65,536 bytes gets a declaration that no compiler takes when it is.
void write_offset_guard(const codegen_context& ctx, output_file& out, const UADataType& type,
                        const std::string& base, const std::string& c_type) {
  if (size_bound(ctx, type) <= 65536) return;
  out.print(
      "\n/* Field rows hold member offsets in 16 bits: the structure must not exceed 65536 "
      "bytes. */\ntypedef char g_%s_offsets_fit[sizeof(%s) <= 65536 ? 1 : -1];\n",
      base.c_str(), c_type.c_str());
}

// A field row holds the length of its name in 8 bits; member names are identifiers.
static_assert(CODEGEN_MAX_IDENTIFIER <= 255, "a member name must fit a field row");

// One row of a field table; `member` is the path inside the C type.
void write_field_row(const codegen_context& ctx, output_file& out, const std::string& c_type,
                     const cg_field& f, const std::string& member) {
  out.put("{\n    UA_DICT_NAME_LEN(");
  out.c_string(f.member);
  out.put(")\n");
  out.print("    %s\n", cg_field_flags(ctx, f).c_str());
  out.print("    ua_offsetof(%s, %s),\n", c_type.c_str(), member.c_str());
  out.print("    %s\n},\n", f.type.type_id.c_str());
}

// The field-type includes, each once, in order of first use. An array of a structure whose
// header would lead back to one that needs this type complete gets a declaration instead.
void write_field_includes(const codegen_context& ctx, output_file& out, const UADataType& type,
                          const std::vector<cg_level>& levels) {
  out.put("/* includes for field datatypes */\n");
  std::vector<std::string_view> seen;
  std::vector<std::string_view> declared;
  for (const cg_level& level : levels) {
    for (const cg_field& f : level.fields) {
      const std::string_view inc = f.type.include;
      if (inc.empty() || std::find(seen.begin(), seen.end(), inc) != seen.end()) continue;
      seen.push_back(inc);
      if (f.array && f.type.type != nullptr && f.type.c_type.starts_with("struct ") &&
          cg_include_closes_loop(ctx.graph(), type, *f.type.type)) {
        declared.push_back(f.type.c_type);
        continue;
      }
      out.print("#include <%.*s.h>\n", static_cast<int>(inc.size()), inc.data());
    }
  }
  for (const std::string_view d : declared) {
    out.print("%.*s;\n", static_cast<int>(d.size()), d.data());
  }
  out.put("\n");
}

// "#include <%s/type_identifier.h>" for the other namespaces whose types the fields use.
int write_typeidentifier_includes(const codegen_context& ctx, output_file& out,
                                  const UADataType& type, const std::vector<cg_level>& levels) {
  std::vector<uint32_t> namespaces;
  for (const cg_level& level : levels) {
    for (const cg_field& f : level.fields) {
      if (f.type.type == nullptr) continue;
      const uint32_t ns = f.type.type->NodeId.ns();
      if (ns == 0 || ns == type.NodeId.ns()) continue;
      if (std::find(namespaces.begin(), namespaces.end(), ns) != namespaces.end()) continue;
      if (namespaces.size() == 10) {
        codegen_context::error("error (%s): too many namespaces.\n",
                               "output_c_print_typeidentifier_includes");
        return -1;
      }
      namespaces.push_back(ns);
    }
  }
  for (const uint32_t ns : namespaces) {
    const nstable_entry* entry = ctx.namespace_entry(ns, "output_c_print_typeidentifier_includes");
    if (entry == nullptr) return -1;
    out.print("#include <%s/type_identifier.h>\n", entry->prefix_lower().c_str());
  }
  return 0;
}

void write_inline_functions(output_file& out, const std::string& base, const std::string& c_type,
                            const std::string& type_id) {
  const char* b = base.c_str();
  const char* t = c_type.c_str();
  const char* id = type_id.c_str();
  out.print("static inline void %s_init(%s *obj)\n{\n    ua_memset(obj, 0, sizeof(*obj));\n}\n\n",
            b, t);
  out.print(
      "static inline void %s_clear(%s *obj)\n{\n"
      "    ua_type_table_clear_structure(%s, obj);\n}\n\n",
      b, t, id);
  out.print(
      "static inline int %s_compare(const %s *a, const %s *b)\n{\n"
      "    return ua_type_table_compare_structure(%s, a, b);\n}\n\n",
      b, t, t, id);
  out.print(
      "static inline int %s_copy(%s *dst, const %s *src)\n{\n"
      "    return ua_type_table_copy_structure(%s, dst, src);\n}\n\n",
      b, t, t, id);
}

struct type_names {
  std::string name;  // symbolic name
  std::string c_type;
  std::string base;
  std::string type_id;
};

int names_of(const codegen_context& ctx, UADataType& type, type_names& n, const char* function) {
  const std::string_view name = ctx.symbolic_name(type, function);
  if (name.empty()) return -1;
  n.name = std::string(name);
  if (ctx.c_names(type, n.c_type, n.base, function) != 0) return -1;
  n.type_id = ctx.type_identifier(type, name);
  return 0;
}

int output_c_structuretype(const codegen_context& ctx, output_file& out, UADataType& type,
                           const std::vector<cg_level>& levels) {
  type_names n;
  if (names_of(ctx, type, n, "output_c_structuretype") != 0) return -1;
  const bool optional = has_optional_fields(levels);
  if (optional) {
    out.print("enum %s_mask {\n", n.base.c_str());
    if (output_c_enum_fields_for_stucture_wof(ctx, out, type, levels, 4) != 0) return -1;
    out.put("};\n\n");
  }
  out.print("%s {\n", n.c_type.c_str());
  if (optional) out.put("    uint32_t mask;\n");
  if (field_count(levels) == 0) {
    // ISO C has no structure without members; no field row describes this one.
    out.put("    uint8_t unused; /* a structure without fields */\n");
  }
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const bool inherited = i + 1 < levels.size();
    const std::string level_name = cg_lower(levels[i].type->symbolic_name().view());
    out.print("    /* %s", inherited ? "inherited " : "");
    out.comment_text(level_name);
    out.put(" fields */\n");
    for (const cg_field& f : levels[i].fields) write_member(out, f, 4);
  }
  out.put("};\n\n");
  write_inline_functions(out, n.base, n.c_type, n.type_id);
  // A structure without fields has one placeholder row; its type table row counts none.
  out.print("extern const struct ua_dict_field g_%s_fields[%u];\n", n.base.c_str(),
            static_cast<unsigned>(std::max<std::size_t>(1, field_count(levels) + (optional ? 1 : 0))));
  return 0;
}

int output_c_structuretype_impl(const codegen_context& ctx, output_file& out, UADataType& type,
                                const std::vector<cg_level>& levels) {
  type_names n;
  if (names_of(ctx, type, n, "output_c_structuretype_impl") != 0) return -1;
  out.put(
      "#include <memory/memory.h>\n#include <uabase/type_identifier.h>\n"
      "#include <uabase/dict.h>\n#include \"type_table.h\"\n#include \"type_identifier.h\"\n");
  if (write_typeidentifier_includes(ctx, out, type, levels) != 0) return -1;
  if (field_count(levels) == 0) {
    // ISO C has no empty arrays: one placeholder row, which the type table does not count.
    out.print("\nconst struct ua_dict_field g_%s_fields[1] = {\n    { 0 } /* placeholder */\n};\n",
              n.base.c_str());
    return 0;
  }
  out.print("\nconst struct ua_dict_field g_%s_fields[] = {\n", n.base.c_str());
  if (has_optional_fields(levels)) {
    out.print(
        "{\n    UA_DICT_NAME_LEN(\"Mask\")\n"
        "    UA_DICT_STRUCT_OPTIONAL | UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED,\n"
        "    ua_offsetof(%s, mask),\n    UA_TYPE_UINT32\n},\n",
        n.c_type.c_str());
  }
  for (const cg_level& level : levels) {
    for (const cg_field& f : level.fields) write_field_row(ctx, out, n.c_type, f, f.member);
  }
  out.put("};\n");
  write_offset_guard(ctx, out, type, n.base, n.c_type);
  return 0;
}

// A union field that is set by value: a fixed-size built-in, an enumeration or an integer
// option set.
bool set_by_value(const codegen_context& ctx, const cg_field& f) {
  if (f.array || f.as_extension_object) return false;
  if (f.type.type == nullptr) return f.type.fixed_size;
  const uint32_t kind = f.type.type->Definition.kind;
  return kind == UAGRAPH_DEFINITION_ENUMERATION ||
         (kind == UAGRAPH_DEFINITION_OPTIONSET && !ctx.is_bytestring_optionset(*f.type.type));
}

int output_c_uniontype(const codegen_context& ctx, output_file& out, UADataType& type,
                       const std::vector<cg_field>& fields) {
  type_names n;
  if (names_of(ctx, type, n, "output_c_uniontype") != 0) return -1;
  out.print("enum %s_type {\n", n.base.c_str());
  if (output_c_enum_fields(ctx, out, type, 4) != 0) return -1;
  out.put("};\n\n");
  out.print("%s {\n    uint32_t type;\n", n.c_type.c_str());
  if (!fields.empty()) {
    out.put("    union {\n");
    for (const cg_field& f : fields) write_member(out, f, 8);
    out.put("    } u;\n");
  }
  out.put("};\n\n");
  write_inline_functions(out, n.base, n.c_type, n.type_id);
  for (const cg_field& f : fields) {
    const char* b = n.base.c_str();
    const char* m = f.member.c_str();
    if (f.array) {
      out.print("int %s_set_%s(%s *obj, %s *%s, int32_t len);\n", b, m, n.c_type.c_str(),
                f.c_type.c_str(), m);
    } else if (set_by_value(ctx, f)) {
      out.print("void %s_set_%s(%s *obj, %s %s);\n", b, m, n.c_type.c_str(), f.c_type.c_str(), m);
    } else {
      out.print("int %s_set_%s(%s *obj, %s *%s);\n", b, m, n.c_type.c_str(), f.c_type.c_str(), m);
    }
  }
  if (!fields.empty()) out.put("\n");
  out.print("extern const struct ua_dict_field g_%s_fields[%u];\n", n.base.c_str(),
            static_cast<unsigned>(fields.size() + 1));
  return 0;
}

int output_c_uniontype_impl(const codegen_context& ctx, output_file& out,
                            const nstable_entry& /*entry*/, UADataType& type,
                            const std::vector<cg_field>& fields) {
  type_names n;
  if (names_of(ctx, type, n, "output_c_uniontype_impl") != 0) return -1;
  const std::vector<cg_level> levels{cg_level{&type, fields}};
  out.put(
      "#include <memory/memory.h>\n#include <uabase/type_identifier.h>\n"
      "#include <uabase/dict.h>\n#include \"type_table.h\"\n#include \"type_identifier.h\"\n");
  if (write_typeidentifier_includes(ctx, out, type, levels) != 0) return -1;
  out.print("\nconst struct ua_dict_field g_%s_fields[] = {\n", n.base.c_str());
  out.print(
      "{\n    UA_DICT_NAME_LEN(\"SwitchField\")\n"
      "    UA_DICT_STRUCT_UNION | UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC_FIXED,\n"
      "    ua_offsetof(%s, type),\n    UA_TYPE_UINT32\n},\n",
      n.c_type.c_str());
  for (const cg_field& f : fields) write_field_row(ctx, out, n.c_type, f, "u." + f.member);
  out.put("};\n");
  write_offset_guard(ctx, out, type, n.base, n.c_type);
  // NONE, one per field, MAX_ENUM_VALUE
  const std::vector<std::string>* names = cg_enumerators(ctx, type);
  if (names == nullptr) return -1;
  if (names->size() != fields.size() + 2) return cg_enumerators_mismatch(type);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const cg_field& f = fields[i];
    const char* b = n.base.c_str();
    const char* m = f.member.c_str();
    const std::string& enumerator = (*names)[i + 1];
    if (f.array) {
      out.print("\nint %s_set_%s(%s *obj, %s *%s, int32_t len)\n{\n", b, m, n.c_type.c_str(),
                f.c_type.c_str(), m);
      out.print("    %s_clear(obj);\n    obj->type = %s;\n", b, enumerator.c_str());
      out.print("    obj->u.%s.array = %s;\n    obj->u.%s.len = len;\n    return 0;\n}\n", m, m, m);
    } else if (set_by_value(ctx, f)) {
      out.print("\nvoid %s_set_%s(%s *obj, %s %s)\n{\n", b, m, n.c_type.c_str(), f.c_type.c_str(),
                m);
      out.print("    %s_clear(obj);\n    obj->type = %s;\n", b, enumerator.c_str());
      out.print("    obj->u.%s = %s;\n}\n", m, m);
    } else {
      out.print("\nint %s_set_%s(%s *obj, %s *%s)\n{\n", b, m, n.c_type.c_str(), f.c_type.c_str(),
                m);
      out.print("    %s_clear(obj);\n    obj->type = %s;\n", b, enumerator.c_str());
      out.print("    obj->u.%s = *%s;\n    ua_memset(%s, 0, sizeof(*%s));\n    return 0;\n}\n", m,
                m, m, m);
    }
  }
  return 0;
}

}  // namespace

int cg_structure_levels(const codegen_context& ctx, UADataType& type, std::vector<cg_level>& out) {
  out.clear();
  std::vector<UADataType*> chain{&type};
  for (uagraph_node* super = ctx.graph().node_supertype(type); super != nullptr;
       super = ctx.graph().node_supertype(*super)) {
    UADataType* dt = super->as<UADataType>();
    if (dt == nullptr || !is_structure_kind(dt->Definition.kind)) break;
    if (chain.size() == kMaxLevels) {
      codegen_context::error(
          "error (%s): datatype %.*s could not find base datatype.\n", "output_c_structuretype",
          static_cast<int>(type.BrowseName.name.view().size()), type.BrowseName.name.view().data());
      return -1;
    }
    chain.push_back(dt);
  }
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    cg_level level;
    level.type = *it;
    if (resolve_fields(ctx, **it, level.fields) != 0) return -1;
    out.push_back(std::move(level));
    // Each level as its own header shows it: inherited members keep their names, and
    // "mask" stands beside optional fields.
    std::vector<cg_field*> members;
    bool optional = false;
    for (cg_level& l : out) {
      for (cg_field& f : l.fields) {
        members.push_back(&f);
        optional = optional || f.field->IsOptional;
      }
    }
    make_members_unique(**it, members, optional ? std::vector<std::string>{"mask"}
                                                : std::vector<std::string>{});
  }
  return 0;
}

std::string cg_field_flags(const codegen_context& ctx, const cg_field& f) {
  // The rank follows the member's declaration: any value rank but -1 declares the array pair
  // { array, len }, which a row flagged scalar would have the runtime read as one value.
  std::string flags = f.array ? "UA_DICT_RANK_ARRAY" : "UA_DICT_RANK_SCALAR";
  if (f.type.namespace0) flags += "_NS0";
  if (f.field->IsOptional) flags += " | UA_DICT_STRUCT_OPTIONAL";
  const UADataType* t = f.type.type;
  if (t == nullptr) {
    if (f.type.builtin == UAGRAPH_ID_DIAGNOSTICINFO) {
      flags += " | UA_DICT_IMPL_DIAGNOSTICINFO,";
    } else {
      flags += f.type.fixed_size ? " | UA_DICT_IMPL_FUNC_FIXED," : " | UA_DICT_IMPL_FUNC,";
    }
  } else if (t->Definition.kind == UAGRAPH_DEFINITION_ENUMERATION) {
    flags += " | UA_DICT_IMPL_ENUM_FIXED,";
  } else if (t->Definition.kind == UAGRAPH_DEFINITION_OPTIONSET) {
    flags +=
        ctx.is_bytestring_optionset(*t) ? " | UA_DICT_IMPL_STRUCT," : " | UA_DICT_IMPL_OSET_FIXED,";
  } else {
    flags += " | UA_DICT_IMPL_STRUCT,";
  }
  return flags;
}

std::string cg_enumerator(const nstable_entry& entry, std::string_view type_name,
                          std::string_view field_name) {
  return cg_upper(
      cg_join({entry.prefix(), "_", type_name.substr(0, CODEGEN_MAX_IDENTIFIER), "_", field_name}));
}

int output_c_datatype(const codegen_context& ctx, UADataType& type) {
  constexpr const char* kFunction = "output_c_datatype";
  const nstable_entry* entry = ctx.namespace_entry(type.NodeId.ns(), kFunction);
  if (entry == nullptr) return -1;
  const std::string_view name = ctx.symbolic_name(type, kFunction);
  if (name.empty()) return -1;
  const uint32_t kind = type.Definition.kind;
  if (!is_structure_kind(kind) && !is_union_kind(kind) && kind != UAGRAPH_DEFINITION_ENUMERATION &&
      kind != UAGRAPH_DEFINITION_OPTIONSET) {
    codegen_context::error("error: unknown definition type: %i\n", static_cast<int>(kind));
    return -1;
  }
  if (ctx.make_namespace_dir(*entry, kFunction) != 0) return -1;

  // Everything the two files need is resolved first, so that a bad field fails before a
  // file is started.
  std::vector<cg_level> levels;
  if (is_structure_kind(kind)) {
    if (cg_structure_levels(ctx, type, levels) != 0) return -1;
  } else if (is_union_kind(kind)) {
    levels.push_back(cg_level{&type, {}});
    if (resolve_fields(ctx, type, levels.back().fields) != 0) return -1;
    // The setters name their parameter after the member, beside "obj" and "len", call the
    // clear function and ua_memset, and name the parameters' types, which a parameter
    // named like one would hide.
    std::string c_type;
    std::string base;
    if (ctx.c_names(type, c_type, base, kFunction) != 0) return -1;
    std::vector<std::string> reserved{"obj", "len", "int32_t", "ua_memset", base + "_clear"};
    std::vector<cg_field*> members;
    for (cg_field& f : levels.back().fields) {
      members.push_back(&f);
      if (f.c_type.find(' ') == std::string::npos) reserved.push_back(f.c_type);
    }
    make_members_unique(type, members, reserved);
  }

  const std::string file = ctx.namespace_dir(*entry) + "/" + cg_lower(name);
  output_file out;
  if (ctx.open_file(out, file + ".h", kFunction) != 0) return -1;
  const std::string guard = cg_include_guard(cg_join({entry->prefix(), name}));
  out.print("#ifndef %s\n#define %s\n\n", guard.c_str(), guard.c_str());
  out.print(
      "#include <platform/memory.h>\n#include <uabase/type_table.h>\n"
      "#include <%s/identifier.h>\n#include <%s/type_identifier.h>\n",
      entry->prefix_lower().c_str(), entry->prefix_lower().c_str());
  if (is_structure_kind(kind) || is_union_kind(kind)) {
    write_field_includes(ctx, out, type, levels);
  } else if (kind == UAGRAPH_DEFINITION_OPTIONSET) {
    out.put(ctx.is_bytestring_optionset(type) ? "#include <uabase/structure/optionset.h>\n"
                                              : "#include <stdint.h>\n");
  }
  out.put("\nUA_BEGIN_EXTERN_C\n\n");
  int ret = 0;
  if (is_structure_kind(kind)) {
    ret = output_c_structuretype(ctx, out, type, levels);
  } else if (is_union_kind(kind)) {
    ret = output_c_uniontype(ctx, out, type, levels.front().fields);
  } else if (kind == UAGRAPH_DEFINITION_ENUMERATION) {
    ret = output_c_enumtype(ctx, out, type);
  } else {
    ret = output_c_optionset(ctx, out, type);
  }
  out.put("\nUA_END_EXTERN_C\n");
  out.print("\n#endif /* end of include guard: %s */\n\n", guard.c_str());
  if (const int r = out.finish(ret); r != 0) return r;

  if (ctx.open_file(out, file + ".c", kFunction) != 0) return -1;
  // An option-set source names the type identifiers before its own header.
  if (kind != UAGRAPH_DEFINITION_OPTIONSET)
    out.print("#include \"%s.h\"\n\n", cg_lower(name).c_str());
  if (is_structure_kind(kind)) {
    ret = output_c_structuretype_impl(ctx, out, type, levels);
  } else if (is_union_kind(kind)) {
    ret = output_c_uniontype_impl(ctx, out, *entry, type, levels.front().fields);
  } else if (kind == UAGRAPH_DEFINITION_OPTIONSET) {
    ret = output_c_optionset_impl(ctx, out, type);
  }
  return out.finish(ret);
}

}  // namespace vos
