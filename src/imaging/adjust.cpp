#include "imaging/adjust.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

#include "image/dib.h"
#include "image/dib_block.h"
#include "imaging/color_models.h"
#include "imaging/filters.h"

namespace tellurine {

namespace {

std::uint8_t ToByte(double v) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
}

// The HSL form of a colour, each part 0..1, as the usual conversion gives it.
struct Hsl {
    double h = 0;
    double s = 0;
    double l = 0;
};

Hsl HslOf(double r, double g, double b) {
    const double high = std::max({r, g, b}), low = std::min({r, g, b});
    Hsl out;
    out.l = (high + low) / 2;
    if (high == low) return out;
    const double range = high - low;
    out.s = out.l <= 0.5 ? range / (high + low) : range / (2 - high - low);
    out.h = HueOf(r, g, b);
    return out;
}

double Channel(double m1, double m2, double hue) {
    hue -= std::floor(hue);
    if (hue < 1.0 / 6) return m1 + (m2 - m1) * hue * 6;
    if (hue < 0.5) return m2;
    if (hue < 2.0 / 3) return m1 + (m2 - m1) * (2.0 / 3 - hue) * 6;
    return m1;
}

void RgbOf(const Hsl& c, double& r, double& g, double& b) {
    if (c.s == 0) {
        r = g = b = c.l;
        return;
    }
    const double m2 = c.l <= 0.5 ? c.l * (1 + c.s) : c.l + c.s - c.l * c.s;
    const double m1 = 2 * c.l - m2;
    r = Channel(m1, m2, c.h + 1.0 / 3);
    g = Channel(m1, m2, c.h);
    b = Channel(m1, m2, c.h - 1.0 / 3);
}

}  // namespace

const char* CheckColorAdjustment(const ColorAdjustment& a) {
    const auto within = [](int v, int low, int high) { return v >= low && v <= high; };
    if (!within(a.brightness, -100, 100) || !within(a.contrast, -100, 100))
        return "brightness and contrast must be -100..100";
    if (!within(a.inputBlack, 0, 254) || !within(a.inputWhite, a.inputBlack + 1, 255) ||
        !within(a.outputBlack, 0, 255) || !within(a.outputWhite, 0, 255))
        return "levels must be 0..255, the input black below the input white";
    if (!(a.levelsGamma >= 0.1 && a.levelsGamma <= 10) || !(a.gamma >= 0.1 && a.gamma <= 10))
        return "gamma must be 0.1..10";
    if (!within(a.hue, -360, 360) || !within(a.colorizeHue, 0, 360)) return "the hue must be -360..360 degrees";
    if (!within(a.saturation, -100, 100) || !within(a.lightness, -100, 100) || !within(a.colorizeSaturation, 0, 100))
        return "saturation and lightness must be -100..100 (colourize saturation 0..100)";
    return nullptr;
}

ColorAdjuster::ColorAdjuster(const ColorAdjustment& adjustment) : a_(adjustment) {
    const double b = a_.brightness / 100.0;
    const double slant = std::tan((a_.contrast / 100.0 + 1) * std::numbers::pi / 4);
    bool toneIdentity = true;
    for (int i = 0; i < 256; ++i) {
        double v = i / 255.0;
        if (a_.brightness != 0) v = b < 0 ? v * (1 + b) : v + (1 - v) * b;
        if (a_.contrast != 0) v = std::clamp((v - 0.5) * slant + 0.5, 0.0, 1.0);
        if (a_.inputBlack != 0 || a_.inputWhite != 255 || a_.levelsGamma != 1.0 || a_.outputBlack != 0 ||
            a_.outputWhite != 255) {
            v = std::clamp((v * 255 - a_.inputBlack) / (a_.inputWhite - a_.inputBlack), 0.0, 1.0);
            v = std::pow(v, 1 / a_.levelsGamma);
            v = (a_.outputBlack + v * (a_.outputWhite - a_.outputBlack)) / 255;
        }
        if (a_.gamma != 1.0) v = std::pow(std::clamp(v, 0.0, 1.0), 1 / a_.gamma);
        const auto index = static_cast<std::size_t>(i);
        tone_[index] = ToByte(v);
        invert_[index] = static_cast<std::uint8_t>(a_.invert ? 255 - i : i);
        toneIdentity = toneIdentity && tone_[index] == i;
    }
    hsl_ = a_.colorize || a_.hue % 360 != 0 || a_.saturation != 0 || a_.lightness != 0;
    identity_ = toneIdentity && !hsl_ && !a_.invert;
}

void ColorAdjuster::Adjust(std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue) const {
    red = tone_[red];
    green = tone_[green];
    blue = tone_[blue];
    if (hsl_) {
        Hsl c = HslOf(red / 255.0, green / 255.0, blue / 255.0);
        if (a_.colorize) {
            c.h = a_.colorizeHue / 360.0;
            c.s = a_.colorizeSaturation / 100.0;
        } else {
            c.h += a_.hue / 360.0;
            c.h -= std::floor(c.h);
            c.s = std::min(1.0, c.s * (1 + a_.saturation / 100.0));
        }
        const double l = a_.lightness / 100.0;
        c.l = l > 0 ? c.l + (1 - c.l) * l : c.l * (1 + l);
        double r = 0, g = 0, b = 0;
        RgbOf(c, r, g, b);
        red = ToByte(r);
        green = ToByte(g);
        blue = ToByte(b);
    }
    red = invert_[red];
    green = invert_[green];
    blue = invert_[blue];
}

void ColorAdjuster::AdjustBgr(std::uint8_t* pixels, std::size_t count, std::size_t step) const {
    if (identity_) return;
    if (!hsl_) {
        for (std::size_t i = 0; i < count; ++i, pixels += step)
            for (int c = 0; c < 3; ++c) pixels[c] = invert_[tone_[pixels[c]]];
        return;
    }
    // Icons repeat colours in runs: the last colour's result is kept.
    std::uint32_t lastIn = 0xFFFFFFFF, lastOut = 0;
    for (std::size_t i = 0; i < count; ++i, pixels += step) {
        const std::uint32_t in = pixels[0] | (std::uint32_t{pixels[1]} << 8) | (std::uint32_t{pixels[2]} << 16);
        if (in != lastIn) {
            std::uint8_t b = pixels[0], g = pixels[1], r = pixels[2];
            Adjust(r, g, b);
            lastIn = in;
            lastOut = b | (std::uint32_t{g} << 8) | (std::uint32_t{r} << 16);
        }
        pixels[0] = static_cast<std::uint8_t>(lastOut);
        pixels[1] = static_cast<std::uint8_t>(lastOut >> 8);
        pixels[2] = static_cast<std::uint8_t>(lastOut >> 16);
    }
}

const char* CheckDropShadow(const DropShadow& s) {
    if (s.dx < -kMaxBlurRadius || s.dx > kMaxBlurRadius || s.dy < -kMaxBlurRadius || s.dy > kMaxBlurRadius)
        return "the shadow's offset must be -50..50";
    if (s.radius < 0 || s.radius > kMaxBlurRadius) return "the shadow's blur radius must be 0..50";
    if (s.opacity < 0 || s.opacity > 100) return "the shadow's opacity must be 0..100";
    return nullptr;
}

Block WithDropShadow(const Block& dib32, const DropShadow& shadow, bool grow) {
    const auto l = GetDibLayout(dib32);
    if (!l || l->bitCount != 32 || CheckDropShadow(shadow) != nullptr) return {};
    const int radius = shadow.radius >= kMinBlurRadius ? shadow.radius : 0;
    const int left = grow ? std::max(0, radius - shadow.dx) : 0, top = grow ? std::max(0, radius - shadow.dy) : 0;
    const int right = grow ? std::max(0, shadow.dx + radius) : 0, bottom = grow ? std::max(0, shadow.dy + radius) : 0;
    const std::int64_t width = std::int64_t{l->width} + left + right, height = std::int64_t{l->height} + top + bottom;
    if (width > kMaxDibDimension || height > kMaxDibDimension) return {};
    try {
        const auto w = static_cast<std::int32_t>(width), h = static_cast<std::int32_t>(height);
        Block out = CreateDibBlock(w, h, 32);
        const auto ol = GetDibLayout(out);
        if (!ol) return {};
        // Rows counted from the top on both.
        const auto source = [&](std::int32_t x, std::int32_t y) {
            return dib32.data() + l->RowOffset(l->height - 1 - y) + 4 * static_cast<std::size_t>(x);
        };
        const auto target = [&](std::int32_t x, std::int32_t y) {
            return out.data() + ol->RowOffset(h - 1 - y) + 4 * static_cast<std::size_t>(x);
        };
        for (std::int32_t y = 0; y < h; ++y)
            for (std::int32_t x = 0; x < w; ++x) {
                std::uint8_t* t = target(x, y);
                t[0] = shadow.blue;
                t[1] = shadow.green;
                t[2] = shadow.red;
                const std::int32_t sx = x - left - shadow.dx, sy = y - top - shadow.dy;
                t[3] = sx >= 0 && sy >= 0 && sx < l->width && sy < l->height ? source(sx, sy)[3] : 0;
            }
        if (radius > 0 && GaussianBlurDib(out, radius, -1, -1, -1, -1) == 0) return {};
        for (std::int32_t y = 0; y < h; ++y)
            for (std::int32_t x = 0; x < w; ++x) {
                std::uint8_t* t = target(x, y);
                t[3] = static_cast<std::uint8_t>((t[3] * shadow.opacity + 50) / 100);
                const std::int32_t sx = x - left, sy = y - top;
                if (sx >= 0 && sy >= 0 && sx < l->width && sy < l->height) BlendOver(source(sx, sy), t);
            }
        return out;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace tellurine
