// Windows icon (.ico) and cursor (.cur) files.
#pragma once

#include <cstdint>
#include <span>
#include <optional>
#include <string>
#include <vector>

#include "icon/icon_doc.h"

namespace tellurine {

// Largest icon or cursor file that is read (64 MiB).
inline constexpr std::size_t kMaxIconFileBytes = std::size_t{64} * 1024 * 1024;

// Largest total of decoded images that one icon or cursor file may give (128 MiB: 32 formats of
// 1024 x 1024 pixels).
inline constexpr std::size_t kMaxIconFileDecodedBytes = std::size_t{128} * 1024 * 1024;

// What the 6-byte header says the file is.
enum class IconFileType { Icon = 1, Cursor = 2 };

// Reads an icon or cursor file's bytes into `doc`, replacing its formats: one format per
// directory entry in file order, each image read at the entry's offset with the entry's byte
// count and bit count (CKvIcon::ReadImage; in a cursor the bit count field holds the hotspot's y
// and is used all the same). The directory's sizes and colour counts are not used; the images'
// own headers decide, and a PNG image keeps the entry's depth only when its pixels fit it without
// loss (any other PNG, and any depth other than 1, 4, 8 or 24, gives 32 bits with alpha). A successful read clears the Macintosh flag. The file fails as a whole:
// a type other than 1 or 2, a count of 0, a directory or image offset outside the data, or any
// image that cannot be read. On failure `doc` is left empty. `type` receives the header's type.
// A cursor sets the document's cursor flag and gives each format's image the hotspot of its
// entry (planes field x, bit count field y) as its point.
bool ReadIconFile(std::span<const std::uint8_t> bytes, CIconDoc& doc, IconFileType* type = nullptr);

// Writes the formats in their save order (CIconDoc::SaveOrder; the document keeps its own) as an icon file (type 1): header,
// directory, then each image, in bitmap form or, when its compressed flag is set, as PNG.
// Directory entries: width, height and colour count in their low 8 bits (256 is written as 0),
// reserved 0, planes 1, the format's bits (32 whenever it has alpha), the bytes written and the
// image's offset. False, with `out` empty, when there is no format (such a file could not be
// read back) or an image cannot be written (an empty format, or a PNG encoding failure).
// A document whose cursor flag is set is written as a cursor file (type 2): each entry holds the
// hotspot in the planes and bit count fields (a point outside the image counts as 0), and every
// image is written in bitmap form, since a reader decodes a PNG image at the depth the hotspot's y
// would name.
// `asCursor`, when given, decides the file's kind instead of the document's cursor flag.
bool WriteIconFile(const CIconDoc& doc, bool explorerCompatibleOrder, std::vector<std::uint8_t>& out,
                   std::optional<bool> asCursor = std::nullopt);

}  // namespace tellurine
