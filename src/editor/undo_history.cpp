#include "editor/undo_history.h"

#include <algorithm>
#include <utility>

namespace tellurine::editor {

namespace {

std::size_t BitmapBytes(const DeviceBitmap& b) { return static_cast<std::size_t>(b.Width()) * b.Height() * 4; }

std::size_t StateBytes(const FormatState& s) {
    std::size_t n = BitmapBytes(s.color) + BitmapBytes(s.mask) + s.indices.size() + s.colorTable.size() +
                    s.palette.size() * sizeof(PaletteEntry);
    if (s.floatingColor) n += BitmapBytes(*s.floatingColor);
    if (s.floatingMask) n += BitmapBytes(*s.floatingMask);
    return n;
}

// Exchanges the pixels of `rect` between a bitmap of the format's size and one of the rect's.
void ExchangeRows(DeviceBitmap& format, DeviceBitmap& part, const CanvasRect& r) {
    for (int y = r.top; y < r.bottom; ++y)
        std::swap_ranges(format.Row(y) + r.left, format.Row(y) + r.right, part.Row(y - r.top));
}

}  // namespace

std::size_t UndoStep::Bytes() const {
    return (whole ? StateBytes(*whole) : 0) + BitmapBytes(color) + BitmapBytes(mask) + indices.size();
}

void UndoHistory::Push(UndoStep&& step) {
    // Recording after an undo discards what could have been redone.
    steps_.resize(static_cast<std::size_t>(position_));
    if (static_cast<int>(steps_.size()) == kMaxSteps) steps_.erase(steps_.begin());
    steps_.push_back(std::move(step));
    position_ = static_cast<int>(steps_.size());
}

void UndoHistory::Record(const FormatState& before) {
    UndoStep step;
    step.whole = before;
    Push(std::move(step));
}

void UndoHistory::RecordRegion(const FormatState& before, const CanvasRect& rect) {
    const CanvasRect r{std::max(0, rect.left), std::max(0, rect.top), std::min(before.Width(), rect.right),
                       std::min(before.Height(), rect.bottom)};
    if (r.IsEmpty()) return;
    UndoStep step;
    step.rect = r;
    step.color = DeviceBitmap::Create(r.Width(), r.Height());
    step.mask = DeviceBitmap::Create(r.Width(), r.Height());
    for (int y = r.top; y < r.bottom; ++y) {
        std::copy(before.color.Row(y) + r.left, before.color.Row(y) + r.right, step.color.Row(y - r.top));
        std::copy(before.mask.Row(y) + r.left, before.mask.Row(y) + r.right, step.mask.Row(y - r.top));
    }
    if (!before.indices.empty()) {
        const auto w = static_cast<std::size_t>(before.Width());
        step.indices.reserve(static_cast<std::size_t>(r.Width()) * static_cast<std::size_t>(r.Height()));
        for (int y = r.top; y < r.bottom; ++y) {
            const auto row = before.indices.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w);
            step.indices.insert(step.indices.end(), row + r.left, row + r.right);
        }
    }
    step.selection = before.selection;
    step.selectionActive = before.selectionActive;
    Push(std::move(step));
}

void UndoHistory::Exchange(UndoStep& step, FormatState& state, CanvasRect* changed) {
    if (step.whole) {
        // Whether a floating selection keeps its transparency is the user's setting, not part of
        // what undo restores.
        const bool preserve = state.preserveTransparency;
        std::swap(state, *step.whole);
        state.preserveTransparency = preserve;
        state.selectionActive = !state.selection.IsEmpty();
        state.SetDepth(state.depth);
        if (changed != nullptr) *changed = {0, 0, state.Width(), state.Height()};
        return;
    }
    const CanvasRect& r = step.rect;
    ExchangeRows(state.color, step.color, r);
    ExchangeRows(state.mask, step.mask, r);
    if (!step.indices.empty() && !state.indices.empty()) {
        const auto w = static_cast<std::size_t>(state.Width());
        const auto rw = static_cast<std::size_t>(r.Width());
        for (int y = r.top; y < r.bottom; ++y) {
            auto row = state.indices.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w + r.left);
            std::swap_ranges(row, row + static_cast<std::ptrdiff_t>(rw),
                             step.indices.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y - r.top) * rw));
        }
    }
    std::swap(state.selection, step.selection);
    std::swap(state.selectionActive, step.selectionActive);
    if (changed != nullptr) *changed = r;
}

bool UndoHistory::Undo(FormatState& state, CanvasRect* changed) {
    if (!CanUndo()) return false;
    --position_;
    Exchange(steps_[static_cast<std::size_t>(position_)], state, changed);
    return true;
}

bool UndoHistory::Redo(FormatState& state, CanvasRect* changed) {
    if (!CanRedo()) return false;
    Exchange(steps_[static_cast<std::size_t>(position_)], state, changed);
    ++position_;
    return true;
}

std::size_t UndoHistory::Bytes() const {
    std::size_t n = 0;
    for (const UndoStep& step : steps_) n += step.Bytes();
    return n;
}

}  // namespace tellurine::editor
