// Kana runs longer than a node's 15-bit count: the writer stores them saturated at 32,767 and
// warns once per prefix; the searches of those prefixes and of the longer prefixes below them
// answer as a brute-force count of the readings says, and every POI stays reachable through
// its whole reading. Runs of exactly 32,767 are stored as they are.
#include <cstdio>

#include "platform/Log.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;

constexpr unsigned long kLimit = 32767;
const char* const kKana[] = {"ア", "イ", "ウ", "エ", "オ", "カ", "キ", "ク", "ケ", "コ", "サ",
                             "シ", "ス", "セ", "ソ", "タ", "チ", "ツ", "テ", "ト", "ナ", "ニ",
                             "ヌ", "ネ", "ノ", "ハ", "ヒ", "フ", "ヘ", "ホ", "マ", "ミ", "ム",
                             "メ", "モ", "ヤ", "ユ", "ヨ", "ラ", "リ", "ル", "レ", "ロ", "ワ"};
constexpr size_t kKanaCount = sizeof(kKana) / sizeof(*kKana);

// `head` followed by n written in base 44 with three kana: distinct readings for n < 85,184.
std::string Reading(const std::string& head, size_t n) {
    return head + kKana[n / (kKanaCount * kKanaCount) % kKanaCount] +
           kKana[n / kKanaCount % kKanaCount] + kKana[n % kKanaCount];
}

std::vector<std::string> g_lines;
void Capture(int priority, const char* tag, const char* line) {
    g_lines.push_back(std::to_string(priority) + " " + tag + " " + line);
}

struct KanaRunLimitTest : SuiteDb<KanaRunLimitTest> {
    static void Write(const std::string& root) {
        // "ア" alone, 32,768 readings under "アカ" (both prefixes overflow by one and more),
        // a few under "アキ"; exactly 32,767 under "イ".
        std::vector<std::string> readings = {"ア"};
        for (size_t n = 0; n <= kLimit; ++n) readings.push_back(Reading("アカ", n));
        for (size_t n = 0; n < 10; ++n) readings.push_back(Reading("アキ", n * 977));
        for (size_t n = 0; n < kLimit; ++n) readings.push_back(Reading("イ", n));
        for (size_t i = 0; i < readings.size(); ++i)
            pois_.push_back(MakePoi("P" + std::to_string(i), readings[i]));
        base_ = mapdb::WriteBase(root, pois_);
        const platform::LogSink previous = platform::SetLogSink(Capture);
        saturated_ = mapdb::WriteKana(root, pois_, base_);
        platform::SetLogSink(previous);
        lines_ = g_lines;
    }

    // The ids whose normalised reading begins with `prefix`, ascending.
    static std::vector<unsigned long> Under(const std::string& prefix) {
        std::vector<unsigned long> ids;
        for (size_t i = 0; i < pois_.size(); ++i)
            if (base_.readings[i].compare(0, prefix.size(), prefix) == 0)
                ids.push_back(base_.ids[i]);
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    static inline std::vector<mapdb::PoiSource> pois_;
    static inline mapdb::BaseResult base_;
    static inline std::vector<std::string> saturated_, lines_;
};

TEST_F(KanaRunLimitTest, EachOverflowingPrefixIsWarnedOnceAndReturned) {
    EXPECT_EQ((std::vector<std::string>{"ｱ", "ｱｶ"}), saturated_);
    ASSERT_EQ(2u, lines_.size());
    EXPECT_EQ(
        "5 mapdb kana index: 32779 POIs have readings beginning with \"ｱ\"; its count is "
        "stored as 32767\n",
        lines_[0]);
    EXPECT_EQ(
        "5 mapdb kana index: 32768 POIs have readings beginning with \"ｱｶ\"; its count is "
        "stored as 32767\n",
        lines_[1]);
}

TEST_F(KanaRunLimitTest, CountsAreExactBelowTheLimitAndSaturatedAboveIt) {
    const std::string a = mapdb::Utf8ToSjis("ｱ"), ak = mapdb::Utf8ToSjis("ｱｶ");
    const std::string sample = base_.readings[20000];  // a reading in the overflowing part
    const struct {
        std::string prefix;
        unsigned long result;
    } cases[] = {
        {a, 2},                                   // complete, 32,779 POIs
        {ak, 3},                                  // 32,768 POIs
        {mapdb::Utf8ToSjis("ｱｷ"), 3},             // a sibling below the limit
        {mapdb::Utf8ToSjis("ｲ"), 3},              // exactly the limit
        {sample.substr(0, 3), 3},                 // below a saturated node
        {sample.substr(0, 4), 3},                 //
        {sample, 2},                              // a whole reading
        {base_.readings.back().substr(0, 3), 3},  // the last run under "ｲ"
    };
    CSearchKanaProc search;
    for (const auto& c : cases) {
        SCOPED_TRACE(mapdb::SjisToUtf8(c.prefix));
        const size_t model = Under(c.prefix).size();
        unsigned long count = 0;
        ASSERT_EQ(c.result, search.SearchProc(&count, Z(c.prefix).data()));
        EXPECT_EQ(std::min<size_t>(model, kLimit), count);
        if (c.prefix == a || c.prefix == ak) {
            EXPECT_GT(model, kLimit);
        }
    }
}

TEST_F(KanaRunLimitTest, EveryPoiStaysReachableThroughItsReading) {
    // The saturated list of "ｱ" ends at its 32,767th POI ...
    CSearchKanaProc search;
    unsigned long count = 0;
    ASSERT_EQ(2u, search.SearchProc(&count, Z(mapdb::Utf8ToSjis("ｱ")).data()));
    const std::vector<unsigned long> all = Under(mapdb::Utf8ToSjis("ｱ"));
    std::vector<CLocationData> tail(2);
    ASSERT_TRUE(search.GetList(tail.data(), kLimit - 1, 2, kAny, kAny, kAny, kAny));
    EXPECT_EQ((std::vector<unsigned long>{all[kLimit - 1]}), Listed(tail));
    // ... and the POIs after it (records 32,767 on of that base file), as every other POI,
    // are found by their whole readings.
    std::vector<size_t> sample;
    for (size_t i = 1; i < pois_.size(); i += 997) sample.push_back(i);
    for (size_t i = 32760; i < 32790; ++i) sample.push_back(i);
    sample.push_back(pois_.size() - 1);
    for (size_t i : sample) {
        const std::string& r = base_.readings[i];
        SCOPED_TRACE(mapdb::SjisToUtf8(r));
        ASSERT_EQ(2u, search.SearchProc(&count, Z(r).data()));
        std::vector<CLocationData> out(count);
        ASSERT_TRUE(search.GetList(out.data(), 0, count, kAny, kAny, kAny, kAny));
        const std::vector<unsigned long> ids = Listed(out);
        EXPECT_NE(ids.end(), std::find(ids.begin(), ids.end(), base_.ids[i]));
    }
}

}  // namespace
