// Thumbnails as tellurine-thumbnailer makes them, from the file's bytes in memory to the PNG stream
// (the program's start, the file's reading and the PNG's writing are timed whole by scripts/bench):
// a 7-format icon (16 to 256 pixels, 256 as PNG) at the two sizes file managers ask for, and a
// library of 140 such groups, 17 MB, of which only the first group's chosen image is decoded.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/ico_file.h"
#include "formats/icon_thumbnail.h"
#include "formats/ne_resources.h"
#include "formats/pe_writer.h"
#include "icon/format_maker.h"
#include "image/dib_block.h"
#include "imaging/resample.h"

namespace tellurine {
namespace {

// A soft round shape on a transparent ground, shaded: what icons are.
Block IconPicture(std::int32_t side) {
    Block b = CreateDibBlock(side, side, 32);
    const auto layout = GetDibLayout(b);
    for (std::int32_t y = 0; y < side; ++y) {
        std::uint8_t* p = b.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < side; ++x, p += 4) {
            const double dx = (x + 0.5) / side - 0.5, dy = (y + 0.5) / side - 0.5;
            const double r = std::sqrt(dx * dx + dy * dy) * 2;
            p[0] = static_cast<std::uint8_t>(60 + 120 * (1 - std::min(r, 1.0)));
            p[1] = static_cast<std::uint8_t>(130 + 100 * dy);
            p[2] = static_cast<std::uint8_t>(200 - 80 * dx * dy);
            p[3] = static_cast<std::uint8_t>(255 * std::clamp((1.0 - r) * side / 3.0, 0.0, 1.0));
        }
    }
    return b;
}

std::vector<std::uint8_t> SevenFormatIcon() {
    const Block picture = IconPicture(256);
    CIconDoc doc;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        CKvIcon icon;
        FormatFromPicture(ResampleDib(picture, size, size, ResampleQuality::High), 32, icon);
        icon.SetCompressed(size == 256);
        doc.AddFormat(std::move(icon));
    }
    std::vector<std::uint8_t> file;
    WriteIconFile(doc, false, file);
    return file;
}

void BM_IconThumbnail(benchmark::State& state) {
    const std::vector<std::uint8_t> file = SevenFormatIcon();
    const int size = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<std::uint8_t> png;
        std::string error;
        MakeIconThumbnail("icon.ico", file, size, png, error);
        benchmark::DoNotOptimize(png.data());
    }
}
BENCHMARK(BM_IconThumbnail)->Arg(128)->Arg(256)->Unit(benchmark::kMicrosecond);

void BM_LibraryThumbnail(benchmark::State& state) {
    const std::vector<LibraryGroup> groups(140, LibraryGroup{{std::uint16_t{1}, {}}, SevenFormatIcon()});
    std::vector<LibraryGroup> numbered = groups;
    for (std::size_t i = 0; i < numbered.size(); ++i) numbered[i].name.id = static_cast<std::uint16_t>(i + 1);
    const auto library = WriteResourceLibrary(numbered, true);
    for (auto _ : state) {
        std::vector<std::uint8_t> png;
        std::string error;
        MakeIconThumbnail("library.dll", *library, 128, png, error);
        benchmark::DoNotOptimize(png.data());
    }
    state.counters["MB"] = static_cast<double>(library->size()) / 1e6;
}
BENCHMARK(BM_LibraryThumbnail)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tellurine
