// The icons inside Windows programs and libraries (PE files, 32- and 64-bit), read from the
// resource directory without loading or running anything of the file, on every platform.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/image_header.h"
#include "icon/icon_group.h"

namespace tellurine {

// A resource's name: an integer identifier or a string (UTF-16 in the file, UTF-8 here).
struct ResourceName {
    std::optional<std::uint16_t> id;  // set for an integer identifier
    std::string text;                 // the string otherwise
    // The form shown to people: the number in decimal, or the string.
    [[nodiscard]] std::string Display() const { return id ? std::to_string(*id) : text; }
};

// One resource record: a name and one language of it, with the bytes of its data.
struct ResourceRecord {
    ResourceName name;
    std::uint16_t language = 0;
    std::span<const std::uint8_t> data;  // within the file's bytes
};

// A cursor image's hotspot, as a cursor resource stores it before the image.
struct Hotspot {
    std::uint16_t x = 0, y = 0;
};

// One icon or cursor group of a program: its name and its images (a cursor's each with its
// hotspot as the image's point).
struct ExeIconGroup {
    ResourceName name;
    std::uint16_t language = 0;
    bool cursor = false;
    CIconGroup group;
};

// Largest program file read.
inline constexpr std::size_t kMaxExeFileBytes = std::size_t{256} * 1024 * 1024;

// Whether the file at `path` has the headers of a program or library the reader takes: no larger
// than kMaxExeFileBytes, "MZ", and where the DOS header points either the "PE\0\0" signature
// with a PE32 or PE32+ optional header that fits the file, or a 16-bit program's "NE" header
// (programs and .icl icon libraries). Only the headers are read.
bool LooksLikeProgramFile(const std::string& path);

// Limits that keep a hostile resource directory from costing unbounded time or memory (real
// files stay far below them): records listed for one type, directory entries examined while
// listing one type, and UTF-8 bytes of names copied into the records of one listing. A listing
// that reaches one of them stops there and keeps the records found so far.
inline constexpr std::size_t kMaxResourceRecords = 65536;
inline constexpr std::size_t kMaxResourceEntriesVisited = std::size_t{1} << 20;
inline constexpr std::size_t kMaxResourceNameBytes = std::size_t{16} * 1024 * 1024;

// Limits of one program's icons: images read (group entries may all name one icon), and bytes of
// image blocks, as the images' own headers declare them, checked before anything is decoded.
// Reading stops at either; the groups planned so far are kept.
inline constexpr std::size_t kMaxExeImageReads = 65536;
inline constexpr std::size_t kMaxExeDecodedBytes = std::size_t{256} * 1024 * 1024;

// The records of one numbered resource type (14: icon groups, 3: icons, 12: cursor groups,
// 1: cursors; a type named by a string never matches), in the order the platform enumerates them.
// A 16-bit (NE) file is read by ListNeResources; in a PE file: the type's names as they stand in the
// directory (named entries before numbered ones is how directories are stored; the file's order is
// kept, never re-sorted), and for each name one record per language in directory order.
//
// The file is read as it lies on disk: the resource directory's root is found through data
// directory entry 2 and the section table, and every data RVA is mapped through the first section
// whose memory range holds it; data must lie in that section's raw data. Only the first root
// entry of the type is followed. A language entry whose data entry lies outside the resource
// section, whose data does not map wholly to bytes of the file, or whose language is a string,
// and a name whose string runs off the section, are skipped. Directories are read three levels
// deep and no deeper, and a directory whose entry count runs past the section keeps the entries
// present.
//
// Nothing when the bytes are not a PE file (PE32 or PE32+), when the root directory is not in the
// file, or when the type's own directory is not. An empty list for a PE file without resources
// or without that type.
std::optional<std::vector<ResourceRecord>> ListResources(std::span<const std::uint8_t> bytes, std::uint16_t type);

// Every icon group of a program, in group-record order (ListResources(14)), then every cursor
// group likewise (ListResources(12), their images of type 1 found as icons are, each image read
// after the 4-byte hotspot that starts its data and given that hotspot as its point; `cursor`
// set), each holding its images in the order of its directory entries (duplicates kept, never
// re-sorted). An entry's icon
// is the type-3 record numbered as the entry says, in the group's language when there is one,
// else the first record of that number in enumeration order. Images are read with
// CKvIcon::ReadImage(data, data size, 0): a PNG image at its full depth (32 bits) whatever the
// group's bit count says, which programs often leave 0. Group data shorter than its count says
// gives the complete entries present. An entry whose icon is missing or unreadable is skipped;
// a group left without any image (count 0, data shorter than 6 bytes, every entry missing) is not
// listed. Each group's CIconGroup::name is its name's display form. An empty list for a file with
// icon resources but no group; nothing when either listing gives nothing (see ListResources).
std::optional<std::vector<ExeIconGroup>> ReadExeIcons(std::span<const std::uint8_t> bytes);

// One icon group of a program as stored: its name and language, and the bytes of the images
// ReadExeIcons would read for it, in the same order, none of them read yet.
struct StoredExeIconGroup {
    ResourceName name;
    std::uint16_t language = 0;
    bool cursor = false;
    std::vector<std::span<const std::uint8_t>> images;  // within the file's bytes (a cursor's after its hotspot)
    std::vector<Hotspot> hotspots;                       // one per image; zero for icons
};

// What ReadExeIcons reads, without reading any image: every icon group in group-record order,
// found and limited as ReadExeIcons finds and limits them, with its images' bytes. Groups whose
// images cannot be read are listed too (a group without any entry found is listed empty). An
// empty list for a file with icon resources but no group; nothing when ReadExeIcons gives nothing
// or memory runs out.
std::optional<std::vector<StoredExeIconGroup>> ListExeIconGroups(std::span<const std::uint8_t> bytes);

// One icon group of a program as listed: its name and language, and the images ReadExeIcons would
// read for it that it can read, each with the format it reads as, in the same order.
struct ExeIconGroupListing {
    ResourceName name;
    std::uint16_t language = 0;
    bool cursor = false;
    std::vector<std::span<const std::uint8_t>> images;  // within the file's bytes
    std::vector<StoredImageFormat> formats;             // one per image
    std::vector<Hotspot> hotspots;                      // one per image
};

// What ReadExeIcons gives, told from the images' headers (DescribeStoredImage) rather than by
// making their pixels: the same groups in the same order (those without any readable image left
// out), each image with the width, height, colour count, alpha and PNG flag ReadExeIcons's image
// has. Nothing when ReadExeIcons gives nothing or memory runs out.
std::optional<std::vector<ExeIconGroupListing>> DescribeExeIcons(std::span<const std::uint8_t> bytes);

// The executable document's model: the icon groups of one program file, for its view.
class CFileExeDoc {
public:
    // Reads the file (at most kMaxExeFileBytes) and its icons (see Read); false, with a reason in
    // `error`, when the file cannot be read or is not a readable program.
    bool Load(const std::string& path, std::string& error);
    // Replaces the groups by ReadExeIcons(bytes): false, with no groups, when that gives nothing;
    // true, possibly with no groups, otherwise.
    bool Read(std::span<const std::uint8_t> bytes);
    [[nodiscard]] const std::vector<ExeIconGroup>& Groups() const { return groups_; }
    std::vector<ExeIconGroup>& Groups() { return groups_; }

private:
    std::vector<ExeIconGroup> groups_;
};

}  // namespace tellurine
