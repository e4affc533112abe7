// Short-option scanner in the manner of POSIX getopt, built in so that it behaves the same
// everywhere. No permutation, no long options; its two messages are always printed.
#pragma once

namespace vos {

// Argument of the option just returned, or null. Cleared at the start of every call.
extern const char* optarg;
// Index of the next argument to examine; after the scan, the index of the first operand.
extern int optind;

// Returns the next option letter, '?' after a message (unknown letter, missing argument),
// 1 for an operand when `optstring` begins with '-', 0 for a lone "-", or -1 at the end.
// A leading '+' in `optstring` ends the scan at the first operand.
int getopt(int argc, char* const argv[], const char* optstring);

// Forgets the scan so far (optind 0, no pending cluster); for running a second scan.
void getopt_reset();

}  // namespace vos
