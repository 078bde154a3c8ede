// Fitting texts: single cases by name, and what holds for every character and every room.
#include "dispatch/fit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "base/ansi.h"
#include "base/texts.h"
#include "centre/alphabet.h"
#include "centre/ucp_frame.h"
#include "dispatch/reader.h"
#include "dispatch/spellings.h"
#include "engine/sender.h"
#include "protocols/bastap.h"
#include "protocols/basucp.h"

namespace mvsms::dispatch {
namespace {

using ::testing::HasSubstr;

ServiceRecord Service(const std::string& protocol, std::int32_t length = 160,
                      std::int32_t pieces = 1) {
  ServiceRecord service;
  service.Protocol = protocol;
  service.UCPCommand = "51";
  service.MessageType = kMessageTypeAlphanumeric;
  service.MaxLength = length;
  service.MaxMessages = pieces;
  return service;
}

std::string FitUtf8(std::string_view text, const ServiceRecord& service) {
  return Utf8FromAnsi(Fit(text, service).text);
}

// --- spelling

TEST(Fit, KeepsWhatEveryReaderSees) {
  for (const char* protocol : {"TAP", "UCP"}) {
    const Fitted fitted = Fit("Pump 3: 47 %, ok? (\"A\"/B)", Service(protocol));
    EXPECT_EQ(fitted.text, "Pump 3: 47 %, ok? (\"A\"/B)");
    EXPECT_EQ(fitted.change, "");
  }
}

TEST(Fit, SpellsForAPagerWhatTapCannotCarry) {
  const ServiceRecord tap = Service("TAP");
  EXPECT_EQ(FitUtf8("Müller: è, 5€ “fire” – ok…", tap), "Müller: e, 5EUR \"fire\" - ok...");
  EXPECT_EQ(FitUtf8("[a_b]\r\n{c|d}", tap), "(a-b) (c/d)");
  EXPECT_EQ(FitUtf8("ops@host $5", tap), "ops@host $5");
}

TEST(Fit, SpellsForAPhoneWhatUcpWouldShowAsSomethingElse) {
  const ServiceRecord ucp = Service("UCP");
  EXPECT_EQ(FitUtf8("ops@host: $5, Grüße, Ärger", ucp), "ops(at)host: USD5, Gruesse, Ärger");
  EXPECT_EQ(FitUtf8("5€ [a_b]\r\n{c|d} è", ucp), "5€ [a_b]\r\n{c|d} è");
}

TEST(Fit, SpellsLettersFromOutsideTheCodePage) {
  EXPECT_EQ(FitUtf8("Łódź, Győr, Đà Nẵng, ≥ 5 Ω", Service("TAP")), "Lodz, Gyor, Da Nang, >= 5 Ohm");
}

TEST(Fit, DropsWhatIsNotSeenAndMarksWhatItDoesNotKnow) {
  EXPECT_EQ(FitUtf8("e\u0301\u200B 日 \xFF", Service("TAP")), "e ? ?");
}

TEST(Fit, TellsWhatItChangedEachOnce) {
  EXPECT_EQ(Fit("è € è", Service("TAP")).change, "\"è\" as \"e\", \"€\" as \"EUR\"");
  EXPECT_EQ(Fit("a\tb\x1B", Service("TAP")).change, "\"<TAB>\" as \" \", \"<ESC>\" as \" \"");
  EXPECT_EQ(Fit("\xFF\u009B.", Service("TAP")).change, "\"<xFF>\" as \"?\", \"<C2><9B>\" as \" \"");
  EXPECT_THAT(Fit("àèéêëìíî", Service("TAP")).change, HasSubstr("\"ì\" as \"i\" and 2 more"));
}

TEST(Fit, KeepsTheDigitsForANumericService) {
  ServiceRecord service = Service("TAP", 5);
  service.MessageType = kMessageTypeNumeric;
  EXPECT_EQ(Fit(" 123 ", service).change, "");
  const Fitted fitted = Fit("Call 0171-23456", service);
  EXPECT_EQ(fitted.text, "01712");
  EXPECT_EQ(fitted.change, "only the digits, for a numeric service; cut after 5 digits");
}

TEST(Fit, LeavesATextForAServiceThatItDoesNotKnowAsItIs) {
  EXPECT_EQ(Fit(" è@ ", Service("", 1, 1)).text, "\xE8@");
  EXPECT_EQ(Fit(" è@ ", Service("TAP", 0, 1)).text, "\xE8@");
  EXPECT_EQ(Fit(" è@ ", Service("TAP", 1, -1)).text, "\xE8@");
}

// --- layout

TEST(Fit, CutsATextThatIsTooLongWithAMark) {
  const Fitted fitted = Fit(std::string(161, 'x'), Service("TAP"));
  EXPECT_EQ(fitted.text, std::string(157, 'x') + "...");
  EXPECT_EQ(fitted.change, "cut, 161 characters do not fit in 160");
}

TEST(Fit, NumbersThePiecesOfALongText) {
  const Fitted fitted = Fit(std::string(30, 'x'), Service("TAP", 20, 3));
  EXPECT_EQ(fitted.text, "1/2 " + std::string(16, 'x') + "2/2 " + std::string(14, 'x'));
  EXPECT_EQ(fitted.change, "numbered 1/2 to 2/2");
}

TEST(Fit, LosesItsNumbersBeforeItsLetters) {
  EXPECT_EQ(Fit(std::string(40, 'x'), Service("TAP", 20, 2)).text, std::string(40, 'x'));
}

TEST(Fit, NumbersAndCutsWhatIsLongerThanAllPieces) {
  const Fitted fitted = Fit(std::string(41, 'x'), Service("TAP", 20, 2));
  EXPECT_EQ(fitted.text, "1/2 " + std::string(16, 'x') + "2/2 " + std::string(13, 'x') + "...");
  EXPECT_EQ(fitted.change, "cut, 41 characters do not fit in 40; numbered 1/2 to 2/2");
}

TEST(Fit, TakesTenthPiecesIntoAccount) {
  const std::string text = Fit(std::string(16 * 9 + 1, 'x'), Service("TAP", 20, 10)).text;
  EXPECT_TRUE(text.starts_with("1/10 "));
  EXPECT_EQ(text.substr(180), "10/10 " + std::string(10, 'x'));
}

TEST(Fit, TakesItsTimeForNoRoomHoweverLarge) {
  constexpr std::int32_t kMost = 2147483647;
  EXPECT_EQ(Fit(std::string(300000, 'x'), Service("TAP", kMost, kMost)).text.size(), 300000u);
  EXPECT_GT(Fit(std::string(300000, 'x'), Service("TAP", 30, kMost)).text.size(), 300000u);
}

// --- what holds always

/// What the centre records of a text, by its own reading of the codes.
std::string AtTheCentre(const std::string& text, const ServiceRecord& service) {
  std::string error;
  if (service.Protocol == "TAP") {
    const std::string codes = basTAP::CheckTAPMessageText(text, error, service.MessageType);
    // A German pager, which shows "@" as the section sign and is asked about all other letters.
    std::string seen;
    for (const char code : codes) {
      const auto alphabet = code == '@' ? centre::Alphabet::kAscii : centre::Alphabet::kGerman;
      seen += centre::DecodeText(alphabet, std::string_view(&code, 1));
    }
    return seen;
  }
  const std::string hex = basUCP::EncodeUCPText(text, service.MessageType);
  return centre::DecodeText(centre::Alphabet::kGsm, centre::DecodeHex(hex).value());
}

/// What the protocol makes of a piece; empty when it refuses it.
std::string SentText(const std::string& piece, const ServiceRecord& service, std::string& error) {
  if (service.Protocol == "UCP") return basUCP::BuildUCPMessage("1", "", piece, 0, service, error);
  return basTAP::CheckTAPMessageText(piece, error, service.MessageType);
}

void ExpectFits(std::string_view utf8, const ServiceRecord& service) {
  SCOPED_TRACE(service.Protocol + " " + std::to_string(service.MaxLength) + " x " +
               std::to_string(service.MaxMessages) + ": " + std::string(utf8));
  const std::string text = Fit(utf8, service).text;
  EXPECT_EQ(text, Trim(text));
  EXPECT_LE(text.size(), static_cast<std::size_t>(service.MaxLength * service.MaxMessages));
  EXPECT_EQ(AtTheCentre(text, service), Utf8FromAnsi(text)) << "reads the same";
  EXPECT_EQ(AsRead(text, service), Utf8FromAnsi(text));
  const Fitted again = Fit(Utf8FromAnsi(text), service);
  EXPECT_EQ(again.text, text) << "fits itself";
  EXPECT_EQ(again.change, "");
  for (const std::string& piece : CutMessage(text, service.MaxLength)) {
    std::string error;
    EXPECT_NE(SentText(piece, service, error), "") << error;
  }
}

TEST(FitAlways, MakesEveryCodeReadable) {
  for (const char* protocol : {"TAP", "UCP"}) {
    for (int code = 0; code < 256; ++code) {
      const std::string character = Utf8FromAnsi(std::string(1, static_cast<char>(code)));
      ExpectFits("a" + character + "z", Service(protocol));
    }
  }
}

TEST(FitAlways, ReadsBackWhatBothTablesCanCarry) {
  for (const char* protocol : {"TAP", "UCP"}) {
    const ServiceRecord service = Service(protocol);
    for (int code = 33; code < 256; ++code) {
      const std::string ansi(1, static_cast<char>(code));
      std::string error;
      const bool sent = !basTAP::CheckTAPMessageText(ansi, error, 3).empty() || error.empty();
      if (!sent || AtTheCentre(ansi, service) != Utf8FromAnsi(ansi)) continue;
      EXPECT_EQ(Fit(Utf8FromAnsi(ansi), service).text, ansi) << code;
    }
  }
}

TEST(FitAlways, SpellsWithLettersThatBothProtocolsCarry) {
  for (const char* protocol : {"TAP", "UCP"}) {
    const auto expect = [&](std::string_view letters) {
      EXPECT_EQ(AsRead(letters, Service(protocol)), letters);
    };
    for (const Spelling& spelling : kCodePageSpellings) expect(spelling.letters);
    for (const Spelling& spelling : kLetterSpellings) expect(spelling.letters);
    for (const Spelling& spelling : kSignSpellings) expect(spelling.letters);
    for (const LetterRun& run : kRuns) expect(run.letters);
  }
}

/// Mostly readable text with everything else in between, down to bytes that are no UTF-8.
std::string RandomText(std::mt19937& random) {
  std::string text;
  for (std::size_t n = random() % 120; n > 0; --n) {
    switch (random() % 6) {
      case 0:
        text += Utf8FromAnsi(std::string(1, static_cast<char>(random() % 256)));
        break;
      case 1: {
        const auto point = static_cast<unsigned>(0x800 + random() % 0xF000);
        text += {static_cast<char>(0xE0 | point >> 12), static_cast<char>(0x80 | (point >> 6 & 63)),
                 static_cast<char>(0x80 | (point & 63))};
        break;
      }
      case 2:
        text += {static_cast<char>(0xC4 + random() % 2), static_cast<char>(0x80 + random() % 64)};
        break;
      case 3:
        text += static_cast<char>(random() % 256);
        break;
      default:
        text += "ab 1/2 @"[random() % 8];
    }
  }
  return text;
}

TEST(FitAlways, HoldsForAnyTextInAnyRoom) {
  std::mt19937 random(1);
  for (int run = 0; run < 1000; ++run) {
    const ServiceRecord service =
        Service(run % 2 ? "TAP" : "UCP", static_cast<std::int32_t>(1 + random() % 60),
                static_cast<std::int32_t>(1 + random() % 13));
    ExpectFits(RandomText(random), service);
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace mvsms::dispatch
