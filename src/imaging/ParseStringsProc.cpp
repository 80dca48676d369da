// Guidance name splitting: trimming, the hard "｜" break, separators, and a balanced break at a
// character boundary that avoids line-start characters and road numbers.
#include "imaging/ParseStringsProc.h"

#include <cstring>
#include <new>
#include <vector>

#include "foundation/Sjis.h"

namespace {

constexpr size_t kNoBreak = static_cast<size_t>(-1);

struct Char {
    size_t at;      // byte offset in the text
    size_t size;    // 1 or 2
    unsigned code;  // the byte, or lead << 8 | trail
};

bool IsSpace(unsigned code) {
    return code == ' ' || code == 0x8140;
}
bool IsSeparator(unsigned code) {
    return IsSpace(code) || code == 0x8145 || code == 0x815E;
}
constexpr unsigned kBar = 0x8162;  // "｜"

// Characters a line should not start with: "ー", small kana, "、", "。", closing brackets.
bool NoLineStart(unsigned c) {
    switch (c) {
        case 0x815B:
        case 0x8141:
        case 0x8142:
        case 0x816A:
        case 0x8176:
        case 0x8178:
        case 0x8340:
        case 0x8342:
        case 0x8344:
        case 0x8346:
        case 0x8348:
        case 0x8362:
        case 0x8383:
        case 0x8385:
        case 0x8387:
        case 0x838E:
        case 0x829F:
        case 0x82A1:
        case 0x82A3:
        case 0x82A5:
        case 0x82A7:
        case 0x82C1:
        case 0x82E1:
        case 0x82E3:
        case 0x82E5:
        case 0x82EC:
            return true;
        default:
            return false;
    }
}

// Scripts, for breaking where kana meet kanji or Latin letters: 1 kanji, 2 hiragana,
// 3 katakana (with "ー"), 4 letters and digits, 0 anything else.
int Script(unsigned c) {
    if (c >= 0x889F) return 1;
    if (c >= 0x829F && c <= 0x82F1) return 2;
    if ((c >= 0x8340 && c <= 0x8396) || c == 0x815B) return 3;
    if ((c >= 0x824F && c <= 0x829A) || (c < 0x80 && c != ' ')) return 4;
    return 0;
}

bool IsAsciiAlnum(unsigned c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::vector<Char> Characters(const unsigned char* text, size_t n) {
    std::vector<Char> chars;
    for (size_t i = 0; i < n;) {
        const size_t size = sjis::IsLeadByte(text[i]) && i + 1 < n ? 2 : 1;
        chars.push_back(
            {i, size, static_cast<unsigned>(size == 2 ? text[i] << 8 | text[i + 1] : text[i])});
        i += size;
    }
    return chars;
}

unsigned char* NewLine(const unsigned char* text, size_t n) {
    unsigned char* line = new (std::nothrow) unsigned char[n + 1];
    if (line != nullptr) {
        memcpy(line, text, n);
        line[n] = 0;
    }
    return line;
}

// [begin, end) without leading and trailing spaces.
void Trim(const std::vector<Char>& chars, size_t* begin, size_t* end) {
    while (*begin < *end && IsSpace(chars[*begin].code)) ++*begin;
    while (*end > *begin && IsSpace(chars[*end - 1].code)) --*end;
}

}  // namespace

CParseStringsProc::CParseStringsProc() {}
CParseStringsProc::~CParseStringsProc() {}

unsigned long CParseStringsProc::SplitText(unsigned char** first, unsigned char** second,
                                           unsigned char* text, unsigned char mode) {
    if (first == nullptr || second == nullptr || text == nullptr || *first != nullptr ||
        *second != nullptr) {
        return 0;
    }
    const size_t limit = mode == 1 ? 14 : 12;
    const std::vector<Char> chars = Characters(text, strlen(reinterpret_cast<char*>(text)));
    size_t begin = 0, end = chars.size();
    Trim(chars, &begin, &end);
    if (begin == end) return 0;
    auto bytes = [&](size_t from, size_t to) {  // byte length of characters [from, to)
        return from >= to ? 0 : chars[to - 1].at + chars[to - 1].size - chars[from].at;
    };

    // The break: line 1 is characters [begin, cut), line 2 starts at `resume`.
    size_t cut = kNoBreak, resume = kNoBreak;
    for (size_t k = begin; k < end && cut == kNoBreak; ++k) {
        if (chars[k].code == kBar) cut = k, resume = k + 1;
    }
    if (cut == kNoBreak && bytes(begin, end) > limit) {
        size_t best = kNoBreak;
        for (size_t k = begin + 1; k + 1 < end; ++k) {
            if (!IsSeparator(chars[k].code)) continue;
            const size_t a = bytes(begin, k), b = bytes(k + 1, end);
            if (a > limit || b > limit) continue;
            const size_t worst = a > b ? a : b;
            if (worst < best) best = worst, cut = k, resume = k + 1;
        }
    }
    if (cut == kNoBreak && bytes(begin, end) > limit) {
        size_t best = kNoBreak;
        for (size_t k = begin + 1; k < end; ++k) {
            const size_t a = bytes(begin, k), b = bytes(k, end);
            if (a > limit) break;
            // Balance first; a change of script is worth up to one double-byte character.
            size_t cost = 4 * (a > b ? a : b) + (b > limit ? 4000 + b : 0) + 10;
            if (Script(chars[k].code) != Script(chars[k - 1].code)) cost -= 10;
            if (NoLineStart(chars[k].code)) cost += 400;
            if (IsAsciiAlnum(chars[k].code) && IsAsciiAlnum(chars[k - 1].code)) cost += 400;
            if (cost < best) best = cost, cut = k, resume = k;
        }
    }

    size_t firstEnd = cut == kNoBreak ? end : cut;
    Trim(chars, &begin, &firstEnd);
    size_t secondBegin = cut == kNoBreak ? end : resume, secondEnd = end;
    Trim(chars, &secondBegin, &secondEnd);
    // Lines longer than the limit (a long first part, a name longer than two lines) are cut.
    while (firstEnd > begin && bytes(begin, firstEnd) > limit) --firstEnd;
    while (secondEnd > secondBegin && bytes(secondBegin, secondEnd) > limit) --secondEnd;

    unsigned long lines = 0;
    unsigned char* made[2] = {nullptr, nullptr};
    const size_t ranges[2][2] = {{begin, firstEnd}, {secondBegin, secondEnd}};
    for (const auto& r : ranges) {
        if (r[0] >= r[1]) continue;
        made[lines] = NewLine(text + chars[r[0]].at, bytes(r[0], r[1]));
        if (made[lines] == nullptr) {
            delete[] made[0];
            return 0;
        }
        ++lines;
    }
    *first = made[0];
    *second = made[1];
    return lines;
}
