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

TEST(Printable, NamesEveryControlCharacterAndKeepsTheRest) {
  EXPECT_EQ(Printable("\r\n\x1B[p\r"), "<CR><LF><ESC>[p<CR>");
  EXPECT_EQ(Printable("\x02"
                      "00/\x03\x7F"),
            "<STX>00/<ETX><DEL>");
  EXPECT_EQ(Printable("Grüße €"), "Grüße €");
  EXPECT_EQ(Printable(std::string(1, '\0')), "<NUL>");
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
