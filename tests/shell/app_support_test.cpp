#include "shell/animation.h"
#include "shell/app_support.h"
#include "shell/clipboard_forms.h"
#include "shell/program_tiles.h"
#include "shell/doc_templates.h"
#include "shell/recent_files.h"
#include "shell/workbench.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <gtest/gtest.h>

#include "image/dib_block.h"

namespace tellurine::shell {
namespace {

TEST(Folders, ProgramAndUserDataFolders) {
    EXPECT_EQ(ProgramFolder("/usr/bin/tellurine"), "/usr/bin/");
    EXPECT_EQ(ProgramFolder("C:\\Program Files\\Tellurine\\tellurine.exe"), "C:\\Program Files\\Tellurine\\");
    EXPECT_EQ(ProgramFolder(std::string(300, 'a') + "/x"), "");  // cut at 260 characters first
    EXPECT_EQ(UserDataFolder("/home/me/.local/share"), "/home/me/.local/share/Korvane/Tellurine/");
    EXPECT_EQ(UserDataFolder("/home/me/.local/share/"), "/home/me/.local/share/Korvane/Tellurine/");
    EXPECT_EQ(UserDataFolder("C:\\Users\\me\\AppData\\Roaming"), "C:\\Users\\me\\AppData\\Roaming\\Korvane\\Tellurine\\");
    EXPECT_EQ(UserDataFolder("C:\\Users\\me\\AppData\\Roaming\\"), "C:\\Users\\me\\AppData\\Roaming\\Korvane\\Tellurine\\");
}

TEST(Palette, DisplayPaletteHasFourLevelsOfRedAndBlueAndEightOfGreen) {
    const Palette p = ApplicationPalette();
    ASSERT_EQ(p.size(), 256u);
    // Bits 7-6 red, 5-3 green, 2-1 blue; bit 0 unused, so each odd entry repeats the even one.
    for (const auto& [i, red, green, blue] : {std::array{0, 0, 0, 0}, {64, 85, 0, 0}, {192, 255, 0, 0}, {8, 0, 36, 0},
                                              {56, 0, 255, 0}, {2, 0, 0, 85}, {6, 0, 0, 255}, {255, 255, 255, 255}}) {
        EXPECT_EQ(p.entries[static_cast<std::size_t>(i)], (PaletteEntry{static_cast<std::uint8_t>(red),
                  static_cast<std::uint8_t>(green), static_cast<std::uint8_t>(blue), 0})) << i;
    }
    for (std::size_t i = 1; i < 256; i += 2) EXPECT_EQ(p.entries[i], p.entries[i - 1]) << i;
}

TEST(StartSwitches, DelpatchWinsAndTextRunsToTheEnd) {
    struct Case {
        const char* raw;
        bool patch;
        const char* patchPath;
        bool librarian;
        const char* argument;
    };
    const Case cases[] = {
        {"", false, "", false, ""},
        {"a.ico b.ico", false, "", false, ""},
        {"/librarian:", false, "", true, ""},  // at the very end: an empty argument
        {"x.ico /librarian:", false, "", true, ""},
        {"/librarian:My Icons", false, "", true, "My Icons"},
        {"/delpatch:/tmp/old.bin", true, "/tmp/old.bin", false, ""},
        {"/librarian:lib /delpatch:/tmp/old.bin", true, "/tmp/old.bin", false, ""},
        {"/delpatch:\"/tmp/a b.bin\"", true, "/tmp/a b.bin", false, ""},
        {"/librarian:\"lib", false, "", true, "\"lib"},  // a quote at one end only stays
        {"/librarian:lib\"", false, "", true, "lib\""},
    };
    for (const Case& c : cases) {
        const StartSwitches s = ParseStartSwitches(c.raw);
        EXPECT_EQ(std::tuple(s.deletePatch, s.patchPath, s.librarian, s.librarianArgument),
                  std::tuple(c.patch, std::string(c.patchPath), c.librarian, std::string(c.argument)))
            << c.raw;
    }
    EXPECT_EQ(RawCommandLine({"/delpatch:/tmp/a b.bin", "x.ico"}), "\"/delpatch:/tmp/a b.bin\" x.ico");
    EXPECT_EQ(CommandLineFiles({"/home/me/a.ico", "-v", "/p", "b.cur", "/a.ico", "--quit", "/librarian:x", "c.ico"}),
              (std::vector<std::string>{"/home/me/a.ico", "b.cur", "/a.ico"}));
}

TEST(RecentFiles, MostRecentFirstCappedAndKeptInTheProfile) {
    RecentFileList list(kRecentFileSection, 3);
    for (const char* p : {"/a.ico", "/b.ico", "/c.ico", "/a.ico", "/d.ico"}) list.Add(p);
    EXPECT_EQ(list.Entries(), (std::vector<std::string>{"/d.ico", "/a.ico", "/c.ico"}));
    MemoryProfile profile;
    profile.WriteString(kRecentFileSection, "File3", "stale");
    list.Remove("/c.ico");
    list.Save(profile);
    EXPECT_EQ(profile.GetString("Recent File List", "File1", ""), "/d.ico");
    EXPECT_EQ(profile.GetString("Recent File List", "File2", ""), "/a.ico");
    EXPECT_FALSE(profile.Has("Recent File List", "File3"));
    RecentFileList again(kRecentFileSection, 3);
    again.Load(profile);
    EXPECT_EQ(again.Entries(), list.Entries());

    RecentFileList menu(kOwnRecentFileSection, 20);
    menu.Add("/home/someone/projects/icons/very-long-name-for-an-icon.ico");
    menu.Add("/home/me/R&D.ico");
    EXPECT_EQ(menu.MenuText(0), "&1 /home/me/R&&D.ico");
    EXPECT_EQ(menu.MenuText(1), "&2 very-long-name-for-an-icon.ico");
    for (int i = 0; i < 12; ++i) menu.Add("/f" + std::to_string(i));
    EXPECT_EQ(menu.MenuText(9), "1&0 /f2");
    EXPECT_EQ(menu.MenuText(10), "11 /f1");
}

TEST(RecentFiles, NamesAreShortenedToThirtyCharacters) {
    EXPECT_EQ(AbbreviatePath("/home/me/a.ico"), "/home/me/a.ico");
    EXPECT_EQ(AbbreviatePath("/home/me/some/deep/folder/a.ico"), "/home/.../a.ico");
    EXPECT_EQ(AbbreviatePath("C:\\Users\\me\\Documents\\Icons\\app.ico"), "C:\\Users\\...\\app.ico");
    const std::string shortened = AbbreviatePath("/x/" + std::string(40, 'n') + ".ico");
    EXPECT_EQ(shortened.size(), 30u);
    EXPECT_EQ(shortened.substr(27), "...");
}

TEST(DocTemplates, ElevenTemplatesKeptAsData) {
    const auto templates = DocTemplates();
    ASSERT_EQ(templates.size(), 11u);
    const int order[] = {101, 113, 104, 110, 112, 111, 105, 109, 114, 121, 122};
    for (std::size_t i = 0; i < 11; ++i) EXPECT_EQ(templates[i].resource, order[i]);
    // The last has no string resource.
    for (const auto& [resource, part, text] :
         {std::tuple{111, kDocName, "Found Media Files "}, {111, kRegFileTypeName, "Document Recherche"},
          {122, kWindowTitle, ""}, {122, kDocName, "Toolbar Image Strip File"}, {104, kFilterExt, ".icl"},
          {109, kDocName, ""}})
        EXPECT_EQ(DocString(*FindDocTemplate(resource), part), text) << resource << " " << part;
    EXPECT_EQ(std::string(FindDocTemplate(114)->frame), "CImageDocMDI");
    EXPECT_EQ(FindDocTemplate(999), nullptr);

    FileFilter filter;
    ASSERT_TRUE(TemplateFilter(*FindDocTemplate(101), filter));
    EXPECT_EQ(filter.QtFilter(), "ICO Files (*.ico *.cur)");
    ASSERT_TRUE(TemplateFilter(*FindDocTemplate(110), filter));
    EXPECT_EQ(filter.QtFilter(), "Explorer Files (*.exp)");
    EXPECT_FALSE(TemplateFilter(*FindDocTemplate(109), filter));
    EXPECT_FALSE(TemplateFilter(*FindDocTemplate(105), filter));
    const auto open = OpenFileFilters();
    EXPECT_EQ(open.front().name, "All Supported Files");
    EXPECT_EQ(open.back().QtFilter(), "All Files (*)");
    // Programs and libraries have their own filter, and are among the supported files.
    EXPECT_NE(std::find_if(open.begin(), open.end(), [](const FileFilter& f) {
                  return f.QtFilter() == "Programs and Libraries (*.exe *.dll *.icl *.ocx *.cpl *.scr)";
              }), open.end());
    EXPECT_NE(std::find(open.front().patterns.begin(), open.front().patterns.end(), "*.dll"), open.front().patterns.end());
    EXPECT_EQ(SaveFileFilters(true).front().QtFilter(), "ICNS Files (*.icns)");
}

// The save dialog offers the project's own kind first, and a name without an extension a save
// writes takes the chosen filter's.
TEST(DocTemplates, SaveDialogChoosesTheProjectsKindAndAddsItsExtension) {
    const SaveDialogFilters windows = ProjectSaveFilters(false, ".ico");
    EXPECT_EQ(windows.filters, "ICO Files (*.ico);;Cursor Files (*.cur);;Toolbar Image Strips (*.tbf);;ICNS Files "
                               "(*.icns);;Icon Set Folder (*.iconset)");
    EXPECT_EQ(windows.selected, "ICO Files (*.ico)");
    EXPECT_EQ(ProjectSaveFilters(false, ".cur").selected, "Cursor Files (*.cur)");
    EXPECT_EQ(ProjectSaveFilters(false, ".tbf").selected, "Toolbar Image Strips (*.tbf)");
    const SaveDialogFilters mac = ProjectSaveFilters(true, ".icns");
    EXPECT_EQ(mac.filters.substr(0, mac.filters.find(";;")), "ICNS Files (*.icns)");
    EXPECT_EQ(mac.selected, "ICNS Files (*.icns)");
    EXPECT_EQ(ProjectSaveFilters(true, ".png").selected, "");
    for (const auto& [path, filter, written] : {
             std::tuple{"a/b.ICO", "Cursor Files (*.cur)", "a/b.ICO"},
             std::tuple{"a/b.icns", "ICO Files (*.ico)", "a/b.icns"},
             std::tuple{"a/b.iconset", "ICO Files (*.ico)", "a/b.iconset"},
             std::tuple{"a/b", "Cursor Files (*.cur)", "a/b.cur"},
             std::tuple{"a/b.png", "ICNS Files (*.icns)", "a/b.png.icns"},
             std::tuple{"a/b", "Icon Set Folder (*.iconset)", "a/b.iconset"},
             std::tuple{"a/b", "Toolbar Image Strips (*.tbf)", "a/b.tbf"},
             std::tuple{"a/b.TBF", "ICO Files (*.ico)", "a/b.TBF"},
             std::tuple{"a/b", "", "a/b.ico"},
         })
        EXPECT_EQ(WithSaveExtension(path, filter), written) << path << " " << filter;
    // A recovered project goes back in place only into a file a save writes.
    for (const auto& [path, kind] : {std::pair{"x/a.ico", IconContainer::Ico},
                                     {"x/a.CUR", IconContainer::Cur},
                                     {"x/a.icns", IconContainer::Icns},
                                     {"x/a.iconset", IconContainer::Iconset},
                                     {"x/a.ani", IconContainer::Unknown},
                                     {"x/a.exe", IconContainer::Unknown}})
        EXPECT_EQ(RecoveredSaveKind(path), kind) << path;
}

TEST(DocTemplates, FilesChooseTheirTemplateByExtensionAndContent) {
    const auto bytes = [](std::string_view s) { return std::vector<std::uint8_t>(s.begin(), s.end()); };
    using namespace std::string_view_literals;
    const auto ico = bytes("\0\0\1\0\1\0"sv), cur = bytes("\0\0\2\0\1\0"sv), png = bytes("\x89PNG\r\n"sv);
    struct Case {
        const char* path;
        std::vector<std::uint8_t> head;
        int resource;
    };
    const Case cases[] = {
        {"a.ico", ico, 101},
        {"a.cur", cur, 101},
        {"a.png", ico, 101},  // the content wins over a wrong extension
        {"a.ico", png, 109},
        {"a.icns", bytes("icns"), 113},
        {"a.dat", bytes("icns"), 113},
        {"a.icns", bytes("????"), 113},
        {"a.rsrc", ico, 113},  // a resource fork's header reads like an icon file's
        {"a.bin", {}, 113},
        {"a.ani", bytes("RIFF\0\0\0\0ACON"sv), 114},
        {"a.exe", bytes("MZ"), 105},
        {"a.dll", {}, 105},
        {"a.icl", bytes("MZ"), 104},
        {"a.htm", bytes("<html>"), 112},
        {"a.HTML", {}, 112},
        {"a.svg", bytes("<?xml"), 122},
        {"drawing", bytes("<svg xmlns"), 122},
        {"a.tbf", {}, 121},
        {"a.exp", {}, 110},
        {"a.sea", {}, 111},
        {"a.jpg", bytes("\xFF\xD8\xFF\xE0"sv), 109},
        {"a.weird", {}, 109},
    };
    for (const Case& c : cases) EXPECT_EQ(ChooseDocTemplate(c.path, c.head), c.resource) << c.path;
    for (const auto& [resource, kind] : {std::pair{101, DocKind::IconProject},
                                         {113, DocKind::IconProject},
                                         {104, DocKind::IconLibrary},
                                         {110, DocKind::Explorer},
                                         {111, DocKind::Explorer},
                                         {999, DocKind::NotYet}})
        EXPECT_EQ(DocKindOf(resource), kind) << resource;
}

TEST(WindowPlaces, NewWindowsCascadeInsideTheWorkspace) {
    EXPECT_EQ(CascadedPlace(nullptr, 24, 500, 400, 1000, 800), (WindowPlace{0, 0}));
    // After the last window: a step on; back to the corner where the next would leave the area at
    // the bottom; a step on where it just fits across.
    for (const auto& [last, next] :
         {std::pair{WindowPlace{0, 0}, WindowPlace{24, 24}}, {{480, 380}, {0, 0}}, {{476, 100}, {500, 124}}})
        EXPECT_EQ(CascadedPlace(&last, 24, 500, 400, 1000, 800), next) << last.x << "," << last.y;
}

// A picture in a thumbnail's square: a small one at the largest whole multiple up to the screen's
// ratio that fits, a large one fitted with its shape kept and never below 1 x 1; nothing for an
// empty picture or square.
TEST(Thumbnails, SmallPicturesGrowByWholeMultiplesAndLargeOnesFit) {
    const struct {
        int width, height, side;
        double ratio;
        int shownWidth, shownHeight;
    } cases[] = {
        {16, 16, 48, 2, 32, 32},   {16, 16, 48, 4, 48, 48},    {16, 8, 48, 2.5, 32, 16}, {20, 10, 48, 1, 20, 10},
        {48, 48, 48, 2, 48, 48},   {256, 128, 48, 1, 48, 24},  {128, 256, 48, 1, 24, 48}, {1000, 1, 48, 1, 48, 1},
        {1, 1000, 48, 1, 1, 48},   {1, 1, 1, 1, 1, 1},         {0, 5, 48, 1, 0, 0},      {5, 0, 48, 1, 0, 0},
        {5, 5, 0, 1, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " in " << c.side << " at " << c.ratio);
        const PictureSize shown = ThumbnailSize(c.width, c.height, c.side, c.ratio);
        EXPECT_EQ(std::pair(shown.width, shown.height), std::pair(c.shownWidth, c.shownHeight));
    }
}

TEST(ProgramTiles, TilesTellTheirFormatsAndShownSize) {
    EXPECT_EQ(ProgramTileInfo(1), "1 format");
    EXPECT_EQ(ProgramTileInfo(7), "7 formats");
    EXPECT_EQ(ProgramTileInfo(1, true), "cursor, 1 format");
    EXPECT_EQ(ProgramTileToolTip("MAINICON", 7, 48, 32), "MAINICON: 7 format(s), shown at 48 x 32");
}

TEST(FileNames, GroupsSavedToOneFolderGetNamesOfTheirOwn) {
    // Compared without case, as some file systems compare them; the number goes before the extension.
    EXPECT_EQ(UniqueFileNames({"a.ico", "A.ico", "a.ico", "b", "b"}),
              (std::vector<std::string>{"a.ico", "A (2).ico", "a (3).ico", "b", "b (2)"}));
    EXPECT_EQ(ProgramIcoFileName("/x/tool.v2.exe", ResourceName{7, {}}), "tool.v2-7.ico");
    EXPECT_EQ(ProgramIcoFileName("C:\\x\\.hidden", ResourceName{{}, "a b"}), ".hidden-a_b.ico");
}

TEST(Workbench, PreferencesSetTheToolsCanvasAndColours) {
    Workbench bench;
    Preferences prefs;
    prefs.Smooth32BppDraw = 1;
    prefs.ShowGrid = 0;
    prefs.PreviewColor = "255";
    prefs.SavedFgRGBColor = "65280";
    prefs.FgOpacity = 77;
    bench.MakeTools(prefs, 16);
    ASSERT_EQ(bench.tools.size(), 12u);
    EXPECT_EQ(bench.canvas.tool, bench.Tool(editor::ToolKind::Pen));
    EXPECT_TRUE(bench.Tool(editor::ToolKind::Frame3D)->settings.smoothEdges);
    EXPECT_EQ(bench.Tool(editor::ToolKind::Line)->settings.screenBits, 16);
    bench.ApplyPreferences(prefs);
    bench.TakeColours(prefs);
    EXPECT_EQ(std::tuple(bench.canvas.showGrid, bench.canvas.previewColor, bench.colours.foreground,
                         bench.colours.foregroundOpacity),
              std::tuple(false, 0xFFu, 0xFF00u, 77));
    prefs.Smooth32BppDraw = 0;
    bench.ApplyPreferences(prefs);
    EXPECT_FALSE(bench.Tool(editor::ToolKind::Brush)->settings.smoothEdges);
    // What the colour bar holds goes back into the preferences.
    bench.colours.backgroundIndex8 = 12;
    bench.colours.background = 0x123456;
    Preferences saved;
    bench.GiveColours(saved);
    EXPECT_EQ(std::tuple(saved.SavedBkIndex8bpp, ProfileColour(saved.SavedBkRGBColor, 0), saved.FgOpacity),
              std::tuple(12, 0x123456u, 77));
}

TEST(ClipboardForms, PaletteFormRoundTripsAndRefusesWhatDoesNotRead) {
    Palette palette;
    palette.version = 0x300;
    palette.entries = {{1, 2, 3, 0}, {250, 251, 252, 4}};
    const std::vector<std::uint8_t> bytes = PaletteBytes(palette);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0x00, 0x03, 2, 0, 1, 2, 3, 0, 250, 251, 252, 4}));
    Palette read;
    ASSERT_TRUE(PaletteFromBytes(bytes, read));
    EXPECT_EQ(read.version, 0x300);
    EXPECT_EQ(read.entries, palette.entries);
    for (const std::vector<std::uint8_t>& bad : {std::vector<std::uint8_t>{0, 3, 2}, {0, 3, 0, 0},
                                                 {0, 3, 1, 1, 1, 2, 3, 0}, {0, 3, 2, 0, 1, 2, 3, 0, 250, 251, 252}})
        EXPECT_FALSE(PaletteFromBytes(bad, read)) << bad.size();
    palette.entries.resize(257);
    EXPECT_TRUE(PaletteBytes(palette).empty());
    DeviceBitmap color, alpha;
    EXPECT_FALSE(PictureFromDibBytes(bytes, color, alpha));
}

// The texts' markers are filled in order, each once, whatever the arguments hold.
TEST(Texts, MarkersAreFilledByTheirNumbers) {
    EXPECT_EQ(FillText("%2 of %1", {"4", "1"}), "1 of 4");
    EXPECT_EQ(FillText("%1%% %3", {"a%2", "b"}), "a%2%% %3");
    EXPECT_EQ(FillText("%10|%1", {"x", "y", "z", "4", "5", "6", "7", "8", "9", "ten"}), "ten|x");
    EXPECT_EQ(FillText("100%", {}), "100%");
}

// A step lists as the animation window shows it, and becomes a cursor with its hotspot.
TEST(Animation, StepsListWithTheirRatesAndMakeCursors) {
    CAniObject step;
    step.image.Attach(CreateDibBlock(16, 8, 32));
    step.width = 16;
    step.height = 8;
    step.bitDepth = 1;
    step.rate = 1;
    step.hotspotX = 3;
    step.hotspotY = 5;
    EXPECT_EQ(AniStepText(step, 2), "Step 2: 16 x 8, 1 bit\n1 jiffy (17 ms), hotspot 3,5");
    step.bitDepth = 32;
    step.rate = 60;
    EXPECT_EQ(AniStepText(step, 12), "Step 12: 16 x 8, 32 bits\n60 jiffies (1000 ms), hotspot 3,5");
    CIconDoc doc;
    doc.macintosh = true;
    ASSERT_TRUE(MakeProjectFromStep(step, doc));
    ASSERT_EQ(doc.GetFormatCount(), 1);
    const CIconObject& made = *doc.GetFormat(0);
    EXPECT_EQ(std::tuple(doc.cursor, doc.macintosh, made.Width(), made.BitCount(), made.Icon().PointX(),
                         made.Icon().PointY()),
              std::tuple(true, false, 16, 32, 3, 5));
}

}  // namespace
}  // namespace tellurine::shell
