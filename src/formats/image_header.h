// What one stored icon image is, told from its own header without making its pixels: for listing
// the images of a program, where reading every picture would cost far more than the listing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace tellurine {

// The format an image reads as: what CKvIcon holds after reading it.
struct StoredImageFormat {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint32_t colors = 0;  // colour-table entries; 0 for true colour
    bool alpha = false;
    bool png = false;  // stored PNG-compressed
    // Bits per pixel, as CKvIcon::FormatBits derives them.
    [[nodiscard]] int Bits() const;

    friend bool operator==(const StoredImageFormat&, const StoredImageFormat&) = default;
};

// The format CKvIcon::ReadImage(data, data.size(), 0) gives the image that starts at `data`, or
// nothing exactly when that read fails (for a reason other than memory running out).
//  - Bitmap form: everything is decided by the header and the data's length, as the reader
//    decides it; no pixel is read.
//  - PNG form: always 32 bits with alpha, at the stream's size. A plain 8-bit RGBA stream in
//    perfect order (the form icons almost always hold) is checked without making any pixel
//    (chunk CRCs, the zlib stream inflated into a reused buffer, the row filters); any other
//    stream is decoded, its rows overwriting one reused row, since only decoding it tells
//    whether it can be read.
std::optional<StoredImageFormat> DescribeStoredImage(std::span<const std::uint8_t> data);

}  // namespace tellurine
