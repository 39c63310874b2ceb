// Palette files, read and written: GIMP (.gpl), JASC (.pal as text), RIFF (.pal as a RIFF "PAL "
// file), Adobe colour swatches (.aco, version 1 and version 2 with names), Adobe swatch exchange
// (.ase) and Paint.NET (.txt). Every reader gives one flat list of 8-bit sRGB colours:
//   - colours given in another model are converted: HSB, CMYK (naively, without a profile: each
//     channel is (1 - ink) * (1 - black)), grayscale, and Lab (D50, as both Adobe formats mean it,
//     to sRGB through the Bradford adaptation to D65);
//   - a colour in a model no formula covers (the ink books' own spaces of .aco, an unknown .ase
//     model) is left out, and `skipped` says which and why; a file of nothing but such colours is
//     refused;
//   - the groups of an .ase file are flattened, each colour keeping its group's name in `group`;
//   - names are made valid UTF-8 (a bad sequence becomes U+FFFD), control characters become spaces,
//     spaces at either end are dropped, and a name keeps at most kMaxPaletteNameChars characters.
// Only Paint.NET palettes hold alpha; the others read every colour as opaque and write no alpha.
// Hostile files (counts past the end, more than kMaxPaletteColors colours, truncated blocks, NaN or
// infinite values) are refused with a message naming what is wrong, and nothing is read past the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tellurine {

inline constexpr std::size_t kMaxPaletteColors = 65536;
// Palette files are small; a larger file is refused before it is read (16 MiB).
inline constexpr std::size_t kMaxPaletteFileBytes = std::size_t{16} * 1024 * 1024;
inline constexpr std::size_t kMaxPaletteNameChars = 256;
// Paint.NET shows this many colours; a longer palette is refused rather than cut.
inline constexpr std::size_t kMaxPaintNetColors = 96;

struct NamedColor {
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 255;
    std::string name;
    std::string group;  // the .ase group the colour was in; empty outside any group

    friend bool operator==(const NamedColor&, const NamedColor&) = default;
};

struct PaletteFile {
    std::string name;  // GIMP's "Name:"; empty in the formats that have none
    std::vector<NamedColor> colors;
    std::vector<std::string> skipped;  // colours left out on reading, each with its reason
};

enum class PaletteFormat { Gimp, JascPal, RiffPal, AcoV1, AcoV2, Ase, PaintNet };

// "gimp", "jasc", "riff", "aco1", "aco", "ase", "paintnet": the words the command line takes.
const char* PaletteFormatName(PaletteFormat format);
std::optional<PaletteFormat> PaletteFormatFromName(std::string_view name);

// The format a path's extension names, for writing: .gpl, .pal (JASC text), .aco (version 1 and
// 2), .ase, .txt (Paint.NET). Reading decides by content.
std::optional<PaletteFormat> PaletteFormatFromPath(const std::string& path);

// The format the bytes are in by their content: a .aco with a version 2 part is AcoV2.
std::optional<PaletteFormat> DetectPaletteFormat(std::span<const std::uint8_t> bytes);

// Reads a palette of any of the formats. False, with `palette` empty and `error` saying why, when
// the bytes are none of them or are broken.
bool ReadPaletteFile(std::span<const std::uint8_t> bytes, PaletteFile& palette, std::string& error);

// Writes the palette in `format`, replacing `out`. False, with `out` empty and `error` saying why,
// when the format cannot hold it (more colours than its count field or Paint.NET's 96).
bool WritePaletteFile(const PaletteFile& palette, PaletteFormat format, std::vector<std::uint8_t>& out,
                      std::string& error);

// A name as the readers keep it (see above).
std::string CleanPaletteName(std::string_view name);

}  // namespace tellurine
