#include "imaging/color_models.h"

#include <gtest/gtest.h>

#include <optional>

namespace tellurine {
namespace {

TEST(ColorModels, HexTextsReadInEveryFormAndNothingElse) {
    const std::pair<const char*, std::optional<COLORREF>> cases[] = {
        {"#1A2B3C", RGB(0x1A, 0x2B, 0x3C)},
        {"1a2b3c", RGB(0x1A, 0x2B, 0x3C)},
        {"#fA0", RGB(0xFF, 0xAA, 0x00)},
        {"0f0", RGB(0, 0xFF, 0)},
        {"  #000000 ", RGB(0, 0, 0)},
        {"#FFFFFF", RGB(255, 255, 255)},
        {"", std::nullopt},
        {"#", std::nullopt},
        {"#12345", std::nullopt},
        {"#1234567", std::nullopt},
        {"#ggg", std::nullopt},
        {"##fff", std::nullopt},
        {"12 345", std::nullopt},
        {"0x1234", std::nullopt},
    };
    for (const auto& [text, colour] : cases) EXPECT_EQ(ParseHexColor(text), colour) << '"' << text << '"';
    EXPECT_EQ(HexColorText(RGB(0x1A, 0x2B, 0x3C)), "#1A2B3C");
    EXPECT_EQ(HexColorText(RGB(0, 0, 0)), "#000000");
    // Any colour reads back from its text.
    for (const COLORREF c : {RGB(1, 2, 3), RGB(254, 128, 17), RGB(255, 255, 255)})
        EXPECT_EQ(ParseHexColor(HexColorText(c)), c);
}

TEST(ColorModels, HsvFormsOfTheCubesCornersAndBetween) {
    // Each pair converts both ways exactly.
    const std::pair<COLORREF, HsvColor> exact[] = {
        {RGB(0, 0, 0), {0, 0, 0}},         {RGB(255, 255, 255), {0, 0, 100}}, {RGB(255, 0, 0), {0, 100, 100}},
        {RGB(255, 255, 0), {60, 100, 100}}, {RGB(0, 255, 0), {120, 100, 100}}, {RGB(0, 255, 255), {180, 100, 100}},
        {RGB(0, 0, 255), {240, 100, 100}},  {RGB(255, 0, 255), {300, 100, 100}}, {RGB(255, 128, 128), {0, 50, 100}},
        {RGB(0, 128, 0), {120, 100, 50}},
    };
    for (const auto& [rgb, hsv] : exact) {
        EXPECT_EQ(HsvOf(rgb), hsv) << std::hex << rgb;
        EXPECT_EQ(RgbOfHsv(hsv), rgb) << hsv.hue << " " << hsv.saturation << " " << hsv.value;
    }
    // Rounded parts: a hue just short of red rounds to 0, never 360; between the primaries.
    EXPECT_EQ(HsvOf(RGB(255, 0, 1)), (HsvColor{0, 100, 100}));
    EXPECT_EQ(HsvOf(RGB(255, 128, 0)), (HsvColor{30, 100, 100}));
    EXPECT_EQ(HsvOf(RGB(64, 32, 96)), (HsvColor{270, 67, 38}));
    // Hues round the circle, parts clamped; no saturation is a grey whatever the hue.
    EXPECT_EQ(RgbOfHsv(-120, 1.0, 1.0), RGB(0, 0, 255));
    EXPECT_EQ(RgbOfHsv(480, 1.0, 1.0), RGB(0, 255, 0));
    EXPECT_EQ(RgbOfHsv(HsvColor{200, 150, -5}), RGB(0, 0, 0));
    EXPECT_EQ(RgbOfHsv(HsvColor{359, 0, 50}), RGB(128, 128, 128));
    // Every colour of a coarse walk through the cube comes back within a step of the rounding.
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 15)
            for (int b = 0; b < 256; b += 15) {
                const COLORREF c = RGB(static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                       static_cast<std::uint8_t>(b));
                const COLORREF back = RgbOfHsv(HsvOf(c));
                EXPECT_NEAR(GetRValue(back), r, 3) << r << " " << g << " " << b;
                EXPECT_NEAR(GetGValue(back), g, 3) << r << " " << g << " " << b;
                EXPECT_NEAR(GetBValue(back), b, 3) << r << " " << g << " " << b;
            }
}

}  // namespace
}  // namespace tellurine
