// Picture index lookups: the closed-range signed binary search over 14-byte records, one
// positioned read per probe, with the block offset turned absolute (+16) on a hit.
#include "imaging/SearchImageProc.h"

#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"
#include "imaging/PictureFormat.h"

namespace {

constexpr char kGuidance[] = "/GUIDANCE";
constexpr char kSapaInfo[] = "/SAPAINFO";

unsigned long LookUp(const char* folder, const char* file, const char* name, unsigned long* offset,
                     unsigned long* size) {
    if (name == nullptr || offset == nullptr || size == nullptr) return 0;
    io::FileCloser index(picture::Open(folder, file));
    if (index.fd() < 0) return 0;
    // A size that cannot be queried reads as an empty index.
    const int64_t fileSize = io::FileSize(index.fd());
    if (fileSize < 0) return 0;
    const uint64_t n = table::EntryCount(static_cast<uint64_t>(fileSize), picture::kRecordSize,
                                         picture::kHeaderSize);
    // The key ends at the name's terminator: stored keys are digits, so the bytes a six-byte
    // compare would take from behind a shorter name could never make it match or reorder it.
    unsigned char key[picture::kKeySize] = {};
    for (size_t i = 0; i < picture::kKeySize && name[i] != 0; ++i) key[i] = name[i];
    unsigned char record[picture::kRecordSize];
    const index_search::Result r = index_search::FindClosed(n, [&](uint64_t i) {
        if (!io::ReadExactly(index.fd(), record, sizeof(record),
                             table::EntryOffset(i, picture::kRecordSize, picture::kHeaderSize)))
            return index_search::Probe::kUnreadable;
        return index_search::FromCompare(memcmp(key, record, picture::kKeySize));
    });
    if (!r.found) return 0;
    // The stored offset counts from the end of the image file's header; wraps like the u32 sum.
    *offset = static_cast<unsigned long>(bytes::ReadU32LE(record + picture::kOffsetAt)) +
              static_cast<unsigned long>(picture::kHeaderSize);
    *size = bytes::ReadU32LE(record + picture::kSizeAt);
    return 1;
}

}  // namespace

CSearchImageProc::CSearchImageProc() {}
CSearchImageProc::~CSearchImageProc() {}

#define PICTURE_INDEX_CLASS(Class, folder, file)                                              \
    Class::Class() {}                                                                         \
    Class::~Class() {}                                                                        \
    unsigned long Class::LoadIndex(char* name, unsigned long* offset, unsigned long* size) {  \
        return LookUp(folder, file, name, offset, size);                                      \
    }                                                                                         \
    unsigned long Class::SearchProc(char* name, unsigned long* offset, unsigned long* size) { \
        return LoadIndex(name, offset, size);                                                 \
    }

PICTURE_INDEX_CLASS(CSearchLBranchImageProc, kGuidance, "BRANCH.IDX")
PICTURE_INDEX_CLASS(CSearchLEtcImageProc, kGuidance, "ETC.IDX")
PICTURE_INDEX_CLASS(CSearchLEtc2ImageProc, kGuidance, "ETC2.IDX")
PICTURE_INDEX_CLASS(CSearchLGradeImageProc, kGuidance, "GRADE.IDX")
PICTURE_INDEX_CLASS(CSearchLInicImageProc, kGuidance, "INIC.IDX")
PICTURE_INDEX_CLASS(CSearchLProperJCTImageProc, kGuidance, "PROPERJCT.IDX")
PICTURE_INDEX_CLASS(CSearchLRealcrossImageProc, kGuidance, "REALCROSS.IDX")
PICTURE_INDEX_CLASS(CSearchLExitImageProc, kGuidance, "EXIT.IDX")
PICTURE_INDEX_CLASS(CSearchLEntranceImageProc, kGuidance, "ENTRANCE.IDX")
PICTURE_INDEX_CLASS(CSearchSAPAMapImageProc, kSapaInfo, "SAPA.IDX")

#undef PICTURE_INDEX_CLASS
