#include "app/icon/print.h"

#include <QPagedPaintDevice>
#include <QPainter>

namespace tellurine::app {

QRect PaintPrintPage(QPainter& painter, const QRect& area, const PrintPage& page) {
    QRect room = area;
    if (page.headerAndFooter) {
        QFont header("Arial", 14, QFont::Bold);
        QFont footer("Arial", 9);
        footer.setItalic(true);
        painter.setFont(header);
        const int headerHeight = painter.fontMetrics().height();
        painter.drawText(QRect(area.left(), area.top(), area.width(), headerHeight), Qt::AlignHCenter | Qt::AlignTop,
                         page.header);
        painter.setFont(footer);
        const int footerHeight = painter.fontMetrics().height();
        painter.drawText(QRect(area.left(), area.bottom() - footerHeight, area.width(), footerHeight),
                         Qt::AlignHCenter | Qt::AlignBottom, page.footer);
        room.adjust(0, headerHeight * 2, 0, -footerHeight * 2);
    }
    if (page.picture.isNull() || room.isEmpty()) return {};
    QSize size = page.picture.size();
    size.scale(room.size(), Qt::KeepAspectRatio);
    const QRect target(room.left() + (room.width() - size.width()) / 2, room.top() + (room.height() - size.height()) / 2,
                       size.width(), size.height());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.drawImage(target, page.picture);
    return target;
}

bool PrintFormatPage(QPagedPaintDevice& device, const PrintPage& page) {
    QPainter painter;
    if (!painter.begin(&device)) return false;
    const QRect area = device.pageLayout().paintRectPixels(device.logicalDpiX());
    PaintPrintPage(painter, QRect(QPoint(0, 0), area.size()), page);
    return painter.end();
}

}  // namespace tellurine::app
