#include "browse/explorer_settings.h"
#include "browse/search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <tuple>
#include <unordered_map>

#include "browse/likeness.h"
#include "formats/icon_project.h"
#include "icon/format_maker.h"
#include "test_support.h"

namespace tellurine {
namespace {

namespace fs = std::filesystem;

// A w x w picture of a dark disc on a light ground, or with `stripes`, of light and dark bands.
Block Drawing(int w, bool stripes) {
    return test::MakeDib(w, w, 32, [w, stripes](int x, int y) {
        const double dx = x + 0.5 - w / 2.0, dy = y + 0.5 - w / 2.0;
        const bool dark = stripes ? (x * 6 / w) % 2 == 0 : dx * dx + dy * dy < w * w / 9.0;
        const std::uint8_t v = dark ? 30 : 220;
        return test::Px{v, v, static_cast<std::uint8_t>(255 - v), 255};
    });
}

// An icon file of the drawing at each {size, bits}.
void WriteIcon(const fs::path& path, std::initializer_list<std::pair<int, int>> formats, bool stripes = false) {
    CIconDoc doc;
    for (const auto& [size, bits] : formats) {
        CKvIcon icon;
        ASSERT_TRUE(FormatFromPicture(Drawing(size, stripes), bits, icon));
        doc.AddFormat(std::move(icon));
    }
    std::string error;
    ASSERT_TRUE(SaveIconProject(path.string(), doc, false, error)) << error;
}

TEST(Search, NamePatternsAreShellWildcardsIgnoringCase) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };
    const Case cases[] = {
        {"*", "a.ico", true},           {"*.ico", "A.ICO", true},         {"*.ico", "a.icns", false},
        {"a?c.*", "abc.cur", true},     {"a?c.*", "ac.cur", false},       {"[a-c]*", "Beta.ico", true},
        {"[a-c]*", "delta.ico", false}, {"*[0-9].ico", "x7.ico", true},   {"*[0-9].ico", "x.ico", false},
        {"*a*b*c", "xaxbxcxc", true},   {"*a*b*c", "xaxbx", false},       {"[ab", "a", false},
        {"", "", true},                 {"", "a", false},                 {"**.ico", "a.ico", true},
        {"[]]x", "]x", true},           {"a*", "ba", false},
    };
    for (const Case& c : cases) EXPECT_EQ(MatchesNamePattern(c.pattern, c.name), c.matches) << c.pattern << " " << c.name;
    // A long run of stars against a long name ends quickly.
    EXPECT_FALSE(MatchesNamePattern(std::string(40, '*') + "b", std::string(5000, 'a')));
}

TEST(Search, LikenessKeepsAcrossSizesAndDepthsAndTellsDrawingsApart) {
    const std::uint64_t disc = LikenessHash(Drawing(32, false));
    EXPECT_LE(LikenessDistance(disc, LikenessHash(Drawing(48, false))), 4);
    EXPECT_LE(LikenessDistance(disc, LikenessHash(Drawing(16, false))), 8);
    EXPECT_GE(LikenessDistance(disc, LikenessHash(Drawing(32, true))), 16);
    // Transparent pixels count as middle grey at every depth: a clear picture is flat.
    EXPECT_EQ(LikenessHash(test::MakeDib(8, 8, 32, [](int, int) { return test::Px{0, 0, 0, 0}; })), 0u);
    EXPECT_EQ(LikenessHash(Block()), 0u);
    EXPECT_EQ(LikenessHash(test::MakeDib(8, 8, 24, [](int, int) { return test::Px{}; })), 0u);
    EXPECT_EQ(LikenessDistance(0, ~std::uint64_t{0}), 64);
}

TEST(Search, NearestFormatPrefersTheSmallestAtLeastAsWideThenTheDeepest) {
    const std::vector<FormatSummary> formats = {{16, 16, 32}, {48, 48, 8}, {48, 48, 32}, {256, 256, 32}, {24, 24, 4}};
    for (const auto& [width, nearest] : {std::pair{32, 2}, {16, 0}, {20, 4}, {512, 3}})
        EXPECT_EQ(NearestFormat(formats, width), nearest) << width;
    EXPECT_EQ(NearestFormat({}, 32), -1);
}

TEST(Search, FindsByEveryConditionUnderAFolder) {
    const fs::path dir = fs::path(::testing::TempDir()) / "search_test";
    fs::remove_all(dir);
    fs::create_directories(dir / "sub");
    WriteIcon(dir / "disc.ico", {{16, 4}, {32, 32}, {48, 8}});
    WriteIcon(dir / "sub" / "Disc Big.ICO", {{64, 32}});
    WriteIcon(dir / "stripes.ico", {{32, 8}}, true);
    std::ofstream(dir / "damaged.ico") << "not an icon";
    std::ofstream(dir / "notes.txt") << "not listed";
    EXPECT_EQ(ListIconFiles(dir.string(), true).size(), 4u);
    EXPECT_EQ(ListIconFiles(dir.string(), false).size(), 3u);
    EXPECT_TRUE(ListIconFiles((dir / "missing").string(), true).empty());

    IconFileInfo info;
    ASSERT_TRUE(ReadIconFileInfo((dir / "disc.ico").string(), info, false));
    EXPECT_EQ(info.kind, IconFileKind::Icon);
    EXPECT_EQ(info.icons, 1);
    EXPECT_EQ(info.formats.size(), 3u);
    EXPECT_EQ(info.formats[static_cast<std::size_t>(info.best)], (FormatSummary{48, 48, 8}));
    EXPECT_FALSE(ReadIconFileInfo((dir / "damaged.ico").string(), info, false));
    EXPECT_FALSE(info.error.empty());
    // An explorer's reading: every file, the folders to watch, and to read again only the files it
    // does not know as they are now; the likeness file's fingerprint.
    FileStamp stamp;
    std::error_code failure;
    ASSERT_TRUE(ReadFileStamp((dir / "disc.ico").string(), stamp, failure));
    const std::unordered_map<std::string, FileStamp> known = {{(dir / "disc.ico").string(), stamp},
                                                              {(dir / "stripes.ico").string(), {stamp.modified, 1}}};
    const ExplorerListing listing = ListExplorerTree({.folder = dir.string(), .likeFile = (dir / "disc.ico").string()}, known);
    EXPECT_EQ(std::tuple(listing.paths.size(), std::set(listing.folders.begin(), listing.folders.end()),
                         std::ranges::count(listing.toRead, (dir / "disc.ico").string()), listing.toRead.size()),
              std::tuple(4u, std::set{dir.string(), (dir / "sub").string()}, 0, 3u));
    ASSERT_TRUE(ReadIconFileInfo((dir / "disc.ico").string(), info, true));
    EXPECT_EQ(listing.like, info.likeness);

    const auto found = [&](const SearchCriteria& criteria, bool recursive = true) {
        std::vector<std::string> names;
        int unreadable = -1;
        for (const SearchMatch& m : FindIcons(dir.string(), recursive, criteria, 2, &unreadable))
            names.push_back(fs::path(m.info.path).filename().string());
        EXPECT_EQ(unreadable, criteria.namePattern.empty() ? 1 : 0);
        return names;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(found({}, false), (Names{"disc.ico", "stripes.ico"}));
    // Each condition set on criteria that otherwise ask nothing; size, depth and alpha hold for one
    // format together.
    using Set = std::function<void(SearchCriteria&)>;
    const std::pair<Set, Names> cases[] = {
        {[](SearchCriteria&) {}, {"disc.ico", "stripes.ico", "Disc Big.ICO"}},
        {[](SearchCriteria& c) { c.namePattern = "disc*"; }, {"disc.ico", "Disc Big.ICO"}},
        {[](SearchCriteria& c) { c.sizes = {32}; c.depths = {32}; }, {"disc.ico"}},
        {[](SearchCriteria& c) { c.sizes = {48}; c.depths = {32}; }, {}},
        {[](SearchCriteria& c) { c.sizes = {32}; c.alpha = false; }, {"stripes.ico"}},
        {[](SearchCriteria& c) { c.alpha = true; }, {"disc.ico", "Disc Big.ICO"}},
        {[](SearchCriteria& c) { c.kinds = {IconFileKind::Cursor}; }, {}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SearchCriteria c;
        cases[i].first(c);
        EXPECT_EQ(found(c), cases[i].second) << i;
    }
    // Like the small disc: the discs, nearest first, and not the stripes.
    WriteIcon(dir / ".." / "reference.ico", {{24, 32}});
    ASSERT_TRUE(ReadIconFileInfo((dir / ".." / "reference.ico").string(), info, true));
    SearchCriteria c;
    c.like = info.likeness;
    c.maxDistance = 8;
    const auto like = FindIcons(dir.string(), true, c, 2);
    ASSERT_EQ(like.size(), 2u);
    EXPECT_LE(like[0].distance, like[1].distance);
    // A cancelled search stops before reading anything.
    const std::atomic<bool> cancel{true};
    EXPECT_TRUE(FindIcons(dir.string(), true, SearchCriteria{}, 2, nullptr, &cancel).empty());
}

}  // namespace
}  // namespace tellurine
