// TAP blocks and lines, from bytes that come in any pieces.
#include "centre/tap_frame.h"

#include <gtest/gtest.h>

#include "centre/notation.h"
#include "tests/centre/frames.h"

namespace mvsms::centre {
namespace {

using test::TapBlockOf;

std::vector<TapEvent> Read(const std::string& notation, int max_block = 256) {
  return TapReader(max_block).Feed(FromNotation(notation));
}

TapBlock BlockOf(const std::string& notation, int max_block = 256) {
  const auto events = Read(notation, max_block);
  EXPECT_EQ(events.size(), 1u);
  return std::get<TapBlock>(events.at(0));
}

TEST(TapChecksum, IsTheSevenBitSumInThreeCharacters) {
  EXPECT_EQ(TapChecksum(FromNotation("<STX>123<CR>ABC<CR><ETX>")), "17;");
  EXPECT_EQ(TapChecksum(FromNotation("<STX>1<CR>A<CR><ETX>")), "091");
  EXPECT_EQ(TapChecksum("\x81\x81"), "002");
  EXPECT_EQ(TapChecksum(""), "000");
  EXPECT_EQ(TapChecksum(std::string(100, 'z')), "?:8");  // 12200: low twelve bits FA8
}

TEST(TapReader, TakesAKnownBlock) {
  const TapBlock block = BlockOf("<STX>123<CR>ABC<CR><ETX>17;<CR>");
  EXPECT_TRUE(block.checksum_ok);
  EXPECT_EQ(block.content, "123\rABC\r");
  EXPECT_EQ(block.end, kEtx);
}

TEST(TapReader, TellsTheThreeEndsOfABlock) {
  EXPECT_EQ(BlockOf(TapBlockOf("<STX>1<CR>A<US>")).end, kUs);
  EXPECT_EQ(BlockOf(TapBlockOf("<STX>1<CR>A<CR><ETB>")).end, kEtb);
  EXPECT_TRUE(BlockOf(TapBlockOf("<STX>1<CR>A<US>")).checksum_ok);
}

TEST(TapReader, FindsEveryChangedCharacterOfABlock) {
  const std::string block = FromNotation("<STX>123<CR>ABC<CR><ETX>17;<CR>");
  for (std::size_t i = 1; i + 1 < block.size(); ++i) {
    std::string hurt = block;
    hurt[i] = 'x';
    for (const TapEvent& event : TapReader(256).Feed(hurt)) {
      const auto* block_found = std::get_if<TapBlock>(&event);
      EXPECT_FALSE(block_found != nullptr && block_found->checksum_ok) << i;
    }
  }
}

TEST(TapReader, ChecksumOfWrongLengthIsWrong) {
  EXPECT_FALSE(BlockOf("<STX>123<CR>ABC<CR><ETX>17<CR>").checksum_ok);
  EXPECT_FALSE(BlockOf("<STX>123<CR>ABC<CR><ETX>17;;<CR>").checksum_ok);
  EXPECT_FALSE(BlockOf("<STX>123<CR>ABC<CR><ETX><CR>").checksum_ok);
}

TEST(TapReader, AnStxStartsAfresh) {
  EXPECT_EQ(BlockOf("<STX>99<CR>half<STX>123<CR>ABC<CR><ETX>17;<CR>").content, "123\rABC\r");
  EXPECT_TRUE(BlockOf("<STX>99<ETX>1<STX>123<CR>ABC<CR><ETX>17;<CR>").checksum_ok);
}

TEST(TapReader, LinesAreWhatComesBeforeACarriageReturn) {
  const auto events = Read("<CR>noise<ESC>PG1<CR><LF><EOT><CR>");
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(std::get<TapLine>(events[0]).text, "");
  EXPECT_EQ(std::get<TapLine>(events[1]).text, "noise\x1BPG1");
  EXPECT_EQ(std::get<TapLine>(events[2]).text, "\x04");
}

TEST(TapReader, LongNoiseDoesNotHideTheEndOfALine) {
  const auto events = Read(std::string(1000, 'x') + "<ESC>PG1<CR>");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(std::get<TapLine>(events[0]).text.ends_with("\x1BPG1"));
}

TEST(TapReader, ABlockOf256CharactersIsTheLongest) {
  const std::string longest = "<STX>" + std::string(249, 'a') + "<CR><ETX>";
  EXPECT_FALSE(BlockOf(TapBlockOf(longest)).too_long);
  const TapBlock block = BlockOf(TapBlockOf("<STX>" + std::string(250, 'a') + "<CR><ETX>"));
  EXPECT_TRUE(block.too_long);
  EXPECT_LE(block.content.size(), 250u);
}

TEST(TapReader, WithoutALimitLongBlocksAreTaken) {
  EXPECT_TRUE(BlockOf(TapBlockOf("<STX>" + std::string(5000, 'a') + "<CR><ETX>"), 0).checksum_ok);
  EXPECT_TRUE(BlockOf("<STX>" + std::string(70000, 'a') + "<ETX>000<CR>", 0).too_long);
}

TEST(TapPage, HasAPagerAndAText) {
  const TapPage page = ReadTapPage("123\rABC\r");
  EXPECT_TRUE(page.complete);
  EXPECT_EQ(page.pager, "123");
  EXPECT_EQ(page.text, "ABC");
}

TEST(TapPage, NeedsBothFieldsAndAPager) {
  for (const char* contents : {"", "\r", "123\r", "123", "\rABC\r"})
    EXPECT_FALSE(ReadTapPage(contents).complete) << contents;
  EXPECT_TRUE(ReadTapPage("123\r\r").complete);
}

TEST(TapPage, FurtherFieldsAreFurtherLines) {
  EXPECT_EQ(ReadTapPage("123\rone\rtwo\r").text, "one\ntwo");
}

TEST(TapPage, SubPairsAreControlCharacters) {
  EXPECT_EQ(ReadTapPage("1\ra\x1AM\x1AJ\x1AZ\x1A[b\r").text,
            "a\r\n\x1A\x1B"
            "b");
}

TEST(TapPage, SubPairsOutOfRangeAreTheirSecondCharacter) {
  EXPECT_EQ(ReadTapPage("1\r\x1A"
                        "1\x1A~\r")
                .text,
            "1~");
  EXPECT_EQ(ReadTapPage("1\rA\x1A\r").text, "A\x1A");
}

}  // namespace
}  // namespace mvsms::centre
