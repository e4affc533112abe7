/* The built-in types of the test codec, by built-in type number (1 Boolean ... 25
 * DiagnosticInfo), and the byte-level helpers the table walker shares with them. */
#ifndef CODEC_BUILTINS_H
#define CODEC_BUILTINS_H

#include <stdbool.h>

#include "codec.h"

#define CODEC_BUILTIN_COUNT 26

size_t codec_builtin_size(unsigned code);
bool codec_builtin_fixed(unsigned code);
/* Value number `n` of the recipe, into zeroed memory. */
void codec_builtin_fill(unsigned code, void *p, uint32_t n);
int codec_builtin_encode(unsigned code, const void *p, struct codec_buf *b);
int codec_builtin_decode(unsigned code, void *p, struct codec_in *in);
int codec_builtin_compare(unsigned code, const void *a, const void *b);
void codec_builtin_clear(unsigned code, void *p);

int codec_put(struct codec_buf *b, const void *p, size_t n);
int codec_get(struct codec_in *in, void *p, size_t n);
int codec_put_uint(struct codec_buf *b, uint64_t v, unsigned size);
int codec_get_uint(struct codec_in *in, uint64_t *v, unsigned size);

#endif /* CODEC_BUILTINS_H */
