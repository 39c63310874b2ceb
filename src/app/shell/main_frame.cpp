#include "app/shell/main_frame.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QClipboard>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QLabel>
#include <QLayout>
#include <QMdiArea>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QUrl>

#include "app/icon/clipboard.h"
#include "app/icon/color_bar.h"
#include "app/icon/dialogs.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_view.h"
#include "app/common/image_convert.h"
#include "app/shell/kv_app.h"
#include "app/icon/print.h"
#include "app/shell/recovery.h"
#include "app/common/texts.h"
#include "app/picture/dib_frame.h"
#include "icon/format_maker.h"
#include "image/raster.h"

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
    document_->setParent(this);
    setWidget(frame);
    connect(document_, &CKvDocument::titleChanged, this, &CKvMdiChild::UpdateTitle);
    connect(document_, &CKvDocument::modifiedChanged, this, &CKvMdiChild::UpdateTitle);
    if (auto* icons = qobject_cast<CIconDocMDI*>(frame))
        connect(icons->view, &CIconView::canvasTitleChanged, this, &CKvMdiChild::UpdateTitle);
    UpdateTitle();
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
    if (!app_.SaveModified(document_)) {
        event->ignore();
        return;
    }
    // Closed, saved or given up: its recovery file goes.
    if (app_.Recovery() != nullptr) app_.Recovery()->Forget(qobject_cast<CIconProject*>(document_));
    QMdiSubWindow::closeEvent(event);
}

// ---- Main frame --------------------------------------------------------------------------------

CMainFrame::CMainFrame(CKvApp& app) : app_(app) {
    setWindowTitle(text::kAppTitle);
    mdiArea = new QMdiArea(this);
    mdiArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdiArea);
    CreateActions();
    colorBar = new CColorBar(app_.colours, app_.canvas.resources, this);
    auto* colorDock = new QDockWidget(text::kColorBarTitle, this);
    colorDock->setObjectName("colorBar");
    colorDock->setWidget(colorBar);
    colorDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetClosable);
    addDockWidget(Qt::BottomDockWidgetArea, colorDock);
    actColorBar = colorDock->toggleViewAction();
    actColorBar->setText(text::kColorBar);
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
    for (CKvMdiChild* child : Children()) delete child;
}

void CMainFrame::CreateActions() {
    const auto make = [this](const char* label, const QKeySequence& key, void (CMainFrame::*slot)(),
                             QStyle::StandardPixmap icon = QStyle::SP_CustomBase) {
        auto* action = new QAction(label, this);
        if (!key.isEmpty()) action->setShortcut(key);
        if (icon != QStyle::SP_CustomBase) action->setIcon(style()->standardIcon(icon));
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    actNew = make(text::kNewIcon, QKeySequence::New, &CMainFrame::OnFileNew, QStyle::SP_FileIcon);
    actOpen = make(text::kOpen, QKeySequence::Open, &CMainFrame::OnFileOpen, QStyle::SP_DialogOpenButton);
    actClose = make(text::kClose, QKeySequence(Qt::CTRL | Qt::Key_F4), &CMainFrame::OnFileClose);
    actSave = make(text::kSave, QKeySequence::Save, &CMainFrame::OnFileSave, QStyle::SP_DialogSaveButton);
    actSaveAs = make(text::kSaveAs, QKeySequence::SaveAs, &CMainFrame::OnFileSaveAs);
    actPrint = make(text::kPrint, QKeySequence::Print, &CMainFrame::OnFilePrint);
    actPrintPreview = make(text::kPrintPreview, QKeySequence(), &CMainFrame::OnFilePrintPreview);
    actExit = new QAction(text::kExit, this);
    actExit->setShortcut(QKeySequence(Qt::ALT | Qt::Key_F4));
    connect(actExit, &QAction::triggered, this, &QWidget::close);
    actUndo = make(text::kUndo, QKeySequence::Undo, &CMainFrame::OnEditUndo);
    actCut = make(text::kCut, QKeySequence::Cut, &CMainFrame::OnEditCut);
    actCopy = make(text::kCopy, QKeySequence::Copy, &CMainFrame::OnEditCopy);
    actPaste = make(text::kPaste, QKeySequence::Paste, &CMainFrame::OnEditPaste);
    actPasteAsFormat = make(text::kPasteAsFormat, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V), &CMainFrame::OnEditPasteAsFormat);
    actDelete = make(text::kDelete, QKeySequence::Delete, &CMainFrame::OnEditDelete);
    actSelectAll = make(text::kSelectAll, QKeySequence::SelectAll, &CMainFrame::OnEditSelectAll);
    actPreserveTransparency = new QAction(text::kPreserveTransparency, this);
    actPreserveTransparency->setCheckable(true);
    actPreserveTransparency->setShortcut(QKeySequence(Qt::Key_T));
    actPreserveTransparency->setStatusTip(text::kPreserveTransparencyHelp);
    connect(actPreserveTransparency, &QAction::toggled, this, &CMainFrame::OnPreserveTransparency);
    actFloatingBehind = make(text::kFloatingBehind, QKeySequence(), &CMainFrame::OnFloatingBehind);
    actRedo = make(text::kRedo, QKeySequence(Qt::CTRL | Qt::Key_Y), &CMainFrame::OnEditRedo);
    actNewFormat = make(text::kNewFormat, QKeySequence(Qt::Key_Insert), &CMainFrame::OnNewFormat);
    actDeleteFormat = make(text::kDeleteFormat, QKeySequence(), &CMainFrame::OnDeleteFormat);
    actCascade = make(text::kCascade, QKeySequence(), &CMainFrame::OnWindowCascade);
    actTile = make(text::kTile, QKeySequence(), &CMainFrame::OnWindowTile);
    actCloseAll = make(text::kCloseAll, QKeySequence(), &CMainFrame::OnWindowCloseAll);
    actZoomIn = make(text::kZoomIn, QKeySequence::ZoomIn, &CMainFrame::OnZoomIn);
    actZoomOut = make(text::kZoomOut, QKeySequence::ZoomOut, &CMainFrame::OnZoomOut);
    actFitToWindow = make(text::kFitToWindow, QKeySequence(Qt::CTRL | Qt::Key_0), &CMainFrame::OnFitToWindow);
    actDisplayGrid = make(text::kDisplayGrid, QKeySequence(Qt::Key_G), &CMainFrame::OnDisplayGrid);
    actDisplayGrid->setCheckable(true);
    actProperties = make(text::kProperties, QKeySequence(Qt::ALT | Qt::Key_Return), &CMainFrame::OnProperties);
    actPreferences = make(text::kPreferences, QKeySequence::Preferences, &CMainFrame::OnPreferences);
    actNewIconFromImage = make(text::kNewIconFromImage, QKeySequence(), &CMainFrame::OnNewIconFromImage);
    actNewFormatFromImage = make(text::kNewFormatFromImage, QKeySequence(), &CMainFrame::OnNewFormatFromImage);
    actBatch = make(text::kBatchItem, QKeySequence(), &CMainFrame::OnBatch);
    actWhatsNew = make(text::kWhatsNew, QKeySequence(), &CMainFrame::OnHelpWhatsNew);
    actAbout = make(text::kAbout, QKeySequence(), &CMainFrame::OnHelpAbout);
}

void CMainFrame::CreateMenus() {
    QMenu* file = menuBar()->addMenu(text::kMenuFile);
    file->addAction(actNew);
    file->addAction(actOpen);
    file->addAction(actClose);
    file->addSeparator();
    file->addAction(actNewIconFromImage);
    file->addAction(actBatch);
    file->addSeparator();
    file->addAction(actSave);
    file->addAction(actSaveAs);
    file->addSeparator();
    file->addAction(actPrint);
    file->addAction(actPrintPreview);
    file->addSeparator();
    recentMenu = file->addMenu(text::kRecentFiles);
    moreRecentMenu = file->addMenu(text::kMoreRecentFiles);
    file->addSeparator();
    file->addAction(actExit);

    QMenu* icon = menuBar()->addMenu(text::kMenuEdit);
    icon->addAction(actUndo);
    icon->addAction(actRedo);
    icon->addSeparator();
    icon->addAction(actCut);
    icon->addAction(actCopy);
    icon->addAction(actPaste);
    icon->addAction(actPasteAsFormat);
    icon->addAction(actDelete);
    icon->addAction(actSelectAll);
    icon->addAction(actPreserveTransparency);
    icon->addAction(actFloatingBehind);
    icon->addSeparator();
    icon->addAction(actNewFormat);
    icon->addAction(actNewFormatFromImage);
    icon->addAction(actDeleteFormat);
    icon->addSeparator();
    icon->addAction(actProperties);
    icon->addSeparator();
    icon->addAction(actPreferences);

    QToolBar* tools = addToolBar(text::kToolBar);
    tools->setObjectName("standardToolBar");
    tools->addAction(actNew);
    tools->addAction(actOpen);
    tools->addAction(actSave);

    QMenu* view = menuBar()->addMenu(text::kMenuView);
    actToolBar = tools->toggleViewAction();
    actToolBar->setText(text::kToolBar);
    view->addAction(actToolBar);
    actStatusBar = new QAction(text::kStatusBar, this);
    actStatusBar->setCheckable(true);
    actStatusBar->setChecked(true);
    connect(actStatusBar, &QAction::toggled, statusBar(), &QWidget::setVisible);
    view->addAction(actStatusBar);
    actFormatBar = new QAction(text::kFormatBar, this);
    actFormatBar->setCheckable(true);
    actFormatBar->setChecked(app_.prefs.ShowIcoFormatBar != 0);
    connect(actFormatBar, &QAction::toggled, this, &CMainFrame::OnViewFormatBar);
    view->addAction(actFormatBar);
    view->addAction(actColorBar);
    view->addSeparator();
    view->addAction(actZoomIn);
    view->addAction(actZoomOut);
    view->addAction(actFitToWindow);
    view->addAction(actDisplayGrid);

    CreateImageMenus();

    // The drawing tools, one checked at a time, and the brush shapes.
    QMenu* toolMenu = menuBar()->addMenu(text::kMenuTools);
    auto* toolGroup = new QActionGroup(this);
    const struct {
        const char* text;
        Qt::Key key;
        editor::ToolKind kind;
    } toolCommands[] = {
        {text::kSelectionTool, Qt::Key_A, editor::ToolKind::Select},
        {"Color Picker (C)", Qt::Key_C, editor::ToolKind::Pick},
        {"Color Replacer", Qt::Key_unknown, editor::ToolKind::Replacer},
        {"Pencil (P)", Qt::Key_P, editor::ToolKind::Pen},
        {"Brush (J)", Qt::Key_J, editor::ToolKind::Brush},
        {"Flood Fill (Q)", Qt::Key_Q, editor::ToolKind::Fill},
        {"Line (L)", Qt::Key_L, editor::ToolKind::Line},
        {"Rectangle (M)", Qt::Key_M, editor::ToolKind::Rectangle},
        {"Filled Rectangle (N)", Qt::Key_N, editor::ToolKind::FilledRectangle},
        {"Ellipse (X)", Qt::Key_X, editor::ToolKind::Ellipse},
        {"Filled Ellipse (Y)", Qt::Key_Y, editor::ToolKind::FilledEllipse},
        {"3D Frame tool (3)", Qt::Key_3, editor::ToolKind::Frame3D},
    };
    for (const auto& command : toolCommands) {
        QAction* action = toolMenu->addAction(command.text);
        action->setCheckable(true);
        action->setActionGroup(toolGroup);
        if (command.key != Qt::Key_unknown) action->setShortcut(QKeySequence(command.key));
        const editor::ToolKind kind = command.kind;
        action->setChecked(kind == editor::ToolKind::Pen);
        connect(action, &QAction::triggered, this, [this, kind] { app_.SetCurrentTool(kind); });
        toolActions.push_back(action);
    }
    toolMenu->addSeparator();
    actSmoothEdges = toolMenu->addAction(text::kSmoothEdges);
    actSmoothEdges->setCheckable(true);
    actSmoothEdges->setShortcut(QKeySequence(Qt::Key_E));
    actSmoothEdges->setChecked(app_.prefs.Smooth32BppDraw != 0);
    connect(actSmoothEdges, &QAction::toggled, this, &CMainFrame::ApplyToolSettings);
    QMenu* gradients = toolMenu->addMenu(text::kGradients);
    auto* gradientGroup = new QActionGroup(this);
    for (int mode = 0; mode < 5; ++mode) {
        QAction* action = gradients->addAction(text::kGradientNames[mode]);
        action->setCheckable(true);
        action->setActionGroup(gradientGroup);
        action->setChecked(mode == 0);
        connect(action, &QAction::triggered, this, &CMainFrame::ApplyToolSettings);
        gradientActions.push_back(action);
    }
    gradients->addSeparator();
    actReflectedGradient = gradients->addAction(text::kReflectedGradient);
    actReflectedGradient->setCheckable(true);
    connect(actReflectedGradient, &QAction::toggled, this, &CMainFrame::ApplyToolSettings);
    QMenu* shapes = toolMenu->addMenu(text::kBrushShapes);
    auto* shapeGroup = new QActionGroup(this);
    for (int shape = 0; shape < editor::kBrushShapeCount; ++shape) {
        QAction* action = shapes->addAction(text::kBrushShapeNames[shape]);
        action->setCheckable(true);
        action->setActionGroup(shapeGroup);
        action->setChecked(shape == 0);
        connect(action, &QAction::triggered, this, [this, shape] {
            for (const auto& tool : app_.tools) tool->settings.brushShape = shape;
        });
        shapeActions.push_back(action);
    }

    QMenu* window = menuBar()->addMenu(text::kMenuWindow);
    window->addAction(actCascade);
    window->addAction(actTile);
    window->addAction(actCloseAll);

    QMenu* help = menuBar()->addMenu(text::kMenuHelp);
    help->addAction(actWhatsNew);
    help->addSeparator();
    help->addAction(actAbout);
}

CKvMdiChild* CMainFrame::AddDocumentWindow(CKvDocument* document, QWidget* frame) {
    auto* child = new CKvMdiChild(app_, document, frame);
    mdiArea->addSubWindow(child);
    connect(document, &CKvDocument::modifiedChanged, this, &CMainFrame::updateActions);
    if (auto* icons = qobject_cast<CIconDocMDI*>(frame)) {
        connect(icons, &CIconDocMDI::currentFormatChanged, this, &CMainFrame::updateActions);
        connect(icons->view, &CIconView::canvasTitleChanged, this, &CMainFrame::updateActions);
        connect(icons->view, &CIconView::pointerMoved, this, &CMainFrame::OnPointerMoved);
        connect(icons->view, &CIconView::propertiesRequested, this, &CMainFrame::OnProperties);
        connect(icons->view, &CIconView::undoRequested, this, &CMainFrame::OnEditUndo);
        connect(icons->view, &CIconView::selectionChanged, this, &CMainFrame::OnSelectionChanged);
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
    child->resize(frame->sizeHint().expandedTo(QSize(760, 540)).expandedTo(area * 0.75).boundedTo(area * 0.95));
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

CIconDocMDI* CMainFrame::ActiveIconFrame() const {
    CKvMdiChild* child = ActiveChild();
    return child != nullptr ? qobject_cast<CIconDocMDI*>(child->widget()) : nullptr;
}

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

void CMainFrame::UpdateWindowTitle() {
    // The program's name, then the active document's, whether or not its window is maximised.
    const CKvDocument* document = ActiveDocument();
    if (const CKvMdiChild* child = ActiveChild(); child != nullptr && child->isMaximized()) return;  // Qt's own form
    setWindowTitle(document == nullptr ? QString(text::kAppTitle)
                                       : QString("%1 - %2").arg(text::kAppTitle, document->Title()));
}

void CMainFrame::updateActions() {
    UpdateWindowTitle();
    CKvDocument* document = ActiveDocument();
    auto* project = qobject_cast<CIconProject*>(document);
    CIconDocMDI* frame = ActiveIconFrame();
    actClose->setEnabled(document != nullptr);
    actSave->setEnabled(project != nullptr && (project->IsModified() || !project->CanSaveInPlace()));
    actSaveAs->setEnabled(project != nullptr);
    actNewFormat->setEnabled(project != nullptr);
    actDeleteFormat->setEnabled(project != nullptr && frame != nullptr && frame->CurrentFormat() >= 0 &&
                                project->Doc().GetFormatCount() > 1);
    const CIconView* canvas = frame != nullptr && frame->view->Format() >= 0 ? frame->view : nullptr;
    actZoomIn->setEnabled(canvas != nullptr && canvas->Zoom() < editor::kMaxZoom);
    actZoomOut->setEnabled(canvas != nullptr && canvas->Zoom() > editor::kMinZoom);
    actFitToWindow->setEnabled(canvas != nullptr);
    actDisplayGrid->setEnabled(canvas != nullptr);
    actDisplayGrid->setChecked(canvas != nullptr && canvas->GridShown());
    actProperties->setEnabled(canvas != nullptr);
    actUndo->setEnabled(canvas != nullptr && project->CanUndo(canvas->Format()));
    actRedo->setEnabled(canvas != nullptr && project->CanRedo(canvas->Format()));
    actPasteAsFormat->setEnabled(project != nullptr);
    actFloatingBehind->setEnabled(canvas != nullptr);
    for (QAction* a : {actCut, actCopy, actPaste, actDelete, actSelectAll, actPreserveTransparency})
        a->setEnabled(canvas != nullptr);
    if (canvas != nullptr)
        if (const editor::FormatState* state = project->EditState(canvas->Format())) {
            const QSignalBlocker quiet(actPreserveTransparency);
            actPreserveTransparency->setChecked(state->preserveTransparency);
        }
    actPrint->setEnabled(canvas != nullptr);
    actPrintPreview->setEnabled(canvas != nullptr);
    UpdateImageActions(canvas);
    actNewIconFromImage->setEnabled(qobject_cast<CDibDocument*>(document) != nullptr);
    actNewFormatFromImage->setEnabled(project != nullptr);
    if (canvas == nullptr) pointerPane->SetText({});
    const bool windows = !Children().empty();
    actCascade->setEnabled(windows);
    actTile->setEnabled(windows);
    actCloseAll->setEnabled(windows);
    actWhatsNew->setEnabled(!app_.WhatsNewPages().isEmpty());

    QString status;
    if (project != nullptr && frame != nullptr) {
        if (const CIconObject* format = project->Doc().GetFormat(frame->CurrentFormat()))
            status = QString(text::kFormatStatus)
                         .arg(format->Width())
                         .arg(format->Height())
                         .arg(QString::fromStdString(shell::BitsText(format->BitCount())),
                              format->Icon().IsCompressed() ? text::kCompressedSuffix : "");
    }
    formatPane->setText(status);
    // The colour bar offers what the edited format's depth can hold.
    const editor::FormatState* edited = project != nullptr && canvas != nullptr ? project->EditState(canvas->Format()) : nullptr;
    colorBar->SetFormat(edited != nullptr ? edited->depth : 0, edited != nullptr ? edited->palette : Palette{});
}

void CMainFrame::updateRecentMenus() {
    const auto fill = [this](QMenu* menu, const shell::RecentFileList& list, int firstCommand, bool own) {
        menu->clear();
        int shown = 0;
        for (std::size_t i = 0; i < list.Entries().size(); ++i) {
            if (own && !app_.ShowInOwnRecentList(list.Entries()[i])) continue;
            QAction* action = menu->addAction(QString::fromStdString(list.MenuText(i)), this, &CMainFrame::OnRecentFile);
            action->setData(QString::fromStdString(list.Entries()[i]));
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

void CMainFrame::OnFileNew() { app_.OnFileNew(); }

void CMainFrame::OnFileOpen() {
    QString filters;
    for (const shell::FileFilter& f : shell::OpenFileFilters())
        filters += (filters.isEmpty() ? "" : ";;") + QString::fromStdString(f.QtFilter());
    const QString folder = QString::fromStdString(app_.prefs.ActualDir);
    const QStringList files = app_.Prompts().GetOpenFileNames(this, folder, filters);
    if (!files.isEmpty()) app_.prefs.ActualDir = QFileInfo(files.front()).absolutePath().toStdString();
    for (const QString& path : files) app_.OpenDocumentFile(path);
}

void CMainFrame::OnFileClose() {
    if (CKvMdiChild* child = ActiveChild()) child->close();
}

void CMainFrame::OnFileSave() {
    if (auto* document = ActiveDocument()) app_.SaveDocument(document);
}

void CMainFrame::OnFileSaveAs() {
    if (auto* document = ActiveDocument()) app_.SaveDocumentAs(document);
}

void CMainFrame::OnNewFormat() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project == nullptr || frame == nullptr) return;
    const int index = app_.AddFormatTo(*project, frame->CurrentFormat(), this);
    if (index >= 0) frame->formatBar->SetCurrentFormat(index);
}

void CMainFrame::OnDeleteFormat() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project == nullptr || frame == nullptr || project->Doc().GetFormatCount() < 2) return;
    project->DeleteFormat(frame->CurrentFormat());
}

void CMainFrame::OnViewFormatBar(bool shown) {
    app_.prefs.ShowIcoFormatBar = shown ? 1 : 0;
    for (CKvMdiChild* child : Children())
        if (auto* icons = qobject_cast<CIconDocMDI*>(child->widget())) icons->formatBar->setVisible(shown);
}

void CMainFrame::OnZoomIn() {
    if (CIconDocMDI* frame = ActiveIconFrame()) frame->view->ZoomIn();
}

void CMainFrame::OnZoomOut() {
    if (CIconDocMDI* frame = ActiveIconFrame()) frame->view->ZoomOut();
}

void CMainFrame::OnFitToWindow() {
    if (CIconDocMDI* frame = ActiveIconFrame()) frame->view->FitToWindow();
}

void CMainFrame::OnDisplayGrid() {
    if (CIconDocMDI* frame = ActiveIconFrame()) frame->view->ToggleGrid();
    updateActions();
}

void CMainFrame::OnProperties() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project != nullptr && frame != nullptr) app_.EditFormatProperties(*project, frame->CurrentFormat(), this);
}

void CMainFrame::OnPointerMoved(int x, int y, bool) { pointerPane->SetText(QString::asprintf(text::kPointerPane, x, y)); }

void CMainFrame::OnPreferences() { app_.EditPreferences(this); }

void CMainFrame::ApplyToolSettings() {
    int mode = editor::kSolid;
    for (std::size_t i = 0; i < gradientActions.size(); ++i)
        if (gradientActions[i]->isChecked()) mode = static_cast<int>(i);
    // The reflected effect is passed as the mode plus 10.
    if (actReflectedGradient->isChecked()) mode += editor::kReflectedGradient;
    app_.prefs.Smooth32BppDraw = actSmoothEdges->isChecked() ? 1 : 0;
    for (const auto& tool : app_.tools) {
        tool->settings.gradient = mode;
        tool->settings.smoothEdges = actSmoothEdges->isChecked();
    }
}

void CMainFrame::OnEditUndo() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project != nullptr && frame != nullptr) project->Undo(frame->view->Format());
}

CIconView* CMainFrame::ActiveCanvas() const {
    CIconDocMDI* frame = ActiveIconFrame();
    return frame != nullptr && frame->view->State() != nullptr ? frame->view : nullptr;
}

void CMainFrame::OnEditCopy() {
    CIconView* view = ActiveCanvas();
    if (view == nullptr) return;
    const editor::FormatState& state = *view->State();
    DeviceBitmap color, alpha;
    editor::SelectedPicture(state, color, alpha);
    std::unique_ptr<QMimeData> copied = PictureMimeData(color, alpha);
    // A whole format also goes as itself, and with its palette, for pasting as a format.
    if (!state.floatingColor && !state.selectionActive)
        if (CIconObject* object = view->Project().Doc().GetFormat(view->Format()))
            AddFormatData(*copied, object->Icon(), state.depth <= 8 ? state.palette : Palette{});
    QGuiApplication::clipboard()->setMimeData(copied.release());
}

void CMainFrame::OnEditPasteAsFormat() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
    if (project == nullptr || pasted == nullptr) return;
    std::vector<CKvIcon> formats = FormatsFromMimeData(*pasted);
    if (formats.empty()) {
        // A picture from elsewhere becomes a 32-bit format of its size.
        DeviceBitmap color, alpha;
        CKvIcon icon;
        if (!PictureFromMimeData(*pasted, color, alpha) || !FormatFromPicture(DeviceBitmapsToDib32(color, alpha), 32, icon))
            return;
        formats.push_back(std::move(icon));
    }
    for (CKvIcon& icon : formats) project->AddFormat(std::move(icon));
    if (CIconDocMDI* frame = ActiveIconFrame()) frame->formatBar->SetCurrentFormat(project->Doc().GetFormatCount() - 1);
}

void CMainFrame::OnEditCut() {
    OnEditCopy();
    OnEditDelete();
}

void CMainFrame::OnEditDelete() {
    CIconView* view = ActiveCanvas();
    if (view == nullptr || (!view->State()->selectionActive && !view->State()->floatingColor)) return;
    view->EditFormat([](editor::FormatState& s) { editor::DeleteSelection(s); });
}

void CMainFrame::OnEditPaste() {
    CIconView* view = ActiveCanvas();
    const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
    DeviceBitmap color, alpha;
    if (view == nullptr || pasted == nullptr || !PictureFromMimeData(*pasted, color, alpha)) return;
    // The picture floats at the selection's corner, or the format's; the selection tool moves it.
    view->EditFormat([&](editor::FormatState& s) {
        const editor::PixelSelection at = s.selectionActive ? s.selection.Normalized() : editor::PixelSelection{0, 0, 0, 0};
        editor::FloatPicture(s, color, alpha, std::max(0, at.left), std::max(0, at.top));
    });
    toolActions.front()->trigger();
}

void CMainFrame::OnEditSelectAll() {
    if (CIconView* view = ActiveCanvas())
        view->EditFormat([](editor::FormatState& s) {
            editor::ClearSelection(s, s.preserveTransparency);
            editor::SelectRectangle(s, 0, 0, s.Width() - 1, s.Height() - 1);
        });
}

void CMainFrame::OnPreserveTransparency(bool on) {
    if (CIconView* view = ActiveCanvas()) {
        view->Project().Session().SetPreserveTransparency(view->Format(), on);
        view->RefreshCanvas();
    }
}

void CMainFrame::OnFloatingBehind() {
    // The menu's command puts the floating selection on the other side of the image.
    CIconView* view = ActiveCanvas();
    if (view != nullptr && view->State()->floatingColor)
        view->EditFormat([](editor::FormatState& s) { s.floatingBehind = !s.floatingBehind; });
}

void CMainFrame::OnSelectionChanged(int width, int height) {
    selectionPane->SetText(width > 0 ? QString::asprintf(text::kSelectionPane, width, height) : QString());
}

void CMainFrame::OnEditRedo() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project != nullptr && frame != nullptr) project->Redo(frame->view->Format());
}

bool CMainFrame::ActivePrintPage(PrintPage& page) {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    const CIconObject* format = project != nullptr && frame != nullptr ? project->Doc().GetFormat(frame->CurrentFormat()) : nullptr;
    if (format == nullptr) return false;
    page.picture = ImageFromIcon(format->Icon());
    page.header = project->Title();
    page.footer = QString(text::kPrintFooter)
                      .arg(format->Width())
                      .arg(format->Height())
                      .arg(QString::fromStdString(shell::BitsText(format->BitCount())));
    page.headerAndFooter = app_.prefs.PrintHeaderFooter != 0;
    return true;
}

void CMainFrame::OnFilePrint() {
    PrintPage page;
    if (!ActivePrintPage(page)) return;
    QPrinter printer(QPrinter::HighResolution);
    QPrintDialog dialog(&printer, this);
    if (dialog.exec() == QDialog::Accepted) PrintFormatPage(printer, page);
}

void CMainFrame::OnFilePrintPreview() {
    PrintPage page;
    if (!ActivePrintPage(page)) return;
    QPrinter printer(QPrinter::HighResolution);
    QPrintPreviewDialog preview(&printer, this);
    connect(&preview, &QPrintPreviewDialog::paintRequested, this, [&page](QPrinter* p) { PrintFormatPage(*p, page); });
    preview.exec();
}

void CMainFrame::OnWindowCascade() { mdiArea->cascadeSubWindows(); }
void CMainFrame::OnWindowTile() { mdiArea->tileSubWindows(); }
void CMainFrame::OnWindowCloseAll() { mdiArea->closeAllSubWindows(); }
void CMainFrame::OnHelpWhatsNew() { app_.ShowWhatsNew(); }

void CMainFrame::OnHelpAbout() {
    // The box's title is the menu item's text without its mnemonic and ellipsis: "About Tellurine".
    const QString title = QString(text::kAbout).remove('&').remove("...");
    app_.Prompts().ShowMessage(this, QMessageBox::Information, title, QString(text::kAboutText).arg(TELLURINE_VERSION));
}

void CMainFrame::OnRecentFile() {
    auto* action = qobject_cast<QAction*>(sender());
    if (action != nullptr) app_.OpenDocumentFile(action->data().toString());
}

void CMainFrame::OnTimer() { app_.OnTimer(); }

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
    QMainWindow::closeEvent(event);
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) app_.OpenDocumentFile(url.toLocalFile());
    event->acceptProposedAction();
}

}  // namespace tellurine::app
