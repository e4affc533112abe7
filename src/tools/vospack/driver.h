// Entry of both personalities: chooses the personality from the invocation name, scans and
// acts on the options, runs the stages in their fixed order and returns the exit status.
#pragma once

#include <optional>

#include "tools/vospack/stages.h"
#include "tools/vospack/usage.h"

namespace vos {

// The personality for an invocation name (argv[0]): backslashes count as slashes, the base
// name is cut at its first ".exe", and the rest must be exactly "vospack" or "vosgen".
std::optional<personality> personality_from_name(const char* argv0);

// The whole run with the given stages.
int driver_run(int argc, char** argv, model_stages& stages);

// The process entry: runs with the given stages, flushes and ends the process with the
// run's status (never returns).
int driver_main(int argc, char** argv, model_stages& stages);

}  // namespace vos
