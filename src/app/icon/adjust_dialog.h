// The Adjust Colors dialog of the Image menu: brightness, contrast, hue, saturation, lightness and
// gamma on sliders with number fields, levels, colourize and invert, shown on the canvas as they
// change, and applied to the format (or its selection) or to every format of the icon at once.
#pragma once

#include <QColor>
#include <QDialog>

#include "imaging/adjust.h"

class QCheckBox;
class QColor;
class QDoubleSpinBox;
class QSpinBox;

namespace tellurine::app {

class UserPrompts;

class CDialIconAdjust : public QDialog {
    Q_OBJECT
public:
    explicit CDialIconAdjust(QWidget* parent = nullptr);
    [[nodiscard]] ColorAdjustment Adjustment() const;
    [[nodiscard]] bool AllFormats() const;
    [[nodiscard]] bool PreviewOn() const;

    QSpinBox* brightness = nullptr;
    QSpinBox* contrast = nullptr;
    QSpinBox* hue = nullptr;
    QSpinBox* saturation = nullptr;
    QSpinBox* lightness = nullptr;
    QDoubleSpinBox* gamma = nullptr;
    QSpinBox* inputBlack = nullptr;
    QSpinBox* inputWhite = nullptr;
    QDoubleSpinBox* levelsGamma = nullptr;
    QSpinBox* outputBlack = nullptr;
    QSpinBox* outputWhite = nullptr;
    QCheckBox* colorizeCheck = nullptr;
    QSpinBox* colorizeHue = nullptr;
    QSpinBox* colorizeSaturation = nullptr;
    QCheckBox* invertCheck = nullptr;
    QCheckBox* allFormatsCheck = nullptr;
    QCheckBox* previewCheck = nullptr;

signals:
    // A value or the preview switch changed.
    void previewRequested();

public slots:
    // Every value back to its neutral one.
    void reset();
};

// The Drop Shadow dialog: offset, blur radius, opacity and colour of a shadow of the picture's
// own alpha, shown on the canvas as they change.
class CDialDropShadow : public QDialog {
    Q_OBJECT
public:
    CDialDropShadow(UserPrompts& prompts, QWidget* parent = nullptr);
    [[nodiscard]] DropShadow Shadow() const;
    [[nodiscard]] bool PreviewOn() const;

    QSpinBox* dx = nullptr;
    QSpinBox* dy = nullptr;
    QSpinBox* radius = nullptr;
    QSpinBox* opacity = nullptr;
    QCheckBox* previewCheck = nullptr;

signals:
    void previewRequested();

public slots:
    // Asks for the shadow's colour.
    void chooseColor();

private:
    UserPrompts& prompts_;
    QColor colour_{Qt::black};
};

}  // namespace tellurine::app
