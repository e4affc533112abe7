/* String: a length and UTF-8 bytes, not NUL-terminated; a length of -1 is the null string. */
#ifndef UABASE_STRING_H
#define UABASE_STRING_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

struct ua_string {
    int32_t len;
    char *data;
};

/* Makes `s` refer to the NUL-terminated constant `text` without copying it; such a string
 * must not be cleared. */
void ua_string_attach_const(struct ua_string *s, const char *text);

UA_END_EXTERN_C

#endif /* UABASE_STRING_H */
