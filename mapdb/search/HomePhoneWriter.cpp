// Household and company directory writer.
#include "HomePhoneWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

#include "ContainerWriter.h"
#include "PackWriter.h"
#include "PhoneNumber.h"
#include "Position.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "search/PhoneKey.h"

namespace mapdb {

namespace {

constexpr size_t kPerContainer = 1000;
constexpr size_t kMaxReading = 129;  // the reader fails longer readings
constexpr size_t kMaxText = 382;     // szName keeps room for the two NULs that end it

std::string Line(const std::string& s, size_t max, const std::string& what, const char* field) {
    if (s.size() > max || s.find('\n') != std::string::npos || s.find('\0') != std::string::npos) {
        throw Error(what + ": " + field + " longer than " + std::to_string(max) +
                    " bytes or holding a line feed or NUL");
    }
    return s;
}

void WriteDirectory(PackWriter* pack, const char* prefix, const char* directory,
                    const std::vector<HomePhoneEntry>& entries, const std::string& version) {
    std::vector<uint32_t> keys(entries.size());
    std::map<uint32_t, std::vector<size_t>> files;  // selector -> entries
    for (size_t i = 0; i < entries.size(); ++i) {
        keys[i] = CheckedPhoneKey(entries[i].number, phone_key::Directory,
                                  std::string(directory) + " " + std::to_string(i));
        files[phone_key::Selector(keys[i])].push_back(i);
    }
    for (auto& [selector, members] : files) {
        std::stable_sort(members.begin(), members.end(),
                         [&](size_t a, size_t b) { return keys[a] < keys[b]; });
        ContainerWriter files(version);
        for (size_t first = 0; first < members.size(); first += kPerContainer) {
            const size_t last = std::min(members.size(), first + kPerContainer);
            for (size_t r = first; r < last; ++r) {
                const HomePhoneEntry& e = entries[members[r]];
                const std::string what = std::string(directory) + " " + std::to_string(members[r]);
                files.idx().U32(keys[members[r]]);
                files.idx().U16(files.RecordOffset(what));
                ByteWriter& c = files.container();
                c.Str(Line(ReadingToHalfKana(e.reading), kMaxReading, what, "reading"));
                c.U8(0x0A);
                c.Str(Line(Utf8ToSjis(e.text), kMaxText, what, "text"));
                c.U8(0x0A);
                c.U24(StoredLon(e.lonMs, what));
                c.U24(StoredLat(e.latMs, what));
                c.U8(e.attr);
            }
            files.CloseContainer(std::string(directory) + " " + std::to_string(members[first]));
        }
        char name[32];
        for (auto [ext, data] : {std::pair<const char*, Bytes>{"idx", files.TakeIdx()},
                                 {"cnt", files.TakeCnt()},
                                 {"dat", files.TakeDat()}}) {
            snprintf(name, sizeof(name), "%s%03u.%s", prefix, static_cast<unsigned>(selector), ext);
            pack->Add(name, std::move(data));
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
