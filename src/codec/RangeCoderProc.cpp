// Adaptive order-2 range decoding of values 0..256 by category and offset; 256 ends the stream.
#include "codec/RangeCoderProc.h"

#include <cstddef>
#include <new>

#include "codec/CodecDetail.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"

namespace {

constexpr int kCategories = 10;
constexpr int kFirstModels = kCategories * kCategories;
constexpr int kFirstLevelCategories = 3;  // categories 0..2 carry their value alone
constexpr unsigned kEndValue = 256;
constexpr uint32_t kTop = 1u << 24;

const unsigned kBase[kCategories] = {0, 1, 2, 3, 5, 9, 17, 33, 65, 129};
const unsigned kCount[kCategories] = {1, 1, 1, 2, 4, 8, 16, 32, 64, 128};

}  // namespace

CRangeCoderProc::CRangeCoderProc() : m_pFirstFreq(), m_pSecondFreq(), m_byCategory() {}

CRangeCoderProc::~CRangeCoderProc() {
    FlushBuf();
}

unsigned long CRangeCoderProc::Decode(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = bytes::ReadU32LE(s);
    if (!codec::detail::DecodedSizeOk(n)) return 0;
    if (dst == nullptr) return n;
    FlushBuf();
    unsigned long got =
        InitRangeCoder() ? DecodeBounded(static_cast<unsigned char*>(dst), n, s + 4) : 0;
    FlushBuf();
    return got;
}

unsigned long CRangeCoderProc::DecodeCore(unsigned char* dst, unsigned char* src) {
    FlushBuf();
    unsigned long got = InitRangeCoder() ? DecodeSub(dst, src) : 0;
    FlushBuf();
    return got;
}

unsigned long CRangeCoderProc::DecodeSub(unsigned char* dst, unsigned char* src) {
    return DecodeBounded(dst, ~0ul, src);
}

unsigned long CRangeCoderProc::DecodeBounded(unsigned char* dst, unsigned long limit,
                                             unsigned char* src) {
    InitFrequencyData();
    size_t in = 0;
    uint32_t code = 0;
    for (int k = 0; k < 4; ++k) code = (code << 8) | src[in++];
    uint32_t range = 0xFFFFFFFFu;

    auto decodeSymbol = [&](FREQUENCY* model) {
        const uint32_t r = range / model->pwCum[model->dwNum];
        const int s = SearchCode(model, static_cast<unsigned short>(code / r));
        code -= r * model->pwCum[s];
        range = r * model->pwFreq[s];
        UpdateFrequency(model, s);
        while (range < kTop) {
            range <<= 8;
            code = (code << 8) + src[in++];
        }
        return static_cast<unsigned>(s);
    };

    unsigned twoBack = 0;
    unsigned prev = 0;
    unsigned long out = 0;
    for (;;) {
        const unsigned k = decodeSymbol(m_pFirstFreq[twoBack * kCategories + prev]);
        unsigned value = k;
        if (k >= kFirstLevelCategories) {
            value = decodeSymbol(m_pSecondFreq[k]) + kBase[k];
            if (value == kEndValue) break;
        }
        if (out >= limit) return 0;
        dst[out++] = static_cast<unsigned char>(value);
        twoBack = prev;
        prev = k;
    }
    return out;
}

unsigned long CRangeCoderProc::InitRangeCoder() {
    for (int k = 0; k < kCategories; ++k) {
        for (unsigned v = kBase[k]; v < kBase[k] + kCount[k]; ++v) {
            m_byCategory[v] = static_cast<uint8_t>(k);
        }
    }
    for (int c = 0; c < kFirstModels; ++c) {
        m_pFirstFreq[c] = CreateFrequencyBuf(kCategories);
        if (m_pFirstFreq[c] == nullptr) return 0;
    }
    for (int k = kFirstLevelCategories; k < kCategories; ++k) {
        m_pSecondFreq[k] = CreateFrequencyBuf(static_cast<int>(kCount[k]));
        if (m_pSecondFreq[k] == nullptr) return 0;
    }
    return 1;
}

void CRangeCoderProc::InitFrequencyData() {
    for (FREQUENCY* m : m_pFirstFreq) {
        if (m != nullptr) InitFrequencyTable(m);
    }
    for (FREQUENCY* m : m_pSecondFreq) {
        if (m != nullptr) InitFrequencyTable(m);
    }
}

void CRangeCoderProc::InitFrequencyTable(FREQUENCY* model) {
    for (uint32_t i = 0; i < model->dwNum; ++i) {
        model->pwFreq[i] = 1;
        model->pwCum[i] = static_cast<uint16_t>(i);
    }
    model->pwCum[model->dwNum] = static_cast<uint16_t>(model->dwNum);
}

void CRangeCoderProc::UpdateFrequency(FREQUENCY* model, int symbol) {
    const uint32_t n = model->dwNum;
    ++model->pwFreq[symbol];
    for (uint32_t j = static_cast<uint32_t>(symbol) + 1; j <= n; ++j) ++model->pwCum[j];
    // The total is read as signed 16 bits: it turns negative when it reaches 32768.
    if (static_cast<int16_t>(model->pwCum[n]) < 0) {
        model->pwCum[0] = 0;
        for (uint32_t i = 0; i < n; ++i) {
            model->pwFreq[i] = static_cast<uint16_t>((model->pwFreq[i] >> 1) | 1);
            model->pwCum[i + 1] = static_cast<uint16_t>(model->pwCum[i] + model->pwFreq[i]);
        }
    }
}

int CRangeCoderProc::SearchCode(FREQUENCY* model, unsigned short target) {
    for (uint32_t i = 0; i < model->dwNum; ++i) {
        if (model->pwCum[i] <= target && target < model->pwCum[i + 1]) return static_cast<int>(i);
    }
    return 0;
}

FREQUENCY* CRangeCoderProc::CreateFrequencyBuf(int n) {
    if (n <= 0) return nullptr;
    FREQUENCY* model = new (std::nothrow) FREQUENCY;
    if (model == nullptr) return nullptr;
    model->dwNum = static_cast<uint32_t>(n);
    // 4 bytes per count and per sum, as the models have always been sized.
    model->pwFreq = alloc::NewArray<uint16_t>(2 * static_cast<uint64_t>(n));
    model->pwCum = alloc::NewArray<uint16_t>(2 * (static_cast<uint64_t>(n) + 1));
    if (model->pwFreq == nullptr || model->pwCum == nullptr) {
        delete[] model->pwFreq;
        delete[] model->pwCum;
        delete model;
        return nullptr;
    }
    InitFrequencyTable(model);
    return model;
}

void CRangeCoderProc::FlushBuf() {
    auto release = [](FREQUENCY*& m) {
        if (m == nullptr) return;
        delete[] m->pwFreq;
        delete[] m->pwCum;
        delete m;
        m = nullptr;
    };
    for (FREQUENCY*& m : m_pFirstFreq) release(m);
    for (FREQUENCY*& m : m_pSecondFreq) release(m);
}
