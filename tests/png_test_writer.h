// A small writer of PNG streams for the tests: 8-bit pictures in any colour type, the zlib data
// made of stored blocks (no compression) so that a test can find and damage any byte of it; and a
// stream taken apart into its chunks and put together again, to change or add chunks.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <zlib.h>

#include "image/bytes.h"

namespace tellurine::png_test {

using Rgba = std::array<std::uint8_t, 4>;
using Picture = std::vector<Rgba>;  // top row first

inline std::uint32_t Crc32(const std::uint8_t* p, std::size_t n) {
    return static_cast<std::uint32_t>(crc32(0, p, static_cast<uInt>(n)));
}

inline void PutBE32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(v >> shift));
}

inline void PutChunk(std::vector<std::uint8_t>& out, const char* type, const std::vector<std::uint8_t>& data) {
    PutBE32(out, static_cast<std::uint32_t>(data.size()));
    const std::size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    PutBE32(out, Crc32(out.data() + start, out.size() - start));
}

using Chunk = std::pair<std::string, std::vector<std::uint8_t>>;  // type, data

// The chunks of a PNG stream, in order.
inline std::vector<Chunk> ChunksOf(const std::vector<std::uint8_t>& png) {
    std::vector<Chunk> chunks;
    for (std::size_t pos = 8; pos + 12 <= png.size(); pos += chunks.back().second.size() + 12) {
        const auto type = png.begin() + static_cast<std::ptrdiff_t>(pos + 4);
        chunks.emplace_back(std::string(type, type + 4),
                            std::vector<std::uint8_t>(type + 4, type + 4 + LoadBE32(png.data() + pos)));
    }
    return chunks;
}

// A PNG stream of these chunks, each with its CRC made anew.
inline std::vector<std::uint8_t> Assemble(const std::vector<Chunk>& chunks) {
    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    for (const auto& [type, data] : chunks) PutChunk(png, type.c_str(), data);
    return png;
}

// An 8-bit PNG stream of a w x h picture in one colour type: 0 grey and 4 grey with alpha (the
// red sample), 2 RGB, 3 palette (with a tRNS chunk of the alphas unless all are 255), 6 RGBA;
// `interlace` is only written into the header, so it is right for a single pixel alone.
inline std::vector<std::uint8_t> PngOf(int w, int h, int type, const Picture& picture, std::uint8_t interlace = 0) {
    std::vector<Rgba> palette;
    std::vector<std::uint8_t> raw;
    for (int y = 0; y < h; ++y) {
        raw.push_back(0);  // no filter
        for (int x = 0; x < w; ++x) {
            const Rgba& p = picture[static_cast<std::size_t>(y * w + x)];
            switch (type) {
                case 0: raw.push_back(p[0]); break;
                case 2: raw.insert(raw.end(), p.begin(), p.begin() + 3); break;
                case 3: {
                    auto at = std::find(palette.begin(), palette.end(), p);
                    if (at == palette.end()) at = palette.insert(palette.end(), p);
                    raw.push_back(static_cast<std::uint8_t>(at - palette.begin()));
                    break;
                }
                case 4: raw.insert(raw.end(), {p[0], p[3]}); break;
                default: raw.insert(raw.end(), p.begin(), p.end()); break;
            }
        }
    }
    std::vector<std::uint8_t> z(compressBound(static_cast<uLong>(raw.size())));
    uLongf zSize = static_cast<uLongf>(z.size());
    compress2(z.data(), &zSize, raw.data(), static_cast<uLong>(raw.size()), Z_NO_COMPRESSION);
    z.resize(zSize);

    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<std::uint8_t> header;
    PutBE32(header, static_cast<std::uint32_t>(w));
    PutBE32(header, static_cast<std::uint32_t>(h));
    header.insert(header.end(), {8, static_cast<std::uint8_t>(type), 0, 0, interlace});
    PutChunk(png, "IHDR", header);
    if (type == 3) {
        std::vector<std::uint8_t> plte, trns;
        for (const Rgba& p : palette) {
            plte.insert(plte.end(), p.begin(), p.begin() + 3);
            trns.push_back(p[3]);
        }
        PutChunk(png, "PLTE", plte);
        if (std::any_of(trns.begin(), trns.end(), [](std::uint8_t alpha) { return alpha != 255; }))
            PutChunk(png, "tRNS", trns);
    }
    PutChunk(png, "IDAT", z);
    PutChunk(png, "IEND", {});
    return png;
}

}  // namespace tellurine::png_test
