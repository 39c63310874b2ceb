#include "imaging/filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <tuple>
#include <vector>

#include "image/busy.h"
#include "image/dib_block.h"
#include "imaging/resample.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::At;
using test::MakeDib;
using test::Px;
using test::SameBytes;

std::uint32_t gSeed = 1;
std::uint8_t RandomByte() {
    gSeed = gSeed * 1664525U + 1013904223U;
    return static_cast<std::uint8_t>(gSeed >> 24);
}

Block RandomDib(std::int32_t w, std::int32_t h, int bits) {
    return MakeDib(w, h, bits, [](int, int) {
        return Px{RandomByte(), RandomByte(), RandomByte(), RandomByte()};
    });
}
DeviceBitmap RandomBitmap(int w, int h) {
    DeviceBitmap bm = DeviceBitmap::Create(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            bm.Row(y)[x] =
                RandomByte() | RandomByte() << 8 | RandomByte() << 16 | std::uint32_t{RandomByte()} << 24;
    return bm;
}
std::uint8_t Byte(const DeviceBitmap& bm, int x, int y, int c) {
    return static_cast<std::uint8_t>(bm.Row(y)[x] >> (8 * c));
}

// The convolution exactly as defined, on storage coordinates (stored row s is the bitmap's row
// h - 1 - s), with clamped reads and 64-bit arithmetic.
DeviceBitmap ReferenceConvolve(const DeviceBitmap& in, const ConvolutionKernel& k, int keep) {
    DeviceBitmap out = in;
    const int w = in.Width(), h = in.Height();
    for (int s = 0; s < h; ++s)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                std::int64_t sum = 0;
                for (int ky = 0; ky < k.height; ++ky)
                    for (int kx = 0; kx < k.width; ++kx) {
                        const int sx = std::clamp(x + kx - k.width / 2, 0, w - 1);
                        const int ss = std::clamp(s + ky - k.height / 2, 0, h - 1);
                        sum += std::int64_t{k.weights[ky * k.width + kx]} * Byte(in, sx, h - 1 - ss, c);
                    }
                std::int64_t v = sum / k.divisor + k.bias;
                if (keep != 0) v = (Byte(in, x, h - 1 - s, c) * keep + (100 - keep) * v) / 100;
                const std::uint32_t b = v < 1 ? 0 : v >= 255 ? 255 : static_cast<std::uint32_t>(v);
                out.Row(h - 1 - s)[x] = (out.Row(h - 1 - s)[x] & ~(0xFFu << (8 * c))) | b << (8 * c);
            }
    return out;
}

// ---- Kernels and convolution ----

TEST(FilterKernels, TableAndWeightSums) {
    // Weight sums: the divisor for the averaging and sharpening kernels, 0 for the edge finders.
    const int sums[] = {16, 76, 8, 40, 16, 32, 12, 0, 2, 1, 0, 0};
    const int biases[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 128};
    for (int n = 1; n <= kFilterCount; ++n) {
        const ConvolutionKernel* k = FilterKernel(n);
        ASSERT_NE(k, nullptr);
        EXPECT_FALSE(FilterMenuText(n).empty());
        EXPECT_EQ(k->weights.size(), static_cast<std::size_t>(k->width * k->height));
        EXPECT_EQ(std::accumulate(k->weights.begin(), k->weights.end(), 0), sums[n - 1]) << n;
        EXPECT_EQ(k->bias, biases[n - 1]) << n;
    }
    EXPECT_EQ(FilterKernel(0), nullptr);
    EXPECT_EQ(FilterKernel(13), nullptr);
    EXPECT_TRUE(FilterMenuText(13).empty());
}

TEST(ConvolveBitmap, MatchesTheDefinitionForEveryKernelSizeAndKeepPercent) {
    // Odd kernels, an even-sized one and one too heavy for 16-bit sums, over sizes that have no
    // interior, a short interior and a long one.
    static const std::int32_t kEven[] = {1, -2, 3, 4, 0, -1, 2, 5};
    static const std::int32_t kHeavy[] = {100, -90, 7, 300, -1, 2};
    std::vector<ConvolutionKernel> kernels;
    for (int n = 1; n <= kFilterCount; ++n) kernels.push_back(*FilterKernel(n));
    kernels.push_back({4, 2, 3, -7, kEven});
    kernels.push_back({3, 2, -5, 1000, kHeavy});
    const int sizes[][2] = {{1, 1}, {2, 7}, {5, 3}, {37, 19}};
    for (const auto& k : kernels)
        for (const auto& size : sizes)
            for (const int keep : {0, 1, 37, 100}) {
                DeviceBitmap bm = RandomBitmap(size[0], size[1]);
                const DeviceBitmap expected = ReferenceConvolve(bm, k, keep);
                ASSERT_EQ(ConvolveBitmap(bm, k, keep), 1);
                ASSERT_TRUE(bm == expected) << k.width << "x" << k.height << " bias " << k.bias << " on "
                                            << size[0] << "x" << size[1] << " keep " << keep;
            }
    // A kernel that cannot be applied leaves the bitmap alone.
    ConvolutionKernel bad = *FilterKernel(1);
    bad.divisor = 0;
    DeviceBitmap bm = RandomBitmap(3, 3);
    const DeviceBitmap before = bm;
    EXPECT_EQ(ConvolveBitmap(bm, bad, 0), 0);
    EXPECT_TRUE(bm == before);
}

// The definition above works in storage rows; this pins what that means on screen.
TEST(ConvolveBitmap, EmbossOrientation) {
    // Kernel row 0 reads the row below on screen: Emboss lights the bottom row of a bright band
    // over a dark one, and darkens the bottom row of a dark band over a bright one.
    for (const bool brightOnTop : {true, false}) {
        DeviceBitmap bm = test::MakeBitmap(6, 8, [=](int, int y) { return (y < 4) == brightOnTop ? 200u : 50u; });
        ASSERT_EQ(ConvolveBitmap(bm, *FilterKernel(12), 0), 1);
        // Rows 2 and 4 are flat: 128. Row 3 has 200 - 50 + 128 held at 255, or 50 - 200 + 128 held at 0.
        EXPECT_EQ(std::tuple(bm.GetPixel(3, 2) & 0xFF, bm.GetPixel(3, 3) & 0xFF, bm.GetPixel(3, 4) & 0xFF),
                  std::tuple(128u, brightOnTop ? 255u : 0u, 128u));
    }
}

TEST(ApplyResizeFilter, KeepPercentByLevelAndStrength) {
    // A 160 centre on black: Smooth gives 8 * 160 / 16 = 80 there, Details 16 * 160 / 12 = 213.
    const auto centreAfter = [](int level, int strength) {
        DeviceBitmap bm = DeviceBitmap::Create(3, 3);
        bm.SetPixel(1, 1, RGB(160, 160, 160));
        EXPECT_EQ(ApplyResizeFilter(bm, level, strength), 1);
        return static_cast<int>(bm.GetPixel(1, 1) & 0xFF);
    };
    // {level, strength, centre}: level 10 keeps all; level 0 at 60 keeps 40, (160 * 40 + 60 * 80) / 100;
    // level 5 keeps 30 - 60 + 100 = 70; level 15 gives (160 * 70 + 30 * 213) / 100 = 175.9, level 20
    // (160 * 40 + 60 * 213) / 100 = 191.8; keeps of -150 and -400 are held at 0, one of 125 at 100.
    const int cases[][3] = {{10, 60, 160}, {0, 60, 112}, {5, 60, 136},  {15, 60, 175},
                            {20, 60, 191}, {0, 250, 80}, {-30, 100, 80}, {5, -50, 160}};
    for (const auto& [level, strength, centre] : cases)
        EXPECT_EQ(centreAfter(level, strength), centre) << level << " " << strength;
    DeviceBitmap bm = RandomBitmap(9, 4);
    const DeviceBitmap before = bm;
    EXPECT_EQ(ApplyResizeFilter(bm, 10, 100), 1);
    EXPECT_TRUE(bm == before);
}

// ---- Filters on packed bitmaps ----

using RectangleOp = std::function<int(Block&, std::int32_t, std::int32_t, std::int32_t, std::int32_t)>;

// Runs `op` on the rectangle (top-down, inclusive) of a copy of `original` and on the rectangle
// cropped out on its own: inside they agree (edges repeat at the rectangle's edges), outside
// nothing changes.
void ExpectOnlyRectangleWorked(const Block& original, const RectangleOp& op, int l, int t, int r, int b) {
    Block dib = original.Duplicate();
    ASSERT_EQ(op(dib, l, t, r, b), 1);
    Block part = CropDib(original, l, t, r, b);
    ASSERT_EQ(op(part, -1, -1, -1, -1), 1);
    const int h = DibHeight(original);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < DibWidth(original); ++x) {
            const bool inside = x >= l && x <= r && h - 1 - y >= t && h - 1 - y <= b;
            EXPECT_EQ(At(dib, x, y), inside ? At(part, x - l, y - (h - 1 - b)) : At(original, x, y))
                << x << "," << y;
        }
}

TEST(ApplyFilterToDib, RectangleIsTopDownClampedAndRepeatsItsOwnEdges) {
    // Columns 2..5, rows 1..2 from the top: stored rows 4 and 5 of 7.
    const Block original = RandomDib(9, 7, 24);
    ExpectOnlyRectangleWorked(
        original, [](Block& d, auto l, auto t, auto r, auto b) { return ApplyFilterToDib(d, 5, l, t, r, b); },
        2, 1, 5, 2);
    // A rectangle poking out is clamped; any -1 means the whole image.
    Block clamped = original.Duplicate(), whole = original.Duplicate(), minus = original.Duplicate();
    ASSERT_EQ(ApplyFilterToDib(clamped, 5, -4, -9, 40, 30), 1);
    ASSERT_EQ(ApplyFilterToDib(whole, 5, 0, 0, 8, 6), 1);
    ASSERT_EQ(ApplyFilterToDib(minus, 5, 3, -1, 4, 4), 1);
    EXPECT_TRUE(SameBytes(clamped, whole));
    EXPECT_TRUE(SameBytes(minus, whole));
    // Off the image: refused, nothing changed.
    Block off = original.Duplicate();
    EXPECT_EQ(ApplyFilterToDib(off, 5, 9, 0, 12, 3), 0);
    EXPECT_EQ(ApplyFilterToDib(off, 5, 4, 3, 2, 5), 0);
    EXPECT_TRUE(SameBytes(off, original));
}

TEST(ApplyFilterToDib, AlphaDepthsAndFilterNumbers) {
    // Alpha is smoothed exactly like a colour channel.
    Block dib = MakeDib(8, 6, 32, [](int x, int y) {
        const auto v = static_cast<std::uint8_t>((x * 37 + y * 91) % 256);
        return Px{v, 0, 0, v};
    });
    ASSERT_EQ(ApplyFilterToDib(dib, 1, -1, -1, -1, -1), 1);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x) EXPECT_EQ(At(dib, x, y)[3], At(dib, x, y)[0]);
    // 24 bits give the colours that the same picture gives at 32 bits with opaque alpha.
    Block as24 = RandomDib(11, 5, 24);
    Block as32 = MakeDib(11, 5, 32, [&](int x, int y) { return At(as24, x, y); });
    ASSERT_EQ(ApplyFilterToDib(as24, 9, -1, -1, -1, -1), 1);
    ASSERT_EQ(ApplyFilterToDib(as32, 9, -1, -1, -1, -1), 1);
    EXPECT_TRUE(SameBytes(as24, MakeDib(11, 5, 24, [&](int x, int y) { return At(as32, x, y); })));
    // Other depths are refused; unknown filters change nothing.
    Block indexed = RandomDib(4, 4, 8);
    const Block indexedBefore = indexed.Duplicate();
    EXPECT_EQ(ApplyFilterToDib(indexed, 1, -1, -1, -1, -1), 0);
    EXPECT_TRUE(SameBytes(indexed, indexedBefore));
    const Block before = dib.Duplicate();
    for (const int filter : {0, 13}) {
        EXPECT_EQ(ApplyFilterToDib(dib, filter, -1, -1, -1, -1), 1);
        EXPECT_TRUE(SameBytes(dib, before));
    }
}

// ---- Gaussian blur ----

// A sampled Gaussian of the blur's sigma convolved the plain way (edges repeated), columns then
// rows, each pass truncated: what the recursive filter approximates.
Block ReferenceGaussian(const Block& dib, int radius) {
    const double sigma = (radius + 1) / std::sqrt(2.0 * std::log(255.0));
    const int reach = static_cast<int>(std::ceil(6 * sigma));
    std::vector<double> weights(2 * reach + 1);
    for (int i = -reach; i <= reach; ++i) weights[i + reach] = std::exp(-i * i / (2 * sigma * sigma));
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    const auto l = GetDibLayout(dib);
    const int w = l->width, h = l->height;
    std::vector<Px> a(static_cast<std::size_t>(w * h)), b(a.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) a[y * w + x] = At(dib, x, y);
    const auto pass = [&](const std::vector<Px>& in, std::vector<Px>& out, int dx, int dy) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 4; ++c) {
                    double sum = 0;
                    for (int i = -reach; i <= reach; ++i) {
                        const int sx = std::clamp(x + i * dx, 0, w - 1),
                                  sy = std::clamp(y + i * dy, 0, h - 1);
                        sum += weights[i + reach] * in[sy * w + sx][c];
                    }
                    out[y * w + x][c] = static_cast<std::uint8_t>(std::clamp(sum / total, 0.0, 255.0));
                }
    };
    pass(a, b, 0, 1);
    pass(b, a, 1, 0);
    return MakeDib(w, h, l->bitCount, [&](int x, int y) { return a[y * w + x]; });
}

TEST(GaussianBlurDib, FollowsTheSampledGaussianAtEveryRadiusAndKeepsFlatColoursExact) {
    for (const int radius : {2, 5, 8, 50}) {
        // 140 x 120 is split between two threads; 13 x 6 and 3 x 2 take the smaller lane groups.
        for (const auto& [w, h] : {std::pair{140, 120}, std::pair{13, 6}, std::pair{3, 2}}) {
            const Block original = RandomDib(w, h, 32);
            Block blurred = original.Duplicate();
            ASSERT_EQ(GaussianBlurDib(blurred, radius, -1, -1, -1, -1), 1);
            const Block expected = ReferenceGaussian(original, radius);
            int worst = 0;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 4; ++c)
                        worst = std::max(worst, std::abs(At(blurred, x, y)[c] - At(expected, x, y)[c]));
            EXPECT_LE(worst, 2) << "radius " << radius << " on " << w << "x" << h;
        }
        for (const int value : {0, 1, 127, 200, 255}) {
            const auto v = static_cast<std::uint8_t>(value);
            const Block flat = MakeDib(67, 9, 24, [v](int, int) { return Px{v, v, v, 255}; });
            Block blurred = flat.Duplicate();
            ASSERT_EQ(GaussianBlurDib(blurred, radius, -1, -1, -1, -1), 1);
            EXPECT_TRUE(SameBytes(blurred, flat)) << "radius " << radius << " flat " << value;
        }
    }
}

TEST(GaussianBlurDib, RectangleDepthAndRadiusLimits) {
    const Block original = RandomDib(20, 16, 32);
    ExpectOnlyRectangleWorked(
        original, [](Block& d, auto l, auto t, auto r, auto b) { return GaussianBlurDib(d, 3, l, t, r, b); },
        4, 2, 12, 9);
    Block same = original.Duplicate();
    EXPECT_EQ(GaussianBlurDib(same, 1, -1, -1, -1, -1), 0);
    EXPECT_EQ(GaussianBlurDib(same, 51, -1, -1, -1, -1), 0);
    EXPECT_EQ(GaussianBlurDib(same, 8, 30, 0, 40, 5), 0);
    EXPECT_TRUE(SameBytes(same, original));
    Block indexed = RandomDib(8, 8, 8);
    EXPECT_EQ(GaussianBlurDib(indexed, 8, -1, -1, -1, -1), 0);
}

// ---- The busy hook ----

std::vector<bool> gBusyCalls;

TEST(BusyHook, ToldOnceForNestedWorkAndForEachFilter) {
    const BusyHook previous = SetBusyHook([](bool busy) { gBusyCalls.push_back(busy); });
    Block dib = RandomDib(5, 5, 32);
    const std::function<void()> jobs[] = {
        [] { const ScopedBusy outer, inner; },
        [&] { EXPECT_EQ(ApplyFilterToDib(dib, 1, -1, -1, -1, -1), 1); },
        [&] { EXPECT_EQ(GaussianBlurDib(dib, 2, -1, -1, -1, -1), 1); },
    };
    for (const auto& job : jobs) {
        gBusyCalls.clear();
        job();
        EXPECT_EQ(gBusyCalls, (std::vector<bool>{true, false}));
    }
    SetBusyHook(previous);
}

}  // namespace
}  // namespace tellurine
