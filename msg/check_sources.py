"""Reads the message libraries' sources and finds the faults that would reach a user. With
--untranslated, lists the texts that a language shows in English."""
import re
import unicodedata
from pathlib import Path

# The ANSI code page of a system of each locale.
PAGES = {
    "ar_aa": 1256, "bg_bg": 1251, "cs_cz": 1250, "da_dk": 1252, "de_de": 1252, "el_gr": 1253,
    "en_US": 1252, "es_es": 1252, "fi_fi": 1252, "fr_fr": 1252, "hr_hr": 1250, "hu_hu": 1250,
    "it_it": 1252, "iw_il": 1255, "ja_jp": 932, "ko_kr": 949, "nl_nl": 1252, "no_no": 1252,
    "pl_pl": 1250, "pt_br": 1252, "pt_pt": 1252, "ro_ro": 1250, "ru_ru": 1251, "sk_sk": 1250,
    "sl_si": 1250, "sv_se": 1252, "tr_tr": 1254, "zh_cn": 936, "Zh_tw": 950,
}
USAGE = "MSG_USAGE"
USAGE_COLUMNS = 79
# Characters that the East Asian code pages encode in more than one way or only one way back.
UNSAFE_IN_EAST_ASIA = re.compile("[\u2010-\u2015\u2018-\u201f\u301c\uff5e\u2026]")
# The letters of a right-to-left paragraph, and what it tears apart unless a left-to-right mark is
# there.
RIGHT_TO_LEFT = re.compile("[\u0590-\u06ff]")
UNMARKED = re.compile(r"(?<![\u200eA-Za-z0-9])(?:[-/][a-z?](?![A-Za-z])|-\d|\.NET)"
                      r"|(?<!\u200e)%s|%s(?!\u200e|$)")
ENTRY = re.compile(r'^[ \t]*(MSG_\w+)((?:\s*"(?:[^"\\]|\\.|"")*")+)', re.M)
CONVERSION = re.compile(r"%[^%a-zA-Z]*[a-zA-Z]|%")


def ids(msg):
    """The names of the shared header with their numbers."""
    pairs = re.findall(r"^#define (MSG_\w+) (\d+)", (msg / "message_ids.h").read_text(), re.M)
    return {name: int(number) for name, number in pairs}


def room(msg, name):
    """How long a text may be, in bytes: one less than a buffer of the program."""
    sources = "".join(file.read_text() for file in msg.parent.glob("src/run/message*.cpp"))
    return int(re.search(rf"int {name} = (\d+);", sources)[1]) - 1


def languages(msg):
    """The program's own table: locale folder and Windows language id."""
    table = next(msg.parent.glob("src/*/language.cpp")).read_text()
    rows = re.findall(r'\{"(\d+)", "\w{4}", "[A-Z]{2}", "(\w+)"\}', table)
    # On Windows the row en_us and the fallback en_US are one folder.
    return {{"en_us": "en_US"}.get(locale, locale): int(number) for number, locale in rows}


def version(msg):
    """The version, which a text names as ZELK_VERSION."""
    header = (msg.parent / "src/run/version.h").read_text()
    return re.search(r'ZELK_VERSION ("[^"]+")', header)[1]


def unquote(literals):
    text = "".join(re.findall(r'"((?:[^"\\]|\\.|"")*)"', literals)).replace('""', '"')
    return re.sub(r"\\(.)", lambda m: {"n": "\n", "t": "\t"}.get(m[1], m[1]), text)


def texts(rc):
    """[(name, text), ...] in the order of the file."""
    source = rc.read_text(encoding="utf-8").replace("ZELK_VERSION", version(rc.parents[1]))
    return [(m[1], unquote(m[2])) for m in ENTRY.finditer(source)]


def columns(line):
    marks = sum(unicodedata.combining(c) > 0 for c in line)
    return len(line) - marks + sum(unicodedata.east_asian_width(c) in "WF" for c in line)


def text_faults(name, text, english, page):
    limit = room(Path(__file__).parent, "USAGE_BYTES" if name == USAGE else "MESSAGE_BYTES")
    if CONVERSION.findall(text) != CONVERSION.findall(english):
        yield f"conversions {CONVERSION.findall(text)}, English has {CONVERSION.findall(english)}"
    for encoding in (f"cp{page}", "utf-8"):
        try:
            size = len(text.encode(encoding))
            if size > limit:
                yield f"{size} bytes in {encoding}, {limit} at most"
        except UnicodeEncodeError as error:
            yield f"{text[error.start]!r} (U+{ord(text[error.start]):04X}) is not in {encoding}"
    if page in (932, 936, 949, 950) and (found := UNSAFE_IN_EAST_ASIA.search(text)):
        yield f"{found[0]!r} is not safe in code page {page}"
    for line in filter(RIGHT_TO_LEFT.search, text.split("\n")):
        if found := UNMARKED.search(line):
            yield f"{found[0]!r} needs a left-to-right mark (U+200E)"
    if not text.strip():
        yield "is empty"
    if name != USAGE and (text != text.strip() or "\n" in text):
        yield "has blanks at an end or a line break"
    if name == USAGE:
        for number, line in enumerate(text.split("\n"), 1):
            if columns(line) > USAGE_COLUMNS:
                yield f"line {number} takes {columns(line)} columns, {USAGE_COLUMNS} at most"


def locale_faults(msg):
    """Sentences for the locales that the program, the folders and this check do not all have."""
    known = {"the table in language.cpp": languages(msg).keys(), "PAGES above": PAGES.keys(),
             "the folders of msg": {file.parent.name for file in msg.glob("*/zelkpmreg.rc")}}
    return [f"{locale}: is missing in {where}"
            for locale in sorted(set().union(*known.values()))
            for where, locales in known.items() if locale not in locales]


def faults(msg, locale):
    """Sentences 'file: id: fault' for one locale folder."""
    rc, where = msg / locale / "zelkpmreg.rc", f"msg/{locale}/zelkpmreg.rc"
    source, found = rc.read_text(encoding="utf-8"), texts(rc)
    english = dict(texts(msg / "en_US" / "zelkpmreg.rc"))
    language, page, result = languages(msg)[locale], PAGES[locale], []
    for line in ('#include "../message_ids.h"', "#pragma code_page(65001)",
                 f"LANGUAGE {language & 0x3FF}, {language >> 10}"):
        if line not in source.split("\n"):
            result.append(f"{where}: the line '{line}' is missing")
    names = [name for name, _ in found]
    if locale == "en_US":
        result += [f"{where}: {n}: is missing" for n in ids(msg) if n not in names]
    result += [f"{where}: {n}: is not in message_ids.h" for n in names if n not in ids(msg)]
    twice = {n for n in names if names.count(n) > 1}
    result += [f"{where}: {n}: is there twice" for n in sorted(twice)]
    if not result and names != [name for name in english if name in names]:
        result.append(f"{where}: the ids are in another order than in English")
    for name, text in found:
        if name in english:
            result += [f"{where}: {name}: {fault}"
                       for fault in text_faults(name, text, english[name], page)]
    return result


def untranslated(msg, locale):
    """Sentences for the texts that are shown in English."""
    found, english = (dict(texts(msg / name / "zelkpmreg.rc")) for name in (locale, "en_US"))
    return [f"msg/{locale}/zelkpmreg.rc: {name}: is not translated" for name in english
            if locale != "en_US" and found.get(name, english[name]) == english[name]]


if __name__ == "__main__":
    import sys
    folder = Path(__file__).resolve().parent
    wrong = locale_faults(folder)
    check = untranslated if sys.argv[1:] == ["--untranslated"] else faults
    if not wrong:
        wrong = [fault for locale in PAGES for fault in check(folder, locale)]
    print("\n".join(wrong) or "no fault")
    sys.exit(bool(wrong))
