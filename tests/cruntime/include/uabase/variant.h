/* Variant: a scalar or an array of one built-in type. Only the built-in type codes that
 * generated type tables name are listed. */
#ifndef UABASE_VARIANT_H
#define UABASE_VARIANT_H

#include <platform/platform.h>

enum ua_variant_type {
    UA_VT_BYTE = 3,
    UA_VT_UINT16 = 5,
    UA_VT_INT32 = 6,
    UA_VT_UINT32 = 7,
    UA_VT_UINT64 = 9
};

struct ua_variant {
    uint8_t type;  /* built-in type code */
    uint8_t flags; /* array, matrix */
    int32_t len;   /* number of elements of an array */
    union {
        int64_t i64;
        uint64_t u64;
        double d;
        void *ptr; /* values that do not fit, and arrays */
    } value;
};

#endif /* UABASE_VARIANT_H */
