/* StatusCode: severity, sub-code and info bits in 32 bits. */
#ifndef UABASE_STATUSCODE_H
#define UABASE_STATUSCODE_H

#include <platform/platform.h>

typedef uint32_t ua_statuscode;

#endif /* UABASE_STATUSCODE_H */
