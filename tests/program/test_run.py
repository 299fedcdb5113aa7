"""Register, register again, replace, unregister: exit code, console, log and registry each time."""
import pytest
from conftest import COPIES, GUID, PROVIDER, TOUCHED, UNINSTALL, XA, message, text

YES = (1, b"YES")  # stored without a terminating zero
VERSION = {
    "Version": (1, b"10"), "Release": (1, b"1\0"),
    "Modification": (1, b"2\0\0\0Fix Le"), "Fix Level": (1, b"238\0Descri"),
    "Description": text("Orvane Pellimar Package"),
}
COMPONENTS = {"ORVANEDAZELK" + s for s in (
    "", " Advanced Page", " Connection Page", " Enumerator", " Error Lookup")}


def expected_record(folder, name="MYCOPY"):
    key = f"{COPIES}\\{name}"
    return {
        key: {"Zelk Path Name": text(folder + "\\"), "ClientInterfaceOnlyCopy": YES,
              "RemoteCopy": YES},
        f"{key}\\CurrentVersion": VERSION,
        f"{key}\\InstallData": {},
        f"{key}\\Orvane Pellimar Package": {},
        f"{key}\\Orvane Pellimar Package\\CurrentVersion": VERSION,
    }


def check_record(machine, name="MYCOPY"):
    found = machine.registry(f"{COPIES}\\{name}")
    identifiers = found.pop(f"{COPIES}\\{name}\\InstallData\\OLEDB")
    assert found == expected_record(machine.default, name)
    assert identifiers.keys() == COMPONENTS
    data = {value for kind, value in identifiers.values() if kind == 1 and GUID.fullmatch(value)}
    assert len(data) == 5, identifiers
    return data


def test_register_and_unregister(machine):
    machine.install_dotnet()
    start = machine.everything()
    done = machine.run("-c", "MYCOPY", "-d")
    assert (done.code, done.error) == (0, "")
    assert done.console == done.log
    steps = [message(m, *a) for m, *a in (
        ["MSG_DEFAULT_COPY", ""], ["MSG_THIS_COPY", "MYCOPY"], ["MSG_REGISTERING"],
        ["MSG_DOTNET_REGISTERED"], ["MSG_REGISTERING_RECORD"], ["MSG_RECORD_WRITTEN"],
        ["MSG_REGISTERING_ODBC"], ["MSG_ODBC_INSTALLED"],
        ["MSG_REGISTERING_UNINSTALL_ENTRY"], ["MSG_UNINSTALL_WRITTEN"],
        ["MSG_REGISTERING_OLEDB"], ["MSG_OLEDB_REGISTERED"],
        ["MSG_DEFAULT_SWITCHING", "MYCOPY"], ["MSG_DEFAULT_SWITCHED", "MYCOPY"])]
    assert done.lines()[3:] == steps
    check_record(machine)
    assert machine.registry(COPIES)[COPIES] == {"defaultClientInterfaceCopy": text("MYCOPY")}
    tool = f"{machine.default}\\bin\\zelkpmreg.exe"
    assert machine.registry(f"{UNINSTALL}\\MYCOPY") == {f"{UNINSTALL}\\MYCOPY": {
        "DisplayName": text("Orvane Pellimar Package - Remote - MYCOPY"),
        "UninstallString": text(f"{tool} -u -p -c MYCOPY")}}
    provider = machine.registry(PROVIDER)[f"{PROVIDER}\\InprocServer32"][""]
    assert provider == text(f"{machine.default}\\bin\\orvanedazelk.dll")
    assert machine.asked() == [f'"{machine.default}\\bin\\zelkswtch.exe" -client -d MYCOPY']

    # The uninstall entry's own command, less the pause, undoes it.
    done = machine.run("-u", "-c", "MYCOPY")
    assert done.code == 0
    assert [l for l in done.lines() if l.startswith("The")] == [message(m, *a) for m, *a in (
        ["MSG_DOTNET_UNREGISTERED"], ["MSG_RECORD_REMOVED"], ["MSG_ODBC_SOURCES_REMOVED"],
        ["MSG_ODBC_REMOVED"], ["MSG_UNINSTALL_REMOVED"], ["MSG_DEFAULT_SWITCHED", "MYCOPY"])]
    assert message("MSG_OLEDB_UNREGISTERED") in done.lines()
    left = machine.everything()
    shared = {key: values for key, values in left.items() if key not in start}
    assert all("Zelk" not in key and "ORVANE" not in key for key in shared), shared
    assert machine.registry(PROVIDER) == {}
    assert machine.run("-u", "-c", "MYCOPY").code == -102


def test_register_again_needs_r_and_makes_new_identifiers(machine):
    assert machine.run("-c", "MYCOPY").code == 0
    first = check_record(machine)
    assert "defaultClientInterfaceCopy" not in machine.registry(COPIES)[COPIES]
    assert machine.run("-c", "MYCOPY").code == -101
    assert check_record(machine) == first

    machine.install_dotnet()
    done = machine.run("-r", "-v", "-c", "MYCOPY")
    assert done.code == 0
    for undone, doing in (("MSG_DOTNET_UNREGISTERED", "MSG_DOTNET_REGISTERED"),
                          ("MSG_ODBC_REMOVED", "MSG_ODBC_INSTALLED"),
                          ("MSG_OLEDB_UNREGISTERED", "MSG_OLEDB_REGISTERED")):
        assert done.log.count(message(undone)) == 1
        assert done.log.index(message(undone)) < done.log.index(message(doing))
    assert check_record(machine).isdisjoint(first)
    # A default copy that is replaced stays the default.
    machine.set(COPIES, "defaultClientInterfaceCopy", "MYCOPY")
    machine.run("-r", "-c", "MYCOPY")
    assert len(machine.asked()) == 1


def register(machine, *names):
    for name in names:
        assert machine.run("-c", name, folder=machine.copy("Copy " + name)).code == 0


REFUSALS = {
    -101: (["MYCOPY"], [], ["-c", "MYCOPY"], ["MSG_COPY_EXISTS", "MYCOPY"]),
    -102: ([], [], ["-u", "-c", "MYCOPY"], ["MSG_COPY_UNKNOWN", "MYCOPY"]),
    -104: (["MYCOPY", "OTHER"], [(COPIES, "defaultClientInterfaceCopy", "MYCOPY")],
           ["-u", "-f", "-c", "MYCOPY"], ["MSG_IS_DEFAULT_COPY"]),
    -105: (["MYCOPY"], [(f"{COPIES}\\MYCOPY", "RemoteCopy", "yes")], ["-u", "-c", "MYCOPY"],
           ["MSG_NOT_REMOTE_COPY", r"Software\Orvane\Zelk\InstalledCopies\MYCOPY"]),
    -106: ([], [(f"{COPIES}\\OTHER", "Zelk Path Name", "{folder}\\")], ["-c", "MYCOPY"],
           ["MSG_PATH_TAKEN"]),
    -107: (["MYCOPY"], [], ["-u"], ["MSG_COPY_NAME_MISSING"]),
    -108: (["MYCOPY"], [], ["-u", "-c", "MYCOPY"], ["MSG_OTHER_PATH", "MYCOPY"]),
    -109: (["MYCOPY"], [], ["-u", "-r", "-c", "MYCOPY"], ["MSG_REPLACE_AFTER_UNREGISTER"]),
    -113: (["MYCOPY"], [], ["-r", "-c", "MYCOPY"], ["MSG_NOT_ADMINISTRATOR"]),
}


@pytest.mark.parametrize("code", REFUSALS)
def test_refusal_before_any_change(machine, code):
    names, values, arguments, (name, *message_arguments) = REFUSALS[code]
    register(machine, *names)
    for key, value, data in values:
        machine.set(key, value, data.format(folder=machine.default))
    start = machine.everything()
    before = [machine.build / "programs/limited.exe", "restricted"] if code == -113 else []
    done = machine.run(*arguments, "-v", before=before)
    assert done.code == code
    assert done.lines()[-2:] == [message(name, *message_arguments),
                                 f"Exiting with error code {code}"]
    assert done.console == done.log
    assert machine.everything() == start
    assert "Exiting" not in machine.run(*arguments, before=before).log  # only with -v


def test_what_overrides_a_refusal(machine):
    register(machine, "MYCOPY")
    assert machine.run("-u", "-f", "-c", "MYCOPY").code == 0  # from another path
    assert COPIES not in machine.registry(COPIES)             # the only copy: the product key too
    machine.set(f"{COPIES}\\OTHER", "Zelk Path Name", machine.default + "\\")
    assert machine.run("-r", "-c", "MYCOPY").code == 0
    # -r before -u conflicts with nothing: it unregisters.
    assert machine.run("-r", "-u", "-c", "MYCOPY").code == 0
    assert f"{COPIES}\\MYCOPY" not in machine.registry(COPIES)
    assert f"{COPIES}\\OTHER" in machine.registry(COPIES)
    # A filtered administrator is one: the full token is linked.
    filtered = [machine.build / "programs/limited.exe", "filtered"]
    assert machine.run("-r", "-c", "MYCOPY", before=filtered).code == 0


def test_no_message_library_and_no_log(machine):
    folder = machine.copy("Bare")
    english = machine.path(folder) / "msg" / "en_US" / "zelkpmreg.dll"
    english.rename(english.with_suffix(".away"))
    library = f"{folder}\\msg\\en_US\\zelkpmreg.dll"
    done = machine.run("-v", "-c", "MYCOPY", folder=folder)
    assert done.code == -110
    assert done.lines()[-2:] == [f"Could not load the message dll {library}",
                                 "Exiting with error code -110"]
    assert "The specified language en_us is not installed.  Falling back on en_US" in done.lines()

    machine.path(r"C:\zelk\folder.log").mkdir(exist_ok=True)
    done = machine.run("-s", "-v", "-c", "MYCOPY", "-l", r"C:\zelk\folder.log", log=None)
    assert (done.code, done.console) == (-111, "Could not open log file. error: 5")
    assert machine.everything() == {}


USAGE_CASES = [["-h"], ["/?", "-s"], ["-c"], ["-c", "1abc"], ["-c", "a-b"], ["-c", "x" * 65],
               ["-c", ""], ["-l", "   "], ["-i", "-d"], ["-l", "C:\\" + "x" * 258 + ".log"]]


@pytest.mark.parametrize("arguments", USAGE_CASES, ids=lambda a: " ".join(a)[:20])
def test_usage(machine, arguments):
    done = machine.run(*arguments)
    assert done.code == 0
    assert done.console == message("MSG_USAGE").format()
    assert done.log == ""  # the usage text is for the console
    assert machine.everything() == {}


def test_console_and_log(machine):
    log = r"C:\zelk\new folder\deeper\%n%s%d%%.log"
    done = machine.run("-c", "MYCOPY", "-v", log=log)
    assert done.code == 0
    line = message("MSG_LOG_FILE", log)
    assert line in done.lines()
    # On the console the finished line is a format once more, of arguments that are all zero.
    shown = line.replace("%n", "").replace("%s", "(null)").replace("%d", "0").replace("%%", "%")
    assert shown in done.console.splitlines()
    assert len(done.lines()) == len(done.console.splitlines())
    quiet = machine.run("-u", "-c", "MYCOPY", "-s")
    assert (quiet.code, quiet.console) == (0, "")
    assert message("MSG_RECORD_REMOVED") in quiet.lines()


def test_default_log_and_default_copy(machine):
    folder = next(machine.path("C:\\users\\x").parent.glob("*/Documents/")) / "ZELKLOG"
    for old in folder.glob("*"):
        old.unlink()
    done = machine.run(log=None)
    assert done.code == 0
    check_record(machine, "ORVDBCL1")
    (log,) = folder.iterdir()
    assert log.match("quenlet-??? ??? ?? ??_??_?? ????.log"), log
    assert log.read_bytes().replace(b"\r\n", b"\n").decode() == done.console


def test_pause_only_after_a_refusal(machine):
    refused = machine.run("-p", "-u", "-c", "MYCOPY", input=b"\n", stdin=None)
    assert refused.code == -102 and "Press any key" in refused.console
    done = machine.run("-p", "-c", "MYCOPY")
    assert done.code == 0 and "Press any key" not in done.console


def test_uninstall_entry_that_is_there_stays(machine):
    entry = f"{UNINSTALL}\\MYCOPY"
    machine.set(entry, "DisplayName", "an administrator's own")
    machine.set(f"{entry}\\Below")
    done = machine.run("-c", "MYCOPY")
    assert message("MSG_UNINSTALL_WRITTEN") in done.lines()
    assert machine.registry(entry)[entry] == {"DisplayName": text("an administrator's own")}
    machine.run("-u", "-c", "MYCOPY")
    assert machine.registry(entry) == {}
