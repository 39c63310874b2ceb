// Layered pictures (Photoshop, OpenRaster and GIMP documents): their layers and merged picture, and
// icons made from them, where a layer named after a size ("16", "32x32 8bit", "256 png") is that
// format as drawn and the other sizes are scaled from the merged picture.
#pragma once

#include <cstdint>
#include <new>
#include <stdexcept>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "icon/format_maker.h"
#include "icon/icon_doc.h"
#include "image/block.h"

namespace tellurine {

// Largest layered document file read (512 MiB).
inline constexpr std::size_t kMaxLayeredFileBytes = std::size_t{512} * 1024 * 1024;
// Largest number of pixels decoded from one document, the layers and the merged picture together.
inline constexpr std::int64_t kMaxLayeredPixels = std::int64_t{64} * 1024 * 1024;

struct PictureLayer {
    std::string name;  // UTF-8
    int left = 0;      // the layer's rectangle on the canvas (it may reach outside it)
    int top = 0;
    Block picture32;  // 32-bit packed bitmap, straight alpha, the layer's opacity applied; empty
                      // for a layer without pixels (a group marker, an empty layer)
    bool visible = true;
    bool linearLight = false;  // blended over the layers below in linear light (GIMP 2.10's own
                               // modes), not on the encoded values
};

struct LayeredPicture {
    int width = 0;
    int height = 0;
    std::vector<PictureLayer> layers;  // bottom to top
    Block composite;                   // the merged picture, 32 bits (opaque unless it has transparency)
};

// True when the path names a layered document that is read for its layers: ".psd", ".psb", ".ora"
// or ".xcf", in any case.
bool IsLayeredPicturePath(const std::string& path);

// What the path's extension says the document is, for messages: "Photoshop document",
// "OpenRaster document", "GIMP document", or "layered document".
const char* LayeredPictureKind(const std::string& path);

// True when the bytes start as a layered document of a kind ReadLayeredPicture reads.
bool IsLayeredPictureFile(std::span<const std::uint8_t> bytes);

// Reads a layered document of any kind, told by its content. False, with `doc` empty and `error`
// saying why, when it cannot be read.
bool ReadLayeredPicture(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error);

// Lays the visible layers over each other, bottom to top, over a transparent canvas of the
// document's size ("normal" blending of straight-alpha colours, in linear light for the layers
// that ask for it). Empty when memory runs out.
Block CompositeLayers(const LayeredPicture& doc);

// A layer's opacity (0..1) multiplied into the alpha of its 32-bit picture.
void ApplyLayerOpacity(Block& picture32, double opacity);

// The sRGB transfer: an 8-bit encoded value's linear light (0..1), and linear light back to the
// nearest 8-bit encoded value.
float LinearOfSrgb(std::uint8_t value);
std::uint8_t SrgbOfLinear(float linear);

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
Block SizeLayerPicture(const LayeredPicture& doc, const PictureLayer& layer, int size);

// Makes an icon project from a document: a format for every layer whose name says one (hidden
// layers too; when several name the same size and depth, the topmost), made from
// SizeLayerPicture, PNG-compressed when the name says so or the request compresses its size;
// and every size of the request that no layer names, at the request's depths, from the merged
// picture as MakeIconProject makes them. The formats are sorted. False, with `error` set and
// `doc` empty, when a format cannot be made or the request is refused.
bool MakeIconProjectFromLayers(const LayeredPicture& layered, const IconProjectRequest& request, CIconDoc& doc,
                               std::string& error);

namespace layered_detail {

// What a reader throws when the document breaks one of its rules: why it is refused.
struct Refusal {
    std::string reason;
};

[[noreturn]] inline void Refuse(std::string reason) {
    throw Refusal{std::move(reason)};
}

// Reads into `doc` with `read`, which throws a Refusal at a broken rule. A refusal, or memory
// running out, leaves `doc` empty and `error` saying why.
template <typename Read>
bool ReadRefusing(LayeredPicture& doc, std::string& error, Read read) {
    doc = {};
    try {
        read();
        return true;
    } catch (const Refusal& refusal) {
        error = refusal.reason;
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    } catch (const std::length_error&) {
        error = "out of memory";
    }
    doc = {};
    return false;
}

}  // namespace layered_detail

}  // namespace tellurine
