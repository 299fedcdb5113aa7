"""The faults that the program is shown to survive; docs/testing.md explains each row."""
import os
from dataclasses import dataclass, field
from typing import Callable, Union

import ordeals
from conftest import COPIES, DOTNET, PROVIDER, SOURCES, XA
from ordeals import ENTRY, MINE
from scene import REGISTER, REPLACE, UNREGISTER

PRODUCT, OWN_SOURCES = r"SOFTWARE\Orvane", r"SOFTWARE\ODBC\ODBC.INI"
WRITE, ALL = "0x10006", "KA"  # delete, make subkeys, set values; everything
FAILED, ODBC_FAILED = "MSG_RECORD_FAILED", "-1879048190"
ENGLISH = "msg/en_US/zelkpmreg.dll"


@dataclass
class Fault:
    """A run, damaged: it registers or unregisters all the same, unless its code is a refusal's."""
    name: str
    harm: Callable = lambda scene: None  # does the damage; may return options for the run
    run: list = field(default_factory=lambda: REGISTER)
    code: Union[int, str] = 0
    # What is said: a dictionary replaces lines of the steps of an undisturbed run, a list is in the
    # log, a text is all that the console shows.
    says: Union[dict, list, str] = field(default_factory=dict)
    but: tuple = ()           # keys that it may leave other than an undisturbed run does
    stays: tuple = ()         # of those, the keys that the next run does not put right
    console: str = "log"      # shows the same as the log, "none", or "more"
    complains: bool = False   # Wine tells of a child's crash on the error stream
    seconds: float = 5        # the longest that the run may take
    both: bool = False        # worth its time in 32 bits, too
    ordeal: Callable = None   # instead of all this: a function that does the damage and looks


def denied(key, rights=WRITE):
    return lambda scene: scene.access(key, rights)


def spoiled(file, content=None):
    return lambda scene: scene.spoil(file, content)


def dotnet(harm):
    def install(scene):
        scene.machine.install_dotnet()
        scene.undo.callback(scene.machine.delete, DOTNET)
        return harm(scene)
    return install


def temporary(folder):
    return dotnet(lambda scene: {"before": scene.starter(
        "with", "TMP=" + (folder(scene) if callable(folder) else folder))})


def limited(way):
    return lambda scene: {"before": [scene.machine.build / "programs/limited.exe", way]}


def without(library):
    return lambda scene: {"env": {"WINEDLLOVERRIDES": f"mscoree,mshtml,{library}="}}


def started(*way):
    return lambda scene: {"before": scene.starter(*way)}


def unruly(way):
    def harm(scene):
        scene.spoil("bin/zelkswtch.exe", scene.built("programs/unruly.exe"))
        return {"env": {"ZELK_UNRULY": way}}
    return harm


def crowd(what, key, count, more, options=lambda scene: None):
    def harm(scene):
        scene.harm(what, key, count, scene.driver() if more == "driver" else more)
        scene.undo.callback(scene.machine.delete, key)
        return options(scene)
    return harm


def logging(path):
    return lambda scene: {"log": None, "also": ["-l", path(scene) if callable(path) else path]}


def no_log(name, path, number, **rest):
    return Fault(name, logging(path), code=-111,
                 says=f"Could not open log file. error: {number}", **rest)


def no_library(name, harm, locale="en_us", **rest):
    path = r"C:\zelk\{preset}\Copy One\msg\%s\zelkpmreg.dll" % locale
    return Fault(name, harm, code=-110, says=[f"Could not load the message dll {path}"], **rest)


AREAS = {
    "Rights": [
        Fault("not an administrator", limited("restricted"), code=-113,
              says=["MSG_NOT_ADMINISTRATOR"], both=True),
        Fault("filtered administrator", limited("filtered")),
        Fault("record not writable", denied(MINE), REPLACE, but=(MINE,),
              says={"MSG_RECORD_WRITTEN": [FAILED, FAILED, "MSG_RECORD_WRITTEN"]}),
        Fault("list of copies not writable", denied(COPIES), but=(COPIES,),
              says={"MSG_RECORD_WRITTEN": [FAILED] * 3}),
        Fault("uninstall entry closed", denied(ENTRY, ALL), but=(ENTRY,), stays=(ENTRY,),
              says={"MSG_UNINSTALL_WRITTEN": ["MSG_UNINSTALL_WRITE_FAILED"]}, both=True),
        Fault("XA libraries not writable", denied(XA), but=(XA,)),
        Fault("record not removable", denied(MINE), UNREGISTER, but=(PRODUCT,),
              says={"MSG_RECORD_REMOVED": [FAILED]}),
        Fault("uninstall entry not removable", denied(ENTRY), UNREGISTER, but=(ENTRY,),
              says={"MSG_UNINSTALL_REMOVED": ["MSG_UNINSTALL_REMOVE_FAILED"]}),
    ],
    "Files": [
        no_log("log folder cannot be made", lambda s: s.put("file") + r"\sub\run.log", 3),
        no_log("log path is a folder", lambda s: s.put("folder.log", None), 5, both=True),
        no_log("log on a drive that is not there", r"Q:\run.log", 2),
        no_log("log path that no file can have", 'C:\\zelk\\a"b<\x01>.log', 123),
        no_log("log is read-only", lambda s: s.frozen("frozen.log"), 5),
        no_log("log on a disk without room for a file", lambda s: s.full_disk(0), 112),
        Fault("log on a full disk", logging(lambda s: s.full_disk(1))),
        Fault("no documents folder", lambda s: {**without("shfolder")(s), "log": None}, code=-111,
              says="Could not open log file. error: 3"),
        no_library("message library absent", spoiled(ENGLISH), "en_US", both=True),
        no_library("message library empty", spoiled(ENGLISH, b"")),
        no_library("message library is garbage", spoiled(ENGLISH, bytes(range(256)) * 64)),
        no_library("message library cut short",
                   lambda s: s.spoil(ENGLISH, s.built("package/" + ENGLISH)[:2000])),
        Fault("message library without texts", lambda s: s.library(""),
              says=["[1022] MYCOPY", "[1048]", "[1082] MYCOPY"]),
        Fault("message texts full of conversions", lambda s: s.library("%s%s%s%n%*.*d%99999s"),
              says=[], both=True),
        Fault("message texts longer than any buffer", lambda s: s.library("%999s" * 400), says=[]),
        Fault("OLE DB provider absent", spoiled("bin/orvanedazelk.dll"), but=(PROVIDER,)),
        Fault("configuration tool absent", dotnet(spoiled("bin/zelknmpcfg.exe")),
              says={"MSG_DOTNET_ABSENT": ["MSG_DOTNET_NOT_COPIED"]}),
        Fault("switch tool absent", spoiled("bin/zelkswtch.exe"), both=True),
        Fault("temporary folder absent", temporary(r"C:\zelk\nowhere"),
              says={"MSG_DOTNET_ABSENT": ["MSG_DOTNET_NO_TEMPORARY_NAME"]}),
        Fault("temporary folder full", temporary(lambda s: s.full_disk(2)[:3]),
              says={"MSG_DOTNET_ABSENT": ["MSG_DOTNET_NOT_COPIED"]}),
        Fault("ODBC installer absent when registering", without("odbccp32"),
              says={"MSG_ODBC_INSTALLED": [f"MSG_ODBC_INSTALL_FAILED {ODBC_FAILED}"]},
              but=(r"SOFTWARE\ODBC", r"SOFTWARE\Microsoft\MSDTC")),
        Fault("ODBC installer absent when unregistering",
              crowd("values", SOURCES, 3, "driver", without("odbccp32")), UNREGISTER,
              says={"MSG_ODBC_REMOVED": [f"MSG_ODBC_REMOVE_FAILED {ODBC_FAILED}"]},
              but=(r"SOFTWARE\ODBC",), stays=(OWN_SOURCES,)),
        Fault("COM library absent", without("ole32"), but=(f"{MINE}\\InstallData", PROVIDER)),
    ],
    "Children": [
        Fault("tool fails", unruly("fails")),
        Fault("tool crashes", unruly("crashes"), complains=True),
        Fault("tool floods both streams with 100 MB", unruly("floods"), seconds=30),
        Fault("tool closes its streams early", unruly("closes"), both=True),
        Fault("tool leaves a process that holds its streams", unruly("leaves"), seconds=9),
    ],
    "Registry data": [
        Fault("path of another copy damaged", code="-106 or 0", ordeal=ordeals.damaged(
            f"{COPIES}\\OTHER", "Zelk Path Name", "{folder}\\", REGISTER, (0, 0, 0, -106, -106))),
        Fault("RemoteCopy damaged", code="-105 or 0", ordeal=ordeals.damaged(
            MINE, "RemoteCopy", "YES", UNREGISTER, (-105, -105, -105, 0, 0))),
        Fault("default copy damaged", both=True, ordeal=ordeals.damaged(
            COPIES, "defaultClientInterfaceCopy", "MYCOPY", REPLACE, (0, 0, 0, 0, 0))),
        Fault("copies with names of 255 characters", crowd("subkeys", COPIES, 3, 255),
              but=(COPIES + "\\",)),
        Fault("thousand copies", crowd("subkeys", COPIES, 1000, 20), [*REGISTER, "-v"],
              says=["MSG_COPY_COUNT 1000"], but=(COPIES + "\\",)),
        Fault("thousand data sources", crowd("values", SOURCES, 1000, "driver"), UNREGISTER,
              but=(OWN_SOURCES,), stays=(OWN_SOURCES,), seconds=20),
        Fault("subkey of the record with 256 characters", crowd("subkeys", MINE, 1, 256),
              UNREGISTER, but=(PRODUCT,)),
        Fault("subkeys of the uninstall entry with 255 characters",
              crowd("subkeys", ENTRY, 20, 255), UNREGISTER),
        Fault("keys vanish while they are listed", code="0 or a refusal",
              ordeal=ordeals.keys_vanish),
    ],
    "Interruption": [
        Fault("killed while registering", code="killed", ordeal=ordeals.register_killed),
        Fault("killed while unregistering", code="killed", ordeal=ordeals.unregister_killed,
              both=True),
        Fault("two registrations, two unregistrations at once", code="0 or a refusal",
              ordeal=ordeals.at_once(["-r", "-r"], ["-u", "-u"])),
        Fault("a registration and an unregistration at once", code="0 or a refusal",
              ordeal=ordeals.at_once(["-r", "-u"])),
        Fault("fresh session", ordeal=ordeals.fresh_sessions, both=True),
    ],
    "Command lines": [
        Fault("arguments that are refused", ordeal=ordeals.refused_arguments, both=True),
        Fault("arguments that mean nothing", ordeal=ordeals.odd_arguments),
        Fault("install path of 200 characters and more", code="0 or -110",
              ordeal=ordeals.long_paths, both=True),
        Fault("path with conversions", ordeal=ordeals.lives_in("100%s %n%d%% '&^!")),
        Fault("path in Western European", ordeal=ordeals.lives_in("Größe ñ", "de_DE")),
        Fault("path in Japanese", ordeal=ordeals.lives_in("\u8868 \u30bd", "ja_JP", "cp932"),
              both=True),
        Fault("path in UTF-8", ordeal=ordeals.lives_in("\u0939\u093f \u8868", "hi_IN", "utf-8")),
    ],
    "Unattended": [
        Fault("no standard handles", started("closed"), console="none", both=True),
        Fault("standard handles that are none", started("invalid"), console="none"),
        Fault("no console", started("detached"), console="more"),
        Fault("console of its own", started("console"), console="more"),
        Fault("pause with standard input closed",
              lambda s: {"stdin": None, "preexec_fn": lambda: os.close(0)}, ["-p", "-u", "-c", "X"],
              -102, ["MSG_COPY_UNKNOWN X"], console="more"),
        Fault("terminal but no desktop", ordeal=ordeals.on_a_terminal),
    ],
    "Search paths": [
        Fault("libraries and programs planted in the current folder", ordeal=ordeals.planted,
              both=True),
    ],
}
