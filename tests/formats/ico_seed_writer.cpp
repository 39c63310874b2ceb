// Writes the small seed files of the icon-file fuzz target. Runs only when asked:
//   TELLURINE_ICO_SEED_DIR=fuzz/seeds/ico_reader build/.../tests_formats --gtest_filter='IcoSeeds.*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "formats/ico_file.h"
#include "image/archive.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

CKvIcon SeedIcon(int size, std::uint32_t colors, bool alpha, bool png) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(size, size, colors, alpha), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    for (std::size_t i = l.tableOffset; i < l.pixelOffset; ++i) base[i] = i % 4 == 3 ? 0 : static_cast<std::uint8_t>(i * 37);
    for (std::size_t i = l.pixelOffset; i < l.maskOffset; ++i) base[i] = static_cast<std::uint8_t>(i % 7 == 0 ? 0 : i * 13);
    for (std::size_t i = l.maskOffset; i < l.blockSize; ++i) base[i] = static_cast<std::uint8_t>(i % 3 == 0 ? 0xF0 : 0);
    icon.SetCompressed(png);
    return icon;
}

void Save(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    ASSERT_LT(bytes.size(), 4096u) << path;
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint8_t> IconFile(std::vector<CKvIcon> icons) {
    CIconDoc doc;
    for (CKvIcon& icon : icons) doc.AddFormat(std::move(icon));
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(WriteIconFile(doc, false, out));
    return out;
}

TEST(IcoSeeds, WriteWhenAsked) {
    const char* dir = std::getenv("TELLURINE_ICO_SEED_DIR");
    if (dir == nullptr) GTEST_SKIP() << "set TELLURINE_ICO_SEED_DIR to write the seeds";
    const std::filesystem::path out(dir);
    std::filesystem::create_directories(out);

    Save(out / "mono16.ico", IconFile([] {
             std::vector<CKvIcon> v;
             v.push_back(SeedIcon(16, 2, false, false));
             return v;
         }()));
    Save(out / "mixed.ico", IconFile([] {
             std::vector<CKvIcon> v;
             v.push_back(SeedIcon(16, 16, false, false));
             v.push_back(SeedIcon(8, 0, false, false));
             v.push_back(SeedIcon(16, 0, true, true));
             return v;
         }()));
    Save(out / "pal8.ico", IconFile([] {
             std::vector<CKvIcon> v;
             v.push_back(SeedIcon(8, 256, false, false));
             return v;
         }()));
    Save(out / "alpha16.ico", IconFile([] {
             std::vector<CKvIcon> v;
             v.push_back(SeedIcon(16, 0, true, false));
             return v;
         }()));

    // A cursor whose PNG image has hotspot (3, 0): the 0 asks for 32 bits.
    std::vector<std::uint8_t> cursor = IconFile([] {
        std::vector<CKvIcon> v;
        v.push_back(SeedIcon(24, 0, true, true));
        return v;
    }());
    StoreU16(cursor.data() + 2, 2);
    StoreU16(cursor.data() + 6 + 4, 3);
    StoreU16(cursor.data() + 6 + 6, 0);
    Save(out / "png_cursor.cur", cursor);

    // Single images as the memory reader takes them: a PNG stream and a bitmap-form block.
    for (const bool png : {true, false}) {
        const CKvIcon icon = SeedIcon(12, png ? 0 : 16, png, png);
        Archive ar = Archive::ForStoring();
        std::uint32_t written = 0;
        ASSERT_EQ(icon.WriteImage(ar, written), 1);
        Save(out / (png ? "image.png" : "image.bmpicon"), ar.Bytes());
    }
}

}  // namespace
}  // namespace tellurine
