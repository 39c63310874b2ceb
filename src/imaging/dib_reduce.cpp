// The bitmap and mask operations that need the imaging routines: colour reduction of a CDIB and
// resampling of a CMask. They are members of the image classes but live here, above the image
// library, so that the image library depends on nothing of the imaging one.
#include "image/dib.h"
#include "image/mask.h"
#include "imaging/palette_map.h"
#include "imaging/quantizer.h"
#include "imaging/resample.h"

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

void CDIB::ReduceToOptimalPalette(int colors, bool dither, bool keepBlackAndWhite) {
    if (IsEmpty() || BitCount() == 8) return;
    Block scratch;
    const Block* source = nullptr;
    if (!TrueColorSource(block_, scratch, source)) return;
    int count = colors;
    const Block paletteBlock = BuildOptimalPalette(*source, count, keepBlackAndWhite);
    if (!paletteBlock) return;
    // Keeping black and white moves white to the last entry, past the first `count`; search the
    // whole table then, so white stays reachable (the entries between are duplicate blacks).
    const int searchable = keepBlackAndWhite ? 256 : count;
    if (Block out = MapToPalette(*source, PaletteFromBlock(paletteBlock), searchable, dither))
        Attach(std::move(out));
}

void CDIB::ReduceToPalette(const Palette& palette, bool dither) {
    if (IsEmpty() || BitCount() == 8 || palette.empty()) return;
    Block scratch;
    const Block* source = nullptr;
    if (!TrueColorSource(block_, scratch, source)) return;
    const int entries = static_cast<int>(std::min<std::size_t>(palette.size(), 256));
    if (Block out = MapToPalette(*source, palette, entries, dither)) Attach(std::move(out));
}

bool CDIB::Resize(std::int32_t width, std::int32_t height) {
    const int bits = BitCount();
    if (bits != 24 && bits != 32) return false;
    if (Width() == width && Height() == height) return true;
    Block resized = ResampleDib(block_, width, height);
    if (resized.empty()) return false;
    Attach(std::move(resized));
    return true;
}

int CMask::Resample(std::uint32_t width, std::uint32_t height) {
    if (IsEmpty()) return 1;
    const Block bitmap = ToBitmap();
    const Block resized = ResampleDib(bitmap, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
    if (resized) FromRedChannel(resized);
    return 1;
}

}  // namespace tellurine
