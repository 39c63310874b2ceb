// Colour reduction of a whole bitmap, with the quantiser and the palette mapper of this library.
#pragma once

#include "image/dib.h"

namespace tellurine {

// Makes `dib` 8-bit with an optimal palette of at most `colors` entries, mapped with dithering
// unless `dither` is false. Images below 8 bits are first brought to 32 bits, then every depth
// but 8 is flattened over white; an 8-bit image is left as it is.
void ReduceToOptimalPalette(CDIB& dib, int colors = 256, bool dither = true, bool keepBlackAndWhite = false);

}  // namespace tellurine
