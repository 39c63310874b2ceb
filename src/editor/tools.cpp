#include "editor/tools.h"

#include <algorithm>

#include "editor/edit_session.h"

namespace tellurine::editor {

ToolCursor CDrawTool::QueryCursor(const FormatState& format, int x, int y) const {
    switch (kind_) {
        case ToolKind::Select: return SelectionContains(format, x, y) ? ToolCursor::Move : ToolCursor::Cross;
        case ToolKind::Pick: return ToolCursor::Picker;
        case ToolKind::Fill: return ToolCursor::Fill;
        default: return ToolCursor::Cross;
    }
}

void CDrawTool::DrawShape(Coverage&, int) const {}

void CDrawTool::DrawScaled(Coverage& coverage, int scale, const std::function<void(Coverage&)>& draw) {
    if (scale <= 1) return draw(coverage);
    Coverage one(coverage.Width() / scale, coverage.Height() / scale);
    draw(one);
    const CanvasRect r = one.Bounds();
    for (int y = r.top; y < r.bottom; ++y)
        for (int x = r.left; x < r.right; ++x)
            if (one.At(x, y))
                for (int dy = 0; dy < scale; ++dy) coverage.SetRun(x * scale, (x + 1) * scale, y * scale + dy);
}

CanvasRect CDrawTool::Apply(FormatState& format) {
    Coverage c(format.Width(), format.Height());
    DrawShape(c, 1);
    Smooth(format, c);
    return PaintNew(format, c);
}

ToolResult CDrawTool::ButtonUp(FormatState&, ColourSelection&, int, int) {
    stroke_.reset();
    return {};
}

void CDrawTool::BeginStroke(const FormatState& format, const ColourSelection& colours, int x, int y, bool right) {
    colour_ = OnPalette(format.depth, format.palette, DrawingColour(colours, format.depth, !right));
    otherColour_ = OnPalette(format.depth, format.palette, DrawingColour(colours, format.depth, right));
    opacity_ = right ? colours.backgroundOpacity : colours.foregroundOpacity;
    otherOpacity_ = right ? colours.foregroundOpacity : colours.backgroundOpacity;
    startX_ = lastX_ = x;
    startY_ = lastY_ = y;
    stroke_.emplace(format.Width(), format.Height());
}

void CDrawTool::Smooth(const FormatState& format, Coverage& coverage) const {
    const bool curves = kind_ == ToolKind::Brush || kind_ == ToolKind::Line || kind_ == ToolKind::Ellipse ||
                        kind_ == ToolKind::FilledEllipse;
    if (format.alpha && settings.smoothEdges && curves) SmoothEdges(coverage);
}

CanvasRect CDrawTool::PaintNew(FormatState& format, const Coverage& coverage) {
    if (!stroke_) stroke_.emplace(format.Width(), format.Height());
    StrokePaint paint{colour_, opacity_, otherColour_, otherOpacity_, settings.gradient,
                      Union(stroke_->Bounds(), coverage.Bounds()), &settings.stops};
    if (stroke_->Bounds().IsEmpty()) {
        // The stroke's first coverage is new everywhere.
        *stroke_ = coverage;
        return ApplyPaint(format, coverage, paint, settings.screenBits);
    }
    // Only what the stroke has not covered yet (or covered less) is painted.
    Coverage fresh(format.Width(), format.Height());
    const CanvasRect r = coverage.Bounds();
    for (int y = r.top; y < r.bottom; ++y)
        for (int x = r.left; x < r.right; ++x) {
            const std::uint8_t level = coverage.Level(x, y);
            if (level > stroke_->Level(x, y)) {
                fresh.SetLevel(x, y, level);
                stroke_->SetLevel(x, y, level);
            }
        }
    return ApplyPaint(format, fresh, paint, settings.screenBits);
}

namespace {

// Freehand: the pencil stamps one pixel, the brush the current shape, along every segment.
class CFreehandTool : public CDrawTool {
public:
    CFreehandTool(ToolKind kind, bool brush) : CDrawTool(kind), brush_(brush) {}
    ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) override {
        BeginStroke(format, colours, x, y, right);
        segment_ = false;
        currentX_ = x;
        currentY_ = y;
        return {Apply(format)};
    }
    ToolResult PointerMove(FormatState& format, ColourSelection&, int x, int y) override {
        if (!stroke_) return {};
        segment_ = true;
        currentX_ = x;
        currentY_ = y;
        const CanvasRect changed = Apply(format);
        lastX_ = x;
        lastY_ = y;
        return {changed};
    }
    void DrawShape(Coverage& coverage, int scale) const override {
        DrawScaled(coverage, scale, [this](Coverage& c) {
            if (segment_) StrokeSegment(c, lastX_, lastY_, currentX_, currentY_, Shape());
            else StampBrush(c, currentX_, currentY_, Shape());
        });
    }

private:
    [[nodiscard]] int Shape() const { return brush_ ? settings.brushShape : 0; }
    bool brush_;
    bool segment_ = false;
};

// Line, rectangle and ellipse: the shape between the press and the pointer, drawn again over the
// format as it was at the press at every move, so that the stroke shows itself as it goes.
class CShapeTool : public CDrawTool {
public:
    using CDrawTool::CDrawTool;
    ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) override {
        BeginStroke(format, colours, x, y, right);
        before_ = format;
        drawn_ = {};
        return Draw(format, x, y);
    }
    ToolResult PointerMove(FormatState& format, ColourSelection&, int x, int y) override {
        if (!stroke_ || !before_) return {};
        return Draw(format, x, y);
    }
    ToolResult ButtonUp(FormatState& format, ColourSelection& colours, int x, int y) override {
        ToolResult result;
        if (stroke_ && before_) result = Draw(format, x, y);
        before_.reset();
        CDrawTool::ButtonUp(format, colours, x, y);
        return result;
    }

private:
    ToolResult Draw(FormatState& format, int x, int y) {
        // Put back what the previous position drew, then draw at the new one.
        for (int py = drawn_.top; py < drawn_.bottom; ++py)
            for (int px = drawn_.left; px < drawn_.right; ++px) {
                format.color.SetPixel(px, py, before_->color.GetPixel(px, py));
                format.mask.SetPixel(px, py, before_->mask.GetPixel(px, py));
            }
        stroke_.emplace(format.Width(), format.Height());
        currentX_ = x;
        currentY_ = y;
        if (Kind() == ToolKind::Frame3D) return Frame3D(format, x, y);
        const CanvasRect changed = Union(drawn_, Apply(format));
        drawn_ = stroke_->Bounds();
        return {changed};
    }

public:
    void DrawShape(Coverage& coverage, int scale) const override {
        DrawScaled(coverage, scale, [this](Coverage& c) {
            const int shape = settings.brushShape;
            switch (Kind()) {
                case ToolKind::Line: StrokeSegment(c, startX_, startY_, currentX_, currentY_, shape); break;
                case ToolKind::Rectangle: RectangleShape(c, startX_, startY_, currentX_, currentY_, false, shape); break;
                case ToolKind::FilledRectangle: RectangleShape(c, startX_, startY_, currentX_, currentY_, true, shape); break;
                case ToolKind::Ellipse: EllipseShape(c, startX_, startY_, currentX_, currentY_, false, shape); break;
                case ToolKind::FilledEllipse: EllipseShape(c, startX_, startY_, currentX_, currentY_, true, shape); break;
                default: RectangleShape(c, startX_, startY_, currentX_, currentY_, false, 0); break;  // the 3D frame's outline
            }
        });
    }

private:
    // The 3D frame: the top and left sides in the stroke's colour, the bottom and right ones in the
    // other colour, so that a left-button frame looks raised and a right-button one sunken.
    ToolResult Frame3D(FormatState& format, int x, int y) {
        const int l = std::min(startX_, x), r = std::max(startX_, x), t = std::min(startY_, y), b = std::max(startY_, y);
        Coverage light(format.Width(), format.Height()), dark(format.Width(), format.Height());
        StrokeSegment(light, l, b, l, t, 0);
        StrokeSegment(light, l, t, r, t, 0);
        StrokeSegment(dark, r, t + 1, r, b, 0);
        StrokeSegment(dark, r, b, l + 1, b, 0);
        CanvasRect changed = Union(drawn_, ApplyColour(format, light, colour_, opacity_, settings.screenBits));
        changed = Union(changed, ApplyColour(format, dark, otherColour_, opacity_, settings.screenBits));
        drawn_ = Union(light.Bounds(), dark.Bounds());
        return {changed};
    }
    std::optional<FormatState> before_;
    CanvasRect drawn_;
};

class CFillTool : public CDrawTool {
public:
    CFillTool() : CDrawTool(ToolKind::Fill) {}
    ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) override {
        BeginStroke(format, colours, x, y, right);
        return {PaintNew(format, FloodFillCoverage(format, x, y))};
    }
    ToolResult PointerMove(FormatState&, ColourSelection&, int, int) override { return {}; }
};

// The colour picker reads the pixel into the foreground (left) or background (right) colour.
class CPickTool : public CDrawTool {
public:
    CPickTool() : CDrawTool(ToolKind::Pick) {}
    [[nodiscard]] bool Edits() const override { return false; }
    ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) override {
        ToolResult result;
        result.coloursChanged = PickColour(colours, format.depth, !right, ReadPixel(format, x, y));
        return result;
    }
    ToolResult PointerMove(FormatState&, ColourSelection&, int, int) override { return {}; }
};

// The colour replacer paints the stroke's colour where the brush passes over the other colour
// (the background colour for a left-button stroke), exactly.
class CReplacerTool : public CDrawTool {
public:
    CReplacerTool() : CDrawTool(ToolKind::Replacer) {}
    ToolResult ButtonDown(FormatState& format, ColourSelection& colours, int x, int y, bool right) override {
        BeginStroke(format, colours, x, y, right);
        Coverage c(format.Width(), format.Height());
        StampBrush(c, x, y, settings.brushShape);
        return {ReplaceColour(format, c, otherColour_, colour_)};
    }
    ToolResult PointerMove(FormatState& format, ColourSelection&, int x, int y) override {
        if (!stroke_) return {};
        Coverage c(format.Width(), format.Height());
        StrokeSegment(c, lastX_, lastY_, x, y, settings.brushShape);
        lastX_ = x;
        lastY_ = y;
        return {ReplaceColour(format, c, otherColour_, colour_)};
    }
};

// The selection tool: a press inside the selection picks it up (a copy with Ctrl or Alt) and the
// moves carry it; a press elsewhere lays down what floats and starts a new rectangle.
class CSelectTool : public CDrawTool {
public:
    CSelectTool() : CDrawTool(ToolKind::Select) {}
    // A drag begun on another format does not carry over.
    void Attach(FormatState& format) override {
        if (&format != attached_) moving_ = false;
        attached_ = &format;
    }
    ToolResult ButtonDown(FormatState& format, ColourSelection&, int x, int y, bool) override {
        // A handle of a selection that is not floating resizes it.
        resizing_ = format.selectionActive && !format.floatingColor ? settings.resizeEdges : 0;
        if (resizing_ != 0) {
            resized_ = format.selection.Normalized();
            return {Whole(format)};
        }
        moving_ = SelectionContains(format, x, y);
        lastX_ = x;
        lastY_ = y;
        if (moving_) {
            if (!format.floatingColor) LiftSelection(format, settings.copyOnMove);
        } else {
            ClearSelection(format, format.preserveTransparency);
            startX_ = x;
            startY_ = y;
            SelectRectangle(format, x, y, x, y);
        }
        return {Whole(format)};
    }
    ToolResult PointerMove(FormatState& format, ColourSelection&, int x, int y) override {
        if (resizing_ != 0) {
            PixelSelection s = resized_;
            if (resizing_ & kEdgeLeft) s.left = x;
            if (resizing_ & kEdgeRight) s.right = x;
            if (resizing_ & kEdgeTop) s.top = y;
            if (resizing_ & kEdgeBottom) s.bottom = y;
            SelectRectangle(format, s.left, s.top, s.right, s.bottom);
            return {Whole(format)};
        }
        if (moving_) MoveSelection(format, x - lastX_, y - lastY_, false);
        else SelectRectangle(format, startX_, startY_, x, y);
        lastX_ = x;
        lastY_ = y;
        return {Whole(format)};
    }

private:
    static CanvasRect Whole(const FormatState& format) { return {0, 0, format.Width(), format.Height()}; }
    bool moving_ = false;
    int resizing_ = 0;  // the edges the pressed handle moves
    PixelSelection resized_;
    const FormatState* attached_ = nullptr;
};

// The tools under their own names.
class CPenTool : public CFreehandTool {
public:
    CPenTool() : CFreehandTool(ToolKind::Pen, false) {}
};
class CBrushTool : public CFreehandTool {
public:
    CBrushTool() : CFreehandTool(ToolKind::Brush, true) {}
};
class CLineTool : public CShapeTool {
public:
    CLineTool() : CShapeTool(ToolKind::Line) {}
};
// The generic tools: kinds 6 and 7 (rectangle, filled) and 9 and 10 (ellipse, filled).
class CRectTool : public CShapeTool {
public:
    explicit CRectTool(bool filled) : CShapeTool(filled ? ToolKind::FilledRectangle : ToolKind::Rectangle) {}
};
class CEllipseTool : public CShapeTool {
public:
    explicit CEllipseTool(bool filled) : CShapeTool(filled ? ToolKind::FilledEllipse : ToolKind::Ellipse) {}
};
class CRect3DTool : public CShapeTool {
public:
    CRect3DTool() : CShapeTool(ToolKind::Frame3D) {}
};

}  // namespace

std::unique_ptr<CDrawTool> MakeTool(ToolKind kind) {
    switch (kind) {
        case ToolKind::Select: return std::make_unique<CSelectTool>();
        case ToolKind::Pick: return std::make_unique<CPickTool>();
        case ToolKind::Replacer: return std::make_unique<CReplacerTool>();
        case ToolKind::Pen: return std::make_unique<CPenTool>();
        case ToolKind::Brush: return std::make_unique<CBrushTool>();
        case ToolKind::Fill: return std::make_unique<CFillTool>();
        case ToolKind::Line: return std::make_unique<CLineTool>();
        case ToolKind::Rectangle: return std::make_unique<CRectTool>(false);
        case ToolKind::FilledRectangle: return std::make_unique<CRectTool>(true);
        case ToolKind::Ellipse: return std::make_unique<CEllipseTool>(false);
        case ToolKind::FilledEllipse: return std::make_unique<CEllipseTool>(true);
        case ToolKind::Frame3D: return std::make_unique<CRect3DTool>();
    }
    return nullptr;
}

}  // namespace tellurine::editor
