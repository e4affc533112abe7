// The build's version line, shared by -V and the header of every trace file, and the
// maker's legal notice.
#pragma once

#include <string>
#include <string_view>

namespace vos {

// Where a build came from; build_version_line(name) uses the constants of this build.
struct BuildOrigin {
  std::string_view version;       // "1.8.1"
  std::string_view suffix;        // appended to the version, usually empty
  std::string_view build_number;  // "426"
  std::string_view commit;        // 40 hexadecimal digits, or "<unknown>"
  std::string_view repository;    // location of the sources
};

// Builds from a repository starting with these 20 characters are the maker's own.
inline constexpr std::string_view INTERNAL_REPOSITORY_PREFIX = "https://git.velmora.";

// "<name> 1.8.1 (Build 426)..." with one of three tails chosen by where the build came
// from: the maker's repository, no commit known, or a customer's build; ends with a line
// feed.
std::string build_version_line(std::string_view name);
std::string build_version_line(std::string_view name, const BuildOrigin& origin);

// The maker's legal notice, one line ending with a line feed.
const char* build_legal_notice();

}  // namespace vos
