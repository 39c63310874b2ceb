#include "image/mask.h"

#include <gtest/gtest.h>

#include <numeric>
#include <tuple>

#include "image/archive.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::Px;
using test::TopDown;
using test::GetIndex;
using test::SetBgra;
using test::SetIndex;

CMask Uniform(std::uint32_t w, std::uint32_t h, std::uint8_t value) {
    CMask m;
    m.Allocate(w, h);
    std::fill(m.Values().begin(), m.Values().end(), value);
    return m;
}

TEST(CMask, ApplyToBitmapByDepth) {
    Block rgb = test::MakeDib(2, 1, 24, [](int, int) { return Px{255, 100, 3, 255}; });
    ASSERT_EQ(Uniform(2, 1, 128).ApplyToBitmap(rgb), 1);
    // Each channel * 128 / 255, a pixel's neighbour's bytes untouched.
    EXPECT_TRUE(test::SameBytes(rgb, test::MakeDib(2, 1, 24, [](int, int) { return Px{128, 50, 1, 255}; })));

    Block argb = test::MakeDib(3, 1, 32, [](int, int) { return Px{9, 9, 9, 200}; });
    CMask m(Uniform(3, 1, 255));
    m.Values()[1] = 0;
    m.Values()[2] = 100;
    ASSERT_EQ(m.ApplyToBitmap(argb), 1);
    // 255 keeps the alpha exactly, 0 clears it, 100 makes it 200 * 100 / 255; the colour is untouched.
    const std::uint8_t alphas[] = {200, 0, 78};
    EXPECT_TRUE(test::SameBytes(argb, test::MakeDib(3, 1, 32, [&](int x, int) { return Px{9, 9, 9, alphas[x]}; })));

    for (int bits : {1, 4, 8}) {
        Block indexed = CreateDibBlock(2, 1, bits);
        SetIndex(indexed, 0, 0, 1);
        SetIndex(indexed, 1, 0, 1);
        CMask threshold = Uniform(2, 1, 127);
        threshold.Values()[1] = 128;
        ASSERT_EQ(threshold.ApplyToBitmap(indexed), 1);
        EXPECT_EQ(std::pair(GetIndex(indexed, 0, 0), GetIndex(indexed, 1, 0)), std::pair(0, 1)) << bits;
    }

    Block sixteen = CreateDibBlock(1, 1, 16);
    EXPECT_EQ(Uniform(1, 1, 0).ApplyToBitmap(sixteen), 0);
    EXPECT_EQ(CMask().ApplyToBitmap(rgb), 0);
    EXPECT_EQ(Uniform(1, 1, 0).ApplyToBitmap(rgb), 0);  // another size
}

// Mask rows follow the bitmap's stored rows: row 0 is the bottom of the picture.
TEST(CMask, ChannelsFollowTheStoredRowOrder) {
    Block b = CreateDibBlock(2, 2, 32);
    SetBgra(b, 0, 0, 1, 2, 3, 4);      // top left
    SetBgra(b, 1, 1, 5, 6, 7, 8);      // bottom right
    CMask red, alpha;
    ASSERT_EQ(red.FromRedChannel(b), 1);
    ASSERT_EQ(alpha.FromAlpha(b), 1);
    EXPECT_EQ(std::tuple(red.At(0, 1), red.At(1, 0), alpha.At(0, 1), alpha.At(1, 0)), std::tuple(3, 7, 4, 8));

    Block back = red.ToBitmap();
    EXPECT_EQ(TopDown(back, 0, 0), (Px{3, 3, 3, 255}));
    EXPECT_EQ(TopDown(back, 1, 1), (Px{7, 7, 7, 255}));

    Block rgb = CreateDibBlock(3, 1, 24);
    EXPECT_EQ(red.FromRedChannel(rgb), 1);
    EXPECT_EQ(red.Width(), 3u);
    EXPECT_EQ(alpha.FromAlpha(rgb), 0);
    EXPECT_EQ(alpha.FromRedChannel(CreateDibBlock(2, 2, 8)), 0);
    EXPECT_TRUE(CMask().ToBitmap().empty());
}

TEST(CMask, CopiesOfEmptyMasksStayEmpty) {
    CMask a = Uniform(4, 2, 9);
    a.attribute = 5;
    CMask b(a);
    EXPECT_EQ(std::tuple(b.Width(), b.Values(), b.attribute), std::tuple(4u, a.Values(), 5));
    b = CMask();
    EXPECT_EQ(std::tuple(b.IsEmpty(), b.Width()), std::tuple(true, 0u));
    b.Clear();
    EXPECT_EQ(b.attribute, 0);
    EXPECT_EQ(b.Allocate(0, 3), 0);
    EXPECT_EQ(b.Allocate(0x10000, 0x10000), 0);  // over the allocation limit
    EXPECT_TRUE(b.IsEmpty());
}

std::vector<std::uint8_t> Store(CMask& m) {
    Archive ar = Archive::ForStoring();
    m.Serialize(ar);
    return ar.TakeBytes();
}

TEST(CMask, ArchiveFormKeepsOnlySquareMasks) {
    CMask square = Uniform(16, 16, 0);
    std::iota(square.Values().begin(), square.Values().end(), 0);
    auto bytes = Store(square);
    ASSERT_EQ(bytes.size(), 8u + 256u);
    CMask back;
    Archive in = Archive::ForLoading(bytes);
    ASSERT_TRUE(back.Serialize(in));
    EXPECT_EQ(std::tuple(back.Width(), back.Height(), back.Values()), std::tuple(16u, 16u, square.Values()));

    // 16 & 32 == 0: the mask is written as a single 0 and reads back empty.
    CMask tall = Uniform(16, 32, 1);
    EXPECT_EQ(Store(tall), (std::vector<std::uint8_t>{0, 0, 0, 0}));

    // 48 x 16 (48 & 16 != 0) is written as 48 x 16 but read as 48 x 48: it swallows the next
    // 1,536 bytes. (32 x 16 would not be written at all: 32 & 16 == 0.)
    CMask wide = Uniform(48, 16, 7);
    bytes = Store(wide);
    ASSERT_EQ(bytes.size(), 8u + 768u);
    bytes.resize(bytes.size() + 1536, 3);
    Archive w = Archive::ForLoading(bytes);
    ASSERT_TRUE(back.Serialize(w));
    EXPECT_EQ(std::pair(back.Width(), back.Height()), std::pair(48u, 48u));
    EXPECT_EQ(std::tuple(back.At(0, 0), back.At(47, 15), back.At(0, 16)), std::tuple(7, 7, 3));
    EXPECT_EQ(w.Remaining(), 0u);

    // Without the extra bytes the read runs short and fails.
    bytes.resize(8 + 768);
    Archive s = Archive::ForLoading(bytes);
    EXPECT_FALSE(back.Serialize(s));
    // A hostile width is refused before anything is allocated.
    std::vector<std::uint8_t> absurd = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0};
    Archive a = Archive::ForLoading(absurd);
    EXPECT_FALSE(back.Serialize(a));
}

}  // namespace
}  // namespace tellurine
