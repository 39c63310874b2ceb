#include "editor/edit_session.h"

#include <gtest/gtest.h>

#include <random>

#include "edit_script.h"
#include "test_support.h"

namespace tellurine::editor {
namespace {

// A document of one blank format of the given size and depth.
CIconDoc Blank(int size, int bits) {
    CIconDoc doc;
    CKvIcon icon;
    EXPECT_TRUE(MakeBlankFormat(size, size, bits, icon));
    doc.AddFormat(std::move(icon));
    return doc;
}

// A pen stroke from (x, y) to (x1, y); a click when they are the same.
void Stroke(EditSession& session, int format, ColourSelection colours, int x, int y, int x1) {
    static const std::unique_ptr<CDrawTool> pen = MakeTool(ToolKind::Pen);
    session.Press(format, *pen, colours, x, y, false, false);
    if (x1 != x) session.Move(x1, y);
    session.Release(x1, y);
}

// Red drawn on a new 4-bit format of the 16 standard colours is red in the file; entry 20 of an
// 8-bit palette, a twin of entry 10, stays entry 20. (That the canvas and the saved file agree
// after any edit, a colour the palette lacks or a picture pasted into an indexed format included,
// is the property test's below.)
TEST(EditSession, IndexedFormatsHoldWhatTheCanvasShows) {
    // The script's blank 4-bit format and its 8-bit one with twin entries, in the order they save in.
    const CIconDoc starting = script::StartingIcon();
    CIconDoc doc;
    for (const int i : {6, 7}) doc.AddFormat(CKvIcon(starting.GetFormat(i)->Icon()));
    const int four = 0, twins = 1;
    ASSERT_EQ(doc.GetFormat(four)->BitCount(), 4);
    ASSERT_EQ(doc.GetFormat(twins)->BitCount(), 8);
    EditSession session(doc);
    Stroke(session, four, {.foreground = RGB(255, 0, 0)}, 1, 1, 1);
    Stroke(session, twins, {.foregroundIndex8 = 20}, 3, 3, 3);

    std::vector<std::uint8_t> bytes;
    CIconDoc back;
    ASSERT_TRUE(WriteIconFile(doc, false, bytes));
    ASSERT_TRUE(ReadIconFile(bytes, back));
    DeviceBitmap colour, mask;
    back.GetFormat(four)->Icon().ToBitmaps(colour, mask, nullptr);
    EXPECT_EQ(colour.GetPixel(1, 1), RGB(255, 0, 0));
    EXPECT_EQ(mask.GetPixel(1, 1), 0u);
    std::vector<std::uint8_t> read;
    ASSERT_TRUE(back.GetFormat(twins)->Icon().ToIndices(read));
    EXPECT_EQ(read[3 * 16 + 3], 20);
    EXPECT_EQ(session.State(twins)->indices[3 * 16 + 3], 20);
}

TEST(EditSession, StrokesKeepOnlyWhatTheyChangedForUndo) {
    CIconDoc doc = Blank(1024, 32);
    EditSession session(doc);
    int told = 0;
    session.onEdited = [&](int index, const CanvasRect& changed) {
        EXPECT_EQ(index, 0);
        EXPECT_FALSE(changed.IsEmpty());
        ++told;
    };
    const FormatState before = *session.State(0);
    for (int stroke = 0; stroke < 31; ++stroke)
        Stroke(session, 0, {.foreground = RGB(0, 0, 255)}, 100 + stroke, 200, 109 + stroke);
    EXPECT_EQ(told, 31);
    EXPECT_LT(session.UndoBytes(0), std::size_t{2} << 20);
    EXPECT_EQ(session.State(0)->color.GetPixel(135, 200), RGB(0, 0, 255));
    int undone = 0;
    while (session.Undo(0)) ++undone;
    EXPECT_EQ(undone, 31);
    EXPECT_EQ(session.State(0)->color, before.color);
    EXPECT_EQ(session.State(0)->mask, before.mask);
    // (That the icon follows undo and redo, depth changes too: the property test below.)
}

// Esc during a drag: a shape, a selection and a moved selection all go back to how they were at
// the press, with nothing to undo and nothing written into the icon.
TEST(EditSession, CancelledStrokesLeaveNoTrace) {
    CIconDoc doc = Blank(32, 32);
    EditSession session(doc);
    int told = 0;
    session.onEdited = [&](int, const CanvasRect&) { ++told; };
    ColourSelection colours{.foreground = RGB(255, 0, 0)};
    const FormatState before = *session.State(0);
    const auto line = MakeTool(ToolKind::Line), select = MakeTool(ToolKind::Select);

    session.Press(0, *line, colours, 2, 2, false, false);
    session.Move(20, 20);
    EXPECT_NE(session.State(0)->color, before.color);  // the shape shows while it is dragged
    const ToolResult cancelled = session.CancelStroke();
    EXPECT_EQ(test::SidesOf(cancelled.changed), (test::Sides{0, 0, 32, 32}));  // the whole format is shown again
    EXPECT_FALSE(session.Stroking());
    EXPECT_EQ(session.State(0)->color, before.color);
    EXPECT_TRUE(session.Release(20, 20).changed.IsEmpty());  // the release after Esc does nothing
    EXPECT_FALSE(session.CanUndo(0));

    // A selection, then a drag of it cancelled: the selection stays where it was.
    session.Press(0, *select, colours, 4, 4, false, false);
    session.Move(10, 10);
    session.Release(10, 10);
    const PixelSelection chosen = session.State(0)->selection;
    session.Press(0, *select, colours, 6, 6, false, false);
    session.Move(16, 16);
    session.CancelStroke();
    EXPECT_EQ(session.State(0)->selection.Normalized().left, chosen.Normalized().left);
    EXPECT_FALSE(session.State(0)->floatingColor.has_value());
    EXPECT_EQ(session.State(0)->color, before.color);
    EXPECT_EQ(told, 0);
    EXPECT_EQ(session.CancelStroke().changed.Width(), 0);  // nothing to cancel
}

// Random scripts of every kind of edit on every depth: the canvas, the icon and the saved files
// agree after every step, and undoing everything gives back what was opened.
TEST(EditSession, WhatTheCanvasShowsIsWhatIsSaved) {
    std::mt19937 random(20261125);
    for (int run = 0; run < 1000; ++run) {
        std::vector<std::uint8_t> bytes(256);
        for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
        script::Player player;
        script::Reader reader(bytes);
        std::string failure;
        ASSERT_TRUE(player.Play(reader, 12, failure)) << "run " << run << ": " << failure;
    }
}

}  // namespace
}  // namespace tellurine::editor
