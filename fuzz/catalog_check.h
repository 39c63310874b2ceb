// The check the readers' targets run on the icon catalog: whatever the bytes, listing them and
// decoding each listed format on its own agrees with reading the whole file.
#pragma once

#include <algorithm>
#include <span>
#include <string>

#include "formats/icon_catalog.h"
#include "harness.h"

namespace tellurine::fuzz {

// Lists the bytes as a file at `path` and decodes every listed format, which must have the size
// and depth listed, and again only to be looked at: a tile's decode, which may drop resolution
// levels of a JPEG 2000 picture but never comes out smaller than asked or larger than listed, and
// once more asking for the whole picture, which must give the very pixels of the first decode
// without the image library. A file the full read takes is listed; when every listed
// format decodes, the listing is the full read's icons and formats, in order.
inline void CheckCatalog(const std::string& path, std::span<const std::uint8_t> bytes) {
    IconFileContents contents;
    const bool read = ReadIconContainer(path, bytes, contents);
    IconCatalog catalog;
    const bool listed = CatalogIconContainer(path, bytes, catalog);
    Check(listed || !read);
    if (!listed) return;
    bool everyDecoded = true;
    for (std::size_t i = 0; i < catalog.icons.size(); ++i)
        for (std::size_t f = 0; f < catalog.icons[i].formats.size(); ++f) {
            const CatalogFormat& format = catalog.icons[i].formats[f];
            CKvIcon image;
            if (!ReadCatalogFormat(path, bytes, catalog, static_cast<int>(i), static_cast<int>(f), image)) {
                everyDecoded = false;
                continue;
            }
            Check(static_cast<std::int32_t>(image.Width()) == format.width &&
                  static_cast<std::int32_t>(image.Height()) == format.height &&
                  CIconObject::DepthFromColors(image.ColorCount(), image.HasAlpha()) == format.bits);
            constexpr std::int32_t kLook = 16;
            CKvIcon look;
            Check(ReadCatalogFormat(path, bytes, catalog, static_cast<int>(i), static_cast<int>(f), look, kLook));
            const auto w = static_cast<std::int32_t>(look.Width()), h = static_cast<std::int32_t>(look.Height());
            Check(w <= format.width && h <= format.height && w >= std::min(kLook, format.width) &&
                  h >= std::min(kLook, format.height));
            // Looked at whole (a decode that passes the image library by), the same pixels as the
            // full read's.
            CKvIcon whole;
            Check(ReadCatalogFormat(path, bytes, catalog, static_cast<int>(i), static_cast<int>(f), whole,
                                    std::max(format.width, format.height)) &&
                  std::ranges::equal(whole.To32BitDib().bytes(), image.To32BitDib().bytes()));
        }
    if (!read || !everyDecoded) return;
    Check(catalog.icons.size() == contents.icons.size());
    for (std::size_t i = 0; i < catalog.icons.size(); ++i) {
        const CIconDoc& doc = contents.icons[i].doc;
        Check(catalog.icons[i].formats.size() == static_cast<std::size_t>(doc.GetFormatCount()));
        for (int f = 0; f < doc.GetFormatCount(); ++f) {
            const CatalogFormat& format = catalog.icons[i].formats[static_cast<std::size_t>(f)];
            Check(format.width == doc.GetFormat(f)->Width() && format.height == doc.GetFormat(f)->Height() &&
                  format.bits == doc.GetFormat(f)->BitCount());
        }
    }
}

}  // namespace tellurine::fuzz
