// The shared library exports its interface and nothing else: the dynamic symbol table (nm -DC)
// holds the interface classes, the plain-C decoders and the settings globals, and none of the
// helpers the library's readers share.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string DynamicSymbols() {
    const std::string cmd =
        std::string("nm -DC --defined-only '") + SEARCHPROC_SHARED_LIBRARY + "'";
    std::string out;
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof(buf), p)) > 0;) out.append(buf, n);
        pclose(p);
    }
    return out;
}

TEST(ExportedSymbols, InterfacePresentHelpersAbsent) {
    const std::string symbols = DynamicSymbols();
    ASSERT_NE(std::string::npos, symbols.find("CFileIO::LoadFile(int*")) << symbols.substr(0, 500);
    for (const char* present :
         {"CCommonProc::SetPath(char const*)",
          "CPackFolderIO::OpenPackFile(char*)",
          "CMarlinDataProc::Decode(void*, void*, unsigned long)",
          "LzmaRamDecompress",
          "LzmaRamGetUncompressedSize",
          "CStringConvProc::SjisToUtf8(unsigned short)",
          "CRangeCoderProc::InitRangeCoder()",
          "g_tcharPath",
          "g_blEnableDB",
          "g_stConvTbl",
          "CSearchPhoneProc::SearchPhoneProc(unsigned long*, unsigned long*, unsigned char*)",
          "CIconID::QSort(int, int)",
          "CSearchZipcodeProc::GetData(CLocationData*, unsigned char*)",
          "CSearchVicinityPrefDataProc::GetListByiPCID(PREF_DATA*, unsigned long)",
          "CAddressData::SetData(unsigned char*, unsigned long)",
          "CConvAddressProc::ConvAddressProc(unsigned long, unsigned long, unsigned long)",
          "SAPAInfo::GetSAPAData(CSAPAData*, char const*)",
          "CSearchAlliedParkingProc::GetList(CLocationData*, unsigned long, unsigned long)",
          "CSearchIntroProc::GetOpenTimeUni(char*)",
          "CSearchAddFunctionProc::GetData(unsigned long*, unsigned long)",
          "CVersionProc::GetVersion(unsigned char*, unsigned long)",
          "CVersionProc::CheckVersion(unsigned char*, unsigned char*, char*)",
          "CSearchStringProc::SearchProc(unsigned char**, unsigned char*, unsigned long*, "
          "unsigned char, unsigned long)",
          "CSearchStringProc::SearchProc(char*, char*, char*, unsigned char, unsigned long, "
          "unsigned char, unsigned char, unsigned char)",
          "CSearchRoadNameProc::SearchProc(unsigned char**, unsigned long*, unsigned char, "
          "unsigned short, unsigned long)",
          "CSearchRoadNumberProc::GetRoadNum(unsigned char**, unsigned char, unsigned long, "
          "unsigned long*)",
          "CParseStringsProc::SplitText(unsigned char**, unsigned char**, unsigned char*, "
          "unsigned char)",
          "AUIFontDataCtrl::init(char const*, NDB_OLFA_FONT_CASH_INFO const*)",
          "AUIFontDataCtrl::drawStringOnImage(unsigned short*, unsigned short*, unsigned char*, "
          "VELADRAWIMAGESTRINGS*)",
          "AUIFontDataCtrl::getStringRect(unsigned short*, tagRECT&)",
          "CStrBlit::StrBlit4GScale(unsigned char*, unsigned long, unsigned long, unsigned char*, "
          "unsigned long, unsigned long, unsigned long, unsigned long, unsigned short, "
          "NDB_STRING_MIDCOLOR)",
          "gpNDBFontData",
          "g_tagImageGuidanceSettings",
          "g_dwEnableSettings",
          "CImageProc::MergeSignDataImage(unsigned short*, unsigned short*, unsigned char*, "
          "unsigned char*, unsigned char*, unsigned long, unsigned long, unsigned long, bool)",
          "CImageProc::CheckEntranceTargetDirection(unsigned short*, unsigned short*, "
          "unsigned char*, unsigned short)",
          "CSearchSignData::SearchSignData(unsigned char*, unsigned short*, unsigned short*, "
          "unsigned long, unsigned char)",
          "CSearchSignData::GetSignArrow(CSignArrow*, unsigned char, unsigned char)",
          "CSignArrow::Flush()",
          "CImageGuidance::GetImage(unsigned char*, unsigned short*, unsigned short*, unsigned "
          "long, unsigned long, unsigned long, NDB_GUIDE_STRING_ID, NDB_GUIDE_STRING_ID, "
          "unsigned short)",
          "CSearchLBranchImageProc::SearchProc(char*, unsigned long*, unsigned long*)",
          "CSearchLEntranceImageProc::LoadIndex(char*, unsigned long*, unsigned long*)",
          "CSearchSAPAMapImageProc::SearchProc(char*, unsigned long*, unsigned long*)",
          "CSearchImageProc::~CSearchImageProc()",
          "CImageConvProc::CalcPitch(unsigned short, unsigned long)",
          "CImageConvProc::BitmapRGB888to565(unsigned char**, unsigned char*)",
          "CImageFileIO::ReadSAPAMapBMP(char*, unsigned long*, unsigned long*, unsigned short*, "
          "unsigned short*, unsigned char*)",
          "CImageData::GetImageSAPAMap(unsigned char*, unsigned short*, unsigned short*, "
          "unsigned long)"}) {
        EXPECT_NE(std::string::npos, symbols.find(present)) << present;
    }
    for (const char* absent :
         {"OpenDataFolder", "OpenDataFile",    "LoadDataFile",   "ReadPackFile",
          "ReadableSize",   "ClipRead",        "DecodeBounded",  "io::",
          "table::",        "TableFile",       "index_search::", "codec::",
          "alloc::",        "bytes::",         "ReadPackAt",     "ReadPackEntries",
          "poi_page::",     "distance_sort::", "mesh::",         "genre::",
          "phone_key::",    "attr_flags::",    "LzmaDec_",       "LzmaProps_",
          "platform::",     "sjis::",          "SettingsDir",
          "FaInitialize",   "AUIFontDataCtrl::Request",          "AUIFontDataCtrl::FreeFonts",
          "picture::",      "LookUp"}) {
        EXPECT_EQ(std::string::npos, symbols.find(absent)) << absent;
    }
}

}  // namespace
