// Helpers shared by the tests: building small packed bitmaps pixel by pixel.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "image/block.h"
#include "image/dib_block.h"

namespace tellurine::test {

// Byte offset of pixel (x, y) of a 24- or 32-bit block; y counts from the top of the picture.
inline std::uint8_t* PixelAt(Block& b, int x, int y) {
    const auto l = GetDibLayout(b);
    return b.data() + l->RowOffset(l->height - 1 - y) + static_cast<std::size_t>(x) * (l->bitCount / 8);
}

inline void SetBgra(Block& b, int x, int y, std::uint8_t blue, std::uint8_t green, std::uint8_t red,
                    std::uint8_t alpha = 255) {
    std::uint8_t* p = PixelAt(b, x, y);
    p[0] = blue;
    p[1] = green;
    p[2] = red;
    if (DibBitCount(b) == 32) p[3] = alpha;
}

struct Bgra {
    std::uint8_t b, g, r, a;
    friend bool operator==(const Bgra&, const Bgra&) = default;
};

inline Bgra GetBgra(Block& b, int x, int y) {
    const std::uint8_t* p = PixelAt(b, x, y);
    return {p[0], p[1], p[2], DibBitCount(b) == 32 ? p[3] : std::uint8_t{255}};
}

// Index of pixel (x, y) of a 1-, 4- or 8-bit block; y counts from the top.
inline int GetIndex(const Block& b, int x, int y) {
    const auto l = GetDibLayout(b);
    return ReadIndex(b.data() + l->RowOffset(l->height - 1 - y), x, l->bitCount);
}
inline void SetIndex(Block& b, int x, int y, int index) {
    const auto l = GetDibLayout(b);
    WriteIndex(b.data() + l->RowOffset(l->height - 1 - y), x, l->bitCount, static_cast<std::uint8_t>(index));
}

// Sets colour-table entry i of an indexed block.
inline void SetTableEntry(Block& b, int i, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    std::uint8_t* e = b.data() + kInfoHeaderSize + 4 * i;
    e[0] = blue;
    e[1] = green;
    e[2] = red;
    e[3] = 0;
}

}  // namespace tellurine::test
