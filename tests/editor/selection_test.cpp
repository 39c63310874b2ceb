#include "editor/selection.h"
#include "editor/tools.h"

#include <gtest/gtest.h>

#include <tuple>

#include "editor/editor_test_support.h"
#include "test_support.h"

namespace tellurine::editor {
namespace {

using test::Drag;
using test::Sides;
using test::SidesOf;

// A 6 x 6 opaque format whose pixel (x, y) holds the colour x + 16 y + 1.
FormatState Numbered(bool alpha = false) { return test::Numbered(6, 6, alpha); }

TEST(Selection, MovingLeavesTransparencyAndDroppingLaysThePixels) {
    FormatState f = Numbered();
    SelectRectangle(f, 3, 2, 1, 1);  // corners in any order, clipped
    EXPECT_EQ(SidesOf(f.selection), (Sides{1, 1, 3, 2}));
    EXPECT_EQ(std::pair(SelectionContains(f, 3, 2), SelectionContains(f, 4, 2)), std::pair(true, false));
    MoveSelection(f, 2, 3, false);
    ASSERT_TRUE(f.floatingColor.has_value());
    EXPECT_EQ(ReadPixel(f, 1, 1), kTransparentColour);  // what was under it is cleared
    EXPECT_EQ(SidesOf(f.selection), (Sides{3, 4, 5, 5}));
    DropFloating(f, true);
    EXPECT_FALSE(f.floatingColor.has_value());
    EXPECT_EQ(f.color.GetPixel(3, 4), 1u + 16u + 1u);  // the old (1, 1)
    EXPECT_EQ(f.color.GetPixel(5, 5), 3u + 16u * 2u + 1u);  // the old (3, 2)
}

TEST(Selection, CopiesTransparencyAndPictures) {
    // Moving a copy leaves the original; a transparent pixel of the float is left out when dropped
    // with transparency preserved and laid when not.
    for (const bool preserve : {true, false}) {
        FormatState f = Numbered();
        f.color.SetPixel(0, 0, 0);
        f.mask.SetPixel(0, 0, 0xFFFFFF);  // the transparent colour
        SelectRectangle(f, 0, 0, 1, 0);
        MoveSelection(f, 0, 2, true);
        EXPECT_EQ(f.color.GetPixel(1, 0), 2u);  // the original stays
        DropFloating(f, preserve);
        EXPECT_EQ(ReadPixel(f, 0, 2), preserve ? 0u + 16u * 2u + 1u : kTransparentColour);
        EXPECT_EQ(f.color.GetPixel(1, 2), 2u);
    }
    // The selected picture (alpha 0 where the mask is set), floated back at another place.
    FormatState f = Numbered();
    f.mask.SetPixel(2, 2, 0xFFFFFF);
    SelectRectangle(f, 1, 1, 2, 2);
    DeviceBitmap color, alpha;
    SelectedPicture(f, color, alpha);
    ASSERT_EQ(color.Width(), 2);
    EXPECT_EQ(std::tuple(color.GetPixel(0, 0), GetRValue(alpha.GetPixel(1, 1)), GetRValue(alpha.GetPixel(0, 0))),
              std::tuple(16u + 1u + 1u, 0, 255));
    FloatPicture(f, color, alpha, 4, 4);
    EXPECT_EQ(f.selection.right, 5);
    DropFloating(f, true);
    EXPECT_EQ(f.color.GetPixel(4, 4), 18u);
    EXPECT_EQ(f.color.GetPixel(5, 5), 5u + 16u * 5u + 1u);  // transparent in the picture: left out
    // Nothing selected: the whole format.
    FormatState g = Numbered();
    SelectedPicture(g, color, alpha);
    EXPECT_EQ(color.Width(), 6);
    DeleteSelection(g);  // nothing selected: nothing happens
    EXPECT_EQ(g.color.GetPixel(2, 2), 35u);
    SelectRectangle(g, 2, 2, 2, 2);
    DeleteSelection(g);
    EXPECT_EQ(ReadPixel(g, 2, 2), kTransparentColour);
}

TEST(Selection, AFloatingSelectionBehindTheImageShowsWhereTheImageIsClear) {
    for (const bool alpha : {false, true}) {
        FormatState f = Numbered(alpha);
        // (1, 0) is transparent in the format.
        if (alpha) {
            f.mask.SetPixel(1, 0, 0);
        } else {
            f.color.SetPixel(1, 0, 0);
            f.mask.SetPixel(1, 0, 0xFFFFFF);
        }
        SelectRectangle(f, 0, 2, 1, 2);
        MoveSelection(f, 0, -2, true);  // a copy of (0, 2) and (1, 2) over (0, 0) and (1, 0)
        f.floatingBehind = true;
        DropFloating(f, true);
        EXPECT_EQ(f.color.GetPixel(0, 0), 1u) << alpha;            // the image stays in front
        EXPECT_EQ(f.color.GetPixel(1, 0), 2u + 32u) << alpha;      // the float shows through
        EXPECT_FALSE(f.floatingBehind);
    }
}

TEST(Selection, TheSelectionToolDragsRectanglesAndMovesThem) {
    ColourSelection colours;
    std::unique_ptr<CDrawTool> tool = MakeTool(ToolKind::Select);
    FormatState f = Numbered(true);
    EXPECT_EQ(tool->QueryCursor(f, 1, 1), ToolCursor::Cross);
    Drag(*tool, f, colours, {{1, 1}, {2, 3}, {2, 3}});
    EXPECT_TRUE(f.selectionActive);
    EXPECT_EQ(tool->QueryCursor(f, 1, 1), ToolCursor::Move);  // inside the selection
    EXPECT_EQ(MakeTool(ToolKind::Pick)->QueryCursor(f, 1, 1), ToolCursor::Picker);
    EXPECT_EQ(SidesOf(f.selection), (Sides{1, 1, 2, 3}));
    // A press inside picks it up; the drag carries it.
    Drag(*tool, f, colours, {{1, 1}, {4, 2}, {4, 2}});
    ASSERT_TRUE(f.floatingColor.has_value());
    EXPECT_EQ(std::pair(f.floatingX, f.floatingY), std::pair(4, 2));
    EXPECT_EQ(GetRValue(f.mask.GetPixel(1, 1)), 0);  // cleared under it (alpha 0)
    // A press outside lays it down and starts again.
    tool->ButtonDown(f, colours, 0, 5, false);
    EXPECT_FALSE(f.floatingColor.has_value());
    EXPECT_EQ(f.color.GetPixel(4, 2), 1u + 16u + 1u);
    EXPECT_EQ(f.selection.left, 0);
}

TEST(Selection, HandlesResizeTheFrameWithoutPickingItUp) {
    // Handles at the corners and the middles of the sides, on the frame's lines at the zoom.
    const PixelSelection s{1, 1, 2, 4};  // zoomed by 8: x 8..24, y 8..40
    struct {
        int x, y, edges;
    } const hits[] = {{8, 8, kEdgeLeft | kEdgeTop},  {24, 40, kEdgeRight | kEdgeBottom}, {16, 8, kEdgeTop},
                      {24, 24, kEdgeRight},          {11, 5, kEdgeLeft | kEdgeTop},       {12, 8, 0},
                      {16, 24, 0},                   {8, 40, kEdgeLeft | kEdgeBottom}};
    for (const auto& h : hits) EXPECT_EQ(SelectionHandleAt(s, 8, h.x, h.y), h.edges) << h.x << "," << h.y;
    EXPECT_EQ(SelectionHandleAt({}, 8, 0, 0), 0);
    EXPECT_EQ(SelectionHandleAt(s, 8, 12, 8, 4), kEdgeLeft | kEdgeTop);  // a longer reach below 100 %

    // The selection tool pressed on a handle moves those edges and lifts nothing.
    ColourSelection colours;
    std::unique_ptr<CDrawTool> tool = MakeTool(ToolKind::Select);
    FormatState f = Numbered(true);
    SelectRectangle(f, 1, 1, 2, 4);
    const DeviceBitmap before = f.color;
    tool->settings.resizeEdges = kEdgeRight | kEdgeBottom;
    Drag(*tool, f, colours, {{2, 4}, {4, 9}, {4, 9}});  // past the image: clipped
    EXPECT_FALSE(f.floatingColor.has_value());
    EXPECT_EQ(f.color, before);
    EXPECT_EQ(SidesOf(f.selection), (Sides{1, 1, 4, 5}));
    tool->settings.resizeEdges = kEdgeLeft;  // dragged past the right edge, it turns over
    tool->ButtonDown(f, colours, 1, 2, false);
    tool->PointerMove(f, colours, 5, 2);
    EXPECT_EQ(SidesOf(f.selection.Normalized()), (Sides{4, 1, 5, 5}));
    // A floating selection is not resized: the press carries it.
    tool->settings.resizeEdges = 0;
    tool->ButtonDown(f, colours, 4, 3, false);
    tool->PointerMove(f, colours, 3, 3);
    ASSERT_TRUE(f.floatingColor.has_value());
    tool->settings.resizeEdges = kEdgeLeft;
    tool->ButtonDown(f, colours, 3, 3, false);
    tool->PointerMove(f, colours, 2, 3);
    EXPECT_EQ(f.floatingX, 2);
}

}  // namespace
}  // namespace tellurine::editor
