// Trace output of the encoding library (internal).
#pragma once

#include "trace/trace.h"
#include "uabase/encoder.h"

#define UA_LOG_ERROR(...) \
  ::vos::trace(::vos::TRACE_LEVEL_ERROR, ::vos::UA_TRACE_COMPONENT_ENCODER, __VA_ARGS__)
#define UA_LOG_WARNING(...) \
  ::vos::trace(::vos::TRACE_LEVEL_WARNING, ::vos::UA_TRACE_COMPONENT_ENCODER, __VA_ARGS__)
#define UA_LOG_INFO(...) \
  ::vos::trace(::vos::TRACE_LEVEL_INFO, ::vos::UA_TRACE_COMPONENT_ENCODER, __VA_ARGS__)
#define UA_LOG_DEBUG(...) \
  ::vos::trace(::vos::TRACE_LEVEL_DEBUG, ::vos::UA_TRACE_COMPONENT_ENCODER, __VA_ARGS__)

namespace vos::detail {

// Enters one more nesting level: 0, or -19 with "%s: configured call depth reached\n".
inline int enter_level(uint32_t& depth, uint32_t max_depth, const char* fn) {
  if (depth >= max_depth) {
    UA_LOG_ERROR("%s: configured call depth reached\n", fn);
    return UA_EBADTOOMANYNESTEDCALLS;
  }
  ++depth;
  return 0;
}

}  // namespace vos::detail
