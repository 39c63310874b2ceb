// Packed device-independent bitmaps held in a Block.
//
// Layout: a header (the 40-byte information header in every block this program makes, or the
// 12-byte core header in foreign ones), the colour table (4-byte blue-green-red-reserved entries,
// 3-byte entries after a core header), then the pixel rows bottom-up, each padded to 4 bytes.
// This layout is the contract between the file formats, the clipboard and the image routines.
#pragma once

#include <cstddef>
#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "image/block.h"
#include "image/palette.h"

namespace tellurine {

inline constexpr std::uint32_t kInfoHeaderSize = 40;
inline constexpr std::uint32_t kCoreHeaderSize = 12;
inline constexpr std::uint32_t kBitFields = 3;  // compression value: three colour masks follow

// No packed bitmap this program builds or accepts is wider or taller than this.
inline constexpr std::int32_t kMaxDibDimension = 32768;

// The 40-byte information header, field for field.
struct BitmapInfoHeader {
    std::uint32_t size = kInfoHeaderSize;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint16_t planes = 1;
    std::uint16_t bitCount = 0;
    std::uint32_t compression = 0;
    std::uint32_t sizeImage = 0;
    std::int32_t xPelsPerMeter = 0;
    std::int32_t yPelsPerMeter = 0;
    std::uint32_t clrUsed = 0;
    std::uint32_t clrImportant = 0;

    // Reads 40 bytes; the caller has checked that they are there.
    static BitmapInfoHeader Load(const std::uint8_t* p);
    void Store(std::uint8_t* p) const;
};

// Bytes in one row of `width` pixels at `bits` per pixel, padded to a multiple of 4.
// Zero when the width or depth is not positive or the result would not fit.
std::size_t DibRowStride(std::int64_t width, std::int64_t bits);

// The depth a request rounds to at creation: 0-1 -> 1, 2-4 -> 4, 5-8 -> 8, 9-16 -> 16,
// 17-24 -> 24, 25-32 -> 32, and anything above 32 -> 4 (not clamped to 32).
int RoundDibDepth(int bits);

// A new zero-filled block with an information header, the default colour table and room for the
// pixels; empty when the size is not positive, over the limits, or memory runs out.
Block CreateDibBlock(std::int32_t width, std::int32_t height, int bits);

// The same block for a caller that writes every pixel of every row at once: the header, the
// colour table and the padding at the end of each row are filled as CreateDibBlock fills them,
// the pixels are left as the allocator gives them (at 1 and 4 bits, written bit by bit, they
// are zero-filled all the same).
Block CreateDibBlockForPixels(std::int32_t width, std::int32_t height, int bits);

// Header fields of either header kind; 0 for an empty or truncated block.
std::int32_t DibWidth(const Block& block);
std::int32_t DibHeight(const Block& block);
int DibBitCount(const Block& block);

// Colour count: colours-used of an information header when nonzero, else 2, 16 or 256 for 1, 4
// or 8 bits per pixel, else 0. `header` must hold at least the header its first field names.
std::uint32_t DibColorCount(std::span<const std::uint8_t> header);
std::uint32_t DibColorCount(const Block& block);
// Colour-table size in bytes, by the same rules (3-byte entries after a core header).
std::uint32_t DibColorTableSize(std::span<const std::uint8_t> header);
std::uint32_t DibColorTableSize(const Block& block);

// A logical palette with one entry per colour-table entry; empty for true colour.
Palette CreateDibPalette(const Block& block);

// The 16 standard display colours that fill a new block's colour table, as (red, green, blue).
extern const PaletteEntry kStandardColors16[16];

// Where the parts of a packed bitmap lie, after every offset was checked against the block.
struct DibLayout {
    std::int32_t width = 0;
    std::int32_t height = 0;
    int bitCount = 0;
    bool coreHeader = false;
    std::uint32_t colors = 0;        // entries in the colour table
    std::size_t tableOffset = 0;     // first colour-table entry
    std::size_t tableEntrySize = 4;  // 4 after an information header, 3 after a core header
    std::size_t pixelOffset = 0;     // first byte of the bottom row
    std::size_t stride = 0;          // bytes per row

    [[nodiscard]] std::size_t RowOffset(std::int32_t storedRow) const {
        return pixelOffset + stride * static_cast<std::size_t>(storedRow);
    }
};

// The layout of a well-formed, uncompressed (or bit-field) bottom-up packed bitmap whose table
// and rows lie inside the block; nothing for anything else. Every per-pixel routine starts here.
std::optional<DibLayout> GetDibLayout(const Block& block);

// Colour-table entry i of a laid-out block as a palette entry.
PaletteEntry DibTableEntry(const Block& block, const DibLayout& layout, std::uint32_t i);

// Index of the pixel at column x of a stored row (1, 4 or 8 bits per pixel).
inline std::uint8_t ReadIndex(const std::uint8_t* row, std::int32_t x, int bits) {
    switch (bits) {
        case 1: return static_cast<std::uint8_t>((row[x >> 3] >> (7 - (x & 7))) & 1);
        case 4: return static_cast<std::uint8_t>((x & 1) ? (row[x >> 1] & 0x0F) : (row[x >> 1] >> 4));
        default: return row[x];
    }
}
inline void WriteIndex(std::uint8_t* row, std::int32_t x, int bits, std::uint8_t index) {
    switch (bits) {
        case 1: {
            const auto bit = static_cast<std::uint8_t>(0x80 >> (x & 7));
            if (index & 1) row[x >> 3] |= bit; else row[x >> 3] &= static_cast<std::uint8_t>(~bit);
            break;
        }
        case 4:
            if (x & 1) row[x >> 1] = static_cast<std::uint8_t>((row[x >> 1] & 0xF0) | (index & 0x0F));
            else row[x >> 1] = static_cast<std::uint8_t>((row[x >> 1] & 0x0F) | (index << 4));
            break;
        default: row[x] = index; break;
    }
}


// One pixel of any depth, as blue, green, red, alpha.
struct DibPixel {
    std::uint8_t b, g, r, a;
};

// Calls `fn(storedRow, x, DibPixel)` for every pixel of a 1-, 4-, 8-, 16-, 24- or 32-bit block
// (alpha 255 below 32 bits). False when the block is not a well-formed packed bitmap.
template <typename Fn>
bool ForEachDibPixel(const Block& block, Fn&& fn) {
    const auto layout = GetDibLayout(block);
    if (!layout) return false;
    DibPixel table[256] = {};
    if (layout->bitCount <= 8) {
        for (std::uint32_t i = 0; i < std::min<std::uint32_t>(layout->colors, 256); ++i) {
            const PaletteEntry e = DibTableEntry(block, *layout, i);
            table[i] = {e.blue, e.green, e.red, 255};
        }
    }
    for (std::int32_t y = 0; y < layout->height; ++y) {
        const std::uint8_t* row = block.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < layout->width; ++x) {
            DibPixel p{};
            switch (layout->bitCount) {
                case 1: case 4: case 8: p = table[ReadIndex(row, x, layout->bitCount)]; break;
                case 16: {
                    const unsigned v = row[2 * x] | (row[2 * x + 1] << 8);
                    const unsigned r = (v >> 10) & 31, g = (v >> 5) & 31, b = v & 31;
                    p = {static_cast<std::uint8_t>(b << 3 | b >> 2), static_cast<std::uint8_t>(g << 3 | g >> 2),
                         static_cast<std::uint8_t>(r << 3 | r >> 2), 255};
                    break;
                }
                case 24: p = {row[3 * x], row[3 * x + 1], row[3 * x + 2], 255}; break;
                default: p = {row[4 * x], row[4 * x + 1], row[4 * x + 2], row[4 * x + 3]}; break;
            }
            fn(y, x, p);
        }
    }
    return true;
}

}  // namespace tellurine
