#include "tools/vospack/nstable.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "diag/diag.h"

namespace vos {

namespace {

// Cells of the printed grid are cut to this many characters, columns to this width.
constexpr std::size_t kMaxCell = 127;
constexpr std::size_t kMaxWidth = 40;
constexpr std::size_t kColumns = 6;

std::string format_uint(uint32_t value) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%u", value);
  return buf;
}

// The decimal conversion of the selection handlers: leading digits, 0 without any.
uint32_t to_uint(const std::string& field) {
  return static_cast<uint32_t>(std::strtoul(field.c_str(), nullptr, 10));
}

}  // namespace

void nstable_entry::set_prefix(std::string prefix) {
  prefix_ = std::move(prefix);
  lower_.reset();
  upper_.reset();
}

const std::string& nstable_entry::prefix_lower() const {
  if (!lower_) {
    lower_ = prefix_;
    for (char& c : *lower_) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return *lower_;
}

const std::string& nstable_entry::prefix_upper() const {
  if (!upper_) {
    upper_ = prefix_;
    for (char& c : *upper_) {
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return *upper_;
}

nstable::nstable() : nstable(empty) {
  add_fixed_entries();
}

nstable::nstable(empty_t) {
  entries_.reserve(NSTABLE_MAX_ENTRIES);
}

void nstable::add_fixed_entries() {
  add_entry(NSTABLE_NS0_URI, 0, 0, "ua");
  add_entry(NSTABLE_SERVER_URI, 1, 1, "server");
}

int nstable::add_entry(std::string_view uri, uint32_t xml_index, uint32_t sdk_index,
                       std::optional<std::string_view> prefix) {
  if (entries_.size() >= NSTABLE_MAX_ENTRIES) return -1;
  diag_debug_at(VOS_HERE, "nstable_add_entry", nullptr, "Adding uri '%.*s'\n",
                static_cast<int>(uri.size()), uri.data());
  if (nstable_entry* known = find_by_uri(uri)) {
    known->xml_index = xml_index;
    diag_debug_at(VOS_HERE, "nstable_add_entry", nullptr, "Uri '%s is already in the nstable.'\n",
                  known->uri.c_str());
    return 0;
  }
  std::string made;
  if (prefix) {
    made.assign(*prefix);
  } else {
    // "ns<index>" in a buffer as long as the URI: a short URI cuts the prefix.
    if (uri.empty()) return -1;
    made = "ns" + format_uint(sdk_index);
    if (made.size() > uri.size() - 1) made.resize(uri.size() - 1);
  }
  nstable_entry& e = entries_.emplace_back();
  e.uri.assign(uri);
  e.xml_index = xml_index;
  e.sdk_index = sdk_index;
  e.mapped_index = sdk_index;
  e.store_index = sdk_index;
  e.set_prefix(std::move(made));
  return 0;
}

nstable_entry* nstable::find_by_uri(std::string_view uri) {
  for (nstable_entry& e : entries_) {
    if (e.uri == uri) return &e;
  }
  return nullptr;
}

nstable_entry* nstable::find_by_xml_index(uint32_t xml_index) {
  for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
    if (it->xml_index == xml_index) return &*it;
  }
  return nullptr;
}

nstable_entry* nstable::find_by_sdk_index(uint32_t sdk_index) {
  for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
    if (it->sdk_index == sdk_index) return &*it;
  }
  return nullptr;
}

const nstable_entry* nstable::find_by_uri(std::string_view uri) const {
  return const_cast<nstable*>(this)->find_by_uri(uri);
}

const nstable_entry* nstable::find_by_xml_index(uint32_t xml_index) const {
  return const_cast<nstable*>(this)->find_by_xml_index(xml_index);
}

const nstable_entry* nstable::find_by_sdk_index(uint32_t sdk_index) const {
  return const_cast<nstable*>(this)->find_by_sdk_index(sdk_index);
}

void nstable::reset_xml_indices() noexcept {
  for (std::size_t i = 1; i < entries_.size(); ++i) entries_[i].xml_index = NSTABLE_NOT_USED;
}

void nstable::add_required(nstable_entry& entry, const nstable_entry& required) {
  const std::size_t pos = position(required);
  if (std::find(entry.required.begin(), entry.required.end(), pos) == entry.required.end()) {
    entry.required.push_back(pos);
  }
}

void nstable::mark_used() {
  std::vector<std::size_t> pending;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].used || !is_selected(entries_[i].sdk_index)) continue;
    pending.push_back(i);
    while (!pending.empty()) {
      nstable_entry& e = entries_[pending.back()];
      pending.pop_back();
      if (e.used) continue;
      e.used = true;
      for (std::size_t r : e.required) {
        if (r < entries_.size() && !entries_[r].used) pending.push_back(r);
      }
    }
  }
}

bool nstable::is_selected(uint32_t sdk_index) const noexcept {
  return std::any_of(index_selections_.begin(), index_selections_.end(),
                     [sdk_index](const auto& s) { return s.sdk_index == sdk_index; });
}

int nstable::select_index(const char* argument) {
  if (index_selections_.size() >= NSTABLE_MAX_SELECTIONS || argument == nullptr) return -1;
  // The argument is read from a 256-byte buffer.
  const std::string_view text = std::string_view(argument).substr(0, 255);
  std::array<std::string, 3> fields;
  std::size_t n = 0;
  std::size_t pos = 0;
  while (n < fields.size() && pos < text.size()) {
    const std::size_t colon = std::min(text.find(':', pos), text.size());
    if (colon > pos) fields[n++].assign(text.substr(pos, colon - pos));
    pos = colon + 1;
  }
  if (n == 0) return -1;

  nstable_index_selection sel;
  sel.sdk_index = to_uint(fields[0]);
  if (n >= 2) {
    sel.prefix = fields[1];
  } else {
    sel.prefix = "ns" + format_uint(sel.sdk_index);
    if (sel.prefix->size() > 9) sel.prefix->resize(9);
  }
  sel.store_index = n == 3 ? to_uint(fields[2]) : sel.sdk_index + 20;
  index_selections_.push_back(std::move(sel));
  return 0;
}

int nstable::select_uri(const char* argument) {
  if (uri_selections_.size() >= NSTABLE_MAX_SELECTIONS || argument == nullptr) return -1;
  uri_selections_.emplace_back(argument);
  return 0;
}

int nstable::select_all() {
  for (std::size_t i = 2; i < entries_.size(); ++i) {
    const int rc = select_uri(entries_[i].uri.c_str());
    if (rc != 0) return rc;
  }
  return 0;
}

int nstable::resolve_uri_selections() {
  std::vector<std::string> selections;
  selections.swap(uri_selections_);
  std::optional<std::string> last_prefix;
  for (const std::string& selection : selections) {
    const std::size_t semicolon = selection.find(';');
    const std::string uri = selection.substr(0, semicolon);
    if (semicolon != std::string::npos) last_prefix = selection.substr(semicolon + 1);
    const nstable_entry* entry = find_by_uri(uri);
    if (entry == nullptr) {
      std::fprintf(stderr, "error: uri '%s' does not exist in table.\n", uri.c_str());
      return NSTABLE_EXIT_STATUS_1;
    }
    if (index_selections_.size() >= NSTABLE_MAX_SELECTIONS) continue;
    nstable_index_selection sel;
    sel.sdk_index = entry->sdk_index;
    sel.prefix = last_prefix ? *last_prefix : entry->prefix();
    index_selections_.push_back(std::move(sel));
  }
  return 0;
}

int nstable::check_index_selections() {
  for (const nstable_index_selection& sel : index_selections_) {
    nstable_entry* entry = find_by_sdk_index(sel.sdk_index);
    if (entry == nullptr) {
      std::fprintf(stderr, "error: selected nsidx=%u does not exist.\n", sel.sdk_index);
      return -1;
    }
    std::printf("exporting namespace with nsidx=%u, uri=%s.\n", sel.sdk_index, entry->uri.c_str());
    if (sel.prefix) {
      entry->set_prefix(*sel.prefix);
      entry->store_index = sel.store_index;
    }
  }
  return 0;
}

void nstable::print(std::FILE* out) const {
  using row = std::array<std::string, kColumns>;
  std::vector<row> rows;
  rows.push_back({"SDK Index", "XML Index", "Prefix", "URI", "Version", "Publishing Date"});
  for (const nstable_entry& e : entries_) {
    rows.push_back({format_uint(e.sdk_index),
                    e.xml_index == NSTABLE_NOT_USED ? "(not used)" : format_uint(e.xml_index),
                    e.prefix(), e.uri, e.version.value_or(""), e.publication_date.value_or("")});
  }
  std::array<std::size_t, kColumns> width{};
  for (row& r : rows) {
    for (std::size_t c = 0; c < kColumns; ++c) {
      if (r[c].size() > kMaxCell) r[c].resize(kMaxCell);
      width[c] = std::max(width[c], std::min(r[c].size(), kMaxWidth));
    }
  }
  std::string line;
  for (const row& r : rows) {
    line.clear();
    for (std::size_t c = 0; c < kColumns; ++c) {
      if (c > 0) line += ' ';
      const std::string& cell = r[c];
      const std::size_t w = width[c];
      if (cell.size() <= w) {
        line += cell;
        line.append(w - cell.size(), ' ');
      } else {
        // Long cells keep their start and end around "....".
        const std::size_t head = (w - 4) / 2;
        const std::size_t tail = w - 4 - head;
        line.append(cell, 0, head);
        line += "....";
        line.append(cell, cell.size() - tail, tail);
      }
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), out);
  }
}

}  // namespace vos
