#include "editor/colour_value.h"

namespace tellurine::editor {

ColourValue IndexColourValue(int index, int bits) {
    if (index == kTransparentIndex) return kTransparentColour;
    if (index == kInvertedIndex) return kInvertedColour;
    const auto i = static_cast<std::uint32_t>(index & 0xFF);
    if (bits == 1) return RGB(static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i));
    return kPaletteColourBase + i;
}

ColourValue DrawingColour(const ColourSelection& colours, int bits, bool foreground) {
    switch (bits) {
        case 8: return IndexColourValue(foreground ? colours.foregroundIndex8 : colours.backgroundIndex8, 8);
        case 1: return IndexColourValue(foreground ? colours.foregroundIndex1 : colours.backgroundIndex1, 1);
        default: return foreground ? colours.foreground : colours.background;
    }
}

}  // namespace tellurine::editor
