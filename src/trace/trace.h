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

// Reads "trace.conf", announces the back end on stdout and opens the first file.
// Returns 0, or a negative status when the first file could not be opened.
int trace_start(uint32_t level_mask, uint32_t component_mask);

// Writes one line; does nothing while no file is open.
void trace(uint32_t level, uint32_t component, const char* format, ...) VOS_PRINTF(3, 4);

// Closes the current file and forgets the configuration.
void trace_close();

}  // namespace vos
