// Address hierarchy and area-code conversion: a model tree walked through the reader level by
// level (lists paged across block boundaries, choices, leaves, back steps), kana rows, numbered
// items, refinement, conversions, and hand-made damaged level files.
#include <gtest/gtest.h>

#include "AddressWriter.h"
#include "BlockEncoders.h"
#include "foundation/Bytes.h"
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

const auto Sjis = mapdb::Utf8ToSjis;
using P = std::pair<unsigned long, unsigned long>;
using Row = std::tuple<std::string, uint32_t, uint32_t, uint32_t>;  // name, position, enabled
Row RowOf(const CLocationData& r) {
    return {r.szName, r.lLon, r.lLat, r.dwEnable};
}
P Coordinate(CSearchAddressProc& s) {
    unsigned long lon = 0, lat = 0;
    return s.GetCurrentCoordinate(&lon, &lat) ? P(lon, lat) : P(0, 0);
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

    std::vector<unsigned long> Rows() {
        std::vector<unsigned long> rows;
        for (unsigned long r = 0; r <= 10; ++r) rows.push_back(s_.GetKanaIndex(r));
        return rows;
    }
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
                Row want{"", 0, 0, 0};  // past the list: cleared
                if (start + i < list.size()) {
                    const AddressItem& item = list[start + i];
                    const bool city = item.name == "八王子市" || item.name == "函館市" ||
                                      item.name == "小樽市";  // leaves of level 1 named ...市
                    want = {Sjis(item.name) + (city ? Sjis("代表地点") : ""), item.lonMs,
                            item.latMs, 1};
                }
                EXPECT_EQ(RowOf(page[i]), want);
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
                EXPECT_EQ(P(r, count), P(kLeaf, 12345u));
                EXPECT_EQ(s_.GetCurrentLevel(), level + 1);
            } else {
                EXPECT_EQ(P(r, count), P(item.children.size(), item.children.size()));
                Walk(item.children, level + 1, below);
            }
            EXPECT_EQ(Address(s_).substr(0, below.size()), below);
            EXPECT_EQ(Coordinate(s_), P(item.lonMs, item.latMs));
            unsigned long position = 999;
            if (level == 7) {  // a leaf of a level-7 list: level 8, no way back
                EXPECT_EQ(s_.BackToPrevProc(&count, &position), 0u);
                path_.pop_back();
                Renavigate();
                continue;
            }
            EXPECT_EQ(s_.BackToPrevProc(&count, &position), list.size());
            EXPECT_EQ(P(count, position), P(list.size(), i));
            EXPECT_EQ(s_.GetCurrentLevel(), level);
            path_.pop_back();
        }
    }
};

TEST_F(AddressTest, ReaderMatchesTheModelTreeAtEveryLevel) {
    unsigned long count = 0;
    ASSERT_EQ(s_.InitProc(&count), 3);
    EXPECT_EQ(P(s_.GetCurrentAddress(nullptr), Address(s_).size()), P(0, 0));
    Walk(tree_, 0, "");
}

TEST_F(AddressTest, KanaRowsNumbersAndCoordinates) {
    unsigned long n = 0, lon = 0, lat = 0;
    EXPECT_EQ(s_.GetCurrentCoordinate(&lon, &lat), 0u);
    ASSERT_EQ(s_.InitProc(&n), 3);
    const unsigned long L = kLeaf;  // no item in the row; rows above 9 answer 0
    EXPECT_EQ(Rows(), (std::vector<unsigned long>{2, L, L, 0, L, 1, L, L, L, L, 0}));
    ASSERT_EQ(s_.SearchNextProc(&n, 0), 6u);
    EXPECT_EQ(Rows(), (std::vector<unsigned long>{L, L, L, 0, L, 1, L, L, 5, 3, 0}));
    EXPECT_EQ(P(s_.IsListEnabled(), s_.IsNumberEnabled()), P(1, 0));
    ASSERT_EQ(s_.SearchNextProc(&n, 2), 1200u);
    ASSERT_EQ(s_.SearchNextProc(&n, 650), 1u);
    ASSERT_EQ(s_.SearchNextProc(&n, 0), 5u);  // level 4: blocks 1-5
    EXPECT_EQ(P(s_.IsListEnabled(), s_.IsNumberEnabled()), P(0, 1));
    EXPECT_EQ(P(s_.IsAddressNumbered(4), s_.IsAddressNumbered(5)), P(1, 0));
    EXPECT_EQ(s_.SearchNumberProc(&n, 99), 0u);
    ASSERT_EQ(s_.SearchNumberProc(&n, 3), 3u);
    ASSERT_EQ(s_.SearchNumberProc(&n, 12), 1u);
    EXPECT_EQ(Address(s_), Sjis("東京都府中市区域651本町3-12"));
    char utf8[4096];
    EXPECT_EQ(s_.GetCurrentAddressUni(utf8), 1u);
    EXPECT_STREQ(utf8, "東京都府中市区域651本町3-12");
    const AddressItem& house =
        tree_[0].children[2].children[650].children[0].children[2].children[2];
    EXPECT_EQ(Coordinate(s_), P(house.lonMs, house.latMs));
    ASSERT_EQ(s_.GetCurrentCoordinate256(&lon, &lat), 1u);
    EXPECT_EQ(P(lon, lat), P(house.lonMs * 32ull / 125, house.latMs * 32ull / 125));
    CAddressData many[2];  // more than 500 items at once are refused
    EXPECT_EQ(P(s_.GetList(nullptr, 0, 1, 255, 0, 0), s_.GetData(many, 0, 501)), P(0, 0));
}

TEST_F(AddressTest, RefinementAtLevelsZeroAndOne) {
    using Case = std::tuple<std::vector<unsigned long>, unsigned long, std::vector<uint32_t>>;
    for (const auto& [path, genre1, enabled] :
         std::vector<Case>{{{}, 1, {1, 1, 0}},
                           {{}, 9, {0, 0, 0}},
                           {{}, 255, {1, 1, 1}},
                           {{1}, 1, {1, 0, 1}},           // 北海道's bitmap
                           {{0}, 1, {1, 1, 1, 1, 1, 1}},  // 東京都 has no bitmap: unchanged
                           {{1, 0}, 1, {1, 1}}}) {        // deeper levels are not refined
        unsigned long n = 0;
        ASSERT_GT(s_.InitProc(&n), 0);
        for (unsigned long p : path) ASSERT_GT(s_.SearchNextProc(&n, p), 0u);
        std::vector<CLocationData> out(enabled.size());
        ASSERT_EQ(s_.GetList(out.data(), 0, out.size(), genre1, 2, 3), 1u);
        std::vector<uint32_t> got;
        for (const CLocationData& r : out) got.push_back(r.dwEnable);
        EXPECT_EQ(got, enabled) << genre1 << " " << path.size();
    }
    mapdb::TempDir dir;  // a bitmap would answer for a prefecture position without data
    EXPECT_THROW(mapdb::WriteRefine(dir.path(), {{1, 2, 3, {0}, {{13, {true}}}}}), mapdb::Error);
}

TEST_F(AddressTest, AreaCodesBecomePaths) {
    using Case =
        std::tuple<unsigned long, unsigned long, unsigned long, std::string, unsigned long>;
    for (const auto& [c1, c2, c3, text, level] :
         std::vector<Case>{{13, 101, 5, "東京都府中市区域651", 2},
                           {13, 101, 7, "東京都府中市", 2},
                           {13, 101, 0, "東京都府中市", 2},
                           {13, 102, 9, "東京都八王子市代表地点", 2},
                           {1, 7, 0, "北海道札幌市北区", 3},
                           {13, 103, 0, "", 0},
                           {14, 101, 0, "", 0}}) {
        CConvAddressProc conv;
        const unsigned long r = conv.ConvAddressProc(c1, c2, c3);
        EXPECT_EQ(std::make_tuple(r, Address(conv), conv.GetCurrentLevel()),
                  std::make_tuple(text.empty() ? 0ul : 1ul, Sjis(text), level));
    }
    CConvAddressProc conv;
    unsigned long p[3] = {9, 9, 9};
    EXPECT_EQ(conv.LoadData(&p[0], &p[1], &p[2], 13, 101, 5), 1u);
    EXPECT_EQ(std::vector<unsigned long>(p, p + 3), (std::vector<unsigned long>{0, 2, 650}));
    EXPECT_EQ(P(conv.SearchNextProcLight(65535), conv.SearchNextProcLight(0)), P(1, 0));
}

// A record as the level files hold it, and a file of 3-byte offsets and an LZMA block.
mapdb::Bytes Rec(uint32_t childStart, uint32_t count, unsigned level, const std::string& name) {
    mapdb::ByteWriter w;
    w.U32(childStart), w.U32(count);
    if (level <= 2) w.U8(0xB1);
    w.Str(mapdb::Utf8ToSjis(name)), w.U8(0x0A), w.U24(100), w.U24(200);
    return w.Take();
}
mapdb::Bytes File(std::initializer_list<uint32_t> offsets, const mapdb::Bytes& raw = {}) {
    mapdb::ByteWriter w;
    w.Raw(mapdb::VersionHeader());
    for (uint32_t o : offsets) w.U24(o);
    w.Raw(raw.empty() ? raw : mapdb::EncodeLzmaBlock(raw));
    return w.Take();
}

// One record read within a size: the shortest record (empty name) fits exactly, a byte less or
// a name whose line feed or position lies past the size fails; a long name is cut to the text
// area; only a childless level-1 city gets the representative-point suffix.
TEST(AddressRecord, ReadWithinItsSize) {
    for (const unsigned level : {1u, 3u}) {
        SCOPED_TRACE(level);
        const unsigned long head = level <= 2 ? 9 : 8;
        CAddressData d;
        mapdb::Bytes r = Rec(kLeaf, 0, level, "");
        ASSERT_EQ(r.size(), head + 7);
        EXPECT_EQ(d.SetDataWithin(r.data(), level, r.size()), r.size());
        EXPECT_EQ(d.SetDataWithin(r.data(), level, r.size() - 1), 0u);
        EXPECT_EQ(d.SetDataWithin(nullptr, level, r.size()), 0u);
        EXPECT_EQ(d.SetData(nullptr, level), 0u);

        r = Rec(7, 3, level, "千代田区");
        EXPECT_EQ(d.SetDataWithin(r.data(), level, head + 8), 0u);  // 8 name bytes, no line feed
        EXPECT_EQ(d.SetDataWithin(r.data(), level, r.size() - 1), 0u);  // position cut
        ASSERT_EQ(d.SetData(r.data(), level), r.size());
        EXPECT_EQ(std::make_tuple(std::string(d.szName), d.dwChildStart, d.dwChildCount, d.dwWork,
                                  d.lLon, d.lLat),
                  std::make_tuple(Sjis("千代田区"), 7u, 3u, level <= 2 ? 0xB1u : 0u,
                                  bytes::WidenLongitude(100), bytes::WidenLatitude(200)));

        r = Rec(kLeaf, 0, level, "八王子市");
        ASSERT_EQ(d.SetData(r.data(), level), r.size());
        EXPECT_EQ(std::string(d.szName), Sjis(level == 1 ? "八王子市代表地点" : "八王子市"));
        r = Rec(4, 1, level, "八王子市");
        ASSERT_EQ(d.SetData(r.data(), level), r.size());
        EXPECT_EQ(std::string(d.szName), Sjis("八王子市"));

        const std::string longName(500, 'a');
        r = Rec(kLeaf, 0, level, longName);
        ASSERT_EQ(d.SetData(r.data(), level), r.size());
        EXPECT_EQ(std::string(d.szName), longName.substr(0, sizeof(d.szName) - 2));
        EXPECT_EQ(d.szName[sizeof(d.szName) - 1], 0);
    }
}

// One prefecture (code 5) over hand-made level files of one item each; level 1 damaged or not.
TEST_F(AddressTest, DamagedLevelFilesFailAndLevelSevenIsTheLast) {
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    AddressItem pref = Item("県", "", {Item("市")});
    pref.code = 5;
    const mapdb::Bytes good = Rec(0, 1, 1, "市"), dat = File({}, good);
    const mapdb::Bytes cut = File({}, mapdb::Bytes(good.begin(), good.end() - 7));
    const uint32_t end = static_cast<uint32_t>(dat.size()), ff = 0xFFFFFF;
    using Case = std::tuple<const char*, uint32_t, mapdb::Bytes, mapdb::Bytes, unsigned long>;
    for (const auto& [damage, claims, cnt1, dat1, result] : std::vector<Case>{
             {"none", 1, File({16, end}), dat, 1},
             {"cut table", 1, File({16}), dat, 0},
             {"block past the data file", 1, File({16, 0xFFFFF0}), dat, 0},
             {"not a compressed block", 1, File({16, 36}), File({ff, ff, ff, ff, ff, ff, ff}), 0},
             {"record cut before its line feed", 1, File({16, uint32_t(cut.size())}), cut, 0},
             {"more children claimed than stored", 2, File({16, end}), dat, 0}}) {
        SCOPED_TRACE(damage);
        pref.children.resize(claims, Item("市"));
        mapdb::WriteAddress(dir.path(), {pref});
        mapdb::PackWriter pack;
        pack.Add("A05-1.cnt", cnt1), pack.Add("A05-1.dat", dat1);
        for (unsigned level = 2; level <= 7; ++level) {  // the level-7 item claims a child too
            const mapdb::Bytes d = File({}, Rec(0, 1, level, "x"));
            pack.Add("A05-" + std::to_string(level) + ".cnt", File({16, uint32_t(d.size())}));
            pack.Add("A05-" + std::to_string(level) + ".dat", d);
        }
        pack.Write(dir.path(), "ADDRESS/A05", "A05");
        CSearchAddressProc s;
        unsigned long n = 0, position = 9;
        ASSERT_EQ(s.InitProc(&n), 1);
        EXPECT_EQ(s.SearchNextProc(&n, 0), result);
        // A failed load keeps the item on the path and the level below it, so back works.
        EXPECT_EQ(std::make_pair(Address(s), s.GetCurrentLevel()), std::make_pair(Sjis("県"), 1ul));
        if (result == 0) {
            EXPECT_EQ(P(s.BackToPrevProc(&n, &position), position), P(1, 0));
            continue;
        }
        for (unsigned long level = 1; level < 7; ++level) ASSERT_EQ(s.SearchNextProc(&n, 0), 1u);
        // Nothing below level 7: the item joins the path, the call fails, the level stays.
        EXPECT_EQ(s.SearchNextProc(&n, 0), 0u);
        EXPECT_EQ(std::make_pair(Address(s), s.GetCurrentLevel()),
                  std::make_pair(Sjis("県市xxxxxx"), 7ul));
    }
    mapdb::PackWriter top;
    top.Add("A.dat", File({}));
    top.Write(dir.path(), "ADDRESS/A", "A");
    CSearchAddressProc s;
    unsigned long n = 7;
    EXPECT_EQ(P(s.InitProc(&n), n), P(0, 0));  // an empty prefecture file
    EXPECT_THROW(mapdb::WriteAddress(dir.path(), {pref, pref}), mapdb::Error);  // code used twice
}

// A damaged block that holds more than 500 records: item 500 of the list, and of the kana
// rows, is the next block's first record (row 1, ｶ), not the block's 501st (row 2, ｻ).
TEST_F(AddressTest, ListsTakeFiveHundredRecordsFromEachBlock) {
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    AddressItem pref = Item("県", "", Numbered("x", 501));
    pref.code = 5;
    mapdb::WriteAddress(dir.path(), {pref});
    mapdb::Bytes overfull;
    for (int i = 0; i <= 500; ++i) {
        mapdb::Bytes r = Rec(kLeaf, 0, 1, "a" + std::to_string(i));
        if (i == 500) r[8] = 0xBB;
        overfull.insert(overfull.end(), r.begin(), r.end());
    }
    mapdb::Bytes next = Rec(kLeaf, 0, 1, "b0");
    next[8] = 0xB6;
    mapdb::ByteWriter dat;
    dat.Raw(mapdb::VersionHeader());
    dat.Raw(mapdb::EncodeLzmaBlock(overfull));
    const uint32_t second = static_cast<uint32_t>(dat.size());
    dat.Raw(mapdb::EncodeLzmaBlock(next));
    const uint32_t end = static_cast<uint32_t>(dat.size());
    mapdb::PackWriter pack;
    pack.Add("A05-1.cnt", File({16, second, end})), pack.Add("A05-1.dat", dat.Take());
    pack.Write(dir.path(), "ADDRESS/A05", "A05");

    CSearchAddressProc s;
    unsigned long n = 0;
    ASSERT_EQ(s.InitProc(&n), 1u);
    ASSERT_EQ(s.SearchNextProc(&n, 0), 501u);
    EXPECT_EQ((std::vector<unsigned long>{s.GetKanaIndex(0), s.GetKanaIndex(1), s.GetKanaIndex(2)}),
              (std::vector<unsigned long>{0, 500, 0x3fffffff}));
    std::vector<CLocationData> page(2);
    ASSERT_EQ(s.GetList(page.data(), 499, 2, 255, 0, 0), 1u);
    EXPECT_EQ(std::make_pair(std::string(page[0].szName), std::string(page[1].szName)),
              std::make_pair(std::string("a499"), std::string("b0")));
}

}  // namespace
