// CKvApp's opening of files by document kind, and saving.
#include "app/shell/kv_app.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMdiArea>
#include <algorithm>

#include "app/ani/ani_doc.h"
#include "app/common/file_reading.h"
#include "app/explorer/explorer_doc.h"
#include "app/icon/icon_files.h"
#include "app/library/library_doc.h"
#include "app/picture/dib_frame.h"
#include "app/program/exe_doc.h"
#include "app/shell/main_frame.h"
#include "formats/iconset.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

struct KindOpener {
    shell::DocKind kind;
    DocumentOpener open;
};

// Every kind of document the program opens, and its opener. A kind without a line here is one
// the program cannot open yet.
constexpr KindOpener kOpeners[] = {
    {shell::DocKind::IconProject, OpenIconFile},
    {shell::DocKind::Image, OpenPictureOrStrip},
    {shell::DocKind::Vector, OpenPictureFile},
    {shell::DocKind::Animation, OpenAnimatedCursor},
    {shell::DocKind::Program, OpenProgramFile},
    {shell::DocKind::IconLibrary, OpenIconLibrary},
    {shell::DocKind::WebPage, OpenWebPage},
    {shell::DocKind::Explorer, OpenExplorerFile},
};

// The first bytes of a file, enough for every check of the template choice.
bool ReadHead(const QString& path, std::vector<std::uint8_t>& head) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QByteArray bytes = file.read(4096);
    head.assign(bytes.begin(), bytes.end());
    return true;
}

}  // namespace

CKvDocument* CKvApp::OpenDocumentFile(const QString& givenPath) {
    const QString path = QFileInfo(givenPath).absoluteFilePath();
    // A file already open is brought to the front.
    for (CKvMdiChild* child : mainFrame_->Children()) {
        if (QFileInfo(child->Document()->PathName()) == QFileInfo(path)) {
            mainFrame_->mdiArea->setActiveSubWindow(child);
            return child->Document();
        }
    }

    std::vector<std::uint8_t> head;
    const bool iconset = IsIconsetPath(path.toStdString()) && QFileInfo(path).isDir();
    // Any other folder is browsed.
    if (!iconset && QFileInfo(path).isDir()) return OpenFolderExplorer(*mainFrame_, path);
    if (!iconset && !ReadHead(path, head)) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        ShowError(QString(text::kFileNotFound).arg(QDir::toNativeSeparators(path), file.errorString()));
        ForgetRecentFile(path);
        return nullptr;
    }
    const int resource = shell::ChooseDocTemplate(path.toStdString(), head);
    const shell::DocTemplateInfo& info = *shell::FindDocTemplate(resource);

    const shell::DocKind kind = shell::DocKindOf(resource);
    const auto opener =
        std::find_if(std::begin(kOpeners), std::end(kOpeners), [kind](const KindOpener& k) { return k.kind == kind; });
    if (opener == std::end(kOpeners)) {
        const QString typeName = QString::fromStdString(shell::DocString(info, shell::kRegFileTypeName));
        prompts_->ShowMessage(mainFrame_.get(), QMessageBox::Information, text::kAppTitle,
                              QString(text::kCannotOpenYet).arg(QFileInfo(path).fileName(), typeName));
        return nullptr;
    }
    CKvDocument* first = opener->open(*mainFrame_, path, resource);
    if (first != nullptr) AddToRecentFileList(path);
    return first;
}

// ---- Saving ------------------------------------------------------------------------------------

bool CKvApp::SaveDocument(CKvDocument* document) { return document != nullptr && document->Save(*mainFrame_, false); }

bool CKvApp::SaveDocumentAs(CKvDocument* document) { return document != nullptr && document->Save(*mainFrame_, true); }

bool CKvApp::SaveModified(CKvDocument* document) {
    if (document == nullptr || !document->IsModified()) return true;
    switch (prompts_->AskSaveChanges(mainFrame_.get(), document->Title())) {
        case UserPrompts::SaveAnswer::Save: return SaveDocument(document);
        case UserPrompts::SaveAnswer::Discard: return true;
        case UserPrompts::SaveAnswer::Cancel: return false;
    }
    return false;
}

}  // namespace tellurine::app
