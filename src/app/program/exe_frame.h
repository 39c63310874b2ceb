// The program document's window: every icon group of the program as a tile (its picture, its
// name and, with ExeShowInfo, how many formats it has), with the commands on the chosen groups.
#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <QWidget>
#include <functional>

#include "app/common/tile_delegate.h"
#include "app/common/tile_window.h"
#include "app/program/exe_doc.h"

namespace tellurine::app {

class AppContext;

// The document's tiles as list rows: the name as text, the picture, "N formats" as the info line.
class CExeTileModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit CExeTileModel(CFileExeDocument& document, QObject* parent = nullptr);
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] const ExeTile* Tile(int row) const;
    // Tiles dragged out go as what `exporter` makes of them (the frame's files and icon).
    std::function<QMimeData*(const std::vector<int>& tiles)> exporter;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QStringList mimeTypes() const override;
    [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;

private:
    CFileExeDocument& document_;
    int rows_ = 0;
};

class CFileExeView : public QListView {
    Q_OBJECT
public:
    CFileExeView(CFileExeDocument& document, bool showInfo, QWidget* parent = nullptr);
    [[nodiscard]] CExeTileModel* Model() const { return model_; }
    // What the view says in place of tiles ("This file contains no icons."), or nothing.
    [[nodiscard]] QString Message() const;
    // Called after the view's first paint once the document is read: every tile's picture is made
    // by then and the visible ones are on the screen (a benchmark of opening programs ends there).
    static std::function<void()> allTilesPaintedHook;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // Takes the grid from the largest picture after tiles arrive.
    void UpdateGrid();
    CFileExeDocument& document_;
    CExeTileModel* model_ = nullptr;
    CTileDelegate* delegate_ = nullptr;
};

class CFileExeMDI : public CTileWindow {
    Q_OBJECT
public:
    CFileExeMDI(AppContext& app, CFileExeDocument& document, QWidget* parent = nullptr);
    [[nodiscard]] CFileExeDocument& Document() const { return document_; }

    CFileExeView* view = nullptr;
    // What the window's commands (RegisterProgramCommands) may do now: open the chosen groups as
    // icon projects (Enter, double click), copy or save the one chosen group, save every group.
    [[nodiscard]] bool CanOpen() const;
    [[nodiscard]] bool CanCopy() const;
    [[nodiscard]] bool CanSaveAll() const;

public slots:
    void OnOpenAsProject();
    void OnCopy();
    void OnSaveAsIco();
    void OnSaveAll();
    // The program's icons: the chosen group replaced by an icon file's formats, or a group added
    // (the file then reopens in its window); the chosen group's formats as PNG files.
    void OnReplaceIcon();
    void OnAddIcon();
    void OnSaveAsPng();
    // Every group of the program in a new icon library, which saves as .icl or .dll.
    void OnOpenAsLibrary();

private:
    // Writes a tile's group to `path` through the project writer (beside the target, then renamed
    // over it); false with the reason in `error`.
    bool SaveTile(int tile, const std::string& path, std::string& error) const;
    // What copying or dragging tiles gives other programs: each group as an .ico file in a
    // temporary folder (the file list and URLs); one group also as the whole icon and a picture.
    QMimeData* TilesMimeData(const std::vector<int>& tiles) const;
    // Sets the program's icons from a file the user chooses, into `group` (the chosen tile's) or
    // a new group; asks before removing a signature.
    void SetIcon(const ExeIconGroupListing* group);
    CFileExeDocument& document_;
};

// The program windows' commands: open the chosen icon groups as projects, copy one, save one as
// an .ico file, save them all.
void RegisterProgramCommands(AppContext& app);

}  // namespace tellurine::app
