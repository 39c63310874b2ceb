#include "icon/format_maker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>

#include "icon/format_edit.h"
#include "imaging/adjust.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/filters.h"
#include "imaging/resample.h"
#include "test_support.h"

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

// A 32-bit picture: an opaque disc of a colour gradient on a transparent ground, with a soft rim.
Block Disc(int width, int height) {
    const double cx = width / 2.0, cy = height / 2.0, r = std::min(width, height) * 0.4;
    return test::MakeDib(width, height, 32, [=](int x, int stored) {
        const double d = std::hypot(x + 0.5 - cx, stored + 0.5 - cy);
        const int alpha = d < r - 1 ? 255 : d < r + 1 ? static_cast<int>(255 * (r + 1 - d) / 2) : 0;
        return test::Px{test::U8(40 + 200 * x / width), test::U8(200 * stored / height), 220, test::U8(alpha)};
    });
}

// The AND bit and the colour (from the table at 8 bits or fewer) of pixel (x, y), y from the top.
struct StoredPixel {
    bool masked;
    std::uint8_t colour[4];
};
StoredPixel PixelOf(const CKvIcon& icon, int x, int y) {
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    const std::uint8_t* row = test::ColorRow(icon, y);
    StoredPixel p{test::AndBit(icon, x, y) != 0, {}};
    if (l.bits <= 8) {
        std::memcpy(p.colour, icon.GetBlock().data() + l.tableOffset + 4 * ReadIndex(row, x, l.bits), 4);
    } else {
        std::memcpy(p.colour, row + x * (l.bits / 8), l.bits / 8);
    }
    return p;
}

TEST(MakeIconProject, MakesEverySizeAtEveryDepthCentredAndSorted) {
    // 120 x 80: centred on a 120 x 120 transparent square before resampling, nothing stretched.
    const CDIB image = test::Attached(Disc(120, 80));
    IconProjectRequest request;
    request.sizes = {16, 256, 32, 16};  // a repeated size is made once
    request.depths = {32, 8, 4, 1, 24};
    request.compressLarge = true;
    request.threads = 2;
    CIconDoc doc;
    std::string error;
    ASSERT_TRUE(MakeIconProject(image, request, doc, error)) << error;
    ASSERT_EQ(doc.GetFormatCount(), 15);

    // Default order: ascending bits, larger sizes first.
    int previousBits = 0, previousWidth = 1 << 20;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        if (f.BitCount() != previousBits) previousWidth = 1 << 20;
        EXPECT_GE(f.BitCount(), previousBits);
        EXPECT_LT(f.Width(), previousWidth);
        previousBits = f.BitCount();
        previousWidth = f.Width();
        EXPECT_EQ(f.Icon().IsCompressed(), f.Width() == 256) << i;

        // Every depth: the top and bottom bands (outside the 80-pixel-high picture) and the corners
        // are transparent; the disc's centre is opaque and keeps its red.
        const int size = f.Width();
        for (const int y : {0, size - 1}) {
            const StoredPixel p = PixelOf(f.Icon(), size / 2, y);
            EXPECT_TRUE(p.masked) << f.BitCount() << " bpp " << size;
            if (f.BitCount() != 32) {
                EXPECT_EQ(p.colour[0] | p.colour[1] | p.colour[2], 0) << "masked pixels hold black";
            }
        }
        const StoredPixel centre = PixelOf(f.Icon(), size / 2, size / 2);
        EXPECT_FALSE(centre.masked);
        if (f.BitCount() >= 8) {
            EXPECT_GT(centre.colour[2], 150) << f.BitCount() << " bpp " << size;
        }
    }
}

TEST(MakeIconProject, TakesTheTransparentColourAndTheFilterLevelAsked) {
    // A 24-bit picture: a green ground with a grey square in the middle.
    const CDIB image = test::Attached(test::MakeDib(64, 64, 24, [](int x, int stored) {
        const bool inside = x >= 16 && x < 48 && stored >= 16 && stored < 48;
        return inside ? test::Px{128, 128, 128, 255} : test::Px{0, 200, 0, 255};
    }));
    const auto make = [&](std::optional<COLORREF> key, int level) {
        IconProjectRequest request;
        request.sizes = {64, 16};
        request.depths = {32};
        request.transparentColor = key;
        request.filterLevel = level;
        CIconDoc doc;
        std::string error;
        EXPECT_TRUE(MakeIconProject(image, request, doc, error)) << error;
        return doc;
    };
    const CIconDoc keyed = make(RGB(0, 200, 0), 10), plain = make(std::nullopt, 10), smoothed = make(std::nullopt, 0);
    // At 64 pixels the green ground is transparent and the grey square opaque; without the key
    // the ground stays.
    EXPECT_EQ(PixelOf(keyed.GetFormat(0)->Icon(), 0, 0).colour[3], 0);
    EXPECT_EQ(PixelOf(keyed.GetFormat(0)->Icon(), 32, 32).colour[3], 255);
    EXPECT_EQ(PixelOf(plain.GetFormat(0)->Icon(), 0, 0).colour[3], 255);
    // Level 10 leaves the reduced size unfiltered; level 0 smooths it, the full size is the same.
    const auto same = [&](int i) {
        return std::ranges::equal(plain.GetFormat(i)->Icon().GetBlock().bytes(), smoothed.GetFormat(i)->Icon().GetBlock().bytes());
    };
    EXPECT_TRUE(same(0));
    EXPECT_FALSE(same(1));
}

TEST(MakeIconProject, RefusesBadSizesDepthsAndImagesLeavingNothing) {
    const CDIB image = test::Attached(Disc(32, 32));
    CIconDoc doc;
    doc.AddBlankFormat(16, 16, 0, true);
    std::string error;
    for (const auto& [sizes, depths] : std::vector<std::pair<std::vector<int>, std::vector<int>>>{
             {{0}, {32}}, {{1025}, {32}}, {{16}, {16}}, {{16}, {2}}, {{}, {32}}, {{16}, {}}}) {
        IconProjectRequest request;
        request.sizes = sizes;
        request.depths = depths;
        error.clear();
        EXPECT_FALSE(MakeIconProject(image, request, doc, error));
        EXPECT_FALSE(error.empty());
        EXPECT_EQ(doc.GetFormatCount(), 0);
    }
    IconProjectRequest request;
    request.sizes = {16};
    request.depths = {32};
    EXPECT_FALSE(MakeIconProject(CDIB{}, request, doc, error));
}

// The expected picture of a made 32-bit format: ResampleDib, then the resize filter when it runs.
Block Expected(const Block& source, int size, int level, bool filtered) {
    Block out = ResampleDib(source, size, size);
    if (filtered) {
        DeviceBitmap colour = DibToDeviceBitmap(out);
        DeviceBitmap alpha = DibAlphaToDeviceBitmap(out);
        const int strength = ResizeFilterStrength(DibWidth(source), DibHeight(source), size, size);
        ApplyResizeFilter(colour, level, strength);
        ApplyResizeFilter(alpha, level, strength / 2);
        out = DeviceBitmapsToDib32(colour, alpha);
    }
    return out;
}

std::vector<std::uint8_t> PixelsOf(const Block& dib) {
    const auto l = GetDibLayout(dib);
    return {dib.data() + l->pixelOffset, dib.data() + dib.size()};
}
std::vector<std::uint8_t> PixelsOf(const CKvIcon& icon) { return PixelsOf(icon.To32BitDib()); }

// A new format: every pixel transparent, the standard palette of its depth, and "colours
// important" 0, as readers expect.
TEST(MakeFormat, BlankFormatsAreTransparentOnTheStandardPalette) {
    CKvIcon blank;
    for (const int bits : {1, 4, 8, 24, 32}) {
        ASSERT_TRUE(MakeBlankFormat(16, 16, bits, blank));
        EXPECT_EQ(blank.BitsPerPixel(), bits);
        EXPECT_EQ(LoadU32(blank.GetBlock().data() + 36), 0u) << bits;
        DeviceBitmap colour, mask;
        ASSERT_TRUE(blank.ToBitmaps(colour, mask, nullptr));
        EXPECT_EQ(mask, DeviceBitmap::Create(16, 16, bits == 32 ? 0 : 0xFFFFFF)) << bits;
    }
    for (const int bits : {8, 4}) {
        ASSERT_TRUE(MakeBlankFormat(16, 16, bits, blank));
        EXPECT_EQ(blank.BuildDisplayPalette().entries[9], (PaletteEntry{255, 0, 0, 0})) << bits;  // not black
    }
    EXPECT_FALSE(MakeBlankFormat(16, 16, 16, blank));
}

TEST(MakeFormat, ResizeFilterRunsOnlyWhileCreatingAndOnlyWhenTheSizeChanges) {
    const Block source = Disc(48, 48);
    const CDIB image = test::Attached(source.Duplicate());
    CKvIcon made;
    // Switch off: the plain resample.
    ASSERT_TRUE(MakeFormatFromImage(image, 16, 16, 32, made));
    EXPECT_EQ(PixelsOf(made), PixelsOf(Expected(source, 16, 5, false)));
    {
        const FormatCreationSwitch creating;
        ASSERT_TRUE(MakeFormatFromImage(image, 16, 16, 32, made));
        EXPECT_EQ(PixelsOf(made), PixelsOf(Expected(source, 16, 5, true)));
        EXPECT_NE(PixelsOf(Expected(source, 16, 5, true)), PixelsOf(Expected(source, 16, 5, false)));
        // The same size: no resample, no filter.
        ASSERT_TRUE(MakeFormatFromImage(image, 48, 48, 32, made));
        EXPECT_EQ(PixelsOf(made), PixelsOf(source));

        // From a format: only with the preference on and a level other than 10.
        CKvIcon format;
        ASSERT_TRUE(MakeFormatFromImage(image, 48, 48, 32, format));
        for (const auto& [on, level, filtered] :
             {std::tuple{true, 10, false}, {false, 15, false}, {true, 15, true}}) {
            ASSERT_TRUE(MakeFormatFromFormat(format, 24, 24, 32, {on, level}, made));
            EXPECT_EQ(PixelsOf(made), PixelsOf(Expected(source, 24, level, filtered)))
                << "preference " << on << ", level " << level;
        }
    }
    EXPECT_FALSE(FormatCreationSwitch::IsOn());
    CKvIcon untouched = made;
    EXPECT_FALSE(MakeFormatFromImage(image, 0, 16, 32, made));
    EXPECT_FALSE(MakeFormatFromImage(image, 16, 16, 16, made));
    EXPECT_EQ(PixelsOf(made), PixelsOf(untouched));
}

TEST(MakeFormat, StrengthFollowsTheReductionRatio) {
    // 51 <= 256/5 on either side; 85 is not above 256/3; enlargements.
    const int cases[][5] = {{256, 256, 51, 200, 100}, {256, 256, 200, 51, 100}, {256, 256, 52, 52, 75},
                            {256, 256, 85, 85, 75},   {256, 256, 86, 86, 50},   {48, 48, 16, 16, 75},
                            {16, 16, 32, 32, 50}};
    for (const auto& c : cases) EXPECT_EQ(ResizeFilterStrength(c[0], c[1], c[2], c[3]), c[4]) << c[2] << "x" << c[3];
}

TEST(FormatEdit, TurnsAndFlipsRoundTripAndResizeKeepsTheFormatsKind) {
    const CDIB image = test::Attached(Disc(20, 20));
    for (const int bits : {32, 24, 8, 4, 1}) {
        CKvIcon icon;
        ASSERT_TRUE(MakeFormatFromImage(image, 20, 20, bits, icon));
        icon.SetCompressed(true);
        // The picture with its transparency (an indexed table may hold a colour twice, so the
        // indices themselves can differ).
        const std::vector<std::uint8_t> before = PixelsOf(icon);
        const auto same = [&] { return PixelsOf(icon) == before; };
        for (int i = 0; i < 4; ++i) ASSERT_TRUE(RotateFormat(icon, 90));
        EXPECT_TRUE(same()) << bits;
        ASSERT_TRUE(RotateFormat(icon, 90));
        EXPECT_FALSE(same()) << bits;
        ASSERT_TRUE(RotateFormat(icon, 270));
        EXPECT_TRUE(same()) << bits;
        ASSERT_TRUE(FlipFormat(icon, true));
        ASSERT_TRUE(FlipFormat(icon, false));
        ASSERT_TRUE(RotateFormat(icon, 180));
        EXPECT_TRUE(same()) << bits;
        // A free angle keeps the size and the depth; the corners of the turned square are clear.
        ASSERT_TRUE(RotateFormat(icon, 45));
        EXPECT_EQ(std::tuple(icon.Width(), icon.BitsPerPixel(), PixelOf(icon, 0, 0).masked, icon.IsCompressed()),
                  std::tuple(20u, bits, true, true));

        icon.SetPoint(10, 4);
        icon.SetMacElement({0x69633133, true});  // "ic13", read from a PNG stream
        ASSERT_TRUE(ResizeFormat(icon, 40, 30));
        EXPECT_EQ(icon.MacElement(), (CKvIcon::MacElementTag{0x69633133, true}));
        EXPECT_EQ(std::tuple(icon.Width(), icon.Height(), icon.BitsPerPixel(), icon.IsCompressed(), icon.PointX(),
                             icon.PointY()),
                  std::tuple(40u, 30u, bits, true, 20, 6));
        EXPECT_FALSE(ResizeFormat(icon, 0, 30));
        EXPECT_FALSE(ResizeFormat(icon, 4097, 30));
        EXPECT_EQ(icon.Width(), 40u);
    }
}

TEST(FormatEdit, FiltersKeepIndexedFormatsOnTheirOwnTable) {
    const CDIB image = test::Attached(Disc(24, 24));
    CKvIcon icon;
    ASSERT_TRUE(MakeFormatFromImage(image, 24, 24, 4, icon));
    // The 16-entry table and the AND mask; nothing when the block no longer fits its format.
    const auto tableAndMask = [&] {
        IconImageLayout l;
        if (!icon.GetLayout(l)) return std::pair<std::vector<std::uint8_t>, std::vector<std::uint8_t>>{};
        const std::uint8_t* b = icon.GetBlock().data();
        return std::pair{std::vector<std::uint8_t>(b + l.tableOffset, b + l.tableOffset + 64),
                         std::vector<std::uint8_t>(b + l.maskOffset, b + l.maskOffset + l.maskImageSize)};
    };
    const auto before = tableAndMask();
    ASSERT_FALSE(before.first.empty());
    ASSERT_TRUE(FilterFormat(icon, 3));
    ASSERT_TRUE(InvertFormat(icon));
    EXPECT_EQ(icon.BitsPerPixel(), 4);
    EXPECT_EQ(tableAndMask(), before);

    // An alpha format's alpha is blurred with its colours: the rim gets softer.
    CKvIcon alpha;
    ASSERT_TRUE(MakeFormatFromImage(image, 24, 24, 32, alpha));
    const auto sharp = PixelsOf(alpha);
    ASSERT_TRUE(BlurFormat(alpha, 2));
    const auto blurred = PixelsOf(alpha);
    int softer = 0;
    for (std::size_t i = 3; i < sharp.size(); i += 4) softer += sharp[i] == 0 && blurred[i] > 0;
    EXPECT_GT(softer, 0);
}

TEST(FormatEdit, AdjustmentsGoThroughTheTableOrThePixelsAndKeepAlpha) {
    const CDIB image = test::Attached(Disc(24, 24));
    ColorAdjustment invert;
    invert.invert = true;
    const ColorAdjuster adjuster(invert);
    for (const test::Depth depth : test::kDepths) {
        SCOPED_TRACE(depth.bits);
        CKvIcon icon;
        ASSERT_TRUE(MakeFormatFromImage(image, 24, 24, depth.bits, icon));
        icon.SetCompressed(depth.alpha);
        if (depth.alpha) {
            icon.EncodeStoredPng();
            ASSERT_FALSE(icon.UnchangedPng().empty());
        }
        IconImageLayout l;
        ASSERT_TRUE(icon.GetLayout(l));
        const std::vector<std::uint8_t> before(icon.GetBlock().data(), icon.GetBlock().data() + l.blockSize);
        const std::vector<std::uint8_t> shown = PixelsOf(icon);
        ASSERT_TRUE(AdjustFormat(icon, adjuster));
        const std::uint8_t* after = icon.GetBlock().data();
        // An indexed format's table is inverted (not its spare bytes); the mask never changes.
        for (std::size_t i = l.tableOffset; i < l.pixelOffset; ++i)
            ASSERT_EQ(after[i], (i - l.tableOffset) % 4 == 3 ? before[i] : 255 - before[i]) << i;
        EXPECT_TRUE(
            std::equal(before.begin() + static_cast<std::ptrdiff_t>(l.maskOffset), before.end(), after + l.maskOffset));
        // Every pixel shows its colour inverted and keeps its alpha, but an indexed pixel under the AND
        // mask keeps its colour (black stays transparent) where the new table has it.
        const auto inTable = [&](const std::uint8_t* colour) {
            for (std::size_t e = l.tableOffset; e < l.pixelOffset; e += 4)
                if (std::equal(colour, colour + 3, after + e)) return true;
            return false;
        };
        const std::vector<std::uint8_t> now = PixelsOf(icon);
        for (std::size_t i = 0; i < shown.size(); i += 4) {
            ASSERT_EQ(now[i + 3], shown[i + 3]) << i / 4;
            const bool masked = depth.bits <= 8 && shown[i + 3] == 0;
            if (masked && !inTable(&shown[i])) continue;
            for (std::size_t c = 0; c < 3; ++c)
                ASSERT_EQ(now[i + c], masked ? shown[i + c] : 255 - shown[i + c]) << i / 4;
        }
        // A PNG stream kept from before no longer stands for the pixels.
        EXPECT_TRUE(icon.UnchangedPng().empty());
    }
}

}  // namespace
}  // namespace tellurine
