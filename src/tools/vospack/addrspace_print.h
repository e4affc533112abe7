// The address-space print (-p): the tree of nodes reachable from Root along hierarchical
// references, one browse name a line, indented by two blanks a level.
#pragma once

#include <cstdio>

#include "tools/vospack/uagraph.h"

namespace vos {

// Prints the tree from ns=0;i=84 to `out`; nothing when the graph has no Root node. Uses
// the nodes' used marks (cleared first) to print every node once, under the first path met.
void addrspace_print(uagraph& graph, std::FILE* out = stdout);

}  // namespace vos
