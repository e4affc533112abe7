/* Value stores hold the values of variables; a variable names its value by store index and
 * value index. A static store holds constant values, each the OPC UA binary encoding of a
 * Variant. A store with index 0 is not reachable through an index (private stores such as
 * the data type definitions of a namespace). */
#ifndef UASERVER_VALUESTORE_STATICSTORE_H
#define UASERVER_VALUESTORE_STATICSTORE_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* One constant value: its length and its encoded bytes. */
struct ua_staticstore_element {
    uint32_t len;
    const char *data;
};

/* A static store. */
struct ua_staticstore {
    const struct ua_staticstore_element *elements;
    unsigned int num_elements;
    uint8_t store_idx;
};

/* An empty store with the index `store_idx`; returns 0 or a negative error. */
int ua_staticstore_init(struct ua_staticstore *store, uint8_t store_idx);
/* A store over constant elements (not copied). A store_idx other than 0 registers the store
 * under that index; an index in use is refused. Returns 0 or a negative error. */
int ua_staticstore_from_const_data(struct ua_staticstore *store,
                                   const struct ua_staticstore_element *elements,
                                   unsigned int num_elements, uint8_t store_idx);
/* Unregisters the store and empties it. */
void ua_staticstore_clear(struct ua_staticstore *store);
/* The registered store with this index, NULL when there is none. */
const struct ua_staticstore *ua_staticstore_find(uint8_t store_idx);

UA_END_EXTERN_C

#endif /* UASERVER_VALUESTORE_STATICSTORE_H */
