// The Edit and View commands on icon windows, and printing a format.
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>

#include "app/common/app_context.h"
#include "app/common/image_convert.h"
#include "app/icon/clipboard.h"
#include "app/icon/icon_commands.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_view.h"
#include "app/icon/print.h"
#include "app/picture/dib_frame.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

// What printing the active window's format puts on the page; false without one.
bool ActivePrintPage(AppContext& app, PrintPage& page) {
    CIconDocMDI* frame = app.Active<CIconDocMDI>();
    const CIconObject* format = frame != nullptr ? frame->Project().Doc().GetFormat(frame->CurrentFormat()) : nullptr;
    if (format == nullptr) return false;
    page.picture = ImageFromIcon(format->Icon());
    page.header = frame->Project().Title();
    page.footer = QString::fromStdString(shell::FormatLine(text::kPrintFooter, format->Width(), format->Height(),
                                                           format->BitCount()));
    page.headerAndFooter = app.Prefs().PrintHeaderFooter != 0;
    return true;
}

}  // namespace

void RegisterEditCommands(AppContext& app) {
    CommandRegistry& commands = app.Commands();
    shell::Preferences& prefs = app.Prefs();
    const auto frame = [&app] { return app.Active<CIconDocMDI>(); };
    const auto canvas = [&app] { return ActiveCanvas(app); };
    const auto onCanvas = [canvas] { return canvas() != nullptr; };
    const auto onFrame = [frame] { return frame() != nullptr; };
    // A command on the active icon window, enabled while it shows a format.
    const auto edit = [&](const char* id, const char* label, const QKeySequence& key, void (CIconDocMDI::*run)()) {
        commands.Add({.id = id, .text = label, .shortcut = key, .execute = [frame, run] { (frame()->*run)(); },
                      .enabled = onCanvas});
    };
    commands.Add({.id = "edit.undo", .text = text::kUndo, .shortcut = QKeySequence::Undo,
                  .execute = [frame] { frame()->Undo(); },
                  .enabled = [canvas] { return canvas() != nullptr && canvas()->Project().CanUndo(canvas()->Format()); }});
    commands.Add({.id = "edit.redo", .text = text::kRedo, .shortcut = QKeySequence(Qt::CTRL | Qt::Key_Y),
                  .execute = [frame] { frame()->Redo(); },
                  .enabled = [canvas] { return canvas() != nullptr && canvas()->Project().CanRedo(canvas()->Format()); }});
    edit("edit.cut", text::kCut, QKeySequence::Cut, &CIconDocMDI::Cut);
    edit("edit.copy", text::kCopy, QKeySequence::Copy, &CIconDocMDI::Copy);
    commands.Add({.id = "edit.paste", .text = text::kPaste, .shortcut = QKeySequence::Paste,
                  .execute = [&commands, frame] {
                      frame()->Paste();
                      // The pasted picture floats; the selection tool moves it.
                      commands.Execute("tool.select");
                  },
                  .enabled = onCanvas});
    commands.Add({.id = "edit.pasteAsFormat", .text = text::kPasteAsFormat,
                  .shortcut = QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V),
                  .execute = [frame] { frame()->PasteAsFormat(); }, .enabled = onFrame});
    // A whole icon on the clipboard (copied from an icon or a program's window) opens as a new one.
    commands.Add({.id = "edit.pasteAsNewIcon", .text = text::kPasteAsNewIcon,
                  .execute = [&app] {
                      CIconDoc doc;
                      const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
                      if (pasted != nullptr && IconFromMimeData(*pasted, doc)) OpenNewProject(app, std::move(doc));
                  },
                  .enabled = [] {
                      const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
                      return pasted != nullptr && pasted->hasFormat(kIconEditMime);
                  }});
    edit("edit.delete", text::kDelete, QKeySequence::Delete, &CIconDocMDI::DeleteSelection);
    edit("edit.selectAll", text::kSelectAll, QKeySequence::SelectAll, &CIconDocMDI::SelectAll);
    commands.Add({.id = "edit.preserveTransparency", .text = text::kPreserveTransparency,
                  .shortcut = QKeySequence(Qt::Key_T),
                  .execute = [canvas, frame] { frame()->SetPreserveTransparency(!canvas()->State()->preserveTransparency); },
                  .enabled = onCanvas,
                  .checked = [canvas] { return canvas() != nullptr && canvas()->State()->preserveTransparency; },
                  .statusTip = text::kPreserveTransparencyHelp});
    edit("edit.floatingBehind", text::kFloatingBehind, {}, &CIconDocMDI::ToggleFloatingBehind);

    commands.Add({.id = "icon.newFormat", .text = text::kNewFormat, .shortcut = QKeySequence(Qt::Key_Insert),
                  .execute = [&app, frame] {
                      const int index = AddFormatTo(app, frame()->Project(), frame()->CurrentFormat(), app.Window());
                      if (index >= 0) frame()->formatBar->SetCurrentFormat(index);
                  },
                  .enabled = onFrame});
    commands.Add({.id = "icon.deleteFormat", .text = text::kDeleteFormat, .execute = [frame] { frame()->DeleteFormat(); },
                  .enabled = [frame] {
                      return frame() != nullptr && frame()->CurrentFormat() >= 0 && frame()->Project().Doc().GetFormatCount() > 1;
                  }});
    commands.Add({.id = "icon.properties", .text = text::kProperties, .shortcut = QKeySequence(Qt::ALT | Qt::Key_Return),
                  .execute = [&app, frame] {
                      EditFormatProperties(app, frame()->Project(), frame()->CurrentFormat(), app.Window());
                  },
                  .enabled = onCanvas});

    // The view of the canvas.
    commands.Add({.id = "view.formatBar", .text = text::kFormatBar, .execute = [&app, &prefs] {
                      prefs.ShowIcoFormatBar = prefs.ShowIcoFormatBar != 0 ? 0 : 1;
                      for (CIconDocMDI* icons : app.Window()->findChildren<CIconDocMDI*>())
                          icons->formatBar->setVisible(prefs.ShowIcoFormatBar != 0);
                  },
                  .checked = [&prefs] { return prefs.ShowIcoFormatBar != 0; }});
    commands.Add({.id = "view.zoomIn", .text = text::kZoomIn, .shortcut = QKeySequence::ZoomIn,
                  .execute = [canvas] { canvas()->ZoomIn(); },
                  .enabled = [canvas] { return canvas() != nullptr && canvas()->CanZoomIn(); },
                  .alternate = QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    commands.Add({.id = "view.zoomOut", .text = text::kZoomOut, .shortcut = QKeySequence::ZoomOut,
                  .execute = [canvas] { canvas()->ZoomOut(); },
                  .enabled = [canvas] { return canvas() != nullptr && canvas()->CanZoomOut(); }});
    commands.Add({.id = "view.fit", .text = text::kFitToWindow, .shortcut = QKeySequence(Qt::CTRL | Qt::Key_0),
                  .execute = [canvas] { canvas()->FitToWindow(); }, .enabled = onCanvas});
    commands.Add({.id = "view.grid", .text = text::kDisplayGrid, .shortcut = QKeySequence(Qt::Key_G),
                  .execute = [canvas] { canvas()->ToggleGrid(); }, .enabled = onCanvas,
                  .checked = [canvas] { return canvas() != nullptr && canvas()->GridShown(); }});

    const auto print = [&app](bool preview) {
        PrintPage page;
        if (!ActivePrintPage(app, page)) return;
        QPrinter printer(QPrinter::HighResolution);
        if (!preview) {
            QPrintDialog dialog(&printer, app.Window());
            if (dialog.exec() == QDialog::Accepted) PrintFormatPage(printer, page);
            return;
        }
        QPrintPreviewDialog dialog(&printer, app.Window());
        QObject::connect(&dialog, &QPrintPreviewDialog::paintRequested, app.Window(),
                         [&page](QPrinter* p) { PrintFormatPage(*p, page); });
        dialog.exec();
    };
    commands.Add({.id = "file.print", .text = text::kPrint, .shortcut = QKeySequence::Print,
                  .execute = [print] { print(false); }, .enabled = onCanvas});
    commands.Add({.id = "file.printPreview", .text = text::kPrintPreview, .execute = [print] { print(true); },
                  .enabled = onCanvas});
}

}  // namespace tellurine::app
