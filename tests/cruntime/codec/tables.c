/* The type tables that generated code registers, and the walker over their field rows:
 * fill by the recipe, encode, decode, compare, copy, clear, and the start-up checks.
 *
 * A row's type value names a table in its high half and a type in its low half. A row
 * flagged UA_DICT_NS0 is looked up in namespace 0's table (0); any other row in the table
 * its high half names, which is the structure's own table or, for a member whose type
 * another namespace defines, that namespace's table. The type index selects, by the row's
 * implementation kind, a built-in type (its number), a row of the integer-type table, or a
 * structure (index minus the number of integer types). */
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "builtins.h"

struct codec_table g_codec_tables[CODEC_MAX_TABLES];
unsigned g_codec_num_tables;
unsigned g_codec_failures;

void codec_fail(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    printf("FAIL ");
    vprintf(fmt, ap);
    va_end(ap);
    ++g_codec_failures;
}

int ua_type_table_register_const_table(const char *uri, uint16_t nsidx, uint16_t local_index,
                                       const struct ua_dict_structure *types, uint16_t num_types,
                                       const struct ua_dict_inttype *inttypes,
                                       uint16_t num_inttypes, int sorting,
                                       const struct ua_type_table_idx_table *idx_table)
{
    struct codec_table *t;
    if (g_codec_num_tables == CODEC_MAX_TABLES || codec_table_by_local(local_index)) return -1;
    t = &g_codec_tables[g_codec_num_tables++];
    t->uri = uri;
    t->nsidx = nsidx;
    t->local_index = local_index;
    t->types = types;
    t->num_types = num_types;
    t->inttypes = inttypes;
    t->num_inttypes = num_inttypes;
    t->sorting = sorting;
    t->idx_table = idx_table;
    return 0;
}

const struct codec_table *codec_table_by_local(uint32_t local_index)
{
    unsigned i;
    for (i = 0; i < g_codec_num_tables; ++i)
        if (g_codec_tables[i].local_index == local_index) return &g_codec_tables[i];
    return NULL;
}

/* The generated array member. */
struct codec_array {
    void *array;
    int32_t len;
};

/* A row's type, resolved. */
struct field_type {
    unsigned impl;
    bool array;
    unsigned code;                         /* built-in type number, or 0 */
    const struct codec_table *table;       /* the table of a nested structure */
    const struct ua_dict_structure *st;    /* nested structure, or NULL */
    size_t elem_size;
};

static int resolve(const struct ua_dict_field *f, struct field_type *t)
{
    unsigned rank = f->flags & UA_DICT_RANK_MASK;
    uint32_t idx = f->type & 0xffffu;
    const struct codec_table *table =
        codec_table_by_local((f->flags & UA_DICT_NS0) ? 0 : f->type >> UA_TYPE_TABLE_LOCAL_TYPE_BITS);
    memset(t, 0, sizeof *t);
    t->impl = f->flags & UA_DICT_IMPL_MASK;
    if (t->impl == 0 || t->impl == 7) return -29;
    if (rank == 0x30) return -10;
    if (rank == 0) return -29;
    t->array = rank == UA_DICT_RANK_ARRAY;
    switch (t->impl) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_FUNC_FIXED:
        if (idx == 0 || idx >= CODEC_BUILTIN_COUNT) return -22;
        t->code = idx;
        t->elem_size = codec_builtin_size(idx);
        return 0;
    case UA_DICT_IMPL_ENUM_FIXED:
    case UA_DICT_IMPL_OSET_FIXED:
        if (table == NULL || idx >= table->num_inttypes) return -22;
        t->code = table->inttypes[idx].base_type;
        t->elem_size = table->inttypes[idx].size;
        if (t->code == 0 || t->code >= CODEC_BUILTIN_COUNT || !codec_builtin_fixed(t->code) ||
            codec_builtin_size(t->code) != t->elem_size)
            return -22;
        return 0;
    default:
        if (table == NULL || idx < table->num_inttypes || idx - table->num_inttypes >= table->num_types)
            return -22;
        t->table = table;
        t->st = &table->types[idx - table->num_inttypes];
        t->elem_size = t->st->size;
        return 0;
    }
}

static void *member(const void *obj, const struct ua_dict_field *f)
{
    return (uint8_t *)obj + f->offset;
}

/* ---- fill ---- */

/* The recipe. Value `variant` of a structure: arrays hold 0, 1 or 3 elements (variant % 3),
 * optional fields are all present, none, the even or the odd ones (variant % 4), a union
 * takes arm variant % rows (0 is no arm). Nested structures take the same variant, one level
 * deeper; from depth 3 on arrays are empty, optional fields absent and unions empty, so that
 * types that contain themselves end. Built-in values are numbered in walk order from
 * variant * 1000 + 1. */
static uint32_t g_counter;
#define MAX_FILL_DEPTH 3

static void fill_structure(const struct ua_dict_structure *st, void *obj, unsigned variant,
                           unsigned depth);

static void fill_value(const struct field_type *t, void *p, unsigned variant, unsigned depth)
{
    if (t->st != NULL) {
        fill_structure(t->st, p, variant, depth + 1);
    } else if (t->impl == UA_DICT_IMPL_ENUM_FIXED || t->impl == UA_DICT_IMPL_OSET_FIXED) {
        uint64_t v = g_counter++ % 7;
        memcpy(p, &v, t->elem_size);
    } else {
        codec_builtin_fill(t->code, p, g_counter++);
    }
}

static void fill_field(const struct ua_dict_field *f, void *p, unsigned variant, unsigned depth)
{
    static const int32_t lengths[3] = {0, 1, 3};
    struct field_type t;
    int32_t i;
    if (resolve(f, &t) != 0) return; /* reported by the validation */
    if (t.array) {
        struct codec_array *a = p;
        a->len = depth >= MAX_FILL_DEPTH ? 0 : lengths[variant % 3];
        a->array = a->len ? calloc((size_t)a->len, t.elem_size) : NULL;
        for (i = 0; i < a->len; ++i)
            fill_value(&t, (uint8_t *)a->array + (size_t)i * t.elem_size, variant, depth);
    } else {
        fill_value(&t, p, variant, depth);
    }
}

static uint32_t mask_pattern(unsigned variant, unsigned depth)
{
    static const uint32_t patterns[4] = {0xffffffffu, 0, 0x55555555u, 0xaaaaaaaau};
    return depth >= MAX_FILL_DEPTH ? 0 : patterns[variant % 4];
}

static void fill_structure(const struct ua_dict_structure *st, void *obj, unsigned variant,
                           unsigned depth)
{
    const struct ua_dict_field *rows = st->fields;
    uint16_t i;
    if (st->num_fields == 0) return;
    if (rows[0].flags & UA_DICT_STRUCT_UNION) {
        uint32_t arm = depth >= MAX_FILL_DEPTH ? 0 : variant % st->num_fields;
        memcpy(member(obj, &rows[0]), &arm, 4);
        if (arm != 0) fill_field(&rows[arm], member(obj, &rows[arm]), variant, depth);
    } else if (rows[0].flags & UA_DICT_STRUCT_OPTIONAL) {
        uint32_t pattern = mask_pattern(variant, depth), mask = 0, bit = 0;
        for (i = 1; i < st->num_fields; ++i) {
            if (!(rows[i].flags & UA_DICT_STRUCT_OPTIONAL)) {
                fill_field(&rows[i], member(obj, &rows[i]), variant, depth);
            } else {
                if (bit < 32 && (pattern & (1u << bit))) {
                    mask |= 1u << bit;
                    fill_field(&rows[i], member(obj, &rows[i]), variant, depth);
                }
                ++bit;
            }
        }
        memcpy(member(obj, &rows[0]), &mask, 4);
    } else {
        for (i = 0; i < st->num_fields; ++i)
            fill_field(&rows[i], member(obj, &rows[i]), variant, depth);
    }
}

unsigned codec_variants_structure(const struct ua_dict_structure *st)
{
    if (st->num_fields > 4 && (st->fields[0].flags & UA_DICT_STRUCT_UNION)) return st->num_fields;
    return 4;
}

void codec_fill_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                          void *obj, unsigned variant)
{
    (void)t;
    g_counter = variant * 1000u + 1u;
    fill_structure(st, obj, variant, 0);
}

uint64_t codec_inttype_value(const struct ua_dict_inttype *it, unsigned variant)
{
    uint64_t v = variant == 0 ? 1 : UINT64_C(0xa5a5a5a5a5a5a5a5);
    if (it->size < 8) v &= (UINT64_C(1) << (8 * it->size)) - 1;
    return v;
}

int codec_encode_inttype(const struct ua_dict_inttype *it, uint64_t value, struct codec_buf *out)
{
    return codec_put_uint(out, value, it->size);
}

int codec_decode_inttype(const struct ua_dict_inttype *it, struct codec_in *in, uint64_t *value)
{
    return codec_get_uint(in, value, it->size);
}

/* ---- encode and decode ---- */

static int encode_structure(const struct ua_dict_structure *st, const void *obj,
                            struct codec_buf *out, unsigned depth);
static int decode_structure(const struct ua_dict_structure *st, void *obj, struct codec_in *in,
                            unsigned depth);

static int encode_field(const struct ua_dict_field *f, const void *obj, struct codec_buf *out,
                        unsigned depth)
{
    struct field_type t;
    int32_t i, n = 1;
    const uint8_t *p = member(obj, f);
    int ret = resolve(f, &t);
    if (ret != 0) return ret;
    if (t.array) {
        const struct codec_array *a = (const void *)p;
        n = a->len;
        p = a->array;
        ret = codec_put_uint(out, (uint32_t)n, 4);
    }
    for (i = 0; ret == 0 && i < n; ++i, p += t.elem_size) {
        if (t.st != NULL) ret = encode_structure(t.st, p, out, depth + 1);
        else if (t.impl == UA_DICT_IMPL_ENUM_FIXED || t.impl == UA_DICT_IMPL_OSET_FIXED) {
            uint64_t v = 0;
            memcpy(&v, p, t.elem_size);
            ret = codec_put_uint(out, v, (unsigned)t.elem_size);
        } else ret = codec_builtin_encode(t.code, p, out);
    }
    return ret;
}

static int decode_field(const struct ua_dict_field *f, void *obj, struct codec_in *in,
                        unsigned depth)
{
    struct field_type t;
    int32_t i, n = 1;
    uint8_t *p = member(obj, f);
    int ret = resolve(f, &t);
    if (ret != 0) return ret;
    if (t.array) {
        struct codec_array *a = (void *)p;
        uint64_t u;
        ret = codec_get_uint(in, &u, 4);
        n = (int32_t)(uint32_t)u;
        if (ret != 0) return ret;
        if (n < -1 || (n > 0 && (size_t)n > in->left)) return -7;
        if (n < 0) n = 0;
        a->len = n;
        a->array = n ? calloc((size_t)n, t.elem_size) : NULL;
        p = a->array;
    }
    for (i = 0; ret == 0 && i < n; ++i, p += t.elem_size) {
        if (t.st != NULL) ret = decode_structure(t.st, p, in, depth + 1);
        else if (t.impl == UA_DICT_IMPL_ENUM_FIXED || t.impl == UA_DICT_IMPL_OSET_FIXED) {
            uint64_t v;
            ret = codec_get_uint(in, &v, (unsigned)t.elem_size);
            memcpy(p, &v, t.elem_size);
        } else ret = codec_builtin_decode(t.code, p, in);
    }
    return ret;
}

static int encode_structure(const struct ua_dict_structure *st, const void *obj,
                            struct codec_buf *out, unsigned depth)
{
    const struct ua_dict_field *rows = st->fields;
    uint32_t word = 0, bit = 0;
    uint16_t i;
    int ret = 0;
    if (depth > 10) return -19;
    if (st->num_fields == 0) return 0;
    if (rows[0].flags & (UA_DICT_STRUCT_UNION | UA_DICT_STRUCT_OPTIONAL))
        memcpy(&word, member(obj, &rows[0]), 4);
    if (rows[0].flags & UA_DICT_STRUCT_UNION) {
        if (word >= st->num_fields) return -8;
        ret = codec_put_uint(out, word, 4);
        if (ret == 0 && word != 0) ret = encode_field(&rows[word], obj, out, depth);
    } else if (rows[0].flags & UA_DICT_STRUCT_OPTIONAL) {
        ret = codec_put_uint(out, word, 4);
        for (i = 1; ret == 0 && i < st->num_fields; ++i) {
            if (!(rows[i].flags & UA_DICT_STRUCT_OPTIONAL)) {
                ret = encode_field(&rows[i], obj, out, depth);
            } else {
                if (bit < 32 && (word & (1u << bit))) ret = encode_field(&rows[i], obj, out, depth);
                ++bit;
            }
        }
    } else {
        for (i = 0; ret == 0 && i < st->num_fields; ++i) ret = encode_field(&rows[i], obj, out, depth);
    }
    return ret;
}

static int decode_structure(const struct ua_dict_structure *st, void *obj, struct codec_in *in,
                            unsigned depth)
{
    const struct ua_dict_field *rows = st->fields;
    uint32_t word = 0, bit = 0;
    uint64_t u;
    uint16_t i;
    int ret = 0;
    if (depth > 10) return -19;
    if (st->num_fields == 0) return 0;
    if (rows[0].flags & (UA_DICT_STRUCT_UNION | UA_DICT_STRUCT_OPTIONAL)) {
        ret = codec_get_uint(in, &u, 4);
        word = (uint32_t)u;
        if (ret != 0) return ret;
        memcpy(member(obj, &rows[0]), &word, 4);
    }
    if (rows[0].flags & UA_DICT_STRUCT_UNION) {
        if (word >= st->num_fields) return -8;
        if (word != 0) ret = decode_field(&rows[word], obj, in, depth);
    } else if (rows[0].flags & UA_DICT_STRUCT_OPTIONAL) {
        for (i = 1; ret == 0 && i < st->num_fields; ++i) {
            if (!(rows[i].flags & UA_DICT_STRUCT_OPTIONAL)) {
                ret = decode_field(&rows[i], obj, in, depth);
            } else {
                if (bit < 32 && (word & (1u << bit))) ret = decode_field(&rows[i], obj, in, depth);
                ++bit;
            }
        }
    } else {
        for (i = 0; ret == 0 && i < st->num_fields; ++i) ret = decode_field(&rows[i], obj, in, depth);
    }
    return ret;
}

int codec_encode_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           const void *obj, struct codec_buf *out)
{
    (void)t;
    return encode_structure(st, obj, out, 0);
}

int codec_decode_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           void *obj, struct codec_in *in)
{
    (void)t;
    return decode_structure(st, obj, in, 0);
}

/* ---- compare and clear: every member that the mask or switch says is present ---- */

/* Whether row i holds a value: always, or by the mask bit or switch. */
static bool row_present(const struct ua_dict_structure *st, const void *obj, uint16_t i)
{
    const struct ua_dict_field *rows = st->fields;
    uint32_t word, bit = 0;
    uint16_t k;
    if (i == 0 || !(rows[0].flags & (UA_DICT_STRUCT_UNION | UA_DICT_STRUCT_OPTIONAL))) return true;
    memcpy(&word, member(obj, &rows[0]), 4);
    if (rows[0].flags & UA_DICT_STRUCT_UNION) return word == i;
    if (!(rows[i].flags & UA_DICT_STRUCT_OPTIONAL)) return true;
    for (k = 1; k < i; ++k) bit += (rows[k].flags & UA_DICT_STRUCT_OPTIONAL) ? 1 : 0;
    return bit < 32 && (word & (1u << bit)) != 0;
}

static int compare_structure(const struct ua_dict_structure *st, const void *a, const void *b);

static int compare_value(const struct field_type *t, const void *a, const void *b)
{
    if (t->st != NULL) return compare_structure(t->st, a, b);
    if (t->impl == UA_DICT_IMPL_ENUM_FIXED || t->impl == UA_DICT_IMPL_OSET_FIXED)
        return memcmp(a, b, t->elem_size) != 0;
    return codec_builtin_compare(t->code, a, b);
}

static int compare_structure(const struct ua_dict_structure *st, const void *a, const void *b)
{
    uint16_t i;
    for (i = 0; i < st->num_fields; ++i) {
        const struct ua_dict_field *f = &st->fields[i];
        struct field_type t;
        bool pa = row_present(st, a, i), pb = row_present(st, b, i);
        if (pa != pb) return 1;
        if (!pa) continue;
        if (resolve(f, &t) != 0) return 1;
        if (t.array) {
            const struct codec_array *x = member(a, f), *y = member(b, f);
            int32_t k;
            if (x->len != y->len) return 1;
            for (k = 0; k < x->len; ++k)
                if (compare_value(&t, (uint8_t *)x->array + (size_t)k * t.elem_size,
                                  (uint8_t *)y->array + (size_t)k * t.elem_size))
                    return 1;
        } else if (compare_value(&t, member(a, f), member(b, f))) {
            return 1;
        }
    }
    return 0;
}

int codec_compare_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                            const void *a, const void *b)
{
    (void)t;
    return compare_structure(st, a, b);
}

static void clear_structure(const struct ua_dict_structure *st, void *obj);

static void clear_value(const struct field_type *t, void *p)
{
    if (t->st != NULL) clear_structure(t->st, p);
    else if (t->code != 0 && t->impl != UA_DICT_IMPL_ENUM_FIXED && t->impl != UA_DICT_IMPL_OSET_FIXED)
        codec_builtin_clear(t->code, p);
}

static void clear_structure(const struct ua_dict_structure *st, void *obj)
{
    uint16_t i;
    for (i = st->num_fields; i-- > 0;) {
        const struct ua_dict_field *f = &st->fields[i];
        struct field_type t;
        if (!row_present(st, obj, i) || resolve(f, &t) != 0) continue;
        if (t.array) {
            struct codec_array *a = member(obj, f);
            int32_t k;
            for (k = 0; k < a->len; ++k) clear_value(&t, (uint8_t *)a->array + (size_t)k * t.elem_size);
            free(a->array);
            a->array = NULL;
            a->len = 0;
        } else if (i != 0 || !(f->flags & (UA_DICT_STRUCT_UNION | UA_DICT_STRUCT_OPTIONAL))) {
            clear_value(&t, member(obj, f));
        }
    }
    if (st->num_fields && (st->fields[0].flags & (UA_DICT_STRUCT_UNION | UA_DICT_STRUCT_OPTIONAL)))
        memset(member(obj, &st->fields[0]), 0, 4);
}

void codec_clear_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           void *obj)
{
    (void)t;
    clear_structure(st, obj);
}

/* ---- the runtime's table operations that generated inline functions call ---- */

static const struct ua_dict_structure *structure_of(uint32_t type)
{
    const struct codec_table *t = codec_table_by_local(type >> UA_TYPE_TABLE_LOCAL_TYPE_BITS);
    uint32_t idx = type & 0xffffu;
    if (t == NULL || idx < t->num_inttypes || idx - t->num_inttypes >= t->num_types) return NULL;
    return &t->types[idx - t->num_inttypes];
}

void ua_type_table_clear_structure(uint32_t type, void *obj)
{
    const struct ua_dict_structure *st = structure_of(type);
    if (st == NULL) {
        codec_fail("clear of unknown type value %#x\n", (unsigned)type);
        return;
    }
    clear_structure(st, obj);
}

int ua_type_table_compare_structure(uint32_t type, const void *a, const void *b)
{
    const struct ua_dict_structure *st = structure_of(type);
    return st == NULL ? -22 : compare_structure(st, a, b);
}

/* Copies by encoding and decoding: the codec's own round trip. */
int ua_type_table_copy_structure(uint32_t type, void *dst, const void *src)
{
    const struct ua_dict_structure *st = structure_of(type);
    struct codec_buf b = {NULL, 0, 0};
    struct codec_in in;
    int ret;
    if (st == NULL) return -22;
    ret = encode_structure(st, src, &b, 0);
    if (ret == 0) {
        in.p = b.data;
        in.left = b.len;
        memset(dst, 0, st->size);
        ret = decode_structure(st, dst, &in, 0);
    }
    codec_buf_free(&b);
    return ret;
}

/* ---- for the generated helper calls ---- */

void codec_fill_type(uint32_t type, void *obj, unsigned variant)
{
    const struct ua_dict_structure *st = structure_of(type);
    if (st == NULL) {
        codec_fail("fill of unknown type value %#x\n", (unsigned)type);
        return;
    }
    g_counter = variant * 1000u + 1u;
    fill_structure(st, obj, variant, 0);
}

void codec_fill_arm(uint32_t type, unsigned arm, void *member, unsigned variant)
{
    const struct ua_dict_structure *st = structure_of(type);
    if (st == NULL || arm >= st->num_fields) {
        codec_fail("union arm %u of type value %#x does not exist\n", arm, (unsigned)type);
        return;
    }
    g_counter = variant * 1000u + 1u;
    fill_field(&st->fields[arm], member, variant, 0);
}

int codec_encode_type(uint32_t type, const void *obj, struct codec_buf *out)
{
    const struct ua_dict_structure *st = structure_of(type);
    return st == NULL ? -22 : encode_structure(st, obj, out, 0);
}
