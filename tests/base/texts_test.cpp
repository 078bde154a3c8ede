// Operations on texts.
#include "base/texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mvsms {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Digits, AreTheTenOfAsciiOnly) {
  EXPECT_TRUE(IsDigit('0') && IsDigit('9'));
  EXPECT_FALSE(IsDigit('/') || IsDigit(':') || IsDigit('\xB2'));
  EXPECT_TRUE(AllDigits("0171"));
  EXPECT_TRUE(AllDigits(""));
  EXPECT_FALSE(AllDigits("0171 2"));
}

TEST(Trim, RemovesBlanksAtBothEndsAndNothingElse) {
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(Trim("a"), "a");
  EXPECT_EQ(Trim("\t a\r\n "), "\t a\r\n");
  EXPECT_EQ(Trim(" \xA0 "), "\xA0");
  EXPECT_THAT(Trim("   "), IsEmpty());
  EXPECT_THAT(Trim(""), IsEmpty());
}

TEST(KeepDigits, DropsEveryOtherCharacter) {
  EXPECT_EQ(KeepDigits("123-456 7"), "1234567");
  EXPECT_EQ(KeepDigits("\xB2\xB3\xB9"), "");  // superscript digits are none
  EXPECT_EQ(KeepDigits(""), "");
}

TEST(Splitting, GivesEveryPiece) {
  EXPECT_THAT(Split("", ','), ElementsAre());
  EXPECT_THAT(Split("a", ','), ElementsAre("a"));
  EXPECT_THAT(Split(",a,,", ','), ElementsAre("", "a", "", ""));
}

}  // namespace
}  // namespace mvsms
