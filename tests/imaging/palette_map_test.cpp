#include "imaging/palette_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "image/dib_block.h"

namespace tellurine {
namespace {

using Rows = std::vector<std::vector<int>>;

Palette MakePalette(const std::vector<PaletteEntry>& entries) {
    Palette p;
    p.entries = entries;
    return p;
}

// A 24-bit bitmap of grey pixels given in storage order (first row = first stored row).
Block GreyImage(const Rows& rows) {
    Block image = CreateDibBlock(static_cast<std::int32_t>(rows[0].size()),
                                 static_cast<std::int32_t>(rows.size()), 24);
    const auto layout = GetDibLayout(image);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        std::uint8_t* p = image.data() + layout->RowOffset(static_cast<std::int32_t>(y));
        for (const int v : rows[y]) {
            p[0] = p[1] = p[2] = static_cast<std::uint8_t>(v);
            p += 3;
        }
    }
    return image;
}

// A one-row 32-bit bitmap from blue-green-red-alpha quadruples.
Block Image32(const std::vector<std::vector<std::uint8_t>>& pixels) {
    Block image = CreateDibBlock(static_cast<std::int32_t>(pixels.size()), 1, 32);
    std::uint8_t* p = image.data() + GetDibLayout(image)->RowOffset(0);
    for (const auto& px : pixels) {
        for (int i = 0; i < 4; ++i) p[i] = px[i];
        p += 4;
    }
    return image;
}

Rows Indices(const Block& image) {
    const auto layout = GetDibLayout(image);
    EXPECT_TRUE(layout.has_value());
    EXPECT_EQ(layout->bitCount, 8);
    Rows rows;
    for (std::int32_t y = 0; y < layout->height; ++y) {
        const std::uint8_t* p = image.data() + layout->RowOffset(y);
        rows.emplace_back(p, p + layout->width);
    }
    return rows;
}

PaletteEntry TableEntry(const Block& image, std::uint32_t i) {
    return DibTableEntry(image, *GetDibLayout(image), i);
}

const Palette kBlackWhite = MakePalette({{0, 0, 0, 0}, {255, 255, 255, 0}});

// --- Error shares ---------------------------------------------------------------------------

TEST(PaletteErrorShare, RoundsHalvesAwayFromZeroSymmetrically) {
    EXPECT_EQ(ErrorShare(7, 1), 0);   // 15/16
    EXPECT_EQ(ErrorShare(7, -1), 0);  // -(15/16)
    EXPECT_EQ(ErrorShare(7, 2), 1);   // 22/16
    EXPECT_EQ(ErrorShare(7, -2), -1);
    EXPECT_EQ(ErrorShare(1, 7), 0);
    EXPECT_EQ(ErrorShare(1, 8), 1);   // exactly one half rounds up
    EXPECT_EQ(ErrorShare(1, -8), -1);
    EXPECT_EQ(ErrorShare(3, 255), 48);
    EXPECT_EQ(ErrorShare(5, -255), -80);
    EXPECT_EQ(ErrorShare(7, -256), -112);
    for (const int w : {7, 5, 3, 1})
        for (int e = 0; e < 256; ++e) EXPECT_EQ(ErrorShare(w, -e), -ErrorShare(w, e)) << w << " " << e;
}

// --- Nearest colour -------------------------------------------------------------------------

TEST(PaletteNearest, EqualDistancesGoToTheFirstMetStepDownBeforeUp) {
    // Sorted: (95,0,0) #2, (100,100,0) #0, (105,0,0) #1. The search starts on red 100; the step
    // down and the step up are both 25 away, and the step down is taken first.
    SearchPalette palette(MakePalette({{100, 100, 0, 0}, {105, 0, 0, 0}, {95, 0, 0, 0}}), 3);
    const int position = NearestPaletteIndex(100, 0, 0, palette, 3);
    EXPECT_EQ(palette[position].index, 2);
}

TEST(PaletteNearest, ADirectionStopsOnceRedAloneIsNoCloser) {
    // Red 15 lands on (20,0,0); (10,0,0) is as close but its red difference already equals the
    // best distance, so it is never a candidate.
    SearchPalette palette(MakePalette({{10, 0, 0, 0}, {20, 0, 0, 0}, {30, 0, 0, 0}}), 3);
    EXPECT_EQ(palette[NearestPaletteIndex(15, 0, 0, palette, 3)].index, 1);
}

TEST(PaletteNearest, WalksPastRecordsWithTheSameRed) {
    SearchPalette palette(
        MakePalette({{50, 0, 0, 0}, {50, 90, 0, 0}, {50, 200, 0, 0}, {52, 198, 10, 0}, {0, 0, 0, 0}}), 5);
    EXPECT_EQ(palette[NearestPaletteIndex(50, 201, 1, palette, 5)].index, 2);
    SearchPalette fresh(MakePalette({{50, 0, 0, 0}, {50, 90, 0, 0}, {50, 200, 0, 0}, {52, 198, 10, 0}}), 4);
    EXPECT_EQ(fresh[NearestPaletteIndex(53, 197, 9, fresh, 4)].index, 3);
}

TEST(PaletteNearest, ComponentsAreClamped) {
    SearchPalette a(MakePalette({{0, 255, 128, 0}, {0, 200, 128, 0}, {40, 255, 120, 0}}), 3);
    SearchPalette b(MakePalette({{0, 255, 128, 0}, {0, 200, 128, 0}, {40, 255, 120, 0}}), 3);
    EXPECT_EQ(NearestPaletteIndex(-50, 300, 128, a, 3), NearestPaletteIndex(0, 255, 128, b, 3));
    EXPECT_EQ(a[NearestPaletteIndex(-1000, 1000, 128, a, 3)].index, 0);
}

TEST(PaletteNearest, TheCacheAnswersForTheWholeFifteenBitCell) {
    const Palette p = MakePalette({{0, 0, 0, 0}, {7, 7, 7, 0}});
    SearchPalette palette(p, 2);
    EXPECT_EQ(palette[NearestPaletteIndex(0, 0, 0, palette, 2)].index, 0);
    // (7,7,7) falls in the same cell as black, so the cached answer is returned.
    EXPECT_EQ(palette[NearestPaletteIndex(7, 7, 7, palette, 2)].index, 0);
    SearchPalette fresh(p, 2);
    EXPECT_EQ(fresh[NearestPaletteIndex(7, 7, 7, fresh, 2)].index, 1);
    EXPECT_EQ(fresh[NearestPaletteIndex(0, 0, 0, fresh, 2)].index, 1);
}

TEST(PaletteNearest, OnlyTheFirstEntriesAreSearchable) {
    SearchPalette palette(MakePalette({{0, 0, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}}), 2);
    EXPECT_EQ(palette.size(), 2);
    EXPECT_EQ(palette[NearestPaletteIndex(255, 255, 255, palette, 2)].index, 1);
    SearchPalette none(Palette{}, 0);
    EXPECT_EQ(NearestPaletteIndex(1, 2, 3, none, 0), -1);
}

// --- 24-bit mapping -------------------------------------------------------------------------

TEST(PaletteMap, WritesTheWholeColourTableAndNearestIndices) {
    const Palette p = MakePalette({{0, 0, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}});
    const Block out = MapToPalette(GreyImage({{0, 250, 100, 200}}), p, 3, false);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(DibWidth(out), 4);
    EXPECT_EQ(DibHeight(out), 1);
    EXPECT_EQ(Indices(out), (Rows{{0, 2, 0, 2}}));
    EXPECT_EQ(TableEntry(out, 1), (PaletteEntry{255, 0, 0, 0}));
    for (std::uint32_t i = 3; i < 256; ++i) EXPECT_EQ(TableEntry(out, i), PaletteEntry{}) << i;
}

TEST(PaletteMap, DitherPassesErrorRightAndToTheNextStoredRowOnly) {
    // Stored row 0: 60 -> black; 60+26 = 86 -> black, and nothing passes right from it.
    // Row 1: 60+19+16 = 95 -> black; 60+4+27+42 = 133 -> white.
    // Passing the end-of-row error on to the next row, or walking the rows top-down, both turn
    // a different pixel white.
    EXPECT_EQ(Indices(MapToPalette(GreyImage({{60, 60}, {60, 60}}), kBlackWhite, 2, true)),
              (Rows{{0, 0}, {0, 1}}));
    EXPECT_EQ(Indices(MapToPalette(GreyImage({{60, 60}, {60, 60}}), kBlackWhite, 2, false)),
              (Rows{{0, 0}, {0, 0}}));
}

TEST(PaletteMap, DitherErrorIsTakenFromTheClampedValue) {
    // 120 -> black, +53 makes 308, clamped to 255 -> white with no error, so 110 stays black.
    EXPECT_EQ(Indices(MapToPalette(GreyImage({{120, 255, 110}}), kBlackWhite, 2, true)), (Rows{{0, 1, 0}}));
}

TEST(PaletteMap, DitherOfASingleColumnOnlyPassesDown) {
    // 100 -> black, 100+31 -> white, 100-39 -> black.
    EXPECT_EQ(Indices(MapToPalette(GreyImage({{100}, {100}, {100}}), kBlackWhite, 2, true)),
              (Rows{{0}, {1}, {0}}));
}

TEST(PaletteMap, RejectsAnythingButTwentyFourBits) {
    EXPECT_TRUE(MapToPalette(CreateDibBlock(2, 2, 32), kBlackWhite, 2, false).empty());
    EXPECT_TRUE(MapToPalette(CreateDibBlock(2, 2, 8), kBlackWhite, 2, true).empty());
    EXPECT_TRUE(MapToPalette(Block{}, kBlackWhite, 2, true).empty());
    EXPECT_TRUE(MapToPalette(GreyImage({{1}}), kBlackWhite, 0, true).empty());
}

// --- 32-bit mapping with transparency -------------------------------------------------------

// Red, green, blue, grey.
const std::uint8_t kFour[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 200, 200, 200};

TEST(PaletteMapTransparency, TheRedByteDecidesTransparencyNotAlpha) {
    const Block out = MapToPaletteWithTransparency(
        Image32({{0, 0, 127, 255}, {0, 250, 128, 0}, {255, 255, 255, 0}, {255, 0, 0, 255}}), 2, kFour, 1);
    // Green (index 1) is transparent: blue and grey close up, green moves to entry 3.
    EXPECT_EQ(TableEntry(out, 0), (PaletteEntry{255, 0, 0, 0}));
    EXPECT_EQ(TableEntry(out, 1), (PaletteEntry{0, 0, 255, 0}));
    EXPECT_EQ(TableEntry(out, 2), (PaletteEntry{200, 200, 200, 0}));
    EXPECT_EQ(TableEntry(out, 3), (PaletteEntry{0, 255, 0, 0}));
    for (std::uint32_t i = 4; i < 256; ++i) EXPECT_EQ(TableEntry(out, i), PaletteEntry{}) << i;
    // Red 127 with full alpha is transparent; red 128 with zero alpha is matched (to grey, never
    // to the transparent green); pure blue has red 0 and so is transparent.
    EXPECT_EQ(Indices(out), (Rows{{3, 2, 2, 3}}));
}

TEST(PaletteMapTransparency, WithoutATransparentIndexAllColoursAreSearchable) {
    const Block out =
        MapToPaletteWithTransparency(Image32({{0, 255, 128, 255}, {0, 0, 10, 255}}), 2, kFour, -1);
    EXPECT_EQ(TableEntry(out, 1), (PaletteEntry{0, 255, 0, 0}));
    // (128,255,0) is nearest to green; the failing pixel takes index 0.
    EXPECT_EQ(Indices(out), (Rows{{1, 0}}));
}

TEST(PaletteMapTransparency, EightBitsMovesTheTransparentColourToEntry255) {
    std::vector<std::uint8_t> colours(256 * 3);
    for (std::size_t i = 0; i < colours.size(); ++i) colours[i] = static_cast<std::uint8_t>(i / 3);
    const Block out = MapToPaletteWithTransparency(Image32({{200, 200, 200, 0}, {255, 255, 255, 0}}), 8,
                                                   colours.data(), 10);
    EXPECT_EQ(TableEntry(out, 9), (PaletteEntry{9, 9, 9, 0}));
    EXPECT_EQ(TableEntry(out, 10), (PaletteEntry{11, 11, 11, 0}));
    EXPECT_EQ(TableEntry(out, 254), (PaletteEntry{255, 255, 255, 0}));
    EXPECT_EQ(TableEntry(out, 255), (PaletteEntry{10, 10, 10, 0}));
    EXPECT_EQ(Indices(out), (Rows{{199, 254}}));
}

TEST(PaletteMapTransparency, ReservingLastAlwaysUsesTheLastEntry) {
    const std::uint8_t colours[] = {0, 0, 0, 255, 255, 255};
    int transparent = -1;
    const Block out = MapToPaletteReservingLast(Image32({{255, 255, 255, 255}, {0, 0, 0, 255}}), 1,
                                                colours, transparent);
    EXPECT_EQ(transparent, 1);
    EXPECT_EQ(TableEntry(out, 1), (PaletteEntry{255, 255, 255, 0}));
    // Only black is searchable, so white takes it; the black pixel fails the test.
    EXPECT_EQ(Indices(out), (Rows{{0, 1}}));
}

TEST(PaletteMapTransparency, RejectsBadInput) {
    EXPECT_TRUE(MapToPaletteWithTransparency(CreateDibBlock(2, 2, 24), 2, kFour, -1).empty());
    EXPECT_TRUE(MapToPaletteWithTransparency(Image32({{0, 0, 0, 0}}), 0, kFour, -1).empty());
    EXPECT_TRUE(MapToPaletteWithTransparency(Image32({{0, 0, 0, 0}}), 9, kFour, -1).empty());
    EXPECT_TRUE(MapToPaletteWithTransparency(Image32({{0, 0, 0, 0}}), 2, nullptr, -1).empty());
    EXPECT_TRUE(MapToPaletteWithTransparency(Image32({{0, 0, 0, 0}}), 2, kFour, 4).empty());
    int transparent = 0;
    EXPECT_TRUE(MapToPaletteReservingLast(Block{}, 2, kFour, transparent).empty());
}

}  // namespace
}  // namespace tellurine
