#include "app/program/exe_frame.h"

#include <QAction>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPaintEvent>
#include <QStyle>
#include <algorithm>
#include <new>

#include "app/common/app_context.h"
#include "app/common/long_work.h"
#include "app/icon/clipboard.h"
#include "app/icon/icon_files.h"
#include "app/library/library_doc.h"
#include "formats/ne_resources.h"
#include "shell/doc_templates.h"
#include "shell/texts.h"

namespace tellurine::app {

// ---- Tiles ------------------------------------------------------------------------------------

CExeTileModel::CExeTileModel(CFileExeDocument& document, QObject* parent)
    : QAbstractListModel(parent), document_(document) {
    // The document appends before it tells; the rows follow.
    connect(&document_, &CFileExeDocument::tilesAdded, this, [this](int first, int count) {
        if (count <= 0) return;
        beginInsertRows({}, first, first + count - 1);
        rows_ = first + count;
        endInsertRows();
    });
}

int CExeTileModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

Qt::ItemFlags CExeTileModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | (exporter ? Qt::ItemIsDragEnabled : Qt::NoItemFlags);
}

QStringList CExeTileModel::mimeTypes() const {
    return {kFileListMime, "text/uri-list"};
}

QMimeData* CExeTileModel::mimeData(const QModelIndexList& indexes) const {
    return exporter ? exporter(SortedRows(indexes)) : nullptr;
}

const ExeTile* CExeTileModel::Tile(int row) const {
    if (row < 0 || row >= rows_ || static_cast<std::size_t>(row) >= document_.Tiles().size()) return nullptr;
    return &document_.Tiles()[static_cast<std::size_t>(row)];
}

QVariant CExeTileModel::data(const QModelIndex& index, int role) const {
    const ExeTile* tile = Tile(index.row());
    if (tile == nullptr) return {};
    switch (role) {
        case Qt::DisplayRole: return tile->name;
        case kTileInfoRole: return QString::fromStdString(shell::ProgramTileInfo(tile->formatCount, tile->cursor));
        case kTilePictureRole: return tile->picture;
        case Qt::ToolTipRole:
            return QString::fromStdString(shell::ProgramTileToolTip(tile->name.toStdString(), tile->formatCount,
                                                                    tile->shownSize.width(), tile->shownSize.height()));
        default: return {};
    }
}

// ---- View -------------------------------------------------------------------------------------

std::function<void()> CFileExeView::allTilesPaintedHook;

CFileExeView::CFileExeView(CFileExeDocument& document, bool showInfo, QWidget* parent)
    : QListView(parent), document_(document) {
    setObjectName("CFileExeView");
    SetUpTileGrid(*this);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::DragOnly);
    setDefaultDropAction(Qt::CopyAction);
    model_ = new CExeTileModel(document_, this);
    delegate_ = new CTileDelegate([&document] { return document.LargestPictureSide(); }, showInfo, this);
    setModel(model_);
    setItemDelegate(delegate_);
    UpdateGrid();
    connect(&document_, &CFileExeDocument::tilesAdded, this, &CFileExeView::UpdateGrid);
    connect(&document_, &CFileExeDocument::loaded, viewport(), qOverload<>(&QWidget::update));
}

void CFileExeView::UpdateGrid() {
    if (const QSize grid = delegate_->GridSize(*this); grid != gridSize()) setGridSize(grid);
}

QString CFileExeView::Message() const {
    if (document_.GetState() == CFileExeDocument::State::Ready && document_.Tiles().empty()) return text::kExeNoIcons;
    return {};
}

void CFileExeView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (const QString message = Message(); !message.isEmpty()) PaintGridMessage(*this, message);
    if (!document_.IsLoading() && allTilesPaintedHook) {
        auto hook = std::move(allTilesPaintedHook);
        allTilesPaintedHook = nullptr;
        hook();
    }
}

// ---- Frame ------------------------------------------------------------------------------------

CFileExeMDI::CFileExeMDI(AppContext& app, CFileExeDocument& document, QWidget* parent)
    : CTileWindow(app, "exeToolBar", parent), document_(document) {
    setObjectName("CFileExeMDI");
    view = new CFileExeView(document_, app_.Prefs().ExeShowInfo != 0, this);
    view->Model()->exporter = [this](const std::vector<int>& tiles) { return TilesMimeData(tiles); };
    SetGrid(view, "program.open");
    AddButtons<CFileExeMDI>({{"program.open", &CFileExeMDI::CanOpen},
                             {"program.copy", &CFileExeMDI::CanCopy},
                             {"program.saveIco", &CFileExeMDI::CanCopy},
                             {"program.savePng", &CFileExeMDI::CanCopy},
                             {"program.saveAll", &CFileExeMDI::CanSaveAll},
                             {"program.openLibrary", &CFileExeMDI::CanSaveAll},
                             {"program.replaceIcon", &CFileExeMDI::CanCopy},
                             {"program.addIcon", &CFileExeMDI::CanSaveAll}});
    connect(&document_, &CFileExeDocument::tilesAdded, this, &CFileExeMDI::updateActions);
    connect(&document_, &CFileExeDocument::loaded, this, &CFileExeMDI::updateActions);
    updateActions();
}

bool CFileExeMDI::CanOpen() const {
    return !SelectedRows(*view).empty();
}
bool CFileExeMDI::CanCopy() const {
    return SelectedRows(*view).size() == 1;
}
bool CFileExeMDI::CanSaveAll() const {
    return document_.GetState() == CFileExeDocument::State::Ready && !document_.Tiles().empty();
}

void CFileExeMDI::OnOpenAsProject() {
    const QString file = QFileInfo(document_.PathName()).fileName();
    for (const int tile : SelectedRows(*view)) {
        CIconDoc doc;
        try {
            const WaitCursor busy;
            doc = document_.ReadIconDoc(tile);
        } catch (const std::bad_alloc&) {
            app_.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
            return;
        }
        if (doc.GetFormatCount() == 0) continue;
        CIconProject* project =
            OpenNewProject(app_, std::move(doc), file + ": " + document_.Tiles()[static_cast<std::size_t>(tile)].name);
        project->proposedStem = QFileInfo(document_.IcoFileName(tile)).completeBaseName();
    }
}

void CFileExeMDI::OnCopy() {
    const std::vector<int> chosen = SelectedRows(*view);
    if (chosen.size() != 1) return;
    if (QMimeData* copied = TilesMimeData(chosen)) QGuiApplication::clipboard()->setMimeData(copied);
}

QMimeData* CFileExeMDI::TilesMimeData(const std::vector<int>& tiles) const {
    try {
        std::unique_ptr<QMimeData> mime;
        if (tiles.size() == 1) {
            CIconGroup group = document_.ReadGroup(tiles.front());
            mime = WholeIconMimeData(group);
            if (mime == nullptr) return nullptr;
        } else {
            mime = std::make_unique<QMimeData>();
        }
        // A file manager takes each group as an .ico file: its images as the program stores them.
        std::vector<std::pair<QString, std::vector<std::uint8_t>>> files;
        for (const int tile : tiles)
            if (const ExeIconGroupListing* group = document_.Group(tile))
                if (auto bytes = GroupIconFile(*group)) files.emplace_back(document_.IcoFileName(tile), std::move(*bytes));
        AddCopiedFiles(*mime, files);
        return mime->formats().isEmpty() ? nullptr : mime.release();
    } catch (const std::bad_alloc&) {
        app_.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
        return nullptr;
    }
}

bool CFileExeMDI::SaveTile(int tile, const std::string& path, std::string& error) const {
    try {
        CIconDoc doc = document_.ReadIconDoc(tile);
        return SaveIconProject(path, doc, app_.Prefs().WinExplorerCompatibleOrder != 0, error);
    } catch (const std::bad_alloc&) {
        error = text::kOutOfMemory;
    }
    return false;
}

void CFileExeMDI::OnSaveAsIco() {
    const std::vector<int> chosen = SelectedRows(*view);
    if (chosen.size() != 1) return;
    const int tile = chosen.front();
    const QString suggested = QFileInfo(document_.PathName()).dir().filePath(document_.IcoFileName(tile));
    // A cursor group is saved as a cursor file.
    const bool cursor = document_.Tiles()[static_cast<std::size_t>(tile)].cursor;
    const QString extension = cursor ? ".cur" : ".ico";
    QString filter;
    QString path = app_.Prompts().GetSaveFileName(
        this, suggested,
        cursor ? QString::fromStdString(shell::SaveFileFilters(false).back().QtFilter()) : text::kExeIcoFilter,
        &filter);
    if (path.isEmpty()) return;
    if (!path.endsWith(extension, Qt::CaseInsensitive)) path += extension;
    const QString shown = QDir::toNativeSeparators(path);
    if (QFileInfo::exists(path) &&
        !app_.Prompts().AskYesNo(this, text::kOverwriteTitle, QString(text::kOverwriteQuestion).arg(shown)))
        return;
    std::string error;
    bool saved = false;
    RunLongWork(
        app_.Prompts(), this, QString(text::kSavingFile).arg(shown),
        [&] { saved = SaveTile(tile, path.toStdString(), error); }, Cancel::NotAllowed);
    if (!saved) app_.ShowError(QString(text::kSaveFailed).arg(shown, QString::fromStdString(error)));
}

void CFileExeMDI::OnSaveAll() {
    if (document_.IsLoading() || document_.Tiles().empty()) return;
    const QString folder = app_.Prompts().GetExistingDirectory(this, text::kExeSaveAllTitle,
                                                               QFileInfo(document_.PathName()).absolutePath());
    if (folder.isEmpty()) return;
    // One file per group; a name that two groups would share (one name in two languages, or two
    // names that differ only in characters a file name cannot hold) gets " (2)", " (3)", ...
    std::vector<std::string> wanted;
    for (int tile = 0; tile < static_cast<int>(document_.Tiles().size()); ++tile)
        wanted.push_back(document_.IcoFileName(tile).toStdString());
    QStringList names;
    for (const std::string& name : shell::UniqueFileNames(wanted)) names << QString::fromStdString(name);
    SaveFilesToFolder(
        app_, this, folder, names,
        [this](int tile, const std::string& path, std::string& error) { return SaveTile(tile, path, error); },
        text::kExeSavedAll);
}

void CFileExeMDI::OnOpenAsLibrary() {
    if (!CanSaveAll()) return;
    // Every tile's picture is made again, for the library's own tiles: on a worker.
    LibraryContents contents;
    bool read = false;
    const qreal ratio = devicePixelRatioF();
    RunLongWork(
        app_.Prompts(), this, QString(text::kOpeningFile).arg(QFileInfo(document_.PathName()).fileName()),
        [&] { read = contents.Read(document_.Bytes(), ratio); }, Cancel::NotAllowed);
    if (!read) {
        app_.ShowError(text::kIconReadError, {}, QDir::toNativeSeparators(document_.PathName()));
        return;
    }
    const QFileInfo program(document_.PathName());
    NewIconLibrary(app_, std::move(contents), program.dir().filePath(program.completeBaseName() + ".icl"));
}

// ---- Commands ---------------------------------------------------------------------------------

void RegisterProgramCommands(AppContext& app) {
    // Their keys are the Edit and File menus' own; those are off while a program window is active.
    using F = CFileExeMDI;
    AddOpenAndCopy<F>(app, "program", text::kExeOpenAsProject, &F::OnOpenAsProject, &F::CanOpen, &F::OnCopy,
                      &F::CanCopy);
    AddFrameCommand<F>(app,
                       {.id = "program.saveIco",
                        .text = text::kExeSaveAsIco,
                        .shortcut = QKeySequence::Save,
                        .icon = QStyle::SP_DialogSaveButton},
                       &F::OnSaveAsIco, &F::CanCopy);
    AddFrameCommand<F>(app,
                       {.id = "program.saveAll",
                        .text = text::kExeSaveAll,
                        .shortcut = QKeySequence::SaveAs,
                        .icon = QStyle::SP_DirIcon},
                       &F::OnSaveAll, &F::CanSaveAll);
    AddFrameCommand<F>(app, {.id = "program.openLibrary", .text = text::kExeOpenAsLibrary},
                       &F::OnOpenAsLibrary, &F::CanSaveAll);
    AddFrameCommand<F>(app, {.id = "program.savePng", .text = text::kExeSaveAsPng}, &F::OnSaveAsPng,
                       &F::CanCopy);
    AddFrameCommand<F>(app, {.id = "program.replaceIcon", .text = text::kExeReplaceIcon}, &F::OnReplaceIcon,
                       &F::CanCopy);
    AddFrameCommand<F>(app, {.id = "program.addIcon", .text = text::kExeAddIcon}, &F::OnAddIcon,
                       &F::CanSaveAll);
}

}  // namespace tellurine::app
