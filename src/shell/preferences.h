// The user's preferences: one variable per profile value, read once at start-up and written back
// at exit. Every other part of the program consults these variables; the core takes what it needs
// as parameters.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "imaging/resample.h"
#include "shell/new_formats.h"
#include "shell/preference_table.h"
#include "shell/profile.h"

namespace tellurine::shell {

// Entries of the colour dialog's custom colours, the user palette and the news list.
inline constexpr std::size_t kCustomColorCount = 16;
inline constexpr std::size_t kPaletteColorCount = 32;
inline constexpr std::size_t kNewsCount = 10;

struct Preferences {
#define TELLURINE_PREF_INT_MEMBER(section, name, value) int name = value;
#define TELLURINE_PREF_STRING_MEMBER(section, name, value) std::string name = value;
#define TELLURINE_PREF_INT_AS_MEMBER(section, member, name, value) int member = value;
    TELLURINE_PREFERENCE_TABLE(TELLURINE_PREF_INT_MEMBER, TELLURINE_PREF_STRING_MEMBER, TELLURINE_PREF_INT_AS_MEMBER)
#undef TELLURINE_PREF_INT_MEMBER
#undef TELLURINE_PREF_STRING_MEMBER
#undef TELLURINE_PREF_INT_AS_MEMBER

    // Indexed groups, stored one value per entry ("CreateFormatFromImage00", ...): which formats
    // of the Windows and Macintosh new-format lists are chosen when an icon is made (from an
    // image, or new), and when an icon moves between the two systems.
    std::array<int, kWindowsNewFormatCount> CreateFormatFromImage = DefaultFormatChoice<kWindowsNewFormatCount>(false);
    std::array<int, kMacNewFormatCount> CreateFormatFromImageMac = DefaultFormatChoice<kMacNewFormatCount>(true);
    std::array<int, kMacNewFormatCount> WinToMacSelectedFormat = DefaultFormatChoice<kMacNewFormatCount>(true);
    std::array<int, kWindowsNewFormatCount> MacToWinSelectedFormat = DefaultFormatChoice<kWindowsNewFormatCount>(false);
    // Colours as the decimal text of their 0x00BBGGRR value; empty means the default colour.
    std::array<std::string, kCustomColorCount> CustColor;
    std::array<std::string, kPaletteColorCount> PalColor;
    std::array<std::string, kNewsCount> News;
};

// How the user wants pictures resampled to another size (HighQualityResample).
inline ResampleQuality ResampleQualityOf(const Preferences& prefs) {
    return prefs.HighQualityResample != 0 ? ResampleQuality::High : ResampleQuality::Standard;
}

// A colour kept as the decimal text of its 0x00BBGGRR value; `fallback` for an empty text (or
// one that is no number).
std::uint32_t ProfileColour(const std::string& text, std::uint32_t fallback);
std::string ProfileColourText(std::uint32_t colour);

// The colour dialog's lists (RecentColors, SavedSwatches): the colours last chosen in it and the
// swatches the user saved, most recent first, each colour once.
inline constexpr std::size_t kRecentColourCount = 12;
inline constexpr std::size_t kSavedSwatchCount = 24;
// A list kept as the decimal texts of 0x00BBGGRR values separated by commas: its first `limit`
// colours, skipping entries that are no such value (empty, signed, not a number, above 0xFFFFFF)
// and repeats.
std::vector<std::uint32_t> ProfileColourList(const std::string& text, std::size_t limit);
std::string ProfileColourListText(const std::vector<std::uint32_t>& colours);
// Puts `colour` first, taking it out from where it was, and keeps the first `limit` colours.
void PutColourFirst(std::vector<std::uint32_t>& colours, std::uint32_t colour, std::size_t limit);

// Reads every value in table order, each with its default when the profile lacks it. No range
// checks: a variable takes whatever the profile holds.
void LoadPreferences(const Profile& profile, Preferences& prefs);
// Writes every variable back under the same section and name.
void SavePreferences(Profile& profile, const Preferences& prefs);

// The value names of every preference with their sections, in table order (the indexed groups
// last, entry by entry): what LoadPreferences reads and SavePreferences writes.
struct PreferenceName {
    std::string section;
    std::string name;
};
std::vector<PreferenceName> AllPreferenceNames();

}  // namespace tellurine::shell
