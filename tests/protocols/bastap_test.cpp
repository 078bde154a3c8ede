// TAP notation, message texts and checksums.
#include "protocols/bastap.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "protocols/char_tables.h"
#include "tests/protocols/expected_tables.h"
#include "tests/protocols/random_text.h"

namespace mvsms::basTAP {
namespace {

constexpr char kRefusal[] = "Error in function: CalcTAPCheckSum - Type mismatch";

// The outcome of a text check: the text, or the error text in square brackets.
std::string Checked(std::string_view text, std::int32_t message_type) {
  std::string error = "untouched";
  const std::string result = CheckTAPMessageText(text, error, message_type);
  return error == "untouched" ? result : "[" + error + "]" + result;
}
std::string Refused() { return std::string("[") + kRefusal + "]"; }

std::string CheckSumOf(std::string_view block) {
  std::string error;
  const std::string checksum = CalcTAPCheckSum(block, error);
  return error.empty() ? checksum : "[" + error + "]" + checksum;
}

TEST(ReplaceAll, ReplacesEveryOccurrenceFromLeftToRight) {
  EXPECT_EQ(ReplaceAll("abcabc", "b", "-"), "a-ca-c");
  EXPECT_EQ(ReplaceAll("aaaaa", "aa", "b"), "bba");
  EXPECT_EQ(ReplaceAll("a//b", "/", ""), "ab");
  EXPECT_EQ(ReplaceAll("abc", "abc", "x"), "x");
}

TEST(ReplaceAll, DoesNotSearchInsertedText) {
  EXPECT_EQ(ReplaceAll("aba", "a", "aa"), "aabaa");
  EXPECT_EQ(ReplaceAll("xay", "a", "x"), "xxy");
  EXPECT_EQ(ReplaceAll("aab", "ab", "b"), "ab");  // "ab" that only arises is left alone
}

TEST(ReplaceAll, ReturnsATextWithoutTheSearchTextUnchanged) {
  EXPECT_EQ(ReplaceAll("abc", "B", "x"), "abc");
  EXPECT_EQ(ReplaceAll("", "a", "x"), "");
  EXPECT_EQ(ReplaceAll("ab", "abc", "x"), "ab");
  EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
}

TEST(ReplaceAll, ComparesBytes) {
  EXPECT_EQ(ReplaceAll(std::string_view("a\0b\xA7", 4), std::string_view("\0", 1), "0"), "a0b\xA7");
  EXPECT_EQ(ReplaceAll("\xA7\xE4", "\xE4", "\xC4"), "\xA7\xC4");
}

TEST(ControlCodesToNames, NamesEachControlCharacterOfTheTable) {
  const struct {
    char code;
    const char* name;
  } rows[] = {{13, "<CR>"},  {6, "<ACK>"}, {27, "<ESC>"},  {30, "<RS>"}, {4, "<EOT>"},
              {21, "<NAK>"}, {10, "<LF>"}, {19, "<XOFF>"}, {17, "<XON>"}};
  for (const auto& [code, name] : rows) EXPECT_EQ(ControlCodesToNames({&code, 1}), name);
}

TEST(ControlCodesToNames, LeavesEveryOtherCharacterAsItIs) {
  const std::string named = "\r\x06\x1B\x1E\x04\x15\n\x13\x11";
  for (int code = 0; code < 256; ++code) {
    const std::string text(1, static_cast<char>(code));
    if (named.find(text) != named.npos) continue;
    EXPECT_EQ(ControlCodesToNames(text), text) << code;
  }
}

TEST(ControlCodesToNames, NamesCodesWrittenTogether) {
  EXPECT_EQ(ControlCodesToNames("\r\x06\r"), "<CR><ACK><CR>");
  EXPECT_EQ(ControlCodesToNames("\r\n"), "<CR><LF>");
  EXPECT_EQ(ControlCodesToNames("\x02"
                                "1\rA\r\x03"
                                "091\r"),
            "\x02"
            "1<CR>A<CR>\x03"
            "091<CR>");
  EXPECT_EQ(ControlCodesToNames("<CR>"), "<CR>");
  EXPECT_EQ(ControlCodesToNames(""), "");
}

TEST(ControlCodesToNames, EqualsNineReplacementsInOrder) {
  RandomText random;
  const std::string alphabet = "\r\x06\x1B\x1E\x04\x15\n\x13\x11<CRAK>a\x02\x03\xFF";
  for (int round = 0; round < 300; ++round) {
    const std::string text = random.From(alphabet, random.UpTo(60));
    std::string replaced = text;
    const std::pair<const char*, const char*> table[] = {
        {"\r", "<CR>"},   {"\x06", "<ACK>"},  {"\x1B", "<ESC>"},
        {"\x1E", "<RS>"}, {"\x04", "<EOT>"},  {"\x15", "<NAK>"},
        {"\n", "<LF>"},   {"\x13", "<XOFF>"}, {"\x11", "<XON>"}};
    for (const auto& [code, name] : table) replaced = ReplaceAll(replaced, code, name);
    EXPECT_EQ(ControlCodesToNames(text), replaced);
  }
}

TEST(ConvertTAPChar, GivesTheCharacterOfTheTableEntry) {
  for (int code = 0; code < 256; ++code)
    EXPECT_EQ(ConvertTAPChar(static_cast<char>(code)), static_cast<char>(expected::kTAP[code]));
}

TEST(CheckTAPMessageText, KeepsTheDigitsOfANumericText) {
  EXPECT_EQ(Checked("123-456 7", 2), "1234567");
  EXPECT_EQ(Checked("\x04"
                    "1\r2\x1B\xE8"
                    "3",
                    2),
            "123");
}

TEST(CheckTAPMessageText, GivesNothingAndNoErrorForANumericTextWithoutDigits) {
  EXPECT_EQ(Checked("call me", 2), "");
  EXPECT_EQ(Checked("", 2), "");
}

TEST(CheckTAPMessageText, ConvertsAnAlphanumericText) {
  EXPECT_EQ(Checked("M\xFCller", 3), "M\x7Dller");
  EXPECT_EQ(Checked("Fire! Room 7 @$", 3), "Fire! Room 7 @$");
  EXPECT_EQ(Checked("caf\xE9", 3), "caf\x05");
  EXPECT_EQ(Checked("", 3), "");
}

TEST(CheckTAPMessageText, TurnsLineBreaksIntoSpaces) {
  EXPECT_EQ(Checked("one\r\ntwo", 3), "one  two");
}

TEST(CheckTAPMessageText, RefusesExactlyTheFourCharactersThatBecomeCodesOfTheBlock) {
  for (int code = 0; code < 256; ++code) {
    const std::string text(1, static_cast<char>(code));
    const bool refused = code == 0xA4 || code == 0xA5 || code == 0xE8 || code == 0xC9;
    EXPECT_EQ(Checked(text, 3), refused ? Refused() : std::string(1, ConvertTAPChar(text[0])))
        << "code " << code;
  }
  EXPECT_EQ(Checked("tr\xE8s bien", 3), Refused());
}

TEST(CheckTAPMessageText, GivesNothingAndNoErrorForAnyOtherMessageType) {
  for (const int type : {-1, 0, 1, 4, 32})
    EXPECT_EQ(Checked("123", type), "") << "message type " << type;
}

TEST(CheckTAPMessageText, EitherRefusesARandomTextOrSendsWhatTheTableSays) {
  RandomText random;
  for (int round = 0; round < 500; ++round) {
    const std::string text = random.Of(random.UpTo(40));
    const bool refused = text.find_first_of("\xA4\xA5\xE8\xC9") != text.npos;
    std::string converted;
    for (const char c : text) converted += static_cast<char>(expected::kTAP[CodeOf(c)]);
    EXPECT_EQ(Checked(text, 3), refused ? Refused() : converted);
  }
}

TEST(CalcTAPCheckSum, OfTheSmallestBlockIs091) {
  EXPECT_EQ(CheckSumOf("\x02"
                       "1\rA\r\x03"),
            "091");
}

TEST(CalcTAPCheckSum, WritesTheLowTwelveBitsInThreeCharacters) {
  EXPECT_EQ(CheckSumOf(""), "000");
  EXPECT_EQ(CheckSumOf(std::string(4, '\xFF') + "\xD6"), "4=2");   // 1234
  EXPECT_EQ(CheckSumOf(std::string(16, '\xFF')), "??0");           // 4080
  EXPECT_EQ(CheckSumOf(std::string(16, '\xFF') + "\x0F"), "???");  // 4095
  EXPECT_EQ(CheckSumOf(std::string(16, '\xFF') + "\x10"), "000");  // 4096
  EXPECT_EQ(CheckSumOf("\xA7"), "0:7");
  EXPECT_EQ(CheckSumOf("\xEF"), "0>?");
}

TEST(CalcTAPCheckSum, OverflowsWhenTheSumExceeds32Bits) {
  // 2147483647 is 255 times 8421504 and 127 more.
  const std::string half(4210752, '\xFF');
  const std::string most = half + half + '\x7F';
  EXPECT_EQ(CheckSumOf(most), "???");
  EXPECT_EQ(CheckSumOf(most + '\x01'), "[Error in function: CalcTAPCheckSum - Overflow]");
}

}  // namespace
}  // namespace mvsms::basTAP
