// Feeds arbitrary bytes to the palette reader: a refusal leaves nothing and says why; a palette read
// keeps within its caps, and every format it is written in reads back to as many colours, the same
// RGB values, and the names and alpha where the format keeps them.
#include <cstdint>
#include <string>
#include <vector>

#include "formats/palette_file.h"
#include "harness.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    PaletteFile palette;
    std::string error;
    if (!ReadPaletteFile(bytes, palette, error)) {
        Check(!error.empty() && palette.colors.empty() && palette.skipped.empty() && palette.name.empty());
        return;
    }
    Check(palette.colors.size() <= kMaxPaletteColors && CleanPaletteName(palette.name) == palette.name);
    for (const PaletteFormat format :
         {PaletteFormat::Gimp, PaletteFormat::JascPal, PaletteFormat::RiffPal, PaletteFormat::AcoV1,
          PaletteFormat::AcoV2, PaletteFormat::Ase, PaletteFormat::PaintNet}) {
        std::vector<std::uint8_t> written;
        if (!WritePaletteFile(palette, format, written, error)) {
            Check(!error.empty() && written.empty() && format == PaletteFormat::PaintNet &&
                  palette.colors.size() > kMaxPaintNetColors);
            continue;
        }
        PaletteFile back;
        Check(DetectPaletteFormat(written) == format && ReadPaletteFile(written, back, error));
        Check(back.colors.size() == palette.colors.size() && back.skipped.empty());
        const bool names =
            format == PaletteFormat::Gimp || format == PaletteFormat::AcoV2 || format == PaletteFormat::Ase;
        for (std::size_t i = 0; i < back.colors.size(); ++i) {
            const NamedColor& a = palette.colors[i];
            const NamedColor& b = back.colors[i];
            Check(a.red == b.red && a.green == b.green && a.blue == b.blue);
            Check(b.alpha == (format == PaletteFormat::PaintNet ? a.alpha : 255));
            Check(b.name == (names ? a.name : "") &&
                  b.group == (format == PaletteFormat::Ase ? a.group : ""));
        }
    }
}
