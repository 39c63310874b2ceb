#include "editor/canvas.h"
#include "editor/canvas_resources.h"
#include "editor/colour_value.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

#include "test_support.h"

namespace tellurine::editor {
namespace {

using test::Sides;
using test::SidesOf;

constexpr COLORREF A = 0x102030, B = 0xF0E0D0;

TEST(CanvasPatterns, CellsFollowTheCounterRule) {
    // Style 0: all A.
    EXPECT_EQ(MakePattern(64, 64, 0, A, B), DeviceBitmap::Create(64, 64, A));
    // Styles 1 to 4: checkerboards of 4, 8, 16, 32 pixels whose top-left cell is A; 5: of 1.
    for (const auto& [style, cell] : {std::pair{1, 4}, std::pair{2, 8}, std::pair{3, 16}, std::pair{4, 32}, std::pair{5, 1}}) {
        const auto checker = [cell](int x, int y) { return (x / cell + y / cell) % 2 == 0 ? A : B; };
        EXPECT_EQ(MakePattern(64, 64, style, A, B), test::MakeBitmap(64, 64, checker)) << style;
    }
    // With an odd number of cells in a row, the extra count at the row's end makes columns.
    EXPECT_EQ(MakePattern(12, 8, 1, A, B), test::MakeBitmap(12, 8, [](int x, int) { return x / 4 % 2 == 0 ? A : B; }));
    // A style outside 0..5 is taken as 1.
    EXPECT_EQ(MakePattern(8, 8, 9, A, B), MakePattern(8, 8, 1, A, B));
    EXPECT_EQ(MakePattern(8, 8, -2, A, B), MakePattern(8, 8, 1, A, B));
}

TEST(CanvasPatterns, ResourcesFromTheSettings) {
    // 160 * 3 / 9; (160 * 6 + 255 * 3) / 9; all the way to white; each channel inverted.
    EXPECT_EQ(
        (std::array{Darken(0xA0A0A0, 6), Lighten(0xA0A0A0, 3), Lighten(0x000000, 9), InvertColour(0x102030)}),
        (std::array{0x353535u, 0xBFBFBFu, 0xFFFFFFu, 0xEFDFCFu}));

    CanvasSettings s;
    s.transparencyStyle = 3;
    s.transparentColor1 = A;
    s.transparentColor2 = B;
    s.gridColor = 0xA0A0A0;
    CanvasResources r = CanvasResources::Build(s);
    EXPECT_EQ(r.backdrop, MakePattern(64, 64, 3, A, B));
    EXPECT_EQ(r.transparentSwatch, MakePattern(8, 8, 1, A, B));  // the swatches always use style 1
    EXPECT_EQ(r.invertedSwatch, MakePattern(8, 8, 1, InvertColour(A), InvertColour(B)));
    EXPECT_EQ(r.grid, MakePattern(8, 8, 5, 0xA0A0A0, 0xBFBFBF));  // dotted
    EXPECT_EQ(r.strongGrid, MakePattern(8, 8, 5, 0x353535, 0xA0A0A0));
    s.transparencyStyle = 0;
    s.gridStyle = 0;
    r = CanvasResources::Build(s);
    EXPECT_EQ(r.transparentSwatch, MakePattern(8, 8, 0, A, B));
    EXPECT_EQ(r.grid, MakePattern(8, 8, 0, 0xA0A0A0, 0));  // solid
}

TEST(CanvasGeometry, PlacingFittingZoomingAndMapping) {
    const CanvasPlacement centred = PlaceImage(32, 32, 8, 500, 300);
    EXPECT_EQ(std::pair(centred.originX, centred.originY), std::pair((500 - 256) / 2, 22));
    EXPECT_EQ(PlaceImage(32, 32, 8, 100, 100).originX, 10);  // never below 10
    // A window smaller than the image plus 20 fits at 1; at most 30; 20 pixels of margin.
    EXPECT_EQ((std::array{FitZoom(32, 40, 40), FitZoom(16, 4000, 4000), FitZoom(10, 120, 200)}),
              (std::array{1, 30, 10}));
    EXPECT_EQ((std::array{ZoomIn(30), ZoomIn(8), ZoomOut(1), ZoomOut(8)}), (std::array{30, 9, 1, 7}));
    // Below 100 %: 1/2, 1/3 ... 1/8, and back up through them.
    ViewScale scale{2, 1};
    const int percents[] = {100, 50, 33, 25, 20, 16, 14, 12, 12};
    for (const int percent : percents) {
        scale = ZoomOut(scale);
        EXPECT_EQ(scale.Percent(), percent);
    }
    for (const auto& [from, to] : {std::pair{ViewScale{1, 3}, ViewScale{1, 2}}, {{1, 2}, {1, 1}}, {{1, 1}, {2, 1}}})
        EXPECT_EQ(ZoomIn(from), to) << from.Percent();
    // Fitting: a format larger than the window is shrunk until it fits; a small one magnified.
    // 480 pixels of room in the first window, 280 in the last.
    for (const auto& [side, w, h, fit] : {std::tuple{1024, 600, 500, ViewScale{1, 3}}, {512, 600, 532, ViewScale{1, 1}},
                                          {512, 600, 531, ViewScale{1, 2}}, {32, 500, 300, ViewScale{8, 1}}})
        EXPECT_EQ(FitScale(side, side, w, h), fit) << side << " in " << w << " x " << h;
    EXPECT_EQ(FitScale(1024, 1024, 30, 30).shrink, kMaxShrink);

    const CanvasPlacement p{8, 10, 20};
    struct Case {
        int px, py, x, y;
        bool inside;
    };
    const Case cases[] = {
        {10, 20, 0, 0, true},     {17, 27, 0, 0, true},    {18, 20, 1, 0, true},
        // Truncation toward zero: less than a zoom step before the origin still maps to pixel 0.
        {9, 20, 0, 0, true},      {10, 13, 0, 0, true},    {1, 20, 0, 0, false},  {10, 11, 0, 0, false},
        {-100, -100, 0, 0, false}, {10 + 16 * 8 - 1, 20, 15, 0, true},
        {10 + 16 * 8, 20, 15, 0, false}, {10, 20 + 16 * 8 + 50, 0, 15, false},
    };
    for (const Case& c : cases) {
        const PixelHit hit = MouseToPixel(p, 16, 16, c.px, c.py);
        EXPECT_EQ(std::tuple(hit.x, hit.y, hit.inside, hit.zoomedX, hit.zoomedY),
                  std::tuple(c.x, c.y, c.inside, c.x * 8, c.y * 8)) << c.px << "," << c.py;
    }

    // A window's view: scrolled and shrunk points map back to pixels, rounding down outside the
    // image, and a zoom keeps the image point under the pointer.
    CanvasViewport v{64, 64, {1, 2}, 20, 20, 5, 3};
    const CanvasPlacement at = v.Placement();  // the 64 x 64 image at 100 % in a 40 x 40 view
    EXPECT_EQ(v.RawPixel(0, 0).x, (5 * 2 - at.originX));
    const PixelHit before = v.RawPixel((at.originX - 3) / 2 - 5, 0);
    EXPECT_LT(before.x, 0);
    EXPECT_FALSE(before.inside);
    EXPECT_EQ(v.ContentWidth(), 32 + kScrollMargin);
    const auto under = v.ImagePoint(7, 9);
    v.scale = {4, 1};
    const auto [sx, sy] = v.ScrollKeeping(under, 7, 9);
    v.scrollX = sx;
    v.scrollY = sy;
    EXPECT_LT(std::hypot(v.ImagePoint(7, 9).first - under.first, v.ImagePoint(7, 9).second - under.second), 0.25);
    EXPECT_EQ(MaxZoomFor(16, 16), kMaxZoom);
    EXPECT_EQ(MaxZoomFor(1024, 1024), 7);  // 7,178 x 7,188 stays within 64 Mi pixels; 8 would not
}

// A 16 x 16 format, its mask and what a paint of it shows.
struct Fixture {
    DeviceBitmap color = DeviceBitmap::Create(16, 16, 0);
    DeviceBitmap mask = DeviceBitmap::Create(16, 16, 0);
    CanvasResources resources;
    CanvasRenderer renderer;
    CanvasPlacement placement{4, 10, 10};
    CanvasView view{4, false};
    bool alpha = false;

    Fixture() {
        CanvasSettings s;
        s.transparentColor1 = A;
        s.transparentColor2 = B;
        resources = CanvasResources::Build(s);
    }
    PaintedArea Paint(CanvasRect update = {0, 0, 4000, 4000}) {
        CanvasImage image{&color, &mask, alpha, {}, false, nullptr};
        PaintedArea painted;
        EXPECT_TRUE(renderer.Paint(image, resources, view, placement, update, painted));
        return painted;
    }
    // The work bitmap's pixel at screen offset (sx, sy) inside image pixel (x, y).
    COLORREF At(int x, int y, int sx = 1, int sy = 1) const {
        return renderer.Work().GetPixel(x * view.zoom + sx, y * view.zoom + sy);
    }
    COLORREF Backdrop(int x, int y, int sx = 1, int sy = 1) const {
        return resources.backdrop.GetPixel((x * view.zoom + sx) % 64, (y * view.zoom + sy) % 64);
    }
};

TEST(CanvasPaint, MaskAndColourPairsShowAsOnAScreen) {
    Fixture f;
    const COLORREF colour = 0x3366CC;
    f.color.SetPixel(1, 1, colour);                    // mask 0: the colour
    f.mask.SetPixel(2, 1, 0xFFFFFF);                   // mask 1, black: the backdrop
    f.mask.SetPixel(3, 1, 0xFFFFFF);                   // mask 1, white: the backdrop inverted
    f.color.SetPixel(3, 1, 0xFFFFFF);
    f.mask.SetPixel(4, 1, 0xFFFFFF);                   // mask 1, another colour: the backdrop XOR it
    f.color.SetPixel(4, 1, colour);
    f.Paint();
    EXPECT_EQ(f.At(1, 1), colour);
    EXPECT_EQ(f.At(2, 1), f.Backdrop(2, 1));
    EXPECT_EQ(f.At(3, 1), f.Backdrop(3, 1) ^ 0xFFFFFF);
    EXPECT_EQ(f.At(4, 1), f.Backdrop(4, 1) ^ colour);
    EXPECT_EQ(f.At(5, 5), 0u);  // mask 0, black
    for (int sx = 0; sx < 4; ++sx)
        for (int sy = 0; sy < 4; ++sy) EXPECT_EQ(f.At(1, 1, sx, sy), colour);  // a whole zoom x zoom block
}

TEST(CanvasPaint, AlphaBlendsOverTheBackdropExactly) {
    Fixture f;
    f.alpha = true;
    const COLORREF colour = 0x3366CC;
    f.color = DeviceBitmap::Create(16, 16, colour);
    f.mask = test::MakeBitmap(16, 16, [](int x, int) { return test::Grey(x * 17); });  // alpha 0, 17, ..., 255
    f.Paint();
    EXPECT_EQ(f.At(0, 0), f.Backdrop(0, 0));  // alpha 0: exactly the backdrop
    EXPECT_EQ(f.At(15, 0), colour);           // alpha 255: exactly the colour
    // Between, (colour a + backdrop (255 - a)) / 255 truncated, over either backdrop colour.
    EXPECT_EQ(f.At(1, 0), RGB(207, 215, 227));  // alpha 17 over B
    EXPECT_EQ(f.At(8, 0), RGB(131, 69, 34));    // alpha 136 over A
    EXPECT_EQ(f.At(13, 0), RGB(204, 118, 76));  // alpha 221 over B
}

// A fixture at zoom 6 whose format is all transparent, with or without alpha.
Fixture Transparent(bool alpha) {
    Fixture f;
    f.alpha = alpha;
    f.mask = DeviceBitmap::Create(16, 16, alpha ? 0 : 0xFFFFFF);
    f.view.zoom = f.placement.zoom = 6;
    return f;
}

TEST(CanvasPaint, TheBackdropStaysFixedToTheImageAndOnlyTheUpdateIsPainted) {
    Fixture f = Transparent(false);
    // An update over image pixels 5..9 by 7..8 (view coordinates include the origin).
    const CanvasRect update{10 + 5 * 6, 10 + 7 * 6, 10 + 9 * 6, 10 + 8 * 6};
    const PaintedArea painted = f.Paint(update);
    EXPECT_EQ(SidesOf(painted.source), (Sides{5 * 6, 7 * 6, 10 * 6, 9 * 6}));
    EXPECT_EQ(painted.destX, 10 + 5 * 6);
    // The backdrop's blocks reach beyond the update's pixels, laid without a gap (alpha too).
    for (const bool withAlpha : {false, true}) {
        Fixture g = Transparent(withAlpha);
        g.Paint(update);
        for (const int sy : {7 * 6 + 2, 8 * 6 + 3})  // in both rows of the update
            for (int sx = 0; sx < 64; ++sx)  // the block of x1 * zoom = 60 ends at 64
                ASSERT_EQ(g.renderer.Work().GetPixel(sx, sy), g.resources.backdrop.GetPixel(sx % 64, sy % 64))
                    << withAlpha << " " << sx << "," << sy;
    }
    // Outside the update's 64-pixel blocks nothing was drawn: the new work bitmap's white.
    EXPECT_EQ(f.renderer.Work().GetPixel(15 * 6 + 1, 15 * 6 + 1), 0xFFFFFFu);

    // The whole image reaches the edges: one pixel more each way, for the closing line.
    const PaintedArea all = f.Paint();
    EXPECT_EQ(SidesOf(all.source), (Sides{0, 0, 16 * 6 + 1, 16 * 6 + 1}));
    // Hidden grid: white closing lines at the right and bottom edges.
    EXPECT_EQ(f.renderer.Work().GetPixel(16 * 6, 5), 0xFFFFFFu);
    EXPECT_EQ(f.renderer.Work().GetPixel(5, 16 * 6), 0xFFFFFFu);

    // The work bitmap is kept while its key stays, made anew when the zoom changes.
    EXPECT_EQ(f.renderer.Rebuilds(), 1);
    EXPECT_EQ(std::pair(f.renderer.Work().Width(), f.renderer.Work().Height()), std::pair(16 * 6 + 10, 16 * 6 + 20));
    f.view.zoom = 7;
    f.Paint();
    EXPECT_EQ(f.renderer.Rebuilds(), 2);
}

TEST(CanvasPaint, GridStepsStrongerLinesAndDots) {
    for (int zoom = 1; zoom <= 6; ++zoom) {
        Fixture f;
        f.resources = CanvasResources::Build({1, A, B, 0, 0x808080, true, 8});
        f.color = DeviceBitmap::Create(16, 16, 0x00FF00);
        f.view = {zoom, true};
        f.Paint();
        const int step = zoom < 3 ? 4 : zoom < 5 ? 2 : 1;  // lines every step-th pixel
        const DeviceBitmap& work = f.renderer.Work();
        const COLORREF strong = Darken(0x808080, 6);
        for (int x = 0; x <= 16; ++x) {
            // Row 1 of the view crosses every column line; lines are one screen pixel wide.
            const COLORREF seen = work.GetPixel(x * zoom, 1 + zoom);
            const bool line = x % step == 0;
            const bool stronger = zoom >= 5 ? x % 8 == 0 : (x == 0 || x == 16);
            if (stronger) {
                EXPECT_EQ(seen, strong) << zoom << " " << x;
                // Where a regular row crosses it, the stronger column stays whole.
                if (zoom >= 5) {
                    EXPECT_EQ(work.GetPixel(x * zoom, 3 * zoom), strong) << zoom << " " << x;
                }
            } else if (line) {
                EXPECT_EQ(seen, 0x808080u) << zoom << " " << x;
            } else if (x < 16) {
                EXPECT_EQ(seen, 0x00FF00u) << zoom << " " << x;
            }
        }
    }
    // Style 2: dots at every column, on every step-th row only.
    Fixture f;
    f.resources = CanvasResources::Build({1, A, B, 2, 0x0000FF, true, 8});
    f.color = DeviceBitmap::Create(16, 16, 0x00FF00);
    f.view = {3, true};
    f.Paint();
    const DeviceBitmap& work = f.renderer.Work();
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) EXPECT_EQ(work.GetPixel(x * 3, y * 3), y % 2 == 0 ? 0x0000FFu : 0x00FF00u) << x << "," << y;
    EXPECT_EQ(work.GetPixel(1 * 3 + 1, 0), 0x00FF00u);  // no lines between the dots
}

TEST(CanvasPaint, SelectionFrameAndFloatingSelection) {
    Fixture f;
    f.color = DeviceBitmap::Create(16, 16, 0x00FF00);
    DeviceBitmap floatColor = DeviceBitmap::Create(2, 2, 0x0000FF), floatMask = DeviceBitmap::Create(2, 2, 0);
    floatMask.SetPixel(1, 1, 0xFFFFFF);  // the transparent colour: left out
    floatColor.SetPixel(1, 1, 0);
    const FloatingSelection floating{&floatColor, &floatMask, 3, 4, true};
    CanvasImage image{&f.color, &f.mask, false, {2, 2, 5, 6}, true, &floating};
    PaintedArea painted;
    f.view = {4, false};
    ASSERT_TRUE(f.renderer.Paint(image, f.resources, f.view, f.placement, {0, 0, 1000, 1000}, painted));
    EXPECT_EQ(f.At(3, 4), 0x0000FFu);
    EXPECT_EQ(f.At(4, 5), 0x00FF00u);  // a transparent pixel of the selection keeps the image
    EXPECT_EQ(f.color.GetPixel(3, 4), 0x00FF00u);  // the format itself is untouched
    const COLORREF frame = f.renderer.Work().GetPixel(2 * 4, 3 * 4);
    EXPECT_TRUE(frame == 0x505050u || frame == 0xA0A0A0u);
    EXPECT_EQ(f.renderer.Work().GetPixel(2 * 4 - 1, 3 * 4), 0x00FF00u);  // no handles while floating
}

TEST(ColourValues, ReadingRuleAndDrawingColourByDepth) {
    EXPECT_EQ((std::array{ReadColourValue(0x123456, 0), ReadColourValue(0xFFFFFF, 0xFFFFFF),
                          ReadColourValue(0x000000, 0xFFFFFF), ReadColourValue(0x123456, 0xFFFFFF)}),
              (std::array{0x123456u, kInvertedColour, kTransparentColour, kTransparentColour}));
    EXPECT_EQ((std::array{KindOf(0xF0FFFFFF), KindOf(0xF1000000), KindOf(0xF7000000)}),
              (std::array{ColourKind::Ordinary, ColourKind::Transparent, ColourKind::Inverted}));

    ColourSelection c{.foreground = 0x112233, .foregroundIndex8 = 7, .foregroundIndex1 = 200};
    for (const int bits : {32, 24, 4}) EXPECT_EQ(DrawingColour(c, bits, true), 0x112233u) << bits;
    EXPECT_EQ(DrawingColour(c, 8, true), 0x01000007u);
    EXPECT_EQ(DrawingColour(c, 1, true), 0xC8C8C8u);
    EXPECT_EQ(DrawingColour(c, 8, false), kTransparentColour);  // 65535
    c.backgroundIndex1 = kInvertedIndex;
    EXPECT_EQ(DrawingColour(c, 1, false), kInvertedColour);

    // Picking follows the edited depth, and the depth draws with what was picked; what a depth
    // cannot hold (a palette entry in true colour) changes nothing.
    ColourSelection p;
    const struct {
        int bits;
        bool left;
        ColourValue value;
        bool taken;
    } picks[] = {{8, true, 0x01000020, true},  {8, true, 0x00123456, false}, {8, false, kInvertedColour, true},
                 {1, true, 0xFFFFFF, true},     {1, true, 0x00FF00, false},   {32, false, 0x00FF00, true},
                 {24, false, 0x01000003, false}, {4, true, kTransparentColour, true}};
    for (const auto& k : picks) {
        EXPECT_EQ(PickColour(p, k.bits, k.left, k.value), k.taken) << k.bits << " " << std::hex << k.value;
        if (k.taken) {
            EXPECT_EQ(DrawingColour(p, k.bits, k.left), k.value) << k.bits << " " << std::hex << k.value;
        }
    }
    EXPECT_EQ(p.foregroundIndex8, 0x20);  // the 8-bit selection is kept for 8-bit formats

    Palette palette;
    palette.entries = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    // An entry's colour; past the palette's end, or transparent, what is given instead; a colour itself.
    for (const auto& [value, sampled] :
         {std::pair{0x01000001u, RGB(4, 5, 6)}, {0x01000009u, 7u}, {kTransparentColour, 7u}, {0x00ABCDEFu, 0xABCDEFu}})
        EXPECT_EQ(SampleColour(value, palette, 7), sampled) << std::hex << value;
}

}  // namespace
}  // namespace tellurine::editor
