// The program window's commands that change the program or take a group's formats out as
// pictures: Replace Icon, Add Icon, Save as PNG.
#include <QDir>
#include <QFileInfo>
#include <QMetaObject>
#include <QStatusBar>

#include "app/common/app_context.h"
#include "app/common/long_work.h"
#include "app/common/prompts.h"
#include "app/program/exe_frame.h"
#include "formats/icon_project.h"
#include "image/file_io.h"
#include "shell/doc_templates.h"
#include "shell/program_icons.h"
#include "shell/program_tiles.h"
#include "shell/texts.h"

namespace tellurine::app {

void CFileExeMDI::OnReplaceIcon() {
    const std::vector<int> chosen = SelectedRows(*view);
    if (chosen.size() == 1) SetIcon(document_.Group(chosen.front()));
}

void CFileExeMDI::OnAddIcon() {
    SetIcon(nullptr);
}

void CFileExeMDI::SetIcon(const ExeIconGroupListing* group) {
    const QString program = document_.PathName();
    const QStringList picked = app_.Prompts().GetOpenFileNames(
        this, QFileInfo(program).absolutePath(), QString::fromStdString(shell::QtFilterList(shell::OpenFileFilters())));
    if (picked.isEmpty()) return;
    IconFileContents contents;
    std::string error;
    if (!LoadIconContainer(picked.front().toStdString(), contents, error) || contents.icons.empty()) {
        app_.ShowError(QString(text::kExeSetIconFailed).arg(QDir::toNativeSeparators(program), text::kIconReadError),
                       {}, QString::fromStdString(error));
        return;
    }
    SetIconOptions options;
    if (group != nullptr) {
        options.group = group->name;
        options.language = group->language;
    } else if (const auto number = shell::FreeGroupNumber(program.toStdString())) {
        options.group = ResourceName{*number, {}};
    }
    const std::string path = program.toStdString();
    SetIconStatus status = SetIconStatus::Ok;
    {
        WaitCursor busy;
        status = shell::ChangeProgramIcon(path, contents.icons.front().doc, options, {}, error);
    }
    if (status == SetIconStatus::Signed &&
        app_.Prompts().AskYesNo(this, text::kExeSignedTitle,
                                QString(text::kExeRemoveSignature).arg(QFileInfo(program).fileName()))) {
        options.removeSignature = true;
        WaitCursor busy;
        status = shell::ChangeProgramIcon(path, contents.icons.front().doc, options, {}, error);
    }
    if (status == SetIconStatus::Signed) return;  // the user kept the signature
    if (status != SetIconStatus::Ok) {
        const QString reason =
            status == SetIconStatus::CannotWrite ? QString::fromStdString(error) : QString(SetIconStatusText(status));
        app_.ShowError(QString(text::kExeSetIconFailed).arg(QDir::toNativeSeparators(program), reason));
        return;
    }
    // The window shows the program as it now is: closed, and the file opened again once this
    // command has returned.
    app_.CloseDocumentWindow(&document_);
    QMetaObject::invokeMethod(
        app_.Window(),
        [app = &app_, program] {
            app->OpenDocumentFile(program);
            app->Window()->statusBar()->showMessage(
                QString(text::kExeIconSet)
                    .arg(QDir::toNativeSeparators(program), QFileInfo(program).fileName() + ".bak"),
                5000);
        },
        Qt::QueuedConnection);
}

void CFileExeMDI::OnSaveAsPng() {
    const std::vector<int> chosen = SelectedRows(*view);
    if (chosen.size() != 1) return;
    const ExeIconGroupListing* group = document_.Group(chosen.front());
    const QString folder = app_.Prompts().GetExistingDirectory(this, text::kExePngFolderTitle,
                                                               QFileInfo(document_.PathName()).absolutePath());
    if (folder.isEmpty() || group == nullptr) return;
    // Named as tellurine-cli extract names them: the group's file stem, the format's place, size
    // and depth; the stored PNG streams as they are, the others encoded on the worker.
    const std::string stem =
        shell::ProgramGroupFileStem(document_.PathName().toStdString(), group->name.Display(), group->cursor);
    CIconGroup formats;
    try {
        const WaitCursor busy;
        formats = document_.ReadGroup(chosen.front());
    } catch (const std::bad_alloc&) {
        app_.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
        return;
    }
    QStringList names;
    for (int i = 0; i < formats.FormatCount(); ++i) {
        const CKvIcon& icon = *formats.FormatAt(i);
        names << QString::fromStdString(shell::FormatPngFileName(stem, static_cast<std::size_t>(i),
                                                                 static_cast<int>(icon.Width()),
                                                                 static_cast<int>(icon.Height()), icon.BitsPerPixel()));
    }
    SaveFilesToFolder(
        app_, this, folder, names,
        [&formats](int i, const std::string& path, std::string& error) {
            const CKvIcon& icon = *formats.FormatAt(i);
            const auto unchanged = icon.UnchangedPng();
            std::vector<std::uint8_t> png(unchanged.begin(), unchanged.end());
            error = "the picture could not be encoded";
            return (!png.empty() || icon.EncodePngStream(png)) && WriteFileAtomically(path, png, error);
        },
        text::kExeSavedPngs);
}

}  // namespace tellurine::app
