// Sign-post data set writer.
#include "SignWriter.h"

#include <algorithm>
#include <map>

#include "TextTools.h"

namespace mapdb {
namespace {

constexpr uint64_t kMaxPixelBytes = 240000;
constexpr uint64_t kMaxFile = UINT32_MAX;

const Rgb565Picture& Load(const std::string& png, const Rgb565Picture& picture,
                          Rgb565Picture* loaded, const std::string& what) {
    if (png.empty()) return picture;
    try {
        *loaded = ReadPngRgb565(png);
    } catch (const Error& e) {
        throw Error(what + ": png: " + e.what());
    }
    return *loaded;
}

void PutPixels(ByteWriter* w, const Rgb565Picture& p, const std::string& what) {
    const uint64_t count = uint64_t{p.width} * p.height;
    if (count == 0) throw Error(what + ": size: the picture is empty");
    if (p.pixels.size() != count) throw Error(what + ": pixels: not width x height");
    if (count * 2 > kMaxPixelBytes) {
        throw Error(what + ": size: " + std::to_string(p.width) + " x " + std::to_string(p.height) +
                    " does not fit a sign bitmap (240000 bytes of pixels)");
    }
    w->U16(p.width), w->U16(p.height);
    for (uint16_t px : p.pixels) w->U16(px);
}

// A data file with the version and a 16-byte header; offsets of the records it gets.
struct DataFile {
    explicit DataFile(const std::string& version) { w.Raw(VersionHeader(version)); }
    uint32_t Add(const Bytes& record, const std::string& what) {
        if (w.size() + record.size() > kMaxFile) throw Error(what + ": the data file passes 4 GiB");
        const uint32_t at = static_cast<uint32_t>(w.size());
        w.Raw(record);
        return at;
    }
    ByteWriter w;
};

// An index of u32 offsets, the one of number n at 4 * (n + 3) behind a 12-byte header, for n
// below `slots`; numbers without a record point at the end of the data file.
Bytes OffsetTable(const std::map<uint32_t, uint32_t>& offsets, uint32_t slots, uint32_t end,
                  const std::string& version) {
    ByteWriter w;
    const Bytes header = VersionHeader(version);
    w.Raw(header.data(), 12);
    for (uint32_t n = 0; n < slots; ++n) {
        const auto it = offsets.find(n);
        w.U32(it != offsets.end() ? it->second : end);
    }
    return w.Take();
}

}  // namespace

void WriteSignposts(const std::string& root, const std::vector<SignSource>& signs,
                    const std::vector<SignPictureSource>& pictures,
                    const std::vector<SignArrowSource>& arrows, const std::string& version) {
    DataFile signData(version), pictData(version), arrowData(version);
    std::map<uint32_t, uint32_t> signAt, pictAt;
    std::map<uint32_t, Rgb565Picture> pictSize;
    uint32_t lastSign = 0;

    for (size_t i = 0; i < signs.size(); ++i) {
        const SignSource& s = signs[i];
        const std::string what =
            "SIGNDATA sign " + std::to_string(i) + " (number " + std::to_string(s.number) + ")";
        if (s.number == 0 || signAt.count(s.number))
            throw Error(what + ": number: 0 or given twice");
        if (s.number > (kMaxFile / 4) - 8) throw Error(what + ": number: too large");
        if (s.type < 1 || s.type > 7) throw Error(what + ": type: outside 1-7");
        if (s.names.size() > 3) throw Error(what + ": names: more than 3");
        ByteWriter r;
        r.U8(s.type), r.U8(static_cast<uint32_t>(s.names.size()));
        for (const std::string& name : s.names) {
            const std::string sjis = Utf8ToSjis(name);
            if (sjis.size() > 40 || sjis.find('\0') != std::string::npos) {
                throw Error(what + ": names: \"" + name + "\" is over 40 bytes or holds NUL");
            }
            r.U8(static_cast<uint32_t>(sjis.size())), r.Str(sjis);
        }
        signAt[s.number] = signData.Add(r.bytes(), what);
        lastSign = std::max(lastSign, s.number);
    }
    for (size_t i = 0; i < pictures.size(); ++i) {
        const SignPictureSource& p = pictures[i];
        const std::string what =
            "SIGNPICT picture " + std::to_string(i) + " (type " + std::to_string(p.type) + ")";
        if (p.type < 1 || p.type > 7 || pictAt.count(p.type)) {
            throw Error(what + ": type: outside 1-7 or given twice");
        }
        if (p.points.size() > 255) throw Error(what + ": points: more than 255");
        Rgb565Picture loaded;
        const Rgb565Picture& pic = Load(p.png, p.picture, &loaded, what);
        ByteWriter r;
        r.U8(static_cast<uint32_t>(p.points.size()));
        for (const auto& [x, y] : p.points) r.U16(x), r.U16(y);
        PutPixels(&r, pic, what);
        pictAt[p.type] = pictData.Add(r.bytes(), what);
        pictSize[p.type] = {pic.width, pic.height, {}};
    }
    ByteWriter arrowIndex;
    arrowIndex.Raw(VersionHeader(version));
    std::map<std::pair<uint8_t, uint8_t>, bool> seen;
    for (size_t i = 0; i < arrows.size(); ++i) {
        const SignArrowSource& a = arrows[i];
        const std::string what = "SIGNARROW arrow " + std::to_string(i) + " (type " +
                                 std::to_string(a.type) + ", direction " +
                                 std::to_string(a.direction) + ")";
        if (a.type < 1 || a.type > 7 || a.direction < 1 || a.direction > 3 ||
            seen.count({a.type, a.direction})) {
            throw Error(what + ": type or direction: outside 1-7 / 1-3 or given twice");
        }
        seen[{a.type, a.direction}] = true;
        Rgb565Picture loaded;
        const Rgb565Picture& pic = Load(a.png, a.picture, &loaded, what);
        const auto base = pictSize.find(a.type);
        if (base == pictSize.end() || base->second.width != pic.width ||
            base->second.height != pic.height) {
            throw Error(what + ": size: differs from the type's base picture (or it has none)");
        }
        ByteWriter r;
        PutPixels(&r, pic, what);
        arrowIndex.U8(a.type), arrowIndex.U8(a.direction);
        arrowIndex.U32(arrowData.Add(r.bytes(), what));
    }

    const std::string dir = root + "/SIGNPOST/";
    MakeDirs(dir);
    WriteFile(dir + "SIGNDATA.IDX",
              OffsetTable(signAt, lastSign + 1, static_cast<uint32_t>(signData.w.size()), version));
    WriteFile(dir + "SIGNDATA.DAT", signData.w.bytes());
    WriteFile(dir + "SIGNPICT.IDX",
              OffsetTable(pictAt, 8, static_cast<uint32_t>(pictData.w.size()), version));
    WriteFile(dir + "SIGNPICT.DAT", pictData.w.bytes());
    WriteFile(dir + "SIGNARROW.IDX", arrowIndex.bytes());
    WriteFile(dir + "SIGNARROW.DAT", arrowData.w.bytes());
}

}  // namespace mapdb
