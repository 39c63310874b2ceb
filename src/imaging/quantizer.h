// Octree colour quantisation: optimal palettes of at most 256 colours from true-colour images.
#pragma once

#include <cstdint>

#include "image/block.h"
#include "image/palette.h"

namespace tellurine {

// A palette block holds 256 entries of 4 bytes: blue, green, red, 0.
inline constexpr std::size_t kPaletteBlockBytes = 256 * 4;

class CQuantizer {
public:
    // maxColors is clamped to 1..256.
    explicit CQuantizer(int maxColors);
    ~CQuantizer();
    CQuantizer(const CQuantizer&) = delete;
    CQuantizer& operator=(const CQuantizer&) = delete;

    // Adds one colour and reduces the tree while it has more leaves than the maximum.
    void AddColor(std::uint8_t red, std::uint8_t green, std::uint8_t blue);
    // Adds every pixel of a 24- or 32-bit packed bitmap (rows in storage order, alpha ignored).
    bool AddImage(const Block& image);
    [[nodiscard]] int LeafCount() const;
    // Writes the leaves depth-first into `paletteBlock` (256 x 4 bytes) and returns how many.
    int WritePalette(std::uint8_t* paletteBlock) const;

private:
    struct Impl;
    Impl* impl_;
};

// Builds a palette block for a 24- or 32-bit image. `count` holds the wanted number of colours on
// entry and the number of palette entries on return. Empty for any other image.
Block BuildOptimalPalette(const Block& image, int& count, bool keepBlackAndWhite);

// One palette for two images (for example two states of one format); white always ends at 255.
Block BuildCommonPalette(const Block& imageA, const Block& imageB, int& count);

// The 256 entries of a palette block as a logical palette (flags 0).
Palette PaletteFromBlock(const Block& paletteBlock);

}  // namespace tellurine
