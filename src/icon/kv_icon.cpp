#include "icon/kv_icon.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <optional>

#include "icon/standard_palette.h"
#include "image/archive.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/palette_map.h"

namespace tellurine {

namespace {

constexpr std::uint32_t kWhite = 0x00FFFFFF;

// Sizes of the longer bitmap information headers an icon image may begin with.
constexpr std::size_t kV4HeaderSize = 108;
constexpr std::size_t kV5HeaderSize = 124;
// The compression with four colour masks (kBitFields has three).
constexpr std::uint32_t kAlphaBitFields = 6;

bool IsConvertibleDepth(int bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
}

// The first `count` entries of the block's colour table; the caller has checked that they lie
// inside the block.
Palette ReadColorTable(const Block& block, const IconImageLayout& layout, std::uint32_t count) {
    Palette palette;
    palette.entries.reserve(count);
    const std::uint8_t* e = block.data() + layout.tableOffset;
    for (std::uint32_t i = 0; i < count; ++i, e += 4) palette.entries.push_back(PaletteEntry{e[2], e[1], e[0], 0});
    return palette;
}

// Grey level of a native device-bitmap pixel (0x00RRGGBB): the mean of its three channels, so
// a grey (a, a, a) gives back a.
std::uint8_t GreyLevel(std::uint32_t native) {
    const unsigned sum = (native & 0xFF) + ((native >> 8) & 0xFF) + ((native >> 16) & 0xFF);
    return static_cast<std::uint8_t>(sum / 3);
}

}  // namespace

CKvIcon::CKvIcon(const CKvIcon& other) { CopyFrom(other); }

CKvIcon& CKvIcon::operator=(const CKvIcon& other) {
    if (this != &other) {
        CopyFrom(other);
        bitmap.Clear();
    }
    return *this;
}

int CKvIcon::FormatBits(std::uint32_t colors, bool alpha) {
    switch (colors) {
        case 0: return alpha ? 32 : 24;
        case 2: return 1;
        case 16: return 4;
        case 256: return 8;
        default: return static_cast<int>(std::min<std::uint32_t>(colors, 0xFFFF));
    }
}

bool CKvIcon::ComputeLayout(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha,
                            IconImageLayout& layout) {
    if (width <= 0 || height <= 0 || width > kMaxDibDimension || height > kMaxDibDimension) return false;
    const int bits = FormatBits(colors, alpha);
    if (bits <= 0 || bits > 32) return false;  // also bounds the colour count to 32 or 256

    IconImageLayout l;
    l.bits = bits;
    l.colorStride = DibRowStride(width, bits);
    l.maskStride = DibRowStride(width, 1);
    if (l.colorStride == 0 || l.maskStride == 0) return false;
    const auto rows = static_cast<std::size_t>(height);
    std::size_t rowBytes = 0, pixels = 0, total = 0;
    if (!CheckedMul(l.colorStride, rows, l.colorImageSize) || !CheckedMul(l.maskStride, rows, l.maskImageSize) ||
        !CheckedAdd(l.colorStride, l.maskStride, rowBytes) || !CheckedMul(rowBytes, rows, pixels) ||
        !CheckedAdd(pixels, kInfoHeaderSize + std::size_t{colors} * 4, total))
        return false;
    if (total > kMaxBlockBytes || total > std::numeric_limits<std::uint32_t>::max()) return false;
    l.tableOffset = kInfoHeaderSize;
    l.pixelOffset = kInfoHeaderSize + std::size_t{colors} * 4;
    l.maskOffset = l.pixelOffset + l.colorImageSize;
    l.blockSize = total;
    layout = l;
    return true;
}

bool CKvIcon::GetLayout(IconImageLayout& layout) const {
    if (block_.empty()) return false;
    IconImageLayout l;
    if (!ComputeLayout(static_cast<std::int32_t>(width_), static_cast<std::int32_t>(height_), colors_, alpha_, l) ||
        l.blockSize != block_.size())
        return false;
    layout = l;
    return true;
}

void CKvIcon::ClearFormat() {
    block_.Reset();
    pending_.reset();
    std::vector<std::uint8_t>().swap(storedPng_);
    width_ = 0;
    height_ = 0;
    colors_ = 0;
    blockSize_ = 0;
    alpha_ = false;
    compressed_ = false;
}

int CKvIcon::SetFormat(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha) {
    IconImageLayout l;
    Block block;
    if (ComputeLayout(width, height, colors, alpha, l)) block = NewImageBlock(width, height, colors, l);
    if (!block) {
        ClearFormat();
        return 0;
    }
    AdoptFormat(std::move(block), width, height, colors, alpha);
    return 1;
}

void CKvIcon::AdoptFormat(Block&& block, std::int32_t width, std::int32_t height, std::uint32_t colors,
                          bool alpha) {
    blockSize_ = static_cast<std::uint32_t>(block.size());
    block_ = std::move(block);
    pending_.reset();
    std::vector<std::uint8_t>().swap(storedPng_);
    width_ = static_cast<std::uint32_t>(width);
    height_ = static_cast<std::uint32_t>(height);
    colors_ = colors;
    alpha_ = alpha;
    compressed_ = false;
}

int CKvIcon::CopyFrom(const CKvIcon& other) {
    if (this == &other) return 1;
    other.DecodePendingPixels();
    Block copy;
    if (!other.block_.empty()) {
        copy = other.block_.Duplicate();
        if (!copy) return 0;
    }
    block_ = std::move(copy);
    pending_.reset();
    std::vector<std::uint8_t>().swap(storedPng_);  // a copy encodes its pixels when written
    secondBlock_.Reset();
    std::vector<std::uint8_t>().swap(workBuffer_);
    width_ = other.width_;
    height_ = other.height_;
    colors_ = other.colors_;
    blockSize_ = other.blockSize_;
    alpha_ = other.alpha_;
    compressed_ = other.compressed_;
    attribute1_ = other.attribute1_;
    attribute2_ = other.attribute2_;
    pointX_ = other.pointX_;
    pointY_ = other.pointY_;
    macElement_ = other.macElement_;
    return 1;
}

Palette CKvIcon::BuildDisplayPalette() {
    DecodePendingPixels();
    if (block_.size() < kInfoHeaderSize) return {};
    // The colour-count rule of the header, bounded by the table the format reserves.
    const std::uint32_t count = std::min(DibColorCount(block_.bytes()), colors_);
    const std::size_t available = (block_.size() - kInfoHeaderSize) / 4;
    if (count == 0 || count > available || count > 256) return {};

    IconImageLayout table;
    table.tableOffset = kInfoHeaderSize;
    Palette palette;
    try {
        palette = ReadColorTable(block_, table, count);
    } catch (const std::bad_alloc&) {
        return {};
    }
    if (count == kStandardPaletteSize &&
        !std::equal(palette.entries.begin(), palette.entries.end(), StandardColors256().begin()))
        standardPalette_ = false;
    return palette;
}

int CKvIcon::ToBitmaps(DeviceBitmap& color, DeviceBitmap& mask, const Palette* palette) const {
    DecodePendingPixels();
    // Device bitmaps are true colour, so an indexed pixel shows its table colour exactly and no
    // palette has to be realised; the parameter keeps the shape of the callers that pass one.
    (void)palette;
    IconImageLayout l;
    if (!GetLayout(l) || !IsConvertibleDepth(l.bits)) return 0;
    const auto w = static_cast<int>(width_);
    const auto h = static_cast<int>(height_);
    DeviceBitmap c = DeviceBitmap::Create(w, h);
    DeviceBitmap m = DeviceBitmap::Create(w, h);
    if (c.IsNull() || m.IsNull()) return 0;

    std::uint32_t table[256] = {};
    const std::uint32_t tableCount = l.bits <= 8 ? std::min<std::uint32_t>(colors_, 256) : 0;
    for (std::uint32_t i = 0; i < tableCount; ++i) {
        const std::uint8_t* e = block_.data() + l.tableOffset + 4 * std::size_t{i};
        table[i] = e[0] | (std::uint32_t{e[1]} << 8) | (std::uint32_t{e[2]} << 16);
    }

    for (int stored = 0; stored < h; ++stored) {
        const std::uint8_t* s = block_.data() + l.pixelOffset + l.colorStride * static_cast<std::size_t>(stored);
        const std::uint8_t* andRow = block_.data() + l.maskOffset + l.maskStride * static_cast<std::size_t>(stored);
        std::uint32_t* dc = c.Row(h - 1 - stored);
        std::uint32_t* dm = m.Row(h - 1 - stored);
        for (int x = 0; x < w; ++x) {
            switch (l.bits) {
                case 24:
                    dc[x] = s[3 * x] | (std::uint32_t{s[3 * x + 1]} << 8) | (std::uint32_t{s[3 * x + 2]} << 16);
                    break;
                case 32: {
                    dc[x] = s[4 * x] | (std::uint32_t{s[4 * x + 1]} << 8) | (std::uint32_t{s[4 * x + 2]} << 16);
                    const std::uint32_t a = s[4 * x + 3];
                    dm[x] = a | (a << 8) | (a << 16);
                    continue;
                }
                default: {
                    const std::uint8_t index = ReadIndex(s, x, l.bits);
                    dc[x] = index < tableCount ? table[index] : 0;
                    break;
                }
            }
            dm[x] = ReadIndex(andRow, x, 1) ? kWhite : 0;
        }
    }
    color = std::move(c);
    mask = std::move(m);
    return 1;
}

int CKvIcon::FromBitmaps(const DeviceBitmap& color, const DeviceBitmap& mask, const Palette* palette) {
    DecodePendingPixels();
    IconImageLayout l;
    if (!GetLayout(l) || !IsConvertibleDepth(l.bits)) return 0;
    const auto w = static_cast<int>(width_);
    const auto h = static_cast<int>(height_);
    if (color.Width() != w || color.Height() != h || mask.Width() != w || mask.Height() != h) return 0;

    // Everything that can fail comes first, so that a failure leaves the image as it was.
    Palette target;
    Block mapped;
    std::size_t mappedOffset = 0, mappedStride = 0;
    if (l.bits <= 8) {
        try {
            target = palette && !palette->empty() ? *palette : ReadColorTable(block_, l, colors_);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        const auto entries = static_cast<int>(std::min<std::size_t>({colors_, target.size(), 256}));
        if (entries == 0) return 0;
        mapped = MapToPalette(DeviceBitmapToDib(color, 24), target, entries, false);
        const auto ml = GetDibLayout(mapped);
        if (!ml || ml->bitCount != 8 || ml->width != w || ml->height != h) return 0;
        mappedOffset = ml->pixelOffset;
        mappedStride = ml->stride;
    }

    std::uint8_t* base = block_.data();
    for (int stored = 0; stored < h; ++stored) {
        const int y = h - 1 - stored;
        std::uint8_t* d = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(stored);
        std::uint8_t* andRow = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(stored);
        const std::uint32_t* sc = color.Row(y);
        const std::uint32_t* sm = mask.Row(y);
        std::memset(andRow, 0, l.maskStride);
        for (int x = 0; x < w; ++x) {
            bool transparent = (sm[x] & kWhite) == kWhite;
            switch (l.bits) {
                case 24:
                    d[3 * x] = static_cast<std::uint8_t>(sc[x]);
                    d[3 * x + 1] = static_cast<std::uint8_t>(sc[x] >> 8);
                    d[3 * x + 2] = static_cast<std::uint8_t>(sc[x] >> 16);
                    break;
                case 32: {
                    const std::uint8_t alpha = GreyLevel(sm[x]);
                    d[4 * x] = static_cast<std::uint8_t>(sc[x]);
                    d[4 * x + 1] = static_cast<std::uint8_t>(sc[x] >> 8);
                    d[4 * x + 2] = static_cast<std::uint8_t>(sc[x] >> 16);
                    d[4 * x + 3] = alpha;
                    transparent = alpha == 0;
                    break;
                }
                default: {
                    const std::uint8_t* mrow = mapped.data() + mappedOffset + mappedStride * static_cast<std::size_t>(stored);
                    WriteIndex(d, x, l.bits, mrow[x]);
                    break;
                }
            }
            if (transparent) WriteIndex(andRow, x, 1, 1);
        }
    }

    if (l.bits <= 8) WriteColorTable(target);
    WriteBitmapHeader(l);
    return 1;
}

void CKvIcon::WriteColorTable(const Palette& palette) {
    IconImageLayout l;
    if (!GetLayout(l) || l.bits > 8) return;
    std::uint8_t* e = block_.data() + l.tableOffset;
    for (std::uint32_t i = 0; i < colors_; ++i, e += 4) {
        const PaletteEntry c = i < palette.size() ? palette.entries[i] : PaletteEntry{};
        e[0] = c.blue;
        e[1] = c.green;
        e[2] = c.red;
        e[3] = 0;
    }
}

void CKvIcon::WriteBitmapHeader(const IconImageLayout& l) {
    std::uint8_t* base = block_.data();
    BitmapInfoHeader header = BitmapInfoHeader::Load(base);
    header.size = kInfoHeaderSize;
    header.width = static_cast<std::int32_t>(width_);
    header.height = 2 * static_cast<std::int32_t>(height_);
    header.planes = 1;
    header.bitCount = static_cast<std::uint16_t>(l.bits);
    header.compression = 0;
    header.sizeImage = static_cast<std::uint32_t>(l.colorImageSize);
    header.clrUsed = colors_;
    header.clrImportant = 0;  // every colour is important; readers warn about any other value
    header.Store(base);
}

int CKvIcon::ToIndices(std::vector<std::uint8_t>& indices) const {
    DecodePendingPixels();
    IconImageLayout l;
    if (!GetLayout(l) || (l.bits != 1 && l.bits != 4 && l.bits != 8)) return 0;
    const auto w = static_cast<std::size_t>(width_);
    const auto h = static_cast<std::size_t>(height_);
    std::vector<std::uint8_t> out(w * h);
    for (std::size_t stored = 0; stored < h; ++stored) {
        const std::uint8_t* s = block_.data() + l.pixelOffset + l.colorStride * stored;
        std::uint8_t* d = out.data() + (h - 1 - stored) * w;
        for (std::size_t x = 0; x < w; ++x) d[x] = ReadIndex(s, static_cast<std::int32_t>(x), l.bits);
    }
    indices = std::move(out);
    return 1;
}

int CKvIcon::FromIndices(const std::vector<std::uint8_t>& indices, const DeviceBitmap& mask, const Palette& palette) {
    DecodePendingPixels();
    IconImageLayout l;
    if (!GetLayout(l) || (l.bits != 1 && l.bits != 4 && l.bits != 8)) return 0;
    const auto w = static_cast<int>(width_);
    const auto h = static_cast<int>(height_);
    if (indices.size() != static_cast<std::size_t>(w) * static_cast<std::size_t>(h) || mask.Width() != w ||
        mask.Height() != h)
        return 0;
    const int limit = 1 << l.bits;
    if (std::any_of(indices.begin(), indices.end(), [limit](std::uint8_t i) { return i >= limit; })) return 0;
    std::uint8_t* base = block_.data();
    for (int stored = 0; stored < h; ++stored) {
        const int y = h - 1 - stored;
        std::uint8_t* d = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(stored);
        std::uint8_t* andRow = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(stored);
        const std::uint8_t* si = indices.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(w);
        const std::uint32_t* sm = mask.Row(y);
        std::memset(d, 0, l.colorStride);
        std::memset(andRow, 0, l.maskStride);
        for (int x = 0; x < w; ++x) {
            WriteIndex(d, x, l.bits, si[x]);
            if ((sm[x] & kWhite) == kWhite) WriteIndex(andRow, x, 1, 1);
        }
    }
    WriteColorTable(palette);
    WriteBitmapHeader(l);
    return 1;
}

int CKvIcon::ReadImage(Archive& ar, std::uint32_t byteCount, std::uint32_t bitCount) {
    if (!ar.IsLoading() || ar.Failed()) return 0;
    const std::size_t start = ar.Position();
    std::uint8_t signature[4];
    if (!ar.Peek(signature, sizeof signature)) return 0;

    if (LoadU32(signature) == kPngSignature) {
        // The archive does not lend out its bytes, so the stream is copied out, once its length
        // is known to be there.
        if (byteCount == 0 || byteCount > ar.Remaining()) return 0;
        std::vector<std::uint8_t> png;
        try {
            png.resize(byteCount);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        if (!ar.Read(png.data(), png.size())) return 0;
        if (!ReadPngImage(png, bitCount, &png)) {
            ar.Seek(start);
            return 0;
        }
        return 1;
    }

    if (ar.Remaining() < kInfoHeaderSize) return 0;
    std::uint8_t raw[kInfoHeaderSize];
    if (!ar.Read(raw, sizeof raw)) return 0;
    ar.Seek(start);
    BitmapInfoHeader header = BitmapInfoHeader::Load(raw);
    // The 108- and 124-byte headers begin with the 40 bytes of the plain one; what they add
    // (colour masks, colour space, a colour profile after the pixels) is not used. The colour
    // table follows the header whatever its size.
    const std::size_t headerSize = header.size;
    if (headerSize != kInfoHeaderSize && headerSize != kV4HeaderSize && headerSize != kV5HeaderSize) return 0;

    const std::int32_t width = header.width;
    const std::int32_t height = header.height / 2;
    std::uint32_t colors = header.clrUsed;
    if (colors == 0 && header.bitCount <= 8) colors = std::uint32_t{1} << header.bitCount;
    const bool alpha = header.bitCount == 32;

    // The size is checked against the data before anything is allocated: the header, the table
    // and the colour pixels must all be there. The AND mask may stop short at the end of the
    // data, as it does in icons whose last image has unpadded or no mask rows; what is missing
    // is zero-filled, so the missing mask bits read as opaque.
    const std::size_t extra = headerSize - kInfoHeaderSize;
    IconImageLayout l;
    if (!ComputeLayout(width, height, colors, alpha, l) || l.maskOffset > ar.Remaining() ||
        extra > ar.Remaining() - l.maskOffset)
        return 0;
    // Written whole just below, so not zero-filled first.
    Block block = Block::Uninitialised(l.blockSize);
    if (!block) return 0;
    // The image's own bytes end where its directory entry says, when that holds the colour
    // pixels at least: a mask left out (as some writers leave it out of 32-bit images) is then
    // not taken from the next image.
    const std::size_t available =
        byteCount >= l.maskOffset + extra ? std::min<std::size_t>(byteCount, ar.Remaining()) : ar.Remaining();
    std::size_t filled = 0;
    if (extra == 0) {
        filled = std::min(block.size(), available);
        if (!ar.Read(block.data(), filled)) {
            ar.Seek(start);
            return 0;
        }
    } else {
        // Kept with the plain header: its size field says 40, and pixels described by colour
        // masks are taken as the plain layout they are read as.
        header.size = kInfoHeaderSize;
        if (header.compression == kBitFields || header.compression == kAlphaBitFields) header.compression = 0;
        header.Store(block.data());
        const std::size_t rest = block.size() - kInfoHeaderSize;
        if (!ar.Seek(start + headerSize)) {
            ar.Seek(start);
            return 0;
        }
        filled = kInfoHeaderSize + std::min(rest, available - headerSize);
        if (!ar.Read(block.data() + kInfoHeaderSize, filled - kInfoHeaderSize)) {
            ar.Seek(start);
            return 0;
        }
    }
    std::memset(block.data() + filled, 0, block.size() - filled);

    AdoptFormat(std::move(block), width, height, colors, alpha);
    return 1;
}

int CKvIcon::ReadImage(std::span<const std::uint8_t> data, std::uint32_t byteCount, std::uint32_t bitCount) {
    if (data.size() >= 4 && LoadU32(data.data()) == kPngSignature) {
        if (byteCount == 0 || byteCount > data.size()) return 0;
        return ReadPngImage(data.first(byteCount), bitCount);
    }
    Archive ar = Archive::ForLoading(data);
    return ReadImage(ar, byteCount, bitCount);
}

// A 64-bit digest of a block's bytes (FNV-1a over 8-byte words, in four lanes): enough to tell
// whether an image was changed since it was decoded; a change that kept the digest is out of all
// practical reach.
std::uint64_t CKvIcon::HashBlock(const Block& block) {
    // Four interleaved lanes over 32-byte strides, so that the multiplications overlap.
    constexpr std::uint64_t kPrime = 0x100000001B3ULL;
    std::uint64_t lanes[4] = {0xCBF29CE484222325ULL, 0x84222325CBF29CE4ULL, 0x9CE484222325CBF2ULL, 0x2325CBF29CE48422ULL};
    const std::uint8_t* p = block.data();
    const std::size_t strides = block.size() / 32;
    for (std::size_t i = 0; i < strides; ++i, p += 32) {
        for (int k = 0; k < 4; ++k) {
            std::uint64_t word = 0;
            std::memcpy(&word, p + 8 * k, 8);
            lanes[k] = (lanes[k] ^ word) * kPrime;
        }
    }
    std::uint64_t hash = lanes[0];
    for (int k = 1; k < 4; ++k) hash = (hash ^ lanes[k]) * kPrime;
    for (const std::uint8_t* end = block.data() + block.size(); p < end; ++p) hash = (hash ^ *p) * kPrime;
    return hash ^ block.size();
}

namespace {

// Where libpng puts a picture's rows in an icon block: the colour rows, bottom-up.
BgraRows BottomUpRows(std::uint8_t* base, const IconImageLayout& l, std::int32_t height) {
    return {base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(height - 1),
            -static_cast<std::ptrdiff_t>(l.colorStride)};
}

// A plain RGBA stream is inflated in the block itself, from the header's last byte into the mask
// (at least 4 bytes a row, where the inflated rows need one): no buffer of the picture's size is
// touched besides the block. The header and the mask are then made right again. False when the
// short path steps aside (the colour rows are then undefined).
bool InflatePlainRgbaInPlace(Block& block, std::span<const std::uint8_t> png, std::int32_t width, std::int32_t height,
                             const IconImageLayout& l) {
    std::uint8_t* const base = block.data();
    const std::uint8_t headerByte = base[l.pixelOffset - 1];
    const bool inflated = DecodePlainRgbaPngInPlace(png, base + l.pixelOffset, width, height);
    base[l.pixelOffset - 1] = headerByte;
    if (inflated) std::memset(base + l.maskOffset, 0, l.maskImageSize);
    return inflated;
}

}  // namespace

bool CKvIcon::ReadPngImageLater(std::span<const std::uint8_t> png, std::int32_t width, std::int32_t height,
                                const IconImageLayout& l, std::vector<std::uint8_t>* owned) {
    // Checking a stream inflates it once, and decoding it again: where its pixels are needed that
    // is twice the work, which a large picture (10 ms for 1024 x 1024) decoded at once is spared.
    constexpr std::uint64_t kMostPixelBytesLater = std::uint64_t{1} << 20;
    if (std::uint64_t{static_cast<std::uint32_t>(width)} * static_cast<std::uint32_t>(height) * 4 > kMostPixelBytesLater ||
        !IsIntactPlainRgbaPng(png, PngCheckMemory::SmallWindow))
        return false;
    // The block is allocated now, so that a lack of memory shows here and not where the pixels
    // are first needed; its pages stay untouched until then.
    Block block = NewImageBlock(width, height, 0, l, /*zeroed=*/false);
    if (!block) return false;
    std::vector<std::uint8_t> stream;
    if (owned != nullptr)
        stream = std::move(*owned);
    else
        stream.assign(png.begin(), png.end());
    auto pending = std::make_unique<PendingPixels>();
    AdoptFormat(std::move(block), width, height, 0, true);
    compressed_ = true;
    storedPng_ = std::move(stream);
    storedPlainPng_ = true;
    pending_ = std::move(pending);
    return true;
}

int CKvIcon::ReadPngImage(std::span<const std::uint8_t> png, std::uint32_t bitCount,
                          std::vector<std::uint8_t>* owned) {
    // The directory's depth is kept when the picture fits it without loss; any other depth
    // (0, or one no icon image has) means 32 bits.
    const int depth = static_cast<int>(std::min<std::uint32_t>(bitCount, 32));
    const bool lowerDepth = depth == 1 || depth == 4 || depth == 8 || depth == 24;
    std::int32_t width = 0, height = 0;
    IconImageLayout l;
    const bool plain = PngDimensions(png, width, height) &&
                       IsPlainRgbaPng(png, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)) &&
                       ComputeLayout(width, height, 0, true, l) && l.maskImageSize >= static_cast<std::size_t>(height);
    // A picture kept at 32 bits may wait to be decoded; at a lower depth the pixels decide whether
    // they fit it.
    if (plain && !lowerDepth && ReadPngImageLater(png, width, height, l, owned)) return 1;

    // The stream is decoded at 32 bits with alpha, straight into a new icon block, bottom-up.
    Block block;
    if (plain) {
        block = NewImageBlock(width, height, 0, l);
        if (block && !InflatePlainRgbaInPlace(block, png, width, height, l)) block.Reset();
    }
    const bool decoded = block || DecodePngToBgra(png, [&](std::int32_t w, std::int32_t h) -> BgraRows {
        width = w;
        height = h;
        block = ComputeLayout(w, h, 0, true, l) ? NewImageBlock(w, h, 0, l) : Block();
        if (!block) return {};
        return BottomUpRows(block.data(), l, h);
    });
    if (!decoded || !block) return 0;
    MaskTransparentPixels(block, width, height, l);
    if (lowerDepth) {
        Block reduced = ReduceDecodedPng(block, width, height, depth);
        if (reduced) {
            AdoptFormat(std::move(reduced), width, height, depth == 24 ? 0 : std::uint32_t{1} << depth, false);
            compressed_ = true;
            return 1;
        }
    }
    AdoptFormat(std::move(block), width, height, 0, true);
    compressed_ = true;
    if (IsPlainRgbaPng(png, width_, height_)) {
        storedPng_.assign(png.begin(), png.end());
        storedPlainPng_ = true;
        decodedHash_ = HashBlock(block_);
    }
    return 1;
}

Block CKvIcon::ReduceDecodedPng(const Block& decoded, std::int32_t width, std::int32_t height, int depth) {
    IconImageLayout from;
    if (!ComputeLayout(width, height, 0, true, from)) return {};
    const std::uint8_t* pixels = decoded.data() + from.pixelOffset;
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);

    // Every alpha must be 0 or 255, and the opaque pixels must have few enough colours. Grey
    // pixels at 8 bits get the grey ramp, entry i being level i, so that no level moves; other
    // tables list the colours in the order the rows (bottom-up) first show them.
    const std::uint32_t limit = depth <= 8 ? std::uint32_t{1} << depth : 0;
    std::vector<std::uint32_t> table;       // 0x00RRGGBB
    std::array<std::int32_t, 1024> slots;   // open addressing over `table`: index + 1, 0 when free
    slots.fill(0);
    auto find = [&](std::uint32_t colour) -> std::int32_t& {
        std::uint32_t slot = (colour * 2654435761u) >> 22;
        while (slots[slot] != 0 && table[static_cast<std::size_t>(slots[slot] - 1)] != colour) slot = (slot + 1) & 1023;
        return slots[slot];
    };
    bool grey = true;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* p = pixels + 4 * i;
        if (p[3] == 0) continue;
        if (p[3] != 255) return {};
        if (limit == 0) continue;
        const std::uint32_t colour = LoadU32(p) & 0x00FFFFFF;
        grey = grey && p[0] == p[1] && p[1] == p[2];
        std::int32_t& slot = find(colour);
        if (slot != 0) continue;
        if (table.size() == limit) return {};
        table.push_back(colour);
        slot = static_cast<std::int32_t>(table.size());
    }
    const bool greyRamp = grey && depth == 8;
    if (greyRamp) {
        table.resize(256);
        for (std::uint32_t i = 0; i < 256; ++i) table[i] = i * 0x010101u;
    }

    // Transparent pixels show black where the AND bit is set, so that the bitmap form shows
    // them transparent too: black's entry, added when the table has room, else entry 0.
    std::uint8_t clear = 0;
    if (limit != 0 && !greyRamp) {
        if (const std::int32_t black = find(0); black != 0) {
            clear = static_cast<std::uint8_t>(black - 1);
        } else if (table.size() < limit) {
            table.push_back(0);
            clear = static_cast<std::uint8_t>(table.size() - 1);
        }
    }

    IconImageLayout l;
    if (!ComputeLayout(width, height, limit, false, l)) return {};
    Block block = NewImageBlock(width, height, limit, l);
    if (!block) return {};
    std::uint8_t* base = block.data();
    for (std::size_t i = 0; i < table.size(); ++i) StoreU32(base + l.tableOffset + 4 * i, table[i]);
    std::memcpy(base + l.maskOffset, decoded.data() + from.maskOffset, l.maskImageSize);
    for (std::int32_t row = 0; row < height; ++row) {
        const std::uint8_t* s = pixels + from.colorStride * static_cast<std::size_t>(row);
        std::uint8_t* d = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row);
        for (std::int32_t x = 0; x < width; ++x, s += 4) {
            const bool transparent = s[3] == 0;
            if (depth == 24) {
                if (!transparent) std::memcpy(d + 3 * x, s, 3);
            } else if (greyRamp) {
                WriteIndex(d, x, depth, transparent ? clear : s[0]);
            } else {
                WriteIndex(d, x, depth,
                           transparent ? clear : static_cast<std::uint8_t>(find(LoadU32(s) & 0x00FFFFFF) - 1));
            }
        }
    }
    return block;
}

Block CKvIcon::NewImageBlock(std::int32_t width, std::int32_t height, std::uint32_t colors,
                             const IconImageLayout& l, bool zeroed) {
    Block block = zeroed ? Block::Allocate(l.blockSize) : Block::Uninitialised(l.blockSize);
    if (!block) return {};
    BitmapInfoHeader header;
    header.width = width;
    header.height = 2 * height;  // colour image and mask, one above the other
    header.planes = 1;
    header.bitCount = static_cast<std::uint16_t>(l.bits);
    header.clrUsed = colors;
    header.clrImportant = 0;  // every colour is important; readers warn about any other value
    header.Store(block.data());
    return block;
}

int CKvIcon::FromBgraRows(std::int32_t width, std::int32_t height, const std::uint8_t* rows) {
    IconImageLayout l;
    if (!ComputeLayout(width, height, 0, true, l)) return 0;
    Block block = NewImageBlock(width, height, 0, l);
    if (!block) return 0;
    // Stored rows are bottom-up.
    for (std::int32_t row = 0; row < height; ++row)
        std::memcpy(block.data() + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row),
                    rows + static_cast<std::size_t>(height - 1 - row) * l.colorStride, l.colorStride);
    MaskTransparentPixels(block, width, height, l);
    AdoptFormat(std::move(block), width, height, 0, true);
    return 1;
}

void CKvIcon::MaskTransparentPixels(Block& block, std::int32_t width, std::int32_t height, const IconImageLayout& l) {
#if defined(__SSE2__)
    // A byte's bits in the opposite order: the vector compare gives the leftmost pixel the low bit.
    static constexpr std::array<std::uint8_t, 256> kReversed = [] {
        std::array<std::uint8_t, 256> table{};
        for (unsigned v = 0; v < 256; ++v)
            for (unsigned bit = 0; bit < 8; ++bit)
                if ((v >> bit) & 1u) table[v] = static_cast<std::uint8_t>(table[v] | (0x80u >> bit));
        return table;
    }();
    const __m128i zero = _mm_setzero_si128();
#endif
    for (std::int32_t row = 0; row < height; ++row) {
        const std::uint8_t* pixel = block.data() + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row);
        std::uint8_t* andRow = block.data() + l.maskOffset + l.maskStride * static_cast<std::size_t>(row);
        // Eight pixels to a mask byte, the leftmost in the high bit.
        std::int32_t x = 0;
#if defined(__SSE2__)
        for (; x + 8 <= width; x += 8) {
            const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixel + 4 * x));
            const __m128i right = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixel + 4 * x + 16));
            const int low = _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_srli_epi32(left, 24), zero)));
            const int high = _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_srli_epi32(right, 24), zero)));
            andRow[x / 8] = static_cast<std::uint8_t>(andRow[x / 8] | kReversed[static_cast<unsigned>(low | high << 4)]);
        }
#endif
        for (; x < width; x += 8) {
            const std::int32_t end = std::min(width, x + 8);
            unsigned bits = 0;
            for (std::int32_t k = x; k < end; ++k) bits |= unsigned{pixel[4 * k + 3] == 0} << (7 - (k - x));
            andRow[x / 8] = static_cast<std::uint8_t>(andRow[x / 8] | bits);
        }
    }
}

std::span<const std::uint8_t> CKvIcon::UnchangedPng() const {
    if (!storedPlainPng_) return {};
    return UnchangedStream();
}

void CKvIcon::KeepSourceStream(std::span<const std::uint8_t> stream) {
    if (!storedPng_.empty() || block_.empty() || stream.empty()) return;
    storedPng_.assign(stream.begin(), stream.end());
    storedPlainPng_ = false;
    decodedHash_ = HashBlock(block_);
}

std::span<const std::uint8_t> CKvIcon::UnchangedStream() const {
    if (storedPng_.empty()) return {};
    // Pixels still pending cannot have been changed.
    if (pending_ && !pending_->decoded.load(std::memory_order_acquire)) return storedPng_;
    if (HashBlock(block_) != decodedHash_) return {};
    return storedPng_;
}

void CKvIcon::DecodePendingPixels() const {
    if (!pending_ || pending_->decoded.load(std::memory_order_acquire)) return;
    std::call_once(pending_->once, [this] {
        // The block is this image's own memory, not a constant: a const image whose pixels are
        // asked for gets them as they were when it was read.
        Block& block = const_cast<Block&>(block_);
        IconImageLayout l;
        if (GetLayout(l)) {
            const auto width = static_cast<std::int32_t>(width_);
            const auto height = static_cast<std::int32_t>(height_);
            if (!InflatePlainRgbaInPlace(block, storedPng_, width, height, l)) {
                // The stream was checked when it was read; this is for a stream that zlib takes
                // and libdeflate does not.
                std::uint8_t* const base = block.data();
                std::memset(base + l.pixelOffset, 0, l.colorImageSize + l.maskImageSize);
                DecodePngToBgra(storedPng_, [&](std::int32_t w, std::int32_t h) -> BgraRows {
                    if (w != width || h != height) return {};
                    return BottomUpRows(base, l, h);
                });
            }
            MaskTransparentPixels(block, width, height, l);
        }
        decodedHash_ = HashBlock(block_);
        pending_->decoded.store(true, std::memory_order_release);
    });
}

int CKvIcon::WriteImage(Archive& ar) const {
    DecodePendingPixels();
    if (!ar.IsStoring() || block_.empty()) return 0;
    ar.Write(block_.data(), block_.size());
    return 1;
}

int CKvIcon::WriteImage(Archive& ar, std::uint32_t& bytesWritten) const {
    if (compressed_) return WritePngImage(ar, bytesWritten);
    if (!WriteImage(ar)) return 0;
    bytesWritten = static_cast<std::uint32_t>(block_.size());
    return 1;
}

int CKvIcon::WritePngImage(Archive& ar, std::uint32_t& bytesWritten, int zlibLevel) const {
    if (!ar.IsStoring()) return 0;
    if (const auto stored = UnchangedPng(); !stored.empty()) {
        ar.Write(stored.data(), stored.size());
        bytesWritten = static_cast<std::uint32_t>(stored.size());
        return 1;
    }
    std::vector<std::uint8_t> png;
    if (!EncodePngStream(png, zlibLevel) || png.empty() || png.size() > std::numeric_limits<std::uint32_t>::max())
        return 0;
    ar.Write(png.data(), png.size());
    bytesWritten = static_cast<std::uint32_t>(png.size());
    return 1;
}

bool CKvIcon::EncodePngStream(std::vector<std::uint8_t>& out, int zlibLevel) const {
    DecodePendingPixels();
    out.clear();
    IconImageLayout l;
    if (GetLayout(l) && l.bits == 32) {
        // The colour rows of a 32-bit format are the 32-bit picture's rows as they are.
        return EncodePng(BgraPicture{block_.data() + l.pixelOffset, static_cast<std::ptrdiff_t>(l.colorStride),
                                     static_cast<std::int32_t>(width_), static_cast<std::int32_t>(height_)},
                         out, zlibLevel);
    }
    const Block picture = To32BitDib();
    return picture && EncodePng(picture, out, zlibLevel);
}

int CKvIcon::EncodeStoredPng(int zlibLevel) {
    std::vector<std::uint8_t> png;
    try {
        if (!EncodePngStream(png, zlibLevel) || png.empty() || png.size() > std::numeric_limits<std::uint32_t>::max())
            return 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
    storedPng_ = std::move(png);
    storedPlainPng_ = true;
    decodedHash_ = HashBlock(block_);
    return 1;
}

Block CKvIcon::To32BitDib() const {
    DecodePendingPixels();
    IconImageLayout l;
    if (!GetLayout(l) || !IsConvertibleDepth(l.bits)) return {};
    const auto w = static_cast<std::int32_t>(width_);
    const auto h = static_cast<std::int32_t>(height_);
    Block dib = CreateDibBlock(w, h, 32);
    const auto to = GetDibLayout(dib);
    if (!to) return {};
    const std::uint8_t* base = block_.data();
    if (l.bits == 32) {
        std::memcpy(dib.data() + to->pixelOffset, base + l.pixelOffset, l.colorImageSize);
        return dib;
    }
    for (std::int32_t row = 0; row < h; ++row) {
        const std::uint8_t* s = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row);
        const std::uint8_t* andRow = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(row);
        std::uint8_t* d = dib.data() + to->RowOffset(row);
        for (std::int32_t x = 0; x < w; ++x, d += 4) {
            const std::uint8_t* c = nullptr;
            if (l.bits == 24) {
                c = s + 3 * x;
            } else {
                // An index beyond the table (only in foreign data) shows as black.
                const std::uint8_t index = ReadIndex(s, x, l.bits);
                c = index < colors_ ? base + l.tableOffset + 4 * std::size_t{index} : nullptr;
            }
            if (c != nullptr) std::memcpy(d, c, 3);
            d[3] = ReadIndex(andRow, x, 1) ? 0 : 255;
        }
    }
    return dib;
}

}  // namespace tellurine
