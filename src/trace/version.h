// The build's version line, shared by -V and the header of every trace file.
#pragma once

#include <string>
#include <string_view>

namespace vos {

// "<name> 1.8.1 (Build 426)..." with one of three tails chosen by where the build came
// from; ends with a line feed.
std::string build_version_line(std::string_view name);

}  // namespace vos
