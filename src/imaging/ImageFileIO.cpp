// Picture readers: one positioned read of the block, a decode into a buffer of the reader's fixed
// capacity + 13 bytes, and the RGB565 bitmap written from the decoded width, height and pixels.
// A block whose decoded size or picture would not fit that capacity is refused (0) before
// anything is decoded or written.
#include "imaging/ImageFileIO.h"

#include <climits>
#include <cstring>
#include <memory>

#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"
#include "imaging/PictureFormat.h"

namespace {

constexpr char kGuidance[] = "/GUIDANCE";
constexpr char kSapaInfo[] = "/SAPAINFO";
constexpr unsigned long kDecodeSpare = 13;  // decode buffers hold the capacity + 13 bytes
constexpr size_t kPixelsAt = 4;             // behind the u16 width and height

// Loads the block [offset, offset + size) of the open image file; its length, 0 when nothing
// was read. The request is cut to what the file holds behind `offset`: the same bytes come
// back, and no allocation is sized beyond the file.
unsigned long LoadBlock(int fd, unsigned long offset, unsigned long size,
                        std::unique_ptr<unsigned char[]>* block) {
    const int64_t fileSize = io::FileSize(fd);
    if (fileSize < 0 || static_cast<uint64_t>(fileSize) <= offset) return 0;
    const uint64_t rest = static_cast<uint64_t>(fileSize) - offset;
    if (size > rest) size = static_cast<unsigned long>(rest);  // 0 stays 0: the rest
    unsigned char* raw = nullptr;
    const unsigned long got = CFileIO::LoadFile(&fd, &raw, offset, size);
    block->reset(raw);
    // A read error comes back as -1; it is a failure, never a length.
    if (got == ULONG_MAX || (size != 0 && got > size)) return 0;
    return got;
}

unsigned long ReadPicture(CImageFileIO* reader, const char* folder, unsigned long capacity,
                          char* fileName, unsigned long* offset, unsigned long* size,
                          unsigned short* width, unsigned short* height, unsigned char* out) {
    if (fileName == nullptr || offset == nullptr || size == nullptr || width == nullptr ||
        height == nullptr)
        return 0;
    std::unique_ptr<unsigned char[]> block;
    unsigned long length;
    {
        io::FileCloser file(picture::Open(folder, fileName));
        if (file.fd() < 0) return 0;
        length = LoadBlock(file.fd(), *offset, *size, &block);
    }  // closed right after the one read
    if (length == 0) return 0;

    // The decoder writes as many bytes as the block's header claims: more than the buffer
    // holds is damage.
    const unsigned long decodeSize = capacity + kDecodeSpare;
    if (reader->Decode(nullptr, block.get(), length) > decodeSize) return 0;
    std::unique_ptr<unsigned char[]> decoded(alloc::NewArray<unsigned char>(decodeSize));
    if (!decoded) return 0;
    memset(decoded.get(), 0, decodeSize);
    // The decoded length is deliberately not checked: a block that does not decode leaves the
    // zeros (a 0 x 0 picture) or what it decoded before it failed, and the read succeeds.
    reader->Decode(decoded.get(), block.get(), length);
    block.reset();

    *width = bytes::ReadU16LE(decoded.get());
    *height = bytes::ReadU16LE(decoded.get() + 2);
    // The bitmap takes width x height x 2 of the capacity's pixel bytes: a picture claiming more
    // would run past them and past the caller's buffer.
    if (static_cast<uint64_t>(*width) * *height * 2 > capacity) return 0;
    // Pixels are taken straight from the decode buffer: the bitmap reads no byte beyond the
    // capacity copied from there, so a separate copy would give the same bitmap.
    reader->MakeBitmapRGB565WithHeader(out, *width, *height, decoded.get() + kPixelsAt, 1);
    return 1;
}

}  // namespace

CImageFileIO::CImageFileIO() {}
CImageFileIO::~CImageFileIO() {}

unsigned long CImageFileIO::ReadLBranchBMP(char* fileName, unsigned long* offset,
                                           unsigned long* size, unsigned short* width,
                                           unsigned short* height, unsigned char* out) {
    return ReadPicture(this, kGuidance, picture::kBranchPixelBytes, fileName, offset, size, width,
                       height, out);
}

unsigned long CImageFileIO::ReadLEtcBMP(char* fileName, unsigned long* offset, unsigned long* size,
                                        unsigned short* width, unsigned short* height,
                                        unsigned char* out) {
    return ReadPicture(this, kGuidance, picture::kEtcPixelBytes, fileName, offset, size, width,
                       height, out);
}

unsigned long CImageFileIO::ReadSAPAMapBMP(char* fileName, unsigned long* offset,
                                           unsigned long* size, unsigned short* width,
                                           unsigned short* height, unsigned char* out) {
    return ReadPicture(this, kSapaInfo, picture::kSapaPixelBytes, fileName, offset, size, width,
                       height, out);
}
