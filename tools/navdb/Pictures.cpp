// Versions, strings and pictures of a database through the library's own entry points.
#include "Pictures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <vector>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include "Queries.h"
#include "SearchProc.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"

namespace navdb {

using json = nlohmann::json;

namespace {

struct KindInfo {
    const char* name;
    const char* firstFile;  // the file whose version the others are checked against
};

// The data kinds of the version table, by kind number.
const KindInfo kKinds[27] = {
    {"address", "ADDRESS/A.DAT"},
    {"zipcode", "ZIPCODE/Z.DAT"},
    {"company zipcode", "ZIPCODE/CZ.DAT"},
    {"area code", "CONVADDR/CA.DAT"},
    {"base", "BASE/B177.IDX"},
    {"arrival", "ARRIVAL/ARV.DAT"},
    {"allied parking", "PARKING/TK.DAT"},
    {"kana", "KANAMA/KANAMA.DAT"},
    {"telephone", "TELEPHONE/TELEPHONE.DAT"},
    {"home phone", "HOMEPHONE/HOMEPHONE.DAT"},
    {"genre", "GENRE/GENRE.DAT"},
    {"genre data", "GENRE/GENREDATA.DAT"},
    {"intersection", "INTERSECTION/INTERSECTION.DAT"},
    {"refine", "REFINE/REFINE.DAT"},
    {"vicinity", "VICINITY/VICINITY.DAT"},
    {"SA/PA info", "SAPAINFO/SAPAID.IDX"},
    {"sign post", "SIGNPOST/SIGNDATA.IDX"},
    {"guidance", "GUIDANCE/BRANCH.IDX"},
    {"adjacent prefecture", "VICINITYPREF/VP.DAT"},
    {"phone area point", "PHONEPOINT/PHONEPOINT.DAT"},
    {"SA/PA map", "SAPAINFO/SAPA.IMG"},
    {"voice list", "VOLIST/VOLIST.DAT"},
    {"string", "STRINGDB/GDESTR01.IDX"},
    {"POI additional", "ADDINFO/ADDINFO.DAT"},
    {"station list", "CHANNEL/AM.BIN"},
    {"engine", nullptr},
    {"base quick", "BASE/B177.IDX"},
};

constexpr uint32_t kSignKind = 14;
constexpr uint32_t kSapaMap = 0xFFFFFFFFu;  // the SA/PA maps: no guidance picture kind

bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string Utf8Of(const unsigned char* sjis, size_t n) {
    return mapdb::SjisToUtf8(std::string(reinterpret_cast<const char*>(sjis),
                                         strnlen(reinterpret_cast<const char*>(sjis), n)));
}

// A library bitmap (BMP header, RGB565 rows padded to four bytes, top-down when the height is
// negative) as the bytes of an 8-bit RGB PNG. The bitmap spans `size` bytes.
std::string BitmapPng(const unsigned char* bmp, size_t size) {
    if (size < 54) throw std::runtime_error("picture bitmap too short");
    const uint32_t offBits = bytes::ReadU32LE(bmp + 10);
    const int32_t w = static_cast<int32_t>(bytes::ReadU32LE(bmp + 18));
    const int32_t h = static_cast<int32_t>(bytes::ReadU32LE(bmp + 22));
    const bool topDown = h < 0;
    const uint64_t width = static_cast<uint64_t>(w < 0 ? 0 : w);
    const uint64_t height = static_cast<uint64_t>(topDown ? -int64_t{h} : h);
    const uint64_t pitch = (width * 2 + 3) & ~uint64_t{3};
    if (width == 0 || height == 0 || offBits + pitch * height > size)
        throw std::runtime_error("picture bitmap has no valid size");
    std::vector<unsigned char> rgb(width * height * 3);
    for (uint64_t y = 0; y < height; ++y) {
        const unsigned char* row = bmp + offBits + pitch * (topDown ? y : height - 1 - y);
        for (uint64_t x = 0; x < width; ++x) {
            const uint16_t v = bytes::ReadU16LE(row + 2 * x);
            const unsigned r = v >> 11 & 31, g = v >> 5 & 63, b = v & 31;
            unsigned char* px = &rgb[(y * width + x) * 3];
            px[0] = static_cast<unsigned char>(r << 3 | r >> 2);
            px[1] = static_cast<unsigned char>(g << 2 | g >> 4);
            px[2] = static_cast<unsigned char>(b << 3 | b >> 2);
        }
    }
    std::string png;
    const auto append = [](void* to, void* data, int n) {
        static_cast<std::string*>(to)->append(static_cast<const char*>(data), n);
    };
    if (stbi_write_png_to_func(append, &png, static_cast<int>(width), static_cast<int>(height), 3,
                               rgb.data(), static_cast<int>(width * 3)) == 0) {
        throw std::runtime_error("cannot encode the picture as PNG");
    }
    return png;
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    FILE* f = fopen(path.c_str(), "wb");
    const bool ok = f != nullptr && fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    if ((f != nullptr && fclose(f) != 0) || !ok) throw std::runtime_error("cannot write " + path);
}

Report PictureReport(const char* what, uint32_t kind, uint32_t number, unsigned short w,
                     unsigned short h) {
    Report out;
    out.found = true;
    out.json = {{"kind", kind}, {"number", number}, {"width", w}, {"height", h}};
    out.fields = {{what, std::to_string(number)},
                  {"size", std::to_string(w) + " x " + std::to_string(h)}};
    if (kind != 0xFFFFFFFFu) out.fields.insert(out.fields.begin(), {"kind", std::to_string(kind)});
    return out;
}

// The picture kinds of the guidance folder with their index files, in kind order.
const struct {
    uint32_t kind;
    const char* word;
} kGuidanceKinds[] = {{0, "INIC"},       {4, "BRANCH"}, {8, "GRADE"},
                      {9, "ETC"},        {10, "ETC2"},  {11, "REALCROSS"},
                      {12, "PROPERJCT"}, {13, "EXIT"},  {15, "ENTRANCE"}};

// Up to `max` numbers of a picture index (16-byte header, then 14-byte records whose first six
// bytes are the number in decimal digits); `more` is set when the index holds further records.
std::vector<uint32_t> IndexedNumbers(const std::string& path, size_t max, bool* more) {
    std::vector<uint32_t> numbers;
    const io::FileCloser fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const int64_t size = fd.fd() < 0 ? -1 : io::FileSize(fd.fd());
    if (size < 16) return numbers;
    const uint64_t count = static_cast<uint64_t>(size - 16) / 14;
    *more = count > max;
    std::vector<unsigned char> records(std::min<uint64_t>(count, max) * 14);
    if (records.empty() || !io::ReadExactly(fd.fd(), records.data(), records.size(), 16))
        return numbers;
    for (size_t at = 0; at < records.size(); at += 14) {
        uint32_t n = 0;
        bool digits = true;
        for (size_t k = 0; k < 6; ++k) {
            const unsigned char c = records[at + k];
            digits = digits && c >= '0' && c <= '9';
            n = n * 10 + (c - '0');
        }
        if (digits) numbers.push_back(n);
    }
    return numbers;
}

// Up to `max` sign numbers that have a record: SIGNDATA.IDX is a 12-byte header and the start
// offset of each sign number's record in SIGNDATA.DAT; a record runs to the next start, the
// last one to the end of the file.
std::vector<uint32_t> SignNumbers(const std::string& root, size_t max, bool* more) {
    std::vector<uint32_t> numbers;
    const io::FileCloser idx(open((root + "/SIGNPOST/SIGNDATA.IDX").c_str(), O_RDONLY | O_CLOEXEC));
    const io::FileCloser dat(open((root + "/SIGNPOST/SIGNDATA.DAT").c_str(), O_RDONLY | O_CLOEXEC));
    const int64_t size = idx.fd() < 0 ? -1 : io::FileSize(idx.fd());
    const int64_t datSize = dat.fd() < 0 ? -1 : io::FileSize(dat.fd());
    if (size < 16 || datSize < 0) return numbers;
    const uint64_t count = static_cast<uint64_t>(size - 12) / 4;
    // One start beyond the listed ones gives the end of the last listed record.
    std::vector<unsigned char> starts(std::min<uint64_t>(count, max + 1) * 4);
    if (!io::ReadExactly(idx.fd(), starts.data(), starts.size(), 12)) return numbers;
    const size_t read = starts.size() / 4;
    for (size_t n = 0; n < read && n < max; ++n) {
        const uint64_t start = bytes::ReadU32LE(&starts[4 * n]);
        const uint64_t end =
            n + 1 < read ? bytes::ReadU32LE(&starts[4 * n + 4]) : static_cast<uint64_t>(datSize);
        if (start < end && end <= static_cast<uint64_t>(datSize))
            numbers.push_back(static_cast<uint32_t>(n));
    }
    *more = count > max;
    return numbers;
}

// Records that the picture went to `path`.
Report Written(Report out, const std::string& path) {
    out.json["file"] = path;
    out.fields.push_back({"written", path});
    return out;
}

}  // namespace

bool WriteRgbPng(const std::string& path, int width, int height,
                 const std::vector<unsigned char>& rgb) {
    return rgb.size() == static_cast<size_t>(width) * static_cast<size_t>(height) * 3 &&
           stbi_write_png(path.c_str(), width, height, 3, rgb.data(), width * 3) != 0;
}

StringId ParseStringId(const std::string& text, const std::string& what) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) throw BadInput(what + " must be SELECTOR:NUMBER");
    const uint32_t selector = ParseNumber(text.substr(0, colon), what + " selector");
    if (selector > 255) throw BadInput(what + " selector is 0-255");
    return {static_cast<uint8_t>(selector), ParseNumber(text.substr(colon + 1), what + " number")};
}

Report VersionQuery() {
    CVersionProc versions;
    unsigned char engine[14] = {};
    versions.GetSearchProcEngineVersion(engine);
    Report out;
    Table t{"", {"kind", "data", "version", "files"}, {}};
    json kinds = json::array();
    std::string release;
    bool agree = true;
    for (uint32_t kind = 0; kind < 27; ++kind) {
        unsigned char v[CVersionProc::kVersionSize] = {};
        const unsigned long files = versions.GetVersion(v, kind);
        const std::string text = files ? Utf8Of(v, 9) : "";
        std::string status = "ok";
        if (files == 0) {
            // A set whose first file is there but reports nothing has files that disagree.
            const bool present = Exists(std::string(g_tcharPath) + "/" + kKinds[kind].firstFile);
            status = present ? "files differ" : "absent";
            agree = agree && !present;
        } else if (kKinds[kind].firstFile != nullptr) {
            if (release.empty()) release = text;
            if (text != release) status = "differs", agree = false;
        }
        kinds.push_back({{"kind", kind},
                         {"data", kKinds[kind].name},
                         {"version", files ? json(text) : json()},
                         {"files", files},
                         {"status", status}});
        t.rows.push_back({std::to_string(kind), kKinds[kind].name, files ? text : "-",
                          std::to_string(files) + (status == "ok" ? "" : "  " + status)});
    }
    const std::string engineText(reinterpret_cast<char*>(engine));
    out.found = agree;
    out.json = {
        {"engine", engineText}, {"release", release}, {"consistent", agree}, {"kinds", kinds}};
    out.fields = {{"engine", engineText},
                  {"release", release.empty() ? "(none)" : release},
                  {"consistent", agree ? "yes" : "no"}};
    out.tables.push_back(t);
    return out;
}

Report StringQuery(uint32_t selector, uint32_t number) {
    if (selector > 255) throw BadInput("a selector is 0-255");
    CSearchStringProc strings;
    unsigned char* raw = nullptr;
    unsigned char encoding = 0;
    unsigned long extra = 0;
    const unsigned long n =
        strings.SearchProc(&raw, &encoding, &extra, static_cast<unsigned char>(selector), number);
    const std::unique_ptr<unsigned char[]> owned(raw);
    Report out;
    out.found = n > 0 && raw != nullptr;
    out.json = {{"selector", selector}, {"number", number}, {"found", out.found}};
    out.fields = {{"selector", std::to_string(selector)}, {"number", std::to_string(number)}};
    if (!out.found) return out;
    const std::string stored(reinterpret_cast<char*>(raw), n);
    const std::string text = encoding == 2 ? mapdb::SjisToUtf8(stored) : stored;
    char parts[3][CSearchStringProc::kUtf8Size] = {};
    const unsigned long count = strings.SearchProc(
        parts[0], parts[1], parts[2], static_cast<unsigned char>(selector), number, 0, 0, 0);
    json partList = json::array();
    for (unsigned long k = 0; k < count && k < 3; ++k) partList.push_back(parts[k]);
    const char* enc = encoding == 2 ? "SJIS" : "UTF8";
    out.json.update({{"text", text}, {"encoding", enc}, {"extra", extra}, {"parts", partList}});
    out.fields.insert(out.fields.end(), {{"text", text},
                                         {"encoding", enc},
                                         {"extra", std::to_string(extra)},
                                         {"parts", std::to_string(count)}});
    return out;
}

uint32_t ParsePictureKind(const std::string& text) {
    static const struct {
        const char* word;
        uint32_t kind;
    } words[] = {{"INIC", 0},         {"BRANCH", 4},     {"GRADE", 8},      {"ETC", 9},
                 {"ETC2", 10},        {"REALCROSS", 11}, {"PROPERJCT", 12}, {"EXIT", 13},
                 {"SIGN", kSignKind}, {"ENTRANCE", 15}};
    for (const auto& w : words) {
        if (strcasecmp(text.c_str(), w.word) == 0) return w.kind;
    }
    return ParseNumber(text, "picture kind");
}

Report ImagePicture(uint32_t kind, uint32_t number, const StringId& name1, const StringId& name2,
                    uint32_t direction, std::string* png) {
    if (direction > 255) throw BadInput("--direction is 0-255");
    CImageGuidance guidance;
    unsigned short w = 0, h = 0;
    const NDB_GUIDE_STRING_ID id1 = {name1.selector, name1.number},
                              id2 = {name2.selector, name2.number};
    const unsigned long size =
        guidance.GetImage(nullptr, &w, &h, kind, number, direction, id1, id2, 0);
    if (size == 0) throw BadInput("picture kind " + std::to_string(kind) + " is not served");
    std::vector<unsigned char> bmp(size);
    if (guidance.GetImage(bmp.data(), &w, &h, kind, number, direction, id1, id2, 0) != 1) {
        Report out;
        out.json = {{"kind", kind}, {"number", number}, {"found", false}};
        out.fields = {
            {"kind", std::to_string(kind)}, {"number", std::to_string(number)}, {"found", "no"}};
        return out;
    }
    *png = BitmapPng(bmp.data(), bmp.size());
    return PictureReport("number", kind, number, w, h);
}

Report SapaMapPicture(uint32_t number, std::string* png) {
    CImageData maps;
    unsigned short w = 0, h = 0;
    std::vector<unsigned char> bmp(maps.GetImageSAPAMap(nullptr, &w, &h, number));
    if (maps.GetImageSAPAMap(bmp.data(), &w, &h, number) != 1) {
        Report out;
        out.json = {{"number", number}, {"found", false}};
        out.fields = {{"number", std::to_string(number)}, {"found", "no"}};
        return out;
    }
    *png = BitmapPng(bmp.data(), bmp.size());
    Report out = PictureReport("SA/PA map", 0xFFFFFFFFu, number, w, h);
    out.json.erase("kind");
    return out;
}

Report ImageQuery(uint32_t kind, uint32_t number, const StringId& name1, const StringId& name2,
                  uint32_t direction, const std::string& path) {
    std::string png;
    Report out = ImagePicture(kind, number, name1, name2, direction, &png);
    if (!out.found) return out;
    WriteBytes(path, png);
    return Written(std::move(out), path);
}

Report SapaMapQuery(uint32_t number, const std::string& path) {
    std::string png;
    Report out = SapaMapPicture(number, &png);
    if (!out.found) return out;
    WriteBytes(path, png);
    return Written(std::move(out), path);
}

Report PictureListQuery(size_t max) {
    const std::string root = g_tcharPath;
    json kinds = json::array();
    Table t{"", {"kind", "word", "numbers"}, {}};
    size_t total = 0;
    auto add = [&](uint32_t kind, const char* word, const std::vector<uint32_t>& numbers,
                   bool more) {
        kinds.push_back({{"kind", kind}, {"word", word}, {"numbers", numbers}, {"more", more}});
        std::string list;
        for (uint32_t n : numbers) list += (list.empty() ? "" : ",") + std::to_string(n);
        t.rows.push_back(
            {kind == kSapaMap ? "-" : std::to_string(kind), word, list + (more ? ",..." : "")});
        total += numbers.size();
    };
    for (const auto& k : kGuidanceKinds) {
        bool more = false;
        const std::vector<uint32_t> numbers =
            IndexedNumbers(root + "/GUIDANCE/" + k.word + ".IDX", max, &more);
        if (!numbers.empty()) add(k.kind, k.word, numbers, more);
    }
    bool more = false;
    std::vector<uint32_t> numbers = SignNumbers(root, max, &more);
    if (!numbers.empty()) add(kSignKind, "SIGN", numbers, more);
    more = false;
    numbers = IndexedNumbers(root + "/SAPAINFO/SAPA.IDX", max, &more);
    if (!numbers.empty()) add(kSapaMap, "SAPA", numbers, more);
    Report out;
    out.found = total > 0;
    out.json = {{"kinds", kinds}};
    out.fields = {{"pictures", std::to_string(total) + " listed"}};
    out.tables.push_back(t);
    return out;
}

}  // namespace navdb
