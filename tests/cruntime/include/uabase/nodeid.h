/* NodeId: namespace index and a numeric, string, GUID or opaque identifier. */
#ifndef UABASE_NODEID_H
#define UABASE_NODEID_H

#include <platform/platform.h>
#include <uabase/bytestring.h>
#include <uabase/guid.h>
#include <uabase/string.h>

UA_BEGIN_EXTERN_C

struct ua_nodeid {
    uint16_t nsindex;
    uint8_t type; /* 0 numeric, 1 string, 2 GUID, 3 opaque */
    union {
        uint32_t numeric;
        struct ua_string string;
        struct ua_guid guid;
        struct ua_bytestring opaque;
    } identifier;
};

/* Initializer of a numeric NodeId: UA_NODEID_NUMERIC_INITIALIZER(0, 85). */
#define UA_NODEID_NUMERIC_INITIALIZER(ns, id) { (ns), 0, { (id) } }

/* Parses the text form ("i=85", "ns=2;s=Name", "g=...", "b=..."); the result owns its
 * identifier and is released with ua_nodeid_clear. Returns 0 or a negative error. */
int ua_nodeid_from_string(struct ua_nodeid *id, const struct ua_string *text);
/* Frees what the NodeId owns and makes it the null NodeId. */
void ua_nodeid_clear(struct ua_nodeid *id);

UA_END_EXTERN_C

#endif /* UABASE_NODEID_H */
