// Colour reduction and resampling reached through CDIB and CMask.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "image/dib.h"
#include "image/mask.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::Bgra;
using test::GetBgra;
using test::GetIndex;
using test::SetBgra;

CDIB Attached(Block b) {
    CDIB dib;
    dib.Attach(std::move(b));
    return dib;
}

// Eight columns of distinct colours, the left half half-transparent at 32 bits.
Block Stripes(int bits) {
    Block b = CreateDibBlock(8, 4, bits);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x)
            SetBgra(b, x, y, static_cast<std::uint8_t>(x * 30), static_cast<std::uint8_t>(255 - x * 30), 40,
                    x < 4 ? 0 : 255);
    return b;
}

PaletteEntry ColourOf(const CDIB& dib, int x, int y) {
    return dib.GetPalette().entries[GetIndex(dib.GetBlock(), x, y)];
}

TEST(ReduceToOptimalPalette, KeepsFewColoursExactly) {
    CDIB dib = Attached(Stripes(24));
    dib.resolution = 150;
    dib.ReduceToOptimalPalette();
    ASSERT_EQ(dib.BitCount(), 8);
    EXPECT_EQ(dib.resolution, 150);
    for (int x = 0; x < 8; ++x)
        EXPECT_EQ(ColourOf(dib, x, 2), (PaletteEntry{40, static_cast<std::uint8_t>(255 - x * 30),
                                                     static_cast<std::uint8_t>(x * 30), 0}))
            << x;
    // An 8-bit picture is left as it is.
    const Block before = dib.GetBlock().Duplicate();
    dib.ReduceToOptimalPalette(2);
    EXPECT_EQ(0, std::memcmp(before.data(), dib.GetBlock().data(), before.size()));
}

TEST(ReduceToOptimalPalette, FlattensOverWhiteAndHonoursTheColourCount) {
    CDIB dib = Attached(Stripes(32));
    dib.ReduceToOptimalPalette(256, false);
    ASSERT_EQ(dib.BitCount(), 8);
    EXPECT_EQ(ColourOf(dib, 0, 0), (PaletteEntry{255, 255, 255, 0}));  // alpha 0 over white
    EXPECT_EQ(ColourOf(dib, 5, 0), (PaletteEntry{40, 105, 150, 0}));

    CDIB few = Attached(Stripes(24));
    few.ReduceToOptimalPalette(3, false);
    std::set<int> used;
    for (int x = 0; x < 8; ++x) used.insert(GetIndex(few.GetBlock(), x, 0));
    EXPECT_LE(used.size(), 3u);

    // With black and white kept, white lands in the last entry and is still used.
    Block greys = CreateDibBlock(8, 1, 24);
    for (int x = 0; x < 8; ++x) {
        const auto v = static_cast<std::uint8_t>(x == 7 ? 255 : x * 30);
        SetBgra(greys, x, 0, v, v, v);
    }
    CDIB kept = Attached(std::move(greys));
    kept.ReduceToOptimalPalette(4, false, true);
    EXPECT_EQ(GetIndex(kept.GetBlock(), 7, 0), 255);
    EXPECT_EQ(ColourOf(kept, 0, 0), (PaletteEntry{0, 0, 0, 0}));

    // Below 8 bits the picture is widened first rather than refused.
    Block mono = CreateDibBlock(4, 4, 1);
    test::SetTableEntry(mono, 1, 255, 255, 255);
    test::SetIndex(mono, 1, 1, 1);
    CDIB small = Attached(std::move(mono));
    small.ReduceToOptimalPalette();
    ASSERT_EQ(small.BitCount(), 8);
    EXPECT_EQ(ColourOf(small, 1, 1), (PaletteEntry{255, 255, 255, 0}));
    EXPECT_EQ(ColourOf(small, 0, 0), (PaletteEntry{0, 0, 0, 0}));
}

TEST(ReduceToPalette, MapsOntoTheGivenColours) {
    Palette two;
    two.entries = {{0, 255, 0, 0}, {0, 0, 255, 0}};
    CDIB dib = Attached(Stripes(24));
    dib.ReduceToPalette(two, false);
    ASSERT_EQ(dib.BitCount(), 8);
    EXPECT_EQ(GetIndex(dib.GetBlock(), 0, 0), 0);  // (40, 255, 0) is nearer green
    EXPECT_EQ(GetIndex(dib.GetBlock(), 7, 0), 1);  // (40, 45, 210) is nearer blue
    CDIB empty;
    empty.ReduceToPalette(two);
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(CMaskResample, GoesThroughTheBitmapResampler) {
    CMask mask;
    ASSERT_EQ(mask.Allocate(48, 48), 1);
    for (std::uint32_t y = 0; y < 48; ++y)
        for (std::uint32_t x = 0; x < 48; ++x) mask.Values()[y * 48 + x] = x < 24 ? 0 : 255;
    EXPECT_EQ(mask.Resample(16, 16), 1);
    ASSERT_EQ(mask.Width(), 16u);
    ASSERT_EQ(mask.Height(), 16u);
    EXPECT_EQ(mask.At(0, 0), 0);
    EXPECT_EQ(mask.At(15, 15), 255);
    EXPECT_EQ(mask.At(8, 3), 255);

    CMask empty;
    EXPECT_EQ(empty.Resample(8, 8), 1);  // nothing to resample still succeeds
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(mask.Resample(0, 8), 1);  // a refused size leaves the mask as it was
    EXPECT_EQ(mask.Width(), 16u);
}

}  // namespace
}  // namespace tellurine
