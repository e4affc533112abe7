/* ExtensionObject: a structure of any type, either still encoded (binary body) or
 * decoded (type identifier and the structure). */
#ifndef UABASE_EXTENSIONOBJECT_H
#define UABASE_EXTENSIONOBJECT_H

#include <platform/platform.h>
#include <uabase/bytestring.h>
#include <uabase/nodeid.h>

struct ua_extensionobject {
    struct ua_nodeid type_id;
    uint8_t encoding; /* 0 empty, 1 binary body, 2 decoded */
    union {
        struct ua_bytestring binary;
        struct {
            uint32_t type; /* type identifier */
            void *data;
        } obj;
    } body;
};

#endif /* UABASE_EXTENSIONOBJECT_H */
