#include "editor/image_commands.h"

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include "editor/selection.h"
#include "icon/format_edit.h"
#include "icon/format_maker.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/filters.h"
#include "imaging/palette_map.h"
#include "imaging/rotate.h"

namespace tellurine::editor {
namespace {

enum class Target { Floating, Selection, Whole };

Target TargetOf(const FormatState& f) {
    if (f.floatingColor && f.floatingMask) return Target::Floating;
    if (f.selectionActive && !f.selection.IsEmpty()) return Target::Selection;
    return Target::Whole;
}

// Where a resized or turned picture is placed against the one it replaces.
enum class Anchor { TopLeft, Centre };

using BitmapEdit = std::function<bool(DeviceBitmap& color, DeviceBitmap& mask)>;

// Runs `edit` on copies of the target's colour and mask bitmaps and puts the result back.
bool EditTarget(FormatState& f, Anchor anchor, const BitmapEdit& edit) {
    const Target target = TargetOf(f);
    DeviceBitmap color, mask;
    int x = 0, y = 0;
    switch (target) {
        case Target::Floating:
            color = *f.floatingColor;
            mask = *f.floatingMask;
            x = f.floatingX;
            y = f.floatingY;
            break;
        case Target::Selection: {
            const PixelSelection s = f.selection.Normalized();
            x = s.left;
            y = s.top;
            color = DeviceBitmap::Create(s.right - s.left + 1, s.bottom - s.top + 1);
            mask = DeviceBitmap::Create(color.Width(), color.Height());
            if (color.IsNull() || mask.IsNull()) return false;
            BitBlt(color, 0, 0, color.Width(), color.Height(), f.color, x, y, Rop::SrcCopy);
            BitBlt(mask, 0, 0, mask.Width(), mask.Height(), f.mask, x, y, Rop::SrcCopy);
            break;
        }
        case Target::Whole:
            color = f.color;
            mask = f.mask;
            break;
    }
    const int oldWidth = color.Width(), oldHeight = color.Height();
    if (!edit(color, mask)) return false;

    if (color.Width() == oldWidth && color.Height() == oldHeight) {
        switch (target) {
            case Target::Floating:
                f.floatingColor = std::move(color);
                f.floatingMask = std::move(mask);
                break;
            case Target::Selection:
                BitBlt(f.color, x, y, oldWidth, oldHeight, color, 0, 0, Rop::SrcCopy);
                BitBlt(f.mask, x, y, oldWidth, oldHeight, mask, 0, 0, Rop::SrcCopy);
                break;
            case Target::Whole:
                f.color = std::move(color);
                f.mask = std::move(mask);
                break;
        }
        return true;
    }
    // A new size floats: the selection (or the whole format) is lifted, and the result takes
    // the floating selection's place.
    if (target != Target::Floating) {
        if (target == Target::Whole) SelectRectangle(f, 0, 0, f.Width() - 1, f.Height() - 1);
        if (!LiftSelection(f, false)) return false;
    }
    if (anchor == Anchor::Centre) {
        x += (oldWidth - color.Width()) / 2;
        y += (oldHeight - color.Height()) / 2;
    }
    f.selection = {x, y, x + color.Width() - 1, y + color.Height() - 1};
    f.selectionActive = true;
    f.floatingColor = std::move(color);
    f.floatingMask = std::move(mask);
    f.floatingX = x;
    f.floatingY = y;
    return true;
}

}  // namespace

void SelectedImageSize(const FormatState& f, int& width, int& height) {
    switch (TargetOf(f)) {
        case Target::Floating:
            width = f.floatingColor->Width();
            height = f.floatingColor->Height();
            return;
        case Target::Selection: {
            const PixelSelection s = f.selection.Normalized();
            width = s.right - s.left + 1;
            height = s.bottom - s.top + 1;
            return;
        }
        case Target::Whole:
            width = f.Width();
            height = f.Height();
            return;
    }
}

bool FilterImage(FormatState& f, int filterNumber) {
    return EditTarget(f, Anchor::TopLeft,
                      [&](DeviceBitmap& c, DeviceBitmap& m) { return FilterBitmaps(c, m, f.alpha, filterNumber); });
}

bool BlurImage(FormatState& f, int radius) {
    return EditTarget(f, Anchor::TopLeft,
                      [&](DeviceBitmap& c, DeviceBitmap& m) { return BlurBitmaps(c, m, f.alpha, radius); });
}

bool InvertImage(FormatState& f) {
    return EditTarget(f, Anchor::TopLeft, [](DeviceBitmap& c, DeviceBitmap&) {
        DeviceBitmap inverted = InvertBitmap(c);
        if (inverted.IsNull()) return false;
        c = std::move(inverted);
        return true;
    });
}

namespace {

bool IsIndexed(const FormatState& f) {
    return f.depth <= 8 && !f.palette.empty() &&
           f.indices.size() == static_cast<std::size_t>(f.Width()) * static_cast<std::size_t>(f.Height());
}

// Each pixel shows its entry again; transparent and inverted ones keep their black or white, and
// the commit finds them the entry nearest it.
void ShowPaletteColours(FormatState& f) {
    for (int y = 0; y < f.Height(); ++y) {
        std::uint32_t* colour = f.color.Row(y);
        const std::uint32_t* mask = f.mask.Row(y);
        const std::uint8_t* index = f.indices.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(f.Width());
        for (int x = 0; x < f.Width(); ++x) {
            if ((DeviceBitmap::FromNative(mask[x]) & 0xFFFFFF) == 0xFFFFFF || index[x] >= f.palette.size()) continue;
            const PaletteEntry& e = f.palette.entries[index[x]];
            colour[x] = DeviceBitmap::ToNative(RGB(e.red, e.green, e.blue));
        }
    }
}

// The first 2^depth colours of `palette`, black past its end.
Palette OfDepth(const Palette& palette, int depth) {
    Palette out = palette;
    out.entries.resize(std::size_t{1} << depth);
    return out;
}

}  // namespace

bool ReplacePalette(FormatState& f, const Palette& palette) {
    if (!IsIndexed(f)) return false;
    f.palette = OfDepth(palette, f.depth);
    ShowPaletteColours(f);
    return true;
}

bool MapOntoPalette(FormatState& f, const Palette& palette, bool dither) {
    if (!IsIndexed(f) || palette.empty()) return false;
    const Palette target = OfDepth(palette, f.depth);
    const Block picture = DeviceBitmapToDib(f.color, 24);
    const int entries = static_cast<int>(std::min(palette.size(), target.size()));
    const Block mapped = picture.empty() ? Block() : MapToPalette(picture, target, entries, dither);
    const auto layout = GetDibLayout(mapped);
    if (!layout) return false;
    // The mapped rows are stored bottom-up; the indices run top-down.
    for (int y = 0; y < f.Height(); ++y)
        std::copy_n(mapped.data() + layout->RowOffset(f.Height() - 1 - y), f.Width(),
                    f.indices.begin() + static_cast<std::ptrdiff_t>(y) * f.Width());
    f.palette = target;
    ShowPaletteColours(f);
    return true;
}

bool ReorderPalette(FormatState& f, const Palette& palette, const std::vector<int>& origin) {
    if (!IsIndexed(f) || origin.size() != std::size_t{1} << f.depth) return false;
    // Where each old entry went; every old entry must have gone somewhere exactly once.
    std::vector<int> target(origin.size(), -1);
    for (std::size_t i = 0; i < origin.size(); ++i) {
        const auto from = static_cast<std::size_t>(origin[i]);
        if (origin[i] < 0 || from >= target.size() || target[from] >= 0) return false;
        target[from] = static_cast<int>(i);
    }
    for (std::uint8_t& index : f.indices)
        if (index < target.size()) index = static_cast<std::uint8_t>(target[index]);
    f.palette = OfDepth(palette, f.depth);
    ShowPaletteColours(f);
    return true;
}

Palette OptimalPalette(const FormatState& f, int count) {
    Palette out;
    out.entries.resize(std::size_t{1} << std::clamp(f.depth, 1, 8));
    // Median cut: the box of colours with the widest channel is split at its median until there
    // are `count` boxes; each gives its mean. Unlike the octree, it reaches small counts exactly.
    using Rgb = std::array<std::uint8_t, 3>;
    std::vector<Rgb> colours;
    for (int y = 0; y < f.Height(); ++y)
        for (int x = 0; x < f.Width(); ++x) {
            // Pixels under the mask show the screen, not a colour of the picture.
            if ((f.mask.GetPixel(x, y) & 0xFFFFFF) == 0xFFFFFF) continue;
            const COLORREF c = f.color.GetPixel(x, y);
            colours.push_back({GetRValue(c), GetGValue(c), GetBValue(c)});
        }
    struct Box {
        std::size_t begin, end;
        int channel = 0, range = 0;
    };
    const auto measure = [&colours](Box& box) {
        box.range = -1;
        for (int c = 0; c < 3; ++c) {
            const auto [low, high] = std::minmax_element(
                colours.begin() + static_cast<std::ptrdiff_t>(box.begin), colours.begin() + static_cast<std::ptrdiff_t>(box.end),
                [c](const Rgb& a, const Rgb& b) { return a[static_cast<std::size_t>(c)] < b[static_cast<std::size_t>(c)]; });
            const int range = (*high)[static_cast<std::size_t>(c)] - (*low)[static_cast<std::size_t>(c)];
            if (range > box.range) box = {box.begin, box.end, c, range};
        }
    };
    std::vector<Box> boxes;
    if (!colours.empty()) measure(boxes.emplace_back(Box{0, colours.size()}));
    const auto wanted = static_cast<std::size_t>(std::clamp(count, 1, static_cast<int>(out.size())));
    while (boxes.size() < wanted) {
        const auto widest = std::max_element(boxes.begin(), boxes.end(),
                                             [](const Box& a, const Box& b) { return a.range < b.range; });
        if (widest->range <= 0) break;  // every box is one colour
        const Box box = *widest;
        const auto first = colours.begin() + static_cast<std::ptrdiff_t>(box.begin);
        const auto middle = first + static_cast<std::ptrdiff_t>((box.end - box.begin) / 2);
        const auto channel = static_cast<std::size_t>(box.channel);
        std::nth_element(first, middle, colours.begin() + static_cast<std::ptrdiff_t>(box.end),
                         [channel](const Rgb& a, const Rgb& b) { return a[channel] < b[channel]; });
        const std::size_t split = box.begin + (box.end - box.begin) / 2;
        *widest = {box.begin, split};
        measure(*widest);
        measure(boxes.emplace_back(Box{split, box.end}));
    }
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        std::array<std::size_t, 3> sum{};
        for (std::size_t k = boxes[i].begin; k < boxes[i].end; ++k)
            for (std::size_t c = 0; c < 3; ++c) sum[c] += colours[k][c];
        const std::size_t n = boxes[i].end - boxes[i].begin;
        const auto mean = [&](std::size_t c) { return static_cast<std::uint8_t>((sum[c] + n / 2) / n); };
        out.entries[i] = {mean(0), mean(1), mean(2), 0};
    }
    return out;
}

bool AdjustImage(FormatState& f, const ColorAdjuster& adjuster) {
    // Device bitmap rows are blue, green, red and a spare byte per pixel.
    const auto adjustBitmap = [&](DeviceBitmap& bitmap) {
        for (int y = 0; y < bitmap.Height(); ++y)
            adjuster.AdjustBgr(reinterpret_cast<std::uint8_t*>(bitmap.Row(y)), static_cast<std::size_t>(bitmap.Width()), 4);
    };
    if (!IsIndexed(f))
        return EditTarget(f, Anchor::TopLeft, [&](DeviceBitmap& c, DeviceBitmap&) {
            adjustBitmap(c);
            return true;
        });
    for (PaletteEntry& e : f.palette.entries) adjuster.Adjust(e.red, e.green, e.blue);
    ShowPaletteColours(f);
    if (f.floatingColor) adjustBitmap(*f.floatingColor);
    return true;
}

bool ShadowImage(FormatState& f, const DropShadow& shadow) {
    return EditTarget(f, Anchor::TopLeft,
                      [&](DeviceBitmap& c, DeviceBitmap& m) { return ShadowBitmaps(c, m, f.alpha, shadow); });
}

bool FlipImage(FormatState& f, bool vertical) {
    return EditTarget(f, Anchor::TopLeft, [&](DeviceBitmap& c, DeviceBitmap& m) { return FlipBitmaps(c, m, vertical); });
}

bool RotateSelectedImage(FormatState& f, int angle) {
    if (TargetOf(f) == Target::Whole)
        return EditTarget(f, Anchor::Centre,
                          [&](DeviceBitmap& c, DeviceBitmap& m) { return RotateBitmapsCentred(c, m, f.alpha, angle); });
    return EditTarget(f, Anchor::Centre, [&](DeviceBitmap& c, DeviceBitmap& m) { return RotateImage(c, m, angle, f.alpha); });
}

bool ResizeImage(FormatState& f, int width, int height, ResampleQuality quality) {
    return EditTarget(f, Anchor::TopLeft, [&](DeviceBitmap& c, DeviceBitmap& m) {
        return ResizeBitmaps(c, m, f.alpha, width, height, quality);
    });
}

bool ChangeImageDepth(FormatState& f, int bits) {
    if (!IsMakeableDepth(bits)) return false;
    if (bits == f.depth) return true;
    FormatState whole = f;
    DropFloating(whole, whole.preserveTransparency);
    const bool selected = whole.selectionActive;
    whole.selectionActive = false;
    DeviceBitmap color, alpha;
    SelectedPicture(whole, color, alpha);
    const Block picture = DeviceBitmapsToDib32(color, alpha);
    CKvIcon icon;
    DeviceBitmap newColor, newMask;
    if (picture.empty() || !FormatFromPicture(picture, bits, icon) || !icon.ToBitmaps(newColor, newMask, nullptr))
        return false;
    whole.color = std::move(newColor);
    whole.mask = std::move(newMask);
    whole.palette = icon.BuildDisplayPalette();
    whole.SetDepth(bits);
    whole.selectionActive = selected;
    f = std::move(whole);
    return true;
}

}  // namespace tellurine::editor
