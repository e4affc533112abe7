#include "trace/trace.h"

#include <unistd.h>

#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "build_info.h"
#include "trace/version.h"
#include "util/errors.h"

namespace vos {

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// Width the line prefix is padded to after the time stamp.
constexpr int kIndentWidth = 0;

struct TraceSettings {
  std::string directory = ".";
  std::string basename = "log";
  std::string extension = ".txt";
  bool include_pid = false;
  long max_files = 5;   // below 1: no file is ever deleted
  long max_lines = 10;  // below 1: files never rotate
  bool force_flush = false;
  bool append = false;
  bool colors = true;  // read for completeness; the file writer has no colours
};

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

bool equals_nocase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

bool parse_bool(std::string_view value) {
  return equals_nocase(value, "true") || equals_nocase(value, "on") || value == "1";
}

long parse_long(std::string_view value) {
  return std::strtol(std::string(value).c_str(), nullptr, 10);
}

// A "trace.conf" may come with a downloaded model, so the parts of a file name that it
// gives must keep the trace files inside their directory: a part that holds a path
// separator or ".." is refused with a warning and the default kept.
void set_file_name_part(std::string& part, std::string_view key, std::string_view value,
                        const char* fallback) {
  if (value.find_first_of("/\\") == std::string_view::npos &&
      value.find("..") == std::string_view::npos) {
    part = value;
    return;
  }
  std::fprintf(stderr,
               "warning: trace.conf: %.*s '%.*s' would place trace files outside their "
               "directory; using '%s'.\n",
               static_cast<int>(key.size()), key.data(), static_cast<int>(value.size()),
               value.data(), fallback);
  part = fallback;
}

// "trace.conf" in the current directory: "key = value" lines; '#' in the first column
// starts a comment; lines without '=' and unknown keys are ignored. Without the file, or
// for keys it leaves out, the defaults stay.
TraceSettings read_settings() {
  TraceSettings settings;
  std::ifstream in("trace.conf");
  std::string line;
  while (in && std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    const std::size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    const std::string_view key = trim(std::string_view(line).substr(0, eq));
    const std::string_view value = trim(std::string_view(line).substr(eq + 1));
    if (key == "directory") {
      settings.directory = value;
    } else if (key == "basename") {
      set_file_name_part(settings.basename, key, value, "log");
    } else if (key == "extension") {
      set_file_name_part(settings.extension, key, value, ".txt");
    } else if (key == "include_pid") {
      settings.include_pid = parse_bool(value);
    } else if (key == "max_files") {
      settings.max_files = parse_long(value);
    } else if (key == "max_lines") {
      settings.max_lines = parse_long(value);
    } else if (key == "force_flush") {
      settings.force_flush = parse_bool(value);
    } else if (key == "append") {
      settings.append = parse_bool(value);
    } else if (key == "colors") {
      settings.colors = parse_bool(value);
    }
  }
  return settings;
}

char level_letter(uint32_t level) {
  switch (level) {
    case TRACE_LEVEL_DEBUG_G:
      return 'G';
    case TRACE_LEVEL_DEBUG:
      return 'D';
    case TRACE_LEVEL_INFO:
      return 'I';
    case TRACE_LEVEL_FUNC:
    case TRACE_LEVEL_FUNC2:
      return 'F';
    case TRACE_LEVEL_NOTICE:
      return 'N';
    case TRACE_LEVEL_WARNING:
      return 'W';
    case TRACE_LEVEL_ERROR:
      return 'E';
    default:
      return ' ';
  }
}

// Index of the highest set bit: 0 for bit 1 (and for no bit at all).
unsigned component_number(uint32_t component) {
  return component == 0 ? 0u : static_cast<unsigned>(std::bit_width(component)) - 1;
}

// Local time as "Jan 02 03:04:05.123456"; empty when the time cannot be read.
void format_stamp(char (&stamp)[64]) {
  stamp[0] = '\0';
  using namespace std::chrono;
  const auto since_epoch = duration_cast<microseconds>(system_clock::now().time_since_epoch());
  const auto secs = floor<seconds>(since_epoch);
  const std::time_t t = static_cast<std::time_t>(secs.count());
  const std::tm* local = std::localtime(&t);
  if (local == nullptr) return;
  const std::size_t n = std::strftime(stamp, sizeof stamp, "%b %d %H:%M:%S", local);
  std::snprintf(stamp + n, sizeof stamp - n, ".%06u",
                static_cast<unsigned>((since_epoch - secs).count()));
}

class TraceBackend {
 public:
  int start(uint32_t level_mask, uint32_t component_mask) {
    close();
    level_mask_ = level_mask;
    component_mask_ = component_mask;
    settings_ = read_settings();
    if (settings_.include_pid) pid_ = static_cast<unsigned>(getpid());
    std::fputs("Using file trace backend. All further traces will go into files.\n", stdout);
    std::fputs("Trace levels ERROR, WARNING and NOTICE will additionally be printed to stderr.\n",
               stdout);
    return open_next_file();
  }

  void close() { *this = TraceBackend(); }

  void write(uint32_t level, uint32_t component, const char* format, std::va_list args) {
    if (!file_ || (level & level_mask_) == 0) return;
    if (level < TRACE_LEVEL_ERROR && (component & component_mask_) == 0) return;

    if (level == TRACE_LEVEL_NOTICE || level == TRACE_LEVEL_WARNING || level == TRACE_LEVEL_ERROR) {
      std::va_list echo;
      va_copy(echo, args);
      std::vfprintf(stderr, format, echo);
      va_end(echo);
    }

    char stamp[64];
    format_stamp(stamp);
    std::FILE* file = file_.get();
    std::fprintf(file, "%c|%02u|%s|%*s", level_letter(level), component_number(component), stamp,
                 kIndentWidth, " ");
    std::vfprintf(file, format, args);
    if (settings_.force_flush) std::fflush(file);

    // The lines that open a file count, but cannot start yet another file themselves.
    ++lines_;
    if (opening_ || settings_.max_lines < 1 || lines_ < settings_.max_lines) return;
    lines_ = 0;
    open_next_file();
    if (settings_.max_files >= 1 && static_cast<long long>(file_number_) > settings_.max_files)
      std::remove(file_name(file_number_ - static_cast<unsigned>(settings_.max_files)).c_str());
  }

 private:
  std::string file_name(unsigned number) const {
    std::string name = settings_.directory;
    name += '/';
    name += settings_.basename;
    name += '.';
    if (settings_.include_pid) {
      name += std::to_string(pid_);
      name += '.';
    }
    name += std::to_string(number);
    name += settings_.extension;
    return name;
  }

  int open_next_file() {
    file_.reset();
    ++file_number_;
    const std::string name = file_name(file_number_);
    std::FILE* file = std::fopen(name.c_str(), settings_.append ? "a" : "w");
    if (file == nullptr) {
      const int error = errno;
      std::fprintf(stderr, "Opening trace file '%s' failed: error = %i\n", name.c_str(), error);
      return UA_EBAD;
    }
    file_.reset(file);
    std::printf("Opened new trace file '%s'.\n", name.c_str());

    char date[64] = "\n";
    const std::time_t now = std::time(nullptr);
    if (const std::tm* local = std::localtime(&now))
      std::strftime(date, sizeof date, "%a %b %e %H:%M:%S %Y\n", local);
    opening_ = true;
    writef(TRACE_LEVEL_NOTICE, 1, "Created trace file on %s", date);
    writef(TRACE_LEVEL_NOTICE, 1, "%s", build_version_line(build_info::product).c_str());
    opening_ = false;
    return 0;
  }

  VOS_PRINTF(4, 5) void writef(uint32_t level, uint32_t component, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    write(level, component, format, args);
    va_end(args);
  }

  TraceSettings settings_;
  uint32_t level_mask_ = 0;
  uint32_t component_mask_ = 0;
  FilePtr file_;
  unsigned file_number_ = 0;  // the first file is number 1
  long lines_ = 0;            // lines in the current file
  unsigned pid_ = 0;
  bool opening_ = false;  // writing the lines that open a file
};

// One trace per process.
TraceBackend& backend() {
  static TraceBackend instance;
  return instance;
}

}  // namespace

int trace_start(uint32_t level_mask, uint32_t component_mask) {
  return backend().start(level_mask, component_mask);
}

void trace(uint32_t level, uint32_t component, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  backend().write(level, component, format, args);
  va_end(args);
}

void trace_close() {
  backend().close();
}

}  // namespace vos
