// vosdump --diff OLD NEW: what changed between two binary address-space files. Nodes are
// matched by NodeId and namespaces by URI, so that a namespace that moved to another index
// is no change; the report lists namespaces, nodes (added, removed, and changed attribute by
// attribute) and references, grouped by namespace and sorted by NodeId, as text or as one
// JSON document (see README, "Comparing two files").
#pragma once

namespace vos {

// The usage line of the comparison, for the tool's help text.
extern const char* const kDiffUsage;

// Runs the comparison on the whole command line (the "--diff" argument is among argv).
// Returns 0 when the files hold the same address space, 1 when they differ, 2 for a wrong
// command line, a file that cannot be read or output that cannot be written.
int diff_main(int argc, char** argv);

}  // namespace vos
