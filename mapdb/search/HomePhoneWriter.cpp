// Household and company directory writer.
#include "HomePhoneWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

#include "BlockEncoders.h"
#include "PackWriter.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "search/PhoneKey.h"

namespace mapdb {

namespace {

constexpr size_t kPerContainer = 1000;
constexpr size_t kMaxReading = 129;  // the reader fails longer readings
constexpr size_t kMaxText = 382;     // szName keeps room for the two NULs that end it

// The key the reader computes for `number`, refusing every number it could not find.
uint32_t Key(const std::string& number, const std::string& what) {
    const std::string field = what + ": number \"" + number + "\" ";
    if (number.empty() || number.size() > phone_key::kDigits ||
        number.find_first_not_of("0123456789") != std::string::npos) {
        throw Error(field + "is not 1 to 12 digits");
    }
    unsigned char typed[phone_key::kDigits + 1] = {};
    memcpy(typed, number.data(), number.size());
    const phone_key::Key key = phone_key::Directory(typed);
    if (!key.accepted) throw Error(field + "is refused by the search (no leading 0 or 010-040)");
    // The exact value: the folded first three digits (through the reader's own fold), then the
    // rest; the reader's 32-bit key must equal it.
    uint64_t exact = key.value;
    if (number.size() > 3) {
        unsigned char head[phone_key::kDigits + 1] = {};
        memcpy(head, typed, 3);
        exact = phone_key::Directory(head).value;
        for (size_t i = 3; i < number.size(); ++i) exact = exact * 10 + (number[i] - '0');
    }
    if (exact != key.value) throw Error(field + "does not fit a 32-bit key");
    return key.value;
}

std::string Line(const std::string& s, size_t max, const std::string& what, const char* field) {
    if (s.size() > max || s.find('\n') != std::string::npos || s.find('\0') != std::string::npos) {
        throw Error(what + ": " + field + " longer than " + std::to_string(max) +
                    " bytes or holding a line feed or NUL");
    }
    return s;
}

uint32_t Coordinate(bool (*narrow)(uint32_t, uint32_t*), uint32_t ms, const std::string& what,
                    const char* field) {
    uint32_t v;
    if (!narrow(ms, &v)) {
        throw Error(what + ": " + field + " " + std::to_string(ms) +
                    " ms is outside the stored range");
    }
    return v;
}

void WriteDirectory(PackWriter* pack, const char* prefix, const char* directory,
                    const std::vector<HomePhoneEntry>& entries, const std::string& version) {
    std::vector<uint32_t> keys(entries.size());
    std::map<uint32_t, std::vector<size_t>> files;  // selector -> entries
    for (size_t i = 0; i < entries.size(); ++i) {
        keys[i] = Key(entries[i].number, std::string(directory) + " " + std::to_string(i));
        files[phone_key::Selector(keys[i])].push_back(i);
    }
    for (auto& [selector, members] : files) {
        std::stable_sort(members.begin(), members.end(),
                         [&](size_t a, size_t b) { return keys[a] < keys[b]; });
        ByteWriter idx;
        ByteWriter cnt;
        ByteWriter dat;
        idx.Raw(VersionHeader(version));
        cnt.Raw(VersionHeader(version));
        dat.Raw(VersionHeader(version));
        for (size_t first = 0; first < members.size(); first += kPerContainer) {
            ByteWriter container;
            const size_t last = std::min(members.size(), first + kPerContainer);
            for (size_t r = first; r < last; ++r) {
                const HomePhoneEntry& e = entries[members[r]];
                const std::string what = std::string(directory) + " " + std::to_string(members[r]);
                if (container.size() > 0xFFFF) {
                    throw Error(what + ": record offset " + std::to_string(container.size()) +
                                " exceeds 16 bits; shorten the texts");
                }
                idx.U32(keys[members[r]]);
                idx.U16(static_cast<uint32_t>(container.size()));
                container.Str(Line(ReadingToHalfKana(e.reading), kMaxReading, what, "reading"));
                container.U8(0x0A);
                container.Str(Line(Utf8ToSjis(e.text), kMaxText, what, "text"));
                container.U8(0x0A);
                container.U24(Coordinate(bytes::NarrowLongitude, e.lonMs, what, "longitude"));
                container.U24(Coordinate(bytes::NarrowLatitude, e.latMs, what, "latitude"));
                container.U8(e.attr);
            }
            if (dat.size() > 0xFFFFFF) {
                throw Error(std::string(directory) + " " + std::to_string(members[first]) +
                            ": container offset " + std::to_string(dat.size()) +
                            " exceeds 24 bits");
            }
            cnt.U24(static_cast<uint32_t>(dat.size()));
            dat.Raw(EncodeLzmaBlock(container.bytes()));
        }
        // No end entry: the last container runs to the end of the data file.
        char name[32];
        for (auto [ext, data] :
             {std::pair<const char*, ByteWriter*>{"idx", &idx}, {"cnt", &cnt}, {"dat", &dat}}) {
            snprintf(name, sizeof(name), "%s%03u.%s", prefix, static_cast<unsigned>(selector), ext);
            pack->Add(name, data->Take());
        }
    }
}

}  // namespace

void WriteHomePhone(const std::string& root, const std::vector<HomePhoneEntry>& households,
                    const std::vector<HomePhoneEntry>& companies, const std::string& version) {
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    WriteDirectory(&pack, "H", "household", households, version);
    WriteDirectory(&pack, "CP", "company", companies, version);
    pack.Write(root, "HOMEPHONE");
}

}  // namespace mapdb
