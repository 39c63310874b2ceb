// The explorer and search windows: the files as tiles (each its format nearest the tile's size
// over a checkerboard, its name, and its sizes and depths on hover) in the order and under the
// conditions chosen on the window's bar, opened by a double-click, dragged and copied out.
#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "app/common/tile_window.h"
#include "app/explorer/explorer_doc.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tellurine::app {

class AppContext;
class CTileDelegate;

// The entries that show, as rows in the order chosen.
class CExplorerModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit CExplorerModel(CExplorerDoc& document, QObject* parent = nullptr);
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QStringList mimeTypes() const override;
    [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;
    // The entry a row shows.
    [[nodiscard]] const ExplorerEntry& Entry(int row) const;
    // The files of rows, and their pictures, for other programs: as files, the program's own list
    // and the first one's picture.
    [[nodiscard]] QMimeData* FilesMimeData(const std::vector<int>& rows) const;

private:
    void Rebuild();
    void Add(int first, int count);
    [[nodiscard]] bool Before(int entryA, int entryB) const;

    CExplorerDoc& document_;
    std::vector<int> rows_;            // entry indices
    std::vector<std::string> names_;   // each entry's name as the order compares it
    mutable QImage unreadable_;
};

class CExplorerView : public QListView {
    Q_OBJECT
public:
    CExplorerView(CExplorerDoc& document, QWidget* parent = nullptr);
    [[nodiscard]] CExplorerModel* Model() const { return model_; }
    [[nodiscard]] std::vector<int> SelectedRows() const { return app::SelectedRows(*this); }
    // Called once, after the first paint that fills the view with tiles (or shows every tile
    // there is), and once after the first paint when every file has been read: the benchmarks of
    // browsing end there.
    static std::function<void()> firstScreenPaintedHook;
    static std::function<void()> allTilesPaintedHook;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    CExplorerDoc& document_;
    CExplorerModel* model_;
    CTileDelegate* delegate_;
};

class CExplorerMDI : public CTileWindow {
    Q_OBJECT
public:
    CExplorerMDI(AppContext& app, CExplorerDoc& document, QWidget* parent = nullptr);
    [[nodiscard]] CExplorerDoc& Document() const { return document_; }

    QLabel* folderLabel = nullptr;
    QCheckBox* subfoldersCheck = nullptr;
    QComboBox* kindCombo = nullptr;
    QComboBox* sizeCombo = nullptr;
    QComboBox* depthCombo = nullptr;
    QComboBox* alphaCombo = nullptr;
    QComboBox* sortCombo = nullptr;
    QCheckBox* descendingCheck = nullptr;
    QLineEdit* nameEdit = nullptr;  // search windows only
    QPushButton* likeButton = nullptr;
    QLabel* likeLabel = nullptr;
    QLabel* statusLabel = nullptr;
    CExplorerView* view = nullptr;

    [[nodiscard]] bool HasSelection() const;
    [[nodiscard]] bool IsScanning() const;

public slots:
    void OnOpen();
    void OnCopy();
    void OnStop();
    // Asks for the icon the tiles are to look like.
    void chooseLike();

private:
    // The bar's choices into the document's settings.
    void Apply();
    void ShowSettings();
    void ShowProgress();

    CExplorerDoc& document_;
    bool wasScanning_ = false;
};

// The explorer windows' commands (open, copy, stop) and the File menu's Browse Folder and Find
// Icons.
void RegisterExplorerCommands(AppContext& app);

}  // namespace tellurine::app
