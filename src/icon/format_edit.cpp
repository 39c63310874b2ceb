#include "icon/format_edit.h"

#include <algorithm>
#include <utility>

#include "icon/format_maker.h"
#include "image/raster.h"
#include "imaging/filters.h"
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

// Runs an operation on a packed bitmap of the format's picture: 32 bits with the alpha for an
// alpha format, else 24 bits with the mask kept aside.
template <typename Operation>
bool EditAsDib(CKvIcon& icon, Operation operation) {
    FormatBitmaps bitmaps;
    if (!GetBitmaps(icon, bitmaps)) return false;
    Block dib = icon.HasAlpha() ? DeviceBitmapsToDib32(bitmaps.color, bitmaps.mask) : DeviceBitmapToDib(bitmaps.color, 24);
    if (dib.empty() || !operation(dib)) return false;
    bitmaps.color = DibToDeviceBitmap(dib);
    if (icon.HasAlpha()) bitmaps.mask = DibAlphaToDeviceBitmap(dib);
    if (bitmaps.color.IsNull() || bitmaps.mask.IsNull()) return false;
    return PutBitmaps(icon, bitmaps);
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

bool FilterFormat(CKvIcon& icon, int filterNumber) {
    return EditAsDib(icon, [&](Block& dib) { return ApplyFilterToDib(dib, filterNumber, -1, -1, -1, -1) != 0; });
}

bool BlurFormat(CKvIcon& icon, int radius) {
    return EditAsDib(icon, [&](Block& dib) { return GaussianBlurDib(dib, radius, -1, -1, -1, -1) != 0; });
}

bool InvertFormat(CKvIcon& icon) {
    FormatBitmaps bitmaps;
    if (!GetBitmaps(icon, bitmaps)) return false;
    bitmaps.color = InvertBitmap(bitmaps.color);
    return !bitmaps.color.IsNull() && PutBitmaps(icon, bitmaps);
}

bool RotateFormat(CKvIcon& icon, int angle) {
    FormatBitmaps bitmaps;
    if (!GetBitmaps(icon, bitmaps)) return false;
    const int width = bitmaps.color.Width(), height = bitmaps.color.Height();
    if (!RotateImage(bitmaps.color, bitmaps.mask, angle, icon.HasAlpha())) return false;
    // Where nothing maps: black colour, and a transparent mask (alpha 0 for an alpha format, white
    // for an AND mask).
    bitmaps.color = CentreOn(bitmaps.color, width, height, 0);
    bitmaps.mask = CentreOn(bitmaps.mask, width, height, icon.HasAlpha() ? 0 : kWhite);
    if (bitmaps.color.IsNull() || bitmaps.mask.IsNull()) return false;
    return PutBitmaps(icon, bitmaps);
}

bool FlipFormat(CKvIcon& icon, bool vertical) {
    FormatBitmaps bitmaps;
    if (!GetBitmaps(icon, bitmaps)) return false;
    bitmaps.color = FlipBitmap(bitmaps.color, vertical);
    bitmaps.mask = FlipBitmap(bitmaps.mask, vertical);
    return !bitmaps.color.IsNull() && !bitmaps.mask.IsNull() && PutBitmaps(icon, bitmaps);
}

bool ResizeFormat(CKvIcon& icon, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 1 || width > kMaxResizeSide || height > kMaxResizeSide) return false;
    CKvIcon resized;
    if (!MakeFormatFromFormat(icon, width, height, icon.BitsPerPixel(), ResizeFilterPreference{}, resized)) return false;
    resized.SetAttribute1(icon.Attribute1());
    resized.SetAttribute2(icon.Attribute2());
    // A cursor's hotspot moves with the picture.
    const auto scale = [](std::int32_t point, std::int32_t to, std::uint32_t from) {
        return point < 0 || from == 0 ? point : static_cast<std::int32_t>(std::int64_t{point} * to / from);
    };
    resized.SetPoint(scale(icon.PointX(), width, icon.Width()), scale(icon.PointY(), height, icon.Height()));
    resized.SetCompressed(icon.IsCompressed());
    icon = std::move(resized);
    return true;
}

}  // namespace tellurine
