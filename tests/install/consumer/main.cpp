// A host program built against the installed library only: it writes a small arrival-point
// data set, searches it and checks what comes back. Exit code 0 when every check holds.
// Usage: consumer <empty work folder>
#include <SearchProc.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

void PutLE(std::vector<unsigned char>* out, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out->push_back(static_cast<unsigned char>(v >> (8 * i)));
}

bool WriteFile(const std::string& path, const std::vector<unsigned char>& data) {
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<bool>(f);
}

struct Point {
    uint32_t poi;
    unsigned number;
    const char* name;
    uint32_t lon, lat;  // 1/100 arc-second east of 120 degrees, north of 20 degrees
    unsigned attr;
};

// Index: a 16-byte header, then (POI id, point number, 3-byte data offset) sorted by POI id
// and number. Data: name, LF, longitude, latitude (3 bytes each), attribute byte.
bool WriteArrival(const std::string& root, const std::vector<Point>& points) {
    std::filesystem::create_directories(root + "/ARRIVAL");
    std::vector<unsigned char> index(16, 0), data;
    for (const Point& p : points) {
        PutLE(&index, p.poi, 4);
        PutLE(&index, p.number, 1);
        PutLE(&index, static_cast<uint32_t>(data.size()), 3);
        data.insert(data.end(), p.name, p.name + std::strlen(p.name));
        data.push_back(0x0A);
        PutLE(&data, p.lon, 3);
        PutLE(&data, p.lat, 3);
        data.push_back(static_cast<unsigned char>(p.attr));
    }
    return WriteFile(root + "/ARRIVAL/ARV.IDX", index) && WriteFile(root + "/ARRIVAL/ARV.DAT", data);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <work folder>\n", argv[0]);
        return 2;
    }
    const std::string root = argv[1];
    CCommonProc::SetPath(root.c_str());
    CCommonProc::EnableDB(true);
    CCommonProc::EnableSD(false);

    CSearchArrivalProc arrival;
    unsigned long count = 99;
    Check(arrival.SearchProc(&count, 0x02000007) == 0, "no data set: the search fails");

    const std::vector<Point> points = {
        {0x02000007, 1, "North gate", 1000000, 2000000, 5},
        {0x02000007, 2, "", 1000100, 2000200, 0},
        {0x02000009, 1, "Car park", 3, 4, 255},
    };
    if (!WriteArrival(root, points)) {
        std::fprintf(stderr, "cannot write the data set under %s\n", root.c_str());
        return 2;
    }

    count = 99;
    Check(arrival.SearchProc(&count, 0x02000007) == 1, "two points: the search succeeds");
    Check(count == 2, "two points: both are found");
    CLocationData got[2];
    for (CLocationData& r : got) r.FlushData();
    Check(arrival.GetList(got, 0, 2) == 1, "two points: both are listed");
    // Milliseconds of arc: (offset + origin) * 10.
    Check(std::strcmp(got[0].szName, "North gate") == 0, "first point: name");
    Check(got[0].lArrLon == (1000000u + 43200000u) * 10, "first point: longitude");
    Check(got[0].lArrLat == (2000000u + 7200000u) * 10, "first point: latitude");
    Check(got[0].lLon == got[0].lArrLon && got[0].lLat == got[0].lArrLat,
          "first point: the record takes the point's position");
    Check(got[0].dwArrAttr == 5, "first point: attribute");
    Check(got[1].szName[0] == 0, "second point: no name");
    Check(got[1].lArrLon == (1000100u + 43200000u) * 10, "second point: longitude");
    Check(got[1].lArrLat == (2000200u + 7200000u) * 10, "second point: latitude");
    CLocationData past[2];
    Check(arrival.GetList(past, 1, 2) == 0, "the list runs out after two points");

    count = 99;
    Check(arrival.SearchProc(&count, 0x02000008) == 1 && count == 0,
          "a POI between two others has no points");

    CLocationData records[2];
    for (CLocationData& r : records) r.FlushData();
    records[0].dwID = 0x02000009;
    records[1].dwID = 0x02000007;
    Check(arrival.GetData(records, 2) == 1, "first points of held records");
    Check(std::strcmp(records[0].szName, "Car park") == 0 && records[0].dwArrAttr == 255,
          "held record: the first point of its own POI");
    Check(records[1].lArrLon == (1000000u + 43200000u) * 10,
          "held record: the first point, not the second");

    if (failures != 0) return 1;
    std::printf("consumer: all checks passed\n");
    return 0;
}
