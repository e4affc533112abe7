/* RolePermissionType of namespace 0: a role and the permissions it grants on a node. */
#ifndef UABASE_STRUCTURE_ROLEPERMISSIONTYPE_H
#define UABASE_STRUCTURE_ROLEPERMISSIONTYPE_H

#include <platform/platform.h>
#include <uabase/nodeid.h>

UA_BEGIN_EXTERN_C

struct ua_rolepermissiontype {
    struct ua_nodeid role_id;
    uint32_t permissions; /* PermissionType bits */
};

UA_END_EXTERN_C

#endif /* UABASE_STRUCTURE_ROLEPERMISSIONTYPE_H */
