// The browsable form of a binary address-space file (vosdump --html): one self-contained
// HTML page, the viewer (src/tools/vosdump/html, built into the executable) with the file's
// contents as a compact JSON document in a data block (see README, "vosdump --html").
#pragma once

#include <cstdio>

#include "tools/vospack/filereader.h"

namespace vos {

// Writes the page for the file read from `path` to `out`.
void dump_html(const char* path, const ua_file_contents& file, std::FILE* out);

}  // namespace vos
