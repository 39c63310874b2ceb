#include "image/mask.h"

#include <cstring>
#include <new>

#include "image/archive.h"
#include "image/dib_block.h"

namespace tellurine {

CMask::CMask(const CMask& other) : attribute(other.attribute) {
    if (other.width_ != 0 && other.height_ != 0 && !other.values_.empty())
        Assign(other.width_, other.height_, other.values_.data());
}

CMask& CMask::operator=(const CMask& other) {
    if (this == &other) return *this;
    Clear();
    attribute = other.attribute;
    if (other.width_ != 0 && other.height_ != 0 && !other.values_.empty())
        Assign(other.width_, other.height_, other.values_.data());
    return *this;
}

int CMask::Allocate(std::uint32_t width, std::uint32_t height) {
    values_.clear();
    values_.shrink_to_fit();
    width_ = 0;
    height_ = 0;
    std::size_t count = 0;
    if (width == 0 || height == 0 || !CheckedMul(width, height, count) || count > kMaxBlockBytes) return 0;
    try {
        values_.assign(count, 0);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    width_ = width;
    height_ = height;
    return 1;
}

int CMask::Assign(std::uint32_t width, std::uint32_t height, const std::uint8_t* values) {
    if (values == nullptr || !Allocate(width, height)) return 0;
    std::memcpy(values_.data(), values, values_.size());
    return 1;
}

void CMask::Clear() {
    values_.clear();
    values_.shrink_to_fit();
    width_ = 0;
    height_ = 0;
    attribute = 0;
}

Block CMask::ToBitmap() const {
    if (IsEmpty()) return {};
    Block block = CreateDibBlock(static_cast<std::int32_t>(width_), static_cast<std::int32_t>(height_), 32);
    const auto layout = GetDibLayout(block);
    if (!layout) return {};
    for (std::uint32_t y = 0; y < height_; ++y) {
        std::uint8_t* d = block.data() + layout->RowOffset(static_cast<std::int32_t>(y));
        const std::uint8_t* m = values_.data() + std::size_t{y} * width_;
        for (std::uint32_t x = 0; x < width_; ++x, d += 4) {
            d[0] = d[1] = d[2] = m[x];
            d[3] = 255;
        }
    }
    return block;
}

namespace {

// Reallocates the mask to the block's size and takes byte `channel` of every pixel.
int FromChannel(CMask& mask, const Block& block, int channel, bool allow24) {
    const auto layout = GetDibLayout(block);
    if (!layout || !(layout->bitCount == 32 || (allow24 && layout->bitCount == 24))) return 0;
    const auto w = static_cast<std::uint32_t>(layout->width), h = static_cast<std::uint32_t>(layout->height);
    if (!mask.Allocate(w, h)) return 0;
    const std::size_t bytes = static_cast<std::size_t>(layout->bitCount / 8);
    std::uint8_t* m = mask.Values().data();
    for (std::uint32_t y = 0; y < h; ++y) {
        const std::uint8_t* s = block.data() + layout->RowOffset(static_cast<std::int32_t>(y)) + channel;
        for (std::uint32_t x = 0; x < w; ++x, s += bytes) *m++ = *s;
    }
    return 1;
}

}  // namespace

int CMask::FromRedChannel(const Block& block) { return FromChannel(*this, block, 2, true); }

int CMask::FromAlpha(const Block& block) { return FromChannel(*this, block, 3, false); }

int CMask::ApplyToBitmap(Block& block) const {
    if (IsEmpty()) return 0;
    const auto layout = GetDibLayout(block);
    if (!layout || layout->coreHeader) return 0;
    const int bits = layout->bitCount;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return 0;
    if (static_cast<std::uint32_t>(layout->width) != width_ || static_cast<std::uint32_t>(layout->height) != height_)
        return 0;
    for (std::uint32_t y = 0; y < height_; ++y) {
        std::uint8_t* row = block.data() + layout->RowOffset(static_cast<std::int32_t>(y));
        const std::uint8_t* m = values_.data() + std::size_t{y} * width_;
        for (std::uint32_t x = 0; x < width_; ++x) {
            const unsigned v = m[x];
            switch (bits) {
                case 24: {
                    std::uint8_t* p = row + 3 * std::size_t{x};
                    for (int c = 0; c < 3; ++c) p[c] = static_cast<std::uint8_t>(p[c] * v / 255);
                    break;
                }
                case 32: {
                    std::uint8_t* a = row + 4 * std::size_t{x} + 3;
                    if (v < 255) *a = static_cast<std::uint8_t>(*a * v / 255);
                    break;
                }
                default:
                    if (v < 128) WriteIndex(row, static_cast<std::int32_t>(x), bits, 0);
                    break;
            }
        }
    }
    return 1;
}

bool CMask::Serialize(Archive& ar) {
    if (ar.IsStoring()) {
        if ((width_ & height_) != 0 && !values_.empty()) {
            ar.WriteU32(width_);
            ar.WriteU32(height_);
            ar.Write(values_.data(), values_.size());
        } else {
            ar.WriteU32(0);
        }
        return true;
    }
    std::uint32_t width = 0, height = 0;
    if (!ar.ReadU32(width)) return false;
    if (width == 0) {
        Clear();
        return true;
    }
    if (!ar.ReadU32(height)) return false;
    // The archive form carries square masks only: the values are read as width x width and the
    // height is taken equal to the width.
    const std::size_t count = std::size_t{width} * width;
    if (count > ar.Remaining()) return false;
    if (!Allocate(width, width)) {
        Clear();
        return ar.Skip(count);
    }
    return ar.Read(values_.data(), count);
}

}  // namespace tellurine
