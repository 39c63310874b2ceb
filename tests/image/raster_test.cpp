#include "image/raster.h"

#include <gtest/gtest.h>

#include <tuple>

#include "test_support.h"

namespace tellurine {
namespace {

TEST(Raster, BlitsClipAndCombine) {
    DeviceBitmap dst = DeviceBitmap::Create(4, 4, RGB(0xF0, 0x0F, 0xFF));
    DeviceBitmap src = DeviceBitmap::Create(3, 3, RGB(0x3C, 0x3C, 0x3C));
    src.SetPixel(0, 0, RGB(1, 2, 3));
    BitBlt(dst, -1, -1, 3, 3, src, 0, 0, Rop::SrcCopy);  // clipped at the top left
    EXPECT_EQ(dst.GetPixel(0, 0), RGB(0x3C, 0x3C, 0x3C));
    EXPECT_EQ(dst.GetPixel(2, 2), RGB(0xF0, 0x0F, 0xFF));
    BitBlt(dst, 2, 2, 5, 5, src, 0, 0, Rop::SrcAnd);  // clipped at the bottom right
    EXPECT_EQ(dst.GetPixel(2, 2), RGB(0xF0 & 1, 0x0F & 2, 0xFF & 3));
    EXPECT_EQ(dst.GetPixel(3, 3), RGB(0xF0 & 0x3C, 0x0F & 0x3C, 0xFF & 0x3C));
    BitBlt(dst, 3, 3, 1, 1, src, 1, 1, Rop::SrcInvert);
    EXPECT_EQ(dst.GetPixel(3, 3), RGB((0xF0 & 0x3C) ^ 0x3C, (0x0F & 0x3C) ^ 0x3C, (0xFF & 0x3C) ^ 0x3C));
    EXPECT_EQ(dst.GetPixel(4, 0), CLR_INVALID);
    EXPECT_FALSE(dst.SetPixel(-1, 0, 0));
}

TEST(Raster, ReplicationAndPatternsAnchorAtTheOrigin) {
    DeviceBitmap src = DeviceBitmap::Create(2, 1);
    src.SetPixel(1, 0, RGB(255, 0, 0));
    DeviceBitmap dst = DeviceBitmap::Create(8, 4, RGB(9, 9, 9));
    StretchBltReplicate(dst, 1, 0, src, 0, 0, 2, 1, 3, Rop::SrcCopy);
    // Each source pixel becomes 3 x 3 from column 1: black over columns 1..3, red over 4..6, rows 0..2.
    const COLORREF grey = RGB(9, 9, 9), red = RGB(255, 0, 0);
    for (const auto& [x, y, colour] : {std::tuple{0, 0, grey}, {3, 2, 0u}, {4, 0, red}, {6, 2, red}, {7, 0, grey},
                                       {4, 3, grey}})
        EXPECT_EQ(dst.GetPixel(x, y), colour) << x << "," << y;

    const DeviceBitmap checker = test::MakeBitmap(2, 2, [](int x, int y) { return x == y ? 0u : RGB(255, 255, 255); });
    PatBlt(dst, 1, 1, 3, 2, Brush{0, &checker}, PatRop::PatCopy);
    // The pattern starts at the bitmap origin, not at the rectangle's corner.
    EXPECT_EQ(dst.GetPixel(1, 1), 0u);
    EXPECT_EQ(dst.GetPixel(2, 1), RGB(255, 255, 255));
    EXPECT_EQ(dst.GetPixel(2, 2), 0u);
    PatBlt(dst, 0, 0, 100, 1, Brush{}, PatRop::Whiteness);
    EXPECT_EQ(dst.GetPixel(7, 0), RGB(255, 255, 255));
}

TEST(Raster, PackedBitmapsTurnTopDown) {
    for (int bits : {1, 4, 8}) {
        Block b = CreateDibBlock(3, 2, bits);
        test::SetTableEntry(b, 1, 10, 20, 30);
        test::SetIndex(b, 2, 0, 1);  // top right
        const DeviceBitmap d = DibToDeviceBitmap(b);
        ASSERT_EQ(d.Width(), 3);
        EXPECT_EQ(d.GetPixel(2, 0), RGB(10, 20, 30)) << bits;
        EXPECT_EQ(d.GetPixel(2, 1), 0u) << bits;
    }
    Block rgb = CreateDibBlock(2, 2, 32);
    test::SetBgra(rgb, 0, 1, 3, 2, 1, 0);  // bottom left
    const DeviceBitmap d = DibToDeviceBitmap(rgb);
    EXPECT_EQ(d.GetPixel(0, 1), RGB(1, 2, 3));
    Block back = DeviceBitmapToDib(d, 24);
    EXPECT_EQ(test::TopDown(back, 0, 1), (test::Px{3, 2, 1, 255}));
    EXPECT_TRUE(DibToDeviceBitmap(Block::Allocate(20)).IsNull());
    EXPECT_TRUE(DeviceBitmapToDib(d, 8).empty());
}

}  // namespace
}  // namespace tellurine
