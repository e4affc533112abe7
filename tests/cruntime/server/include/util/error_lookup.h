/* The symbolic name of a status code, for messages. */
#ifndef UTIL_ERROR_LOOKUP_H
#define UTIL_ERROR_LOOKUP_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* "UA_EBADNOTFOUND" for -22; "unknown error" for a code without a name. */
const char *util_error_lookup(int code);

UA_END_EXTERN_C

#endif /* UTIL_ERROR_LOOKUP_H */
