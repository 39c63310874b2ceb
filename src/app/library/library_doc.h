// The icon library document: the named icons of an .icl library (or of a new one), each with
// the tile its window shows; edited in its window and saved as .icl, as a 32- or 64-bit .dll,
// or as a folder of icon files.
#pragma once

#include <QImage>
#include <QStringList>
#include <map>
#include <optional>
#include <span>

#include "app/common/document.h"
#include "icon/icon_doc.h"
#include "shell/icon_library.h"

namespace tellurine::app {

class CIconProject;

// What a library icon's tile shows.
struct LibraryTile {
    QImage picture;   // its largest format, scaled down to fit kLibraryTileSide
    int formats = 0;  // how many it has
    QSize shownSize;  // the size of the format shown
};

// The largest side of a tile's picture, in device-independent pixels.
inline constexpr int kLibraryTileSide = 48;

// A library with the tiles of its icons, made together on a worker when a file is read.
struct LibraryContents {
    shell::IconLibrary library;
    std::map<std::uint64_t, LibraryTile> tiles;
    // Reads the bytes of a library or program; false when they hold neither.
    bool Read(std::span<const std::uint8_t> bytes, qreal ratio);
};

class CFileIclDocument : public CKvDocument {
    Q_OBJECT
public:
    explicit CFileIclDocument(QObject* parent = nullptr);

    [[nodiscard]] const shell::IconLibrary& Library() const { return contents_.library; }
    [[nodiscard]] int Count() const { return static_cast<int>(contents_.library.Icons().size()); }
    // The tile of the icon at `row`; an empty one outside the list.
    [[nodiscard]] const LibraryTile& Tile(int row) const;
    // The largest side of the tiles' pictures, in device-independent pixels (asked for by every
    // tile painted, so kept rather than counted).
    [[nodiscard]] int LargestPictureSide() const { return largestSide_; }
    void Take(LibraryContents&& contents);
    // The screen's device pixel ratio, which the tiles are made for.
    qreal ratio = 1;

    // Edits: each marks the document modified and tells the views (iconsChanged).
    // Adds the icons of files (an icon or cursor file as it is, byte for byte; every icon of any
    // other file the program reads, a program's groups included) at `row`; returns how many were
    // added, with the files that gave none in `failures`.
    int AddFiles(const QStringList& paths, int row, QStringList& failures);
    // Adds an icon's formats (written as an icon file, or a cursor file for a cursor) named
    // `name` when that is free, else by the lowest free number.
    bool AddIcon(const CIconDoc& doc, int row, const QString& name = {});
    void Remove(std::vector<int> rows);
    // Moves the icons at `rows` (in order) so that they stand before the icon now at `before`
    // (the end when past it); returns where the first of them went.
    int Move(const std::vector<int>& rows, int before);
    // Empty when renamed, else why not.
    QString Rename(int row, const QString& text);
    // The icon with `key` takes the project's formats; false when it is gone or cannot be written.
    bool Replace(std::uint64_t key, const CIconDoc& doc);
    // An icon's formats as a project holds them (a cursor's with its hotspots); throws
    // std::bad_alloc when memory runs out.
    [[nodiscard]] CIconDoc ReadIcon(int row) const;

    // Writes the library to `path` as `kind`: the .icl's module is named after the file.
    bool WriteTo(const QString& path, shell::LibraryKind kind, QString& error) const;
    bool CanSave() const override { return true; }
    bool SaveWanted() const override { return IsModified() || PathName().isEmpty(); }
    bool Save(AppContext& app, bool choose) override;
    // Where Save proposes to write a library that has no file yet; empty: the last folder used.
    QString proposedPath;
    // The kind a .dll is saved as when saved in place (the last one chosen).
    shell::LibraryKind dllKind = shell::LibraryKind::Dll64;

signals:
    void iconsChanged();

private:
    void Changed();
    void MeasureTiles();
    bool AddFile(std::vector<std::uint8_t> file, int row, std::optional<ResourceName> name);
    LibraryContents contents_;
    int largestSide_ = 0;
};

// Opens an icon library in a window of its own; null after telling the user why not.
CKvDocument* OpenIconLibrary(AppContext& app, const QString& path, int templateResource);
// A new library in a window of its own: empty, or holding `contents` (read from a program, whose
// path with the extension .icl Save then proposes: `proposedPath`).
CFileIclDocument* NewIconLibrary(AppContext& app, LibraryContents&& contents = {}, const QString& proposedPath = {});
// Opens a library icon as an icon project whose Save puts its formats back into the library
// (while the library is open; after, Save asks for a file).
CIconProject* OpenLibraryIcon(AppContext& app, CFileIclDocument& library, int row);

}  // namespace tellurine::app
