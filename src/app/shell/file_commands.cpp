#include "app/shell/file_commands.h"

#include <QFileInfo>
#include <QInputDialog>
#include <QMdiArea>

#include "app/icon/icon_files.h"
#include "app/icon/icon_project.h"
#include "app/library/library_doc.h"
#include "app/shell/kv_app.h"
#include "app/shell/main_frame.h"
#include "shell/texts.h"

namespace tellurine::app {

void RegisterFileCommands(CMainFrame& main) {
    CKvApp& app = main.App();
    CommandRegistry& commands = *main.commands;
    const auto hasDocument = [&main] { return main.ActiveDocument() != nullptr; };
    const auto saved = [&main] { return main.ActiveDocument() != nullptr && main.ActiveDocument()->CanSave(); };
    const auto hasWindows = [&main] { return !main.Children().empty(); };

    commands.Add({.id = "file.new", .text = text::kNewIcon, .shortcut = QKeySequence::New,
                  .execute = [&main] { NewIconFromDialog(main); }, .icon = QStyle::SP_FileIcon});
    commands.Add(
        {.id = "file.newLibrary", .text = text::kNewIconLibrary, .execute = [&main] { NewIconLibrary(main); }});
    commands.Add({.id = "file.open", .text = text::kOpen, .shortcut = QKeySequence::Open,
                  .execute = [&app, &main] {
                      const QString folder = QString::fromStdString(app.prefs.ActualDir);
                      const QStringList files = app.Prompts().GetOpenFileNames(
                          &main, folder, QString::fromStdString(shell::QtFilterList(shell::OpenFileFilters())));
                      if (!files.isEmpty()) app.prefs.ActualDir = QFileInfo(files.front()).absolutePath().toStdString();
                      for (const QString& path : files) app.OpenDocumentFile(path);
                  },
                  .icon = QStyle::SP_DialogOpenButton});
    commands.Add({.id = "file.close", .text = text::kClose, .shortcut = QKeySequence(Qt::CTRL | Qt::Key_F4),
                  .execute = [&main] { main.ActiveChild()->close(); }, .enabled = hasDocument});
    commands.Add({.id = "file.save", .text = text::kSave, .shortcut = QKeySequence::Save,
                  .execute = [&app, &main] { app.SaveDocument(main.ActiveDocument()); },
                  .enabled = [saved, &main] { return saved() && main.ActiveDocument()->SaveWanted(); },
                  .icon = QStyle::SP_DialogSaveButton});
    commands.Add({.id = "file.saveAs", .text = text::kSaveAs, .shortcut = QKeySequence::SaveAs,
                  .execute = [&app, &main] { app.SaveDocumentAs(main.ActiveDocument()); },
                  .enabled = saved});
    commands.Add({.id = "file.exit", .text = text::kExit, .shortcut = QKeySequence(Qt::ALT | Qt::Key_F4),
                  .execute = [&main] { main.close(); }});
    commands.Add({.id = "app.preferences", .text = text::kPreferences, .shortcut = QKeySequence::Preferences,
                  .execute = [&app, &main] { app.EditPreferences(&main); }});

    commands.Add({.id = "window.cascade", .text = text::kCascade, .execute = [&main] { main.mdiArea->cascadeSubWindows(); },
                  .enabled = hasWindows});
    commands.Add({.id = "window.tile", .text = text::kTile, .execute = [&main] { main.mdiArea->tileSubWindows(); },
                  .enabled = hasWindows});
    commands.Add({.id = "window.closeAll", .text = text::kCloseAll,
                  .execute = [&main] { main.mdiArea->closeAllSubWindows(); }, .enabled = hasWindows});
    // Past the nine windows the Window menu lists, a list of them all to choose from.
    commands.Add({.id = "window.more", .text = text::kMoreWindows, .execute = [&app, &main] {
                      const std::vector<CKvMdiChild*> children = main.Children();
                      QStringList titles;
                      for (const CKvMdiChild* child : children) titles << child->Document()->Title();
                      bool chosen = false;
                      const QString title = app.Prompts().GetItem(&main, text::kSelectWindowTitle, text::kSelectWindow,
                                                                  titles, chosen);
                      if (const auto at = titles.indexOf(title); chosen && at >= 0)
                          main.mdiArea->setActiveSubWindow(children[static_cast<std::size_t>(at)]);
                  },
                  .enabled = hasWindows});

    commands.Add({.id = "help.whatsNew", .text = text::kWhatsNew, .execute = [&app] { app.ShowWhatsNew(); },
                  .enabled = [&app] { return !app.WhatsNewPages().isEmpty(); }});
    commands.Add({.id = "help.about", .text = text::kAbout, .execute = [&app, &main] {
                      // The box's title is the menu item's text without its mnemonic and ellipsis.
                      const QString title = QString(text::kAbout).remove('&').remove("...");
                      app.Prompts().ShowMessage(&main, QMessageBox::Information, title,
                                                QString(text::kAboutText).arg(TELLURINE_VERSION));
                  }});
}

}  // namespace tellurine::app
