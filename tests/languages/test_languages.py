"""Each language on a system of that language: choice, texts as programs get them, the console."""
import os
import re

import check_sources
import pytest
from support.machine import PREFIX
from support.wine import ROOT, on_terminal, system

# Code of -i, locale folder, locale of the machine.
LANGUAGES = """
AR ar_aa ar_SA  BG bg_bg bg_BG  CZ cs_cz cs_CZ  DK da_dk da_DK  DE de_de de_DE  EL el_gr el_GR
EN en_us en_US  ES es_es es_ES  FI fi_fi fi_FI  IW iw_il he_IL  HU hu_hu hu_HU  IT it_it it_IT
JP ja_jp ja_JP  KR ko_kr ko_KR  NL nl_nl nl_NL  NO no_no nb_NO  PL pl_pl pl_PL  RO ro_ro ro_RO
RU ru_ru ru_RU  HR hr_hr hr_HR  SK sk_sk sk_SK  SE sv_se sv_SE  TR tr_tr tr_TR  SL sl_si sl_SI
TW Zh_tw zh_TW  FR fr_fr fr_FR  BR pt_br pt_BR  CN zh_cn zh_CN  PT pt_pt pt_PT
""".split()
LANGUAGES = list(zip(*[iter(LANGUAGES)] * 3))
IDS = check_sources.ids(ROOT / "msg")


def source(locale):
    """(code page, texts) of a locale folder as it is named in the source tree."""
    locale = {"en_us": "en_US"}.get(locale, locale)
    texts = check_sources.texts(ROOT / "msg" / locale / "zelkpmreg.rc")
    return f"cp{check_sources.PAGES[locale]}", dict(texts)


@pytest.mark.parametrize("code, locale, name", LANGUAGES, ids=[row[1] for row in LANGUAGES])
def test_language_of_the_system(machine, code, locale, name):
    page, texts = source(locale)
    environment = {"LC_ALL": f"{name}.UTF-8"}
    done = machine.run("-u", "-c", "MYCOPY", env=environment, encoding=page)
    assert done.code == -102
    library = f"{machine.default}\\msg\\{locale}\\zelkpmreg.dll"
    assert done.lines() == [texts["MSG_LANGUAGE"] % locale, texts["MSG_LIBRARY"] % library,
                            texts["MSG_LOG_FILE"] % r"C:\zelk\run.log",
                            texts["MSG_COPY_UNKNOWN"] % "MYCOPY"]
    assert done.console == done.log

    shown = machine.standin("strings", library, *IDS.values(), env=environment)
    got = dict(line.split(" ") for line in shown.stdout.decode().splitlines())
    for identifier, text in texts.items():
        assert bytes.fromhex(got[str(IDS[identifier])]).decode(page) == text, identifier

    # The same language by its code, in any case, on a system of another language.
    other = machine.run("-i", code.swapcase(), "-u", "-c", "MYCOPY", env={"LC_ALL": "fr_CA.UTF-8"})
    assert f"\\msg\\{locale}\\zelkpmreg.dll" in other.log


@pytest.mark.parametrize("name, code, locale", [
    ("fr_CA", "", "en_US"), ("hi_IN", "", "en_US"), ("zh_SG", "", "en_US"), ("en_GB", "", "en_us"),
    ("es_MX", "", "es_es"), ("de_DE", "xx", "de_de"), ("de_DE", "EN", "en_us")])
def test_language_that_is_not_the_systems_own(machine, name, code, locale):
    options = ["-i", code] if code else []
    done = machine.run(*options, "-u", "-c", "MYCOPY", env={"LC_ALL": f"{name}.UTF-8"})
    assert done.lines()[0].endswith(f" {locale}"), done.log


def test_language_that_is_not_installed(machine):
    folder = machine.copy("Without German")
    (machine.path(folder) / "msg" / "de_de" / "zelkpmreg.dll").unlink()
    done = machine.run("-i", "DE", "-u", "-c", "MYCOPY", folder=folder)
    assert done.lines()[0] == (
        "The specified language de_de is not installed.  Falling back on en_US")
    assert "\\msg\\en_US\\" in done.log and done.code == -102


@pytest.mark.parametrize("locale, name", [("de_de", "de_DE"), ("ru_ru", "ru_RU"),
                                          ("el_gr", "el_GR"), ("ar_aa", "ar_SA"),
                                          ("ja_jp", "ja_JP")])
def test_console_shows_the_text_as_written(machine, locale, name):
    _, texts = source(locale)
    tool = f"{machine.default}\\bin\\zelkpmreg.exe"
    command = [ROOT / "scripts/wine.sh", tool, "-l", r"C:\zelk\run.log", "-u", "-c", "MYCOPY"]
    _, shown = on_terminal(command, {**os.environ, **system(name), "WINEPREFIX": str(PREFIX)})
    plain = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]|\x1b\][^\a]*\a|[\r\n]", "", shown.decode("utf-8"))
    assert texts["MSG_COPY_UNKNOWN"] % "MYCOPY" in plain, plain
