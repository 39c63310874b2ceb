// Palette: the portable stand-in for a logical palette, a list of colours with flags.
#pragma once

#include <cstdint>
#include <vector>

namespace tellurine {

// A colour value 0x00BBGGRR, as GDI's COLORREF.
using COLORREF = std::uint32_t;

constexpr COLORREF RGB(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return COLORREF{r} | (COLORREF{g} << 8) | (COLORREF{b} << 16);
}
constexpr std::uint8_t GetRValue(COLORREF c) { return static_cast<std::uint8_t>(c); }
constexpr std::uint8_t GetGValue(COLORREF c) { return static_cast<std::uint8_t>(c >> 8); }
constexpr std::uint8_t GetBValue(COLORREF c) { return static_cast<std::uint8_t>(c >> 16); }

struct PaletteEntry {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t flags = 0;
    friend bool operator==(const PaletteEntry&, const PaletteEntry&) = default;
};

struct Palette {
    // Palette version of a logical palette, kept for the archive and clipboard forms.
    std::uint16_t version = 0x300;
    std::vector<PaletteEntry> entries;

    [[nodiscard]] bool empty() const { return entries.empty(); }
    [[nodiscard]] std::size_t size() const { return entries.size(); }
    friend bool operator==(const Palette&, const Palette&) = default;
};

}  // namespace tellurine
