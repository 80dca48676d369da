// Facility details writer: sorted introduction index and texts, sorted attribute table.
#include "AddInfoWriter.h"

#include <algorithm>
#include <functional>

#include "PackWriter.h"
#include "TextTools.h"

namespace mapdb {

namespace {

constexpr size_t kTextLimit = 768;  // the readers' text buffers, terminator included
constexpr uint32_t kMaxOffset = 0xFFFFFF;
constexpr uint32_t kMaxIdSpan = 0x7FFFFFFF;

std::string SjisLine(const std::string& utf8, const std::string& what) {
    std::string sjis;
    try {
        sjis = Utf8ToSjis(utf8);
    } catch (const Error& e) {
        throw Error(what + ": " + e.what());
    }
    if (sjis.find('\n') != std::string::npos || sjis.find('\0') != std::string::npos) {
        throw Error(what + ": \"" + utf8 + "\" holds a line feed or NUL");
    }
    if (sjis.size() >= kTextLimit) {
        throw Error(what + ": \"" + utf8 + "\" is " + std::to_string(sjis.size()) +
                    " bytes in Shift_JIS, the limit is 767");
    }
    return sjis;
}

// Indices of `n` records sorted by id; Error for an id given twice or a span the signed
// comparison of the readers cannot order.
std::vector<size_t> SortedById(size_t n, const std::function<uint32_t(size_t)>& id,
                               const std::string& file) {
    std::vector<size_t> order(n);
    for (size_t i = 0; i < n; ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return id(a) < id(b); });
    for (size_t k = 1; k < n; ++k) {
        if (id(order[k]) == id(order[k - 1])) {
            throw Error(file + " record " + std::to_string(order[k]) +
                        ": id: " + std::to_string(id(order[k])) + " given twice");
        }
    }
    if (n > 1 && id(order[n - 1]) - id(order[0]) > kMaxIdSpan) {
        throw Error(file + " record " + std::to_string(order[n - 1]) +
                    ": id: " + std::to_string(id(order[n - 1])) + " lies 2^31 or more above id " +
                    std::to_string(id(order[0])));
    }
    return order;
}

}  // namespace

void WriteAddInfo(const std::string& root, const std::vector<IntroSource>& intros,
                  const std::vector<AddFunctionSource>& functions, const std::string& version) {
    ByteWriter index, texts, attrs;
    index.Raw(VersionHeader(version));
    for (size_t i : SortedById(
             intros.size(), [&](size_t k) { return intros[k].id; }, "I.idx")) {
        const IntroSource& s = intros[i];
        const std::string what =
            "I.idx record " + std::to_string(i) + " (id " + std::to_string(s.id) + ")";
        const std::string open = SjisLine(s.openTime, what + ": openTime");
        const std::string close = SjisLine(s.closeDay, what + ": closeDay");
        if (texts.size() > kMaxOffset) {
            throw Error(what + ": offset: I.dat passes the 3-byte offset limit");
        }
        index.U32(s.id), index.U24(static_cast<uint32_t>(texts.size()));
        texts.Str(open), texts.U8('\n'), texts.Str(close), texts.U8('\n');
    }
    attrs.Raw(VersionHeader(version));
    for (size_t i : SortedById(
             functions.size(), [&](size_t k) { return functions[k].id; }, "AF.dat")) {
        attrs.U32(functions[i].id), attrs.U8(functions[i].bits);
    }
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    pack.Add("I.idx", index.Take());
    pack.Add("I.dat", texts.Take());
    pack.Add("AF.dat", attrs.Take());
    pack.Write(root, "ADDINFO");
}

}  // namespace mapdb
