#include "app/shell/main_frame.h"

#include <QClipboard>
#include <QCloseEvent>
#include <QDockWidget>
#include <QGuiApplication>
#include <QLabel>
#include <QLayout>
#include <QMdiArea>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>

#include "app/ani/ani_doc.h"
#include "app/common/file_reading.h"
#include "app/explorer/collections_dock.h"
#include "app/explorer/explorer_frame.h"
#include "app/icon/color_bar.h"
#include "app/icon/icon_commands.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_set_export.h"
#include "app/icon/icon_view.h"
#include "app/icon/recovery.h"
#include "app/library/library_frame.h"
#include "app/program/exe_frame.h"
#include "app/shell/file_commands.h"
#include "app/shell/kv_app.h"
#include "shell/app_support.h"
#include "shell/texts.h"

namespace tellurine::app {

// ---- Status panes ------------------------------------------------------------------------------

CStatusPane::CStatusPane(QWidget* parent) : QWidget(parent) {}

void CStatusPane::SetText(const QString& text) {
    text_ = text;
    picture_ = -1;
    shown_ = text;
    if (text.size() >= 2 && text[0] == '@' && text[1].isDigit()) {
        picture_ = text[1].digitValue();
        shown_ = text.mid(2);
    }
    updateGeometry();
    update();
}

QSize CStatusPane::sizeHint() const {
    return {fontMetrics().horizontalAdvance(QStringLiteral("@  0000,0000")) + 24, fontMetrics().height() + 4};
}

void CStatusPane::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const int h = height();
    int x = 2;
    painter.setPen(palette().color(QPalette::WindowText));
    if (picture_ == 0) {
        // A small arrow pointer.
        const QPointF arrow[] = {{0, 0}, {0, 10}, {3, 7}, {5, 11}, {7, 10}, {5, 6}, {9, 6}};
        painter.save();
        painter.translate(x, (h - 11) / 2);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::white);
        painter.drawPolygon(arrow, 7);
        painter.restore();
        x += 14;
    } else if (picture_ == 1) {
        // A dashed selection frame.
        painter.save();
        painter.setPen(QPen(palette().color(QPalette::WindowText), 1, Qt::DashLine));
        painter.drawRect(x, (h - 9) / 2, 10, 9);
        painter.restore();
        x += 14;
    }
    painter.drawText(QRect(x, 0, width() - x, h), Qt::AlignVCenter | Qt::AlignLeft, shown_);
}

// ---- Document window ---------------------------------------------------------------------------

CKvMdiChild::CKvMdiChild(CKvApp& app, CKvDocument* document, QWidget* frame) : app_(app), document_(document) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWidget(frame);
    connect(document_.get(), &CKvDocument::titleChanged, this, &CKvMdiChild::UpdateTitle);
    connect(document_.get(), &CKvDocument::modifiedChanged, this, &CKvMdiChild::UpdateTitle);
    if (auto* icons = qobject_cast<CIconDocMDI*>(frame))
        connect(icons->view, &CIconView::canvasTitleChanged, this, &CKvMdiChild::UpdateTitle);
    UpdateTitle();
}

CKvMdiChild::~CKvMdiChild() {
    // The views hold the document: they go first.
    delete widget();
}

void CKvMdiChild::UpdateTitle() {
    // An icon window adds the canvas's own title: size, colours and zoom.
    QString title = document_->Title() + "[*]";
    if (auto* icons = qobject_cast<CIconDocMDI*>(widget()))
        if (const QString canvas = icons->view->CanvasTitle(); !canvas.isEmpty()) title += " - " + canvas;
    setWindowTitle(title);
    setWindowModified(document_->IsModified());
    if (CMainFrame* main = app_.MainFrame(); main != nullptr && main->ActiveChild() == this) main->UpdateWindowTitle();
}

void CKvMdiChild::changeEvent(QEvent* event) {
    CMainFrame* main = app_.MainFrame();
    if (event->type() == QEvent::WindowStateChange && main != nullptr && isMaximized())
        main->setWindowTitle(text::kAppTitle);
    QMdiSubWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && main != nullptr && !isMaximized()) main->UpdateWindowTitle();
}

void CKvMdiChild::closeEvent(QCloseEvent* event) {
    if (!app_.SaveModified(document_.get())) {
        event->ignore();
        return;
    }
    // Closed, saved or given up: its recovery file goes.
    if (app_.Recovery() != nullptr) app_.Recovery()->Forget(qobject_cast<CIconProject*>(document_.get()));
    QMdiSubWindow::closeEvent(event);
}

// ---- Main frame --------------------------------------------------------------------------------

CMainFrame::CMainFrame(CKvApp& app) : app_(app) {
    setWindowTitle(text::kAppTitle);
    mdiArea = new QMdiArea(this);
    mdiArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdiArea);
    colorBar = new CColorBar(app_.colours, app_.canvas.resources, app_.Prompts(), this);
    connect(colorBar, &CColorBar::paletteEntryChosen, this,
            [this](int index, const QColor& colour) { ChangePaletteEntry(*this, index, colour); });
    auto* colorDock = new QDockWidget(text::kColorBarTitle, this);
    colorDock->setObjectName("colorBar");
    colorDock->setWidget(colorBar);
    colorDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetClosable);
    addDockWidget(Qt::BottomDockWidgetArea, colorDock);
    toolBar = addToolBar(text::kToolBar);
    toolBar->setObjectName("standardToolBar");

    commands = new CommandRegistry(this);
    RegisterFileCommands(*this);
    RegisterEditCommands(*this);
    const ToolPalette tools = RegisterToolCommands(*this);
    toolPalette = tools.bar;
    gradientMenu = tools.gradients;
    brushShapeMenu = tools.brushShapes;
    RegisterImageCommands(*this);
    RegisterIconSetCommand(*this);
    RegisterProgramCommands(*this);
    RegisterLibraryCommands(*this);
    RegisterAnimationCommands(*this);
    RegisterExplorerCommands(*this);
    // The collections, from the folder the preferences name (the user-data folder's "Collections"
    // when they name none), showing the one the librarian switch names.
    const QString collections = app_.prefs.LibrarianLocation.empty()
                                    ? app_.userDataFolder + "Collections"
                                    : QString::fromStdString(app_.prefs.LibrarianLocation);
    collectionsDock = new CCollectionsDock(
        *this, collections,
        app_.switches.librarian ? QString::fromStdString(app_.switches.librarianArgument) : QString(), this);
    addDockWidget(Qt::RightDockWidgetArea, collectionsDock);
    resizeDocks({collectionsDock}, {330}, Qt::Horizontal);
    collectionsDock->setVisible(app_.prefs.LibrarianVisible != 0);
    RegisterCollectionCommands(*this, *collectionsDock);
    // What is shown of the main window: the bars are the window's own, so their commands are here.
    const auto shown = [this](QWidget* bar, const char* id, const char* label) {
        commands->Add({.id = id, .text = label, .execute = [bar] { bar->setVisible(bar->isHidden()); },
                       .checked = [bar] { return !bar->isHidden(); }});
    };
    shown(toolBar, "view.toolBar", text::kToolBar);
    shown(statusBar(), "view.statusBar", text::kStatusBar);
    shown(colorDock, "view.colorBar", text::kColorBar);
    shown(toolPalette, "view.toolPalette", text::kToolPalette);
    shown(collectionsDock, "view.collections", text::kCollections);
    // Closed by their own buttons or menus, the bars' check marks follow.
    for (QDockWidget* dock : {colorDock, static_cast<QDockWidget*>(collectionsDock)})
        connect(dock, &QDockWidget::visibilityChanged, this, &CMainFrame::updateActions);
    for (QToolBar* bar : {toolBar, toolPalette}) connect(bar, &QToolBar::visibilityChanged, this, &CMainFrame::updateActions);
    CreateMenus();
    statusBar()->showMessage(text::kReady);
    formatPane = new QLabel(this);
    formatPane->setObjectName("formatPane");
    pointerPane = new CStatusPane(this);
    pointerPane->setObjectName("pointerPane");
    selectionPane = new CStatusPane(this);
    selectionPane->setObjectName("selectionPane");
    statusBar()->addPermanentWidget(formatPane);
    statusBar()->addPermanentWidget(pointerPane);
    statusBar()->addPermanentWidget(selectionPane);
    connect(mdiArea, &QMdiArea::subWindowActivated, this, &CMainFrame::updateActions);
    // What can be pasted follows the clipboard.
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &CMainFrame::updateActions);
    // A new main window takes most of its screen.
    const QRect screen = QGuiApplication::primaryScreen() != nullptr ? QGuiApplication::primaryScreen()->availableGeometry()
                                                                     : QRect(0, 0, 1280, 800);
    resize(screen.size() * 0.85);
    updateActions();
    updateRecentMenus();
}

CMainFrame::~CMainFrame() {
    // The document windows go first, while this is still a main frame that their signals may reach.
    disconnect(mdiArea, nullptr, this, nullptr);
    // The bars hide as they go: nothing may reach the commands then.
    for (QWidget* bar : findChildren<QToolBar*>()) disconnect(bar, nullptr, this, nullptr);
    for (QWidget* dock : findChildren<QDockWidget*>()) disconnect(dock, nullptr, this, nullptr);
    for (CKvMdiChild* child : Children()) delete child;
}

QAction* CMainFrame::Action(const QString& id) const { return commands->Action(id); }

void CMainFrame::CreateMenus() {
    QMenu* file = menuBar()->addMenu(text::kMenuFile);
    commands->AddTo(file, {"file.new", "file.newLibrary", "file.open", "file.close", "-", "file.browseFolder",
                           "file.findIcons", "librarian.add", "-", "file.newIconFromImage", "file.batch",
                           "file.exportIconSet", "-",
                           "file.save", "file.saveAs", "-", "file.print", "file.printPreview", "-"});
    recentMenu = file->addMenu(text::kRecentFiles);
    moreRecentMenu = file->addMenu(text::kMoreRecentFiles);
    file->addSeparator();
    commands->AddTo(file, {"file.exit"});

    QMenu* edit = menuBar()->addMenu(text::kMenuEdit);
    commands->AddTo(edit, {"edit.undo", "edit.redo", "-", "edit.cut", "edit.copy", "edit.paste", "edit.pasteAsFormat",
                           "edit.pasteAsNewIcon", "edit.delete", "edit.selectAll", "edit.preserveTransparency", "edit.floatingBehind", "-",
                           "icon.newFormat", "icon.newFormatFromImage", "icon.deleteFormat", "-", "icon.properties",
                           "-", "app.preferences"});
    commands->AddTo(toolBar, {"file.new", "file.open", "file.save"});

    QMenu* view = menuBar()->addMenu(text::kMenuView);
    commands->AddTo(view, {"view.toolBar", "view.toolPalette", "view.statusBar", "view.formatBar", "view.colorBar",
                           "view.collections", "-", "view.zoomIn", "view.zoomOut", "view.fit", "view.grid"});

    // The commands whose ids begin so, in the order they were made.
    const auto each = [this](QMenu* menu, const char* prefix) {
        for (const QString& id : commands->Ids())
            if (id.startsWith(prefix)) menu->addAction(Action(id));
    };
    QMenu* image = menuBar()->addMenu(text::kMenuImage);
    commands->AddTo(image, {"image.resize", "image.rotate", "-", "image.flipHorizontal", "image.flipVertical", "-",
                            "image.adjustColors", "image.dropShadow", "image.palette", "-"});
    each(image->addMenu(text::kColorDepthMenu), "image.depth.");
    QMenu* filters = menuBar()->addMenu(text::kMenuFilters);
    commands->AddTo(filters, {"filter.last", "-"});
    for (const QString& id : commands->Ids())
        if (id.startsWith("filter.") && id.mid(7).toInt() > 0) filters->addAction(Action(id));
    commands->AddTo(filters, {"-", "filter.gaussianBlur", "filter.invert"});

    QMenu* tools = menuBar()->addMenu(text::kMenuTools);
    each(tools, "tool.");
    tools->addSeparator();
    commands->AddTo(tools, {"tools.smoothEdges"});
    tools->addMenu(gradientMenu);
    tools->addMenu(brushShapeMenu);

    windowMenu = menuBar()->addMenu(text::kMenuWindow);
    connect(windowMenu, &QMenu::aboutToShow, this, &CMainFrame::FillWindowMenu);
    FillWindowMenu();

    QMenu* help = menuBar()->addMenu(text::kMenuHelp);
    commands->AddTo(help, {"help.whatsNew", "-", "help.about"});
}

void CMainFrame::FillWindowMenu() {
    windowMenu->clear();
    commands->AddTo(windowMenu, {"window.cascade", "window.tile", "window.closeAll"});
    const std::vector<CKvMdiChild*> children = Children();
    if (!children.empty()) windowMenu->addSeparator();
    for (std::size_t i = 0; i < children.size() && i < 9; ++i) {
        CKvMdiChild* child = children[i];
        QAction* action = windowMenu->addAction(QString("&%1 %2").arg(i + 1).arg(child->Document()->Title()));
        action->setCheckable(true);
        action->setChecked(child == ActiveChild());
        connect(action, &QAction::triggered, child, [this, child] { mdiArea->setActiveSubWindow(child); });
    }
    if (children.size() > 9) commands->AddTo(windowMenu, {"window.more"});
}

CKvMdiChild* CMainFrame::AddDocumentWindow(CKvDocument* document, QWidget* frame) {
    auto* child = new CKvMdiChild(app_, document, frame);
    mdiArea->addSubWindow(child);
    connect(document, &CKvDocument::modifiedChanged, this, &CMainFrame::updateActions);
    if (auto* icons = qobject_cast<CIconDocMDI*>(frame)) {
        connect(icons, &CIconDocMDI::currentFormatChanged, this, &CMainFrame::updateActions);
        connect(icons->view, &CIconView::canvasTitleChanged, this, &CMainFrame::updateActions);
        connect(icons->view, &CIconView::pointerMoved, this,
                [this](int x, int y) { pointerPane->SetText(QString::asprintf(text::kPointerPane, x, y)); });
        connect(icons->view, &CIconView::propertiesRequested, this, [this] { commands->Execute("icon.properties"); });
        connect(icons->view, &CIconView::undoRequested, this, [this] { commands->Execute("edit.undo"); });
        connect(icons->view, &CIconView::selectionChanged, this, [this](int width, int height) {
            selectionPane->SetText(width > 0 ? QString::asprintf(text::kSelectionPane, width, height) : QString());
        });
        connect(icons->view, &CIconView::coloursPicked, colorBar, qOverload<>(&QWidget::update));
        icons->formatBar->setVisible(app_.prefs.ShowIcoFormatBar != 0);
    }
    if (auto* project = qobject_cast<CIconProject*>(document)) {
        connect(project, &CIconProject::formatsChanged, this, &CMainFrame::updateActions);
        connect(project, &CIconProject::formatEdited, this, &CMainFrame::updateActions);
    }
    connect(child, &QObject::destroyed, this, &CMainFrame::updateActions, Qt::QueuedConnection);
    // Before the main window is first shown its layout has not placed the area yet.
    if (!mdiArea->isVisible()) layout()->activate();
    const QSize area = mdiArea->size();
    // Below and right of the last window opened, as long as it stays inside the workspace.
    const QList<QMdiSubWindow*> earlier = mdiArea->subWindowList(QMdiArea::CreationOrder);
    const QMdiSubWindow* last = earlier.size() > 1 ? earlier[earlier.size() - 2] : nullptr;
    const shell::WindowPlace lastPlace{last != nullptr ? last->x() : 0, last != nullptr ? last->y() : 0};
    // Room is left below and right for the windows opened after it.
    child->resize(frame->sizeHint().expandedTo(QSize(760, 540)).expandedTo(area * 0.75).boundedTo(area * 0.85));
    const shell::WindowPlace place =
        shell::CascadedPlace(last != nullptr ? &lastPlace : nullptr, style()->pixelMetric(QStyle::PM_TitleBarHeight),
                             child->width(), child->height(), area.width(), area.height());
    child->move(place.x, place.y);
    child->setWindowIcon(windowIcon());
    if (app_.prefs.MaximizeOnOpen != 0) child->showMaximized();
    else child->show();
    mdiArea->setActiveSubWindow(child);
    updateActions();
    return child;
}

CKvMdiChild* CMainFrame::ActiveChild() const { return qobject_cast<CKvMdiChild*>(mdiArea->activeSubWindow()); }

CKvDocument* CMainFrame::ActiveDocument() const {
    CKvMdiChild* child = ActiveChild();
    return child != nullptr ? child->Document() : nullptr;
}

QWidget* CMainFrame::ActiveFrame() const {
    const CKvMdiChild* child = ActiveChild();
    return child != nullptr ? child->widget() : nullptr;
}

CIconDocMDI* CMainFrame::ActiveIconFrame() const { return Active<CIconDocMDI>(); }

std::vector<CKvMdiChild*> CMainFrame::Children() const {
    std::vector<CKvMdiChild*> children;
    for (QMdiSubWindow* w : mdiArea->subWindowList())
        if (auto* child = qobject_cast<CKvMdiChild*>(w)) children.push_back(child);
    return children;
}

CKvMdiChild* CMainFrame::ChildOf(const CKvDocument* document) const {
    for (CKvMdiChild* child : Children())
        if (child->Document() == document) return child;
    return nullptr;
}

std::vector<CKvDocument*> CMainFrame::Documents() const {
    std::vector<CKvDocument*> documents;
    for (const CKvMdiChild* child : Children()) documents.push_back(child->Document());
    return documents;
}

void CMainFrame::CloseDocumentWindow(const CKvDocument* document) {
    if (CKvMdiChild* child = ChildOf(document)) child->close();
}

void CMainFrame::UpdateWindowTitle() {
    // The program's name, then the active document's, whether or not its window is maximised.
    const CKvDocument* document = ActiveDocument();
    if (const CKvMdiChild* child = ActiveChild(); child != nullptr && child->isMaximized()) return;  // Qt's own form
    setWindowTitle(document == nullptr ? QString(text::kAppTitle)
                                       : QString("%1 - %2").arg(text::kAppTitle, document->Title()));
}

void CMainFrame::updateActions() {
    UpdateWindowTitle();
    commands->Update();
    CKvDocument* document = ActiveDocument();
    auto* project = qobject_cast<CIconProject*>(document);
    CIconDocMDI* frame = ActiveIconFrame();
    const CIconView* canvas = ActiveCanvas(*this);
    if (canvas == nullptr) pointerPane->SetText({});
    QString status;
    if (const CIconObject* format = project != nullptr && frame != nullptr ? project->Doc().GetFormat(frame->CurrentFormat())
                                                                          : nullptr)
        status = QString::fromStdString(shell::FormatLine(text::kFormatStatus, format->Width(), format->Height(),
                                                          format->BitCount(), format->Icon().IsCompressed()));
    formatPane->setText(status);
    // The colour bar offers what the edited format's depth can hold.
    const editor::FormatState* edited = canvas != nullptr ? canvas->State() : nullptr;
    colorBar->SetFormat(edited != nullptr ? edited->depth : 0, edited != nullptr ? edited->palette : Palette{});
}

void CMainFrame::updateRecentMenus() {
    const auto fill = [this](QMenu* menu, const shell::RecentFileList& list, int firstCommand, bool own) {
        menu->clear();
        int shown = 0;
        for (std::size_t i = 0; i < list.Entries().size(); ++i) {
            if (own && !app_.ShowInOwnRecentList(list.Entries()[i])) continue;
            QAction* action = menu->addAction(QString::fromStdString(list.MenuText(i)));
            const QString path = QString::fromStdString(list.Entries()[i]);
            action->setData(path);
            connect(action, &QAction::triggered, this, [this, path] { app_.OpenDocumentFile(path); });
            action->setProperty("command", firstCommand + static_cast<int>(i));
            action->setStatusTip(QString::fromStdString(list.Entries()[i]));
            ++shown;
        }
        if (shown == 0) menu->addAction(text::kNoRecentFile)->setEnabled(false);
        menu->setEnabled(shown > 0);
    };
    fill(recentMenu, app_.recentFiles, 0xE110, false);  // the framework's ID_FILE_MRU_FILE1
    fill(moreRecentMenu, app_.ownRecentFiles, shell::kOwnRecentFirstCommand, true);
}

// ---- What the kinds ask of the application -----------------------------------------------------

shell::Preferences& CMainFrame::Prefs() { return app_.prefs; }

shell::Workbench& CMainFrame::Workbench() { return app_; }

UserPrompts& CMainFrame::Prompts() { return app_.Prompts(); }

void CMainFrame::ShowError(const QString& text, const QString& title, const QString& detail) {
    app_.ShowError(text, title, detail);
}

CKvDocument* CMainFrame::OpenDocumentFile(const QString& path) { return app_.OpenDocumentFile(path); }

void CMainFrame::AddToRecentFileList(const QString& path) { app_.AddToRecentFileList(path); }

void CMainFrame::ForgetRecentFile(const QString& path) { app_.ForgetRecentFile(path); }

int CMainFrame::NextUntitledNumber() { return ++app_.untitledCount; }

void CMainFrame::ForgetRecoveryFile(const CKvDocument& document) {
    if (app_.Recovery() != nullptr) app_.Recovery()->Forget(qobject_cast<const CIconProject*>(&document));
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    for (CKvMdiChild* child : Children()) {
        if (!app_.SaveModified(child->Document())) {
            event->ignore();
            return;
        }
    }
    // Every document was saved or given up: the windows close without asking again.
    for (CKvMdiChild* child : Children()) child->Document()->SetModifiedFlag(false);
    mdiArea->closeAllSubWindows();
    // Whether the collections show is kept for the next start.
    app_.prefs.LibrarianVisible = collectionsDock->isHidden() ? 0 : 1;
    QMainWindow::closeEvent(event);
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
    for (const QString& file : LocalFiles(*event->mimeData())) app_.OpenDocumentFile(file);
    event->acceptProposedAction();
}

}  // namespace tellurine::app
