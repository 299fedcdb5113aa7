"""The archives as they are handed out: what is in them, how the binaries are protected, and that
equal sources give equal bytes."""
import hashlib
import os
import re
import shutil
import zipfile

import pefile
import pytest
from support.machine import COPIES, PRESET, message
from support.wine import ROOT

LARGEST_PROGRAM = 200_000
HIGH_ENTROPY, DYNAMIC_BASE, NO_EXECUTE = 0x20, 0x40, 0x100
RELOCATIONS_STRIPPED, MANIFEST = 1, 24
MACHINE = {"x64": 0x8664, "x86": 0x14C}
BUILT = ROOT / "build" / PRESET / "package"
# src/services/stack_guard.cpp mixes the guard with it. The linker takes that file only for
# functions that are protected.
GUARD = bytes.fromhex("157c4a7f")

pytestmark = pytest.mark.both


@pytest.fixture(scope="module")
def package(archive, tmp_path_factory):
    """The files of the archive."""
    folder = tmp_path_factory.mktemp("package")
    zipfile.ZipFile(archive).extractall(folder)
    return folder


def read(file):
    image = pefile.PE(file)
    wanted = DYNAMIC_BASE | NO_EXECUTE | (HIGH_ENTROPY if PRESET == "x64" else 0)
    assert image.OPTIONAL_HEADER.DllCharacteristics & wanted == wanted
    assert image.FILE_HEADER.Machine == MACHINE[PRESET]
    assert image.FILE_HEADER.TimeDateStamp == 0
    assert not image.FILE_HEADER.Characteristics & RELOCATIONS_STRIPPED
    return image


def test_contents(archive, package):
    entries = [e for e in zipfile.ZipFile(archive).infolist() if not e.is_dir()]
    assert {e.filename for e in entries} == {
        "NOTICE", "README.md", "SECURITY.md", "CHANGELOG.md", "docs/administration.md",
        "docs/deployment.md",
        *(file.relative_to(BUILT).as_posix() for file in BUILT.rglob("*") if file.is_file())}
    # Neither the time nor anything else of the machine on which they are built.
    assert {(e.date_time, e.extra) for e in entries} == {((2026, 1, 1, 0, 0, 0), b"")}
    for file in package.rglob("*.*"):
        assert str(ROOT).encode() not in file.read_bytes(), file
    digest = hashlib.sha256(archive.read_bytes()).hexdigest()
    assert f"{digest}  {archive.name}\n" in (archive.parent / "SHA256SUMS").read_text()


def test_same_bytes_in_another_folder(package):
    assert [file for file in BUILT.rglob("*.*") if file.read_bytes() != (
        package / file.relative_to(BUILT)).read_bytes()] == []


def test_program(package):
    file = package / "bin" / "zelkpmreg.exe"
    image = read(file)
    assert {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT} == {
        "kernel32.dll", "advapi32.dll", "user32.dll", "msvcrt.dll"}
    assert all(not (s.IMAGE_SCN_MEM_WRITE and s.IMAGE_SCN_MEM_EXECUTE) for s in image.sections)
    assert image.DIRECTORY_ENTRY_BASERELOC, "no address of it could be random"
    assert GUARD in image.sections[0].get_data()
    assert file.stat().st_size < LARGEST_PROGRAM
    (manifest,) = (kind for kind in image.DIRECTORY_ENTRY_RESOURCE.entries if kind.id == MANIFEST)
    place = manifest.directory.entries[0].directory.entries[0].data.struct
    xml = image.get_data(place.OffsetToData, place.Size)
    assert re.search(rb'<requestedExecutionLevel level="requireAdministrator"', xml)


def test_message_libraries(package):
    libraries = {file.parent.name: file for file in package.glob("msg/*/zelkpmreg.dll")}
    assert libraries.keys() == {file.parent.name for file in ROOT.glob("msg/*/zelkpmreg.rc")}
    for file in libraries.values():
        image = read(file)
        assert image.OPTIONAL_HEADER.AddressOfEntryPoint == 0
        assert not getattr(image, "DIRECTORY_ENTRY_IMPORT", [])
        assert not getattr(image, "DIRECTORY_ENTRY_TLS", None)
        assert image.is_dll()


def test_registers_from_the_archive(archive, machine):
    folder = machine.copy("Released")
    shutil.rmtree(machine.path(folder) / "msg")
    os.unlink(machine.path(folder) / "bin" / "zelkpmreg.exe")
    zipfile.ZipFile(archive).extractall(machine.path(folder))
    done = machine.run("-c", "MYCOPY", "-d", "-s", folder=folder)
    assert (done.code, done.console) == (0, "")
    assert message("MSG_OLEDB_REGISTERED") in done.lines()
    record = machine.registry(f"{COPIES}\\MYCOPY")[f"{COPIES}\\MYCOPY"]
    assert record["Zelk Path Name"] == (1, folder.encode() + b"\\\0")
    assert machine.run("-u", "-c", "MYCOPY", "-i", "DE", folder=folder).code == 0
