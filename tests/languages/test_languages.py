"""Each language on a system of that language: choice, texts as programs get them, the console."""
import os
import re

import check_sources
import pytest
from support.machine import PREFIX
from support.wine import ROOT, on_terminal, system

# Locale folder, locale of the machine.
LANGUAGES = """
ar_aa ar_SA  bg_bg bg_BG  cs_cz cs_CZ  da_dk da_DK  de_de de_DE  el_gr el_GR  en_us en_US
es_es es_ES  fi_fi fi_FI  iw_il he_IL  hu_hu hu_HU  it_it it_IT  ja_jp ja_JP  ko_kr ko_KR
nl_nl nl_NL  no_no nb_NO  pl_pl pl_PL  ro_ro ro_RO  ru_ru ru_RU  hr_hr hr_HR  sk_sk sk_SK
sv_se sv_SE  tr_tr tr_TR  sl_si sl_SI  Zh_tw zh_TW  fr_fr fr_FR  pt_br pt_BR  zh_cn zh_CN
pt_pt pt_PT
""".split()
LANGUAGES = list(zip(LANGUAGES[::2], LANGUAGES[1::2]))
IDS = check_sources.ids(ROOT / "msg")


def source(locale):
    """(code page, texts) of a locale folder as it is named in the source tree."""
    locale = {"en_us": "en_US"}.get(locale, locale)
    texts = check_sources.texts(ROOT / "msg" / locale / "zelkpmreg.rc")
    return f"cp{check_sources.PAGES[locale]}", dict(texts)


@pytest.mark.parametrize("locale, name", LANGUAGES)
def test_language_of_the_system(machine, locale, name):
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
