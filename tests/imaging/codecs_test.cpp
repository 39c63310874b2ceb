#include "imaging/codecs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include <zlib.h>

#include "png_test_writer.h"
#include "image/bytes.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::Px;
using test::SameBytes;
using test::TopDown;
using test::U8;

// Small PNG files in the variants icon files carry, written once by Pillow and ImageMagick (the
// interlaced one without its time and text chunks).
// PalettePng
const std::vector<std::uint8_t> kPalettePng = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00, 0x00, 0x03,
    0x00, 0x00, 0x00, 0x02, 0x04, 0x03, 0x00, 0x00, 0x00, 0x6F, 0x5A, 0x7B, 0x29, 0x00, 0x00, 0x00, 0x0F, 0x50, 0x4C, 0x54,
    0x45, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x2B, 0xF5, 0xBD, 0x2C,
    0x00, 0x00, 0x00, 0x03, 0x74, 0x52, 0x4E, 0x53, 0xFF, 0xFF, 0x00, 0xD7, 0xCA, 0x0D, 0x41, 0x00, 0x00, 0x00, 0x0E, 0x49,
    0x44, 0x41, 0x54, 0x78, 0x9C, 0x63, 0x60, 0x54, 0x60, 0x30, 0x61, 0x00, 0x00, 0x00, 0xF3, 0x00, 0x56, 0xA6, 0xCB, 0x36,
    0xB6, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82,
};
// Grey16Png
const std::vector<std::uint8_t> kGrey16Png = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00, 0x00, 0x02,
    0x00, 0x00, 0x00, 0x02, 0x10, 0x00, 0x00, 0x00, 0x00, 0x07, 0x4D, 0x8E, 0xBB, 0x00, 0x00, 0x00, 0x12, 0x49, 0x44, 0x41,
    0x54, 0x78, 0x9C, 0x63, 0x60, 0x60, 0xF8, 0xFF, 0x9F, 0xA1, 0xA1, 0x41, 0xC8, 0x04, 0x00, 0x10, 0xD5, 0x03, 0x45, 0x0B,
    0x85, 0x35, 0x5A, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82,
};
// InterlacedPng: 9 x 9 RGB, Adam7; pixel (x, y) = (28x mod 256, 28y mod 256, 3xy mod 256)
const std::vector<std::uint8_t> kInterlacedPng = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00, 0x00,
    0x09, 0x00, 0x00, 0x00, 0x09, 0x08, 0x02, 0x00, 0x00, 0x01, 0x18, 0xF4, 0xA1, 0xD1, 0x00, 0x00, 0x00, 0x04, 0x67,
    0x41, 0x4D, 0x41, 0x00, 0x00, 0xB1, 0x8F, 0x0B, 0xFC, 0x61, 0x05, 0x00, 0x00, 0x00, 0x20, 0x63, 0x48, 0x52, 0x4D,
    0x00, 0x00, 0x7A, 0x26, 0x00, 0x00, 0x80, 0x84, 0x00, 0x00, 0xFA, 0x00, 0x00, 0x00, 0x80, 0xE8, 0x00, 0x00, 0x75,
    0x30, 0x00, 0x00, 0xEA, 0x60, 0x00, 0x00, 0x3A, 0x98, 0x00, 0x00, 0x17, 0x70, 0x9C, 0xBA, 0x51, 0x3C, 0x00, 0x00,
    0x00, 0x06, 0x62, 0x4B, 0x47, 0x44, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0xA0, 0xBD, 0xA7, 0x93, 0x00, 0x00, 0x00,
    0x6E, 0x49, 0x44, 0x41, 0x54, 0x18, 0xD3, 0x6D, 0xC9, 0xB1, 0x09, 0x02, 0x31, 0x00, 0x85, 0xE1, 0x2F, 0x1A, 0x0E,
    0x84, 0x03, 0xE1, 0x40, 0x48, 0x71, 0x58, 0x5D, 0x65, 0x95, 0x32, 0x23, 0x38, 0x86, 0x23, 0x64, 0x2C, 0xC7, 0x70,
    0x94, 0x1B, 0xC5, 0x22, 0x18, 0x82, 0x0A, 0x1F, 0x3C, 0x7E, 0x1E, 0xEC, 0x44, 0x3B, 0x5E, 0x2A, 0x07, 0xFB, 0x23,
    0xA8, 0xAA, 0x5C, 0x65, 0x85, 0x27, 0x51, 0x4D, 0xE4, 0x36, 0xF7, 0xA0, 0x28, 0xE6, 0x2E, 0xAA, 0x48, 0x6C, 0x4D,
    0x58, 0x29, 0x1F, 0x51, 0x99, 0x98, 0x9B, 0x16, 0x0B, 0x89, 0xD4, 0xE3, 0xCA, 0x36, 0xC6, 0x2D, 0x58, 0xAD, 0x8E,
    0x7F, 0x45, 0x05, 0x13, 0xA7, 0x5F, 0xFD, 0x9B, 0x39, 0x7F, 0x19, 0xBF, 0x85, 0xCB, 0xE8, 0x0D, 0xD4, 0x1F, 0x10,
    0x81, 0x68, 0x06, 0xBF, 0x07, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82,
};

// Small pictures take the "up" filter alone, large ones every filter by row: each must undo. The
// alpha is kept to the byte (colour under alpha 0 too), or left out, and read back as opaque.
TEST(Png, RoundTripsKeepEveryByteOfAlphaAndEveryColourWithout) {
    std::vector<std::uint8_t> png, rgb;
    for (const int side : {7, 150}) {
        SCOPED_TRACE(side);
        const Block dib = test::MakeDib(side, side + 3, 32, [](int x, int stored) {
            return test::Px{U8(x * 37 + stored), U8(x ^ stored), U8(stored * 11), U8(x * 40)};
        });
        ASSERT_TRUE(EncodePng(dib, png, 6));
        ASSERT_TRUE(IsPngStream(png));
        std::int32_t w = 0, h = 0;
        ASSERT_TRUE(PngDimensions(png, w, h));
        EXPECT_EQ(std::pair(w, h), std::pair(side, side + 3));
        const Block back = DecodePng(png, 0);  // 0 means 32; the header is compared with the pixels
        EXPECT_TRUE(SameBytes(back, dib));

        ASSERT_TRUE(EncodePng(dib, rgb, 6, PngChannels::Rgb));
        EXPECT_EQ(rgb.at(25), 2);  // the header's colour type: RGB
        // The RGB stream read at 32 bits, and the RGBA one at 24: alpha dropped, colour kept.
        for (const int bits : {32, 24}) {
            const Block opaque = test::MakeDib(side, side + 3, bits, [&](int x, int stored) {
                test::Px p = test::At(dib, x, stored);
                p[3] = 255;
                return p;
            });
            EXPECT_TRUE(SameBytes(DecodePng(bits == 32 ? rgb : png, bits), opaque)) << bits;
        }
    }
    EXPECT_FALSE(EncodePng(CreateDibBlock(2, 2, 24), png));
}

TEST(Png, PalettesGreyAndInterlacingDecodeToTheStoredValuesAtEveryDepth) {
    Block p = DecodePng(kPalettePng, 32);
    ASSERT_EQ(DibWidth(p), 3);
    EXPECT_EQ(TopDown(p, 0, 0), (Px{0, 0, 255, 255}));
    EXPECT_EQ(TopDown(p, 2, 0), (Px{255, 0, 0, 0}));  // the transparent palette entry
    EXPECT_EQ(TopDown(p, 0, 1), (Px{255, 255, 255, 255}));

    Block g = DecodePng(kGrey16Png, 32);
    EXPECT_EQ(TopDown(g, 1, 0), (Px{255, 255, 255, 255}));
    EXPECT_EQ(TopDown(g, 0, 1), (Px{128, 128, 128, 255}));  // 16 bits cut to their high byte

    Block i = DecodePng(kInterlacedPng, 32);
    ASSERT_EQ(DibWidth(i), 9);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x)
            ASSERT_EQ(TopDown(i, x, y), (Px{U8(3 * x * y), U8(28 * y), U8(28 * x), 255})) << x << "," << y;
    // At indexed depths, few colours are kept exactly.
    for (int depth : {1, 4, 8}) {
        Block b = DecodePng(kPalettePng, depth);
        ASSERT_EQ(DibBitCount(b), depth);
        const Palette pal = CreateDibPalette(b);
        if (depth == 1) {
            EXPECT_EQ(pal.size(), 2u);  // five colours into two: no exact colours to check
            continue;
        }
        for (const auto& [x, y, colour] : {std::tuple{0, 0, PaletteEntry{255, 0, 0, 0}},
                                           {1, 0, PaletteEntry{0, 255, 0, 0}}, {1, 1, PaletteEntry{}}})
            EXPECT_EQ(pal.entries[test::GetIndex(b, x, y)], colour) << depth << " at " << x << "," << y;
    }
}

using png_test::Assemble;
using png_test::ChunksOf;

// The same stream with its image data cut into IDAT chunks of `piece` bytes.
std::vector<std::uint8_t> Rechunked(const std::vector<std::uint8_t>& png, std::size_t piece) {
    std::vector<png_test::Chunk> out;
    std::vector<std::uint8_t> data;
    for (const auto& chunk : ChunksOf(png)) {
        if (chunk.first == "IDAT") {
            data.insert(data.end(), chunk.second.begin(), chunk.second.end());
            continue;
        }
        if (chunk.first == "IEND")
            for (std::size_t i = 0; i < data.size(); i += piece)
                out.emplace_back("IDAT", std::vector<std::uint8_t>(data.begin() + i,
                                                                   data.begin() + std::min(data.size(), i + piece)));
        out.push_back(chunk);
    }
    return Assemble(out);
}

void ExpectBothDecoders(const std::vector<std::uint8_t>& png, const Block& expected) {
    const Block fast = DecodePng(png, 32, PngDecoder::Automatic);
    const Block reference = DecodePng(png, 32, PngDecoder::Libpng);
    ASSERT_FALSE(fast.empty());
    EXPECT_TRUE(SameBytes(fast, reference));
    EXPECT_TRUE(SameBytes(fast, expected));
}

// The short path for plain RGBA streams must give exactly libpng's bitmap: over every row filter
// (a picture large enough for adaptive filtering, so all five occur), with the data in one IDAT
// chunk or many, and on damaged streams, where it must step aside rather than decide. The intact
// check agrees with it. Noise does not compress: its stream outgrows one IDAT chunk and is cut
// into several, which both decoders put together again; it is large enough (and of an odd
// height) for the short path to inflate it inside its own block and turn its rows there.
TEST(Png, PlainRgbaShortPathMatchesLibpng) {
    // Both ways of checking a stream give the same answer.
    const auto IsIntact = [](std::span<const std::uint8_t> png) {
        const bool whole = IsIntactPlainRgbaPng(png, PngCheckMemory::ReusedBuffer);
        EXPECT_EQ(whole, IsIntactPlainRgbaPng(png, PngCheckMemory::SmallWindow));
        return whole;
    };
    Block filtered = test::MakeDib(203, 181, 32, [](int x, int stored) {
        const int y = 180 - stored;
        return test::Px{U8(x * y), U8(x ^ y), U8((x * 7 + y * 3) & 0xF0), U8(255 - y)};
    });
    Block noise = CreateDibBlock(1024, 601, 32);
    std::uint32_t seed = 12345;
    for (std::size_t i = 40; i < noise.size(); ++i) {
        seed = seed * 1103515245u + 12345u;
        noise.data()[i] = static_cast<std::uint8_t>(seed >> 23);
    }
    for (const auto& [dib, level, idatsAtLeast] :
         {std::tuple{&filtered, 1, 1}, {&filtered, 12, 1}, {&noise, 1, 2}}) {
        SCOPED_TRACE(testing::Message() << DibWidth(*dib) << " wide at level " << level);
        std::vector<std::uint8_t> png;
        ASSERT_TRUE(EncodePng(*dib, png, level));
        int idats = 0;
        for (const auto& chunk : ChunksOf(png)) idats += chunk.first == "IDAT";
        EXPECT_GE(idats, idatsAtLeast);
        ExpectBothDecoders(png, *dib);
        const std::vector<std::uint8_t> pieces = Rechunked(png, 997);
        ExpectBothDecoders(pieces, *dib);
        EXPECT_TRUE(IsIntact(png));
        EXPECT_TRUE(IsIntact(pieces));

        // Damage the compressed data and mend the chunk's CRC: neither decoder may accept it.
        auto chunks = ChunksOf(png);
        for (auto& [type, data] : chunks)
            if (type == "IDAT") data[data.size() / 2] ^= 0x5A;
        const std::vector<std::uint8_t> damaged = Assemble(chunks);
        EXPECT_EQ(DecodePng(damaged, 32).empty(), DecodePng(damaged, 32, PngDecoder::Libpng).empty());
        EXPECT_FALSE(IsIntact(damaged));

        // Bytes after the end of the zlib stream: libpng decides, and the stream is not intact.
        chunks = ChunksOf(png);
        chunks.insert(chunks.end() - 1, {"IDAT", {0, 0, 0}});
        const std::vector<std::uint8_t> trailing = Assemble(chunks);
        EXPECT_FALSE(IsIntact(trailing));
        EXPECT_EQ(DecodePng(trailing, 32).empty(), DecodePng(trailing, 32, PngDecoder::Libpng).empty());

        std::vector<std::uint8_t> badCrc = png;
        badCrc[badCrc.size() - 20] ^= 1;  // inside the last IDAT chunk
        EXPECT_FALSE(IsIntact(badCrc));
    }
    EXPECT_FALSE(IsIntact(kPalettePng));
    EXPECT_FALSE(IsIntact(kInterlacedPng));
}

TEST(Png, DamagedOrLyingStreamsAreRefused) {
    EXPECT_TRUE(DecodePng({}, 32).empty());
    EXPECT_TRUE(DecodePng(kPalettePng, 16).empty());  // no such depth
    std::vector<std::uint8_t> truncated(kPalettePng.begin(), kPalettePng.end() - 20);
    EXPECT_TRUE(DecodePng(truncated, 32).empty());
    std::vector<std::uint8_t> badCrc = kPalettePng;
    badCrc[30] ^= 0x55;  // inside the IHDR chunk's CRC-protected bytes
    EXPECT_TRUE(DecodePng(badCrc, 32).empty());

    // A header promising 20000 x 20000 pixels over a few bytes of data is refused before any
    // allocation; the IHDR CRC is made right so that only the size is wrong.
    std::vector<std::uint8_t> lying = kInterlacedPng;
    StoreBE32(lying.data() + 16, 20000);  // width
    StoreBE32(lying.data() + 20, 20000);  // height
    lying[28] = 0;                        // not interlaced
    StoreBE32(lying.data() + 29, static_cast<std::uint32_t>(crc32(0, lying.data() + 12, 17)));
    std::int32_t w = 0, h = 0;
    ASSERT_TRUE(PngDimensions(lying, w, h));
    EXPECT_EQ(w, 20000);
    EXPECT_TRUE(DecodePng(lying, 32).empty());
    EXPECT_FALSE(IsPngStream(std::vector<std::uint8_t>{0x89, 'P', 'N', 'G'}));

    // A row whose filter type is past the five there are.
    std::vector<std::uint8_t> ours;
    ASSERT_TRUE(EncodePng(test::MakeDib(3, 2, 32, [](int x, int) { return test::Px{U8(x), 1, 9, 255}; }), ours, 6));
    auto chunks = ChunksOf(ours);
    for (auto& [type, data] : chunks) {
        if (type != "IDAT") continue;
        std::vector<std::uint8_t> rows(2 * (1 + 3 * 4));
        uLongf size = static_cast<uLongf>(rows.size());
        ASSERT_EQ(uncompress(rows.data(), &size, data.data(), static_cast<uLong>(data.size())), Z_OK);
        rows[1 + 3 * 4] = 5;  // the second row's filter
        data.resize(compressBound(size));
        uLongf packed = static_cast<uLongf>(data.size());
        ASSERT_EQ(compress(data.data(), &packed, rows.data(), size), Z_OK);
        data.resize(packed);
    }
    EXPECT_TRUE(DecodePng(Assemble(chunks), 32).empty());
}

}  // namespace
}  // namespace tellurine
