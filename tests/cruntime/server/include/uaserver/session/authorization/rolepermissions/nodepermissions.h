/* Node permissions: per node a set of (role id, permission mask) pairs. A compiled-in model
 * registers all distinct sets at once (struct ua_nodepermissions_static); its nodes name
 * their set by index. */
#ifndef UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_NODEPERMISSIONS_H
#define UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_NODEPERMISSIONS_H

#include <stdbool.h>

#include <platform/platform.h>
#include <uabase/structure/rolepermissiontype.h>

UA_BEGIN_EXTERN_C

struct ua_addressspace;

/* The permissions of one role. */
struct ua_nodepermission {
    uint32_t role_id;
    uint32_t permissions; /* PermissionType bits */
};

/* One permission set: its first entry in the permission list and its size. */
struct ua_nodepermission_idx {
    uint32_t first;
    uint32_t count;
};

/* The permission sets of a compiled-in model. */
struct ua_nodepermissions_static {
    const struct ua_nodepermission_idx *sets;
    size_t num_sets;
    const struct ua_nodepermission *permissions;
    size_t num_permissions;
};

/* Registers the permission sets of the compiled-in models (once); every role id they name
 * must exist. Returns 0 or a negative error. */
int ua_nodepermissions_register_static(const struct ua_nodepermissions_static *perms);
/* The registered permission sets, NULL before registration. */
const struct ua_nodepermissions_static *ua_nodepermissions_get_static(void);

/* Turns `num` RolePermissionType values (role NodeId and mask) into node permissions (role id
 * and mask). With `known_roles_only` a role NodeId that is not a role fails the conversion
 * with UA_EBADNOTFOUND; without it such an entry gets the role id UINT32_MAX, which matches
 * no session. Returns 0 or a negative error. */
int ua_authorization_nodepermissions_from_rolepermissions(const struct ua_rolepermissiontype *rp,
                                                          struct ua_nodepermission *np,
                                                          size_t num, bool known_roles_only);

/* Nodes of the namespace without permissions of their own get these. Returns 0 or a
 * negative error. */
int ua_addressspace_set_default_rolepermissions(struct ua_addressspace *addr,
                                                const struct ua_nodepermission *np,
                                                size_t num);

UA_END_EXTERN_C

#endif /* UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_NODEPERMISSIONS_H */
