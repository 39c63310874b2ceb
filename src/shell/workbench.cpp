#include "shell/workbench.h"

#include <utility>

#include "formats/gradient_file.h"

namespace tellurine::shell {

namespace {

// The colour bar's numbers and the preferences they are kept in.
constexpr std::pair<int Preferences::*, int editor::ColourSelection::*> kSavedColourNumbers[] = {
    {&Preferences::SavedFgIndex8bpp, &editor::ColourSelection::foregroundIndex8},
    {&Preferences::SavedBkIndex8bpp, &editor::ColourSelection::backgroundIndex8},
    {&Preferences::SavedFgIndex1bpp, &editor::ColourSelection::foregroundIndex1},
    {&Preferences::SavedBkIndex1bpp, &editor::ColourSelection::backgroundIndex1},
    {&Preferences::FgOpacity, &editor::ColourSelection::foregroundOpacity},
    {&Preferences::BkOpacity, &editor::ColourSelection::backgroundOpacity},
};

}  // namespace

void Workbench::MakeTools(const Preferences& prefs, int screenBits) {
    using editor::ToolKind;
    tools.clear();
    for (const ToolKind kind : {ToolKind::Select, ToolKind::Pick, ToolKind::Replacer, ToolKind::Pen, ToolKind::Brush,
                                ToolKind::Fill, ToolKind::Rectangle, ToolKind::FilledRectangle, ToolKind::Ellipse,
                                ToolKind::FilledEllipse, ToolKind::Line, ToolKind::Frame3D}) {
        tools.push_back(editor::MakeTool(kind));
        tools.back()->settings.smoothEdges = prefs.Smooth32BppDraw != 0;
        tools.back()->settings.screenBits = screenBits;
    }
    // The gradient with stops, kept as its .ggr text; one that does not read leaves the two colours.
    Gradient stops;
    std::string error;
    if (!prefs.SavedGradient.empty() && ReadGradientFile(prefs.SavedGradient, stops, error))
        for (const auto& tool : tools) tool->settings.stops = stops;
    SetCurrentTool(ToolKind::Pen);
}

editor::CDrawTool* Workbench::Tool(editor::ToolKind kind) const {
    for (const auto& tool : tools)
        if (tool->Kind() == kind) return tool.get();
    return nullptr;
}

void Workbench::ApplyPreferences(const Preferences& prefs) {
    editor::CanvasSettings s;
    s.transparencyStyle = prefs.TransparencyStyle;
    s.transparentColor1 = ProfileColour(prefs.TransparentColor1, 0xEBEBEB) & 0xFFFFFF;
    s.transparentColor2 = ProfileColour(prefs.TransparentColor2, 0xFFFFFF) & 0xFFFFFF;
    s.gridStyle = prefs.GridStyle;
    s.gridColor = ProfileColour(prefs.GridColor, 0xA0A0A0) & 0xFFFFFF;
    s.gridStrongerLine = prefs.GridStrongerLine != 0;
    s.gridStrongerPixelCount = prefs.GridStrongerPixelCount;
    canvas.resources = editor::CanvasResources::Build(s);
    canvas.showGrid = prefs.ShowGrid != 0;
    canvas.autoZoom = prefs.DefaultZoomAuto != 0;
    canvas.previewColor = ProfileColour(prefs.PreviewColor, 0xE1E1E1) & 0xFFFFFF;
    canvas.transparentCopy = prefs.TransparentCopy != 0;
    for (const auto& tool : tools) tool->settings.smoothEdges = prefs.Smooth32BppDraw != 0;
}

void Workbench::TakeColours(const Preferences& prefs) {
    colours.foreground = ProfileColour(prefs.SavedFgRGBColor, 0);
    colours.background = ProfileColour(prefs.SavedBkRGBColor, editor::kTransparentColour);
    TakeColourNumbers(prefs);
}

void Workbench::GiveColours(Preferences& prefs) const {
    prefs.SavedFgRGBColor = ProfileColourText(colours.foreground);
    prefs.SavedBkRGBColor = ProfileColourText(colours.background);
    GiveColourNumbers(prefs);
    if (tools.empty()) return;
    const Gradient& stops = tools.front()->settings.stops;
    prefs.SavedGradient = stops.IsTwoColours() ? "" : WriteGradientFile(stops);
}

void Workbench::TakeColourNumbers(const Preferences& prefs) {
    for (const auto& [pref, colour] : kSavedColourNumbers) colours.*colour = prefs.*pref;
}

void Workbench::GiveColourNumbers(Preferences& prefs) const {
    for (const auto& [pref, colour] : kSavedColourNumbers) prefs.*pref = colours.*colour;
}

}  // namespace tellurine::shell
