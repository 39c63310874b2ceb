// The colour bar: the foreground and background colours a tool draws with, and what they can be
// chosen from while the active format is edited: its palette (8 bits), black and white (1 bit) or
// a set of colours and the colour dialog (true colour), the transparent and inverted swatches,
// and the opacities used on formats with alpha. A double-click on a swatch of a 4- or 8-bit
// palette asks for a new colour of that entry.
#pragma once

#include <QWidget>

#include "editor/canvas_resources.h"
#include "editor/colour_value.h"
#include "image/palette.h"

class QLabel;
class QSlider;
class QSpinBox;

namespace tellurine::app {

class UserPrompts;

class CColorBar : public QWidget {
    Q_OBJECT
public:
    CColorBar(editor::ColourSelection& colours, const editor::CanvasResources& resources, UserPrompts& prompts,
              QWidget* parent = nullptr);

    // The edited format's depth (0 when none) and, for indexed depths, its palette.
    void SetFormat(int bits, const Palette& palette);
    [[nodiscard]] int Bits() const { return bits_; }
    // The colour values the cells offer, left to right, top to bottom.
    [[nodiscard]] const std::vector<editor::ColourValue>& Cells() const { return cells_; }
    [[nodiscard]] QRect CellRect(std::size_t index) const;
    [[nodiscard]] QRect ForegroundRect() const;
    [[nodiscard]] QRect BackgroundRect() const;
    [[nodiscard]] QRect TransparentRect() const;
    [[nodiscard]] QRect InvertedRect() const;
    [[nodiscard]] QSize sizeHint() const override;

    QSlider* foregroundOpacity = nullptr;
    QSlider* backgroundOpacity = nullptr;
    // Each slider's value as a number field beside it, and its name before it.
    QSpinBox* foregroundOpacityValue = nullptr;
    QSpinBox* backgroundOpacityValue = nullptr;
    QLabel* foregroundOpacityLabel = nullptr;
    QLabel* backgroundOpacityLabel = nullptr;

signals:
    void coloursChanged();
    // A palette entry of the edited (4- or 8-bit) format given a new colour by a double-click.
    void paletteEntryChosen(int index, const QColor& colour);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Pick(bool foreground, editor::ColourValue value);
    void DrawSample(QPainter& painter, const QRect& rect, editor::ColourValue value) const;
    void LayOutSliders();
    editor::ColourSelection& colours_;
    const editor::CanvasResources& resources_;
    UserPrompts& prompts_;
    int bits_ = 0;
    Palette palette_;
    std::vector<editor::ColourValue> cells_;
};

}  // namespace tellurine::app
