// The pieces of a Macintosh icon family that are not about the container: the element table,
// the run-length packing of 24-bit planes, and the two system palettes with their
// nearest-colour search.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tellurine {

// Element types are four ASCII characters stored big-endian; this is their value as read.
constexpr std::uint32_t IcnsType(std::string_view name) {
    return (std::uint32_t{static_cast<unsigned char>(name[0])} << 24) |
           (std::uint32_t{static_cast<unsigned char>(name[1])} << 16) |
           (std::uint32_t{static_cast<unsigned char>(name[2])} << 8) | std::uint32_t{static_cast<unsigned char>(name[3])};
}

// The four characters of an element type.
inline std::string IcnsTypeName(std::uint32_t type) {
    return {static_cast<char>(type >> 24), static_cast<char>(type >> 16), static_cast<char>(type >> 8),
            static_cast<char>(type)};
}

// The four characters of an element type for a listing: bytes outside printable ASCII (and the
// backslash) as "\xNN".
std::string PrintableIcnsType(std::uint32_t type);

// One row of the classic element table. Depth 0: no colour part; mask depth 0: no mask part.
struct IcnsElementRow {
    std::uint32_t type;
    std::int32_t width;
    std::int32_t height;
    int depth;
    int maskDepth;
};

// The 27 classic rows, searched in this order by both the reader and the writer.
inline constexpr int kIcnsRowCount = 27;
extern const std::array<IcnsElementRow, kIcnsRowCount> kIcnsRows;

// The row of an element type, or -1.
int FindIcnsRow(std::uint32_t type);
// The first row with this size and colour depth, or -1.
int FindIcnsRow(std::int32_t width, std::int32_t height, int depth);
// The first row with this size and mask depth, or -1.
int FindIcnsMaskRow(std::int32_t width, std::int32_t height, int maskDepth);

// Bytes of a top-down plane of `depth` bits a pixel, rows padded to the byte.
std::size_t IcnsBufferSize(std::int32_t width, std::int32_t height, int depth);

// The later elements that hold a whole picture as a PNG or JPEG 2000 stream, as run-length packed
// ARGB planes, or (up to 128 pixels) as run-length packed RGB planes with the 8-bit mask element
// of their size: their type and nominal pixel size. -1 for other types.
std::int32_t ModernIcnsElementSize(std::uint32_t type);

// How a writer stores the picture of a true-colour element.
enum class IcnsElementForm {
    Classic,      // three packed planes with the 8-bit mask element of the size ("is32", "il32", ...)
    Argb,         // "ARGB" and four packed planes ("ic04", "ic05")
    Png,          // a PNG stream
    LargeStream,  // a JPEG 2000 stream, or PNG when that is asked for ("ic08", "ic09", "ic13", "ic14")
};

// A true-colour element a format can be written as: its type, its pixel size, its scale (2 for
// the "@2x" elements, whose pixels are drawn at twice the density: "ic12" holds a 32-point icon
// in 64 pixels) and how it is stored.
struct MacPictureElement {
    std::uint32_t type;
    std::int32_t size;
    int scale;
    IcnsElementForm form;
};

// Every true-colour element, smallest first; of one size the element a format takes by default
// comes first ("il32" for 32 pixels, then "ic11" = 16 @2x, "ic05", "icp5").
std::span<const MacPictureElement> MacPictureElements();
// The entry of a true-colour element type; nullptr for any other.
const MacPictureElement* FindMacPictureElement(std::uint32_t type);

// The scale of an element type: 2 for "ic11".."ic14", "icsB" and "SB24", 1 for every other.
int MacElementScale(std::uint32_t type);

// The elements a format of this size and depth (1, 4, 8, 24 or 32 bits) can be written as, the
// one it takes by default first: the classic row of its size and depth for 1, 4 and 8 bits (none
// above 48 pixels), and for 24 and 32 bits the true-colour elements of its size. Empty when a
// family has no element for it (a 96 x 96 format, or one that is not square beyond 16 x 12).
std::vector<std::uint32_t> MacElementsFor(std::int32_t width, std::int32_t height, int bits);

// Unpacks `planeCount` planes of `planeSize` bytes each from run-length data into `planes`
// (planeCount x planeSize bytes, plane after plane). A control byte of 0x80 or more repeats the
// next byte (control & 0x7F) + 3 times; a smaller one copies the next (control & 0x7F) + 1 bytes.
// A run that would overfill its plane is consumed and ends that plane (the rest of it stays 0).
// Returns false when the data ends before every plane is full.
bool UnpackIcnsPlanes(std::span<const std::uint8_t> data, int planeCount, std::size_t planeSize,
                      std::vector<std::uint8_t>& planes);

// Packs one plane and appends it to `out`. The plane is scanned from its last byte back to its
// first: a stretch of 3 or more equal bytes becomes repeat runs of at most 128 bytes, everything
// else literal runs of at most 128 bytes. Since the scan runs backwards, the full 128-byte pieces
// of a long stretch lie at its end and the remainder at its start; a remainder of 1 or 2 bytes is
// a literal run of its own. The same plane always packs to the same bytes.
void PackIcnsPlane(std::span<const std::uint8_t> plane, std::vector<std::uint8_t>& out);

// The Macintosh system palettes, as 0xRRGGBB values in index order.
extern const std::array<std::uint32_t, 16> kMacPalette16;
extern const std::array<std::uint32_t, 256> kMacPalette256;

// Nearest-colour search over one of the system palettes by squared RGB distance. The palette is
// searched as a copy sorted by red: from the entry found by binary search on red, outwards both
// ways while the red difference alone can still beat the best distance. Answers are cached by the
// colour reduced to 5 bits a channel, so every colour of one reduced value gets the answer found
// for the first of them; Reset empties the cache (once per element).
class MacPaletteSearch {
public:
    explicit MacPaletteSearch(std::span<const std::uint32_t> palette);
    void Reset();
    std::uint8_t Nearest(std::uint8_t r, std::uint8_t g, std::uint8_t b);

private:
    struct Entry {
        int r, g, b;
        std::uint8_t index;
    };
    std::vector<Entry> sorted_;
    std::vector<std::int16_t> cache_;  // 32,768 entries, -1 when empty
};

}  // namespace tellurine
