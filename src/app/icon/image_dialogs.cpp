#include "app/icon/image_dialogs.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>

#include "app/common/prompts.h"
#include "app/icon/dialogs.h"
#include "icon/format_edit.h"
#include "imaging/filters.h"
#include "imaging/rotate.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

// A group box titled by a "$" text, without the mark.
QGroupBox* Group(const char* marked, QWidget* parent) { return new QGroupBox(QString(marked).mid(1), parent); }

// The dialog's note from a "*" text, without the mark.
QLabel* Note(const char* marked, QWidget* parent) {
    auto* label = new QLabel(QString(marked).mid(1), parent);
    label->setWordWrap(true);
    label->setObjectName("note");
    QFont font = label->font();
    font.setItalic(true);
    label->setFont(font);
    return label;
}

QLabel* Wrapped(const char* text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

}  // namespace

// ---- Gaussian blur -----------------------------------------------------------------------------

CDialIconGaussianBlur::CDialIconGaussianBlur(int radius, bool preview, QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kGaussianBlurTitle);
    auto* content = new QVBoxLayout;
    content->addWidget(Wrapped(text::kGaussianBlurText, this));
    QGroupBox* group = Group(text::kRadiusGroup, this);
    auto* grid = new QGridLayout(group);
    slider = new QSlider(Qt::Horizontal, group);
    slider->setRange(kMinBlurRadius, kMaxBlurRadius);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setTickInterval(8);
    slider->setValue(std::clamp(radius, kMinBlurRadius, kMaxBlurRadius));
    edit = new QLineEdit(QString::number(slider->value()), group);
    edit->setValidator(new QIntValidator(kMinBlurRadius, kMaxBlurRadius, edit));
    edit->setMaximumWidth(48);
    grid->addWidget(slider, 0, 0, 1, 3);
    grid->addWidget(edit, 0, 3);
    grid->addWidget(new QLabel(text::kTick2, group), 1, 0, Qt::AlignLeft);
    grid->addWidget(new QLabel(text::kTick25, group), 1, 1, Qt::AlignHCenter);
    grid->addWidget(new QLabel(text::kTick50, group), 1, 2, Qt::AlignRight);
    content->addWidget(group);
    previewCheck = new QCheckBox(text::kPreview, this);
    previewCheck->setChecked(preview);
    content->addWidget(previewCheck);
    AddOkCancel(this, content);
    connect(slider, &QSlider::valueChanged, this, &CDialIconGaussianBlur::OnSlider);
    connect(edit, &QLineEdit::editingFinished, this, &CDialIconGaussianBlur::OnEdit);
    connect(previewCheck, &QCheckBox::toggled, this, [this](bool on) { emit previewRequested(Radius(), on); });
}

int CDialIconGaussianBlur::Radius() const { return slider->value(); }
bool CDialIconGaussianBlur::PreviewOn() const { return previewCheck->isChecked(); }

void CDialIconGaussianBlur::OnSlider(int value) {
    edit->setText(QString::number(value));
    emit previewRequested(value, PreviewOn());
}

void CDialIconGaussianBlur::OnEdit() {
    bool ok = false;
    const int value = edit->text().toInt(&ok);
    if (ok) slider->setValue(std::clamp(value, kMinBlurRadius, kMaxBlurRadius));
    edit->setText(QString::number(slider->value()));
}

// ---- Resize ------------------------------------------------------------------------------------

CDialIconScale::CDialIconScale(int width, int height, QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kResizeTitle);
    width = std::clamp(width, 1, kMaxResizeSide);
    height = std::clamp(height, 1, kMaxResizeSide);
    ratio_ = static_cast<double>(width) / height;
    auto* content = new QVBoxLayout;
    content->addWidget(Wrapped(text::kResizeText, this));
    QGroupBox* group = Group(text::kNewSizeGroup, this);
    auto* grid = new QGridLayout(group);
    const auto spin = [&](int value) {
        auto* box = new QSpinBox(group);
        box->setRange(1, kMaxResizeSide);
        box->setValue(value);
        return box;
    };
    widthSpin = spin(width);
    heightSpin = spin(height);
    grid->addWidget(new QLabel(text::kResizeWidth, group), 0, 0);
    grid->addWidget(widthSpin, 0, 1);
    grid->addWidget(new QLabel(text::kPixels, group), 0, 2);
    grid->addWidget(new QLabel(text::kResizeHeight, group), 1, 0);
    grid->addWidget(heightSpin, 1, 1);
    grid->addWidget(new QLabel(text::kPixels, group), 1, 2);
    keepCheck = new QCheckBox(text::kKeepAspectRatio, group);
    keepCheck->setChecked(true);
    grid->addWidget(keepCheck, 2, 0, 1, 3);
    content->addWidget(group);
    content->addWidget(Note(text::kResizeNote, this));
    AddOkCancel(this, content);
    connect(widthSpin, &QSpinBox::valueChanged, this, &CDialIconScale::OnWidth);
    connect(heightSpin, &QSpinBox::valueChanged, this, &CDialIconScale::OnHeight);
}

int CDialIconScale::NewWidth() const { return widthSpin->value(); }
int CDialIconScale::NewHeight() const { return heightSpin->value(); }

void CDialIconScale::OnWidth(int value) {
    if (following_ || !keepCheck->isChecked()) return;
    following_ = true;
    heightSpin->setValue(std::clamp(static_cast<int>(std::lround(value / ratio_)), 1, kMaxResizeSide));
    following_ = false;
}

void CDialIconScale::OnHeight(int value) {
    if (following_ || !keepCheck->isChecked()) return;
    following_ = true;
    widthSpin->setValue(std::clamp(static_cast<int>(std::lround(value * ratio_)), 1, kMaxResizeSide));
    following_ = false;
}

// ---- Rotate ------------------------------------------------------------------------------------

CDialIconRotate::Choice& CDialIconRotate::Remembered() {
    static Choice choice;
    return choice;
}

CDialIconRotate::CDialIconRotate(QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kRotateTitle);
    const Choice& start = Remembered();
    auto* content = new QVBoxLayout;
    content->addWidget(Wrapped(text::kRotateText, this));
    auto* groups = new QHBoxLayout;
    QGroupBox* direction = Group(text::kDirectionGroup, this);
    auto* directionLayout = new QVBoxLayout(direction);
    directionGroup = new QButtonGroup(this);
    int id = 0;
    for (const char* label : {text::kLeft, text::kRight}) {
        auto* button = new QRadioButton(label, direction);
        directionGroup->addButton(button, id++);
        directionLayout->addWidget(button);
    }
    directionLayout->addStretch();
    QGroupBox* angle = Group(text::kAngleGroup, this);
    auto* angleLayout = new QGridLayout(angle);
    angleGroup = new QButtonGroup(this);
    id = 0;
    for (const char* label : {text::kAngle90, text::kAngle180, text::kAngle270, text::kAngleFree}) {
        auto* button = new QRadioButton(QString::fromUtf8(label), angle);
        angleGroup->addButton(button, id);
        angleLayout->addWidget(button, id++, 0);
    }
    freeSpin = new QSpinBox(angle);
    freeSpin->setRange(kMinFreeAngle, kMaxFreeAngle);
    freeSpin->setValue(std::clamp(start.freeAngle, kMinFreeAngle, kMaxFreeAngle));
    rangeNote = new QLabel(QString::fromUtf8(text::kAngleRange), angle);
    angleLayout->addWidget(freeSpin, 3, 1);
    angleLayout->addWidget(rangeNote, 3, 2);
    groups->addWidget(direction);
    groups->addWidget(angle);
    content->addLayout(groups);
    content->addWidget(Note(text::kRotateNote, this));
    AddOkCancel(this, content);
    directionGroup->button(std::clamp(start.direction, 0, 1))->setChecked(true);
    angleGroup->button(std::clamp(start.angle, 0, 3))->setChecked(true);
    connect(angleGroup, &QButtonGroup::idToggled, this, &CDialIconRotate::updateControls);
    updateControls();
}

void CDialIconRotate::updateControls() {
    const bool free = angleGroup->checkedId() == 3;
    freeSpin->setEnabled(free);
    rangeNote->setEnabled(free);
}

CDialIconRotate::Choice CDialIconRotate::Chosen() const {
    return {directionGroup->checkedId(), angleGroup->checkedId(), freeSpin->value()};
}

int CDialIconRotate::Angle() const {
    const Choice c = Chosen();
    return RotateCommandAngle(static_cast<RotateDirection>(c.direction), static_cast<RotateChoice>(c.angle), c.freeAngle);
}

void CDialIconRotate::accept() {
    Remembered() = Chosen();
    QDialog::accept();
}

}  // namespace tellurine::app
