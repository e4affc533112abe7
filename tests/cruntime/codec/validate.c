/* The checks a runtime makes of every registered table when it starts: search mode and
 * sort orders, integer types against their base types, and each structure's rows (flags,
 * type values, the namespace-0 bit, fixed sizes) and layout, nested structures included.
 *
 * The layout check: the rows of a structure lie in the order of their offsets without
 * overlapping (a union's arms all at the offset after its switch), the mask or switch is the
 * first member, and the structure ends after its last member with less tail padding than
 * the widest alignment (8). An array member is the generated { pointer, length } pair.
 * Every structure of every table is checked once; a nested structure's own rows are
 * checked where it is a table's row, and only whether it is fixed where it is nested. */
#include <string.h>

#include "builtins.h"

#define MAX_DEPTH 10

static unsigned g_errors;
static unsigned g_warnings;
static unsigned g_array_kinds;
static unsigned g_empty;

static void error(const char *table, const char *what, const char *name, unsigned a, unsigned b)
{
    printf("FAIL validation of %s: %s %s (%u, %u)\n", table, name, what, a, b);
    ++g_errors;
}

struct codec_array_layout {
    void *array;
    int32_t len;
};

/* Size of the member a row describes and whether its type is fixed; 0 for an unknown type. */
static size_t row_size(const struct ua_dict_field *f, bool *fixed,
                       const struct ua_dict_structure **nested);

static bool structure_fixed(const struct ua_dict_structure *st, unsigned depth)
{
    uint16_t i;
    if (depth > MAX_DEPTH) return false;
    for (i = 0; i < st->num_fields; ++i) {
        bool fixed;
        const struct ua_dict_structure *nested = NULL;
        if ((st->fields[i].flags & UA_DICT_RANK_MASK) != UA_DICT_RANK_SCALAR) return false;
        if (row_size(&st->fields[i], &fixed, &nested) == 0 || !fixed) return false;
        if (nested && !structure_fixed(nested, depth + 1)) return false;
    }
    return st->num_fields > 0 && !(st->fields[0].flags & UA_DICT_STRUCT_UNION);
}

static size_t row_size(const struct ua_dict_field *f, bool *fixed,
                       const struct ua_dict_structure **nested)
{
    uint32_t idx = f->type & 0xffffu;
    const struct codec_table *t =
        codec_table_by_local((f->flags & UA_DICT_NS0) ? 0 : f->type >> UA_TYPE_TABLE_LOCAL_TYPE_BITS);
    *fixed = false;
    *nested = NULL;
    switch (f->flags & UA_DICT_IMPL_MASK) {
    case UA_DICT_IMPL_FUNC:
    case UA_DICT_IMPL_FUNC_FIXED:
        *fixed = codec_builtin_fixed(idx);
        return codec_builtin_size(idx);
    case UA_DICT_IMPL_ENUM_FIXED:
    case UA_DICT_IMPL_OSET_FIXED:
        if (t == NULL || idx >= t->num_inttypes) return 0;
        *fixed = true;
        return t->inttypes[idx].size;
    case UA_DICT_IMPL_STRUCT:
    case UA_DICT_IMPL_STRUCT_FIXED:
        if (t == NULL || idx < t->num_inttypes || idx - t->num_inttypes >= t->num_types) return 0;
        *nested = &t->types[idx - t->num_inttypes];
        *fixed = true; /* decided by the caller, which walks the nested rows */
        return (*nested)->size;
    default:
        return 0;
    }
}

static void validate_field(const struct codec_table *t, const struct ua_dict_structure *st,
                           uint16_t i, unsigned depth, size_t *end, size_t *arm_offset)
{
    const struct ua_dict_field *f = &st->fields[i];
    const char *name = f->name ? f->name : "?";
    unsigned impl = f->flags & UA_DICT_IMPL_MASK, rank = (f->flags & UA_DICT_RANK_MASK) >> 4;
    bool array = rank == 2, fixed, union_arm = i > 0 && (st->fields[0].flags & UA_DICT_STRUCT_UNION);
    const struct ua_dict_structure *nested = NULL;
    size_t size;
    char where[300];

    snprintf(where, sizeof where, "'structure=%s;field=%s'", st->name, name);
    if (f->name == NULL || strlen(f->name) != f->name_len)
        error(t->uri, "has a name length that is not its name's", where, f->name_len, 0);
    if (impl == 0 || impl == 7) {
        error(t->uri, "invalid enum ua_dict_impl", where, impl, 0);
        return;
    }
    if (rank != 1 && rank != 2) {
        error(t->uri, "invalid enum ua_dict_rank", where, rank, 0);
        return;
    }
    if (f->type <= 0xffffu && !(f->flags & UA_DICT_NS0))
        error(t->uri, "is from NS0, but is not flagged NS0", where, f->type, 0);
    if (f->type > 0xffffu && (f->flags & UA_DICT_NS0))
        error(t->uri, "is not from NS0, but is flagged NS0", where, f->type, 0);
    if ((f->flags & UA_DICT_NS0) == 0 && !codec_table_by_local(f->type >> UA_TYPE_TABLE_LOCAL_TYPE_BITS)) {
        error(t->uri, "could not find type_table entry", where, f->type, f->type >> 16);
        return;
    }
    if (i == 0 && (f->flags & (UA_DICT_STRUCT_OPTIONAL | UA_DICT_STRUCT_UNION))) {
        /* the mask or switch: a fixed UInt32 */
        if ((f->flags & 0x3fu) != 26u)
            error(t->uri, "mask has flags that are not 26", where, f->flags & 0x3fu, 26);
        if (f->type != 7 || f->offset != 0)
            error(t->uri, "mask is not the first UInt32 member", where, f->type, f->offset);
        *end = 4;
        return;
    }
    if (i > 0 && (f->flags & UA_DICT_STRUCT_UNION))
        error(t->uri, "is flagged union but is not the first row", where, f->flags, 0);
    size = row_size(f, &fixed, &nested);
    if (size == 0) {
        error(t->uri, "type_idx is out of range of its table", where, f->type & 0xffffu, impl);
        return;
    }
    if (nested) fixed = structure_fixed(nested, depth + 1);
    /* The kind of an array's rows tells what its elements are (an array of Int32 is
     * FUNC_FIXED, an array of enumerations can only be ENUM_FIXED); the array member
     * itself is never fixed, which the layout check below accounts for. */
    if (array && (impl == UA_DICT_IMPL_FUNC_FIXED || impl == UA_DICT_IMPL_STRUCT_FIXED)) {
        ++g_array_kinds;
        fixed = true;
    }
    if ((impl == UA_DICT_IMPL_FUNC_FIXED || impl == UA_DICT_IMPL_STRUCT_FIXED) && !fixed)
        error(t->uri, "is flagged fixed, but not actually fixed", where, impl, 0);
    if ((impl == UA_DICT_IMPL_FUNC || impl == UA_DICT_IMPL_STRUCT) && fixed)
        ++g_warnings; /* "not flagged fixed, but is fixed": a warning only */
    if ((impl == UA_DICT_IMPL_ENUM_FIXED || impl == UA_DICT_IMPL_OSET_FIXED) && array == false &&
        size > 8)
        error(t->uri, "is an integer type wider than 64 bits", where, (unsigned)size, 0);
    if (array) size = sizeof(struct codec_array_layout);
    if (union_arm) {
        if (*arm_offset == 0) *arm_offset = f->offset;
        if (f->offset != *arm_offset || f->offset < 4)
            error(t->uri, "is a union arm not at the arms' offset", where, f->offset,
                  (unsigned)*arm_offset);
        if (f->offset + size > *end) *end = f->offset + size;
    } else {
        if (f->offset < *end)
            error(t->uri, "overlaps the member before it", where, f->offset, (unsigned)*end);
        *end = f->offset + size;
    }
}

static void validate_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                               unsigned depth)
{
    size_t end = 0, arm_offset = 0;
    unsigned optional = 0;
    uint16_t i;
    if (depth > MAX_DEPTH) return; /* a structure that contains itself through an array */
    if (st->num_fields == 0) {
        /* a structure without members (namespace 0 has two): nothing to encode */
        ++g_empty;
        return;
    }
    if ((st->fields[0].flags & (UA_DICT_STRUCT_OPTIONAL | UA_DICT_STRUCT_UNION)) ==
        (UA_DICT_STRUCT_OPTIONAL | UA_DICT_STRUCT_UNION))
        error(t->uri, "invalid enum ua_dict_struct", st->name, 3, 0);
    for (i = 1; i < st->num_fields; ++i)
        optional += (st->fields[i].flags & UA_DICT_STRUCT_OPTIONAL) ? 1 : 0;
    if ((st->fields[0].flags & UA_DICT_STRUCT_OPTIONAL) && optional == 0)
        error(t->uri, "has zero optional fields", st->name, 0, 0);
    if (!(st->fields[0].flags & UA_DICT_STRUCT_OPTIONAL) && optional != 0)
        error(t->uri, "has optional fields but no mask", st->name, optional, 0);
    if (optional > 32) error(t->uri, "has more optional fields than mask bits", st->name, optional, 32);
    for (i = 0; i < st->num_fields; ++i) validate_field(t, st, i, depth, &end, &arm_offset);
    if (st->size < end || st->size >= end + 8)
        error(t->uri, "size differs from the calculated size", st->name, st->size, (unsigned)end);
}

unsigned codec_validate_tables(void)
{
    unsigned k;
    g_errors = 0;
    for (k = 0; k < g_codec_num_tables; ++k) {
        const struct codec_table *t = &g_codec_tables[k];
        uint16_t i;
        if (t->sorting != UA_TYPE_TABLE_SORTING_IDX_TABLE)
            error(t->uri, "search mode is not the index table", "table", (unsigned)t->sorting, 2);
        if (t->num_types > 0 && t->idx_table == NULL)
            error(t->uri, "index table is missing", "table", 0, 0);
        for (i = 1; i < t->num_types; ++i)
            if (t->types[i - 1].type_id >= t->types[i].type_id)
                error(t->uri, "type ids are not sorted ascending", t->types[i].name,
                      t->types[i - 1].type_id, t->types[i].type_id);
        for (i = 1; t->idx_table && i < t->num_types; ++i)
            if ((int32_t)t->idx_table[i - 1].encoding_id >= (int32_t)t->idx_table[i].encoding_id)
                error(t->uri, "index table is not sorted ascending", "table", i, 0);
        for (i = 0; t->idx_table && i < t->num_types; ++i) {
            const struct ua_type_table_idx_table *e = &t->idx_table[i];
            if (e->type_idx < 0 || e->type_idx >= t->num_types ||
                t->types[e->type_idx].binary_encoding_id != e->encoding_id)
                error(t->uri, "index table entry names another row", "table", i,
                      (unsigned)e->type_idx);
        }
        for (i = 0; i < t->num_inttypes; ++i) {
            const struct ua_dict_inttype *it = &t->inttypes[i];
            if (it->base_type >= 30 || it->size != codec_builtin_size(it->base_type) ||
                !codec_builtin_fixed(it->base_type))
                error(t->uri, "integer type does not match its base type", it->name,
                      it->base_type, it->size);
        }
        for (i = 0; i < t->num_types; ++i) validate_structure(t, &t->types[i], 0);
    }
    printf("validation: %u tables, %u errors; %u fixed members not flagged fixed, %u arrays of "
           "fixed elements, %u structures without members\n", g_codec_num_tables, g_errors,
           g_warnings, g_array_kinds, g_empty);
    return g_errors;
}
