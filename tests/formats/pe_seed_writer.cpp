// Writes the small seed files of the program-resource fuzz target. Runs only when asked:
//   TELLURINE_PE_SEED_DIR=fuzz/seeds/pe_reader build/.../tests_formats --gtest_filter='PeSeeds.*'
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/pe_test_writer.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using pe_test::GroupData;

std::vector<std::uint8_t> SeedImage(int size, std::uint32_t colors, bool png) {
    static std::uint32_t seed = 0;
    return format_test::ImageBytes(format_test::MakeIcon(size, size, colors, png, ++seed, png));
}

void Save(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    format_test::SaveSeed(path, bytes, 4096);
}

TEST(PeSeeds, WriteWhenAsked) {
    const std::filesystem::path out = format_test::SeedDir("TELLURINE_PE_SEED_DIR");
    if (out.empty()) GTEST_SKIP() << "set TELLURINE_PE_SEED_DIR to write the seeds";

    // One group of a bitmap and a PNG image, 32-bit file.
    Save(out / "group32.exe",
         pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 1033, SeedImage(8, 16, false)},
                           {std::uint16_t{3}, std::uint16_t{2}, 1033, SeedImage(6, 0, true)},
                           {std::uint16_t{14}, std::uint16_t{100}, 1033, GroupData({{1}, {2}})}},
                          false));
    // A 64-bit file: a named group in two languages, icons in two languages, a numbered group
    // naming a missing icon, and a type named by a string.
    Save(out / "languages64.dll",
         pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 1033, SeedImage(4, 2, false)},
                           {std::uint16_t{3}, std::uint16_t{1}, 1031, SeedImage(5, 256, false)},
                           {u"ICONS", std::uint16_t{7}, 0, GroupData({{1}})},
                           {std::uint16_t{14}, u"APP\u00e9", 1031, GroupData({{1}})},
                           {std::uint16_t{14}, u"APP\u00e9", 1036, GroupData({{1}, {1}})},
                           {std::uint16_t{14}, std::uint16_t{5}, 0, GroupData({{9}, {1}})}},
                          true));
    // Icons without a group, and a program without resources.
    Save(out / "icons_only.dll",
         pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 0, SeedImage(4, 16, false)}}, true));
    Save(out / "no_resources.exe", pe_test::WritePe({}, false, nullptr, false));
    // A name whose subdirectory leads back to the root.
    pe_test::Layout l;
    std::vector<std::uint8_t> loop =
        pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 0, SeedImage(4, 16, false)},
                          {std::uint16_t{14}, std::uint16_t{1}, 0, GroupData({{1}})}},
                         false, &l);
    StoreU32(loop.data() + l.nameEntry[1] + 4, 0x80000000u);
    Save(out / "loop.exe", loop);
}

}  // namespace
}  // namespace tellurine
