#pragma once

namespace vos {
// The whole run of either personality; returns the exit status.
int driver_main(int argc, char** argv);
}  // namespace vos
