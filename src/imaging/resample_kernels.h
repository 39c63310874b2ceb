// The two resampling kernels behind ResampleDib, shared with ResampleBitmap. Internal to imaging/.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/block.h"

namespace tellurine::resample_detail {

// A 32-bit, bottom-up working image: four bytes per pixel in the order blue, green, red, alpha,
// with no row padding. Its pixels are its own block, or the pixel rows of a 32-bit packed bitmap
// (the same layout), seen where they lie.
struct WorkImage {
    std::int32_t width = 0;
    std::int32_t height = 0;
    Block pixels;
    std::uint8_t* seen = nullptr;  // the bottom row of the bitmap seen, or null for `pixels`

    // Zero-filled; false when the size overflows, is over the block limit or memory runs out.
    bool Allocate(std::int32_t w, std::int32_t h) {
        std::size_t count = 0, bytes = 0;
        if (w <= 0 || h <= 0 || !CheckedMul(static_cast<std::size_t>(w), static_cast<std::size_t>(h), count) ||
            !CheckedMul(count, 4, bytes))
            return false;
        width = w;
        height = h;
        pixels = Block::Allocate(bytes);
        seen = nullptr;
        return !pixels.empty();
    }
    // Rows that lie elsewhere, `w` x `h` pixels from `bottom` on, which must outlive the image.
    void View(std::int32_t w, std::int32_t h, std::uint8_t* bottom) {
        pixels.Reset();
        width = w;
        height = h;
        seen = bottom;
    }
    // Stored row y (0 is the bottom row of the picture).
    std::uint8_t* Row(std::int32_t y) {
        return (seen != nullptr ? seen : pixels.data()) + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
    }
    const std::uint8_t* Row(std::int32_t y) const {
        return (seen != nullptr ? seen : pixels.data()) + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
    }
    std::uint8_t* At(std::int32_t x, std::int32_t y) { return Row(y) + static_cast<std::size_t>(x) * 4; }
    const std::uint8_t* At(std::int32_t x, std::int32_t y) const {
        return Row(y) + static_cast<std::size_t>(x) * 4;
    }
};

// Area average of `src` into `dst` for a shrink on both axes, sx = src.width / dst.width > 1 and
// sy = src.height / dst.height > 1; all four bytes alike. False when its accumulators cannot be
// had.
bool AreaAverage(const WorkImage& src, WorkImage& dst, double sx, double sy);

// Bilinear interpolation of `src` at (i * sx, j * sy) for every pixel (i, j) of `dst`, all four
// bytes alike. `borrowColour` applies the alpha donor rule of 32-bit packed bitmaps (see the
// definition); sources without alpha pass false.
void Interpolate(const WorkImage& src, WorkImage& dst, double sx, double sy, bool borrowColour);

// An axis of a picture `full` pixels long, whose source pixel k stands where the full picture's
// pixel `origin + k * step` does (a coarser level of it); all zero for the source itself.
struct LevelAxis {
    std::int32_t full = 0;
    std::int32_t step = 1;
    std::int32_t origin = 0;
};

// The high-quality resampler (resample_high.cpp): `src` filtered into every pixel of `dst`, any
// sizes, each new pixel centred where it lies on the full picture along each axis (rows counted
// from the bottom, as stored). False when its working rows cannot be had.
bool ResampleLanczos(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis = {}, LevelAxis rowAxis = {});

}  // namespace tellurine::resample_detail
