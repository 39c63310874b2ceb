// Image filters on a 1024 x 1024 32-bit picture: the Gaussian blur at small, default and large
// radii (the time should not depend on the radius), and two of the menu's convolution filters.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "image/dib_block.h"
#include "imaging/filters.h"

namespace tellurine {
namespace {

constexpr std::int32_t kSide = 1024;

std::uint8_t ToByte(double v) {
    return static_cast<std::uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// A deterministic picture with gradients, a soft blob, noise and an alpha ramp.
const Block& Picture() {
    static const Block image = [] {
        Block b = CreateDibBlock(kSide, kSide, 32);
        const auto layout = GetDibLayout(b);
        std::uint32_t seed = 12345;
        for (std::int32_t y = 0; y < kSide; ++y) {
            std::uint8_t* p = b.data() + layout->RowOffset(y);
            for (std::int32_t x = 0; x < kSide; ++x, p += 4) {
                seed = seed * 1664525U + 1013904223U;
                const double noise = static_cast<double>((seed >> 24) & 31U) - 15.5;
                const double fx = x / double(kSide), fy = y / double(kSide);
                const double dx = fx - 0.6, dy = fy - 0.4;
                const double blob = 120.0 * std::exp(-(dx * dx + dy * dy) * 18.0);
                p[0] = ToByte(200 - 150 * fx * fy + noise);
                p[1] = ToByte(30 + 120 * fy + 60 * std::sin(fx * 6.0) + blob * 0.5 + noise);
                p[2] = ToByte(40 + 170 * fx + blob * 0.8 + noise);
                p[3] = ToByte(255 * fy);
            }
        }
        return b;
    }();
    return image;
}

// Each iteration filters a fresh copy; the copy is not timed.
template <typename Fn>
void RunOnCopies(benchmark::State& state, Fn&& fn) {
    Block work = Picture().Duplicate();
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(work.data(), Picture().data(), work.size());
        state.ResumeTiming();
        benchmark::DoNotOptimize(fn(work));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

void BM_GaussianBlur(benchmark::State& state) {
    const int radius = static_cast<int>(state.range(0));
    RunOnCopies(state, [radius](Block& dib) { return GaussianBlurDib(dib, radius, -1, -1, -1, -1); });
}
BENCHMARK(BM_GaussianBlur)->Arg(2)->Arg(8)->Arg(50)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ApplyFilter(benchmark::State& state) {
    const int filter = static_cast<int>(state.range(0));
    RunOnCopies(state, [filter](Block& dib) { return ApplyFilterToDib(dib, filter, -1, -1, -1, -1); });
    state.SetLabel(std::string(FilterMenuText(filter)));
}
BENCHMARK(BM_ApplyFilter)->Arg(kFilterSmooth)->Arg(kFilterDetails)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tellurine
