"""Each language on a system of that language, and on its terminal; some of them in 32 bits."""
import json
import os
import re

import check_sources
import pytest
from machine import COPIES, LOG, PREFIX, PRESET, Machine, texts
from wine import ROOT, on_terminal

# Code of -i, locale folder, locale of the machine.
LANGUAGES = """
AR ar_aa ar_SA  BG bg_bg bg_BG  CZ cs_cz cs_CZ  DK da_dk da_DK  DE de_de de_DE  EL el_gr el_GR
EN en_us en_US  ES es_es es_ES  FI fi_fi fi_FI  IW iw_il he_IL  HU hu_hu hu_HU  IT it_it it_IT
JP ja_jp ja_JP  KR ko_kr ko_KR  NL nl_nl nl_NL  NO no_no nb_NO  PL pl_pl pl_PL  RO ro_ro ro_RO
RU ru_ru ru_RU  HR hr_hr hr_HR  SK sk_sk sk_SK  SE sv_se sv_SE  TR tr_tr tr_TR  SL sl_si sl_SI
TW Zh_tw zh_TW  FR fr_fr fr_FR  BR pt_br pt_BR  CN zh_cn zh_CN  PT pt_pt pt_PT
""".split()
assert {locale.lower() for locale in LANGUAGES[1::3]} == {
    file.parent.name.lower() for file in ROOT.glob("msg/*/zelkpmreg.rc")}
REFUSED = ["-u", "-c", "MYCOPY"]


@pytest.mark.both
@pytest.mark.parametrize(
    "code, locale, name",
    list(zip(*[iter(LANGUAGES)] * 3, strict=True))[::1 if PRESET != "x86" else 12])
def test_language_of_the_system(code, locale, name):
    machine = Machine()
    folder = locale.replace("en_us", "en_US")
    page, own = f"cp{check_sources.PAGES[folder]}", texts(folder)
    options = {"env": {"LC_ALL": f"{name}.UTF-8"}, "encoding": page}
    done = machine.run(*REFUSED, codes=[-102], **options)
    library = f"{machine.folder}\\msg\\{locale}\\zelkpmreg.dll"
    assert done.log == [own["MSG_LANGUAGE"] % locale, own["MSG_LIBRARY"] % library,
                        own["MSG_LOG_FILE"] % LOG, own["MSG_COPY_UNKNOWN"] % "MYCOPY"]
    assert done.console == done.log
    assert machine.run("-s", "-h", **options).console == own["MSG_USAGE"].splitlines()
    # The same language by its code on a system of a language that the program does not have.
    done = machine.run("-i", code, *REFUSED, codes=[-102], env={"LC_ALL": "fr_CA.UTF-8"})
    assert done.log[1].endswith(library)


def test_text_that_is_not_translated_is_english():
    machine = Machine()
    library = machine.path("msg/de_de/zelkpmreg.dll")  # any library without these texts
    library.write_bytes(machine.path("bin/zelkcli.dll").read_bytes())
    done = machine.run("-i", "DE", *REFUSED, codes=[-102])
    assert done.log[-1] == texts("en_US")["MSG_COPY_UNKNOWN"] % "MYCOPY"
    assert machine.run("-i", "DE", "-h").console == texts("en_US")["MSG_USAGE"].splitlines()


@pytest.mark.parametrize("locale, name", [("ru_ru", "ru_RU"), ("ja_jp", "ja_JP")])
def test_terminal_shows_the_text_as_written(locale, name):
    command = [ROOT / "scripts/wine.sh", f"{Machine().folder}\\bin\\zelkpmreg.exe", *REFUSED]
    options = {"LC_ALL": f"{name}.UTF-8", "WINEPREFIX": str(PREFIX)}
    _, shown = on_terminal(command, {**os.environ, **options})
    plain = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]|\x1b\][^\a]*\a|[\r\n]", "", shown.decode("utf-8"))
    assert texts(locale)["MSG_COPY_UNKNOWN"] % "MYCOPY" in plain, plain


@pytest.mark.both
def test_json_is_ascii_on_every_system():
    machine, path = Machine(), "C:\\Gr\u00fc\u00dfe \u8868 \U0001f600\\"
    key = f"[HKEY_LOCAL_MACHINE\\{COPIES}\\OLD]\n\"Zelk Path Name\"="
    escaped = path.replace("\\", r"\\")
    text = f'Windows Registry Editor Version 5.00\n\n{key}"{escaped}"\n'
    machine.path("old.reg").write_text(text.replace("\n", "\r\n"), encoding="utf-16", newline="")
    assert machine.wine("reg", "import", f"{machine.folder}\\old.reg")[0] == 0
    for name, shown in (("de_DE", "Gr\u00fc\u00dfe"), ("ja_JP", "\u8868"), ("hi_IN", path)):
        reports = []
        for command, expected in (
                (["list"], 1), (["verify", "OLD", "-d"], 1), (["verify", "-x"], 87)):
            code, output = machine.wine(f"{machine.folder}\\bin\\zelkpmutil.exe", *command,
                                        "--json", env={"LC_ALL": f"{name}.UTF-8"})
            reports.append(json.loads(output.decode("ascii")))
            assert (code, reports[-1]["exitCode"]) == (expected, expected)
        listed, verified, refused = reports
        assert shown in listed["copies"][0]["path"]
        assert shown in verified["parts"][0]["found"] and len(verified["parts"]) == 11
        assert refused["error"] == {"code": 87, "text": "Not an option: -x"}
