/* NodeId: namespace index and a numeric, string, GUID or opaque identifier. */
#ifndef UABASE_NODEID_H
#define UABASE_NODEID_H

#include <platform/platform.h>
#include <uabase/bytestring.h>
#include <uabase/guid.h>
#include <uabase/string.h>

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

#endif /* UABASE_NODEID_H */
