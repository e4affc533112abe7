/* ByteString (also XmlElement): a length and the bytes; a length of -1 is the null
 * byte string. */
#ifndef UABASE_BYTESTRING_H
#define UABASE_BYTESTRING_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

struct ua_bytestring {
    int32_t len;
    uint8_t *data;
};

/* Allocates `len` zeroed bytes; returns 0 or a negative error. */
int ua_bytestring_create(struct ua_bytestring *b, int32_t len);
/* Frees the bytes and makes `b` the null byte string. */
void ua_bytestring_clear(struct ua_bytestring *b);

UA_END_EXTERN_C

#endif /* UABASE_BYTESTRING_H */
