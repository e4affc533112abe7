// The C generator's entry: turns the loaded graph into the C source tree of the selected
// namespaces (vosgen).
#pragma once

#include "tools/vospack/codegen/context.h"

namespace vos {

// Writes the tree into settings.output_dir. Prefixes that the tool made itself may be
// changed first (see cg_check_prefixes). Returns 0, or the first failure (after its
// message); files written before a failure stay.
int codegen_generate(uagraph& graph, nstable& namespaces, const codegen_settings& settings);

}  // namespace vos
