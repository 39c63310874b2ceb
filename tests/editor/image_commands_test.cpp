#include "editor/image_commands.h"

#include <gtest/gtest.h>

#include <tuple>

#include <array>
#include <numeric>
#include <set>

#include "editor/editor_test_support.h"
#include "editor/palette_draft.h"
#include "editor/selection.h"
#include "image/raster.h"
#include "test_support.h"

namespace tellurine::editor {
namespace {

using test::Number;

// A numbered w x h format (editor_test_support.h); with alpha, the alpha of (x, y) is 150 + x.
FormatState Numbered(int w, int h, bool alpha) {
    FormatState f = test::Numbered(w, h, alpha);
    if (alpha) f.mask = test::MakeBitmap(w, h, [](int x, int) { return test::Grey(150 + x); });
    return f;
}

TEST(ImageCommands, EditTheSelectionOnlyAndKeepAnAndMask) {
    // "&Find Edges" makes flat areas black: the numbered picture is not flat, so look at the
    // pixels outside the selection instead, which must not change at all.
    for (const bool alpha : {false, true}) {
        FormatState f = Numbered(8, 8, alpha);
        f.mask.SetPixel(3, 3, alpha ? 0 : 0xFFFFFF);
        f.color.SetPixel(3, 3, 0xFFFFFF);
        const FormatState before = f;
        SelectRectangle(f, 2, 2, 5, 4);
        ASSERT_TRUE(FilterImage(f, 3));  // "&Blur"
        // Outside the selection nothing changed: it is the format before with the selection laid in.
        DeviceBitmap colour = before.color, mask = before.mask;
        BitBlt(colour, 2, 2, 4, 3, f.color, 2, 2, Rop::SrcCopy);
        BitBlt(mask, 2, 2, 4, 3, f.mask, 2, 2, Rop::SrcCopy);
        EXPECT_EQ(f.color, colour);
        EXPECT_EQ(f.mask, mask);
        EXPECT_NE(f.color.GetPixel(3, 3), before.color.GetPixel(3, 3));
        // An AND mask is left as it was; an alpha channel is filtered with the colours.
        if (alpha) {
            EXPECT_NE(f.mask.GetPixel(3, 3), 0u);
        } else {
            EXPECT_EQ(f.mask.GetPixel(3, 3), 0xFFFFFFu);
        }
        EXPECT_FALSE(f.floatingColor.has_value());
    }
    // Invert keeps the mask and alpha; inverting twice gives the picture back.
    FormatState f = Numbered(4, 4, true);
    const FormatState before = f;
    ASSERT_TRUE(InvertImage(f));
    EXPECT_EQ(f.color.GetPixel(1, 2), 0xFFFFFFu - Number(1, 2));
    EXPECT_EQ(f.mask, before.mask);
    ASSERT_TRUE(InvertImage(f));
    EXPECT_EQ(f.color, before.color);
}

TEST(ImageCommands, FlipsAndQuarterTurnsMovePixelsWhereTheyBelong) {
    struct Case {
        bool select;   // on the selection (2 x 2 at 1,1) rather than the whole 4 x 4 format
        int command;   // 0 flip left-right, 1 flip top-bottom, 2 turn 90 left
        int x, y;      // a pixel after the command
        int fromX, fromY;  // where it was before
    };
    const Case cases[] = {
        {false, 0, 0, 1, 3, 1}, {false, 1, 2, 0, 2, 3}, {false, 2, 0, 0, 3, 0},  {false, 2, 1, 3, 0, 1},
        {true, 0, 1, 1, 2, 1},  {true, 1, 2, 2, 2, 1},  {true, 2, 1, 1, 2, 1},
    };
    for (const Case& c : cases) {
        FormatState f = Numbered(4, 4, false);
        if (c.select) SelectRectangle(f, 1, 1, 2, 2);
        const bool ok = c.command == 2 ? RotateSelectedImage(f, 90) : FlipImage(f, c.command == 1);
        ASSERT_TRUE(ok);
        EXPECT_EQ(f.color.GetPixel(c.x, c.y), Number(c.fromX, c.fromY)) << c.command << " at " << c.x << "," << c.y;
        EXPECT_TRUE(!c.select || f.color.GetPixel(0, 0) == Number(0, 0));  // outside: untouched
    }
    // "Right" is a turn of 270 to the left: four of them, or 90 and 270, give the picture back.
    FormatState f = Numbered(5, 5, true);
    const FormatState before = f;
    ASSERT_TRUE(RotateSelectedImage(f, 90));
    ASSERT_TRUE(RotateSelectedImage(f, 270));
    EXPECT_EQ(f.color, before.color);
    EXPECT_EQ(f.mask, before.mask);
}

TEST(ImageCommands, NewSizesFloatOverTheLiftedPixels) {
    // A turn of a 3 x 1 selection floats 1 x 3 around the same centre; what was under it is clear.
    FormatState f = Numbered(6, 6, false);
    SelectRectangle(f, 1, 2, 3, 2);
    ASSERT_TRUE(RotateSelectedImage(f, 90));
    ASSERT_TRUE(f.floatingColor.has_value());
    EXPECT_EQ(std::tuple(f.floatingColor->Width(), f.floatingColor->Height(), f.floatingX, f.floatingY),
              std::tuple(1, 3, 2, 1));
    EXPECT_EQ(f.floatingColor->GetPixel(0, 0), Number(3, 2));  // the right end goes up
    EXPECT_EQ(std::pair(f.mask.GetPixel(1, 2), f.color.GetPixel(1, 2)), std::pair(0xFFFFFFu, 0u));
    EXPECT_EQ(test::SidesOf(f.selection), (test::Sides{2, 1, 2, 3}));

    // A resize of the whole format floats at the top-left corner over a cleared format, and a
    // second resize works on that floating picture.
    f = Numbered(8, 8, true);
    int w = 0, h = 0;
    SelectedImageSize(f, w, h);
    EXPECT_EQ(w, 8);
    ASSERT_TRUE(ResizeImage(f, 4, 2));
    ASSERT_TRUE(f.floatingColor.has_value());
    SelectedImageSize(f, w, h);
    EXPECT_EQ(std::tuple(w, h, f.floatingX), std::tuple(4, 2, 0));
    EXPECT_EQ(f.mask.GetPixel(5, 5), 0u);  // alpha 0 under it
    ASSERT_TRUE(ResizeImage(f, 6, 6));
    EXPECT_EQ(f.floatingColor->Width(), 6);
    // Out of range, nothing changes.
    const FormatState before = f;
    EXPECT_FALSE(ResizeImage(f, 0, 6));
    EXPECT_FALSE(ResizeImage(f, 4097, 6));
    EXPECT_EQ(f.floatingColor, before.floatingColor);

    // Without alpha the resized mask stays an AND mask: half-transparent or more is transparent,
    // and transparent pixels are black.
    f = Numbered(8, 8, false);
    f.mask = test::MakeBitmap(8, 8, [](int x, int) { return x < 4 ? 0u : 0xFFFFFFu; });
    ASSERT_TRUE(ResizeImage(f, 4, 4));
    EXPECT_EQ(std::pair(f.floatingMask->GetPixel(3, 1), f.floatingColor->GetPixel(3, 1)), std::pair(0xFFFFFFu, 0u));
    EXPECT_EQ(f.floatingMask->GetPixel(0, 1), 0u);
}

// (Undoing a depth change: the undo history's and the edit session's tests.)
TEST(ImageCommands, DepthChangesThroughTheColourReduction) {
    FormatState f = Numbered(16, 16, true);
    f.mask.SetPixel(0, 0, 0);  // one transparent pixel
    ASSERT_TRUE(ChangeImageDepth(f, 8));
    EXPECT_EQ(std::tuple(f.depth, f.colorCount, f.alpha, f.palette.size()), std::tuple(8, 256u, false, 256u));
    // Alpha below half: transparent in the AND mask, over black.
    EXPECT_EQ(std::pair(f.mask.GetPixel(0, 0), f.color.GetPixel(0, 0)), std::pair(0xFFFFFFu, 0u));
    EXPECT_EQ(f.mask.GetPixel(5, 5), 0u);
    EXPECT_FALSE(ChangeImageDepth(f, 16));
    // A floating selection is laid down before the depth changes.
    f = Numbered(16, 16, true);
    f.mask.SetPixel(1, 1, 0xFFFFFF);  // opaque, so that it replaces what it is laid on
    SelectRectangle(f, 0, 0, 1, 1);
    MoveSelection(f, 4, 4, true);
    ASSERT_TRUE(ChangeImageDepth(f, 24));
    EXPECT_FALSE(f.floatingColor.has_value());
    EXPECT_EQ(f.color.GetPixel(5, 5), Number(1, 1));
}

TEST(ImageCommands, PaletteEntriesMoveWithTheirPixelsAndReduceByMedianCut) {
    // A 4-bit format whose pixel (x, y) uses entry (x + y) % 16.
    FormatState f = test::Filled(16, 16, false, 0, 0);
    f.SetDepth(4);
    for (int i = 0; i < 16; ++i)
        f.palette.entries.push_back({static_cast<std::uint8_t>(i * 16), static_cast<std::uint8_t>(255 - i * 16), 7, 0});
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const PaletteEntry& e = f.palette.entries[static_cast<std::size_t>((x + y) % 16)];
            f.indices.push_back(static_cast<std::uint8_t>((x + y) % 16));
            f.color.SetPixel(x, y, RGB(e.red, e.green, e.blue));
        }
    const FormatState before = f;
    // The first two entries swapped: every pixel shows as before, through the other index.
    std::vector<int> origin(16);
    std::iota(origin.begin(), origin.end(), 0);
    std::swap(origin[0], origin[1]);
    Palette swapped = f.palette;
    std::swap(swapped.entries[0], swapped.entries[1]);
    ASSERT_TRUE(ReorderPalette(f, swapped, origin));
    EXPECT_EQ(f.color, before.color);
    for (std::size_t i = 0; i < f.indices.size(); ++i) {
        const int old = before.indices[i];
        EXPECT_EQ(f.indices[i], old < 2 ? 1 - old : old);
    }
    // What is not a permutation of the entries is refused, changing nothing.
    const FormatState reordered = f;
    origin[0] = origin[1];
    EXPECT_FALSE(ReorderPalette(f, swapped, origin));
    origin.pop_back();
    EXPECT_FALSE(ReorderPalette(f, swapped, origin));
    EXPECT_EQ(f.indices, reordered.indices);
    // The Palette dialog's draft: sorted dark to light (the entries' luma falls with their index),
    // then entry 0 moved to place 2, each entry keeping where it came from; a palette taken in their
    // place is to be mapped, black past its end.
    PaletteDraft draft(before.palette, 4);
    draft.SortByBrightness();
    EXPECT_TRUE(draft.Move(0, 2) && !draft.Move(3, 3) && !draft.Move(-1, 0) && !draft.Move(0, 16));
    EXPECT_EQ(std::vector(draft.origin.begin(), draft.origin.begin() + 4), (std::vector{14, 13, 15, 12}));
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(draft.palette.entries[i], before.palette.entries[static_cast<std::size_t>(draft.origin[i])]) << i;
    EXPECT_FALSE(draft.remap);
    draft.Take({{1, 2, 3, 0}});
    EXPECT_EQ(std::tuple(draft.palette.entries[0], draft.palette.entries[15], draft.remap),
              std::tuple(PaletteEntry{1, 2, 3, 0}, PaletteEntry{}, true));
    // Median cut finds a picture's two colours exactly, however many are asked, and ignores the
    // pixels under the mask.
    FormatState two = test::Filled(8, 8, false, RGB(10, 20, 30), 0);
    two.color = test::MakeBitmap(8, 8, [](int, int y) { return y < 4 ? RGB(200, 100, 0) : RGB(10, 20, 30); });
    two.mask.SetPixel(0, 7, 0xFFFFFF);
    two.color.SetPixel(0, 7, 0xFFFFFF);
    two.SetDepth(4);
    for (const int count : {2, 5}) {
        const Palette p = OptimalPalette(two, count);
        ASSERT_EQ(p.size(), 16u);
        const std::set<std::array<int, 3>> found = {{p.entries[0].red, p.entries[0].green, p.entries[0].blue},
                                                    {p.entries[1].red, p.entries[1].green, p.entries[1].blue}};
        EXPECT_EQ(found, (std::set<std::array<int, 3>>{{10, 20, 30}, {200, 100, 0}}));
        EXPECT_EQ(p.entries[2], PaletteEntry{});
    }
    // Many colours, few asked: as many entries as asked, each a mean of some.
    const Palette four = OptimalPalette(Numbered(16, 16, false), 4);
    EXPECT_NE(four.entries[3], PaletteEntry{});
    EXPECT_EQ(four.entries[4], PaletteEntry{});
}

}  // namespace
}  // namespace tellurine::editor
