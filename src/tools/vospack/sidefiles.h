// The small line-oriented side files that steer the outputs:
//
// - the placeholder file (-P): NodeIds of nodes that are placeholders, one a line;
// - the address-mapping file (-M): for chosen nodes the store index and value index under
//   which their values live in the generated address space, one "<nodeid> <store>:<value>"
//   a line, where the value index may be "*" for the next free index of that store;
// - the namespace-mapping config (-c): "<index>;<uri>" a line, the namespace index that
//   client-side code uses for that URI.
//
// In all three a '#' in the first column starts a comment line, numbers are decimal, and
// problems are reported on stderr with the line number, counted from 1 over every line of
// the file (comment lines included). Lines are read whole, whatever their length.
//
// The pipeline owns one placeholder table and one address-mapping table per run; the
// binary writer and the C generator query them. Every table starts empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "uabase/types.h"

namespace vos {

class nstable;

// The NodeIds of the placeholder nodes, kept sorted.
class placeholder_table {
 public:
  // Reads a placeholder file and adds its NodeIds to the table (a second file adds to the
  // first). Blank lines and comments are skipped; a carriage return or line feed ends a
  // line's text. A line that is not a NodeId is reported ("placeholder_parse: Invalid
  // nodeid in line %u: %s") and ends the reading; the NodeIds read before it stay.
  // Returns 0, -1 when the file cannot be opened, or the NodeId parser's status.
  int load(const char* path);

  bool is_placeholder(const ua_nodeid& nodeid) const;
  std::size_t count() const noexcept { return nodeids_.size(); }
  // In NodeId order.
  std::span<const ua_nodeid> nodeids() const noexcept { return nodeids_; }
  void clear() noexcept { nodeids_.clear(); }

 private:
  std::vector<ua_nodeid> nodeids_;
};

// Where the value of one node lives in the generated address space.
struct address_mapping_record {
  ua_nodeid nodeid;
  uint32_t store_index = 0;
  uint32_t value_index = 0;
};

// The address-mapping records, kept sorted by NodeId.
class address_mapping_table {
 public:
  // Automatic value indices ("*") are numbered per store index below this bound.
  static constexpr uint32_t auto_store_count = 256;

  // Empties the table and reads an address-mapping file. A line without a NodeId, a store
  // index and a value index is skipped. Reports on stderr and stops with the failing
  // status at a bad NodeId, store index or value index. A "*" value index with a store
  // index of 256 or more is reported too and ends the reading, but the load succeeds with
  // the records read so far, that line's included (its value index is 0).
  // Returns 0, the failing status, or a nonzero status when the file cannot be read.
  int load(const char* path);

  // The record of a node, or null. When a file names a node twice, the first line wins.
  const address_mapping_record* find(const ua_nodeid& nodeid) const;
  // In NodeId order (lines naming the same node in file order).
  std::span<const address_mapping_record> records() const noexcept { return records_; }
  std::size_t count() const noexcept { return records_.size(); }
  bool empty() const noexcept { return records_.empty(); }
  // The next automatic value index of a store index below auto_store_count.
  uint32_t next_value_index(uint32_t store_index) const noexcept {
    return store_index < auto_store_count ? counters_[store_index] : 0;
  }
  void clear() noexcept;

 private:
  std::vector<address_mapping_record> records_;
  uint32_t counters_[auto_store_count] = {};
};

// Reads a namespace-mapping config into the namespace table: every line whose URI is in
// the table sets that entry's mapped index; lines naming other URIs are ignored. Returns
// the status of the last index conversion (0 when every converted index was good, also
// when no line was converted), or a nonzero status when the file cannot be read.
int namespace_mapping_load(nstable& namespaces, const char* path);

}  // namespace vos
