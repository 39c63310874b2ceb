#include "image/dib_block.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "image/bytes.h"

namespace tellurine {
namespace {

TEST(DibBlock, CreationRoundsTheDepthAndFillsTheHeader) {
    const std::pair<int, int> cases[] = {{0, 1}, {1, 1}, {2, 4}, {4, 4}, {5, 8}, {9, 16},
                                         {17, 24}, {25, 32}, {32, 32}, {33, 4}, {1000, 4}};
    for (auto [requested, expected] : cases) {
        const Block b = CreateDibBlock(5, 3, requested);
        ASSERT_FALSE(b.empty()) << requested;
        const auto h = BitmapInfoHeader::Load(b.data());
        const std::uint32_t colors = expected <= 8 ? 1u << expected : 0;
        // Size, sides, planes, depth, no compression and no image size, colours used and important.
        EXPECT_EQ(std::tuple(h.size, h.width, h.height, int{h.planes}, int{h.bitCount}, h.compression, h.sizeImage,
                             h.clrUsed, h.clrImportant),
                  std::tuple(40u, 5, 3, 1, expected, 0u, 0u, colors, colors))
            << requested;
        EXPECT_EQ(b.size(), 40 + colors * 4 + DibRowStride(5, expected) * 3) << requested;
    }
    for (const auto& [width, bits, stride] : {std::tuple{1, 1, 4u}, {3, 24, 12u}, {33, 1, 8u}, {5, 32, 20u}})
        EXPECT_EQ(DibRowStride(width, bits), stride) << width << " at " << bits;
}

TEST(DibBlock, DefaultColourTables) {
    const Block mono = CreateDibBlock(8, 1, 1);
    EXPECT_EQ(CreateDibPalette(mono).entries, (std::vector<PaletteEntry>{{0, 0, 0, 0}, {0, 0, 0, 0}}));

    const Palette four = CreateDibPalette(CreateDibBlock(8, 1, 4));
    ASSERT_EQ(four.size(), 16u);
    EXPECT_EQ(four.entries[1], (PaletteEntry{128, 0, 0, 0}));
    EXPECT_EQ(four.entries[7], (PaletteEntry{192, 192, 192, 0}));
    EXPECT_EQ(four.entries[15], (PaletteEntry{255, 255, 255, 0}));

    const Palette eight = CreateDibPalette(CreateDibBlock(8, 1, 8));
    ASSERT_EQ(eight.size(), 256u);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(eight.entries[i], four.entries[i % 16]) << i;
}

// A foreign block with the 12-byte core header: 16-bit sizes and 3-byte table entries.
TEST(DibBlock, CoreHeaderIsReadWithItsOwnFieldWidths) {
    const std::size_t stride = DibRowStride(300, 8);
    Block b = Block::Allocate(12 + 768 + stride * 2);
    std::uint8_t* p = b.data();
    StoreU32(p, 12);
    StoreU16(p + 4, 300);
    StoreU16(p + 6, 2);
    StoreU16(p + 8, 1);
    StoreU16(p + 10, 8);
    p[12 + 3 * 5 + 0] = 10;  // entry 5: blue, green, red
    p[12 + 3 * 5 + 1] = 20;
    p[12 + 3 * 5 + 2] = 30;
    EXPECT_EQ(std::tuple(DibWidth(b), DibHeight(b), DibBitCount(b), DibColorCount(b), DibColorTableSize(b)),
              std::tuple(300, 2, 8, 256u, 768u));
    const auto layout = GetDibLayout(b);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->pixelOffset, 12u + 768u);
    const Palette pal = CreateDibPalette(b);
    ASSERT_EQ(pal.size(), 256u);
    EXPECT_EQ(pal.entries[5], (PaletteEntry{30, 20, 10, 0}));
}

TEST(DibBlock, ColourCountFollowsColoursUsedOfAnInformationHeader) {
    Block b = CreateDibBlock(4, 4, 8);
    StoreU32(b.data() + 32, 16);  // colours used
    EXPECT_EQ(DibColorCount(b), 16u);
    EXPECT_EQ(DibColorTableSize(b), 64u);
    EXPECT_EQ(GetDibLayout(b)->pixelOffset, 40u + 64u);
    StoreU32(b.data() + 32, 0);
    EXPECT_EQ(DibColorCount(b), 256u);
    EXPECT_EQ(DibColorCount(CreateDibBlock(4, 4, 24)), 0u);
    EXPECT_EQ(DibColorTableSize(CreateDibBlock(4, 4, 32)), 0u);
}

TEST(DibBlock, RefusesAbsurdSizesAndMalformedBlocks) {
    // The last is over the byte limit.
    for (const auto& [w, h, bits] :
         {std::tuple{0, 5, 8}, {5, -1, 8}, {kMaxDibDimension + 1, 1, 8}, {kMaxDibDimension, kMaxDibDimension, 32}})
        EXPECT_TRUE(CreateDibBlock(w, h, bits).empty()) << w << " x " << h << " at " << bits;
    EXPECT_EQ(DibWidth(Block{}), 0);
    EXPECT_EQ(DibBitCount(Block::Allocate(8)), 0);

    const Block good = CreateDibBlock(7, 7, 4);
    ASSERT_TRUE(GetDibLayout(good));
    // {field offset, value}: colours used absurdly many, or over 256 at 4 bits; a height of -7; run-length
    // compression; 7 bits a pixel (a 16-bit field); a width whose rows run past the end; an unknown header size.
    for (const auto& [at, value] : {std::pair{32, 0x40000000u}, {32, 300u}, {8, static_cast<std::uint32_t>(-7)},
                                    {16, 2u}, {14, 7u}, {4, 100u}, {0, 64u}}) {
        Block b = good.Duplicate();
        if (at == 14) StoreU16(b.data() + at, static_cast<std::uint16_t>(value));
        else StoreU32(b.data() + at, value);
        EXPECT_FALSE(GetDibLayout(b).has_value()) << at << " = " << value;
    }
}

}  // namespace
}  // namespace tellurine
