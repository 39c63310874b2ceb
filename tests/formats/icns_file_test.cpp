#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "formats/icon_project.h"
#include "formats/iconset.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"
#include "imaging/jpeg2000.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::Icon32;
using format_test::PictureOf;
using format_test::Rgba;

// A family laid out by hand from elements given as (type, data).
const auto Family = format_test::IcnsFamily;

// An indexed format drawn from a system palette (index = f(x, y)), transparent where t(x, y).
CKvIcon MakeIndexed(int w, int h, int depth, const std::function<int(int, int)>& index,
                    const std::function<bool(int, int)>& transparent) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, 1u << depth, false), 1);
    IconImageLayout l;
    icon.GetLayout(l);
    std::uint8_t* base = icon.GetBlock().data();
    for (int i = 0; i < (1 << depth); ++i) {
        const std::uint32_t c = depth == 1 ? (i ? 0xFFFFFF : 0) : depth == 4 ? kMacPalette16[i] : kMacPalette256[i];
        base[l.tableOffset + 4 * i] = static_cast<std::uint8_t>(c);
        base[l.tableOffset + 4 * i + 1] = static_cast<std::uint8_t>(c >> 8);
        base[l.tableOffset + 4 * i + 2] = static_cast<std::uint8_t>(c >> 16);
    }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::size_t stored = static_cast<std::size_t>(h - 1 - y);
            const bool clear = transparent(x, y);
            // Black under the mask: a transparent pixel, not one that inverts the screen.
            const int black = depth == 1 ? 0 : (1 << depth) - 1;
            WriteIndex(base + l.pixelOffset + l.colorStride * stored, x, depth,
                       static_cast<std::uint8_t>(clear ? black : index(x, y)));
            if (clear) WriteIndex(base + l.maskOffset + l.maskStride * stored, x, 1, 1);
        }
    return icon;
}

Bytes Packed(const Bytes& plane) {
    Bytes out;
    PackIcnsPlane(plane, out);
    return out;
}

std::vector<std::string> ElementTypes(const Bytes& family) {
    std::vector<std::string> types;
    for (std::size_t pos = 8; pos + 8 <= family.size(); pos += LoadBE32(family.data() + pos + 4))
        types.emplace_back(reinterpret_cast<const char*>(family.data() + pos), 4);
    return types;
}

TEST(IcnsPacking, RunsAreCutFromTheBackAndReadForwardAndShortDataFails) {
    // 300 equal bytes: two full repeat runs at the end, the remainder of 44 at the start.
    EXPECT_EQ(Packed(Bytes(300, 7)), (Bytes{0x80 | 41, 7, 0xFD, 7, 0xFD, 7}));
    // Remainders of 1 and 2 become literal runs of their own.
    EXPECT_EQ(Packed(Bytes(129, 9)), (Bytes{0, 9, 0xFD, 9}));
    EXPECT_EQ(Packed(Bytes(130, 9)), (Bytes{1, 9, 9, 0xFD, 9}));
    // Two equal bytes stay literal; three become a repeat run.
    EXPECT_EQ(Packed((Bytes{1, 2, 2, 3})), (Bytes{3, 1, 2, 2, 3}));
    EXPECT_EQ(Packed((Bytes{1, 2, 2, 2, 3})), (Bytes{0, 1, 0x80, 2, 0, 3}));
    // 200 different bytes: the last 128 form one literal run, the first 72 another before it.
    Bytes ramp(200);
    for (int i = 0; i < 200; ++i) ramp[i] = static_cast<std::uint8_t>(i);
    const Bytes packed = Packed(ramp);
    ASSERT_EQ(packed.size(), 202u);
    EXPECT_EQ((std::array{packed[0], packed[73], packed[74]}), (std::array<std::uint8_t, 3>{71, 127, 72}));

    // Whatever the plane, unpacking gives it back.
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        Bytes plane(1 + random() % 700);
        for (std::size_t i = 0; i < plane.size();) {
            const std::size_t run = std::min<std::size_t>(plane.size() - i, random() % 4 ? 1 + random() % 3 : random() % 300);
            std::fill_n(plane.begin() + i, run, static_cast<std::uint8_t>(random() % 3));
            i += std::max<std::size_t>(run, 1);
        }
        Bytes twice = Packed(plane);
        PackIcnsPlane(plane, twice);
        Bytes planes;
        ASSERT_TRUE(UnpackIcnsPlanes(twice, 2, plane.size(), planes));
        EXPECT_TRUE(std::equal(plane.begin(), plane.end(), planes.begin()));
        EXPECT_TRUE(std::equal(plane.begin(), plane.end(), planes.begin() + plane.size()));
    }

    Bytes planes;
    // Plane of 4: a repeat of 3, then a literal of 2 that would overfill: the plane ends there
    // and the next plane starts after the run.
    ASSERT_TRUE(UnpackIcnsPlanes(Bytes{0x80, 5, 1, 6, 6, 0x81, 8}, 2, 4, planes));
    EXPECT_EQ(planes, (Bytes{5, 5, 5, 0, 8, 8, 8, 8}));
    EXPECT_FALSE(UnpackIcnsPlanes(Bytes{0x80, 5}, 1, 4, planes));    // ends before the plane is full
    EXPECT_FALSE(UnpackIcnsPlanes(Bytes{0x05, 1, 2}, 1, 6, planes));  // a literal run cut short
    EXPECT_FALSE(UnpackIcnsPlanes(Bytes{0x80}, 1, 3, planes));
}

TEST(IcnsPalettes, SystemPalettesAndNearestSearch) {
    for (const auto& [i, colour] :
         {std::pair{0, 0xFFFFFFu}, {214, 0x000033u}, {215, 0xEE0000u}, {245, 0xEEEEEEu}, {255, 0u}})
        EXPECT_EQ(kMacPalette256[static_cast<std::size_t>(i)], colour) << i;
    std::vector<std::uint32_t> sorted(kMacPalette256.begin(), kMacPalette256.end());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());

    // With the cache emptied before each colour, the search finds a nearest entry.
    for (const auto& palette : {std::vector<std::uint32_t>(kMacPalette16.begin(), kMacPalette16.end()),
                                std::vector<std::uint32_t>(kMacPalette256.begin(), kMacPalette256.end())}) {
        MacPaletteSearch search(palette);
        std::mt19937 random(11);
        for (int i = 0; i < 3000; ++i) {
            const int r = random() % 256, g = random() % 256, b = random() % 256;
            const auto distance = [&](std::uint32_t c) {
                const int dr = int(c >> 16) - r, dg = int((c >> 8) & 255) - g, db = int(c & 255) - b;
                return dr * dr + dg * dg + db * db;
            };
            int best = 1 << 30;
            for (std::uint32_t c : palette) best = std::min(best, distance(c));
            search.Reset();
            const int found = search.Nearest(std::uint8_t(r), std::uint8_t(g), std::uint8_t(b));
            ASSERT_EQ(distance(palette[static_cast<std::size_t>(found)]), best) << r << "," << g << "," << b;
        }
        // Colours that share their 5-bit value share the first one's answer until the reset.
        search.Reset();
        const int first = search.Nearest(0x98, 0x98, 0x98);
        EXPECT_EQ(search.Nearest(0x9F, 0x9F, 0x9F), first);
    }
}

// The data of an element of a family, or nothing.
std::optional<Bytes> ElementData(const Bytes& family, const char* type) {
    for (auto at = family.begin() + 8; at + 8 <= family.end(); at += LoadBE32(&at[4]))
        if (std::equal(type, type + 4, at)) return Bytes(at + 8, at + LoadBE32(&at[4]));
    return std::nullopt;
}

// Pixels as they show: an indexed image keeps black under its mask.
std::vector<Rgba> Shown(const CKvIcon& icon) {
    std::vector<Rgba> pixels = PictureOf(icon);
    if (!icon.HasAlpha())
        for (Rgba& p : pixels)
            if (p[3] == 0) p = {0, 0, 0, 0};
    return pixels;
}

// Every writable element: written and read back, each format gives its own pixels.
TEST(IcnsFamily, EveryFormatKeepsItsElementThroughARoundTrip) {
    CIconDoc doc;
    const auto disc = [](int size, int seed) {
        return [size, seed](int x, int y) {
            const int dx = 2 * x - size, dy = 2 * y - size;
            const bool inside = dx * dx + dy * dy < size * size;
            return Rgba{std::uint8_t(x * 255 / size + seed), std::uint8_t(y * 255 / size), std::uint8_t((x ^ y) & 0xF0),
                        std::uint8_t(inside ? 255 : (x + y) % 3 == 0 ? 0 : 90)};
        };
    };
    // One true-colour format of every size, then a second of each size that has a second element.
    for (int size : {16, 32, 48, 64, 128, 256, 512, 1024}) doc.AddFormat(Icon32(size, size, disc(size, 0)));
    for (int size : {16, 32, 64, 128, 256, 512}) doc.AddFormat(Icon32(size, size, disc(size, 9)));
    const auto edge = [](int w) { return [w](int x, int y) { return x == 0 || y == 0 || x == w - 1; }; };
    for (int depth : {1, 4, 8})
        for (auto [w, h] : {std::pair{16, 16}, {32, 32}, {16, 12}, {48, 48}})
            doc.AddFormat(MakeIndexed(w, h, depth, [depth](int x, int y) { return (x * 3 + y) % (1 << depth); }, edge(w)));
    doc.AddFormat(Icon32(96, 96, disc(96, 0)));  // no element of that size
    const int kept = doc.GetFormatCount() - 1;

    std::vector<int> leftOut;
    Bytes family;
    ASSERT_TRUE(WriteIcnsFamily(doc, family, &leftOut));
    EXPECT_EQ(leftOut, std::vector<int>{kept});
    EXPECT_EQ(ElementTypes(family),
              (std::vector<std::string>{"icl4", "icl8", "il32", "ics4", "ics8", "is32", "ICN#", "l8mk", "ics#", "s8mk",
                                        "icm#", "icm4", "icm8", "ich#", "ich4", "ich8", "ih32", "h8mk", "it32", "t8mk",
                                        "ic04", "ic11", "ic12", "icp6", "ic07", "ic08", "ic13", "ic09", "ic14", "ic10"}));
    EXPECT_EQ(LoadBE32(family.data() + 4), family.size());
    // "it32" starts with four zero bytes; the 256 and 512 pixel elements are JPEG 2000 with the
    // encoder's comment, the other streams PNG; "ic04" is "ARGB" and packed planes.
    EXPECT_EQ(LoadBE32(ElementData(family, "it32")->data()), 0u);
    for (const char* type : {"ic08", "ic09", "ic13", "ic14"}) EXPECT_EQ(LoadBE32(ElementData(family, type)->data() + 4), IcnsType("jP  ")) << type;
    for (const char* type : {"ic11", "ic12", "icp6", "ic07", "ic10"}) EXPECT_TRUE(IsPngStream(*ElementData(family, type))) << type;
    EXPECT_EQ(LoadBE32(ElementData(family, "ic04")->data()), IcnsType("ARGB"));
    EXPECT_NE(std::search(family.begin(), family.end(), std::begin("Korvane"), std::end("Korvane") - 1), family.end());
    // Asked for, new large elements are PNG.
    Bytes png;
    ASSERT_TRUE(WriteIcnsFamily(doc, png, nullptr, IcnsWriteOptions{true}));
    for (const char* type : {"ic08", "ic09", "ic13", "ic14"}) EXPECT_TRUE(IsPngStream(*ElementData(png, type))) << type;

    // The family reads back as the same formats, each with the element it was written as.
    CIconDoc read;
    ASSERT_TRUE(ReadIcnsFile(family, read));
    EXPECT_EQ(CountIcnsImages(family), read.GetFormatCount());
    ASSERT_EQ(read.GetFormatCount(), kept);
    const std::vector<std::uint32_t> written = AssignMacElements(doc);
    for (int i = 0; i < kept; ++i) {  // each element is written once: it names its format
        const std::uint32_t type = written[static_cast<std::size_t>(i)];
        int j = 0;
        while (j < kept && read.GetFormat(j)->Icon().MacElement().type != type) ++j;
        ASSERT_LT(j, kept) << "format " << i << " " << IcnsTypeName(type);
        const CKvIcon &source = doc.GetFormat(i)->Icon(), &back = read.GetFormat(j)->Icon();
        EXPECT_EQ(back.BitsPerPixel(), source.BitsPerPixel() == 24 ? 32 : source.BitsPerPixel());
        EXPECT_TRUE(Shown(source) == Shown(back)) << IcnsTypeName(type);
    }
    // Saved again unchanged, the family is the same bytes: streams are copied, not encoded again.
    Bytes again;
    ASSERT_TRUE(WriteIcnsFamily(read, again));
    EXPECT_EQ(again, family);
    // "@2x" shows in the sizes of a Macintosh project only.
    std::string sizes;
    for (int i = 0; i < read.GetFormatCount(); ++i) sizes += FormatSizeText(read, i) + ";";
    EXPECT_NE(sizes.find("16 x 16 @2x;"), std::string::npos) << sizes;
    read.macintosh = false;
    for (int i = 0; i < read.GetFormatCount(); ++i) EXPECT_EQ(FormatSizeText(read, i).find('@'), std::string::npos);
}

// ---- Elements beyond the classic forms ----

// The picture the new forms are built from: every channel varies, the alpha through five levels
// from 15 to 255.
Rgba Picture(int x, int y) {
    return {std::uint8_t(x * 16 + 3), std::uint8_t(y * 8), std::uint8_t((x ^ y) * 4), std::uint8_t((x * 7 + y * 3) % 5 * 60 + 15)};
}

// Pixels of a size-by-size picture in the element forms, rows top-down.
Bytes Unpacked(int size, std::uint8_t padding) {  // padding byte, red, green, blue
    Bytes out;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const Rgba p = Picture(x, y);
            out.insert(out.end(), {padding, p[0], p[1], p[2]});
        }
    return out;
}
Bytes Channel(int size, int channel) {
    Bytes out;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) out.push_back(Picture(x, y)[static_cast<std::size_t>(channel)]);
    return out;
}
Bytes PackedRgb(int size) {
    Bytes out;
    for (int channel : {0, 1, 2}) PackIcnsPlane(Channel(size, channel), out);
    return out;
}
Bytes PngOf(int size) {
    Bytes out;
    EXPECT_TRUE(EncodePng(Icon32(size, size, Picture).To32BitDib(), out));
    return out;
}

// What libicns decodes from a family (its picture of the given size), or nothing when icns2png is
// not installed or does not read the family.
std::optional<std::vector<Rgba>> Icns2Png(const Bytes& family, int size) {
    static const bool installed = std::system("command -v icns2png >/dev/null 2>&1") == 0;
    if (!installed) return std::nullopt;
    const format_test::ScratchDir dir;
    format_test::WriteBytes(dir / "judge.icns", family);
    const std::string command = "cd '" + dir.path().string() + "' && icns2png -x judge.icns >/dev/null 2>&1";
    [[maybe_unused]] const int status = std::system(command.c_str());
    const std::string name = "judge_" + std::to_string(size) + "x" + std::to_string(size) + "x32.png";
    const Bytes png = format_test::ReadBytes(dir / name);
    CKvIcon icon;
    if (png.empty() || icon.ReadImage(png, static_cast<std::uint32_t>(png.size()), 32) == 0) return std::nullopt;
    return PictureOf(icon);
}

// Indexed formats without a 1-bit format of their size keep their mask in the mask-only element,
// so the family reads back with no 1-bit format nobody made; a 1-bit format's element holds it.
TEST(IcnsFamily, IndexedMasksAddNoFormatAndFormatsNotHeldAreNamed) {
    const auto corner = [](int x, int y) { return x < 3 && y < 2; };
    struct Case {
        std::vector<std::pair<int, int>> formats;  // size, depth
        std::vector<std::string> elements;
    };
    const Case cases[] = {
        {{{32, 4}, {16, 8}}, {"icl4", "ics8", "ICNm", "icsm"}},
        {{{32, 8}, {32, 1}, {48, 4}}, {"icl8", "ICN#", "ich4", "ichm"}},
        {{{32, 32}, {32, 4}}, {"icl4", "il32", "l8mk", "ICNm"}},
    };
    for (const Case& c : cases) {
        CIconDoc doc;
        for (auto [size, depth] : c.formats)
            doc.AddFormat(depth == 32 ? Icon32(size, size, [](int x, int) { return Rgba{std::uint8_t(x), 0, 0, 255}; })
                                      : MakeIndexed(size, size, depth, [](int x, int) { return x % 2; }, corner));
        Bytes family;
        ASSERT_TRUE(WriteIcnsFamily(doc, family));
        EXPECT_EQ(ElementTypes(family), c.elements);
        CIconDoc read;
        ASSERT_TRUE(ReadIcnsFile(family, read));
        EXPECT_EQ(read.GetFormatCount(), doc.GetFormatCount());
        EXPECT_TRUE(FileHoldsDocument(doc, family));
    }

    // What a family holds of a project: a 24-bit format comes back at 32 bits with the same pixels
    // (held), unless a colour under its mask changes the screen; Windows colours in 4 bits do not.
    const auto truecolour = [](std::uint8_t underMask) {
        CKvIcon icon;
        EXPECT_EQ(icon.SetFormat(32, 32, 0, false), 1);
        IconImageLayout l;
        icon.GetLayout(l);
        std::uint8_t* base = icon.GetBlock().data();
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x) {
                std::uint8_t* p = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(y) + 3 * x;
                const bool masked = x < 4 && y < 4;
                p[0] = masked ? underMask : 10, p[1] = masked ? underMask : 20, p[2] = masked ? underMask : 30;
                if (masked) WriteIndex(base + l.maskOffset + l.maskStride * static_cast<std::size_t>(y), x, 1, 1);
            }
        return icon;
    };
    CIconDoc doc = format_test::DocOf({truecolour(0), truecolour(255)});  // the second 32 x 32: "ic11"
    CKvIcon windows;  // 4 bits whose table is not the Macintosh one
    ASSERT_EQ(windows.SetFormat(16, 16, 16, false), 1);
    IconImageLayout l;
    ASSERT_TRUE(windows.GetLayout(l));
    windows.GetBlock().data()[l.tableOffset + 2] = 0x80;  // every pixel the Windows dark red
    doc.AddFormat(std::move(windows));
    Bytes family;
    ASSERT_TRUE(WriteIcnsFamily(doc, family));
    EXPECT_EQ(FormatsNotHeld(doc, family), (std::vector<int>{1, 2}));
}

// A picture read from a stream and left alone is written back byte for byte; an edited one is
// encoded again in the kind of stream it came from; the user's choice of element is kept.
TEST(IcnsFamily, StreamsAreKeptAndEditsStayInTheirKind) {
    const Bytes png256 = PngOf(256);
    Bytes jp2;
    ASSERT_TRUE(EncodeJpeg2000(Icon32(512, 512, Picture).To32BitDib(), jp2, "peer"));
    const Bytes source = Family({{"ic09", jp2}, {"ic08", png256}, {"ic12", PngOf(64)}});
    CIconDoc doc;
    ASSERT_TRUE(ReadIcnsFile(source, doc));
    ASSERT_EQ(doc.GetFormatCount(), 3);
    Bytes out;
    ASSERT_TRUE(WriteIcnsFamily(doc, out));
    EXPECT_EQ(std::pair(*ElementData(out, "ic09"), *ElementData(out, "ic08")), std::pair(jp2, png256));

    // Edit the 256 (one pixel): it stays PNG, and the JPEG 2000 one is still copied.
    CKvIcon& edited = doc.GetFormat(1)->Icon();
    ASSERT_EQ(edited.Width(), 256u);
    IconImageLayout l;
    ASSERT_TRUE(edited.GetLayout(l));
    edited.GetBlock().data()[l.pixelOffset] ^= 0xFF;
    ASSERT_TRUE(WriteIcnsFamily(doc, out));
    EXPECT_TRUE(IsPngStream(*ElementData(out, "ic08")));
    EXPECT_NE(*ElementData(out, "ic08"), png256);
    EXPECT_EQ(*ElementData(out, "ic09"), jp2);

    // Chosen as 128 @2x, the 256 moves to "ic13"; a second 256 then takes "ic08".
    edited.SetMacElement({IcnsType("ic13"), true});
    doc.AddFormat(Icon32(256, 256, Picture));
    ASSERT_TRUE(WriteIcnsFamily(doc, out));
    EXPECT_EQ(ElementTypes(out), (std::vector<std::string>{"ic12", "ic08", "ic13", "ic09"}));
    EXPECT_EQ(FormatSizeText(doc, 1), "128 x 128 @2x");
}

// Damaged and doubled elements: what is sound is read and written back, nothing else.
TEST(IcnsFamily, HostileFamiliesAreWrittenBackSound) {
    const Bytes png = PngOf(32);
    // Two elements of one type: both open, the second written as the next free element.
    CIconDoc doc;
    ASSERT_TRUE(ReadIcnsFile(Family({{"ic11", png}, {"ic11", png}, {"ic11", png}, {"ic11", png}, {"ic11", png}}), doc));
    ASSERT_EQ(doc.GetFormatCount(), 5);
    Bytes out;
    std::vector<int> leftOut;
    ASSERT_TRUE(WriteIcnsFamily(doc, out, &leftOut));
    EXPECT_EQ(ElementTypes(out), (std::vector<std::string>{"il32", "l8mk", "ic11", "ic05", "icp5"}));
    EXPECT_EQ(leftOut, std::vector<int>{4});
    EXPECT_EQ(*ElementData(out, "ic11"), png);

    // An element whose length runs past the end, and a stream that does not decode, are not
    // written back; the elements before them are.
    Bytes damaged = Family({{"ic12", PngOf(64)}, {"ic07", Bytes(40, 7)}, {"ic08", PngOf(256)}});
    damaged.resize(damaged.size() - 100);
    ASSERT_TRUE(ReadIcnsFile(damaged, doc));
    ASSERT_TRUE(WriteIcnsFamily(doc, out));
    EXPECT_EQ(ElementTypes(out), std::vector<std::string>{"ic12"});
    EXPECT_EQ(*ElementData(out, "ic12"), PngOf(64));

    // A table of contents that lies (an "ic08" of 9 bytes) is not believed, nor written back.
    ASSERT_TRUE(ReadIcnsFile(Family({{"TOC ", Bytes{'i', 'c', '0', '8', 0, 0, 0, 9}}, {"ic12", PngOf(64)}}), doc));
    ASSERT_EQ(doc.GetFormatCount(), 1);
    ASSERT_TRUE(WriteIcnsFamily(doc, out));
    EXPECT_EQ(ElementTypes(out), std::vector<std::string>{"ic12"});
}

struct Skip {
    std::string type;
    IcnsSkipReason reason;
    bool operator==(const Skip&) const = default;
};

// "width x height x bits" of each image of a group, in element order, and "png" after one that a
// Windows icon file would hold as a PNG stream.
std::string Formats(const CIconGroup& group) {
    std::string out;
    for (int i = 0; i < group.FormatCount(); ++i) {
        const CKvIcon& f = *group.FormatAt(i);
        if (i != 0) out += ' ';
        out += std::to_string(f.Width()) + 'x' + std::to_string(f.Height()) + 'x' + std::to_string(f.BitsPerPixel());
        if (f.IsCompressed()) out += "png";
    }
    return out;
}

// Which elements of a family open, and which are skipped and why: classic elements need their
// masks and exact lengths, the family's header and lengths are checked, the later forms open, and
// a family with nothing showable is refused.
TEST(IcnsFamily, ElementsOpenOrAreSkippedWithTheirReason) {
    const Bytes icn(256, 0xFF);  // a black 32 x 32 image and a full mask
    const Bytes plane(32 * 32, 0x40);
    Bytes il32 = Packed(plane);
    for (int i = 0; i < 2; ++i) PackIcnsPlane(plane, il32);
    Bytes lengthOverLimit = Family({{"ICN#", icn}, {"ics#", Bytes(64, 0xFF)}});
    StoreBE32(lengthOverLimit.data() + 8 + 8 + 256 + 4, kMaxIcnsLength + 1);
    Bytes wrongMagic = Family({{"ICN#", icn}});
    wrongMagic[0] = 'x';
    Bytes totalOverLimit = Family({{"ICN#", icn}});
    StoreBE32(totalOverLimit.data() + 4, kMaxIcnsLength + 1);

    const Bytes s8mk = Channel(16, 3), l8mk = Channel(32, 3);
    Bytes argb{'A', 'R', 'G', 'B'};
    for (int channel : {3, 0, 1, 2}) PackIcnsPlane(Channel(16, channel), argb);
    Bytes it32Unpacked = Unpacked(128, 0);
    Bytes brokenPng = PngOf(32);
    brokenPng.resize(brokenPng.size() / 2);
    using enum IcnsSkipReason;
    struct Case {
        const char* name;
        Bytes family;
        std::string formats;  // of the images made, in element order (empty: the family is refused)
        std::vector<Skip> skipped;
        int pictureSize = 0;  // when not 0, the first image is Picture at this size, its alpha...
        bool opaque = false;  // ...or 255 when the element has no mask
        Bytes judge{};        // a family libicns reads to the first image (empty: none)
    };
    const std::vector<Case> cases = {
        {"packed il32 without l8mk gives nothing, ICN# still does", Family({{"il32", il32}, {"ICN#", icn}}), "32x32x1",
         {{"il32", NoMask}}},
        {"ICN# of the wrong length is dropped, and icl8 with it for want of a mask",
         Family({{"ICN#", Bytes(255, 0xFF)}, {"icl8", Bytes(1024, 5)}}), "", {{"ICN#", Damaged}, {"icl8", NoMask}}},
        {"ICNm gives icl8 its mask when ICN# is damaged",
         Family({{"ICN#", Bytes(255, 0xFF)}, {"icl8", Bytes(1024, 5)}, {"ICNm", Bytes(128, 0xFF)}}), "32x32x8",
         {{"ICN#", Damaged}}},
        {"an element length over the limit ends the walk, the elements before it stand", lengthOverLimit,
         "32x32x1", {}},
        {"not an icns header", wrongMagic, "", {}},
        {"a family length over the limit", totalOverLimit, "", {}},
        {"a family of no elements", Bytes{'i', 'c', 'n', 's', 0, 0, 0, 8}, "", {}},
        {"packed data that ends early drops its element",
         Family({{"is32", Bytes{0x80, 1}}, {"s8mk", Bytes(256, 255)}}), "", {{"is32", Damaged}}},
        {"unpacked il32 with its mask", Family({{"il32", Unpacked(32, 0)}, {"l8mk", l8mk}}), "32x32x32", {}, 32, false,
         Family({{"il32", Unpacked(32, 0)}, {"l8mk", l8mk}})},
        {"unpacked il32 alone is opaque, its padding ignored", Family({{"il32", Unpacked(32, 0x7F)}}), "32x32x32", {},
         32, true, Family({{"il32", Unpacked(32, 0x7F)}, {"l8mk", Bytes(32 * 32, 255)}})},
        {"unpacked it32 has no prefix", Family({{"it32", it32Unpacked}}), "128x128x32", {}, 0},
        {"packed icp4 with its mask reads like is32", Family({{"icp4", PackedRgb(16)}, {"s8mk", s8mk}}), "16x16x32",
         {}, 16, false, Family({{"is32", PackedRgb(16)}, {"s8mk", s8mk}})},
        {"ARGB planes, and a PNG stream at its own size rather than the nominal one",
         Family({{"ic04", argb}, {"ic07", PngOf(256)}, {"TOC ", Bytes(8, 0)}, {"ic11", Bytes(20, 1)}}),
         "16x16x32 256x256x32png", {{"ic11", NoMask}}, 16},  // packed planes would need "l8mk"
        {"PNG streams under a classic type, a mask type and no known type",
         Family({{"il32", PngOf(32)}, {"h8mk", PngOf(20)}, {"icsb", PngOf(18)}}), "32x32x32 20x20x32 18x18x32", {},
         32},
        {"undecodable elements are skipped and the rest opens",
         Family({{"is32", Bytes{0x80, 1}}, {"s8mk", s8mk}, {"icp5", PackedRgb(32)}, {"ICN#", Bytes(256, 0xFF)},
                 {"l8mk", Bytes(1000, 255)}, {"ic08", Bytes(64, 7)}, {"ic07", brokenPng}, {"TOC ", Bytes(8, 0)}}),
         "32x32x1",
         {{"is32", Damaged},
          {"icp5", NoMask},  // its "l8mk" is damaged
          {"l8mk", Damaged},
          {"ic08", UnknownData},
          {"ic07", BadStream}}},
        {"nothing showable is refused", Family({{"il32", PackedRgb(32)}, {"ic09", brokenPng}}), "",
         {{"il32", NoMask}, {"ic09", BadStream}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CIconGroup group;
        std::vector<IcnsSkippedElement> skipped;
        EXPECT_EQ(ReadIcnsFamily(c.family, group, &skipped), !c.formats.empty());
        EXPECT_EQ(Formats(group), c.formats);
        std::vector<Skip> reasons;
        for (const IcnsSkippedElement& s : skipped) {
            reasons.push_back({IcnsTypeName(s.type), s.reason});
            ASSERT_LT(s.offset + 8, c.family.size());
            EXPECT_EQ(LoadBE32(c.family.data() + s.offset), s.type);  // the offset is the element's header
        }
        EXPECT_TRUE(reasons == c.skipped);
        if (c.pictureSize == 0 || group.FormatCount() == 0) continue;
        const std::vector<Rgba> read = PictureOf(*group.FormatAt(0));
        std::vector<Rgba> expected = PictureOf(Icon32(c.pictureSize, c.pictureSize, Picture));
        if (c.opaque)
            for (Rgba& p : expected) p[3] = 255;
        EXPECT_TRUE(read == expected);
        if (const auto judged = c.judge.empty() ? std::nullopt : Icns2Png(c.judge, c.pictureSize)) {
            EXPECT_TRUE(read == *judged) << "libicns reads it otherwise";
        }
    }

    // Streams count as pictures whatever their type.
    EXPECT_EQ(CountIcnsImages(Family({{"s8mk", s8mk}, {"h8mk", PngOf(20)}, {"xy12", PngOf(18)}, {"xy12", Bytes(9, 0)}})), 2);
}

// Real files that other readers refuse or read only in part open with all their sizes.
TEST(IcnsFiles, CorpusFamiliesOpenWithAllTheirSizes) {
    const std::filesystem::path corpus = format_test::CorpusDir();
    if (!std::filesystem::is_directory(corpus / "icns")) GTEST_SKIP() << "no development corpus at " << corpus;
    const std::pair<const char*, std::vector<std::uint32_t>> files[] = {
        {"quicksilver__Quicksilver_Resources_Images_AlertCautionIcon.icns", {16, 32, 128, 256, 512}},  // packed icp4, icp5
        {"twelvemonkeys__imageio-icns_src_test_resources_icns_XMLExport.icns", {128, 48, 32, 16}},    // unpacked, no masks
    };
    for (const auto& [name, sizes] : files) {
        SCOPED_TRACE(name);
        const Bytes bytes = format_test::ReadBytes(corpus / "icns" / name);
        CIconDoc doc;
        std::vector<IcnsSkippedElement> skipped;
        ASSERT_TRUE(ReadIcnsFile(bytes, doc, &skipped));
        std::vector<std::uint32_t> widths;
        for (int i = 0; i < doc.GetFormatCount(); ++i) widths.push_back(doc.GetFormat(i)->Icon().Width());
        EXPECT_EQ(widths, sizes);
        EXPECT_TRUE(skipped.empty());
    }

    // Every family of the corpus that opens is written back with the same formats, each in the
    // element it came from, and written again from what was read, it is the same bytes.
    for (const auto& entry : std::filesystem::directory_iterator(corpus / "icns")) {
        SCOPED_TRACE(entry.path().filename().string());
        const Bytes bytes = format_test::ReadBytes(entry.path());
        CIconDoc doc, back;
        if (!ReadIcnsFile(bytes, doc)) continue;
        Bytes family, again;
        std::vector<int> leftOut;
        ASSERT_TRUE(WriteIcnsFamily(doc, family, &leftOut));
        EXPECT_TRUE(leftOut.empty());
        ASSERT_TRUE(ReadIcnsFile(family, back));
        const auto formats = [](const CIconDoc& d) {
            std::vector<std::tuple<std::uint32_t, std::uint32_t, int, std::uint32_t>> list;
            const std::vector<std::uint32_t> elements = AssignMacElements(d);
            for (int i = 0; i < d.GetFormatCount(); ++i) {
                const CKvIcon& f = d.GetFormat(i)->Icon();
                list.emplace_back(f.Width(), f.Height(), f.BitsPerPixel(), elements[static_cast<std::size_t>(i)]);
            }
            std::sort(list.begin(), list.end());
            return list;
        };
        EXPECT_EQ(formats(back), formats(doc));
        ASSERT_TRUE(WriteIcnsFamily(back, again));
        EXPECT_EQ(again, family);
    }
}

// A resource fork holding one "icns" resource: header, data (length + bytes), map.
Bytes ResourceFork(const Bytes& data, std::int16_t id, const std::string& name) {
    const auto number = static_cast<std::uint16_t>(id);
    const std::uint8_t noName = name.empty() ? 0xFF : 0;
    // The map: 28 bytes of header whose last fields place the type list (28) and the names (50);
    // one type, "icns", of one resource whose reference is 10 bytes on: its id and its name's
    // offset (none: 0xFFFF), then a zero data offset; the names.
    Bytes map(28, 0);
    map[25] = 28, map[27] = 50;
    map.insert(map.end(), {0, 0, 'i', 'c', 'n', 's', 0, 0, 0, 10, std::uint8_t(number >> 8), std::uint8_t(number),
                           noName, noName});
    map.resize(50, 0);
    map.push_back(static_cast<std::uint8_t>(name.size()));
    map.insert(map.end(), name.begin(), name.end());
    // The header (data at 256, the map after it), the data's length and the data, the map.
    Bytes fork(256 + 4 + data.size(), 0);
    StoreBE32(fork.data(), 256);
    StoreBE32(fork.data() + 256, static_cast<std::uint32_t>(data.size()));
    std::copy(data.begin(), data.end(), fork.begin() + 260);
    StoreBE32(fork.data() + 4, static_cast<std::uint32_t>(fork.size()));  // the map's offset
    StoreBE32(fork.data() + 8, static_cast<std::uint32_t>(fork.size() - 256));
    StoreBE32(fork.data() + 12, static_cast<std::uint32_t>(map.size()));
    fork.insert(fork.end(), map.begin(), map.end());
    fork.resize(fork.size() + 4000, 0);  // room for the scan's margin
    return fork;
}

TEST(IcnsFiles, LocatingScanningAndNamingFamilies) {
    const Bytes family = Family({{"ICN#", Bytes(256, 0xFF)}, {"is32", Bytes{0x80, 1}}});
    // A family behind a 128-byte MacBinary header (four zero bytes first).
    Bytes wrapped(128, 0);
    std::memcpy(wrapped.data() + 50, "icns", 4);  // not searched: the header is skipped
    wrapped.insert(wrapped.end(), family.begin(), family.end());
    EXPECT_EQ(LocateIcnsFamily(wrapped), std::optional<std::size_t>(128));
    EXPECT_EQ(LocateIcnsFamily(family), std::optional<std::size_t>(0));
    EXPECT_EQ(LocateIcnsFamily(Bytes(500, 1)), std::nullopt);
    CIconDoc doc;
    std::vector<IcnsSkippedElement> skipped;
    ASSERT_TRUE(ReadIcnsFile(wrapped, doc, &skipped));
    ASSERT_EQ(skipped.size(), 1u);
    EXPECT_EQ(skipped[0].offset, 128u + 8 + 8 + 256);  // the damaged "is32": offsets count from the file's start
    // A MacBinary header starts with a zero and the name's length, and holds the file type at 65:
    // that first "icns" reads as nothing, so the search goes on to the family.
    Bytes named = wrapped;
    named[1] = 5;
    std::memcpy(named.data() + 65, "icnsTELL", 8);
    CIconDoc fromNamed;
    ASSERT_TRUE(ReadIcnsFile(named, fromNamed));
    EXPECT_EQ(fromNamed.GetFormatCount(), 1);
    EXPECT_TRUE(doc.macintosh);

    // Resource files: families in the first bytes but not within 3,072 bytes of the end, and
    // none that straddle two 524,288-byte blocks.
    Bytes rsrc(600000, 0);
    std::memcpy(rsrc.data() + 100, family.data(), family.size());
    std::memcpy(rsrc.data() + 524286, "icns", 4);
    std::memcpy(rsrc.data() + 524300, "odrp", 4);
    std::memcpy(rsrc.data() + rsrc.size() - 3000, "icns", 4);
    EXPECT_EQ(FindIcnsFamilies(rsrc), (std::vector<std::size_t>{100, 524300}));
    // MacBinary III: scanning starts at 128, so an occurrence before it is not seen.
    Bytes bin(5000, 0);
    std::memcpy(bin.data() + 20, "icns", 4);
    std::memcpy(bin.data() + 102, "mBIN", 4);
    std::memcpy(bin.data() + 300, family.data(), family.size());
    EXPECT_EQ(FindIcnsFamilies(bin), (std::vector<std::size_t>{300}));
    EXPECT_TRUE(FindIcnsFamilies(Bytes(3072, 0)).empty());

    IconFileContents contents;
    ASSERT_TRUE(ReadIconContainer("old.bin", bin, contents));
    EXPECT_EQ(contents.container, IconContainer::MacBinary);
    ASSERT_EQ(contents.icons.size(), 1u);
    EXPECT_EQ(contents.icons[0].name, "@300");
    EXPECT_FALSE(ReadIconContainer("empty.rsc", Bytes(5000, 0), contents));

    // A family of a resource fork is named from the map.
    ASSERT_TRUE(ReadIconContainer("app.rsc", ResourceFork(family, 128, ""), contents));
    ASSERT_EQ(contents.icons.size(), 1u);
    EXPECT_EQ(std::tuple(contents.icons[0].name, contents.icons[0].number, contents.icons[0].doc.macintosh),
              std::tuple("128", std::optional<std::int32_t>(128), true));

    ASSERT_TRUE(ReadIconContainer("app.rsc", ResourceFork(family, -16455, "Ic\x8Ene \xA5"), contents));
    EXPECT_EQ(contents.icons[0].name, "Ic\u00E9ne \u2022");  // names are Mac Roman
    EXPECT_EQ(contents.icons[0].number, std::nullopt);
}

TEST(IcnsFiles, ProjectsAreSavedByTheirMacintoshFlag) {
    CIconDoc doc = format_test::DocOf({Icon32(32, 32, [](int x, int) { return Rgba{std::uint8_t(x), 0, 0, 255}; }),
                                       Icon32(96, 96, [](int, int) { return Rgba{0, 0, 0, 255}; })});
    Bytes out;
    std::vector<int> leftOut;
    doc.macintosh = true;
    ASSERT_TRUE(WriteIconProject(doc, false, out, &leftOut));
    EXPECT_EQ(std::string(out.begin(), out.begin() + 4), "icns");
    EXPECT_EQ(leftOut, std::vector<int>{1});
    doc.macintosh = false;
    ASSERT_TRUE(WriteIconProject(doc, false, out, &leftOut));
    EXPECT_EQ(std::tuple(LoadU16(out.data() + 2), LoadU16(out.data() + 4)), std::tuple(1, 2));

    // A project with nothing the family can hold is not written.
    CIconDoc odd = format_test::DocOf({Icon32(20, 20, [](int, int) { return Rgba{0, 0, 0, 255}; })});
    odd.macintosh = true;
    EXPECT_FALSE(WriteIconProject(odd, false, out, &leftOut));
    EXPECT_TRUE(out.empty());
}

// An icon set folder holds Apple's names, one PNG each; it reads back as the same formats, each
// with its element, and an unchanged picture is written back as the same file.
TEST(Iconsets, FoldersRoundTripUnderApplesNames) {
    namespace fs = std::filesystem;
    const format_test::ScratchDir dir;
    CIconDoc doc;
    for (int size : {16, 32, 64, 128, 256, 512, 1024, 32, 256, 48})
        doc.AddFormat(Icon32(size, size, [size](int x, int y) { return Rgba{std::uint8_t(x + size), std::uint8_t(y), 9, 200}; }));
    const std::string folder = (dir / "App.iconset").string();
    std::string error;
    std::vector<int> leftOut;
    ASSERT_TRUE(WriteIconsetFolder(folder, doc, error, &leftOut)) << error;
    EXPECT_EQ(leftOut, std::vector<int>{9});  // 48 x 48 has no file
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"icon_128x128.png", "icon_128x128@2x.png", "icon_16x16.png",
                                               "icon_16x16@2x.png", "icon_256x256.png", "icon_32x32.png",
                                               "icon_32x32@2x.png", "icon_512x512.png", "icon_512x512@2x.png"}));

    IconFileContents contents;
    ASSERT_TRUE(LoadIconContainer(folder, contents, error)) << error;
    EXPECT_EQ(contents.container, IconContainer::Iconset);
    CIconDoc& read = contents.icons.front().doc;
    EXPECT_TRUE(read.macintosh);
    ASSERT_EQ(read.GetFormatCount(), 9);
    EXPECT_EQ(FormatSizeText(read, 1), "16 x 16 @2x");
    EXPECT_EQ(read.GetFormat(1)->Icon().MacElement().type, IcnsType("ic11"));
    // A file of another name is not read; an unchanged picture is written back as it was.
    const Bytes before = format_test::ReadBytes(fs::path(folder) / "icon_32x32@2x.png");
    std::ofstream(fs::path(folder) / "notes.txt") << "x";
    ASSERT_TRUE(WriteIconsetFolder(folder, read, error)) << error;
    EXPECT_EQ(format_test::ReadBytes(fs::path(folder) / "icon_32x32@2x.png"), before);
    EXPECT_FALSE(fs::exists(fs::path(folder) / "notes.txt"));  // the folder is the project's, whole

    // A file in the way is left alone.
    std::ofstream(dir / "File.iconset") << "keep";
    EXPECT_FALSE(WriteIconsetFolder((dir / "File.iconset").string(), doc, error));
    EXPECT_EQ(fs::file_size(dir / "File.iconset"), 4u);
}

}  // namespace
}  // namespace tellurine
