#include "tools/vospack/sidefiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "tools/vospack/nstable.h"
#include "uabase/text_nodeid.h"
#include "uabase/text_number.h"
#include "util/errors.h"

namespace vos {

namespace {

// Reads a whole file. Returns 0, UA_EBADFILENOTFOUND when it cannot be opened, or UA_EBAD
// on a read error.
int read_whole(const char* path, std::string& out) {
  out.clear();
  std::FILE* f = path != nullptr ? std::fopen(path, "rb") : nullptr;
  if (f == nullptr) return UA_EBADFILENOTFOUND;
  char buf[16384];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  return failed ? UA_EBAD : 0;
}

// The lines of a text, each with its line feed (the last one may lack it).
class line_reader {
 public:
  explicit line_reader(std::string_view text) noexcept : rest_(text) {}
  bool next(std::string_view& line) noexcept {
    if (rest_.empty()) return false;
    const std::size_t lf = rest_.find('\n');
    const std::size_t len = lf == std::string_view::npos ? rest_.size() : lf + 1;
    line = rest_.substr(0, len);
    rest_.remove_prefix(len);
    ++number_;
    return true;
  }
  // The number of the line last returned, from 1.
  unsigned number() const noexcept { return number_; }

 private:
  std::string_view rest_;
  unsigned number_ = 0;
};

// Splits a text into tokens separated by runs of delimiters; empty tokens are skipped,
// and each call may use other delimiters than the one before.
class tokenizer {
 public:
  explicit tokenizer(std::string_view text) noexcept : rest_(text) {}
  std::optional<std::string_view> next(std::string_view delims) noexcept {
    const std::size_t begin = rest_.find_first_not_of(delims);
    if (begin == std::string_view::npos) {
      rest_ = {};
      return std::nullopt;
    }
    rest_.remove_prefix(begin);
    const std::size_t end = rest_.find_first_of(delims);
    const std::string_view token = rest_.substr(0, end);
    rest_ = end == std::string_view::npos ? std::string_view{} : rest_.substr(end + 1);
    return token;
  }

 private:
  std::string_view rest_;
};

constexpr std::string_view k_space = " \t\n\v\f\r";

std::string_view trim(std::string_view s) noexcept {
  const std::size_t begin = s.find_first_not_of(k_space);
  if (begin == std::string_view::npos) return {};
  const std::size_t end = s.find_last_not_of(k_space);
  return s.substr(begin, end - begin + 1);
}

std::string_view drop_one_line_feed(std::string_view line) noexcept {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  return line;
}

int as_int(std::size_t n) noexcept {
  return static_cast<int>(std::min<std::size_t>(n, 0x7fffffff));
}

// Reads the file at `path` and hands each line that is not a comment to `handle`, without
// its line feed and with its number from 1, until `handle` returns false. Returns 0, or
// read_whole's status when the file cannot be read (then `handle` is never called).
template <class Handler>
int for_each_setting_line(const char* path, Handler&& handle) {
  std::string text;
  const int rc = read_whole(path, text);
  if (rc != 0) return rc;
  line_reader lines(text);
  std::string_view line;
  while (lines.next(line)) {
    if (line.front() == '#') continue;
    if (!handle(drop_one_line_feed(line), lines.number())) break;
  }
  return 0;
}

}  // namespace

// ---- placeholder file ---------------------------------------------------------------------

int placeholder_table::load(const char* path) {
  std::string text;
  if (read_whole(path, text) != 0) return -1;

  int status = 0;
  line_reader lines(text);
  std::string_view line;
  while (lines.next(line)) {
    line = line.substr(0, line.find_first_of("\r\n"));
    if (line.empty() || line.front() == '#') continue;
    ua_nodeid id;
    status = ua_nodeid_from_string(id, line);
    if (status != 0) {
      std::fprintf(stderr, "%s: Invalid nodeid in line %u: %.*s\n", "placeholder_parse",
                   lines.number(), as_int(line.size()), line.data());
      break;
    }
    nodeids_.push_back(std::move(id));
  }
  std::sort(nodeids_.begin(), nodeids_.end());
  return status;
}

bool placeholder_table::is_placeholder(const ua_nodeid& nodeid) const {
  return std::binary_search(nodeids_.begin(), nodeids_.end(), nodeid);
}

// ---- address-mapping file -----------------------------------------------------------------

void address_mapping_table::clear() noexcept {
  records_.clear();
  std::fill(std::begin(counters_), std::end(counters_), 0u);
}

int address_mapping_table::load(const char* path) {
  clear();
  int status = 0;
  const int rc = for_each_setting_line(path, [&](std::string_view line, unsigned number) {
    tokenizer tokens(line);
    const std::optional<std::string_view> id_text = tokens.next(" \t");
    const std::optional<std::string_view> store_text = id_text ? tokens.next(":") : std::nullopt;
    const std::optional<std::string_view> value_text = store_text ? tokens.next(":") : std::nullopt;
    if (!value_text) return true;
    const std::string_view id = trim(*id_text);
    const std::string_view store = trim(*store_text);
    const std::string_view value = trim(*value_text);

    address_mapping_record record;
    status = ua_nodeid_from_string(record.nodeid, id);
    if (status != 0) {
      std::fprintf(stderr, "invalid nodeid in line %u: '%.*s'\n", number, as_int(id.size()),
                   id.data());
      return false;
    }
    status = ua_strtouint32(store, nullptr, 10, record.store_index);
    if (status != 0) {
      std::fprintf(stderr, "invalid store index in line %u: '%.*s'\n", number, as_int(store.size()),
                   store.data());
      return false;
    }
    if (value != "*") {
      status = ua_strtouint32(value, nullptr, 10, record.value_index);
      if (status != 0) {
        std::fprintf(stderr, "invalid value index in line %u: '%.*s'\n", number,
                     as_int(value.size()), value.data());
        return false;
      }
    } else if (record.store_index >= auto_store_count) {
      // The line's record is kept and the load still succeeds: the run goes on with what
      // was read so far.
      records_.push_back(std::move(record));
      std::fprintf(stderr, "store index is out of range in line %u: '%.*s'\n", number,
                   as_int(store.size()), store.data());
      std::fprintf(stderr, "auto-increment is only supported for store index 0..255\n");
      return false;
    } else {
      record.value_index = counters_[record.store_index]++;
    }
    records_.push_back(std::move(record));
    return true;
  });
  if (rc != 0) return rc;
  std::stable_sort(records_.begin(), records_.end(),
                   [](const address_mapping_record& a, const address_mapping_record& b) {
                     return a.nodeid < b.nodeid;
                   });
  return status;
}

const address_mapping_record* address_mapping_table::find(const ua_nodeid& nodeid) const {
  const auto it = std::lower_bound(
      records_.begin(), records_.end(), nodeid,
      [](const address_mapping_record& r, const ua_nodeid& id) { return r.nodeid < id; });
  return it != records_.end() && it->nodeid == nodeid ? &*it : nullptr;
}

// ---- namespace-mapping config -------------------------------------------------------------

int namespace_mapping_load(nstable& namespaces, const char* path) {
  int status = 0;
  const int rc = for_each_setting_line(path, [&](std::string_view line, unsigned) {
    tokenizer fields(line);
    const std::optional<std::string_view> index_text = fields.next(";");
    const std::optional<std::string_view> uri = index_text ? fields.next(";") : std::nullopt;
    if (!uri) return true;
    nstable_entry* entry = namespaces.find_by_uri(trim(*uri));
    if (entry == nullptr) return true;
    // Only the last converted line decides the status; a bad index on an earlier line
    // leaves that entry's mapped index as it was and is not reported.
    status = ua_strtouint32(trim(*index_text), nullptr, 10, entry->mapped_index);
    return true;
  });
  return rc != 0 ? rc : status;
}

}  // namespace vos
