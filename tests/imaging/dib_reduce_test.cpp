// Colour reduction of a whole CDIB.
#include <gtest/gtest.h>

#include <set>

#include "imaging/dib_reduce.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::Attached;
using test::GetIndex;
using test::U8;

// Eight columns of distinct colours, the left half half-transparent at 32 bits.
Block Stripes(int bits) {
    return test::MakeDib(8, 4, bits, [](int x, int) {
        return test::Px{U8(x * 30), U8(255 - x * 30), 40, U8(x < 4 ? 0 : 255)};
    });
}

PaletteEntry ColourOf(const CDIB& dib, int x, int y) {
    return dib.GetPalette().entries[GetIndex(dib.GetBlock(), x, y)];
}

TEST(ReduceToOptimalPalette, KeepsFewColoursExactly) {
    CDIB dib = Attached(Stripes(24));
    dib.resolution = 150;
    ReduceToOptimalPalette(dib);
    ASSERT_EQ(dib.BitCount(), 8);
    EXPECT_EQ(dib.resolution, 150);
    for (int x = 0; x < 8; ++x)
        EXPECT_EQ(ColourOf(dib, x, 2), (PaletteEntry{40, U8(255 - x * 30), U8(x * 30), 0})) << x;
    // An 8-bit picture is left as it is.
    const Block before = dib.GetBlock().Duplicate();
    ReduceToOptimalPalette(dib, 2);
    EXPECT_TRUE(test::SameBytes(before, dib.GetBlock()));
}

TEST(ReduceToOptimalPalette, FlattensOverWhiteAndHonoursTheColourCount) {
    CDIB dib = Attached(Stripes(32));
    ReduceToOptimalPalette(dib, 256, false);
    ASSERT_EQ(dib.BitCount(), 8);
    EXPECT_EQ(ColourOf(dib, 0, 0), (PaletteEntry{255, 255, 255, 0}));  // alpha 0 over white
    EXPECT_EQ(ColourOf(dib, 5, 0), (PaletteEntry{40, 105, 150, 0}));

    CDIB few = Attached(Stripes(24));
    ReduceToOptimalPalette(few, 3, false);
    std::set<int> used;
    for (int x = 0; x < 8; ++x) used.insert(GetIndex(few.GetBlock(), x, 0));
    EXPECT_LE(used.size(), 3u);

    // With black and white kept, white lands in the last entry and is still used.
    CDIB kept = Attached(test::MakeDib(8, 1, 24, [](int x, int) {
        const auto v = U8(x == 7 ? 255 : x * 30);
        return test::Px{v, v, v, 255};
    }));
    ReduceToOptimalPalette(kept, 4, false, true);
    EXPECT_EQ(GetIndex(kept.GetBlock(), 7, 0), 255);
    EXPECT_EQ(ColourOf(kept, 0, 0), (PaletteEntry{0, 0, 0, 0}));

    // Below 8 bits the picture is widened first rather than refused.
    Block mono = CreateDibBlock(4, 4, 1);
    test::SetTableEntry(mono, 1, 255, 255, 255);
    test::SetIndex(mono, 1, 1, 1);
    CDIB small = Attached(std::move(mono));
    ReduceToOptimalPalette(small);
    ASSERT_EQ(small.BitCount(), 8);
    EXPECT_EQ(ColourOf(small, 1, 1), (PaletteEntry{255, 255, 255, 0}));
    EXPECT_EQ(ColourOf(small, 0, 0), (PaletteEntry{0, 0, 0, 0}));
}

}  // namespace
}  // namespace tellurine
