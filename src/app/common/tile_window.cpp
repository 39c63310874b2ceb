#include "app/common/tile_window.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <new>

#include "app/common/app_context.h"
#include "app/common/long_work.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// Names listed in one message at most.
constexpr int kMaxListedNames = 10;

QString ListNames(const QStringList& names) {
    QStringList shown = names.mid(0, kMaxListedNames);
    if (names.size() > kMaxListedNames) shown << QStringLiteral("...");
    return shown.join('\n');
}

}  // namespace

std::vector<int> SelectedRows(const QAbstractItemView& view) {
    std::vector<int> rows;
    if (view.selectionModel() == nullptr) return rows;
    for (const QModelIndex& index : view.selectionModel()->selectedIndexes()) rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

std::vector<int> SortedRows(const QModelIndexList& indexes) {
    std::vector<int> rows;
    for (const QModelIndex& index : indexes) rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

CTileWindow::CTileWindow(AppContext& app, const char* toolBarName, QWidget* parent) : QWidget(parent), app_(app) {
    toolBar = new QToolBar(this);
    toolBar->setObjectName(toolBarName);
    toolBar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
}

void CTileWindow::SetGrid(QListView* grid, const char* openId, QWidget* below) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(toolBar);
    layout->addWidget(grid, 1);
    if (below != nullptr) layout->addWidget(below);
    setFocusProxy(grid);
    grid_ = grid;
    connect(grid, &QAbstractItemView::doubleClicked, this, [this, openId = QString(openId)](const QModelIndex& index) {
        if (QAction* open = Button(openId); open != nullptr && index.isValid()) open->trigger();
    });
    connect(grid->selectionModel(), &QItemSelectionModel::selectionChanged, this, &CTileWindow::updateActions);
}

void CTileWindow::AddButton(const char* id, std::function<bool()> can, bool inMenu) {
    QAction* action = app_.Commands().WindowAction(id, this);
    if (action == nullptr) return;
    toolBar->addAction(action);
    if (inMenu && grid_ != nullptr) grid_->addAction(action);
    buttons_.emplace_back(action, std::move(can));
}

QAction* CTileWindow::Button(const QString& id) const {
    for (const auto& button : buttons_)
        if (button.first->objectName() == id) return button.first;
    return nullptr;
}

void CTileWindow::updateActions() {
    for (const auto& [action, can] : buttons_) action->setEnabled(can());
    // Tiles arrive many times while a file is read: only the commands are asked again.
    app_.Commands().Update();
}

void SaveFilesToFolder(AppContext& app, QWidget* parent, const QString& folder, const QStringList& names,
                       const std::function<bool(int, const std::string& path, std::string& error)>& write,
                       const char* saved) {
    const QDir dir(folder);
    const QString shown = QDir::toNativeSeparators(folder);
    QStringList existing;
    for (const QString& name : names)
        if (QFileInfo::exists(dir.filePath(name))) existing << name;
    if (!existing.isEmpty() &&
        !app.Prompts().AskYesNo(parent, text::kOverwriteTitle,
                                QString(text::kExeReplaceFiles).arg(existing.size()).arg(shown, ListNames(existing))))
        return;
    // Written on a worker, to the end: the window paints meanwhile and takes no input.
    QStringList failures;
    RunLongWork(
        app.Prompts(), parent, QString(text::kSavingFile).arg(shown),
        [&] {
            for (int i = 0; i < names.size(); ++i) {
                std::string error;
                try {
                    if (write(i, dir.filePath(names[i]).toStdString(), error)) continue;
                } catch (const std::bad_alloc&) {
                    error = text::kOutOfMemory;
                }
                failures << names[i] + ": " + QString::fromStdString(error);
            }
        },
        Cancel::NotAllowed);
    if (!failures.isEmpty())
        app.ShowError(QString(text::kExeSaveAllFailed).arg(shown, ListNames(failures)));
    else
        app.Window()->statusBar()->showMessage(QString(saved).arg(names.size()).arg(shown), 5000);
}

}  // namespace tellurine::app
