// The selection of a format: a rectangle of it, and the floating selection, a piece of picture
// lying over the format until it is dropped onto it.
#pragma once

#include "editor/undo_history.h"

namespace tellurine::editor {

// Selects the rectangle with corners (x0, y0) and (x1, y1), clipped to the format.
void SelectRectangle(FormatState& format, int x0, int y0, int x1, int y1);
// Drops a floating selection and selects nothing.
void ClearSelection(FormatState& format, bool preserveTransparency);
[[nodiscard]] bool SelectionContains(const FormatState& format, int x, int y);

// Makes the selected pixels a floating selection; unless `copy`, the pixels under it become
// transparent. False when nothing is selected or a selection already floats.
bool LiftSelection(FormatState& format, bool copy);
// Moves the floating selection (lifting the selection first) and the selection with it.
void MoveSelection(FormatState& format, int dx, int dy, bool copy);
// Lays the floating selection onto the format: its transparent pixels are left out when
// `preserveTransparency` is on; with alpha it is composited over the format.
void DropFloating(FormatState& format, bool preserveTransparency);
// A picture (colour image and alpha as grey levels) becomes the floating selection at (x, y); on
// a format without alpha the alpha below 128 becomes the transparent colour.
void FloatPicture(FormatState& format, const DeviceBitmap& color, const DeviceBitmap& alpha, int x, int y);
// The selected pixels (the floating selection, the selection, or the whole format) as a picture:
// colours and their alpha (0 where the AND mask is set, on a format without alpha).
void SelectedPicture(const FormatState& format, DeviceBitmap& color, DeviceBitmap& alpha);
// Makes the selected pixels transparent (or removes the floating selection).
void DeleteSelection(FormatState& format);

}  // namespace tellurine::editor
