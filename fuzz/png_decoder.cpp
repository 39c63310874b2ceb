// Feeds arbitrary bytes to the PNG decoder. Whatever the short path for plain RGBA streams
// accepts, libpng must accept too, with the very same pixels. The same bytes are read as an image
// strip, whose cells written back read as the same cells.
#include <cstring>

#include "harness.h"
#include "formats/image_strip.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    const Block automatic = DecodePng(bytes, 32, PngDecoder::Automatic);
    const Block reference = DecodePng(bytes, 32, PngDecoder::Libpng);
    if (!automatic.empty()) {
        Check(reference.size() == automatic.size() &&
              std::memcmp(reference.data(), automatic.data(), automatic.size()) == 0);
    }
    if (!bytes.empty()) DecodePng(bytes, bytes[0] % 2 ? 8 : 24);

    CIconDoc strip;
    std::string error;
    // A sheet of several rows whose cells side by side would be wider than a picture can be is
    // the one strip that cannot be written back.
    if (ReadStripFile(bytes, strip, error) &&
        std::int64_t{strip.GetFormat(0)->Width()} * strip.GetFormatCount() <= kMaxDibDimension) {
        std::vector<std::uint8_t> written;
        CIconDoc again;
        Check(WriteStripFile(strip, written) && ReadStripFile(written, again, error) &&
              again.GetFormatCount() == strip.GetFormatCount());
    }
}
