// A colour's other forms, as the colour dialog shows and takes them: hue, saturation and value in
// whole numbers, and the hex text of the web ("#RRGGBB").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "image/palette.h"

namespace tellurine {

// Hue 0..359 degrees, saturation and value 0..100.
struct HsvColor {
    int hue = 0;
    int saturation = 0;
    int value = 0;
    friend bool operator==(const HsvColor&, const HsvColor&) = default;
};

// The hue of a colour whose parts are 0..1, as a fraction of a turn in 0..1 (red 0, green 1/3,
// blue 2/3); 0 for a grey. The HSV and HSL forms share it.
double HueOf(double red, double green, double blue);

// A colour's HSV form, each part rounded to the nearest whole number (a hue that rounds to 360 is
// 0); hue and saturation 0 for a grey.
HsvColor HsvOf(COLORREF colour);
// The colour of a hue in degrees (any, taken round the circle) and a saturation and value of
// 0..1 (clamped), each part rounded.
COLORREF RgbOfHsv(double hue, double saturation, double value);
// The colour of an HSV form (saturation and value clamped to 0..100).
COLORREF RgbOfHsv(const HsvColor& hsv);

// "#RRGGBB", "RRGGBB", "#RGB" or "RGB" (each digit doubled), in any case, blanks around allowed;
// nothing for any other text.
std::optional<COLORREF> ParseHexColor(std::string_view text);
// "#RRGGBB", in capitals.
std::string HexColorText(COLORREF colour);

}  // namespace tellurine
