#include "formats/image_file.h"

#include <gtest/gtest.h>

#include <optional>

#include "test_support.h"

namespace tellurine {
namespace {

TEST(ImageFile, EncodesAndDecodesEveryDepthItWritesAndRefusesWhatIsNotAnImage) {
    for (auto format : {ImageFileFormat::Png, ImageFileFormat::Bmp}) {
        for (int bits : {8, 24, 32}) {
            Block b = CreateDibBlock(5, 3, bits);
            if (bits == 8) {
                test::SetTableEntry(b, 4, 10, 20, 30);
                test::SetIndex(b, 4, 0, 4);
            } else {
                test::SetBgra(b, 4, 0, 30, 20, 10, 128);
            }
            CDIB dib = test::Attached(std::move(b));
            std::vector<std::uint8_t> bytes;
            std::string error;
            ASSERT_TRUE(EncodeImageFile(dib, format, bytes, error)) << error;

            CDIB back;
            ASSERT_TRUE(DecodeImageFile(bytes, back, error)) << error;
            // Decoding gives true colour: 32 bits where the file carries an alpha byte, else 24.
            const bool alpha = bits == 32;
            ASSERT_EQ(back.BitCount(), alpha ? 32 : 24) << bits;
            EXPECT_EQ(test::TopDown(back.GetBlock(), 4, 0),
                      (test::Px{30, 20, 10, static_cast<std::uint8_t>(alpha ? 128 : 255)}))
                << bits;
            EXPECT_EQ(test::TopDown(back.GetBlock(), 0, 2)[2], 0);
        }
    }

    // What is not an image is refused.
    CDIB dib;
    std::string error;
    EXPECT_FALSE(DecodeImageFile({}, dib, error));
    const std::vector<std::uint8_t> text = {'h', 'e', 'l', 'l', 'o'};
    EXPECT_FALSE(DecodeImageFile(text, dib, error));
    std::vector<std::uint8_t> truncated = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    EXPECT_FALSE(DecodeImageFile(truncated, dib, error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(dib.IsEmpty());

    const std::pair<const char*, std::optional<ImageFileFormat>> paths[] = {
        {"a/b.PNG", ImageFileFormat::Png}, {"x.bmp", ImageFileFormat::Bmp}, {"x.gif", std::nullopt},
        {"dir.png/file", std::nullopt},    {"noext", std::nullopt}};
    for (const auto& [path, format] : paths) {
        ImageFileFormat f{};
        EXPECT_EQ(ImageFileFormatFromPath(path, f) ? std::optional(f) : std::nullopt, format) << path;
    }
}

}  // namespace
}  // namespace tellurine
