#include "formats/icon_thumbnail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/pe_test_writer.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"
#include "imaging/jpeg2000.h"
#include "imaging/resample.h"

namespace tellurine {
namespace {

using format_test::Icon32;
using format_test::ImageBytes;
using format_test::PictureOf;
using format_test::Rgba;

TEST(IconThumbnail, ChoosesTheSmallestFormatReachingTheSizeElseTheLargestThenTheDeepest) {
    const std::vector<ThumbnailCandidate> icon{{16, 16, 32}, {32, 32, 32}, {48, 48, 32}, {256, 256, 32}};
    struct Case {
        std::vector<ThumbnailCandidate> formats;
        int size;
        int chosen;
    };
    const Case cases[] = {
        {{}, 32, -1},
        {icon, 32, 1},
        {icon, 40, 2},
        {icon, 8, 0},
        {icon, 300, 3},
        {{{32, 32, 4}, {32, 32, 32}, {32, 32, 8}}, 32, 1},     // the deepest of one size
        {{{16, 16, 32}, {32, 32, 4}}, 24, 1},                  // reaching the size before depth
        {{{48, 48, 32}, {256, 256, 8}}, 300, 1},               // the largest when none reaches it
        {{{16, 16, 8}, {16, 16, 32}}, 64, 1},                  // ... and the deepest of those
        {{{64, 32, 32}, {48, 48, 32}}, 56, 0},                 // measured by the longest side
        {{{32, 32, 32}, {32, 32, 32}}, 32, 0},                 // the first of equals
    };
    for (const Case& c : cases)
        EXPECT_EQ(ChooseThumbnailFormat(c.formats, c.size), c.chosen) << c.size << " of " << c.formats.size();
}

TEST(IconThumbnail, FitsTheSquareKeepingTheAspectAndNeverEnlarges) {
    struct Case {
        std::int32_t width, height;
        int size;
        std::int32_t fitWidth, fitHeight;
    };
    const Case cases[] = {
        {256, 256, 128, 128, 128}, {16, 16, 128, 16, 16}, {256, 128, 128, 128, 64},
        {100, 300, 128, 43, 128},  {1000, 3, 100, 100, 1},
    };
    for (const Case& c : cases) {
        const ThumbnailDimensions fit = FitThumbnail(c.width, c.height, c.size);
        EXPECT_EQ(std::pair(fit.width, fit.height), std::pair(c.fitWidth, c.fitHeight)) << c.width << "x" << c.height;
    }
}

CKvIcon Plain(int size, Rgba colour) {
    return Icon32(size, size, [&](int, int) { return colour; });
}

constexpr Rgba kRed{255, 0, 0, 255}, kGreen{0, 255, 0, 255}, kBlue{0, 0, 255, 255};

// The picture made, its size and the colour at its centre.
struct Made {
    std::int32_t width = 0, height = 0;
    Rgba centre{};
    std::vector<Rgba> pixels{};  // not compared: the size and the centre are
    bool operator==(const Made& o) const { return std::tie(width, height, centre) == std::tie(o.width, o.height, o.centre); }
};
Made Thumbnail(const std::string& name, const std::vector<std::uint8_t>& bytes, int size) {
    std::vector<std::uint8_t> png;
    std::string error;
    EXPECT_TRUE(MakeIconThumbnail(name, bytes, size, png, error)) << name << ": " << error;
    const Block picture = DecodePng(png, 32);
    const auto layout = GetDibLayout(picture);
    if (!layout) return {};
    const std::vector<Rgba> pixels = PictureOf(picture);
    return {layout->width, layout->height,
            pixels[static_cast<std::size_t>(layout->height / 2 * layout->width + layout->width / 2)], pixels};
}

// An icon gives its chosen format resampled to fit; a program its first group, passing over the
// images that cannot be read.
TEST(IconThumbnail, IconsAndProgramsGiveTheirChosenFormat) {
    const auto file = format_test::IconFileOf({Plain(32, kRed), Plain(64, kGreen), Plain(48, kBlue)});
    EXPECT_EQ(Thumbnail("a.ico", file, 40), (Made{40, 40, kBlue}));
    // A PNG image is resampled from its stream; a damaged one gives way to the next choice.
    CKvIcon compressedGreen = Plain(256, kGreen);
    compressedGreen.SetCompressed(true);
    auto withPng = format_test::IconFileOf({Plain(32, kRed), compressedGreen});
    EXPECT_EQ(Thumbnail("b.ico", withPng, 64), (Made{64, 64, kGreen}));
    const std::string idat = "IDAT";
    *(std::search(withPng.begin(), withPng.end(), idat.begin(), idat.end()) + 8) ^= 0x55;
    EXPECT_EQ(Thumbnail("b.ico", withPng, 64), (Made{32, 32, kRed}));

    using pe_test::GroupData;
    const std::uint16_t kIcon = 3, kGroup = 14;
    const std::vector<pe_test::Resource> resources{
        {kIcon, std::uint16_t{1}, 0, {1, 2, 3, 4}},
        {kIcon, std::uint16_t{2}, 0, ImageBytes(Plain(32, kRed))},
        {kIcon, std::uint16_t{3}, 0, ImageBytes(Plain(256, kGreen))},
        {kGroup, std::uint16_t{1}, 0, GroupData({{1}, {2}})},
        {kGroup, std::uint16_t{2}, 0, GroupData({{3}})},
    };
    EXPECT_EQ(Thumbnail("a.exe", pe_test::WritePe(resources, true), 128), (Made{32, 32, kRed}));
    const auto pngProgram = pe_test::WritePe(
        {{kIcon, std::uint16_t{1}, 0, ImageBytes(compressedGreen)}, {kGroup, std::uint16_t{1}, 0, GroupData({{1}})}}, true);
    EXPECT_EQ(Thumbnail("b.exe", pngProgram, 64), (Made{64, 64, kGreen}));

    // A family's JPEG 2000 picture, read from a level 8 times smaller (twice the size asked), gives
    // what the whole picture would inside the edges' reach; its pixels stand 3.5 pixels off the
    // centres of their blocks, which would shift these ramps by 3 or 4.
    const CKvIcon ramps = Icon32(256, 256, [](int x, int y) { return Rgba{std::uint8_t(x), std::uint8_t(y), 9, 255}; });
    std::vector<std::uint8_t> jp2;
    ASSERT_TRUE(EncodeJpeg2000(ramps.To32BitDib(), jp2, nullptr));
    const Made fromStream = Thumbnail("a.icns", format_test::IcnsFamily({{"ic08", jp2}}), 16);
    const std::vector<Rgba> whole = PictureOf(ResampleDib(ramps.To32BitDib(), 16, 16, ResampleQuality::High));
    ASSERT_EQ(fromStream.pixels.size(), whole.size());
    int worst = 0;
    for (int y = 3; y < 13; ++y)
        for (int x = 3; x < 13; ++x)
            for (int c : {0, 1}) {
                const std::size_t i = static_cast<std::size_t>(y * 16 + x);
                worst = std::max(worst, std::abs(fromStream.pixels[i][c] - whole[i][c]));
            }
    EXPECT_LE(worst, 1);

    std::vector<std::uint8_t> png;
    std::string error;
    const std::vector<std::uint8_t> damaged{0x4D, 0x5A, 0, 0};
    EXPECT_FALSE(MakeIconThumbnail("a.exe", damaged, 128, png, error));
    EXPECT_EQ(error, "no icon that can be read");
}

}  // namespace
}  // namespace tellurine
