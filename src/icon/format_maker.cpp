#include "icon/format_maker.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "icon/standard_palette.h"
#include "image/dib_block.h"
#include "image/raster.h"
#include "image/threads.h"
#include "imaging/filters.h"
#include "imaging/palette_map.h"
#include "imaging/quantizer.h"
#include "imaging/resample.h"

namespace tellurine {
namespace {

std::atomic<int> gCreationDepth{0};

// Pixels of a made indexed or 24-bit format whose alpha is below this are transparent.
constexpr std::uint8_t kOpaqueAlpha = 128;

// Bits of a depth's colour count; 0 for the true-colour depths.
int IndexBits(int bits) {
    return bits <= 8 ? bits : 0;
}

// Makes an indexed format from a 32-bit picture (see the header for the choices).
bool IndexedFormat(const Block& picture, const DibLayout& l, int bits, CKvIcon& out) {
    const int entries = 1 << bits;
    Palette palette;
    palette.entries.reserve(static_cast<std::size_t>(entries));
    if (bits == 1) {
        palette.entries = {PaletteEntry{0, 0, 0, 0}, PaletteEntry{255, 255, 255, 0}};
    } else {
        CQuantizer quantizer(entries - 1);
        for (std::int32_t stored = 0; stored < l.height; ++stored) {
            const std::uint8_t* p = picture.data() + l.RowOffset(stored);
            for (std::int32_t x = 0; x < l.width; ++x, p += 4)
                if (p[3] >= kOpaqueAlpha) quantizer.AddColor(p[2], p[1], p[0]);
        }
        std::uint8_t table[kPaletteBlockBytes] = {};
        const int count = quantizer.WritePalette(table);
        bool haveBlack = false;
        for (int i = 0; i < count; ++i) {
            const std::uint8_t* e = table + 4 * i;
            palette.entries.push_back(PaletteEntry{e[2], e[1], e[0], 0});
            haveBlack = haveBlack || (e[0] == 0 && e[1] == 0 && e[2] == 0);
        }
        if (!haveBlack) palette.entries.push_back(PaletteEntry{});
    }
    int black = 0;
    while (palette.entries[static_cast<std::size_t>(black)] != PaletteEntry{}) ++black;

    // The picture to map: opaque colours as they are, transparent pixels black (a palette colour,
    // so they add no error of their own to the diffusion).
    Block rgb = CreateDibBlock(l.width, l.height, 24);
    const auto rl = GetDibLayout(rgb);
    if (!rl) return false;
    for (std::int32_t stored = 0; stored < l.height; ++stored) {
        const std::uint8_t* p = picture.data() + l.RowOffset(stored);
        std::uint8_t* q = rgb.data() + rl->RowOffset(stored);
        for (std::int32_t x = 0; x < l.width; ++x, p += 4, q += 3)
            if (p[3] >= kOpaqueAlpha) std::memcpy(q, p, 3);
    }
    const Block mapped = MapToPalette(rgb, palette, static_cast<int>(palette.size()), true);
    const auto ml = GetDibLayout(mapped);
    if (!ml || ml->bitCount != 8) return false;

    CKvIcon icon;
    IconImageLayout il;
    if (!icon.SetFormat(l.width, l.height, ColorsForDepth(bits), false) || !icon.GetLayout(il)) return false;
    std::uint8_t* base = icon.GetBlock().data();
    for (std::size_t i = 0; i < palette.size(); ++i) {
        std::uint8_t* e = base + il.tableOffset + 4 * i;
        e[0] = palette.entries[i].blue;
        e[1] = palette.entries[i].green;
        e[2] = palette.entries[i].red;
    }
    for (std::int32_t stored = 0; stored < l.height; ++stored) {
        const std::uint8_t* p = picture.data() + l.RowOffset(stored);
        const std::uint8_t* index = mapped.data() + ml->RowOffset(stored);
        std::uint8_t* row = base + il.pixelOffset + il.colorStride * static_cast<std::size_t>(stored);
        std::uint8_t* andRow = base + il.maskOffset + il.maskStride * static_cast<std::size_t>(stored);
        for (std::int32_t x = 0; x < l.width; ++x) {
            const bool transparent = p[4 * x + 3] < kOpaqueAlpha;
            WriteIndex(row, x, bits, static_cast<std::uint8_t>(transparent ? black : index[x]));
            if (transparent) WriteIndex(andRow, x, 1, 1);
        }
    }
    out = std::move(icon);
    return true;
}

// A 24-bit format: the colours, black where the AND mask is set.
bool TrueColorFormat(const Block& picture, const DibLayout& l, CKvIcon& out) {
    CKvIcon icon;
    IconImageLayout il;
    if (!icon.SetFormat(l.width, l.height, 0, false) || !icon.GetLayout(il)) return false;
    std::uint8_t* base = icon.GetBlock().data();
    for (std::int32_t stored = 0; stored < l.height; ++stored) {
        const std::uint8_t* p = picture.data() + l.RowOffset(stored);
        std::uint8_t* row = base + il.pixelOffset + il.colorStride * static_cast<std::size_t>(stored);
        std::uint8_t* andRow = base + il.maskOffset + il.maskStride * static_cast<std::size_t>(stored);
        for (std::int32_t x = 0; x < l.width; ++x, p += 4, row += 3) {
            if (p[3] < kOpaqueAlpha)
                WriteIndex(andRow, x, 1, 1);
            else
                std::memcpy(row, p, 3);
        }
    }
    out = std::move(icon);
    return true;
}

// A 32-bit format with alpha: the picture's rows, the AND bit where the alpha is 0.
bool AlphaFormat(const Block& picture, const DibLayout& l, CKvIcon& out) {
    std::vector<std::uint8_t> rows;
    try {
        rows.resize(static_cast<std::size_t>(l.width) * 4 * static_cast<std::size_t>(l.height));
    } catch (const std::bad_alloc&) {
        return false;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(l.width) * 4;
    for (std::int32_t stored = 0; stored < l.height; ++stored)
        std::memcpy(rows.data() + rowBytes * static_cast<std::size_t>(l.height - 1 - stored),
                    picture.data() + l.RowOffset(stored), rowBytes);
    CKvIcon icon;
    if (!icon.FromBgraRows(l.width, l.height, rows.data())) return false;
    out = std::move(icon);
    return true;
}

// Resamples a 32-bit picture to the size and runs the resize filter when the creation switch is
// on, the size changed and the level does something. The high-quality resampler is the whole
// rule: nothing is filtered after it. Empty on failure.
Block ResamplePicture(const Block& picture32, const PreparedResample& prepared, std::int32_t width, std::int32_t height,
                      int level, ResampleQuality quality) {
    const std::int32_t sourceWidth = DibWidth(picture32), sourceHeight = DibHeight(picture32);
    const bool sizeChanged = sourceWidth != width || sourceHeight != height;
    Block resized = sizeChanged ? prepared.Resample(width, height) : picture32.Duplicate();
    if (resized.empty()) return {};
    if (sizeChanged && quality == ResampleQuality::Standard && FormatCreationSwitch::IsOn() && level != 10 &&
        DibBitCount(resized) == 32) {
        if (!ApplyResizeFilterToDib(resized, level, ResizeFilterStrength(sourceWidth, sourceHeight, width, height)))
            return {};
    }
    return resized;
}

Block ResamplePicture(const Block& picture32, std::int32_t width, std::int32_t height, int level,
                      ResampleQuality quality) {
    return ResamplePicture(picture32, PreparedResample(picture32, 1, quality), width, height, level, quality);
}

bool ValidRequest(std::int32_t width, std::int32_t height, int bits) {
    return width > 0 && height > 0 && width <= kMaxDibDimension && height <= kMaxDibDimension && IsMakeableDepth(bits);
}

// The picture centred on a transparent square of its larger side (not called for a square one).
Block CentreOnSquare(const Block& picture32) {
    const auto l = GetDibLayout(picture32);
    if (!l) return {};
    const std::int32_t side = std::max(l->width, l->height);
    Block square = CreateDibBlock(side, side, 32);
    const auto sl = GetDibLayout(square);
    if (!sl) return {};
    const std::int32_t left = (side - l->width) / 2;
    // Rows are stored bottom-up: centring from the top puts the odd row at the bottom.
    const std::int32_t bottom = side - l->height - (side - l->height) / 2;
    for (std::int32_t stored = 0; stored < l->height; ++stored)
        std::memcpy(square.data() + sl->RowOffset(bottom + stored) + 4 * static_cast<std::size_t>(left),
                    picture32.data() + l->RowOffset(stored), static_cast<std::size_t>(l->width) * 4);
    return square;
}

}  // namespace

FormatCreationSwitch::FormatCreationSwitch() {
    gCreationDepth.fetch_add(1);
}
FormatCreationSwitch::~FormatCreationSwitch() {
    gCreationDepth.fetch_sub(1);
}
bool FormatCreationSwitch::IsOn() {
    return gCreationDepth.load() > 0;
}

int ResizeFilterStrength(int sourceWidth, int sourceHeight, int width, int height) {
    if (width <= sourceWidth / 5 || height <= sourceHeight / 5) return 100;
    if (width > sourceWidth / 3 && height > sourceHeight / 3) return 50;
    return 75;
}

bool ApplyResizeFilterToDib(Block& dib32, int level, int strength) {
    if (DibBitCount(dib32) != 32) return false;
    DeviceBitmap color = DibToDeviceBitmap(dib32);
    DeviceBitmap alpha = DibAlphaToDeviceBitmap(dib32);
    if (color.IsNull() || alpha.IsNull()) return false;
    if (!ApplyResizeFilter(color, level, strength) || !ApplyResizeFilter(alpha, level, strength / 2)) return false;
    Block filtered = DeviceBitmapsToDib32(color, alpha);
    if (filtered.empty()) return false;
    dib32 = std::move(filtered);
    return true;
}

bool IsMakeableDepth(int bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
}

std::uint32_t ColorsForDepth(int bits) {
    const int index = IndexBits(bits);
    return index == 0 ? 0u : 1u << index;
}

Palette StandardPaletteForDepth(int bits) {
    Palette palette;
    switch (bits) {
        case 1: palette.entries = {PaletteEntry{0, 0, 0, 0}, PaletteEntry{255, 255, 255, 0}}; break;
        case 4: palette.entries.assign(std::begin(kStandardColors16), std::end(kStandardColors16)); break;
        case 8: palette.entries.assign(StandardColors256().begin(), StandardColors256().end()); break;
        default: break;
    }
    return palette;
}

bool MakeBlankFormat(std::int32_t width, std::int32_t height, int bits, CKvIcon& out) {
    if (!IsMakeableDepth(bits)) return false;
    CKvIcon icon;
    if (!icon.SetFormat(width, height, ColorsForDepth(bits), bits == 32)) return false;
    const DeviceBitmap color = DeviceBitmap::Create(width, height, 0);
    const DeviceBitmap mask = DeviceBitmap::Create(width, height, bits == 32 ? 0 : 0xFFFFFF);  // white: the AND bit
    if (color.IsNull() || mask.IsNull()) return false;
    const Palette palette = StandardPaletteForDepth(bits);
    if (!icon.FromBitmaps(color, mask, palette.empty() ? nullptr : &palette)) return false;
    out = std::move(icon);
    return true;
}

bool FormatFromPicture(const Block& picture32, int bits, CKvIcon& out) {
    const auto l = GetDibLayout(picture32);
    if (!l || l->bitCount != 32 || !IsMakeableDepth(bits)) return false;
    switch (bits) {
        case 32: return AlphaFormat(picture32, *l, out);
        case 24: return TrueColorFormat(picture32, *l, out);
        default: return IndexedFormat(picture32, *l, bits, out);
    }
}

bool MakeFormatFromFormat(const CKvIcon& source, std::int32_t width, std::int32_t height, int bits,
                          const ResizeFilterPreference& preference, CKvIcon& out) {
    if (!ValidRequest(width, height, bits)) return false;
    const Block picture = source.To32BitDib();
    if (picture.empty()) return false;
    const int level = preference.enabled ? preference.level : 10;
    const Block resized = ResamplePicture(picture, width, height, level, preference.quality);
    return !resized.empty() && FormatFromPicture(resized, bits, out);
}

bool MakeFormatFromImage(const CDIB& image, std::int32_t width, std::int32_t height, int bits, CKvIcon& out,
                         ResampleQuality quality) {
    if (!ValidRequest(width, height, bits) || image.IsEmpty()) return false;
    const Block converted = image.BitCount() == 32 ? Block{} : ConvertDibTo32(image.GetBlock(), false, 0);
    const Block& picture = image.BitCount() == 32 ? image.GetBlock() : converted;
    if (picture.empty()) return false;
    const Block resized = ResamplePicture(picture, width, height, kImageResizeFilterLevel, quality);
    return !resized.empty() && FormatFromPicture(resized, bits, out);
}

namespace {

bool CheckProjectRequest(const CDIB& image, const IconProjectRequest& request, std::string& error) {
    if (request.sizes.empty() || request.depths.empty()) {
        error = "no sizes or no depths to make";
        return false;
    }
    for (const int size : request.sizes) {
        if (size < 1 || size > kMaxMadeFormatSize) {
            error = "size " + std::to_string(size) + " is not in 1.." + std::to_string(kMaxMadeFormatSize);
            return false;
        }
    }
    for (const int bits : request.depths) {
        if (!IsMakeableDepth(bits)) {
            error = "depth " + std::to_string(bits) + " is not one of 1, 4, 8, 24, 32";
            return false;
        }
    }
    if (image.IsEmpty()) {
        error = "the image is empty";
        return false;
    }
    return true;
}

// The body of MakeIconProject, once the request is checked: `square` is the 32-bit square picture;
// `own`, when not empty, is that very picture handed over (then `square` refers to it), which the
// resampler may work in when every size is smaller.
bool MakeFromSquare(const Block& square, Block&& own, const IconProjectRequest& request, CIconDoc& doc,
                    std::string& error);

}  // namespace

bool MakeIconProject(const CDIB& image, const IconProjectRequest& request, CIconDoc& doc, std::string& error) {
    doc.RemoveAll();
    doc.macintosh = request.macintosh;
    if (!CheckProjectRequest(image, request, error)) return false;
    const bool keyed = request.transparentColor.has_value();
    const bool asIs = image.BitCount() == 32 && !keyed;
    Block converted = asIs ? Block{} : ConvertDibTo32(image.GetBlock(), keyed, request.transparentColor.value_or(0));
    const Block& picture = asIs ? image.GetBlock() : converted;
    Block centred = image.Width() == image.Height() || picture.empty() ? Block{} : CentreOnSquare(picture);
    // A copy made here is this routine's own to work in.
    if (!centred.empty()) return MakeFromSquare(centred, std::move(centred), request, doc, error);
    if (image.Width() != image.Height()) {
        error = "out of memory";
        return false;
    }
    if (!asIs) {
        if (converted.empty()) {
            error = "out of memory";
            return false;
        }
        return MakeFromSquare(converted, std::move(converted), request, doc, error);
    }
    return MakeFromSquare(picture, Block{}, request, doc, error);
}

bool MakeIconProject(CDIB&& image, const IconProjectRequest& request, CIconDoc& doc, std::string& error) {
    if (image.BitCount() != 32 || request.transparentColor.has_value() || image.Width() != image.Height())
        return MakeIconProject(static_cast<const CDIB&>(image), request, doc, error);
    doc.RemoveAll();
    doc.macintosh = request.macintosh;
    if (!CheckProjectRequest(image, request, error)) return false;
    Block picture = image.DetachBlock();
    return MakeFromSquare(picture, std::move(picture), request, doc, error);
}

namespace {

bool MakeFromSquare(const Block& square, Block&& own, const IconProjectRequest& request, CIconDoc& doc,
                    std::string& error) {
    if (square.empty()) {
        error = "out of memory";
        return false;
    }
    // Each size once, in the order asked; a size asked twice is made once.
    std::vector<int> sizes;
    for (const int size : request.sizes)
        if (std::find(sizes.begin(), sizes.end(), size) == sizes.end()) sizes.push_back(size);
    std::vector<int> depths;
    for (const int bits : request.depths)
        if (std::find(depths.begin(), depths.end(), bits) == depths.end()) depths.push_back(bits);

    // The largest sizes, which cost the most, are started first so that the threads end together.
    std::vector<std::size_t> order(sizes.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });

    // A picture of this routine's own is bled where it lies when no size needs it as it is.
    const bool allSmaller = std::all_of(sizes.begin(), sizes.end(), [&](int size) { return size < DibWidth(square); });
    const FormatCreationSwitch creating;
    const PreparedResample prepared = !own.empty() && allSmaller
                                          ? PreparedResample(std::move(own), request.threads, request.quality)
                                          : PreparedResample(square, request.threads, request.quality);
    std::vector<std::vector<CKvIcon>> made(sizes.size());
    std::atomic<bool> failed{false};
    std::atomic<std::size_t> nextSize{0};
    const auto work = [&] {
        for (std::size_t next = nextSize++; next < order.size() && !failed; next = nextSize++) {
            const std::size_t i = order[next];
            const Block resized = ResamplePicture(prepared.Source(), prepared, sizes[i], sizes[i],
                                                  request.filterLevel, request.quality);
            for (const int bits : depths) {
                CKvIcon icon;
                if (resized.empty() || !FormatFromPicture(resized, bits, icon)) {
                    failed = true;
                    return;
                }
                if (request.compressLarge && sizes[i] >= 256) {
                    icon.SetCompressed(true);
                    // Encoded here, beside the other sizes' work, rather than when the icon is
                    // saved; the encoding is kept while the image is unchanged.
                    if (!request.macintosh) icon.EncodeStoredPng();
                }
                try {
                    made[i].push_back(std::move(icon));
                } catch (const std::bad_alloc&) {
                    failed = true;
                    return;
                }
            }
        }
    };
    RunOnThreads(std::clamp(request.threads, 1u, static_cast<unsigned>(sizes.size())), work);
    if (failed) {
        error = "out of memory";
        return false;
    }
    for (auto& icons : made)
        for (CKvIcon& icon : icons) doc.AddFormat(std::move(icon));
    doc.SortFormats(false);
    return true;
}

}  // namespace

bool MakeIconProjectFromDrawing(const DrawingRenderer& drawing, const IconProjectRequest& request, CIconDoc& doc,
                                std::string& error) {
    doc.RemoveAll();
    IconProjectRequest one = request;
    for (const int size : request.sizes) {
        one.sizes = {size};
        CDIB drawn;
        drawn.Attach(drawing(size));
        if (drawn.IsEmpty()) {
            doc.RemoveAll();
            error = "the drawing cannot be rendered at " + std::to_string(size) + " pixels";
            return false;
        }
        CIconDoc made;
        if (!MakeIconProject(std::move(drawn), one, made, error)) {
            doc.RemoveAll();
            return false;
        }
        for (int i = 0; i < made.GetFormatCount(); ++i) doc.AddFormat(std::move(made.GetFormat(i)->Icon()));
    }
    doc.macintosh = request.macintosh;
    doc.SortFormats(false);
    return doc.GetFormatCount() > 0;
}

const std::vector<IconPreset>& IconPresets() {
    static const std::vector<IconPreset> presets = {
        {"Windows application", "windows", {16, 24, 32, 48, 64, 256}, {32}, true, false},
        {"Windows classic", "windows-classic", {16, 24, 32, 48, 64, 256}, {32, 8, 4}, true, false},
        {"macOS", "macos", {16, 32, 64, 128, 256, 512, 1024}, {32}, false, true},
    };
    return presets;
}

const IconPreset* FindIconPreset(std::string_view nameOrId) {
    const auto same = [](std::string_view a, std::string_view b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
            return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
        });
    };
    for (const IconPreset& preset : IconPresets())
        if (same(nameOrId, preset.name) || same(nameOrId, preset.id)) return &preset;
    return nullptr;
}

}  // namespace tellurine
