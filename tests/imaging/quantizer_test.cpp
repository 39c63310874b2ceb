#include "imaging/quantizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <ostream>
#include <random>
#include <utility>
#include <vector>

#include "image/dib_block.h"
#include "test_support.h"

namespace tellurine {
namespace {

struct Rgb {
    std::uint8_t r, g, b;
    friend bool operator==(const Rgb&, const Rgb&) = default;
    friend void PrintTo(const Rgb& c, std::ostream* os) {
        *os << "(" << +c.r << "," << +c.g << "," << +c.b << ")";
    }
};

constexpr Rgb kBlack{0, 0, 0};
constexpr Rgb kWhite{255, 255, 255};

// A one-row true-colour bitmap holding the given pixels left to right.
Block RowImage(const std::vector<Rgb>& pixels, int bits = 24) {
    return test::MakeDib(static_cast<std::int32_t>(pixels.size()), 1, bits, [&](int x, int) {
        return test::Px{pixels[x].b, pixels[x].g, pixels[x].r, 0};
    });
}

// The first n colours of a palette block of blue, green, red and an unused byte per entry.
std::vector<Rgb> Colours(const std::uint8_t* block, int n) {
    std::vector<Rgb> out;
    for (const std::uint8_t* e = block; e < block + 4 * n; e += 4) out.push_back({e[2], e[1], e[0]});
    return out;
}

std::vector<Rgb> QuantizerPalette(const CQuantizer& q) {
    std::array<std::uint8_t, kPaletteBlockBytes> block{};
    const int n = q.WritePalette(block.data());
    return Colours(block.data(), n);
}

// The whole palette, `head` then black up to entry 254, then `last`.
std::vector<Rgb> Padded(std::vector<Rgb> head, Rgb last = kBlack) {
    head.resize(255, kBlack);
    head.push_back(last);
    return head;
}

// The 256 entries of a built palette; the count asked for stays as it was.
std::vector<Rgb> Built(const std::function<Block(int&)>& build, int count) {
    const int asked = count;
    const Block palette = build(count);
    EXPECT_EQ(count, asked);
    if (palette.size() == kPaletteBlockBytes) return Colours(palette.data(), 256);
    ADD_FAILURE() << "a palette of " << palette.size() << " bytes";
    return {};
}

// --- Palette contents -----------------------------------------------------------------------

TEST(QuantizerPalette, LeavesInChildOrderThenBlackAndWhiteLast) {
    const auto optimal = [](std::vector<Rgb> pixels, bool blackWhite) {
        return [=](int& count) { return BuildOptimalPalette(RowImage(pixels), count, blackWhite); };
    };
    // The first three share one deepest leaf (top six bits equal); the fourth has its own. Their
    // averages are truncated: (0+3+3+1)/4, (0+3+0+0)/4, (0+3+1+0)/4. Unused entries are black.
    EXPECT_EQ(Built(optimal({{0, 0, 0}, {3, 3, 3}, {3, 0, 1}, {200, 100, 50}, {1, 0, 0}}, false), 8),
              Padded({{1, 0, 1}, {200, 100, 50}}));
    // Leaves are written depth first in child order; at the root that is red bit * 4 + green bit
    // * 2 + blue bit.
    EXPECT_EQ(Built(optimal({{255, 0, 0}, {0, 0, 255}, {0, 255, 0}, {0, 0, 0}}, false), 4),
              Padded({{0, 0, 0}, {0, 0, 255}, {0, 255, 0}, {255, 0, 0}}));
    // Keeping black and white adds their leaves: black (child 0), red (child 4), white (child
    // 7). White at 2 trades places with entry 255, an unused black one.
    EXPECT_EQ(Built(optimal({{128, 0, 0}}, true), 4), Padded({kBlack, {128, 0, 0}, kBlack, kBlack}, kWhite));
    // Two images make one palette: leaves black, blue, red, white; white then trades with 255.
    EXPECT_EQ(Built([](int& count) {
                  return BuildCommonPalette(RowImage({{128, 0, 0}}), RowImage({{0, 0, 200}}, 32), count);
              }, 4),
              Padded({kBlack, {0, 0, 200}, {128, 0, 0}, kBlack}, kWhite));
    // Black keeps its own leaf among many colours.
    std::vector<Rgb> many;
    for (int i = 0; i < 4000; ++i)
        many.push_back({test::U8(128 + i % 127), test::U8(i * 31), test::U8(i * 57)});
    const std::vector<Rgb> full = Built(optimal(many, true), 256);
    EXPECT_EQ(full[0], kBlack);
    EXPECT_EQ(full[255], kWhite);
}

// --- Reduction ------------------------------------------------------------------------------

// The leaf count and palette of a quantizer of at most `leaves` leaves given the colours in turn.
std::pair<int, std::vector<Rgb>> Reduced(int leaves, const std::vector<Rgb>& colours) {
    CQuantizer q(leaves);
    for (const Rgb& c : colours) q.AddColor(c.r, c.g, c.b);
    return {q.LeafCount(), QuantizerPalette(q)};
}

TEST(QuantizerReduction, MergesTheMostRecentDeepestNodeFirst) {
    using Leaves = std::pair<int, std::vector<Rgb>>;
    // (0,0,0)/(4,0,0) and (128,0,0)/(132,0,0) each split at level 5. The fourth colour makes
    // four leaves; the level-5 node created last heads its list and is merged.
    EXPECT_EQ(Reduced(3, {{0, 0, 0}, {4, 0, 0}, {128, 0, 0}, {132, 0, 0}}),
              (Leaves{3, {{0, 0, 0}, {4, 0, 0}, {130, 0, 0}}}));
    // After (128,0,0) there are four leaves. Its own level-5 node and that of (64,0,0) hold one
    // child each, so popping them leaves the count unchanged; the next level-5 node merges
    // (0,0,0) with (4,0,0) long before any shallower level is touched.
    EXPECT_EQ(Reduced(3, {{0, 0, 0}, {4, 0, 0}, {64, 0, 0}, {128, 0, 0}}),
              (Leaves{3, {{2, 0, 0}, {64, 0, 0}, {128, 0, 0}}}));
    // Colours arriving at a merged node add to its sums.
    EXPECT_EQ(Reduced(3, {{0, 0, 0}, {4, 0, 0}, {64, 0, 0}, {128, 0, 0}, {6, 0, 0}}),
              (Leaves{3, {{3, 0, 0}, {64, 0, 0}, {128, 0, 0}}}));
    // One colour collapses to the root.
    EXPECT_EQ(Reduced(1, {{10, 20, 30}, {250, 240, 230}}), (Leaves{1, {{130, 130, 130}}}));
}

// Runs of one colour give the tree that the same pixels one by one give, at 24 bits and at 32,
// whose alpha is passed over.
TEST(QuantizerReduction, RunsOfOneColourAndAlphaGiveTheSameTreeAsSinglePixels) {
    std::mt19937 random(7);
    std::vector<Rgb> pixels;
    while (pixels.size() < 5000) {
        const Rgb c{test::U8(random()), test::U8(random()), test::U8(random())};
        const std::size_t run = random() % 5 + 1;
        for (std::size_t i = 0; i < run; ++i) pixels.push_back(c);
    }
    CQuantizer single(16);
    for (const Rgb& c : pixels) single.AddColor(c.r, c.g, c.b);
    for (const int bits : {24, 32}) {
        CQuantizer whole(16);
        ASSERT_TRUE(whole.AddImage(RowImage(pixels, bits)));
        EXPECT_EQ(QuantizerPalette(whole), QuantizerPalette(single)) << bits;
    }
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
