// Guidance string database writer and the version-only data sets.
#include "StringWriter.h"

#include <algorithm>
#include <cstdio>

#include "PackWriter.h"
#include "TextTools.h"

namespace mapdb {

void WriteStringDb(const std::string& root, uint8_t selector,
                   const std::vector<GuidanceString>& strings, StringEncoding encoding,
                   const std::string& version) {
    std::vector<size_t> order(strings.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return strings[a].number < strings[b].number; });

    Bytes tagged = VersionHeader(version);
    const char* tag = encoding == StringEncoding::kUtf8 ? "UTF8" : "SJIS";
    std::copy(tag, tag + 4, tagged.begin() + 12);
    ByteWriter index, data;
    index.Raw(VersionHeader(version));
    data.Raw(tagged);
    for (size_t k = 0; k < order.size(); ++k) {
        const GuidanceString& s = strings[order[k]];
        const std::string what = "STRINGDB string " + std::to_string(order[k]) + " (number " +
                                 std::to_string(s.number) + ")";
        if (s.number == 0) throw Error(what + ": number: counted from 1");
        if (k > 0 && strings[order[k - 1]].number == s.number) {
            throw Error(what + ": number: given twice");
        }
        if (s.text.empty() || s.text.find('\0') != std::string::npos) {
            throw Error(what + ": text: empty or holding NUL");
        }
        const std::string stored = encoding == StringEncoding::kUtf8 ? s.text : Utf8ToSjis(s.text);
        if (data.size() + stored.size() > UINT32_MAX) throw Error(what + ": the file passes 4 GiB");
        index.U16(s.attribute), index.U32(s.number - 1), index.U32(s.extra);
        index.U32(static_cast<uint32_t>(data.size()));
        data.Str(stored);
    }
    char name[32];
    snprintf(name, sizeof(name), "/STRINGDB/GDESTR%02X", selector);
    MakeDirs(root + "/STRINGDB");
    WriteFile(root + name + ".IDX", index.bytes());
    WriteFile(root + name + ".DAT", data.bytes());
}

void WriteVersionOnlySets(const std::string& root, const std::string& version) {
    MakeDirs(root + "/INTERSECTION");
    WriteFile(root + "/INTERSECTION/INTERSECTION.DAT", VersionHeader(version));
    PackWriter voices;  // an empty pack folder: its .DAT is the version header alone
    voices.SetDatHeader(VersionHeader(version));
    voices.Write(root, "VOLIST");
    MakeDirs(root + "/CHANNEL");
    for (const char* name : {"AM", "FM", "TV", "REMOCONCHLIST"}) {
        WriteFile(root + "/CHANNEL/" + name + ".BIN", VersionHeader(version));
    }
}

}  // namespace mapdb
