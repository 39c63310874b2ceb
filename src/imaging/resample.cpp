#include "imaging/resample.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "image/dib_block.h"
#include "imaging/resample_kernels.h"

namespace tellurine {
namespace {

// One whole source pixel along one axis weighs this much in the area average.
constexpr std::uint32_t kWhole = 1000;

// Pixels of this alpha or more lend their colour to nearly transparent neighbours before an
// area average; below it a pixel borrows.
constexpr std::uint8_t kBleedAlpha = 8;

using resample_detail::WorkImage;

// Four unsigned 32-bit lanes, one per byte of a pixel (blue, green, red, alpha), and four floats:
// the compiler's vector extensions, which become SSE2 on x86-64 and the like elsewhere.
using U32x4 = std::uint32_t __attribute__((vector_size(16)));
using F32x4 = float __attribute__((vector_size(16)));

// The four bytes of a pixel, each in its own lane.
inline U32x4 Widen(const std::uint8_t* p) {
#if defined(__SSE2__)
    std::int32_t packed;
    std::memcpy(&packed, p, 4);
    const __m128i zero = _mm_setzero_si128();
    const __m128i words = _mm_unpacklo_epi8(_mm_cvtsi32_si128(packed), zero);
    return reinterpret_cast<U32x4>(_mm_unpacklo_epi16(words, zero));
#else
    return U32x4{p[0], p[1], p[2], p[3]};
#endif
}

// Zero-filled vector accumulators, or null when memory runs out.
std::unique_ptr<U32x4[]> AllocateVectors(std::size_t count) {
    return std::unique_ptr<U32x4[]>(new (std::nothrow) U32x4[count]());
}

// Copies a 24- or 32-bit packed bitmap into a working image; alpha is 255 for 24-bit pixels.
bool LoadWorkImage(const Block& dib, const DibLayout& layout, WorkImage& work) {
    if (!work.Allocate(layout.width, layout.height)) return false;
    const std::size_t bytesPerPixel = layout.bitCount == 32 ? 4 : 3;
    for (std::int32_t y = 0; y < layout.height; ++y) {
        const std::uint8_t* in = dib.data() + layout.RowOffset(y);
        std::uint8_t* out = work.Row(y);
        if (bytesPerPixel == 4) {
            std::memcpy(out, in, static_cast<std::size_t>(layout.width) * 4);
            continue;
        }
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
    Block dib = CreateDibBlockForPixels(work.width, work.height, bits);
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
// The neighbourhood runs from eight pixels before the pixel up to, but not including, seven after
// it, and never reaches the last row or column: this lopsided window is part of how images have
// always come out, so it is kept as it is. The pixels are changed in place, and a changed pixel
// keeps its low alpha and so never lends its new colour: the lenders never change, and each
// pixel's result depends on the unchanged image alone.
//
// That makes running sums possible: for every column, the sums of the lenders' colours and their
// count over the current window of rows, updated by one row in and one row out per row; then, per
// row, running totals across those column sums, so that each pixel's window is one difference.
// The window sums are at most 16 x 16 x 255, so wrap-around arithmetic on the running totals
// still gives them exactly.
bool BleedRows(WorkImage& image, std::int32_t firstRow, std::int32_t endRow) {
    const std::int32_t w = image.width;
    const std::int32_t h = image.height;
    const std::size_t columns = static_cast<std::size_t>(w);
    // Per column: blue, green, red sums and the count of lenders in the window of rows.
    auto columnSums = AllocateVectors(columns);
    // Running totals of the column sums: entry x holds columns 0..x-1.
    auto totals = AllocateVectors(columns + 1);
    if (!columnSums || !totals) return false;

    // Only rows 0..h-2 and columns 0..w-2 ever lend.
    const auto addRow = [&](std::int32_t y, bool leaving) {
        const std::uint8_t* q = image.Row(y);
        U32x4* c = columnSums.get();
        for (std::int32_t x = 0; x < w - 1; ++x, q += 4) {
            if (q[3] < kBleedAlpha) continue;
            // The colour, and 1 in place of the alpha: the lender counts itself.
            const U32x4 lender = (Widen(q) & U32x4{~0u, ~0u, ~0u, 0u}) | U32x4{0u, 0u, 0u, 1u};
            if (leaving)
                c[x] -= lender;
            else
                c[x] += lender;
        }
    };
    // The window of row y is rows max(y - 8, 0) .. min(y + 8, h - 1) - 1.
    std::int32_t windowEnd = std::max(firstRow - 8, 0);  // rows below this have been added
    for (std::int32_t y = firstRow; y < endRow; ++y) {
        const std::int32_t end = std::min(y + 8, h - 1);
        for (; windowEnd < end; ++windowEnd) addRow(windowEnd, false);
        if (y - 9 >= 0 && y > firstRow) addRow(y - 9, true);

        std::uint8_t* p = image.Row(y);
        bool borrowers = false;
        for (std::int32_t x = 0; x < w && !borrowers; ++x) borrowers = p[4 * x + 3] < kBleedAlpha;
        if (!borrowers) continue;

        U32x4* t = totals.get();
        for (std::size_t x = 0; x < columns; ++x) t[x + 1] = t[x] + columnSums[x];
        for (std::int32_t x = 0; x < w; ++x, p += 4) {
            if (p[3] >= kBleedAlpha) continue;
            const U32x4 window = t[std::min(x + 8, w - 1)] - t[std::max(x - 8, 0)];
            const std::uint32_t count = window[3];
            if (count == 0) {
                p[0] = p[1] = p[2] = 0;
                continue;
            }
            // The sums are below 2^16 and the count at most 256, so the float quotient truncates
            // to the integer quotient exactly: a quotient short of an integer k is short by at
            // least 1/256, far more than a float's rounding near k.
            const F32x4 mean = __builtin_convertvector(window, F32x4) / static_cast<float>(count);
            const U32x4 colour = __builtin_convertvector(mean, U32x4);
            p[0] = static_cast<std::uint8_t>(colour[0]);
            p[1] = static_cast<std::uint8_t>(colour[1]);
            p[2] = static_cast<std::uint8_t>(colour[2]);
        }
    }
    return true;
}

// Bleeds the whole image, the lower and upper halves on two threads when asked and worth it. The
// halves only read lenders, which never change, and only write borrowers' colours, so they can
// share the image.
bool BleedColours(WorkImage& image, unsigned threads) {
    const std::int32_t h = image.height;
    if (threads < 2 || h < 64) return BleedRows(image, 0, h);
    bool upper = false;
    std::thread helper;
    try {
        helper = std::thread([&] { upper = BleedRows(image, h / 2, h); });
    } catch (const std::system_error&) {
        return BleedRows(image, 0, h);
    }
    const bool lower = BleedRows(image, 0, h / 2);
    helper.join();
    return lower && upper;
}

// A fixed-point fraction of a pixel, truncated: trunc(distance * 1000). The distance lies in
// [0, 1) by construction; the bound only guards against rounding.
std::uint32_t Weight(double distance) {
    const double scaled = distance * static_cast<double>(kWhole);
    if (!(scaled > 0.0)) return 0;
    return std::min(static_cast<std::uint32_t>(scaled), kWhole);
}


}  // namespace

namespace resample_detail {

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
    const std::size_t entries = static_cast<std::size_t>(width) + 1;
    auto rowA = AllocateVectors(entries);
    auto rowB = AllocateVectors(entries);
    if (!rowA || !rowB) return false;
    U32x4* current = rowA.get();
    U32x4* next = rowB.get();

    // At least 1000, since both ratios exceed 1.
    const double scaledDivisor = std::trunc((sx * 1000.0) * sy);
    const std::uint32_t divisor =
        scaledDivisor >= static_cast<double>(std::numeric_limits<std::uint32_t>::max())
            ? std::numeric_limits<std::uint32_t>::max()
            : static_cast<std::uint32_t>(scaledDivisor);

    const auto store = [&](std::int32_t dx, std::int32_t dy, const U32x4& sum) {
        if (dx >= width || dy >= dst.height) return;
        std::uint8_t* out = dst.At(dx, dy);
        for (int c = 0; c < 4; ++c) out[c] = static_cast<std::uint8_t>(sum[c] / divisor);
    };

    // The column edges are the same on every row: source column edgeX[d] is the one where the
    // edge xEdge of destination column d is crossed (the first x with !(xEdge > x)), and fx[d]
    // its weight. At most one edge is crossed per source pixel, and none once every destination
    // column has been reached; what lies after the last crossing goes to the spare entry.
    std::vector<std::int32_t> edgeX;
    std::vector<std::uint32_t> edgeWeight;
    try {
        edgeX.reserve(static_cast<std::size_t>(width));
        edgeWeight.reserve(static_cast<std::size_t>(width));
    } catch (const std::bad_alloc&) {
        return false;
    }
    {
        double xEdge = sx - 1.0;
        std::int32_t x = 0;
        while (static_cast<std::int32_t>(edgeX.size()) < width) {
            while (x < src.width && xEdge > static_cast<double>(x)) ++x;
            if (x >= src.width) break;
            edgeX.push_back(x);
            edgeWeight.push_back(Weight(static_cast<double>(x) - xEdge));
            xEdge += sx;
            ++x;
        }
    }
    const std::size_t crossings = edgeX.size();

    // The byte sums of pixels [from, to) of a row. Weighting the sum gives what weighting each
    // pixel and adding would: unsigned arithmetic wraps alike either way.
    const auto runSum = [](const std::uint8_t* row, std::int32_t from, std::int32_t to) {
        U32x4 sum{};
        for (const std::uint8_t* p = row + static_cast<std::size_t>(from) * 4; from < to; ++from, p += 4) sum += Widen(p);
        return sum;
    };

    double yEdge = sy - 1.0;
    std::int32_t dy = 0;
    for (std::int32_t y = 0; y < src.height; ++y) {
        const std::uint8_t* row = src.Row(y);
        const double yPos = y;
        std::int32_t x = 0;
        if (yEdge > yPos) {
            // The source row lies wholly inside destination row dy.
            for (std::size_t d = 0; d < crossings; ++d) {
                const U32x4 p = Widen(row + static_cast<std::size_t>(edgeX[d]) * 4);
                const std::uint32_t fx = edgeWeight[d];
                current[d] += kWhole * runSum(row, x, edgeX[d]) + (kWhole - fx) * p;
                current[d + 1] += fx * p;
                x = edgeX[d] + 1;
            }
            current[crossings] += kWhole * runSum(row, x, src.width);
        } else {
            // The source row straddles the lower edge of destination row dy.
            const std::uint32_t fy = Weight(yPos - yEdge);
            const std::uint32_t wy = kWhole - fy;
            for (std::size_t d = 0; d < crossings; ++d) {
                const U32x4 run = runSum(row, x, edgeX[d]);
                const U32x4 p = Widen(row + static_cast<std::size_t>(edgeX[d]) * 4);
                const std::uint32_t fx = edgeWeight[d];
                const std::uint32_t wx = kWhole - fx;
                current[d] += wy * run + (p * wy * wx) / kWhole;
                next[d] += fy * run + (p * fy * wx) / kWhole;
                store(static_cast<std::int32_t>(d), dy, current[d]);
                current[d + 1] += (p * wy * fx) / kWhole;
                next[d + 1] = (p * fy * fx) / kWhole;
                x = edgeX[d] + 1;
            }
            const U32x4 run = runSum(row, x, src.width);
            current[crossings] += wy * run;
            next[crossings] += fy * run;
            const auto dx = static_cast<std::int32_t>(crossings);
            if (dx < width) store(dx, dy, current[crossings]);
            yEdge += sy;
            std::swap(current, next);
            // Each later entry of the new next row is assigned at the edge where it begins.
            next[0] = U32x4{};
            ++dy;
        }
    }
    if (dy < dst.height) {
        for (std::int32_t dx = 0; dx < width; ++dx) store(dx, dy, current[dx]);
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

}  // namespace resample_detail

namespace {

// Padding for an integer enlargement factor k = newSize / sourceSize: k - 1 when k >= 2.
std::int32_t Padding(std::int32_t newSize, std::int32_t sourceSize) {
    const std::int32_t factor = newSize / sourceSize;
    return factor >= 2 ? factor - 1 : 0;
}

}  // namespace

struct PreparedResample::Work {
    std::optional<DibLayout> layout;
    unsigned threads = 1;
    ResampleQuality quality = ResampleQuality::Standard;
    Block owned;               // the picture when it was handed over: bled where it lies
    bool shrinksOnly = false;  // so only shrinks on both axes can be made
    std::once_flag loadOnce, bleedOnce;
    WorkImage plain;   // the source at 32 bits, for interpolation
    WorkImage bled;    // the same after colour bleeding, for area averages of 32-bit sources
    bool loaded = false, bleedOk = false;

    // The source at 32 bits, made once by the first call that needs it: a 32-bit source is read
    // where it lies.
    bool LoadPlain(const Block& dib) {
        std::call_once(loadOnce, [&] {
            if (layout->bitCount == 32) {
                // Only read from here on; the view is of a block this object never changes.
                plain.View(layout->width, layout->height, const_cast<std::uint8_t*>(dib.data()) + layout->pixelOffset);
                loaded = true;
            } else {
                loaded = LoadWorkImage(dib, *layout, plain);
            }
        });
        return loaded;
    }
};

PreparedResample::PreparedResample(const Block& dib, unsigned threads, ResampleQuality quality)
    : dib_(&dib), work_(std::make_unique<Work>()) {
    work_->layout = GetDibLayout(dib);
    work_->threads = threads;
    work_->quality = quality;
}

PreparedResample::PreparedResample(Block&& dib, unsigned threads, ResampleQuality quality)
    : work_(std::make_unique<Work>()) {
    work_->owned = std::move(dib);
    work_->shrinksOnly = quality == ResampleQuality::Standard;
    work_->layout = GetDibLayout(work_->owned);
    work_->threads = threads;
    work_->quality = quality;
    dib_ = &work_->owned;
}

PreparedResample::~PreparedResample() = default;

Block PreparedResample::Resample(std::int32_t newWidth, std::int32_t newHeight) const {
    if (newWidth <= 0 || newHeight <= 0 || newWidth > kMaxDibDimension || newHeight > kMaxDibDimension)
        return {};
    const std::optional<DibLayout>& layout = work_->layout;
    if (!layout || (layout->bitCount != 24 && layout->bitCount != 32)) return {};
    const std::int32_t srcWidth = layout->width;
    const std::int32_t srcHeight = layout->height;
    const Block& dib = *dib_;
    if (work_->quality == ResampleQuality::High) return ResampleHigh(newWidth, newHeight);

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
    const bool average = srcWidth > workWidth && srcHeight > workHeight;
    // A picture handed over is bled where it lies: it is no longer the picture for anything else.
    if (work_->shrinksOnly && !average) return {};
    if (workWidth == srcWidth && workHeight == srcHeight) return dib.Duplicate();

    const double sx = static_cast<double>(srcWidth) / workWidth;
    const double sy = static_cast<double>(srcHeight) / workHeight;

    // The source's bled copy is made once, by the first call that needs it, and a 24-bit source's
    // 32-bit copy likewise; a 32-bit source is read where it lies, and bled where it lies when it
    // was handed over. A 24-bit source is averaged without bleeding.
    Work& w = *work_;
    const bool bleed = average && layout->bitCount == 32;
    const WorkImage* source = nullptr;
    if (bleed) {
        std::call_once(w.bleedOnce, [&] {
            if (w.shrinksOnly) {
                w.bled.View(srcWidth, srcHeight, w.owned.data() + layout->pixelOffset);
                w.bleedOk = true;
            } else {
                w.bleedOk = LoadWorkImage(dib, *layout, w.bled);
            }
            w.bleedOk = w.bleedOk && BleedColours(w.bled, w.threads);
        });
        if (!w.bleedOk) return {};
        source = &w.bled;
    } else {
        if (!w.LoadPlain(dib)) return {};
        source = &w.plain;
    }

    // A 32-bit result at its final size is computed in its packed bitmap's own rows. The average
    // may leave pixels unwritten at its far edges, so its rows start zero-filled as a working
    // image's do; the interpolation writes every pixel.
    if (layout->bitCount == 32 && padX == 0 && padY == 0) {
        Block out = average ? CreateDibBlock(workWidth, workHeight, 32)
                            : CreateDibBlockForPixels(workWidth, workHeight, 32);
        const auto outLayout = GetDibLayout(out);
        if (!outLayout) return {};
        WorkImage result;
        result.View(workWidth, workHeight, out.data() + outLayout->pixelOffset);
        if (average) {
            if (!resample_detail::AreaAverage(*source, result, sx, sy)) return {};
        } else {
            resample_detail::Interpolate(*source, result, sx, sy, true);
        }
        return out;
    }

    WorkImage result;
    if (!result.Allocate(workWidth, workHeight)) return {};
    if (average) {
        if (!resample_detail::AreaAverage(*source, result, sx, sy)) return {};
    } else {
        resample_detail::Interpolate(*source, result, sx, sy, layout->bitCount == 32);
    }

    Block work = StoreWorkImage(result, layout->bitCount);
    if (work.empty() || (padX == 0 && padY == 0)) return work;
    result.pixels.Reset();
    Block cropped = CropDib(work, 0, padY, workWidth - padX - 1, workHeight - 1);
    return cropped.empty() ? std::move(work) : std::move(cropped);
}

Block PreparedResample::ResampleHigh(std::int32_t newWidth, std::int32_t newHeight, const PictureLevel* level) const {
    const DibLayout& layout = *work_->layout;
    if (level == nullptr && newWidth == layout.width && newHeight == layout.height) return dib_->Duplicate();
    Work& w = *work_;
    if (!w.LoadPlain(*dib_)) return {};
    Block out = CreateDibBlockForPixels(newWidth, newHeight, 32);
    const auto outLayout = GetDibLayout(out);
    if (!outLayout) return {};
    WorkImage result;
    result.View(newWidth, newHeight, out.data() + outLayout->pixelOffset);
    // Rows are stored from the bottom: there the level's first row stands off the full picture's.
    resample_detail::LevelAxis across, down;
    if (level != nullptr) {
        across = {level->fullWidth, level->step, 0};
        down = {level->fullHeight, level->step, level->fullHeight - 1 - (layout.height - 1) * level->step};
    }
    if (!resample_detail::ResampleLanczos(w.plain, result, across, down)) return {};
    if (layout.bitCount == 32) return out;
    return StoreWorkImage(result, 24);
}

Block ResampleDib(const Block& dib, std::int32_t newWidth, std::int32_t newHeight) {
    return PreparedResample(dib).Resample(newWidth, newHeight);
}

Block ResampleDib(const Block& dib, std::int32_t newWidth, std::int32_t newHeight, ResampleQuality quality) {
    return PreparedResample(dib, 1, quality).Resample(newWidth, newHeight);
}

Block ResampleLevel(const Block& dib, const PictureLevel& level, std::int32_t newWidth, std::int32_t newHeight) {
    const auto layout = GetDibLayout(dib);
    const auto reduced = [&level](std::int32_t full) {
        return level.step > 0 ? static_cast<std::int32_t>((std::int64_t{full} + level.step - 1) / level.step) : 0;
    };
    if (!layout || (layout->bitCount != 24 && layout->bitCount != 32) || layout->width != reduced(level.fullWidth) ||
        layout->height != reduced(level.fullHeight) ||
        newWidth <= 0 || newHeight <= 0 || newWidth > kMaxDibDimension || newHeight > kMaxDibDimension)
        return {};
    const PreparedResample prepared(dib, 1, ResampleQuality::High);
    return prepared.ResampleHigh(newWidth, newHeight, &level);
}

Block ShrinkDib32(const Block& dib, std::int32_t newWidth, std::int32_t newHeight) {
    const std::optional<DibLayout> in = GetDibLayout(dib);
    if (!in || in->bitCount != 32 || newWidth < 1 || newHeight < 1 || newWidth > in->width || newHeight > in->height)
        return {};
    // Each new pixel's span on one axis: the first old pixel, then the share of each it covers
    // (weights[offset .. offset + count)).
    struct Span {
        std::int32_t first = 0;
        std::size_t offset = 0;
        std::size_t count = 0;
    };
    const auto spans = [](std::int32_t from, std::int32_t to, std::vector<Span>& result, std::vector<float>& weights) {
        result.resize(static_cast<std::size_t>(to));
        const double step = static_cast<double>(from) / to;
        for (std::int32_t i = 0; i < to; ++i) {
            const double begin = i * step, end = (i + 1) * step;
            Span& span = result[static_cast<std::size_t>(i)];
            span.first = static_cast<std::int32_t>(begin);
            span.offset = weights.size();
            for (std::int32_t p = span.first; p < from && p < end; ++p)
                weights.push_back(static_cast<float>((std::min<double>(p + 1, end) - std::max<double>(p, begin)) / step));
            span.count = weights.size() - span.offset;
        }
    };
    const auto w = static_cast<std::size_t>(in->width), nw = static_cast<std::size_t>(newWidth);
    std::vector<Span> across, down;
    std::vector<float> acrossWeights, downWeights;
    std::vector<F32x4> source, rows;
    try {
        spans(in->width, newWidth, across, acrossWeights);
        spans(in->height, newHeight, down, downWeights);
        source.resize(w);
        rows.resize(static_cast<std::size_t>(in->height) * nw);
    } catch (const std::bad_alloc&) {
        return {};
    }
    Block out = CreateDibBlock(newWidth, newHeight, 32);
    const std::optional<DibLayout> outLayout = GetDibLayout(out);
    if (!outLayout) return {};
    // Each row's colours weighted by alpha (blue, green, red, alpha), shrunk across; rows from
    // the top.
    for (std::int32_t y = 0; y < in->height; ++y) {
        const std::uint8_t* row = dib.data() + in->RowOffset(in->height - 1 - y);
        for (std::size_t x = 0; x < w; ++x) {
            const std::uint8_t* p = row + 4 * x;
            const float alpha = p[3];
            F32x4 v = __builtin_convertvector(Widen(p), F32x4) * alpha;
            v[3] = alpha;
            source[x] = v;
        }
        F32x4* shrunk = rows.data() + static_cast<std::size_t>(y) * nw;
        for (std::size_t x = 0; x < nw; ++x) {
            const Span& span = across[x];
            F32x4 sum{};
            for (std::size_t k = 0; k < span.count; ++k)
                sum += source[static_cast<std::size_t>(span.first) + k] * acrossWeights[span.offset + k];
            shrunk[x] = sum;
        }
    }
    // Then down, and back to colours.
    std::vector<F32x4>& line = source;  // its first nw entries
    for (std::int32_t y = 0; y < newHeight; ++y) {
        const Span& span = down[static_cast<std::size_t>(y)];
        std::fill_n(line.begin(), nw, F32x4{});
        for (std::size_t k = 0; k < span.count; ++k) {
            const F32x4* from = rows.data() + (static_cast<std::size_t>(span.first) + k) * nw;
            const float weight = downWeights[span.offset + k];
            for (std::size_t x = 0; x < nw; ++x) line[x] += from[x] * weight;
        }
        std::uint8_t* row = out.data() + outLayout->RowOffset(newHeight - 1 - y);
        for (std::size_t x = 0; x < nw; ++x) {
            const F32x4 sum = line[x];
            std::uint8_t* p = row + 4 * x;
            if (sum[3] > 0)
                for (int c = 0; c < 3; ++c) p[c] = static_cast<std::uint8_t>(std::clamp(sum[c] / sum[3] + 0.5f, 0.0f, 255.0f));
            p[3] = static_cast<std::uint8_t>(std::clamp(sum[3] + 0.5f, 0.0f, 255.0f));
        }
    }
    return out;
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

    Block out = CreateDibBlockForPixels(width, height, bits);
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
