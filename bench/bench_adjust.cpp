// Colour adjustments, what a live preview runs on every change of a slider: the slowest kinds
// (hue / saturation / lightness and colourize, computed per colour; levels and gamma, one table)
// on a 256 x 256 and a 1024 x 1024 format of varied colours, and a drop shadow; then every
// format of a 10-format icon at once. Goals: 16 ms at 256, 60 ms at 1024, 100 ms for the icon.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "icon/format_edit.h"
#include "icon/format_maker.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "imaging/adjust.h"

namespace tellurine {
namespace {

// A picture whose colours hardly repeat along a row, so the per-colour cache does not help.
Block Picture(std::int32_t side) {
    Block b = CreateDibBlock(side, side, 32);
    const auto layout = GetDibLayout(b);
    std::uint32_t seed = 7;
    for (std::int32_t y = 0; y < side; ++y) {
        std::uint8_t* p = b.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < side; ++x, p += 4) {
            seed = seed * 1664525U + 1013904223U;
            p[0] = static_cast<std::uint8_t>(seed >> 24);
            p[1] = static_cast<std::uint8_t>(x * 255 / side);
            p[2] = static_cast<std::uint8_t>(y * 255 / side);
            p[3] = static_cast<std::uint8_t>(seed >> 16);
        }
    }
    return b;
}

ColorAdjustment Kind(int kind) {
    ColorAdjustment a;
    if (kind == 0) {
        a.hue = 40;
        a.saturation = 20;
        a.lightness = -10;
    } else if (kind == 1) {
        a.colorize = true;
        a.colorizeHue = 200;
    } else {
        a.inputBlack = 10;
        a.levelsGamma = 1.4;
        a.gamma = 1.2;
        a.brightness = 10;
        a.contrast = 20;
    }
    return a;
}

void AdjustPicture(benchmark::State& state) {
    const auto side = static_cast<std::int32_t>(state.range(0));
    const Block original = Picture(side);
    Block work = original.Duplicate();
    const ColorAdjuster adjuster(Kind(static_cast<int>(state.range(1))));
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(work.data(), original.data(), work.size());
        state.ResumeTiming();
        const auto layout = GetDibLayout(work);
        for (std::int32_t y = 0; y < side; ++y) adjuster.AdjustBgr(work.data() + layout->RowOffset(y), side, 4);
        benchmark::ClobberMemory();
    }
    state.SetLabel(state.range(1) == 0 ? "hue/saturation/lightness" : state.range(1) == 1 ? "colorize" : "levels+gamma");
}
BENCHMARK(AdjustPicture)->ArgsProduct({{256, 1024}, {0, 1, 2}})->Unit(benchmark::kMillisecond);

void Shadow(benchmark::State& state) {
    const Block original = Picture(static_cast<std::int32_t>(state.range(0)));
    DropShadow shadow;
    shadow.radius = 8;
    for (auto _ : state) benchmark::DoNotOptimize(WithDropShadow(original, shadow, false));
}
BENCHMARK(Shadow)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);

// 16 to 256 at 32 bits and 16 to 48 at 8 and 4 bits, as an application icon has them.
void WholeIcon(benchmark::State& state) {
    CDIB picture;
    picture.Attach(Picture(256));
    std::vector<CKvIcon> formats;
    for (const auto& [size, bits] : std::vector<std::pair<int, int>>{
             {16, 32}, {24, 32}, {32, 32}, {48, 32}, {64, 32}, {256, 32}, {16, 8}, {32, 8}, {48, 8}, {32, 4}}) {
        CKvIcon icon;
        MakeFormatFromImage(picture, size, size, bits, icon);
        formats.push_back(std::move(icon));
    }
    const ColorAdjuster adjuster(Kind(0));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<CKvIcon> work = formats;
        state.ResumeTiming();
        for (CKvIcon& icon : work) AdjustFormat(icon, adjuster);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(WholeIcon)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tellurine
