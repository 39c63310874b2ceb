#include "formats/psd_file.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <new>

#include "image/bytes.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/file_io.h"

namespace tellurine {

namespace {

[[noreturn]] void Fail(const char* reason) {
    layered_detail::Refuse(reason);
}

// The most a compressed byte can stand for: a PackBits run of 128 from 2 bytes, and zlib's
// largest ratio, a little above 1,032 to 1.
constexpr std::uint64_t kMaxRleRatio = 64;
constexpr std::uint64_t kMaxZipRatio = 1040;

// Channel planes of width x height bytes decoded from one compressed run. `stored` planes are in
// the data (the row counts of PackBits cover all of them), the first `wanted` are decoded.
struct PlaneRequest {
    std::uint16_t compression = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::size_t stored = 1;
    std::size_t wanted = 1;
    bool wide = false;  // PackBits row counts of 4 bytes (large documents)
};

void UnpackBits(std::span<const std::uint8_t> in, std::uint8_t* out, std::size_t count) {
    std::size_t i = 0, o = 0;
    while (o < count) {
        if (i >= in.size()) Fail("a PackBits row ends early");
        const auto n = static_cast<std::int8_t>(in[i++]);
        if (n >= 0) {
            const auto run = static_cast<std::size_t>(n) + 1;
            if (run > in.size() - i || run > count - o) Fail("a PackBits row runs past its end");
            std::memcpy(out + o, in.data() + i, run);
            i += run;
            o += run;
        } else if (n != -128) {
            const auto run = static_cast<std::size_t>(1 - n);
            if (i >= in.size() || run > count - o) Fail("a PackBits row runs past its end");
            std::memset(out + o, in[i++], run);
            o += run;
        }
    }
}

std::vector<std::uint8_t> DecodePlanes(std::span<const std::uint8_t> data, const PlaneRequest& r) {
    const std::size_t rowBytes = static_cast<std::size_t>(r.width);
    const std::size_t planeBytes = rowBytes * static_cast<std::size_t>(r.height);
    const std::size_t total = planeBytes * r.wanted;
    std::uint64_t ratio = 1;
    if (r.compression == 1) ratio = kMaxRleRatio;
    if (r.compression == 2 || r.compression == 3) ratio = kMaxZipRatio;
    if (r.compression > 3) Fail("unknown channel compression");
    if (total > (std::uint64_t{data.size()} + 1) * ratio) Fail("channel data too short for its picture");
    std::vector<std::uint8_t> out(total);
    if (total == 0) return out;
    if (r.compression == 0) {
        if (data.size() < total) Fail("raw channel data cut short");
        std::memcpy(out.data(), data.data(), total);
    } else if (r.compression == 1) {
        const std::size_t countSize = r.wide ? 4 : 2;
        const std::size_t rows = static_cast<std::size_t>(r.height) * r.stored;
        if (rows > data.size() / countSize) Fail("PackBits row counts cut short");
        std::size_t at = rows * countSize;
        for (std::size_t row = 0; row < static_cast<std::size_t>(r.height) * r.wanted; ++row) {
            const std::uint8_t* c = data.data() + row * countSize;
            const std::size_t length = r.wide ? LoadBE32(c) : LoadBE16(c);
            if (length > data.size() - at) Fail("a PackBits row runs past the channel data");
            UnpackBits(data.subspan(at, length), out.data() + row * rowBytes, rowBytes);
            at += length;
        }
    } else {
        z_stream z{};
        if (inflateInit(&z) != Z_OK) throw std::bad_alloc();
        z.next_in = const_cast<Bytef*>(data.data());
        z.avail_in = static_cast<uInt>(std::min<std::size_t>(data.size(), 0xFFFFFFFFu));
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(total);
        const int status = inflate(&z, Z_FINISH);
        const bool whole = z.avail_out == 0 && (status == Z_STREAM_END || status == Z_OK || status == Z_BUF_ERROR);
        inflateEnd(&z);
        if (!whole) Fail("a zlib channel is damaged or cut short");
        if (r.compression == 3)
            for (std::size_t row = 0; row < static_cast<std::size_t>(r.height) * r.wanted; ++row) {
                std::uint8_t* p = out.data() + row * rowBytes;
                for (std::size_t x = 1; x < rowBytes; ++x) p[x] = static_cast<std::uint8_t>(p[x] + p[x - 1]);
            }
    }
    return out;
}

// Counts decoded pixels against the document's budget.
void Charge(std::int64_t& budget, std::int64_t width, std::int64_t height) {
    const std::int64_t pixels = width * height;
    if (pixels > budget) Fail("the document's pictures are too large");
    budget -= pixels;
}

// A 32-bit picture from colour planes (1 grey or 3 colour, any of them absent) and an alpha plane
// (absent: opaque), the alpha scaled by `opacity`.
Block PictureFromPlanes(std::int32_t width, std::int32_t height, const std::array<const std::uint8_t*, 3>& colour,
                        const std::uint8_t* alpha, std::uint8_t opacity) {
    Block picture = CreateDibBlock(width, height, 32);
    const auto l = GetDibLayout(picture);
    if (!l) throw std::bad_alloc();
    for (std::int32_t y = 0; y < height; ++y) {
        std::uint8_t* row = picture.data() + l->RowOffset(height - 1 - y);
        const std::size_t from = static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
        for (std::int32_t x = 0; x < width; ++x) {
            const std::size_t i = from + static_cast<std::size_t>(x);
            std::uint8_t* px = row + 4 * static_cast<std::size_t>(x);
            px[0] = colour[2] != nullptr ? colour[2][i] : 0;
            px[1] = colour[1] != nullptr ? colour[1][i] : 0;
            px[2] = colour[0] != nullptr ? colour[0][i] : 0;
            const unsigned a = alpha != nullptr ? alpha[i] : 255u;
            px[3] = static_cast<std::uint8_t>((a * opacity + 127) / 255);
        }
    }
    return picture;
}

struct ChannelEntry {
    std::int16_t id = 0;
    std::uint64_t length = 0;
};

struct LayerRecord {
    std::int32_t top = 0, left = 0, bottom = 0, right = 0;
    std::vector<ChannelEntry> channels;
    std::uint8_t opacity = 255;
    bool hidden = false;
    std::string name;
};

// Additional-information keys whose length is 8 bytes in a large document.
bool WideKey(std::span<const std::uint8_t> key) {
    static constexpr std::array<const char*, 13> kWide = {"LMsk", "Lr16", "Lr32", "Layr", "Mt16", "Mt32", "Mtrn",
                                                          "Alph", "FMsk", "lnk2", "FEid", "FXid", "PxSD"};
    return std::any_of(kWide.begin(), kWide.end(), [&](const char* k) { return std::memcmp(k, key.data(), 4) == 0; });
}

LayerRecord ReadLayerRecord(BigEndianReader& in, bool psb) {
    LayerRecord r;
    std::uint16_t channelCount = 0;
    if (!in.I32(r.top) || !in.I32(r.left) || !in.I32(r.bottom) || !in.I32(r.right) || !in.U16(channelCount))
        Fail("a layer record is cut short");
    if (channelCount > 56) Fail("a layer has too many channels");
    for (std::uint16_t c = 0; c < channelCount; ++c) {
        ChannelEntry entry;
        std::uint16_t id = 0;
        if (!in.U16(id) || !in.Length(psb, entry.length)) Fail("a layer's channel list is cut short");
        entry.id = static_cast<std::int16_t>(id);
        r.channels.push_back(entry);
    }
    std::span<const std::uint8_t> signature, blend;
    std::uint8_t clipping = 0, flags = 0, filler = 0;
    std::uint32_t extraLength = 0;
    if (!in.Bytes(4, signature) || !in.Bytes(4, blend) || !in.U8(r.opacity) || !in.U8(clipping) || !in.U8(flags) ||
        !in.U8(filler) || !in.U32(extraLength))
        Fail("a layer record is cut short");
    if (std::memcmp(signature.data(), "8BIM", 4) != 0) Fail("a layer record has no blend signature");
    r.hidden = (flags & 0x02) != 0;
    BigEndianReader extra;
    if (!in.Section(extraLength, extra)) Fail("a layer's extra data runs past its section");
    std::uint32_t maskLength = 0, rangesLength = 0;
    if (!extra.U32(maskLength) || !extra.Skip(maskLength) || !extra.U32(rangesLength) || !extra.Skip(rangesLength))
        Fail("a layer's mask or blending ranges run past its extra data");
    std::uint8_t nameLength = 0;
    std::span<const std::uint8_t> name;
    if (!extra.U8(nameLength) || !extra.Bytes(nameLength, name)) Fail("a layer name runs past its extra data");
    r.name.assign(name.begin(), name.end());
    // The name is padded to a multiple of 4 bytes with its length byte; some writers leave the
    // padding out at the very end of the extra data.
    extra.Skip(std::min<std::size_t>((4 - (1 + std::size_t{nameLength}) % 4) % 4, extra.Left()));
    while (extra.Left() >= 12) {
        std::span<const std::uint8_t> sig, key;
        std::uint64_t length = 0;
        extra.Bytes(4, sig);
        extra.Bytes(4, key);
        if (std::memcmp(sig.data(), "8BIM", 4) != 0 && std::memcmp(sig.data(), "8B64", 4) != 0) break;
        BigEndianReader info;
        if (!extra.Length(psb && WideKey(key), length) || !extra.Section(length, info))
            Fail("a layer's additional information runs past its extra data");
        if (std::memcmp(key.data(), "luni", 4) == 0) {
            std::uint32_t count = 0;
            if (!info.U32(count) || count > info.Left() / 2) Fail("a Unicode layer name runs past its block");
            std::vector<std::uint16_t> units(count);
            for (std::uint16_t& u : units) info.U16(u);
            r.name = Utf8FromUtf16(units.size(), [&units](std::size_t i) { return char32_t{units[i]}; }, true);
        }
    }
    return r;
}

// One layer's channels decoded into its picture; `data` is positioned at its first channel.
PictureLayer ReadLayerPixels(const LayerRecord& r, BigEndianReader& data, bool psb, bool grey, std::int64_t& budget) {
    PictureLayer layer;
    layer.name = r.name;
    layer.left = r.left;
    layer.top = r.top;
    layer.visible = !r.hidden;
    const std::int64_t width = std::int64_t{r.right} - r.left, height = std::int64_t{r.bottom} - r.top;
    if (width < 0 || height < 0 || width > kMaxDibDimension || height > kMaxDibDimension)
        Fail("a layer's rectangle is out of range");
    const bool empty = width == 0 || height == 0;
    if (!empty) Charge(budget, width, height);
    std::array<std::vector<std::uint8_t>, 4> planes;  // colour 0..2, alpha
    for (const ChannelEntry& channel : r.channels) {
        BigEndianReader bytes;
        if (!data.Section(channel.length, bytes)) Fail("a layer's channel data runs past its section");
        const int slot = channel.id == -1 ? 3 : channel.id;
        const bool isColour = slot >= 0 && slot <= (grey ? 0 : 2);
        if (empty || (!isColour && slot != 3) || channel.length < 2) continue;
        std::uint16_t compression = 0;
        bytes.U16(compression);
        std::span<const std::uint8_t> rest;
        bytes.Bytes(bytes.Left(), rest);
        const PlaneRequest request{compression, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height),
                                   1, 1, psb};
        planes[static_cast<std::size_t>(slot)] = DecodePlanes(rest, request);
    }
    if (empty) return layer;
    const auto plane = [&](std::size_t i) -> const std::uint8_t* {
        return planes[i].empty() ? nullptr : planes[i].data();
    };
    const std::array<const std::uint8_t*, 3> colour =
        grey ? std::array{plane(0), plane(0), plane(0)} : std::array{plane(0), plane(1), plane(2)};
    layer.picture32 = PictureFromPlanes(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), colour,
                                        plane(3), r.opacity);
    return layer;
}

void ReadLayers(BigEndianReader& in, bool psb, bool grey, LayeredPicture& doc, bool& mergedAlpha, std::int64_t& budget) {
    std::uint64_t sectionLength = 0, infoLength = 0;
    BigEndianReader section, info;
    if (!in.Length(psb, sectionLength) || !in.Section(sectionLength, section))
        Fail("the layer section runs past the end");
    if (sectionLength == 0) return;
    if (!section.Length(psb, infoLength) || !section.Section(infoLength, info))
        Fail("the layer information runs past its section");
    if (infoLength == 0) return;
    std::uint16_t rawCount = 0;
    if (!info.U16(rawCount)) Fail("the layer count is cut short");
    const auto count = static_cast<std::int16_t>(rawCount);
    mergedAlpha = count < 0;
    const int layers = count < 0 ? -count : count;
    std::vector<LayerRecord> records;
    for (int i = 0; i < layers; ++i) records.push_back(ReadLayerRecord(info, psb));
    for (const LayerRecord& r : records) doc.layers.push_back(ReadLayerPixels(r, info, psb, grey, budget));
}

}  // namespace

bool IsPsdFile(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 4 && std::memcmp(bytes.data(), "8BPS", 4) == 0;
}

bool ReadPsdFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error) {
    return layered_detail::ReadRefusing(doc, error, [&] {
        if (bytes.size() > kMaxLayeredFileBytes) Fail("the file is too large");
        BigEndianReader in(bytes);
        std::span<const std::uint8_t> signature, reserved;
        std::uint16_t version = 0, channels = 0, depth = 0, mode = 0;
        std::uint32_t height = 0, width = 0;
        if (!in.Bytes(4, signature) || !in.U16(version) || !in.Bytes(6, reserved) || !in.U16(channels) ||
            !in.U32(height) || !in.U32(width) || !in.U16(depth) || !in.U16(mode))
            Fail("the header is cut short");
        if (!IsPsdFile(bytes)) Fail("not a Photoshop document");
        if (version != 1 && version != 2) Fail("unknown document version");
        if (channels < 1 || channels > 56) Fail("the channel count is out of range");
        if (width < 1 || height < 1 || width > kMaxDibDimension || height > kMaxDibDimension)
            Fail("the canvas size is out of range");
        if (depth != 8) Fail("only 8 bits per channel are read");
        if (mode != 1 && mode != 3) Fail("only RGB and Grayscale documents are read");
        const bool psb = version == 2, grey = mode == 1;
        const std::size_t colours = grey ? 1 : 3;
        if (channels < colours) Fail("too few channels for the colour mode");
        std::uint32_t modeLength = 0, resourcesLength = 0;
        if (!in.U32(modeLength) || !in.Skip(modeLength)) Fail("the colour mode data runs past the end");
        if (!in.U32(resourcesLength) || !in.Skip(resourcesLength)) Fail("the image resources run past the end");
        std::int64_t budget = kMaxLayeredPixels;
        bool mergedAlpha = false;
        doc.width = static_cast<int>(width);
        doc.height = static_cast<int>(height);
        ReadLayers(in, psb, grey, doc, mergedAlpha, budget);

        std::uint16_t compression = 0;
        if (!in.U16(compression)) Fail("the merged picture is missing");
        Charge(budget, width, height);
        const bool alpha = mergedAlpha && channels > colours;
        const std::size_t wanted = colours + (alpha ? 1 : 0);
        std::span<const std::uint8_t> rest;
        in.Bytes(in.Left(), rest);
        const PlaneRequest request{compression, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height),
                                   channels, wanted, psb};
        const std::vector<std::uint8_t> planes = DecodePlanes(rest, request);
        const std::size_t planeBytes = std::size_t{width} * height;
        const std::uint8_t* p = planes.data();
        const std::array<const std::uint8_t*, 3> colour =
            grey ? std::array{p, p, p} : std::array{p, p + planeBytes, p + 2 * planeBytes};
        doc.composite = PictureFromPlanes(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), colour,
                                          alpha ? p + colours * planeBytes : nullptr, 255);
    });
}

}  // namespace tellurine
