#!/usr/bin/env python3
"""Generates the namespace-0 type table of the encoding library from the namespace-0 NodeSet.

Usage: ns0gen.py [NODESET] [OUTDIR]

NODESET defaults to the pinned Opc.Ua.NodeSet2.xml below node_modules, OUTDIR to src/uabase.
Writes ns0_types_gen.h (the C++ structures and type indexes) and ns0_types_gen.cpp (field
rows, structure table, integer-type table and encoding-id index). The output depends only on
the NodeSet, so running the script again reproduces the committed files byte for byte.

Type indexes of the namespace-0 table: 0..29 built-ins, then the enumerations (ascending id),
then the option sets over unsigned integers (ascending id), then the non-abstract structures
(ascending id).
"""

import os
import re
import sys
import xml.etree.ElementTree as ET

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
DEFAULT_NODESET = os.path.join(
    ROOT, "node_modules", "node-opcua-nodesets", "nodesets", "Opc.Ua.NodeSet2.xml")
DEFAULT_OUTDIR = os.path.join(ROOT, "src", "uabase")

UA = "{http://opcfoundation.org/UA/2011/03/UANodeSet.xsd}"

# Built-in type ids 1..25: (type constant, C++ type, fixed size).
BUILTINS = {
    1: ("UA_TYPE_BOOLEAN", "bool", True),
    2: ("UA_TYPE_INT8", "int8_t", True),
    3: ("UA_TYPE_UINT8", "uint8_t", True),
    4: ("UA_TYPE_INT16", "int16_t", True),
    5: ("UA_TYPE_UINT16", "uint16_t", True),
    6: ("UA_TYPE_INT32", "int32_t", True),
    7: ("UA_TYPE_UINT32", "uint32_t", True),
    8: ("UA_TYPE_INT64", "int64_t", True),
    9: ("UA_TYPE_UINT64", "uint64_t", True),
    10: ("UA_TYPE_FLOAT", "float", True),
    11: ("UA_TYPE_DOUBLE", "double", True),
    12: ("UA_TYPE_STRING", "ua_string", False),
    13: ("UA_TYPE_DATETIME", "ua_datetime", True),
    14: ("UA_TYPE_GUID", "ua_guid", True),
    15: ("UA_TYPE_BYTESTRING", "ua_bytestring", False),
    16: ("UA_TYPE_XMLELEMENT", "ua_bytestring", False),
    17: ("UA_TYPE_NODEID", "ua_nodeid", False),
    18: ("UA_TYPE_EXPANDEDNODEID", "ua_expandednodeid", False),
    19: ("UA_TYPE_STATUSCODE", "ua_statuscode", True),
    20: ("UA_TYPE_QUALIFIEDNAME", "ua_qualifiedname", False),
    21: ("UA_TYPE_LOCALIZEDTEXT", "ua_localizedtext", False),
    22: ("UA_TYPE_EXTENSIONOBJECT", "ua_extensionobject", False),
    23: ("UA_TYPE_DATAVALUE", "ua_datavalue", False),
    24: ("UA_TYPE_VARIANT", "ua_variant", False),
    25: ("UA_TYPE_DIAGNOSTICINFO", "ua_diagnosticinfo", False),
}
NUM_BUILTIN_ENTRIES = 30  # 0..25 built-ins, Number, Integer, UInteger, Enumeration
VARIANT, EXTENSIONOBJECT, INT32 = 24, 22, 6
OPTIONSET_BASES = {3: ("uint8_t", "UA_VT_BYTE"), 5: ("uint16_t", "UA_VT_UINT16"),
                   7: ("uint32_t", "UA_VT_UINT32"), 9: ("uint64_t", "UA_VT_UINT64")}
STRUCTURE, ENUMERATION, OPTIONSET_STRUCT = 22, 29, 12755

CPP_KEYWORDS = set("""alignas alignof and and_eq asm auto bitand bitor bool break case catch char
char8_t char16_t char32_t class compl concept const consteval constexpr constinit const_cast
continue co_await co_return co_yield decltype default delete do double dynamic_cast else enum
explicit export extern false float for friend goto if inline int long mutable namespace new
noexcept not not_eq nullptr operator or or_eq private protected public register
reinterpret_cast requires return short signed sizeof static static_assert static_cast struct
switch template this thread_local throw true try typedef typeid typename union unsigned using
virtual void volatile wchar_t while xor xor_eq mask""".split())


def snake(name):
    """ServerUri -> server_uri, EUInformation -> eu_information, NodeID -> node_id."""
    out = []
    for i, c in enumerate(name):
        if c.isupper():
            prev = name[i - 1] if i > 0 else ""
            nxt = name[i + 1] if i + 1 < len(name) else ""
            if i > 0 and (prev.islower() or prev.isdigit() or (prev.isupper() and nxt.islower())):
                out.append("_")
            out.append(c.lower())
        elif c.isalnum():
            out.append(c)
        else:
            out.append("_")
    return "".join(out)


def member_name(field_name):
    n = snake(field_name)
    return n + "_" if n in CPP_KEYWORDS else n


class DataType:
    def __init__(self, node_id, browse, symbolic, abstract, definition):
        self.id = node_id
        self.browse = browse
        self.symbolic = symbolic or browse
        self.abstract = abstract
        self.definition = definition
        self.supertype = None
        self.binary_encoding = None


def load(path):
    root = ET.parse(path).getroot()
    aliases = {a.get("Alias"): a.text.strip() for a in root.find(UA + "Aliases")}

    def nid(text):
        text = aliases.get(text.strip(), text.strip())
        m = re.fullmatch(r"i=(\d+)", text)
        if not m:
            raise SystemExit("unexpected NodeId in namespace 0: " + text)
        return int(m.group(1))

    def reftype(r):
        return aliases.get(r.get("ReferenceType"), r.get("ReferenceType"))

    types, encodings, objects = {}, [], {}
    version = ""
    for model in root.iter(UA + "Model"):
        if model.get("ModelUri") == "http://opcfoundation.org/UA/":
            version = model.get("Version", "")
    for node in root:
        tag = node.tag[len(UA):]
        if tag == "UADataType":
            dt = DataType(nid(node.get("NodeId")), node.get("BrowseName"),
                          node.get("SymbolicName"), node.get("IsAbstract") == "true",
                          node.find(UA + "Definition"))
            types[dt.id] = dt
            for r in node.find(UA + "References"):
                rt = reftype(r)
                fwd = r.get("IsForward", "true") != "false"
                if rt in ("HasSubtype", "i=45") and not fwd:
                    dt.supertype = nid(r.text)
                elif rt in ("HasEncoding", "i=38") and fwd:
                    encodings.append((dt.id, nid(r.text)))
        elif tag == "UAObject":
            oid = nid(node.get("NodeId"))
            objects[oid] = node.get("BrowseName")
            for r in node.find(UA + "References"):
                if reftype(r) in ("HasEncoding", "i=38") and r.get("IsForward") == "false":
                    encodings.append((nid(r.text), oid))
    for type_id, enc_id in encodings:
        if objects.get(enc_id) == "Default Binary" and type_id in types:
            types[type_id].binary_encoding = enc_id
    return types, version


def is_subtype(types, tid, base):
    while tid is not None:
        if tid == base:
            return True
        tid = types[tid].supertype if tid in types else None
    return False


class Model:
    def __init__(self, types):
        self.types = types
        defined = [t for t in types.values() if t.definition is not None and not t.abstract]
        self.enums = sorted((t for t in defined if is_subtype(types, t.id, ENUMERATION)
                             and t.definition.get("IsOptionSet") != "true"), key=lambda t: t.id)
        self.osets = sorted((t for t in defined if t.definition.get("IsOptionSet") == "true"
                             and not is_subtype(types, t.id, OPTIONSET_STRUCT)),
                            key=lambda t: t.id)
        self.structs = sorted((t for t in defined if is_subtype(types, t.id, STRUCTURE)
                               and t.id != STRUCTURE), key=lambda t: t.id)
        for t in self.osets:
            if t.supertype not in OPTIONSET_BASES:
                raise SystemExit("option set %s has unsupported base %s" % (t.browse, t.supertype))
        self.index = {}
        n = NUM_BUILTIN_ENTRIES
        for t in self.enums + self.osets + self.structs:
            self.index[t.id] = n
            n += 1
        self.struct_ids = {t.id for t in self.structs}
        self.enum_ids = {t.id for t in self.enums}
        self.oset_ids = {t.id for t in self.osets}
        self.fields = {t.id: self.collect_fields(t) for t in self.structs}
        self.fixed = {}
        for t in self.structs:
            self.is_fixed(t.id)

    def const_name(self, t):
        return "UA_TYPE_" + re.sub(r"[^A-Za-z0-9]", "_", t.symbolic).upper()

    def cpp_name(self, t):
        return "ua_" + snake(t.symbolic)

    def kind(self, t):
        d = t.definition
        if d.get("IsUnion") == "true":
            raise SystemExit("unions are not supported in namespace 0: " + t.browse)
        return "optional" if any(f.get("IsOptional") == "true" for f in self.own_fields(t)
                                 ) or any(f["optional"] for f in self.fields.get(t.id, [])) \
            else "plain"

    def own_fields(self, t):
        return [f for f in t.definition if f.tag == UA + "Field"]

    def collect_fields(self, t):
        """Fields of the supertypes first, then the type's own."""
        chain = []
        cur = t
        while cur is not None and cur.id != STRUCTURE:
            chain.append(cur)
            cur = self.types.get(cur.supertype)
        rows = []
        for level in reversed(chain):
            if level.definition is None:
                continue
            own = self.own_fields(level)
            names = [f.get("Name") for f in own]
            # A definition that repeats the inherited fields lists them first.
            if names[:len(rows)] == [r["name"] for r in rows]:
                own = own[len(rows):]
            for f in own:
                rows.append(self.resolve_field(t, f))
        return rows

    def resolve_field(self, owner, f):
        name = f.get("Name")
        dt = f.get("DataType", "i=24")
        m = re.fullmatch(r"i=(\d+)", dt)
        if not m:
            raise SystemExit("unexpected field type %s in %s" % (dt, owner.browse))
        tid = int(m.group(1))
        rank = int(f.get("ValueRank", "-1"))
        if rank not in (-1, 1):
            raise SystemExit("unexpected value rank %d in %s.%s" % (rank, owner.browse, name))
        row = {"name": name, "member": member_name(name), "array": rank != -1,
               "optional": f.get("IsOptional") == "true"}
        allow_sub = f.get("AllowSubTypes") == "true"
        t = self.types.get(tid)
        if allow_sub and tid != VARIANT and not (t and is_subtype(self.types, tid, ENUMERATION)):
            tid = EXTENSIONOBJECT if is_subtype(self.types, tid, STRUCTURE) else VARIANT
        # Walk simple types up to their built-in base.
        while True:
            if tid in self.enum_ids:
                row.update(kind="enum", type=self.const_name(self.types[tid]), cpp="int32_t")
                return row
            if tid in self.oset_ids:
                base = self.types[tid].supertype
                row.update(kind="oset", type=self.const_name(self.types[tid]),
                           cpp=OPTIONSET_BASES[base][0])
                return row
            if tid in self.struct_ids:
                row.update(kind="struct", type=self.const_name(self.types[tid]),
                           cpp=self.cpp_name(self.types[tid]), ref=tid)
                return row
            if tid in BUILTINS:
                const, cpp, fixed = BUILTINS[tid]
                row.update(kind="builtin", type=const, cpp=cpp, fixed=fixed)
                return row
            if tid in (26, 27, 28):  # abstract numbers travel as variants
                tid = VARIANT
                continue
            if tid == ENUMERATION:
                tid = INT32
                continue
            t = self.types.get(tid)
            if t is None:
                raise SystemExit("unknown field type %d in %s" % (tid, owner.browse))
            if is_subtype(self.types, tid, STRUCTURE):  # abstract structures
                tid = EXTENSIONOBJECT
                continue
            if is_subtype(self.types, tid, ENUMERATION):
                tid = INT32
                continue
            tid = t.supertype

    def is_fixed(self, tid):
        if tid not in self.fixed:
            self.fixed[tid] = False  # guards against recursion
            ok = True
            for r in self.fields[tid]:
                if r["array"] or r["optional"]:
                    ok = False
                elif r["kind"] == "builtin":
                    ok = ok and r["fixed"]
                elif r["kind"] == "struct":
                    ok = ok and self.is_fixed(r["ref"])
            self.fixed[tid] = ok
        return self.fixed[tid]

    def row_flags(self, r):
        rank = "UA_DICT_RANK_ARRAY_NS0" if r["array"] else "UA_DICT_RANK_SCALAR_NS0"
        scalar = not r["array"]
        if r["kind"] == "builtin":
            impl = "UA_DICT_IMPL_FUNC_FIXED" if r["fixed"] and scalar else "UA_DICT_IMPL_FUNC"
            if r["type"] == "UA_TYPE_DIAGNOSTICINFO":
                impl = "UA_DICT_IMPL_DIAGNOSTICINFO"
        elif r["kind"] == "enum":
            impl = "UA_DICT_IMPL_ENUM_FIXED"
        elif r["kind"] == "oset":
            impl = "UA_DICT_IMPL_OSET_FIXED"
        else:
            impl = ("UA_DICT_IMPL_STRUCT_FIXED" if scalar and self.is_fixed(r["ref"])
                    else "UA_DICT_IMPL_STRUCT")
        parts = [rank]
        if r["optional"]:
            parts.append("UA_DICT_STRUCT_OPTIONAL")
        parts.append(impl)
        return " | ".join(parts)

    def struct_order(self):
        """Structures in an order where every structure used by value or in an array comes
        before its user."""
        done, order = set(), []

        def visit(tid, stack):
            if tid in done:
                return
            if tid in stack:
                raise SystemExit("recursive structure " + self.types[tid].browse)
            stack.add(tid)
            for r in self.fields[tid]:
                if r["kind"] == "struct":
                    visit(r["ref"], stack)
            stack.discard(tid)
            done.add(tid)
            order.append(tid)

        for t in self.structs:
            visit(t.id, set())
        return order


HEADER = """// Generated by tools/ns0gen/ns0gen.py from the namespace-0 NodeSet (version {version}).
// Do not edit; run the script again instead.
// clang-format off
"""


def write_header(model, version):
    out = [HEADER.format(version=version)]
    out.append("""#pragma once

#include <cstdint>

#include "uabase/types.h"

namespace vos {

// Type indexes of the namespace-0 table: the built-ins (UA_TYPE_BOOLEAN ...), then the
// enumerations, the option sets and the structures.
""")
    out.append("inline constexpr uint32_t UA_NS0_FIRST_INTTYPE = %d;\n" % NUM_BUILTIN_ENTRIES)
    out.append("inline constexpr uint32_t UA_NS0_FIRST_STRUCTURE = %d;\n"
               % (NUM_BUILTIN_ENTRIES + len(model.enums) + len(model.osets)))
    out.append("\n// Enumerations.\n")
    for t in model.enums:
        out.append("inline constexpr uint32_t %s = %d;\n" % (model.const_name(t), model.index[t.id]))
    out.append("\n// Option sets.\n")
    for t in model.osets:
        out.append("inline constexpr uint32_t %s = %d;\n" % (model.const_name(t), model.index[t.id]))
    out.append("\n// Structures.\n")
    for t in model.structs:
        out.append("inline constexpr uint32_t %s = %d;\n" % (model.const_name(t), model.index[t.id]))
    out.append("\n")
    for tid in model.struct_order():
        t = model.types[tid]
        out.append("// %s (i=%d)\n" % (t.browse, t.id))
        name = model.cpp_name(t)
        out.append("struct %s {\n" % name)
        if model.kind(t) == "optional":
            out.append("  uint32_t mask = 0;  // bit n: the n-th optional field is present\n")
        for r in model.fields[tid]:
            cpp = "ua_array<%s>" % r["cpp"] if r["array"] else r["cpp"]
            init = "{}"
            out.append("  %s %s%s;\n" % (cpp, r["member"], init))
        out.append("  friend bool operator==(const %s&, const %s&) = default;\n" % (name, name))
        out.append("};\n\n")
    out.append("}  // namespace vos\n")
    return "".join(out)


def write_source(model, version):
    out = [HEADER.format(version=version)]
    out.append("""#include "uabase/ns0_types_gen.h"

#include <cstddef>
#include <type_traits>

#include "uabase/dict.h"
#include "uabase/type_table.h"

namespace vos {

namespace {

""")
    for t in model.structs:
        name = model.cpp_name(t)
        out.append("static_assert(std::is_standard_layout_v<%s>);\n" % name)
    out.append("\n")
    for t in model.structs:
        name = model.cpp_name(t)
        if not model.fields[t.id]:
            continue  # an empty structure has no rows
        out.append("const ua_dict_field g_%s_fields[] = {\n" % name[3:])
        if model.kind(t) == "optional":
            out.append('    {"Mask", 4, UA_DICT_MASK_FLAGS, offsetof(%s, mask), UA_TYPE_UINT32},\n'
                       % name)
        for r in model.fields[t.id]:
            out.append('    {"%s", %d, %s, offsetof(%s, %s), %s},\n'
                       % (r["name"], len(r["name"]), model.row_flags(r), name, r["member"],
                          r["type"]))
        out.append("};\n")
    out.append("\n}  // namespace\n\n")
    out.append("const ua_dict_structure g_type_table_ns0[] = {\n")
    for t in model.structs:
        name = model.cpp_name(t)
        if t.binary_encoding is None:
            raise SystemExit("no binary encoding for " + t.browse)
        rows = len(model.fields[t.id]) + (1 if model.kind(t) == "optional" else 0)
        rows_name = "g_%s_fields" % name[3:] if rows else "nullptr"
        out.append('    {"%s", %s, %d, %d, %d, sizeof(%s), &ua_value_ops_v<%s>},\n'
                   % (t.symbolic, rows_name, t.binary_encoding, t.id, rows, name, name))
    out.append("};\n\n")
    out.append("const ua_dict_inttype g_inttype_table_ns0[] = {\n")
    out.append("    // enumerations\n")
    for t in model.enums:
        out.append('    {"%s", %d, sizeof(int32_t), UA_VT_INT32},\n' % (t.symbolic, t.id))
    out.append("    // option sets\n")
    for t in model.osets:
        cpp, vt = OPTIONSET_BASES[t.supertype]
        out.append('    {"%s", %d, sizeof(%s), %s},\n' % (t.symbolic, t.id, cpp, vt))
    out.append("};\n\n")
    out.append("const ua_type_table_idx_table g_type_table_ns0_idx_table[] = {\n")
    pairs = sorted((t.binary_encoding, row) for row, t in enumerate(model.structs))
    for enc, row in pairs:
        out.append("    {%d, %d},\n" % (enc, row))
    out.append("};\n\n")
    out.append("""ua_type_table_ns0_data ua_type_table_ns0_generated() {
  return {g_inttype_table_ns0, g_type_table_ns0, g_type_table_ns0_idx_table};
}

}  // namespace vos
""")
    return "".join(out)


def main(argv):
    nodeset = argv[1] if len(argv) > 1 else DEFAULT_NODESET
    outdir = argv[2] if len(argv) > 2 else DEFAULT_OUTDIR
    types, version = load(nodeset)
    model = Model(types)
    names = [model.const_name(t) for t in model.enums + model.osets + model.structs]
    if len(set(names)) != len(names):
        raise SystemExit("duplicate type constant names")
    for fname, text in (("ns0_types_gen.h", write_header(model, version)),
                        ("ns0_types_gen.cpp", write_source(model, version))):
        with open(os.path.join(outdir, fname), "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
    print("enumerations=%d option sets=%d structures=%d" %
          (len(model.enums), len(model.osets), len(model.structs)))


if __name__ == "__main__":
    main(sys.argv)
