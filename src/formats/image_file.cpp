#include "formats/image_file.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "image/file_io.h"
#include "image/freeimage.h"
#include "formats/icon_project.h"
#include "formats/ora_file.h"
#include "formats/xcf_file.h"
#include "imaging/codecs.h"

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
    const FreeImageApi* fi = GetFreeImage();
    if (fi == nullptr) {
        error = "the image library (FreeImage) cannot be loaded";
        return false;
    }
    // The library's memory stream only reads from the buffer it is given.
    FIMEMORY* memory = fi->OpenMemory(const_cast<BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
    if (memory == nullptr) {
        error = "out of memory";
        return false;
    }
    const FREE_IMAGE_FORMAT fif = fi->GetFileTypeFromMemory(memory, 0);
    LibraryBitmap image;
    if (fif != FIF_UNKNOWN && fi->FIFSupportsReading(fif)) image.Reset(fi->LoadFromMemory(fif, memory, 0));
    fi->CloseMemory(memory);
    if (fif == FIF_UNKNOWN || !fi->FIFSupportsReading(fif)) {
        error = "not an image file that can be read";
        return false;
    }
    if (!image.IsValid() || !fi->HasPixels(image.Get())) {
        error = "the image is damaged or cannot be decoded";
        return false;
    }
    const unsigned bpp = fi->GetBPP(image.Get());
    if (fi->GetImageType(image.Get()) != FIT_BITMAP || (bpp != 24 && bpp != 32)) {
        LibraryBitmap converted(fi->IsTransparent(image.Get()) ? fi->ConvertTo32Bits(image.Get())
                                                               : fi->ConvertTo24Bits(image.Get()));
        if (!converted.IsValid()) {
            error = "the image cannot be converted to true colour";
            return false;
        }
        image = std::move(converted);
    }
    dib.LibraryImage() = std::move(image);
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

namespace {

// The picture of an icon file's largest format (the deepest of that size), as 32 bits.
bool PictureFromIcon(const std::string& path, std::span<const std::uint8_t> bytes, CDIB& dib, std::string& error) {
    IconFileContents contents;
    if (!ReadIconContainer(path, bytes, contents)) {
        error = "the icon file is damaged or holds no icon that can be read";
        return false;
    }
    const CIconObject* best = contents.icons.front().doc.LargestFormat();
    Block picture = best != nullptr ? best->Icon().To32BitDib() : Block{};
    if (picture.empty()) {
        error = "out of memory";
        return false;
    }
    dib.Attach(std::move(picture));
    return true;
}

}  // namespace

bool LoadPictureFile(const std::string& path, CDIB& dib, std::string& error) {
    std::vector<std::uint8_t> bytes;
    if (!ReadFileBytes(path, bytes, kMaxImageFileBytes, error)) return false;
    // Icon files are read by Tellurine's own readers, never by the image library's.
    if (ClassifyIconFile(path, bytes) != IconContainer::Unknown) return PictureFromIcon(path, bytes, dib, error);
    // Documents the image library does not know, read by our own readers for their merged picture.
    if (IsOraFile(bytes) || IsXcfFile(bytes)) {
        LayeredPicture layered;
        if (!ReadLayeredPicture(bytes, layered, error)) return false;
        dib.Attach(std::move(layered.composite));
        return true;
    }
    if (IsPngStream(bytes)) {
        Block picture = DecodePng(bytes, 32);
        if (picture.empty()) {
            error = "the image is damaged or cannot be decoded";
            return false;
        }
        dib.Attach(std::move(picture));
        return true;
    }
    if (!DecodeImageFile(bytes, dib, error)) return false;
    if (dib.BitCount() != 32) dib.ConvertTo32(false, 0);
    if (dib.BitCount() != 32) {
        error = "out of memory";
        return false;
    }
    return true;
}

bool EncodeImageFile(CDIB& dib, ImageFileFormat format, std::vector<std::uint8_t>& out, std::string& error) {
    const FreeImageApi* fi = GetFreeImage();
    if (fi == nullptr || !dib.SyncToLibraryImage()) {
        error = "the picture cannot be encoded";
        return false;
    }
    FIMEMORY* memory = fi->OpenMemory(nullptr, 0);
    const FREE_IMAGE_FORMAT fif = format == ImageFileFormat::Png ? FIF_PNG : FIF_BMP;
    BYTE* data = nullptr;
    DWORD size = 0;
    const bool ok = memory != nullptr &&
                    fi->SaveToMemory(fif, dib.LibraryImage().Get(), memory,
                                     format == ImageFileFormat::Png ? kPngZlibLevel : BMP_DEFAULT) &&
                    fi->AcquireMemory(memory, &data, &size) && data != nullptr;
    if (ok) out.assign(data, data + size);
    if (memory != nullptr) fi->CloseMemory(memory);
    if (!ok) error = "the picture cannot be encoded";
    return ok;
}

bool ImageFileFormatFromPath(const std::string& path, ImageFileFormat& format) {
    const std::string ext = LowerExtension(path);
    if (ext == ".png") format = ImageFileFormat::Png;
    else if (ext == ".bmp") format = ImageFileFormat::Bmp;
    else return false;
    return true;
}

}  // namespace tellurine
