// Plays the input as a script of edits on an icon with formats of every depth (strokes of every
// tool, selections moved and pasted, depth changes, resizes, filters, undo and redo), and stops at
// the first step after which the canvas, the icon and its saved .ico and .cur files disagree, or
// undoing everything does not give back the icon as it was opened. The script's meaning is in
// tests/editor/edit_script.h, which the property test shares.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "../tests/editor/edit_script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tellurine::editor::script::Player player;
    tellurine::editor::script::Reader reader({data, size});
    std::string failure;
    if (!player.Play(reader, 24, failure)) {
        std::fprintf(stderr, "edit session: %s\n", failure.c_str());
        std::abort();
    }
    return 0;
}
