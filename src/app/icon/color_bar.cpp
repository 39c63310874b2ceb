#include "app/icon/color_bar.h"

#include <QMouseEvent>
#include <QPainter>
#include <QLabel>
#include <QSlider>
#include <QSpinBox>
#include <tuple>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "app/icon/icon_view.h"
#include "editor/edit_session.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

constexpr int kCell = 14;
constexpr int kMargin = 6;
constexpr int kSwatch = 36;
constexpr int kCellsLeft = kMargin + kSwatch + 12 + 2 * (kCell + 4) + 12;

// The colours offered while a true-colour format is edited: a painter's basic set.
constexpr COLORREF kTrueColourCells[] = {
    0x000000, 0x808080, 0x000080, 0x008080, 0x008000, 0x808000, 0x800000, 0x800080, 0x408080, 0x404000,
    0xFF8000, 0x804000, 0xFF0040, 0x004080, 0xFFFFFF, 0xC0C0C0, 0x0000FF, 0x00FFFF, 0x00FF00, 0xFFFF00,
    0xFF0000, 0xFF00FF, 0x80FFFF, 0x80FF80, 0xFFFF80, 0xFF8080, 0x8080FF, 0x4080FF};

QImage PatternImage(const DeviceBitmap& pattern) {
    return ImageOfDeviceBitmap(pattern).copy();
}

}  // namespace

CColorBar::CColorBar(editor::ColourSelection& colours, const editor::CanvasResources& resources, UserPrompts& prompts,
                     QWidget* parent)
    : QWidget(parent), colours_(colours), resources_(resources), prompts_(prompts) {
    setObjectName("CColorBar");
    // An opacity: its name, a slider and the number, each following the other.
    const auto opacity = [this](const char* name, const char* help, int& value, QSlider*& slider, QSpinBox*& number,
                                QLabel*& label) {
        label = new QLabel(name, this);
        slider = new QSlider(Qt::Horizontal, this);
        number = new QSpinBox(this);
        slider->setRange(0, 255);
        slider->setFixedWidth(110);
        number->setRange(0, 255);
        label->setBuddy(number);
        for (QWidget* w : std::initializer_list<QWidget*>{label, slider, number}) w->setToolTip(help);
        slider->setValue(value);
        number->setValue(value);
        connect(slider, &QSlider::valueChanged, number, &QSpinBox::setValue);
        connect(number, &QSpinBox::valueChanged, slider, &QSlider::setValue);
        connect(slider, &QSlider::valueChanged, this, [this, &value](int v) {
            value = v;
            emit coloursChanged();
        });
    };
    opacity(text::kForegroundOpacityLabel, text::kForegroundOpacity, colours_.foregroundOpacity, foregroundOpacity,
            foregroundOpacityValue, foregroundOpacityLabel);
    opacity(text::kBackgroundOpacityLabel, text::kBackgroundOpacity, colours_.backgroundOpacity, backgroundOpacity,
            backgroundOpacityValue, backgroundOpacityLabel);
    SetFormat(0, {});
    setMinimumSize(sizeHint());
}

void CColorBar::SetFormat(int bits, const Palette& palette) {
    bits_ = bits;
    palette_ = palette;
    cells_.clear();
    if (bits == 8) {
        for (std::size_t i = 0; i < std::min<std::size_t>(256, palette.size()); ++i)
            cells_.push_back(editor::kPaletteColourBase + static_cast<editor::ColourValue>(i));
    } else if (bits == 1) {
        cells_ = {0x000000, 0xFFFFFF};
    } else if (bits == 4) {
        // A 16-colour format offers its own colours, the only ones it can hold.
        for (std::size_t i = 0; i < std::min<std::size_t>(16, palette.size()); ++i)
            cells_.push_back(editor::SampleColour(editor::kPaletteColourBase + static_cast<editor::ColourValue>(i), palette));
    } else if (bits != 0) {
        cells_.assign(std::begin(kTrueColourCells), std::end(kTrueColourCells));
    }
    // Opacity is for formats with alpha.
    for (QWidget* w : std::initializer_list<QWidget*>{foregroundOpacity, backgroundOpacity, foregroundOpacityValue,
                                                      backgroundOpacityValue, foregroundOpacityLabel, backgroundOpacityLabel})
        w->setEnabled(bits == 32);
    LayOutSliders();
    updateGeometry();
    update();
}

QSize CColorBar::sizeHint() const {
    const int labels = std::max(foregroundOpacityLabel->sizeHint().width(), backgroundOpacityLabel->sizeHint().width());
    return {kCellsLeft + 32 * 9 + 16 + labels + 6 + 110 + 6 + foregroundOpacityValue->sizeHint().width() + kMargin,
            std::max(2 * kMargin + 8 * 9 + 4, 2 * foregroundOpacityValue->sizeHint().height() + kMargin + 8)};
}

QRect CColorBar::ForegroundRect() const { return {kMargin, kMargin, kSwatch, kSwatch}; }
QRect CColorBar::BackgroundRect() const { return {kMargin + 16, kMargin + 16, kSwatch, kSwatch}; }
QRect CColorBar::TransparentRect() const { return {kMargin + kSwatch + 28, kMargin, kCell + 4, kCell + 4}; }
QRect CColorBar::InvertedRect() const { return {kMargin + kSwatch + 28, kMargin + kCell + 10, kCell + 4, kCell + 4}; }

QRect CColorBar::CellRect(std::size_t index) const {
    // 256 palette entries in 8 rows of 32, other sets in 2 rows.
    const int perRow = cells_.size() > 64 ? 32 : static_cast<int>((cells_.size() + 1) / 2);
    const int cell = cells_.size() > 64 ? 8 : kCell;
    const int row = static_cast<int>(index) / std::max(1, perRow), column = static_cast<int>(index) % std::max(1, perRow);
    return {kCellsLeft + column * (cell + 1), kMargin + row * (cell + 1), cell, cell};
}

void CColorBar::LayOutSliders() {
    const int labels = std::max(foregroundOpacityLabel->sizeHint().width(), backgroundOpacityLabel->sizeHint().width());
    const int left = kCellsLeft + 32 * 9 + 16, rowHeight = foregroundOpacityValue->sizeHint().height() + 4;
    int y = kMargin;
    for (const auto& [label, slider, number] : {std::tuple{foregroundOpacityLabel, foregroundOpacity, foregroundOpacityValue},
                                                std::tuple{backgroundOpacityLabel, backgroundOpacity, backgroundOpacityValue}}) {
        const int h = number->sizeHint().height();
        label->setGeometry(left, y, labels, h);
        slider->setGeometry(left + labels + 6, y, 110, h);
        number->setGeometry(left + labels + 6 + 110 + 6, y, number->sizeHint().width(), h);
        y += rowHeight;
    }
}

void CColorBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    LayOutSliders();
}

void CColorBar::DrawSample(QPainter& painter, const QRect& rect, editor::ColourValue value) const {
    switch (editor::KindOf(value)) {
        case editor::ColourKind::Transparent: painter.fillRect(rect, QBrush(PatternImage(resources_.transparentSwatch))); break;
        case editor::ColourKind::Inverted: painter.fillRect(rect, QBrush(PatternImage(resources_.invertedSwatch))); break;
        case editor::ColourKind::Ordinary: painter.fillRect(rect, QColorOf(editor::SampleColour(value, palette_))); break;
    }
    painter.setPen(palette().color(QPalette::Shadow));
    painter.drawRect(rect.adjusted(0, 0, -1, -1));
}

void CColorBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (bits_ == 0) return;
    // The colours as the edited format paints them.
    DrawSample(painter, BackgroundRect(), editor::OnPalette(bits_, palette_, editor::DrawingColour(colours_, bits_, false)));
    DrawSample(painter, ForegroundRect(), editor::OnPalette(bits_, palette_, editor::DrawingColour(colours_, bits_, true)));
    DrawSample(painter, TransparentRect(), editor::kTransparentColour);
    DrawSample(painter, InvertedRect(), editor::kInvertedColour);
    for (std::size_t i = 0; i < cells_.size(); ++i) DrawSample(painter, CellRect(i), cells_[i]);
}

void CColorBar::Pick(bool foreground, editor::ColourValue value) {
    if (editor::PickColour(colours_, bits_, foreground, value)) {
        update();
        emit coloursChanged();
    }
}

void CColorBar::mousePressEvent(QMouseEvent* event) {
    const bool foreground = event->button() == Qt::LeftButton;
    if (!foreground && event->button() != Qt::RightButton) return;
    const QPoint at = event->position().toPoint();
    if (TransparentRect().contains(at)) return Pick(foreground, editor::kTransparentColour);
    if (InvertedRect().contains(at)) return Pick(foreground, editor::kInvertedColour);
    for (std::size_t i = 0; i < cells_.size(); ++i)
        if (CellRect(i).contains(at)) return Pick(foreground, cells_[i]);
}

void CColorBar::mouseDoubleClickEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    // A palette's cell: a new colour for its entry.
    if (bits_ == 4 || bits_ == 8) {
        for (std::size_t i = 0; i < cells_.size() && i < palette_.size(); ++i) {
            if (!CellRect(i).contains(at)) continue;
            const PaletteEntry& e = palette_.entries[i];
            const QColor chosen = prompts_.GetColor(this, QColor(e.red, e.green, e.blue), text::kChooseColour);
            if (chosen.isValid()) emit paletteEntryChosen(static_cast<int>(i), chosen);
            return;
        }
    }
    // Any colour, for the depths that hold any colour; with its opacity where there is alpha.
    const bool foreground = ForegroundRect().contains(at);
    if (bits_ <= 8 || (!foreground && !BackgroundRect().contains(at))) return;
    const COLORREF now = editor::SampleColour(editor::DrawingColour(colours_, bits_, foreground), palette_, 0);
    QColor initial = QColorOf(now);
    QSlider* opacity = foreground ? foregroundOpacity : backgroundOpacity;
    initial.setAlpha(opacity->value());
    const QColor chosen = prompts_.GetColor(this, initial, text::kChooseColour, bits_ == 32);
    if (!chosen.isValid()) return;
    Pick(foreground, ColorRefOf(chosen));
    if (bits_ == 32) opacity->setValue(chosen.alpha());
}

}  // namespace tellurine::app
