#include "shell/clipboard_forms.h"

#include <cstring>

#include "image/archive.h"
#include "image/dib_block.h"
#include "image/raster.h"

namespace tellurine::shell {

std::vector<std::uint8_t> GroupBytes(CIconGroup& group) {
    Archive ar = Archive::ForStoring();
    if (!group.Serialize(ar)) return {};
    return ar.TakeBytes();
}

bool GroupFromBytes(std::span<const std::uint8_t> bytes, CIconGroup& group) {
    Archive ar = Archive::ForLoading(bytes);
    return group.Serialize(ar);
}

std::vector<CKvIcon> FormatsFromBytes(std::span<const std::uint8_t> bytes) {
    std::vector<CKvIcon> formats;
    CIconGroup group;
    if (!GroupFromBytes(bytes, group)) return formats;
    for (int i = 0; i < group.FormatCount(); ++i)
        if (CKvIcon* icon = group.FormatAt(i); icon != nullptr && !icon->IsEmpty()) formats.push_back(std::move(*icon));
    return formats;
}

std::vector<std::uint8_t> PaletteBytes(const Palette& palette) {
    std::vector<std::uint8_t> bytes;
    if (palette.empty() || palette.size() > 256) return bytes;
    const auto u16 = [&bytes](std::size_t v) {
        bytes.push_back(static_cast<std::uint8_t>(v & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>((v >> 8) & 0xFF));
    };
    u16(palette.version);
    u16(palette.size());
    for (const PaletteEntry& e : palette.entries) bytes.insert(bytes.end(), {e.red, e.green, e.blue, e.flags});
    return bytes;
}

bool PaletteFromBytes(std::span<const std::uint8_t> bytes, Palette& palette) {
    if (bytes.size() < 4) return false;
    const auto u16 = [&bytes](std::size_t at) { return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8)); };
    const std::size_t count = u16(2);
    if (count == 0 || count > 256 || bytes.size() < 4 + 4 * count) return false;
    palette.version = u16(0);
    palette.entries.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* e = bytes.data() + 4 + 4 * i;
        palette.entries[i] = {e[0], e[1], e[2], e[3]};
    }
    return true;
}

bool PictureFromDibBytes(std::span<const std::uint8_t> bytes, DeviceBitmap& color, DeviceBitmap& alpha) {
    Block dib = Block::Allocate(bytes.size());
    if (dib.empty()) return false;
    std::memcpy(dib.data(), bytes.data(), dib.size());
    const auto layout = GetDibLayout(dib);
    if (!layout || layout->bitCount != 32 || layout->width > kMaxPasteSide || layout->height > kMaxPasteSide) return false;
    color = DibToDeviceBitmap(dib);
    alpha = DibAlphaToDeviceBitmap(dib);
    return !color.IsNull() && !alpha.IsNull();
}

}  // namespace tellurine::shell
