#include "imaging/color_models.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace tellurine {

namespace {

std::uint8_t ToByte(double v) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

double HueOf(double red, double green, double blue) {
    const double high = std::max({red, green, blue}), low = std::min({red, green, blue});
    if (high == low) return 0;
    const double range = high - low;
    const double rc = (high - red) / range, gc = (high - green) / range, bc = (high - blue) / range;
    const double h = (red == high ? bc - gc : green == high ? 2 + rc - bc : 4 + gc - rc) / 6;
    return h - std::floor(h);
}

HsvColor HsvOf(COLORREF colour) {
    const int r = GetRValue(colour), g = GetGValue(colour), b = GetBValue(colour);
    const int high = std::max({r, g, b}), low = std::min({r, g, b});
    HsvColor out;
    out.hue = static_cast<int>(std::lround(HueOf(r, g, b) * 360)) % 360;
    out.saturation = high == 0 ? 0 : static_cast<int>(std::lround((high - low) * 100.0 / high));
    out.value = static_cast<int>(std::lround(high * 100.0 / 255));
    return out;
}

COLORREF RgbOfHsv(double hue, double saturation, double value) {
    const double s = std::clamp(saturation, 0.0, 1.0), v = std::clamp(value, 0.0, 1.0);
    double h = std::fmod(hue, 360.0) / 60;
    if (h < 0) h += 6;
    // The six sectors between the primaries and the secondaries: the largest part is v, the
    // smallest v (1 - s), the middle one runs between them.
    const int sector = std::min(5, static_cast<int>(h));
    const double f = h - sector;
    const double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
    const double parts[6][3] = {{v, t, p}, {q, v, p}, {p, v, t}, {p, q, v}, {t, p, v}, {v, p, q}};
    const double* rgb = parts[sector];
    return RGB(ToByte(rgb[0]), ToByte(rgb[1]), ToByte(rgb[2]));
}

COLORREF RgbOfHsv(const HsvColor& hsv) {
    return RgbOfHsv(hsv.hue, hsv.saturation / 100.0, hsv.value / 100.0);
}

std::optional<COLORREF> ParseHexColor(std::string_view text) {
    const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    if (text.starts_with('#')) text.remove_prefix(1);
    if ((text.size() != 3 && text.size() != 6) || !std::all_of(text.begin(), text.end(), [](char c) {
            return HexDigit(c) >= 0;
        }))
        return std::nullopt;
    const auto channel = [&](std::size_t i) {
        return static_cast<std::uint8_t>(text.size() == 3 ? HexDigit(text[i]) * 17
                                                          : HexDigit(text[2 * i]) * 16 + HexDigit(text[2 * i + 1]));
    };
    return RGB(channel(0), channel(1), channel(2));
}

std::string HexColorText(COLORREF colour) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", GetRValue(colour), GetGValue(colour), GetBValue(colour));
    return text;
}

}  // namespace tellurine
