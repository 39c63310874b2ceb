#include "image/dib_block.h"

#include <cstring>

#include "image/bytes.h"

namespace tellurine {

const PaletteEntry kStandardColors16[16] = {
    {0, 0, 0, 0},       {128, 0, 0, 0},   {0, 128, 0, 0},   {128, 128, 0, 0},
    {0, 0, 128, 0},     {128, 0, 128, 0}, {0, 128, 128, 0}, {192, 192, 192, 0},
    {128, 128, 128, 0}, {255, 0, 0, 0},   {0, 255, 0, 0},   {255, 255, 0, 0},
    {0, 0, 255, 0},     {255, 0, 255, 0}, {0, 255, 255, 0}, {255, 255, 255, 0},
};

BitmapInfoHeader BitmapInfoHeader::Load(const std::uint8_t* p) {
    BitmapInfoHeader h;
    h.size = LoadU32(p);
    h.width = LoadI32(p + 4);
    h.height = LoadI32(p + 8);
    h.planes = LoadU16(p + 12);
    h.bitCount = LoadU16(p + 14);
    h.compression = LoadU32(p + 16);
    h.sizeImage = LoadU32(p + 20);
    h.xPelsPerMeter = LoadI32(p + 24);
    h.yPelsPerMeter = LoadI32(p + 28);
    h.clrUsed = LoadU32(p + 32);
    h.clrImportant = LoadU32(p + 36);
    return h;
}

void BitmapInfoHeader::Store(std::uint8_t* p) const {
    StoreU32(p, size);
    StoreI32(p + 4, width);
    StoreI32(p + 8, height);
    StoreU16(p + 12, planes);
    StoreU16(p + 14, bitCount);
    StoreU32(p + 16, compression);
    StoreU32(p + 20, sizeImage);
    StoreI32(p + 24, xPelsPerMeter);
    StoreI32(p + 28, yPelsPerMeter);
    StoreU32(p + 32, clrUsed);
    StoreU32(p + 36, clrImportant);
}

std::size_t DibRowStride(std::int64_t width, std::int64_t bits) {
    if (width <= 0 || bits <= 0 || width > kMaxDibDimension * std::int64_t{64} || bits > 64) return 0;
    return static_cast<std::size_t>(((bits * width + 31) / 8) & ~std::int64_t{3});
}

int RoundDibDepth(int bits) {
    if (bits <= 1) return 1;
    if (bits <= 4) return 4;
    if (bits <= 8) return 8;
    if (bits <= 16) return 16;
    if (bits <= 24) return 24;
    if (bits <= 32) return 32;
    return 4;
}

namespace {

Block NewDibBlock(std::int32_t width, std::int32_t height, int bits, bool zeroPixels) {
    if (width <= 0 || height <= 0 || width > kMaxDibDimension || height > kMaxDibDimension) return {};
    const int depth = RoundDibDepth(bits);
    // Pixels of fewer than 8 bits are written into their byte bit by bit, so those rows start
    // zero-filled in any case.
    if (depth < 8) zeroPixels = true;
    const std::uint32_t colors = depth == 1 ? 2 : depth == 4 ? 16 : depth == 8 ? 256 : 0;
    const std::size_t stride = DibRowStride(width, depth);
    const std::size_t tableEnd = kInfoHeaderSize + std::size_t{colors} * 4;
    std::size_t pixels = 0, total = 0;
    if (!CheckedMul(stride, static_cast<std::size_t>(height), pixels) || !CheckedAdd(pixels, tableEnd, total))
        return {};
    Block block = zeroPixels ? Block::Allocate(total) : Block::Uninitialised(total);
    if (!block) return block;
    if (!zeroPixels) {
        std::memset(block.data(), 0, tableEnd);
        const std::size_t used = static_cast<std::size_t>(width) * static_cast<std::size_t>(depth / 8);
        if (used < stride) {
            for (std::int32_t y = 0; y < height; ++y)
                std::memset(block.data() + tableEnd + stride * static_cast<std::size_t>(y) + used, 0, stride - used);
        }
    }

    BitmapInfoHeader h;
    h.width = width;
    h.height = height;
    h.bitCount = static_cast<std::uint16_t>(depth);
    h.clrUsed = colors;
    h.clrImportant = colors;
    h.Store(block.data());

    // Whole groups of the 16 standard colours; a 2-entry table has no whole group and stays black.
    std::uint8_t* table = block.data() + kInfoHeaderSize;
    for (std::uint32_t group = 0; group < colors / 16; ++group) {
        for (const PaletteEntry& c : kStandardColors16) {
            table[0] = c.blue;
            table[1] = c.green;
            table[2] = c.red;
            table[3] = 0;
            table += 4;
        }
    }
    return block;
}

}  // namespace

Block CreateDibBlock(std::int32_t width, std::int32_t height, int bits) {
    return NewDibBlock(width, height, bits, true);
}

Block CreateDibBlockForPixels(std::int32_t width, std::int32_t height, int bits) {
    return NewDibBlock(width, height, bits, false);
}

namespace {

bool HasCoreHeader(std::span<const std::uint8_t> header) {
    return header.size() >= 4 && LoadU32(header.data()) != kInfoHeaderSize;
}

// Width, height and depth of either header kind, or false when the block is too short.
bool ReadDimensions(const Block& block, std::int32_t& w, std::int32_t& h, int& bits) {
    if (block.size() < kCoreHeaderSize) return false;
    const std::uint8_t* p = block.data();
    if (LoadU32(p) == kInfoHeaderSize) {
        if (block.size() < kInfoHeaderSize) return false;
        w = LoadI32(p + 4);
        h = LoadI32(p + 8);
        bits = LoadU16(p + 14);
    } else {
        w = LoadU16(p + 4);
        h = LoadU16(p + 6);
        bits = LoadU16(p + 10);
    }
    return true;
}

}  // namespace

std::int32_t DibWidth(const Block& block) {
    std::int32_t w = 0, h = 0;
    int bits = 0;
    return ReadDimensions(block, w, h, bits) ? w : 0;
}

std::int32_t DibHeight(const Block& block) {
    std::int32_t w = 0, h = 0;
    int bits = 0;
    return ReadDimensions(block, w, h, bits) ? h : 0;
}

int DibBitCount(const Block& block) {
    std::int32_t w = 0, h = 0;
    int bits = 0;
    return ReadDimensions(block, w, h, bits) ? bits : 0;
}

std::uint32_t DibColorCount(std::span<const std::uint8_t> header) {
    if (header.size() < kCoreHeaderSize) return 0;
    int bits = 0;
    if (!HasCoreHeader(header)) {
        if (header.size() < kInfoHeaderSize) return 0;
        const std::uint32_t used = LoadU32(header.data() + 32);
        if (used != 0) return used;
        bits = LoadU16(header.data() + 14);
    } else {
        bits = LoadU16(header.data() + 10);
    }
    switch (bits) {
        case 1: return 2;
        case 4: return 16;
        case 8: return 256;
        default: return 0;
    }
}

std::uint32_t DibColorTableSize(std::span<const std::uint8_t> header) {
    if (header.size() < kCoreHeaderSize) return 0;
    if (HasCoreHeader(header)) {
        switch (LoadU16(header.data() + 10)) {
            case 1: return 6;
            case 4: return 48;
            case 8: return 768;
            default: return 0;
        }
    }
    if (header.size() < kInfoHeaderSize) return 0;
    const std::uint32_t used = LoadU32(header.data() + 32);
    if (used != 0) return used * 4;  // wraps only for absurd counts, which GetDibLayout rejects
    switch (LoadU16(header.data() + 14)) {
        case 1: return 8;
        case 4: return 64;
        case 8: return 1024;
        default: return 0;
    }
}

std::uint32_t DibColorCount(const Block& block) { return DibColorCount(block.bytes()); }
std::uint32_t DibColorTableSize(const Block& block) { return DibColorTableSize(block.bytes()); }

std::optional<DibLayout> GetDibLayout(const Block& block) {
    DibLayout l;
    if (!ReadDimensions(block, l.width, l.height, l.bitCount)) return std::nullopt;
    if (l.width <= 0 || l.height <= 0 || l.width > kMaxDibDimension || l.height > kMaxDibDimension)
        return std::nullopt;
    switch (l.bitCount) {
        case 1: case 4: case 8: case 16: case 24: case 32: break;
        default: return std::nullopt;
    }
    const std::uint8_t* p = block.data();
    l.coreHeader = LoadU32(p) != kInfoHeaderSize;
    std::size_t headerSize = kInfoHeaderSize;
    if (l.coreHeader) {
        if (LoadU32(p) != kCoreHeaderSize) return std::nullopt;
        headerSize = kCoreHeaderSize;
        l.tableEntrySize = 3;
    } else {
        const std::uint32_t compression = LoadU32(p + 16);
        if (compression != 0 && compression != kBitFields) return std::nullopt;
        if (compression == kBitFields && l.bitCount != 16 && l.bitCount != 32) return std::nullopt;
        if (compression == kBitFields) headerSize += 12;  // the three colour masks
    }
    l.colors = DibColorCount(block.bytes());
    if (l.colors > 256 && l.bitCount <= 8) return std::nullopt;
    if (l.colors > 65536) return std::nullopt;
    l.tableOffset = headerSize;
    l.pixelOffset = headerSize + std::size_t{l.colors} * l.tableEntrySize;
    l.stride = DibRowStride(l.width, l.bitCount);
    std::size_t pixels = 0, end = 0;
    if (!CheckedMul(l.stride, static_cast<std::size_t>(l.height), pixels) ||
        !CheckedAdd(pixels, l.pixelOffset, end) || end > block.size())
        return std::nullopt;
    return l;
}

PaletteEntry DibTableEntry(const Block& block, const DibLayout& layout, std::uint32_t i) {
    const std::uint8_t* e = block.data() + layout.tableOffset + std::size_t{i} * layout.tableEntrySize;
    return PaletteEntry{e[2], e[1], e[0], 0};
}

Palette CreateDibPalette(const Block& block) {
    Palette palette;
    const auto layout = GetDibLayout(block);
    if (!layout || layout->colors == 0) return palette;
    palette.entries.reserve(layout->colors);
    for (std::uint32_t i = 0; i < layout->colors; ++i)
        palette.entries.push_back(DibTableEntry(block, *layout, i));
    return palette;
}

}  // namespace tellurine
