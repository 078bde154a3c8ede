// Reading numbers from texts.
#include "base/numbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "base/raised_error.h"

namespace mvsms {
namespace {

using ::testing::IsEmpty;

// The error that reading `value` raises, as "number: description"; "none" when there is none.
template <typename Value>
std::string ErrorOfToLong(Value value) {
  try {
    ToLong(value);
    return "none";
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.source(), "mvSMS");
    return std::to_string(error.number()) + ": " + error.description();
  }
}

TEST(Val, ReadsTheNumberThatTheTextBeginsWith) {
  EXPECT_EQ(Val("51"), 51);
  EXPECT_EQ(Val("01"), 1);
  EXPECT_EQ(Val("  7 days"), 7);
  EXPECT_EQ(Val("-3x"), -3);
  EXPECT_EQ(Val("+4"), 4);
  EXPECT_EQ(Val("1.5,2"), 1.5);
  EXPECT_EQ(Val(".25"), 0.25);
  EXPECT_EQ(Val(".5"), 0.5);
  EXPECT_EQ(Val("5."), 5);
  EXPECT_EQ(Val("2e3"), 2000);
  EXPECT_EQ(Val("2E-1"), 0.2);
  EXPECT_EQ(Val("3e"), 3);
  EXPECT_EQ(Val("3e+"), 3);
}

TEST(Val, IsZeroForATextThatBeginsWithNoNumber) {
  for (const char* text :
       {"",    " ",   "abc", "x5",  "-",        "+",    ".",   "-.",   "e5",   "--1",
        "+-1", "- 1", "inf", "nan", "infinity", "-inf", "\t5", "&HFF", "0x10", ".x5"})
    EXPECT_EQ(Val(text), 0) << text;
}

TEST(Val, OfATextThatIsNoCStringStopsAtItsEnd) {
  EXPECT_EQ(Val(std::string_view("123456", 3)), 123);
  EXPECT_EQ(Val(std::string_view("\0"
                                 "12",
                                 3)),
            0);
}

TEST(Val, IsInfiniteBeyondTheRangeOfADouble) {
  EXPECT_EQ(Val("1e999"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(Val("-1e999"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(Val("1e-999"), 0);
  EXPECT_EQ(Val("1E-999"), 0);
}

TEST(ToLong, RoundsHalvesToTheEvenNumber) {
  EXPECT_EQ(ToLong(0.5), 0);
  EXPECT_EQ(ToLong(1.5), 2);
  EXPECT_EQ(ToLong(2.5), 2);
  EXPECT_EQ(ToLong(-0.5), 0);
  EXPECT_EQ(ToLong(-1.5), -2);
  EXPECT_EQ(ToLong(2.4999), 2);
  EXPECT_EQ(ToLong(2.5001), 3);
}

TEST(ToLong, OverflowsOutside32Bits) {
  EXPECT_EQ(ToLong(2147483647.0), 2147483647);
  EXPECT_EQ(ToLong(2147483647.4), 2147483647);
  EXPECT_EQ(ToLong(-2147483648.0), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(ToLong(-2147483648.5), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(ErrorOfToLong(2147483647.5), "6: Overflow");
  EXPECT_EQ(ErrorOfToLong(-2147483649.0), "6: Overflow");
  EXPECT_EQ(ErrorOfToLong(std::numeric_limits<double>::infinity()), "6: Overflow");
  EXPECT_EQ(ErrorOfToLong(std::numeric_limits<double>::quiet_NaN()), "6: Overflow");
  EXPECT_EQ(ErrorOfToLong(std::string_view("2147483648")), "6: Overflow");
  EXPECT_EQ(ErrorOfToLong(std::string_view("1e999")), "6: Overflow");
}

TEST(ToLong, ReadsATextThatIsANumber) {
  EXPECT_EQ(ToLong("160"), 160);
  EXPECT_EQ(ToLong(" 160 "), 160);
  EXPECT_EQ(ToLong("-1"), -1);
  EXPECT_EQ(ToLong("+08"), 8);
  EXPECT_EQ(ToLong("2.5"), 2);
  EXPECT_EQ(ToLong("3."), 3);
  EXPECT_EQ(ToLong("1e2"), 100);
}

TEST(ToLong, OfAnEmptyTextIsZero) { EXPECT_EQ(ToLong(""), 0); }

TEST(ToLong, OfAnyOtherTextIsATypeMismatch) {
  for (const char* text : {" ", "abc", "12a", "1 2", "--1", "-", ".", "1e", "1,5", "12\r\n", "inf",
                           "nan", "\t1", "0x10"})
    EXPECT_EQ(ErrorOfToLong(std::string_view(text)), "13: Type mismatch") << text;
}

TEST(NumberText, IsTheNumberThatATextBeginsWith) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "0"},      {"abc", "0"},   {"160", "160"},
      {" 12x", "12"}, {"-3", "-3"},   {"-0", "0"},
      {"1.5", "1.5"}, {"0.1", "0.1"}, {"99999999999", "99999999999"}};
  for (const auto& [stored, shown] : rows) EXPECT_EQ(NumberText(stored), shown);
  EXPECT_THROW(NumberText("1e400"), RaisedError);
}

}  // namespace
}  // namespace mvsms
