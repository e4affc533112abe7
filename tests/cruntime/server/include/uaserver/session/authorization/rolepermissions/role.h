/* Roles: the runtime hands out role ids in the order the roles are added, starting at 0. */
#ifndef UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_ROLE_H
#define UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_ROLE_H

#include <platform/platform.h>
#include <uabase/nodeid.h>
#include <uabase/string.h>
#include <uaserver/session/authorization/rolepermissions/nodepermissions.h>

UA_BEGIN_EXTERN_C

/* Role flags. */
#define UA_ROLE_FLAG_SOURCE_STATIC_ADDRSPACE 0x1u /* the role comes from a compiled-in model */

/* Adds the role with this NodeId (copied). Returns its role id or a negative error. */
int ua_role_add_role(const struct ua_nodeid *id);
/* Sets a flag of the role; returns 0 or a negative error. */
int ua_role_set_flag(unsigned int role_id, unsigned int flag);
/* The NodeId of a role, NULL for an unknown role id. */
const struct ua_nodeid *ua_role_get_nodeid(unsigned int role_id);

UA_END_EXTERN_C

#endif /* UASERVER_SESSION_AUTHORIZATION_ROLEPERMISSIONS_ROLE_H */
