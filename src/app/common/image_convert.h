// Pictures of the core's images for the screen.
#pragma once

#include <QColor>
#include <QImage>
#include <QPixmap>

#include "icon/kv_icon.h"
#include "image/block.h"
#include "image/device_bitmap.h"
#include "image/palette.h"

class QPainter;

namespace tellurine::app {

// A colour of the core (0x00BBGGRR) for Qt, and a Qt colour for the core (its alpha dropped).
inline QColor QColorOf(COLORREF c) { return {GetRValue(c), GetGValue(c), GetBValue(c)}; }
inline COLORREF ColorRefOf(const QColor& c) {
    return RGB(static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()), static_cast<std::uint8_t>(c.blue()));
}
// A 32-bit packed bitmap (bottom-up BGRA, alpha not premultiplied) as a QImage; null for any other
// block.
QImage ImageFromDib32(const Block& dib32);
// A QImage as a 32-bit packed bitmap (alpha not premultiplied); empty for a null image or when
// memory runs out.
Block Dib32FromImage(const QImage& image);
// An ordinary image read by the core's picture reader, as a 32-bit picture; null when it cannot be
// decoded.
QImage ReadPicture(const QString& path);
// An SVG drawing rasterised at `size` (each side 1 to 8,192 pixels), its aspect ratio kept and
// centred; null when it cannot be read.
QImage RenderDrawing(const QString& path, QSize size);
// A device bitmap (rows of 0x00RRGGBB, which is QImage's RGB32) as an image that shares its
// pixels: valid while the bitmap lives and is not changed; copy() it to keep it. Null for a null
// bitmap.
QImage ImageOfDeviceBitmap(const DeviceBitmap& bitmap);
// A format's picture as the icon shows it: its colours, transparent where the mask says so.
QImage ImageFromIcon(const CKvIcon& icon);
// Where a picture goes in a square of `side` pixels, centred: a larger one scaled down to fit,
// keeping its shape (never below 1 x 1); a smaller one at the largest whole multiple, up to the
// screen's `ratio`, that fits, so that its pixels stay square. Every list of pictures (formats,
// steps, a program's icons, the overwrite prompt) shows them so.
QRect ThumbnailRect(QSize picture, int side, qreal ratio = 1);
// A picture's thumbnail: a transparent square of `side` pixels with the picture where
// ThumbnailRect puts it, over the checkerboard.
QPixmap ThumbnailPixmap(const QImage& picture, int side, qreal ratio = 1);
// Fills a rectangle with the light checkerboard that shows transparency, in squares of `cell`.
void PaintCheckerboard(QPainter& painter, const QRect& rect, int cell = 8);

}  // namespace tellurine::app
