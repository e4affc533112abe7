#!/usr/bin/env python3
"""Checks `vosdump --json` with Python's json module.

  vosdump_json_check.py compare VOSDUMP FILE
      Parses the JSON document strictly (UTF-8, no duplicate keys, no bare NaN), renders
      from it the text that `vosdump FILE -a` prints and compares the two byte for byte.
      Prints the first difference and exits 1 when they differ.
  vosdump_json_check.py show JSONFILE
      Prints what the document holds in a form for exact comparison: one line "string
      <hex>" per entry of the first string table (the bytes recovered from the JSON text),
      then one line "value <nodeid> <json>" per node that carries a value.
"""
import base64
import json
import subprocess
import sys

from strict_json import load

TOTAL_KEYS = ["DataType", "ReferenceType", "VariableType", "ObjectType", "Variable", "Object",
              "Method", "View", "references", "numeric_ids", "string_ids", "guid_ids",
              "opaque_ids"]
TOTAL_LABELS = ["DataType", "ReferenceType", "VariableType", "ObjectType", "Variable", "Object",
                "Method", "View", "references", "numeric ids", "string ids", "guid ids",
                "opaque ids"]
TYPE_CODES = {name: code for code, name in enumerate([
    "Null", "Boolean", "SByte", "Byte", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64",
    "Float", "Double", "String", "DateTime", "Guid", "ByteString", "XmlElement", "NodeId",
    "ExpandedNodeId", "StatusCode", "QualifiedName", "LocalizedText", "ExtensionObject"])}


def b(text):
    """The bytes a JSON string stands for."""
    return text.encode("utf-8", "surrogateescape")


def c_string(text):
    """What printf("%s") shows of a string: everything before the first NUL."""
    return b(text).split(b"\0", 1)[0]


def counts(lines, values, indent):
    for key, label in zip(TOTAL_KEYS, TOTAL_LABELS):
        if values[key] != 0:
            lines.append(b"%s%-14s %d" % (indent, label.encode(), values[key]))


def namespace(lines, kind, ns):
    version = b"-" if ns["version"] is None else c_string(ns["version"])
    published = ns["publication_date"].encode()
    if "T" not in ns["publication_date"]:
        published = b"-"
    lines.append(b"  %s ns=%d %s version=%s published=%s role permissions=%d access=0x%x" % (
        kind, ns["index"], c_string(ns["uri"]), version, published,
        len(ns["role_permissions"]), ns["access_restrictions"]))
    counts(lines, ns["counts"], b"    ")


def type_byte(value):
    code = TYPE_CODES[value["type"]]
    if "array" in value:
        code |= 0x80
    if "dimensions" in value:
        code |= 0x40
    return code


def node_line(doc, strings, n):
    empty = strings[0] if strings else ""
    cls = n["class"].encode()
    line = b"  %-13s %s bn=%d:%s dn=%s flags=0x%02x" % (
        cls, b(n["nodeid"]), n["browse_name"]["ns"], c_string(n["browse_name"]["name"]),
        c_string(n.get("display_name", empty)), n["flags"])
    if n["flags"] & 0x80:
        line += b" flags2=0x%02x" % n["flags2"]
    if n["perm_flags"]:
        line += b" perm=0x%02x" % n["perm_flags"]
    if n.get("extensions"):
        line += b" extensions=%d" % len(n["extensions"])
    if n.get("value") is not None:
        line += b" value-type=0x%02x" % type_byte(n["value"])
    if n.get("datatype", "i=0") != "i=0":
        line += b" datatype=%s" % b(n["datatype"])
    definition = n.get("definition")
    if definition is not None and (definition["kind"] != 0 or "name" in definition):
        line += b" definition-kind=%d fields=%d" % (definition["kind"],
                                                    len(definition.get("fields", [])))
    return line


def render(doc):
    """The text of `vosdump FILE -a`, built from the JSON document."""
    lines = [b"File: " + b(doc["file"]),
             b"Format: %d.%d, created %s, checksum 0x%08x" % (
                 doc["format"]["major"], doc["format"]["minor"],
                 (doc["created"] or "-").encode(), doc["checksum"]),
             b"Extension URIs: %d" % len(doc["extension_uris"])]
    lines += [b"  " + c_string(uri) for uri in doc["extension_uris"]]
    lines.append(b"File extensions: %d" % len(doc["file_extensions"]))
    lines += [b"  uri=%d id=%d bytes=%d" % (e["uri"], e["id"], len(base64.b64decode(e["data"])))
              for e in doc["file_extensions"]]
    lines.append(b"Namespaces: %d model, %d dependency" % (len(doc["models"]),
                                                           len(doc["dependencies"])))
    for ns in doc["models"]:
        namespace(lines, b"model", ns)
    for ns in doc["dependencies"]:
        namespace(lines, b"dependency", ns)
    lines.append(b"Totals:")
    counts(lines, doc["totals"], b"  ")
    for table in doc["string_tables"]:
        lines.append(b"String table '%s': %d strings" % (c_string(table["name"]),
                                                         len(table["strings"])))
    lines.append(b"References: %d" % len(doc["references"]))
    strings = doc["string_tables"][0]["strings"] if doc["string_tables"] else []
    lines.append(b"Strings:")
    lines += [b"  %d: %s" % (i, c_string(s)) for i, s in enumerate(strings)]
    lines.append(b"Nodes:")
    lines += [node_line(doc, strings, n) for n in doc["nodes"]]
    lines.append(b"References:")
    lines += [b"  %s -> %s: %s" % (b(r["source"]), b(r["target"]), b(r["type"]))
              for r in doc["references"]]
    return b"".join(line + b"\n" for line in lines)


def compare(vosdump, path):
    text = subprocess.run([vosdump, path, "-a"], check=True, capture_output=True).stdout
    raw = subprocess.run([vosdump, "--json", path], check=True, capture_output=True).stdout
    doc = load(raw)
    if doc["totals"]["references"] != len(doc["references"]):
        print("the reference total does not match the references")
        return 1
    expected = render(doc)
    if expected == text:
        return 0
    want, got = expected.split(b"\n"), text.split(b"\n")
    for i, (w, g) in enumerate(zip(want, got)):
        if w != g:
            print("line %d differs:\n  from JSON: %r\n  vosdump:   %r" % (i + 1, w, g))
            return 1
    print("lengths differ: %d lines from JSON, %d from vosdump" % (len(want), len(got)))
    return 1


def show(path):
    with open(path, "rb") as f:
        doc = load(f.read())
    out = sys.stdout
    strings = doc["string_tables"][0]["strings"] if doc["string_tables"] else []
    for s in strings:
        out.write("string %s\n" % b(s).hex())
    for n in doc["nodes"]:
        if "value" in n:
            out.write("value %s %s\n" % (n["nodeid"], json.dumps(n["value"], sort_keys=True)))
    return 0


def main(argv):
    if len(argv) == 4 and argv[1] == "compare":
        return compare(argv[2], argv[3])
    if len(argv) == 3 and argv[1] == "show":
        return show(argv[2])
    sys.stderr.write(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
