// A Photoshop document writer for tests, written from the published layout: RGB at 8 bits, layers
// with raw or PackBits channels, opacity, the hidden flag and a Unicode name, and the merged
// picture. Independent of the reader under test.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tellurine::psd_test {

using Bytes = std::vector<std::uint8_t>;
using Rgba = std::array<std::uint8_t, 4>;  // red, green, blue, alpha
using Pixels = std::function<Rgba(int, int)>;

inline void PutBE16(Bytes& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v >> 8));
    out.push_back(static_cast<std::uint8_t>(v));
}
inline void PutBE32(Bytes& out, std::uint32_t v) {
    PutBE16(out, v >> 16);
    PutBE16(out, v & 0xFFFF);
}
inline void Put(Bytes& out, const std::string& text) {
    out.insert(out.end(), text.begin(), text.end());
}

// PackBits: a run of three or more equal bytes as a repeat, everything else as literals.
inline Bytes PackRow(const Bytes& row) {
    Bytes out;
    std::size_t i = 0;
    while (i < row.size()) {
        std::size_t run = 1;
        while (i + run < row.size() && run < 128 && row[i + run] == row[i]) ++run;
        if (run >= 3) {
            out.push_back(static_cast<std::uint8_t>(257 - run));
            out.push_back(row[i]);
            i += run;
            continue;
        }
        std::size_t literal = 0;
        while (i + literal < row.size() && literal < 128 &&
               !(i + literal + 2 < row.size() && row[i + literal] == row[i + literal + 1] &&
                 row[i + literal] == row[i + literal + 2]))
            ++literal;
        out.push_back(static_cast<std::uint8_t>(literal - 1));
        out.insert(out.end(), row.begin() + static_cast<long>(i), row.begin() + static_cast<long>(i + literal));
        i += literal;
    }
    return out;
}

// One channel's plane (0..2 colour, 3 alpha) of a picture, row by row.
inline std::vector<Bytes> PlaneRows(int width, int height, const Pixels& pixels, int channel) {
    std::vector<Bytes> rows(static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) rows[static_cast<std::size_t>(y)].push_back(pixels(x, y)[channel]);
    return rows;
}

// Channel data: the compression word, then (PackBits) the row counts and the rows, or the raw rows.
inline Bytes ChannelData(const std::vector<std::vector<Bytes>>& planes, bool rle, bool withCompression) {
    Bytes out;
    if (withCompression) PutBE16(out, rle ? 1 : 0);
    std::vector<Bytes> packed;
    for (const auto& plane : planes)
        for (const Bytes& row : plane) packed.push_back(rle ? PackRow(row) : row);
    if (rle)
        for (const Bytes& row : packed) PutBE16(out, static_cast<std::uint32_t>(row.size()));
    for (const Bytes& row : packed) out.insert(out.end(), row.begin(), row.end());
    return out;
}

struct TestLayer {
    std::string name;
    int left = 0, top = 0, width = 0, height = 0;
    Pixels pixels;
    bool rle = false;
    std::uint8_t opacity = 255;
    bool hidden = false;
    std::u16string unicodeName;  // written as "luni" when not empty
};

struct TestDocument {
    int width = 0, height = 0;
    std::vector<TestLayer> layers;
    Pixels composite;
    bool compositeRle = false;
    bool mergedAlpha = true;  // a negative layer count and a fourth merged channel
};

inline Bytes WritePsd(const TestDocument& d) {
    Bytes out;
    // Version 1, six reserved bytes, the channels, height and width, 8 bits, RGB; no colour mode
    // data, and 4 bytes of image resources, skipped whole.
    Put(out, "8BPS");
    for (const std::uint32_t v : {1u, 0u, 0u, 0u, d.mergedAlpha ? 4u : 3u}) PutBE16(out, v);
    for (const int v : {d.height, d.width}) PutBE32(out, static_cast<std::uint32_t>(v));
    for (const std::uint32_t v : {8u, 3u}) PutBE16(out, v);
    for (const std::uint32_t v : {0u, 4u, 0xDEADBEEFu}) PutBE32(out, v);
    Bytes records, channels;
    for (const TestLayer& l : d.layers) {
        for (const int side : {l.top, l.left, l.top + l.height, l.left + l.width})
            PutBE32(records, static_cast<std::uint32_t>(side));
        PutBE16(records, 4);
        for (const int c : {-1, 0, 1, 2}) {
            const Bytes data = ChannelData({PlaneRows(l.width, l.height, l.pixels, c < 0 ? 3 : c)}, l.rle, true);
            PutBE16(records, static_cast<std::uint16_t>(c));
            PutBE32(records, static_cast<std::uint32_t>(data.size()));
            channels.insert(channels.end(), data.begin(), data.end());
        }
        Put(records, "8BIMnorm");
        records.insert(records.end(), {l.opacity, 0, static_cast<std::uint8_t>(l.hidden ? 2 : 0), 0});
        Bytes extra(8, 0);  // no layer mask, no blending ranges
        extra.push_back(static_cast<std::uint8_t>(l.name.size()));
        Put(extra, l.name);
        while (extra.size() % 4 != 0) extra.push_back(0);
        if (!l.unicodeName.empty()) {
            Put(extra, "8BIMluni");
            PutBE32(extra, static_cast<std::uint32_t>(4 + 2 * l.unicodeName.size()));
            PutBE32(extra, static_cast<std::uint32_t>(l.unicodeName.size()));
            for (const char16_t c : l.unicodeName) PutBE16(extra, c);
        }
        PutBE32(records, static_cast<std::uint32_t>(extra.size()));
        records.insert(records.end(), extra.begin(), extra.end());
    }
    Bytes info;
    const int count = static_cast<int>(d.layers.size());
    PutBE16(info, static_cast<std::uint16_t>(d.mergedAlpha ? -count : count));
    info.insert(info.end(), records.begin(), records.end());
    info.insert(info.end(), channels.begin(), channels.end());
    PutBE32(out, static_cast<std::uint32_t>(info.size() + 8));
    PutBE32(out, static_cast<std::uint32_t>(info.size()));
    out.insert(out.end(), info.begin(), info.end());
    PutBE32(out, 0);  // global layer mask
    PutBE16(out, d.compositeRle ? 1 : 0);
    std::vector<std::vector<Bytes>> planes;
    for (int c = 0; c < (d.mergedAlpha ? 4 : 3); ++c) planes.push_back(PlaneRows(d.width, d.height, d.composite, c));
    const Bytes merged = ChannelData(planes, d.compositeRle, false);
    out.insert(out.end(), merged.begin(), merged.end());
    return out;
}

}  // namespace tellurine::psd_test
