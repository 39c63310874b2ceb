#include "app/icon/icon_frame.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QSplitter>
#include <algorithm>

#include "app/common/app_context.h"
#include "app/common/image_convert.h"
#include "formats/icns_file.h"
#include "shell/new_formats.h"
#include "shell/texts.h"

namespace tellurine::app {

// ---- Format list -------------------------------------------------------------------------------

CIconFormatListModel::CIconFormatListModel(CIconProject& project, QObject* parent)
    : QAbstractListModel(parent), project_(project) {
    connect(&project_, &CIconProject::formatsChanged, this, &CIconFormatListModel::Reload);
    connect(&project_, &CIconProject::formatEdited, this, [this](int row) {
        if (row < 0 || static_cast<std::size_t>(row) >= thumbnails_.size()) return;
        thumbnails_[static_cast<std::size_t>(row)] = QPixmap();
        emit dataChanged(index(row), index(row));
    });
}

int CIconFormatListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : project_.Doc().GetFormatCount();
}

QString CIconFormatListModel::FormatText(const CIconDoc& doc, int row) {
    const CIconObject* format = doc.GetFormat(row);
    if (format == nullptr) return {};
    return QString("%1\n%2").arg(QString::fromStdString(FormatSizeText(doc, row)),
                                  QString::fromStdString(shell::BitsText(format->BitCount())));
}

QVariant CIconFormatListModel::data(const QModelIndex& index, int role) const {
    const CIconObject* format = project_.Doc().GetFormat(index.row());
    if (format == nullptr) return {};
    switch (role) {
        case Qt::DisplayRole: return FormatText(project_.Doc(), index.row());
        case Qt::DecorationRole: return Thumbnail(index.row());
        case Qt::ToolTipRole:
            return QString("%1, %2%3").arg(QString::fromStdString(FormatSizeText(project_.Doc(), index.row())),
                                           QString::fromStdString(shell::BitsText(format->BitCount())),
                                           format->Icon().IsCompressed() ? text::kCompressedSuffix : "");
        default: return {};
    }
}

void CIconFormatListModel::SetDevicePixelRatio(qreal ratio) {
    if (ratio == ratio_) return;
    ratio_ = ratio;
    Reload();
}

void CIconFormatListModel::Reload() {
    beginResetModel();
    thumbnails_.assign(static_cast<std::size_t>(project_.Doc().GetFormatCount()), QPixmap());
    endResetModel();
}

QPixmap CIconFormatListModel::Thumbnail(int row) const {
    if (thumbnails_.size() != static_cast<std::size_t>(project_.Doc().GetFormatCount()))
        thumbnails_.assign(static_cast<std::size_t>(project_.Doc().GetFormatCount()), QPixmap());
    QPixmap& cached = thumbnails_[static_cast<std::size_t>(row)];
    if (!cached.isNull()) return cached;

    const int side = static_cast<int>(kThumbnailSize * ratio_ + 0.5);
    QPixmap pixmap = ThumbnailPixmap(ImageFromIcon(project_.Doc().GetFormat(row)->Icon()), side, ratio_);
    QPainter painter(&pixmap);
    if (project_.Doc().GetFormat(row)->Icon().IsCompressed()) {
        // The badge of a PNG-compressed format: a small dark tag in the bottom right corner.
        QFont font = painter.font();
        font.setPixelSize(std::max(7, side / 6));
        font.setBold(true);
        painter.setFont(font);
        const QString badge = QStringLiteral("PNG");
        const QRect textRect = painter.fontMetrics().boundingRect(badge).adjusted(-2, 0, 2, 0);
        const QRect tag(side - textRect.width() - 1, side - textRect.height() - 1, textRect.width(), textRect.height());
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(30, 90, 200));
        painter.drawRoundedRect(tag, 2, 2);
        painter.setPen(Qt::white);
        painter.drawText(tag, Qt::AlignCenter, badge);
    }
    painter.end();
    pixmap.setDevicePixelRatio(ratio_);
    cached = pixmap;
    return cached;
}

CIconFormatListBox::CIconFormatListBox(QWidget* parent) : QListView(parent) {
    setObjectName("CIconFormatListBox");
    setViewMode(QListView::ListMode);
    setIconSize(QSize(CIconFormatListModel::kThumbnailSize, CIconFormatListModel::kThumbnailSize));
    setSpacing(2);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
}

bool CIconFormatListBox::event(QEvent* event) {
    // Thumbnails are drawn for the screen the list is on: again when it moves to another.
    if (event->type() == QEvent::Show || event->type() == QEvent::ScreenChangeInternal)
        if (auto* m = qobject_cast<CIconFormatListModel*>(model())) m->SetDevicePixelRatio(devicePixelRatioF());
    return QListView::event(event);
}

CFormatBar::CFormatBar(CIconProject& project, QWidget* parent) : QWidget(parent) {
    setObjectName("CFormatBar");
    list = new CIconFormatListBox(this);
    model = new CIconFormatListModel(project, this);
    model->SetDevicePixelRatio(devicePixelRatioF());
    list->setModel(model);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(list);
    setMinimumWidth(150);
    connect(list->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) { emit currentFormatChanged(current.isValid() ? current.row() : -1); });
    // After the list is rebuilt the selection stays on the same row, or the last one.
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { list->setProperty("keepRow", CurrentFormat()); });
    connect(model, &QAbstractItemModel::modelReset, this, [this] {
        const int count = model->rowCount();
        const int row = std::min(list->property("keepRow").toInt(), count - 1);
        SetCurrentFormat(count == 0 ? -1 : std::max(row, 0));
        emit currentFormatChanged(CurrentFormat());
    });
}

int CFormatBar::CurrentFormat() const {
    const QModelIndex current = list->currentIndex();
    return current.isValid() ? current.row() : -1;
}

void CFormatBar::SetCurrentFormat(int index) {
    if (index < 0) {
        list->setCurrentIndex({});
        return;
    }
    list->setCurrentIndex(model->index(index));
}

// ---- Preview -----------------------------------------------------------------------------------

CIconPreview::CIconPreview(CIconProject& project, const CanvasContext& context, QWidget* parent)
    : QWidget(parent), project_(project), context_(context) {
    setObjectName("CIconPreview");
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&project_, &CIconProject::formatsChanged, this, &CIconPreview::Refresh);
    connect(&project_, &CIconProject::formatEdited, this, [this](int index) {
        if (index == format_) Refresh();
    });
}

QSize CIconPreview::sizeHint() const { return {150, 150}; }

void CIconPreview::SetFormat(int index) {
    format_ = index;
    Refresh();
}

void CIconPreview::Refresh() {
    const CIconObject* format = project_.Doc().GetFormat(format_);
    picture_ = format != nullptr ? ImageFromIcon(format->Icon()) : QImage();
    update();
}

void CIconPreview::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), QColorOf(context_.previewColor));
    if (!picture_.isNull())
        painter.drawImage(QPoint((width() - picture_.width()) / 2, (height() - picture_.height()) / 2), picture_);
}

// ---- Frame -------------------------------------------------------------------------------------

CIconDocMDI::CIconDocMDI(CIconProject& project, const CanvasContext& context, QWidget* parent)
    : QWidget(parent), project_(project) {
    setObjectName("CIconDocMDI");
    formatBar = new CFormatBar(project, this);
    preview = new CIconPreview(project, context, this);
    view = new CIconView(project, context, this);
    auto* side = new QSplitter(Qt::Vertical, this);
    side->addWidget(formatBar);
    side->addWidget(preview);
    side->setStretchFactor(0, 1);
    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(side);
    splitter->addWidget(view);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);
    connect(formatBar, &CFormatBar::currentFormatChanged, view, &CIconView::SetFormat);
    connect(formatBar, &CFormatBar::currentFormatChanged, preview, &CIconPreview::SetFormat);
    connect(formatBar, &CFormatBar::currentFormatChanged, this, &CIconDocMDI::currentFormatChanged);
    formatBar->SetCurrentFormat(project.Doc().GetFormatCount() > 0 ? 0 : -1);
}

CIconView* ActiveCanvas(const AppContext& app) {
    const CIconDocMDI* frame = app.Active<CIconDocMDI>();
    return frame != nullptr && frame->view->State() != nullptr ? frame->view : nullptr;
}

}  // namespace tellurine::app
