// Feeds arbitrary bytes to the layered document readers (Photoshop, OpenRaster, GIMP): a refusal leaves
// nothing and says why; a document read keeps every picture within its caps, and each size layer
// gives a square picture.
#include <cstdint>

#include "formats/layered_picture.h"
#include "harness.h"
#include "image/dib_block.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    LayeredPicture doc;
    std::string error;
    if (!ReadLayeredPicture(bytes, doc, error)) {
        Check(!error.empty() && doc.layers.empty() && doc.composite.empty() && doc.width == 0);
        return;
    }
    Check(doc.width >= 1 && doc.height >= 1 && DibWidth(doc.composite) == doc.width &&
          DibHeight(doc.composite) == doc.height && DibBitCount(doc.composite) == 32);
    std::int64_t pixels = std::int64_t{doc.width} * doc.height;
    for (const PictureLayer& layer : doc.layers) {
        if (layer.picture32.empty()) continue;
        Check(DibBitCount(layer.picture32) == 32);
        pixels += std::int64_t{DibWidth(layer.picture32)} * DibHeight(layer.picture32);
        for (const int size : {doc.width, 16}) {
            const Block square = SizeLayerPicture(doc, layer, size);
            if (!square.empty()) Check(DibWidth(square) == DibHeight(square) && DibBitCount(square) == 32);
        }
        const auto format = ParseFormatName(layer.name);
        if (format) Check(format->size >= 1 && format->size <= kMaxMadeFormatSize);
    }
    Check(pixels <= kMaxLayeredPixels);
}
