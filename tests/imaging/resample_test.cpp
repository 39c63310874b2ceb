#include "imaging/resample.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "image/dib_block.h"
#include "imaging/resample_kernels.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::At;
using test::MakeDib;
using test::Px;

void ExpectShape(const Block& b, int w, int h, int bits) {
    const auto l = GetDibLayout(b);
    ASSERT_TRUE(l.has_value());
    EXPECT_EQ(l->width, w);
    EXPECT_EQ(l->height, h);
    EXPECT_EQ(l->bitCount, bits);
    EXPECT_FALSE(l->coreHeader);
}

std::uint8_t U8(int v) { return static_cast<std::uint8_t>(v); }

// ---- Enlargement and interpolation ----

TEST(ResampleDib, WholeFactorEnlargementIsWorkedLargerAndLosesTopRowAndRightColumn) {
    // 16 x 16 to 32 x 32 is sampled at 33 x 33 (spacing 16/33) and cropped.
    const Block src = MakeDib(16, 16, 32, [](int x, int y) { return Px{U8(x * 16), U8(y * 16), 0, 255}; });
    const Block out = ResampleDib(src, 32, 32);
    ExpectShape(out, 32, 32, 32);
    EXPECT_EQ(At(out, 0, 0), (Px{0, 0, 0, 255}));         // bottom row kept: it samples source row 0
    EXPECT_EQ(At(out, 1, 0), (Px{7, 0, 0, 255}));         // trunc(16 * 16/33)
    EXPECT_EQ(At(out, 2, 0), (Px{15, 0, 0, 255}));        // trunc(16 * 32/33)
    EXPECT_EQ(At(out, 0, 30)[1], 232);                    // 224 + 16 * (480/33 - 14), truncated
    EXPECT_EQ(At(out, 31, 31), (Px{240, 240, 0, 255}));   // clamped on the last source row and column
}

TEST(ResampleDib, ShrinkOnOneAxisAndGrowthOnTheOtherIsInterpolated) {
    // 48 x 48 to 16 x 64: sx = 3, sy = 0.75, point samples rather than 3-pixel means.
    const Block src = MakeDib(48, 48, 32, [](int x, int y) { return Px{U8(x * 5), U8(y * 5), 0, 255}; });
    const Block out = ResampleDib(src, 16, 64);
    ExpectShape(out, 16, 64, 32);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(At(out, i, 0)[0], 15 * i) << i;  // a mean would be 15i + 5
    const int green[] = {0, 3, 7, 11, 15};
    for (int j = 0; j < 5; ++j) EXPECT_EQ(At(out, 0, j)[1], green[j]) << j;
}

TEST(ResampleDib, BilinearNeighbourBelowAlpha8BorrowsTheDonorColourButAlpha8KeepsItsOwn) {
    // 2 x 1 to 4 x 1 is sampled at 5 x 1, x = 0, 0.4, 0.8, 1.2, 1.6.
    const auto make = [](std::uint8_t alpha) {
        return MakeDib(2, 1, 32, [alpha](int x, int) { return x == 0 ? Px{0, 0, 200, 255} : Px{100, 0, 0, alpha}; });
    };
    const Block borrowed = ResampleDib(make(7), 4, 1);
    ExpectShape(borrowed, 4, 1, 32);
    EXPECT_EQ(At(borrowed, 1, 0), (Px{0, 0, 200, 155}));  // colour borrowed, own alpha mixed in
    EXPECT_EQ(At(borrowed, 2, 0), (Px{0, 0, 200, 56}));
    EXPECT_EQ(At(borrowed, 3, 0), (Px{100, 0, 0, 7}));    // no neighbour above alpha 8: unchanged

    const Block kept = ResampleDib(make(8), 4, 1);
    EXPECT_EQ(At(kept, 1, 0), (Px{40, 0, 120, 156}));
    EXPECT_EQ(At(kept, 2, 0), (Px{80, 0, 39, 57}));       // 200 * (1 - 0.8) truncates to 39
}

TEST(ResampleDib, BilinearDonorIsTheFirstNeighbourAboveAlpha8) {
    // Bottom row: green of alpha 8, opaque red; top row: blue of alpha 0, opaque red. The donor
    // is the red (x1, y0), not the green of alpha exactly 8, which keeps its own colour.
    const Block src = MakeDib(2, 2, 32, [](int x, int y) {
        if (x == 1) return Px{0, 0, 200, 255};
        return y == 0 ? Px{0, 100, 0, 8} : Px{200, 0, 0, 0};
    });
    const Block out = ResampleDib(src, 4, 4);
    ExpectShape(out, 4, 4, 32);
    EXPECT_EQ(At(out, 1, 1), (Px{0, 36, 128, 104}));
    EXPECT_EQ(At(out, 0, 1), (Px{0, 60, 80, 4}));
    EXPECT_EQ(At(out, 0, 0), (Px{0, 100, 0, 8}));
}

// ---- Area average ----

TEST(ResampleDib, ShrinkOnBothAxesAveragesWholeBlocksExactly) {
    // Each 3 x 3 block has blue mean 13 + bx and green mean 10 * by; D = 9000.
    const Block src = MakeDib(48, 48, 32, [](int x, int y) {
        return Px{U8((x % 3) * 10 + (y % 3) * 3 + x / 3), U8((y / 3) * 10), U8(x % 3 == 1 ? 90 : 0), 255};
    });
    const Block out = ResampleDib(src, 16, 16);
    ExpectShape(out, 16, 16, 32);
    for (int by = 0; by < 16; ++by)
        for (int bx = 0; bx < 16; ++bx)
            ASSERT_EQ(At(out, bx, by), (Px{U8(13 + bx), U8(10 * by), 30, 255})) << bx << "," << by;
}

TEST(ResampleDib, NonWholeShrinkWritesTheLastColumnAndRowWithTruncatedWeights) {
    // 14 x 13 to 6 x 7: the summed edges land just past the last source column and row, so the
    // last column and row are written after the loops; D = 4333.
    const Block src = MakeDib(14, 13, 32, [](int, int) { return Px{100, 100, 100, 255}; });
    const Block out = ResampleDib(src, 6, 7);
    ExpectShape(out, 6, 7, 32);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 6; ++x) {
            const bool whole = y == 0 || x % 3 == 0;
            EXPECT_EQ(At(out, x, y), whole ? (Px{100, 100, 100, 255}) : (Px{99, 99, 99, 254})) << x << "," << y;
        }
}

TEST(ResampleDib, TransparentPixelAmongOpaqueRedComesOutRed) {
    const Block src = MakeDib(48, 48, 32, [](int x, int y) {
        return x == 4 && y == 4 ? Px{0, 0, 0, 0} : Px{0, 0, 255, 255};
    });
    const Block out = ResampleDib(src, 16, 16);
    ExpectShape(out, 16, 16, 32);
    EXPECT_EQ(At(out, 1, 1), (Px{0, 0, 255, 226}));  // alpha 8 * 255 / 9, colour not darkened
    EXPECT_EQ(At(out, 0, 0), (Px{0, 0, 255, 255}));
}

TEST(ResampleDib, BleedingWithoutDonorGivesBlack) {
    const Block src = MakeDib(48, 48, 32, [](int, int) { return Px{50, 60, 70, 7}; });
    const Block out = ResampleDib(src, 16, 16);
    ExpectShape(out, 16, 16, 32);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) ASSERT_EQ(At(out, x, y), (Px{0, 0, 0, 7})) << x << "," << y;
}

TEST(ResampleDib, BleedingWindowReachesEightBackAndSevenForward) {
    // An opaque green column 16 among transparent black: x = 24 reaches it (x - 8), x = 8 does
    // not (the window stops before x + 8).
    const Block col = MakeDib(48, 48, 32, [](int x, int) { return x == 16 ? Px{0, 255, 0, 255} : Px{0, 0, 0, 0}; });
    const Block a = ResampleDib(col, 16, 16);
    ExpectShape(a, 16, 16, 32);
    EXPECT_EQ(At(a, 5, 7), (Px{0, 255, 0, 85}));   // x = 15, 16, 17 all green
    EXPECT_EQ(At(a, 2, 7), (Px{0, 0, 0, 0}));      // x = 6, 7, 8 no donor
    EXPECT_EQ(At(a, 8, 7), (Px{0, 85, 0, 0}));     // only x = 24 green

    // The last stored row (the top of the picture) never lends its colour.
    const Block top = MakeDib(48, 48, 32, [](int, int y) { return y == 47 ? Px{0, 0, 255, 255} : Px{0, 0, 0, 0}; });
    const Block b = ResampleDib(top, 16, 16);
    EXPECT_EQ(At(b, 3, 15), (Px{0, 0, 85, 85}));
}

TEST(ResampleDib, BleedingMatchesTheNeighbourhoodCountedPixelByPixel) {
    // Sparse lenders among borrowers, in images smaller and larger than the window, against the
    // neighbourhood summed directly for every pixel and then the same area average.
    std::mt19937 rng(7);
    for (const auto [w, h, tw, th] : {std::array{40, 37, 13, 11}, std::array{9, 30, 4, 7}, std::array{200, 90, 37, 17}}) {
        const Block src = MakeDib(w, h, 32, [&](int, int) {
            const auto v = rng();
            const std::uint32_t a = static_cast<std::uint32_t>(v >> 24);
            return Px{static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v >> 16),
                      static_cast<std::uint8_t>(a % 5 == 0 ? 8 + a % 200 : a % 9)};
        });
        resample_detail::WorkImage work, expected;
        ASSERT_TRUE(work.Allocate(w, h));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) std::memcpy(work.At(x, y), At(src, x, y).data(), 4);
        resample_detail::WorkImage lenders;
        lenders.width = w;
        lenders.height = h;
        lenders.pixels = work.pixels.Duplicate();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                std::uint8_t* p = work.At(x, y);
                if (p[3] >= 8) continue;
                std::uint32_t sum[3] = {}, count = 0;
                for (int ny = std::max(y - 8, 0); ny < std::min(y + 8, h - 1); ++ny)
                    for (int nx = std::max(x - 8, 0); nx < std::min(x + 8, w - 1); ++nx) {
                        const std::uint8_t* q = lenders.At(nx, ny);
                        if (q[3] < 8) continue;
                        for (int c = 0; c < 3; ++c) sum[c] += q[c];
                        ++count;
                    }
                for (int c = 0; c < 3; ++c) p[c] = count ? static_cast<std::uint8_t>(sum[c] / count) : 0;
            }
        ASSERT_TRUE(expected.Allocate(tw, th));
        ASSERT_TRUE(resample_detail::AreaAverage(work, expected, double(w) / tw, double(h) / th));
        const Block out = ResampleDib(src, tw, th);
        // Bled by two threads, each half of the rows: the same.
        const Block halves = PreparedResample(src, 2).Resample(tw, th);
        ASSERT_EQ(std::vector<std::uint8_t>(out.data(), out.data() + out.size()),
                  std::vector<std::uint8_t>(halves.data(), halves.data() + halves.size()));
        for (int y = 0; y < th; ++y)
            for (int x = 0; x < tw; ++x) {
                const std::uint8_t* e = expected.At(x, y);
                ASSERT_EQ(At(out, x, y), (Px{e[0], e[1], e[2], e[3]})) << w << "x" << h << " at " << x << "," << y;
            }
    }
}

// ---- Depths, copies and failures ----

TEST(ResampleDib, SameSizeReturnsAnIdenticalCopy) {
    const Block src = MakeDib(5, 3, 32, [](int x, int y) { return Px{U8(x), U8(y), 9, U8(x * y)}; });
    const Block out = ResampleDib(src, 5, 3);
    ASSERT_EQ(out.size(), src.size());
    EXPECT_NE(out.data(), src.data());
    EXPECT_EQ(std::memcmp(out.data(), src.data(), src.size()), 0);
}

TEST(ResampleDib, TwentyFourBitSourcesStayTwentyFourBit) {
    const Block src = MakeDib(48, 48, 24, [](int x, int y) { return Px{U8(x / 3), U8(y / 3), 77, 0}; });
    const Block small = ResampleDib(src, 16, 16);
    ExpectShape(small, 16, 16, 24);
    EXPECT_EQ(small.size(), 40u + 48u * 16u);
    EXPECT_EQ(At(small, 7, 11), (Px{7, 11, 77, 255}));

    const Block large = ResampleDib(src, 96, 50);
    ExpectShape(large, 96, 50, 24);
    EXPECT_EQ(At(large, 0, 0), (Px{0, 0, 77, 255}));
}

TEST(ResampleDib, RefusesOtherDepthsBadSizesAndDamagedBlocks) {
    const Block src = MakeDib(4, 4, 32, [](int, int) { return Px{1, 2, 3, 4}; });
    EXPECT_TRUE(ResampleDib(MakeDib(4, 4, 8, [](int, int) { return Px{}; }), 8, 8).empty());
    EXPECT_TRUE(ResampleDib(CreateDibBlock(4, 4, 16), 8, 8).empty());
    EXPECT_TRUE(ResampleDib(Block{}, 8, 8).empty());
    EXPECT_TRUE(ResampleDib(src, 0, 8).empty());
    EXPECT_TRUE(ResampleDib(src, 8, 0).empty());
    EXPECT_TRUE(ResampleDib(src, -8, 8).empty());
    EXPECT_TRUE(ResampleDib(src, 8, INT32_MIN).empty());
    EXPECT_TRUE(ResampleDib(src, kMaxDibDimension + 1, 8).empty());
    EXPECT_TRUE(ResampleDib(src, 8, INT32_MAX).empty());
    // The padded work width 1 + 32767 would exceed the largest bitmap.
    EXPECT_TRUE(ResampleDib(MakeDib(1, 1, 32, [](int, int) { return Px{}; }), kMaxDibDimension, 1).empty());

    Block truncated = Block::Allocate(src.size() - 1);
    std::memcpy(truncated.data(), src.data(), truncated.size());
    EXPECT_TRUE(ResampleDib(truncated, 8, 8).empty());
}

// ---- Cropping ----

TEST(CropDib, RowsCountFromTheTopOfThePicture) {
    // Stored row y is picture row 2 - y.
    const Block src = MakeDib(4, 3, 32, [](int x, int y) { return Px{U8(x), U8(2 - y), 5, U8(10 * x + y)}; });
    const Block out = CropDib(src, 1, 0, 2, 1);
    ExpectShape(out, 2, 2, 32);
    EXPECT_EQ(At(out, 0, 1), (Px{1, 0, 5, 12}));  // top-left of the rectangle: picture (1, 0)
    EXPECT_EQ(At(out, 1, 1), (Px{2, 0, 5, 22}));
    EXPECT_EQ(At(out, 0, 0), (Px{1, 1, 5, 11}));  // bottom-left: picture (1, 1)
    EXPECT_EQ(At(out, 1, 0), (Px{2, 1, 5, 21}));
}

TEST(CropDib, ClampsToTheImageAndRejectsEmptyRectangles) {
    const Block src = MakeDib(5, 3, 24, [](int x, int y) { return Px{U8(x), U8(y), 1, 0}; });
    const Block all = CropDib(src, -4, -9, 100, 100);
    ASSERT_EQ(all.size(), src.size());
    EXPECT_EQ(std::memcmp(all.data(), src.data(), src.size()), 0);

    const Block corner = CropDib(src, 3, 2, 99, 99);  // picture row 2 is stored row 0
    ExpectShape(corner, 2, 1, 24);
    EXPECT_EQ(At(corner, 0, 0), (Px{3, 0, 1, 255}));

    EXPECT_TRUE(CropDib(src, 3, 0, 2, 2).empty());
    EXPECT_TRUE(CropDib(src, 0, 2, 4, 1).empty());
    EXPECT_TRUE(CropDib(src, 5, 0, 9, 2).empty());
    EXPECT_TRUE(CropDib(src, 0, -5, 4, -1).empty());
    EXPECT_TRUE(CropDib(Block{}, 0, 0, 1, 1).empty());
    EXPECT_TRUE(CropDib(CreateDibBlock(8, 8, 4), 0, 0, 1, 1).empty());
    EXPECT_TRUE(CropDib(CreateDibBlock(8, 8, 16), 0, 0, 1, 1).empty());
}

TEST(CropDib, EightBitCopiesIndicesAndTheWholePalette) {
    Block src = MakeDib(6, 4, 8, [](int x, int y) { return Px{U8(y * 6 + x), 0, 0, 0}; });
    std::uint8_t* table = src.data() + kInfoHeaderSize;
    for (int i = 0; i < 1024; ++i) table[i] = U8(255 - i % 251);
    const Block out = CropDib(src, 2, 1, 4, 2);
    ExpectShape(out, 3, 2, 8);
    EXPECT_EQ(std::memcmp(out.data() + kInfoHeaderSize, table, 1024), 0);
    EXPECT_EQ(At(out, 0, 1)[0], 2 * 6 + 2);  // picture row 1 is stored row 2
    EXPECT_EQ(At(out, 2, 0)[0], 1 * 6 + 4);  // picture row 2 is stored row 1
}

}  // namespace
}  // namespace tellurine
