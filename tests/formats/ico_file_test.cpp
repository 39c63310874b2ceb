#include "formats/ico_file.h"
#include "formats/icon_project.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "image/bytes.h"
#include "image/dib_block.h"

namespace tellurine {
namespace {

struct Depth {
    std::uint32_t colors;
    bool alpha;
    bool png;
    int bits;
};

// A format filled from a seed: table, colour pixels and AND mask all vary; a 32-bit format has
// alpha 0 exactly where the AND bit is set (what a PNG image reads back as).
CKvIcon MakeIcon(int w, int h, std::uint32_t colors, bool alpha, std::uint32_t seed, bool png = false) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    std::uint32_t state = seed * 2654435761u + 1;
    auto next = [&state] {
        state = state * 1103515245u + 12345u;
        return static_cast<std::uint8_t>(state >> 16);
    };
    for (std::uint32_t i = 0; i < colors * 4; ++i) base[l.tableOffset + i] = (i % 4 == 3) ? 0 : next();
    for (int row = 0; row < h; ++row) {
        std::uint8_t* c = base + l.pixelOffset + l.colorStride * static_cast<std::size_t>(row);
        std::uint8_t* m = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(row);
        for (int x = 0; x < w; ++x) {
            const bool clear = next() % 5 == 0;
            if (clear) WriteIndex(m, x, 1, 1);
            if (l.bits <= 8) {
                WriteIndex(c, x, l.bits, next());
            } else {
                const int bytes = l.bits / 8;
                for (int k = 0; k < 3; ++k) c[x * bytes + k] = next();
                if (bytes == 4) c[x * 4 + 3] = clear ? 0 : static_cast<std::uint8_t>(next() | 1);
            }
        }
    }
    icon.SetCompressed(png);
    return icon;
}

std::vector<std::uint8_t> Write(CIconDoc& doc, bool explorer = false) {
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(WriteIconFile(doc, explorer, out));
    return out;
}

std::vector<std::uint8_t> BlockBytes(const CKvIcon& icon) {
    return {icon.GetBlock().data(), icon.GetBlock().data() + icon.GetBlock().size()};
}

const std::uint8_t* Entry(const std::vector<std::uint8_t>& file, int i) { return file.data() + 6 + 16 * i; }

// A doc of two formats, a bitmap one and a PNG one, whose last image ends at the end of the file.
std::vector<std::uint8_t> TwoFormatFile() {
    CIconDoc doc;
    doc.AddFormat(MakeIcon(16, 16, 16, false, 1));
    doc.AddFormat(MakeIcon(32, 32, 0, true, 2, true));
    return Write(doc);
}

// --- Round trips ---------------------------------------------------------------------------

struct RoundTrip {
    Depth depth;
    int width, height;
};
class IcoRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(IcoRoundTrip, WritesTheDirectoryAndReadsTheSameImageBack) {
    const auto [d, w, h] = GetParam();
    CIconDoc doc;
    doc.AddFormat(MakeIcon(w, h, d.colors, d.alpha, 7, d.png));
    const std::vector<std::uint8_t> file = Write(doc);

    ASSERT_GE(file.size(), 22u);
    EXPECT_EQ(LoadU16(file.data()), 0);
    EXPECT_EQ(LoadU16(file.data() + 2), 1);
    EXPECT_EQ(LoadU16(file.data() + 4), 1);
    const std::uint8_t* e = Entry(file, 0);
    EXPECT_EQ(e[0], w & 0xFF);  // 256 -> 0
    EXPECT_EQ(e[1], h & 0xFF);
    EXPECT_EQ(e[2], d.colors & 0xFF);
    EXPECT_EQ(e[3], 0);
    EXPECT_EQ(LoadU16(e + 4), 1);
    EXPECT_EQ(LoadU16(e + 6), d.bits);
    EXPECT_EQ(LoadU32(e + 8), file.size() - 22);
    EXPECT_EQ(LoadU32(e + 12), 22u);
    EXPECT_EQ(LoadU32(file.data() + 22), d.png ? kPngSignature : kInfoHeaderSize);

    CIconDoc back;
    IconFileType type = IconFileType::Cursor;
    ASSERT_TRUE(ReadIconFile(file, back, &type));
    EXPECT_EQ(type, IconFileType::Icon);
    ASSERT_EQ(back.GetFormatCount(), 1);
    const CIconObject& f = *back.GetFormat(0);
    EXPECT_EQ(f.Width(), w);
    EXPECT_EQ(f.Height(), h);
    EXPECT_EQ(f.BitCount(), d.bits);
    EXPECT_EQ(f.ColorCount(), d.colors);
    EXPECT_EQ(f.HasAlpha(), d.alpha);
    EXPECT_EQ(f.Icon().IsCompressed(), d.png);
    EXPECT_EQ(BlockBytes(f.Icon()), BlockBytes(doc.GetFormat(0)->Icon()));
}

std::vector<RoundTrip> RoundTrips() {
    const Depth depths[] = {{2, false, false, 1}, {16, false, false, 4}, {256, false, false, 8},
                            {0, false, false, 24}, {0, true, false, 32}, {0, true, true, 32}};
    const std::pair<int, int> sizes[] = {{16, 16}, {24, 32}, {48, 48}, {256, 256}};
    std::vector<RoundTrip> v;
    for (const Depth& d : depths)
        for (const auto& [w, h] : sizes) v.push_back({d, w, h});
    return v;
}

INSTANTIATE_TEST_SUITE_P(DepthsAndSizes, IcoRoundTrip, ::testing::ValuesIn(RoundTrips()),
                         [](const auto& p) {
                             const RoundTrip& r = p.param;
                             return std::to_string(r.depth.bits) + (r.depth.png ? "png_" : "bit_") +
                                    std::to_string(r.width) + "x" + std::to_string(r.height);
                         });

TEST(IcoWrite, ImagesFollowEachOtherInSortedOrder) {
    CIconDoc doc;
    doc.AddFormat(MakeIcon(32, 32, 0, true, 1, true));
    doc.AddFormat(MakeIcon(16, 16, 2, false, 2));
    doc.AddFormat(MakeIcon(48, 48, 256, false, 3));
    doc.AddFormat(MakeIcon(16, 16, 0, false, 4));
    const std::vector<std::uint8_t> file = Write(doc);
    ASSERT_EQ(LoadU16(file.data() + 4), 4);
    const int bits[] = {1, 8, 24, 32};
    std::uint32_t offset = 6 + 4 * 16;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(LoadU16(Entry(file, i) + 6), bits[i]);
        EXPECT_EQ(LoadU32(Entry(file, i) + 12), offset);
        EXPECT_EQ(LoadU32(Entry(file, i) + 8), i < 3 ? doc.GetFormat(i)->Icon().BlockSize() : file.size() - offset);
        offset += LoadU32(Entry(file, i) + 8);
    }
    EXPECT_EQ(offset, file.size());

    // The explorer-compatible order puts the 32-bit format last and the rest by width.
    const std::vector<std::uint8_t> explorer = Write(doc, true);
    EXPECT_EQ(Entry(explorer, 0)[0], 16);
    EXPECT_EQ(LoadU16(Entry(explorer, 0) + 6), 1);
    EXPECT_EQ(LoadU16(Entry(explorer, 1) + 6), 24);
    EXPECT_EQ(Entry(explorer, 2)[0], 48);
    EXPECT_EQ(LoadU16(Entry(explorer, 3) + 6), 32);
}

TEST(IcoWrite, SavingTwiceGivesTheSameBytesAndEqualFormatsKeepTheirOrder) {
    CIconDoc doc;
    doc.AddFormat(MakeIcon(32, 32, 256, false, 10));
    doc.AddFormat(MakeIcon(16, 16, 0, true, 11, true));
    doc.AddFormat(MakeIcon(32, 32, 256, false, 12));  // compares equal to the first
    const CKvIcon first = doc.GetFormat(0)->Icon();
    const std::vector<std::uint8_t> once = Write(doc);
    EXPECT_EQ(Write(doc), once);

    CIconDoc back;
    ASSERT_TRUE(ReadIconFile(once, back));
    ASSERT_EQ(back.GetFormatCount(), 3);
    EXPECT_EQ(BlockBytes(back.GetFormat(0)->Icon()), BlockBytes(first));
    EXPECT_EQ(Write(back), once);
}

TEST(IcoWrite, RefusesWhatCouldNotBeReadBack) {
    std::vector<std::uint8_t> out{1, 2, 3};
    CIconDoc empty;
    EXPECT_FALSE(WriteIconFile(empty, false, out));
    EXPECT_TRUE(out.empty());

    CIconDoc doc;
    doc.AddFormat(MakeIcon(16, 16, 16, false, 1));
    doc.AddFormat(CKvIcon());  // a format without an image
    EXPECT_FALSE(WriteIconFile(doc, false, out));
    EXPECT_TRUE(out.empty());
}

// --- Reading what others write -------------------------------------------------------------

TEST(IcoRead, CursorLoadsAndSavesAsAnIcon) {
    CIconDoc doc;
    doc.AddFormat(MakeIcon(32, 32, 2, false, 3));
    doc.AddFormat(MakeIcon(32, 32, 0, true, 4, true));
    std::vector<std::uint8_t> file = Write(doc);
    StoreU16(file.data() + 2, 2);
    StoreU16(file.data() + 6 + 4, 9);   // hotspot x
    StoreU16(file.data() + 6 + 6, 13);  // hotspot y of the bitmap image: not a depth, not used
    StoreU16(file.data() + 22 + 4, 9);
    StoreU16(file.data() + 22 + 6, 0);  // hotspot y 0 of the PNG image: decoded at 32 bits

    CIconDoc cursor;
    IconFileType type = IconFileType::Icon;
    ASSERT_TRUE(ReadIconFile(file, cursor, &type));
    EXPECT_EQ(type, IconFileType::Cursor);
    ASSERT_EQ(cursor.GetFormatCount(), 2);
    EXPECT_EQ(cursor.GetFormat(0)->BitCount(), 1);
    EXPECT_EQ(cursor.GetFormat(1)->BitCount(), 32);
    EXPECT_TRUE(cursor.GetFormat(1)->HasAlpha());
    EXPECT_TRUE(cursor.cursor);
    EXPECT_EQ(cursor.GetFormat(0)->Icon().PointX(), 9);
    EXPECT_EQ(cursor.GetFormat(0)->Icon().PointY(), 13);

    // Saved as a cursor: type 2, the hotspots in the directory, the PNG image in bitmap form so
    // that its hotspot's y is never taken for a depth; it reads back the same.
    cursor.GetFormat(1)->Icon().SetPoint(31, 40);  // y outside the image: written as 0
    const std::vector<std::uint8_t> saved = Write(cursor);
    EXPECT_EQ(LoadU16(saved.data() + 2), 2);
    CIconDoc again;
    ASSERT_TRUE(ReadIconFile(saved, again));
    ASSERT_EQ(again.GetFormatCount(), 2);
    EXPECT_TRUE(again.cursor);
    for (int i = 0; i < 2; ++i) {
        const CKvIcon& before = cursor.GetFormat(i)->Icon();
        const CKvIcon& after = again.GetFormat(i)->Icon();
        EXPECT_FALSE(after.IsCompressed()) << i;
        EXPECT_EQ(after.BitsPerPixel(), before.BitsPerPixel()) << i;
        EXPECT_EQ(after.PointX(), before.PointX()) << i;
        EXPECT_EQ(after.PointY(), i == 0 ? 13 : 0) << i;
        EXPECT_TRUE(std::ranges::equal(after.GetBlock().bytes(), before.GetBlock().bytes())) << i;
    }

    cursor.cursor = false;
    EXPECT_EQ(Write(cursor), Write(doc));  // as an icon: type 1, planes 1, the real bit counts

    // The hotspot's y goes to the decoder as the depth, whatever it means in a cursor.
    StoreU16(file.data() + 22 + 6, 24);
    ASSERT_TRUE(ReadIconFile(file, cursor));
    EXPECT_EQ(cursor.GetFormat(1)->BitCount(), 24);
}

TEST(IcoRead, BitmapImagesTakeTheirSizeFromTheirOwnHeader) {
    std::vector<std::uint8_t> file = TwoFormatFile();
    // The directory's sizes, colour count and bit count of the bitmap image are all wrong.
    std::uint8_t* e = file.data() + 6;
    e[0] = 99;
    e[1] = 1;
    e[2] = 3;
    StoreU16(e + 6, 8);
    for (const std::uint32_t bytes : {0u, 1u, 0xFFFFFFFFu}) {
        StoreU32(e + 8, bytes);
        CIconDoc doc;
        ASSERT_TRUE(ReadIconFile(file, doc)) << bytes;
        EXPECT_EQ(doc.GetFormat(0)->Width(), 16);
        EXPECT_EQ(doc.GetFormat(0)->BitCount(), 4);
    }
}

// --- Hostile input ---------------------------------------------------------------------------

struct Damage {
    const char* name;
    void (*apply)(std::vector<std::uint8_t>&);
};

const Damage kDamages[] = {
    {"empty", [](auto& f) { f.clear(); }},
    {"header only", [](auto& f) { f.resize(6); }},
    {"type 3", [](auto& f) { StoreU16(f.data() + 2, 3); }},
    {"type 0", [](auto& f) { StoreU16(f.data() + 2, 0); }},
    {"count 0", [](auto& f) { StoreU16(f.data() + 4, 0); }},
    {"directory past the end", [](auto& f) { StoreU16(f.data() + 4, 0xFFFF); }},
    {"offset at the end", [](auto& f) { StoreU32(f.data() + 6 + 12, static_cast<std::uint32_t>(f.size())); }},
    {"offset far past the end", [](auto& f) { StoreU32(f.data() + 6 + 12, 0xFFFFFFFF); }},
    {"offset into the directory", [](auto& f) { StoreU32(f.data() + 6 + 12, 6); }},
    {"PNG byte count 0", [](auto& f) { StoreU32(f.data() + 22 + 8, 0); }},
    {"PNG byte count past the end", [](auto& f) { StoreU32(f.data() + 22 + 8, LoadU32(f.data() + 22 + 8) + 1); }},
    {"PNG byte count huge", [](auto& f) { StoreU32(f.data() + 22 + 8, 0xFFFFFFFF); }},
    {"PNG cut short", [](auto& f) { StoreU32(f.data() + 22 + 8, LoadU32(f.data() + 22 + 8) - 12); }},
    {"PNG data damaged", [](auto& f) { f[f.size() - 40] ^= 0x5A; }},
    {"PNG depth 5", [](auto& f) { StoreU16(f.data() + 22 + 6, 5); }},
    {"core header", [](auto& f) { StoreU32(f.data() + 38, 12); }},
    {"absurd width", [](auto& f) { StoreU32(f.data() + 38 + 4, 0x7FFFFFFF); }},
    {"absurd height", [](auto& f) { StoreU32(f.data() + 38 + 8, 0x40000000); }},
    {"negative height", [](auto& f) { StoreU32(f.data() + 38 + 8, static_cast<std::uint32_t>(-32)); }},
    {"large but in limits", [](auto& f) { StoreU32(f.data() + 38 + 4, 4000); }},
    {"absurd colour count", [](auto& f) { StoreU32(f.data() + 38 + 32, 0xFFFFFFFF); }},
};

class IcoHostile : public ::testing::TestWithParam<Damage> {};

TEST_P(IcoHostile, FailsAndLeavesTheDocumentEmpty) {
    std::vector<std::uint8_t> file = TwoFormatFile();
    ASSERT_EQ(LoadU32(file.data() + 6 + 12), 38u);  // the bitmap image comes first
    GetParam().apply(file);
    CIconDoc doc;
    doc.AddFormat(MakeIcon(16, 16, 2, false, 1));
    EXPECT_FALSE(ReadIconFile(file, doc));
    EXPECT_EQ(doc.GetFormatCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Damages, IcoHostile, ::testing::ValuesIn(kDamages), [](const auto& p) {
    std::string name = p.param.name;
    for (char& c : name)
        if (c == ' ') c = '_';
    return name;
});

// Every cut fails, except one inside the AND mask of a last image in bitmap form: icons whose
// last image has unpadded or no mask rows are common, and load with the missing bits opaque.
TEST(IcoHostileSweep, EveryTruncationFailsButInTheLastMask) {
    for (const bool pngLast : {false, true}) {
        CIconDoc source;
        source.AddFormat(MakeIcon(16, 16, 0, true, 1, !pngLast));
        source.AddFormat(MakeIcon(16, 16, 0, true, 2, pngLast));  // equal formats keep their order
        const std::vector<std::uint8_t> file = Write(source);
        const std::size_t maskStart = pngLast ? file.size() : file.size() - 16 * 4;
        for (std::size_t size = 0; size < file.size(); ++size) {
            CIconDoc doc;
            const bool read = ReadIconFile(std::span(file.data(), size), doc);
            ASSERT_EQ(read, size >= maskStart) << size;
            ASSERT_EQ(doc.GetFormatCount(), read ? 2 : 0);
            if (read) {
                const CKvIcon& last = doc.GetFormat(1)->Icon();
                IconImageLayout l;
                ASSERT_TRUE(last.GetLayout(l));
                EXPECT_EQ(last.GetBlock().data()[last.GetBlock().size() - 1], 0) << size;
            }
        }
    }
}

// --- Files -----------------------------------------------------------------------------------

class IcoFiles : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("tellurine_ico_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::filesystem::path dir_;
};

TEST_F(IcoFiles, SaveThenLoad) {
    CIconDoc doc;
    doc.AddFormat(MakeIcon(48, 48, 0, true, 5));
    doc.AddFormat(MakeIcon(256, 256, 0, true, 6, true));
    const std::string path = (dir_ / "a.ico").string();
    std::string error;
    ASSERT_TRUE(SaveIconProject(path, doc, false, error)) << error;
    CIconDoc back;
    back.macintosh = true;
    ASSERT_TRUE(LoadIconFile(path, back, error)) << error;
    EXPECT_FALSE(back.macintosh);
    ASSERT_EQ(back.GetFormatCount(), 2);
    EXPECT_EQ(back.GetFormat(0)->Width(), 256);  // saving sorted the project: largest first
    EXPECT_TRUE(back.GetFormat(0)->Icon().IsCompressed());
    for (int i = 0; i < 2; ++i) EXPECT_EQ(BlockBytes(back.GetFormat(i)->Icon()), BlockBytes(doc.GetFormat(i)->Icon()));
}

TEST_F(IcoFiles, FailuresLeaveFilesAndDocumentsClean) {
    const std::string path = (dir_ / "keep.ico").string();
    const std::vector<std::uint8_t> old = TwoFormatFile();
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(old.data()), static_cast<std::streamsize>(old.size()));

    CIconDoc empty;
    std::string error;
    EXPECT_FALSE(SaveIconProject(path, empty, false, error));
    EXPECT_FALSE(error.empty());
    CIconDoc doc;
    ASSERT_TRUE(LoadIconFile(path, doc, error));
    EXPECT_EQ(doc.GetFormatCount(), 2);  // the old file is intact

    const std::string junk = (dir_ / "junk.ico").string();
    std::ofstream(junk, std::ios::binary) << "not an icon at all";
    error.clear();
    EXPECT_FALSE(LoadIconFile(junk, doc, error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(doc.GetFormatCount(), 0);
    doc.AddFormat(MakeIcon(16, 16, 2, false, 1));
    EXPECT_FALSE(LoadIconFile((dir_ / "missing.ico").string(), doc, error));
    EXPECT_EQ(doc.GetFormatCount(), 0);
}

}  // namespace
}  // namespace tellurine
