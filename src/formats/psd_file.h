// Photoshop documents (.psd, and the large-document variant .psb), read only: the layers and the
// merged picture, so that an icon can be made from a document whose layers are drawn at icon sizes.
//
// What is read:
//  - the header: "8BPS", version 1 (.psd) or 2 (.psb), 1 to 56 channels, 8 bits per channel, colour
//    mode RGB (3) or Grayscale (1), each side 1 to kMaxDibDimension. Anything else is refused;
//  - the colour mode data and the image resources are skipped by their lengths;
//  - the layers: the count (negative: the merged picture's first extra channel is its
//    transparency), each record's rectangle, channels (-1 alpha, 0..2 colour; others, such as the
//    user mask -2, are skipped), opacity, hidden flag, Pascal name, and the Unicode name ("luni")
//    when the record has one; then every channel's pixels, raw (0), PackBits runs with a byte
//    count per row (1), or zlib without (2) or with (3) the per-row difference;
//  - the merged picture at the end, raw, PackBits or zlib.
// Grayscale gives grey colour channels. A missing colour channel is black, a missing alpha opaque.
//
// The input is taken as hostile: every length and count is checked against the bytes left before
// it is used, sizes are capped, the pictures decoded in all stay within kMaxLayeredPixels, and no
// picture is allocated before its compressed bytes could possibly fill it. A file that breaks any
// rule is refused with a reason; nothing is read past the end.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/layered_picture.h"

namespace tellurine {

// True when the bytes start as a Photoshop document ("8BPS").
bool IsPsdFile(std::span<const std::uint8_t> bytes);

// Reads a document. False, with `doc` empty and `error` saying why, when it cannot be read.
bool ReadPsdFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error);

}  // namespace tellurine
