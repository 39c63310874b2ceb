#include "app/common/tile_delegate.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>
#include <algorithm>

#include "shell/program_tiles.h"

namespace tellurine::app {

namespace {

// Margins of a tile around its picture and text, and the gap between two tiles.
constexpr int kTilePadding = 6;
constexpr int kTileGap = 8;

}  // namespace

void SetUpTileGrid(QListView& view) {
    view.setViewMode(QListView::IconMode);
    view.setMovement(QListView::Static);
    view.setResizeMode(QListView::Adjust);
    view.setWrapping(true);
    view.setUniformItemSizes(true);
    view.setSelectionMode(QAbstractItemView::ExtendedSelection);
    view.setContextMenuPolicy(Qt::ActionsContextMenu);
}

void PaintGridMessage(QListView& view, const QString& message) {
    QPainter painter(view.viewport());
    painter.setPen(view.palette().color(QPalette::PlaceholderText));
    painter.drawText(view.viewport()->rect().adjusted(16, 16, -16, -16), Qt::AlignCenter | Qt::TextWordWrap, message);
}

CTileDelegate::CTileDelegate(std::function<int()> largestSide, bool showInfo, QObject* parent)
    : QStyledItemDelegate(parent), largestSide_(std::move(largestSide)), showInfo_(showInfo) {}

int CTileDelegate::IconSide() const {
    const int largest = largestSide_();
    return largest > 0 ? std::clamp(largest, 16, shell::kProgramTileSide) : 32;
}

QSize CTileDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    const int lines = showInfo_ ? 2 : 1;
    const int side = IconSide();
    return {std::max(side, textWidth) + 2 * kTilePadding,
            kTilePadding + side + kTilePadding + lines * option.fontMetrics.height() + kTilePadding};
}

void CTileDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                         const QModelIndex&) const {
    const QRect r = option.rect;
    const int line = option.fontMetrics.height() + 6;
    editor->setGeometry(r.left() + 2, r.top() + 2 * kTilePadding + IconSide() - 3, r.width() - 4, line);
}

QSize CTileDelegate::GridSize(const QWidget& view) const {
    QStyleOptionViewItem option;
    option.initFrom(&view);
    return sizeHint(option, {}) + QSize(kTileGap, kTileGap);
}

void CTileDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    painter->save();
    const QRect r = option.rect;
    const bool selected = (option.state & QStyle::State_Selected) != 0;
    const QPalette::ColorGroup group =
        (option.state & QStyle::State_Active) != 0 ? QPalette::Active : QPalette::Inactive;
    if (selected || (option.state & QStyle::State_MouseOver) != 0) {
        QColor fill = option.palette.color(group, QPalette::Highlight);
        fill.setAlpha(selected ? 60 : 25);
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(selected ? option.palette.color(group, QPalette::Highlight) : Qt::transparent);
        painter->setBrush(fill);
        painter->drawRoundedRect(QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
        painter->setRenderHint(QPainter::Antialiasing, false);
    }

    // The picture centred in its square, on whole device-independent pixels.
    const int side = IconSide();
    const QRect square(r.left() + (r.width() - side) / 2, r.top() + kTilePadding, side, side);
    if (const QImage picture = index.data(kTilePictureRole).value<QImage>(); !picture.isNull()) {
        const QSizeF shown = picture.deviceIndependentSize();
        const QPointF at(square.left() + static_cast<int>((side - shown.width()) / 2),
                         square.top() + static_cast<int>((side - shown.height()) / 2));
        if (checkerboard) {
            constexpr int kCell = 4;
            QPixmap cells(2 * kCell, 2 * kCell);
            cells.fill(QColor(0xFF, 0xFF, 0xFF));
            QPainter(&cells).fillRect(0, 0, kCell, kCell, QColor(0xCC, 0xCC, 0xCC));
            QPainter(&cells).fillRect(kCell, kCell, kCell, kCell, QColor(0xCC, 0xCC, 0xCC));
            painter->setBrushOrigin(at);
            painter->fillRect(QRectF(at, shown), QBrush(cells));
        }
        painter->drawImage(at, picture);
    }

    const QFontMetrics& fm = option.fontMetrics;
    const QRect textArea(r.left() + 2, square.bottom() + 1 + kTilePadding, r.width() - 4, fm.height());
    painter->setPen(option.palette.color(group, QPalette::Text));
    painter->drawText(textArea, Qt::AlignHCenter | Qt::AlignTop,
                      fm.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle, textArea.width()));
    if (showInfo_) {
        painter->setPen(option.palette.color(group, QPalette::PlaceholderText));
        painter->drawText(textArea.translated(0, fm.height()), Qt::AlignHCenter | Qt::AlignTop,
                          fm.elidedText(index.data(kTileInfoRole).toString(), Qt::ElideRight, textArea.width()));
    }
    painter->restore();
}

}  // namespace tellurine::app
