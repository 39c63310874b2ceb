// The dialogs of the Image and Filters menus: Gaussian Blur, Resize Image and Rotate Image.
#pragma once

#include <QDialog>

class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSlider;
class QSpinBox;

namespace tellurine::app {

// The blur's radius (2..50) on a slider with an edit beside it, and a check box that shows the
// blur on the canvas while the dialog is open.
class CDialIconGaussianBlur : public QDialog {
    Q_OBJECT
public:
    CDialIconGaussianBlur(int radius, bool preview, QWidget* parent = nullptr);
    [[nodiscard]] int Radius() const;
    [[nodiscard]] bool PreviewOn() const;

    QSlider* slider = nullptr;
    QLineEdit* edit = nullptr;
    QCheckBox* previewCheck = nullptr;

signals:
    // The radius or the preview switch changed.
    void previewRequested(int radius, bool on);

private slots:
    void OnSlider(int value);
    void OnEdit();
};

// The new size of the image or its selected part, each side 1..4096, the other side following
// at the ratio the dialog opened with while Keep Aspect Ratio is checked.
class CDialIconScale : public QDialog {
    Q_OBJECT
public:
    CDialIconScale(int width, int height, QWidget* parent = nullptr);
    [[nodiscard]] int NewWidth() const;
    [[nodiscard]] int NewHeight() const;

    QSpinBox* widthSpin = nullptr;
    QSpinBox* heightSpin = nullptr;
    QCheckBox* keepCheck = nullptr;

private slots:
    void OnWidth(int value);
    void OnHeight(int value);

private:
    double ratio_ = 1.0;
    bool following_ = false;
};

// Direction and angle of a turn. The choices live for the whole run: the dialog opens with the
// ones last accepted ("Left", "90°" and a free angle of 45 at first).
class CDialIconRotate : public QDialog {
    Q_OBJECT
public:
    struct Choice {
        int direction = 0;  // 0 "Left", 1 "Right"
        int angle = 0;      // 0 "90°", 1 "180° ", 2 "270°", 3 "Free:"
        int freeAngle = 45;
    };
    static Choice& Remembered();

    explicit CDialIconRotate(QWidget* parent = nullptr);
    [[nodiscard]] Choice Chosen() const;
    // The counter-clockwise angle the choice stands for.
    [[nodiscard]] int Angle() const;

    QButtonGroup* directionGroup = nullptr;
    QButtonGroup* angleGroup = nullptr;
    QSpinBox* freeSpin = nullptr;
    QLabel* rangeNote = nullptr;

public slots:
    void accept() override;
    // Enables the free angle only while "Free:" is chosen.
    void updateControls();
};

}  // namespace tellurine::app
