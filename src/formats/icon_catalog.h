// What an icon file holds, listed from its headers without making the pixels of its images, and
// any one of its formats decoded on its own: for summing up many files (the explorer, search),
// where decoding every image of every file would cost far more than the listing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/icon_project.h"
#include "icon/kv_icon.h"

namespace tellurine {

// Where a listed format's image lives, and so how it is decoded.
enum class CatalogSource {
    IconImage,      // an image of an icon or cursor file, read with its directory entry's byte and bit counts
    ProgramImage,   // an icon or cursor image of a program or library
    FamilyPicture,  // an element of a Macintosh family
    Container,      // known only by reading the whole file (an animated cursor's frames, a strip)
};

struct CatalogFormat {
    std::int32_t width = 0;
    std::int32_t height = 0;
    int bits = 0;  // as CIconObject::BitCount reports it after a full read
    CatalogSource source = CatalogSource::IconImage;
    // IconImage and ProgramImage: where the image starts in the file and its bytes (an icon file
    // entry's byte count). FamilyPicture: where the family starts, and `element` the offset of the
    // picture's element in it.
    std::size_t offset = 0;
    std::size_t length = 0;
    std::size_t element = 0;
    std::uint32_t entryBits = 0;                // IconImage: the directory entry's bit count
    std::optional<std::int32_t> pointX, pointY;  // a cursor image's hotspot
    friend bool operator==(const CatalogFormat&, const CatalogFormat&) = default;
};

// One icon as IconFileContents names it, with its formats in the order a full read gives them.
struct CatalogIcon {
    std::string name;
    std::optional<std::int32_t> number;
    std::vector<CatalogFormat> formats;
};

struct IconCatalog {
    IconContainer container = IconContainer::Unknown;
    std::vector<CatalogIcon> icons;
};

// Lists the icons and formats ReadIconContainer reads from the same bytes, in the same order,
// with the sizes and depths its formats have, as far as headers tell them:
//  - icon and cursor files: the directory and each image's header; a PNG image stored at 32 bits
//    (or at a depth no icon image has) is told from its IHDR alone, so a stream damaged past its
//    header is listed here although a full read refuses the file, and found only when decoded.
//    A PNG image whose entry names 1, 4, 8 or 24 bits is decoded, since its pixels decide whether
//    it keeps that depth.
//  - programs and libraries: DescribeExeIcons.
//  - Macintosh families: DescribeIcnsFamily (PNG and JPEG 2000 elements from their headers).
//  - animated cursors and strips: read whole (an animation's frames are merged when their pixels
//    are equal, which only decoding tells).
// False, with `catalog` empty, when the full read would find no icon (or memory runs out).
bool CatalogIconContainer(const std::string& path, std::span<const std::uint8_t> bytes, IconCatalog& catalog);

// Decodes one listed format of the catalog made from the same `path` and `bytes` to the image a
// full read gives it, reading only that image (and, in a family, the masks). False when it cannot
// be decoded (a stream damaged past its header) or the indices are out of range. With `atLeast`,
// the image is only to be looked at: a family's JPEG 2000 picture may come smaller, its sides at
// least that (ReadIcnsPicture).
bool ReadCatalogFormat(const std::string& path, std::span<const std::uint8_t> bytes, const IconCatalog& catalog,
                       int icon, int format, CKvIcon& out, std::int32_t atLeast = 0);

}  // namespace tellurine
