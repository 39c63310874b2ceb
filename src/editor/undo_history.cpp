#include "editor/undo_history.h"

#include <algorithm>

namespace tellurine::editor {

void UndoHistory::Record(const FormatState& state, bool keepPosition) {
    // The slot the state goes to is written over whole below (its bitmaps' memory is reused, so a
    // stroke on a large format does not fault in fresh pages for every record).
    if (position_ != count_) {
        // Recording after an undo discards what could have been redone.
        for (int i = position_ + 1; i <= count_ && i < kEntries; ++i) entries_[static_cast<std::size_t>(i)].reset();
        count_ = position_;
    }
    if (count_ == kMaxSteps && !keepPosition) {
        // The oldest state makes room: the entries move down by one and its slot goes to the end,
        // to be written over later; the slot after the last state stays free for undo's use.
        std::rotate(entries_.begin(), entries_.begin() + 1, entries_.end());
        --count_;
        position_ = count_;
    }
    entries_[static_cast<std::size_t>(count_)] = state;
    if (!keepPosition && count_ < kMaxSteps) {
        ++count_;
        ++position_;
    }
}

bool UndoHistory::Undo(FormatState& state) {
    if (!CanUndo()) return false;
    if (position_ == count_) Record(state, true);
    --position_;
    Restore(position_, state);
    return true;
}

bool UndoHistory::Redo(FormatState& state) {
    if (!CanRedo() || !entries_[static_cast<std::size_t>(position_ + 1)]) return false;
    ++position_;
    Restore(position_, state);
    return true;
}

void UndoHistory::Restore(int index, FormatState& state) const {
    const std::optional<FormatState>& entry = entries_[static_cast<std::size_t>(index)];
    if (!entry) return;
    const bool preserve = state.preserveTransparency;
    state = *entry;
    state.preserveTransparency = preserve;
    state.selectionActive = !(entry->selection.left == -1 && entry->selection.top == -1 &&
                              entry->selection.right == -1 && entry->selection.bottom == -1);
    state.SetDepth(state.depth);
}

}  // namespace tellurine::editor
