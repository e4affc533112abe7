// The converter's back end: writes the nodes of the namespaces selected for export, with
// their references and the cross-references into them, as a binary address-space file.
#pragma once

#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"

namespace vos {

// Builds the string table, the namespace records and the totals, then streams every node of
// a selected namespace and every reference into `path`. `extensions` is the -e text or null;
// when given, the selection is printed first. Progress goes to stdout by verbosity. Returns
// 0, or the first failure (a write failure leaves a truncated file without checksum).
int convert_write_file(const uagraph& graph, const nstable& namespaces, const char* path,
                       const char* extensions);

}  // namespace vos
