"""A Windows machine for the tests in Python: a Wine prefix, copies of the package, runs."""
import os
import subprocess
import sys
import tempfile
from collections import namedtuple
from pathlib import Path

import check_sources
from wine import ROOT, lay_copy, signed

PRESET = os.environ.get("ZELK_PRESET", "x64")
BUILD = ROOT / "build" / PRESET
PREFIX = Path(os.environ.get("WINEPREFIX", ROOT / "build" / f"wine-{PRESET}"))
DRIVE = PREFIX / "drive_c"
COPIES = r"SOFTWARE\Orvane\Zelk\InstalledCopies"
ENTRY = r"SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\MYCOPY"
PROVIDER = r"SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"
DRIVERS = r"SOFTWARE\ODBC\ODBCINST.INI"
SOURCES = r"SOFTWARE\ODBC\ODBC.INI\ODBC Data Sources"
LOG = r"C:\zelk\run.log"
# All that a run may touch.
TOUCHED = [r"SOFTWARE\Orvane", r"SOFTWARE\ODBC", r"SOFTWARE\Microsoft\MSDTC", PROVIDER, ENTRY]


def texts(locale):
    return dict(check_sources.texts(ROOT / "msg" / locale / "zelkpmreg.rc"))


def message(name, *arguments):
    """An English message as it is in the log."""
    return texts("en_US")[name].replace("%s", "{}").format(*arguments)


Result = namedtuple("Result", "code console log")  # the last two as lists of lines


class Machine:
    """Nothing is registered; folder is the install directory of the copy that runs."""

    def __init__(self):
        self.clean()
        self.lay("Copy One")

    def clean(self):
        self.tool("regtree", "--delete", *TOUCHED)

    def lay(self, name):
        """Lays a fresh copy of the package and goes on with it."""
        self.folder = f"C:\\zelk\\{PRESET}\\{name}"
        lay_copy(PRESET, self.path())

    def path(self, file=""):
        """Where a file of the copy really is."""
        return DRIVE / self.folder[3:].replace("\\", "/") / file

    def wine(self, *command, env={}, timeout=60, **options):
        environment = {"ZELK_HOLDER": str(BUILD / "programs/holder.exe"), **os.environ,
                       "WINEPREFIX": str(PREFIX), "ZELK_PRESET": PRESET, **env}
        # Files, because whatever a program leaves behind would keep a pipe open.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            try:
                done = subprocess.run(
                    [ROOT / "scripts" / "wine.sh", *map(str, command)], stdin=subprocess.DEVNULL,
                    stdout=output, stderr=errors, env=environment, timeout=timeout, **options)
            finally:
                errors.seek(0)
                sys.stderr.write(errors.read().decode("utf-8", "replace"))  # shown on failure
            output.seek(0)
            return signed(done.returncode), output.read()

    def tool(self, name, *arguments, encoding="cp1252", **options):
        """What a program of tests/programs prints."""
        code, output = self.wine(BUILD / "programs" / f"{name}.exe", *arguments, **options)
        assert code == 0, (name, arguments, code, output)
        return output.decode(encoding).replace("\r\n", "\n")

    def run(self, *arguments, codes=(0,), log=LOG, before=(), encoding="cp1252", **options):
        """Runs zelkpmreg; before is what stands before it on the command line."""
        file = DRIVE / log[3:].replace("\\", "/")
        file.unlink(missing_ok=True)
        code, console = self.wine(*before, f"{self.folder}\\bin\\zelkpmreg.exe", *arguments, "-l",
                                  log, **options)
        text = file.read_bytes() if file.is_file() else b""
        result = Result(code, *(part.decode(encoding).splitlines() for part in (console, text)))
        assert code in codes, result
        return result
