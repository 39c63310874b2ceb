// PNG streams to and from packed bitmaps, in memory (no temporary files), through libpng.
//
// Icons hold PNG-compressed images; decoding and encoding them must not cost the start-up of
// the general image library, which the icon commands never need.
#pragma once

#include <cstdint>
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

// Decodes a PNG stream into a new packed bitmap (40-byte header, bottom-up rows) of `depth` bits
// per pixel: 32 keeps the alpha channel; 24 drops it; 1, 4 and 8 give an indexed bitmap (the
// PNG's own palette when it fits, otherwise an optimal palette of 2^depth colours). A depth of 0
// means 32. Empty on any failure: a damaged stream, a size over kMaxDibDimension, or a stream
// that lies about its size.
Block DecodePng(std::span<const std::uint8_t> png, int depth);

// Decodes a PNG stream into 8-bit BGRA rows, top row first, `width` x 4 bytes each, at the start of
// `pixels` (which may be longer). For callers that place the rows themselves; false on failure.
bool DecodePngToBgra(std::span<const std::uint8_t> png, std::int32_t& width, std::int32_t& height, Block& pixels);

// Which decoder DecodePng uses. Automatic takes a short path of its own for plain 8-bit RGBA
// streams that are in perfect order (every chunk's CRC right, the data exactly the image) and
// libpng for everything else; Libpng always uses libpng. Both give the same bitmap: tests and the
// fuzzer compare them.
enum class PngDecoder { Automatic, Libpng };
Block DecodePng(std::span<const std::uint8_t> png, int depth, PngDecoder decoder);

// Encodes a 32-bit packed bitmap as an 8-bit-per-channel RGBA PNG (alpha as stored). Returns
// false on failure. `zlibLevel` 1 to 9.
bool EncodePng(const Block& dib32, std::vector<std::uint8_t>& out, int zlibLevel = 6);

}  // namespace tellurine
