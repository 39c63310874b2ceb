// The OpenRaster reader and the ZIP archive under it, against archives written here from the
// published layouts: layers, groups, opacity and offsets; the composite made when the archive has
// no merged picture; and damaged or hostile archives.
#include "formats/ora_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "format_test_support.h"
#include "image/bytes.h"
#include "imaging/codecs.h"
#include "test_support.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::Text;
using test::Px;
using test::TopDown;

struct Entry {
    std::string name;
    Bytes data;
    bool deflate = false;
};

// A little-endian field of `size` bytes.
void Put(Bytes& b, std::uint32_t v, int size) {
    for (int i = 0; i < size; ++i) b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
void Put16(Bytes& b, std::uint32_t v) { Put(b, v, 2); }
void Put32(Bytes& b, std::uint32_t v) { Put(b, v, 4); }

// A ZIP archive: each entry's local header and data, then the central directory and its end.
Bytes WriteZip(const std::vector<Entry>& entries) {
    Bytes out, directory;
    for (const Entry& e : entries) {
        const Bytes data = e.deflate ? format_test::Deflate(e.data, -MAX_WBITS) : e.data;
        const auto crc = static_cast<std::uint32_t>(crc32(0, e.data.data(), static_cast<uInt>(e.data.size())));
        const auto offset = static_cast<std::uint32_t>(out.size());
        for (Bytes* header : {&out, &directory}) {
            const bool central = header == &directory;
            Put32(*header, central ? 0x02014B50 : 0x04034B50);
            if (central) Put16(*header, 20);
            for (const std::uint32_t v : {20u, 0u, e.deflate ? 8u : 0u, 0u, 0u}) Put16(*header, v);
            for (const std::uint32_t v :
                 {crc, static_cast<std::uint32_t>(data.size()), static_cast<std::uint32_t>(e.data.size())})
                Put32(*header, v);
            Put16(*header, static_cast<std::uint32_t>(e.name.size()));
            Put16(*header, 0);
            if (central) {
                for (int i = 0; i < 3; ++i) Put16(*header, 0);
                Put32(*header, 0);
                Put32(*header, offset);
            }
            header->insert(header->end(), e.name.begin(), e.name.end());
        }
        out.insert(out.end(), data.begin(), data.end());
    }
    const auto directoryOffset = static_cast<std::uint32_t>(out.size());
    out.insert(out.end(), directory.begin(), directory.end());
    Put32(out, 0x06054B50);
    const auto count = static_cast<std::uint32_t>(entries.size());
    for (const std::uint32_t v : {0u, 0u, count, count}) Put16(out, v);
    Put32(out, static_cast<std::uint32_t>(directory.size()));
    Put32(out, directoryOffset);
    Put16(out, 0);
    return out;
}

// A PNG of w x h pixels, each f(x, y) with y counted from the top.
Bytes Png(int w, int h, const std::function<Px(int, int)>& f) {
    Bytes png;
    EXPECT_TRUE(EncodePng(test::MakeDib(w, h, 32, [&](int x, int y) { return f(x, h - 1 - y); }), png));
    return png;
}

Px Pattern(int x, int y) {
    return {static_cast<std::uint8_t>(x * 8), static_cast<std::uint8_t>(y * 8), 90, 255};
}

// A 32 x 32 document, top first: a "16" layer at (8, 4), a hidden group holding a "32" layer, a
// half-opaque "Background" with an escaped name, and a merged picture.
std::vector<Entry> SampleEntries() {
    return {
        {"mimetype", Text("image/openraster")},
        {"stack.xml",
         Text("<?xml version='1.0' encoding='UTF-8'?>\n<!-- written by hand -->\n"
              "<image version=\"0.0.5\" w=\"32\" h=\"32\"><stack>\n"
              "  <layer name=\"16\" src=\"data/a.png\" x=\"8\" y=\"4\"/>\n"
              "  <stack name=\"sizes\" visibility=\"hidden\" opacity=\"0.5\">\n"
              "    <layer name=\"32x32 8bit\" src=\"data/b.png\" opacity=\"0.5\"></layer>\n"
              "  </stack>\n"
              "  <layer name=\"Back &amp; &#x263A;\" src='data/c.png' opacity=\"0.5\" composite-op=\"svg:src-over\"/>\n"
              "</stack></image>\n"),
         true},
        {"data/a.png", Png(16, 16, Pattern)},
        {"data/b.png", Png(32, 32, Pattern), true},
        {"data/c.png", Png(32, 32, [](int, int) { return Px{200, 100, 50, 255}; })},
        {"mergedimage.png", Png(32, 32, [](int x, int y) { return Pattern(y, x); }), true}};
}

TEST(OraFile, ReadsLayersGroupsAndTheMergedPictureOrLaysTheLayersOver) {
    const Bytes file = WriteZip(SampleEntries());
    ASSERT_TRUE(IsOraFile(file));
    ASSERT_TRUE(IsLayeredPictureFile(file));
    LayeredPicture doc;
    std::string error;
    ASSERT_TRUE(ReadLayeredPicture(file, doc, error)) << error;
    EXPECT_EQ((std::array{doc.width, doc.height}), (std::array{32, 32}));
    ASSERT_EQ(doc.layers.size(), 3u);
    // Bottom to top, the entity and the character reference decoded.
    EXPECT_EQ((std::array{doc.layers[0].name, doc.layers[1].name, doc.layers[2].name}),
              (std::array<std::string, 3>{"Back & \xE2\x98\xBA", "32x32 8bit", "16"}));
    EXPECT_EQ((std::array{doc.layers[2].left, doc.layers[2].top}), (std::array{8, 4}));
    EXPECT_EQ((std::array{doc.layers[0].visible, doc.layers[1].visible, doc.layers[2].visible}),
              (std::array{true, false, true}));
    // Opacity goes into alpha, a group's multiplying its layers'; colours are kept.
    EXPECT_EQ(TopDown(doc.layers[0].picture32, 0, 0), (Px{200, 100, 50, 128}));
    EXPECT_EQ(TopDown(doc.layers[1].picture32, 3, 5), (Px{24, 40, 90, 64}));
    EXPECT_EQ(TopDown(doc.layers[2].picture32, 15, 2), Pattern(15, 2));
    EXPECT_EQ(TopDown(doc.composite, 3, 7), Pattern(7, 3));

    // Without a merged picture the visible layers are laid over: outside the "16", the
    // half-opaque background alone; inside it, the opaque layer.
    std::vector<Entry> entries = SampleEntries();
    entries.pop_back();
    ASSERT_TRUE(ReadOraFile(WriteZip(entries), doc, error)) << error;
    EXPECT_EQ(TopDown(doc.composite, 0, 0), (Px{200, 100, 50, 128}));
    EXPECT_EQ(TopDown(doc.composite, 8 + 5, 4 + 6), Pattern(5, 6));
    // "Over" with straight alpha: half-opaque white over half-opaque black gives 2/3 white at 3/4.
    LayeredPicture two{1, 1, {}, {}};
    two.layers.push_back({"", 0, 0, test::MakeDib(1, 1, 32, [](int, int) { return Px{0, 0, 0, 128}; }), true});
    two.layers.push_back({"", 0, 0, test::MakeDib(1, 1, 32, [](int, int) { return Px{255, 255, 255, 128}; }), true});
    EXPECT_EQ(test::At(CompositeLayers(two), 0, 0), (Px{170, 170, 170, 192}));
}

TEST(OraFile, RefusesDamagedAndHostileArchives) {
    const auto stack = [](const std::string& inner, const std::string& image = "w=\"32\" h=\"32\"") {
        return Text("<image " + image + "><stack>" + inner + "</stack></image>");
    };
    const auto with = [&](std::vector<Entry> entries) {
        entries.insert(entries.begin(), {"mimetype", Text("image/openraster")});
        return WriteZip(entries);
    };
    const Bytes a = Png(16, 16, Pattern);
    const Bytes sample = WriteZip(SampleEntries());
    std::string deep;
    for (int i = 0; i < 300; ++i) deep += "<stack>";
    // A byte of stored text changed; then declared sizes the data cannot give, read from the end:
    // the last entry's central record is 46 bytes and its name before the 22-byte end record.
    std::vector<Entry> entries = SampleEntries();
    entries[1].deflate = false;
    Bytes badCrc = WriteZip(entries);
    *std::search(badCrc.begin(), badCrc.end(), std::begin("by hand"), std::end("by hand") - 1) = 'B';
    Bytes tooLarge = with({{"stack.xml", stack("")}});
    StoreU32(tooLarge.data() + tooLarge.size() - 22 - 46 - 9 + 24, 0x7FFFFFFF);
    Bytes bomb = with({{"stack.xml", stack("<layer src=\"a\"/>")}, {"a", a, true}});
    StoreU32(bomb.data() + bomb.size() - 22 - 46 - 1 + 24, 100'000'000);
    const struct {
        const char* what;
        Bytes file;
        const char* reason;
    } cases[] = {
        {"no mimetype", WriteZip({{"stack.xml", stack("")}}), "not a Photoshop, OpenRaster or GIMP"},
        {"no stack", with({}), "no stack.xml"},
        {"no canvas size", with({{"stack.xml", stack("", "")}}), "no canvas size"},
        {"canvas too large", with({{"stack.xml", stack("", "w=\"99999999\" h=\"2\"")}}), "out of range"},
        {"missing picture", with({{"stack.xml", stack("<layer src=\"data/x.png\"/>")}}), "missing"},
        {"no source", with({{"stack.xml", stack("<layer name=\"16\"/>")}}), "names no picture"},
        {"not a picture", with({{"stack.xml", stack("<layer src=\"s\"/>")}, {"s", Text("nope")}}), "not a PNG"},
        {"offset out of range", with({{"stack.xml", stack("<layer src=\"a\" x=\"1e300\"/>")}, {"a", a}}), "range"},
        {"unknown entity", with({{"stack.xml", stack("<layer name=\"&bogus;\" src=\"a\"/>")}, {"a", a}}), "entity"},
        {"broken tag", with({{"stack.xml", Text("<image w=\"2\" h=\"2\"><layer src=\"a\"")}}), "broken attribute"},
        {"nested too deep", with({{"stack.xml", stack(deep)}}), "too deep"},
        {"checksum", badCrc, "checksum"},
        {"declared size too large", tooLarge, "too large"},
        {"declared size impossible", bomb, "impossible"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        format_test::ExpectRefused(ReadLayeredPicture, c.file, c.reason);
    }
    // Every cut of a good archive is refused cleanly.
    for (std::size_t size = 0; size < sample.size(); size += 7) {
        SCOPED_TRACE(size);
        format_test::ExpectRefused(ReadLayeredPicture, std::span(sample).first(size));
    }
}

}  // namespace
}  // namespace tellurine
