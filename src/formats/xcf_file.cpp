#include "formats/xcf_file.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "image/bytes.h"
#include "image/dib.h"
#include "image/dib_block.h"

namespace tellurine {

namespace {

constexpr std::int32_t kTileSide = 64;
constexpr std::size_t kMaxXcfLayers = 4096;
constexpr std::size_t kMaxProperties = 65536;
constexpr std::size_t kMaxNesting = 256;
constexpr std::int32_t kMaxOffset = 1 << 24;

// Property types of the image, layer and channel lists.
enum : std::uint32_t {
    kPropEnd = 0,
    kPropColormap = 1,
    kPropFloatingSelection = 5,
    kPropOpacity = 6,
    kPropMode = 7,
    kPropVisible = 8,
    kPropApplyMask = 11,
    kPropOffsets = 15,
    kPropCompression = 17,
    kPropGroupItem = 29,
    kPropItemPath = 30,
    kPropFloatOpacity = 33,
};

enum class Compression : std::uint8_t { None = 0, Rle = 1, Zlib = 2 };

[[noreturn]] void Fail(const char* reason) {
    layered_detail::Refuse(reason);
}

// What the image header and properties say about every layer's pixels.
struct Image {
    bool widePointers = false;   // 8-byte pointers, from version 11
    std::uint32_t baseType = 0;  // 0 RGB, 1 Grayscale, 2 Indexed
    bool linear = false;         // 8-bit linear samples, to be gamma-encoded
    Compression compression = Compression::None;
    std::array<std::uint8_t, 3 * 256> colours{};
    std::size_t colourCount = 0;
};

// The properties of a layer or channel that shape its pixels.
struct Properties {
    double opacity = 1.0;
    bool visible = true;
    std::int32_t x = 0;
    std::int32_t y = 0;
    bool group = false;
    bool floating = false;
    bool applyMask = true;
    bool linearLight = false;  // a blend mode of GIMP 2.10's own, blended in linear light
    std::size_t depth = 0;     // how deep in groups: the item path's length less one
};

std::uint64_t Pointer(BigEndianReader& in, const Image& image) {
    std::uint64_t pointer = 0;
    if (!in.Length(image.widePointers, pointer)) Fail("a pointer is cut short");
    return pointer;
}

void SeekTo(BigEndianReader& in, std::uint64_t pointer) {
    if (!in.Seek(pointer)) Fail("a pointer leads past the end of the file");
}

std::uint32_t Word(BigEndianReader& in) {
    std::uint32_t v = 0;
    if (!in.U32(v)) Fail("the file is cut short");
    return v;
}

std::string String(BigEndianReader& in) {
    const std::uint32_t length = Word(in);
    std::span<const std::uint8_t> bytes;
    if (!in.Bytes(length, bytes)) Fail("a name runs past the end of the file");
    // The stored length counts the closing zero.
    std::string text(bytes.begin(), bytes.end());
    if (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
}

// A property list, up to its end marker. Only the image's list holds the colour map and the
// compression, which go into `image`.
Properties ReadProperties(BigEndianReader& in, Image& image, bool imageList) {
    Properties p;
    for (std::size_t count = 0;; ++count) {
        if (count == kMaxProperties) Fail("a property list has no end");
        const std::uint32_t type = Word(in), length = Word(in);
        if (type == kPropEnd) return p;
        if (type == kPropColormap && imageList) {
            // Some versions stored a wrong length here: the count says how much follows.
            const std::uint32_t n = Word(in);
            std::span<const std::uint8_t> colours;
            if (n > 256 || !in.Bytes(std::size_t{3} * n, colours)) Fail("the colour map is damaged");
            std::copy(colours.begin(), colours.end(), image.colours.begin());
            image.colourCount = n;
            continue;
        }
        BigEndianReader payload;
        if (!in.Section(length, payload)) Fail("a property runs past the end of the file");
        std::uint32_t v = 0;
        std::uint8_t byte = 0;
        std::int32_t x = 0, y = 0;
        switch (type) {
            case kPropCompression:
                if (imageList && payload.U8(byte)) {
                    if (byte > 2) Fail("the tiles' compression is not one that is read");
                    image.compression = static_cast<Compression>(byte);
                }
                break;
            case kPropOpacity:
                if (payload.U32(v)) p.opacity = std::min<std::uint32_t>(v, 255) / 255.0;
                break;
            case kPropFloatOpacity:
                if (payload.U32(v)) {
                    const auto f = std::bit_cast<float>(v);
                    p.opacity = std::isfinite(f) ? std::clamp(static_cast<double>(f), 0.0, 1.0) : 1.0;
                }
                break;
            case kPropVisible:
                if (payload.U32(v)) p.visible = v != 0;
                break;
            case kPropMode:
                // Modes from 23 up are GIMP 2.10's own (Normal is 28); those before are the legacy
                // ones, blended on the encoded values.
                if (payload.U32(v)) p.linearLight = v >= 23;
                break;
            case kPropApplyMask:
                if (payload.U32(v)) p.applyMask = v != 0;
                break;
            case kPropOffsets:
                if (payload.I32(x) && payload.I32(y)) {
                    if (x < -kMaxOffset || x > kMaxOffset || y < -kMaxOffset || y > kMaxOffset)
                        Fail("a layer's offsets are out of range");
                    p.x = x;
                    p.y = y;
                }
                break;
            case kPropGroupItem: p.group = true; break;
            case kPropFloatingSelection: p.floating = true; break;
            case kPropItemPath:
                p.depth = length / 4 > 0 ? length / 4 - 1 : 0;
                if (p.depth > kMaxNesting) Fail("the layer groups are nested too deep");
                break;
            default: break;
        }
    }
}

// One tile's bytes, pixel after pixel, `count` pixels of `bpp` bytes, decoded from the tile
// data at the reader's position.
void DecodeTile(BigEndianReader& in, const Image& image, std::size_t count, std::size_t bpp,
                std::vector<std::uint8_t>& out) {
    out.assign(count * bpp, 0);
    if (image.compression == Compression::None) {
        std::span<const std::uint8_t> raw;
        if (!in.Bytes(out.size(), raw)) Fail("a tile runs past the end of the file");
        std::copy(raw.begin(), raw.end(), out.begin());
    } else if (image.compression == Compression::Zlib) {
        std::span<const std::uint8_t> rest;
        in.Bytes(in.Left(), rest);
        z_stream zs{};
        if (inflateInit(&zs) != Z_OK) throw std::bad_alloc();
        zs.next_in = const_cast<Bytef*>(rest.data());
        zs.avail_in = static_cast<uInt>(std::min<std::size_t>(rest.size(), UINT_MAX));
        zs.next_out = out.data();
        zs.avail_out = static_cast<uInt>(out.size());
        const int result = inflate(&zs, Z_FINISH);
        const bool whole = (result == Z_STREAM_END || result == Z_BUF_ERROR || result == Z_OK) && zs.avail_out == 0;
        inflateEnd(&zs);
        if (!whole) Fail("a tile's compressed data is damaged");
    } else {
        // Each byte of the pixel in a stream of its own: runs of one value, or literal bytes.
        for (std::size_t channel = 0; channel < bpp; ++channel) {
            for (std::size_t done = 0; done < count;) {
                std::uint8_t op = 0, p = 0, q = 0;
                if (!in.U8(op)) Fail("a tile runs past the end of the file");
                std::size_t length = 0;
                const bool run = op <= 127;
                if (op == 127 || op == 128) {
                    if (!in.U8(p) || !in.U8(q)) Fail("a tile runs past the end of the file");
                    length = std::size_t{p} * 256 + q;
                } else {
                    length = run ? std::size_t{op} + 1 : 256 - std::size_t{op};
                }
                if (length > count - done) Fail("a tile's runs overflow it");
                if (run) {
                    std::uint8_t value = 0;
                    if (!in.U8(value)) Fail("a tile runs past the end of the file");
                    for (std::size_t i = 0; i < length; ++i) out[(done + i) * bpp + channel] = value;
                } else {
                    std::span<const std::uint8_t> literal;
                    if (!in.Bytes(length, literal)) Fail("a tile runs past the end of the file");
                    for (std::size_t i = 0; i < length; ++i) out[(done + i) * bpp + channel] = literal[i];
                }
                done += length;
            }
        }
    }
}

// The first level of a hierarchy, tile by tile: `put(x, y, pixel)` gets each pixel's bytes, with
// y counted from the top.
template <typename Put>
void ReadHierarchy(BigEndianReader& in, const Image& image, std::uint64_t pointer, std::int32_t width,
                   std::int32_t height, std::uint32_t bpp, Put put) {
    SeekTo(in, pointer);
    if (Word(in) != static_cast<std::uint32_t>(width) || Word(in) != static_cast<std::uint32_t>(height) ||
        Word(in) != bpp)
        Fail("a layer's pixels do not match its size or type");
    SeekTo(in, Pointer(in, image));
    if (Word(in) != static_cast<std::uint32_t>(width) || Word(in) != static_cast<std::uint32_t>(height))
        Fail("a layer's pixels do not match its size");
    const std::int32_t columns = (width + kTileSide - 1) / kTileSide, rows = (height + kTileSide - 1) / kTileSide;
    const std::size_t pointerBytes = image.widePointers ? 8 : 4;
    if (static_cast<std::uint64_t>(columns) * rows > in.Left() / pointerBytes)
        Fail("a layer's tiles run past the end of the file");
    std::vector<std::uint64_t> tiles(static_cast<std::size_t>(columns) * rows);
    for (std::uint64_t& tile : tiles) tile = Pointer(in, image);
    std::vector<std::uint8_t> pixels;
    for (std::int32_t row = 0; row < rows; ++row)
        for (std::int32_t column = 0; column < columns; ++column) {
            const std::int32_t x0 = column * kTileSide, y0 = row * kTileSide;
            const std::int32_t w = std::min(kTileSide, width - x0), h = std::min(kTileSide, height - y0);
            SeekTo(in, tiles[static_cast<std::size_t>(row) * columns + column]);
            DecodeTile(in, image, static_cast<std::size_t>(w) * h, bpp, pixels);
            const std::uint8_t* p = pixels.data();
            for (std::int32_t y = 0; y < h; ++y)
                for (std::int32_t x = 0; x < w; ++x, p += bpp) put(x0 + x, y0 + y, p);
        }
}

void Charge(std::int64_t& budget, std::int64_t width, std::int64_t height) {
    budget -= width * height;
    if (budget < 0) Fail("the document's pictures are too large");
}

// One layer's pixels as a 32-bit picture with its opacity and mask applied.
Block ReadLayerPixels(BigEndianReader& in, const Image& image, std::int32_t width, std::int32_t height,
                      std::uint32_t type, const Properties& p, std::uint64_t hierarchy, std::uint64_t mask,
                      std::int64_t& budget) {
    const bool alpha = (type & 1) != 0;
    const std::uint32_t colourBytes = type <= 1 ? 3 : 1;
    const std::uint32_t bpp = colourBytes + (alpha ? 1 : 0);
    Charge(budget, width, height);
    Block picture = CreateDibBlock(width, height, 32);
    const auto layout = GetDibLayout(picture);
    if (!layout) throw std::bad_alloc();
    const auto at = [&](std::int32_t x, std::int32_t y) {
        return picture.data() + layout->RowOffset(height - 1 - y) + 4 * static_cast<std::size_t>(x);
    };
    ReadHierarchy(in, image, hierarchy, width, height, bpp, [&](std::int32_t x, std::int32_t y, const std::uint8_t* s) {
        std::uint8_t* d = at(x, y);
        if (type >= 4) {
            // Indexed: the colour from the map, and alpha on or off.
            const std::size_t index = std::min<std::size_t>(s[0], image.colourCount > 0 ? image.colourCount - 1 : 0);
            const std::uint8_t* c = image.colours.data() + 3 * index;
            d[0] = c[2];
            d[1] = c[1];
            d[2] = c[0];
            d[3] = alpha ? (s[1] >= 128 ? 255 : 0) : 255;
            return;
        }
        const std::uint8_t r = s[0], g = s[colourBytes == 3 ? 1 : 0], b = s[colourBytes == 3 ? 2 : 0];
        const auto encode = [&](std::uint8_t v) { return image.linear ? SrgbOfLinear(v / 255.0F) : v; };
        d[0] = encode(b);
        d[1] = encode(g);
        d[2] = encode(r);
        d[3] = alpha ? s[colourBytes] : 255;
    });
    if (mask != 0 && p.applyMask) {
        SeekTo(in, mask);
        if (Word(in) != static_cast<std::uint32_t>(width) || Word(in) != static_cast<std::uint32_t>(height))
            Fail("a layer's mask does not match its size");
        String(in);
        Image unused;
        ReadProperties(in, unused, false);
        const std::uint64_t maskHierarchy = Pointer(in, image);
        Charge(budget, width, height);
        ReadHierarchy(in, image, maskHierarchy, width, height, 1,
                      [&](std::int32_t x, std::int32_t y, const std::uint8_t* s) {
                          std::uint8_t* d = at(x, y);
                          d[3] = static_cast<std::uint8_t>((d[3] * s[0] + 127) / 255);
                      });
    }
    ApplyLayerOpacity(picture, p.opacity);
    return picture;
}

}  // namespace

bool IsXcfFile(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 9 && std::memcmp(bytes.data(), "gimp xcf ", 9) == 0;
}

bool ReadXcfFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error) {
    return layered_detail::ReadRefusing(doc, error, [&] {
        if (bytes.size() > kMaxLayeredFileBytes) Fail("the file is too large");
        if (!IsXcfFile(bytes)) Fail("not a GIMP document");
        BigEndianReader in(bytes);
        std::span<const std::uint8_t> tag;
        if (!in.Skip(9) || !in.Bytes(5, tag) || tag[4] != 0) Fail("the header is cut short");
        int version = 0;
        if (std::memcmp(tag.data(), "file", 4) != 0) {
            if (tag[0] != 'v' ||
                !std::all_of(tag.begin() + 1, tag.begin() + 4, [](std::uint8_t c) { return c >= '0' && c <= '9'; }))
                Fail("unknown document version");
            version = (tag[1] - '0') * 100 + (tag[2] - '0') * 10 + (tag[3] - '0');
            // Versions from 100 up are another program's.
            if (version >= 100) Fail("unknown document version");
        }
        Image image;
        image.widePointers = version >= 11;
        const std::uint32_t width = Word(in), height = Word(in);
        image.baseType = Word(in);
        if (width < 1 || height < 1 || width > kMaxDibDimension || height > kMaxDibDimension)
            Fail("the canvas size is out of range");
        if (image.baseType > 2) Fail("the colour mode is not one that is read");
        if (version >= 4) {
            const std::uint32_t precision = Word(in);
            const bool eightBit = version == 4 ? precision == 0 : precision == 100 || precision == 150;
            if (!eightBit) Fail("only 8 bits per channel are read");
            image.linear = version > 4 && precision == 100;
        }
        ReadProperties(in, image, true);
        if (image.baseType == 2 && image.colourCount == 0) Fail("an indexed document has no colour map");
        std::vector<std::uint64_t> layers;
        for (std::uint64_t pointer = Pointer(in, image); pointer != 0; pointer = Pointer(in, image)) {
            if (layers.size() == kMaxXcfLayers) Fail("the document has too many layers");
            layers.push_back(pointer);
        }
        doc.width = static_cast<int>(width);
        doc.height = static_cast<int>(height);
        std::int64_t budget = kMaxLayeredPixels;
        // The shown state of the latest group at each depth, the layers being listed before their children.
        struct Shown {
            double opacity = 1.0;
            bool visible = true;
        };
        std::vector<Shown> groups;
        for (const std::uint64_t pointer : layers) {
            SeekTo(in, pointer);
            const std::uint32_t w = Word(in), h = Word(in), type = Word(in);
            if (w < 1 || h < 1 || w > kMaxDibDimension || h > kMaxDibDimension) Fail("a layer's size is out of range");
            if (type / 2 != image.baseType) Fail("a layer's colour mode is not the document's");
            PictureLayer layer;
            layer.name = String(in);
            const Properties p = ReadProperties(in, image, false);
            const std::uint64_t hierarchy = Pointer(in, image), mask = Pointer(in, image);
            if (p.depth > groups.size()) Fail("a layer lies in a group that is not listed");
            const Shown parent = p.depth > 0 ? groups[p.depth - 1] : Shown{};
            const Shown shown{parent.opacity * p.opacity, parent.visible && p.visible};
            if (p.group) {
                groups.resize(p.depth + 1);
                groups[p.depth] = shown;
                continue;
            }
            if (p.floating) continue;
            Properties effective = p;
            effective.opacity = shown.opacity;
            layer.left = p.x;
            layer.top = p.y;
            layer.visible = shown.visible;
            layer.linearLight = p.linearLight;
            layer.picture32 = ReadLayerPixels(in, image, static_cast<std::int32_t>(w), static_cast<std::int32_t>(h),
                                              type, effective, hierarchy, mask, budget);
            doc.layers.push_back(std::move(layer));
        }
        std::reverse(doc.layers.begin(), doc.layers.end());
        Charge(budget, width, height);
        doc.composite = CompositeLayers(doc);
        if (doc.composite.empty()) throw std::bad_alloc();
    });
}

}  // namespace tellurine
