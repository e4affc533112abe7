// Range-checked number parsers and the bounded formatter that every text form and printer
// builds on.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "trace/trace.h"  // VOS_PRINTF

namespace vos {

// Number parsers: skip leading white space (blank, tab, line feed, vertical tab, form feed,
// carriage return), accept one '+' sign (the signed parsers also one '-'), then read the
// digits of `base` (2 to 36; digits above 9 are letters of either case). Parsing stops
// without error at the first character that is not a digit of the base; `end`, when given,
// receives where it stopped (the start of `text` when nothing was read).
//
// Returns 0 and stores the value, or (value unchanged):
//   UA_EBADINVALIDARGUMENT  base outside 2..36, or '-' given to an unsigned parser;
//   UA_EBADDECODING         no digit;
//   UA_EBADOUTOFRANGE       the number leaves the type's range (all its digits are consumed).
int ua_strtoint32(std::string_view text, const char** end, int base, int32_t& value) noexcept;
int ua_strtoint8(std::string_view text, const char** end, int base, int8_t& value) noexcept;
int ua_strtouint32(std::string_view text, const char** end, int base, uint32_t& value) noexcept;
int ua_strtouint16(std::string_view text, const char** end, int base, uint16_t& value) noexcept;
int ua_strtouint8(std::string_view text, const char** end, int base, uint8_t& value) noexcept;

// Bounded formatting: writes at most `size` bytes including the terminating NUL and returns
// the number of characters written (without the NUL). With a null buffer and size 0 nothing
// is written and the length the output needs is returned.
// Output that does not fit is cut (still terminated) and gives UA_EBADTRUNCATED; a null
// format, a zero size with a buffer, or a null buffer with a size give
// UA_EBADINVALIDARGUMENT.
int ua_snprintf(char* buf, std::size_t size, const char* format, ...) VOS_PRINTF(3, 4);
int ua_vsnprintf(char* buf, std::size_t size, const char* format, std::va_list args)
    VOS_PRINTF(3, 0);

}  // namespace vos
