// What a document kind needs of the running program: the settings and the drawing tools, the boxes
// shown to the user, the recent files, and the main window with its commands and document windows.
// The main window gives it (passing on what the application object holds), so that a kind keeps an
// AppContext& and never includes shell/.
#pragma once

#include <QMainWindow>
#include <QString>
#include <vector>

#include "app/common/commands.h"
#include "app/common/prompts.h"
#include "shell/preferences.h"
#include "shell/workbench.h"

class QMdiSubWindow;

namespace tellurine::app {

class CKvDocument;

class AppContext {
public:
    virtual ~AppContext() = default;

    // The preferences, read at start-up and written back at exit.
    [[nodiscard]] virtual shell::Preferences& Prefs() = 0;
    // The drawing tools and the canvas settings every icon window shares.
    [[nodiscard]] virtual shell::Workbench& Workbench() = 0;
    [[nodiscard]] virtual UserPrompts& Prompts() = 0;
    // A critical message box over the main window, titled `title` or the program's name, with
    // `detail` (the file and the reason) under the text.
    virtual void ShowError(const QString& text, const QString& title = {}, const QString& detail = {}) = 0;

    // Opens a file through the template its extension and content choose, as File > Open does;
    // null after telling the user why not.
    virtual CKvDocument* OpenDocumentFile(const QString& path) = 0;
    // Puts a file on the recent lists (opened or saved), or takes it off (it could not be read).
    virtual void AddToRecentFileList(const QString& path) = 0;
    virtual void ForgetRecentFile(const QString& path) = 0;
    // The number of the next untitled document ("Icon3", "IconLibrary2").
    virtual int NextUntitledNumber() = 0;
    // Removes a document's recovery file, when it has one (it was just saved whole).
    virtual void ForgetRecoveryFile(const CKvDocument& document) = 0;

    // The main window: the parent of the kinds' dialogs and boxes, with the status bar and the
    // tool bars.
    [[nodiscard]] virtual QMainWindow* Window() = 0;
    // Every command of the program, by id.
    [[nodiscard]] virtual CommandRegistry& Commands() = 0;
    // Asks every command whether it is enabled and checked, and refreshes the status bar.
    virtual void updateActions() = 0;
    // Puts a document's frame in a new window, which owns the document, and shows it.
    virtual QMdiSubWindow* AddDocumentWindow(CKvDocument* document, QWidget* frame) = 0;
    // Closes a document's window, asking to save the document first as closing it by hand does.
    virtual void CloseDocumentWindow(const CKvDocument* document) = 0;
    // The open documents, in the order their windows were opened.
    [[nodiscard]] virtual std::vector<CKvDocument*> Documents() const = 0;
    // The active window's document and frame; null without one.
    [[nodiscard]] virtual CKvDocument* ActiveDocument() const = 0;
    [[nodiscard]] virtual QWidget* ActiveFrame() const = 0;
    // The active window's frame when it is a `Frame` (CIconDocMDI, CFileExeMDI ...); null otherwise.
    template <class Frame>
    [[nodiscard]] Frame* Active() const {
        return qobject_cast<Frame*>(ActiveFrame());
    }
};

// Adds a command on the active window when it is a `Frame`: `run` on it, enabled while `can`
// says so (the command's own `execute` and `enabled` are replaced).
template <class Frame>
QAction* AddFrameCommand(AppContext& app, Command command, void (Frame::*run)(), bool (Frame::*can)() const) {
    command.execute = [&app, run] { (app.Active<Frame>()->*run)(); };
    command.enabled = [&app, can] { return app.Active<Frame>() != nullptr && (app.Active<Frame>()->*can)(); };
    return app.Commands().Add(std::move(command));
}

}  // namespace tellurine::app
