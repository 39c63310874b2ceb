// CDIB: a bitmap held as one packed bitmap block, with the attributes that travel with it.
#pragma once

#include <cstdint>
#include <vector>

#include "image/block.h"
#include "image/dib_block.h"
#include "image/freeimage.h"
#include "image/palette.h"

namespace tellurine {

class Archive;

// Resolution used in place of a bitmap resolution of 0, in dots per inch.
inline constexpr std::int32_t kDefaultResolution = 96;

class CDIB {
public:
    static constexpr const char* kClassName = "CDIB";

    CDIB();
    ~CDIB();
    // A copy starts with the default resolution and default loader attributes (but for the 32-bit
    // one); an assignment keeps the source's resolution and every loader attribute. The
    // difference is intended.
    CDIB(const CDIB& other);
    CDIB& operator=(const CDIB& other);
    CDIB(CDIB&& other) noexcept;
    CDIB& operator=(CDIB&& other) noexcept;

    [[nodiscard]] bool IsEmpty() const { return block_.empty(); }
    [[nodiscard]] const Block& GetBlock() const { return block_; }
    // Gives the block away; the bitmap is left empty (palette and table as they were).
    Block DetachBlock();
    [[nodiscard]] std::int32_t Width() const { return DibWidth(block_); }
    [[nodiscard]] std::int32_t Height() const { return DibHeight(block_); }
    [[nodiscard]] int BitCount() const { return DibBitCount(block_); }
    [[nodiscard]] const Palette& GetPalette() const { return palette_; }

    // Duplicates a block owned by somebody else. Resets the resolution and the loader attributes
    // (but for the 32-bit one); keeps the transparent index and the saved colour table.
    // Returns false, changing nothing, when the block is empty or cannot be duplicated.
    bool CopyFromBlock(const Block& block);
    // Takes ownership of a block, freeing the one held until then, and builds the palette unless
    // palette building is suppressed on this thread. Every transforming operation ends here.
    void Attach(Block&& block);
    // Frees the block, the palette and the saved colour table.
    void Clear();

    // For an 8-bit block with at least 2^bits colours: keep the first 2^bits table entries as
    // red-green-blue triplets. 1 on success, 0 otherwise.
    int SaveColorTable(int bits);
    [[nodiscard]] int SavedTableBits() const { return static_cast<int>(savedTableBits_); }
    [[nodiscard]] const std::vector<std::uint8_t>& SavedColorTable() const { return savedTable_; }
    // For an 8-bit block: 1 when some pixel has that index, else 0.
    [[nodiscard]] int UsesIndex(int index) const;

    // 8-bit with a transparent index: becomes 32-bit, alpha 0 at that index and 255 elsewhere.
    void ApplyTransparentIndex();
    // 8 bits per pixel or more: becomes 24-bit, composed over the background colour.
    void Flatten(COLORREF background);
    // 1, 4, 8, 24 or 32 bits: becomes 32-bit; with useKey, pixels of the key colour become fully
    // transparent and every other pixel opaque.
    void ConvertTo32(bool useKey, COLORREF keyColor);
    // An opaque 24-bit copy for targets without alpha: composed over light grey (E1E1E1), with
    // magenta (FF00FF) where the alpha was below 64. Empty when this bitmap cannot be converted.
    [[nodiscard]] CDIB MakeKeyedCopy() const;

    // Copies the block into the image-library image, or the library image into a new block,
    // converting the resolution between dots per inch and dots per metre. False on failure.
    bool SyncToLibraryImage();
    bool SyncFromLibraryImage();
    // The library image: empty until synchronised or loaded into.
    LibraryBitmap& LibraryImage() { return library_; }
    [[nodiscard]] const LibraryBitmap& LibraryImage() const { return library_; }
    [[nodiscard]] bool LibraryImageChanged() const { return libraryChanged_; }

    // Archive form: a 32-bit flag (0: empty, nothing follows), the block size, the whole block in
    // pieces of at most 32,768 bytes. False when the archive is short or the block is absurd.
    bool Serialize(Archive& ar);

    // Attributes.
    std::int32_t resolution = 0;        // dots per inch; 0 means kDefaultResolution
    std::int32_t transparentIndex = -1; // transparent palette index of an 8-bit image, -1 for none
    // Loader attributes, set by the image-library loaders and copied with the image.
    std::int32_t loaderValue = 0;
    std::int32_t loaderIndex = -1;
    double loaderReal = 0.0;
    std::uint8_t loaderFlag1 = 0;
    std::uint8_t loaderFlag2 = 0;

    // While an instance lives, Attach on this thread builds no palette.
    class PaletteSuppressor {
    public:
        PaletteSuppressor();
        ~PaletteSuppressor();
        PaletteSuppressor(const PaletteSuppressor&) = delete;
        PaletteSuppressor& operator=(const PaletteSuppressor&) = delete;
    };

    // dpi <-> dots per metre, as the library image records resolution.
    static std::int32_t DotsPerMeterFromDpi(std::int32_t dpi);
    static bool DpiFromDotsPerMeter(double dotsPerMeter, std::int32_t& dpi);

private:
    void CopyImageFrom(const CDIB& other);
    void RebuildPalette();

    Block block_;
    Palette palette_;
    std::uint32_t savedTableBits_ = 0;
    std::vector<std::uint8_t> savedTable_;
    LibraryBitmap library_;
    bool libraryChanged_ = false;
};

// Block-level forms of the conversions above, for callers that hold a bare block. Each returns a
// new block, or an empty one when the source has another depth or memory runs out.
Block FlattenDib(const Block& source, COLORREF background);            // 8 bits or more -> 24
Block ConvertDibTo32(const Block& source, bool useKey, COLORREF key);  // 1, 4, 8, 24, 32 -> 32

// Colour composition over an opaque background, used by Flatten and the colour reduction:
// (colour x alpha + background x (255 - alpha)) / 255, truncated.
inline std::uint8_t ComposeOver(std::uint8_t color, std::uint8_t alpha, std::uint8_t background) {
    return static_cast<std::uint8_t>((color * alpha + background * (255 - alpha)) / 255);
}

}  // namespace tellurine
