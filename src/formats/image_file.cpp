#include "formats/image_file.h"

#include <FreeImagePlus.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "image/file_io.h"

namespace tellurine {

namespace {

// zlib level for PNG output. On typical icon and picture data level 4 compresses within a few
// per cent of the default level 6 in about a third of the time (the image library takes levels
// 1 to 9 in the low bits of its PNG flags).
constexpr int kPngZlibLevel = 4;

}  // namespace

bool DecodeImageFile(std::span<const std::uint8_t> bytes, CDIB& dib, std::string& error) {
    if (bytes.empty()) {
        error = "empty file";
        return false;
    }
    // FreeImage's memory stream does not write to the buffer it is given for reading.
    fipMemoryIO memory(const_cast<BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
    const FREE_IMAGE_FORMAT fif = memory.getFileType();
    if (fif == FIF_UNKNOWN || !FreeImage_FIFSupportsReading(fif)) {
        error = "not an image file that can be read";
        return false;
    }
    // Decoded straight into the bitmap's library image, so the picture is copied only once more,
    // into the bitmap's block.
    fipImage& image = dib.LibraryImage();
    if (!image.loadFromMemory(fif, memory) || !image.isValid()) {
        error = "the image is damaged or cannot be decoded";
        return false;
    }
    const unsigned bpp = image.getBitsPerPixel();
    const bool keep = image.getImageType() == FIT_BITMAP && (bpp == 24 || bpp == 32);
    if (!keep) {
        const bool converted = image.isTransparent() ? image.convertTo32Bits() : image.convertTo24Bits();
        if (!converted) {
            error = "the image cannot be converted to true colour";
            return false;
        }
    }
    if (!dib.SyncFromLibraryImage()) {
        error = "the image is too large";
        return false;
    }
    return true;
}

bool LoadImageFile(const std::string& path, CDIB& dib, std::string& error) {
    std::vector<std::uint8_t> bytes;
    if (!ReadFileBytes(path, bytes, kMaxImageFileBytes, error)) return false;
    return DecodeImageFile(bytes, dib, error);
}

bool EncodeImageFile(CDIB& dib, ImageFileFormat format, std::vector<std::uint8_t>& out, std::string& error) {
    if (!dib.SyncToLibraryImage()) {
        error = "the picture cannot be encoded";
        return false;
    }
    fipMemoryIO memory;
    const FREE_IMAGE_FORMAT fif = format == ImageFileFormat::Png ? FIF_PNG : FIF_BMP;
    if (!dib.LibraryImage().saveToMemory(fif, memory, format == ImageFileFormat::Png ? kPngZlibLevel : BMP_DEFAULT)) {
        error = "the picture cannot be encoded";
        return false;
    }
    BYTE* data = nullptr;
    DWORD size = 0;
    if (!memory.acquire(&data, &size) || data == nullptr) {
        error = "the picture cannot be encoded";
        return false;
    }
    out.assign(data, data + size);
    return true;
}

bool ImageFileFormatFromPath(const std::string& path, ImageFileFormat& format) {
    const auto dot = path.find_last_of('.');
    if (dot == std::string::npos || path.find_first_of("/\\", dot) != std::string::npos) return false;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ext == "png") format = ImageFileFormat::Png;
    else if (ext == "bmp") format = ImageFileFormat::Bmp;
    else return false;
    return true;
}

}  // namespace tellurine
