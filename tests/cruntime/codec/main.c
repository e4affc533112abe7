/* The type-table codec check of one generated tree.
 *
 *   codec_check write <file> <uri>...  checks the registered tables, runs the generated
 *       helpers, and writes every value of the recipe of every type of the namespaces
 *       <uri> encoded, one line each: "<uri> <type id> <variant> <hex bytes>";
 *   codec_check read <file>            decodes every line of <file> (written by the tool's
 *       own encoder), compares the value with the recipe's and encodes it again.
 *
 * Exit status 0 when nothing failed. */
#include <stdlib.h>
#include <string.h>

#include "builtins.h"

/* Generated beside the tree: registers every namespace's table, calls the helpers. */
void codec_register_all(void);
void codec_run_helpers(unsigned long *calls);

static const char *table_uri_of(const struct codec_table *t)
{
    return t->uri;
}

static void write_hex(FILE *f, const struct codec_buf *b)
{
    size_t i;
    for (i = 0; i < b->len; ++i) fprintf(f, "%02x", b->data[i]);
    if (b->len == 0) fputc('-', f);
    fputc('\n', f);
}

static int write_values(const char *path, int nuris, char **uris)
{
    FILE *f = fopen(path, "w");
    unsigned k, types = 0;
    unsigned long values = 0;
    int u;
    if (f == NULL) return 1;
    for (k = 0; k < g_codec_num_tables; ++k) {
        const struct codec_table *t = &g_codec_tables[k];
        uint16_t i;
        unsigned v;
        for (u = 0; u < nuris && strcmp(uris[u], t->uri) != 0; ++u) {
        }
        if (u == nuris) continue;
        for (i = 0; i < t->num_inttypes; ++i, ++types) {
            for (v = 0; v < CODEC_VARIANTS_INTTYPE; ++v, ++values) {
                struct codec_buf b = {NULL, 0, 0};
                codec_encode_inttype(&t->inttypes[i], codec_inttype_value(&t->inttypes[i], v), &b);
                fprintf(f, "%s %u %u ", table_uri_of(t), (unsigned)t->inttypes[i].type_id, v);
                write_hex(f, &b);
                codec_buf_free(&b);
            }
        }
        for (i = 0; i < t->num_types; ++i, ++types) {
            const struct ua_dict_structure *st = &t->types[i];
            unsigned n = codec_variants_structure(st);
            for (v = 0; v < n; ++v, ++values) {
                struct codec_buf b = {NULL, 0, 0};
                void *obj = calloc(1, st->size);
                int ret;
                codec_fill_structure(t, st, obj, v);
                ret = codec_encode_structure(t, st, obj, &b);
                if (ret != 0) codec_fail("%s: encoding value %u failed (%d)\n", st->name, v, ret);
                fprintf(f, "%s %u %u ", table_uri_of(t), (unsigned)st->type_id, v);
                write_hex(f, &b);
                codec_clear_structure(t, st, obj);
                free(obj);
                codec_buf_free(&b);
            }
        }
    }
    fclose(f);
    printf("encoded %lu values of %u types\n", values, types);
    return 0;
}

static int hex_value(int c)
{
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

static int read_values(const char *path)
{
    FILE *f = fopen(path, "r");
    static char line[1 << 20];
    unsigned long values = 0;
    if (f == NULL) return 1;
    while (fgets(line, sizeof line, f)) {
        char uri[512], hex[4];
        unsigned id, v, k;
        int at = 0;
        size_t n, i;
        uint8_t *bytes;
        const struct codec_table *t = NULL;
        struct codec_in in;
        struct codec_buf again = {NULL, 0, 0};
        if (sscanf(line, "%511s %u %u %n%3s", uri, &id, &v, &at, hex) < 4) continue;
        n = strcspn(line + at, "\n");
        bytes = malloc(n / 2 + 1);
        for (i = 0; i + 1 < n; i += 2)
            bytes[i / 2] = (uint8_t)(hex_value(line[at + i]) * 16 + hex_value(line[at + i + 1]));
        n = line[at] == '-' ? 0 : n / 2;
        in.p = bytes;
        in.left = n;
        ++values;
        for (k = 0; k < g_codec_num_tables && !t; ++k)
            if (strcmp(g_codec_tables[k].uri, uri) == 0) t = &g_codec_tables[k];
        for (k = 0; t && k < t->num_inttypes; ++k) {
            const struct ua_dict_inttype *it = &t->inttypes[k];
            uint64_t x = 0;
            if (it->type_id != id) continue;
            if (codec_decode_inttype(it, &in, &x) != 0 || in.left != 0 ||
                x != codec_inttype_value(it, v))
                codec_fail("%s value %u: decoded %llu\n", it->name, v, (unsigned long long)x);
            t = NULL;
            break;
        }
        for (k = 0; t && k < t->num_types; ++k) {
            const struct ua_dict_structure *st = &t->types[k];
            void *got, *want;
            int ret;
            if (st->type_id != id) continue;
            got = calloc(1, st->size);
            want = calloc(1, st->size);
            codec_fill_structure(t, st, want, v);
            ret = codec_decode_structure(t, st, got, &in);
            if (ret != 0 || in.left != 0)
                codec_fail("%s value %u: decoding failed (%d), %zu bytes left\n", st->name, v, ret,
                           in.left);
            else if (codec_compare_structure(t, st, got, want) != 0)
                codec_fail("%s value %u: decoded value differs\n", st->name, v);
            else if (codec_encode_structure(t, st, got, &again) != 0 || again.len != n ||
                     (n != 0 && memcmp(again.data, bytes, n) != 0))
                codec_fail("%s value %u: encoded again differs\n", st->name, v);
            codec_clear_structure(t, st, got);
            codec_clear_structure(t, st, want);
            free(got);
            free(want);
            t = NULL;
            break;
        }
        if (t != NULL) codec_fail("%s type %u: no such type in the tables\n", uri, id);
        codec_buf_free(&again);
        free(bytes);
    }
    fclose(f);
    printf("decoded %lu values\n", values);
    return 0;
}

int main(int argc, char **argv)
{
    unsigned long calls = 0;
    if (argc < 3) {
        fprintf(stderr, "usage: %s write <file> <uri>... | read <file>\n", argv[0]);
        return 2;
    }
    setvbuf(stdout, NULL, _IONBF, 0); /* nothing lost when a sanitizer ends the run */
    codec_register_all();
    if (strcmp(argv[1], "write") == 0) {
        if (codec_validate_tables() != 0) ++g_codec_failures;
        codec_run_helpers(&calls);
        printf("helper calls: %lu\n", calls);
        if (write_values(argv[2], argc - 3, argv + 3) != 0) return 2;
    } else if (read_values(argv[2]) != 0) {
        return 2;
    }
    return g_codec_failures == 0 ? 0 : 1;
}
