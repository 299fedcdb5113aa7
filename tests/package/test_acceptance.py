"""What the acceptance kit says of a good program and of bad ones, and what it leaves behind."""
import os
import shutil
import subprocess
import time
from pathlib import Path

import pytest
from machine import BUILD, DRIVE, PREFIX, PRESET, Machine
from wine import ROOT, end_session, make_light_prefix

VIEW = {"x64": "/reg:64", "x86": "/reg:32"}[PRESET]
STATE = DRIVE / "windows/zelkpmreg-acceptance"
GOOD = ["Text.CopyNameInAKeyPath", "Registry.DeletedTrees", "Transcript.RegisterAndUnregister"]
# tests/programs/broken.cpp has a fault for each.
BAD = ["Transcript.RegisterAndUnregister", "Transcript.NoOptionsAndAnEntryThatIsThere",
       "Transcript.OverriddenRefusals", "Transcript.LanguagesAndLogs", "Transcript.Replace",
       "Transcript.CopiesSideBySide", "Transcript.ProviderThatCannotBeRegistered",
       "Odbc.AmongOtherDrivers", "Odbc.Traces", "Attacks.ProgramsAndLibrariesOfTheUser"]
UNINSTALL = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
ODBC = r"HKLM\SOFTWARE\ODBC\ODBC.INI"
POOLING = r"HKLM\SOFTWARE\ODBC\ODBCINST.INI\ODBC Connection Pooling"


class Kit:
    """The kit in a prefix of its own."""

    def __init__(self):
        self.machine, self.folder, self.prefix = Machine(), DRIVE / "kit", Path(f"{PREFIX}-kit")
        end_session(self.prefix)
        for folder in (self.folder, DRIVE / "kit \u00e9", self.prefix, STATE):
            shutil.rmtree(folder, ignore_errors=True)
        make_light_prefix(PREFIX, self.prefix)
        subprocess.run(["cmake", "--install", BUILD, "--component", "acceptance", "--prefix",
                        self.folder], check=True, stdout=subprocess.DEVNULL)

    def wine(self, *command, **options):
        code, output = self.machine.wine(*command, timeout=300,
                                         env={"WINEPREFIX": str(self.prefix)}, **options)
        return code, output.decode("utf-8", "replace").splitlines()

    def run(self, cases, *options):
        return self.wine("accept.exe", ":".join(cases), *options, cwd=self.folder)

    def start(self, cases, *options):
        """Starts it, and waits until it has begun with the tests."""
        with open(self.folder / "output", "wb") as output:
            process = subprocess.Popen(
                [ROOT / "scripts/wine.sh", "accept.exe", ":".join(cases), *options],
                cwd=self.folder, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                env={**os.environ, "WINEPREFIX": str(self.prefix), "ZELK_PRESET": PRESET})
        self.wait(lambda: b"Machine.Description" in (self.folder / "output").read_bytes())
        return process

    @staticmethod
    def wait(happened):
        end = time.monotonic() + 200
        while not happened():
            assert time.monotonic() < end
            time.sleep(0.1)

    def change(self, *lines):
        """What other programs do to the registry: lines of a .reg file."""
        (self.folder / "change.reg").write_text("\n".join(["REGEDIT4", *lines, ""]))
        assert self.wine("reg", "import", "change.reg", VIEW, cwd=self.folder)[0] == 0

    def values(self, key):
        lines = [line.split() for line in self.wine("reg", "query", key, VIEW)[1]]
        return {line[0]: line[2] for line in lines if len(line) > 2 and line[1] == "REG_SZ"}


@pytest.fixture
def kit():
    made = Kit()
    yield made
    end_session(made.prefix)


def failed(lines):
    """The cases that failed, as they are named when it happens."""
    return [line.split()[1] for line in lines[:lines.index("")] if line.startswith("FAILED")]


@pytest.mark.both
def test_verdicts(kit):
    program = kit.folder / "package/bin/zelkpmreg.exe"
    code, lines = kit.run(GOOD)
    assert (code, failed(lines), lines[-2]) == (0, [], "6 passed, 0 failed, 0 skipped"), lines
    assert not STATE.exists()

    shutil.copy(BUILD / "programs/broken.exe", program)
    process = kit.start(BAD, "--limit", "15")
    assert kit.run(GOOD) == (4, ["A kit is running on this machine.", "Nothing was tried.",
                                 "The kit ends with 4"])
    process.wait(200)
    lines = (kit.folder / "output").read_text().splitlines()
    assert process.returncode == 1
    assert set(failed(lines)) == {*BAD, "Registry.Unchanged"}, lines
    assert "2 passed, 11 failed, 0 skipped" in lines  # the description, and all was put back
    assert not STATE.exists()


@pytest.mark.both
def test_interruption(kit):
    """Undoes its own, also later, and leaves what others changed meanwhile."""
    kit.change(f"[{UNINSTALL}\\Theirs]", '"x"="old"', f"[{UNINSTALL}\\Gone]",
               f"[{ODBC}\\Theirs]", '"x"="old"', f"[{ODBC}\\Gone]",
               f"[{POOLING}]", '"PerfMon"="theirs"')
    shutil.copy(BUILD / "programs/broken.exe", kit.folder / "package/bin/zelkpmreg.exe")
    process = kit.start(["Transcript.CopiesSideBySide"])
    kit.wait(lambda: "Orvane Pellimar" in str(kit.wine("reg", "query", UNINSTALL, "/s", VIEW)))
    end_session(kit.prefix)
    process.wait(60)
    kit.change(f"[{UNINSTALL}\\Theirs]", '"x"="new"', f"[-{UNINSTALL}\\Gone]",
               f"[{UNINSTALL}\\Come]", '"x"="new"', f"[{ODBC}\\Theirs]", '"x"="new"',
               f"[-{ODBC}\\Gone]", f"[{ODBC}\\Come]", '"x"="new"',
               r"[HKLM\SOFTWARE\Orvane\Come]", '"x"="new"')
    code, lines = kit.run(GOOD)
    assert code == 5 and r"in use on this machine: HKLM\SOFTWARE" in lines[-3], lines
    assert sum("changed by others: " in line for line in lines) == 10, lines
    for key in (UNINSTALL, ODBC, r"HKLM\SOFTWARE\Orvane"):
        assert kit.values(f"{key}\\Come") == {"x": "new"}
        assert kit.values(f"{key}\\Theirs") == ({} if "Orvane" in key else {"x": "new"})
        assert kit.values(f"{key}\\Gone") == {}
    assert kit.values(POOLING) == {"PerfMon": "theirs"}
    assert not STATE.exists()
    end_session(kit.prefix)
    assert "zelkpmreg-tests" not in (kit.prefix / "system.reg").read_text("latin-1")


@pytest.mark.both
def test_refusals(kit):
    """Each has a sentence and a code, and changes nothing."""
    def expect(code, sentence, *cases):
        ended, lines = kit.run(cases or GOOD)
        assert ended == code and sentence in lines[-3], lines
        assert lines[-2:] == ["Nothing was tried.", f"The kit ends with {code}"]

    expect(2, "The filter selects no case: Missing.*", "Missing.*")
    STATE.mkdir()
    (STATE / "before.part").symlink_to("/dev/full")
    expect(6, "zelkpmreg-acceptance\\before\", error 112")
    shutil.rmtree(STATE)
    (kit.folder / "package/bin/zelkpmreg.exe").write_text("blocked")
    expect(8, "zelkpmreg.exe\", error 193")
    kit.folder = kit.folder.rename(kit.folder.with_name("kit \u00e9"))
    expect(7, "Extract the kit")
    assert not STATE.exists()
