#include "app/ani/ani_doc.h"

#include <QAction>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPaintEvent>
#include <QPainter>
#include <QSplitter>
#include <QStringDecoder>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>
#include <new>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_view.h"
#include "shell/animation.h"
#include "shell/texts.h"

namespace tellurine::app {

// ---- Document ----------------------------------------------------------------------------------

CAniDocument::CAniDocument(QObject* parent) : CKvDocument(shell::kTemplateImage, parent) {}

std::vector<std::uint32_t> CAniDocument::Rates() const {
    std::vector<std::uint32_t> rates;
    rates.reserve(steps.size());
    for (const CAniObject& step : steps) rates.push_back(step.rate);
    return rates;
}

QString CAniDocument::StepText(int step) const {
    if (step < 0 || static_cast<std::size_t>(step) >= steps.size()) return {};
    return QString::fromStdString(shell::AniStepText(steps[static_cast<std::size_t>(step)], step + 1));
}

QImage CAniDocument::StepPicture(int step) const {
    if (step < 0 || static_cast<std::size_t>(step) >= steps.size()) return {};
    return ImageFromDib32(steps[static_cast<std::size_t>(step)].image.GetBlock());
}

QString CAniDocument::InfoText() const {
    QStringList lines;
    if (!info.title.empty()) lines << QString(text::kAniTitle).arg(QString::fromStdString(info.title));
    if (!info.author.empty()) lines << QString(text::kAniAuthor).arg(QString::fromStdString(info.author));
    return lines.join('\n');
}

// ---- Step list ---------------------------------------------------------------------------------

CAniStepListModel::CAniStepListModel(const CAniDocument& document, QObject* parent)
    : QAbstractListModel(parent), document_(document), thumbnails_(document.steps.size()) {}

int CAniStepListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(document_.steps.size());
}

QVariant CAniStepListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    switch (role) {
        case Qt::DisplayRole: return document_.StepText(index.row());
        case Qt::DecorationRole: return Thumbnail(index.row());
        default: return {};
    }
}

QPixmap CAniStepListModel::Thumbnail(int row) const {
    QPixmap& cached = thumbnails_[static_cast<std::size_t>(row)];
    if (!cached.isNull()) return cached;
    cached = ThumbnailPixmap(document_.StepPicture(row), kThumbnailSize);
    return cached;
}

// ---- Player view -------------------------------------------------------------------------------

namespace {

// The canvas's backdrop tile as an image, to tile a brush with.
QImage BackdropTile(const editor::CanvasResources& resources) {
    return ImageOfDeviceBitmap(resources.backdrop).copy();
}

}  // namespace

CAniPlayerView::CAniPlayerView(const editor::CanvasResources& resources, QWidget* parent)
    : QWidget(parent), resources_(resources) {
    setObjectName("CAniPlayerView");
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

QSize CAniPlayerView::sizeHint() const { return {360, 360}; }

void CAniPlayerView::SetPicture(const QImage& picture, QPoint hotspot) {
    picture_ = picture;
    hotspot_ = hotspot;
    update();
}

int CAniPlayerView::Zoom() const {
    return picture_.isNull() ? 1 : editor::PlayerZoom(picture_.width(), picture_.height(), width(), height());
}

QRect CAniPlayerView::PictureRect() const {
    if (picture_.isNull()) return {};
    const QSize size = picture_.size() * Zoom();
    return {(width() - size.width()) / 2, (height() - size.height()) / 2, size.width(), size.height()};
}

void CAniPlayerView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), palette().color(QPalette::Mid));
    if (picture_.isNull()) return;
    const QRect target = PictureRect();
    // The backdrop's blocks are fixed to the picture, as on the canvas.
    QBrush backdrop(BackdropTile(resources_));
    backdrop.setTransform(QTransform::fromTranslate(target.left(), target.top()));
    painter.fillRect(target, backdrop);
    painter.drawImage(target, picture_);

    if (!QRect(QPoint(0, 0), picture_.size()).contains(hotspot_)) return;
    // The hotspot: its pixel framed, with short lines out from each side.
    const int zoom = Zoom();
    const QRect pixel(target.left() + hotspot_.x() * zoom, target.top() + hotspot_.y() * zoom, zoom, zoom);
    const QPoint c = pixel.center();
    const int reach = std::max(6, zoom * 2);
    for (const auto& [colour, width] : {std::pair{QColor(Qt::white), 3}, std::pair{QColor(220, 0, 0), 1}}) {
        painter.setPen(QPen(colour, width));
        painter.drawRect(pixel.adjusted(-1, -1, 0, 0));
        painter.drawLine(pixel.left() - reach, c.y(), pixel.left() - 2, c.y());
        painter.drawLine(pixel.right() + 2, c.y(), pixel.right() + reach, c.y());
        painter.drawLine(c.x(), pixel.top() - reach, c.x(), pixel.top() - 2);
        painter.drawLine(c.x(), pixel.bottom() + 2, c.x(), pixel.bottom() + reach);
    }
}

// ---- Frame -------------------------------------------------------------------------------------

CImageDocMDI::CImageDocMDI(AppContext& app, CAniDocument& document, QWidget* parent)
    : QWidget(parent), player(document.Rates()), app_(app), document_(document) {
    setObjectName("CImageDocMDI");
    auto steady = std::make_shared<QElapsedTimer>();
    steady->start();
    clock = [steady] { return steady->elapsed(); };

    // The window's commands, from the registry, each acting on this window.
    CommandRegistry& commands = app.Commands();
    actPlay = commands.WindowAction("ani.play", this);
    actPreviousStep = commands.WindowAction("ani.previous", this);
    actNextStep = commands.WindowAction("ani.next", this);
    actNewIcon = commands.WindowAction("ani.newIcon", this);

    stepList = new QListView(this);
    stepList->setObjectName("CAniStepList");
    model = new CAniStepListModel(document_, stepList);
    stepList->setModel(model);
    stepList->setIconSize(QSize(CAniStepListModel::kThumbnailSize, CAniStepListModel::kThumbnailSize));
    stepList->setUniformItemSizes(true);
    stepList->setSpacing(1);
    stepList->setSelectionMode(QAbstractItemView::SingleSelection);
    stepList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    stepList->setMinimumWidth(250);
    connect(stepList->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& current) {
        if (!current.isValid() || current.row() == player.Step()) return;
        player.GoToStep(current.row());
        ShowStep();
    });

    playerView = new CAniPlayerView(app.Workbench().canvas.resources, this);
    infoLabel = new QLabel(document_.InfoText(), this);
    infoLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    infoLabel->setVisible(!infoLabel->text().isEmpty());
    stepLabel = new QLabel(this);

    // The commands of the frame, also on the list's and the player's context menus.
    for (QWidget* w : {static_cast<QWidget*>(stepList), static_cast<QWidget*>(playerView)}) {
        w->setContextMenuPolicy(Qt::ActionsContextMenu);
        w->addAction(actNewIcon);
        auto* separator = new QAction(w);
        separator->setSeparator(true);
        w->addAction(separator);
        w->addActions({actPlay, actPreviousStep, actNextStep});
    }

    const auto button = [this](QAction* action, bool withText) {
        auto* b = new QToolButton(this);
        b->setDefaultAction(action);
        b->setToolButtonStyle(withText ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonIconOnly);
        return b;
    };
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(button(actPreviousStep, false));
    buttons->addWidget(button(actPlay, true));
    buttons->addWidget(button(actNextStep, false));
    buttons->addSpacing(8);
    buttons->addWidget(stepLabel);
    buttons->addStretch();
    buttons->addWidget(button(actNewIcon, true));

    auto* right = new QWidget(this);
    auto* column = new QVBoxLayout(right);
    column->setContentsMargins(4, 0, 0, 0);
    column->addWidget(infoLabel);
    column->addWidget(playerView, 1);
    column->addLayout(buttons);

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(stepList);
    splitter->addWidget(right);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);

    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &CImageDocMDI::OnTimer);

    ShowStep();
    // An animation starts playing as soon as it is shown.
    if (player.StepCount() > 1) OnPlay();
}

void CImageDocMDI::updateActions() {
    // This window's buttons show its own player.
    actPlay->setEnabled(CanPlay());
    actPlay->setText(player.Playing() ? text::kAniPause : text::kAniPlay);
    actPlay->setIcon(style()->standardIcon(player.Playing() ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
    actPreviousStep->setEnabled(CanPlay());
    actNextStep->setEnabled(CanPlay());
    actNewIcon->setEnabled(HasStep());
    stepLabel->setText(player.Step() >= 0 ? QString(text::kAniStepOf).arg(player.Step() + 1).arg(player.StepCount())
                                          : QString());
}

void CImageDocMDI::ShowStep() {
    const int step = player.Step();
    if (step >= 0) {
        const CAniObject& s = document_.steps[static_cast<std::size_t>(step)];
        playerView->SetPicture(document_.StepPicture(step),
                               QPoint(static_cast<int>(std::min<std::uint32_t>(s.hotspotX, 0xFFFF)),
                                      static_cast<int>(std::min<std::uint32_t>(s.hotspotY, 0xFFFF))));
        // The list follows the player; its own change of row then finds the player there already.
        if (stepList->currentIndex().row() != step) stepList->setCurrentIndex(model->index(step));
    } else {
        playerView->SetPicture({}, {});
    }
    updateActions();
}

void CImageDocMDI::Schedule() {
    const qint64 wait = player.MillisecondsToNextStep(clock());
    if (wait < 0) timer.stop();
    else timer.start(static_cast<int>(std::min<qint64>(wait, 1 << 30)));
}

void CImageDocMDI::OnPlay() {
    player.TogglePlay(clock());
    Schedule();
    ShowStep();
}

void CImageDocMDI::OnTimer() {
    if (player.Update(clock())) ShowStep();
    Schedule();
}

void CImageDocMDI::OnPreviousStep() {
    player.StepBack();
    Schedule();
    ShowStep();
}

void CImageDocMDI::OnNextStep() {
    player.StepForward();
    Schedule();
    ShowStep();
}

void CImageDocMDI::OnNewIconFromStep() {
    const int step = player.Step();
    if (step < 0) return;
    CIconDoc doc;
    if (!shell::MakeProjectFromStep(document_.steps[static_cast<std::size_t>(step)], doc)) {
        app_.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
        return;
    }
    const QString name = QFileInfo(document_.PathName()).completeBaseName();
    OpenNewProject(app_, std::move(doc), QString(text::kAniStepProject).arg(name).arg(step + 1));
}

// ---- Commands ----------------------------------------------------------------------------------

void RegisterAnimationCommands(AppContext& app) {
    using F = CImageDocMDI;
    AddFrameCommand<F>(app, {.id = "ani.play", .text = text::kAniPlay, .icon = QStyle::SP_MediaPlay},
                       &F::OnPlay, &F::CanPlay);
    AddFrameCommand<F>(
        app, {.id = "ani.previous", .text = text::kAniPreviousStep, .icon = QStyle::SP_MediaSeekBackward},
        &F::OnPreviousStep, &F::CanPlay);
    AddFrameCommand<F>(app,
                       {.id = "ani.next", .text = text::kAniNextStep, .icon = QStyle::SP_MediaSeekForward},
                       &F::OnNextStep, &F::CanPlay);
    AddFrameCommand<F>(app, {.id = "ani.newIcon", .text = text::kAniNewIconFromStep}, &F::OnNewIconFromStep,
                       &F::HasStep);
}

// ---- Opening -----------------------------------------------------------------------------------

CKvDocument* OpenAnimatedCursor(AppContext& app, const QString& path, int) {
    // Read on a worker: a cursor of many large steps takes many frames.
    struct Read {
        std::vector<CAniObject> steps;
        AniFileInfo info;
    };
    auto read = std::make_shared<Read>();
    if (!ReadOnWorker(app, path, text::kIconReadError, [read, file = path.toStdString()](std::string& reason) {
            switch (LoadAniFile(file, read->steps, reason, &read->info)) {
                case AniReadStatus::Ok: return ReadResult::Read;
                case AniReadStatus::OutOfMemory: return ReadResult::OutOfMemory;
                case AniReadStatus::NotReadable: break;
            }
            return ReadResult::NotReadable;
        }))
        return nullptr;
    auto document = std::make_unique<CAniDocument>();
    document->steps = std::move(read->steps);
    document->info = std::move(read->info);
    document->SetPathName(path);
    CAniDocument* result = document.get();
    app.AddDocumentWindow(document.release(), new CImageDocMDI(app, *result));
    return result;
}

}  // namespace tellurine::app
