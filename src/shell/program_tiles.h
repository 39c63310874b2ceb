// The icon groups of a Windows program or library as tiles, read on a worker.
//
// The worker reads the bytes and lists the icon groups with their images' formats, told from the
// images' headers as the command-line tool lists them (groups none of whose images can be read
// are left out, as it leaves them out); then for each group it reads the one image its tile shows
// (the format chosen for display, already scaled for the screen), handing the tiles over in group
// order as they are ready. The images themselves are not kept: a command on a group reads them
// again from the listed bytes.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "formats/pe_resources.h"
#include "icon/icon_doc.h"
#include "icon/icon_group.h"
#include "image/block.h"

namespace tellurine::shell {

// The largest side of a tile's picture, in device-independent pixels.
inline constexpr int kProgramTileSide = 96;

// What the reader remembers of the display preferences when it starts.
struct ProgramDisplayChoice {
    int sizeIndex = 3;    // ExeDisplaySize: 16, 32, 48, 256 or the screen-scaled 48
    int depthIndex = 3;   // ExeDisplayColor: 2, 16, 256 colours or true colour with alpha
    double ratio = 1.0;   // the screen's device pixel ratio
};

// One icon group as its tile shows it.
struct ProgramTile {
    std::size_t group = 0;  // the group's place in the listing
    std::string name;       // its name, or its number in decimal
    bool cursor = false;    // a cursor group
    int formatCount = 0;    // the images that could be read
    int shownWidth = 0;     // the size of the format shown
    int shownHeight = 0;
    // The shown format as a 32-bit packed bitmap, scaled down to fit kProgramTileSide times the
    // ratio when it is larger (see ThumbnailSize; a smaller one keeps its own size). Empty when
    // it could not be read or memory ran out for it.
    Block picture;
    int pictureWidth = 0;  // the size it is shown at, in device pixels
    int pictureHeight = 0;
};

// The listed groups, with the bytes their images point into.
struct ProgramListing {
    std::vector<std::uint8_t> bytes;
    std::vector<ExeIconGroupListing> groups;  // only groups with a readable image

    // A group's images as the reader of programs reads them, each with its own header (a PNG
    // stream at its full depth), in stored order, named by the group's name. Empty for a group
    // out of range; throws std::bad_alloc when memory runs out.
    // A cursor's images have their hotspots as their points.
    [[nodiscard]] CIconGroup ReadGroup(std::size_t group) const;
    // The same as a project's document: named as the group, a cursor for a cursor group.
    [[nodiscard]] CIconDoc ReadDocument(std::size_t group) const;
};

enum class ProgramReadEnd { Done, NotReadable, OutOfMemory, Cancelled };

// Reads the program at `path` on the calling thread: `listed` gets the listing first, then
// `tiles` gets the tiles in group order, a few at a time (a few groups per round on up to four
// threads, handed over at most every 50 ms after the first), so that a large library is laid out
// a few times rather than once per group. Looks at `cancel` between groups.
ProgramReadEnd ReadProgramTiles(const std::string& path, const ProgramDisplayChoice& choice,
                                const std::atomic<bool>& cancel,
                                const std::function<void(std::shared_ptr<const ProgramListing>)>& listed,
                                const std::function<void(std::vector<ProgramTile>)>& tiles);

// The line under a tile's name ("1 format", "7 formats", "cursor, 6 formats") and its tool tip.
std::string ProgramTileInfo(int formatCount, bool cursor = false);
std::string ProgramTileToolTip(const std::string& name, int formatCount, int shownWidth, int shownHeight);

// The one rule that names the files made from a program's groups, in the program window and in
// tellurine-cli: the program's file name without its extension, "-", "cursor-" for a cursor
// group, and the group's name with every character other than a letter, a digit, '.', '_' and
// '-' made '_' (an empty, "." or ".." name gets a leading '_'); nothing that a file system, Windows'
// included, refuses in a name.
std::string ProgramGroupFileStem(const std::string& programPath, const std::string& group, bool cursor);
// One format of an icon taken out as a PNG file, in tellurine-cli extract and the program window:
// "<stem>-<index>-<W>x<H>-<bpp>.png".
std::string FormatPngFileName(const std::string& stem, std::size_t index, int width, int height, int bpp);
// That stem and ".ico", or ".cur" for a cursor group.
std::string ProgramIcoFileName(const std::string& programPath, const ResourceName& group, bool cursor = false);

// The names made unique for one folder, compared without case as some file systems compare
// them: a name met before gets " (2)", " (3)", ... before its extension.
std::vector<std::string> UniqueFileNames(const std::vector<std::string>& names);

}  // namespace tellurine::shell
