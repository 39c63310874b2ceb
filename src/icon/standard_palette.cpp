#include "icon/standard_palette.h"

#include <new>

#include "image/dib_block.h"

namespace tellurine {

namespace {

std::array<PaletteEntry, kStandardPaletteSize> MakeStandardColors() {
    std::array<PaletteEntry, kStandardPaletteSize> colors{};
    int i = 0;
    for (const PaletteEntry& c : kStandardColors16) colors[i++] = c;
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b)
                colors[i++] = PaletteEntry{static_cast<std::uint8_t>(51 * r), static_cast<std::uint8_t>(51 * g),
                                           static_cast<std::uint8_t>(51 * b), 0};
    for (int k = 0; k < 24; ++k) {
        const auto grey = static_cast<std::uint8_t>(8 + 10 * k);
        colors[i++] = PaletteEntry{grey, grey, grey, 0};
    }
    return colors;
}

}  // namespace

const std::array<PaletteEntry, kStandardPaletteSize>& StandardColors256() {
    static const std::array<PaletteEntry, kStandardPaletteSize> colors = MakeStandardColors();
    return colors;
}

Palette StandardPalette256() {
    Palette palette;
    const auto& colors = StandardColors256();
    try {
        palette.entries.assign(colors.begin(), colors.end());
    } catch (const std::bad_alloc&) {
        palette.entries.clear();
    }
    return palette;
}

}  // namespace tellurine
