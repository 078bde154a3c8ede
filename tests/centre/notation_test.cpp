// The notation of control characters.
#include "centre/notation.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace mvsms::centre {
namespace {

TEST(Notation, NamesEveryControlCharacter) {
  EXPECT_EQ(ToNotation("\x02\x03\x17\x1F\x1A\x04\x1E"), "<STX><ETX><ETB><US><SUB><EOT><RS>");
  EXPECT_EQ(FromNotation("<NUL><DC1><sp><Esc>"), std::string("\0\x11 \x1B", 4));
}

TEST(Notation, EveryByteComesBack) {
  std::string all;
  for (int code = 0; code < 256; ++code) all += static_cast<char>(code);
  EXPECT_EQ(FromNotation(ToNotation(all)), all);
  for (const char c : all) EXPECT_EQ(FromNotation(ToNotation({&c, 1})), std::string(1, c));
}

TEST(Notation, HexadecimalCodesGiveWayToNames) {
  EXPECT_EQ(FromNotation("<8d><3C><ff><xFF><LT>"), "\x8D<\x0C\xFF<");
}

TEST(Notation, CommonNamesOfFlowControlAreUnderstood) {
  EXPECT_EQ(FromNotation("<XON><XOFF><TAB><DEL>"), "\x11\x13\x09\x7F");
}

TEST(Notation, UnknownNamesAndOpenBracketsAreErrors) {
  for (const char* text : {"<FOO>", "<>", "<CR", "a < b", "<123>", "<x1>", "<+1>"})
    EXPECT_THROW(FromNotation(text), std::invalid_argument) << text;
}

}  // namespace
}  // namespace mvsms::centre
