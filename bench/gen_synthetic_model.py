#!/usr/bin/env python3
"""Writes a synthetic NodeSet model of N nodes that builds on namespace 0.

The model is a plant: a folder hierarchy of areas and lines below Objects, and machines
made of variables and properties, with a few object types of its own. The mix follows real
models: Organizes between folders, HasComponent and HasProperty below machines,
HasTypeDefinition on every instance, numeric and string NodeIds, DisplayName texts on
every node and Description texts on some, scalar values of several types and some arrays.

Usage: gen_synthetic_model.py [-n NODES] [-o FILE] [-p PARTS]   (defaults: 1000000 nodes, stdout)

With -p the model is written as PARTS files of about equal size, FILE with ".1", ".2", ...
before its extension, to be loaded in that order: a file must stay below 4 GiB, which
10,000,000 nodes in one file would not. Every part declares the same model; a part refers
only to nodes of itself, of earlier parts and of namespace 0.
"""

import argparse
import sys

MODEL_URI = "http://example.com/SyntheticPlant/"

ALIASES = [
    ("Boolean", "i=1"),
    ("Int32", "i=6"),
    ("UInt32", "i=7"),
    ("Double", "i=11"),
    ("String", "i=12"),
    ("Organizes", "i=35"),
    ("HasModellingRule", "i=37"),
    ("HasTypeDefinition", "i=40"),
    ("HasSubtype", "i=45"),
    ("HasProperty", "i=46"),
    ("HasComponent", "i=47"),
]

# Namespace-0 types used by the instances.
BASE_OBJECT_TYPE = "i=58"
FOLDER_TYPE = "i=61"
BASE_DATA_VARIABLE_TYPE = "i=63"
PROPERTY_TYPE = "i=68"
OBJECTS_FOLDER = "i=85"
MANDATORY = "i=78"

# Per machine: the object, its variables and its properties.
MACHINE_VARIABLES = [
    # browse name, data type, value rank, value writer
    ("Temperature", "Double", -1, lambda i: "<uax:Double>%d.25</uax:Double>" % (i % 200)),
    ("Pressure", "Double", -1, lambda i: "<uax:Double>%d.5</uax:Double>" % (i % 17)),
    ("Counter", "UInt32", -1, lambda i: "<uax:UInt32>%d</uax:UInt32>" % i),
    ("Running", "Boolean", -1, lambda i: "<uax:Boolean>%s</uax:Boolean>" % ("true" if i % 3 else "false")),
    ("Mode", "String", -1, lambda i: "<uax:String>Mode &amp; %d</uax:String>" % (i % 5)),
    (
        "Profile",
        "Double",
        1,
        lambda i: "<uax:ListOfDouble>"
        + "".join("<uax:Double>%d.0</uax:Double>" % ((i + k) % 100) for k in range(8))
        + "</uax:ListOfDouble>",
    ),
]
MACHINE_PROPERTIES = [
    ("SerialNumber", "String", lambda i: "<uax:String>SN-%08d</uax:String>" % i),
    ("Limits", "Int32", lambda i: "<uax:ListOfInt32><uax:Int32>-%d</uax:Int32><uax:Int32>%d</uax:Int32></uax:ListOfInt32>" % (i % 50, i % 90)),
]
NODES_PER_MACHINE = 1 + len(MACHINE_VARIABLES) + len(MACHINE_PROPERTIES)
MACHINES_PER_LINE = 10
LINES_PER_AREA = 10


class Writer:
    def __init__(self, out, total, parts=1, open_part=None):
        self.out = out
        self.parts = []
        self.count = 0
        self.total = total
        self.part = 1
        self.part_count = parts
        self.open_part = open_part

    def w(self, text):
        self.parts.append(text)
        if len(self.parts) >= 4096:
            self.flush()

    def flush(self):
        self.out.write("".join(self.parts))
        self.parts = []

    def next_part_due(self):
        return self.part < self.part_count and self.count >= self.part * self.total // self.part_count

    def start_next_part(self):
        """Ends the current file and starts the next with the same header."""
        self.w("</UANodeSet>\n")
        self.flush()
        self.part += 1
        self.out = self.open_part(self.part, self.out)
        header(self)


def header(w):
    w.w('<?xml version="1.0" encoding="utf-8"?>\n')
    w.w(
        '<UANodeSet xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
        'xmlns:uax="http://opcfoundation.org/UA/2008/02/Types.xsd" '
        'xmlns="http://opcfoundation.org/UA/2011/03/UANodeSet.xsd" '
        'LastModified="2024-01-01T00:00:00Z">\n'
    )
    w.w("  <NamespaceUris>\n    <Uri>%s</Uri>\n  </NamespaceUris>\n" % MODEL_URI)
    w.w("  <Models>\n")
    w.w('    <Model ModelUri="%s" Version="1.0.0" PublicationDate="2024-01-01T00:00:00Z">\n' % MODEL_URI)
    w.w('      <RequiredModel ModelUri="http://opcfoundation.org/UA/"/>\n')
    w.w("    </Model>\n  </Models>\n")
    w.w("  <Aliases>\n")
    for name, nodeid in ALIASES:
        w.w('    <Alias Alias="%s">%s</Alias>\n' % (name, nodeid))
    w.w("  </Aliases>\n")


def node(w, kind, nodeid, browse, refs, attrs="", description=None, value=None, parent=None):
    parent_attr = ' ParentNodeId="%s"' % parent if parent else ""
    w.w('  <%s NodeId="%s" BrowseName="1:%s"%s%s>\n' % (kind, nodeid, browse, parent_attr, attrs))
    w.w("    <DisplayName>%s</DisplayName>\n" % browse)
    if description:
        w.w("    <Description>%s</Description>\n" % description)
    w.w("    <References>\n")
    for reftype, target, forward in refs:
        if forward:
            w.w('      <Reference ReferenceType="%s">%s</Reference>\n' % (reftype, target))
        else:
            w.w('      <Reference ReferenceType="%s" IsForward="false">%s</Reference>\n' % (reftype, target))
    w.w("    </References>\n")
    if value is not None:
        w.w("    <Value>%s</Value>\n" % value)
    w.w("  </%s>\n" % kind)
    w.count += 1


def types(w):
    """A machine type with its members declared, and two subtypes."""
    node(w, "UAObjectType", "ns=1;i=1", "MachineType", [("HasSubtype", BASE_OBJECT_TYPE, False)],
         description="A machine of the plant")
    node(w, "UAObjectType", "ns=1;i=2", "PressType", [("HasSubtype", "ns=1;i=1", False)])
    node(w, "UAObjectType", "ns=1;i=3", "OvenType", [("HasSubtype", "ns=1;i=1", False)])
    node(w, "UAVariable", "ns=1;i=4", "Temperature",
         [("HasTypeDefinition", BASE_DATA_VARIABLE_TYPE, True), ("HasModellingRule", MANDATORY, True),
          ("HasComponent", "ns=1;i=1", False)],
         attrs=' DataType="Double"', parent="ns=1;i=1")
    return 4


def generate(w, total):
    header(w)
    next_id = types(w) + 1
    root = "ns=1;s=Plant"
    node(w, "UAObject", root, "Plant",
         [("Organizes", OBJECTS_FOLDER, False), ("HasTypeDefinition", FOLDER_TYPE, True)],
         description="The synthetic plant")
    machine = 0
    area = None
    line = None
    while w.count + NODES_PER_MACHINE <= total:
        if machine % (MACHINES_PER_LINE * LINES_PER_AREA) == 0:
            area = "ns=1;s=Area%d" % (machine // (MACHINES_PER_LINE * LINES_PER_AREA))
            node(w, "UAObject", area, area[7:], [("Organizes", root, False), ("HasTypeDefinition", FOLDER_TYPE, True)])
        if machine % MACHINES_PER_LINE == 0 and w.count + NODES_PER_MACHINE < total:
            line = "ns=1;i=%d" % next_id
            next_id += 1
            node(w, "UAObject", line, "Line%d" % (machine // MACHINES_PER_LINE),
                 [("Organizes", area, False), ("HasTypeDefinition", FOLDER_TYPE, True)])
            if w.count + NODES_PER_MACHINE > total:
                break
        if w.next_part_due():
            w.start_next_part()
        m = "ns=1;s=Machine%d" % machine
        mtype = ("ns=1;i=2", "ns=1;i=3", "ns=1;i=1")[machine % 3]
        node(w, "UAObject", m, "Machine%d" % machine,
             [("Organizes", line, False), ("HasTypeDefinition", mtype, True)],
             description="Machine %d &lt;line %s&gt;" % (machine, line) if machine % 4 == 0 else None)
        for name, datatype, rank, value in MACHINE_VARIABLES:
            attrs = ' DataType="%s"' % datatype
            if rank == 1:
                attrs += ' ValueRank="1" ArrayDimensions="8"'
            node(w, "UAVariable", "ns=1;i=%d" % next_id, name,
                 [("HasComponent", m, False), ("HasTypeDefinition", BASE_DATA_VARIABLE_TYPE, True)],
                 attrs=attrs + ' AccessLevel="3"', value=value(machine), parent=m)
            next_id += 1
        for name, datatype, value in MACHINE_PROPERTIES:
            attrs = ' DataType="%s"' % datatype
            if value(0).startswith("<uax:ListOf"):
                attrs += ' ValueRank="1"'
            node(w, "UAVariable", "ns=1;i=%d" % next_id, name,
                 [("HasProperty", m, False), ("HasTypeDefinition", PROPERTY_TYPE, True)],
                 attrs=attrs, value=value(machine), parent=m)
            next_id += 1
        machine += 1
    # Fill up to the exact count with plain variables below the plant folder.
    while w.count < total:
        node(w, "UAVariable", "ns=1;i=%d" % next_id, "Spare%d" % next_id,
             [("HasComponent", root, False), ("HasTypeDefinition", BASE_DATA_VARIABLE_TYPE, True)],
             attrs=' DataType="Int32"', value="<uax:Int32>%d</uax:Int32>" % next_id)
        next_id += 1
    w.w("</UANodeSet>\n")
    w.flush()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("-n", "--nodes", type=int, default=1000000, help="number of nodes (default 1000000)")
    parser.add_argument("-o", "--output", help="output file (default: standard output)")
    parser.add_argument("-p", "--parts", type=int, default=1, help="number of files (default 1)")
    args = parser.parse_args()
    if args.nodes < 6:
        parser.error("at least 6 nodes")
    if args.parts < 1 or (args.parts > 1 and not args.output):
        parser.error("-p needs -o and a count of at least 1")

    def part_name(k):
        stem, dot, ext = args.output.rpartition(".")
        return "%s.%d.%s" % (stem, k, ext) if dot else "%s.%d" % (args.output, k)

    def open_part(k, previous):
        previous.close()
        print("writing %s" % part_name(k), file=sys.stderr)
        return open(part_name(k), "w", encoding="utf-8")

    if args.parts > 1:
        print("writing %s" % part_name(1), file=sys.stderr)
        out = open(part_name(1), "w", encoding="utf-8")
    else:
        out = open(args.output, "w", encoding="utf-8") if args.output else sys.stdout
    w = Writer(out, args.nodes, args.parts, open_part)
    try:
        generate(w, args.nodes)
    finally:
        if args.output:
            w.out.close()
    print("%d nodes" % w.count, file=sys.stderr)


if __name__ == "__main__":
    main()
