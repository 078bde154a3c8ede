// UCP frames, from bytes that come in any pieces, and their characters.
#include "centre/ucp_frame.h"

#include <gtest/gtest.h>

#include "centre/notation.h"
#include "tests/centre/frames.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

UcpFrame Parse(const std::string& notation) {
  const auto frames = UcpReader().Feed(FromNotation(notation));
  EXPECT_EQ(frames.size(), 1u);
  return ParseUcpFrame(frames.at(0));
}

TEST(UcpFrame, KnownFramesAreGood) {
  const std::string result = "<STX>11/00022/R/30/N/24//08<ETX>";
  for (const std::string& frame : {kSubmit01, kSubmit51, kAlert, kLogin60, result}) {
    EXPECT_TRUE(Parse(frame).checksum_ok) << frame;
    EXPECT_TRUE(Parse(frame).well_formed) << frame;
  }
}

TEST(UcpFrame, HasItsParts) {
  const UcpFrame frame = Parse("<STX>11/00022/R/30/N/24//08<ETX>");
  EXPECT_EQ(frame.trn, "11");
  EXPECT_EQ(frame.kind, 'R');
  EXPECT_EQ(frame.operation, "30");
  EXPECT_EQ(frame.fields, (std::vector<std::string>{"N", "24", ""}));
}

TEST(UcpFrame, ResultsAreBuiltLikeTheKnownOne) {
  EXPECT_EQ(ToNotation(BuildUcpResult("11", "30", {"N", "24", ""})),
            "<STX>11/00022/R/30/N/24//08<ETX>");
}

TEST(UcpFrame, EveryChangedCharacterIsFound) {
  const std::string good = "11/00022/R/30/N/24//08";
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string hurt = good;
    hurt[i] = good[i] == '1' ? '2' : '1';
    EXPECT_FALSE(ParseUcpFrame(hurt).checksum_ok) << i;
  }
}

TEST(UcpFrame, ChecksumMayBeInSmallLetters) {
  EXPECT_TRUE(ParseUcpFrame("02/00035/O/31/0234765439845/0139/a0").checksum_ok);
}

TEST(UcpFrame, WrongLengthKindAndNumbersAreMalformed) {
  const auto checked = [](const std::string& body) { return body + UcpChecksum(body); };
  for (const char* body : {"02/00034/O/31/1/0139/", "2/00026/O/31/1/0139/", "02/00027/X/31/1/0139/",
                           "02/00027/O/3a/1/0139/", "02/27/O/31/1/0139/", "02/", "", "////"}) {
    const UcpFrame frame = ParseUcpFrame(checked(body));
    EXPECT_TRUE(frame.checksum_ok) << body;
    EXPECT_FALSE(frame.well_formed) << body;
  }
}

TEST(UcpReader, WhatIsOutsideOfFramesIsNoise) {
  UcpReader reader;
  EXPECT_EQ(reader.Feed("x\x03y\x02"
                        "a\x03\r\n\x02"
                        "b\x03z"),
            (std::vector<std::string>{"a", "b"}));
}

TEST(UcpReader, AnStxStartsAfresh) {
  EXPECT_EQ(UcpReader().Feed("\x02"
                             "half\x02whole\x03"),
            std::vector<std::string>{"whole"});
}

TEST(UcpReader, EndlessFramesAreDropped) {
  UcpReader reader;
  EXPECT_TRUE(reader.Feed("\x02" + std::string(9000, 'x') + "\x03").empty());
  EXPECT_EQ(reader
                .Feed("\x02"
                      "a\x03")
                .size(),
            1u);
}

TEST(UcpHex, PairsOfDigitsAreBytes) {
  EXPECT_EQ(DecodeHex("4142fF"), "AB\xFF");
  EXPECT_EQ(DecodeHex(""), "");
  EXPECT_FALSE(DecodeHex("4"));
  EXPECT_FALSE(DecodeHex("4G"));
}

TEST(UcpHex, AlphanumericAddressesArePacked) {
  EXPECT_EQ(DecodePackedAddress("10412614190438AB4D"), std::string("ALPHA\0NUM", 9));
  EXPECT_EQ(DecodePackedAddress("0A412614190438"), std::nullopt);
  EXPECT_FALSE(DecodePackedAddress(""));
  EXPECT_FALSE(DecodePackedAddress("02234A"));
}

}  // namespace
}  // namespace mvsms::centre::test
