#include "app/common/color_dialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "shell/preferences.h"
#include "shell/profile.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

constexpr int kSquare = 200;  // the square's side and the strip's height, in pixels
constexpr int kStrip = 20;
constexpr int kGap = 10;
constexpr int kCell = 18;
constexpr std::size_t kRowCells = 12;  // swatches past these take another row

// A whole number of a range from a position along `length` pixels.
int Along(int position, int length, int range) {
    return static_cast<int>(std::lround(std::clamp(position, 0, length - 1) * range / double(length - 1)));
}

int Position(int v, int length, int range) { return static_cast<int>(std::lround(v * (length - 1) / double(range))); }

// The old colour on the left half, the new one on the right.
class ColourPreview : public QWidget {
public:
    ColourPreview(const QColor& old, const QColor& now, QWidget* parent) : QWidget(parent), old_(old), now_(now) {
        setMinimumSize(120, 40);
        setToolTip(text::kColourPreviewHelp);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QRect all = rect().adjusted(0, 0, -1, -1);
        PaintCheckerboard(painter, all, 6);
        painter.fillRect(QRect(all.left(), all.top(), all.width() / 2, all.height()), old_);
        painter.fillRect(QRect(all.left() + all.width() / 2, all.top(), all.width() - all.width() / 2, all.height()), now_);
        painter.setPen(palette().color(QPalette::Shadow));
        painter.drawRect(all);
    }

private:
    const QColor& old_;
    const QColor& now_;
};

// While the dialog picks, a swatch over its Pick button showing the colour under the pointer. As a
// popup it receives every mouse and key event of the program wherever the pointer is, over any
// of its windows, also where the system lets no window grab the pointer.
class PickerSwatch : public QWidget {
public:
    PickerSwatch(const QColor& colour, QWidget* parent) : QWidget(parent, Qt::Popup), colour_(colour) {
        setMouseTracking(true);
        setCursor(Qt::CrossCursor);
    }
    std::function<void(QPoint global, bool take)> point;
    std::function<void()> cancel;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        PaintCheckerboard(painter, rect(), 6);
        painter.fillRect(rect(), colour_);
        painter.setPen(palette().color(QPalette::Shadow));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
    void mouseMoveEvent(QMouseEvent* event) override { point(event->globalPosition().toPoint(), false); }
    // The left button takes the colour under the pointer; another gives up.
    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() == Qt::LeftButton) return point(event->globalPosition().toPoint(), true);
        cancel();
    }
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape) cancel();
    }
    // Closed by the system (a click outside the program under Wayland): given up.
    void hideEvent(QHideEvent*) override { cancel(); }

private:
    const QColor& colour_;
};

// The colour of the pixel at a point of the screen: read from the screen where the system gives
// its pixels (not under Wayland, where a grab fails), else from the program's window there.
QColor ColourAt(const QPoint& global) {
    if (!QGuiApplication::platformName().startsWith("wayland"))
        if (QScreen* screen = QGuiApplication::screenAt(global)) {
            const QPoint at = global - screen->geometry().topLeft();
            const QImage shot = screen->grabWindow(0, at.x(), at.y(), 1, 1).toImage();
            if (!shot.isNull()) return shot.pixelColor(0, 0);
        }
    QWidget* window = QApplication::topLevelAt(global);
    if (window == nullptr) return {};
    const QImage shot = window->grab(QRect(window->mapFromGlobal(global), QSize(1, 1))).toImage();
    return shot.isNull() ? QColor() : shot.pixelColor(0, 0);
}

}  // namespace

// ---- The square and the strip ------------------------------------------------------------------

CHsvPicker::CHsvPicker(QWidget* parent) : QWidget(parent), strip_(kStrip, kSquare, QImage::Format_RGB32) {
    setToolTip(text::kColourPickerHelp);
    setFixedSize(sizeHint());
    for (int y = 0; y < kSquare; ++y) {
        const QColor c = QColorOf(RgbOfHsv(Along(y, kSquare, 359), 1.0, 1.0));
        for (int x = 0; x < kStrip; ++x) strip_.setPixelColor(x, y, c);
    }
}

QSize CHsvPicker::sizeHint() const { return {kSquare + kGap + kStrip + 2, kSquare + 2}; }
QRect CHsvPicker::SquareRect() const { return {1, 1, kSquare, kSquare}; }
QRect CHsvPicker::StripRect() const { return {kSquare + kGap + 1, 1, kStrip, kSquare}; }

void CHsvPicker::SetHsv(const HsvColor& hsv) {
    hsv_ = hsv;
    update();
}

void CHsvPicker::paintEvent(QPaintEvent*) {
    if (squareHue_ != hsv_.hue) {
        square_ = QImage(kSquare, kSquare, QImage::Format_RGB32);
        for (int y = 0; y < kSquare; ++y) {
            auto* row = reinterpret_cast<QRgb*>(square_.scanLine(y));
            const double v = (kSquare - 1 - y) / double(kSquare - 1);
            for (int x = 0; x < kSquare; ++x) {
                const COLORREF c = RgbOfHsv(hsv_.hue, x / double(kSquare - 1), v);
                row[x] = qRgb(GetRValue(c), GetGValue(c), GetBValue(c));
            }
        }
        squareHue_ = hsv_.hue;
    }
    QPainter painter(this);
    const QRect square = SquareRect(), strip = StripRect();
    painter.drawImage(square.topLeft(), square_);
    painter.drawImage(strip.topLeft(), strip_);
    painter.setPen(palette().color(QPalette::Shadow));
    painter.drawRect(square.adjusted(-1, -1, 0, 0));
    painter.drawRect(strip.adjusted(-1, -1, 0, 0));
    // The marks: a ring in the square, a bar across the strip, each black inside white.
    painter.setRenderHint(QPainter::Antialiasing);
    const QPoint at = square.topLeft() + QPoint(Position(hsv_.saturation, kSquare, 100),
                                                Position(100 - hsv_.value, kSquare, 100));
    const int hueY = strip.top() + Position(hsv_.hue, kSquare, 359);
    for (const auto& [colour, width] : {std::pair{Qt::white, 3.0}, std::pair{Qt::black, 1.0}}) {
        painter.setPen(QPen(colour, width));
        painter.drawEllipse(at, 5, 5);
        painter.drawRect(QRectF(strip.left() - 2, hueY - 2, strip.width() + 3, 4));
    }
}

void CHsvPicker::Take(QPoint at) {
    if (drag_ == Drag::Square) {
        hsv_.saturation = Along(at.x() - SquareRect().left(), kSquare, 100);
        hsv_.value = 100 - Along(at.y() - SquareRect().top(), kSquare, 100);
    } else if (drag_ == Drag::Strip) {
        hsv_.hue = Along(at.y() - StripRect().top(), kSquare, 359);
    }
    update();
    emit hsvPicked();
}

void CHsvPicker::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPoint at = event->position().toPoint();
    // The strip's rectangle takes in the gap's half beside it, so that its edge is easy to hit.
    drag_ = SquareRect().contains(at)                           ? Drag::Square
            : StripRect().adjusted(-kGap / 2, 0, 0, 0).contains(at) ? Drag::Strip
                                                                    : Drag::None;
    if (drag_ != Drag::None) Take(at);
}

void CHsvPicker::mouseMoveEvent(QMouseEvent* event) {
    if (drag_ != Drag::None && (event->buttons() & Qt::LeftButton)) Take(event->position().toPoint());
}

void CHsvPicker::mouseReleaseEvent(QMouseEvent*) { drag_ = Drag::None; }

// ---- A row of colours --------------------------------------------------------------------------

CSwatchRow::CSwatchRow(std::size_t cells, QWidget* parent) : QWidget(parent), cells_(cells) {
    setFixedSize(sizeHint());
}

void CSwatchRow::SetColours(std::vector<std::uint32_t> colours) {
    colours_ = std::move(colours);
    update();
}

QRect CSwatchRow::CellRect(std::size_t index) const {
    const int column = static_cast<int>(index % kRowCells), row = static_cast<int>(index / kRowCells);
    return {1 + column * (kCell + 3), 1 + row * (kCell + 3), kCell, kCell};
}

QSize CSwatchRow::sizeHint() const {
    const int rows = static_cast<int>((cells_ + kRowCells - 1) / kRowCells);
    return {static_cast<int>(std::min(cells_, kRowCells)) * (kCell + 3) - 1, rows * (kCell + 3) - 1};
}

void CSwatchRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    for (std::size_t i = 0; i < cells_; ++i) {
        const QRect cell = CellRect(i);
        if (i < colours_.size()) painter.fillRect(cell, QColorOf(colours_[i]));
        // An empty cell is a faint outline.
        painter.setPen(palette().color(i < colours_.size() ? QPalette::Shadow : QPalette::Mid));
        painter.drawRect(cell.adjusted(0, 0, -1, -1));
    }
}

void CSwatchRow::mousePressEvent(QMouseEvent* event) {
    for (std::size_t i = 0; i < colours_.size(); ++i) {
        if (!CellRect(i).contains(event->position().toPoint())) continue;
        if (event->button() == Qt::LeftButton) emit chosen(colours_[i]);
        if (event->button() == Qt::RightButton) emit removeRequested(i);
        return;
    }
}

// ---- The dialog --------------------------------------------------------------------------------

CColorDialog::CColorDialog(const QColor& initial, const QString& title, bool withAlpha, shell::Preferences* prefs,
                           shell::Profile* profile, QWidget* parent)
    : QDialog(parent), initial_(initial.isValid() ? initial : QColor(Qt::black)), prefs_(prefs), profile_(profile) {
    setWindowTitle(title);
    setObjectName("CColorDialog");
    if (!withAlpha) initial_.setAlpha(255);
    picker = new CHsvPicker(this);
    auto* fields = new QGridLayout;
    const auto field = [&](const char* label, int high, int row, int column) {
        auto* spin = new QSpinBox(this);
        spin->setRange(0, high);
        auto* caption = new QLabel(label, this);
        caption->setBuddy(spin);
        fields->addWidget(caption, row, column);
        fields->addWidget(spin, row, column + 1);
        return spin;
    };
    red = field(text::kColourRed, 255, 0, 0);
    green = field(text::kColourGreen, 255, 1, 0);
    blue = field(text::kColourBlue, 255, 2, 0);
    hue = field(text::kColourHue, 359, 0, 2);
    saturation = field(text::kColourSaturation, 100, 1, 2);
    value = field(text::kColourValue, 100, 2, 2);
    alpha = field(text::kColourAlpha, 255, 3, 2);
    hue->setWrapping(true);
    hex = new QLineEdit(this);
    hex->setMaxLength(9);
    auto* hexLabel = new QLabel(text::kColourHex, this);
    hexLabel->setBuddy(hex);
    fields->addWidget(hexLabel, 3, 0);
    fields->addWidget(hex, 3, 1);
    if (!withAlpha) {
        alpha->hide();
        fields->itemAtPosition(3, 2)->widget()->hide();
    }
    preview_ = new ColourPreview(initial_, colour_, this);
    fields->addWidget(preview_, 4, 0, 1, 4);
    fields->setRowStretch(5, 1);

    // Each field's edits show in the others.
    for (QSpinBox* spin : {red, green, blue})
        connect(spin, &QSpinBox::valueChanged, this, [this, spin] {
            const QColor c(red->value(), green->value(), blue->value(), colour_.alpha());
            Show(c, HsvOf(ColorRefOf(c)), spin);
        });
    // The HSV fields keep what was typed, even where the colour does not tell it (a grey's hue).
    for (QSpinBox* spin : {hue, saturation, value})
        connect(spin, &QSpinBox::valueChanged, this, [this, spin] {
            const HsvColor hsv{hue->value(), saturation->value(), value->value()};
            QColor c = QColorOf(RgbOfHsv(hsv));
            c.setAlpha(colour_.alpha());
            Show(c, hsv, spin);
        });
    connect(alpha, &QSpinBox::valueChanged, this, [this](int a) {
        colour_.setAlpha(a);
        preview_->update();
    });
    connect(hex, &QLineEdit::textEdited, this, [this](const QString& typed) {
        if (const auto c = ParseHexColor(typed.toStdString())) {
            QColor colour = QColorOf(*c);
            colour.setAlpha(colour_.alpha());
            Show(colour, HsvOf(*c), hex);
        }
    });
    // What cannot be read goes back to the colour shown.
    connect(hex, &QLineEdit::editingFinished, this,
            [this] { hex->setText(QString::fromStdString(HexColorText(ColorRefOf(colour_)))); });
    connect(picker, &CHsvPicker::hsvPicked, this, [this] {
        QColor c = QColorOf(RgbOfHsv(picker->Hsv()));
        c.setAlpha(colour_.alpha());
        Show(c, picker->Hsv(), picker);
    });

    recentRow = new CSwatchRow(shell::kRecentColourCount, this);
    swatchRow = new CSwatchRow(shell::kSavedSwatchCount, this);
    swatchRow->setToolTip(text::kSavedSwatchesHelp);
    if (prefs_ != nullptr) {
        recentRow->SetColours(shell::ProfileColourList(prefs_->RecentColors, shell::kRecentColourCount));
        swatchRow->SetColours(shell::ProfileColourList(prefs_->SavedSwatches, shell::kSavedSwatchCount));
    }
    const auto take = [this](std::uint32_t c) {
        QColor colour = QColorOf(c);
        colour.setAlpha(colour_.alpha());
        SetColor(colour);
    };
    connect(recentRow, &CSwatchRow::chosen, this, take);
    connect(swatchRow, &CSwatchRow::chosen, this, take);
    connect(swatchRow, &CSwatchRow::removeRequested, this, [this](std::size_t index) {
        std::vector<std::uint32_t> colours = swatchRow->Colours();
        colours.erase(colours.begin() + static_cast<std::ptrdiff_t>(index));
        swatchRow->SetColours(std::move(colours));
        Keep();
    });
    addSwatchButton = new QPushButton(text::kAddToSwatches, this);
    connect(addSwatchButton, &QPushButton::clicked, this, &CColorDialog::addToSwatches);
    pickButton = new QPushButton(text::kPickColour, this);
    pickButton->setToolTip(text::kPickColourHelp);
    connect(pickButton, &QPushButton::clicked, this, &CColorDialog::pickFromScreen);
    auto* buttons = OkCancelButtons(this);

    auto* top = new QHBoxLayout;
    top->addWidget(picker, 0, Qt::AlignTop);
    top->addSpacing(kGap);
    top->addLayout(fields, 1);
    auto* rows = new QGridLayout;
    rows->addWidget(new QLabel(text::kRecentColours, this), 0, 0);
    rows->addWidget(recentRow, 0, 1, Qt::AlignLeft);
    rows->addWidget(new QLabel(text::kSavedSwatches, this), 1, 0);
    rows->addWidget(swatchRow, 1, 1, Qt::AlignLeft);
    rows->addWidget(addSwatchButton, 1, 2);
    rows->setColumnStretch(1, 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(pickButton);
    bottom->addStretch(1);
    bottom->addWidget(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(rows);
    layout->addLayout(bottom);
    SetColor(initial_);
}

void CColorDialog::SetColor(const QColor& colour) { Show(colour, HsvOf(ColorRefOf(colour)), nullptr); }

void CColorDialog::Show(const QColor& colour, const HsvColor& hsv, const QObject* source) {
    colour_ = colour;
    hsv_ = hsv;
    // Set quietly: the values set are no edits of their own.
    const int values[] = {colour.red(), colour.green(), colour.blue(), hsv.hue, hsv.saturation, hsv.value, colour.alpha()};
    QSpinBox* const spins[] = {red, green, blue, hue, saturation, value, alpha};
    for (std::size_t i = 0; i < std::size(spins); ++i) {
        const QSignalBlocker quiet(spins[i]);
        spins[i]->setValue(values[i]);
    }
    if (source != hex) hex->setText(QString::fromStdString(HexColorText(ColorRefOf(colour))));
    if (source != picker) picker->SetHsv(hsv);
    preview_->update();
}

void CColorDialog::Keep() {
    if (prefs_ == nullptr) return;
    prefs_->RecentColors = shell::ProfileColourListText(recentRow->Colours());
    prefs_->SavedSwatches = shell::ProfileColourListText(swatchRow->Colours());
    if (profile_ == nullptr) return;
    profile_->WriteString("colors", "RecentColors", prefs_->RecentColors);
    profile_->WriteString("colors", "SavedSwatches", prefs_->SavedSwatches);
}

void CColorDialog::accept() {
    if (Picking()) return;
    std::vector<std::uint32_t> recent = recentRow->Colours();
    shell::PutColourFirst(recent, ColorRefOf(colour_), shell::kRecentColourCount);
    recentRow->SetColours(std::move(recent));
    Keep();
    QDialog::accept();
}

void CColorDialog::addToSwatches() {
    std::vector<std::uint32_t> swatches = swatchRow->Colours();
    shell::PutColourFirst(swatches, ColorRefOf(colour_), shell::kSavedSwatchCount);
    swatchRow->SetColours(std::move(swatches));
    Keep();
}

void CColorDialog::pickFromScreen() {
    if (Picking()) return;
    beforePicking_ = colour_;
    auto* popup = new PickerSwatch(colour_, this);
    popup->point = [this](QPoint global, bool take) {
        QColor c = ColourAt(global);
        if (c.isValid()) {
            c.setAlpha(colour_.alpha());
            SetColor(c);
            pickPopup_->update();
        }
        if (take) EndPicking();
    };
    popup->cancel = [this] {
        if (!Picking()) return;
        SetColor(beforePicking_);
        EndPicking();
    };
    popup->setGeometry(QRect(pickButton->mapToGlobal(QPoint(0, 0)), pickButton->size()));
    pickPopup_ = popup;
    popup->show();
}

void CColorDialog::EndPicking() {
    QWidget* popup = std::exchange(pickPopup_, nullptr);
    popup->hide();
    popup->deleteLater();
}

}  // namespace tellurine::app
