// The device object over a telephony service that answers as told, in virtual time.
#include "media/tapiobject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "tests/media/fake_telephony.h"

namespace mvsms {
namespace {

using memory::Millis;
using testing::ElementsAre;
using testing::IsEmpty;
using Report = std::tuple<std::int32_t, std::string, std::string>;

constexpr std::int32_t kBroken = FakeTelephony::kBroken;

class DeviceTest : public testing::Test {
 protected:
  DeviceTest() {
    tapi.addresses = {{"Voice", false}, {"Modem A", true}, {"Modem B", true}};
    Bind(device);
  }
  void Bind(TapiObject& object) {
    object.OnError = [this](std::int32_t number, const std::string& function,
                            const std::string& text) {
      reports.emplace_back(number, function, text);
      if (on_report) on_report();
    };
  }
  void InitAndSelect() {
    device.Init();
    ASSERT_TRUE(device.SetDevice("Modem A"));
    tapi.calls.clear();
  }
  void OutcomeAfter(Millis delay, CallState state, std::int32_t cause) {
    machine.After(delay, [this, state, cause] {
      tapi.state = state;
      tapi.Fire(cause);
    });
  }
  bool Dial() { return device.Connect("0123", handle); }
  void DialConnected() {
    InitAndSelect();
    tapi.state = CallState::kConnected;
    ASSERT_TRUE(Dial());
    tapi.calls.clear();
  }
  std::ptrdiff_t Asked(const std::string& call) const {
    return std::count(tapi.calls.begin(), tapi.calls.end(), call);
  }

  memory::MemoryPlatform machine;
  FakeTelephony tapi;
  std::vector<Report> reports;
  std::function<void()> on_report;
  CommHandle handle = kNoComm;
  TapiObject device{tapi, machine.loop(), machine.clock()};
};

// --- the session ------------------------------------------------------------------------------

TEST_F(DeviceTest, InitStartsASessionForCallStateEvents) {
  device.Init();
  EXPECT_THAT(tapi.calls,
              ElementsAre("CreateTapi", "Initialize", "PutEventFilter 8", "BindEvents"));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, UnInitEndsTheSession) {
  InitAndSelect();
  device.UnInit();
  EXPECT_THAT(tapi.calls, ElementsAre("UnbindEvents", "Unregister 77", "Shutdown"));
  EXPECT_EQ(tapi.sessions, 0);
  EXPECT_FALSE(device.SetDevice("Modem A"));
  EXPECT_EQ(reports.back(), Report(4454, "SetDevice", "Tapi-Object is not initialized!"));
}

TEST_F(DeviceTest, UnInitWithoutADeviceUnregistersNothing) {
  device.Init();
  tapi.calls.clear();
  device.UnInit();
  EXPECT_THAT(tapi.calls, ElementsAre("UnbindEvents", "Shutdown"));
}

TEST_F(DeviceTest, UnInitWithoutASessionDoesNothing) {
  device.UnInit();
  EXPECT_THAT(tapi.calls, IsEmpty());
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, InitAfterUnInitStartsAnew) {
  InitAndSelect();
  device.UnInit();
  device.Init();
  EXPECT_FALSE(Dial());
  EXPECT_THAT(reports, ElementsAre(Report(4461, "Connect", "No Device is selected!")));
}

TEST_F(DeviceTest, AnInitThatFailsIsReportedAndLeavesNoSession) {
  for (const std::string operation : {"CreateTapi", "Initialize", "PutEventFilter", "BindEvents"}) {
    tapi.broken = operation;
    reports.clear();
    device.Init();
    EXPECT_THAT(reports, ElementsAre(Report(kBroken, "TAPIObject.Init", operation + " is broken")));
    EXPECT_EQ(tapi.sessions, 0);
    EXPECT_EQ(device.GetLines(), "");
    EXPECT_EQ(reports.back(), Report(4454, "GetLines", "Tapi-Object is not initialized!"));
  }
}

TEST_F(DeviceTest, AnUnInitThatFailsIsReportedAndSucceedsTheNextTime) {
  InitAndSelect();
  tapi.broken = "Unregister";
  device.UnInit();
  EXPECT_THAT(reports, ElementsAre(Report(kBroken, "TAPIObject.UnInit", "Unregister is broken")));
  tapi.calls.clear();
  device.UnInit();
  EXPECT_THAT(tapi.calls, ElementsAre("UnbindEvents", "Shutdown"));
  EXPECT_EQ(tapi.sessions, 0);
}

TEST_F(DeviceTest, ItsEndClosesTheSessionThenDropsTheCall) {
  tapi.state = CallState::kConnected;
  {
    TapiObject other(tapi, machine.loop(), machine.clock());
    other.Init();
    other.SetDevice("Modem B");
    ASSERT_TRUE(other.Connect("1", handle));
    tapi.calls.clear();
  }
  EXPECT_THAT(tapi.calls, ElementsAre("UnbindEvents", "Unregister 77", "Shutdown", "Disconnect 0"));
}

TEST_F(DeviceTest, ItsEndIsSilent) {
  for (const std::string operation : {"UnbindEvents", "Unregister", "Shutdown", "Disconnect"}) {
    tapi.broken.clear();
    tapi.state = CallState::kConnected;
    TapiObject other(tapi, machine.loop(), machine.clock());
    Bind(other);
    other.Init();
    other.SetDevice("Modem B");
    other.Connect("1", handle);
    tapi.broken = operation;
  }
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, WithoutAHandlerErrorsGoNowhere) {
  TapiObject other(tapi, machine.loop(), machine.clock());
  EXPECT_FALSE(other.SetDevice("Modem A"));
}

// --- the lines --------------------------------------------------------------------------------

TEST_F(DeviceTest, TheLinesAreTheDataModemsInOrderJoinedByTabs) {
  device.Init();
  EXPECT_EQ(device.GetLines(), "Modem A\tModem B");
  EXPECT_EQ(Asked("QueryMediaType 16"), 3);
}

TEST_F(DeviceTest, NoDataModemMakesAnEmptyList) {
  tapi.addresses = {{"Voice", false}};
  device.Init();
  EXPECT_EQ(device.GetLines(), "");
  tapi.addresses.clear();
  EXPECT_EQ(device.GetLines(), "");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, OneDataModemStandsAlone) {
  tapi.addresses = {{"Only", true}, {"Voice", false}};
  device.Init();
  EXPECT_EQ(device.GetLines(), "Only");
}

TEST_F(DeviceTest, WithoutASessionThereAreNoLines) {
  EXPECT_EQ(device.GetLines(), "");
  EXPECT_THAT(reports, ElementsAre(Report(4454, "GetLines", "Tapi-Object is not initialized!")));
}

TEST_F(DeviceTest, AListThatFailsIsReportedAndEmpty) {
  device.Init();
  for (const std::string operation : {"GetAddresses", "QueryMediaType", "AddressName"}) {
    tapi.broken = operation;
    EXPECT_EQ(device.GetLines(), "");
    EXPECT_EQ(reports.back(), Report(kBroken, "TAPIObject.GetLines", operation + " is broken"));
  }
}

// --- the device -------------------------------------------------------------------------------

TEST_F(DeviceTest, SelectingADeviceRegistersForItsCalls) {
  device.Init();
  tapi.calls.clear();
  EXPECT_TRUE(device.SetDevice("Modem A"));
  EXPECT_THAT(tapi.calls, ElementsAre("GetAddresses", "AddressName", "AddressName",
                                      "QueryMediaType 16", "Register Modem A 1 0 16 1"));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, SelectingAnotherDeviceUnregistersTheFirst) {
  InitAndSelect();
  tapi.registration = 78;
  EXPECT_TRUE(device.SetDevice("Modem B"));
  tapi.calls.clear();
  device.UnInit();
  EXPECT_EQ(Asked("Unregister 78"), 1);
}

TEST_F(DeviceTest, TheOldRegistrationGoesBeforeTheNewOneComes) {
  InitAndSelect();
  device.SetDevice("Modem B");
  ASSERT_GE(tapi.calls.size(), 2U);
  EXPECT_EQ(tapi.calls[tapi.calls.size() - 2], "Unregister 77");
  EXPECT_EQ(tapi.calls.back(), "Register Modem B 1 0 16 1");
}

TEST_F(DeviceTest, WithoutASessionNoDeviceCanBeSelected) {
  EXPECT_FALSE(device.SetDevice("Modem A"));
  EXPECT_THAT(reports, ElementsAre(Report(4454, "SetDevice", "Tapi-Object is not initialized!")));
}

TEST_F(DeviceTest, AnUnknownDeviceGivesError4455) {
  device.Init();
  for (const std::string name : {"modem a", "Modem A ", "", "Modem"}) {
    EXPECT_FALSE(device.SetDevice(name));
    EXPECT_EQ(reports.back(), Report(4455, "SetDevice", "This device does not exist!"));
  }
}

TEST_F(DeviceTest, ADeviceWithoutDataModemGivesError4456) {
  device.Init();
  EXPECT_FALSE(device.SetDevice("Voice"));
  EXPECT_THAT(reports,
              ElementsAre(Report(4456, "SetDevice",
                                 "The selected device does not support data modem mode!")));
}

TEST_F(DeviceTest, OfTwoDevicesWithOneNameTheFirstCounts) {
  tapi.addresses = {{"Twin", false}, {"Twin", true}};
  device.Init();
  EXPECT_FALSE(device.SetDevice("Twin"));
  EXPECT_EQ(std::get<0>(reports.back()), 4456);
}

TEST_F(DeviceTest, AnUnfitNameKeepsThePreviousSelection) {
  InitAndSelect();
  device.SetDevice("Nowhere");
  device.SetDevice("Voice");
  EXPECT_EQ(Asked("Unregister 77"), 0);
  tapi.state = CallState::kConnected;
  EXPECT_TRUE(Dial());
  EXPECT_EQ(Asked("CreateCall Modem A T0123 1 16"), 1);
}

TEST_F(DeviceTest, ADeviceInUseGivesError4457AndLeavesNoneSelected) {
  const Report in_use(
      4457, "TAPIObject.SetDevice",
      "The selected device is in use by another application and cannot be selected!");
  InitAndSelect();
  tapi.broken = "Register";
  EXPECT_FALSE(device.SetDevice("Modem B"));
  EXPECT_THAT(reports, ElementsAre(in_use));
  EXPECT_FALSE(Dial());
  EXPECT_EQ(reports.back(), Report(4461, "Connect", "No Device is selected!"));
  tapi.broken.clear();
  tapi.registration = -1;
  EXPECT_FALSE(device.SetDevice("Modem A"));
  EXPECT_EQ(reports.back(), in_use);
}

TEST_F(DeviceTest, ASelectionThatFailsIsReported) {
  InitAndSelect();
  for (const std::string operation :
       {"GetAddresses", "AddressName", "QueryMediaType", "Unregister"}) {
    tapi.broken = operation;
    EXPECT_FALSE(device.SetDevice("Modem A"));
    EXPECT_EQ(reports.back(), Report(kBroken, "TAPIObject.SetDevice", operation + " is broken"));
  }
}

// --- the call ---------------------------------------------------------------------------------

TEST_F(DeviceTest, ConnectingTranslatesDialsWaitsAndTakesThePort) {
  InitAndSelect();
  tapi.state = CallState::kConnected;
  EXPECT_TRUE(Dial());
  EXPECT_THAT(tapi.calls, ElementsAre("TranslateAddress Modem A 0123 0 0", "DialableString",
                                      "CreateCall Modem A T0123 1 16", "Connect 0", "GetCallState",
                                      "GetCallState", "CreatePortHandleProvider",
                                      "GetPortHandle comm/datamodem"));
  EXPECT_EQ(handle, 4711);
  EXPECT_EQ(device.TranslatedNumber, "T0123");
  EXPECT_EQ(machine.slept(), Millis(500));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, ThePortHandleProviderIsMadeOnce) {
  DialConnected();
  device.Disconnect();
  EXPECT_TRUE(Dial());
  EXPECT_EQ(Asked("CreatePortHandleProvider"), 0);
}

TEST_F(DeviceTest, WithoutASessionThereIsNoCall) {
  EXPECT_FALSE(Dial());
  EXPECT_THAT(reports, ElementsAre(Report(4454, "Connect", "Tapi-Object is not initialized!")));
}

TEST_F(DeviceTest, WithoutADeviceThereIsNoCall) {
  device.Init();
  EXPECT_FALSE(Dial());
  EXPECT_THAT(reports, ElementsAre(Report(4461, "Connect", "No Device is selected!")));
}

TEST_F(DeviceTest, TheStateIsLookedAtEveryHalfSecond) {
  InitAndSelect();
  OutcomeAfter(Millis(2100), CallState::kConnected, 0);
  EXPECT_TRUE(Dial());
  EXPECT_EQ(machine.slept(), Millis(2500));
}

TEST_F(DeviceTest, ACallThatStaysInProgressIsGivenUpAfter40Seconds) {
  InitAndSelect();
  EXPECT_FALSE(Dial());
  EXPECT_EQ(machine.slept(), Millis(40000));
  EXPECT_THAT(reports, ElementsAre(Report(4462, "Connect", "Unable to connect, reason: None")));
  EXPECT_EQ(Asked("Disconnect 0"), 1);
  EXPECT_EQ(handle, kNoComm);
  EXPECT_FALSE(device.IsConnected());
}

TEST_F(DeviceTest, ACallThatComesUpAtTheLastCheckIsTaken) {
  InitAndSelect();
  OutcomeAfter(Millis(39999), CallState::kConnected, 0);
  EXPECT_TRUE(Dial());
}

TEST_F(DeviceTest, EachCauseHasItsText) {
  const std::vector<std::pair<std::int32_t, std::string>> causes = {
      {0, "None"},      {1, "Normal"},    {2, "Busy"},     {3, "Invalid Number"},
      {4, "No answer"}, {5, "Cancelled"}, {6, "Rejected"}, {7, "Failed"},
      {8, ""},          {-1, ""},         {1000, ""}};
  InitAndSelect();
  for (const auto& [cause, text] : causes) {
    tapi.state = CallState::kInProgress;
    OutcomeAfter(Millis(700), CallState::kDisconnected, cause);
    EXPECT_FALSE(Dial());
    EXPECT_EQ(reports.back(), Report(4462, "Connect", "Unable to connect, reason: " + text));
  }
  EXPECT_EQ(machine.slept(), Millis(1000 * causes.size()));
}

TEST_F(DeviceTest, TheCauseOfAnEarlierCallIsForgotten) {
  InitAndSelect();
  tapi.Fire(2);
  EXPECT_FALSE(Dial());
  EXPECT_EQ(reports.back(), Report(4462, "Connect", "Unable to connect, reason: None"));
}

TEST_F(DeviceTest, OtherEventsLeaveTheCauseAlone) {
  InitAndSelect();
  machine.After(Millis(600), [this] { tapi.Fire(2, 4); });
  machine.After(Millis(700), [this] { tapi.sink(kTeCallState, nullptr); });
  EXPECT_FALSE(Dial());
  EXPECT_THAT(reports, ElementsAre(Report(4462, "Connect", "Unable to connect, reason: None")));
}

TEST_F(DeviceTest, AnEventThatFailsIsReported) {
  device.Init();
  tapi.broken = "Cause";
  tapi.Fire(2);
  EXPECT_THAT(reports, ElementsAre(Report(kBroken, "TAPIObject.gobjTapiWithEvents_Event",
                                          "Cause is broken")));
}

TEST_F(DeviceTest, AbortEndsTheWaitSilentlyWithinHalfASecond) {
  InitAndSelect();
  machine.After(Millis(3210), [this] { device.Abort = true; });
  EXPECT_FALSE(Dial());
  EXPECT_EQ(machine.slept(), Millis(3500));
  EXPECT_THAT(reports, IsEmpty());
  EXPECT_EQ(Asked("Disconnect 0"), 1);
}

TEST_F(DeviceTest, AbortStaysAndEndsTheNextConnectAtItsFirstCheck) {
  InitAndSelect();
  device.Abort = true;
  EXPECT_FALSE(Dial());
  EXPECT_FALSE(Dial());
  EXPECT_EQ(machine.slept(), Millis(1000));
  EXPECT_TRUE(device.Abort);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DeviceTest, AnAbortedCallThatIsUpIsDropped) {
  InitAndSelect();
  device.Abort = true;
  tapi.state = CallState::kConnected;
  EXPECT_FALSE(Dial());
  EXPECT_EQ(Asked("Disconnect 0"), 1);
  EXPECT_EQ(Asked("GetPortHandle comm/datamodem"), 0);
}

TEST_F(DeviceTest, APortThatCannotBeHadGivesError4463AndKeepsTheCall) {
  InitAndSelect();
  tapi.state = CallState::kConnected;
  tapi.port_error = 5;
  EXPECT_FALSE(Dial());
  EXPECT_THAT(reports,
              ElementsAre(Report(4463, "TAPIObject.Connect", "Failed to get Comm-Handle!")));
  EXPECT_EQ(handle, kNoComm);
  EXPECT_TRUE(device.IsConnected());
}

TEST_F(DeviceTest, AConnectThatFailsUnderneathIsReported) {
  InitAndSelect();
  for (const std::string operation : {"TranslateAddress", "DialableString", "CreateCall", "Connect",
                                      "GetCallState", "Disconnect"}) {
    tapi.broken = operation;
    EXPECT_FALSE(Dial());
    EXPECT_EQ(reports.back(), Report(kBroken, "TAPIObject.Connect", operation + " is broken"));
  }
  tapi.state = CallState::kConnected;
  for (const std::string operation : {"CreatePortHandleProvider", "GetPortHandle"}) {
    tapi.broken = operation;
    EXPECT_FALSE(Dial());
    EXPECT_EQ(reports.back(), Report(kBroken, "TAPIObject.Connect", operation + " is broken"));
  }
  EXPECT_EQ(reports.size(), 8U);
}

TEST_F(DeviceTest, ACallDroppedByAnEventHandlerDuringTheWaitEndsIt) {
  InitAndSelect();
  machine.After(Millis(600), [this] {
    device.Disconnect();
    tapi.state = CallState::kDisconnected;
  });
  EXPECT_FALSE(Dial());
  EXPECT_EQ(Asked("Disconnect 0"), 1);
  EXPECT_THAT(reports, ElementsAre(Report(4462, "Connect", "Unable to connect, reason: None")));
}

TEST_F(DeviceTest, AHandlerMayAbortFromInsideAReport) {
  InitAndSelect();
  on_report = [this] { device.Abort = true; };
  EXPECT_FALSE(Dial());
  EXPECT_FALSE(Dial());
  EXPECT_EQ(reports.size(), 1U);
}

// --- while connected --------------------------------------------------------------------------

TEST_F(DeviceTest, WithoutACallItIsNotConnected) {
  InitAndSelect();
  EXPECT_FALSE(device.IsConnected());
  EXPECT_THAT(tapi.calls, IsEmpty());
}

TEST_F(DeviceTest, ACallThatStandsIsConnected) {
  DialConnected();
  EXPECT_TRUE(device.IsConnected());
  EXPECT_THAT(tapi.calls, ElementsAre("GetCallState"));
}

TEST_F(DeviceTest, ACallInAnyOtherStateIsDropped) {
  for (const CallState state :
       {CallState::kIdle, CallState::kInProgress, CallState::kDisconnected, CallState::kOffering}) {
    DialConnected();
    tapi.state = state;
    EXPECT_FALSE(device.IsConnected());
    EXPECT_THAT(tapi.calls, ElementsAre("GetCallState", "Disconnect 0"));
    EXPECT_FALSE(device.IsConnected());
    EXPECT_EQ(tapi.calls.size(), 2U);
  }
}

TEST_F(DeviceTest, AStateThatCannotBeReadIsReportedAndCountsAsNotConnected) {
  DialConnected();
  tapi.broken = "GetCallState";
  EXPECT_FALSE(device.IsConnected());
  EXPECT_THAT(reports,
              ElementsAre(Report(kBroken, "TAPIObject.IsConnected", "GetCallState is broken")));
}

TEST_F(DeviceTest, DisconnectingDropsTheCallAndKeepsTheDevice) {
  DialConnected();
  EXPECT_TRUE(device.Disconnect());
  EXPECT_THAT(tapi.calls, ElementsAre("Disconnect 0"));
  EXPECT_FALSE(device.IsConnected());
  EXPECT_TRUE(Dial());
}

TEST_F(DeviceTest, DisconnectingWithoutACallSucceeds) {
  EXPECT_TRUE(device.Disconnect());
  EXPECT_THAT(tapi.calls, IsEmpty());
}

TEST_F(DeviceTest, ACallThatCannotBeDroppedIsReported) {
  DialConnected();
  tapi.broken = "Disconnect";
  EXPECT_FALSE(device.Disconnect());
  EXPECT_THAT(reports,
              ElementsAre(Report(kBroken, "TAPIObject.Disconnect", "Disconnect is broken")));
}

}  // namespace
}  // namespace mvsms
