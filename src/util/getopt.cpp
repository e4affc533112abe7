#include "util/getopt.h"

#include <cstdio>
#include <cstring>

namespace vos {

const char* optarg = nullptr;
int optind = 0;

namespace {
// Position inside a cluster of letters such as -vq, kept between calls.
const char* next_char = nullptr;
}  // namespace

void getopt_reset() {
  optarg = nullptr;
  optind = 0;
  next_char = nullptr;
}

int getopt(int argc, char* const argv[], const char* optstring) {
  optarg = nullptr;
  if (next_char == nullptr || *next_char == '\0') {
    if (optind == 0) optind = 1;
    for (;;) {
      if (optind >= argc) return -1;
      const char* arg = argv[optind];
      if (arg[0] == '-') break;
      if (optstring[0] == '+') return -1;
      if (optstring[0] == '-') {
        optarg = arg;
        ++optind;
        return 1;
      }
      ++optind;  // the operand is skipped, not moved
    }
    if (std::strcmp(argv[optind], "--") == 0) {
      ++optind;
      return -1;
    }
    next_char = argv[optind] + 1;
    ++optind;
  }

  const char letter = *next_char;
  if (letter == '\0') {
    // A lone "-": the end of its text comes back as the letter 0.
    next_char = nullptr;
    return 0;
  }
  ++next_char;

  const char* entry = std::strchr(optstring, letter);
  if (letter == ':' || entry == nullptr) {
    std::fprintf(stderr, "%s: unknown option -%c\n", argv[0], letter);
    return '?';
  }
  if (entry[1] != ':') return letter;

  if (*next_char != '\0') {  // -i2: the rest of the cluster is the argument
    optarg = next_char;
    next_char = nullptr;
    return letter;
  }
  next_char = nullptr;
  if (optind < argc) {
    optarg = argv[optind++];
    return letter;
  }
  std::fprintf(stderr, "%s: -%c argument missing\n", argv[0], letter);
  return '?';
}

}  // namespace vos
