// The Palette dialog of the Image menu for indexed formats: the entries as a grid of swatches, one
// changed by a double-click and moved by a drag (its pixels follow), the entries sorted, palettes
// loaded from and saved to files, and the picture's colours reduced; a loaded or reduced palette is
// mapped onto the picture, dithered or not, on this format or on every indexed one.
#pragma once

#include <QDialog>
#include <functional>
#include <vector>

#include "editor/palette_draft.h"

class QCheckBox;
class QSpinBox;
class QTableWidget;

namespace tellurine::app {

class UserPrompts;

class CDialPalette : public QDialog {
    Q_OBJECT
public:
    // `optimal` gives the picture's best palette of so many colours, for Reduce.
    CDialPalette(const Palette& palette, int depth, UserPrompts& prompts, std::function<Palette(int)> optimal,
                 QWidget* parent = nullptr);
    // The palette as the dialog leaves it.
    [[nodiscard]] const editor::PaletteDraft& Result() const { return draft_; }
    [[nodiscard]] bool Dither() const;
    [[nodiscard]] bool AllFormats() const;

    QTableWidget* grid = nullptr;
    QCheckBox* ditherCheck = nullptr;
    QCheckBox* allFormatsCheck = nullptr;
    QSpinBox* reduceCount = nullptr;

public slots:
    // Asks for a new colour of entry `index`.
    void editEntry(int index);
    // Asks for a palette file and takes its first colours.
    void load();
    // Asks for a file and writes the palette in the format its extension names.
    void save();
    // Orders the entries from dark to light.
    void sortByBrightness();
    // Moves entry `from` to place `to`, the entries between moving up or down one.
    void moveEntry(int from, int to);
    // The picture's best palette of as many colours as the count asks.
    void reduce();

protected:
    // A swatch dragged onto another place moves there.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowEntries();
    [[nodiscard]] int EntryAt(QPoint at) const;

    editor::PaletteDraft draft_;
    UserPrompts& prompts_;
    std::function<Palette(int)> optimal_;
    int pressed_ = -1;
};

}  // namespace tellurine::app
