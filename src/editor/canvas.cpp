#include "editor/canvas.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "editor/drawing.h"
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

ViewScale ZoomIn(ViewScale scale) {
    if (scale.shrink > 1) return {1, scale.shrink - 1};
    return {ZoomIn(scale.zoom), 1};
}

ViewScale ZoomOut(ViewScale scale) {
    if (scale.zoom > kMinZoom) return {ZoomOut(scale.zoom), 1};
    return {kMinZoom, std::min(scale.shrink + 1, kMaxShrink)};
}

ViewScale FitScale(int width, int height, int clientWidth, int clientHeight) {
    const int room = std::max(1, std::min(clientWidth, clientHeight) - 20);
    const int largest = std::max(width, height);
    if (largest <= room) return {FitZoom(width, clientWidth, clientHeight), 1};
    return {kMinZoom, std::min((largest + room - 1) / room, kMaxShrink)};
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

CanvasRect Union(const CanvasRect& a, const CanvasRect& b) {
    if (a.IsEmpty()) return b;
    if (b.IsEmpty()) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

PixelSelection PixelSelection::Normalized() const {
    if (IsEmpty()) return *this;
    return {std::min(left, right), std::min(top, bottom), std::max(left, right), std::max(top, bottom)};
}

int SelectionHandleAt(const PixelSelection& selection, int zoom, int zoomedX, int zoomedY, int reach) {
    if (selection.IsEmpty()) return 0;
    const PixelSelection s = selection.Normalized();
    const int l = s.left * zoom, t = s.top * zoom, r = (s.right + 1) * zoom, b = (s.bottom + 1) * zoom;
    const int cx = (l + r) / 2, cy = (t + b) / 2;
    const struct {
        int x, y, edges;
    } handles[] = {{l, t, kEdgeLeft | kEdgeTop},     {cx, t, kEdgeTop},    {r, t, kEdgeRight | kEdgeTop},
                   {l, cy, kEdgeLeft},                {r, cy, kEdgeRight},  {l, b, kEdgeLeft | kEdgeBottom},
                   {cx, b, kEdgeBottom},              {r, b, kEdgeRight | kEdgeBottom}};
    for (const auto& h : handles)
        if (std::abs(zoomedX - h.x) <= reach && std::abs(zoomedY - h.y) <= reach) return h.edges;
    return 0;
}

namespace {

constexpr COLORREF kFrameDark = 0x505050;
constexpr COLORREF kFrameLight = 0xA0A0A0;

// The format's image and mask with a floating selection laid over them, as dropping it would.
void CombineFloating(const CanvasImage& image, DeviceBitmap& color, DeviceBitmap& mask) {
    const FloatingSelection& f = *image.floating;
    if (f.color == nullptr || f.mask == nullptr) return;
    LayFloating(color, mask, image.alpha, *f.color, *f.mask, f.x, f.y, f.preserveTransparency, f.behind);
}

// Blends the colour image over the backdrop by the alpha image, each image pixel covering zoom x
// zoom screen pixels: out = (colour * a + backdrop * (255 - a)) / 255. The backdrop is read from
// the tile (its width a power of two), anchored at the bitmap's origin as if it had been laid
// first. The backdrop under a screen row is a row of the tile, so a row whose tile row equals the
// one above it within the same image row comes out the same and is copied.
void BlendAlpha(DeviceBitmap& work, const DeviceBitmap& color, const DeviceBitmap& alpha, const DeviceBitmap& tile,
                int x0, int y0, int x1, int y1, int zoom) {
    const int tileSize = tile.Height();
    const int tileMask = tile.Width() - 1;
    const std::size_t rowBytes = static_cast<std::size_t>(x1 - x0) * static_cast<std::size_t>(zoom) * 4;
    for (int y = y0; y < y1; ++y) {
        const std::uint32_t* c = color.Row(y);
        const std::uint32_t* a = alpha.Row(y);
        for (int sy = y * zoom; sy < (y + 1) * zoom; ++sy) {
            std::uint32_t* out = work.Row(sy) + static_cast<std::ptrdiff_t>(x0) * zoom;
            const std::uint32_t* backdrop = tile.Row(sy % tileSize);
            if (sy > y * zoom && std::equal(backdrop, backdrop + tile.Width(), tile.Row((sy - 1) % tileSize))) {
                std::memcpy(out, work.Row(sy - 1) + static_cast<std::ptrdiff_t>(x0) * zoom, rowBytes);
                continue;
            }
            for (int x = x0, sx = x0 * zoom; x < x1; ++x, out += zoom, sx += zoom) {
                const std::uint32_t colour = c[x];
                const std::uint32_t opacity = a[x] & 0xFF;
                if (opacity == 255) {
                    std::fill(out, out + zoom, colour & 0xFFFFFF);
                    continue;
                }
                if (opacity == 0) {  // the backdrop as it is
                    for (int i = 0; i < zoom; ++i) out[i] = backdrop[(sx + i) & tileMask];
                    continue;
                }
                const std::uint32_t rest = 255 - opacity;
                const std::uint32_t cb = (colour & 0xFF) * opacity, cg = ((colour >> 8) & 0xFF) * opacity,
                                    cr = ((colour >> 16) & 0xFF) * opacity;
                // Neighbouring backdrop pixels are mostly equal: each distinct one is blended once.
                std::uint32_t lastBackdrop = ~0u, lastOut = 0;
                for (int i = 0; i < zoom; ++i) {
                    const std::uint32_t bd = backdrop[(sx + i) & tileMask];
                    if (bd != lastBackdrop) {
                        lastBackdrop = bd;
                        lastOut = ((cb + (bd & 0xFF) * rest) / 255) | (((cg + ((bd >> 8) & 0xFF) * rest) / 255) << 8) |
                                  (((cr + ((bd >> 16) & 0xFF) * rest) / 255) << 16);
                    }
                    out[i] = lastOut;
                }
            }
        }
    }
}

// Lays the backdrop tile over [left, right) x [top, bottom) of the work bitmap, the tile anchored
// at the bitmap's origin.
void LayBackdrop(DeviceBitmap& work, const DeviceBitmap& tile, int left, int top, int right, int bottom) {
    const int size = tile.Width();
    for (int sy = top; sy < bottom; ++sy) {
        const std::uint32_t* from = tile.Row(sy % tile.Height());
        std::uint32_t* to = work.Row(sy);
        for (int x = left; x < right; x += size - x % size)
            std::memcpy(to + x, from + (x % size), static_cast<std::size_t>(std::min(size - x % size, right - x)) * 4);
    }
}

// Grid lines one screen pixel wide: the columns at screen x of `columns` over rows [top, bottom),
// each with its pattern, drawn row by row; the 8 x 8 patterns are anchored at the bitmap's origin.
struct GridColumn {
    int x;
    const DeviceBitmap* pattern;
};
void GridColumns(DeviceBitmap& work, const std::vector<GridColumn>& columns, int top, int bottom) {
    bottom = std::min(bottom, work.Height());
    for (int sy = std::max(0, top); sy < bottom; ++sy) {
        std::uint32_t* row = work.Row(sy);
        for (const GridColumn& c : columns) row[c.x] = c.pattern->Row(sy & 7)[c.x & 7];
    }
}

void GridRow(DeviceBitmap& work, int sy, int left, int right, const DeviceBitmap& pattern) {
    if (sy < 0 || sy >= work.Height()) return;
    right = std::min(right, work.Width());
    std::uint32_t* row = work.Row(sy);
    const std::uint32_t* p = pattern.Row(sy & 7);
    int x = std::max(0, left);
    for (; x < right && (x & 7) != 0; ++x) row[x] = p[x & 7];
    for (; x + 8 <= right; x += 8) std::memcpy(row + x, p, 8 * sizeof(std::uint32_t));
    for (; x < right; ++x) row[x] = p[x & 7];
}

// Which columns and rows of a paint get a grid line, and with which pattern: every step-th one,
// and the stronger ones over them (every GridStrongerPixelCount-th from zoom 5, else the image's
// edges). Style 2 draws dots of the grid colour instead, at every column of every step-th row.
class GridPlan {
public:
    GridPlan(const CanvasResources& res, int zoom, int w, int h, int x0, int x1, int workWidth, bool shown)
        : res_(res), zoom_(zoom), w_(w), h_(h), x0_(x0), x1_(x1), step_(GridStep(zoom)),
          stronger_(res.settings.gridStrongerLine && zoom >= 5 && res.settings.gridStrongerPixelCount > 0),
          valid_(shown && res.grid.Width() == 8 && res.strongGrid.Width() == 8) {
        if (!valid_ || res.settings.gridStyle == 2) return;
        for (int x = x0; x <= x1; ++x)
            if (const DeviceBitmap* p = Pattern(x, w); p != nullptr && x * zoom < workWidth) {
                columns_.push_back({x * zoom, p});
                if (p == &res_.strongGrid) strongColumns_.push_back({x * zoom, p});
            }
    }

    // Draws the grid over screen rows [top, bottom) of the work bitmap, within the range.
    void Draw(DeviceBitmap& work, int top, int bottom) const {
        if (!valid_) return;
        if (res_.settings.gridStyle == 2) {
            for (int sy = top; sy < bottom; ++sy) {
                if (sy % zoom_ != 0 || (sy / zoom_) % step_ != 0) continue;
                for (int x = x0_; x <= x1_; ++x) work.SetPixel(x * zoom_, sy, res_.settings.gridColor & 0xFFFFFF);
            }
            return;
        }
        GridColumns(work, columns_, top, bottom);
        for (int sy = top; sy < bottom; ++sy)
            if (sy % zoom_ == 0)
                if (const DeviceBitmap* p = Pattern(sy / zoom_, h_)) {
                    GridRow(work, sy, x0_ * zoom_, x1_ * zoom_ + 1, *p);
                    // A stronger line stays whole where a regular one crosses it.
                    if (p != &res_.strongGrid) GridColumns(work, strongColumns_, sy, sy + 1);
                }
    }

private:
    [[nodiscard]] const DeviceBitmap* Pattern(int i, int size) const {
        if (stronger_ ? i % res_.settings.gridStrongerPixelCount == 0 : (i == 0 || i == size)) return &res_.strongGrid;
        return i % step_ == 0 ? &res_.grid : nullptr;
    }
    const CanvasResources& res_;
    int zoom_, w_, h_, x0_, x1_, step_;
    bool stronger_, valid_;
    std::vector<GridColumn> columns_;
    std::vector<GridColumn> strongColumns_;
};

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
    // The rows of the backdrop's blocks above and below the image rows are laid first; the image
    // rows are then done one band of zoom screen rows at a time (backdrop, image, grid), so that
    // each band is still in the cache when the next step comes to it.
    LayBackdrop(work_, resources.backdrop, bx0, by0, bx1, y0 * zoom);
    LayBackdrop(work_, resources.backdrop, bx0, y1 * zoom, bx1, by1);

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

    const GridPlan grid(resources, zoom, w, h, x0, x1, work_.Width(), view.gridShown);
    for (int y = y0; y < y1; ++y) {
        const int top = y * zoom, bottom = (y + 1) * zoom;
        // 1. The backdrop, laid in 64-pixel blocks aligned to the image so that it never moves.
        // 3 and 4. The image: AND the mask, then XOR the colours; or blend by the alpha, which
        // reads the backdrop under the image straight from the tile (it is laid beside it).
        if (image.alpha) {
            LayBackdrop(work_, resources.backdrop, bx0, top, x0 * zoom, bottom);
            LayBackdrop(work_, resources.backdrop, x1 * zoom, top, bx1, bottom);
            BlendAlpha(work_, *color, *mask, resources.backdrop, x0, y, x1, y + 1, zoom);
        } else {
            LayBackdrop(work_, resources.backdrop, bx0, top, bx1, bottom);
            StretchBltReplicate(work_, x0 * zoom, top, *mask, x0, y, x1 - x0, 1, zoom, Rop::SrcAnd);
            StretchBltReplicate(work_, x0 * zoom, top, *color, x0, y, x1 - x0, 1, zoom, Rop::SrcInvert);
        }
        // 5. The grid.
        grid.Draw(work_, top, bottom);
    }
    if (view.gridShown) {
        // The line under the range's last row.
        grid.Draw(work_, y1 * zoom, y1 * zoom + 1);
    } else {
        // The white closing lines when the grid is hidden.
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

CanvasPlacement CanvasViewport::Placement() const {
    if (imageWidth <= 0) return {scale.zoom, kMinOrigin, kMinOrigin};
    return PlaceImage(imageWidth, imageHeight, scale.zoom, viewWidth * scale.shrink, viewHeight * scale.shrink);
}

PixelHit CanvasViewport::PixelAt(int x, int y) const {
    if (imageWidth <= 0) return {};
    return MouseToPixel(Placement(), imageWidth, imageHeight, (x + scrollX) * scale.shrink, (y + scrollY) * scale.shrink);
}

PixelHit CanvasViewport::RawPixel(int x, int y) const {
    const CanvasPlacement at = Placement();
    const auto floorDiv = [](int a, int b) { return a >= 0 ? a / b : -((-a + b - 1) / b); };
    PixelHit hit;
    hit.x = floorDiv((x + scrollX) * scale.shrink - at.originX, scale.zoom);
    hit.y = floorDiv((y + scrollY) * scale.shrink - at.originY, scale.zoom);
    hit.inside = hit.x >= 0 && hit.y >= 0 && hit.x < imageWidth && hit.y < imageHeight;
    return hit;
}

int CanvasViewport::HandleAt(const PixelSelection& selection, int x, int y) const {
    const CanvasPlacement at = Placement();
    const int k = scale.shrink;
    return SelectionHandleAt(selection, scale.zoom, (x + scrollX) * k - at.originX, (y + scrollY) * k - at.originY, 3 * k);
}

CanvasRect CanvasViewport::WindowRectOf(const CanvasRect& r) const {
    const CanvasPlacement at = Placement();
    const int zoom = scale.zoom, k = scale.shrink;
    const int left = (at.originX + r.left * zoom) / k - scrollX, top = (at.originY + r.top * zoom) / k - scrollY;
    return {left, top, left + r.Width() * zoom / k + 2, top + r.Height() * zoom / k + 2};
}

CanvasRect CanvasViewport::CanvasRectOf(const CanvasRect& w) const {
    const int k = scale.shrink, sx = scrollX * k, sy = scrollY * k;
    return {w.left * k + sx, w.top * k + sy, w.right * k + sx, w.bottom * k + sy};
}

int CanvasViewport::ContentWidth() const {
    return imageWidth > 0 ? imageWidth * scale.zoom / scale.shrink + kScrollMargin : 0;
}

int CanvasViewport::ContentHeight() const {
    return imageWidth > 0 ? imageHeight * scale.zoom / scale.shrink + kScrollMargin : 0;
}

std::pair<double, double> CanvasViewport::ImagePoint(double x, double y) const {
    const CanvasPlacement at = Placement();
    return {((x + scrollX) * scale.shrink - at.originX) / scale.zoom, ((y + scrollY) * scale.shrink - at.originY) / scale.zoom};
}

std::pair<int, int> CanvasViewport::ScrollKeeping(std::pair<double, double> p, double x, double y) const {
    const CanvasPlacement at = Placement();
    const auto round = [](double v) { return static_cast<int>(v < 0 ? v - 0.5 : v + 0.5); };
    return {round((p.first * scale.zoom + at.originX) / scale.shrink - x),
            round((p.second * scale.zoom + at.originY) / scale.shrink - y)};
}

int MaxZoomFor(int width, int height) {
    constexpr std::int64_t kMaxWorkPixels = std::int64_t{64} * 1024 * 1024;
    int zoom = kMaxZoom;
    while (zoom > 1 && (std::int64_t{width} * zoom + 10) * (std::int64_t{height} * zoom + 20) > kMaxWorkPixels) --zoom;
    return zoom;
}

}  // namespace tellurine::editor
