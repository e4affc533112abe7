/* ExpandedNodeId: a NodeId, optionally with a namespace URI and a server index. */
#ifndef UABASE_EXPANDEDNODEID_H
#define UABASE_EXPANDEDNODEID_H

#include <platform/platform.h>
#include <uabase/nodeid.h>
#include <uabase/string.h>

struct ua_expandednodeid {
    struct ua_nodeid id;
    struct ua_string nsuri;
    uint32_t serverindex;
};

#endif /* UABASE_EXPANDEDNODEID_H */
