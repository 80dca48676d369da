// The searches of "navdb <search>": each runs one search of the library on the database that
// OpenDatabase pointed it at and returns what it found as a Report.
#pragma once

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Output.h"

namespace navdb {

// Input no search can take (exit code 2); what() says which and why.
struct BadInput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Points the library at the database folder `db`; BadInput when it is not one.
void OpenDatabase(const std::string& db);

// "123", "0xB1000000": a POI id or other number; BadInput naming `what` otherwise.
uint32_t ParseNumber(const std::string& text, const std::string& what);
// "3,1,2": up to `max` genre codes, each 0-255.
std::vector<uint32_t> ParseCodes(const std::string& text, size_t max, const std::string& what);

// The window of a hit list to show: `limit` records from position `start`.
struct Window {
    size_t start = 0;
    size_t limit = 50;
    // Records of the window in a list of `count`.
    size_t Size(size_t count) const { return count > start ? std::min(count - start, limit) : 0; }
};

Report KanaQuery(const std::string& reading, const std::vector<uint32_t>& genre,
                 const Window& window);
Report GenreQuery(const std::vector<uint32_t>& levels, const Window& window);
Report NearQuery(double lat, double lon, double radiusMetres, const std::vector<uint32_t>& genre,
                 const Window& window);
Report PhoneQuery(const std::string& number, const std::string& reading, const Window& window);
Report AddressQuery(const std::string& path, const std::vector<uint32_t>& genre,
                    const Window& window);
Report ZipQuery(const std::string& code);
Report ConvAddrQuery(const std::vector<uint32_t>& codes);
Report ParkingQuery(uint32_t poiId, const Window& window);
Report ArrivalQuery(uint32_t poiId);
Report SapaQuery(const std::string& id);
Report IntroQuery(uint32_t poiId);
Report PrefQuery(uint32_t id, bool deviceId);

}  // namespace navdb
