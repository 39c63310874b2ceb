// What every icon window shares: the drawing tools, the colour bar's colours and the canvas's
// settings, as the preferences set them.
#pragma once

#include <memory>
#include <vector>

#include "editor/canvas_resources.h"
#include "editor/colour_value.h"
#include "editor/tools.h"
#include "shell/preferences.h"

namespace tellurine::shell {

// How the canvases draw, and what they draw with.
struct CanvasContext {
    editor::CanvasResources resources = editor::CanvasResources::Build({});
    bool showGrid = true;   // ShowGrid
    bool autoZoom = true;   // DefaultZoomAuto
    COLORREF previewColor = 0xE1E1E1;  // PreviewColor
    editor::CDrawTool* tool = nullptr;           // the current drawing tool
    editor::ColourSelection* colours = nullptr;  // the colour bar's colours
    bool transparentCopy = true;  // TransparentCopy: a format's "preserve transparency" at first
};

class Workbench {
public:
    Workbench() { canvas.colours = &colours; }
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    editor::ColourSelection colours;  // the colour bar's, kept in section "colors"
    CanvasContext canvas;
    std::vector<std::unique_ptr<editor::CDrawTool>> tools;

    // Makes the twelve tools in their fixed order, the pencil current, with the gradient with
    // stops the preferences keep (SavedGradient). Palette colours are drawn as a screen of
    // `screenBits` shows them (rounded on 15- and 16-bit screens).
    void MakeTools(const Preferences& prefs, int screenBits);
    [[nodiscard]] editor::CDrawTool* Tool(editor::ToolKind kind) const;
    void SetCurrentTool(editor::ToolKind kind) { canvas.tool = Tool(kind); }

    // The canvas's settings and the tools' smoothing from the preferences.
    void ApplyPreferences(const Preferences& prefs);
    // The colour bar's colours and numbers from the preferences (section "colors"), and back; back
    // also the tools' gradient with stops, as its .ggr text (empty for the two colours).
    void TakeColours(const Preferences& prefs);
    void GiveColours(Preferences& prefs) const;
    // Only the numbers (indexes and opacities), which the preferences dialog shows and changes.
    void TakeColourNumbers(const Preferences& prefs);
    void GiveColourNumbers(Preferences& prefs) const;
};

}  // namespace tellurine::shell
