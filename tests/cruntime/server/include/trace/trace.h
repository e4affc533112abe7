/* The runtime's trace: printf-style messages by level and facility. */
#ifndef TRACE_TRACE_H
#define TRACE_TRACE_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

#define TRACE_LEVEL_ERROR 1
#define TRACE_LEVEL_WARNING 2
#define TRACE_LEVEL_INFO 3

/* Facilities: the part of the runtime a message comes from. */
#define TRACE_FAC_PROVIDER 0x1u
#define TRACE_FAC_ADDRSPACE 0x2u

#if defined(__GNUC__)
#define TRACE_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define TRACE_PRINTF_FORMAT(fmt, args)
#endif

/* Writes one message of the level and facility (on standard error). */
void trace_log(int level, unsigned int facility, const char *format, ...) TRACE_PRINTF_FORMAT(3, 4);

#define TRACE_ERROR(facility, ...) trace_log(TRACE_LEVEL_ERROR, (facility), __VA_ARGS__)
#define TRACE_WARNING(facility, ...) trace_log(TRACE_LEVEL_WARNING, (facility), __VA_ARGS__)
#define TRACE_INFO(facility, ...) trace_log(TRACE_LEVEL_INFO, (facility), __VA_ARGS__)

UA_END_EXTERN_C

#endif /* TRACE_TRACE_H */
