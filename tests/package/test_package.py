"""The archives as they are handed out, and what a run costs."""
import json
import os
import re
import shutil
import subprocess
import zipfile
from pathlib import Path

import measure
import pefile
import pytest
from machine import BUILD, PREFIX, PRESET, Machine
from wine import ROOT

HIGH_ENTROPY, DYNAMIC_BASE, NO_EXECUTE = 0x20, 0x40, 0x100
MACHINE, WANTED = {"x64": (0x8664, HIGH_ENTROPY | DYNAMIC_BASE | NO_EXECUTE),
                   "x86": (0x14C, DYNAMIC_BASE | NO_EXECUTE)}[PRESET]
# src/services/stack_guard.cpp mixes the guard with it. The linker takes that file only for
# functions that are protected.
GUARD = bytes.fromhex("157c4a7f")


@pytest.mark.both
def test_archive():
    """Equal sources give equal bytes, also in a longer path and without history."""
    sources = ROOT / "build" / f"elsewhere {PRESET}" / "a longer path"
    shutil.rmtree(sources.parent, ignore_errors=True)
    shutil.copytree(ROOT, sources, ignore=shutil.ignore_patterns("build", "dist", ".git"))
    subprocess.run([sources / "scripts/release.sh", "--no-kit", PRESET], check=True,
                   env={**os.environ, "SOURCE_DATE_EPOCH": "1767225600"})
    dist = sources / "dist"
    package = zipfile.ZipFile(next(dist.glob(f"*-{PRESET}.zip")))
    package.extractall(dist / Path(package.filename).stem)
    subprocess.run(["sha256sum", "--quiet", "-c", "SHA256SUMS"], cwd=dist, check=True)
    entries = [entry for entry in package.infolist() if not entry.is_dir()]
    assert {(e.date_time, e.extra) for e in entries} == {((2026, 1, 1, 0, 0, 0), b"")}
    found = {entry.filename: package.read(entry) for entry in entries}
    built = {file.relative_to(BUILD / "package").as_posix(): file.read_bytes()
             for file in (BUILD / "package").rglob("*") if file.is_file()}
    assert found.keys() - built.keys() == {
        "NOTICE", "README.md", "SECURITY.md", "CHANGELOG.md", "docs/administration.md",
        "docs/deployment.md", "docs/exit-codes.md", "docs/trust.md", "sbom.spdx.json"}
    sums = (dist / "SHA256SUMS").read_text().splitlines()
    assert len(sums) == 1 + len(entries)
    parts = {part["name"]: part["versionInfo"]
             for part in json.loads(found["sbom.spdx.json"])["packages"]}
    assert parts.keys() == {"zelkpmreg", "libgcc", "libstdc++", "mingw-w64 runtime"}
    assert all(re.fullmatch(r"\d+\.\d+\.\d+", version) for version in parts.values()), parts
    assert [name for name in built if built[name] != found.get(name)] == []
    shutil.rmtree(sources.parent)


def read(file):
    image = pefile.PE(BUILD / "package" / file)
    assert image.FILE_HEADER.Machine == MACHINE
    assert image.OPTIONAL_HEADER.DllCharacteristics & WANTED == WANTED
    return image


def info_strings(image):
    """The texts that Explorer and inventories show of a program's version."""
    return {name: text for information in image.FileInfo[0] if information.Key == b"StringFileInfo"
            for table in information.StringTable for name, text in table.entries.items()}


@pytest.mark.both
def test_program():
    image = read("bin/zelkpmreg.exe")
    assert {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT} == {
        "kernel32.dll", "advapi32.dll", "user32.dll", "msvcrt.dll"}
    assert all(not (s.IMAGE_SCN_MEM_WRITE and s.IMAGE_SCN_MEM_EXECUTE) for s in image.sections)
    assert image.DIRECTORY_ENTRY_BASERELOC, "no address of it could be random"
    assert GUARD in image.sections[0].get_data()
    assert b'<requestedExecutionLevel level="requireAdministrator"' in image.__data__[:]
    info = image.VS_FIXEDFILEINFO[0]
    number = f"{info.FileVersionMS >> 16}.{info.FileVersionMS & 0xFFFF}.{info.FileVersionLS >> 16}"
    assert f'ZELK_VERSION "{number}"' in (ROOT / "src/run/version.h").read_text()
    strings = info_strings(image)
    assert strings[b"FileVersion"] == strings[b"ProductVersion"] == number.encode()


@pytest.mark.both
def test_message_libraries():
    """One for each locale, and no code in it."""
    for source in ROOT.glob("msg/*/zelkpmreg.rc"):
        image = read(source.relative_to(ROOT).with_suffix(".dll"))
        assert image.is_dll() and image.OPTIONAL_HEADER.AddressOfEntryPoint == 0
        assert not any(hasattr(image, f"DIRECTORY_ENTRY_{table}") for table in ("IMPORT", "TLS"))


def test_costs():
    """Requests to the Windows server, because times do not matter for a test."""
    Machine()
    with measure.TracedMachine(PREFIX, ROOT / "build" / "traced") as traced:
        figures = measure.figures(traced, [10, 100, 1000])
    bounds = {name: bound for name, bound in measure.BOUNDS.items() if bound is not None}
    assert {name: figures[name] for name in bounds if figures[name] > bounds[name]} == {}
