// The canvas's shared drawing resources: the transparency backdrop tile, the transparent and
// inverted swatches and the two grid patterns, built from the display preferences and rebuilt
// whenever those change.
#pragma once

#include "image/device_bitmap.h"

namespace tellurine::editor {

// The display preferences the canvas reads.
struct CanvasSettings {
    int transparencyStyle = 1;          // TransparencyStyle: 0 plain, 1..4 checkerboards of 4..32, 5 of 1
    COLORREF transparentColor1 = 0xEBEBEB;  // TransparentColor1 (A)
    COLORREF transparentColor2 = 0xFFFFFF;  // TransparentColor2 (B)
    int gridStyle = 1;                  // GridStyle: 0 solid lines, 1 dotted lines, 2 dots at crossings
    COLORREF gridColor = 0xA0A0A0;      // GridColor
    bool gridStrongerLine = true;       // GridStrongerLine
    int gridStrongerPixelCount = 8;     // GridStrongerPixelCount
    friend bool operator==(const CanvasSettings&, const CanvasSettings&) = default;
};

// A w x h pattern of style s from colours A and B. Style 0 is A alone; otherwise cells of
// 4 x 2^(s - 1) pixels (1 pixel for style 5) are visited row by row with a counter raised before
// each cell and once more at the end of each row, and the cells whose counter is odd are A, the
// rest B: a checkerboard whose top-left cell is A. Styles outside 0..5 are taken as 1.
DeviceBitmap MakePattern(int width, int height, int style, COLORREF a, COLORREF b);

// Per red, green and blue component c, in integer division: c * (9 - k) / 9, and
// (c * (9 - k) + 255 * k) / 9.
COLORREF Darken(COLORREF colour, int k);
COLORREF Lighten(COLORREF colour, int k);
// Every component c replaced by 255 - c.
COLORREF InvertColour(COLORREF colour);

struct CanvasResources {
    static constexpr int kTileSize = 64;
    DeviceBitmap backdrop;            // 64 x 64
    DeviceBitmap transparentSwatch;   // 8 x 8
    DeviceBitmap invertedSwatch;      // 8 x 8
    DeviceBitmap grid;                // 8 x 8 (the canvas relies on that size)
    DeviceBitmap strongGrid;          // 8 x 8
    CanvasSettings settings;          // what they were built from

    static CanvasResources Build(const CanvasSettings& settings);
};

}  // namespace tellurine::editor
