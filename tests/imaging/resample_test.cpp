#include "imaging/resample.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "image/dib_block.h"
#include "imaging/resample_kernels.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::At;
using test::MakeDib;
using test::Px;
using test::SameBytes;
using test::U8;

void ExpectShape(const Block& b, int w, int h, int bits) {
    const auto l = GetDibLayout(b);
    ASSERT_TRUE(l.has_value());
    EXPECT_EQ(std::tuple(l->width, l->height, l->bitCount, l->coreHeader), std::tuple(w, h, bits, false));
}

// A pixel with a known value; y counts stored rows from the bottom.
struct Point {
    int x, y;
    Px px;
};

void ExpectPixels(const Block& out, int w, int h, int bits, const std::vector<Point>& points) {
    ExpectShape(out, w, h, bits);
    const std::size_t table = bits <= 8 ? 4u << bits : 0, row = (w * bits / 8 + 3) & ~3;
    EXPECT_EQ(out.size(), kInfoHeaderSize + table + row * h);  // nothing else stored
    for (const Point& p : points) EXPECT_EQ(At(out, p.x, p.y), p.px) << "at " << p.x << "," << p.y;
}

// ---- Interpolation, area average and bleeding ----

TEST(ResampleDib, KnownPixelsOfEveryWayOfResampling) {
    // 2 x 1 to 4 x 1 is sampled at 5 x 1, x = 0, 0.4, 0.8, 1.2, 1.6: opaque red, then blue of
    // the given alpha.
    const auto redThenBlue = [](std::uint8_t alpha) {
        return MakeDib(2, 1, 32, [=](int x, int) { return x ? Px{100, 0, 0, alpha} : Px{0, 0, 200, 255}; });
    };
    const auto square48 = [](int bits, const std::function<Px(int, int)>& f) {
        return MakeDib(48, 48, bits, f);
    };
    std::vector<Point> oneAxis;  // a mean over 3 columns would give 15i + 5
    for (int i = 0; i < 16; ++i) oneAxis.push_back({i, 0, Px{U8(15 * i), 0, 0, 255}});
    for (const auto& [j, green] : {std::pair{1, 3}, {2, 7}, {3, 11}, {4, 15}})
        oneAxis.push_back({0, j, Px{0, U8(green), 0, 255}});
    struct Case {
        const char* name;
        Block src;
        int w, h;
        std::vector<Point> points;
        std::function<Px(int, int)> everywhere = nullptr;  // when set, the value of every pixel
    };
    const Case cases[] = {
        // 16 x 16 to 32 x 32 is sampled at 33 x 33 (spacing 16/33) and cropped: the bottom row
        // samples source row 0; the last row and column are clamped on the source's.
        {"whole-factor enlargement is worked larger and loses the top row and right column",
         MakeDib(16, 16, 32, [](int x, int y) { return Px{U8(x * 16), U8(y * 16), 0, 255}; }), 32, 32,
         {{0, 0, {0, 0, 0, 255}}, {1, 0, {7, 0, 0, 255}} /* trunc(16 * 16/33) */,
          {2, 0, {15, 0, 0, 255}} /* trunc(16 * 32/33) */,
          {0, 30, {0, 232, 0, 255}} /* 224 + 16 * (480/33 - 14) */, {31, 31, {240, 240, 0, 255}}}},
        // 48 x 48 to 16 x 64: sx = 3, sy = 0.75.
        {"shrink on one axis and growth on the other is point-sampled and interpolated",
         square48(32, [](int x, int y) { return Px{U8(x * 5), U8(y * 5), 0, 255}; }), 16, 64, oneAxis},
        {"a bilinear neighbour below alpha 8 borrows the donor's colour and mixes in its own alpha",
         redThenBlue(7), 4, 1,
         {{1, 0, {0, 0, 200, 155}}, {2, 0, {0, 0, 200, 56}}, {3, 0, {100, 0, 0, 7}} /* no donor */}},
        {"a bilinear neighbour of alpha 8 keeps its own colour", redThenBlue(8), 4, 1,
         {{1, 0, {40, 0, 120, 156}}, {2, 0, {80, 0, 39, 57}} /* 200 * (1 - 0.8) truncated */}},
        // Bottom row: green of alpha 8, opaque red; top row: blue of alpha 0, opaque red. The
        // donor is the red (x1, y0), not the green of alpha exactly 8, which keeps its own colour.
        {"the bilinear donor is the first neighbour above alpha 8",
         MakeDib(2, 2, 32, [](int x, int y) {
             return x == 1 ? Px{0, 0, 200, 255} : y == 0 ? Px{0, 100, 0, 8} : Px{200, 0, 0, 0};
         }),
         4, 4, {{1, 1, {0, 36, 128, 104}}, {0, 1, {0, 60, 80, 4}}, {0, 0, {0, 100, 0, 8}}}},
        // Each 3 x 3 block has blue mean 13 + bx and green mean 10 * by; D = 9000.
        {"shrink on both axes averages whole blocks exactly",
         square48(32, [](int x, int y) {
             const int blue = (x % 3) * 10 + (y % 3) * 3 + x / 3;
             return Px{U8(blue), U8((y / 3) * 10), U8(x % 3 == 1 ? 90 : 0), 255};
         }),
         16, 16, {}, [](int x, int y) { return Px{U8(13 + x), U8(10 * y), 30, 255}; }},
        // 14 x 13 to 6 x 7: the summed edges land just past the last source column and row, so
        // the last column and row are written after the loops; D = 4333.
        {"non-whole shrink writes the last column and row with truncated weights",
         MakeDib(14, 13, 32, [](int, int) { return Px{100, 100, 100, 255}; }), 6, 7, {},
         [](int x, int y) { return y == 0 || x % 3 == 0 ? Px{100, 100, 100, 255} : Px{99, 99, 99, 254}; }},
        {"a transparent pixel among opaque red comes out red, not darkened",
         square48(32, [](int x, int y) { return x == 4 && y == 4 ? Px{0, 0, 0, 0} : Px{0, 0, 255, 255}; }),
         16, 16,
         {{1, 1, {0, 0, 255, 226}} /* alpha 8 * 255 / 9 */, {0, 0, {0, 0, 255, 255}}}},
        {"bleeding without a donor gives black", square48(32, [](int, int) { return Px{50, 60, 70, 7}; }),
         16, 16, {}, [](int, int) { return Px{0, 0, 0, 7}; }},
        {"a 24-bit source shrinks to 24 bits",
         square48(24, [](int x, int y) { return Px{U8(x / 3), U8(y / 3), 77, 0}; }), 16, 16,
         {{7, 11, {7, 11, 77, 255}}}},
        {"a 24-bit source grows to 24 bits",
         square48(24, [](int x, int y) { return Px{U8(x / 3), U8(y / 3), 77, 0}; }), 96, 50,
         {{0, 0, {0, 0, 77, 255}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Block out = ResampleDib(c.src, c.w, c.h);
        ExpectPixels(out, c.w, c.h, DibBitCount(c.src), c.points);
        EXPECT_TRUE(!c.everywhere || SameBytes(out, MakeDib(c.w, c.h, DibBitCount(c.src), c.everywhere)));
    }
}

TEST(ResampleDib, BleedingMatchesTheNeighbourhoodCountedPixelByPixel) {
    // Sparse lenders among borrowers, in images smaller and larger than the window, against the
    // neighbourhood summed directly for every pixel and then the same area average.
    std::mt19937 rng(7);
    for (const auto [w, h, tw, th] : {std::array{40, 37, 13, 11}, std::array{9, 30, 4, 7}, std::array{200, 90, 37, 17}}) {
        const Block src = MakeDib(w, h, 32, [&](int, int) {
            const auto v = rng();
            const std::uint32_t a = static_cast<std::uint32_t>(v >> 24);
            return Px{U8(v), U8(v >> 8), U8(v >> 16), U8(a % 5 == 0 ? 8 + a % 200 : a % 9)};
        });
        resample_detail::WorkImage work, expected;
        ASSERT_TRUE(work.Allocate(w, h));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                std::uint8_t* p = work.At(x, y);
                std::memcpy(p, At(src, x, y).data(), 4);
                if (p[3] >= 8) continue;
                std::uint32_t sum[3] = {}, count = 0;
                for (int ny = std::max(y - 8, 0); ny < std::min(y + 8, h - 1); ++ny)
                    for (int nx = std::max(x - 8, 0); nx < std::min(x + 8, w - 1); ++nx) {
                        const Px q = At(src, nx, ny);  // the pixel as it was before any bleeding
                        if (q[3] < 8) continue;
                        for (int c = 0; c < 3; ++c) sum[c] += q[c];
                        ++count;
                    }
                for (int c = 0; c < 3; ++c) p[c] = static_cast<std::uint8_t>(count ? sum[c] / count : 0);
            }
        ASSERT_TRUE(expected.Allocate(tw, th));
        ASSERT_TRUE(resample_detail::AreaAverage(work, expected, double(w) / tw, double(h) / th));
        const Block out = ResampleDib(src, tw, th);
        // Bled by two threads, each half of the rows: the same.
        const Block halves = PreparedResample(src, 2).Resample(tw, th);
        ASSERT_TRUE(SameBytes(out, halves));
        for (int y = 0; y < th; ++y)
            for (int x = 0; x < tw; ++x) {
                const std::uint8_t* e = expected.At(x, y);
                ASSERT_EQ(At(out, x, y), (Px{e[0], e[1], e[2], e[3]})) << w << "x" << h << " at " << x << "," << y;
            }
    }
}

// ---- Depths, copies and failures ----

constexpr std::array kQualities{ResampleQuality::Standard, ResampleQuality::High};

TEST(ResampleDib, SameSizeCopiesAndRefusesOtherDepthsBadSizesAndDamagedBlocks) {
    const Block src = MakeDib(5, 3, 32, [](int x, int y) { return Px{U8(x), U8(y), 9, U8(x * y)}; });
    Block truncated = Block::Allocate(src.size() - 1);
    std::memcpy(truncated.data(), src.data(), truncated.size());
    for (const ResampleQuality quality : kQualities) {
        const Block out = ResampleDib(src, 5, 3, quality);
        EXPECT_NE(out.data(), src.data());
        EXPECT_TRUE(SameBytes(out, src));

        EXPECT_TRUE(ResampleDib(MakeDib(4, 4, 8, [](int, int) { return Px{}; }), 8, 8, quality).empty());
        EXPECT_TRUE(ResampleDib(CreateDibBlock(4, 4, 16), 8, 8, quality).empty());
        EXPECT_TRUE(ResampleDib(Block{}, 8, 8, quality).empty());
        for (const auto& [w, h] :
             {std::pair{0, 8}, {8, 0}, {-8, 8}, {8, INT32_MIN}, {kMaxDibDimension + 1, 8}, {8, INT32_MAX}})
            EXPECT_TRUE(ResampleDib(src, w, h, quality).empty()) << w << " x " << h;
        EXPECT_TRUE(ResampleDib(truncated, 8, 8, quality).empty());
    }
    // The padded work width 1 + 32767 would exceed the largest bitmap.
    EXPECT_TRUE(ResampleDib(MakeDib(1, 1, 32, [](int, int) { return Px{}; }), kMaxDibDimension, 1).empty());
}

// The high-quality resampler: symmetric pictures stay exactly symmetric, flat areas exactly flat,
// and the colour of transparent pixels never shows, whichever way the picture is resized.
TEST(ResampleDib, HighQualityKeepsSymmetryFlatAreasAndHidesTransparentColours) {
    std::mt19937 random(7);
    std::vector<Px> quarter(19 * 12);
    const auto byte = [&] { return static_cast<std::uint8_t>(random()); };
    for (Px& p : quarter) p = Px{byte(), byte(), byte(), random() % 3 ? byte() : std::uint8_t{0}};
    // 37 x 23, mirrored about both middle lines.
    const auto mirrored = [&](int x, int y) { return quarter[std::min(x, 36 - x) + 19 * std::min(y, 22 - y)]; };
    const Block symmetric = MakeDib(37, 23, 32, mirrored);
    const Block flat = MakeDib(37, 23, 24, [](int, int) { return Px{10, 128, 250, 255}; });
    const Block translucent = MakeDib(37, 23, 32, [](int, int) { return Px{10, 128, 250, 77}; });
    // Opaque blue on the left, and on the right transparent pixels that carry red.
    const Block edge = MakeDib(37, 23, 32, [](int x, int) { return x < 18 ? Px{255, 0, 0, 255} : Px{0, 0, 255, 0}; });
    for (const auto& [w, h] : {std::pair{1, 1}, {2, 3}, {5, 4}, {16, 16}, {18, 11}, {36, 24}, {37, 100}, {80, 47}}) {
        SCOPED_TRACE(std::to_string(w) + " x " + std::to_string(h));
        const Block out = ResampleDib(symmetric, w, h, ResampleQuality::High);
        ASSERT_FALSE(out.empty());
        ExpectShape(out, w, h, 32);
        EXPECT_TRUE(SameBytes(out, MakeDib(w, h, 32, [&](int x, int y) { return At(out, w - 1 - x, y); })));
        EXPECT_TRUE(SameBytes(out, MakeDib(w, h, 32, [&](int x, int y) { return At(out, x, h - 1 - y); })));

        const auto filled = [&](int bits, Px p) { return MakeDib(w, h, bits, [=](int, int) { return p; }); };
        EXPECT_TRUE(SameBytes(ResampleDib(flat, w, h, ResampleQuality::High), filled(24, {10, 128, 250, 255})));
        EXPECT_TRUE(SameBytes(ResampleDib(translucent, w, h, ResampleQuality::High), filled(32, {10, 128, 250, 77})));
        const Block edgeOut = ResampleDib(edge, w, h, ResampleQuality::High);
        int red = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) red += At(edgeOut, x, y)[2] != 0;
        EXPECT_EQ(red, 0);
    }
    // Made one pixel: the mean of 0 and 1 rounds up to 1, and a pixel whose alpha rounds to 0 is
    // stored as all zero, whatever colour it carried.
    for (const auto& [row, expected] :
         {std::pair{std::vector<Px>{{0, 0, 0, 255}, {1, 1, 1, 255}}, Px{1, 1, 1, 255}},
          {{{50, 100, 150, 0}, {50, 100, 150, 1}, {50, 100, 150, 0}}, Px{0, 0, 0, 0}}}) {
        const Block line = MakeDib(static_cast<int>(row.size()), 1, 32, [&](int x, int) { return row[x]; });
        EXPECT_EQ(At(ResampleDib(line, 1, 1, ResampleQuality::High), 0, 0), expected);
    }
}

// A coarser level (each pixel the full picture's pixel (4x, 4y) from the top left, as JPEG 2000
// levels stand) resampled as the full picture would be: on ramps along both axes it gives the
// full picture's result inside the edges' reach, where resampling the level as a picture of its
// own is off by up to a pixel and a half of the full picture.
TEST(ResampleLevel, GivesWhatTheFullPictureGivesAndRefusesLevelsOfAnotherSize) {
    constexpr int kW = 66, kH = 62, kStep = 4, kLw = 17, kLh = 16;
    const auto ramp = [](int x, int top) { return Px{U8(3 * x), U8(4 * top), 128, 255}; };
    const Block full = MakeDib(kW, kH, 32, [&](int x, int y) { return ramp(x, kH - 1 - y); });
    const Block level = MakeDib(kLw, kLh, 32, [&](int x, int y) { return ramp(kStep * x, kStep * (kLh - 1 - y)); });
    const PictureLevel spec{kW, kH, kStep};
    const Block expected = ResampleDib(full, 22, 20, ResampleQuality::High);
    const Block fromLevel = ResampleLevel(level, spec, 22, 20);
    const Block plain = ResampleDib(level, 22, 20, ResampleQuality::High);
    ExpectShape(fromLevel, 22, 20, 32);
    int worst = 0, plainWorst = 0;
    for (int y = 3; y < 17; ++y)
        for (int x = 3; x < 19; ++x)
            for (int c : {0, 1}) {
                worst = std::max(worst, std::abs(At(fromLevel, x, y)[c] - At(expected, x, y)[c]));
                plainWorst = std::max(plainWorst, std::abs(At(plain, x, y)[c] - At(expected, x, y)[c]));
            }
    EXPECT_LE(worst, 1);
    EXPECT_GE(plainWorst, 4);

    EXPECT_TRUE(ResampleLevel(level, {kW + 4, kH, kStep}, 22, 20).empty());
    EXPECT_TRUE(ResampleLevel(level, {kW, kH, 0}, 22, 20).empty());
    EXPECT_TRUE(ResampleLevel(level, spec, 0, 20).empty());
    EXPECT_TRUE(ResampleLevel(MakeDib(kLw, kLh, 8, [](int, int) { return Px{}; }), spec, 22, 20).empty());
}

TEST(ShrinkDib32, AveragesTheAreaWeightedByAlphaAndRefusesGrowing) {
    // Left half opaque blue-ish, right half transparent red: the red never shows.
    const Block src = MakeDib(4, 2, 32, [](int x, int) { return x < 2 ? Px{200, 100, 0, 255} : Px{0, 0, 255, 0}; });
    ExpectPixels(ShrinkDib32(src, 2, 1), 2, 1, 32, {{0, 0, Px{200, 100, 0, 255}}, {1, 0, Px{0, 0, 0, 0}}});
    ExpectPixels(ShrinkDib32(src, 1, 1), 1, 1, 32, {{0, 0, Px{200, 100, 0, 128}}});
    // A third of a pixel's share: 3 columns into 2, the middle split between both.
    const Block ramp = MakeDib(3, 1, 32, [](int x, int) { return Px{U8(x * 90), 0, 0, 255}; });
    ExpectPixels(ShrinkDib32(ramp, 2, 1), 2, 1, 32, {{0, 0, Px{30, 0, 0, 255}}, {1, 0, Px{150, 0, 0, 255}}});
    EXPECT_TRUE(ShrinkDib32(src, 5, 1).empty());
    EXPECT_TRUE(ShrinkDib32(src, 0, 1).empty());
    EXPECT_TRUE(ShrinkDib32(MakeDib(4, 4, 24, [](int, int) { return Px{}; }), 2, 2).empty());
}

// ---- Cropping ----

TEST(CropDib, RowsCountFromTheTopAndTheRectangleIsClampedToThePicture) {
    // Stored row y is picture row 2 - y: picture rows 0 and 1 are stored rows 2 and 1.
    const Block picture = MakeDib(4, 3, 32, [](int x, int y) { return Px{U8(x), U8(2 - y), 5, U8(10 * x + y)}; });
    const Block inner = MakeDib(2, 2, 32, [&](int x, int y) { return At(picture, x + 1, y + 1); });
    EXPECT_TRUE(SameBytes(CropDib(picture, 1, 0, 2, 1), inner));

    const Block src = MakeDib(5, 3, 24, [](int x, int y) { return Px{U8(x), U8(y), 1, 0}; });
    EXPECT_TRUE(SameBytes(CropDib(src, -4, -9, 100, 100), src));

    const Block corner = CropDib(src, 3, 2, 99, 99);  // picture row 2 is stored row 0
    ExpectShape(corner, 2, 1, 24);
    EXPECT_EQ(At(corner, 0, 0), (Px{3, 0, 1, 255}));

    for (const auto& [l, t, r, b] : {test::Sides{3, 0, 2, 2}, {0, 2, 4, 1}, {5, 0, 9, 2}, {0, -5, 4, -1}})
        EXPECT_TRUE(CropDib(src, l, t, r, b).empty()) << l << "," << t << "," << r << "," << b;
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
