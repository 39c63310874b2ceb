#include <gtest/gtest.h>
#include "image/dib_block.h"
TEST(Smoke, Builds) { EXPECT_EQ(tellurine::DibBitCount(tellurine::CreateDibBlock(2, 2, 33)), 4); }
