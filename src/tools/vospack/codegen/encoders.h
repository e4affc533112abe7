// The encoders of the generated tree: every text that comes from a model, the command line
// or the environment reaches a generated file through the encoder of its context, so that
// it stays text there. The C string literal encoder is cg_escape_c_string (naming.h);
// output_file has one call per context that uses these.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vos {

// The longest C string literal written, in characters between the quotes: a conforming
// compiler need not accept more.
inline constexpr std::size_t CODEGEN_MAX_LITERAL = 4095;

// The length of the text once escaped for a C string literal.
std::size_t cg_escaped_length(std::string_view text);

// True when the escaped text fits a C string literal uncut.
inline bool cg_fits_c_literal(std::string_view text) {
  return cg_escaped_length(text) <= CODEGEN_MAX_LITERAL;
}

// Text for inside a C block comment, on one line: printable ASCII stays, except that "*/"
// and "/*" get a blank between their two characters and a '?' after a '?' is preceded by a
// blank (no trigraph forms); every other byte (line breaks, control characters, bytes of
// 0x80 and above) becomes the four characters "\xHH".
std::string cg_comment_text(std::string_view text);

// Text for a CMake "#" comment line: printable ASCII stays, every other byte becomes "\xHH",
// so that no line break can start a command.
std::string cg_cmake_comment_text(std::string_view text);

// A name for an unquoted CMake argument (a project name): letters, digits and "_.+-" stay,
// every other byte becomes '_'; an empty name becomes "_".
std::string cg_cmake_name(std::string_view text);

// True for [A-Za-z_][A-Za-z0-9_]*.
bool cg_is_c_identifier(std::string_view text);

}  // namespace vos
