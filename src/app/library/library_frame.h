// The icon library's window: its icons as tiles in their order (named, with how many formats
// each has), renamed in place, reordered by dragging, and files dropped on it added.
#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <QWidget>
#include <functional>
#include <memory>

#include "app/common/tile_delegate.h"
#include "app/common/tile_window.h"
#include "app/library/library_doc.h"

namespace tellurine::app {

class AppContext;

// The library's icons as rows: the name (shown and edited), the tile's picture and info line.
class CLibraryModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit CLibraryModel(CFileIclDocument& document, QObject* parent = nullptr);
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] Qt::DropActions supportedDropActions() const override;
    [[nodiscard]] QStringList mimeTypes() const override;
    [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;
    // Tiles dragged out go to other programs as what `exporter` makes of them too.
    std::function<std::unique_ptr<QMimeData>(const std::vector<int>& rows)> exporter;

signals:
    // A name typed that no icon may have, with why.
    void renameRefused(const QString& message);
    // Icons were dropped in: rows moved (their first now at `row`), or files added there.
    void dropped(int row, int count);

private:
    CFileIclDocument& document_;
};

class CFileIclMDI : public CTileWindow {
    Q_OBJECT
public:
    CFileIclMDI(AppContext& app, CFileIclDocument& document, QWidget* parent = nullptr);
    [[nodiscard]] CFileIclDocument& Document() const { return document_; }

    QListView* view = nullptr;
    CLibraryModel* model = nullptr;
    // The chosen icons, in row order.
    [[nodiscard]] std::vector<int> SelectedRows() const { return app::SelectedRows(*view); }
    [[nodiscard]] bool HasSelection() const;
    [[nodiscard]] bool HasOne() const;
    [[nodiscard]] bool CanMoveEarlier() const;
    [[nodiscard]] bool CanMoveLater() const;
    [[nodiscard]] bool HasIcons() const;
    [[nodiscard]] bool CanPaste() const;
    [[nodiscard]] bool Always() const;
    // Chooses rows (and makes the first current).
    void Select(int first, int count);

public slots:
    void OnOpen();
    void OnCopy();
    void OnAddFiles();
    void OnPaste();
    void OnAddOpenIcon();
    void OnRemove();
    void OnRename();
    void OnMoveEarlier();
    void OnMoveLater();
    void OnSaveFolder();

private:
    // What copying or dragging icons out gives other programs: each icon as its own file in a
    // temporary folder (URLs and the file list); one icon also as a whole icon and a picture.
    std::unique_ptr<QMimeData> IconsMimeData(const std::vector<int>& rows) const;
    CFileIclDocument& document_;
};

// The library windows' commands.
void RegisterLibraryCommands(AppContext& app);

}  // namespace tellurine::app
