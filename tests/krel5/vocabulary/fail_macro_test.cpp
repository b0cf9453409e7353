// A test program of an author's own, with the macros of its framework as they come.
#undef GTEST_DONT_DEFINE_FAIL
#include <gtest/gtest.h>

#include <krel5/krel5.h>

#ifndef FAIL
#error "the framework has given up its macro FAIL: nothing is shown here"
#endif

TEST(TestResult, livesBesideAMacroOfTheNameFail) { EXPECT_EQ((krel5::TestResult::FAIL)().value(), 23); }
