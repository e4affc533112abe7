/* What the test runtime keeps of a registered namespace; shared by runtime.c and dump.c. */
#ifndef RUNTIME_INTERNAL_H
#define RUNTIME_INTERNAL_H

#include <stdbool.h>

#include <uabase/nodeid.h>
#include <uaserver/addressspace/staticpooltypes.h>
#include <uaserver/session/authorization/rolepermissions/nodepermissions.h>

/* Namespace indexes a handle can name: 8 bits above the 24 of the node index. */
#define RT_MAX_NAMESPACES 256

/* A registered compiled-in namespace (uri is NULL for a free slot). */
struct ua_addressspace {
    const char *uri;
    uint16_t nsidx;
    unsigned int hashtable_size;
    const struct mem_objectpool_static *nodes;
    const struct mem_objectpool_variable *variables;
    const struct mem_objectpool_variabletype *variabletypes;
    const struct mem_objectpool_method *methods;
    const struct mem_objectpool_reference *references;
    const struct mem_objectpool_static *strings;
    const char *const *stringtable;
    const struct mem_objectpool_static *guids;
    const struct mem_objectpool_static *bytestrings;
    const struct mem_objectpool_dimension *dimensions;
    const struct ua_staticstore *definitions;
    int num_placeholders;
    /* Default permissions of nodes without their own: the runtime's built-in default, or
     * the list set by the namespace. */
    bool builtin_default_permissions;
    struct ua_nodepermission *default_permissions;
    size_t num_default_permissions;
};

/* The registered namespace with this index, NULL when there is none. */
const struct ua_addressspace *rt_namespace(unsigned int nsidx);
/* 1 when both NodeIds are equal, else 0. */
int rt_nodeid_equal(const struct ua_nodeid *a, const struct ua_nodeid *b);

#endif /* RUNTIME_INTERNAL_H */
