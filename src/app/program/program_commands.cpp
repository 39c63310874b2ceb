#include "app/program/program_commands.h"

#include "app/program/exe_frame.h"
#include "app/shell/main_frame.h"
#include "shell/texts.h"

namespace tellurine::app {

void RegisterProgramCommands(CMainFrame& main) {
    CommandRegistry& commands = *main.commands;
    const auto frame = [&main] { return main.ActiveFrame<CFileExeMDI>(); };
    // A command on the active program window, while `can` says it may run. Their keys are the
    // Edit and File menus' own; those are off while a program window is active.
    const auto add = [&](const char* id, const char* label, const QKeySequence& key, void (CFileExeMDI::*run)(),
                         bool (CFileExeMDI::*can)() const, QStyle::StandardPixmap icon) {
        return commands.Add({.id = id, .text = label, .shortcut = key, .execute = [frame, run] { (frame()->*run)(); },
                             .enabled = [frame, can] { return frame() != nullptr && (frame()->*can)(); },
                             .icon = icon});
    };
    QAction* open = add("program.open", text::kExeOpenAsProject, QKeySequence(Qt::Key_Return), &CFileExeMDI::OnOpenAsProject,
                        &CFileExeMDI::CanOpen, QStyle::SP_DialogOpenButton);
    open->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    QAction* copy = add("program.copy", text::kCopy, QKeySequence::Copy, &CFileExeMDI::OnCopy, &CFileExeMDI::CanCopy,
                        QStyle::SP_CustomBase);
    copy->setIcon(QIcon::fromTheme("edit-copy"));
    add("program.saveIco", text::kExeSaveAsIco, QKeySequence::Save, &CFileExeMDI::OnSaveAsIco, &CFileExeMDI::CanCopy,
        QStyle::SP_DialogSaveButton);
    add("program.saveAll", text::kExeSaveAll, QKeySequence::SaveAs, &CFileExeMDI::OnSaveAll, &CFileExeMDI::CanSaveAll,
        QStyle::SP_DirIcon);
}

}  // namespace tellurine::app
