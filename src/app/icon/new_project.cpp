// New icon projects and new formats.
#include <QMessageBox>

#include "app/common/app_context.h"
#include "app/icon/dialogs.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "icon/format_maker.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "shell/texts.h"

namespace tellurine::app {
CIconProject* NewIconFromDialog(AppContext& app) {
    CDialNewIcon dialog(app.Prefs(), app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return nullptr;
    return NewIconProject(app, dialog.Choice());
}

CIconProject* NewIconProject(AppContext& app, const NewIconChoice& choice) {
    if (choice.formats.empty()) return nullptr;
    CIconDoc doc;
    doc.macintosh = choice.macintosh;
    for (const shell::NewFormat& format : choice.formats) {
        // A new format is fully transparent, an indexed one with its depth's standard palette.
        CKvIcon icon;
        if (!MakeBlankFormat(format.size, format.size, format.bits, icon)) {
            app.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
            return nullptr;
        }
        if (format.size >= 256 && (choice.compressLarge || choice.macintosh)) icon.SetCompressed(true);
        doc.AddFormat(std::move(icon));
    }
    return OpenNewProject(app, std::move(doc));
}

CIconProject* OpenNewProject(AppContext& app, CIconDoc&& doc, const QString& title) {
    auto project = std::make_unique<CIconProject>(std::move(doc));
    project->SetTitle(title.isEmpty() ? QString::fromStdString(shell::DocString(project->Template(), shell::kDocName)) +
                                            QString::number(app.NextUntitledNumber())
                                      : title);
    CIconProject* result = project.get();
    app.AddDocumentWindow(project.release(), new CIconDocMDI(*result, app.Workbench().canvas));
    return result;
}

int AddFormatTo(AppContext& app, CIconProject& project, int from, QWidget* parent, const CDIB* picture) {
    const CIconObject* source = picture == nullptr ? project.Doc().GetFormat(from) : nullptr;
    // A picture offers its own size, within what a format can have.
    const int largest = project.Doc().macintosh ? 1024 : 256;
    const int width = picture != nullptr ? std::min(picture->Width(), largest) : source != nullptr ? source->Width() : 32;
    const int height = picture != nullptr ? std::min(picture->Height(), largest) : source != nullptr ? source->Height() : 32;
    CDialNewFormat dialog(project.Doc().macintosh, width, height, source != nullptr ? source->BitCount() : 32, parent);
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return -1;
    const int w = dialog.FormatWidth(), h = dialog.FormatHeight(), bits = dialog.FormatBits();
    for (int i = 0; i < project.Doc().GetFormatCount(); ++i) {
        const CIconObject* f = project.Doc().GetFormat(i);
        if (f->Width() == w && f->Height() == h && f->BitCount() == bits) {
            app.Prompts().ShowMessage(parent, QMessageBox::Information, text::kAppTitle,
                                  QString(text::kFormatExists).arg(w).arg(h).arg(QString::fromStdString(shell::BitsText(bits))));
            return -1;
        }
    }
    CKvIcon icon;
    if (!shell::MakeAddedFormat(project.Doc().macintosh, picture, source, w, h, bits, app.Prefs(), icon)) {
        app.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
        return -1;
    }
    project.AddFormat(std::move(icon));
    return project.Doc().GetFormatCount() - 1;
}

void EditFormatProperties(AppContext& app, CIconProject& project, int index, QWidget* parent) {
    CIconObject* format = project.Doc().GetFormat(index);
    if (format == nullptr) return;
    CIconDoc& doc = project.Doc();
    std::vector<std::uint32_t> elements;
    std::uint32_t element = 0;
    if (doc.macintosh) {
        elements = MacElementsFor(format->Width(), format->Height(), format->BitCount());
        element = AssignMacElements(doc)[static_cast<std::size_t>(index)];
    }
    CDialFormatProperties dialog(format->Width(), format->Height(), format->BitCount(), format->Icon().IsCompressed(),
                                 parent, elements, element);
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const std::uint32_t chosen = dialog.Element();
    const bool newElement = chosen != 0 && chosen != element;
    if (dialog.Compressed() == format->Icon().IsCompressed() && !newElement) return;
    format->Icon().SetCompressed(dialog.Compressed());
    if (newElement) ChooseMacElement(doc, index, chosen);
    project.NotifyFormatsChanged(true);
}

}  // namespace tellurine::app
