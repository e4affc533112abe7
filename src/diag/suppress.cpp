// Warning suppression: a place table (number, line, file) and a global table (number),
// both kept sorted for binary search; loading, recording and writing suppression files.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "diag/diag.h"

namespace vos {

namespace {

struct place_entry {
  std::uint32_t number;
  std::uint32_t line;
  std::string file;
};

struct place_key {
  std::uint32_t number;
  std::uint32_t line;
  std::string_view file;
};

// Sorted by number, then line, then file name (byte-wise).
bool place_less(const place_key& a, const place_key& b) {
  if (a.number != b.number) return a.number < b.number;
  if (a.line != b.line) return a.line < b.line;
  return a.file < b.file;
}
place_key key_of(const place_entry& e) {
  return place_key{e.number, e.line, e.file};
}

std::vector<place_entry> g_places;
std::vector<std::uint32_t> g_globals;
bool g_recording = false;

void sort_tables() {
  std::sort(g_places.begin(), g_places.end(), [](const place_entry& a, const place_entry& b) {
    return place_less(key_of(a), key_of(b));
  });
  std::sort(g_globals.begin(), g_globals.end());
}

std::uint32_t to_number(const char* text) {
  return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

}  // namespace

void diag_record_warnings() {
  g_recording = true;
}
bool diag_recording() {
  return g_recording;
}

void suppress_add(const char* file, std::uint32_t line, std::uint32_t number) {
  if (file) {
    const place_key key{number, line, file};
    auto at = std::upper_bound(
        g_places.begin(), g_places.end(), key,
        [](const place_key& k, const place_entry& e) { return place_less(k, key_of(e)); });
    g_places.insert(at, place_entry{number, line, std::string(file)});
  } else {
    g_globals.insert(std::upper_bound(g_globals.begin(), g_globals.end(), number), number);
  }
}

bool suppress_is_suppressed(const char* file, std::uint32_t line, std::uint32_t number) {
  if (file) {
    const place_key key{number, line, file};
    auto at = std::lower_bound(
        g_places.begin(), g_places.end(), key,
        [](const place_entry& e, const place_key& k) { return place_less(key_of(e), k); });
    if (at != g_places.end() && !place_less(key, key_of(*at))) return true;
  }
  return std::binary_search(g_globals.begin(), g_globals.end(), number);
}

int suppress_load(const char* path) {
  std::FILE* f = path ? std::fopen(path, "r") : nullptr;
  if (!f) return -1;
  // Lines are read in pieces of at most 511 characters; each piece counts as a line.
  char line[512];
  while (std::fgets(line, sizeof line, f)) {
    if (line[0] == '#') continue;
    // Meant for the line feed: the last character goes, whatever it is.
    const std::size_t length = std::strlen(line);
    if (length > 0) line[length - 1] = '\0';
    // Fields are separated by ':'; empty fields are skipped.
    const char* tokens[3] = {};
    int count = 0;
    for (char* p = line; *p && count < 3;) {
      while (*p == ':') ++p;
      if (!*p) break;
      tokens[count++] = p;
      p += std::strcspn(p, ":");
      if (*p) *p++ = '\0';
    }
    if (count < 2) continue;
    const std::uint32_t number = to_number(tokens[0]);
    if (std::strcmp(tokens[1], "*") == 0)
      g_globals.push_back(number);
    else if (count == 3)
      g_places.push_back(place_entry{number, to_number(tokens[2]), tokens[1]});
  }
  std::fclose(f);
  sort_tables();
  return 0;
}

int suppress_write(const char* path) {
  std::FILE* f = path ? std::fopen(path, "w") : nullptr;
  if (!f) return -1;
  std::fputs("# vospack/vosgen warnings suppression file\n", f);
  std::fputs("# <warning>:<file>:<lineno>\n", f);
  for (const place_entry& e : g_places)
    std::fprintf(f, "%u:%s:%u\n", e.number, e.file.c_str(), e.line);
  std::fclose(f);
  return 0;
}

void suppress_clear() {
  g_places.clear();
  g_places.shrink_to_fit();
  g_globals.clear();
  g_globals.shrink_to_fit();
  g_recording = false;
}

}  // namespace vos
