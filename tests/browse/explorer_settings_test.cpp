#include "browse/explorer_settings.h"

#include <gtest/gtest.h>

namespace tellurine {
namespace {

TEST(ExplorerSettings, ReadBackWhatIsWrittenAndRefuseWhatDoesNotRead) {
    ExplorerSettings s;
    s.folder = "/home/ann/my icons";
    s.subfolders = false;
    s.sort = ExplorerSort::Date;
    s.descending = true;
    s.criteria.kinds = {IconFileKind::Icon, IconFileKind::Library};
    s.criteria.sizes = {32, 48};
    s.criteria.depths = {32};
    s.criteria.alpha = false;
    s.criteria.namePattern = "app=*";
    s.likeFile = "/home/ann/app.ico";
    s.criteria.maxDistance = 7;
    ExplorerSettings back;
    std::string error;
    ASSERT_TRUE(ReadExplorerSettings(WriteExplorerSettings(s), back, error)) << error;
    EXPECT_EQ(WriteExplorerSettings(back), WriteExplorerSettings(s));
    EXPECT_EQ(back.criteria.alpha, std::optional<bool>(false));
    EXPECT_EQ(back.criteria.namePattern, "app=*");
    // Unknown names are passed over, CRLF lines read, and what is not said keeps its default.
    ASSERT_TRUE(ReadExplorerSettings("Tellurine Explorer 1\r\nfolder=/x\r\ncolour=red\r\n\r\n", back, error));
    EXPECT_EQ(back.folder, "/x");
    EXPECT_TRUE(back.subfolders);
    EXPECT_FALSE(back.criteria.alpha.has_value());

    const std::string head = "Tellurine Explorer 1\nfolder=/x\n";
    const std::pair<std::string, std::string> refused[] = {
        {"", "not an explorer file"}, {"Tellurine Explorer 2\nfolder=/x\n", "not an explorer file"},
        {"Tellurine Explorer 1\nsort=name\n", "no folder"}, {head + "sort=sideways\n", "sort"},
        {head + "sizes=32,x\n", "sizes"}, {head + "sizes=99999\n", "sizes"}, {head + "depths=-1\n", "depths"},
        {head + "kinds=icon,sprite\n", "kinds"}, {head + "subfolders=2\n", "subfolders"},
        {head + "distance=65\n", "distance"}, {head + "alpha=yes\n", "alpha"},
    };
    for (const auto& [text, word] : refused) {
        ExplorerSettings kept = s;
        EXPECT_FALSE(ReadExplorerSettings(text, kept, error)) << text;
        EXPECT_NE(error.find(word), std::string::npos) << error;
        EXPECT_EQ(WriteExplorerSettings(kept), WriteExplorerSettings(s));
    }
}

TEST(ExplorerSettings, OrdersByNameDateOrSizeThenName) {
    const auto file = [](const char* path, std::int64_t modified, std::uintmax_t bytes) {
        IconFileInfo f;
        f.path = path;
        f.modified = modified;
        f.bytes = bytes;
        return f;
    };
    const IconFileInfo a = file("/z/Apple.ico", 300, 10), b = file("/a/banana.ico", 100, 10),
                       c = file("/m/cherry.ico", 200, 5);
    const struct {
        ExplorerSort sort;
        bool descending;
        std::vector<const IconFileInfo*> order;
    } cases[] = {
        {ExplorerSort::Name, false, {&a, &b, &c}},
        {ExplorerSort::Name, true, {&c, &b, &a}},
        {ExplorerSort::Date, false, {&b, &c, &a}},
        {ExplorerSort::Size, false, {&c, &a, &b}},
        {ExplorerSort::Size, true, {&b, &a, &c}},
    };
    for (const auto& k : cases) {
        std::vector<const IconFileInfo*> sorted = {&c, &a, &b};
        std::sort(sorted.begin(), sorted.end(), [&](const IconFileInfo* x, const IconFileInfo* y) {
            return ExplorerBefore(*x, *y, k.sort, k.descending);
        });
        EXPECT_EQ(sorted, k.order) << static_cast<int>(k.sort) << k.descending;
    }
}

}  // namespace
}  // namespace tellurine
