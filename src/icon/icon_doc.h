// The icon project: CIconObject, the editable form of one format, and CIconDoc, the ordered
// formats of one icon with the knowledge of which file family it belongs to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "icon/icon_group.h"
#include "icon/kv_icon.h"

namespace tellurine {

class CIconObject {
public:
    CIconObject() = default;

    // Takes an image read for this format: copies width, height, colour count and alpha from it
    // and derives the depth (0 colours: 32 bits with alpha, else 24; 2: 1; 16: 4; 256: 8). A
    // format is a palette format exactly when its depth is 8.
    void AttachIcon(CKvIcon&& icon);
    // Takes the size and depth again from the image, after it was changed in place.
    void SyncWithIcon();

    [[nodiscard]] const CKvIcon& Icon() const { return icon_; }
    CKvIcon& Icon() { return icon_; }
    [[nodiscard]] int Width() const { return width_; }
    [[nodiscard]] int Height() const { return height_; }
    [[nodiscard]] int BitCount() const { return bits_; }
    [[nodiscard]] std::uint32_t ColorCount() const { return colors_; }
    [[nodiscard]] bool HasAlpha() const { return alpha_; }
    [[nodiscard]] bool IsPaletteFormat() const { return palette_; }

    // Bits per pixel for a colour count and alpha flag, as AttachIcon derives them.
    static int DepthFromColors(std::uint32_t colors, bool alpha);

private:
    CKvIcon icon_;
    int width_ = 32;
    int height_ = 32;
    int bits_ = 24;
    std::uint32_t colors_ = 0;
    bool alpha_ = false;
    bool palette_ = false;
};

class CIconDoc {
public:
    [[nodiscard]] int GetFormatCount() const { return static_cast<int>(formats_.size()); }
    // The format at an index; nullptr outside 0..count-1.
    [[nodiscard]] CIconObject* GetFormat(int index);
    [[nodiscard]] const CIconObject* GetFormat(int index) const;
    // Appends a format built from an image (see CIconObject::AttachIcon); returns it.
    CIconObject& AddFormat(CKvIcon&& icon);
    // Appends a format holding a new blank image of a size and depth (colour count and alpha as
    // CKvIcon::SetFormat takes them); nullptr, and nothing appended, when the format is refused.
    CIconObject* AddBlankFormat(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha);
    // Appends every image of a group as a format, moving it out of the group (which keeps empty
    // images). False, with the document emptied, when memory runs out.
    bool TakeFormats(CIconGroup& group);
    // The format that best shows the icon: the largest by area, of those the deepest, the first
    // on ties; nullptr when there is none.
    [[nodiscard]] const CIconObject* LargestFormat() const;
    // Removes and frees the format at an index; false outside the range.
    bool DeleteFormat(int index);
    void RemoveAll() { formats_.clear(); }

    // Orders the formats by the save order of CIconGroup::Precedes, by passes of adjacent
    // exchanges so that equal formats keep their order: ascending bits, then larger width, then
    // larger height; with `explorerCompatibleOrder` (the WinExplorerCompatibleOrder preference),
    // every format that is not 32-bit first by ascending width then bits, then the 32-bit
    // formats by width.
    void SortFormats(bool explorerCompatibleOrder);
    // The formats in the order SortFormats would give them, leaving the document as it is: what a
    // file is written in, so that saving never reorders what the user sees.
    [[nodiscard]] std::vector<const CIconObject*> SaveOrder(bool explorerCompatibleOrder) const;

    // A group whose images are copies of the formats' images, in array order, named after the
    // document. `ok` (when given) is false when memory ran out and the group is short.
    [[nodiscard]] CIconGroup BuildIconGroup(bool* ok = nullptr) const;

    // Set for a Macintosh icon family; it picks the ".icns" extension and the Macintosh writer.
    bool macintosh = false;
    // Set for a Windows cursor: the icon file writer then writes a cursor file, each format's
    // hotspot (its image's point) in the directory.
    bool cursor = false;
    // The document's name, as the group built from it carries it.
    std::string name;

    [[nodiscard]] const char* DefaultExtension() const { return macintosh ? ".icns" : cursor ? ".cur" : ".ico"; }

private:
    std::vector<std::unique_ptr<CIconObject>> formats_;
};

}  // namespace tellurine
