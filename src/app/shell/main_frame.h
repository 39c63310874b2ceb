// The main window: the multi-document area with its menus, tool bar and status bar.
#pragma once

#include <QMainWindow>
#include <QMdiSubWindow>
#include <memory>
#include <vector>

#include "app/common/app_context.h"

class QLabel;
class QMdiArea;
class QMenu;
class QToolBar;

namespace tellurine::app {

class CKvApp;
class CKvDocument;
class CIconDocMDI;
class CColorBar;
class CCollectionsDock;

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

// The main window, and the kinds' AppContext: what they ask of the application is passed on to it.
class CMainFrame : public QMainWindow, public AppContext {
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
    CCollectionsDock* collectionsDock = nullptr;  // the librarian's collections
    CStatusPane* pointerPane = nullptr;    // pane 4
    CStatusPane* selectionPane = nullptr;  // pane 5

    CKvMdiChild* AddDocumentWindow(CKvDocument* document, QWidget* frame) override;
    [[nodiscard]] CKvMdiChild* ActiveChild() const;
    [[nodiscard]] CKvDocument* ActiveDocument() const override;
    [[nodiscard]] QWidget* ActiveFrame() const override;
    [[nodiscard]] CIconDocMDI* ActiveIconFrame() const;
    [[nodiscard]] std::vector<CKvMdiChild*> Children() const;
    // The window of a document; null when it has none.
    [[nodiscard]] CKvMdiChild* ChildOf(const CKvDocument* document) const;
    // "Tellurine - NAME" for the active document, "Tellurine" without one.
    void UpdateWindowTitle();

    // What the kinds ask of the application and this window (AppContext).
    [[nodiscard]] shell::Preferences& Prefs() override;
    [[nodiscard]] shell::Workbench& Workbench() override;
    [[nodiscard]] UserPrompts& Prompts() override;
    void ShowError(const QString& text, const QString& title = {}, const QString& detail = {}) override;
    CKvDocument* OpenDocumentFile(const QString& path) override;
    void AddToRecentFileList(const QString& path) override;
    void ForgetRecentFile(const QString& path) override;
    int NextUntitledNumber() override;
    void ForgetRecoveryFile(const CKvDocument& document) override;
    [[nodiscard]] QMainWindow* Window() override { return this; }
    [[nodiscard]] CommandRegistry& Commands() override { return *commands; }
    void CloseDocumentWindow(const CKvDocument* document) override;
    [[nodiscard]] std::vector<CKvDocument*> Documents() const override;

public slots:
    // Asks every command whether it is enabled and checked, and refreshes the status bar.
    void updateActions() override;
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
