// The shared printing and parsing of the commands.
#include "cli/context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;

std::string Table(const std::vector<std::vector<std::string>>& rows) {
  std::istringstream in;
  std::ostringstream out, err;
  Context("/nowhere", in, out, err).PrintTable(rows);
  return out.str();
}

TEST(PrintTable, PadsByCharactersAndLeavesNoBlanksAtTheEnd) {
  EXPECT_EQ(Table({{"NAME", "X"}, {"Köln", "1"}, {"A", ""}}), "NAME  X\nKöln  1\nA\n");
}

TEST(PrintTable, LetsNoCellSteerTheTerminal) {
  EXPECT_EQ(Table({{"NAME", "X"}, {"svc\x1B[2J\nEvil", "1"}}),
            "NAME                 X\nsvc<ESC>[2J<LF>Evil  1\n");
}

// Some terminals obey U+009B as they obey ESC [.
TEST(PrintJson, LetsNoTextSteerTheTerminal) {
  std::istringstream in;
  std::ostringstream out, err;
  Context context("/nowhere", in, out, err);
  context.json_lines = true;
  context.PrintJson(
      {"\xC2\x9B"
       "2J"});
  EXPECT_EQ(out.str(), "[\"\\u009b2J\"]\n");
}

TEST(Printable, NamesEveryControlCharacterAndKeepsTheRest) {
  EXPECT_EQ(Printable("\r\n\x1B[p\r"), "<CR><LF><ESC>[p<CR>");
  EXPECT_EQ(Printable("\x02"
                      "00/\x03\x7F"),
            "<STX>00/<ETX><DEL>");
  EXPECT_EQ(Printable("Grüße €"), "Grüße €");
  EXPECT_EQ(Printable(std::string(1, '\0')), "<NUL>");
}

// Some terminals obey U+009B and U+0090 as they obey ESC [ and ESC P.
TEST(Printable, NamesTheControlCharactersBeyondAsciiToo) {
  EXPECT_EQ(Printable("\xC2\x80\xC2\x9B"
                      "2J\xC2\x9F"),
            "<80><9B>2J<9F>");
  EXPECT_EQ(Printable("\xC2\xA0\xC3\x84\xC2"), "\xC2\xA0\xC3\x84\xC2");
}

TEST(ParseNumber, TakesWholeNumbersWithinTheBounds) {
  EXPECT_EQ(ParseNumber("N", "0", 0, 9), 0);
  EXPECT_EQ(ParseNumber("N", "9", 0, 9), 9);
  for (const char* text :
       {"", " 1", "1 ", "+1", "-1", "10", "0x1", "1.0", "99999999999999999999"}) {
    EXPECT_THROW(ParseNumber("N", text, 0, 9), UsageError) << text;
  }
}

}  // namespace
}  // namespace mvsms::cli
