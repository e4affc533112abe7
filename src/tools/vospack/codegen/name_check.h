// The checks that run before the generator writes its first file: every name that becomes a
// folder, a file or a C identifier shared between files must be valid and unique, and the
// model must describe types that C can hold. A clash that the tool can settle on its own
// is settled the same way in every run and named in a warning; one that only the user can
// settle ends the run with an error while nothing is written yet.
#pragma once

#include <string>
#include <string_view>
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
//  - An option set over an integer type may only number bits 0 to width - 1: an error.
// Returns 0, or -1 after the error.
int cg_check_model_names(const codegen_context& ctx);

// The enumerator suffixes of the given field names in one C enumeration: each field's name
// upper-cased, a name equal (without regard to case) to one in `reserved` or to an earlier
// field's is renamed with cg_numbered, with a warning naming the data type.
// `warn` false leaves the warnings to the writer that asked first.
std::vector<std::string> cg_enumerator_suffixes(const uagraph_node& type,
                                                const std::vector<std::string_view>& names,
                                                std::initializer_list<std::string_view> reserved,
                                                bool warn = true);

}  // namespace vos
