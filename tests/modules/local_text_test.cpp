// Values put into a text for people.

#include <common/LocalText.h>

#include <gtest/gtest.h>

namespace krel5::modules::test {
namespace {

TEST(LocalText, IsFilledInWhereverAVariableIsAndOnceEach)
{
    EXPECT_EQ(filledIn("{A}{A} {B}, {C} {", {{"A", "a value"}, {"B", ""}}), "a valuea value , {C} {");
    EXPECT_EQ(filledIn("{A} {A}", {{"A", "<{A}>"}}), "<{A}> <{A}>") << "a value is not looked into";
}

} // namespace
} // namespace krel5::modules::test
