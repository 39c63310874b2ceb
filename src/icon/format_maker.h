// Making icon formats from pictures: one format at a chosen size and depth from an existing
// format or from an image, and a whole icon project from one image.
//
// Every path resamples a 32-bit picture with ResampleDib. While the creation switch is on (the
// dialog that makes a new icon from an image, and the command-line tool's create, turn it on), a
// resampled picture whose size changed is then blurred or sharpened by the resize filter, the
// colours at a strength chosen by the reduction ratio and the alpha at half of it.
//
// Indexed depths are made from the resampled 32-bit picture:
//  - the AND mask is set where the alpha is below 128, and those pixels hold black (index of a
//    black entry), so that the AND/XOR pair shows nothing there on every display;
//  - the other pixels keep their colour as it is (colours are never premultiplied, and the
//    resampler's colour bleeding keeps dark fringes out of the soft edges), now fully opaque;
//  - 4 and 8 bits: an optimal palette of 15 or 255 colours from the opaque pixels only, plus
//    black; 1 bit: black and white, the only pair every display shows alike;
//  - pixels are mapped with Floyd-Steinberg diffusion, which keeps gradients and soft shapes
//    readable at 16 colours and at one bit far better than the nearest colour alone.
// A 24-bit format takes the colours and the same AND mask.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "icon/icon_doc.h"
#include "icon/kv_icon.h"
#include "image/dib.h"
#include "imaging/resample.h"

namespace tellurine {

// The process-wide creation switch. Instances nest; the switch is on while any is alive.
class FormatCreationSwitch {
public:
    FormatCreationSwitch();
    ~FormatCreationSwitch();
    FormatCreationSwitch(const FormatCreationSwitch&) = delete;
    FormatCreationSwitch& operator=(const FormatCreationSwitch&) = delete;
    static bool IsOn();
};

// The user's preference for filtering a format made from another one after the resize: on or
// off, and the resize filter's level (0..20; below 10 smooths, above 10 sharpens, 10 does
// nothing). The level is the profile value ApplyFilterToCreateIconFromImageValue, default 10.
struct ResizeFilterPreference {
    bool enabled = false;
    int level = 10;
    ResampleQuality quality = ResampleQuality::Standard;  // how the picture is resampled first
};

// The resize filter's level for formats made from a given image: a mild smoothing.
inline constexpr int kImageResizeFilterLevel = 5;

// The resize filter's strength for a reduction from W x H to w x h: 100 when w <= W/5 or
// h <= H/5, else 50 when w > W/3 and h > H/3, else 75 (W/5 and W/3 by integer division).
int ResizeFilterStrength(int sourceWidth, int sourceHeight, int width, int height);

// Runs the resize filter on a 32-bit packed bitmap in place: the colours at `strength`, the
// alpha at half of it. False, with the bitmap unchanged, for another depth or lack of memory.
bool ApplyResizeFilterToDib(Block& dib32, int level, int strength);

// Depths a format can be made at: 1, 4, 8, 24 and 32 bits per pixel.
bool IsMakeableDepth(int bits);
// Colour count and alpha flag of a depth, as CKvIcon::SetFormat takes them.
std::uint32_t ColorsForDepth(int bits);

// Makes `out` a format of the given size and depth from a 32-bit picture at that size already
// (no resampling). False, with `out` unchanged, for another depth, a mismatched size or lack of
// memory.
bool FormatFromPicture(const Block& picture32, int bits, CKvIcon& out);

// The palette a new format of an indexed depth starts with: black and white for 1 bit, the 16
// standard colours for 4 bits, the standard 256-colour palette for 8 bits; empty otherwise.
Palette StandardPaletteForDepth(int bits);

// Makes `out` a new, fully transparent format of the given size and depth: every AND bit set over
// black (alpha 0 at 32 bits), and an indexed depth's table the standard palette of its depth, so
// that whatever is drawn on it later finds the colours it was drawn with. False, with `out`
// unchanged, for a depth that cannot be made, a refused size or lack of memory.
bool MakeBlankFormat(std::int32_t width, std::int32_t height, int bits, CKvIcon& out);

// A format of the given size and depth made from the picture of an existing format: resampled,
// then, while the creation switch is on and the size changed, filtered at the preference's level
// when it is enabled and not 10. False (nothing made, source untouched) for a size of 0 or over
// kMaxDibDimension, a depth that cannot be made, an empty source or lack of memory.
bool MakeFormatFromFormat(const CKvIcon& source, std::int32_t width, std::int32_t height, int bits,
                          const ResizeFilterPreference& preference, CKvIcon& out);

// The same from an image of any depth, brought to 32 bits first; the filter's level is
// kImageResizeFilterLevel.
bool MakeFormatFromImage(const CDIB& image, std::int32_t width, std::int32_t height, int bits, CKvIcon& out,
                         ResampleQuality quality = ResampleQuality::Standard);

// The largest side of a format that a project is made with, as a Macintosh family's largest
// element.
inline constexpr int kMaxMadeFormatSize = 1024;

// What a new icon project is made of.
struct IconProjectRequest {
    std::vector<int> sizes;                     // square sides, 1..kMaxMadeFormatSize
    std::vector<int> depths;                    // 1, 4, 8, 24 or 32
    bool compressLarge = false;                 // store formats of 256 pixels and larger as PNG
    bool macintosh = false;                     // a Macintosh icon family rather than a Windows icon
    unsigned threads = 1;                       // sizes made at once
    int filterLevel = kImageResizeFilterLevel;  // the resize filter's level for resized sizes
    std::optional<COLORREF> transparentColor;   // pixels of this colour become transparent
    ResampleQuality quality = ResampleQuality::Standard;
};

// Makes every size at every depth from one image into `doc` (emptied first), with the creation
// switch on: a picture that is not square is first centred on a transparent square of its larger
// side, so nothing is stretched. The formats are sorted in the default order. Sizes at which the
// picture is the same work from one prepared copy, so each size is resampled only once for all
// its depths. False, with `error` set and `doc` left empty, for an empty image, a bad size or
// depth, or lack of memory.
bool MakeIconProject(const CDIB& image, const IconProjectRequest& request, CIconDoc& doc, std::string& error);
// The same from an image handed over (left empty or unchanged): a square 32-bit image is then
// worked on where it lies instead of being copied.
bool MakeIconProject(CDIB&& image, const IconProjectRequest& request, CIconDoc& doc, std::string& error);

// A named set of formats for icons made from pictures, as New Icon from Image and tellurine-cli
// create offer them.
struct IconPreset {
    const char* name;  // as the program shows it ("Windows application")
    const char* id;    // as tellurine-cli takes it ("windows")
    std::vector<int> sizes;
    std::vector<int> depths;
    bool compressLarge = false;  // formats of 256 pixels and more as PNG
    bool macintosh = false;
};
// "Windows application" (16, 24, 32, 48, 64 and 256 at 32 bits, 256 as PNG: the default),
// "Windows classic" (the same at 4 and 8 bits too) and "macOS" (16 to 1024, each point size also
// at twice its pixels); "Windows + macOS" is the first and the last together.
const std::vector<IconPreset>& IconPresets();
// The preset of that name or id, compared without case; null for none.
const IconPreset* FindIconPreset(std::string_view nameOrId);

// Renders a drawing at a square size, as a 32-bit packed bitmap (empty when it cannot).
using DrawingRenderer = std::function<Block(int size)>;
// The same from a drawing: each size is rendered at that size and made from that rendering alone,
// so that nothing is resampled and small sizes stay sharp; the formats are sorted. False, with
// `error` set and `doc` left empty, when a rendering fails or a format cannot be made.
bool MakeIconProjectFromDrawing(const DrawingRenderer& drawing, const IconProjectRequest& request, CIconDoc& doc,
                                std::string& error);

}  // namespace tellurine
