// Enumerations, option sets and the enumerators that structures and unions declare.
#include <cstdint>
#include <string>

#include "tools/vospack/codegen/datatype_sources.h"
#include "tools/vospack/codegen/name_check.h"
#include "tools/vospack/codegen/naming.h"

namespace vos {

namespace {

constexpr uint32_t kByte = 3;
constexpr uint32_t kUInt16 = 5;
constexpr uint32_t kUInt32 = 7;
constexpr uint32_t kUInt64 = 9;

// The C integer and the type identifier of an integer option-set base; null for any other.
const char* integer_c_type(uint32_t id) {
  switch (id) {
    case kByte:
      return "uint8_t";
    case kUInt16:
      return "uint16_t";
    case kUInt32:
      return "uint32_t";
    case kUInt64:
      return "uint64_t";
    default:
      return nullptr;
  }
}

const char* integer_type_id(uint32_t id) {
  switch (id) {
    case kByte:
      return "UA_TYPE_UINT8";
    case kUInt16:
      return "UA_TYPE_UINT16";
    case kUInt32:
      return "UA_TYPE_UINT32";
    default:
      return "UA_TYPE_UINT64";
  }
}

// The namespace-0 base of an option set: its identifier, or -1 after the message.
int64_t checked_optionset_base(const codegen_context& ctx, const UADataType& type,
                               const char* function) {
  const uagraph_node* base = ctx.optionset_base_of(type).base;
  if (base == nullptr) {
    codegen_context::error("error (%s): could not find optionset basetype.\n", function);
    return -1;
  }
  if (base->NodeId.ns() != 0 || !base->NodeId.is_numeric()) {
    codegen_context::error("error (%s): the basetype of the optionset is not from NS0.\n",
                           function);
    return -1;
  }
  const uint32_t id = base->NodeId.numeric_id();
  if (id != UAGRAPH_ID_OPTIONSET && integer_c_type(id) == nullptr) {
    codegen_context::error("error (%s): the basetype of the optionset is not supported (id=%u).\n",
                           function, id);
    return -1;
  }
  return id;
}

struct optionset_names {
  const nstable_entry* entry = nullptr;
  std::string name;
  std::string c_type;
  std::string base;
};

int names_of(const codegen_context& ctx, UADataType& type, optionset_names& n,
             const char* function) {
  n.entry = ctx.namespace_entry(type.NodeId.ns(), function);
  if (n.entry == nullptr) return -1;
  n.name = std::string(ctx.symbolic_name(type, function));
  if (n.name.empty()) return -1;
  return ctx.c_names(type, n.c_type, n.base, function);
}

// What both option-set writers start with: the checked base identifier (or -1 after the
// message) and the names.
int64_t optionset_prologue(const codegen_context& ctx, UADataType& type, optionset_names& n,
                           const char* function) {
  const int64_t base_id = checked_optionset_base(ctx, type, function);
  if (base_id < 0 || names_of(ctx, type, n, function) != 0) return -1;
  return base_id;
}

// The bit enumeration of an option set.
int output_c_optionset_values(const codegen_context& ctx, output_file& out, UADataType& type,
                              const optionset_names& n) {
  uagraph_definition& def = cg_value_definition(ctx, type);
  if (def.fields.empty()) return 0;
  const std::vector<std::string>* names = cg_enumerators(ctx, type);
  if (names == nullptr) return -1;
  out.print("enum %s_bits {\n", n.base.c_str());
  if (names->size() != def.fields.size()) return cg_enumerators_mismatch(type);
  for (std::size_t i = 0; i < def.fields.size(); ++i) {
    out.print("    %s = %i,\n", (*names)[i].c_str(), def.fields[i].Value);
  }
  out.put("};\n\n");
  return 0;
}

}  // namespace

uagraph_definition& cg_value_definition(const codegen_context& ctx, UADataType& type) {
  uagraph_node* cur = &type;
  for (int steps = 0; cur != nullptr && steps < 64; ++steps) {
    UADataType* dt = cur->as<UADataType>();
    if (dt == nullptr || dt->Definition.kind != type.Definition.kind) break;
    if (!dt->Definition.fields.empty()) return dt->Definition;
    cur = ctx.graph().node_supertype(*cur);
  }
  return type.Definition;
}

int output_c_enum_fields(const codegen_context& ctx, output_file& out, UADataType& type,
                         int indent) {
  constexpr const char* kFunction = "output_c_enum_fields";
  const nstable_entry* entry = ctx.namespace_entry(type.NodeId.ns(), kFunction);
  if (entry == nullptr) return -1;
  const std::string_view name = ctx.symbolic_name(type, kFunction);
  if (name.empty()) return -1;
  const uint32_t kind = type.Definition.kind;
  const bool valued =
      kind == UAGRAPH_DEFINITION_ENUMERATION || kind == UAGRAPH_DEFINITION_OPTIONSET;
  uagraph_definition& def = valued ? cg_value_definition(ctx, type) : type.Definition;
  const std::vector<std::string>* names = cg_enumerators(ctx, type);
  if (names == nullptr) return -1;
  // [NONE,] one per field, MAX_ENUM_VALUE
  const std::size_t first = valued ? 0 : 1;
  if (names->size() != def.fields.size() + first + 1) return cg_enumerators_mismatch(type);
  if (!valued) out.print("%*s%s = 0,\n", indent, "", names->front().c_str());
  for (std::size_t i = 0; i < def.fields.size(); ++i) {
    const std::string& enumerator = (*names)[first + i];
    if (valued) {
      out.print("%*s%s = %i,\n", indent, "", enumerator.c_str(), def.fields[i].Value);
    } else {
      out.print("%*s%s,\n", indent, "", enumerator.c_str());
    }
  }
  out.print("%*s%s = INT32_MAX /* make sure the enum is 32bit large */\n", indent, "",
            names->back().c_str());
  return 0;
}

int output_c_enum_fields_for_stucture_wof(const codegen_context& ctx, output_file& out,
                                          UADataType& type, const std::vector<cg_level>& levels,
                                          int indent) {
  constexpr const char* kFunction = "output_c_enum_fields_for_stucture_wof";
  const nstable_entry* entry = ctx.namespace_entry(type.NodeId.ns(), kFunction);
  if (entry == nullptr) return -1;
  const std::string_view name = ctx.symbolic_name(type, kFunction);
  if (name.empty()) return -1;
  unsigned count = 0;
  for (const cg_level& level : levels) {
    for (const cg_field& f : level.fields) count += f.field->IsOptional ? 1 : 0;
  }
  if (count > 32) {
    codegen_context::error("error (%s): too many optional fields.\n", kFunction);
    return -1;
  }
  const std::vector<std::string>* names = cg_enumerators(ctx, type);
  if (names == nullptr) return -1;
  if (names->size() != count + 1) return cg_enumerators_mismatch(type);
  for (unsigned bit = 0; bit < count; ++bit) {
    // An enumerator is an int: bit 31 is INT32_MIN, which a uint32_t mask takes as 1u << 31.
    if (bit == 31) {
      out.print("%*s%s = INT32_MIN, /* 1u << 31 */\n", indent, "", (*names)[bit].c_str());
    } else {
      out.print("%*s%s = (1 << %u),\n", indent, "", (*names)[bit].c_str(), bit);
    }
  }
  out.print("%*s%s = INT32_MAX,\n", indent, "", names->back().c_str());
  return 0;
}

int output_c_enumtype(const codegen_context& ctx, output_file& out, UADataType& type) {
  std::string c_type;
  std::string base;
  if (ctx.c_names(type, c_type, base, "output_c_enumtype") != 0) return -1;
  out.print("%s {\n", c_type.c_str());
  if (output_c_enum_fields(ctx, out, type, 4) != 0) return -1;
  out.put("};\n");
  return 0;
}

int output_c_optionset(const codegen_context& ctx, output_file& out, UADataType& type) {
  constexpr const char* kFunction = "output_c_optionset";
  optionset_names n;
  const int64_t base_id = optionset_prologue(ctx, type, n, kFunction);
  if (base_id < 0) return -1;
  if (uagraph_node* super = ctx.optionset_base_of(type).subtype_of; super != nullptr) {
    const std::string_view super_name = ctx.symbolic_name(*super, kFunction);
    out.put("/* This optionset is a subtype of ");
    out.comment_text(super_name);
    out.put(" */\n");
  }
  if (output_c_optionset_values(ctx, out, type, n) != 0) return -1;
  const char* b = n.base.c_str();
  const char* t = n.c_type.c_str();
  if (base_id == UAGRAPH_ID_OPTIONSET) {
    out.print("typedef struct ua_optionset %s;\n", t);
    out.print("\nextern const struct ua_dict_field g_%s_fields[2];\n\n", b);
    out.print("int %s_init(%s *v);\n", b, t);
    out.print("void %s_clear(%s *v);\n", b, t);
    out.print("void %s_set_bit(%s *v, enum %s_bits bit);\n", b, t, b);
    out.print("void %s_clr_bit(%s *v, enum %s_bits bit);\n", b, t, b);
    out.print("bool %s_get_bit(%s *v, enum %s_bits bit);\n", b, t, b);
    out.print("bool %s_is_valid(%s *v, enum %s_bits bit);\n", b, t, b);
    out.print("void %s_invalidate_bit(%s *v, enum %s_bits bit);\n", b, t, b);
    return 0;
  }
  out.print("typedef %s %s;\n", integer_c_type(static_cast<uint32_t>(base_id)), t);
  out.print("\nextern const struct ua_dict_field g_%s_fields[1];\n\n", b);
  out.print("#define %s_set_bit(val, bit) val |= UA_BV(bit)\n", b);
  out.print("#define %s_clr_bit() val &= !UA_BV(bit)\n", b);
  out.print("#define %s_bit_is_set() ((val & UA_BV(bit)) == UA_BV(bit))\n", b);
  out.print("#define %s_bit_is_clr() ((val & UA_BV(bit)) == 0)\n", b);
  out.print("\nint %s_init(%s *v);\n", b, t);
  return 0;
}

int output_c_optionset_impl(const codegen_context& ctx, output_file& out, UADataType& type) {
  constexpr const char* kFunction = "output_c_optionset_impl";
  optionset_names n;
  const int64_t base_id = optionset_prologue(ctx, type, n, kFunction);
  if (base_id < 0) return -1;
  const char* b = n.base.c_str();
  const char* t = n.c_type.c_str();
  out.print("#include <uabase/type_identifier.h>\n#include \"%s.h\"\n\n", cg_lower(n.name).c_str());
  if (base_id != UAGRAPH_ID_OPTIONSET) {
    out.print("const struct ua_dict_field g_%s_fields[1] = {\n", b);
    out.print(
        "    {\n        UA_DICT_NAME_LEN(\"Value\")\n"
        "        UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_OSET_FIXED,\n"
        "        0,  /* offset */\n        %s\n    }\n};\n\n",
        integer_type_id(static_cast<uint32_t>(base_id)));
    out.print("int %s_init(%s *v)\n{\n    *v = 0;\n    return 0;\n}\n", b, t);
    return 0;
  }
  unsigned max_value = 0;
  for (const uagraph_field& f : cg_value_definition(ctx, type).fields) {
    if (f.Value < 0) {
      codegen_context::error("error (%s): negative optionset value.\n", kFunction);
      return -1;
    }
    max_value = std::max(max_value, static_cast<unsigned>(f.Value));
  }
  out.print("const struct ua_dict_field g_%s_fields[] = {\n", b);
  out.put(
      "    {\n        UA_DICT_NAME_LEN(\"Value\")\n"
      "        UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC,\n"
      "        ua_offsetof(struct ua_optionset, value),\n        UA_TYPE_BYTESTRING\n    },\n");
  out.put(
      "    {\n        UA_DICT_NAME_LEN(\"ValidBits\")\n"
      "        UA_DICT_RANK_SCALAR_NS0 | UA_DICT_IMPL_FUNC,\n"
      "        ua_offsetof(struct ua_optionset, valid_bits),\n        UA_TYPE_BYTESTRING\n"
      "    }\n};\n\n");
  // Bits 0 to max_value take max_value / 8 + 1 bytes. The helpers leave a value alone (and
  // report a bit as clear and not valid) for a bit above max_value or past the end of a
  // byte string that is shorter, as one decoded from a peer may be.
  out.print("static const unsigned int %s_max_value = %u;\n\n", b, max_value);
  out.print("int %s_init(%s *v)\n{\n    int ret;\n\n", b, t);
  out.print(
      "    ret = ua_bytestring_create(&v->value, %s_max_value / 8 + 1);\n"
      "    if (ret != 0) return ret;\n",
      b);
  out.print(
      "    ret = ua_bytestring_create(&v->valid_bits, %s_max_value / 8 + 1);\n"
      "    if (ret != 0) {\n        ua_bytestring_clear(&v->value);\n        return ret;\n"
      "    }\n    return 0;\n}\n\n",
      b);
  out.print(
      "void %s_clear(%s *v)\n{\n    ua_bytestring_clear(&v->value);\n"
      "    ua_bytestring_clear(&v->valid_bits);\n}\n\n",
      b, t);
  // Every helper starts with its byte and mask and refuses a bit that the byte strings it
  // uses do not hold.
  const auto opening = [&](const char* ret_type, const char* name, bool value, bool valid,
                           const char* refused) {
    out.print("%s %s_%s(%s *v, enum %s_bits bit)\n{\n", ret_type, b, name, t, b);
    out.print(
        "    unsigned int byte = bit / 8;\n"
        "    unsigned int mask = (1 << (bit %% 8));\n\n"
        "    if ((unsigned int)bit > %s_max_value", b);
    if (value) out.put(" || (int32_t)byte >= v->value.len");
    if (valid) out.put(" || (int32_t)byte >= v->valid_bits.len");
    out.print(") return%s;\n", refused);
  };
  opening("void", "set_bit", true, true, "");
  out.put("    v->value.data[byte] |= mask;\n    v->valid_bits.data[byte] |= mask;\n}\n\n");
  opening("void", "clr_bit", true, true, "");
  out.put("    v->value.data[byte] &= ~mask;\n    v->valid_bits.data[byte] |= mask;\n}\n\n");
  opening("bool", "get_bit", true, false, " false");
  out.put("    uint8_t *data = v->value.data;\n    return ((data[byte] & mask) == mask);\n}\n\n");
  opening("bool", "is_valid", false, true, " false");
  out.put(
      "    uint8_t *valid = v->valid_bits.data;\n    return ((valid[byte] & mask) == "
      "mask);\n}\n\n");
  opening("void", "invalidate_bit", false, true, "");
  out.put("    uint8_t *valid = v->valid_bits.data;\n    valid[byte] &= ~mask;\n}\n");
  return 0;
}

}  // namespace vos
