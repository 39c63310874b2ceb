#include "editor/undo_history.h"

#include <gtest/gtest.h>

namespace tellurine::editor {
namespace {

// A 4 x 4 state whose first pixel holds its number.
FormatState State(std::uint32_t number, int depth = 32) {
    FormatState s;
    s.color = DeviceBitmap::Create(4, 4, 0);
    s.mask = DeviceBitmap::Create(4, 4, 0xFFFFFF);
    s.color.SetPixel(0, 0, number);
    s.depth = depth;
    return s;
}

std::uint32_t Number(const FormatState& s) { return s.color.GetPixel(0, 0); }

// An edit as the editor makes it: record, then change.
void Edit(UndoHistory& h, FormatState& s, std::uint32_t number) {
    h.Record(s);
    s.color.SetPixel(0, 0, number);
}

TEST(UndoHistory, UndoRedoAndTheRedoBranch) {
    UndoHistory h;
    FormatState s = State(0);
    EXPECT_FALSE(h.CanUndo());
    EXPECT_FALSE(h.Undo(s));
    Edit(h, s, 1);
    EXPECT_TRUE(h.CanUndo());
    EXPECT_FALSE(h.CanRedo());
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(Number(s), 0u);  // the state before the first edit
    EXPECT_TRUE(h.CanRedo());
    ASSERT_TRUE(h.Redo(s));
    EXPECT_EQ(Number(s), 1u);  // and back to the edited state
    EXPECT_FALSE(h.CanRedo());

    Edit(h, s, 2);
    Edit(h, s, 3);
    ASSERT_TRUE(h.Undo(s));
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(Number(s), 1u);
    // An edit after two undos discards both redoable states.
    Edit(h, s, 9);
    EXPECT_FALSE(h.CanRedo());
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(Number(s), 1u);
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(Number(s), 0u);
    EXPECT_FALSE(h.CanUndo());
    // The same states can be restored again and again.
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(h.Redo(s));
        ASSERT_TRUE(h.Redo(s));
        EXPECT_EQ(Number(s), 9u);
        ASSERT_TRUE(h.Undo(s));
        ASSERT_TRUE(h.Undo(s));
        EXPECT_EQ(Number(s), 0u);
    }
}

TEST(UndoHistory, FortyEditsKeepThirtyOneSteps) {
    UndoHistory h;
    FormatState s = State(0);
    for (std::uint32_t i = 1; i <= 40; ++i) Edit(h, s, i);
    int steps = 0;
    while (h.Undo(s)) ++steps;
    EXPECT_EQ(steps, 31);
    EXPECT_EQ(Number(s), 40u - 31u);
    int redone = 0;
    while (h.Redo(s)) ++redone;
    EXPECT_EQ(redone, 31);
    EXPECT_EQ(Number(s), 40u);
}

TEST(UndoHistory, DepthPaletteAlphaAndFloatingSelectionComeBackWithThePixels) {
    UndoHistory h;
    FormatState s = State(5, 32);
    s.floatingColor = DeviceBitmap::Create(2, 2, 0x0000FF);
    s.floatingMask = DeviceBitmap::Create(2, 2, 0);
    s.selection = {0, 0, 1, 1};
    // A colour reduction to 8 bits that also drops the floating selection.
    h.Record(s);
    s = State(6, 8);
    s.palette.entries.assign(256, PaletteEntry{1, 2, 3, 0});
    s.colorCount = 256;
    s.paletteFormat = true;
    s.alpha = false;
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(s.depth, 32);
    EXPECT_TRUE(s.alpha);
    EXPECT_FALSE(s.paletteFormat);
    EXPECT_EQ(s.colorCount, 0u);
    EXPECT_TRUE(s.palette.empty());
    EXPECT_EQ(Number(s), 5u);
    ASSERT_TRUE(s.floatingColor.has_value());  // the floating selection is back
    EXPECT_TRUE(s.selectionActive);
    ASSERT_TRUE(h.Redo(s));
    EXPECT_EQ(s.depth, 8);
    EXPECT_EQ(s.colorCount, 256u);
    EXPECT_TRUE(s.paletteFormat);
    EXPECT_FALSE(s.alpha);
    EXPECT_EQ(s.palette.size(), 256u);
    EXPECT_FALSE(s.floatingColor.has_value());  // and removed again
    EXPECT_FALSE(s.selectionActive);
    for (const auto& [depth, colours] : {std::pair{1, 2u}, std::pair{4, 16u}, std::pair{24, 0u}}) {
        UndoHistory d;
        FormatState f = State(1, depth);
        d.Record(f);
        f.depth = 32;
        ASSERT_TRUE(d.Undo(f));
        EXPECT_EQ(f.colorCount, colours) << depth;
        EXPECT_FALSE(f.alpha) << depth;
    }
}

}  // namespace
}  // namespace tellurine::editor
