#include <gtest/gtest.h>

#include "model/id_list.h"

namespace vaxel {
namespace {

TEST(IdList, GrowsPastTheInlineRoomAndKeepsOrder) {
    IdList list;
    for (uint32_t i = 0; i < 100; ++i) ASSERT_TRUE(list.push_back(i));
    ASSERT_EQ(list.size(), 100u);
    for (uint32_t i = 0; i < 100; ++i) EXPECT_EQ(list[i], i);
    IdList copy = list;
    list.erase(0);
    EXPECT_EQ(list[0], 1u);
    EXPECT_EQ(copy[0], 0u);
    EXPECT_TRUE(list.insert(50, 777));
    EXPECT_EQ(list[50], 777u);
    EXPECT_EQ(list[51], 51u);
    list.push_back(777);
    EXPECT_EQ(list.remove(777), 2u);
    EXPECT_EQ(list.indexOf(777), -1);
    EXPECT_EQ(list.size(), 99u);
    IdList small;
    small.push_back(9);
    small.swap(copy);
    EXPECT_EQ(small.size(), 100u);
    EXPECT_EQ(copy.size(), 1u);
    EXPECT_EQ(copy[0], 9u);
}

} // namespace
} // namespace vaxel
