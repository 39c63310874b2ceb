// Nearest-colour search and the mappings of true-colour images onto a palette.
#pragma once

#include <cstdint>
#include <vector>

#include "image/block.h"
#include "image/palette.h"

namespace tellurine {

// One record of the search palette: a colour and its index in the original palette.
struct SearchEntry {
    std::uint8_t red, green, blue, index;
};

// A copy of a palette sorted by red, then green, then blue, with its 15-bit colour cache.
class SearchPalette {
public:
    // The first `entries` colours of `palette` are searchable (at most 256); positions past the
    // end of a short palette count as black.
    SearchPalette(const Palette& palette, int entries);
    // Records in any order (at most the first 256 are kept); they are sorted here.
    explicit SearchPalette(const std::vector<SearchEntry>& entries);

    [[nodiscard]] int size() const { return static_cast<int>(entries_.size()); }
    [[nodiscard]] const SearchEntry& operator[](int position) const { return entries_[position]; }
    [[nodiscard]] const std::vector<SearchEntry>& entries() const { return entries_; }

private:
    friend int NearestPaletteIndex(int, int, int, SearchPalette&, int);
    friend struct SearchPaletteAccess;  // the mapping loops read the records and cache directly
    std::vector<SearchEntry> entries_;
    std::vector<std::int16_t> cache_;  // 32,768 positions, -1 where not looked up yet
};

// Position in the search palette of the colour nearest to (red, green, blue), each clamped to
// 0..255 first; among equal distances the first met in the outward walk wins. The caller takes
// the original index from the record at that position. `entries` bounds the searched records.
int NearestPaletteIndex(int red, int green, int blue, SearchPalette& palette, int entries);

// The Floyd-Steinberg error share for weight 7, 5, 3 or 1 of error e (-256..255), rounded away
// from zero at the half as the diffusion does it.
int ErrorShare(int weight, int e);

// A new 8-bit bitmap of the 24-bit image's size whose colour table is the palette's 256 entries
// (black past its end) and whose pixels index its first `entries` colours, with Floyd-Steinberg
// error diffusion when `dither` is set. Empty unless the image is 24 bits.
Block MapToPalette(const Block& image24, const Palette& palette, int entries, bool dither);

// A new 8-bit bitmap from a 32-bit one using the first 2^bits red-green-blue triplets of
// `colors` (3 x 2^bits bytes). With a transparent index (not -1), that triplet moves to the last
// entry 2^bits - 1, which pixels failing the transparency test take. The test reads the third
// byte of each pixel (the red byte): below 128 fails. Without a transparent index, failing
// pixels take index 0. Empty unless the image is 32 bits.
Block MapToPaletteWithTransparency(const Block& image32, int bits, const std::uint8_t* colors,
                                   int transparentIndex);

// The same mapping with the transparent index always 2^bits - 1; returns the index chosen
// through `transparentIndex`.
Block MapToPaletteReservingLast(const Block& image32, int bits, const std::uint8_t* colors,
                                int& transparentIndex);

}  // namespace tellurine
