// The thumbnail of an icon container for a file manager: one picture of the file, chosen among its
// formats for the size asked and resampled to fit it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>


namespace tellurine {

// A format's size and depth, as far as choosing among formats needs them.
struct ThumbnailCandidate {
    std::int32_t width = 0;
    std::int32_t height = 0;
    int bits = 0;
};

// The format a thumbnail of `size` pixels is made from, by its longest side: the smallest of those
// at least `size`, else the largest; of formats that size, the deepest, then the first. -1 when
// there is none.
int ChooseThumbnailFormat(std::span<const ThumbnailCandidate> formats, int size);

// The size a width x height picture is shown at in a `size` square: shrunk to fit, its aspect
// kept (each side at least 1), never enlarged.
struct ThumbnailDimensions {
    std::int32_t width = 0;
    std::int32_t height = 0;
};
ThumbnailDimensions FitThumbnail(std::int32_t width, std::int32_t height, int size);

// Makes the thumbnail of the icon container whose bytes are given (`path` names it, whose
// extension tells resource and MacBinary files apart; nothing is read from it): the format
// ChooseThumbnailFormat picks from the first icon (a program's first icon group, whose images
// are read only once chosen; an animated cursor's first step), resampled by ResampleQuality::High
// to FitThumbnail's size, as an 8-bit RGBA PNG stream (straight alpha). A format stored as a plain
// RGBA PNG stream that needs no resampling is given as it is stored, unchanged and not decoded
// again (a program's when the stream is intact, IsIntactPlainRgbaPng). False, with `error` set,
// when the bytes hold no icon that can be read or memory runs out.
bool MakeIconThumbnail(const std::string& path, std::span<const std::uint8_t> bytes, int size,
                       std::vector<std::uint8_t>& png, std::string& error);

}  // namespace tellurine
