// Colour reduction of a 1024 x 1024 true-colour picture: building the optimal palette, and
// mapping onto it with and without error diffusion.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "image/dib_block.h"
#include "imaging/palette_map.h"
#include "imaging/quantizer.h"

namespace tellurine {
namespace {

constexpr std::int32_t kSide = 1024;

std::uint8_t ToByte(double v) {
    return static_cast<std::uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// A deterministic photo-like picture: smooth diagonal and radial gradients, a few soft
// blobs, and a little noise, so that it holds several hundred thousand distinct colours.
const Block& Photo() {
    static const Block image = [] {
        Block b = CreateDibBlock(kSide, kSide, 24);
        const auto layout = GetDibLayout(b);
        std::uint32_t seed = 12345;
        for (std::int32_t y = 0; y < kSide; ++y) {
            std::uint8_t* p = b.data() + layout->RowOffset(y);
            for (std::int32_t x = 0; x < kSide; ++x, p += 3) {
                seed = seed * 1664525U + 1013904223U;
                const double noise = static_cast<double>((seed >> 24) & 15U) - 7.5;
                const double fx = x / double(kSide), fy = y / double(kSide);
                const double dx = fx - 0.6, dy = fy - 0.4;
                const double r2 = dx * dx + dy * dy;
                const double blob = 120.0 * std::exp(-r2 * 18.0);
                p[2] = ToByte(40 + 170 * fx + blob * 0.8 + noise);
                p[1] = ToByte(30 + 120 * fy + 60 * std::sin(fx * 6.0) + blob * 0.5 + noise);
                p[0] = ToByte(200 - 150 * fx * fy + 40 * std::cos(fy * 9.0) + noise);
            }
        }
        return b;
    }();
    return image;
}

const Palette& PhotoPalette() {
    static const Palette palette = [] {
        int count = 256;
        return PaletteFromBlock(BuildOptimalPalette(Photo(), count, false));
    }();
    return palette;
}

void BM_BuildOptimalPalette256(benchmark::State& state) {
    const Block& image = Photo();
    for (auto _ : state) {
        int count = 256;
        Block palette = BuildOptimalPalette(image, count, false);
        benchmark::DoNotOptimize(palette.data());
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}
BENCHMARK(BM_BuildOptimalPalette256)->Unit(benchmark::kMillisecond);

void BM_MapToPalette(benchmark::State& state) {
    const Block& image = Photo();
    const Palette& palette = PhotoPalette();
    const bool dither = state.range(0) != 0;
    for (auto _ : state) {
        Block out = MapToPalette(image, palette, 256, dither);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
    state.SetLabel(dither ? "dither" : "nearest");
}
BENCHMARK(BM_MapToPalette)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tellurine
