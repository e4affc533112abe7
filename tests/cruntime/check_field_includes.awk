# Checks that every data type header includes the header of each of its members' types
# itself, rather than getting it through another header; prints one line per missing
# include. (The runtime's value headers include each other, so compiling cannot tell.)
# usage: awk -f check_field_includes.awk <data type headers...>
BEGIN {
  n = split("struct ua_string|uabase/string|ua_datetime|uabase/datetime|" \
            "struct ua_guid|uabase/guid|struct ua_bytestring|uabase/bytestring|" \
            "struct ua_nodeid|uabase/nodeid|struct ua_expandednodeid|uabase/expandednodeid|" \
            "ua_statuscode|uabase/statuscode|struct ua_qualifiedname|uabase/qualifiedname|" \
            "struct ua_localizedtext|uabase/localizedtext|" \
            "struct ua_extensionobject|uabase/extensionobject|" \
            "struct ua_datavalue|uabase/datavalue|struct ua_variant|uabase/variant|" \
            "struct ua_diagnosticinfo|uabase/diagnosticinfo|bool|stdbool|int8_t|stdint|" \
            "uint8_t|stdint|int16_t|stdint|uint16_t|stdint|int32_t|stdint|uint32_t|stdint|" \
            "int64_t|stdint|uint64_t|stdint|float||double|", t, "|")
  for (i = 1; i < n; i += 2) header_of[t[i]] = t[i + 1]
}

FNR == 1 { flush(); file = FILENAME; fields = 0 }

/^#include <.*>$/ { inc[substr($2, 2, length($2) - 2)] = 1; next }
/^\/\* includes for field datatypes \*\/$/ { fields = 1; next }

# The members of the structure or union: "    <type> <name>;" or "        <type> *array;".
fields && /^struct [a-z0-9_]+ \{$/ { body = 1; next }
body && /^\};$/ { body = 0; next }
body && /^ +[a-z].* \**[A-Za-z0-9_]+;$/ {
  line = $0
  sub(/^ +/, "", line)
  sub(/ \**[A-Za-z0-9_]+;$/, "", line)
  if (line == "}" || line ~ /^} /) next
  # The members the writer adds itself: the mask, the union switch, an array's length.
  if ($0 ~ /^    uint32_t (mask|type);$/ || $0 ~ /^        int32_t len;$/) next
  type[line] = 1
}

function flush(   ty, h, name) {
  if (file == "") return
  for (ty in type) {
    if (ty in header_of) h = header_of[ty]
    else {
      # A generated type: struct <prefix>_<name>, enum <prefix>_<name> or <prefix>_<name>_t.
      name = ty
      sub(/^(struct|enum) /, "", name)
      sub(/_t$/, "", name)
      h = name
      sub(/_/, "/", h)
    }
    if (h != "" && !((h ".h") in inc)) print file ": member type '" ty "' without #include <" h ".h>"
  }
  delete type
  delete inc
}

END { flush() }
