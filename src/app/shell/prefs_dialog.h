// The preferences dialog, CPrefsPropertySheet: the canvas page, which edits how the editing
// canvas shows transparency and the grid, then the pages of plain values.
#pragma once

#include <QDialog>

#include "app/common/prompts.h"
#include "shell/preferences.h"

class QCheckBox;
class QComboBox;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace tellurine::app {

class CPrefsPropertySheet : public QDialog {
    Q_OBJECT
public:
    // Edits a copy of `prefs`; Values() gives it back when the dialog is accepted.
    CPrefsPropertySheet(const shell::Preferences& prefs, UserPrompts& prompts, QWidget* parent = nullptr);
    [[nodiscard]] const shell::Preferences& Values();

    QTabWidget* pages = nullptr;
    QComboBox* transparencyStyle = nullptr;
    QComboBox* colourScheme = nullptr;
    QPushButton* transparentColor1 = nullptr;
    QPushButton* transparentColor2 = nullptr;
    QComboBox* gridStyle = nullptr;
    QPushButton* gridColor = nullptr;
    QCheckBox* strongerLines = nullptr;
    QSpinBox* strongerSpacing = nullptr;
    QPushButton* previewColor = nullptr;
    QCheckBox* showGrid = nullptr;
    QCheckBox* autoZoom = nullptr;

    // The colour a colour button shows.
    static std::uint32_t ButtonColour(const QPushButton* button);
    static void SetButtonColour(QPushButton* button, std::uint32_t colour);

private slots:
    void OnSchemeChanged(int index);

private:
    QPushButton* ColourButton(std::uint32_t colour);
    // The pages of plain values (start-up, saving, colours, folders), built from their table.
    void AddValuePages();
    shell::Preferences prefs_;
    UserPrompts& prompts_;
};

}  // namespace tellurine::app
