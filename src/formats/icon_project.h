// Every icon container the program reads, behind one entry point, and the writer that a project
// is saved through (a Windows icon file, or a Macintosh icon family when the project's Macintosh
// flag is set).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/ani_file.h"
#include "formats/icns_file.h"
#include "icon/format_maker.h"
#include "icon/icon_doc.h"
#include "image/file_io.h"

namespace tellurine {

enum class IconContainer { Unknown, Ico, Cur, Icns, Resource, MacBinary, Ani, Pe, Iconset, Strip };

// The container's short name: "ico", "cur", "icns", "rsrc", "macbinary", "ani", "pe", "iconset",
// "strip" ("" when unknown).
const char* IconContainerName(IconContainer container);

// What a file holds: ".rsc"/".rsrc" name a resource file, ".bin" a MacBinary file and ".tbf" an
// image strip (a resource
// fork starts with bytes that read like an icon file's header); otherwise "icns" at 0 is a family,
// a header of type 1 or 2 an icon or cursor file, "RIFF" with the form "ACON" an animated cursor,
// "MZ" a program or library, ".icns" a file whose family is searched for, "mBIN" at offset 102 a
// MacBinary file, and a PNG with a strip's cell size a strip.
IconContainer ClassifyIconFile(const std::string& path, std::span<const std::uint8_t> bytes);

// One icon of a file, with the name its container gives it (resource and MacBinary files hold
// several; other containers one, unnamed).
struct NamedIcon {
    std::string name;
    std::optional<std::int32_t> number;  // set when the name is a resource number
    CIconDoc doc;
    // The elements of a Macintosh family that hold a picture but were left out (offsets from
    // the start of the file).
    std::vector<IcnsSkippedElement> skipped{};
};

struct IconFileContents {
    IconContainer container = IconContainer::Unknown;
    // An animated cursor gives one icon whose formats are its distinct frames; a program one icon
    // per icon group, named by the group's name or number.
    std::vector<NamedIcon> icons;
    // The animation steps of an animated cursor, in step order.
    std::vector<CAniObject> steps;
    // True for containers whose icons are listed by name (resource, MacBinary and program files).
    [[nodiscard]] bool Named() const {
        return container == IconContainer::Resource || container == IconContainer::MacBinary ||
               container == IconContainer::Pe;
    }
};

// Largest resource or MacBinary file that is scanned (256 MiB).
inline constexpr std::size_t kMaxMacFileBytes = std::size_t{256} * 1024 * 1024;

// Reads any icon container from its bytes. False, with `contents` empty, when the file holds no
// icon the program can read (a program without icon groups included).
// `outOfMemory` (when given) tells a failure for lack of memory from a file that cannot be read.
bool ReadIconContainer(const std::string& path, std::span<const std::uint8_t> bytes, IconFileContents& contents,
                       bool* outOfMemory = nullptr);
// The text and title the programs show when memory runs out while reading.
inline constexpr const char* kOutOfMemoryText = "Out of memory to perform operation.";
inline constexpr const char* kOutOfMemoryTitle = "Fatal error";
// The same from the file at `path` (or the icon set folder, see IsIconsetPath); `error` says why it could not be read from disk, or is
// kOutOfMemoryText when memory ran out. `fileUnreadable`, when given, is set when the file itself
// could not be read (missing, not permitted, a folder, too large), as opposed to holding no icon
// that can be read.
bool LoadIconContainer(const std::string& path, IconFileContents& contents, std::string& error,
                       bool* fileUnreadable = nullptr);

// Writes a project in its own file format (see above) as the bytes of a file. `leftOut` receives
// the indices of formats a Macintosh family has no element for. False, with `out` empty, when
// nothing could be written.
bool WriteIconProject(const CIconDoc& doc, bool explorerCompatibleOrder, std::vector<std::uint8_t>& out,
                      std::vector<int>* leftOut = nullptr, const IcnsWriteOptions& mac = {});
// The same as a file of the kind `as` (Ico, Cur or Icns), whatever the document's own flags say:
// a save under another name writes the new kind without touching the document first.
bool WriteIconProjectAs(const CIconDoc& doc, IconContainer as, bool explorerCompatibleOrder,
                        std::vector<std::uint8_t>& out, std::vector<int>* leftOut = nullptr,
                        const IcnsWriteOptions& mac = {});
// The formats of the document that the file `bytes` does not read back at their size and depth,
// pixel for pixel (colours, mask and alpha; a 24-bit format may come back as 32 bits with the same
// pixels, as a family's true-colour elements do), in the document's order; every format when the
// file cannot be read. What a save would change, to be asked about before it is written.
std::vector<int> FormatsNotHeld(const CIconDoc& doc, std::span<const std::uint8_t> bytes);
// True when the file holds every format (see FormatsNotHeld): a save that holds less must not
// mark the document as saved.
bool FileHoldsDocument(const CIconDoc& doc, std::span<const std::uint8_t> bytes);
// The kind of file a save to `path` writes: an icon set folder for ".iconset", a family for
// ".icns", a cursor for ".cur", an image strip for ".tbf", an icon otherwise.
IconContainer SaveKindOf(const std::string& path);

// A save worked out before anything is written, so that what the file cannot hold can be asked
// about first.
struct IconSavePlan {
    IconContainer kind = IconContainer::Ico;
    std::vector<std::uint8_t> bytes;  // the file; empty for an icon set, written from the project
    std::vector<int> leftOut;         // formats the file has no place for
    std::vector<int> changed;         // formats a family would hold otherwise (its palettes, a shared mask)
    // True when reopening the file gives the project back: nothing left out or changed, and for an
    // icon set or a strip (whose pictures are all 32-bit PNG) every format at 32 bits.
    [[nodiscard]] bool Whole(const CIconDoc& doc) const;
};
// Works out saving the project as a file of kind `as` (Ico, Cur, Icns, Iconset or Strip: formats
// of another size than the first are left out of a strip); `changed` is
// found only when `findChanges` (it reads the family back). False when nothing can be written:
// no format has a place in the file, or an encoding failed.
bool PlanIconSave(const CIconDoc& doc, IconContainer as, bool explorerCompatibleOrder, const IcnsWriteOptions& mac,
                  bool findChanges, IconSavePlan& plan);
// Writes a planned save to `path`: the file beside it and renamed over it, or the icon set folder
// made whole beside it and put in its place. False, with `error` set, when that fails.
bool WritePlannedSave(const std::string& path, const CIconDoc& doc, const IconSavePlan& plan, Durability durability,
                      std::string& error);

// The same to a file, written beside the target and renamed over it only when complete.
bool SaveIconProject(const std::string& path, const CIconDoc& doc, bool explorerCompatibleOrder, std::string& error,
                     Durability durability = Durability::Flush, std::vector<int>* leftOut = nullptr,
                     const IcnsWriteOptions& mac = {});

// Where making an icon file from a picture stopped.
enum class MakeIconFileStep { Done, Read, Make, Write, LeftOut };
// Reads a picture (LoadPictureFile), makes the project `request` asks for into `doc`, named after
// the picture (a layered document, ".psd", ".psb" or ".ora", through MakeIconProjectFromLayers),
// and saves it to `output` without waiting for the disk (the picture stays on disk): what tellurine-cli
// create and the program's batch do for each picture. `leftOut` receives the formats a Macintosh
// family has no element for; unless `allowLoss`, a family that would leave formats out is not
// written (LeftOut). `error` says why a step failed.
MakeIconFileStep MakeIconFile(const std::string& image, const IconProjectRequest& request, const std::string& output,
                              CIconDoc& doc, std::vector<int>& leftOut, std::string& error, bool allowLoss = true,
                              const IcnsWriteOptions& mac = {});
// The files the icons of several pictures go to in one folder: <folder>/<picture's stem><extension>,
// a stem met again numbered "-2", "-3", ... ("icon" for a picture without a stem).
std::vector<std::string> IconFileNames(const std::vector<std::string>& images, const std::string& folder,
                                       const std::string& extension);

}  // namespace tellurine
