// CIconGroup: one icon as the ordered list of its formats (CKvIcon images).
//
// The group is the compact form in which an icon travels between the project document, the file
// formats, the clipboard and the librarian. It decides in which order the formats are stored and
// listed, and which format best fits a wanted size and depth.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "icon/kv_icon.h"

namespace tellurine {

class Archive;

class CIconGroup {
public:
    static constexpr const char* kClassName = "CIconGroup";

    CIconGroup() = default;
    ~CIconGroup() = default;
    CIconGroup(const CIconGroup&) = delete;
    CIconGroup& operator=(const CIconGroup&) = delete;
    CIconGroup(CIconGroup&&) noexcept = default;
    CIconGroup& operator=(CIconGroup&&) noexcept = default;

    // Bits of a format for ordering: 2 colours -> 1, 16 -> 4, 256 -> 8, true colour -> 24, or 32
    // with alpha; any other count -> 4.
    static int SortBits(const CKvIcon& image);
    // Depth rank for matching: 2 colours -> 2, 16 -> 16, 256 -> 32, true colour -> 48, with alpha
    // -> 64; any other count ranks as 16 colours.
    static int DepthRank(const CKvIcon& image);

    // True when format a goes before format b in the save order (see SortFormats); every sort of
    // formats for storing uses this one comparison.
    static bool Precedes(const CKvIcon& a, const CKvIcon& b, bool explorerOrder);
    // True when format a is the better picture of the icon than b: more pixels, or as many and
    // more bits per pixel. The picture shown for an icon (the overwrite prompt, the clipboard).
    static bool Outranks(const CKvIcon& a, const CKvIcon& b);
    // The best picture of the group by Outranks (the first of equals); nullptr when it is empty.
    [[nodiscard]] const CKvIcon* LargestFormat() const;

    // Appends a copy of the image, re-sorts the formats and empties the display order. Returns 1,
    // or 0 with the dirty flag set when memory runs out (the earlier formats are kept).
    int AddFormatCopy(const CKvIcon& image);
    // Appends a copy of the image as the last format, without sorting, and empties the display
    // order. Returns 1, or 0 (group unchanged) when memory runs out.
    int AppendFormatCopy(const CKvIcon& image);
    // The same with an image that is moved in rather than copied.
    int AppendFormat(CKvIcon&& image);
    // Deletes every format and empties the display order.
    void RemoveAll();

    // The format at `index` in storage order, or nullptr outside the list.
    [[nodiscard]] CKvIcon* FormatAt(int index);
    [[nodiscard]] const CKvIcon* FormatAt(int index) const;
    [[nodiscard]] int FormatCount() const { return static_cast<int>(formats_.size()); }

    // Sorts the formats in place by passes of adjacent exchanges (equal formats keep their
    // order). Default order: ascending bits, then larger width first, then larger height first.
    // Explorer-compatible order (when forced or when explorerCompatibleOrder is set): formats
    // below 32 bits by ascending width, then ascending bits; after them the 32-bit formats by
    // ascending width; height plays no part. Empties the display order when anything moved.
    void SortFormats(bool forceExplorerOrder);

    // Fills the display order, when it is empty, with the format indices by descending bits, then
    // descending width, then descending height.
    void BuildDisplayOrder();
    [[nodiscard]] const std::vector<std::int32_t>& DisplayOrder() const { return displayOrder_; }

    // Index of the format nearest to the wanted size and depth rank: the smallest
    // |size - height| + |size - width| + 2 x |rank - wanted rank|, the earliest on ties; -1 for
    // an empty group.
    [[nodiscard]] int FindBestFormat(int size, int rank) const;
    // The same with the size taken from the table 16, 32, 48, 256 and a fifth, scale-dependent
    // entry (sizeIndex 0-4), and the rank from 1, 16, 32, 64 (depthIndex 0-3). Every call
    // refreshes the fifth entry after reading it: 48 at a scale factor up to 1.0, else 48 x the
    // scale factor truncated, so a new scale factor takes effect from the following call.
    // -1 for an index out of range or an empty group.
    [[nodiscard]] int FindBestDisplayFormat(int sizeIndex, int depthIndex, double scaleFactor) const;

    // Frees the second block of every format and clears the current index.
    void ReleaseBitmaps();

    // Archive form: the format count as an unsigned 16-bit value, then per format a 32-bit 0 for
    // an image without a block, or its block size followed by the image in bitmap form. Loading
    // appends every nonzero entry and skips the zero ones. False when the archive is short or
    // holds an image that cannot be read (the group is then unchanged), or when there are more
    // formats than the count can hold (nothing is written).
    bool Serialize(Archive& ar);

    std::string name;
    std::string description;
    bool dirty = false;
    std::int32_t current = -1;
    // The application's save-order preference; the core reads no settings itself.
    bool explorerCompatibleOrder = false;

private:
    std::vector<std::unique_ptr<CKvIcon>> formats_;
    std::vector<std::int32_t> displayOrder_;
};

}  // namespace tellurine
