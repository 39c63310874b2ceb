// Helpers shared by the tests: building small packed bitmaps pixel by pixel.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <functional>

#include "image/block.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/device_bitmap.h"

namespace tellurine::test {

// The low byte of v, for pixels worked out by arithmetic.
template <std::integral Integer>
std::uint8_t U8(Integer v) { return static_cast<std::uint8_t>(v); }

// True when two blocks hold the same bytes, as many of them.
inline bool SameBytes(const Block& a, const Block& b) { return std::ranges::equal(a.bytes(), b.bytes()); }

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

// Blue, green, red, alpha.
using Px = std::array<std::uint8_t, 4>;

// The sides of a rectangle (left, top, right, bottom), to compare all four in one assertion.
using Sides = std::array<int, 4>;
template <typename Rect>
Sides SidesOf(const Rect& r) {
    return {r.left, r.top, r.right, r.bottom};
}

// A packed bitmap whose pixel at column x of stored row y (0 = bottom) is f(x, y); at 24 bits
// the alpha is dropped, at 8 bits the blue byte is the index.
inline Block MakeDib(std::int32_t w, std::int32_t h, int bits, const std::function<Px(int, int)>& f) {
    Block b = CreateDibBlock(w, h, bits);
    const auto l = GetDibLayout(b);
    const std::size_t bpp = static_cast<std::size_t>(bits / 8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Px p = f(x, y);
            std::memcpy(b.data() + l->RowOffset(y) + static_cast<std::size_t>(x) * bpp, p.data(),
                        std::min<std::size_t>(bpp, 4));
        }
    return b;
}

// The pixel at column x of stored row y; alpha reads 255 at 24 bits, and at 8 bits the blue byte
// is the index.
inline Px At(const Block& b, int x, int y) {
    const auto l = GetDibLayout(b);
    const std::size_t bpp = static_cast<std::size_t>(l->bitCount / 8);
    const std::uint8_t* p = b.data() + l->RowOffset(y) + static_cast<std::size_t>(x) * bpp;
    if (bpp < 3) return Px{p[0], 0, 0, 255};
    return Px{p[0], p[1], p[2], bpp == 4 ? p[3] : std::uint8_t{255}};
}

// The pixel at column x of row y counted from the top of the picture.
inline Px TopDown(const Block& b, int x, int y) { return At(b, x, DibHeight(b) - 1 - y); }

// A w x h device bitmap whose pixel (x, y), y from the top, is f(x, y).
inline DeviceBitmap MakeBitmap(int w, int h, const std::function<COLORREF(int, int)>& f) {
    DeviceBitmap b = DeviceBitmap::Create(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) b.SetPixel(x, y, f(x, y));
    return b;
}

// The grey of level v (the low byte), as masks hold an alpha.
inline COLORREF Grey(int v) { return RGB(U8(v), U8(v), U8(v)); }

// A bitmap object holding the block.
inline CDIB Attached(Block block) {
    CDIB dib;
    dib.Attach(std::move(block));
    return dib;
}

}  // namespace tellurine::test
