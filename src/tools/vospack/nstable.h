// The namespace table: one entry per namespace URI that the loaded models use, tying the
// index a URI has inside the file being read (its XML index, which changes from file to
// file) to the index the run gives it once (its SDK index, written to the outputs), with the
// identifier prefix for generated names and the model's version and publication date.
//
// The table also holds the user's choice of namespaces to export: index selections (-i)
// are made while the options are scanned, URI selections (-u, -a) become index selections
// after loading (resolve_uri_selections), and check_index_selections applies them.
//
// The driver owns one table per run. Entry pointers stay valid for the table's lifetime.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vospack/uagraph_rolepermission.h"
#include "uabase/types.h"

namespace vos {

// The URIs of the two entries that every table starts with.
inline constexpr std::string_view NSTABLE_NS0_URI = "http://opcfoundation.org/UA/";
inline constexpr std::string_view NSTABLE_SERVER_URI = "urn:velmora:vos:server";

// At most this many entries, index selections and URI selections.
inline constexpr std::size_t NSTABLE_MAX_ENTRIES = 32;
inline constexpr std::size_t NSTABLE_MAX_SELECTIONS = 32;

// XML index of an entry that the current file does not use.
inline constexpr uint32_t NSTABLE_NOT_USED = UINT32_MAX;

// Status of resolve_uri_selections when a selected URI is not in the table: the message is
// printed and the run must end at once with exit status 1.
inline constexpr int NSTABLE_EXIT_STATUS_1 = 1;

class nstable_entry {
 public:
  std::string uri;
  std::optional<std::string> version;           // from the model's <Models> element
  std::optional<std::string> publication_date;  // likewise
  ua_datetime last_modified;                    // LastModified of the file that named it last
  uint32_t xml_index = NSTABLE_NOT_USED;
  uint32_t sdk_index = 0;     // given when the entry is made; never changes
  uint32_t mapped_index = 0;  // index for client-side code; the SDK index unless remapped
  uint32_t store_index = 0;   // alternative store index used by the outputs
  bool used = false;          // selected for export, or required by a selected namespace
  // Table positions of the models this model requires, without duplicates.
  std::vector<std::size_t> required;
  // The model's defaults for its nodes.
  std::vector<uagraph_rolepermission> default_role_permissions;
  uint16_t default_access_restrictions = 0;

  const std::string& prefix() const noexcept { return prefix_; }
  void set_prefix(std::string prefix);
  // The prefix in lower and in upper case (ASCII letters), made on first request.
  const std::string& prefix_lower() const;
  const std::string& prefix_upper() const;

 private:
  std::string prefix_;
  mutable std::optional<std::string> lower_;
  mutable std::optional<std::string> upper_;
};

struct nstable_index_selection {
  uint32_t sdk_index = 0;
  std::optional<std::string> prefix;
  uint32_t store_index = 0;
};

class nstable {
 public:
  // A table with the two fixed entries: SDK and XML index 0, prefix "ua", the namespace-0
  // URI; and 1, 1, "server", the server URI.
  nstable();
  // An empty table, for a run that enters the fixed entries with add_fixed_entries() once
  // the verbosity is known, so that their debug lines show.
  struct empty_t {};
  static constexpr empty_t empty{};
  explicit nstable(empty_t);
  // Enters the two fixed entries; called once, before the first file.
  void add_fixed_entries();

  // Enters a URI with its XML index. A URI already present only takes the new XML index.
  // A new entry gets `sdk_index` as its SDK, mapped and store index, and `prefix`, or else
  // "ns<sdk_index>" cut to one character less than the URI is long. Returns 0, or -1 when
  // the table is full or no prefix can be made (an empty URI without a prefix).
  int add_entry(std::string_view uri, uint32_t xml_index, uint32_t sdk_index,
                std::optional<std::string_view> prefix = std::nullopt);

  // Look-ups; null when absent. By URI the first match in table order; by XML or SDK index
  // the last one.
  nstable_entry* find_by_uri(std::string_view uri);
  nstable_entry* find_by_xml_index(uint32_t xml_index);
  nstable_entry* find_by_sdk_index(uint32_t sdk_index);
  const nstable_entry* find_by_uri(std::string_view uri) const;
  const nstable_entry* find_by_xml_index(uint32_t xml_index) const;
  const nstable_entry* find_by_sdk_index(uint32_t sdk_index) const;

  // The entries in table (SDK index) order.
  std::span<nstable_entry> entries() noexcept { return entries_; }
  std::span<const nstable_entry> entries() const noexcept { return entries_; }
  std::size_t count() const noexcept { return entries_.size(); }
  // The table position of an entry of this table.
  std::size_t position(const nstable_entry& entry) const noexcept {
    return static_cast<std::size_t>(&entry - entries_.data());
  }

  // Before the next file's namespaces are read: every entry but the first becomes unused.
  void reset_xml_indices() noexcept;

  // Records that `entry` requires `required` (once).
  void add_required(nstable_entry& entry, const nstable_entry& required);

  // Marks every namespace whose SDK index is selected, and every namespace it requires
  // (recursively), as used.
  void mark_used();
  // True when an index selection names this SDK index.
  bool is_selected(uint32_t sdk_index) const noexcept;

  // -i idx[:prefix[:store]]: an index selection; the prefix defaults to "ns<idx>", the store
  // index to idx + 20. Returns 0, or -1 when 32 selections exist or no index is given.
  int select_index(const char* argument);
  // -u uri[;prefix]: a URI selection, resolved after loading. Returns 0, or -1 when 32
  // selections exist.
  int select_uri(const char* argument);
  // -a: selects every URI from the third entry on. Returns 0 or the first failure.
  int select_all();
  // Turns the URI selections into index selections. A selection without a prefix takes the
  // prefix of the last selection that had one, or else the entry's own prefix. Returns 0, or
  // NSTABLE_EXIT_STATUS_1 after "error: uri '%s' does not exist in table." on stderr.
  int resolve_uri_selections();
  // Applies the index selections: prints each exported namespace to stdout and gives the
  // entry the selection's prefix and store index. Returns 0, or -1 after "error: selected
  // nsidx=%u does not exist." on stderr.
  int check_index_selections();

  std::span<const nstable_index_selection> index_selections() const noexcept {
    return index_selections_;
  }
  std::span<const std::string> uri_selections() const noexcept { return uri_selections_; }

  // Prints the table as a text grid.
  void print(std::FILE* out = stdout) const;

 private:
  std::vector<nstable_entry> entries_;
  std::vector<nstable_index_selection> index_selections_;
  std::vector<std::string> uri_selections_;
};

}  // namespace vos
