// Usage and version texts of the two personalities.
#pragma once

namespace vos {

enum class personality { converter, generator };

// "vospack" or "vosgen".
const char* personality_name(personality p);

// The usage text, to stderr.
void print_usage(personality p);
// The version text, to stdout.
void print_version(personality p);

}  // namespace vos
