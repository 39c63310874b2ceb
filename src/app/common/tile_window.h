// A document window of tiles (a program's icon groups, a library's icons, an explorer's files): a
// tool bar over a grid, the window's commands from the registry on both, each enabled by the
// window's own state; and the folder of files such windows save.
#pragma once

#include <QAction>
#include <QIcon>
#include <QListView>
#include <QStringList>
#include <QWidget>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "app/common/app_context.h"
#include "shell/texts.h"

class QToolBar;

namespace tellurine::app {

// The chosen rows of a view, in order.
[[nodiscard]] std::vector<int> SelectedRows(const QAbstractItemView& view);
// The rows of the indexes a model is asked to drag or copy, in order.
[[nodiscard]] std::vector<int> SortedRows(const QModelIndexList& indexes);

class CTileWindow : public QWidget {
    Q_OBJECT
public:
    QToolBar* toolBar = nullptr;
    // The window's own button for a command ("program.copy" ...); null for another id.
    [[nodiscard]] QAction* Button(const QString& id) const;

public slots:
    // Enables each button by the window's state, then has the main window ask its commands again.
    void updateActions();

protected:
    CTileWindow(AppContext& app, const char* toolBarName, QWidget* parent);
    // Lays `grid` under the tool bar and `below` (if any) under it. A double click on a tile runs
    // the window's `openId` command; a change of the chosen tiles asks the buttons again.
    void SetGrid(QListView* grid, const char* openId, QWidget* below = nullptr);
    // The window's button for the command `id` on the tool bar and, with `inMenu`, the grid's
    // context menu (the grid set first); enabled while `can` says so.
    void AddButton(const char* id, std::function<bool()> can, bool inMenu = true);
    template <class Frame>
    void AddButtons(std::initializer_list<std::pair<const char*, bool (Frame::*)() const>> buttons) {
        for (const auto& [id, can] : buttons)
            AddButton(id, [this, can] { return (static_cast<const Frame*>(this)->*can)(); });
    }

    AppContext& app_;

private:
    QListView* grid_ = nullptr;
    std::vector<std::pair<QAction*, std::function<bool()>>> buttons_;
};

// Saves files into a folder the user chose. The names there already are asked about first, in
// one question; then `write(i, path, error)` writes the i-th on a worker while the window paints.
// The failures are listed in one message, or else the status bar says `saved` ("%1 icons saved in
// %2") with the count and the folder. Nothing is written when the user would not replace the files.
void SaveFilesToFolder(AppContext& app, QWidget* parent, const QString& folder, const QStringList& names,
                       const std::function<bool(int, const std::string& path, std::string& error)>& write,
                       const char* saved);

// A tile window's two commands on its chosen tiles, `kind`.open (`openText`, also on Return and
// Enter) and `kind`.copy, on the active window when it is a `Frame`.
template <class Frame>
void AddOpenAndCopy(AppContext& app, const QString& kind, const char* openText, void (Frame::*open)(),
                    bool (Frame::*canOpen)() const, void (Frame::*copy)(), bool (Frame::*canCopy)() const) {
    AddFrameCommand<Frame>(app, {.id = kind + ".open", .text = openText, .icon = QStyle::SP_DialogOpenButton},
                           open, canOpen)
        ->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    AddFrameCommand<Frame>(app, {.id = kind + ".copy", .text = text::kCopy, .shortcut = QKeySequence::Copy}, copy,
                           canCopy)
        ->setIcon(QIcon::fromTheme("edit-copy"));
}

}  // namespace tellurine::app
