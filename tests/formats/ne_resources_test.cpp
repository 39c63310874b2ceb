#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/ne_resources.h"
#include "formats/pe_resources.h"
#include "formats/pe_writer.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using format_test::Bytes;

// A library of three groups: a numbered icon group of a bitmap and a PNG image, a named icon
// group, and a cursor group whose image has a hotspot; the blocks are the images as written.
struct Library {
    std::vector<Bytes> blocks;
    std::vector<LibraryGroup> groups;
};

Library MakeLibrary() {
    Library lib;
    std::vector<CKvIcon> icons = {
        format_test::MakeIcon(16, 16, 16, false, 1), format_test::MakeIcon(48, 48, 0, true, 2, true),
        format_test::MakeIcon(32, 32, 256, false, 3), format_test::MakeIcon(32, 32, 2, false, 4)};
    icons[3].SetPoint(5, 9);
    for (const CKvIcon& icon : icons) lib.blocks.push_back(format_test::ImageBytes(icon));
    lib.groups.push_back({{7, ""}, format_test::IconFileOf({icons[0], icons[1]})});
    lib.groups.push_back({{std::nullopt, "Folder"}, format_test::IconFileOf({icons[2]})});
    CIconDoc pointer = format_test::DocOf({icons[3]});
    pointer.cursor = true;
    lib.groups.push_back({{3, ""}, {}});
    EXPECT_TRUE(WriteIconFile(pointer, false, lib.groups.back().iconFile));
    return lib;
}

// The names of a file's records of one type, in the order listed; a number as "#n".
std::vector<std::string> Names(const Bytes& file, std::uint16_t type) {
    std::vector<std::string> out;
    const auto records = ListResources(file, type);
    EXPECT_TRUE(records) << type;
    for (const ResourceRecord& r : records.value_or(std::vector<ResourceRecord>{}))
        out.push_back(r.name.id ? "#" + std::to_string(*r.name.id) : r.name.text);
    return out;
}

// The three library writers: a 16-bit library keeps the groups in the order given; a 32- or
// 64-bit one in the order Windows sorts a directory (names first).
struct LibraryWriter {
    const char* name;
    std::function<std::optional<Bytes>(const std::vector<LibraryGroup>&)> write;
    std::vector<std::string> groupNames;            // of the icon groups, as listed
    std::vector<std::vector<std::size_t>> blocks;  // each listed group's images (blocks), cursor last
};

class LibraryWriters : public ::testing::TestWithParam<LibraryWriter> {};
INSTANTIATE_TEST_SUITE_P(
    Kinds, LibraryWriters,
    ::testing::Values(LibraryWriter{"icl", [](const auto& g) { return WriteIconLibrary(g, "tools"); },
                                    {"#7", "FOLDER"}, {{0, 1}, {2}, {3}}},
                      LibraryWriter{"dll32", [](const auto& g) { return WriteResourceLibrary(g, false); },
                                    {"FOLDER", "#7"}, {{2}, {0, 1}, {3}}},
                      LibraryWriter{"dll64", [](const auto& g) { return WriteResourceLibrary(g, true); },
                                    {"FOLDER", "#7"}, {{2}, {0, 1}, {3}}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_P(LibraryWriters, WrittenLibraryReadsBackGroupByGroup) {
    const LibraryWriter& writer = GetParam();
    const Library lib = MakeLibrary();
    const auto file = writer.write(lib.groups);
    ASSERT_TRUE(file);
    const bool ne = std::string(writer.name) == "icl";
    EXPECT_EQ(IsNeFile(*file), ne);

    // Names upper-cased, icons and cursors numbered from 1 across the groups.
    EXPECT_EQ(Names(*file, 14), writer.groupNames);
    EXPECT_EQ(Names(*file, 3), (std::vector<std::string>{"#1", "#2", "#3"}));
    EXPECT_EQ(Names(*file, 1), std::vector<std::string>{"#1"});

    // Every image comes back byte for byte: icon groups first, then the cursor with its hotspot.
    const auto groups = ReadExeIcons(*file);
    ASSERT_TRUE(groups);
    ASSERT_EQ(groups->size(), 3u);
    for (std::size_t g = 0; g < 3; ++g) {
        SCOPED_TRACE(g);
        EXPECT_EQ((*groups)[g].cursor, g == 2);
        ASSERT_EQ((*groups)[g].group.FormatCount(), static_cast<int>(writer.blocks[g].size()));
        for (std::size_t i = 0; i < writer.blocks[g].size(); ++i)
            EXPECT_EQ(format_test::ImageBytes(*(*groups)[g].group.FormatAt(static_cast<int>(i))),
                      lib.blocks[writer.blocks[g][i]]);
    }
    EXPECT_EQ((*groups)[2].group.FormatAt(0)->PointX(), 5);
    EXPECT_EQ((*groups)[2].group.FormatAt(0)->PointY(), 9);
    const auto listed = DescribeExeIcons(*file);
    ASSERT_TRUE(listed);
    ASSERT_EQ(listed->size(), 3u);
    EXPECT_TRUE((*listed)[2].cursor);
    EXPECT_EQ((*listed)[2].hotspots.at(0).y, 9);

    // A library file is known by its headers alone; a PE one has its checksum, and its icons
    // can be set again afterwards.
    const format_test::ScratchDir dir;
    const std::filesystem::path path = dir.path() / "tools.lib";
    format_test::WriteBytes(path, *file);
    EXPECT_TRUE(LooksLikeProgramFile(path.string()));
    if (!ne) {
        const std::size_t checksum = LoadU32(file->data() + 0x3C) + 24 + 64;
        EXPECT_EQ(LoadU32(file->data() + checksum), PeChecksum(*file, checksum));
        EXPECT_EQ(LoadU16(file->data() + checksum - 64), std::string(writer.name) == "dll64" ? 0x20B : 0x10B);
        Bytes changed;
        EXPECT_EQ(SetProgramIcon(*file, lib.groups[1].iconFile, {}, changed), SetIconStatus::Ok);
    }

    // icoutils' reader lists the same resources and takes the same icon out of it.
    if (!std::filesystem::exists("/usr/bin/wrestool")) GTEST_SKIP() << "needs wrestool (icoutils)";
    const std::string out = format_test::RunCommand("wrestool -l '" + path.string() + "' 2>/dev/null");
    EXPECT_NE(out.find("--type=14 --name=7 "), std::string::npos) << out;
    EXPECT_NE(out.find("--type=14 --name='FOLDER'"), std::string::npos) << out;
    EXPECT_NE(out.find("--type=12 --name=3 "), std::string::npos) << out;
    EXPECT_NE(out.find("--type=1 --name=1 "), std::string::npos) << out;
    format_test::RunCommand("wrestool -x --type=14 --name=7 -o '" + (dir.path() / "seven.ico").string() + "' '" +
                            path.string() + "' 2>/dev/null");
    // Its .ico is ours, but for zero bytes after the last image (a 16-bit library's padding to
    // its alignment unit; wrestool adds some of its own).
    Bytes theirs = format_test::ReadBytes(dir.path() / "seven.ico");
    ASSERT_GE(theirs.size(), lib.groups[0].iconFile.size());
    EXPECT_TRUE(std::all_of(theirs.begin() + static_cast<std::ptrdiff_t>(lib.groups[0].iconFile.size()), theirs.end(),
                            [](std::uint8_t b) { return b == 0; }));
    theirs.resize(lib.groups[0].iconFile.size());
    EXPECT_EQ(theirs, lib.groups[0].iconFile);
}

TEST(IconLibrary, DamagedTablesAreReadAsFarAsTheyHold) {
    const auto good = WriteIconLibrary(MakeLibrary().groups, "tools");
    ASSERT_TRUE(good);
    const std::size_t ne = LoadU32(good->data() + 0x3C);
    const std::size_t table = ne + LoadU16(good->data() + ne + 0x24);
    const std::size_t firstRecord = table + 2 + 8;  // the first icon group's NAMEINFO

    struct Case {
        const char* what;
        std::function<void(Bytes&)> damage;
        std::optional<std::size_t> groups;  // nothing: not read at all
    };
    const std::vector<Case> cases = {
        {"not NE", [&](Bytes& b) { b[ne + 1] = 'X'; }, std::nullopt},
        {"header past the end", [&](Bytes& b) { StoreU32(b.data() + 0x3C, static_cast<std::uint32_t>(b.size())); },
         std::nullopt},
        {"table past the end", [&](Bytes& b) { StoreU16(b.data() + ne + 0x24, 0xFFF0); }, std::nullopt},
        {"absurd shift", [&](Bytes& b) { StoreU16(b.data() + table, 40); }, std::nullopt},
        {"data past the end", [&](Bytes& b) { StoreU16(b.data() + firstRecord, 0xFFFF); }, 2},
        {"name off the table", [&](Bytes& b) { StoreU16(b.data() + firstRecord + 12 + 6, 0x7FFF); }, 2},
        {"count past the end",
         [&](Bytes& b) {
             StoreU16(b.data() + table + 4, 0xFFFF);
             b.resize(firstRecord + 30);
         },
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes file = *good;
        c.damage(file);
        const auto groups = ReadExeIcons(file);
        ASSERT_EQ(groups.has_value(), c.groups.has_value());
        if (groups) {
            EXPECT_EQ(groups->size(), *c.groups);
        }
    }
    // Cut anywhere, the library reads without fault.
    for (std::size_t size = 0; size < good->size(); size += 7) {
        const Bytes cut(good->begin(), good->begin() + static_cast<std::ptrdiff_t>(size));
        (void)ReadExeIcons(cut);
    }
    // Numbered names must fit 15 bits; a library holds at most 32,767 images.
    const Bytes oneIcon = format_test::IconFileOf({format_test::MakeIcon(16, 16, 16, false, 1)});
    EXPECT_FALSE(WriteIconLibrary({LibraryGroup{{0x8000, ""}, oneIcon}}, "x"));
    EXPECT_FALSE(WriteIconLibrary({LibraryGroup{{0, ""}, oneIcon}}, "x"));
    EXPECT_FALSE(WriteIconLibrary({LibraryGroup{{1, ""}, Bytes(oneIcon.begin(), oneIcon.end() - 1)}}, "x"));
}

}  // namespace
}  // namespace tellurine
