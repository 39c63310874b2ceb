#include "formats/ico_file.h"
#include "formats/icon_project.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "formats/format_test_support.h"
#include "png_test_writer.h"
#include "image/bytes.h"
#include "image/dib_block.h"

namespace tellurine {
namespace {

using format_test::MakeIcon;
using format_test::PictureOf;

struct Depth {
    std::uint32_t colors;
    bool alpha;
    bool png;
    int bits;
};

std::vector<std::uint8_t> Write(CIconDoc& doc, bool explorer = false) {
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(WriteIconFile(doc, explorer, out));
    return out;
}

std::vector<std::uint8_t> BlockBytes(const CKvIcon& icon) {
    return {icon.GetBlock().data(), icon.GetBlock().data() + icon.GetBlock().size()};
}

const std::uint8_t* Entry(const std::vector<std::uint8_t>& file, int i) { return file.data() + 6 + 16 * i; }

// The name of a table row's test, from the row's own name.
constexpr auto RowName = [](const auto& p) { return std::string(p.param.name); };

// --- Round trips ---------------------------------------------------------------------------

struct RoundTrip {
    Depth depth;
    int width, height;
};
class IcoRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(IcoRoundTrip, WritesTheDirectoryAndReadsTheSameImageBack) {
    const auto [d, w, h] = GetParam();
    const CKvIcon icon = MakeIcon(w, h, d.colors, d.alpha, 7, d.png);
    const std::vector<std::uint8_t> file = format_test::IconFileOf({icon});

    // The header (reserved, type 1, one image); the entry: sides (256 as 0), colours, reserved,
    // planes, bits, byte count and offset; the image right after it.
    ASSERT_GE(file.size(), 22u);
    const std::uint8_t* e = Entry(file, 0);
    EXPECT_EQ(std::tuple(LoadU16(file.data()), LoadU16(file.data() + 2), LoadU16(file.data() + 4)),
              std::tuple(0, 1, 1));
    EXPECT_EQ(std::tuple(int{e[0]}, int{e[1]}, int{e[2]}, int{e[3]}, int{LoadU16(e + 4)}, int{LoadU16(e + 6)}),
              std::tuple(w & 0xFF, h & 0xFF, static_cast<int>(d.colors & 0xFF), 0, 1, d.bits));
    EXPECT_EQ(std::tuple(std::size_t{LoadU32(e + 8)}, LoadU32(e + 12), LoadU32(file.data() + 22)),
              std::tuple(file.size() - 22, 22u, d.png ? kPngSignature : kInfoHeaderSize));

    CIconDoc back;
    IconFileType type = IconFileType::Cursor;
    ASSERT_TRUE(ReadIconFile(file, back, &type));
    ASSERT_EQ(back.GetFormatCount(), 1);
    const CIconObject& f = *back.GetFormat(0);
    EXPECT_EQ(std::tuple(type, format_test::StoredFormatOf(f.Icon()), f.BitCount()),
              std::tuple(IconFileType::Icon, StoredImageFormat{w, h, d.colors, d.alpha, d.png}, d.bits));
    EXPECT_EQ(BlockBytes(f.Icon()), BlockBytes(icon));
}

std::vector<RoundTrip> RoundTrips() {
    const Depth depths[] = {{2, false, false, 1}, {16, false, false, 4}, {256, false, false, 8},
                            {0, false, false, 24}, {0, true, false, 32}, {0, true, true, 32}};
    const std::pair<int, int> sizes[] = {{16, 16}, {24, 32}, {48, 48}, {256, 256}};
    std::vector<RoundTrip> v;
    for (const Depth& d : depths)
        for (const auto& [w, h] : sizes) v.push_back({d, w, h});
    return v;
}

INSTANTIATE_TEST_SUITE_P(DepthsAndSizes, IcoRoundTrip, ::testing::ValuesIn(RoundTrips()),
                         [](const auto& p) {
                             const RoundTrip& r = p.param;
                             return std::to_string(r.depth.bits) + (r.depth.png ? "png_" : "bit_") +
                                    std::to_string(r.width) + "x" + std::to_string(r.height);
                         });

// Images follow the directory in the save order, each at its entry's offset, and equal formats
// keep their order; saving again, or saving what was read, gives the same bytes.
TEST(IcoWrite, ImagesFollowEachOtherInSortedOrderAndWhatCouldNotBeReadBackIsRefused) {
    // The last compares equal to the third.
    CIconDoc doc = format_test::DocOf({MakeIcon(32, 32, 0, true, 1, true), MakeIcon(16, 16, 2, false, 2),
                                       MakeIcon(48, 48, 256, false, 3), MakeIcon(16, 16, 0, false, 4),
                                       MakeIcon(48, 48, 256, false, 5)});
    const std::vector<std::uint8_t> file = Write(doc);
    ASSERT_EQ(LoadU16(file.data() + 4), 5);
    const int bits[] = {1, 8, 8, 24, 32};
    // The file is in the save order; the document keeps the order the user sees.
    const int documentIndex[] = {1, 2, 4, 3, 0};
    const int documentBits[] = {32, 1, 8, 24, 8};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(doc.GetFormat(i)->BitCount(), documentBits[i]);
    std::uint32_t offset = 6 + 5 * 16;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(LoadU16(Entry(file, i) + 6), bits[i]);
        EXPECT_EQ(LoadU32(Entry(file, i) + 12), offset);
        if (i < 4) {  // a bitmap image is its block
            const std::vector<std::uint8_t> block = BlockBytes(doc.GetFormat(documentIndex[i])->Icon());
            EXPECT_EQ(LoadU32(Entry(file, i) + 8), block.size());
            EXPECT_TRUE(std::equal(block.begin(), block.end(), file.begin() + offset)) << i;
        } else {
            EXPECT_EQ(LoadU32(Entry(file, i) + 8), file.size() - offset);
        }
        offset += LoadU32(Entry(file, i) + 8);
    }
    EXPECT_EQ(offset, file.size());
    EXPECT_EQ(Write(doc), file);
    CIconDoc back;
    ASSERT_TRUE(ReadIconFile(file, back));
    EXPECT_EQ(Write(back), file);

    // The explorer-compatible order puts the 32-bit format last and the rest by width.
    const std::vector<std::uint8_t> explorer = Write(doc, true);
    std::vector<std::pair<int, int>> widthAndBits;
    for (int i = 0; i < 5; ++i) widthAndBits.emplace_back(Entry(explorer, i)[0], LoadU16(Entry(explorer, i) + 6));
    EXPECT_EQ(widthAndBits, (std::vector<std::pair<int, int>>{{16, 1}, {16, 24}, {48, 8}, {48, 8}, {32, 32}}));

    // An empty document, or one with a format that has no image, writes nothing: the output left
    // from before is cleared each time.
    CIconDoc empty, withEmptyFormat;
    withEmptyFormat.AddFormat(MakeIcon(16, 16, 16, false, 1));
    withEmptyFormat.AddFormat(CKvIcon());
    for (const CIconDoc* refused : {&empty, &withEmptyFormat}) {
        std::vector<std::uint8_t> out{1, 2, 3};
        EXPECT_FALSE(WriteIconFile(*refused, false, out)) << refused->GetFormatCount() << " formats";
        EXPECT_TRUE(out.empty()) << refused->GetFormatCount() << " formats";
    }
}

// --- Reading what others write -------------------------------------------------------------

TEST(IcoRead, CursorLoadsAndSavesAsAnIcon) {
    CIconDoc doc = format_test::DocOf({MakeIcon(32, 32, 2, false, 3), MakeIcon(32, 32, 0, true, 4, true)});
    std::vector<std::uint8_t> file = Write(doc);
    StoreU16(file.data() + 2, 2);
    StoreU16(file.data() + 6 + 4, 9);   // hotspot x
    StoreU16(file.data() + 6 + 6, 13);  // hotspot y of the bitmap image: not a depth, not used
    StoreU16(file.data() + 22 + 4, 9);
    StoreU16(file.data() + 22 + 6, 0);  // hotspot y 0 of the PNG image: decoded at 32 bits

    CIconDoc cursor;
    IconFileType type = IconFileType::Icon;
    ASSERT_TRUE(ReadIconFile(file, cursor, &type));
    ASSERT_EQ(cursor.GetFormatCount(), 2);
    const CKvIcon& bitmap = cursor.GetFormat(0)->Icon();
    EXPECT_EQ(std::tuple(type, cursor.cursor, bitmap.BitsPerPixel(), bitmap.PointX(), bitmap.PointY()),
              std::tuple(IconFileType::Cursor, true, 1, 9, 13));
    EXPECT_EQ(std::tuple(cursor.GetFormat(1)->BitCount(), cursor.GetFormat(1)->HasAlpha()),
              std::tuple(32, true));

    // Saved as a cursor: type 2, the hotspots in the directory, the PNG image in bitmap form so
    // that its hotspot's y is never taken for a depth; it reads back the same.
    cursor.GetFormat(1)->Icon().SetPoint(31, 40);  // y outside the image: written as 0
    const std::vector<std::uint8_t> saved = Write(cursor);
    EXPECT_EQ(LoadU16(saved.data() + 2), 2);
    CIconDoc again;
    ASSERT_TRUE(ReadIconFile(saved, again));
    ASSERT_EQ(again.GetFormatCount(), 2);
    EXPECT_TRUE(again.cursor);
    for (int i = 0; i < 2; ++i) {
        const CKvIcon& before = cursor.GetFormat(i)->Icon();
        const CKvIcon& after = again.GetFormat(i)->Icon();
        EXPECT_EQ(std::tuple(after.IsCompressed(), after.BitsPerPixel(), after.PointX(), after.PointY()),
                  std::tuple(false, before.BitsPerPixel(), before.PointX(), i == 0 ? 13 : 0))
            << i;
        EXPECT_TRUE(std::ranges::equal(after.GetBlock().bytes(), before.GetBlock().bytes())) << i;
    }

    cursor.cursor = false;
    EXPECT_EQ(Write(cursor), Write(doc));  // as an icon: type 1, planes 1, the real bit counts

    // The hotspot's y is taken for the depth, whatever it means in a cursor, but a picture with
    // alpha between 0 and 255 keeps its 32 bits at any depth.
    StoreU16(file.data() + 22 + 6, 24);
    ASSERT_TRUE(ReadIconFile(file, cursor));
    EXPECT_EQ(cursor.GetFormat(1)->BitCount(), 32);
}

// --- PNG images under a directory depth -----------------------------------------------------

using png_test::Picture;
using png_test::PngOf;
using png_test::Rgba;

// What a viewer shows of a pixel: a clear pixel's colour is not seen.
Rgba Shown(Rgba p) { return p[3] == 0 ? Rgba{} : p; }

// An icon file of these images one after another, each directory entry holding `bitCount`.
std::vector<std::uint8_t> ImagesFile(const std::vector<std::vector<std::uint8_t>>& images, std::uint16_t bitCount) {
    std::vector<std::uint8_t> file(6 + 16 * images.size());
    StoreU16(file.data() + 2, 1);
    StoreU16(file.data() + 4, static_cast<std::uint16_t>(images.size()));
    for (std::size_t i = 0; i < images.size(); ++i) {
        std::uint8_t* e = file.data() + 6 + 16 * i;
        StoreU16(e + 4, 1);
        StoreU16(e + 6, bitCount);
        StoreU32(e + 8, static_cast<std::uint32_t>(images[i].size()));
        StoreU32(e + 12, static_cast<std::uint32_t>(file.size()));
        file.insert(file.end(), images[i].begin(), images[i].end());
    }
    return file;
}

struct PngUnderDepth {
    const char* name;
    int size;
    int type;                 // PNG colour type
    std::uint16_t entryBits;  // the directory's bit count
    int bits;                 // the depth the image opens at
    Rgba (*pixel)(int x, int y);
};

// Two colours over a clear background whose colour differs from both.
Rgba TwoColours(int x, int y) {
    if ((x / 16 + y / 16) % 3 == 0) return {7, 7, 7, 0};
    return x < y ? Rgba{200, 30, 10, 255} : Rgba{10, 40, 250, 255};
}
Rgba SeventeenColours(int x, int y) { return {static_cast<std::uint8_t>((x + y) % 17 * 15), 99, 1, 255}; }
Rgba HalfClear(int x, int y) { return x == 3 && y == 5 ? Rgba{1, 2, 3, 128} : TwoColours(x, y); }
Rgba Levels(int x, int y) {
    const auto v = static_cast<std::uint8_t>(x + y * 16);
    return {v, v, v, 255};
}
Rgba ClearLevels(int x, int y) {
    const Rgba p = Levels(x, y);
    return {p[0], p[1], p[2], static_cast<std::uint8_t>(y % 5 == 0 ? 0 : 255)};
}
Rgba ManyColours(int x, int y) {
    return {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(x ^ y), 255};
}
Rgba ManyColoursClear(int x, int y) {
    const Rgba p = ManyColours(x, y);
    return {p[0], p[1], p[2], static_cast<std::uint8_t>((x + y) % 7 == 0 ? 0 : 255)};
}

// (The image reader's tests take a two-colour picture through every depth, and a bit count of 0.)
const PngUnderDepth kPngsUnderDepths[] = {
    {"rgba_256px_two_colours_under_8", 256, 6, 8, 8, TwoColours},
    {"rgba_17_colours_under_4", 32, 6, 4, 32, SeventeenColours},
    {"rgba_one_half_clear_pixel_under_8", 32, 6, 8, 32, HalfClear},
    {"grey_256_levels_under_8", 16, 0, 8, 8, Levels},
    {"grey_alpha_clear_rows_under_8", 16, 4, 8, 8, ClearLevels},
    {"grey_256_levels_under_4", 16, 0, 4, 32, Levels},
    {"palette_with_transparency_under_4", 32, 3, 4, 4, TwoColours},
    {"rgb_under_24", 64, 2, 24, 24, ManyColours},
    {"rgba_clear_or_opaque_under_24", 64, 6, 24, 24, ManyColoursClear},
    {"rgba_many_colours_under_8", 64, 6, 8, 32, ManyColours},
    {"depth_500", 32, 6, 500, 32, TwoColours},
    {"depth_16", 32, 6, 16, 32, TwoColours},
    {"depth_2", 32, 6, 2, 32, TwoColours},
};

class IcoPngUnderDepth : public ::testing::TestWithParam<PngUnderDepth> {};

// A PNG keeps its entry's depth when its pixels fit it (alpha 0 or 255, few enough colours),
// else opens at 32 bits; either way it shows what the stream holds, and still does after a save.
TEST_P(IcoPngUnderDepth, KeepsTheDepthOnlyWhenThePixelsFit) {
    const PngUnderDepth& c = GetParam();
    Picture picture;
    for (int y = 0; y < c.size; ++y)
        for (int x = 0; x < c.size; ++x) picture.push_back(c.pixel(x, y));
    const std::vector<std::uint8_t> file = ImagesFile({PngOf(c.size, c.size, c.type, picture)}, c.entryBits);

    CIconDoc doc;
    ASSERT_TRUE(ReadIconFile(file, doc));
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(pass == 0 ? "read" : "saved and read again");
        ASSERT_EQ(doc.GetFormatCount(), 1);
        const CKvIcon& icon = doc.GetFormat(0)->Icon();
        EXPECT_EQ(std::tuple(doc.GetFormat(0)->BitCount(), icon.HasAlpha(), icon.IsCompressed()),
                  std::tuple(c.bits, c.bits == 32, true));
        const Picture shown = PictureOf(icon);
        ASSERT_EQ(shown.size(), picture.size());
        for (std::size_t i = 0; i < picture.size(); ++i)
            ASSERT_EQ(Shown(shown[i]), Shown(picture[i])) << "pixel " << i % c.size << "," << i / c.size;
        if (c.bits == 8 && (c.type == 0 || c.type == 4)) {  // grey: the grey ramp, levels as indices
            IconImageLayout l;
            ASSERT_TRUE(icon.GetLayout(l));
            const std::uint8_t* base = icon.GetBlock().data();
            for (std::uint32_t i = 0; i < 256; ++i) ASSERT_EQ(LoadU32(base + l.tableOffset + 4 * i), i * 0x010101u) << i;
            for (int y = 0; y < c.size; ++y)
                for (int x = 0; x < c.size; ++x)
                    if (c.pixel(x, y)[3] != 0) {
                        ASSERT_EQ(base[l.pixelOffset + l.colorStride * static_cast<std::size_t>(c.size - 1 - y) + x],
                                  c.pixel(x, y)[0]);
                    }
        }
        if (pass == 0) {
            const std::vector<std::uint8_t> saved = Write(doc);
            EXPECT_EQ(LoadU16(Entry(saved, 0) + 6), c.bits);
            EXPECT_EQ(LoadU32(saved.data() + 22), kPngSignature);
            ASSERT_TRUE(ReadIconFile(saved, doc));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, IcoPngUnderDepth, ::testing::ValuesIn(kPngsUnderDepths), RowName);

// --- Longer bitmap headers ---------------------------------------------------------------------

struct LongHeader {
    const char* name;
    std::uint32_t headerSize;
    std::uint32_t colors;
    bool alpha;
    std::uint32_t compression;  // 3: colour masks in the header
    std::uint32_t profileBytes; // a colour profile after the mask
    std::size_t cut;            // bytes taken off the end of the file
    bool reads;
};

const LongHeader kLongHeaders[] = {
    {"v4_4bit", 108, 16, false, 0, 0, 0, true},
    {"v4_32bit_colour_masks", 108, 0, true, 3, 0, 0, true},
    {"v5_8bit", 124, 256, false, 0, 0, 0, true},
    {"v5_1bit_with_profile", 124, 2, false, 0, 3000, 0, true},
    {"v5_32bit_colour_masks_with_profile", 124, 0, true, 3, 600, 0, true},
    {"v5_24bit_mask_cut_short", 124, 0, false, 0, 0, 8, true},
    {"header_of_56_bytes", 56, 16, false, 0, 0, 0, false},
    {"header_of_64_bytes", 64, 16, false, 0, 0, 0, false},
};

class IcoLongHeader : public ::testing::TestWithParam<LongHeader> {};

// A 108- or 124-byte header reads as the 40-byte one it begins with, and the image is written
// back with a 40-byte header.
TEST_P(IcoLongHeader, ReadsLikeThePlainHeaderAndSavesWithIt) {
    const LongHeader& c = GetParam();
    const CKvIcon plain = MakeIcon(24, 24, c.colors, c.alpha, 21);
    const std::vector<std::uint8_t> block = BlockBytes(plain);
    std::vector<std::uint8_t> image(c.headerSize, 0xEE);  // fields not read
    std::copy_n(block.begin(), kInfoHeaderSize, image.begin());
    StoreU32(image.data(), c.headerSize);
    StoreU32(image.data() + 16, c.compression);
    if (c.compression == 3) {  // red, green, blue and alpha masks, right after the first 40 bytes
        StoreU32(image.data() + 40, 0x00FF0000);
        StoreU32(image.data() + 44, 0x0000FF00);
        StoreU32(image.data() + 48, 0x000000FF);
        StoreU32(image.data() + 52, 0xFF000000);
    }
    image.insert(image.end(), block.begin() + kInfoHeaderSize, block.end());
    if (c.profileBytes != 0) {
        StoreU32(image.data() + 112, static_cast<std::uint32_t>(image.size()));  // profile data, from the header
        StoreU32(image.data() + 116, c.profileBytes);
        image.resize(image.size() + c.profileBytes, 0x5A);
    }
    std::vector<std::uint8_t> file = ImagesFile({image}, 0);
    file.resize(file.size() - c.cut);

    CIconDoc doc;
    ASSERT_EQ(ReadIconFile(file, doc), c.reads);
    if (!c.reads) return;
    std::vector<std::uint8_t> want = block;
    if (c.cut != 0) std::fill(want.end() - static_cast<std::ptrdiff_t>(c.cut), want.end(), 0);  // missing mask rows are opaque
    EXPECT_EQ(BlockBytes(doc.GetFormat(0)->Icon()), want);
    const std::vector<std::uint8_t> saved = Write(doc);
    EXPECT_EQ(LoadU32(saved.data() + 22), kInfoHeaderSize);
    EXPECT_EQ(std::vector<std::uint8_t>(saved.begin() + 22, saved.end()), want);
}

INSTANTIATE_TEST_SUITE_P(Headers, IcoLongHeader, ::testing::ValuesIn(kLongHeaders), RowName);

// --- Hostile input ---------------------------------------------------------------------------

struct Damage {
    const char* name;
    void (*apply)(std::vector<std::uint8_t>&);
};

const Damage kDamages[] = {
    {"type_3", [](auto& f) { StoreU16(f.data() + 2, 3); }},
    {"type_0", [](auto& f) { StoreU16(f.data() + 2, 0); }},
    {"count_0", [](auto& f) { StoreU16(f.data() + 4, 0); }},
    {"directory_past_the_end", [](auto& f) { StoreU16(f.data() + 4, 0xFFFF); }},
    {"offset_at_the_end", [](auto& f) { StoreU32(f.data() + 6 + 12, static_cast<std::uint32_t>(f.size())); }},
    {"offset_far_past_the_end", [](auto& f) { StoreU32(f.data() + 6 + 12, 0xFFFFFFFF); }},
    {"offset_into_the_directory", [](auto& f) { StoreU32(f.data() + 6 + 12, 6); }},
    // An image the image reader refuses fails the file, whatever the reason: a PNG stream's byte
    // count (the image reader's tests go through the ways a stream or a header is refused), a
    // bitmap's header.
    {"PNG_byte_count_0", [](auto& f) { StoreU32(f.data() + 22 + 8, 0); }},
    {"absurd_height", [](auto& f) { StoreU32(f.data() + 38 + 8, 0x40000000); }},
    {"large_but_in_limits", [](auto& f) { StoreU32(f.data() + 38 + 4, 4000); }},
};

class IcoHostile : public ::testing::TestWithParam<Damage> {};

TEST_P(IcoHostile, FailsAndLeavesTheDocumentEmpty) {
    // A bitmap image, then a PNG one that ends at the end of the file.
    std::vector<std::uint8_t> file =
        format_test::IconFileOf({MakeIcon(16, 16, 16, false, 1), MakeIcon(32, 32, 0, true, 2, true)});
    ASSERT_EQ(LoadU32(file.data() + 6 + 12), 38u);
    GetParam().apply(file);
    CIconDoc doc;
    doc.AddFormat(MakeIcon(16, 16, 2, false, 1));
    EXPECT_FALSE(ReadIconFile(file, doc));
    EXPECT_EQ(doc.GetFormatCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Damages, IcoHostile, ::testing::ValuesIn(kDamages), RowName);

// Every cut fails and leaves the document empty, except one inside the AND mask of a last image in
// bitmap form: icons whose last image has unpadded or no mask rows are common, and load with the
// missing bits opaque.
TEST(IcoHostileSweep, EveryTruncationFailsButInTheLastMask) {
    for (const bool pngLast : {false, true}) {
        // Equal formats keep their order.
        const std::vector<std::uint8_t> file =
            format_test::IconFileOf({MakeIcon(16, 16, 0, true, 1, !pngLast), MakeIcon(16, 16, 0, true, 2, pngLast)});
        const std::size_t maskStart = pngLast ? file.size() : file.size() - 16 * 4;
        for (std::size_t size = 0; size < file.size(); ++size) {
            CIconDoc doc = format_test::DocOf({MakeIcon(16, 16, 2, false, 1)});
            const bool read = ReadIconFile(std::span(file.data(), size), doc);
            ASSERT_EQ(read, size >= maskStart) << size;
            ASSERT_EQ(doc.GetFormatCount(), read ? 2 : 0);
            if (read) {
                const CKvIcon& last = doc.GetFormat(1)->Icon();
                IconImageLayout l;
                ASSERT_TRUE(last.GetLayout(l));
                EXPECT_EQ(last.GetBlock().data()[last.GetBlock().size() - 1], 0) << size;
            }
        }
    }
}

// A bitmap image takes its size and depth from its own header, whatever its directory entry says.
// Written without its mask (as some writers leave it out of 32-bit images), it ends where its entry
// says: the mask reads as opaque, not as the next image's bytes. A byte count too small for the
// colour pixels, or past the end, is a damaged entry, and the image is read whole.
TEST(IcoRead, BitmapImagesTakeTheirFormatFromTheirHeaderAndEndWhereTheirEntrySays) {
    const CKvIcon first = MakeIcon(16, 16, 0, true, 1), second = MakeIcon(16, 16, 0, true, 2);
    std::vector<std::uint8_t> image = format_test::ImageBytes(first);
    image.resize(image.size() - 16 * 4);
    const std::vector<std::uint8_t> next = format_test::ImageBytes(second);
    const auto maskLeftOut = static_cast<std::uint32_t>(image.size());
    for (const std::uint32_t count : {maskLeftOut, 0u, 1u, 40u, 0xFFFFFFFFu}) {
        // The entries' sizes (0, for 256) and bit count (8) are wrong.
        std::vector<std::uint8_t> file = ImagesFile({image, next}, 8);
        StoreU32(file.data() + 6 + 8, count);
        CIconDoc doc;
        ASSERT_TRUE(ReadIconFile(file, doc)) << count;
        std::vector<std::uint8_t> want = BlockBytes(first);
        if (count == maskLeftOut) std::fill(want.end() - 64, want.end(), 0);
        else std::copy_n(next.begin(), 64, want.end() - 64);
        EXPECT_EQ(BlockBytes(doc.GetFormat(0)->Icon()), want) << count;
        EXPECT_EQ(BlockBytes(doc.GetFormat(1)->Icon()), BlockBytes(second));
    }
}

// --- Files -----------------------------------------------------------------------------------

// A project saved to a file reads back in the save order; a failed save leaves the old file alone.
TEST(IcoFiles, SaveAndItsFailures) {
    const format_test::ScratchDir dir;
    const CIconDoc doc =
        format_test::DocOf({MakeIcon(48, 48, 0, true, 5), MakeIcon(256, 256, 0, true, 6, true)});
    const std::string path = (dir / "a.ico").string();
    std::string error;
    ASSERT_TRUE(SaveIconProject(path, doc, false, error)) << error;
    CIconDoc back;
    back.macintosh = true;
    ASSERT_TRUE(ReadIconFile(format_test::ReadBytes(path), back));
    EXPECT_FALSE(back.macintosh);
    ASSERT_EQ(back.GetFormatCount(), 2);
    // The file is in the save order, largest first.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(BlockBytes(back.GetFormat(i)->Icon()), BlockBytes(doc.GetFormat(1 - i)->Icon()));

    CIconDoc empty;
    error.clear();
    EXPECT_FALSE(SaveIconProject(path, empty, false, error));
    EXPECT_FALSE(error.empty());
    ASSERT_TRUE(ReadIconFile(format_test::ReadBytes(path), back));
    EXPECT_EQ(back.GetFormatCount(), 2);  // the old file is intact
}

}  // namespace
}  // namespace tellurine
