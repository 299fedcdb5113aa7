"""Damages the machine for real, runs the whole program, and looks at the exit code, the log and the
registry; when the damage is gone, the next run must register completely.
docs/testing.md has a row for each test. Those marked "both" run in 32 bits too."""
import itertools
import re
import shutil
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
from machine import (BUILD, COPIES, DRIVERS, ENTRY, PREFIX, PRESET, SOURCES, TOUCHED, XA, Machine,
                     message, system)
from wine import ROOT, end_session, make_light_prefix

REGISTER = ("-c", "MYCOPY", "-d")
REPLACE = ("-r", *REGISTER, "-s")
UNREGISTER = ("-u", "-c", "MYCOPY", "-s")
LAST_LINE = message("MSG_DEFAULT_SWITCHED", "MYCOPY")
FAILED = -1879048190
STARTER = BUILD / "programs/starter.exe"
GUID = re.compile("\t7b(3[0-9]|4[1-6]|2d){36}7d00")  # as a text in hexadecimal


class Trial(Machine):
    """A machine, and what undisturbed runs leave on it."""

    def __init__(self, quick=False):
        super().__init__()
        if quick:  # where there are many runs, regsvr32 cannot be started
            self.path("bin/regsvr32.exe").touch()
        self.run(*REGISTER, "-s")
        self.registered = self.state()
        self.run(*UNREGISTER)
        self.removed = self.state()
        self.clean()

    def state(self):
        """{key: its values} of all that a run may touch, with new identifiers masked."""
        tree = GUID.sub("\tGUID", "\n" + self.tool("regtree", "--raw", *TOUCHED))
        return {block.split("]")[0]: block for block in tree.split("\n[")}

    def check(self, expected, but=()):
        """The state is the expected one, but for what is below some keys."""
        different = {key for key, _ in self.state().items() ^ expected.items()}
        assert not [key for key in different if not key.startswith(but)]

    def registers(self, but=(), **options):
        """A damaged run registers all but what is below some keys."""
        done = self.run(*REGISTER, **options)
        self.check(self.registered, but)
        return done

    def heals(self):
        """When the damage is gone, a run with -r registers completely."""
        self.run(*REPLACE)
        self.check(self.registered)


@pytest.fixture
def machine():
    return Trial()


@pytest.fixture
def quick():
    return Trial(quick=True)


def test_full_disk(machine):
    done = machine.registers(log=r"Z:\dev\full")
    assert done.console[-1] == LAST_LINE


@pytest.mark.both
def test_no_standard_handles(machine):
    done = machine.registers(before=[STARTER, "closed"])
    assert (done.console, done.log[-1]) == ([], LAST_LINE)


def test_XA_libraries_not_writable(machine, request):
    machine.tool("regdamage", "deny", XA)
    request.addfinalizer(lambda: machine.tool("regdamage", "allow", XA))
    machine.registers(but=XA)
    assert "\t" not in machine.state()[XA]
    machine.tool("regdamage", "allow", XA)
    machine.heals()


def test_no_ODBC_installer(machine):
    nowhere = {"env": {"WINEDLLOVERRIDES": "mscoree,mshtml,odbccp32="}}
    done = machine.registers(but=(r"SOFTWARE\Microsoft\MSDTC", r"SOFTWARE\ODBC"), **nowhere)
    assert message("MSG_ODBC_INSTALL_FAILED", FAILED) in done.log
    machine.heals()
    done = machine.run(*UNREGISTER, **nowhere)
    assert message("MSG_ODBC_REMOVE_FAILED", FAILED) in done.log


def test_two_runs_at_once_while_keys_vanish(quick):
    allowed = {REPLACE: [0], UNREGISTER: [0, -102, -104, -105, -108]}
    keys = [f"{COPIES}\\OTHER", COPIES, ENTRY, SOURCES, DRIVERS]
    with ThreadPoolExecutor(3) as pool:
        vanishing = pool.submit(quick.tool, "regdamage", "churn", 4, *keys)
        for pair in 20 * [2 * [REPLACE], 2 * [UNREGISTER], [REPLACE, UNREGISTER]]:
            runs = [pool.submit(quick.run, *options, codes=allowed[options]) for options in pair]
            for run in runs:
                run.result()
        vanishing.result()
    quick.clean()  # what the other process left
    quick.heals()


def interrupted(machine, arguments):
    """Runs that are killed after the first, second, ... of the changes that a whole run makes."""
    for changes in itertools.count(1):
        start = [STARTER, "interrupted", changes]
        if machine.run(*arguments, codes=(99, 0), before=start).code == 0:  # 99 is breaker.dll's
            return
        yield changes


def test_killed_while_registering(quick):
    for changes in interrupted(quick, [*REGISTER, "-s"]):
        quick.run(*REPLACE)
        # An entry in the list of programs is kept as it is found, also one that is half written.
        quick.check(quick.registered, but=ENTRY)
        quick.run(*UNREGISTER)
        quick.check(quick.removed)
    assert changes > 30


@pytest.mark.both
def test_killed_while_unregistering(quick):
    quick.run(*REGISTER, "-s")
    refused = 0
    for changes in interrupted(quick, UNREGISTER):
        if quick.run(*UNREGISTER, codes=(0, -102)).code == -102:
            refused += 1  # the record went first: the copy must be registered to be removed
            quick.run(*REGISTER, "-s")
            quick.run(*UNREGISTER)
        quick.check(quick.removed)
        quick.heals()
    assert changes > 10 and 0 < refused < changes - 1


@pytest.mark.both
def test_fresh_session(machine):
    light = Path(f"{PREFIX}-fresh")
    end_session(light)
    shutil.rmtree(light, ignore_errors=True)
    make_light_prefix(PREFIX, light)
    for arguments in (REPLACE, REPLACE, UNREGISTER):
        begun = time.monotonic()
        machine.run(*arguments, env={"WINEPREFIX": str(light), "ZELK_HOLDER": ""})
        assert time.monotonic() - begun < 5
        end_session(light)


@pytest.mark.both
def test_long_install_paths(machine):
    """A step that the path does not fit is refused: nothing that a run leaves behind may hold the
    beginning of the path without the whole of it."""
    failures = {message("MSG_ODBC_INSTALL_FAILED", FAILED),
                message("MSG_OLEDB_REGISTER_FAILED", -103), message("MSG_DEFAULT_SWITCH_FAILED")}
    refused = set()
    for length in (200, 205, 206, 224, 227, 236, 238, 241):
        machine.lay("g" * (length - len(f"C:\\zelk\\{PRESET}") - 1))
        done = machine.run(*REGISTER, codes=[-110 if length > 236 else 0])
        if done.code == -110:
            continue
        refused |= failures.intersection(done.log)
        left = machine.tool("regtree", *TOUCHED).replace("/", "\\")
        assert machine.folder in left and "ggg" not in left.replace(machine.folder, ""), length
        machine.clean()
    assert refused == failures


@pytest.mark.both
def test_path_in_Japanese(machine):
    """The second byte of these characters is the code of a backslash."""
    name, options = "\u8868 \u30bd", {"env": system("ja_JP"), "encoding": "cp932"}
    machine.lay(name)
    log = f"{machine.folder}\\{name}\\{name}.log"
    done = machine.run(*REGISTER, "-i", "EN", log=log, **options)
    assert message("MSG_LOG_FILE", log) in done.log
    found = machine.tool("regtree", *TOUCHED, **options)
    assert "ORVANE PELLIMAR for ODBC - C:/zelk/" in found
    for file in ("", r"BIN\ZELKAPP.DLL", r"BIN\zelkcli.dll", r"bin\orvanedazelk.dll"):
        assert f'"{machine.folder}\\{file}"' in found, file
    machine.run(*UNREGISTER, **options)
    assert name not in machine.tool("regtree", *TOUCHED, **options)


@pytest.mark.both
def test_planted_libraries_and_programs(machine):
    here = machine.path("planted")
    here.mkdir()
    for name in ("odbccp32.dll", "shfolder.dll", "ZELKOSSE.dll", "regsvr32.exe"):
        shutil.copy(BUILD / "programs" / f"plant{name[-4:]}", here / name)
    machine.registers(cwd=here)
    machine.run(*UNREGISTER, cwd=here)
    assert list(here.glob("*.mark")) == []
    # Beside the program they are loaded and run, so they could have been.
    for name in ("ZELKOSSE.dll", "regsvr32.exe"):
        shutil.copy(here / name, machine.path("bin"))
    machine.run(*REGISTER, "-s")
    assert len(list(machine.path("bin").glob("*.mark"))) == 2


def test_every_fault_is_explained():
    section = (ROOT / "docs/testing.md").read_text().split("\n## Faults\n")[1].split("\n## ")[0]
    names = [name[5:].replace("_", " ") for name in globals() if name.startswith("test_")]
    assert re.findall(r"^\| ([^-|]+) \| .*\|$", section, re.M)[1:] == names[:-1]
