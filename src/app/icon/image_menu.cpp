// The main window's Image and Filters menus, and the commands that make icons from pictures.
#include <QAction>
#include <QActionGroup>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QMenuBar>
#include <QThread>
#include <memory>

#include "app/picture/dib_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_maker.h"
#include "app/icon/icon_view.h"
#include "app/common/image_convert.h"
#include "app/icon/image_dialogs.h"
#include "app/shell/kv_app.h"
#include "app/common/long_work.h"
#include "app/shell/main_frame.h"
#include "app/common/texts.h"
#include "editor/image_commands.h"
#include "formats/image_file.h"
#include "imaging/filters.h"

namespace tellurine::app {
namespace {

// The filter last run from the Filters menu, for "Last Filter": -1 before any.
int lastFilter = -1;

constexpr int kDepths[] = {1, 4, 8, 24, 32};

}  // namespace

void CMainFrame::CreateImageMenus() {
    const auto add = [this](QMenu* menu, const char* label, void (CMainFrame::*slot)(), const QKeySequence& key = {}) {
        QAction* action = menu->addAction(label);
        if (!key.isEmpty()) action->setShortcut(key);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    QMenu* image = menuBar()->addMenu(text::kMenuImage);
    actResizeImage = add(image, text::kResizeImageItem, &CMainFrame::OnResizeImage, QKeySequence(Qt::CTRL | Qt::Key_R));
    actRotateImage = add(image, text::kRotateImageItem, &CMainFrame::OnRotateImage);
    image->addSeparator();
    actFlipHorizontal = add(image, text::kFlipHorizontal, &CMainFrame::OnFlipHorizontal);
    actFlipVertical = add(image, text::kFlipVertical, &CMainFrame::OnFlipVertical);
    image->addSeparator();
    QMenu* depths = image->addMenu(text::kColorDepthMenu);
    auto* depthGroup = new QActionGroup(this);
    for (std::size_t i = 0; i < std::size(kDepths); ++i) {
        QAction* action = depths->addAction(text::kDepthNames[i]);
        action->setCheckable(true);
        action->setActionGroup(depthGroup);
        const int bits = kDepths[i];
        connect(action, &QAction::triggered, this, [this, bits] { OnColorDepth(bits); });
        depthActions.push_back(action);
    }

    QMenu* filters = menuBar()->addMenu(text::kMenuFilters);
    actLastFilter = add(filters, text::kLastFilter, &CMainFrame::OnLastFilter, QKeySequence(Qt::CTRL | Qt::Key_F));
    filters->addSeparator();
    for (int n = 1; n <= kFilterCount; ++n) {
        QAction* action = filters->addAction(QString::fromUtf8(FilterMenuText(n).data(), static_cast<qsizetype>(FilterMenuText(n).size())));
        connect(action, &QAction::triggered, this, [this, n] { OnFilter(n); });
        filterActions.push_back(action);
    }
    filters->addSeparator();
    actGaussianBlur = add(filters, text::kGaussianBlurItem, &CMainFrame::OnGaussianBlur);
    actInvertColors = add(filters, text::kInvertColors, &CMainFrame::OnInvertColors, QKeySequence(Qt::CTRL | Qt::Key_I));

}

void CMainFrame::UpdateImageActions(const CIconView* canvas) {
    const bool editing = canvas != nullptr && canvas->State() != nullptr;
    for (QAction* a : {actResizeImage, actRotateImage, actFlipHorizontal, actFlipVertical, actGaussianBlur, actInvertColors})
        a->setEnabled(editing);
    for (QAction* a : filterActions) a->setEnabled(editing);
    actLastFilter->setEnabled(editing && lastFilter != -1);
    for (std::size_t i = 0; i < depthActions.size(); ++i) {
        depthActions[i]->setEnabled(editing);
        depthActions[i]->setChecked(editing && canvas->State()->depth == kDepths[i]);
    }
}

bool CMainFrame::RunImageCommand(const std::function<bool(editor::FormatState&)>& command) {
    CIconView* view = ActiveCanvas();
    if (view == nullptr) return false;
    // The work runs on a copy: a cancel, or a failure, leaves the format as it was.
    auto work = std::make_shared<editor::FormatState>(*view->State());
    auto done = std::make_shared<bool>(false);
    if (!RunLongWork(app_.Prompts(), this, text::kWorking, [work, done, command] { *done = command(*work); }))
        return false;
    if (!*done) {
        app_.ShowError(text::kCommandFailed);
        return false;
    }
    view->EditFormat([&](editor::FormatState& s) {
        const bool preserve = s.preserveTransparency;
        s = std::move(*work);
        s.preserveTransparency = preserve;
    });
    updateActions();
    return true;
}

void CMainFrame::OnResizeImage() {
    CIconView* view = ActiveCanvas();
    if (view == nullptr) return;
    int width = 0, height = 0;
    editor::SelectedImageSize(*view->State(), width, height);
    CDialIconScale dialog(width, height, this);
    if (app_.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const int w = dialog.NewWidth(), h = dialog.NewHeight();
    if (w == width && h == height) return;
    RunImageCommand([w, h](editor::FormatState& s) { return editor::ResizeImage(s, w, h); });
}

void CMainFrame::OnRotateImage() {
    if (ActiveCanvas() == nullptr) return;
    CDialIconRotate dialog(this);
    if (app_.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const int angle = dialog.Angle();
    RunImageCommand([angle](editor::FormatState& s) { return editor::RotateSelectedImage(s, angle); });
}

void CMainFrame::OnFlipHorizontal() {
    RunImageCommand([](editor::FormatState& s) { return editor::FlipImage(s, false); });
}

void CMainFrame::OnFlipVertical() {
    RunImageCommand([](editor::FormatState& s) { return editor::FlipImage(s, true); });
}

void CMainFrame::OnColorDepth(int bits) {
    CIconView* view = ActiveCanvas();
    if (view == nullptr || view->State()->depth == bits) return;
    RunImageCommand([bits](editor::FormatState& s) { return editor::ChangeImageDepth(s, bits); });
}

void CMainFrame::OnFilter(int filterNumber) {
    lastFilter = filterNumber;
    RunImageCommand([filterNumber](editor::FormatState& s) { return editor::FilterImage(s, filterNumber); });
}

void CMainFrame::OnLastFilter() {
    // Before any filter has run there is nothing to repeat.
    if (lastFilter >= 1 && lastFilter <= kFilterCount) OnFilter(lastFilter);
}

void CMainFrame::OnGaussianBlur() {
    CIconView* view = ActiveCanvas();
    if (view == nullptr) return;
    static bool previewOn = true;
    CDialIconGaussianBlur dialog(app_.prefs.iGaussianBlurRadius, previewOn, this);
    const auto preview = [view](int radius, bool on) {
        if (on) view->ShowPreview([radius](editor::FormatState& s) { return editor::BlurImage(s, radius); });
        else view->EndPreview();
    };
    connect(&dialog, &CDialIconGaussianBlur::previewRequested, view, preview);
    // Beside the picture rather than over it, so that the preview can be seen.
    dialog.adjustSize();
    dialog.move(view->mapToGlobal(QPoint(std::max(0, view->width() - dialog.width() - 12), 12)));
    if (previewOn) preview(dialog.Radius(), true);
    const int result = app_.Prompts().Exec(dialog);
    view->EndPreview();
    previewOn = dialog.PreviewOn();
    if (result != QDialog::Accepted) return;
    const int radius = dialog.Radius();
    app_.prefs.iGaussianBlurRadius = radius;
    RunImageCommand([radius](editor::FormatState& s) { return editor::BlurImage(s, radius); });
}

void CMainFrame::OnInvertColors() {
    RunImageCommand([](editor::FormatState& s) { return editor::InvertImage(s); });
}

// ---- Icons from pictures -----------------------------------------------------------------------

void CMainFrame::OnNewIconFromImage() {
    auto* document = qobject_cast<CDibDocument*>(ActiveDocument());
    if (document == nullptr) return;
    CDialIconFromImage dialog(app_.prefs, this);
    if (app_.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const NewIconChoice choice = dialog.Choice();
    PictureSource source;
    if (document->TemplateResource() == shell::kTemplateVector) source.drawingPath = document->PathName();
    else source.raster = document->image;
    IconProjectRequest base;
    base.threads = static_cast<unsigned>(std::max(1, QThread::idealThreadCount()));
    base.filterLevel = app_.prefs.ApplyFilterToCreateIconFromImageValue;
    // The top-left pixel's colour becomes transparent in a picture without transparency there; a
    // drawing, or a picture whose corner is already clear, needs no key.
    const QRgb corner = document->image.isNull() ? 0 : document->image.pixel(0, 0);
    if (app_.prefs.UseTransparentColorToCreateIconFromImage != 0 && source.drawingPath.isEmpty() && qAlpha(corner) == 255) {
        base.transparentColor = RGB(static_cast<std::uint8_t>(qRed(corner)), static_cast<std::uint8_t>(qGreen(corner)),
                                    static_cast<std::uint8_t>(qBlue(corner)));
    }
    struct Result {
        CIconDoc doc;
        std::string error;
        bool made = false;
    };
    auto result = std::make_shared<Result>();
    if (!RunLongWork(app_.Prompts(), this, text::kMakingIcon, [source, choice, base, result] {
            result->made = MakeProjectFromPicture(source, choice, base, result->doc, result->error);
        }))
        return;
    if (!result->made) {
        app_.ShowError(QString(text::kCannotMakeIcon).arg(document->Title(), QString::fromStdString(result->error)));
        return;
    }
    app_.OpenNewProject(std::move(result->doc), QFileInfo(document->PathName()).completeBaseName());
}

void CMainFrame::OnNewFormatFromImage() {
    auto* project = qobject_cast<CIconProject*>(ActiveDocument());
    CIconDocMDI* frame = ActiveIconFrame();
    if (project == nullptr || frame == nullptr) return;
    const QStringList names = app_.Prompts().GetOpenFileNames(this, {}, text::kPictureFilter);
    if (names.isEmpty()) return;
    CDIB picture;
    std::string error;
    if (!LoadPictureFile(QDir::toNativeSeparators(names.front()).toStdString(), picture, error)) {
        app_.ShowError(text::kImageReadError);
        return;
    }
    const int index = app_.AddFormatTo(*project, -1, this, &picture);
    if (index >= 0) frame->formatBar->SetCurrentFormat(index);
}

void CMainFrame::OnBatch() {
    const QString folder = QString::fromStdString(app_.prefs.ActualDir);
    CDialBatch dialog(app_.Prompts(), folder.isEmpty() ? QDir::homePath() : folder, this);
    if (app_.Prompts().Exec(dialog) != QDialog::Accepted) return;
    IconProjectRequest request;
    dialog.Request(request);
    QStringList failures;
    bool cancelled = false;
    const QStringList pictures = dialog.Pictures();
    const QString target = QDir::fromNativeSeparators(dialog.folderEdit->text().trimmed());
    const int made = RunBatch(app_.Prompts(), this, pictures, target, request, failures, cancelled);
    QString summary = QString(cancelled ? text::kBatchCancelled : text::kBatchDone)
                          .arg(made)
                          .arg(pictures.size())
                          .arg(QDir::toNativeSeparators(target));
    if (!failures.isEmpty()) summary += "\n\n" + failures.join('\n');
    app_.Prompts().ShowMessage(this, failures.isEmpty() ? QMessageBox::Information : QMessageBox::Warning,
                               text::kBatchTitle, summary);
}

}  // namespace tellurine::app
