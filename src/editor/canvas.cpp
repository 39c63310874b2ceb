#include "editor/canvas.h"

#include <algorithm>

#include "image/raster.h"

namespace tellurine::editor {

CanvasPlacement PlaceImage(int width, int height, int zoom, int clientWidth, int clientHeight) {
    CanvasPlacement p;
    p.zoom = zoom;
    p.originX = std::max(kMinOrigin, (clientWidth - width * zoom) / 2);
    p.originY = std::max(kMinOrigin, (clientHeight - height * zoom) / 2);
    return p;
}

int FitZoom(int width, int clientWidth, int clientHeight) {
    if (width <= 0) return kMinZoom;
    return std::clamp((std::min(clientWidth, clientHeight) - 20) / width, kMinZoom, kMaxZoom);
}

PixelHit MouseToPixel(const CanvasPlacement& placement, int width, int height, int pointX, int pointY) {
    PixelHit hit;
    const int zoom = std::max(1, placement.zoom);
    hit.x = (pointX - placement.originX) / zoom;
    hit.y = (pointY - placement.originY) / zoom;
    hit.inside = true;
    const auto clamp = [&hit](int& v, int size) {
        if (v < 0) {
            v = 0;
            hit.inside = false;
        } else if (v >= size) {
            v = std::max(0, size - 1);
            hit.inside = false;
        }
    };
    clamp(hit.x, width);
    clamp(hit.y, height);
    hit.zoomedX = hit.x * zoom;
    hit.zoomedY = hit.y * zoom;
    return hit;
}

PixelSelection PixelSelection::Normalized() const {
    if (IsEmpty()) return *this;
    return {std::min(left, right), std::min(top, bottom), std::max(left, right), std::max(top, bottom)};
}

namespace {

constexpr COLORREF kFrameDark = 0x505050;
constexpr COLORREF kFrameLight = 0xA0A0A0;

// The format's image and mask with a floating selection laid over them: where the selection's
// mask keeps a pixel (or everywhere, when transparency is not preserved) its colour and mask
// replace the format's; with alpha, the selection is blended over by its own alpha.
void CombineFloating(const CanvasImage& image, DeviceBitmap& color, DeviceBitmap& mask) {
    const FloatingSelection& f = *image.floating;
    if (f.color == nullptr || f.mask == nullptr) return;
    for (int y = 0; y < f.color->Height(); ++y)
        for (int x = 0; x < f.color->Width(); ++x) {
            const int tx = f.x + x, ty = f.y + y;
            if (!color.Contains(tx, ty)) continue;
            const COLORREF c = f.color->GetPixel(x, y), m = f.mask->GetPixel(x, y);
            if (image.alpha) {
                const int a = static_cast<int>(GetRValue(m));
                if (a == 0 && f.preserveTransparency) continue;
                const COLORREF under = color.GetPixel(tx, ty);
                const int ua = GetRValue(mask.GetPixel(tx, ty));
                const auto mix = [&](int top, int bottom) { return static_cast<std::uint8_t>((top * a + bottom * (255 - a)) / 255); };
                color.SetPixel(tx, ty, RGB(mix(GetRValue(c), GetRValue(under)), mix(GetGValue(c), GetGValue(under)),
                                           mix(GetBValue(c), GetBValue(under))));
                const auto alpha = static_cast<std::uint8_t>(a + ua * (255 - a) / 255);
                mask.SetPixel(tx, ty, RGB(alpha, alpha, alpha));
            } else {
                if (m == 0xFFFFFF && f.preserveTransparency) continue;
                color.SetPixel(tx, ty, c);
                mask.SetPixel(tx, ty, m);
            }
        }
}

// Blends the colour image over the backdrop already in the work bitmap by the alpha image, each
// image pixel covering zoom x zoom screen pixels: out = (colour * a + backdrop * (255 - a)) / 255.
void BlendAlpha(DeviceBitmap& work, const DeviceBitmap& color, const DeviceBitmap& alpha, int x0, int y0, int x1,
                int y1, int zoom) {
    for (int y = y0; y < y1; ++y) {
        const std::uint32_t* c = color.Row(y);
        const std::uint32_t* a = alpha.Row(y);
        for (int sy = y * zoom; sy < (y + 1) * zoom; ++sy) {
            std::uint32_t* out = work.Row(sy) + static_cast<std::ptrdiff_t>(x0) * zoom;
            for (int x = x0; x < x1; ++x) {
                const std::uint32_t colour = c[x];
                const std::uint32_t opacity = a[x] & 0xFF;
                if (opacity == 255) {
                    std::fill(out, out + zoom, colour & 0xFFFFFF);
                    out += zoom;
                    continue;
                }
                const std::uint32_t rest = 255 - opacity;
                const std::uint32_t cb = (colour & 0xFF) * opacity, cg = ((colour >> 8) & 0xFF) * opacity,
                                    cr = ((colour >> 16) & 0xFF) * opacity;
                for (int i = 0; i < zoom; ++i, ++out) {
                    const std::uint32_t bd = *out;
                    *out = ((cb + (bd & 0xFF) * rest) / 255) | (((cg + ((bd >> 8) & 0xFF) * rest) / 255) << 8) |
                           (((cr + ((bd >> 16) & 0xFF) * rest) / 255) << 16);
                }
            }
        }
    }
}

void Line(DeviceBitmap& work, int x, int y, int width, int height, const DeviceBitmap& pattern) {
    PatBlt(work, x, y, width, height, Brush{0, &pattern}, PatRop::PatCopy);
}

void Grid(DeviceBitmap& work, const CanvasResources& res, int zoom, int w, int h, int x0, int y0, int x1, int y1) {
    const CanvasSettings& s = res.settings;
    const int step = GridStep(zoom);
    if (s.gridStyle == 2) {
        // Dots at every column of the range on every step-th row.
        for (int y = y0; y <= y1; ++y) {
            if (y % step != 0) continue;
            for (int x = x0; x <= x1; ++x) work.SetPixel(x * zoom, y * zoom, s.gridColor & 0xFFFFFF);
        }
        return;
    }
    const int top = y0 * zoom, left = x0 * zoom, tall = (y1 - y0) * zoom + 1, wide = (x1 - x0) * zoom + 1;
    const auto column = [&](int x, const DeviceBitmap& p) { Line(work, x * zoom, top, 1, tall, p); };
    const auto row = [&](int y, const DeviceBitmap& p) { Line(work, left, y * zoom, wide, 1, p); };
    for (int x = x0; x <= x1; ++x)
        if (x % step == 0) column(x, res.grid);
    for (int y = y0; y <= y1; ++y)
        if (y % step == 0) row(y, res.grid);
    if (s.gridStrongerLine && zoom >= 5 && s.gridStrongerPixelCount > 0) {
        for (int x = x0; x <= x1; ++x)
            if (x % s.gridStrongerPixelCount == 0) column(x, res.strongGrid);
        for (int y = y0; y <= y1; ++y)
            if (y % s.gridStrongerPixelCount == 0) row(y, res.strongGrid);
    } else {
        if (x0 == 0) column(0, res.strongGrid);
        if (x1 == w) column(w, res.strongGrid);
        if (y0 == 0) row(0, res.strongGrid);
        if (y1 == h) row(h, res.strongGrid);
    }
}

// The selection's frame: a line alternating the dark and light pens every 4 pixels, and small
// white handles with a dark border at the corners and the middle of each side.
void SelectionFrame(DeviceBitmap& work, const PixelSelection& selection, int zoom, bool handles) {
    const PixelSelection s = selection.Normalized();
    const int l = s.left * zoom, t = s.top * zoom, r = (s.right + 1) * zoom, b = (s.bottom + 1) * zoom;
    const auto pen = [](int i) { return (i / 4) % 2 == 0 ? kFrameDark : kFrameLight; };
    for (int x = l; x <= r; ++x) {
        work.SetPixel(x, t, pen(x - l));
        work.SetPixel(x, b, pen(x - l));
    }
    for (int y = t; y <= b; ++y) {
        work.SetPixel(l, y, pen(y - t));
        work.SetPixel(r, y, pen(y - t));
    }
    if (!handles) return;
    const int cx = (l + r) / 2, cy = (t + b) / 2;
    for (const auto& [hx, hy] : {std::pair{l, t}, {cx, t}, {r, t}, {l, cy}, {r, cy}, {l, b}, {cx, b}, {r, b}}) {
        PatBlt(work, hx - 3, hy - 3, 7, 7, Brush{kFrameDark, nullptr}, PatRop::PatCopy);
        PatBlt(work, hx - 2, hy - 2, 5, 5, Brush{0xFFFFFF, nullptr}, PatRop::PatCopy);
    }
}

}  // namespace

bool CanvasRenderer::Paint(const CanvasImage& image, const CanvasResources& resources, const CanvasView& view,
                           const CanvasPlacement& placement, const CanvasRect& update, PaintedArea& painted) {
    painted = {};
    if (image.color == nullptr || image.mask == nullptr || image.color->IsNull()) return false;
    const int w = image.color->Width(), h = image.color->Height();
    if (image.mask->Width() != w || image.mask->Height() != h || resources.backdrop.IsNull()) return false;
    const int zoom = std::clamp(view.zoom, kMinZoom, kMaxZoom);
    const std::int64_t zw = std::int64_t{w} * zoom, zh = std::int64_t{h} * zoom;
    if (zw > 0xFFFF || zh > 0xFFFF) return false;

    const auto key = static_cast<std::uint32_t>(zw * 65536 + zh);
    if (work_.IsNull() || key != key_) {
        work_ = DeviceBitmap::Create(static_cast<int>(zw) + 10, static_cast<int>(zh) + 20, 0xFFFFFF);
        key_ = key;
        ++rebuilds_;
        if (work_.IsNull()) {
            key_ = 0;
            return false;
        }
    }

    // The image pixels under the update rectangle.
    const int x0 = std::clamp((update.left - placement.originX) / zoom, 0, w);
    const int x1 = std::clamp((update.right - placement.originX) / zoom + 1, 0, w);
    const int y0 = std::clamp((update.top - placement.originY) / zoom, 0, h);
    const int y1 = std::clamp((update.bottom - placement.originY) / zoom + 1, 0, h);
    if (x0 >= x1 || y0 >= y1) return true;

    // 1. The backdrop, laid in 64-pixel blocks aligned to the image so that it never moves.
    const int bx0 = x0 * zoom / CanvasResources::kTileSize * CanvasResources::kTileSize;
    const int by0 = y0 * zoom / CanvasResources::kTileSize * CanvasResources::kTileSize;
    const int bx1 = static_cast<int>(std::min<std::int64_t>((x1 * zoom / 64 + 1) * 64, zw));
    const int by1 = static_cast<int>(std::min<std::int64_t>((y1 * zoom / 64 + 1) * 64, zh));
    for (int ty = by0; ty < by1; ty += 64)
        for (int tx = bx0; tx < bx1; tx += 64)
            BitBlt(work_, tx, ty, std::min(64, bx1 - tx), std::min(64, by1 - ty), resources.backdrop, 0, 0, Rop::SrcCopy);

    // 2. A floating selection is laid over copies of the image and mask first.
    const DeviceBitmap* color = image.color;
    const DeviceBitmap* mask = image.mask;
    if (image.floating != nullptr) {
        combinedColor_ = *image.color;
        combinedMask_ = *image.mask;
        CombineFloating(image, combinedColor_, combinedMask_);
        color = &combinedColor_;
        mask = &combinedMask_;
    }

    // 3 and 4. The image: AND the mask, then XOR the colours; or blend by the alpha.
    if (image.alpha) {
        BlendAlpha(work_, *color, *mask, x0, y0, x1, y1, zoom);
    } else {
        StretchBltReplicate(work_, x0 * zoom, y0 * zoom, *mask, x0, y0, x1 - x0, y1 - y0, zoom, Rop::SrcAnd);
        StretchBltReplicate(work_, x0 * zoom, y0 * zoom, *color, x0, y0, x1 - x0, y1 - y0, zoom, Rop::SrcInvert);
    }

    // 5. The grid, or the white closing lines when it is hidden.
    if (view.gridShown) {
        Grid(work_, resources, zoom, w, h, x0, y0, x1, y1);
    } else {
        PatBlt(work_, static_cast<int>(zw), y0 * zoom, 1, (y1 - y0) * zoom + 1, Brush{0xFFFFFF, nullptr}, PatRop::PatCopy);
        PatBlt(work_, x0 * zoom, static_cast<int>(zh), (x1 - x0) * zoom + 1, 1, Brush{0xFFFFFF, nullptr}, PatRop::PatCopy);
    }

    // 6. The selection frame.
    if (image.selectionFrameShown && !image.selection.IsEmpty())
        SelectionFrame(work_, image.selection, zoom, image.floating == nullptr);

    // 7. What to copy: one pixel more at the right and bottom edges, for the closing line.
    painted.source = {x0 * zoom, y0 * zoom, x1 * zoom + (x1 == w ? 1 : 0), y1 * zoom + (y1 == h ? 1 : 0)};
    painted.destX = placement.originX + painted.source.left;
    painted.destY = placement.originY + painted.source.top;
    return true;
}

}  // namespace tellurine::editor
