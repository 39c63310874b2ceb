#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "formats/format_test_support.h"
#include "formats/ne_resources.h"
#include "shell/icon_library.h"
#include "shell/program_tiles.h"

namespace tellurine::shell {
namespace {

using format_test::Bytes;

TEST(IconLibraryNames, TypedTextNamesANumberOrAString) {
    struct Case {
        std::string text;
        std::optional<std::uint16_t> id;
        std::string name;  // empty with no id: refused
    };
    for (const Case& c : std::vector<Case>{{"7", 7, ""},
                                           {" 32767 ", 32767, ""},
                                           {"32768", std::nullopt, ""},
                                           {"0", std::nullopt, ""},
                                           {"0012", 12, ""},
                                           {"123456", std::nullopt, ""},
                                           {"Folder open", std::nullopt, "Folder open"},
                                           {"  ", std::nullopt, ""},
                                           {"caf\xc3\xa9", std::nullopt, ""},
                                           {std::string(256, 'A'), std::nullopt, ""},
                                           {std::string(255, 'A'), std::nullopt, std::string(255, 'A')}}) {
        SCOPED_TRACE(c.text);
        std::string error;
        const std::optional<ResourceName> name = ParseLibraryName(c.text, error);
        ASSERT_EQ(name.has_value(), c.id.has_value() || !c.name.empty());
        EXPECT_EQ(error.empty(), name.has_value());
        if (name) {
            EXPECT_EQ(name->id, c.id);
            EXPECT_EQ(name->text, c.name);
        }
    }
}

TEST(IconLibraryModel, EditsKeepEveryIconByteForByteAndNamesUnique) {
    const Bytes a = format_test::IconFileOf({format_test::MakeIcon(16, 16, 16, false, 1)});
    const Bytes b = format_test::IconFileOf(
        {format_test::MakeIcon(32, 32, 0, true, 2, true), format_test::MakeIcon(16, 16, 256, false, 3)});
    const auto file = WriteIconLibrary({{ResourceName{5, {}}, a}, {ResourceName{{}, "TOOLS"}, b}}, "lib");
    ASSERT_TRUE(file);
    IconLibrary library;
    ASSERT_TRUE(library.Read(*file));
    ASSERT_EQ(library.Icons().size(), 2u);
    // Read back as the files they were made from.
    EXPECT_EQ(library.Icons()[0].file, a);
    EXPECT_EQ(library.Icons()[1].file, b);
    EXPECT_FALSE(library.Read(a));
    EXPECT_EQ(library.Icons().size(), 2u);

    // New icons take the lowest free number, or a name nobody has.
    ASSERT_TRUE(library.Add(b, 0, ResourceName{5, {}}));
    EXPECT_EQ(library.Icons()[0].name.Display(), "1");
    ASSERT_TRUE(library.Add(a, 99, ResourceName{{}, "Extra"}));
    EXPECT_EQ(library.Icons()[3].name.Display(), "Extra");
    EXPECT_FALSE(library.Add(Bytes{0, 0, 1, 0, 0, 0}, 0));
    EXPECT_EQ(library.Rename(3, "tools"), "another icon is named tools");
    EXPECT_EQ(library.Rename(3, "0"), "a number must be from 1 to 32767");
    EXPECT_EQ(library.Rename(3, "2"), "");

    // Moves to the end and back, several in the order given (a moved icon marks no place: the
    // next one does), removal, and a replacement found by its key wherever the icon went.
    const std::uint64_t tools = library.Icons()[2].key;
    EXPECT_EQ(library.Move({0}, 9), 3u);     // 5 TOOLS 2 1
    EXPECT_EQ(library.Move({3}, 1), 1u);     // 5 1 TOOLS 2
    EXPECT_EQ(library.Move({2, 1}, 1), 1u);  // 5 TOOLS 1 2
    EXPECT_EQ(library.Move({4, -1}, 0), std::nullopt);
    library.Remove(0);
    std::vector<std::string> names;
    for (const LibraryIcon& icon : library.Icons()) names.push_back(icon.name.Display());
    EXPECT_EQ(names, (std::vector<std::string>{"TOOLS", "1", "2"}));
    EXPECT_EQ(library.IndexOf(tools), 0u);
    EXPECT_TRUE(library.Replace(tools, a));
    EXPECT_FALSE(library.Replace(tools, Bytes(10, 0)));
    EXPECT_EQ(library.Icons()[0].file, a);
    EXPECT_EQ(library.FolderNames("/x/My lib.icl"),
              (std::vector<std::string>{"My lib-TOOLS.ico", "My lib-1.ico", "My lib-2.ico"}));

    // Each kind of file reads back as the library holds it.
    for (const LibraryKind kind : {LibraryKind::Icl, LibraryKind::Dll32, LibraryKind::Dll64}) {
        const auto written = library.Write(kind, "lib");
        ASSERT_TRUE(written);
        IconLibrary again;
        ASSERT_TRUE(again.Read(*written));
        ASSERT_EQ(again.Icons().size(), 3u);
        for (const LibraryIcon& icon : again.Icons()) {
            const auto same = std::find_if(library.Icons().begin(), library.Icons().end(), [&](const LibraryIcon& i) {
                return i.name.Display() == icon.name.Display();
            });
            ASSERT_NE(same, library.Icons().end()) << icon.name.Display();
            EXPECT_EQ(icon.file, same->file);
        }
    }
    EXPECT_EQ(LibraryKindOf("a.DLL", 32), LibraryKind::Dll32);
    EXPECT_EQ(LibraryKindOf("a.dll", 64), LibraryKind::Dll64);
    EXPECT_EQ(LibraryKindOf("a.icl", 32), LibraryKind::Icl);
    // A name given in the save dialog, with the filter chosen there.
    using enum LibraryKind;
    for (const auto& [typed, filter, kind, saved] : std::vector<std::tuple<std::string, LibraryKind, LibraryKind, std::string>>{
             {"a.ICL", Dll32, Icl, "a.ICL"}, {"a.dll", Icl, Dll64, "a.dll"}, {"a.dll", Dll32, Dll32, "a.dll"},
             {"a", Icl, Icl, "a.icl"}, {"a.ico", Dll32, Dll32, "a.ico.dll"}, {"a", Dll64, Dll64, "a.dll"}}) {
        std::string path = typed;
        EXPECT_EQ(std::pair(SavedLibraryKind(path, filter), path), std::pair(kind, saved)) << typed;
    }
}

// A program's groups come over as tiles in group order, each showing the format chosen for display
// (the largest and deepest at the first choices), a large one fitted to the tile.
TEST(ProgramTiles, GroupsBecomeTilesShowingTheChosenFormat) {
    IconLibrary library;
    ASSERT_TRUE(library.Add(format_test::IconFileOf({format_test::MakeIcon(16, 16, 16, false, 1)}), 0,
                            ResourceName{{}, "FIRST"}));
    ASSERT_TRUE(library.Add(format_test::IconFileOf({format_test::MakeIcon(16, 16, 0, true, 2),
                                                     format_test::MakeIcon(128, 128, 0, true, 3)}), 1));
    const format_test::ScratchDir dir;
    format_test::WriteBytes(dir.path() / "tiles.dll", *library.Write(LibraryKind::Dll32, "tiles"));
    std::vector<ProgramTile> tiles;
    const auto take = [&](std::vector<ProgramTile> more) { std::ranges::move(more, std::back_inserter(tiles)); };
    const std::atomic<bool> cancel = false;
    EXPECT_EQ(ReadProgramTiles((dir.path() / "tiles.dll").string(), {}, cancel, [](const auto&) {}, take),
              ProgramReadEnd::Done);
    ASSERT_EQ(tiles.size(), 2u);
    EXPECT_EQ(
        std::tuple(tiles[0].name, tiles[0].pictureWidth, tiles[1].name, tiles[1].group, tiles[1].formatCount,
                   tiles[1].shownWidth, tiles[1].pictureWidth),
        std::tuple(std::string("FIRST"), 16, std::string("1"), std::size_t{1}, 2, 128, kProgramTileSide));
}

}  // namespace
}  // namespace tellurine::shell
