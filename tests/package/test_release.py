"""The archives as they are handed out: what is in them, and that a copy registers from one."""
import hashlib
import os
import shutil
import subprocess
import zipfile

import pytest
from conftest import COPIES, ROOT, message, text

DOCUMENTS = ["CHANGELOG.md", "NOTICE", "README.md", "SECURITY.md", "docs/administration.md",
             "docs/deployment.md"]
COMMANDS = ["common", "register", "unregister", "upgrade", "verify"]
TIME = "1767225600"

pytestmark = pytest.mark.skipif(
    "x64" not in os.environ.get("ZELK_PRESETS", "x64 x86").split(),
    reason="a build for testing is not what is handed out")


def release():
    done = subprocess.run([ROOT / "scripts" / "release.sh"], capture_output=True, text=True,
                          env=dict(os.environ, SOURCE_DATE_EPOCH=TIME))
    assert done.returncode == 0, done.stdout + done.stderr
    return {file.stem[-3:]: file for file in (ROOT / "dist").glob("*.zip")}


@pytest.fixture(scope="module")
def archives():
    return release()


def files(archive):
    return [entry for entry in zipfile.ZipFile(archive).infolist() if not entry.is_dir()]


@pytest.mark.parametrize("preset", ["x64", "x86"])
def test_contents(archives, preset):
    entries = files(archives[preset])
    locales = {file.parent.name for file in (ROOT / "msg").glob("*/zelkpmreg.rc")}
    assert {entry.filename for entry in entries} == {
        *DOCUMENTS, "bin/zelkpmreg.exe", *(f"msg/{name}/zelkpmreg.dll" for name in locales),
        *(f"deploy/{name}.cmd" for name in COMMANDS)}
    # Neither the time nor anything else of the building machine.
    assert {(entry.date_time, entry.extra) for entry in entries} == {((2026, 1, 1, 0, 0, 0), b"")}
    content = zipfile.ZipFile(archives[preset]).read("bin/zelkpmreg.exe")
    assert b"/tests/" not in content and str(ROOT).encode() not in content
    machine = int.from_bytes(content[(at := content.index(b"PE\0\0") + 4):at + 2], "little")
    assert machine == {"x64": 0x8664, "x86": 0x14C}[preset]
    sums = dict(reversed(line.split()) for line in (
        ROOT / "dist" / "SHA256SUMS").read_text().splitlines())
    archive = archives[preset]
    assert sums[archive.name] == hashlib.sha256(archive.read_bytes()).hexdigest()


def test_same_bytes_from_another_build_folder(archives, machine):
    for entry in files(archives[machine.preset]):
        if entry.filename.startswith(("bin/", "msg/")):
            built = (machine.build / "package" / entry.filename).read_bytes()
            assert zipfile.ZipFile(archives[machine.preset]).read(entry) == built, entry.filename
    first = {preset: archive.read_bytes() for preset, archive in archives.items()}
    assert {preset: archive.read_bytes() for preset, archive in release().items()} == first


def test_registers_from_the_archive(archives, machine):
    folder = machine.copy("Released")
    for part in ("bin/zelkpmreg.exe", "msg"):
        path = machine.path(folder) / part
        shutil.rmtree(path) if path.is_dir() else path.unlink()
    zipfile.ZipFile(archives[machine.preset]).extractall(machine.path(folder))
    done = machine.run("-c", "MYCOPY", "-d", "-s", folder=folder)
    assert (done.code, done.console) == (0, "")
    assert message("MSG_OLEDB_REGISTERED") in done.lines()
    record = machine.registry(f"{COPIES}\\MYCOPY")[f"{COPIES}\\MYCOPY"]
    assert record["Zelk Path Name"] == text(folder + "\\")
    assert machine.run("-u", "-c", "MYCOPY", "-i", "DE", folder=folder).code == 0
