// The main window: the multi-document area with its menus, tool bar and status bar.
#pragma once

#include <QMainWindow>
#include <QMdiSubWindow>
#include <functional>
#include <vector>

#include "editor/tools.h"

class QLabel;
class QMdiArea;
class QMenu;

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
// it closes.
class CKvMdiChild : public QMdiSubWindow {
    Q_OBJECT
public:
    CKvMdiChild(CKvApp& app, CKvDocument* document, QWidget* frame);
    [[nodiscard]] CKvDocument* Document() const { return document_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    // A window being maximised gives the main window its title "Tellurine - [window's title]"
    // (Qt adds the brackets to the title it finds); restored, the main window names it again.
    void changeEvent(QEvent* event) override;

private slots:
    void UpdateTitle();

private:
    CKvApp& app_;
    CKvDocument* document_;
};

class CMainFrame : public QMainWindow {
    Q_OBJECT
public:
    explicit CMainFrame(CKvApp& app);
    ~CMainFrame() override;

    QMdiArea* mdiArea = nullptr;
    QAction* actNew = nullptr;
    QAction* actOpen = nullptr;
    QAction* actClose = nullptr;
    QAction* actSave = nullptr;
    QAction* actSaveAs = nullptr;
    QAction* actPrint = nullptr;
    QAction* actPrintPreview = nullptr;
    QAction* actExit = nullptr;
    QAction* actCut = nullptr;
    QAction* actCopy = nullptr;
    QAction* actPaste = nullptr;
    QAction* actPasteAsFormat = nullptr;
    QAction* actDelete = nullptr;
    QAction* actSelectAll = nullptr;
    QAction* actPreserveTransparency = nullptr;
    QAction* actFloatingBehind = nullptr;
    QAction* actUndo = nullptr;
    QAction* actRedo = nullptr;
    std::vector<QAction*> toolActions;   // in the order of the Tools menu
    std::vector<QAction*> shapeActions;  // brush shapes 0 to 11
    std::vector<QAction*> gradientActions;  // the gradient modes 0 to 4
    QAction* actReflectedGradient = nullptr;
    QAction* actSmoothEdges = nullptr;
    QAction* actNewFormat = nullptr;
    QAction* actDeleteFormat = nullptr;
    QAction* actToolBar = nullptr;
    QAction* actStatusBar = nullptr;
    QAction* actFormatBar = nullptr;
    QAction* actCascade = nullptr;
    QAction* actTile = nullptr;
    QAction* actCloseAll = nullptr;
    QAction* actZoomIn = nullptr;
    QAction* actZoomOut = nullptr;
    QAction* actFitToWindow = nullptr;
    QAction* actDisplayGrid = nullptr;
    QAction* actProperties = nullptr;
    QAction* actPreferences = nullptr;
    QAction* actResizeImage = nullptr;
    QAction* actRotateImage = nullptr;
    QAction* actFlipHorizontal = nullptr;
    QAction* actFlipVertical = nullptr;
    std::vector<QAction*> depthActions;   // 1, 4, 8, 24 and 32 bits
    QAction* actLastFilter = nullptr;
    std::vector<QAction*> filterActions;  // filters 1 to 12
    QAction* actGaussianBlur = nullptr;
    QAction* actInvertColors = nullptr;
    QAction* actNewIconFromImage = nullptr;
    QAction* actNewFormatFromImage = nullptr;
    QAction* actBatch = nullptr;
    QAction* actWhatsNew = nullptr;
    QAction* actAbout = nullptr;
    QMenu* recentMenu = nullptr;
    QMenu* moreRecentMenu = nullptr;
    QLabel* formatPane = nullptr;
    CColorBar* colorBar = nullptr;
    QAction* actColorBar = nullptr;
    CStatusPane* pointerPane = nullptr;    // pane 4
    CStatusPane* selectionPane = nullptr;  // pane 5

    // Puts a document's frame in a new window and shows it.
    CKvMdiChild* AddDocumentWindow(CKvDocument* document, QWidget* frame);
    [[nodiscard]] CKvMdiChild* ActiveChild() const;
    [[nodiscard]] CKvDocument* ActiveDocument() const;
    [[nodiscard]] CIconDocMDI* ActiveIconFrame() const;
    [[nodiscard]] std::vector<CKvMdiChild*> Children() const;
    // The window of a document; null when it has none.
    [[nodiscard]] CKvMdiChild* ChildOf(const CKvDocument* document) const;
    // "Tellurine - NAME" for the active document, "Tellurine" without one.
    void UpdateWindowTitle();

public slots:
    // Enables the commands for the active document and refreshes the recent-file menus and the
    // status bar.
    void updateActions();
    // Refills the two recent-file menus from the lists (after they change).
    void updateRecentMenus();
    void OnFileNew();
    void OnFileOpen();
    void OnFileClose();
    void OnFileSave();
    void OnFileSaveAs();
    void OnNewFormat();
    void OnDeleteFormat();
    void OnViewFormatBar(bool shown);
    void OnZoomIn();
    void OnZoomOut();
    void OnFitToWindow();
    void OnDisplayGrid();
    void OnProperties();
    void OnPointerMoved(int x, int y, bool inside);
    void OnPreferences();
    void OnFilePrint();
    void OnEditUndo();
    void OnEditCut();
    void OnEditCopy();
    void OnEditPaste();
    void OnEditPasteAsFormat();
    void OnEditDelete();
    void OnEditSelectAll();
    void OnPreserveTransparency(bool on);
    void OnFloatingBehind();
    void OnSelectionChanged(int width, int height);
    void OnEditRedo();
    void OnFilePrintPreview();
    void OnWindowCascade();
    void OnWindowTile();
    void OnWindowCloseAll();
    void OnHelpWhatsNew();
    void OnHelpAbout();
    void OnRecentFile();
    void OnResizeImage();
    void OnRotateImage();
    void OnFlipHorizontal();
    void OnFlipVertical();
    void OnColorDepth(int bits);
    void OnFilter(int filterNumber);
    void OnLastFilter();
    void OnGaussianBlur();
    void OnInvertColors();
    void OnNewIconFromImage();
    void OnNewFormatFromImage();
    void OnBatch();
    void OnTimer();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void CreateActions();
    void CreateMenus();
    // The Image and Filters menus, and their part of updateActions.
    void CreateImageMenus();
    void UpdateImageActions(const CIconView* canvas);
    // Runs an image command on a copy of the active canvas's format, off the interface thread
    // with progress past half a second, and makes the result one undoable step. False when there
    // is no canvas, the user cancelled, or the command failed (the user is told).
    bool RunImageCommand(const std::function<bool(editor::FormatState&)>& command);
    // Gives every tool the gradient mode and the smooth-edge switch the menu shows.
    void ApplyToolSettings();
    // The active canvas's project, format index and editable state; false without one.
    // The active window's canvas, when it edits a format.
    [[nodiscard]] CIconView* ActiveCanvas() const;
    // What printing the active window's format puts on the page; false without one.
    bool ActivePrintPage(struct PrintPage& page);
    CKvApp& app_;
};

}  // namespace tellurine::app
