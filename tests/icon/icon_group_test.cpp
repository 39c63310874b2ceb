#include "icon/icon_group.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "icon/icon_doc.h"
#include "image/archive.h"

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::Format;

// Each format as "width x height : bits", with "#tag" when it has a tag.
std::vector<std::string> Describe(const CIconGroup& group) {
    std::vector<std::string> out;
    for (int i = 0; i < group.FormatCount(); ++i) {
        const CKvIcon* f = group.FormatAt(i);
        out.push_back(std::to_string(f->Width()) + "x" + std::to_string(f->Height()) + ":" +
                      std::to_string(CIconGroup::SortBits(*f)));
        if (f->Attribute1() != 0) out.back().append("#").append(std::to_string(f->Attribute1()));
    }
    return out;
}

using Names = std::vector<std::string>;

// A group given copies of the formats one at a time, as a document adds them.
CIconGroup GroupOf(const std::vector<CKvIcon>& formats, bool explorerOrder = false) {
    CIconGroup group;
    group.explorerCompatibleOrder = explorerOrder;
    for (const CKvIcon& f : formats) group.AddFormatCopy(f);
    return group;
}

// Every addition sorts the group in the preference's order; the explorer order can also be asked
// for afterwards. Equal formats keep the order they were added in (the tags show it). A document
// sorted in the order asked for comes out the same.
TEST(IconGroupSort, DefaultAndExplorerOrdersAreStable) {
    struct Case {
        const char* name;
        bool explorerPreference, sortForExplorerAfter;
        std::vector<CKvIcon> formats;
        Names expected;
    };
    const std::vector<CKvIcon> three = {Format(32, 32, 256), Format(16, 16, 0, true), Format(48, 48, 16)};
    const std::vector<CKvIcon> twoAndSixteen = {Format(16, 16, 16), Format(16, 16, 2)};
    const Case cases[] = {
        {"default: by bits, then largest first", false, false, three, {"48x48:4", "32x32:8", "16x16:32"}},
        {"default: taller first among equal widths", false, false,
         {Format(32, 32, 256), Format(16, 16, 0, true), Format(48, 48, 16), Format(32, 16, 256),
          Format(32, 48, 256)},
         {"48x48:4", "32x48:8", "32x32:8", "32x16:8", "16x16:32"}},
        {"explorer afterwards: alpha last", false, true, three, {"32x32:8", "48x48:4", "16x16:32"}},
        {"explorer preference: heights are ignored", true, false,
         {Format(32, 16, 0, true), Format(32, 48, 0, true), Format(16, 16, 0, false)},
         {"16x16:24", "32x16:32", "32x48:32"}},
        {"default: two colours first", false, false, twoAndSixteen, {"16x16:1", "16x16:4"}},
        {"explorer preference: two colours first", true, false, twoAndSixteen, {"16x16:1", "16x16:4"}},
        {"explorer afterwards: equal formats keep their order", false, true,
         {Format(16, 16, 16, false, 1), Format(16, 16, 16, false, 2), Format(16, 16, 16, false, 3),
          Format(16, 16, 2)},
         {"16x16:1", "16x16:4#1", "16x16:4#2", "16x16:4#3"}},
    };
    for (const Case& c : cases) {
        CIconGroup group = GroupOf(c.formats, c.explorerPreference);
        if (c.sortForExplorerAfter) group.SortFormats(true);
        EXPECT_EQ(Describe(group), c.expected) << c.name;
        CIconDoc doc;
        for (const CKvIcon& f : c.formats) doc.AddFormat(CKvIcon(f));
        doc.SortFormats(c.explorerPreference || c.sortForExplorerAfter);
        EXPECT_EQ(Describe(doc.BuildIconGroup()), c.expected) << c.name << ", document";
    }
}

TEST(IconGroupFormats, AddCopiesAndIndexChecks) {
    CIconGroup group;
    CKvIcon source = Format(16, 16, 16);
    ASSERT_EQ(group.AddFormatCopy(source), 1);
    EXPECT_NE(group.FormatAt(0)->GetBlock().data(), source.GetBlock().data());  // a copy, not the source
    EXPECT_TRUE(group.FormatAt(1) == nullptr && group.FormatAt(-1) == nullptr);
    EXPECT_FALSE(group.dirty);

    group.BuildDisplayOrder();
    EXPECT_EQ(group.DisplayOrder().size(), 1u);
    group.AddFormatCopy(Format(32, 32, 16));
    EXPECT_TRUE(group.DisplayOrder().empty());

    group.FormatAt(0)->SecondBlock() = Block::Allocate(4);
    group.current = 1;
    group.ReleaseBitmaps();
    EXPECT_TRUE(group.FormatAt(0)->SecondBlock().empty());
    EXPECT_EQ(group.current, -1);
    group.RemoveAll();
    EXPECT_EQ(group.FormatCount(), 0);
}

TEST(IconGroupFormats, DisplayOrderIsDeepestAndLargestFirst) {
    CIconGroup group = GroupOf(
        {Format(16, 16, 16), Format(32, 32, 16), Format(32, 48, 16), Format(16, 16, 0, true), Format(48, 48, 2)});
    ASSERT_EQ(Describe(group), (Names{"48x48:1", "32x48:4", "32x32:4", "16x16:4", "16x16:32"}));
    group.BuildDisplayOrder();
    EXPECT_EQ(group.DisplayOrder(), (std::vector<std::int32_t>{4, 1, 2, 3, 0}));
    // The picture shown for the group: most pixels (the 48 x 48 one, even at 1 bit), then most bits;
    // nothing for an empty group.
    EXPECT_EQ(group.LargestFormat(), group.FormatAt(0));
    EXPECT_EQ(GroupOf({Format(16, 16, 16), Format(16, 16, 0, true)}).LargestFormat()->BitsPerPixel(), 32);
    EXPECT_EQ(CIconGroup().LargestFormat(), nullptr);
}

// The distance is the two sides' plus twice the depth rank's; ties go to the earliest format.
TEST(IconGroupMatch, BestFormatWeighsDepthTwiceAsMuchAsSizeAndTiesGoToTheEarliest) {
    EXPECT_EQ(CIconGroup().FindBestFormat(16, 48), -1);
    CIconGroup group = GroupOf({Format(16, 16, 0), Format(32, 32, 0)});
    EXPECT_EQ(group.FindBestFormat(24, 48), 0);  // equal distances; 32x32 is stored first
    EXPECT_EQ(group.FormatAt(0)->Width(), 32u);
    group.SortFormats(true);
    EXPECT_EQ(group.FindBestFormat(24, 48), 0);  // now 16x16 is first
    EXPECT_EQ(group.FormatAt(0)->Width(), 16u);
    EXPECT_EQ(group.FindBestFormat(30, 48), 1);

    group = GroupOf({Format(32, 32, 2), Format(32, 32, 16), Format(16, 16, 0, true)});
    // 32 bits wanted at 32: 16x16 alpha is 32, the 16-colour 32x32 is 96 away.
    EXPECT_EQ(group.FindBestFormat(32, 64), 2);
    EXPECT_EQ(group.FindBestDisplayFormat(1, 0, 1.0), 0);  // rank 1 is nearest the 2-colour format
    EXPECT_EQ(group.FindBestDisplayFormat(1, 3, 1.0), 2);
    for (const auto& [size, depth] : {std::pair{5, 0}, {0, 4}, {-1, 0}})
        EXPECT_EQ(group.FindBestDisplayFormat(size, depth, 1.0), -1) << size << "," << depth;
}

TEST(IconGroupMatch, ScaledDisplaySizeLagsOneCall) {
    CIconGroup group = GroupOf({Format(48, 48, 0), Format(96, 96, 0)});
    const int big = group.FormatAt(0)->Width() == 96 ? 0 : 1;
    (void)group.FindBestDisplayFormat(4, 2, 1.0);  // settles the entry at 48
    EXPECT_EQ(group.FindBestDisplayFormat(4, 2, 2.0), 1 - big);  // still 48
    EXPECT_EQ(group.FindBestDisplayFormat(4, 2, 1.0), big);      // 96 from the previous call
    EXPECT_EQ(group.FindBestDisplayFormat(4, 2, 1.0), 1 - big);
    (void)group.FindBestDisplayFormat(0, 2, 2.0);  // any size index refreshes it
    EXPECT_EQ(group.FindBestDisplayFormat(4, 2, 1.0), big);
}

std::vector<std::uint8_t> Archived(CIconGroup& group) {
    Archive ar = Archive::ForStoring();
    EXPECT_TRUE(group.Serialize(ar));
    return ar.TakeBytes();
}

TEST(IconGroupArchive, RoundTripsEveryFormatAndSkipsEmptyEntries) {
    CIconGroup group = GroupOf({Format(16, 16, 16), Format(48, 48, 0, true)});
    const std::vector<std::uint8_t> bytes = Archived(group);
    ASSERT_EQ(bytes.size(), 2 + 4 + 296 + 4 + 9640u);
    EXPECT_EQ(bytes[2] | (bytes[3] << 8), 296);

    Archive in = Archive::ForLoading(bytes);
    CIconGroup loaded;
    ASSERT_TRUE(loaded.Serialize(in));
    EXPECT_EQ(Describe(loaded), Describe(group));
    EXPECT_EQ(Archived(loaded), bytes);

    // An empty entry reads back one shorter.
    group = GroupOf({Format(16, 16, 16), CKvIcon(), Format(32, 32, 2)});
    std::vector<std::uint8_t> withEmpty = Archived(group);
    EXPECT_EQ(withEmpty[0], 3);
    withEmpty[2] = 1;  // the stored size does not bound the read
    Archive again = Archive::ForLoading(withEmpty);
    CIconGroup skipped;
    ASSERT_TRUE(skipped.Serialize(again));
    EXPECT_EQ(skipped.FormatCount(), 2);
}

TEST(IconGroupArchive, ShortOrBadDataFailsAndChangesNothing) {
    CIconGroup group = GroupOf({Format(16, 16, 16), Format(32, 32, 16)});
    const std::vector<std::uint8_t> bytes = Archived(group);
    // Cuts in headers or colour pixels (the last 32 x 32 image's mask is its last 128 bytes).
    for (std::size_t cut : {std::size_t{1}, std::size_t{5}, std::size_t{100}, bytes.size() - 129}) {
        const std::vector<std::uint8_t> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
        Archive in = Archive::ForLoading(part);
        CIconGroup loaded = GroupOf({Format(8, 8, 2)});
        EXPECT_FALSE(loaded.Serialize(in)) << cut;
        EXPECT_EQ(loaded.FormatCount(), 1) << cut;
    }
    std::vector<std::uint8_t> lying = bytes;
    lying[0] = 0xFF;  // more entries than the data holds
    lying[1] = 0xFF;
    Archive in = Archive::ForLoading(lying);
    CIconGroup loaded;
    EXPECT_FALSE(loaded.Serialize(in));
    EXPECT_EQ(loaded.FormatCount(), 0);
}

}  // namespace
}  // namespace tellurine
