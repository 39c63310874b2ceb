// The librarian's dock: the collections kept in the user-data folder, one shown at a time as a
// grid of tiles like the explorer's. Icons join the collection shown when they are dropped on it
// or added from any window (Add to Collection); a collection is created, renamed, deleted and
// exported as an icon library or a folder of icon files from the dock's bar.
#pragma once

#include <QDockWidget>
#include <QStringList>
#include <vector>

#include "shell/collections.h"

class QComboBox;
class QLabel;
class QStackedWidget;
class QToolBar;

namespace tellurine::app {

class AppContext;
class CExplorerDoc;
class CExplorerView;

class CCollectionsDock : public QDockWidget {
    Q_OBJECT
public:
    // The collections under `folder`; `shown` the one to show first (the first one when it does
    // not exist).
    CCollectionsDock(AppContext& app, const QString& folder, const QString& shown, QWidget* parent = nullptr);
    ~CCollectionsDock() override;

    [[nodiscard]] shell::Collections& Collections() { return collections_; }
    // The collection shown; empty when there is none.
    [[nodiscard]] QString Current() const;
    // Shows a collection (the first one when there is no such collection).
    void Show(const QString& collection);
    [[nodiscard]] CExplorerDoc& Document() const { return *document_; }
    // The icon files chosen in the grid.
    [[nodiscard]] QStringList SelectedFiles() const;

    // Adds icons, or the icons of files, to the collection shown, making the first collection
    // when there is none; tells the user of what could not be added. Gives how many were added.
    int AddIcons(const std::vector<shell::IconFileBytes>& icons);
    int AddFiles(const QStringList& paths);

    QComboBox* combo = nullptr;
    QToolBar* bar = nullptr;
    CExplorerView* view = nullptr;
    QLabel* emptyLabel = nullptr;

public slots:
    void OnNew();
    void OnRename();
    void OnDelete();
    void OnExportLibrary();
    void OnExportFolder();
    void OnRemoveIcons();
    void OnOpen();

protected:
    // Files dropped on the grid join the collection.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The names into the list, `select` chosen, and the grid on the collection chosen.
    void Refresh(const QString& select);
    // The grid on the collection the list shows (read again when it is another one).
    void ShowCurrent();
    void ShowEmptyOrGrid();
    // The collection shown, making the first one when there is none; empty when that fails.
    QString Target();
    void Fail(const QString& text, const std::string& reason);

    AppContext& app_;
    shell::Collections collections_;
    CExplorerDoc* document_ = nullptr;
    QStackedWidget* stack_ = nullptr;
};

// The commands of the collections (id "librarian.*", acting on the dock) and Add to Collection,
// which adds the active window's icon, the files or icons chosen in it, or its file.
void RegisterCollectionCommands(AppContext& app, CCollectionsDock& dock);

}  // namespace tellurine::app
