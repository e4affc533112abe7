// UTF-8 well-formedness of a text.
#pragma once

#include <cstddef>
#include <string_view>

namespace vos {

// The length of the well-formed UTF-8 sequence at the start of `bytes`, 0 when there is
// none: a stray continuation byte, a cut sequence, an overlong form, an encoded surrogate
// (U+D800 to U+DFFF) or a code point above U+10FFFF.
std::size_t utf8_sequence_length(std::string_view bytes) noexcept;

// True when the whole of `text` is well-formed UTF-8. ASCII is checked eight bytes at a
// time.
bool utf8_valid(std::string_view text) noexcept;

}  // namespace vos
