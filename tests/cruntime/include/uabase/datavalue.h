/* DataValue: a value with status and time stamps, each optional. */
#ifndef UABASE_DATAVALUE_H
#define UABASE_DATAVALUE_H

#include <platform/platform.h>
#include <uabase/datetime.h>
#include <uabase/statuscode.h>
#include <uabase/variant.h>

struct ua_datavalue {
    struct ua_variant value;
    ua_statuscode status;
    ua_datetime source_timestamp;
    ua_datetime server_timestamp;
    uint16_t source_picoseconds;
    uint16_t server_picoseconds;
    uint8_t mask; /* which of the parts are present */
};

#endif /* UABASE_DATAVALUE_H */
