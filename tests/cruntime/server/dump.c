/* Prints the registered address spaces as the runtime sees them: every node through its
 * pools, references through both chains, values through the value stores. Each record is
 * one line of tab-separated fields; texts are escaped (printable ASCII as is, a backslash
 * doubled, any other byte as \xNN), NodeIds are in their text form ("ns=2;i=5", "i=85",
 * "s=...", "g=...", "b=..."). */
#include <stdio.h>
#include <string.h>

#include <uabase/guid.h>
#include <uabase/nodeid.h>
#include <uaserver/addressspace/staticpooltypes.h>
#include <uaserver/session/authorization/rolepermissions/nodepermissions.h>
#include <uaserver/session/authorization/rolepermissions/role.h>
#include <uaserver/stringtable.h>
#include <uaserver/valuestore/staticstore.h>

#include "runtime_internal.h"
#include "testing/addrspace_dump.h"

/* The walk's state: where to print, and whether an error record was printed. */
struct dump {
    FILE *out;
    int failed;
};

static void put_escaped(FILE *out, const unsigned char *s, size_t len)
{
    size_t i;
    for (i = 0; i < len; ++i) {
        if (s[i] == '\\') {
            fputs("\\\\", out);
        } else if (s[i] >= 0x20 && s[i] < 0x7f) {
            fputc(s[i], out);
        } else {
            fprintf(out, "\\x%02x", s[i]);
        }
    }
}

static void put_hex(FILE *out, const unsigned char *s, size_t len)
{
    size_t i;
    for (i = 0; i < len; ++i) fprintf(out, "%02x", s[i]);
}

static void put_base64(FILE *out, const unsigned char *s, size_t len)
{
    static const char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    size_t i;
    for (i = 0; i + 2 < len; i += 3) {
        uint32_t v = (uint32_t)s[i] << 16 | (uint32_t)s[i + 1] << 8 | s[i + 2];
        fprintf(out, "%c%c%c%c", alphabet[v >> 18], alphabet[v >> 12 & 63], alphabet[v >> 6 & 63],
                alphabet[v & 63]);
    }
    if (len - i == 1) {
        uint32_t v = (uint32_t)s[i] << 16;
        fprintf(out, "%c%c==", alphabet[v >> 18], alphabet[v >> 12 & 63]);
    } else if (len - i == 2) {
        uint32_t v = (uint32_t)s[i] << 16 | (uint32_t)s[i + 1] << 8;
        fprintf(out, "%c%c%c=", alphabet[v >> 18], alphabet[v >> 12 & 63], alphabet[v >> 6 & 63]);
    }
}

/* An error record: what the tables get wrong. */
static void error(struct dump *d, const char *what, unsigned int nsidx, size_t index)
{
    fprintf(d->out, "error\t%s\tns=%u\tindex=%zu\n", what, nsidx, index);
    d->failed = 1;
}

/* Object i of a pool seen through its header. */
static const void *object_at(const struct mem_objectpool_static *pool, size_t i)
{
    return pool->data + i * pool->object_size;
}

static const struct ua_node *node_at(const struct ua_addressspace *ns, size_t i)
{
    return i < ns->nodes->num_objects ? (const struct ua_node *)object_at(ns->nodes, i) : NULL;
}

/* The text of string id `id` of the namespace (through its string pool), NULL when out of
 * range. */
static const char *string_at(const struct ua_addressspace *ns, uint32_t id)
{
    const struct ua_conststring *s;
    if (id >= ns->strings->num_objects) return NULL;
    s = (const struct ua_conststring *)object_at(ns->strings, id);
    if (s->index >= ns->strings->num_objects) return NULL;
    return ns->stringtable[s->index];
}

static void put_string(struct dump *d, const struct ua_addressspace *ns, uint32_t id,
                       size_t node)
{
    const char *s = string_at(ns, id);
    if (s == NULL) {
        error(d, "string id out of range", ns->nsidx, node);
        return;
    }
    put_escaped(d->out, (const unsigned char *)s, strlen(s));
}

/* The NodeId of node `i` of the namespace. */
static void put_nodeid(struct dump *d, const struct ua_addressspace *ns, size_t i)
{
    const struct ua_node *n = node_at(ns, i);
    char text[80];

    if (n == NULL) {
        error(d, "node index out of range", ns->nsidx, i);
        fputs("?", d->out);
        return;
    }
    if (ns->nsidx != 0) fprintf(d->out, "ns=%u;", (unsigned)ns->nsidx);
    switch (n->id.type) {
    case 0:
        fprintf(d->out, "i=%u", (unsigned)n->id.identifier);
        break;
    case 1:
        fputs("s=", d->out);
        put_string(d, ns, n->id.identifier, i);
        break;
    case 2: {
        const struct ua_guid *g;
        if (ns->guids == NULL || n->id.identifier >= ns->guids->num_objects) {
            error(d, "GUID identifier out of range", ns->nsidx, i);
            break;
        }
        g = (const struct ua_guid *)object_at(ns->guids, n->id.identifier);
        snprintf(text, sizeof(text), "g=%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                 (unsigned)g->data1, g->data2, g->data3, g->data4[0], g->data4[1], g->data4[2],
                 g->data4[3], g->data4[4], g->data4[5], g->data4[6], g->data4[7]);
        fputs(text, d->out);
        break;
    }
    case 3: {
        const struct ua_staticstore_element *b;
        if (ns->bytestrings == NULL || n->id.identifier >= ns->bytestrings->num_objects) {
            error(d, "opaque identifier out of range", ns->nsidx, i);
            break;
        }
        b = (const struct ua_staticstore_element *)object_at(ns->bytestrings, n->id.identifier);
        fputs("b=", d->out);
        put_base64(d->out, (const unsigned char *)b->data, b->len);
        break;
    }
    default:
        error(d, "unknown identifier type", ns->nsidx, i);
    }
}

/* The NodeId of the node a handle names; `node` is the node being printed (for errors). */
static void put_handle(struct dump *d, uint32_t handle, const struct ua_addressspace *from,
                       size_t node)
{
    const struct ua_addressspace *ns = rt_namespace(handle >> 24);
    if (ns == NULL || node_at(ns, handle & 0xFFFFFFu) == NULL) {
        error(d, "handle of no registered node", from->nsidx, node);
        fprintf(d->out, "?%u", (unsigned)handle);
        return;
    }
    put_nodeid(d, ns, handle & 0xFFFFFFu);
}

static void put_dimensions(struct dump *d, const struct ua_addressspace *ns, uint32_t num,
                           int32_t first, size_t node)
{
    uint32_t k;
    if (num == 0) {
        if (first != -1) error(d, "dimensions index without dimensions", ns->nsidx, node);
        fputs("-", d->out);
        return;
    }
    if (first < 0 || (size_t)first + num > ns->dimensions->num_objects) {
        error(d, "dimensions out of range", ns->nsidx, node);
        return;
    }
    for (k = 0; k < num; ++k) {
        fprintf(d->out, "%s%u", k == 0 ? "" : ",", (unsigned)ns->dimensions->data[first + k]);
    }
}

static const struct ua_reference *reference_at(const struct ua_addressspace *ns, int64_t i)
{
    return i >= 0 && (uint64_t)i < ns->references->num_objects ? &ns->references->data[i] : NULL;
}

/* Both reference chains of node i. */
static void put_references(struct dump *d, const struct ua_addressspace *ns, size_t i)
{
    const struct ua_node *n = node_at(ns, i);
    const uint32_t self = (uint32_t)ns->nsidx << 24 | (uint32_t)i;
    size_t steps;
    int64_t cur;

    if (n->fwd_ref_idx != -1) {
        if ((n->fwd_ref_idx & 1) == 0) error(d, "forward index without marker", ns->nsidx, i);
        for (cur = n->fwd_ref_idx >> 1, steps = 0; cur != -1; ++steps) {
            const struct ua_reference *r = reference_at(ns, cur);
            if (r == NULL || steps > ns->references->num_objects) {
                error(d, r == NULL ? "forward chain out of range" : "forward chain loops",
                      ns->nsidx, i);
                break;
            }
            if (r->src != self) error(d, "forward chain holds a foreign reference", ns->nsidx, i);
            fputs("fwd\t", d->out);
            put_nodeid(d, ns, i);
            fputc('\t', d->out);
            put_handle(d, r->dst, ns, i);
            fputc('\t', d->out);
            put_handle(d, r->reftype, ns, i);
            fputc('\n', d->out);
            cur = r->next_fwd;
        }
    }
    /* An even low half marks a placeholder: its number, no chain. */
    if (n->rev_ref_idx != -1 && (n->rev_ref_idx & 1) == 1) {
        if ((n->rev_ref_idx & 0xFFFF) != ((ns->nsidx * 2 + 1) & 0xFFFF)) {
            error(d, "inverse index of another namespace", ns->nsidx, i);
        }
        for (cur = n->rev_ref_idx >> 16, steps = 0; cur != -1; ++steps) {
            const struct ua_reference *r = reference_at(ns, cur);
            if (r == NULL || steps > ns->references->num_objects) {
                error(d, r == NULL ? "inverse chain out of range" : "inverse chain loops",
                      ns->nsidx, i);
                break;
            }
            if (r->dst != self) error(d, "inverse chain holds a foreign reference", ns->nsidx, i);
            fputs("inv\t", d->out);
            put_nodeid(d, ns, i);
            fputc('\t', d->out);
            put_handle(d, r->src, ns, i);
            fputc('\t', d->out);
            put_handle(d, r->reftype, ns, i);
            fputc('\n', d->out);
            cur = r->next_rev;
        }
    }
}

/* The encoded element `index` of a value store, in hexadecimal. */
static void put_element(struct dump *d, const struct ua_addressspace *ns,
                        const struct ua_staticstore *store, int32_t index, size_t node)
{
    if (store == NULL || index < 0 || (unsigned)index >= store->num_elements) {
        error(d, "value out of range", ns->nsidx, node);
        return;
    }
    put_hex(d->out, (const unsigned char *)store->elements[index].data,
            store->elements[index].len);
}

static void put_variable(struct dump *d, const struct ua_addressspace *ns, size_t i,
                         const struct ua_node *n)
{
    const struct ua_variable *v;

    if (n->dataindex < 0 || (size_t)n->dataindex >= ns->variables->num_objects) {
        error(d, "variable index out of range", ns->nsidx, i);
        return;
    }
    v = &ns->variables->data[n->dataindex];
    fputs("variable\t", d->out);
    put_nodeid(d, ns, i);
    fputs("\tdatatype=", d->out);
    put_handle(d, v->datatype, ns, i);
    fprintf(d->out, "\tvaluerank=%d\tdims=", (int)v->valuerank);
    put_dimensions(d, ns, v->num_dimensions, v->dimensionsindex, i);
    fprintf(d->out, "\taccesslevel=%u\tmsi=%d", (unsigned)v->accesslevel,
            (int)v->minimum_sampling_interval);
#ifdef UA_SUPPORT_HISTORIZING
    fprintf(d->out, "\thistorizing=%u", (unsigned)v->historizing);
#endif
    fputc('\n', d->out);
    if (v->storeindex == -1 && v->valueindex == -1) return;
    fputs("value\t", d->out);
    put_nodeid(d, ns, i);
    fprintf(d->out, "\t%d\t%d\t", (int)v->storeindex, (int)v->valueindex);
    if (v->storeindex < 0 || v->storeindex > 255) {
        error(d, "store index out of range", ns->nsidx, i);
    } else {
        put_element(d, ns, ua_staticstore_find((uint8_t)v->storeindex), v->valueindex, i);
    }
    fputc('\n', d->out);
}

static void put_variabletype(struct dump *d, const struct ua_addressspace *ns, size_t i,
                             const struct ua_node *n)
{
    const struct ua_variabletype *t;

    if (n->dataindex < 0 || (size_t)n->dataindex >= ns->variabletypes->num_objects) {
        error(d, "variable type index out of range", ns->nsidx, i);
        return;
    }
    t = &ns->variabletypes->data[n->dataindex];
    if (t->is_abstract != ((n->flags & UA_NODE_FLAG_ABSTRACT) != 0)) {
        error(d, "variable type abstract differs from the node flag", ns->nsidx, i);
    }
    fputs("variabletype\t", d->out);
    put_nodeid(d, ns, i);
    fprintf(d->out, "\tabstract=%u\tdatatype=", (unsigned)t->is_abstract);
    if (t->datatype == UINT32_MAX) {
        fputs("-", d->out);
    } else {
        put_handle(d, t->datatype, ns, i);
    }
    fprintf(d->out, "\tvaluerank=%d\tdims=", (int)t->valuerank);
    put_dimensions(d, ns, t->num_dimensions, t->dimensionsindex, i);
    fputc('\n', d->out);
}

static void put_method(struct dump *d, const struct ua_addressspace *ns, size_t i,
                       const struct ua_node *n)
{
    const struct ua_method *m;

    if (n->dataindex < 0 || (size_t)n->dataindex >= ns->methods->num_objects) {
        error(d, "method index out of range", ns->nsidx, i);
        return;
    }
    m = &ns->methods->data[n->dataindex];
    if (m->methodindex != (uint32_t)n->dataindex) {
        error(d, "method index differs from its place", ns->nsidx, i);
    }
    fputs("method\t", d->out);
    put_nodeid(d, ns, i);
    fprintf(d->out, "\texecutable=%u\tdeclaration=", (n->flags & UA_NODE_FLAG_EXECUTABLE) != 0);
    if (m->methoddeclaration == UINT32_MAX) {
        fputs("-", d->out);
    } else {
        put_handle(d, m->methoddeclaration, ns, i);
    }
    fputc('\n', d->out);
}

/* The flag bits that a node of the class may carry; -1 for an unknown class. */
static long class_flags(uint8_t nodeclass)
{
    const long notifier = 0xFFL << UA_NODE_EVENTNOTIFIER_SHIFT;
    switch (nodeclass) {
    case UA_NODECLASS_OBJECT:
        return notifier;
    case UA_NODECLASS_VIEW:
        return notifier | UA_NODE_FLAG_CONTAINSNOLOOPS;
    case UA_NODECLASS_OBJECTTYPE:
    case UA_NODECLASS_VARIABLETYPE:
    case UA_NODECLASS_DATATYPE:
        return UA_NODE_FLAG_ABSTRACT;
    case UA_NODECLASS_REFERENCETYPE:
        return UA_NODE_FLAG_ABSTRACT | UA_NODE_FLAG_SYMMETRIC;
    case UA_NODECLASS_METHOD:
        return UA_NODE_FLAG_EXECUTABLE;
    case UA_NODECLASS_VARIABLE:
        return 0;
    default:
        return -1;
    }
}

/* The class record of node i. */
static void put_class(struct dump *d, const struct ua_addressspace *ns, size_t i,
                      const struct ua_node *n)
{
    const unsigned abstract = (n->flags & UA_NODE_FLAG_ABSTRACT) != 0;
    const unsigned notifier = (unsigned)(n->flags >> UA_NODE_EVENTNOTIFIER_SHIFT) & 0xFFu;
    const long allowed = class_flags(n->nodeclass);

    if (allowed >= 0 && (n->flags & ~allowed) != 0) {
        error(d, "flags of another node class", ns->nsidx, i);
    }
    if ((n->nodeclass == UA_NODECLASS_OBJECT || n->nodeclass == UA_NODECLASS_VIEW ||
         n->nodeclass == UA_NODECLASS_OBJECTTYPE) &&
        n->dataindex != -1) {
        error(d, "data index of a class without data", ns->nsidx, i);
    }

    switch (n->nodeclass) {
    case UA_NODECLASS_VARIABLE:
        put_variable(d, ns, i, n);
        return;
    case UA_NODECLASS_VARIABLETYPE:
        put_variabletype(d, ns, i, n);
        return;
    case UA_NODECLASS_METHOD:
        put_method(d, ns, i, n);
        return;
    case UA_NODECLASS_OBJECT:
        fputs("object\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\teventnotifier=%u\n", notifier);
        return;
    case UA_NODECLASS_VIEW:
        fputs("view\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\teventnotifier=%u\tcontainsnoloops=%u\n", notifier,
                (n->flags & UA_NODE_FLAG_CONTAINSNOLOOPS) != 0);
        return;
    case UA_NODECLASS_OBJECTTYPE:
        fputs("objecttype\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\tabstract=%u\n", abstract);
        return;
    case UA_NODECLASS_REFERENCETYPE:
        fputs("referencetype\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\tabstract=%u\tsymmetric=%u\tinversename=", abstract,
                (n->flags & UA_NODE_FLAG_SYMMETRIC) != 0);
        if (n->dataindex < 0) {
            error(d, "inverse name index out of range", ns->nsidx, i);
        } else {
            put_string(d, ns, (uint32_t)n->dataindex, i);
        }
        fputc('\n', d->out);
        return;
    case UA_NODECLASS_DATATYPE:
        fputs("datatype\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\tabstract=%u\n", abstract);
        if (n->dataindex == -1) return;
        fputs("definition\t", d->out);
        put_nodeid(d, ns, i);
        fputc('\t', d->out);
        put_element(d, ns, ns->definitions, n->dataindex, i);
        fputc('\n', d->out);
        return;
    default:
        error(d, "unknown node class", ns->nsidx, i);
    }
}

/* The text form of a runtime NodeId (a role). */
static void put_role(FILE *out, const struct ua_nodeid *id)
{
    const struct ua_guid *g = &id->identifier.guid;

    if (id->nsindex != 0) fprintf(out, "ns=%u;", (unsigned)id->nsindex);
    switch (id->type) {
    case 0:
        fprintf(out, "i=%u", (unsigned)id->identifier.numeric);
        break;
    case 1:
        fputs("s=", out);
        put_escaped(out, (const unsigned char *)id->identifier.string.data,
                    (size_t)id->identifier.string.len);
        break;
    case 2:
        fprintf(out, "g=%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", (unsigned)g->data1,
                g->data2, g->data3, g->data4[0], g->data4[1], g->data4[2], g->data4[3],
                g->data4[4], g->data4[5], g->data4[6], g->data4[7]);
        break;
    default:
        fputs("b=", out);
        put_base64(out, id->identifier.opaque.data, (size_t)id->identifier.opaque.len);
    }
}

static void put_permission_list(struct dump *d, const struct ua_addressspace *ns, size_t i,
                                const struct ua_nodepermission *list, size_t num)
{
    size_t k;
    for (k = 0; k < num; ++k) {
        const struct ua_nodeid *role = ua_role_get_nodeid(list[k].role_id);
        if (role == NULL) {
            error(d, "permission of an unknown role", ns->nsidx, i);
            continue;
        }
        fputs("permission\t", d->out);
        put_nodeid(d, ns, i);
        fputc('\t', d->out);
        put_role(d->out, role);
        fprintf(d->out, "\t0x%08x\n", (unsigned)list[k].permissions);
    }
}

static void put_permissions(struct dump *d, const struct ua_addressspace *ns, size_t i,
                            const struct ua_node *n)
{
#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS
    const struct ua_nodepermissions_static *perms = ua_nodepermissions_get_static();
    uint32_t set;

    if (n->perm_ctx.perm_idx == 0) return;
    if (n->perm_ctx.perm_idx < 10 || perms == NULL ||
        n->perm_ctx.perm_idx - 10 >= perms->num_sets) {
        error(d, "permission set out of range", ns->nsidx, i);
        return;
    }
    set = n->perm_ctx.perm_idx - 10;
    put_permission_list(d, ns, i, perms->permissions + perms->sets[set].first,
                        perms->sets[set].count);
#else
    UA_UNUSED(d);
    UA_UNUSED(ns);
    UA_UNUSED(i);
    UA_UNUSED(n);
#endif
}

static void put_namespace(struct dump *d, const struct ua_addressspace *ns)
{
    size_t i;
    int placeholders = 0;

    fprintf(d->out, "namespace\t%u\t", (unsigned)ns->nsidx);
    put_escaped(d->out, (const unsigned char *)ns->uri, strlen(ns->uri));
    fprintf(d->out, "\tnodes=%zu\thashtable=%u\n", ns->nodes->num_objects, ns->hashtable_size);
    if (ns->builtin_default_permissions) {
        fprintf(d->out, "defaultpermissions\t%u\tbuiltin\n", (unsigned)ns->nsidx);
    }
    for (i = 0; i < ns->num_default_permissions; ++i) {
        const struct ua_nodeid *role = ua_role_get_nodeid(ns->default_permissions[i].role_id);
        if (role == NULL) {
            error(d, "default permission of an unknown role", ns->nsidx, i);
            continue;
        }
        fprintf(d->out, "defaultpermission\t%u\t", (unsigned)ns->nsidx);
        put_role(d->out, role);
        fprintf(d->out, "\t0x%08x\n", (unsigned)ns->default_permissions[i].permissions);
    }
    for (i = 0; i < ns->nodes->num_objects; ++i) {
        const struct ua_node *n = node_at(ns, i);
        fputs("node\t", d->out);
        put_nodeid(d, ns, i);
        fprintf(d->out, "\t%u\t%u:", (unsigned)n->nodeclass, (unsigned)n->browsenamens);
        put_string(d, ns, n->browsenameid, i);
        fputc('\t', d->out);
        put_string(d, ns, n->displaynameid, i);
#ifdef UA_SUPPORT_DESCRIPTION
        fputc('\t', d->out);
        put_string(d, ns, n->descriptionid, i);
#endif
        fprintf(d->out, "\t%u\n", (unsigned)n->accessrestrictions);
        if (n->rev_ref_idx != -1 && (n->rev_ref_idx & 1) == 0) {
            fprintf(d->out, "placeholder\t%u\t%lld\n", (unsigned)ns->nsidx,
                    (long long)(n->rev_ref_idx >> 16));
            if ((n->rev_ref_idx & 0xFFFF) != ((ns->nsidx * 2) & 0xFFFE)) {
                error(d, "placeholder of another namespace", ns->nsidx, i);
            }
            ++placeholders;
        }
        put_class(d, ns, i, n);
        put_references(d, ns, i);
        put_permissions(d, ns, i, n);
    }
    if (placeholders != ns->num_placeholders) {
        error(d, "placeholder count differs from the marked nodes", ns->nsidx, 0);
    }
}

int ua_test_dump_addressspace(FILE *out)
{
    struct dump d;
    unsigned int nsidx;

    d.out = out;
    d.failed = 0;
    for (nsidx = 0; nsidx < RT_MAX_NAMESPACES; ++nsidx) {
        const struct ua_addressspace *ns = rt_namespace(nsidx);
        if (ns != NULL) put_namespace(&d, ns);
    }
    return d.failed;
}
