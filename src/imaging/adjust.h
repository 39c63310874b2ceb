// Colour adjustments of straight (not premultiplied) colours: brightness and contrast, levels,
// gamma, hue / saturation / lightness, colourize and invert, and the drop shadow. Alpha is never
// changed by an adjustment.
//
// The steps run in one order, each an identity at its neutral value:
//  1. brightness b and contrast c (-100..100), per channel v in 0..1: v * (1 + b) for b < 0,
//     v + (1 - v) * b for b > 0; then (v - 0.5) * tan((c + 1) * pi / 4) + 0.5 (b and c as
//     fractions of 100);
//  2. levels: input black and white (0..255, black below white), gamma (0.1..10), output black and
//     white (0..255, either order): v = clamp((255 v - black) / (white - black)) ^ (1 / gamma),
//     then outBlack + v * (outWhite - outBlack);
//  3. gamma g (0.1..10): v ^ (1 / g);
//  4. hue h (degrees), saturation s and lightness l (-100..100) on the colour's HSL form: the hue
//     turned by h, the saturation times 1 + s/100 (at most 1), the lightness moved towards white
//     by l/100 of the way for l > 0 or towards black for l < 0; colourize instead sets the hue and
//     saturation (0..100) and keeps the lightness before moving it;
//  5. invert: 255 - v.
// Steps 1 to 3 and 5 are one table per channel value; step 4 is computed per colour.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "image/block.h"

namespace tellurine {

struct ColorAdjustment {
    int brightness = 0;
    int contrast = 0;
    int inputBlack = 0;
    int inputWhite = 255;
    double levelsGamma = 1.0;
    int outputBlack = 0;
    int outputWhite = 255;
    double gamma = 1.0;
    int hue = 0;
    int saturation = 0;
    int lightness = 0;
    bool colorize = false;
    int colorizeHue = 0;
    int colorizeSaturation = 50;
    bool invert = false;
};

// The reason an adjustment's values are out of range, or null when they are all in range.
const char* CheckColorAdjustment(const ColorAdjustment& adjustment);

// An adjustment made ready to run: its tables built once.
class ColorAdjuster {
public:
    explicit ColorAdjuster(const ColorAdjustment& adjustment);

    // One colour, in place.
    void Adjust(std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue) const;
    // `count` pixels of blue, green, red (and alpha when `step` is 4) from `pixels` on.
    void AdjustBgr(std::uint8_t* pixels, std::size_t count, std::size_t step) const;
    // True when every colour stays as it is.
    [[nodiscard]] bool IsIdentity() const { return identity_; }

private:
    std::array<std::uint8_t, 256> tone_{};    // steps 1 to 3
    std::array<std::uint8_t, 256> invert_{};  // step 5
    ColorAdjustment a_;
    bool hsl_ = false;
    bool identity_ = false;
};

// One blue, green, red, alpha pixel laid over another ("over" on straight colours), rounded.
inline void BlendOver(const std::uint8_t* source, std::uint8_t* target) {
    const std::uint32_t sa = source[3], da = target[3];
    if (sa == 0) return;
    // In units of 1/(255*255).
    const std::uint32_t under = da * (255 - sa);
    const std::uint32_t total = sa * 255 + under;
    for (int c = 0; c < 3; ++c)
        target[c] = static_cast<std::uint8_t>((source[c] * sa * 255 + target[c] * under + total / 2) / total);
    target[3] = static_cast<std::uint8_t>((total + 127) / 255);
}

struct DropShadow {
    int dx = 4;
    int dy = 4;
    int radius = 4;  // 0 or 1: a sharp shadow; else 2..50 (GaussianBlurDib)
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    int opacity = 50;  // 0..100
};

// The reason a shadow's values are out of range, or null.
const char* CheckDropShadow(const DropShadow& shadow);

// A 32-bit packed bitmap with a shadow of its own alpha under it: the alpha moved by dx, dy,
// blurred, in the shadow's colour at its opacity, and the picture laid over it. With `grow` the
// canvas grows on each side just enough to hold the whole shadow; else the picture keeps its size
// and the shadow is cut at its edges. Empty for another depth, a canvas past kMaxDibDimension, or
// when memory runs out.
Block WithDropShadow(const Block& dib32, const DropShadow& shadow, bool grow);

}  // namespace tellurine
