#include "imaging/resample.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "image/dib_block.h"

namespace tellurine {
namespace {

// One whole source pixel along one axis weighs this much in the area average.
constexpr std::uint32_t kWhole = 1000;

// Pixels of this alpha or more lend their colour to nearly transparent neighbours before an
// area average; below it a pixel borrows.
constexpr std::uint8_t kBleedAlpha = 8;

// A 32-bit, bottom-up working image: four bytes per pixel in the order blue, green, red, alpha,
// with no row padding.
struct WorkImage {
    std::int32_t width = 0;
    std::int32_t height = 0;
    Block pixels;

    bool Allocate(std::int32_t w, std::int32_t h) {
        std::size_t count = 0, bytes = 0;
        if (!CheckedMul(static_cast<std::size_t>(w), static_cast<std::size_t>(h), count) ||
            !CheckedMul(count, 4, bytes))
            return false;
        width = w;
        height = h;
        pixels = Block::Allocate(bytes);
        return !pixels.empty();
    }
    // Stored row y (0 is the bottom row of the picture).
    std::uint8_t* Row(std::int32_t y) {
        return pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
    }
    const std::uint8_t* Row(std::int32_t y) const {
        return pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
    }
    std::uint8_t* At(std::int32_t x, std::int32_t y) { return Row(y) + static_cast<std::size_t>(x) * 4; }
    const std::uint8_t* At(std::int32_t x, std::int32_t y) const {
        return Row(y) + static_cast<std::size_t>(x) * 4;
    }
};

// Copies a 24- or 32-bit packed bitmap into a working image; alpha is 255 for 24-bit pixels.
bool LoadWorkImage(const Block& dib, const DibLayout& layout, WorkImage& work) {
    if (!work.Allocate(layout.width, layout.height)) return false;
    const std::size_t bytesPerPixel = layout.bitCount == 32 ? 4 : 3;
    for (std::int32_t y = 0; y < layout.height; ++y) {
        const std::uint8_t* in = dib.data() + layout.RowOffset(y);
        std::uint8_t* out = work.Row(y);
        for (std::int32_t x = 0; x < layout.width; ++x, in += bytesPerPixel, out += 4) {
            out[0] = in[0];
            out[1] = in[1];
            out[2] = in[2];
            out[3] = bytesPerPixel == 4 ? in[3] : std::uint8_t{255};
        }
    }
    return true;
}

// A new packed bitmap of the working image's size at `bits` (24 or 32) per pixel.
Block StoreWorkImage(const WorkImage& work, int bits) {
    Block dib = CreateDibBlock(work.width, work.height, bits);
    const auto layout = GetDibLayout(dib);
    if (!layout) return {};
    const std::size_t bytesPerPixel = bits == 32 ? 4 : 3;
    for (std::int32_t y = 0; y < work.height; ++y) {
        const std::uint8_t* in = work.Row(y);
        std::uint8_t* out = dib.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < work.width; ++x, in += 4, out += bytesPerPixel)
            std::memcpy(out, in, bytesPerPixel);
    }
    return dib;
}

// Gives every pixel of alpha below 8 the mean colour of the pixels of alpha 8 or more around it,
// or black when there are none, so that averaging a transparent edge does not pull in the dark
// colour that transparent pixels usually carry. Alpha is left alone.
//
// The work is done in place, bottom row first. The neighbourhood runs from eight pixels before the
// pixel up to, but not including, seven after it, and never reaches the last row or column: this
// lopsided window is part of how images have always come out, so it is kept as it is. A pixel
// that was changed keeps its low alpha and so never lends its new colour.
void BleedColours(WorkImage& image) {
    const std::int32_t w = image.width;
    const std::int32_t h = image.height;
    for (std::int32_t y = 0; y < h; ++y) {
        for (std::int32_t x = 0; x < w; ++x) {
            std::uint8_t* p = image.At(x, y);
            if (p[3] >= kBleedAlpha) continue;
            const std::int32_t x0 = std::max(x - 8, 0), x1 = std::min(x + 8, w - 1);
            const std::int32_t y0 = std::max(y - 8, 0), y1 = std::min(y + 8, h - 1);
            std::uint32_t sum[3] = {0, 0, 0};
            std::uint32_t count = 0;
            for (std::int32_t ny = y0; ny < y1; ++ny) {
                for (std::int32_t nx = x0; nx < x1; ++nx) {
                    const std::uint8_t* q = image.At(nx, ny);
                    if (q[3] < kBleedAlpha) continue;
                    sum[0] += q[0];
                    sum[1] += q[1];
                    sum[2] += q[2];
                    ++count;
                }
            }
            for (int c = 0; c < 3; ++c)
                p[c] = count != 0 ? static_cast<std::uint8_t>(sum[c] / count) : std::uint8_t{0};
        }
    }
}

// A fixed-point fraction of a pixel, truncated: trunc(distance * 1000). The distance lies in
// [0, 1) by construction; the bound only guards against rounding.
std::uint32_t Weight(double distance) {
    const double scaled = distance * static_cast<double>(kWhole);
    if (!(scaled > 0.0)) return 0;
    return std::min(static_cast<std::uint32_t>(scaled), kWhole);
}

// Zero-filled accumulators, or null when memory runs out.
std::unique_ptr<std::uint32_t[]> AllocateAccumulators(std::size_t count) {
    return std::unique_ptr<std::uint32_t[]>(new (std::nothrow) std::uint32_t[count]());
}

// Area average for a shrink on both axes (sx > 1 and sy > 1).
//
// Every source pixel is spread over the destination pixels it covers, weighted in thousandths of
// a source pixel per axis. Pixels are visited in storage order; a destination column or row edge
// lies at k * sx - 1 (k = 1, 2, ...) in source coordinates, reached by adding sx repeatedly. Two
// accumulator rows hold the destination row being finished (current) and the one it spills into
// (next); each has one spare entry for the spill past the last column. A destination pixel is
// written, divided by D = trunc(sx * 1000 * sy), as soon as both its edges have been crossed; the
// last column and the last row are written after the loop when their closing edge falls just
// beyond the source. All arithmetic is unsigned 32-bit and truncating, and results are cast to
// bytes without clamping.
bool AreaAverage(const WorkImage& src, WorkImage& dst, double sx, double sy) {
    const std::int32_t width = dst.width;
    const std::size_t entries = (static_cast<std::size_t>(width) + 1) * 4;
    auto rowA = AllocateAccumulators(entries);
    auto rowB = AllocateAccumulators(entries);
    if (!rowA || !rowB) return false;
    std::uint32_t* current = rowA.get();
    std::uint32_t* next = rowB.get();

    // At least 1000, since both ratios exceed 1.
    const double scaledDivisor = std::trunc((sx * 1000.0) * sy);
    const std::uint32_t divisor =
        scaledDivisor >= static_cast<double>(std::numeric_limits<std::uint32_t>::max())
            ? std::numeric_limits<std::uint32_t>::max()
            : static_cast<std::uint32_t>(scaledDivisor);

    const auto store = [&](std::int32_t dx, std::int32_t dy, const std::uint32_t* sum) {
        if (dx >= width || dy >= dst.height) return;
        std::uint8_t* out = dst.At(dx, dy);
        for (int c = 0; c < 4; ++c) out[c] = static_cast<std::uint8_t>(sum[c] / divisor);
    };

    double yEdge = sy - 1.0;
    std::int32_t dy = 0;
    for (std::int32_t y = 0; y < src.height; ++y) {
        const std::uint8_t* p = src.Row(y);
        const double yPos = y;
        double xEdge = sx - 1.0;
        std::int32_t dx = 0;
        if (yEdge > yPos) {
            // The source row lies wholly inside destination row dy.
            for (std::int32_t x = 0; x < src.width; ++x, p += 4) {
                std::uint32_t* cur = current + static_cast<std::size_t>(dx) * 4;
                const double xPos = x;
                if (xEdge > xPos || dx >= width) {
                    for (int c = 0; c < 4; ++c) cur[c] += kWhole * p[c];
                } else {
                    const std::uint32_t fx = Weight(xPos - xEdge);
                    for (int c = 0; c < 4; ++c) {
                        cur[c] += (kWhole - fx) * p[c];
                        cur[4 + c] += fx * p[c];
                    }
                    xEdge += sx;
                    ++dx;
                }
            }
        } else {
            // The source row straddles the lower edge of destination row dy.
            const std::uint32_t fy = Weight(yPos - yEdge);
            const std::uint32_t wy = kWhole - fy;
            for (std::int32_t x = 0; x < src.width; ++x, p += 4) {
                const std::size_t at = static_cast<std::size_t>(dx) * 4;
                std::uint32_t* cur = current + at;
                std::uint32_t* nxt = next + at;
                const double xPos = x;
                if (xEdge > xPos || dx >= width) {
                    for (int c = 0; c < 4; ++c) {
                        cur[c] += wy * p[c];
                        nxt[c] += fy * p[c];
                    }
                } else {
                    const std::uint32_t fx = Weight(xPos - xEdge);
                    const std::uint32_t wx = kWhole - fx;
                    for (int c = 0; c < 4; ++c) cur[c] += (std::uint32_t{p[c]} * wy * wx) / kWhole;
                    store(dx, dy, cur);
                    for (int c = 0; c < 4; ++c) {
                        const std::uint32_t v = p[c];
                        nxt[c] += (v * fy * wx) / kWhole;
                        cur[4 + c] += (v * wy * fx) / kWhole;
                        nxt[4 + c] = (v * fy * fx) / kWhole;
                    }
                    xEdge += sx;
                    ++dx;
                }
            }
            if (dx < width) store(dx, dy, current + static_cast<std::size_t>(dx) * 4);
            yEdge += sy;
            std::swap(current, next);
            // Each later entry of the new next row is assigned at the edge where it begins.
            std::fill_n(next, 4, 0u);
            ++dy;
        }
    }
    if (dy < dst.height) {
        for (std::int32_t dx = 0; dx < width; ++dx)
            store(dx, dy, current + static_cast<std::size_t>(dx) * 4);
    }
    return true;
}

// Bilinear interpolation at (i * sx, j * sy) for every destination pixel, neighbours clamped to
// the last source row and column. With `borrowColour` (32-bit sources), a neighbour of alpha
// below 8 takes the colour of the first neighbour, in the order (x0,y0), (x1,y0), (x0,y1),
// (x1,y1), whose alpha is above 8; a neighbour of alpha exactly 8 neither lends nor borrows.
void Interpolate(const WorkImage& src, WorkImage& dst, double sx, double sy, bool borrowColour) {
    const auto clampIndex = [](double position, std::int32_t last) {
        return std::min(static_cast<std::int32_t>(position), last);
    };
    for (std::int32_t j = 0; j < dst.height; ++j) {
        const double fy = j * sy;
        const std::int32_t y0 = clampIndex(fy, src.height - 1);
        const double ty = fy - y0;
        const std::int32_t y1 = std::min(src.height - 1, y0 + 1);
        std::uint8_t* out = dst.Row(j);
        for (std::int32_t i = 0; i < dst.width; ++i, out += 4) {
            const double fx = i * sx;
            const std::int32_t x0 = clampIndex(fx, src.width - 1);
            const double tx = fx - x0;
            const std::int32_t x1 = std::min(src.width - 1, x0 + 1);

            // p[0] = (x0,y0), p[1] = (x1,y0), p[2] = (x0,y1), p[3] = (x1,y1).
            std::uint8_t p[4][4];
            std::memcpy(p[0], src.At(x0, y0), 4);
            std::memcpy(p[1], src.At(x1, y0), 4);
            std::memcpy(p[2], src.At(x0, y1), 4);
            std::memcpy(p[3], src.At(x1, y1), 4);
            if (borrowColour) {
                const std::uint8_t* donor = nullptr;
                for (const auto& n : p) {
                    if (n[3] > kBleedAlpha) {
                        donor = n;
                        break;
                    }
                }
                if (donor != nullptr) {
                    std::uint8_t colour[3] = {donor[0], donor[1], donor[2]};
                    for (auto& n : p)
                        if (n[3] < kBleedAlpha) std::memcpy(n, colour, 3);
                }
            }
            for (int c = 0; c < 4; ++c) {
                const double v = (p[1][c] * (1 - ty) + p[3][c] * ty) * tx +
                                 (p[0][c] * (1 - ty) + p[2][c] * ty) * (1 - tx);
                out[c] = static_cast<std::uint8_t>(static_cast<std::int32_t>(v));
            }
        }
    }
}

// Padding for an integer enlargement factor k = newSize / sourceSize: k - 1 when k >= 2.
std::int32_t Padding(std::int32_t newSize, std::int32_t sourceSize) {
    const std::int32_t factor = newSize / sourceSize;
    return factor >= 2 ? factor - 1 : 0;
}

}  // namespace

Block ResampleDib(const Block& dib, std::int32_t newWidth, std::int32_t newHeight) {
    if (newWidth <= 0 || newHeight <= 0 || newWidth > kMaxDibDimension || newHeight > kMaxDibDimension)
        return {};
    const auto layout = GetDibLayout(dib);
    if (!layout || (layout->bitCount != 24 && layout->bitCount != 32)) return {};
    const std::int32_t srcWidth = layout->width;
    const std::int32_t srcHeight = layout->height;

    // An enlargement by a whole factor k is computed k - 1 pixels larger and then loses that many
    // rows at the top and columns at the right, where the samples would clamp on the source's
    // last row and column.
    const std::int32_t padX = Padding(newWidth, srcWidth);
    const std::int32_t padY = Padding(newHeight, srcHeight);
    const std::int64_t workWidth64 = std::int64_t{newWidth} + padX;
    const std::int64_t workHeight64 = std::int64_t{newHeight} + padY;
    if (workWidth64 > kMaxDibDimension || workHeight64 > kMaxDibDimension) return {};
    const auto workWidth = static_cast<std::int32_t>(workWidth64);
    const auto workHeight = static_cast<std::int32_t>(workHeight64);
    if (workWidth == srcWidth && workHeight == srcHeight) return dib.Duplicate();

    const double sx = static_cast<double>(srcWidth) / workWidth;
    const double sy = static_cast<double>(srcHeight) / workHeight;

    WorkImage source, result;
    if (!LoadWorkImage(dib, *layout, source) || !result.Allocate(workWidth, workHeight)) return {};

    if (srcWidth > workWidth && srcHeight > workHeight) {
        if (layout->bitCount == 32) BleedColours(source);
        if (!AreaAverage(source, result, sx, sy)) return {};
    } else {
        Interpolate(source, result, sx, sy, layout->bitCount == 32);
    }
    source.pixels.Reset();

    Block work = StoreWorkImage(result, layout->bitCount);
    if (work.empty() || (padX == 0 && padY == 0)) return work;
    result.pixels.Reset();
    Block cropped = CropDib(work, 0, padY, workWidth - padX - 1, workHeight - 1);
    return cropped.empty() ? std::move(work) : std::move(cropped);
}

Block CropDib(const Block& dib, std::int32_t left, std::int32_t top, std::int32_t right, std::int32_t bottom) {
    const auto layout = GetDibLayout(dib);
    if (!layout) return {};
    const int bits = layout->bitCount;
    if (bits != 8 && bits != 24 && bits != 32) return {};

    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, layout->width - 1);
    bottom = std::min(bottom, layout->height - 1);
    if (right < left || bottom < top) return {};
    const std::int32_t width = right - left + 1;
    const std::int32_t height = bottom - top + 1;

    Block out = CreateDibBlock(width, height, bits);
    const auto outLayout = GetDibLayout(out);
    if (!outLayout) return {};

    if (bits == 8) {
        // The whole 256-entry table travels with the pixels; a shorter source table fills its
        // part and leaves the rest as created.
        const std::uint32_t entries = std::min<std::uint32_t>(layout->colors, outLayout->colors);
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint8_t* from = dib.data() + layout->tableOffset + std::size_t{i} * layout->tableEntrySize;
            std::uint8_t* to = out.data() + outLayout->tableOffset + std::size_t{i} * 4;
            std::memcpy(to, from, 3);
            to[3] = layout->tableEntrySize == 4 ? from[3] : std::uint8_t{0};
        }
    }

    // Rows are stored bottom-up: the rectangle's bottom row is stored row (height - 1 - bottom).
    const std::size_t bytesPerPixel = static_cast<std::size_t>(bits / 8);
    const std::size_t rowBytes = static_cast<std::size_t>(width) * bytesPerPixel;
    const std::size_t columnOffset = static_cast<std::size_t>(left) * bytesPerPixel;
    const std::int32_t firstRow = layout->height - 1 - bottom;
    for (std::int32_t y = 0; y < height; ++y) {
        std::memcpy(out.data() + outLayout->RowOffset(y), dib.data() + layout->RowOffset(firstRow + y) + columnOffset,
                    rowBytes);
    }
    return out;
}

}  // namespace tellurine
