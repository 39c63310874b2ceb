#include "formats/svg_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "formats/format_test_support.h"
#include "formats/image_file.h"
#include "icon/format_maker.h"
#include "test_support.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::Text;
using test::Px;
using test::TopDown;

// A circle clipping a blue square, a blurred yellow square, and a half-transparent red bar: what
// a renderer of SVG Tiny alone gets wrong.
const std::string kDrawing = R"svg(<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64">
  <defs><clipPath id="c"><circle cx="32" cy="32" r="24"/></clipPath>
        <filter id="b"><feGaussianBlur stdDeviation="2"/></filter></defs>
  <rect width="64" height="64" fill="#2060c0" clip-path="url(#c)"/>
  <rect x="20" y="20" width="24" height="24" fill="#ffcc00" filter="url(#b)"/>
  <rect x="0" y="60" width="64" height="4" fill="#ff0000" fill-opacity="0.5"/>
</svg>)svg";

TEST(SvgDrawing, RendersClipsFiltersAndStraightAlphaAtAnySizeAndMakesIconsFromTheVector) {
    SvgDrawing drawing;
    std::string error;
    ASSERT_TRUE(drawing.Load(Text(kDrawing), error)) << error;
    EXPECT_EQ(drawing.Width(), 64);
    for (const int size : {16, 32, 256}) {
        SCOPED_TRACE(size);
        const Block dib = drawing.Render(size, size);
        ASSERT_TRUE(GetDibLayout(dib).has_value());
        EXPECT_EQ(TopDown(dib, 0, 0)[3], 0);                                  // outside the clip
        EXPECT_EQ(TopDown(dib, size / 2, size / 2), (Px{0, 204, 255, 255}));  // the blurred square's middle
        EXPECT_EQ(TopDown(dib, size * 3 / 16, size / 2), (Px{0xC0, 0x60, 0x20, 255}));
        EXPECT_EQ(TopDown(dib, size / 2, size - 1), (Px{0, 0, 255, 128}));  // not premultiplied
    }
    // Another shape is fitted whole and centred; a zero or huge size gives nothing.
    const Block wide = drawing.Render(32, 16);
    EXPECT_EQ(TopDown(wide, 0, 8)[3], 0);
    EXPECT_EQ(TopDown(wide, 16, 8)[3], 255);
    EXPECT_FALSE(drawing.Render(0, 16));
    EXPECT_FALSE(drawing.Render(kMaxSvgSide + 1, 16));

    // Each size of an icon made from the drawing is the drawing rendered at that size, never
    // resampled.
    IconProjectRequest request;
    request.sizes = {16, 48};
    request.depths = {32};
    CIconDoc doc;
    ASSERT_TRUE(MakeIconProjectFromDrawing([&](int size) { return drawing.Render(size, size); }, request, doc, error));
    ASSERT_EQ(doc.GetFormatCount(), 2);
    for (int i = 0; i < 2; ++i) {
        const CKvIcon& icon = doc.GetFormat(i)->Icon();
        const Block rendered = drawing.Render(static_cast<int>(icon.Width()), static_cast<int>(icon.Height()));
        const Block made = icon.To32BitDib();
        for (int y = 0; y < static_cast<int>(icon.Height()); y += 5)
            EXPECT_EQ(TopDown(made, 3, y), TopDown(rendered, 3, y)) << icon.Width();
    }
    EXPECT_FALSE(MakeIconProjectFromDrawing([](int) { return Block(); }, request, doc, error));
    EXPECT_EQ(doc.GetFormatCount(), 0);

    // rsvg-convert's PNG of the same drawing at each size, as the judge of the pixels.
    if (std::system("command -v rsvg-convert >/dev/null") != 0) GTEST_SKIP() << "needs rsvg-convert";
    const format_test::ScratchDir dir;
    format_test::WriteBytes(dir.path() / "d.svg", Text(kDrawing));
    for (const int size : {16, 48}) {
        const std::string png = (dir.path() / "d.png").string();
        format_test::RunCommand("rsvg-convert -w " + std::to_string(size) + " -h " + std::to_string(size) + " -o '" +
                                png + "' '" + (dir.path() / "d.svg").string() + "'");
        CDIB theirs;
        ASSERT_TRUE(LoadPictureFile(png, theirs, error)) << error;
        const Block ours = drawing.Render(size, size);
        long total = 0;
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) {
                const Px a = TopDown(ours, x, y), b = TopDown(theirs.GetBlock(), x, y);
                for (int c = 0; c < 4; ++c)
                    total += std::abs(a[static_cast<std::size_t>(c)] - b[static_cast<std::size_t>(c)]);
            }
        EXPECT_LT(static_cast<double>(total) / (size * size * 4), 1.0) << size;
    }
}

TEST(SvgDrawing, HostileDrawingsAreRefusedOrDrawnWithoutWhatTheyReferTo) {
    SvgDrawing drawing;
    std::string error;
    EXPECT_FALSE(drawing.Load(Text("not a drawing"), error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(drawing.Render(16, 16));
    EXPECT_FALSE(drawing.Load(Bytes(kMaxSvgBytes + 1, ' '), error));

    // A picture of another file is not read: the drawing renders without it.
    const format_test::ScratchDir dir;
    const Bytes red = format_test::IconFileOf({format_test::MakeIcon(16, 16, 0, true, 3)});
    format_test::WriteBytes(dir.path() / "red.ico", red);
    const std::string other = R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink"
        width="16" height="16"><image width="16" height="16" xlink:href="file://)" +
                              (dir.path() / "red.ico").string() + R"("/></svg>)";
    ASSERT_TRUE(drawing.Load(Text(other), error)) << error;
    const Block rendered = drawing.Render(16, 16);
    ASSERT_TRUE(rendered);
    for (int y = 0; y < 16; ++y) EXPECT_EQ(TopDown(rendered, 8, y)[3], 0);

    // A gzip-compressed drawing (.svgz) reads as the plain one.
    ASSERT_TRUE(drawing.Load(format_test::Deflate(Text(kDrawing), 31), error)) << error;
    EXPECT_EQ(TopDown(drawing.Render(16, 16), 8, 8), (Px{0, 204, 255, 255}));

    for (const auto& [path, head, svg] : {std::tuple{"a.SVG", "", true}, std::tuple{"a.svgz", "", true},
                                          std::tuple{"drawing", "<?xml?><svg ", true}, std::tuple{"a.png", "x", false}})
        EXPECT_EQ(IsSvgFile(path, Text(head)), svg) << path;
}

}  // namespace
}  // namespace tellurine
