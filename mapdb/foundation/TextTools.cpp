// Writer-side text conversion on top of the library's code tables.
#include "TextTools.h"

#include <cstdio>
#include <map>
#include <utility>

#include "ByteWriter.h"
#include "SearchProc.h"
#include "search/ReadingKey.h"

namespace mapdb {

namespace {

std::string Hex(uint32_t v) {
    char buf[16];
    snprintf(buf, sizeof(buf), "U+%04X", v);
    return buf;
}

void AppendUtf8(std::string* out, uint32_t cp) {
    if (cp < 0x80) {
        *out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        *out += static_cast<char>(0xC0 | (cp >> 6));
        *out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        *out += static_cast<char>(0xE0 | (cp >> 12));
        *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Full-width katakana (Unicode) to its half-width bytes, built once from the library's
// half-width table: plain kana, voiced (+0xDE) and semi-voiced (+0xDF) forms.
const std::map<uint32_t, std::string>& KatakanaToHalf() {
    static const std::map<uint32_t, std::string> table = [] {
        std::map<uint32_t, std::string> t;
        CStringConvProc conv;
        for (unsigned long i = 0; i < kHanZenTblRows; ++i) {
            const unsigned char half = static_cast<unsigned char>(g_stHanZenTbl[i].wFrom);
            const uint32_t full = conv.SjisToUtf16(g_stHanZenTbl[i].wTo);
            if (full == 0) continue;
            t[full] = std::string(1, static_cast<char>(half));
            const bool voicable = (half >= 0xB6 && half <= 0xC4) || (half >= 0xCA && half <= 0xCE);
            if (voicable) t[full + 1] = std::string({static_cast<char>(half), '\xDE'});
            if (half >= 0xCA && half <= 0xCE) {
                t[full + 2] = std::string({static_cast<char>(half), '\xDF'});
            }
        }
        t[0x30F4] = "\xB3\xDE";  // VU
        t[0x30FC] = "\xB0";      // prolonged sound mark
        t[0x309B] = "\xDE";      // stand-alone voiced marks
        t[0x309C] = "\xDF";
        return t;
    }();
    return table;
}

}  // namespace

uint32_t NextCodePoint(const std::string& s, size_t* i) {
    const unsigned char b = static_cast<unsigned char>(s[*i]);
    int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
    if (extra < 0 || *i + extra >= s.size()) throw Error("malformed UTF-8 in \"" + s + "\"");
    uint32_t cp = extra == 0 ? b : b & (0x3F >> extra);
    for (int k = 1; k <= extra; ++k) {
        const unsigned char c = static_cast<unsigned char>(s[*i + k]);
        if ((c & 0xC0) != 0x80) throw Error("malformed UTF-8 in \"" + s + "\"");
        cp = (cp << 6) | (c & 0x3F);
    }
    *i += extra + 1;
    return cp;
}

std::string Utf8ToSjis(const std::string& utf8) {
    CStringConvProc conv;
    std::string out;
    for (size_t i = 0; i < utf8.size();) {
        const uint32_t cp = NextCodePoint(utf8, &i);
        if (cp < 0x80) {
            out += static_cast<char>(cp);
            continue;
        }
        const unsigned short code = cp <= 0xFFFF ? conv.Utf16ToSjis(static_cast<unsigned short>(cp)) : 0;
        if (code == 0) {
            throw Error("character " + Hex(cp) + " of \"" + utf8 + "\" has no Shift_JIS code");
        }
        if (code > 0xFF) out += static_cast<char>(code >> 8);
        out += static_cast<char>(code & 0xFF);
    }
    return out;
}

std::string SjisToUtf8(const std::string& sjis) {
    CStringConvProc conv;
    std::string out;
    for (size_t i = 0; i < sjis.size(); ++i) {
        const unsigned char b = static_cast<unsigned char>(sjis[i]);
        const bool lead = (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xEF) ||
                          (b >= 0xFA && b <= 0xFC);
        if (lead && i + 1 < sjis.size()) {
            const unsigned short code = static_cast<unsigned short>(
                b << 8 | static_cast<unsigned char>(sjis[++i]));
            const unsigned short u = conv.SjisToUtf16(code);
            AppendUtf8(&out, u != 0 ? u : 0x203B);
        } else if (b >= 0xA1 && b <= 0xDF) {
            AppendUtf8(&out, conv.SjisToUtf16(b));
        } else {
            out += static_cast<char>(b);
        }
    }
    return out;
}

std::string ReadingToHalfKana(const std::string& utf8) {
    const auto& table = KatakanaToHalf();
    std::string out;
    for (size_t i = 0; i < utf8.size();) {
        uint32_t cp = NextCodePoint(utf8, &i);
        if (cp == '-') {
            out += static_cast<char>(reading::kProlonged);
            continue;
        }
        if (cp >= 0xFF61 && cp <= 0xFF9F) {  // already half-width
            out += static_cast<char>(cp - 0xFF61 + 0xA1);
            continue;
        }
        if (cp >= 0x3041 && cp <= 0x3096) cp += 0x60;  // hiragana to katakana
        auto it = table.find(cp);
        if (it == table.end()) {
            throw Error("reading \"" + utf8 + "\": " + Hex(cp) + " is not a half-width kana");
        }
        out += it->second;
    }
    return out;
}

std::string NormalisedReading(const std::string& halfKana) {
    std::string key(halfKana.size() + 1, '\0');
    size_t n = reading::Normalise(reinterpret_cast<const unsigned char*>(halfKana.c_str()),
                                  reinterpret_cast<unsigned char*>(&key[0]), halfKana.size());
    key.resize(n);
    return key;
}

}  // namespace mapdb
