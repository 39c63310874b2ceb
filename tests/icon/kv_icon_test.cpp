#include "icon/kv_icon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "icon/standard_palette.h"
#include "image/archive.h"
#include "test_support.h"

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::AndRow;
using test::ColorRow;
using test::Depth;
using test::kDepths;
using test::SetTableEntry;
using test::U8;

// A format filled with a recognisable picture: table colours distinct even at 5 bits per channel
// (the nearest-colour search caches by 15-bit colour), varied pixels, some transparent pixels
// (for 32 bits exactly those with alpha 0, as the bitmaps carry them).
CKvIcon MakePicture(const Depth& d, int w = 5, int h = 3) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, d.colors, d.alpha), 1);
    for (int i = 0; i < static_cast<int>(d.colors); ++i)
        SetTableEntry(icon.GetBlock(), i, U8(255 - i), U8((i / 32) * 32 + 7), U8((i % 32) * 8));
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int n = x * 3 + y * 5 + 1;
            std::uint8_t* row = ColorRow(icon, y);
            const bool clear = (x + y) % 3 == 0;
            if (d.bits <= 8) {
                WriteIndex(row, x, d.bits, static_cast<std::uint8_t>(n % (1 << d.bits)));
            } else {
                const int bytes = d.bits / 8;
                for (int c = 0; c < 3; ++c) row[x * bytes + c] = static_cast<std::uint8_t>(n * 11 + c * 40);
                if (bytes == 4) row[x * 4 + 3] = clear ? 0 : static_cast<std::uint8_t>(n * 13);
            }
            if (clear) WriteIndex(AndRow(icon, y), x, 1, 1);
        }
    }
    return icon;
}

std::vector<std::uint8_t> Store(const CKvIcon& icon) {
    Archive ar = Archive::ForStoring();
    EXPECT_EQ(icon.WriteImage(ar), 1);
    return ar.TakeBytes();
}

TEST(KvIconFormat, BlockSizesFollowTheFormulaAndImpossibleFormatsLeaveTheImageEmpty) {
    CKvIcon icon;
    EXPECT_EQ(std::tuple(icon.PointX(), icon.PointY(), icon.UsesStandardPalette()), std::tuple(-1, -1, true));
    // Header, table, colour rows and mask rows, each row a multiple of 4 bytes.
    const struct {
        int w, h;
        std::uint32_t colors;
        bool alpha;
        std::uint32_t size;
        int bits;
    } sizes[] = {{48, 48, 0, true, 9640, 32},
                 {32, 32, 256, false, 32 * (32 + 4) + 1024 + 40, 8},
                 {3, 1, 2, false, 1 * (4 + 4) + 8 + 40, 1},
                 {16, 16, 16, false, 296, 4}};
    for (const auto& c : sizes) {
        ASSERT_EQ(icon.SetFormat(c.w, c.h, c.colors, c.alpha), 1);
        EXPECT_EQ(std::tuple(icon.BlockSize(), icon.GetBlock().size(), icon.BitsPerPixel()),
                  std::tuple(c.size, std::size_t{c.size}, c.bits));
    }
    EXPECT_EQ(CKvIcon::FormatBits(24, false), 24);  // other counts are their own bit count
    EXPECT_EQ(CKvIcon::FormatBits(3, true), 3);
    // 1000 bits; the last over the byte limit.
    const std::tuple<int, int, std::uint32_t, bool> impossible[] = {
        {0, 16, 16, false}, {16, -1, 16, false}, {kMaxDibDimension + 1, 1, 0, false}, {16, 16, 1000, false},
        {kMaxDibDimension, kMaxDibDimension, 0, true}};
    for (const auto& [w, h, colors, alpha] : impossible) {
        ASSERT_EQ(icon.SetFormat(16, 16, 16, false), 1);
        EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 0) << w << "x" << h << " " << colors;
        EXPECT_EQ(std::tuple(icon.IsEmpty(), icon.Width(), icon.BlockSize()), std::tuple(true, 0u, 0u));
    }
}

TEST(KvIconCopy, DuplicatesTheBlockAndCarriesFormatAttributesAndPoint) {
    CKvIcon source = MakePicture(kDepths[1]);
    source.SetPoint(3, 4);
    source.SetAttribute1(7);
    source.SetAttribute2(9);
    source.SetCompressed(true);
    CKvIcon copy;
    copy.SecondBlock() = Block::Allocate(8);
    copy.WorkBuffer().assign(4, 1);
    ASSERT_EQ(copy.CopyFrom(source), 1);
    EXPECT_TRUE(copy.SecondBlock().empty() && copy.WorkBuffer().empty());
    EXPECT_EQ(std::tuple(copy.Width(), copy.ColorCount(), copy.IsCompressed(), copy.PointX(), copy.PointY(),
                         copy.Attribute1(), copy.Attribute2()),
              std::tuple(5u, 16u, true, 3, 4, 7u, 9u));
    EXPECT_NE(copy.GetBlock().data(), source.GetBlock().data());
    EXPECT_TRUE(std::ranges::equal(copy.GetBlock().bytes(), source.GetBlock().bytes()));

    const CKvIcon constructed(source);
    EXPECT_EQ(Store(constructed), Store(source));
}

// The display palette is the table; only a 256-colour table is compared with the standard one.
TEST(KvIconPalette, DisplayPaletteFollowsTheTableAndADifferentTableClearsTheStandardFlag) {
    CKvIcon icon;
    ASSERT_EQ(icon.SetFormat(4, 4, 0, false), 1);
    EXPECT_TRUE(icon.BuildDisplayPalette().empty());

    icon = MakePicture(kDepths[1]);
    const Palette p = icon.BuildDisplayPalette();
    ASSERT_EQ(p.size(), 16u);
    EXPECT_EQ(p.version, 0x300);
    EXPECT_EQ(p.entries[3], (PaletteEntry{252, 7, 24, 0}));
    EXPECT_TRUE(icon.UsesStandardPalette());

    ASSERT_EQ(icon.SetFormat(4, 4, 256, false), 1);
    const auto& standard = StandardColors256();
    for (int i = 0; i < 256; ++i)
        SetTableEntry(icon.GetBlock(), i, standard[i].red, standard[i].green, standard[i].blue);
    EXPECT_EQ(icon.BuildDisplayPalette().size(), 256u);
    EXPECT_TRUE(icon.UsesStandardPalette());
    icon.GetBlock().data()[kInfoHeaderSize + 4 * 255] ^= 1;
    EXPECT_EQ(icon.BuildDisplayPalette().entries[255].blue, 239);
    EXPECT_FALSE(icon.UsesStandardPalette());
}

class KvIconDepth : public ::testing::TestWithParam<Depth> {};

TEST_P(KvIconDepth, BitmapFormAndDeviceBitmapsRoundTrip) {
    CKvIcon source = MakePicture(GetParam());
    std::vector<std::uint8_t> bytes = Store(source);
    ASSERT_EQ(bytes.size(), source.BlockSize());
    bytes.insert(bytes.end(), bytes.begin(), bytes.end());  // two images back to back

    Archive in = Archive::ForLoading(bytes);
    CKvIcon first, second;
    ASSERT_EQ(first.ReadImage(in, 0, 0), 1);
    ASSERT_EQ(second.ReadImage(in, 0, 0), 1);
    EXPECT_EQ(in.Remaining(), 0u);
    EXPECT_EQ(std::tuple(second.Width(), second.Height(), second.ColorCount(), second.HasAlpha(), second.BitsPerPixel()),
              std::tuple(5u, 3u, GetParam().colors, GetParam().alpha, GetParam().bits));
    EXPECT_EQ(Store(second), Store(source));

    DeviceBitmap color, mask;
    ASSERT_EQ(source.ToBitmaps(color, mask, nullptr), 1);
    ASSERT_EQ(color.Width(), 5);
    const bool alpha = GetParam().alpha;
    // Pixel (0, 0) is transparent, (1, 0) is not.
    EXPECT_EQ(mask.GetPixel(0, 0), alpha ? 0u : 0xFFFFFFu);
    EXPECT_EQ(mask.GetPixel(1, 0), alpha ? 0x343434u : 0u);  // alpha 4 x 13 = 52

    CKvIcon rebuilt;
    ASSERT_EQ(rebuilt.SetFormat(5, 3, GetParam().colors, alpha), 1);
    const Palette palette = source.BuildDisplayPalette();
    ASSERT_EQ(rebuilt.FromBitmaps(color, mask, palette.empty() ? nullptr : &palette), 1);

    IconImageLayout l;
    ASSERT_TRUE(source.GetLayout(l));
    EXPECT_TRUE(std::ranges::equal(rebuilt.GetBlock().bytes().subspan(l.tableOffset),
                                   source.GetBlock().bytes().subspan(l.tableOffset, l.blockSize - l.tableOffset)));
    const BitmapInfoHeader h = BitmapInfoHeader::Load(rebuilt.GetBlock().data());
    EXPECT_EQ(std::tuple(h.height, h.bitCount, h.sizeImage, h.clrUsed),
              std::tuple(6, GetParam().bits, l.colorImageSize, GetParam().colors));
}

INSTANTIATE_TEST_SUITE_P(AllDepths, KvIconDepth, ::testing::ValuesIn(kDepths),
                         [](const auto& param) { return "Bits" + std::to_string(param.param.bits); });

// Without a palette, indexed pixels map onto the current table; a given palette is written to the
// table. Bitmaps of another size, or an empty image, give nothing.
TEST(KvIconBitmaps, IndexedPixelsMapOntoTheTableAndMismatchesAreRefused) {
    CKvIcon icon;
    ASSERT_EQ(icon.SetFormat(2, 1, 2, false), 1);
    SetTableEntry(icon.GetBlock(), 1, 255, 255, 255);  // entry 1 white, entry 0 black
    DeviceBitmap color = DeviceBitmap::Create(2, 1, RGB(250, 240, 230));
    color.SetPixel(1, 0, RGB(10, 0, 20));
    const DeviceBitmap mask = DeviceBitmap::Create(2, 1, RGB(254, 255, 255));  // near white is not white
    ASSERT_EQ(icon.FromBitmaps(color, mask, nullptr), 1);
    EXPECT_EQ(ReadIndex(ColorRow(icon, 0), 0, 1), 1);
    EXPECT_EQ(ReadIndex(ColorRow(icon, 0), 1, 1), 0);
    EXPECT_EQ(AndRow(icon, 0)[0], 0);

    ASSERT_EQ(icon.SetFormat(1, 1, 16, false), 1);
    Palette palette;
    palette.entries = {{1, 2, 3, 0}, {200, 100, 50, 0}};
    const DeviceBitmap brown = DeviceBitmap::Create(1, 1, RGB(190, 110, 40)), white = DeviceBitmap::Create(1, 1, 0xFFFFFF);
    ASSERT_EQ(icon.FromBitmaps(brown, white, &palette), 1);
    EXPECT_EQ(ReadIndex(ColorRow(icon, 0), 0, 4), 1);
    EXPECT_EQ(ReadIndex(AndRow(icon, 0), 0, 1), 1);
    const Palette written = icon.BuildDisplayPalette();
    EXPECT_EQ(written.entries[1], (PaletteEntry{200, 100, 50, 0}));
    EXPECT_EQ(written.entries[2], PaletteEntry{});  // past the palette's end: black

    icon = MakePicture(kDepths[3]);
    const std::vector<std::uint8_t> before = Store(icon);
    const DeviceBitmap small = DeviceBitmap::Create(4, 3), right = DeviceBitmap::Create(5, 3);
    EXPECT_EQ(icon.FromBitmaps(small, right, nullptr), 0);
    EXPECT_EQ(icon.FromBitmaps(right, small, nullptr), 0);
    EXPECT_EQ(Store(icon), before);
    CKvIcon empty;
    DeviceBitmap c, m;
    EXPECT_EQ(empty.ToBitmaps(c, m, nullptr), 0);
    EXPECT_TRUE(c.IsNull());
}

// A bitmap-form image whose header fields are set by the test.
std::vector<std::uint8_t> HeaderOnly(std::uint32_t size, std::int32_t w, std::int32_t h, std::uint16_t bits,
                                     std::uint32_t colors, std::size_t extra = 0) {
    std::vector<std::uint8_t> bytes(40 + extra);
    BitmapInfoHeader header;
    header.size = size;
    header.width = w;
    header.height = h;
    header.bitCount = bits;
    header.clrUsed = colors;
    header.Store(bytes.data());
    return bytes;
}

TEST(KvIconReadImage, TakesTheFormatFromTheHeaderAndHostileInputLeavesTheImageAsItWas) {
    // 4 bits, colours used 0: 16 colours; 8 x 8 needs 8 x (4 + 4) + 64 + 40 bytes.
    const auto bytes = HeaderOnly(40, 8, 16, 4, 0, 8 * 8 + 64);
    Archive whole = Archive::ForLoading(bytes);
    CKvIcon read;
    ASSERT_EQ(read.ReadImage(whole, 0, 0), 1);
    EXPECT_EQ(std::tuple(read.ColorCount(), read.Height(), read.HasAlpha()), std::tuple(16u, 8u, false));

    const std::vector<std::vector<std::uint8_t>> inputs = {
        HeaderOnly(12, 8, 16, 4, 0, 200),                 // core header size
        HeaderOnly(40, 8, 16, 4, 0, 8 * 8 + 31),          // colour pixels one byte short
        HeaderOnly(40, 0x7FFFFFFF, 16, 32, 0, 64),        // absurd width
        HeaderOnly(40, 30000, 60000, 32, 0, 64),          // over the block limit
        HeaderOnly(40, 4096, 8192, 32, 0, 64),            // 69 MB declared, 104 bytes there
        HeaderOnly(40, 8, -16, 32, 0, 2000),              // negative height
        HeaderOnly(40, 8, 16, 8, 0xFFFFFFFF, 2000),       // absurd colour count
        {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A},  // PNG stream
        {40, 0, 0},                                       // shorter than a signature
        std::vector<std::uint8_t>(39, 0),
    };
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        CKvIcon icon = MakePicture(kDepths[2]);
        const std::vector<std::uint8_t> before = Store(icon);
        Archive in = Archive::ForLoading(inputs[i]);
        EXPECT_EQ(icon.ReadImage(in, 0, 0), 0) << "input " << i;
        EXPECT_EQ(std::tuple(in.Position(), icon.ColorCount()), std::tuple(0u, 256u)) << "input " << i;
        EXPECT_EQ(Store(icon), before) << "input " << i;
    }
    // (A PNG stream that fails to decode: the PNG tests' bad streams.)
    CKvIcon icon;
    Archive storing = Archive::ForStoring();
    EXPECT_EQ(icon.ReadImage(storing, 0, 0), 0);
    EXPECT_EQ(icon.WriteImage(storing), 0);  // nothing to write
}

}  // namespace
}  // namespace tellurine
