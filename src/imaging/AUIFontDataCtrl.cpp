// The font renderer: font file image, engine buffers and start/stop, measuring and drawing.
// Every engine call but the cached FaInitialize runs inside the wrapper's lock.
#include "imaging/AUIFontDataCtrl.h"

#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "foundation/CommonProc.h"
#include "platform/Log.h"

char* gpNDBFontData = nullptr;

namespace {

// Bytes of gpNDBFontData; set with it.
uint32_t g_fontDataSize = 0;

constexpr const char kTag[] = "OLF";
constexpr int kInfo = 4;

// Sizes recorded for the engine, and the allocations: deliberately four times as large.
constexpr uint32_t kDecodeSize = 8192, kGscaleSize = 16384;
constexpr uint32_t kAllocFactor = 4;
// The glyph buffer of one drawn character, of which the first half is zeroed.
constexpr uint32_t kGlyphBufferSize = 16384, kGlyphZeroed = 8192;
constexpr uint32_t kMaxChars = 20;
constexpr uint32_t kBlit4Level = 0, kBlit2Bit = 0x300000;

// Holds the engine lock for one call.
class EngineLock {
public:
    explicit EngineLock(CFontAvenueWrapper* w) : w_(w) { w_->SetMutex(); }
    ~EngineLock() { w_->ResetMutex(); }
    EngineLock(const EngineLock&) = delete;
    EngineLock& operator=(const EngineLock&) = delete;

private:
    CFontAvenueWrapper* w_;
};

CFontAvenueWrapper* Wrapper(CFontAvenueWrapper* held) {
    return held != nullptr ? held : CFontAvenueWrapper::GetInstance();
}

void FillInfo(const FA_GLYPH_INFO& g, NDB_OLFA_FONT_DATA_INFO* info) {
    info->dwWidth = g.dwBitmapWidth;
    info->dwValue1 = static_cast<uint32_t>(g.lBearingX);
    info->dwAdvance = static_cast<uint32_t>(g.lRegionWidth) + 1;
    info->dwHeight = static_cast<uint32_t>(g.lRegionHeight) + 1;
    info->dwValue2 = static_cast<uint32_t>(g.lBaseline);
}

}  // namespace

AUIFontDataCtrl::AUIFontDataCtrl()
    : m_stEngine(),
      m_stCacheDesc(),
      m_pFontList(nullptr),
      m_pDecodeBuffer(nullptr),
      m_pGscaleBuffer(nullptr),
      m_pCacheBuffer(nullptr),
      m_stParams(),
      m_pWrapper(nullptr) {}

AUIFontDataCtrl::~AUIFontDataCtrl() {
    if (m_stEngine.pState != nullptr) {
        EngineLock lock(Wrapper(m_pWrapper));
        FaFinalize(&m_stEngine);
    }
    FreeFonts();
    FreeBuffers();
}

long AUIFontDataCtrl::init(const char* fontPath, const NDB_OLFA_FONT_CASH_INFO* cache) {
    m_pWrapper = CFontAvenueWrapper::GetInstance();
    m_stParams = Params();
    m_stParams.dwStyle = 1015;
    m_stParams.dwWidth = 24;
    m_stParams.dwHeight = 24;
    m_stParams.dwFlags = 1;
    m_stParams.byGreyLevel[0] = 64, m_stParams.byGreyLevel[1] = 128;
    m_stParams.byGreyLevel[2] = 192;
    if (loadFonts(fontPath) != 1) {
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:init() Error loadFonts()!\n");
        return 0;
    }
    if (initialDriver(cache) != 1) {
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:init() Error initialDriver()!\n");
        return 0;
    }
    return 1;
}

long AUIFontDataCtrl::loadFonts(const char* fontPath) {
    if (fontPath == nullptr) {
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:loadFonts() Error npFontFilePath is NULL!\n");
        return 0;
    }
    FreeFonts();
    m_pFontList = new (std::nothrow) FA_FONT_LIST();
    if (m_pFontList == nullptr) return 0;
    m_pFontList->pFonts = new (std::nothrow) FA_FONT();
    if (m_pFontList->pFonts == nullptr) return FreeFonts(), 0;
    m_pFontList->dwFonts = 1;
    FA_FONT& font = m_pFontList->pFonts[0];
    font.pElements = new (std::nothrow) FA_FONT_ELEMENT();
    if (font.pElements == nullptr) return FreeFonts(), 0;
    font.dwElements = 1;

    if (gpNDBFontData == nullptr) {
        // The file read is always the fixed one under the database path; `fontPath` is only
        // checked above.
        char path[512] = {};
        snprintf(path, sizeof(path), "%s/%s", g_tcharPath, font_file::kRelativePath);
        char* data = nullptr;
        const long got = ReadFileAndMemcpy(path, &data);
        if (got <= 0) {
            delete[] data;
            platform::Log(kInfo, kTag, "AUIFontDataCtrl:loadFonts() Error ReadFileAndMemcpy!\n");
            FreeFonts();
            return 1;  // deliberate: initialDriver reports the missing font
        }
        gpNDBFontData = data;
        g_fontDataSize = static_cast<uint32_t>(got);
    } else {
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:loadFonts() gpNDBFontData is not NULL!\n");
    }
    font.pData = gpNDBFontData;
    font.dwDataSize = g_fontDataSize;
    m_stEngine.pFontList = m_pFontList;
    return 1;
}

long AUIFontDataCtrl::ReadFileAndMemcpy(const char* path, char** out) {
    if (path == nullptr || out == nullptr) return -1;
    FILE* f = fopen(path, "rb");
    struct stat st;
    if (f != nullptr && (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode))) {
        fclose(f);  // a folder or device is not a font file
        f = nullptr;
    }
    if (f == nullptr) {
        platform::Log(kInfo, kTag, "Screen:setIconData() Can't open data file( %s )\n", path);
        return -1;
    }
    long size = -1;
    if (fseek(f, 0, SEEK_END) == 0) size = ftell(f);
    char* buf = nullptr;
    if (size >= 0 && size <= INT32_MAX && fseek(f, 0, SEEK_SET) == 0)
        buf = new (std::nothrow) char[static_cast<size_t>(size)];
    if (buf == nullptr) {
        platform::Log(kInfo, kTag, "Screen:AUIFontDataCtrl() Error NEW()\n");
        fclose(f);
        return -1;
    }
    const size_t got = fread(buf, 1, static_cast<size_t>(size), f);
    fclose(f);
    *out = buf;
    return static_cast<long>(got);
}

long AUIFontDataCtrl::initialDriver(const NDB_OLFA_FONT_CASH_INFO* cache) {
    if (m_pDecodeBuffer != nullptr) return 1;
    m_pDecodeBuffer = new (std::nothrow) uint8_t[kDecodeSize * kAllocFactor];
    if (m_pDecodeBuffer == nullptr) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:initialDriver() Error NEW pDecodeBuffer is failed )\n");
        return 0;
    }
    memset(m_pDecodeBuffer, 0, kDecodeSize);
    m_pGscaleBuffer = new (std::nothrow) uint8_t[kGscaleSize * kAllocFactor];
    if (m_pGscaleBuffer == nullptr) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:initialDriver() Error NEW pGscaleBuffer is failed )\n");
        FreeBuffers();
        return 0;
    }
    memset(m_pGscaleBuffer, 0, kGscaleSize);
    m_stEngine.pFontList = m_pFontList;
    m_stEngine.pDecodeBuffer = m_pDecodeBuffer;
    m_stEngine.dwDecodeSize = kDecodeSize;
    m_stEngine.pGscaleBuffer = m_pGscaleBuffer;
    m_stEngine.dwGscaleSize = kGscaleSize;

    const int32_t kib = cache != nullptr ? cache->lCacheSize : 0;
    int32_t ret;
    if (kib < 1) {
        EngineLock lock(Wrapper(m_pWrapper));
        ret = FaInitialize(&m_stEngine, nullptr);
    } else {
        const uint64_t bytes = uint64_t{static_cast<uint32_t>(kib)} * 1024;
        if (bytes <= UINT32_MAX) m_pCacheBuffer = new (std::nothrow) uint8_t[bytes];
        if (m_pCacheBuffer == nullptr) {
            platform::Log(kInfo, kTag,
                          "AUIFontDataCtrl:initialDriver() Error NEW pCacheBuffer is failed )\n");
            FreeBuffers();
            return 0;
        }
        m_stCacheDesc.pBuffer = m_pCacheBuffer;
        m_stCacheDesc.dwSize = static_cast<uint32_t>(bytes);
        m_stCacheDesc.lParam1 = cache->lParam1;
        m_stCacheDesc.lParam2 = cache->lParam2;
        // Deliberately outside the lock, as this start has always been made.
        ret = FaInitialize(&m_stEngine, &m_stCacheDesc);
    }
    if (ret != FA_OK) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:initialDriver() Error FaInitialize( Ret:0x%08x )\n",
                      static_cast<unsigned>(ret));
        FreeFonts();
        FreeBuffers();
        return 0;
    }
    return 1;
}

long AUIFontDataCtrl::setFontParam(const NDB_OLFA_FONT_PARAM* param) {
    if (param == nullptr) {
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:setFontParam() Error npFontParam is NULL!\n");
        return 0;
    }
    m_stParams.dwParam1 = param->dwParam1;
    m_stParams.dwWidth = param->dwWidth;
    m_stParams.dwHeight = param->dwHeight;
    m_stParams.dwWords[0] = param->dwParam4;
    m_stParams.dwFlags = param->dwFlags | 1;
    memcpy(m_stParams.byGreyLevel, param->byGreyLevel, sizeof(m_stParams.byGreyLevel));
    return 1;
}

FA_GLYPH_REQUEST AUIFontDataCtrl::Request(unsigned short code) const {
    FA_GLYPH_REQUEST r = {};
    r.dwCode = code;
    r.dwParam1 = m_stParams.dwParam1;
    r.dwStyle = m_stParams.dwStyle;
    r.dwWidth = m_stParams.dwWidth;
    r.dwHeight = m_stParams.dwHeight;
    memcpy(r.dwParam, m_stParams.dwWords, sizeof(r.dwParam));
    r.dwFlags = m_stParams.dwFlags;
    r.pGreyLevels = m_stParams.byGreyLevel;
    return r;
}

long AUIFontDataCtrl::getFontData(unsigned short code, NDB_OLFA_FONT_DATA_INFO* info,
                                  unsigned short* glyph) {
    if (info == nullptr || glyph == nullptr) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:getFontData() Error npFontInfo or npFontData is NULL!\n");
        return 0;
    }
    const FA_GLYPH_REQUEST request = Request(code);
    FA_GLYPH_INFO g;
    int32_t ret;
    {
        EngineLock lock(Wrapper(m_pWrapper));
        ret = FaGetRegionSize(&m_stEngine, &request, &g);
    }
    if (ret != FA_OK) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:getFontData() Error FaGetRegionSize( Ret:0x%08x) !\n",
                      static_cast<unsigned>(ret));
        return 0;
    }
    {
        EngineLock lock(Wrapper(m_pWrapper));
        ret = FaGetGlyphImage(&m_stEngine, &request, &g, reinterpret_cast<uint8_t*>(glyph));
    }
    if (ret != FA_OK) {
        platform::Log(kInfo, kTag,
                      "AUIFontDataCtrl:getFontData() Error FaGetGlyphImage( Ret:0x%08x)!\n",
                      static_cast<unsigned>(ret));
        return 0;
    }
    FillInfo(g, info);
    return 1;
}

long AUIFontDataCtrl::getFontSize(unsigned short code, NDB_OLFA_FONT_DATA_INFO* info) {
    if (info == nullptr) return 0;
    const FA_GLYPH_REQUEST request = Request(code);
    FA_GLYPH_INFO g;
    int32_t ret;
    {
        EngineLock lock(Wrapper(m_pWrapper));
        ret = FaGetRegionSize(&m_stEngine, &request, &g);
    }
    if (ret != FA_OK) return 0;
    FillInfo(g, info);
    return 1;
}

long AUIFontDataCtrl::getStringRect(unsigned short* text, tagRECT& rect) {
    if (text == nullptr) return 0;
    uint32_t count = 0;
    while (count < kMaxChars && text[count] != 0) ++count;
    uint32_t width = 0, height = 0;
    for (uint32_t i = 0; i < count; ++i) {
        NDB_OLFA_FONT_DATA_INFO info;
        if (getFontSize(text[i], &info) != 1) return 0;
        width += info.dwAdvance;
        height = info.dwHeight;
    }
    rect.left = 0, rect.top = 0;
    rect.right = static_cast<int32_t>(width);
    rect.bottom = static_cast<int32_t>(height);
    return 1;
}

long AUIFontDataCtrl::drawStringOnImage(unsigned short* width, unsigned short* height,
                                        unsigned char* image, VELADRAWIMAGESTRINGS* s) {
    if (s == nullptr) return 0;
    if (s->dwCount < 1) return 1;
    if (width == nullptr || height == nullptr || image == nullptr) return 0;
    // The text array bounds the count; a valid record never counts more than 20.
    const uint32_t count = s->dwCount < 22 ? s->dwCount : 22;
    uint32_t x = s->dwX;
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t* glyph = new (std::nothrow) uint8_t[kGlyphBufferSize];
        if (glyph == nullptr) return 0;
        memset(glyph, 0, kGlyphZeroed);
        NDB_OLFA_FONT_DATA_INFO info;
        if (getFontData(s->wText[i], &info, reinterpret_cast<unsigned short*>(glyph)) != 1) {
            delete[] glyph;
            return 0;
        }
        const uint32_t mode = m_stParams.dwWords[7];
        if (mode == kBlit4Level) {
            CStrBlit::StrBlit4GScale(image, *width, *height, glyph, info.dwWidth, info.dwHeight, x,
                                     s->dwY, s->wColor, s->stMidColor);
        } else if (mode == kBlit2Bit) {
            CStrBlit::StrBlit(image, *width, *height, glyph, info.dwWidth, info.dwHeight, x, s->dwY,
                              s->wColor);
        }
        delete[] glyph;
        x += info.dwAdvance;
    }
    return 1;
}

long AUIFontDataCtrl::finalizeDriver() {
    int32_t ret;
    {
        EngineLock lock(Wrapper(m_pWrapper));
        ret = FaFinalize(&m_stEngine);
    }
    if (ret != FA_OK)
        platform::Log(kInfo, kTag, "AUIFontDataCtrl:finalizeDriver() Error FaFinalize( Ret:%d )\n",
                      static_cast<int>(ret));
    FreeFonts();
    FreeBuffers();
    return ret == FA_OK ? 1 : 0;
}

long AUIFontDataCtrl::unInit() {
    return finalizeDriver();
}

void AUIFontDataCtrl::FreeFonts() {
    if (m_pFontList != nullptr) {
        if (m_pFontList->pFonts != nullptr) delete m_pFontList->pFonts->pElements;
        delete m_pFontList->pFonts;
        delete m_pFontList;
        m_pFontList = nullptr;
    }
    m_stEngine.pFontList = nullptr;
}

void AUIFontDataCtrl::FreeBuffers() {
    delete[] m_pDecodeBuffer;
    delete[] m_pGscaleBuffer;
    delete[] m_pCacheBuffer;
    m_pDecodeBuffer = m_pGscaleBuffer = m_pCacheBuffer = nullptr;
    m_stEngine.pDecodeBuffer = m_stEngine.pGscaleBuffer = nullptr;
    m_stEngine.dwDecodeSize = m_stEngine.dwGscaleSize = 0;
    m_stCacheDesc = FA_CACHE_DESC();
}
