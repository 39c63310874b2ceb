// Writes the small seed files of the icon-file fuzz target. Runs only when asked:
//   TELLURINE_ICO_SEED_DIR=fuzz/seeds/ico_reader build/.../tests_formats --gtest_filter='IcoSeeds.*'
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "formats/format_test_support.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using format_test::IconFileOf;
using format_test::MakeIcon;

void Save(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    format_test::SaveSeed(path, bytes, 4096);
}

TEST(IcoSeeds, WriteWhenAsked) {
    const std::filesystem::path out = format_test::SeedDir("TELLURINE_ICO_SEED_DIR");
    if (out.empty()) GTEST_SKIP() << "set TELLURINE_ICO_SEED_DIR to write the seeds";

    Save(out / "mono16.ico", IconFileOf({MakeIcon(16, 16, 2, false, 1)}));
    Save(out / "mixed.ico",
         IconFileOf({MakeIcon(16, 16, 16, false, 2), MakeIcon(8, 8, 0, false, 3), MakeIcon(16, 16, 0, true, 4, true)}));
    Save(out / "pal8.ico", IconFileOf({MakeIcon(8, 8, 256, false, 5)}));
    Save(out / "alpha16.ico", IconFileOf({MakeIcon(16, 16, 0, true, 6)}));

    // A cursor whose PNG image has hotspot (3, 0): the 0 asks for 32 bits.
    std::vector<std::uint8_t> cursor = IconFileOf({MakeIcon(24, 24, 0, true, 7, true)});
    StoreU16(cursor.data() + 2, 2);
    StoreU16(cursor.data() + 6 + 4, 3);
    StoreU16(cursor.data() + 6 + 6, 0);
    Save(out / "png_cursor.cur", cursor);

    // Single images as the memory reader takes them: a PNG stream and a bitmap-form block.
    Save(out / "image.png", format_test::ImageBytes(MakeIcon(12, 12, 0, true, 8, true)));
    Save(out / "image.bmpicon", format_test::ImageBytes(MakeIcon(12, 12, 16, false, 9)));
}

}  // namespace
}  // namespace tellurine
