// The commands of the program itself: opening, saving and closing documents, the windows, the
// preferences and help.
#pragma once

namespace tellurine::app {

class CMainFrame;

void RegisterFileCommands(CMainFrame& main);

}  // namespace tellurine::app
