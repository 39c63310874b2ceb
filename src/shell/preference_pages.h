// The pages of the preferences dialog beyond the canvas page: the values a user changes, each
// found by its name in the preference table, with what shows it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "shell/preferences.h"

namespace tellurine::shell {

enum class PrefControl { Check, Number, Folder };

struct PrefField {
    const char* page;
    const char* name;   // the value's name in the profile
    const char* label;
    PrefControl control;
    int minimum = 0;  // for numbers
    int maximum = 1;
};

// The pages in the order shown, and their fields.
std::span<const char* const> PreferencePages();
std::span<const PrefField> PreferenceFields();

// The variable behind a value name; null when the name is not an integer (or not a string) value.
int* IntPreference(Preferences& prefs, std::string_view name);
std::string* StringPreference(Preferences& prefs, std::string_view name);

}  // namespace tellurine::shell
