// CKvIcon: one stored image of an icon, at one size and one colour depth.
//
// The pixels live in one zero-filled block laid out as an icon image resource:
//   1. a 40-byte information header whose height field is twice the image height (the colour
//      pixels and the transparency mask follow each other),
//   2. the colour table, colour count x 4 bytes (none for true colour),
//   3. the colour (XOR) pixels, bottom-up, rows padded to 4 bytes, 32 bits per pixel with alpha,
//   4. the transparency (AND) mask, bottom-up, 1 bit per pixel, rows padded to 4 bytes; a set bit
//      marks a transparent pixel.
// The same bytes are what an icon file holds for an image in bitmap form.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "image/block.h"
#include "image/device_bitmap.h"
#include "image/dib.h"
#include "image/palette.h"
#include "imaging/codecs.h"  // kPngSignature, the PNG coder

namespace tellurine {

class Archive;

// Where the parts of an icon image block lie, computed from the format alone.
struct IconImageLayout {
    int bits = 0;                  // bits per colour pixel
    std::size_t colorStride = 0;   // bytes per colour row
    std::size_t maskStride = 0;    // bytes per mask row
    std::size_t tableOffset = 0;   // first colour-table entry
    std::size_t pixelOffset = 0;   // first byte of the bottom colour row
    std::size_t maskOffset = 0;    // first byte of the bottom mask row
    std::size_t colorImageSize = 0;
    std::size_t maskImageSize = 0;
    std::size_t blockSize = 0;
};

class CKvIcon {
public:
    static constexpr const char* kClassName = "CKvIcon";

    CKvIcon() = default;
    ~CKvIcon() = default;
    // A copy duplicates the image block (see CopyFrom); its second block, work buffer and bitmap
    // start empty. When the duplicate cannot be made the copy is left without a block.
    CKvIcon(const CKvIcon& other);
    CKvIcon& operator=(const CKvIcon& other);
    CKvIcon(CKvIcon&&) noexcept = default;
    CKvIcon& operator=(CKvIcon&&) noexcept = default;

    // Bits per pixel of a format when its block is allocated: 2 colours -> 1, 16 -> 4, 256 -> 8,
    // true colour (0) -> 24, or 32 with alpha; any other count is taken as its own bit count.
    static int FormatBits(std::uint32_t colors, bool alpha);
    // The layout of a format, or false when a size is not positive, a dimension is over
    // kMaxDibDimension, the depth is above 32 bits or the block would exceed kMaxBlockBytes.
    static bool ComputeLayout(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha,
                              IconImageLayout& layout);

    // Gives the image its format: records the size, colour count and alpha flag, and replaces the
    // block by a zero-filled one of the format's size whose header already describes the format
    // (height field twice the height, planes 1, the format's bits, colours used equal to the colour
    // count, colours important 0, as every reader expects). Clears the compressed flag. Returns 1,
    // or 0 when the format is refused (see ComputeLayout); the image is then left empty.
    int SetFormat(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha);

    // Makes the image a 32-bit format with alpha of the given size from top-down rows of 8-bit
    // BGRA pixels (width x 4 bytes each); the AND bit is set where the alpha is 0. Clears the
    // compressed flag. Returns 1, or 0 (image unchanged) when the size is refused.
    int FromBgraRows(std::int32_t width, std::int32_t height, const std::uint8_t* rows);

    // Frees both blocks and the work buffer, then takes over the other image's format, flags,
    // attributes and point, and a byte-for-byte duplicate of its block. Returns 1, or 0 (and
    // changes nothing) when the duplicate cannot be made.
    int CopyFrom(const CKvIcon& other);

    // A logical palette of the colour table, one entry per colour (version 0x300, flags 0);
    // empty for true colour or when there is no block. A 256-colour table that differs in any
    // entry from the standard 256-colour palette clears the standard-palette flag.
    Palette BuildDisplayPalette();

    // The picture as a colour bitmap and the transparency as a mask bitmap, both of the format's
    // size. Mask: white where the AND bit is set, black elsewhere. For a 32-bit format the colour
    // bitmap takes each pixel's blue, green and red and the mask holds its alpha as a grey level.
    // Returns 1, or 0 (outputs untouched) when there is no image or its depth is not 1, 4, 8, 24
    // or 32 bits.
    int ToBitmaps(DeviceBitmap& color, DeviceBitmap& mask, const Palette* palette) const;

    // The reverse of ToBitmaps: the AND bit is set exactly where the mask is white; true-colour
    // pixels are copied; indexed pixels are mapped without dithering onto the palette (or, when
    // none is given, the current colour table) using the format's colour count of entries, and
    // the table is rewritten from that palette; a 32-bit format takes its alpha from the mask's
    // grey level and sets the AND bit where the alpha is 0. The header is left describing the
    // format. Returns 1, or 0 (image untouched) when the bitmaps do not match the format.
    int FromBitmaps(const DeviceBitmap& color, const DeviceBitmap& mask, const Palette* palette);

    // The palette index of every pixel of an indexed format (1, 4 or 8 bits), rows top-down.
    // Returns 1, or 0 (output untouched) for another depth or when there is no image.
    int ToIndices(std::vector<std::uint8_t>& indices) const;
    // Writes an indexed format from its pixels' palette indices as they are (nothing is mapped):
    // the AND bit set exactly where the mask is white, the colour table rewritten from `palette`
    // (black past its end). Returns 1, or 0 (image untouched) for another depth, sizes that do not
    // match the format or an index the depth cannot hold.
    int FromIndices(const std::vector<std::uint8_t>& indices, const DeviceBitmap& mask, const Palette& palette);

    // Reads one image from the archive's current position, in either stored form.
    //  - Bitmap form: the header decides the format, and the whole block is read in one piece of
    //    the format's size, from at most `byteCount` bytes when they hold the colour pixels (a
    //    smaller count, which damaged directories give, is not used); an AND mask cut short is
    //    zero-filled, opaque. `bitCount` is not used.
    //    The header may also be of 108 or 124 bytes: its first 40 bytes are read as the plain
    //    header and the rest is skipped; the image is kept with a 40-byte header (colour-mask
    //    compressions become none).
    //  - PNG form (the first four bytes are kPngSignature): the next `byteCount` bytes are the
    //    stream. It keeps the depth `bitCount` names (1, 4, 8 or 24) when its pixels fit that
    //    depth without loss: every alpha 0 or 255 and, up to 8 bits, at most 2^depth colours
    //    among the opaque pixels. The table then lists those colours (grey pixels at 8 bits get
    //    the grey ramp, entry i being level i); alpha 0 sets the AND bit over a black pixel.
    //    Otherwise, and for any other bit count, the image is 32 bits with alpha, the AND bit
    //    set where the alpha is 0. The image gets a full icon block and its compressed flag. A
    //    byte count of 0 or beyond the data fails.
    // On success the archive is left after the image. Returns 1, or 0 when the data is not an
    // image, is short or cannot be decoded; the image and the archive position are then unchanged.
    int ReadImage(Archive& ar, std::uint32_t byteCount, std::uint32_t bitCount);
    // The same on an image held in memory, which starts at the first byte of `data`.
    int ReadImage(std::span<const std::uint8_t> data, std::uint32_t byteCount, std::uint32_t bitCount);

    // Writes the block as it stands, always in bitmap form (the form the icon group stores).
    // Returns 1, or 0 when there is no block or the archive is not storing.
    int WriteImage(Archive& ar) const;
    // Writes the image in its stored form: PNG when the compressed flag is set, else the bitmap
    // form. `bytesWritten` receives the number of bytes written (an icon file's "bytes in
    // resource"). Returns 1, or 0 with nothing written.
    int WriteImage(Archive& ar, std::uint32_t& bytesWritten) const;
    // Writes the image as a PNG stream of its 32-bit picture (see To32BitDib). Returns 1, or 0
    // with nothing written when there is no image or the encoding fails.
    int WritePngImage(Archive& ar, std::uint32_t& bytesWritten, int zlibLevel = 6) const;
    // Encodes the PNG form now, as WritePngImage would at `zlibLevel`, and keeps the stream, so
    // that writing the image while it is unchanged copies it: the encoding can then run where the
    // image is made (on a worker thread) instead of where it is saved. Returns 1, or 0 with
    // nothing kept.
    int EncodeStoredPng(int zlibLevel = 6);
    // The PNG stream of the 32-bit picture, as WritePngImage writes it, into `out` (emptied
    // first). A 32-bit format is encoded from its own block, with no copy of its pixels. False
    // when there is no image or the encoding fails.
    bool EncodePngStream(std::vector<std::uint8_t>& out, int zlibLevel = 6) const;
    // The picture as a new 32-bit packed bitmap: a 32-bit format as it is stored; lower depths
    // give their colours (through the colour table when indexed) with alpha 0 where the AND bit
    // is set and 255 elsewhere. Empty when there is no image or its depth is not 1, 4, 8, 24 or 32.
    [[nodiscard]] Block To32BitDib() const;

    [[nodiscard]] std::uint32_t Width() const { return width_; }
    [[nodiscard]] std::uint32_t Height() const { return height_; }
    [[nodiscard]] std::uint32_t ColorCount() const { return colors_; }
    [[nodiscard]] int BitsPerPixel() const { return FormatBits(colors_, alpha_); }
    [[nodiscard]] bool HasAlpha() const { return alpha_; }
    [[nodiscard]] bool IsCompressed() const { return compressed_; }
    void SetCompressed(bool compressed) { compressed_ = compressed; }
    [[nodiscard]] bool UsesStandardPalette() const { return standardPalette_; }

    [[nodiscard]] bool IsEmpty() const { return block_.empty(); }
    [[nodiscard]] const Block& GetBlock() const {
        DecodePendingPixels();
        return block_;
    }
    [[nodiscard]] Block& GetBlock() {
        DecodePendingPixels();
        return block_;
    }
    [[nodiscard]] std::uint32_t BlockSize() const { return blockSize_; }
    // The layout of the current format; false when there is none.
    bool GetLayout(IconImageLayout& layout) const;

    [[nodiscard]] Block& SecondBlock() { return secondBlock_; }
    [[nodiscard]] const Block& SecondBlock() const { return secondBlock_; }
    void FreeSecondBlock() { secondBlock_.Reset(); }
    [[nodiscard]] std::vector<std::uint8_t>& WorkBuffer() { return workBuffer_; }

    [[nodiscard]] std::int32_t PointX() const { return pointX_; }
    [[nodiscard]] std::int32_t PointY() const { return pointY_; }
    void SetPoint(std::int32_t x, std::int32_t y) {
        pointX_ = x;
        pointY_ = y;
    }
    [[nodiscard]] std::uint32_t Attribute1() const { return attribute1_; }
    [[nodiscard]] std::uint32_t Attribute2() const { return attribute2_; }
    void SetAttribute1(std::uint32_t value) { attribute1_ = value; }
    void SetAttribute2(std::uint32_t value) { attribute2_ = value; }

    // The PNG stream this image was read from, while the image is unchanged since and the stream is
    // plain 8-bit RGBA at the image's size (so the stream holds exactly these pixels); empty
    // otherwise. Writing the PNG form writes it as it is.
    [[nodiscard]] std::span<const std::uint8_t> UnchangedPng() const;
    // Keeps the stream (PNG of any kind, or JPEG 2000) that the image was just decoded from, when
    // it keeps none yet: a Macintosh family writes an unchanged picture's element back byte for
    // byte. The stream is dropped, like the plain one, as soon as the pixels change.
    void KeepSourceStream(std::span<const std::uint8_t> stream);
    // The stream kept while the image is unchanged (plain or not); empty otherwise.
    [[nodiscard]] std::span<const std::uint8_t> UnchangedStream() const;

    // The Macintosh element the image was read from, or that the user chose for it: its type as
    // read (0 for none), and whether it held a PNG stream (an edited picture is written back in
    // the same kind of stream). Kept through edits and copies; a family whose writer finds the
    // element no longer fits the image's size and depth gives it another.
    struct MacElementTag {
        std::uint32_t type = 0;
        bool png = false;
        bool operator==(const MacElementTag&) const = default;
    };
    [[nodiscard]] MacElementTag MacElement() const { return macElement_; }
    void SetMacElement(MacElementTag tag) { macElement_ = tag; }

    // The bitmap form of the image for display and editing; not carried by a copy.
    CDIB bitmap;

private:
    // The colour table from a palette (black past its end), and the header of the bitmap form as
    // the format describes it; both on a block of the format's layout.
    void WriteColorTable(const Palette& palette);
    void WriteBitmapHeader(const IconImageLayout& layout);

    // The PNG stream this image was read from and a digest of its block as decoded, kept while the
    // stream is plain 8-bit RGBA: as long as the block is unchanged, writing the PNG form writes
    // the stream as it was instead of encoding the same pixels again. Moves keep them; copies do not.
    std::vector<std::uint8_t> storedPng_;
    bool storedPlainPng_ = false;  // storedPng_ is a plain RGBA PNG (not another stream kept)
    mutable std::uint64_t decodedHash_ = 0;  // set where pending pixels are decoded
    static std::uint64_t HashBlock(const Block& block);

    // A plain RGBA stream that was checked whole when read but not inflated: the block holds the
    // format's header and zeros until its pixels are first asked for (GetBlock, or any member that
    // reads or changes them), when the stream is inflated into it, once, however many threads ask
    // at the same time. Until then, writing the PNG form copies the stream without decoding it.
    struct PendingPixels {
        std::once_flag once;
        std::atomic<bool> decoded{false};
    };
    std::unique_ptr<PendingPixels> pending_;
    // Inflates pending pixels into the block; nothing when there are none.
    void DecodePendingPixels() const;
    // Reads a plain RGBA stream of that size and layout that stays at 32 bits, with its pixels left
    // pending (see PendingPixels), when it is small enough and intact; false, with the image
    // unchanged, otherwise.
    bool ReadPngImageLater(std::span<const std::uint8_t> png, std::int32_t width, std::int32_t height,
                           const IconImageLayout& layout, std::vector<std::uint8_t>* owned);

    void ClearFormat();
    // A zero-filled block of the format's layout whose header describes the format; empty when
    // memory runs out. Unless `zeroed`, only the header is written: for a caller that writes every
    // other byte itself, so that the block's pages stay untouched until then.
    static Block NewImageBlock(std::int32_t width, std::int32_t height, std::uint32_t colors,
                               const IconImageLayout& layout, bool zeroed = true);
    // Sets the AND bit of every pixel of a 32-bit block whose alpha is 0.
    static void MaskTransparentPixels(Block& block, std::int32_t width, std::int32_t height,
                                      const IconImageLayout& layout);
    // Takes a complete image block of the given format (its size is the format's block size).
    void AdoptFormat(Block&& block, std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha);
    // Decodes a PNG stream into this image (see ReadImage); 0 and unchanged on failure.
    // `owned`, when given, holds the stream and may be taken to be kept.
    int ReadPngImage(std::span<const std::uint8_t> png, std::uint32_t bitCount,
                     std::vector<std::uint8_t>* owned = nullptr);
    // A block of 1, 4, 8 or 24 bits holding exactly the pixels of a decoded 32-bit block, or
    // empty when they do not fit that depth (see ReadImage).
    static Block ReduceDecodedPng(const Block& decoded, std::int32_t width, std::int32_t height, int depth);

    Block block_;
    Block secondBlock_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t colors_ = 0;
    std::uint32_t blockSize_ = 0;
    std::uint32_t attribute1_ = 0;
    bool standardPalette_ = true;
    bool alpha_ = false;
    bool compressed_ = false;
    std::vector<std::uint8_t> workBuffer_;
    std::uint32_t attribute2_ = 0;
    std::int32_t pointX_ = -1;
    std::int32_t pointY_ = -1;
    MacElementTag macElement_;
};

}  // namespace tellurine
