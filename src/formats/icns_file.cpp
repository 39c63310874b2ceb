#include "formats/icns_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "formats/icns_codec.h"
#include "formats/mac_resource.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"
#include "imaging/jpeg2000.h"

namespace tellurine {

namespace {

constexpr std::uint32_t kIcnsMagic = IcnsType("icns");
constexpr std::uint32_t kOdrpMagic = IcnsType("odrp");
constexpr std::uint32_t kArgbPrefix = IcnsType("ARGB");
constexpr std::size_t kHeaderSize = 8;
constexpr int kIt32Row = 20;
constexpr int kFirstStreamRow = 24;  // "ic08", "ic09", "ic10"
// PNG elements (above 512 pixels) favour speed: they are large and written at every save.
constexpr int kPngLevel = 6;

bool IsOneBitWithMask(int row) { return row == 6 || row == 8 || row == 12 || row == 15; }
bool IsTrueColorRow(int row) { return row == 2 || row == 5 || row == 18 || row == 20; }
bool IsColorRow(int row) { return kIcnsRows[row].depth > 0; }

// The rows whose mask pairs with a colour row: the mask-only row first, then the fallback.
std::array<int, 2> MaskRowsFor(int row) {
    switch (row) {
        case 0: case 1: case 6: return {10, 6};
        case 3: case 4: case 8: return {11, 8};
        case 12: case 13: case 14: return {22, 12};
        case 15: case 16: case 17: return {23, 15};
        case 2: return {7, -1};
        case 5: return {9, -1};
        case 18: return {19, -1};
        case 20: return {21, -1};
        default: return {-1, -1};
    }
}

// The first "icns" in the bytes.
std::optional<std::size_t> FindNextIcns(std::span<const std::uint8_t> bytes) {
    static constexpr char kMagic[] = {'i', 'c', 'n', 's'};
    const auto at = std::search(bytes.begin(), bytes.end(), std::begin(kMagic), std::end(kMagic));
    if (at == bytes.end()) return std::nullopt;
    return static_cast<std::size_t>(at - bytes.begin());
}

// One element as the walk found it.
struct Element {
    std::uint32_t type = 0;
    int row = -1;                       // classic row, or -1 for a later element
    std::span<const std::uint8_t> data;
    std::size_t offset = 0;             // of its header, from the start of the family
};

// Walks a family's elements, calling `visit` for each one whose data lies inside the bytes.
// The walk ends at the container's total length, at a length of 0 or over the limit, or at an
// element that does not fit.
template <typename Visit>
bool WalkElements(std::span<const std::uint8_t> family, Visit&& visit) {
    if (family.size() < kHeaderSize) return false;
    const std::uint32_t magic = LoadBE32(family.data());
    const std::uint32_t total = LoadBE32(family.data() + 4);
    if ((magic != kIcnsMagic && magic != kOdrpMagic) || total == 0 || total > kMaxIcnsLength || total < 9)
        return false;
    std::size_t pos = kHeaderSize;
    std::uint64_t consumed = kHeaderSize;
    for (int count = 0; consumed < total && family.size() - pos >= kHeaderSize && count < kMaxIcnsElements; ++count) {
        const std::uint32_t type = LoadBE32(family.data() + pos);
        const std::uint32_t length = LoadBE32(family.data() + pos + 4);
        if (length == 0 || length > kMaxIcnsLength || length < kHeaderSize || length > family.size() - pos) break;
        visit(Element{type, FindIcnsRow(type), family.subspan(pos + kHeaderSize, length - kHeaderSize), pos});
        pos += length;
        consumed += length;
    }
    return true;
}

// Checks an element's data against its row's buffer sizes: its colour part and its mask part.
bool SplitClassicElement(int row, std::span<const std::uint8_t> data, std::span<const std::uint8_t>& color,
                         std::span<const std::uint8_t>& mask) {
    const IcnsElementRow& r = kIcnsRows[row];
    const std::size_t colorSize = IsOneBitWithMask(row) ? data.size() / 2 : data.size();
    if (r.depth > 0) {
        if (colorSize != IcnsBufferSize(r.width, r.height, r.depth)) return false;
        color = data.first(colorSize);
    }
    if (r.maskDepth > 0) {
        const std::span<const std::uint8_t> maskPart = r.depth > 0 ? data.subspan(colorSize) : data;
        if (maskPart.size() != IcnsBufferSize(r.width, r.height, r.maskDepth)) return false;
        mask = maskPart;
    }
    return true;
}

bool MaskBit(std::span<const std::uint8_t> mask, int width, int x, int y) {
    const std::size_t stride = (static_cast<std::size_t>(width) + 7) / 8;
    return (mask[stride * static_cast<std::size_t>(y) + static_cast<std::size_t>(x / 8)] >> (7 - x % 8)) & 1;
}

// An indexed image from top-down Macintosh pixels and a 1-bit mask. The colour table is the
// system palette of the depth (black, white for 1 bit, where a set bit is black). Masked-out
// pixels are stored black with their AND bit set, so that they are transparent on every display.
bool MakeIndexedImage(int row, std::span<const std::uint8_t> pixels, std::span<const std::uint8_t> mask,
                      CKvIcon& icon) {
    const IcnsElementRow& r = kIcnsRows[row];
    const int depth = r.depth;
    if (!icon.SetFormat(r.width, r.height, std::uint32_t{1} << depth, false)) return false;
    IconImageLayout l;
    icon.GetLayout(l);
    std::uint8_t* base = icon.GetBlock().data();
    std::uint8_t* table = base + l.tableOffset;
    std::uint8_t black = 0;
    if (depth == 1) {
        const std::uint8_t quads[8] = {0, 0, 0, 0, 255, 255, 255, 0};
        std::memcpy(table, quads, sizeof quads);
    } else {
        const std::span<const std::uint32_t> palette =
            depth == 4 ? std::span<const std::uint32_t>(kMacPalette16) : std::span<const std::uint32_t>(kMacPalette256);
        for (std::size_t i = 0; i < palette.size(); ++i) {
            table[4 * i] = static_cast<std::uint8_t>(palette[i]);
            table[4 * i + 1] = static_cast<std::uint8_t>(palette[i] >> 8);
            table[4 * i + 2] = static_cast<std::uint8_t>(palette[i] >> 16);
            if (palette[i] == 0) black = static_cast<std::uint8_t>(i);
        }
    }
    const std::size_t srcStride = (static_cast<std::size_t>(r.width) * depth + 7) / 8;
    for (int y = 0; y < r.height; ++y) {
        const std::size_t stored = static_cast<std::size_t>(r.height - 1 - y);
        std::uint8_t* colorRow = base + l.pixelOffset + l.colorStride * stored;
        std::uint8_t* andRow = base + l.maskOffset + l.maskStride * stored;
        const std::uint8_t* src = pixels.data() + srcStride * static_cast<std::size_t>(y);
        for (int x = 0; x < r.width; ++x) {
            std::uint8_t index = ReadIndex(src, x, depth);
            if (depth == 1) index = index ? 0 : 1;
            if (!MaskBit(mask, r.width, x, y)) {
                index = black;
                WriteIndex(andRow, x, 1, 1);
            }
            WriteIndex(colorRow, x, depth, index);
        }
    }
    return true;
}

// Why an element gave no image; nothing when it gave one.
using Outcome = std::optional<IcnsSkipReason>;
constexpr Outcome kMade = std::nullopt;

bool IsStream(std::span<const std::uint8_t> data) { return IsPngStream(data) || IsJpeg2000Stream(data); }
bool IsArgb(std::span<const std::uint8_t> data) { return data.size() >= 4 && LoadBE32(data.data()) == kArgbPrefix; }

// A 32-bit image from top-down pixels: `channel(i, c)` gives byte c (blue, green, red, alpha) of
// pixel i.
template <typename Channel>
bool MakeBgraImage(std::int32_t width, std::int32_t height, CKvIcon& icon, Channel&& channel) {
    const std::size_t n = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> bgra(n * 4);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t c = 0; c < 4; ++c) bgra[4 * i + c] = channel(i, c);
    return icon.FromBgraRows(width, height, bgra.data()) != 0;
}

// Three packed planes (red, green, blue) and an 8-bit mask.
Outcome PackedRgbImage(std::span<const std::uint8_t> data, std::int32_t width, std::int32_t height,
                       std::span<const std::uint8_t> mask, CKvIcon& icon) {
    const std::size_t n = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> planes;
    if (!UnpackIcnsPlanes(data, 3, n, planes)) return IcnsSkipReason::Damaged;
    const bool made = MakeBgraImage(width, height, icon, [&](std::size_t i, std::size_t c) {
        return c == 3 ? mask[i] : planes[(2 - c) * n + i];
    });
    return made ? kMade : IcnsSkipReason::TooLarge;
}

// Four packed planes (alpha, red, green, blue), after the "ARGB" prefix.
Outcome ArgbImage(std::span<const std::uint8_t> data, std::int32_t width, std::int32_t height, CKvIcon& icon) {
    const std::size_t n = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> planes;
    if (!UnpackIcnsPlanes(data.subspan(4), 4, n, planes)) return IcnsSkipReason::Damaged;
    const bool made = MakeBgraImage(width, height, icon, [&](std::size_t i, std::size_t c) {
        return planes[(c == 3 ? 0 : 3 - c) * n + i];
    });
    return made ? kMade : IcnsSkipReason::TooLarge;
}

// Unpacked pixels of 4 bytes (a padding byte, red, green, blue); alpha from the 8-bit mask, or
// opaque without one.
Outcome UnpackedImage(std::span<const std::uint8_t> data, std::int32_t width, std::int32_t height,
                      std::span<const std::uint8_t> mask, CKvIcon& icon) {
    const bool made = MakeBgraImage(width, height, icon, [&](std::size_t i, std::size_t c) {
        if (c == 3) return mask.empty() ? std::uint8_t{255} : mask[i];
        return data[4 * i + 3 - c];
    });
    return made ? kMade : IcnsSkipReason::TooLarge;
}

// A 32-bit image of the stream's own size from a PNG or JPEG 2000 stream; with `atLeast`, a JPEG
// 2000 stream may give a smaller one whose sides reach it (DecodeJpeg2000Reduced).
Outcome StreamImage(std::span<const std::uint8_t> data, CKvIcon& icon, std::int32_t atLeast = 0) {
    std::int32_t width = 0, height = 0;
    if (IsPngStream(data)) {
        if (!PngDimensions(data, width, height)) return IcnsSkipReason::BadStream;
        if (std::int64_t{width} * height > kMaxIcnsStreamPixels) return IcnsSkipReason::TooLarge;
        return icon.ReadImage(data, static_cast<std::uint32_t>(data.size()), 32) != 0 ? kMade : IcnsSkipReason::BadStream;
    }
    if (Jpeg2000Dimensions(data, width, height) && std::int64_t{width} * height > kMaxIcnsStreamPixels)
        return IcnsSkipReason::TooLarge;
    Block bgra;
    if (!(atLeast > 0 ? DecodeJpeg2000Reduced(data, atLeast, width, height, bgra, kMaxIcnsStreamPixels)
                      : DecodeJpeg2000ToBgra(data, width, height, bgra, kMaxIcnsStreamPixels)))
        return IcnsSkipReason::BadStream;
    return icon.FromBgraRows(width, height, bgra.data()) != 0 ? kMade : IcnsSkipReason::TooLarge;
}

// The mask elements of a family, by row: the first good one of each row.
struct Masks {
    std::array<std::span<const std::uint8_t>, kIcnsRowCount> data{};
    std::array<bool, kIcnsRowCount> present{};

    // The mask of a classic colour row: its mask-only row first, then the fallback. -1 when the
    // family has neither.
    [[nodiscard]] int For(int row) const {
        for (int m : MaskRowsFor(row))
            if (m >= 0 && present[m]) return m;
        return -1;
    }
};

// A classic 32-bit element ("is32", "il32", "ih32", "it32") that is not a stream: "ARGB" and four
// packed planes, unpacked pixels, or three packed planes with the 8-bit mask.
Outcome TrueColorImage(int row, std::span<const std::uint8_t> data, const Masks& masks, CKvIcon& icon) {
    const IcnsElementRow& r = kIcnsRows[row];
    if (IsArgb(data) && ArgbImage(data, r.width, r.height, icon) == kMade) return kMade;
    const int maskRow = masks.For(row);
    const std::span<const std::uint8_t> mask = maskRow >= 0 ? masks.data[maskRow] : std::span<const std::uint8_t>();
    if (data.size() == IcnsBufferSize(r.width, r.height, 32)) return UnpackedImage(data, r.width, r.height, mask, icon);
    if (maskRow < 0) return IcnsSkipReason::NoMask;
    if (row == kIt32Row) {
        if (data.size() < 4) return IcnsSkipReason::Damaged;
        data = data.subspan(4);
    }
    return PackedRgbImage(data, r.width, r.height, mask, icon);
}

// A later element that is not a stream: "ARGB" and four packed planes, or up to 128 pixels three
// packed planes with the 8-bit mask of its size.
Outcome LaterElementImage(std::uint32_t type, std::span<const std::uint8_t> data, const Masks& masks, CKvIcon& icon) {
    const std::int32_t size = ModernIcnsElementSize(type);
    if (size <= 0) return IcnsSkipReason::UnknownData;
    if (IsArgb(data)) return ArgbImage(data, size, size, icon);
    const int maskRow = FindIcnsMaskRow(size, size, 8);
    if (maskRow < 0) return IcnsSkipReason::UnknownData;
    if (!masks.present[maskRow]) return IcnsSkipReason::NoMask;
    return PackedRgbImage(data, size, size, masks.data[maskRow], icon);
}

// One element that holds a picture, decoded into `icon`. Indexed and 1-bit elements have passed
// their size check and are read as such. Otherwise a stream is read as one whatever the type;
// should a classic 32-bit element's stream fail, its data is tried in the classic forms (packed
// data can begin with the bytes of a stream's signature).
Outcome ElementImage(const Element& e, const Masks& masks, CKvIcon& icon, std::int32_t atLeast = 0) {
    if (e.row >= 0 && e.row < kFirstStreamRow && !IsTrueColorRow(e.row)) {
        const int maskRow = masks.For(e.row);
        if (maskRow < 0) return IcnsSkipReason::NoMask;
        return MakeIndexedImage(e.row, e.data, masks.data[maskRow], icon) ? kMade : IcnsSkipReason::TooLarge;
    }
    Outcome streamOutcome = kMade;
    if (IsStream(e.data)) {
        streamOutcome = StreamImage(e.data, icon, atLeast);
        if (!streamOutcome || !IsTrueColorRow(e.row)) return streamOutcome;
    }
    const Outcome outcome = e.row < 0              ? LaterElementImage(e.type, e.data, masks, icon)
                            : IsTrueColorRow(e.row) ? TrueColorImage(e.row, e.data, masks, icon)
                                                    : Outcome(IcnsSkipReason::UnknownData);
    return outcome && streamOutcome ? streamOutcome : outcome;
}

// What a walk of a family finds: its pictures in file order, each with the reason it was skipped
// when that is known from the walk, and its masks.
struct FamilyPictures {
    std::vector<std::pair<Element, Outcome>> pictures;
    Masks masks;
};

bool CollectPictures(std::span<const std::uint8_t> family, FamilyPictures& found) {
    auto& pictures = found.pictures;
    Masks& masks = found.masks;
    return WalkElements(family, [&](const Element& e) {
        if (e.row < 0) {
            if (ModernIcnsElementSize(e.type) > 0 || IsStream(e.data)) pictures.push_back({e, kMade});
            return;
        }
        if (e.row >= kFirstStreamRow || IsTrueColorRow(e.row)) {
            pictures.push_back({e, kMade});
            return;
        }
        std::span<const std::uint8_t> color, mask;
        if (!SplitClassicElement(e.row, e.data, color, mask)) {
            // A stream under the type of an indexed or mask element is a picture of its own.
            if (IsStream(e.data)) pictures.push_back({Element{e.type, -1, e.data, e.offset}, kMade});
            else pictures.push_back({e, IcnsSkipReason::Damaged});
            return;
        }
        if (kIcnsRows[e.row].maskDepth > 0 && !masks.present[e.row]) {
            masks.data[e.row] = mask;
            masks.present[e.row] = true;
        }
        if (IsColorRow(e.row)) pictures.push_back({Element{e.type, e.row, color, e.offset}, kMade});
    });
}

// One picture of a family decoded as the reader keeps it; with `atLeast`, only to be looked at
// (see ReadIcnsPicture), when it keeps no stream.
Outcome FamilyImage(const Element& e, const Masks& masks, CKvIcon& icon, std::int32_t atLeast = 0) {
    if (const Outcome outcome = ElementImage(e, masks, icon, atLeast)) return outcome;
    if (atLeast > 0) return kMade;
    // Pictures of 256 pixels and more are PNG-compressed when saved as a Windows icon.
    icon.SetCompressed(icon.Width() >= 256 && icon.Height() >= 256);
    // The picture remembers its element, and the stream it came from, so that a family saved
    // again gives it the same element, byte for byte while it is unchanged.
    icon.SetMacElement({e.type, IsPngStream(e.data)});
    if (IsStream(e.data)) icon.KeepSourceStream(e.data);
    return kMade;
}

// The 32-bit format a stream element reads as, from the stream's header alone; nothing when the
// header is missing or damaged. Past kMaxIcnsStreamPixels the reason is TooLarge.
Outcome StreamFormat(std::span<const std::uint8_t> data, IcnsPictureFormat& format) {
    std::int32_t width = 0, height = 0;
    const bool png = IsPngStream(data);
    if (png ? !PngDimensions(data, width, height) : !Jpeg2000Dimensions(data, width, height))
        return IcnsSkipReason::BadStream;
    if (std::int64_t{width} * height > kMaxIcnsStreamPixels) return IcnsSkipReason::TooLarge;
    IconImageLayout layout;
    if (!CKvIcon::ComputeLayout(width, height, 0, true, layout))
        return png ? IcnsSkipReason::BadStream : IcnsSkipReason::TooLarge;
    format.width = width;
    format.height = height;
    format.colors = 0;
    format.alpha = true;
    format.blockSize = layout.blockSize;
    return kMade;
}

// The format one picture of a family reads as: a stream's from its header, any other picture's
// by decoding it (the unpacked and run-length forms are small and cheap to make).
Outcome PictureFormat(const Element& e, const Masks& masks, IcnsPictureFormat& format) {
    const bool classicIndexed = e.row >= 0 && e.row < kFirstStreamRow && !IsTrueColorRow(e.row);
    if (!classicIndexed && IsStream(e.data)) {
        const Outcome outcome = StreamFormat(e.data, format);
        // A classic true-colour element whose stream is damaged is tried in the classic forms.
        if (!outcome || !IsTrueColorRow(e.row)) return outcome;
    }
    CKvIcon icon;
    if (const Outcome outcome = ElementImage(e, masks, icon)) return outcome;
    format.width = static_cast<std::int32_t>(icon.Width());
    format.height = static_cast<std::int32_t>(icon.Height());
    format.colors = icon.ColorCount();
    format.alpha = icon.HasAlpha();
    format.blockSize = icon.BlockSize();
    return kMade;
}

// Reads a family into `group`; `budget` is what may still be decoded, and shrinks by what was.
// Elements left out go to `skipped` (when given) with offsets from `base` plus their place in
// the family.
bool ReadFamily(std::span<const std::uint8_t> family, CIconGroup& group, std::size_t& budget,
                std::vector<IcnsSkippedElement>* skipped, std::size_t base) {
    const auto skip = [&](const Element& e, IcnsSkipReason reason) {
        if (skipped != nullptr) skipped->push_back({e.type, base + e.offset, reason});
    };
    FamilyPictures found;
    if (!CollectPictures(family, found)) return false;
    std::vector<CKvIcon> images;
    std::size_t decoded = 0;  // never more than budget
    for (const auto& [e, walkOutcome] : found.pictures) {
        if (walkOutcome) {
            skip(e, *walkOutcome);
            continue;
        }
        CKvIcon icon;
        if (const Outcome outcome = FamilyImage(e, found.masks, icon)) {
            skip(e, *outcome);
            continue;
        }
        if (icon.BlockSize() > budget - decoded) {
            skip(e, IcnsSkipReason::TooLarge);
            continue;
        }
        decoded += icon.BlockSize();
        images.push_back(std::move(icon));
    }
    if (images.empty()) return false;
    budget -= decoded;
    for (CKvIcon& icon : images)
        if (!group.AppendFormat(std::move(icon))) return false;
    return true;
}

// Lists a family as ReadFamily reads it (see DescribeIcnsFamily), within the same budget.
bool DescribeFamily(std::span<const std::uint8_t> family, std::vector<IcnsPictureFormat>& formats,
                    std::size_t& budget) {
    FamilyPictures found;
    if (!CollectPictures(family, found)) return false;
    std::vector<IcnsPictureFormat> listed;
    std::size_t decoded = 0;
    for (const auto& [e, walkOutcome] : found.pictures) {
        IcnsPictureFormat format;
        format.type = e.type;
        format.offset = e.offset;
        if (walkOutcome || PictureFormat(e, found.masks, format) || format.blockSize > budget - decoded) continue;
        decoded += format.blockSize;
        listed.push_back(format);
    }
    if (listed.empty()) return false;
    budget -= decoded;
    formats.insert(formats.end(), listed.begin(), listed.end());
    return true;
}

// ---- Writing ----

// A 32-bit picture read top-down.
class TopDownPixels {
public:
    explicit TopDownPixels(const Block& dib) : dib_(dib), layout_(GetDibLayout(dib)) {}
    [[nodiscard]] bool Valid() const { return layout_ && layout_->bitCount == 32 && !layout_->coreHeader; }
    [[nodiscard]] const std::uint8_t* Pixel(int x, int y) const {
        return dib_.data() + layout_->RowOffset(layout_->height - 1 - y) + 4 * static_cast<std::size_t>(x);
    }

private:
    const Block& dib_;
    std::optional<DibLayout> layout_;
};

void SetBit(std::vector<std::uint8_t>& buffer, std::size_t offset, int width, int x, int y) {
    const std::size_t stride = (static_cast<std::size_t>(width) + 7) / 8;
    buffer[offset + stride * static_cast<std::size_t>(y) + static_cast<std::size_t>(x / 8)] |=
        static_cast<std::uint8_t>(0x80 >> (x % 8));
}

// The 1-bit mask, set where the alpha is not 0; appended to `out`.
void AppendOneBitMask(const TopDownPixels& src, int w, int h, std::vector<std::uint8_t>& out) {
    const std::size_t offset = out.size();
    out.resize(offset + IcnsBufferSize(w, h, 1));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (src.Pixel(x, y)[3] != 0) SetBit(out, offset, w, x, y);
}

// A 1-bit element: the image (a pixel is set, black, when its colour bytes average below 128),
// followed by its mask when the row has one.
std::vector<std::uint8_t> OneBitElement(const TopDownPixels& src, int row) {
    const IcnsElementRow& r = kIcnsRows[row];
    std::vector<std::uint8_t> out;
    if (r.depth == 1) {
        out.resize(IcnsBufferSize(r.width, r.height, 1));
        for (int y = 0; y < r.height; ++y)
            for (int x = 0; x < r.width; ++x) {
                // A pixel under the mask is written black, whatever colour it keeps, as the
                // reader makes it: so a family read and written again is the same bytes.
                const std::uint8_t* p = src.Pixel(x, y);
                if (p[3] == 0 || (p[0] + p[1] + p[2]) / 3 < 128) SetBit(out, 0, r.width, x, y);
            }
    }
    if (r.maskDepth == 1) AppendOneBitMask(src, r.width, r.height, out);
    return out;
}

std::vector<std::uint8_t> IndexedElement(const TopDownPixels& src, int row, MacPaletteSearch& search) {
    const IcnsElementRow& r = kIcnsRows[row];
    search.Reset();
    std::vector<std::uint8_t> out(IcnsBufferSize(r.width, r.height, r.depth));
    const std::size_t stride = (static_cast<std::size_t>(r.width) * r.depth + 7) / 8;
    for (int y = 0; y < r.height; ++y)
        for (int x = 0; x < r.width; ++x) {
            const std::uint8_t* p = src.Pixel(x, y);
            // Under the mask: black, as for 1-bit elements.
            WriteIndex(out.data() + stride * static_cast<std::size_t>(y), x, r.depth,
                       p[3] == 0 ? search.Nearest(0, 0, 0) : search.Nearest(p[2], p[1], p[0]));
        }
    return out;
}

std::vector<std::uint8_t> PackedPlanesElement(const TopDownPixels& src, int row) {
    const IcnsElementRow& r = kIcnsRows[row];
    const std::size_t n = static_cast<std::size_t>(r.width) * static_cast<std::size_t>(r.height);
    std::vector<std::uint8_t> out;
    if (row == kIt32Row) out.assign(4, 0);  // the leading bytes that readers skip
    std::vector<std::uint8_t> plane(n);
    for (int channel : {2, 1, 0}) {  // red, green, blue
        for (int y = 0; y < r.height; ++y)
            for (int x = 0; x < r.width; ++x)
                plane[static_cast<std::size_t>(y) * r.width + x] = src.Pixel(x, y)[channel];
        PackIcnsPlane(plane, out);
    }
    return out;
}

std::vector<std::uint8_t> AlphaMaskElement(const TopDownPixels& src, int w, int h) {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) out[static_cast<std::size_t>(y) * w + x] = src.Pixel(x, y)[3];
    return out;
}

std::vector<std::uint8_t> ArgbElement(const TopDownPixels& src, int size) {
    const std::size_t n = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
    std::vector<std::uint8_t> out(4);
    StoreBE32(out.data(), kArgbPrefix);
    std::vector<std::uint8_t> plane(n);
    for (int channel : {3, 2, 1, 0}) {  // alpha, red, green, blue
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) plane[static_cast<std::size_t>(y) * size + x] = src.Pixel(x, y)[channel];
        PackIcnsPlane(plane, out);
    }
    return out;
}

// The row that holds only a mask of this size and mask depth ("ICNm", "s8mk", ...), or -1.
int MaskOnlyRow(std::int32_t width, std::int32_t height, int maskDepth) {
    for (int i = 0; i < kIcnsRowCount; ++i)
        if (kIcnsRows[i].width == width && kIcnsRows[i].height == height && kIcnsRows[i].depth == 0 &&
            kIcnsRows[i].maskDepth == maskDepth)
            return i;
    return -1;
}

// Where an element goes in a written family: the classic rows in the table's order, then the
// true-colour elements smallest first.
int ElementOrder(std::uint32_t type) {
    const int row = FindIcnsRow(type);
    if (row >= 0 && row < kFirstStreamRow) return row;
    const auto all = MacPictureElements();
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i].type == type) return kIcnsRowCount + static_cast<int>(i);
    return std::numeric_limits<int>::max();
}

// The data of the element `type` for one format.
bool EncodeElement(const CKvIcon& icon, std::uint32_t type, const IcnsWriteOptions& options,
                   std::vector<std::uint8_t>& data) {
    const MacPictureElement* picture = FindMacPictureElement(type);
    // A picture that is unchanged since it was read from a family's stream is written as that
    // stream (one read from a Windows icon's PNG is a new element, made by the rules below).
    if (picture != nullptr && picture->form != IcnsElementForm::Classic && icon.MacElement().type != 0) {
        if (const auto stream = icon.UnchangedStream(); !stream.empty()) {
            data.assign(stream.begin(), stream.end());
            return true;
        }
    }
    const Block dib = icon.To32BitDib();
    const TopDownPixels src(dib);
    if (!src.Valid()) return false;
    if (picture == nullptr) {
        const int row = FindIcnsRow(type);
        if (row < 0) return false;
        if (kIcnsRows[row].depth == 1) {
            data = OneBitElement(src, row);
        } else {
            MacPaletteSearch search(kIcnsRows[row].depth == 4 ? std::span<const std::uint32_t>(kMacPalette16)
                                                              : std::span<const std::uint32_t>(kMacPalette256));
            data = IndexedElement(src, row, search);
        }
        return true;
    }
    switch (picture->form) {
        case IcnsElementForm::Classic: data = PackedPlanesElement(src, FindIcnsRow(type)); return true;
        case IcnsElementForm::Argb: data = ArgbElement(src, picture->size); return true;
        case IcnsElementForm::Png: return EncodePng(dib, data, kPngLevel);
        case IcnsElementForm::LargeStream:
            if (icon.MacElement().png || options.pngStreams) return EncodePng(dib, data, kPngLevel);
            return EncodeJpeg2000(dib, data, "Korvane");
    }
    return false;
}

}  // namespace

std::vector<std::uint32_t> AssignMacElements(const CIconDoc& doc) {
    const auto count = static_cast<std::size_t>(doc.GetFormatCount());
    std::vector<std::uint32_t> assigned(count, 0);
    std::vector<std::vector<std::uint32_t>> fits(count);
    std::vector<std::uint32_t> taken;
    const auto free = [&taken](std::uint32_t type) { return std::find(taken.begin(), taken.end(), type) == taken.end(); };
    for (std::size_t i = 0; i < count; ++i) {
        const CKvIcon& icon = doc.GetFormat(static_cast<int>(i))->Icon();
        if (icon.IsEmpty()) continue;
        fits[i] = MacElementsFor(static_cast<std::int32_t>(icon.Width()), static_cast<std::int32_t>(icon.Height()),
                                 icon.BitsPerPixel());
    }
    // Formats keep the element they were read from (or the user chose) while it fits them, the
    // first of them where two name the same one; the others take the first that is free.
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t own = doc.GetFormat(static_cast<int>(i))->Icon().MacElement().type;
        if (own != 0 && std::find(fits[i].begin(), fits[i].end(), own) != fits[i].end() && free(own)) {
            assigned[i] = own;
            taken.push_back(own);
        }
    }
    // Deeper formats choose first: a 32-bit format with alpha takes "il32" before a 24-bit one.
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&doc](std::size_t a, std::size_t b) {
        return doc.GetFormat(static_cast<int>(a))->Icon().BitsPerPixel() >
               doc.GetFormat(static_cast<int>(b))->Icon().BitsPerPixel();
    });
    for (const std::size_t i : order) {
        if (assigned[i] != 0) continue;
        const auto first = std::find_if(fits[i].begin(), fits[i].end(), free);
        if (first == fits[i].end()) continue;
        assigned[i] = *first;
        taken.push_back(*first);
    }
    return assigned;
}

int MacScaleOf(const CIconDoc& doc, int index) {
    if (!doc.macintosh || index < 0 || index >= doc.GetFormatCount()) return 1;
    return MacElementScale(AssignMacElements(doc)[static_cast<std::size_t>(index)]);
}

void ChooseMacElement(CIconDoc& doc, int index, std::uint32_t type) {
    CIconObject* chosen = doc.GetFormat(index);
    if (chosen == nullptr) return;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        CKvIcon& other = doc.GetFormat(i)->Icon();
        if (i != index && other.MacElement().type == type) other.SetMacElement({});
    }
    chosen->Icon().SetMacElement({type, chosen->Icon().MacElement().png});
}

std::string MacElementText(std::uint32_t type) {
    std::int32_t width = 0, height = 0;
    int scale = 1;
    if (const MacPictureElement* p = FindMacPictureElement(type)) {
        width = height = p->size;
        scale = p->scale;
    } else if (const int row = FindIcnsRow(type); row >= 0) {
        width = kIcnsRows[row].width;
        height = kIcnsRows[row].height;
    }
    std::string text = PrintableIcnsType(type) + " (" + std::to_string(width / scale) + " x " + std::to_string(height / scale);
    return text + (scale == 2 ? " @2x)" : ")");
}

std::string FormatSizeText(const CIconDoc& doc, int index) {
    const CIconObject* format = doc.GetFormat(index);
    if (format == nullptr) return {};
    const int scale = MacScaleOf(doc, index);
    std::string text = std::to_string(format->Width() / scale) + " x " + std::to_string(format->Height() / scale);
    if (scale == 2) text += " @2x";
    return text;
}

std::optional<std::size_t> LocateIcnsFamily(std::span<const std::uint8_t> file) {
    if (file.size() < 4) return std::nullopt;
    if (LoadBE32(file.data()) == kIcnsMagic) return 0;
    const std::size_t from = LoadBE32(file.data()) == 0 ? 128 : 0;
    if (from >= file.size()) return std::nullopt;
    const std::optional<std::size_t> found = FindNextIcns(file.subspan(from));
    if (!found) return std::nullopt;
    return from + *found;
}

std::vector<std::size_t> FindIcnsFamilies(std::span<const std::uint8_t> file) {
    constexpr std::size_t kBlock = 524288;
    constexpr std::size_t kMargin = 3072;
    std::vector<std::size_t> found;
    const std::size_t start = file.size() >= 106 && std::memcmp(file.data() + 102, "mBIN", 4) == 0 ? 128 : 0;
    if (file.size() <= start) return found;
    const std::span<const std::uint8_t> data = file.subspan(start);
    if (data.size() <= kMargin) return found;
    const std::size_t limit = data.size() - kMargin;
    for (std::size_t block = 0; block < data.size() && block < limit; block += kBlock) {
        const std::size_t end = std::min(block + kBlock, data.size());
        for (std::size_t pos = block; pos + 4 <= end && pos < limit; ++pos) {
            const std::uint32_t word = LoadBE32(data.data() + pos);
            if (word == kIcnsMagic || word == kOdrpMagic) found.push_back(start + pos);
        }
    }
    return found;
}

int CountIcnsImages(std::span<const std::uint8_t> family) {
    int count = 0;
    WalkElements(family, [&count](const Element& e) {
        if (e.row < 0) {
            if (ModernIcnsElementSize(e.type) > 0 || IsStream(e.data)) ++count;
            return;
        }
        std::span<const std::uint8_t> color, mask;
        if (IsColorRow(e.row) || (IsStream(e.data) && !SplitClassicElement(e.row, e.data, color, mask))) ++count;
    });
    return count;
}

const char* IcnsSkipReasonText(IcnsSkipReason reason) {
    switch (reason) {
        case IcnsSkipReason::Damaged: return "damaged data";
        case IcnsSkipReason::NoMask: return "no mask element";
        case IcnsSkipReason::BadStream: return "undecodable stream";
        case IcnsSkipReason::UnknownData: return "unknown data";
        case IcnsSkipReason::TooLarge: return "over the size limit";
    }
    return "";
}

bool ReadIcnsFamily(std::span<const std::uint8_t> family, CIconGroup& group, std::vector<IcnsSkippedElement>* skipped) {
    std::size_t budget = kMaxIcnsDecodedBytes;
    if (skipped != nullptr) skipped->clear();
    try {
        return ReadFamily(family, group, budget, skipped, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool WriteIcnsFamily(const CIconDoc& doc, std::vector<std::uint8_t>& out, std::vector<int>* leftOut,
                     const IcnsWriteOptions& options) {
    out.clear();
    if (leftOut != nullptr) leftOut->clear();
    try {
        const std::vector<std::uint32_t> assigned = AssignMacElements(doc);
        std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> elements;
        std::vector<int> notWritten;
        for (int i = 0; i < doc.GetFormatCount(); ++i) {
            const std::uint32_t type = assigned[static_cast<std::size_t>(i)];
            std::vector<std::uint8_t> data;
            if (type == 0 || !EncodeElement(doc.GetFormat(i)->Icon(), type, options, data)) {
                notWritten.push_back(i);
                continue;
            }
            elements.emplace_back(type, std::move(data));
        }
        // The masks: an 8-bit mask beside each classic true-colour element; for 4 and 8 bits the
        // 1-bit element of the size holds the mask when a 1-bit format is written, else the first
        // indexed format's mask goes into the mask-only element, so that no 1-bit format appears
        // that the project does not have.
        const auto written = [&](std::uint32_t type) {
            return std::any_of(elements.begin(), elements.end(), [type](const auto& e) { return e.first == type; });
        };
        for (int i = 0; i < doc.GetFormatCount(); ++i) {
            const std::uint32_t type = assigned[static_cast<std::size_t>(i)];
            const int row = FindIcnsRow(type);
            if (type == 0 || row < 0 || row >= kFirstStreamRow || !written(type)) continue;
            const IcnsElementRow& r = kIcnsRows[row];
            int maskRow = -1;
            if (r.depth == 24) {
                maskRow = MaskOnlyRow(r.width, r.height, 8);
            } else if (r.depth == 4 || r.depth == 8) {
                const int oneBit = FindIcnsRow(r.width, r.height, 1);
                if (oneBit < 0 || !written(kIcnsRows[oneBit].type)) maskRow = MaskOnlyRow(r.width, r.height, 1);
            }
            if (maskRow < 0 || written(kIcnsRows[maskRow].type)) continue;
            const Block dib = doc.GetFormat(i)->Icon().To32BitDib();
            const TopDownPixels src(dib);
            if (!src.Valid()) continue;
            elements.emplace_back(kIcnsRows[maskRow].type, r.depth == 24 ? AlphaMaskElement(src, r.width, r.height)
                                                                         : OneBitElement(src, maskRow));
        }
        std::stable_sort(elements.begin(), elements.end(),
                         [](const auto& a, const auto& b) { return ElementOrder(a.first) < ElementOrder(b.first); });

        std::size_t total = kHeaderSize;
        for (const auto& e : elements) total += kHeaderSize + e.second.size();
        if (total == kHeaderSize || total > 0xFFFFFFFFu) return false;
        out.reserve(total);
        out.resize(kHeaderSize);
        StoreBE32(out.data(), kIcnsMagic);
        StoreBE32(out.data() + 4, static_cast<std::uint32_t>(total));
        for (const auto& [type, data] : elements) {
            const std::size_t at = out.size();
            out.resize(at + kHeaderSize);
            StoreBE32(out.data() + at, type);
            StoreBE32(out.data() + at + 4, static_cast<std::uint32_t>(kHeaderSize + data.size()));
            out.insert(out.end(), data.begin(), data.end());
        }
        if (leftOut != nullptr) *leftOut = std::move(notWritten);
        return true;
    } catch (const std::bad_alloc&) {
        out.clear();
        if (leftOut != nullptr) leftOut->clear();
        return false;
    }
}

namespace {

// Names a family found in a resource or MacBinary file after its resource (see MacIconFamily).
void NameFamily(const std::vector<MacResource>& resources, std::size_t offset, std::string& name,
                std::optional<std::int32_t>& number) {
    const auto resource = std::find_if(resources.begin(), resources.end(),
                                       [offset](const MacResource& r) { return r.dataOffset == offset; });
    if (resource == resources.end()) {
        name = std::to_string(offset);
        name.insert(0, 1, '@');
    } else if (!resource->name.empty()) {
        name = resource->name;
    } else {
        name = std::to_string(resource->id);
        number = resource->id;
    }
}

// Calls `read(offset, budget)` for each family start of a resource or MacBinary file (of the first
// kMaxMacFamilies), with one budget for the whole file; `found(offset, name, number)` names each
// family it read.
template <typename Read, typename Found>
void ForEachResourceFamily(std::span<const std::uint8_t> file, Read&& read, Found&& found) {
    const std::vector<MacResource> resources = ListMacResources(file, kIcnsMagic);
    std::vector<std::size_t> starts = FindIcnsFamilies(file);
    if (starts.size() > kMaxMacFamilies) starts.resize(kMaxMacFamilies);
    std::size_t budget = kMaxIcnsDecodedBytes;
    for (const std::size_t offset : starts) {
        bool ok = false;
        try {
            ok = read(offset, budget);
        } catch (const std::bad_alloc&) {
            ok = false;
        }
        if (!ok) continue;
        std::string name;
        std::optional<std::int32_t> number;
        NameFamily(resources, offset, name, number);
        found(offset, std::move(name), number);
    }
}

// Tries `read(start, budget)` on the family of a ".icns" file, and should it give nothing (the
// scan can stop at a file type "icns" in a MacBinary header) on each later "icns". The start read.
template <typename Read>
std::optional<std::size_t> ReadFirstFamily(std::span<const std::uint8_t> file, Read&& read) {
    std::size_t from = 0;
    std::optional<std::size_t> start = LocateIcnsFamily(file);
    for (std::size_t tries = 0; start && tries < kMaxMacFamilies; ++tries) {
        std::size_t budget = kMaxIcnsDecodedBytes;
        bool ok = false;
        try {
            ok = read(from + *start, budget);
        } catch (const std::bad_alloc&) {
            ok = false;
        }
        if (ok) return from + *start;
        from += *start + 1;
        start = FindNextIcns(file.subspan(from));
    }
    return std::nullopt;
}

}  // namespace

std::vector<MacIconFamily> ReadMacResourceFamilies(std::span<const std::uint8_t> file) {
    std::vector<MacIconFamily> families;
    MacIconFamily family;
    ForEachResourceFamily(
        file,
        [&](std::size_t offset, std::size_t& budget) {
            family = {};
            family.offset = offset;
            return ReadFamily(file.subspan(offset), family.group, budget, &family.skipped, offset);
        },
        [&](std::size_t, std::string name, std::optional<std::int32_t> number) {
            family.name = std::move(name);
            family.number = number;
            family.group.name = family.name;
            families.push_back(std::move(family));
        });
    return families;
}

std::vector<MacFamilyListing> DescribeMacResourceFamilies(std::span<const std::uint8_t> file) {
    std::vector<MacFamilyListing> families;
    std::vector<IcnsPictureFormat> formats;
    ForEachResourceFamily(
        file,
        [&](std::size_t offset, std::size_t& budget) {
            formats.clear();
            return DescribeFamily(file.subspan(offset), formats, budget);
        },
        [&](std::size_t offset, std::string name, std::optional<std::int32_t> number) {
            families.push_back({std::move(name), number, offset, std::move(formats)});
        });
    return families;
}

bool ReadIcnsFile(std::span<const std::uint8_t> file, CIconDoc& doc, std::vector<IcnsSkippedElement>* skipped) {
    doc.RemoveAll();
    CIconGroup group;
    std::vector<IcnsSkippedElement> left;
    ReadFirstFamily(file, [&](std::size_t start, std::size_t& budget) {
        left.clear();
        return ReadFamily(file.subspan(start), group, budget, &left, start);
    });
    if (skipped != nullptr) skipped->clear();
    if (group.FormatCount() == 0 || !doc.TakeFormats(group)) return false;
    if (skipped != nullptr) *skipped = std::move(left);
    doc.macintosh = true;
    return true;
}

std::optional<std::size_t> DescribeIcnsFile(std::span<const std::uint8_t> file,
                                             std::vector<IcnsPictureFormat>& formats) {
    formats.clear();
    return ReadFirstFamily(file, [&](std::size_t start, std::size_t& budget) {
        formats.clear();
        return DescribeFamily(file.subspan(start), formats, budget);
    });
}

bool DescribeIcnsFamily(std::span<const std::uint8_t> family, std::vector<IcnsPictureFormat>& formats) {
    formats.clear();
    std::size_t budget = kMaxIcnsDecodedBytes;
    try {
        return DescribeFamily(family, formats, budget);
    } catch (const std::bad_alloc&) {
        formats.clear();
        return false;
    }
}

bool ReadIcnsPicture(std::span<const std::uint8_t> family, std::size_t offset, CKvIcon& icon, std::int32_t atLeast) {
    try {
        FamilyPictures found;
        if (!CollectPictures(family, found)) return false;
        for (const auto& [e, walkOutcome] : found.pictures)
            if (e.offset == offset) return !walkOutcome && !FamilyImage(e, found.masks, icon, atLeast);
    } catch (const std::bad_alloc&) {
    }
    return false;
}

}  // namespace tellurine
