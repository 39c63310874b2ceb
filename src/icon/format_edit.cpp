#include "icon/format_edit.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "icon/format_maker.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/filters.h"
#include "imaging/palette_map.h"
#include "imaging/resample.h"
#include "imaging/rotate.h"

namespace tellurine {
namespace {

constexpr COLORREF kWhite = 0xFFFFFF;

// The format's colour and mask bitmaps.
struct FormatBitmaps {
    DeviceBitmap color;
    DeviceBitmap mask;
};

bool GetBitmaps(const CKvIcon& icon, FormatBitmaps& bitmaps) {
    return icon.ToBitmaps(bitmaps.color, bitmaps.mask, nullptr) != 0;
}

// Puts edited bitmaps of the format's size back; the image is left as it was on failure.
bool PutBitmaps(CKvIcon& icon, const FormatBitmaps& bitmaps) {
    CKvIcon edited(icon);
    if (edited.IsEmpty() || !edited.FromBitmaps(bitmaps.color, bitmaps.mask, nullptr)) return false;
    edited.SetCompressed(icon.IsCompressed());
    icon = std::move(edited);
    return true;
}

// Runs an operation on a packed bitmap of the picture: 32 bits with the alpha for an alpha
// format, else 24 bits with the mask kept as it is.
template <typename Operation>
bool EditAsDib(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, Operation operation) {
    Block dib = alpha ? DeviceBitmapsToDib32(color, mask) : DeviceBitmapToDib(color, 24);
    if (dib.empty() || !operation(dib)) return false;
    DeviceBitmap newColor = DibToDeviceBitmap(dib);
    DeviceBitmap newMask = alpha ? DibAlphaToDeviceBitmap(dib) : mask;
    if (newColor.IsNull() || newMask.IsNull()) return false;
    color = std::move(newColor);
    mask = std::move(newMask);
    return true;
}

// Runs a bitmap edit on a whole format.
template <typename Edit>
bool EditFormatBitmaps(CKvIcon& icon, Edit edit) {
    FormatBitmaps bitmaps;
    return GetBitmaps(icon, bitmaps) && edit(bitmaps.color, bitmaps.mask) && PutBitmaps(icon, bitmaps);
}

// `bitmap` centred on a new bitmap of the given size filled with `fill`.
DeviceBitmap CentreOn(const DeviceBitmap& bitmap, int width, int height, COLORREF fill) {
    if (bitmap.Width() == width && bitmap.Height() == height) return bitmap;
    DeviceBitmap out = DeviceBitmap::Create(width, height, fill);
    if (out.IsNull()) return out;
    BitBlt(out, (width - bitmap.Width()) / 2, (height - bitmap.Height()) / 2, bitmap.Width(), bitmap.Height(), bitmap, 0,
           0, Rop::SrcCopy);
    return out;
}

}  // namespace

bool FilterBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int filterNumber) {
    return EditAsDib(color, mask, alpha,
                     [&](Block& dib) { return ApplyFilterToDib(dib, filterNumber, -1, -1, -1, -1) != 0; });
}

bool BlurBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int radius) {
    return EditAsDib(color, mask, alpha, [&](Block& dib) { return GaussianBlurDib(dib, radius, -1, -1, -1, -1) != 0; });
}

bool FlipBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool vertical) {
    DeviceBitmap newColor = FlipBitmap(color, vertical), newMask = FlipBitmap(mask, vertical);
    if (newColor.IsNull() || newMask.IsNull()) return false;
    color = std::move(newColor);
    mask = std::move(newMask);
    return true;
}

bool ResizeBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, std::int32_t width, std::int32_t height,
                   ResampleQuality quality) {
    if (width < 1 || height < 1 || width > kMaxResizeSide || height > kMaxResizeSide) return false;
    if (alpha) {
        const Block dib = DeviceBitmapsToDib32(color, mask);
        const Block resized = dib.empty() ? Block{} : ResampleDib(dib, width, height, quality);
        if (resized.empty()) return false;
        DeviceBitmap newColor = DibToDeviceBitmap(resized), newMask = DibAlphaToDeviceBitmap(resized);
        if (newColor.IsNull() || newMask.IsNull()) return false;
        color = std::move(newColor);
        mask = std::move(newMask);
        return true;
    }
    const Block colorDib = DeviceBitmapToDib(color, 24), maskDib = DeviceBitmapToDib(mask, 24);
    if (colorDib.empty() || maskDib.empty()) return false;
    const Block colorResized = ResampleDib(colorDib, width, height, quality),
                      maskResized = ResampleDib(maskDib, width, height, quality);
    if (colorResized.empty() || maskResized.empty()) return false;
    DeviceBitmap newColor = DibToDeviceBitmap(colorResized), newMask = DibToDeviceBitmap(maskResized);
    if (newColor.IsNull() || newMask.IsNull()) return false;
    // The soft mask becomes an AND mask again; its transparent pixels are black, so that they
    // show the screen rather than invert it.
    for (int y = 0; y < height; ++y) {
        std::uint32_t* colorRow = newColor.Row(y);
        std::uint32_t* maskRow = newMask.Row(y);
        for (int x = 0; x < width; ++x) {
            const bool transparent = (maskRow[x] & 0xFF) >= 128;
            maskRow[x] = transparent ? 0xFFFFFF : 0;
            if (transparent) colorRow[x] = 0;
        }
    }
    color = std::move(newColor);
    mask = std::move(newMask);
    return true;
}

bool FilterFormat(CKvIcon& icon, int filterNumber) {
    return EditFormatBitmaps(icon, [&](DeviceBitmap& c, DeviceBitmap& m) {
        return FilterBitmaps(c, m, icon.HasAlpha(), filterNumber);
    });
}

bool BlurFormat(CKvIcon& icon, int radius) {
    return EditFormatBitmaps(icon,
                             [&](DeviceBitmap& c, DeviceBitmap& m) { return BlurBitmaps(c, m, icon.HasAlpha(), radius); });
}

bool InvertFormat(CKvIcon& icon) {
    return EditFormatBitmaps(icon, [](DeviceBitmap& c, DeviceBitmap&) {
        DeviceBitmap inverted = InvertBitmap(c);
        if (inverted.IsNull()) return false;
        c = std::move(inverted);
        return true;
    });
}

bool AdjustFormat(CKvIcon& icon, const ColorAdjuster& adjuster) {
    IconImageLayout layout;
    if (!icon.GetLayout(layout)) return false;
    if (adjuster.IsIdentity()) return layout.bits <= 8 || layout.bits == 24 || layout.bits == 32;
    Block& block = icon.GetBlock();
    if (layout.bits <= 8) {
        // Colour-table entries (up to the pixels) are blue, green, red and a spare byte.
        std::uint8_t* table = block.data() + layout.tableOffset;
        const std::size_t entries = std::min<std::size_t>((layout.pixelOffset - layout.tableOffset) / 4, 256);
        const std::vector<std::uint8_t> before(table, table + 4 * entries);
        adjuster.AdjustBgr(table, entries, 4);
        // A pixel under the AND mask is transparent where its colour is black and inverts the
        // screen where it is white: it takes the new entry nearest to its old colour, so that it
        // keeps doing what it did. Every other pixel keeps its index.
        Palette adjusted;
        for (std::size_t i = 0; i < entries; ++i)
            adjusted.entries.push_back({table[4 * i + 2], table[4 * i + 1], table[4 * i], 0});
        SearchPalette search(adjusted, static_cast<int>(entries));
        for (std::uint32_t y = 0; y < icon.Height(); ++y) {
            std::uint8_t* row = block.data() + layout.pixelOffset + y * layout.colorStride;
            const std::uint8_t* mask = block.data() + layout.maskOffset + y * layout.maskStride;
            for (std::uint32_t x = 0; x < icon.Width(); ++x) {
                const auto column = static_cast<std::int32_t>(x);
                const std::uint8_t index = ReadIndex(row, column, layout.bits);
                if (ReadIndex(mask, column, 1) == 0 || index >= entries) continue;
                const std::uint8_t* old = before.data() + 4 * index;
                if (std::equal(old, old + 3, table + 4 * index)) continue;
                const int position = NearestPaletteIndex(old[2], old[1], old[0], search, search.size());
                WriteIndex(row, column, layout.bits, search[position].index);
            }
        }
        return true;
    }
    if (layout.bits != 24 && layout.bits != 32) return false;
    for (std::uint32_t y = 0; y < icon.Height(); ++y)
        adjuster.AdjustBgr(block.data() + layout.pixelOffset + y * layout.colorStride, icon.Width(),
                           static_cast<std::size_t>(layout.bits / 8));
    return true;
}

bool ShadowBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, const DropShadow& shadow) {
    return alpha && EditAsDib(color, mask, true, [&](Block& dib) {
               Block shadowed = WithDropShadow(dib, shadow, false);
               if (shadowed.empty()) return false;
               dib = std::move(shadowed);
               return true;
           });
}

bool ShadowFormat(CKvIcon& icon, const DropShadow& shadow) {
    return EditFormatBitmaps(
        icon, [&](DeviceBitmap& c, DeviceBitmap& m) { return ShadowBitmaps(c, m, icon.HasAlpha(), shadow); });
}

bool RotateBitmapsCentred(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int angle) {
    const int width = color.Width(), height = color.Height();
    DeviceBitmap c = color, m = mask;
    if (!RotateImage(c, m, angle, alpha)) return false;
    // Where nothing maps: black colour, and a transparent mask (alpha 0, or white for an AND mask).
    c = CentreOn(c, width, height, 0);
    m = CentreOn(m, width, height, alpha ? 0 : kWhite);
    if (c.IsNull() || m.IsNull()) return false;
    color = std::move(c);
    mask = std::move(m);
    return true;
}

bool RotateFormat(CKvIcon& icon, int angle) {
    return EditFormatBitmaps(
        icon, [&](DeviceBitmap& c, DeviceBitmap& m) { return RotateBitmapsCentred(c, m, icon.HasAlpha(), angle); });
}

bool FlipFormat(CKvIcon& icon, bool vertical) {
    return EditFormatBitmaps(icon, [&](DeviceBitmap& c, DeviceBitmap& m) { return FlipBitmaps(c, m, vertical); });
}

bool ResizeFormat(CKvIcon& icon, std::int32_t width, std::int32_t height, ResampleQuality quality) {
    if (width < 1 || height < 1 || width > kMaxResizeSide || height > kMaxResizeSide) return false;
    CKvIcon resized;
    if (!MakeFormatFromFormat(icon, width, height, icon.BitsPerPixel(), ResizeFilterPreference{.quality = quality}, resized)) return false;
    resized.SetAttribute1(icon.Attribute1());
    resized.SetAttribute2(icon.Attribute2());
    // A cursor's hotspot moves with the picture.
    const auto scale = [](std::int32_t point, std::int32_t to, std::uint32_t from) {
        return point < 0 || from == 0 ? point : static_cast<std::int32_t>(std::int64_t{point} * to / from);
    };
    resized.SetPoint(scale(icon.PointX(), width, icon.Width()), scale(icon.PointY(), height, icon.Height()));
    resized.SetCompressed(icon.IsCompressed());
    resized.SetMacElement(icon.MacElement());  // kept where it still fits, and its kind of stream
    icon = std::move(resized);
    return true;
}

}  // namespace tellurine
