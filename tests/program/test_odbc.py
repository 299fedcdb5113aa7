"""The ODBC driver: what is registered and removed, what the installer is asked, what is traced."""
import re
import shutil

import pytest
from conftest import COPIES, DRIVERS, SOURCES, TOUCHED, XA, Machine, message, presets, text

FAILED = -1879048190
RESULTS = {message(f"MSG_ODBC_{name}", FAILED): name for name in (
    "INSTALL_FAILED", "INSTALLED", "SOURCES_FAILED", "SOURCES_REMOVED", "REMOVE_FAILED", "REMOVED")}
REMOVED = ["SOURCES_REMOVED", "REMOVED"]
NOT_REMOVED = ["SOURCES_REMOVED", "REMOVE_FAILED"]
LIST = f"{DRIVERS}\\ODBC Drivers"
POOLING = {f"{DRIVERS}\\ODBC Connection Pooling": {
    "PerfMon": (1, b"\1\0\0\0"), "RetryWait": (1, b"\x78\0\0\0")}}
SAVED = r"SOFTWARE\Orvane\Zelk\TEMP\CP_TIMEOUT"
INSTALLER = "odbccp32/odbccp32.dll"
PARTIAL = "odbccp32_partial/odbccp32.dll"
BROKEN = "no library at all"
TRACER = "ZELKOSSE.dll"


def lay(machine, *libraries, name="Odbc"):
    """A copy of the package with stand-in libraries in its bin folder."""
    folder = machine.copy(name)
    for library in filter(None, libraries):
        if library == BROKEN:
            (machine.path(folder) / "bin" / "odbccp32.dll").write_text(BROKEN)
        else:
            shutil.copy(machine.build / "programs" / library, machine.path(folder) / "bin")
    return folder


def run(machine, *arguments, folder=None, **environment):
    """Runs the program to its good end; the names of the ODBC step's messages in their order."""
    # Left alone, Wine takes its own library for a stand-in of that name.
    environment.setdefault("WINEDLLOVERRIDES", "mscoree,mshtml=;odbccp32=n,b")
    done = machine.run("-c", "MYCOPY", *arguments, folder=folder, env=environment)
    assert (done.code, done.error) == (0, "")
    return [RESULTS.get(line, line) for line in done.lines() if "ODBC driver" in line
            and line not in (message("MSG_REGISTERING_ODBC"), message("MSG_UNREGISTERING_ODBC"))]


def install_again(machine, **options):
    """As when the copy's record was lost: nothing is removed first."""
    machine.delete(f"{COPIES}\\MYCOPY")
    return run(machine, **options)


def description(folder):
    return f"ORVANE PELLIMAR for ODBC - {folder}\\".replace("\\", "/")


def driver(folder):
    return f"{DRIVERS}\\{description(folder)}"


def driver_values(folder, timeout=text("60"), count=1):
    # The first usage count is 1 under Wine, 2 under Windows.
    return {"CPTimeout": timeout, "UsageCount": (4, count.to_bytes(4, "little")),
            "Driver": text(f"{folder}\\BIN\\zelkcli.dll"),
            "Setup": text(f"{folder}\\BIN\\zelkodbc.dll")}


def xa_values(folder):
    path = f"{folder}\\BIN\\ZELKAPP.DLL"
    return {path: text(path)}


def odbc(machine):
    """All that the step may write; empty keys and those above are of no interest."""
    keys = [r"SOFTWARE\ODBC", r"SOFTWARE\Microsoft\MSDTC", r"SOFTWARE\Orvane\Zelk\TEMP"]
    return {key: values for key, values in machine.registry(*keys).items() if values}


def with_sources(machine, folder, **sources):
    for name, of in sources.items():
        machine.set(SOURCES, name, of.format(description(folder)))


# The real installer, as Wine has it ----------------------------------------------------------


def test_install_again_replace_and_remove_among_others(machine):
    folder = machine.default
    others = {f"{DRIVERS}\\Another Driver": {"CPTimeout": text("15")},
              LIST: {"Another Driver": text("Installed")},
              SOURCES: {"Another Source": text("Another Driver")},
              XA: {r"C:\another\ZELKAPP.DLL": text("C:\\another\\ZELKAPP.DLL")}}
    for key, values in others.items():
        for name, (_, data) in values.items():
            machine.set(key, name, data[:-1].decode())
    assert odbc(machine) == others

    def installed(**values):
        return others | POOLING | {
            driver(folder): driver_values(folder, **values),
            LIST: others[LIST] | {description(folder): text("Installed")},
            XA: others[XA] | xa_values(folder)}

    assert run(machine) == ["INSTALLED"]
    assert odbc(machine) == installed()
    assert install_again(machine) == ["INSTALLED"]
    assert odbc(machine) == installed(count=2)
    # Replacing removes first, however often the driver was installed, and an own time-out too.
    machine.set(driver(folder), "CPTimeout", "90")
    assert run(machine, "-r") == [*REMOVED, "INSTALLED"]
    assert odbc(machine) == installed()
    assert run(machine, "-u") == REMOVED
    assert odbc(machine) == others | POOLING
    # Without the driver: it counts as removed, and the XA library goes all the same.
    run(machine)
    machine.delete(driver(folder))
    assert run(machine, "-u") == REMOVED
    assert odbc(machine)[XA] == others[XA]


@pytest.mark.parametrize("library", [None, INSTALLER], ids=["real", "standin"])
@pytest.mark.parametrize("kind, value", [("REG_SZ", text("90")), ("REG_DWORD", (4, b"Z\0\0\0"))])
def test_own_timeout_is_kept(machine, library, kind, value):
    # Wine leaves the value where it is; the stand-in empties the key.
    folder = lay(machine, library)
    run(machine, folder=folder)
    machine.set(driver(folder), "CPTimeout", "90", kind)
    assert install_again(machine, folder=folder) == ["INSTALLED"]
    found = odbc(machine)
    assert found[driver(folder)] == driver_values(folder, timeout=value, count=2)
    assert SAVED not in machine.registry(SAVED)


@pytest.mark.parametrize("library, count", [(None, 0), (None, 3), (None, 250), (INSTALLER, 3)])
def test_usage_count_is_taken_down(machine, library, count):
    folder = lay(machine, library)
    run(machine, folder=folder)
    machine.set(driver(folder), "UsageCount", str(count), "REG_DWORD")
    assert run(machine, "-u", folder=folder) == REMOVED
    assert odbc(machine) == POOLING
    removals = 3 * [f"remove\t{description(folder)}\t0"]
    assert machine.asked("odbccp32", folder)[1:] == (removals if library else [])


def test_data_sources(machine):
    folder = machine.default
    run(machine)
    # Wine hands them out by name, Windows in the order in which they were made: the same here.
    with_sources(machine, folder, a="{}", b="{}", c="Another Driver",
                 d=description(folder).swapcase(), e="{} and more", f="x" * 300)
    assert run(machine, "-u") == REMOVED
    assert "".join(odbc(machine)[SOURCES]) == "bcef"  # b moved into the place of a
    run(machine)
    assert run(machine, "-u") == REMOVED
    assert "".join(odbc(machine)[SOURCES]) == "cef"


@pytest.mark.parametrize("length, result", [
    (206, "INSTALLED"), (207, "INSTALL_FAILED"), (233, "INSTALL_FAILED")])
def test_longest_install_path(machine, length, result):
    folder = machine.copy("x" * (length - len(f"C:\\zelk\\{machine.preset}\\\\")))
    assert len(folder + "\\") == length  # 206: the driver's key has a path of 260 characters
    assert run(machine, folder=folder) == [result]
    found = odbc(machine)
    assert found == POOLING | {XA: xa_values(folder)} | ({} if result != "INSTALLED" else {
        LIST: {description(folder): text("Installed")}, driver(folder): driver_values(folder)})
    assert run(machine, "-u", folder=folder) == REMOVED
    assert odbc(machine) == POOLING


ELSEWHERE = pytest.param("x86", marks=pytest.mark.skip(reason="runs with the 32-bit programs"))


@pytest.mark.parametrize("installed", [p for p in presets() if p.values == ("x86",)] or [ELSEWHERE],
                         indirect=True)
def test_each_bitness_registers_in_its_own_view(machine):
    both = [machine, Machine("x64")]
    both[1].delete(*TOUCHED)
    for one in both:
        assert run(one) == ["INSTALLED"]
    for one in both:
        assert odbc(one) == POOLING | {
            LIST: {description(one.default): text("Installed")},
            driver(one.default): driver_values(one.default), XA: xa_values(one.default)}
    before = odbc(both[1])
    assert run(machine, "-u") == REMOVED
    assert odbc(machine) == POOLING
    assert odbc(both[1]) == before
    run(both[1], "-u")


# A stand-in for the installer ----------------------------------------------------------------


def test_what_the_installer_is_asked(machine):
    folder = lay(machine, INSTALLER, name="50%s off")
    attributes = description(folder).encode() + b"\0Driver=zelkcli.dll\0Setup=zelkodbc.dll\0\0"
    install = f"install\t{attributes.hex()}\t{folder}\\BIN\t260\t2"
    remove = f"remove\t{description(folder)}\t0"
    run(machine, folder=folder)
    assert odbc(machine)[driver(folder)] == driver_values(folder)
    assert run(machine, "-r", folder=folder) == [*REMOVED, "INSTALLED"]
    # Data sources are the business of the system's own library.
    with_sources(machine, folder, a="{}")
    assert run(machine, "-u", folder=folder) == REMOVED
    assert odbc(machine) == POOLING
    assert machine.asked("odbccp32", folder) == [install, remove, install, remove]


@pytest.mark.parametrize("library, failures, removals, result", [
    (INSTALLER, 99, 100, REMOVED), (INSTALLER, 100, 100, NOT_REMOVED),
    # With a key below it the driver's key cannot be deleted. Wine says that it was, too; Windows
    # may refuse instead, which the program treats alike.
    (INSTALLER, 0, 100, NOT_REMOVED), (None, 0, 0, NOT_REMOVED)])
def test_removal_comes_to_an_end(machine, library, failures, removals, result):
    folder = lay(machine, library)
    run(machine, folder=folder)
    if not failures:
        machine.set(f"{driver(folder)}\\Below")
    assert run(machine, "-u", folder=folder, ZELK_ODBC=f"remove-fails={failures}") == result
    asked = machine.asked("odbccp32", folder)
    assert sum(line.startswith("remove\t") for line in asked) == removals
    found = odbc(machine)
    assert XA not in found
    assert (driver(folder) in found) == (result == NOT_REMOVED)


@pytest.mark.parametrize("record, asked", [(1, 1), (3, 3), (8, 8), (0, 8)])
def test_error_records_are_asked_for_until_one_is_there(machine, record, asked):
    folder = lay(machine, INSTALLER)
    run(machine, folder=folder)
    orders = f"install-fails remove-fails=1 record={record}"
    assert run(machine, "-r", folder=folder, ZELK_ODBC=orders) == [*REMOVED, "INSTALL_FAILED"]
    errors = [f"error\t{n}\t260" for n in range(1, asked + 1)]
    found = [l if l[0] == "e" else l.split("\t")[0] for l in machine.asked("odbccp32", folder)]
    assert found == ["install", "remove", *errors, "remove", "install", *errors]


def test_failed_install_keeps_the_timeout_for_the_next(machine):
    folder = lay(machine, INSTALLER)
    machine.set(driver(folder), "CPTimeout", "90")
    expected = POOLING | {XA: xa_values(folder)}
    assert run(machine, folder=folder, ZELK_ODBC="install-fails") == ["INSTALL_FAILED"]
    assert odbc(machine) == expected | {driver(folder): {"CPTimeout": text("90")},
                                        SAVED: {"CPTimeout": text("90")}}
    machine.delete(driver(folder))
    assert install_again(machine, folder=folder) == ["INSTALLED"]
    assert odbc(machine) == expected | {driver(folder): driver_values(folder, text("90"))}


@pytest.mark.parametrize("library", [PARTIAL, BROKEN, None], ids=["partial", "broken", "none"])
def test_no_installer(machine, library):
    folder = lay(machine, library)
    environment = {}
    if not library:  # anywhere, and so none for the data sources either
        environment = {"WINEDLLOVERRIDES": "mscoree,mshtml,odbccp32="}
        with_sources(machine, folder, a="{}")
    assert run(machine, folder=folder, **environment) == ["INSTALL_FAILED"]
    machine.set(driver(folder), "Driver", "an earlier one")
    start = odbc(machine)
    assert start.keys() - {SOURCES} == {driver(folder)}  # no pooling, no XA library
    assert run(machine, "-r", folder=folder, **environment) == [*NOT_REMOVED, "INSTALL_FAILED"]
    assert run(machine, "-u", folder=folder, **environment) == NOT_REMOVED
    assert odbc(machine) == start


# A stand-in for the trace library ------------------------------------------------------------


def traced(machine, folder):
    """The calls that were traced as one line: 21{26{}0}F is a call of function 1D900021 that called
    1D900026 and failed; probes stand as "point:value". Ends the record."""
    line, open_calls = "", []
    for call in machine.asked("ZELKOSSE", folder):
        form = (r"(entry) 4711 0 1D9000(..) 0 1000000|(exit) 4711 0 1D9000(..) (\S+) 0 0"
                r"|(var) 4711 0 1D9000(..) (\d+) 3 1 0 (\d+) (.*)"
                r"|(error) 4711 0 1D9000(..) (\d+) 4 0 0 1 0 4 (.*)")
        match = re.fullmatch(form, call)
        assert match, call
        kind, function, *rest = [group for group in match.groups() if group is not None]
        if kind == "entry":
            open_calls.append(function)
            line += f"{function}{{"
            continue
        assert open_calls[-1] == function, call
        if kind == "exit":
            open_calls.pop()
            line = line.rstrip() + "}" + rest[0].replace(str(FAILED), "F") + " "
        else:
            assert kind == "error" or int(rest[1]) == len(rest[2])
            line += f"{rest[0]}:{rest[-1]} "
    assert not open_calls
    (machine.path(folder) / "bin" / "ZELKOSSE.asked").unlink(missing_ok=True)
    return line.rstrip().replace(folder, "FOLDER")


NEW, SAME, PREPARE, END = "1D{1C{}0}0", "1D{}0", r"20{20:FOLDER\BIN}0", "1E{1F{}0}0"
FIRST = "21{10:2 28{10:2}F 26{}0"  # 2: no such key
WRITES = "26{}0 26{}0 26{}0"       # pooling twice, XA library
REFUSAL = "80:11 90:the stand-in refuses"
GONE = "22{23{10:ODBC_DRIVER_NOT_REGISTERED}0}0"
# One run after the other: option, orders to the installer, what is traced.
TRACED = [
    ("", "", [NEW, PREPARE, SAME, FIRST, WRITES + "}0", END]),
    ("-r", "remove-fails=1 record=2", [
        NEW, PREPARE, SAME, PREPARE, SAME, "25{10:2}0", SAME, GONE.replace("10:", REFUSAL + " 10:"),
        END, NEW, PREPARE, SAME, FIRST, WRITES + "}0", END]),
    ("", "", [NEW, PREPARE, SAME, "21{26{}0 28{26{}0}0", WRITES + "}0", END]),
    ("", "install-fails record=2", [
        NEW, PREPARE, SAME, "21{26{}0", REFUSAL, WRITES + "}F", END]),
    ("-u", "", [NEW, PREPARE, SAME, "25{29{}0}0", SAME, GONE, END]),
]


def run_traced(machine, library, mode):
    machine.delete(*TOUCHED)
    folder = lay(machine, INSTALLER, library)
    outcome, calls = [], []
    for option, orders, _ in TRACED:
        if option == "-u":
            with_sources(machine, folder, a="{}")
        else:
            machine.delete(f"{COPIES}\\MYCOPY")
        outcome.append(run(machine, *filter(None, [option]), folder=folder, ZELK_ODBC=orders,
                           ZELK_TRACE=mode))
        outcome.append(odbc(machine))
        calls.append(traced(machine, folder))
    return outcome, machine.asked("odbccp32", folder), calls


def test_trace_changes_nothing_and_can_be_off(machine):
    *outcome, calls = run_traced(machine, TRACER, "on")
    assert calls == [" ".join(expected) for _, _, expected in TRACED]
    for library, mode in ((None, ""), (TRACER, "off"), (TRACER, "null")):
        *other, calls = run_traced(machine, library, mode)
        assert (other, calls) == (outcome, [""] * len(TRACED))


@pytest.mark.parametrize("library, failed", [(PARTIAL, 0), (BROKEN, 1)], ids=["partial", "broken"])
def test_trace_of_a_missing_installer(machine, library, failed):
    folder = lay(machine, TRACER, library)
    run(machine, folder=folder)
    assert traced(machine, folder) == " ".join([
        f"1D{{1C{{}}{failed}}}0", PREPARE, SAME, "21{10:2 30:SQLInstallDriverEx}F", END])
    machine.set(driver(folder))
    assert run(machine, "-u", folder=folder) == NOT_REMOVED
    assert traced(machine, folder).endswith(
        "25{10:2}0 1D{}0 22{23{10:2 " + 99 * "30:SQLRemoveDriver " + "30:SQLRemoveDriver}F}F " + END)


def test_trace_of_data_sources_that_stay(machine):
    folder = lay(machine, TRACER)
    run(machine, folder=folder)
    traced(machine, folder)
    with_sources(machine, folder, a="{}", b="{}")
    (machine.path(folder) / "bin" / "zelkcli.dll").unlink()
    assert run(machine, "-u", folder=folder) == REMOVED
    stays = "29{10:13 20:Load Library Failed}F"  # Wine's code and text
    assert traced(machine, folder) == " ".join([
        NEW, PREPARE, SAME, f"25{{{stays} {stays}}}0", SAME, GONE, END])
    assert odbc(machine)[SOURCES].keys() == {"a", "b"}
