// An animated cursor's steps as its window lists them, and the cursor a step is made into.
#pragma once

#include <string>

#include "formats/ani_file.h"
#include "icon/icon_doc.h"

namespace tellurine::shell {

// A step's row in the list: its number (from 1), size, depth, rate and hotspot.
std::string AniStepText(const CAniObject& step, int number);

// Makes `doc` a cursor of one 32-bit format holding the step's picture, with the step's hotspot,
// so that it saves as a .cur with that hotspot. False, with `doc` empty, when memory runs out.
bool MakeProjectFromStep(const CAniObject& step, CIconDoc& doc);

}  // namespace tellurine::shell
