// Writes the small seed files of the fuzz targets of the icon file, Macintosh family, animated
// cursor and program readers, each into its folder under the one named. Runs only when asked:
//   TELLURINE_SEED_DIR=fuzz/seeds build/default/tests/tests_formats --gtest_filter='FuzzSeeds.*'
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "formats/ani_file.h"
#include "formats/ani_test_writer.h"
#include "formats/format_test_support.h"
#include "formats/icns_file.h"
#include "formats/pe_test_writer.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using format_test::IconFileOf;
using format_test::MakeIcon;

// Writes `name` into the folder of `target`, at most `limit` bytes.
void Save(const std::filesystem::path& target, const char* name, const Bytes& bytes, std::size_t limit = 4096) {
    std::filesystem::create_directories(target);
    ASSERT_LE(bytes.size(), limit) << name;
    format_test::WriteBytes(target / name, bytes);
}

// An icon file of one image with varied pixels and mask; a cursor with this hotspot when asked.
Bytes IconFile(int size, std::uint32_t colors, bool alpha, bool png, int seed, int hotspotX = -1, int hotspotY = 0) {
    Bytes out = IconFileOf({MakeIcon(size, size, colors, alpha, static_cast<std::uint32_t>(seed), png)});
    if (hotspotX >= 0) {
        StoreU16(out.data() + 2, 2);
        StoreU16(out.data() + 6 + 4, static_cast<std::uint16_t>(hotspotX));
        StoreU16(out.data() + 6 + 6, static_cast<std::uint16_t>(hotspotY));
    }
    return out;
}

void IcoSeeds(const std::filesystem::path& out) {
    Save(out, "mono16.ico", IconFileOf({MakeIcon(16, 16, 2, false, 1)}));
    Save(out, "mixed.ico",
         IconFileOf({MakeIcon(16, 16, 16, false, 2), MakeIcon(8, 8, 0, false, 3), MakeIcon(16, 16, 0, true, 4, true)}));
    Save(out, "pal8.ico", IconFileOf({MakeIcon(8, 8, 256, false, 5)}));
    Save(out, "alpha16.ico", IconFileOf({MakeIcon(16, 16, 0, true, 6)}));
    // A cursor whose PNG image has hotspot (3, 0): the 0 asks for 32 bits.
    Save(out, "png_cursor.cur", IconFile(24, 0, true, true, 7, 3, 0));
    // Single images as the memory reader takes them: a PNG stream and a bitmap-form block.
    Save(out, "image.png", format_test::ImageBytes(MakeIcon(12, 12, 0, true, 8, true)));
    Save(out, "image.bmpicon", format_test::ImageBytes(MakeIcon(12, 12, 16, false, 9)));
}

Bytes FamilyOf(std::vector<CKvIcon> icons) {
    Bytes out;
    EXPECT_TRUE(WriteIcnsFamily(format_test::DocOf(std::move(icons)), out));
    return out;
}

void IcnsSeeds(const std::filesystem::path& out) {
    const Bytes family = FamilyOf({MakeIcon(16, 16, 2, false, 1), MakeIcon(16, 12, 16, false, 2),
                                   MakeIcon(32, 32, 256, false, 3), MakeIcon(16, 16, 0, true, 4)});
    Save(out, "classic.icns", family, 16384);
    Save(out, "ih32.icns", FamilyOf({MakeIcon(48, 48, 0, true, 5)}), 16384);
    // A JPEG 2000 element: a flat 256-pixel picture compresses to very little.
    CKvIcon flat = MakeIcon(256, 256, 0, true, 6);
    std::fill(flat.GetBlock().data() + 40, flat.GetBlock().data() + 40 + 256 * 256 * 4, std::uint8_t{0x80});
    Save(out, "jpeg2000.icns", FamilyOf({flat}), 16384);
    // Later elements: "ARGB" planes in "ic04"; an "odrp" magic.
    Bytes argb = {'A', 'R', 'G', 'B'};
    argb.reserve(argb.size() + 16);  // GCC's bounds warning misreads the growth of a short vector
    for (int plane = 0; plane < 4; ++plane)
        argb.insert(argb.end(), {0xFD, static_cast<std::uint8_t>(plane * 60), 0xFD, 9});
    Save(out, "argb.icns", format_test::IcnsFamily({{"ic04", argb}}), 16384);
    Bytes odrp = family;
    std::copy_n("odrp", 4, odrp.begin());
    Save(out, "odrp.icns", odrp, 16384);
    // The same family after a MacBinary III header, and inside a bare resource fork.
    Bytes bin(128, 0);
    bin[1] = 4;
    std::copy_n("mBIN", 4, bin.begin() + 102);
    bin.reserve(bin.size() + family.size() + 3100);
    bin.insert(bin.end(), family.begin(), family.end());
    bin.resize(bin.size() + 3100, 0);
    Save(out, "macbinary.bin", bin, 16384);
}

void AniSeeds(const std::filesystem::path& out) {
    using namespace ani_test;
    const auto save = [&out](const char* name, const Bytes& bytes) {
        EXPECT_GT(CountAniFrames(bytes), 0u) << name;
        Save(out, name, bytes);
    };
    // Two frames, rates and a sequence that repeats a frame and points past the frames, titles.
    save("tables.ani",
         Ani({List("INFO", {Chunk("INAM", {'s', 'e', 'e', 'd', 0}), Chunk("IART", {'t', 0})}), Anih(2, 5, 6),
              Table("rate", {1, 65541, 3, 4, 5}), Table("seq ", {1, 0, 1, 7, 0}),
              List("fram", {Chunk("icon", IconFile(8, 16, false, false, 1, 1, 2)),
                            Chunk("icon", IconFile(6, 2, false, false, 1))})}));
    // Defaults only; a 32-bit frame and an 8-bit one.
    save("defaults.ani", Ani({Anih(2, 2), List("fram", {Chunk("icon", IconFile(4, 0, true, false, 1)),
                                                        Chunk("icon", IconFile(4, 256, false, false, 1))})}));
    // A PNG cursor frame, the sequence after the frames, an unknown odd-sized chunk.
    save("png_seq_after.ani", Ani({Chunk("odd ", {1, 2, 3}), Anih(1, 3, 2),
                                   List("fram", {Chunk("icon", IconFile(12, 0, true, true, 1, 1, 2))}),
                                   Table("seq ", {0, 0, 0})}));
    // A 24-bit frame and a file that ends inside a chunk header.
    Bytes cut = Ani({Anih(1, 1, 1), List("fram", {Chunk("icon", IconFile(3, 0, false, false, 1))})});
    cut.insert(cut.end(), {'j', 'u', 'n'});
    save("cut_header.ani", cut);
}

void PeSeeds(const std::filesystem::path& out) {
    using pe_test::GroupData;
    std::uint32_t seed = 0;
    const auto image = [&seed](int size, std::uint32_t colors, bool png) {
        return format_test::ImageBytes(MakeIcon(size, size, colors, png, ++seed, png));
    };
    const std::uint16_t icon = 3, group = 14;
    // One group of a bitmap and a PNG image, 32-bit file.
    Save(out, "group32.exe",
         pe_test::WritePe({{icon, std::uint16_t{1}, 1033, image(8, 16, false)},
                           {icon, std::uint16_t{2}, 1033, image(6, 0, true)},
                           {group, std::uint16_t{100}, 1033, GroupData({{1}, {2}})}},
                          false));
    // A 64-bit file: a named group in two languages, icons in two languages, a numbered group
    // naming a missing icon, and a type named by a string.
    Save(out, "languages64.dll",
         pe_test::WritePe({{icon, std::uint16_t{1}, 1033, image(4, 2, false)},
                           {icon, std::uint16_t{1}, 1031, image(5, 256, false)},
                           {u"ICONS", std::uint16_t{7}, 0, GroupData({{1}})},
                           {group, u"APP\u00e9", 1031, GroupData({{1}})},
                           {group, u"APP\u00e9", 1036, GroupData({{1}, {1}})},
                           {group, std::uint16_t{5}, 0, GroupData({{9}, {1}})}},
                          true));
    // Icons without a group, and a program without resources.
    Save(out, "icons_only.dll", pe_test::WritePe({{icon, std::uint16_t{1}, 0, image(4, 16, false)}}, true));
    Save(out, "no_resources.exe", pe_test::WritePe({}, false, nullptr, false));
    // A name whose subdirectory leads back to the root.
    pe_test::Layout l;
    Bytes loop = pe_test::WritePe(
        {{icon, std::uint16_t{1}, 0, image(4, 16, false)}, {group, std::uint16_t{1}, 0, GroupData({{1}})}}, false, &l);
    StoreU32(loop.data() + l.nameEntry[1] + 4, 0x80000000u);
    Save(out, "loop.exe", loop);
}

TEST(FuzzSeeds, WriteWhenAsked) {
    const char* dir = std::getenv("TELLURINE_SEED_DIR");
    if (dir == nullptr) GTEST_SKIP() << "set TELLURINE_SEED_DIR to write the seeds";
    const std::filesystem::path out = dir;
    IcoSeeds(out / "ico_reader");
    IcnsSeeds(out / "icns_reader");
    AniSeeds(out / "ani_reader");
    PeSeeds(out / "pe_reader");
}

}  // namespace
}  // namespace tellurine
