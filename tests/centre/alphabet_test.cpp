// Pager and mobile alphabets to UTF-8.
#include "centre/alphabet.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace mvsms::centre
