// The drawing tools: each turns a mouse stroke (button down, moves, button up, in image pixels)
// into a change of the edited format, through the drawing core. One object of each tool lives for
// the whole run; the view hands the current one its events.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "editor/colour_value.h"
#include "editor/drawing.h"
#include "editor/selection.h"
#include "editor/undo_history.h"

namespace tellurine::editor {

enum class ToolKind { Select, Pick, Replacer, Pen, Brush, Fill, Line, Rectangle, FilledRectangle, Ellipse, FilledEllipse, Frame3D };

// What the view and the colour bar set for every tool.
struct ToolSettings {
    int brushShape = 0;   // 0..11
    int screenBits = 32;  // the screen's depth, for the 15/16-bit rounding of palette colours
    bool copyOnMove = false;  // the selection tool moves a copy (Ctrl or Alt held)
    int gradient = kSolid;    // a gradient mode, plus kReflectedGradient for the reflected effect
    Gradient stops;           // the colours the gradient runs through (the two colours by default)
    bool smoothEdges = true;  // Smooth32BppDraw: anti-aliased edges on formats with alpha
    int resizeEdges = 0;      // the selection handle pressed (SelectionHandleAt), for the selection tool
};

// What an event did: the format's rectangle that changed (empty when nothing did), and whether
// the colour bar's colours changed (the picker).
struct ToolResult {
    CanvasRect changed;
    bool coloursChanged = false;
};

// The pointer a tool shows over the canvas.
enum class ToolCursor { Arrow, Cross, Picker, Fill, Move };

class CDrawTool {
public:
    explicit CDrawTool(ToolKind kind) : kind_(kind) {}
    virtual ~CDrawTool() = default;
    [[nodiscard]] ToolKind Kind() const { return kind_; }
    // Whether a stroke changes the format, so that the view records undo before it.
    [[nodiscard]] virtual bool Edits() const { return true; }
    // The pointer to show at a pixel of the format.
    [[nodiscard]] virtual ToolCursor QueryCursor(const FormatState& format, int x, int y) const;

    // Attaches the tool to the format it is about to work on (the view does before each stroke).
    virtual void Attach(FormatState&) {}

    // Draws the tool's shape for the stroke so far (the point or segment just reached, or the
    // shape between the press and the pointer) into a coverage whose pixels are `scale` x
    // `scale` of the format's. Empty for tools without a shape.
    virtual void DrawShape(Coverage& coverage, int scale) const;
    // Draws the shape at the format's size and applies the stroke's colour through it.
    CanvasRect Apply(FormatState& format);

    // A right-button stroke draws with the background colour and opacity.
    virtual ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) = 0;
    virtual ToolResult PointerMove(FormatState& format, ColourSelection& colours, int x, int y) = 0;
    virtual ToolResult ButtonUp(FormatState& format, ColourSelection& colours, int x, int y);

    ToolSettings settings;

    // The colours of the stroke in progress (the button's and the other one), as a depth of the
    // format takes them: on an indexed format a palette entry, transparent or inverted.
    [[nodiscard]] ColourValue StrokeColour() const { return colour_; }
    [[nodiscard]] ColourValue OtherStrokeColour() const { return otherColour_; }

protected:
    // The colour and opacity of the stroke begun with the given button, for the format's depth.
    void BeginStroke(const FormatState& format, const ColourSelection& colours, int x, int y, bool right);
    // Applies the stroke's colour through the pixels of `coverage` that the stroke has not
    // covered yet, so that no pixel is painted twice by one stroke.
    CanvasRect PaintNew(FormatState& format, const Coverage& coverage);

    // Smooths the coverage's edges when the tool draws curves and the format has alpha.
    void Smooth(const FormatState& format, Coverage& coverage) const;
    ColourValue colour_ = 0;
    ColourValue otherColour_ = 0;
    int opacity_ = 255;
    int otherOpacity_ = 255;
    // Draws a shape made at the format's size into a coverage of `scale` times it.
    static void DrawScaled(Coverage& coverage, int scale, const std::function<void(Coverage&)>& draw);
    int lastX_ = 0;
    int lastY_ = 0;
    int currentX_ = 0;  // the point the stroke has reached
    int currentY_ = 0;
    int startX_ = 0;
    int startY_ = 0;
    std::optional<Coverage> stroke_;

private:
    ToolKind kind_;
};

// Makes the tool of a kind.
std::unique_ptr<CDrawTool> MakeTool(ToolKind kind);


}  // namespace tellurine::editor
