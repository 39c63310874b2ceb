#include "app/icon/adjust_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "app/common/prompts.h"
#include "imaging/filters.h"
#include "shell/texts.h"

namespace tellurine::app {

CDialIconAdjust::CDialIconAdjust(QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kAdjustColorsTitle);
    setObjectName("CDialIconAdjust");
    auto* grid = new QGridLayout;
    int row = 0;
    // A labelled slider with its number field, kept in step.
    const auto sliderRow = [&](const char* label, int low, int high, QSpinBox*& spin) {
        auto* slider = new QSlider(Qt::Horizontal, this);
        slider->setRange(low, high);
        spin = new QSpinBox(this);
        spin->setRange(low, high);
        auto* caption = new QLabel(label, this);
        caption->setBuddy(spin);
        connect(slider, &QSlider::valueChanged, spin, &QSpinBox::setValue);
        connect(spin, &QSpinBox::valueChanged, slider, &QSlider::setValue);
        grid->addWidget(caption, row, 0);
        grid->addWidget(slider, row, 1, 1, 4);
        grid->addWidget(spin, row++, 5);
    };
    sliderRow(text::kAdjustBrightness, -100, 100, brightness);
    sliderRow(text::kAdjustContrast, -100, 100, contrast);
    sliderRow(text::kAdjustHue, -180, 180, hue);
    sliderRow(text::kAdjustSaturation, -100, 100, saturation);
    sliderRow(text::kAdjustLightness, -100, 100, lightness);
    const auto doubleSpin = [this](double value) {
        auto* spin = new QDoubleSpinBox(this);
        spin->setRange(0.1, 10.0);
        spin->setSingleStep(0.05);
        spin->setValue(value);
        return spin;
    };
    gamma = doubleSpin(1.0);
    auto* gammaLabel = new QLabel(text::kAdjustGamma, this);
    gammaLabel->setBuddy(gamma);
    grid->addWidget(gammaLabel, row, 0);
    grid->addWidget(gamma, row++, 5);
    const auto level = [this](int value) {
        auto* spin = new QSpinBox(this);
        spin->setRange(0, 255);
        spin->setValue(value);
        return spin;
    };
    inputBlack = level(0);
    inputBlack->setMaximum(254);
    inputWhite = level(255);
    levelsGamma = doubleSpin(1.0);
    outputBlack = level(0);
    outputWhite = level(255);
    auto* levelsLabel = new QLabel(text::kAdjustLevels, this);
    levelsLabel->setBuddy(inputBlack);
    grid->addWidget(levelsLabel, row++, 0, 1, 6);
    int column = 1;
    for (QWidget* w : {static_cast<QWidget*>(inputBlack), static_cast<QWidget*>(inputWhite),
                       static_cast<QWidget*>(levelsGamma), static_cast<QWidget*>(outputBlack),
                       static_cast<QWidget*>(outputWhite)})
        grid->addWidget(w, row, column++);
    ++row;
    colorizeCheck = new QCheckBox(text::kAdjustColorize, this);
    colorizeHue = new QSpinBox(this);
    colorizeHue->setRange(0, 360);
    colorizeSaturation = new QSpinBox(this);
    colorizeSaturation->setRange(0, 100);
    colorizeSaturation->setValue(50);
    grid->addWidget(colorizeCheck, row, 0, 1, 3);
    grid->addWidget(colorizeHue, row, 4);
    grid->addWidget(colorizeSaturation, row++, 5);
    invertCheck = new QCheckBox(text::kAdjustInvert, this);
    grid->addWidget(invertCheck, row++, 0, 1, 6);

    auto* note = new QLabel(text::kAdjustIndexedNote, this);
    note->setWordWrap(true);
    allFormatsCheck = new QCheckBox(text::kAdjustAllFormats, this);
    previewCheck = new QCheckBox(text::kPreview, this);
    previewCheck->setChecked(true);
    auto* buttons = OkCancelButtons(this);
    QPushButton* resetButton = buttons->addButton(text::kAdjustReset, QDialogButtonBox::ResetRole);
    connect(resetButton, &QPushButton::clicked, this, &CDialIconAdjust::reset);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(note);
    layout->addWidget(allFormatsCheck);
    layout->addWidget(previewCheck);
    layout->addWidget(buttons);

    // Every change asks for a preview.
    for (QSpinBox* spin : findChildren<QSpinBox*>())
        connect(spin, &QSpinBox::valueChanged, this, &CDialIconAdjust::previewRequested);
    for (QDoubleSpinBox* spin : findChildren<QDoubleSpinBox*>())
        connect(spin, &QDoubleSpinBox::valueChanged, this, &CDialIconAdjust::previewRequested);
    for (QCheckBox* check : {colorizeCheck, invertCheck, previewCheck})
        connect(check, &QCheckBox::toggled, this, &CDialIconAdjust::previewRequested);
}

ColorAdjustment CDialIconAdjust::Adjustment() const {
    ColorAdjustment a;
    a.brightness = brightness->value();
    a.contrast = contrast->value();
    a.hue = hue->value();
    a.saturation = saturation->value();
    a.lightness = lightness->value();
    a.gamma = gamma->value();
    a.inputBlack = inputBlack->value();
    // The input white stays above the black, whatever the fields say.
    a.inputWhite = std::max(inputWhite->value(), a.inputBlack + 1);
    a.levelsGamma = levelsGamma->value();
    a.outputBlack = outputBlack->value();
    a.outputWhite = outputWhite->value();
    a.colorize = colorizeCheck->isChecked();
    a.colorizeHue = colorizeHue->value();
    a.colorizeSaturation = colorizeSaturation->value();
    a.invert = invertCheck->isChecked();
    return a;
}

bool CDialIconAdjust::AllFormats() const {
    return allFormatsCheck->isChecked();
}

bool CDialIconAdjust::PreviewOn() const {
    return previewCheck->isChecked();
}

void CDialIconAdjust::reset() {
    for (QSpinBox* spin : {brightness, contrast, hue, saturation, lightness, inputBlack, outputBlack})
        spin->setValue(0);
    inputWhite->setValue(255);
    outputWhite->setValue(255);
    gamma->setValue(1.0);
    levelsGamma->setValue(1.0);
    colorizeCheck->setChecked(false);
    invertCheck->setChecked(false);
}

CDialDropShadow::CDialDropShadow(UserPrompts& prompts, QWidget* parent) : QDialog(parent), prompts_(prompts) {
    setWindowTitle(text::kDropShadowTitle);
    setObjectName("CDialDropShadow");
    const DropShadow defaults;
    const auto spin = [this](int low, int high, int value) {
        auto* box = new QSpinBox(this);
        box->setRange(low, high);
        box->setValue(value);
        connect(box, &QSpinBox::valueChanged, this, &CDialDropShadow::previewRequested);
        return box;
    };
    dx = spin(-kMaxBlurRadius, kMaxBlurRadius, defaults.dx);
    dy = spin(-kMaxBlurRadius, kMaxBlurRadius, defaults.dy);
    radius = spin(0, kMaxBlurRadius, defaults.radius);
    opacity = spin(0, 100, defaults.opacity);
    opacity->setSuffix(" %");
    auto* grid = new QGridLayout;
    const auto row = [&](int at, const char* label, QWidget* first, QWidget* second = nullptr) {
        auto* caption = new QLabel(label, this);
        caption->setBuddy(first);
        grid->addWidget(caption, at, 0);
        grid->addWidget(first, at, 1);
        if (second != nullptr) grid->addWidget(second, at, 2);
    };
    row(0, text::kShadowOffset, dx, dy);
    row(1, text::kShadowRadius, radius);
    row(2, text::kShadowOpacity, opacity);
    auto* colourButton = new QPushButton(text::kShadowColor, this);
    connect(colourButton, &QPushButton::clicked, this, &CDialDropShadow::chooseColor);
    grid->addWidget(colourButton, 3, 1);
    previewCheck = new QCheckBox(text::kPreview, this);
    previewCheck->setChecked(true);
    connect(previewCheck, &QCheckBox::toggled, this, &CDialDropShadow::previewRequested);
    auto* buttons = OkCancelButtons(this);
    auto* note = new QLabel(text::kShadowNote, this);
    note->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(note);
    layout->addWidget(previewCheck);
    layout->addWidget(buttons);
}

DropShadow CDialDropShadow::Shadow() const {
    DropShadow s;
    s.dx = dx->value();
    s.dy = dy->value();
    s.radius = radius->value();
    s.opacity = opacity->value();
    s.red = static_cast<std::uint8_t>(colour_.red());
    s.green = static_cast<std::uint8_t>(colour_.green());
    s.blue = static_cast<std::uint8_t>(colour_.blue());
    return s;
}

bool CDialDropShadow::PreviewOn() const {
    return previewCheck->isChecked();
}

void CDialDropShadow::chooseColor() {
    const QColor chosen = prompts_.GetColor(this, colour_, text::kDropShadowTitle);
    if (!chosen.isValid()) return;
    colour_ = chosen;
    emit previewRequested();
}

}  // namespace tellurine::app
