// Month names as LIST lines carry them. Servers print them in their own locale
// and code page, so a token is tried as UTF-8 and as each single-byte code page
// a server is known to use (Latin-1, Windows-1251, KOI8-R, DOS 866), lowered,
// and looked up in one table of abbreviations and names.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "transmit/ftp/ftp_listing.h"

namespace vocarta {

namespace {

// Lower case, UTF-8; a trailing "." is dropped before the look-up.
const std::array<std::vector<std::string_view>, 12> kMonthNames = {{
    {"jan", "january", "janv", "janvier", "januar", "jän", "jänner", "ene", "enero", "gen",
     "gennaio", "janeiro", "sty", "stycz", "led", "tammi", "янв", "январь", "января"},
    {"feb", "february", "févr", "fév", "fevr", "février", "februar", "febr", "fev", "fevereiro",
     "febrero", "febbraio", "lut", "úno", "helmi", "фев", "февр", "февраль", "февраля"},
    {"mar", "march", "mars", "märz", "mär", "mrz", "marzo", "março", "mrt", "maart", "márc", "bře",
     "maalis", "мар", "март", "марта"},
    {"apr", "april", "avr", "avril", "abr", "abril", "aprile", "kwi", "ápr", "dub", "huhti", "апр",
     "апрель", "апреля"},
    {"may", "mai", "mayo", "mag", "maggio", "mei", "maio", "maj", "máj", "kvě", "touko", "май",
     "мая"},
    {"jun", "june", "juin", "juni", "junio", "giu", "giugno", "junho", "cze", "jún", "čer", "kesä",
     "июн", "июнь", "июня"},
    {"jul", "july", "juil", "juillet", "juli", "julio", "lug", "luglio", "julho", "lip", "júl",
     "čvc", "heinä", "июл", "июль", "июля"},
    {"aug", "august", "août", "aout", "ago", "agosto", "sie", "srp", "elo", "авг", "август",
     "августа"},
    {"sep", "sept", "september", "septembre", "set", "settembre", "setembro", "septiembre", "wrz",
     "szept", "zář", "syys", "сен", "сент", "сентябрь", "сентября"},
    {"oct", "october", "okt", "octobre", "oktober", "octubre", "ott", "ottobre", "out", "outubro",
     "paź", "říj", "loka", "окт", "октябрь", "октября"},
    {"nov", "november", "novembre", "noviembre", "novembro", "lis", "marras", "ноя", "нояб",
     "ноябрь", "ноября"},
    {"dec", "december", "déc", "décembre", "dez", "dezember", "dic", "diciembre", "dicembre",
     "dezembro", "des", "gru", "pro", "joulu", "дек", "декабрь", "декабря"},
}};

// The compact English form: the name and the month number's last digit.
constexpr std::array<std::string_view, 13> kCompactNames = {"jan1", "feb2", "mar3", "apr4", "may5",
                                                            "jun6", "jul7", "aug8", "sep9", "oct0",
                                                            "nov1", "dec2", "sept9"};

// "月" and "월" in UTF-8, Shift_JIS, GBK, EUC-JP, EUC-KR and Big5.
constexpr std::array<std::string_view, 7> kEastAsianMonth = {
    "\xE6\x9C\x88", "\xEC\x9B\x94", "\x8C\x8E", "\xD4\xC2", "\xB7\xEE", "\xBF\xF9", "\xA4\xEB"};

// KOI8-R 0xC0..0xDF in order; 0xE0..0xFF are the same letters in upper case.
constexpr std::u32string_view kKoi8Lower = U"юабцдефгхийклмнопярстужвьызшэщчъ";

enum class CodePage { kUtf8, kLatin1, kCp1251, kKoi8r, kCp866 };

char32_t SingleByte(unsigned char b, CodePage page) {
    if (b < 0x80) return b;
    switch (page) {
        case CodePage::kLatin1:
            return b;
        case CodePage::kCp1251:
            if (b >= 0xC0) return 0x410 + (b - 0xC0);
            if (b == 0xA8) return 0x401;
            if (b == 0xB8) return 0x451;
            return 0xFFFD;
        case CodePage::kKoi8r:
            if (b >= 0xC0 && b <= 0xDF) return kKoi8Lower[b - 0xC0];
            if (b >= 0xE0) return kKoi8Lower[b - 0xE0] - 0x20;
            if (b == 0xA3) return 0x451;
            if (b == 0xB3) return 0x401;
            return 0xFFFD;
        case CodePage::kCp866:
            if (b <= 0xAF) return 0x410 + (b - 0x80);
            if (b >= 0xE0 && b <= 0xEF) return 0x440 + (b - 0xE0);
            if (b == 0xF0) return 0x401;
            if (b == 0xF1) return 0x451;
            return 0xFFFD;
        case CodePage::kUtf8:
            break;
    }
    return 0xFFFD;
}

// Strict UTF-8 (no overlong forms, no surrogates); false when it is not.
bool DecodeUtf8(std::string_view text, std::u32string& out) {
    out.clear();
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char b = text[i];
        int extra;
        char32_t c;
        if (b < 0x80) {
            extra = 0;
            c = b;
        } else if (b >= 0xC2 && b <= 0xDF) {
            extra = 1;
            c = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            extra = 2;
            c = b & 0x0F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            extra = 3;
            c = b & 0x07;
        } else {
            return false;
        }
        if (extra > 0 && i + std::size_t(extra) >= text.size()) return false;
        for (int k = 1; k <= extra; ++k) {
            const unsigned char n = text[i + k];
            if ((n & 0xC0) != 0x80) return false;
            c = (c << 6) | (n & 0x3F);
        }
        if ((extra == 2 && (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF))) ||
            (extra == 3 && (c < 0x10000 || c > 0x10FFFF)))
            return false;
        out += c;
        i += std::size_t(extra) + 1;
    }
    return true;
}

char32_t Lower(char32_t c) {
    if (c >= 'A' && c <= 'Z') return c + 0x20;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 0x20;  // Latin-1 letters
    if (c >= 0x410 && c <= 0x42F) return c + 0x20;             // Cyrillic А..Я
    if (c == 0x401) return 0x451;                              // Ё
    if (c == 0x158 || c == 0x10C || c == 0x179) return c + 1;  // Ř Č Ź
    return c;
}

std::u32string Lowered(std::string_view token, CodePage page, bool* valid) {
    std::u32string decoded;
    *valid = true;
    if (page == CodePage::kUtf8) {
        *valid = DecodeUtf8(token, decoded);
    } else {
        for (unsigned char b : token) decoded += SingleByte(b, page);
    }
    for (char32_t& c : decoded) c = Lower(c);
    if (!decoded.empty() && decoded.back() == U'.') decoded.pop_back();
    return decoded;
}

struct MonthTable {
    std::vector<std::pair<std::u32string, int>> names;
    MonthTable() {
        for (int m = 0; m < 12; ++m) {
            for (std::string_view name : kMonthNames[m]) {
                std::u32string decoded;
                DecodeUtf8(name, decoded);
                names.emplace_back(decoded, m + 1);
            }
        }
    }
};

int LookUp(const std::u32string& name) {
    static const MonthTable table;
    for (const auto& [known, month] : table.names)
        if (known == name) return month;
    return 0;
}

int EastAsianMonth(std::string_view token) {
    std::size_t digits = 0;
    while (digits < token.size() && digits < 3 && token[digits] >= '0' && token[digits] <= '9')
        ++digits;
    if (digits == 0 || digits > 2) return 0;
    const std::string_view suffix = token.substr(digits);
    for (std::string_view mark : kEastAsianMonth) {
        if (suffix != mark) continue;
        int month = token[0] - '0';
        if (digits == 2) month = month * 10 + (token[1] - '0');
        return month >= 1 && month <= 12 ? month : 0;
    }
    return 0;
}

}  // namespace

int ParseListMonth(std::string_view token) {
    if (token.empty() || token.size() > 24) return 0;
    if (int month = EastAsianMonth(token)) return month;
    for (CodePage page : {CodePage::kUtf8, CodePage::kLatin1, CodePage::kCp1251, CodePage::kKoi8r,
                          CodePage::kCp866}) {
        bool valid = false;
        const std::u32string name = Lowered(token, page, &valid);
        if (!valid || name.empty()) continue;
        if (int month = LookUp(name)) return month;
        for (std::size_t i = 0; i < kCompactNames.size(); ++i) {
            std::u32string compact(kCompactNames[i].begin(), kCompactNames[i].end());
            if (compact == name) return i == 12 ? 9 : int(i) + 1;
        }
        // Plain ASCII reads the same in every page.
        if (page == CodePage::kUtf8 &&
            std::all_of(token.begin(), token.end(), [](char c) { return (unsigned char)c < 0x80; }))
            break;
    }
    return 0;
}

}  // namespace vocarta
