// What the fuzz targets of the readers share: the entry point, which hands the target's FuzzInput
// every input but those over the size caps, and the check that stops the run. A few bytes of PNG
// or JPEG 2000 header can ask for a picture of thousands of pixels a side, and a reader that
// accepts it spends milliseconds decoding it and more writing it back: at that pace a run explores
// nothing. The readers' own limits suit real files; here an input that declares a larger stream
// anywhere in its bytes is simply passed over, so every run stays at small pictures whatever the
// reader's rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "imaging/codecs.h"
#include "imaging/jpeg2000.h"

namespace tellurine::fuzz {

// Largest PNG stream decoded (128 x 128, the largest classic Macintosh element), and the largest
// JPEG 2000 stream: those go through the uninstrumented image library at about 0.15 ms per
// thousand pixels, so they are kept to 64 x 64.
inline constexpr std::int64_t kMaxPngPixels = 128 * 128;
inline constexpr std::int64_t kMaxJpeg2000Pixels = 64 * 64;
// Largest side of a picture written back by a round trip: above it the Macintosh writer encodes
// JPEG 2000 or PNG.
inline constexpr std::int32_t kMaxWrittenSide = 128;

// True when some PNG or JPEG 2000 stream starts anywhere in `bytes` and declares more pixels than
// the caps above. A stream whose header does not parse is left to the reader, which refuses it.
inline bool DeclaresLargePicture(std::span<const std::uint8_t> bytes) {
    static constexpr std::uint8_t kPng[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    static constexpr std::uint8_t kJp2[] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', '\r', '\n', 0x87, '\n'};
    static constexpr std::uint8_t kCodestream[] = {0xFF, 0x4F, 0xFF, 0x51};
    const auto tooLarge = [&](std::span<const std::uint8_t> from, bool png) {
        std::int32_t width = 0, height = 0;
        if (png) return PngDimensions(from, width, height) && std::int64_t{width} * height > kMaxPngPixels;
        return Jpeg2000Dimensions(from, width, height) && std::int64_t{width} * height > kMaxJpeg2000Pixels;
    };
    const auto scan = [&](const std::uint8_t* signature, std::size_t length, bool png) {
        const std::uint8_t* const end = bytes.data() + bytes.size();
        for (const std::uint8_t* p = bytes.data(); static_cast<std::size_t>(end - p) >= length; ++p) {
            p = static_cast<const std::uint8_t*>(std::memchr(p, signature[0], static_cast<std::size_t>(end - p)));
            if (p == nullptr || static_cast<std::size_t>(end - p) < length) return false;
            if (std::memcmp(p, signature, length) == 0 &&
                tooLarge(std::span<const std::uint8_t>(p, static_cast<std::size_t>(end - p)), png))
                return true;
        }
        return false;
    };
    return scan(kPng, sizeof kPng, true) || scan(kJp2, sizeof kJp2, false) ||
           scan(kCodestream, sizeof kCodestream, false);
}

// A failed check stops the run, so that the fuzzer keeps the input.
inline void Check(bool condition) {
    if (!condition) __builtin_trap();
}

// What the target does with one input, defined in the target's own file.
void FuzzInput(std::span<const std::uint8_t> bytes);

}  // namespace tellurine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    if (!tellurine::fuzz::DeclaresLargePicture(bytes)) tellurine::fuzz::FuzzInput(bytes);
    return 0;
}
