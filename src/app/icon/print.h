// Printing one format: scaled to fit the page and centred, pixel for pixel (no smoothing), with
// an optional header in 14-point bold Arial and footer in 9-point italic Arial.
#pragma once

#include <QImage>
#include <QString>

class QPainter;
class QPagedPaintDevice;

namespace tellurine::app {

struct PrintPage {
    QImage picture;
    QString header;  // the document's title
    QString footer;  // the format's size and depth
    bool headerAndFooter = true;  // PrintHeaderFooter
};

// Lays the page out in `area` (device pixels) on `painter`; returns where the picture went.
QRect PaintPrintPage(QPainter& painter, const QRect& area, const PrintPage& page);
// Prints the page on a printer or PDF writer. False when nothing could be printed.
bool PrintFormatPage(QPagedPaintDevice& device, const PrintPage& page);

}  // namespace tellurine::app
