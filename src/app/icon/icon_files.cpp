#include "app/icon/icon_files.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <memory>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/dialogs.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/picture/dib_frame.h"
#include "formats/icns_file.h"
#include "formats/icon_project.h"
#include "formats/image_strip.h"
#include "image/file_io.h"
#include "shell/program_tiles.h"
#include "shell/texts.h"

namespace tellurine::app {
CKvDocument* OpenIconFile(AppContext& app, const QString& path, int) {
    // Read on a worker: a large family (JPEG 2000, 1024-pixel PNG) takes many frames.
    auto contents = std::make_shared<IconFileContents>();
    if (!ReadOnWorker(app, path, text::kIconReadError, [contents, file = path.toStdString()](std::string& reason) {
            return LoadIconContainer(file, *contents, reason) ? ReadResult::Read : ReadResult::NotReadable;
        }))
        return nullptr;
    CKvDocument* first = nullptr;
    for (NamedIcon& icon : contents->icons) {
        auto* project = new CIconProject(std::move(icon.doc), contents->container);
        project->SetPathName(path);
        if (contents->Named()) {
            project->SetTitle(QFileInfo(path).fileName() + ": " + QString::fromStdString(icon.name));
            project->proposedStem = QFileInfo(QString::fromStdString(shell::ProgramGroupFileStem(
                                                  path.toStdString(), icon.name, project->Doc().cursor)))
                                        .fileName();
        }
        app.AddDocumentWindow(project, new CIconDocMDI(*project, app.Workbench().canvas));
        if (first == nullptr) first = project;
    }
    return first;
}

CKvDocument* OpenPictureOrStrip(AppContext& app, const QString& path, int templateResource) {
    const QSize size = QImageReader(path).size();
    const std::vector<StripCell> cells = OfferedStripCells(size.width(), size.height());
    if (templateResource != shell::kTemplateDib || app.Prefs().AskOpenImageStrip == 0 || cells.empty())
        return OpenPictureFile(app, path, templateResource);
    QStringList items{text::kOpenAsPicture};
    for (const StripCell cell : cells)
        items << QString(text::kOpenAsStrip)
                     .arg((size.width() / cell.width) * (size.height() / cell.height))
                     .arg(cell.width)
                     .arg(cell.height);
    bool chosen = false;
    const QString item =
        app.Prompts().GetItem(app.Window(), text::kAppTitle, QString(text::kStripQuestion).arg(QFileInfo(path).fileName()),
                              items, chosen, true);
    if (!chosen) return nullptr;
    const auto index = items.indexOf(item);
    if (index == 0) return OpenPictureFile(app, path, templateResource);
    // One of the offered cells, or a size typed in their place.
    std::optional<StripCell> cell;
    if (index > 0) cell = cells[static_cast<std::size_t>(index - 1)];
    else cell = ParseStripCell(item.trimmed().toStdString());
    if (!cell || cell->width > size.width() || cell->height > size.height()) {
        app.ShowError(QString(text::kStripCellError).arg(item, QFileInfo(path).fileName()));
        return nullptr;
    }
    auto doc = std::make_shared<CIconDoc>();
    if (!ReadOnWorker(app, path, text::kImageReadError, [doc, cell = *cell, file = path.toStdString()](std::string& reason) {
            return LoadStripPicture(file, *doc, reason, cell) ? ReadResult::Read : ReadResult::NotReadable;
        }))
        return nullptr;
    auto* project = new CIconProject(std::move(*doc), IconContainer::Strip);
    project->proposedStem = QFileInfo(path).completeBaseName();
    project->SetTitle(QFileInfo(path).fileName());
    app.AddDocumentWindow(project, new CIconDocMDI(*project, app.Workbench().canvas));
    return project;
}

bool CIconProject::Save(AppContext& app, bool choose) {
    if (!choose && saveBack && saveBack(Doc())) {
        SetModifiedFlag(false);
        return true;
    }
    if (!choose && CanSaveInPlace()) return SaveProjectTo(app, *this, PathName());
    // The proposed name: the document's own, with the extension of what the project is.
    // An icon taken from a file of several proposes its own name, never the window's title
    // ("shell32.dll: 14"), which no file may be called on some systems.
    QString base = !proposedStem.isEmpty() ? proposedStem : PathName().isEmpty() ? Title() : PathName();
    if (!PathName().isEmpty()) {
        const QFileInfo info(PathName());
        base = info.absolutePath() + '/' + (proposedStem.isEmpty() ? info.completeBaseName() : proposedStem);
    } else if (!app.Prefs().ActualDir.empty()) {
        base = QString::fromStdString(app.Prefs().ActualDir) + '/' + base;
    }
    // A strip stays a strip until the user picks another kind.
    const char* extension = container == IconContainer::Strip ? ".tbf" : Doc().DefaultExtension();
    const QString suggested = base + extension;

    const shell::SaveDialogFilters filters = shell::ProjectSaveFilters(Doc().macintosh, extension);
    QString selected = QString::fromStdString(filters.selected);
    const QString path = app.Prompts().GetSaveFileName(app.Window(), suggested, QString::fromStdString(filters.filters),
                                                       &selected);
    if (path.isEmpty()) return false;
    // No extension of ours: the chosen filter's is added.
    const std::string written = shell::WithSaveExtension(path.toStdString(), selected.toStdString());
    return SaveProjectTo(app, *this, QString::fromStdString(written));
}

bool SaveProjectTo(AppContext& app, CIconProject& project, const QString& path) {
    // The document is not touched until the file is written: the kind, the order of the formats
    // and the chosen format stay as they are whatever the save does.
    const CIconDoc& doc = project.Doc();
    const IconContainer kind = SaveKindOf(path.toStdString());
    // Encoding (PNG, JPEG 2000) and writing run on a worker, to their end: the window paints, and
    // takes no input until they are done.
    IconSavePlan plan;
    bool planned = false;
    const bool explorerOrder = app.Prefs().WinExplorerCompatibleOrder != 0;
    const IcnsWriteOptions mac{app.Prefs().MacPngElements != 0};
    RunLongWork(
        app.Prompts(), app.Window(), QString(text::kSavingFile).arg(QFileInfo(path).fileName()),
        [&] { planned = PlanIconSave(doc, kind, explorerOrder, mac, /*findChanges=*/true, plan); }, Cancel::NotAllowed);
    if (!planned) {
        const char* why = kind == IconContainer::Icns      ? text::kNoMacElement
                          : kind == IconContainer::Iconset ? text::kNoIconsetPicture
                                                           : text::kFormatNotWritten;
        app.ShowError(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(path), why));
        return false;
    }
    const QFileInfo target(path);
    // What the file cannot hold is asked about before anything is written: formats left out, and
    // formats a family stores otherwise (colours of its fixed palettes, one mask for a size).
    if (!plan.leftOut.empty() || !plan.changed.empty()) {
        QStringList lines;
        for (const auto& [list, what] : {std::pair{&plan.leftOut, text::kLeftOut}, std::pair{&plan.changed, text::kSavedChanged}})
            for (const int i : *list)
                if (const CIconObject* f = doc.GetFormat(i))
                    lines << QString("%1 x %2, %3: %4")
                                 .arg(f->Width())
                                 .arg(f->Height())
                                 .arg(QString::fromStdString(shell::BitsText(f->BitCount())), what);
        if (!app.Prompts().AskSaveOrCancel(app.Window(), text::kAppTitle,
                                       QString(text::kFormatsLeftOutQuestion).arg(target.fileName(), lines.join('\n'))))
            return false;
    }

    if (target.exists() && target != QFileInfo(project.PathName())) {
        OverwriteFacts facts;
        facts.path = path;
        facts.existingSize = target.size();
        facts.existingDate = target.lastModified();
        IconFileContents existing;
        std::string error;
        if (LoadIconContainer(path.toStdString(), existing, error) && !existing.icons.empty())
            if (const CIconObject* best = existing.icons.front().doc.LargestFormat())
                facts.existingPicture = ImageFromIcon(best->Icon());
        facts.projectSize = static_cast<qint64>(plan.bytes.size());
        facts.projectDate = project.LastChange();
        if (const CIconObject* best = doc.LargestFormat()) facts.projectPicture = ImageFromIcon(best->Icon());
        facts.macintosh = kind == IconContainer::Icns || kind == IconContainer::Iconset;
        std::unique_ptr<CDialAskOverwriteIconProject> dialog =
            facts.macintosh ? std::make_unique<CDialAskOverwriteIconProjectMac>(facts, app.Window())
                            : std::make_unique<CDialAskOverwriteIconProject>(facts, app.Window());
        if (app.Prompts().Exec(*dialog) != QDialog::Accepted) return false;
    }

    std::string error;
    bool written = false;
    RunLongWork(
        app.Prompts(), app.Window(), QString(text::kSavingFile).arg(QFileInfo(path).fileName()),
        [&] { written = WritePlannedSave(path.toStdString(), doc, plan, Durability::Flush, error); }, Cancel::NotAllowed);
    if (!written) {
        app.ShowError(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(path), QString::fromStdString(error)));
        return false;
    }
    // A file that holds less than the document (formats left out, colours of a fixed palette, an
    // icon set's pictures all at 32 bits) leaves it modified, so that closing it still asks.
    const bool whole = plan.Whole(doc);
    // The file is written: from here on the document is that file's, under its kind.
    CIconDoc& saved = project.Doc();
    const bool wasMacintosh = saved.macintosh;
    saved.macintosh = kind == IconContainer::Icns || kind == IconContainer::Iconset;
    saved.cursor = kind == IconContainer::Cur;
    project.container = kind;
    project.SetPathName(target.absoluteFilePath());
    app.Prefs().ActualDir = target.absolutePath().toStdString();
    project.SetModifiedFlag(!whole);
    // Sizes show as the new kind of file holds them ("32 x 32 @2x" only in a family).
    if (saved.macintosh != wasMacintosh) emit project.formatsChanged();
    if (whole) app.ForgetRecoveryFile(project);
    app.AddToRecentFileList(target.absoluteFilePath());
    app.updateActions();
    return true;
}

}  // namespace tellurine::app
