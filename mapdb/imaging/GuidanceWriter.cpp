// Picture writer: pictures sorted by number, each encoded as one LZMA block appended to the image
// file, the index listing (key, offset, size) in key order.
#include "GuidanceWriter.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "BlockEncoders.h"
#include "imaging/PictureFormat.h"

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_PNG
#include <stb_image.h>

namespace mapdb {

namespace {

constexpr uint32_t kMaxNumber = 999999;  // six digits
constexpr uint64_t kMaxImageFile = UINT32_MAX;

std::string Key(uint32_t number) {
    char key[16];
    snprintf(key, sizeof(key), "%06u", number);
    return key;
}

// Writes the index and image files `stem`.IDX/.IMG into root/folder.
void WritePictures(const std::string& root, const std::string& folder, const std::string& stem,
                   unsigned long capacity, const std::vector<PictureSource>& pictures,
                   const std::string& version) {
    const std::string file = folder + "/" + stem;
    std::map<uint32_t, size_t> byNumber;  // number -> picture index, in key order
    for (size_t i = 0; i < pictures.size(); ++i) {
        const uint32_t number = pictures[i].number;
        const std::string what = file + ".IDX picture " + std::to_string(i) + " (number " +
                                 std::to_string(number) + "): number: ";
        if (number > kMaxNumber) throw Error(what + "has more than six digits");
        if (!byNumber.emplace(number, i).second) {
            throw Error(what + "given twice (picture " + std::to_string(byNumber[number]) + ")");
        }
    }
    ByteWriter index, images;
    index.Raw(VersionHeader(version));
    images.Raw(VersionHeader(version));
    for (const auto& [number, i] : byNumber) {
        const PictureSource& s = pictures[i];
        const std::string what =
            file + ".IMG picture " + std::to_string(i) + " (number " + Key(number) + "): ";
        Rgb565Picture loaded;
        if (!s.png.empty()) {
            try {
                loaded = ReadPngRgb565(s.png);
            } catch (const Error& e) {
                throw Error(what + "png: " + e.what());
            }
        }
        const Rgb565Picture& p = s.png.empty() ? s.picture : loaded;
        const uint64_t count = static_cast<uint64_t>(p.width) * p.height;
        if (count == 0) throw Error(what + "size: the picture is empty");
        if (p.pixels.size() != count) {
            throw Error(what + "pixels: " + std::to_string(p.pixels.size()) + " given for " +
                        std::to_string(p.width) + " x " + std::to_string(p.height));
        }
        if (count * 2 > capacity) {
            throw Error(what + "size: " + std::to_string(p.width) + " x " +
                        std::to_string(p.height) + " is " + std::to_string(count * 2) +
                        " bytes of pixels, the reader holds " + std::to_string(capacity));
        }
        ByteWriter raw;
        raw.U16(p.width), raw.U16(p.height);
        for (uint16_t px : p.pixels) raw.U16(px);
        const Bytes block = EncodeLzmaBlock(raw.bytes());
        const uint64_t offset = images.size() - picture::kHeaderSize;
        // The whole image file stays below 4 GiB, so that offset + 16 fits 32 bits as well.
        if (images.size() + block.size() > kMaxImageFile) {
            throw Error(what + "offset: " + stem + ".IMG passes 4 GiB");
        }
        index.Str(Key(number));
        index.U32(static_cast<uint32_t>(offset)), index.U32(static_cast<uint32_t>(block.size()));
        images.Raw(block);
    }
    MakeDirs(root + "/" + folder);
    WriteFile(root + "/" + file + ".IDX", index.bytes());
    WriteFile(root + "/" + file + ".IMG", images.bytes());
}

}  // namespace

const char* GuidanceKindWord(GuidanceKind kind) {
    switch (kind) {
        case GuidanceKind::kInic:
            return "INIC";
        case GuidanceKind::kBranch:
            return "BRANCH";
        case GuidanceKind::kGrade:
            return "GRADE";
        case GuidanceKind::kEtc:
            return "ETC";
        case GuidanceKind::kEtc2:
            return "ETC2";
        case GuidanceKind::kRealcross:
            return "REALCROSS";
        case GuidanceKind::kProperJct:
            return "PROPERJCT";
        case GuidanceKind::kExit:
            return "EXIT";
        case GuidanceKind::kEntrance:
            return "ENTRANCE";
    }
    throw Error("picture kind " + std::to_string(static_cast<uint32_t>(kind)) + " is not stored");
}

Rgb565Picture ReadPngRgb565(const std::string& path) {
    int w = 0, h = 0, channels = 0;
    unsigned char* rgb = stbi_load(path.c_str(), &w, &h, &channels, 3);
    if (rgb == nullptr) throw Error("cannot read \"" + path + "\": " + stbi_failure_reason());
    Rgb565Picture p;
    if (w > 0xFFFF || h > 0xFFFF) {
        stbi_image_free(rgb);
        throw Error("\"" + path + "\" is " + std::to_string(w) + " x " + std::to_string(h) +
                    ", more than 65535 pixels either way");
    }
    p.width = static_cast<uint16_t>(w), p.height = static_cast<uint16_t>(h);
    p.pixels.resize(static_cast<size_t>(w) * h);
    for (size_t k = 0; k < p.pixels.size(); ++k)
        p.pixels[k] = picture::PackRgb565(rgb[3 * k], rgb[3 * k + 1], rgb[3 * k + 2]);
    stbi_image_free(rgb);
    return p;
}

void WriteGuidancePictures(const std::string& root, GuidanceKind kind,
                           const std::vector<PictureSource>& pictures, const std::string& version) {
    const bool small = kind == GuidanceKind::kEtc || kind == GuidanceKind::kEtc2;
    WritePictures(root, "GUIDANCE", GuidanceKindWord(kind),
                  small ? picture::kEtcPixelBytes : picture::kBranchPixelBytes, pictures, version);
}

void WriteSapaMapPictures(const std::string& root, const std::vector<PictureSource>& pictures,
                          const std::string& version) {
    WritePictures(root, "SAPAINFO", "SAPA", picture::kSapaPixelBytes, pictures, version);
}

}  // namespace mapdb
