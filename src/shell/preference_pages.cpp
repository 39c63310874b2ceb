#include "shell/preference_pages.h"

namespace tellurine::shell {
namespace {

constexpr const char* kPages[] = {"Start-up", "Saving", "Colors", "Folders"};

constexpr PrefField kFields[] = {
    {"Start-up", "ShowSplashScreen", "Show the splash screen at start-up", PrefControl::Check},
    {"Start-up", "NewIcoDocAtStartup", "Ask for a new icon at start-up", PrefControl::Check},
    {"Start-up", "MaximizeOnOpen", "Maximize new windows", PrefControl::Check},
    {"Saving", "WinExplorerCompatibleOrder",
     "Order formats as Windows Explorer expects (smallest first, 32-bit formats after the others)", PrefControl::Check},
    {"Saving", "AutoEnableVistaCompression", "Store 256 x 256 formats added to an icon as PNG", PrefControl::Check},
    {"Saving", "CompressVista256x256NewIcon", "Compress 256 x 256 formats of new icons", PrefControl::Check},
    {"Saving", "MacPngElements",
     "Store new 256 and 512 pixel Macintosh elements as PNG (as current Mac tools do), not JPEG 2000",
     PrefControl::Check},
    {"Saving", "PrintHeaderFooter", "Print a header and a footer with each format", PrefControl::Check},
    {"Colors", "TransparentCopy", "Preserve transparency when moving or copying a selection", PrefControl::Check},
    {"Colors", "Smooth32BppDraw", "Smooth the edges of shapes on formats with alpha", PrefControl::Check},
    {"Colors", "FgOpacity", "Opacity of the foreground colour", PrefControl::Number, 0, 255},
    {"Colors", "BkOpacity", "Opacity of the background colour", PrefControl::Number, 0, 255},
    {"Colors", "UseTransparentColorToCreateIconFromImage",
     "Make the top-left pixel's colour transparent in icons made from pictures", PrefControl::Check},
    {"Colors", "ApplyFilterToCreateIconFromImageValue",
     "Filter of formats made at another size (below 10 smooths, above sharpens, 10 none)", PrefControl::Number, 0, 20},
    {"Colors", "HighQualityResample",
     "Resample with the high-quality filter (sharper small sizes, symmetric pictures stay symmetric; no filter after)",
     PrefControl::Check},
    {"Folders", "ActualDir", "Folder the Open and Save dialogs start in", PrefControl::Folder},
};

}  // namespace

std::span<const char* const> PreferencePages() { return kPages; }
std::span<const PrefField> PreferenceFields() { return kFields; }

int* IntPreference(Preferences& prefs, std::string_view name) {
#define TELLURINE_INT(section, member, value) \
    if (name == #member) return &prefs.member;
#define TELLURINE_INT_AS(section, member, text, value) \
    if (name == text) return &prefs.member;
#define TELLURINE_NONE(section, member, value)
    TELLURINE_PREFERENCE_TABLE(TELLURINE_INT, TELLURINE_NONE, TELLURINE_INT_AS)
#undef TELLURINE_INT
#undef TELLURINE_INT_AS
    return nullptr;
}

std::string* StringPreference(Preferences& prefs, std::string_view name) {
#define TELLURINE_STRING(section, member, value) \
    if (name == #member) return &prefs.member;
#define TELLURINE_NONE_AS(section, member, text, value)
    TELLURINE_PREFERENCE_TABLE(TELLURINE_NONE, TELLURINE_STRING, TELLURINE_NONE_AS)
#undef TELLURINE_STRING
#undef TELLURINE_NONE_AS
#undef TELLURINE_NONE
    return nullptr;
}

}  // namespace tellurine::shell
