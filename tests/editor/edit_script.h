// Plays edits read from a string of bytes on an icon with formats of every depth, through the edit
// session as the desktop program drives it, and checks what a user relies on: the canvas shows what
// the icon holds, the file saved as .ico and as .cur reads back with exactly that, and undoing every
// step gives back the icon as it was opened. The property test feeds it random bytes; the fuzz target
// feeds it libFuzzer's. Header only, so that both can include it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "editor/drawing.h"
#include "editor/edit_session.h"
#include "editor/image_commands.h"
#include "editor/selection.h"
#include "formats/ico_file.h"
#include "formats/icon_project.h"
#include "icon/format_maker.h"
#include "image/raster.h"
#include "../test_support.h"

namespace tellurine::editor::script {

// Reads the script's bytes; past the end every read is 0, so any string is a script.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::uint8_t Byte() { return at_ < bytes_.size() ? bytes_[at_++] : 0; }
    int Below(int n) { return n <= 1 ? 0 : Byte() % n; }
    std::uint32_t Colour() { return Byte() | (std::uint32_t{Byte()} << 8) | (std::uint32_t{Byte()} << 16); }
    [[nodiscard]] bool AtEnd() const { return at_ >= bytes_.size(); }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

// A picture of stripes and a soft disc, with clear, half-clear and opaque pixels.
inline void Picture(int w, int h, std::uint32_t seed, DeviceBitmap& colour, DeviceBitmap& alpha) {
    const auto v = [=](int x, int y) { return (static_cast<std::uint32_t>(x * 37 + y * 11) ^ seed) * 2654435761u; };
    colour = test::MakeBitmap(w, h, [=](int x, int y) { return v(x, y) >> 8 & 0xFFFFFF; });
    alpha = test::MakeBitmap(w, h, [=](int x, int y) {
        const int dx = 2 * x - w, dy = 2 * y - h;
        return test::Grey(dx * dx + dy * dy < w * h / 2 ? 255 : (x + y) % 3 == 0 ? 0 : static_cast<int>(v(x, y) & 0xFF));
    });
}

inline Block Picture(int w, int h, std::uint32_t seed) {
    DeviceBitmap colour, alpha;
    Picture(w, h, seed, colour, alpha);
    return DeviceBitmapsToDib32(colour, alpha);
}

// The icon every script starts from: each depth, a blank format of the standard palette, an 8-bit
// palette with two entries of one colour, and a PNG-compressed 32-bit format.
inline CIconDoc StartingIcon() {
    CIconDoc doc;
    const struct {
        int size, bits;
        bool compressed;
    } formats[] = {{16, 1, false}, {16, 4, false}, {24, 8, false}, {20, 24, false}, {32, 32, false}, {40, 32, true}};
    for (const auto& f : formats) {
        CKvIcon icon;
        if (!FormatFromPicture(Picture(f.size, f.size, static_cast<std::uint32_t>(f.bits)), f.bits, icon)) return {};
        icon.SetCompressed(f.compressed);
        doc.AddFormat(std::move(icon));
    }
    CKvIcon blank;
    if (MakeBlankFormat(16, 16, 4, blank)) doc.AddFormat(std::move(blank));
    // Entry 20 has the colour of entry 10.
    CKvIcon twins;
    if (MakeBlankFormat(16, 16, 8, twins)) {
        Palette palette = twins.BuildDisplayPalette();
        palette.entries[20] = palette.entries[10];
        DeviceBitmap c, m;
        twins.ToBitmaps(c, m, nullptr);
        std::vector<std::uint8_t> indices;
        twins.ToIndices(indices);
        twins.FromIndices(indices, m, palette);
        doc.AddFormat(std::move(twins));
    }
    return doc;
}

// What a format shows: its pixels with the floating selection laid over them, a pixel nobody can
// see reduced to what it is (clear, transparent or inverted), as the file is compared.
inline void Shown(const FormatState& s, DeviceBitmap& colour, DeviceBitmap& mask) {
    colour = s.color;
    mask = s.mask;
    if (s.floatingColor && s.floatingMask)
        LayFloating(colour, mask, s.alpha, *s.floatingColor, *s.floatingMask, s.floatingX, s.floatingY,
                    s.preserveTransparency, s.floatingBehind);
    for (int y = 0; y < colour.Height(); ++y)
        for (int x = 0; x < colour.Width(); ++x) {
            const COLORREF m = mask.GetPixel(x, y), c = colour.GetPixel(x, y);
            if (s.alpha ? (m & 0xFF) == 0 : m == 0xFFFFFF) colour.SetPixel(x, y, !s.alpha && c == 0xFFFFFF ? 0xFFFFFF : 0);
        }
}

inline void Shown(const CKvIcon& icon, DeviceBitmap& colour, DeviceBitmap& mask) {
    FormatState s;
    icon.ToBitmaps(s.color, s.mask, nullptr);
    s.alpha = icon.HasAlpha();
    Shown(s, colour, mask);
}

class Player {
public:
    Player() : doc_(StartingIcon()), session_(doc_) {
        for (int i = 0; i < doc_.GetFormatCount(); ++i) {
            DeviceBitmap c, m;
            Shown(doc_.GetFormat(i)->Icon(), c, m);
            opened_.push_back({std::move(c), std::move(m)});
        }
        for (int k = 0; k <= static_cast<int>(ToolKind::Frame3D); ++k) tools_.push_back(MakeTool(static_cast<ToolKind>(k)));
    }

    // Plays the script; false, with `failure` saying what broke, at the first check that fails.
    bool Play(Reader& r, int maxSteps, std::string& failure) {
        for (int step = 0; step < maxSteps && !r.AtEnd(); ++step) {
            const int format = r.Below(doc_.GetFormatCount());
            if (session_.State(format) == nullptr) return Fail(failure, "no state for format " + std::to_string(format));
            if (!Act(r, format)) continue;
            if (!CanvasIsIcon(format, failure)) return Fail(failure, failure + " after step " + std::to_string(step) + " (" + last_ + ")");
        }
        if (!FilesHoldIcon(failure)) return false;
        return UndoEverything(failure);
    }

private:
    static bool Fail(std::string& failure, const std::string& what) {
        failure = what;
        return false;
    }

    void PickColours(Reader& r) {
        colours_.foreground = r.Below(8) == 0 ? (r.Below(2) ? kTransparentColour : kInvertedColour) : r.Colour();
        colours_.background = r.Colour();
        colours_.foregroundIndex8 = r.Below(5) == 0 ? kTransparentIndex : r.Byte();
        colours_.backgroundIndex8 = r.Below(5) == 0 ? kInvertedIndex : r.Byte();
        colours_.foregroundIndex1 = r.Below(2) ? 0 : 255;
        colours_.backgroundIndex1 = r.Below(4) == 0 ? kTransparentIndex : 255;
        colours_.foregroundOpacity = r.Below(3) == 0 ? 0 : r.Byte();
        colours_.backgroundOpacity = r.Byte();
    }

    // One action; false when it did nothing worth checking.
    bool Act(Reader& r, int format) {
        FormatState& s = *session_.State(format);
        const int w = s.Width(), h = s.Height();
        const auto anyX = [&] { return r.Below(w + 8) - 4; };
        const auto anyY = [&] { return r.Below(h + 8) - 4; };
        const int action = r.Below(12);
        last_ = "action " + std::to_string(action);
        switch (action) {
            case 0:
            case 1:
            case 2: {  // a stroke of any tool
                CDrawTool& tool = *tools_[static_cast<std::size_t>(r.Below(static_cast<int>(tools_.size())))];
                last_ += ", tool " + std::to_string(static_cast<int>(tool.Kind()));
                PickColours(r);
                tool.settings.brushShape = r.Below(12);
                tool.settings.gradient = r.Below(5) + (r.Below(4) == 0 ? kReflectedGradient : 0);
                tool.settings.smoothEdges = r.Below(2) == 0;
                tool.settings.resizeEdges = r.Below(4) == 0 ? r.Below(16) : 0;  // a selection handle
                session_.Press(format, tool, colours_, r.Below(w), r.Below(h), r.Below(3) == 0, r.Below(3) == 0);
                for (int moves = r.Below(4); moves > 0; --moves) session_.Move(anyX(), anyY());
                // Now and then Esc drops the stroke instead of the release.
                if (r.Below(6) == 0) {
                    last_ += ", cancelled";
                    session_.CancelStroke();
                }
                session_.Release(anyX(), anyY());
                return true;
            }
            case 3: {
                const int x0 = r.Below(w), y0 = r.Below(h), x1 = r.Below(w), y1 = r.Below(h);
                return session_.Edit(format, [&](FormatState& f) {
                    ClearSelection(f, f.preserveTransparency);
                    SelectRectangle(f, x0, y0, x1, y1);
                });
            }
            case 4: {
                const int dx = r.Below(9) - 4, dy = r.Below(9) - 4;
                const bool copy = r.Below(2) == 0;
                if (!s.selectionActive || s.selection.IsEmpty()) return false;
                return session_.Edit(format, [&](FormatState& f) { MoveSelection(f, dx, dy, copy); });
            }
            case 5: {  // a 32-bit picture pasted, whatever the format's depth
                const int pw = 1 + r.Below(20), ph = 1 + r.Below(20), x = r.Below(w), y = r.Below(h);
                DeviceBitmap colour, alpha;
                Picture(pw, ph, r.Colour(), colour, alpha);
                return session_.Edit(format, [&](FormatState& f) { FloatPicture(f, colour, alpha, x, y); });
            }
            case 6: {
                if (r.Below(2) == 0) return session_.SetPreserveTransparency(format, r.Below(2) == 0);
                return session_.Edit(format, [&](FormatState& f) { ClearSelection(f, f.preserveTransparency); });
            }
            case 7: {
                static constexpr int kDepths[] = {1, 4, 8, 24, 32};
                const int bits = kDepths[r.Below(5)];
                if (bits == s.depth) return false;
                return Command(format, [bits](FormatState& f) { return ChangeImageDepth(f, bits); });
            }
            case 8: {
                const int nw = 1 + r.Below(48), nh = 1 + r.Below(48);
                return Command(format, [nw, nh](FormatState& f) { return ResizeImage(f, nw, nh); });
            }
            case 9: {
                const int which = r.Below(16);
                return Command(format, [which](FormatState& f) {
                    if (which < 12) return FilterImage(f, which + 1);
                    if (which == 12) return InvertImage(f);
                    if (which == 13) return BlurImage(f, 2);
                    if (which == 14) return RotateSelectedImage(f, 90);
                    return FlipImage(f, true);
                });
            }
            default: {  // up to three undos (10) or redos (11)
                bool any = false;
                for (int n = 1 + r.Below(3); n > 0; --n)
                    any = (action == 10 ? session_.Undo(format) : session_.Redo(format)) || any;
                return any;
            }
        }
    }

    // An image command as the program runs it: on a copy, taken as one step when it succeeds.
    bool Command(int format, const std::function<bool(FormatState&)>& command) {
        FormatState work = *session_.State(format);
        if (!command(work)) return false;
        return session_.Edit(format, [&](FormatState& f) {
            const bool preserve = f.preserveTransparency;
            f = std::move(work);
            f.preserveTransparency = preserve;
        });
    }

    bool CanvasIsIcon(int format, std::string& failure) {
        const FormatState& s = *session_.State(format);
        const CIconObject& object = *doc_.GetFormat(format);
        if (object.Width() != s.Width() || object.Height() != s.Height() || object.BitCount() != s.depth)
            return Fail(failure, "format " + std::to_string(format) + " is not the size or depth the canvas shows");
        DeviceBitmap c, m, ic, im;
        Shown(s, c, m);
        Shown(object.Icon(), ic, im);
        if (c != ic || m != im) return Fail(failure, "format " + std::to_string(format) + " holds other pixels than the canvas shows");
        return true;
    }

    bool FilesHoldIcon(std::string& failure) {
        for (const bool cursor : {false, true}) {
            std::vector<std::uint8_t> bytes;
            if (!WriteIconFile(doc_, false, bytes, cursor)) return Fail(failure, "the icon could not be written");
            const std::vector<int> notHeld = FormatsNotHeld(doc_, bytes);
            if (!notHeld.empty())
                return Fail(failure, std::string("the ") + (cursor ? ".cur" : ".ico") +
                                         " file reads back with other pixels in format " + std::to_string(notHeld.front()));
        }
        return true;
    }

    bool UndoEverything(std::string& failure) {
        for (int i = 0; i < doc_.GetFormatCount(); ++i) {
            while (session_.Undo(i)) {
            }
            const FormatState& s = *session_.State(i);
            DeviceBitmap c, m;
            Shown(s, c, m);
            if (c != opened_[static_cast<std::size_t>(i)].first || m != opened_[static_cast<std::size_t>(i)].second)
                return Fail(failure, "undoing everything on format " + std::to_string(i) + " does not give back the opened pixels");
            if (!CanvasIsIcon(i, failure)) return false;
        }
        return true;
    }

    CIconDoc doc_;
    EditSession session_;
    std::vector<std::unique_ptr<CDrawTool>> tools_;
    ColourSelection colours_;
    std::vector<std::pair<DeviceBitmap, DeviceBitmap>> opened_;
    std::string last_;  // the last action, for the failure's text
};

}  // namespace tellurine::editor::script
