// The application's fixed facts and small pure rules: folders, the display palette, the private
// clipboard formats, the start-up switches and the names shown in recent-file menus.
#pragma once

#include <array>
#include <initializer_list>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "image/palette.h"

namespace tellurine::shell {

// The organisation and program names the profile and the user-data folder are kept under.
inline constexpr const char* kOrganization = "Korvane";
inline constexpr const char* kApplicationName = "Tellurine";
// The main window's object name (the window class the program registers).
inline constexpr const char* kMainWindowClass = "KVTellurineClass";

// The private clipboard formats, registered by name in this order.
inline constexpr std::array<const char*, 5> kClipboardFormatNames = {
    "Korvane MB40 File List", "Korvane IconEdit Data", "Korvane DIB32 Data", "Korvane PAL Data",
    "Korvane IconFormat Data"};

// A text of texts.h with its place markers %1, %2 ... taken by `args` in order, as QString::arg
// fills them; a marker without an argument stays as it is.
std::string FillText(std::string_view text, std::initializer_list<std::string> args);

// The program folder: the program's path cut after its last separator ('/' or '\'), the
// separator kept; at most 260 characters.
std::string ProgramFolder(const std::string& programPath);
// The user-data folder: the roaming application-data folder, a separator when it does not already
// end with one, then "Korvane/Tellurine/" with the separator the folder itself uses.
std::string UserDataFolder(const std::string& appDataFolder);

// The application's 256-entry display palette: entry i has red ((i & 192) * 255 + 96) / 192,
// green ((i & 56) * 1020 + 112) / 224 and blue ((i & 6) * 8160 + 96) / 192, flags 0.
Palette ApplicationPalette();

// What the raw command line asks for besides files.
struct StartSwitches {
    bool deletePatch = false;      // "/delpatch:" seen
    std::string patchPath;         // the file to delete near the end of start-up
    bool librarian = false;        // "/librarian:" seen (and no "/delpatch:")
    std::string librarianArgument;
};
// "/delpatch:" wins: the text after its 10 characters is the path of a file to delete, and
// "/librarian:" is then not looked at; otherwise the text after "/librarian:" (11 characters) is
// the librarian's start argument. The text runs to the end of the command line; one pair of
// quotes around it is taken off.
StartSwitches ParseStartSwitches(std::string_view rawCommandLine);

// The files a command line names: every argument that is not a switch ("-..." or "/name" and
// "/name:..." with a name of letters alone), in order, up to "/delpatch:" or "/librarian:", whose
// text runs to the end of the command line. `arguments` excludes the program.
std::vector<std::string> CommandLineFiles(const std::vector<std::string>& arguments);
// The raw command line rebuilt from arguments, as Windows hands it over: joined by spaces, an
// argument with a blank in quotes.
std::string RawCommandLine(const std::vector<std::string>& arguments);

// A path as a recent-file menu shows it, at most `maxLength` characters: the whole path when it
// fits, else its first folder, "..." and the file name, else the file name alone, cut with "..."
// when even that is too long.
std::string AbbreviatePath(const std::string& path, std::size_t maxLength = 30);

}  // namespace tellurine::shell

namespace tellurine::shell {

// The colour schemes the preferences dialog offers for the transparency backdrop
// (TransparencyColorSheme), each filling TransparentColor1 and TransparentColor2; scheme 0 keeps
// the colours the user chose.
struct TransparencyScheme {
    const char* name;
    std::uint32_t color1;  // 0x00BBGGRR
    std::uint32_t color2;
};
std::span<const TransparencyScheme> TransparencySchemes();

}  // namespace tellurine::shell

namespace tellurine::shell {

// Where a new document window goes in the workspace: at the corner for the first, then one
// `step` below and right of the last one opened, back at the corner when it would leave the area.
struct WindowPlace {
    int x = 0;
    int y = 0;
    friend bool operator==(const WindowPlace&, const WindowPlace&) = default;
};
WindowPlace CascadedPlace(const WindowPlace* last, int step, int width, int height, int areaWidth, int areaHeight);

// Where a picture goes in a square of `side` pixels: a larger one scaled down to fit, keeping its
// shape (never below 1 x 1); a smaller one at the largest whole multiple, up to the screen's
// `ratio`, that fits, so that its pixels stay square. Zero for an empty picture or square.
struct PictureSize {
    int width = 0;
    int height = 0;
};
PictureSize ThumbnailSize(int width, int height, int side, double ratio = 1);

}  // namespace tellurine::shell
