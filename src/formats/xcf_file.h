// GIMP documents (.xcf), read only: the layers with their names, offsets, opacity, visibility,
// groups and masks, so that an icon can be made from a document whose layers are drawn at icon
// sizes.
//
// What is read:
//  - the header: "gimp xcf " and "file" (version 0) or "vNNN"; the canvas size; RGB, Grayscale or
//    Indexed; from version 4 the precision, of which 8-bit integers are read (linear ones turned
//    into the usual gamma-encoded values) and deeper ones refused; from version 11 pointers of 8
//    bytes;
//  - the image properties: the compression (none, RLE or zlib, per tile) and the colour map;
//  - each layer, listed top first: size, type (with or without alpha), name, properties (opacity,
//    also as a float; visibility; offsets; blend mode; group; item path; mask applied), the first level of its
//    pixels' hierarchy in tiles of 64 x 64, and its mask, a channel multiplied into its alpha.
// Groups are flattened: a layer inside a hidden group is hidden, and a group's opacity multiplies
// its layers'. A group's own pixels and floating selections are not read. Indexed pixels take
// their colour from the map, and their alpha is on or off at 128 as GIMP shows it. The document
// has no merged picture: its composite is the visible layers laid over each other with normal
// blending, in linear light for the modes of GIMP 2.10 as GIMP does, on the encoded values for the
// legacy ones (blend modes other than normal are not applied).
//
// The input is taken as hostile: every pointer, count and length is checked against the bytes,
// sizes are capped, the pictures decoded in all stay within kMaxLayeredPixels, and a tile never
// decodes past its own size. A file that breaks any rule is refused with a reason.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "formats/layered_picture.h"

namespace tellurine {

// True when the bytes start as a GIMP document ("gimp xcf ").
bool IsXcfFile(std::span<const std::uint8_t> bytes);

// Reads a document. False, with `doc` empty and `error` saying why, when it cannot be read.
bool ReadXcfFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error);

}  // namespace tellurine
