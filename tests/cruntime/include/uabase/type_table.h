/* The runtime's type table: every namespace registers its constant table of structures
 * and integer types; a type identifier is the namespace's local index shifted into the
 * upper bits plus the row of the type in that table. */
#ifndef UABASE_TYPE_TABLE_H
#define UABASE_TYPE_TABLE_H

#include <platform/platform.h>
#include <uabase/dict.h>

UA_BEGIN_EXTERN_C

/* Bits of a type identifier that number the types of one namespace. */
#define UA_TYPE_TABLE_LOCAL_TYPE_BITS 16

/* How a registered table is searched: 0 linearly, 1 by binary search (type and encoding
 * identifiers ascending), 2 by type identifier and through the encoding look-up table. */
#define UA_TYPE_TABLE_SORTING_NONE 0
#define UA_TYPE_TABLE_SORTING_BINARY 1
#define UA_TYPE_TABLE_SORTING_IDX_TABLE 2

/* A row of the look-up table from binary encoding identifier to structure row, sorted by
 * encoding identifier. */
struct ua_type_table_idx_table {
    uint32_t encoding_id;
    int32_t type_idx;
};

/* Registers the constant type table of the namespace `uri`, now at index `nsidx`.
 * Either table may be NULL with count 0; `idx_table` has one row per structure. */
int ua_type_table_register_const_table(const char *uri, uint16_t nsidx, uint16_t local_index,
                                       const struct ua_dict_structure *types,
                                       uint16_t num_types,
                                       const struct ua_dict_inttype *inttypes,
                                       uint16_t num_inttypes, int sorting,
                                       const struct ua_type_table_idx_table *idx_table);

/* Table-driven operations on a structure of the type `type`. */
void ua_type_table_clear_structure(uint32_t type, void *obj);
int ua_type_table_compare_structure(uint32_t type, const void *a, const void *b);
int ua_type_table_copy_structure(uint32_t type, void *dst, const void *src);

UA_END_EXTERN_C

#endif /* UABASE_TYPE_TABLE_H */
