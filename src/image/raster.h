// Raster operations over DeviceBitmaps: the portable stand-ins for BitBlt, StretchBlt and PatBlt,
// and the transfers between packed bitmaps and device bitmaps (SetDIBits / GetDIBits).
//
// Rectangles are clipped to both bitmaps, as GDI clips to the device surface. The pattern of a
// pattern brush is anchored at the bitmap origin.
#pragma once

#include <cstdint>

#include "image/block.h"
#include "image/device_bitmap.h"

namespace tellurine {

enum class Rop {
    SrcCopy,    // dst = src
    SrcAnd,     // dst = dst & src
    SrcInvert,  // dst = dst ^ src
};

enum class PatRop {
    PatCopy,    // dst = brush
    Whiteness,  // dst = white
    Blackness,  // dst = black
};

// A brush: one solid colour, or an 8 x 8 pattern repeated from the bitmap origin.
struct Brush {
    COLORREF color = 0;
    const DeviceBitmap* pattern = nullptr;  // when set, the colour is ignored
};

void BitBlt(DeviceBitmap& dst, int x, int y, int width, int height, const DeviceBitmap& src, int srcX,
            int srcY, Rop rop);

// Integer-zoom stretching by whole-pixel replication: each source pixel becomes a zoom x zoom
// square at (x + zoom * column, y + zoom * row) of the destination.
void StretchBltReplicate(DeviceBitmap& dst, int x, int y, const DeviceBitmap& src, int srcX, int srcY,
                         int srcWidth, int srcHeight, int zoom, Rop rop);

void PatBlt(DeviceBitmap& dst, int x, int y, int width, int height, const Brush& brush, PatRop rop);

// The picture of a packed bitmap (1, 4, 8, 16, 24 or 32 bits per pixel) as a device bitmap of
// its size: indexed pixels take their table colour, 16-bit pixels are 5-5-5, and the alpha byte
// of 32-bit pixels is dropped. Null for a block that is not a well-formed packed bitmap.
DeviceBitmap DibToDeviceBitmap(const Block& dib);

// A new 24- or 32-bit packed bitmap of the device bitmap's picture (alpha 255 at 32 bits);
// empty on failure or for another depth.
Block DeviceBitmapToDib(const DeviceBitmap& bitmap, int bits);

// The alpha of a 32-bit packed bitmap as grey levels (the form of an alpha format's mask bitmap).
// Null for another depth or a malformed block.
DeviceBitmap DibAlphaToDeviceBitmap(const Block& dib32);

// A new 32-bit packed bitmap of a colour bitmap's picture with the alpha taken from a grey bitmap
// of the same size (its red byte). Empty when the sizes differ or memory runs out.
Block DeviceBitmapsToDib32(const DeviceBitmap& color, const DeviceBitmap& alphaGrey);

}  // namespace tellurine
