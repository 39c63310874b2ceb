#include "editor/tools.h"

#include <gtest/gtest.h>

#include <tuple>

#include "editor/editor_test_support.h"
#include "image/raster.h"

namespace tellurine::editor {
namespace {

// White, and with alpha wholly clear.
FormatState Format(int size, bool alpha) { return test::Filled(size, size, alpha, 0xFFFFFF, 0); }

// The colour and alpha of a pixel of a format with alpha.
AlphaPixel Pixel(const FormatState& f, int x, int y) {
    return {f.color.GetPixel(x, y), GetRValue(f.mask.GetPixel(x, y))};
}

int Changed(const FormatState& a, const FormatState& b) {
    int n = 0;
    for (int y = 0; y < a.Height(); ++y)
        for (int x = 0; x < a.Width(); ++x)
            n += a.color.GetPixel(x, y) != b.color.GetPixel(x, y) || a.mask.GetPixel(x, y) != b.mask.GetPixel(x, y);
    return n;
}

using test::Drag;

TEST(Tools, StrokesOfEveryToolChangeWhatTheyCover) {
    ColourSelection colours{.foreground = 0x0000FF};
    struct Case {
        ToolKind kind;
        int x0, y0, x1, y1;
        int changed;
    };
    const Case cases[] = {
        {ToolKind::Pen, 0, 0, 0, 0, 1},          // one pixel at the border
        {ToolKind::Pen, 2, 2, 7, 2, 6},          // a freehand stroke: every pixel once
        {ToolKind::Line, 1, 1, 8, 1, 8},
        {ToolKind::Rectangle, 1, 1, 4, 3, 10},   // the outline of 4 x 3
        {ToolKind::FilledRectangle, 1, 1, 4, 3, 12},
        {ToolKind::FilledEllipse, 0, 0, 9, 9, -1},
        {ToolKind::Fill, 5, 5, 5, 5, 100},
        {ToolKind::Pen, 8, 5, 30, 5, 2},         // leaving the image: clipped
    };
    for (const Case& c : cases) {
        std::unique_ptr<CDrawTool> tool = MakeTool(c.kind);
        FormatState f = Format(10, false);
        const FormatState before = f;
        const CanvasRect changed = Drag(*tool, f, colours, {{c.x0, c.y0}, {(c.x0 + c.x1) / 2, (c.y0 + c.y1) / 2},
                                                            {c.x1, c.y1}, {c.x1, c.y1}});
        if (c.changed >= 0) {
            EXPECT_EQ(Changed(before, f), c.changed) << static_cast<int>(c.kind);
        }
        const bool ellipse = c.kind == ToolKind::FilledEllipse;  // its box's corner is outside it
        EXPECT_EQ(f.color.GetPixel(ellipse ? 5 : c.x0, ellipse ? 5 : c.y0), 0x0000FFu) << static_cast<int>(c.kind);
        // Every change lies inside the reported rectangle: the pixels before laid back there give
        // the picture before.
        DeviceBitmap restored = f.color;
        BitBlt(restored, changed.left, changed.top, changed.Width(), changed.Height(), before.color, changed.left,
               changed.top, Rop::SrcCopy);
        EXPECT_EQ(restored, before.color) << static_cast<int>(c.kind);
    }
}

// A shape is drawn again from the press to wherever the pointer is, leaving nothing where it was.
TEST(Tools, ShapesFollowThePointerWithoutTrailsAndTheFrameTakesBothColours) {
    ColourSelection colours{.foreground = 0x0000FF};
    FormatState line = Format(10, false);
    const FormatState before = line;
    Drag(*MakeTool(ToolKind::Line), line, colours, {{0, 0}, {9, 9}, {9, 0}, {9, 0}});  // diagonal, taken back
    EXPECT_EQ(Changed(before, line), 10);
    EXPECT_EQ(line.color.GetPixel(5, 5), 0xFFFFFFu);

    colours = {.foreground = 0xEEEEEE, .background = 0x333333};
    for (const bool right : {false, true}) {
        FormatState f = Format(10, false);
        Drag(*MakeTool(ToolKind::Frame3D), f, colours, {{7, 6}, {1, 1}, {2, 2}, {2, 2}}, right);
        const COLORREF light = right ? 0x333333 : 0xEEEEEE, dark = right ? 0xEEEEEE : 0x333333;
        // The top-left corner, the top side's last pixel and the left side's are light; the bottom-right
        // corner and the bottom side dark; inside is untouched, and the earlier position left no trail.
        const std::tuple<int, int, COLORREF> want[] = {{2, 2, light}, {7, 2, light}, {2, 6, light}, {7, 6, dark},
                                                       {5, 6, dark},  {4, 4, 0xFFFFFF}, {1, 1, 0xFFFFFF}};
        for (const auto& [x, y, colour] : want)
            EXPECT_EQ(f.color.GetPixel(x, y), colour) << right << " " << x << "," << y;
    }
}

TEST(Tools, GradientsAndSmoothEdgesOnFormatsWithAlpha) {
    ColourSelection colours{.foreground = 0x0000FF, .background = 0xFF0000};  // red, blue
    // A horizontal gradient across a filled rectangle: red at the left, blue at the right.
    for (const int mode : {int{kHorizontalGradient}, kHorizontalGradient + kReflectedGradient}) {
        std::unique_ptr<CDrawTool> rect = MakeTool(ToolKind::FilledRectangle);
        rect->settings.gradient = mode;
        FormatState f = Format(9, true);
        Drag(*rect, f, colours, {{0, 0}, {8, 8}});
        const bool reflected = mode >= kReflectedGradient;
        EXPECT_EQ(f.color.GetPixel(0, 4), 0x0000FFu) << mode;
        EXPECT_EQ(f.color.GetPixel(8, 4), reflected ? 0x0000FFu : 0xFF0000u) << mode;
        // The middle: 255 * 128 / 256 of each, opaque.
        EXPECT_EQ(Pixel(f, 4, 4), (AlphaPixel{reflected ? 0xFF0000u : 0x7F007Fu, 255})) << mode;
    }
    // A vertical gradient runs down a square as a horizontal one runs across it, and reaches its end
    // on the last row even of an area two pixels high.
    const CanvasRect box{0, 0, 9, 9};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(GradientPosition(kVerticalGradient, box, 0, i), GradientPosition(kHorizontalGradient, box, i, 0));
    EXPECT_EQ(GradientPosition(kVerticalGradient, {0, 0, 9, 2}, 0, 1), GradientPosition(kVerticalGradient, box, 0, 8));
    // The same stroke on a format without alpha takes the primary colour alone.
    std::unique_ptr<CDrawTool> rect = MakeTool(ToolKind::FilledRectangle);
    rect->settings.gradient = kVerticalGradient;
    FormatState plain = Format(5, false);
    Drag(*rect, plain, colours, {{0, 0}, {4, 4}});
    EXPECT_EQ(plain.color.GetPixel(2, 4), 0x0000FFu);

    // Smooth edges: a filled ellipse gets partly covered pixels around it; without, none.
    for (const bool smooth : {true, false}) {
        std::unique_ptr<CDrawTool> ellipse = MakeTool(ToolKind::FilledEllipse);
        ellipse->settings.smoothEdges = smooth;
        FormatState f = Format(12, true);
        Drag(*ellipse, f, colours, {{2, 2}, {9, 9}});
        int partial = 0;
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 12; ++x) {
                const int a = GetRValue(f.mask.GetPixel(x, y));
                partial += a > 0 && a < 255;
            }
        EXPECT_EQ(partial > 0, smooth);
        EXPECT_EQ(GetRValue(f.mask.GetPixel(5, 5)), 255);
    }
}

// The default gradient with stops paints byte for byte what the two-colour gradient paints, in
// every mode; other stops are what the stroke paints, their foreground end the stroke's colour.
TEST(Tools, GradientStopsPaintThroughTheStroke) {
    Coverage all(17, 13);
    for (int y = 0; y < 13; ++y) all.SetRun(0, 17, y);
    const auto paint = [&](int mode, const Gradient* stops) {
        FormatState f = test::Filled(17, 13, true, 0x336699, 0x808080);
        ApplyPaint(f, all, {0x2040C0, 200, 0xF0A010, 90, mode, {0, 0, 17, 13}, stops});
        return f;
    };
    const Gradient two;
    for (const int mode : {1, 2, 3, 4, 11, 12, 13, 14}) {
        const FormatState old = paint(mode, nullptr), same = paint(mode, &two);
        EXPECT_TRUE(same.color == old.color && same.mask == old.mask) << mode;
    }
    // The foreground (red) to a half-clear green at the middle to blue.
    std::unique_ptr<CDrawTool> rect = MakeTool(ToolKind::FilledRectangle);
    rect->settings.gradient = kHorizontalGradient;
    GradientSegment segment{.left = 0, .middle = 0.5, .right = 1, .leftColour = {}, .rightColour = {0, 0, 1, 1}};
    segment.leftType = EndpointColour::Foreground;
    rect->settings.stops = Gradient({segment});
    rect->settings.stops.AddStop(0.5, {}, {});
    rect->settings.stops.SetStopColour(1, {0, 1, 0, 0.5});
    ColourSelection colours{.foreground = 0x0000FF};
    FormatState f = Format(9, true);
    Drag(*rect, f, colours, {{0, 0}, {8, 8}});
    const AlphaPixel want[] = {{0x0000FF, 255}, {0x00FF00, 128}, {0xFF0000, 255}};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Pixel(f, 4 * i, 4), want[i]) << i;
}

TEST(Tools, RightButtonPickerAndAlphaStrokes) {
    ColourSelection colours{.foreground = 0x0000FF, .background = 0x00FF00, .foregroundOpacity = 128};
    std::unique_ptr<CDrawTool> pen = MakeTool(ToolKind::Pen);
    FormatState f = Format(4, true);
    // A right-button stroke paints the background colour at its opacity (255) over clear pixels.
    Drag(*pen, f, colours, {{1, 1}, {1, 1}}, true);
    EXPECT_EQ(Pixel(f, 1, 1), (AlphaPixel{0x00FF00, 255}));
    // A left stroke at opacity 128 over it: composited once even where the stroke passes twice.
    Drag(*pen, f, colours, {{0, 1}, {2, 1}, {0, 1}, {0, 1}});
    const AlphaPixel once = CompositePixel(0x0000FF, 255, 0x00FF00, 255, 128, false);
    EXPECT_EQ(Pixel(f, 1, 1), once);
    // Opacity 0 erases.
    colours.foregroundOpacity = 0;
    Drag(*pen, f, colours, {{1, 1}, {1, 1}});
    EXPECT_EQ(GetRValue(f.mask.GetPixel(1, 1)), 0);

    // The picker reads into the foreground with the left button, the background with the right.
    std::unique_ptr<CDrawTool> picker = MakeTool(ToolKind::Pick);
    EXPECT_FALSE(picker->Edits());
    FormatState g = Format(4, false);
    g.color.SetPixel(2, 2, 0x123456);
    g.mask.SetPixel(3, 3, 0xFFFFFF);
    g.color.SetPixel(3, 3, 0xFFFFFF);
    EXPECT_TRUE(picker->ButtonDown(g, colours, 2, 2, false).coloursChanged);
    EXPECT_EQ(colours.foreground, 0x123456u);
    picker->ButtonDown(g, colours, 3, 3, true);
    EXPECT_EQ(colours.background, kInvertedColour);

    // The replacer swaps the background colour for the foreground colour where the brush passes.
    colours.foreground = 0x0000FF;
    colours.background = 0xFFFFFF;
    FormatState h = Format(4, false);
    h.color.SetPixel(1, 0, 0xFEFFFF);
    Drag(*MakeTool(ToolKind::Replacer), h, colours, {{0, 0}, {3, 0}, {3, 0}});
    // Only the background colour, and only where the brush passed.
    for (const auto& [x, y, colour] :
         {std::tuple{0, 0, 0x0000FFu}, {1, 0, 0xFEFFFFu}, {3, 0, 0x0000FFu}, {0, 1, 0xFFFFFFu}})
        EXPECT_EQ(h.color.GetPixel(x, y), colour) << x << "," << y;
}

}  // namespace
}  // namespace tellurine::editor
