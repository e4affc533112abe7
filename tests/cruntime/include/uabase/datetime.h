/* DateTime: 100-nanosecond intervals since 1601-01-01 UTC. */
#ifndef UABASE_DATETIME_H
#define UABASE_DATETIME_H

#include <platform/platform.h>

typedef int64_t ua_datetime;

#endif /* UABASE_DATETIME_H */
