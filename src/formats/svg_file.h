// SVG drawings, rendered by librsvg at any size from the vector itself. A drawing is untrusted
// input: nothing it refers to outside itself is fetched, and its size is capped.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "image/block.h"

namespace tellurine {

// Largest SVG file read, and the largest side a drawing is rendered at.
inline constexpr std::size_t kMaxSvgBytes = std::size_t{32} * 1024 * 1024;
inline constexpr int kMaxSvgSide = 8192;

// Whether a file is an SVG drawing: by its extension (.svg, .svgz), or by "<svg" among its first
// bytes.
bool IsSvgFile(const std::string& path, std::span<const std::uint8_t> head);

class SvgDrawing {
public:
    SvgDrawing();
    ~SvgDrawing();
    SvgDrawing(const SvgDrawing&) = delete;
    SvgDrawing& operator=(const SvgDrawing&) = delete;

    // Reads a drawing (plain or gzip-compressed) from its bytes or its file. False, with the
    // reason in `error`, for anything librsvg cannot read, or bytes past kMaxSvgBytes.
    bool Load(std::span<const std::uint8_t> bytes, std::string& error);
    bool LoadFile(const std::string& path, std::string& error);

    // The drawing's own size in pixels (from its width and height, else its view box); 0 x 0 when
    // it has neither.
    [[nodiscard]] int Width() const { return width_; }
    [[nodiscard]] int Height() const { return height_; }

    // The drawing rendered into a transparent width x height picture (each side 1 to
    // kMaxSvgSide), its aspect ratio kept and centred as its own preserveAspectRatio says, as a
    // 32-bit packed bitmap with straight (not premultiplied) alpha. Empty when nothing is loaded
    // or memory runs out. Safe to call from several threads (one rendering at a time).
    [[nodiscard]] Block Render(int width, int height) const;

private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
    int width_ = 0, height_ = 0;
    mutable std::mutex mutex_;
};

}  // namespace tellurine
