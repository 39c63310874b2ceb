// Ordinary image files (PNG, BMP, JPEG, TIFF, GIF and whatever else the image library reads),
// decoded into and encoded from bitmaps.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "image/dib.h"

namespace tellurine {

// Largest ordinary image file that is read (256 MiB).
inline constexpr std::size_t kMaxImageFileBytes = std::size_t{256} * 1024 * 1024;

enum class ImageFileFormat { Png, Bmp };

// Decodes an image file's bytes into `dib` as a 24-bit bitmap, or a 32-bit one when the image
// has transparency, keeping its resolution. False, with a reason, when the bytes are not an image
// that can be decoded.
bool DecodeImageFile(std::span<const std::uint8_t> bytes, CDIB& dib, std::string& error);

// Reads and decodes the file at `path`.
bool LoadImageFile(const std::string& path, CDIB& dib, std::string& error);

// Reads a picture to make icons from, as a 32-bit bitmap (alpha 255 where the image has none).
// PNG files go through the PNG decoder of icon images, which is faster than the image library's;
// icon, cursor and Macintosh icon files give their largest format (the deepest of that size),
// read by Tellurine's own readers, as are OpenRaster and GIMP documents (their merged picture);
// everything else goes through DecodeImageFile.
bool LoadPictureFile(const std::string& path, CDIB& dib, std::string& error);

// Encodes a bitmap (1, 4, 8, 24 or 32 bits) as PNG or BMP. False, with a reason, on failure.
bool EncodeImageFile(CDIB& dib, ImageFileFormat format, std::vector<std::uint8_t>& out, std::string& error);

// The format a file name's extension names (".png" or ".bmp", in any case); false for others.
bool ImageFileFormatFromPath(const std::string& path, ImageFileFormat& format);

}  // namespace tellurine
