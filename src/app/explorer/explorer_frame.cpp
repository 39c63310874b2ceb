#include "app/explorer/explorer_frame.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QStyle>
#include <QToolBar>
#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

#include "app/common/app_context.h"
#include "app/common/tile_delegate.h"
#include "app/icon/clipboard.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

constexpr std::array kSizes = {16, 24, 32, 48, 64, 128, 256, 512, 1024};
constexpr std::array kDepths = {1, 4, 8, 24, 32};

QString FileName(const IconFileInfo& info) {
    return QString::fromStdString(std::filesystem::path(info.path).filename().string());
}

// The tile's line under the name: the largest size and how many formats.
QString InfoLine(const IconFileInfo& info) {
    if (!info.error.empty()) return text::kExplorerUnreadable;
    const FormatSummary& best = info.formats[static_cast<std::size_t>(info.best)];
    const QString count = info.formats.size() == 1 ? QString(text::kExplorerOneFormat)
                                                   : QString(text::kExplorerFormats).arg(info.formats.size());
    return QStringLiteral("%1x%2, %3").arg(best.width).arg(best.height).arg(count);
}

// The hover text: the path, then each format's size and depth.
QString ToolTip(const IconFileInfo& info) {
    QString tip = QString::fromStdString(info.path);
    if (!info.error.empty()) return tip + "\n" + text::kExplorerUnreadable + ": " + QString::fromStdString(info.error);
    for (const FormatSummary& f : info.formats)
        tip +=
            QStringLiteral("\n%1x%2, %3").arg(f.width).arg(f.height).arg(QString(text::kExplorerDepthItem).arg(f.bits));
    return tip;
}

}  // namespace

// ---- Model ------------------------------------------------------------------------------------

CExplorerModel::CExplorerModel(CExplorerDoc& document, QObject* parent)
    : QAbstractListModel(parent), document_(document) {
    connect(&document_, &CExplorerDoc::entriesReset, this, &CExplorerModel::Rebuild);
    connect(&document_, &CExplorerDoc::entriesAdded, this, &CExplorerModel::Add);
    Rebuild();
}

bool CExplorerModel::Before(int a, int b) const {
    const auto& entries = document_.Entries();
    const ExplorerSettings& s = document_.Settings();
    return ExplorerBefore(entries[static_cast<std::size_t>(a)].info, names_[static_cast<std::size_t>(a)],
                          entries[static_cast<std::size_t>(b)].info, names_[static_cast<std::size_t>(b)], s.sort,
                          s.descending);
}

void CExplorerModel::Rebuild() {
    beginResetModel();
    rows_.clear();
    names_.clear();
    const auto& entries = document_.Entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        names_.push_back(ExplorerSortName(entries[i].info));
        if (document_.Shows(entries[i])) rows_.push_back(static_cast<int>(i));
    }
    std::stable_sort(rows_.begin(), rows_.end(), [this](int a, int b) { return Before(a, b); });
    endResetModel();
}

void CExplorerModel::Add(int first, int count) {
    // Each new tile goes in its place in the order, so that the tiles already seen stay put.
    const auto& entries = document_.Entries();
    for (int i = first; i < first + count; ++i) {
        names_.push_back(ExplorerSortName(entries[static_cast<std::size_t>(i)].info));
        if (!document_.Shows(entries[static_cast<std::size_t>(i)])) continue;
        const auto at = std::upper_bound(rows_.begin(), rows_.end(), i, [this](int a, int b) { return Before(a, b); });
        const int row = static_cast<int>(at - rows_.begin());
        beginInsertRows({}, row, row);
        rows_.insert(at, i);
        endInsertRows();
    }
}

int CExplorerModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

const ExplorerEntry& CExplorerModel::Entry(int row) const {
    return document_.Entries()[static_cast<std::size_t>(rows_[static_cast<std::size_t>(row)])];
}

QVariant CExplorerModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const ExplorerEntry& entry = Entry(index.row());
    switch (role) {
        case Qt::DisplayRole: return FileName(entry.info);
        case kTilePictureRole: {
            if (!entry.picture.isNull()) return entry.picture;
            // A file that cannot be read shows the style's warning sign in place of a picture.
            if (unreadable_.isNull())
                unreadable_ = QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(32).toImage();
            return unreadable_;
        }
        case kTileInfoRole: return InfoLine(entry.info);
        case Qt::ToolTipRole: return ToolTip(entry.info);
        default: return {};
    }
}

Qt::ItemFlags CExplorerModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | Qt::ItemIsDragEnabled;
}

QStringList CExplorerModel::mimeTypes() const {
    return {kFileListMime, "text/uri-list"};
}

QMimeData* CExplorerModel::mimeData(const QModelIndexList& indexes) const {
    return FilesMimeData(SortedRows(indexes));
}

QMimeData* CExplorerModel::FilesMimeData(const std::vector<int>& rows) const {
    if (rows.empty()) return nullptr;
    auto* mime = new QMimeData;
    QStringList paths;
    for (const int row : rows) paths << QString::fromStdString(Entry(row).info.path);
    AddFileList(*mime, paths);
    if (const QImage& picture = Entry(rows.front()).picture; !picture.isNull()) mime->setImageData(picture);
    return mime;
}

// ---- View -------------------------------------------------------------------------------------

CExplorerView::CExplorerView(CExplorerDoc& document, QWidget* parent) : QListView(parent), document_(document) {
    setObjectName("CExplorerView");
    SetUpTileGrid(*this);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::DragOnly);
    setDefaultDropAction(Qt::CopyAction);
    model_ = new CExplorerModel(document_, this);
    delegate_ = new CTileDelegate([] { return CExplorerDoc::kTileSide; }, true, this);
    delegate_->checkerboard = true;
    delegate_->textWidth = 120;
    setModel(model_);
    setItemDelegate(delegate_);
    setGridSize(delegate_->GridSize(*this));
    setLayoutMode(QListView::Batched);
    setBatchSize(200);
}

std::function<void()> CExplorerView::firstScreenPaintedHook;
std::function<void()> CExplorerView::allTilesPaintedHook;

void CExplorerView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    const auto call = [](std::function<void()>& hook) {
        if (!hook) return;
        auto once = std::move(hook);
        hook = nullptr;
        once();
    };
    const QModelIndex last = model_->index(model_->rowCount() - 1);
    if (!document_.IsScanning() || (last.isValid() && visualRect(last).bottom() >= viewport()->height()))
        call(firstScreenPaintedHook);
    if (!document_.IsScanning()) call(allTilesPaintedHook);
    if (model_->rowCount() > 0 || document_.IsScanning()) return;
    PaintGridMessage(*this, document_.Entries().empty() ? text::kExplorerNoFiles : text::kExplorerNoneShown);
}

// ---- Frame ------------------------------------------------------------------------------------

CExplorerMDI::CExplorerMDI(AppContext& app, CExplorerDoc& document, QWidget* parent)
    : CTileWindow(app, "explorerBar", parent), document_(document) {
    const bool search = document_.TemplateResource() == shell::kTemplateSearch;
    setObjectName(QString::fromUtf8(document_.Template().frame));
    // The buttons beside the filters show their pictures only.
    toolBar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    folderLabel = new QLabel(this);
    subfoldersCheck = new QCheckBox(text::kExplorerSubfolders, this);
    kindCombo = new QComboBox(this);
    kindCombo->addItem(text::kExplorerAllKinds);
    for (const char* name : text::kExplorerKindNames) kindCombo->addItem(name);
    sizeCombo = new QComboBox(this);
    sizeCombo->addItem(text::kExplorerAllSizes);
    for (const int size : kSizes) sizeCombo->addItem(QStringLiteral("%1x%1").arg(size), size);
    depthCombo = new QComboBox(this);
    depthCombo->addItem(text::kExplorerAllDepths);
    for (const int depth : kDepths) depthCombo->addItem(QString(text::kExplorerDepthItem).arg(depth), depth);
    alphaCombo = new QComboBox(this);
    alphaCombo->addItems({text::kExplorerAnyAlpha, text::kExplorerWithAlpha, text::kExplorerWithoutAlpha});
    sortCombo = new QComboBox(this);
    for (const char* name : text::kExplorerSortNames) sortCombo->addItem(name);
    descendingCheck = new QCheckBox(text::kExplorerDescending, this);
    toolBar->addWidget(folderLabel);
    toolBar->addWidget(subfoldersCheck);
    toolBar->addSeparator();
    if (search) {
        toolBar->addWidget(new QLabel(text::kExplorerName, this));
        nameEdit = new QLineEdit(this);
        nameEdit->setObjectName("nameEdit");
        nameEdit->setPlaceholderText("*.ico");
        toolBar->addWidget(nameEdit);
        likeButton = new QPushButton(text::kExplorerLike, this);
        likeLabel = new QLabel(text::kExplorerLikeNone, this);
        toolBar->addWidget(likeButton);
        toolBar->addWidget(likeLabel);
        connect(likeButton, &QPushButton::clicked, this, &CExplorerMDI::chooseLike);
        connect(nameEdit, &QLineEdit::textChanged, this, &CExplorerMDI::Apply);
    }
    for (QWidget* w : std::initializer_list<QWidget*>{kindCombo, sizeCombo, depthCombo, alphaCombo, sortCombo})
        toolBar->addWidget(w);
    toolBar->addWidget(descendingCheck);
    view = new CExplorerView(document_, this);
    statusLabel = new QLabel(this);
    statusLabel->setContentsMargins(6, 2, 6, 2);
    SetGrid(view, "explorer.open", statusLabel);
    ShowSettings();

    for (QComboBox* combo : {kindCombo, sizeCombo, depthCombo, alphaCombo, sortCombo})
        connect(combo, &QComboBox::currentIndexChanged, this, &CExplorerMDI::Apply);
    for (QCheckBox* check : {subfoldersCheck, descendingCheck})
        connect(check, &QCheckBox::toggled, this, &CExplorerMDI::Apply);
    AddButton("explorer.open", [this] { return HasSelection(); });
    AddButton("explorer.copy", [this] { return HasSelection(); });
    AddButton("explorer.stop", [this] { return IsScanning(); }, false);
    // Once for each batch of tiles taken, not for each tile.
    connect(&document_, &CExplorerDoc::progress, this, &CExplorerMDI::ShowProgress);
    connect(view->Model(), &QAbstractItemModel::modelReset, this, &CExplorerMDI::ShowProgress);
    ShowProgress();
}

void CExplorerMDI::ShowSettings() {
    const ExplorerSettings& s = document_.Settings();
    const QSignalBlocker blockers[] = {QSignalBlocker(kindCombo),      QSignalBlocker(sizeCombo),
                                       QSignalBlocker(depthCombo),     QSignalBlocker(alphaCombo),
                                       QSignalBlocker(sortCombo),      QSignalBlocker(subfoldersCheck),
                                       QSignalBlocker(descendingCheck)};
    folderLabel->setText(QString::fromStdString(s.folder) + "  ");
    subfoldersCheck->setChecked(s.subfolders);
    kindCombo->setCurrentIndex(s.criteria.kinds.size() == 1 ? static_cast<int>(s.criteria.kinds.front()) + 1 : 0);
    sizeCombo->setCurrentIndex(s.criteria.sizes.size() == 1 ? std::max(0, sizeCombo->findData(s.criteria.sizes.front()))
                                                            : 0);
    depthCombo->setCurrentIndex(
        s.criteria.depths.size() == 1 ? std::max(0, depthCombo->findData(s.criteria.depths.front())) : 0);
    alphaCombo->setCurrentIndex(!s.criteria.alpha ? 0 : *s.criteria.alpha ? 1 : 2);
    sortCombo->setCurrentIndex(static_cast<int>(s.sort));
    descendingCheck->setChecked(s.descending);
    if (nameEdit != nullptr) {
        const QSignalBlocker blocker(nameEdit);
        nameEdit->setText(QString::fromStdString(s.criteria.namePattern));
        likeLabel->setText(s.likeFile.empty() ? QString(text::kExplorerLikeNone)
                                              : QFileInfo(QString::fromStdString(s.likeFile)).fileName());
    }
}

void CExplorerMDI::Apply() {
    ExplorerSettings s = document_.Settings();
    s.subfolders = subfoldersCheck->isChecked();
    // "All kinds" keeps a list of several kinds the file or the preferences gave.
    if (kindCombo->currentIndex() > 0)
        s.criteria.kinds = {static_cast<IconFileKind>(kindCombo->currentIndex() - 1)};
    else if (s.criteria.kinds.size() == 1)
        s.criteria.kinds.clear();
    s.criteria.sizes.clear();
    if (sizeCombo->currentIndex() > 0) s.criteria.sizes = {sizeCombo->currentData().toInt()};
    s.criteria.depths.clear();
    if (depthCombo->currentIndex() > 0) s.criteria.depths = {depthCombo->currentData().toInt()};
    s.criteria.alpha.reset();
    if (alphaCombo->currentIndex() > 0) s.criteria.alpha = alphaCombo->currentIndex() == 1;
    s.sort = static_cast<ExplorerSort>(sortCombo->currentIndex());
    s.descending = descendingCheck->isChecked();
    if (nameEdit != nullptr) s.criteria.namePattern = nameEdit->text().trimmed().toStdString();
    document_.SetSettings(s);
}

void CExplorerMDI::chooseLike() {
    const QStringList names =
        app_.Prompts().GetOpenFileNames(app_.Window(), QString::fromStdString(document_.Settings().folder),
                                        QString::fromStdString(shell::QtFilterList(shell::OpenFileFilters())));
    if (names.isEmpty()) return;
    ExplorerSettings s = document_.Settings();
    s.likeFile = names.front().toStdString();
    document_.SetSettings(s);
    ShowSettings();
}

void CExplorerMDI::ShowProgress() {
    const int shown = view->Model()->rowCount();
    if (document_.IsScanning())
        statusLabel->setText(
            document_.FilesListed() == 0 && document_.FilesRead() == 0
                ? QString(text::kExplorerListing)
                : QString(text::kExplorerReading).arg(document_.FilesRead()).arg(document_.FilesListed()));
    else if (document_.WasCancelled())
        statusLabel->setText(
            QString(text::kExplorerStopped).arg(document_.FilesRead()).arg(document_.FilesListed()).arg(shown));
    else
        statusLabel->setText(QString(text::kExplorerDone).arg(document_.FilesListed()).arg(shown));
    // The commands change only when the reading starts or ends (Stop).
    if (std::exchange(wasScanning_, document_.IsScanning()) != document_.IsScanning()) updateActions();
}

bool CExplorerMDI::HasSelection() const {
    return !view->SelectedRows().empty();
}
bool CExplorerMDI::IsScanning() const {
    return document_.IsScanning();
}

void CExplorerMDI::OnOpen() {
    std::vector<QString> paths;
    for (const int row : view->SelectedRows())
        paths.push_back(QString::fromStdString(view->Model()->Entry(row).info.path));
    for (const QString& path : paths) app_.OpenDocumentFile(path);
}

void CExplorerMDI::OnCopy() {
    if (QMimeData* copied = view->Model()->FilesMimeData(view->SelectedRows()))
        QGuiApplication::clipboard()->setMimeData(copied);
}

void CExplorerMDI::OnStop() {
    document_.Cancel();
    ShowProgress();
}

void RegisterExplorerCommands(AppContext& app) {
    using F = CExplorerMDI;
    AddOpenAndCopy<F>(app, "explorer", text::kExplorerOpen, &F::OnOpen, &F::HasSelection, &F::OnCopy,
                      &F::HasSelection);
    AddFrameCommand<F>(app, {.id = "explorer.stop", .text = text::kExplorerStop, .icon = QStyle::SP_BrowserStop},
                       &F::OnStop, &F::IsScanning);
    const auto browse = [&app](bool search) {
        const QString folder =
            app.Prompts().GetExistingDirectory(app.Window(), search ? text::kFindIconsTitle : text::kBrowseFolderTitle,
                                               QString::fromStdString(app.Prefs().ActualDir));
        if (!folder.isEmpty()) OpenFolderExplorer(app, folder, search);
    };
    app.Commands().Add(
        {.id = "file.browseFolder", .text = text::kBrowseFolder, .execute = [browse] { browse(false); }});
    app.Commands().Add({.id = "file.findIcons", .text = text::kFindIcons, .execute = [browse] { browse(true); }});
}

}  // namespace tellurine::app
