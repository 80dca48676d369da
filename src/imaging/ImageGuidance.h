// CImageGuidance: the host's one entry point for guidance pictures. A picture kind and number
// give the stored picture as an RGB565 bitmap in the host's buffer, with the direction names of
// exit and entrance pictures drawn in; sign posts come from CSearchSignData. A call without a
// buffer returns the size the kind needs.
#pragma once

#include <cstdint>

#include "auxdata/SearchStringProc.h"
#include "foundation/Export.h"
#include "foundation/StringConvProc.h"
#include "imaging/ImageFileIO.h"
#include "imaging/ImageProc.h"
#include "imaging/SearchImageProc.h"
#include "imaging/SearchSignData.h"

// One string of the guidance string database: the file selector and the string number.
struct NDB_GUIDE_STRING_ID {
    uint8_t bySelector;
    uint32_t dwID;
};
static_assert(sizeof(NDB_GUIDE_STRING_ID) == 8, "selector and number");

// One thread at a time per object; objects are independent apart from the settings record and
// the font engine (see CImageProc). Nothing is kept between calls.
class SP_EXPORT CImageGuidance {
public:
    CImageGuidance();
    ~CImageGuidance();

    // Kinds 0, 4, 8, 11, 12 (junction pictures), 9, 10 (ETC), 13 (exit, names drawn), 14 (sign
    // post: imageNumber is the sign, signParam the highlighted direction) and 15 (entrance,
    // names drawn). With a null `out` the buffer size the kind needs (0 for other kinds);
    // otherwise 1 with the bitmap in `out` and the picture size in width and height, or 0.
    // Names that are not found or cannot be drawn leave the bare picture (result 1). The last
    // argument is not used.
    unsigned long GetImage(unsigned char* out, unsigned short* width, unsigned short* height,
                           unsigned long kind, unsigned long imageNumber, unsigned long signParam,
                           NDB_GUIDE_STRING_ID name1, NDB_GUIDE_STRING_ID name2, unsigned short);

private:
    CSearchLBranchImageProc m_SearchLBranchImageProc;
    CSearchLGradeImageProc m_SearchLGradeImageProc;
    CSearchLInicImageProc m_SearchLInicImageProc;
    CSearchLExitImageProc m_SearchLExitImageProc;
    CSearchLEtcImageProc m_SearchLEtcImageProc;
    CSearchLEtc2ImageProc m_SearchLEtc2ImageProc;
    CSearchLProperJCTImageProc m_SearchLProperJCTImageProc;
    CSearchLRealcrossImageProc m_SearchLRealcrossImageProc;
    CSearchLEntranceImageProc m_SearchLEntranceImageProc;
    CImageFileIO m_ImageFileIO;
    CImageProc m_ImageProc;
    CSearchSignData m_SearchSignData;
    CSearchStringProc m_SearchStringProc;
    CStringConvProc m_StringConvProc;
};
