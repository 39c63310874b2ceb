// Feeds arbitrary bytes to the icon and cursor file reader and to the single-image reader that
// icon resources in executables and icon libraries go through; whatever reads is written back.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/ico_file.h"
#include "input_caps.h"
#include "icon/kv_icon.h"
#include "image/archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tellurine;
    const std::span<const std::uint8_t> bytes(data, size);
    if (fuzz::DeclaresLargePicture(bytes)) return 0;
    {
        CIconDoc doc;
        if (ReadIconFile(bytes, doc)) {
            std::vector<std::uint8_t> out;
            if (WriteIconFile(doc, (size & 1) != 0, out)) {
                CIconDoc again;
                if (!ReadIconFile(out, again) || again.GetFormatCount() != doc.GetFormatCount()) __builtin_trap();
            }
        }
    }
    {
        // The last byte picks the directory's bit count, as a resource directory would give it;
        // the byte count is the whole input, or less when the input says so.
        static constexpr std::uint32_t kBitCounts[8] = {0, 1, 4, 8, 24, 32, 2, 16};
        const std::uint32_t bitCount = size == 0 ? 0 : kBitCounts[data[size - 1] & 7];
        const auto byteCount = static_cast<std::uint32_t>(size == 0 ? 0 : size - (data[size - 1] >> 6));
        CKvIcon icon;
        if (icon.ReadImage(bytes, byteCount, bitCount)) {
            icon.BuildDisplayPalette();
            Archive out = Archive::ForStoring();
            std::uint32_t written = 0;
            icon.WriteImage(out, written);
        }
    }
    return 0;
}
