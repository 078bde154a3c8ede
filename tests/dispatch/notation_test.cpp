// Bytes and their readable form, both ways.
#include "dispatch/notation.h"

#include <gtest/gtest.h>

namespace mvsms::dispatch {
namespace {

TEST(Notation, NamesControlCharacters) {
  EXPECT_EQ(NotationOf("\x02\r\x06\x1B\x7F\xE4 x"), "<STX><CR><ACK><ESC><7F><E4> x");
}

TEST(Notation, ReadsNamesAndCodes) {
  EXPECT_EQ(BytesOfNotation("<STX><1B><x1b><XON><DC1><SP>"), "\x02\x1B\x1B\x11\x11 ");
}

TEST(Notation, LeavesAnyOtherAngleBracketAlone) {
  EXPECT_EQ(BytesOfNotation("a < b <CR <NONE> <> <"), "a < b <CR <NONE> <> <");
}

TEST(Notation, GivesEveryByteBack) {
  std::string bytes;
  for (int code = 0; code < 256; ++code) bytes += static_cast<char>(code);
  EXPECT_EQ(BytesOfNotation(NotationOf(bytes)), bytes);
}

TEST(Notation, GivesATextBackThatLooksLikeACode) {
  EXPECT_EQ(NotationOf("a < b <STX> <1B>"), "a < b <3C>STX> <3C>1B>");
  EXPECT_EQ(BytesOfNotation(NotationOf("<STX> <x41> <")), "<STX> <x41> <");
}

TEST(Notation, ReadsPairsOfHexadecimalDigits) {
  EXPECT_EQ(BytesOfHex("1b65"), "\x1B\x65");
  EXPECT_EQ(BytesOfHex(""), "");
  EXPECT_EQ(BytesOfHex("1B6"), std::nullopt);
  EXPECT_EQ(BytesOfHex("1G"), std::nullopt);
}

}  // namespace
}  // namespace mvsms::dispatch
