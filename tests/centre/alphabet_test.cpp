// Pager and mobile alphabets to UTF-8.
#include "centre/alphabet.h"

#include <gtest/gtest.h>

#include "centre/ucp_frame.h"

namespace mvsms::centre {
namespace {

std::string Codes(int first, int last) {
  std::string out;
  for (int code = first; code <= last; ++code) out += static_cast<char>(code);
  return out;
}

TEST(GsmAlphabet, HasItsOwnFirstColumns) {
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(0, 15)), "@£$¥èéùìòÇ\nØø\rÅå");
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(16, 26)), "Δ_ΦΓΛΩΠΨΣΘΞ");
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(28, 47)), "ÆæßÉ !\"#¤%&'()*+,-./");
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(48, 63)), "0123456789:;<=>?");
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(64, 95)), "¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§");
  EXPECT_EQ(DecodeText(Alphabet::kGsm, Codes(96, 127)), "¿abcdefghijklmnopqrstuvwxyzäöñüà");
}

TEST(GsmAlphabet, ReadsEscapePairs) {
  EXPECT_EQ(DecodeText(Alphabet::kGsm,
                       "\x1B\x14\x1B\x28\x1B\x29\x1B\x2F\x1B\x3C\x1B\x3D\x1B\x3E\x1B\x40\x1B\x65"),
            "^{}\\[~]|€");
}

TEST(GsmAlphabet, AnUnknownPairIsItsSecondCharacter) {
  EXPECT_EQ(DecodeText(Alphabet::kGsm,
                       "\x1B"
                       "A\x1B\x1B"
                       "B\x1B"),
            "A B");
}

TEST(GermanAlphabet, HasLettersForBrackets) {
  EXPECT_EQ(DecodeText(Alphabet::kGerman, "@[\\]{|}~A"), "§ÄÖÜäöüßA");
}

TEST(AsciiAlphabet, TakesHighCodesForLatin1) {
  EXPECT_EQ(DecodeText(Alphabet::kAscii, "a[\xFC\x80"), "a[ü\xC2\x80");
}

std::string Ucs2(std::string_view digits) { return DecodeUcs2(DecodeHex(digits).value()); }

TEST(Alphabet, Ucs2IsTakenTwoOctetsAtATime) {
  EXPECT_EQ(Ucs2(""), "");
  EXPECT_EQ(Ucs2("0041007F008007FF0800FFFD"), "A\x7F\u0080\u07FF\u0800\uFFFD");
  EXPECT_EQ(Ucs2("D83DDE00DBFFDFFF"), "\U0001F600\U0010FFFF");
}

TEST(Alphabet, WhatIsNoUcs2IsReplaced) {
  EXPECT_EQ(Ucs2("004100"), "A\uFFFD");
  EXPECT_EQ(Ucs2("D83D0041"), "\uFFFDA");
  EXPECT_EQ(Ucs2("DE000041"), "\uFFFDA");
  EXPECT_EQ(Ucs2("D83D"), "\uFFFD");
  EXPECT_EQ(Ucs2("D83DD83DDE00"), "\uFFFD\U0001F600");
}

}  // namespace
}  // namespace mvsms::centre
