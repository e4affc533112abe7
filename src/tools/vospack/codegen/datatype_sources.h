// Pieces shared by the writers of data type files: the fields of a structure level by
// level, their C form, and the enumerator names.
#pragma once

#include <string>
#include <vector>

#include "tools/vospack/codegen/context.h"

namespace vos {

// One field of a structure or union as the C files show it.
struct cg_field {
  const uagraph_field* field = nullptr;
  std::string member;                // the member name (field-name rule, C keywords prefixed)
  std::string c_type;                // the member's C type
  c_type_info type;                  // the field's resolved data type
  bool as_extension_object = false;  // allows subtypes (or its type is abstract)
  bool array = false;                // declared in array form (value rank other than -1)
};

// The fields of one level of a structure: the type itself or one of its base types.
struct cg_level {
  UADataType* type = nullptr;
  std::vector<cg_field> fields;
};

// The levels of a structure, root base first and the type itself last, with every field
// resolved. Returns 0, or -1 after the message.
int cg_structure_levels(const codegen_context& ctx, UADataType& type, std::vector<cg_level>& out);

// The flags line of a field row, without indentation: "UA_DICT_RANK_SCALAR_NS0 |
// UA_DICT_IMPL_FUNC_FIXED,".
std::string cg_field_flags(const codegen_context& ctx, const cg_field& field);

// An enumerator: the upper-case constant name of the type, "_" and the field's name,
// upper-cased as a whole (DI_COLOUR_RED).
std::string cg_enumerator(const nstable_entry& entry, std::string_view type_name,
                          std::string_view field_name);

// The fields that name the values of an enumeration or option set: its own, or those of
// its nearest supertype of the same kind when it has none.
uagraph_definition& cg_value_definition(const codegen_context& ctx, UADataType& type);

// Writers of the enumeration and option-set parts.
int output_c_enum_fields(const codegen_context& ctx, output_file& out, UADataType& type,
                         int indent);
int output_c_enum_fields_for_stucture_wof(const codegen_context& ctx, output_file& out,
                                          UADataType& type, const std::vector<cg_level>& levels,
                                          int indent);
int output_c_enumtype(const codegen_context& ctx, output_file& out, UADataType& type);
int output_c_optionset(const codegen_context& ctx, output_file& out, UADataType& type);
int output_c_optionset_impl(const codegen_context& ctx, output_file& out, UADataType& type);

}  // namespace vos
