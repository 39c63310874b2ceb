// The Photoshop document reader against documents written here from the published layout (RGB,
// raw and PackBits channels), the layer-name grammar, the size layers' pictures, and damaged files.
#include "formats/psd_file.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "format_test_support.h"
#include "formats/psd_test_writer.h"
#include "test_support.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::Icon32;
using format_test::PictureOf;
using format_test::Rgba;
using namespace psd_test;
Rgba Pattern(int x, int y) {
    return {static_cast<std::uint8_t>(x * 16), static_cast<std::uint8_t>(y * 16), 200,
            static_cast<std::uint8_t>(x == y ? 0 : 255)};
}
Rgba Flat(int, int) {
    return {10, 20, 30, 255};
}

// A 32 x 32 document: a hand-drawn 16 (raw) and a 32 (PackBits, half opacity, hidden, named in
// Unicode) that covers only part of the canvas, over a named background.
TestDocument SampleDocument() {
    TestDocument d{32, 32, {}, Pattern, true, true};
    d.layers.push_back({"Background", 0, 0, 32, 32, Flat, false, 255, false, {}});
    d.layers.push_back({"16", 8, 8, 16, 16, Pattern, false, 255, false, {}});
    d.layers.push_back({"ignored", 3, 4, 10, 6, Pattern, true, 128, true, u"32x32 8bit"});
    return d;
}

// Offsets into the sample file: the header is 26 bytes, the empty colour mode data 4, the image
// resources 8, the two section lengths 8, the layer count 2; the first record follows.
constexpr std::size_t kLayerCount = 26 + 4 + 8 + 8;
constexpr std::size_t kFirstRecord = kLayerCount + 2;

TEST(PsdFile, ReadsLayersAndTheMergedPicture) {
    for (const bool rle : {false, true}) {
        SCOPED_TRACE(rle ? "PackBits" : "raw");
        TestDocument d = SampleDocument();
        d.compositeRle = rle;
        for (TestLayer& l : d.layers) l.rle = !l.rle;
        const Bytes file = WritePsd(d);
        LayeredPicture doc;
        std::string error;
        ASSERT_TRUE(ReadPsdFile(file, doc, error)) << error;
        EXPECT_EQ((std::array{doc.width, doc.height}), (std::array{32, 32}));
        EXPECT_EQ(PictureOf(doc.composite), PictureOf(Icon32(32, 32, Pattern)));
        ASSERT_EQ(doc.layers.size(), 3u);
        EXPECT_EQ(doc.layers[0].name, "Background");
        EXPECT_EQ(doc.layers[2].name, "32x32 8bit");
        EXPECT_EQ((std::array{doc.layers[1].visible, doc.layers[2].visible}), (std::array{true, false}));
        EXPECT_EQ((std::array{doc.layers[2].left, doc.layers[2].top}), (std::array{3, 4}));
        EXPECT_EQ(PictureOf(doc.layers[1].picture32), PictureOf(Icon32(16, 16, Pattern)));
        // Half opacity halves the alpha, the colours stay as they are.
        EXPECT_EQ(PictureOf(doc.layers[2].picture32), PictureOf(Icon32(10, 6, [](int x, int y) {
                      Rgba p = Pattern(x, y);
                      p[3] = p[3] == 0 ? 0 : 128;
                      return p;
                  })));
    }
    // Without a negative layer count, or without a fourth channel, the merged picture is opaque.
    TestDocument d = SampleDocument();
    d.mergedAlpha = false;
    Bytes file = WritePsd(d);
    LayeredPicture doc;
    std::string error;
    ASSERT_TRUE(ReadPsdFile(file, doc, error)) << error;
    EXPECT_EQ(test::At(doc.composite, 0, 31)[3], 255);
    file[kLayerCount] = 0xFF;
    file[kLayerCount + 1] = 0xFD;  // -3
    ASSERT_TRUE(ReadPsdFile(file, doc, error)) << error;
    EXPECT_EQ(test::At(doc.composite, 0, 31)[3], 255);
    // The smallest canvas; without layers no count says the extra channel is transparency.
    ASSERT_TRUE(ReadPsdFile(WritePsd({1, 1, {}, Pattern, false, true}), doc, error)) << error;
    EXPECT_EQ(PictureOf(doc.composite), (std::vector<Rgba>{{0, 0, 200, 255}}));
}

TEST(PsdFile, LayerNamesThatSayAFormat) {
    struct Case {
        const char* name;
        int size, bits;
        bool png;
    };
    const Case formats[] = {
        {"16", 16, 32, false},          {"16x16", 16, 32, false},     {"32x32 8bit", 32, 8, false},
        {"48 x 48 4-bit", 48, 4, false}, {"256 png", 256, 32, true},  {"24x24@32", 24, 32, false},
        {"  64X64 24 BIT ", 64, 24, false}, {"1 1bpp", 1, 1, false}, {"1024 @ 8", 1024, 8, false},
        {"32 8 bits", 32, 8, false},     {"128x128 32-bit PNG", 128, 32, true},
    };
    for (const Case& c : formats) {
        SCOPED_TRACE(c.name);
        const auto f = ParseFormatName(c.name);
        ASSERT_TRUE(f.has_value());
        EXPECT_EQ((std::array{f->size, f->bits, static_cast<int>(f->png)}),
                  (std::array{c.size, c.bits, static_cast<int>(c.png)}));
    }
    for (const char* none : {"Background", "shadow", "", "16 copy", "16x24", "0", "1025", "16 16bit", "16@", "x16",
                             "8 png@8", "16 png png", "16 8bit @4", "16bit", "99999999999", "16 bit"}) {
        SCOPED_TRACE(none);
        EXPECT_FALSE(ParseFormatName(none).has_value());
    }
}

TEST(PsdFile, SizeLayersBecomeFormatsCutToTheCanvasAndTheRestComesFromTheMergedPicture) {
    LayeredPicture psd;
    std::string error;
    ASSERT_TRUE(ReadPsdFile(WritePsd(SampleDocument()), psd, error)) << error;
    IconProjectRequest request;
    request.sizes = {16, 32, 48};
    request.depths = {32};
    CIconDoc doc;
    ASSERT_TRUE(MakeIconProjectFromLayers(psd, request, doc, error)) << error;
    ASSERT_EQ(doc.GetFormatCount(), 3);
    std::vector<std::array<int, 2>> formats;
    for (int i = 0; i < doc.GetFormatCount(); ++i)
        formats.push_back({doc.GetFormat(i)->Width(), doc.GetFormat(i)->BitCount()});
    EXPECT_EQ(formats, (std::vector<std::array<int, 2>>{{32, 8}, {48, 32}, {16, 32}}));
    // The 16 is the layer's own pixels (the canvas is not 16 pixels), unresampled.
    EXPECT_EQ(PictureOf(doc.GetFormat(2)->Icon()), PictureOf(Icon32(16, 16, Pattern)));
    // The 32 on a 32 x 32 canvas stays where it lies, with transparency around it.
    const Block at32 = SizeLayerPicture(psd, psd.layers[2], 32);
    EXPECT_EQ(PictureOf(at32), PictureOf(Icon32(32, 32, [](int x, int y) -> Rgba {
                  if (x < 3 || x >= 13 || y < 4 || y >= 10) return {0, 0, 0, 0};
                  Rgba p = Pattern(x - 3, y - 4);
                  p[3] = p[3] == 0 ? 0 : 128;
                  return p;
              })));

    // On a canvas of another shape, a layer is cut to the canvas and centred in its square.
    TestDocument d{20, 10, {}, Flat, false, true};
    d.layers.push_back({"16", -2, 6, 8, 6, Pattern, false, 255, false, u"\u00e9\U0001F600"});  // 6 x 4 on the canvas
    ASSERT_TRUE(ReadPsdFile(WritePsd(d), psd, error)) << error;
    EXPECT_EQ(psd.layers[0].name, "\xc3\xa9\xf0\x9f\x98\x80");
    const Block square = SizeLayerPicture(psd, psd.layers[0], 16);
    EXPECT_EQ(PictureOf(square), PictureOf(Icon32(6, 6, [](int x, int y) -> Rgba {
                  if (y < 1 || y >= 5) return {0, 0, 0, 0};
                  return Pattern(x + 2, y - 1);
              })));
    d.layers[0].left = 20;  // nothing on the canvas
    ASSERT_TRUE(ReadPsdFile(WritePsd(d), psd, error)) << error;
    EXPECT_TRUE(SizeLayerPicture(psd, psd.layers[0], 16).empty());
}

TEST(PsdFile, RefusesDamagedDocuments) {
    const Bytes good = WritePsd(SampleDocument());
    LayeredPicture doc;
    std::string error;
    ASSERT_TRUE(ReadPsdFile(good, doc, error));
    // The bytes with the `size` at `at` replaced by v, big-endian.
    const auto patch = [](Bytes b, std::size_t at, std::uint32_t v, int size) {
        for (std::size_t i = static_cast<std::size_t>(size); i-- > 0; v >>= 8)
            b[at + i] = static_cast<std::uint8_t>(v);
        return b;
    };
    TestDocument rle = SampleDocument();
    for (TestLayer& l : rle.layers) l.rle = true;
    rle.compositeRle = true;
    const Bytes packed = WritePsd(rle);
    // The merged picture's first row count.
    std::vector<std::vector<Bytes>> planes;
    for (int c = 0; c < 4; ++c) planes.push_back(PlaneRows(32, 32, Pattern, c));
    const std::size_t rowCount = packed.size() - ChannelData(planes, true, false).size();
    struct Case {
        const char* what;
        Bytes bytes;
    };
    const Case cases[] = {
        {"not a document", patch(good, 0, 0x38425053 + 1, 4)},
        {"version 3", patch(good, 4, 3, 2)},
        {"no channels", patch(good, 12, 0, 2)},
        {"a canvas too tall", patch(good, 14, 40000, 4)},
        {"16 bits per channel", patch(good, 22, 16, 2)},
        {"CMYK", patch(good, 24, 4, 2)},
        {"colour mode data past the end", patch(good, 26, 0x7FFFFFFF, 4)},
        {"image resources past the end", patch(good, 30, 0xFFFFFFF0, 4)},
        {"a layer section past the end", patch(good, 38, 0xFFFFFFFF, 4)},
        {"more layers than bytes", patch(good, kLayerCount, 0x7FFF, 2)},
        {"a huge rectangle", patch(good, kFirstRecord + 8, 0x7FFFFFFF, 4)},
        {"a negative rectangle", patch(good, kFirstRecord + 8, 0xFFFFFFF0, 4)},
        {"a channel past its section", patch(good, kFirstRecord + 20, 0x00FFFFFF, 4)},
        {"an unknown compression", patch(packed, rowCount - 2, 7, 2)},
        {"a PackBits row count past the end", patch(packed, rowCount, 0xFFFF, 2)},
        {"a PackBits row cut short", patch(packed, rowCount, 1, 2)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        format_test::ExpectRefused(ReadPsdFile, c.bytes);
    }
    // Every cut of both files is refused, never read past its end: one without its merged picture,
    // or with part of it.
    for (const Bytes* file : {&good, &packed})
        for (std::size_t size = 0; size < file->size(); ++size) {
            SCOPED_TRACE(size);
            format_test::ExpectRefused(ReadPsdFile, std::span(file->data(), size));
        }
}

}  // namespace
}  // namespace tellurine
