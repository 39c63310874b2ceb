// Helpers shared by the icon tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "icon/kv_icon.h"

namespace tellurine::test {

// A blank format of the given size and depth, tagged through its first attribute so that tests
// can tell equal formats apart after sorting.
inline CKvIcon Format(int w, int h, std::uint32_t colors, bool alpha = false, std::uint32_t tag = 0) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, h, colors, alpha), 1);
    icon.SetAttribute1(tag);
    return icon;
}

}  // namespace tellurine::test
