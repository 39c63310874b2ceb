// Helpers shared by the icon tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "icon/kv_icon.h"

namespace tellurine::test {

// The depths an icon image can have, as SetFormat takes them and as the block stores them.
struct Depth {
    std::uint32_t colors;
    bool alpha;
    int bits;
};
inline constexpr Depth kDepths[] = {{2, false, 1}, {16, false, 4}, {256, false, 8}, {0, false, 24}, {0, true, 32}};

// A blank format of the given size and depth, tagged through its first attribute so that tests
// can tell equal formats apart after sorting.
inline CKvIcon Format(int w, int h, std::uint32_t colors, bool alpha = false, std::uint32_t tag = 0) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 1);
    icon.SetAttribute1(tag);
    return icon;
}

// The colour row and the AND-mask row y of an icon block, y counting from the top of the picture;
// writable through a writable icon.
template <typename Icon>
auto ColorRow(Icon& icon, int y) {
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    return icon.GetBlock().data() + l.pixelOffset + l.colorStride * (icon.Height() - 1 - y);
}
template <typename Icon>
auto AndRow(Icon& icon, int y) {
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    return icon.GetBlock().data() + l.maskOffset + l.maskStride * (icon.Height() - 1 - y);
}
inline int AndBit(const CKvIcon& icon, int x, int y) { return ReadIndex(AndRow(icon, y), x, 1); }

}  // namespace tellurine::test
