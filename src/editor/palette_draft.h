// The palette the Palette dialog edits before it is applied to the format.
#pragma once

#include <vector>

#include "image/palette.h"

namespace tellurine::editor {

// The entries as the user leaves them, and what applying them does: while entries are only changed,
// moved and sorted, each pixel follows its entry (origin[i] is where entry i was in the format's
// palette, see ReorderPalette); once a palette is taken from a file or reduced, the picture is
// mapped onto it instead (MapOntoPalette).
struct PaletteDraft {
    // The format's palette at `depth` bits: 2^depth entries (black past a short one), each where it is.
    PaletteDraft(const Palette& format, int depth);

    // Orders the entries from dark to light (by luma), equal ones as they were.
    void SortByBrightness();
    // Moves entry `from` to place `to`, the entries between moving up or down one; false when
    // either is outside the list or they are the same.
    bool Move(int from, int to);
    // Takes the first colours of `colours` in place of the entries, black past a short list.
    void Take(const std::vector<PaletteEntry>& colours);

    Palette palette;
    std::vector<int> origin;
    bool remap = false;  // the picture is to be mapped onto the palette
};

}  // namespace tellurine::editor
