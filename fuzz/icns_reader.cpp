// Feeds arbitrary bytes to the Macintosh icon family reader, both as a family and as a resource
// or MacBinary file to scan; a family that reads is written back, must read again, and must then
// be written as the same bytes; the catalog of the same bytes, as either kind of file, agrees
// with the full read.
#include <vector>

#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "formats/icon_project.h"
#include "catalog_check.h"
#include "harness.h"

namespace tellurine::fuzz {
namespace {

// True when an element larger than the caps holds "ARGB" planes: a few bytes of runs unpack to
// megabytes at 256 pixels and above.
bool HasLargeArgbElement(std::span<const std::uint8_t> bytes) {
    static constexpr std::uint32_t kLargeTypes[] = {IcnsType("ic08"), IcnsType("ic09"), IcnsType("ic10"),
                                                    IcnsType("ic13"), IcnsType("ic14")};
    // Whole words rather than memcmp, which the fuzzer would watch and learn "ARGB" from.
    const auto word = [&](std::size_t at) {
        return static_cast<std::uint32_t>(bytes[at]) << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3];
    };
    for (std::size_t i = 8; i + 4 <= bytes.size(); ++i) {
        if (bytes[i] != 'A' || word(i) != IcnsType("ARGB")) continue;
        for (const std::uint32_t large : kLargeTypes)
            if (word(i - 8) == large) return true;
    }
    return false;
}

bool HasLargeFormat(const CIconDoc& doc) {
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject* format = doc.GetFormat(i);
        if (format != nullptr && (format->Width() > kMaxWrittenSide || format->Height() > kMaxWrittenSide))
            return true;
    }
    return false;
}

}  // namespace

void FuzzInput(std::span<const std::uint8_t> bytes) {
    if (HasLargeArgbElement(bytes)) return;
    CIconDoc doc;
    if (ReadIcnsFile(bytes, doc) && !HasLargeFormat(doc)) {
        std::vector<std::uint8_t> out;
        std::vector<int> leftOut;
        if (WriteIcnsFamily(doc, out, &leftOut)) {
            // What was written reads back with every format written, and written again from what
            // was read, it is the same bytes.
            CIconDoc again;
            std::vector<std::uint8_t> twice;
            Check(ReadIcnsFile(out, again) &&
                  again.GetFormatCount() == doc.GetFormatCount() - static_cast<int>(leftOut.size()) &&
                  WriteIcnsFamily(again, twice) && twice == out);
        }
    }
    CountIcnsImages(bytes);
    CheckCatalog("in.icns", bytes);
    CheckCatalog((bytes.size() & 1) != 0 ? "in.rsc" : "in.bin", bytes);
}

}  // namespace tellurine::fuzz
