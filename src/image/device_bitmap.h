// DeviceBitmap: the portable stand-in for a GDI device bitmap (the editor's colour image and mask).
//
// 32 bits per pixel, rows top-down. Pixels are read and written as COLORREF values 0x00BBGGRR;
// in memory each pixel is blue, green, red, 0, the order of a 32-bit packed bitmap row. Masks are
// device bitmaps too: white stands for AND-mask bit 1 (transparent), and alpha formats keep their
// opacity as grey levels.
#pragma once

#include <cstdint>
#include <vector>

#include "image/palette.h"

namespace tellurine {

inline constexpr COLORREF CLR_INVALID = 0xFFFFFFFF;

class DeviceBitmap {
public:
    DeviceBitmap() = default;
    // A bitmap filled with `fill`; a null bitmap when a size is not positive, over the limits,
    // or memory runs out.
    static DeviceBitmap Create(int width, int height, COLORREF fill = 0);

    [[nodiscard]] bool IsNull() const { return width_ == 0; }
    [[nodiscard]] int Width() const { return width_; }
    [[nodiscard]] int Height() const { return height_; }

    // CLR_INVALID outside the bitmap, as GDI does.
    [[nodiscard]] COLORREF GetPixel(int x, int y) const {
        if (!Contains(x, y)) return CLR_INVALID;
        return FromNative(pixels_[Index(x, y)]);
    }
    // False outside the bitmap; the pixel is written as given, without palette matching.
    bool SetPixel(int x, int y, COLORREF color) {
        if (!Contains(x, y)) return false;
        pixels_[Index(x, y)] = ToNative(color);
        return true;
    }

    [[nodiscard]] bool Contains(int x, int y) const {
        return x >= 0 && y >= 0 && x < width_ && y < height_;
    }

    // Row y (0 at the top) as native values 0x00RRGGBB: blue, green, red, 0 in memory.
    std::uint32_t* Row(int y) { return pixels_.data() + static_cast<std::size_t>(y) * width_; }
    [[nodiscard]] const std::uint32_t* Row(int y) const {
        return pixels_.data() + static_cast<std::size_t>(y) * width_;
    }

    static constexpr std::uint32_t ToNative(COLORREF c) {
        return ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF);
    }
    static constexpr COLORREF FromNative(std::uint32_t n) {
        return ((n & 0xFF) << 16) | (n & 0xFF00) | ((n >> 16) & 0xFF);
    }

    friend bool operator==(const DeviceBitmap&, const DeviceBitmap&) = default;

private:
    [[nodiscard]] std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * width_ + x;
    }
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint32_t> pixels_;
};

}  // namespace tellurine
