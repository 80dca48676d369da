// Sign posts: the three index forms (offsets by sign number, by sign type, and records of type
// and direction), the records they point at, the arrow overlay and the names per sign type.
#include "imaging/SearchSignData.h"

#include <cstring>
#include <new>
#include <vector>

#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"
#include "imaging/PictureFormat.h"
#include "platform/Log.h"

namespace {

const char kFolder[] = "/SIGNPOST";
constexpr uint16_t kTransparent = 0xF81F;
constexpr size_t kNameSlot = 40;   // text bytes of a name; the slot holds a length byte too
constexpr size_t kSplitLine = 12;  // bytes copied of each line of a split name
constexpr uint64_t kArrowHeader = 16;
constexpr uint64_t kArrowRecord = 6;  // u8 type, u8 direction, u32 offset

// A whole file, or the bytes [start, start + length) of one (length 0: to the end). Reads are
// never sized beyond what the file holds past `start`.
bool ReadFile(const char* name, uint64_t start, uint64_t length, std::vector<uint8_t>* out) {
    io::FileCloser file(picture::Open(kFolder, name));
    if (file.fd() < 0) return false;
    const int64_t size = io::FileSize(file.fd());
    if (size <= 0 || static_cast<uint64_t>(size) <= start) return false;
    const uint64_t rest = static_cast<uint64_t>(size) - start;
    if (length == 0 || length > rest) length = rest;
    if (length > (uint64_t{1} << 30)) return false;  // no sign file comes near this
    out->assign(length, 0);
    const long got = io::ReadAt(file.fd(), out->data(), length, start);
    if (got <= 0) return false;
    out->resize(static_cast<size_t>(got));
    return true;
}

// A record addressed by a table of u32 start offsets: entry `slot` at byte 4 * slot. The next
// entry is its end when it lies inside the table, else the record runs to the end of the file.
bool ReadByOffsetTable(const char* indexName, const char* dataName, uint64_t slot,
                       std::vector<uint8_t>* record) {
    std::vector<uint8_t> index;
    if (!ReadFile(indexName, 0, 0, &index) || index.size() <= 4 * slot ||
        4 * slot + 4 > index.size()) {
        return false;
    }
    const uint32_t start = bytes::ReadU32LE(&index[4 * slot]);
    const uint32_t end = 4 * slot + 8 <= index.size() ? bytes::ReadU32LE(&index[4 * slot + 4]) : 0;
    // An end below the start wraps to a length past the file: the rest of the file, as for 0.
    return ReadFile(dataName, start, end != 0 ? static_cast<uint32_t>(end - start) : 0, record);
}

// A little-endian reader that refuses to run past the end of its record.
class Cursor {
public:
    explicit Cursor(const std::vector<uint8_t>& b) : b_(b) {}
    bool U8(uint8_t* v) { return Take(1) && (*v = b_[at_ - 1], true); }
    bool U16(uint16_t* v) { return Take(2) && (*v = bytes::ReadU16LE(&b_[at_ - 2]), true); }
    const uint8_t* Bytes(size_t n) { return Take(n) ? &b_[at_ - n] : nullptr; }

private:
    bool Take(size_t n) {
        if (n > b_.size() - at_) return false;
        at_ += n;
        return true;
    }
    const std::vector<uint8_t>& b_;
    size_t at_ = 0;
};

// width, height, then width * height pixels into a new array.
bool TakePixels(Cursor* c, uint16_t* width, uint16_t* height, unsigned char** pixels) {
    if (!c->U16(width) || !c->U16(height)) return false;
    const size_t n = size_t{*width} * *height * 2;
    const uint8_t* p = c->Bytes(n);
    if (p == nullptr) return false;
    *pixels = new (std::nothrow) unsigned char[n + 1];
    if (*pixels == nullptr) return false;
    memcpy(*pixels, p, n);
    return true;
}

struct SignRecord {
    uint8_t type = 0;
    uint8_t count = 0;
    unsigned char names[3][kNameSlot + 1] = {};
};

// Type, name count and names; more than three names or a name over 40 bytes is refused.
bool ParseSign(const std::vector<uint8_t>& bytes, SignRecord* sign) {
    Cursor c(bytes);
    if (!c.U8(&sign->type) || !c.U8(&sign->count) || sign->count > 3) return false;
    for (uint8_t i = 0; i < sign->count; ++i) {
        uint8_t length;
        const uint8_t* text;
        if (!c.U8(&length) || length > kNameSlot || (text = c.Bytes(length)) == nullptr) {
            return false;
        }
        memcpy(sign->names[i], text, length);
    }
    return true;
}

unsigned NameSlots(uint8_t type) {
    return type >= 1 && type <= 3 ? 3 : 2;
}

}  // namespace

CSignPict::CSignPict()
    : m_wWidth(0), m_wHeight(0), m_pbyPixels(nullptr), m_byPointCount(0), m_pwPoints(nullptr) {}
CSignPict::~CSignPict() {
    Flush();
}
void CSignPict::Flush() {
    delete[] m_pbyPixels;
    delete[] m_pwPoints;
    m_pbyPixels = nullptr, m_pwPoints = nullptr;
    m_wWidth = 0, m_wHeight = 0, m_byPointCount = 0;
}

CSignArrow::CSignArrow() : m_wWidth(0), m_wHeight(0), m_pbyPixels(nullptr) {}
CSignArrow::~CSignArrow() {
    Flush();
}
void CSignArrow::Flush() {
    delete[] m_pbyPixels;
    m_pbyPixels = nullptr;
    m_wWidth = 0, m_wHeight = 0;
}

CSearchSignData::CSearchSignData() {}
CSearchSignData::~CSearchSignData() {}

unsigned long CSearchSignData::GetSignPict(CSignPict* pict, unsigned char signType) {
    if (pict == nullptr || signType < 1 || signType > 7) return 0;
    std::vector<uint8_t> record;
    if (!ReadByOffsetTable("SIGNPICT.IDX", "SIGNPICT.DAT", signType + 3u, &record)) return 0;
    pict->Flush();
    Cursor c(record);
    uint8_t points;
    if (!c.U8(&points)) return 0;
    const uint8_t* pairs = c.Bytes(size_t{points} * 4);
    if (pairs == nullptr) return 0;
    uint16_t width, height;
    unsigned char* pixels = nullptr;
    if (!TakePixels(&c, &width, &height, &pixels)) return 0;
    uint16_t* kept = new (std::nothrow) uint16_t[size_t{points} * 2 + 1];
    if (kept == nullptr) {
        delete[] pixels;
        return 0;
    }
    for (size_t i = 0; i < size_t{points} * 2; ++i) kept[i] = bytes::ReadU16LE(pairs + 2 * i);
    pict->m_wWidth = width, pict->m_wHeight = height, pict->m_pbyPixels = pixels;
    pict->m_byPointCount = points, pict->m_pwPoints = kept;
    return 1;
}

unsigned long CSearchSignData::GetSignArrow(CSignArrow* arrow, unsigned char signType,
                                            unsigned char direction) {
    if (arrow == nullptr || signType < 1 || signType > 7 || direction < 1 || direction > 3) {
        return 0;
    }
    std::vector<uint8_t> index;
    if (!ReadFile("SIGNARROW.IDX", 0, 0, &index)) return 0;
    uint32_t start = 0, end = 0;
    for (uint64_t at = kArrowHeader; at + kArrowRecord <= index.size(); at += kArrowRecord) {
        if (index[at] != signType || index[at + 1] != direction) continue;
        start = bytes::ReadU32LE(&index[at + 2]);
        if (at + 2 * kArrowRecord <= index.size()) end = bytes::ReadU32LE(&index[at + 8]);
        break;
    }
    if (start == 0 && end == 0) return 0;
    std::vector<uint8_t> record;
    if (!ReadFile("SIGNARROW.DAT", start, end != 0 ? static_cast<uint32_t>(end - start) : 0,
                  &record)) {
        return 0;
    }
    arrow->Flush();
    Cursor c(record);
    uint16_t width, height;
    unsigned char* pixels = nullptr;
    if (!TakePixels(&c, &width, &height, &pixels)) return 0;
    arrow->m_wWidth = width, arrow->m_wHeight = height, arrow->m_pbyPixels = pixels;
    return 1;
}

unsigned long CSearchSignData::SearchSignData(unsigned char* out, unsigned short* width,
                                              unsigned short* height, unsigned long signNumber,
                                              unsigned char direction) {
    if (signNumber == 0 || out == nullptr || width == nullptr || height == nullptr) return 0;
    std::vector<uint8_t> bytes;
    SignRecord sign;
    if (!ReadByOffsetTable("SIGNDATA.IDX", "SIGNDATA.DAT", uint64_t{signNumber} + 3, &bytes) ||
        !ParseSign(bytes, &sign)) {
        return 0;
    }
    CSignPict pict;
    if (GetSignPict(&pict, sign.type) == 0) return 0;
    const size_t pixelCount = size_t{pict.m_wWidth} * pict.m_wHeight;
    if (pixelCount * 2 + 66 > kBitmapSize) return 0;  // the bitmap would not fit `out`
    *width = pict.m_wWidth;
    *height = pict.m_wHeight;
    std::vector<uint16_t> work(pixelCount + 1, 0);
    memcpy(work.data(), pict.m_pbyPixels, pixelCount * 2);

    CSignArrow arrow;
    if (GetSignArrow(&arrow, sign.type, direction) != 0) {
        const size_t arrowCount = size_t{arrow.m_wWidth} * arrow.m_wHeight;
        for (size_t i = 0; i < arrowCount && i < pixelCount; ++i) {
            const uint16_t p = bytes::ReadU16LE(arrow.m_pbyPixels + 2 * i);
            if (p != kTransparent) work[i] = p;
        }
    }

    unsigned char* pixels = reinterpret_cast<unsigned char*>(work.data());
    for (unsigned i = 0; i < NameSlots(sign.type); ++i) {
        unsigned char* text = sign.names[i];
        if (text[0] == 0) continue;
        unsigned char text1[kNameSlot + 1] = {}, text2[kNameSlot + 1] = {};
        bool two = false;
        if (i == 0 && sign.type <= 3) {
            memcpy(text1, text, kNameSlot);  // the first name of types 1-3 is never split
        } else {
            unsigned char* first = nullptr;
            unsigned char* second = nullptr;
            SplitText(&first, &second, text, 0);
            two = first != nullptr && second != nullptr;
            // Two lines: the name's first line goes above (text2), its second at the anchor.
            if (first != nullptr)
                strncpy(reinterpret_cast<char*>(two ? text2 : text1),
                        reinterpret_cast<char*>(first), kSplitLine);
            if (two)
                strncpy(reinterpret_cast<char*>(text1), reinterpret_cast<char*>(second),
                        kSplitLine);
            delete[] first;
            delete[] second;
        }
        if (m_ImageProc.MergeSignDataImage(width, height, pixels, text1, text2, sign.type, i,
                                           direction, two) == 0) {
            platform::Log(4, "DatabaseEngine",
                          "<LS>IMAGE    ERR: CSearchSignData::SearchSignData: "
                          "MergeSignDataImage - FALSE");
        }
    }
    MakeBitmapRGB565WithHeader(out, *width, *height, pixels, 1);
    return 1;
}
