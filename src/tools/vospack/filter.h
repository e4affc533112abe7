// Two passes that shrink the graph after loading, before any output is made:
//
// - category filtering (-f, repeatable) removes every node whose categories are all matched
//   by the given wildcard patterns, together with its children;
// - stripping (-s) removes every node that is not reachable from the standard folders of
//   namespace 0: what hangs below Objects and References, the types those instances use
//   (with their supertypes and instance declarations), and a fixed set of standard nodes.
//
// A run strips first and filters second.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vos {

class uagraph;

// Applies the category filters in the order given. A node without categories is never
// removed; a node with categories loses those that a filter matches, and once it has none
// left it is removed with its children (ReferenceType nodes stay). Prints "%u nodes have
// been filtered" to stdout and returns that count (children included).
uint32_t filter_apply(uagraph& graph, std::span<const std::string> patterns);

// Keeps only what is reachable from the namespace-0 standard nodes and removes the rest
// (ReferenceType nodes always stay). Missing standard nodes are reported on stderr and
// skipped. Leaves the kept nodes with their used mark set.
void filter_strip_unused_types(uagraph& graph);

}  // namespace vos
