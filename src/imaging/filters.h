// Convolution filters, the resize filter and the Gaussian blur.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "image/block.h"
#include "image/device_bitmap.h"

namespace tellurine {

// An integer kernel: width, height, divisor, bias, then width x height weights row by row.
// Kernel row 0 applies to the row stored y - height/2 in a bottom-up image, that is the row
// below the pixel on screen; kernel column 0 applies to the column on the left.
struct ConvolutionKernel {
    std::int32_t width;
    std::int32_t height;
    std::int32_t divisor;
    std::int32_t bias;
    std::span<const std::int32_t> weights;
};

// The filters by number, in the order of the Filters menu.
inline constexpr int kFilterCount = 12;
inline constexpr int kFilterSmooth = 1;
inline constexpr int kFilterDetails = 7;

// The kernel of filter 1..12, or null for any other number.
const ConvolutionKernel* FilterKernel(int filterNumber);
// The filter's menu text ("Smooth", "Smooth More", "&Blur", ...), empty outside 1..12.
std::string_view FilterMenuText(int filterNumber);

// Filters the bitmap in place with `kernel`, keeping keepPercent (0..100; values outside are
// held at the nearer end) of the unfiltered value. All four bytes of each pixel are filtered
// alike; edge pixels repeat. Per byte: v = sum / divisor (truncated) + bias, then
// (unfiltered * keepPercent + (100 - keepPercent) * v) / 100 when keepPercent is not 0, stored as
// 0 below 1 and 255 from 255 up. Returns 1 (also for a null bitmap, which has nothing to
// filter), or 0 with the bitmap unchanged when the work buffer cannot be had or the kernel
// cannot be applied: a side outside 1..64, a divisor of 0, or not width x height weights.
int ConvolveBitmap(DeviceBitmap& bitmap, const ConvolutionKernel& kernel, int keepPercent);

// Applies filter 1..12 to a 24- or 32-bit packed bitmap in place, to the inclusive rectangle in
// top-down coordinates, or to the whole image when any coordinate is -1 (alpha is filtered like
// the colours). A filter number outside 1..12 changes nothing and still returns 1. Returns 0 for
// other depths, a malformed block, a rectangle that does not meet the image, or lack of memory.
int ApplyFilterToDib(Block& dib, int filterNumber, std::int32_t left, std::int32_t top, std::int32_t right,
                     std::int32_t bottom);

// A copy with red, green and blue replaced by 255 minus themselves. Null when `bitmap` is null
// or memory runs out.
DeviceBitmap InvertBitmap(const DeviceBitmap& bitmap);

// Blurs (level below 10, with "Smooth") or sharpens (above 10, with "&Details") a bitmap after a
// resize, keeping trunc((10 - |level - 10|) * strength * 10 / 100) - strength + 100 percent of
// the unfiltered value, held to 0..100 when levels beyond 0..20 or strengths beyond 0..100 push
// it out. Level 10 (or any keep of 100) changes nothing and returns 1. `strength` is a
// percentage. Returns ConvolveBitmap's result.
int ApplyResizeFilter(DeviceBitmap& bitmap, int level, int strength);

// Radius limits of the Gaussian blur, and its default.
inline constexpr int kMinBlurRadius = 2;
inline constexpr int kMaxBlurRadius = 50;
inline constexpr int kDefaultBlurRadius = 8;

// Blurs a 24- or 32-bit packed bitmap in place, within the rectangle as for ApplyFilterToDib,
// with Deriche's recursive Gaussian of the sigma that falls to 1/255 at radius + 1: down every
// column from the top, then along every row, each pass truncated to 0..255, blue, green, red and
// alpha alike (alpha 255 in the work at 24 bits). Beyond the rectangle's edges the picture is
// taken to continue with its edge pixels, so a flat area stays exactly flat. The time does not
// depend on the radius. Returns 0 (image unchanged) for other depths, a radius outside 2..50, a
// rectangle that does not meet the image, or lack of memory.
int GaussianBlurDib(Block& dib, int radius, std::int32_t left, std::int32_t top, std::int32_t right,
                    std::int32_t bottom);

}  // namespace tellurine
