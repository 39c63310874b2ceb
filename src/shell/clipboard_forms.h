// The byte forms of the program's private clipboard formats. What comes off the clipboard is
// hostile until checked: every reader takes any bytes and says false for what does not read.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "icon/icon_group.h"
#include "image/device_bitmap.h"
#include "image/palette.h"

namespace tellurine::shell {

// Pictures taken from the clipboard, up to this side.
inline constexpr int kMaxPasteSide = 4096;

// A group in its archive form (the formats of "Korvane IconFormat Data" and the whole icon of
// "Korvane IconEdit Data"); empty when it cannot be written.
std::vector<std::uint8_t> GroupBytes(CIconGroup& group);
bool GroupFromBytes(std::span<const std::uint8_t> bytes, CIconGroup& group);
// The non-empty formats of a group's archive form; none when it does not read.
std::vector<CKvIcon> FormatsFromBytes(std::span<const std::uint8_t> bytes);

// "Korvane PAL Data": the version and count as 16-bit little-endian numbers, then each entry's
// red, green, blue and flags; 1 to 256 entries. Empty for a palette that has no such form.
std::vector<std::uint8_t> PaletteBytes(const Palette& palette);
bool PaletteFromBytes(std::span<const std::uint8_t> bytes, Palette& palette);

// "Korvane DIB32 Data": a 32-bit packed bitmap of at most kMaxPasteSide a side, as the colour and
// alpha bitmaps the canvas pastes.
bool PictureFromDibBytes(std::span<const std::uint8_t> bytes, DeviceBitmap& color, DeviceBitmap& alpha);

}  // namespace tellurine::shell
