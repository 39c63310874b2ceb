// Icon sets: every file that the platforms an application ships on want for its icon, made in
// one step from one picture, drawing or icon project.
//
// The plan is a table: for each platform, the files (a path relative to the output folder), their
// size in pixels and what each holds: a PNG picture, an .ico or .icns of several pictures, a text
// file (Android's resources, iOS's Contents.json, the web manifest) or a copy of the drawing. A PNG
// file is a square picture of a given side centred on a canvas of the file's size, over a clear or
// a solid ground, optionally masked to a circle; most are the picture alone.
//
// The pictures come from the source by its kind:
//  - an icon project: a size the project has a format of (that width and height exactly; the 32-bit
//    format, else the deepest) is that format's pixels as they are, and in an .ico that format
//    itself at its depth: the hand-tuned sizes are kept. A missing size is scaled from the smallest
//    format larger than it, else from the largest;
//  - a drawing: each size is rendered from the vector;
//  - a picture: each size is scaled from it (one preparation for every size).
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/svg_file.h"
#include "icon/icon_doc.h"
#include "image/block.h"
#include "imaging/resample.h"

namespace tellurine {

enum class IconSetPlatform { Windows, Macos, Linux, Msix, Android, Ios, Web };
inline constexpr std::array kIconSetPlatforms{
    IconSetPlatform::Windows, IconSetPlatform::Macos, IconSetPlatform::Linux, IconSetPlatform::Msix,
    IconSetPlatform::Android, IconSetPlatform::Ios,   IconSetPlatform::Web};

// "windows", "macos", "linux", "msix", "android", "ios", "web"; the folder of its files too.
const char* IconSetPlatformName(IconSetPlatform platform);
// The platform of that name (compared without case); nothing for another word.
std::optional<IconSetPlatform> FindIconSetPlatform(std::string_view name);

struct IconSetColour {
    std::uint8_t red = 255, green = 255, blue = 255;
    auto operator<=>(const IconSetColour&) const = default;
};
// "#RGB", "#RRGGBB" (the '#' may be left out), "white" or "black", in any case; nothing otherwise.
std::optional<IconSetColour> ParseIconSetColour(std::string_view text);
// "#RRGGBB", in capitals.
std::string IconSetColourText(IconSetColour colour);

enum class IconSetFileKind { Png, Ico, Icns, Text, DrawingCopy };

struct IconSetFile {
    IconSetPlatform platform = IconSetPlatform::Windows;
    std::string path;  // relative to the output folder, '/' between folders
    IconSetFileKind kind = IconSetFileKind::Png;
    // The canvas of a PNG file; the largest picture of an .ico or .icns; 0 x 0 for the others.
    int width = 0, height = 0;
    int picture = 0;                      // a PNG file's square picture, centred on the canvas
    std::optional<IconSetColour> ground;  // the picture flattened onto this colour: no alpha left
    bool circle = false;                  // the result masked to the circle the canvas holds
    std::vector<int> sizes;               // the pictures of an .ico or .icns, in the order they are written
    std::string text;                     // a text file's contents
};

struct IconSetRequest {
    std::vector<IconSetPlatform> platforms;  // in the order the files are planned
    std::string name = "icon";               // the application's name (the web manifest's)
    IconSetColour background;                // under opaque and maskable icons, Android's background
    bool drawing = false;                    // the source is a drawing: its copy is part of the set
};

// The name files are called by where a platform wants the application's name: the name made safe
// for a file name (see SafeFileNamePart).
std::string IconSetFileStem(const std::string& name);

// Every file of the set, platform by platform in the request's order.
std::vector<IconSetFile> PlanIconSet(const IconSetRequest& request);

// Where the pictures of a set come from.
class IconSetSource {
public:
    IconSetSource();
    ~IconSetSource();
    IconSetSource(IconSetSource&&) noexcept;
    IconSetSource& operator=(IconSetSource&&) noexcept;

    // A picture of any size (a 32-bit packed bitmap); one that is not square is centred on a clear
    // square of its larger side. False when the block is not a 32-bit bitmap.
    bool SetPicture(Block picture32);
    // A drawing, with the bytes it was read from (a plain, not compressed, drawing is copied into
    // the set as it is).
    void SetDrawing(std::unique_ptr<SvgDrawing> drawing, std::vector<std::uint8_t> bytes);
    // An icon project; false when it has no format.
    bool SetProject(CIconDoc doc);
    // How the sizes a picture or project lacks are scaled (the standard rule unless set).
    void SetResampleQuality(ResampleQuality quality);

    [[nodiscard]] bool IsDrawing() const;
    [[nodiscard]] bool IsProject() const;
    [[nodiscard]] const CIconDoc* Project() const;
    [[nodiscard]] std::span<const std::uint8_t> DrawingBytes() const;

private:
    friend class IconSetMaker;
    struct State;
    std::unique_ptr<State> state_;
};

// Reads a source: a drawing when the name or the first bytes say so (IsSvgFile), else any icon
// container LoadIconContainer reads (its first icon), else a picture (LoadPictureFile). False, with
// the reason in `error`, when none can be read.
bool LoadIconSetSource(const std::string& path, IconSetSource& source, std::string& error);

// The format of a project whose pixels stand for the side x side picture: the exact size (the
// 32-bit format, else the deepest), else the smallest format larger on both sides (of equal ones
// the 32-bit, else the deepest), else the largest format (CIconDoc::LargestFormat). `exact` tells
// which. -1 for a project without formats.
int IconSetFormatFor(const CIconDoc& doc, int side, bool& exact);

// Makes the bytes of every file of the plan, then writes each file (folders made as needed) with
// an atomic replace: nothing is written when any file cannot be made, and files of the folder the
// plan does not name are left alone. `threads` share the pictures and files. False, with `error`
// set, when a file cannot be made or written (files written before it stay written).
bool WriteIconSet(const IconSetSource& source, std::span<const IconSetFile> plan, const std::string& folder,
                  unsigned threads, std::string& error);

// The pictures and bytes of the plan's files without writing them, for tests and for callers that
// place them elsewhere: one entry per file, in the plan's order. False, with `error` set, when any
// cannot be made.
bool MakeIconSetFiles(const IconSetSource& source, std::span<const IconSetFile> plan, unsigned threads,
                      std::vector<std::vector<std::uint8_t>>& files, std::string& error);

}  // namespace tellurine
