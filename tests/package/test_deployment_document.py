"""docs/deployment.md is copied into deployment systems: what it says must be what the program does."""
import re

from conftest import COPIES, ENGLISH, ROOT, UNINSTALL

DOCUMENT = (ROOT / "docs" / "deployment.md").read_text()
SOURCES = "\n".join(file.read_text() for folder in ("registration", "odbc") for file in sorted(
    (ROOT / "src" / folder).iterdir())).replace("\\\\", "\\")
CODES = {int(code) for code in re.findall(
    r"= (-?\d+),", (ROOT / "src" / "run" / "exit_codes.h").read_text())}
ROWS = re.findall(r"^\| (-?\d+) \| (\d+) \| (0x\w+) \|(.*)\|$", DOCUMENT, re.M)


def test_exit_codes_in_three_spellings():
    assert [int(row[0]) for row in ROWS] == sorted(CODES, reverse=True)
    for signed, unsigned, hexadecimal, rest in ROWS:
        assert int(unsigned) == int(hexadecimal, 16) == int(signed) % 2**32, signed
        assert "nothing" in rest and len(rest.split("|")) == 3, rest
    mentioned = {int(code) for code in re.findall(r"(?<![\w.-])-1\d\d\b", DOCUMENT)}
    assert mentioned <= CODES
    spelled = {int(number) - 2**32 for number in re.findall(r"\b42949\d+\b", DOCUMENT)}
    assert spelled <= CODES


def test_options_are_those_of_the_help():
    known = set(re.findall(r"^  (-\w)\b", ENGLISH["MSG_USAGE"], re.M))
    assert set(re.findall(r"`(-\w)`", DOCUMENT)) <= known
    commands = re.findall(r"\\(?:register|upgrade|unregister)\.cmd\"? .*", DOCUMENT)
    # What a deployment system is given never waits for a key.
    assert commands and not any(" -p" in line for line in commands)


def test_keys_and_values_are_those_of_the_sources():
    constants = {text.rstrip("\\").lower() for text in re.findall(
        r'"(software\\[^"]+)"', SOURCES, re.I)}
    keys = re.findall(r"(?:HKLM\\|')(SOFTWARE\\[^`'\"]+)", DOCUMENT)
    assert {COPIES, UNINSTALL} <= {key.removesuffix("\\MYCOPY") for key in keys}
    for key in keys:
        plain = key.replace("WOW6432Node\\", "").removesuffix("\\MYCOPY").lower()
        assert plain in constants, key
    for name in ("Zelk Path Name", "RemoteCopy", "UninstallString"):
        assert f"`{name}`" in DOCUMENT and f'"{name}"' in SOURCES, name


def test_links():
    targets = re.findall(r"\]\(([^)#]*)(?:#([^)]+))?\)", DOCUMENT)
    for file, anchor in targets:
        text = (ROOT / "docs" / file).read_text() if file else DOCUMENT
        heads = {re.sub(r"[^\w -]", "", head.lower()).strip().replace(" ", "-")
                 for head in re.findall(r"^#+ (.*)$", text, re.M)}
        assert not anchor or anchor in heads, (file, anchor)
