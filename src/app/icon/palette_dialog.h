// The Palette dialog of the Image menu for indexed formats: the entries as a grid of swatches, one
// changed by a double-click (its pixels follow), palettes loaded from and saved to files, and the
// entries sorted; a loaded or sorted palette is mapped onto the picture, dithered or not.
#pragma once

#include <QDialog>

#include "image/palette.h"

class QCheckBox;
class QTableWidget;

namespace tellurine::app {

class UserPrompts;

class CDialPalette : public QDialog {
    Q_OBJECT
public:
    CDialPalette(const Palette& palette, int depth, UserPrompts& prompts, QWidget* parent = nullptr);
    // The palette as the dialog leaves it.
    [[nodiscard]] const Palette& Result() const { return palette_; }
    // Whether the picture is to be mapped onto it (a palette loaded or sorted) rather than each
    // index keeping its pixels.
    [[nodiscard]] bool Remap() const { return remap_; }
    [[nodiscard]] bool Dither() const;

    QTableWidget* grid = nullptr;
    QCheckBox* ditherCheck = nullptr;

public slots:
    // Asks for a new colour of entry `index`.
    void editEntry(int index);
    // Asks for a palette file and takes its first colours.
    void load();
    // Asks for a file and writes the palette in the format its extension names.
    void save();
    // Orders the entries from dark to light.
    void sortByBrightness();

private:
    void ShowEntries();

    Palette palette_;
    UserPrompts& prompts_;
    bool remap_ = false;
};

}  // namespace tellurine::app
