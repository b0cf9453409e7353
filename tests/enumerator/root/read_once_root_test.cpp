#include "../MemoryRoot.h"

#include <zel/enumerator/root/ReadOnceRoot.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

TEST(ReadOnceRoot, AnswersAsTheRootDoes)
{
    MemoryRoot root;
    root.file("a", "0123456789").file("empty", "").unreadable("broken");
    ReadOnceRoot const once(root);
    EXPECT_EQ(once.read("a", 4), "0123");
    EXPECT_EQ(once.read("a", 2), "01");
    EXPECT_EQ(root.reads().at("a"), 1);
    EXPECT_EQ(once.read("a", 10), "0123456789") << "more than was remembered";
    EXPECT_EQ(once.read("a", 10), "0123456789");
    EXPECT_EQ(once.read("a", 4), "0123");
    EXPECT_EQ(root.reads().at("a"), 2);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(once.read("empty", 4), "");
        EXPECT_EQ(once.read("broken", 4), std::nullopt);
        EXPECT_EQ(once.read("missing", 4), std::nullopt);
    }
    EXPECT_EQ(root.reads().at("broken"), 1);
}
