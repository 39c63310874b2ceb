// Writes the small seed files of the Macintosh icon fuzz target. Runs only when asked:
//   TELLURINE_ICNS_SEED_DIR=fuzz/seeds/icns_reader build/.../tests_formats --gtest_filter='IcnsSeeds.*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <algorithm>
#include <fstream>
#include <vector>

#include "formats/icns_file.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

CKvIcon SeedIcon(int w, int h, std::uint32_t colors, bool alpha) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    for (std::size_t i = l.tableOffset; i < l.pixelOffset; ++i) base[i] = static_cast<std::uint8_t>(i * 37);
    for (std::size_t i = l.pixelOffset; i < l.maskOffset; ++i) base[i] = static_cast<std::uint8_t>(i / 40 % 5 * 50);
    for (std::size_t i = l.maskOffset; i < l.blockSize; ++i) base[i] = static_cast<std::uint8_t>(i % 3 == 0 ? 0xF0 : 0);
    return icon;
}

void Save(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    ASSERT_LT(bytes.size(), 16384u) << path;
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint8_t> FamilyOf(std::vector<CKvIcon> icons) {
    CIconDoc doc;
    for (CKvIcon& icon : icons) doc.AddFormat(std::move(icon));
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(WriteIcnsFamily(doc, out));
    return out;
}

TEST(IcnsSeeds, WriteWhenAsked) {
    const char* dir = std::getenv("TELLURINE_ICNS_SEED_DIR");
    if (dir == nullptr) GTEST_SKIP() << "set TELLURINE_ICNS_SEED_DIR to write the seeds";
    const std::filesystem::path out(dir);
    std::filesystem::create_directories(out);

    std::vector<CKvIcon> classic;
    classic.push_back(SeedIcon(16, 16, 2, false));
    classic.push_back(SeedIcon(16, 12, 16, false));
    classic.push_back(SeedIcon(32, 32, 256, false));
    classic.push_back(SeedIcon(16, 16, 0, true));
    const std::vector<std::uint8_t> family = FamilyOf(std::move(classic));
    Save(out / "classic.icns", family);

    std::vector<CKvIcon> large;
    large.push_back(SeedIcon(48, 48, 0, true));
    Save(out / "ih32.icns", FamilyOf(std::move(large)));

    // A JPEG 2000 element: a flat 256-pixel picture compresses to very little.
    std::vector<CKvIcon> jp2;
    jp2.push_back(SeedIcon(256, 256, 0, true));
    std::fill(jp2.back().GetBlock().data() + 40, jp2.back().GetBlock().data() + 40 + 256 * 256 * 4, std::uint8_t{0x80});
    Save(out / "jpeg2000.icns", FamilyOf(std::move(jp2)));

    // Later elements: "ARGB" planes in "ic04"; an "odrp" magic.
    std::vector<std::uint8_t> argb = {'i', 'c', 'n', 's', 0, 0, 0, 0, 'i', 'c', '0', '4', 0, 0, 0, 0, 'A', 'R', 'G', 'B'};
    argb.reserve(argb.size() + 16);
    for (int plane = 0; plane < 4; ++plane) argb.insert(argb.end(), {0xFD, static_cast<std::uint8_t>(plane * 60), 0xFD, 9});
    StoreBE32(argb.data() + 12, static_cast<std::uint32_t>(argb.size() - 8));
    StoreBE32(argb.data() + 4, static_cast<std::uint32_t>(argb.size()));
    Save(out / "argb.icns", argb);
    std::vector<std::uint8_t> odrp = family;
    std::copy_n("odrp", 4, odrp.begin());
    Save(out / "odrp.icns", odrp);

    // The same family after a MacBinary III header, and inside a bare resource fork.
    std::vector<std::uint8_t> bin(128, 0);
    bin[1] = 4;
    std::copy_n("mBIN", 4, bin.begin() + 102);
    bin.reserve(bin.size() + family.size() + 3100);
    bin.insert(bin.end(), family.begin(), family.end());
    bin.resize(bin.size() + 3100, 0);
    Save(out / "macbinary.bin", bin);
}

}  // namespace
}  // namespace tellurine
