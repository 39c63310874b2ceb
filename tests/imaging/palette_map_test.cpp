#include "imaging/palette_map.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "image/dib_block.h"
#include "test_support.h"

namespace tellurine {
namespace {

using Rows = std::vector<std::vector<int>>;
using test::U8;

// A 24-bit bitmap of grey pixels given in storage order (first row = first stored row).
Block GreyImage(const Rows& rows) {
    return test::MakeDib(static_cast<std::int32_t>(rows[0].size()), static_cast<std::int32_t>(rows.size()), 24,
                         [&](int x, int y) { return test::Px{U8(rows[y][x]), U8(rows[y][x]), U8(rows[y][x]), 0}; });
}

// A one-row 32-bit bitmap of the given pixels.
Block Image32(const std::vector<test::Px>& pixels) {
    return test::MakeDib(static_cast<std::int32_t>(pixels.size()), 1, 32, [&](int x, int) { return pixels[x]; });
}

// The indices of an 8-bit bitmap, in storage order.
Rows Indices(const Block& image) {
    EXPECT_EQ(DibBitCount(image), 8);
    Rows rows(DibHeight(image), std::vector<int>(DibWidth(image)));
    for (int y = 0; y < DibHeight(image); ++y)
        for (int x = 0; x < DibWidth(image); ++x) rows[y][x] = test::At(image, x, y)[0];
    return rows;
}

// The whole colour table of an 8-bit bitmap, and the table expected: `head`, then zeros to 256.
std::vector<PaletteEntry> Table(const Block& image) {
    std::vector<PaletteEntry> entries(256);
    for (std::uint32_t i = 0; i < 256; ++i) entries[i] = DibTableEntry(image, *GetDibLayout(image), i);
    return entries;
}
std::vector<PaletteEntry> Padded(std::vector<PaletteEntry> head) {
    head.resize(256);
    return head;
}

const Palette kBlackWhite{.entries = {{0, 0, 0, 0}, {255, 255, 255, 0}}};

// --- Error shares ---------------------------------------------------------------------------

TEST(PaletteErrorShare, RoundsHalvesAwayFromZeroSymmetrically) {
    // {weight, error, share}: 15/16 rounds to 0 and 22/16 to 1; exactly one half rounds away from 0.
    const int cases[][3] = {{7, 1, 0},  {7, -1, 0},   {7, 2, 1},     {7, -2, -1},    {1, 7, 0},
                            {1, 8, 1},  {1, -8, -1},  {3, 255, 48},  {5, -255, -80}, {7, -256, -112}};
    for (const auto& [w, e, share] : cases) EXPECT_EQ(ErrorShare(w, e), share) << w << " " << e;
    for (const int w : {7, 5, 3, 1})
        for (int e = 0; e < 256; ++e) EXPECT_EQ(ErrorShare(w, -e), -ErrorShare(w, e)) << w << " " << e;
}

// --- Nearest colour -------------------------------------------------------------------------

// The index of the colour nearest to each (r, g, b) in turn, asked of one search palette over
// the first `count` entries (-1 when there is nothing to search).
std::vector<int> Nearest(const std::vector<PaletteEntry>& entries, int count,
                         const std::vector<std::array<int, 3>>& colours) {
    SearchPalette palette(Palette{.entries = entries}, count);
    EXPECT_EQ(palette.size(), count);
    std::vector<int> indices;
    for (const auto& [r, g, b] : colours) {
        const int position = NearestPaletteIndex(r, g, b, palette, count);
        indices.push_back(position < 0 ? -1 : palette[position].index);
    }
    return indices;
}

TEST(PaletteNearest, SearchOrderTiesClampingAndTheCache) {
    using V = std::vector<int>;
    // Sorted: (95,0,0) #2, (100,100,0) #0, (105,0,0) #1. The search starts on red 100; the step
    // down and the step up are both 25 away, and the step down is taken first.
    EXPECT_EQ(Nearest({{100, 100, 0, 0}, {105, 0, 0, 0}, {95, 0, 0, 0}}, 3, {{100, 0, 0}}), V{2});
    // Red 15 lands on (20,0,0); (10,0,0) is as close but its red difference already equals the
    // best distance, so it is never a candidate.
    EXPECT_EQ(Nearest({{10, 0, 0, 0}, {20, 0, 0, 0}, {30, 0, 0, 0}}, 3, {{15, 0, 0}}), V{1});
    // The walk goes on past records with the same red.
    std::vector<PaletteEntry> sameRed = {{50, 0, 0, 0}, {50, 90, 0, 0}, {50, 200, 0, 0}, {52, 198, 10, 0}};
    EXPECT_EQ(Nearest(sameRed, 4, {{53, 197, 9}}), V{3});
    sameRed.push_back({0, 0, 0, 0});
    EXPECT_EQ(Nearest(sameRed, 5, {{50, 201, 1}}), V{2});
    // Components are clamped.
    EXPECT_EQ(Nearest({{0, 255, 128, 0}, {0, 200, 128, 0}, {40, 255, 120, 0}}, 3,
                      {{-50, 300, 128}, {-1000, 1000, 128}}),
              (V{0, 0}));
    // (7,7,7) falls in the same 15-bit cell as black: the colour asked first answers for both.
    EXPECT_EQ(Nearest({{0, 0, 0, 0}, {7, 7, 7, 0}}, 2, {{0, 0, 0}, {7, 7, 7}}), (V{0, 0}));
    EXPECT_EQ(Nearest({{0, 0, 0, 0}, {7, 7, 7, 0}}, 2, {{7, 7, 7}, {0, 0, 0}}), (V{1, 1}));
    // Only the first entries are searchable.
    EXPECT_EQ(Nearest({{0, 0, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}}, 2, {{255, 255, 255}}), V{1});
    EXPECT_EQ(Nearest({}, 0, {{1, 2, 3}}), V{-1});
}

// --- 24-bit mapping -------------------------------------------------------------------------

TEST(PaletteMap, WritesTheWholeColourTableAndNearestIndices) {
    const Palette p{.entries = {{0, 0, 0, 0}, {255, 0, 0, 0}, {255, 255, 255, 0}}};
    const Block out = MapToPalette(GreyImage({{0, 250, 100, 200}}), p, 3, false);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(Indices(out), (Rows{{0, 2, 0, 2}}));
    EXPECT_EQ(Table(out), Padded(p.entries));
}

TEST(PaletteMap, DitherToBlackAndWhite) {
    const auto map = [](const Rows& grey, bool dither) {
        return Indices(MapToPalette(GreyImage(grey), kBlackWhite, 2, dither));
    };
    // Stored row 0: 60 -> black; 60+26 = 86 -> black, and nothing passes right from it.
    // Row 1: 60+19+16 = 95 -> black; 60+4+27+42 = 133 -> white. Passing the end-of-row error on
    // to the next row, or walking the rows top-down, both turn a different pixel white.
    EXPECT_EQ(map({{60, 60}, {60, 60}}, true), (Rows{{0, 0}, {0, 1}}));
    EXPECT_EQ(map({{60, 60}, {60, 60}}, false), (Rows{{0, 0}, {0, 0}}));
    // 120 -> black, +53 makes 308, clamped to 255 -> white with no error, so 110 stays black.
    EXPECT_EQ(map({{120, 255, 110}}, true), (Rows{{0, 1, 0}}));
    // A single column only passes down: 100 -> black, 100+31 -> white, 100-39 -> black.
    EXPECT_EQ(map({{100}, {100}, {100}}, true), (Rows{{0}, {1}, {0}}));
}

// --- 32-bit mapping with transparency -------------------------------------------------------

// Red, green, blue, grey.
const std::uint8_t kFour[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 200, 200, 200};

TEST(PaletteMapTransparency, TheTransparentColourMovesBehindTheOthers) {
    // Green (index 1) is transparent: blue and grey close up, green moves to entry 3. Red 127
    // with full alpha is transparent; red 128 with zero alpha is matched (to grey, never to the
    // transparent green); pure blue has red 0 and so is transparent: red decides, not alpha.
    Block out = MapToPaletteWithTransparency(
        Image32({{0, 0, 127, 255}, {0, 250, 128, 0}, {255, 255, 255, 0}, {255, 0, 0, 255}}), 2, kFour, 1);
    EXPECT_EQ(Table(out), Padded({{255, 0, 0, 0}, {0, 0, 255, 0}, {200, 200, 200, 0}, {0, 255, 0, 0}}));
    EXPECT_EQ(Indices(out), (Rows{{3, 2, 2, 3}}));

    // Without a transparent index all colours are searchable: (128,255,0) is nearest to green;
    // the failing pixel takes index 0.
    out = MapToPaletteWithTransparency(Image32({{0, 255, 128, 255}, {0, 0, 10, 255}}), 2, kFour, -1);
    EXPECT_EQ(Table(out)[1], (PaletteEntry{0, 255, 0, 0}));
    EXPECT_EQ(Indices(out), (Rows{{1, 0}}));

    // At 8 bits the transparent colour moves to entry 255.
    std::vector<std::uint8_t> greys(256 * 3);  // colour i is grey i
    for (std::size_t i = 0; i < greys.size(); ++i) greys[i] = static_cast<std::uint8_t>(i / 3);
    out = MapToPaletteWithTransparency(Image32({{200, 200, 200, 0}, {255, 255, 255, 0}}), 8, greys.data(),
                                       10);
    std::vector<PaletteEntry> moved(256);  // grey 10 last, the greys after it a place earlier
    for (int i = 0; i < 256; ++i) moved[i].red = moved[i].green = moved[i].blue = U8(i < 10 ? i : i < 255 ? i + 1 : 10);
    EXPECT_EQ(Table(out), moved);
    EXPECT_EQ(Indices(out), (Rows{{199, 254}}));

    // Reserving the last entry always uses it. Only black is searchable, so white takes it; the
    // black pixel fails the test.
    const std::uint8_t blackWhite[] = {0, 0, 0, 255, 255, 255};
    int transparent = -1;
    out = MapToPaletteReservingLast(Image32({{255, 255, 255, 255}, {0, 0, 0, 255}}), 1, blackWhite,
                                    transparent);
    EXPECT_EQ(transparent, 1);
    EXPECT_EQ(Table(out)[1], (PaletteEntry{255, 255, 255, 0}));
    EXPECT_EQ(Indices(out), (Rows{{0, 1}}));
}

TEST(PaletteMap, RejectsBadInput) {
    // Plain mapping takes 24 bits and at least one colour.
    EXPECT_TRUE(MapToPalette(CreateDibBlock(2, 2, 32), kBlackWhite, 2, false).empty());
    EXPECT_TRUE(MapToPalette(CreateDibBlock(2, 2, 8), kBlackWhite, 2, true).empty());
    EXPECT_TRUE(MapToPalette(Block{}, kBlackWhite, 2, true).empty());
    EXPECT_TRUE(MapToPalette(GreyImage({{1}}), kBlackWhite, 0, true).empty());
    // Mapping with transparency takes 32 bits, 1 to 8 bits of index, a colour table and a
    // transparent index inside it.
    EXPECT_TRUE(MapToPaletteWithTransparency(CreateDibBlock(2, 2, 24), 2, kFour, -1).empty());
    for (const auto& [bits, table, transparent] :
         {std::tuple<int, const std::uint8_t*, int>{0, kFour, -1}, {9, kFour, -1}, {2, nullptr, -1}, {2, kFour, 4}})
        EXPECT_TRUE(MapToPaletteWithTransparency(Image32({{0, 0, 0, 0}}), bits, table, transparent).empty()) << bits;
    int reserved = 0;
    EXPECT_TRUE(MapToPaletteReservingLast(Block{}, 2, kFour, reserved).empty());
}

}  // namespace
}  // namespace tellurine
