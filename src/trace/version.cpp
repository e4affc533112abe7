#include "trace/version.h"

#include <initializer_list>

#include "build_info.h"

namespace vos {

namespace {

void append(std::string& out, std::initializer_list<std::string_view> parts) {
  for (std::string_view part : parts) out.append(part);
}

}  // namespace

std::string build_version_line(std::string_view name, const BuildOrigin& origin) {
  std::string line;
  append(line, {name, " ", origin.version, origin.suffix, " (Build ", origin.build_number, ")"});
  if (origin.repository.starts_with(INTERNAL_REPOSITORY_PREFIX)) {
    append(line, {" - Velmora Build Git SHA1: ", origin.commit});
  } else if (origin.commit != "<unknown>") {
    append(line, {" - Customer Build Git SHA1: ", origin.commit});
  }
  line.push_back('\n');
  return line;
}

std::string build_version_line(std::string_view name) {
  return build_version_line(
      name, BuildOrigin{build_info::version, build_info::suffix, build_info::build_number,
                        build_info::commit, build_info::repository});
}

const char* build_legal_notice() {
  return "Copyright (c) 2026 Velmora Systems. All rights reserved.\n";
}

}  // namespace vos
