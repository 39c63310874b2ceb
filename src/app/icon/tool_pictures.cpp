#include "app/icon/tool_pictures.h"

#include <QPainter>
#include <QPalette>
#include <QPixmap>

namespace tellurine::app {
namespace {

using editor::ToolKind;

// A tool's picture in a 20 x 20 square: a few strokes in `ink`.
void PaintTool(QPainter& p, ToolKind kind, const QColor& ink) {
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(ink, 1.5));
    switch (kind) {
        case ToolKind::Select:
            p.setPen(QPen(ink, 1, Qt::DashLine));
            p.drawRect(3, 4, 14, 12);
            break;
        case ToolKind::Pick:
            p.drawLine(4, 16, 12, 8);
            p.setBrush(ink);
            p.drawEllipse(11, 3, 6, 6);
            break;
        case ToolKind::Replacer:
            // One colour becoming another.
            p.setBrush(ink);
            p.drawRect(3, 3, 6, 6);
            p.setBrush(Qt::NoBrush);
            p.drawRect(11, 11, 6, 6);
            p.drawLine(9, 9, 12, 12);
            break;
        case ToolKind::Pen:
            // A pencil: its body and its point.
            p.drawPolygon(QPolygonF({{14.5, 2.5}, {17.5, 5.5}, {7, 16}, {4, 13}}));
            p.setBrush(ink);
            p.drawPolygon(QPolygonF({{4, 13}, {7, 16}, {2.5, 17.5}}));
            break;
        case ToolKind::Brush:
            p.setPen(QPen(ink, 4, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(5, 15, 15, 5);
            break;
        case ToolKind::Fill:
            p.setBrush(ink);
            p.drawPolygon(QPolygon({{3, 9}, {10, 3}, {17, 10}, {10, 17}}));
            break;
        case ToolKind::Line: p.drawLine(3, 17, 17, 3); break;
        case ToolKind::Rectangle: p.drawRect(3, 5, 14, 10); break;
        case ToolKind::FilledRectangle:
            p.setBrush(ink);
            p.drawRect(3, 5, 14, 10);
            break;
        case ToolKind::Ellipse: p.drawEllipse(3, 5, 14, 10); break;
        case ToolKind::FilledEllipse:
            p.setBrush(ink);
            p.drawEllipse(3, 5, 14, 10);
            break;
        case ToolKind::Frame3D:
            // A raised frame: light above and left, dark below and right, inside an outline.
            p.setPen(QPen(ink, 1));
            p.drawRect(2, 3, 16, 14);
            p.setPen(QPen(QColor(255, 255, 255), 2));
            p.drawPolyline(QPolygon({{4, 15}, {4, 5}, {16, 5}}));
            p.setPen(QPen(QColor(96, 96, 96), 2));
            p.drawPolyline(QPolygon({{5, 15}, {16, 15}, {16, 6}}));
            break;
    }
}


}  // namespace

QIcon ToolIcon(ToolKind kind, const QPalette& palette) {
    QPixmap pixmap(20, 20);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    PaintTool(painter, kind, palette.color(QPalette::WindowText));
    return QIcon(pixmap);
}

QCursor ToolPointer(ToolKind kind, editor::ToolCursor shape) {
    switch (shape) {
        case editor::ToolCursor::Move: return Qt::SizeAllCursor;
        case editor::ToolCursor::Arrow: return Qt::ArrowCursor;
        default: break;
    }
    // A black cross edged in white, seen on any picture, hot at its centre (7, 7).
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    for (const auto& [colour, width] : {std::pair{QColor(255, 255, 255), 3}, std::pair{QColor(0, 0, 0), 1}}) {
        painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(7, 0, 7, 5);
        painter.drawLine(7, 9, 7, 14);
        painter.drawLine(0, 7, 5, 7);
        painter.drawLine(9, 7, 14, 7);
    }
    // The tool beside it, on a white ground so that it shows on dark pictures too.
    painter.translate(11, 11);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 220));
    painter.drawRoundedRect(QRectF(0, 0, 21, 21), 3, 3);
    PaintTool(painter, kind, QColor(0, 0, 0));
    painter.end();
    return QCursor(pixmap, 7, 7);
}

}  // namespace tellurine::app
