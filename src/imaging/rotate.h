// Quarter turns, flips and free rotation of device bitmaps, the device bitmaps' resampler, and the
// rotate command shared by the editor and the command-line tool.
#pragma once

#include "image/device_bitmap.h"

namespace tellurine {

// A new bitmap of the new size made with ResampleDib's two kernels (area average when both axes
// shrink, bilinear interpolation otherwise), without padding, crop or colour bleeding; the
// ratios are the source size over the new size. A copy when the size is unchanged; null when a
// size is not in 1..kMaxDibDimension, the bitmap is null, or memory runs out.
DeviceBitmap ResampleBitmap(const DeviceBitmap& bitmap, int newWidth, int newHeight);

// Counter-clockwise quarter, half and three-quarter turns (on screen); 90 and 270 swap the width
// and height. Null for a null bitmap or when memory runs out.
DeviceBitmap RotateBitmap90(const DeviceBitmap& bitmap);
DeviceBitmap RotateBitmap180(const DeviceBitmap& bitmap);
DeviceBitmap RotateBitmap270(const DeviceBitmap& bitmap);

// A mirrored copy: top to bottom when `vertical`, else left to right.
DeviceBitmap FlipBitmap(const DeviceBitmap& bitmap, bool vertical);

// Turned by angleDegrees counter-clockwise, nearest neighbour, `background` where no source pixel
// maps; the bitmap grows to hold the turned corners (see the definition for its exact extents).
// Null when the extents are empty (a 1 x 1 bitmap at most angles), over the limits, or the angle
// is not finite.
DeviceBitmap RotateBitmapFree(const DeviceBitmap& bitmap, COLORREF background, double angleDegrees);

// A bilinear rotation by angleDegrees counter-clockwise over the same extents as
// RotateBitmapFree, `background` where no source pixel maps: the smooth rotation that the rotate
// command uses for images that hold alpha. The edges blend into `background`; see the definition
// for where pixel centres fall.
DeviceBitmap RotateBitmapSmooth(const DeviceBitmap& bitmap, COLORREF background, double angleDegrees);

// The rotate command's choices, as its dialog keeps them.
enum class RotateDirection { Left = 0, Right = 1 };
enum class RotateChoice { Quarter = 0, Half = 1, ThreeQuarters = 2, Free = 3 };
inline constexpr int kMinFreeAngle = 1;
inline constexpr int kMaxFreeAngle = 359;

// The counter-clockwise angle for the choices: 90, 180, 270 or the free angle (clamped into
// kMinFreeAngle..kMaxFreeAngle), and 360 minus it for "Right"; 0 for a choice outside the four.
int RotateCommandAngle(RotateDirection direction, RotateChoice choice, int freeAngle);

// Turns an image's colour bitmap and mask bitmap by a counter-clockwise angle. 90, 180 and 270
// are quarter turns of both. Any other angle: with `smooth` (images that hold alpha, whose mask
// keeps opacity as grey levels), both go through RotateBitmapSmooth with black backgrounds and
// are then sharpened with the "&Details" kernel; otherwise RotateBitmapFree with a black colour
// background and a white (transparent) mask background. The angle is taken modulo 360 first; 0
// changes nothing and returns true. Holds a ScopedBusy while it works. Returns false, leaving both
// unchanged, when the two differ in size or either result cannot be made.
bool RotateImage(DeviceBitmap& color, DeviceBitmap& mask, int angle, bool smooth);

}  // namespace tellurine
