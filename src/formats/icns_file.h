// Macintosh icon families: ".icns" files, and the families inside Macintosh resource files and
// MacBinary files. A family becomes one icon group whose formats are its images; an icon project
// is written as one family.
//
// Family layout (integers big-endian): "icns" (or "odrp"), the total length including this
// 8-byte header, then elements: a 4-character type, a length including the element's 8-byte
// header, and the data.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "icon/icon_doc.h"
#include "icon/icon_group.h"

namespace tellurine {

// Largest family and largest element that are read.
inline constexpr std::uint32_t kMaxIcnsLength = 4194304;
// The most elements walked in one family (real ones hold a few dozen), and the most families
// read from one resource or MacBinary file.
inline constexpr int kMaxIcnsElements = 16384;
inline constexpr std::size_t kMaxMacFamilies = 1024;
// Largest picture a PNG or JPEG 2000 element may decode to, and the most pixel bytes one family,
// or all the families of one resource or MacBinary file, may decode to in all.
inline constexpr std::int64_t kMaxIcnsStreamPixels = std::int64_t{4096} * 4096;
inline constexpr std::size_t kMaxIcnsDecodedBytes = std::size_t{128} * 1024 * 1024;

// Where the family of a ".icns" file starts: at 0 when the file starts with "icns"; otherwise at
// the first "icns" found scanning forward one byte at a time, from 128 when the file starts with
// four zero bytes (a MacBinary header), else from 0. Nothing when there is none.
std::optional<std::size_t> LocateIcnsFamily(std::span<const std::uint8_t> file);

// Every family start in a resource or MacBinary file, in file order. When the 4 bytes at offset
// 102 are "mBIN" (MacBinary III) the data starts at 128. The data is scanned in blocks of
// 524,288 bytes for "icns" and "odrp"; an occurrence that straddles two blocks is not found, and
// only positions below the data length minus 3,072 count. Offsets are from the start of `file`.
std::vector<std::size_t> FindIcnsFamilies(std::span<const std::uint8_t> file);

// The number of colour images a family holds, counting elements the way the reader walks them
// (masks are not counted).
int CountIcnsImages(std::span<const std::uint8_t> family);

// Reads the family that starts at the first byte of `family` and appends one image per colour
// element that has its mask (classic elements) or decodes (PNG, JPEG 2000 and ARGB elements).
// Damaged elements are dropped one by one. True when at least one image was made; the group is
// unchanged otherwise.
bool ReadIcnsFamily(std::span<const std::uint8_t> family, CIconGroup& group);

// Writes the project's formats as one family. A format is written when a classic element has its
// width, height and depth (32 bits count as 24): 1, 4 and 8 bits with a 1-bit mask element, 24
// and 32 bits as packed planes with an 8-bit mask element up to 128 pixels, as JPEG 2000 from 129
// to 512 and as PNG above. When two formats want the same element, the first keeps it unless the
// second has alpha and the first has not. The indices of the formats that were left out are put
// in `leftOut`. Elements are written in the table's order. False, with `out` empty, when no
// format could be written or memory runs out.
bool WriteIcnsFamily(const CIconDoc& doc, std::vector<std::uint8_t>& out, std::vector<int>* leftOut = nullptr);

// A family found in a resource or MacBinary file. Its name is the resource's name when it has
// one, else its resource number; a family that no resource map accounts for is named after its
// offset in the file ("@" and the decimal offset).
struct MacIconFamily {
    std::string name;
    std::optional<std::int32_t> number;  // the resource number, when the name is one
    std::size_t offset = 0;
    CIconGroup group;
};

// The families of a resource or MacBinary file that hold at least one image, in file order (of
// the first kMaxMacFamilies found).
std::vector<MacIconFamily> ReadMacResourceFamilies(std::span<const std::uint8_t> file);

// Reads a ".icns" file's family into the document's formats and sets its Macintosh flag. False
// (document emptied) when no family is found or it holds no image.
bool ReadIcnsFile(std::span<const std::uint8_t> file, CIconDoc& doc);

}  // namespace tellurine
