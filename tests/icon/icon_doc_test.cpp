#include "icon/icon_doc.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::Format;

TEST(IconObject, AttachingAnImageTakesItsFormat) {
    EXPECT_EQ(CIconObject().Width(), 32);
    EXPECT_EQ(CIconObject().Height(), 32);
    for (const test::Depth& d : test::kDepths) {
        CIconObject object;
        object.AttachIcon(Format(48, 20, d.colors, d.alpha));
        EXPECT_EQ(object.Width(), 48);
        EXPECT_EQ(object.Height(), 20);
        EXPECT_EQ(object.ColorCount(), d.colors);
        EXPECT_EQ(object.HasAlpha(), d.alpha);
        EXPECT_EQ(object.BitCount(), d.bits);
        EXPECT_EQ(object.IsPaletteFormat(), d.bits == 8);
        EXPECT_EQ(object.Icon().Width(), 48u);
    }
}

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
