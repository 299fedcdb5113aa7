"""Wine as the tests and the bench use it: prefixes, copies of the package, terminals."""
import os
import pty
import shutil
import subprocess
import threading
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]


def signed(status):
    """The exit code as Windows has it; only its low byte arrives here."""
    return status - 256 if status > 127 else status


def lay_copy(preset, folder):
    """Lays a fresh copy of the package, with stand-ins for its other files."""
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run(["cmake", "--install", ROOT / "build" / preset, "--prefix", folder],
                   check=True, stdout=subprocess.DEVNULL)


def end_session(prefix):
    """Ends the prefix's server, which writes its registry to the disk."""
    for option in ("-k", "-w"):
        subprocess.run(["wineserver", option], env={**os.environ, "WINEPREFIX": str(prefix)},
                       stderr=subprocess.DEVNULL)


def make_light_prefix(base, prefix):
    """Makes a prefix that shares drive C with another one and has its own copy of the registry."""
    end_session(base)
    prefix.mkdir(parents=True)
    for file in (*base.glob("*.reg"), base / ".update-timestamp", base / ".made"):
        shutil.copy(file, prefix)
    shutil.copytree(base / "dosdevices", prefix / "dosdevices", symlinks=True)
    (prefix / "drive_c").symlink_to((base / "drive_c").resolve())


def on_terminal(command, environment):
    """The status of a program and what a terminal of 200 columns gets from it."""
    master, slave = pty.openpty()
    subprocess.run(["stty", "cols", "200", "rows", "60"], stdin=slave, check=True)
    process = subprocess.Popen(command, env={**environment, "TERM": "xterm"}, stdin=slave,
                               stdout=slave, stderr=subprocess.DEVNULL, start_new_session=True)
    os.close(slave)
    shown = []

    def drain():
        try:
            while chunk := os.read(master, 65536):
                shown.append(chunk)
        except OSError:  # the terminal has ended
            pass

    reader = threading.Thread(target=drain)
    reader.start()
    status = process.wait(120)
    reader.join(20)
    os.close(master)
    return status, b"".join(shown)
