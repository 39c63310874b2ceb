// Palette files against bytes laid out here by hand from each format's published layout: the
// writer must give exactly those bytes and the reader must give back the palette; conversions from
// the other colour models; round trips of every format; and hostile files, each refused with a
// message naming what is wrong and nothing kept.
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "formats/format_test_support.h"
#include "formats/palette_file.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::Text;

// Bytes laid out field by field.
class Lay {
public:
    Lay& Text(std::string_view s) {
        bytes_.insert(bytes_.end(), s.begin(), s.end());
        return *this;
    }
    Lay& U8(std::initializer_list<std::uint8_t> values) {
        bytes_.insert(bytes_.end(), values);
        return *this;
    }
    Lay& BE16(std::initializer_list<std::uint16_t> values) {
        for (const std::uint16_t v : values)
            U8({static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)});
        return *this;
    }
    Lay& BE32(std::uint32_t v) {
        return BE16({static_cast<std::uint16_t>(v >> 16), static_cast<std::uint16_t>(v)});
    }
    Lay& LE32(std::uint32_t v) {
        return U8({static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
                   static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 24)});
    }
    Lay& F32(float v) { return BE32(std::bit_cast<std::uint32_t>(v)); }
    // UTF-16 big-endian units and the terminating 0 (ASCII names only).
    Lay& Utf16(std::string_view s) {
        for (const char c : s) BE16({static_cast<std::uint16_t>(c)});
        return BE16({0});
    }
    // A .ase block: type, length, then what `body` lays.
    Lay& AseBlock(std::uint16_t type, const Lay& body) {
        BE16({type}).BE32(static_cast<std::uint32_t>(body.bytes_.size()));
        bytes_.insert(bytes_.end(), body.bytes_.begin(), body.bytes_.end());
        return *this;
    }
    // A .ase colour block of a model and its values.
    Lay& AseColor(std::string_view name, std::string_view model, std::initializer_list<float> values) {
        Lay body;
        body.BE16({static_cast<std::uint16_t>(name.size() + 1)}).Utf16(name).Text(model);
        for (const float v : values) body.F32(v);
        return AseBlock(0x0001, body.BE16({2}));
    }
    operator Bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

Lay AseHeader(std::uint32_t blocks) {
    return Lay().Text("ASEF").BE16({1, 0}).BE32(blocks);
}

NamedColor Color(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::string name = "", std::uint8_t a = 255,
                 std::string group = "") {
    return {r, g, b, a, std::move(name), std::move(group)};
}

constexpr PaletteFormat kFormats[] = {PaletteFormat::Gimp,  PaletteFormat::JascPal, PaletteFormat::RiffPal,
                                      PaletteFormat::AcoV1, PaletteFormat::AcoV2,   PaletteFormat::Ase,
                                      PaletteFormat::PaintNet};

PaletteFile Read(const Bytes& bytes) {
    PaletteFile palette;
    std::string error;
    EXPECT_TRUE(ReadPaletteFile(bytes, palette, error)) << error;
    return palette;
}

// Each format's layout for the same two colours, (255, 0, 0) "Red" and (18, 52, 86) "Sea", with what
// the format keeps of them.
TEST(PaletteFileTest, WritesAndReadsEachLayout) {
    const Lay aco1 = Lay().BE16({1, 2, 0, 0xFFFF, 0, 0, 0, 0, 0x1212, 0x3434, 0x5656, 0});
    const struct {
        PaletteFormat format;
        PaletteFile palette;
        Bytes bytes;
    } cases[] = {
        {PaletteFormat::Gimp,
         {"Test", {Color(255, 0, 0, "Red"), Color(18, 52, 86, "Sea")}, {}},
         Text("GIMP Palette\nName: Test\nColumns: 0\n#\n255   0   0\tRed\n 18  52  86\tSea\n")},
        {PaletteFormat::JascPal,
         {"", {Color(255, 0, 0), Color(18, 52, 86)}, {}},
         Text("JASC-PAL\r\n0100\r\n2\r\n255 0 0\r\n18 52 86\r\n")},
        {PaletteFormat::RiffPal,
         {"", {Color(255, 0, 0), Color(18, 52, 86)}, {}},
         Lay().Text("RIFF").LE32(24).Text("PAL data").LE32(12).U8({0, 3, 2, 0, 255, 0, 0, 0, 18, 52, 86, 0})},
        {PaletteFormat::AcoV1, {"", {Color(255, 0, 0), Color(18, 52, 86)}, {}}, aco1},
        {PaletteFormat::AcoV2,
         {"", {Color(255, 0, 0, "Red"), Color(18, 52, 86, "Sea")}, {}},
         Lay(aco1).BE16({2, 2, 0, 0xFFFF, 0, 0, 0}).BE32(4).Utf16("Red").BE16({0, 0x1212, 0x3434, 0x5656, 0})
             .BE32(4).Utf16("Sea")},
        {PaletteFormat::Ase,
         {"", {Color(255, 0, 0, "Red"), Color(18, 52, 86, "Sea", 255, "G")}, {}},
         AseHeader(4).AseColor("Red", "RGB ", {1.0f, 0.0f, 0.0f}).AseBlock(0xC001, Lay().BE16({2}).Utf16("G"))
             .AseColor("Sea", "RGB ", {18 / 255.0f, 52 / 255.0f, 86 / 255.0f}).AseBlock(0xC002, Lay())},
        {PaletteFormat::PaintNet,
         {"", {Color(255, 0, 0), Color(18, 52, 86, "", 0x80)}, {}},
         Text("; paint.net Palette File\r\n; Colors are AARRGGBB in hexadecimal\r\nFFFF0000\r\n80123456\r\n")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(PaletteFormatName(c.format));
        Bytes written;
        std::string error;
        ASSERT_TRUE(WritePaletteFile(c.palette, c.format, written, error)) << error;
        EXPECT_EQ(written, c.bytes);
        EXPECT_EQ(DetectPaletteFormat(c.bytes), c.format);
        const PaletteFile read = Read(c.bytes);
        EXPECT_EQ(read.name, c.palette.name);
        EXPECT_EQ(read.colors, c.palette.colors);
    }
}

// Every format keeps the colours of a palette written and read back; the names where it has them
// (UTF-16 surrogate pairs included), alpha in Paint.NET's.
TEST(PaletteFileTest, RoundTripsEveryFormat) {
    PaletteFile palette{"Mixed", {}, {}};
    for (int i = 0; i < 40; ++i)
        palette.colors.push_back(Color(
            static_cast<std::uint8_t>(i * 37), static_cast<std::uint8_t>(255 - i * 5),
            static_cast<std::uint8_t>(i * i), "Colour " + std::to_string(i) + " \xC3\xA9\xF0\x9F\x8E\xA8",
            static_cast<std::uint8_t>(i * 6), i < 20 ? "" : "Second half"));
    for (const PaletteFormat format : kFormats) {
        SCOPED_TRACE(PaletteFormatName(format));
        Bytes bytes;
        std::string error;
        ASSERT_TRUE(WritePaletteFile(palette, format, bytes, error)) << error;
        const PaletteFile read = Read(bytes);
        ASSERT_EQ(read.colors.size(), palette.colors.size());
        const bool names =
            format == PaletteFormat::Gimp || format == PaletteFormat::AcoV2 || format == PaletteFormat::Ase;
        for (std::size_t i = 0; i < read.colors.size(); ++i) {
            const NamedColor& want = palette.colors[i];
            const NamedColor& got = read.colors[i];
            EXPECT_EQ(std::tie(got.red, got.green, got.blue), std::tie(want.red, want.green, want.blue)) << i;
            EXPECT_EQ(got.alpha, format == PaletteFormat::PaintNet ? want.alpha : 255) << i;
            EXPECT_EQ(got.name, names ? want.name : "") << i;
            EXPECT_EQ(got.group, format == PaletteFormat::Ase ? want.group : "") << i;
        }
        EXPECT_EQ(read.name, format == PaletteFormat::Gimp ? "Mixed" : "");
    }
}

// The other colour models and the looser forms the readers take; colours of a model without a
// formula are skipped.
TEST(PaletteFileTest, ConvertsOtherModelsAndFormsAndSkipsColoursWithoutAConversion) {
    const auto aco = [](std::uint16_t space, std::uint16_t w, std::uint16_t x, std::uint16_t y,
                        std::uint16_t z) {
        return Lay().BE16({1, 1, space, w, x, y, z});
    };
    const struct {
        const char* what;
        Bytes bytes;
        std::vector<NamedColor> colors;
    } cases[] = {
        {"aco HSB", aco(1, 21845, 0xFFFF, 0xFFFF, 0), {Color(0, 255, 0)}},
        {"aco HSB half saturation", aco(1, 0, 0x8000, 0xFFFF, 0), {Color(255, 127, 127)}},
        {"aco CMYK: 0 is full ink", aco(2, 0, 0xFFFF, 0xFFFF, 0xFFFF), {Color(0, 255, 255)}},
        {"aco CMYK black half", aco(2, 0xFFFF, 0xFFFF, 0xFFFF, 32767), {Color(127, 127, 127)}},
        {"aco Lab red", aco(7, 5429, 8081, 6989, 0), {Color(255, 0, 0)}},
        {"aco Lab blue (negative b)", aco(7, 2957, 6830, std::uint16_t(-11203), 0), {Color(0, 0, 255)}},
        {"aco gray 25% ink", aco(8, 2500, 0, 0, 0), {Color(191, 191, 191)}},
        {"aco Lab dark grey, on the linear segment", aco(7, 500, 0, 0, 0), {Color(17, 17, 17)}},
        {"aco version 2 alone", Lay().BE16({2, 1, 0, 0x8080, 0, 0xFFFF, 0}).BE32(2).Utf16("x"),
         {Color(128, 0, 255, "x")}},
        {"aco with bytes after it", Lay(aco(0, 0xFFFF, 0, 0, 0)).BE16({7, 7}), {Color(255, 0, 0)}},
        {"ase CMYK, gray, Lab",
         AseHeader(3).AseColor("m", "CMYK", {0, 1, 0, 0}).AseColor("g", "Gray", {0.5f})
             .AseColor("l", "LAB ", {0.5f, 0, 0}),
         {Color(255, 0, 255, "m"), Color(128, 128, 128, "g"), Color(119, 119, 119, "l")}},
        {"ase: an unknown block skipped",
         AseHeader(2).AseBlock(0x0042, Lay().U8({1, 2, 3})).AseColor("", "RGB ", {0, 0, 1}),
         {Color(0, 0, 255)}},
        {"gpl: BOM, CRLF, comments, spaces in names",
         Text("\xEF\xBB\xBFGIMP Palette\r\n# note\r\nColumns: 4\r\n\r\n  1 2   3   light  blue \r\n4 5 6\r\n"),
         {Color(1, 2, 3, "light  blue"), Color(4, 5, 6)}},
        {"jasc: LF and an alpha column", Text("JASC-PAL\n0100\n1\n1 2 3 4\n"), {Color(1, 2, 3, "", 4)}},
        {"paint.net: lower case, no comment", Text("ff0a0b0c\n\n00000000"), {Color(10, 11, 12), Color(0, 0, 0, "", 0)}},
        {"riff: another chunk first",
         Lay().Text("RIFF").LE32(32).Text("PAL note").LE32(3).U8({1, 2, 3, 0}).Text("data").LE32(8)
             .U8({0, 3, 1, 0, 9, 8, 7, 0}),
         {Color(9, 8, 7)}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Read(c.bytes).colors, c.colors);
    }

    // Colours in a model without a formula are left out with a reason; a file of nothing else is
    // refused.
    const PaletteFile pms =
        Read(Lay().BE16({2, 2, 3, 1, 2, 3, 0}).BE32(4).Utf16("PMS").BE16({0, 0, 0, 0, 0}).BE32(1).BE16({0}));
    EXPECT_EQ(pms.colors, std::vector<NamedColor>{Color(0, 0, 0)});
    ASSERT_EQ(pms.skipped.size(), 1u);
    EXPECT_NE(pms.skipped[0].find("colour 0 \"PMS\": colour space 3"), std::string::npos) << pms.skipped[0];

    const PaletteFile ase = Read(AseHeader(2).AseColor("odd", "XYZ ", {1, 2, 3}).AseColor("", "Gray", {1}));
    EXPECT_EQ(ase.colors, std::vector<NamedColor>{Color(255, 255, 255)});
    EXPECT_EQ(ase.skipped, std::vector<std::string>{"block 0 \"odd\": colour model \"XYZ\" is unknown"});

    PaletteFile palette;
    std::string error;
    EXPECT_FALSE(ReadPaletteFile(Bytes(Lay().BE16({1, 1, 10, 0, 0, 0, 0})), palette, error));
    EXPECT_NE(error.find("no colour of the palette could be converted"), std::string::npos) << error;
    EXPECT_TRUE(palette.skipped.empty());
}

TEST(PaletteFileTest, RefusesHostileFiles) {
    std::string tooMany = "GIMP Palette\n";
    for (std::size_t i = 0; i <= kMaxPaletteColors; ++i) tooMany += "0 0 0\n";
    const float nan = std::bit_cast<float>(0x7FC00000u), inf = std::bit_cast<float>(0x7F800000u);
    const struct {
        const char* what;
        Bytes bytes;
        const char* error;
    } cases[] = {
        {"empty", {}, "not a palette file"},
        {"other text", Text("hello\n"), "not a palette file"},
        {"gpl value past 255", Text("GIMP Palette\n300 0 0 x\n"), "GIMP palette line 2: expected"},
        {"gpl two numbers", Text("GIMP Palette\n#\n1 2\n"), "GIMP palette line 3"},
        {"gpl too many colours", Text(tooMany), "more than 65536 colours"},
        {"jasc count past the end", Text("JASC-PAL\n0100\n3\n1 2 3\n"), "3 colours declared, 1 lines follow"},
        {"jasc absurd count", Text("JASC-PAL\n0100\n99999999\n"), "more than 65536"},
        {"jasc version", Text("JASC-PAL\n0200\n1\n1 2 3\n"), "JASC palette: the header"},
        {"jasc trailing word", Text("JASC-PAL\n0100\n1\n1 2 3 4 5\n"), "JASC palette line 4"},
        {"jasc alpha past 255", Text("JASC-PAL\n0100\n1\n1 2 3 256\n"), "JASC palette line 4"},
        {"paint.net bad digit", Text("; c\nFF00000G\n"), "Paint.NET palette line 2"},
        {"riff cut short", Lay().Text("RIFF").LE32(100).Text("PAL "), "cut short (12 of 108 bytes)"},
        {"riff count past its chunk", Lay().Text("RIFF").LE32(16).Text("PAL data").LE32(4).U8({0, 3, 1, 0}),
         "data chunk is not version 0x0300 with its 1 entries"},
        {"riff chunk past the end", Lay().Text("RIFF").LE32(12).Text("PAL data").LE32(9),
         "runs past the end"},
        {"riff without data", Lay().Text("RIFF").LE32(4).Text("PAL "), "no data chunk"},
        {"aco count past the end", Lay().BE16({1, 9, 0, 1, 2, 3, 4}), "colour 1 of 9 is cut short"},
        {"aco name past the end", Lay().BE16({2, 1, 0, 0, 0, 0, 0}).BE32(0x40000000).BE16({65}),
         "name of colour 0"},
        {"aco version 2 without a count", Lay().BE16({1, 0, 2}), "the colour count is missing"},
        {"ase NaN", AseHeader(1).AseColor("n", "RGB ", {0, nan, 0}),
         "block 0: a colour value is not a finite"},
        {"ase infinity", AseHeader(1).AseColor("i", "Gray", {inf}), "not a finite number"},
        {"ase absurd block count", AseHeader(0xFFFFFFFF), "4294967295 blocks declared, but 0 bytes"},
        {"ase block past the end", Lay(AseHeader(1)).BE16({1}).BE32(50).BE32(0),
         "block 0: runs past the end"},
        {"ase name past its block", Lay(AseHeader(1)).AseBlock(1, Lay().BE16({9}).Utf16("ab")),
         "name or model"},
        {"ase values past its block", Lay(AseHeader(1)).AseBlock(1, Lay().BE16({1, 0}).Text("RGB ").F32(1)),
         "values run"},
        {"ase group name past its block", Lay(AseHeader(1)).AseBlock(0xC001, Lay().BE16({3})), "group name"},
        {"ase version 2", Lay().Text("ASEF").BE16({2, 0}).BE32(0), ".ase: the header"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PaletteFile palette{"old", {Color(1, 2, 3)}, {"old"}};
        std::string error;
        EXPECT_FALSE(ReadPaletteFile(c.bytes, palette, error));
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
        EXPECT_TRUE(palette.name.empty() && palette.colors.empty() && palette.skipped.empty());
    }
}

// Refused rather than cut: more colours than a format's count or Paint.NET's 96 can hold.
TEST(PaletteFileTest, RefusesWhatAFormatCannotHold) {
    PaletteFile palette{"", std::vector<NamedColor>(kMaxPaintNetColors + 1), {}};
    Bytes out{1};
    std::string error;
    EXPECT_FALSE(WritePaletteFile(palette, PaletteFormat::PaintNet, out, error));
    EXPECT_EQ(error, "Paint.NET palettes hold at most 96 colours; this one has 97");
    EXPECT_TRUE(out.empty());
    palette.colors.pop_back();
    EXPECT_TRUE(WritePaletteFile(palette, PaletteFormat::PaintNet, out, error));
    palette.colors.resize(65536);
    EXPECT_FALSE(WritePaletteFile(palette, PaletteFormat::AcoV2, out, error));
    EXPECT_EQ(error, ".aco files hold at most 65535 colours; this one has 65536");
    EXPECT_TRUE(WritePaletteFile(palette, PaletteFormat::Ase, out, error));
    palette.colors.resize(kMaxPaletteColors + 1);
    EXPECT_FALSE(WritePaletteFile(palette, PaletteFormat::Gimp, out, error));
}

TEST(PaletteFileTest, CleansNames) {
    const struct {
        std::string_view in, out;
    } cases[] = {
        {"  a\tb\x01 ", "a b"},
        {"bad \xFF\xC3 end", "bad \xEF\xBF\xBD\xEF\xBF\xBD end"},
        {"overlong \xC0\xAF, surrogate \xED\xA0\x80",
         "overlong \xEF\xBF\xBD\xEF\xBF\xBD, surrogate \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xE2\x82\xAC\xF0\x9F\x8E\xA8 kept", "\xE2\x82\xAC\xF0\x9F\x8E\xA8 kept"},
    };
    for (const auto& c : cases) EXPECT_EQ(CleanPaletteName(c.in), c.out) << c.in;
    const std::string longName(300, 'x');
    EXPECT_EQ(CleanPaletteName(longName), longName.substr(0, kMaxPaletteNameChars));
    EXPECT_EQ(CleanPaletteName(std::string(255, 'x') + " y"), std::string(255, 'x'));
}

TEST(PaletteFileTest, NamesFormatsByExtensionAndWord) {
    const std::pair<const char*, std::optional<PaletteFormat>> paths[] = {
        {"a/B.GPL", PaletteFormat::Gimp}, {"x.pal", PaletteFormat::JascPal},   {"x.aco", PaletteFormat::AcoV2},
        {"x.ase", PaletteFormat::Ase},    {"x.txt", PaletteFormat::PaintNet}, {"x.png", std::nullopt}};
    for (const auto& [path, format] : paths) EXPECT_EQ(PaletteFormatFromPath(path), format) << path;
    for (const PaletteFormat f : kFormats) EXPECT_EQ(PaletteFormatFromName(PaletteFormatName(f)), f);
    EXPECT_EQ(PaletteFormatFromName("act"), std::nullopt);
}

}  // namespace
}  // namespace tellurine
