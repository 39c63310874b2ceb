// JPEG 2000 streams to and from 32-bit pictures, in memory (no temporary files).
//
// The large elements of Macintosh icon families hold either a PNG stream or a JPEG 2000 stream,
// as a JP2 file or as a bare codestream. Streams are decoded through the general image library
// (FreeImage, loaded on first use) and encoded through OpenJPEG.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "image/block.h"

namespace tellurine {

// True when the bytes begin with a JP2 file's 12-byte signature box or with the first two markers
// of a bare codestream (start of codestream, then the image and tile size marker).
bool IsJpeg2000Stream(std::span<const std::uint8_t> bytes);

// Width and height without decoding: from the image header box inside the JP2 header box of a JP2
// file, or from the size marker of a bare codestream (its image area, without the offsets). False
// when the stream is neither, the header is missing or damaged, or a side is 0 or over
// kMaxDibDimension. Callers use it to refuse absurd sizes before decoding.
bool Jpeg2000Dimensions(std::span<const std::uint8_t> bytes, std::int32_t& width, std::int32_t& height);

// Decodes a JPEG 2000 stream into 8-bit BGRA rows, top row first, `width` x 4 bytes each, like
// DecodePngToBgra. Grey, grey with alpha, RGB (alpha 255) and RGBA streams of 1 to 16 bits a
// sample are accepted; deeper samples keep their high byte, shallower ones are stretched to 0-255.
// Refused before anything is decoded: a picture of more than `maxPixels` pixels, a codestream
// whose size disagrees with the JP2 header, subsampled components or components of different
// depths, more than 4 components, more than 4,096 tiles, and palette-mapped JP2 files. False on
// any failure, including a damaged or truncated stream and a decoded size other than the header's;
// the arguments are then left as they were. Without the image library (not installed, or a program
// linked statically) grey and RGB streams are decoded through OpenJPEG alone, and others refused.
bool DecodeJpeg2000ToBgra(std::span<const std::uint8_t> bytes, std::int32_t& width, std::int32_t& height,
                          Block& pixels, std::int64_t maxPixels);

// The same, for a picture that is only looked at, at least `atLeast` pixels on each side: the
// stream is decoded at the coarsest of its resolution levels (up to five dropped, each halving the
// sides, rounding up) whose sides still reach `atLeast`, which is several times faster on a large
// picture. `width` and `height` are the sides decoded. Grey and RGB streams are decoded without
// the image library, also when no level can be dropped; any other stream, or one that cannot be
// decoded so, gives the whole picture as DecodeJpeg2000ToBgra does.
bool DecodeJpeg2000Reduced(std::span<const std::uint8_t> bytes, std::int32_t atLeast, std::int32_t& width,
                           std::int32_t& height, Block& pixels, std::int64_t maxPixels);

// How many threads a reduced decode of a picture of 128 x 128 or more shares its code blocks
// among: 1 at first, at most 8. The same pixels come out on any number. A program that makes one
// picture while someone waits for it (the thumbnailer) gives it the machine's cores: a 256-pixel
// family's thumbnail then comes in 16 ms instead of 21 on two; one that already decodes several
// pictures at once (the explorer's tiles) keeps 1.
void SetReducedDecodeThreads(int threads);

// Encodes a 32-bit packed bitmap (alpha as stored) as a JP2 file of four 8-bit components, red,
// green, blue and alpha, the last marked as alpha, with `comment` in the codestream's comment
// marker (null: OpenJPEG's own comment; at most 65,531 characters).
//
// The stream is lossless: every byte of every pixel, alpha and the colour under alpha 0 included,
// comes back unchanged. Settings: reversible 5/3 wavelet, the reversible colour transform on red,
// green and blue (alpha on its own), one quality layer without a rate, one tile, 64 x 64 code
// blocks, 6 resolution levels (fewer on pictures under 32 pixels, which cannot hold 6), code
// blocks coded on 2 threads. Measured on a 2-core machine with 256 and 512-pixel icons, 18 real
// ones taken from icon families and bench_jpeg2000's gradient disc:
// - encoding takes 9 ms at 256 and 18.5 ms at 512 (the disc; 6-12 and 14-33 ms for the real
//   ones); on one thread it takes 12 and 32 ms: 2 threads save 25-50%;
// - decoding (through the image library, always on one thread) takes 9.3 and 25 ms;
// - streams are 33 KB and 83 KB for the disc, 11-54 KB and 30-193 KB for the real icons: as small
//   as the streams those icons were stored in (within 0.03%, or smaller);
// - the colour transform makes real icons' streams up to 62% smaller (half of them by a quarter
//   or more), and coding no slower;
// - 4 or 5 resolution levels instead of 6 change neither time beyond the noise (about 10%) and
//   make streams up to 5% larger; 3 levels, up to 14% larger;
// - 64 x 64 is the largest code-block area there is; 32 x 32, 128 x 32 and 32 x 128 blocks were
//   no faster and up to 5% larger;
// - coding without arithmetic coding in the lower bit planes ("bypass") saves 5-20% of encoding
//   and 20-30% of decoding time but makes the streams 8-42% larger, so it is off.
// False, with `out` empty, for anything but a well-formed 32-bit bitmap, a comment too long,
// memory running out, or an encoder error.
bool EncodeJpeg2000(const Block& dib32, std::vector<std::uint8_t>& out, const char* comment);

}  // namespace tellurine
