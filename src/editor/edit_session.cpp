#include "editor/edit_session.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "editor/drawing.h"
#include "imaging/palette_map.h"

namespace tellurine::editor {

namespace {

bool Indexed(const FormatState& s) { return s.depth <= 8 && !s.palette.empty(); }

// The palette entries an indexed format's pixels can name.
std::size_t UsableEntries(const Palette& palette, int bits) {
    return std::min<std::size_t>({palette.size(), 256, std::size_t{1} << bits});
}

COLORREF EntryColour(const Palette& palette, std::size_t i) {
    const PaletteEntry& e = palette.entries[i];
    return RGB(e.red, e.green, e.blue);
}

// Finds palette entries for colours: the first entry of exactly that colour, else the nearest
// (the search colour reduction uses), remembered for the colours met again.
class PaletteMatcher {
public:
    // Only the first `count` entries are used: those the depth can index.
    PaletteMatcher(const Palette& palette, std::size_t count) : palette_(palette), count_(static_cast<int>(count)) {
        for (int i = count_ - 1; i >= 0; --i) found_[EntryColour(palette, static_cast<std::size_t>(i))] = static_cast<std::uint8_t>(i);
    }
    std::uint8_t Match(COLORREF c) {
        c &= 0xFFFFFF;
        const auto it = found_.find(c);
        if (it != found_.end()) return it->second;
        if (!search_) search_.emplace(palette_, count_);
        const int position = NearestPaletteIndex(GetRValue(c), GetGValue(c), GetBValue(c), *search_, count_);
        const std::uint8_t index = (*search_)[position].index;
        found_.emplace(c, index);
        return index;
    }
    [[nodiscard]] COLORREF Colour(std::uint8_t index) const {
        return index < count_ ? EntryColour(palette_, index) : COLORREF{0};
    }

private:
    const Palette& palette_;
    int count_;
    std::optional<SearchPalette> search_;  // its 15-bit cache is made on the first colour without an entry
    std::unordered_map<COLORREF, std::uint8_t> found_;
};

bool Masked(COLORREF mask) { return (mask & 0xFFFFFF) == 0xFFFFFF; }

// Under the mask a light colour inverts the screen and a dark one leaves it: the inverted colour
// is white, the transparent one black, and a palette may hold only something near either.
bool Light(COLORREF c) { return GetRValue(c) + GetGValue(c) + GetBValue(c) > 3 * 127; }

CanvasRect Whole(const FormatState& s) { return {0, 0, s.Width(), s.Height()}; }

// The palette entry a colour value names, or -1 for a true, transparent or inverted colour.
int PaletteEntryOf(ColourValue value) { return (value >> 24) == 1 ? static_cast<int>(value & 0xFF) : -1; }

void CopyRect(const FormatState& from, FormatState& to, const CanvasRect& r) {
    for (int y = r.top; y < r.bottom; ++y) {
        std::copy(from.color.Row(y) + r.left, from.color.Row(y) + r.right, to.color.Row(y) + r.left);
        std::copy(from.mask.Row(y) + r.left, from.mask.Row(y) + r.right, to.mask.Row(y) + r.left);
    }
    if (!from.indices.empty() && from.indices.size() == to.indices.size()) {
        const auto w = static_cast<std::size_t>(from.Width());
        for (int y = r.top; y < r.bottom; ++y) {
            const std::size_t at = static_cast<std::size_t>(y) * w;
            std::copy(from.indices.begin() + static_cast<std::ptrdiff_t>(at + r.left),
                      from.indices.begin() + static_cast<std::ptrdiff_t>(at + r.right),
                      to.indices.begin() + static_cast<std::ptrdiff_t>(at + r.left));
        }
    }
    to.selection = from.selection;
    to.selectionActive = from.selectionActive;
}

CanvasRect Clip(const CanvasRect& r, const FormatState& s) {
    return {std::max(0, r.left), std::max(0, r.top), std::min(s.Width(), r.right), std::min(s.Height(), r.bottom)};
}

}  // namespace

ColourValue OnPalette(int bits, const Palette& palette, ColourValue value) {
    if (bits > 8 || palette.empty() || KindOf(value) != ColourKind::Ordinary || (value >> 24) != 0) return value;
    PaletteMatcher matcher(palette, UsableEntries(palette, bits));
    return kPaletteColourBase + matcher.Match(value);
}

void ConformToPalette(FormatState& s, const CanvasRect& rect, std::span<const int> hints) {
    if (!Indexed(s)) {
        s.indices.clear();
        return;
    }
    const auto w = static_cast<std::size_t>(s.Width());
    const std::size_t pixels = w * static_cast<std::size_t>(s.Height());
    CanvasRect r = Clip(rect, s);
    // Indices that no longer fit the format (after a resize or a change of depth) are found again.
    if (s.indices.size() != pixels) {
        s.indices.assign(pixels, 0);
        r = Whole(s);
        hints = {};
    }
    const std::size_t limit = UsableEntries(s.palette, s.depth);
    PaletteMatcher matcher(s.palette, limit);
    for (int y = r.top; y < r.bottom; ++y) {
        std::uint32_t* colour = s.color.Row(y);
        const std::uint32_t* mask = s.mask.Row(y);
        std::uint8_t* index = s.indices.data() + static_cast<std::size_t>(y) * w;
        for (int x = r.left; x < r.right; ++x) {
            const COLORREF c = DeviceBitmap::FromNative(colour[x]);
            if (Masked(DeviceBitmap::FromNative(mask[x]))) {
                // Transparent (black) or inverted (white): the entry nearest to that colour, whose
                // colour is what the screen is XORed with (a palette without white cannot invert
                // exactly, and the canvas shows so).
                if (index[x] < limit && matcher.Colour(index[x]) == c) continue;
                const COLORREF wanted = Light(c) ? 0xFFFFFF : 0;
                index[x] = matcher.Match(wanted);
                colour[x] = DeviceBitmap::ToNative(matcher.Colour(index[x]));
                continue;
            }
            if (index[x] < limit && matcher.Colour(index[x]) == c) continue;
            const auto hint = std::find_if(hints.begin(), hints.end(), [&](int h) {
                return h >= 0 && static_cast<std::size_t>(h) < limit && matcher.Colour(static_cast<std::uint8_t>(h)) == c;
            });
            index[x] = hint != hints.end() ? static_cast<std::uint8_t>(*hint) : matcher.Match(c);
            if (index[x] >= limit) index[x] = 0;
            colour[x] = DeviceBitmap::ToNative(matcher.Colour(index[x]));
        }
    }
}

void ConformFloating(FormatState& s) {
    if (!Indexed(s) || !s.floatingColor || !s.floatingMask) return;
    PaletteMatcher matcher(s.palette, UsableEntries(s.palette, s.depth));
    DeviceBitmap& colour = *s.floatingColor;
    const DeviceBitmap& mask = *s.floatingMask;
    for (int y = 0; y < colour.Height(); ++y)
        for (int x = 0; x < colour.Width(); ++x) {
            const COLORREF c = colour.GetPixel(x, y);
            const COLORREF wanted = Masked(mask.GetPixel(x, y)) ? (Light(c) ? 0xFFFFFF : 0) : c;
            colour.SetPixel(x, y, matcher.Colour(matcher.Match(wanted)));
        }
}

EditSession::FormatEdit* EditSession::Find(int index) {
    const CIconObject* format = doc_.GetFormat(index);
    const auto it = format != nullptr ? edits_.find(format) : edits_.end();
    return it != edits_.end() ? it->second.get() : nullptr;
}

const EditSession::FormatEdit* EditSession::Find(int index) const {
    const CIconObject* format = doc_.GetFormat(index);
    const auto it = format != nullptr ? edits_.find(format) : edits_.end();
    return it != edits_.end() ? it->second.get() : nullptr;
}

FormatState* EditSession::State(int index) {
    if (FormatEdit* edit = Find(index)) return &edit->state;
    CIconObject* format = doc_.GetFormat(index);
    if (format == nullptr) return nullptr;
    auto edit = std::make_unique<FormatEdit>();
    FormatState& s = edit->state;
    CKvIcon& icon = format->Icon();
    if (!icon.ToBitmaps(s.color, s.mask, nullptr)) return nullptr;
    s.palette = icon.BuildDisplayPalette();
    s.depth = format->BitCount();
    s.colorCount = format->ColorCount();
    s.alpha = format->HasAlpha();
    s.paletteFormat = format->IsPaletteFormat();
    s.preserveTransparency = preserveTransparency;
    if (s.depth <= 8 && !icon.ToIndices(s.indices)) return nullptr;
    edit->committed = s;
    edit->compressed = icon.IsCompressed();
    return &edits_.emplace(format, std::move(edit)).first->second->state;
}

std::unique_ptr<EditSession::FormatEdit> EditSession::Forget(const CIconObject* format) {
    const auto it = edits_.find(format);
    if (it == edits_.end()) return nullptr;
    if (stroke_.edit == it->second.get()) stroke_ = {};
    if (previewed_ == it->second.get()) {
        previewed_ = nullptr;
        previewBase_.reset();
    }
    std::unique_ptr<FormatEdit> held = std::move(it->second);
    edits_.erase(it);
    return held;
}

void EditSession::Commit(int index, FormatEdit& edit, const CanvasRect* region, std::span<const int> hints) {
    FormatState& s = edit.state;
    FormatState& before = edit.committed;
    const bool sameShape = before.Width() == s.Width() && before.Height() == s.Height() && before.depth == s.depth &&
                           before.palette == s.palette && !before.floatingColor && !s.floatingColor;
    if (region != nullptr && sameShape) {
        const CanvasRect r = Clip(*region, s);
        ConformToPalette(s, r, hints);
        edit.history.RecordRegion(before, r);
        CopyRect(s, before, r);
    } else {
        ConformToPalette(s, Whole(s), hints);
        ConformFloating(s);
        edit.history.Record(before);
        before = s;
    }
    WriteBack(index, edit);
}

void EditSession::WriteBack(int index, FormatEdit& edit) {
    CIconObject* format = doc_.GetFormat(index);
    if (format == nullptr) return;
    const FormatState& s = edit.state;
    CKvIcon& icon = format->Icon();
    // The user's choice of PNG storage is kept for when the format is 32 bits again (after an undo).
    if (icon.BitsPerPixel() == 32) edit.compressed = icon.IsCompressed();
    const std::int32_t point[2] = {icon.PointX(), icon.PointY()};
    // A restored state may have another depth or size: the image takes it first.
    if (icon.BitsPerPixel() != s.depth || static_cast<int>(icon.Width()) != s.Width() ||
        static_cast<int>(icon.Height()) != s.Height())
        icon.SetFormat(s.Width(), s.Height(), s.colorCount, s.alpha);
    // The image holds what the canvas shows: a floating selection laid over the format.
    const FormatState* written = &s;
    FormatState laid;
    if (s.floatingColor && s.floatingMask) {
        laid.color = s.color;
        laid.mask = s.mask;
        laid.indices = s.indices;
        laid.palette = s.palette;
        laid.depth = s.depth;
        LayFloating(laid.color, laid.mask, s.alpha, *s.floatingColor, *s.floatingMask, s.floatingX, s.floatingY,
                    s.preserveTransparency, s.floatingBehind);
        ConformToPalette(laid, Whole(laid));
        written = &laid;
    }
    if (Indexed(s) && written->indices.size() == static_cast<std::size_t>(s.Width()) * static_cast<std::size_t>(s.Height()))
        icon.FromIndices(written->indices, written->mask, s.palette);
    else
        icon.FromBitmaps(written->color, written->mask, s.depth <= 8 && !s.palette.empty() ? &s.palette : nullptr);
    // A PNG image holds alpha, not the AND/XOR pair: an edited format of fewer bits (one whose
    // depth was reduced, or read so) is stored as a bitmap, which holds its inverted pixels too.
    icon.SetCompressed(edit.compressed && s.depth == 32);
    icon.SetPoint(point[0], point[1]);
    format->SyncWithIcon();
}

bool EditSession::Edit(int index, const std::function<void(FormatState&)>& change) {
    if (State(index) == nullptr) return false;
    FormatEdit& edit = *Find(index);
    change(edit.state);
    Commit(index, edit, nullptr, {});
    if (onEdited) onEdited(index, Whole(edit.state));
    return true;
}

ToolResult EditSession::Press(int index, CDrawTool& tool, ColourSelection& colours, int x, int y, bool right, bool copy) {
    if (Stroking() || State(index) == nullptr) return {};
    FormatEdit& edit = *Find(index);
    stroke_ = {&tool, &colours, index, &edit, {}, edit.state.floatingColor.has_value()};
    tool.Attach(edit.state);
    tool.settings.copyOnMove = copy;
    const ToolResult result = tool.ButtonDown(edit.state, colours, x, y, right);
    stroke_.changed = Union(stroke_.changed, result.changed);
    return result;
}

ToolResult EditSession::Move(int x, int y) {
    if (!Stroking()) return {};
    const ToolResult result = stroke_.tool->PointerMove(stroke_.edit->state, *stroke_.colours, x, y);
    stroke_.changed = Union(stroke_.changed, result.changed);
    return result;
}

ToolResult EditSession::Release(int x, int y) {
    if (!Stroking()) return {};
    const Stroke stroke = stroke_;
    stroke_ = {};
    FormatState& s = stroke.edit->state;
    ToolResult result = stroke.tool->ButtonUp(s, *stroke.colours, x, y);
    const CanvasRect changed = Union(stroke.changed, result.changed);
    if (!stroke.tool->Edits()) return result;
    if (stroke.tool->Kind() == ToolKind::Select) {
        // Drawing a selection rectangle changes no pixel: no step, and the file stays as it is.
        if (!stroke.floatingAtPress && !s.floatingColor) {
            stroke.edit->committed.selection = s.selection;
            stroke.edit->committed.selectionActive = s.selectionActive;
            return result;
        }
        Commit(stroke.index, *stroke.edit, nullptr, {});
    } else {
        if (changed.IsEmpty()) return result;
        const int hints[2] = {PaletteEntryOf(stroke.tool->StrokeColour()), PaletteEntryOf(stroke.tool->OtherStrokeColour())};
        Commit(stroke.index, *stroke.edit, &changed, hints);
    }
    result.changed = Union(result.changed, changed);
    if (onEdited) onEdited(stroke.index, changed);
    return result;
}

ToolResult EditSession::CancelStroke() {
    if (!Stroking()) return {};
    FormatEdit& edit = *stroke_.edit;
    stroke_ = {};
    edit.state = edit.committed;
    return {CanvasRect{0, 0, edit.state.Width(), edit.state.Height()}, false};
}

bool EditSession::SetPreserveTransparency(int index, bool on) {
    if (State(index) == nullptr) return false;
    FormatEdit& edit = *Find(index);
    if (edit.state.preserveTransparency == on) return true;
    edit.state.preserveTransparency = on;
    edit.committed.preserveTransparency = on;
    if (edit.state.floatingColor) {
        WriteBack(index, edit);
        if (onEdited) onEdited(index, Whole(edit.state));
    }
    return true;
}

bool EditSession::CanUndo(int index) const {
    const FormatEdit* edit = Find(index);
    return edit != nullptr && edit->history.CanUndo();
}

bool EditSession::CanRedo(int index) const {
    const FormatEdit* edit = Find(index);
    return edit != nullptr && edit->history.CanRedo();
}

bool EditSession::Undo(int index) { return Step(index, &UndoHistory::Undo); }
bool EditSession::Redo(int index) { return Step(index, &UndoHistory::Redo); }

bool EditSession::Step(int index, bool (UndoHistory::*step)(FormatState&, CanvasRect*)) {
    FormatEdit* edit = Find(index);
    CanvasRect changed;
    if (edit == nullptr || Stroking() || !(edit->history.*step)(edit->state, &changed)) return false;
    // The committed copy follows: exactly the changed part for a stroke's step.
    const CanvasRect whole = Whole(edit->state);
    if (changed.left == whole.left && changed.top == whole.top && changed.right == whole.right &&
        changed.bottom == whole.bottom)
        edit->committed = edit->state;
    else
        CopyRect(edit->state, edit->committed, changed);
    WriteBack(index, *edit);
    if (onEdited) onEdited(index, changed);
    return true;
}

std::size_t EditSession::UndoBytes(int index) const {
    const FormatEdit* edit = Find(index);
    return edit != nullptr ? edit->history.Bytes() : 0;
}

std::optional<FormatState> EditSession::PreviewSource(int index) {
    if (State(index) == nullptr) return std::nullopt;
    const FormatEdit* edit = Find(index);
    if (previewed_ == edit && previewBase_) return *previewBase_;
    return edit->state;
}

FormatState EditSession::ComputePreview(FormatState source, const std::function<bool(FormatState&)>& command) {
    FormatState shown = source;
    if (!command(shown)) return source;
    ConformToPalette(shown, Whole(shown));
    return shown;
}

void EditSession::ShowPreviewResult(int index, FormatState shown) {
    if (State(index) == nullptr) return;
    FormatEdit* edit = Find(index);
    if (previewed_ != nullptr && previewed_ != edit) EndPreview();
    if (!previewBase_) previewBase_ = edit->state;
    previewed_ = edit;
    edit->state = std::move(shown);
}

void EditSession::EndPreview() {
    if (previewed_ != nullptr && previewBase_) previewed_->state = std::move(*previewBase_);
    previewBase_.reset();
    previewed_ = nullptr;
}

}  // namespace tellurine::editor
