// The ANSI code page: its table, the strictness of the decoder, and the folding of names.
#include "base/ansi.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace mvsms {
namespace {

std::string AllCodes() {
  std::string codes;
  for (int code = 0; code < 256; ++code) codes += static_cast<char>(code);
  return codes;
}

struct Pair {
  const char* utf8;
  unsigned char code;
};

class AnsiTable : public testing::TestWithParam<Pair> {};

TEST_P(AnsiTable, ConvertsBothWays) {
  const std::string ansi(1, static_cast<char>(GetParam().code));
  EXPECT_EQ(AnsiFromUtf8(GetParam().utf8), ansi);
  EXPECT_EQ(Utf8FromAnsi(ansi), GetParam().utf8);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, AnsiTable,
    testing::Values(Pair{"\x7F", 0x7F}, Pair{"\xE2\x82\xAC", 0x80}, Pair{"\xC2\x81", 0x81},
                    Pair{"\xE2\x80\x9A", 0x82}, Pair{"\xC6\x92", 0x83}, Pair{"\xE2\x80\x9E", 0x84},
                    Pair{"\xE2\x80\xA6", 0x85}, Pair{"\xE2\x80\xA0", 0x86},
                    Pair{"\xE2\x80\xA1", 0x87}, Pair{"\xCB\x86", 0x88}, Pair{"\xE2\x80\xB0", 0x89},
                    Pair{"\xC5\xA0", 0x8A}, Pair{"\xE2\x80\xB9", 0x8B}, Pair{"\xC5\x92", 0x8C},
                    Pair{"\xC2\x8D", 0x8D}, Pair{"\xC5\xBD", 0x8E}, Pair{"\xC2\x8F", 0x8F},
                    Pair{"\xC2\x90", 0x90}, Pair{"\xE2\x80\x98", 0x91}, Pair{"\xE2\x80\x99", 0x92},
                    Pair{"\xE2\x80\x9C", 0x93}, Pair{"\xE2\x80\x9D", 0x94},
                    Pair{"\xE2\x80\xA2", 0x95}, Pair{"\xE2\x80\x93", 0x96},
                    Pair{"\xE2\x80\x94", 0x97}, Pair{"\xCB\x9C", 0x98}, Pair{"\xE2\x84\xA2", 0x99},
                    Pair{"\xC5\xA1", 0x9A}, Pair{"\xE2\x80\xBA", 0x9B}, Pair{"\xC5\x93", 0x9C},
                    Pair{"\xC2\x9D", 0x9D}, Pair{"\xC5\xBE", 0x9E}, Pair{"\xC5\xB8", 0x9F},
                    Pair{"\xC2\xA0", 0xA0}, Pair{"\xC3\x84", 0xC4}, Pair{"\xC3\x9F", 0xDF},
                    Pair{"\xC3\xBF", 0xFF}));

TEST(Ansi, EveryCodeMakesTheRoundTrip) {
  EXPECT_EQ(AnsiFromUtf8(Utf8FromAnsi(AllCodes())), AllCodes());
}

TEST(Ansi, CharactersWithoutACodeBecomeOneQuestionMarkEach) {
  EXPECT_EQ(AnsiFromUtf8("\xC4\x80"), "?");            // Latin capital A with macron
  EXPECT_EQ(AnsiFromUtf8("a\xE4\xB8\xADz"), "a?z");    // a CJK ideograph
  EXPECT_EQ(AnsiFromUtf8("\xF0\x9F\x98\x80!"), "?!");  // an emoji
  EXPECT_EQ(AnsiFromUtf8("\xC2\x80"), "?");            // the control character, not the Euro sign
}

TEST(Ansi, MalformedSequencesBecomeQuestionMarks) {
  EXPECT_EQ(AnsiFromUtf8("\x80"), "?");
  EXPECT_EQ(AnsiFromUtf8("\xBF\xBF"), "??");
  EXPECT_EQ(AnsiFromUtf8("\xE4x"), "?x");  // a 1252 letter that is no UTF-8
  EXPECT_EQ(AnsiFromUtf8("\xFE\xFF"), "??");
}

TEST(Ansi, ACutOffCharacterBecomesOneQuestionMark) {
  EXPECT_EQ(AnsiFromUtf8("\xC3"), "?");
  EXPECT_EQ(AnsiFromUtf8("\xE2\x82"), "?");
  EXPECT_EQ(AnsiFromUtf8("\xF0\x9F\x98"), "?");
  EXPECT_EQ(AnsiFromUtf8("\xE2\x82x"), "?x");
  EXPECT_EQ(AnsiFromUtf8("\xE2\xC3\xA4"), "?\xE4");
}

TEST(Ansi, OverlongFormsAreNotTheCharactersTheyImitate) {
  EXPECT_EQ(AnsiFromUtf8("\xC0\xAF"), "??");
  EXPECT_EQ(AnsiFromUtf8("\xC1\x81"), "??");
  EXPECT_EQ(AnsiFromUtf8("\xE0\x9F\xBF"), "???");
  EXPECT_EQ(AnsiFromUtf8("\xF0\x8F\xBF\xBF"), "????");
}

TEST(Ansi, SurrogatesAndCodePointsPastTheLastAreMalformed) {
  EXPECT_EQ(AnsiFromUtf8("\xED\xA0\x80"), "???");
  EXPECT_EQ(AnsiFromUtf8("\xF4\x90\x80\x80"), "????");
  EXPECT_EQ(AnsiFromUtf8("\xF5\x80\x80\x80"), "????");
  EXPECT_EQ(AnsiFromUtf8("\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"), "???");  // the good limits
}

TEST(Ansi, NulCharactersPass) {
  const std::string text("a\0b", 3);
  EXPECT_EQ(AnsiFromUtf8(text), text);
  EXPECT_EQ(Utf8FromAnsi(text), text);
}

TEST(Ansi, AnyBytesDecodeWithoutGrowing) {
  std::mt19937 random(20240607);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(random() % 12, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const std::string ansi = AnsiFromUtf8(bytes);
    ASSERT_LE(ansi.size(), bytes.size());
    ASSERT_EQ(ansi.empty(), bytes.empty());
    ASSERT_EQ(AnsiFromUtf8(Utf8FromAnsi(ansi)), ansi);
  }
}

TEST(FoldCase, JoinsTheTwoCasesOfEveryLetter) {
  EXPECT_EQ(FoldCase("Services"), FoldCase("sERVICES"));
  EXPECT_EQ(FoldCase("\xE4\xF6\xFC\xE0\xFE"), FoldCase("\xC4\xD6\xDC\xC0\xDE"));
  EXPECT_EQ(FoldCase("\x9A\x9C\x9E\xFF"), FoldCase("\x8A\x8C\x8E\x9F"));
}

TEST(FoldCase, KeepsWhatHasNoOtherCase) {
  for (const char* text : {"0049", "@[`{", "\xD7", "\xF7", "\xDF", "\x83", "\xB5", "\x80\x99"}) {
    EXPECT_EQ(FoldCase(text), text);
  }
}

TEST(FoldCase, FoldsExactlySixtyCodes) {
  const std::string codes = AllCodes();
  const std::string folded = FoldCase(codes);
  int changed = 0;
  for (std::size_t code = 0; code < codes.size(); ++code) changed += codes[code] != folded[code];
  EXPECT_EQ(changed, 26 + 30 + 4);
  EXPECT_EQ(FoldCase(folded), folded);
}

}  // namespace
}  // namespace mvsms
