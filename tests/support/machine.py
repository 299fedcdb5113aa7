"""A Windows machine for the whole-program tests: a Wine prefix, copies of the package, runs."""
import os
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

import check_sources
from support.wine import ROOT, lay_copy, signed

PRESET = os.environ.get("ZELK_PRESET", "x64")
PREFIX = Path(os.environ.get("WINEPREFIX", ROOT / "build" / "wine"))
DRIVE = PREFIX / "drive_c"
COPIES = r"SOFTWARE\Orvane\Zelk\InstalledCopies"
UNINSTALL = r"SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
PROVIDER = r"SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"
DRIVERS = r"SOFTWARE\ODBC\ODBCINST.INI"
SOURCES = r"SOFTWARE\ODBC\ODBC.INI\ODBC Data Sources"
XA = r"SOFTWARE\Microsoft\MSDTC\XADLL"
# All that a run may touch; a test begins without them and compares them.
TOUCHED = [r"SOFTWARE\Orvane", r"SOFTWARE\ODBC", r"SOFTWARE\Microsoft\MSDTC", PROVIDER,
           *(f"{UNINSTALL}\\{name}" for name in ("MYCOPY", "OTHER", "ORVDBCL1"))]
ENGLISH = dict(check_sources.texts(ROOT / "msg" / "en_US" / "zelkpmreg.rc"))


def message(name, *arguments):
    """An English message as it stands in the log."""
    return ENGLISH[name].replace("%s", "{}").format(*arguments)


@dataclass
class Result:
    code: int
    console: str
    error: str
    log: str

    def lines(self):
        return self.log.splitlines()


class Machine:
    def __init__(self, preset=PRESET):
        self.preset, self.build = preset, ROOT / "build" / preset
        self.default = self.copy("Copy One")

    def path(self, windows):
        """The file of a path on drive C."""
        return DRIVE / windows[3:].replace("\\", "/")

    def copy(self, name):
        """Lays a fresh copy of the package; returns its install directory without a backslash."""
        lay_copy(self.preset, DRIVE / "zelk" / self.preset / name)
        return f"C:\\zelk\\{self.preset}\\{name}"

    def wine(self, *command, check=False, env={}, **options):
        environment = {"ZELK_HOLDER": str(self.build / "programs/holder.exe"), **os.environ,
                       "WINEPREFIX": str(PREFIX), "ZELK_PRESET": self.preset, **env}
        # Files, because whatever a program leaves behind would keep a pipe open.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            done = subprocess.run(
                [ROOT / "scripts" / "wine.sh", *map(str, command)], stdout=output, stderr=errors,
                env=environment, **{"stdin": subprocess.DEVNULL, "timeout": 60, **options})
            for stream in (output, errors):
                stream.seek(0)
            done.stdout, done.stderr = output.read(), errors.read()
        assert not check or done.returncode == 0, done
        return done

    def standin(self, name, *arguments, **options):
        return self.wine(self.build / "programs" / f"{name}.exe", *arguments, **options)

    def run(self, *arguments, folder=None, log=r"C:\zelk\run.log", before=(), encoding="cp1252",
            **options):
        """Runs zelkpmreg; before is what stands before it on the command line."""
        file = self.path(log)
        file.unlink(missing_ok=True)
        tool = f"{folder or self.default}\\bin\\zelkpmreg.exe"
        done = self.wine(*before, tool, *arguments, "-l", log, **options)
        text = file.read_bytes() if file.is_file() else b""
        return Result(signed(done.returncode), *(
            t.replace(b"\r\n", b"\n").decode(encoding) for t in (done.stdout, done.stderr, text)))

    def registry(self, *keys, encoding="cp1252", **options):
        """{key: {value name: (type, data)}} of the keys and all below them."""
        tree = {}
        raw = self.standin("regtree", "--raw", *keys, **options).stdout.decode(encoding)
        for line in raw.replace("\r\n", "\n").splitlines():
            if line.startswith("["):
                values = tree[line[1:-1]] = {}
            else:
                name, kind, data = line.split("\t")
                values[name] = (int(kind), bytes.fromhex(data))
        return tree

    def clean(self):
        self.standin("regtree", "--delete", *TOUCHED, check=True)
