// File-based trace for the library layers, configured by an optional "trace.conf" in the
// current directory. Lines of the levels ERROR, WARNING and NOTICE are echoed to stderr.
#pragma once

#include <cstdint>

#if defined(__GNUC__)
#define VOS_PRINTF(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define VOS_PRINTF(fmt, first)
#endif

namespace vos {

// Level bits.
inline constexpr uint32_t TRACE_LEVEL_DEBUG_G = 1;
inline constexpr uint32_t TRACE_LEVEL_DEBUG = 2;
inline constexpr uint32_t TRACE_LEVEL_INFO = 4;
inline constexpr uint32_t TRACE_LEVEL_FUNC = 8;
inline constexpr uint32_t TRACE_LEVEL_FUNC2 = 16;
inline constexpr uint32_t TRACE_LEVEL_NOTICE = 32;
inline constexpr uint32_t TRACE_LEVEL_WARNING = 64;
inline constexpr uint32_t TRACE_LEVEL_ERROR = 128;

// The component mask the driver starts the trace with.
inline constexpr uint32_t TRACE_COMPONENT_ALL = 0x7FFFFF;

// Reads "trace.conf" from the current directory, announces the back end on stdout and
// opens the first file. Returns 0, or UA_EBAD when the first file could not be opened (the
// trace then stays without a file and writes nothing). A trace already started is closed
// first.
int trace_start(uint32_t level_mask, uint32_t component_mask);

// Writes one line: `level` is one level bit, `component` one component bit. Does nothing
// while no file is open or when the level is not in the level mask; levels below ERROR are
// also dropped when the component is not in the component mask. NOTICE, WARNING and ERROR
// messages are echoed to stderr without the line prefix.
void trace(uint32_t level, uint32_t component, const char* format, ...) VOS_PRINTF(3, 4);

// Closes the current file and forgets the configuration and the file numbering, so that a
// later trace_start() begins again with file number 1.
void trace_close();

}  // namespace vos
