// Everything the program asks the user or tells them in a box goes through UserPrompts, so that
// tests can read the texts and give the answers without boxes on the screen.
#pragma once

#include <QColor>
#include <QMessageBox>
#include <QString>
#include <QStringList>

class QDialog;
class QDialogButtonBox;
class QLayout;
class QProgressDialog;
class QWidget;

namespace tellurine::shell {
struct Preferences;
class Profile;
}  // namespace tellurine::shell

namespace tellurine::app {

class UserPrompts {
public:
    virtual ~UserPrompts() = default;
    // `detail`, when given, is shown under the text (an error's file and reason).
    virtual void ShowMessage(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text,
                             const QString& detail = {});
    enum class SaveAnswer { Save, Discard, Cancel };
    virtual SaveAnswer AskSaveChanges(QWidget* parent, const QString& documentTitle);
    virtual bool AskYesNo(QWidget* parent, const QString& title, const QString& text);
    // A warning with Save and Cancel (Cancel the default); true for Save.
    virtual bool AskSaveOrCancel(QWidget* parent, const QString& title, const QString& text);
    // Runs a dialog (new icon, new format, overwrite prompt, ...) and gives its result code.
    virtual int Exec(QDialog& dialog);
    // The open and save file dialogs; empty when cancelled. `selectedFilter` receives the filter
    // chosen when saving.
    virtual QStringList GetOpenFileNames(QWidget* parent, const QString& folder, const QString& filters);
    virtual QString GetSaveFileName(QWidget* parent, const QString& suggested, const QString& filters,
                                    QString* selectedFilter);
    // The folder dialog; empty when cancelled.
    virtual QString GetExistingDirectory(QWidget* parent, const QString& title, const QString& folder);
    // A choice from a list (the Window menu's "More Windows..."), or, when `editable`, any text
    // typed in its place; `chosen` false when cancelled.
    virtual QString GetItem(QWidget* parent, const QString& title, const QString& label, const QStringList& items,
                            bool& chosen, bool editable = false);
    // The colour dialog (with an alpha field when `withAlpha`); an invalid colour when cancelled.
    virtual QColor GetColor(QWidget* parent, const QColor& initial, const QString& title, bool withAlpha = false);
    // Where the colour dialog keeps the colours last chosen and the saved swatches: the
    // preferences, and the profile they are written to as they change. Without them it keeps none.
    void KeepColoursIn(shell::Preferences* prefs, shell::Profile* profile) {
        colourPrefs_ = prefs;
        colourProfile_ = profile;
    }
    // Shows the progress of long work; the work's result is dropped when the dialog is cancelled.
    virtual void ShowProgress(QProgressDialog& dialog);

private:
    shell::Preferences* colourPrefs_ = nullptr;
    shell::Profile* colourProfile_ = nullptr;
};

// A dialog's OK and Cancel buttons, OK calling its accept() and Cancel its reject().
QDialogButtonBox* OkCancelButtons(QDialog* dialog);
// Lays a dialog out: its content above OK and Cancel.
void AddOkCancel(QDialog* dialog, QLayout* content);

}  // namespace tellurine::app
