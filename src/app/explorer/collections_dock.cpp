#include "app/explorer/collections_dock.h"

#include <QComboBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMimeData>
#include <QStackedWidget>
#include <QToolBar>
#include <QVBoxLayout>
#include <memory>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/long_work.h"
#include "app/explorer/explorer_doc.h"
#include "app/explorer/explorer_frame.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/library/library_frame.h"
#include "formats/ico_file.h"
#include "image/file_io.h"
#include "shell/doc_templates.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

QString Lines(const QStringList& items) {
    return items.join('\n');
}

}  // namespace

CCollectionsDock::CCollectionsDock(AppContext& app, const QString& folder, const QString& shown, QWidget* parent)
    : QDockWidget(text::kCollectionsTitle, parent), app_(app), collections_(folder.toStdString()) {
    setObjectName("collections");
    setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetFloatable);
    auto* body = new QWidget(this);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(2, 2, 2, 2);
    combo = new QComboBox(body);
    combo->setObjectName("collectionCombo");
    layout->addWidget(combo);
    bar = new QToolBar(body);
    bar->setObjectName("collectionBar");
    bar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    bar->setIconSize(QSize(16, 16));
    layout->addWidget(bar);

    // The grid is an explorer of the collection's folder: it reads the icons on a worker and
    // follows the folder's changes, including files put there by hand.
    document_ = new CExplorerDoc(shell::kTemplateExplorer, this);
    stack_ = new QStackedWidget(body);
    view = new CExplorerView(*document_, stack_);
    view->setAcceptDrops(true);
    view->viewport()->setAcceptDrops(true);
    view->viewport()->installEventFilter(this);
    emptyLabel = new QLabel(text::kCollectionEmpty, stack_);
    emptyLabel->setWordWrap(true);
    emptyLabel->setAlignment(Qt::AlignCenter);
    emptyLabel->setAcceptDrops(true);
    emptyLabel->installEventFilter(this);
    stack_->addWidget(view);
    stack_->addWidget(emptyLabel);
    layout->addWidget(stack_, 1);
    setWidget(body);

    connect(view, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.isValid()) OnOpen();
    });
    connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { app_.Commands().Update(); });
    connect(document_, &CExplorerDoc::entriesReset, this, &CCollectionsDock::ShowEmptyOrGrid);
    connect(document_, &CExplorerDoc::entriesAdded, this, &CCollectionsDock::ShowEmptyOrGrid);
    connect(document_, &CExplorerDoc::progress, this, &CCollectionsDock::ShowEmptyOrGrid);
    connect(combo, &QComboBox::currentIndexChanged, this, &CCollectionsDock::ShowCurrent);
    Refresh(shown);
}

CCollectionsDock::~CCollectionsDock() {
    disconnect(document_, nullptr, this, nullptr);
}

QString CCollectionsDock::Current() const {
    return combo->currentIndex() >= 0 ? combo->currentText() : QString();
}

void CCollectionsDock::Show(const QString& collection) {
    Refresh(collection);
}

void CCollectionsDock::Refresh(const QString& select) {
    QStringList names;
    for (const std::string& name : collections_.Names()) names << QString::fromStdString(name);
    {
        // Filled quietly: the grid follows once, below.
        const QSignalBlocker blocker(combo);
        combo->clear();
        combo->addItems(names);
        combo->setEnabled(!names.isEmpty());
        if (names.isEmpty()) combo->addItem(text::kCollectionNone);
        const int at = static_cast<int>(names.indexOf(select));
        combo->setCurrentIndex(names.isEmpty() ? -1 : std::max(at, 0));
    }
    ShowCurrent();
}

void CCollectionsDock::ShowCurrent() {
    const std::string folder =
        Current().isEmpty() ? std::string() : collections_.PathOf(Current().toStdString()).string();
    if (folder != document_->Settings().folder || folder.empty()) {
        ExplorerSettings settings;
        settings.folder = folder;
        settings.subfolders = false;
        document_->SetSettings(settings);
        document_->SetModifiedFlag(false);
        if (!folder.empty()) document_->Scan();
    }
    ShowEmptyOrGrid();
    app_.Commands().Update();
}

void CCollectionsDock::ShowEmptyOrGrid() {
    const bool empty = !document_->IsScanning() && document_->Entries().empty();
    stack_->setCurrentWidget(empty ? static_cast<QWidget*>(emptyLabel) : view);
}

QStringList CCollectionsDock::SelectedFiles() const {
    QStringList files;
    for (const int row : view->SelectedRows()) files << QString::fromStdString(view->Model()->Entry(row).info.path);
    return files;
}

QString CCollectionsDock::Target() {
    if (!Current().isEmpty()) return Current();
    const std::string why = collections_.Create(text::kCollectionFirstName);
    if (!why.empty()) {
        Fail(text::kCollectionNotSaved, why);
        return {};
    }
    Refresh(text::kCollectionFirstName);
    return Current();
}

void CCollectionsDock::Fail(const QString& text, const std::string& reason) {
    app_.ShowError(text, {}, QString::fromStdString(reason));
}

int CCollectionsDock::AddIcons(const std::vector<shell::IconFileBytes>& icons) {
    if (icons.empty()) return 0;
    const QString collection = Target();
    if (collection.isEmpty()) return 0;
    std::string error;
    std::vector<std::filesystem::path> made;
    // Written off the interface thread, to its end.
    RunLongWork(
        app_.Prompts(), app_.Window(), text::kCollectionAdding,
        [&] { made = collections_.Add(collection.toStdString(), icons, error); }, Cancel::NotAllowed);
    if (made.size() < icons.size()) Fail(text::kCollectionNotSaved, error);
    // The grid shows them now rather than when the folder's watch notices.
    if (!made.empty()) document_->Scan();
    return static_cast<int>(made.size());
}

int CCollectionsDock::AddFiles(const QStringList& paths) {
    // The files are read on a worker (a large program takes a while), which owns what it fills.
    struct Read {
        std::vector<shell::IconFileBytes> icons;
        QStringList failures;
    };
    auto read = std::make_shared<Read>();
    const bool done = RunLongWork(app_.Prompts(), app_.Window(), text::kCollectionAdding, [read, paths] {
        for (const QString& path : paths) {
            std::string error;
            std::vector<shell::IconFileBytes> more = shell::IconFilesOf(path.toStdString(), error);
            if (more.empty()) read->failures << QDir::toNativeSeparators(path);
            for (shell::IconFileBytes& icon : more) read->icons.push_back(std::move(icon));
        }
    });
    if (!done) return 0;
    const QStringList& failures = read->failures;
    const int added = AddIcons(read->icons);
    if (!failures.isEmpty())
        app_.Prompts().ShowMessage(app_.Window(), QMessageBox::Warning, text::kAppTitle,
                                   QString(text::kCollectionNotAdded).arg(Lines(failures)));
    return added;
}

bool CCollectionsDock::eventFilter(QObject* watched, QEvent* event) {
    const auto type = event->type();
    if (type == QEvent::DragEnter || type == QEvent::DragMove) {
        auto* drag = static_cast<QDropEvent*>(event);
        // The grid's own tiles dragged over it are not added again.
        if (drag->mimeData()->hasUrls() && drag->source() != view) {
            drag->setDropAction(Qt::CopyAction);
            drag->accept();
        } else {
            drag->ignore();
        }
        return true;
    }
    if (type == QEvent::Drop) {
        auto* drop = static_cast<QDropEvent*>(event);
        if (drop->source() == view) return true;
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        AddFiles(LocalFiles(*drop->mimeData()));
        return true;
    }
    return QDockWidget::eventFilter(watched, event);
}

void CCollectionsDock::OnNew() {
    bool chosen = false;
    const QString name =
        app_.Prompts().GetItem(app_.Window(), text::kCollectionsTitle, text::kCollectionNameLabel, {}, chosen, true);
    if (!chosen) return;
    if (const std::string why = collections_.Create(name.toStdString()); !why.empty()) {
        Fail(QString::fromStdString(why), {});
        return;
    }
    Refresh(name.trimmed());
}

void CCollectionsDock::OnRename() {
    const QString old = Current();
    if (old.isEmpty()) return;
    bool chosen = false;
    const QString name =
        app_.Prompts().GetItem(app_.Window(), text::kCollectionsTitle, text::kCollectionNameLabel, {old}, chosen, true);
    if (!chosen) return;
    if (const std::string why = collections_.Rename(old.toStdString(), name.toStdString()); !why.empty()) {
        Fail(QString::fromStdString(why), {});
        return;
    }
    Refresh(name.trimmed());
}

void CCollectionsDock::OnDelete() {
    const QString collection = Current();
    if (collection.isEmpty() || !app_.Prompts().AskYesNo(app_.Window(), text::kCollectionsTitle,
                                                         QString(text::kCollectionDeleteAsk).arg(collection)))
        return;
    if (const std::string why = collections_.Remove(collection.toStdString()); !why.empty())
        Fail(text::kCollectionNotSaved, why);
    Refresh({});
}

void CCollectionsDock::OnExportLibrary() {
    const QString collection = Current();
    if (collection.isEmpty()) return;
    const QString filters =
        QStringList{text::kLibraryIclFilter, text::kLibraryDll64Filter, text::kLibraryDll32Filter}.join(";;");
    QString filter;
    const QString folder = QString::fromStdString(app_.Prefs().ActualDir);
    const QString path =
        app_.Prompts().GetSaveFileName(app_.Window(), QDir(folder).filePath(collection + ".icl"), filters, &filter);
    if (path.isEmpty()) return;
    const shell::LibraryKind kind = filter == text::kLibraryDll32Filter   ? shell::LibraryKind::Dll32
                                    : filter == text::kLibraryDll64Filter ? shell::LibraryKind::Dll64
                                                                          : shell::LibraryKind::Icl;
    std::string error;
    const auto bytes =
        collections_.Library(collection.toStdString(), kind, QFileInfo(path).completeBaseName().toStdString(), error);
    if (!bytes || !WriteFileAtomically(path.toStdString(), *bytes, error)) {
        Fail(text::kCollectionNotSaved, QDir::toNativeSeparators(path).toStdString() + ": " + error);
        return;
    }
    app_.AddToRecentFileList(path);
}

void CCollectionsDock::OnExportFolder() {
    const QString collection = Current();
    if (collection.isEmpty()) return;
    const QString folder = app_.Prompts().GetExistingDirectory(app_.Window(), text::kCollectionExportFolder,
                                                               QString::fromStdString(app_.Prefs().ActualDir));
    if (folder.isEmpty()) return;
    QStringList clashes;
    for (const std::string& name : collections_.ExportClashes(collection.toStdString(), folder.toStdString()))
        clashes << QString::fromStdString(name);
    const bool replace =
        !clashes.isEmpty() && app_.Prompts().AskYesNo(app_.Window(), text::kCollectionsTitle,
                                                      QString(text::kCollectionReplaceAsk).arg(Lines(clashes)));
    std::string error;
    if (!collections_.ExportFolder(collection.toStdString(), folder.toStdString(), replace, error))
        Fail(text::kCollectionNotSaved, QDir::toNativeSeparators(folder).toStdString() + ": " + error);
}

void CCollectionsDock::OnRemoveIcons() {
    const QStringList files = SelectedFiles();
    if (files.isEmpty()) return;
    if (app_.Prefs().LibrarianAskDeletion != 0 &&
        !app_.Prompts().AskYesNo(app_.Window(), text::kCollectionsTitle,
                                 QString(text::kCollectionRemoveAsk).arg(files.size()).arg(Current())))
        return;
    for (const QString& file : files) {
        std::string error;
        if (!shell::Collections::RemoveIcon(file.toStdString(), error)) Fail(text::kCollectionNotSaved, error);
    }
    document_->Scan();
}

void CCollectionsDock::OnOpen() {
    for (const QString& file : SelectedFiles()) app_.OpenDocumentFile(file);
}

namespace {

// What Add to Collection takes from the active window: an icon project's formats, the files
// chosen in an explorer, the icons chosen in a library, else the window's file.
bool AddFromActiveWindow(AppContext& app, CCollectionsDock& dock, bool dryRun) {
    if (auto* icons = app.Active<CIconDocMDI>()) {
        if (dryRun) return icons->Project().Doc().GetFormatCount() > 0;
        shell::IconFileBytes icon{QFileInfo(icons->Project().Title()).completeBaseName().toStdString(), {}};
        if (!WriteIconFile(icons->Project().Doc(), false, icon.file)) return false;
        return dock.AddIcons({std::move(icon)}) > 0;
    }
    if (auto* explorer = app.Active<CExplorerMDI>()) {
        if (dryRun) return explorer->HasSelection();
        QStringList files;
        for (const int row : explorer->view->SelectedRows())
            files << QString::fromStdString(explorer->view->Model()->Entry(row).info.path);
        return dock.AddFiles(files) > 0;
    }
    if (auto* library = app.Active<CFileIclMDI>()) {
        if (dryRun) return library->HasSelection();
        std::vector<shell::IconFileBytes> chosen;
        for (const int row : library->SelectedRows()) {
            const shell::LibraryIcon& icon = library->Document().Library().Icons()[static_cast<std::size_t>(row)];
            chosen.push_back({icon.name.Display(), icon.file});
        }
        return dock.AddIcons(chosen) > 0;
    }
    const CKvDocument* document = app.ActiveDocument();
    if (document == nullptr || document->PathName().isEmpty()) return false;
    return dryRun || dock.AddFiles({document->PathName()}) > 0;
}

}  // namespace

void RegisterCollectionCommands(AppContext& app, CCollectionsDock& dock) {
    CommandRegistry& commands = app.Commands();
    const auto shown = [&dock] { return !dock.Current().isEmpty(); };
    commands.Add({.id = "librarian.add",
                  .text = text::kCollectionAdd,
                  .execute = [&app, &dock] { AddFromActiveWindow(app, dock, false); },
                  .enabled = [&app, &dock] { return AddFromActiveWindow(app, dock, true); },
                  .statusTip = text::kCollectionAddTip});
    commands.Add({.id = "librarian.new",
                  .text = text::kCollectionNew,
                  .execute = [&dock] { dock.OnNew(); },
                  .icon = QStyle::SP_FileDialogNewFolder});
    commands.Add({.id = "librarian.rename",
                  .text = text::kCollectionRename,
                  .execute = [&dock] { dock.OnRename(); },
                  .enabled = shown,
                  .icon = QStyle::SP_FileDialogDetailedView});
    commands.Add({.id = "librarian.delete",
                  .text = text::kCollectionDelete,
                  .execute = [&dock] { dock.OnDelete(); },
                  .enabled = shown,
                  .icon = QStyle::SP_TrashIcon});
    commands.Add({.id = "librarian.exportLibrary",
                  .text = text::kCollectionExportLibrary,
                  .execute = [&dock] { dock.OnExportLibrary(); },
                  .enabled = shown,
                  .icon = QStyle::SP_DialogSaveButton});
    commands.Add({.id = "librarian.exportFolder",
                  .text = text::kCollectionExportFolder,
                  .execute = [&dock] { dock.OnExportFolder(); },
                  .enabled = shown,
                  .icon = QStyle::SP_DirIcon});
    commands.Add({.id = "librarian.remove",
                  .text = text::kCollectionRemoveIcon,
                  .execute = [&dock] { dock.OnRemoveIcons(); },
                  .enabled = [&dock] { return !dock.SelectedFiles().isEmpty(); }});
    commands.AddTo(dock.bar, {"librarian.new", "librarian.rename", "librarian.delete", "-", "librarian.exportLibrary",
                              "librarian.exportFolder"});
    dock.view->setContextMenuPolicy(Qt::ActionsContextMenu);
    dock.view->addAction(commands.Action("librarian.remove"));
}

}  // namespace tellurine::app
