"""Does the damage of each row of the table for real and looks at the exit code, the console, the
log, the registry and the files; then the damage is undone, and the next run must put all right."""
import re
import time
from contextlib import ExitStack

import pytest
from conftest import DOTNET, ROOT, presets
from fault_table import AREAS
from scene import REGISTER, Scene, differing, line, steps

FAULTS = [fault for faults in AREAS.values() for fault in faults]
CASES = [pytest.param(preset.values[0], fault, marks=preset.marks,
                      id=f"{preset.values[0]}-{fault.name}")
         for preset in presets() for fault in FAULTS if fault.both or preset.values[0] != "x86"]


@pytest.mark.parametrize("installed, fault", CASES, indirect=["installed"])
def test_fault(machine, fault):
    with ExitStack() as undo:
        scene = Scene(machine, undo)
        if fault.ordeal:
            fault.ordeal(scene)
            return
        survive(scene, fault)
        undo.close()
        if fault.but:
            scene.heals(but=fault.stays)


def survive(scene, fault):
    registered, removed = scene.baseline()
    expected = removed if "-u" in fault.run else registered
    if expected is removed and fault.code == 0:
        scene.run(*REGISTER, "-s")
    options = fault.harm(scene) or {}
    if fault.code != 0:
        expected = scene.state()
    files = scene.files()
    arguments = [*fault.run, *options.pop("also", [])]
    begun = time.monotonic()
    done = scene.machine.run(*arguments, **options)
    took = time.monotonic() - begun

    assert done.code == fault.code, done
    assert took < fault.seconds
    check_what_is_said(done, fault, scene.machine.preset, logged=options.get("log", True))
    but = (DOTNET, *fault.but)
    different = [key for key in differing(scene.state(), expected) if not key.startswith(but)]
    assert not different, different
    assert not scene.strange(files)


def check_what_is_said(done, fault, preset, logged):
    assert fault.complains or not done.error, done.error
    if isinstance(fault.says, str):
        assert done.console == fault.says
        return
    lines = done.lines() if logged else done.console.splitlines()
    if isinstance(fault.says, dict):
        assert lines[5:] == steps(fault.run, fault.says)
    for said in fault.says if isinstance(fault.says, list) else ():
        assert line(said).replace("{preset}", preset) in lines
    if fault.console == "none":
        assert not done.console
    elif logged and fault.console == "log" and "%" not in done.log:
        assert done.console == done.log


def test_every_fault_is_explained():
    """A row of the document for each row of the table, with the same exit code, and the reverse."""
    document = (ROOT / "docs" / "testing.md").read_text(encoding="utf-8")
    area, explained = "", []
    for text in document.splitlines():
        area = text[4:] if text.startswith("### ") else area
        if (row := re.fullmatch(r"\| ([^|]+) \| ([^|]+) \| ([^|]+) \|", text)) and area in AREAS:
            explained.append((area, row[1], row[2]))
    rows = [row for row in explained if row[1] != "Fault" and not row[1].startswith("-")]
    assert rows == [(area, fault.name, str(fault.code)) for area, faults in AREAS.items()
                    for fault in faults]
