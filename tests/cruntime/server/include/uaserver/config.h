/* Build configuration of the server runtime. UA_AUTHORIZATION_BACKEND chooses how node
 * access is checked: not at all (NULL) or by the role permissions of the nodes; a build may
 * set it on the command line, the default is role permissions. UA_SUPPORT_DESCRIPTION
 * (node descriptions) and UA_SUPPORT_HISTORIZING (the Historizing attribute) are set by
 * the build when wanted. */
#ifndef UASERVER_CONFIG_H
#define UASERVER_CONFIG_H

#define UA_AUTHORIZATION_BACKEND_NULL 0
#define UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS 1

#ifndef UA_AUTHORIZATION_BACKEND
#define UA_AUTHORIZATION_BACKEND UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS
#endif

#endif /* UASERVER_CONFIG_H */
