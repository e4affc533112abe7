/* String: a length and UTF-8 bytes, not NUL-terminated; a length of -1 is the null string. */
#ifndef UABASE_STRING_H
#define UABASE_STRING_H

#include <platform/platform.h>

struct ua_string {
    int32_t len;
    char *data;
};

#endif /* UABASE_STRING_H */
