// The PNG codec on icon-like 32-bit pictures: encoding at 48 and 256 pixels (the levels extract
// and icon saving use), decoding a 256-pixel plain RGBA stream into an icon image, and checking
// such a stream intact without decoding it, as extract does before copying a stored PNG.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "icon/kv_icon.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"

namespace tellurine {
namespace {

// A soft round shape on a transparent ground, with shading and a little noise: what icons are.
Block IconPicture(std::int32_t side) {
    Block b = CreateDibBlock(side, side, 32);
    const auto layout = GetDibLayout(b);
    std::uint32_t seed = 2024;
    for (std::int32_t y = 0; y < side; ++y) {
        std::uint8_t* p = b.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < side; ++x, p += 4) {
            seed = seed * 1664525U + 1013904223U;
            const double dx = (x + 0.5) / side - 0.5, dy = (y + 0.5) / side - 0.5;
            const double r = std::sqrt(dx * dx + dy * dy) * 2;
            const double edge = std::clamp((1.0 - r) * side / 3.0, 0.0, 1.0);
            const int noise = static_cast<int>((seed >> 28) & 3U);
            p[0] = static_cast<std::uint8_t>(60 + 120 * (1 - r) + noise);
            p[1] = static_cast<std::uint8_t>(90 + 100 * dy + 40 + noise);
            p[2] = static_cast<std::uint8_t>(200 - 80 * dx * dy - noise);
            p[3] = static_cast<std::uint8_t>(255 * edge);
        }
    }
    return b;
}

void BM_EncodePng(benchmark::State& state) {
    const Block picture = IconPicture(static_cast<std::int32_t>(state.range(0)));
    const int level = static_cast<int>(state.range(1));
    std::vector<std::uint8_t> png;
    for (auto _ : state) {
        EncodePng(picture, png, level);
        benchmark::DoNotOptimize(png.data());
    }
    state.counters["bytes"] = static_cast<double>(png.size());
}
BENCHMARK(BM_EncodePng)->Args({48, 1})->Args({256, 1})->Args({256, 6})->Unit(benchmark::kMicrosecond);

std::vector<std::uint8_t> StoredPng() {
    std::vector<std::uint8_t> png;
    EncodePng(IconPicture(256), png, 6);
    return png;
}

void BM_ReadPngImage(benchmark::State& state) {
    const std::vector<std::uint8_t> png = StoredPng();
    for (auto _ : state) {
        CKvIcon icon;
        benchmark::DoNotOptimize(icon.ReadImage(png, static_cast<std::uint32_t>(png.size()), 0));
    }
}
BENCHMARK(BM_ReadPngImage)->Unit(benchmark::kMicrosecond);

void BM_CheckIntactPng(benchmark::State& state) {
    const std::vector<std::uint8_t> png = StoredPng();
    for (auto _ : state) benchmark::DoNotOptimize(IsIntactPlainRgbaPng(png));
}
BENCHMARK(BM_CheckIntactPng)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tellurine
