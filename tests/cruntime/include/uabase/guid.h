/* Guid in its four fields. */
#ifndef UABASE_GUID_H
#define UABASE_GUID_H

#include <platform/platform.h>

struct ua_guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};

#endif /* UABASE_GUID_H */
