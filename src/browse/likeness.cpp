#include "browse/likeness.h"

#include <algorithm>
#include <array>
#include <bit>

#include "image/dib_block.h"

namespace tellurine {

std::uint64_t LikenessHash(const Block& dib32) {
    const auto layout = GetDibLayout(dib32);
    if (!layout || layout->bitCount != 32 || layout->width <= 0 || layout->height <= 0) return 0;
    constexpr int kColumns = 9, kRows = 8;
    const std::int64_t w = layout->width, h = layout->height;
    // The share of pixel `at` (of `size`) that falls in each cell: the pixel spans
    // [at, at + 1) * cells / size in cell units.
    const auto shares = [](std::int64_t at, std::int64_t size, int cells, auto&& add) {
        const double scale = cells / static_cast<double>(size);
        const double from = static_cast<double>(at) * scale, to = static_cast<double>(at + 1) * scale;
        for (int cell = static_cast<int>(from); cell < cells && cell < to; ++cell)
            add(cell, std::min(to, cell + 1.0) - std::max(from, static_cast<double>(cell)));
    };
    std::array<double, kColumns * kRows> sum{}, weight{};
    for (std::int64_t y = 0; y < h; ++y) {
        // Rows are stored bottom-up.
        const std::uint8_t* row = dib32.data() + layout->RowOffset(static_cast<std::int32_t>(h - 1 - y));
        for (std::int64_t x = 0; x < w; ++x) {
            const std::uint8_t* p = row + x * 4;
            const double alpha = p[3] / 255.0;
            const double luma = (0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2]) * alpha + 128.0 * (1.0 - alpha);
            shares(y, h, kRows, [&](int cy, double wy) {
                shares(x, w, kColumns, [&](int cx, double wx) {
                    sum[static_cast<std::size_t>(cy * kColumns + cx)] += luma * wx * wy;
                    weight[static_cast<std::size_t>(cy * kColumns + cx)] += wx * wy;
                });
            });
        }
    }
    // Neighbours within a level of each other count as equal, so that flat areas, which differ
    // only by rounding from one size to another, give steady bits.
    constexpr double kLevel = 1.5;
    std::uint64_t hash = 0;
    for (int cy = 0; cy < kRows; ++cy)
        for (int cx = 0; cx + 1 < kColumns; ++cx) {
            const auto at = static_cast<std::size_t>(cy * kColumns + cx);
            hash = hash << 1 | (sum[at] / weight[at] > sum[at + 1] / weight[at + 1] + kLevel ? 1u : 0u);
        }
    return hash;
}

int LikenessDistance(std::uint64_t a, std::uint64_t b) {
    return std::popcount(a ^ b);
}

}  // namespace tellurine
