#include "image/device_bitmap.h"

#include <new>

#include "image/block.h"
#include "image/dib_block.h"

namespace tellurine {

DeviceBitmap DeviceBitmap::Create(int width, int height, COLORREF fill) {
    DeviceBitmap bitmap;
    if (width <= 0 || height <= 0 || width > kMaxDibDimension || height > kMaxDibDimension)
        return bitmap;
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (count > kMaxBlockBytes / 4) return bitmap;
    try {
        bitmap.pixels_.assign(count, ToNative(fill & 0x00FFFFFF));
    } catch (const std::bad_alloc&) {
        return bitmap;
    }
    bitmap.width_ = width;
    bitmap.height_ = height;
    return bitmap;
}

}  // namespace tellurine
