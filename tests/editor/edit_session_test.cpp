#include "editor/edit_session.h"

#include <gtest/gtest.h>

#include <random>

#include "edit_script.h"

namespace tellurine::editor {
namespace {

// The icon read back from the .ico file the document saves as.
CIconDoc SavedAndRead(const CIconDoc& doc) {
    std::vector<std::uint8_t> bytes;
    CIconDoc back;
    EXPECT_TRUE(WriteIconFile(doc, false, bytes));
    EXPECT_TRUE(ReadIconFile(bytes, back));
    return back;
}

struct Pen {
    std::unique_ptr<CDrawTool> tool = MakeTool(ToolKind::Pen);
    ColourSelection colours;
    // A click at (x, y).
    void Click(EditSession& session, int format, int x, int y) {
        session.Press(format, *tool, colours, x, y, false, false);
        session.Release(x, y);
    }
};

// Red drawn on a new 4-bit format of the 16 standard colours is red in the file; orange, not among
// them, shows on the canvas as the entry the file holds; entry 20 of an 8-bit palette, a twin of
// entry 10, stays entry 20. (That the canvas and the saved file agree after any edit, a picture
// pasted into an indexed format included, is the property test's below.)
TEST(EditSession, IndexedFormatsHoldWhatTheCanvasShows) {
    // The script's blank 4-bit format and its 8-bit one with twin entries, in the order they save in.
    const CIconDoc starting = script::StartingIcon();
    CIconDoc doc;
    for (const int i : {6, 7}) doc.AddFormat(CKvIcon(starting.GetFormat(i)->Icon()));
    const int four = 0, twins = 1;
    ASSERT_EQ(doc.GetFormat(four)->BitCount(), 4);
    ASSERT_EQ(doc.GetFormat(twins)->BitCount(), 8);
    EditSession session(doc);
    Pen pen;
    pen.colours.foreground = RGB(255, 0, 0);
    pen.Click(session, four, 1, 1);
    pen.colours.foreground = RGB(255, 128, 64);
    pen.Click(session, four, 2, 1);
    pen.colours.foregroundIndex8 = 20;
    pen.Click(session, twins, 3, 3);

    const CIconDoc back = SavedAndRead(doc);
    const FormatState& shown = *session.State(four);
    DeviceBitmap colour, mask;
    back.GetFormat(four)->Icon().ToBitmaps(colour, mask, nullptr);
    EXPECT_EQ(colour.GetPixel(1, 1), RGB(255, 0, 0));
    EXPECT_EQ(mask.GetPixel(1, 1), 0u);
    EXPECT_EQ(colour.GetPixel(2, 1), shown.color.GetPixel(2, 1));
    EXPECT_NE(shown.color.GetPixel(2, 1), RGB(255, 128, 64));
    std::vector<std::uint8_t> read;
    ASSERT_TRUE(back.GetFormat(twins)->Icon().ToIndices(read));
    EXPECT_EQ(read[3 * 16 + 3], 20);
    EXPECT_EQ(session.State(twins)->indices[3 * 16 + 3], 20);
}

TEST(EditSession, StrokesKeepOnlyWhatTheyChangedForUndo) {
    CIconDoc doc;
    CKvIcon big;
    ASSERT_TRUE(MakeBlankFormat(1024, 1024, 32, big));
    doc.AddFormat(std::move(big));
    EditSession session(doc);
    int told = 0;
    session.onEdited = [&](int index, const CanvasRect& changed) {
        EXPECT_EQ(index, 0);
        EXPECT_FALSE(changed.IsEmpty());
        ++told;
    };
    Pen pen;
    pen.colours.foreground = RGB(0, 0, 255);
    const FormatState before = *session.State(0);
    for (int stroke = 0; stroke < 31; ++stroke) {
        session.Press(0, *pen.tool, pen.colours, 100 + stroke, 200, false, false);
        session.Move(109 + stroke, 200);
        session.Release(109 + stroke, 200);
    }
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
    CIconDoc doc;
    CKvIcon icon;
    ASSERT_TRUE(MakeBlankFormat(32, 32, 32, icon));
    doc.AddFormat(std::move(icon));
    EditSession session(doc);
    int told = 0;
    session.onEdited = [&](int, const CanvasRect&) { ++told; };
    ColourSelection colours;
    colours.foreground = RGB(255, 0, 0);
    const FormatState before = *session.State(0);
    const auto line = MakeTool(ToolKind::Line), select = MakeTool(ToolKind::Select);

    session.Press(0, *line, colours, 2, 2, false, false);
    session.Move(20, 20);
    EXPECT_NE(session.State(0)->color, before.color);  // the shape shows while it is dragged
    const ToolResult cancelled = session.CancelStroke();
    EXPECT_EQ(cancelled.changed.Width(), 32);  // the whole format is shown again
    EXPECT_EQ(cancelled.changed.Height(), 32);
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
