#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/icon_project.h"
#include "shell/collections.h"

namespace tellurine::shell {
namespace {

namespace fs = std::filesystem;
using format_test::Bytes;
using format_test::IconFileOf;
using format_test::MakeIcon;

std::vector<std::string> FileNames(const std::vector<fs::path>& paths) {
    std::vector<std::string> names;
    for (const fs::path& path : paths) names.push_back(path.filename().string());
    return names;
}

Bytes CursorFileOf(CKvIcon icon) {
    CIconDoc doc;
    doc.AddFormat(std::move(icon));
    Bytes out;
    EXPECT_TRUE(WriteIconFile(doc, false, out, true));
    return out;
}

TEST(Collections, NamesAreCheckedAndNeverTakeAnotherCollectionsPlace) {
    const format_test::ScratchDir dir;
    Collections collections(dir / "Collections");
    EXPECT_TRUE(collections.Names().empty());  // no folder yet
    EXPECT_EQ(collections.Create("  Toolbar  "), "");
    EXPECT_EQ(collections.Create("arrows"), "");
    EXPECT_EQ(collections.Names(), (std::vector<std::string>{"arrows", "Toolbar"}));
    for (const std::string& bad :
         std::vector<std::string>{"", "   ", ".hidden", "a/b", "a\\b", "tab\there", "what?", std::string(201, 'x')})
        EXPECT_NE(collections.Create(bad), "") << bad;
    EXPECT_EQ(collections.Create("toolbar"), "A collection named \"toolbar\" already exists.");
    EXPECT_EQ(collections.Create(std::string(200, 'x')), "");
    EXPECT_EQ(collections.Create("caf\xc3\xa9"), "");  // any script a file name takes

    // Renamed with its icons; never onto another collection, though a change of case is allowed.
    std::string error;
    ASSERT_EQ(collections.Add("Toolbar", {{"open", IconFileOf({MakeIcon(16, 16, 16, false, 1)})}}, error).size(), 1u);
    EXPECT_NE(collections.Rename("Toolbar", "Arrows"), "");
    EXPECT_EQ(collections.Rename("Toolbar", "Tools"), "");
    EXPECT_EQ(FileNames(collections.Icons("Tools")), (std::vector<std::string>{"open.ico"}));
    EXPECT_EQ(collections.Rename("arrows", "Arrows"), "");
    EXPECT_EQ(collections.Names().front(), "Arrows");

    // Removing takes the icons; a file that is not an icon stays, and its folder with it.
    format_test::WriteBytes(collections.PathOf("Tools") / "notes.txt", Bytes{'h', 'i'});
    EXPECT_EQ(collections.Remove("Tools"), "");
    EXPECT_TRUE(collections.Icons("Tools").empty());
    EXPECT_TRUE(fs::exists(collections.PathOf("Tools") / "notes.txt"));
    EXPECT_EQ(collections.Remove("Arrows"), "");
    EXPECT_FALSE(fs::exists(collections.PathOf("Arrows")));
}

TEST(Collections, IconsAreKeptByteForByteUnderNamesOfTheirOwn) {
    const format_test::ScratchDir dir;
    Collections collections(dir / "Collections");
    const Bytes icon = IconFileOf({MakeIcon(16, 16, 16, false, 1), MakeIcon(256, 256, 0, true, 2, true)});
    const Bytes cursor = CursorFileOf(MakeIcon(32, 32, 2, false, 3));
    std::string error;
    const auto made =
        collections.Add("Mine", {{"open", icon}, {"open", icon}, {"Open", cursor}, {"a/b:c", icon}}, error);
    ASSERT_EQ(made.size(), 4u) << error;
    EXPECT_EQ(FileNames(collections.Icons("Mine")),
              (std::vector<std::string>{"a_b_c.ico", "open (2).ico", "Open.cur", "open.ico"}));
    EXPECT_EQ(format_test::ReadBytes(made[1]), icon);
    EXPECT_EQ(format_test::ReadBytes(made[2]), cursor);

    // A file gives its icons: an icon file as it is; another container written as an icon file
    // of the same formats; a file without icons nothing, with the reason.
    format_test::WriteBytes(dir / "plain.ico", icon);
    std::vector<IconFileBytes> got = IconFilesOf((dir / "plain.ico").string(), error);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].name, "plain");
    EXPECT_EQ(got[0].file, icon);
    CIconDoc family;
    family.AddFormat(MakeIcon(32, 32, 0, true, 4));
    family.AddFormat(MakeIcon(128, 128, 0, true, 5));
    Bytes icns;
    ASSERT_TRUE(WriteIconProjectAs(family, IconContainer::Icns, false, icns));
    format_test::WriteBytes(dir / "mac.icns", icns);
    got = IconFilesOf((dir / "mac.icns").string(), error);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].name, "mac");
    CIconDoc back;
    ASSERT_TRUE(ReadIconFile(got[0].file, back));
    ASSERT_EQ(back.GetFormatCount(), 2);
    for (int i = 0; i < 2; ++i) {
        const CKvIcon& written = back.GetFormat(i)->Icon();
        const CKvIcon& own = family.GetFormat(written.Width() == 32 ? 0 : 1)->Icon();
        EXPECT_EQ(format_test::PictureOf(written), format_test::PictureOf(own)) << written.Width();
    }
    format_test::WriteBytes(dir / "note.ico", Bytes{'n', 'o'});
    error.clear();
    EXPECT_TRUE(IconFilesOf((dir / "note.ico").string(), error).empty());
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(IconFilesOf((dir / "missing.ico").string(), error).empty());

    EXPECT_TRUE(Collections::RemoveIcon(made[0], error));
    EXPECT_FALSE(Collections::RemoveIcon(made[0], error));
    EXPECT_EQ(collections.Icons("Mine").size(), 3u);
}

TEST(Collections, ExportsAsALibraryOrAFolderWithoutOverwritingUnasked) {
    const format_test::ScratchDir dir;
    Collections collections(dir / "Collections");
    const Bytes open = IconFileOf({MakeIcon(16, 16, 16, false, 1)});
    const Bytes close = IconFileOf({MakeIcon(32, 32, 0, true, 2)});
    std::string error;
    ASSERT_EQ(collections.Add("Set", {{"open", open}, {"Close file", close}, {"caf\xc3\xa9", open}}, error).size(), 3u);

    // The library's icons are the files, in the collection's order, named by them where a library
    // name can be: a name it cannot hold is numbered.
    const auto library = collections.Library("Set", LibraryKind::Icl, "set", error);
    ASSERT_TRUE(library) << error;
    IconLibrary read;
    ASSERT_TRUE(read.Read(*library));
    ASSERT_EQ(read.Icons().size(), 3u);
    EXPECT_EQ(read.Icons()[0].name.Display(), "1");
    EXPECT_EQ(read.Icons()[1].name.Display(), "CLOSE FILE");
    EXPECT_EQ(read.Icons()[1].file, close);
    EXPECT_EQ(read.Icons()[2].file, open);
    // A damaged icon in the folder stops the export with its name.
    format_test::WriteBytes(collections.PathOf("Set") / "zz.ico", Bytes{0, 0, 1, 0});
    EXPECT_FALSE(collections.Library("Set", LibraryKind::Dll32, "set", error));
    EXPECT_EQ(error, "zz.ico is not an icon or cursor file.");
    fs::remove(collections.PathOf("Set") / "zz.ico");

    // A folder: files of the same name are named first and kept unless replacing was chosen.
    const fs::path out = dir / "out";
    fs::create_directories(out);
    format_test::WriteBytes(out / "open.ico", Bytes{'m', 'i', 'n', 'e'});
    EXPECT_EQ(collections.ExportClashes("Set", out), (std::vector<std::string>{"open.ico"}));
    ASSERT_TRUE(collections.ExportFolder("Set", out, false, error)) << error;
    EXPECT_EQ(format_test::ReadBytes(out / "open.ico"), (Bytes{'m', 'i', 'n', 'e'}));
    EXPECT_EQ(format_test::ReadBytes(out / "Close file.ico"), close);
    ASSERT_TRUE(collections.ExportFolder("Set", out, true, error)) << error;
    EXPECT_EQ(format_test::ReadBytes(out / "open.ico"), open);
    EXPECT_FALSE(collections.ExportFolder("Set", out / "open.ico" / "x", true, error));
}

}  // namespace
}  // namespace tellurine::shell
