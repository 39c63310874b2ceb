// Icon set folders: the interchange form of Macintosh icons, a folder named "<name>.iconset" that
// holds one PNG file per picture under fixed names, from "icon_16x16.png" to
// "icon_512x512@2x.png". A name says the picture's size in points; "@2x" marks a picture of twice
// as many pixels ("icon_32x32@2x.png" is 64 x 64).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "icon/icon_doc.h"

namespace tellurine {

// One file of an icon set: its name, its size in points, its scale, and the family element its
// picture becomes.
struct IconsetEntry {
    const char* name;
    std::int32_t points;
    int scale;
    std::uint32_t element;
};

// The ten files of an icon set, smallest first.
std::span<const IconsetEntry> IconsetEntries();

// True when the path names an icon set folder (it ends in ".iconset", in any case).
bool IsIconsetPath(const std::string& path);

// Reads the pictures of an icon set folder into the document's formats, smallest first, as
// 32-bit formats that remember their family element ("icon_16x16@2x.png" becomes "ic11"), and
// sets its Macintosh flag. Files of other names, and pictures whose size is not the one their
// name says, are left out and listed in `skipped`. False, with `error` set and the document
// empty, when the folder cannot be read or holds no picture.
bool ReadIconsetFolder(const std::string& folder, CIconDoc& doc, std::string& error,
                       std::vector<std::string>* skipped = nullptr);

// The file each format of the project is written to, in the project's order; "" for a format an
// icon set cannot hold. Pictures go by the family element the format is written as (a 64 x 64
// format is "icon_32x32@2x.png", a second 32 x 32 one "icon_16x16@2x.png"); an indexed format
// takes its size's plain name when no true-colour format has it.
std::vector<std::string> AssignIconsetNames(const CIconDoc& doc);

// Writes the project as an icon set folder: each format as a PNG file (a picture unchanged since
// it was read from a PNG stream as that stream). The folder is made whole beside `folder` and
// then put in its place, replacing an icon set folder that was there. `leftOut` receives the
// formats not written. False, with `error` set and nothing changed on disk, when no format can
// be written or the folder cannot be made.
bool WriteIconsetFolder(const std::string& folder, const CIconDoc& doc, std::string& error,
                        std::vector<int>* leftOut = nullptr);

}  // namespace tellurine
