#include "imaging/codecs.h"

#include <libdeflate.h>
#include <png.h>
#include <zlib.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/palette_map.h"
#include "imaging/quantizer.h"

namespace tellurine {

namespace {

constexpr std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// Deflate never packs more than about 1,032 bytes into one; a stream whose header promises more
// pixels than its bytes could hold is refused before anything is allocated.
constexpr std::uint64_t kMaxInflateRatio = 1100;

// Compressed data goes into IDAT chunks of at most this many bytes.
constexpr std::size_t kIdatChunkBytes = std::size_t{1} << 20;

// Pictures whose filtered rows fit in this many bytes (every size up to 512 x 512) are inflated
// into a buffer that the thread keeps; larger ones get a block of their own.
constexpr std::size_t kScratchBytes = std::size_t{1} << 21;

// libdeflate's compressors and decompressors cost more to make than an icon-sized picture costs to
// pack, so each thread keeps one of each (a compressor per level) for its whole life, with the
// buffer that small pictures are inflated into and the two an encoding works in.
// A buffer that keeps its memory from one use to the next and never fills it: whoever asks for
// it writes what it reads.
class ScratchBytes {
public:
    // At least `size` bytes, the old contents not kept; null when memory runs out.
    std::uint8_t* Get(std::size_t size) {
        if (size > capacity_) {
            bytes_.reset();
            capacity_ = 0;
            bytes_.reset(new (std::nothrow) std::uint8_t[size]);
            if (!bytes_) return nullptr;
            capacity_ = size;
        }
        return bytes_.get();
    }
    // Gives the memory back when there is more of it than `keep` bytes: a thread that once
    // handled a large picture does not hold its buffers for its whole life.
    void Trim(std::size_t keep) {
        if (capacity_ <= keep) return;
        bytes_.reset();
        capacity_ = 0;
    }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t capacity_ = 0;
};

struct DeflateState {
    std::array<libdeflate_compressor*, 13> compressors{};
    libdeflate_decompressor* decompressor = nullptr;
    std::vector<std::uint8_t> scratch;
    ScratchBytes filtered;    // an encoded picture's filtered rows
    ScratchBytes compressed;  // and their zlib stream
    DeflateState() = default;
    DeflateState(const DeflateState&) = delete;
    DeflateState& operator=(const DeflateState&) = delete;
    ~DeflateState() {
        for (libdeflate_compressor* c : compressors)
            if (c != nullptr) libdeflate_free_compressor(c);
        if (decompressor != nullptr) libdeflate_free_decompressor(decompressor);
    }
};

DeflateState& ThreadDeflateState() {
    thread_local DeflateState state;
    return state;
}

libdeflate_compressor* Compressor(int level) {
    libdeflate_compressor*& slot = ThreadDeflateState().compressors[static_cast<std::size_t>(level)];
    if (slot == nullptr) slot = libdeflate_alloc_compressor(level);
    return slot;
}

libdeflate_decompressor* Decompressor() {
    libdeflate_decompressor*& slot = ThreadDeflateState().decompressor;
    if (slot == nullptr) slot = libdeflate_alloc_decompressor();
    return slot;
}

// Copies `count` RGBA pixels to `to` as BGRA (or the other way round: the same swap).
void SwapRedBlue(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    std::size_t i = 0;
#if defined(__SSE2__)
    // Red and blue are the two 16-bit halves of each pixel's masked 0x00FF00FF part: swapping
    // the halves swaps them.
    const __m128i greenAlpha = _mm_set1_epi32(static_cast<int>(0xFF00FF00u));
    for (; i + 4 <= count; i += 4) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 4 * i));
        const __m128i redBlue = _mm_andnot_si128(greenAlpha, v);
        const __m128i swapped = _mm_shufflehi_epi16(_mm_shufflelo_epi16(redBlue, 0xB1), 0xB1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 4 * i), _mm_or_si128(_mm_and_si128(v, greenAlpha), swapped));
    }
#endif
    for (; i < count; ++i) {
        const std::uint8_t* s = from + 4 * i;
        std::uint8_t* d = to + 4 * i;
        const std::uint8_t r = s[0], g = s[1], b = s[2], a = s[3];
        d[0] = b;
        d[1] = g;
        d[2] = r;
        d[3] = a;
    }
}

std::uint32_t ChunkCrc(const std::uint8_t* typeAndData, std::size_t length) {
    return static_cast<std::uint32_t>(libdeflate_crc32(0, typeAndData, length));
}

struct ReadSource {
    std::span<const std::uint8_t> bytes;
    std::size_t pos = 0;
};

void ReadFromSpan(png_structp png, png_bytep out, png_size_t size) {
    auto* src = static_cast<ReadSource*>(png_get_io_ptr(png));
    if (size > src->bytes.size() - src->pos) png_error(png, "truncated stream");
    std::memcpy(out, src->bytes.data() + src->pos, size);
    src->pos += size;
}

// Whether every chunk but the image data fits in the stream. The library allocates a chunk's
// declared length before reading it, so a damaged length field (a text chunk claiming 1.7 GB)
// would cost that allocation before the stream turns out short. Image data is read piece by
// piece, so a last IDAT cut short is left for the decoder to judge.
bool ChunksFit(std::span<const std::uint8_t> png) {
    constexpr std::size_t kHeader = 8;
    std::size_t pos = 8;  // after the signature
    while (png.size() - pos >= kHeader) {
        const std::uint8_t* h = png.data() + pos;
        const std::uint32_t length = (std::uint32_t{h[0]} << 24) | (std::uint32_t{h[1]} << 16) |
                                     (std::uint32_t{h[2]} << 8) | h[3];
        const bool imageData = std::memcmp(h + 4, "IDAT", 4) == 0;
        const std::size_t left = png.size() - pos - kHeader;
        if (length > left) return imageData;
        if (std::memcmp(h + 4, "IEND", 4) == 0) break;
        pos += kHeader + length + std::min<std::size_t>(4, left - length);  // the CRC
    }
    return true;
}

// Errors end the decode or encode through longjmp, silently: the caller reports the failure.
[[noreturn]] void SilentError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void SilentWarning(png_structp, png_const_charp) {}

// Decodes into BGRA rows where `place` says. Kept free of objects with destructors between setjmp
// and the calls that may jump, as longjmp requires.
bool DecodeWithLibpng(std::span<const std::uint8_t> png, const BgraRowsFor& place) {
    if (png.size() < 8 || !ChunksFit(png)) return false;
    png_structp read = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, SilentError, SilentWarning);
    if (read == nullptr) return false;
    png_infop info = png_create_info_struct(read);
    if (info == nullptr) {
        png_destroy_read_struct(&read, nullptr, nullptr);
        return false;
    }
    ReadSource source{png, 0};
    png_bytep* volatile rows = nullptr;  // changed after setjmp and read after a jump
    if (setjmp(png_jmpbuf(read))) {
        std::free(rows);
        png_destroy_read_struct(&read, &info, nullptr);
        return false;
    }
    png_set_read_fn(read, &source, ReadFromSpan);
    png_set_user_limits(read, kMaxDibDimension, kMaxDibDimension);
    png_set_chunk_cache_max(read, 256);
    png_set_chunk_malloc_max(read, 16 * 1024 * 1024);
    png_read_info(read, info);

    const png_uint_32 w = png_get_image_width(read, info), h = png_get_image_height(read, info);
    const std::uint64_t stored = (std::uint64_t{png_get_rowbytes(read, info)} + 1) * h;  // filtered rows
    if (w == 0 || h == 0 || std::uint64_t{w} * h * 4 > kMaxBlockBytes || stored > png.size() * kMaxInflateRatio)
        png_error(read, "size out of range");

    // Everything to 8-bit BGRA: palettes and low bit depths expanded, transparency chunks turned
    // into alpha, grey widened to RGB, 16 bits cut to 8, opaque images given alpha 255. No gamma
    // conversion: the stored values are the picture.
    png_set_expand(read);
    png_set_strip_16(read);
    png_set_gray_to_rgb(read);
    png_set_add_alpha(read, 0xFF, PNG_FILLER_AFTER);
    png_set_bgr(read);
    png_set_interlace_handling(read);
    png_read_update_info(read, info);
    if (png_get_rowbytes(read, info) != std::size_t{w} * 4) png_error(read, "unexpected row layout");

    rows = static_cast<png_bytep*>(std::malloc(sizeof(png_bytep) * h));
    if (rows == nullptr) png_error(read, "out of memory");
    const BgraRows target = place(static_cast<std::int32_t>(w), static_cast<std::int32_t>(h));
    if (target.top == nullptr) png_error(read, "refused");
    png_bytep* const table = rows;
    for (png_uint_32 y = 0; y < h; ++y) table[y] = target.top + static_cast<std::ptrdiff_t>(y) * target.stride;
    png_read_image(read, table);
    png_read_end(read, nullptr);
    std::free(rows);
    png_destroy_read_struct(&read, &info, nullptr);
    return true;
}

// The short path for the PNG streams icons mostly hold: 8-bit RGBA, not interlaced. It decodes
// only a stream in perfect order and answers false for anything else (a CRC that does not match,
// an unknown critical chunk, IDAT chunks apart, too little or too much image data, an unknown row
// filter), so that libpng, with its own rules for damaged streams, decides those.
// Paeth filter of one row of 4-byte pixels: each byte predicted from the byte on its left (a),
// above (b) and above-left (c), whichever is nearest to a + b - c, in that order on ties. The
// first pixel has zeros on its left.
void UnfilterPaeth(std::uint8_t* cur, const std::uint8_t* prior, std::size_t rowBytes) {
#if defined(__SSE2__)
    // The four channels of a pixel side by side in 16-bit lanes.
    const __m128i zero = _mm_setzero_si128();
    __m128i a = zero, c = zero;
    for (std::size_t i = 0; i < rowBytes; i += 4) {
        std::int32_t above = 0, raw = 0;
        std::memcpy(&above, prior + i, 4);
        std::memcpy(&raw, cur + i, 4);
        const __m128i b = _mm_unpacklo_epi8(_mm_cvtsi32_si128(above), zero);
        const __m128i fromB = _mm_sub_epi16(b, c), fromA = _mm_sub_epi16(a, c);
        const __m128i sum = _mm_add_epi16(fromA, fromB);
        const __m128i pa = _mm_max_epi16(fromB, _mm_sub_epi16(zero, fromB));
        const __m128i pb = _mm_max_epi16(fromA, _mm_sub_epi16(zero, fromA));
        const __m128i pc = _mm_max_epi16(sum, _mm_sub_epi16(zero, sum));
        const __m128i takeC = _mm_cmpgt_epi16(pb, pc);
        const __m128i bOrC = _mm_or_si128(_mm_and_si128(takeC, c), _mm_andnot_si128(takeC, b));
        const __m128i notA = _mm_cmpgt_epi16(pa, _mm_min_epi16(pb, pc));
        const __m128i predictor = _mm_or_si128(_mm_and_si128(notA, bOrC), _mm_andnot_si128(notA, a));
        const __m128i value = _mm_add_epi8(_mm_cvtsi32_si128(raw), _mm_packus_epi16(predictor, predictor));
        const std::int32_t out = _mm_cvtsi128_si32(value);
        std::memcpy(cur + i, &out, 4);
        a = _mm_unpacklo_epi8(value, zero);
        c = b;
    }
#else
    for (std::size_t i = 0; i < 4; ++i) cur[i] = static_cast<std::uint8_t>(cur[i] + prior[i]);
    for (std::size_t i = 4; i < rowBytes; ++i) {
        const int a = cur[i - 4], b = prior[i], c = prior[i - 4];
        const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
        const int predictor = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
        cur[i] = static_cast<std::uint8_t>(cur[i] + predictor);
    }
#endif
}

// Undoes row filter `type` (0 to 4) of the RGBA row `cur` in place, with `prior` the row above
// as undone (zeros above the first row) and zeros left of the first pixel.
void UnfilterRow(std::uint8_t type, std::uint8_t* cur, const std::uint8_t* prior, std::size_t rowBytes) {
    switch (type) {
        case 1:
            for (std::size_t i = 4; i < rowBytes; ++i) cur[i] = static_cast<std::uint8_t>(cur[i] + cur[i - 4]);
            break;
        case 2:
            for (std::size_t i = 0; i < rowBytes; ++i) cur[i] = static_cast<std::uint8_t>(cur[i] + prior[i]);
            break;
        case 3:
            for (std::size_t i = 0; i < 4; ++i) cur[i] = static_cast<std::uint8_t>(cur[i] + (prior[i] >> 1));
            for (std::size_t i = 4; i < rowBytes; ++i)
                cur[i] = static_cast<std::uint8_t>(cur[i] + ((cur[i - 4] + prior[i]) >> 1));
            break;
        case 4: UnfilterPaeth(cur, prior, rowBytes); break;
        default: break;
    }
}

class PlainRgbaDecoder {
public:
    bool Decode(std::span<const std::uint8_t> png, const BgraRowsFor& place) {
        if (!Check(png)) return false;
        const BgraRows target = place(width_, height_);
        if (target.top == nullptr) return false;
        Unfilter(target);
        return true;
    }

    // Decodes into a new 32-bit packed bitmap (what DecodePng gives at 32 bits) in which the
    // filtered rows are inflated too, so that a picture costs its own memory only once.
    // Empty when Decode would fail.
    Block DecodeToDib(std::span<const std::uint8_t> png) {
        inDib_ = true;
        if (!Check(png)) return {};
        std::uint8_t* const pixels = large_.data() + kInfoHeaderSize;
        RowsInPlace(pixels);
        BitmapInfoHeader header;
        header.width = width_;
        header.height = height_;
        header.bitCount = 32;
        header.Store(large_.data());
        large_.Shrink(kInfoHeaderSize + static_cast<std::size_t>(width_) * 4 * static_cast<std::size_t>(height_));
        return std::move(large_);
    }

    // Decodes a width x height stream into packed bottom-up rows at `bottom`, inflating it in
    // the same memory (see DecodePlainRgbaPngInPlace). False when Decode would fail, or the
    // stream is of another size.
    bool DecodeInPlace(std::span<const std::uint8_t> png, std::uint8_t* bottom, std::int32_t width,
                       std::int32_t height) {
        inPlace_ = bottom;
        expectedWidth_ = width;
        expectedHeight_ = height;
        if (!Check(png)) return false;
        RowsInPlace(bottom);
        return true;
    }

    // What Check finds, without a buffer of the picture's size: the stream is inflated a few
    // kilobytes at a time and each row's filter type checked as it passes. zlib inflates here
    // (libdeflate cannot stop midway), so a stream the two judge differently, if any, passes
    // here and is then decoded by libpng, which uses zlib too.
    bool CheckStreamed(std::span<const std::uint8_t> png) {
        streamed_ = std::make_unique<StreamCheck>();
        return Check(png);
    }

    // Everything Decode does short of placing rows: true exactly when Decode would decode the
    // stream (given somewhere to put the rows).
    bool Check(std::span<const std::uint8_t> png) {
        if (!IsPngStream(png)) return false;
        std::size_t pos = sizeof kSignature;
        bool idatEnded = false, done = false;
        while (!done) {
            if (png.size() - pos < 12) return false;
            const std::uint32_t length = LoadBE32(png.data() + pos);
            if (length > png.size() - pos - 12) return false;
            const std::uint8_t* type = png.data() + pos + 4;
            const std::uint8_t* data = type + 4;
            if (ChunkCrc(type, std::size_t{length} + 4) != LoadBE32(data + length)) return false;
            if (pos == sizeof kSignature) {
                if (std::memcmp(type, "IHDR", 4) != 0 || length != 13 || !Start(data, png.size())) return false;
            } else if (std::memcmp(type, "IDAT", 4) == 0) {
                if (idatEnded || !AddIdat(data, length)) return false;
            } else if (std::memcmp(type, "IEND", 4) == 0) {
                done = true;
            } else {
                if (idats_ > 0) idatEnded = true;
                // A critical chunk other than a suggested palette is for libpng to judge.
                if ((type[0] & 0x20) == 0 && std::memcmp(type, "PLTE", 4) != 0) return false;
            }
            pos += std::size_t{length} + 12;
        }
        if (!started_ || idats_ == 0) return false;
        if (streamed_) return streamed_->Finished();
        if (!Inflate()) return false;
        // Every row must have a known filter.
        for (std::int32_t y = 0; y < height_; ++y)
            if (raw_[static_cast<std::size_t>(y) * (static_cast<std::size_t>(width_) * 4 + 1)] > 4) return false;
        return true;
    }

private:
    bool Start(const std::uint8_t* ihdr, std::size_t streamSize) {
        const std::uint32_t w = LoadBE32(ihdr), h = LoadBE32(ihdr + 4);
        if (w == 0 || h == 0 || w > static_cast<std::uint32_t>(kMaxDibDimension) ||
            h > static_cast<std::uint32_t>(kMaxDibDimension))
            return false;
        // Bit depth 8, colour type 6 (RGBA), compression 0, filter method 0, no interlacing.
        if (ihdr[8] != 8 || ihdr[9] != 6 || ihdr[10] != 0 || ihdr[11] != 0 || ihdr[12] != 0) return false;
        const std::uint64_t rawSize = (std::uint64_t{w} * 4 + 1) * h;
        if (std::uint64_t{w} * h * 4 > kMaxBlockBytes || rawSize > streamSize * kMaxInflateRatio) return false;
        if (streamed_) {
            if (!streamed_->Start(static_cast<std::size_t>(rawSize), std::size_t{w} * 4 + 1)) return false;
        } else if (inPlace_ != nullptr) {
            if (static_cast<std::int32_t>(w) != expectedWidth_ || static_cast<std::int32_t>(h) != expectedHeight_)
                return false;
            raw_ = {inPlace_ - 1, static_cast<std::size_t>(rawSize)};
        } else {
            raw_ = inDib_ ? DibRoom(static_cast<std::size_t>(rawSize))
                          : ScratchBuffer(static_cast<std::size_t>(rawSize));
        }
        if (raw_.empty() && !streamed_) return false;
        started_ = true;
        width_ = static_cast<std::int32_t>(w);
        height_ = static_cast<std::int32_t>(h);
        return true;
    }

    // The filtered rows of small pictures go into the thread's scratch buffer (no allocation, no
    // fresh pages per picture); larger ones get a block of their own.
    std::span<std::uint8_t> ScratchBuffer(std::size_t size) {
        if (size > kScratchBytes) {
            large_ = Block::Allocate(size);
            return large_ ? std::span<std::uint8_t>(large_.data(), size) : std::span<std::uint8_t>();
        }
        std::vector<std::uint8_t>& scratch = ThreadDeflateState().scratch;
        try {
            if (scratch.size() < size) scratch.resize(size);
        } catch (const std::bad_alloc&) {
            return {};
        }
        return {scratch.data(), size};
    }

    // Room for the filtered rows in the block that becomes the picture: from the header's last
    // byte on (the header is written once the rows have moved down).
    std::span<std::uint8_t> DibRoom(std::size_t size) {
        std::size_t total = 0;
        if (!CheckedAdd(size, kInfoHeaderSize - 1, total)) return {};
        large_ = Block::Uninitialised(total);
        return large_ ? std::span<std::uint8_t>(large_.data() + kInfoHeaderSize - 1, size) : std::span<std::uint8_t>();
    }

    // The compressed data of consecutive IDAT chunks is one zlib stream: a single chunk is read
    // where it lies, several are joined first.
    bool AddIdat(const std::uint8_t* data, std::uint32_t length) {
        if (!started_) return false;
        if (streamed_) {
            ++idats_;
            return streamed_->Feed(data, length);
        }
        if (++idats_ == 1) {
            first_ = {data, length};
            return true;
        }
        try {
            if (joined_.empty()) joined_.assign(first_.begin(), first_.end());
            joined_.insert(joined_.end(), data, data + length);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }

    // The stream must fill the filtered rows exactly, end with a right Adler-32 sum and have
    // nothing after it; anything else is for libpng to judge.
    bool Inflate() {
        const std::span<const std::uint8_t> in = idats_ == 1 ? first_ : std::span<const std::uint8_t>(joined_);
        libdeflate_decompressor* d = Decompressor();
        if (d == nullptr) return false;
        std::size_t used = 0, produced = 0;
        const libdeflate_result result =
            libdeflate_zlib_decompress_ex(d, in.data(), in.size(), raw_.data(), raw_.size(), &used, &produced);
        return result == LIBDEFLATE_SUCCESS && used == in.size() && produced == raw_.size();
    }

    // Undoes the row filters in place, each row as it comes (the first reads a row of zeros above
    // it, every row's first pixel zeros on its left), and places it, RGBA turned into BGRA.
    void Unfilter(const BgraRows& target) {
        const std::size_t rowBytes = static_cast<std::size_t>(width_) * 4;
        std::uint8_t* data = raw_.data();
        zeros_.assign(rowBytes, 0);
        const std::uint8_t* prior = zeros_.data();
        for (std::int32_t y = 0; y < height_; ++y) {
            std::uint8_t* row = data + static_cast<std::size_t>(y) * (rowBytes + 1);
            std::uint8_t* cur = row + 1;
            UnfilterRow(row[0], cur, prior, rowBytes);
            SwapRedBlue(cur, target.top + static_cast<std::ptrdiff_t>(y) * target.stride, static_cast<std::size_t>(width_));
            prior = cur;
        }
    }

    // The picture made where its filtered rows were inflated: the rows lie one byte apart at
    // first (each led by its filter type) from the byte before `pixels` on, so that, undone top
    // row first, each row is moved down to its packed place without overwriting a row still to be
    // read; the top-down rows are then turned bottom-up.
    void RowsInPlace(std::uint8_t* pixels) {
        const std::size_t rowBytes = static_cast<std::size_t>(width_) * 4;
        const auto h = static_cast<std::size_t>(height_);
        // The row above, as undone (zeros above the first), and the row being moved.
        zeros_.assign(2 * rowBytes, 0);
        std::uint8_t* prior = zeros_.data();
        std::uint8_t* spare = zeros_.data() + rowBytes;
        for (std::size_t y = 0; y < h; ++y) {
            std::uint8_t* row = raw_.data() + y * (rowBytes + 1);
            UnfilterRow(row[0], row + 1, prior, rowBytes);
            std::memcpy(prior, row + 1, rowBytes);
            // Row y goes to y * rowBytes, below the rows not yet read (they start at y * rowBytes +
            // rowBytes + y), over bytes already read.
            SwapRedBlue(prior, pixels + y * rowBytes, static_cast<std::size_t>(width_));
        }
        for (std::size_t y = 0; y < h / 2; ++y) {
            std::uint8_t* low = pixels + y * rowBytes;
            std::uint8_t* high = pixels + (h - 1 - y) * rowBytes;
            std::memcpy(spare, low, rowBytes);
            std::memcpy(low, high, rowBytes);
            std::memcpy(high, spare, rowBytes);
        }
    }

    // Inflates a zlib stream fed in pieces through a small buffer, checking that it gives exactly
    // `rawSize` bytes of rows `rowBytes` long (each led by a filter type of 0 to 4), ends with a
    // right Adler-32 sum and has nothing after it.
    class StreamCheck {
    public:
        StreamCheck() = default;
        StreamCheck(const StreamCheck&) = delete;
        StreamCheck& operator=(const StreamCheck&) = delete;
        ~StreamCheck() {
            if (open_) inflateEnd(&zs_);
        }
        bool Start(std::size_t rawSize, std::size_t rowBytes) {
            rawSize_ = rawSize;
            rowBytes_ = rowBytes;
            open_ = inflateInit(&zs_) == Z_OK;
            return open_;
        }
        bool Feed(const std::uint8_t* data, std::uint32_t length) {
            if (length == 0) return true;
            if (ended_) return false;
            zs_.next_in = const_cast<Bytef*>(data);  // zlib's input is not const, but it is only read
            zs_.avail_in = length;
            // Until the piece is used up and nothing more is waiting to come out of it.
            std::uint8_t out[8192];
            do {
                zs_.next_out = out;
                zs_.avail_out = sizeof out;
                const int result = inflate(&zs_, Z_NO_FLUSH);
                if (!Rows(out, sizeof out - zs_.avail_out)) return false;
                if (result == Z_STREAM_END) {
                    ended_ = true;
                    return zs_.avail_in == 0;
                }
                // No progress with the piece used up: the rest of the stream is in the next one.
                if (result == Z_BUF_ERROR && zs_.avail_in == 0) return true;
                if (result != Z_OK) return false;
            } while (zs_.avail_in > 0 || zs_.avail_out == 0);
            return true;
        }
        [[nodiscard]] bool Finished() const { return ended_ && produced_ == rawSize_; }

    private:
        bool Rows(const std::uint8_t* out, std::size_t n) {
            if (n > rawSize_ - produced_) return false;
            for (; nextRow_ < produced_ + n; nextRow_ += rowBytes_)
                if (out[nextRow_ - produced_] > 4) return false;
            produced_ += n;
            return true;
        }

        z_stream zs_{};
        bool open_ = false;
        bool ended_ = false;
        std::size_t rawSize_ = 0, rowBytes_ = 1, produced_ = 0, nextRow_ = 0;
    };

    std::unique_ptr<StreamCheck> streamed_;  // Check inflates piece by piece, keeping nothing
    bool inDib_ = false;  // the rows are inflated into the picture's own block
    std::uint8_t* inPlace_ = nullptr;  // or into the caller's rows, of this size
    std::int32_t expectedWidth_ = 0;
    std::int32_t expectedHeight_ = 0;
    bool started_ = false;
    int idats_ = 0;
    std::span<const std::uint8_t> first_;
    std::vector<std::uint8_t> joined_;
    std::vector<std::uint8_t> zeros_;
    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    std::span<std::uint8_t> raw_;  // the filtered rows, in this thread's scratch buffer or `large_`
    Block large_;
};

std::uint8_t* PutChunk(std::uint8_t* p, const char* type, const std::uint8_t* data, std::uint32_t length) {
    StoreBE32(p, length);
    std::memcpy(p + 4, type, 4);
    if (length > 0) std::memcpy(p + 8, data, length);
    StoreBE32(p + 8 + length, ChunkCrc(p + 4, std::size_t{length} + 4));
    return p + 12 + length;
}

std::uint8_t PaethPredictor(int a, int b, int c) {
    const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
    return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Row filter `type` (0 none, 1 sub, 2 up, 3 average, 4 Paeth) of the row `cur` of `bpp` bytes per
// pixel, with `prior` the unfiltered row above it (zeros above the first row) and zeros left of
// the first pixel.
void FilterRow(int type, const std::uint8_t* cur, const std::uint8_t* prior, std::size_t n, std::size_t bpp,
               std::uint8_t* out) {
    const std::size_t first = std::min(bpp, n);
    switch (type) {
        case 0: std::memcpy(out, cur, n); break;
        case 1:
            std::memcpy(out, cur, first);
            for (std::size_t i = bpp; i < n; ++i) out[i] = static_cast<std::uint8_t>(cur[i] - cur[i - bpp]);
            break;
        case 2:
            for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<std::uint8_t>(cur[i] - prior[i]);
            break;
        case 3:
            for (std::size_t i = 0; i < first; ++i) out[i] = static_cast<std::uint8_t>(cur[i] - (prior[i] >> 1));
            for (std::size_t i = bpp; i < n; ++i)
                out[i] = static_cast<std::uint8_t>(cur[i] - ((cur[i - bpp] + prior[i]) >> 1));
            break;
        default:
            for (std::size_t i = 0; i < first; ++i) out[i] = static_cast<std::uint8_t>(cur[i] - prior[i]);
            for (std::size_t i = bpp; i < n; ++i)
                out[i] = static_cast<std::uint8_t>(cur[i] - PaethPredictor(cur[i - bpp], prior[i], prior[i - bpp]));
            break;
    }
}

// How well a filtered row is likely to pack: the sum of its bytes' magnitudes as signed values.
std::uint64_t FilterCost(const std::uint8_t* row, std::size_t n) {
    std::uint64_t sum = 0;
    std::size_t i = 0;
#if defined(__SSE2__)
    // A signed byte's magnitude is the smaller of it and its negation, both read unsigned; the sum
    // of absolute differences from zero adds sixteen of them at a time.
    const __m128i zero = _mm_setzero_si128();
    __m128i sums = zero;
    for (; i + 16 <= n; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + i));
        sums = _mm_add_epi64(sums, _mm_sad_epu8(_mm_min_epu8(v, _mm_sub_epi8(zero, v)), zero));
    }
    alignas(16) std::uint64_t halves[2];
    _mm_store_si128(reinterpret_cast<__m128i*>(halves), sums);
    sum = halves[0] + halves[1];
#endif
    for (; i < n; ++i) sum += static_cast<std::uint8_t>(std::abs(static_cast<std::int8_t>(row[i])));
    return sum;
}

// The PNG form of a 32-bit picture's rows before compression: top row first, each turned from BGRA
// into RGBA (or RGB, the alpha left out, when `bpp` is 3) and led by its filter type. Icon-sized
// pictures, and every picture at the fastest level, use the "up" filter alone, which packs within
// a few percent of trying every filter in a fraction of the time; larger ones take, row by row, the
// filter whose output has the smallest cost.
void FilterRows(const BgraPicture& picture, std::size_t bpp, std::uint8_t* out, int level) {
    const std::size_t n = static_cast<std::size_t>(picture.width) * bpp;
    const bool adaptive = level > 1 && std::int64_t{picture.width} * picture.height > 128 * 128;
    std::vector<std::uint8_t> rows(2 * n, 0), trial(adaptive ? 4 * n : 0);
    std::uint8_t* prior = rows.data();
    std::uint8_t* cur = rows.data() + n;
    // Rows are stored bottom-up; PNG wants the top row first.
    for (std::int32_t y = picture.height - 1; y >= 0; --y, out += n + 1) {
        const std::uint8_t* src = picture.bottom + static_cast<std::ptrdiff_t>(y) * picture.stride;
        if (bpp == 4) {
            for (std::size_t i = 0; i < n; i += 4) {
                cur[i] = src[i + 2];
                cur[i + 1] = src[i + 1];
                cur[i + 2] = src[i];
                cur[i + 3] = src[i + 3];
            }
        } else {
            for (std::size_t i = 0; i < n; i += 3, src += 4) {
                cur[i] = src[2];
                cur[i + 1] = src[1];
                cur[i + 2] = src[0];
            }
        }
        int best = 2;
        if (adaptive) {
            // Type 0 is the row itself; 1, 3 and 4 go to the trial rows, 2 straight to the output.
            std::uint64_t bestCost = FilterCost(cur, n);
            best = 0;
            for (int type = 1; type <= 4; ++type) {
                std::uint8_t* to = type == 2 ? out + 1 : trial.data() + static_cast<std::size_t>(type - 1) * n;
                FilterRow(type, cur, prior, n, bpp, to);
                const std::uint64_t cost = FilterCost(to, n);
                if (cost < bestCost) {
                    bestCost = cost;
                    best = type;
                }
            }
            if (best != 2) std::memcpy(out + 1, best == 0 ? cur : trial.data() + static_cast<std::size_t>(best - 1) * n, n);
        } else {
            FilterRow(2, cur, prior, n, bpp, out + 1);
        }
        out[0] = static_cast<std::uint8_t>(best);
        std::swap(prior, cur);
    }
}

// Packs top-down BGRA pixels into a new bottom-up packed bitmap of 24 or 32 bits.
Block PackTrueColor(const Block& bgra, std::int32_t w, std::int32_t h, int depth) {
    Block dib = CreateDibBlockForPixels(w, h, depth);
    const auto layout = GetDibLayout(dib);
    if (!layout) return {};
    for (std::int32_t y = 0; y < h; ++y) {
        const std::uint8_t* s = bgra.data() + static_cast<std::size_t>(y) * w * 4;
        std::uint8_t* d = dib.data() + layout->RowOffset(h - 1 - y);
        if (depth == 32) {
            std::memcpy(d, s, static_cast<std::size_t>(w) * 4);
        } else {
            for (std::int32_t x = 0; x < w; ++x, s += 4, d += 3) std::memcpy(d, s, 3);
        }
    }
    return dib;
}

// An indexed bitmap of 1, 4 or 8 bits: the picture's own colours when there are few enough,
// otherwise an optimal palette of 2^depth colours with each pixel at its nearest colour.
Block PackIndexed(const Block& bgra, std::int32_t w, std::int32_t h, int depth) {
    const Block rgb = PackTrueColor(bgra, w, h, 24);
    if (!rgb) return {};
    int count = 1 << depth;
    const Block paletteBlock = BuildOptimalPalette(rgb, count, false);
    if (!paletteBlock) return {};
    const Block mapped = MapToPalette(rgb, PaletteFromBlock(paletteBlock), std::min(count, 1 << depth), false);
    const auto from = GetDibLayout(mapped);
    Block dib = CreateDibBlock(w, h, depth);
    const auto to = GetDibLayout(dib);
    if (!from || !to) return {};
    std::memcpy(dib.data() + to->tableOffset, mapped.data() + from->tableOffset, std::size_t{to->colors} * 4);
    for (std::int32_t y = 0; y < h; ++y) {
        const std::uint8_t* s = mapped.data() + from->RowOffset(y);
        std::uint8_t* d = dib.data() + to->RowOffset(y);
        for (std::int32_t x = 0; x < w; ++x) WriteIndex(d, x, depth, s[x]);
    }
    return dib;
}

}  // namespace

bool IsPngStream(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= sizeof kSignature && std::memcmp(bytes.data(), kSignature, sizeof kSignature) == 0;
}

bool PngDimensions(std::span<const std::uint8_t> png, std::int32_t& width, std::int32_t& height) {
    // Signature, then the IHDR chunk: length 13, "IHDR", width, height (big-endian).
    if (!IsPngStream(png) || png.size() < 24 || std::memcmp(png.data() + 12, "IHDR", 4) != 0) return false;
    const std::uint32_t w = LoadBE32(png.data() + 16), h = LoadBE32(png.data() + 20);
    if (w == 0 || h == 0 || w > 0x7FFFFFFF || h > 0x7FFFFFFF) return false;
    width = static_cast<std::int32_t>(w);
    height = static_cast<std::int32_t>(h);
    return true;
}

bool IsPlainRgbaPng(std::span<const std::uint8_t> png, std::uint32_t width, std::uint32_t height) {
    // Signature, then the header chunk: length, "IHDR", width, height, bit depth, colour type,
    // compression, filter, interlace.
    if (png.size() < 33 || !IsPngStream(png) || LoadBE32(png.data() + 8) != 13 ||
        std::memcmp(png.data() + 12, "IHDR", 4) != 0)
        return false;
    return LoadBE32(png.data() + 16) == width && LoadBE32(png.data() + 20) == height && png[24] == 8 &&
           png[25] == 6 && png[28] == 0;
}

Block DecodePng(std::span<const std::uint8_t> png, int depth) { return DecodePng(png, depth, PngDecoder::Automatic); }

bool IsIntactPlainRgbaPng(std::span<const std::uint8_t> png, PngCheckMemory memory) {
    return memory == PngCheckMemory::SmallWindow ? PlainRgbaDecoder().CheckStreamed(png) : PlainRgbaDecoder().Check(png);
}

bool DecodePngToBgra(std::span<const std::uint8_t> png, const BgraRowsFor& place) {
    if (!IsPngStream(png)) return false;
    return PlainRgbaDecoder().Decode(png, place) || DecodeWithLibpng(png, place);
}

bool DecodePlainRgbaPngInPlace(std::span<const std::uint8_t> png, std::uint8_t* bottom, std::int32_t width,
                               std::int32_t height) {
    return bottom != nullptr && width > 0 && height > 0 && IsPngStream(png) &&
           PlainRgbaDecoder().DecodeInPlace(png, bottom, width, height);
}

bool DecodePngToBgra(std::span<const std::uint8_t> png, std::int32_t& width, std::int32_t& height, Block& pixels) {
    const bool decoded = DecodePngToBgra(png, [&](std::int32_t w, std::int32_t h) -> BgraRows {
        pixels = Block::Uninitialised(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
        width = w;
        height = h;
        return {pixels.data(), static_cast<std::ptrdiff_t>(w) * 4};
    });
    if (!decoded) pixels.Reset();
    return decoded;
}

Block DecodePng(std::span<const std::uint8_t> png, int depth, PngDecoder decoder) {
    if (depth == 0) depth = 32;
    if (depth != 1 && depth != 4 && depth != 8 && depth != 24 && depth != 32) return {};
    if (!IsPngStream(png)) return {};
    // A plain RGBA picture at 32 bits is inflated and undone in its own block, which the picture
    // needs anyway: no other buffer's pages are touched for it.
    std::int32_t w = 0, h = 0;
    if (depth == 32 && decoder == PngDecoder::Automatic && PngDimensions(png, w, h) &&
        IsPlainRgbaPng(png, static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h))) {
        if (Block dib = PlainRgbaDecoder().DecodeToDib(png)) return dib;
        decoder = PngDecoder::Libpng;
    }
    // 32 bits: the rows go straight into the bitmap, bottom-up; other depths are made from BGRA.
    Block decoded;
    auto place = [&](std::int32_t width, std::int32_t height) -> BgraRows {
        w = width;
        h = height;
        if (depth != 32) {
            decoded = Block::Uninitialised(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4);
            return {decoded.data(), static_cast<std::ptrdiff_t>(w) * 4};
        }
        decoded = CreateDibBlockForPixels(w, h, 32);
        const auto layout = GetDibLayout(decoded);
        if (!layout) return {};
        return {decoded.data() + layout->RowOffset(h - 1), -static_cast<std::ptrdiff_t>(layout->stride)};
    };
    const bool ok = decoder == PngDecoder::Automatic ? DecodePngToBgra(png, place) : DecodeWithLibpng(png, place);
    if (!ok) return {};
    if (depth == 32) return decoded;
    return depth == 24 ? PackTrueColor(decoded, w, h, depth) : PackIndexed(decoded, w, h, depth);
}

bool EncodePng(const Block& dib32, std::vector<std::uint8_t>& out, int level, PngChannels channels) {
    const auto layout = GetDibLayout(dib32);
    if (!layout || layout->bitCount != 32 || layout->coreHeader) return false;
    return EncodePng(BgraPicture{dib32.data() + layout->pixelOffset, static_cast<std::ptrdiff_t>(layout->stride),
                                 layout->width, layout->height},
                     out, level, channels);
}

bool EncodePng(const BgraPicture& picture, std::vector<std::uint8_t>& out, int level, PngChannels channels) {
    out.clear();
    const std::int32_t w = picture.width, h = picture.height;
    if (picture.bottom == nullptr || w <= 0 || h <= 0 || w > kMaxDibDimension || h > kMaxDibDimension) return false;
    const std::size_t bpp = channels == PngChannels::Rgb ? 3 : 4;
    const std::size_t rowBytes = static_cast<std::size_t>(w) * bpp;
    const std::size_t filteredSize = (rowBytes + 1) * static_cast<std::size_t>(h);
    libdeflate_compressor* compressor = Compressor(std::clamp(level, 1, 12));
    if (compressor == nullptr) return false;
    try {
        // Filtered rows, top row first, then the zlib stream made of them, both in this thread's
        // buffers; only the finished stream is copied out, at its own size.
        DeflateState& state = ThreadDeflateState();
        std::uint8_t* const filtered = state.filtered.Get(filteredSize);
        if (filtered == nullptr) return false;
        FilterRows(picture, bpp, filtered, level);
        const std::size_t bound = libdeflate_zlib_compress_bound(compressor, filteredSize);
        std::uint8_t* const stream = state.compressed.Get(bound);
        if (stream == nullptr) return false;
        const std::size_t packed = libdeflate_zlib_compress(compressor, filtered, filteredSize, stream, bound);
        if (packed == 0) return false;
        const std::size_t chunks = (packed + kIdatChunkBytes - 1) / kIdatChunkBytes;
        out.resize(sizeof kSignature + 25 + packed + 12 * chunks + 12);
        std::uint8_t* p = out.data();
        std::memcpy(p, kSignature, sizeof kSignature);
        p += sizeof kSignature;
        std::uint8_t header[13] = {};
        StoreBE32(header, static_cast<std::uint32_t>(w));
        StoreBE32(header + 4, static_cast<std::uint32_t>(h));
        header[8] = 8;  // bits per channel
        header[9] = bpp == 3 ? 2 : 6;  // RGB or RGBA; compression, filter method and interlacing all 0
        p = PutChunk(p, "IHDR", header, sizeof header);
        for (std::size_t begin = 0; begin < packed; begin += kIdatChunkBytes) {
            const std::size_t length = std::min(kIdatChunkBytes, packed - begin);
            p = PutChunk(p, "IDAT", stream + begin, static_cast<std::uint32_t>(length));
        }
        p = PutChunk(p, "IEND", nullptr, 0);
        out.resize(static_cast<std::size_t>(p - out.data()));
        state.filtered.Trim(kScratchBytes);
        state.compressed.Trim(kScratchBytes);
    } catch (const std::bad_alloc&) {
        out.clear();
        return false;
    }
    return true;
}

}  // namespace tellurine
