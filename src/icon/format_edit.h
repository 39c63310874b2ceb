// Whole-format edits: the filters, resize, rotation and flips applied to one icon format, through
// the same routines the editor uses on its colour and mask bitmaps.
//
// A format keeps its depth. Indexed formats are edited in full colour and mapped back onto their
// own colour table; their AND mask and a 24-bit format's are edited as the mask bitmap (white is
// transparent); an alpha format's alpha is edited with its colours. Each returns false, with the
// format unchanged, for a format it cannot take or lack of memory.
#pragma once

#include <cstdint>

#include "icon/kv_icon.h"
#include "image/device_bitmap.h"
#include "imaging/adjust.h"
#include "imaging/resample.h"

namespace tellurine {

// The largest side a picture is resized to: the resize dialog's limit.
inline constexpr int kMaxResizeSide = 4096;

// The edits on a picture held as the editor holds a format: a colour bitmap and a mask bitmap of
// one size, the mask keeping opacity as grey levels when `alpha`, else the AND mask (white is
// transparent). The editor runs them on a selection, the whole-format edits below on a format.
// Each leaves both bitmaps unchanged when it returns false.
//
// Filter 1..12; the alpha is filtered with the colours, an AND mask is kept as it is.
bool FilterBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int filterNumber);
// The Gaussian blur of radius 2..50, with the same treatment of the mask.
bool BlurBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int radius);
// Turned counter-clockwise by `angle` degrees (RotateImage) and centred on the same size: black
// and transparent where nothing maps, cut where the turned picture overflows.
bool RotateBitmapsCentred(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, int angle);
// Mirrored top to bottom when `vertical`, else left to right.
bool FlipBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool vertical);
// A drop shadow under the picture (WithDropShadow, cut at its edges); false without alpha.
bool ShadowBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, const DropShadow& shadow);
// Resampled to width x height (1..kMaxResizeSide): colours and alpha together with ResampleDib;
// an AND mask is resampled as grey and set where it comes out at half or more, its pixels black.
bool ResizeBitmaps(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, std::int32_t width, std::int32_t height,
                   ResampleQuality quality = ResampleQuality::Standard);

// Filter 1..12 of the Filters menu on the whole format.
bool FilterFormat(CKvIcon& icon, int filterNumber);
// The Gaussian blur of the given radius (2..50) on the whole format.
bool BlurFormat(CKvIcon& icon, int radius);
// Red, green and blue replaced by 255 minus themselves; the mask and alpha are kept.
bool InvertFormat(CKvIcon& icon);
// Turned counter-clockwise by `angle` degrees (see RotateImage). A turn that changes the picture's
// size (a free angle, or a quarter turn of a format that is not square) is centred on the format,
// transparent where nothing maps and cut where it overflows.
bool RotateFormat(CKvIcon& icon, int angle);
// Mirrored top to bottom when `vertical`, else left to right.
bool FlipFormat(CKvIcon& icon, bool vertical);

// The colours adjusted in place: an indexed format's colour table, so that every pixel keeps its
// index (but those under the AND mask, which take the entry nearest to their old colour so that
// they stay transparent or inverting); a 24- or 32-bit format's pixels, their alpha and mask kept.
// False for a 16-bit format.
bool AdjustFormat(CKvIcon& icon, const ColorAdjuster& adjuster);
// A drop shadow under a 32-bit format, cut at its edges (WithDropShadow); false for a format
// without alpha, which has nowhere to put a soft shadow.
bool ShadowFormat(CKvIcon& icon, const DropShadow& shadow);

// The format made again at a new size and its own depth (MakeFormatFromFormat), keeping its
// attributes, point and PNG-compressed flag. Sizes must be 1..kMaxResizeSide.
bool ResizeFormat(CKvIcon& icon, std::int32_t width, std::int32_t height,
                  ResampleQuality quality = ResampleQuality::Standard);

}  // namespace tellurine
