#include "uabase/text_datetime.h"

#include "trace/trace.h"
#include "uabase/text_number.h"
#include "util/errors.h"

namespace vos {

namespace {

constexpr int64_t kTicksPerDay = 86400 * UA_DATETIME_TICKS_PER_SECOND;
// Days from 0000-03-01 (the start of the shifted calendar below) to 1601-01-01.
constexpr int64_t kDays1601 = 584694;

// Days since 0000-03-01 of a proleptic Gregorian date (years from March to February).
constexpr int64_t days_from_civil(int64_t y, uint32_t m, uint32_t d) noexcept {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = y / 400;
  const int64_t yoe = y - era * 400;
  const int64_t mp = m > 2 ? m - 3 : m + 9;
  const int64_t doy = (153 * mp + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe;
}
static_assert(days_from_civil(1601, 1, 1) == kDays1601);

void civil_from_days(int64_t z, uint32_t& y, uint32_t& m, uint32_t& d) noexcept {
  const int64_t era = z / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<uint32_t>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<uint32_t>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<uint32_t>(yoe + era * 400 + (m <= 2 ? 1 : 0));
}

uint32_t days_in_month(uint32_t y, uint32_t m) noexcept {
  static constexpr uint32_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (m == 2 && (y % 4 == 0 && (y % 100 != 0 || y % 400 == 0))) return 29;
  return kDays[m - 1];
}

bool is_space(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A "%<width>u" conversion: white space, then 1 to `width` decimal digits.
bool scan_uint(std::string_view text, std::size_t& pos, int width, uint32_t& out) noexcept {
  while (pos < text.size() && is_space(text[pos])) ++pos;
  uint32_t v = 0;
  int n = 0;
  while (n < width && pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
    v = v * 10 + static_cast<uint32_t>(text[pos] - '0');
    ++pos;
    ++n;
  }
  out = v;
  return n > 0;
}

bool scan_char(std::string_view text, std::size_t& pos, char c) noexcept {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

// A zone offset "hh:mm", "hhmm" or "hh" at `pos`, in minutes.
bool scan_offset(std::string_view text, std::size_t pos, int32_t& minutes) noexcept {
  uint32_t hours = 0;
  uint32_t mins = 0;
  if (pos > text.size() || !scan_uint(text, pos, 2, hours)) return false;
  std::size_t p = pos;
  const bool with_colon = scan_char(text, p, ':') && scan_uint(text, p, 2, mins);
  if (!with_colon) {
    p = pos;
    if (!scan_uint(text, p, 2, mins)) mins = 0;
  }
  minutes = static_cast<int32_t>(hours * 60 + mins);
  return true;
}

}  // namespace

int ua_datetime_from_fields(ua_datetime& dt, const ua_datetime_fields& f,
                            int32_t offset_minutes) noexcept {
  if (f.month < 1 || f.month > 12 || f.day < 1 || f.day > days_in_month(f.year, f.month) ||
      f.hour > 23 || f.minute > 59 || f.second > 59 || f.ticks >= UA_DATETIME_TICKS_PER_SECOND ||
      f.year > 30000) {
    return UA_EBADINVALIDARGUMENT;
  }
  const int64_t days = days_from_civil(f.year, f.month, f.day) - kDays1601;
  const int64_t seconds = static_cast<int64_t>(f.hour) * 3600 + f.minute * 60 + f.second -
                          static_cast<int64_t>(offset_minutes) * 60;
  const int64_t ticks = days * kTicksPerDay + seconds * UA_DATETIME_TICKS_PER_SECOND + f.ticks;
  if (ticks < 0) return UA_EBADOUTOFRANGE;
  dt.ticks = ticks;
  return 0;
}

int ua_datetime_to_fields(ua_datetime dt, ua_datetime_fields& f) noexcept {
  if (dt.ticks < 0) return UA_EBADOUTOFRANGE;
  const int64_t days = dt.ticks / kTicksPerDay;
  int64_t rest = dt.ticks % kTicksPerDay;
  civil_from_days(days + kDays1601, f.year, f.month, f.day);
  f.ticks = static_cast<uint32_t>(rest % UA_DATETIME_TICKS_PER_SECOND);
  rest /= UA_DATETIME_TICKS_PER_SECOND;
  f.second = static_cast<uint32_t>(rest % 60);
  f.minute = static_cast<uint32_t>(rest / 60 % 60);
  f.hour = static_cast<uint32_t>(rest / 3600);
  return 0;
}

int ua_datetime_from_string(ua_datetime& dt, std::string_view text) {
  ua_datetime_fields f;
  std::size_t pos = 0;
  if (!scan_uint(text, pos, 4, f.year) || !scan_char(text, pos, '-') ||
      !scan_uint(text, pos, 2, f.month) || !scan_char(text, pos, '-') ||
      !scan_uint(text, pos, 2, f.day) || !scan_char(text, pos, 'T') ||
      !scan_uint(text, pos, 2, f.hour) || !scan_char(text, pos, ':') ||
      !scan_uint(text, pos, 2, f.minute) || !scan_char(text, pos, ':') ||
      !scan_uint(text, pos, 2, f.second) || pos >= text.size()) {
    return UA_EBAD;
  }
  const char next = text[pos];

  char zone = 0;
  std::size_t offset_at = 0;
  if (next == '.') {
    std::size_t p = text.find('.') + 1;
    uint32_t weight = 1000000;
    for (int n = 0; n < 7 && p < text.size() && text[p] >= '0' && text[p] <= '9'; ++n, ++p) {
      f.ticks += static_cast<uint32_t>(text[p] - '0') * weight;
      weight /= 10;
    }
    zone = p < text.size() ? text[p] : '\0';
    if (zone != 'Z' && zone != '+' && zone != '-') {
      trace(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL,
            "%s: Unexpected Timezone: Expected Z, +, or -.\n", "ua_datetime_from_string");
      return UA_EBAD;
    }
    offset_at = p + 1;
  } else {
    zone = next;
    if (zone != 'Z' && zone != '+' && zone != '-') {
      trace(TRACE_LEVEL_ERROR, TRACE_COMPONENT_ALL,
            "%s: Unexpected Timezone. Expected Z, +, or -.\n", "ua_datetime_from_string");
      return UA_EBAD;
    }
    offset_at = 20;
  }

  int32_t offset = 0;
  if (zone != 'Z') {
    if (!scan_offset(text, offset_at, offset)) return UA_EBADINVALIDARGUMENT;
    if (zone == '-') offset = -offset;
  }
  return ua_datetime_from_fields(dt, f, offset);
}

int ua_datetime_to_string(ua_datetime dt, char* buf, std::size_t size) noexcept {
  ua_datetime_fields f;
  if (ua_datetime_to_fields(dt, f) != 0) return UA_EBADOUTOFRANGE;
  if (f.ticks == 0) {
    return ua_snprintf(buf, size, "%u-%02u-%02uT%02u:%02u:%02uZ", f.year, f.month, f.day, f.hour,
                       f.minute, f.second);
  }
  char text[48];
  int n = ua_snprintf(text, sizeof text - 1, "%u-%02u-%02uT%02u:%02u:%02u.%07u", f.year, f.month,
                      f.day, f.hour, f.minute, f.second, f.ticks);
  if (n < 0) return n;
  while (n > 0 && text[n - 1] == '0') --n;
  text[n++] = 'Z';
  text[n] = '\0';
  return ua_snprintf(buf, size, "%s", text);
}

int ua_datetime_to_ua_string(ua_datetime dt, ua_string& out) {
  char buf[32];
  const int n = ua_datetime_to_string(dt, buf, sizeof buf);
  if (n < 0) return n;
  out.assign(std::string_view(buf, static_cast<std::size_t>(n)));
  return 0;
}

int64_t ua_datetime_to_unix(ua_datetime dt) noexcept {
  if (dt.ticks < UA_DATETIME_UNIX_EPOCH) return 0;
  return dt.ticks / UA_DATETIME_TICKS_PER_SECOND - 11644473600LL;
}

}  // namespace vos
