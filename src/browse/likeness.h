// A small fingerprint of how a picture looks, for finding icons like another: two drawings of the
// same thing at different sizes or depths give fingerprints a few bits apart.
#pragma once

#include <cstdint>

#include "image/block.h"

namespace tellurine {

// A difference hash of a 32-bit packed bitmap: the picture laid over middle grey (so that what is
// transparent counts the same at every depth), shrunk to 9 x 8 by area averages of its luma, and
// one bit for each pair of neighbours in a row, set where the left one is the brighter. 0 for
// anything that is not a well-formed 32-bit bitmap.
std::uint64_t LikenessHash(const Block& dib32);

// The bits in which two fingerprints differ, 0 (alike) to 64.
int LikenessDistance(std::uint64_t a, std::uint64_t b);

}  // namespace tellurine
