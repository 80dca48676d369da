// Address hierarchy and area-code conversion: a model tree walked through the reader level by
// level (lists paged across block boundaries, choices, leaves, back steps), kana rows, numbered
// items, refinement, conversions, and hand-made damaged level files.
#include <gtest/gtest.h>

#include "AddressWriter.h"
#include "BlockEncoders.h"
#include "support/Poi.h"

namespace {

using mapdb::AddressItem;
using testsupport::kTokyoLat;
using testsupport::kTokyoLon;
constexpr unsigned long kLeaf = 0x3fffffff;

uint32_t g_next = 0;  // every item gets its own position
AddressItem Item(const std::string& name, const std::string& reading = "",
                 std::vector<AddressItem> children = {}) {
    ++g_next;
    return {
        name, reading, kTokyoLon + 10 * g_next, kTokyoLat + 10 * g_next, 0, std::move(children)};
}
std::vector<AddressItem> Numbered(const std::string& prefix, int n, int from = 1) {
    std::vector<AddressItem> v;
    for (int i = 0; i < n; ++i) v.push_back(Item(prefix + std::to_string(from + i)));
    return v;
}

// 東京都: a list of 300 districts, then one of 1200 that starts mid-block and holds a chain to
// level 7; 北海道: leaf cities; 大阪府: a leaf prefecture.
std::vector<AddressItem> Tree() {
    std::vector<AddressItem> districts = Numbered("区域", 1200);
    AddressItem houses = Item("12", "", {Item("A棟", "", {Item("101号"), Item("102号")})});
    std::vector<AddressItem> blocks = Numbered("", 5);
    blocks[2].children = {Item("10"), Item("11"), houses};
    districts[650].children = {Item("本町", "", blocks)};
    AddressItem tokyo =
        Item("東京都", "とうきょうと",
             {Item("千代田区", "ちよだく", Numbered("地区", 300)), Item("八王子市", "はちおうじし"),
              Item("府中市", "ふちゅうし", districts), Item("わかば町", "わかばちょう"),
              Item("をち村", "をちむら"), Item("らくよう村", "らくようむら")});
    AddressItem hokkaido = Item("北海道", "ほっかいどう",
                                {Item("札幌市", "さっぽろし", {Item("中央区"), Item("北区")}),
                                 Item("函館市", "はこだてし"), Item("小樽市", "おたるし")});
    tokyo.code = 13, hokkaido.code = 1;
    AddressItem osaka = Item("大阪府", "おおさかふ");
    osaka.code = 27;
    return {tokyo, hokkaido, osaka};
}

std::string Sjis(const std::string& s) {
    return mapdb::Utf8ToSjis(s);
}
std::string Address(CSearchAddressProc& s) {
    unsigned char text[4096];
    s.GetCurrentAddress(text);
    return reinterpret_cast<char*>(text);
}

struct AddressTest : testsupport::SuiteDb<AddressTest> {
    static inline std::vector<AddressItem> tree_;
    static void Write(const std::string& root) {
        tree_ = Tree();
        mapdb::WriteAddress(root, tree_);
        mapdb::RefineSet refine{1, 2, 3, {0, 1}, {{1, {true, false, true}}}};
        mapdb::WriteRefine(root, {refine});
        mapdb::WriteConvAddr(root, {{13, 101, 0, 0, 2, 65535},
                                    {13, 101, 5, 0, 2, 650},
                                    {13, 102, 0, 0, 1, 65535},
                                    {1, 7, 0, 1, 0, 1}});
    }
    CSearchAddressProc s_;
    std::vector<unsigned long> path_;  // positions chosen, to come back after the level-8 end

    void Renavigate() {
        unsigned long n = 0;
        ASSERT_GT(s_.InitProc(&n), 0);
        for (unsigned long p : path_) ASSERT_NE(s_.SearchNextProc(&n, p), 0u);
    }
    // The reader's list against the model, paged in windows that cross block boundaries, then
    // into every item with children and the first and last item, and back.
    void Walk(const std::vector<AddressItem>& list, unsigned long level, const std::string& text) {
        ASSERT_EQ(s_.GetCurrentLevel(), level);
        std::vector<CLocationData> page(137);
        for (unsigned long start = 0; start < list.size(); start += page.size()) {
            ASSERT_EQ(s_.GetList(page.data(), start, page.size(), 255, 0, 0), 1u);
            for (unsigned long i = 0; i < page.size(); ++i) {
                SCOPED_TRACE(level * 10000 + start + i);
                if (start + i >= list.size()) {
                    EXPECT_EQ(page[i].szName[0], 0);
                    EXPECT_EQ(page[i].dwEnable, 0u);
                    continue;
                }
                const AddressItem& item = list[start + i];
                std::string name = Sjis(item.name);
                if (item.name == "八王子市" || item.name == "函館市" || item.name == "小樽市")
                    name += Sjis("代表地点");
                EXPECT_EQ(page[i].szName, name);
                EXPECT_EQ(page[i].lLon, item.lonMs);
                EXPECT_EQ(page[i].lLat, item.latMs);
                EXPECT_EQ(page[i].dwEnable, 1u);
            }
        }
        for (unsigned long i = 0; i < list.size(); ++i) {
            const AddressItem& item = list[i];
            if (item.children.empty() && i != 0 && i + 1 != list.size()) continue;
            SCOPED_TRACE(text + "|" + item.name);
            const std::string name = Sjis(item.name);
            const bool digits = !text.empty() && isdigit(static_cast<unsigned char>(text.back())) &&
                                isdigit(static_cast<unsigned char>(name[0]));
            const std::string below = text + (digits ? "-" : "") + name;
            unsigned long count = 12345;
            path_.push_back(i);
            const unsigned long r = s_.SearchNextProc(&count, i);
            if (item.children.empty()) {
                EXPECT_EQ(r, kLeaf);
                EXPECT_EQ(count, 12345u);
                EXPECT_EQ(s_.GetCurrentLevel(), level + 1);
            } else {
                EXPECT_EQ(r, item.children.size());
                EXPECT_EQ(count, r);
                Walk(item.children, level + 1, below);
            }
            EXPECT_EQ(Address(s_).substr(0, below.size()), below);
            unsigned long lon = 0, lat = 0;
            EXPECT_EQ(s_.GetCurrentCoordinate(&lon, &lat), 1u);
            EXPECT_EQ(lon, item.lonMs);
            EXPECT_EQ(lat, item.latMs);
            unsigned long position = 999;
            if (level == 7) {  // a leaf of a level-7 list: level 8, no way back
                EXPECT_EQ(s_.BackToPrevProc(&count, &position), 0u);
                path_.pop_back();
                Renavigate();
                continue;
            }
            EXPECT_EQ(s_.BackToPrevProc(&count, &position), list.size());
            EXPECT_EQ(count, list.size());
            EXPECT_EQ(position, i);
            EXPECT_EQ(s_.GetCurrentLevel(), level);
            path_.pop_back();
        }
    }
};

TEST_F(AddressTest, ReaderMatchesTheModelTreeAtEveryLevel) {
    unsigned long count = 0;
    ASSERT_EQ(s_.InitProc(&count), 3);
    EXPECT_EQ(Address(s_), "");
    EXPECT_EQ(s_.GetCurrentAddress(nullptr), 0u);
    Walk(tree_, 0, "");
}

TEST_F(AddressTest, KanaRowsNumbersAndCoordinates) {
    unsigned long n = 0, lon = 0, lat = 0;
    EXPECT_EQ(s_.GetCurrentCoordinate(&lon, &lat), 0u);
    ASSERT_EQ(s_.InitProc(&n), 3);
    const unsigned long prefRows[10] = {2, kLeaf, kLeaf, 0, kLeaf, 1, kLeaf, kLeaf, kLeaf, kLeaf};
    for (unsigned long r = 0; r < 10; ++r) EXPECT_EQ(s_.GetKanaIndex(r), prefRows[r]) << r;
    EXPECT_EQ(s_.GetKanaIndex(10), 0u);
    ASSERT_EQ(s_.SearchNextProc(&n, 0), 6u);
    const unsigned long cityRows[10] = {kLeaf, kLeaf, kLeaf, 0, kLeaf, 1, kLeaf, kLeaf, 5, 3};
    for (unsigned long r = 0; r < 10; ++r) EXPECT_EQ(s_.GetKanaIndex(r), cityRows[r]) << r;
    EXPECT_EQ(s_.IsListEnabled(), 1u);
    EXPECT_EQ(s_.IsNumberEnabled(), 0u);
    ASSERT_EQ(s_.SearchNextProc(&n, 2), 1200u);
    ASSERT_EQ(s_.SearchNextProc(&n, 650), 1u);
    ASSERT_EQ(s_.SearchNextProc(&n, 0), 5u);  // level 4: blocks 1-5
    EXPECT_EQ(s_.IsListEnabled(), 0u);
    EXPECT_EQ(s_.IsNumberEnabled(), 1u);
    EXPECT_EQ(s_.IsAddressNumbered(4), 1u);
    EXPECT_EQ(s_.IsAddressNumbered(5), 0u);
    EXPECT_EQ(s_.SearchNumberProc(&n, 99), 0u);
    ASSERT_EQ(s_.SearchNumberProc(&n, 3), 3u);
    ASSERT_EQ(s_.SearchNumberProc(&n, 12), 1u);
    EXPECT_EQ(Address(s_), Sjis("東京都府中市区域651本町3-12"));
    char utf8[4096];
    EXPECT_EQ(s_.GetCurrentAddressUni(utf8), 1u);
    EXPECT_STREQ(utf8, "東京都府中市区域651本町3-12");
    ASSERT_EQ(s_.GetCurrentCoordinate(&lon, &lat), 1u);
    const AddressItem& house =
        tree_[0].children[2].children[650].children[0].children[2].children[2];
    EXPECT_EQ(lon, house.lonMs);
    EXPECT_EQ(lat, house.latMs);
    ASSERT_EQ(s_.GetCurrentCoordinate256(&lon, &lat), 1u);
    EXPECT_EQ(lon, uint64_t{house.lonMs} * 256 / 1000);
    EXPECT_EQ(lat, uint64_t{house.latMs} * 256 / 1000);
    EXPECT_EQ(s_.GetList(nullptr, 0, 1, 255, 0, 0), 0u);
    CAddressData many[2];
    EXPECT_EQ(s_.GetData(many, 0, 501), 0u);
}

TEST_F(AddressTest, RefinementAtLevelsZeroAndOne) {
    struct Case {
        std::vector<unsigned long> path;
        unsigned long genre1;
        std::vector<uint32_t> enabled;
    };
    const Case cases[] = {
        {{}, 1, {1, 1, 0}},           {{}, 9, {0, 0, 0}},
        {{}, 255, {1, 1, 1}},         {{1}, 1, {1, 0, 1}},  // 北海道's bitmap
        {{0}, 1, {1, 1, 1, 1, 1, 1}},                       // 東京都 has no bitmap: unchanged
        {{1, 0}, 1, {1, 1}},                                // deeper levels are not refined
    };
    for (const Case& c : cases) {
        unsigned long n = 0;
        ASSERT_GT(s_.InitProc(&n), 0);
        for (unsigned long p : c.path) ASSERT_GT(s_.SearchNextProc(&n, p), 0u);
        std::vector<CLocationData> out(c.enabled.size());
        ASSERT_EQ(s_.GetList(out.data(), 0, out.size(), c.genre1, 2, 3), 1u);
        for (size_t i = 0; i < out.size(); ++i)
            EXPECT_EQ(out[i].dwEnable, c.enabled[i]) << c.genre1 << " " << i;
    }
    mapdb::TempDir dir;
    EXPECT_THROW(mapdb::WriteRefine(dir.path(), {{1, 2, 3, {0}, {{13, {true}}}}}), mapdb::Error);
}

TEST_F(AddressTest, AreaCodesBecomePaths) {
    struct Case {
        unsigned long c1, c2, c3, result;
        const char* text;
        unsigned long level;
    };
    const Case cases[] = {{13, 101, 5, 1, "東京都府中市区域651", 2},
                          {13, 101, 7, 1, "東京都府中市", 2},
                          {13, 101, 0, 1, "東京都府中市", 2},
                          {13, 102, 9, 1, "東京都八王子市代表地点", 2},
                          {1, 7, 0, 1, "北海道札幌市北区", 3},
                          {13, 103, 0, 0, "", 0},
                          {14, 101, 0, 0, "", 0}};
    for (const Case& c : cases) {
        CConvAddressProc conv;
        SCOPED_TRACE(c.text);
        ASSERT_EQ(conv.ConvAddressProc(c.c1, c.c2, c.c3), c.result);
        if (c.result == 0) continue;
        EXPECT_EQ(Address(conv), Sjis(c.text));
        EXPECT_EQ(conv.GetCurrentLevel(), c.level);
    }
    CConvAddressProc conv;
    unsigned long p[3] = {9, 9, 9};
    EXPECT_EQ(conv.LoadData(&p[0], &p[1], &p[2], 13, 101, 5), 1u);
    EXPECT_EQ(p[0] * 1000000 + p[1] * 1000 + p[2], 2650u);
    EXPECT_EQ(conv.SearchNextProcLight(65535), 1u);
    EXPECT_EQ(conv.SearchNextProcLight(0), 0u);
}

// One prefecture (code 5) over hand-made level files: one block each, level 1 damaged or not.
mapdb::Bytes Rec(uint32_t childStart, uint32_t count, unsigned level, const std::string& name) {
    mapdb::ByteWriter w;
    w.U32(childStart), w.U32(count);
    if (level <= 2) w.U8(0xB1);
    w.Str(mapdb::Utf8ToSjis(name)), w.U8(0x0A), w.U24(100), w.U24(200);
    return w.Take();
}
mapdb::Bytes Header(std::initializer_list<uint32_t> offsets) {
    mapdb::ByteWriter w;
    w.Raw(mapdb::VersionHeader());
    for (uint32_t o : offsets) w.U24(o);
    return w.Take();
}

TEST_F(AddressTest, DamagedLevelFilesFailAndLevelSevenIsTheLast) {
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    AddressItem pref = Item("県", "", {Item("市")});
    pref.code = 5;
    mapdb::Bytes good = Rec(0, 1, 1, "市");
    struct Case {
        const char* damage;
        uint32_t claims;
        mapdb::Bytes cnt, dat;
        unsigned long result;
    };
    mapdb::Bytes block = mapdb::EncodeLzmaBlock(good);
    mapdb::Bytes dat = Header({});
    dat.insert(dat.end(), block.begin(), block.end());
    mapdb::Bytes cut = mapdb::EncodeLzmaBlock(mapdb::Bytes(good.begin(), good.end() - 7));
    mapdb::Bytes cutDat = Header({});
    cutDat.insert(cutDat.end(), cut.begin(), cut.end());
    const Case cases[] = {
        {"none", 1, Header({16, uint32_t(dat.size())}), dat, 1},
        {"cut table", 1, Header({16}), dat, 0},
        {"block past the data file", 1, Header({16, 0xFFFFF0}), dat, 0},
        {"not a compressed block", 1, Header({16, 36}),
         Header({0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF}), 0},
        {"record cut before its line feed", 1, Header({16, uint32_t(cutDat.size())}), cutDat, 0},
        {"more children claimed than stored", 2, Header({16, uint32_t(dat.size())}), dat, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.damage);
        pref.children.resize(c.claims, Item("市"));
        mapdb::WriteAddress(dir.path(), {pref});
        mapdb::PackWriter pack;
        pack.Add("A05-1.cnt", c.cnt), pack.Add("A05-1.dat", c.dat);
        // Levels 2-7: one item each, and the level-7 item claims a child it cannot have.
        for (unsigned level = 2; level <= 7; ++level) {
            mapdb::Bytes z = mapdb::EncodeLzmaBlock(Rec(0, 1, level, "x"));
            mapdb::Bytes d = Header({});
            d.insert(d.end(), z.begin(), z.end());
            pack.Add("A05-" + std::to_string(level) + ".cnt", Header({16, uint32_t(d.size())}));
            pack.Add("A05-" + std::to_string(level) + ".dat", d);
        }
        pack.Write(dir.path(), "ADDRESS/A05", "A05");
        CSearchAddressProc s;
        unsigned long n = 0, position = 9;
        ASSERT_EQ(s.InitProc(&n), 1);
        EXPECT_EQ(s.SearchNextProc(&n, 0), c.result);
        EXPECT_EQ(s.GetCurrentLevel(), 1u);
        EXPECT_EQ(Address(s), Sjis("県"));
        if (c.result == 0) {
            EXPECT_EQ(s.BackToPrevProc(&n, &position), 1u);
            EXPECT_EQ(position, 0u);
            continue;
        }
        for (unsigned long level = 1; level < 7; ++level) ASSERT_EQ(s.SearchNextProc(&n, 0), 1u);
        EXPECT_EQ(s.SearchNextProc(&n, 0), 0u);
        EXPECT_EQ(s.GetCurrentLevel(), 7u);
        EXPECT_EQ(Address(s), Sjis("県市xxxxx"));
    }
    mapdb::PackWriter top;
    top.Add("A.dat", Header({}));
    top.Write(dir.path(), "ADDRESS/A", "A");
    CSearchAddressProc s;
    unsigned long n = 7;
    EXPECT_EQ(s.InitProc(&n), 0);
    EXPECT_EQ(n, 0u);
    EXPECT_THROW(mapdb::WriteAddress(dir.path(), {pref, pref}), mapdb::Error);  // code used twice
}

}  // namespace
