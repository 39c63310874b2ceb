// Each format's undo history: a table of 32 whole states of the format, a count of recorded
// states and a position. Recording after an undo discards the redo branch; at most 31 steps can
// be undone; a state is restored as copies, so the same state can be restored any number of times.
#pragma once

#include <array>
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

class UndoHistory {
public:
    static constexpr int kEntries = 32;
    static constexpr int kMaxSteps = kEntries - 1;

    // Stores the state before an edit. With `keepPosition` the count and position stay (undo uses
    // it to keep the current state for redo).
    void Record(const FormatState& state, bool keepPosition = false);
    [[nodiscard]] bool CanUndo() const { return position_ > 0; }
    [[nodiscard]] bool CanRedo() const { return position_ < count_; }
    // Steps back: the state before the last edit replaces `state`. False when there is none.
    bool Undo(FormatState& state);
    // Steps forward again. False when there is nothing to redo.
    bool Redo(FormatState& state);

private:
    void Restore(int index, FormatState& state) const;
    std::array<std::optional<FormatState>, kEntries> entries_;
    int count_ = 0;
    int position_ = 0;
};

}  // namespace tellurine::editor
