// Telnet with the option for serial ports, byte by byte.
#include "backends/posix/line/rfc2217.h"

#include <gtest/gtest.h>

#include <random>

namespace mvsms::posix {
namespace {

using std::string_literals::operator""s;

std::string Take(Rfc2217& port, std::string bytes, std::string* reply = nullptr) {
  const std::string answer = port.Take(bytes);
  if (reply != nullptr) *reply = answer;
  return bytes;
}

constexpr Dcb kState{.BaudRate = 9600,
                     .flags = dcb_flag::kBinary | dcb_flag::kOutxCtsFlow,
                     .ByteSize = 7,
                     .Parity = 2,
                     .StopBits = 0};

const std::string kAnswers =
    "\xFF\xFA\x2C\x65\x00\x00\x25\x80\xFF\xF0\xFF\xFA\x2C\x66\x07\xFF\xF0"
    "\xFF\xFA\x2C\x67\x03\xFF\xF0\xFF\xFA\x2C\x68\x01\xFF\xF0"s;

TEST(Rfc2217, TheGreetingOffersAndAsks) {
  EXPECT_EQ(Rfc2217::Greeting(), "\xFF\xFB\x00\xFF\xFB\x03\xFF\xFB\x2C\xFF\xFD\x00\xFF\xFD\x03"s);
}

TEST(Rfc2217, TheServerOffersItsPortOrNot) {
  Rfc2217 port;
  EXPECT_FALSE(port.offered().has_value());
  EXPECT_EQ(Take(port, "\xFF\xFD\x2C"), "");
  EXPECT_EQ(port.offered(), true);
  EXPECT_EQ(Take(port, "a\xFF\xFE\x2C\x62"), "ab");
  EXPECT_EQ(port.offered(), false);
}

TEST(Rfc2217, WhatNobodyAskedForIsRefused) {
  Rfc2217 port;
  std::string reply;
  EXPECT_EQ(Take(port, "\xFF\xFD\x18\xFF\xFB\x01\xFF\xFB\x03\xFF\xFD\x00x"s, &reply), "x");
  EXPECT_EQ(reply, "\xFF\xFC\x18\xFF\xFE\x01");
}

TEST(Rfc2217, SettingsAreFiveCommands) {
  Rfc2217 port;
  EXPECT_EQ(
      port.Settings(kState),
      "\xFF\xFA\x2C\x01\x00\x00\x25\x80\xFF\xF0\xFF\xFA\x2C\x02\x07\xFF\xF0"
      "\xFF\xFA\x2C\x03\x03\xFF\xF0\xFF\xFA\x2C\x04\x01\xFF\xF0\xFF\xFA\x2C\x05\x03\xFF\xF0"s);
}

TEST(Rfc2217, SettingsAreAnsweredWhenAllOfThemAre) {
  Rfc2217 port;
  port.Settings(kState);
  Take(port, kAnswers.substr(0, kAnswers.size() - 1));
  EXPECT_FALSE(port.answer().has_value());
  Take(port, kAnswers.substr(kAnswers.size() - 1));
  EXPECT_EQ(port.answer(), Rfc2217::Wanted(kState));
  port.Settings(kState);
  EXPECT_FALSE(port.answer().has_value());
}

TEST(Rfc2217, AServerThatDoesOtherwiseIsNotWhatWasWanted) {
  Rfc2217 port;
  port.Settings(kState);
  Take(port, kAnswers + "\xFF\xFA\x2C\x66\x08\xFF\xF0");
  EXPECT_NE(port.answer(), Rfc2217::Wanted(kState));
}

TEST(Rfc2217, ModemLinesAndErrorsComeWithoutAsking) {
  Rfc2217 port;
  EXPECT_FALSE(port.modem_lines().has_value());
  Take(port, "\xFF\xFA\x2C\x6B\xB3\xFF\xF0\xFF\xFA\x2C\x6A\x14\xFF\xF0");
  EXPECT_EQ(port.modem_lines(), kMsRlsdOn | kMsDsrOn | kMsCtsOn);
  EXPECT_EQ(port.errors(), (LineErrorCounts{.parity = 1, .breaks = 1}));
}

TEST(Rfc2217, AnFfIsDoubledBothWays) {
  Rfc2217 port;
  EXPECT_EQ(Rfc2217::Data("a\xFFz"), "a\xFF\xFFz");
  EXPECT_EQ(Take(port, "a\xFF\xFFz"), "a\xFFz");
  Take(port, "\xFF\xFA\x2C\x6B\xFF\xFF\xFF\xF0");
  EXPECT_EQ(port.modem_lines(), 0xF0U);
}

TEST(Rfc2217, DtrIsACommand) {
  EXPECT_EQ(Rfc2217::Dtr(true), "\xFF\xFA\x2C\x05\x08\xFF\xF0");
  EXPECT_EQ(Rfc2217::Dtr(false), "\xFF\xFA\x2C\x05\x09\xFF\xF0");
}

TEST(Rfc2217, WhereTheBytesAreCutDoesNotMatter) {
  const std::string stream = "ID\xFF\xFD\x2C=\xFF\xFF" + kAnswers + "\xFF\xF1ok";
  Rfc2217 whole, pieces;
  std::string text;
  for (const char code : stream) text += Take(pieces, std::string(1, code));
  EXPECT_EQ(text, Take(whole, stream));
  EXPECT_EQ(text, "ID=\xFFok");
  EXPECT_EQ(pieces.answer(), whole.answer());
}

TEST(Rfc2217, AnyBytesAreTakenAndNoneAreKeptForEver) {
  std::mt19937 random(2217);
  Rfc2217 port;
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(random() % 40, ' ');
    for (char& code : bytes) code = "\xFF\xFA\xF0\xFD\x2C\x65z\0"[random() % 8];
    Take(port, bytes);
  }
}

}  // namespace
}  // namespace mvsms::posix
