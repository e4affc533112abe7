// Text form of DateTime values: ISO 8601 in UTC with up to seven fraction digits, e.g.
// "2024-01-02T03:04:05.12Z"; and the calendar conversion (proleptic Gregorian, UTC).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "uabase/types.h"

namespace vos {

// 100-nanosecond ticks from 1601-01-01 to 1970-01-01.
inline constexpr int64_t UA_DATETIME_UNIX_EPOCH = 116444736000000000LL;
inline constexpr int64_t UA_DATETIME_TICKS_PER_SECOND = 10000000LL;

// A broken-down UTC time.
struct ua_datetime_fields {
  uint32_t year = 1601;
  uint32_t month = 1;   // 1..12
  uint32_t day = 1;     // 1..31
  uint32_t hour = 0;    // 0..23
  uint32_t minute = 0;  // 0..59
  uint32_t second = 0;  // 0..59
  uint32_t ticks = 0;   // 100-nanosecond units, 0..9999999
};

// Broken-down time to DateTime, moved by `offset_minutes` (subtracted: a zone of +02:00 is
// given as 120). Returns 0, UA_EBADINVALIDARGUMENT for a field outside its calendar range,
// or UA_EBADOUTOFRANGE for a time before 1601-01-01T00:00:00Z.
int ua_datetime_from_fields(ua_datetime& dt, const ua_datetime_fields& fields,
                            int32_t offset_minutes = 0) noexcept;
// DateTime to broken-down time; UA_EBADOUTOFRANGE for a negative value.
int ua_datetime_to_fields(ua_datetime dt, ua_datetime_fields& fields) noexcept;

// Parses "YYYY-MM-DDThh:mm:ss" followed by an optional fraction ('.' and up to seven digits)
// and a zone: 'Z', or '+'/'-' with "hh:mm", "hhmm" or "hh". Returns 0, UA_EBAD for a text
// that does not have that shape (a bad zone letter is also written to the trace),
// UA_EBADINVALIDARGUMENT for an unreadable offset or an impossible date, UA_EBADOUTOFRANGE
// for a time before 1601.
int ua_datetime_from_string(ua_datetime& dt, std::string_view text);

// Writes the text form into `buf`: "%u-%02u-%02uT%02u:%02u:%02uZ", with a fraction of up to
// seven digits (trailing zeros dropped) before the 'Z' when the value has one. Returns the
// number of characters written, or a status of the bounded formatter (UA_EBADTRUNCATED when
// the text does not fit), or UA_EBADOUTOFRANGE for a negative value.
int ua_datetime_to_string(ua_datetime dt, char* buf, std::size_t size) noexcept;
// The same into an owned string (at most 31 characters); returns 0 or a status as above.
int ua_datetime_to_ua_string(ua_datetime dt, ua_string& out);

// Seconds since 1970-01-01T00:00:00Z; 0 for earlier times.
int64_t ua_datetime_to_unix(ua_datetime dt) noexcept;

}  // namespace vos
