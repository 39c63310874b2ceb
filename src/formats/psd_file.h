// Photoshop documents (.psd, and the large-document variant .psb), read only: the layers and the
// merged picture, so that an icon can be made from a document whose layers are drawn at icon sizes.
//
// What is read:
//  - the header: "8BPS", version 1 (.psd) or 2 (.psb), 1 to 56 channels, 8 bits per channel, colour
//    mode RGB (3) or Grayscale (1), each side 1 to kMaxDibDimension. Anything else is refused;
//  - the colour mode data and the image resources are skipped by their lengths;
//  - the layers: the count (negative: the merged picture's first extra channel is its
//    transparency), each record's rectangle, channels (-1 alpha, 0..2 colour; others, such as the
//    user mask -2, are skipped), opacity, hidden flag, Pascal name, and the Unicode name ("luni")
//    when the record has one; then every channel's pixels, raw (0), PackBits runs with a byte
//    count per row (1), or zlib without (2) or with (3) the per-row difference;
//  - the merged picture at the end, raw, PackBits or zlib.
// Grayscale gives grey colour channels. A missing colour channel is black, a missing alpha opaque.
//
// The input is taken as hostile: every length and count is checked against the bytes left before
// it is used, sizes are capped, the pictures decoded in all stay within kMaxPsdPixels, and no
// picture is allocated before its compressed bytes could possibly fill it. A file that breaks any
// rule is refused with a reason; nothing is read past the end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "icon/format_maker.h"
#include "icon/icon_doc.h"
#include "image/block.h"

namespace tellurine {

// Largest number of pixels decoded from one document, the layers and the merged picture together.
inline constexpr std::int64_t kMaxPsdPixels = std::int64_t{64} * 1024 * 1024;
// Largest document file read (512 MiB).
inline constexpr std::size_t kMaxPsdFileBytes = std::size_t{512} * 1024 * 1024;

struct PsdLayer {
    std::string name;  // UTF-8: the Unicode name when there is one, else the Pascal name's bytes
    int left = 0;      // the layer's rectangle on the canvas (it may reach outside it)
    int top = 0;
    Block picture32;   // 32-bit packed bitmap, straight alpha, the layer's opacity applied; empty
                       // for a layer without pixels (a group marker, an empty layer)
    bool visible = true;
};

struct PsdDocument {
    int width = 0;
    int height = 0;
    std::vector<PsdLayer> layers;  // bottom to top, as the file lists them
    Block composite;               // the merged picture, 32 bits (opaque unless it has transparency)
};

// True when the path names a Photoshop document (".psd" or ".psb", in any case).
bool IsPsdPath(const std::string& path);

// True when the bytes start as a Photoshop document ("8BPS").
bool IsPsdFile(std::span<const std::uint8_t> bytes);

// Reads a document. False, with `doc` empty and `error` saying why, when it cannot be read.
bool ReadPsdFile(std::span<const std::uint8_t> bytes, PsdDocument& doc, std::string& error);

// The format a layer's name asks for: a square size and a depth, PNG-compressed or not.
struct NamedFormat {
    int size = 0;
    int bits = 32;
    bool png = false;
};
// Reads a layer name that says a size, without regard to case and with spaces anywhere between
// the parts:
//   SIZE ["x" SIZE] [DEPTH] ["png"]
// SIZE is 1..kMaxMadeFormatSize (both equal when given twice), DEPTH is "@N", "Nbit", "N-bit",
// "N bit" or "Nbpp" with N one of 1, 4, 8, 24, 32 (32 when left out); "png" asks for a
// PNG-compressed format and allows 32 bits only. So "16", "16x16", "32x32 8bit", "48 x 48 4-bit",
// "256 png" and "24x24@32" are formats; anything else ("Background", "shadow", "16 copy",
// "16x24") is none.
std::optional<NamedFormat> ParseFormatName(std::string_view name);

// The picture a size layer gives a format of `size` pixels, before any resampling: the layer cut
// to the canvas; on a transparent canvas at its own position when the canvas is a square of that
// size, else its pixels alone centred on a transparent square of their larger side (to be
// resampled to the size when that side is another). Empty when nothing of the layer is on the
// canvas, or memory runs out.
Block SizeLayerPicture(const PsdDocument& doc, const PsdLayer& layer, int size);

// Makes an icon project from a document: a format for every layer whose name says one (hidden
// layers too; when several name the same size and depth, the topmost), made from
// SizeLayerPicture, PNG-compressed when the name says so or the request compresses its size;
// and every size of the request that no layer names, at the request's depths, from the merged
// picture as MakeIconProject makes them. The formats are sorted. False, with `error` set and
// `doc` empty, when a format cannot be made or the request is refused.
bool MakeIconProjectFromPsd(const PsdDocument& psd, const IconProjectRequest& request, CIconDoc& doc,
                            std::string& error);

}  // namespace tellurine
