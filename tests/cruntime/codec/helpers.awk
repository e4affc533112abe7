# Reads the data type headers of a generated tree and writes a C file whose function
# codec_run_helpers calls every helper they declare:
# - byte-string option sets: init, then for every bit from 0 to one past the highest
#   set, get, clear, get, is_valid, invalidate, is_valid, and clear; a bit past the highest
#   must be refused (get and is_valid false);
# - integer option sets: init and the set macro for every bit;
# - structures: init, a fill of every value of the recipe, copy, compare, clear of both;
# - unions: every setter, with an argument filled as the union's arm; the result must
#   encode as the recipe's union with that arm, and is cleared.
# Leaks and bad accesses are left to the sanitizers the file is compiled with.
function flush_header() {
    if (hdr == "") return
    if (oset_init != "" && oset_kind == "bytes") {
        body = body sprintf("    { /* %s */\n        %s v;\n        unsigned b;\n", oset_base, oset_type)
        body = body sprintf("        memset(&v, 0, sizeof v);\n        if (%s_init(&v) != 0) codec_fail(\"%s_init\\n\");\n", oset_base, oset_base)
        body = body sprintf("        for (b = 0; b <= %du + 1; ++b) {\n", oset_max)
        body = body sprintf("            enum %s_bits bit = (enum %s_bits)b;\n            bool in = b <= %du;\n", oset_base, oset_base, oset_max)
        body = body sprintf("            %s_set_bit(&v, bit);\n", oset_base)
        body = body sprintf("            if (%s_get_bit(&v, bit) != in || %s_is_valid(&v, bit) != in) codec_fail(\"%s bit %%u set\\n\", b);\n", oset_base, oset_base, oset_base)
        body = body sprintf("            %s_clr_bit(&v, bit);\n", oset_base)
        body = body sprintf("            if (%s_get_bit(&v, bit) || %s_is_valid(&v, bit) != in) codec_fail(\"%s bit %%u cleared\\n\", b);\n", oset_base, oset_base, oset_base)
        body = body sprintf("            %s_invalidate_bit(&v, bit);\n", oset_base)
        body = body sprintf("            if (%s_is_valid(&v, bit)) codec_fail(\"%s bit %%u invalidated\\n\", b);\n", oset_base, oset_base)
        body = body sprintf("            *calls += 8;\n        }\n        %s_clear(&v);\n        *calls += 2;\n    }\n", oset_base)
    } else if (oset_init != "") {
        body = body sprintf("    { /* %s */\n        %s v = 1;\n", oset_base, oset_type)
        body = body sprintf("        if (%s_init(&v) != 0 || v != 0) codec_fail(\"%s_init\\n\");\n", oset_base, oset_base)
        # UA_BV is as wide as an unsigned int: the macro cannot reach the bits of a 64-bit
        # option set above 31, which the generator's width check is about.
        n = 1
        for (k = 1; k <= nbits; ++k) {
            if (bitval[k] >= 32) continue
            body = body sprintf("        %s_set_bit(v, %s);\n", oset_base, bits[k])
            body = body sprintf("        if (!(v & ((%s)1 << %d))) codec_fail(\"%s bit %d\\n\");\n", oset_type, bitval[k], oset_base, bitval[k])
            ++n
        }
        body = body sprintf("        *calls += %d;\n    }\n", n)
    }
    if (st_base != "" && st_macro != "") {
        body = body sprintf("    for (variant = 0; variant < 4; ++variant) { /* %s */\n", st_base)
        body = body sprintf("        %s a, b;\n        %s_init(&a);\n        %s_init(&b);\n", st_type, st_base, st_base)
        body = body sprintf("        codec_fill_type(%s, &a, variant);\n", st_macro)
        body = body sprintf("        if (%s_copy(&b, &a) != 0 || %s_compare(&a, &b) != 0) codec_fail(\"%s copy\\n\");\n", st_base, st_base, st_base)
        body = body sprintf("        %s_clear(&a);\n        %s_clear(&b);\n        *calls += 6;\n    }\n", st_base, st_base)
        for (k = 1; k <= nset; ++k) {
            body = body sprintf("    { /* %s_set_%s */\n        %s v, w;\n", st_base, set_name[k], st_type)
            body = body sprintf("        struct codec_buf x = {NULL, 0, 0}, y = {NULL, 0, 0};\n")
            if (set_form[k] == "array")
                body = body sprintf("        struct { %s *array; int32_t len; } arg;\n", set_arg[k])
            else
                body = body sprintf("        %s arg;\n", set_arg[k])
            body = body sprintf("        memset(&v, 0, sizeof v);\n        memset(&w, 0, sizeof w);\n        memset(&arg, 0, sizeof arg);\n")
            body = body sprintf("        codec_fill_arm(%s, %d, &arg, %d);\n", st_macro, k, k)
            if (set_form[k] == "array")
                call = sprintf("%s_set_%s(&v, arg.array, arg.len)", st_base, set_name[k])
            else if (set_form[k] == "pointer")
                call = sprintf("%s_set_%s(&v, &arg)", st_base, set_name[k])
            else
                call = sprintf("%s_set_%s(&v, arg)", st_base, set_name[k])
            if (set_ret[k] == "int")
                body = body sprintf("        if (%s != 0) codec_fail(\"%s_set_%s\\n\");\n", call, st_base, set_name[k])
            else
                body = body sprintf("        %s;\n", call)
            body = body sprintf("        codec_fill_type(%s, &w, %d);\n", st_macro, k)
            body = body sprintf("        if (codec_encode_type(%s, &v, &x) != 0 || codec_encode_type(%s, &w, &y) != 0 ||\n", st_macro, st_macro)
            body = body sprintf("            x.len != y.len || memcmp(x.data, y.data, x.len) != 0)\n")
            body = body sprintf("            codec_fail(\"%s_set_%s: not the union's arm %d\\n\");\n", st_base, set_name[k], k)
            body = body sprintf("        %s_clear(&v);\n        %s_clear(&w);\n", st_base, st_base)
            body = body sprintf("        codec_buf_free(&x);\n        codec_buf_free(&y);\n        *calls += 3;\n    }\n")
        }
    }
    hdr = ""
}

function start_header() {
    flush_header()
    hdr = FILENAME
    includes = includes sprintf("#include <%s>\n", FILENAME)
    oset_init = ""; oset_kind = "int"; oset_base = ""; oset_type = ""; oset_max = 0; nbits = 0
    st_base = ""; st_type = ""; st_macro = ""; nset = 0; in_bits = 0; want_macro = 0
}

FNR == 1 {
    start_header()
}

# enum <base>_bits { NAME = n, ... };
/^enum [a-z0-9_]+_bits \{$/ { in_bits = 1; next }
in_bits && /^};/ { in_bits = 0; next }
in_bits && / = / {
    name = $1
    value = $3
    sub(/,$/, "", value)
    bits[++nbits] = name
    bitval[nbits] = value + 0
    if (value + 0 > oset_max) oset_max = value + 0
    next
}

/^int [a-z0-9_]+_init\(.* \*v\);$/ {
    line = $0
    sub(/^int /, "", line)
    oset_base = line
    sub(/_init\(.*/, "", oset_base)
    oset_type = line
    sub(/^[^(]*\(/, "", oset_type)
    sub(/ \*v\);$/, "", oset_type)
    oset_init = 1
    next
}
/^void [a-z0-9_]+_set_bit\(.* \*v, enum / { oset_kind = "bytes"; next }

/^static inline void [a-z0-9_]+_clear\(struct [a-z0-9_]+ \*obj\)$/ {
    st_base = $4
    sub(/_clear\(.*/, "", st_base)
    st_type = $0
    sub(/^[^(]*\(/, "", st_type)
    sub(/ \*obj\)$/, "", st_type)
    want_macro = 1
    next
}
want_macro && /ua_type_table_clear_structure\(/ {
    st_macro = $0
    sub(/.*ua_type_table_clear_structure\(/, "", st_macro)
    sub(/,.*/, "", st_macro)
    want_macro = 0
    next
}

# Union setters: "<ret> <base>_set_<arm>(<struct> *obj, <args>);"
/^(void|int) [a-z0-9_]+_set_[A-Za-z0-9_]+\(struct [a-z0-9_]+ \*obj, .*\);$/ {
    line = $0
    ret = $1
    name = line
    sub(/\(.*/, "", name)
    sub(/^(void|int) /, "", name)
    if (substr(name, 1, length(st_base) + 5) != st_base "_set_") next
    args = line
    sub(/^[^,]*, /, "", args)
    sub(/\);$/, "", args)
    ++nset
    set_name[nset] = substr(name, length(st_base) + 6)
    set_ret[nset] = ret
    if (args ~ /, int32_t len$/) {
        set_form[nset] = "array"
        sub(/, int32_t len$/, "", args)
        sub(/ \*[A-Za-z0-9_]+$/, "", args)
    } else if (args ~ / \*[A-Za-z0-9_]+$/) {
        set_form[nset] = "pointer"
        sub(/ \*[A-Za-z0-9_]+$/, "", args)
    } else {
        set_form[nset] = "value"
        sub(/ [A-Za-z0-9_]+$/, "", args)
    }
    set_arg[nset] = args
    next
}

END {
    flush_header()
    print "/* Generated by helpers.awk: calls every helper of the tree's data type headers. */"
    print "#include <string.h>\n"
    print "#include \"codec.h\""
    printf "%s\n", includes
    print "void codec_run_helpers(unsigned long *calls)\n{"
    print "    unsigned variant;\n"
    printf "%s", body
    print "    (void)variant;\n    (void)calls;\n}"
}
