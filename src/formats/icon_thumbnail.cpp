#include "formats/icon_thumbnail.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <optional>
#include <vector>

#include "formats/icon_catalog.h"
#include "formats/icon_project.h"
#include "formats/image_header.h"
#include "formats/pe_resources.h"
#include "icon/kv_icon.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"
#include "imaging/resample.h"

namespace tellurine {

int ChooseThumbnailFormat(std::span<const ThumbnailCandidate> formats, int size) {
    int best = -1;
    std::int32_t bestSide = 0;
    int bestBits = 0;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        const std::int32_t side = std::max(formats[i].width, formats[i].height);
        const int bits = formats[i].bits;
        bool better = best < 0;
        if (!better && side != bestSide) {
            // Of two sizes, the one that reaches `size` wins; of two that do, the smaller; of two
            // that do not, the larger.
            const bool reaches = side >= size, bestReaches = bestSide >= size;
            better = reaches != bestReaches ? reaches : reaches ? side < bestSide : side > bestSide;
        } else if (!better) {
            better = bits > bestBits;
        }
        if (better) {
            best = static_cast<int>(i);
            bestSide = side;
            bestBits = bits;
        }
    }
    return best;
}

ThumbnailDimensions FitThumbnail(std::int32_t width, std::int32_t height, int size) {
    const std::int32_t side = std::max(width, height);
    if (side <= size) return {width, height};
    const double scale = static_cast<double>(size) / side;
    const auto fit = [&](std::int32_t v) {
        return std::clamp(static_cast<std::int32_t>(std::lround(v * scale)), std::int32_t{1}, std::int32_t{size});
    };
    return {fit(width), fit(height)};
}

namespace {

// Small pictures: level 1 packs them within a few percent of level 6, in half the time.
constexpr int kPngLevel = 1;

// The thumbnail of the chosen format, given as `stored`, a plain RGBA PNG stream of width x height
// pixels as the file holds it, or else as its picture: the stream itself when it needs no
// resampling, else the picture resampled and encoded. A picture that is a coarser `level` of the
// format is resampled as the whole format would be.
bool Deliver(std::span<const std::uint8_t> stored, std::int32_t width, std::int32_t height, Block picture, int size,
             std::vector<std::uint8_t>& png, const PictureLevel& level = {}) {
    if (!stored.empty()) {
        const ThumbnailDimensions fit = FitThumbnail(width, height, size);
        if (fit.width == width && fit.height == height) {
            png.assign(stored.begin(), stored.end());
            return true;
        }
        picture = DecodePng(stored, 32);
    }
    const auto layout = GetDibLayout(picture);
    if (!layout) throw std::bad_alloc();
    const bool isLevel = level.step > 1;
    const ThumbnailDimensions fit = isLevel ? FitThumbnail(level.fullWidth, level.fullHeight, size)
                                            : FitThumbnail(layout->width, layout->height, size);
    const Block resampled = isLevel ? ResampleLevel(picture, level, fit.width, fit.height)
                                    : ResampleDib(picture, fit.width, fit.height, ResampleQuality::High);
    if (resampled.empty() || !EncodePng(resampled, png, kPngLevel)) throw std::bad_alloc();
    return true;
}

// The thumbnail of a PNG stream that is to be resampled, decoded once: read as an icon image, it
// would first be inflated whole to check it. False when the bytes are no PNG stream, are shown at
// their own size, or do not decode (the decoder refuses a damaged stream as the check would).
bool ResampledPng(std::span<const std::uint8_t> stream, int size, std::vector<std::uint8_t>& png) {
    std::int32_t w = 0, h = 0;
    if (!PngDimensions(stream, w, h)) return false;  // also false for bytes that are no PNG stream
    const ThumbnailDimensions fit = FitThumbnail(w, h, size);
    if (fit.width == w && fit.height == h) return false;
    Block picture = DecodePng(stream, 32);
    return picture && Deliver({}, 0, 0, std::move(picture), size, png);
}

// A program's first icon group that has an image that can be read: only the headers of that
// group's images are read to choose, and only the chosen image is decoded, if at all.
bool ProgramThumbnail(std::span<const std::uint8_t> bytes, int size, std::vector<std::uint8_t>& png) {
    const auto groups = ListExeIconGroups(bytes);
    if (!groups) return false;
    for (const StoredExeIconGroup& group : *groups) {
        std::vector<ThumbnailCandidate> formats;
        std::vector<std::span<const std::uint8_t>> images;
        for (const std::span<const std::uint8_t> image : group.images) {
            const std::optional<StoredImageFormat> format = DescribeStoredImage(image);
            if (!format) continue;
            formats.push_back({format->width, format->height, format->Bits()});
            images.push_back(image);
        }
        const int chosen = ChooseThumbnailFormat(formats, size);
        if (chosen < 0) continue;
        const std::span<const std::uint8_t> image = images[static_cast<std::size_t>(chosen)];
        const ThumbnailCandidate& format = formats[static_cast<std::size_t>(chosen)];
        // A stream shown at its own size is checked and copied as it is.
        if (ResampledPng(image, size, png)) return true;
        if (IsIntactPlainRgbaPng(image, PngCheckMemory::SmallWindow))
            return Deliver(image, format.width, format.height, {}, size, png);
        CKvIcon icon;
        if (icon.ReadImage(image, static_cast<std::uint32_t>(image.size()), 0) == 0) return false;
        return Deliver({}, 0, 0, icon.To32BitDib(), size, png);
    }
    return false;
}

// The thumbnail of one format, or of a coarser level of it.
bool IconThumbnail(const CKvIcon& icon, int size, std::vector<std::uint8_t>& png, const PictureLevel& level = {}) {
    const std::span<const std::uint8_t> stored = icon.UnchangedPng();
    return Deliver(stored, static_cast<std::int32_t>(icon.Width()), static_cast<std::int32_t>(icon.Height()),
                   stored.empty() ? icon.To32BitDib() : Block(), size, png, level);
}

// The level a picture read of a w x h format is: the step that divides the format's sides to the
// picture's (rounding up), or 1 when it is the whole format or no step does.
PictureLevel LevelOf(const CKvIcon& picture, std::int32_t w, std::int32_t h) {
    for (std::int32_t step = 2; step <= w && step <= h; step *= 2)
        if ((w + step - 1) / step == static_cast<std::int32_t>(picture.Width()) &&
            (h + step - 1) / step == static_cast<std::int32_t>(picture.Height()))
            return {w, h, step};
    return {};
}

// A Windows icon's image as the file holds it; empty for a format of another source.
std::span<const std::uint8_t> IconImageBytes(std::span<const std::uint8_t> bytes, const CatalogFormat& f) {
    if (f.source != CatalogSource::IconImage || f.offset > bytes.size() || f.length > bytes.size() - f.offset)
        return {};
    return bytes.subspan(f.offset, f.length);
}

// The chosen format of an icon.
bool FormatThumbnail(const CIconDoc& doc, int size, std::vector<std::uint8_t>& png) {
    std::vector<ThumbnailCandidate> formats;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        formats.push_back({f.Width(), f.Height(), f.BitCount()});
    }
    const int chosen = ChooseThumbnailFormat(formats, size);
    return chosen >= 0 && IconThumbnail(doc.GetFormat(chosen)->Icon(), size, png);
}

// An icon file or a Macintosh family: its first icon's formats listed from their headers, and only
// the chosen one decoded; when that one's data is damaged past its header, the next choice.
bool CatalogThumbnail(const std::string& path, std::span<const std::uint8_t> bytes, int size,
                      std::vector<std::uint8_t>& png) {
    IconCatalog catalog;
    if (!CatalogIconContainer(path, bytes, catalog) || catalog.icons.empty()) return false;
    std::vector<ThumbnailCandidate> formats;
    for (const CatalogFormat& f : catalog.icons.front().formats) formats.push_back({f.width, f.height, f.bits});
    std::vector<int> indices(formats.size());
    std::iota(indices.begin(), indices.end(), 0);
    while (!formats.empty()) {
        const int chosen = ChooseThumbnailFormat(formats, size);
        // As a picture only looked at: a family's JPEG 2000 picture is then decoded without the
        // image library (which takes longer to load than a 256-pixel picture takes to decode),
        // from the coarsest level still twice the thumbnail's size, and resampled as the whole
        // picture would be (a level's pixels stand off the centres of the blocks they sum up).
        // That differs from the whole picture's thumbnail by under 1 in 255 on average and a
        // tenth of the range at the sharpest edges; a level of the thumbnail's own size would be
        // off by 1 to 3 on average and by up to half the range at edges.
        const ThumbnailCandidate& f = formats[static_cast<std::size_t>(chosen)];
        const ThumbnailDimensions fit = FitThumbnail(f.width, f.height, size);
        const int index = indices[static_cast<std::size_t>(chosen)];
        if (ResampledPng(IconImageBytes(bytes, catalog.icons.front().formats[static_cast<std::size_t>(index)]), size,
                         png))
            return true;
        CKvIcon icon;
        if (ReadCatalogFormat(path, bytes, catalog, 0, index, icon, 2 * std::max(fit.width, fit.height)))
            return IconThumbnail(icon, size, png, LevelOf(icon, f.width, f.height));
        formats.erase(formats.begin() + chosen);
        indices.erase(indices.begin() + chosen);
    }
    return false;
}

// Any other container: an animated cursor's first step, else the chosen format of its first icon.
bool ContainerThumbnail(const std::string& path, std::span<const std::uint8_t> bytes, int size,
                        std::vector<std::uint8_t>& png, bool& outOfMemory) {
    IconFileContents contents;
    if (!ReadIconContainer(path, bytes, contents, &outOfMemory)) return false;
    if (contents.container == IconContainer::Ani)
        return Deliver({}, 0, 0, contents.steps.front().image.DetachBlock(), size, png);
    return FormatThumbnail(contents.icons.front().doc, size, png);
}

}  // namespace

bool MakeIconThumbnail(const std::string& path, std::span<const std::uint8_t> bytes, int size,
                       std::vector<std::uint8_t>& png, std::string& error) {
    bool outOfMemory = false;
    try {
        bool made = false;
        switch (ClassifyIconFile(path, bytes)) {
            case IconContainer::Pe: made = ProgramThumbnail(bytes, size, png); break;
            case IconContainer::Icns:
            case IconContainer::Ico:
            case IconContainer::Cur: made = CatalogThumbnail(path, bytes, size, png); break;
            default: made = ContainerThumbnail(path, bytes, size, png, outOfMemory);
        }
        if (made) return true;
    } catch (const std::bad_alloc&) {
        outOfMemory = true;
    }
    png.clear();
    error = outOfMemory ? kOutOfMemoryText : "no icon that can be read";
    return false;
}

}  // namespace tellurine
