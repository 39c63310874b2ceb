#include "editor/undo_history.h"

#include <gtest/gtest.h>

#include <tuple>

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

// Undoes (n < 0) or redoes (n > 0) that many steps, each of which must be there; the number shown then.
std::uint32_t Go(UndoHistory& h, FormatState& s, int n) {
    for (; n < 0; ++n) EXPECT_TRUE(h.Undo(s));
    for (; n > 0; --n) EXPECT_TRUE(h.Redo(s));
    return Number(s);
}

TEST(UndoHistory, UndoRedoAndTheRedoBranch) {
    UndoHistory h;
    FormatState s = State(0);
    EXPECT_FALSE(h.CanUndo());
    EXPECT_FALSE(h.Undo(s));
    Edit(h, s, 1);
    EXPECT_TRUE(h.CanUndo());
    EXPECT_FALSE(h.CanRedo());
    EXPECT_EQ(Go(h, s, -1), 0u);  // the state before the first edit
    EXPECT_TRUE(h.CanRedo());
    EXPECT_EQ(Go(h, s, 1), 1u);  // and back to the edited state
    EXPECT_FALSE(h.CanRedo());

    Edit(h, s, 2);
    Edit(h, s, 3);
    EXPECT_EQ(Go(h, s, -2), 1u);
    // An edit after two undos discards both redoable states.
    Edit(h, s, 9);
    EXPECT_FALSE(h.CanRedo());
    EXPECT_EQ(Go(h, s, -1), 1u);
    EXPECT_EQ(Go(h, s, -1), 0u);
    EXPECT_FALSE(h.CanUndo());
    // The same states can be restored again and again.
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Go(h, s, 2), 9u);
        EXPECT_EQ(Go(h, s, -2), 0u);
    }
}

TEST(UndoHistory, FortyEditsKeepThirtyOneSteps) {
    UndoHistory h;
    FormatState s = State(0);
    for (std::uint32_t i = 1; i <= 40; ++i) Edit(h, s, i);
    EXPECT_EQ(Go(h, s, -31), 40u - 31u);
    EXPECT_FALSE(h.CanUndo());
    EXPECT_EQ(Go(h, s, 31), 40u);
    EXPECT_FALSE(h.CanRedo());
}

// A whole-format step swaps the whole state (the depth and the pixels show it); the derived fields
// follow the restored depth, and a non-empty selection is active again.
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
    ASSERT_TRUE(h.Undo(s));
    EXPECT_EQ(std::tuple(s.depth, Number(s), s.palette.size(), s.floatingColor.has_value(), s.selectionActive),
              std::tuple(32, 5u, 0u, true, true));
    ASSERT_TRUE(h.Redo(s));
    EXPECT_EQ(std::tuple(s.depth, Number(s), s.palette.size(), s.floatingColor.has_value(), s.selectionActive),
              std::tuple(8, 6u, 256u, false, false));
    EXPECT_EQ(std::tuple(s.colorCount, s.paletteFormat, s.alpha), std::tuple(256u, true, false));
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
