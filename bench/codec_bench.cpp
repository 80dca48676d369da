// Decode throughput of every block form on 64 KiB of structured records (MB/s of output), and
// the cost of CMarlinDataProc's LZMA entry point over calling the LZMA SDK decoder (and, for
// comparison, liblzma) directly on the block.
#include <benchmark/benchmark.h>
#include <lzma.h>

#include <cstring>
#include <functional>
#include <string>

#include "BlockEncoders.h"
#include "SearchProc.h"

// Last: the SDK's Types.h defines short macros of its own.
#include <lzma/LzmaDec.h>

namespace {

using mapdb::Bytes;

// 64 KiB of 32-byte POI-like records: ascending ids, nearby coordinates, genre codes, names.
const Bytes& Records() {
    static const Bytes data = [] {
        mapdb::ByteWriter w;
        for (uint32_t i = 0; w.size() < 65536; ++i) {
            w.U32(0xB1000000u + i);
            w.U32(3000000 + i * 37);
            w.U32(12000000 + (i * 101) % 5000);
            w.U8(i % 7);
            w.U8(12);
            w.U16(i % 300);
            w.Fixed("POI" + std::to_string(i % 97), 16);
        }
        Bytes b = w.Take();
        b.resize(65536);
        return b;
    }();
    return data;
}

using Decoder = unsigned long (*)(CMarlinDataProc&, void*, void*, unsigned long);

void RunChain(benchmark::State& state, const Bytes& block, Decoder decode) {
    CMarlinDataProc proc;
    Bytes in = block;
    const unsigned long n = decode(proc, nullptr, in.data(), in.size());
    Bytes out(n + 1);
    for (auto _ : state) {
        unsigned long got = decode(proc, out.data(), in.data(), in.size());
        benchmark::DoNotOptimize(got);
        benchmark::ClobberMemory();
        if (got != n) state.SkipWithError("decode failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * n);
    state.counters["ratio"] = static_cast<double>(block.size()) / n;
}

void BM_BwtLzss(benchmark::State& s) {
    RunChain(s, mapdb::EncodeBwtLzssBlock(Records()),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long) {
                 return p.DecodeBwtLzss(d, src);
             });
}
void BM_BwtMtfLzss(benchmark::State& s) {
    RunChain(s, mapdb::EncodeBwtMtfLzssBlock(Records()),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long) {
                 return p.DecodeBwtMtfLzss(d, src);
             });
}
void BM_BwtMtfRc(benchmark::State& s) {
    RunChain(s, mapdb::EncodeBwtMtfRcBlock(Records()),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long) {
                 return p.DecodeBwtMtfRc(d, src);
             });
}
void BM_BwtLzssHuf(benchmark::State& s) {
    RunChain(s, mapdb::EncodeBwtLzssHufBlock(Records()),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long) {
                 return p.DecodeBwtLzssHuf(d, src);
             });
}
void BM_Lzma(benchmark::State& s) {
    RunChain(s, mapdb::EncodeLzmaBlock(Records(), false),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long n) {
                 return p.Decode(d, src, n);
             });
}
void BM_LzmaX86(benchmark::State& s) {
    RunChain(s, mapdb::EncodeLzmaBlock(Records(), true),
             [](CMarlinDataProc& p, void* d, void* src, unsigned long n) {
                 return p.Decode(d, src, n);
             });
}

void* SdkAlloc(void*, size_t size) {
    return malloc(size);
}
void SdkFree(void*, void* address) {
    free(address);
}

// The same LZMA block decoded by the SDK's one-call decoder alone: the raw decoder under the
// entry point, so the difference to BM_Lzma is the entry point's own cost.
void BM_LzmaRawSdk(benchmark::State& state) {
    const Bytes block = mapdb::EncodeLzmaBlock(Records(), false);
    const uint32_t n = bytes::ReadU32LE(block.data() + 6);
    Bytes out(n + 1);
    ISzAlloc alloc = {SdkAlloc, SdkFree};
    for (auto _ : state) {
        SizeT outLen = n, inLen = block.size() - 14;
        ELzmaStatus status;
        const SRes res = LzmaDecode(out.data(), &outLen, block.data() + 14, &inLen,
                                    block.data() + 1, 5, LZMA_FINISH_ANY, &status, &alloc);
        if (res != SZ_OK || outLen != n) state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * n);
}

// The same LZMA block decoded by liblzma alone: properties from the header, the known size, one
// buffer call.
void BM_LzmaRawLiblzma(benchmark::State& state) {
    const Bytes block = mapdb::EncodeLzmaBlock(Records(), false);
    const uint32_t n = bytes::ReadU32LE(block.data() + 6);
    Bytes out(n + 1);
    for (auto _ : state) {
        lzma_filter props = {LZMA_FILTER_LZMA1EXT, nullptr};
        if (lzma_properties_decode(&props, nullptr, block.data() + 1, 5) != LZMA_OK) {
            state.SkipWithError("properties");
            break;
        }
        lzma_options_lzma* opt = static_cast<lzma_options_lzma*>(props.options);
        opt->ext_flags = LZMA_LZMA1EXT_ALLOW_EOPM;
        lzma_set_ext_size(*opt, n);
        lzma_filter filters[2] = {{LZMA_FILTER_LZMA1EXT, opt}, {LZMA_VLI_UNKNOWN, nullptr}};
        size_t inPos = 14, outPos = 0;
        lzma_ret ret = lzma_raw_buffer_decode(filters, nullptr, block.data(), &inPos, block.size(),
                                              out.data(), &outPos, n);
        free(opt);
        if (ret != LZMA_OK || outPos != n) state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * n);
}

}  // namespace

BENCHMARK(BM_BwtLzss);
BENCHMARK(BM_BwtMtfLzss);
BENCHMARK(BM_BwtMtfRc);
BENCHMARK(BM_BwtLzssHuf);
BENCHMARK(BM_Lzma);
BENCHMARK(BM_LzmaX86);
BENCHMARK(BM_LzmaRawSdk);
BENCHMARK(BM_LzmaRawLiblzma);
