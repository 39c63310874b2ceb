// Each format's undo history: at most 31 steps, and a position among them. Recording after an
// undo discards the redo branch; the oldest step makes room for a new one; a step can be undone
// and redone any number of times.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "editor/canvas.h"
#include "image/device_bitmap.h"
#include "image/mask.h"
#include "image/palette.h"

namespace tellurine::editor {

// Everything of a format that an edit can change, and that the history records and restores.
struct FormatState {
    DeviceBitmap color;  // the colour (XOR) image
    DeviceBitmap mask;   // the AND mask (white for bit 1), or the alpha as grey levels
    std::optional<DeviceBitmap> floatingColor;  // the floating selection, when there is one
    std::optional<DeviceBitmap> floatingMask;
    int floatingX = 0;
    int floatingY = 0;
    bool floatingBehind = false;  // the floating selection lies behind the image (End), not over it
    std::optional<CMask> alphaMask;
    PixelSelection selection;
    bool selectionActive = false;
    // Whether the floating selection's transparent pixels stay transparent when it is laid down
    // (TransparentCopy); not part of what undo restores.
    bool preserveTransparency = true;
    std::vector<std::uint8_t> colorTable;  // the colour table's bytes, 4 per entry
    Palette palette;
    // Indexed formats (1, 4 and 8 bits): the palette index of every pixel, rows top-down, which is
    // what the file holds; `color` shows palette[index] (black or white under the mask). Empty
    // for the other depths.
    std::vector<std::uint8_t> indices;
    int depth = 32;  // 1, 4, 8, 24 or 32
    // Derived from the depth when a state is restored.
    std::uint32_t colorCount = 0;
    bool paletteFormat = false;
    bool alpha = true;
    // Sets the depth and what follows from it.
    void SetDepth(int bits) {
        depth = bits;
        colorCount = bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0;
        paletteFormat = bits == 8;
        alpha = bits == 32;
    }
    [[nodiscard]] int Width() const { return color.Width(); }
    [[nodiscard]] int Height() const { return color.Height(); }
};

// One undoable step. A step of a stroke keeps only the rectangle the stroke changed (its colour,
// mask and palette indices there, and the selection); a step that changes more (a depth, a size, a
// floating selection, the palette) keeps the whole format. Undo and redo exchange what a step
// keeps with the format, so the same step serves both ways and nothing is copied twice.
struct UndoStep {
    std::optional<FormatState> whole;
    CanvasRect rect;
    DeviceBitmap color;
    DeviceBitmap mask;
    std::vector<std::uint8_t> indices;  // for indexed formats, rows of rect.Width()
    PixelSelection selection;
    bool selectionActive = false;
    // The memory the step holds, for the record's budget.
    [[nodiscard]] std::size_t Bytes() const;
};

class UndoHistory {
public:
    static constexpr int kEntries = 32;
    static constexpr int kMaxSteps = kEntries - 1;

    // Stores the whole state before an edit.
    void Record(const FormatState& before);
    // Stores the state before a stroke that changed only `rect`, taken from `before` (the format as
    // it was, of the same size, depth and palette as the edited one). Nothing for an empty rect.
    void RecordRegion(const FormatState& before, const CanvasRect& rect);
    [[nodiscard]] bool CanUndo() const { return position_ > 0; }
    [[nodiscard]] bool CanRedo() const { return position_ < static_cast<int>(steps_.size()); }
    // Steps back: the state before the last edit replaces `state`. False when there is none.
    // `changed` (when given) receives the rectangle that changed, the whole format for whole steps.
    bool Undo(FormatState& state, CanvasRect* changed = nullptr);
    // Steps forward again. False when there is nothing to redo.
    bool Redo(FormatState& state, CanvasRect* changed = nullptr);
    // The memory the recorded steps hold.
    [[nodiscard]] std::size_t Bytes() const;

private:
    void Push(UndoStep&& step);
    static void Exchange(UndoStep& step, FormatState& state, CanvasRect* changed);
    std::vector<UndoStep> steps_;
    int position_ = 0;
};

}  // namespace tellurine::editor
