"""The acceptance kit: its bytes, and what it says of a good and of a bad program."""
import shutil
import zipfile
from pathlib import Path

import pytest
from support.machine import DRIVE, PREFIX, PRESET
from support.wine import ROOT, end_session, make_light_prefix

CASES = "Text.*:Files.FolderTrees:Program.Help:Transcript.RegisterAndUnregister"
POOLING = b"ODBC Connection Pooling"


@pytest.fixture
def kit(archive):
    """The files of the archive, on drive C."""
    folder = DRIVE / "kit (1) & more"
    shutil.rmtree(folder, ignore_errors=True)
    zipfile.ZipFile(archive.with_stem(f"{archive.stem}-acceptance")).extractall(folder)
    return folder


@pytest.mark.both
def test_same_bytes(kit):
    files = [file for file in kit.rglob("*.*") if file.suffix in (".exe", ".dll", ".cmd")]
    assert {"accept.cmd", "checks.exe", "program_tests.exe"} <= {file.name for file in files}
    for file in files:
        data = file.read_bytes()
        assert data == (ROOT / "build" / PRESET / file.relative_to(kit)).read_bytes(), file
        assert str(ROOT).encode() not in data and b"/usr/src" not in data, file


def test_answers(kit, machine):
    light = Path(f"{PREFIX}-kit")
    end_session(light)
    shutil.rmtree(light, ignore_errors=True)
    make_light_prefix(PREFIX, light)

    def accept():
        env = {"WINEPREFIX": str(light), "ZELK_CASES": CASES}
        done = machine.wine("cmd", "/c", "accept.cmd", cwd=kit, env=env)
        return done.returncode, done.stdout.decode().splitlines()

    code, lines = accept()
    assert (code, lines[-2]) == (0, "7 passed, 0 failed"), lines
    program = kit / "package/bin/zelkpmreg.exe"
    program.write_bytes(program.read_bytes().replace(POOLING, POOLING[:-1] + b"X"))
    code, lines = accept()
    assert (code, lines[-2]) == (1, "5 passed, 2 failed"), lines
    assert "FAILED  Registry.Unchanged" in lines and "ok      Registry.PutBack" in lines
    end_session(light)
