// JPEG 2000 encoding and decoding of the 256 and 512-pixel elements of Macintosh icon families.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "image/dib_block.h"
#include "imaging/jpeg2000.h"

namespace tellurine {
namespace {

// An icon-like 32-bit picture: a disc with a soft edge two percent of the side wide, filled with
// a diagonal blue-to-cyan gradient and a soft highlight, on a fully transparent background.
Block MakeIcon(std::int32_t side) {
    Block dib = CreateDibBlock(side, side, 32);
    const auto layout = GetDibLayout(dib);
    const double radius = 0.45 * side, edge = 0.02 * side;
    for (std::int32_t row = 0; row < side; ++row) {
        std::uint8_t* p = dib.data() + layout->RowOffset(side - 1 - row);
        for (std::int32_t x = 0; x < side; ++x, p += 4) {
            const double cx = x + 0.5 - side / 2.0, cy = row + 0.5 - side / 2.0;
            const double alpha = std::clamp((radius - std::hypot(cx, cy)) / edge, 0.0, 1.0);
            if (alpha <= 0) continue;  // transparent and black, as icon editors store it
            const double t = (x + row) / (2.0 * side);
            const double hx = cx + 0.2 * side, hy = cy + 0.2 * side;
            const double highlight = 60.0 * std::exp(-(hx * hx + hy * hy) / (0.02 * side * side));
            p[0] = static_cast<std::uint8_t>(std::min(255.0, 160 + 90 * t + highlight * 0.5));
            p[1] = static_cast<std::uint8_t>(std::min(255.0, 80 + 140 * t + highlight));
            p[2] = static_cast<std::uint8_t>(std::min(255.0, 30 + 100 * t + highlight));
            p[3] = static_cast<std::uint8_t>(std::lround(alpha * 255));
        }
    }
    return dib;
}

void BM_EncodeJpeg2000(benchmark::State& state) {
    const Block icon = MakeIcon(static_cast<std::int32_t>(state.range(0)));
    std::vector<std::uint8_t> stream;
    for (auto _ : state) {
        if (!EncodeJpeg2000(icon, stream, "Korvane")) state.SkipWithError("encoding failed");
        benchmark::DoNotOptimize(stream.data());
    }
    state.counters["stream_bytes"] = static_cast<double>(stream.size());
}
BENCHMARK(BM_EncodeJpeg2000)->Arg(256)->Arg(512)->Unit(benchmark::kMillisecond)->UseRealTime();  // the coding runs on other threads

void BM_DecodeJpeg2000(benchmark::State& state) {
    const auto side = static_cast<std::int32_t>(state.range(0));
    std::vector<std::uint8_t> stream;
    if (!EncodeJpeg2000(MakeIcon(side), stream, "Korvane")) state.SkipWithError("encoding failed");
    std::int32_t w = 0, h = 0;
    Block pixels;
    // The first call loads the image library; that start-up is not part of decoding.
    if (!DecodeJpeg2000ToBgra(stream, w, h, pixels, std::int64_t{side} * side))
        state.SkipWithError("decoding failed");
    for (auto _ : state) {
        DecodeJpeg2000ToBgra(stream, w, h, pixels, std::int64_t{side} * side);
        benchmark::DoNotOptimize(pixels.data());
    }
    state.counters["stream_bytes"] = static_cast<double>(stream.size());
}
BENCHMARK(BM_DecodeJpeg2000)->Arg(256)->Arg(512)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tellurine
