// The main window: the multi-document area with its menus, tool bar and status bar.
#pragma once

#include <QMainWindow>
#include <QMdiSubWindow>
#include <memory>
#include <vector>

#include "app/common/commands.h"

class QLabel;
class QMdiArea;
class QMenu;
class QToolBar;

namespace tellurine::app {

class CKvApp;
class CKvDocument;
class CIconDocMDI;
class CIconProject;
class CColorBar;
class CIconView;

// A status-bar pane whose text may start with "@n": the number of a small picture drawn at the
// start of the pane (0 a pointer, 1 a selection frame), followed by the rest of the text.
class CStatusPane : public QWidget {
    Q_OBJECT
public:
    explicit CStatusPane(QWidget* parent = nullptr);
    void SetText(const QString& text);
    [[nodiscard]] const QString& Text() const { return text_; }
    // The picture number and the text shown after it (-1 and the whole text without "@n").
    [[nodiscard]] int Picture() const { return picture_; }
    [[nodiscard]] const QString& Shown() const { return shown_; }
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString text_;
    QString shown_;
    int picture_ = -1;
};

// A document's window inside the main window: it owns the document and asks to save it before
// it closes. The frame and its views go before the document they show.
class CKvMdiChild : public QMdiSubWindow {
    Q_OBJECT
public:
    CKvMdiChild(CKvApp& app, CKvDocument* document, QWidget* frame);
    ~CKvMdiChild() override;
    [[nodiscard]] CKvDocument* Document() const { return document_.get(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    // A window being maximised gives the main window its title "Tellurine - [window's title]"
    // (Qt adds the brackets to the title it finds); restored, the main window names it again.
    void changeEvent(QEvent* event) override;

private slots:
    void UpdateTitle();

private:
    CKvApp& app_;
    std::unique_ptr<CKvDocument> document_;
};

class CMainFrame : public QMainWindow {
    Q_OBJECT
public:
    explicit CMainFrame(CKvApp& app);
    ~CMainFrame() override;

    [[nodiscard]] CKvApp& App() const { return app_; }
    // Every command of the program, by id ("file.save", "edit.copy", "tool.pencil" ...).
    CommandRegistry* commands = nullptr;
    // The action of a command; null for an unknown id.
    [[nodiscard]] QAction* Action(const QString& id) const;

    QMdiArea* mdiArea = nullptr;
    QMenu* recentMenu = nullptr;
    QMenu* moreRecentMenu = nullptr;
    QMenu* windowMenu = nullptr;
    QMenu* gradientMenu = nullptr;    // the Tools menu's lists, also opened from the tool palette
    QMenu* brushShapeMenu = nullptr;
    QToolBar* toolBar = nullptr;
    QToolBar* toolPalette = nullptr;
    QLabel* formatPane = nullptr;
    CColorBar* colorBar = nullptr;
    CStatusPane* pointerPane = nullptr;    // pane 4
    CStatusPane* selectionPane = nullptr;  // pane 5

    // Puts a document's frame in a new window and shows it.
    CKvMdiChild* AddDocumentWindow(CKvDocument* document, QWidget* frame);
    [[nodiscard]] CKvMdiChild* ActiveChild() const;
    [[nodiscard]] CKvDocument* ActiveDocument() const;
    [[nodiscard]] CIconDocMDI* ActiveIconFrame() const;
    // The active window's frame when it is a `Frame` (CIconDocMDI, CFileExeMDI ...); null otherwise.
    template <class Frame>
    [[nodiscard]] Frame* ActiveFrame() const {
        const CKvMdiChild* child = ActiveChild();
        return child != nullptr ? qobject_cast<Frame*>(child->widget()) : nullptr;
    }
    // Adds a command on the active window when it is a `Frame`: `run` on it, enabled while `can`
    // says so (the command's own `execute` and `enabled` are replaced).
    template <class Frame>
    QAction* AddFrameCommand(Command command, void (Frame::*run)(), bool (Frame::*can)() const) {
        command.execute = [this, run] { (ActiveFrame<Frame>()->*run)(); };
        command.enabled = [this, can] { return ActiveFrame<Frame>() != nullptr && (ActiveFrame<Frame>()->*can)(); };
        return commands->Add(std::move(command));
    }
    // The active window's canvas, when it edits a format.
    [[nodiscard]] CIconView* ActiveCanvas() const;
    [[nodiscard]] std::vector<CKvMdiChild*> Children() const;
    // The window of a document; null when it has none.
    [[nodiscard]] CKvMdiChild* ChildOf(const CKvDocument* document) const;
    // "Tellurine - NAME" for the active document, "Tellurine" without one.
    void UpdateWindowTitle();

public slots:
    // Asks every command whether it is enabled and checked, and refreshes the status bar.
    void updateActions();
    // Refills the two recent-file menus from the lists (after they change).
    void updateRecentMenus();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void CreateMenus();
    // The Window menu's list of open documents: the first nine, then "More Windows...".
    void FillWindowMenu();
    CKvApp& app_;
};

}  // namespace tellurine::app
