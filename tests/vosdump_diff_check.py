#!/usr/bin/env python3
"""Checks `vosdump --diff --json` with Python's json module.

  vosdump_diff_check.py compare VOSDUMP [OPTION...] OLD NEW
      Runs `vosdump --diff` with the options twice, with and without --json, parses the
      document strictly (UTF-8, no duplicate keys, no bare NaN), renders from it the text
      report and compares the two byte for byte, and the exit statuses. Prints the first
      difference and exits 1 when they differ.
"""
import json
import subprocess
import sys

import strict_json


def dumps(value):
    return json.dumps(value, ensure_ascii=False)


def render_summary(s):
    return [
        "file changes: %d" % s["file_changes"],
        "namespaces: %d added, %d removed, %d changed"
        % (s["namespaces_added"], s["namespaces_removed"], s["namespaces_changed"]),
        "nodes: %d added, %d removed, %d changed"
        % (s["nodes_added"], s["nodes_removed"], s["nodes_changed"]),
        "references: %d added, %d removed" % (s["references_added"], s["references_removed"]),
    ]


def render(doc, summary_only):
    if summary_only:
        return render_summary(doc["summary"])
    if doc["equal"]:
        return []
    lines = ["--- " + doc["old"], "+++ " + doc["new"]]

    def changes(items, indent):
        for c in items:
            lines.append("%s%s: %s -> %s" % (indent, c["attribute"], dumps(c["old"]),
                                              dumps(c["new"])))

    if doc["file"]:
        lines.append("file")
        changes(doc["file"], "  ")
    for ns in doc["namespaces"]:
        old, new = ns["old_index"], ns["new_index"]
        name = ns["uri"] or "ns=%d" % (new if new is not None else old)
        if ns["status"] == "added":
            where = "added, ns=%d" % new
        elif ns["status"] == "removed":
            where = "removed, was ns=%d" % old
        else:
            where = "ns=%d" % new + ("" if old == new else ", was ns=%d" % old)
        lines.append("namespace %s (%s)" % (name, where))
        changes(ns["changes"], "  ")
        signs = {"added": "+", "removed": "-", "changed": "~"}
        for node in ns["nodes"]:
            line = "  %s %s %s %s" % (signs[node["status"]], node["nodeid"], node["class"],
                                      dumps(node["browse_name"]))
            if node.get("path"):
                line += " " + node["path"]
            lines.append(line)
            changes(node["changes"], "      ")
            for key, sign in (("references_removed", "-"), ("references_added", "+")):
                for ref in node[key]:
                    arrow = "->" if ref["direction"] == "forward" else "<-"
                    line = "      %s %s %s %s" % (sign, ref["type_name"], arrow, ref["node"])
                    if ref["node_name"] is not None:
                        line += " " + dumps(ref["node_name"])
                    lines.append(line)
    return lines + render_summary(doc["summary"])


def compare(vosdump, args):
    as_json = subprocess.run([vosdump, "--diff", "--json"] + args, capture_output=True)
    as_text = subprocess.run([vosdump, "--diff"] + args, capture_output=True)
    if as_json.returncode != as_text.returncode:
        print("status %d with --json, %d without" % (as_json.returncode, as_text.returncode))
        return 1
    doc = strict_json.load(as_json.stdout)
    if doc["equal"] != (as_text.returncode == 0):
        print("equal is %r, status %d" % (doc["equal"], as_text.returncode))
        return 1
    rendered = "".join(line + "\n" for line in render(doc, "--summary" in args))
    text = as_text.stdout.decode("utf-8", "surrogateescape")
    if rendered == text:
        return 0
    want, got = text.splitlines(), rendered.splitlines()
    for i in range(max(len(want), len(got))):
        a = want[i] if i < len(want) else "<end>"
        b = got[i] if i < len(got) else "<end>"
        if a != b:
            print("line %d differs:\n  text: %s\n  json: %s" % (i + 1, a, b))
            break
    return 1


def main(argv):
    if len(argv) >= 5 and argv[1] == "compare":
        return compare(argv[2], argv[3:])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
