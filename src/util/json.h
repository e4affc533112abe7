// JSON text for the tools' machine-readable output: string literals and numbers.
//
// A string is a run of bytes. Well-formed UTF-8 is copied as it stands (the output is
// UTF-8); '"' and '\' are escaped; the control characters below 0x20 become \b, \t, \n, \f,
// \r or \u00XX. A byte that is not part of a well-formed UTF-8 sequence (a stray
// continuation byte, a cut sequence, an overlong form, an encoded surrogate, a code point
// above U+10FFFF) is written as the escape \uDC80 to \uDCFF of that byte (the "surrogate
// escape" convention): Python gets the exact bytes back with
// text.encode("utf-8", "surrogateescape"), other parsers show U+FFFD for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "util/utf8.h"

namespace vos {

// Appends `bytes` as a JSON string literal, quotes included.
void json_append_string(std::string& out, std::string_view bytes);

// Appends the shortest text that reads back as the same value; NaN and the infinities have
// no JSON number and are written as the strings "NaN", "Infinity" and "-Infinity".
void json_append_double(std::string& out, double value);
void json_append_float(std::string& out, float value);

}  // namespace vos
