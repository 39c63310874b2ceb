#include "editor/drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tellurine::editor {

void Coverage::SetRun(int left, int right, int y) {
    left = std::max(left, 0);
    right = std::min(right, width_);
    if (y < 0 || y >= height_ || left >= right) return;
    std::fill(cover_.begin() + static_cast<std::ptrdiff_t>(Index(left, y)),
              cover_.begin() + static_cast<std::ptrdiff_t>(Index(right - 1, y)) + 1, std::uint8_t{255});
    bounds_ = Union(bounds_, {left, y, right, y + 1});
}

void Coverage::SetLevel(int x, int y, std::uint8_t level) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_ || cover_[Index(x, y)] >= level) return;
    cover_[Index(x, y)] = level;
    bounds_ = Union(bounds_, {x, y, x + 1, y + 1});
}

void Coverage::Set(int x, int y) { SetLevel(x, y, 255); }

int BrushShapeSize(int shape) {
    static constexpr int kSizes[kBrushShapeCount] = {1, 3, 5, 7, 3, 5, 7, 9, 9, 9, 7, 11};
    return shape >= 0 && shape < kBrushShapeCount ? kSizes[shape] : 1;
}

bool BrushShapeCovers(int shape, int dx, int dy) {
    const int half = BrushShapeSize(shape) / 2;
    if (std::abs(dx) > half || std::abs(dy) > half) return false;
    switch (shape) {
        case 1:
        case 2:
        case 3: return true;                                   // squares
        case 4: return std::abs(dx) + std::abs(dy) < 2;        // the square without its corners
        case 5:
        case 6:
        case 7: return dx * dx + dy * dy <= half * half + half;  // discs
        case 8:
        case 9: return std::abs(dx) + std::abs(dy) <= half;    // diamonds
        case 10: return dx == -dy || dx == -dy + 1;            // oblique, rising to the right
        case 11: return dx == dy || dx == dy + 1;              // oblique, falling to the right
        default: return dx == 0 && dy == 0;                    // one pixel
    }
}

void StampBrush(Coverage& coverage, int x, int y, int shape) {
    const int half = BrushShapeSize(shape) / 2;
    for (int dy = -half; dy <= half; ++dy)
        for (int dx = -half; dx <= half; ++dx)
            if (BrushShapeCovers(shape, dx, dy)) coverage.Set(x + dx, y + dy);
}

void LineDDA(int x0, int y0, int x1, int y1, const std::function<void(int, int)>& visit) {
    // Bresenham's walk along the longer axis, the end point left out.
    const int dx = std::abs(x1 - x0), dy = std::abs(y1 - y0);
    const int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
    int err = (dx > dy ? dx : -dy) / 2;
    int x = x0, y = y0;
    while (x != x1 || y != y1) {
        visit(x, y);
        const int e = err;
        if (e > -dx) {
            err -= dy;
            x += sx;
        }
        if (e < dy) {
            err += dx;
            y += sy;
        }
    }
}

void StrokeSegment(Coverage& coverage, int x0, int y0, int x1, int y1, int shape) {
    LineDDA(x0, y0, x1, y1, [&](int x, int y) { StampBrush(coverage, x, y, shape); });
    StampBrush(coverage, x1, y1, shape);
}

void RectangleShape(Coverage& coverage, int x0, int y0, int x1, int y1, bool filled, int shape) {
    const int l = std::min(x0, x1), r = std::max(x0, x1), t = std::min(y0, y1), b = std::max(y0, y1);
    if (filled) {
        for (int y = t; y <= b; ++y)
            for (int x = l; x <= r; ++x) coverage.Set(x, y);
        return;
    }
    StrokeSegment(coverage, l, t, r, t, shape);
    StrokeSegment(coverage, r, t, r, b, shape);
    StrokeSegment(coverage, r, b, l, b, shape);
    StrokeSegment(coverage, l, b, l, t, shape);
}

void EllipseShape(Coverage& coverage, int x0, int y0, int x1, int y1, bool filled, int shape) {
    const int l = std::min(x0, x1), r = std::max(x0, x1), t = std::min(y0, y1), b = std::max(y0, y1);
    // Centre and radii in half pixels, so that even sizes are centred between pixels.
    const double cx = (l + r) / 2.0, cy = (t + b) / 2.0, rx = (r - l) / 2.0 + 0.5, ry = (b - t) / 2.0 + 0.5;
    const auto inside = [&](int x, int y) {
        const double nx = (x - cx) / rx, ny = (y - cy) / ry;
        return nx * nx + ny * ny <= 1.0;
    };
    for (int y = t; y <= b; ++y)
        for (int x = l; x <= r; ++x) {
            if (!inside(x, y)) continue;
            // The outline: inside pixels with a 4-neighbour outside.
            if (filled || !inside(x - 1, y) || !inside(x + 1, y) || !inside(x, y - 1) || !inside(x, y + 1)) {
                if (filled) coverage.Set(x, y);
                else StampBrush(coverage, x, y, shape);
            }
        }
}

ColourValue ReadPixel(const FormatState& format, int x, int y) {
    if (!format.color.Contains(x, y)) return kTransparentColour;
    const COLORREF colour = format.color.GetPixel(x, y);
    if (format.alpha) return colour;
    const ColourValue value = ReadColourValue(colour, format.mask.GetPixel(x, y));
    // On an 8-bit format an ordinary colour is the palette entry the pixel holds, or else the
    // first that holds its colour.
    const std::size_t at = static_cast<std::size_t>(y) * static_cast<std::size_t>(format.Width()) + static_cast<std::size_t>(x);
    if (format.depth == 8 && KindOf(value) == ColourKind::Ordinary && at < format.indices.size() &&
        SampleColour(kPaletteColourBase + format.indices[at], format.palette) == value)
        return kPaletteColourBase + format.indices[at];
    if (format.depth == 8 && KindOf(value) == ColourKind::Ordinary)
        for (std::size_t i = 0; i < format.palette.size() && i < 256; ++i)
            if (SampleColour(kPaletteColourBase + static_cast<ColourValue>(i), format.palette) == value)
                return kPaletteColourBase + static_cast<ColourValue>(i);
    return value;
}

Coverage FloodFillCoverage(const FormatState& format, int x, int y) {
    const int w = format.Width(), h = format.Height();
    Coverage region(w, h);
    if (!format.color.Contains(x, y)) return region;
    // Pixels are compared in the bitmaps' own layout (blue in the low byte).
    const std::uint32_t c0 = format.color.Row(y)[x], m0 = format.mask.Row(y)[x];
    const int a0 = static_cast<int>(m0 & 0xFF);
    const auto near = [](std::uint32_t p, std::uint32_t q, int shift) {
        return std::abs(static_cast<int>((p >> shift) & 0xFF) - static_cast<int>((q >> shift) & 0xFF)) < 30;
    };
    const auto candidate = [&](int px, int py) {
        const std::uint32_t c = format.color.Row(py)[px], m = format.mask.Row(py)[px];
        if (!format.alpha) return c == c0 && m == m0;
        const int a = static_cast<int>(m & 0xFF);
        if (a0 < 32) return a < 80;
        return near(c, c0, 0) && near(c, c0, 8) && near(c, c0, 16) && std::abs(a - a0) < 30;
    };
    // Scanline filling: each run of candidates on a row is covered at once, and the rows above
    // and below are searched for runs that touch it.
    std::vector<std::pair<int, int>> seeds{{x, y}};
    while (!seeds.empty()) {
        const auto [sx, sy] = seeds.back();
        seeds.pop_back();
        if (region.At(sx, sy) || !candidate(sx, sy)) continue;
        int left = sx, right = sx;
        while (left > 0 && !region.At(left - 1, sy) && candidate(left - 1, sy)) --left;
        while (right + 1 < w && !region.At(right + 1, sy) && candidate(right + 1, sy)) ++right;
        region.SetRun(left, right + 1, sy);
        for (const int ny : {sy - 1, sy + 1}) {
            if (ny < 0 || ny >= h) continue;
            bool inRun = false;
            for (int nx = left; nx <= right; ++nx) {
                const bool open = !region.At(nx, ny) && candidate(nx, ny);
                if (open && !inRun) seeds.emplace_back(nx, ny);
                inRun = open;
            }
        }
    }
    return region;
}

AlphaPixel CompositePixel(COLORREF source, int s, COLORREF destination, int d, int opacity, bool erase) {
    if (opacity != 255) s = s * opacity / 255;
    if (erase) return {destination, (255 - s) * d / 255};
    if (s == 0) return d == 0 ? AlphaPixel{0xFFFFFF, 0} : AlphaPixel{destination, d};
    if (d == 0) return {source, s};
    const int a = (255 * s + (255 - s) * d + 127) / 255;
    const int w = ((255 - s) * d + 127) / 255;
    const auto channel = [&](int cs, int cd) { return static_cast<std::uint8_t>((cs * s + cd * w + a / 2) / a); };
    return {RGB(channel(GetRValue(source), GetRValue(destination)), channel(GetGValue(source), GetGValue(destination)),
                channel(GetBValue(source), GetBValue(destination))),
            a};
}

namespace {

// A palette colour as a 15- or 16-bit screen shows it: the low three bits of each component
// below 255 cleared.
COLORREF ScreenRounded(COLORREF c) {
    const auto round = [](std::uint8_t v) { return static_cast<std::uint8_t>(v == 255 ? 255 : v & 0xF8); };
    return RGB(round(GetRValue(c)), round(GetGValue(c)), round(GetBValue(c)));
}

}  // namespace

CanvasRect ApplyColour(FormatState& format, const Coverage& coverage, ColourValue colour, int opacity, int screenBits) {
    StrokePaint paint;
    paint.colour = paint.second = colour;
    paint.opacity = paint.secondOpacity = opacity;
    return ApplyPaint(format, coverage, paint, screenBits);
}

double GradientFraction(int mode, const CanvasRect& a, int x, int y) {
    const bool reflected = mode >= kReflectedGradient;
    mode %= kReflectedGradient;
    const double w = std::max(1, a.Width() - 1), h = std::max(1, a.Height() - 1);
    const double cx = a.left + w / 2, cy = a.top + h / 2;
    double t = 0;
    switch (mode) {
        case kHorizontalGradient: t = (x - a.left) / w; break;
        case kVerticalGradient: t = (y - a.top) / h; break;
        case kRadialGradient: t = std::hypot((x - cx) / (w / 2), (y - cy) / (h / 2)) / std::sqrt(2.0); break;
        case kAngleGradient: t = (std::atan2(y - cy, x - cx) + 3.14159265358979323846) / (2 * 3.14159265358979323846); break;
        default: return 0;
    }
    t = std::clamp(t, 0.0, 1.0);
    return reflected ? 1 - std::abs(2 * t - 1) : t;
}

int GradientPosition(int mode, const CanvasRect& area, int x, int y) {
    return static_cast<int>(GradientFraction(mode, area, x, y) * 256);
}

CanvasRect ApplyPaint(FormatState& format, const Coverage& coverage, const StrokePaint& paint, int screenBits) {
    const CanvasRect r = coverage.Bounds();
    if (r.IsEmpty()) return r;
    const ColourKind kind = KindOf(paint.colour);
    if (!format.alpha) {
        // The pair of brushes for the colour image and the mask.
        COLORREF image = 0, mask = 0;
        switch (kind) {
            case ColourKind::Transparent: image = 0, mask = 0xFFFFFF; break;
            case ColourKind::Inverted: image = 0xFFFFFF, mask = 0xFFFFFF; break;
            case ColourKind::Ordinary:
                image = SampleColour(paint.colour, format.palette, 0);
                if ((paint.colour >> 24) == 1 && (screenBits == 15 || screenBits == 16)) image = ScreenRounded(image);
                break;
        }
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x)
                if (coverage.Level(x, y) >= 128) {
                    format.color.SetPixel(x, y, image);
                    format.mask.SetPixel(x, y, mask);
                }
        return r;
    }
    // With alpha: opacity 0 in solid mode, or the transparent colour, erases what the stroke covers.
    const int mode = paint.gradient % kReflectedGradient;
    const bool erase = (paint.opacity == 0 && mode == kSolid) || kind == ColourKind::Transparent;
    const auto sourceOf = [&](ColourValue v) {
        return KindOf(v) == ColourKind::Inverted ? COLORREF{0xFFFFFF} : SampleColour(v, format.palette, 0);
    };
    const COLORREF first = erase ? 0 : sourceOf(paint.colour), second = sourceOf(paint.second);
    // A gradient with stops other than the two colours takes its colour and opacity from them.
    const Gradient* stops = paint.stops != nullptr && !paint.stops->IsTwoColours() ? paint.stops : nullptr;
    const auto stopColour = [](COLORREF c, int opacity) {
        return GradientColour{GetRValue(c) / 255.0, GetGValue(c) / 255.0, GetBValue(c) / 255.0, opacity / 255.0};
    };
    const GradientColour foreground = stopColour(first, paint.opacity);
    const GradientColour background = stopColour(second, paint.secondOpacity);
    const auto toByte = [](double v) { return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
    for (int y = r.top; y < r.bottom; ++y)
        for (int x = r.left; x < r.right; ++x) {
            const int level = coverage.Level(x, y);
            if (level == 0) continue;
            COLORREF source = first;
            int opacity = erase ? 255 : paint.opacity;
            if (mode != kSolid && !erase && stops != nullptr) {
                const GradientColour c =
                    stops->ColourAt(GradientFraction(paint.gradient, paint.area, x, y), foreground, background);
                source = RGB(toByte(c.red), toByte(c.green), toByte(c.blue));
                opacity = toByte(c.alpha);
            } else if (mode != kSolid && !erase) {
                const int k = GradientPosition(paint.gradient, paint.area, x, y);
                const auto mix = [k](int a, int b) { return static_cast<std::uint8_t>((a * (256 - k) + b * k) >> 8); };
                source = RGB(mix(GetRValue(first), GetRValue(second)), mix(GetGValue(first), GetGValue(second)),
                             mix(GetBValue(first), GetBValue(second)));
                opacity = mix(paint.opacity, paint.secondOpacity);
            }
            const AlphaPixel out = CompositePixel(source, level, format.color.GetPixel(x, y),
                                                  GetRValue(format.mask.GetPixel(x, y)), opacity, erase);
            format.color.SetPixel(x, y, out.colour);
            const auto a = static_cast<std::uint8_t>(out.alpha);
            format.mask.SetPixel(x, y, RGB(a, a, a));
        }
    return r;
}

void SmoothEdges(Coverage& coverage) {
    const CanvasRect r = coverage.Bounds();
    std::vector<std::pair<std::pair<int, int>, std::uint8_t>> edge;
    for (int y = r.top - 1; y <= r.bottom; ++y)
        for (int x = r.left - 1; x <= r.right; ++x) {
            if (coverage.At(x, y)) continue;
            int weight = 0;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    if ((dx != 0 || dy != 0) && coverage.Level(x + dx, y + dy) == 255) weight += (dx == 0 || dy == 0) ? 2 : 1;
            if (weight > 0) edge.push_back({{x, y}, static_cast<std::uint8_t>(std::min(255, weight * 255 / 16))});
        }
    for (const auto& [at, level] : edge) coverage.SetLevel(at.first, at.second, level);
}

void LayFloating(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, const DeviceBitmap& fc, const DeviceBitmap& fm,
                 int fx, int fy, bool preserveTransparency, bool behind) {
    for (int y = 0; y < fc.Height(); ++y)
        for (int x = 0; x < fc.Width(); ++x) {
            const int tx = fx + x, ty = fy + y;
            if (!color.Contains(tx, ty)) continue;
            const COLORREF c = fc.GetPixel(x, y), m = fm.GetPixel(x, y);
            if (behind) {
                if (alpha) {
                    // The format's pixel over the floating one.
                    const AlphaPixel out = CompositePixel(color.GetPixel(tx, ty), GetRValue(mask.GetPixel(tx, ty)), c,
                                                          GetRValue(m), 255, false);
                    color.SetPixel(tx, ty, out.colour);
                    const auto a = static_cast<std::uint8_t>(out.alpha);
                    mask.SetPixel(tx, ty, RGB(a, a, a));
                } else if (mask.GetPixel(tx, ty) == 0xFFFFFF && color.GetPixel(tx, ty) == 0) {
                    color.SetPixel(tx, ty, c);
                    mask.SetPixel(tx, ty, m);
                }
                continue;
            }
            if (alpha && preserveTransparency) {
                const AlphaPixel out = CompositePixel(c, GetRValue(m), color.GetPixel(tx, ty), GetRValue(mask.GetPixel(tx, ty)),
                                                      255, false);
                color.SetPixel(tx, ty, out.colour);
                const auto a = static_cast<std::uint8_t>(out.alpha);
                mask.SetPixel(tx, ty, RGB(a, a, a));
                continue;
            }
            if (!alpha && preserveTransparency && m == 0xFFFFFF && c == 0) continue;
            color.SetPixel(tx, ty, c);
            mask.SetPixel(tx, ty, m);
        }
}

CanvasRect ReplaceColour(FormatState& format, const Coverage& coverage, ColourValue from, ColourValue to) {
    Coverage matching(coverage.Width(), coverage.Height());
    const CanvasRect r = coverage.Bounds();
    for (int y = r.top; y < r.bottom; ++y)
        for (int x = r.left; x < r.right; ++x)
            if (coverage.At(x, y) && ReadPixel(format, x, y) == from) matching.Set(x, y);
    return ApplyColour(format, matching, to, 255);
}

}  // namespace tellurine::editor
