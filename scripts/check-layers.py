#!/usr/bin/env python3
"""Checks the order of the folders below src: who may include whom, no circle of modules, and no
word of the product in the layer over Windows. The tests and the bench may include anything."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
# A folder may include itself and these.
SERVICES = {"services", "services/files", "services/programs"}
BELOW = {
    "admin": {"driver", "registration", "odbc", "run", *SERVICES},
    "driver": {"registration", "odbc", "run", *SERVICES},
    "registration": {"run", *SERVICES},
    "odbc": {"run", *SERVICES},
    "run": SERVICES,
    "services": set(),
    "services/files": {"services"},
    "services/programs": {"services"},
}
MESSAGE_IDS = "msg/message_ids.h"
PRODUCT = re.compile(r"\w*(?:zelk|orvane|pellimar|orvdb)\w*", re.I)
# The product's own interfaces, whose names a layer that loads them has to know.
INTERFACE = re.compile(r"ZELKi|ZELKI_")


def module(path):
    """src/run/language.h and .cpp are the module run/language."""
    return path.rsplit(".", 1)[0]


def circle(edges, node, way):
    """The first circle of includes below a module, or nothing."""
    if node in way:
        return [*way[way.index(node):], node]
    found = (circle(edges, target, [*way, node]) for target in sorted(edges.pop(node, ())))
    return next(filter(None, found), None)


def main():
    faults, edges = [], {}
    for file in sorted((ROOT / "src").rglob("*/*.[ch]*")):
        name = file.relative_to(ROOT / "src").as_posix()
        folder = name.rsplit("/", 1)[0]
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            where = f"src/{name}:{number}"
            if (found := re.match(r'\s*#\s*include "([^"]+)"', line)) and found[1] != MESSAGE_IDS:
                if found[1].rsplit("/", 1)[0] not in {folder, *BELOW[folder]}:
                    faults.append(f"{where}: {folder} may not include {found[1]}")
                edges.setdefault(module(name), set()).add(module(found[1]))
            faults += [f"{where}: {folder} has the product's word {word}"
                       for word in PRODUCT.findall(line)
                       if folder in SERVICES and not INTERFACE.match(word)]
    for node, targets in edges.items():
        targets.discard(node)
    for node in sorted(edges):
        if found := circle({**edges}, node, []):
            faults.append("circle of includes: " + " -> ".join(found))
            break
    print("\n".join(faults), end="\n" if faults else "")
    sys.exit(bool(faults))


main()
