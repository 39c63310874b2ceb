// The application's standard 256-colour palette, the palette of new 256-colour icons.
//
// Entries 0-15 are the 16 standard display colours, 16-231 a 6 x 6 x 6 colour cube with the
// levels 0, 51, 102, 153, 204 and 255 (red varying slowest, blue fastest), and 232-255 a ramp of
// 24 greys from 8 to 238 in steps of 10.
#pragma once

#include <array>

#include "image/palette.h"

namespace tellurine {

inline constexpr int kStandardPaletteSize = 256;

// The 256 entries, flags 0.
const std::array<PaletteEntry, kStandardPaletteSize>& StandardColors256();

// The same colours as a logical palette (version 0x300); empty when memory runs out.
Palette StandardPalette256();

}  // namespace tellurine
