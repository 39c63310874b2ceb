#include "app/library/library_frame.h"

#include <QAction>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QStyle>
#include <algorithm>
#include <new>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/long_work.h"
#include "app/icon/clipboard.h"
#include "app/icon/icon_project.h"
#include "image/file_io.h"
#include "shell/doc_templates.h"
#include "shell/program_tiles.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// Rows dragged inside one library window: their numbers, one a line.
constexpr const char* kLibraryRowsMime = "application/x-tellurine-library-rows";

// A list view whose empty state says how to fill it.
class CLibraryView : public QListView {
public:
    using QListView::QListView;

protected:
    void paintEvent(QPaintEvent* event) override {
        QListView::paintEvent(event);
        if (model() != nullptr && model()->rowCount() == 0) PaintGridMessage(*this, text::kLibraryEmpty);
    }
};

}  // namespace

// ---- Model ------------------------------------------------------------------------------------

CLibraryModel::CLibraryModel(CFileIclDocument& document, QObject* parent)
    : QAbstractListModel(parent), document_(document) {
    connect(&document_, &CFileIclDocument::iconsChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int CLibraryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : document_.Count();
}

QVariant CLibraryModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= document_.Count()) return {};
    const shell::LibraryIcon& icon = document_.Library().Icons()[static_cast<std::size_t>(index.row())];
    const LibraryTile& tile = document_.Tile(index.row());
    const QString name = QString::fromStdString(icon.name.Display());
    switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole: return name;
        case kTilePictureRole: return tile.picture;
        case kTileInfoRole: return QString::fromStdString(shell::ProgramTileInfo(tile.formats, icon.Cursor()));
        case Qt::ToolTipRole:
            return QString::fromStdString(shell::ProgramTileToolTip(name.toStdString(), tile.formats,
                                                                    tile.shownSize.width(), tile.shownSize.height()));
        default: return {};
    }
}

bool CLibraryModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::EditRole || !index.isValid()) return false;
    const QString typed = value.toString();
    if (typed == data(index, Qt::EditRole).toString()) return false;
    const QString refused = document_.Rename(index.row(), typed);
    if (!refused.isEmpty()) emit renameRefused(refused);
    return refused.isEmpty();
}

Qt::ItemFlags CLibraryModel::flags(const QModelIndex& index) const {
    const Qt::ItemFlags base = QAbstractListModel::flags(index) | Qt::ItemIsDropEnabled;
    return index.isValid() ? base | Qt::ItemIsEditable | Qt::ItemIsDragEnabled : base;
}

Qt::DropActions CLibraryModel::supportedDropActions() const {
    return Qt::MoveAction | Qt::CopyAction;
}

QStringList CLibraryModel::mimeTypes() const {
    return {kLibraryRowsMime, "text/uri-list"};
}

QMimeData* CLibraryModel::mimeData(const QModelIndexList& indexes) const {
    const std::vector<int> rows = SortedRows(indexes);
    QStringList lines;
    for (const int row : rows) lines << QString::number(row);
    std::unique_ptr<QMimeData> data = exporter ? exporter(rows) : nullptr;
    if (data == nullptr) data = std::make_unique<QMimeData>();
    data->setData(kLibraryRowsMime, lines.join('\n').toUtf8());
    return data.release();
}

bool CLibraryModel::dropMimeData(const QMimeData* data, Qt::DropAction, int row, int, const QModelIndex& parent) {
    // Dropped on a tile: before it; between tiles or past them: there.
    const int at = parent.isValid() ? parent.row() : row < 0 ? document_.Count() : row;
    if (data->hasFormat(kLibraryRowsMime)) {
        std::vector<int> rows;
        for (const QByteArray& line : data->data(kLibraryRowsMime).split('\n')) rows.push_back(line.toInt());
        emit dropped(document_.Move(rows, at), static_cast<int>(rows.size()));
        return false;  // moved here: the view must not remove the rows it dragged
    }
    const QStringList files = LocalFiles(*data);
    if (files.isEmpty()) return false;
    QStringList failures;
    const int added = document_.AddFiles(files, at, failures);
    if (added > 0) emit dropped(at, added);
    return added > 0;
}

// ---- Frame ------------------------------------------------------------------------------------

CFileIclMDI::CFileIclMDI(AppContext& app, CFileIclDocument& document, QWidget* parent)
    : CTileWindow(app, "libraryToolBar", parent), document_(document) {
    setObjectName("CFileIclMDI");
    view = new CLibraryView(this);
    view->setObjectName("CFileIclView");
    SetUpTileGrid(*view);
    view->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    view->setDragDropMode(QAbstractItemView::DragDrop);
    view->setDefaultDropAction(Qt::MoveAction);
    view->setDropIndicatorShown(true);
    model = new CLibraryModel(document_, this);
    model->exporter = [this](const std::vector<int>& rows) { return IconsMimeData(rows); };
    auto* delegate = new CTileDelegate([&document] { return document.LargestPictureSide(); }, true, view);
    view->setModel(model);
    view->setItemDelegate(delegate);
    SetGrid(view, "library.open");
    using F = CFileIclMDI;
    AddButtons<F>({{"library.open", &F::HasSelection},
                   {"library.copy", &F::HasSelection},
                   {"library.add", &F::Always},
                   {"library.addOpen", &F::Always},
                   {"library.paste", &F::CanPaste},
                   {"library.remove", &F::HasSelection},
                   {"library.rename", &F::HasOne},
                   {"library.moveEarlier", &F::CanMoveEarlier},
                   {"library.moveLater", &F::CanMoveLater},
                   {"library.saveFolder", &F::HasIcons}});

    const auto grid = [this, delegate] {
        if (const QSize size = delegate->GridSize(*view); size != view->gridSize()) view->setGridSize(size);
    };
    grid();
    connect(&document_, &CFileIclDocument::iconsChanged, this, grid);
    connect(&document_, &CFileIclDocument::iconsChanged, this, &CFileIclMDI::updateActions);
    connect(model, &CLibraryModel::renameRefused, this, [this](const QString& message) { app_.ShowError(message); });
    connect(model, &CLibraryModel::dropped, this, &CFileIclMDI::Select);
    updateActions();
}

bool CFileIclMDI::Always() const {
    return true;
}
bool CFileIclMDI::HasSelection() const {
    return !SelectedRows().empty();
}
bool CFileIclMDI::HasOne() const {
    return SelectedRows().size() == 1;
}
bool CFileIclMDI::HasIcons() const {
    return document_.Count() > 0;
}
bool CFileIclMDI::CanMoveEarlier() const {
    const std::vector<int> rows = SelectedRows();
    return !rows.empty() && rows.front() > 0;
}
bool CFileIclMDI::CanMoveLater() const {
    const std::vector<int> rows = SelectedRows();
    return !rows.empty() && rows.back() < document_.Count() - 1;
}
bool CFileIclMDI::CanPaste() const {
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    return copied != nullptr &&
           (copied->hasFormat(kIconEditMime) || copied->hasFormat(kIconFormatMime) || copied->hasUrls());
}

void CFileIclMDI::Select(int first, int count) {
    view->selectionModel()->clearSelection();
    for (int row = first; row < first + count && row < document_.Count(); ++row)
        view->selectionModel()->select(model->index(row), QItemSelectionModel::Select);
    if (first < document_.Count())
        view->selectionModel()->setCurrentIndex(model->index(first), QItemSelectionModel::NoUpdate);
    updateActions();
}

void CFileIclMDI::OnOpen() {
    for (const int row : SelectedRows()) {
        try {
            OpenLibraryIcon(app_, document_, row);
        } catch (const std::bad_alloc&) {
            app_.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
            return;
        }
    }
}

void CFileIclMDI::OnCopy() {
    if (std::unique_ptr<QMimeData> copied = IconsMimeData(SelectedRows()))
        QGuiApplication::clipboard()->setMimeData(copied.release());
}

std::unique_ptr<QMimeData> CFileIclMDI::IconsMimeData(const std::vector<int>& rows) const {
    if (rows.empty()) return nullptr;
    std::unique_ptr<QMimeData> mime;
    try {
        if (rows.size() == 1) {
            const CIconDoc doc = document_.ReadIcon(rows.front());
            CIconGroup group;
            for (int i = 0; i < doc.GetFormatCount(); ++i) group.AppendFormatCopy(doc.GetFormat(i)->Icon());
            mime = WholeIconMimeData(group);
        }
    } catch (const std::bad_alloc&) {
        mime = nullptr;
    }
    if (mime == nullptr) mime = std::make_unique<QMimeData>();
    const QString library = document_.PathName().isEmpty() ? document_.Title() : document_.PathName();
    const std::vector<std::string> names = document_.Library().FolderNames(library.toStdString());
    std::vector<std::pair<QString, std::vector<std::uint8_t>>> files;
    for (const int row : rows)
        files.emplace_back(QString::fromStdString(names[static_cast<std::size_t>(row)]),
                           document_.Library().Icons()[static_cast<std::size_t>(row)].file);
    AddCopiedFiles(*mime, files);
    return mime;
}

void CFileIclMDI::OnAddFiles() {
    const QString folder = document_.PathName().isEmpty() ? QString::fromStdString(app_.Prefs().ActualDir)
                                                          : QFileInfo(document_.PathName()).absolutePath();
    const QStringList files = app_.Prompts().GetOpenFileNames(
        this, folder, QString::fromStdString(shell::QtFilterList(shell::OpenFileFilters())));
    if (files.isEmpty()) return;
    const std::vector<int> rows = SelectedRows();
    const int at = rows.empty() ? document_.Count() : rows.back() + 1;
    QStringList failures;
    int added = 0;
    {
        const WaitCursor busy;
        added = document_.AddFiles(files, at, failures);
    }
    Select(at, added);
    if (!failures.isEmpty()) app_.ShowError(QString(text::kLibraryNotAdded).arg(failures.join('\n')));
}

void CFileIclMDI::OnPaste() {
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    if (copied == nullptr) return;
    const std::vector<int> rows = SelectedRows();
    const int at = rows.empty() ? document_.Count() : rows.back() + 1;
    CIconDoc doc;
    if (!IconFromMimeData(*copied, doc))
        for (CKvIcon& format : FormatsFromMimeData(*copied)) doc.AddFormat(std::move(format));
    if (doc.GetFormatCount() > 0) {
        if (document_.AddIcon(doc, at)) Select(at, 1);
        return;
    }
    QStringList failures;
    Select(at, document_.AddFiles(LocalFiles(*copied), at, failures));
    if (!failures.isEmpty()) app_.ShowError(QString(text::kLibraryNotAdded).arg(failures.join('\n')));
}

void CFileIclMDI::OnAddOpenIcon() {
    // A menu of the icon projects open now; the one chosen is added as it is on its canvas.
    QMenu menu(this);
    for (CKvDocument* document : app_.Documents())
        if (auto* project = qobject_cast<CIconProject*>(document))
            menu.addAction(project->Title(), this, [this, open = QPointer<CIconProject>(project)] {
                if (open == nullptr) return;
                const std::vector<int> rows = SelectedRows();
                const int at = rows.empty() ? document_.Count() : rows.back() + 1;
                if (document_.AddIcon(open->Doc(), at, QFileInfo(open->PathName()).completeBaseName())) Select(at, 1);
            });
    if (menu.isEmpty()) menu.addAction(text::kLibraryNoOpenIcons)->setEnabled(false);
    menu.exec(QCursor::pos());
}

void CFileIclMDI::OnRemove() {
    document_.Remove(SelectedRows());
}

void CFileIclMDI::OnRename() {
    const std::vector<int> rows = SelectedRows();
    if (rows.size() == 1) view->edit(model->index(rows.front()));
}

void CFileIclMDI::OnMoveEarlier() {
    const std::vector<int> rows = SelectedRows();
    if (!rows.empty() && rows.front() > 0)
        Select(document_.Move(rows, rows.front() - 1), static_cast<int>(rows.size()));
}

void CFileIclMDI::OnMoveLater() {
    const std::vector<int> rows = SelectedRows();
    if (!rows.empty() && rows.back() < document_.Count() - 1)
        Select(document_.Move(rows, rows.back() + 2), static_cast<int>(rows.size()));
}

void CFileIclMDI::OnSaveFolder() {
    const QString start = document_.PathName().isEmpty() ? QString::fromStdString(app_.Prefs().ActualDir)
                                                         : QFileInfo(document_.PathName()).absolutePath();
    const QString folder = app_.Prompts().GetExistingDirectory(this, text::kLibrarySaveFolderTitle, start);
    if (folder.isEmpty()) return;
    const QString library = document_.PathName().isEmpty() ? document_.Title() : document_.PathName();
    QStringList names;
    for (const std::string& name : document_.Library().FolderNames(library.toStdString()))
        names << QString::fromStdString(name);
    // Each icon's own bytes, as the library holds them.
    SaveFilesToFolder(
        app_, this, folder, names,
        [this](int i, const std::string& path, std::string& error) {
            return WriteFileAtomically(path, document_.Library().Icons()[static_cast<std::size_t>(i)].file, error);
        },
        text::kExeSavedAll);
}

// ---- Commands ---------------------------------------------------------------------------------

void RegisterLibraryCommands(AppContext& app) {
    using F = CFileIclMDI;
    AddOpenAndCopy<F>(app, "library", text::kExeOpenAsProject, &F::OnOpen, &F::HasSelection, &F::OnCopy,
                      &F::HasSelection);
    AddFrameCommand<F>(app,
                       {.id = "library.add", .text = text::kLibraryAddIcons, .icon = QStyle::SP_FileIcon},
                       &F::OnAddFiles, &F::Always);
    AddFrameCommand<F>(app, {.id = "library.addOpen", .text = text::kLibraryAddOpen}, &F::OnAddOpenIcon,
                       &F::Always);
    AddFrameCommand<F>(app, {.id = "library.paste", .text = text::kPaste, .shortcut = QKeySequence::Paste},
                       &F::OnPaste, &F::CanPaste);
    AddFrameCommand<F>(app,
                       {.id = "library.remove",
                        .text = text::kLibraryRemove,
                        .shortcut = QKeySequence::Delete,
                        .icon = QStyle::SP_TrashIcon},
                       &F::OnRemove, &F::HasSelection);
    AddFrameCommand<F>(
        app, {.id = "library.rename", .text = text::kLibraryRename, .shortcut = QKeySequence(Qt::Key_F2)},
        &F::OnRename, &F::HasOne);
    AddFrameCommand<F>(
        app, {.id = "library.moveEarlier", .text = text::kLibraryMoveEarlier, .icon = QStyle::SP_ArrowBack},
        &F::OnMoveEarlier, &F::CanMoveEarlier);
    AddFrameCommand<F>(
        app, {.id = "library.moveLater", .text = text::kLibraryMoveLater, .icon = QStyle::SP_ArrowForward},
        &F::OnMoveLater, &F::CanMoveLater);
    AddFrameCommand<F>(
        app, {.id = "library.saveFolder", .text = text::kLibrarySaveFolder, .icon = QStyle::SP_DirIcon},
        &F::OnSaveFolder, &F::HasIcons);
}

}  // namespace tellurine::app
