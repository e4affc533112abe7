/* A table-driven codec over the generated type tables: it knows the field rows and type
 * table rows that generated code registers, the built-in types, and nothing else. It fills
 * values of every registered type by a fixed recipe, encodes and decodes them in the binary
 * encoding, compares and clears them, and checks the tables as a runtime does when it
 * starts. Test code only: failures are reported with printf and counted. */
#ifndef CODEC_CODEC_H
#define CODEC_CODEC_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <uabase/dict.h>
#include <uabase/type_table.h>

/* A registered table: the rows generated code hands to ua_type_table_register_const_table. */
struct codec_table {
    const char *uri;
    uint16_t nsidx;
    uint16_t local_index;
    const struct ua_dict_structure *types;
    uint16_t num_types;
    const struct ua_dict_inttype *inttypes;
    uint16_t num_inttypes;
    int sorting;
    const struct ua_type_table_idx_table *idx_table;
};

#define CODEC_MAX_TABLES 64
extern struct codec_table g_codec_tables[CODEC_MAX_TABLES];
extern unsigned g_codec_num_tables;

/* A growing output buffer. */
struct codec_buf {
    uint8_t *data;
    size_t len;
    size_t cap;
};
void codec_buf_free(struct codec_buf *b);

/* A read position in encoded bytes. */
struct codec_in {
    const uint8_t *p;
    size_t left;
};

/* The table with this local index, or NULL. */
const struct codec_table *codec_table_by_local(uint32_t local_index);

/* Number of values the recipe makes of a structure (every array length, mask pattern and
 * union arm) or of an integer type. */
unsigned codec_variants_structure(const struct ua_dict_structure *st);
#define CODEC_VARIANTS_INTTYPE 2u

/* Structures: fill with value `variant` of the recipe (obj zeroed), encode, decode (obj
 * zeroed), compare (0 equal), clear (frees what a fill or decode allocated). */
void codec_fill_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                          void *obj, unsigned variant);
int codec_encode_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           const void *obj, struct codec_buf *out);
int codec_decode_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           void *obj, struct codec_in *in);
int codec_compare_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                            const void *a, const void *b);
void codec_clear_structure(const struct codec_table *t, const struct ua_dict_structure *st,
                           void *obj);

/* Integer types: value `variant` of the recipe, and its encoding. */
uint64_t codec_inttype_value(const struct ua_dict_inttype *it, unsigned variant);
int codec_encode_inttype(const struct ua_dict_inttype *it, uint64_t value, struct codec_buf *out);
int codec_decode_inttype(const struct ua_dict_inttype *it, struct codec_in *in, uint64_t *value);

/* By type value, for the generated helper calls: fill value `variant` of the recipe, fill
 * arm `arm` of a union as value `variant` would (into the arm's own storage), encode. */
void codec_fill_type(uint32_t type, void *obj, unsigned variant);
void codec_fill_arm(uint32_t type, unsigned arm, void *member, unsigned variant);
int codec_encode_type(uint32_t type, const void *obj, struct codec_buf *out);

/* Checks every registered table as a runtime does at start-up; prints each finding and
 * returns the number of errors. */
unsigned codec_validate_tables(void);

/* Number of failures reported so far (codec_fail prints and counts). */
extern unsigned g_codec_failures;
void codec_fail(const char *fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

#endif /* CODEC_CODEC_H */
