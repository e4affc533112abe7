/* The built-in types of the test runtime: their C values as the runtime headers declare
 * them, filled by the recipe, encoded and decoded in the binary encoding, compared and
 * cleared. Only what the recipe makes is decoded: a Variant holds an Int32 scalar or an
 * array of Strings, an ExtensionObject an encoded body or none. */
#include "builtins.h"

#include <stdlib.h>
#include <string.h>

#include <uabase/bytestring.h>
#include <uabase/datavalue.h>
#include <uabase/diagnosticinfo.h>
#include <uabase/expandednodeid.h>
#include <uabase/extensionobject.h>
#include <uabase/localizedtext.h>
#include <uabase/qualifiedname.h>
#include <uabase/string.h>
#include <uabase/variant.h>
#include <platform/memory.h>

/* ---- runtime functions that generated code calls ---- */

void *ua_memset(void *s, int c, size_t n)
{
    return memset(s, c, n);
}

int ua_bytestring_create(struct ua_bytestring *b, int32_t len)
{
    b->data = NULL;
    b->len = 0;
    if (len < 0) return -7;
    b->data = calloc(len > 0 ? (size_t)len : 1u, 1);
    if (b->data == NULL) return -9;
    b->len = len;
    return 0;
}

void ua_bytestring_clear(struct ua_bytestring *b)
{
    free(b->data);
    b->data = NULL;
    b->len = 0;
}

/* ---- buffers ---- */

void codec_buf_free(struct codec_buf *b)
{
    free(b->data);
    b->data = NULL;
    b->len = b->cap = 0;
}

int codec_put(struct codec_buf *b, const void *p, size_t n)
{
    if (b->len + n > b->cap) {
        size_t cap = b->cap ? b->cap * 2 : 256;
        uint8_t *d;
        while (cap < b->len + n) cap *= 2;
        d = realloc(b->data, cap);
        if (d == NULL) return -9;
        b->data = d;
        b->cap = cap;
    }
    if (n) memcpy(b->data + b->len, p, n);
    b->len += n;
    return 0;
}

int codec_get(struct codec_in *in, void *p, size_t n)
{
    if (in->left < n) return -11; /* truncated */
    memcpy(p, in->p, n);
    in->p += n;
    in->left -= n;
    return 0;
}

/* Little-endian integers of 1, 2, 4 or 8 bytes. */
int codec_put_uint(struct codec_buf *b, uint64_t v, unsigned size)
{
    uint8_t x[8];
    unsigned i;
    for (i = 0; i < size; ++i) x[i] = (uint8_t)(v >> (8 * i));
    return codec_put(b, x, size);
}

int codec_get_uint(struct codec_in *in, uint64_t *v, unsigned size)
{
    uint8_t x[8];
    unsigned i;
    int ret = codec_get(in, x, size);
    *v = 0;
    if (ret != 0) return ret;
    for (i = 0; i < size; ++i) *v |= (uint64_t)x[i] << (8 * i);
    return 0;
}

static int get_i32(struct codec_in *in, int32_t *v)
{
    uint64_t u;
    int ret = codec_get_uint(in, &u, 4);
    *v = (int32_t)(uint32_t)u;
    return ret;
}

/* ---- sizes ---- */

static const size_t g_sizes[CODEC_BUILTIN_COUNT] = {
    0, sizeof(bool), sizeof(int8_t), sizeof(uint8_t), sizeof(int16_t), sizeof(uint16_t),
    sizeof(int32_t), sizeof(uint32_t), sizeof(int64_t), sizeof(uint64_t), sizeof(float),
    sizeof(double), sizeof(struct ua_string), sizeof(ua_datetime), sizeof(struct ua_guid),
    sizeof(struct ua_bytestring), sizeof(struct ua_bytestring), sizeof(struct ua_nodeid),
    sizeof(struct ua_expandednodeid), sizeof(ua_statuscode), sizeof(struct ua_qualifiedname),
    sizeof(struct ua_localizedtext), sizeof(struct ua_extensionobject),
    sizeof(struct ua_datavalue), sizeof(struct ua_variant), sizeof(struct ua_diagnosticinfo)};

size_t codec_builtin_size(unsigned code)
{
    return code < CODEC_BUILTIN_COUNT ? g_sizes[code] : 0;
}

bool codec_builtin_fixed(unsigned code)
{
    return (code >= 1 && code <= 11) || code == 13 || code == 14 || code == 19;
}

/* Encoded width of the fixed-size numbers (Boolean to Double, DateTime, StatusCode). */
static unsigned number_width(unsigned code)
{
    static const unsigned w[20] = {0, 1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8, 0, 8, 0, 0, 0, 0, 0, 4};
    return code < 20 ? w[code] : 0;
}

/* ---- texts ---- */

static void text_set(struct ua_string *s, const char *prefix, uint32_t n)
{
    char buf[32];
    int len = snprintf(buf, sizeof buf, "%s%u", prefix, (unsigned)n);
    s->data = malloc((size_t)len + 1);
    memcpy(s->data, buf, (size_t)len + 1);
    s->len = len;
}

static void bytes_set(struct ua_bytestring *b, uint32_t n, int32_t len)
{
    int32_t i;
    ua_bytestring_create(b, len);
    for (i = 0; i < len; ++i) b->data[i] = (uint8_t)(n + (uint32_t)i);
}

static int put_string(struct codec_buf *b, int32_t len, const void *data)
{
    int ret = codec_put_uint(b, (uint32_t)len, 4);
    if (ret == 0 && len > 0) ret = codec_put(b, data, (size_t)len);
    return ret;
}

/* A String or ByteString body: data gets len + 1 bytes (a terminating zero), NULL for -1. */
static int get_string(struct codec_in *in, int32_t *len, uint8_t **data)
{
    int ret = get_i32(in, len);
    *data = NULL;
    if (ret != 0) return ret;
    if (*len < -1) return -7;
    if (*len == -1) return 0;
    if ((size_t)*len > in->left) return -11;
    *data = malloc((size_t)*len + 1);
    if (*data == NULL) return -9;
    memcpy(*data, in->p, (size_t)*len);
    (*data)[*len] = 0;
    in->p += *len;
    in->left -= (size_t)*len;
    return 0;
}

static int cmp_bytes(int32_t la, const void *a, int32_t lb, const void *b)
{
    if (la != lb) return la < lb ? -1 : 1;
    return la > 0 ? memcmp(a, b, (size_t)la) : 0;
}

/* ---- NodeId ---- */

static void nodeid_fill(struct ua_nodeid *id, uint32_t n)
{
    unsigned i;
    id->nsindex = (uint16_t)(n % 3);
    id->type = (uint8_t)(n % 4);
    switch (id->type) {
    case 0:
        id->identifier.numeric = n % 5 == 0 ? n * 100003u : n; /* every compact form */
        break;
    case 1:
        text_set(&id->identifier.string, "n", n);
        break;
    case 2:
        id->identifier.guid.data1 = n;
        id->identifier.guid.data2 = (uint16_t)(n * 3);
        id->identifier.guid.data3 = (uint16_t)(n * 5);
        for (i = 0; i < 8; ++i) id->identifier.guid.data4[i] = (uint8_t)(n + i);
        break;
    default:
        bytes_set(&id->identifier.opaque, n, 3);
        break;
    }
}

static int guid_put(struct codec_buf *b, const struct ua_guid *g)
{
    int ret = codec_put_uint(b, g->data1, 4);
    if (ret == 0) ret = codec_put_uint(b, g->data2, 2);
    if (ret == 0) ret = codec_put_uint(b, g->data3, 2);
    if (ret == 0) ret = codec_put(b, g->data4, 8);
    return ret;
}

static int guid_get(struct codec_in *in, struct ua_guid *g)
{
    uint64_t u;
    int ret = codec_get_uint(in, &u, 4);
    g->data1 = (uint32_t)u;
    if (ret == 0) ret = codec_get_uint(in, &u, 2);
    g->data2 = (uint16_t)u;
    if (ret == 0) ret = codec_get_uint(in, &u, 2);
    g->data3 = (uint16_t)u;
    if (ret == 0) ret = codec_get(in, g->data4, 8);
    return ret;
}

/* The compact numeric forms when they fit; `flags` go into the encoding byte. */
static int nodeid_put(struct codec_buf *b, const struct ua_nodeid *id, uint8_t flags)
{
    int ret;
    switch (id->type) {
    case 0:
        if (id->nsindex == 0 && id->identifier.numeric <= 0xff) {
            ret = codec_put_uint(b, flags, 1);
            return ret ? ret : codec_put_uint(b, id->identifier.numeric, 1);
        }
        if (id->nsindex <= 0xff && id->identifier.numeric <= 0xffff) {
            ret = codec_put_uint(b, 1u | flags, 1);
            if (ret == 0) ret = codec_put_uint(b, id->nsindex, 1);
            return ret ? ret : codec_put_uint(b, id->identifier.numeric, 2);
        }
        ret = codec_put_uint(b, 2u | flags, 1);
        if (ret == 0) ret = codec_put_uint(b, id->nsindex, 2);
        return ret ? ret : codec_put_uint(b, id->identifier.numeric, 4);
    case 1:
        ret = codec_put_uint(b, 3u | flags, 1);
        if (ret == 0) ret = codec_put_uint(b, id->nsindex, 2);
        return ret ? ret : put_string(b, id->identifier.string.len, id->identifier.string.data);
    case 2:
        ret = codec_put_uint(b, 4u | flags, 1);
        if (ret == 0) ret = codec_put_uint(b, id->nsindex, 2);
        return ret ? ret : guid_put(b, &id->identifier.guid);
    default:
        ret = codec_put_uint(b, 5u | flags, 1);
        if (ret == 0) ret = codec_put_uint(b, id->nsindex, 2);
        return ret ? ret : put_string(b, id->identifier.opaque.len, id->identifier.opaque.data);
    }
}

static int nodeid_get(struct codec_in *in, struct ua_nodeid *id, uint8_t *flags)
{
    uint64_t u, ns;
    int ret = codec_get_uint(in, &u, 1);
    if (ret != 0) return ret;
    *flags = (uint8_t)(u & 0xc0);
    switch (u & 0x3f) {
    case 0:
        ret = codec_get_uint(in, &u, 1);
        id->type = 0;
        id->identifier.numeric = (uint32_t)u;
        return ret;
    case 1:
        ret = codec_get_uint(in, &ns, 1);
        if (ret == 0) ret = codec_get_uint(in, &u, 2);
        id->type = 0;
        id->nsindex = (uint16_t)ns;
        id->identifier.numeric = (uint32_t)u;
        return ret;
    case 2:
        ret = codec_get_uint(in, &ns, 2);
        if (ret == 0) ret = codec_get_uint(in, &u, 4);
        id->type = 0;
        id->nsindex = (uint16_t)ns;
        id->identifier.numeric = (uint32_t)u;
        return ret;
    case 3:
    case 5:
        ret = codec_get_uint(in, &ns, 2);
        id->nsindex = (uint16_t)ns;
        id->type = (u & 0x3f) == 3 ? 1 : 3;
        if (ret != 0) return ret;
        if (id->type == 1)
            return get_string(in, &id->identifier.string.len,
                              (uint8_t **)&id->identifier.string.data);
        return get_string(in, &id->identifier.opaque.len, &id->identifier.opaque.data);
    case 4:
        ret = codec_get_uint(in, &ns, 2);
        id->nsindex = (uint16_t)ns;
        id->type = 2;
        return ret ? ret : guid_get(in, &id->identifier.guid);
    default:
        return -8;
    }
}

static int nodeid_cmp(const struct ua_nodeid *a, const struct ua_nodeid *b)
{
    if (a->nsindex != b->nsindex || a->type != b->type) return 1;
    switch (a->type) {
    case 0:
        return a->identifier.numeric != b->identifier.numeric;
    case 1:
        return cmp_bytes(a->identifier.string.len, a->identifier.string.data,
                         b->identifier.string.len, b->identifier.string.data);
    case 2:
        return memcmp(&a->identifier.guid, &b->identifier.guid, sizeof a->identifier.guid) != 0;
    default:
        return cmp_bytes(a->identifier.opaque.len, a->identifier.opaque.data,
                         b->identifier.opaque.len, b->identifier.opaque.data);
    }
}

static void nodeid_clear(struct ua_nodeid *id)
{
    if (id->type == 1) free(id->identifier.string.data);
    if (id->type == 3) free(id->identifier.opaque.data);
    memset(id, 0, sizeof *id);
}

/* ---- Variant: empty, an Int32 scalar or an array of Strings ---- */

static void variant_fill(struct ua_variant *v, uint32_t n)
{
    struct ua_string *s;
    switch (n % 3) {
    case 0:
        break;
    case 1:
        v->type = UA_VT_INT32;
        v->value.i64 = (int32_t)n;
        break;
    default:
        v->type = 12;
        v->flags = 1;
        v->len = 2;
        s = calloc(2, sizeof *s);
        text_set(&s[0], "a", n);
        text_set(&s[1], "b", n);
        v->value.ptr = s;
        break;
    }
}

static int variant_put(struct codec_buf *b, const struct ua_variant *v)
{
    int32_t i;
    int ret;
    const struct ua_string *s = v->value.ptr;
    if (v->type == 0) return codec_put_uint(b, 0, 1);
    if (v->type == UA_VT_INT32 && !v->flags) {
        ret = codec_put_uint(b, UA_VT_INT32, 1);
        return ret ? ret : codec_put_uint(b, (uint32_t)(int32_t)v->value.i64, 4);
    }
    if (v->type != 12 || v->flags != 1) return -8;
    ret = codec_put_uint(b, 12u | 0x80u, 1);
    if (ret == 0) ret = codec_put_uint(b, (uint32_t)v->len, 4);
    for (i = 0; ret == 0 && i < v->len; ++i) ret = put_string(b, s[i].len, s[i].data);
    return ret;
}

static int variant_get(struct codec_in *in, struct ua_variant *v)
{
    uint64_t t;
    int32_t i, x;
    struct ua_string *s;
    int ret = codec_get_uint(in, &t, 1);
    if (ret != 0 || t == 0) return ret;
    if (t == UA_VT_INT32) {
        ret = get_i32(in, &x);
        v->type = UA_VT_INT32;
        v->value.i64 = x;
        return ret;
    }
    if (t != (12u | 0x80u)) return -8;
    ret = get_i32(in, &x);
    if (ret != 0 || x < 0 || (size_t)x > in->left) return ret ? ret : -7;
    v->type = 12;
    v->flags = 1;
    v->len = x;
    s = calloc((size_t)x + 1, sizeof *s);
    v->value.ptr = s;
    for (i = 0; ret == 0 && i < x; ++i) ret = get_string(in, &s[i].len, (uint8_t **)&s[i].data);
    return ret;
}

static int variant_cmp(const struct ua_variant *a, const struct ua_variant *b)
{
    int32_t i;
    const struct ua_string *sa = a->value.ptr, *sb = b->value.ptr;
    if (a->type != b->type || a->flags != b->flags) return 1;
    if (a->type == UA_VT_INT32) return a->value.i64 != b->value.i64;
    if (a->type != 12) return 0;
    if (a->len != b->len) return 1;
    for (i = 0; i < a->len; ++i)
        if (cmp_bytes(sa[i].len, sa[i].data, sb[i].len, sb[i].data)) return 1;
    return 0;
}

static void variant_clear(struct ua_variant *v)
{
    int32_t i;
    struct ua_string *s = v->value.ptr;
    if (v->type == 12 && v->flags == 1) {
        for (i = 0; i < v->len; ++i) free(s[i].data);
        free(s);
    }
    memset(v, 0, sizeof *v);
}

/* ---- the built-in table ---- */

void codec_builtin_fill(unsigned code, void *p, uint32_t n)
{
    switch (code) {
    case 1: *(bool *)p = (n & 1) != 0; break;
    case 2: *(int8_t *)p = (int8_t)n; break;
    case 3: *(uint8_t *)p = (uint8_t)n; break;
    case 4: *(int16_t *)p = (int16_t)(0 - n); break;
    case 5: *(uint16_t *)p = (uint16_t)(n * 7); break;
    case 6: *(int32_t *)p = -(int32_t)n; break;
    case 7: *(uint32_t *)p = n * 100003u; break;
    case 8: *(int64_t *)p = -(int64_t)n * 1000000007; break;
    case 9: *(uint64_t *)p = (uint64_t)n * 0x100000001u; break;
    case 10: *(float *)p = (float)n + 0.5f; break;
    case 11: *(double *)p = (double)n + 0.25; break;
    case 12: text_set(p, "s", n); break;
    case 13: *(ua_datetime *)p = (int64_t)n * 10000000; break;
    case 14: {
        struct ua_nodeid id;
        memset(&id, 0, sizeof id);
        id.type = 2;
        nodeid_fill(&id, n - n % 4 + 2);
        *(struct ua_guid *)p = id.identifier.guid;
        break;
    }
    case 15: bytes_set(p, n, (int32_t)(n % 3) + 1); break;
    case 16: text_set(p, "<x>", n); break;
    case 17: nodeid_fill(p, n); break;
    case 18: {
        struct ua_expandednodeid *e = p;
        nodeid_fill(&e->id, n);
        if (n % 2) text_set(&e->nsuri, "urn:x", n);
        if (n % 3 == 0) e->serverindex = n;
        break;
    }
    case 19: *(ua_statuscode *)p = n << 16; break;
    case 20: {
        struct ua_qualifiedname *q = p;
        q->nsindex = (uint16_t)(n % 5);
        text_set(&q->name, "q", n);
        break;
    }
    case 21: {
        struct ua_localizedtext *t = p;
        if (n % 2) text_set(&t->locale, "l", n);
        if (n % 3) text_set(&t->text, "t", n);
        break;
    }
    case 22: {
        /* a type no table knows: the body stays encoded */
        struct ua_extensionobject *e = p;
        e->type_id.identifier.numeric = 1000000u + n;
        if (n % 2) {
            e->encoding = 1;
            bytes_set(&e->body.binary, n, 3);
        }
        break;
    }
    case 23: {
        struct ua_datavalue *d = p;
        d->mask = n % 2 ? 0x17 : 0x29;
        variant_fill(&d->value, n + 1);
        d->status = n << 16;
        d->source_timestamp = (int64_t)n * 3;
        d->server_timestamp = (int64_t)n * 5;
        d->source_picoseconds = (uint16_t)n;
        d->server_picoseconds = (uint16_t)(n + 1);
        break;
    }
    case 24: variant_fill(p, n); break;
    case 25: {
        struct ua_diagnosticinfo *d = p;
        d->mask = n % 2 ? 0x3f : 0x31;
        d->symbolic_id = (int32_t)n;
        d->namespace_uri = (int32_t)n + 1;
        d->locale = (int32_t)n + 2;
        d->localized_text = (int32_t)n + 3;
        text_set(&d->additional_info, "d", n);
        d->inner_status_code = n << 16;
        break;
    }
    default: break;
    }
}

int codec_builtin_encode(unsigned code, const void *p, struct codec_buf *b)
{
    uint64_t u = 0;
    int ret;
    unsigned w = number_width(code);
    if (w != 0) {
        if (code == 10) {
            uint32_t x;
            memcpy(&x, p, 4);
            u = x;
        } else if (code == 1) {
            u = *(const bool *)p ? 1 : 0;
        } else {
            memcpy(&u, p, w); /* little-endian host */
        }
        return codec_put_uint(b, u, w);
    }
    switch (code) {
    case 12: {
        const struct ua_string *s = p;
        return put_string(b, s->len, s->data);
    }
    case 14: return guid_put(b, p);
    case 15:
    case 16: {
        const struct ua_bytestring *s = p;
        return put_string(b, s->len, s->data);
    }
    case 17: return nodeid_put(b, p, 0);
    case 18: {
        const struct ua_expandednodeid *e = p;
        uint8_t flags = (uint8_t)((e->nsuri.data ? 0x80 : 0) | (e->serverindex ? 0x40 : 0));
        ret = nodeid_put(b, &e->id, flags);
        if (ret == 0 && e->nsuri.data) ret = put_string(b, e->nsuri.len, e->nsuri.data);
        if (ret == 0 && e->serverindex) ret = codec_put_uint(b, e->serverindex, 4);
        return ret;
    }
    case 20: {
        const struct ua_qualifiedname *q = p;
        ret = codec_put_uint(b, q->nsindex, 2);
        return ret ? ret : put_string(b, q->name.len, q->name.data);
    }
    case 21: {
        const struct ua_localizedtext *t = p;
        ret = codec_put_uint(b, (t->locale.data ? 1u : 0u) | (t->text.data ? 2u : 0u), 1);
        if (ret == 0 && t->locale.data) ret = put_string(b, t->locale.len, t->locale.data);
        if (ret == 0 && t->text.data) ret = put_string(b, t->text.len, t->text.data);
        return ret;
    }
    case 22: {
        const struct ua_extensionobject *e = p;
        ret = nodeid_put(b, &e->type_id, 0);
        if (ret == 0) ret = codec_put_uint(b, e->encoding, 1);
        if (ret == 0 && e->encoding == 1)
            ret = put_string(b, e->body.binary.len, e->body.binary.data);
        return ret;
    }
    case 23: {
        const struct ua_datavalue *d = p;
        ret = codec_put_uint(b, d->mask, 1);
        if (ret == 0 && (d->mask & 0x01)) ret = variant_put(b, &d->value);
        if (ret == 0 && (d->mask & 0x02)) ret = codec_put_uint(b, d->status, 4);
        if (ret == 0 && (d->mask & 0x04)) ret = codec_put_uint(b, (uint64_t)d->source_timestamp, 8);
        if (ret == 0 && (d->mask & 0x10)) ret = codec_put_uint(b, d->source_picoseconds, 2);
        if (ret == 0 && (d->mask & 0x08)) ret = codec_put_uint(b, (uint64_t)d->server_timestamp, 8);
        if (ret == 0 && (d->mask & 0x20)) ret = codec_put_uint(b, d->server_picoseconds, 2);
        return ret;
    }
    case 24: return variant_put(b, p);
    case 25: {
        const struct ua_diagnosticinfo *d = p;
        ret = codec_put_uint(b, d->mask, 1);
        if (ret == 0 && (d->mask & 0x01)) ret = codec_put_uint(b, (uint32_t)d->symbolic_id, 4);
        if (ret == 0 && (d->mask & 0x02)) ret = codec_put_uint(b, (uint32_t)d->namespace_uri, 4);
        if (ret == 0 && (d->mask & 0x08)) ret = codec_put_uint(b, (uint32_t)d->locale, 4);
        if (ret == 0 && (d->mask & 0x04)) ret = codec_put_uint(b, (uint32_t)d->localized_text, 4);
        if (ret == 0 && (d->mask & 0x10))
            ret = put_string(b, d->additional_info.len, d->additional_info.data);
        if (ret == 0 && (d->mask & 0x20)) ret = codec_put_uint(b, d->inner_status_code, 4);
        return ret;
    }
    default: return -22;
    }
}

int codec_builtin_decode(unsigned code, void *p, struct codec_in *in)
{
    uint64_t u = 0;
    int ret;
    unsigned w = number_width(code);
    if (w != 0) {
        ret = codec_get_uint(in, &u, w);
        if (code == 1) *(bool *)p = u != 0;
        else if (code == 10) {
            uint32_t x = (uint32_t)u;
            memcpy(p, &x, 4);
        } else memcpy(p, &u, w);
        return ret;
    }
    switch (code) {
    case 12: {
        struct ua_string *s = p;
        return get_string(in, &s->len, (uint8_t **)&s->data);
    }
    case 14: return guid_get(in, p);
    case 15:
    case 16: {
        struct ua_bytestring *s = p;
        return get_string(in, &s->len, &s->data);
    }
    case 17: {
        uint8_t flags;
        ret = nodeid_get(in, p, &flags);
        return ret ? ret : (flags ? -8 : 0);
    }
    case 18: {
        struct ua_expandednodeid *e = p;
        uint8_t flags;
        ret = nodeid_get(in, &e->id, &flags);
        if (ret == 0 && (flags & 0x80))
            ret = get_string(in, &e->nsuri.len, (uint8_t **)&e->nsuri.data);
        if (ret == 0 && (flags & 0x40)) {
            ret = codec_get_uint(in, &u, 4);
            e->serverindex = (uint32_t)u;
        }
        return ret;
    }
    case 20: {
        struct ua_qualifiedname *q = p;
        ret = codec_get_uint(in, &u, 2);
        q->nsindex = (uint16_t)u;
        return ret ? ret : get_string(in, &q->name.len, (uint8_t **)&q->name.data);
    }
    case 21: {
        struct ua_localizedtext *t = p;
        ret = codec_get_uint(in, &u, 1);
        if (ret == 0 && (u & ~3u)) ret = -8;
        if (ret == 0 && (u & 1)) ret = get_string(in, &t->locale.len, (uint8_t **)&t->locale.data);
        if (ret == 0 && (u & 2)) ret = get_string(in, &t->text.len, (uint8_t **)&t->text.data);
        return ret;
    }
    case 22: {
        struct ua_extensionobject *e = p;
        uint8_t flags;
        ret = nodeid_get(in, &e->type_id, &flags);
        if (ret == 0) ret = codec_get_uint(in, &u, 1);
        if (ret == 0 && u > 1) ret = -8;
        e->encoding = (uint8_t)u;
        if (ret == 0 && u == 1) ret = get_string(in, &e->body.binary.len, &e->body.binary.data);
        return ret;
    }
    case 23: {
        struct ua_datavalue *d = p;
        ret = codec_get_uint(in, &u, 1);
        d->mask = (uint8_t)u;
        if (ret == 0 && (d->mask & 0x01)) ret = variant_get(in, &d->value);
        if (ret == 0 && (d->mask & 0x02)) ret = codec_builtin_decode(19, &d->status, in);
        if (ret == 0 && (d->mask & 0x04)) ret = codec_builtin_decode(13, &d->source_timestamp, in);
        if (ret == 0 && (d->mask & 0x10)) ret = codec_builtin_decode(5, &d->source_picoseconds, in);
        if (ret == 0 && (d->mask & 0x08)) ret = codec_builtin_decode(13, &d->server_timestamp, in);
        if (ret == 0 && (d->mask & 0x20)) ret = codec_builtin_decode(5, &d->server_picoseconds, in);
        return ret;
    }
    case 24: return variant_get(in, p);
    case 25: {
        struct ua_diagnosticinfo *d = p;
        ret = codec_get_uint(in, &u, 1);
        d->mask = (uint8_t)u;
        if (ret == 0 && (d->mask & 0x40)) ret = -8; /* never made by the recipe */
        if (ret == 0 && (d->mask & 0x01)) ret = codec_builtin_decode(6, &d->symbolic_id, in);
        if (ret == 0 && (d->mask & 0x02)) ret = codec_builtin_decode(6, &d->namespace_uri, in);
        if (ret == 0 && (d->mask & 0x08)) ret = codec_builtin_decode(6, &d->locale, in);
        if (ret == 0 && (d->mask & 0x04)) ret = codec_builtin_decode(6, &d->localized_text, in);
        if (ret == 0 && (d->mask & 0x10))
            ret = get_string(in, &d->additional_info.len, (uint8_t **)&d->additional_info.data);
        if (ret == 0 && (d->mask & 0x20)) ret = codec_builtin_decode(19, &d->inner_status_code, in);
        return ret;
    }
    default: return -22;
    }
}

int codec_builtin_compare(unsigned code, const void *a, const void *b)
{
    if (number_width(code) != 0 || code == 14) {
        if (code == 1) return *(const bool *)a != *(const bool *)b;
        return memcmp(a, b, code == 14 ? sizeof(struct ua_guid) : number_width(code)) != 0;
    }
    switch (code) {
    case 12: {
        const struct ua_string *x = a, *y = b;
        return cmp_bytes(x->len, x->data, y->len, y->data);
    }
    case 15:
    case 16: {
        const struct ua_bytestring *x = a, *y = b;
        return cmp_bytes(x->len, x->data, y->len, y->data);
    }
    case 17: return nodeid_cmp(a, b);
    case 18: {
        const struct ua_expandednodeid *x = a, *y = b;
        return nodeid_cmp(&x->id, &y->id) || x->serverindex != y->serverindex ||
               codec_builtin_compare(12, &x->nsuri, &y->nsuri);
    }
    case 20: {
        const struct ua_qualifiedname *x = a, *y = b;
        return x->nsindex != y->nsindex || codec_builtin_compare(12, &x->name, &y->name);
    }
    case 21: {
        const struct ua_localizedtext *x = a, *y = b;
        return codec_builtin_compare(12, &x->locale, &y->locale) ||
               codec_builtin_compare(12, &x->text, &y->text);
    }
    case 22: {
        const struct ua_extensionobject *x = a, *y = b;
        return nodeid_cmp(&x->type_id, &y->type_id) || x->encoding != y->encoding ||
               (x->encoding == 1 && codec_builtin_compare(15, &x->body.binary, &y->body.binary));
    }
    case 23: {
        const struct ua_datavalue *x = a, *y = b;
        if (x->mask != y->mask) return 1;
        return ((x->mask & 0x01) && variant_cmp(&x->value, &y->value)) ||
               ((x->mask & 0x02) && x->status != y->status) ||
               ((x->mask & 0x04) && x->source_timestamp != y->source_timestamp) ||
               ((x->mask & 0x08) && x->server_timestamp != y->server_timestamp) ||
               ((x->mask & 0x10) && x->source_picoseconds != y->source_picoseconds) ||
               ((x->mask & 0x20) && x->server_picoseconds != y->server_picoseconds);
    }
    case 24: return variant_cmp(a, b);
    case 25: {
        const struct ua_diagnosticinfo *x = a, *y = b;
        if (x->mask != y->mask) return 1;
        return ((x->mask & 0x01) && x->symbolic_id != y->symbolic_id) ||
               ((x->mask & 0x02) && x->namespace_uri != y->namespace_uri) ||
               ((x->mask & 0x08) && x->locale != y->locale) ||
               ((x->mask & 0x04) && x->localized_text != y->localized_text) ||
               ((x->mask & 0x10) &&
                codec_builtin_compare(12, &x->additional_info, &y->additional_info)) ||
               ((x->mask & 0x20) && x->inner_status_code != y->inner_status_code);
    }
    default: return 1;
    }
}

void codec_builtin_clear(unsigned code, void *p)
{
    switch (code) {
    case 12:
    case 15:
    case 16: {
        struct ua_bytestring *s = p; /* the same layout as struct ua_string */
        free(s->data);
        break;
    }
    case 17: nodeid_clear(p); break;
    case 18: {
        struct ua_expandednodeid *e = p;
        nodeid_clear(&e->id);
        free(e->nsuri.data);
        break;
    }
    case 20: free(((struct ua_qualifiedname *)p)->name.data); break;
    case 21: {
        struct ua_localizedtext *t = p;
        free(t->locale.data);
        free(t->text.data);
        break;
    }
    case 22: {
        struct ua_extensionobject *e = p;
        nodeid_clear(&e->type_id);
        if (e->encoding == 1) free(e->body.binary.data);
        break;
    }
    case 23: variant_clear(&((struct ua_datavalue *)p)->value); break;
    case 24: variant_clear(p); break;
    case 25: free(((struct ua_diagnosticinfo *)p)->additional_info.data); break;
    default: break;
    }
    if (code < CODEC_BUILTIN_COUNT) memset(p, 0, g_sizes[code]);
}
