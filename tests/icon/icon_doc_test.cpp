#include "icon/icon_doc.h"

#include <gtest/gtest.h>

#include <tuple>

#include "icon/icon_test_support.h"

namespace tellurine {
namespace {

using test::Format;

TEST(IconObject, AttachingAnImageTakesItsFormat) {
    EXPECT_EQ(std::pair(CIconObject().Width(), CIconObject().Height()), std::pair(32, 32));
    for (const test::Depth& d : test::kDepths) {
        CIconObject object;
        object.AttachIcon(Format(48, 20, d.colors, d.alpha));
        EXPECT_EQ(std::tuple(object.Width(), object.Height(), object.ColorCount(), object.HasAlpha(), object.BitCount(),
                             object.IsPaletteFormat(), object.Icon().Width()),
                  std::tuple(48, 20, d.colors, d.alpha, d.bits, d.bits == 8, 48u));
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
    // Not re-sorted; the compression flag copied.
    EXPECT_EQ(std::pair(group.FormatAt(0)->Attribute1(), group.FormatAt(0)->IsCompressed()), std::pair(1u, true));
    EXPECT_NE(group.FormatAt(1)->GetBlock().data(), doc.GetFormat(1)->Icon().GetBlock().data());
    EXPECT_EQ(group.FormatAt(1)->BlockSize(), doc.GetFormat(1)->Icon().BlockSize());
}

}  // namespace
}  // namespace tellurine
