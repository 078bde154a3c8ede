// Several messages at once on the modems of one machine: waiting for one in use, and pools.
#include <signal.h>

#include "tests/e2e/trip.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class WaitingTrip : public Trip {
 protected:
  std::unique_ptr<ChildProcess> StartSend(const std::string& text) const {
    return Start({"send", "--to", "0172", "--wait", "60", text});
  }
  /// A centre that never answers, and a send that holds its modem.
  void HoldTheModem() {
    CentreOnModem("tap", {"silent-at=prompt"});
    holder_ = StartSend("first");
    ASSERT_TRUE(WaitForLine(*holder_, "Connected."));
  }

  std::unique_ptr<ChildProcess> holder_;
};

// Three stand for any number: each call takes four seconds, most of them prescribed waits.
TEST_F(WaitingTrip, EachMessageGoesOutOnceInTheOrderOfArrival) {
  takes_many_calls_ = true;
  CentreOnModem("ucp", {}, {"TimeOut=50"});
  const auto first = StartSend("first");
  ASSERT_TRUE(WaitForLine(*first, "Dialling"));
  const auto second = StartSend("second");
  ASSERT_TRUE(WaitForLine(*second, "Waiting for the modem Modem. The device " + device_));
  const auto third = StartSend("third");
  ASSERT_TRUE(WaitForLine(*third, "Waiting for the modem Modem."));
  for (const auto& send : {first.get(), second.get(), third.get()}) {
    EXPECT_EQ(Finish(*send).exit_code, kExitAccepted) << send->err();
  }
  EXPECT_THAT(Received(3), ElementsAre("0172: first, accepted", "0172: second, accepted",
                                       "0172: third, accepted"));
}

TEST_F(WaitingTrip, WhenTheTimeIsUpTheHolderIsNamed) {
  HoldTheModem();
  const Ending ending = Send({"--wait", "1", "text"});
  EXPECT_EQ(ending.exit_code, kExitRetry);
  EXPECT_EQ(ending.json()["outcome"], "unreachable");
  EXPECT_THAT(ending.err, AllOf(HasSubstr("in use by mvsms (process "), HasSubstr(device_)));
}

TEST_F(WaitingTrip, ASignalEndsTheWait) {
  HoldTheModem();
  const auto waiting = StartSend("text");
  ASSERT_TRUE(WaitForLine(*waiting, "Waiting for"));
  waiting->Signal(SIGTERM);
  const Ending ending = Finish(*waiting);
  EXPECT_EQ(ending.exit_code, 128 + SIGTERM);
  EXPECT_THAT(ending.err, AllOf(HasSubstr("the send was aborted before the message went out"),
                                HasSubstr("in use by mvsms")));
}

TEST_F(WaitingTrip, ATimeoutEndsTheWait) {
  HoldTheModem();
  const Ending ending = Send({"--wait", "60", "--timeout", "1", "text"});
  EXPECT_EQ(ending.exit_code, kExitRetry);
  EXPECT_EQ(ending.json()["aborted"], true);
  EXPECT_EQ(ending.json()["modem"], "Modem");
  EXPECT_EQ(ending.json()["service"], "Pager");
  EXPECT_THAT(ending.err, HasSubstr("in use by mvsms"));
}

TEST_F(WaitingTrip, WhatCannotBeSentDoesNotWait) {
  HoldTheModem();
  const auto waiting = Start({"send", "--to", "0172", "--wait", "60", std::string(500, 'x')});
  EXPECT_EQ(Finish(*waiting).exit_code, 65);
  EXPECT_THAT(waiting->out(), Not(HasSubstr("Waiting")));
}

// --- pools

class PoolTrip : public WaitingTrip {
 protected:
  /// Two centres; the first one's modem is the first of a pool.
  void CentresOnAPool(const Words& behaviour_of_first = {}) {
    CentreOnModem("ucp", behaviour_of_first, {"TimeOut=50"});
    AnotherModem("Second", "ucp");
    Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem,Second"});
    Do({"config", "set", "DefaultModem", "Pool"});
  }
};

TEST_F(PoolTrip, TwoMessagesGoOutAtOnceAndAThirdWaitsForTheFirstFreeModem) {
  takes_many_calls_ = true;
  CentresOnAPool();
  const auto first = StartSend("first");
  ASSERT_TRUE(WaitForLine(*first, "Dialling Pager (0301234) using modem: Pool"));
  const auto second = StartSend("second");
  ASSERT_TRUE(WaitForLine(*second, "Dialling"));
  const auto third = StartSend("third");
  ASSERT_TRUE(WaitForLine(*third, "No modem of the pool \"Pool\" is free: The device " + device_));
  for (const auto& send : {first.get(), second.get(), third.get()}) {
    EXPECT_EQ(Finish(*send).exit_code, kExitAccepted) << send->err();
  }
}

TEST_F(PoolTrip, ADeadModemIsPassedByWithinTheCallAndThenRests) {
  takes_many_calls_ = true;
  CentresOnAPool({"call=no-dialtone"});
  for (const char* text : {"first", "second"}) {
    const Ending ending = Send({text});
    EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.err;
    EXPECT_EQ(ending.json()["modem"], "Pool");
    EXPECT_EQ(ending.json()["member"], "Second");
  }
  EXPECT_THAT(Received(2), ElementsAre("0172: first, accepted", "0172: second, accepted"));
  EXPECT_EQ(Run({"modem", "show", "--json", "Pool"}).json()["resting"], Json::parse("[\"Modem\"]"));
  Do({"modem", "test", "Pool"});
  EXPECT_EQ(Run({"modem", "show", "--json", "Pool"}).json()["resting"], Json::array());
}

TEST_F(PoolTrip, WhoFindsADeadModemWaitsForTheNextOne) {
  takes_many_calls_ = true;
  CentresOnAPool({"call=no-dialtone"});
  Do({"service", "set", "Pager", "TimeOut=3000"});
  const auto first = StartSend("first");
  ASSERT_TRUE(WaitForLine(*first, "Connected."));
  Do({"modem", "test", "Modem"});  // it rests no more
  const auto second = StartSend("second");
  ASSERT_TRUE(WaitForLine(*second, "Unable to connect, reason: Failed"));
  ASSERT_TRUE(WaitForLine(*second, "Waiting for the modem Pool."));
  EXPECT_EQ(Finish(*first).exit_code, kExitAccepted);
  EXPECT_EQ(Finish(*second).exit_code, kExitAccepted) << second->err();
  EXPECT_THAT(Received(2), ElementsAre("0172: first, accepted", "0172: second, accepted"));
}

TEST_F(PoolTrip, ACallThatNoModemCouldDialNamesTheModems) {
  CentresOnAPool({"call=no-dialtone"});
  Do({"modem", "set", "Pool", "--members", "Modem"});
  const Ending dead = Send({"text"});
  EXPECT_EQ(dead.exit_code, kExitRetry);
  EXPECT_THAT(dead.err, HasSubstr("Modem: The modem on " + device_ + " hears no dial tone"));
}

}  // namespace
}  // namespace mvsms::cli
