#include "image/dib.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "image/archive.h"

namespace tellurine {

namespace {

thread_local int paletteSuppressors = 0;

// A new block of the source's size at `bits` (24 or 32) whose pixels `fn(DibPixel) -> DibPixel` makes.
template <typename Fn>
Block ConvertPixels(const Block& source, int bits, Fn&& fn) {
    Block out = CreateDibBlock(DibWidth(source), DibHeight(source), bits);
    const auto dst = GetDibLayout(out);
    if (!dst) return {};
    const int bytes = bits / 8;
    const bool ok = ForEachDibPixel(source, [&](std::int32_t y, std::int32_t x, DibPixel p) {
        const DibPixel q = fn(p);
        std::uint8_t* d = out.data() + dst->RowOffset(y) + std::size_t{static_cast<std::uint32_t>(x)} * bytes;
        d[0] = q.b;
        d[1] = q.g;
        d[2] = q.r;
        if (bytes == 4) d[3] = q.a;
    });
    if (!ok) return {};
    return out;
}

}  // namespace

CDIB::PaletteSuppressor::PaletteSuppressor() { ++paletteSuppressors; }
CDIB::PaletteSuppressor::~PaletteSuppressor() { --paletteSuppressors; }

CDIB::CDIB() = default;
CDIB::~CDIB() = default;

CDIB::CDIB(const CDIB& other) {
    CopyImageFrom(other);
    loaderValue = other.loaderValue;
}

CDIB& CDIB::operator=(const CDIB& other) {
    if (this == &other) return *this;
    Clear();
    CopyImageFrom(other);
    resolution = other.resolution;
    loaderValue = other.loaderValue;
    loaderIndex = other.loaderIndex;
    loaderReal = other.loaderReal;
    loaderFlag1 = other.loaderFlag1;
    loaderFlag2 = other.loaderFlag2;
    return *this;
}

CDIB::CDIB(CDIB&& other) noexcept = default;
CDIB& CDIB::operator=(CDIB&& other) noexcept = default;

void CDIB::CopyImageFrom(const CDIB& other) {
    block_ = other.block_.Duplicate();
    RebuildPalette();
    transparentIndex = other.transparentIndex;
    savedTableBits_ = other.savedTableBits_;
    savedTable_ = other.savedTable_;
    if (other.library_.IsValid()) {
        library_ = other.library_;
        libraryChanged_ = true;
    }
}

void CDIB::RebuildPalette() {
    palette_ = DibColorCount(block_) != 0 ? CreateDibPalette(block_) : Palette{};
}

Block CDIB::DetachBlock() {
    Block block = std::move(block_);
    block_.Reset();
    return block;
}

bool CDIB::CopyFromBlock(const Block& block) {
    Block copy = block.Duplicate();
    if (!copy) return false;
    block_ = std::move(copy);
    RebuildPalette();
    resolution = 0;
    loaderIndex = -1;
    loaderReal = 0.0;
    loaderFlag1 = 0;
    loaderFlag2 = 0;
    return true;
}

void CDIB::Attach(Block&& block) {
    block_ = std::move(block);
    if (paletteSuppressors == 0) RebuildPalette();
}

void CDIB::Clear() {
    block_.Reset();
    palette_ = Palette{};
    savedTable_.clear();
    savedTableBits_ = 0;
}

int CDIB::SaveColorTable(int bits) {
    const auto layout = GetDibLayout(block_);
    if (!layout || layout->bitCount != 8 || bits < 0 || bits > 8) return 0;
    const std::uint32_t entries = 1u << bits;
    if (layout->colors < entries) return 0;
    std::vector<std::uint8_t> table;
    table.reserve(entries * 3);
    for (std::uint32_t i = 0; i < entries; ++i) {
        const PaletteEntry e = DibTableEntry(block_, *layout, i);
        table.insert(table.end(), {e.red, e.green, e.blue});
    }
    savedTable_ = std::move(table);
    savedTableBits_ = static_cast<std::uint32_t>(bits);
    return 1;
}

int CDIB::UsesIndex(int index) const {
    const auto layout = GetDibLayout(block_);
    if (!layout || layout->bitCount != 8 || index < 0 || index > 255) return 0;
    for (std::int32_t y = 0; y < layout->height; ++y) {
        const std::uint8_t* row = block_.data() + layout->RowOffset(y);
        if (std::memchr(row, index, static_cast<std::size_t>(layout->width)) != nullptr) return 1;
    }
    return 0;
}

void CDIB::ApplyTransparentIndex() {
    const auto layout = GetDibLayout(block_);
    if (!layout || layout->bitCount != 8 || transparentIndex == -1) return;
    Block out = CreateDibBlock(layout->width, layout->height, 32);
    const auto dst = GetDibLayout(out);
    if (!dst) return;
    for (std::int32_t y = 0; y < layout->height; ++y) {
        const std::uint8_t* s = block_.data() + layout->RowOffset(y);
        std::uint8_t* d = out.data() + dst->RowOffset(y);
        for (std::int32_t x = 0; x < layout->width; ++x, d += 4) {
            const std::uint8_t index = s[x];
            if (index < layout->colors) {
                const PaletteEntry e = DibTableEntry(block_, *layout, index);
                d[0] = e.blue;
                d[1] = e.green;
                d[2] = e.red;
            }
            d[3] = index == transparentIndex ? 0 : 255;
        }
    }
    Attach(std::move(out));
}

Block FlattenDib(const Block& source, COLORREF background) {
    if (DibBitCount(source) < 8) return {};
    const std::uint8_t br = GetRValue(background), bg = GetGValue(background), bb = GetBValue(background);
    return ConvertPixels(source, 24, [&](DibPixel p) {
        return DibPixel{ComposeOver(p.b, p.a, bb), ComposeOver(p.g, p.a, bg), ComposeOver(p.r, p.a, br), 255};
    });
}

Block ConvertDibTo32(const Block& source, bool useKey, COLORREF key) {
    const int bits = DibBitCount(source);
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return {};
    const std::uint8_t kr = GetRValue(key), kg = GetGValue(key), kb = GetBValue(key);
    return ConvertPixels(source, 32, [&](DibPixel p) {
        if (useKey) p.a = (p.r == kr && p.g == kg && p.b == kb) ? 0 : 255;
        return p;
    });
}

void CDIB::Flatten(COLORREF background) {
    if (Block out = FlattenDib(block_, background)) Attach(std::move(out));
}

void CDIB::ConvertTo32(bool useKey, COLORREF keyColor) {
    if (Block out = ConvertDibTo32(block_, useKey, keyColor)) Attach(std::move(out));
}

CDIB CDIB::MakeKeyedCopy() const {
    CDIB copy(*this);
    if (copy.BitCount() < 32) copy.ConvertTo32(false, 0);
    if (copy.BitCount() != 32) return CDIB{};
    Block out = ConvertPixels(copy.block_, 24, [](DibPixel p) {
        if (p.a < 64) return DibPixel{0xFF, 0x00, 0xFF, 255};
        return DibPixel{ComposeOver(p.b, p.a, 0xE1), ComposeOver(p.g, p.a, 0xE1), ComposeOver(p.r, p.a, 0xE1), 255};
    });
    if (!out) return CDIB{};
    copy.Attach(std::move(out));
    return copy;
}

std::int32_t CDIB::DotsPerMeterFromDpi(std::int32_t dpi) {
    const double value = (dpi == 0 ? kDefaultResolution : dpi) * 3937.0 / 10000.0 * 100.0 + 0.5;
    return static_cast<std::int32_t>(value);
}

bool CDIB::DpiFromDotsPerMeter(double dotsPerMeter, std::int32_t& dpi) {
    const double value = std::round(dotsPerMeter / 100.0 * 10000.0 / 3937.0);
    if (!std::isfinite(value) || value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max())
        return false;
    dpi = static_cast<std::int32_t>(value);
    return true;
}

bool CDIB::SyncToLibraryImage() {
    const auto layout = GetDibLayout(block_);
    const FreeImageApi* fi = GetFreeImage();
    if (!layout || layout->coreHeader || fi == nullptr) return false;
    const int w = layout->width, h = layout->height, bpp = layout->bitCount;
    FIBITMAP* bitmap = bpp == 16 ? fi->AllocateT(FIT_BITMAP, w, h, bpp, FI16_555_RED_MASK, FI16_555_GREEN_MASK,
                                                 FI16_555_BLUE_MASK)
                                 : fi->AllocateT(FIT_BITMAP, w, h, bpp, 0, 0, 0);
    if (bitmap == nullptr) return false;
    LibraryBitmap image(bitmap);
    if (bpp <= 8) {
        RGBQUAD* pal = fi->GetPalette(bitmap);
        const unsigned n = std::min<unsigned>(fi->GetColorsUsed(bitmap), layout->colors);
        for (unsigned i = 0; pal != nullptr && i < n; ++i) {
            const PaletteEntry e = DibTableEntry(block_, *layout, i);
            pal[i] = RGBQUAD{e.blue, e.green, e.red, 0};
        }
    }
    const std::size_t rowBytes = std::min<std::size_t>(layout->stride, fi->GetPitch(bitmap));
    for (int y = 0; y < h; ++y) std::memcpy(fi->GetScanLine(bitmap, y), block_.data() + layout->RowOffset(y), rowBytes);
    const auto dotsPerMeter = static_cast<unsigned>(DotsPerMeterFromDpi(resolution));
    fi->SetDotsPerMeterX(bitmap, dotsPerMeter);
    fi->SetDotsPerMeterY(bitmap, dotsPerMeter);
    library_ = std::move(image);
    libraryChanged_ = false;
    return true;
}

bool CDIB::SyncFromLibraryImage() {
    const FreeImageApi* fi = GetFreeImage();
    if (!library_.IsValid() || fi == nullptr) return false;
    // Depths a packed bitmap holds as they are; anything else goes through a 32-bit copy.
    FIBITMAP* source = library_.Get();
    unsigned bpp = fi->GetBPP(source);
    LibraryBitmap converted;
    if (fi->GetImageType(source) != FIT_BITMAP || (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 24 && bpp != 32)) {
        converted.Reset(fi->ConvertTo32Bits(source));
        if (!converted.IsValid()) return false;
        source = converted.Get();
        bpp = 32;
    }
    const unsigned w = fi->GetWidth(source), h = fi->GetHeight(source);
    if (w == 0 || h == 0 || w > static_cast<unsigned>(kMaxDibDimension) || h > static_cast<unsigned>(kMaxDibDimension))
        return false;
    Block out = CreateDibBlock(static_cast<std::int32_t>(w), static_cast<std::int32_t>(h), static_cast<int>(bpp));
    const auto layout = GetDibLayout(out);
    if (!layout) return false;
    if (bpp <= 8) {
        std::uint8_t* table = out.data() + layout->tableOffset;
        std::memset(table, 0, std::size_t{layout->colors} * 4);
        const RGBQUAD* pal = fi->GetPalette(source);
        const unsigned n = pal != nullptr ? std::min<unsigned>(fi->GetColorsUsed(source), layout->colors) : 0;
        for (unsigned i = 0; i < n; ++i) {
            table[4 * i] = pal[i].rgbBlue;
            table[4 * i + 1] = pal[i].rgbGreen;
            table[4 * i + 2] = pal[i].rgbRed;
        }
    }
    const std::size_t rowBytes = std::min<std::size_t>(layout->stride, fi->GetPitch(source));
    for (unsigned y = 0; y < h; ++y)
        std::memcpy(out.data() + layout->RowOffset(static_cast<std::int32_t>(y)), fi->GetScanLine(source, static_cast<int>(y)),
                    rowBytes);
    std::int32_t dpi = 0;
    if (DpiFromDotsPerMeter(fi->GetDotsPerMeterX(source), dpi)) resolution = dpi;
    Attach(std::move(out));
    libraryChanged_ = false;
    return true;
}

bool CDIB::Serialize(Archive& ar) {
    if (ar.IsStoring()) {
        const auto layout = GetDibLayout(block_);
        if (!layout) {
            ar.WriteU32(0);
            return true;
        }
        // Header, colour table and rows, as the 40-byte header describes them.
        std::size_t size = kInfoHeaderSize + DibColorTableSize(block_) + layout->stride * layout->height;
        size = std::min(size, block_.size());
        ar.WriteU32(1);
        ar.WriteU32(static_cast<std::uint32_t>(size));
        ar.Write(block_.data(), size);
        return true;
    }
    std::uint32_t flag = 0;
    if (!ar.ReadU32(flag)) return false;
    if (flag == 0) {
        Clear();
        return true;
    }
    std::uint32_t size = 0;
    if (!ar.ReadU32(size) || size > ar.Remaining()) return false;
    Block block = Block::Allocate(size);
    if (!block || !ar.Read(block.data(), size) || !GetDibLayout(block)) return false;
    block_ = std::move(block);
    RebuildPalette();
    return true;
}

}  // namespace tellurine
