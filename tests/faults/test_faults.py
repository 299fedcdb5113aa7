"""Damages the machine for real, runs the whole program, and looks at the exit code, the log, the
registry and the files; when the damage is gone, the next run must register completely.
docs/testing.md has a row for each test. Those marked "both" run in 32 bits too."""
import itertools
import os
import re
import shutil
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, suppress
from pathlib import Path

import pytest
from support.machine import (COPIES, DRIVE, DRIVERS, PREFIX, SOURCES, TOUCHED, UNINSTALL, XA,
                             check_sources, message)
from support.wine import ROOT, end_session, make_light_prefix, system

ENTRY = f"{UNINSTALL}\\MYCOPY"
REGISTER = ("-c", "MYCOPY", "-d")
REPLACE = ("-r", *REGISTER, "-s")
UNREGISTER = ("-u", "-c", "MYCOPY", "-s")
GUID = re.compile(rb"\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}\0")
# What any run may write: its log, and the stand-in tools their records of what they were asked.
OWN_FILES = re.compile(r".*(/zelk/run\.log|\.asked)")
BROKEN = 99  # what breaker.dll ends the program with
BASELINES = {}


def differing(left, right):
    return {key for key in left.keys() | right.keys() if left.get(key) != right.get(key)}


class Trial:
    """Runs of one copy on a machine; undo gets what is to be done at the end."""

    def __init__(self, machine, undo):
        self.machine, self.undo, self.folder = machine, undo, machine.default

    def make_quick(self):
        """Goes on with a copy whose regsvr32 cannot be started, where there are many runs."""
        self.folder = self.machine.copy("Quick")
        (self.machine.path(self.folder) / "bin" / "regsvr32.exe").touch()
        return self.baseline()

    def start(self, *arguments, starter=(), **options):
        """Runs the program, in one of the ways that starter.exe has."""
        before = [self.machine.build / "programs/starter.exe", *starter] if starter else []
        return self.machine.run(*arguments, folder=self.folder, before=before, **options)

    def run(self, *arguments, code=0, **options):
        done = self.start(*arguments, **options)
        assert (done.code, done.error) == (code, ""), done
        return done

    def state(self, **options):
        """What a run may touch, with the identifiers that are new each time masked."""
        tree = self.machine.registry(*TOUCHED, **options)
        return {key: {name: "a GUID" if GUID.fullmatch(value[1]) else value
                      for name, value in values.items()} for key, values in tree.items()}

    def baseline(self):
        """(registered, removed): what undisturbed runs leave."""
        if self.folder not in BASELINES:
            self.machine.clean()
            self.run(*REGISTER, "-s")
            registered = self.state()
            self.run(*UNREGISTER)
            BASELINES[self.folder] = (registered, self.state())
            self.machine.clean()
        return BASELINES[self.folder]

    def registers(self, *arguments, but=(), **options):
        """A damaged run registers all but some keys and writes no file that is not its own."""
        registered, _ = self.baseline()
        files = self.files()
        done = self.run(*REGISTER, *arguments, **options)
        different = [key for key in differing(self.state(), registered) if key not in but]
        assert not different, different
        self.wrote_nothing_else(files)
        return done

    def heals(self):
        """When the damage is gone, a run with -r registers completely."""
        self.run(*REPLACE)
        assert self.state() == self.baseline()[0]

    def files(self):
        return {path: os.lstat(path).st_mtime_ns for folder, _, names in os.walk(DRIVE)
                for path in (os.path.join(folder, name) for name in names)}

    def wrote_nothing_else(self, before):
        assert not [f for f in differing(self.files(), before) if not OWN_FILES.fullmatch(f)]

    def put(self, program, file):
        """Something else is in the place of a file of the copy."""
        self.undo.callback(self.machine.copy, "Copy One")
        path = self.machine.path(self.machine.default) / file
        path.unlink(missing_ok=True)
        shutil.copy(self.machine.build / "programs" / program, path)


@pytest.fixture
def trial(machine):
    with ExitStack() as undo:
        trial = Trial(machine, undo)
        trial.baseline()
        yield trial


def full_disk(trial, files):
    """Drive F: without a free byte, with room for that many more files; the path of a log there."""
    folder, drive = Path(f"{PREFIX}-full"), PREFIX / "dosdevices" / "f:"
    folder.mkdir(exist_ok=True)
    mount = ["mount", "-t", "tmpfs", "-o", f"size=64k,nr_inodes={2 + files}", "tmpfs", folder]
    if subprocess.run(mount, capture_output=True).returncode:
        pytest.skip("no small disk can be mounted here")
    trial.undo.callback(subprocess.run, ["umount", folder], check=True)
    with suppress(OSError):
        (folder / "filler").write_bytes(bytes(1 << 17))
    drive.unlink(missing_ok=True)
    drive.symlink_to(folder)
    return r"F:\run.log"


def test_full_disk(trial):
    done = trial.registers(log=full_disk(trial, files=1))
    assert message("MSG_DEFAULT_SWITCHED", "MYCOPY") in done.console.splitlines()
    before = trial.state()
    done = trial.run(*REPLACE, log=full_disk(trial, files=0), code=-111)
    assert done.console.endswith("error: 112") and trial.state() == before


def test_message_library_without_texts(trial):
    trial.put("zelkodbc.dll", "msg/en_US/zelkpmreg.dll")
    number = check_sources.ids(ROOT / "msg")["MSG_THIS_COPY"]
    assert f"[{number}] MYCOPY" in trial.registers().lines()


def test_XA_libraries_not_writable(trial):
    trial.machine.standin("regdamage", "deny", XA, check=True)
    trial.undo.callback(trial.machine.standin, "regdamage", "allow", XA)
    trial.registers(but=[XA])
    assert trial.state()[XA] == {}
    trial.undo.close()
    trial.heals()


@pytest.mark.both
def test_no_standard_handles(trial):
    done = trial.registers(starter=["closed"])
    assert done.console == ""
    assert done.lines()[-1] == message("MSG_DEFAULT_SWITCHED", "MYCOPY")


def test_keys_vanish_while_they_are_listed(trial):
    trial.make_quick()
    keys = [f"{COPIES}\\OTHER", COPIES, ENTRY, SOURCES, DRIVERS]
    with ThreadPoolExecutor() as pool:
        vanishing = pool.submit(trial.machine.standin, "regdamage", "churn", 4, *keys, check=True)
        while not vanishing.done():
            assert trial.start(*REPLACE).code == 0
            assert trial.start(*UNREGISTER, "-f").code in (0, -102, -104, -105)
        vanishing.result()
    trial.machine.clean()
    trial.heals()


def test_two_runs_at_once(trial):
    trial.make_quick()
    allowed = {REPLACE: {0}, UNREGISTER: {0, -102, -104, -105, -108}}
    with ThreadPoolExecutor(2) as pool:
        for pair in 25 * [2 * [REPLACE], 2 * [UNREGISTER], [REPLACE, UNREGISTER]]:
            runs = [pool.submit(trial.start, *options) for options in pair]
            codes = [run.result().code for run in runs]
            assert all(code in allowed[options] for code, options in zip(codes, pair)), codes
    trial.heals()


def interrupted(trial, arguments):
    """Runs that are killed after the first, second, ... of the changes that a whole run makes."""
    for changes in itertools.count(1):
        done = trial.start(*arguments, starter=["interrupted", changes])
        if done.code == 0:
            return
        assert done.code == BROKEN, done
        yield changes


def test_killed_while_registering(trial):
    registered, removed = trial.make_quick()
    for changes in interrupted(trial, [*REGISTER, "-s"]):
        trial.run(*REPLACE)
        state = trial.state()
        # An entry in the list of programs is kept as it is found, also one that is half written.
        assert differing(state, registered) <= {ENTRY} and ENTRY in state, changes
        trial.run(*UNREGISTER)
        assert trial.state() == removed, changes
    assert changes > 30


@pytest.mark.both
def test_killed_while_unregistering(trial):
    registered, removed = trial.make_quick()
    trial.run(*REGISTER, "-s")
    refused = 0
    for changes in interrupted(trial, UNREGISTER):
        done = trial.start(*UNREGISTER)
        if done.code == -102:  # the record went first: the copy must be registered to be removed
            refused += 1
            trial.run(*REGISTER, "-s")
            trial.run(*UNREGISTER)
        assert trial.state() == removed, (changes, done)
        trial.run(*REPLACE)
        assert trial.state() == registered, changes
    assert changes > 10 and 0 < refused < changes - 1


def on_disk(prefix):
    """{key: its lines} of the whole registry."""
    hives = [(prefix / name).read_text(errors="replace") for name in ("system.reg", "user.reg")]
    blocks = re.split(r"\n(?=\[)", re.sub(r"(?m)\] \d+$|^#.*", "", "\n".join(hives)))
    return {block.split("\n")[0].replace("Wow6432Node\\\\", ""): block for block in blocks}


@pytest.mark.both
def test_fresh_session(trial):
    light = Path(f"{PREFIX}-fresh")
    end_session(light)
    shutil.rmtree(light, ignore_errors=True)
    make_light_prefix(PREFIX, light)
    env = {"WINEPREFIX": str(light), "ZELK_HOLDER": ""}
    trial.machine.wine("regsvr32", "/s", "nothing", env=env)  # the first desktop leaves traces
    end_session(light)
    before = on_disk(light)
    for _ in range(int(os.environ.get("ZELK_FRESH_SESSIONS", "2"))):
        begun = time.monotonic()
        trial.run(*REPLACE, env=env)
        assert time.monotonic() - begun < 5
        end_session(light)
    trial.run(*UNREGISTER, env=env)
    end_session(light)
    # Wine's desktop names the display adapter anew in each session.
    known = re.compile(r"\[Software\\\\(Orvane|ODBC|Microsoft\\\\MSDTC)\b|.*\{4D36E968-E325-11CE")
    kept = [key for key in differing(on_disk(light), before) if not known.match(key)]
    assert not kept, kept


@pytest.mark.both
def test_long_install_paths(trial):
    """A step that the path does not fit is refused: nothing that a run leaves behind may hold the
    beginning of the path without the whole of it."""
    failures = {message("MSG_ODBC_INSTALL_FAILED", -1879048190),
                message("MSG_OLEDB_REGISTER_FAILED", -103), message("MSG_DEFAULT_SWITCH_FAILED")}
    machine, refused = trial.machine, set()
    for length in (200, 205, 206, 224, 227, 236, 238, 241):
        trial.folder = folder = machine.copy("g" * (length - len(machine.default[:-8])))
        trial.undo.callback(shutil.rmtree, machine.path(folder))
        files = trial.files()
        done = trial.start(*REGISTER)
        if done.code == -110:
            assert length > 236 and done.lines()[-1].endswith(folder + r"\msg\en_US\zelkpmreg.dll")
            continue
        assert done.code == 0
        refused |= failures.intersection(done.lines())
        left = repr(trial.state()).replace("\\\\", "\\").replace("/", "\\")
        assert folder in left and "ggg" not in left.replace(folder, ""), length
        trial.run(*UNREGISTER)
        trial.wrote_nothing_else(files)
        machine.clean()
    assert refused == failures


@pytest.mark.both
def test_path_in_Japanese(trial):
    """The second byte of these characters is the code of a backslash."""
    check_path(trial, "\u8868 \u30bd", "ja_JP", "cp932")


def test_path_with_conversions(trial):
    check_path(trial, "100%s %n%d%% '&^!", "en_US", "cp1252")


def check_path(trial, name, language, page):
    """An install directory and a log with this name, on a machine of that language."""
    machine, options = trial.machine, {"env": system(language), "encoding": page}
    trial.folder = folder = machine.copy(name)
    trial.undo.callback(shutil.rmtree, machine.path(folder))
    log = f"{folder}\\{name}\\{name}.log"
    done = trial.run(*REGISTER, "-i", "EN", log=log, **options)
    assert message("MSG_LOG_FILE", log) in done.lines()
    tree = machine.registry(*TOUCHED, **options)
    assert f"{DRIVERS}\\ORVANE PELLIMAR for ODBC - {folder}\\".replace("\\", "/") in {
        key.replace("\\", "/") for key in tree}
    found = {data for values in tree.values() for _, data in values.values()}
    for file in ("", r"BIN\ZELKAPP.DLL", r"BIN\zelkcli.dll", r"bin\orvanedazelk.dll",
                 r"bin\zelkpmreg.exe -u -p -c MYCOPY"):
        assert f"{folder}\\{file}\0".encode(page) in found, file
    trial.run(*UNREGISTER, **options)
    assert name not in repr(trial.state(**options))


@pytest.mark.both
def test_planted_libraries_and_programs(trial):
    here, mark = DRIVE / "zelk" / "planted", DRIVE / "zelk" / "plant.mark"
    mark.unlink(missing_ok=True)
    here.mkdir(exist_ok=True)
    trial.undo.callback(shutil.rmtree, here)
    for name in ("odbccp32.dll", "shfolder.dll", "ZELKOSSE.dll", "regsvr32.exe"):
        shutil.copy(trial.machine.build / "programs" / f"plant{name[-4:]}", here / name)
    trial.registers(cwd=here)
    trial.run(*UNREGISTER, cwd=here)
    assert not mark.exists(), mark.read_text()
    # Beside the program they are loaded and run, so they could have been.
    for name in ("ZELKOSSE.dll", "regsvr32.exe"):
        trial.put(f"plant{name[-4:]}", f"bin/{name}")
    trial.run(*REGISTER, "-s")
    assert len(mark.read_text().splitlines()) == 2


def test_every_fault_is_explained():
    section = (ROOT / "docs/testing.md").read_text().split("\n## Faults\n")[1].split("\n## ")[0]
    rows = re.findall(r"^\| ([^-|]+) \| [^|]+ \| [^|]+ \|$", section, re.M)
    names = [name[5:].replace("_", " ") for name in globals() if name.startswith("test_")]
    assert rows == ["Fault", *names[:-1]]
