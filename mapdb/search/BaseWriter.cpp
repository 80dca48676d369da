// Base POI data and arrival point writers.
#include "BaseWriter.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "ContainerWriter.h"
#include "Position.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "search/GenreFilter.h"

namespace mapdb {

namespace {

constexpr size_t kPerContainer = 500;
constexpr size_t kTextArea = 384;

uint32_t GenreField(const PoiSource& poi, const std::string& what) {
    for (int level = 0; level < genre::kPackedLevels; ++level) {
        const uint32_t g = poi.genre[level];
        if (genre::Pack6(g) > genre::kStoredNone) {
            throw Error(what + ": genre code " + std::to_string(g) + " above 62");
        }
    }
    return genre::Pack24(poi.genre.data());
}

// The record's text: Shift_JIS strings, each NUL-terminated, ended by an empty string.
std::string RecordText(const PoiSource& poi, const std::string& what) {
    std::string text;
    for (const std::string& s : poi.texts) {
        std::string sjis = Utf8ToSjis(s);
        if (sjis.find('\0') != std::string::npos || sjis.find('\n') != std::string::npos) {
            throw Error(what + ": text may not hold NUL or line feed");
        }
        text += sjis;
        text += '\0';
    }
    if (poi.texts.empty()) text += '\0';  // an empty name
    text += '\0';
    if (text.size() >= kTextArea) {
        throw Error(what + ": text of " + std::to_string(text.size()) + " bytes does not fit");
    }
    return text;
}

}  // namespace

BaseResult WriteBase(const std::string& root, const std::vector<PoiSource>& pois,
                     const std::string& version) {
    BaseResult result;
    result.ids.resize(pois.size());
    result.readings.resize(pois.size());

    // Group by file number (first character of the normalised reading), then order each file
    // by reading; equal readings keep their input order.
    std::map<unsigned, std::vector<size_t>> files;
    for (size_t i = 0; i < pois.size(); ++i) {
        const std::string what = "POI " + std::to_string(i);
        result.readings[i] = NormalisedReading(ReadingToHalfKana(pois[i].reading));
        const std::string& key = result.readings[i];
        const unsigned first = key.empty() ? 0 : static_cast<unsigned char>(key[0]);
        if (first != 0xA6 && (first < 0xB1 || first > 0xDD)) {
            throw Error(what + ": reading \"" + pois[i].reading +
                        "\" does not begin with a kana of the base files");
        }
        files[first].push_back(i);
    }

    // The first file carries the data set's version, so it is written even when empty.
    files[0xB1];
    const std::string dir = root + "/BASE";
    MakeDirs(dir);
    for (auto& [fileNo, members] : files) {
        std::stable_sort(members.begin(), members.end(), [&](size_t a, size_t b) {
            return result.readings[a] < result.readings[b];
        });
        if (members.size() > 0xFFFFFF) throw Error("too many POIs in one base file");

        ContainerWriter files(version);
        for (size_t first = 0; first < members.size(); first += kPerContainer) {
            const size_t last = std::min(members.size(), first + kPerContainer);
            for (size_t r = first; r < last; ++r) {
                const PoiSource& poi = pois[members[r]];
                const std::string what = "POI " + std::to_string(members[r]);
                files.idx().U24(GenreField(poi, what));
                files.idx().U16(files.RecordOffset(what));
                ByteWriter& c = files.container();
                c.Str(RecordText(poi, what));
                c.U8(0x0A);
                c.U32(poi.tel);
                c.U24(StoredLon(poi.lonMs, what));
                c.U24(StoredLat(poi.latMs, what));
                c.U8(poi.attr);
                result.ids[members[r]] = static_cast<uint32_t>(fileNo << 24 | r);
            }
            files.CloseContainer("base file " + std::to_string(fileNo));
        }

        char name[16];
        snprintf(name, sizeof(name), "/B%03u", fileNo);
        WriteFile(dir + name + ".IDX", files.TakeIdx());
        WriteFile(dir + name + ".CNT", files.TakeCnt());
        WriteFile(dir + name + ".DAT", files.TakeDat());
    }
    return result;
}

void WriteArrival(const std::string& root, const std::vector<ArrivalSource>& sources,
                  const std::string& version) {
    struct Entry {
        uint32_t id;
        uint32_t number;
        uint32_t offset;
    };
    std::vector<Entry> entries;
    ByteWriter dat;
    dat.Raw(VersionHeader(version));
    for (const ArrivalSource& src : sources) {
        if (src.points.size() > 255) {
            throw Error("POI " + std::to_string(src.poiId) + " has more than 255 arrival points");
        }
        for (size_t k = 0; k < src.points.size(); ++k) {
            const ArrivalPoint& p = src.points[k];
            const std::string what =
                "arrival point " + std::to_string(k + 1) + " of POI " + std::to_string(src.poiId);
            std::string name = Utf8ToSjis(p.name);
            if (name.size() > 79 || name.find('\n') != std::string::npos) {
                throw Error(what + ": name longer than 79 bytes or holding a line feed");
            }
            if (dat.size() > 0xFFFFFF) throw Error("arrival data exceeds 16 MiB");
            entries.push_back(
                {src.poiId, static_cast<uint32_t>(k + 1), static_cast<uint32_t>(dat.size())});
            dat.Str(name);
            dat.U8(0x0A);
            dat.U24(StoredLon(p.lonMs, what));
            dat.U24(StoredLat(p.latMs, what));
            dat.U8(p.attr);
        }
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.id != b.id ? a.id < b.id : a.number < b.number;
    });
    for (size_t i = 1; i < entries.size(); ++i) {
        if (entries[i].id == entries[i - 1].id && entries[i].number == entries[i - 1].number) {
            throw Error("POI " + std::to_string(entries[i].id) + " is listed twice");
        }
    }
    ByteWriter idx;
    idx.Raw(VersionHeader(version));
    for (const Entry& e : entries) {
        idx.U32(e.id);
        idx.U8(e.number);
        idx.U24(e.offset);
    }
    MakeDirs(root + "/ARRIVAL");
    WriteFile(root + "/ARRIVAL/ARV.IDX", idx.bytes());
    WriteFile(root + "/ARRIVAL/ARV.DAT", dat.bytes());
}

}  // namespace mapdb
