// CMask: an 8-bit opacity map of a bitmap's size, one byte per pixel in the bitmap's row order
// (row 0 is the bottom row), 255 opaque and 0 transparent.
#pragma once

#include <cstdint>
#include <vector>

#include "image/block.h"

namespace tellurine {

class Archive;

class CMask {
public:
    static constexpr const char* kClassName = "CMask";

    CMask() = default;
    // Construction and assignment copy through Assign, and give an empty mask when the other has
    // a zero width, a zero height or no values.
    CMask(const CMask& other);
    CMask& operator=(const CMask& other);
    CMask(CMask&&) noexcept = default;
    CMask& operator=(CMask&&) noexcept = default;

    [[nodiscard]] std::uint32_t Width() const { return width_; }
    [[nodiscard]] std::uint32_t Height() const { return height_; }
    [[nodiscard]] bool IsEmpty() const { return values_.empty(); }
    [[nodiscard]] const std::vector<std::uint8_t>& Values() const { return values_; }
    std::vector<std::uint8_t>& Values() { return values_; }
    [[nodiscard]] std::uint8_t At(std::uint32_t x, std::uint32_t row) const {
        return values_[static_cast<std::size_t>(row) * width_ + x];
    }

    std::int32_t attribute = 0;  // copied with the mask, cleared by Clear

    // Zero-filled values; on failure the mask is left empty and 0 is returned.
    int Allocate(std::uint32_t width, std::uint32_t height);
    // Copies width x height bytes from the caller; 0 on failure.
    int Assign(std::uint32_t width, std::uint32_t height, const std::uint8_t* values);
    void Clear();

    // A new 32-bit block: blue, green and red are the mask value, alpha 255. Empty for an empty mask.
    [[nodiscard]] Block ToBitmap() const;
    // From a 24- or 32-bit block: the mask takes the block's size and each pixel's red byte.
    int FromRedChannel(const Block& block);
    // From a 32-bit block: the mask takes the block's size and each pixel's alpha byte.
    int FromAlpha(const Block& block);
    // Combines the mask into a bitmap of the same size: indexed pixels go to index 0 below 128,
    // 24-bit colours are scaled by m / 255, 32-bit alpha is scaled by m / 255 below 255.
    int ApplyToBitmap(Block& block) const;

    // Archive form. Storing: width, height, values when (width & height) != 0 and there are
    // values, else a single 0. Loading reads the mask back as width x width, the height taken
    // equal to the width: the archive form only carries square masks.
    bool Serialize(Archive& ar);

private:
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::vector<std::uint8_t> values_;
};

}  // namespace tellurine
