// A host program built against the installed library only: it writes a one-point arrival data
// set, searches it and checks what comes back (the search itself is tested in tests/search;
// this proves that headers, library and package files work together). Exit code 0 on success.
// Usage: consumer <empty work folder>
#include <SearchProc.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: %s <work folder>\n", argv[0]), 2;
    const std::string root = argv[1];
    CCommonProc::SetPath(root.c_str());
    CCommonProc::EnableDB(true);
    CCommonProc::EnableSD(false);
    CSearchArrivalProc arrival;
    unsigned long count = 99;
    const bool missing = arrival.SearchProc(&count, 0x02000007) == 0;

    // Index: 16-byte header, then POI id, point number 1, data offset 0. Data: name, LF,
    // longitude and latitude offsets (3 bytes each), attribute 5.
    std::filesystem::create_directories(root + "/ARRIVAL");
    const char index[] = "0123456789ABCDEF\x07\x00\x00\x02\x01\x00\x00\x00";
    const char data[] = "Gate\n\x40\x42\x0F\x80\x84\x1E\x05";
    std::ofstream(root + "/ARRIVAL/ARV.IDX", std::ios::binary).write(index, sizeof(index) - 1);
    std::ofstream(root + "/ARRIVAL/ARV.DAT", std::ios::binary).write(data, sizeof(data) - 1);

    CLocationData got;
    got.FlushData();
    const bool found = arrival.SearchProc(&count, 0x02000007) == 1 && count == 1 &&
                       arrival.GetList(&got, 0, 1) == 1 && std::strcmp(got.szName, "Gate") == 0 &&
                       got.lArrLon == (1000000u + 43200000u) * 10 &&
                       got.lArrLat == (2000000u + 7200000u) * 10 && got.dwArrAttr == 5;
    if (!missing || !found) return std::fprintf(stderr, "FAILED: %d %d\n", missing, found), 1;
    std::printf("consumer: all checks passed\n");
    return 0;
}
