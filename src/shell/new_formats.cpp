#include "shell/new_formats.h"

#include <algorithm>

#include "image/dib_block.h"
#include "shell/app_support.h"
#include "shell/preferences.h"
#include "shell/texts.h"

namespace tellurine::shell {

namespace {

constexpr std::array<NewFormat, kWindowsNewFormatCount> MakeWindowsList() {
    constexpr int sizes[] = {16, 24, 32, 48, 64, 128, 256};
    std::array<NewFormat, kWindowsNewFormatCount> list{};
    std::size_t i = 0;
    for (const int size : sizes)
        for (const int bits : kDepthBits) {
            const bool chosen =
                (bits == 32 && size != 64 && size != 128) || (bits == 8 && (size == 16 || size == 32 || size == 48));
            list[i++] = {size, bits, chosen};
        }
    return list;
}

constexpr std::array<NewFormat, kMacNewFormatCount> MakeMacList() {
    std::array<NewFormat, kMacNewFormatCount> list{};
    std::size_t i = 0;
    for (const int size : {16, 32, 48})
        for (const int bits : {1, 4, 8, 32}) list[i++] = {size, bits, bits == 32 && size != 48};
    list[i++] = {64, 32, true, 2};
    for (const int size : {128, 256, 512, 1024}) list[i++] = {size, 32, true};
    return list;
}

constexpr auto kWindowsList = MakeWindowsList();
constexpr auto kMacList = MakeMacList();

}  // namespace

std::span<const NewFormat> WindowsNewFormats() {
    return kWindowsList;
}
std::span<const NewFormat> MacNewFormats() {
    return kMacList;
}

int DepthIndex(int bits) {
    for (std::size_t i = 0; i < std::size(kDepthBits); ++i)
        if (kDepthBits[i] == bits) return static_cast<int>(i);
    return static_cast<int>(std::size(kDepthBits)) - 1;
}

std::string ColourCountText(int bits, bool alpha) {
    switch (bits) {
        case 1: return "2";
        case 4: return "16";
        case 8: return "256";
        case 24: return text::kTrueColourCount;
        default: return alpha ? text::kTrueColourAlphaCount : text::kTrueColourCount;
    }
}

std::string BitsText(int bits) {
    return std::to_string(bits) + (bits == 1 ? " bit" : " bits");
}

std::string FormatLine(const char* text, int width, int height, int bits, bool compressed) {
    return FillText(text, {std::to_string(width), std::to_string(height), BitsText(bits),
                           compressed ? text::kCompressedSuffix : ""});
}

std::string NewFormatText(const NewFormat& format) {
    const int points = format.size / format.scale;
    std::string text = std::to_string(points) + " x " + std::to_string(points) + (format.scale == 2 ? " @2x, " : ", ") +
                       BitsText(format.bits);
    switch (format.bits) {
        case 1: return text + " (2 colors)";
        case 4: return text + " (16 colors)";
        case 8: return text + " (256 colors)";
        case 24: return text + " (true color)";
        default: return text + " (true color with alpha)";
    }
}

std::vector<int> PresetFormatChoice(const IconPreset& preset, std::span<const NewFormat> list) {
    std::vector<int> chosen;
    for (const NewFormat& f : list)
        chosen.push_back(std::find(preset.sizes.begin(), preset.sizes.end(), f.size) != preset.sizes.end() &&
                                 std::find(preset.depths.begin(), preset.depths.end(), f.bits) != preset.depths.end()
                             ? 1
                             : 0);
    return chosen;
}

bool MakeAddedFormat(bool macintosh, const CDIB* picture, const CIconObject* source, int width, int height,
                     int bits, const Preferences& prefs, CKvIcon& icon) {
    bool made = false;
    if (picture != nullptr) {
        made = MakeFormatFromImage(*picture, width, height, bits, icon, ResampleQualityOf(prefs));
    } else if (source != nullptr) {
        const ResizeFilterPreference filter{prefs.ApplyFilterToCreateIconFromImageValue != 10,
                                            prefs.ApplyFilterToCreateIconFromImageValue, ResampleQualityOf(prefs)};
        made = MakeFormatFromFormat(source->Icon(), width, height, bits, filter, icon);
    } else {
        const Block empty = CreateDibBlock(width, height, 32);
        made = !empty.empty() && FormatFromPicture(empty, bits, icon);
    }
    if (made && width >= 256 && height >= 256 && (macintosh || prefs.AutoEnableVistaCompression != 0))
        icon.SetCompressed(true);
    return made;
}

}  // namespace tellurine::shell
