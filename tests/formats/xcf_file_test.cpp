// The GIMP document reader against documents written here from the published layout: every tile
// compression, both pointer sizes, the three colour modes, groups, masks and blend modes; and
// damaged documents.
#include "formats/xcf_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "format_test_support.h"
#include "test_support.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using test::Px;
using test::TopDown;

struct Property {
    std::uint32_t type;
    std::vector<std::uint32_t> words;
};

struct TestLayer {
    std::string name;
    int width = 0;
    int height = 0;
    std::uint32_t type = 1;       // RGBA
    Bytes pixels;                 // top-down, pixel after pixel
    std::vector<Property> props;  // besides the end marker
    Bytes mask;                   // one byte a pixel, or none
};

struct TestDocument {
    int version = 11;
    int width = 0;
    int height = 0;
    std::uint32_t base = 0;
    std::uint8_t compression = 1;
    std::uint32_t precision = 150;
    Bytes colours;                  // RGB triples of an indexed document
    std::vector<TestLayer> layers;  // top first
};

class Writer {
public:
    explicit Writer(bool wide) : wide_(wide) {}
    Bytes out;
    void Word(std::uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(v >> shift));
    }
    // A pointer to be filled later: its place.
    std::size_t Pointer(std::uint64_t v = 0) {
        const std::size_t at = out.size();
        if (wide_) Word(static_cast<std::uint32_t>(v >> 32));
        Word(static_cast<std::uint32_t>(v));
        return at;
    }
    void Patch(std::size_t at) {
        const std::uint64_t v = out.size();
        const std::size_t bytes = wide_ ? 8 : 4;
        for (std::size_t i = 0; i < bytes; ++i) out[at + i] = static_cast<std::uint8_t>(v >> (8 * (bytes - 1 - i)));
    }
    void String(const std::string& s) {
        Word(static_cast<std::uint32_t>(s.size() + 1));
        out.insert(out.end(), s.begin(), s.end());
        out.push_back(0);
    }
    void Props(const std::vector<Property>& props) {
        for (const Property& p : props) {
            Word(p.type);
            Word(static_cast<std::uint32_t>(4 * p.words.size()));
            for (const std::uint32_t w : p.words) Word(w);
        }
        Word(0);
        Word(0);
    }

private:
    bool wide_;
};

// One channel's bytes as runs (short and long) and literals (short and long), as the format has them.
void RleStream(const Bytes& in, Bytes& out) {
    for (std::size_t i = 0; i < in.size();) {
        std::size_t same = 1;
        while (i + same < in.size() && in[i + same] == in[i]) ++same;
        if (same >= 3) {
            if (same > 127)
                out.insert(out.end(), {127, static_cast<std::uint8_t>(same >> 8), static_cast<std::uint8_t>(same)});
            else
                out.push_back(static_cast<std::uint8_t>(same - 1));
            out.push_back(in[i]);
            i += same;
            continue;
        }
        std::size_t n = 1;
        while (i + n < in.size() &&
               (i + n + 2 >= in.size() || in[i + n] != in[i + n + 1] || in[i + n] != in[i + n + 2]))
            ++n;
        if (n > 127)
            out.insert(out.end(), {128, static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)});
        else
            out.push_back(static_cast<std::uint8_t>(256 - n));
        out.insert(out.end(), in.begin() + static_cast<std::ptrdiff_t>(i),
                   in.begin() + static_cast<std::ptrdiff_t>(i + n));
        i += n;
    }
}

// A hierarchy of one level (and one empty dummy level), its tiles compressed as the document says.
void WriteHierarchy(Writer& w, const TestDocument& d, int width, int height, std::size_t bpp, const Bytes& pixels) {
    for (const std::size_t v : {std::size_t(width), std::size_t(height), bpp}) w.Word(static_cast<std::uint32_t>(v));
    const std::size_t level = w.Pointer(), dummy = w.Pointer();
    w.Pointer();
    w.Patch(level);
    w.Word(static_cast<std::uint32_t>(width));
    w.Word(static_cast<std::uint32_t>(height));
    std::vector<std::size_t> tiles;
    for (int ty = 0; ty < height; ty += 64)
        for (int tx = 0; tx < width; tx += 64) tiles.push_back(w.Pointer());
    w.Pointer();
    std::size_t next = 0;
    for (int ty = 0; ty < height; ty += 64)
        for (int tx = 0; tx < width; tx += 64) {
            Bytes tile;
            for (int y = ty; y < std::min(height, ty + 64); ++y)
                for (int x = tx; x < std::min(width, tx + 64); ++x)
                    for (std::size_t c = 0; c < bpp; ++c) tile.push_back(pixels[(y * width + x) * bpp + c]);
            w.Patch(tiles[next++]);
            if (d.compression == 0) {
                w.out.insert(w.out.end(), tile.begin(), tile.end());
            } else if (d.compression == 2) {
                const Bytes packed = format_test::Deflate(tile, MAX_WBITS);
                w.out.insert(w.out.end(), packed.begin(), packed.end());
            } else {
                for (std::size_t c = 0; c < bpp; ++c) {
                    Bytes channel;
                    for (std::size_t i = c; i < tile.size(); i += bpp) channel.push_back(tile[i]);
                    RleStream(channel, w.out);
                }
            }
        }
    w.Patch(dummy);
    w.Word(static_cast<std::uint32_t>(width / 2));
    w.Word(static_cast<std::uint32_t>(height / 2));
    w.Pointer();
}

Bytes WriteXcf(const TestDocument& d) {
    Writer w(d.version >= 11);
    const std::string tag =
        d.version == 0 ? "file" : "v0" + std::string(d.version < 10 ? "0" : "") + std::to_string(d.version);
    const std::string magic = "gimp xcf " + tag;
    w.out.assign(magic.begin(), magic.end());
    w.out.push_back(0);
    for (const std::uint32_t v : {static_cast<std::uint32_t>(d.width), static_cast<std::uint32_t>(d.height), d.base})
        w.Word(v);
    if (d.version >= 4) w.Word(d.precision);
    w.Word(17);
    w.Word(1);
    w.out.push_back(d.compression);
    if (!d.colours.empty()) {
        w.Word(1);
        w.Word(static_cast<std::uint32_t>(d.colours.size() + 4));
        w.Word(static_cast<std::uint32_t>(d.colours.size() / 3));
        w.out.insert(w.out.end(), d.colours.begin(), d.colours.end());
    }
    w.Props({});
    std::vector<std::size_t> pointers;
    for (std::size_t i = 0; i < d.layers.size(); ++i) pointers.push_back(w.Pointer());
    w.Pointer();
    w.Pointer();  // no channels
    for (std::size_t i = 0; i < d.layers.size(); ++i) {
        const TestLayer& l = d.layers[i];
        w.Patch(pointers[i]);
        for (const std::uint32_t v :
             {static_cast<std::uint32_t>(l.width), static_cast<std::uint32_t>(l.height), l.type})
            w.Word(v);
        w.String(l.name);
        w.Props(l.props);
        const std::size_t hierarchy = w.Pointer(), mask = w.Pointer();
        w.Patch(hierarchy);
        const std::size_t bpp = (l.type <= 1 ? 3 : 1) + (l.type & 1);
        WriteHierarchy(w, d, l.width, l.height, bpp, l.pixels);
        if (!l.mask.empty()) {
            w.Patch(mask);
            w.Word(static_cast<std::uint32_t>(l.width));
            w.Word(static_cast<std::uint32_t>(l.height));
            w.String("mask");
            w.Props({});
            const std::size_t maskHierarchy = w.Pointer();
            w.Patch(maskHierarchy);
            WriteHierarchy(w, d, l.width, l.height, 1, l.mask);
        }
    }
    return w.out;
}

// Pixels of `bpp` bytes, each made by f(x, y).
Bytes Pixels(int width, int height, const std::function<Bytes(int, int)>& f) {
    Bytes out;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Bytes p = f(x, y);
            out.insert(out.end(), p.begin(), p.end());
        }
    return out;
}

Bytes Varied(int x, int y) {
    return {static_cast<std::uint8_t>(x * 3), static_cast<std::uint8_t>(y * 5), static_cast<std::uint8_t>(x ^ y),
            static_cast<std::uint8_t>((x + y) % 5 == 0 ? 0 : 255 - x)};
}

// A 100 x 70 RGB document, top first: a "16" at (4, 3) with half opacity, a hidden group holding a
// 70 x 66 layer (two tiles each way) with a mask, and an opaque background in a legacy mode.
TestDocument SampleDocument(int version, std::uint8_t compression) {
    TestDocument d{version, 100, 70, 0, compression, 150, {}, {}};
    d.layers.push_back({"16", 16, 16, 1, Pixels(16, 16, Varied), {{6, {128}}, {15, {4, 3}}, {7, {28}}}, {}});
    d.layers.push_back({"sizes", 1, 1, 1, Bytes(4), {{29, {}}, {8, {0}}}, {}});
    const auto leftHalf = [](int x, int) { return Bytes{static_cast<std::uint8_t>(x < 35 ? 255 : 0)}; };
    d.layers.push_back({"70x70", 70, 66, 1, Pixels(70, 66, Varied), {{30, {1, 0}}, {33, {0x3F000000}}},
                        Pixels(70, 66, leftHalf)});
    d.layers.push_back({"Background", 100, 70, 0, Pixels(100, 70, [](int, int) { return Bytes{20, 40, 60}; }),
                        {{7, {0}}}, {}});
    return d;
}

TEST(XcfFile, ReadsEveryCompressionPointerSizeGroupAndColourMode) {
    for (const int version : {0, 11})
        for (const int compression : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << "version " << version << ", compression " << compression);
            const Bytes file = WriteXcf(SampleDocument(version, static_cast<std::uint8_t>(compression)));
            LayeredPicture doc;
            std::string error;
            ASSERT_TRUE(IsLayeredPictureFile(file));
            ASSERT_TRUE(ReadLayeredPicture(file, doc, error)) << error;
            EXPECT_EQ((std::array{doc.width, doc.height}), (std::array{100, 70}));
            // Bottom to top, the group itself left out, its hidden state given to its layer.
            ASSERT_EQ(doc.layers.size(), 3u);
            EXPECT_EQ((std::array{doc.layers[0].name, doc.layers[1].name, doc.layers[2].name}),
                      (std::array<std::string, 3>{"Background", "70x70", "16"}));
            EXPECT_EQ((std::array{doc.layers[1].visible, doc.layers[2].visible}), (std::array{false, true}));
            EXPECT_EQ((std::array{doc.layers[2].left, doc.layers[2].top}), (std::array{4, 3}));
            EXPECT_EQ((std::array{doc.layers[0].linearLight, doc.layers[2].linearLight}), (std::array{false, true}));
            // Opacity 128/255 into the alpha; the float opacity 0.5 and the mask into the second
            // tile column's.
            const Bytes v = Varied(5, 7);
            EXPECT_EQ(TopDown(doc.layers[2].picture32, 5, 7),
                      (Px{v[2], v[1], v[0], static_cast<std::uint8_t>((v[3] * 128 + 127) / 255)}));
            const Bytes far = Varied(66, 65);
            EXPECT_EQ(TopDown(doc.layers[1].picture32, 66, 65), (Px{far[2], far[1], far[0], 0}));
            const Bytes near = Varied(30, 65);
            EXPECT_EQ(TopDown(doc.layers[1].picture32, 30, 65),
                      (Px{near[2], near[1], near[0], static_cast<std::uint8_t>((near[3] + 1) / 2)}));
            // The composite: the background alone where the 16 is not, and the 16 over it in linear light.
            EXPECT_EQ(TopDown(doc.composite, 50, 50), (Px{60, 40, 20, 255}));
            const Px mixed = TopDown(doc.composite, 4 + 5, 3 + 7);
            const float a = static_cast<float>((v[3] * 128 + 127) / 255) / 255;
            EXPECT_EQ(mixed[2], SrgbOfLinear(LinearOfSrgb(v[0]) * a + LinearOfSrgb(20) * (1 - a)));
            EXPECT_EQ(mixed[3], 255);
        }

    // Grey with alpha; indexed with alpha on or off at 128; 8-bit linear turned into encoded values.
    TestDocument grey{3, 2, 1, 1, 1, 0, {}, {{"g", 2, 1, 3, {10, 200, 90, 255}, {}, {}}}};
    TestDocument indexed{
        11, 3, 1, 2, 2, 150, {1, 2, 3, 40, 50, 60}, {{"i", 3, 1, 5, {0, 127, 1, 128, 9, 255}, {}, {}}}};
    TestDocument linear{11, 1, 1, 0, 0, 100, {}, {{"l", 1, 1, 0, {0, 128, 255}, {}, {}}}};
    const struct {
        TestDocument doc;
        std::vector<Px> expected;
    } cases[] = {
        {grey, {{10, 10, 10, 200}, {90, 90, 90, 255}}},
        {indexed, {{3, 2, 1, 0}, {60, 50, 40, 255}, {60, 50, 40, 255}}},
        {linear, {{255, 188, 0, 255}}},  // 128 in linear light is 188 encoded
    };
    for (const auto& c : cases) {
        LayeredPicture doc;
        std::string error;
        ASSERT_TRUE(ReadXcfFile(WriteXcf(c.doc), doc, error)) << error;
        for (std::size_t x = 0; x < c.expected.size(); ++x)
            EXPECT_EQ(TopDown(doc.layers[0].picture32, static_cast<int>(x), 0), c.expected[x])
                << c.doc.layers[0].name << x;
    }
}

TEST(XcfFile, RefusesDamagedDocuments) {
    const Bytes good = WriteXcf(SampleDocument(11, 1));
    // The sample document with one change.
    const auto changed = [](const std::function<void(TestDocument&)>& change) {
        TestDocument d = SampleDocument(11, 1);
        change(d);
        return WriteXcf(d);
    };
    Bytes badVersion = good;
    badVersion[9] = 'x';
    Bytes cinePaint = good;
    cinePaint[10] = '1';
    const struct {
        const char* what;
        Bytes file;
        const char* reason;
    } cases[] = {
        {"unknown version", badVersion, "version"},
        {"another program's version", cinePaint, "version"},
        {"16 bits", changed([](TestDocument& d) { d.precision = 250; }), "8 bits"},
        {"unknown compression", changed([](TestDocument& d) { d.compression = 3; }), "compression"},
        {"canvas of nothing", changed([](TestDocument& d) { d.width = 0; }), "canvas"},
        {"indexed without a map", changed([](TestDocument& d) { d.base = 2; }), "colour map"},
        {"layer of another mode", changed([](TestDocument& d) { d.layers[0].type = 3; }), "colour mode"},
        {"group not listed", changed([](TestDocument& d) { d.layers[2].props[0] = {30, {1, 1, 0}}; }), "group"},
        {"offsets out of range", changed([](TestDocument& d) { d.layers[0].props[1] = {15, {1u << 30, 0}}; }),
         "offsets"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        format_test::ExpectRefused(ReadXcfFile, c.file, c.reason);
    }
    // Every cut of a good document before its last (unread) dummy level, and a tile whose runs
    // overflow it, are refused cleanly.
    for (std::size_t size = 0; size + 16 < good.size(); size += 13) {
        SCOPED_TRACE(size);
        format_test::ExpectRefused(ReadXcfFile, std::span(good).first(size));
    }
    Bytes overflow = WriteXcf(TestDocument{0, 1, 1, 0, 1, 150, {}, {{"x", 1, 1, 0, {1, 2, 3}, {}, {}}}});
    const std::size_t firstRun = overflow.size() - 12 - 6;  // the tile's three one-byte literals, then the dummy level
    ASSERT_EQ(overflow[firstRun], 255);
    overflow[firstRun] = 2;  // a run of three in a tile of one pixel
    format_test::ExpectRefused(ReadXcfFile, overflow, "overflow");
}

}  // namespace
}  // namespace tellurine
