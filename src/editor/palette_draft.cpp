#include "editor/palette_draft.h"

#include <algorithm>
#include <numeric>

namespace tellurine::editor {

PaletteDraft::PaletteDraft(const Palette& format, int depth) : palette(format) {
    palette.entries.resize(std::size_t{1} << std::clamp(depth, 1, 8));
    origin.resize(palette.size());
    std::iota(origin.begin(), origin.end(), 0);
}

void PaletteDraft::SortByBrightness() {
    // The entries and where they came from are sorted together, so that the pixels can follow.
    std::vector<int> order(palette.size());
    std::iota(order.begin(), order.end(), 0);
    const auto luma = [this](int i) {
        const PaletteEntry& e = palette.entries[static_cast<std::size_t>(i)];
        return 299 * e.red + 587 * e.green + 114 * e.blue;
    };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return luma(a) < luma(b); });
    const PaletteDraft before = *this;
    for (std::size_t i = 0; i < order.size(); ++i) {
        palette.entries[i] = before.palette.entries[static_cast<std::size_t>(order[i])];
        origin[i] = before.origin[static_cast<std::size_t>(order[i])];
    }
}

bool PaletteDraft::Move(int from, int to) {
    const int count = static_cast<int>(palette.size());
    if (from < 0 || to < 0 || from >= count || to >= count || from == to) return false;
    const auto move = [from, to](auto& v) {
        if (from < to)
            std::rotate(v.begin() + from, v.begin() + from + 1, v.begin() + to + 1);
        else
            std::rotate(v.begin() + to, v.begin() + from, v.begin() + from + 1);
    };
    move(palette.entries);
    move(origin);
    return true;
}

void PaletteDraft::Take(const std::vector<PaletteEntry>& colours) {
    for (std::size_t i = 0; i < palette.size(); ++i) palette.entries[i] = i < colours.size() ? colours[i] : PaletteEntry{};
    remap = true;
}

}  // namespace tellurine::editor
