// What the icon commands (info, extract, convert) share: reading any icon container with the one
// error message, and the names under which a container's icons are listed.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "formats/icon_project.h"

namespace tellurine::cli {

// How the icon commands describe the files they take.
inline constexpr const char* kIconFilesHelp =
    "Icon (.ico), cursor (.cur), animated cursor (.ani), Macintosh icon (.icns), resource (.rsc), MacBinary (.bin), "
    "program or library (.exe, .dll, ...) files";

// Reads the icon container at `path` into `contents`. On failure returns false and prints
// "tellurine-cli: PATH: Error while reading the specified icon file. …" (or "PATH: Out of memory
// to perform operation."), or, when `message` is given, stores that line there (without the
// program name) instead.
bool ReadIconInput(const std::string& path, IconFileContents& contents, std::string* message = nullptr);
// The line ReadIconInput reports for `path` (without the program name).
std::string ReadFailureLine(const std::string& path, bool outOfMemory);

// An icon's name for JSON: its resource number as a number, otherwise its name as a string.
nlohmann::ordered_json IconNameJson(const NamedIcon& icon);

// An icon's name made safe for a file name: characters other than letters, digits, '.', '_' and
// '-' become '_'.
std::string IconNameForFile(const NamedIcon& icon);

// Prints, for each format a Macintosh family or an icon set leaves out of `output`, why:
// "COMMAND: OUTPUT: left out format I (WxH, B bpp): REASON".
void ReportLeftOutFormats(const std::string& command, const std::string& output, const CIconDoc& doc,
                          const std::vector<int>& leftOut);

// How a command writes the project it made.
struct ProjectOutput {
    bool explorerOrder = false;    // an .ico in the explorer-compatible order
    bool allowLoss = false;        // write even when the file cannot hold every format
    bool pngElements = false;      // new large family elements as PNG rather than JPEG 2000
    Durability durability = Durability::Flush;
};

// Writes the project to `output`, a file of the kind its extension names (.ico, .cur, .icns) or
// an icon set folder (.iconset). When the file cannot hold every format they are listed (see
// ReportLeftOutFormats) and, unless `allowLoss`, nothing is written and the command fails.
// Returns the command's exit code.
int WriteProjectOutput(const std::string& command, const std::string& output, const CIconDoc& doc,
                       const ProjectOutput& how);

// Adds the --allow-loss and --png-elements options of a command that writes a project.
void AddProjectOutputOptions(CLI::App* sub, ProjectOutput& how);

// --resample standard|hq: how pictures are resampled to another size.
void AddResampleOption(CLI::App* sub, ResampleQuality& quality);

// The line that tells that a file holds no icon or group of that name.
std::string NoSuchIconLine(const std::string& command, const std::string& path, const std::string& group);

// The icon of a file of several named icons called `group`, or the first when `group` is empty.
// Null, with a message printed, when no icon has that name.
NamedIcon* ChooseIcon(const std::string& command, const std::string& path, IconFileContents& contents,
                      const std::string& group);

}  // namespace tellurine::cli
