// The checks that run before the generator writes its first file: every name that becomes a
// folder, a file or a C identifier shared between files must be valid and unique, and the
// model must describe types that C can hold. A clash that the tool can settle on its own
// is settled the same way in every run and named in a warning; one that only the user can
// settle ends the run with an error while nothing is written yet.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tools/vospack/codegen/context.h"

namespace vos {

// Longest prefix that a user may give; longer ones would crowd the 255 characters of an
// identifier.
inline constexpr std::size_t CODEGEN_MAX_PREFIX = 64;

// The namespace prefixes of the run. A prefix is a folder name and the start of every C
// name of its namespace: it must be a C identifier of at most 64 characters, unique among
// the namespaces of the table without regard to case (file systems and upper-cased macros
// fold it), "ua" only for namespace 0, and not the name of a folder of the runtime's
// headers. A prefix that the user gave (-i, -u) and that breaks a rule is an error. One the
// tool made itself ("ns<index>", cut for a short URI) is made valid and unique: "ns<index>"
// when it is invalid, then "_2", "_3", ... while it is taken, with a warning. Returns 0, or
// -1 after the error.
int cg_check_prefixes(nstable& namespaces);

// The names of the generated data types and what their definitions ask of C:
//  - A data type's files and C names come from its lower-cased symbolic name. One that
//    equals a file the generator writes into the namespace folder (identifier,
//    type_identifier, type_table, ns<index>, rolepermissions), or another data type's name
//    after case folding, or whose include guard or C name equals one made for another file
//    or namespace, is renamed "<name>_2" (or _3, ...), the first in NodeId order keeping its
//    name, with a warning that names both nodes.
//  - A structure or union that contains itself by value (directly or through other
//    structures) has no size in C: an error. Arrays and subtype-allowing fields are
//    pointers and fine.
//  - An option set over an integer type may only number bits 0 to width - 1: an error; so
//    is a field whose name leaves nothing for C.
//  - The identifier macros of every namespace are made (codegen_context::
//    identifier_macros_of); one name defined by two namespaces (prefixes that nest) is an
//    error.
//  - The enumerators of every generated type are settled against each other and every
//    other name of the run's headers (cg_type_enumerators) and kept in the context.
// Returns 0, or -1 after the error.
int cg_check_model_names(const codegen_context& ctx);

// True when the header of `type` must not include the header of `field_type`, the type of
// one of its array fields: that header leads, through the includes of field types, to a
// header that needs `type` complete (A holds B by value, B an array of A). The header
// declares the structure ahead instead, which a pointer needs and which works in any
// include order.
bool cg_include_closes_loop(const uagraph& graph, const UADataType& type,
                            const UADataType& field_type);

// The enumerators of a data type's C enumeration, in order: an enumeration's values and
// MAX_ENUM_VALUE; a union's switch, NONE, its fields and MAX_ENUM_VALUE; an option set's
// bits; a structure's optional fields (its bases' first) and MAX_ENUM_VALUE; nothing for
// other structures. Each is "<PREFIX>_<TYPE>_<FIELD>" upper-cased; one that is in `taken`
// already becomes "..._2" (_3, ...) with a warning, and every name made is added to
// `taken`. Returns 0, or -1 after "get_field_symbolicname failed" for a field without name.
int cg_type_enumerators(const codegen_context& ctx, const nstable_entry& entry, UADataType& type,
                        std::unordered_set<std::string>& taken, std::vector<std::string>& out);

// The settled enumerators of a type (see codegen_context::enumerators_of), or, for a type
// not settled before writing, those made for it alone. Null after the message.
const std::vector<std::string>* cg_enumerators(const codegen_context& ctx, UADataType& type);

// "the enumerators of datatype %s do not match its fields" (a writer met a definition that
// changed since the names were settled); returns -1.
int cg_enumerators_mismatch(const UADataType& type);

}  // namespace vos
