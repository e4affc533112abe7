# Checks a namespace's type table against its identifier headers; prints one line per
# disagreement and nothing when they agree.
# usage: awk -f check_type_table.awk identifier.h type_identifier.h type_table.c
#  - the rows of type_table.c (integer types, then structures) name the types of
#    type_identifier.h in the same order, so that a type identifier's local part is its row;
#  - the encoding look-up table holds each structure row once, sorted by encoding
#    identifier as a signed 32-bit number, and each entry names the encoding of its row.
FILENAME ~ /(^|\/)identifier\.h$/ && $1 == "#define" { value[$2] = $3; next }

FILENAME ~ /type_identifier\.h$/ && /^    [A-Za-z0-9_]+(,| = )/ {
  name = $1
  sub(/,$/, "", name)
  sub(/^[A-Za-z0-9]*_TYPE_/, "", name)
  ids[++nids] = name
  next
}

FILENAME ~ /type_table\.c$/ {
  if ($0 ~ /^static const struct ua_dict_structure g_type_table_[a-z0-9_]*\[\] = \{$/) instruct = 1
  if (match($0, /^    UA_DICT_NAME\("[^"]*"\)$/)) {
    name = substr($0, 19, length($0) - 20)
    rows[++nrows] = toupper(name)
    if (instruct) { ++nstruct; want_encoding = 1 }
    next
  }
  if (want_encoding) {  # the line after the field table names the encoding identifier
    if ($0 ~ /^    g_/) next
    enc = $1
    sub(/,$/, "", enc)
    encoding[nstruct - 1] = enc
    want_encoding = 0
    next
  }
  if ($0 ~ /^    \{ [A-Za-z0-9_]+, -?[0-9]+ \},$/) {
    macro = $2
    sub(/,$/, "", macro)
    row = $3 + 0
    ++nidx
    if (!(macro in value)) { print "idx table: " macro " is not defined"; next }
    v = value[macro] + 0
    if (v >= 2147483648) v -= 4294967296
    if (nidx > 1 && v < last) print "idx table: " macro " is out of order"
    last = v
    if (row < 0 || row >= nstruct) { print "idx table: row " row " does not exist"; next }
    if (seen[row]++) print "idx table: row " row " twice"
    if (value[encoding[row]] != value[macro])
      print "idx table: " macro " points at row " row ", whose encoding is " encoding[row]
  }
}

END {
  if (nids != nrows) print nids " type identifiers, " nrows " table rows"
  for (i = 1; i <= nids && i <= nrows; ++i)
    if (ids[i] != rows[i]) print "row " i ": type identifier " ids[i] ", table row " rows[i]
  if (nidx != nstruct) print nidx " idx table entries for " nstruct " structures"
}
