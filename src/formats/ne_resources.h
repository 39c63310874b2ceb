// The resources of 16-bit Windows programs and icon libraries (.icl): the NE ("new executable")
// format's resource table, read without running anything of the file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/pe_resources.h"

namespace tellurine {

// Whether the bytes start with a DOS header ("MZ") whose e_lfanew points at an "NE" header
// that lies wholly in the file.
bool IsNeFile(std::span<const std::uint8_t> bytes);

// The records of one numbered resource type (3, 14, 1, 12 ...; stored in the table with its
// high bit set, 0x8003 for icons) in table order, which is the order Windows enumerates them in:
// the first type entry of that number only, then its resources as they follow. An NE file has
// no languages; every record's language is 0. A resource named by a string takes the string
// from the table's name area (bytes read as Latin-1); its data is the bytes at its offset
// shifted by the table's alignment shift, for its length likewise shifted, cut at the file's
// end. A resource whose data starts past the end, or whose name runs off the table, is skipped.
// Nothing when the bytes are not an NE file or its resource table does not lie in it; an empty
// list for a file without resources or without that type.
std::optional<std::vector<ResourceRecord>> ListNeResources(std::span<const std::uint8_t> bytes, std::uint16_t type);

// One icon or cursor group of a library to write: its name, and its images as an icon or cursor
// file holds them (WriteIconFile's bytes: the file's type says which of the two it is).
struct LibraryGroup {
    ResourceName name;
    std::vector<std::uint8_t> iconFile;
};

// An icon or cursor file's images as a program or library stores them: the group's data, its
// entries numbering the images from `firstId` in file order, and each image's resource (a
// cursor's led by its 4-byte hotspot, its entry holding the sizes and bit count a cursor group
// holds). Nothing when the file is not an icon or cursor file with at least one image, all of
// whose images lie in it, or the numbers would pass 65,535.
struct GroupResources {
    bool cursor = false;
    std::vector<std::uint8_t> group;
    std::vector<std::vector<std::uint8_t>> images;
};
std::optional<GroupResources> SplitIconFile(std::span<const std::uint8_t> file, std::uint16_t firstId);

// The inverse: a listed group as an icon file, or a cursor file for a cursor group, its images
// byte for byte in listed order, each entry told from the image's header (a cursor's holding its
// hotspot). Nothing for a group without images or with more than 65,535.
std::optional<std::vector<std::uint8_t>> GroupIconFile(const ExeIconGroupListing& group);

// A 16-bit icon library (.icl) holding the groups in the given order: a DOS header, an NE header
// for a library with no code or data segments, and a resource table with the icon groups
// (0x800E), then the icons (0x8003), then the cursor groups (0x800C) and cursors (0x8001) when
// there are any; images numbered from 1 in group order within each kind, each group's entries
// those of its file's directory (a cursor's hotspot moved into its image's resource, its bit
// count read from the image). Names that are strings are stored upper-case, as Windows looks
// them up. `moduleName` is the module's name in its resident names table (the file's stem, as
// libraries are named). Nothing when a group's file is not an icon or cursor file whose images
// all lie in it, or the library would not fit the format (an identifier of 0 or past 32,767,
// more images than that, a resource beyond what the alignment shift reaches).
std::optional<std::vector<std::uint8_t>> WriteIconLibrary(const std::vector<LibraryGroup>& groups,
                                                          const std::string& moduleName);

}  // namespace tellurine
