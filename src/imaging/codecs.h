// PNG streams to and from packed bitmaps, in memory (no temporary files). Plain RGBA streams are
// decoded, and every stream encoded, by this file's own code over libdeflate; libpng decodes the
// rest.
//
// Icons hold PNG-compressed images; decoding and encoding them must not cost the start-up of
// the general image library, which the icon commands never need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "image/block.h"

namespace tellurine {

// First four bytes of a PNG stream read as one little-endian 32-bit value.
inline constexpr std::uint32_t kPngSignature = 0x474E5089;

// True when the bytes begin with the full 8-byte PNG signature.
bool IsPngStream(std::span<const std::uint8_t> bytes);

// Width and height from the PNG header without decoding; false when the header is not there.
bool PngDimensions(std::span<const std::uint8_t> png, std::int32_t& width, std::int32_t& height);

// True for a PNG stream of 8-bit RGBA, not interlaced, of the given size (colour type 6, bit depth
// 8, interlace 0 in its header): decoding it at 32 bits and encoding the result again gives the
// same pixels, so such a stream can be written as it is.
bool IsPlainRgbaPng(std::span<const std::uint8_t> png, std::uint32_t width, std::uint32_t height);

// True when the stream is plain 8-bit RGBA (see IsPlainRgbaPng) and in perfect order: every chunk's
// CRC right, the compressed data one intact zlib stream giving exactly the image's filtered rows,
// every row filter known. Such a stream decodes, and holds exactly the picture decoding it gives;
// checking costs a fraction of decoding (no pixel is kept). The stream is inflated at once into a
// buffer of this thread's that later checks reuse (the fastest way, for many streams), or a few
// kilobytes at a time (about three times slower, for one stream whose rows would otherwise be
// fresh memory).
enum class PngCheckMemory { ReusedBuffer, SmallWindow };
bool IsIntactPlainRgbaPng(std::span<const std::uint8_t> png, PngCheckMemory memory = PngCheckMemory::ReusedBuffer);

// Decodes a PNG stream into a new packed bitmap (40-byte header, bottom-up rows) of `depth` bits
// per pixel: 32 keeps the alpha channel; 24 drops it; 1, 4 and 8 give an indexed bitmap (the
// PNG's own palette when it fits, otherwise an optimal palette of 2^depth colours). A depth of 0
// means 32. Empty on any failure: a damaged stream, a size over kMaxDibDimension, or a stream
// that lies about its size.
Block DecodePng(std::span<const std::uint8_t> png, int depth);

// Where DecodePngToBgra puts the rows: the first byte of the top row, and the distance in bytes from
// one row's start to the next one's (negative when the rows go upwards).
struct BgraRows {
    std::uint8_t* top = nullptr;
    std::ptrdiff_t stride = 0;
};
// Called with the picture's width and height once the stream is known to be good as far as can be
// told without decoding it; a null `top` refuses the picture. It may be called a second time when
// the first decoder steps aside after all; the rows of the last call are the picture. It must not
// decode PNG streams itself: the decoder's buffer on this thread is in use.
using BgraRowsFor = std::function<BgraRows(std::int32_t width, std::int32_t height)>;

// Decodes a PNG stream into 8-bit BGRA rows (width x 4 bytes each) where `place` says, for
// callers that place the rows themselves. False on failure; rows may then have been written.
bool DecodePngToBgra(std::span<const std::uint8_t> png, const BgraRowsFor& place);

// Decodes a plain RGBA stream (IsPlainRgbaPng) of width x height pixels into 8-bit BGRA rows
// packed bottom-up from `bottom` (width x 4 bytes each, the bottom row first), inflating the
// stream in that very memory, so that no buffer of the picture's size is touched besides the
// rows. The byte before the rows and the height - 1 bytes after them are written over as well,
// and hold nothing meaningful afterwards. False, with any of those bytes changed, for a stream
// of another size or kind, or one the short path leaves to libpng: decode it with DecodePngToBgra
// then.
bool DecodePlainRgbaPngInPlace(std::span<const std::uint8_t> png, std::uint8_t* bottom, std::int32_t width,
                               std::int32_t height);
// The same into a new block of top-down rows with nothing between them.
bool DecodePngToBgra(std::span<const std::uint8_t> png, std::int32_t& width, std::int32_t& height, Block& pixels);

// Which decoder DecodePng uses. Automatic takes a short path of its own for plain 8-bit RGBA
// streams that are in perfect order (every chunk's CRC right, the data exactly the image) and
// libpng for everything else; Libpng always uses libpng. Both give the same bitmap: tests and the
// fuzzer compare them.
enum class PngDecoder { Automatic, Libpng };
Block DecodePng(std::span<const std::uint8_t> png, int depth, PngDecoder decoder);

// The channels an encoded PNG stream holds: RGBA (alpha as stored), or RGB, the alpha left out,
// for pictures that must have none.
enum class PngChannels { Rgba, Rgb };

// Encodes a 32-bit packed bitmap as an 8-bit-per-channel PNG. Returns false on failure. `level`
// is the compression effort, 1 (fastest) to 12 (smallest); at 1 every row takes the same filter,
// where the other levels choose one row by row for pictures larger than 128 x 128 (a 256-pixel
// picture is then made in about four fifths of the time, some 4% larger).
bool EncodePng(const Block& dib32, std::vector<std::uint8_t>& out, int level = 6,
               PngChannels channels = PngChannels::Rgba);

// 32-bit blue-green-red-alpha rows that lie in someone else's memory: the bottom row first,
// `stride` bytes from one row's start to the next one's above it.
struct BgraPicture {
    const std::uint8_t* bottom = nullptr;
    std::ptrdiff_t stride = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};
// The same from such rows, with no copy of them: gives what EncodePng gives for a packed bitmap
// holding those rows.
bool EncodePng(const BgraPicture& picture, std::vector<std::uint8_t>& out, int level = 6,
               PngChannels channels = PngChannels::Rgba);

}  // namespace tellurine
