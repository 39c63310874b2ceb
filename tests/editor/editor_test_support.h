// Formats the editor's tests start from: one colour everywhere, or every pixel numbered; and a
// drag of a tool across one.
#pragma once

#include <initializer_list>
#include <utility>

#include "editor/tools.h"
#include "editor/undo_history.h"
#include "test_support.h"

namespace tellurine::test {

// A w x h format of 24 bits, or of 32 with alpha, each pixel `colour` over the mask value `mask`.
inline editor::FormatState Filled(int w, int h, bool alpha, COLORREF colour, COLORREF mask) {
    editor::FormatState f;
    f.color = DeviceBitmap::Create(w, h, colour);
    f.mask = DeviceBitmap::Create(w, h, mask);
    f.SetDepth(alpha ? 32 : 24);
    return f;
}

// The colour a numbered format holds at (x, y).
inline COLORREF Number(int x, int y) { return static_cast<COLORREF>(x + 16 * y + 1); }

// A w x h opaque format whose pixel (x, y) holds the colour Number(x, y).
inline editor::FormatState Numbered(int w, int h, bool alpha) {
    editor::FormatState f = Filled(w, h, alpha, 0, alpha ? 0xFFFFFF : 0);
    f.color = MakeBitmap(w, h, Number);
    return f;
}

// Presses at the first point, moves through the points between and lets go at the last; returns
// the union of the rectangles the tool reported changed.
inline editor::CanvasRect Drag(editor::CDrawTool& tool, editor::FormatState& f, editor::ColourSelection& colours,
                               std::initializer_list<std::pair<int, int>> points, bool right = false) {
    const std::pair<int, int>* p = points.begin();
    editor::CanvasRect changed = tool.ButtonDown(f, colours, p->first, p->second, right).changed;
    for (++p; p + 1 < points.end(); ++p)
        changed = Union(changed, tool.PointerMove(f, colours, p->first, p->second).changed);
    return Union(changed, tool.ButtonUp(f, colours, p->first, p->second).changed);
}

}  // namespace tellurine::test
