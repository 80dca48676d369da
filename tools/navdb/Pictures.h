// The data-set checks and pictures of navdb: "version", "string", "image" and "sapamap", each
// returning a Report like the searches; pictures are written as PNG files or handed out as PNG
// bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Output.h"

namespace navdb {

// One string of the string database: "1:25" is string 25 of selector 1.
struct StringId {
    uint8_t selector = 0;
    uint32_t number = 0;
};
StringId ParseStringId(const std::string& text, const std::string& what);

// The engine version and every data kind's version and file count. Found (exit 0) when every
// kind that reports a version reports the same one and no set has files that disagree.
Report VersionQuery();

Report StringQuery(uint32_t selector, uint32_t number);

// Picture kind from its number (0-15) or word (EXIT, SIGN, ...); BadInput otherwise.
uint32_t ParsePictureKind(const std::string& text);

// The picture of `kind` and `number` through the guidance picture entry point, written as an
// RGB PNG to `png`. `direction` is the highlighted direction of a sign post (kind 14).
Report ImageQuery(uint32_t kind, uint32_t number, const StringId& name1, const StringId& name2,
                  uint32_t direction, const std::string& png);
// The SA/PA map picture `number`, written as PNG.
Report SapaMapQuery(uint32_t number, const std::string& png);

// The same pictures as PNG bytes in `png` (left alone when the database has no such picture).
Report ImagePicture(uint32_t kind, uint32_t number, const StringId& name1, const StringId& name2,
                    uint32_t direction, std::string* png);
Report SapaMapPicture(uint32_t number, std::string* png);

// The numbers of the guidance pictures, sign posts and SA/PA maps of the database, at most
// `max` of each kind ("more" tells when there are others).
Report PictureListQuery(size_t max);

// Writes `rgb` (8-bit red, green, blue per pixel, rows top first) as a PNG file; false on failure.
bool WriteRgbPng(const std::string& path, int width, int height,
                 const std::vector<unsigned char>& rgb);

}  // namespace navdb
