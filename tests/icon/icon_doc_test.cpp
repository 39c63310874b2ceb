#include "icon/icon_doc.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::Format;

struct DepthCase {
    std::uint32_t colors;
    bool alpha;
    int bits;
};
class IconObjectDepth : public ::testing::TestWithParam<DepthCase> {};

TEST_P(IconObjectDepth, AttachingAnImageTakesItsFormat) {
    const DepthCase d = GetParam();
    CIconObject object;
    EXPECT_EQ(object.Width(), 32);
    EXPECT_EQ(object.Height(), 32);
    object.AttachIcon(Format(48, 20, d.colors, d.alpha));
    EXPECT_EQ(object.Width(), 48);
    EXPECT_EQ(object.Height(), 20);
    EXPECT_EQ(object.ColorCount(), d.colors);
    EXPECT_EQ(object.HasAlpha(), d.alpha);
    EXPECT_EQ(object.BitCount(), d.bits);
    EXPECT_EQ(object.IsPaletteFormat(), d.bits == 8);
    EXPECT_EQ(object.Icon().Width(), 48u);
}

INSTANTIATE_TEST_SUITE_P(Depths, IconObjectDepth,
                         ::testing::Values(DepthCase{2, false, 1}, DepthCase{16, false, 4}, DepthCase{256, false, 8},
                                           DepthCase{0, false, 24}, DepthCase{0, true, 32}));

TEST(IconDocFormats, IndexOutsideTheArrayGivesNothing) {
    CIconDoc doc;
    EXPECT_EQ(doc.GetFormat(0), nullptr);
    doc.AddFormat(Format(16, 16, 16));
    ASSERT_NE(doc.AddBlankFormat(32, 32, 0, true), nullptr);
    EXPECT_EQ(doc.AddBlankFormat(0, 32, 0, true), nullptr);
    EXPECT_EQ(doc.AddBlankFormat(32, 32, 33, false), nullptr);
    ASSERT_EQ(doc.GetFormatCount(), 2);
    EXPECT_EQ(doc.GetFormat(-1), nullptr);
    EXPECT_EQ(doc.GetFormat(2), nullptr);
    EXPECT_EQ(doc.GetFormat(1)->BitCount(), 32);
    EXPECT_FALSE(doc.DeleteFormat(2));
    EXPECT_TRUE(doc.DeleteFormat(0));
    ASSERT_EQ(doc.GetFormatCount(), 1);
    EXPECT_EQ(doc.GetFormat(0)->BitCount(), 32);
}

// The document sorts exactly as the icon group does, in both orders, and keeps equal formats in
// their order. Tags tell equal formats apart.
TEST(IconDocSort, MatchesTheGroupOrderAndIsStable) {
    const std::vector<CKvIcon> formats = {
        Format(32, 32, 256, false, 1), Format(16, 16, 0, true, 2),   Format(48, 48, 16, false, 3),
        Format(32, 32, 256, false, 4), Format(32, 16, 256, false, 5), Format(256, 256, 0, true, 6),
        Format(16, 16, 2, false, 7),   Format(48, 48, 0, false, 8),   Format(32, 48, 256, false, 9),
        Format(16, 16, 0, true, 10)};
    for (const bool explorer : {false, true}) {
        CIconDoc doc;
        CIconGroup group;
        group.explorerCompatibleOrder = explorer;
        for (const CKvIcon& f : formats) {
            doc.AddFormat(CKvIcon(f));
            group.AddFormatCopy(f);
        }
        doc.SortFormats(explorer);
        std::vector<std::uint32_t> fromDoc, fromGroup;
        for (int i = 0; i < doc.GetFormatCount(); ++i) fromDoc.push_back(doc.GetFormat(i)->Icon().Attribute1());
        for (int i = 0; i < group.FormatCount(); ++i) fromGroup.push_back(group.FormatAt(i)->Attribute1());
        EXPECT_EQ(fromDoc, fromGroup) << "explorer " << explorer;
        const std::vector<std::uint32_t> expected =
            explorer ? std::vector<std::uint32_t>{7, 1, 4, 5, 9, 3, 8, 2, 10, 6}
                     : std::vector<std::uint32_t>{7, 3, 9, 1, 4, 5, 8, 6, 2, 10};
        EXPECT_EQ(fromDoc, expected) << "explorer " << explorer;
    }
}

TEST(IconDocGroup, BuildsCopiesInArrayOrder) {
    CIconDoc doc;
    doc.name = "app";
    doc.AddFormat(Format(16, 16, 0, true, 1));
    doc.AddFormat(Format(48, 48, 2, false, 2));
    doc.GetFormat(0)->Icon().SetCompressed(true);
    bool ok = false;
    CIconGroup group = doc.BuildIconGroup(&ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(group.name, "app");
    ASSERT_EQ(group.FormatCount(), 2);
    EXPECT_EQ(group.FormatAt(0)->Attribute1(), 1u);  // not re-sorted
    EXPECT_TRUE(group.FormatAt(0)->IsCompressed());
    EXPECT_NE(group.FormatAt(1)->GetBlock().data(), doc.GetFormat(1)->Icon().GetBlock().data());
    EXPECT_EQ(group.FormatAt(1)->BlockSize(), doc.GetFormat(1)->Icon().BlockSize());
}

}  // namespace
}  // namespace tellurine
