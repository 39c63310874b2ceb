// The editing canvas of one format: where the magnified image lies in the view, which pixel the
// pointer is on, and painting a part of the view into the work bitmap (backdrop, the image by the
// AND/XOR rule or blended by its alpha, grid, selection frame).
#pragma once

#include <cstdint>
#include <utility>

#include "editor/canvas_resources.h"
#include "image/device_bitmap.h"

namespace tellurine::editor {

inline constexpr int kMinZoom = 1;
inline constexpr int kMaxZoom = 30;
inline constexpr int kNewViewZoom = 8;
inline constexpr int kMinOrigin = 10;
// The view's scroll area is the zoomed image plus this many pixels each way.
inline constexpr int kScrollMargin = 23;

// Where the image lies: the screen position of its top-left pixel and the zoom.
struct CanvasPlacement {
    int zoom = kNewViewZoom;
    int originX = kMinOrigin;
    int originY = kMinOrigin;
};

// Centres a width x height image at `zoom` in a client area; each origin coordinate at least 10.
CanvasPlacement PlaceImage(int width, int height, int zoom, int clientWidth, int clientHeight);
// The zoom that fits the image to the window: (min(client width, client height) - 20) / width,
// limited to 1..30.
int FitZoom(int width, int clientWidth, int clientHeight);
// One step in or out, limited to 1..30.
inline int ZoomIn(int zoom) { return zoom < kMaxZoom ? zoom + 1 : kMaxZoom; }
inline int ZoomOut(int zoom) { return zoom > kMinZoom ? zoom - 1 : kMinZoom; }

// A view's scale: `zoom` screen pixels per image pixel or, below 100 %, one screen pixel for
// `shrink` image pixels (zoom 1, shrink 2 is 50 %), so that the largest formats can be seen whole.
inline constexpr int kMaxShrink = 8;
struct ViewScale {
    int zoom = kNewViewZoom;
    int shrink = 1;
    [[nodiscard]] int Percent() const { return zoom * 100 / shrink; }
    friend bool operator==(const ViewScale&, const ViewScale&) = default;
};
// One step in (.. 1/3, 1/2, 1, 2, 3 .. up to 30) or out (down to 1/8).
ViewScale ZoomIn(ViewScale scale);
ViewScale ZoomOut(ViewScale scale);
// The scale that fits a width x height image to the window: FitZoom, or the smallest shrink that
// makes it fit when it is larger than the window.
ViewScale FitScale(int width, int height, int clientWidth, int clientHeight);

// The pixel under a point of the view (in the view's scrolled coordinates).
struct PixelHit {
    int x = 0;  // clamped to 0..width-1
    int y = 0;  // clamped to 0..height-1
    bool inside = false;
    int zoomedX = 0;  // the pixel's top-left corner in zoomed coordinates, relative to the origin
    int zoomedY = 0;
};
// Subtracts the origin, divides by the zoom truncating toward zero and clamps; any clamping makes
// the point "outside".
PixelHit MouseToPixel(const CanvasPlacement& placement, int width, int height, int pointX, int pointY);

// A rectangle: left and top included, right and bottom excluded.
struct CanvasRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    [[nodiscard]] int Width() const { return right - left; }
    [[nodiscard]] int Height() const { return bottom - top; }
    [[nodiscard]] bool IsEmpty() const { return right <= left || bottom <= top; }
};

// The smallest rectangle holding both (an empty one counts for nothing).
CanvasRect Union(const CanvasRect& a, const CanvasRect& b);

// A selection in pixels, every corner included; left -1 means none.
struct PixelSelection {
    int left = -1;
    int top = -1;
    int right = -1;
    int bottom = -1;
    [[nodiscard]] bool IsEmpty() const { return left < 0; }
    // The corners in order.
    [[nodiscard]] PixelSelection Normalized() const;
};

// The handles of a selection's frame, named by the edges they move.
enum SelectionEdge { kEdgeLeft = 1, kEdgeTop = 2, kEdgeRight = 4, kEdgeBottom = 8 };
// The edges moved by the handle under a point (in zoomed image coordinates, relative to the
// image's top-left), or 0. The handles are centred on the frame's corners and the middles of its
// sides and reach `reach` zoomed pixels each way, as the frame draws them.
int SelectionHandleAt(const PixelSelection& selection, int zoom, int zoomedX, int zoomedY, int reach = 3);

// A window's view of one format: the format's size, its scale, and the window's size and scroll
// position in screen pixels. Below 100 % the image is placed at 100 % in a view `shrink` times
// the window's size, so each window point is first multiplied by `shrink`.
struct CanvasViewport {
    int imageWidth = 0;  // 0: no format shown
    int imageHeight = 0;
    ViewScale scale;
    int viewWidth = 0;
    int viewHeight = 0;
    int scrollX = 0;
    int scrollY = 0;

    [[nodiscard]] CanvasPlacement Placement() const;
    // The pixel under a window point (MouseToPixel).
    [[nodiscard]] PixelHit PixelAt(int x, int y) const;
    // The pixel under a window point, outside the image too, rounded toward minus infinity.
    [[nodiscard]] PixelHit RawPixel(int x, int y) const;
    // The selection's handle under a window point (SelectionHandleAt, three screen pixels' reach).
    [[nodiscard]] int HandleAt(const PixelSelection& selection, int x, int y) const;
    // The window rectangle that shows the pixels `r`, with room for the grid line after them.
    [[nodiscard]] CanvasRect WindowRectOf(const CanvasRect& pixels) const;
    // The part of the 100 % canvas a window rectangle shows.
    [[nodiscard]] CanvasRect CanvasRectOf(const CanvasRect& window) const;
    // The size of what is scrolled: the zoomed image and its margins.
    [[nodiscard]] int ContentWidth() const;
    [[nodiscard]] int ContentHeight() const;
    // The image point, in fractional pixels, under a window point; and the scroll position that
    // puts that image point back under the window point (after a change of scale).
    [[nodiscard]] std::pair<double, double> ImagePoint(double x, double y) const;
    [[nodiscard]] std::pair<int, int> ScrollKeeping(std::pair<double, double> imagePoint, double x, double y) const;
};
// The largest zoom (up to kMaxZoom) at which a view's work bitmap for a width x height format stays
// within 64 Mi pixels: big formats cannot be zoomed as far.
int MaxZoomFor(int width, int height);


// A floating selection: its own image and mask over the format at a position.
struct FloatingSelection {
    const DeviceBitmap* color = nullptr;
    const DeviceBitmap* mask = nullptr;
    int x = 0;
    int y = 0;
    bool preserveTransparency = true;
    bool behind = false;  // behind the image: it shows only where the image is transparent
};

// What is painted: a format's colour image and mask (the AND mask, white for bit 1, or the alpha
// as grey levels when the format has alpha), both of the format's size.
struct CanvasImage {
    const DeviceBitmap* color = nullptr;
    const DeviceBitmap* mask = nullptr;
    bool alpha = false;
    PixelSelection selection;
    bool selectionFrameShown = false;
    const FloatingSelection* floating = nullptr;
};

struct CanvasView {
    int zoom = kNewViewZoom;
    bool gridShown = true;
};

// What a paint produced: the part of the work bitmap to copy to the view, and where it goes.
struct PaintedArea {
    CanvasRect source;  // in the work bitmap
    int destX = 0;      // in the view: the origin plus the source's corner
    int destY = 0;
};

// Paints into a work bitmap of (width x zoom + 10) by (height x zoom + 20) pixels that is kept
// between paints and made anew only when its key (width x zoom) x 65536 + (height x zoom)
// changes.
class CanvasRenderer {
public:
    // Paints the part of the image under `update` (in view coordinates; the image's top-left
    // pixel at `placement`'s origin). False, with nothing painted, when the image is missing, its
    // bitmaps do not match, or the work bitmap cannot be made.
    bool Paint(const CanvasImage& image, const CanvasResources& resources, const CanvasView& view,
               const CanvasPlacement& placement, const CanvasRect& update, PaintedArea& painted);
    [[nodiscard]] const DeviceBitmap& Work() const { return work_; }
    [[nodiscard]] std::uint32_t Key() const { return key_; }
    // How many times the work bitmap has been made (it is kept while its key stays the same).
    [[nodiscard]] int Rebuilds() const { return rebuilds_; }

private:
    DeviceBitmap work_;
    DeviceBitmap combinedColor_;  // the image with a floating selection laid over it
    DeviceBitmap combinedMask_;
    std::uint32_t key_ = 0;
    int rebuilds_ = 0;
};

// The grid's step in image pixels: 4 below zoom 3, 2 at zoom 3 and 4, 1 from zoom 5.
inline int GridStep(int zoom) { return zoom < 3 ? 4 : zoom < 5 ? 2 : 1; }

}  // namespace tellurine::editor
