"""A machine in trouble: the damage that can be done to it, and what a run makes of it."""
import os
import re
import subprocess
from contextlib import suppress
from pathlib import Path

import pytest
from conftest import (DRIVE, GUID, NAMES, PREFIX, ROOT, TOUCHED, UNINSTALL, message,
                      check_sources)

REGISTER = ["-c", "MYCOPY", "-d"]
REPLACE = ["-r", *REGISTER]
UNREGISTER = ["-u", "-c", "MYCOPY"]
BASELINES = {}
# What any run may write besides the registry: its log, the temporary copy of the configuration
# tool, and the record of what the stand-in tools were asked.
OWN_FILES = re.compile(r"zelk/run\.log|.*\.asked|.*/[Tt]emp/ZEL\w+\.tmp(\.exe)?")


def line(said):
    """"MSG_NAME argument" as the English line, anything else as it stands."""
    name, _, argument = said.partition(" ")
    return message(name, argument) if name.startswith("MSG_") else said


def steps(arguments, instead):
    """The lines of the steps of a run that nothing disturbs, some of them replaced."""
    first = "-r" in arguments
    if "-u" in arguments:
        whole = ["MSG_UNREGISTERING", "MSG_DOTNET_ABSENT", "MSG_UNREGISTERING_RECORD",
                 "MSG_RECORD_REMOVED", "MSG_UNREGISTERING_ODBC", "MSG_ODBC_SOURCES_REMOVED",
                 "MSG_ODBC_REMOVED", "MSG_UNREGISTERING_UNINSTALL_ENTRY", "MSG_UNINSTALL_REMOVED",
                 "MSG_UNREGISTERING_OLEDB", "MSG_OLEDB_UNREGISTERED"]
    else:
        whole = ["MSG_REGISTERING", "MSG_DOTNET_ABSENT", "MSG_REGISTERING_RECORD",
                 "MSG_RECORD_WRITTEN", "MSG_REGISTERING_ODBC",
                 *["MSG_ODBC_SOURCES_REMOVED", "MSG_ODBC_REMOVED"] * first, "MSG_ODBC_INSTALLED",
                 "MSG_REGISTERING_UNINSTALL_ENTRY", "MSG_UNINSTALL_WRITTEN",
                 "MSG_REGISTERING_OLEDB", *["MSG_OLEDB_UNREGISTERED"] * first,
                 "MSG_OLEDB_REGISTERED"]
    # Every run here makes its copy the default one, or unregisters the default one.
    whole += ["MSG_DEFAULT_SWITCHING MYCOPY", "MSG_DEFAULT_SWITCHED MYCOPY"]
    return [line(said) for one in whole for said in instead.get(one, [one])]


def differing(left, right):
    return {key for key in left.keys() | right.keys() if left.get(key) != right.get(key)}


class Scene:
    """One machine and the damage that is undone at the end. Runs are those of one copy."""

    def __init__(self, machine, undo):
        self.machine, self.undo, self.folder = machine, undo, machine.default

    # Looking -----------------------------------------------------------------------------------
    def state(self):
        """What the program may touch, with the identifiers that are new each time masked."""
        return {key: {name: "a GUID" if GUID.fullmatch(value[1]) else value
                      for name, value in values.items()}
                for key, values in self.machine.everything().items()}

    def baseline(self):
        """(registered, removed): what undisturbed runs from a clean start come to."""
        if self.folder not in BASELINES:
            self.run(*REGISTER, "-s")
            registered = self.state()
            self.run(*UNREGISTER, "-s")
            BASELINES[self.folder] = (registered, self.state())
            self.forget()
        return BASELINES[self.folder]

    def files(self):
        found = {}
        for folder, _, names in os.walk(DRIVE):
            for path in (os.path.join(folder, name) for name in names):
                status = os.lstat(path)
                found[os.path.relpath(path, DRIVE)] = (status.st_size, status.st_mtime_ns)
        return found

    def strange(self, before):
        """The files that a run changed and that are not its own."""
        return [f for f in differing(self.files(), before) if not OWN_FILES.fullmatch(f)]

    def run(self, *arguments, code=0, **options):
        done = self.machine.run(*arguments, **{"folder": self.folder, **options})
        assert done.code == code, done
        return done

    def heals(self, but=()):
        """A second run registers completely."""
        self.run(*REPLACE, "-s")
        registered, _ = self.baseline()
        different = [key for key in differing(self.state(), registered) if not key.startswith(but)]
        assert not different, different

    # Damage ------------------------------------------------------------------------------------
    def forget(self):
        self.machine.delete(*TOUCHED, *(f"{UNINSTALL}\\{n}" for n in NAMES))

    def harm(self, *arguments):
        self.machine.standin("regharm", *arguments, check=True)

    def starter(self, *arguments):
        return [self.machine.build / "programs/starter.exe", *arguments]

    def access(self, key, denied):
        """Everybody is denied the rights to the key."""
        self.harm("access", key, f"D:(D;;{denied};;;WD)(A;;KA;;;WD)")
        self.undo.callback(self.harm, "access", key, "D:(A;;KA;;;WD)")

    def spoil(self, file, content=None):
        """The file of the package is gone, or holds something else."""
        path = self.machine.path(self.machine.default) / file
        whole = path.read_bytes() if path.exists() else None
        path.unlink(missing_ok=True)
        self.undo.callback(lambda: whole is None or path.write_bytes(whole))
        self.undo.callback(path.unlink, missing_ok=True)  # first: it may still be running
        if content is not None:
            path.write_bytes(content)

    def built(self, name):
        return (self.machine.build / name).read_bytes()

    def put(self, name, content=b""):
        """A file or, for None, a folder below C:\\zelk; returns its path."""
        path = DRIVE / "zelk" / name
        path.mkdir(exist_ok=True) if content is None else path.write_bytes(content)
        self.undo.callback(lambda: path.rmdir() if content is None else path.unlink())
        return f"C:\\zelk\\{name}"

    def frozen(self, name):
        """A file that cannot be changed; returns its path."""
        path = self.put(name, b"old")
        file = self.machine.path(path)
        if subprocess.run(["chattr", "+i", file], capture_output=True).returncode:
            pytest.skip("files cannot be frozen here (chattr +i)")
        self.undo.callback(subprocess.run, ["chattr", "-i", file], check=True)
        return path

    def driver(self):
        """The name of the copy's ODBC driver."""
        return "ORVANE PELLIMAR for ODBC - " + self.folder.replace("\\", "/") + "/"

    def full_disk(self, files):
        """Drive F: with no byte left, and room for that many more files; a path on it."""
        folder, drive = Path(f"{PREFIX}-full"), PREFIX / "dosdevices" / "f:"
        folder.mkdir(exist_ok=True)
        limits = f"size=64k,nr_inodes={2 + files}"
        if subprocess.run(["mount", "-t", "tmpfs", "-o", limits, "tmpfs", folder],
                          capture_output=True).returncode:
            pytest.skip("no small disk can be mounted here")
        self.undo.callback(subprocess.run, ["umount", folder], check=True)
        with suppress(OSError):
            (folder / "filler").write_bytes(bytes(1 << 17))
        drive.unlink(missing_ok=True)
        drive.symlink_to(folder)
        self.undo.callback(drive.unlink)
        return r"F:\run.log"

    def library(self, text):
        """Has an English message library in which this is each text; without it there is none."""
        folder, triple = self.machine.build, {"x86": "i686"}.get(self.machine.preset, "x86_64")
        ids = sorted(check_sources.ids(ROOT / "msg").values())
        table = "STRINGTABLE\nBEGIN\n" + "".join(f'{i} "{text}"\n' for i in ids) + "END\n"
        (folder / "hostile.rc").write_text(table if text else "1 RCDATA\nBEGIN 1 END\n")
        for tool in ("windres hostile.rc hostile.o",
                     "gcc -shared -nostdlib -Wl,--entry=0 hostile.o -o hostile.dll"):
            subprocess.run(f"{triple}-w64-mingw32-{tool}".split(), cwd=folder, check=True)
        self.spoil("msg/en_US/zelkpmreg.dll", (folder / "hostile.dll").read_bytes())
