#include "imaging/quantizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "image/dib_block.h"

namespace tellurine {
namespace {

struct Rgb {
    std::uint8_t r, g, b;
    friend bool operator==(const Rgb&, const Rgb&) = default;
};

constexpr Rgb kBlack{0, 0, 0};
constexpr Rgb kWhite{255, 255, 255};

// A one-row true-colour bitmap holding the given pixels left to right.
Block RowImage(const std::vector<Rgb>& pixels, int bits = 24) {
    Block image = CreateDibBlock(static_cast<std::int32_t>(pixels.size()), 1, bits);
    const auto layout = GetDibLayout(image);
    std::uint8_t* p = image.data() + layout->RowOffset(0);
    for (const Rgb& c : pixels) {
        p[0] = c.b;
        p[1] = c.g;
        p[2] = c.r;
        p += bits / 8;
    }
    return image;
}

Rgb Entry(const Block& palette, int i) {
    const std::uint8_t* e = palette.data() + i * 4;
    return {e[2], e[1], e[0]};
}

std::vector<Rgb> Entries(const Block& palette, int count) {
    std::vector<Rgb> out;
    for (int i = 0; i < count; ++i) out.push_back(Entry(palette, i));
    return out;
}

std::vector<Rgb> QuantizerPalette(const CQuantizer& q) {
    std::array<std::uint8_t, kPaletteBlockBytes> block{};
    const int n = q.WritePalette(block.data());
    std::vector<Rgb> out;
    for (int i = 0; i < n; ++i) out.push_back({block[i * 4 + 2], block[i * 4 + 1], block[i * 4]});
    return out;
}

// --- Palette contents -----------------------------------------------------------------------

TEST(QuantizerPalette, FewerColoursThanRequestedGiveTruncatedAveragesAndBlackExtras) {
    // The first three share one deepest leaf (top six bits equal); the fourth has its own.
    Block image = RowImage({{0, 0, 0}, {3, 3, 3}, {3, 0, 1}, {200, 100, 50}, {1, 0, 0}});
    int count = 8;
    const Block palette = BuildOptimalPalette(image, count, false);
    ASSERT_EQ(palette.size(), kPaletteBlockBytes);
    EXPECT_EQ(count, 8);
    // (0+3+3+1)/4, (0+3+0+0)/4, (0+3+1+0)/4 in integer division.
    EXPECT_EQ(Entry(palette, 0), (Rgb{1, 0, 1}));
    EXPECT_EQ(Entry(palette, 1), (Rgb{200, 100, 50}));
    for (int i = 2; i < 256; ++i) EXPECT_EQ(Entry(palette, i), kBlack) << i;
}

TEST(QuantizerPalette, LeavesAreWrittenDepthFirstInChildOrder) {
    // Child index at the root is red bit * 4 + green bit * 2 + blue bit.
    Block image = RowImage({{255, 0, 0}, {0, 0, 255}, {0, 255, 0}, {0, 0, 0}});
    int count = 4;
    const Block palette = BuildOptimalPalette(image, count, false);
    EXPECT_EQ(Entries(palette, 4),
              (std::vector<Rgb>{{0, 0, 0}, {0, 0, 255}, {0, 255, 0}, {255, 0, 0}}));
}

// --- Reduction ------------------------------------------------------------------------------

TEST(QuantizerReduction, MergesTheMostRecentDeepestNodeFirst) {
    // (0,0,0)/(4,0,0) and (128,0,0)/(132,0,0) each split at level 5. The fourth colour makes four
    // leaves; the level-5 node created last heads its list and is merged.
    CQuantizer q(3);
    q.AddColor(0, 0, 0);
    q.AddColor(4, 0, 0);
    q.AddColor(128, 0, 0);
    q.AddColor(132, 0, 0);
    EXPECT_EQ(q.LeafCount(), 3);
    EXPECT_EQ(QuantizerPalette(q), (std::vector<Rgb>{{0, 0, 0}, {4, 0, 0}, {130, 0, 0}}));
}

TEST(QuantizerReduction, SingleChildNodesArePoppedBeforeShallowerMerges) {
    // After (128,0,0) there are four leaves. Its own level-5 node and that of (64,0,0) hold one
    // child each, so popping them leaves the count unchanged; the next level-5 node merges
    // (0,0,0) with (4,0,0) long before any shallower level is touched.
    CQuantizer q(3);
    q.AddColor(0, 0, 0);
    q.AddColor(4, 0, 0);
    q.AddColor(64, 0, 0);
    q.AddColor(128, 0, 0);
    EXPECT_EQ(q.LeafCount(), 3);
    EXPECT_EQ(QuantizerPalette(q), (std::vector<Rgb>{{2, 0, 0}, {64, 0, 0}, {128, 0, 0}}));
    // Colours arriving at a merged node add to its sums.
    q.AddColor(6, 0, 0);
    EXPECT_EQ(QuantizerPalette(q)[0], (Rgb{3, 0, 0}));
}

TEST(QuantizerReduction, OneColourCollapsesToTheRoot) {
    CQuantizer q(1);
    q.AddColor(10, 20, 30);
    q.AddColor(250, 240, 230);
    EXPECT_EQ(q.LeafCount(), 1);
    EXPECT_EQ(QuantizerPalette(q), (std::vector<Rgb>{{130, 130, 130}}));
}

TEST(QuantizerReduction, RunsOfOneColourGiveTheSameTreeAsSinglePixels) {
    std::mt19937 random(7);
    std::vector<Rgb> pixels;
    while (pixels.size() < 5000) {
        const Rgb c{static_cast<std::uint8_t>(random()), static_cast<std::uint8_t>(random()),
                    static_cast<std::uint8_t>(random())};
        const std::size_t run = random() % 5 + 1;
        for (std::size_t i = 0; i < run; ++i) pixels.push_back(c);
    }
    CQuantizer single(16);
    for (const Rgb& c : pixels) single.AddColor(c.r, c.g, c.b);
    CQuantizer whole(16);
    ASSERT_TRUE(whole.AddImage(RowImage(pixels)));
    EXPECT_EQ(QuantizerPalette(whole), QuantizerPalette(single));
}

TEST(QuantizerReduction, AlphaOfThirtyTwoBitPixelsIsIgnored) {
    std::vector<Rgb> pixels;
    for (int i = 0; i < 600; ++i)
        pixels.push_back({static_cast<std::uint8_t>(i * 7), static_cast<std::uint8_t>(i * 13),
                          static_cast<std::uint8_t>(i * 29)});
    int count24 = 32, count32 = 32;
    const Block a = BuildOptimalPalette(RowImage(pixels, 24), count24, false);
    const Block b = BuildOptimalPalette(RowImage(pixels, 32), count32, false);
    ASSERT_FALSE(a.empty());
    ASSERT_FALSE(b.empty());
    EXPECT_EQ(Entries(a, 256), Entries(b, 256));
}

// --- Black and white ------------------------------------------------------------------------

TEST(QuantizerBlackAndWhite, WhiteTradesPlacesWithEntry255) {
    // Leaves: black (child 0), red (child 4), white (child 7). White at 2 takes entry 255's
    // colour, which is an unused black entry.
    int count = 4;
    const Block palette = BuildOptimalPalette(RowImage({{128, 0, 0}}), count, true);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(Entries(palette, 4), (std::vector<Rgb>{kBlack, {128, 0, 0}, kBlack, kBlack}));
    EXPECT_EQ(Entry(palette, 255), kWhite);
}

TEST(QuantizerBlackAndWhite, BlackKeepsItsOwnLeafAmongManyColours) {
    std::vector<Rgb> pixels;
    for (int i = 0; i < 4000; ++i)
        pixels.push_back({static_cast<std::uint8_t>(128 + i % 127), static_cast<std::uint8_t>(i * 31),
                          static_cast<std::uint8_t>(i * 57)});
    int count = 256;
    const Block palette = BuildOptimalPalette(RowImage(pixels), count, true);
    EXPECT_EQ(count, 256);
    EXPECT_EQ(Entry(palette, 0), kBlack);
    EXPECT_EQ(Entry(palette, 255), kWhite);
}

TEST(QuantizerCommonPalette, TakesBothImagesAndAlwaysMovesWhiteLast) {
    int count = 4;
    const Block palette =
        BuildCommonPalette(RowImage({{128, 0, 0}}), RowImage({{0, 0, 200}}, 32), count);
    EXPECT_EQ(count, 4);
    // Leaves in order: black, blue, red, white; white then trades with entry 255.
    EXPECT_EQ(Entries(palette, 4), (std::vector<Rgb>{kBlack, {0, 0, 200}, {128, 0, 0}, kBlack}));
    EXPECT_EQ(Entry(palette, 255), kWhite);
}

// --- Bad input ------------------------------------------------------------------------------

TEST(QuantizerBadInput, OnlyTrueColourImagesAreAccepted) {
    int count = 16;
    EXPECT_TRUE(BuildOptimalPalette(CreateDibBlock(4, 4, 8), count, false).empty());
    EXPECT_TRUE(BuildOptimalPalette(CreateDibBlock(4, 4, 16), count, false).empty());
    EXPECT_TRUE(BuildOptimalPalette(Block{}, count, true).empty());
    EXPECT_EQ(count, 16);

    Block truncated = CreateDibBlock(64, 64, 24);
    Block shortCopy = Block::Allocate(truncated.size() / 2);
    std::copy_n(truncated.data(), shortCopy.size(), shortCopy.data());
    EXPECT_TRUE(BuildOptimalPalette(shortCopy, count, false).empty());

    const Block good = RowImage({{1, 2, 3}});
    EXPECT_TRUE(BuildCommonPalette(good, CreateDibBlock(2, 2, 4), count).empty());
    CQuantizer q(8);
    EXPECT_FALSE(q.AddImage(CreateDibBlock(2, 2, 1)));
    EXPECT_EQ(q.LeafCount(), 0);
    EXPECT_TRUE(PaletteFromBlock(Block::Allocate(16)).empty());
}

}  // namespace
}  // namespace tellurine
