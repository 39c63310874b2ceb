#include "app/icon/icon_view.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QFutureWatcher>
#include <QScrollBar>
#include <QtConcurrent/QtConcurrentRun>
#include <QWheelEvent>
#include <algorithm>

#include "app/common/image_convert.h"
#include "app/icon/tool_pictures.h"
#include "shell/new_formats.h"
#include "shell/texts.h"

namespace tellurine::app {

std::function<void()> CIconView::firstPaintHook;

CIconView::CIconView(CIconProject& project, const CanvasContext& context, QWidget* parent)
    : QAbstractScrollArea(parent), project_(project), context_(context) {
    setObjectName("CIconView");
    setMinimumSize(200, 200);
    viewport()->setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    gridShown_ = context_.showGrid;
    project_.Session().preserveTransparency = context_.transparentCopy;
    autoZoom_ = context_.autoZoom;
    connect(&project_, &CIconProject::formatsChanged, this, &CIconView::Reload);
    connect(&project_, &CIconProject::formatEdited, this, [this](int index) {
        if (index != format_) return;
        LoadBitmaps();
        viewport()->update();
        emit canvasTitleChanged();
    });
}

editor::CanvasViewport CIconView::Viewport() const {
    const CIconObject* format = project_.Doc().GetFormat(format_);
    return {format != nullptr ? format->Width() : 0, format != nullptr ? format->Height() : 0, scale_,
            viewport()->width(), viewport()->height(), horizontalScrollBar()->value(), verticalScrollBar()->value()};
}

editor::CanvasPlacement CIconView::Placement() const { return Viewport().Placement(); }

editor::PixelHit CIconView::PixelAt(const QPoint& p) const { return Viewport().PixelAt(p.x(), p.y()); }

QString CIconView::CanvasTitle() const {
    const CIconObject* format = project_.Doc().GetFormat(format_);
    if (format == nullptr) return {};
    return QString::asprintf(text::kCanvasTitle, format->Width(), format->Height(),
                             shell::ColourCountText(format->BitCount(), format->HasAlpha()).c_str(), scale_.Percent());
}

void CIconView::LoadBitmaps() { state_ = project_.EditState(format_); }

int CIconView::MaxZoom() const {
    const CIconObject* format = project_.Doc().GetFormat(format_);
    return format == nullptr ? editor::kMaxZoom : editor::MaxZoomFor(format->Width(), format->Height());
}

void CIconView::SetFormat(int index) {
    if (format_ >= 0 && static_cast<std::size_t>(format_) < records_.size()) records_[static_cast<std::size_t>(format_)] = scale_;
    records_.resize(static_cast<std::size_t>(std::max(0, project_.Doc().GetFormatCount())));
    format_ = project_.Doc().GetFormat(index) != nullptr ? index : -1;
    LoadBitmaps();
    if (format_ >= 0) {
        const CIconObject* format = project_.Doc().GetFormat(format_);
        // Auto zoom fits each format to the window; otherwise each keeps the zoom it last had.
        scale_ = autoZoom_ ? editor::FitScale(format->Width(), format->Height(), viewport()->width(), viewport()->height())
                           : records_[static_cast<std::size_t>(format_)];
        scale_.zoom = std::min(scale_.zoom, MaxZoom());
    }
    UpdateScrollArea();
    viewport()->update();
    emit canvasTitleChanged();
}

void CIconView::Reload() { SetFormat(format_ >= project_.Doc().GetFormatCount() ? project_.Doc().GetFormatCount() - 1 : format_); }

void CIconView::SetScale(editor::ViewScale scale, bool autoZoom) {
    autoZoom_ = autoZoom;
    scale_ = scale;
    scale_.zoom = std::clamp(scale.zoom, editor::kMinZoom, MaxZoom());
    UpdateScrollArea();
    viewport()->update();
    emit canvasTitleChanged();
}

void CIconView::ZoomIn() { SetScale(editor::ZoomIn(scale_), false); }
void CIconView::ZoomOut() { SetScale(editor::ZoomOut(scale_), false); }

void CIconView::FitToWindow() {
    const CIconObject* format = project_.Doc().GetFormat(format_);
    if (format == nullptr) return;
    SetScale(editor::FitScale(format->Width(), format->Height(), viewport()->width(), viewport()->height()), true);
}

void CIconView::ToggleGrid() {
    gridShown_ = !gridShown_;
    viewport()->update();
}

void CIconView::UpdateScrollArea() {
    const editor::CanvasViewport view = Viewport();
    horizontalScrollBar()->setRange(0, std::max(0, view.ContentWidth() - viewport()->width()));
    verticalScrollBar()->setRange(0, std::max(0, view.ContentHeight() - viewport()->height()));
    horizontalScrollBar()->setPageStep(viewport()->width());
    verticalScrollBar()->setPageStep(viewport()->height());
    horizontalScrollBar()->setSingleStep(scale_.zoom);
    verticalScrollBar()->setSingleStep(scale_.zoom);
}

void CIconView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    const QRect update = event->rect();
    painter.fillRect(update, palette().color(QPalette::Mid));
    if (format_ >= 0 && state_ != nullptr && !state_->color.IsNull()) {
        // Below 100 % the canvas is painted at 100 % and drawn shrunk: `k` view pixels a screen pixel.
        const int k = scale_.shrink;
        const int sx = horizontalScrollBar()->value() * k, sy = verticalScrollBar()->value() * k;
        editor::FloatingSelection floating;
        if (state_->floatingColor && state_->floatingMask)
            floating = {&*state_->floatingColor, &*state_->floatingMask, state_->floatingX, state_->floatingY,
                        state_->preserveTransparency, state_->floatingBehind};
        const editor::CanvasImage image{&state_->color, &state_->mask, state_->alpha, state_->selection,
                                        state_->selectionActive, floating.color != nullptr ? &floating : nullptr};
        // No grid below 100 %: it would hide the picture.
        const editor::CanvasView view{scale_.zoom, gridShown_ && k == 1};
        const editor::CanvasRect rect =
            Viewport().CanvasRectOf({update.left(), update.top(), update.right() + 1, update.bottom() + 1});
        editor::PaintedArea painted;
        if (renderer_.Paint(image, context_.resources, view, Placement(), rect, painted) && !painted.source.IsEmpty()) {
            const QImage shown = ImageOfDeviceBitmap(renderer_.Work());
            if (k > 1) {
                painter.scale(1.0 / k, 1.0 / k);
                painter.setRenderHint(QPainter::SmoothPixmapTransform);
            }
            painter.drawImage(QPoint(painted.destX - sx, painted.destY - sy), shown,
                              QRect(painted.source.left, painted.source.top, painted.source.Width(),
                                    painted.source.Height()));
        }
    }
    painter.end();
    if (firstPaintHook) {
        auto hook = std::move(firstPaintHook);
        firstPaintHook = nullptr;
        hook();
    }
}

void CIconView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    if (autoZoom_ && format_ >= 0) FitToWindow();
    else UpdateScrollArea();
}

void CIconView::scrollContentsBy(int, int) { viewport()->update(); }

void CIconView::UpdatePixels(const editor::CanvasRect& r) {
    if (r.IsEmpty()) return;
    const editor::CanvasRect w = Viewport().WindowRectOf(r);
    viewport()->update(QRect(w.left, w.top, w.Width(), w.Height()));
}

void CIconView::ToolResult(const editor::ToolResult& result) {
    UpdatePixels(result.changed);
    if (result.coloursChanged) emit coloursPicked();
}

void CIconView::mousePressEvent(QMouseEvent* event) {
    const bool right = event->button() == Qt::RightButton;
    editor::EditSession& session = project_.Session();
    if (context_.tool == nullptr || context_.colours == nullptr || session.Stroking() ||
        (!right && event->button() != Qt::LeftButton))
        return QAbstractScrollArea::mousePressEvent(event);
    const editor::PixelHit hit = PixelAt(event->position().toPoint());
    // A handle may lie just outside the image.
    const int handle = HandleAt(event->position().toPoint());
    if ((!hit.inside && handle == 0) || state_ == nullptr) return;
    context_.tool->settings.resizeEdges = handle;
    stroking_ = true;
    const bool copy = (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0;
    ToolResult(session.Press(format_, *context_.tool, *context_.colours, hit.x, hit.y, right, copy));
}

int CIconView::HandleAt(const QPoint& p) const {
    if (context_.tool == nullptr || context_.tool->Kind() != editor::ToolKind::Select || state_ == nullptr ||
        !state_->selectionActive || state_->floatingColor)
        return 0;
    return Viewport().HandleAt(state_->selection, p.x(), p.y());
}

void CIconView::mouseDoubleClickEvent(QMouseEvent* event) { mousePressEvent(event); }

void CIconView::mouseMoveEvent(QMouseEvent* event) {
    const editor::PixelHit hit = PixelAt(event->position().toPoint());
    emit pointerMoved(hit.x, hit.y, hit.inside);
    // The tool's pointer over the image.
    Qt::CursorShape shape = Qt::ArrowCursor;
    const int handle = stroking_ ? 0 : HandleAt(event->position().toPoint());
    if (handle != 0) {
        using namespace editor;
        const bool diagonal = handle == (kEdgeLeft | kEdgeTop) || handle == (kEdgeRight | kEdgeBottom);
        const bool across = handle == kEdgeLeft || handle == kEdgeRight;
        shape = (handle & (kEdgeLeft | kEdgeRight)) != 0 && (handle & (kEdgeTop | kEdgeBottom)) != 0
                    ? (diagonal ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor)
                    : across ? Qt::SizeHorCursor : Qt::SizeVerCursor;
    }
    // Each tool its own pointer over the image; made again only when it changes.
    int key = shape;
    editor::ToolCursor toolCursor = editor::ToolCursor::Arrow;
    if (handle == 0 && context_.tool != nullptr && state_ != nullptr && hit.inside) {
        toolCursor = context_.tool->QueryCursor(*state_, hit.x, hit.y);
        key = 1000 + static_cast<int>(context_.tool->Kind()) * 10 + static_cast<int>(toolCursor);
    }
    if (key != pointerKey_) {
        pointerKey_ = key;
        viewport()->setCursor(key >= 1000 ? ToolPointer(context_.tool->Kind(), toolCursor) : QCursor(shape));
    }
    if (stroking_) {
        const editor::PixelHit pixel = Viewport().RawPixel(event->position().toPoint().x(), event->position().toPoint().y());
        ToolResult(project_.Session().Move(pixel.x, pixel.y));
    }
    QAbstractScrollArea::mouseMoveEvent(event);
}

void CIconView::mouseReleaseEvent(QMouseEvent* event) {
    if (!stroking_) return QAbstractScrollArea::mouseReleaseEvent(event);
    stroking_ = false;
    const editor::PixelHit pixel = Viewport().RawPixel(event->position().toPoint().x(), event->position().toPoint().y());
    ToolResult(project_.Session().Release(pixel.x, pixel.y));
    EmitSelection();
}

void CIconView::EditFormat(const std::function<void(editor::FormatState&)>& change) {
    if (state_ == nullptr) return;
    project_.Session().Edit(format_, change);
    RefreshCanvas();
}

void CIconView::ShowPreview(const std::function<bool(editor::FormatState&)>& command) {
    if (state_ == nullptr) return;
    std::optional<editor::FormatState> source = project_.Session().PreviewSource(format_);
    if (!source) return;
    // Worked out on a worker; only the newest asked for is shown, and none after EndPreview.
    const int generation = ++previewGeneration_;
    auto* watcher = new QFutureWatcher<editor::FormatState>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation, format = format_] {
        watcher->deleteLater();
        if (generation != previewGeneration_ || format != format_) return;
        project_.Session().ShowPreviewResult(format, watcher->result());
        viewport()->update();
        emit previewShown();
    });
    watcher->setFuture(QtConcurrent::run([source = std::move(*source), command]() mutable {
        return editor::EditSession::ComputePreview(std::move(source), command);
    }));
}

void CIconView::EndPreview() {
    ++previewGeneration_;
    project_.Session().EndPreview();
    viewport()->update();
}

void CIconView::RefreshCanvas() {
    viewport()->update();
    EmitSelection();
}

void CIconView::EmitSelection() {
    if (state_ == nullptr || !state_->selectionActive || state_->selection.IsEmpty()) {
        emit selectionChanged(0, 0);
        return;
    }
    const editor::PixelSelection s = state_->selection.Normalized();
    emit selectionChanged(s.right - s.left + 1, s.bottom - s.top + 1);
}

void CIconView::keyPressEvent(QKeyEvent* event) {
    // The arrow keys move the selection by a pixel, by ten with Shift; with Ctrl or Alt a copy.
    const int step = (event->modifiers() & Qt::ShiftModifier) ? 10 : 1;
    int dx = 0, dy = 0;
    switch (event->key()) {
        case Qt::Key_Left: dx = -step; break;
        case Qt::Key_Right: dx = step; break;
        case Qt::Key_Up: dy = -step; break;
        case Qt::Key_Down: dy = step; break;
        default: break;
    }
    if ((dx != 0 || dy != 0) && state_ != nullptr && state_->selectionActive && !state_->selection.IsEmpty()) {
        const bool copy = (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0;
        return EditFormat([&](editor::FormatState& s) { editor::MoveSelection(s, dx, dy, copy); });
    }
    // End puts the floating selection behind the image, Home in front of it.
    if ((event->key() == Qt::Key_End || event->key() == Qt::Key_Home) && state_ != nullptr && state_->floatingColor) {
        const bool behind = event->key() == Qt::Key_End;
        return EditFormat([behind](editor::FormatState& s) { s.floatingBehind = behind; });
    }
    switch (event->key()) {
        case Qt::Key_Escape:
            // Esc drops the shape or selection being dragged.
            if (stroking_) {
                stroking_ = false;
                ToolResult(project_.Session().CancelStroke());
                EmitSelection();
                return;
            }
            break;
        case Qt::Key_Backspace: emit undoRequested(); return;
        case Qt::Key_Return:
        case Qt::Key_Enter: emit propertiesRequested(); return;
        default: break;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void CIconView::wheelEvent(QWheelEvent* event) {
    if (!(event->modifiers() & Qt::ControlModifier) || format_ < 0) return QAbstractScrollArea::wheelEvent(event);
    event->accept();
    // A step for each notch; a touchpad's small turns add up to one.
    wheelDelta_ += event->angleDelta().y();
    if (std::abs(wheelDelta_) < 120) return;
    const bool in = wheelDelta_ > 0;
    wheelDelta_ = 0;
    // The image point under the pointer stays under it.
    const QPointF p = event->position();
    const std::pair<double, double> under = Viewport().ImagePoint(p.x(), p.y());
    if (in) ZoomIn();
    else ZoomOut();
    // Scroll bars that come or go change the window, and so where the image lies.
    QCoreApplication::sendPostedEvents(this, QEvent::LayoutRequest);
    const auto [x, y] = Viewport().ScrollKeeping(under, p.x(), p.y());
    horizontalScrollBar()->setValue(x);
    verticalScrollBar()->setValue(y);
}

}  // namespace tellurine::app
