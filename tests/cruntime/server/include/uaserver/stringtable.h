/* Constant strings of a compiled-in address space: a node names its texts by index into
 * the namespace's string pool, whose entries refer to the namespace's table of C strings. */
#ifndef UASERVER_STRINGTABLE_H
#define UASERVER_STRINGTABLE_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* An entry of the string pool: the index of its text in the string table. */
struct ua_conststring {
    uint32_t index;
};

UA_END_EXTERN_C

#endif /* UASERVER_STRINGTABLE_H */
