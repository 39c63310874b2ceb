#include "imaging/rotate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <tuple>

#include "image/busy.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/resample.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::MakeBitmap;

// Every pixel distinct: red tells x, green tells y.
COLORREF Id(int x, int y) { return static_cast<COLORREF>(0x400000 + 16 * x + (y << 8)); }
COLORREF Busy(int x, int y) { return static_cast<COLORREF>((x * 37 + y * 91) % 256 | ((x * y * 13) % 256) << 8 | (x ^ y) << 18); }
COLORREF Grey(int, int) { return 0xC8C8C8; }

// ---- Quarter turns and flips ----

TEST(QuarterTurns, MovePixelsCounterClockwiseOnScreen) {
    const DeviceBitmap src = MakeBitmap(3, 2, Id);
    // A quarter turn brings the top-right corner to the top left; three quarters, the bottom-left one.
    EXPECT_EQ(RotateBitmap90(src), MakeBitmap(2, 3, [](int x, int y) { return Id(2 - y, x); }));
    EXPECT_EQ(RotateBitmap180(src), MakeBitmap(3, 2, [](int x, int y) { return Id(2 - x, 1 - y); }));
    EXPECT_EQ(RotateBitmap270(src), MakeBitmap(2, 3, [](int x, int y) { return Id(y, 1 - x); }));
    EXPECT_TRUE(RotateBitmap90(DeviceBitmap{}).IsNull());
    EXPECT_TRUE(FlipBitmap(DeviceBitmap{}, true).IsNull());
}

TEST(QuarterTurns, FlipsMirrorAndEverythingRoundTrips) {
    const DeviceBitmap src = MakeBitmap(5, 3, Busy);
    const DeviceBitmap h = FlipBitmap(src, false), v = FlipBitmap(src, true);
    EXPECT_EQ(h.GetPixel(0, 1), src.GetPixel(4, 1));
    EXPECT_EQ(v.GetPixel(1, 0), src.GetPixel(1, 2));
    EXPECT_EQ(FlipBitmap(h, false), src);
    EXPECT_EQ(FlipBitmap(v, true), src);
    EXPECT_EQ(RotateBitmap180(h), v);
    EXPECT_EQ(RotateBitmap270(RotateBitmap90(src)), src);
    EXPECT_EQ(RotateBitmap90(RotateBitmap90(src)), RotateBitmap180(src));
    EXPECT_EQ(RotateBitmap90(RotateBitmap90(RotateBitmap180(src))), src);
}

// ---- Free and smooth rotation ----

TEST(FreeRotation, ExtentsAndSourcePixelsOfKnownCases) {
    // 16 x 16 at 45 degrees: x spans 0..21 (the far corner 15 cos + 16 sin = 21.9), y -11..11.
    const DeviceBitmap r = RotateBitmapFree(MakeBitmap(16, 16, Id), 0x123456, 45);
    ASSERT_TRUE(r.Width() == 21 && r.Height() == 22);
    EXPECT_EQ(r.GetPixel(0, 0), 0x123456u);   // background, not the white fill
    EXPECT_EQ(r.GetPixel(10, 11), Id(6, 6));  // (10, 0): trunc(7.07 - 0.5) on both axes
    EXPECT_EQ(r.GetPixel(1, 11), Id(0, 0));   // the origin corner stays at the left

    // 0 degrees keeps the size; truncation toward zero repeats the first column and row, and the
    // last ones fall off.
    EXPECT_EQ(RotateBitmapFree(MakeBitmap(4, 3, Id), 0, 0),
              MakeBitmap(4, 3, [](int x, int y) { return Id(std::max(x - 1, 0), std::max(y - 1, 0)); }));

    EXPECT_TRUE(RotateBitmapFree(MakeBitmap(1, 1, Id), 0, 45).IsNull());
    EXPECT_TRUE(RotateBitmapFree(r, 0, std::numeric_limits<double>::quiet_NaN()).IsNull());
}

TEST(SmoothRotation, SameExtentsExactAtZeroAndAntialiasedEdges) {
    const DeviceBitmap src = MakeBitmap(13, 9, Busy);
    for (double angle : {10.0, 100.0, 200.0, 333.0}) {
        const DeviceBitmap s = RotateBitmapSmooth(src, 0, angle), f = RotateBitmapFree(src, 0, angle);
        EXPECT_TRUE(s.Width() == f.Width() && s.Height() == f.Height()) << angle;
    }
    EXPECT_EQ(RotateBitmapSmooth(src, 0, 0), src);

    // A flat grey square on black: the middle keeps its grey, the corners are black, and the
    // slanted edges hold greys part way between, never beyond.
    const DeviceBitmap r = RotateBitmapSmooth(MakeBitmap(16, 16, Grey), 0, 45);
    EXPECT_EQ(r.GetPixel(10, 11), Grey(0, 0));
    EXPECT_EQ(r.GetPixel(0, 0) | r.GetPixel(20, 21), 0u);
    int between = 0;
    for (int y = 0; y < r.Height(); ++y)
        for (int x = 0; x < r.Width(); ++x) {
            const COLORREF c = r.GetPixel(x, y);
            between += c != 0 && c != Grey(0, 0);
            ASSERT_TRUE(c % 0x10101 == 0 && c <= Grey(0, 0)) << x << "," << y;
        }
    EXPECT_GT(between, 20);
}

// ---- The rotate command ----

TEST(RotateCommand, AnglesForTheChoices) {
    using enum RotateChoice;
    constexpr RotateDirection kLeft = RotateDirection::Left, kRight = RotateDirection::Right;
    // A right turn is 360 less the left one; the free angle counts only for a free turn, held in 1..359.
    const std::tuple<RotateDirection, RotateChoice, int, int> cases[] = {
        {kLeft, Quarter, 5, 90}, {kRight, Quarter, 5, 270}, {kRight, Half, 5, 180}, {kLeft, ThreeQuarters, 5, 270},
        {kRight, Free, 30, 330}, {kLeft, Free, 0, 1},       {kLeft, Free, 400, 359}, {kRight, Free, -7, 359}};
    for (const auto& [direction, choice, free, angle] : cases)
        EXPECT_EQ(RotateCommandAngle(direction, choice, free), angle) << static_cast<int>(choice) << " " << free;
}

int gBusyCalls = 0;

TEST(RotateCommand, RotateImageTurnsColourAndMaskTogether) {
    DeviceBitmap color = MakeBitmap(3, 2, Id), mask = MakeBitmap(3, 2, Busy);
    // "Right" by a quarter is clockwise: the bottom-left corner comes to the top-left.
    ASSERT_TRUE(RotateImage(color, mask, RotateCommandAngle(RotateDirection::Right, RotateChoice::Quarter, 0), false));
    EXPECT_EQ(color.GetPixel(0, 0), Id(0, 1));
    EXPECT_EQ(mask, RotateBitmap270(MakeBitmap(3, 2, Busy)));
    ASSERT_TRUE(RotateImage(color, mask, -270, true));  // back by a quarter
    EXPECT_TRUE(RotateImage(color, mask, 720, false));
    EXPECT_EQ(color, MakeBitmap(3, 2, Id));

    // Nearest neighbour: black colour and white mask where nothing maps; -315 is 45.
    gBusyCalls = 0;
    const BusyHook previous = SetBusyHook([](bool) { ++gBusyCalls; });
    DeviceBitmap c16 = MakeBitmap(16, 16, Id), m16 = MakeBitmap(16, 16, Busy);
    ASSERT_TRUE(RotateImage(c16, m16, -315, false));
    SetBusyHook(previous);
    EXPECT_EQ(gBusyCalls, 2);
    EXPECT_EQ(c16, RotateBitmapFree(MakeBitmap(16, 16, Id), 0, 45));
    EXPECT_EQ(m16, RotateBitmapFree(MakeBitmap(16, 16, Busy), 0xFFFFFF, 45));

    // Smooth: both the free rotation's size, both black outside (after sharpening too).
    DeviceBitmap cs = MakeBitmap(16, 16, Id), ms = MakeBitmap(16, 16, [](int, int) { return 0xFFFFFFu; });
    ASSERT_TRUE(RotateImage(cs, ms, 45, true));
    EXPECT_TRUE(cs.Width() == 21 && cs.Height() == 22 && ms.Width() == 21 && ms.Height() == 22);
    EXPECT_EQ(cs.GetPixel(0, 0) | ms.GetPixel(0, 0) | ms.GetPixel(20, 21), 0u);

    // Failures leave both alone.
    DeviceBitmap odd = MakeBitmap(4, 2, Id), one = MakeBitmap(1, 1, Id), oneMask = MakeBitmap(1, 1, Id);
    EXPECT_FALSE(RotateImage(color, odd, 90, false));
    EXPECT_FALSE(RotateImage(one, oneMask, 45, false));
    EXPECT_EQ(color, MakeBitmap(3, 2, Id));
    EXPECT_EQ(one, MakeBitmap(1, 1, Id));
}

// ---- Resampling ----

TEST(ResampleBitmap, MatchesResampleDibWhereNeitherPadsNorBleeds) {
    // A 24-bit packed bitmap of the same picture has no alpha to bleed or lend.
    const DeviceBitmap src = MakeBitmap(17, 13, Busy);
    const Block dib = DeviceBitmapToDib(src, 24);
    const int sizes[][2] = {{7, 5}, {16, 12}, {27, 20}, {9, 25}, {33, 13}};  // shrinks, growth below 2x, mixed
    for (const auto& s : sizes) {
        const DeviceBitmap out = ResampleBitmap(src, s[0], s[1]);
        ASSERT_TRUE(out.Width() == s[0] && out.Height() == s[1]);
        EXPECT_EQ(out, DibToDeviceBitmap(ResampleDib(dib, s[0], s[1]))) << s[0] << "x" << s[1];
    }
}

TEST(ResampleBitmap, NoPaddingCopiesAndRefusals) {
    // 2 x 1 to 4 x 1 samples 0, 0.5, 1, 1.5: whole-factor growth is not padded here.
    const DeviceBitmap out = ResampleBitmap(MakeBitmap(2, 1, [](int x, int) { return x ? 200u : 0u; }), 4, 1);
    EXPECT_EQ(out, MakeBitmap(4, 1, [](int x, int) { return x == 0 ? 0u : x == 1 ? 100u : 200u; }));

    const DeviceBitmap src = MakeBitmap(5, 4, Busy);
    EXPECT_EQ(ResampleBitmap(src, 5, 4), src);
    for (const auto& [w, h] : {std::pair{0, 4}, {5, -1}, {kMaxDibDimension + 1, 4}})
        EXPECT_TRUE(ResampleBitmap(src, w, h).IsNull()) << w << " x " << h;
    EXPECT_TRUE(ResampleBitmap(DeviceBitmap{}, 5, 4).IsNull());
}

}  // namespace
}  // namespace tellurine
