// The commands that work on icon windows: editing, the view of the canvas, the drawing tools with
// their palette, and the Image and Filters menus.
#pragma once

class QColor;
class QMenu;
class QToolBar;

namespace tellurine::app {

class AppContext;

// What the tool commands make besides the commands: the tool palette, a dockable tool bar of the
// tools and their settings on the main window's left, and the Tools menu's lists of gradients and
// brush shapes, which the palette opens too.
struct ToolPalette {
    QToolBar* bar = nullptr;
    QMenu* gradients = nullptr;
    QMenu* brushShapes = nullptr;
};

void RegisterEditCommands(AppContext& app);
ToolPalette RegisterToolCommands(AppContext& app);
void RegisterImageCommands(AppContext& app);
// Gives entry `index` of the palette of the format being edited a new colour, as one undoable
// step: the pixels of that index show it.
void ChangePaletteEntry(AppContext& app, int index, const QColor& colour);

}  // namespace tellurine::app
