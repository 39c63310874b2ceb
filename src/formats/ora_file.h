// OpenRaster documents (.ora, written by GIMP, Krita, MyPaint and others), read only: a ZIP archive
// whose first entry "mimetype" says "image/openraster", a "stack.xml" that lists the layers, top
// first, each a PNG in the archive placed at x, y with an opacity and a visibility, and usually a
// "mergedimage.png" of the whole. Groups (nested stacks) are flattened: a hidden group hides its
// layers and a group's opacity multiplies theirs. Blending modes other than "over" are not
// applied: the merged picture, when the archive has one of the canvas size, is the composite;
// without one the visible layers are laid over each other.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "formats/layered_picture.h"

namespace tellurine {

// True when the bytes start as an OpenRaster archive: a stored first entry "mimetype" holding
// "image/openraster".
bool IsOraFile(std::span<const std::uint8_t> bytes);

// Reads a document. False, with `doc` empty and `error` saying why, when it cannot be read.
bool ReadOraFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error);

}  // namespace tellurine
