#include "run/language.h"

#include <cstdlib>

#include "services/system_locale.h"
#include "services/text.h"

namespace {

struct LanguageRow {
    const char* decimalId;
    const char* hexId;
    const char* code;
    const char* locale;
};

// Searched from the first row. The hex ids of the first 24 rows hold a primary language alone and
// match all its sub-languages; the last five match one sub-language each.
constexpr LanguageRow LANGUAGES[] = {
    {"1025", "0001", "AR", "ar_aa"}, {"1026", "0002", "BG", "bg_bg"},
    {"1029", "0005", "CZ", "cs_cz"}, {"1030", "0006", "DK", "da_dk"},
    {"1031", "0007", "DE", "de_de"}, {"1032", "0008", "EL", "el_gr"},
    {"1033", "0009", "EN", "en_us"}, {"1034", "000a", "ES", "es_es"},
    {"1035", "000b", "FI", "fi_fi"}, {"1037", "000d", "IW", "iw_il"},
    {"1038", "000e", "HU", "hu_hu"}, {"1040", "0010", "IT", "it_it"},
    {"1041", "0011", "JP", "ja_jp"}, {"1042", "0012", "KR", "ko_kr"},
    {"1043", "0013", "NL", "nl_nl"}, {"1044", "0014", "NO", "no_no"},
    {"1045", "0015", "PL", "pl_pl"}, {"1048", "0018", "RO", "ro_ro"},
    {"1049", "0019", "RU", "ru_ru"}, {"1050", "001a", "HR", "hr_hr"},
    {"1051", "001b", "SK", "sk_sk"}, {"1053", "001d", "SE", "sv_se"},
    {"1055", "001f", "TR", "tr_tr"}, {"1060", "0024", "SL", "sl_si"},
    {"1028", "0404", "TW", "Zh_tw"}, {"1036", "040c", "FR", "fr_fr"},
    {"1046", "0416", "BR", "pt_br"}, {"2052", "0804", "CN", "zh_cn"},
    {"2070", "0816", "PT", "pt_pt"},
};

constexpr long PRIMARY_LANGUAGE = 0x3FF;
constexpr int SUB_LANGUAGE_SHIFT = 10;

bool matches(const LanguageRow& row, long languageId) {
    const long id = strtol(row.hexId, nullptr, 16);
    const long subLanguage = id >> SUB_LANGUAGE_SHIFT;
    return (id & PRIMARY_LANGUAGE) == (languageId & PRIMARY_LANGUAGE) &&
           (subLanguage == 0 || subLanguage == languageId >> SUB_LANGUAGE_SHIFT);
}

const char* columnText(const LanguageRow& row, int column) {
    switch (column) {
        case LANGUAGE_DECIMAL_ID:
            return row.decimalId;
        case LANGUAGE_HEX_ID:
            return row.hexId;
        case LANGUAGE_CODE:
            return row.code;
        case LANGUAGE_LOCALE:
            return row.locale;
        default:
            return "";
    }
}

}  // namespace

bool lookupLanguage(uint16_t languageId, int column, char* out) {
    for (const LanguageRow& row : LANGUAGES) {
        if (!matches(row, languageId)) continue;
        const char* text = columnText(row, column);
        if (!out || *text == '\0') return false;
        return copyText(out, LANGUAGE_TEXT_BYTES, text) == TEXT_OK;
    }
    return false;
}

bool lookupSystemLanguage(int column, char* out) {
    return lookupLanguage(systemLanguageId(), column, out);
}

int lookupLanguageCode(const char* code, char* out) {
    for (const LanguageRow& row : LANGUAGES) {
        if (compareFolded(code, row.code) != 0) continue;
        copyText(out, LANGUAGE_TEXT_BYTES, row.locale);
        return 0;
    }
    return -1;
}
