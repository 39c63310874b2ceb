// Resampling of packed bitmaps to another size.
#pragma once

#include <cstdint>
#include <memory>

#include "image/block.h"

namespace tellurine {

// How a picture is resampled. Standard is the rule ResampleDib describes, the one icons have
// always been made with. High is a Lanczos filter (three lobes, widened by the shrink factor) on
// alpha-weighted colours with pixel centres aligned: sharper at small sizes, and exact about the
// middle, so a picture symmetric about its centre stays symmetric at every size. The same size
// gives a byte-for-byte copy either way.
enum class ResampleQuality { Standard, High };

// A new packed bitmap of exactly newWidth x newHeight with the source's depth, by area averaging
// when both axes shrink and bilinear interpolation otherwise. An enlargement by a whole factor k
// on an axis is computed k - 1 pixels larger on that axis, and the extra rows at the top and
// columns at the right are then cropped away. The same size gives a byte-for-byte copy.
// 24- and 32-bit sources only; empty when a size is not in 1..kMaxDibDimension (the enlarged
// working size included), the block is malformed, or memory runs out. The source is neither
// changed nor freed.
Block ResampleDib(const Block& dib, std::int32_t newWidth, std::int32_t newHeight);
Block ResampleDib(const Block& dib, std::int32_t newWidth, std::int32_t newHeight, ResampleQuality quality);

// A coarser level of a picture, as a JPEG 2000 stream's resolution levels are: each of its pixels
// stands where the full picture's pixel (x * step, y * step) does, counted from the top left.
struct PictureLevel {
    std::int32_t fullWidth = 0;
    std::int32_t fullHeight = 0;
    std::int32_t step = 1;
};
// `dib`, such a level, resampled with the High quality as the full picture would be: each new
// pixel centred where it lies on the full picture, so that the level's pixels, which stand off
// the centres of the blocks they sum up, do not shift the edges. Empty as ResampleDib's, and for a
// level whose size is not the full one divided by its step, rounded up.
Block ResampleLevel(const Block& dib, const PictureLevel& level, std::int32_t newWidth, std::int32_t newHeight);

// A 32-bit picture shrunk to newWidth x newHeight (each at most the picture's own) for display:
// each new pixel the average of the area it covers, weighted by alpha so that the colours of
// transparent pixels do not show. Much cheaper than ResampleDib, for thumbnails rather than
// formats. Empty for another depth, a larger size or when memory runs out.
Block ShrinkDib32(const Block& dib, std::int32_t newWidth, std::int32_t newHeight);

// One picture resampled to several sizes: each result equals ResampleDib's, while the picture's
// colour bleeding (and a 24-bit picture's 32-bit copy) is made once for all of them. Resample may be called from
// several threads at once. The block must outlive this object and stay unchanged. `threads` is
// how many threads the bleeding may use. With the High quality nothing is bled: the picture is
// read as it is for every size.
class PreparedResample {
public:
    explicit PreparedResample(const Block& dib, unsigned threads = 1,
                              ResampleQuality quality = ResampleQuality::Standard);
    // The same for a picture handed over, which is then the bled copy itself: no copy of it is
    // made, and with the Standard quality only sizes smaller on both axes can be had (others are
    // empty).
    PreparedResample(Block&& dib, unsigned threads, ResampleQuality quality = ResampleQuality::Standard);
    ~PreparedResample();
    PreparedResample(const PreparedResample&) = delete;
    PreparedResample& operator=(const PreparedResample&) = delete;

    [[nodiscard]] Block Resample(std::int32_t newWidth, std::int32_t newHeight) const;
    // The picture: the block given, or the one handed over (bled once a shrink was made).
    [[nodiscard]] const Block& Source() const { return *dib_; }

private:
    [[nodiscard]] Block ResampleHigh(std::int32_t newWidth, std::int32_t newHeight,
                                     const PictureLevel* level = nullptr) const;
    friend Block ResampleLevel(const Block&, const PictureLevel&, std::int32_t, std::int32_t);

    struct Work;
    const Block* dib_ = nullptr;
    std::unique_ptr<Work> work_;
};

// A new packed bitmap holding the inclusive rectangle (rows counted from the top of the picture).
// 8, 24 and 32 bits per pixel; coordinates are clamped to the image. Empty on failure.
Block CropDib(const Block& dib, std::int32_t left, std::int32_t top, std::int32_t right, std::int32_t bottom);

}  // namespace tellurine
