// The program's colour dialog: red, green and blue, hue, saturation and value, the hex text and
// (where the caller allows it) alpha, all kept in step; a saturation/value square with a hue strip
// to click and drag in; the colours last chosen and the user's saved swatches; a picker that takes
// the colour of a pixel on the screen; the old and new colours side by side.
#pragma once

#include <QColor>
#include <QDialog>
#include <QImage>
#include <cstdint>
#include <vector>

#include "imaging/color_models.h"

class QLineEdit;
class QPushButton;
class QSpinBox;

namespace tellurine::shell {
struct Preferences;
class Profile;
}  // namespace tellurine::shell

namespace tellurine::app {

// A saturation/value square (saturation left to right, value bottom to top) for the current hue,
// and a hue strip beside it (0 degrees at the top); a click or a drag in either sets its parts.
class CHsvPicker : public QWidget {
    Q_OBJECT
public:
    explicit CHsvPicker(QWidget* parent = nullptr);
    void SetHsv(const HsvColor& hsv);
    [[nodiscard]] const HsvColor& Hsv() const { return hsv_; }
    [[nodiscard]] QRect SquareRect() const;
    [[nodiscard]] QRect StripRect() const;
    [[nodiscard]] QSize sizeHint() const override;

signals:
    void hsvPicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Drag { None, Square, Strip };
    void Take(QPoint at);
    HsvColor hsv_;
    Drag drag_ = Drag::None;
    QImage square_;  // drawn for squareHue_
    int squareHue_ = -1;
    QImage strip_;
};

// Rows of colour cells, some of them empty: a click on a colour chooses it, a right-click asks
// for it to be removed.
class CSwatchRow : public QWidget {
    Q_OBJECT
public:
    CSwatchRow(std::size_t cells, QWidget* parent = nullptr);
    void SetColours(std::vector<std::uint32_t> colours);  // 0x00BBGGRR, first on the left
    [[nodiscard]] const std::vector<std::uint32_t>& Colours() const { return colours_; }
    [[nodiscard]] QRect CellRect(std::size_t index) const;
    [[nodiscard]] QSize sizeHint() const override;

signals:
    void chosen(std::uint32_t colour);
    void removeRequested(std::size_t index);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    std::size_t cells_;
    std::vector<std::uint32_t> colours_;
};

class CColorDialog : public QDialog {
    Q_OBJECT
public:
    // `prefs` keeps the recent colours and the swatches, written to `profile` as they change;
    // without them (null) the dialog keeps none.
    CColorDialog(const QColor& initial, const QString& title, bool withAlpha, shell::Preferences* prefs,
                 shell::Profile* profile, QWidget* parent = nullptr);
    [[nodiscard]] QColor Color() const { return colour_; }
    // The colour shown as the new one, every field following (alpha kept without the alpha field).
    void SetColor(const QColor& colour);
    // While picking: the popup that takes the mouse and the keys (null otherwise).
    [[nodiscard]] QWidget* PickPopup() const { return pickPopup_; }
    [[nodiscard]] bool Picking() const { return pickPopup_ != nullptr; }

    QSpinBox* red = nullptr;
    QSpinBox* green = nullptr;
    QSpinBox* blue = nullptr;
    QSpinBox* hue = nullptr;
    QSpinBox* saturation = nullptr;
    QSpinBox* value = nullptr;
    QSpinBox* alpha = nullptr;  // hidden without alpha
    QLineEdit* hex = nullptr;
    CHsvPicker* picker = nullptr;
    CSwatchRow* recentRow = nullptr;
    CSwatchRow* swatchRow = nullptr;
    QPushButton* addSwatchButton = nullptr;
    QPushButton* pickButton = nullptr;

public slots:
    // Puts the colour first in the recent colours, then closes the dialog.
    void accept() override;
    void addToSwatches();
    // Until a click (which takes the colour under the pointer) or Esc (which gives up), the
    // pointer reads the pixels it passes over.
    void pickFromScreen();

private:
    // Shows a colour and its HSV form in every field but `source`, the one the user is editing.
    void Show(const QColor& colour, const HsvColor& hsv, const QObject* source);
    void EndPicking();
    void Keep();

    QColor initial_;
    QColor colour_;
    HsvColor hsv_;
    QColor beforePicking_;
    QWidget* pickPopup_ = nullptr;
    shell::Preferences* prefs_;
    shell::Profile* profile_;
    QWidget* preview_ = nullptr;
};

}  // namespace tellurine::app
