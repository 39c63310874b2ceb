#include "formats/image_header.h"

#include <cstring>
#include <new>
#include <vector>

#include "icon/kv_icon.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"

namespace tellurine {

namespace {

// The longer bitmap information headers an icon image may begin with (the reader takes their
// first 40 bytes).
constexpr std::size_t kV4HeaderSize = 108;
constexpr std::size_t kV5HeaderSize = 124;

// What the reader decides from a bitmap-form image's header: the format, when the header is one
// it reads, the format is one it can hold, and the data holds the header, the colour table and
// the colour pixels (the AND mask may stop short).
std::optional<StoredImageFormat> DescribeBitmap(std::span<const std::uint8_t> data) {
    if (data.size() < kInfoHeaderSize) return std::nullopt;
    const BitmapInfoHeader header = BitmapInfoHeader::Load(data.data());
    const std::size_t headerSize = header.size;
    if (headerSize != kInfoHeaderSize && headerSize != kV4HeaderSize && headerSize != kV5HeaderSize)
        return std::nullopt;
    StoredImageFormat format;
    format.width = header.width;
    format.height = header.height / 2;
    format.colors = header.clrUsed;
    if (format.colors == 0 && header.bitCount <= 8) format.colors = std::uint32_t{1} << header.bitCount;
    format.alpha = header.bitCount == 32;
    const std::size_t extra = headerSize - kInfoHeaderSize;
    IconImageLayout layout;
    if (!CKvIcon::ComputeLayout(format.width, format.height, format.colors, format.alpha, layout) ||
        layout.maskOffset > data.size() || extra > data.size() - layout.maskOffset)
        return std::nullopt;
    return format;
}

// The row every decoded row of a listed PNG image is written over, one per thread, kept from one
// image to the next.
std::vector<std::uint8_t>& ScratchRow() {
    thread_local std::vector<std::uint8_t> row;
    return row;
}

// A PNG-form image: read at 32 bits with alpha whatever its directory says, so its format is
// known once the stream is known to decode.
std::optional<StoredImageFormat> DescribePng(std::span<const std::uint8_t> data) {
    StoredImageFormat format;
    format.alpha = true;
    format.png = true;
    IconImageLayout layout;
    if (IsIntactPlainRgbaPng(data)) {
        // Such a stream decodes, at its header's size; the reader then takes it when an icon
        // block of that size can be made.
        format.width = static_cast<std::int32_t>(LoadBE32(data.data() + 16));
        format.height = static_cast<std::int32_t>(LoadBE32(data.data() + 20));
        if (!CKvIcon::ComputeLayout(format.width, format.height, 0, true, layout)) return std::nullopt;
        return format;
    }
    // Anything else is decoded, the reader's way, refusing the same sizes it refuses; every row
    // lands on the same reused row, since no pixel is kept.
    bool refused = false;
    const bool decoded = DecodePngToBgra(data, [&](std::int32_t w, std::int32_t h) -> BgraRows {
        format.width = w;
        format.height = h;
        refused = !CKvIcon::ComputeLayout(w, h, 0, true, layout);
        if (refused) return {};
        std::vector<std::uint8_t>& row = ScratchRow();
        try {
            if (row.size() < layout.colorStride) row.resize(layout.colorStride);
        } catch (const std::bad_alloc&) {
            refused = true;
            return {};
        }
        return {row.data(), 0};
    });
    if (!decoded || refused) return std::nullopt;
    return format;
}

}  // namespace

int StoredImageFormat::Bits() const { return CKvIcon::FormatBits(colors, alpha); }

std::optional<StoredImageFormat> DescribeStoredImage(std::span<const std::uint8_t> data) {
    if (data.size() >= 4 && LoadU32(data.data()) == kPngSignature) return DescribePng(data);
    return DescribeBitmap(data);
}

}  // namespace tellurine
