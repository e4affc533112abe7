/* QualifiedName: namespace index and name. */
#ifndef UABASE_QUALIFIEDNAME_H
#define UABASE_QUALIFIEDNAME_H

#include <platform/platform.h>
#include <uabase/string.h>

struct ua_qualifiedname {
    uint16_t nsindex;
    struct ua_string name;
};

#endif /* UABASE_QUALIFIEDNAME_H */
