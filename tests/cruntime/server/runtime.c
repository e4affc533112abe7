/* A small server runtime for tests: it accepts what compiled-in address spaces register
 * (namespaces, value stores, roles, permission sets, the input digest) and keeps it, so that
 * a test program can walk it (dump.c). Nothing here serves a client. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <common/errors.h>
#include <platform/memory.h>
#include <trace/trace.h>
#include <uabase/guid.h>
#include <uabase/nodeid.h>
#include <uabase/string.h>
#include <uaserver/addressspace/staticpooltypes.h>
#include <uaserver/session/authorization/rolepermissions/nodepermissions.h>
#include <uaserver/session/authorization/rolepermissions/role.h>
#include <uaserver/stringtable.h>
#include <uaserver/valuestore/staticstore.h>
#include <util/error_lookup.h>

#include "runtime_internal.h"

/* ---- trace and status names ---- */

void trace_log(int level, unsigned int facility, const char *format, ...)
{
    static const char *const names[] = {"", "error", "warning", "info"};
    va_list args;

    if (level < TRACE_LEVEL_ERROR || level > TRACE_LEVEL_INFO) level = TRACE_LEVEL_INFO;
    fprintf(stderr, "trace %s (facility %u): ", names[level], facility);
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
}

const char *util_error_lookup(int code)
{
    static const char *const names[] = {
        "UA_EDETACH", "UA_EASYNC", "UA_EGOOD", "UA_EBAD", "UA_EBADDISCONNECT",
        "UA_EBADSHUTDOWN", "UA_EBADSOCKETCLOSED", "UA_EBADINVALIDARGUMENT", "UA_EBADNOBUF",
        "UA_EBADDECODING", "UA_EBADENCODING", "UA_EBADNOMEM", "UA_EBADNOTIMPL",
        "UA_EBADHOSTUNKNOWN", "UA_EBADSYSCALL", "UA_EBADOPCANCELLED", "UA_EBADOPTIMEOUT",
        "UA_EBADIOPENDING", "UA_EBADINVALIDSTATE", "UA_EBADTRUNCATED", "UA_EBADBUFTOOSMALL",
        "UA_EBADTOOMANYNESTEDCALLS", "UA_EBADNOTSUPPORTED", "UA_EBADCERTIFICATINVALID",
        "UA_EBADNOTFOUND", "UA_EBADSIGNATURE", "UA_EBADMISMATCH", "UA_EBADOUTOFRESOURCE",
        "UA_EBADINUSE", "UA_EBADAGAIN", "UA_EBADOUTOFRANGE", "UA_EBADINTERNALERROR"};
    if (code > 2 || 2 - code >= (int)countof(names)) return "unknown error";
    return names[2 - code];
}

void *ua_memset(void *s, int c, size_t n)
{
    return memset(s, c, n);
}

/* ---- strings and NodeIds ---- */

void ua_string_attach_const(struct ua_string *s, const char *text)
{
    s->len = (int32_t)strlen(text);
    s->data = (char *)text; /* attached, never written or freed */
}

void ua_nodeid_clear(struct ua_nodeid *id)
{
    if (id->type == 1) free(id->identifier.string.data);
    if (id->type == 3) free(id->identifier.opaque.data);
    memset(id, 0, sizeof(*id));
}

/* The value of a hexadecimal digit, -1 for another character. */
static int hex_digit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/* Reads `digits` hexadecimal digits at *p; 0 or -1. */
static int parse_hex(const char **p, const char *end, int digits, uint32_t *value)
{
    *value = 0;
    for (; digits > 0; --digits, ++*p) {
        int d = *p < end ? hex_digit(**p) : -1;
        if (d < 0) return -1;
        *value = *value << 4 | (uint32_t)d;
    }
    return 0;
}

static int parse_guid(const char *p, const char *end, struct ua_guid *g)
{
    static const int groups[] = {8, 4, 4, 4, 12};
    uint32_t v;
    int i, k;

    if (end - p != 36) return UA_EBADDECODING;
    for (i = 0; i < 5; ++i) {
        if (i > 0 && *p++ != '-') return UA_EBADDECODING;
        if (i < 3) {
            if (parse_hex(&p, end, groups[i], &v) != 0) return UA_EBADDECODING;
            if (i == 0) g->data1 = v;
            if (i == 1) g->data2 = (uint16_t)v;
            if (i == 2) g->data3 = (uint16_t)v;
            continue;
        }
        for (k = 0; k < groups[i] / 2; ++k) {
            if (parse_hex(&p, end, 2, &v) != 0) return UA_EBADDECODING;
            g->data4[(i == 3 ? 0 : 2) + k] = (uint8_t)v;
        }
    }
    return 0;
}

static int base64_value(char c)
{
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

static int parse_base64(const char *p, const char *end, struct ua_bytestring *out)
{
    size_t n = (size_t)(end - p);
    uint32_t bits = 0;
    int nbits = 0;

    out->data = malloc(n * 3 / 4 + 1);
    if (out->data == NULL) return UA_EBADNOMEM;
    out->len = 0;
    for (; p < end && *p != '='; ++p) {
        int v = base64_value(*p);
        if (v < 0) {
            free(out->data);
            out->data = NULL;
            return UA_EBADDECODING;
        }
        bits = bits << 6 | (uint32_t)v;
        nbits += 6;
        if (nbits >= 8) {
            nbits -= 8;
            out->data[out->len++] = (uint8_t)(bits >> nbits);
        }
    }
    return 0;
}

int ua_nodeid_from_string(struct ua_nodeid *id, const struct ua_string *text)
{
    const char *p = text->data;
    const char *end = text->data + (text->len > 0 ? text->len : 0);
    uint32_t ns = 0;
    unsigned long v;
    char *stop;

    memset(id, 0, sizeof(*id));
    if (end - p > 3 && strncmp(p, "ns=", 3) == 0) {
        v = strtoul(p + 3, &stop, 10);
        if (stop >= end || *stop != ';' || v > 0xFFFF) return UA_EBADDECODING;
        ns = (uint32_t)v;
        p = stop + 1;
    }
    if (end - p < 2 || p[1] != '=') return UA_EBADDECODING;
    id->nsindex = (uint16_t)ns;
    switch (p[0]) {
    case 'i': {
        char digits[16];
        if (end - (p + 2) < 1 || end - (p + 2) >= (long)sizeof(digits)) return UA_EBADDECODING;
        memcpy(digits, p + 2, (size_t)(end - (p + 2)));
        digits[end - (p + 2)] = 0;
        v = strtoul(digits, &stop, 10);
        if (*stop != 0 || v > 0xFFFFFFFFul) return UA_EBADDECODING;
        id->type = 0;
        id->identifier.numeric = (uint32_t)v;
        return 0;
    }
    case 's':
        id->type = 1;
        id->identifier.string.len = (int32_t)(end - (p + 2));
        id->identifier.string.data = malloc((size_t)id->identifier.string.len + 1);
        if (id->identifier.string.data == NULL) return UA_EBADNOMEM;
        memcpy(id->identifier.string.data, p + 2, (size_t)id->identifier.string.len);
        return 0;
    case 'g':
        id->type = 2;
        return parse_guid(p + 2, end, &id->identifier.guid);
    case 'b':
        id->type = 3;
        return parse_base64(p + 2, end, &id->identifier.opaque);
    default:
        return UA_EBADDECODING;
    }
}

int rt_nodeid_equal(const struct ua_nodeid *a, const struct ua_nodeid *b)
{
    if (a->nsindex != b->nsindex || a->type != b->type) return 0;
    switch (a->type) {
    case 0:
        return a->identifier.numeric == b->identifier.numeric;
    case 1:
        return a->identifier.string.len == b->identifier.string.len &&
               memcmp(a->identifier.string.data, b->identifier.string.data,
                      (size_t)a->identifier.string.len) == 0;
    case 2:
        return memcmp(&a->identifier.guid, &b->identifier.guid, sizeof(struct ua_guid)) == 0;
    default:
        return a->identifier.opaque.len == b->identifier.opaque.len &&
               memcmp(a->identifier.opaque.data, b->identifier.opaque.data,
                      (size_t)a->identifier.opaque.len) == 0;
    }
}

/* A deep copy; 0 or UA_EBADNOMEM. */
static int nodeid_copy(struct ua_nodeid *dst, const struct ua_nodeid *src)
{
    *dst = *src;
    if (src->type == 1 || src->type == 3) {
        int32_t len = src->type == 1 ? src->identifier.string.len : src->identifier.opaque.len;
        const void *from = src->type == 1 ? (const void *)src->identifier.string.data
                                          : (const void *)src->identifier.opaque.data;
        void *to = malloc(len > 0 ? (size_t)len : 1);
        if (to == NULL) return UA_EBADNOMEM;
        if (len > 0) memcpy(to, from, (size_t)len);
        if (src->type == 1) {
            dst->identifier.string.data = to;
        } else {
            dst->identifier.opaque.data = to;
        }
    }
    return 0;
}

/* ---- roles and permissions ---- */

static struct ua_nodeid *g_roles;
static unsigned int *g_role_flags;
static unsigned int g_num_roles;
static const struct ua_nodepermissions_static *g_static_permissions;

int ua_role_add_role(const struct ua_nodeid *id)
{
    struct ua_nodeid *roles;
    unsigned int *flags;
    unsigned int i;

    for (i = 0; i < g_num_roles; ++i) {
        if (rt_nodeid_equal(&g_roles[i], id)) return UA_EBADDUPLICATEENTRY;
    }
    roles = realloc(g_roles, (g_num_roles + 1) * sizeof(*roles));
    if (roles == NULL) return UA_EBADNOMEM;
    g_roles = roles;
    flags = realloc(g_role_flags, (g_num_roles + 1) * sizeof(*flags));
    if (flags == NULL) return UA_EBADNOMEM;
    g_role_flags = flags;
    if (nodeid_copy(&g_roles[g_num_roles], id) != 0) return UA_EBADNOMEM;
    g_role_flags[g_num_roles] = 0;
    return (int)g_num_roles++;
}

int ua_role_set_flag(unsigned int role_id, unsigned int flag)
{
    if (role_id >= g_num_roles) return UA_EBADNOTFOUND;
    g_role_flags[role_id] |= flag;
    return 0;
}

const struct ua_nodeid *ua_role_get_nodeid(unsigned int role_id)
{
    return role_id < g_num_roles ? &g_roles[role_id] : NULL;
}

int ua_nodepermissions_register_static(const struct ua_nodepermissions_static *perms)
{
    size_t i;

    if (perms == NULL) return UA_EBADINVALIDARGUMENT;
    if (g_static_permissions != NULL) return UA_EBADDUPLICATEENTRY;
    for (i = 0; i < perms->num_sets; ++i) {
        if (perms->sets[i].first > perms->num_permissions ||
            perms->sets[i].count > perms->num_permissions - perms->sets[i].first) {
            TRACE_ERROR(TRACE_FAC_ADDRSPACE, "permission set %zu lies outside the list\n", i);
            return UA_EBADOUTOFRANGE;
        }
    }
    for (i = 0; i < perms->num_permissions; ++i) {
        if (perms->permissions[i].role_id >= g_num_roles) {
            TRACE_ERROR(TRACE_FAC_ADDRSPACE, "permission %zu names the unknown role id %u\n", i,
                        (unsigned)perms->permissions[i].role_id);
            return UA_EBADNOTFOUND;
        }
    }
    g_static_permissions = perms;
    return 0;
}

const struct ua_nodepermissions_static *ua_nodepermissions_get_static(void)
{
    return g_static_permissions;
}

int ua_authorization_nodepermissions_from_rolepermissions(const struct ua_rolepermissiontype *rp,
                                                          struct ua_nodepermission *np,
                                                          size_t num, bool known_roles_only)
{
    size_t i;
    unsigned int r;

    for (i = 0; i < num; ++i) {
        np[i].role_id = UINT32_MAX;
        np[i].permissions = rp[i].permissions;
        for (r = 0; r < g_num_roles; ++r) {
            if (rt_nodeid_equal(&g_roles[r], &rp[i].role_id)) np[i].role_id = r;
        }
        if (np[i].role_id == UINT32_MAX && known_roles_only) return UA_EBADNOTFOUND;
    }
    return 0;
}

/* ---- value stores ---- */

static const struct ua_staticstore *g_stores[256];

int ua_staticstore_init(struct ua_staticstore *store, uint8_t store_idx)
{
    return ua_staticstore_from_const_data(store, NULL, 0, store_idx);
}

int ua_staticstore_from_const_data(struct ua_staticstore *store,
                                   const struct ua_staticstore_element *elements,
                                   unsigned int num_elements, uint8_t store_idx)
{
    if (store == NULL || (elements == NULL && num_elements != 0)) return UA_EBADINVALIDARGUMENT;
    if (store_idx != 0 && g_stores[store_idx] != NULL && g_stores[store_idx] != store) {
        return UA_EBADDUPLICATEENTRY;
    }
    store->elements = elements;
    store->num_elements = num_elements;
    store->store_idx = store_idx;
    if (store_idx != 0) g_stores[store_idx] = store;
    return 0;
}

void ua_staticstore_clear(struct ua_staticstore *store)
{
    if (store->store_idx != 0 && g_stores[store->store_idx] == store) {
        g_stores[store->store_idx] = NULL;
    }
    memset(store, 0, sizeof(*store));
}

const struct ua_staticstore *ua_staticstore_find(uint8_t store_idx)
{
    return store_idx != 0 ? g_stores[store_idx] : NULL;
}

/* ---- address spaces ---- */

static struct ua_addressspace g_namespaces[RT_MAX_NAMESPACES];
static unsigned char g_digest[16];
static size_t g_digest_len;

const struct ua_addressspace *rt_namespace(unsigned int nsidx)
{
    return nsidx < RT_MAX_NAMESPACES && g_namespaces[nsidx].uri != NULL ? &g_namespaces[nsidx]
                                                                        : NULL;
}

void ua_addressspace_set_digest(const unsigned char *digest, size_t len)
{
    if (len > sizeof(g_digest)) len = sizeof(g_digest);
    memcpy(g_digest, digest, len);
    g_digest_len = len;
}

bool ua_addressspace_verify_digest(const unsigned char *digest, size_t len)
{
    return g_digest_len != 0 && len == g_digest_len && memcmp(g_digest, digest, len) == 0;
}

struct ua_addressspace *ua_addressspace_getaddr(uint16_t nsidx)
{
    return nsidx < RT_MAX_NAMESPACES && g_namespaces[nsidx].uri != NULL ? &g_namespaces[nsidx]
                                                                        : NULL;
}

int ua_addressspace_set_default_default_rolepermissions(struct ua_addressspace *addr)
{
    if (addr == NULL) return UA_EBADINVALIDARGUMENT;
    free(addr->default_permissions);
    addr->default_permissions = NULL;
    addr->num_default_permissions = 0;
    addr->builtin_default_permissions = true;
    return 0;
}

int ua_addressspace_set_default_rolepermissions(struct ua_addressspace *addr,
                                                const struct ua_nodepermission *np, size_t num)
{
    struct ua_nodepermission *copy;

    if (addr == NULL || (np == NULL && num != 0)) return UA_EBADINVALIDARGUMENT;
    copy = malloc(num > 0 ? num * sizeof(*np) : 1);
    if (copy == NULL) return UA_EBADNOMEM;
    if (num > 0) memcpy(copy, np, num * sizeof(*np));
    free(addr->default_permissions);
    addr->default_permissions = copy;
    addr->num_default_permissions = num;
    addr->builtin_default_permissions = false;
    return 0;
}

/* A constant pool must be full, without free list, of objects of the expected size. */
static int check_pool(const char *uri, const char *what, const struct mem_objectpool_static *pool,
                      size_t object_size)
{
    if (pool->object_size != object_size || pool->used != pool->num_objects ||
        pool->freelist != NULL) {
        TRACE_ERROR(TRACE_FAC_ADDRSPACE,
                    "%s: %s pool has object size %zu (expected %zu), %zu of %zu used\n", uri,
                    what, pool->object_size, object_size, pool->used, pool->num_objects);
        return UA_EBADMISMATCH;
    }
    return 0;
}

int ua_addressspace_register_static(const char *uri, unsigned int hashtable_size,
                                    const struct mem_objectpool_static *nodes,
                                    const struct mem_objectpool_variable *variables,
                                    const struct mem_objectpool_variabletype *variabletypes,
                                    const struct mem_objectpool_method *methods,
                                    const struct mem_objectpool_reference *references,
                                    const struct mem_objectpool_static *strings,
                                    const char *const *stringtable,
                                    const struct mem_objectpool_static *guids,
                                    const struct mem_objectpool_dimension *dimensions,
                                    struct ua_staticstore *datatypedefinitions,
                                    const struct mem_objectpool_static *bytestrings,
                                    uint16_t nsidx, int num_placeholders,
                                    enum ua_addressspace_index index_type)
{
    struct ua_addressspace *ns;
    int ret = 0;

    if (uri == NULL || nodes == NULL || variables == NULL || variabletypes == NULL ||
        methods == NULL || references == NULL || strings == NULL || stringtable == NULL ||
        dimensions == NULL || datatypedefinitions == NULL || num_placeholders < 0) {
        return UA_EBADINVALIDARGUMENT;
    }
    if (nsidx >= RT_MAX_NAMESPACES) return UA_EBADOUTOFRANGE;
    ns = &g_namespaces[nsidx];
    if (ns->uri != NULL) return UA_EBADDUPLICATEENTRY;
    if (hashtable_size < nodes->num_objects) {
        TRACE_ERROR(TRACE_FAC_ADDRSPACE, "%s: hash table of %u for %zu nodes\n", uri,
                    hashtable_size, nodes->num_objects);
        return UA_EBADINVALIDARGUMENT;
    }
    if (ret == 0) ret = check_pool(uri, "node", nodes, sizeof(struct ua_node));
    if (ret == 0) {
        ret = check_pool(uri, "variable", (const struct mem_objectpool_static *)variables,
                         sizeof(struct ua_variable));
    }
    if (ret == 0) {
        ret = check_pool(uri, "variabletype",
                         (const struct mem_objectpool_static *)variabletypes,
                         sizeof(struct ua_variabletype));
    }
    if (ret == 0) {
        ret = check_pool(uri, "method", (const struct mem_objectpool_static *)methods,
                         sizeof(struct ua_method));
    }
    if (ret == 0) {
        ret = check_pool(uri, "reference", (const struct mem_objectpool_static *)references,
                         sizeof(struct ua_reference));
    }
    if (ret == 0) ret = check_pool(uri, "string", strings, sizeof(struct ua_conststring));
    if (ret == 0 && guids != NULL) ret = check_pool(uri, "guid", guids, sizeof(struct ua_guid));
    if (ret == 0 && bytestrings != NULL) {
        ret = check_pool(uri, "bytestring", bytestrings, sizeof(struct ua_staticstore_element));
    }
    if (ret == 0) {
        ret = check_pool(uri, "dimension", (const struct mem_objectpool_static *)dimensions,
                         sizeof(uint32_t));
    }
    if (ret != 0) return ret;
    if (index_type != UA_INDEX_HASHTABLE && index_type != UA_INDEX_HASHTABLEQP) {
        return UA_EBADINVALIDARGUMENT;
    }
    ns->uri = uri;
    ns->nsidx = nsidx;
    ns->hashtable_size = hashtable_size;
    ns->nodes = nodes;
    ns->variables = variables;
    ns->variabletypes = variabletypes;
    ns->methods = methods;
    ns->references = references;
    ns->strings = strings;
    ns->stringtable = stringtable;
    ns->guids = guids;
    ns->bytestrings = bytestrings;
    ns->dimensions = dimensions;
    ns->definitions = datatypedefinitions;
    ns->num_placeholders = num_placeholders;
    return nsidx;
}
