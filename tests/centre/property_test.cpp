// Properties that hold for any bytes: how they are cut makes no difference, and nothing that a
// caller sends does harm. Seeded, so every run is the same.
#include <gtest/gtest.h>

#include <random>

#include "centre/at_command.h"
#include "centre/dialogue.h"
#include "tests/centre/frames.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  /// Random bytes, half of them from `favourites`.
  std::string Bytes(std::size_t count, const std::string& favourites) {
    std::string out;
    while (out.size() < count)
      out += Below(2) ? favourites[Below(favourites.size())] : static_cast<char>(Below(256));
    return out;
  }

 private:
  std::mt19937 random_;
};

const std::string kTapCall =
    FromNotation("~<CR><CR><ESC>XX<CR>" + kLogin + kPage + TapBlockOf("<STX>1<CR>a<US>") +
                 TapBlockOf("<STX>b<CR><ETX>") + "<STX>1<CR>x<CR><ETX>000<CR><EOT><CR>");
const std::string kUcpCall = FromNotation(kSubmit01 + "~" + kAlert + kLogin60 + "<STX>x<ETX>" +
                                          kSubmit51 + Submit("", "", "3", "41"));

/// Everything heard when the bytes come cut at random.
std::string HeardInPieces(Call call, const std::string& bytes, Dice& dice) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t count = 1 + dice.Below(12);
    call.SendsBytes(bytes.substr(at, count));
    at += count;
  }
  return call.Hears();
}

std::string HeardWhole(Call call, const std::string& bytes) {
  call.SendsBytes(bytes);
  return call.Hears();
}

TEST(AnyCut, GivesTheSameTapAnswersAndRecords) {
  TapTest whole;
  const std::string heard = HeardWhole(whole.Dialled(), kTapCall);
  EXPECT_TRUE(heard.ends_with("<ESC><EOT><CR>"));
  for (unsigned seed = 0; seed < 300; ++seed) {
    TapTest tap;
    Dice dice(seed);
    EXPECT_EQ(HeardInPieces(tap.Dialled(), kTapCall, dice), heard) << seed;
    EXPECT_EQ(tap.requests.size(), whole.requests.size());
  }
}

TEST(AnyCut, GivesTheSameUcpAnswersAndRecords) {
  UcpTest whole;
  const std::string heard = HeardWhole(whole.Dialled(), kUcpCall);
  EXPECT_EQ(whole.requests.size(), 6u);
  for (unsigned seed = 0; seed < 300; ++seed) {
    UcpTest ucp;
    Dice dice(seed);
    EXPECT_EQ(HeardInPieces(ucp.Dialled(), kUcpCall, dice), heard) << seed;
    EXPECT_EQ(ucp.requests.size(), whole.requests.size());
  }
}

TEST(AnyCut, GivesTheSameModemAnswers) {
  const std::string commands = "ATZ\rATE0V1X4&K3\rnoise\rATS7=30S7?\rATK\rA/ATI\rATV0\rAT\r";
  TapTest centre;
  const std::string heard = HeardWhole(centre.Modem(), commands);
  for (unsigned seed = 0; seed < 300; ++seed) {
    Dice dice(seed);
    EXPECT_EQ(HeardInPieces(centre.Modem(), commands, dice), heard) << seed;
  }
}

TEST(AnyBytes, DoNoHarmToTheTapCentre) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Dice dice(seed);
    TapTest tap({"max-block=" + std::to_string(dice.Below(40))});
    Call call = dice.Below(2) ? tap.LoggedIn() : tap.Dialled();
    for (int i = 0; i < 20; ++i) {
      call.SendsBytes(dice.Bytes(1 + dice.Below(100),
                                 "\x02\x03\x04\r\x17\x1A\x1B\x1FPG1"
                                 "0;"));
      call.Waits(static_cast<int>(dice.Below(3000)));
    }
    for (const Request& request : tap.requests) EXPECT_NE(request.operation, "");
  }
}

TEST(AnyBytes, DoNoHarmToTheUcpCentre) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Dice dice(seed);
    UcpTest ucp;
    Call call = ucp.Dialled();
    for (int i = 0; i < 20; ++i)
      call.SendsBytes(dice.Bytes(1 + dice.Below(100), "\x02\x03////OR0135"));
    // Frames whose checksum is right reach further.
    for (int i = 0; i < 20; ++i) {
      std::string fields;
      for (std::size_t n = dice.Below(40); n > 0; --n) fields += dice.Below(2) ? "/" : "3";
      call.Sends(UcpFrameOf(dice.Below(2) ? "51" : "60", fields + "/"));
    }
    EXPECT_GE(ucp.requests.size(), 20u);
  }
}

TEST(AnyBytes, DoNoHarmToTheModem) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Dice dice(seed);
    TapTest tap({"carrier-loss=4000", "hang-up-after-received=90"});
    Call port = tap.Modem();
    for (int i = 0; i < 40; ++i) {
      if (dice.Below(3) == 0) port.Sends("ATD1<CR>");
      port.SendsBytes(dice.Bytes(1 + dice.Below(30), "ATDZHOS=?0123+++/&\r\n\x08"));
      port.Waits(static_cast<int>(dice.Below(2500)));
    }
  }
}

TEST(AnyBytes, AreAtLinesOfSomeKind) {
  for (unsigned seed = 0; seed < 2000; ++seed) {
    Dice dice(seed);
    const auto commands = ParseAtLine("AT" + dice.Bytes(dice.Below(60), "ATDZHOS=?0123+;&%\\ "));
    ASSERT_TRUE(commands);
    for (const AtCommand& command : *commands) EXPECT_FALSE(command.name.empty());
  }
}

TEST(AnyBytes, AreADialogueOrAnErrorWithItsPlace) {
  for (unsigned seed = 0; seed < 2000; ++seed) {
    Dice dice(seed);
    std::string text;
    for (std::size_t n = dice.Below(6); n > 0; --n) {
      constexpr const char* kWords[] = {"expect", "any", "reply", "after", "set", "protocol", "x"};
      text += std::string(kWords[dice.Below(7)]) + " " + dice.Bytes(dice.Below(12), "<>CRETX10=\n");
      text += '\n';
    }
    try {
      ParseDialogue(text, "f");
    } catch (const DialogueError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with("f:")) << error.what();
    }
  }
}

}  // namespace
}  // namespace mvsms::centre::test
