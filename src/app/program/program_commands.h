// The commands of program and library windows: open the chosen icon groups as projects, copy one,
// save one as an .ico file, save them all.
#pragma once

namespace tellurine::app {

class CMainFrame;

void RegisterProgramCommands(CMainFrame& main);

}  // namespace tellurine::app
