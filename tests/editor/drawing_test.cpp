#include "editor/drawing.h"

#include <gtest/gtest.h>

#include <tuple>

#include "editor/editor_test_support.h"

namespace tellurine::editor {
namespace {

// Opaque green.
FormatState Format(int w, int h, bool alpha) { return test::Filled(w, h, alpha, 0x00FF00, alpha ? 0xFFFFFF : 0); }

int Covered(const Coverage& c) {
    int n = 0;
    for (int y = 0; y < c.Height(); ++y)
        for (int x = 0; x < c.Width(); ++x) n += c.At(x, y);
    return n;
}

TEST(Drawing, BrushShapesAndStrokesStayInsideTheImage) {
    const int expected[kBrushShapeCount] = {1, 9, 25, 49, 5, -1, -1, -1, -1, -1, -1, -1};
    for (int shape = 0; shape < kBrushShapeCount; ++shape) {
        Coverage c(20, 20);
        StampBrush(c, 10, 10, shape);
        const int size = BrushShapeSize(shape);
        EXPECT_EQ(std::pair(c.Bounds().Width(), c.Bounds().Height()), std::pair(size, size)) << shape;
        if (expected[shape] > 0) {
            EXPECT_EQ(Covered(c), expected[shape]) << shape;
        }
        EXPECT_TRUE(c.At(10, 10) || shape >= 10) << shape;
    }
    // A stamp across the edge is clipped (strokes at and across the border: see the tools' test).
    Coverage clipped(8, 8);
    StampBrush(clipped, 0, 0, 3);
    EXPECT_EQ(Covered(clipped), 16);
    EXPECT_EQ(clipped.Bounds().left, 0);
}

TEST(Drawing, LineWalkLeavesOutTheEndAndSegmentsStampIt) {
    std::vector<std::pair<int, int>> points;
    LineDDA(0, 0, 5, 2, [&](int x, int y) { points.emplace_back(x, y); });
    ASSERT_EQ(points.size(), 5u);
    EXPECT_EQ(points.front(), (std::pair{0, 0}));
    for (const auto& [x, y] : points) EXPECT_FALSE(x == 5 && y == 2);
    points.clear();
    LineDDA(3, 3, 3, 3, [&](int x, int y) { points.emplace_back(x, y); });
    EXPECT_TRUE(points.empty());
    for (const auto& [x1, y1] : {std::pair{9, 0}, {0, 9}, {-9, -4}, {4, -9}}) {
        Coverage c(30, 30);
        StrokeSegment(c, 15, 15, 15 + x1, 15 + y1, 0);
        EXPECT_EQ(Covered(c), std::max(std::abs(x1), std::abs(y1)) + 1);
        EXPECT_TRUE(c.At(15 + x1, 15 + y1));
    }
}

TEST(Drawing, ColoursOnFormatsWithoutAlpha) {
    // Pixel x gets the colour value of row x, stored as a colour and a mask bit, and reads back.
    FormatState f = Format(4, 1, false);
    const struct {
        COLORREF value, colour, mask;
    } cases[] = {
        {0x123456, 0x123456, 0},
        {kTransparentColour, 0, 0xFFFFFF},       // black with mask bit 1: shows the backdrop
        {kInvertedColour, 0xFFFFFF, 0xFFFFFF},  // white with mask bit 1: the backdrop inverted
    };
    for (int x = 0; x < 3; ++x) {
        Coverage c(4, 1);
        c.Set(x, 0);
        ApplyColour(f, c, cases[x].value, 255);
        EXPECT_EQ(std::tuple(f.color.GetPixel(x, 0), f.mask.GetPixel(x, 0), ReadPixel(f, x, 0)),
                  std::tuple(cases[x].colour, cases[x].mask, cases[x].value)) << "row " << x;
    }
    EXPECT_EQ(f.color.GetPixel(3, 0), 0x00FF00u);  // not covered

    // Palette entries, and the rounding of a 15- or 16-bit screen.
    f.depth = 8;
    f.palette.entries = {{0x47, 0xFF, 0x0F, 0}};
    Coverage p(4, 1);
    p.Set(3, 0);
    ApplyColour(f, p, kPaletteColourBase + 0, 255, 16);
    EXPECT_EQ(f.color.GetPixel(3, 0), RGB(0x40, 0xFF, 0x08));
    ApplyColour(f, p, kPaletteColourBase + 0, 255, 32);
    EXPECT_EQ(f.color.GetPixel(3, 0), RGB(0x47, 0xFF, 0x0F));
    EXPECT_EQ(ReadPixel(f, 3, 0), kPaletteColourBase + 0);
}

TEST(Drawing, CompositingByTheFormula) {
    struct Case {
        COLORREF cs;
        int s;
        COLORREF cd;
        int d;
        int opacity;
        bool erase;
        AlphaPixel out;
    };
    // A = (255 s + (255 - s) d + 127) / 255, w = ((255 - s) d + 127) / 255,
    // channel = (cs s + cd w + A / 2) / A.
    const Case cases[] = {
        {0x0000FF, 0, 0x00FF00, 0, 255, false, {0xFFFFFF, 0}},    // nothing over nothing: white, clear
        {0x0000FF, 0, 0x00FF00, 90, 255, false, {0x00FF00, 90}},  // nothing over something
        {0x0000FF, 200, 0x00FF00, 0, 255, false, {0x0000FF, 200}},
        {0x0000FF, 255, 0x00FF00, 100, 0, false, {0x00FF00, 100}},  // opacity 0 leaves it
        {0x0000FF, 128, 0x00FF00, 200, 255, false, {RGB(143, 112, 0), 228}},  // A 228, w 100
        {0x0000FF, 255, 0x00FF00, 200, 102, false, {RGB(117, 138, 0), 222}},  // s becomes 102: A 222, w 120
        {0x000000, 255, 0x00FF00, 200, 255, true, {0x00FF00, 0}},  // erasing
        {0x000000, 128, 0x00FF00, 200, 255, true, {0x00FF00, 99}},  // 127 of 255 of 200 left
    };
    for (const Case& c : cases) EXPECT_EQ(CompositePixel(c.cs, c.s, c.cd, c.d, c.opacity, c.erase), c.out) << c.s << " " << c.d;

    // On a 32-bit format, opacity 0 in solid mode makes the covered pixels fully transparent.
    FormatState f = Format(2, 1, true);
    Coverage c(2, 1);
    c.Set(0, 0);
    ApplyColour(f, c, 0x0000FF, 0);
    EXPECT_EQ(std::tuple(GetRValue(f.mask.GetPixel(0, 0)), GetRValue(f.mask.GetPixel(1, 0))), std::tuple(0, 255));
    ApplyColour(f, c, 0x0000FF, 255);
    EXPECT_EQ(std::tuple(f.color.GetPixel(0, 0), GetRValue(f.mask.GetPixel(0, 0))), std::tuple(0x0000FFu, 255));
}

TEST(Drawing, FloodFillCandidates) {
    // Without alpha: exact colour and mask bit, 4-connected.
    FormatState f = Format(5, 5, false);
    for (int i = 0; i < 5; ++i) f.color.SetPixel(2, i, 0x0000FF);  // a wall down the middle
    f.color.SetPixel(2, 2, 0x00FF00);                              // with a gap
    f.mask.SetPixel(0, 0, 0xFFFFFF);                               // same colour, other mask bit
    Coverage region = FloodFillCoverage(f, 4, 4);
    EXPECT_EQ(Covered(region), 25 - 4 - 1);
    EXPECT_FALSE(region.At(0, 0));
    f.color.SetPixel(2, 2, 0x0000FF);  // the wall closed
    EXPECT_EQ(Covered(FloodFillCoverage(f, 4, 4)), 10);
    // Diagonal neighbours are not connected.
    FormatState d = Format(3, 3, false);
    d.color.SetPixel(1, 0, 1);
    d.color.SetPixel(0, 1, 1);
    EXPECT_EQ(Covered(FloodFillCoverage(d, 0, 0)), 1);

    // With alpha: a clear click takes every pixel below alpha 80; an opaque one takes near colours.
    FormatState a = Format(4, 1, true);
    const std::uint8_t alphas[] = {0, 79, 80, 20};
    a.mask = test::MakeBitmap(4, 1, [&](int x, int) { return test::Grey(alphas[x]); });
    Coverage clear = FloodFillCoverage(a, 0, 0);
    // Not the pixel at 80, nor the one beyond it.
    EXPECT_EQ(std::tuple(clear.At(1, 0), clear.At(2, 0), clear.At(3, 0)), std::tuple(true, false, false));
    FormatState o = Format(4, 1, true);
    o.color.SetPixel(1, 0, RGB(29, 255, 0));
    o.color.SetPixel(2, 0, RGB(30, 255, 0));
    Coverage near = FloodFillCoverage(o, 0, 0);
    EXPECT_EQ(std::pair(near.At(1, 0), near.At(2, 0)), std::pair(true, false));
}

}  // namespace
}  // namespace tellurine::editor
