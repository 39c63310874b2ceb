// Writes the small seed files of the Macintosh icon fuzz target. Runs only when asked:
//   TELLURINE_ICNS_SEED_DIR=fuzz/seeds/icns_reader build/.../tests_formats --gtest_filter='IcnsSeeds.*'
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/icns_file.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::MakeIcon;

void Save(const std::filesystem::path& path, const Bytes& bytes) { format_test::SaveSeed(path, bytes, 16384); }

Bytes FamilyOf(std::vector<CKvIcon> icons) {
    CIconDoc doc;
    for (CKvIcon& icon : icons) doc.AddFormat(std::move(icon));
    Bytes out;
    EXPECT_TRUE(WriteIcnsFamily(doc, out));
    return out;
}

TEST(IcnsSeeds, WriteWhenAsked) {
    const std::filesystem::path out = format_test::SeedDir("TELLURINE_ICNS_SEED_DIR");
    if (out.empty()) GTEST_SKIP() << "set TELLURINE_ICNS_SEED_DIR to write the seeds";

    const Bytes family = FamilyOf({MakeIcon(16, 16, 2, false, 1), MakeIcon(16, 12, 16, false, 2),
                                   MakeIcon(32, 32, 256, false, 3), MakeIcon(16, 16, 0, true, 4)});
    Save(out / "classic.icns", family);
    Save(out / "ih32.icns", FamilyOf({MakeIcon(48, 48, 0, true, 5)}));

    // A JPEG 2000 element: a flat 256-pixel picture compresses to very little.
    CKvIcon flat = MakeIcon(256, 256, 0, true, 6);
    std::fill(flat.GetBlock().data() + 40, flat.GetBlock().data() + 40 + 256 * 256 * 4, std::uint8_t{0x80});
    Save(out / "jpeg2000.icns", FamilyOf({flat}));

    // Later elements: "ARGB" planes in "ic04"; an "odrp" magic.
    Bytes argb = {'i', 'c', 'n', 's', 0, 0, 0, 0, 'i', 'c', '0', '4', 0, 0, 0, 0, 'A', 'R', 'G', 'B'};
    argb.reserve(argb.size() + 16);  // GCC's bounds warning misreads the growth of a short vector
    for (int plane = 0; plane < 4; ++plane)
        argb.insert(argb.end(), {0xFD, static_cast<std::uint8_t>(plane * 60), 0xFD, 9});
    StoreBE32(argb.data() + 12, static_cast<std::uint32_t>(argb.size() - 8));
    StoreBE32(argb.data() + 4, static_cast<std::uint32_t>(argb.size()));
    Save(out / "argb.icns", argb);
    Bytes odrp = family;
    std::copy_n("odrp", 4, odrp.begin());
    Save(out / "odrp.icns", odrp);

    // The same family after a MacBinary III header, and inside a bare resource fork.
    Bytes bin(128, 0);
    bin[1] = 4;
    std::copy_n("mBIN", 4, bin.begin() + 102);
    bin.reserve(bin.size() + family.size() + 3100);
    bin.insert(bin.end(), family.begin(), family.end());
    bin.resize(bin.size() + 3100, 0);
    Save(out / "macbinary.bin", bin);
}

}  // namespace
}  // namespace tellurine
