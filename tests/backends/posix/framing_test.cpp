// Framing texts, and parity made in software.
#include "backends/posix/line/framing.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

#include "backends/posix/line/soft_parity.h"
#include "platform/comm.h"

namespace mvsms::posix {
namespace {

TEST(FramingText, SaysDataBitsParityAndStopBits) {
  EXPECT_EQ(ParseFraming("8N1"), (Framing{8, 'N', 1, false}));
  EXPECT_EQ(ParseFraming("7E2"), (Framing{7, 'E', 2, false}));
  EXPECT_EQ(ParseFraming("7M1-soft"), (Framing{7, 'M', 1, true}));
}

TEST(FramingText, TakesSmallLetters) { EXPECT_EQ(ParseFraming("7e1"), ParseFraming("7E1")); }

TEST(FramingText, ComesBackAsItWasForEveryFraming) {
  int valid = 0;
  for (const char data : std::string("45678"))
    for (const char parity : std::string("NEOMS"))
      for (const char stop : std::string("12"))
        for (const char* soft : {"", "-soft"}) {
          const std::string text = std::string{data, parity, stop} + soft;
          const auto framing = ParseFraming(text);
          if (!framing) continue;
          ++valid;
          EXPECT_EQ(ToString(*framing), text);
          EXPECT_TRUE(
              IsValidFraming(framing->data_bits, ParityCode(*framing), StopBitsCode(*framing)));
        }
  // Five data bits with one stop bit, six to eight with one or two; soft: 7 bits with a parity.
  EXPECT_EQ(valid, 5 + 3 * 5 * 2 + 4 * 2);
}

TEST(FramingText, GarbageIsRefused) {
  for (const char* text :
       {"",        "8",        "8N",         "8N3",  "8N0",   "9N1",      "4N1",      "5N2",
        "8X1",     "8N1 ",     " 8N1",       "8N11", "8N1-",  "8N1-soft", "8E1-soft", "7N1-soft",
        "7E1soft", "7E1-Soft", "7E1-softly", "N81",  "8-N-1", "-soft"}) {
    EXPECT_FALSE(ParseFraming(text)) << text;
  }
  EXPECT_FALSE(ParseFraming(std::string_view("8\0001", 3)));
}

TEST(FramingText, AnyBytesAreParsedOrRefused) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 10, ' ');
    for (char& code : text) code = static_cast<char>(random());
    const auto framing = ParseFraming(text);
    EXPECT_TRUE(!framing || ParseFraming(ToString(*framing)) == framing);
  }
}

TEST(FramingText, CodesAreThoseOfAPort) {
  EXPECT_EQ(ParityCode({7, 'N', 1, false}), 0);
  EXPECT_EQ(ParityCode({7, 'O', 1, false}), 1);
  EXPECT_EQ(ParityCode({7, 'E', 1, false}), 2);
  EXPECT_EQ(ParityCode({7, 'M', 1, false}), 3);
  EXPECT_EQ(ParityCode({7, 'S', 1, false}), 4);
  EXPECT_EQ(StopBitsCode({7, 'N', 1, false}), 0);
  EXPECT_EQ(StopBitsCode({7, 'N', 2, false}), 2);
}

TEST(SoftParity, EveryCodeGetsItsBitAndLosesItAgain) {
  for (unsigned code = 0; code < 128; ++code) {
    const char data = static_cast<char>(code);
    const auto coded = [&](std::uint8_t parity) {
      return static_cast<unsigned>(static_cast<unsigned char>(WithParity(data, parity)));
    };
    EXPECT_EQ(std::popcount(coded(1)) % 2, 1) << code;
    EXPECT_EQ(std::popcount(coded(2)) % 2, 0) << code;
    EXPECT_EQ(coded(3), code | 0x80) << code;
    EXPECT_EQ(coded(4), code) << code;
    for (std::uint8_t parity = 1; parity <= 4; ++parity) {
      const char sent = static_cast<char>(coded(parity));
      EXPECT_EQ(WithoutParity(sent), data);
      EXPECT_TRUE(ParityHolds(sent, parity));
      EXPECT_FALSE(ParityHolds(static_cast<char>(sent ^ 0x80), parity));
    }
  }
}

TEST(SoftParity, EighthBitOfTheDataIsDropped) {
  EXPECT_EQ(WithParity('\xC1', 4), 'A');
  EXPECT_EQ(WithParity(std::string_view("\xC1\xC3"), 2), "A\xC3");
}

}  // namespace
}  // namespace mvsms::posix
