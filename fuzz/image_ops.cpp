// Runs the resampling, cropping, turning and flipping routines on a small picture made from the
// input, with sizes and angles taken from it, and checks what must hold whatever the pixels:
// result sizes, round trips of the quarter turns and flips, the device bitmaps' resampler against
// ResampleDib where they must agree, the high-quality resampler's mirror symmetry, and rotations that only ever show source or background
// colours.
//
// Input: width - 1, height - 1 (each modulo 32), flags (bit 0: 32 bits per pixel, else 24; bit 1:
// smooth rotation; bit 2: whole-degree free angle), new width and new height (16-bit
// little-endian, modulo 300, plus 1; the height at most 2048 / width), angle (16-bit signed;
// eighths of a degree unless bit 2), crop left, top, right, bottom (signed bytes), background
// blue, green, red; then the pixel bytes, repeated as needed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "image/dib_block.h"
#include "image/raster.h"
#include "imaging/resample.h"
#include "imaging/rotate.h"
#include "../tests/test_support.h"

namespace {

using namespace tellurine;

constexpr std::size_t kHeaderBytes = 16;

void Check(bool condition) {
    if (!condition) std::abort();
}

bool HasShape(const Block& dib, int width, int height, int bits) {
    const auto layout = GetDibLayout(dib);
    return layout && layout->width == width && layout->height == height && layout->bitCount == bits;
}

bool HasSize(const DeviceBitmap& bitmap, int width, int height) {
    return bitmap.Width() == width && bitmap.Height() == height;
}

// The crop is the bitmap of the rectangle's pixels (clamped to the picture's), or nothing when
// none are left.
void CheckCrop(const Block& dib, int left, int top, int right, int bottom) {
    const auto layout = GetDibLayout(dib);
    const Block out = CropDib(dib, left, top, right, bottom);
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, layout->width - 1);
    bottom = std::min(bottom, layout->height - 1);
    if (right < left || bottom < top) {
        Check(out.empty());
        return;
    }
    // Stored row s of the crop is picture row bottom - s.
    const Block rectangle = test::MakeDib(right - left + 1, bottom - top + 1, layout->bitCount, [&](int x, int s) {
        return test::At(dib, left + x, layout->height - 1 - bottom + s);
    });
    Check(test::SameBytes(out, rectangle));
}

// The picture mirrored left to right.
Block MirroredDib(const Block& dib) {
    return test::MakeDib(DibWidth(dib), DibHeight(dib), DibBitCount(dib),
                         [&](int x, int y) { return test::At(dib, DibWidth(dib) - 1 - x, y); });
}

void CheckResample(const Block& dib, const DeviceBitmap& bitmap, int newWidth, int newHeight) {
    const int width = bitmap.Width(), height = bitmap.Height();
    const int bits = DibBitCount(dib);
    const Block resampled = ResampleDib(dib, newWidth, newHeight);
    Check(HasShape(resampled, newWidth, newHeight, bits));
    if (newWidth == width && newHeight == height) Check(test::SameBytes(resampled, dib));

    // The high-quality resampler gives the mirror image of a mirrored picture, exactly.
    const Block high = ResampleDib(dib, newWidth, newHeight, ResampleQuality::High);
    Check(HasShape(high, newWidth, newHeight, bits));
    const Block highOfMirror = ResampleDib(MirroredDib(dib), newWidth, newHeight, ResampleQuality::High);
    Check(test::SameBytes(highOfMirror, MirroredDib(high)));

    const DeviceBitmap out = ResampleBitmap(bitmap, newWidth, newHeight);
    Check(HasSize(out, newWidth, newHeight));
    // Without whole-factor growth ResampleDib neither pads nor crops, and a 24-bit source has no
    // alpha to bleed or borrow: both run the same kernels on the same pixels.
    if (newWidth / width < 2 && newHeight / height < 2) {
        const Block dib24 = DeviceBitmapToDib(bitmap, 24);
        Check(out == DibToDeviceBitmap(ResampleDib(dib24, newWidth, newHeight)));
    }
}

void CheckTurns(const DeviceBitmap& bitmap) {
    const DeviceBitmap r90 = RotateBitmap90(bitmap), r180 = RotateBitmap180(bitmap), r270 = RotateBitmap270(bitmap);
    Check(HasSize(r90, bitmap.Height(), bitmap.Width()) && HasSize(r270, bitmap.Height(), bitmap.Width()));
    Check(RotateBitmap270(r90) == bitmap && RotateBitmap90(r270) == bitmap);
    Check(RotateBitmap180(r180) == bitmap && RotateBitmap90(r90) == r180);
    const DeviceBitmap horizontal = FlipBitmap(bitmap, false), vertical = FlipBitmap(bitmap, true);
    Check(FlipBitmap(horizontal, false) == bitmap && FlipBitmap(vertical, true) == bitmap);
    Check(RotateBitmap180(horizontal) == vertical);
}

void CheckRotation(const DeviceBitmap& bitmap, COLORREF background, double angle) {
    std::vector<COLORREF> colours;
    for (int y = 0; y < bitmap.Height(); ++y)
        for (int x = 0; x < bitmap.Width(); ++x) colours.push_back(bitmap.GetPixel(x, y));
    std::sort(colours.begin(), colours.end());

    const DeviceBitmap free = RotateBitmapFree(bitmap, background, angle);
    for (int y = 0; y < free.Height(); ++y)
        for (int x = 0; x < free.Width(); ++x) {
            const COLORREF c = free.GetPixel(x, y);
            Check(c == background || std::binary_search(colours.begin(), colours.end(), c));
        }
    const DeviceBitmap smooth = RotateBitmapSmooth(bitmap, background, angle);
    Check(HasSize(smooth, free.Width(), free.Height()));
    Check(RotateBitmapSmooth(bitmap, background, 0) == bitmap);
}

void CheckRotateImage(const DeviceBitmap& bitmap, int angle, bool smooth) {
    DeviceBitmap mask = DeviceBitmap::Create(bitmap.Width(), bitmap.Height());
    for (int y = 0; y < bitmap.Height(); ++y)
        for (int x = 0; x < bitmap.Width(); ++x) mask.SetPixel(x, y, bitmap.GetPixel(x, y) & 0x80 ? 0xFFFFFF : 0);
    DeviceBitmap color = bitmap, turnedMask = mask;
    const bool done = RotateImage(color, turnedMask, angle, smooth);
    const int turn = (angle % 360 + 360) % 360;
    if (!done || turn == 0) {
        Check(color == bitmap && turnedMask == mask);
        return;
    }
    Check(HasSize(turnedMask, color.Width(), color.Height()));
    if (turn == 90) Check(color == RotateBitmap90(bitmap) && turnedMask == RotateBitmap90(mask));
    if (turn == 180) Check(color == RotateBitmap180(bitmap) && turnedMask == RotateBitmap180(mask));
    if (turn == 270) Check(color == RotateBitmap270(bitmap) && turnedMask == RotateBitmap270(mask));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kHeaderBytes) return 0;
    const int width = data[0] % 32 + 1;
    const int height = data[1] % 32 + 1;
    const std::uint8_t flags = data[2];
    const int bits = flags & 1 ? 32 : 24;
    const int newWidth = (data[3] | data[4] << 8) % 300 + 1;
    // Either axis reaches 300, but not both at once: at most 2,048 pixels, which the resampling
    // kernels (a third of the time under coverage instrumentation) get through in well under a
    // millisecond.
    const int newHeight = std::min((data[5] | data[6] << 8) % 300 + 1, 2048 / newWidth);
    const auto rawAngle = static_cast<std::int16_t>(data[7] | data[8] << 8);
    const auto crop = [&](int i) { return static_cast<int>(static_cast<std::int8_t>(data[9 + i])); };
    const COLORREF background = data[13] << 16 | data[14] << 8 | data[15];
    const std::uint8_t* pixels = data + kHeaderBytes;
    const std::size_t pixelBytes = size - kHeaderBytes;

    Block dib = CreateDibBlock(width, height, bits);
    const auto layout = GetDibLayout(dib);
    Check(layout.has_value());
    std::size_t next = 0;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = dib.data() + layout->RowOffset(y);
        for (int i = 0; i < width * bits / 8; ++i, ++next)
            row[i] = pixelBytes == 0 ? std::uint8_t{0} : pixels[next % pixelBytes];
    }
    const DeviceBitmap bitmap = DibToDeviceBitmap(dib);
    Check(HasSize(bitmap, width, height));

    CheckResample(dib, bitmap, newWidth, newHeight);
    CheckCrop(dib, crop(0), crop(1), crop(2), crop(3));
    CheckTurns(bitmap);
    CheckRotation(bitmap, background, flags & 4 ? rawAngle : rawAngle / 8.0);
    CheckRotateImage(bitmap, rawAngle, (flags & 2) != 0);
    return 0;
}
