#include "app/icon/icon_set_export.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>
#include <algorithm>

#include "app/common/app_context.h"
#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/common/prompts.h"
#include "app/icon/dialogs.h"
#include "app/icon/icon_project.h"
#include "app/picture/dib_frame.h"
#include "shell/doc_templates.h"
#include "shell/texts.h"

namespace tellurine::app {

static_assert(std::size(text::kIconSetPlatformNames) == kIconSetPlatforms.size());

CDialIconSet::CDialIconSet(UserPrompts& prompts, const QString& folder, const QString& name, QWidget* parent)
    : QDialog(parent), prompts_(prompts) {
    setWindowTitle(text::kExportIconSetTitle);
    setObjectName("CDialIconSet");
    auto* grid = new QGridLayout;
    grid->addWidget(new QLabel(text::kIconSetPlatforms, this), 0, 0, Qt::AlignTop);
    auto* platforms = new QVBoxLayout;
    for (const char* platform : text::kIconSetPlatformNames) {
        auto* check = new QCheckBox(platform, this);
        check->setChecked(true);
        platformChecks.push_back(check);
        platforms->addWidget(check);
    }
    grid->addLayout(platforms, 0, 1, 1, 2);
    const auto labelled = [&](const char* text, QLineEdit* edit, int row) {
        auto* label = new QLabel(text, this);
        label->setBuddy(edit);
        grid->addWidget(label, row, 0);
        grid->addWidget(edit, row, 1);
    };
    nameEdit = new QLineEdit(name, this);
    backgroundEdit = new QLineEdit("#FFFFFF", this);
    folderEdit = new QLineEdit(QDir::toNativeSeparators(folder), this);
    folderEdit->setMinimumWidth(fontMetrics().averageCharWidth() * 40);
    labelled(text::kIconSetName, nameEdit, 1);
    labelled(text::kIconSetBackground, backgroundEdit, 2);
    labelled(text::kBatchFolder, folderEdit, 3);
    auto* browse = new QPushButton(text::kBatchBrowse, this);
    grid->addWidget(browse, 3, 2);
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString chosen = prompts_.GetExistingDirectory(this, text::kExportIconSetTitle, Folder());
        if (!chosen.isEmpty()) folderEdit->setText(QDir::toNativeSeparators(chosen));
    });
    AddOkCancel(this, grid);
}

IconSetRequest CDialIconSet::Request() const {
    IconSetRequest request;
    for (std::size_t i = 0; i < platformChecks.size(); ++i)
        if (platformChecks[i]->isChecked()) request.platforms.push_back(kIconSetPlatforms[i]);
    const QString name = nameEdit->text().trimmed();
    if (!name.isEmpty()) request.name = name.toStdString();
    request.background =
        ParseIconSetColour(backgroundEdit->text().trimmed().toStdString()).value_or(IconSetColour{});
    return request;
}

QString CDialIconSet::Folder() const {
    return QDir::fromNativeSeparators(folderEdit->text().trimmed());
}

void CDialIconSet::accept() {
    const char* problem = std::none_of(platformChecks.begin(), platformChecks.end(),
                                       [](const QCheckBox* c) { return c->isChecked(); })
                              ? text::kIconSetNoPlatform
                          : !ParseIconSetColour(backgroundEdit->text().trimmed().toStdString())
                              ? text::kIconSetBadColour
                          : Folder().isEmpty() ? text::kIconSetNoFolder
                                               : nullptr;
    if (problem != nullptr) {
        prompts_.ShowMessage(this, QMessageBox::Information, text::kExportIconSetTitle, problem);
        return;
    }
    QDialog::accept();
}

namespace {

// The active document as the source of a set: an icon project as the canvas shows it, a picture
// as it is, a drawing read again from its file so that each size is rendered from the vector.
// False, with the reason, when it cannot serve.
bool SourceOfActiveDocument(AppContext& app, IconSetSource& source, std::string& error) {
    if (const auto* project = qobject_cast<CIconProject*>(app.ActiveDocument())) {
        // A copy of the formats, so that the set is made off the interface thread while the
        // project stays editable.
        CIconDoc copy;
        CIconGroup group = project->Doc().BuildIconGroup();
        if (copy.TakeFormats(group) && source.SetProject(std::move(copy))) return true;
        error = "the icon has no format, or memory ran out";
        return false;
    }
    const auto* picture = qobject_cast<CDibDocument*>(app.ActiveDocument());
    if (picture == nullptr) return false;
    if (picture->TemplateResource() == shell::kTemplateVector)
        return LoadIconSetSource(picture->PathName().toStdString(), source, error);
    if (source.SetPicture(Dib32FromImage(picture->image))) return true;
    error = "the picture cannot be read";
    return false;
}

void OnExportIconSet(AppContext& app) {
    CKvDocument* document = app.ActiveDocument();
    if (document == nullptr) return;
    const QFileInfo file(document->PathName());
    const QString folder = file.exists() ? file.absolutePath() + "/" + file.completeBaseName() + "-icons"
                                         : QDir::homePath() + "/" + document->Title() + "-icons";
    CDialIconSet dialog(app.Prompts(), folder, file.exists() ? file.completeBaseName() : document->Title(),
                        app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    IconSetRequest request = dialog.Request();

    IconSetSource source;
    std::string error;
    bool written = false;
    std::size_t count = 0;
    if (SourceOfActiveDocument(app, source, error)) {
        source.SetResampleQuality(shell::ResampleQualityOf(app.Prefs()));
        request.drawing = source.IsDrawing();
        const std::vector<IconSetFile> plan = PlanIconSet(request);
        count = plan.size();
        const auto threads = static_cast<unsigned>(std::max(1, QThread::idealThreadCount()));
        const std::string target = dialog.Folder().toStdString();
        RunLongWork(
            app.Prompts(), app.Window(), text::kIconSetProgress,
            [&] { written = WriteIconSet(source, plan, target, threads, error); }, Cancel::NotAllowed);
    }
    if (!written) {
        app.ShowError(QString(text::kIconSetFailed).arg(QString::fromStdString(error)));
        return;
    }
    app.Prompts().ShowMessage(
        app.Window(), QMessageBox::Information, text::kExportIconSetTitle,
        QString(text::kIconSetDone).arg(count).arg(QDir::toNativeSeparators(dialog.Folder())));
}

}  // namespace

void RegisterIconSetCommand(AppContext& app) {
    app.Commands().Add({.id = "file.exportIconSet",
                        .text = text::kExportIconSetItem,
                        .execute = [&app] { OnExportIconSet(app); },
                        .enabled =
                            [&app] {
                                return qobject_cast<CIconProject*>(app.ActiveDocument()) != nullptr ||
                                       qobject_cast<CDibDocument*>(app.ActiveDocument()) != nullptr;
                            }});
}

}  // namespace tellurine::app
