// Guidance name splitting on real-looking names: the exact lines for each rule, and for every
// name in both modes the lines fit, never split a double-byte character and lose nothing that
// fits two lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SearchProc.h"
#include "TextTools.h"

namespace {

std::vector<std::string> Split(const std::string& utf8, unsigned char mode) {
    std::string sjis = mapdb::Utf8ToSjis(utf8);
    unsigned char* first = nullptr;
    unsigned char* second = nullptr;
    CParseStringsProc proc;
    const unsigned long n =
        proc.SplitText(&first, &second, reinterpret_cast<unsigned char*>(&sjis[0]), mode);
    std::vector<std::string> lines;
    for (unsigned char* line : {first, second}) {
        if (line != nullptr) lines.push_back(mapdb::SjisToUtf8(reinterpret_cast<char*>(line)));
        delete[] line;
    }
    EXPECT_EQ(n, lines.size());
    return lines;
}

using Lines = std::vector<std::string>;

TEST(SplitText, EachRuleOnRealNames) {
    const struct {
        const char* name;
        unsigned char mode;
        Lines lines;
    } cases[] = {
        {"東京", 1, {"東京"}},
        {"  東京　", 1, {"東京"}},
        {"", 1, {}},
        {"　 ", 0, {}},
        {"東京｜新宿", 1, {"東京", "新宿"}},        // the joiner always breaks
        {"さいたま新都心", 1, {"さいたま新都心"}},  // 14 bytes fit mode 1
        {"さいたま新都心", 0, {"さいたま", "新都心"}},
        {"首都高速　湾岸線", 1, {"首都高速", "湾岸線"}},  // a separator when too long
        {"東京 駅", 0, {"東京 駅"}},                      // but not when the name fits
        {"横浜・町田インター", 0, {"横浜", "町田インター"}},
        {"R16 Bypass Road", 0, {"R16 Bypass", "Road"}},         // the most even separator
        {"AAAAA BB CCCCC", 0, {"AAAAA", "BB CCCCC"}},           // of two as even, the first
        {"スーパーマーケット", 0, {"スーパー", "マーケット"}},  // no line starts with "ー"
        {"ジャンクション", 0, {"ジャン", "クション"}},
        {"東京湾横断道路連絡道路出口", 0, {"東京湾横断道", "路連絡道路出"}},  // too long: cut
        {"国道ABC123号線", 0, {"国道", "ABC123号線"}},          // not inside a run of ASCII
        {"東京湾アクアライン", 0, {"東京湾", "アクアライン"}},  // where the script changes
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " mode " + std::to_string(c.mode));
        EXPECT_EQ(c.lines, Split(c.name, c.mode));
    }
}

TEST(SplitText, LinesFitAndKeepEveryCharacter) {
    const char* names[] = {"東京湾アクアライン", "名古屋高速都心環状線",
                           "中央自動車道",       "ABCDEFGHIJKLMNOPQRSTUVWXYZ",
                           "新東名高速道路",     "ａ東京ｂ",
                           "阪神高速３号神戸線", "関越道　練馬インターチェンジ"};
    for (const char* name : names) {
        for (unsigned char mode : {0, 1}) {
            SCOPED_TRACE(std::string(name) + " mode " + std::to_string(mode));
            const size_t limit = mode == 1 ? 14 : 12;
            const Lines lines = Split(name, mode);
            std::string joined;
            for (const std::string& line : lines) {
                const std::string sjis = mapdb::Utf8ToSjis(line);
                EXPECT_LE(sjis.size(), limit);
                EXPECT_EQ(line, mapdb::SjisToUtf8(sjis));  // whole characters only
                joined += line;
            }
            auto unspaced = [](std::string t) {
                for (const std::string space : {"　", " "}) {
                    for (size_t p; (p = t.find(space)) != std::string::npos;)
                        t.erase(p, space.size());
                }
                return t;
            };
            const std::string expected = unspaced(name);
            joined = unspaced(joined);
            if (mapdb::Utf8ToSjis(expected).size() <= 2 * limit - 2) {
                EXPECT_EQ(expected, joined);
            }
        }
    }
    CParseStringsProc proc;
    unsigned char* first = nullptr;
    unsigned char text[] = "abc";
    EXPECT_EQ(0u, proc.SplitText(&first, nullptr, text, 1));
    EXPECT_EQ(0u, proc.SplitText(&first, &first, nullptr, 1));
}

}  // namespace
