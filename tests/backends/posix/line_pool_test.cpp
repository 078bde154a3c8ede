// Calls over a pool of modems: which member takes one, which is spared, and what is told of it.
#include "backends/posix/line/line_pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/line_turn.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class LinePool : public TelephonySession {
 protected:
  LinePool() {
    for (const char* name : {"First", "Second"}) AddModem(name, ModemOf(name).device());
    PutPool(600);
    for (PtyModem* modem : {&first_, &second_}) modem->On("ATD1", "\r\nCONNECT\r\n");
  }

  PtyModem& ModemOf(const std::string& name) { return name == "First" ? first_ : second_; }
  void AddModem(const std::string& name, const std::string& device) {
    LineConfig line;
    line.name = name;
    line.device = device;
    line.flow = "none";
    AddLine(line);
  }
  void PutPool(std::uint32_t rest) {
    pool_.name = "Pool";
    pool_.kind = LineKind::kPool;
    pool_.members = {"First", "Second"};
    pool_.rest = rest;
    AddLine(pool_);
  }
  std::string LockOf(const std::string& name) { return locks_.FileOf(ModemOf(name).device()); }
  void TakeByAnotherProgram(const std::string& name) { std::ofstream(LockOf(name)) << getppid(); }
  void LetGo(const std::string& name) { std::filesystem::remove(LockOf(name)); }
  void HearsNoDialTone(const std::string& name) { ModemOf(name).On("ATD1", "\r\nNO DIALTONE\r\n"); }
  bool Rests(const std::string& name) {
    return LineStore(home_.path()).RestsUntil(name) > std::time(nullptr);
  }
  void LetRest(const std::string& name) {
    LineStore(home_.path()).SetRest(name, std::time(nullptr) + 300);
  }
  std::string WhyNotRegistered() {
    try {
      Register("Pool");
    } catch (const RaisedError& error) {
      EXPECT_EQ(error.number(), EBUSY);
      return error.description();
    }
    return "";
  }

  PtyModem first_;
  PtyModem second_;
  LineConfig pool_;
};

// --- which member ------------------------------------------------------------------------------

TEST_F(LinePool, IsOneLineThatDialsLikeItsModems) {
  EXPECT_EQ(Address("Pool")->TranslateAddress("0 17-2", 0, 0)->DialableString(), "0172");
  EXPECT_TRUE(Address("Pool")->QueryMediaType(kTapiMediaTypeDataModem));
}

TEST_F(LinePool, TheFirstMemberTakesTheCall) {
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "First");
  EXPECT_EQ(second_.received(), "");
}

TEST_F(LinePool, TheCallCarriesDataAndGivesTheModemBack) {
  ASSERT_EQ(Dial("Pool", "1"), CallState::kConnected);
  const CommHandle port = TakePort();
  first_.Say("ID=");
  EXPECT_EQ(Read(port, "ID="), "ID=");
  EXPECT_TRUE(std::filesystem::exists(LockOf("First")));
  call_->Disconnect(kDcNormal);
  EXPECT_FALSE(std::filesystem::exists(LockOf("First")));
}

TEST_F(LinePool, AMemberInUseIsPassedByWithoutARest) {
  TakeByAnotherProgram("First");
  Register("Pool");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
  EXPECT_FALSE(Rests("First"));
}

TEST_F(LinePool, TwoCallsGoOverTwoMembers) {
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  const auto other = call_;
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
  other->Disconnect(kDcNormal);
}

TEST_F(LinePool, AMemberThatIsNotPluggedInIsPassedByForAsLongAsItIsNot) {
  AddModem("First", "/dev/ttyNoSuch0");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
  EXPECT_FALSE(Rests("First"));
}

TEST_F(LinePool, TheMemberThatWasReservedTakesTheCall) {
  const DeviceReservation reservation(second_.device());
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
}

// --- what does not answer ----------------------------------------------------------------------

TEST_F(LinePool, TheNextMemberIsTriedWithinTheCallAndTheFirstRests) {
  HearsNoDialTone("First");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
  EXPECT_TRUE(Rests("First"));
  EXPECT_FALSE(std::filesystem::exists(LockOf("First")));
}

TEST_F(LinePool, AMemberThatRestsIsNotTried) {
  LetRest("First");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
  EXPECT_EQ(first_.received(), "");
}

TEST_F(LinePool, AMemberThatRestsIsNotTriedInPlaceOfABusyOne) {
  LetRest("First");
  TakeByAnotherProgram("Second");
  EXPECT_THAT(WhyNotRegistered(), HasSubstr("First rests, for it did not answer"));
}

TEST_F(LinePool, WhenAllRestTheyAreTriedAndOneThatAnswersRestsNoMore) {
  LetRest("First");
  LetRest("Second");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_FALSE(Rests("First"));
  EXPECT_TRUE(Rests("Second"));
}

TEST_F(LinePool, NobodyRestsInAPoolWithoutARest) {
  PutPool(0);
  HearsNoDialTone("First");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_FALSE(Rests("First"));
}

TEST_F(LinePool, ARestThatAClockSetBackMadeLongerIsNone) {
  LineStore(home_.path()).SetRest("First", std::time(nullptr) + 100'000);
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "First");
}

TEST_F(LinePool, TheMemberOfACallIsNotThatOfTheNextOne) {
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "First");
  Register("Pool");
  EXPECT_EQ(LastMember("Pool"), "");
}

TEST_F(LinePool, ANumberThatWasDialledIsNotDialledAgain) {
  for (const char* answer : {"BUSY", "NO ANSWER", "NO CARRIER", "ERROR"}) {
    first_.On("ATD1", std::string("\r\n") + answer + "\r\n");
    EXPECT_EQ(Dial("Pool", "1"), CallState::kDisconnected) << answer;
    EXPECT_EQ(LastMember("Pool"), "First");
  }
  EXPECT_EQ(second_.received(), "");
  EXPECT_FALSE(Rests("First"));
}

TEST_F(LinePool, TheCallFailsWhenNoMemberCanDial) {
  HearsNoDialTone("First");
  HearsNoDialTone("Second");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kDisconnected);
  EXPECT_EQ(events_.back().second, CallCause::kDisconnectFailed);
  EXPECT_EQ(LastMember("Pool"), "");
  EXPECT_EQ(LastTrouble("Pool"), "First: The modem on " + first_.device() +
                                     " hears no dial tone; Second: The modem on " +
                                     second_.device() + " hears no dial tone");
}

// --- what is told ------------------------------------------------------------------------------

TEST_F(LinePool, WhenAllAreInUseEachIsNamedWithItsOwner) {
  TakeByAnotherProgram("First");
  TakeByAnotherProgram("Second");
  const std::string why = WhyNotRegistered();
  EXPECT_THAT(why, AllOf(HasSubstr("No modem of the pool \"Pool\" is free"),
                         HasSubstr(first_.device() + " is in use by"),
                         HasSubstr(second_.device() + " is in use by")));
  EXPECT_EQ(LastTrouble("Pool"), why);
}

TEST_F(LinePool, WithoutAMemberThereIsNoCall) {
  LineStore(home_.path()).Delete("First");
  LineStore(home_.path()).Delete("Second");
  Register("Pool");
  EXPECT_THROW(Dial("Pool", "1"), RaisedError);
  EXPECT_EQ(LastTrouble("Pool"), "No modem of the pool \"Pool\" can be used: it has none");
}

TEST_F(LinePool, ALostCarrierIsToldWithItsModem) {
  ASSERT_EQ(Dial("Pool", "1"), CallState::kConnected);
  first_.Vanish();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(LastTrouble("Pool"),
            "First: The device " + first_.device() + " has gone; was the modem unplugged?");
}

// --- waiting -----------------------------------------------------------------------------------

TEST_F(LinePool, WhoWaitsGetsTheFirstMemberThatIsFree) {
  TakeByAnotherProgram("First");
  TakeByAnotherProgram("Second");
  LineTurn turn(home_.path(), "Pool");
  EXPECT_THAT(turn.Look(), HasSubstr("No modem of the pool \"Pool\" is free"));
  LetGo("Second");
  EXPECT_EQ(turn.Look(), "");
  EXPECT_TRUE(IsReserved(second_.device()));
  LetGo("First");
  EXPECT_EQ(Dial("Pool", "1"), CallState::kConnected);
  EXPECT_EQ(LastMember("Pool"), "Second");
}

TEST_F(LinePool, TwoWhoWaitGetTwoMembers) {
  LineTurn first(home_.path(), "Pool");
  LineTurn second(home_.path(), "Pool");
  LineTurn third(home_.path(), "Pool");
  EXPECT_EQ(first.Look(), "");
  EXPECT_EQ(second.Look(), "");
  EXPECT_NE(third.Look(), "");
}

TEST_F(LinePool, NobodyWaitsForAMemberThatRests) {
  LetRest("First");
  TakeByAnotherProgram("Second");
  LineTurn turn(home_.path(), "Pool");
  EXPECT_NE(turn.Look(), "");
  LetGo("Second");
  EXPECT_EQ(turn.Look(), "");
  EXPECT_TRUE(IsReserved(second_.device()));
}

}  // namespace
}  // namespace mvsms::posix
