// What the icon commands (info, extract, convert) share: reading an icon file with the one error
// message, and finding the PNG streams an icon file stores so they can be written unchanged.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/ico_file.h"

namespace tellurine::cli {

// Reads the icon or cursor file at `path` into `doc`. On failure
// returns false and prints "tellurine-cli: PATH: Error while reading the specified icon file. …",
// or, when `message` is given, stores that line there (without the program name) instead.
bool ReadIconInput(const std::string& path, CIconDoc& doc, IconFileType& type, std::string* message = nullptr);

}  // namespace tellurine::cli
