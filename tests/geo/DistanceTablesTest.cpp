// Checks every entry of the cosine and arctangent tables against their rule (truncated,
// not rounded), with the four stored entries that differ from it on purpose.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>

#include "SearchProc.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

static_assert(sizeof(val_cos4) / sizeof(val_cos4[0]) == 302);
static_assert(sizeof(val_cos5) / sizeof(val_cos5[0]) == 302);
static_assert(sizeof(val_atan1) / sizeof(val_atan1[0]) == 201);
static_assert(sizeof(val_atan2) / sizeof(val_atan2[0]) == 501);
static_assert(sizeof(val_cos4[0]) == 4, "entries are signed 32-bit");

struct TableCase {
    const char* name;
    const int* table;
    int size;
    std::function<double(int)> rule;  // exact value before truncation
    std::map<int, int> stored;        // entries that deliberately break the rule
};

double CosOfRow(int i, double scale) {
    if (i == 301) return 0;  // terminator row
    return std::cos((200 + i) / 10.0 * kPi / 180.0) * scale;
}

TEST(DistanceTables, EveryEntryFollowsTheTruncatedRuleExceptTheStoredOnes) {
    const TableCase cases[] = {
        {"val_cos4", val_cos4, 302, [](int i) { return CosOfRow(i, 1e4); }, {{298, 6456}}},
        {"val_cos5", val_cos5, 302, [](int i) { return CosOfRow(i, 1e5); }, {}},
        {"val_atan1", val_atan1, 201, [](int i) { return std::atan(i / 100.0) * 1e5; }, {}},
        {"val_atan2",
         val_atan2,
         501,
         [](int i) { return std::atan(i / 10.0) * 1e5; },
         {{180, 115297}, {375, 154415}, {451, 148627}}},
    };
    for (const TableCase& c : cases) {
        for (int i = 0; i < c.size; ++i) {
            SCOPED_TRACE(std::string(c.name) + "[" + std::to_string(i) + "]");
            const int rule = static_cast<int>(std::trunc(c.rule(i)));
            const auto stored = c.stored.find(i);
            if (stored == c.stored.end()) {
                EXPECT_EQ(c.table[i], rule);
            } else {
                EXPECT_EQ(c.table[i], stored->second);
                EXPECT_NE(c.table[i], rule) << "a stored exception must differ from the rule";
            }
        }
    }
}

TEST(DistanceTables, FirstRowsAreTruncatedNotRounded) {
    struct Row {
        const char* name;
        const int* table;
        int expected[3];
    };
    // cos 20.1 deg = 0.939094... and atan 0.01 = 0.0099996...: rounding would give 9391, 1000.
    const Row rows[] = {{"val_cos4", val_cos4, {9396, 9390, 9384}},
                        {"val_cos5", val_cos5, {93969, 93909, 93849}},
                        {"val_atan1", val_atan1, {0, 999, 1999}},
                        {"val_atan2", val_atan2, {0, 9966, 19739}}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(r.table[i], r.expected[i]) << "entry " << i;
    }
    EXPECT_EQ(val_cos4[301], 0);
    EXPECT_EQ(val_cos5[301], 0);
}

}  // namespace
