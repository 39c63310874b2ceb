#include "formats/ico_file.h"

#include <limits>
#include <new>
#include <utility>

#include "image/archive.h"
#include "image/bytes.h"

namespace tellurine {

namespace {

constexpr std::size_t kHeaderSize = 6;
constexpr std::size_t kEntrySize = 16;

struct DirectoryEntry {
    std::uint32_t bitCount = 0;   // for a cursor, the hotspot's y
    std::uint32_t byteCount = 0;
    std::uint32_t offset = 0;
};

bool ReadImages(std::span<const std::uint8_t> bytes, CIconDoc& doc, IconFileType* type) {
    if (bytes.size() < kHeaderSize) return false;
    const std::uint16_t fileType = LoadU16(bytes.data() + 2);
    const std::uint16_t count = LoadU16(bytes.data() + 4);
    if ((fileType != 1 && fileType != 2) || count == 0) return false;
    if (std::size_t{count} * kEntrySize > bytes.size() - kHeaderSize) return false;

    Archive ar = Archive::ForLoading(bytes);
    std::size_t decoded = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* e = bytes.data() + kHeaderSize + i * kEntrySize;
        DirectoryEntry entry;
        const std::uint16_t planes = LoadU16(e + 4);
        entry.bitCount = LoadU16(e + 6);
        entry.byteCount = LoadU32(e + 8);
        entry.offset = LoadU32(e + 12);
        if (!ar.Seek(entry.offset)) return false;
        CKvIcon icon;
        if (!icon.ReadImage(ar, entry.byteCount, entry.bitCount)) return false;
        if (fileType == 2) icon.SetPoint(planes, static_cast<std::int32_t>(entry.bitCount));
        // Entries may all point at one small, well-compressed image; the total is bounded too.
        decoded += icon.BlockSize();
        if (decoded > kMaxIconFileDecodedBytes) return false;
        doc.AddFormat(std::move(icon));
    }
    if (type != nullptr) *type = static_cast<IconFileType>(fileType);
    doc.cursor = fileType == 2;
    return true;
}

// Low 8 bits of a directory byte: 256 pixels or 256 colours become 0.
std::uint8_t DirectoryByte(std::uint32_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

// A hotspot coordinate as a cursor's directory holds it: a point outside the image is 0.
std::uint16_t HotspotField(std::int32_t value, std::uint32_t size) {
    return value < 0 || static_cast<std::uint32_t>(value) >= size ? 0 : static_cast<std::uint16_t>(value);
}

}  // namespace

bool ReadIconFile(std::span<const std::uint8_t> bytes, CIconDoc& doc, IconFileType* type) {
    doc.RemoveAll();
    bool ok = false;
    try {
        ok = ReadImages(bytes, doc, type);
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    if (!ok) doc.RemoveAll();
    else doc.macintosh = false;
    return ok;
}

bool WriteIconFile(const CIconDoc& doc, bool explorerCompatibleOrder, std::vector<std::uint8_t>& out,
                   std::optional<bool> asCursor) {
    out.clear();
    const bool cursor = asCursor.value_or(doc.cursor);
    const int count = doc.GetFormatCount();
    if (count < 1 || count > 0xFFFF) return false;
    const std::vector<const CIconObject*> order = doc.SaveOrder(explorerCompatibleOrder);

    try {
        Archive ar = Archive::ForStoring();
        std::size_t expected = kHeaderSize + static_cast<std::size_t>(count) * kEntrySize;
        for (int i = 0; i < count; ++i) expected += order[static_cast<std::size_t>(i)]->Icon().BlockSize();
        ar.Reserve(expected);
        ar.WriteU16(0);
        ar.WriteU16(cursor ? 2 : 1);
        ar.WriteU16(static_cast<std::uint16_t>(count));
        const std::size_t directory = ar.Position();
        ar.WriteZeros(static_cast<std::size_t>(count) * kEntrySize);

        std::vector<std::uint8_t> entries(static_cast<std::size_t>(count) * kEntrySize);
        for (int i = 0; i < count; ++i) {
            const CKvIcon& icon = order[static_cast<std::size_t>(i)]->Icon();
            const std::size_t offset = ar.Position();
            std::uint32_t written = 0;
            if (icon.IsEmpty() || offset > std::numeric_limits<std::uint32_t>::max()) return false;
            if (cursor) {
                if (!icon.WriteImage(ar)) return false;
                written = static_cast<std::uint32_t>(ar.Position() - offset);
            } else if (!icon.WriteImage(ar, written)) {
                return false;
            }

            std::uint8_t* e = entries.data() + static_cast<std::size_t>(i) * kEntrySize;
            e[0] = DirectoryByte(icon.Width());
            e[1] = DirectoryByte(icon.Height());
            e[2] = DirectoryByte(icon.ColorCount());
            e[3] = 0;
            if (cursor) {
                StoreU16(e + 4, HotspotField(icon.PointX(), icon.Width()));
                StoreU16(e + 6, HotspotField(icon.PointY(), icon.Height()));
            } else {
                StoreU16(e + 4, 1);
                StoreU16(e + 6, static_cast<std::uint16_t>(icon.BitsPerPixel()));
            }
            StoreU32(e + 8, written);
            StoreU32(e + 12, static_cast<std::uint32_t>(offset));
        }

        const std::size_t end = ar.Position();
        ar.Seek(directory);
        ar.Write(entries.data(), entries.size());
        ar.Seek(end);
        out = ar.TakeBytes();
    } catch (const std::bad_alloc&) {
        out.clear();
        return false;
    }
    return true;
}

}  // namespace tellurine
