#include "shell/preferences.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <type_traits>

namespace tellurine::shell {

namespace {

// "Stem07": the stem with the entry number in two digits (one digit for the news list).
std::string IndexedName(const char* stem, std::size_t index, bool twoDigits = true) {
    char number[16];
    std::snprintf(number, sizeof number, twoDigits ? "%02zu" : "%zu", index);
    return std::string(stem) + number;
}

template <std::size_t N>
void LoadGroup(const Profile& profile, const char* section, const char* stem, std::array<int, N>& values) {
    for (std::size_t i = 0; i < N; ++i) values[i] = profile.GetInt(section, IndexedName(stem, i), values[i]);
}

template <std::size_t N>
void LoadGroup(const Profile& profile, const char* section, const char* stem, std::array<std::string, N>& values,
               bool twoDigits = true) {
    for (std::size_t i = 0; i < N; ++i) values[i] = profile.GetString(section, IndexedName(stem, i, twoDigits), values[i]);
}

template <std::size_t N>
void SaveGroup(Profile& profile, const char* section, const char* stem, const std::array<int, N>& values) {
    for (std::size_t i = 0; i < N; ++i) profile.WriteInt(section, IndexedName(stem, i), values[i]);
}

template <std::size_t N>
void SaveGroup(Profile& profile, const char* section, const char* stem, const std::array<std::string, N>& values,
               bool twoDigits = true) {
    for (std::size_t i = 0; i < N; ++i) profile.WriteString(section, IndexedName(stem, i, twoDigits), values[i]);
}

// The groups, each with its section and stem, in the order they are read and written.
template <typename PrefsT, typename Fn>
void ForEachGroup(PrefsT& prefs, Fn&& fn) {
    fn("prefs", "CreateFormatFromImage", prefs.CreateFormatFromImage, true);
    fn("prefs", "CreateFormatFromImageMac", prefs.CreateFormatFromImageMac, true);
    fn("prefs", "WinToMacSelectedFormat", prefs.WinToMacSelectedFormat, true);
    fn("prefs", "MacToWinSelectedFormat", prefs.MacToWinSelectedFormat, true);
    fn("colors", "CustColor", prefs.CustColor, true);
    fn("colors", "PalColor", prefs.PalColor, true);
    fn("specs", "News", prefs.News, false);
}

}  // namespace

std::uint32_t ProfileColour(const std::string& text, std::uint32_t fallback) {
    const std::size_t start = text.find_first_not_of(" \t");
    if (start == std::string::npos || !std::isdigit(static_cast<unsigned char>(text[start]))) return fallback;
    return static_cast<std::uint32_t>(std::strtoul(text.c_str() + start, nullptr, 10));
}

std::string ProfileColourText(std::uint32_t colour) { return std::to_string(colour); }

std::vector<std::uint32_t> ProfileColourList(const std::string& text, std::size_t limit) {
    std::vector<std::uint32_t> colours;
    std::size_t start = 0;
    while (start <= text.size() && colours.size() < limit) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        std::string_view entry(text.data() + start, comma - start);
        start = comma + 1;
        while (!entry.empty() && entry.front() == ' ') entry.remove_prefix(1);
        while (!entry.empty() && entry.back() == ' ') entry.remove_suffix(1);
        std::uint32_t colour = 0;
        const auto [end, error] = std::from_chars(entry.data(), entry.data() + entry.size(), colour);
        if (entry.empty() || error != std::errc{} || end != entry.data() + entry.size() || colour > 0xFFFFFF ||
            std::find(colours.begin(), colours.end(), colour) != colours.end())
            continue;
        colours.push_back(colour);
    }
    return colours;
}

std::string ProfileColourListText(const std::vector<std::uint32_t>& colours) {
    std::string text;
    for (const std::uint32_t colour : colours) {
        if (!text.empty()) text += ',';
        text += ProfileColourText(colour);
    }
    return text;
}

void PutColourFirst(std::vector<std::uint32_t>& colours, std::uint32_t colour, std::size_t limit) {
    std::erase(colours, colour);
    colours.insert(colours.begin(), colour);
    if (colours.size() > limit) colours.resize(limit);
}

void LoadPreferences(const Profile& profile, Preferences& prefs) {
    prefs = Preferences{};  // the indexed groups are read over their defaults
#define TELLURINE_LOAD_INT(section, name, value) prefs.name = profile.GetInt(section, #name, value);
#define TELLURINE_LOAD_STRING(section, name, value) prefs.name = profile.GetString(section, #name, value);
#define TELLURINE_LOAD_INT_AS(section, member, name, value) prefs.member = profile.GetInt(section, name, value);
    TELLURINE_PREFERENCE_TABLE(TELLURINE_LOAD_INT, TELLURINE_LOAD_STRING, TELLURINE_LOAD_INT_AS)
#undef TELLURINE_LOAD_INT
#undef TELLURINE_LOAD_STRING
#undef TELLURINE_LOAD_INT_AS
    // The initial icon system is read a second time, after the table, and this reading wins.
    prefs.ChooseInitialIconSystem = profile.GetInt("prefs", "ChooseInitialIconSystem", 1);

    ForEachGroup(prefs, [&](const char* section, const char* stem, auto& values, bool twoDigits) {
        if constexpr (std::is_same_v<typename std::decay_t<decltype(values)>::value_type, int>)
            LoadGroup(profile, section, stem, values);
        else
            LoadGroup(profile, section, stem, values, twoDigits);
    });
}

void SavePreferences(Profile& profile, const Preferences& prefs) {
#define TELLURINE_SAVE_INT(section, name, value) profile.WriteInt(section, #name, prefs.name);
#define TELLURINE_SAVE_STRING(section, name, value) profile.WriteString(section, #name, prefs.name);
#define TELLURINE_SAVE_INT_AS(section, member, name, value) profile.WriteInt(section, name, prefs.member);
    TELLURINE_PREFERENCE_TABLE(TELLURINE_SAVE_INT, TELLURINE_SAVE_STRING, TELLURINE_SAVE_INT_AS)
#undef TELLURINE_SAVE_INT
#undef TELLURINE_SAVE_STRING
#undef TELLURINE_SAVE_INT_AS
    ForEachGroup(prefs, [&](const char* section, const char* stem, const auto& values, bool twoDigits) {
        if constexpr (std::is_same_v<typename std::decay_t<decltype(values)>::value_type, int>)
            SaveGroup(profile, section, stem, values);
        else
            SaveGroup(profile, section, stem, values, twoDigits);
    });
}

std::vector<PreferenceName> AllPreferenceNames() {
    std::vector<PreferenceName> names;
#define TELLURINE_NAME(section, name, value) names.push_back({section, #name});
#define TELLURINE_NAME_AS(section, member, name, value) names.push_back({section, name});
    TELLURINE_PREFERENCE_TABLE(TELLURINE_NAME, TELLURINE_NAME, TELLURINE_NAME_AS)
#undef TELLURINE_NAME
#undef TELLURINE_NAME_AS
    Preferences prefs;
    ForEachGroup(prefs, [&](const char* section, const char* stem, const auto& values, bool twoDigits) {
        for (std::size_t i = 0; i < values.size(); ++i) names.push_back({section, IndexedName(stem, i, twoDigits)});
    });
    return names;
}

}  // namespace tellurine::shell
