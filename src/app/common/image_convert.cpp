#include "app/common/image_convert.h"

#include <QPainter>
#include <algorithm>
#include <cstring>

#include "formats/image_file.h"
#include "formats/svg_file.h"
#include "image/dib_block.h"
#include "shell/app_support.h"

namespace tellurine::app {

QImage ImageFromDib32(const Block& dib32) {
    const std::optional<DibLayout> layout = GetDibLayout(dib32);
    if (!layout || layout->bitCount != 32 || layout->width <= 0 || layout->height <= 0) return {};
    QImage image(layout->width, layout->height, QImage::Format_ARGB32);
    if (image.isNull()) return {};
    const std::size_t rowBytes = static_cast<std::size_t>(layout->width) * 4;
    for (std::int32_t y = 0; y < layout->height; ++y) {
        // Stored rows run bottom-up; QImage's ARGB32 is BGRA in memory on little-endian machines.
        const std::uint8_t* src = dib32.data() + layout->RowOffset(layout->height - 1 - y);
        std::memcpy(image.scanLine(y), src, rowBytes);
    }
    return image;
}

Block Dib32FromImage(const QImage& image) {
    if (image.isNull()) return {};
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    Block dib = CreateDibBlock(argb.width(), argb.height(), 32);
    const std::optional<DibLayout> layout = GetDibLayout(dib);
    if (!layout) return {};
    const std::size_t rowBytes = static_cast<std::size_t>(argb.width()) * 4;
    for (int y = 0; y < argb.height(); ++y)
        std::memcpy(dib.data() + layout->RowOffset(argb.height() - 1 - y), argb.constScanLine(y), rowBytes);
    return dib;
}

QImage ReadPicture(const QString& path) {
    CDIB dib;
    std::string error;
    return LoadPictureFile(path.toStdString(), dib, error) ? ImageFromDib32(dib.GetBlock()) : QImage();
}

QImage RenderDrawing(const QString& path, QSize size) {
    SvgDrawing drawing;
    std::string error;
    if (!drawing.LoadFile(path.toStdString(), error)) return {};
    const QSize bounded = size.boundedTo(QSize(kMaxSvgSide, kMaxSvgSide)).expandedTo(QSize(1, 1));
    const Block rendered = drawing.Render(bounded.width(), bounded.height());
    return rendered ? ImageFromDib32(rendered) : QImage();
}

QImage ImageFromIcon(const CKvIcon& icon) {
    return ImageFromDib32(icon.To32BitDib());
}

void PaintCheckerboard(QPainter& painter, const QRect& rect, int cell) {
    painter.save();
    painter.setClipRect(rect, Qt::IntersectClip);
    painter.fillRect(rect, QColor(255, 255, 255));
    const QColor dark(204, 204, 204);
    for (int y = rect.top(); y <= rect.bottom(); y += cell)
        for (int x = rect.left() + (((y - rect.top()) / cell) % 2) * cell; x <= rect.right(); x += 2 * cell)
            painter.fillRect(QRect(x, y, cell, cell), dark);
    painter.restore();
}

QRect ThumbnailRect(QSize picture, int side, qreal ratio) {
    const shell::PictureSize shown = shell::ThumbnailSize(picture.width(), picture.height(), side, ratio);
    if (shown.width == 0) return {};
    return {(side - shown.width) / 2, (side - shown.height) / 2, shown.width, shown.height};
}

QImage ImageOfDeviceBitmap(const DeviceBitmap& bitmap) {
    if (bitmap.IsNull()) return {};
    return QImage(reinterpret_cast<const uchar*>(bitmap.Row(0)), bitmap.Width(), bitmap.Height(),
                  static_cast<qsizetype>(bitmap.Width()) * 4, QImage::Format_RGB32);
}

QPixmap ThumbnailPixmap(const QImage& picture, int side, qreal ratio) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    if (picture.isNull()) return pixmap;
    const QRect target = ThumbnailRect(picture.size(), side, ratio);
    QPainter painter(&pixmap);
    PaintCheckerboard(painter, target, std::max(2, side / 12));
    painter.setRenderHint(QPainter::SmoothPixmapTransform, target.width() < picture.width());
    painter.drawImage(target, picture);
    return pixmap;
}

}  // namespace tellurine::app
