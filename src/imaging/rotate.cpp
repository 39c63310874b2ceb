#include "imaging/rotate.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "image/busy.h"
#include "image/dib_block.h"
#include "imaging/filters.h"
#include "imaging/resample_kernels.h"

namespace tellurine {
namespace {

using resample_detail::WorkImage;

// Device bitmap rows and work image rows are both blue, green, red, fourth byte in memory, so
// rows move between them with memcpy.
static_assert(std::endian::native == std::endian::little);

std::size_t RowBytes(int width) { return static_cast<std::size_t>(width) * 4; }

// A copy made through Create, so that running out of memory gives a null bitmap, not an exception.
DeviceBitmap CopyBitmap(const DeviceBitmap& bitmap) {
    DeviceBitmap copy = DeviceBitmap::Create(bitmap.Width(), bitmap.Height());
    if (copy.IsNull()) return copy;
    std::memcpy(copy.Row(0), bitmap.Row(0), RowBytes(bitmap.Width()) * static_cast<std::size_t>(bitmap.Height()));
    return copy;
}

// The rotation by angleDegrees counter-clockwise on screen, and the rectangle of destination
// coordinates that holds the turned bitmap; destination (x, y) is written at (x - minX, y - minY).
//
// Destination (x, y) looks up source (x cs + y sn, y cs - x sn), in top-down coordinates. The
// extents are the origin and three turned corners, each coordinate truncated toward zero: (W, 0),
// (0, H) and (W - 1, H). The third corner is the far one with W - 1 for its x, so the bitmap can
// come out a pixel narrower or shorter than the turned rectangle; rotations made here have always
// had exactly these sizes, so it stays.
struct Turn {
    double cs = 1.0;
    double sn = 0.0;
    int minX = 0, maxX = 0, minY = 0, maxY = 0;

    [[nodiscard]] int Width() const { return maxX - minX; }
    [[nodiscard]] int Height() const { return maxY - minY; }
};

std::optional<Turn> MakeTurn(const DeviceBitmap& bitmap, double angleDegrees) {
    if (bitmap.IsNull() || !std::isfinite(angleDegrees)) return std::nullopt;
    const double theta = angleDegrees * std::acos(0.0) / -90.0;
    Turn turn;
    turn.cs = std::cos(theta);
    turn.sn = std::sin(theta);
    const double w = bitmap.Width(), h = bitmap.Height();
    // |coordinate| <= 2 * kMaxDibDimension, so every truncation fits an int.
    const int xs[4] = {0, static_cast<int>(w * turn.cs), static_cast<int>(-h * turn.sn),
                       static_cast<int>((w - 1) * turn.cs - h * turn.sn)};
    const int ys[4] = {0, static_cast<int>(w * turn.sn), static_cast<int>(h * turn.cs),
                       static_cast<int>((w - 1) * turn.sn + h * turn.cs)};
    turn.minX = *std::min_element(xs, xs + 4);
    turn.maxX = *std::max_element(xs, xs + 4);
    turn.minY = *std::min_element(ys, ys + 4);
    turn.maxY = *std::max_element(ys, ys + 4);
    if (turn.Width() <= 0 || turn.Height() <= 0) return std::nullopt;
    return turn;
}

}  // namespace

DeviceBitmap ResampleBitmap(const DeviceBitmap& bitmap, int newWidth, int newHeight) {
    if (bitmap.IsNull() || newWidth <= 0 || newHeight <= 0 || newWidth > kMaxDibDimension ||
        newHeight > kMaxDibDimension)
        return {};
    const int width = bitmap.Width(), height = bitmap.Height();
    if (newWidth == width && newHeight == height) return CopyBitmap(bitmap);

    // The kernels work bottom-up, as on a packed bitmap: the last row of the picture is stored
    // first. The fourth byte travels as stored.
    WorkImage source, result;
    if (!source.Allocate(width, height) || !result.Allocate(newWidth, newHeight)) return {};
    for (int y = 0; y < height; ++y) std::memcpy(source.Row(height - 1 - y), bitmap.Row(y), RowBytes(width));

    const double sx = static_cast<double>(width) / newWidth;
    const double sy = static_cast<double>(height) / newHeight;
    if (width > newWidth && height > newHeight) {
        if (!resample_detail::AreaAverage(source, result, sx, sy)) return {};
    } else {
        // Device bitmaps carry no alpha, so no neighbour lends its colour.
        resample_detail::Interpolate(source, result, sx, sy, false);
    }
    source.pixels.Reset();

    DeviceBitmap out = DeviceBitmap::Create(newWidth, newHeight);
    if (out.IsNull()) return out;
    for (int y = 0; y < newHeight; ++y) std::memcpy(out.Row(y), result.Row(newHeight - 1 - y), RowBytes(newWidth));
    return out;
}

// Source (x, y) goes to (y, width - 1 - x): the top row becomes the left column, read upwards.
DeviceBitmap RotateBitmap90(const DeviceBitmap& bitmap) {
    if (bitmap.IsNull()) return {};
    const int width = bitmap.Width(), height = bitmap.Height();
    DeviceBitmap out = DeviceBitmap::Create(height, width);
    if (out.IsNull()) return out;
    for (int y = 0; y < height; ++y) {
        const std::uint32_t* in = bitmap.Row(y);
        for (int x = 0; x < width; ++x) out.Row(width - 1 - x)[y] = in[x];
    }
    return out;
}

// Source (x, y) goes to (width - 1 - x, height - 1 - y).
DeviceBitmap RotateBitmap180(const DeviceBitmap& bitmap) {
    if (bitmap.IsNull()) return {};
    const int width = bitmap.Width(), height = bitmap.Height();
    DeviceBitmap out = DeviceBitmap::Create(width, height);
    if (out.IsNull()) return out;
    for (int y = 0; y < height; ++y) std::reverse_copy(bitmap.Row(y), bitmap.Row(y) + width, out.Row(height - 1 - y));
    return out;
}

// Source (x, y) goes to (height - 1 - y, x): the top row becomes the right column, read downwards.
DeviceBitmap RotateBitmap270(const DeviceBitmap& bitmap) {
    if (bitmap.IsNull()) return {};
    const int width = bitmap.Width(), height = bitmap.Height();
    DeviceBitmap out = DeviceBitmap::Create(height, width);
    if (out.IsNull()) return out;
    for (int y = 0; y < height; ++y) {
        const std::uint32_t* in = bitmap.Row(y);
        for (int x = 0; x < width; ++x) out.Row(x)[height - 1 - y] = in[x];
    }
    return out;
}

DeviceBitmap FlipBitmap(const DeviceBitmap& bitmap, bool vertical) {
    if (bitmap.IsNull()) return {};
    const int width = bitmap.Width(), height = bitmap.Height();
    DeviceBitmap out = DeviceBitmap::Create(width, height);
    if (out.IsNull()) return out;
    for (int y = 0; y < height; ++y) {
        const std::uint32_t* in = bitmap.Row(y);
        if (vertical)
            std::memcpy(out.Row(height - 1 - y), in, RowBytes(width));
        else
            std::reverse_copy(in, in + width, out.Row(y));
    }
    return out;
}

// Nearest neighbour: destination (x, y) takes source (trunc(x cs + y sn - 0.5), trunc(y cs - x sn
// - 0.5)), truncated toward zero, or `background` when that lies outside the source. Truncation
// toward zero puts the points just left of and above the source (-1 < coordinate < 0) on its first
// column and row, so at 0 degrees the first column and row appear twice and the last ones fall off
// the bitmap, as they always have. The bitmap is created white, and every pixel is then written.
DeviceBitmap RotateBitmapFree(const DeviceBitmap& bitmap, COLORREF background, double angleDegrees) {
    const auto turn = MakeTurn(bitmap, angleDegrees);
    if (!turn) return {};
    DeviceBitmap out = DeviceBitmap::Create(turn->Width(), turn->Height(), 0xFFFFFF);
    if (out.IsNull()) return out;
    const std::uint32_t fill = DeviceBitmap::ToNative(background);
    const double cs = turn->cs, sn = turn->sn;
    // The mapping is evaluated over minX..maxX and minY..maxY inclusive; the last column and row
    // fall outside the bitmap and are dropped, so they are not computed at all.
    for (int y = turn->minY; y < turn->maxY; ++y) {
        std::uint32_t* row = out.Row(y - turn->minY);
        for (int x = turn->minX; x < turn->maxX; ++x) {
            const int srcX = static_cast<int>(x * cs + y * sn - 0.5);
            const int srcY = static_cast<int>(y * cs - x * sn - 0.5);
            row[x - turn->minX] = bitmap.Contains(srcX, srcY) ? bitmap.Row(srcY)[srcX] : fill;
        }
    }
    return out;
}

// Bilinear, over the same extents as RotateBitmapFree. Here the mapping is taken as a turn of the
// continuous plane: destination pixel (x, y) is the square [x, x + 1) x [y, y + 1), its centre
// (x + 0.5, y + 0.5) maps to (u, v) by the same inverse rotation, and source pixel (i, j) has its
// centre at (i + 0.5, j + 0.5). The four source pixels around (u - 0.5, v - 0.5) are weighted by
// their distance, a neighbour outside the source counting as `background`, so the edges blend
// into the background over one pixel, centred on the true edge. At 0 degrees this is an exact
// copy; the nearest-neighbour rotation sits up to one pixel up and left of it. All four bytes
// of each pixel are interpolated alike and rounded to nearest.
DeviceBitmap RotateBitmapSmooth(const DeviceBitmap& bitmap, COLORREF background, double angleDegrees) {
    const auto turn = MakeTurn(bitmap, angleDegrees);
    if (!turn) return {};
    DeviceBitmap out = DeviceBitmap::Create(turn->Width(), turn->Height(), 0xFFFFFF);
    if (out.IsNull()) return out;
    const std::uint32_t fill = DeviceBitmap::ToNative(background);
    const int width = bitmap.Width(), height = bitmap.Height();
    const double cs = turn->cs, sn = turn->sn;
    const auto fetch = [&](int x, int y) { return bitmap.Contains(x, y) ? bitmap.Row(y)[x] : fill; };

    for (int y = turn->minY; y < turn->maxY; ++y) {
        std::uint32_t* row = out.Row(y - turn->minY);
        const double py = y + 0.5;
        for (int x = turn->minX; x < turn->maxX; ++x) {
            const double px = x + 0.5;
            const double u = px * cs + py * sn - 0.5;
            const double v = py * cs - px * sn - 0.5;
            const double fx = std::floor(u), fy = std::floor(v);
            std::uint32_t& target = row[x - turn->minX];
            if (fx < -1.0 || fy < -1.0 || fx >= width || fy >= height) {
                target = fill;
                continue;
            }
            const int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy);
            const double tx = u - fx, ty = v - fy;
            const std::uint32_t p00 = fetch(x0, y0), p10 = fetch(x0 + 1, y0);
            const std::uint32_t p01 = fetch(x0, y0 + 1), p11 = fetch(x0 + 1, y0 + 1);
            std::uint32_t value = 0;
            for (int shift = 0; shift < 32; shift += 8) {
                const auto channel = [shift](std::uint32_t p) { return static_cast<double>((p >> shift) & 0xFF); };
                const double top = channel(p00) * (1.0 - tx) + channel(p10) * tx;
                const double bottom = channel(p01) * (1.0 - tx) + channel(p11) * tx;
                const double c = top * (1.0 - ty) + bottom * ty;
                value |= std::min(static_cast<std::uint32_t>(c + 0.5), 255u) << shift;
            }
            target = value;
        }
    }
    return out;
}

// A free angle outside 1..359 is clamped into it, so the command always turns by something; a
// choice outside the four gives 0, which turns nothing.
int RotateCommandAngle(RotateDirection direction, RotateChoice choice, int freeAngle) {
    int angle = 0;
    switch (choice) {
        case RotateChoice::Quarter: angle = 90; break;
        case RotateChoice::Half: angle = 180; break;
        case RotateChoice::ThreeQuarters: angle = 270; break;
        case RotateChoice::Free: angle = std::clamp(freeAngle, kMinFreeAngle, kMaxFreeAngle); break;
    }
    if (angle != 0 && direction == RotateDirection::Right) angle = 360 - angle;
    return angle;
}

bool RotateImage(DeviceBitmap& color, DeviceBitmap& mask, int angle, bool smooth) {
    const int turn = (angle % 360 + 360) % 360;
    if (turn == 0) return true;
    if (color.Width() != mask.Width() || color.Height() != mask.Height()) return false;

    const ScopedBusy busy;
    DeviceBitmap newColor, newMask;
    switch (turn) {
        case 90:
            newColor = RotateBitmap90(color);
            newMask = RotateBitmap90(mask);
            break;
        case 180:
            newColor = RotateBitmap180(color);
            newMask = RotateBitmap180(mask);
            break;
        case 270:
            newColor = RotateBitmap270(color);
            newMask = RotateBitmap270(mask);
            break;
        default:
            if (smooth) {
                newColor = RotateBitmapSmooth(color, 0, turn);
                newMask = RotateBitmapSmooth(mask, 0, turn);
                const ConvolutionKernel* details = FilterKernel(kFilterDetails);
                if (newColor.IsNull() || newMask.IsNull() || details == nullptr ||
                    ConvolveBitmap(newColor, *details, 0) == 0 || ConvolveBitmap(newMask, *details, 0) == 0)
                    return false;
            } else {
                newColor = RotateBitmapFree(color, 0, turn);
                newMask = RotateBitmapFree(mask, 0xFFFFFF, turn);
            }
            break;
    }
    if (newColor.IsNull() || newMask.IsNull()) return false;
    color = std::move(newColor);
    mask = std::move(newMask);
    return true;
}

}  // namespace tellurine
