// The console printers: one verbosity for all, messages to stderr, and for a given XML
// element the place it stands with the source line and a caret under its column.
#include "diag/diag.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "util/xml.h"

namespace vos {

namespace {

// Set once after the options; compared unsigned, so a negative count shows everything.
std::uint32_t g_verbosity = 2;

constexpr std::uint32_t k_error_level = 1;
constexpr std::uint32_t k_warning_level = 2;
constexpr std::uint32_t k_debug_level = 4;
// Lines are shown up to this many characters; elements at or beyond it get no caret.
constexpr std::uint32_t k_shown_columns = 160;

void append_vformat(std::string& out, const char* format, std::va_list args) VOS_PRINTF(2, 0);
void append_vformat(std::string& out, const char* format, std::va_list args) {
  char small[512];
  std::va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (n < 0) return;
  if (static_cast<std::size_t>(n) < sizeof small) {
    out.append(small, static_cast<std::size_t>(n));
    return;
  }
  const std::size_t old = out.size();
  out.resize(old + static_cast<std::size_t>(n) + 1);
  std::vsnprintf(out.data() + old, static_cast<std::size_t>(n) + 1, format, args);
  out.resize(old + static_cast<std::size_t>(n));
}

void append_location(std::string& out, const xml_node* element) {
  out += "xml location info: The XML element at ";
  out += xml_node_location(element);
  out += " is causing this problem:\n";

  // The line, up to its line feed and at most 160 characters, never past the document.
  const std::string_view text = element->doc().text();
  const char* start = element->line_start();
  std::size_t avail = 0;
  if (text.data() && start >= text.data() && start <= text.data() + text.size())
    avail = static_cast<std::size_t>(text.data() + text.size() - start);
  std::size_t shown = avail < k_shown_columns ? avail : k_shown_columns;
  if (const void* lf = shown ? std::memchr(start, '\n', shown) : nullptr)
    shown = static_cast<std::size_t>(static_cast<const char*>(lf) - start);

  const std::uint32_t column = element->column();
  if (column >= k_shown_columns) {
    out += "line too long for annotated location info\n";
    return;
  }
  // Printed as a C string: a NUL ends it early.
  if (const void* nul = shown ? std::memchr(start, '\0', shown) : nullptr)
    shown = static_cast<std::size_t>(static_cast<const char*>(nul) - start);
  out.append(start, shown);
  out += '\n';
  // column - 1 blanks as a printf field width: column 0 would give -1, a one-blank field.
  const int pad = static_cast<int>(column) - 1;
  out.append(static_cast<std::size_t>(pad < 0 ? -pad : pad), ' ');
  out += "^\n";
}

void emit(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void print(const char* prefix, const xml_node* element, const char* format, std::va_list args)
    VOS_PRINTF(3, 0);
void print(const char* prefix, const xml_node* element, const char* format, std::va_list args) {
  std::string out = prefix;
  append_vformat(out, format, args);
  if (element) append_location(out, element);
  emit(out);
}

}  // namespace

void diag_set_verbosity(std::uint32_t level) {
  g_verbosity = level;
}
std::uint32_t diag_verbosity() {
  return g_verbosity;
}

void diag_error(const char* source_file, int source_line, const char* operation, const char* format,
                ...) {
  (void)source_line;
  if (!source_file || !operation || !format) return;
  if (g_verbosity < k_error_level) return;
  std::va_list args;
  va_start(args, format);
  print("error: ", nullptr, format, args);
  va_end(args);
}

void diag_error_at(int number, const char* source_file, int source_line, const char* operation,
                   const xml_node* element, const char* format, ...) {
  (void)source_line;
  if (!source_file || !operation || !format) return;
  if (g_verbosity < k_error_level) return;
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "error %i: ", number);
  std::va_list args;
  va_start(args, format);
  print(prefix, element, format, args);
  va_end(args);
}

void diag_warning_at(int number, const char* source_file, int source_line, const char* operation,
                     const xml_node* element, const char* format, ...) {
  (void)source_line;
  if (!source_file || !operation || !format) return;
  if (element) {
    const auto n = static_cast<std::uint32_t>(number);
    if (suppress_is_suppressed(element->file_name(), element->line(), n)) return;
    // Recorded even when not shown, and then suppressed at this place from now on.
    if (diag_recording()) suppress_add(element->file_name(), element->line(), n);
  }
  if (g_verbosity < k_warning_level) return;
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "warning %i: ", number);
  std::va_list args;
  va_start(args, format);
  print(prefix, element, format, args);
  va_end(args);
}

void diag_debug_at(const char* source_file, int source_line, const char* operation,
                   const xml_node* element, const char* format, ...) {
  (void)source_line;
  if (!source_file || !operation || !format) return;
  if (g_verbosity < k_debug_level) return;
  std::va_list args;
  va_start(args, format);
  print("debug: ", element, format, args);
  va_end(args);
}

}  // namespace vos
