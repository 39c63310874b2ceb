#include "app/icon/gradient_dialog.h"

#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "formats/gradient_file.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

constexpr int kMargin = 8;  // the bar's ends lie this far inside the widget
constexpr int kBarHeight = 32;
constexpr int kHeight = 48;  // the bar and the markers' row under it
constexpr int kWidth = 400;
constexpr int kMarkerReach = 5;  // a click this close to a marker hits it

QColor ToQColor(const GradientColour& c) {
    const auto channel = [](double v) {
        return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
    };
    return QColor(channel(c.red), channel(c.green), channel(c.blue), channel(c.alpha));
}

}  // namespace

GradientBar::GradientBar(Gradient& gradient, GradientColour foreground, GradientColour background,
                         QWidget* parent)
    : QWidget(parent), gradient_(gradient), foreground_(foreground), background_(background) {
    setObjectName("gradientBar");
    setFixedSize(kWidth, kHeight);
    setFocusPolicy(Qt::StrongFocus);
}

int GradientBar::XOf(double position) const {
    return kMargin + static_cast<int>(std::lround(position * (width() - 2 * kMargin - 1)));
}

double GradientBar::PositionAt(int x) const {
    return std::clamp(static_cast<double>(x - kMargin) / (width() - 2 * kMargin - 1), 0.0, 1.0);
}

QColor GradientBar::ColourAt(double position) const {
    return ToQColor(gradient_.ColourAt(position, foreground_, background_));
}

int GradientBar::StopAt(int x) const {
    const std::vector<GradientStop> stops = gradient_.Stops();
    int best = -1, distance = kMarkerReach + 1;
    for (std::size_t i = 0; i < stops.size(); ++i) {
        const int d = std::abs(XOf(stops[i].position) - x);
        if (d < distance) best = static_cast<int>(i), distance = d;
    }
    return best;
}

void GradientBar::Select(int index) {
    selected_ = std::clamp(index, -1, static_cast<int>(gradient_.Segments().size()));
    update();
    emit changed();
}

void GradientBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QRect bar(kMargin, 0, width() - 2 * kMargin, kBarHeight);
    PaintCheckerboard(p, bar);
    for (int x = bar.left(); x <= bar.right(); ++x)
        p.fillRect(x, bar.top(), 1, bar.height(), ColourAt(PositionAt(x)));
    p.setPen(palette().color(QPalette::WindowText));
    p.drawRect(bar.adjusted(0, 0, -1, -1));
    p.setRenderHint(QPainter::Antialiasing);
    const std::vector<GradientStop> stops = gradient_.Stops();
    for (std::size_t i = 0; i < stops.size(); ++i) {
        const int x = XOf(stops[i].position);
        QPainterPath marker;
        marker.moveTo(x, kBarHeight + 1);
        marker.lineTo(x + kMarkerReach, kHeight - 2);
        marker.lineTo(x - kMarkerReach, kHeight - 2);
        marker.closeSubpath();
        const bool selected = static_cast<int>(i) == selected_;
        p.setPen(QPen(selected ? palette().color(QPalette::Highlight) : palette().color(QPalette::WindowText),
                      selected ? 2 : 1));
        QColor fill = ColourAt(stops[i].position);
        fill.setAlpha(255);
        p.setBrush(fill);
        p.drawPath(marker);
    }
}

void GradientBar::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const int x = event->position().toPoint().x();
    int stop = StopAt(x);
    // The bar's empty space adds a stop there; the markers' row only selects.
    if (stop < 0 && event->position().y() < kBarHeight)
        stop = gradient_.AddStop(PositionAt(x), foreground_, background_);
    if (stop < 0) return;
    dragging_ = stop > 0 && stop < static_cast<int>(gradient_.Segments().size());
    Select(stop);
}

void GradientBar::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_ || !gradient_.MoveStop(selected_, PositionAt(event->position().toPoint().x()))) return;
    update();
    emit changed();
}

void GradientBar::mouseReleaseEvent(QMouseEvent*) {
    dragging_ = false;
}

void GradientBar::mouseDoubleClickEvent(QMouseEvent* event) {
    const int stop = StopAt(event->position().toPoint().x());
    if (stop >= 0) emit stopActivated(stop);
}

void GradientBar::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Delete || !gradient_.RemoveStop(selected_))
        return QWidget::keyPressEvent(event);
    Select(selected_ - 1);
}

CDialGradient::CDialGradient(const Gradient& gradient, GradientColour foreground, GradientColour background,
                             UserPrompts& prompts, QWidget* parent)
    : QDialog(parent), gradient_(gradient), prompts_(prompts) {
    setWindowTitle(text::kGradientTitle);
    setObjectName("CDialGradient");
    bar = new GradientBar(gradient_, foreground, background, this);
    connect(bar, &GradientBar::changed, this, &CDialGradient::Changed);
    connect(bar, &GradientBar::stopActivated, this, &CDialGradient::editStop);
    auto* note = new QLabel(text::kGradientNote, this);
    note->setWordWrap(true);
    auto* buttons = OkCancelButtons(this);
    removeButton = buttons->addButton(text::kGradientRemoveStop, QDialogButtonBox::ActionRole);
    connect(removeButton, &QPushButton::clicked, this, &CDialGradient::removeStop);
    connect(buttons->addButton(text::kGradientLoad, QDialogButtonBox::ActionRole), &QPushButton::clicked,
            this, &CDialGradient::load);
    connect(buttons->addButton(text::kGradientSave, QDialogButtonBox::ActionRole), &QPushButton::clicked,
            this, &CDialGradient::save);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(bar, 0, Qt::AlignHCenter);
    layout->addWidget(note);
    layout->addWidget(buttons);
    Changed();
}

void CDialGradient::Changed() {
    // Only inner stops can go: the ends hold the gradient's span.
    removeButton->setEnabled(bar->Selected() > 0 &&
                             bar->Selected() < static_cast<int>(gradient_.Segments().size()));
}

void CDialGradient::editStop(int index) {
    const std::vector<GradientStop> stops = gradient_.Stops();
    if (index < 0 || static_cast<std::size_t>(index) >= stops.size()) return;
    const QColor chosen = prompts_.GetColor(this, ToQColor(stops[static_cast<std::size_t>(index)].colour),
                                            text::kGradientTitle);
    if (!chosen.isValid()) return;
    gradient_.SetStopColour(index, {chosen.redF(), chosen.greenF(), chosen.blueF(), chosen.alphaF()});
    bar->Select(index);
}

void CDialGradient::removeStop() {
    if (gradient_.RemoveStop(bar->Selected())) bar->Select(bar->Selected() - 1);
}

void CDialGradient::load() {
    const QStringList names = prompts_.GetOpenFileNames(this, {}, text::kGradientFilter);
    if (names.isEmpty()) return;
    std::vector<std::uint8_t> bytes;
    std::string error;
    Gradient read;
    if (!ReadFileBytes(names.front().toStdString(), bytes, kMaxGradientFileBytes, error) ||
        !ReadGradientFile(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), read,
                          error)) {
        prompts_.ShowMessage(this, QMessageBox::Warning, text::kAppTitle,
                             QString(text::kGradientReadError).arg(names.front()),
                             QString::fromStdString(error));
        return;
    }
    gradient_ = read;
    bar->Select(0);
}

void CDialGradient::save() {
    const QString name = prompts_.GetSaveFileName(this, {}, text::kGradientFilter, nullptr);
    if (name.isEmpty()) return;
    const std::string text = WriteGradientFile(gradient_);
    std::string error;
    if (!WriteFileAtomically(name.toStdString(),
                             {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, error,
                             Durability::Flush))
        prompts_.ShowMessage(this, QMessageBox::Warning, text::kAppTitle,
                             QString(text::kGradientWriteError).arg(name), QString::fromStdString(error));
}

}  // namespace tellurine::app
