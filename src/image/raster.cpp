#include "image/raster.h"

#include <algorithm>

#include "image/dib_block.h"

namespace tellurine {

namespace {

// Clips a transfer of a width x height rectangle from (sx, sy) in src to (dx, dy) in dst.
bool Clip(int& dx, int& dy, int& w, int& h, int& sx, int& sy, int dstW, int dstH, int srcW, int srcH) {
    if (dx < 0) { sx -= dx; w += dx; dx = 0; }
    if (dy < 0) { sy -= dy; h += dy; dy = 0; }
    if (sx < 0) { dx -= sx; w += sx; sx = 0; }
    if (sy < 0) { dy -= sy; h += sy; sy = 0; }
    w = std::min({w, dstW - dx, srcW - sx});
    h = std::min({h, dstH - dy, srcH - sy});
    return w > 0 && h > 0;
}

inline std::uint32_t Apply(std::uint32_t d, std::uint32_t s, Rop rop) {
    switch (rop) {
        case Rop::SrcCopy: return s;
        case Rop::SrcAnd: return d & s;
        case Rop::SrcInvert: return (d ^ s) & 0x00FFFFFF;
    }
    return s;
}

}  // namespace

void BitBlt(DeviceBitmap& dst, int x, int y, int width, int height, const DeviceBitmap& src, int srcX,
            int srcY, Rop rop) {
    if (!Clip(x, y, width, height, srcX, srcY, dst.Width(), dst.Height(), src.Width(), src.Height()))
        return;
    for (int row = 0; row < height; ++row) {
        const std::uint32_t* s = src.Row(srcY + row) + srcX;
        std::uint32_t* d = dst.Row(y + row) + x;
        for (int col = 0; col < width; ++col) d[col] = Apply(d[col], s[col], rop);
    }
}

void StretchBltReplicate(DeviceBitmap& dst, int x, int y, const DeviceBitmap& src, int srcX, int srcY,
                         int srcWidth, int srcHeight, int zoom, Rop rop) {
    if (zoom <= 0) return;
    for (int row = 0; row < srcHeight; ++row) {
        const int sy = srcY + row;
        if (sy < 0 || sy >= src.Height()) continue;
        for (int col = 0; col < srcWidth; ++col) {
            const int sx = srcX + col;
            if (sx < 0 || sx >= src.Width()) continue;
            const std::uint32_t s = src.Row(sy)[sx];
            const int top = std::max(y + row * zoom, 0), bottom = std::min(y + (row + 1) * zoom, dst.Height());
            const int left = std::max(x + col * zoom, 0), right = std::min(x + (col + 1) * zoom, dst.Width());
            for (int dy = top; dy < bottom; ++dy) {
                std::uint32_t* d = dst.Row(dy);
                for (int dx = left; dx < right; ++dx) d[dx] = Apply(d[dx], s, rop);
            }
        }
    }
}

void PatBlt(DeviceBitmap& dst, int x, int y, int width, int height, const Brush& brush, PatRop rop) {
    const int left = std::max(x, 0), top = std::max(y, 0);
    const int right = std::min(x + width, dst.Width()), bottom = std::min(y + height, dst.Height());
    const std::uint32_t solid = rop == PatRop::Whiteness   ? 0x00FFFFFF
                                : rop == PatRop::Blackness ? 0
                                                           : DeviceBitmap::ToNative(brush.color & 0x00FFFFFF);
    const DeviceBitmap* pattern =
        rop == PatRop::PatCopy && brush.pattern && !brush.pattern->IsNull() ? brush.pattern : nullptr;
    for (int row = top; row < bottom; ++row) {
        std::uint32_t* d = dst.Row(row);
        for (int col = left; col < right; ++col)
            d[col] = pattern ? pattern->Row(row % pattern->Height())[col % pattern->Width()] : solid;
    }
}

DeviceBitmap DibToDeviceBitmap(const Block& dib) {
    const std::int32_t height = DibHeight(dib);
    DeviceBitmap bitmap = GetDibLayout(dib) ? DeviceBitmap::Create(DibWidth(dib), height) : DeviceBitmap{};
    if (bitmap.IsNull()) return bitmap;
    ForEachDibPixel(dib, [&](std::int32_t stored, std::int32_t x, DibPixel p) {
        bitmap.Row(height - 1 - stored)[x] = p.b | (p.g << 8) | (static_cast<std::uint32_t>(p.r) << 16);
    });
    return bitmap;
}

Block DeviceBitmapToDib(const DeviceBitmap& bitmap, int bits) {
    if (bitmap.IsNull() || (bits != 24 && bits != 32)) return {};
    Block dib = CreateDibBlock(bitmap.Width(), bitmap.Height(), bits);
    const auto layout = GetDibLayout(dib);
    if (!layout) return {};
    const int bytes = bits / 8;
    for (std::int32_t stored = 0; stored < layout->height; ++stored) {
        std::uint8_t* d = dib.data() + layout->RowOffset(stored);
        const std::uint32_t* s = bitmap.Row(layout->height - 1 - stored);
        for (std::int32_t x = 0; x < layout->width; ++x, d += bytes) {
            d[0] = static_cast<std::uint8_t>(s[x]);
            d[1] = static_cast<std::uint8_t>(s[x] >> 8);
            d[2] = static_cast<std::uint8_t>(s[x] >> 16);
            if (bytes == 4) d[3] = 255;
        }
    }
    return dib;
}

DeviceBitmap DibAlphaToDeviceBitmap(const Block& dib32) {
    const auto layout = GetDibLayout(dib32);
    if (!layout || layout->bitCount != 32) return {};
    DeviceBitmap grey = DeviceBitmap::Create(layout->width, layout->height);
    if (grey.IsNull()) return grey;
    for (std::int32_t stored = 0; stored < layout->height; ++stored) {
        const std::uint8_t* p = dib32.data() + layout->RowOffset(stored);
        std::uint32_t* out = grey.Row(layout->height - 1 - stored);
        for (std::int32_t x = 0; x < layout->width; ++x) {
            const std::uint32_t a = p[4 * x + 3];
            out[x] = a | (a << 8) | (a << 16);
        }
    }
    return grey;
}

Block DeviceBitmapsToDib32(const DeviceBitmap& color, const DeviceBitmap& alphaGrey) {
    if (color.Width() != alphaGrey.Width() || color.Height() != alphaGrey.Height()) return {};
    Block dib = DeviceBitmapToDib(color, 32);
    const auto layout = GetDibLayout(dib);
    if (!layout) return {};
    for (std::int32_t stored = 0; stored < layout->height; ++stored) {
        std::uint8_t* d = dib.data() + layout->RowOffset(stored);
        const std::uint32_t* a = alphaGrey.Row(layout->height - 1 - stored);
        for (std::int32_t x = 0; x < layout->width; ++x) d[4 * x + 3] = static_cast<std::uint8_t>(a[x] >> 16);
    }
    return dib;
}

}  // namespace tellurine
