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

bool PickColour(ColourSelection& colours, int bits, bool foreground, ColourValue value) {
    const ColourKind kind = KindOf(value);
    const int special = kind == ColourKind::Transparent ? kTransparentIndex : kInvertedIndex;
    const auto set = [](int& slot, int v) {
        const bool changed = slot != v;
        slot = v;
        return changed;
    };
    if (bits == 8) {
        int index = special;
        if (kind == ColourKind::Ordinary) {
            if ((value >> 24) != 1) return false;
            index = static_cast<int>(value & 0xFF);
        }
        return set(foreground ? colours.foregroundIndex8 : colours.backgroundIndex8, index);
    }
    if (bits == 1) {
        int index = special;
        if (kind == ColourKind::Ordinary) {
            const COLORREF c = value & 0xFFFFFF;
            if ((value >> 24) != 0 || GetRValue(c) != GetGValue(c) || GetGValue(c) != GetBValue(c)) return false;
            index = GetRValue(c);
        }
        return set(foreground ? colours.foregroundIndex1 : colours.backgroundIndex1, index);
    }
    ColourValue& slot = foreground ? colours.foreground : colours.background;
    const ColourValue wanted = kind == ColourKind::Ordinary ? (value >> 24 == 0 ? value : slot) : value;
    const bool changed = slot != wanted;
    slot = wanted;
    return changed;
}

COLORREF SampleColour(ColourValue value, const Palette& palette, COLORREF fallback) {
    if (KindOf(value) != ColourKind::Ordinary) return fallback;
    if ((value >> 24) == 1) {
        const std::size_t i = value & 0xFF;
        if (i >= palette.size()) return fallback;
        const PaletteEntry& e = palette.entries[i];
        return RGB(e.red, e.green, e.blue);
    }
    return value & 0xFFFFFF;
}

}  // namespace tellurine::editor
