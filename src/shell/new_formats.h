// The formats a new icon can be made with, as the new-icon dialog lists them: for a Windows icon
// every size at every depth; for a Macintosh family the sizes and depths its elements hold.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "icon/format_maker.h"
#include "icon/icon_doc.h"
#include "image/dib.h"

namespace tellurine::shell {

struct Preferences;

struct NewFormat {
    int size = 0;  // square side in pixels
    int bits = 0;  // 1, 4, 8, 24 or 32
    bool chosenByDefault = false;
    int scale = 1;  // 2 for a Macintosh "@2x" element: 64 pixels are 32 points
};

inline constexpr std::size_t kWindowsNewFormatCount = 35;
inline constexpr std::size_t kMacNewFormatCount = 17;

// Windows: 16, 24, 32, 48, 64, 128 and 256 pixels, each at 1, 4, 8, 24 and 32 bits. Chosen at
// first: 16, 24, 32, 48 and 256 at 32 bits and 16, 32 and 48 at 8 bits.
std::span<const NewFormat> WindowsNewFormats();
// Macintosh: 16, 32 and 48 pixels at 1, 4, 8 and 32 bits, and 64 (32 @2x), 128, 256, 512 and
// 1024 pixels at 32 bits. Chosen at first: every size but 48 at 32 bits, the set a current Mac
// icon holds (each size from 16 to 512 points, and twice its pixels).
std::span<const NewFormat> MacNewFormats();

// The depths a format can have, in the order of the Color Depth menu and of text::kDepthNames.
inline constexpr int kDepthBits[] = {1, 4, 8, 24, 32};
// A depth's place in kDepthBits; the last (32 bits) for any other number.
int DepthIndex(int bits);
// How many colours a format of `bits` holds, as the canvas's title says it: "2", "256",
// "16.7 million", "16.7 million + alpha" (32 bits with alpha).
std::string ColourCountText(int bits, bool alpha);

// A depth as people say it: "1 bit", "4 bits", "32 bits".
std::string BitsText(int bits);

// A format as one of texts.h's lines shows it (kFormatStatus, kPrintFooter): its size and depth
// ("32 x 32, 8 bits"), and ", PNG-compressed" for a compressed one where the line has a fourth marker.
std::string FormatLine(const char* text, int width, int height, int bits, bool compressed = false);

// The list's text for a format: "32 x 32, 8 bits (256 colors)", "32 x 32 @2x, 32 bits (...)".
std::string NewFormatText(const NewFormat& format);

// Which entries of a list a preset chooses (1 chosen, 0 not): its sizes at its depths.
std::vector<int> PresetFormatChoice(const IconPreset& preset, std::span<const NewFormat> list);

// Each entry's default choice (1 chosen, 0 not) for one of the lists.
template <std::size_t N>
std::array<int, N> DefaultFormatChoice(bool macintosh) {
    std::array<int, N> choice{};
    const std::span<const NewFormat> list = macintosh ? MacNewFormats() : WindowsNewFormats();
    for (std::size_t i = 0; i < N && i < list.size(); ++i) choice[i] = list[i].chosenByDefault ? 1 : 0;
    return choice;
}

// A format added to a project (a family when `macintosh`), `width` x `height` at `bits`: `picture`
// resampled when one is given, else `source`'s picture at the new size and depth (through the
// filter the preferences choose), else wholly transparent. At 256 pixels and more it is
// PNG-compressed in a family, and in an icon when the preferences compress such new formats.
// False when memory runs out.
bool MakeAddedFormat(bool macintosh, const CDIB* picture, const CIconObject* source, int width, int height,
                     int bits, const Preferences& prefs, CKvIcon& icon);

}  // namespace tellurine::shell
