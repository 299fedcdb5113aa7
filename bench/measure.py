"""What one run of a program costs, counted in requests to the Windows server of Wine.

Wine's server stands where the kernel of Windows stands: each registry, file, process and console
call of a program becomes one request or more. Requests are the same in every run and on every
machine, and times are not; so it is requests that have bounds.
"""
import os
import re
import shutil
import subprocess
import time
from collections import Counter
from pathlib import Path

from wine import ROOT, end_session, lay_copy, make_light_prefix, on_terminal, signed

PROVIDER = r"SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"
UNINSTALL = r"SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\MYCOPY"
COPIES = r"SOFTWARE\Orvane"
SOURCES = r"SOFTWARE\ODBC\ODBC.INI"
LOG = r"C:\zelk\bench.log"

# What a run on 64-bit Windows may cost; None where the number is shown and has no bound.
BOUNDS = {
    "register: own requests above an empty program": 400,
    "unregister: own requests above an empty program": 400,
    "register: all requests, as ratio to the floor": 1.05,
    "unregister: all requests, as ratio to the floor": 1.05,
    "register: all requests, as ratio to a floor without user32": None,
    "unregister: all requests, as ratio to a floor without user32": None,
    "register: values written, above the floor": 0,
    "register: values written": 29,
    "register: keys created, above the floor": 0,
    "register: keys created": 31,
    "unregister: keys deleted": 10,
    "zelkpmutil verify: requests, as ratio to a bare reader": 1.3,
    "zelkpmutil list: requests, as ratio to a bare reader": 1.3,
    "console: requests a line": 12,
    "refused run: own requests above an empty program": 40,
    "enumeration: requests an installed copy": 4,
    "enumeration: requests a data source": 1,
    "enumeration: departure from a straight line, copies": 0,
    "enumeration: departure from a straight line, data sources": 0,
    "executable: kB": 200,
    "zelkpmutil: kB": 300,
}

# The requests of a walk through the registry. What a program asks while it waits for another one
# is none of these, and differs from run to run by a few.
WALK = ("open_key", "enum_key", "enum_key_value", "get_key_value", "close_handle")

# So where all requests are counted, the least of some runs counts.
REPEATS = 3

# The loader's look-up of a program by its name, which each process begins with.
NAMED = re.compile(r'name=L"([^"\\]+)\\\\DllOverrides"')


class Run:
    """One run of a program, with the requests of each process: its own first."""

    def __init__(self, program, trace, code, output):
        self.code, self.output = code, output
        owner, asked, counts, names = {}, {}, {}, {}
        for line in trace.splitlines():
            found = re.match(r"([0-9a-f]{4}): (\w+)\((.*)", line)
            if not found:
                continue
            thread, request, rest = found.groups()
            if rest.startswith(") ="):
                if request == "init_first_thread":
                    owner[thread] = len(counts)  # the server gives its own numbers out again
                    counts[owner[thread]] = Counter([request])
                elif request == "new_thread" and asked.get(thread) == "ffffffff":
                    started = re.search(r"tid=([0-9a-f]+)", rest)
                    if started and thread in owner:
                        owner[started[1]] = owner[thread]
                continue
            if request == "new_thread":
                asked[thread] = re.search(r"process=([0-9a-f]+)", rest)[1]
            if thread not in owner:
                continue
            counts[owner[thread]][request] += 1
            named = NAMED.search(rest)
            if named:
                names[owner[thread]] = named[1]
        mine = [process for process, name in names.items() if name == program]
        assert mine, f"{program} is not in the trace"
        self.requests = counts.pop(mine[0])
        # Wine's own start.exe, where it stands before the program, is no part of it.
        self.children = [c for process, c in counts.items() if names.get(process) != "start.exe"]
        self.own = self.requests.total()
        self.whole = self.own + sum(c.total() for c in self.children)


class TracedMachine:
    """A Wine prefix whose server writes every request to a file.

    It shares drive C with the prefix that it is made from, and has a registry of its own.
    """

    def __init__(self, base, prefix, preset="x64"):
        self.base, self.prefix, self.preset = Path(base), Path(prefix), preset
        self.trace = self.prefix / "requests.txt"
        self.tools = ROOT / "build" / preset / "programs"
        own = Path("/usr/lib/wine/wine64" if preset == "x64" else "/usr/lib/wine/wine")
        # The loader of the program's own bitness starts it without a start.exe in between.
        self.loader = str(own) if own.exists() else "wine"
        self.environment = dict(os.environ, WINEPREFIX=str(self.prefix), WINEDEBUG="-all",
                                WINEDLLOVERRIDES="mscoree,mshtml=")
        self.environment.pop("DISPLAY", None)
        if own.exists():
            self.environment["WINELOADER"] = self.loader

    def __enter__(self):
        shutil.rmtree(self.prefix, ignore_errors=True)
        make_light_prefix(self.base, self.prefix)
        self.start()
        self.folder = f"C:\\zelk\\{self.preset}\\Bench\\"
        folder = self.prefix / "drive_c" / "zelk" / self.preset / "Bench"
        lay_copy(self.preset, folder)
        for file in (ROOT / "build" / self.preset / "bench").glob("*.exe"):
            shutil.copy(file, folder / "bin")
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self, traced=True):
        self.stop()
        options = ["-f", "-p", "-d1"] if traced else ["-f", "-p"]
        with open(self.trace, "wb") as file:
            self.server = subprocess.Popen(["wineserver", *options], stdin=subprocess.DEVNULL,
                                           stdout=subprocess.DEVNULL, stderr=file,
                                           env=self.environment, start_new_session=True)
        time.sleep(0.3)
        # Without a desktop the first window program would start one, and be charged for it.
        self.holder = subprocess.Popen(
            [self.loader, self.tools / "holder.exe"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env=self.environment, start_new_session=True)
        self.settle()

    def stop(self):
        end_session(self.prefix)
        for name in ("holder", "server"):
            if getattr(self, name, None):
                getattr(self, name).wait(20)

    def settle(self):
        """Waits until the machine does nothing of its own any more."""
        # The first program's standard output would go to the services that it starts, which stay.
        subprocess.run([self.loader, self.tools / "regtree.exe"], env=self.environment,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=120)
        size, quiet = -1, 0
        for _ in range(150):
            time.sleep(0.1)
            quiet = quiet + 1 if self.trace.stat().st_size == size else 0
            size = self.trace.stat().st_size
            if quiet >= 10:
                return

    def wine(self, *command):
        return subprocess.run([self.loader, *map(str, command)], env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)

    def delete(self, *keys):
        self.wine(self.tools / "regtree.exe", "--delete", *keys)

    def populate(self, kind, count):
        self.wine(self.folder + "bin\\populate.exe", kind, count)

    def tool(self, *arguments, **options):
        return self.run("zelkpmreg.exe", *arguments, "-c", "MYCOPY", "-l", LOG, **options)

    def floor(self, action, program):
        return self.run(program, action, self.folder, "MYCOPY")

    def run(self, program, *arguments, terminal=False):
        """Runs a program of the copy with its output into a pipe, or on a terminal."""
        return self.run_command(program, [f"{self.folder}bin\\{program}", *arguments], terminal)

    def run_command(self, program, command, terminal=False):
        start = self.trace.stat().st_size
        code, output = (on_terminal if terminal else into_pipe)([self.loader, *command],
                                                                self.environment)
        for _ in range(100):  # the server's last lines come when the program has gone
            with open(self.trace, "rb") as file:
                file.seek(start)
                trace = file.read().decode("ascii", "replace")
            main = [m[1] for m in map(re.compile(r"([0-9a-f]{4}): ").match, trace.splitlines())
                    if m and (n := NAMED.search(m.string)) and n[1] == program]
            if main and f"\n{main[0]}: *killed*" in trace:
                break
            time.sleep(0.02)
        return Run(program, trace, signed(code), output)


def into_pipe(command, environment):
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=120)
    return done.returncode, done.stdout


def straight(machine, sizes, kind, *arguments):
    """Own requests of a run for each size of the registry: (requests an entry, departure)."""
    costs = []
    for size in sizes:
        machine.populate(kind, size)
        run = machine.tool(*arguments)
        costs.append(sum(run.requests[request] for request in WALK))
        if kind == "sources":
            machine.tool("-d")
    slopes = [(b - a) / (m - n) for n, m, a, b in zip(sizes, sizes[1:], costs, costs[1:])]
    return max(slopes), max(slopes) - min(slopes)


def reading(machine):
    """The figures of zelkpmutil's reading commands, of a machine with one copy."""
    found = {}
    machine.tool("-d")
    for command in ("verify", "list"):
        runs = [(machine.run("zelkpmutil.exe", command).own,
                 machine.floor(command, "reader.exe").own) for _ in range(REPEATS)]
        ratio = min(mine for mine, _ in runs) / min(bare for _, bare in runs)
        found[f"zelkpmutil {command}: requests, as ratio to a bare reader"] = round(ratio, 3)
    machine.tool("-u")
    return found


def figures(machine, sizes):
    """Every figure of BOUNDS."""
    found = {}
    empty = machine.run("empty.exe")
    # Keys that all products share are there on every Windows machine: one run makes them.
    machine.delete(COPIES, PROVIDER, UNINSTALL, SOURCES)
    machine.tool("-d")
    machine.tool("-u")
    runs = {}
    for program in ("zelkpmreg.exe", "floor.exe", "bare.exe"):
        tool = program == "zelkpmreg.exe"
        for _ in range(REPEATS):
            for name, option in (("register", "-d"), ("unregister", "-u")):
                run = machine.tool(option) if tool else machine.floor(name, program)
                assert run.code == 0, run.output
                runs.setdefault((program, name), []).append(run)

    def least(program, name):
        return min(runs[program, name], key=lambda run: run.whole)

    for name in ("register", "unregister"):
        tool, floor = least("zelkpmreg.exe", name), least("floor.exe", name)
        found[f"{name}: own requests above an empty program"] = tool.own - empty.own
        for other, kind in ((floor, "the floor"),
                            (least("bare.exe", name), "a floor without user32")):
            ratio = round(tool.whole / other.whole, 3)
            found[f"{name}: all requests, as ratio to {kind}"] = ratio
        for request, what in (("set_key_value", "values written"), ("create_key", "keys created")):
            count = tool.requests[request]
            found[f"{name}: {what}"] = count - empty.requests[request]
            found[f"{name}: {what}, above the floor"] = count - floor.requests[request]
    found["unregister: keys deleted"] = tool.requests["delete_key"]

    found.update(reading(machine))
    refused = machine.tool("-u")
    assert refused.code == -102, refused.output
    machine.tool("-d")
    refused = machine.tool()
    assert refused.code == -101, refused.output
    found["refused run: own requests above an empty program"] = refused.own - empty.own

    # The same run on the same terminal, with its lines and without them.
    loud, quiet = machine.tool("-r", terminal=True), machine.tool("-r", "-s", terminal=True)
    lines = (machine.prefix / "drive_c" / LOG[3:].replace("\\", "/")).read_bytes().count(b"\n")
    found["console: requests a line"] = round((loud.own - quiet.own) / lines, 1)

    slope, departure = straight(machine, sizes, "sources", "-u")
    found["enumeration: requests a data source"] = slope
    found["enumeration: departure from a straight line, data sources"] = departure
    machine.delete(SOURCES)
    slope, departure = straight(machine, sizes, "copies", "-r")
    found["enumeration: requests an installed copy"] = slope
    found["enumeration: departure from a straight line, copies"] = departure
    machine.delete(COPIES, UNINSTALL)
    machine.tool("-r")  # for the ODBC driver, which would be installed on top of the old one
    machine.tool("-u")
    for program, what in (("zelkpmreg", "executable"), ("zelkpmutil", "zelkpmutil")):
        size = (machine.tools.parent / "package" / "bin" / f"{program}.exe").stat().st_size
        found[f"{what}: kB"] = round(size / 1000, 1)
    return {name: found[name] for name in BOUNDS}
