// The PNG form of an icon image: reading it from a stream or from memory, and writing it.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <tuple>
#include <vector>

#include "icon/kv_icon.h"
#include "image/archive.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"
#include "test_support.h"

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::U8;

// A w x h 32-bit picture: pixel (x, y) has colour (x*7, y*5, x+y) and alpha 0 on the diagonal
// stripes where (x + y) % 4 == 0, otherwise a varying nonzero alpha.
Block Picture32(int w, int h) {
    return test::MakeDib(w, h, 32, [h](int x, int stored) {
        const int y = h - 1 - stored;
        return test::Px{U8(x * 7), U8(y * 5), U8(x + y), U8((x + y) % 4 == 0 ? 0 : 1 + (x * 3 + y) % 255)};
    });
}

std::vector<std::uint8_t> PngOf(const Block& dib) {
    std::vector<std::uint8_t> png;
    EXPECT_TRUE(EncodePng(dib, png));
    return png;
}

using test::AndBit;

// An image read from a whole PNG stream in memory, at the given directory bit count.
CKvIcon FromPng(const std::vector<std::uint8_t>& png, std::uint32_t bits) {
    CKvIcon icon;
    EXPECT_EQ(icon.ReadImage(std::span<const std::uint8_t>(png), static_cast<std::uint32_t>(png.size()), bits), 1);
    return icon;
}

// Bytes of the colour pixel (x, y), y from the top.
const std::uint8_t* Pixel(const CKvIcon& icon, int x, int y) {
    return test::ColorRow(icon, y) + x * (icon.BitsPerPixel() / 8);
}

// A w x h picture that fits every depth: two colours, and alpha 0 (over a colour that is
// neither) on the stripes where (x + y) % 4 == 0.
Block TwoColourPicture(int w, int h) {
    return test::MakeDib(w, h, 32, [h](int x, int stored) {
        const int y = h - 1 - stored;
        const bool clear = (x + y) % 4 == 0, first = x * y % 3 == 0;
        return test::Px{U8(clear ? 9 : first ? 10 : 250), U8(first ? 200 : 5), U8(first ? 30 : 128), U8(clear ? 0 : 255)};
    });
}

class KvIconPngDepth : public ::testing::TestWithParam<int> {};

TEST_P(KvIconPngDepth, DecodesIntoAFullIconBlockOfTheDirectoryDepth) {
    const int depth = GetParam();
    const int w = 13, h = 6;
    Block source = TwoColourPicture(w, h);
    std::vector<std::uint8_t> file = PngOf(source);
    const std::size_t pngSize = file.size();
    file.insert(file.end(), {1, 2, 3});  // whatever follows is not part of the image
    Archive ar = Archive::ForLoading(file);
    CKvIcon icon;
    ASSERT_EQ(icon.ReadImage(ar, static_cast<std::uint32_t>(pngSize), static_cast<std::uint32_t>(depth)), 1);
    EXPECT_EQ(ar.Position(), pngSize);

    EXPECT_EQ(std::tuple(icon.IsCompressed(), icon.Width(), icon.Height(), icon.ColorCount(), icon.HasAlpha(),
                         icon.BitsPerPixel()),
              std::tuple(true, 13u, 6u, depth <= 8 ? 1u << depth : 0u, depth == 32, depth));
    IconImageLayout l;
    ASSERT_TRUE(icon.GetLayout(l));  // the block is exactly the format's size
    const BitmapInfoHeader header = BitmapInfoHeader::Load(icon.GetBlock().data());
    EXPECT_EQ(std::tuple(header.height, header.bitCount, header.clrUsed), std::tuple(12, depth, icon.ColorCount()));

    // Opaque pixels keep their colour; clear ones set the AND bit and, below 32 bits, are black
    // (at 1 bit the two colours fill the table and clear pixels take entry 0, shown clear).
    const std::uint8_t* entry0 = icon.GetBlock().data() + l.tableOffset;
    const test::Px clear = depth == 1 ? test::Px{entry0[0], entry0[1], entry0[2], 0} : test::Px{0, 0, 0, 0};
    const Block shown = icon.To32BitDib();
    // Written as a PNG (below 32 bits encoded again from the table, or the colour bytes, and the
    // AND mask) and read back at 32 bits, it shows the same picture with the same mask.
    Archive out = Archive::ForStoring();
    std::uint32_t written = 0;
    ASSERT_EQ(icon.WriteImage(out, written), 1);
    CKvIcon back;
    ASSERT_EQ(back.ReadImage(out.Bytes(), written, 32), 1);
    const Block again = back.To32BitDib();
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const test::Px want = test::TopDown(source, x, y), got = test::TopDown(shown, x, y);
            EXPECT_EQ(AndBit(icon, x, y), want[3] == 0 ? 1 : 0) << x << "," << y;
            EXPECT_EQ(got, want[3] != 0 || depth == 32 ? want : clear) << x << "," << y;
            EXPECT_EQ(test::TopDown(again, x, y), got) << x << "," << y;
            EXPECT_EQ(AndBit(back, x, y), AndBit(icon, x, y)) << x << "," << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Depths, KvIconPngDepth, ::testing::Values(1, 4, 8, 24, 32));

// From memory as from a stream; a depth the picture does not fit (alpha other than 0 and 255 at 8
// bits), and a bit count of 0, mean 32 bits with alpha.
TEST(KvIconPng, ReadingFromMemoryFollowsTheSameRules) {
    const std::vector<std::uint8_t> png = PngOf(Picture32(9, 9));
    const auto size = static_cast<std::uint32_t>(png.size());
    Archive ar = Archive::ForLoading(png);
    CKvIcon fromStream, fromMemory;
    ASSERT_EQ(fromStream.ReadImage(ar, size, 8), 1);
    ASSERT_EQ(fromMemory.ReadImage(png, size, 0), 1);
    EXPECT_EQ(std::tuple(fromMemory.IsCompressed(), fromMemory.BitsPerPixel(), fromMemory.HasAlpha()),
              std::tuple(true, 32, true));
    EXPECT_EQ(Pixel(fromMemory, 1, 0)[3], 4);  // alpha 1 + 3
    EXPECT_TRUE(std::ranges::equal(fromMemory.GetBlock().bytes(), fromStream.GetBlock().bytes()));

    // A bitmap-form image ignores the byte count, here as anywhere.
    Archive block = Archive::ForStoring();
    ASSERT_EQ(fromStream.WriteImage(block), 1);
    CKvIcon icon;
    ASSERT_EQ(icon.ReadImage(block.Bytes(), 1, 0), 1);
    EXPECT_EQ(std::pair(icon.BlockSize(), icon.IsCompressed()), std::pair(fromStream.BlockSize(), false));
}

// From a stream and from memory alike.
TEST(KvIconPng, BadStreamsFailAndLeaveImageAndPositionAlone) {
    const std::vector<std::uint8_t> png = PngOf(Picture32(8, 8));
    const auto size = static_cast<std::uint32_t>(png.size());
    std::vector<std::uint8_t> damaged = png;
    damaged[png.size() / 2] ^= 0xFF;  // inside the compressed data: the checksum no longer holds
    const std::vector<std::uint8_t> signature(png.begin(), png.begin() + 3);
    struct Case {
        const std::vector<std::uint8_t>* bytes;
        std::uint32_t byteCount, bitCount;
    };
    const Case cases[] = {
        {&png, 0, 32},          // a PNG needs its length
        {&png, size + 1, 32},   // longer than the data
        {&png, 0xFFFFFFFF, 32},
        {&png, size - 1, 32},   // cut short
        {&damaged, size, 32},
        {&signature, 3, 8},     // not even a whole signature
    };
    for (const Case& c : cases) {
        CKvIcon icon;
        ASSERT_EQ(icon.SetFormat(2, 2, 16, false), 1);
        Archive ar = Archive::ForLoading(*c.bytes);
        EXPECT_EQ(icon.ReadImage(ar, c.byteCount, c.bitCount), 0) << c.byteCount << " " << c.bitCount;
        EXPECT_EQ(ar.Position(), 0u);
        EXPECT_EQ(icon.ReadImage(*c.bytes, c.byteCount, c.bitCount), 0) << c.byteCount << " " << c.bitCount;
        EXPECT_EQ(std::tuple(icon.ColorCount(), icon.Width(), icon.IsCompressed()), std::tuple(16u, 2u, false));
    }
}

TEST(KvIconPng, WritingReportsTheBytesOfTheFormUsed) {
    CKvIcon icon = FromPng(PngOf(Picture32(5, 3)), 32);

    Archive compressed = Archive::ForStoring();
    compressed.WriteU8(0xAB);  // the image goes at the current position
    std::uint32_t written = 0;
    ASSERT_EQ(icon.WriteImage(compressed, written), 1);
    EXPECT_EQ(written + 1, compressed.Bytes().size());
    EXPECT_EQ(LoadU32(compressed.Bytes().data() + 1), kPngSignature);

    icon.SetCompressed(false);
    Archive bitmap = Archive::ForStoring();
    ASSERT_EQ(icon.WriteImage(bitmap, written), 1);
    EXPECT_EQ(written, icon.BlockSize());
    EXPECT_EQ(bitmap.Bytes().size(), icon.BlockSize());
    EXPECT_EQ(LoadU32(bitmap.Bytes().data()), kInfoHeaderSize);

    // The one-argument form is the bitmap form whatever the flag says (the icon group stores it).
    icon.SetCompressed(true);
    Archive group = Archive::ForStoring();
    ASSERT_EQ(icon.WriteImage(group), 1);
    EXPECT_EQ(group.Bytes(), bitmap.Bytes());

    CKvIcon empty;
    empty.SetCompressed(true);
    Archive none = Archive::ForStoring();
    EXPECT_EQ(empty.WriteImage(none, written), 0);
    EXPECT_EQ(none.Bytes().size(), 0u);
}

// An unchanged image read from a plain RGBA stream writes that stream back byte for byte (the
// stream here is encoded at zlib level 1, so a fresh encoding at level 6 would differ); after a
// change of one pixel, or in a copy, the pixels are encoded again.
TEST(KvIconPng, UnchangedImagesWriteTheirStoredStream) {
    std::vector<std::uint8_t> stored;
    ASSERT_TRUE(EncodePng(Picture32(40, 30), stored, 1));
    CKvIcon icon = FromPng(stored, 32);
    auto written = [](const CKvIcon& image) {
        Archive ar = Archive::ForStoring();
        std::uint32_t bytes = 0;
        EXPECT_EQ(image.WriteImage(ar, bytes), 1);
        return ar.TakeBytes();
    };
    EXPECT_EQ(written(icon), stored);
    const CKvIcon copy(icon);
    const std::vector<std::uint8_t> reencoded = written(copy);
    EXPECT_NE(reencoded, stored);
    EXPECT_TRUE(std::ranges::equal(FromPng(reencoded, 32).GetBlock().bytes(), icon.GetBlock().bytes()));

    // The pixels of an image read from such a stream are made when first asked for, once, however
    // many threads ask at the same time (the program's windows draw a read-only image from several).
    {
        const CKvIcon shared = FromPng(stored, 32);
        std::vector<std::thread> readers;
        std::vector<std::uint64_t> sums(4);
        for (std::size_t t = 0; t < sums.size(); ++t)
            readers.emplace_back([&, t] {
                const Block& block = shared.GetBlock();
                for (std::size_t i = 0; i < block.size(); ++i) sums[t] = sums[t] * 31 + block.data()[i];
            });
        for (std::thread& reader : readers) reader.join();
        EXPECT_TRUE(std::ranges::equal(shared.GetBlock().bytes(), icon.GetBlock().bytes()));
        for (const std::uint64_t sum : sums) EXPECT_EQ(sum, sums[0]);
        EXPECT_EQ(written(shared), stored);
    }

    IconImageLayout l;
    ASSERT_TRUE(icon.GetLayout(l));
    icon.GetBlock().data()[l.pixelOffset] ^= 0xFF;
    EXPECT_NE(written(icon), stored);

    // An encoding made ahead at level 1 is what gets written, until the pixels change.
    ASSERT_EQ(icon.EncodeStoredPng(1), 1);
    const std::vector<std::uint8_t> ahead = written(icon);
    std::vector<std::uint8_t> level1;
    ASSERT_TRUE(EncodePng(icon.To32BitDib(), level1, 1));
    EXPECT_EQ(ahead, level1);
    icon.GetBlock().data()[l.pixelOffset] ^= 0xFF;
    EXPECT_NE(written(icon), ahead);
}

}  // namespace
}  // namespace tellurine
