// How a page says that it stands for others, within the room that its service has.
#include "dispatch/repeats.h"

#include <gtest/gtest.h>

namespace mvsms::dispatch {
namespace {

ServiceRecord Alphanumeric(std::int32_t MaxLength) {
  ServiceRecord service;
  service.Protocol = "TAP";
  service.MessageType = kMessageTypeAlphanumeric;
  service.MaxLength = MaxLength;
  service.MaxMessages = 3;
  return service;
}

TEST(TellRepeats, OnePageIsSentAsItIs) {
  EXPECT_EQ(TellRepeats("Pump 3", 0, Alphanumeric(40)), "Pump 3");
}

TEST(TellRepeats, TheNumberStandsBehindTheText) {
  EXPECT_EQ(TellRepeats("Pump 3", 17, Alphanumeric(40)), "Pump 3 (+17 more)");
}

TEST(TellRepeats, ATextThatFillsItsPiecesIsCut) {
  EXPECT_EQ(TellRepeats(std::string(40, 'x'), 1, Alphanumeric(40)),
            std::string(30, 'x') + " (+1 more)");
  EXPECT_EQ(TellRepeats(std::string(70, 'x'), 1, Alphanumeric(40)),
            std::string(70, 'x') + " (+1 more)");
  EXPECT_EQ(TellRepeats(std::string(75, 'x'), 1, Alphanumeric(40)),
            std::string(70, 'x') + " (+1 more)");
}

TEST(TellRepeats, NoBlankIsLeftWhereTheTextWasCut) {
  EXPECT_EQ(TellRepeats("Pump 3 of the water works fails, look now", 1, Alphanumeric(41)),
            "Pump 3 of the water works fails (+1 more)");
}

TEST(TellRepeats, AServiceThatCannotCarryTheWordsGetsTheTextAlone) {
  ServiceRecord numeric = Alphanumeric(40);
  numeric.MessageType = kMessageTypeNumeric;
  EXPECT_EQ(TellRepeats("112", 17, numeric), "112");
  EXPECT_EQ(TellRepeats("Pump 3", 17, Alphanumeric(19)), "Pump 3");
  EXPECT_EQ(TellRepeats("Pump 3", 17, Alphanumeric(0)), "Pump 3");
}

}  // namespace
}  // namespace mvsms::dispatch
