// Feeds arbitrary bytes to the icon and cursor file reader and to the single-image reader that
// icon resources in executables and icon libraries go through; whatever reads is written back,
// and the catalog of the same bytes agrees with the full read.
#include <vector>

#include "formats/ico_file.h"
#include "catalog_check.h"
#include "harness.h"
#include "icon/kv_icon.h"
#include "image/archive.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    CheckCatalog("in.ico", bytes);
    CIconDoc doc;
    std::vector<std::uint8_t> out;
    if (ReadIconFile(bytes, doc) && WriteIconFile(doc, (bytes.size() & 1) != 0, out)) {
        CIconDoc again;
        Check(ReadIconFile(out, again) && again.GetFormatCount() == doc.GetFormatCount());
    }
    // The last byte picks the directory's bit count, as a resource directory would give it;
    // the byte count is the whole input, or less when the input says so.
    static constexpr std::uint32_t kBitCounts[8] = {0, 1, 4, 8, 24, 32, 2, 16};
    const std::uint32_t bitCount = bytes.empty() ? 0 : kBitCounts[bytes.back() & 7];
    const auto byteCount = static_cast<std::uint32_t>(bytes.empty() ? 0 : bytes.size() - (bytes.back() >> 6));
    CKvIcon icon;
    if (icon.ReadImage(bytes, byteCount, bitCount)) {
        icon.BuildDisplayPalette();
        Archive image = Archive::ForStoring();
        std::uint32_t written = 0;
        icon.WriteImage(image, written);
    }
}
