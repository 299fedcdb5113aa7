#!/usr/bin/env python3
"""Checks the documents: exit codes are the program's, in each of their forms, and a link leads to a
file or a heading that is there."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
CODES = {int(code) for code in
         re.findall(r"= (-?\d+),", (ROOT / "src/run/exit_codes.h").read_text(encoding="utf-8"))}
WITH_CODES = ("README.md", "docs/deployment.md")


def headings(text):
    """The anchors of the headings, as GitHub makes them."""
    for heading in re.findall(r"^#+ (.*)$", text, re.M):
        yield re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def faulty_links(name, text):
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        path, _, anchor = target.partition("#")
        if "://" in target:
            continue
        file = ROOT / name if not path else (ROOT / name).parent / path
        if not file.exists() or (
                anchor and anchor not in headings(file.read_text(encoding="utf-8"))):
            yield f"{name}: there is no {target}"


def faulty_codes(name, text):
    unsigned = {int(code) for code in re.findall(r"\b42949\d+\b", text)}
    if unknown := unsigned - {code % 2**32 for code in CODES}:
        yield f"{name}: no exit codes are {unknown}"
    for code, decimal, digits in re.findall(r"^\| (-\d+) \| (\d+) \| (0x\w+) \|", text, re.M):
        if int(code) not in CODES or {int(decimal), int(digits, 16)} != {int(code) % 2**32}:
            yield f"{name}: {code} is not {decimal} and {digits}"


def main():
    faults = []
    for file in (*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")):
        name = file.relative_to(ROOT).as_posix()
        text = file.read_text(encoding="utf-8")
        faults += faulty_links(name, text)
        if name in WITH_CODES:
            faults += faulty_codes(name, text)
    print("\n".join(faults), end="\n" if faults else "")
    sys.exit(bool(faults))


main()
