// Separate search objects on several threads at once: every search class (base, arrival,
// genre, kana, vicinity, the telephone facade, address, zip code, extra information and
// parking, strings, versions, picture lookups and readers, names merged with the font) gives
// on every thread, in every order, exactly what it gives alone. Run under ThreadSanitizer in
// CI (SEARCHPROC_TSAN) to catch shared state touched without a lock.
#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "TempDir.h"
#include "faults/Sweep.h"
#include "support/Settings.h"

namespace {

struct Concurrent : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        ids_ = fulldb::Write(db_.path());
        testsupport::ScopedSettings keep;
        keep.Use(db_.path());
        // Alone, one after the other; this also fills the process-wide picture settings once.
        for (const sweep::Op& op : sweep::Ops()) alone_[op.name] = op.run(ids_);
    }
    void SetUp() override { settings_.Use(db_.path()); }

    static inline mapdb::TempDir db_;
    static inline std::vector<uint32_t> ids_;
    static inline std::map<std::string, sweep::Lines> alone_;
};

TEST_F(Concurrent, AloneEverySearchFindsSomething) {
    for (const sweep::Op& op : sweep::Ops()) EXPECT_FALSE(alone_[op.name].empty()) << op.name;
}

// Thread t runs every search `rounds` times starting at search t (so that different classes
// overlap), or, in the second shape, all threads run the same class at the same time.
TEST_F(Concurrent, EveryThreadGetsTheSingleThreadedResults) {
    const std::vector<sweep::Op>& ops = sweep::Ops();
    struct Shape {
        const char* name;
        unsigned threads;
        bool sameClass;
        int rounds;
    };
    for (const Shape& shape : {Shape{"rotated", 4, false, 2}, Shape{"same class", 3, true, 1}}) {
        std::vector<std::map<std::string, std::vector<sweep::Lines>>> got(shape.threads);
        std::vector<std::thread> pool;
        for (unsigned t = 0; t < shape.threads; ++t) {
            pool.emplace_back([&, t] {
                for (int r = 0; r < shape.rounds; ++r) {
                    for (size_t i = 0; i < ops.size(); ++i) {
                        const sweep::Op& op = ops[shape.sameClass ? i : (i + t) % ops.size()];
                        got[t][op.name].push_back(op.run(ids_));
                    }
                }
            });
        }
        for (std::thread& th : pool) th.join();
        for (unsigned t = 0; t < shape.threads; ++t) {
            for (const sweep::Op& op : ops) {
                ASSERT_EQ(size_t(shape.rounds), got[t][op.name].size());
                for (const sweep::Lines& lines : got[t][op.name])
                    EXPECT_EQ(alone_[op.name], lines)
                        << shape.name << " thread " << t << " " << op.name;
            }
        }
    }
}

}  // namespace
