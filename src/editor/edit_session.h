// The edit session of one icon: every format's editable state, its undo history, the stroke in
// progress, and the write-back of each edit into the format's image, so that what the canvas shows
// is always what a save writes.
//
// The rule for indexed formats (1, 4 and 8 bits) is applied when an edit is made, not when the
// icon is saved: every pixel holds a palette index, and the colour image shows that entry's colour.
// A stroke painted with palette entry i writes i (even where another entry has the same colour);
// a pixel an edit leaves at its colour keeps its index; any other colour an edit brings (a pasted
// picture, a filter, a resize, a colour from another depth) is mapped to the nearest entry as it
// is applied, the floating selection included.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <span>

#include "editor/tools.h"
#include "editor/undo_history.h"
#include "icon/icon_doc.h"

namespace tellurine::editor {

// Brings the pixels of `rect` of an indexed format onto its palette (see above): a pixel whose
// colour is that of its index keeps it, else it takes the first of `hints` (palette indices the
// edit painted with) of that exact colour, else the nearest entry, and shows that entry's colour.
// Pixels under the mask keep black or white, as the AND/XOR rule needs. Nothing for other depths.
void ConformToPalette(FormatState& state, const CanvasRect& rect, std::span<const int> hints = {});
// The same for the floating selection's pixels.
void ConformFloating(FormatState& state);

// The colour a tool paints for `value` on a format of `bits` bits with `palette`: on an indexed
// format a true colour (one chosen while another depth was edited) becomes the palette entry of
// exactly that colour or else the nearest, so that a stroke shows what the file will hold;
// anything else is kept.
ColourValue OnPalette(int bits, const Palette& palette, ColourValue value);

class EditSession {
public:
    // The formats' undo histories and states; the session keeps one per format it was asked for.
    struct FormatEdit {
        FormatState state;      // what the canvas shows and edits
        FormatState committed;  // the state as the last edit left it, which undo steps are cut from
        UndoHistory history;
        bool compressed = false;  // stored as PNG whenever the format is 32 bits
    };

    explicit EditSession(CIconDoc& doc) : doc_(doc) {}

    // Told after every edit written into a format's image, with the format's index and the
    // rectangle that changed.
    std::function<void(int index, const CanvasRect& changed)> onEdited;
    // Whether the floating selection of a state made from now on keeps its transparent pixels
    // transparent (TransparentCopy).
    bool preserveTransparency = true;

    // The editable state of format `index`, made from its image on first use; null outside the
    // list, or when the image cannot be edited.
    FormatState* State(int index);
    // Drops a format's state and history (the format is being deleted); they are handed back so
    // that a caller can keep them until nothing reads them any more.
    std::unique_ptr<FormatEdit> Forget(const CIconObject* format);

    // Changes format `index` as one undoable step: `change` edits its state, then the state is
    // brought onto the format's palette and written back. False when there is no state.
    bool Edit(int index, const std::function<void(FormatState&)>& change);

    // A stroke of `tool` on format `index`: the press (at a pixel of the format), the moves and the
    // release (anywhere, a stroke may leave the image). The colours are read at the press and at
    // each move. A stroke that changes pixels is one undoable step that keeps only what it changed.
    ToolResult Press(int index, CDrawTool& tool, ColourSelection& colours, int x, int y, bool right, bool copy);
    ToolResult Move(int x, int y);
    ToolResult Release(int x, int y);
    // Ends the stroke without its effect (Esc while dragging): the format, its selection and its
    // floating picture go back to what they were at the press. The whole format is reported changed.
    ToolResult CancelStroke();
    [[nodiscard]] bool Stroking() const { return stroke_.tool != nullptr; }
    [[nodiscard]] int StrokeFormat() const { return stroke_.tool != nullptr ? stroke_.index : -1; }

    // Sets whether format `index`'s floating selection keeps its transparent pixels transparent (the
    // user's setting, not an undoable step); the icon takes what the canvas then shows. False
    // when there is no state.
    bool SetPreserveTransparency(int index, bool on);

    [[nodiscard]] bool CanUndo(int index) const;
    [[nodiscard]] bool CanRedo(int index) const;
    bool Undo(int index);
    bool Redo(int index);
    // The memory format `index`'s undo steps hold.
    [[nodiscard]] std::size_t UndoBytes(int index) const;

    // A preview shows what a command makes of the format, without changing it or its history,
    // until EndPreview (the blur dialog's preview), in three steps so that the command can run off
    // the interface thread: the state it starts from (the format as it was before any preview;
    // none without a state), the work on a copy of it (any thread), and showing the result. Each
    // preview starts again from the format as it was.
    void EndPreview();
    std::optional<FormatState> PreviewSource(int index);
    static FormatState ComputePreview(FormatState source, const std::function<bool(FormatState&)>& command);
    void ShowPreviewResult(int index, FormatState shown);

private:
    FormatEdit* Find(int index);
    [[nodiscard]] const FormatEdit* Find(int index) const;
    // Conforms the edited pixels, records the step (the region when `region` is given) and writes
    // the state into the format's image.
    void Commit(int index, FormatEdit& edit, const CanvasRect* region, std::span<const int> hints);
    void WriteBack(int index, FormatEdit& edit);
    // Undo or redo: the step exchanged with the state, then the committed copy and the icon follow.
    bool Step(int index, bool (UndoHistory::*step)(FormatState&, CanvasRect*));

    struct Stroke {
        CDrawTool* tool = nullptr;
        ColourSelection* colours = nullptr;
        int index = -1;
        FormatEdit* edit = nullptr;
        CanvasRect changed;
        bool floatingAtPress = false;
    };
    CIconDoc& doc_;
    std::map<const CIconObject*, std::unique_ptr<FormatEdit>> edits_;
    Stroke stroke_;
    FormatEdit* previewed_ = nullptr;
    std::optional<FormatState> previewBase_;
};

}  // namespace tellurine::editor
