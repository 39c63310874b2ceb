// Feeds arbitrary bytes to the PNG decoder. Whatever the short path for plain RGBA streams
// accepts, libpng must accept too, with the very same pixels.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "imaging/codecs.h"
#include "input_caps.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tellurine;
    const std::span<const std::uint8_t> bytes(data, size);
    if (fuzz::DeclaresLargePicture(bytes)) return 0;
    const Block automatic = DecodePng(bytes, 32, PngDecoder::Automatic);
    const Block reference = DecodePng(bytes, 32, PngDecoder::Libpng);
    if (!automatic.empty()) {
        if (reference.size() != automatic.size() ||
            std::memcmp(reference.data(), automatic.data(), automatic.size()) != 0)
            std::abort();
    }
    if (size > 0) DecodePng(bytes, data[0] % 2 ? 8 : 24);
    return 0;
}
