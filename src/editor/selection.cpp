#include "editor/selection.h"

#include <algorithm>

#include "editor/drawing.h"

namespace tellurine::editor {

namespace {

constexpr COLORREF kWhiteMask = 0xFFFFFF;

// A pixel made transparent: black with the mask bit, or alpha 0.
void ClearPixel(FormatState& f, int x, int y) {
    if (f.alpha) {
        f.color.SetPixel(x, y, 0xFFFFFF);
        f.mask.SetPixel(x, y, 0);
    } else {
        f.color.SetPixel(x, y, 0);
        f.mask.SetPixel(x, y, kWhiteMask);
    }
}

}  // namespace

void SelectRectangle(FormatState& f, int x0, int y0, int x1, int y1) {
    const int l = std::clamp(std::min(x0, x1), 0, f.Width() - 1), r = std::clamp(std::max(x0, x1), 0, f.Width() - 1);
    const int t = std::clamp(std::min(y0, y1), 0, f.Height() - 1), b = std::clamp(std::max(y0, y1), 0, f.Height() - 1);
    f.selection = {l, t, r, b};
    f.selectionActive = true;
}

void ClearSelection(FormatState& f, bool preserveTransparency) {
    DropFloating(f, preserveTransparency);
    f.selection = {};
    f.selectionActive = false;
}

bool SelectionContains(const FormatState& f, int x, int y) {
    if (!f.selectionActive || f.selection.IsEmpty()) return false;
    const PixelSelection s = f.selection.Normalized();
    return x >= s.left && x <= s.right && y >= s.top && y <= s.bottom;
}

bool LiftSelection(FormatState& f, bool copy) {
    if (f.floatingColor || !f.selectionActive || f.selection.IsEmpty()) return false;
    const PixelSelection s = f.selection.Normalized();
    const int w = s.right - s.left + 1, h = s.bottom - s.top + 1;
    DeviceBitmap color = DeviceBitmap::Create(w, h), mask = DeviceBitmap::Create(w, h);
    if (color.IsNull() || mask.IsNull()) return false;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            color.SetPixel(x, y, f.color.GetPixel(s.left + x, s.top + y));
            mask.SetPixel(x, y, f.mask.GetPixel(s.left + x, s.top + y));
            if (!copy) ClearPixel(f, s.left + x, s.top + y);
        }
    f.floatingColor = std::move(color);
    f.floatingMask = std::move(mask);
    f.floatingX = s.left;
    f.floatingY = s.top;
    f.floatingBehind = false;
    return true;
}

void MoveSelection(FormatState& f, int dx, int dy, bool copy) {
    if (!f.floatingColor && !LiftSelection(f, copy)) return;
    f.floatingX += dx;
    f.floatingY += dy;
    f.selection = {f.floatingX, f.floatingY, f.floatingX + f.floatingColor->Width() - 1,
                   f.floatingY + f.floatingColor->Height() - 1};
}

void DropFloating(FormatState& f, bool preserveTransparency) {
    if (!f.floatingColor || !f.floatingMask) return;
    LayFloating(f.color, f.mask, f.alpha, *f.floatingColor, *f.floatingMask, f.floatingX, f.floatingY,
                preserveTransparency, f.floatingBehind);
    f.floatingBehind = false;
    f.floatingColor.reset();
    f.floatingMask.reset();
}

void FloatPicture(FormatState& f, const DeviceBitmap& color, const DeviceBitmap& alpha, int x, int y) {
    DropFloating(f, true);
    DeviceBitmap c = color, m = DeviceBitmap::Create(color.Width(), color.Height());
    for (int py = 0; py < color.Height(); ++py)
        for (int px = 0; px < color.Width(); ++px) {
            const std::uint8_t a = GetRValue(alpha.GetPixel(px, py));
            if (f.alpha) {
                m.SetPixel(px, py, RGB(a, a, a));
            } else if (a < 128) {
                c.SetPixel(px, py, 0);
                m.SetPixel(px, py, kWhiteMask);
            }
        }
    f.floatingColor = std::move(c);
    f.floatingMask = std::move(m);
    f.floatingX = x;
    f.floatingY = y;
    f.floatingBehind = false;
    f.selection = {x, y, x + color.Width() - 1, y + color.Height() - 1};
    f.selectionActive = true;
}

void SelectedPicture(const FormatState& f, DeviceBitmap& color, DeviceBitmap& alpha) {
    const DeviceBitmap* sourceColor = &f.color;
    const DeviceBitmap* sourceMask = &f.mask;
    int left = 0, top = 0, w = f.Width(), h = f.Height();
    if (f.floatingColor && f.floatingMask) {
        sourceColor = &*f.floatingColor;
        sourceMask = &*f.floatingMask;
        w = sourceColor->Width();
        h = sourceColor->Height();
    } else if (f.selectionActive && !f.selection.IsEmpty()) {
        const PixelSelection s = f.selection.Normalized();
        left = s.left;
        top = s.top;
        w = s.right - s.left + 1;
        h = s.bottom - s.top + 1;
    }
    color = DeviceBitmap::Create(w, h);
    alpha = DeviceBitmap::Create(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const COLORREF c = sourceColor->GetPixel(left + x, top + y), m = sourceMask->GetPixel(left + x, top + y);
            color.SetPixel(x, y, c);
            const std::uint8_t a = f.alpha ? GetRValue(m) : (m == kWhiteMask ? 0 : 255);
            alpha.SetPixel(x, y, RGB(a, a, a));
        }
}

void DeleteSelection(FormatState& f) {
    if (f.floatingColor) {
        f.floatingColor.reset();
        f.floatingMask.reset();
        return;
    }
    if (!f.selectionActive || f.selection.IsEmpty()) return;
    const PixelSelection s = f.selection.Normalized();
    for (int y = s.top; y <= s.bottom; ++y)
        for (int x = s.left; x <= s.right; ++x) ClearPixel(f, x, y);
}

}  // namespace tellurine::editor
