// The Adjust Colors dialog of the Image menu: brightness, contrast, hue, saturation, lightness and
// gamma on sliders with number fields, levels, colourize and invert, shown on the canvas as they
// change, and applied to the format (or its selection) or to every format of the icon at once.
#pragma once

#include <QDialog>

#include "imaging/adjust.h"

class QCheckBox;
class QDoubleSpinBox;
class QSpinBox;

namespace tellurine::app {

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

}  // namespace tellurine::app
