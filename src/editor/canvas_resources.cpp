#include "editor/canvas_resources.h"

#include <algorithm>

#include "image/raster.h"

namespace tellurine::editor {

DeviceBitmap MakePattern(int width, int height, int style, COLORREF a, COLORREF b) {
    if (style < 0 || style > 5) style = 1;
    if (style == 0) return DeviceBitmap::Create(width, height, a);
    DeviceBitmap pattern = DeviceBitmap::Create(width, height, b);
    if (pattern.IsNull()) return pattern;
    const int cell = style == 5 ? 1 : 4 << (style - 1);
    const std::uint32_t native = DeviceBitmap::ToNative(a);
    unsigned counter = 0;
    for (int y = 0; y < height; y += cell) {
        for (int x = 0; x < width; x += cell) {
            if (++counter % 2 == 0) continue;
            for (int row = y; row < std::min(height, y + cell); ++row)
                std::fill(pattern.Row(row) + x, pattern.Row(row) + std::min(width, x + cell), native);
        }
        ++counter;
    }
    return pattern;
}

namespace {

template <typename Fn>
COLORREF PerComponent(COLORREF colour, Fn&& fn) {
    return RGB(static_cast<std::uint8_t>(fn(GetRValue(colour))), static_cast<std::uint8_t>(fn(GetGValue(colour))),
               static_cast<std::uint8_t>(fn(GetBValue(colour))));
}

}  // namespace

COLORREF Darken(COLORREF colour, int k) {
    return PerComponent(colour, [k](int c) { return c * (9 - k) / 9; });
}

COLORREF Lighten(COLORREF colour, int k) {
    return PerComponent(colour, [k](int c) { return (c * (9 - k) + 255 * k) / 9; });
}

COLORREF InvertColour(COLORREF colour) {
    return PerComponent(colour, [](int c) { return 255 - c; });
}

CanvasResources CanvasResources::Build(const CanvasSettings& s) {
    CanvasResources r;
    r.settings = s;
    const COLORREF a = s.transparentColor1 & 0xFFFFFF, b = s.transparentColor2 & 0xFFFFFF;
    r.backdrop = MakePattern(kTileSize, kTileSize, s.transparencyStyle, a, b);
    const int swatchStyle = s.transparencyStyle != 0 ? 1 : 0;
    r.transparentSwatch = MakePattern(8, 8, swatchStyle, a, b);
    r.invertedSwatch = MakePattern(8, 8, swatchStyle, InvertColour(a), InvertColour(b));
    const int gridStyle = s.gridStyle != 0 ? 5 : 0;
    const COLORREF grid = s.gridColor & 0xFFFFFF;
    r.grid = MakePattern(8, 8, gridStyle, grid, Lighten(grid, 3));
    r.strongGrid = MakePattern(8, 8, gridStyle, Darken(grid, 6), grid);
    return r;
}

}  // namespace tellurine::editor
