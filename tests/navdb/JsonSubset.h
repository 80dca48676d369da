// Comparing a JSON answer with the fields a test expects of it.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace navdb_test {

// Every field of `want` is in `got` with the same value (positions within 1e-5 degrees);
// arrays must have the same length.
inline void ExpectSubset(const nlohmann::json& want, const nlohmann::json& got,
                         const std::string& at = "") {
    if (want.is_object()) {
        for (const auto& [k, v] : want.items()) {
            ASSERT_TRUE(got.contains(k)) << at << "/" << k;
            ExpectSubset(v, got[k], at + "/" + k);
        }
    } else if (want.is_array()) {
        ASSERT_EQ(want.size(), got.size()) << at << ": " << got;
        for (size_t i = 0; i < want.size(); ++i)
            ExpectSubset(want[i], got[i], at + "/" + std::to_string(i));
    } else if (want.is_number_float()) {
        EXPECT_NEAR(want.get<double>(), got.get<double>(), 1e-5) << at;
    } else {
        EXPECT_EQ(want, got) << at;
    }
}

}  // namespace navdb_test
