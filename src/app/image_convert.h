// Pictures of the core's images for the screen.
#pragma once

#include <QImage>
#include <QPixmap>

#include "icon/kv_icon.h"
#include "image/block.h"

class QPainter;

namespace tellurine::app {

// A 32-bit packed bitmap (bottom-up BGRA, alpha not premultiplied) as a QImage; null for any other
// block.
QImage ImageFromDib32(const Block& dib32);
// A format's picture as the icon shows it: its colours, transparent where the mask says so.
QImage ImageFromIcon(const CKvIcon& icon);
// Fills a rectangle with the light checkerboard that shows transparency, in squares of `cell`.
void PaintCheckerboard(QPainter& painter, const QRect& rect, int cell = 8);

}  // namespace tellurine::app
