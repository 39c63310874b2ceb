// What a stroke covers and how the current colour is applied through it: brush shapes, the
// line walk, shapes, flood fill candidates, and the compositing of formats with alpha.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "editor/canvas.h"
#include "editor/colour_value.h"
#include "editor/undo_history.h"
#include "imaging/gradient.h"

namespace tellurine::editor {

// Which pixels of a format a stroke covers (0 or 255 each), and the rectangle of those covered.
class Coverage {
public:
    Coverage(int width, int height) : width_(width), height_(height), cover_(static_cast<std::size_t>(width) * height) {}
    [[nodiscard]] int Width() const { return width_; }
    [[nodiscard]] int Height() const { return height_; }
    // Covers a pixel; points outside the format are left out.
    void Set(int x, int y);
    // Covers a pixel partly (1..255), keeping the larger level; smooth edges use it.
    void SetLevel(int x, int y, std::uint8_t level);
    [[nodiscard]] std::uint8_t Level(int x, int y) const {
        return x >= 0 && y >= 0 && x < width_ && y < height_ ? cover_[Index(x, y)] : 0;
    }
    // Covers the pixels [left, right) of row y.
    void SetRun(int left, int right, int y);
    [[nodiscard]] bool At(int x, int y) const {
        return x >= 0 && y >= 0 && x < width_ && y < height_ && cover_[Index(x, y)] != 0;
    }
    // The covered pixels' bounds (empty when nothing is covered).
    [[nodiscard]] const CanvasRect& Bounds() const { return bounds_; }

private:
    [[nodiscard]] std::size_t Index(int x, int y) const { return static_cast<std::size_t>(y) * width_ + x; }
    int width_;
    int height_;
    std::vector<std::uint8_t> cover_;
    CanvasRect bounds_;
};

inline constexpr int kBrushShapeCount = 12;
// The side of a brush shape's bounding box.
int BrushShapeSize(int shape);
// Whether the pixel (dx, dy) from the centre belongs to the shape.
bool BrushShapeCovers(int shape, int dx, int dy);
void StampBrush(Coverage& coverage, int x, int y, int shape);

// Visits every point of the segment from (x0, y0) up to, but not including, (x1, y1), as the
// platform's digital differential analyser does.
void LineDDA(int x0, int y0, int x1, int y1, const std::function<void(int, int)>& visit);
// Stamps the brush along the segment, the end point stamped separately.
void StrokeSegment(Coverage& coverage, int x0, int y0, int x1, int y1, int shape);
// A rectangle or an ellipse inside the box with corners (x0, y0) and (x1, y1), outlined with the
// brush or filled.
void RectangleShape(Coverage& coverage, int x0, int y0, int x1, int y1, bool filled, int shape);
void EllipseShape(Coverage& coverage, int x0, int y0, int x1, int y1, bool filled, int shape);

// The pixel read back as a colour value (the AND/XOR rule; the colour for formats with alpha; on
// an 8-bit format the palette entry that holds the colour).
ColourValue ReadPixel(const FormatState& format, int x, int y);

// The region a flood fill from (x, y) covers: the 4-connected candidates that hold it. Without
// alpha a candidate has the clicked pixel's colour and mask bit exactly; with alpha, below alpha
// 32 every pixel with alpha below 80 is one, else each of red, green, blue and alpha must differ
// from the clicked pixel's by less than 30.
Coverage FloodFillCoverage(const FormatState& format, int x, int y);

// One pixel composited: the source colour with alpha s over the format's colour with alpha d
// (after s = s * opacity / 255 when the opacity is not 255); an erasing stroke lowers the alpha to
// (255 - s) * d / 255 instead.
struct AlphaPixel {
    COLORREF colour;
    int alpha;
    friend bool operator==(const AlphaPixel&, const AlphaPixel&) = default;
};
AlphaPixel CompositePixel(COLORREF source, int s, COLORREF destination, int d, int opacity, bool erase);

// Paints a colour value through a coverage. Formats without alpha: an ordinary colour (or palette
// entry) into the image with mask bit 0, the transparent colour as black with mask bit 1, the
// inverted colour as white with mask bit 1; on a 15- or 16-bit screen palette colours lose the
// low three bits of each component below 255. Formats with alpha: the colour at the opacity,
// composited; opacity 0 (or the transparent colour) erases. Returns the changed rectangle.
CanvasRect ApplyColour(FormatState& format, const Coverage& coverage, ColourValue colour, int opacity,
                       int screenBits = 32);

// Lays a floating picture (its colour image and mask, in the format's form) over a format's colour
// image and mask at (x, y). Without alpha its pixels replace the format's, but for those that show
// the screen (black with the mask bit) when `preserveTransparency` is on; with alpha it is
// composited over the format, or replaces it when transparency is not preserved.
// Behind the image, the format's pixels are laid over the floating ones instead: the float shows
// where the format is transparent.
void LayFloating(DeviceBitmap& color, DeviceBitmap& mask, bool alpha, const DeviceBitmap& floatingColor,
                 const DeviceBitmap& floatingMask, int x, int y, bool preserveTransparency, bool behind = false);

// Gradient modes: across the stroke's rectangle from the primary to the secondary colour; the
// reflected effect (mode + 10) runs to the secondary colour and back.
enum GradientMode { kSolid = 0, kHorizontalGradient = 1, kVerticalGradient = 2, kRadialGradient = 3, kAngleGradient = 4 };
inline constexpr int kReflectedGradient = 10;

// What a stroke on a format with alpha paints: the primary colour and opacity, and for gradients
// the secondary ones, the rectangle the gradient runs across, and the gradient with stops (its
// foreground is the primary colour at its opacity, its background the secondary one). Without
// stops, or with the two colours, the gradient runs from the primary to the secondary colour.
struct StrokePaint {
    ColourValue colour = 0;
    int opacity = 255;
    ColourValue second = 0;
    int secondOpacity = 255;
    int gradient = kSolid;  // a mode, plus kReflectedGradient for the reflected effect
    CanvasRect area;        // the stroke's rectangle
    const Gradient* stops = nullptr;
};
// The position 0..1 of a pixel along a gradient across `area`, and the same in 0..256.
double GradientFraction(int mode, const CanvasRect& area, int x, int y);
int GradientPosition(int mode, const CanvasRect& area, int x, int y);
// Paints through a coverage as ApplyColour does, with a gradient on formats with alpha (formats
// without alpha take the primary colour alone), each pixel weighted by its coverage level.
CanvasRect ApplyPaint(FormatState& format, const Coverage& coverage, const StrokePaint& paint, int screenBits = 32);
// Smooth edges: every uncovered pixel next to covered ones gets a part of the coverage, a sixteenth
// for each of its eight neighbours that is covered (counted twice for the four beside it).
void SmoothEdges(Coverage& coverage);

// The colour replacer: every covered pixel that reads exactly as `from` becomes `to`.
CanvasRect ReplaceColour(FormatState& format, const Coverage& coverage, ColourValue from, ColourValue to);

}  // namespace tellurine::editor
