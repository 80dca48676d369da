// Guidance picture assembly: the kind table (index, image file, reader, buffer size), the
// picture read, and the names of exit and entrance pictures fetched from the string database.
#include "imaging/ImageGuidance.h"

#include <cstdio>
#include <cstring>

#include "platform/Log.h"

namespace {

enum class Reader { kNone, kBranch, kEtc, kSign };

struct KindRow {
    Reader reader;
    const char* word;    // the image file's stem
    unsigned long size;  // the buffer the kind needs
};

// Rows by kind 0-15; kinds 1, 2, 3, 5, 6 and 7 are not served.
const KindRow kKinds[16] = {
    {Reader::kBranch, "INIC", 326466},
    {Reader::kNone, nullptr, 0},
    {Reader::kNone, nullptr, 0},
    {Reader::kNone, nullptr, 0},
    {Reader::kBranch, "BRANCH", 326466},
    {Reader::kNone, nullptr, 0},
    {Reader::kNone, nullptr, 0},
    {Reader::kNone, nullptr, 0},
    {Reader::kBranch, "GRADE", 326466},
    {Reader::kEtc, "ETC", 54066},
    {Reader::kEtc, "ETC2", 54066},
    {Reader::kBranch, "REALCROSS", 326466},
    {Reader::kBranch, "PROPERJCT", 326466},
    {Reader::kBranch, "EXIT", 326466},
    {Reader::kSign, nullptr, 240066},
    {Reader::kBranch, "ENTRANCE", 326466},
};

constexpr unsigned long kExit = 13, kEntrance = 15;
constexpr size_t kNameSize = 32;

}  // namespace

CImageGuidance::CImageGuidance() {}
CImageGuidance::~CImageGuidance() {}

unsigned long CImageGuidance::GetImage(unsigned char* out, unsigned short* width,
                                       unsigned short* height, unsigned long kind,
                                       unsigned long imageNumber, unsigned long signParam,
                                       NDB_GUIDE_STRING_ID name1, NDB_GUIDE_STRING_ID name2,
                                       unsigned short) {
    char key[16] = {};
    snprintf(key, sizeof(key), "%06d", static_cast<int>(imageNumber));
    if (kind > 15) return 0;
    const KindRow& row = kKinds[kind];
    if (row.reader == Reader::kNone) return 0;
    if (out == nullptr) return row.size;
    if (row.reader == Reader::kSign) {
        return m_SearchSignData.SearchSignData(out, width, height, imageNumber,
                                               static_cast<unsigned char>(signParam)) != 0
                   ? 1
                   : 0;
    }

    unsigned long offset = 0, size = 0;
    unsigned long found = 0;
    switch (kind) {
        case 0:
            found = m_SearchLInicImageProc.SearchProc(key, &offset, &size);
            break;
        case 4:
            found = m_SearchLBranchImageProc.SearchProc(key, &offset, &size);
            break;
        case 8:
            found = m_SearchLGradeImageProc.SearchProc(key, &offset, &size);
            break;
        case 9:
            found = m_SearchLEtcImageProc.SearchProc(key, &offset, &size);
            break;
        case 10:
            found = m_SearchLEtc2ImageProc.SearchProc(key, &offset, &size);
            break;
        case 11:
            found = m_SearchLRealcrossImageProc.SearchProc(key, &offset, &size);
            break;
        case 12:
            found = m_SearchLProperJCTImageProc.SearchProc(key, &offset, &size);
            break;
        case 13:
            found = m_SearchLExitImageProc.SearchProc(key, &offset, &size);
            break;
        default:
            found = m_SearchLEntranceImageProc.SearchProc(key, &offset, &size);
            break;
    }
    if (found == 0) return 0;
    char file[256] = {};
    snprintf(file, sizeof(file), "%s%s", row.word, ".IMG");
    const unsigned long read =
        row.reader == Reader::kEtc
            ? m_ImageFileIO.ReadLEtcBMP(file, &offset, &size, width, height, out)
            : m_ImageFileIO.ReadLBranchBMP(file, &offset, &size, width, height, out);
    if (kind != kExit && kind != kEntrance) return read != 0 ? 1 : 0;
    if (read == 0) return 0;

    unsigned char first[kNameSize] = {}, second[kNameSize] = {};
    const bool got1 = m_SearchStringProc.SearchProc(first, name1.bySelector, name1.dwID, 0) != 0;
    const bool got2 = m_SearchStringProc.SearchProc(second, name2.bySelector, name2.dwID, 0) != 0;
    if (got1 || got2) {
        // The whole bitmap goes in, header included: the names land 33 pixels before their
        // anchors, deliberately (existing pictures are laid out for it).
        if (kind == kExit) {
            if (m_ImageProc.MergeImage(width, height, out, first, second) == 0) {
                platform::Log(4, "DatabaseEngine",
                              "<LS>IMAGE    ERR: CImageGuidance::GetImage: MergeExitImage - FALSE");
            }
        } else if (m_ImageProc.MergeEntranceImage(width, height, out, first, second) == 0) {
            platform::Log(4, "DatabaseEngine",
                          "<LS>IMAGE    ERR: CImageGuidance::GetImage: MergeEntranceImage - FALSE");
        }
    }
    return 1;  // a picture without names is better than none
}
