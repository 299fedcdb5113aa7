"""Faults that take more than one run to show; each is a row of the table, too."""
import itertools
import os
import re
import shlex
import shutil
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from conftest import (COPIES, DRIVE, DRIVERS, PREFIX, PROVIDER, ROOT, SOURCES, TOUCHED, UNINSTALL,
                      XA, message, system)
from scene import REGISTER, REPLACE, UNREGISTER, differing, line, steps

MINE, ENTRY = f"{COPIES}\\MYCOPY", f"{UNINSTALL}\\MYCOPY"
BROKEN = 99  # what breaker.dll ends the program with
TEXT, BINARY = "1", "3"


def make_quick(scene):
    """Goes on with a copy whose regsvr32 cannot be started, where there are many runs."""
    scene.folder = scene.machine.copy("Quick")
    (scene.machine.path(scene.folder) / "bin" / "regsvr32.exe").touch()
    return scene.baseline()


# Registry data -------------------------------------------------------------------------------
def damaged(key, name, right, arguments, codes):
    """The value in five forms that a program might not expect, and what the run then comes to: no
    data, 4,096 and 100,000 bytes, the right data in another type, the right data unterminated."""
    def ordeal(scene):
        make_quick(scene)
        data, reset = right.format(folder=scene.folder), True
        for form, code in zip((("fill", TEXT, 0), ("fill", TEXT, 4096), ("fill", TEXT, 100000),
                               ("put", BINARY, data), ("put", TEXT, data)), codes):
            if reset:
                scene.forget()
                if arguments != REGISTER:
                    scene.run(*REGISTER, "-s")
            scene.harm(form[0], key, name, *form[1:])
            before = scene.state()
            done = scene.run(*arguments, code=code)
            assert done.console == done.log and len(done.log) < 2000
            assert code == 0 or scene.state() == before
            reset = code == 0 and arguments != REPLACE
        scene.forget()
        scene.heals()
    return ordeal


def keys_vanish(scene):
    make_quick(scene)
    keys = [f"{COPIES}\\OTHER", COPIES, ENTRY, SOURCES, DRIVERS]
    vanishing = scene.machine.start("regharm", "churn", 4, *keys)
    while vanishing.poll() is None:
        scene.run(*REPLACE, "-s")
        done = scene.machine.run(*UNREGISTER, "-f", "-v", folder=scene.folder)
        assert done.code in (0, -102, -104, -105), done
    assert vanishing.returncode == 0
    scene.forget()
    scene.heals()


# Interruption --------------------------------------------------------------------------------
def interrupted(scene, arguments):
    """Runs that are killed after the first, second, ... of the changes that a whole run makes."""
    for changes in itertools.count(1):
        done = scene.machine.run(*arguments, "-s", folder=scene.folder,
                                 before=scene.starter("interrupted", changes))
        if done.code == 0:
            return
        assert done.code == BROKEN, done
        yield changes


def register_killed(scene):
    registered, removed = make_quick(scene)
    scene.run(*REGISTER, "-s")
    scene.run(*UNREGISTER, "-s")
    halves = 0
    for changes in interrupted(scene, REGISTER):
        scene.run(*REPLACE, "-s")
        state = scene.state()
        # An entry in the list of programs is kept as it is found, also one that is half written.
        half = state[ENTRY].keys() < registered[ENTRY].keys()
        assert differing(state, registered) == ({ENTRY} if half else set()), changes
        halves += half
        scene.run(*UNREGISTER, "-s")
        assert scene.state() == removed, changes
    assert changes > 35 and halves == 2


def unregister_killed(scene):
    registered, removed = make_quick(scene)
    scene.run(*REGISTER, "-s")
    refused = 0
    for changes in interrupted(scene, UNREGISTER):
        done = scene.machine.run(*UNREGISTER, "-s", folder=scene.folder)
        if done.code == -102:  # the record went first: the copy must be registered to be removed
            refused += 1
            scene.run(*REGISTER, "-s")
            scene.run(*UNREGISTER, "-s")
        assert scene.state() == removed, (changes, done)
        scene.run(*REPLACE, "-s")
        assert scene.state() == registered, changes
    assert changes > 10 and 0 < refused < changes - 1


def at_once(*rounds):
    def ordeal(scene):
        make_quick(scene)
        allowed = {"-r": {0}, "-u": {0, -102, -105, -108}}
        with ThreadPoolExecutor(2) as pool:
            for _, pair in itertools.product(range(50), rounds):
                runs = [(option, pool.submit(scene.machine.run, option, "-s", "-c", "MYCOPY",
                                             folder=scene.folder)) for option in pair]
                assert all(run.result().code in allowed[option] for option, run in runs), runs
        scene.heals()
    return ordeal


# Sessions ------------------------------------------------------------------------------------
def end_session(prefix):
    """Ends the prefix's Wine server, which then has written its registry to the disk."""
    for option in ("-k", "-w"):
        subprocess.run(["wineserver", option], env={**os.environ, "WINEPREFIX": str(prefix)})


def on_disk(prefix):
    """{key: its lines} of the whole registry."""
    hives = [(prefix / name).read_text(errors="replace") for name in ("system.reg", "user.reg")]
    blocks = re.split(r"\n(?=\[)", re.sub(r"(?m)\] \d+$|^#.*", "", "\n".join(hives)))
    return {block.split("\n")[0].replace("Wow6432Node\\\\", ""): block for block in blocks}


def fresh_sessions(scene):
    """Each run is the first program of a Wine session, and no other program keeps a desktop open.
    At the end the whole registry is looked at."""
    scene.forget()
    light = Path(f"{PREFIX}-fresh")
    end_session(PREFIX)
    end_session(light)
    shutil.rmtree(light, ignore_errors=True)
    shutil.copytree(PREFIX / "dosdevices", light / "dosdevices", symlinks=True)
    for file in (*PREFIX.glob("*.reg"), PREFIX / ".update-timestamp", PREFIX / ".made"):
        shutil.copy(file, light)
    (light / "drive_c").symlink_to(DRIVE)
    env = {"WINEPREFIX": str(light), "ZELK_HOLDER": ""}
    scene.machine.wine("regsvr32", "/s", "nothing", env=env)  # the first desktop leaves its traces
    end_session(light)
    before = on_disk(light)
    for _ in range(int(os.environ.get("ZELK_FRESH_SESSIONS", "2"))):
        begun = time.monotonic()
        scene.run(*REPLACE, "-s", env=env)
        took = time.monotonic() - begun
        end_session(light)
        print(f"{took:.2f} s", end=" ")
        assert took < 5
    scene.run(*UNREGISTER, "-s", env=env)
    end_session(light)
    # Wine's desktop names the display adapter anew in each session.
    known = re.compile(r"\[Software\\\\(Orvane|ODBC|Microsoft\\\\MSDTC)\b|.*\{4D36E968-E325-11CE")
    kept = [key for key in differing(on_disk(light), before) if not known.match(key)]
    assert not kept, kept


# Command lines -------------------------------------------------------------------------------
FAILURES = {line(succeeded): line(failed) for succeeded, failed in (
    ("MSG_ODBC_INSTALLED", "MSG_ODBC_INSTALL_FAILED -1879048190"),
    ("MSG_OLEDB_REGISTERED", "MSG_OLEDB_REGISTER_FAILED -103"),
    ("MSG_DEFAULT_SWITCHED MYCOPY", "MSG_DEFAULT_SWITCH_FAILED"))}


def refused_arguments(scene):
    usage, before = message("MSG_USAGE").format(), scene.state()
    for arguments in (["-c", "x" * 30000], ["-l", "C:\\" + "x" * 30000], ["-i", "x" * 30000],
                      ["-c", 'a"b'], ["-c", "a%sb"], ["-c", "a\x01b"], ["-c", "a\tb"], ["-l", ""]):
        assert scene.run(*arguments).console == usage
    assert scene.state() == before


def odd_arguments(scene):
    registered, _ = scene.baseline()
    scene.run("", "x" * 30000, '"', "%s%n", "\x01", *REGISTER, "")
    assert scene.state() == registered


def long_paths(scene):
    """Install directories of growing length, up to the longest from which a program can be started.
    A step that does not fit is refused: nothing that the run leaves behind may hold the beginning
    of the path without the whole of it."""
    machine, refused = scene.machine, set()
    for length in (200, 205, 206, 224, 227, 236, 238, 241):
        scene.folder = folder = machine.copy("g" * (length - len(machine.default[:-8])))
        scene.undo.callback(shutil.rmtree, machine.path(folder))
        files = scene.files()
        done = machine.run(*REGISTER, folder=folder)
        if done.code == -110:
            assert length > 236 and done.lines()[-1].endswith(folder + r"\msg\en_US\zelkpmreg.dll")
            continue
        assert done.code == 0
        for said, succeeded in zip(done.lines()[5:], steps(REGISTER, {}), strict=True):
            assert said in (succeeded, FAILURES.get(succeeded)), length
            refused |= {said} - {succeeded}
        left = repr(machine.everything()).replace("\\\\", "\\").replace("/", "\\")
        assert folder in left and "ggg" not in left.replace(folder, ""), length
        scene.run(*UNREGISTER, "-s")
        assert not scene.strange(files)
        scene.forget()
    assert len(refused) == 3


def lives_in(name, language="en_US", page="cp1252"):
    """An install directory and a log with this name, on a machine of that language."""
    def ordeal(scene):
        machine, env = scene.machine, system(language)
        scene.folder = folder = machine.copy(name)
        scene.undo.callback(shutil.rmtree, machine.path(folder))
        log = f"C:\\zelk\\{machine.preset}\\{name}\\{name}\\{name}.log"
        done = scene.run(*REGISTER, "-i", "EN", log=log, env=env, encoding=page)
        assert done.lines()[2:] == [line("MSG_LOG_FILE " + log), line("MSG_DEFAULT_COPY "),
                                    line("MSG_THIS_COPY MYCOPY"), *steps(REGISTER, {})]
        found = machine.registry(*TOUCHED, ENTRY, env=env, encoding=page)
        library = f"{folder}\\BIN\\ZELKAPP.DLL"
        for key, value, data in (
                (MINE, "Zelk Path Name", folder + "\\"), (XA, library, library),
                (ENTRY, "UninstallString", f"{folder}\\bin\\zelkpmreg.exe -u -p -c MYCOPY"),
                (f"{PROVIDER}\\InprocServer32", "", f"{folder}\\bin\\orvanedazelk.dll"),
                (f"{DRIVERS}\\{scene.driver()}", "CPTimeout", "60")):
            assert found[key][value] == (1, data.encode(page) + b"\0")
        scene.run(*UNREGISTER, "-s", env=env, encoding=page)
        left = machine.registry(*TOUCHED, ENTRY, env=env, encoding=page)
        assert not [key for key, values in left.items() if name in repr((key, values))]
    return ordeal


# Surroundings --------------------------------------------------------------------------------
def on_a_terminal(scene):
    command = [ROOT / "scripts/wine.sh", scene.folder + r"\bin\zelkpmreg.exe", *REGISTER, "-l",
               r"C:\zelk\run.log"]
    done = subprocess.run(["script", "-qec", shlex.join(map(str, command)), "/dev/null"],
                          capture_output=True, check=True, timeout=10, stdin=subprocess.DEVNULL,
                          env={**os.environ, "WINEPREFIX": str(PREFIX)})
    assert message("MSG_DEFAULT_SWITCHED", "MYCOPY").encode() in done.stdout


def planted(scene):
    here, mark = DRIVE / "zelk" / "planted", DRIVE / "zelk" / "plant.mark"
    mark.unlink(missing_ok=True)
    here.mkdir(exist_ok=True)
    scene.undo.callback(shutil.rmtree, here)
    for name in ("odbccp32.dll", "shfolder.dll", "ZELKOSSE.dll", "regsvr32.exe"):
        (here / name).write_bytes(scene.built("programs/plant" + name[-4:]))
    registered, removed = scene.baseline()
    for arguments, expected in ((REGISTER, registered), (UNREGISTER, removed)):
        scene.run(*arguments, "-s", log=None, cwd=here)
        assert scene.state() == expected
        assert not mark.exists(), mark.read_text()
    # Beside the program they are loaded and run, so they could have been.
    for name in ("ZELKOSSE.dll", "regsvr32.exe"):
        scene.spoil("bin/" + name, scene.built("programs/plant" + name[-4:]))
    scene.run(*REGISTER, "-s")
    scene.undo.callback(mark.unlink)
    assert len(mark.read_text().splitlines()) == 2
