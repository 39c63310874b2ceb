#include "formats/icon_catalog.h"

#include <new>
#include <utility>

#include "formats/icns_file.h"
#include "formats/ico_file.h"
#include "formats/pe_resources.h"
#include "icon/icon_doc.h"
#include "image/archive.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"

namespace tellurine {

namespace {

constexpr std::size_t kIconHeaderSize = 6;
constexpr std::size_t kIconEntrySize = 16;

// A listed format of the given size and colours.
CatalogFormat FormatOf(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha,
                       CatalogSource source) {
    CatalogFormat format;
    format.width = width;
    format.height = height;
    format.bits = CIconObject::DepthFromColors(colors, alpha);
    format.source = source;
    return format;
}

// A PNG image of an icon file kept at 32 bits: its IHDR's size, when an icon block of that size
// can be made.
std::optional<CatalogFormat> DescribeWidePng(std::span<const std::uint8_t> png, std::size_t& blockSize) {
    std::int32_t width = 0, height = 0;
    IconImageLayout layout;
    if (!PngDimensions(png, width, height) || !CKvIcon::ComputeLayout(width, height, 0, true, layout))
        return std::nullopt;
    blockSize = layout.blockSize;
    return FormatOf(width, height, 0, true, CatalogSource::IconImage);
}

// One image of an icon file, as ReadIconFile reads it from `data` (the file from the image's
// offset on) with the entry's byte and bit counts.
std::optional<CatalogFormat> DescribeIconImage(std::span<const std::uint8_t> data, std::uint32_t byteCount,
                                               std::uint32_t bitCount, std::size_t& blockSize) {
    if (data.size() >= 4 && LoadU32(data.data()) == kPngSignature) {
        if (byteCount == 0 || byteCount > data.size()) return std::nullopt;
        const std::uint32_t depth = std::min<std::uint32_t>(bitCount, 32);
        if (depth != 1 && depth != 4 && depth != 8 && depth != 24)
            return DescribeWidePng(data.first(byteCount), blockSize);
        // Whether the pixels fit the entry's depth is known only from the pixels.
        CKvIcon icon;
        if (!icon.ReadImage(data, byteCount, bitCount)) return std::nullopt;
        blockSize = icon.BlockSize();
        return FormatOf(static_cast<std::int32_t>(icon.Width()), static_cast<std::int32_t>(icon.Height()),
                        icon.ColorCount(), icon.HasAlpha(), CatalogSource::IconImage);
    }
    const std::optional<StoredImageFormat> stored = DescribeStoredImage(data);
    IconImageLayout layout;
    if (!stored || !CKvIcon::ComputeLayout(stored->width, stored->height, stored->colors, stored->alpha, layout))
        return std::nullopt;
    blockSize = layout.blockSize;
    return FormatOf(stored->width, stored->height, stored->colors, stored->alpha, CatalogSource::IconImage);
}

// An icon or cursor file: one icon, or nothing where ReadIconFile fails.
bool CatalogIconFile(std::span<const std::uint8_t> bytes, CatalogIcon& icon) {
    if (bytes.size() < kIconHeaderSize || bytes.size() > kMaxIconFileBytes) return false;
    const std::uint16_t fileType = LoadU16(bytes.data() + 2);
    const std::uint16_t count = LoadU16(bytes.data() + 4);
    if ((fileType != 1 && fileType != 2) || count == 0) return false;
    if (std::size_t{count} * kIconEntrySize > bytes.size() - kIconHeaderSize) return false;
    std::size_t decoded = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* e = bytes.data() + kIconHeaderSize + i * kIconEntrySize;
        const std::uint16_t planes = LoadU16(e + 4);
        const std::uint16_t bitCount = LoadU16(e + 6);
        const std::uint32_t byteCount = LoadU32(e + 8);
        const std::uint32_t offset = LoadU32(e + 12);
        if (offset > bytes.size()) return false;
        std::size_t blockSize = 0;
        std::optional<CatalogFormat> format = DescribeIconImage(bytes.subspan(offset), byteCount, bitCount, blockSize);
        if (!format) return false;
        // Entries may all point at one small image; the total a full read would make is bounded.
        decoded += blockSize;
        if (decoded > kMaxIconFileDecodedBytes) return false;
        format->offset = offset;
        format->length = byteCount;
        format->entryBits = bitCount;
        if (fileType == 2) {
            format->pointX = planes;
            format->pointY = bitCount;
        }
        icon.formats.push_back(*format);
    }
    return true;
}

// A program's or library's icon and cursor groups.
bool CatalogProgram(std::span<const std::uint8_t> bytes, IconCatalog& catalog) {
    const auto groups = DescribeExeIcons(bytes);
    if (!groups) return false;
    for (const ExeIconGroupListing& group : *groups) {
        CatalogIcon icon{group.name.Display(), {}, {}};
        if (group.name.id) icon.number = *group.name.id;
        for (std::size_t i = 0; i < group.formats.size(); ++i) {
            const StoredImageFormat& f = group.formats[i];
            CatalogFormat format = FormatOf(f.width, f.height, f.colors, f.alpha, CatalogSource::ProgramImage);
            format.offset = static_cast<std::size_t>(group.images[i].data() - bytes.data());
            format.length = group.images[i].size();
            if (group.cursor) {
                format.pointX = group.hotspots[i].x;
                format.pointY = group.hotspots[i].y;
            }
            icon.formats.push_back(format);
        }
        catalog.icons.push_back(std::move(icon));
    }
    return !catalog.icons.empty();
}

void AddFamilyFormats(const std::vector<IcnsPictureFormat>& pictures, std::size_t familyStart, CatalogIcon& icon) {
    for (const IcnsPictureFormat& p : pictures) {
        CatalogFormat format = FormatOf(p.width, p.height, p.colors, p.alpha, CatalogSource::FamilyPicture);
        format.offset = familyStart;
        format.element = p.offset;
        icon.formats.push_back(format);
    }
}

// Animated cursors and strips, read whole: their formats as the full read gives them.
bool CatalogWhole(const std::string& path, std::span<const std::uint8_t> bytes, IconCatalog& catalog) {
    IconFileContents contents;
    if (!ReadIconContainer(path, bytes, contents)) return false;
    for (const NamedIcon& named : contents.icons) {
        CatalogIcon icon{named.name, named.number, {}};
        for (int i = 0; i < named.doc.GetFormatCount(); ++i) {
            const CIconObject& f = *named.doc.GetFormat(i);
            icon.formats.push_back(
                FormatOf(f.Width(), f.Height(), f.ColorCount(), f.HasAlpha(), CatalogSource::Container));
        }
        catalog.icons.push_back(std::move(icon));
    }
    return true;
}

bool Catalog(const std::string& path, std::span<const std::uint8_t> bytes, IconCatalog& catalog) {
    switch (catalog.container) {
        case IconContainer::Ico:
        case IconContainer::Cur: {
            CatalogIcon icon;
            if (!CatalogIconFile(bytes, icon)) return false;
            catalog.icons.push_back(std::move(icon));
            return true;
        }
        case IconContainer::Icns: {
            std::vector<IcnsPictureFormat> pictures;
            const std::optional<std::size_t> start = DescribeIcnsFile(bytes, pictures);
            if (!start) return false;
            catalog.icons.emplace_back();
            AddFamilyFormats(pictures, *start, catalog.icons.back());
            return true;
        }
        case IconContainer::Resource:
        case IconContainer::MacBinary:
            for (const MacFamilyListing& family : DescribeMacResourceFamilies(bytes)) {
                CatalogIcon icon{family.name, family.number, {}};
                AddFamilyFormats(family.formats, family.offset, icon);
                catalog.icons.push_back(std::move(icon));
            }
            return !catalog.icons.empty();
        case IconContainer::Pe: return CatalogProgram(bytes, catalog);
        case IconContainer::Ani:
        case IconContainer::Strip: return CatalogWhole(path, bytes, catalog);
        case IconContainer::Iconset:
        case IconContainer::Unknown: break;
    }
    return false;
}

}  // namespace

bool CatalogIconContainer(const std::string& path, std::span<const std::uint8_t> bytes, IconCatalog& catalog) {
    catalog = {};
    catalog.container = ClassifyIconFile(path, bytes);
    bool listed = false;
    try {
        listed = Catalog(path, bytes, catalog);
    } catch (const std::bad_alloc&) {
        listed = false;
    }
    if (!listed) catalog = {};
    return listed;
}

bool ReadCatalogFormat(const std::string& path, std::span<const std::uint8_t> bytes, const IconCatalog& catalog,
                       int icon, int format, CKvIcon& out, std::int32_t atLeast) {
    if (icon < 0 || static_cast<std::size_t>(icon) >= catalog.icons.size()) return false;
    const std::vector<CatalogFormat>& formats = catalog.icons[static_cast<std::size_t>(icon)].formats;
    if (format < 0 || static_cast<std::size_t>(format) >= formats.size()) return false;
    const CatalogFormat& f = formats[static_cast<std::size_t>(format)];
    try {
        CKvIcon image;
        bool read = false;
        switch (f.source) {
            case CatalogSource::IconImage: {
                Archive ar = Archive::ForLoading(bytes);
                read = ar.Seek(f.offset) && image.ReadImage(ar, static_cast<std::uint32_t>(f.length), f.entryBits);
                break;
            }
            case CatalogSource::ProgramImage:
                read = f.offset <= bytes.size() && f.length <= bytes.size() - f.offset &&
                       image.ReadImage(bytes.subspan(f.offset, f.length), static_cast<std::uint32_t>(f.length), 0);
                break;
            case CatalogSource::FamilyPicture:
                read = f.offset <= bytes.size() && ReadIcnsPicture(bytes.subspan(f.offset), f.element, image, atLeast);
                break;
            case CatalogSource::Container: {
                IconFileContents contents;
                if (!ReadIconContainer(path, bytes, contents)) return false;
                if (static_cast<std::size_t>(icon) >= contents.icons.size()) return false;
                CIconDoc& doc = contents.icons[static_cast<std::size_t>(icon)].doc;
                if (format >= doc.GetFormatCount()) return false;
                out = std::move(doc.GetFormat(format)->Icon());
                return true;
            }
        }
        if (!read) return false;
        if (f.pointX && f.pointY) image.SetPoint(*f.pointX, *f.pointY);
        out = std::move(image);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace tellurine
