#include "imaging/jpeg2000.h"

#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "image/bytes.h"
#include "image/dib_block.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::U8;

// The fixtures' 8-bit values at (x, y): colour c (0 red, 1 green, 2 blue, 3 alpha) of the colour
// ones, and the grey ones' grey (c = 0) and alpha (c = 3).
int ExpectedSample(int x, int y, int c) {
    const int v = 20 + 60 * x + 110 * y;
    switch (c) {
        case 0: return v;
        case 1: return 255 - v;
        case 2: return v / 2;
        default: return 90 + 30 * x + 60 * y;
    }
}

// A 3 x 2 stream of the component layouts decoders meet, written by OpenJPEG itself: grey, grey
// and alpha, RGB or RGBA samples of `depth` bits, as a JP2 file or a bare codestream. Deeper
// samples hold ExpectedSample's values in their high byte over low bits to be dropped; 4-bit
// ones hold 2 (x + 3y) + 1.
std::vector<std::uint8_t> LibraryStream(int components, int depth, bool jp2) {
    opj_image_cmptparm_t parts[4] = {};
    for (opj_image_cmptparm_t& part : parts) {
        part.dx = part.dy = 1;
        part.w = 3;
        part.h = 2;
        part.prec = static_cast<OPJ_UINT32>(depth);
    }
    opj_image_t* image = opj_image_create(static_cast<OPJ_UINT32>(components), parts,
                                          components < 3 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
    image->x1 = 3;
    image->y1 = 2;
    image->comps[components - 1].alpha = components == 4;  // channel definitions for RGBA only
    for (int c = 0; c < components; ++c)
        for (int i = 0; i < 6; ++i) {
            const int sample = ExpectedSample(i % 3, i / 3, components == 2 && c == 1 ? 3 : c);
            image->comps[c].data[i] = depth == 4 ? 2 * i + 1 : (sample << (depth - 8)) | (depth > 8 ? i : 0);
        }
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.numresolution = 2;
    opj_codec_t* codec = opj_create_compress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
    const std::string path = testing::TempDir() + "jpeg2000_fixture_" + std::to_string(components * 100 + depth);
    opj_stream_t* stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE);
    EXPECT_TRUE(opj_setup_encoder(codec, &parameters, image) && opj_start_compress(codec, image, stream) &&
                opj_encode(codec, stream) && opj_end_compress(codec, stream));
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// An icon-like 32-bit picture: gradients, alpha running through every value, and colour kept
// under fully transparent pixels.
Block MakePicture(std::int32_t w, std::int32_t h) {
    return test::MakeDib(w, h, 32, [&](int x, int y) {
        return test::Px{U8(x * 255 / w), U8(y * 255 / h), U8((x + y) * 3), U8(x * y + x)};
    });
}

// True when top-down BGRA rows hold exactly the bitmap's bottom-up rows.
bool SamePixels(const Block& dib, const Block& bgra) {
    const int w = DibWidth(dib), h = DibHeight(dib);
    return bgra.size() >= static_cast<std::size_t>(w) * h * 4 &&
           test::SameBytes(dib, test::MakeDib(w, h, 32, [&](int x, int stored) {
               const std::uint8_t* p = bgra.data() + (static_cast<std::size_t>(h - 1 - stored) * w + x) * 4;
               return test::Px{p[0], p[1], p[2], p[3]};
           }));
}

// Offset of the contents of the first top-level box of a JP2 file with the given type.
std::size_t BoxContents(const std::vector<std::uint8_t>& jp2, std::string_view type) {
    for (std::size_t pos = 0; pos + 8 <= jp2.size(); pos += LoadBE32(jp2.data() + pos))
        if (std::memcmp(jp2.data() + pos + 4, type.data(), 4) == 0) return pos + 8;
    return 0;
}

bool Contains(const std::vector<std::uint8_t>& bytes, std::string_view text) {
    return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

// The icon sizes, then sides that differ (width and height swapped would show) and sides under
// 32 pixels, too short for the usual number of resolution levels.
TEST(Jpeg2000, PicturesRoundTripExactlyAsJp2AndAsBareCodestream) {
    for (auto [width, height] :
         {std::pair{256, 256}, std::pair{512, 512}, std::pair{300, 130}, std::pair{7, 3}, std::pair{1, 1}}) {
        const Block dib = MakePicture(width, height);
        std::vector<std::uint8_t> jp2;
        ASSERT_TRUE(EncodeJpeg2000(dib, jp2, "Korvane")) << width;
        EXPECT_TRUE(IsJpeg2000Stream(jp2));
        EXPECT_TRUE(Contains(jp2, "Korvane"));
        const std::size_t at = BoxContents(jp2, "jp2c");
        ASSERT_NE(at, 0u);
        // The header boxes before the codestream hold the channel definitions that mark alpha.
        EXPECT_TRUE(Contains({jp2.begin(), jp2.begin() + static_cast<std::ptrdiff_t>(at)}, "cdef"));
        // The codestream box's contents alone are a bare codestream.
        const std::vector<std::uint8_t> codestream(
            jp2.begin() + static_cast<std::ptrdiff_t>(at),
            jp2.begin() + static_cast<std::ptrdiff_t>(at - 8 + LoadBE32(jp2.data() + at - 8)));
        EXPECT_TRUE(IsJpeg2000Stream(codestream));

        for (const std::vector<std::uint8_t>* stream : {&std::as_const(jp2), &codestream}) {
            std::int32_t w = 0, h = 0, decodedW = 0, decodedH = 0;
            Block bgra;
            ASSERT_TRUE(Jpeg2000Dimensions(*stream, w, h));
            ASSERT_TRUE(DecodeJpeg2000ToBgra(*stream, decodedW, decodedH, bgra, std::int64_t{width} * height));
            EXPECT_EQ(std::tuple(w, h, decodedW, decodedH), std::tuple(width, height, width, height));
            EXPECT_TRUE(SamePixels(dib, bgra)) << width << " x " << height;
        }
    }
}

TEST(Jpeg2000, GreyAlphaDeepAndShallowStreamsDecodeToEightBitBgra) {
    struct Case {
        int components, depth;
        bool jp2;
    };
    for (const Case& c : {Case{1, 8, true}, {2, 8, true}, {3, 8, false}, {1, 16, false}, {4, 16, true},
                          {3, 12, false}, {1, 4, false}}) {
        SCOPED_TRACE(testing::Message() << c.components << " components of " << c.depth << " bits");
        const bool colour = c.components >= 3, alpha = c.components % 2 == 0;
        std::int32_t w = 0, h = 0;
        Block bgra;
        const std::vector<std::uint8_t> stream = LibraryStream(c.components, c.depth, c.jp2);
        ASSERT_TRUE(DecodeJpeg2000ToBgra(stream, w, h, bgra, 6));
        ASSERT_EQ(w, 3);
        ASSERT_EQ(h, 2);
        // Decoded whole for looking at, without the image library: the same pixels.
        Block looked;
        ASSERT_TRUE(DecodeJpeg2000Reduced(stream, 2, w, h, looked, 6));
        EXPECT_TRUE(test::SameBytes(looked, bgra));
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x) {
                const std::uint8_t* p = bgra.data() + (y * 3 + x) * 4;
                // 4-bit samples are stretched so that 15 would be 255.
                const int grey = c.depth == 4 ? (2 * (x + 3 * y) + 1) * 17 : ExpectedSample(x, y, 0);
                const test::Px want{U8(colour ? ExpectedSample(x, y, 2) : grey), U8(colour ? ExpectedSample(x, y, 1) : grey),
                                    U8(grey), U8(alpha ? ExpectedSample(x, y, 3) : 255)};
                EXPECT_EQ((test::Px{p[0], p[1], p[2], p[3]}), want) << " at " << x << "," << y;
            }
        // One level dropped gives 2 x 1 pixels of the same layout: grey stays grey, no alpha stays
        // opaque.
        ASSERT_TRUE(DecodeJpeg2000Reduced(stream, 1, w, h, bgra, 6));
        EXPECT_EQ(std::pair(w, h), std::pair(2, 1));
        for (const std::uint8_t* p = bgra.data(); p < bgra.data() + 8; p += 4) {
            EXPECT_TRUE(colour || (p[0] == p[1] && p[1] == p[2]));
            EXPECT_TRUE(alpha || p[3] == 255);
        }
    }
}

// A picture only looked at comes from the coarsest level that still reaches the size asked (at
// most five dropped), close to the picture shrunk by averages; one that no level can reach is the
// whole picture, exactly.
TEST(Jpeg2000, ReducedDecodesStopAtTheSizeAsked) {
    struct Case {
        int width, height, atLeast, decodedWidth, decodedHeight;
    };
    for (const Case& c : {Case{256, 256, 64, 64, 64}, {256, 256, 65, 128, 128}, {256, 256, 1, 8, 8},
                          {300, 130, 40, 150, 65}, {256, 256, 300, 256, 256}}) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " at least " << c.atLeast);
        const Block dib = MakePicture(c.width, c.height);
        std::vector<std::uint8_t> jp2;
        ASSERT_TRUE(EncodeJpeg2000(dib, jp2, nullptr));
        std::int32_t w = 0, h = 0;
        Block bgra;
        ASSERT_TRUE(DecodeJpeg2000Reduced(jp2, c.atLeast, w, h, bgra, std::int64_t{c.width} * c.height));
        ASSERT_EQ(std::pair(w, h), std::pair(c.decodedWidth, c.decodedHeight));
        // Code blocks shared among threads give the same pixels.
        SetReducedDecodeThreads(2);
        Block threaded;
        EXPECT_TRUE(DecodeJpeg2000Reduced(jp2, c.atLeast, w, h, threaded, std::int64_t{c.width} * c.height) &&
                    std::ranges::equal(threaded.bytes(), bgra.bytes()));
        SetReducedDecodeThreads(1);
        if (w == c.width) {
            EXPECT_TRUE(SamePixels(dib, bgra));
            continue;
        }
        // The blue and green ramps (the other channels wrap around): a pixel of the lower level
        // stands where the first pixel of its block does.
        const int block = c.width / w;
        double difference = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int channel = 0; channel < 2; ++channel) {
                    difference += std::abs(test::TopDown(dib, x * block, y * block)[channel] -
                                           bgra.data()[(static_cast<std::size_t>(y) * w + x) * 4 + channel]);
                }
        EXPECT_LT(difference / (2.0 * w * h), 3.0);
    }
}

TEST(Jpeg2000, DamagedStreamsAreRefused) {
    std::vector<std::uint8_t> jp2;
    ASSERT_TRUE(EncodeJpeg2000(MakePicture(64, 48), jp2, "Korvane"));
    const std::size_t codestream = BoxContents(jp2, "jp2c");
    ASSERT_NE(codestream, 0u);

    std::int32_t w = -1, h = -1;
    Block bgra;
    // Refused by the whole decode, and as the whole decode refuses it by one that drops levels.
    auto refused = [&](const std::vector<std::uint8_t>& bytes) {
        return !DecodeJpeg2000ToBgra(bytes, w, h, bgra, 1 << 20) &&
               !DecodeJpeg2000Reduced(bytes, 8, w, h, bgra, 1 << 20) && w == -1 && h == -1 && bgra.empty();
    };
    EXPECT_TRUE(refused({}));
    for (std::size_t cut = 1; cut < jp2.size(); cut += cut < 200 ? 7 : 97)
        EXPECT_TRUE(
            refused(std::vector<std::uint8_t>(jp2.begin(), jp2.begin() + static_cast<std::ptrdiff_t>(cut))))
            << cut;

    // Damage that the headers show.
    auto damaged = [&](std::size_t at, std::uint8_t value) {
        std::vector<std::uint8_t> d = jp2;
        d[at] = value;
        return d;
    };
    const std::size_t imageHeader = BoxContents(jp2, "jp2h") + 8;
    EXPECT_TRUE(refused(damaged(imageHeader - 14, 0xFF)));  // header box longer than the file
    std::int32_t headerWidth = 0, headerHeight = 0;
    EXPECT_FALSE(Jpeg2000Dimensions(damaged(imageHeader - 14, 0xFF), headerWidth, headerHeight));
    EXPECT_TRUE(refused(damaged(imageHeader + 9, 3)));    // 3 components in the file header, 4 coded
    EXPECT_TRUE(refused(damaged(codestream + 1, 0x50)));  // no start-of-codestream marker
    EXPECT_TRUE(refused(damaged(codestream + 41, 3)));    // 3 components in a size marker sized for 4
    EXPECT_TRUE(refused(damaged(codestream + 45, 15)));   // the second component of 16 bits
    EXPECT_TRUE(refused(damaged(codestream + 46, 2)));    // the second component subsampled
    EXPECT_TRUE(refused(damaged(codestream + 11, 47)));   // the codestream 47 wide, the file 64

    // Damage inside the coded data may go unseen; it must never crash or change the size.
    for (std::size_t at = codestream + 60; at < jp2.size(); at += 37) {
        if (DecodeJpeg2000ToBgra(damaged(at, static_cast<std::uint8_t>(jp2[at] ^ 0xA5)), w, h, bgra,
                                 1 << 20)) {
            EXPECT_EQ(w, 64);
            EXPECT_EQ(h, 48);
            EXPECT_EQ(bgra.size(), 64u * 48 * 4);
        }
    }
}

TEST(Jpeg2000, SizeLimitsRefuseBeforeDecoding) {
    std::vector<std::uint8_t> jp2;
    ASSERT_TRUE(EncodeJpeg2000(MakePicture(40, 30), jp2, "Korvane"));
    std::int32_t w = 0, h = 0;
    Block bgra;
    EXPECT_FALSE(DecodeJpeg2000ToBgra(jp2, w, h, bgra, 40 * 30 - 1));
    EXPECT_TRUE(bgra.empty());
    EXPECT_TRUE(DecodeJpeg2000ToBgra(jp2, w, h, bgra, 40 * 30));

    // The file and codestream headers both claiming 30000 x 30000.
    const std::size_t header = BoxContents(jp2, "jp2h") + 8;  // the image header box's contents
    const std::size_t siz = BoxContents(jp2, "jp2c") + 4;     // the size marker's length field
    std::vector<std::uint8_t> huge = jp2;
    for (std::size_t at : {header, header + 4, siz + 4, siz + 8}) StoreBE32(huge.data() + at, 30000);
    ASSERT_TRUE(Jpeg2000Dimensions(huge, w, h));
    EXPECT_EQ(w, 30000);
    EXPECT_FALSE(DecodeJpeg2000ToBgra(huge, w, h, bgra, std::int64_t{1} << 40));  // over the allocation limit
    EXPECT_FALSE(DecodeJpeg2000ToBgra(huge, w, h, bgra, std::int64_t{4096} * 4096));
    StoreBE32(huge.data() + header, 40000);
    EXPECT_FALSE(Jpeg2000Dimensions(huge, w, h));
    // Only the codestream claiming it, inside a file that says 40 x 30.
    huge = jp2;
    for (std::size_t at : {siz + 4, siz + 8}) StoreBE32(huge.data() + at, 30000);
    EXPECT_FALSE(DecodeJpeg2000ToBgra(huge, w, h, bgra, 1 << 20));

    // Tiles of 1 x 1: 4,800 of them.
    ASSERT_TRUE(EncodeJpeg2000(MakePicture(80, 60), jp2, "Korvane"));
    const std::size_t tileSize = BoxContents(jp2, "jp2c") + 24;
    StoreBE32(jp2.data() + tileSize, 1);
    StoreBE32(jp2.data() + tileSize + 4, 1);
    EXPECT_FALSE(DecodeJpeg2000ToBgra(jp2, w, h, bgra, 1 << 20));
}

TEST(Jpeg2000, EncoderRefusesWhatItCannotWrite) {
    std::vector<std::uint8_t> out = {1, 2, 3};
    EXPECT_FALSE(EncodeJpeg2000(CreateDibBlock(4, 4, 24), out, "Korvane"));
    EXPECT_TRUE(out.empty());
    // A comment marker's length field holds 65,535 at most.
    out = {1};
    EXPECT_FALSE(EncodeJpeg2000(MakePicture(4, 4), out, std::string(65532, 'k').c_str()));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(EncodeJpeg2000(MakePicture(4, 4), out, std::string(65531, 'k').c_str()));
}

}  // namespace
}  // namespace tellurine
