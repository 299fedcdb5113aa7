#!/usr/bin/env python3
"""Checks the documents: they have every exit code of the program, in each of its forms, and every
language; a link leads to a file or a heading that is there; a path and a test that they name are
there, too."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
CODES = {int(code) for code in
         re.findall(r"= (-?\d+),", (ROOT / "src/run/exit_codes.h").read_text(encoding="utf-8"))}
REFUSALS = CODES - {0}
# What zelkpmutil returns besides, as its help lists it.
WINDOWS_CODES = {int(code) for code in
                 re.findall(r'^ *"  (\d+) +[A-Z]', (ROOT / "src/admin/help.cpp").read_text(
                     encoding="utf-8"), re.M)} - {0}
LANGUAGES = re.findall(r'\{"\d+", "\w{4}", "([A-Z]{2})"',
                       (ROOT / "src/run/language.cpp").read_text(encoding="utf-8"))
# Where each code is to be found in each of its forms, and where each refusal.
WITH_CODES = ("docs/exit-codes.md",)
WITH_REFUSALS = (*WITH_CODES, "docs/architecture.md")
FOLDERS = "src|msg|tests|acceptance|bench|cmake|scripts|docs"


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
    """A code of zelkpmreg is shown with a sign, without one, and in hexadecimal; a code of Windows
    as it is and as an HRESULT."""
    rows = {int(code): forms for code, *forms in
            re.findall(r"^\| (-?\d+) \| (\d+) \| (0x\w{8}) \|", text, re.M)}
    for code in CODES:
        if rows.get(code) != [str(code % 2**32), f"0x{code % 2**32:08X}"]:
            yield f"{name}: no row has {code} in each form"
    for code in rows.keys() - CODES:
        yield f"{name}: {code} is no exit code"
    results = {int(code): result for code, result in
               re.findall(r"^\| (\d+) \| (0x\w{8}) \|", text, re.M)}
    for code in WINDOWS_CODES:
        if results.get(code) != f"0x{0x80070000 + code:08X}":
            yield f"{name}: no row has {code} and its HRESULT"


def missing_codes(name, text):
    """Refusals that the document has no row for, or its chart no arrow."""
    found = {int(code) for code in re.findall(r"(?<![\w.])-\d{3}\b", text)}
    if missing := REFUSALS - found:
        yield f"{name}: there is nothing of {sorted(missing)}"


def missing_languages(text):
    listed = re.search(r"Language codes: ([A-Z\s]+)\.", text)
    if not listed or sorted(listed[1].split()) != sorted(LANGUAGES):
        yield "README.md: the language codes are not those of src/run/language.cpp"


def missing_files(name, text):
    for path in re.findall(rf"(?<![\w/.\\])(?:{FOLDERS})/[\w./-]*\w", text):
        if not (ROOT / path).exists() and not list(ROOT.glob(path + ".*")):
            yield f"{name}: there is no {path}"


def missing_tests(name, text):
    """Tests of GoogleTest, which documents name as `Suite.Case`."""
    source = "".join(file.read_text(encoding="utf-8") for file in ROOT.glob("tests/*/*.cpp"))
    cases = re.findall(r"^TEST(?:_F)?\((\w+), (\w+)\)", source, re.M)
    tests = {f"{suite}.{case}" for suite, case in cases}
    suites = {test.split(".")[0] for test in tests}
    for test in re.findall(r"`([A-Z]\w+\.(?:[A-Z]\w+|\*))`", text):
        suite, case = test.split(".")
        # docs/windows.md also names checks of the acceptance kit.
        if suite in suites and case not in ("*", "Unchanged", "PutBack") and test not in tests:
            yield f"{name}: there is no test {test}"


def main():
    faults = []
    for file in (*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")):
        name = file.relative_to(ROOT).as_posix()
        text = file.read_text(encoding="utf-8")
        faults += faulty_links(name, text)
        faults += missing_files(name, text)
        faults += missing_tests(name, text)
        if name in WITH_CODES:
            faults += faulty_codes(name, text)
        if name in WITH_REFUSALS:
            faults += missing_codes(name, text)
        if name == "README.md":
            faults += missing_languages(text)
    print("\n".join(faults), end="\n" if faults else "")
    sys.exit(bool(faults))


main()
