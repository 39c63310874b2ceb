// Helpers shared by the format tests: files and scratch folders, what a peer tool prints, the
// development corpus, and icon images with varied contents in the forms the containers hold.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "formats/ico_file.h"
#include "formats/image_header.h"
#include "formats/layered_picture.h"
#include "icon/kv_icon.h"
#include "image/archive.h"
#include "image/bytes.h"
#include "image/dib_block.h"

namespace tellurine::format_test {

using Bytes = std::vector<std::uint8_t>;
using Rgba = std::array<std::uint8_t, 4>;  // red, green, blue, alpha

inline Bytes ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// The bytes of a text, as a file holds them.
inline Bytes Text(std::string_view text) { return Bytes(text.begin(), text.end()); }

// Bytes packed by zlib's deflate at its best: a raw stream (window bits -15), a zlib one (15) or a
// gzip one (31).
inline Bytes Deflate(std::span<const std::uint8_t> in, int windowBits) {
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
    Bytes out(deflateBound(&z, static_cast<uLong>(in.size())) + 32);  // room for a gzip header too
    z.next_in = const_cast<Bytef*>(in.data());
    z.avail_in = static_cast<uInt>(in.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

// A layered document reader refuses the bytes with an error naming `reason`, and keeps nothing of
// the picture it was given.
template <typename Reader>
void ExpectRefused(Reader read, std::span<const std::uint8_t> bytes, std::string_view reason = "") {
    LayeredPicture doc{1, 1, {}, CreateDibBlock(1, 1, 32)};
    doc.layers.emplace_back();
    std::string error;
    EXPECT_FALSE(read(bytes, doc, error));
    EXPECT_FALSE(error.empty());
    EXPECT_NE(error.find(reason), std::string::npos) << error;
    EXPECT_TRUE(doc.layers.empty() && doc.composite.empty());
}

// A folder of its own under the temporary directory, removed with what it holds at the end of the scope.
class ScratchDir {
public:
    ScratchDir() {
        static int made = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("tellurine-formats-" + std::to_string(::getpid()) + "-" + std::to_string(++made));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// What a shell command prints on its standard output.
inline std::string RunCommand(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return out;
    char buffer[65536];
    for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, got);
    pclose(pipe);
    return out;
}

// The development corpus beside the checkout, or where TELLURINE_CORPUS_DIR points.
inline std::filesystem::path CorpusDir() {
    if (const char* dir = std::getenv("TELLURINE_CORPUS_DIR")) return dir;
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path().parent_path() / "shared" /
           "corpus-dev";
}

// The pixels of a 32-bit picture, top row first.
inline std::vector<Rgba> PictureOf(const Block& dib) {
    const auto l = GetDibLayout(dib);
    std::vector<Rgba> out;
    if (!l) return out;
    for (int y = l->height - 1; y >= 0; --y)
        for (int x = 0; x < l->width; ++x) {
            const std::uint8_t* p = dib.data() + l->RowOffset(y) + 4 * static_cast<std::size_t>(x);
            out.push_back({p[2], p[1], p[0], p[3]});
        }
    return out;
}

// The picture an image shows (alpha 0 where the AND bit is set below 32 bits).
inline std::vector<Rgba> PictureOf(const CKvIcon& icon) { return PictureOf(icon.To32BitDib()); }

// A 32-bit format whose pixels a function gives, top row first.
inline CKvIcon Icon32(int w, int h, const std::function<Rgba(int, int)>& pixel) {
    Bytes rows(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Rgba p = pixel(x, y);
            std::uint8_t* d = rows.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(w) + x) * 4;
            d[0] = p[2], d[1] = p[1], d[2] = p[0], d[3] = p[3];
        }
    CKvIcon icon;
    EXPECT_EQ(icon.FromBgraRows(w, h, rows.data()), 1);
    return icon;
}

// A format filled from a seed: table, colour pixels and AND mask all vary; a 32-bit format has
// alpha 0 exactly where the AND bit is set (what a PNG image reads back as).
inline CKvIcon MakeIcon(int w, int h, std::uint32_t colors, bool alpha, std::uint32_t seed, bool png = false) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    std::uint32_t state = seed * 2654435761u + 1;
    auto next = [&state] {
        state = state * 1103515245u + 12345u;
        return static_cast<std::uint8_t>(state >> 16);
    };
    for (std::uint32_t i = 0; i < colors * 4; ++i) base[l.tableOffset + i] = (i % 4 == 3) ? 0 : next();
    for (int row = 0; row < h; ++row) {
        std::uint8_t* c = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row);
        std::uint8_t* m = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(row);
        for (int x = 0; x < w; ++x) {
            const bool clear = next() % 5 == 0;
            if (clear) WriteIndex(m, x, 1, 1);
            if (l.bits <= 8) {
                WriteIndex(c, x, l.bits, next());
            } else {
                const int bytes = l.bits / 8;
                for (int k = 0; k < 3; ++k) c[x * bytes + k] = next();
                if (bytes == 4) c[x * 4 + 3] = clear ? 0 : static_cast<std::uint8_t>(next() | 1);
            }
        }
    }
    icon.SetCompressed(png);
    return icon;
}

// An image as an icon file or an icon resource holds it: a PNG stream when it is compressed,
// else the bitmap form.
inline Bytes ImageBytes(const CKvIcon& icon) {
    Archive ar = Archive::ForStoring();
    std::uint32_t written = 0;
    EXPECT_EQ(icon.WriteImage(ar, written), 1);
    return ar.TakeBytes();
}

// What an image is, in the terms DescribeStoredImage tells it: to compare in one assertion.
inline StoredImageFormat StoredFormatOf(const CKvIcon& icon) {
    return {static_cast<std::int32_t>(icon.Width()), static_cast<std::int32_t>(icon.Height()), icon.ColorCount(),
            icon.HasAlpha(), icon.IsCompressed()};
}

// A project of these formats, in this order.
inline CIconDoc DocOf(std::vector<CKvIcon> formats) {
    CIconDoc doc;
    for (CKvIcon& icon : formats) doc.AddFormat(std::move(icon));
    return doc;
}

// An icon file of these formats.
inline Bytes IconFileOf(std::vector<CKvIcon> formats) {
    Bytes out;
    EXPECT_TRUE(WriteIconFile(DocOf(std::move(formats)), false, out));
    return out;
}

// A Macintosh icon family of elements given as (type, data), laid out by hand.
inline Bytes IcnsFamily(const std::vector<std::pair<std::string, Bytes>>& elements) {
    Bytes out{'i', 'c', 'n', 's', 0, 0, 0, 0};
    for (const auto& [type, data] : elements) {
        out.insert(out.end(), type.begin(), type.end());
        out.resize(out.size() + 4);
        StoreBE32(out.data() + out.size() - 4, static_cast<std::uint32_t>(data.size() + 8));
        out.insert(out.end(), data.begin(), data.end());
    }
    StoreBE32(out.data() + 4, static_cast<std::uint32_t>(out.size()));
    return out;
}

}  // namespace tellurine::format_test
