// Colour values: the one 32-bit value the colour bar, the tools and the canvas pass between them.
//   0x00BBGGRR        a true colour
//   0x01000000 + i    palette entry i of an 8-bit image
//   0xF1000000        the transparent (screen) colour: mask bit 1, colour black
//   0xF2000000        the inverted (inverse-screen) colour: mask bit 1, colour white
// A high byte up to 0xF0 is an ordinary colour, 0xF1 the transparent colour and any other high
// byte above 0xF0 the inverted colour.
#pragma once

#include <cstdint>

#include "image/palette.h"

namespace tellurine::editor {

using ColourValue = std::uint32_t;

inline constexpr ColourValue kTransparentColour = 0xF1000000;
inline constexpr ColourValue kInvertedColour = 0xF2000000;
inline constexpr ColourValue kPaletteColourBase = 0x01000000;
// In palette-index selections: the index that stands for the transparent and inverted colours.
inline constexpr int kTransparentIndex = 65535;
inline constexpr int kInvertedIndex = 65534;

inline constexpr COLORREF kWhite = 0xFFFFFF;

enum class ColourKind { Ordinary, Transparent, Inverted };

constexpr ColourKind KindOf(ColourValue value) {
    const std::uint32_t high = value >> 24;
    if (high <= 0xF0) return ColourKind::Ordinary;
    return high == 0xF1 ? ColourKind::Transparent : ColourKind::Inverted;
}

// A pixel read back as a colour value by the AND/XOR rule: mask bit set (white in the mask
// bitmap) with a white colour is the inverted colour, with any other colour the transparent one;
// mask bit clear gives the colour.
constexpr ColourValue ReadColourValue(COLORREF colour, COLORREF mask) {
    if (mask != kWhite) return colour & 0xFFFFFF;
    return (colour & 0xFFFFFF) == kWhite ? kInvertedColour : kTransparentColour;
}

// The colour bar's current colours.
struct ColourSelection {
    ColourValue foreground = 0;                 // SavedFgRGBColor
    ColourValue background = kTransparentColour;  // SavedBkRGBColor
    int foregroundIndex8 = 0;                   // 8bppSavedFgIndex
    int backgroundIndex8 = kTransparentIndex;   // 8bppSavedBkIndex
    int foregroundIndex1 = 0;                   // 1bppSavedFgIndex
    int backgroundIndex1 = kTransparentIndex;   // 1bppSavedBkIndex
    int foregroundOpacity = 255;                // FgOpacity
    int backgroundOpacity = 255;                // BkOpacity
};

// A palette-index selection as a colour value: 65535 transparent, 65534 inverted; otherwise the
// palette entry (8 bits) or the grey (i, i, i) (1 bit).
ColourValue IndexColourValue(int index, int bits);

// The colour a tool draws with on a format of `bits` bits per pixel: the true colour for 32 bits
// (its opacity comes separately) and for 4 and 24 bits, the 8-bit index selection for 8 bits,
// the 1-bit index selection for 1 bit.
ColourValue DrawingColour(const ColourSelection& colours, int bits, bool foreground);

// Chooses a colour for the foreground or the background while a format of `bits` bits per pixel
// is edited: an 8-bit format takes a palette entry (0x01000000 + i) or the transparent or inverted
// colour into its index selection, a 1-bit format a grey (its level is the index) or those two,
// and the other depths any colour value. A value the depth cannot hold changes nothing. True when
// the selection changed.
bool PickColour(ColourSelection& colours, int bits, bool foreground, ColourValue value);

// The colour a value shows as a sample, with `palette` for palette entries; the transparent and
// inverted colours have no single colour (their swatches are patterns) and give `fallback`.
COLORREF SampleColour(ColourValue value, const Palette& palette, COLORREF fallback = 0xFFFFFF);

}  // namespace tellurine::editor
