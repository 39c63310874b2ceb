// GIMP's gradient files (.ggr), read and written. The text is:
//   GIMP Gradient
//   Name: <name>                       (absent in the oldest files)
//   <number of segments>
//   <one line a segment>: left middle right, the left colour's red green blue alpha, the right
//   colour's red green blue alpha (numbers 0..1), the blending function, the colour model, and in
//   newer files the left and right endpoint colour types (see imaging/gradient.h for the numbers).
// Hostile files (a bad first line, more than kMaxGradientSegments segments, a segment cut short,
// a number that is not finite, a position outside 0..1 or out of order, segments that leave a gap,
// unknown type numbers) are refused with a message that names the line and what is wrong.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "imaging/gradient.h"

namespace tellurine {

inline constexpr std::size_t kMaxGradientSegments = 4096;
// Gradient files are small; a larger text is refused before it is read (1 MiB).
inline constexpr std::size_t kMaxGradientFileBytes = std::size_t{1024} * 1024;

// Reads a gradient. False, with `gradient` left as it was and `error` saying why, for a broken file.
bool ReadGradientFile(std::string_view text, Gradient& gradient, std::string& error);

// The gradient as a .ggr text, every number written so that it reads back exactly.
std::string WriteGradientFile(const Gradient& gradient);

}  // namespace tellurine
