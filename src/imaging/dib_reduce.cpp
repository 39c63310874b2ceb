#include "imaging/dib_reduce.h"

#include "imaging/palette_map.h"
#include "imaging/quantizer.h"

#include <algorithm>

namespace tellurine {

namespace {

// The 24-bit picture that colour reduction works on: a 24-bit image as it is, anything else
// brought to 32 bits when below 8 and then flattened over white. Sets `source` to the block to
// use, which is either `image` itself or `scratch`.
bool TrueColorSource(const Block& image, Block& scratch, const Block*& source) {
    const int bits = DibBitCount(image);
    if (bits == 24) {
        source = &image;
        return true;
    }
    if (bits < 8) {
        Block wide = ConvertDibTo32(image, false, 0);
        scratch = FlattenDib(wide, RGB(255, 255, 255));
    } else {
        scratch = FlattenDib(image, RGB(255, 255, 255));
    }
    source = &scratch;
    return !scratch.empty();
}

}  // namespace

void ReduceToOptimalPalette(CDIB& dib, int colors, bool dither, bool keepBlackAndWhite) {
    if (dib.IsEmpty() || dib.BitCount() == 8) return;
    Block scratch;
    const Block* source = nullptr;
    if (!TrueColorSource(dib.GetBlock(), scratch, source)) return;
    int count = colors;
    const Block paletteBlock = BuildOptimalPalette(*source, count, keepBlackAndWhite);
    if (!paletteBlock) return;
    // Keeping black and white moves white to the last entry, past the first `count`; search the
    // whole table then, so white stays reachable (the entries between are duplicate blacks).
    const int searchable = keepBlackAndWhite ? 256 : count;
    if (Block out = MapToPalette(*source, PaletteFromBlock(paletteBlock), searchable, dither))
        dib.Attach(std::move(out));
}

}  // namespace tellurine
