#include "image/dib.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <tuple>

#include "image/archive.h"
#include "image/bytes.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::Attached;
using test::Px;
using test::TopDown;
using test::SetIndex;
using test::SetTableEntry;

CDIB MakeDib(int w, int h, int bits) { return Attached(CreateDibBlock(w, h, bits)); }

// Pixel (x, y) of a 24- or 32-bit bitmap, y from the top.
Px PixelOf(const CDIB& dib, int x, int y) { return TopDown(dib.GetBlock(), x, y); }

// A 4 x 2 8-bit picture over a table whose entry i is (i, 2i, 3i).
CDIB MakeIndexed() {
    Block b = CreateDibBlock(4, 2, 8);
    for (int i = 0; i < 256; ++i)
        SetTableEntry(b, i, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(2 * i), static_cast<std::uint8_t>(3 * i));
    for (int i = 0; i < 8; ++i) SetIndex(b, i % 4, i / 4, 10 + i);
    return Attached(std::move(b));
}

TEST(CDib, CopyResetsResolutionButAssignmentKeepsIt) {
    CDIB source = MakeIndexed();
    source.resolution = 300;
    source.transparentIndex = 12;
    source.loaderValue = 7;
    source.loaderIndex = 3;
    source.loaderReal = 2.5;
    source.loaderFlag1 = 1;
    source.loaderFlag2 = 1;
    ASSERT_EQ(source.SaveColorTable(2), 1);

    // Resolution, the loader attributes, the transparent index and the saved table's bits.
    const auto attributes = [](const CDIB& d) {
        return std::tuple(d.resolution, d.loaderIndex, d.loaderReal, d.loaderFlag1, d.loaderFlag2, d.loaderValue,
                          d.transparentIndex, d.SavedTableBits());
    };
    using Attributes = decltype(attributes(source));
    const Attributes reset{0, -1, 0.0, 0, 0, 7, 12, 2};

    const CDIB copy(source);
    EXPECT_EQ(attributes(copy), reset);
    EXPECT_EQ(copy.SavedColorTable(), source.SavedColorTable());
    EXPECT_EQ(copy.GetPalette(), source.GetPalette());
    EXPECT_NE(copy.GetBlock().data(), source.GetBlock().data());
    EXPECT_TRUE(test::SameBytes(copy.GetBlock(), source.GetBlock()));

    CDIB assigned = MakeDib(2, 2, 24);
    assigned = source;
    EXPECT_EQ(attributes(assigned), (Attributes{300, 3, 2.5, 1, 1, 7, 12, 2}));
    EXPECT_EQ(assigned.BitCount(), 8);

    // Duplicating a foreign block resets the attributes a loader set, not the transparency.
    assigned.CopyFromBlock(CreateDibBlock(3, 3, 24));
    EXPECT_EQ(attributes(assigned), reset);
    EXPECT_TRUE(assigned.GetPalette().empty());
}

TEST(CDib, AttachBuildsThePaletteUnlessSuppressed) {
    CDIB dib = MakeDib(2, 2, 4);
    EXPECT_EQ(dib.GetPalette().size(), 16u);
    {
        CDIB::PaletteSuppressor quiet;
        dib.Attach(CreateDibBlock(2, 2, 8));
        EXPECT_EQ(dib.GetPalette().size(), 16u);  // left as it was
    }
    dib.Attach(CreateDibBlock(2, 2, 8));
    EXPECT_EQ(dib.GetPalette().size(), 256u);
    dib.Clear();
    EXPECT_TRUE(dib.IsEmpty());
    EXPECT_TRUE(dib.GetPalette().empty());
    EXPECT_EQ(dib.Width(), 0);
}

TEST(CDib, ColourTableAndIndexQueries) {
    CDIB dib = MakeIndexed();
    ASSERT_EQ(dib.SaveColorTable(2), 1);
    EXPECT_EQ(dib.SavedColorTable(), (std::vector<std::uint8_t>{0, 0, 0, 1, 2, 3, 2, 4, 6, 3, 6, 9}));
    EXPECT_EQ(std::tuple(dib.UsesIndex(9), dib.UsesIndex(10), dib.UsesIndex(17), dib.UsesIndex(18)),
              std::tuple(0, 1, 1, 0));  // the pixels hold 10 to 17

    Block small = CreateDibBlock(2, 2, 8);
    StoreU32(small.data() + 32, 16);  // only 16 colours in the table
    CDIB sixteen = Attached(std::move(small));
    EXPECT_EQ(sixteen.SaveColorTable(4), 1);
    EXPECT_EQ(sixteen.SaveColorTable(5), 0);
    EXPECT_EQ(MakeDib(2, 2, 24).SaveColorTable(1), 0);
    EXPECT_EQ(MakeDib(2, 2, 4).UsesIndex(0), 0);  // 8-bit only
}

TEST(CDib, TransparentIndexBecomesAlpha) {
    CDIB dib = MakeIndexed();
    dib.ApplyTransparentIndex();
    EXPECT_EQ(dib.BitCount(), 8);  // no transparent index: nothing to do
    dib.transparentIndex = 12;
    dib.ApplyTransparentIndex();
    ASSERT_EQ(dib.BitCount(), 32);
    EXPECT_EQ(PixelOf(dib, 2, 0), (Px{36, 24, 12, 0}));
    EXPECT_EQ(PixelOf(dib, 3, 0), (Px{39, 26, 13, 255}));
    EXPECT_EQ(PixelOf(dib, 0, 1), (Px{42, 28, 14, 255}));
    EXPECT_TRUE(dib.GetPalette().empty());
}

TEST(CDib, FlattenAndConvertRespectTheirDepths) {
    const Px row[] = {{0, 100, 200, 128}, {10, 20, 30, 255}};
    const CDIB dib = Attached(test::MakeDib(2, 1, 32, [&](int x, int) { return row[x]; }));

    CDIB flat = dib;
    flat.Flatten(RGB(255, 255, 255));
    ASSERT_EQ(flat.BitCount(), 24);
    // (c * a + 255 * (255 - a)) / 255
    EXPECT_EQ(PixelOf(flat, 0, 0), (Px{127, 177, 227, 255}));
    EXPECT_EQ(PixelOf(flat, 1, 0), (Px{10, 20, 30, 255}));

    CDIB indexed = MakeIndexed();
    indexed.Flatten(0);
    EXPECT_EQ(indexed.BitCount(), 24);
    CDIB four = MakeDib(2, 2, 4);
    four.Flatten(0);
    EXPECT_EQ(four.BitCount(), 4);  // below 8 bits: left as it is

    CDIB keyed = MakeIndexed();
    keyed.ConvertTo32(true, RGB(11, 22, 33));
    ASSERT_EQ(keyed.BitCount(), 32);
    EXPECT_EQ(std::tuple(PixelOf(keyed, 1, 0)[3], PixelOf(keyed, 0, 0)[3]), std::tuple(0, 255));
    CDIB plain = dib;
    plain.ConvertTo32(false, 0);
    EXPECT_EQ(PixelOf(plain, 0, 0)[3], 128);  // 32-bit alpha is kept without a key

    CDIB sixteen = MakeDib(2, 2, 16);
    sixteen.ConvertTo32(false, 0);
    EXPECT_EQ(sixteen.BitCount(), 16);
}

TEST(CDib, KeyedCopyMarksLowAlphaMagenta) {
    const Px row[] = {{0, 0, 0, 63}, {0, 0, 255, 64}, {1, 2, 3, 255}};
    const CDIB dib = Attached(test::MakeDib(3, 1, 32, [&](int x, int) { return row[x]; }));
    const CDIB keyed = dib.MakeKeyedCopy();
    ASSERT_EQ(keyed.BitCount(), 24);
    EXPECT_EQ(dib.BitCount(), 32);  // the source is untouched
    // Magenta at alpha 63; over E1E1E1 at alpha 64; the colour itself when opaque.
    EXPECT_EQ((std::array{PixelOf(keyed, 0, 0), PixelOf(keyed, 1, 0), PixelOf(keyed, 2, 0)}),
              (std::array<Px, 3>{{{255, 0, 255, 255}, {0xA8, 0xA8, 0xE8, 255}, {1, 2, 3, 255}}}));
    // A picture without alpha is fully opaque: nothing becomes magenta.
    EXPECT_EQ(PixelOf(MakeIndexed().MakeKeyedCopy(), 0, 0), (Px{30, 20, 10, 255}));
}

TEST(CDib, ArchiveFormIsFlagSizeAndBlock) {
    Archive empty = Archive::ForStoring();
    CDIB nothing;
    nothing.Serialize(empty);
    EXPECT_EQ(empty.Bytes(), (std::vector<std::uint8_t>{0, 0, 0, 0}));

    CDIB dib = MakeIndexed();
    Archive out = Archive::ForStoring();
    dib.Serialize(out);
    const auto& bytes = out.Bytes();
    ASSERT_EQ(bytes.size(), 8 + dib.GetBlock().size());
    EXPECT_EQ(std::pair(LoadU32(bytes.data()), LoadU32(bytes.data() + 4)), std::pair(1u, 40u + 1024u + 8u));
    EXPECT_EQ(0, std::memcmp(bytes.data() + 8, dib.GetBlock().data(), dib.GetBlock().size()));

    Archive in = Archive::ForLoading(bytes);
    CDIB back;
    ASSERT_TRUE(back.Serialize(in));
    EXPECT_EQ(back.GetPalette(), dib.GetPalette());
    EXPECT_TRUE(test::SameBytes(back.GetBlock(), dib.GetBlock()));

    // Truncated, lying about its size, or not a bitmap: refused, and the bitmap keeps its picture.
    std::vector<std::uint8_t> lying = bytes;
    StoreU32(lying.data() + 4, 0xFFFFFFF0);
    for (const std::vector<std::uint8_t>& refused : {std::vector<std::uint8_t>(bytes.begin(), bytes.end() - 1), lying,
                                                     std::vector<std::uint8_t>{1, 0, 0, 0, 4, 0, 0, 0, 1, 2, 3, 4}}) {
        Archive damaged = Archive::ForLoading(refused);
        EXPECT_FALSE(back.Serialize(damaged)) << refused.size();
    }
    EXPECT_EQ(back.BitCount(), 8);
}

TEST(CDib, LibraryImageRoundTripConvertsTheResolution) {
    // No resolution counts as the default 96 dpi.
    for (const auto& [dpi, dotsPerMeter] : {std::pair{0, 3780}, {72, 2835}, {300, 11811}})
        EXPECT_EQ(CDIB::DotsPerMeterFromDpi(dpi), dotsPerMeter) << dpi;
    std::int32_t dpi = 0;
    ASSERT_TRUE(CDIB::DpiFromDotsPerMeter(11811, dpi));
    EXPECT_EQ(dpi, 300);
    EXPECT_FALSE(CDIB::DpiFromDotsPerMeter(std::nan(""), dpi));

    for (int bits : {1, 4, 8, 24, 32}) {
        Block b = CreateDibBlock(5, 3, bits);
        for (std::size_t i = GetDibLayout(b)->pixelOffset; i < b.size(); ++i) b.data()[i] = static_cast<std::uint8_t>(i * 7);
        if (bits <= 8) SetTableEntry(b, 1, 9, 8, 7);
        CDIB dib = Attached(std::move(b));
        dib.resolution = 72;
        ASSERT_TRUE(dib.SyncToLibraryImage()) << bits;
        EXPECT_EQ(GetFreeImage()->GetDotsPerMeterX(dib.LibraryImage().Get()), 2835u);
        EXPECT_FALSE(dib.LibraryImageChanged());

        CDIB back;
        back.LibraryImage() = dib.LibraryImage();
        ASSERT_TRUE(back.SyncFromLibraryImage()) << bits;
        EXPECT_EQ(back.resolution, 72);
        ASSERT_EQ(back.BitCount(), bits);
        EXPECT_TRUE(test::SameBytes(back.GetBlock(), dib.GetBlock())) << bits;
        EXPECT_EQ(back.GetPalette(), dib.GetPalette()) << bits;
    }
    CDIB copy;
    {
        CDIB dib = MakeDib(2, 2, 24);
        dib.SyncToLibraryImage();
        copy = dib;
    }
    EXPECT_TRUE(copy.LibraryImageChanged());  // a copied library image is marked changed
}

}  // namespace
}  // namespace tellurine
