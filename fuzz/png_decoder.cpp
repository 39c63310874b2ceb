// Feeds arbitrary bytes to the PNG decoder. Whatever the short path for plain RGBA streams
// accepts, libpng must accept too, with the very same pixels.
#include <cstring>

#include "harness.h"
#include "imaging/codecs.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    const Block automatic = DecodePng(bytes, 32, PngDecoder::Automatic);
    const Block reference = DecodePng(bytes, 32, PngDecoder::Libpng);
    if (!automatic.empty()) {
        Check(reference.size() == automatic.size() &&
              std::memcmp(reference.data(), automatic.data(), automatic.size()) == 0);
    }
    if (!bytes.empty()) DecodePng(bytes, bytes[0] % 2 ? 8 : 24);
}
