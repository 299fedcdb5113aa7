"""The built binaries: protections, manifest, version, imports, and equal bytes from equal sources."""
import os
import re
import shutil
import subprocess

import pefile
import pytest
from conftest import ROOT

SHIPPED = [p for p in ("x64", "x86") if p in os.environ.get("ZELK_PRESETS", "x64 x86").split()]
LOCALES = set(re.search(r"set\(ZELK_LOCALES([^)]*)", (ROOT / "msg/CMakeLists.txt").read_text())[1].split())
LARGEST_PROGRAM = 200_000
HIGH_ENTROPY, DYNAMIC_BASE, NO_EXECUTE = 0x20, 0x40, 0x100
RELOCATIONS_STRIPPED, MANIFEST = 1, 24
# src/services/stack_guard.cpp mixes the guard with it. The linker takes that file only for functions
# that are protected.
GUARD = bytes.fromhex("157c4a7f")
VERSION = {"CompanyName": "Orvane", "ProductName": "Orvane Pellimar Package",
           "FileDescription": "Registers an installed copy of the Orvane Pellimar Package",
           "FileVersion": "10.1.2", "ProductVersion": "10.1.2", "InternalName": "zelkpmreg",
           "OriginalFilename": "zelkpmreg.exe", "LegalCopyright": "Orvane"}

pytestmark = pytest.mark.skipif(
    not SHIPPED, reason="a build for testing is not what is handed out")


@pytest.fixture(params=SHIPPED)
def package(request):
    return ROOT / "build" / request.param / "package"


def read(file):
    image = pefile.PE(file)
    wanted = DYNAMIC_BASE | NO_EXECUTE
    if image.PE_TYPE == pefile.OPTIONAL_HEADER_MAGIC_PE_PLUS:
        wanted |= HIGH_ENTROPY
    assert image.OPTIONAL_HEADER.DllCharacteristics & wanted == wanted
    assert image.FILE_HEADER.TimeDateStamp == 0
    assert not image.FILE_HEADER.Characteristics & RELOCATIONS_STRIPPED
    return image


def test_program(package):
    file = package / "bin" / "zelkpmreg.exe"
    image = read(file)
    assert {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT} == {
        "kernel32.dll", "advapi32.dll", "user32.dll", "msvcrt.dll"}
    assert all(not (s.IMAGE_SCN_MEM_WRITE and s.IMAGE_SCN_MEM_EXECUTE) for s in image.sections)
    assert image.DIRECTORY_ENTRY_BASERELOC, "no address of it could be random"
    assert GUARD in image.sections[0].get_data()
    assert file.stat().st_size < LARGEST_PROGRAM


def test_manifest_and_version(package):
    image = read(package / "bin" / "zelkpmreg.exe")
    (manifest,) = (kind for kind in image.DIRECTORY_ENTRY_RESOURCE.entries if kind.id == MANIFEST)
    place = manifest.directory.entries[0].directory.entries[0].data.struct
    xml = image.get_data(place.OffsetToData, place.Size)
    assert re.search(rb'<requestedExecutionLevel level="requireAdministrator"', xml)
    numbers = image.VS_FIXEDFILEINFO[0]
    assert (numbers.FileVersionMS, numbers.FileVersionLS) == (10 << 16 | 1, 2 << 16)
    assert (numbers.ProductVersionMS, numbers.ProductVersionLS) == (10 << 16 | 1, 2 << 16)
    texts = {k.decode(): v.decode() for info in image.FileInfo[0] if info.Key == b"StringFileInfo"
             for k, v in info.StringTable[0].entries.items()}
    assert texts == VERSION


def test_message_libraries(package):
    libraries = {file.parent.name: file for file in (package / "msg").glob("*/zelkpmreg.dll")}
    assert libraries.keys() == LOCALES
    for file in libraries.values():
        image = read(file)
        assert image.OPTIONAL_HEADER.AddressOfEntryPoint == 0
        assert not getattr(image, "DIRECTORY_ENTRY_IMPORT", [])
        assert not getattr(image, "DIRECTORY_ENTRY_TLS", None)
        assert image.is_dll()


@pytest.mark.skipif("x64" not in SHIPPED, reason="64-bit builds are compared")
def test_same_bytes_from_sources_elsewhere():
    sources = ROOT / "build" / "elsewhere" / "a longer path"
    shutil.rmtree(sources.parent, ignore_errors=True)
    for name in ("cmake", "msg", "scripts", "src"):
        shutil.copytree(ROOT / name, sources / name)
    for name in ("CMakeLists.txt", "CMakePresets.json"):
        shutil.copy(ROOT / name, sources / name)
    for command in (["cmake", "--preset", "x64", "-DZELK_TESTS=OFF"],
                    ["cmake", "--build", "--preset", "x64"]):
        done = subprocess.run(command, cwd=sources, capture_output=True, text=True)
        assert done.returncode == 0, done.stdout[-2000:] + done.stderr
    built, usual = (folder / "build" / "x64" / "package" for folder in (sources, ROOT))
    files = {file.relative_to(built) for file in built.rglob("*") if file.is_file()}
    assert files == {file.relative_to(usual) for file in usual.rglob("*") if file.is_file()}
    assert [f for f in files if (built / f).read_bytes() != (usual / f).read_bytes()] == []
    shutil.rmtree(sources.parent)
