// The Image and Filters menus' commands, and the commands that make icons from pictures.
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QPointer>
#include <QThread>
#include <memory>

#include "app/common/app_context.h"
#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/adjust_dialog.h"
#include "app/icon/icon_commands.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_maker.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_view.h"
#include "app/icon/image_dialogs.h"
#include "app/icon/palette_dialog.h"
#include "app/picture/dib_frame.h"
#include "editor/image_commands.h"
#include "formats/image_file.h"
#include "formats/layered_picture.h"
#include "formats/svg_file.h"
#include "imaging/filters.h"
#include "shell/new_formats.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

// The filter last run from the Filters menu, for "Last Filter": -1 before any.
int lastFilter = -1;

// Runs an image command on copies of the active canvas's format, or of every format of its icon
// (`every`: each format whole, whatever is selected in it), off the interface thread with progress
// past half a second, and makes the result one undoable step in each. False when there is no
// canvas, the user cancelled, or the command failed (the user is told).
bool RunImageCommand(AppContext& app, const std::function<bool(editor::FormatState&)>& command, bool every = false) {
    // The window may close while the work runs (its progress is an event loop of its own).
    const QPointer<CIconView> view = ActiveCanvas(app);
    const QPointer<CIconDocMDI> frame = app.Active<CIconDocMDI>();
    if (view == nullptr || frame == nullptr) return false;
    editor::EditSession& session = frame->Project().Session();
    // The work runs on copies: a cancel, or a failure, leaves the formats as they were.
    auto work = std::make_shared<std::vector<std::pair<int, editor::FormatState>>>();
    const int first = every ? 0 : view->Format();
    const int last = every ? frame->Project().Doc().GetFormatCount() - 1 : view->Format();
    for (int i = first; i <= last; ++i)
        if (const editor::FormatState* state = session.State(i)) {
            work->emplace_back(i, *state);
            if (every) work->back().second.selectionActive = false;
        }
    auto done = std::make_shared<bool>(true);
    if (!RunLongWork(app.Prompts(), app.Window(), text::kWorking, [work, done, command] {
            for (auto& [index, state] : *work) *done = command(state) && *done;
        }))
        return false;
    if (view == nullptr || frame == nullptr) return false;
    if (!*done) {
        app.ShowError(text::kCommandFailed);
        return false;
    }
    for (auto& [index, state] : *work)
        session.Edit(index, [&](editor::FormatState& s) {
            const bool preserve = s.preserveTransparency, selected = s.selectionActive;
            s = std::move(state);
            s.preserveTransparency = preserve;
            if (every) s.selectionActive = selected;
        });
    view->RefreshCanvas();
    app.updateActions();
    return true;
}

void OnResizeImage(AppContext& app) {
    CIconView* view = ActiveCanvas(app);
    if (view == nullptr) return;
    int width = 0, height = 0;
    editor::SelectedImageSize(*view->State(), width, height);
    CDialIconScale dialog(width, height, app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const int w = dialog.NewWidth(), h = dialog.NewHeight();
    if (w == width && h == height) return;
    const ResampleQuality quality = shell::ResampleQualityOf(app.Prefs());
    RunImageCommand(app, [w, h, quality](editor::FormatState& s) { return editor::ResizeImage(s, w, h, quality); });
}

void OnRotateImage(AppContext& app) {
    if (ActiveCanvas(app) == nullptr) return;
    CDialIconRotate dialog(app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const int angle = dialog.Angle();
    RunImageCommand(app, [angle](editor::FormatState& s) { return editor::RotateSelectedImage(s, angle); });
}

void OnColorDepth(AppContext& app, int bits) {
    CIconView* view = ActiveCanvas(app);
    if (view == nullptr || view->State()->depth == bits) return;
    RunImageCommand(app, [bits](editor::FormatState& s) { return editor::ChangeImageDepth(s, bits); });
}

void OnFilter(AppContext& app, int filterNumber) {
    lastFilter = filterNumber;
    RunImageCommand(app, [filterNumber](editor::FormatState& s) { return editor::FilterImage(s, filterNumber); });
}

void OnLastFilter(AppContext& app) {
    // Before any filter has run there is nothing to repeat.
    if (lastFilter >= 1 && lastFilter <= kFilterCount) OnFilter(app, lastFilter);
}

void OnGaussianBlur(AppContext& app) {
    // Held across the dialog's event loop: the window may be gone when it ends.
    const QPointer<CIconView> view = ActiveCanvas(app);
    if (view == nullptr) return;
    static bool previewOn = true;
    CDialIconGaussianBlur dialog(app.Prefs().iGaussianBlurRadius, previewOn, app.Window());
    const auto preview = [view](int radius, bool on) {
        if (view == nullptr) return;
        if (on) view->ShowPreview([radius](editor::FormatState& s) { return editor::BlurImage(s, radius); });
        else view->EndPreview();
    };
    QObject::connect(&dialog, &CDialIconGaussianBlur::previewRequested, view, preview);
    // Beside the picture rather than over it, so that the preview can be seen.
    dialog.adjustSize();
    dialog.move(view->mapToGlobal(QPoint(std::max(0, view->width() - dialog.width() - 12), 12)));
    if (previewOn) preview(dialog.Radius(), true);
    const int result = app.Prompts().Exec(dialog);
    if (view == nullptr) return;
    view->EndPreview();
    previewOn = dialog.PreviewOn();
    if (result != QDialog::Accepted) return;
    const int radius = dialog.Radius();
    app.Prefs().iGaussianBlurRadius = radius;
    RunImageCommand(app, [radius](editor::FormatState& s) { return editor::BlurImage(s, radius); });
}

// Runs a dialog whose values are shown on the canvas as they change, placed clear of the picture:
// `commandOf` makes the image command of the dialog's values, shown while its preview switch is
// on. The preview ends with the dialog; its result code, or Rejected when the window went meanwhile.
template <typename Dialog>
int ExecPreviewing(AppContext& app, const QPointer<CIconView>& view, Dialog& dialog,
                   const std::function<std::function<bool(editor::FormatState&)>()>& commandOf) {
    const auto preview = [view, &dialog, commandOf] {
        if (view == nullptr) return;
        if (dialog.PreviewOn()) view->ShowPreview(commandOf());
        else view->EndPreview();
    };
    QObject::connect(&dialog, &Dialog::previewRequested, view, preview);
    // At the main window's right edge, clear of the picture where there is room, so that the
    // preview can be seen.
    dialog.adjustSize();
    const QPoint canvasRight = view->mapTo(app.Window(), QPoint(view->width(), 0));
    const int x = std::max(canvasRight.x() + 12, app.Window()->width() - dialog.width() - 12);
    dialog.move(app.Window()->mapToGlobal(QPoint(std::max(0, std::min(x, app.Window()->width() - dialog.width())),
                                                 canvasRight.y())));
    preview();
    const int result = app.Prompts().Exec(dialog);
    if (view == nullptr) return QDialog::Rejected;
    view->EndPreview();
    return result;
}

void OnAdjustColors(AppContext& app) {
    // Held across the dialog's event loop: the window may be gone when it ends.
    const QPointer<CIconView> view = ActiveCanvas(app);
    if (view == nullptr) return;
    CDialIconAdjust dialog(app.Window());
    const auto commandOf = [&dialog]() -> std::function<bool(editor::FormatState&)> {
        return [adjuster = ColorAdjuster(dialog.Adjustment())](editor::FormatState& s) {
            return editor::AdjustImage(s, adjuster);
        };
    };
    if (ExecPreviewing(app, view, dialog, commandOf) == QDialog::Accepted)
        RunImageCommand(app, commandOf(), dialog.AllFormats());
}

void OnDropShadow(AppContext& app) {
    // Held across the dialog's event loop: the window may be gone when it ends.
    const QPointer<CIconView> view = ActiveCanvas(app);
    if (view == nullptr) return;
    CDialDropShadow dialog(app.Prompts(), app.Window());
    const auto commandOf = [&dialog]() -> std::function<bool(editor::FormatState&)> {
        return [shadow = dialog.Shadow()](editor::FormatState& s) { return editor::ShadowImage(s, shadow); };
    };
    if (ExecPreviewing(app, view, dialog, commandOf) == QDialog::Accepted) RunImageCommand(app, commandOf());
}

void OnPalette(AppContext& app) {
    CIconView* view = ActiveCanvas(app);
    if (view == nullptr || view->State() == nullptr || view->State()->depth > 8) return;
    const editor::FormatState shown = *view->State();
    CDialPalette dialog(shown.palette, shown.depth, app.Prompts(),
                        [&shown](int count) { return editor::OptimalPalette(shown, count); }, app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const bool dither = dialog.Dither(), every = dialog.AllFormats();
    RunImageCommand(
        app,
        [draft = dialog.Result(), dither, every, depth = shown.depth, original = shown.palette](editor::FormatState& s) {
            if (every && s.depth > 8) return true;
            if (draft.remap) return editor::MapOntoPalette(s, draft.palette, dither);
            // Changed and moved entries are this palette's: other formats take them where they share it.
            if (every && (s.depth != depth || s.palette != original)) return true;
            return editor::ReorderPalette(s, draft.palette, draft.origin);
        },
        every);
}

// ---- Icons from pictures -----------------------------------------------------------------------

void OnNewIconFromImage(AppContext& app) {
    auto* document = qobject_cast<CDibDocument*>(app.ActiveDocument());
    // Without a picture in front, the picture is chosen first and opened in its own window.
    if (document == nullptr) {
        const QStringList names = app.Prompts().GetOpenFileNames(app.Window(), QString::fromStdString(app.Prefs().ActualDir),
                                                                 text::kPictureFilter);
        if (names.isEmpty()) return;
        const int kind = IsSvgFile(names.front().toStdString(), {}) ? shell::kTemplateVector : shell::kTemplateDib;
        document = qobject_cast<CDibDocument*>(OpenPictureFile(app, names.front(), kind));
        if (document == nullptr) return;
    }
    CDialIconFromImage dialog(app.Prefs(), app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    const NewIconChoice choice = dialog.Choice();
    // A drawing or a layered document is read again from its file (its vector, its layers).
    const bool layered =
        document->TemplateResource() == shell::kTemplateVector || IsLayeredPicturePath(document->PathName().toStdString());
    const QString drawing = layered ? document->PathName() : QString();
    const QImage raster = drawing.isEmpty() ? document->image : QImage();
    IconProjectRequest base;
    base.threads = static_cast<unsigned>(std::max(1, QThread::idealThreadCount()));
    base.filterLevel = app.Prefs().ApplyFilterToCreateIconFromImageValue;
    base.quality = shell::ResampleQualityOf(app.Prefs());
    // The top-left pixel's colour becomes transparent in a picture without transparency there; a
    // drawing, or a picture whose corner is already clear, needs no key.
    const QRgb corner = document->image.isNull() ? 0 : document->image.pixel(0, 0);
    if (app.Prefs().UseTransparentColorToCreateIconFromImage != 0 && drawing.isEmpty() && qAlpha(corner) == 255)
        base.transparentColor = ColorRefOf(QColor(corner));
    struct Result {
        CIconDoc doc;
        std::string error;
        bool made = false;
    };
    auto result = std::make_shared<Result>();
    if (!RunLongWork(app.Prompts(), app.Window(), text::kMakingIcon, [raster, drawing, choice, base, result] {
            result->made = MakeProjectFromPicture(raster, drawing, choice, base, result->doc, result->error);
        }))
        return;
    if (!result->made) {
        app.ShowError(QString(text::kCannotMakeIcon).arg(document->Title(), QString::fromStdString(result->error)));
        return;
    }
    OpenNewProject(app, std::move(result->doc), QFileInfo(document->PathName()).completeBaseName());
}

void OnNewFormatFromImage(AppContext& app) {
    auto* project = qobject_cast<CIconProject*>(app.ActiveDocument());
    CIconDocMDI* frame = app.Active<CIconDocMDI>();
    if (project == nullptr || frame == nullptr) return;
    const QStringList names = app.Prompts().GetOpenFileNames(app.Window(), {}, text::kPictureFilter);
    if (names.isEmpty()) return;
    CDIB picture;
    std::string error;
    if (!LoadPictureFile(QDir::toNativeSeparators(names.front()).toStdString(), picture, error)) {
        app.ShowError(text::kImageReadError);
        return;
    }
    const int index = AddFormatTo(app, *project, -1, app.Window(), &picture);
    if (index >= 0) frame->formatBar->SetCurrentFormat(index);
}

void OnBatch(AppContext& app) {
    const QString folder = QString::fromStdString(app.Prefs().ActualDir);
    CDialBatch dialog(app.Prompts(), folder.isEmpty() ? QDir::homePath() : folder, app.Window());
    if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
    IconProjectRequest request;
    dialog.Request(request);
    request.quality = shell::ResampleQualityOf(app.Prefs());
    QStringList failures;
    bool cancelled = false;
    const QStringList pictures = dialog.Pictures();
    const QString target = QDir::fromNativeSeparators(dialog.folderEdit->text().trimmed());
    const int made = RunBatch(app.Prompts(), app.Window(), pictures, target, request, failures, cancelled);
    QString summary = QString(cancelled ? text::kBatchCancelled : text::kBatchDone)
                          .arg(made)
                          .arg(pictures.size())
                          .arg(QDir::toNativeSeparators(target));
    if (!failures.isEmpty()) summary += "\n\n" + failures.join('\n');
    app.Prompts().ShowMessage(app.Window(), failures.isEmpty() ? QMessageBox::Information : QMessageBox::Warning,
                               text::kBatchTitle, summary);
}

}  // namespace

void ChangePaletteEntry(AppContext& app, int index, const QColor& colour) {
    const PaletteEntry entry{static_cast<std::uint8_t>(colour.red()), static_cast<std::uint8_t>(colour.green()),
                             static_cast<std::uint8_t>(colour.blue()), 0};
    RunImageCommand(app, [index, entry](editor::FormatState& s) {
        if (index < 0 || static_cast<std::size_t>(index) >= s.palette.size()) return false;
        Palette palette = s.palette;
        palette.entries[static_cast<std::size_t>(index)] = entry;
        return editor::ReplacePalette(s, palette);
    });
}

void RegisterImageCommands(AppContext& app) {
    CommandRegistry& commands = app.Commands();
    const auto editing = [&app] { return ActiveCanvas(app) != nullptr; };
    const auto add = [&](const QString& id, const QString& label, void (*run)(AppContext&),
                         const QKeySequence& key = {}) {
        commands.Add(
            {.id = id, .text = label, .shortcut = key, .execute = [&app, run] { run(app); }, .enabled = editing});
    };
    add("image.resize", text::kResizeImageItem, OnResizeImage, QKeySequence(Qt::CTRL | Qt::Key_R));
    add("image.rotate", text::kRotateImageItem, OnRotateImage);
    add("image.flipHorizontal", text::kFlipHorizontal,
        [](AppContext& a) { RunImageCommand(a, [](editor::FormatState& s) { return editor::FlipImage(s, false); }); });
    add("image.flipVertical", text::kFlipVertical,
        [](AppContext& a) { RunImageCommand(a, [](editor::FormatState& s) { return editor::FlipImage(s, true); }); });
    for (std::size_t i = 0; i < std::size(shell::kDepthBits); ++i) {
        const int bits = shell::kDepthBits[i];
        commands.Add({.id = QString("image.depth.%1").arg(bits), .text = text::kDepthNames[i],
                      .execute = [&app, bits] { OnColorDepth(app, bits); }, .enabled = editing,
                      .checked = [&app, bits] {
                          return ActiveCanvas(app) != nullptr && ActiveCanvas(app)->State()->depth == bits;
                      },
                      .group = "depths"});
    }
    commands.Add({.id = "filter.last", .text = text::kLastFilter, .shortcut = QKeySequence(Qt::CTRL | Qt::Key_F),
                  .execute = [&app] { OnLastFilter(app); },
                  .enabled = [editing] { return editing() && lastFilter != -1; }});
    for (int n = 1; n <= kFilterCount; ++n)
        commands.Add({.id = QString("filter.%1").arg(n),
                      .text = QString::fromUtf8(FilterMenuText(n).data(), static_cast<qsizetype>(FilterMenuText(n).size())),
                      .execute = [&app, n] { OnFilter(app, n); }, .enabled = editing});
    add("filter.gaussianBlur", text::kGaussianBlurItem, OnGaussianBlur);
    add("image.adjustColors", text::kAdjustColorsItem, OnAdjustColors);
    commands.Add({.id = "image.dropShadow", .text = text::kDropShadowItem, .execute = [&app] { OnDropShadow(app); },
                  .enabled = [&app] {
                      const CIconView* view = ActiveCanvas(app);
                      return view != nullptr && view->State() != nullptr && view->State()->alpha;
                  }});
    commands.Add({.id = "image.palette", .text = text::kPaletteItem, .execute = [&app] { OnPalette(app); },
                  .enabled = [&app] {
                      const CIconView* view = ActiveCanvas(app);
                      return view != nullptr && view->State() != nullptr && view->State()->depth <= 8;
                  }});
    add("filter.invert", text::kInvertColors,
        [](AppContext& a) { RunImageCommand(a, [](editor::FormatState& s) { return editor::InvertImage(s); }); },
        QKeySequence(Qt::CTRL | Qt::Key_I));

    commands.Add({.id = "file.newIconFromImage", .text = text::kNewIconFromImage,
                  .execute = [&app] { OnNewIconFromImage(app); }});
    commands.Add({.id = "icon.newFormatFromImage", .text = text::kNewFormatFromImage,
                  .execute = [&app] { OnNewFormatFromImage(app); },
                  .enabled = [&app] { return app.Active<CIconDocMDI>() != nullptr; }});
    commands.Add({.id = "file.batch", .text = text::kBatchItem, .execute = [&app] { OnBatch(app); }});
}

}  // namespace tellurine::app
