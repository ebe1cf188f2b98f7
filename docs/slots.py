#!/usr/bin/env python3
"""Writes the slot-order page of the reference: for every interface of the host-facing headers,
its virtual operations numbered in the order they stand, after those of its base.

usage: slots.py OUTPUT.md HEADER...
"""
import re
import sys

CLASS = re.compile(r"^class\s+(\w+)(?:\s+final)?\s*(?::\s*public\s+([\w:]+))?\s*\{")
VIRTUAL = re.compile(r"^\s*virtual\s+(.*)")


def interfaces(text):
    """(namespace-qualified name, base, [operations]) in the order the classes stand."""
    found, namespace, current = [], [], None
    lines = text.splitlines()
    i = 0
    while i < len(lines):
        line = lines[i]
        ns = re.match(r"^namespace\s+(\w+)\s*\{", line)
        if ns and current is None:
            namespace.append(ns.group(1))
        elif current is None and namespace and re.match(r"^\}(?!;)", line):
            namespace.pop()
        m = CLASS.match(line)
        if m:
            name = "::".join(namespace + [m.group(1)])
            current = (name, m.group(2), [])
        elif current is not None and line.startswith("};"):
            if current[2]:
                found.append(current)
            current = None
        elif current is not None:
            v = VIRTUAL.match(line)
            if v:
                declaration = v.group(1)
                while not declaration.rstrip().endswith(";"):
                    i += 1
                    declaration += " " + lines[i].strip()
                declaration = re.sub(r"\s*=\s*(0|default)\s*;$", "", declaration.strip())
                declaration = re.sub(r"\s+override$", "", declaration)
                current[2].append(declaration)
        i += 1
    return found


def main():
    output, headers = sys.argv[1], sys.argv[2:]
    classes = []
    for header in headers:
        with open(header, encoding="utf-8") as f:
            classes.extend((header.rsplit("/", 1)[-1], *c) for c in interfaces(f.read()))
    # Slots a class holds in all, its bases' included; the headers may name a base later.
    own = {name.rsplit("::", 1)[-1]: (base, len(ops)) for _, name, base, ops in classes}

    def total(short):
        base, count = own.get(short, (None, 0))
        return count + (total(base) if base else 0)

    out = [
        "# Slot order {#slots}",
        "",
        "The host and the module call each other through tables of virtual operations, so the",
        "order of the operations is the binary contract: a slot never moves, and a slot that",
        "nothing calls (`Reserved...`) keeps its place. Each table below numbers an interface's",
        "operations from 0, after the slots of its base. A virtual destructor counts as one slot",
        "here, as in the client's tables; the Itanium C++ ABI of this build gives it two entries",
        "(complete and deleting) at that place, and the operations after it move by one.",
        "",
    ]
    for header, name, base, operations in classes:
        first = total(base) if base else 0
        out.append(f"## {name} {{#slots_{name.replace('::', '_')}}}")
        out.append("")
        where = f"declared in `tnwebui/{header}`"
        out.append(f"{name}, {where}" + (f"; slots 0 to {first - 1} are those of {base}." if base else "."))
        out.append("")
        out.append("| slot | operation |")
        out.append("| ---: | --- |")
        for n, op in enumerate(operations, start=first):
            out.append(f"| {n} | `{op.replace('|', '&#124;')}` |")
        out.append("")
    with open(output, "w", encoding="utf-8") as f:
        f.write("\n".join(out))


if __name__ == "__main__":
    main()
