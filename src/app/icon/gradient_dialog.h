// The gradient editor of the Tools menu: a bar showing the gradient over a checkerboard with its
// stops as markers under it. Clicking the bar's empty space adds a stop, a marker is selected by a
// click and moved by dragging it, a double-click chooses its colour, and the Delete key or the
// button removes it; gradients are loaded from and saved to GIMP's .ggr files.
#pragma once

#include <QDialog>
#include <QWidget>

#include "imaging/gradient.h"

class QPushButton;

namespace tellurine::app {

class UserPrompts;

// The bar and its markers; it edits the gradient it is given.
class GradientBar : public QWidget {
    Q_OBJECT
public:
    GradientBar(Gradient& gradient, GradientColour foreground, GradientColour background, QWidget* parent);
    // The selected stop's index, or -1.
    [[nodiscard]] int Selected() const { return selected_; }
    void Select(int index);
    // The x of a position 0..1 across the bar, and back.
    [[nodiscard]] int XOf(double position) const;
    [[nodiscard]] double PositionAt(int x) const;
    // The y of the bar's middle and of the markers' row.
    static constexpr int kBarMiddle = 16;
    static constexpr int kMarkerRow = 38;

signals:
    void changed();
    void stopActivated(int index);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // The stop whose marker is under x, or -1.
    [[nodiscard]] int StopAt(int x) const;
    [[nodiscard]] QColor ColourAt(double position) const;

    Gradient& gradient_;
    GradientColour foreground_, background_;
    int selected_ = 0;
    bool dragging_ = false;
};

class CDialGradient : public QDialog {
    Q_OBJECT
public:
    // `foreground` and `background` are the colours the gradient's foreground and background ends
    // show.
    CDialGradient(const Gradient& gradient, GradientColour foreground, GradientColour background,
                  UserPrompts& prompts, QWidget* parent = nullptr);
    [[nodiscard]] const Gradient& Result() const { return gradient_; }

    GradientBar* bar = nullptr;
    QPushButton* removeButton = nullptr;

public slots:
    // Asks for a colour for stop `index`.
    void editStop(int index);
    // Removes the selected stop (not the ends).
    void removeStop();
    // Asks for a .ggr file and takes its gradient.
    void load();
    // Asks for a file name and writes the gradient there as .ggr.
    void save();

private:
    void Changed();

    Gradient gradient_;
    UserPrompts& prompts_;
};

}  // namespace tellurine::app
