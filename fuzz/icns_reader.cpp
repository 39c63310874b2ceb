// Feeds arbitrary bytes to the Macintosh icon family reader, both as a family and as a resource
// or MacBinary file to scan; a family that reads is written back and must read again.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/icns_file.h"
#include "formats/icon_project.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tellurine;
    const std::span<const std::uint8_t> bytes(data, size);
    CIconDoc doc;
    if (ReadIcnsFile(bytes, doc)) {
        std::vector<std::uint8_t> out;
        std::vector<int> leftOut;
        if (WriteIcnsFamily(doc, out, &leftOut)) {
            CIconGroup again;
            if (!ReadIcnsFamily(out, again) ||
                again.FormatCount() != doc.GetFormatCount() - static_cast<int>(leftOut.size()))
                __builtin_trap();
        }
    }
    CountIcnsImages(bytes);
    IconFileContents contents;
    ReadIconContainer((size & 1) != 0 ? "in.rsc" : "in.bin", bytes, contents);
    return 0;
}
