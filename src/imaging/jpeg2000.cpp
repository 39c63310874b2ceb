#include "imaging/jpeg2000.h"

#include <openjpeg.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "image/bytes.h"
#include "image/dib_block.h"
#include "image/freeimage.h"

namespace tellurine {

namespace {

constexpr std::uint8_t kJp2Signature[12] = {0x00, 0x00, 0x00, 0x0C, 'j',  'P',
                                            ' ',  ' ',  0x0D, 0x0A, 0x87, 0x0A};
constexpr std::uint8_t kCodestreamStart[4] = {0xFF, 0x4F, 0xFF, 0x51};  // start of codestream, image size

constexpr std::uint32_t BoxType(const char (&name)[5]) {
    return std::uint32_t{static_cast<std::uint8_t>(name[0])} << 24 |
           std::uint32_t{static_cast<std::uint8_t>(name[1])} << 16 |
           std::uint32_t{static_cast<std::uint8_t>(name[2])} << 8 |
           std::uint32_t{static_cast<std::uint8_t>(name[3])};
}
constexpr std::uint32_t kHeaderBox = BoxType("jp2h");
constexpr std::uint32_t kImageHeaderBox = BoxType("ihdr");
constexpr std::uint32_t kPaletteBox = BoxType("pclr");
constexpr std::uint32_t kCodestreamBox = BoxType("jp2c");

// Icons are one tile or a few. The decoder keeps bookkeeping for every tile a header declares,
// whether or not the tile holds any data, so a header may not declare more than this.
constexpr std::uint64_t kMaxTiles = 4096;

// The encoder's code blocks are shared among this many threads (see the header for the timings).
constexpr int kEncoderThreads = 2;

// Code blocks of a reduced decode are shared among this many threads (SetReducedDecodeThreads),
// when the picture decoded has at least kThreadedDecodePixels: below that, starting the threads
// costs about what they save.
std::atomic<int> reducedDecodeThreads{1};
constexpr std::int64_t kThreadedDecodePixels = 128 * 128;

// OpenJPEG's buffer between the codec and the callbacks. Its default, 1 MiB, is allocated for
// every stream; icon elements are a few hundred kilobytes at most.
constexpr OPJ_SIZE_T kStreamBufferSize = 64 * 1024;
// The most resolution levels a reduced decode drops: a 1,024-pixel picture comes down to 32.
constexpr int kMaxReducedLevels = 5;

// A comment marker's 16-bit length counts itself and the 2-byte registration value too.
constexpr std::size_t kMaxCommentLength = 65535 - 4;

bool IsJp2File(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= sizeof kJp2Signature &&
           std::memcmp(bytes.data(), kJp2Signature, sizeof kJp2Signature) == 0;
}

bool IsCodestream(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= sizeof kCodestreamStart &&
           std::memcmp(bytes.data(), kCodestreamStart, sizeof kCodestreamStart) == 0;
}

// The contents of the first box of the given type among the boxes laid end to end in `bytes`;
// nothing when there is none before the end or a box on the way overruns the bytes. A box's
// length counts its 8-byte header; a length of 1 means a 64-bit length follows the type, and a
// length of 0 means the box runs to the end.
std::optional<std::span<const std::uint8_t>> FindBox(std::span<const std::uint8_t> bytes,
                                                     std::uint32_t type) {
    while (bytes.size() >= 8) {
        std::uint64_t length = LoadBE32(bytes.data());
        std::size_t header = 8;
        if (length == 1) {
            if (bytes.size() < 16) return std::nullopt;
            length = std::uint64_t{LoadBE32(bytes.data() + 8)} << 32 | LoadBE32(bytes.data() + 12);
            header = 16;
        } else if (length == 0) {
            length = bytes.size();
        }
        if (length < header || length > bytes.size()) return std::nullopt;
        if (LoadBE32(bytes.data() + 4) == type)
            return bytes.subspan(header, static_cast<std::size_t>(length) - header);
        bytes = bytes.subspan(static_cast<std::size_t>(length));
    }
    return std::nullopt;
}

// The image header box's contents: height, width (32 bits each), component count (16 bits), then
// depth, compression, colour-space-unknown and intellectual-property bytes.
std::optional<std::span<const std::uint8_t>> FindImageHeader(std::span<const std::uint8_t> jp2) {
    const auto header = FindBox(jp2, kHeaderBox);
    if (!header) return std::nullopt;
    const auto image = FindBox(*header, kImageHeaderBox);
    if (!image || image->size() < 14) return std::nullopt;
    return image;
}

// What the image and tile size marker segment, right after the start of the codestream, declares.
struct SizeMarker {
    std::uint32_t width = 0;  // the image area: the grid's extent less its offset
    std::uint32_t height = 0;
    std::uint64_t tiles = 0;
    std::uint16_t components = 0;
    int depth = 0;         // bits a sample of the first component
    bool uniform = false;  // every component of that depth and sign, none subsampled
};

// Marker segment: FF51, its length (16 bits, counting itself), capabilities (16), grid width and
// height, image offset, tile width and height, tile offset (32 bits each), component count (16),
// then a depth-and-sign byte and horizontal and vertical sampling bytes for each component.
bool ReadSizeMarker(std::span<const std::uint8_t> codestream, SizeMarker& size) {
    if (!IsCodestream(codestream) || codestream.size() < 42) return false;
    const std::uint8_t* p = codestream.data() + 4;
    const std::uint32_t gridWidth = LoadBE32(p + 4), gridHeight = LoadBE32(p + 8);
    const std::uint32_t imageX = LoadBE32(p + 12), imageY = LoadBE32(p + 16);
    const std::uint32_t tileWidth = LoadBE32(p + 20), tileHeight = LoadBE32(p + 24);
    const std::uint32_t tileX = LoadBE32(p + 28), tileY = LoadBE32(p + 32);
    const std::uint16_t components = LoadBE16(p + 36);
    if (components == 0 || LoadBE16(p) != 38 + 3 * std::size_t{components} ||
        codestream.size() - 4 < 38 + 3 * std::size_t{components})
        return false;
    // The image lies inside the grid, and the first tile starts at or before it and reaches into it.
    if (gridWidth <= imageX || gridHeight <= imageY || tileWidth == 0 || tileHeight == 0 || tileX > imageX ||
        tileY > imageY || std::uint64_t{tileX} + tileWidth <= imageX ||
        std::uint64_t{tileY} + tileHeight <= imageY)
        return false;
    const std::uint64_t across = (std::uint64_t{gridWidth} - tileX + tileWidth - 1) / tileWidth;
    const std::uint64_t down = (std::uint64_t{gridHeight} - tileY + tileHeight - 1) / tileHeight;
    size.width = gridWidth - imageX;
    size.height = gridHeight - imageY;
    size.tiles = across * down;
    size.components = components;
    const std::uint8_t* c = p + 38;
    size.depth = (c[0] & 0x7F) + 1;
    size.uniform = true;
    for (std::uint16_t i = 0; i < components; ++i, c += 3)
        if (c[0] != p[38] || c[1] != 1 || c[2] != 1) size.uniform = false;
    return true;
}

// Brings a sample of `depth` bits to 8: deeper samples keep their high byte, as the PNG decoder
// does with 16-bit ones; shallower ones are stretched so that their largest value is 255.
class SampleTo8 {
public:
    explicit SampleTo8(int depth) : depth_(depth), max_((1 << depth) - 1) {}
    std::uint8_t operator()(int v) const {
        v = std::clamp(v, 0, max_);
        if (depth_ >= 8) return static_cast<std::uint8_t>(v >> (depth_ - 8));
        return static_cast<std::uint8_t>((v * 255 + max_ / 2) / max_);
    }

private:
    int depth_;
    int max_;
};

// Copies a FreeImage bitmap's rows (bottom-up there) as top-down BGRA. Pixels are `channels`
// samples: grey; or colour, red first or blue first; or colour then alpha.
template <typename Sample>
void CopyLibraryRows(const FreeImageApi& fi, FIBITMAP* bitmap, std::int32_t w, std::int32_t h, int channels,
                     bool redFirst, const SampleTo8& to8, std::uint8_t* out) {
    const int red = redFirst ? 0 : 2, blue = redFirst ? 2 : 0;
    for (std::int32_t y = 0; y < h; ++y) {
        const auto* s = reinterpret_cast<const Sample*>(fi.GetScanLine(bitmap, h - 1 - y));
        std::uint8_t* d = out + static_cast<std::size_t>(y) * w * 4;
        for (std::int32_t x = 0; x < w; ++x, s += channels, d += 4) {
            if (channels == 1) {
                d[0] = d[1] = d[2] = to8(s[0]);
                d[3] = 255;
            } else {
                d[0] = to8(s[blue]);
                d[1] = to8(s[1]);
                d[2] = to8(s[red]);
                d[3] = channels == 4 ? to8(s[3]) : std::uint8_t{255};
            }
        }
    }
}

// Decodes one, three or four components through FreeImage. The library gives 8-bit samples as an
// 8-bit grey bitmap (its palette is the identity) or as 24 or 32-bit pixels in its own byte order,
// deeper ones as 16-bit grey, RGB or RGBA; signed samples arrive already offset to unsigned.
bool DecodeThroughLibrary(std::span<const std::uint8_t> bytes, FREE_IMAGE_FORMAT format,
                          const SizeMarker& size, std::int32_t w, std::int32_t h, std::uint8_t* out) {
    const FreeImageApi* fi = GetFreeImage();
    if (fi == nullptr || bytes.size() > 0xFFFFFFFFu) return false;
    // A memory stream opened on the caller's bytes only reads them.
    FIMEMORY* memory = fi->OpenMemory(const_cast<BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
    if (memory == nullptr) return false;
    FIBITMAP* bitmap = fi->LoadFromMemory(format, memory, 0);
    fi->CloseMemory(memory);
    const LibraryBitmap owner(bitmap);
    if (bitmap == nullptr || fi->GetWidth(bitmap) != static_cast<unsigned>(w) ||
        fi->GetHeight(bitmap) != static_cast<unsigned>(h))
        return false;

    const FREE_IMAGE_TYPE type = fi->GetImageType(bitmap);
    const unsigned bits = fi->GetBPP(bitmap);
    const int channels = size.components;
    const SampleTo8 to8(size.depth);
    if (size.depth <= 8) {
        if (type != FIT_BITMAP || bits != 8u * static_cast<unsigned>(channels)) return false;
        CopyLibraryRows<std::uint8_t>(*fi, bitmap, w, h, channels, FI_RGBA_RED == 0, to8, out);
    } else {
        const FREE_IMAGE_TYPE expected = channels == 1 ? FIT_UINT16 : channels == 3 ? FIT_RGB16 : FIT_RGBA16;
        if (type != expected) return false;
        CopyLibraryRows<std::uint16_t>(*fi, bitmap, w, h, channels, true, to8, out);
    }
    return true;
}

struct CodecDeleter {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct StreamDeleter {
    void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct ImageDeleter {
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using CodecPtr = std::unique_ptr<opj_codec_t, CodecDeleter>;
using StreamPtr = std::unique_ptr<opj_stream_t, StreamDeleter>;
using ImagePtr = std::unique_ptr<opj_image_t, ImageDeleter>;

// OpenJPEG reports through handlers; failures come back as return values, so its messages are
// dropped.
void DropMessage(const char*, void*) {}

void Silence(opj_codec_t* codec) {
    opj_set_info_handler(codec, DropMessage, nullptr);
    opj_set_warning_handler(codec, DropMessage, nullptr);
    opj_set_error_handler(codec, DropMessage, nullptr);
}

struct ReadSource {
    std::span<const std::uint8_t> bytes;
    std::size_t pos = 0;
};

OPJ_SIZE_T ReadFromSpan(void* out, OPJ_SIZE_T size, void* user) {
    auto* src = static_cast<ReadSource*>(user);
    if (src->pos >= src->bytes.size()) return static_cast<OPJ_SIZE_T>(-1);  // the end
    size = std::min<OPJ_SIZE_T>(size, src->bytes.size() - src->pos);
    std::memcpy(out, src->bytes.data() + src->pos, size);
    src->pos += size;
    return size;
}

OPJ_OFF_T SkipInSpan(OPJ_OFF_T count, void* user) {
    auto* src = static_cast<ReadSource*>(user);
    if (count < 0 ? static_cast<std::uint64_t>(-count) > src->pos
                  : static_cast<std::uint64_t>(count) > src->bytes.size() - src->pos)
        return -1;
    src->pos = static_cast<std::size_t>(static_cast<OPJ_OFF_T>(src->pos) + count);
    return count;
}

OPJ_BOOL SeekInSpan(OPJ_OFF_T to, void* user) {
    auto* src = static_cast<ReadSource*>(user);
    if (to < 0 || static_cast<std::uint64_t>(to) > src->bytes.size()) return OPJ_FALSE;
    src->pos = static_cast<std::size_t>(to);
    return OPJ_TRUE;
}

// Decodes the whole stream straight through OpenJPEG, dropping the `reduce` finest resolution
// levels (each halves the sides), with its code blocks shared among `threads`; null on any
// failure, a level that is not there included.
ImagePtr DecodeThroughOpenJpeg(std::span<const std::uint8_t> bytes, bool jp2, int reduce, int threads = 1) {
    CodecPtr codec(opj_create_decompress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    if (!codec) return nullptr;
    Silence(codec.get());
    // A build of the library without threads decodes on this one.
    if (threads > 1) opj_codec_set_threads(codec.get(), threads);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = static_cast<OPJ_UINT32>(reduce);
    StreamPtr stream(opj_stream_create(kStreamBufferSize, OPJ_TRUE));
    if (!stream) return nullptr;
    ReadSource source{bytes, 0};
    opj_stream_set_user_data(stream.get(), &source, nullptr);
    opj_stream_set_user_data_length(stream.get(), bytes.size());
    opj_stream_set_read_function(stream.get(), ReadFromSpan);
    opj_stream_set_skip_function(stream.get(), SkipInSpan);
    opj_stream_set_seek_function(stream.get(), SeekInSpan);

    opj_image_t* decoded = nullptr;
    const bool headerRead =
        opj_setup_decoder(codec.get(), &parameters) && opj_read_header(stream.get(), codec.get(), &decoded);
    ImagePtr image(decoded);
    if (!headerRead || !image || !opj_decode(codec.get(), stream.get(), image.get()) ||
        !opj_end_decompress(codec.get(), stream.get()))
        return nullptr;
    return image;
}

// The decoded components as BGRA rows of `w` x `h`: grey, grey and alpha, red-green-blue, or
// red-green-blue and alpha. The alpha component is the one a JP2 file's channel definitions mark,
// else the last of two or four. False when the components are not of that size and depth.
bool CopyComponents(const opj_image_t& image, const SizeMarker& size, std::uint32_t w, std::uint32_t h,
                    std::uint8_t* out) {
    const std::uint32_t count = image.numcomps;
    if (count == 0 || count > 4 || count != size.components) return false;
    for (std::uint32_t i = 0; i < count; ++i) {
        const opj_image_comp_t& c = image.comps[i];
        if (c.data == nullptr || c.w != w || c.h != h || static_cast<int>(c.prec) != size.depth) return false;
    }
    std::uint32_t alphaAt = count == 2 || count == 4 ? count - 1 : count;
    for (std::uint32_t i = 0; i < count; ++i)
        if (image.comps[i].alpha && (count == 2 || count == 4)) alphaAt = i;
    const opj_image_comp_t* colours[3];
    for (std::uint32_t i = 0, n = 0; i < count; ++i)
        if (i != alphaAt) colours[n++] = &image.comps[i];
    const std::uint32_t colourCount = count - (alphaAt < count ? 1 : 0);
    const opj_image_comp_t* alpha = alphaAt < count ? &image.comps[alphaAt] : nullptr;
    const std::size_t pixels = static_cast<std::size_t>(w) * h;
    // Unsigned 8-bit samples, nearly every picture's, need only clamping: one plain loop over
    // the planes, which the compiler makes wide.
    bool unsigned8 = size.depth == 8;
    for (std::uint32_t i = 0; i < count; ++i) unsigned8 = unsigned8 && image.comps[i].sgnd == 0;
    if (unsigned8) {
        const OPJ_INT32* red = colours[0]->data;
        const OPJ_INT32* green = colourCount == 1 ? red : colours[1]->data;
        const OPJ_INT32* blue = colourCount == 1 ? red : colours[2]->data;
        const auto to8 = [](OPJ_INT32 v) { return static_cast<std::uint8_t>(std::clamp(v, 0, 255)); };
        if (alpha != nullptr) {
            const OPJ_INT32* a = alpha->data;
            for (std::size_t i = 0; i < pixels; ++i, out += 4)
                out[0] = to8(blue[i]), out[1] = to8(green[i]), out[2] = to8(red[i]), out[3] = to8(a[i]);
        } else {
            for (std::size_t i = 0; i < pixels; ++i, out += 4)
                out[0] = to8(blue[i]), out[1] = to8(green[i]), out[2] = to8(red[i]), out[3] = 255;
        }
        return true;
    }
    const SampleTo8 to8(size.depth);
    const auto sample = [&](const opj_image_comp_t& c, std::size_t i) {
        return to8(c.data[i] + (c.sgnd ? 1 << (size.depth - 1) : 0));
    };
    for (std::size_t i = 0; i < pixels; ++i, out += 4) {
        if (colourCount == 1) {
            out[0] = out[1] = out[2] = sample(*colours[0], i);
        } else {
            out[0] = sample(*colours[2], i);
            out[1] = sample(*colours[1], i);
            out[2] = sample(*colours[0], i);
        }
        out[3] = alpha != nullptr ? sample(*alpha, i) : std::uint8_t{255};
    }
    return true;
}

// FreeImage keeps only the first of two components, so grey with alpha is decoded here, straight
// through OpenJPEG.
bool DecodeGreyAlpha(std::span<const std::uint8_t> bytes, bool jp2, const SizeMarker& size, std::int32_t w,
                     std::int32_t h, std::uint8_t* out) {
    const ImagePtr image = DecodeThroughOpenJpeg(bytes, jp2, 0);
    return image && image->numcomps == 2 &&
           CopyComponents(*image, size, static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h), out);
}

// A grey or RGB stream, with or without alpha, decoded straight through OpenJPEG at `reduce`
// levels dropped into `out`, `w` x `h` BGRA; false for any other colour space, and on any failure.
// Without the image library: loading it and the twenty libraries it brings costs a thumbnail
// process more than the decoding itself.
bool DecodePlainStream(std::span<const std::uint8_t> bytes, bool jp2, const SizeMarker& size, int reduce,
                       std::int32_t w, std::int32_t h, Block& out) {
    const int threads = std::int64_t{w} * h >= kThreadedDecodePixels ? reducedDecodeThreads.load() : 1;
    const ImagePtr image = DecodeThroughOpenJpeg(bytes, jp2, reduce, threads);
    if (!image || (image->color_space != OPJ_CLRSPC_UNSPECIFIED && image->color_space != OPJ_CLRSPC_UNKNOWN &&
                   image->color_space != OPJ_CLRSPC_SRGB && image->color_space != OPJ_CLRSPC_GRAY))
        return false;
    out = Block::Uninitialised(static_cast<std::size_t>(w) * h * 4);  // every pixel is written
    return out && CopyComponents(*image, size, static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h),
                                 out.data());
}

// The checks every decode makes before anything is decoded (see DecodeJpeg2000ToBgra): the sides,
// and the codestream's size marker, which must agree with the file's header.
bool CheckStream(std::span<const std::uint8_t> bytes, std::int64_t maxPixels, std::int32_t& w, std::int32_t& h,
                 bool& jp2, SizeMarker& size, std::span<const std::uint8_t>* codestreamOut = nullptr) {
    if (!Jpeg2000Dimensions(bytes, w, h) || std::int64_t{w} * h > maxPixels ||
        static_cast<std::uint64_t>(w) * h * 4 > kMaxBlockBytes)
        return false;
    jp2 = IsJp2File(bytes);
    std::span<const std::uint8_t> codestream = bytes;
    if (jp2) {
        const auto header = FindBox(bytes, kHeaderBox);
        const auto contents = FindBox(bytes, kCodestreamBox);
        if (!header || !contents || FindBox(*header, kPaletteBox)) return false;
        codestream = *contents;
    }
    if (!ReadSizeMarker(codestream, size) || size.width != static_cast<std::uint32_t>(w) ||
        size.height != static_cast<std::uint32_t>(h) || !size.uniform || size.components > 4 ||
        size.depth > 16 || size.tiles > kMaxTiles)
        return false;
    if (codestreamOut != nullptr) *codestreamOut = codestream;
    return !jp2 || LoadBE16(FindImageHeader(bytes)->data() + 8) == size.components;
}

// The decomposition levels the main header's coding style marker (FF52) gives every component:
// its length (16 bits), style (8), progression (8), layers (16), colour transform (8), then the
// levels. Marker segments follow one another from the size marker up to the first tile (FF90).
// Nothing when the header holds no such marker.
std::optional<int> MainHeaderLevels(std::span<const std::uint8_t> codestream) {
    for (std::size_t at = 2; at + 4 <= codestream.size();) {
        const std::uint16_t marker = LoadBE16(codestream.data() + at);
        if (marker == 0xFF90 || (marker & 0xFF00) != 0xFF00) return std::nullopt;
        const std::size_t length = LoadBE16(codestream.data() + at + 2);
        if (marker == 0xFF52 && length >= 10 && at + 10 <= codestream.size()) return codestream[at + 9];
        if (length < 2) return std::nullopt;
        at += 2 + length;
    }
    return std::nullopt;
}

// Where the encoder's output goes. The JP2 writer skips over each box's length and seeks back to
// fill it in, so a write may land before the end of what is written.
struct WriteTarget {
    std::vector<std::uint8_t>* out;
    std::size_t pos = 0;
};

OPJ_SIZE_T WriteToVector(void* data, OPJ_SIZE_T size, void* user) {
    auto* target = static_cast<WriteTarget*>(user);
    std::size_t end = 0;
    if (!CheckedAdd(target->pos, size, end)) return static_cast<OPJ_SIZE_T>(-1);
    try {
        if (end > target->out->size()) target->out->resize(end);
    } catch (const std::bad_alloc&) {
        return static_cast<OPJ_SIZE_T>(-1);
    }
    std::memcpy(target->out->data() + target->pos, data, size);
    target->pos = end;
    return size;
}

OPJ_OFF_T SkipInVector(OPJ_OFF_T count, void* user) {
    auto* target = static_cast<WriteTarget*>(user);
    if (count < 0 && static_cast<std::uint64_t>(-count) > target->pos) return -1;
    target->pos = static_cast<std::size_t>(static_cast<OPJ_OFF_T>(target->pos) + count);
    return count;
}

OPJ_BOOL SeekInVector(OPJ_OFF_T to, void* user) {
    if (to < 0) return OPJ_FALSE;
    static_cast<WriteTarget*>(user)->pos = static_cast<std::size_t>(to);
    return OPJ_TRUE;
}

// Resolution levels for the encoder: 6, OpenJPEG's default and what the icon families' own
// streams use, unless the shorter side cannot be halved 5 times.
int ResolutionLevels(std::int32_t w, std::int32_t h) {
    int levels = 1;
    for (std::int32_t side = std::min(w, h); side >= 2 && levels < 6; side /= 2) ++levels;
    return levels;
}

}  // namespace

bool IsJpeg2000Stream(std::span<const std::uint8_t> bytes) {
    return IsJp2File(bytes) || IsCodestream(bytes);
}

bool Jpeg2000Dimensions(std::span<const std::uint8_t> bytes, std::int32_t& width, std::int32_t& height) {
    std::uint32_t w = 0, h = 0;
    if (IsJp2File(bytes)) {
        const auto header = FindImageHeader(bytes);
        if (!header) return false;
        h = LoadBE32(header->data());
        w = LoadBE32(header->data() + 4);
    } else {
        SizeMarker size;
        if (!ReadSizeMarker(bytes, size)) return false;
        w = size.width;
        h = size.height;
    }
    const auto limit = static_cast<std::uint32_t>(kMaxDibDimension);
    if (w == 0 || h == 0 || w > limit || h > limit) return false;
    width = static_cast<std::int32_t>(w);
    height = static_cast<std::int32_t>(h);
    return true;
}

bool DecodeJpeg2000ToBgra(std::span<const std::uint8_t> bytes, std::int32_t& width, std::int32_t& height,
                          Block& pixels, std::int64_t maxPixels) {
    std::int32_t w = 0, h = 0;
    bool jp2 = false;
    SizeMarker size;
    if (!CheckStream(bytes, maxPixels, w, h, jp2, size)) return false;
    Block out;
    if (size.components != 2 && GetFreeImage() == nullptr) {
        // Without the image library (not installed, or a program linked statically), grey and RGB
        // streams are decoded straight through OpenJPEG.
        if (!DecodePlainStream(bytes, jp2, size, 0, w, h, out)) return false;
    } else {
        out = Block::Allocate(static_cast<std::size_t>(w) * h * 4);
        if (!out) return false;
        const bool decoded = size.components == 2
                                 ? DecodeGreyAlpha(bytes, jp2, size, w, h, out.data())
                                 : DecodeThroughLibrary(bytes, jp2 ? FIF_JP2 : FIF_J2K, size, w, h, out.data());
        if (!decoded) return false;
    }
    width = w;
    height = h;
    pixels = std::move(out);
    return true;
}

bool DecodeJpeg2000Reduced(std::span<const std::uint8_t> bytes, std::int32_t atLeast, std::int32_t& width,
                           std::int32_t& height, Block& pixels, std::int64_t maxPixels) {
    std::int32_t w = 0, h = 0;
    bool jp2 = false;
    SizeMarker size;
    std::span<const std::uint8_t> codestream;
    if (!CheckStream(bytes, maxPixels, w, h, jp2, size, &codestream)) return false;
    // Each level dropped halves the sides, rounding up, as the decoder does on an image at the
    // origin; no more are dropped than the stream has.
    const auto side = [](std::int32_t full, int reduce) { return (full + (1 << reduce) - 1) >> reduce; };
    const int levels = std::min(kMaxReducedLevels, MainHeaderLevels(codestream).value_or(0));
    int reduce = 0;
    while (reduce < levels && side(w, reduce + 1) >= atLeast && side(h, reduce + 1) >= atLeast) ++reduce;
    // A stream with fewer levels than that, or one whose image lies off the origin, or in a colour
    // space other than grey or RGB, is decoded whole by the image library instead.
    const std::int32_t rw = side(w, reduce), rh = side(h, reduce);
    if (Block out; DecodePlainStream(bytes, jp2, size, reduce, rw, rh, out)) {
        width = rw;
        height = rh;
        pixels = std::move(out);
        return true;
    }
    return DecodeJpeg2000ToBgra(bytes, width, height, pixels, maxPixels);
}

void SetReducedDecodeThreads(int threads) { reducedDecodeThreads = std::clamp(threads, 1, 8); }

bool EncodeJpeg2000(const Block& dib32, std::vector<std::uint8_t>& out, const char* comment) {
    out.clear();
    const auto layout = GetDibLayout(dib32);
    if (!layout || layout->bitCount != 32 || layout->coreHeader) return false;
    if (comment != nullptr && std::strlen(comment) > kMaxCommentLength) return false;
    const std::int32_t w = layout->width, h = layout->height;

    opj_image_cmptparm_t parts[4];
    std::memset(parts, 0, sizeof parts);
    for (opj_image_cmptparm_t& part : parts) {
        part.dx = part.dy = 1;
        part.w = static_cast<OPJ_UINT32>(w);
        part.h = static_cast<OPJ_UINT32>(h);
        part.prec = 8;
        part.sgnd = 0;
    }
    const ImagePtr image(opj_image_create(4, parts, OPJ_CLRSPC_SRGB));
    if (!image) return false;
    image->x1 = static_cast<OPJ_UINT32>(w);
    image->y1 = static_cast<OPJ_UINT32>(h);
    image->comps[3].alpha = 1;  // written into the file's channel definitions
    // Component planes, top row first, from the bitmap's blue-green-red-alpha pixels.
    OPJ_INT32* planes[4] = {image->comps[2].data, image->comps[1].data, image->comps[0].data,
                            image->comps[3].data};
    for (std::int32_t y = 0; y < h; ++y) {
        const std::uint8_t* s = dib32.data() + layout->RowOffset(h - 1 - y);
        const std::size_t base = static_cast<std::size_t>(y) * w;
        for (std::int32_t x = 0; x < w; ++x, s += 4)
            for (int c = 0; c < 4; ++c) planes[c][base + x] = s[c];
    }

    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0;  // no rate: every bit plane of every code block is kept
    parameters.cp_disto_alloc = 1;
    parameters.irreversible = 0;
    parameters.tcp_mct = 1;
    parameters.numresolution = ResolutionLevels(w, h);
    parameters.cp_comment = const_cast<char*>(comment);  // copied by the encoder

    const CodecPtr codec(opj_create_compress(OPJ_CODEC_JP2));
    if (!codec) return false;
    Silence(codec.get());
    if (!opj_setup_encoder(codec.get(), &parameters, image.get())) return false;
    opj_codec_set_threads(codec.get(), kEncoderThreads);  // a build without threads stays on this one

    WriteTarget target{&out, 0};
    bool encoded = false;
    {
        const StreamPtr stream(opj_stream_create(kStreamBufferSize, OPJ_FALSE));
        if (stream) {
            opj_stream_set_user_data(stream.get(), &target, nullptr);
            opj_stream_set_write_function(stream.get(), WriteToVector);
            opj_stream_set_skip_function(stream.get(), SkipInVector);
            opj_stream_set_seek_function(stream.get(), SeekInVector);
            encoded = opj_start_compress(codec.get(), image.get(), stream.get()) &&
                      opj_encode(codec.get(), stream.get()) && opj_end_compress(codec.get(), stream.get());
        }
    }
    if (!encoded) {
        out.clear();
        return false;
    }
    return true;
}

}  // namespace tellurine
