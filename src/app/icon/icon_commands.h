// The commands that work on icon windows: editing, the view of the canvas, the drawing tools with
// their palette, and the Image and Filters menus.
#pragma once

namespace tellurine::app {

class CMainFrame;

void RegisterEditCommands(CMainFrame& main);
// Also makes the tool palette, the dockable tool bar of the tools and their settings.
void RegisterToolCommands(CMainFrame& main);
void RegisterImageCommands(CMainFrame& main);

}  // namespace tellurine::app
