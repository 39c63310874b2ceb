#include "formats/pe_resources.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/pe_test_writer.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using pe_test::GroupData;
using pe_test::Resource;

// One image in the form an icon resource holds it: bitmap form, or PNG for `png`.
std::vector<std::uint8_t> Image(int size, std::uint32_t colors, bool png = false) {
    return format_test::ImageBytes(format_test::MakeIcon(size, size, colors, png, 1, png));
}

constexpr std::uint16_t kIcon = 3, kGroup = 14;
const std::u16string kMainName = u"MAIN_\u00e9\U0001F600";  // é and a character outside the BMP
const std::string kMainUtf8 = "MAIN_\xC3\xA9\xF0\x9F\x98\x80";
const std::u16string kAlphaName = std::u16string(u"alpha") + char16_t{0xD800};  // a lone surrogate
const std::string kAlphaUtf8 = "alpha\xEF\xBF\xBD";

// Icons 1 (English 16 px, German 32 px), 2 (neutral 24 px), 3 (PNG 48 px), 4 (not an image);
// a type named by a string that holds group data; then the groups, named ones first and the
// numbered ones out of numeric order, as a file may store them.
std::vector<Resource> Program() {
    std::vector<Resource> r;
    r.push_back({kIcon, std::uint16_t{1}, 1033, Image(16, 16)});
    r.push_back({kIcon, std::uint16_t{1}, 1031, Image(32, 16)});
    r.push_back({kIcon, std::uint16_t{2}, 0, Image(24, 256)});
    r.push_back({kIcon, std::uint16_t{3}, 1033, Image(48, 0, true)});
    r.push_back({kIcon, std::uint16_t{4}, 1033, std::vector<std::uint8_t>(64, 0x5A)});
    r.push_back({u"ICONS", std::uint16_t{1}, 1033, GroupData({{1}})});
    r.push_back({kGroup, kMainName, 1033, GroupData({{1}, {2}, {3}})});
    r.push_back({kGroup, kMainName, 1031, GroupData({{1}, {2}})});
    r.push_back({kGroup, kAlphaName, 1036, GroupData({{1}, {99}, {4}, {2}})});
    r.push_back({kGroup, std::uint16_t{200}, 1033, GroupData({})});
    std::vector<std::uint8_t> shortGroup = GroupData({{2}, {3}});
    StoreU16(shortGroup.data() + 4, 3);  // says 3, holds 2
    r.push_back({kGroup, std::uint16_t{100}, 1033, shortGroup});
    r.push_back({kGroup, std::uint16_t{150}, 1033, GroupData({{98}, {99}})});
    return r;
}

std::string Describe(const std::vector<ResourceRecord>& records) {
    std::string out;
    for (const ResourceRecord& r : records) out += r.name.Display() + "/" + std::to_string(r.language) + " ";
    return out;
}

std::string Sizes(const CIconGroup& group) {
    std::string out;
    for (int i = 0; i < group.FormatCount(); ++i) out += std::to_string(group.FormatAt(i)->Width()) + " ";
    return out;
}

// Each group as "name/language: sizes".
std::string Describe(const std::vector<ExeIconGroup>& groups) {
    std::string out;
    for (const ExeIconGroup& g : groups)
        out += g.name.Display() + "/" + std::to_string(g.language) + ": " + Sizes(g.group) + "; ";
    return out;
}

// The tests that run on a PE32 and on a PE32+ file of the same resources.
class PeProgram : public ::testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Widths, PeProgram, ::testing::Bool(),
                         [](const auto& p) { return std::string(p.param ? "PE32plus" : "PE32"); });

// Records in directory order with every language; groups with their languages' icons.
TEST_P(PeProgram, ListsRecordsAndReadsGroups) {
    const std::vector<Resource> resources = Program();
    const std::vector<std::uint8_t> file = pe_test::WritePe(resources, GetParam());

    const auto groups = ListResources(file, kGroup);
    ASSERT_TRUE(groups);
    ASSERT_EQ(groups->size(), 6u);
    EXPECT_EQ(Describe(*groups), kMainUtf8 + "/1033 " + kMainUtf8 + "/1031 " + kAlphaUtf8 +
                                     "/1036 200/1033 100/1033 150/1033 ");
    EXPECT_FALSE((*groups)[0].name.id);
    EXPECT_EQ((*groups)[3].name.id, std::uint16_t{200});
    // The data is the file's own bytes of that record.
    EXPECT_TRUE(std::equal((*groups)[1].data.begin(), (*groups)[1].data.end(), resources[7].data.begin(),
                           resources[7].data.end()));
    EXPECT_GE((*groups)[1].data.data(), file.data());

    const auto icons = ListResources(file, kIcon);
    ASSERT_TRUE(icons);
    EXPECT_EQ(Describe(*icons), "1/1033 1/1031 2/0 3/1033 4/1033 ");
    const auto none = ListResources(file, 1);
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->empty());

    // Group 200 (count 0) and group 150 (every icon missing) are not listed. Icon 1 in the group's
    // own language, or in French, which icon 1 lacks, the first record; missing (99) and unreadable
    // (4) icons are skipped, the rest kept in entry order; of data shorter than its count (100), the
    // entries present.
    const auto read = ReadExeIcons(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(Describe(*read), kMainUtf8 + "/1033: 16 24 48 ; " + kMainUtf8 + "/1031: 32 24 ; " + kAlphaUtf8 +
                                   "/1036: 16 24 ; 100/1033: 24 48 ; ");
    const ExeIconGroup& english = (*read)[0];
    EXPECT_FALSE(english.name.id);
    EXPECT_EQ(english.group.name, kMainUtf8);
    EXPECT_EQ((*read)[3].name.id, std::uint16_t{100});
    const CKvIcon* png = english.group.FormatAt(2);
    EXPECT_EQ(std::tuple(png->IsCompressed(), png->BitsPerPixel()), std::tuple(true, 32));
    EXPECT_EQ(english.group.FormatAt(1)->ColorCount(), 256u);
}

TEST(PeResources, ProgramsWithoutGroups) {
    // Icons without a group list no icons; a file without a resource directory has none.
    const std::vector<std::uint8_t> iconsOnly =
        pe_test::WritePe({{kIcon, std::uint16_t{1}, 0, Image(16, 16)}}, true);
    const auto groups = ReadExeIcons(iconsOnly);
    ASSERT_TRUE(groups);
    EXPECT_TRUE(groups->empty());
    EXPECT_EQ(ListResources(iconsOnly, kIcon)->size(), 1u);

    const std::vector<std::uint8_t> bare = pe_test::WritePe(Program(), false, nullptr, false);
    ASSERT_TRUE(ListResources(bare, kGroup));
    EXPECT_TRUE(ListResources(bare, kGroup)->empty());
    CFileExeDoc doc;
    EXPECT_TRUE(doc.Read(bare));
    EXPECT_TRUE(doc.Groups().empty());

    // Load goes through the file.
    const format_test::ScratchDir dir;
    const std::filesystem::path path = dir / "program.dll";
    format_test::WriteBytes(path, pe_test::WritePe(Program(), true));
    std::string error;
    EXPECT_TRUE(doc.Load(path.string(), error)) << error;
    EXPECT_EQ(doc.Groups().size(), 4u);
    std::filesystem::remove(path);
    EXPECT_FALSE(doc.Load(path.string(), error));
    EXPECT_TRUE(doc.Groups().empty());
}

TEST(PeResources, RefusesWhatIsNotAProgram) {
    pe_test::Layout l;
    const std::vector<std::uint8_t> good = pe_test::WritePe(Program(), false, &l);
    const std::size_t pe = LoadU32(good.data() + 0x3C);
    const std::uint32_t rsrcSize = LoadU32(good.data() + l.rsrcSectionHeader + 8);
    auto refused = [](const std::vector<std::uint8_t>& bytes) {
        CFileExeDoc doc;
        return !ListResources(bytes, kGroup) && !ReadExeIcons(bytes) && !doc.Read(bytes) &&
               doc.Groups().empty();
    };
    // The program's window judges a file by its headers alone, read from the disk.
    const format_test::ScratchDir dir;
    const std::string path = (dir / "program").string();
    auto headersPass = [&path](const std::vector<std::uint8_t>& bytes) {
        format_test::WriteBytes(path, bytes);
        return LooksLikeProgramFile(path);
    };
    EXPECT_TRUE(headersPass(good));
    EXPECT_TRUE(refused({}));
    EXPECT_TRUE(refused(Image(16, 16)));
    EXPECT_TRUE(refused(std::vector<std::uint8_t>(good.begin(), good.begin() + 0x90)));  // headers cut short

    struct Damage {
        const char* what;
        std::size_t at;
        std::uint32_t value;
    };
    for (const Damage& d :
         {Damage{"no MZ", 0, 0x905A4C}, Damage{"e_lfanew past the end", 0x3C, 0xFFFFFFF0u},
          Damage{"no PE signature", pe, 0x00004551}, Damage{"ROM optional header", l.optionalHeader, 0x107},
          Damage{"optional header past the end", pe + 20, 0xFFFF},
          Damage{"root in no section", l.resourceDirectory, 0x90000},
          Damage{"root in zero-filled memory", l.rsrcSectionHeader + 16, 0},
          Damage{"root at the section's last byte", l.resourceDirectory, pe_test::kRsrcRva + rsrcSize - 1},
          Damage{"group directory outside", l.typeEntry[6] + 4, 0x8000FFF0u}}) {
        SCOPED_TRACE(d.what);
        std::vector<std::uint8_t> bad = good;
        if (d.at == pe + 20)
            StoreU16(bad.data() + d.at, static_cast<std::uint16_t>(d.value));
        else
            StoreU32(bad.data() + d.at, d.value);
        if (d.at == l.rsrcSectionHeader + 16)
            StoreU32(bad.data() + d.at - 8, 0x10000);  // raw 0, memory 64 KiB
        EXPECT_TRUE(refused(bad));
        if (d.at <= pe + 20 || d.at == l.optionalHeader) {
            EXPECT_FALSE(headersPass(bad));
        }
    }
    std::filesystem::remove(path);
    EXPECT_FALSE(LooksLikeProgramFile(path));
}

TEST(PeResources, SkipsDamagedRecordsAndSurvivesLoops) {
    pe_test::Layout l;
    const std::vector<std::uint8_t> good = pe_test::WritePe(Program(), true, &l);
    auto icons = [](const std::vector<std::uint8_t>& bytes) {
        const auto list = ListResources(bytes, kIcon);
        return list ? Describe(*list) : std::string("nothing");
    };
    auto patch = [&](std::size_t at, std::uint32_t value) {
        std::vector<std::uint8_t> bad = good;
        StoreU32(bad.data() + at, value);
        return bad;
    };
    // Icon 1 has two languages (records 0, 1), icon 2 is record 2: damage to icon 2's records skips
    // icon 2, to icon 1's name skips icon 1, and to the type skips every icon.
    const std::string withoutIcon2 = "1/1033 1/1031 3/1033 4/1033 ", withoutIcon1 = "2/0 3/1033 4/1033 ";
    const std::uint32_t root = 0x80000000u;
    const std::uint32_t nameDirectory = root | static_cast<std::uint32_t>(l.nameDirectory[0] - pe_test::kRsrcRaw);
    struct Damage {
        const char* what;
        std::size_t at;
        std::uint32_t value;
        std::string icons;
    };
    const Damage damages[] = {
        {"RVA in no section", l.dataEntry[2], 0xFFFFFFF0u, withoutIcon2},
        {"RVA + size past the section and past 2^32", l.dataEntry[2] + 4, 0xFFFFFFFFu, withoutIcon2},
        {"data entry outside", l.languageEntry[2] + 4, 0x7FFFFFF0u, withoutIcon2},
        {"directory for data", l.languageEntry[2] + 4, root, withoutIcon2},
        {"name leads back to the root", l.nameEntry[0] + 4, root, withoutIcon1},
        {"name leads back to its own directory", l.nameEntry[0] + 4, nameDirectory, withoutIcon1},
        {"name points at data", l.nameEntry[0] + 4, 0x10, withoutIcon1},
        {"type leads back to the root", l.typeEntry[0] + 4, root, ""},
        {"type points at data", l.typeEntry[0] + 4, 0x10, ""},
    };
    for (const Damage& d : damages)
        EXPECT_EQ(icons(patch(d.at, d.value)), d.icons) << d.what;

    // A string name off the section: that name only.
    const auto groups = ListResources(patch(l.nameEntry[8], 0x8000FFF0u), kGroup);
    ASSERT_TRUE(groups);
    EXPECT_EQ(groups->size(), 5u);

    // Counts far beyond the bytes present: only whole entries are read, the rest is bounded.
    std::vector<std::uint8_t> counts = good;
    StoreU32(counts.data() + l.languageDirectory[0] + 12, 0xFFFFFFFFu);
    StoreU32(counts.data() + pe_test::kRsrcRaw + 12, 0xFFFFFFFFu);
    EXPECT_NE(icons(counts), "nothing");

    // Data past the section's raw data is not in the file: the section's raw size shrunk below
    // the last record's data skips that record only.
    const std::vector<std::uint8_t> cut =
        patch(l.rsrcSectionHeader + 16, static_cast<std::uint32_t>(l.data[11] - pe_test::kRsrcRaw));
    EXPECT_EQ(Describe(*ListResources(cut, kGroup)),
              kMainUtf8 + "/1033 " + kMainUtf8 + "/1031 " + kAlphaUtf8 + "/1036 200/1033 100/1033 ");
    // A file cut short inside the section keeps what is present.
    const std::vector<std::uint8_t> truncated(good.begin(),
                                              good.begin() + static_cast<std::ptrdiff_t>(l.data[1]));
    EXPECT_EQ(icons(truncated), "1/1033 ");
}

TEST(PeResources, BoundsImageReadsPerFile) {
    // Two groups whose entries all name one icon: reading stops after kMaxExeImageReads images.
    const std::vector<std::uint16_t> entries(40000, 7);
    const std::vector<std::uint8_t> file =
        pe_test::WritePe({{kIcon, std::uint16_t{7}, 0, Image(1, 2)},
                          {kGroup, std::uint16_t{1}, 0, GroupData(entries)},
                          {kGroup, std::uint16_t{2}, 0, GroupData(entries)}},
                         false);
    const auto groups = ReadExeIcons(file);
    ASSERT_TRUE(groups);
    ASSERT_EQ(groups->size(), 2u);
    EXPECT_EQ((*groups)[0].group.FormatCount(), 40000);
    EXPECT_EQ((*groups)[1].group.FormatCount(), static_cast<int>(kMaxExeImageReads) - 40000);
}

// What DescribeExeIcons lists against what ReadExeIcons reads: the same groups, names, languages
// and formats, the images that cannot be read (a PNG stream whose data is damaged behind a right
// CRC, a bitmap cut inside its pixels, data that is no image) left out of both. A cursor group
// comes after the icon groups, its cursor's hotspot taken from the first four bytes of its data.
TEST_P(PeProgram, DescribesWhatReadingGives) {
    std::vector<std::uint8_t> badPng = Image(32, 0, true);
    badPng.resize(badPng.size() - 12);  // no IEND
    std::vector<std::uint8_t> cutBitmap = Image(32, 16);
    cutBitmap.resize(40 + 64 + 100);
    std::vector<Resource> resources = Program();
    resources.push_back({kIcon, std::uint16_t{20}, 0, badPng});
    resources.push_back({kIcon, std::uint16_t{21}, 0, cutBitmap});
    resources.push_back({kGroup, std::uint16_t{300}, 0, GroupData({{20}, {3}, {21}, {1}})});
    resources.push_back({kGroup, std::uint16_t{301}, 0, GroupData({{20}, {21}})});
    std::vector<std::uint8_t> cursor = {3, 0, 4, 0};  // hotspot (3, 4), then the image
    const std::vector<std::uint8_t> arrow = Image(32, 2);
    cursor.insert(cursor.end(), arrow.begin(), arrow.end());
    std::vector<std::uint8_t> cursorGroup = GroupData({{5}});
    StoreU16(cursorGroup.data() + 2, 2);  // a cursor group
    resources.push_back({std::uint16_t{1}, std::uint16_t{5}, 1033, cursor});
    resources.push_back({std::uint16_t{12}, std::u16string(u"ARROW"), 1033, cursorGroup});
    const std::vector<std::uint8_t> file = pe_test::WritePe(resources, GetParam());
    const auto read = ReadExeIcons(file);
    const auto listed = DescribeExeIcons(file);
    ASSERT_TRUE(read && listed);
    ASSERT_EQ(listed->size(), 6u);
    ASSERT_EQ(listed->size(), read->size());
    for (std::size_t g = 0; g < read->size(); ++g) {
        const ExeIconGroup& r = (*read)[g];
        const ExeIconGroupListing& l = (*listed)[g];
        EXPECT_EQ(std::tuple(l.name.Display(), l.name.id, l.language, l.cursor),
                  std::tuple(r.name.Display(), r.name.id, r.language, r.cursor));
        ASSERT_EQ(l.formats.size(), static_cast<std::size_t>(r.group.FormatCount()));
        ASSERT_EQ(l.images.size(), l.formats.size());
        for (std::size_t i = 0; i < l.formats.size(); ++i)
            EXPECT_EQ(l.formats[i], format_test::StoredFormatOf(*r.group.FormatAt(static_cast<int>(i)))) << i;
    }
    EXPECT_EQ(Sizes((*read)[4].group), "48 16 ");
    const ExeIconGroup& pointer = (*read)[5];
    EXPECT_EQ(std::tuple(pointer.cursor, pointer.name.Display()), std::tuple(true, "ARROW"));
    ASSERT_EQ(pointer.group.FormatCount(), 1);
    EXPECT_EQ(pointer.group.FormatAt(0)->PointX(), 3);
    EXPECT_EQ(pointer.group.FormatAt(0)->PointY(), 4);
    EXPECT_EQ(format_test::ImageBytes(*pointer.group.FormatAt(0)), arrow);
    EXPECT_FALSE(DescribeExeIcons(Image(16, 16)));
}

// Programs from the wine packages, when installed, against icoutils' wrestool: the same group
// and icon records (names, languages, sizes, in order), and for each group the image sizes of
// the icon file wrestool extracts from it.
struct WrestoolRecord {
    std::string name;
    int language;
    std::size_t size;
};

// Lines of `wrestool -l`: --type=T --name=N|'TEXT' --language=L [... size=S]
std::vector<WrestoolRecord> WrestoolList(const std::string& path, int type) {
    std::vector<WrestoolRecord> out;
    std::istringstream text(
        format_test::RunCommand("wrestool -l -t " + std::to_string(type) + " '" + path + "' 2>/dev/null"));
    for (std::string line; std::getline(text, line);) {
        const std::size_t name = line.find("--name="), language = line.find(" --language="),
                          size = line.rfind("size=");
        if (name == std::string::npos || language == std::string::npos || size == std::string::npos) continue;
        std::string n = line.substr(name + 7, language - name - 7);
        if (n.size() >= 2 && n.front() == '\'') n = n.substr(1, n.size() - 2);
        out.push_back({n, std::stoi(line.substr(language + 12)), std::stoul(line.substr(size + 5))});
    }
    return out;
}

TEST(PeResourcesWine, MatchesWrestool) {
    const std::filesystem::path dir = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";
    const std::vector<std::string> names = {"shell32.dll", "user32.dll", "comctl32.dll", "explorer.exe"};
    if (!std::filesystem::exists(dir / names[0]) || !std::filesystem::exists("/usr/bin/wrestool"))
        GTEST_SKIP() << "needs the wine libraries (Debian's libwine) and wrestool (icoutils)";
    const format_test::ScratchDir out;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::string path = (dir / name).string();
        const std::vector<std::uint8_t> bytes = format_test::ReadBytes(path);
        for (const int type : {3, 14, 1, 12}) {
            const std::vector<WrestoolRecord> theirs = WrestoolList(path, type);
            const auto ours = ListResources(bytes, static_cast<std::uint16_t>(type));
            ASSERT_TRUE(ours);
            ASSERT_EQ(ours->size(), theirs.size());
            for (std::size_t i = 0; i < theirs.size(); ++i) {
                const ResourceRecord& r = (*ours)[i];
                EXPECT_EQ(std::tuple(r.name.Display(), r.language, r.data.size()),
                          std::tuple(theirs[i].name, theirs[i].language, theirs[i].size));
            }
        }

        for (const char* type : {"12", "14"})
            format_test::RunCommand("wrestool -x -t " + std::string(type) + " -o '" + out.path().string() + "' '" +
                                    path + "' 2>/dev/null");
        const auto groups = ReadExeIcons(bytes);
        ASSERT_TRUE(groups);
        EXPECT_EQ(groups->size(), WrestoolList(path, 14).size() + WrestoolList(path, 12).size());
        for (const ExeIconGroup& g : *groups) {
            // Icon groups first, then cursor groups, each saved by wrestool as its kind's file.
            const std::string file = name + (g.cursor ? "_12_" : "_14_") + g.name.Display() + "_" +
                                     std::to_string(g.language) + (g.cursor ? ".cur" : ".ico");
            const std::vector<std::uint8_t> icon = format_test::ReadBytes(out.path() / file);
            ASSERT_GE(icon.size(), 6u) << file;
            const std::size_t count = LoadU16(icon.data() + 4);
            ASSERT_EQ(static_cast<std::size_t>(g.group.FormatCount()), count) << file;
            for (std::size_t i = 0; i < count; ++i) {
                // wrestool halves a cursor's doubled group height once too often: its bitmap
                // header says the height then.
                const std::uint32_t at = LoadU32(icon.data() + 6 + 16 * i + 12);
                const std::uint32_t w = icon[6 + 16 * i],
                                    h = g.cursor ? LoadU32(icon.data() + at + 8) / 2 : icon[7 + 16 * i];
                const CKvIcon& f = *g.group.FormatAt(static_cast<int>(i));
                EXPECT_EQ(std::pair(f.Width(), f.Height()), std::pair(w == 0 ? 256 : w, h == 0 ? 256 : h))
                    << file << " " << i;
            }
        }
    }
}

}  // namespace
}  // namespace tellurine
