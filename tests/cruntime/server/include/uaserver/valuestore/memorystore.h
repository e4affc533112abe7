/* A memory store: values that the application keeps in an array of variants and changes at
 * run time. */
#ifndef UASERVER_VALUESTORE_MEMORYSTORE_H
#define UASERVER_VALUESTORE_MEMORYSTORE_H

#include <platform/platform.h>
#include <uabase/variant.h>

UA_BEGIN_EXTERN_C

struct ua_memorystore {
    struct ua_variant *values;
    unsigned int num_values;
    uint8_t store_idx;
};

/* A store over the caller's array; a store_idx other than 0 registers it under that index.
 * Returns 0 or a negative error. */
int ua_memorystore_init(struct ua_memorystore *store, uint8_t store_idx,
                        struct ua_variant *values, unsigned int num_values);
/* Unregisters the store. */
void ua_memorystore_clear(struct ua_memorystore *store);

UA_END_EXTERN_C

#endif /* UASERVER_VALUESTORE_MEMORYSTORE_H */
