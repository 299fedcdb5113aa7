"""docs/deployment.md is copied into deployment systems: what it says must be what the program does."""
import re

from conftest import COPIES, ENGLISH, ROOT, UNINSTALL

DOCUMENT = (ROOT / "docs" / "deployment.md").read_text()
SOURCES = "\n".join(file.read_text() for folder in ("registration", "odbc") for file in sorted(
    (ROOT / "src" / folder).iterdir())).replace("\\\\", "\\")
CODES = {int(code) for code in re.findall(
    r"= (-?\d+),", (ROOT / "src" / "run" / "exit_codes.h").read_text())}
ROWS = re.findall(r"^\| (-?\d+) \| (\d+) \| (0x\w+) \|(.*)\|$", DOCUMENT, re.M)
BLOCKS = dict(re.findall(r"^(\w+\.cmd):\n\n```bat\n(.*?)```", DOCUMENT, re.M | re.S))


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
    spans = re.findall(r"`([^`\n]+)`", DOCUMENT)
    commands = [line.rsplit("zelkpmreg.exe", 1)[1] for line in DOCUMENT.splitlines()
                if re.search(r'zelkpmreg\.exe" -', line)]
    used = {option for text in [*commands, *(s for s in spans if s.startswith("-"))]
            for option in re.findall(r"(?<!\S)(-\w+)", text)}
    assert {"-c", "-d", "-l", "-p", "-r", "-s", "-u"} <= used <= known
    # What a deployment system is given never waits for a key, and always logs.
    assert commands and all(" -p" not in line and " -s " in line and " -l " in line
                            for line in commands)
    assert "-u -p -c" in SOURCES


def test_keys_and_values_are_those_of_the_sources():
    constants = {text.rstrip("\\").lower() for text in re.findall(
        r'"(software\\[^"]+)"', SOURCES, re.I)}
    keys = re.findall(r"(?:HKLM\\|')(SOFTWARE\\[^`'\"]+)", DOCUMENT)
    assert {COPIES, UNINSTALL} <= {key.removesuffix("\\MYCOPY") for key in keys}
    for key in keys:
        plain = key.replace("WOW6432Node\\", "").removesuffix("\\MYCOPY").lower()
        assert plain in constants, key
    named = {"Zelk Path Name", "RemoteCopy", "defaultClientInterfaceCopy", "UninstallString",
             "Modification", "Fix Level", "CPTimeout"}
    asked = set(re.findall(r"/v \"([^\"]+)\"|GetValue\('([^']+)'\)", DOCUMENT))
    for name in named | {first or second for first, second in asked}:
        assert name in DOCUMENT and f'"{name}"' in SOURCES, name


def test_links():
    targets = re.findall(r"\]\(([^)#]*)(?:#([^)]+))?\)", DOCUMENT)
    for file, anchor in targets:
        text = (ROOT / "docs" / file).read_text() if file else DOCUMENT
        heads = {re.sub(r"[^\w -]", "", head.lower()).strip().replace(" ", "-")
                 for head in re.findall(r"^#+ (.*)$", text, re.M)}
        assert not anchor or anchor in heads, (file, anchor)


def test_batch_files_give_the_code(machine):
    """The documented files as they stand, run by a real command interpreter."""
    def run(name):
        text = BLOCKS[name].replace(r"C:\Program Files\Orvane\Pellimar Package", machine.default)
        text = text.replace(r"C:\ProgramData\Orvane", r"C:\zelk")
        file = machine.path("C:\\zelk") / name
        file.write_text(text.replace("\n", "\r\n"))
        done = machine.wine("cmd", "/c", f"C:\\zelk\\{name}")
        assert done.stdout == b""
        return done.returncode - 256 if done.returncode > 127 else done.returncode

    assert [run("register.cmd"), run("register.cmd")] == [0, 0]
    assert f"{COPIES}\\MYCOPY" in machine.registry(COPIES)
    machine.set(f"{COPIES}\\MYCOPY", "RemoteCopy", "NO")
    assert run("unregister.cmd") == -105
    machine.set(f"{COPIES}\\MYCOPY", "RemoteCopy", "YES")
    assert [run("unregister.cmd"), run("unregister.cmd")] == [0, 0]
