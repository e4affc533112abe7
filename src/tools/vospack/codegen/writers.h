// The writers of the generated tree, one per kind of file. Each takes the run's context,
// writes its file from beginning to end and returns 0, or -1 (or the failing status) after
// printing what went wrong; files completed before a failure stay, the failing one is
// discarded.
#pragma once

#include "tools/vospack/codegen/context.h"

namespace vos {

// identifier.h: a macro per exported node of the namespace and the model information.
int output_c_identifier(const codegen_context& ctx, const nstable_entry& entry);
// The URI, version and publication-date macros of a namespace (identifier.h, ns0.h), each a
// C string literal. Returns 0, or -1 after an error when the URI does not fit a literal.
int write_model_texts(output_file& out, const nstable_entry& entry, const char* function);
// type_identifier.h: the enumeration that numbers the namespace's generated data types.
int output_c_type_identifier(const codegen_context& ctx, const nstable_entry& entry);
// The header and source of one generated data type, by its definition kind.
int output_c_datatype(const codegen_context& ctx, UADataType& type);
// type_table.c and type_table.h of a namespace that defines data types.
int output_c_type_table(const codegen_context& ctx, const nstable_entry& entry);
// CMakeLists.txt of one namespace directory (-N) or of the whole tree.
int output_c_cmake_namespace(const codegen_context& ctx, const nstable_entry& entry);
int output_c_cmake(const codegen_context& ctx);
// ns<idx>.h and ns<idx>.c: the namespace's compiled-in address space.
int output_c_addressspace_h(const codegen_context& ctx, const nstable_entry& entry);
int output_c_addressspace(const codegen_context& ctx, const nstable_entry& entry);
// Collects the roles and permission sets of the model ("Sorting roles...").
void prepare_role_permissions(const codegen_context& ctx);
// rolepermissions.c in the directory of namespace 0.
int output_c_permissions(const codegen_context& ctx);
// The provider of a namespace (-m): the generated part, then the implementation part.
int output_c_provider_h(const codegen_context& ctx, const nstable_entry& entry);
int output_c_provider_c(const codegen_context& ctx, const nstable_entry& entry);

}  // namespace vos
