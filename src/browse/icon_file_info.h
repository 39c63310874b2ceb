// What the explorer and search know of a file holding icons: its kind by name, the size and depth
// of each of its formats, the one a tile shows, and the fingerprint of its look.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "image/block.h"

namespace tellurine {

enum class IconFileKind { Icon, Cursor, AnimatedCursor, Macintosh, Program, Library, Picture, Vector };
inline constexpr int kIconFileKindCount = 8;

// The kind a file's extension names, whatever its case: .ico; .cur; .ani; .icns, .rsrc, .rsc and
// .bin (Macintosh families); .exe, .dll, .ocx, .cpl, .scr (programs); .icl (icon libraries); the
// pictures the program reads; .svg and .svgz. Nothing for any other file.
std::optional<IconFileKind> IconFileKindOfPath(const std::string& path);
// "icon", "cursor", "animated-cursor", "macintosh", "program", "library", "picture", "vector".
const char* IconFileKindName(IconFileKind kind);
std::optional<IconFileKind> IconFileKindFromName(std::string_view name);

struct FormatSummary {
    int width = 0;
    int height = 0;
    int bits = 0;  // 32 for formats with alpha
    friend bool operator==(const FormatSummary&, const FormatSummary&) = default;
};

struct IconFileInfo {
    std::string path;
    IconFileKind kind = IconFileKind::Icon;
    std::uintmax_t bytes = 0;
    std::int64_t modified = 0;  // seconds since the epoch
    int icons = 0;              // the icons the file holds (a program's icon groups)
    // Every format of every icon, in file order; a picture is one format of its own size.
    std::vector<FormatSummary> formats;
    int best = -1;  // the format a tile shows: of the first icon, the largest, the deepest of that size
    // LikenessHash of the first icon's format nearest 32 pixels (see NearestFormat), when asked for.
    std::uint64_t likeness = 0;
    std::string error;  // why the file could not be read
    // When asked for, the picture a tile shows: the first icon's format nearest the tile's size,
    // shrunk to fit it where larger, as a 32-bit packed bitmap.
    Block tile;
};

// When a file was last written (seconds since the epoch) and how many bytes it has: what tells
// whether it changed since it was read.
struct FileStamp {
    std::int64_t modified = 0;
    std::uintmax_t bytes = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};
// False, with `failure` set, when the file cannot be looked at.
bool ReadFileStamp(const std::string& path, FileStamp& stamp, std::error_code& failure);

// Of formats, the one nearest `size` pixels: the smallest at least that wide, else the widest,
// the deepest at equal width. -1 when there are none.
int NearestFormat(const std::vector<FormatSummary>& formats, int size);

// Reads the file at `path` (a file of one of the kinds above), its likeness fingerprint too when
// `likeness`, and its tile's picture when `tileSize` is above 0. False, with `info.error` set,
// when it holds nothing the program can read.
bool ReadIconFileInfo(const std::string& path, IconFileInfo& info, bool likeness, int tileSize = 0);

}  // namespace tellurine
