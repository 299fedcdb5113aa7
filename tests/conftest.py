"""A Windows machine for the whole-program tests: a Wine prefix, copies of the package, runs."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "msg"))
import check_sources  # noqa: E402

PREFIX = Path(os.environ.get("ZELK_TEST_PREFIX", ROOT / "build" / "wine"))
DRIVE = PREFIX / "drive_c"
COPIES = r"SOFTWARE\Orvane\Zelk\InstalledCopies"
UNINSTALL = r"SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
PROVIDER = r"SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"
DOTNET = r"SOFTWARE\Microsoft\.NETFramework"
DRIVERS = r"SOFTWARE\ODBC\ODBCINST.INI"
SOURCES = r"SOFTWARE\ODBC\ODBC.INI\ODBC Data Sources"
XA = r"SOFTWARE\Microsoft\MSDTC\XADLL"
# All that a run may touch; a test begins without them and compares them.
TOUCHED = [r"SOFTWARE\Orvane", r"SOFTWARE\ODBC", r"SOFTWARE\Microsoft\MSDTC", PROVIDER, DOTNET]
NAMES = ["MYCOPY", "OTHER", "ORVDBCL1"]
ENGLISH = dict(check_sources.texts(ROOT / "msg" / "en_US" / "zelkpmreg.rc"))


def message(name, *arguments):
    """An English message as it stands in the log."""
    return ENGLISH[name].replace("%s", "{}").format(*arguments)


def presets():
    wine32 = any(Path(p).exists() for p in (
        "/usr/lib/wine/wine", "/usr/lib/i386-linux-gnu/wine/i386-unix/ntdll.so"))
    wanted = os.environ.get("ZELK_PRESETS", "x64 x86").split()
    return [pytest.param(p, marks=pytest.mark.skipif(
        p == "x86" and not wine32, reason="32-bit Wine cannot be had here")) for p in wanted]


def system(name):
    """The environment of a machine of that language, complete with its terminal and file names."""
    folder = ROOT / "build" / "locales"
    if not (folder / f"{name}.UTF-8").exists():
        folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(["localedef", "-c", "-i", name, "-f", "UTF-8", folder / f"{name}.UTF-8"],
                       check=True, capture_output=True)
    return {"LC_ALL": f"{name}.UTF-8", "LOCPATH": str(folder)}


@dataclass
class Result:
    code: int
    console: str
    error: str
    log: str

    def lines(self):
        return self.log.splitlines()


class Machine:
    def __init__(self, preset):
        self.preset = preset
        self.build = ROOT / "build" / preset
        self.default = self.copy("Copy One")

    # Files -----------------------------------------------------------------------------------
    def path(self, windows):
        """The file of a path on drive C."""
        return DRIVE / windows[3:].replace("\\", "/")

    def copy(self, name, odbc=True):
        """Lays a fresh copy of the package; returns its install directory without a backslash."""
        folder = DRIVE / "zelk" / self.preset / name
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(self.build / "package", folder)
        for file in ("orvanedazelk.dll", "zelknmpcfg.exe", "zelkswtch.exe", "zelkcli.dll",
                     "zelkodbc.dll"):
            shutil.copy(self.build / "programs" / file, folder / "bin")
        return f"C:\\zelk\\{self.preset}\\{name}"

    def asked(self, tool="zelkswtch", folder=None):
        file = self.path(folder or self.default) / "bin" / f"{tool}.asked"
        return file.read_text().splitlines() if file.exists() else []

    # Programs --------------------------------------------------------------------------------
    def wine(self, *command, check=False, env={}, **options):
        loader = Path("/usr/lib/wine/wine64")
        if self.preset != "x86" and loader.exists():
            env = {"ZELK_LOADER": str(loader), **env}
        environment = {"ZELK_HOLDER": str(ROOT / "build/x64/programs/holder.exe"), **os.environ,
                       "WINEPREFIX": str(PREFIX), **env}
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("timeout", 60)
        # Files, because whatever a program leaves behind would keep a pipe open.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            done = subprocess.run([ROOT / "scripts" / "wine.sh", *map(str, command)],
                                  stdout=output, stderr=errors, env=environment, **options)
            for stream in (output, errors):
                stream.seek(0)
            done.stdout, done.stderr = output.read(), errors.read()
        assert not check or done.returncode == 0, done
        return done

    def start(self, name, *arguments):
        """Starts a stand-in and goes on."""
        program = self.build / "programs" / f"{name}.exe"
        command = map(str, [ROOT / "scripts" / "wine.sh", program, *arguments])
        return subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                env={**os.environ, "WINEPREFIX": str(PREFIX)})

    def standin(self, name, *arguments, **options):
        return self.wine(self.build / "programs" / f"{name}.exe", *arguments, **options)

    def run(self, *arguments, folder=None, log=r"C:\zelk\run.log", before=(), encoding="cp1252",
            **options):
        """Runs zelkpmreg; before is what stands before it on the command line."""
        if log:
            self.path(log).unlink(missing_ok=True)
            arguments += ("-l", log)
        tool = f"{folder or self.default}\\bin\\zelkpmreg.exe"
        done = self.wine(*before, tool, *arguments, **options)
        file = self.path(log) if log else None
        text = file.read_bytes() if file and file.is_file() else b""
        code = done.returncode - 256 if done.returncode > 127 else done.returncode
        plain = [t.replace(b"\r\n", b"\n").decode(encoding) for t in (done.stdout, done.stderr, text)]
        return Result(code, *plain)

    # Registry --------------------------------------------------------------------------------
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

    def everything(self):
        return self.registry(*TOUCHED, *(f"{UNINSTALL}\\{n}" for n in NAMES))

    def delete(self, *keys):
        self.standin("regtree", "--delete", *keys, check=True)

    def set(self, key, name="", text="", kind="REG_SZ"):
        """Writes one value with the registry tool of Windows; its view is the program's."""
        view = "/reg:32" if self.preset == "x86" else "/reg:64"
        value = ["/v", name, "/t", kind, "/d", text] if name else []
        self.wine("reg", "add", f"HKLM\\{key}", *value, "/f", view, check=True)

    def install_dotnet(self):
        self.set(DOTNET, "InstallRoot", "C:\\dotnet\\")


@pytest.fixture(params=presets(), scope="session")
def installed(request):
    machine = Machine(request.param)
    machine.wine()
    return machine


@pytest.fixture
def machine(installed):
    """A machine on which nothing is registered."""
    installed.delete(*TOUCHED, *(f"{UNINSTALL}\\{n}" for n in NAMES))
    for record in installed.path(installed.default).glob("bin/*.asked"):
        record.unlink()
    return installed


def text(value):
    """The registry data of a text with its terminating zero."""
    return (1, value.encode("cp1252") + b"\0")


GUID = re.compile(rb"\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}\0")
