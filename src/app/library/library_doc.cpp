#include "app/library/library_doc.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <algorithm>
#include <memory>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_project.h"
#include "app/library/library_frame.h"
#include "formats/ico_file.h"
#include "formats/icon_project.h"
#include "formats/ne_resources.h"
#include "image/file_io.h"
#include "shell/collections.h"
#include "shell/program_tiles.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// The tile of an icon file: its largest format, shown as every list of pictures shows them.
LibraryTile MakeTile(std::span<const std::uint8_t> file, qreal ratio) {
    LibraryTile tile;
    CIconDoc doc;
    if (!ReadIconFile(file, doc)) return tile;
    tile.formats = doc.GetFormatCount();
    const CIconObject* largest = doc.LargestFormat();
    if (largest == nullptr) return tile;
    tile.shownSize = QSize(largest->Width(), largest->Height());
    QImage picture = ImageFromIcon(largest->Icon());
    const QRect shown = ThumbnailRect(picture.size(), static_cast<int>(kLibraryTileSide * ratio + 0.5), ratio);
    if (shown.isEmpty()) return tile;
    picture = picture.scaled(shown.size(), Qt::IgnoreAspectRatio,
                             shown.width() < picture.width() ? Qt::SmoothTransformation : Qt::FastTransformation);
    picture.setDevicePixelRatio(ratio);
    tile.picture = std::move(picture);
    return tile;
}

qreal ScreenRatio() {
    return QGuiApplication::primaryScreen() != nullptr ? QGuiApplication::primaryScreen()->devicePixelRatio() : 1.0;
}

}  // namespace

bool LibraryContents::Read(std::span<const std::uint8_t> bytes, qreal ratio) {
    if (!library.Read(bytes)) return false;
    for (const shell::LibraryIcon& icon : library.Icons()) tiles[icon.key] = MakeTile(icon.file, ratio);
    return true;
}

CFileIclDocument::CFileIclDocument(QObject* parent) : CKvDocument(shell::kTemplateIconLibrary, parent) {}

const LibraryTile& CFileIclDocument::Tile(int row) const {
    static const LibraryTile none;
    if (row < 0 || row >= Count()) return none;
    const auto it = contents_.tiles.find(Library().Icons()[static_cast<std::size_t>(row)].key);
    return it == contents_.tiles.end() ? none : it->second;
}

void CFileIclDocument::Take(LibraryContents&& contents) {
    contents_ = std::move(contents);
    MeasureTiles();
    emit iconsChanged();
}

void CFileIclDocument::MeasureTiles() {
    qreal side = 0;
    for (const auto& [key, tile] : contents_.tiles) {
        const QSizeF shown = tile.picture.deviceIndependentSize();
        side = std::max({side, shown.width(), shown.height()});
    }
    largestSide_ = static_cast<int>(std::ceil(side));
}

void CFileIclDocument::Changed() {
    // Tiles of icons no longer in the library go.
    std::erase_if(contents_.tiles, [&](const auto& entry) { return !Library().IndexOf(entry.first); });
    MeasureTiles();
    SetModifiedFlag(true);
    emit iconsChanged();
}

bool CFileIclDocument::AddFile(std::vector<std::uint8_t> file, int row, std::optional<ResourceName> name) {
    const std::size_t at = static_cast<std::size_t>(std::clamp(row, 0, Count()));
    if (!contents_.library.Add(std::move(file), at, std::move(name))) return false;
    const shell::LibraryIcon& added = Library().Icons()[at];
    contents_.tiles[added.key] = MakeTile(added.file, ratio);
    return true;
}

int CFileIclDocument::AddFiles(const QStringList& paths, int row, QStringList& failures) {
    int added = 0;
    for (const QString& path : paths) {
        const int before = added;
        std::string error;
        for (shell::IconFileBytes& icon : shell::IconFilesOf(path.toStdString(), error)) {
            std::string unused;
            if (AddFile(std::move(icon.file), row + added, shell::ParseLibraryName(icon.name, unused))) ++added;
        }
        if (added == before) failures << QDir::toNativeSeparators(path);
    }
    if (added > 0) Changed();
    return added;
}

bool CFileIclDocument::AddIcon(const CIconDoc& doc, int row, const QString& name) {
    std::vector<std::uint8_t> file;
    if (!WriteIconFile(doc, false, file, doc.cursor)) return false;
    std::string unused;
    if (!AddFile(std::move(file), row, shell::ParseLibraryName(name.toStdString(), unused))) return false;
    Changed();
    return true;
}

void CFileIclDocument::Remove(std::vector<int> rows) {
    std::sort(rows.rbegin(), rows.rend());
    for (const int row : rows) contents_.library.Remove(static_cast<std::size_t>(row));
    if (!rows.empty()) Changed();
}

int CFileIclDocument::Move(const std::vector<int>& rows, int before) {
    const std::optional<std::size_t> first = contents_.library.Move(rows, before);
    if (!first) return before;
    Changed();
    return static_cast<int>(*first);
}

QString CFileIclDocument::Rename(int row, const QString& text) {
    const std::string error = contents_.library.Rename(static_cast<std::size_t>(std::max(row, 0)), text.toStdString());
    if (!error.empty()) return QString(text::kLibraryBadName).arg(text, QString::fromStdString(error));
    Changed();
    return {};
}

bool CFileIclDocument::Replace(std::uint64_t key, const CIconDoc& doc) {
    std::vector<std::uint8_t> file;
    if (!WriteIconFile(doc, false, file, doc.cursor) || !contents_.library.Replace(key, file)) return false;
    contents_.tiles[key] = MakeTile(file, ratio);
    Changed();
    return true;
}

CIconDoc CFileIclDocument::ReadIcon(int row) const {
    CIconDoc doc;
    if (row >= 0 && row < Count()) {
        const shell::LibraryIcon& icon = Library().Icons()[static_cast<std::size_t>(row)];
        ReadIconFile(icon.file, doc);
        doc.cursor = icon.Cursor();
    }
    return doc;
}

bool CFileIclDocument::WriteTo(const QString& path, shell::LibraryKind kind, QString& error) const {
    const auto bytes = Library().Write(kind, QFileInfo(path).completeBaseName().toStdString());
    if (!bytes) {
        error = text::kLibraryDoesNotFit;
        return false;
    }
    std::string reason;
    if (WriteFileAtomically(path.toStdString(), *bytes, reason)) return true;
    error = QString::fromStdString(reason);
    return false;
}

bool CFileIclDocument::Save(AppContext& app, bool choose) {
    QString path = PathName();
    shell::LibraryKind kind = shell::LibraryKindOf(path.toStdString(), dllKind == shell::LibraryKind::Dll32 ? 32 : 64);
    if (choose || path.isEmpty()) {
        const QString from = !path.isEmpty() ? path : proposedPath;
        const QString folder = !from.isEmpty()                ? QFileInfo(from).absolutePath()
                               : !app.Prefs().ActualDir.empty() ? QString::fromStdString(app.Prefs().ActualDir)
                                                              : QDir::homePath();
        const QString stem = from.isEmpty() ? Title() : QFileInfo(from).completeBaseName();
        const QStringList filters = {text::kLibraryIclFilter, text::kLibraryDll64Filter, text::kLibraryDll32Filter};
        QString selected = filters[kind == shell::LibraryKind::Icl ? 0 : kind == shell::LibraryKind::Dll64 ? 1 : 2];
        path = app.Prompts().GetSaveFileName(app.Window(), QDir(folder).filePath(stem + ".icl"), filters.join(";;"),
                                             &selected);
        if (path.isEmpty()) return false;
        std::string name = path.toStdString();
        kind = shell::SavedLibraryKind(name, selected == filters[1]   ? shell::LibraryKind::Dll64
                                             : selected == filters[2] ? shell::LibraryKind::Dll32
                                                                      : shell::LibraryKind::Icl);
        path = QString::fromStdString(name);
        if (kind != shell::LibraryKind::Icl) dllKind = kind;
    }
    QString error;
    if (!WriteTo(path, kind, error)) {
        app.ShowError(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(path), error));
        return false;
    }
    SetPathName(path);
    SetModifiedFlag(false);
    app.AddToRecentFileList(path);
    return true;
}

CKvDocument* OpenIconLibrary(AppContext& app, const QString& path, int) {
    auto contents = std::make_shared<LibraryContents>();
    const qreal ratio = ScreenRatio();
    if (!ReadOnWorker(app, path, text::kIconReadError,
                      [contents, ratio, file = path.toStdString()](std::string& reason) {
                          std::vector<std::uint8_t> bytes;
                          if (!ReadFileBytes(file, bytes, kMaxExeFileBytes, reason)) return ReadResult::NotReadable;
                          return contents->Read(bytes, ratio) ? ReadResult::Read : ReadResult::NotReadable;
                      }))
        return nullptr;
    auto* document = new CFileIclDocument;
    document->ratio = ratio;
    document->SetPathName(path);
    document->Take(std::move(*contents));
    app.AddDocumentWindow(document, new CFileIclMDI(app, *document));
    return document;
}

CFileIclDocument* NewIconLibrary(AppContext& app, LibraryContents&& contents, const QString& proposedPath) {
    auto* document = new CFileIclDocument;
    document->ratio = ScreenRatio();
    document->proposedPath = proposedPath;
    document->SetTitle(!proposedPath.isEmpty()
                           ? QFileInfo(proposedPath).fileName()
                           : QString::fromStdString(shell::DocString(document->Template(), shell::kDocName)).trimmed() +
                                 QString::number(app.NextUntitledNumber()));
    document->Take(std::move(contents));
    app.AddDocumentWindow(document, new CFileIclMDI(app, *document));
    return document;
}

CIconProject* OpenLibraryIcon(AppContext& app, CFileIclDocument& library, int row) {
    if (row < 0 || row >= library.Count()) return nullptr;
    const shell::LibraryIcon& icon = library.Library().Icons()[static_cast<std::size_t>(row)];
    CIconDoc doc = library.ReadIcon(row);
    if (doc.GetFormatCount() == 0) return nullptr;
    const QString name = QString::fromStdString(icon.name.Display());
    CIconProject* project = OpenNewProject(app, std::move(doc), library.Title() + ": " + name);
    project->proposedStem =
        QFileInfo(QString::fromStdString(shell::ProgramIcoFileName(
                      library.PathName().isEmpty() ? library.Title().toStdString() : library.PathName().toStdString(),
                      icon.name, icon.Cursor())))
            .completeBaseName();
    project->saveBack = [library = QPointer<CFileIclDocument>(&library), key = icon.key](const CIconDoc& formats) {
        return library != nullptr && library->Replace(key, formats);
    };
    return project;
}

}  // namespace tellurine::app
